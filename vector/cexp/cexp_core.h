// The block arithmetic of the complex exponential, logarithms and powers, on
// two double lanes with the real and imaginary parts in separate vectors.
//
// exp(x + iy) = e^x (cos y + i sin y): e^x as 2^n (hi + lo) from the
// exponential family's double-double core (vector/exp/exp_dd.h), cos y and
// sin y as pairs from the circular family's (vector/trig/sincos_dd.h), and
// each part the product of two pairs, rounded once and scaled by 2^n.
//
// log(x + iy) = log|z| + i arg z: |z|^2 = x^2 + y^2 as a pair from exact
// squares, so that near |z| = 1 the difference |z|^2 - 1 keeps its bits; log
// of that pair by the logarithm family's core with a correction term
// (log_ha), halved; arg z by the inverse circular family's atan2 at HA, as a
// pair.
//
// The cores are templates on the reciprocal estimator E of the atan2 (rcpps
// in the kernels, the modelled worst estimates in the tests).
#pragma once

#include <emmintrin.h>

#include <cmath>

#include "vector/common/exact.h"
#include "vector/complex/ckernel.h"
#include "vector/estimate.h"
#include "vector/invtrig/invtrig_core.h"
#include "vector/log/log_core.h"
#include "vector/exp/exp_dd.h"
#include "vector/trig/sincos_dd.h"

