// Complex division, single and double.
//
// zDiv (every level): inside the range test, the denominator c^2 + d^2 as a
// sum of two doubles, one division for its reciprocal and a Newton step with
// the exact residual, numerators as double sums of exact products; other
// elements go to the scalar function.
// cDiv at HA and LA: a scalar loop in x87 arithmetic at 53-bit precision,
// whose wide exponent range holds every intermediate of single inputs.
// cDiv at EP: the same formula in SSE2 doubles, four elements a block.
#include <emmintrin.h>

#include <cmath>

#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/common/flag_hold.h"
#include "vector/common/range.h"
#include "vector/complex/ckernel.h"
#include "vector/complex/scalar.h"
#include "vector/vops.h"

namespace zev::vk::cx {
namespace {

struct DivConst {
  Range32 z_safe;  // double parts within [2^-459, 1.38 * 2^471]: nothing over- or underflows
  Range32 z_low;   // result parts zero or from 2^-968: the low terms of the quotient stay normal
  __m128d one, neg;
  __m128 s_exp;        // exponent field of a single
};
inline constexpr DivConst kDiv = {
    .z_safe = range32_abs(0x23400000u, 0x5D6306FDu),
    // On the high word shifted left once: 0 (a zero part, or a subnormal one
    // below 2^-1042) or 2 * 0x03700000 and up, by a range that wraps.
    .z_low = range32(2 * 0x03700000u, 1u),
    .one = d2(1.0),
    .neg = d2(-0.0),
    .s_exp = u4(0x7F800000u),
};

struct ZDiv {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr const char* kName = "vzDiv";
  // Within the range nothing overflows, and nothing underflows while the
  // result parts are zero or from 2^-968, the second test: every flag but
  // inexact comes from a flagged element.
  static constexpr uint32_t kDropFlags = kFlagsExact;
  static unsigned eval(const V (&x)[4], const V (&y)[4], V (&r)[4]) {
    // The range test of the block: the high words of all sixteen parts in
    // four vectors, one compare each.
    __m128i out[2];
    for (int h = 0; h < 2; ++h)
      out[h] = _mm_or_si128(outside_abs(high_words2(x[2 * h], x[2 * h + 1]), kDiv.z_safe),
                            outside_abs(high_words2(y[2 * h], y[2 * h + 1]), kDiv.z_safe));
    for (int h = 0; h < 2; ++h) {
      V a, b, c, d;
      split_parts(x[2 * h], x[2 * h + 1], a, b);
      split_parts(y[2 * h], y[2 * h + 1], c, d);
      // S + Sl = c^2 + d^2.
      const Halves ha = halves(a), hb = halves(b), hc = halves(c), hd = halves(d);
      const DD cc = prod(hc, hc), dd = prod(hd, hd);
      const DD s0 = two_sum(cc.hi, dd.hi);
      const DD s = fast_two_sum(s0.hi, _mm_add_pd(s0.lo, _mm_add_pd(cc.lo, dd.lo)));
      // y + yl = 1 / (S + Sl): one division, one step on the exact residual.
      const Halves q = halves(_mm_div_pd(kDiv.one, s.hi));
      const DD qs = prod(q, halves(s.hi));
      const V res = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(kDiv.one, qs.hi), qs.lo), _mm_mul_pd(q.v, s.lo));
      const V ql = _mm_mul_pd(q.v, res);
      // Numerators a c + b d and b c - a d as double sums, times y + yl.
      auto quot = [&](DD p, DD t) {
        const DD u = two_sum(p.hi, t.hi);
        const DD n = fast_two_sum(u.hi, _mm_add_pd(u.lo, _mm_add_pd(p.lo, t.lo)));
        const DD h0 = prod(halves(n.hi), q);
        return _mm_add_pd(h0.hi, _mm_add_pd(h0.lo, _mm_add_pd(_mm_mul_pd(n.hi, ql), _mm_mul_pd(n.lo, q.v))));
      };
      const DD ac = prod(ha, hc), bd = prod(hb, hd), bc = prod(hb, hc), ad = prod(ha, hd);
      const V re = quot(ac, bd);
      const V im = quot(bc, {_mm_xor_pd(ad.hi, kDiv.neg), _mm_xor_pd(ad.lo, kDiv.neg)});
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    unsigned lanes = 0;
    for (int h = 0; h < 2; ++h) {
      const __m128i low = outside(_mm_slli_epi32(high_words2(r[2 * h], r[2 * h + 1]), 1), kDiv.z_low);
      lanes |= static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_or_si128(out[h], low)))) << (4 * h);
    }
    return pairs_to_elems(lanes);
  }
  static int scalar(const C* a, const C* b, C* r) { return zdiv_full(a, b, r); }
};

// Single parts that are zero, subnormal, infinite or NaN.
inline __m128 exp_edge(__m128 x) {
  const __m128i e = _mm_and_si128(bits(x), bits(kDiv.s_exp));
  return _mm_castsi128_ps(_mm_or_si128(_mm_cmpeq_epi32(e, _mm_setzero_si128()), _mm_cmpeq_epi32(e, bits(kDiv.s_exp))));
}

