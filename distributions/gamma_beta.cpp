// Gamma (and ChiSquare on it), Beta as a ratio of two gammas, and
// Negbinomial as a Gamma-Poisson mixture.
//
// Gamma is Marsaglia and Tsang's method (2000): with d = a - 1/3 and
// c = 1 / sqrt(9 d), a normal z and a uniform U, the candidate d (1 + c z)^3
// is accepted when U < 1 - 0.0331 z^4 (the squeeze, which passes for all but
// a few per cent), or else when ln U < 3 d h(c z) with
// h(t) = ln(1 + t) - t + t^2/2 - t^3/3, the published test
// z^2/2 + d (1 - v + ln v) rewritten so that it holds its accuracy for large
// d. Shapes below 1 take the candidate of shape a + 1 times U'^(1/a).
//
// Attempts run in rounds. An attempt takes a fixed number of uniforms (two,
// three when a shape is below 1: z's, U's and U''s), so attempt j always uses
// the same uniforms of the stream; a round holds no more attempts than the
// variates still owed can take, so no uniform is drawn that is not used, and
// one call of n gives what calls of n1 and n - n1 give. The normal of an
// attempt is the inverse form of the Gaussian generator,
// z = sqrt(2) erfinv(2 u - 1), over the round by the ErfInv row; the
// logarithm of the second test and of U' are the module's own.
#include <emmintrin.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "distributions/discrete_common.h"

