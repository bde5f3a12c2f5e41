// ErfInv, ErfcInv and CdfNormInv in single and double, three kernels each.
//
// One core serves all three. The argument gives a sign and two distances: a,
// from the zero of the result (|x| for ErfInv, |1 - y| for ErfcInv, |2p - 1|
// for CdfNormInv), and w, from the pole (1 - |x|, min(y, 2 - y), min(2p,
// 2 - 2p)). Both are exact where they are used: a below 1/2, w at or below it
// (Sterbenz). The result is erfinv(a) = erfcinv(w), times sqrt(2) for
// CdfNormInv, with the sign. A table row is picked by the exponent and the top
// two fraction bits of a (a < 1/2) or of w (a >= 1/2), and holds a polynomial
// in f = (significand with those two bits cleared) - 1.125, |f| <= 1/8; no
// logarithm or square root on the vector path. HA holds the first two
// coefficients to 27 bits so that h0 + h1 fh is formed with its exact low part.
// Lanes whose pole distance falls below 2^-53 (the deep tail), the domain ends
// and the tiny ErfInv arguments go to the scalar functions; the tail there
// starts from the asymptotic expansion and takes three Newton steps on erfc,
// made of exp (2^x of the exponential family) and a continued fraction.
// Single kernels run the double core at lower degree and round once.
//
// Measured worst errors: docs/accuracy_erf.md.
#include <cmath>
#include <cstdint>

#include "vector/common/widen.h"
#include "vector/common/bits.h"
#include "vector/common/consts.h"
#include "vector/common/range.h"
#include "vector/erf/erf_data.h"
#include "vector/exp/exp_common.h"
#include "vector/shape.h"
#include "vector/vops.h"

namespace zev::vk {
namespace {

using erfdata::kInvCentral;

enum class Fn { ErfInv, ErfcInv, NormInv };
// Rows: HA degree 14 split, LA 12, EP 6 (also single HA), S5 and S3 (single LA, EP).
enum class Form { HA, LA, EP, S5, S3 };

struct InvConst {
  __m128d sign, half, quarter, one, two, mant, one_bits, center, split, sq2hi, sq2lo;
  __m128 top, clamp, pole_last, pole_base;
};
alignas(16) const InvConst kInv = {
    .sign = q2(0x8000000000000000ull),
    .half = d2(0.5),
    .quarter = d2(0.25),
    .one = d2(1.0),
    .two = d2(2.0),
    .mant = q2(0x0003FFFFFFFFFFFFull),      // the fraction below its top two bits
    .one_bits = q2(0x3FF0000000000000ull),  // with them cleared, the value lies in [1, 1.25)
    .center = d2(1.125),                    // f = that - 1.125
    .split = q2(0xFFFFFFFFF8000000ull),     // fh keeps 26 bits: h1 fh is exact
    .sq2hi = d2(1.4142135623730951),
    .sq2lo = d2(-9.667293313452913e-17),
    .top = u4(0xFF7),         // exponent and top two bits of 0.4999...: row 0
    .clamp = u4(kInvCentral - 1),  // a = 0 reads the last central row (its result is cleared)
    .pole_last = u4(erfdata::kInvRows - kInvCentral - 1),
    .pole_base = u4(kInvCentral),
};

// The distances and the sign of a lane, by function.
struct Dist {
  __m128d v;     // a where a < 1/2, else w
  __m128d pole;  // all ones where v is w
  __m128d sign;  // the sign bit of the result
};

template <Fn F>
inline Dist distances(__m128d x) {
  const InvConst& c = kInv;
  __m128d t, w;
  if constexpr (F == Fn::ErfInv) {
    t = x;
    w = sub(c.one, andnot(c.sign, x));
  } else if constexpr (F == Fn::ErfcInv) {
    t = sub(c.one, x);
    w = _mm_min_pd(x, sub(c.two, x));
  } else {
    const __m128d u = add(x, x);
    t = sub(u, c.one);
    w = _mm_min_pd(u, sub(c.two, u));
  }
  const __m128d a = andnot(c.sign, t);
  const __m128d pole = _mm_cmpge_pd(a, c.half);
  return {select(pole, w, a), pole, and_(c.sign, t)};
}

// Row numbers of the two lanes.
inline void rows(const Dist& d, unsigned (&j)[2]) {
  const InvConst& c = kInv;
  // k = 0xFF7 - (exponent and top two fraction bits), in the low word of each
  // lane; arguments off the vector path (special lanes) are clamped into the
  // table like the rest, their results are replaced.
  __m128i k = _mm_sub_epi32(bits(c.top), _mm_srli_epi64(bits(d.v), 50));
  k = _mm_andnot_si128(_mm_srai_epi32(k, 31), k);  // 0 up to 0xFF7: min_epi16 applies
  const __m128i central = _mm_min_epi16(k, bits(c.clamp));
  const __m128i pole = _mm_add_epi32(_mm_min_epi16(k, bits(c.pole_last)), bits(c.pole_base));
  const __m128i m = _mm_castpd_si128(d.pole);
  const __m128i r = _mm_or_si128(_mm_and_si128(m, pole), _mm_andnot_si128(m, central));
  j[0] = static_cast<uint32_t>(_mm_cvtsi128_si32(r));
  j[1] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(r, _MM_SHUFFLE(3, 2, 3, 2))));
}

