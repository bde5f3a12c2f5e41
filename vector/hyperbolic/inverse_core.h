// The block arithmetic of double Asinh and Acosh, with the reciprocal square
// root estimate as a template parameter: the kernels use HwEstimate, the tests
// the same code with modelled worst estimates (tests/support/estimate_model.h).
//
// asinh a = log(a + sqrt(a^2 + 1)), acosh x = log(x + sqrt((x - 1)(x + 1))),
// the argument of the logarithm held as a sum of two doubles:
//   q = a^2 + 1, or t^2 + 2t with t = x - 1 (exact), as qh + ql, the square
//   from the split mask's 12-bit head;
//   y = the estimate of 1/sqrt(qh), cut to 12 significant bits by the split
//   mask, so y^2 is exact; qh = qhh + qhl with qhh of 12 bits, so qhh y^2 is
//   exact and e = 1 - q y^2 = (1 - qhh y^2) - (qhl + ql) y^2 has its first
//   term exact (Sterbenz);
//   sqrt q = q y (1 - e)^(-1/2), the series 1 + e (1/2 + e (3/8 + e (5/16 +
//   e (35/128 + e 63/256)))) (in Acosh the last two fitted);
//   q y = qhh y (exact) + (qhl + ql) y.
// |e| stays below 2^-9.3 for any estimate within the promised 1.5 * 2^-12
// (the cut adds 2^-12), so the series' tail is below 2^-58. The logarithm is
// the shared double-double core of the log family, which takes the argument's
// low part as a correction.
//
// From 2^30 on, the 1 (or the -1) beside x^2 is below 2^-60 of it: the
// logarithm is of x, plus ln2. Asinh below 2^-6 is its Taylor series. The square root is then formed from x clamped
// to 2^30, so no lane overflows and the estimate's input, a single, stays in
// [2^-51, 2^61]: every intermediate of the ordinary range is normal, whatever
// the estimate and whatever the flush mode.
#pragma once

#include <emmintrin.h>

#include <cfloat>

#include "vector/common/exact.h"
#include "vector/estimate.h"
#include "vector/log/log_core.h"

