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
// Single rows at HA: in double, two lanes at a time, with the single
// logarithm core, and odd polynomials for small |x| where 1 + x would lose
// x's bits. At LA and EP: in single arithmetic, four lanes at a time (below).
//
// Measured worst errors: docs/accuracy_hyperbolic.md.
#include <cmath>
#include <limits>

#include "vector/hyperbolic/hyp_common.h"
#include "vector/hyperbolic/hyp_single.h"
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

// HA: the split arithmetic of inverse_core.h. LA and EP (below): log1p of a
// u >= 0 formed without cancellation, with sqrtpd and one division,
//   asinh a = log1p(a + a^2 / (1 + sqrt(a^2 + 1))),
//   acosh x = log1p(t + sqrt(t (t + 2))),  t = x - 1 (exact),
// w = 1 + u as an exact sum into the log family's logarithm with its low-part
// correction. u carries at most 1.5 ulp (the second term is at most half of
// it in Asinh), and log1p does not magnify a relative error, so the result
// stays within about 2.5 ulp. From 2^30 on, log 2x is taken as the logarithm
// of x/4 (whose exponent the log core's scale can always take) plus 3 ln2;
// the dropped 1/(4 x^2) is below 2^-61 of the result. That runs in the blocks
// that hold such lanes.
template <bool Acosh>
struct DInvLA : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = Acosh ? "vdAcosh" : "vdAsinh";
  static __m128d eval(__m128d x, __m128d& special) {
    const InvConst& c = kInv;
    __m128d a;
    if constexpr (Acosh) {
      special = _mm_or_pd(_mm_cmpngt_pd(x, c.one), _mm_cmpnle_pd(x, c.big));
      a = _mm_or_pd(_mm_and_pd(special, c.two), _mm_andnot_pd(special, x));
    } else {
      const __m128d ax = _mm_andnot_pd(c.sign, x);
      special = _mm_or_pd(_mm_cmpnle_pd(ax, c.big), _mm_cmplt_pd(ax, c.tiny));  // as at HA
      a = _mm_or_pd(_mm_and_pd(special, c.two), _mm_andnot_pd(special, ax));  // specials compute on 2
    }
    const __m128d am = _mm_min_pd(a, c.lim);
    __m128d u;
    if constexpr (Acosh) {
      const __m128d t = _mm_sub_pd(am, c.one);
      u = _mm_add_pd(t, _mm_sqrt_pd(_mm_mul_pd(t, _mm_add_pd(t, c.two))));
    } else {
      const __m128d a2 = _mm_mul_pd(am, am);
      u = _mm_add_pd(am, _mm_div_pd(a2, _mm_add_pd(c.one, _mm_sqrt_pd(_mm_add_pd(a2, c.one)))));
    }
    const DD w = fast_two_sum(_mm_max_pd(c.one, u), _mm_min_pd(c.one, u));
    const __m128d big = _mm_cmpge_pd(a, c.lim);
    __m128d y;
    if (__builtin_expect(_mm_movemask_pd(big) == 0, 1)) {
      const DD lg = log_ha<true>(w.hi, w.lo);
      y = _mm_add_pd(lg.hi, lg.lo);
    } else {
      const DD lg = log_ha<true>(select(big, _mm_mul_pd(a, c.quarter), w.hi), _mm_andnot_pd(big, w.lo));
      y = _mm_add_pd(_mm_add_pd(lg.hi, _mm_and_pd(big, c.ln2hi)), _mm_add_pd(lg.lo, _mm_and_pd(big, c.ln2lo)));
    }
    return Acosh ? y : _mm_or_pd(y, _mm_and_pd(c.sign, x));
  }
  static int scalar(const double* a, double* r) { return Acosh ? acosh_scalar(a, r) : dasinh_scalar(a, r); }
};

struct DAsinhP : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vdAsinh";
  static __m128d eval(__m128d x, __m128d& special) { return AsinhD<HwEstimate>::eval(x, special); }
  static int scalar(const double* a, double* r) { return dasinh_scalar(a, r); }
};
struct DAcoshP : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vdAcosh";
  static __m128d eval(__m128d x, __m128d& special) { return AcoshD<HwEstimate>::eval(x, special); }
  static int scalar(const double* a, double* r) { return acosh_scalar(a, r); }
};

