// The reciprocal and reciprocal square root estimates, as a policy that a
// kernel's block arithmetic takes as a template parameter.
//
// rcpps and rsqrtps differ in their bits from one processor to the next: the
// instruction set promises only a relative error of at most 1.5 * 2^-12 for a
// normal result, and the special results (a zero or subnormal input gives an
// infinity of its sign, an infinity gives a zero, a negative input to rsqrtps
// gives a NaN; rcpps flushes a result below 2^-126 to zero whatever the
// control word says). Arithmetic built on them must stay within its bound for
// every estimate the promise allows, and its ordinary range must keep every
// intermediate normal and finite, so that FTZ and DAZ cannot change it.
//
// Kernels instantiate their arithmetic with HwEstimate. Tests instantiate the
// same arithmetic with models of the worst estimates (tests/support/
// estimate_model.h); the library itself never carries a hook.
#pragma once

#include <emmintrin.h>

namespace zev::vk {

// Relative error bound of rcpps and rsqrtps on a normal result.
inline constexpr double kEstimateError = 0x1.8p-12;

struct HwEstimate {
  static __m128 rcp(__m128 x) { return _mm_rcp_ps(x); }
  static __m128 rsqrt(__m128 x) { return _mm_rsqrt_ps(x); }
};

}  // namespace zev::vk
