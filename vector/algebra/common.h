// Pieces shared by the algebraic and the remainder families: constant vectors,
// the one-compare range test of the special lanes, and the status of a lane
// from the IEEE exceptions its scalar computation raises.
#pragma once

#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "vector/shape.h"
#include "vector/vops.h"

namespace zev::vk::alg {

// A constant of four singles, four words, two doubles or two double words, as
// one read-only 16-byte vector.
union alignas(16) C4 {
  float f[4];
  uint32_t u[4];
  __m128 ps() const { return _mm_load_ps(f); }
  __m128i i() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(u)); }
};
union alignas(16) C2 {
  double d[2];
  uint64_t u[2];
  uint32_t w[4];
  __m128d pd() const { return _mm_load_pd(d); }
  __m128i i() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(u)); }
};
constexpr C4 f4(float x) { return C4{.f = {x, x, x, x}}; }
constexpr C4 u4(uint32_t x) { return C4{.u = {x, x, x, x}}; }
constexpr C2 d2(double x) { return C2{.d = {x, x}}; }
constexpr C2 q2(uint64_t x) { return C2{.u = {x, x}}; }
constexpr C2 w2(uint32_t x) { return C2{.w = {x, x, x, x}}; }

// The bias and span of a range test over [lo, hi] of 32-bit words: a word w
// is outside when (w - lo), as unsigned, exceeds hi - lo. SSE2 has only a
// signed compare, so both sides are biased by 2^31: w + (2^31 - lo) against
// (hi - lo) + 2^31 (wrapping).
struct Range32 {
  C4 bias, span;
};
constexpr Range32 range32(uint32_t lo, uint32_t hi) {
  return {u4(0x80000000u - lo), u4((hi - lo) ^ 0x80000000u)};
}
inline __m128i outside(__m128i w, const Range32& r) {
  return _mm_cmpgt_epi32(_mm_add_epi32(w, r.bias.i()), r.span.i());
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

// ---- statuses from IEEE exceptions -------------------------------------------

// Keeps a value in a register across the flag reads, so that the compiler
// neither hoists its computation above them nor sinks it below.
template <class T>
inline void pin(T& v) {
  __asm__ volatile("" : "+x"(v));
}

// Collects the exceptions raised between start() and stop() with the
// caller's sticky flags set aside, and puts those flags back, joined by the
// new ones, at stop().
class Flags {
 public:
  Flags() : saved_(csr_get()) { csr_set(saved_ & ~0x3Fu); }
  unsigned stop() {
    const unsigned got = csr_get() & 0x3F;
    csr_set(saved_ | got);
    return got;
  }

 private:
  uint32_t saved_;
};

constexpr unsigned kInvalid = 0x01, kDivZero = 0x04, kOverflow = 0x08, kUnderflow = 0x10;

// The status of a lane whose inputs are not NaN: invalid 1, an exact pole 2,
// an overflow that left an infinity 3, an underflow that left a result below
// the normal range 4.
template <class T>
inline int status_of(unsigned flags, T r) {
  if (flags & kInvalid) return 1;
  if (flags & kDivZero) return 2;
  if ((flags & kOverflow) && std::isinf(r)) return 3;
  if ((flags & kUnderflow) && std::fabs(r) < std::numeric_limits<T>::min()) return 4;
  return 0;
}

template <class T>
inline bool is_nan(T x) {
  return x != x;
}

// a + b with a as the destination operand: of two NaNs the first one comes
// out (quieted), as the C functions give it. Written out because the compiler
// may swap the operands of a plain a + b.
inline float nan_sum(float a, float b) {
  __asm__("addss %1, %0" : "+x"(a) : "x"(b));
  return a;
}
inline double nan_sum(double a, double b) {
  __asm__("addsd %1, %0" : "+x"(a) : "x"(b));
  return a;
}

}  // namespace zev::vk::alg