namespace zev::vk::cexp {

inline __m128d d1(double v) { return _mm_set1_pd(v); }
inline __m128d sign_of(__m128d x) { return _mm_and_pd(x, d1(-0.0)); }
inline __m128d abs_of(__m128d x) { return _mm_andnot_pd(d1(-0.0), x); }

// Constant pairs hi + lo (lo within 2^-106 relative).
struct Pair {
  double hi, lo;
};
inline constexpr Pair kPi = {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};
inline constexpr Pair kPi2 = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
inline constexpr Pair kPi4 = {0x1.921fb54442d18p-1, 0x1.1a62633145c07p-55};
inline constexpr Pair k3Pi4 = {0x1.2d97c7f3321d2p+1, 0x1.a79394c9e8a0ap-54};
inline constexpr Pair kInvLn10 = {0x1.bcb7b1526e50ep-2, 0x1.95355baaafad3p-57};
inline constexpr Pair kLn2 = {0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56};

// (a.hi + a.lo)(b.hi + b.lo) rounded once: the leading product exact, the
// other terms added below it. The pairs need not be normalised (the
// exponential's lo is up to 2^-8 of its hi, the circle table's rest 2^-16),
// so the product of the low parts counts too.
inline __m128d low_terms(DD a, DD b) {
  return _mm_add_pd(_mm_add_pd(_mm_mul_pd(a.hi, b.lo), _mm_mul_pd(a.lo, b.hi)), _mm_mul_pd(a.lo, b.lo));
}
inline __m128d mul_round(DD a, DD b) {
  const DD p = two_prod(a.hi, b.hi);
  return _mm_add_pd(p.hi, _mm_add_pd(p.lo, low_terms(a, b)));
}
// The same product as a normalised pair.
inline DD mul_pair(DD a, DD b) {
  const DD p = two_prod(a.hi, b.hi);
  const DD q = fast_two_sum(p.hi, low_terms(a, b));
  return fast_two_sum(q.hi, _mm_add_pd(q.lo, p.lo));
}

// ---- exponential ---------------------------------------------------------------

// e^(x + xl) (cos + i sin)(y + yl) for x in [-708, 708]: the parts before the
// scale 2^n (`m_re`, `m_im`) and 2^n itself.
// Exact: the products of pairs rounded once (z rows); otherwise one double
// product each, ample for single results.
struct ExpCis {
  __m128d m_re, m_im, scale;
};
template <bool Exact, bool Pair = false>
inline ExpCis exp_cis(__m128d x, __m128d xl, __m128d y, __m128d yl) {
  const expk::ExpParts e = expk::exp_parts<5>(x, xl);
  const trig::CosSin cs = trig::cos_sin<Pair>(y, yl);
  ExpCis o;
  if constexpr (Exact) {
    const DD ex{e.hi, e.lo};
    o.m_re = mul_round(ex, cs.c);
    o.m_im = mul_round(ex, cs.s);
  } else {
    o.m_re = _mm_mul_pd(e.y, _mm_add_pd(cs.c.hi, cs.c.lo));
    o.m_im = _mm_mul_pd(e.y, _mm_add_pd(cs.s.hi, cs.s.lo));
  }
  // sin(+-0) = +-0: the sign of a zero sine survives the sums above.
  o.m_im = _mm_or_pd(o.m_im, sign_of(cs.s.hi));
  // 2^n from n << 52 added to the bits of 1.0 (n in [-1022, 1023]).
  o.scale = _mm_castsi128_pd(_mm_add_epi64(e.nb, _mm_castpd_si128(d1(1.0))));
  return o;
}

// The vector exponential: x in [-700, 708] keeps 2^n and both parts' scale
// normal, and a part below the normal range only where the other is at least
// 2^12 times larger.
template <bool Exact>
inline void exp_v(__m128d x, __m128d y, __m128d& re, __m128d& im) {
  const __m128d xc = _mm_min_pd(_mm_max_pd(x, d1(-700.0)), d1(708.0));  // flagged lanes stay harmless
  const ExpCis o = exp_cis<Exact>(xc, _mm_setzero_pd(), y, _mm_setzero_pd());
  re = _mm_mul_pd(o.m_re, o.scale);
  im = _mm_mul_pd(o.m_im, o.scale);
}

// Lanes the vector exponential does not serve: x outside [lo, hi] or NaN, y
// infinite or NaN.
inline __m128d exp_flags(__m128d x, __m128d y, double lo, double hi) {
  const __m128d bx = _mm_or_pd(_mm_cmpnge_pd(x, d1(lo)), _mm_cmpnle_pd(x, d1(hi)));
  return _mm_or_pd(bx, trig::not_finite(abs_of(y)));
}

// ---- logarithm -------------------------------------------------------------------

// arg z refined by one Newton step, for the powers, where w arg z needs more
// than the atan2 pair's 2^-55: t + (y cos t - x sin t) / (x cos t + y sin t),
// the residual from exact leading products and the circle table's pairs.
inline DD refine_arg(__m128d x, __m128d y, DD t);

// log(x^2 + y^2) as a pair, for the larger of |x|, |y| in [2^-500, 2^500].
// The squares are exact pairs and their sum a pair within 2^-105, so that
// x^2 + y^2 - 1, the argument of log1p near |z| = 1, keeps every bit the
// pair holds.
inline DD log_norm2(__m128d x, __m128d y) {
  // Dekker's split (halves of at most 26 bits each): every partial product
  // exact, also the last, which the mask cut of the arithmetic family rounds.
  const DD xx = two_prod(x, x), yy = two_prod(y, y);
  const DD s0 = two_sum(xx.hi, yy.hi);
  const DD s = fast_two_sum(s0.hi, _mm_add_pd(s0.lo, _mm_add_pd(xx.lo, yy.lo)));
  return logpow::log_ha<true>(s.hi, s.lo);
}
// The same to about 2^-67 relative, for the powers: the logarithm family's
// core for exp(y log x) on the head, the tail's first-order term added.
inline DD log_norm2_pw(__m128d x, __m128d y) {
  const DD xx = two_prod(x, x), yy = two_prod(y, y);
  const DD s0 = two_sum(xx.hi, yy.hi);
  const DD s = fast_two_sum(s0.hi, _mm_add_pd(s0.lo, _mm_add_pd(xx.lo, yy.lo)));
  const DD l = logpow::log_pw(s.hi);
  return two_sum(l.hi, _mm_add_pd(l.lo, _mm_div_pd(s.lo, s.hi)));
}
// log(x^2 + y^2) for single parts widened, far below a single ulp: the
// squares exact in double and their sum a pair; the EP double logarithm of
// its head (2^-36 relative, and near 1 the row c = 1 sees S - 1 exactly) plus
// the tail's first-order term.
inline __m128d log_norm2_s(__m128d x, __m128d y) {
  const DD s = two_sum(_mm_mul_pd(x, x), _mm_mul_pd(y, y));
  return _mm_add_pd(logpow::log_ep(s.hi), _mm_div_pd(s.lo, s.hi));
}

// log z as pairs: re = log|z|, im = arg z, for the vector range of zLn.
template <class E = HwEstimate>
inline void ln_pair(__m128d x, __m128d y, DD& re, DD& im) {
  const DD l = log_norm2(x, y);
  re = {_mm_mul_pd(l.hi, d1(0.5)), _mm_mul_pd(l.lo, d1(0.5))};
  im = invtrig::atan2_pair_d<E>(y, x);
}

inline DD refine_arg(__m128d x, __m128d y, DD t) {
  const trig::CosSin cs = trig::cos_sin<true>(t.hi, t.lo);
  const DD a = two_prod(y, cs.c.hi), b = two_prod(x, cs.s.hi);
  const __m128d r = _mm_add_pd(_mm_add_pd(_mm_sub_pd(a.hi, b.hi), _mm_sub_pd(a.lo, b.lo)),
                               _mm_sub_pd(_mm_mul_pd(y, cs.c.lo), _mm_mul_pd(x, cs.s.lo)));
  const __m128d d = _mm_add_pd(_mm_mul_pd(x, cs.c.hi), _mm_mul_pd(y, cs.s.hi));
  return fast_two_sum(t.hi, _mm_add_pd(t.lo, _mm_div_pd(r, d)));
}

// Lanes outside the vector range of zLn: the larger part outside [2^-500,
// 2^500] (also infinite or NaN), or a smaller part that is neither zero nor
// at least 2^-1019 (the atan2's range).
inline __m128d ln_flags(__m128d x, __m128d y) {
  const __m128d ax = abs_of(x), ay = abs_of(y);
  const __m128d big = _mm_or_pd(_mm_cmpnle_pd(ax, d1(0x1p500)), _mm_cmpnle_pd(ay, d1(0x1p500)));
  const __m128d small = _mm_and_pd(_mm_cmplt_pd(ax, d1(0x1p-500)), _mm_cmplt_pd(ay, d1(0x1p-500)));
  const __m128d tx = _mm_and_pd(_mm_cmplt_pd(ax, d1(0x1p-1019)), _mm_cmpneq_pd(ax, _mm_setzero_pd()));
  const __m128d ty = _mm_and_pd(_mm_cmplt_pd(ay, d1(0x1p-1019)), _mm_cmpneq_pd(ay, _mm_setzero_pd()));
  return _mm_or_pd(_mm_or_pd(big, small), _mm_or_pd(tx, ty));
}

// ---- scalar helpers ------------------------------------------------------------------

// One lane of a two-lane core.
inline __m128d lane(double v) { return _mm_set_sd(v); }
inline double first(__m128d v) { return _mm_cvtsd_f64(v); }

// A scalar pair.
struct SPair {
  double hi, lo;
};

}  // namespace zev::vk::cexp
