// Asinh, Acosh and Atanh in double and single: logarithms of arguments held
// in split arithmetic.
//
// dAsinh, dAcosh (inverse_core.h): the square root of x^2 +- 1 from a 12-bit
// reciprocal square root estimate refined by a series, then the double-double
// logarithm of x + sqrt(...). The LA and EP kernel runs the same arithmetic.
// dAtanh: atanh a = log((1 + a)/(1 - a)) / 2. At HA the quotient is a sum of
// two doubles (one division, its residual exact by Dekker); at LA it is
// 1 + w with w = 2a/(1 - a) rounded once, whose logarithm is that of a sum;
// at EP one rounded quotient and the short logarithm. Below 2^-6 (2^-12 at
// EP) the Taylor series takes over.
// Single rows: in double, two lanes at a time, with the single logarithm
// core, and odd polynomials for small |x| where 1 + x would lose x's bits.
//
// Measured worst errors: docs/accuracy_hyperbolic.md.
#include <cmath>
#include <limits>

#include "vector/hyperbolic/hyp_common.h"
#include "vector/hyperbolic/inverse_core.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace hyp;
using logpow::log_ep;
using logpow::log_ha;
using logpow::log_s;

// A quiet NaN with the invalid flag raised.
template <class T>
T invalid_nan() {
  volatile T z = 0;
  return z / z;
}

// ---- double Asinh and Acosh ---------------------------------------------------------

int dasinh_scalar(const double* a, double* r) {
  const double x = *a;
  *r = std::isnan(x) ? x * x : x;  // NaN, or an infinity: itself
  return 0;
}

template <class T>
int acosh_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::isnan(x)) {
    *r = x * x;
    return 0;
  }
  if (x == T(1)) {
    *r = T(0);
    return 0;
  }
  if (std::isinf(x) && x > 0) {
    *r = x;
    return 0;
  }
  *r = invalid_nan<T>();
  return 1;
}

struct DAsinhP : Blocks<double, 8> {
  static constexpr const char* kName = "vdAsinh";
  static __m128d eval(__m128d x, __m128d& special) { return AsinhD<HwEstimate>::eval(x, special); }
  static int scalar(const double* a, double* r) { return dasinh_scalar(a, r); }
};
struct DAcoshP : Blocks<double, 8> {
  static constexpr const char* kName = "vdAcosh";
  static __m128d eval(__m128d x, __m128d& special) { return AcoshD<HwEstimate>::eval(x, special); }
  static int scalar(const double* a, double* r) { return acosh_scalar(a, r); }
};

// ---- double Atanh ---------------------------------------------------------------------

struct AtanhConst {
  __m128d one, two, half, small, third, fifth, sign, tiny, q3, q5, q7, q9, q11;
};
alignas(16) const AtanhConst kAtanh = {
    .one = dc(1.0),
    .two = dc(2.0),
    .half = dc(0.5),            // the final factor
    .small = dc(0x1p-12),       // EP: below it, a + a^3/3 + a^5/5
    .third = dc(1.0 / 3.0),     //
    .fifth = dc(0.2),           //
    .sign = dc(-0.0),
    // HA and LA below 2^-6: the Taylor series a + a^3/3 + ... + a^11/11; the
    // first term left out is below 2^-74 of a.
    .tiny = dc(0x1p-6),
    .q3 = dc(1.0 / 3),
    .q5 = dc(1.0 / 5),
    .q7 = dc(1.0 / 7),
    .q9 = dc(1.0 / 9),
    .q11 = dc(1.0 / 11),
};

// The series below 2^-6, selected into the lanes it serves.
inline __m128d atanh_small(__m128d a, __m128d y) {
  const AtanhConst& c = kAtanh;
  const __m128d z = _mm_mul_pd(a, a);
  __m128d s = _mm_add_pd(c.q9, _mm_mul_pd(z, c.q11));
  s = _mm_add_pd(c.q7, _mm_mul_pd(z, s));
  s = _mm_add_pd(c.q5, _mm_mul_pd(z, s));
  s = _mm_add_pd(c.q3, _mm_mul_pd(z, s));
  const __m128d ys = _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, z), s));
  const __m128d m = _mm_cmplt_pd(a, c.tiny);
  return _mm_or_pd(_mm_and_pd(m, ys), _mm_andnot_pd(m, y));
}

// Lanes with |x| outside [2^-970, 1), by the high word: tiny lanes, |x| >= 1,
// infinities and NaN.
constexpr Range32 kAtanhRange = range32(0x03500000u, 0x3FEFFFFFu);

