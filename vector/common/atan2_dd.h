// atan2(y, x) in radians as a pair hi + lo within about 2^-58 relative, on two
// double lanes, with one division and no estimate: for the complex Arg and
// logarithms, whose results are rounded once from it.
//
// With m = min(|y|, |x|) and M = max, atan(m/M) = atan c + atan t', where
// t' = (m - c M)/(M + c m) and c is one of 0, 1/4, 1/2, 1, chosen by m/M at
// the bounds 1/8, 3/8 and 23/32, so that |t'| <= 0.164. Each c is a power of
// two (or 0): c M and c m are exact, and m - c M is exact by Sterbenz's
// lemma (m lies in [c M / 2, 2 c M] on each row but the first, where c = 0).
// M + c m is a pair by Fast2Sum. The quotient: q = N (1/D), cut to 26 bits
// (q0), so that q0 times the halves of D (cut by the mask) is exact; the
// residual N - q0 D over D gives the rest ql (|ql| < 2^-25 |q0|). atan t' =
// t' + t' z Q(z), z = t'^2, with Q the Taylor series to t'^19 (the next term is
// below 2^-58 of the result on every row). The result is C + (fl ? -v : v),
// v = atan c + atan t', C in {0, pi/2, pi} as for any atan2, one Fast2Sum.
//
// Range: both parts zero or in [2^-1019, 2^993), and the smaller part zero or
// at least 2^-960 of the larger (atan2_dd_tiny marks the lanes below): there
// every intermediate is normal or an exact zero, so that flushing subnormals
// to zero changes nothing, and the 26-bit head q0 never loses its rest ql.
#pragma once

#include <emmintrin.h>

#include "vector/common/consts.h"
#include "vector/common/estrin.h"
#include "vector/common/exact.h"
#include "vector/vops.h"

