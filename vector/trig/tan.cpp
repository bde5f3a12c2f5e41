// dTan and sTan.
//
// dTan HA: the pivot table of 256 rows (tan_core.h), reduced by pi/256 in
// three parts, or by the vector large path above 65536.00349206588.
// dTan LA and EP, sTan at every level: a rational function over a reduction
// by multiples of pi/2, k = round(a 2/pi): N/D for even k, -D/N for odd k,
// one division a lane after a select of numerator and denominator. Lanes
// above the level's bound (128000 for dTan, 10000 and 8256 for sTan) take the
// pivot table in double in the same block.
#include "vector/shape.h"
#include "vector/trig/tan_core.h"

namespace zev::vk {
namespace {

using namespace trig;

inline __m128d sign_of(__m128d x) { return _mm_and_pd(x, kTab.sign); }
inline __m128d abs_of(__m128d x) { return _mm_and_pd(x, kTab.abs); }

// The members of every Tan policy: NaN and infinities are the special lanes.
template <class T, int Block>
struct TanBase : Blocks<T, Block> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr const char* kName = sizeof(T) == 8 ? "vdTan" : "vsTan";
  static int scalar(const T* x, T* r) { return not_finite_lane(*x, r); }
};
using DBase = TanBase<double, 4>;

struct DTanHA : DBase {
  static V eval(V x, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    return _mm_xor_pd(tan_table<HwEstimate>(a), sign_of(x));
  }
};

// The lanes of `large` by the pivot table.
__attribute__((noinline)) __m128d tan_large(__m128d x, __m128d large, __m128d y) {
  return select(large, _mm_xor_pd(tan_table<HwEstimate>(abs_of(x)), sign_of(x)), y);
}

struct DTanRatConst {
  __m128d inv, shifter, p1, p2, p3, bound, n0, n1, n2, n3, d0, d1, d2, d3;
};
alignas(16) constexpr DTanRatConst kDLA = {
    .inv = q2(0x3FE45F306DC9C883),      // 2/pi
    .shifter = d2(6755399441055744.0),  // 1.5 * 2^52: rounds a 2/pi to k
    .p1 = q2(0x3FF921FB54440000),       // pi/2 in three parts: k p1, k p2 exact
    .p2 = q2(0x3D868C234C4C0000),
    .p3 = q2(0x3B298A2E03707345),
    .bound = d2(128000.0),              // above it, and NaN, the pivot table
    .n0 = d2(1.0),                      // tan r ~ r (n0 + z (n1 + ...)) / (d0 + z (d1 + ...))
    .n1 = d2(-0.12828347003747023),
    .n2 = d2(0.0028059181997214249),
    .n3 = d2(-7.4836345641659391e-06),
    .d0 = d2(1.0),
    .d1 = d2(-0.46161680337080113),
    .d2 = d2(0.023344852656587221),
    .d3 = d2(-0.00020844803827304198),
};
alignas(16) constexpr DTanRatConst kDEP = {
    .inv = q2(0x3FE45F306DC9C883),
    .shifter = d2(6755399441055744.0),
    .p1 = q2(0x3FF921FB40000000),
    .p2 = q2(0x3E74442D00000000),
    .p3 = q2(0x3CF8469898CC5170),
    .bound = d2(128000.0),
    .n0 = d2(1.1559034178886809),
    .n1 = d2(-0.12872306814578047),
    .n2 = d2(0.0012427749419586368),
    .n3 = d2(0.0),
    .d0 = d2(1.1559034178631502),
    .d1 = d2(-0.51402420551256156),
    .d2 = d2(0.018463698006558116),
    .d3 = d2(0.0),
};

// The quotient by the parity of k (from the shifter's sum t): N/D, or -D/N,
// with the sign of x.
inline __m128d tan_quotient(__m128d x, __m128d t, __m128d N, __m128d D) {
  const __m128i tb = _mm_castpd_si128(t);
  // Only the lowest bit of t survives the shift; the word 0x8000... is -0.0, equal to zero.
  const __m128d even = _mm_cmpeq_pd(dv(_mm_slli_epi64(tb, 62)), _mm_setzero_pd());
  const __m128d q = _mm_div_pd(select(even, N, D), select(even, D, N));
  return _mm_xor_pd(q, _mm_xor_pd(dv(_mm_slli_epi64(tb, 63)), sign_of(x)));
}

template <const DTanRatConst& c, int Degree>
struct DTanRat : DBase {
  static V eval(V x, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    const V large = _mm_cmpnle_pd(a, c.bound);
    const V t = _mm_add_pd(_mm_mul_pd(a, c.inv), c.shifter);
    const V k = _mm_sub_pd(t, c.shifter);
    const V r = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(k, c.p1)), _mm_mul_pd(k, c.p2)),
                           _mm_mul_pd(k, c.p3));
    const V z = _mm_mul_pd(r, r);
    V n = c.n2, d = c.d2;
    if constexpr (Degree == 3) {
      n = _mm_add_pd(n, _mm_mul_pd(z, c.n3));
      d = _mm_add_pd(d, _mm_mul_pd(z, c.d3));
    }
    n = _mm_mul_pd(r, _mm_add_pd(c.n0, _mm_mul_pd(z, _mm_add_pd(c.n1, _mm_mul_pd(z, n)))));
    d = _mm_add_pd(c.d0, _mm_mul_pd(z, _mm_add_pd(c.d1, _mm_mul_pd(z, d))));
    const V y = tan_quotient(x, t, n, d);
    if (__builtin_expect(_mm_movemask_pd(large) != 0, 0)) return tan_large(x, large, y);
    return y;
  }
};

