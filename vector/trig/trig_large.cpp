// The large-argument reduction of the circular kernels, in integer vector
// arithmetic: a = m 2^(e - 1075) with a 53-bit m, and R(e) the 192 bits of
// 2^(192 + e - 1075) / (2 pi) that matter modulo one turn, so that m R(e)
// modulo 2^192 is the fraction of a turn times 2^192. The product is built
// from 32x32-to-64-bit multiplications in 32-bit columns; its top 128 bits
// become the row (the fraction rounded to 1/512) and a remainder of three
// exact doubles, which a multiplication by 2 pi in double-double turns into
// r + e radians.
#include "vector/trig/trig_common.h"

namespace zev::vk::trig {
namespace {

struct LargeConst {
  __m128d low32, frac, one, s43, g0, l0, mask27, h, l, t;
};
alignas(16) constexpr LargeConst kL = {
    .low32 = q2(0x00000000FFFFFFFF),  // the low word of a lane
    .frac = q2(0x000FFFFFFFFFFFFF),   // the significand field
    .one = q2(0x3FF0000000000000),    // 1.0: h = 1 + the fraction's top 52 bits
    .s43 = d2(13194139533312.0),      // 1.5 * 2^43: rounds h to 1/512, the row in the low 9 bits
    .g0 = q2(0x3CB0000000000000),     // 2^-52: g carries fraction bits 53 to 104
    .l0 = q2(0x3970000000000000),     // 2^-104: l carries fraction bits 105 to 128
    .mask27 = q2(0xFFFFFFFFF8000000), // keeps 26 significant bits: products with h exact
    .h = q2(0x401921FB54000000),      // 2 pi, high part
    .l = q2(0x3E310B4611A62633),      // 2 pi, low part
    .t = q2(0x401921FB54442D18),      // 2 pi whole
};

inline __m128i lo32(__m128i v) { return _mm_and_si128(v, bits(kL.low32)); }
inline __m128i hi32(__m128i v) { return _mm_srli_epi64(v, 32); }

}  // namespace

void reduce_large(__m128d a, __m128d large, Reduced& red) {
  const LargeConst& c = kL;
  const __m128i ab = _mm_castpd_si128(a);
  const __m128i ex = _mm_srli_epi64(ab, 52);
  const unsigned e0 = static_cast<unsigned>(_mm_cvtsi128_si64(ex)) & 0x7FF;
  const unsigned e1 = static_cast<unsigned>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(ex, ex))) & 0x7FF;
  const uint64_t* t0 = trigdata::kInvTwoPi64[e0];
  const uint64_t* t1 = trigdata::kInvTwoPi64[e1];
  // R's six 32-bit words, w5 most significant; _mm_mul_epu32 reads the low word of a lane.
  const __m128i a01 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t0));
  const __m128i b01 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t1));
  const __m128i k0 = _mm_unpacklo_epi64(a01, b01), k1 = _mm_unpackhi_epi64(a01, b01);
  const __m128i k2 = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(t0 + 2)),
                                        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(t1 + 2)));
  const __m128i w5 = hi32(k0), w4 = k0, w3 = hi32(k1), w2 = k1, w1 = hi32(k2), w0 = k2;
  // m = M1 2^32 + M0, M1 of 21 bits.
  const __m128i mm = _mm_add_epi64(_mm_and_si128(ab, bits(c.frac)), _mm_set1_epi64x(0x0010000000000000LL));
  const __m128i M0 = mm, M1 = hi32(mm);
  const __m128i p00 = _mm_mul_epu32(M0, w0), p01 = _mm_mul_epu32(M0, w1), p02 = _mm_mul_epu32(M0, w2),
                p03 = _mm_mul_epu32(M0, w3), p04 = _mm_mul_epu32(M0, w4), p05 = _mm_mul_epu32(M0, w5);
  const __m128i p10 = _mm_mul_epu32(M1, w0), p11 = _mm_mul_epu32(M1, w1), p12 = _mm_mul_epu32(M1, w2),
                p13 = _mm_mul_epu32(M1, w3), p14 = _mm_mul_epu32(M1, w4);
  // Column sums of four words each (below 2^34), then the carries upward.
  // Column 0 is the low word of p00 alone and carries nothing.
  __m128i c1 = _mm_add_epi64(_mm_add_epi64(lo32(p01), hi32(p00)), lo32(p10));
  __m128i c2 = _mm_add_epi64(_mm_add_epi64(lo32(p02), hi32(p01)), _mm_add_epi64(lo32(p11), hi32(p10)));
  __m128i c3 = _mm_add_epi64(_mm_add_epi64(lo32(p03), hi32(p02)), _mm_add_epi64(lo32(p12), hi32(p11)));
  __m128i c4 = _mm_add_epi64(_mm_add_epi64(lo32(p04), hi32(p03)), _mm_add_epi64(lo32(p13), hi32(p12)));
  __m128i c5 = _mm_add_epi64(_mm_add_epi64(lo32(p05), hi32(p04)), _mm_add_epi64(lo32(p14), hi32(p13)));
  c2 = _mm_add_epi64(c2, hi32(c1));
  c3 = _mm_add_epi64(c3, hi32(c2));
  c4 = _mm_add_epi64(c4, hi32(c3));
  c5 = _mm_add_epi64(c5, hi32(c4));
  const __m128i F0 = _mm_or_si128(_mm_slli_epi64(c5, 32), lo32(c4));
  const __m128i F1 = _mm_or_si128(_mm_slli_epi64(c3, 32), lo32(c2));
  // The fraction as three exact doubles: h in [1, 2), g, l.
  const __m128d h = dv(_mm_or_si128(bits(c.one), _mm_srli_epi64(F0, 12)));
  const __m128d s = _mm_add_pd(h, c.s43);
  const __m128d hp = _mm_sub_pd(h, _mm_sub_pd(s, c.s43));
  const __m128i gbits = _mm_or_si128(_mm_slli_epi64(_mm_and_si128(F0, _mm_set1_epi64x(0xFFF)), 40), _mm_srli_epi64(F1, 24));
  const __m128d g = _mm_sub_pd(dv(_mm_or_si128(bits(c.g0), gbits)), c.g0);
  const __m128i lbits = _mm_slli_epi64(_mm_and_si128(F1, _mm_set1_epi64x(0xFFFFFF)), 28);
  const __m128d l = _mm_sub_pd(dv(_mm_or_si128(bits(c.l0), lbits)), c.l0);
  const __m128d v = _mm_add_pd(hp, g);
  const __m128d w = _mm_add_pd(_mm_add_pd(_mm_sub_pd(hp, v), g), l);
  // Times 2 pi in double-double.
  const __m128d vh = _mm_and_pd(v, c.mask27);
  const __m128d vl = _mm_sub_pd(v, vh);
  const __m128d p = _mm_mul_pd(c.h, vh);
  const __m128d q = _mm_add_pd(_mm_add_pd(_mm_mul_pd(c.h, vl), _mm_mul_pd(c.l, vh)),
                               _mm_add_pd(_mm_mul_pd(c.t, w), _mm_mul_pd(c.l, vl)));
  const __m128d r = _mm_add_pd(p, q);
  const __m128d e = _mm_add_pd(_mm_sub_pd(p, r), q);
  red.r = select(large, r, red.r);
  red.e = select(large, e, red.e);
  red.j = _mm_castpd_si128(select(large, s, _mm_castsi128_pd(red.j)));
}

double sin_full(double x) {
  const __m128d xv = _mm_set1_pd(x);
  const __m128d a = _mm_and_pd(xv, kTab.abs);
  const __m128d y = table_sin(reduce_any(a), 0);
  return _mm_cvtsd_f64(_mm_xor_pd(y, _mm_and_pd(xv, kTab.sign)));
}

double cos_full(double x) {
  const __m128d a = _mm_and_pd(_mm_set1_pd(x), kTab.abs);
  return _mm_cvtsd_f64(table_sin(reduce_any(a), 128));
}

}  // namespace zev::vk::trig
