// Erf, Erfc and CdfNorm in single and double.
//
// All of them: a = |x| on a grid of step 1/128, b = the nearest grid point
// (found by adding 2^45, whose ulp is 1/128, and subtracting it again), d = a - b,
// and the Taylor expansion of the integral of the Gaussian weight from b to
// b + d written in u = b d and v = d^2:
//   erf(b + d)  = erf(b)  + (2/sqrt(pi)) e^{-b^2} d I(u, v),
//   erfc(b + d) = erfc(b) - (2/sqrt(pi)) e^{-b^2} d I(u, v),
//   I(u, v) = integral over t in [0, 1] of exp(-2ut - vt^2)
//           = 1 - u + 2u^2/3 - u^3/3 - v/3 + uv/2 + v^2/10 - ...;
// the normal tail uses I(u/2, v/2). The tables give the value and the weight at
// b; no exponential is evaluated. Erf has no special lanes: the clamp at the
// last row gives 1 for large |x| and infinities, and a minimum that returns
// its second operand when either is NaN carries NaN through. Erfc and CdfNorm
// keep their values in the scale 2^128, where even results near the least
// subnormal are normal, and scale once at the end; only the lanes past the
// underflow limit (and NaN) reach the scalar function.
//
// Measured worst errors: docs/accuracy_erf.md.
#include <cmath>
#include <cstdint>

#include "vector/common/widen.h"
#include "vector/common/bits.h"
#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/erf/erf_data.h"
#include "vector/exp/exp_common.h"
#include "vector/shape.h"
#include "vector/vops.h"

namespace zev::vk {
namespace {

// ---- Erf ------------------------------------------------------------------------

struct ErfConst {
  __m128d sign, clamp, shifter, small, tiny, pmask, one_bits, scale1016, scalem32, idx;
  __m128d q0, a0, a1, a2, a3, a4, b0, b1, b2, b3, c0, c1, c2, d0, d1;
  // LA and EP polynomials P(u, v)
  __m128d one, la2, la3, la4, la5, lv0, lv1, lv2, lv3, lw0, lw1, ep1, ep2, ev0, ev1;
};
alignas(16) const ErfConst kErfC = {
    .sign = q2(0x8000000000000000ull),
    .clamp = d2(5.9921875),                // 767/128, the last row
    .shifter = d2(35184372088832.0),       // 2^45: its ulp is 1/128
    .small = d2(0.02734375),               // 3.5/128: below it the rows 0 to 3 act as one, b = 0
    .tiny = d2(0x1p-256),                  // v = d^2 is 0 up to here: no underflow flag
    .pmask = q2(0x007FFFFFFFFFFFFFull),    // E 2^-1016 in the packed word
    .one_bits = q2(0x3FF0000000000000ull), // 1.0, with w in its low word: 1 + w 2^-52
    .scale1016 = d2(0x1p1016),
    .scalem32 = d2(0x1p-32),
    .idx = q2(0x3FF),
    // Q(u, v) = (2/sqrt(pi)) I(u, v) - 1
    .q0 = d2(0.12837916709551259),
    .a0 = d2(-1.1283791670955126),
    .a1 = d2(0.75225277806334523),
    .a2 = d2(-0.3761263890316231),
    .a3 = d2(0.15045070934227256),
    .a4 = d2(-0.05015023900999141),
    .b0 = d2(-0.37612638903183754),
    .b1 = d2(0.56418958354706361),
    .b2 = d2(-0.45135235862128686),
    .b3 = d2(0.25075132956135204),
    .c0 = d2(0.11283791670955126),
    .c1 = d2(-0.18806359805613845),
    .c2 = d2(0.16119738257320032),
    .d0 = d2(-0.026866170645131252),
    .d1 = d2(0.0052239776254421879),
    .one = d2(1.0),
    .la2 = d2(0.66666666666637431),
    .la3 = d2(-0.3333333333331433),
    .la4 = d2(0.13333346957258876),
    .la5 = d2(-0.044444492128545655),
    .lv0 = d2(-0.33333333333333331),
    .lv1 = d2(0.4999999999993861),
    .lv2 = d2(-0.40000061307679369),
    .lv3 = d2(0.2222225798503483),
    .lw0 = d2(0.10000027247855717),
    .lw1 = d2(-0.16666698455829951),
    .ep1 = d2(-1.0000014305126206),
    .ep2 = d2(0.66666781107678186),
    .ev0 = d2(-0.33333504994947405),
    .ev1 = d2(0.5000019073510884),
};

inline void index2(__m128d s, __m128i mask, unsigned (&j)[2]) {
  const __m128i b = _mm_and_si128(bits(s), mask);
  j[0] = static_cast<uint32_t>(_mm_cvtsi128_si32(b));
  j[1] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(b, _MM_SHUFFLE(3, 2, 3, 2))));
}