using DTanLA = DTanRat<kDLA, 3>;
using DTanEP = DTanRat<kDEP, 2>;

// ---- sTan ----

struct STanConst {
  __m128 inv, shifter, sign, abs, bound_ha, bound_la, p1, p2, p3, p4, n0, n1, d0, d1, d2;
  __m128d dp1, dp2, dn1, dd1, dd2, one;
};
alignas(16) constexpr STanConst kS = {
    .inv = u4(0x3F22F983),           // 2/pi
    .shifter = f4(12582912.0f),      // 1.5 * 2^23: rounds a 2/pi to k
    .sign = u4(0x80000000),
    .abs = u4(0x7FFFFFFF),
    .bound_ha = f4(10000.0f),        // HA: above it, and NaN, the pivot table
    .bound_la = f4(8256.0f),         // LA and EP: the same
    .p1 = u4(0x3FC90000),            // pi/2 in four float parts: k p1, k p2, k p3 exact
    .p2 = u4(0x39FDA000),
    .p3 = u4(0x33A22000),
    .p4 = u4(0x2C34611A),
    .n0 = f4(0.999999762f),          // tan r ~ r (n0 + z n1) / (d0 + z (d1 + z d2))
    .n1 = f4(-0.0958017409f),
    .d0 = f4(0.999999762f),
    .d1 = f4(-0.42913565f),
    .d2 = f4(0.00971684884f),
    .dp1 = q2(0x3FF921FB54440000),   // HA: pi/2 in two double parts
    .dp2 = q2(0x3D868C234C4C6629),
    .dn1 = q2(0xBFB8867706ED6612),   // HA: tan r ~ r (1 + z dn1) / (1 + z (dd1 + z dd2))
    .dd1 = q2(0xBFDB76F5E7F08C11),
    .dd2 = q2(0x3F83E66EA6AA37F2),
    .one = d2(1.0),
};

// The lanes of `large` by the pivot table in double, rounded to float.
__attribute__((noinline)) __m128 stan_large(__m128 x, __m128 large, __m128 y) {
  const __m128 a = _mm_and_ps(x, kS.abs);
  const __m128d t0 = tan_table<HwEstimate>(_mm_cvtps_pd(a));
  const __m128d t1 = tan_table<HwEstimate>(_mm_cvtps_pd(_mm_movehl_ps(a, a)));
  const __m128 v = _mm_xor_ps(_mm_movelh_ps(_mm_cvtpd_ps(t0), _mm_cvtpd_ps(t1)), _mm_and_ps(x, kS.sign));
  return select(large, v, y);
}

using SBase = TanBase<float, 8>;

