// Ln, Log2, Log10, Log1p and Logb, single and double.
//
// Measured worst errors: double (zev_ulp --full) HA 0.50 ulp for Ln, Log2 and
// Log10, dLog1p 0.65 ulp, dLog2 LA 1.7 ulp, EP 34 bits. Single, in single
// arithmetic, over all 2^32 inputs (tools/single_check): HA sLn 0.80, sLog2 0.90,
// sLog10 0.86, sLog1p 0.82 ulp; LA sLn 1.24, sLog2 2.53, sLog10 2.54 ulp; EP
// 15.9 bits.
//
// Special lanes: x not a positive normal (zero, denormal, negative, infinity,
// NaN), found by one unsigned compare of the bits; Log1p: x <= -1, |x| below
// the least normal, infinities, NaN and (single) x above 2^100; Logb: zero,
// denormal, infinity, NaN. The double scalar functions run the vector core on
// one lane after scaling a denormal; the single ones run the double table core
// (log_s, within 2^-33) on the widened lane.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "vector/log/log2_10_constants.h"
#include "vector/log/log_core.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace logpow;

// ---- double cores of one kernel each -----------------------------------------

enum class Base { E, Two, Ten };

inline __m128d sum(DD a) { return _mm_add_pd(a.hi, a.lo); }

template <Base B>
inline DD scale_dd(DD l) {
  if constexpr (B == Base::E) {
    return l;
  } else {
    constexpr double chi = B == Base::Two ? kInvLn2_hi : kInvLn10_hi;
    constexpr double clo = B == Base::Two ? kInvLn2_lo : kInvLn10_lo;
    // chi split into 26 + 27 bits, as the Veltkamp split would give.
    constexpr double c1 = chi * 134217729.0 - (chi * 134217729.0 - chi);
    return mul_const(l, c1, chi - c1, chi, clo);
  }
}
template <Base B>
constexpr double inv_ln() {
  return B == Base::Two ? kInvLn2_hi : kInvLn10_hi;
}


