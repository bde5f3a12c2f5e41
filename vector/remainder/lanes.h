// Pieces shared by the exact two-operand kernels of this family (CopySign,
// Fmax, Fmin, MaxMag, MinMag, Fdim, NextAfter) and Modf: their constants, the
// vector operations of each precision, the policy base, and the NaN rule of
// the max and min family.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "vector/algebra/common.h"
#include "vector/shape.h"

namespace zev::vk::rem {


struct Const {
  __m128 fsign, fmagic, fone, fexp, fmax_bits;
  __m128d dsign, dmagic, done, dexp, dmax_hi;
};
inline constexpr Const kC = {
    .fsign = u4(0x80000000u),            // single sign bit
    .fmagic = f4(8388608.0f),            // 2^23: rounds a single to an integer
    .fone = f4(1.0f),                    // 1.0f
    .fexp = u4(0x7F800000u),             // single exponent field
    .fmax_bits = u4(0x7F7FFFFFu),        // bits of the largest finite single
    .dsign = q2(0x8000000000000000ull),  // double sign bit
    .dmagic = d2(4503599627370496.0),    // 2^52: rounds a double to an integer
    .done = d2(1.0),                     // 1.0
    .dexp = q2(0x7FF0000000000000ull),   // double exponent field
    .dmax_hi = w2(0x7FEFFFFFu),          // high word of the largest finite double
};

template <class T> struct K;
template <> struct K<float> {
  using V = __m128;
  static V sign() { return kC.fsign; }
  static V magic() { return kC.fmagic; }
  static V one() { return kC.fone; }
  // Lanes whose exponent field is all ones.
  static V inf_or_nan(V x) { return _mm_castsi128_ps(_mm_cmpgt_epi32(abs_bits(x), bits(kC.fmax_bits))); }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
  static __m128i one_i() { return _mm_set1_epi32(1); }
  static V max(V a, V b) { return _mm_max_ps(a, b); }
  static V min(V a, V b) { return _mm_min_ps(a, b); }
  static V unord(V a, V b) { return _mm_cmpunord_ps(a, b); }
  static V cmplt(V a, V b) { return _mm_cmplt_ps(a, b); }
  static V cmple(V a, V b) { return _mm_cmple_ps(a, b); }
  static V cmpeq(V a, V b) { return _mm_cmpeq_ps(a, b); }
  static V cmpneq(V a, V b) { return _mm_cmpneq_ps(a, b); }
  static V zero() { return _mm_setzero_ps(); }
};
template <> struct K<double> {
  using V = __m128d;
  static V sign() { return kC.dsign; }
  static V magic() { return kC.dmagic; }
  static V one() { return kC.done; }
  static V inf_or_nan(V x) {
    return _mm_castsi128_pd(_mm_cmpgt_epi32(abs_high_words(x), bits(kC.dmax_hi)));
  }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi64(a, b); }
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi64(a, b); }
  static __m128i one_i() { return _mm_set1_epi64x(1); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V unord(V a, V b) { return _mm_cmpunord_pd(a, b); }
  static V cmplt(V a, V b) { return _mm_cmplt_pd(a, b); }
  static V cmple(V a, V b) { return _mm_cmple_pd(a, b); }
  static V cmpeq(V a, V b) { return _mm_cmpeq_pd(a, b); }
  static V cmpneq(V a, V b) { return _mm_cmpneq_pd(a, b); }
  static V zero() { return _mm_setzero_pd(); }
};

template <class T_, bool Callout>
struct Base : Blocks<T_, sizeof(T_) == 4 ? 8 : 4> {
  static constexpr bool kGatherStrided = true;  // a few operations a block
  static constexpr bool kCallout = Callout;
};

template <class T>
bool signalling(T x) {
  if (!is_nan(x)) return false;
  if constexpr (sizeof(T) == 4) {
    uint32_t u;
    memcpy(&u, &x, 4);
    return !(u & 0x00400000u);
  } else {
    uint64_t u;
    memcpy(&u, &x, 8);
    return !(u & 0x0008000000000000ull);
  }
}

// The NaN lanes of the max and min family.
template <class T>
int nan_pair(const T* pa, const T* pb, T* r) {
  const T a = *pa, b = *pb;
  if (signalling(a) || signalling(b) || (is_nan(a) && is_nan(b)))
    *r = nan_sum(a, b);
  else
    *r = is_nan(a) ? b : a;
  return 0;
}

}  // namespace zev::vk::rem
