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
// parts of asin and (when Acos) acos, both for x >= 0, and asin's imaginary
// part.
template <bool Acos>
inline void asin_first_d(__m128d x, __m128d y, __m128d& re_asin, __m128d& re_acos, __m128d& im) {
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
  re_asin = invtrig::atan2_d<Level::LA, false>(x, q);
  if constexpr (Acos) re_acos = invtrig::atan2_d<Level::LA, false>(q, x);
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

}  // namespace zev::vk::catrig