// ---- double Atanh ---------------------------------------------------------------------

struct AtanhConst {
  __m128d one, two, half, small, third, fifth, sign, tiny, zcut, q3, q5, q7, q9, q11;
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
    .zcut = dc(0x1p-300),
    .q3 = dc(1.0 / 3),
    .q5 = dc(1.0 / 5),
    .q7 = dc(1.0 / 7),
    .q9 = dc(1.0 / 9),
    .q11 = dc(1.0 / 11),
};

// The series below 2^-6, selected into the lanes it serves. Below 2^-300 its
// z is taken as 0 (a^3 would go subnormal from 2^-341 down; the result is a).
inline __m128d atanh_small(__m128d a, __m128d y) {
  const AtanhConst& c = kAtanh;
  const __m128d az = _mm_and_pd(a, _mm_cmpge_pd(a, c.zcut));
  const __m128d z = _mm_mul_pd(az, az);
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
    const __m128d az = _mm_and_pd(a, _mm_cmpge_pd(a, c.zcut));  // as in atanh_small
    const __m128d a2 = _mm_mul_pd(az, az);
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
  *r = x;  // below 2^-970 (double) or 2^-28 (single): atanh x = x + x^3/3 rounds to x
  return 0;
}

template <Level L>
struct DAtanhP : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
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

// ---- single rows at HA, in double ----------------------------------------------------

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

// The logarithm of the single rows at HA: degree 4.
inline __m128d slog(__m128d x) { return log_s<4>(x); }

inline __m128d asinh_sd(__m128d a) {
  const SInvConst& c = kSInv;
  const __m128d a2 = _mm_mul_pd(a, a);
  const __m128d big = slog(_mm_add_pd(a, _mm_sqrt_pd(_mm_add_pd(a2, c.one))));
  const __m128d poly = _mm_sub_pd(a, _mm_mul_pd(_mm_mul_pd(a, a2), c.sixth));
  const __m128d m = _mm_cmplt_pd(a, c.small);
  return _mm_or_pd(_mm_and_pd(m, poly), _mm_andnot_pd(m, big));
}

inline __m128d acosh_sd(__m128d x) {
  const SInvConst& c = kSInv;
  const __m128d t = _mm_sub_pd(x, c.one);  // exact for a single x
  const __m128d q = _mm_mul_pd(t, _mm_add_pd(t, c.two));
  return slog(_mm_add_pd(x, _mm_sqrt_pd(q)));
}

inline __m128d atanh_sd(__m128d a) {
  const SInvConst& c = kSInv;
  const __m128d q = _mm_div_pd(_mm_add_pd(c.one, a), _mm_sub_pd(c.one, a));  // 1 +- a exact
  const __m128d big = _mm_mul_pd(c.half, slog(q));
  const __m128d a2 = _mm_mul_pd(a, a);
  const __m128d poly = _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, a2), c.third));
  const __m128d m = _mm_cmplt_pd(a, c.small);
  return _mm_or_pd(_mm_and_pd(m, poly), _mm_andnot_pd(m, big));
}

// ---- single rows at LA and EP, in single arithmetic ---------------------------------
//
// Four lanes at a time. Each function is log1p of a u >= 0 formed without
// cancellation (or, for Acosh, the logarithm of a sum held as two parts): w = 1 + u rounded, with its exact error c (Fast2Sum of the
// larger and the smaller), so that log1p u = log(w + c); then w = 2^k z with
// z in [z0, 2 z0) from the bits, f = z - 1 exact, and log(w + c) =
// k ln2 + log1p(f + c 2^-k), whose f + c 2^-k keeps u's bits when u is small.
//   asinh a = log1p(a + a^2 / (1 + sqrt(a^2 + 1)))
//   atanh a = log1p(2a / (1 - a)) / 2   (1 - a rounded at most half an ulp of 1)
//   acosh x = log(x + s) with s = sqrt(t (t + 2)), t = x - 1 exact; x + s is
//             formed as w and c directly (x >= s)
// LA: log1p f = f + f^2 Q(f), Q of degree 7 (2^-25.2 relative, the log
// family's fit for z0 = 0.666809); EP: f + f^2 P(f), P of degree 4 (2^-15.9,
// z0 = 0.681641).
namespace sfit {
#include "vector/log/log_poly.inc"
#include "vector/log/log_single_poly.inc"
}  // namespace sfit

