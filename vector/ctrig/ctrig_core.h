// The block arithmetic of the complex circular and hyperbolic rows: sinh,
// cosh of one part and sin, cos of the other, each as a sum of two doubles,
// and the products that round once.
//
// e^a and e^-a from one reduction by the exponential family's double-double
// core (vector/exp/exp_dd.h), each within about 2^-60 of its value:
// sinh a = (e^a - e^-a)/2 above 1/4, below it the odd series a + a z P(z) to
// degree 15; cosh a = (e^a + e^-a)/2. sin t and cos t: the circular family's
// pair core (vector/trig/sincos_dd.h), normalised. A part, the product of two
// factors rounded once, is within 0.5 ulp + 2^-6 ulp.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/common/range.h"
#include "vector/exp/exp_dd.h"
#include "vector/trig/sincos_dd.h"
#include "vector/vops.h"

namespace zev::vk::ctrig {

struct CoreConst {
  __m128d one, quarter, sign, abs;
  __m128d s3, s5, s7, s9, s11, s13;  // sinh a = a + a z (s3 + z (s5 + ... + z s13)), a below 1/4
  __m128d bias_p, bias_m;            // exponent fields of 2^(m-1) and 2^(-mq-1): 1022 + m, 1022 - mq
};
alignas(16) inline constexpr CoreConst kCore = {
    .one = d2(1.0),
    .quarter = d2(0.25),                   // below it sinh by its series
    .sign = q2(0x8000000000000000ull),
    .abs = q2(0x7FFFFFFFFFFFFFFFull),
    .s3 = d2(1.0 / 6),
    .s5 = d2(1.0 / 120),
    .s7 = d2(1.0 / 5040),
    .s9 = d2(1.0 / 362880),
    .s11 = d2(1.0 / 39916800),
    .s13 = d2(1.0 / 6227020800),
    .bias_p = q2(1022),
    .bias_m = q2(1022),
};

inline DD scale(const DD& x, __m128d s) { return {_mm_mul_pd(x.hi, s), _mm_mul_pd(x.lo, s)}; }

// sinh a and cosh a as normalised pairs, 0 <= a <= 708 (so that 2^(m-1) is a
// normal number; 2^(-mq-1) may come out zero, where e^-a no longer counts).
inline void sinh_cosh(__m128d a, DD& sh, DD& ch) {
  const CoreConst& c = kCore;
  const expk::ExpPm e = expk::exp_pm(a);
  const __m128d up = _mm_castsi128_pd(_mm_slli_epi64(_mm_add_epi64(e.m, bits(c.bias_p)), 52));
  const __m128d dn = _mm_castsi128_pd(_mm_slli_epi64(_mm_sub_epi64(bits(c.bias_m), e.mq), 52));
  const DD p = scale(e.p, up), n = scale(e.n, dn);
  const DD cs = fast_two_sum(p.hi, n.hi);
  ch = fast_two_sum(cs.hi, _mm_add_pd(cs.lo, _mm_add_pd(p.lo, n.lo)));
  const DD ds = fast_two_sum(p.hi, _mm_xor_pd(n.hi, c.sign));
  const DD big = fast_two_sum(ds.hi, _mm_add_pd(ds.lo, _mm_sub_pd(p.lo, n.lo)));
  // The series below 1/4.
  const __m128d z = _mm_mul_pd(a, a);
  __m128d q = c.s13;
  q = _mm_add_pd(c.s11, _mm_mul_pd(z, q));
  q = _mm_add_pd(c.s9, _mm_mul_pd(z, q));
  q = _mm_add_pd(c.s7, _mm_mul_pd(z, q));
  q = _mm_add_pd(c.s5, _mm_mul_pd(z, q));
  q = _mm_add_pd(c.s3, _mm_mul_pd(z, q));
  const DD small = fast_two_sum(a, _mm_mul_pd(_mm_mul_pd(a, z), q));
  const __m128d lt = _mm_cmplt_pd(a, c.quarter);
  sh = {select(lt, small.hi, big.hi), select(lt, small.lo, big.lo)};
}

// sin t and cos t as normalised pairs, t finite (the large reduction inside).
inline void sin_cos(__m128d t, DD& s, DD& co) {
  const trig::CosSin p = trig::cos_sin(t);
  s = fast_two_sum(p.s.hi, p.s.lo);
  co = fast_two_sum(p.c.hi, p.c.lo);
}

// The four factors of the parts at h (the hyperbolic argument) and t (the
// circular one): sinh h with h's sign, cosh |h|, sin t and cos t, normalised.
inline void factors(__m128d h, __m128d t, DD& sh, DD& ch, DD& sn, DD& cs) {
  const __m128d sg = _mm_and_pd(h, kCore.sign);
  sinh_cosh(_mm_and_pd(h, kCore.abs), sh, ch);
  sh = {_mm_xor_pd(sh.hi, sg), _mm_xor_pd(sh.lo, sg)};
  sin_cos(t, sn, cs);
}

// f g rounded once; an exact zero keeps the sign of the leading product.
inline __m128d mul_round(const DD& f, const DD& g) {
  const DD p = two_prod(f.hi, g.hi);
  const __m128d v = _mm_add_pd(p.hi, _mm_add_pd(p.lo, _mm_add_pd(_mm_mul_pd(f.hi, g.lo), _mm_mul_pd(f.lo, g.hi))));
  return select(_mm_cmpeq_pd(p.hi, _mm_setzero_pd()), p.hi, v);
}

// The pair f g, not rounded.
inline DD mul_pair(const DD& f, const DD& g) {
  const DD p = two_prod(f.hi, g.hi);
  return {p.hi, _mm_add_pd(p.lo, _mm_add_pd(_mm_mul_pd(f.hi, g.lo), _mm_mul_pd(f.lo, g.hi)))};
}

// tanh(h + it) = (sinh h cosh h + i sin t cos t) / (sinh^2 h + cos^2 t): a sum
// of two squares below, so nothing cancels near the poles; the reciprocal of
// the denominator as a pair (one division and its exact residual), each part
// one product rounded once. |h| up to 20 (the squares stay far from
// overflow); Full false: the single rows' double arithmetic.
template <bool Full>
inline void tanh_parts(__m128d h, __m128d t, __m128d& re, __m128d& im) {
  DD sh, ch, sn, cs;
  factors(h, t, sh, ch, sn, cs);
  if constexpr (!Full) {
    const __m128d s = _mm_add_pd(sh.hi, sh.lo), c = _mm_add_pd(ch.hi, ch.lo);
    const __m128d sy = _mm_add_pd(sn.hi, sn.lo), cy = _mm_add_pd(cs.hi, cs.lo);
    const __m128d d = _mm_div_pd(kCore.one, _mm_add_pd(_mm_mul_pd(s, s), _mm_mul_pd(cy, cy)));
    re = _mm_mul_pd(_mm_mul_pd(s, c), d);
    im = _mm_mul_pd(_mm_mul_pd(sy, cy), d);
  } else {
    const DD s2 = mul_pair(sh, sh), c2 = mul_pair(cs, cs);
    const DD ds = two_sum(s2.hi, c2.hi);
    const DD dn = fast_two_sum(ds.hi, _mm_add_pd(ds.lo, _mm_add_pd(s2.lo, c2.lo)));
    // 1/d: y = 1/dh, and the residual 1 - y d exactly enough.
    const __m128d y = _mm_div_pd(kCore.one, dn.hi);
    const DD p = two_prod(y, dn.hi);
    const __m128d e = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(kCore.one, p.hi), p.lo), _mm_mul_pd(y, dn.lo));
    const DD inv = {y, _mm_mul_pd(y, e)};
    re = mul_round(mul_pair(sh, ch), inv);
    im = mul_round(mul_pair(sn, cs), inv);
  }
}

inline DD neg(const DD& x) {
  const __m128d s = kCore.sign;
  return {_mm_xor_pd(x.hi, s), _mm_xor_pd(x.lo, s)};
}

// Lanes the vector path does not serve: it serves the hyperbolic part zero or
// |h| in [2^-900, 690) (HiWord 0x40859000; below 690 cosh stays under 2^996,
// where Dekker's split of a factor cannot overflow; Tanh takes 20), the
// circular part zero or |t| in [2^-900, 2^1024).
template <uint32_t HiWord = 0x40859000u>
inline __m128d not_served(__m128d h, __m128d t) {
  static constexpr Range32 kH = range32(0x07B00000u, HiWord - 1), kT = range32(0x07B00000u, 0x7FEFFFFFu);
  const __m128d zero = _mm_setzero_pd();
  const __m128d oh = _mm_andnot_pd(_mm_cmpeq_pd(h, zero), _mm_castsi128_pd(zev::vk::outside(abs_high_words(h), kH)));
  const __m128d ot = _mm_andnot_pd(_mm_cmpeq_pd(t, zero), _mm_castsi128_pd(zev::vk::outside(abs_high_words(t), kT)));
  return _mm_or_pd(oh, ot);
}

}  // namespace zev::vk::ctrig
