// The block arithmetic of complex Abs, with the reciprocal square root
// estimate as a template parameter (vector/estimate.h): the kernels use
// HwEstimate, the tests the same code with modelled worst estimates.
//
// zAbs: S = re^2 + im^2 as Sh + Sl, Sh exact in few bits; y, the estimate of
// 1/sqrt(S) widened to double; e = y^2 S - 1, |e| < 2^-10.4 for any estimate
// within 1.5 * 2^-12; |z| = S y (1 + e)^(-1/2), the last factor by its Taylor
// series to e^5 (truncation below 2^-64): |z| = Sh y + (Sl y + (Sh + Sl) y c).
// Sh has at most 27 significant bits and y 24, so Sh y is exact; the result
// rounds once on a correction below 2^-4.9 of it. The product y^2 Sh in e
// rounds once (up to 2^-54 relative in the result): 0.52 ulp measured with
// this processor's estimates, 0.83 ulp under the modelled worst ones. The range test keeps S in [2^-67, 2^66), where
// the estimate's input and every intermediate are normal numbers, so the flush
// mode cannot change a result; other elements go to the scalar function.
// A part below 2^-511 goes in as zero: its square would underflow, where its
// weight in S is below 2^-955 (S >= 2^-67 in range) and cannot move the result.
// No unflagged element raises a flag but inexact; the flags of flagged ones
// are dropped before the scalar function runs (kDropFlags).
// cAbs: the squares of singles are exact in double; S rounds once; the same
// series to e^3 (truncation below 2^-43) and one rounding to single.
#pragma once

#include <emmintrin.h>

#include "vector/common/consts.h"
#include "vector/common/flag_hold.h"
#include "vector/common/range.h"
#include "vector/complex/ckernel.h"
#include "vector/estimate.h"

namespace zev::vk::cx {

struct AbsConst {
  __m128d abs, hi_mask, one, c1, c2, c3, c4, c5;
  __m128d z_lo, z_hi, c_lo, c_hi, tiny;
  __m128 gap;
  Range32 z_range, c_range;
};
inline constexpr AbsConst kAbs = {
    .abs = q2(0x7FFFFFFFFFFFFFFFull),
    .hi_mask = q2(0xFFFFC00000000000ull),  // 7 significant bits
    .one = d2(1.0),
    .c1 = d2(-0.5),  // (1 + e)^(-1/2) - 1 = c1 e + c2 e^2 + ...
    .c2 = d2(0.375),
    .c3 = d2(-0.3125),
    .c4 = d2(0.2734375),
    .c5 = d2(-0.24609375),
    .z_lo = d2(0x1p-67),
    .z_hi = d2(0x1p66),
    .c_lo = d2(0x1p-126),
    .c_hi = d2(0x1p126),
    .tiny = d2(0x1p-511),  // the square of a smaller part underflows
    .gap = u4(0x00600000u),                      // exponents six apart
    .z_range = range32(0x3BC00000u, 0x440FFFFFu),  // S in [2^-67, 2^66)
    .c_range = range32(0x38100000u, 0x47CFFFFFu),  // S in [2^-126, 2^126)
};

template <class Est>
struct ZAbsCore {
  using R = double;
  using V = __m128d;
  static constexpr bool kRealOut = true;
  static constexpr int kIn = 1;
  static constexpr uint32_t kDropFlags = kFlagsExact;
  static unsigned eval(const V (&x)[4], const V (&)[4], V (&r)[2]) {
    V M[2], m[2];
    for (int h = 0; h < 2; ++h) {
      V re, im;
      split_parts(x[2 * h], x[2 * h + 1], re, im);
      re = _mm_and_pd(re, kAbs.abs);
      im = _mm_and_pd(im, kAbs.abs);
      // maxpd and minpd return their second operand when one is NaN: in this
      // order a NaN part reaches M or m, so S is NaN and the element special.
      M[h] = _mm_max_pd(re, im);
      m[h] = _mm_min_pd(im, re);
    }
    // The exponent gap and the range test each compare the four elements'
    // high words at once; a lane an element, widened to the double lanes.
    const __m128i apart =
        _mm_cmpgt_epi32(_mm_sub_epi32(high_words2(M[0], M[1]), high_words2(m[0], m[1])), bits(kAbs.gap));
    V sh[2], sl[2], s[2];
    for (int h = 0; h < 2; ++h) {
      const V Mh = _mm_and_pd(M[h], kAbs.hi_mask), Ml = _mm_sub_pd(M[h], Mh);
      const V far = _mm_castsi128_pd(h ? _mm_unpackhi_epi32(apart, apart) : _mm_unpacklo_epi32(apart, apart));
      m[h] = _mm_andnot_pd(_mm_cmplt_pd(m[h], kAbs.tiny), m[h]);  // a NaN stays
      const V mh = _mm_andnot_pd(far, _mm_and_pd(m[h], kAbs.hi_mask));
      const V ml = _mm_sub_pd(m[h], mh);
      sh[h] = _mm_add_pd(_mm_mul_pd(Mh, Mh), _mm_mul_pd(mh, mh));
      sl[h] = _mm_add_pd(_mm_mul_pd(Ml, _mm_add_pd(M[h], Mh)), _mm_mul_pd(ml, _mm_add_pd(m[h], mh)));
      s[h] = _mm_add_pd(sh[h], sl[h]);
    }
    const __m128i bad = outside(high_words2(s[0], s[1]), kAbs.z_range);
    const unsigned mask = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(bad)));
    // Flagged elements run on S clamped into the range for the estimate (NaN
    // to its low end) and on zero for Sh and Sl: no flag but inexact.
    for (int h = 0; h < 2; ++h) {
      const V out = _mm_castsi128_pd(h ? _mm_unpackhi_epi32(bad, bad) : _mm_unpacklo_epi32(bad, bad));
      sh[h] = _mm_andnot_pd(out, sh[h]);
      sl[h] = _mm_andnot_pd(out, sl[h]);
      s[h] = _mm_min_pd(_mm_max_pd(s[h], kAbs.z_lo), kAbs.z_hi);
    }
    const __m128 yf = Est::rsqrt(_mm_movelh_ps(_mm_cvtpd_ps(s[0]), _mm_cvtpd_ps(s[1])));
    const V y2[2] = {_mm_cvtps_pd(yf), _mm_cvtps_pd(_mm_movehl_ps(yf, yf))};
    for (int h = 0; h < 2; ++h) {
      const V y = y2[h], yy = _mm_mul_pd(y, y);
      const V e = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(yy, sh[h]), kAbs.one), _mm_mul_pd(yy, sl[h]));
      V c = _mm_add_pd(kAbs.c4, _mm_mul_pd(e, kAbs.c5));
      c = _mm_add_pd(kAbs.c3, _mm_mul_pd(e, c));
      c = _mm_add_pd(kAbs.c2, _mm_mul_pd(e, c));
      c = _mm_add_pd(kAbs.c1, _mm_mul_pd(e, c));
      c = _mm_mul_pd(e, c);
      const V p = _mm_mul_pd(sh[h], y);  // exact
      const V q = _mm_mul_pd(sl[h], y);
      r[h] = _mm_add_pd(p, _mm_add_pd(q, _mm_mul_pd(_mm_add_pd(p, q), c)));
    }
    return mask;
  }
};