struct SLogConst {
  __m128 one, ln2hi, ln2lo, ln2;
};
alignas(16) const SLogConst kSLog = {
    .one = expk::f4(1.0f),
    .ln2hi = expk::f4(0x1.62e4p-1f),       // ln2, high part of 15 bits: k ln2hi exact for k < 2^9
    .ln2lo = expk::f4(0x1.7f7d1cp-20f),    // ln2 - ln2hi
    .ln2 = expk::f4(0.693147182f),         // EP
};

// log(w + c) for 1 <= w < 2^127 (so k <= 127) and |c| at most half an ulp of
// w; without Corr, log w.
template <Level L, bool Corr = true>
inline __m128 slog_corr(__m128 w, __m128 c) {
  const SLogConst& k = kSLog;
  const __m128i ix = _mm_castps_si128(w);
  const __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(L == Level::EP ? 0x3F2E8000 : 0x3F2AB400));
  const __m128i kb = _mm_and_si128(tmp, _mm_set1_epi32(static_cast<int>(0xFF800000u)));
  const __m128 kf = _mm_cvtepi32_ps(_mm_srai_epi32(tmp, 23));
  __m128 f = _mm_sub_ps(_mm_castsi128_ps(_mm_sub_epi32(ix, kb)), k.one);
  if constexpr (Corr) {
    const __m128 scale = _mm_castsi128_ps(_mm_sub_epi32(_mm_set1_epi32(0x3F800000), kb));  // 2^-k, 0 at k = 127
    f = _mm_add_ps(f, _mm_mul_ps(c, scale));
  }
  const __m128 f2 = _mm_mul_ps(f, f);
  if constexpr (L == Level::EP) {
    const auto& P = sfit::kLogEpPoly;
    __m128 p = _mm_set1_ps(static_cast<float>(P[4]));
    for (int i = 3; i >= 0; --i) p = _mm_add_ps(_mm_set1_ps(static_cast<float>(P[i])), _mm_mul_ps(f, p));
    return _mm_add_ps(_mm_mul_ps(kf, k.ln2), _mm_add_ps(f, _mm_mul_ps(f2, p)));
  } else {
    const auto& Q = sfit::kSLogQLa;
    auto c1 = [](float v) { return _mm_set1_ps(v); };
    auto pair = [&](int i) { return _mm_add_ps(c1(Q[i]), _mm_mul_ps(f, c1(Q[i + 1]))); };
    const __m128 hi = _mm_add_ps(pair(5), _mm_mul_ps(f2, c1(Q[7])));
    const __m128 r = _mm_add_ps(_mm_add_ps(pair(1), _mm_mul_ps(f2, pair(3))), _mm_mul_ps(_mm_mul_ps(f2, f2), hi));
    const __m128 t = _mm_mul_ps(f2, _mm_add_ps(c1(Q[0]), _mm_mul_ps(f, r)));
    return _mm_add_ps(_mm_mul_ps(kf, k.ln2hi), _mm_add_ps(f, _mm_add_ps(_mm_mul_ps(kf, k.ln2lo), t)));
  }
}

// log1p u for u >= 0 below 2^127.
template <Level L>
inline __m128 slog1p(__m128 u) {
  const __m128 big = _mm_max_ps(u, kSLog.one), small = _mm_min_ps(u, kSLog.one);
  const __m128 w = _mm_add_ps(big, small);
  return slog_corr<L>(w, _mm_add_ps(_mm_sub_ps(big, w), small));
}

// asinh a for 0 <= a < 2^126: u = a + a^2 / (1 + sqrt(a^2 + 1)), the second
// term rounded twice and below a / 2. From 2^40 on a^2 is held to 2^80 and
// the second term taken as a - 1 (that is, a: u = 2a to the last bit).
template <Level L>
inline __m128 asinh_sf(__m128 a) {
  const __m128 am = _mm_min_ps(a, _mm_set1_ps(0x1p40f));
  const __m128 a2 = _mm_mul_ps(am, am);
  const __m128 g = _mm_div_ps(a2, _mm_add_ps(kSLog.one, _mm_sqrt_ps(_mm_add_ps(a2, kSLog.one))));
  return slog1p<L>(_mm_add_ps(a, _mm_max_ps(g, _mm_sub_ps(a, kSLog.one))));
}

