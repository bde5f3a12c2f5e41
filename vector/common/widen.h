// Singles carried in double: four singles as two pairs of doubles and back,
// and one lane of a vector core run on a scalar, so that a scalar function
// does the very arithmetic of its vector path.
#pragma once

#include <emmintrin.h>

namespace zev::vk {

inline __m128d widen_lo(__m128 x) { return _mm_cvtps_pd(x); }
inline __m128d widen_hi(__m128 x) { return _mm_cvtps_pd(_mm_movehl_ps(x, x)); }
inline __m128 narrow(__m128d lo, __m128d hi) { return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)); }

template <class F>
inline double lane(F f, double x) {
  return _mm_cvtsd_f64(f(_mm_set1_pd(x)));
}

}  // namespace zev::vk
