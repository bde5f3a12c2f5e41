// Single powers x^y = 2^(y log2 x), four lanes at a time, in double.
//
// The bits of the four singles give k, z = x 2^-k in [0x1.66p-1, 0x1.66p+0) and
// a row of 32 by z's top mantissa bits at once; each lane then loads one
// 16-byte row {1/c, log2 c} and, in double,
//   log2 x = k + log2 c + r P(r),  r = z/c - 1 (|r| < 2^-5.4),
// P of degree 6 (2^-42 relative; the row of 1 has c = 1, so near x = 1 nothing
// cancels). h = y log2 x is then within 2^-34 for |h| <= 125.5, and
//   2^h = 2^n 2^(i/32) (1 + f Q(f)),  |f| <= 1/64,
// Q of degree 3 (2^-32 of the result): about 0.5 ulp after the one rounding to
// single. EP takes degrees 3 and 2 (2^-14 of the result).
//
// Special lanes: x not a positive normal, and |h| beyond 125.5 (the result not
// a normal single, or NaN); the caller settles them lane by lane.
#pragma once

#include <emmintrin.h>

#include "vector/common/poly.h"
#include "vector/log/log_core.h"

namespace zev::vk::spow {

using logpow::as_d;
using logpow::as_i;

#include "vector/pow/spow_data.inc"

// 2^h for |h| <= 125.5 (larger h give garbage, flagged by the caller).
template <bool Ep>
inline __m128d exp2_s(__m128d h) {
  const __m128d shift = d1(0x1.8p47);  // ulp 1/32: t holds round(32 h) in its low bits
  const __m128d t = _mm_add_pd(h, shift);
  const __m128d f = _mm_sub_pd(h, _mm_sub_pd(t, shift));
  const __m128i ti = as_i(t);
  const __m128i idx = _mm_and_si128(ti, _mm_set1_epi64x(31));
  const __m128d tab = _mm_loadh_pd(_mm_load_sd(&kSPowExp[_mm_cvtsi128_si32(idx)]), &kSPowExp[_mm_extract_epi16(idx, 4)]);
  const __m128d q = Ep ? horner(kSPowExp2Ep, f) : horner(kSPowExp2, f);
  const __m128d y = _mm_add_pd(tab, _mm_mul_pd(tab, _mm_mul_pd(f, q)));
  return as_d(_mm_add_epi64(as_i(y), _mm_slli_epi64(_mm_srli_epi64(ti, 5), 52)));
}

// One half (two lanes) of the power: log2 x from k, z and the row, times y, then 2^h.
template <bool Ep>
inline __m128d half(__m128d k, __m128d z, __m128d row_a, __m128d row_b, __m128d y, __m128d& big) {
  const __m128d invc = _mm_unpacklo_pd(row_a, row_b), log2c = _mm_unpackhi_pd(row_a, row_b);
  const __m128d r = _mm_sub_pd(_mm_mul_pd(z, invc), d1(1.0));
  const __m128d p = Ep ? horner(kSPowLog2Ep, r) : horner(kSPowLog2, r);
  const __m128d h = _mm_mul_pd(y, _mm_add_pd(_mm_add_pd(k, log2c), _mm_mul_pd(r, p)));
  big = _mm_cmpnle_pd(_mm_andnot_pd(d1(-0.0), h), d1(125.5));  // NaN too
  return exp2_s<Ep>(h);
}

template <bool Ep = false>
inline __m128 pow4(__m128 x, __m128 y, __m128& special) {
  const __m128i ix = _mm_castps_si128(x);
  const __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(0x3F330000));
  const __m128i idx = _mm_and_si128(_mm_srli_epi32(tmp, 18), _mm_set1_epi32(31));
  const __m128i k = _mm_srai_epi32(tmp, 23);
  const __m128 z = _mm_castsi128_ps(_mm_sub_epi32(ix, _mm_slli_epi32(k, 23)));
  const __m128d r0 = _mm_load_pd(kSPowLog[_mm_cvtsi128_si32(idx)]);
  const __m128d r1 = _mm_load_pd(kSPowLog[_mm_extract_epi16(idx, 2)]);
  const __m128d r2 = _mm_load_pd(kSPowLog[_mm_extract_epi16(idx, 4)]);
  const __m128d r3 = _mm_load_pd(kSPowLog[_mm_extract_epi16(idx, 6)]);
  __m128d big0, big1;
  const __m128d lo = half<Ep>(_mm_cvtepi32_pd(k), _mm_cvtps_pd(z), r0, r1, _mm_cvtps_pd(y), big0);
  const __m128d hi = half<Ep>(_mm_cvtepi32_pd(_mm_shuffle_epi32(k, _MM_SHUFFLE(3, 2, 3, 2))),
                              _mm_cvtps_pd(_mm_movehl_ps(z, z)), r2, r3, _mm_cvtps_pd(_mm_movehl_ps(y, y)), big1);
  special = _mm_or_ps(logpow::not_pos_normal(x),
                      _mm_shuffle_ps(_mm_castpd_ps(big0), _mm_castpd_ps(big1), _MM_SHUFFLE(2, 0, 2, 0)));
  return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
}

}  // namespace zev::vk::spow