// dErf at HA: packed rows, the 1 of the weight apart, everything in the scale 2^32.
inline __m128d erf_ha(__m128d x) {
  const ErfConst& k = kErfC;
  const __m128d a = andnot(k.sign, x);
  const __m128d c = _mm_min_pd(a, k.clamp);
  const __m128d s = add(c, k.shifter);
  const __m128d g = and_(sub(s, k.shifter), _mm_cmpge_pd(c, k.small));
  const __m128d d = sub(c, g);
  const __m128d u = mul(g, d);
  const __m128d v = and_(mul(d, d), _mm_cmpgt_pd(c, k.tiny));
  unsigned j[2];
  index2(s, bits(k.idx), j);
  const __m128i r0 = _mm_load_si128(reinterpret_cast<const __m128i*>(erfdata::kErfPacked[j[0]]));
  const __m128i r1 = _mm_load_si128(reinterpret_cast<const __m128i*>(erfdata::kErfPacked[j[1]]));
  const __m128i packed = _mm_unpacklo_epi64(r0, r1);
  const __m128d h = _mm_castsi128_pd(_mm_unpackhi_epi64(r0, r1));
  const __m128d e = mul(_mm_min_pd(_mm_castsi128_pd(_mm_and_si128(packed, bits(k.pmask))), a), k.scale1016);
  const __m128d lw = _mm_castsi128_pd(_mm_or_si128(_mm_srli_epi64(packed, 32), bits(k.one_bits)));
  const __m128d l = sub(mul(e, lw), e);  // E w 2^-52
  const __m128d qa = add(k.a0, mul(u, add(k.a1, mul(u, add(k.a2, mul(u, add(k.a3, mul(u, k.a4))))))));
  const __m128d qb = add(k.b0, mul(u, add(k.b1, mul(u, add(k.b2, mul(u, k.b3))))));
  const __m128d qc = add(k.c0, mul(u, add(k.c1, mul(u, k.c2))));
  const __m128d qd = add(k.d0, mul(v, k.d1));
  const __m128d q = add(add(k.q0, mul(u, qa)), mul(v, add(qb, mul(v, add(qc, mul(v, qd))))));
  const __m128d dh = mul(d, h);
  const __m128d y = add(e, mul(k.scalem32, add(add(mul(q, dh), l), dh)));
  return or_(y, and_(k.sign, x));
}

enum class ErfForm { LA, EP };

// Erf from the plain rows {E, G}: E + G d P(u, v).
template <ErfForm F>
inline __m128d erf_plain(__m128d x) {
  const ErfConst& k = kErfC;
  const __m128d a = andnot(k.sign, x);
  const __m128d c = _mm_min_pd(a, k.clamp);
  const __m128d s = add(c, k.shifter);
  const __m128d g = sub(s, k.shifter);
  const __m128d d = _mm_min_pd(sub(c, g), a);  // NaN comes through the second operand
  unsigned j[2];
  index2(s, bits(k.idx), j);
  const __m128d r0 = _mm_load_pd(erfdata::kErf[j[0]]), r1 = _mm_load_pd(erfdata::kErf[j[1]]);
  const __m128d e = _mm_unpacklo_pd(r0, r1), w = _mm_unpackhi_pd(r0, r1);
  const __m128d gd = mul(w, d);
  const __m128d u = mul(g, d);
  const __m128d v = and_(mul(d, d), _mm_cmpgt_pd(c, k.tiny));
  __m128d p;
  if constexpr (F == ErfForm::LA) {
    const __m128d pu = mul(mul(u, u), add(k.la2, mul(u, add(k.la3, mul(u, add(k.la4, mul(u, k.la5)))))));
    const __m128d pv = add(k.lv0, mul(u, add(k.lv1, mul(u, add(k.lv2, mul(u, k.lv3))))));
    const __m128d pw = add(k.lw0, mul(u, k.lw1));
    p = add(sub(pu, u), mul(v, add(pv, mul(v, pw))));
  } else {
    p = add(mul(u, add(k.ep1, mul(u, k.ep2))), mul(v, add(k.ev0, mul(u, k.ev1))));
  }
  const __m128d y = add(e, add(gd, mul(gd, p)));
  return or_(y, and_(k.sign, x));
}

