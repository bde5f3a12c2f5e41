// Models of the reciprocal and reciprocal square root estimates, for checking
// arithmetic built on rcpps and rsqrtps against every processor and not just
// the one the tests run on. A model is an estimator policy like
// zev::vk::HwEstimate (vector/estimate.h): instantiate a kernel's block
// arithmetic with it.
//
// The instruction set promises, for a normal result, a relative error of at
// most 1.5 * 2^-12 and nothing about where inside that band an estimate lies.
// ModelEstimate puts every estimate at a chosen place in the band: the
// fraction `bias` of the bound (1: the float nearest 1.5 * 2^-12 above the
// true value that is still inside the band, -1: below, 0: the true value
// rounded), or, with `scattered`, a fraction that changes from input to input
// (drawn from the input's bits), so that neighbouring inputs see estimates
// from both ends. The special results are those of the instructions: a zero or
// subnormal input gives an infinity of its sign, an infinity a zero of its
// sign, a negative input to rsqrt the default NaN, a NaN itself quieted; a
// reciprocal below 2^-126 is flushed to zero, the worst the promise allows.
// The model computes in double, whose own error is below 2^-52, and does not
// depend on the control word's flush bits.
#pragma once

#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "vector/estimate.h"

namespace zevtest {

struct ModelEstimate {
  static inline thread_local double bias = 1.0;
  static inline thread_local bool scattered = false;

  static float lane(float x, bool root) {
    uint32_t u;
    std::memcpy(&u, &x, 4);
    if (x != x) return x + x;
    const float big = std::numeric_limits<float>::infinity();
    if ((u & 0x7F800000u) == 0) return std::signbit(x) ? -big : big;  // zero or subnormal
    if (root && std::signbit(x)) return -std::numeric_limits<float>::quiet_NaN();
    if (std::isinf(x)) return std::signbit(x) ? -0.0f : 0.0f;
    const double t = root ? 1.0 / std::sqrt(double(x)) : 1.0 / double(x);
    double k = bias;
    if (scattered) {
      uint32_t h = u * 0x9E3779B1u;
      h ^= h >> 15;
      h *= 0x85EBCA6Bu;
      h ^= h >> 13;
      k = double(h % 2001u) / 1000.0 - 1.0;
    }
    const double v = t * (1.0 + k * zev::vk::kEstimateError);
    if (std::fabs(v) < double(std::numeric_limits<float>::min())) return std::signbit(x) ? -0.0f : 0.0f;
    float f = static_cast<float>(v);
    // Inside the band: step back toward the true value where rounding left it.
    while (std::fabs(double(f) / t - 1.0) > zev::vk::kEstimateError) f = std::nextafter(f, static_cast<float>(t));
    return f;
  }
  static __m128 apply(__m128 x, bool root) {
    alignas(16) float v[4];
    _mm_store_ps(v, x);
    for (float& e : v) e = lane(e, root);
    return _mm_load_ps(v);
  }
  static __m128 rcp(__m128 x) { return apply(x, false); }
  static __m128 rsqrt(__m128 x) { return apply(x, true); }
};

// Sets the model's place in the band for a scope.
class EstimateBias {
 public:
  EstimateBias(double bias, bool scattered = false)
      : bias_(ModelEstimate::bias), scattered_(ModelEstimate::scattered) {
    ModelEstimate::bias = bias;
    ModelEstimate::scattered = scattered;
  }
  ~EstimateBias() {
    ModelEstimate::bias = bias_;
    ModelEstimate::scattered = scattered_;
  }
  EstimateBias(const EstimateBias&) = delete;
  EstimateBias& operator=(const EstimateBias&) = delete;

 private:
  double bias_;
  bool scattered_;
};

}  // namespace zevtest
