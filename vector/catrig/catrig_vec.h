// The vector path of the single rows: the formulas of catrig_core.h on two
// double lanes, for single parts that are neither zero nor infinite nor NaN.
// In double every square and quotient of such parts is a normal number far
// from overflow, so the formulas run unscaled; the logarithm is the double
// one of the log family (log_ha, a pair within 2^-62, log1p through its
// correction argument) and the arctangent the LA atan2 of the inverse
// circular family (a polynomial within 2^-54 on [0, 1] after one division:
// a few double ulps; its HA form costs twice as much and buys nothing after
// the rounding to single). Each part is within a few double ulps, 2^-28 of a
// single ulp, before its one rounding to single.
#pragma once

#include <emmintrin.h>

#include "vector/common/atan2_dd.h"
#include "vector/common/exact.h"
#include "vector/invtrig/invtrig_core.h"
#include "vector/log/log_core.h"
#include "vector/vops.h"

namespace zev::vk::catrig {

inline __m128d dv(double v) { return _mm_set1_pd(v); }

// log(1 + v) for v >= 0: 1 + v as u + corr, exact, then the log of the pair.
inline __m128d log1p_d(__m128d v) {
  const DD u = two_sum(dv(1.0), v);
  const DD l = logpow::log_ha<true>(u.hi, u.lo);
  return _mm_add_pd(l.hi, l.lo);
}

// asin and acos of x + iy, x, y > 0 finite (widened single parts): the real
// part of asin (Acos false) or of acos (Acos true), for x >= 0, and asin's
// imaginary part.
template <bool Acos>
inline void asin_first_d(__m128d x, __m128d y, __m128d& re, __m128d& im) {
  const __m128d one = dv(1.0), half = dv(0.5);
  const __m128d xp1 = _mm_add_pd(x, one), xm1 = _mm_sub_pd(x, one), y2 = _mm_mul_pd(y, y);
  const __m128d r = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(xp1, xp1), y2));
  const __m128d s = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(xm1, xm1), y2));
  const __m128d A = _mm_mul_pd(_mm_add_pd(r, s), half);
  const __m128d t = _mm_div_pd(y2, _mm_add_pd(r, xp1));  // r - (x + 1)
  // x < 1: d = s + (1 - x), A - 1 = (t + y^2/d)/2, A - x = (t + d)/2;
  // x >= 1: d = s + (x - 1), A - 1 = (t + d)/2, A - x = (t + y^2/d)/2.
  const __m128d lt1 = _mm_cmplt_pd(x, one);
  const __m128d d = _mm_add_pd(s, _mm_xor_pd(xm1, _mm_and_pd(lt1, dv(-0.0))));
  const __m128d w = _mm_div_pd(y2, d);
  const __m128d am1 = _mm_mul_pd(_mm_add_pd(t, select(lt1, w, d)), half);
  const __m128d amx = _mm_mul_pd(_mm_add_pd(t, select(lt1, d, w)), half);
  const __m128d q = _mm_sqrt_pd(_mm_mul_pd(_mm_add_pd(A, x), amx));
  re = Acos ? invtrig::atan2_d<Level::LA, false>(q, x) : invtrig::atan2_d<Level::LA, false>(x, q);
  // A <= 1.5: log1p(A - 1 + sqrt((A - 1)(A + 1))); else log(A + sqrt(A^2 - 1)).
  const __m128d near = _mm_cmple_pd(A, dv(1.5));
  const __m128d v = _mm_add_pd(am1, _mm_sqrt_pd(_mm_mul_pd(am1, _mm_add_pd(A, one))));
  const __m128d g = _mm_add_pd(A, _mm_sqrt_pd(_mm_sub_pd(_mm_mul_pd(A, A), one)));
  const DD u = two_sum(one, v);
  const DD l = logpow::log_ha<true>(select(near, u.hi, g), _mm_and_pd(near, u.lo));
  im = _mm_add_pd(l.hi, l.lo);
}