template <Level L>
inline __m128d atanh_abs(__m128d a) {
  const AtanhConst& c = kAtanh;
  if constexpr (L == Level::HA) {
    const DD n = fast_two_sum(c.one, a);
    const DD d = fast_two_sum(c.one, _mm_xor_pd(a, c.sign));
    const __m128d inv = _mm_div_pd(c.one, d.hi);
    const __m128d qh = _mm_mul_pd(n.hi, inv);
    const DD pr = two_prod(qh, d.hi);
    const __m128d res =
        _mm_sub_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(n.hi, pr.hi), pr.lo), n.lo), _mm_mul_pd(qh, d.lo));
    const DD q = fast_two_sum(qh, _mm_mul_pd(res, inv));
    const DD l = log_ha<true>(q.hi, q.lo);
    return atanh_small(a, _mm_mul_pd(c.half, _mm_add_pd(l.hi, l.lo)));
  } else if constexpr (L == Level::LA) {
    const __m128d w = _mm_div_pd(_mm_add_pd(a, a), _mm_sub_pd(c.one, a));
    const DD s = two_sum(c.one, w);
    const DD l = log_ha<true>(s.hi, s.lo);
    return atanh_small(a, _mm_mul_pd(c.half, _mm_add_pd(l.hi, l.lo)));
  } else {
    const __m128d q = _mm_div_pd(_mm_add_pd(c.one, a), _mm_sub_pd(c.one, a));
    const __m128d big = _mm_mul_pd(c.half, log_ep(q));
    const __m128d a2 = _mm_mul_pd(a, a);
    const __m128d poly = _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, a2), _mm_add_pd(c.third, _mm_mul_pd(a2, c.fifth))));
    const __m128d m = _mm_cmplt_pd(a, c.small);
    return _mm_or_pd(_mm_and_pd(m, poly), _mm_andnot_pd(m, big));
  }
}

template <class T>
int atanh_scalar(const T* a, T* r) {
  const T x = *a;
  if (std::isnan(x)) {
    *r = x * x;
    return 0;
  }
  const T ax = std::fabs(x);
  if (ax == T(1)) {
    volatile T zero = 0;
    *r = x / zero;  // an infinity of x's sign, with the division-by-zero flag
    return 2;
  }
  if (ax > T(1)) {
    *r = invalid_nan<T>();
    return 1;
  }
  *r = x;  // below 2^-970: atanh x = x + x^3/3 rounds to x
  return 0;
}

template <Level L>
struct DAtanhP : Blocks<double, 8> {
  static constexpr const char* kName = "vdAtanh";
  static __m128d eval(__m128d x, __m128d& special) {
    special = _mm_castsi128_pd(outside(abs_high_words(x), kAtanhRange));
    const __m128d ax = abs_of(x);
    // Special lanes compute on 0.5 instead, so that nothing below raises a flag.
    const __m128d a = _mm_or_pd(_mm_and_pd(special, kAtanh.half), _mm_andnot_pd(special, ax));
    return _mm_or_pd(atanh_abs<L>(a), sign_of(x));
  }
  static int scalar(const double* a, double* r) { return atanh_scalar(a, r); }
};

// ---- single rows, in double -------------------------------------------------------------

struct SInvConst {
  __m128d one, two, half, small, sixth, third, lim;
};
alignas(16) const SInvConst kSInv = {
    .one = dc(1.0),
    .two = dc(2.0),
    .half = dc(0.5),
    .small = dc(0x1p-12),     // below it the odd polynomials: x^5 terms are below 2^-48 of x
    .sixth = dc(1.0 / 6.0),   // asinh a = a - a^3/6 + ...
    .third = dc(1.0 / 3.0),   // atanh a = a + a^3/3 + ...
    .lim = dc(0x1p-12),
};

// The logarithm of the single rows by level: degree 4 at HA, 3 at LA and EP.
template <Level L>
inline __m128d slog(__m128d x) {
  return log_s<L == Level::HA ? 4 : 3>(x);
}

template <Level L>
inline __m128d asinh_sd(__m128d a) {
  const SInvConst& c = kSInv;
  const __m128d a2 = _mm_mul_pd(a, a);
  const __m128d big = slog<L>(_mm_add_pd(a, _mm_sqrt_pd(_mm_add_pd(a2, c.one))));
  const __m128d poly = _mm_sub_pd(a, _mm_mul_pd(_mm_mul_pd(a, a2), c.sixth));
  const __m128d m = _mm_cmplt_pd(a, c.small);
  return _mm_or_pd(_mm_and_pd(m, poly), _mm_andnot_pd(m, big));
}

