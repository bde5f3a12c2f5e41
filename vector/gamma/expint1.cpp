// ExpInt1, the exponential integral E1(x) = integral from x to infinity of
// e^-t / t dt, in single and double.
//
// LA and HA share an element loop over a scalar function in the x87 extended
// format (gamma_ext.h):
//   x < 2.5   E1 = -gamma - ln x - sum (-x)^k / (k k!), 32 terms; the sum
//             cancels against ln x by at most e^(2x) < 2^7.3, well inside the
//             eleven extra bits of the format
//   x >= 2.5  E1 = e^-x / (x + 1 - 1/(x + 3 - 4/(x + 5 - ...))), the
//             convergent of a depth set by the range of x (65 terms at 2.5,
//             7 from 128 on; each depth measured to leave < 2^-66) by the
//             forward recurrences, with one division
// EP has vector kernels on SSE2 (the single one runs the double arithmetic on
// widened lanes):
//   x < 1     E1 = -ln x + p(x), p of degree 10, ln x by the EP logarithm core
//   x >= 1    E1 = e^-x q(x), q = e^x E1 on forty pieces of [1, 1024), four to
//             a binade, each a degree-6 polynomial about its middle; the piece
//             is the exponent and the top two fraction bits of x
// Lanes that are not positive normals, or above 700 (where E1 leaves the
// normal range), take the scalar function.
//
// Statuses: E1(+-0) is +Inf, status 2 (the pole); negative x and -Inf give
// NaN, status 1 (the real function is not defined there); +Inf gives +0, and
// NaN itself, status 0. Results that underflow report nothing.
#include <cfloat>
#include <cmath>

#include "vector/common/bits.h"
#include "vector/exp/exp_common.h"
#include "vector/exp/exp_data.h"
#include "vector/gamma/gamma_ext.h"
#include "vector/log/log_core.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace gammax;
using namespace expk;

// E1 of a finite x > 0 in the extended format.
LD e1_ext(LD x) {
  if (x < 2.5L) return (-kExt.euler - log(x)) - x * horner(kE1Series, x);
  // From 1000 on E1 < e^-x / x is below 2^-1450, far under half the least
  // double: a value below every format stands for it. (The exponential is
  // not asked: its scale 2^k leaves the format's exponent range near 11356.)
  if (x > 1000) return pow2(-16000);
  const int depth = x < 3 ? 65 : x < 4 ? 55 : x < 6 ? 43 : x < 8 ? 31 : x < 12 ? 24 : x < 16 ? 18
                  : x < 24 ? 15 : x < 32 ? 12 : x < 64 ? 10 : x < 128 ? 8 : 7;
  // The depth-th convergent A/B of x + 1 - 1/(x + 3 - 4/(x + 5 - ...)), by the
  // forward recurrences A_k = b_k A_(k-1) - k^2 A_(k-2) (and B alike), b_k =
  // x + 2k + 1: two independent chains of products and one division at the
  // end, where the backward evaluation waits on a division a term. Both are
  // dominant, growing solutions (to about 10^200), so the rounding errors stay
  // relative: a few units of 2^-64 per term, 2^-57 at the depth of 65.
  LD a0 = 1, a1 = x + 1, b0 = 0, b1 = 1;
  for (int k = 1; k <= depth; ++k) {
    const LD bk = x + (2 * k + 1), ak = LD(k) * k;
    const LD a = bk * a1 - ak * a0, b = bk * b1 - ak * b0;
    a0 = a1;
    a1 = a;
    b0 = b1;
    b1 = b;
  }
  return exp(-x) * (b1 / a1);
}

// The special values, or -1 for a finite positive x.
template <class T>
int e1_special(T x, LD& v) {
  if (x != x) {
    v = LD(x) + LD(x);
    return 0;
  }
  // Zero and sign from the bits: under the caller's DAZ a compare reads a
  // subnormal as zero.
  if ((ubits(x) << 1) == 0) {
    v = 1 / LD(0);
    return 2;
  }
  if (std::signbit(x)) {
    v = LD(0) / LD(0);
    return 1;
  }
  if (x > static_cast<T>(DBL_MAX)) {
    v = 0;
    return 0;
  }
  return -1;
}

