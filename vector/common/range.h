// Range tests of the special lanes: one biased signed compare a lane, on the
// bits of singles or on the high words of doubles.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/bits.h"
#include "vector/common/consts.h"

namespace zev::vk {

// The bias and span of a range test over [lo, hi] of 32-bit words: a word w
// is outside when (w - lo), as unsigned, exceeds hi - lo. SSE2 has only a
// signed compare, so both sides are biased by 2^31: w + (2^31 - lo) against
// (hi - lo) + 2^31 (wrapping).
struct Range32 {
  __m128 bias, span;
};
constexpr Range32 range32(uint32_t lo, uint32_t hi) {
  return {u4(0x80000000u - lo), u4((hi - lo) ^ 0x80000000u)};
}
inline __m128i outside(__m128i w, const Range32& r) {
  return _mm_cmpgt_epi32(_mm_add_epi32(w, bits(r.bias)), bits(r.span));
}

// Single lanes: the sign-cleared bits; double lanes: the sign-cleared high
// words, copied into both halves of their lane, so that a 32-bit compare
// yields whole-lane masks.
inline __m128i abs_bits(__m128 x) { return _mm_and_si128(bits(x), _mm_set1_epi32(0x7FFFFFFF)); }
inline __m128i high_words(__m128d x) { return _mm_shuffle_epi32(bits(x), _MM_SHUFFLE(3, 3, 1, 1)); }
inline __m128i abs_high_words(__m128d x) { return _mm_and_si128(high_words(x), _mm_set1_epi32(0x7FFFFFFF)); }

// Lanes whose value is not a normal finite number (zero, subnormal, infinite
// or NaN), from the bits of a result.
inline __m128 not_normal(__m128 r) {
  static constexpr Range32 k = range32(0x00800000u, 0x7F7FFFFFu);
  return _mm_castsi128_ps(outside(abs_bits(r), k));
}
inline __m128d not_normal(__m128d r) {
  static constexpr Range32 k = range32(0x00100000u, 0x7FEFFFFFu);
  return _mm_castsi128_pd(outside(abs_high_words(r), k));
}

}  // namespace zev::vk
