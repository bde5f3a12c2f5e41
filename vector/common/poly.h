// Polynomial evaluation on vectors: Horner's rule over a coefficient array in
// ascending order.
#pragma once

#include <emmintrin.h>

namespace zev::vk {

// c[0] + t (c[1] + t (c[2] + ...)), one multiply and one add a step.
template <int N>
inline __m128d horner(const double (&c)[N], __m128d t) {
  __m128d p = _mm_set1_pd(c[N - 1]);
  for (int j = N - 2; j >= 0; --j) p = _mm_add_pd(_mm_set1_pd(c[j]), _mm_mul_pd(t, p));
  return p;
}

}  // namespace zev::vk
