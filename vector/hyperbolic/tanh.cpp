// Tanh in double and single. dTanh and sTanh HA: a piecewise polynomial, no
// division and no exponential. sTanh LA and EP: sinh over cosh in single
// arithmetic, four lanes at a time (below).
//
// The row of a = |x| comes from its high word: the exponent and three
// significand bits (mask 0x7FFE0000), less the word of 0.1171875, clamped to
// [0, 0x760000]; shifted right by 10 that is the row's byte offset, eight rows
// of 128 bytes a binade from 0.125 up to 20. Row 0 holds [0, 0.125) and the
// last row, 20 and beyond, the constant 1 (its scale 0 makes d = 0 whatever a
// is). With d = a scale + negCentre (exact), tanh a = c0Hi + (c0Lo + d P(d)),
// P of degree 9. HA forms the head c0Hi + c1 d as an exact sum.
//
// Lanes with a word above 0x7FE00000 (the top binade, infinities, NaN) or
// below 2^-53 go to the scalar function. Tanh never reports a status.
//
// Measured worst errors: docs/accuracy_hyperbolic.md.
#include <cmath>

#include "vector/hyperbolic/hyp_common.h"
#include "vector/hyperbolic/hyp_single.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace hyp;

struct TanhConst {
  I4 rowmask, base, top;
  Range32 ordinary;
};
alignas(16) const TanhConst kTanh = {
    .rowmask = i4(0x7FFE0000),  // exponent and three significand bits of the high word
    .base = i4(0x3FBE0000),     // the word of 0.1171875: below it, row 0
    .top = i4(0x00760000),      // 59 rows on: the last row, 20 and beyond
    // Words outside: the top binade, infinities, NaN, and below 2^-53, where
    // tanh rounds to x (and d^2 would go subnormal from 2^-511 down).
    .ordinary = range32(0x3CA00000u, 0x7FE00000u),
};

// Row pointers of the two lanes, and the special mask.
inline void tanh_rows(__m128d ax, const double (*tab)[16], const double*& r0, const double*& r1, __m128d& special) {
  const TanhConst& c = kTanh;
  const __m128i w0 = _mm_and_si128(high_words(ax), iv(c.rowmask));
  special = _mm_castsi128_pd(outside(w0, c.ordinary));
  __m128i w = _mm_sub_epi32(w0, iv(c.base));
  w = _mm_andnot_si128(_mm_srai_epi32(w, 31), w);  // below 0.1171875: row 0
  const __m128i over = _mm_cmpgt_epi32(w, iv(c.top));
  w = _mm_or_si128(_mm_and_si128(over, iv(c.top)), _mm_andnot_si128(over, w));
  const __m128i off = _mm_srli_epi32(w, 10);  // bytes: 128 a row
  const char* base = reinterpret_cast<const char*>(tab);
  r0 = reinterpret_cast<const double*>(base + _mm_cvtsi128_si32(off));
  r1 = reinterpret_cast<const double*>(base + _mm_cvtsi128_si32(_mm_shuffle_epi32(off, _MM_SHUFFLE(3, 2, 3, 2))));
}

// Fields k and k + 1 of both rows, as a vector of field k and one of field k + 1.
inline void fields(const double* r0, const double* r1, int k, __m128d& a, __m128d& b) {
  const __m128d u = _mm_load_pd(r0 + k), v = _mm_load_pd(r1 + k);
  a = _mm_unpacklo_pd(u, v);
  b = _mm_unpackhi_pd(u, v);
}