// Coefficients k and k + 1 of two rows as two vectors: one aligned load a row.
inline void pair(const double* r0, const double* r1, int k, __m128d& a, __m128d& b) {
  const __m128d x = _mm_load_pd(r0 + k), y = _mm_load_pd(r1 + k);
  a = _mm_unpacklo_pd(x, y);
  b = _mm_unpackhi_pd(x, y);
}

template <Fn F, Form L>
inline __m128d inv_core(__m128d x) {
  const InvConst& c = kInv;
  const Dist d = distances<F>(x);
  unsigned j[2];
  rows(d, j);
  // w = 1/2 (a = 1/2 exactly) is the top edge of pole row 0: f = 1/8, not -1/8.
  const __m128d f = add(sub(_mm_or_pd(and_(d.v, c.mant), c.one_bits), c.center),
                        and_(_mm_cmpeq_pd(d.v, c.half), c.quarter));
  __m128d y;
  if constexpr (L == Form::HA) {
    const auto& tab = F == Fn::NormInv ? erfdata::kNormInvHA : erfdata::kInvHA;
    const double* t0 = tab[j[0]];
    const double* t1 = tab[j[1]];
    __m128d l0, l1, c2, c3, c4, c5, c6, c7, c8, c9, c10, c11, c12, c13, c14, h0, h1, pad;
    pair(t0, t1, 0, l0, l1);
    pair(t0, t1, 2, c2, c3);
    pair(t0, t1, 4, c4, c5);
    pair(t0, t1, 6, c6, c7);
    pair(t0, t1, 8, c8, c9);
    pair(t0, t1, 10, c10, c11);
    pair(t0, t1, 12, c12, c13);
    pair(t0, t1, 14, c14, h0);
    pair(t0, t1, 16, h1, pad);
    // Estrin-like pairs shorten the chain; every term is far below the head.
    const __m128d f2 = mul(f, f);
    const __m128d q13 = add(c13, mul(f, c14));
    const __m128d q11 = add(c11, mul(f, c12));
    const __m128d q9 = add(c9, mul(f, c10));
    const __m128d q7 = add(c7, mul(f, c8));
    const __m128d q5 = add(c5, mul(f, c6));
    const __m128d q3 = add(c3, mul(f, c4));
    __m128d p = add(q11, mul(f2, q13));
    p = add(q9, mul(f2, p));
    p = add(q7, mul(f2, p));
    p = add(q5, mul(f2, p));
    p = add(q3, mul(f2, p));
    p = add(c2, mul(f, p));
    const __m128d fh = and_(f, c.split);
    const __m128d fl = sub(f, fh);
    const __m128d p1 = mul(h1, fh);  // exact
    const __m128d hh = add(h0, p1);
    const __m128d hl = add(sub(h0, hh), p1);
    const __m128d corr = add(add(add(l0, mul(f, add(l1, mul(f, p)))), mul(h1, fl)), hl);
    y = add(hh, corr);
  } else {
    constexpr int kDeg = L == Form::LA ? 12 : L == Form::EP ? 6 : L == Form::S5 ? 5 : 3;
    const double* t0;
    const double* t1;
    if constexpr (L == Form::LA) {
      const auto& tab = F == Fn::NormInv ? erfdata::kNormInvLA : erfdata::kInvLA;
      t0 = tab[j[0]], t1 = tab[j[1]];
    } else if constexpr (L == Form::EP) {
      const auto& tab = F == Fn::NormInv ? erfdata::kNormInvEP : erfdata::kInvEP;
      t0 = tab[j[0]], t1 = tab[j[1]];
    } else if constexpr (L == Form::S5) {
      const auto& tab = F == Fn::NormInv ? erfdata::kNormInvS5 : erfdata::kInvS5;
      t0 = tab[j[0]], t1 = tab[j[1]];
    } else {
      const auto& tab = F == Fn::NormInv ? erfdata::kNormInvS3 : erfdata::kInvS3;
      t0 = tab[j[0]], t1 = tab[j[1]];
    }
    __m128d k[kDeg + 2];
    for (int i = 0; i <= kDeg; i += 2) pair(t0, t1, i, k[i], k[i + 1]);
    y = k[kDeg];
    for (int i = kDeg - 1; i >= 0; --i) y = add(k[i], mul(f, y));
  }
  // a = 0 (ErfcInv(1), CdfNormInv(1/2)) gives +0.
  y = and_(y, _mm_cmpneq_pd(d.v, _mm_setzero_pd()));
  return xor_(y, d.sign);
}

