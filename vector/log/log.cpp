// Ln, Log2, Log10, Log1p and Logb, single and double.
//
// Measured worst errors (zev_ulp --full, docs/accuracy_logpow.md): HA 0.50 ulp
// for Ln, Log2 and Log10 in both precisions, dLog1p 0.65 ulp; LA within 1 ulp;
// EP 16 bits (single, no table) and 34 bits (double).
//
// Special lanes: x not a positive normal (zero, denormal, negative, infinity,
// NaN), found by one unsigned compare of the bits; Log1p: x <= -1, |x| below
// the least normal, infinities and NaN; Logb: zero, denormal, infinity, NaN.
// The scalar functions run the vector core on one lane after scaling a
// denormal, so the callout gives the same accuracy as the block.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "vector/log/log_core.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace logpow;

// ---- double cores of one kernel each -----------------------------------------

enum class Base { E, Two, Ten };

inline __m128d sum(DD a) { return _mm_add_pd(a.hi, a.lo); }

template <Base B>
inline DD scale_dd(DD l) {
  if constexpr (B == Base::E) {
    return l;
  } else {
    constexpr double chi = B == Base::Two ? kInvLn2_hi : kInvLn10_hi;
    constexpr double clo = B == Base::Two ? kInvLn2_lo : kInvLn10_lo;
    // chi split into 26 + 27 bits, as the Veltkamp split would give.
    constexpr double c1 = chi * 134217729.0 - (chi * 134217729.0 - chi);
    return mul_const(l, c1, chi - c1, chi, clo);
  }
}
template <Base B>
constexpr double inv_ln() {
  return B == Base::Two ? kInvLn2_hi : kInvLn10_hi;
}

template <Base B>
inline __m128d log_d_ha(__m128d x) {
  return sum(scale_dd<B>(log_ha(x)));
}
// LA of Log2: the scaling by 1/ln2 rounded once more (below 1 ulp).
inline __m128d log2_d_la(__m128d x) {
  const DD l = log_ha(x);
  const __m128d c = d1(kInvLn2_hi);
  return _mm_add_pd(_mm_mul_pd(l.hi, c), _mm_add_pd(_mm_mul_pd(l.lo, c), _mm_mul_pd(l.hi, d1(kInvLn2_lo))));
}
template <Base B>
inline __m128d log_d_ep(__m128d x) {
  const __m128d l = log_ep(x);
  if constexpr (B == Base::E)
    return l;
  else
    return _mm_mul_pd(l, d1(inv_ln<B>()));
}

// log1p x = log(u + corr) with u = 1 + x rounded and corr its exact error.
inline __m128d log1p_d(__m128d x) {
  const DD u = two_sum(d1(1.0), x);
  return sum(log_ha<true>(u.hi, u.lo));
}

// ---- single cores, in double --------------------------------------------------

template <Base B, int Degree>
inline __m128d log_sd(__m128d x) {
  const __m128d l = log_s<Degree>(x);
  if constexpr (B == Base::E)
    return l;
  else
    return _mm_mul_pd(l, d1(inv_ln<B>()));
}

// log1p of widened singles: 1 + x is exact in double unless |x| < 2^-29; the
// error then goes in as corr / c (c = 1 in that row).
inline __m128d log1p_sd(__m128d x) {
  const DD u = two_sum(d1(1.0), x);
  const LogRow w = log_row(u.hi);
  const __m128d sc = as_d(_mm_sub_epi64(i64(0x3FF0000000000000ull), w.kb));
  const __m128d r = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(w.z, w.invc), d1(1.0)),
                               _mm_mul_pd(_mm_mul_pd(u.lo, w.invc), sc));
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(0x1.62e42fefa39efp-1)), w.lchi);
  const __m128d q =
      _mm_add_pd(d1(-0.5), _mm_mul_pd(r, _mm_add_pd(d1(0x1.5555555555555p-2), _mm_mul_pd(r, d1(-0.25)))));
  return _mm_add_pd(hi, _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q)));
}

// EP single, in single: no table, z in [0.6816, 1.3633), f = z - 1,
// log1p f = f + f^2 P(f) with P of degree 4 (2^-15.9 relative).
#include "tools/logpow_tables/logpow_poly.inc"