// sErf at LA and EP in single arithmetic, four lanes an operation: rows of
// float {E, G} up to 3.9296875 (where erf rounds to 1), the shifter 2^16 (its
// ulp is 1/128), P = 1 - u - 0.333334863 v at LA (v cut below 2^-48, no
// underflow flag), P = 1 at EP.
struct ErfSConst {
  __m128 sign, clamp, shifter, tiny, third;
};
alignas(16) const ErfSConst kErfSC = {
    .sign = u4(0x80000000u),
    .clamp = f4(3.9296875f),
    .shifter = f4(65536.0f),
    .tiny = f4(0x1p-48f),
    .third = f4(-0.333334863f),
};

template <bool Poly>
inline __m128 erf_single(__m128 x) {
  const ErfSConst& k = kErfSC;
  const __m128 a = andnot(k.sign, x);
  const __m128 c = _mm_min_ps(a, k.clamp);
  const __m128 s = add(c, k.shifter);
  const __m128 g = sub(s, k.shifter);
  const __m128 d = _mm_min_ps(sub(c, g), a);  // NaN comes through the second operand
  unsigned j[4];
  expk::index4(s, 0x1FF, j);
  __m128 e, w;
  expk::fetch_pairs(erfdata::kErfS, j, e, w);
  const __m128 gd = mul(w, d);
  __m128 y;
  if constexpr (Poly) {
    const __m128 v = and_(mul(d, d), _mm_cmpgt_ps(c, k.tiny));
    const __m128 p = sub(mul(v, k.third), mul(g, d));  // P - 1
    y = add(e, add(gd, mul(gd, p)));
  } else {
    y = add(e, gd);
  }
  return or_(y, and_(k.sign, x));
}

// ---- Erfc and CdfNorm ------------------------------------------------------------

struct TailConst {
  __m128d sign, one, shifter, floor, scale, idx;
  // I(u, v) - 1: u terms from u^2, then v, v^2 and v^3 terms.
  __m128d u2, u3, u4, u5, u6, u7, u8, u9, u10;
  __m128d v0, v1, v2, v3, v4, v5, v6, v7;
  __m128d w0, w1, w2, w3, w4;
  __m128d t0, t1;
};
alignas(16) const TailConst kTail = {
    .sign = q2(0x8000000000000000ull),
    .one = d2(1.0),
    .shifter = d2(35184372088832.0),  // 2^45
    .floor = d2(0x1p-128),            // a is raised to this: v = d^2 stays normal
    .scale = d2(0x1p-128),
    .idx = q2(0x1FFF),
    .u2 = d2(0.66666666666666663),
    .u3 = d2(-0.33333333333332643),
    .u4 = d2(0.13333333333332972),
    .u5 = d2(-0.044444444449306376),
    .u6 = d2(0.012698412699968541),
    .u7 = d2(-0.003174601973211448),
    .u8 = d2(0.00070546709224634098),
    .u9 = d2(-0.00014121463583481421),
    .u10 = d2(2.5675727386570868e-05),
    .v0 = d2(-0.33333333333325893),
    .v1 = d2(0.49999999999987876),
    .v2 = d2(-0.40000000021009396),
    .v3 = d2(0.22222222233991368),
    .v4 = d2(-0.095238002536235863),
    .v5 = d2(0.033333301231169614),
    .v6 = d2(-0.009889631094958537),
    .v7 = d2(0.0025430150843496792),
    .w0 = d2(0.10000000036784655),
    .w1 = d2(-0.16666613107665604),
    .w2 = d2(0.14285672088530488),
    .w3 = d2(-0.083522353812937586),
    .w4 = d2(0.037117225161526927),
    .t0 = d2(-0.024019784703071118),
    .t1 = d2(0.041918933810116472),
};