// ---- scalar functions ---------------------------------------------------------

inline double run_core_d(double x, Fn f) {
  const __m128d v = _mm_set1_pd(x);
  __m128d y;
  switch (f) {
    case Fn::ErfInv: y = inv_core<Fn::ErfInv, Form::HA>(v); break;
    case Fn::ErfcInv: y = inv_core<Fn::ErfcInv, Form::HA>(v); break;
    default: y = inv_core<Fn::NormInv, Form::HA>(v); break;
  }
  return _mm_cvtsd_f64(y);
}

inline double invalid_d() {
  volatile double z = 0.0;
  return z / z;
}

// erfcinv(w) for 0 < w < 2^-53 as zh + zl. The start solves
// z^2 = -ln w - ln(z sqrt(pi)) + ln(1 - 1/(2 z^2)) by three substitutions
// (within 1e-4); each Newton step z += (1 - w/erfc(z)) / (2K) uses
// erfc(z) = exp(-z^2) / (sqrt(pi) K), K the continued fraction
// z + (1/2)/(z + 1/(z + (3/2)/(z + ...))), and exp(-z^2) as 2^n (hi + lo) from
// z^2 in two parts, so that nothing underflows however small w is. The last
// step's correction is kept apart: the error of zh + zl is below 1e-18 z.
void inverse_tail(double w, double& zh, double& zl) {
  int ew;
  const double mw = std::frexp(w, &ew);  // exact, subnormal w too
  const double l = -(std::log(mw) + ew * 0.6931471805599453);
  double z = std::sqrt(l);
  for (int i = 0; i < 3; ++i) z = std::sqrt(l - std::log(z * 1.7724538509055159) + std::log1p(-0.5 / (z * z)));
  double corr = 0.0;
  for (int step = 0; step < 3; ++step) {
    z += corr;
    double k = z;
    for (int i = 60; i >= 1; --i) k = z + (0.5 * i) / k;
    double sh, sl;
    two_prod<double>(z, z, sh, sl);
    double ph, pl;
    expk::mul_log<double>(-sh, expk::kLog2eHi, expk::kLog2eLo, ph, pl);
    pl -= sl * 1.4426950408889634;
    const expk::Pow2Parts<double> e = expk::pow2_parts<double>(ph, pl);
    // erfc(z)/w = 2^(n - ew) (hi + lo) / (sqrt(pi) K mw)
    const double q = std::ldexp((e.hi + e.lo) / (1.7724538509055159 * k * mw), e.n - ew);
    corr = (1.0 - 1.0 / q) / (2.0 * k);
  }
  zh = z;
  zl = corr;
}