template <class T>
int expint1_scalar(const T* a, T* r) {
  LD v;
  int st = e1_special(*a, v);
  if (st < 0) {
    v = e1_ext(abs_ext(*a));
    st = 0;
  }
  *r = static_cast<T>(v);
  return st;
}

// The scalar functions of the EP kernels run under the vector kernels' own
// guard (MXCSR), so they take the extended format for themselves.
template <class T>
int expint1_scalar_ep(const T* a, T* r) {
  ExtScope g;
  return expint1_scalar(a, r);
}

struct SExpInt1P : ElementLoop<float, expint1_scalar<float>> {
  static constexpr const char* kName = "vsExpInt1";
};
struct DExpInt1P : ElementLoop<double, expint1_scalar<double>> {
  static constexpr const char* kName = "vdExpInt1";
};

// ---- EP: vector kernels ----------------------------------------------------------

struct E1EPConst {
  __m128d one, exp_c, exp_s, exp_l, e2, e3, e4;
  I4 lo_bound, hi_bound;
};
alignas(16) const E1EPConst kE1EP = {
    .one = expk::d2(1.0),                   // 1.0: the split between the two forms
    .exp_c = expk::d2(184.6649652337873),   // 128/ln2: -x in units of the table step ln2/128 (kD128One)
    .exp_s = expk::d2(6755399441055744.0),  // 1.5 * 2^52: rounds to an integer k
    .exp_l = expk::d2(0.0054152123481245725),  // ln2/128
    .e2 = expk::d2(0.5),                    // e^r ~ 1 + r + r^2/2 + r^3/6 + r^4/24: |r| <= ln2/256
    .e3 = expk::d2(1.0 / 6),
    .e4 = expk::d2(1.0 / 24),
    .lo_bound = i4(0x00100000),  // high word of the least normal: smaller lanes are special
    .hi_bound = i4(0x4085E000),  // high word of 700: E1 stays normal below it
};

// 2^(k's bits above the index) added into the exponent field of y.
inline __m128d add_exponent7(__m128d y, __m128d t) {
  return dv(_mm_add_epi64(bits(y), _mm_slli_epi64(_mm_srli_epi64(bits(t), 7), 52)));
}

// e^-x for 1 <= x <= 700: -x = k ln2/128 + r, 2^(k/128) from the table.
inline __m128d exp_neg(__m128d x) {
  const E1EPConst& c = kE1EP;
  const __m128d y = _mm_sub_pd(_mm_setzero_pd(), x);
  const __m128d t = _mm_add_pd(_mm_mul_pd(y, c.exp_c), c.exp_s);
  const __m128d kf = _mm_sub_pd(t, c.exp_s);
  const __m128d r = _mm_sub_pd(y, _mm_mul_pd(kf, c.exp_l));
  __m128d p = _mm_add_pd(c.e3, _mm_mul_pd(r, c.e4));
  p = _mm_add_pd(c.e2, _mm_mul_pd(r, p));
  p = _mm_add_pd(c.one, _mm_mul_pd(r, _mm_add_pd(c.one, _mm_mul_pd(r, p))));
  unsigned j[2];
  index2(t, 127, j);
  return add_exponent7(_mm_mul_pd(fetch(expdata::kD128One, j), p), t);
}