enum class TailForm { Full, Plain, Short, Tiny, Least };

// Erfc (Cdf false) or CdfNorm (Cdf true) in the table's scale, then 2^-128.
// Full: the product G d in two parts and the sum T - G d compensated, so that
// the result keeps full accuracy where G d is a fair part of T (deep tail).
// Plain: the same polynomial in plain arithmetic. Short: a shorter polynomial.
// For the single range (|u| <= 0.04, v <= 2^-16): Tiny, I - 1 to u^3 and v,
// whose first term left out is below 2^-21 of I (sErfc LA, within an ulp);
// Least, I - 1 to u^2, below 2^-15 (sErfc EP).
template <bool Cdf, TailForm F>
inline __m128d tail_core(__m128d x) {
  const TailConst& k = kTail;
  constexpr double kClamp = Cdf ? 38.4921875 : 27.2421875;
  const auto& tab = Cdf ? erfdata::kCdfNorm : erfdata::kErfc;
  const __m128d a = andnot(k.sign, x);
  const __m128d c = _mm_max_pd(_mm_min_pd(a, _mm_set1_pd(kClamp)), k.floor);
  const __m128d s = add(c, k.shifter);
  const __m128d g = sub(s, k.shifter);
  const __m128d d = sub(c, g);
  // The normal weight exp(-b^2/2) gives I(u/2, v/2): the halves are exact.
  const __m128d dd = Cdf ? mul(_mm_set1_pd(0.5), d) : d;
  const __m128d u = mul(g, dd), v = mul(d, dd);
  unsigned j[2];
  index2(s, bits(k.idx), j);
  __m128d t, tl, w, pad;
  {
    const __m128d p0 = _mm_load_pd(tab[j[0]]), p1 = _mm_load_pd(tab[j[1]]);
    t = _mm_unpacklo_pd(p0, p1);
    tl = _mm_unpackhi_pd(p0, p1);
    const __m128d q0 = _mm_load_pd(tab[j[0]] + 2), q1 = _mm_load_pd(tab[j[1]] + 2);
    w = _mm_unpacklo_pd(q0, q1);
    pad = _mm_unpackhi_pd(q0, q1);
  }
  (void)pad;
  // P' = I(u, v) - 1
  __m128d pp;
  if constexpr (F == TailForm::Least) {
    pp = mul(u, sub(mul(u, k.u2), k.one));
  } else if constexpr (F == TailForm::Tiny) {
    pp = add(mul(u, sub(mul(u, add(k.u2, mul(u, k.u3))), k.one)), mul(v, k.v0));
  } else if constexpr (F == TailForm::Short) {
    const __m128d pu = add(k.u2, mul(u, add(k.u3, mul(u, add(k.u4, mul(u, add(k.u5, mul(u, k.u6))))))));
    const __m128d pv = add(k.v0, mul(u, add(k.v1, mul(u, add(k.v2, mul(u, k.v3))))));
    pp = add(mul(u, sub(mul(u, pu), k.one)), mul(v, add(pv, mul(v, k.w0))));
  } else {
    __m128d pu = k.u10;
    pu = add(k.u9, mul(u, pu));
    pu = add(k.u8, mul(u, pu));
    pu = add(k.u7, mul(u, pu));
    pu = add(k.u6, mul(u, pu));
    pu = add(k.u5, mul(u, pu));
    pu = add(k.u4, mul(u, pu));
    pu = add(k.u3, mul(u, pu));
    pu = add(k.u2, mul(u, pu));
    __m128d pv = k.v7;
    pv = add(k.v6, mul(u, pv));
    pv = add(k.v5, mul(u, pv));
    pv = add(k.v4, mul(u, pv));
    pv = add(k.v3, mul(u, pv));
    pv = add(k.v2, mul(u, pv));
    pv = add(k.v1, mul(u, pv));
    pv = add(k.v0, mul(u, pv));
    __m128d pw = k.w4;
    pw = add(k.w3, mul(u, pw));
    pw = add(k.w2, mul(u, pw));
    pw = add(k.w1, mul(u, pw));
    pw = add(k.w0, mul(u, pw));
    const __m128d pt = add(k.t0, mul(u, k.t1));
    pp = add(mul(u, sub(mul(u, pu), k.one)), mul(v, add(pv, mul(v, add(pw, mul(v, pt))))));
  }
  // Negative x for Erfc, positive x for CdfNorm: the other side, 2 or 1 in the
  // scale, minus the tail.
  const __m128d flip = Cdf ? _mm_cmpgt_pd(x, _mm_setzero_pd()) : _mm_cmplt_pd(x, _mm_setzero_pd());
  const __m128d fs = and_(flip, k.sign);
  const __m128d base = and_(flip, _mm_set1_pd(Cdf ? 0x1p128 : 0x1p129));
  __m128d hi, lo;
  if constexpr (F == TailForm::Full) {
    const DD gd = two_prod(w, d);
    const DD r = two_sum(t, _mm_xor_pd(gd.hi, k.sign));
    hi = r.hi;
    lo = sub(add(r.lo, tl), add(gd.lo, mul(gd.hi, pp)));
  } else {
    const __m128d gd = mul(w, d);
    hi = t;
    lo = sub(tl, add(gd, mul(gd, pp)));
  }
  hi = xor_(hi, fs);
  lo = xor_(lo, fs);
  const __m128d r1 = add(base, hi);
  const __m128d e = add(sub(base, r1), hi);
  return mul(add(r1, add(e, lo)), k.scale);
}

