// Scalar logarithm and exponential for the accept/reject tests and the
// transforms of the distribution generators, in the module's own SSE2
// arithmetic: an accept or reject decision must come out the same on every
// processor, which the C library's functions (FMA or not, chosen at run time)
// do not promise. The logarithm is the double logarithm core of the vector
// family (within 0.51 ulp), the exponential the scalar core of the
// exponential family (within 0.52 ulp). Neither touches errno or the
// exception flags' meaning for the caller: the generators run with
// exceptions masked.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <limits>

#include "vector/exp/exp_common.h"
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

// ln x on two lanes of positive normal numbers, within 1.3 ulp (measured
// 1.22 over 2e7 arguments, the generators' lattices among them): the
// reduction, table and polynomial of the logarithm core above, but r = z/c - 1
// rounded once (its error, below 2^-61, is not carried) and the sum taken in
// plain double. The fast forms of the inverse transforms use it in place of
// the 0.51-ulp core; their accurate forms keep log1p at full precision.
inline __m128d ln_la(__m128d x) {
  using namespace vk::logpow;
  using vk::d1;
  const LogRow w = log_row(x);
  const __m128d zh = as_d(_mm_and_si128(as_i(w.z), i64(0xFFFFFFFFF8000000ull)));
  const __m128d r =
      _mm_add_pd(_mm_sub_pd(_mm_mul_pd(zh, w.invc), d1(1.0)), _mm_mul_pd(_mm_sub_pd(w.z, zh), w.invc));
  // log1p(r) - r: Taylor to r^7 in Estrin's scheme; |r| < 2^-8.
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d q01 = _mm_add_pd(d1(-0.5), _mm_mul_pd(r, d1(1.0 / 3.0)));
  const __m128d q23 = _mm_add_pd(d1(-0.25), _mm_mul_pd(r, d1(0.2)));
  const __m128d q45 = _mm_add_pd(d1(-1.0 / 6.0), _mm_mul_pd(r, d1(1.0 / 7.0)));
  const __m128d p =
      _mm_mul_pd(r2, _mm_add_pd(_mm_add_pd(q01, _mm_mul_pd(r2, q23)), _mm_mul_pd(_mm_mul_pd(r2, r2), q45)));
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(kLn2_hi)), w.lchi);  // exact
  const __m128d lo = _mm_add_pd(_mm_add_pd(_mm_mul_pd(w.kf, d1(kLn2_lo)), w.lclo), p);
  return _mm_add_pd(_mm_add_pd(hi, r), lo);
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

// e^x for any double: below -745.2 it is 0, above 709.79 +inf. Between, the
// scalar core of the exponential family (within 0.52 ulp, denormal results
// rounded once).
inline double exp(double x) {
  if (!(x > -745.2)) return x == x ? 0.0 : x;
  if (x > 709.79) return std::numeric_limits<double>::infinity();
  return vk::expk::exp_core<double>(x);
}

}  // namespace zev::dist