// atanh a for 0 <= a < 1.
template <Level L>
inline __m128 atanh_sf(__m128 a) {
  const __m128 u = _mm_div_ps(_mm_add_ps(a, a), _mm_sub_ps(kSLog.one, a));
  return _mm_mul_ps(_mm_set1_ps(0.5f), slog1p<L>(u));
}

// acosh x for 1 <= x < 2^126. From 2^40 on t (t + 2) is held to 2^80 and s
// taken as t (x - 1 is x there, and x + x is the argument to the last bit).
// EP leaves out the correction: x + s rounded costs at most 2^-13 of the
// result, next to 1.
template <Level L>
inline __m128 acosh_sf(__m128 x) {
  const __m128 t = _mm_sub_ps(x, kSLog.one);
  const __m128 tc = _mm_min_ps(t, _mm_set1_ps(0x1p40f));
  const __m128 s = _mm_max_ps(_mm_sqrt_ps(_mm_mul_ps(tc, _mm_add_ps(tc, _mm_set1_ps(2.0f)))), t);
  const __m128 w = _mm_add_ps(x, s);
  if constexpr (L == Level::EP) return slog_corr<L, false>(w, w);
  return slog_corr<L>(w, _mm_add_ps(_mm_sub_ps(x, w), s));
}

int sasinh_scalar(const float* a, float* r) {
  const float x = *a;
  *r = std::isnan(x) ? x * x : x;
  return 0;
}

// An odd function of a single from its values on |x|: lanes whose |x| bits
// exceed `bound` are special and computed on 0 instead, so that nothing
// raises a flag; the sign of x goes back on the result.
template <class Core>
inline __m128 odd_of_abs(__m128 x, int bound, __m128& special, Core core) {
  const __m128 ax = abs_of(x);
  special = fv(_mm_cmpgt_epi32(_mm_castps_si128(ax), _mm_set1_epi32(bound)));
  return _mm_or_ps(core(_mm_andnot_ps(special, ax)), sign_of(x));
}
// The same with the lanes below 2^-28 special too (the single-arithmetic
// kernels, whose f^2 and f^4 would raise a false underflow there).
template <class Core>
inline __m128 odd_of_abs(__m128 x, const Range32& range, __m128& special, Core core) {
  const __m128 ax = abs_of(x);
  special = fv(outside(_mm_castps_si128(ax), range));
  return _mm_or_ps(core(_mm_andnot_ps(special, ax)), sign_of(x));
}
constexpr Range32 kSAsinhSingleRange = range32(kTinyBits, 0x7E7FFFFFu);
constexpr Range32 kSAtanhSingleRange = range32(kTinyBits, 0x3F7FFFFFu);

// Specials: Asinh NaN and infinities; Acosh x <= 1 (and negative, NaN),
// infinities; Atanh |x| >= 1 and NaN. Special lanes compute on a harmless
// value, so that nothing raises a flag.
struct SAsinhHAP : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsAsinh";
  static __m128 eval(__m128 x, __m128& special) {
    return odd_of_abs(x, 0x7F7FFFFF, special,
                      [](__m128 a) { return narrow(asinh_sd(widen_lo(a)), asinh_sd(widen_hi(a))); });
  }
  static int scalar(const float* a, float* r) { return sasinh_scalar(a, r); }
};

struct SAcoshHAP : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsAcosh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 one = _mm_set1_ps(1.0f);
    special = _mm_or_ps(_mm_cmpngt_ps(x, one), _mm_cmpnle_ps(x, _mm_set1_ps(std::numeric_limits<float>::max())));
    const __m128 xs = _mm_or_ps(_mm_and_ps(special, _mm_set1_ps(2.0f)), _mm_andnot_ps(special, x));
    return narrow(acosh_sd(widen_lo(xs)), acosh_sd(widen_hi(xs)));
  }
  static int scalar(const float* a, float* r) { return acosh_scalar(a, r); }
};