// e^-x q(x) for 1 <= x < 1024: the piece's row {m, c0 ... c6} by lane.
inline __m128d e1_large(__m128d x) {
  const __m128i hw = _mm_shuffle_epi32(bits(x), _MM_SHUFFLE(3, 1, 3, 1));
  // NaN lanes reach here too: the index is held to the last piece (the
  // values fit 16 bits, so the 16-bit minimum serves).
  const __m128i idx = _mm_min_epi16(_mm_srli_epi32(_mm_sub_epi32(hw, _mm_set1_epi32(0x3FF00000)), 18),
                                    _mm_set1_epi32(kE1PieceCount - 1));
  const double* r0 = kE1Pieces[_mm_cvtsi128_si32(idx)];
  const double* r1 = kE1Pieces[_mm_cvtsi128_si32(_mm_srli_si128(idx, 4))];
  __m128d c[8];
  for (int k = 0; k < 8; k += 2) {
    const __m128d a = _mm_load_pd(r0 + k), b = _mm_load_pd(r1 + k);
    c[k] = _mm_unpacklo_pd(a, b);
    c[k + 1] = _mm_unpackhi_pd(a, b);
  }
  const __m128d t = _mm_sub_pd(x, c[0]);
  __m128d q = c[7];
  for (int k = 6; k >= 1; --k) q = _mm_add_pd(c[k], _mm_mul_pd(t, q));
  return _mm_mul_pd(exp_neg(x), q);
}

// -ln x + p(x) for 0 < x < 1 (normal).
inline __m128d e1_small(__m128d x) {
  __m128d p = _mm_set1_pd(kE1Small[kE1SmallDegree]);
  for (int k = kE1SmallDegree - 1; k >= 0; --k) p = _mm_add_pd(_mm_set1_pd(kE1Small[k]), _mm_mul_pd(x, p));
  return _mm_sub_pd(p, logpow::log_ep(x));
}

// E1 of two lanes; lanes outside [least normal, 700] give garbage that the
// callout replaces.
inline __m128d e1_ep(__m128d x) {
  const __m128d small = _mm_cmplt_pd(x, kE1EP.one);
  const int m = _mm_movemask_pd(small);
  if (m == 0) return e1_large(x);
  // Small lanes run the large form on 1.0, so that it never indexes outside.
  if (m == 3) return e1_small(x);
  const __m128d xl = select(small, kE1EP.one, x);
  const __m128d xs = select(small, x, kE1EP.one);
  return select(small, e1_small(xs), e1_large(xl));
}

// Special lanes of two vectors of doubles: high words outside
// [lo_bound, hi_bound), sign included.
inline unsigned e1_special_d(__m128d x0, __m128d x1) {
  const __m128i h = _mm_castps_si128(
      _mm_shuffle_ps(_mm_castpd_ps(x0), _mm_castpd_ps(x1), _MM_SHUFFLE(3, 1, 3, 1)));
  const __m128i out = _mm_or_si128(_mm_cmplt_epi32(h, iv(kE1EP.lo_bound)),
                                   _mm_cmpgt_epi32(h, _mm_sub_epi32(iv(kE1EP.hi_bound), _mm_set1_epi32(1))));
  return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(out)));
}

struct DExpInt1EP {
  using T = double;
  using V = __m128d;
  static constexpr int kBlock = 4;
  static constexpr int kBlockI = 4;
  static constexpr bool kPerBlock = true;
  static constexpr const char* kName = "vdExpInt1";
  static int scalar(const double* a, double* r) { return expint1_scalar_ep(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) y[v] = e1_ep(x[v]);
    for (int v = 0; v + 1 < NV; v += 2) m |= e1_special_d(x[v], x[v + 1]) << (2 * v);
    if constexpr (NV % 2 == 1) m |= (e1_special_d(x[NV - 1], x[NV - 1]) & 3) << (2 * (NV - 1));
    return m;
  }
};

struct SExpInt1EP {
  using T = float;
  using V = __m128;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = 8;
  static constexpr bool kPerBlock = true;
  static constexpr const char* kName = "vsExpInt1";
  static int scalar(const float* a, float* r) { return expint1_scalar_ep(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      const __m128d lo = widen_lo(x[v]), hi = widen_hi(x[v]);
      y[v] = narrow(e1_ep(lo), e1_ep(hi));
      m |= e1_special_d(lo, hi) << (4 * v);
    }
    return m;
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sExpInt1, laha, SExpInt1P)
ZEV_KERNELS(dExpInt1, laha, DExpInt1P)
ZEV_KERNELS(sExpInt1, ep, SExpInt1EP)
ZEV_KERNELS(dExpInt1, ep, DExpInt1EP)
