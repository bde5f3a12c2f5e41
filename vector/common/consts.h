// One style of constant vector: a read-only 16-byte union, initialised at
// compile time, read by one aligned load.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace zev::vk {

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

// A lone constant where it is used (scalar functions, rare paths, a value or
// two of a core): the compiler keeps it in the read-only data all the same.
// A kernel's own set of constants goes in one struct of the unions above.
inline __m128d d1(double x) { return _mm_set1_pd(x); }
inline __m128 f1(float x) { return _mm_set1_ps(x); }

}  // namespace zev::vk