int erfinv_scalar(const double* px, double* r) {
  const double x = *px;
  const double a = std::fabs(x);
  if (x != x) {
    *r = x + x;
    return 0;
  }
  if (a > 1.0) {
    *r = invalid_d();
    return 1;
  }
  if (a == 1.0) {
    volatile double zero = 0.0;
    *r = x / zero;
    return 2;
  }
  if (a == 0.0) {
    *r = x;
    return 0;
  }
  if (a < 0x1p-54) {
    // x sqrt(pi)/2 at scale 2^256, sqrt(pi)/2 in two parts and the product
    // with the first exact, so that one rounding makes the result; the x^3
    // term lies below 2^-108.
    const double y = x * 0x1p256;
    double ph, pl;
    two_prod<double>(y, 0.88623046875, ph, pl);
    pl += y * -3.543297241986351e-06;
    const double s = ph + pl;
    if (std::fabs(s) >= 2.5764595078388533e-231) {
      *r = s * 0x1p-256;
    } else {
      // A subnormal result: adding 2^-766 rounds once to its grid (2^-818
      // here, 2^-1074 after the exact rescale).
      const double k = std::copysign(0x1p-766, y);
      const double t = k + ph;
      *r = ((t + (((k - t) + ph) + pl)) - k) * 0x1p-256;
    }
    return 0;
  }
  *r = run_core_d(x, Fn::ErfInv);
  return 0;
}

// ErfcInv on [0, 2] and CdfNormInv on [0, 1]: NaN v*v; outside the interval
// NaN with invalid (status 1); at its ends infinities (status 2), +Inf at 0
// for ErfcInv and at 1 for CdfNormInv; below 2^-53 (2^-54) the tail
// expansion, for CdfNormInv at 2p times -sqrt(2) in two parts.
template <Fn F>
int tail_inverse_scalar(const double* pv, double* r) {
  constexpr bool kNorm = F == Fn::NormInv;
  constexpr double kTop = kNorm ? 1.0 : 2.0;
  const double v = *pv;
  if (v != v) {
    *r = v * v;
    return 0;
  }
  if (v < 0.0 || v > kTop) {
    *r = invalid_d();
    return 1;
  }
  if (v == 0.0 || v == kTop) {
    *r = (v == 0.0) != kNorm ? HUGE_VAL : -HUGE_VAL;
    return 2;
  }
  if (v < (kNorm ? 0x1p-54 : 0x1p-53)) {
    double zh, zl;
    inverse_tail(kNorm ? v + v : v, zh, zl);
    if constexpr (kNorm) {
      double sh, sl;
      two_prod<double>(zh, 1.4142135623730951, sh, sl);
      *r = -(sh + (sl + (zh * -9.667293313452913e-17 + zl * 1.4142135623730951)));
    } else {
      *r = zh + zl;
    }
    return 0;
  }
  *r = run_core_d(v, F);
  return 0;
}

template <Fn F>
int scalar_d(const double* x, double* r) {
  if constexpr (F == Fn::ErfInv) return erfinv_scalar(x, r);
  else return tail_inverse_scalar<F>(x, r);
}

// erfcinv(w) for w in [2^-150, 2^-53] to within 1e-12: t P(K (1/t - C)),
// t = sqrt(-ln w), from the generated polynomial.
double single_deep_tail(double w) {
  const double* c = erfdata::kInvTailS;
  const double t = std::sqrt(-std::log(w));
  const double u = c[1] * (1.0 / t - c[0]);
  double p = c[10];
  for (int i = 9; i >= 2; --i) p = p * u + c[i];
  return t * p;
}

// Single: the double function rounded once (its error lies far below a single
// ulp); tiny ErfInv arguments are x sqrt(pi)/2 in double; the deep tail of
// ErfcInv and CdfNormInv from its own polynomial, where the double function's
// series would cost a microsecond a lane.
template <Fn F>
int scalar_s(const float* x, float* r) {
  const double xd = *x;
  double rd;
  int st;
  if (F == Fn::ErfInv && std::fabs(xd) < 0x1p-54 && xd != 0.0) {
    rd = xd * 0.886226925452758;
    st = 0;
  } else if (F != Fn::ErfInv && xd > 0.0 && xd < (F == Fn::NormInv ? 0x1p-54 : 0x1p-53)) {
    const double z = single_deep_tail(F == Fn::NormInv ? xd + xd : xd);
    rd = F == Fn::NormInv ? -1.4142135623730951 * z : z;
    st = 0;
  } else {
    st = scalar_d<F>(&xd, &rd);
  }
  *r = static_cast<float>(rd);
  return st;
}

