// The block arithmetic of the single kernels that start from an estimate
// (rcpps, rsqrtps), with the estimate as a template parameter: the kernels
// use HwEstimate, the tests the same code with modelled worst estimates.
//
// Each evaluation has an ordinary range, tested on the bits of the input;
// other lanes are special and go to the scalar function. Inside the ordinary
// range every intermediate below is a normal finite number (or an exact zero)
// for every estimate within the promised 1.5 * 2^-12 (e below), so flushing
// (FTZ, DAZ) changes nothing, and the stated bounds hold on any processor.
// Rounding errors: u = 2^-24, the relative bound of one rounding.
#pragma once

#include <emmintrin.h>

#include "vector/algebra/common.h"
#include "vector/estimate.h"

namespace zev::vk::alg {

struct EstConst {
  __m128 one, half, three_eighths;
  __m128d d_half, d_three_halves;
  Range32 inv_ep;  // |x| in [2^-126, 2^125)
  Range32 normal;  // x positive, normal, finite
};
inline constexpr EstConst kEst = {
    .one = f4(1.0f),                              // 1.0f
    .half = f4(0.5f),                             // 0.5f
    .three_eighths = f4(0.375f),                  // 3/8: (1 - r)^(-1/2) ~ 1 + r/2 + 3r^2/8, the LA correction
    .d_half = d2(0.5),                            // 0.5: Newton step y (3/2 - x y^2 / 2)
    .d_three_halves = d2(1.5),                    // 1.5: the same step
    .inv_ep = range32(0x00800000u, 0x7DFFFFFFu),  // |x| in [2^-126, 2^125)
    .normal = range32(0x00800000u, 0x7F7FFFFFu),  // x positive, normal, finite
};

// sInv at EP: the estimate itself, relative error e < 2^-11. Up to 2^125 the
// reciprocal stays above 2^-125 and the estimate above 2^-126, so rcpps never
// flushes it; from there on the scalar function gives 1/x.
template <class E>
struct InvEstEP {
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(abs_bits(x), kEst.inv_ep));
    return E::rcp(x);
  }
};

// sSqrt at EP: x * rsqrt(x), relative error below e + u = 2^-11.41. For every
// positive normal x the estimate lies in [2^-64, 2^63] and the product in
// [2^-63, 2^64].
template <class E>
struct SqrtEstEP {
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(bits(x), kEst.normal));
    return _mm_mul_ps(x, E::rsqrt(x));
  }
};

// sInvSqrt at EP: the estimate itself, relative error e.
template <class E>
struct InvSqrtEstEP {
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(bits(x), kEst.normal));
    return E::rsqrt(x);
  }
};

// sInvSqrt at LA. With y the estimate and r = 1 - x*y*y (|r| <= 2e + e^2),
// 1/sqrt(x) = y * (1 - r)^-1/2 = y + y*r*(1/2 + 3/8 r) + O(r^3). One Newton
// step alone (y + y*r/2) leaves 1.5 e^2 = 3.4 * 2^-24, which with its
// roundings can pass 4 ulp for an estimate at the end of the promise; the
// second-order term costs two operations and leaves 5/16 r^3 < 2^-31.
// Errors: x*y and (x*y)*y rounded (2u on r, u in the result), the final sum
// 0.5 ulp, the rest below 2^-34: at most 1.5 ulp. Intermediates: x*y lies in
// [2^-63, 2^64], y*r is zero or at least 2^-88.
template <class E>
struct InvSqrtEstLA {
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(bits(x), kEst.normal));
    const __m128 y = E::rsqrt(x);
    const __m128 r = _mm_sub_ps(kEst.one, _mm_mul_ps(_mm_mul_ps(x, y), y));
    const __m128 h = _mm_add_ps(kEst.half, _mm_mul_ps(kEst.three_eighths, r));
    return _mm_add_ps(y, _mm_mul_ps(_mm_mul_ps(y, r), h));
  }
};

// Two Newton steps in double: 12, 23, 45 bits (from e: 1.5 e^2, then
// 1.5 (1.5 e^2)^2 < 2^-44), so one rounding to single gives 0.5 ulp plus
// less than 2^-19. Doubles of single inputs stay far inside their range.
inline __m128d newton_rsqrt(__m128d x, __m128d y) {
  const __m128d hx = _mm_mul_pd(kEst.d_half, x), t = kEst.d_three_halves;
  y = _mm_mul_pd(y, _mm_sub_pd(t, _mm_mul_pd(hx, _mm_mul_pd(y, y))));
  return _mm_mul_pd(y, _mm_sub_pd(t, _mm_mul_pd(hx, _mm_mul_pd(y, y))));
}

// sInvSqrt at HA.
template <class E>
struct InvSqrtEstHA {
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(bits(x), kEst.normal));
    const __m128 y = E::rsqrt(x);
    const __m128d lo = newton_rsqrt(_mm_cvtps_pd(x), _mm_cvtps_pd(y));
    const __m128d hi = newton_rsqrt(_mm_cvtps_pd(_mm_movehl_ps(x, x)), _mm_cvtps_pd(_mm_movehl_ps(y, y)));
    return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
  }
};

}  // namespace zev::vk::alg
