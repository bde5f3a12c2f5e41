// Bit views: the bits of a vector as integers, of a scalar as an unsigned
// word, and back.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace zev::vk {

inline __m128i bits(__m128 v) { return _mm_castps_si128(v); }
inline __m128i bits(__m128d v) { return _mm_castpd_si128(v); }

inline uint64_t ubits(double x) {
  uint64_t u;
  memcpy(&u, &x, 8);
  return u;
}
inline uint32_t ubits(float x) {
  uint32_t u;
  memcpy(&u, &x, 4);
  return u;
}
inline double dfrom(uint64_t u) {
  double x;
  memcpy(&x, &u, 8);
  return x;
}
inline float ffrom(uint32_t u) {
  float x;
  memcpy(&x, &u, 4);
  return x;
}

}  // namespace zev::vk