// ---- policies ---------------------------------------------------------------------

// The vector path's ranges, on the high word of a double (sign included, so
// negative arguments fall outside) or the bits of a single.
template <Fn F> constexpr Range32 kRangeD =
    F == Fn::ErfcInv ? range32(0x3CA00000u, 0x3FFFFFFFu)   // y in [2^-53, 2)
                     : range32(0x3C900000u, 0x3FEFFFFFu);  // |x|, p in [2^-54, 1)
template <Fn F> constexpr Range32 kRangeS =
    F == Fn::ErfcInv ? range32(0x25000000u, 0x3FFFFFFFu) : range32(0x24800000u, 0x3F7FFFFFu);

template <Fn F> constexpr const char* kNameD = F == Fn::ErfInv ? "vdErfInv" : F == Fn::ErfcInv ? "vdErfcInv" : "vdCdfNormInv";
template <Fn F> constexpr const char* kNameS = F == Fn::ErfInv ? "vsErfInv" : F == Fn::ErfcInv ? "vsErfcInv" : "vsCdfNormInv";

template <Fn F, Form L>
struct InvD : Blocks<double, 4> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = kNameD<F>;
  static int scalar(const double* x, double* r) { return scalar_d<F>(x, r); }
  static V eval(V x, V& special) {
    const __m128i hw = F == Fn::ErfInv ? abs_high_words(x) : high_words(x);
    special = _mm_castsi128_pd(outside(hw, kRangeD<F>));
    return inv_core<F, L>(x);
  }
};

template <Fn F, Form L>
struct InvS : Blocks<float, 8, 4> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = kNameS<F>;
  static int scalar(const float* x, float* r) { return scalar_s<F>(x, r); }
  static V eval(V x, V& special) {
    const __m128i b = F == Fn::ErfInv ? abs_bits(x) : bits(x);
    special = _mm_castsi128_ps(outside(b, kRangeS<F>));
    return narrow(inv_core<F, L>(widen_lo(x)), inv_core<F, L>(widen_hi(x)));
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(dErfInv, la, InvD<Fn::ErfInv, Form::LA>)
ZEV_KERNELS(dErfInv, ha, InvD<Fn::ErfInv, Form::HA>)
ZEV_KERNELS(dErfInv, ep, InvD<Fn::ErfInv, Form::EP>)
ZEV_KERNELS(sErfInv, la, InvS<Fn::ErfInv, Form::S5>)
ZEV_KERNELS(sErfInv, ha, InvS<Fn::ErfInv, Form::EP>)
ZEV_KERNELS(sErfInv, ep, InvS<Fn::ErfInv, Form::S3>)
ZEV_KERNELS(dErfcInv, la, InvD<Fn::ErfcInv, Form::LA>)
ZEV_KERNELS(dErfcInv, ha, InvD<Fn::ErfcInv, Form::HA>)
ZEV_KERNELS(dErfcInv, ep, InvD<Fn::ErfcInv, Form::EP>)
ZEV_KERNELS(sErfcInv, la, InvS<Fn::ErfcInv, Form::S5>)
ZEV_KERNELS(sErfcInv, ha, InvS<Fn::ErfcInv, Form::EP>)
ZEV_KERNELS(sErfcInv, ep, InvS<Fn::ErfcInv, Form::S3>)
ZEV_KERNELS(dCdfNormInv, la, InvD<Fn::NormInv, Form::LA>)
ZEV_KERNELS(dCdfNormInv, ha, InvD<Fn::NormInv, Form::HA>)
ZEV_KERNELS(dCdfNormInv, ep, InvD<Fn::NormInv, Form::EP>)
ZEV_KERNELS(sCdfNormInv, la, InvS<Fn::NormInv, Form::S5>)
ZEV_KERNELS(sCdfNormInv, ha, InvS<Fn::NormInv, Form::EP>)
ZEV_KERNELS(sCdfNormInv, ep, InvS<Fn::NormInv, Form::S3>)