// HA of the three bases, from one reduction. With a = zh invc - 1 (exact)
// and b = zl invc (|b| < 2^-25), r = a + b rounded and er its error; in the
// row of 1 (invc = 1) r = z - 1 is exact even where a and b cancel.
// Ln: the table sum T = k ln2_hi + log c_hi is exact and |T| >= |r| (or
// T = 0), so T + r is one Fast2Sum; its error, er, the table and ln2 tails and
// the polynomial form the low part.
// Log2, Log10: T = k (or k log10(2)_hi) + log_b c_hi is exact from the tables
// of log_b c, and r's leading term r_h C_hi (r_h r's high 26 bits, C_hi = 1/ln b
// to 26 bits) is an exact product; the rest of r and er times C_hi, r C_lo, the
// polynomial times C and the tails go into the low part in plain double.
// Every low-part error stays below 2^-60 of the result: 0.51 ulp at most.
// With Corr, `corr` is a small addend of x (|corr| <= ulp(x)/2) folded into
// er, as in log_ha.
template <Base B, bool Corr = false>
inline __m128d log_d_core(__m128d x, __m128d corr = _mm_setzero_pd()) {
  const __m128i ix = as_i(x);
  const __m128i tmp = _mm_sub_epi64(ix, i64(kLogOff));
  const __m128i idx = _mm_and_si128(_mm_srli_epi64(tmp, 45), i64(127));
  const __m128i kb = _mm_and_si128(tmp, i64(0xFFF0000000000000ull));
  const __m128d z = as_d(_mm_sub_epi64(ix, kb));
  const __m128d kf = _mm_cvtepi32_pd(_mm_shuffle_epi32(_mm_srai_epi32(tmp, 20), _MM_SHUFFLE(3, 1, 3, 1)));
  const int i0 = _mm_cvtsi128_si32(idx);
  const int i1 = _mm_extract_epi16(idx, 4);
  const __m128d t0 = _mm_load_pd(kLogTab[i0]);
  const __m128d t1 = _mm_load_pd(kLogTab[i1]);
  const __m128d invc = _mm_unpacklo_pd(t0, t1);
  __m128d chi, clo;
  if constexpr (B == Base::E) {
    chi = _mm_unpackhi_pd(t0, t1);
    clo = _mm_loadh_pd(_mm_load_sd(&kLogLo[i0]), &kLogLo[i1]);
  } else {
    const auto& tab = B == Base::Two ? kLog2Tab : kLog10Tab;
    const __m128d u0 = _mm_load_pd(tab[i0]);
    const __m128d u1 = _mm_load_pd(tab[i1]);
    chi = _mm_unpacklo_pd(u0, u1);
    clo = _mm_unpackhi_pd(u0, u1);
  }
  const __m128i mask26 = i64(0xFFFFFFFFF8000000ull);
  const __m128d zh = as_d(_mm_and_si128(as_i(z), mask26));
  const __m128d a = _mm_sub_pd(_mm_mul_pd(zh, invc), d1(1.0));  // exact
  const __m128d b = _mm_mul_pd(_mm_sub_pd(z, zh), invc);
  const __m128d r = _mm_add_pd(a, b);
  // r's rounding error: exact when |a| >= |b|; when not, both are below 2^-25
  // and it is far below what matters. In the row of 1, r = z - 1 is exact
  // (a and b may cancel there) and er = 0.
  __m128d er = _mm_add_pd(_mm_sub_pd(a, r), b);
  if constexpr (Corr) {
    // corr / c scaled by 2^-k, and the cross term of r^2/2 it brings.
    const __m128d sc = as_d(_mm_sub_epi64(i64(0x3FF0000000000000ull), kb));
    er = _mm_add_pd(er, _mm_mul_pd(_mm_mul_pd(corr, invc), sc));
    er = _mm_sub_pd(er, _mm_mul_pd(r, er));
  }
  const __m128d r2 = _mm_mul_pd(r, r);
  // log1p(r) - r: Taylor to r^7 in Estrin's scheme; the tail r^8/8 < 2^-67.
  const __m128d q01 = _mm_add_pd(d1(-0.5), _mm_mul_pd(r, d1(1.0 / 3.0)));
  const __m128d q23 = _mm_add_pd(d1(-0.25), _mm_mul_pd(r, d1(0.2)));
  const __m128d q45 = _mm_add_pd(d1(-1.0 / 6.0), _mm_mul_pd(r, d1(1.0 / 7.0)));
  const __m128d p =
      _mm_mul_pd(r2, _mm_add_pd(_mm_add_pd(q01, _mm_mul_pd(r2, q23)), _mm_mul_pd(_mm_mul_pd(r2, r2), q45)));
  if constexpr (B == Base::E) {
    const __m128d t = _mm_add_pd(_mm_mul_pd(kf, d1(kLn2_hi)), chi);  // exact
    const DD s = fast_two_sum(t, r);
    const __m128d lo =
        _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_mul_pd(kf, d1(kLn2_lo)), clo), _mm_add_pd(s.lo, er)), p);
    return _mm_add_pd(s.hi, lo);
  } else {
    constexpr double ch = B == Base::Two ? kInvLn2_hi26 : kInvLn10_hi26;
    constexpr double cl = B == Base::Two ? kInvLn2_lo26 : kInvLn10_lo26;
    const __m128d t = B == Base::Two ? _mm_add_pd(kf, chi) : _mm_add_pd(_mm_mul_pd(kf, d1(kLog10_2_hi)), chi);
    const __m128d rh = as_d(_mm_and_si128(as_i(r), mask26));
    const DD s = fast_two_sum(t, _mm_mul_pd(rh, d1(ch)));  // the product is exact
    // (r - r_h + er) C_hi + r C_lo + p C
    const __m128d rest = _mm_add_pd(_mm_mul_pd(_mm_add_pd(_mm_sub_pd(r, rh), er), d1(ch)),
                                    _mm_mul_pd(_mm_add_pd(r, p), d1(cl)));
    __m128d lo = _mm_add_pd(_mm_add_pd(clo, s.lo), _mm_add_pd(rest, _mm_mul_pd(p, d1(ch))));
    if constexpr (B == Base::Ten) lo = _mm_add_pd(lo, _mm_mul_pd(kf, d1(kLog10_2_lo)));
    return _mm_add_pd(s.hi, lo);
  }
}
template <Base B>
inline __m128d log_d_ha(__m128d x) {
  return log_d_core<B>(x);
}
// LA of Log2: r = z invc - 1 as a pair (a Fast2Sum of the two exact partial
// products; inexact only where r is too small to matter, and exact in the row
// of 1), log z = log c + log1p(r) summed in one double (it may cancel to
// 2^-9 in the rows beside 1, so r needs its low part), scaled by 1/ln2 and
// added to k: within 2 ulp, and exact at powers of two.
inline __m128d log2_d_la(__m128d x) {
  const LogRow w = log_row(x);
  const __m128d zh = as_d(_mm_and_si128(as_i(w.z), i64(0xFFFFFFFFF8000000ull)));
  const DD r = fast_two_sum(_mm_sub_pd(_mm_mul_pd(zh, w.invc), d1(1.0)), _mm_mul_pd(_mm_sub_pd(w.z, zh), w.invc));
  const __m128d r2 = _mm_mul_pd(r.hi, r.hi);
  // log1p(r) - r: Taylor to r^7 in Estrin's scheme.
  const __m128d q01 = _mm_add_pd(d1(-0.5), _mm_mul_pd(r.hi, d1(1.0 / 3.0)));
  const __m128d q23 = _mm_add_pd(d1(-0.25), _mm_mul_pd(r.hi, d1(0.2)));
  const __m128d q45 = _mm_add_pd(d1(-1.0 / 6.0), _mm_mul_pd(r.hi, d1(1.0 / 7.0)));
  const __m128d q = _mm_add_pd(_mm_add_pd(q01, _mm_mul_pd(r2, q23)), _mm_mul_pd(_mm_mul_pd(r2, r2), q45));
  const __m128d lo = _mm_add_pd(_mm_add_pd(w.lclo, r.lo), _mm_mul_pd(r2, q));
  const __m128d lz = _mm_add_pd(_mm_add_pd(w.lchi, r.hi), lo);
  return _mm_add_pd(w.kf, _mm_mul_pd(lz, d1(kInvLn2_hi)));
}
template <Base B>
inline __m128d log_d_ep(__m128d x) {
  const __m128d l = log_ep(x);
  if constexpr (B == Base::E)
    return l;
  else
    return _mm_mul_pd(l, d1(inv_ln<B>()));
}

