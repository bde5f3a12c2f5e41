// Exact sums and products without fused multiply-add: two_sum and
// fast_two_sum (Knuth, Dekker), the Veltkamp split and Dekker's product, on
// pairs of double lanes and on scalars.
#pragma once

#include <emmintrin.h>

namespace zev::vk {

// A sum of two doubles.
struct DD {
  __m128d hi, lo;
};

// Exact sum a + b = s + e for any a, b.
inline DD two_sum(__m128d a, __m128d b) {
  const __m128d s = _mm_add_pd(a, b);
  const __m128d bb = _mm_sub_pd(s, a);
  const __m128d e = _mm_add_pd(_mm_sub_pd(a, _mm_sub_pd(s, bb)), _mm_sub_pd(b, bb));
  return {s, e};
}
// Exact sum for |a| >= |b| (or a = 0).
inline DD fast_two_sum(__m128d a, __m128d b) {
  const __m128d s = _mm_add_pd(a, b);
  return {s, _mm_add_pd(_mm_sub_pd(a, s), b)};
}
// Veltkamp split: a = hi + lo with 26 and 27 significant bits.
inline DD split(__m128d a) {
  const __m128d t = _mm_mul_pd(a, _mm_set1_pd(134217729.0));
  const __m128d hi = _mm_sub_pd(t, _mm_sub_pd(t, a));
  return {hi, _mm_sub_pd(a, hi)};
}
// Exact product a b = p + e (Dekker), for products far from over- and underflow.
inline DD two_prod(__m128d a, __m128d b) {
  const __m128d p = _mm_mul_pd(a, b);
  const DD x = split(a), y = split(b);
  const __m128d e = _mm_add_pd(
      _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(x.hi, y.hi), p), _mm_mul_pd(x.hi, y.lo)), _mm_mul_pd(x.lo, y.hi)),
      _mm_mul_pd(x.lo, y.lo));
  return {p, e};
}

// Exact product a * b = ph + pl by Dekker's splitting (no fused multiply-add).
template <class F>
inline void two_prod(F a, F b, F& ph, F& pl) {
  // The compiler folds constant operands at full extended precision, not at
  // the 53 bits the x87 kernel runs with: keep b opaque so its split happens
  // at run time.
  if constexpr (sizeof(F) > sizeof(double)) __asm__("" : "+m"(b));
  const F split = 134217729.0;  // 2^27 + 1
  F t = a * split;
  const F ah = t - (t - a), al = a - ah;
  t = b * split;
  const F bh = t - (t - b), bl = b - bh;
  ph = a * b;
  pl = ((ah * bh - ph) + ah * bl + al * bh) + al * bl;
}

}  // namespace zev::vk