namespace zev::vk {

struct Atan2DDConst {
  __m128d sign, cut, quarter, half, one, b1, b2, b3, tiny;
  __m128d a1h, a1l, a2h, a2l, a3h, a3l;  // atan 1/4, atan 1/2, atan 1 (= pi/4) as pairs
  __m128d pi2h, pi2l, pih, pil;
  __m128d q[9];                          // -1/3, 1/5, -1/7, ..., -1/19
};
inline constexpr Atan2DDConst kAtan2DD = {
    .sign = d2(-0.0),
    .cut = q2(0xFFFFFFFFF8000000ull),  // the head of 26 significant bits
    .quarter = d2(0.25),
    .half = d2(0.5),
    .one = d2(1.0),
    .b1 = d2(0.125),  // the bounds of m/M between the rows
    .b2 = d2(0.375),
    .b3 = d2(0.71875),
    .tiny = d2(0x1p-960),  // the least ratio m/M of the range
    .a1h = d2(0x1.f5b75f92c80ddp-3),
    .a1l = d2(0x1.8ab6e3cf7afbdp-57),
    .a2h = d2(0x1.dac670561bb4fp-2),
    .a2l = d2(0x1.a2b7f222f65e2p-56),
    .a3h = d2(0x1.921fb54442d18p-1),
    .a3l = d2(0x1.1a62633145c07p-55),
    .pi2h = d2(0x1.921fb54442d18p+0),
    .pi2l = d2(0x1.1a62633145c07p-54),
    .pih = d2(0x1.921fb54442d18p+1),
    .pil = d2(0x1.1a62633145c07p-53),
    .q = {d2(-1.0 / 3), d2(1.0 / 5), d2(-1.0 / 7), d2(1.0 / 9), d2(-1.0 / 11), d2(1.0 / 13), d2(-1.0 / 15),
          d2(1.0 / 17), d2(-1.0 / 19)},
};

// atan(m/M) for 0 <= m <= M, m = mh + ml and M = Mh + Ml pairs (the low
// parts below an ulp of the high ones, or zero), as vh + vl (|vl| below
// 2^-25 |vh|). The row is chosen on the high parts; m - c M is exact in the
// high parts and a pair with the low ones.
template <bool Pairs>
inline DD atan_ratio_dd(__m128d mh, __m128d ml, __m128d Mh, __m128d Ml) {
  const Atan2DDConst& k = kAtan2DD;
  const __m128d r1 = _mm_cmpgt_pd(mh, _mm_mul_pd(Mh, k.b1));
  const __m128d r2 = _mm_cmpgt_pd(mh, _mm_mul_pd(Mh, k.b2));
  const __m128d r3 = _mm_cmpgt_pd(mh, _mm_mul_pd(Mh, k.b3));
  const __m128d c = select(r3, k.one, select(r2, k.half, _mm_and_pd(r1, k.quarter)));
  const __m128d ah = select(r3, k.a3h, select(r2, k.a2h, _mm_and_pd(r1, k.a1h)));
  const __m128d al = select(r3, k.a3l, select(r2, k.a2l, _mm_and_pd(r1, k.a1l)));
  DD n{_mm_sub_pd(mh, _mm_mul_pd(c, Mh)), _mm_setzero_pd()};  // exact
  DD d = fast_two_sum(Mh, _mm_mul_pd(c, mh));
  if constexpr (Pairs) {
    n = two_sum(n.hi, _mm_sub_pd(ml, _mm_mul_pd(c, Ml)));
    d.lo = _mm_add_pd(d.lo, _mm_add_pd(Ml, _mm_mul_pd(c, ml)));
  }
  const __m128d rd = _mm_div_pd(k.one, d.hi);
  const __m128d q0 = _mm_and_pd(_mm_mul_pd(n.hi, rd), k.cut);
  const __m128d dh = _mm_and_pd(d.hi, k.cut), dl = _mm_sub_pd(d.hi, dh);
  // n - q0 d.hi: the first difference exact, the second within 2^-78 |n|.
  const __m128d e = _mm_sub_pd(_mm_sub_pd(n.hi, _mm_mul_pd(q0, dh)), _mm_mul_pd(q0, dl));
  const __m128d en = Pairs ? _mm_add_pd(e, n.lo) : e;
  const __m128d ql = _mm_mul_pd(_mm_sub_pd(en, _mm_mul_pd(q0, d.lo)), rd);
  const __m128d t = _mm_add_pd(q0, ql);
  const __m128d z = _mm_mul_pd(t, t);
  const __m128d p = _mm_mul_pd(_mm_mul_pd(t, z), estrin(k.q, z));
  const DD s = fast_two_sum(ah, q0);
  return {s.hi, _mm_add_pd(s.lo, _mm_add_pd(al, _mm_add_pd(ql, p)))};
}

// C + (fl ? -v : v): C pi/2 where |y| > |x| (g), else pi where x's sign bit
// is set, else 0; v is subtracted where exactly one of the two holds.
inline DD atan2_branch(DD v, __m128d g, __m128d x) {
  const Atan2DDConst& k = kAtan2DD;
  const __m128d xs = _mm_and_pd(x, k.sign);
  const __m128d xneg = _mm_castsi128_pd(_mm_shuffle_epi32(_mm_srai_epi32(_mm_castpd_si128(x), 31), 0xF5));
  const __m128d ch = select(g, k.pi2h, _mm_and_pd(xneg, k.pih));
  const __m128d cl = select(g, k.pi2l, _mm_and_pd(xneg, k.pil));
  const __m128d fl = _mm_xor_pd(_mm_and_pd(g, k.sign), xs);
  const DD s = fast_two_sum(ch, _mm_xor_pd(v.hi, fl));
  return {s.hi, _mm_add_pd(s.lo, _mm_add_pd(cl, _mm_xor_pd(v.lo, fl)))};
}

// Lanes whose smaller part is not zero but below 2^-960 of the larger: their
// rest ql could fall below the normal range.
inline __m128d atan2_dd_tiny(__m128d y, __m128d x) {
  const Atan2DDConst& k = kAtan2DD;
  const __m128d ay = _mm_andnot_pd(k.sign, y), ax = _mm_andnot_pd(k.sign, x);
  const __m128d m = _mm_min_pd(ay, ax);
  return _mm_and_pd(_mm_cmplt_pd(m, _mm_mul_pd(_mm_max_pd(ay, ax), k.tiny)), _mm_cmpneq_pd(m, _mm_setzero_pd()));
}

// atan2(y, x) as a pair, the sign of y on both parts.
inline DD atan2_dd(__m128d y, __m128d x) {
  const Atan2DDConst& k = kAtan2DD;
  const __m128d ay = _mm_andnot_pd(k.sign, y), ax = _mm_andnot_pd(k.sign, x);
  const __m128d z = _mm_setzero_pd();
  const DD v = atan_ratio_dd<false>(_mm_min_pd(ay, ax), z, _mm_max_pd(ay, ax), z);
  const DD r = atan2_branch(v, _mm_cmpgt_pd(ay, ax), x);
  const __m128d sy = _mm_and_pd(y, k.sign);
  return {_mm_xor_pd(r.hi, sy), _mm_xor_pd(r.lo, sy)};
}

// atan2(yh + yl, xh + xl) as a pair for a positive y (yh > 0) and x of
// either sign (xh may be zero), in [0, pi].
inline DD atan2_dd(__m128d yh, __m128d yl, __m128d xh, __m128d xl) {
  const Atan2DDConst& k = kAtan2DD;
  const __m128d xs = _mm_and_pd(xh, k.sign);
  const __m128d axh = _mm_xor_pd(xh, xs), axl = _mm_xor_pd(xl, xs);
  const __m128d g = _mm_cmpgt_pd(yh, axh);
  const DD v = atan_ratio_dd<true>(select(g, axh, yh), select(g, axl, yl), select(g, yh, axh), select(g, yl, axl));
  return atan2_branch(v, g, xh);
}

}  // namespace zev::vk