// log1p x = log(u + corr) with u = 1 + x rounded and corr its exact error.
inline __m128d log1p_d(__m128d x) {
  const DD u = two_sum(d1(1.0), x);
  return log_d_core<Base::E, true>(u.hi, u.lo);
}

// ---- single cores, in double --------------------------------------------------

template <Base B>
inline __m128d log_sd(__m128d x) {
  const __m128d l = log_s<4>(x);
  if constexpr (B == Base::E)
    return l;
  else
    return _mm_mul_pd(l, d1(inv_ln<B>()));
}

// log1p of widened singles: 1 + x is exact in double unless |x| < 2^-29; the
// error then goes in as corr / c (c = 1 in that row).
inline __m128d log1p_sd(__m128d x) {
  const DD u = two_sum(d1(1.0), x);
  const LogRow w = log_row(u.hi);
  const __m128d sc = as_d(_mm_sub_epi64(i64(0x3FF0000000000000ull), w.kb));
  const __m128d r = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(w.z, w.invc), d1(1.0)),
                               _mm_mul_pd(_mm_mul_pd(u.lo, w.invc), sc));
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(0x1.62e42fefa39efp-1)), w.lchi);
  const __m128d q =
      _mm_add_pd(d1(-0.5), _mm_mul_pd(r, _mm_add_pd(d1(0x1.5555555555555p-2), _mm_mul_pd(r, d1(-0.25)))));
  return _mm_add_pd(hi, _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q)));
}

