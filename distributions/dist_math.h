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
#include "distributions/ln_fast_data.h"

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

// ln x on two lanes of positive normal numbers below 1, for the one-pass
// inverse transforms, by a table of its own (256 rows, 1/c of 18 bits; see
// tools/logpow_tables/gen_tables.cpp): x = 2^k z, r = z/c - 1 with |r| < 2^-9,
// log1p(r) - r by Taylor to r^6 in Estrin's scheme, and the sum
// (k ln2_hi + log c_hi + r) + (k ln2_lo + log c_lo + p) in plain double.
// Short: every lane has at most 33 significant bits (the 32-bit generators'
// t = 1 - 2^-33 - u, an odd multiple of 2^-33 in (0, 1)), so that
// z/c - 1 = z invc - 1 is exact as two operations: within 0.51 ulp (0.502
// measured over 4e7 lattice points). Otherwise z is split so that r is
// z invc - 1 rounded once: within 1.3 ulp below 1 (1.25 measured over 4e7
// arguments), the two forms agreeing bit for bit on the lattice. (Above
// 1 + 2^-9 the sum can round twice across a binade: 2 ulp; no generator asks.)
template <bool Short = false>
inline __m128d ln_fast(__m128d x) {
  using namespace vk::logpow;
  using vk::d1;
  const __m128i ix = as_i(x);
  const __m128i tmp = _mm_sub_epi64(ix, i64(0x3FE5D80000000000ull));
  const __m128i idx = _mm_and_si128(_mm_srli_epi64(tmp, 44), i64(255));
  const __m128d z = as_d(_mm_sub_epi64(ix, _mm_and_si128(tmp, i64(0xFFF0000000000000ull))));
  const __m128d kf = _mm_cvtepi32_pd(_mm_shuffle_epi32(_mm_srai_epi32(tmp, 20), _MM_SHUFFLE(3, 1, 3, 1)));
  const int i0 = _mm_cvtsi128_si32(idx), i1 = _mm_extract_epi16(idx, 4);
  const __m128d t0 = _mm_load_pd(kLnFastTab[i0]), t1 = _mm_load_pd(kLnFastTab[i1]);
  const __m128d invc = _mm_unpacklo_pd(t0, t1), lchi = _mm_unpackhi_pd(t0, t1);
  const __m128d lclo = _mm_loadh_pd(_mm_load_sd(&kLnFastLo[i0]), &kLnFastLo[i1]);
  __m128d r;
  if constexpr (Short) {
    r = _mm_sub_pd(_mm_mul_pd(z, invc), d1(1.0));
  } else {
    const __m128d zh = as_d(_mm_and_si128(as_i(z), i64(0xFFFFFFFFF8000000ull)));
    r = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(zh, invc), d1(1.0)), _mm_mul_pd(_mm_sub_pd(z, zh), invc));
  }
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d q01 = _mm_add_pd(d1(-0.5), _mm_mul_pd(r, d1(1.0 / 3.0)));
  const __m128d q23 = _mm_add_pd(_mm_add_pd(d1(-0.25), _mm_mul_pd(r, d1(0.2))), _mm_mul_pd(r2, d1(-1.0 / 6.0)));
  const __m128d p = _mm_mul_pd(r2, _mm_add_pd(q01, _mm_mul_pd(r2, q23)));
  const __m128d hi = _mm_add_pd(_mm_mul_pd(kf, d1(kLn2_hi)), lchi);  // exact
  const __m128d lo = _mm_add_pd(_mm_add_pd(_mm_mul_pd(kf, d1(kLn2_lo)), lclo), p);
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

// log1p x and log1p y in one vector evaluation, each lane the arithmetic of
// log1p above, where both lie in (-1, DBL_MAX] outside (-2^-54, 2^-54) and
// both or neither of 1 + x and 1 + y are exact; others go one by one.
inline void log1p2(double x, double y, double& lx, double& ly) {
  constexpr double big = std::numeric_limits<double>::max();
  const bool ok = x > -1 && y > -1 && x <= big && y <= big && !(x > -0x1p-54 && x < 0x1p-54) &&
                  !(y > -0x1p-54 && y < 0x1p-54);
  if (ok) {
    const __m128d v = _mm_set_pd(y, x), u = _mm_add_pd(_mm_set1_pd(1.0), v);
    const __m128d in1 = _mm_and_pd(_mm_cmplt_pd(v, _mm_set1_pd(1.0)), _mm_cmpgt_pd(v, _mm_set1_pd(-1.0)));
    const __m128d c_in = _mm_add_pd(_mm_sub_pd(_mm_set1_pd(1.0), u), v);
    const __m128d c_out = _mm_add_pd(_mm_sub_pd(v, u), _mm_set1_pd(1.0));
    const __m128d corr = _mm_or_pd(_mm_and_pd(in1, c_in), _mm_andnot_pd(in1, c_out));
    const int zero = _mm_movemask_pd(_mm_cmpeq_pd(corr, _mm_setzero_pd()));
    if (zero == 0 || zero == 3) {
      const vk::DD s = zero ? vk::logpow::log_ha(u) : vk::logpow::log_ha<true>(u, corr);
      const __m128d r = _mm_add_pd(s.hi, s.lo);
      lx = _mm_cvtsd_f64(r);
      ly = _mm_cvtsd_f64(_mm_unpackhi_pd(r, r));
      return;
    }
  }
  lx = log1p(x), ly = log1p(y);
}

}  // namespace zev::dist
