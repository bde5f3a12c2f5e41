// Overloaded vector operations, so that a policy can be written once for
// four singles and two doubles.
#pragma once

#include <emmintrin.h>

#include "vector/common/bits.h"

namespace zev::vk {

inline __m128 add(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
inline __m128d add(__m128d a, __m128d b) { return _mm_add_pd(a, b); }
inline __m128 sub(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
inline __m128d sub(__m128d a, __m128d b) { return _mm_sub_pd(a, b); }
inline __m128 mul(__m128 a, __m128 b) { return _mm_mul_ps(a, b); }
inline __m128d mul(__m128d a, __m128d b) { return _mm_mul_pd(a, b); }
inline __m128 cmplt(__m128 a, __m128 b) { return _mm_cmplt_ps(a, b); }
inline __m128d cmplt(__m128d a, __m128d b) { return _mm_cmplt_pd(a, b); }
inline __m128 cmpeq(__m128 a, __m128 b) { return _mm_cmpeq_ps(a, b); }
inline __m128d cmpeq(__m128d a, __m128d b) { return _mm_cmpeq_pd(a, b); }
inline __m128 and_(__m128 a, __m128 b) { return _mm_and_ps(a, b); }
inline __m128d and_(__m128d a, __m128d b) { return _mm_and_pd(a, b); }
inline __m128 or_(__m128 a, __m128 b) { return _mm_or_ps(a, b); }
inline __m128d or_(__m128d a, __m128d b) { return _mm_or_pd(a, b); }
inline __m128 xor_(__m128 a, __m128 b) { return _mm_xor_ps(a, b); }
inline __m128d xor_(__m128d a, __m128d b) { return _mm_xor_pd(a, b); }
// a AND NOT m... in the intrinsic's order: (NOT m) AND a.
inline __m128 andnot(__m128 m, __m128 a) { return _mm_andnot_ps(m, a); }
inline __m128d andnot(__m128d m, __m128d a) { return _mm_andnot_pd(m, a); }
// m ? a : b, lane by lane.
template <class V>
inline V select(V m, V a, V b) {
  return or_(and_(m, a), andnot(m, b));
}

}  // namespace zev::vk