// k and r in float, N and D in float, one division.
struct STanLAEP : SBase {
  static V eval(V x, V& special) {
    const STanConst& c = kS;
    const V a = _mm_and_ps(x, c.abs);
    special = not_finite(a);
    const V large = _mm_cmpnle_ps(a, c.bound_la);
    const V t = _mm_add_ps(_mm_mul_ps(a, c.inv), c.shifter);
    const V k = _mm_sub_ps(t, c.shifter);
    V r = _mm_sub_ps(a, _mm_mul_ps(k, c.p1));
    r = _mm_sub_ps(r, _mm_mul_ps(k, c.p2));
    r = _mm_sub_ps(r, _mm_mul_ps(k, c.p3));
    r = _mm_sub_ps(r, _mm_mul_ps(k, c.p4));
    const V z = _mm_mul_ps(r, r);
    const V n = _mm_mul_ps(r, _mm_add_ps(c.n0, _mm_mul_ps(z, c.n1)));
    const V d = _mm_add_ps(c.d0, _mm_mul_ps(z, _mm_add_ps(c.d1, _mm_mul_ps(z, c.d2))));
    const __m128i tb = _mm_castps_si128(t);
    const V even = _mm_cmpeq_ps(fv(_mm_slli_epi32(tb, 30)), _mm_setzero_ps());
    const V q = _mm_div_ps(select(even, n, d), select(even, d, n));
    const V y = _mm_xor_ps(q, _mm_xor_ps(fv(_mm_slli_epi32(tb, 31)), _mm_and_ps(x, c.sign)));
    if (__builtin_expect(_mm_movemask_ps(large) != 0, 0)) return stan_large(x, large, y);
    return y;
  }
};

// k in float; r, N, D and the division in double, rounded once.
struct STanHA : SBase {
  static V eval(V x, V& special) {
    const STanConst& c = kS;
    const V a = _mm_and_ps(x, c.abs);
    special = not_finite(a);
    const V large = _mm_cmpnle_ps(a, c.bound_ha);
    const V t = _mm_add_ps(_mm_mul_ps(a, c.inv), c.shifter);
    const V k = _mm_sub_ps(t, c.shifter);
    const __m128i tb = _mm_castps_si128(t);
    const V even = _mm_cmpeq_ps(fv(_mm_slli_epi32(tb, 30)), _mm_setzero_ps());
    __m128 half[2];
    for (int h = 0; h < 2; ++h) {
      const __m128d ad = _mm_cvtps_pd(h == 0 ? a : _mm_movehl_ps(a, a));
      const __m128d kd = _mm_cvtps_pd(h == 0 ? k : _mm_movehl_ps(k, k));
      const __m128d ev = _mm_castps_pd(h == 0 ? _mm_unpacklo_ps(even, even) : _mm_unpackhi_ps(even, even));
      const __m128d r = _mm_sub_pd(_mm_sub_pd(ad, _mm_mul_pd(kd, c.dp1)), _mm_mul_pd(kd, c.dp2));
      const __m128d z = _mm_mul_pd(r, r);
      const __m128d n = _mm_mul_pd(r, _mm_add_pd(c.one, _mm_mul_pd(z, c.dn1)));
      const __m128d d =
          _mm_add_pd(c.one, _mm_mul_pd(z, _mm_add_pd(c.dd1, _mm_mul_pd(z, c.dd2))));
      half[h] = _mm_cvtpd_ps(_mm_div_pd(select(ev, n, d), select(ev, d, n)));
    }
    const V y = _mm_xor_ps(_mm_movelh_ps(half[0], half[1]),
                           _mm_xor_ps(fv(_mm_slli_epi32(tb, 31)), _mm_and_ps(x, c.sign)));
    if (__builtin_expect(_mm_movemask_ps(large) != 0, 0)) return stan_large(x, large, y);
    return y;
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(dTan, ha, DTanHA)
ZEV_KERNELS(dTan, la, DTanLA)
ZEV_KERNELS(dTan, ep, DTanEP)
ZEV_KERNELS(sTan, ha, STanHA)
ZEV_KERNELS(sTan, laep, STanLAEP)
