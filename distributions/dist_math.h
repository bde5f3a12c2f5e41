// Scalar logarithm and exponential for the accept/reject tests and the
// transforms of the distribution generators, in the module's own SSE2
// arithmetic: an accept or reject decision must come out the same on every
// processor, which the C library's functions (FMA or not, chosen at run time)
// do not promise. The logarithm is the double logarithm core of the vector
// family (within 0.51 ulp); the exponential is a Cody-Waite reduction and a
// Taylor polynomial (within about 1 ulp). Neither touches errno or the
// exception flags' meaning for the caller: the generators run with
// exceptions masked.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <limits>

#include "vector/log/log_constants.h"
#include "vector/log/log_core.h"

namespace zev::dist {

namespace detail {

inline double log_normal_pos(double x, double corr = 0) {
  const vk::DD s = corr == 0 ? vk::logpow::log_ha(_mm_set1_pd(x))
                             : vk::logpow::log_ha<true>(_mm_set1_pd(x), _mm_set1_pd(corr));
  return _mm_cvtsd_f64(_mm_add_sd(s.hi, s.lo));
}

}  // namespace detail

// ln x for any double: 0 gives -inf, a negative number or NaN gives NaN.
inline double ln(double x) {
  if (x >= 0x1p-1022 && x <= std::numeric_limits<double>::max()) return detail::log_normal_pos(x);
  if (x > 0 && x < 0x1p-1022)  // subnormal: scaled into the normal range
    return detail::log_normal_pos(x * 0x1p54) - 54 * vk::logpow::kLn2_hi - 54 * vk::logpow::kLn2_lo;
  if (x == 0) return -std::numeric_limits<double>::infinity();
  return x > 0 ? x : std::numeric_limits<double>::quiet_NaN();
}

// ln x and ln y in one vector evaluation, for x and y positive normal
// numbers (others go to ln one by one).
inline void ln2(double x, double y, double& lx, double& ly) {
  constexpr double lo = 0x1p-1022, hi = std::numeric_limits<double>::max();
  if (!(x >= lo && x <= hi && y >= lo && y <= hi)) {
    lx = ln(x), ly = ln(y);
    return;
  }
  const vk::DD s = vk::logpow::log_ha(_mm_set_pd(y, x));
  const __m128d r = _mm_add_pd(s.hi, s.lo);
  lx = _mm_cvtsd_f64(r);
  ly = _mm_cvtsd_f64(_mm_unpackhi_pd(r, r));
}

// ln(1 + x), with full relative precision for small x; -1 gives -inf, below
// it NaN.
inline double log1p(double x) {
  if (!(x > -1)) return x == -1 ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::quiet_NaN();
  if (!(x <= std::numeric_limits<double>::max())) return x;
  if (x > -0x1p-54 && x < 0x1p-54) return x;
  // 1 + x = u + corr exactly (Fast2Sum), corr folded into the logarithm.
  const double u = 1 + x;
  const double corr = (x < 1 && x > -1) ? (1 - u) + x : (x - u) + 1;
  return corr == 0 ? detail::log_normal_pos(u) : detail::log_normal_pos(u, corr);
}

// e^x for any double: below -745.2 it is 0, above 709.79 +inf.
inline double exp(double x) {
  if (!(x > -745.2)) return x == x ? 0.0 : x;
  if (x > 709.79) return std::numeric_limits<double>::infinity();
  constexpr double kShift = 0x1.8p52;
  // k = round(x / ln 2) from the low bits of the shifted sum.
  const double t = x * vk::logpow::kInvLn2_hi + kShift;
  int64_t tb;
  std::memcpy(&tb, &t, 8);
  const int k = int(int32_t(uint32_t(tb)));
  const double kf = t - kShift;
  // ln2_hi has 42 significant bits: kf ln2_hi is exact for |k| < 2^11.
  const double r = (x - kf * vk::logpow::kLn2_hi) - kf * vk::logpow::kLn2_lo;
  // e^r for |r| <= 0.3466 by Taylor to r^13: the tail is below 2^-57.
  constexpr double c[14] = {1.0,
                            1.0,
                            1.0 / 2,
                            1.0 / 6,
                            1.0 / 24,
                            1.0 / 120,
                            1.0 / 720,
                            1.0 / 5040,
                            1.0 / 40320,
                            1.0 / 362880,
                            1.0 / 3628800,
                            1.0 / 39916800,
                            1.0 / 479001600,
                            1.0 / 6227020800.0};
  double p = c[13];
  for (int i = 12; i >= 2; --i) p = p * r + c[i];
  p = 1 + (r + r * (r * p));
  // 2^k in one or two factors (subnormal results round twice, harmlessly).
  auto pow2 = [](int e) {
    const uint64_t b = uint64_t(e + 1023) << 52;
    double d;
    std::memcpy(&d, &b, 8);
    return d;
  };
  if (k >= -1021 && k <= 1023) return p * pow2(k);
  const int h = k / 2;
  return p * pow2(h) * pow2(k - h);
}

}  // namespace zev::dist