// ---- single cores, in single --------------------------------------------------
//
// x = 2^k z with z in [z0, 2 z0) from the bits, z0 = 0.666809 (a little above
// 2/3, so that log10 of x in [4/3, 2 z0) comes with k = 0 rather than by
// cancellation to just below 0.125), and f = z - 1 exact; the logarithm to
// base b is k A + C f + f^2 Q(f), A = log_b 2, C = 1/ln b.
// HA: hi = k A_hi + f_h C_hi, with A_hi of 16 bits and C_hi and f_h (f's high
// bits) of 12, is a sum of two exact products, and Fast2Sum keeps its error
// (|k A_hi| >= |f C| whenever k != 0); the low part gathers that error,
// k A_lo, f_l C_hi + f C_lo and f^2 Q(f). LA: one rounded sum of k A, C f and
// f^2 Q(f) with a shorter Q. EP (below) has a reduction of its own and no
// compensation.
#include "vector/log/log_poly.inc"
#include "vector/log/log_single_poly.inc"

inline __m128 f1(float v) { return _mm_set1_ps(v); }

// R(f) = (Q(f) - q0) / f for Q of degree 9 or 7, in Estrin's scheme.
template <int N>
inline __m128 poly_r(__m128 f, __m128 f2, const float (&q)[N]) {
  static_assert(N == 10 || N == 8);
  auto pair = [&](int i) { return _mm_add_ps(f1(q[i]), _mm_mul_ps(f, f1(q[i + 1]))); };
  __m128 hi;
  if constexpr (N == 10)
    hi = _mm_add_ps(pair(5), _mm_mul_ps(f2, _mm_add_ps(pair(7), _mm_mul_ps(f2, f1(q[9])))));
  else
    hi = _mm_add_ps(pair(5), _mm_mul_ps(f2, f1(q[7])));
  return _mm_add_ps(_mm_add_ps(pair(1), _mm_mul_ps(f2, pair(3))), _mm_mul_ps(_mm_mul_ps(f2, f2), hi));
}

// The constants of one base: A = log_b 2 and C = 1/ln b, split.
struct SBase {
  float a_hi, a_lo, c_hi, c_lo;
  const float (&q_ha)[10];
  const float (&q_la)[8];
};
constexpr SBase kSBase[3] = {
    {0x1.62e4p-1f, 0x1.7f7d1cp-20f, 1.0f, 0.0f, kSLogQHa, kSLogQLa},
    {1.0f, 0.0f, 0x1.716p+0f, -0x1.7135a8p-13f, kSLog2QHa, kSLog2QLa},
    {0x1.3442p-2f, -0x1.95ec1p-19f, 0x1.bccp-2f, -0x1.09d5b2p-15f, kSLog10QHa, kSLog10QLa},
};

// k (as a float) and f = z - 1 of x = 2^k z, z in [z0, 2 z0); kb is k << 23.
struct SRed {
  __m128 kf, f;
  __m128i kb;
};
inline SRed sreduce(__m128 x) {
  const __m128i ix = _mm_castps_si128(x);
  const __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(0x3F2AB400));
  SRed o;
  o.kb = _mm_and_si128(tmp, _mm_set1_epi32(static_cast<int>(0xFF800000u)));
  o.kf = _mm_cvtepi32_ps(_mm_srai_epi32(tmp, 23));
  o.f = _mm_sub_ps(_mm_castsi128_ps(_mm_sub_epi32(ix, o.kb)), f1(1.0f));
  return o;
}