namespace {

using namespace zev::dist;

constexpr int kRound = 256;  // attempts a round: the buffers stay in L1
// Negbinomial: Poisson means below this go by inversion from 0, whose walk
// of about mu steps costs less than the set-up and attempts of PTRS.
constexpr double kInvertBelow = 40;
constexpr double kSqrt2 = 1.4142135623730951;

// Uniforms in (0, 1), on the half-step-shifted lattice of the continuous
// distributions and kept off both ends for any generator.
int draw_open(void* stream, int count, double* u) {
  const int st = draw(stream, count, u, 0x1p-33, 1.0 + 0x1p-33);
  if (st < 0) return st;
  // max(u, 2^-60) then min(., 1 - 2^-53), NaN to 2^-60: maxpd and minpd give
  // their second operand unless the first is greater (less).
  const __m128d lo = _mm_set1_pd(0x1p-60), hi = _mm_set1_pd(1 - 0x1p-53);
  int i = 0;
  for (; i + 2 <= count; i += 2) _mm_storeu_pd(u + i, _mm_min_pd(_mm_max_pd(_mm_loadu_pd(u + i), lo), hi));
  if (i < count) _mm_store_sd(u + i, _mm_min_sd(_mm_max_sd(_mm_load_sd(u + i), lo), hi));
  return st;
}

// h(t) = ln(1 + t) - t + t^2/2 - t^3/3 = -t^4/4 + t^5/5 - ..., t > -1: the
// series for |t| <= 1/8 (to t^22, the tail below 2^-57 of the sum), else the
// logarithm.
inline double h_tail(double t) {
  if (t > 0.125 || t < -0.125) return zev::dist::log1p(t) - t + t * t * (0.5 - t / 3);
  double s = 0;
  for (int k = 22; k >= 4; --k) s = s * t + ((k & 1) ? 1.0 : -1.0) / k;
  const double t2 = t * t;
  return s * t2 * t2;
}

// One shape: the constants of an attempt.
struct Shape {
  explicit Shape(double a) : boost(a < 1), inv_a(1 / a) {
    d = (boost ? a + 1 : a) - 1.0 / 3;
    c = 1 / std::sqrt(9 * d);
    three_d = 3 * d;
  }
  // x = d (1 + c z)^3 on acceptance.
  bool attempt(double z, double U, double& x) const {
    const double t = c * z;
    if (!(t > -1)) return false;
    const double s = 1 + t, z2 = z * z;
    x = d * (s * s * s);
    if (U < 1 - 0.0331 * (z2 * z2)) return true;
    return zev::dist::ln(U) < three_d * h_tail(t);
  }
  // attempt() over a round of m attempts, normals z[i] and uniforms
  // U(i) = u[k i + 1], two at a time: the candidates into x, acc[i] = 1
  // where the squeeze accepts, and the attempts it leaves open (a candidate,
  // not squeezed) listed in open, their count returned. The same arithmetic
  // as attempt(), so the same values; an odd m's partner lane is padded.
  int squeeze(int m, double* z, double* u, int k, double* x, unsigned char* acc, int* open) const {
    if (m & 1) z[m] = 0, u[k * m + 1] = 0.5;
    const __m128d one = _mm_set1_pd(1.0), vc = _mm_set1_pd(c), vd = _mm_set1_pd(d);
    const __m128d minus1 = _mm_set1_pd(-1.0), k4 = _mm_set1_pd(0.0331);
    int nopen = 0;
    for (int i = 0; i < m; i += 2) {
      const __m128d zz = _mm_loadu_pd(z + i), U = _mm_set_pd(u[k * (i + 1) + 1], u[k * i + 1]);
      const __m128d t = _mm_mul_pd(vc, zz), s = _mm_add_pd(one, t), z2 = _mm_mul_pd(zz, zz);
      _mm_storeu_pd(x + i, _mm_mul_pd(vd, _mm_mul_pd(_mm_mul_pd(s, s), s)));
      const __m128d ok = _mm_cmpgt_pd(t, minus1);
      const __m128d sq = _mm_cmplt_pd(U, _mm_sub_pd(one, _mm_mul_pd(k4, _mm_mul_pd(z2, z2))));
      const int yes = _mm_movemask_pd(_mm_and_pd(ok, sq)), maybe = _mm_movemask_pd(_mm_andnot_pd(sq, ok));
      acc[i] = yes & 1, acc[i + 1] = yes >> 1;
      open[nopen] = i, nopen += maybe & 1;
      open[nopen] = i + 1, nopen += maybe >> 1;
    }
    return nopen;
  }
  // The test of an open attempt.
  bool full_test(double z, double U) const { return zev::dist::ln(U) < three_d * h_tail(c * z); }
  bool boost;
  double inv_a, d, c, three_d;
};

// The uniforms of a round of m attempts, k a attempt: the normals z and, when
// k is 3, L = ln U' scaled later by the shape's 1/a.
struct Round {
  double u[3 * kRound];
  double z[kRound];
  double L[kRound];
  int k;

  int draw(void* stream, int m) {
    const int st = draw_open(stream, k * m, u);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) z[i] = 2 * u[k * i] - 1;  // in (-1, 1), exact on 32-bit lattices
    _vqmdErfInv_50(m, z, z);
    for (int i = 0; i < m; ++i) z[i] *= kSqrt2;
    if (k == 3) {
      for (int i = 0; i < m; ++i) L[i] = u[3 * i + 2];
      _vqmdLn_50(m, L, L);
    }
    return st;
  }
  double U(int i) const { return u[k * i + 1]; }
};

// n standard gamma variates of shape a > 0 into out.
int standard_gamma(void* stream, int n, double* out, double a) {
  QuietKernels quiet;
  const Shape sh(a);
  Round rd;
  rd.k = sh.boost ? 3 : 2;
  double e[kRound];  // L / a of the accepted attempts of a round
  double x[kRound + 1];
  unsigned char acc[kRound + 1];
  int open[kRound + 2];
  int fails = 0;
  for (int done = 0; done < n;) {
    const int m = n - done < kRound ? n - done : kRound;
    const int st = rd.draw(stream, m);
    if (st < 0) return st;
    const int first = done;
    const int nopen = sh.squeeze(m, rd.z, rd.u, rd.k, x, acc, open);
    for (int j = 0; j < nopen; ++j) acc[open[j]] = sh.full_test(rd.z[open[j]], rd.U(open[j]));
    // The accepted candidates in order; a rejected one is written and then
    // written over (attempt i writes at most at first + i < n).
    for (int i = 0; i < m; ++i) {
      if (sh.boost) e[done - first] = rd.L[i] * sh.inv_a;
      out[done] = x[i];
      done += acc[i];
      fails = acc[i] ? 0 : fails + 1;
      if (fails == kMaxAttempts) [[unlikely]] {
        if (sh.boost) e[done - first] = 0;
        out[done++] = a;
        fails = 0;
      }
    }
    if (sh.boost) {
      _vqmdExp_50(done - first, e, e);
      for (int j = first; j < done; ++j) out[j] *= e[j - first];
    }
  }
  return 0;
}