template <Base B>
inline __m128 log_s_ep(__m128 x) {
  const __m128i ix = _mm_castps_si128(x);
  const __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(0x3F2E8000));
  const __m128i kb = _mm_and_si128(tmp, _mm_set1_epi32(static_cast<int>(0xFF800000u)));
  const __m128 kf = _mm_cvtepi32_ps(_mm_srai_epi32(tmp, 23));
  const __m128 f = _mm_sub_ps(_mm_castsi128_ps(_mm_sub_epi32(ix, kb)), _mm_set1_ps(1.0f));
  __m128 p = _mm_set1_ps(static_cast<float>(kLogEpPoly[4]));
  for (int i = 3; i >= 0; --i) p = _mm_add_ps(_mm_set1_ps(static_cast<float>(kLogEpPoly[i])), _mm_mul_ps(f, p));
  const __m128 l1p = _mm_add_ps(f, _mm_mul_ps(_mm_mul_ps(f, f), p));
  if constexpr (B == Base::Two)
    return _mm_add_ps(kf, _mm_mul_ps(l1p, _mm_set1_ps(1.44269504f)));
  else if constexpr (B == Base::Ten)
    return _mm_mul_ps(_mm_add_ps(_mm_mul_ps(kf, _mm_set1_ps(0.693147182f)), l1p), _mm_set1_ps(0.434294492f));
  else
    return _mm_add_ps(_mm_mul_ps(kf, _mm_set1_ps(0.693147182f)), l1p);
}

// ---- scalar functions ------------------------------------------------------------

inline double make_nan() {
  volatile double z = 0.0;
  return z / z;  // invalid
}
inline double make_neg_inf() {
  volatile double z = 0.0;
  return -1.0 / z;  // zero divide
}

// A double pair minus n ln2 (n the scaling of a denormal), as a pair.
inline DD log_rescale(DD l, int n) {
  const double a = _mm_cvtsd_f64(l.hi), lo = _mm_cvtsd_f64(l.lo);
  const double b = -n * kLn2_hi;  // exact
  const double s = a + b;
  const double e = std::fabs(a) >= std::fabs(b) ? (a - s) + b : (b - s) + a;
  return {_mm_set_sd(s), _mm_set_sd(e + (lo - n * kLn2_lo))};
}

// The logarithms of a double: status 1 below zero, 2 at zero.
template <Base B>
int log_scalar_d(const double* a, double* r) {
  const double x = *a;
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x < 0) {
    *r = make_nan();
    return 1;
  }
  if (x == 0) {
    *r = make_neg_inf();
    return 2;
  }
  if (std::isinf(x)) {
    *r = x;
    return 0;
  }
  if (x < DBL_MIN) {  // denormal: log(x 2^54) - 54 log(2)
    const DD l = log_ha(_mm_set1_pd(x * 0x1p54));
    if constexpr (B == Base::Two) {
      // log2(x 2^54) - 54, the subtraction as an exact sum.
      const DD m = scale_dd<B>(l);
      const double h = _mm_cvtsd_f64(m.hi), s = h - 54.0, e = (h - s) - 54.0;
      *r = s + (e + _mm_cvtsd_f64(m.lo));
    } else {
      *r = _mm_cvtsd_f64(sum(scale_dd<B>(log_rescale(l, 54))));
    }
    return 0;
  }
  *r = _mm_cvtsd_f64(log_d_ha<B>(_mm_set1_pd(x)));
  return 0;
}

// The logarithms of a single, in double (a denormal single is a normal double).
template <Base B>
int log_scalar_s(const float* a, float* r) {
  const float x = *a;
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x < 0) {
    *r = static_cast<float>(make_nan());
    return 1;
  }
  if (x == 0) {
    *r = static_cast<float>(make_neg_inf());
    return 2;
  }
  if (std::isinf(x)) {
    *r = x;
    return 0;
  }
  *r = static_cast<float>(_mm_cvtsd_f64(log_sd<B, 4>(_mm_set1_pd(x))));
  return 0;
}

// log1p: status 1 below -1, 2 at -1, 4 for a denormal (the result is x).
template <class T>
int log1p_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x < -1) {
    *r = static_cast<T>(make_nan());
    return 1;
  }
  if (x == -1) {
    *r = static_cast<T>(make_neg_inf());
    return 2;
  }
  if (std::isinf(x) || x == 0) {
    *r = x;
    return 0;
  }
  if (std::fabs(x) < std::numeric_limits<T>::min()) {
    volatile T t = x;
    *r = t - t * t;  // x, with underflow and inexact raised
    return 4;
  }
  if constexpr (sizeof(T) == 4)
    *r = static_cast<float>(_mm_cvtsd_f64(log1p_sd(_mm_set1_pd(x))));
  else if (x > 0x1p1000)  // log1p x = log x + 1/x, and 1/x is far below an ulp
    *r = _mm_cvtsd_f64(sum(log_ha(_mm_set1_pd(x))));
  else
    *r = _mm_cvtsd_f64(log1p_d(_mm_set1_pd(x)));
  return 0;
}