// tanh a for a >= 0 below the top binade. Degree: that of the polynomial,
// 10 (all of it), or less for the single kernels. Exact: HA's head. Clear:
// the special lanes compute on 0, so that none raises a flag (the double
// kernels; the single HA kernel has lanes of its own).
template <int Degree, bool Exact, bool Clear>
inline __m128d tanh_abs(__m128d ax, const double (*tab)[16], __m128d& special) {
  const double *r0, *r1;
  tanh_rows(ax, tab, r0, r1, special);
  if constexpr (Clear) ax = _mm_andnot_pd(special, ax);
  __m128d c0lo, c0hi, negc, scale;
  fields(r0, r1, kC0Lo, c0lo, c0hi);
  fields(r0, r1, kNegCentre, negc, scale);
  const __m128d d = _mm_add_pd(_mm_mul_pd(ax, scale), negc);
  __m128d cf[12];
  for (int k = kC1; k < kC1 + 10; k += 2) fields(r0, r1, k, cf[k - kC1 + 1], cf[k - kC1 + 2]);  // cf[i] = c_i
  __m128d p = cf[Degree];
  for (int i = Degree - 1; i >= 2; --i) p = _mm_add_pd(cf[i], _mm_mul_pd(d, p));
  if constexpr (Exact) {
    // c0Hi + c1 d as an exact sum (|c0Hi| >= |c1 d| but in row 0, where c0Hi is 0).
    const __m128d h = _mm_mul_pd(cf[1], d);
    const DD s = two_sum(c0hi, h);
    return _mm_add_pd(s.hi, _mm_add_pd(_mm_add_pd(c0lo, s.lo), _mm_mul_pd(_mm_mul_pd(d, d), p)));
  } else {
    p = _mm_add_pd(cf[1], _mm_mul_pd(d, p));
    return _mm_add_pd(c0hi, _mm_add_pd(c0lo, _mm_mul_pd(d, p)));
  }
}

// Flagged lanes: NaN gives x + x; the rest (infinities, the top binade) the
// entry of the two-entry table chosen by the sign of x.
const double kTanhEnds[2] = {1.0, -1.0};

// The double kernels also send lanes below 2^-53 and the single LA and EP
// kernels lanes below 2^-28, where tanh x rounds to x.
template <class T>
int tanh_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::fabs(x) < T(0x1p-28))
    *r = x;
  else
    *r = std::isnan(x) ? x + x : static_cast<T>(kTanhEnds[std::signbit(x) ? 1 : 0]);
  return 0;
}

template <bool Exact>
struct DTanhP : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vdTanh";
  static __m128d eval(__m128d x, __m128d& special) {
    const __m128d y = tanh_abs<10, Exact, true>(abs_of(x), Exact ? tanhTable : tanhTableLA, special);
    return _mm_or_pd(y, sign_of(x));
  }
  static int scalar(const double* a, double* r) { return tanh_scalar(a, r); }
};

// Single HA: the same rows in double, two lanes at a time. Single lanes above
// 2^126 share the double rule: the top binade and beyond go out.
struct STanhHAP : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsTanh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = abs_of(x);
    __m128d s0, s1;
    const __m128 y = narrow(tanh_abs<10, false, false>(widen_lo(ax), tanhTableLA, s0),
                            tanh_abs<10, false, false>(widen_hi(ax), tanhTableLA, s1));
    special = fv(_mm_cmpgt_epi32(_mm_castps_si128(ax), _mm_set1_epi32(0x7F000000)));
    return _mm_or_ps(y, sign_of(x));
  }
  static int scalar(const float* a, float* r) { return tanh_scalar(a, r); }
};

// Single LA and EP, in single arithmetic four lanes at a time: the quotient
// of sinh a and cosh a from one reduction (hyp_single.h), a = |x| held to
// 9.5, beyond which tanh rounds to 1 (there H - L and H + L round alike and
// the quotient is 1 exactly). Only NaN and lanes below 2^-28 go out (they
// compute on 0). EP, with the shorter polynomials, is the shortest kernel of
// the row.
constexpr Range32 kSTanhSingleRange = range32(kTinyBits, 0x7F800000u);

template <Level L>
struct STanhSingleP : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsTanh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = abs_of(x);
    special = fv(outside(_mm_castps_si128(ax), kSTanhSingleRange));
    const __m128 a = _mm_min_ps(_mm_andnot_ps(special, ax), _mm_set1_ps(9.5f));
    const HypParts p = hyp_parts<L>(a);
    return _mm_or_ps(_mm_div_ps(hyp_value<false>(p), hyp_value<true>(p)), sign_of(x));
  }
  static int scalar(const float* a, float* r) { return tanh_scalar(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(dTanh, ha, DTanhP<true>)
ZEV_KERNELS(dTanh, laep, DTanhP<false>)
ZEV_KERNELS(sTanh, ha, STanhHAP)
ZEV_KERNELS(sTanh, la, STanhSingleP<Level::LA>)
ZEV_KERNELS(sTanh, ep, STanhSingleP<Level::EP>)