template <class T>
int gamma(void* stream, int n, T* r, double a, double loc, double scale) {
  if (!(a > 0 && a < std::numeric_limits<double>::infinity())) {
    for (int i = 0; i < n; ++i) r[i] = std::numeric_limits<T>::quiet_NaN();
    return 0;
  }
  double x[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = standard_gamma(stream, m, x, a);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) r[done + i] = T(loc + scale * x[i]);
    done += m;
  }
  return 0;
}

// ---- Beta --------------------------------------------------------------------
// X / (X + Y) with X of shape a and Y of shape b, X's attempts first, then
// Y's. With a shape below 1 the boosts make the ratio
// 1 / (1 + (y / x) e^E), E = L_Y / b - L_X / a, x and y the candidates: no
// underflow of X or Y can make it 0 / 0.
int beta_no_boost(void* stream, int n, double* out, const Shape& sa, const Shape& sb, double a, double b,
                  double loc = 0, double scale = 1);

int standard_beta(void* stream, int n, double* out, double a, double b) {
  QuietKernels quiet;
  const Shape sa(a), sb(b);
  if (!sa.boost && !sb.boost) return beta_no_boost(stream, n, out, sa, sb, a, b);
  Round rd;
  rd.k = 3;
  double q[kRound], E[kRound];  // y / x and E of the variates of a round
  double x = 0, lx = 0, Lx = 0;  // X's candidate, L_X / a and L_X, while Y is drawn
  bool second = false;          // drawing Y
  int fails = 0;
  for (int done = 0; done < n;) {
    // Each variate owed takes two attempts at least, one if X is drawn.
    const int64_t least = 2 * int64_t(n - done) - (second ? 1 : 0);
    const int m = least < kRound ? int(least) : kRound;
    const int st = rd.draw(stream, m);
    if (st < 0) return st;
    const int first = done;
    for (int i = 0; i < m; ++i) {
      const Shape& sh = second ? sb : sa;
      double v;
      bool ok = sh.attempt(rd.z[i], rd.U(i), v);
      if (!ok && ++fails == kMaxAttempts) {  // outside the domains only
        v = second ? b : a;
        ok = true;
      }
      if (!ok) continue;
      fails = 0;
      const double Lv = sh.boost ? rd.L[i] : 0, lv = Lv * sh.inv_a;
      if (!second) {
        x = v, lx = lv, Lx = Lv;
        second = true;
        continue;
      }
      second = false;
      q[done - first] = v / x;
      double ex = lv - lx;
      // Both boosts -inf (shapes near 0): the sign of L_Y a - L_X b decides.
      if (!(ex == ex)) ex = Lv * a > Lx * b ? 1e300 : -1e300;
      E[done - first] = ex;
      ++done;
    }
    const int k = done - first;
    _vqmdExp_50(k, E, E);
    for (int j = 0; j < k; ++j) {
      const double t = q[j] * E[j];
      out[first + j] = 1 / (1 + t);
    }
  }
  return 0;
}