template <class Est>
struct CAbsCore {
  using R = float;
  using V = __m128;
  static constexpr bool kRealOut = true;
  static constexpr int kIn = 1;
  static constexpr uint32_t kDropFlags = kFlagsExact;
  static unsigned eval(const V (&x)[2], const V (&)[2], V (&r)[1]) {
    V re, im;
    split_parts(x[0], x[1], re, im);
    const __m128d rd[2] = {_mm_cvtps_pd(re), _mm_cvtps_pd(_mm_movehl_ps(re, re))};
    const __m128d id[2] = {_mm_cvtps_pd(im), _mm_cvtps_pd(_mm_movehl_ps(im, im))};
    __m128d s0[2], s[2];
    for (int h = 0; h < 2; ++h) s0[h] = _mm_add_pd(_mm_mul_pd(rd[h], rd[h]), _mm_mul_pd(id[h], id[h]));
    // One compare of the four high words, a lane an element. S clamped into
    // the range (NaN to its low end: maxpd returns its second operand) keeps
    // the flagged elements' arithmetic clear of every flag but inexact.
    const unsigned mask = static_cast<unsigned>(
        _mm_movemask_ps(_mm_castsi128_ps(outside(high_words2(s0[0], s0[1]), kAbs.c_range))));
    for (int h = 0; h < 2; ++h) s[h] = _mm_min_pd(_mm_max_pd(s0[h], kAbs.c_lo), kAbs.c_hi);
    const __m128 yf = Est::rsqrt(_mm_movelh_ps(_mm_cvtpd_ps(s[0]), _mm_cvtpd_ps(s[1])));
    __m128 out[2];
    for (int h = 0; h < 2; ++h) {
      const __m128d y = _mm_cvtps_pd(h ? _mm_movehl_ps(yf, yf) : yf);
      const __m128d e = _mm_sub_pd(_mm_mul_pd(_mm_mul_pd(y, y), s[h]), kAbs.one);
      __m128d c = _mm_add_pd(kAbs.c2, _mm_mul_pd(e, kAbs.c3));
      c = _mm_mul_pd(e, _mm_add_pd(kAbs.c1, _mm_mul_pd(e, c)));
      const __m128d p = _mm_mul_pd(s[h], y);
      out[h] = _mm_cvtpd_ps(_mm_add_pd(p, _mm_mul_pd(p, c)));
    }
    r[0] = _mm_movelh_ps(out[0], out[1]);
    return mask;
  }
};

}  // namespace zev::vk::cx
