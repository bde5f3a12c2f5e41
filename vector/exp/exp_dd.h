// The double-double exponential core: e^(h + l) = 2^n T[j] (1 + p(r)) with
// h + l = (128 n + j) ln2/128 + r, |r| <= ln2/256, T[j] = 2^(j/128) as a pair
// of the table kD128, and p(r) = e^r - 1 to degree 4 or 5 (truncation below
// 2^-60 relative at degree 5). ln2/128 comes in two parts of which k times the
// first is exact for |k| < 2^17, that is |h| up to 708.
//
// The result is kept unrounded, T[j] + (t + T[j] p) with t the table's low
// part: within about 2^-60 of e^(h + l), its low part up to 2^-8 of the high.
// The double powers round it once; the complex exponential, powers and
// hyperbolic parts multiply it by other pairs first.
#pragma once

#include <emmintrin.h>

#include "vector/common/exact.h"
#include "vector/exp/exp_data.h"
#include "vector/log/log_constants.h"

namespace zev::vk::expk {

// h + l reduced: r, and the word of the shifter sum whose low bits hold k.
struct ExpReduced {
  __m128d r;
  __m128i k;
};
inline ExpReduced exp_reduce(__m128d h, __m128d l) {
  const __m128d shift = _mm_set1_pd(6755399441055744.0);  // 1.5 * 2^52: k in the low bits of the sum
  const __m128d t = _mm_add_pd(_mm_mul_pd(h, _mm_set1_pd(logpow::k128ByLn2)), shift);
  const __m128d kf = _mm_sub_pd(t, shift);
  __m128d r = _mm_sub_pd(h, _mm_mul_pd(kf, _mm_set1_pd(logpow::kLn2by128_hi)));  // exact
  r = _mm_add_pd(r, _mm_sub_pd(l, _mm_mul_pd(kf, _mm_set1_pd(logpow::kLn2by128_lo))));
  return {r, _mm_castpd_si128(t)};
}

// e^r - 1 to degree Degree (4 or 5).
template <int Degree>
inline __m128d exp_poly(__m128d r) {
  __m128d q;
  if constexpr (Degree >= 5)
    q = _mm_add_pd(_mm_set1_pd(1.0 / 24), _mm_mul_pd(r, _mm_set1_pd(1.0 / 120)));
  else
    q = _mm_set1_pd(1.0 / 24);
  q = _mm_add_pd(_mm_set1_pd(1.0 / 6), _mm_mul_pd(r, q));
  q = _mm_add_pd(_mm_set1_pd(0.5), _mm_mul_pd(r, q));
  return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q));
}

// T[k mod 128] (1 + p) as {T's high part, the rest}.
inline DD exp_rows(__m128i k, __m128d p) {
  const __m128i idx = _mm_and_si128(k, _mm_set1_epi64x(127));
  const __m128d e0 = _mm_load_pd(expdata::kD128[_mm_cvtsi128_si32(idx)]);
  const __m128d e1 = _mm_load_pd(expdata::kD128[_mm_extract_epi16(idx, 4)]);
  const __m128d thi = _mm_unpacklo_pd(e0, e1), tlo = _mm_unpackhi_pd(e0, e1);
  return {thi, _mm_add_pd(tlo, _mm_mul_pd(thi, p))};
}

// e^(h + l) = 2^n y for |h| <= 708 and l small: y in [1, 2) rounded, n << 52
// as 64-bit integers (added to y's bits it scales), and y unrounded.
struct ExpParts {
  __m128d y;
  __m128i nb;
  __m128d hi, lo;
};
template <int Degree>
inline ExpParts exp_parts(__m128d h, __m128d l) {
  const ExpReduced e = exp_reduce(h, l);
  const DD y = exp_rows(e.k, exp_poly<Degree>(e.r));
  return {_mm_add_pd(y.hi, y.lo), _mm_slli_epi64(_mm_srli_epi64(e.k, 7), 52), y.hi, y.lo};
}

// e^a and e^-a from one reduction, 0 <= a <= 708, unscaled and unrounded:
// e^a = 2^m p, e^-a = 2^-mq n with m = k >> 7 and mq = ceil(k/128).
struct ExpPm {
  DD p, n;
  __m128i m, mq;
};
inline ExpPm exp_pm(__m128d a) {
  const ExpReduced e = exp_reduce(a, _mm_setzero_pd());
  const __m128d nr = _mm_xor_pd(e.r, _mm_set1_pd(-0.0));
  const __m128i k = _mm_sub_epi64(e.k, _mm_castpd_si128(_mm_set1_pd(6755399441055744.0)));
  return {exp_rows(k, exp_poly<5>(e.r)), exp_rows(_mm_sub_epi64(_mm_setzero_si128(), k), exp_poly<5>(nr)),
          _mm_srli_epi64(k, 7), _mm_srli_epi64(_mm_add_epi64(k, _mm_set1_epi64x(127)), 7)};
}

}  // namespace zev::vk::expk