// k A + C f + f^2 Q(f) + extra, compensated: extra is a small addend of the
// low part (log1p's correction).
template <Base B>
inline __m128 slog_ha(const SRed& w, __m128 extra = _mm_setzero_ps()) {
  constexpr SBase c = kSBase[static_cast<int>(B)];
  const __m128 f = w.f, f2 = _mm_mul_ps(f, f);
  __m128 fc = f, lo = extra, t2 = _mm_mul_ps(f2, f1(c.q_ha[0]));  // q0 f^2
  if constexpr (B != Base::E) {
    const __m128 fh = _mm_and_ps(f, _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(0xFFFFF000u))));
    const __m128 fl = _mm_sub_ps(f, fh);
    fc = _mm_mul_ps(fh, f1(c.c_hi));  // exact: 12 x 12 bits
    // q0 f^2 = q0 fh^2 + q0 fl (f + fh), fh^2 exact: the second part joins the
    // low part, so f^2 is never rounded (a fifth of an ulp where k and C f
    // cancel).
    lo = _mm_add_ps(lo, _mm_add_ps(_mm_mul_ps(fl, f1(c.c_hi)), _mm_mul_ps(f, f1(c.c_lo))));
    lo = _mm_add_ps(lo, _mm_mul_ps(_mm_mul_ps(fl, _mm_add_ps(f, fh)), f1(c.q_ha[0])));
    t2 = _mm_mul_ps(_mm_mul_ps(fh, fh), f1(c.q_ha[0]));
  }
  __m128 ka = w.kf;
  if constexpr (B != Base::Two) {
    ka = _mm_mul_ps(w.kf, f1(c.a_hi));  // exact: 8 x 16 bits
    lo = _mm_add_ps(lo, _mm_mul_ps(w.kf, f1(c.a_lo)));
  }
  const __m128 s = _mm_add_ps(ka, fc);
  const __m128 e = _mm_add_ps(_mm_sub_ps(ka, s), fc);
  // f^2 Q(f) as q0 f^2 + f^3 R(f): Q's rounding near its top would cost a
  // third of an ulp where k A and C f cancel.
  const __m128 t3 = _mm_mul_ps(_mm_mul_ps(f2, f), poly_r(f, f2, c.q_ha));
  return _mm_add_ps(s, _mm_add_ps(_mm_add_ps(_mm_add_ps(e, lo), t3), t2));
}

template <Base B>
inline __m128 log_s_ha(__m128 x) {
  return slog_ha<B>(sreduce(x));
}

template <Base B>
inline __m128 log_s_la(__m128 x) {
  constexpr SBase c = kSBase[static_cast<int>(B)];
  const SRed w = sreduce(x);
  const __m128 f = w.f, f2 = _mm_mul_ps(f, f);
  const __m128 t = _mm_mul_ps(f2, _mm_add_ps(f1(c.q_la[0]), _mm_mul_ps(f, poly_r(f, f2, c.q_la))));
  const __m128 cf = B == Base::E ? f : _mm_mul_ps(f, f1(c.c_hi + c.c_lo));
  if constexpr (B == Base::Two)
    return _mm_add_ps(w.kf, _mm_add_ps(cf, t));
  else  // k A_hi exact, so that log10 1000 = 3
    return _mm_add_ps(_mm_mul_ps(w.kf, f1(c.a_hi)), _mm_add_ps(cf, _mm_add_ps(_mm_mul_ps(w.kf, f1(c.a_lo)), t)));
}

// EP: no table, z in [0.6816, 1.3633), f = z - 1, log1p f = f + f^2 P(f)
// with P of degree 4 (2^-15.9 relative).
template <Base B>
inline __m128 log_s_ep(__m128 x) {
  const __m128i ix = _mm_castps_si128(x);
  const __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(0x3F2E8000));
  const __m128i kb = _mm_and_si128(tmp, _mm_set1_epi32(static_cast<int>(0xFF800000u)));
  const __m128 kf = _mm_cvtepi32_ps(_mm_srai_epi32(tmp, 23));
  const __m128 f = _mm_sub_ps(_mm_castsi128_ps(_mm_sub_epi32(ix, kb)), _mm_set1_ps(1.0f));
  __m128 p = _mm_set1_ps(static_cast<float>(kLogEpPoly[4]));
  for (int i = 3; i >= 0; --i) p = _mm_add_ps(_mm_set1_ps(static_cast<float>(kLogEpPoly[i])), _mm_mul_ps(f, p));
  const __m128 l1p = _mm_add_ps(f, _mm_mul_ps(_mm_mul_ps(f, f), p));
  if constexpr (B == Base::Two)
    return _mm_add_ps(kf, _mm_mul_ps(l1p, _mm_set1_ps(1.44269504f)));
  else if constexpr (B == Base::Ten)
    return _mm_mul_ps(_mm_add_ps(_mm_mul_ps(kf, _mm_set1_ps(0.693147182f)), l1p), _mm_set1_ps(0.434294492f));
  else
    return _mm_add_ps(_mm_mul_ps(kf, _mm_set1_ps(0.693147182f)), l1p);
}