// logb: the binade exponent; -inf and status 2 at zero, +inf at infinities.
template <class T>
int logb_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x == 0) {
    *r = static_cast<T>(make_neg_inf());
    return 2;
  }
  if (std::isinf(x)) {
    *r = std::numeric_limits<T>::infinity();
    return 0;
  }
  *r = static_cast<T>(std::ilogb(x));
  return 0;
}

// ---- policies ----------------------------------------------------------------------

template <class T_, int Block>
struct LogPolicyBase {
  using T = T_;
  static constexpr int kBlock = Block;
  static constexpr int kBlockI = Block;
  static constexpr bool kSignedCount = false;
  static constexpr bool kCallout = true;
};

// Double kernels: Core maps a vector of two doubles; Mask its special lanes.
template <__m128d (*Core)(__m128d), int (*Scalar)(const double*, double*), const char* const* Name>
struct DPolicy : LogPolicyBase<double, 8> {
  static constexpr const char* kName = *Name;
  static __m128d eval(__m128d x, __m128d& special) {
    special = not_pos_normal(x);
    return Core(x);
  }
  static int scalar(const double* a, double* r) { return Scalar(a, r); }
};

// Single kernels computed in double: two widened halves.
template <__m128d (*Core)(__m128d), int (*Scalar)(const float*, float*), const char* const* Name>
struct SPolicy : LogPolicyBase<float, 16> {
  static constexpr const char* kName = *Name;
  static __m128 eval(__m128 x, __m128& special) {
    special = not_pos_normal(x);
    return narrow(Core(widen_lo(x)), Core(widen_hi(x)));
  }
  static int scalar(const float* a, float* r) { return Scalar(a, r); }
};

template <__m128 (*Core)(__m128), int (*Scalar)(const float*, float*), const char* const* Name>
struct SPolicyEp : LogPolicyBase<float, 8> {
  static constexpr const char* kName = *Name;
  static __m128 eval(__m128 x, __m128& special) {
    special = not_pos_normal(x);
    return Core(x);
  }
  static int scalar(const float* a, float* r) { return Scalar(a, r); }
};

constexpr const char* kNsLn = "vsLn";
constexpr const char* kNdLn = "vdLn";
constexpr const char* kNsLog2 = "vsLog2";
constexpr const char* kNdLog2 = "vdLog2";
constexpr const char* kNsLog10 = "vsLog10";
constexpr const char* kNdLog10 = "vdLog10";
constexpr const char* kNsLog1p = "vsLog1p";
constexpr const char* kNdLog1p = "vdLog1p";
constexpr const char* kNsLogb = "vsLogb";
constexpr const char* kNdLogb = "vdLogb";

using dLnHA = DPolicy<log_d_ha<Base::E>, log_scalar_d<Base::E>, &kNdLn>;
using dLnEP = DPolicy<log_d_ep<Base::E>, log_scalar_d<Base::E>, &kNdLn>;
using dLog2HA = DPolicy<log_d_ha<Base::Two>, log_scalar_d<Base::Two>, &kNdLog2>;
using dLog2LA = DPolicy<log2_d_la, log_scalar_d<Base::Two>, &kNdLog2>;
using dLog2EP = DPolicy<log_d_ep<Base::Two>, log_scalar_d<Base::Two>, &kNdLog2>;
using dLog10HA = DPolicy<log_d_ha<Base::Ten>, log_scalar_d<Base::Ten>, &kNdLog10>;

using sLnHA = SPolicy<log_sd<Base::E, 4>, log_scalar_s<Base::E>, &kNsLn>;
using sLnLA = SPolicy<log_sd<Base::E, 3>, log_scalar_s<Base::E>, &kNsLn>;
using sLnEP = SPolicyEp<log_s_ep<Base::E>, log_scalar_s<Base::E>, &kNsLn>;
using sLog2HA = SPolicy<log_sd<Base::Two, 4>, log_scalar_s<Base::Two>, &kNsLog2>;
using sLog2LA = SPolicy<log_sd<Base::Two, 3>, log_scalar_s<Base::Two>, &kNsLog2>;
using sLog2EP = SPolicyEp<log_s_ep<Base::Two>, log_scalar_s<Base::Two>, &kNsLog2>;
using sLog10HA = SPolicy<log_sd<Base::Ten, 4>, log_scalar_s<Base::Ten>, &kNsLog10>;
using sLog10LA = SPolicy<log_sd<Base::Ten, 3>, log_scalar_s<Base::Ten>, &kNsLog10>;
using sLog10EP = SPolicyEp<log_s_ep<Base::Ten>, log_scalar_s<Base::Ten>, &kNsLog10>;

