// The arithmetic of the complex Arg by one polynomial: atan2(im, re) on two
// double lanes with the test of the lanes it cannot serve, and the function of
// one such element. cArg rounds it to single; zArg serves LA and EP with it.
#pragma once

#include <emmintrin.h>

#include <cmath>

#include "vector/common/bits.h"
#include "vector/common/consts.h"
#include "vector/common/range.h"

namespace zev::vk::cx {

struct ArgConst {
  __m128d abs, neg, one, pio2, pi;
  __m128d c[19];
  Range32 range;  // M in [2^-900, 2^960]
  __m128 gap;         // parts 2^60 apart
};
inline constexpr ArgConst kArg = {
    .abs = q2(0x7FFFFFFFFFFFFFFFull),
    .neg = d2(-0.0),
    .one = d2(1.0),
    .pio2 = d2(1.5707963267948966),  // pi/2 rounded
    .pi = d2(3.1415926535897931),    // pi rounded
    .c = {d2(-0.33333333333331111), d2(0.19999999999696316), d2(-0.14285714269196445), d2(0.11111110634359174),
          d2(-0.090909006476844134), d2(0.076922076093375993), d2(-0.06665825857290697), d2(0.058771423690440742),
          d2(-0.052386340991051356), d2(0.046722881066856257), d2(-0.040890779973668384), d2(0.034008742858839917),
          d2(-0.025751168869183702), d2(0.016904062013301985), d2(-0.0091303317329101911),
          d2(0.0038271503181785626), d2(-0.0011535851065971401), d2(0.00022068738617221664),
          d2(-2.0018621834823021e-05)},
    .range = range32(0x07B00000u, 0x7BFFFFFFu),
    .gap = u4(0x03C00000u),
};

// The polynomial's correction z P(z), P(z) = c0 + c1 z + ... + c18 z^18.
inline __m128d arg_poly(__m128d z) {
  __m128d p = kArg.c[18];
  for (int k = 17; k >= 0; --k) p = _mm_add_pd(kArg.c[k], _mm_mul_pd(z, p));
  return _mm_mul_pd(z, p);
}

// Arg of x + iy on two lanes; `special` marks the lanes for the scalar function.
inline __m128d arg_core(__m128d x, __m128d y, __m128d& special) {
  const __m128d a = _mm_and_pd(x, kArg.abs), b = _mm_and_pd(y, kArg.abs);
  // maxpd and minpd return their second operand for a NaN: in these orders a
  // NaN part reaches M or m.
  const __m128d M = _mm_max_pd(a, b), m = _mm_min_pd(b, a);
  const __m128i hM = high_words(M), hm = high_words(m);
  const __m128i far = _mm_and_si128(_mm_cmpgt_epi32(_mm_sub_epi32(hM, hm), bits(kArg.gap)),
                                    _mm_castpd_si128(_mm_cmpneq_pd(m, _mm_setzero_pd())));  // m not zero
  special = _mm_castsi128_pd(_mm_or_si128(outside(hM, kArg.range), _mm_or_si128(far, _mm_cmpgt_epi32(hm, hM))));
  const __m128d Ms = _mm_or_pd(_mm_and_pd(special, kArg.one), _mm_andnot_pd(special, M));
  const __m128d t = _mm_div_pd(_mm_andnot_pd(special, m), Ms);
  __m128d p = _mm_add_pd(t, _mm_mul_pd(t, arg_poly(_mm_mul_pd(t, t))));
  const __m128d swap = _mm_cmplt_pd(a, b);
  const __m128d xneg = _mm_castsi128_pd(_mm_srai_epi32(_mm_shuffle_epi32(bits(x), 0xF5), 31));
  p = _mm_or_pd(_mm_and_pd(swap, _mm_sub_pd(kArg.pio2, p)), _mm_andnot_pd(swap, p));
  p = _mm_or_pd(_mm_and_pd(xneg, _mm_sub_pd(kArg.pi, p)), _mm_andnot_pd(xneg, p));
  return _mm_or_pd(p, _mm_and_pd(y, kArg.neg));
}

// atan2(y, x) of the special elements: the values of C's atan2, and other
// finite elements scaled into the vector range.
inline double arg_full(double x, double y) {
  constexpr long double pi = 3.141592653589793238462643383279502884L;
  if (std::isnan(x) || std::isnan(y)) return x + y;
  const double s = std::copysign(1.0, y);
  const bool neg = std::signbit(x);
  if (std::isinf(y)) return s * static_cast<double>(std::isinf(x) ? (neg ? 3 * pi / 4 : pi / 4) : pi / 2);
  if (std::isinf(x) || y == 0.0) return neg ? s * static_cast<double>(pi) : s * 0.0;
  if (x == 0.0) return s * static_cast<double>(pi / 2);
  const double a = std::fabs(x), b = std::fabs(y);
  const long double t = static_cast<long double>(std::fmin(a, b)) / std::fmax(a, b);
  if (t < 0x1p-60L) {
    // atan(t) = t to far below the ulp; the rest in the extended format.
    long double p = t;
    if (b > a) p = pi / 2 - p;
    if (neg) p = pi - p;
    return s * static_cast<double>(p);
  }
  // Parts within 2^60 of each other: scaled so that M is 1 or more, below 2.
  const int e = std::ilogb(std::fmax(a, b));
  __m128d special;
  const __m128d r = arg_core(_mm_set1_pd(std::ldexp(x, -e)), _mm_set1_pd(std::ldexp(y, -e)), special);
  return _mm_cvtsd_f64(r);
}

}  // namespace zev::vk::cx