// The full tests of one attempt for shapes a and b (bits 0 and 1 of the
// result), exactly as Shape::full_test takes them.
int full_tests(const Shape& sa, const Shape& sb, double z, double U) {
  const double lu = zev::dist::ln(U), ta = sa.c * z, tb = sb.c * z;
  return (ta > -1 && lu < sa.three_d * h_tail(ta)) | (tb > -1 && lu < sb.three_d * h_tail(tb)) << 1;
}

// The same decisions for both shapes at once where they are clear: ln U
// (given, by ln_fast) against 3 d h(t) with h from ln_fast(1 + t), both
// within a few ulps of what the full tests compute. A side that differs by
// more than 2^-46 of the sizes involved (some 64 times the errors of both
// evaluations, the rounding of 1 + t included) is decided as the full test
// would decide it; -1 where either shape is not clear, or a candidate is
// missing (t <= -1), or t lies where the full test takes its series
// (|t| <= 1/8) or 1 + t is below 1/4.
inline int quick_tests(double z, double lu, __m128d c, __m128d three_d) {
  const __m128d t = _mm_mul_pd(c, _mm_set1_pd(z));
  const __m128d one = _mm_set1_pd(1.0), abs = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
  const __m128d at = _mm_and_pd(t, abs), u = _mm_add_pd(one, t);
  if (_mm_movemask_pd(_mm_and_pd(_mm_cmpgt_pd(at, _mm_set1_pd(0.125)), _mm_cmpge_pd(u, _mm_set1_pd(0.25)))) != 3)
    return -1;
  const __m128d lp = ln_fast(u);
  const __m128d t2 = _mm_mul_pd(t, t);
  const __m128d cub = _mm_mul_pd(t2, _mm_sub_pd(_mm_set1_pd(0.5), _mm_mul_pd(t, _mm_set1_pd(1.0 / 3))));
  const __m128d h = _mm_add_pd(_mm_sub_pd(lp, t), cub);
  const __m128d l = _mm_set1_pd(lu), diff = _mm_sub_pd(l, _mm_mul_pd(three_d, h));
  const __m128d size = _mm_add_pd(
      _mm_and_pd(l, abs),
      _mm_mul_pd(three_d, _mm_add_pd(_mm_add_pd(_mm_and_pd(lp, abs), _mm_add_pd(at, _mm_set1_pd(4.0))),
                                     _mm_add_pd(_mm_and_pd(cub, abs), _mm_add_pd(_mm_and_pd(h, abs), t2)))));
  const __m128d clear = _mm_cmpgt_pd(_mm_and_pd(diff, abs), _mm_mul_pd(size, _mm_set1_pd(0x1p-46)));
  if (_mm_movemask_pd(clear) != 3) return -1;
  return _mm_movemask_pd(_mm_cmplt_pd(diff, _mm_setzero_pd()));
}