namespace zev::vk::hyp {

struct InvConst {
  __m128d split, lim, big, one, two, quarter, s1, s2, s3, s4, s5, s4c, s5c, ln2hi, ln2lo, sign, small, tiny, p1,
      p2, p3, p4, p5;
};
inline constexpr InvConst kInv = {
    .split = __m128d{__builtin_bit_cast(double, 0xFFFFFE0000000000ull),
                     __builtin_bit_cast(double, 0xFFFFFE0000000000ull)},  // mask: keeps 12 significant bits
    .lim = __m128d{1073741824.0, 1073741824.0},                      // 2^30: beyond it, log x + ln2
    .big = __m128d{1.7976931348623157e+308, 1.7976931348623157e+308},  // the largest finite number
    .one = __m128d{1.0, 1.0},
    .two = __m128d{2.0, 2.0},
    .quarter = __m128d{0.25, 0.25},
    .s1 = __m128d{0.5, 0.5},  // (1 - e)^(-1/2) - 1 = e (s1 + e (s2 + e (s3 + e (s4 + e s5))))
    .s2 = __m128d{0.375, 0.375},
    .s3 = __m128d{0.3125, 0.3125},
    .s4 = __m128d{0.2734375, 0.2734375},
    .s5 = __m128d{0.24609375, 0.24609375},
    .s4c = __m128d{0.27343751848758524, 0.27343751848758524},  // Acosh: s4 and s5 fitted
    .s5c = __m128d{0.24609376763339827, 0.24609376763339827},
    // 3 ln2 in two parts, the high one of 44 bits: beyond 2^30 the logarithm is
    // of x/4 (whose exponent the log core's scale can always take), plus 3 ln2.
    .ln2hi = __m128d{3 * logpow::kLn2_hi, 3 * logpow::kLn2_hi},
    .ln2lo = __m128d{3 * logpow::kLn2_lo, 3 * logpow::kLn2_lo},
    .sign = __m128d{-0.0, -0.0},
    // Asinh below 2^-6, where the square root's error (2^-65 of 1) would show
    // against a small result: a + a z (p1 + z (p2 + ... + z p5)), z = a^2, the
    // Taylor series to a^11; the first term left out is below 2^-64 of a.
    .small = __m128d{0x1p-6, 0x1p-6},
    .tiny = __m128d{0x1p-53, 0x1p-53},
    .p1 = __m128d{-1.0 / 6, -1.0 / 6},
    .p2 = __m128d{3.0 / 40, 3.0 / 40},
    .p3 = __m128d{-15.0 / 336, -15.0 / 336},
    .p4 = __m128d{105.0 / 3456, 105.0 / 3456},
    .p5 = __m128d{-945.0 / 42240, -945.0 / 42240},
};

// v^2 as hi + lo: hi = vh^2 exact for vh, v cut to 12 significant bits by the
// split mask, and lo = (v - vh)(v + vh), a term below 2^-10 of hi rounded once.
inline DD square(__m128d v) {
  const __m128d vh = _mm_and_pd(v, kInv.split);
  return {_mm_mul_pd(vh, vh), _mm_mul_pd(_mm_sub_pd(v, vh), _mm_add_pd(v, vh))};
}

// sqrt(qh + ql) as hi + lo, qh in [2^-52, 2^61].
template <class E, bool Fitted>
inline DD sqrt_dd(__m128d qh, __m128d ql) {
  const InvConst& c = kInv;
  const __m128 qs = _mm_cvtpd_ps(qh);
  const __m128d y = _mm_and_pd(_mm_cvtps_pd(E::rsqrt(qs)), c.split);
  const __m128d y2 = _mm_mul_pd(y, y);  // exact
  const __m128d qhh = _mm_and_pd(qh, c.split);
  const __m128d qrest = _mm_add_pd(_mm_sub_pd(qh, qhh), ql);
  const __m128d e = _mm_sub_pd(_mm_sub_pd(c.one, _mm_mul_pd(qhh, y2)), _mm_mul_pd(qrest, y2));
  __m128d g = _mm_add_pd(Fitted ? c.s4c : c.s4, _mm_mul_pd(e, Fitted ? c.s5c : c.s5));
  g = _mm_add_pd(c.s3, _mm_mul_pd(e, g));
  g = _mm_add_pd(c.s2, _mm_mul_pd(e, g));
  g = _mm_add_pd(c.s1, _mm_mul_pd(e, g));
  g = _mm_mul_pd(e, g);
  const __m128d h0 = _mm_mul_pd(qhh, y);  // exact
  const __m128d t1 = _mm_mul_pd(qrest, y);
  const __m128d rest = _mm_add_pd(t1, _mm_add_pd(_mm_mul_pd(h0, g), _mm_mul_pd(t1, g)));
  return fast_two_sum(h0, rest);
}

// log(H + L) for the argument as an unnormalised sum (xm + root) and, with
// Big, in the lanes marked big, log(x/4) + 3 ln2. Without Big no lane is.
template <bool Big>
inline __m128d log_of_sum(__m128d xm, DD root, __m128d x, __m128d big) {
  const InvConst& c = kInv;
  const DD u = two_sum(xm, root.hi);
  const DD v = fast_two_sum(u.hi, _mm_add_pd(u.lo, root.lo));
  if constexpr (!Big) {
    const DD lg = logpow::log_ha<true>(v.hi, v.lo);
    return _mm_add_pd(lg.hi, lg.lo);
  } else {
    const __m128d h = _mm_or_pd(_mm_and_pd(big, _mm_mul_pd(x, c.quarter)), _mm_andnot_pd(big, v.hi));
    const __m128d l = _mm_andnot_pd(big, v.lo);
    const DD lg = logpow::log_ha<true>(h, l);
    const DD s = fast_two_sum(lg.hi, _mm_and_pd(big, c.ln2hi));
    return _mm_add_pd(s.hi, _mm_add_pd(_mm_add_pd(s.lo, lg.lo), _mm_and_pd(big, c.ln2lo)));
  }
}

// The rare lanes cost only the blocks that hold them: the scaled logarithm
// from 2^30 on and asinh's series below 2^-6 run where a lane needs them,
// tested by one mask move each.

// asinh x. Special: NaN and infinities, and |x| below 2^-53, where asinh
// rounds to x (and the square and the series would go subnormal from 2^-341
// down).
template <class E>
struct AsinhD {
  static __m128d eval(__m128d x, __m128d& special) {
    const InvConst& c = kInv;
    const __m128d ax = _mm_andnot_pd(c.sign, x);
    special = _mm_or_pd(_mm_cmpnle_pd(ax, c.big), _mm_cmplt_pd(ax, c.tiny));
    // Special lanes compute on 2 instead, so that nothing below raises a flag.
    const __m128d a = _mm_or_pd(_mm_and_pd(special, c.two), _mm_andnot_pd(special, ax));
    const __m128d big = _mm_cmpge_pd(a, c.lim);
    const __m128d am = _mm_min_pd(a, c.lim);
    const DD p = square(am);
    const DD q = fast_two_sum(_mm_max_pd(c.one, p.hi), _mm_min_pd(c.one, p.hi));
    const DD root = sqrt_dd<E, false>(q.hi, _mm_add_pd(q.lo, p.lo));
    __m128d y = _mm_movemask_pd(big) ? log_of_sum<true>(am, root, a, big) : log_of_sum<false>(am, root, a, big);
    const __m128d m = _mm_cmplt_pd(a, c.small);
    if (__builtin_expect(_mm_movemask_pd(m) != 0, 0)) {
      const __m128d z = _mm_add_pd(p.hi, p.lo);
      __m128d s = _mm_add_pd(c.p4, _mm_mul_pd(z, c.p5));
      s = _mm_add_pd(c.p3, _mm_mul_pd(z, s));
      s = _mm_add_pd(c.p2, _mm_mul_pd(z, s));
      s = _mm_add_pd(c.p1, _mm_mul_pd(z, s));
      const __m128d ys = _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, z), s));
      y = _mm_or_pd(_mm_and_pd(m, ys), _mm_andnot_pd(m, y));
    }
    return _mm_or_pd(y, _mm_and_pd(c.sign, x));
  }
};

// acosh x. Special: x <= 1, infinities and NaN.
template <class E>
struct AcoshD {
  static __m128d eval(__m128d x, __m128d& special) {
    const InvConst& c = kInv;
    special = _mm_or_pd(_mm_cmpngt_pd(x, c.one), _mm_cmpnle_pd(x, c.big));
    const __m128d xs = _mm_or_pd(_mm_and_pd(special, c.two), _mm_andnot_pd(special, x));
    const __m128d big = _mm_cmpge_pd(xs, c.lim);
    const __m128d xm = _mm_min_pd(xs, c.lim);
    const __m128d t = _mm_sub_pd(xm, c.one);  // exact
    const DD p = square(t);
    const __m128d t2 = _mm_add_pd(t, t);
    const DD q = two_sum(t2, p.hi);
    const DD root = sqrt_dd<E, true>(q.hi, _mm_add_pd(q.lo, p.lo));
    return _mm_movemask_pd(big) ? log_of_sum<true>(xm, root, xs, big) : log_of_sum<false>(xm, root, xs, big);
  }
};

}  // namespace zev::vk::hyp
