// One style of constant vector: a kernel keeps its constants in one read-only
// struct of full-width vector members, initialised at compile time by the
// makers below, each read by one aligned load.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace zev::vk {

// Vectors of 32- and 64-bit integers, for constant words and masks.
typedef int32_t I4 __attribute__((vector_size(16)));
typedef int64_t I2 __attribute__((vector_size(16)));

constexpr __m128 f4(float x) { return __m128{x, x, x, x}; }
constexpr __m128d d2(double x) { return __m128d{x, x}; }
constexpr I4 i4(int32_t x) { return I4{x, x, x, x}; }
constexpr I2 i2(int64_t x) { return I2{x, x}; }
// Bit patterns as floating-point vectors: four words, two double words, or one
// 32-bit word in every word of a double vector.
constexpr __m128 u4(uint32_t x) { return __builtin_bit_cast(__m128, i4(static_cast<int32_t>(x))); }
constexpr __m128d q2(uint64_t x) { return __builtin_bit_cast(__m128d, i2(static_cast<int64_t>(x))); }
constexpr __m128d w2(uint32_t x) { return __builtin_bit_cast(__m128d, i4(static_cast<int32_t>(x))); }
inline __m128i iv(I4 v) { return reinterpret_cast<__m128i>(v); }
inline __m128i iv(I2 v) { return reinterpret_cast<__m128i>(v); }

// A lone constant where it is used (scalar functions, rare paths, a value or
// two of a core): the compiler keeps it in the read-only data all the same.
// A kernel's own set of constants goes in one struct, as above.
inline __m128d d1(double x) { return _mm_set1_pd(x); }
inline __m128 f1(float x) { return _mm_set1_ps(x); }

}  // namespace zev::vk