// Both shapes at least 1: the attempts one by one (X's until one is
// accepted, then Y's, by Shape::attempt), in the same order and arithmetic,
// in passes over a round. First, two attempts at a time, the candidates of
// both shapes and the squeeze (which does not depend on the shape); then the
// tests of the attempts the squeeze leaves open, for both shapes (quick_tests
// where clear, else full_tests); then the walk that takes each attempt's
// outcome for the shape it is for, with no branch on it; last,
// loc + scale X / (X + Y) two at a time. The same uniforms make the same
// variates.
int beta_no_boost(void* stream, int n, double* out, const Shape& sa, const Shape& sb, double a, double b,
                  double loc, double scale) {
  double w[2 * kRound + 2], z[kRound + 1], U[kRound + 1];  // the uniforms, the normals, the U's
  double xc[2][kRound + 1];             // candidates of shapes a and b
  unsigned char acc[kRound + 1];         // bit 0, 1: shape a, b accepts the attempt
  int open[kRound + 2];
  double X[kRound + 1], Y[kRound + 1];  // the pairs of a round
  const double forced[2] = {a, b};
  const __m128d one = _mm_set1_pd(1.0), minus1 = _mm_set1_pd(-1.0), k4 = _mm_set1_pd(0.0331);
  const __m128d ca = _mm_set1_pd(sa.c), da = _mm_set1_pd(sa.d), cb = _mm_set1_pd(sb.c), db = _mm_set1_pd(sb.d);
  const __m128d vc = _mm_set_pd(sb.c, sa.c), v3d = _mm_set_pd(sb.three_d, sa.three_d);
  double x = 0;         // X's candidate, while Y is drawn
  unsigned second = 0;  // drawing Y
  int fails = 0;
  for (int done = 0; done < n;) {
    const int64_t least = 2 * int64_t(n - done) - second;
    const int m = least < kRound ? int(least) : kRound;
    // Round::draw for two uniforms an attempt, in one pass: the clamps of
    // draw_open, 2 u - 1 of the even ones and the odd ones as they are.
    const int st = draw(stream, 2 * m, w, 0x1p-33, 1.0 + 0x1p-33);
    if (st < 0) return st;
    if (m & 1) w[2 * m] = 0.5, w[2 * m + 1] = 0.5;
    {
      const __m128d lo = _mm_set1_pd(0x1p-60), hi = _mm_set1_pd(1 - 0x1p-53);
      for (int i = 0; i < m; i += 2) {
        const __m128d p = _mm_min_pd(_mm_max_pd(_mm_loadu_pd(w + 2 * i), lo), hi);
        const __m128d q = _mm_min_pd(_mm_max_pd(_mm_loadu_pd(w + 2 * i + 2), lo), hi);
        const __m128d even = _mm_unpacklo_pd(p, q);
        _mm_storeu_pd(z + i, _mm_sub_pd(_mm_add_pd(even, even), _mm_set1_pd(1.0)));
        _mm_storeu_pd(U + i, _mm_unpackhi_pd(p, q));
      }
    }
    _vqmdErfInv_50(m, z, z);
    int nopen = 0;
    for (int i = 0; i < m; i += 2) {
      const __m128d zz = _mm_mul_pd(_mm_loadu_pd(z + i), _mm_set1_pd(kSqrt2));
      _mm_storeu_pd(z + i, zz);
      const __m128d z2 = _mm_mul_pd(zz, zz);
      const __m128d sq = _mm_cmplt_pd(_mm_loadu_pd(U + i), _mm_sub_pd(one, _mm_mul_pd(k4, _mm_mul_pd(z2, z2))));
      const __m128d ta = _mm_mul_pd(ca, zz), tb = _mm_mul_pd(cb, zz);
      const __m128d sa1 = _mm_add_pd(one, ta), sb1 = _mm_add_pd(one, tb);
      _mm_storeu_pd(xc[0] + i, _mm_mul_pd(da, _mm_mul_pd(_mm_mul_pd(sa1, sa1), sa1)));
      _mm_storeu_pd(xc[1] + i, _mm_mul_pd(db, _mm_mul_pd(_mm_mul_pd(sb1, sb1), sb1)));
      // Accepted: the candidate exists and the squeeze takes it; open: the
      // squeeze leaves it and a candidate of either shape exists.
      const __m128d ea = _mm_cmpgt_pd(ta, minus1), eb = _mm_cmpgt_pd(tb, minus1);
      const int qa = _mm_movemask_pd(_mm_and_pd(ea, sq)), qb = _mm_movemask_pd(_mm_and_pd(eb, sq));
      const int op = _mm_movemask_pd(_mm_andnot_pd(sq, _mm_or_pd(ea, eb)));
      acc[i] = (qa & 1) | (qb & 1) << 1, acc[i + 1] = qa >> 1 | (qb & 2);
      open[nopen] = i, nopen += op & 1;
      open[nopen] = i + 1, nopen += op >> 1;
    }
    // The open attempts, two at a time for ln U and both shapes at once for h.
    if (nopen & 1) open[nopen] = open[nopen - 1];
    for (int j = 0; j < nopen; j += 2) {
      double lu[2];
      _mm_storeu_pd(lu, ln_fast(_mm_set_pd(U[open[j + 1]], U[open[j]])));
      for (int l = 0; l < 2 && j + l < nopen; ++l) {
        const int i = open[j + l];
        const int q = quick_tests(z[i], lu[l], vc, v3d);
        acc[i] = q >= 0 ? q : full_tests(sa, sb, z[i], U[i]);
      }
    }
    int k = 0;  // pairs of the round
    for (int i = 0; i < m; ++i) {
      const unsigned s = second, ok = acc[i] >> s & 1;
      double v = xc[s][i];
      fails = ok ? 0 : fails + 1;
      if (fails == kMaxAttempts) [[unlikely]] {  // outside the domains only
        v = forced[s];
        fails = 0;
        X[k] = x, Y[k] = v;
        x = s ? x : v, k += s, second = s ^ 1;
        continue;
      }
      X[k] = x, Y[k] = v;  // kept when this attempt accepts Y
      x = ok && !s ? v : x;
      k += ok & s;
      second = s ^ ok;
    }
    // loc + scale X / (X + Y); with loc 0 and scale 1 that is the ratio.
    const __m128d vl = _mm_set1_pd(loc), vs = _mm_set1_pd(scale);
    X[k] = 1, Y[k] = 1;
    for (int j = 0; j < k; j += 2) {
      const __m128d xx = _mm_loadu_pd(X + j);
      const __m128d v = _mm_add_pd(vl, _mm_mul_pd(vs, _mm_div_pd(xx, _mm_add_pd(xx, _mm_loadu_pd(Y + j)))));
      if (j + 2 <= k)
        _mm_storeu_pd(out + done + j, v);
      else
        _mm_store_sd(out + done + j, v);
    }
    done += k;
  }
  return 0;
}