// ---- scalar functions -----------------------------------------------------------

inline double underflow_zero() {
  volatile double tiny = 0x1p-1074;
  return tiny * tiny;
}

// Erfc: NaN x*x; +Inf 0; past 27.226017111108366, where erfc(x) falls below half
// the least subnormal, +0 with underflow (status 4). Other arguments, which
// only a direct call brings, take the vector path.
int erfc_scalar(const double* px, double* r) {
  const double x = *px;
  if (x != x) {
    *r = x * x;
    return 0;
  }
  if (x == HUGE_VAL) {
    *r = 0.0;
    return 0;
  }
  if (x >= 27.226017111108366) {
    *r = underflow_zero();
    return 4;
  }
  *r = _mm_cvtsd_f64(tail_core<false, TailForm::Full>(_mm_set1_pd(x)));
  return 0;
}

// CdfNorm: NaN x*x; -Inf 0; below -38.485408335567335 +0 with underflow.
int cdfnorm_scalar(const double* px, double* r) {
  const double x = *px;
  if (x != x) {
    *r = x * x;
    return 0;
  }
  if (x == -HUGE_VAL) {
    *r = 0.0;
    return 0;
  }
  if (x <= -38.485408335567335) {
    *r = underflow_zero();
    return 4;
  }
  *r = _mm_cvtsd_f64(tail_core<true, TailForm::Full>(_mm_set1_pd(x)));
  return 0;
}

// Single: past the limits where the single result rounds to zero (erfc(x) and
// Phi(-x) below 2^-150), +0 with underflow; else the double function.
constexpr float kSErfcLimit = 0x1.41bbf8p+3f, kSCdfLimit = -0x1.c5722ap+3f;  // 10.0541954, -14.170186

int serfc_scalar(const float* px, float* r) {
  const float x = *px;
  if (x != x) {
    *r = x * x;
    return 0;
  }
  if (x == HUGE_VALF) {
    *r = 0.0f;
    return 0;
  }
  if (x >= kSErfcLimit) {
    volatile float tiny = 0x1p-149f;
    *r = tiny * tiny;
    return 4;
  }
  *r = static_cast<float>(_mm_cvtsd_f64(tail_core<false, TailForm::Full>(_mm_set1_pd(x))));
  return 0;
}

int scdfnorm_scalar(const float* px, float* r) {
  const float x = *px;
  if (x != x) {
    *r = x * x;
    return 0;
  }
  if (x == -HUGE_VALF) {
    *r = 0.0f;
    return 0;
  }
  if (x <= kSCdfLimit) {
    volatile float tiny = 0x1p-149f;
    *r = tiny * tiny;
    return 4;
  }
  *r = static_cast<float>(_mm_cvtsd_f64(tail_core<true, TailForm::Full>(_mm_set1_pd(x))));
  return 0;
}

// ---- policies -------------------------------------------------------------------