// Scalar function of sAsinh at LA and EP: below 2^-28 and from 2^126 on the
// result comes from the HA arithmetic in double.
int sasinh_scalar_wide(const float* a, float* r) {
  const float x = *a;
  if (std::isnan(x) || std::isinf(x)) return sasinh_scalar(a, r);
  *r = std::copysign(static_cast<float>(lane([](__m128d v) { return asinh_sd(v); }, std::fabs(x))), x);
  return 0;
}

// Scalar function of sAcosh at LA and EP: from 2^126 on (past the single
// arithmetic's range) the result comes from the HA arithmetic in double.
int sacosh_scalar(const float* a, float* r) {
  const float x = *a;
  if (x > 1.0f && x <= std::numeric_limits<float>::max()) {
    *r = static_cast<float>(lane([](__m128d v) { return acosh_sd(v); }, x));
    return 0;
  }
  return acosh_scalar(a, r);
}

// LA and EP in single arithmetic. Special lanes compute on 1 (Acosh) or 0
// (Asinh, Atanh) instead, so that nothing raises a flag.
template <Level L>
struct SAsinhSingle : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsAsinh";
  static __m128 one(__m128 x, __m128& special) {
    return odd_of_abs(x, kSAsinhSingleRange, special, [](__m128 a) { return asinh_sf<L>(a); });
  }
  static int scalar(const float* a, float* r) { return sasinh_scalar_wide(a, r); }
};

template <Level L>
struct SAcoshSingle : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsAcosh";
  static __m128 one(__m128 x, __m128& special) {
    const __m128i ix = _mm_castps_si128(x);  // ordinary: 1 < x < 2^126
    special = fv(_mm_or_si128(_mm_cmplt_epi32(ix, _mm_set1_epi32(0x3F800001)),
                              _mm_cmpgt_epi32(ix, _mm_set1_epi32(0x7E7FFFFF))));
    return acosh_sf<L>(_mm_max_ps(_mm_andnot_ps(special, x), kSLog.one));
  }
  static int scalar(const float* a, float* r) { return sacosh_scalar(a, r); }
};

template <Level L>
struct SAtanhSingle : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsAtanh";
  static __m128 one(__m128 x, __m128& special) {
    return odd_of_abs(x, kSAtanhSingleRange, special, [](__m128 a) { return atanh_sf<L>(a); });
  }
  static int scalar(const float* a, float* r) { return atanh_scalar(a, r); }
};
template <Level L> using SAsinhSingleP = BlockOf<SAsinhSingle<L>>;
template <Level L> using SAcoshSingleP = BlockOf<SAcoshSingle<L>>;
template <Level L> using SAtanhSingleP = BlockOf<SAtanhSingle<L>>;

struct SAtanhHAP : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vsAtanh";
  static __m128 eval(__m128 x, __m128& special) {
    return odd_of_abs(x, 0x3F7FFFFF, special,
                      [](__m128 a) { return narrow(atanh_sd(widen_lo(a)), atanh_sd(widen_hi(a))); });
  }
  static int scalar(const float* a, float* r) { return atanh_scalar(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(dAsinh, ha, DAsinhP)
ZEV_KERNELS(dAsinh, laep, DInvLA<false>)
ZEV_KERNELS(dAcosh, ha, DAcoshP)
ZEV_KERNELS(dAcosh, laep, DInvLA<true>)
ZEV_KERNELS(dAtanh, ha, DAtanhP<Level::HA>)
ZEV_KERNELS(dAtanh, la, DAtanhP<Level::LA>)
ZEV_KERNELS(dAtanh, ep, DAtanhP<Level::EP>)
ZEV_KERNELS(sAsinh, ha, SAsinhHAP)
ZEV_KERNELS(sAsinh, la, SAsinhSingleP<Level::LA>)
ZEV_KERNELS(sAsinh, ep, SAsinhSingleP<Level::EP>)
ZEV_KERNELS(sAcosh, ha, SAcoshHAP)
ZEV_KERNELS(sAcosh, la, SAcoshSingleP<Level::LA>)
ZEV_KERNELS(sAcosh, ep, SAcoshSingleP<Level::EP>)
ZEV_KERNELS(sAtanh, ha, SAtanhHAP)
ZEV_KERNELS(sAtanh, la, SAtanhSingleP<Level::LA>)
ZEV_KERNELS(sAtanh, ep, SAtanhSingleP<Level::EP>)