// log1p of singles: u = 1 + x rounded with its exact error c; then
// log1p x = log u + log1p(c/u) = k ln2 + log1p f + c 2^-k / z to well below
// an ulp (|c 2^-k / z| < 2^-23.4). 2^-k from the bits needs k <= 126: x above
// 2^100 goes to the scalar function.
inline __m128 log1p_s(__m128 x) {
  const __m128 a = _mm_max_ps(x, f1(1.0f)), b = _mm_min_ps(x, f1(1.0f));
  const __m128 u = _mm_add_ps(a, b);
  const __m128 c = _mm_add_ps(_mm_sub_ps(a, u), b);  // Fast2Sum, |a| >= |b|
  const SRed w = sreduce(u);
  const __m128 sc = _mm_castsi128_ps(_mm_sub_epi32(_mm_set1_epi32(0x3F800000), w.kb));
  const __m128 corr = _mm_div_ps(_mm_mul_ps(c, sc), _mm_add_ps(w.f, f1(1.0f)));
  return slog_ha<Base::E>(w, corr);
}

// ---- scalar functions ------------------------------------------------------------

inline double make_nan() {
  volatile double z = 0.0;
  return z / z;  // invalid
}
inline double make_neg_inf() {
  volatile double z = 0.0;
  return -1.0 / z;  // zero divide
}

// A double pair minus n ln2 (n the scaling of a denormal), as a pair.
inline DD log_rescale(DD l, int n) {
  const double a = _mm_cvtsd_f64(l.hi), lo = _mm_cvtsd_f64(l.lo);
  const double b = -n * kLn2_hi;  // exact
  const double s = a + b;
  const double e = std::fabs(a) >= std::fabs(b) ? (a - s) + b : (b - s) + a;
  return {_mm_set_sd(s), _mm_set_sd(e + (lo - n * kLn2_lo))};
}

// The special inputs of every logarithm: status 1 below zero, 2 at zero;
// `ordinary` maps the positive finite rest.
template <class T, class F>
int log_scalar(T x, T* r, F ordinary) {
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x < 0) {
    *r = static_cast<T>(make_nan());
    return 1;
  }
  if (x == 0) {
    *r = static_cast<T>(make_neg_inf());
    return 2;
  }
  *r = std::isinf(x) ? x : ordinary(x);
  return 0;
}

// The logarithms of a double; a denormal as log(x 2^54) - 54 log(2).
template <Base B>
int log_scalar_d(const double* a, double* r) {
  return log_scalar(*a, r, [](double x) {
    if (x >= DBL_MIN) return _mm_cvtsd_f64(log_d_ha<B>(_mm_set1_pd(x)));
    const DD l = log_ha(_mm_set1_pd(x * 0x1p54));
    if constexpr (B == Base::Two) {
      // log2(x 2^54) - 54, the subtraction as an exact sum.
      const DD m = scale_dd<B>(l);
      const double h = _mm_cvtsd_f64(m.hi), s = h - 54.0, e = (h - s) - 54.0;
      return s + (e + _mm_cvtsd_f64(m.lo));
    } else {
      return _mm_cvtsd_f64(sum(scale_dd<B>(log_rescale(l, 54))));
    }
  });
}

// The logarithms of a single, in double (a denormal single is a normal double).
template <Base B>
int log_scalar_s(const float* a, float* r) {
  return log_scalar(*a, r, [](float x) { return static_cast<float>(_mm_cvtsd_f64(log_sd<B>(_mm_set1_pd(x)))); });
}

// log1p: status 1 below -1, 2 at -1, 4 for a denormal (the result is x).
template <class T>
int log1p_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x < -1) {
    *r = static_cast<T>(make_nan());
    return 1;
  }
  if (x == -1) {
    *r = static_cast<T>(make_neg_inf());
    return 2;
  }
  if (std::isinf(x) || x == 0) {
    *r = x;
    return 0;
  }
  if (std::fabs(x) < std::numeric_limits<T>::min()) {
    volatile T t = x;
    *r = t - t * t;  // x, with underflow and inexact raised
    return 4;
  }
  if constexpr (sizeof(T) == 4)
    *r = static_cast<float>(_mm_cvtsd_f64(log1p_sd(_mm_set1_pd(x))));
  else if (x > 0x1p1000)  // log1p x = log x + 1/x, and 1/x is far below an ulp
    *r = _mm_cvtsd_f64(sum(log_ha(_mm_set1_pd(x))));
  else
    *r = _mm_cvtsd_f64(log1p_d(_mm_set1_pd(x)));
  return 0;
}