// Both shapes below 1: Johnk's method (1964). With x = U^(1/a) and
// y = V^(1/b), two uniforms an attempt, accept when x + y <= 1 and give
// x / (x + y); acceptance Gamma(a + 1) Gamma(b + 1) / Gamma(a + b + 1), 0.5
// (shapes near 1) to 1 (near 0). Where x or y is subnormal or 0, the ratio
// comes from the logarithms, 1 / (1 + e^(ln y - ln x)), so that it neither
// loses precision nor becomes 0 / 0.
int johnk_beta(void* stream, int n, double* out, double a, double b) {
  QuietKernels quiet;
  const double inv_a = 1 / a, inv_b = 1 / b;
  double u[2 * kRound], e[2 * kRound];
  int fails = 0;
  for (int done = 0; done < n;) {
    const int m = n - done < kRound ? n - done : kRound;
    const int st = draw_open(stream, 2 * m, u);
    if (st < 0) return st;
    _vqmdLn_50(2 * m, u, u);
    for (int i = 0; i < m; ++i) e[2 * i] = u[2 * i] * inv_a, e[2 * i + 1] = u[2 * i + 1] * inv_b;
    _vqmdExp_50(2 * m, e, e);
    for (int i = 0; i < m; ++i) {
      const double x = e[2 * i], y = e[2 * i + 1], t = x + y;
      if (!(t <= 1)) {
        if (++fails == kMaxAttempts) {  // outside the domains only
          out[done++] = a / (a + b);
          fails = 0;
        }
        continue;
      }
      fails = 0;
      if (x >= 0x1p-1022 && y >= 0x1p-1022) {
        out[done++] = x / t;
        continue;
      }
      // x or y subnormal or 0: the ratio from the logarithms.
      const double lx = u[2 * i] * inv_a, ly = u[2 * i + 1] * inv_b;
      double d = ly - lx;
      // Both -inf (shapes near 0): the sign of ln V a - ln U b decides.
      if (!(d == d)) d = u[2 * i + 1] * a > u[2 * i] * b ? 1e300 : -1e300;
      out[done++] = 1 / (1 + zev::dist::exp(d));
    }
  }
  return 0;
}