// atanh of x + iy, x, y > 0 finite (widened single parts), not 1 + 0i.
// 1 - b^2 for the larger part b is exact (b^2 has 48 bits and, where the
// difference is small, an exponent near 0), so the denominator of the
// imaginary part is one rounding from exact even on the unit circle.
inline void atanh_first_d(__m128d x, __m128d y, __m128d& re, __m128d& im) {
  const __m128d one = dv(1.0);
  const __m128d omx = _mm_sub_pd(one, x), y2 = _mm_mul_pd(y, y);
  const __m128d den = _mm_add_pd(_mm_mul_pd(omx, omx), y2);
  re = _mm_mul_pd(log1p_d(_mm_div_pd(_mm_mul_pd(dv(4.0), x), den)), dv(0.25));
  const __m128d b = _mm_max_pd(x, y), c = _mm_min_pd(x, y);
  const __m128d D = _mm_sub_pd(_mm_sub_pd(one, _mm_mul_pd(b, b)), _mm_mul_pd(c, c));
  im = _mm_mul_pd(invtrig::atan2_d<Level::LA, false>(_mm_add_pd(y, y), D), dv(0.5));
}

// ---- double rows: sums of two doubles ------------------------------------------------

// atan2(n, d) for n = nh + nl > 0 and d = dh + dl of either sign (dh may be
// zero), both pairs, as a pair within about 2^-58 (vector/common/atan2_dd.h:
// one division, the quotient reduced by a row of four and cut so that its
// residual is exact, a Taylor polynomial), then pi/2 -+ atan t or (pi -)
// atan t.
inline DD atan2_pair(__m128d nh, __m128d nl, __m128d dh, __m128d dl) { return atan2_dd(nh, nl, dh, dl); }

// Pair arithmetic for positive operands (no cancellation): each result within
// a few units of 2^-104 relative.
inline DD dd_add(DD a, DD b) {
  const DD s = two_sum(a.hi, b.hi);
  return fast_two_sum(s.hi, _mm_add_pd(s.lo, _mm_add_pd(a.lo, b.lo)));
}
inline DD dd_mul(DD a, DD b) {
  const DD p = two_prod(a.hi, b.hi);
  return fast_two_sum(p.hi, _mm_add_pd(p.lo, _mm_add_pd(_mm_mul_pd(a.hi, b.lo), _mm_mul_pd(a.lo, b.hi))));
}
// a / b with rb, a reciprocal of b.hi within a few ulps: the head a.hi rb and
// its exact residual times rb.
inline DD dd_div(DD a, DD b, __m128d rb) {
  const __m128d q = _mm_mul_pd(a.hi, rb);
  const DD p = two_prod(q, b.hi);
  const __m128d r = _mm_sub_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(a.hi, p.hi), p.lo), a.lo), _mm_mul_pd(q, b.lo));
  return fast_two_sum(q, _mm_mul_pd(r, rb));
}
// The reciprocals of a and b from one division, each within 3 ulps (a b must
// stay normal).
inline void recip2(__m128d a, __m128d b, __m128d& ra, __m128d& rb) {
  const __m128d r = _mm_div_pd(dv(1.0), _mm_mul_pd(a, b));
  ra = _mm_mul_pd(b, r);
  rb = _mm_mul_pd(a, r);
}
// The square roots of the pairs a and b (the product of the roots normal):
// each root's correction, its residual over twice the root, needs only a few
// bits of the reciprocal, and the two reciprocals come from one division.
inline void dd_sqrt2(DD a, DD b, DD& ra, DD& rb) {
  const __m128d sa = _mm_sqrt_pd(a.hi), sb = _mm_sqrt_pd(b.hi);
  const DD pa = two_prod(sa, sa), pb = two_prod(sb, sb);
  const __m128d ea = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(a.hi, pa.hi), pa.lo), a.lo);
  const __m128d eb = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(b.hi, pb.hi), pb.lo), b.lo);
  __m128d ia, ib;
  recip2(_mm_add_pd(sa, sa), _mm_add_pd(sb, sb), ia, ib);
  ra = fast_two_sum(sa, _mm_mul_pd(ea, ia));
  rb = fast_two_sum(sb, _mm_mul_pd(eb, ib));
}
inline DD dd_half(DD a) { return {_mm_mul_pd(a.hi, dv(0.5)), _mm_mul_pd(a.lo, dv(0.5))}; }

// log(1 + v) (lanes of add1) or log v (the others) for a pair v >= 0, as one
// double within about 2^-62 relative; log(1 + v) below v = 2^-26 by the series
// v - v^2/2 + v^3/3 (the next term is below 2^-78 v), above as the logarithm
// of the pair 1 + v (whose low part is then far below the distance of 1 + v
// from 1, as log_ha's correction argument needs).
inline __m128d log_pair(DD v, __m128d add1) {
  const DD u = two_sum(_mm_and_pd(add1, dv(1.0)), v.hi);
  const DD l = logpow::log_ha<true>(u.hi, _mm_add_pd(u.lo, v.lo));
  const __m128d sv = _mm_sub_pd(v.lo, _mm_mul_pd(_mm_mul_pd(v.hi, v.hi), _mm_sub_pd(dv(0.5), _mm_mul_pd(v.hi, dv(1.0 / 3)))));
  const __m128d small = _mm_and_pd(add1, _mm_cmplt_pd(v.hi, dv(0x1p-26)));
  return select(small, _mm_add_pd(v.hi, sv), _mm_add_pd(l.hi, l.lo));
}