// cDiv at EP: products of singles are exact in double, and double holds every
// intermediate; an element with a zero, subnormal, infinite or NaN part, or an
// infinite single result, goes to the scalar function.
struct CDivEP {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr const char* kName = "vcDiv";
  static unsigned eval(const V (&a)[2], const V (&b)[2], V (&r)[2]) {
    V m[2];
    for (int k = 0; k < 2; ++k) {
      __m128d out[2];
      for (int e = 0; e < 2; ++e) {
        const __m128d x = _mm_cvtps_pd(e ? _mm_movehl_ps(a[k], a[k]) : a[k]);  // (a, b)
        const __m128d y = _mm_cvtps_pd(e ? _mm_movehl_ps(b[k], b[k]) : b[k]);  // (c, d)
        const __m128d t = _mm_mul_pd(y, y);
        const __m128d w = _mm_div_pd(kDiv.one, _mm_add_pd(t, _mm_shuffle_pd(t, t, 1)));
        const __m128d yr = _mm_unpacklo_pd(y, y);
        const __m128d yi = _mm_xor_pd(_mm_unpackhi_pd(y, y), _mm_set_pd(-0.0, 0.0));  // (d, -d)
        const __m128d num = _mm_add_pd(_mm_mul_pd(x, yr), _mm_mul_pd(_mm_shuffle_pd(x, x, 1), yi));
        out[e] = _mm_mul_pd(num, w);
      }
      r[k] = _mm_movelh_ps(_mm_cvtpd_ps(out[0]), _mm_cvtpd_ps(out[1]));
      const __m128 inf = _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(bits(r[k]), bits(kDiv.s_exp)), bits(kDiv.s_exp)));
      m[k] = _mm_or_ps(_mm_or_ps(exp_edge(a[k]), exp_edge(b[k])), inf);
    }
    return elem_mask(m[0]) | (elem_mask(m[1]) << 2);
  }
  static int scalar(const C* a, const C* b, C* r) { return cdiv_full(a, b, r); }
};

// ---- cDiv at HA and LA: the x87 loop --------------------------------------------

// 53-bit precision, every exception masked, for the loop's length; the field
// 0x0F3F (masks, precision and rounding) is compared first and the caller's
// word comes back if it was changed.
class X87Double {
 public:
  X87Double() : cw_(x87_control()) {
    if ((cw_ & 0x0F3F) != 0x023F) {
      x87_load_control(static_cast<uint16_t>((cw_ & ~0x0F3F) | 0x023F));
      changed_ = true;
    }
  }
  ~X87Double() {
    if (changed_) x87_load_control(cw_);
  }

 private:
  uint16_t cw_;
  bool changed_ = false;
};

inline bool edge(float x) { return x == 0.0f || !std::isfinite(x); }

void cdiv_x87(int n, const zev_complex8* a, int ia, const zev_complex8* b, int ib, zev_complex8* r, int ir) {
  FpGuard env;
  if (n <= 0) return;
  X87Double precision;
  for (long i = 0; i < n; ++i) {
    const zev_complex8 x = a[i * ia], y = b[i * ib];
    zev_complex8 z;
    int st;
    if (edge(x.re) || edge(x.im) || edge(y.re) || edge(y.im)) {
      st = cdiv_full(&x, &y, &z);
    } else {
      const long double p = x.re, q = x.im, c = y.re, d = y.im;
      const long double w = 1.0L / (d * d + c * c);
      z.re = static_cast<float>((q * d + p * c) * w);
      z.im = static_cast<float>((q * c - p * d) * w);
      st = std::isinf(z.re) || std::isinf(z.im) ? 3 : 0;
    }
    r[i * ir] = z;
    if (st == 0) continue;
    if (ia == 1 && ib == 1 && ir == 1)
      vqm_report_c(st, static_cast<int>(i), a, b, r, r, "vcDiv");
    else
      vqm_report_ci(st, static_cast<int>(i), a, ia, b, ib, r, ir, r, ir, "vcDiv");
  }
}

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zDiv, laha, ZDiv)
ZEV_CKERNELS(zDiv, ep, ZDiv)
ZEV_CKERNELS(cDiv, ep, CDivEP)

static_assert((zev::row::kKernelLevels[zev::row::cDiv] & zev::vk::kLevel_laha) != 0);
extern "C" void zev_k_cDiv_laha(ZEV_PARAMS_cDiv) { cdiv_x87(n, a, 1, b, 1, r, 1); }
extern "C" void zev_k_cDivI_laha(ZEV_PARAMS_cDivI) {
  if (inca == 1 && incb == 1 && incr == 1) return zev::slot<zev::kt::cDiv>(zev::row::cDiv, zev::vk::kSlot_laha)(n, a, b, r);
  cdiv_x87(n, a, inca, b, incb, r, incr);
}
