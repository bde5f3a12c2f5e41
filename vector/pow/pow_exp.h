// The exponential of the double powers, exp(h + l) = 2^n y: shared with the
// complex powers and exponential, which keep y as a pair.
#pragma once

#include <emmintrin.h>

#include "vector/log/log_core.h"
#include "vector/pow/pow_data.h"

namespace zev::vk::logpow {

constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52

// exp(h + l) for |h| <= 708, l small: the result and its exponent part n
// (result = y 2^n, y in [1, 2)). Scaled when Scale.
struct ExpParts {
  __m128d y;
  __m128i nb;    // n << 52 as 64-bit integers
  __m128d hi, lo;  // y before its last rounding: the table's hi, and the rest
};
template <int Degree>
inline ExpParts exp_parts(__m128d h, __m128d l) {
  const __m128d t = _mm_add_pd(_mm_mul_pd(h, d1(k128ByLn2)), d1(kShift));
  const __m128d kf = _mm_sub_pd(t, d1(kShift));
  __m128d r = _mm_sub_pd(h, _mm_mul_pd(kf, d1(kLn2by128_hi)));  // exact
  r = _mm_add_pd(r, _mm_sub_pd(l, _mm_mul_pd(kf, d1(kLn2by128_lo))));
  __m128d q;
  if constexpr (Degree >= 5)
    q = _mm_add_pd(d1(1.0 / 24), _mm_mul_pd(r, d1(1.0 / 120)));
  else
    q = d1(1.0 / 24);
  q = _mm_add_pd(d1(1.0 / 6), _mm_mul_pd(r, q));
  q = _mm_add_pd(d1(0.5), _mm_mul_pd(r, q));
  const __m128d p = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q));
  const __m128i ti = as_i(t);
  const __m128i idx = _mm_and_si128(ti, _mm_set1_epi64x(127));
  const int i0 = _mm_cvtsi128_si32(idx);
  const int i1 = _mm_extract_epi16(idx, 4);
  const __m128d e0 = _mm_load_pd(kExpTab[i0]);
  const __m128d e1 = _mm_load_pd(kExpTab[i1]);
  const __m128d thi = _mm_unpacklo_pd(e0, e1), tlo = _mm_unpackhi_pd(e0, e1);
  const __m128d lo = _mm_add_pd(tlo, _mm_mul_pd(thi, p));
  return {_mm_add_pd(thi, lo), _mm_slli_epi64(_mm_srli_epi64(ti, 7), 52), thi, lo};
}
}  // namespace zev::vk::logpow