// asin of x + iy for x, y in [2^-250, 2^250), as pairs: the real part of asin
// (Acos false) or of acos (Acos true), for x >= 0, and asin's imaginary part,
// within about 2^-60 before their rounding (the real part: see atan2_pair).
// The formulas of catrig_core.h: x + 1 and x - 1 exact pairs, the squares exact, every sum
// one of positive terms; in this range every intermediate is a normal number.
// For acos, xneg marks the lanes of a negative x, whose real part is
// pi - acos |x|, formed on the pair.
// Both halves of a block go through each step together, as in
// atanh_first_dd below.
template <bool Acos>
inline void asin_first_dd(const __m128d (&x)[2], const __m128d (&y)[2], const __m128d (&xneg)[2], __m128d (&re)[2],
                          __m128d (&im)[2]) {
  const __m128d one = dv(1.0), zero = _mm_setzero_pd(), sign = dv(-0.0);
  DD xp1[2], axm1[2], y2[2], r[2], s[2], A[2];
  for (int h = 0; h < 2; ++h) {
    xp1[h] = two_sum(x[h], one);
    const DD xm1 = two_sum(x[h], _mm_xor_pd(one, sign));  // x - 1, either sign
    y2[h] = two_prod(y[h], y[h]);
    // (x - 1)^2 = |x - 1|^2
    const __m128d xms = _mm_and_pd(xm1.hi, sign);
    axm1[h] = {_mm_xor_pd(xm1.hi, xms), _mm_xor_pd(xm1.lo, xms)};
  }
  for (int h = 0; h < 2; ++h)
    dd_sqrt2(dd_add(dd_mul(xp1[h], xp1[h]), y2[h]), dd_add(dd_mul(axm1[h], axm1[h]), y2[h]), r[h], s[h]);
  // t = r - (x + 1) = y^2/(r + x + 1); d = s + |x - 1|; x < 1: A - 1 = (t +
  // y^2/d)/2, A - x = (t + d)/2; x >= 1: A - 1 = (t + d)/2, A - x = (t + y^2/d)/2.
  DD am1[2], amx[2];
  for (int h = 0; h < 2; ++h) {
    A[h] = dd_half(dd_add(r[h], s[h]));
    const DD rx = dd_add(r[h], xp1[h]), d = dd_add(s[h], axm1[h]);
    __m128d irx, id;
    recip2(rx.hi, d.hi, irx, id);
    const DD t = dd_div(y2[h], rx, irx);
    const DD w = dd_div(y2[h], d, id);
    const __m128d lt1 = _mm_cmplt_pd(x[h], one);
    am1[h] = dd_half(dd_add(t, {select(lt1, w.hi, d.hi), select(lt1, w.lo, d.lo)}));
    amx[h] = dd_half(dd_add(t, {select(lt1, d.hi, w.hi), select(lt1, d.lo, w.lo)}));
  }
  // A <= 1.5: log1p(v), v = A - 1 + sqrt((A - 1)(A + 1)); else log(A + sqrt(A^2 - 1))
  // (A^2 - 1 = (A - 1)(A + 1) too, with A - 1 from the sum of A's pair).
  DD q[2], sq[2];
  __m128d near[2];
  for (int h = 0; h < 2; ++h) {
    near[h] = _mm_cmple_pd(A[h].hi, dv(1.5));
    const DD Am1big = two_sum(A[h].hi, _mm_xor_pd(one, sign));
    const DD am1s{select(near[h], am1[h].hi, Am1big.hi), select(near[h], am1[h].lo, _mm_add_pd(Am1big.lo, A[h].lo))};
    dd_sqrt2(dd_mul(dd_add(A[h], {x[h], zero}), amx[h]), dd_mul(am1s, dd_add(A[h], {one, zero})), q[h], sq[h]);
  }
  for (int h = 0; h < 2; ++h) {
    if constexpr (Acos) {
      const DD a = atan2_pair(q[h].hi, q[h].lo, x[h], zero);
      const __m128d fl = _mm_and_pd(xneg[h], sign);
      const DD c = two_sum(_mm_and_pd(xneg[h], dv(invtrig::kPi.hi)), _mm_xor_pd(a.hi, fl));
      re[h] = _mm_add_pd(c.hi,
                         _mm_add_pd(c.lo, _mm_add_pd(_mm_and_pd(xneg[h], dv(invtrig::kPi.lo)), _mm_xor_pd(a.lo, fl))));
    } else {
      const DD a = atan2_pair(x[h], zero, q[h].hi, q[h].lo);
      re[h] = _mm_add_pd(a.hi, a.lo);
    }
  }
  for (int h = 0; h < 2; ++h) {
    const DD base{select(near[h], am1[h].hi, A[h].hi), select(near[h], am1[h].lo, A[h].lo)};
    im[h] = log_pair(dd_add(base, sq[h]), near[h]);
  }
}