// Log1p: x <= -1, |x| below the least normal, infinities and NaN; double
// also x above 2^1000, where the exponent of 1 + x leaves 2^-k out of range.
struct dLog1pP : LogPolicyBase<double, 8> {
  static constexpr const char* kName = "vdLog1p";
  static __m128d eval(__m128d x, __m128d& special) {
    const __m128d ax = _mm_andnot_pd(d1(-0.0), x);
    special = _mm_or_pd(_mm_or_pd(not_pos_normal(ax), _mm_cmple_pd(x, d1(-1.0))), _mm_cmpgt_pd(x, d1(0x1p1000)));
    return log1p_d(x);
  }
  static int scalar(const double* a, double* r) { return log1p_scalar(a, r); }
};
struct sLog1pP : LogPolicyBase<float, 16> {
  static constexpr const char* kName = "vsLog1p";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = _mm_andnot_ps(_mm_set1_ps(-0.0f), x);
    special = _mm_or_ps(not_pos_normal(ax), _mm_cmple_ps(x, _mm_set1_ps(-1.0f)));
    return narrow(log1p_sd(widen_lo(x)), log1p_sd(widen_hi(x)));
  }
  static int scalar(const float* a, float* r) { return log1p_scalar(a, r); }
};

// Logb: the exponent field minus the bias, exact; zero, denormal, infinity and
// NaN go to the scalar function.
struct dLogbP : LogPolicyBase<double, 4> {
  static constexpr const char* kName = "vdLogb";
  static __m128d eval(__m128d x, __m128d& special) {
    special = not_pos_normal(_mm_andnot_pd(d1(-0.0), x));
    const __m128i h = _mm_srli_epi32(_mm_shuffle_epi32(as_i(x), _MM_SHUFFLE(3, 1, 3, 1)), 20);
    const __m128i e = _mm_sub_epi32(_mm_and_si128(h, _mm_set1_epi32(0x7FF)), _mm_set1_epi32(1023));
    return _mm_cvtepi32_pd(e);
  }
  static int scalar(const double* a, double* r) { return logb_scalar(a, r); }
};
struct sLogbP : LogPolicyBase<float, 8> {
  static constexpr const char* kName = "vsLogb";
  static __m128 eval(__m128 x, __m128& special) {
    special = not_pos_normal(_mm_andnot_ps(_mm_set1_ps(-0.0f), x));
    const __m128i e = _mm_sub_epi32(_mm_and_si128(_mm_srli_epi32(_mm_castps_si128(x), 23), _mm_set1_epi32(0xFF)),
                                    _mm_set1_epi32(127));
    return _mm_cvtepi32_ps(e);
  }
  static int scalar(const float* a, float* r) { return logb_scalar(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

// Rows: sLn, sLog2, sLog10 three kernels; dLn LA = HA; dLog2 three kernels;
// dLog10, Log1p and Logb one kernel.
ZEV_UNARY_KERNELS(sLn, la, sLnLA)
ZEV_UNARY_KERNELS(sLn, ha, sLnHA)
ZEV_UNARY_KERNELS(sLn, ep, sLnEP)
ZEV_UNARY_KERNELS(sLog2, la, sLog2LA)
ZEV_UNARY_KERNELS(sLog2, ha, sLog2HA)
ZEV_UNARY_KERNELS(sLog2, ep, sLog2EP)
ZEV_UNARY_KERNELS(sLog10, la, sLog10LA)
ZEV_UNARY_KERNELS(sLog10, ha, sLog10HA)
ZEV_UNARY_KERNELS(sLog10, ep, sLog10EP)
ZEV_UNARY_KERNELS(sLog1p, ha, sLog1pP)
ZEV_UNARY_KERNELS(sLogb, ha, sLogbP)
ZEV_UNARY_KERNELS(dLn, ha, dLnHA)
ZEV_UNARY_KERNELS(dLn, ep, dLnEP)
ZEV_UNARY_KERNELS(dLog2, la, dLog2LA)
ZEV_UNARY_KERNELS(dLog2, ha, dLog2HA)
ZEV_UNARY_KERNELS(dLog2, ep, dLog2EP)
ZEV_UNARY_KERNELS(dLog10, ha, dLog10HA)
ZEV_UNARY_KERNELS(dLog1p, ha, dLog1pP)
ZEV_UNARY_KERNELS(dLogb, ha, dLogbP)