// logb: the binade exponent; -inf and status 2 at zero, +inf at infinities.
template <class T>
int logb_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x == 0) {
    *r = static_cast<T>(make_neg_inf());
    return 2;
  }
  if (std::isinf(x)) {
    *r = std::numeric_limits<T>::infinity();
    return 0;
  }
  *r = static_cast<T>(std::ilogb(x));
  return 0;
}

// ---- policies ----------------------------------------------------------------------

// The logarithms: a negative count read as unsigned, a callout.
template <class T, int Block>
struct LogPolicyBase : Blocks<T, Block> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
};

// Double kernels: Core maps a vector of two doubles; Mask its special lanes.
template <__m128d (*Core)(__m128d), int (*Scalar)(const double*, double*), const char* const* Name>
struct DPolicy : LogPolicyBase<double, 8> {
  static constexpr const char* kName = *Name;
  static __m128d eval(__m128d x, __m128d& special) {
    special = not_pos_normal(x);
    return Core(x);
  }
  static int scalar(const double* a, double* r) { return Scalar(a, r); }
};

// Single kernels, four lanes natively.
template <__m128 (*Core)(__m128), int (*Scalar)(const float*, float*), const char* const* Name>
struct SPolicy : LogPolicyBase<float, 16> {
  static constexpr const char* kName = *Name;
  static __m128 eval(__m128 x, __m128& special) {
    special = not_pos_normal(x);
    return Core(x);
  }
  static int scalar(const float* a, float* r) { return Scalar(a, r); }
};

constexpr const char* kNsLn = "vsLn";
constexpr const char* kNdLn = "vdLn";
constexpr const char* kNsLog2 = "vsLog2";
constexpr const char* kNdLog2 = "vdLog2";
constexpr const char* kNsLog10 = "vsLog10";
constexpr const char* kNdLog10 = "vdLog10";
constexpr const char* kNsLog1p = "vsLog1p";
constexpr const char* kNdLog1p = "vdLog1p";
constexpr const char* kNsLogb = "vsLogb";
constexpr const char* kNdLogb = "vdLogb";

using dLnHA = DPolicy<log_d_ha<Base::E>, log_scalar_d<Base::E>, &kNdLn>;
using dLnEP = DPolicy<log_d_ep<Base::E>, log_scalar_d<Base::E>, &kNdLn>;
using dLog2HA = DPolicy<log_d_ha<Base::Two>, log_scalar_d<Base::Two>, &kNdLog2>;
using dLog2LA = DPolicy<log2_d_la, log_scalar_d<Base::Two>, &kNdLog2>;
using dLog2EP = DPolicy<log_d_ep<Base::Two>, log_scalar_d<Base::Two>, &kNdLog2>;
using dLog10HA = DPolicy<log_d_ha<Base::Ten>, log_scalar_d<Base::Ten>, &kNdLog10>;

using sLnHA = SPolicy<log_s_ha<Base::E>, log_scalar_s<Base::E>, &kNsLn>;
using sLnLA = SPolicy<log_s_la<Base::E>, log_scalar_s<Base::E>, &kNsLn>;
using sLnEP = SPolicy<log_s_ep<Base::E>, log_scalar_s<Base::E>, &kNsLn>;
using sLog2HA = SPolicy<log_s_ha<Base::Two>, log_scalar_s<Base::Two>, &kNsLog2>;
using sLog2LA = SPolicy<log_s_la<Base::Two>, log_scalar_s<Base::Two>, &kNsLog2>;
using sLog2EP = SPolicy<log_s_ep<Base::Two>, log_scalar_s<Base::Two>, &kNsLog2>;
using sLog10HA = SPolicy<log_s_ha<Base::Ten>, log_scalar_s<Base::Ten>, &kNsLog10>;
using sLog10LA = SPolicy<log_s_la<Base::Ten>, log_scalar_s<Base::Ten>, &kNsLog10>;
using sLog10EP = SPolicy<log_s_ep<Base::Ten>, log_scalar_s<Base::Ten>, &kNsLog10>;