// Single through the double core, rounded once.
template <class Core>
inline __m128 via_double(__m128 x) {
  return narrow(Core::run(widen_lo(x)), Core::run(widen_hi(x)));
}

// The members of every policy of the family: blocks of four doubles or eight
// singles, four in the strided form.
template <class T>
struct ErfRow : Blocks<T, sizeof(T) == 8 ? 4 : 8, 4> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
};

// Erf: no special lanes.
template <class T>
struct ErfNoCallout : ErfRow<T> {
  static constexpr bool kCallout = false;
  static constexpr const char* kName = sizeof(T) == 8 ? "vdErf" : "vsErf";
  static int scalar(const T*, T*) { return 0; }
};

template <class Core>
struct ErfD : ErfNoCallout<double> {
  static V eval(V x, V&) { return Core::run(x); }
};

template <bool Poly>
struct ErfSingle : ErfNoCallout<float> {
  static V eval(V x, V&) { return erf_single<Poly>(x); }
};

template <class Core>
struct ErfS : ErfNoCallout<float> {
  static V eval(V x, V&) { return via_double<Core>(x); }
};

struct ErfHA {
  static __m128d run(__m128d x) { return erf_ha(x); }
};
template <ErfForm F>
struct ErfPlain {
  static __m128d run(__m128d x) { return erf_plain<F>(x); }
};
template <bool Cdf, TailForm F>
struct Tail {
  static __m128d run(__m128d x) { return tail_core<Cdf, F>(x); }
};

template <bool Cdf, TailForm F>
struct TailD {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  using T = double;
  using V = __m128d;
  static constexpr int kBlock = 4;
  static constexpr int kBlockI = 4;
  static constexpr const char* kName = Cdf ? "vdCdfNorm" : "vdErfc";
  static int scalar(const double* x, double* r) { return Cdf ? cdfnorm_scalar(x, r) : erfc_scalar(x, r); }
  static V eval(V x, V& special) {
    special = Cdf ? _mm_cmpngt_pd(x, _mm_set1_pd(-38.485408335567335))
                  : _mm_cmpnlt_pd(x, _mm_set1_pd(27.226017111108366));
    return tail_core<Cdf, F>(x);
  }
};

template <bool Cdf, TailForm F>
struct TailS {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  using T = float;
  using V = __m128;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = 4;
  static constexpr const char* kName = Cdf ? "vsCdfNorm" : "vsErfc";
  static int scalar(const float* x, float* r) { return Cdf ? scdfnorm_scalar(x, r) : serfc_scalar(x, r); }
  static V eval(V x, V& special) {
    special = Cdf ? _mm_cmpngt_ps(x, _mm_set1_ps(kSCdfLimit)) : _mm_cmpnlt_ps(x, _mm_set1_ps(kSErfcLimit));
    return via_double<Tail<Cdf, F>>(x);
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(dErf, ha, ErfD<ErfHA>)
ZEV_KERNELS(dErf, la, ErfD<ErfPlain<ErfForm::LA>>)
ZEV_KERNELS(dErf, ep, ErfD<ErfPlain<ErfForm::EP>>)
ZEV_KERNELS(sErf, ha, ErfS<ErfPlain<ErfForm::EP>>)
ZEV_KERNELS(sErf, la, ErfSingle<true>)
ZEV_KERNELS(sErf, ep, ErfSingle<false>)
ZEV_KERNELS(dErfc, lahaep, TailD<false, TailForm::Full>)
ZEV_KERNELS(sErfc, ha, TailS<false, TailForm::Full>)
ZEV_KERNELS(sErfc, la, TailS<false, TailForm::Tiny>)
ZEV_KERNELS(sErfc, ep, TailS<false, TailForm::Least>)
ZEV_KERNELS(dCdfNorm, ha, TailD<true, TailForm::Full>)
ZEV_KERNELS(dCdfNorm, la, TailD<true, TailForm::Plain>)
ZEV_KERNELS(dCdfNorm, ep, TailD<true, TailForm::Short>)
ZEV_KERNELS(sCdfNorm, ha, TailS<true, TailForm::Full>)
ZEV_KERNELS(sCdfNorm, la, TailS<true, TailForm::Plain>)
ZEV_KERNELS(sCdfNorm, ep, TailS<true, TailForm::Short>)