// atanh of x + iy for x, y in [2^-250, 2^250): both parts within about 2^-60
// before their rounding (the imaginary part: see atan2_pair). (1 - x) and (1 + x) are exact pairs, the squares and
// products exact pairs (Dekker), so the denominator of the real part (a sum of
// squares) and that of the imaginary part, (1 - x)(1 + x) - y^2, which cancels
// near the unit circle, are both within 2^-104 of the largest term; every
// quotient, square and sum stays a normal number in this range.
// Both halves of a block go through each step together: their chains of
// dependent operations (two divisions, the logarithm's table, the
// arctangent) then overlap, where one half after the other left the
// processor waiting on each chain in turn. The arithmetic of a lane is the
// same either way.
inline void atanh_first_dd(const __m128d (&x)[2], const __m128d (&y)[2], __m128d (&re)[2], __m128d (&im)[2]) {
  const __m128d one = dv(1.0);
  DD a[2], b[2], yy[2], den[2], D[2];
  for (int h = 0; h < 2; ++h) {
    a[h] = two_sum(one, _mm_xor_pd(x[h], dv(-0.0)));  // 1 - x
    b[h] = two_sum(one, x[h]);                         // 1 + x
    const DD aa = two_prod(a[h].hi, a[h].hi);
    yy[h] = two_prod(y[h], y[h]);
    // Real part: log1p(4x / ((1 - x)^2 + y^2)) / 4.
    const DD d0 = two_sum(aa.hi, yy[h].hi);
    const __m128d cross = _mm_mul_pd(_mm_add_pd(a[h].hi, a[h].hi), a[h].lo);
    den[h] = fast_two_sum(d0.hi, _mm_add_pd(_mm_add_pd(d0.lo, cross), _mm_add_pd(aa.lo, yy[h].lo)));
  }
  for (int h = 0; h < 2; ++h) {
    // Imaginary part: atan2(2y, (1 - x)(1 + x) - y^2) / 2.
    const DD p = two_prod(a[h].hi, b[h].hi);
    const DD d1 = two_sum(p.hi, _mm_xor_pd(yy[h].hi, dv(-0.0)));
    const __m128d dl = _mm_add_pd(_mm_add_pd(d1.lo, _mm_sub_pd(p.lo, yy[h].lo)),
                                  _mm_add_pd(_mm_mul_pd(a[h].hi, b[h].lo), _mm_mul_pd(a[h].lo, b[h].hi)));
    D[h] = two_sum(d1.hi, dl);
  }
  DD v[2];
  for (int h = 0; h < 2; ++h) {
    const __m128d x4 = _mm_mul_pd(x[h], dv(4.0));
    const __m128d rd = _mm_div_pd(dv(1.0), den[h].hi);
    const __m128d th = _mm_mul_pd(x4, rd);
    const DD e = two_prod(th, den[h].hi);
    const __m128d tl = _mm_mul_pd(_mm_sub_pd(_mm_sub_pd(_mm_sub_pd(x4, e.hi), e.lo), _mm_mul_pd(th, den[h].lo)), rd);
    v[h] = fast_two_sum(th, tl);
  }
  for (int h = 0; h < 2; ++h) {
    const DD t = atan2_pair(_mm_add_pd(y[h], y[h]), _mm_setzero_pd(), D[h].hi, D[h].lo);
    im[h] = _mm_mul_pd(_mm_add_pd(t.hi, t.lo), dv(0.5));
  }
  for (int h = 0; h < 2; ++h)
    re[h] = _mm_mul_pd(log_pair(v[h], _mm_castsi128_pd(_mm_set1_epi32(-1))), dv(0.25));
}

}  // namespace zev::vk::catrig