template <class T>
int beta_dist(void* stream, int n, T* r, double a, double b, double loc, double scale) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  if (!(a > 0 && a < inf && b > 0 && b < inf)) {
    for (int i = 0; i < n; ++i) r[i] = std::numeric_limits<T>::quiet_NaN();
    return 0;
  }
  if constexpr (sizeof(T) == 8) {
    if (a >= 1 && b >= 1) {  // the whole call in rounds, loc and scale applied as the ratio is formed
      QuietKernels quiet;
      return beta_no_boost(stream, n, r, Shape(a), Shape(b), a, b, loc, scale);
    }
  }
  double x[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = a < 1 && b < 1 ? johnk_beta(stream, m, x, a, b) : standard_beta(stream, m, x, a, b);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) r[done + i] = T(loc + scale * x[i]);
    done += m;
  }
  return 0;
}

}  // namespace

extern "C" {

ZEV_API int _vqssRngGamma(int, void* stream, int n, float* r, float a, float loc, float scale) {
  KeepErrno keep;
  return gamma<float>(stream, n, r, a, loc, scale);
}
ZEV_API int _vqsdRngGamma(int, void* stream, int n, double* r, double a, double loc, double scale) {
  KeepErrno keep;
  return gamma<double>(stream, n, r, a, loc, scale);
}
ZEV_API int _vqssRngChiSquare(int, void* stream, int n, float* r, float df, float loc, float scale) {
  KeepErrno keep;
  return gamma<float>(stream, n, r, 0.5 * double(df), loc, 2 * double(scale));
}
ZEV_API int _vqsdRngChiSquare(int, void* stream, int n, double* r, double df, double loc,
                              double scale) {
  KeepErrno keep;
  return gamma<double>(stream, n, r, 0.5 * df, loc, 2 * scale);
}
ZEV_API int _vqssRngBeta(int, void* stream, int n, float* r, float a, float b, float loc,
                         float scale) {
  KeepErrno keep;
  return beta_dist<float>(stream, n, r, a, b, loc, scale);
}
ZEV_API int _vqsdRngBeta(int, void* stream, int n, double* r, double a, double b, double loc,
                         double scale) {
  KeepErrno keep;
  return beta_dist<double>(stream, n, r, a, b, loc, scale);
}

// Failures before the a-th success, success probability p: Poisson(mu)
// with mu Gamma(a, (1 - p)/p). A block of means first, then their Poisson
// draws: below kInvertBelow by inversion from 0, with e^-mu of the whole
// block from the Exp row; above, by PTRS.
ZEV_API int _vqsiRngNegbinomial(int, void* stream, int n, int32_t* r, double a, double p) {
  KeepErrno keep;
  if (!(a > 0 && a < std::numeric_limits<double>::infinity() && p > 0 && p <= 1)) {
    for (int i = 0; i < n; ++i) r[i] = kMarker;
    return 0;
  }
  const double scale = (1 - p) / p;
  double mu[kBlock], emu[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    int st = standard_gamma(stream, m, mu, a);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) mu[i] *= scale, emu[i] = -mu[i];
    {
      QuietKernels quiet;
      _vqmdExp_HA(m, emu, emu);
    }
    Uniforms u(stream, 1);
    PoissonSeq poisson;
    st = each_variate(u, m, [&](int i) {
      if (mu[i] < kInvertBelow) {
        r[done + i] = saturate(poisson_from_zero(u, mu[i], emu[i]));
      } else if (mu[i] < 0x1p31) {
        r[done + i] = saturate(poisson(u, mu[i]));
      } else {
        u.next();
        r[done + i] = kMarker;
      }
    });
    if (st < 0) return st;
    done += m;
  }
  return 0;
}

}  // extern "C"