template <Level L>
inline __m128d acosh_sd(__m128d x) {
  const SInvConst& c = kSInv;
  const __m128d t = _mm_sub_pd(x, c.one);  // exact for a single x
  const __m128d q = _mm_mul_pd(t, _mm_add_pd(t, c.two));
  return slog<L>(_mm_add_pd(x, _mm_sqrt_pd(q)));
}

template <Level L>
inline __m128d atanh_sd(__m128d a) {
  const SInvConst& c = kSInv;
  const __m128d q = _mm_div_pd(_mm_add_pd(c.one, a), _mm_sub_pd(c.one, a));  // 1 +- a exact
  const __m128d big = _mm_mul_pd(c.half, slog<L>(q));
  const __m128d a2 = _mm_mul_pd(a, a);
  const __m128d poly = _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, a2), c.third));
  const __m128d m = _mm_cmplt_pd(a, c.small);
  return _mm_or_pd(_mm_and_pd(m, poly), _mm_andnot_pd(m, big));
}

int sasinh_scalar(const float* a, float* r) {
  const float x = *a;
  *r = std::isnan(x) ? x * x : x;
  return 0;
}

// Specials: Asinh NaN and infinities; Acosh x <= 1 (and negative, NaN),
// infinities; Atanh |x| >= 1 and NaN. Special lanes compute on a harmless
// value, so that nothing raises a flag.
template <Level L>
struct SAsinhP : Blocks<float, 16> {
  static constexpr const char* kName = "vsAsinh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = abs_of(x);
    special = fv(_mm_cmpgt_epi32(_mm_castps_si128(ax), _mm_set1_epi32(0x7F7FFFFF)));
    const __m128 a = _mm_andnot_ps(special, ax);
    const __m128 y = narrow(asinh_sd<L>(widen_lo(a)), asinh_sd<L>(widen_hi(a)));
    return _mm_or_ps(y, sign_of(x));
  }
  static int scalar(const float* a, float* r) { return sasinh_scalar(a, r); }
};

template <Level L>
struct SAcoshP : Blocks<float, 16> {
  static constexpr const char* kName = "vsAcosh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 one = _mm_set1_ps(1.0f);
    special = _mm_or_ps(_mm_cmpngt_ps(x, one), _mm_cmpnle_ps(x, _mm_set1_ps(std::numeric_limits<float>::max())));
    const __m128 xs = _mm_or_ps(_mm_and_ps(special, _mm_set1_ps(2.0f)), _mm_andnot_ps(special, x));
    return narrow(acosh_sd<L>(widen_lo(xs)), acosh_sd<L>(widen_hi(xs)));
  }
  static int scalar(const float* a, float* r) { return acosh_scalar(a, r); }
};

template <Level L>
struct SAtanhP : Blocks<float, 16> {
  static constexpr const char* kName = "vsAtanh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = abs_of(x);
    special = fv(_mm_cmpgt_epi32(_mm_castps_si128(ax), _mm_set1_epi32(0x3F7FFFFF)));
    const __m128 a = _mm_andnot_ps(special, ax);
    const __m128 y = narrow(atanh_sd<L>(widen_lo(a)), atanh_sd<L>(widen_hi(a)));
    return _mm_or_ps(y, sign_of(x));
  }
  static int scalar(const float* a, float* r) { return atanh_scalar(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

// dAsinh, dAcosh: the LA and EP kernel runs the HA arithmetic (see above).
ZEV_KERNELS(dAsinh, ha, DAsinhP)
ZEV_KERNELS(dAsinh, laep, DAsinhP)
ZEV_KERNELS(dAcosh, ha, DAcoshP)
ZEV_KERNELS(dAcosh, laep, DAcoshP)
ZEV_KERNELS(dAtanh, ha, DAtanhP<Level::HA>)
ZEV_KERNELS(dAtanh, la, DAtanhP<Level::LA>)
ZEV_KERNELS(dAtanh, ep, DAtanhP<Level::EP>)
ZEV_KERNELS(sAsinh, ha, SAsinhP<Level::HA>)
ZEV_KERNELS(sAsinh, la, SAsinhP<Level::LA>)
ZEV_KERNELS(sAsinh, ep, SAsinhP<Level::EP>)
ZEV_KERNELS(sAcosh, ha, SAcoshP<Level::HA>)
ZEV_KERNELS(sAcosh, la, SAcoshP<Level::LA>)
ZEV_KERNELS(sAcosh, ep, SAcoshP<Level::EP>)
ZEV_KERNELS(sAtanh, ha, SAtanhP<Level::HA>)
ZEV_KERNELS(sAtanh, la, SAtanhP<Level::LA>)
ZEV_KERNELS(sAtanh, ep, SAtanhP<Level::EP>)