// Log1p: x <= -1, |x| below the least normal, infinities and NaN; also x
// above 2^1000 (double) or 2^100 (single), where the exponent of 1 + x leaves
// 2^-k out of range.
struct dLog1pP : LogPolicyBase<double, 8> {
  static constexpr const char* kName = "vdLog1p";
  static __m128d eval(__m128d x, __m128d& special) {
    const __m128d ax = _mm_andnot_pd(d1(-0.0), x);
    special = _mm_or_pd(_mm_or_pd(not_pos_normal(ax), _mm_cmple_pd(x, d1(-1.0))), _mm_cmpgt_pd(x, d1(0x1p1000)));
    return log1p_d(x);
  }
  static int scalar(const double* a, double* r) { return log1p_scalar(a, r); }
};
struct sLog1pP : LogPolicyBase<float, 16> {
  static constexpr const char* kName = "vsLog1p";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = _mm_andnot_ps(_mm_set1_ps(-0.0f), x);
    special = _mm_or_ps(outside(ax, sbits_of_exp(-126), sbits_of_exp(100)), _mm_cmple_ps(x, _mm_set1_ps(-1.0f)));
    return log1p_s(x);
  }
  static int scalar(const float* a, float* r) { return log1p_scalar(a, r); }
};

// Logb: the exponent field minus the bias, exact; zero, denormal, infinity and
// NaN go to the scalar function.
struct dLogbP : Blocks<double, 4> {
  static constexpr const char* kName = "vdLogb";
  static __m128d eval(__m128d x, __m128d& special) {
    special = not_pos_normal(_mm_andnot_pd(d1(-0.0), x));
    const __m128i h = _mm_srli_epi32(_mm_shuffle_epi32(as_i(x), _MM_SHUFFLE(3, 1, 3, 1)), 20);
    const __m128i e = _mm_sub_epi32(_mm_and_si128(h, _mm_set1_epi32(0x7FF)), _mm_set1_epi32(1023));
    return _mm_cvtepi32_pd(e);
  }
  static int scalar(const double* a, double* r) { return logb_scalar(a, r); }
};
struct sLogbP : Blocks<float, 8> {
  static constexpr const char* kName = "vsLogb";
  static __m128 eval(__m128 x, __m128& special) {
    special = not_pos_normal(_mm_andnot_ps(_mm_set1_ps(-0.0f), x));
    const __m128i e = _mm_sub_epi32(_mm_and_si128(_mm_srli_epi32(_mm_castps_si128(x), 23), _mm_set1_epi32(0xFF)),
                                    _mm_set1_epi32(127));
    return _mm_cvtepi32_ps(e);
  }
  static int scalar(const float* a, float* r) { return logb_scalar(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

// Rows: sLn, sLog2, sLog10 three kernels; dLn LA = HA; dLog2 three kernels;
// dLog10, Log1p and Logb one kernel.
ZEV_KERNELS(sLn, la, sLnLA)
ZEV_KERNELS(sLn, ha, sLnHA)
ZEV_KERNELS(sLn, ep, sLnEP)
ZEV_KERNELS(sLog2, la, sLog2LA)
ZEV_KERNELS(sLog2, ha, sLog2HA)
ZEV_KERNELS(sLog2, ep, sLog2EP)
ZEV_KERNELS(sLog10, la, sLog10LA)
ZEV_KERNELS(sLog10, ha, sLog10HA)
ZEV_KERNELS(sLog10, ep, sLog10EP)
ZEV_KERNELS(sLog1p, lahaep, sLog1pP)
ZEV_KERNELS(sLogb, lahaep, sLogbP)
ZEV_KERNELS(dLn, laha, dLnHA)
ZEV_KERNELS(dLn, ep, dLnEP)
ZEV_KERNELS(dLog2, la, dLog2LA)
ZEV_KERNELS(dLog2, ha, dLog2HA)
ZEV_KERNELS(dLog2, ep, dLog2EP)
ZEV_KERNELS(dLog10, lahaep, dLog10HA)
ZEV_KERNELS(dLog1p, lahaep, dLog1pP)
ZEV_KERNELS(dLogb, lahaep, dLogbP)
