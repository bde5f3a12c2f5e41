// Complex square root, single and double: the principal branch, with its
// cut along the negative real axis, as C's Annex G gives csqrt.
//
// With t = sqrt((|x| + |z|) / 2): for x >= 0 the result is (t, y / (2t)),
// for x < 0 (|y| / (2t), copysign(t, y)). No cancellation arises: |x| + |z|
// adds two positive numbers.
// zSqrt: |z| and t as sums of two doubles (S = x^2 + y^2 from exact products,
// one square root and one correction step each), the quotient refined by its
// residual; about 0.5 ulp a part. Elements whose larger part lies outside
// [2^-500, 2^500], and infinite and NaN parts, go to the scalar function,
// which scales by an even power of two and runs the same arithmetic.
// cSqrt: the same formula in double, one rounding to single.
// No status: Annex G raises no exception here but for NaN inputs (optional
// invalid), and the results neither overflow nor lose accuracy.
#include <emmintrin.h>

#include <cmath>
#include <limits>

#include "vector/common/consts.h"
#include "vector/common/range.h"
#include "vector/complex/ckernel.h"

namespace zev::vk::cx {
namespace {

struct SqrtConst {
  __m128d abs, half, one, neg;
  Range32 z_range;  // larger part in [2^-500, 2^500]
  Range32 c_range;  // double S of single parts: not zero, finite
};
inline constexpr SqrtConst kSqrt = {
    .abs = q2(0x7FFFFFFFFFFFFFFFull),
    .half = d2(0.5),
    .one = d2(1.0),
    .neg = d2(-0.0),
    .z_range = range32(0x20B00000u, 0x5F3FFFFFu),
    .c_range = range32(0x00100000u, 0x7FEFFFFFu),
};

// The principal root of x + iy on two lanes, for x, y in the vector range.
inline void zsqrt_core(__m128d x, __m128d y, __m128d& re, __m128d& im) {
  const __m128d ax = _mm_and_pd(x, kSqrt.abs), ay = _mm_and_pd(y, kSqrt.abs);
  // S = x^2 + y^2 and |z| = zh + zl.
  const Halves hx = halves(ax), hy = halves(ay);
  const DD xx = prod(hx, hx), yy = prod(hy, hy);
  const DD s0 = two_sum(xx.hi, yy.hi);
  const DD s = fast_two_sum(s0.hi, _mm_add_pd(s0.lo, _mm_add_pd(xx.lo, yy.lo)));
  const __m128d r0 = _mm_sqrt_pd(s.hi);
  const Halves hr = halves(r0);
  const DD rr = prod(hr, hr);
  const __m128d rc = _mm_div_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(s.hi, rr.hi), rr.lo), s.lo), _mm_add_pd(r0, r0));
  const DD z = fast_two_sum(r0, rc);
  // w = (|x| + |z|) / 2 and t = th + tl = sqrt(w).
  const DD w0 = fast_two_sum(z.hi, ax);
  const __m128d wh = _mm_mul_pd(w0.hi, kSqrt.half);
  const __m128d wl = _mm_mul_pd(_mm_add_pd(w0.lo, z.lo), kSqrt.half);
  const __m128d t0 = _mm_sqrt_pd(wh);
  const __m128d inv = _mm_div_pd(kSqrt.half, t0);  // 1 / (2 t0)
  const Halves ht = halves(t0);
  const DD tt = prod(ht, ht);
  const __m128d tl = _mm_mul_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(wh, tt.hi), tt.lo), wl), inv);
  const __m128d t = _mm_add_pd(t0, tl);
  // v = |y| / (2t): q from the reciprocal, then one step on its residual
  // |y| / 2 - q (th + tl).
  const __m128d hy2 = _mm_mul_pd(ay, kSqrt.half);
  const __m128d q = _mm_mul_pd(_mm_mul_pd(ay, inv), _mm_sub_pd(kSqrt.one, _mm_mul_pd(tl, _mm_add_pd(inv, inv))));
  const DD qt = prod(halves(q), ht);
  const __m128d res = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(hy2, qt.hi), qt.lo), _mm_mul_pd(q, tl));
  const __m128d v = _mm_add_pd(q, _mm_mul_pd(_mm_add_pd(res, res), inv));
  // x >= 0: (t, +-v); x < 0: (v, +-t); the sign of y on the imaginary part.
  const __m128d xneg = _mm_castsi128_pd(_mm_srai_epi32(_mm_shuffle_epi32(bits(x), 0xF5), 31));
  const __m128d ysign = _mm_and_pd(y, kSqrt.neg);
  re = _mm_or_pd(_mm_and_pd(xneg, v), _mm_andnot_pd(xneg, t));
  im = _mm_or_pd(_mm_or_pd(_mm_and_pd(xneg, t), _mm_andnot_pd(xneg, v)), ysign);
}

// Annex G's special values; returns true when it settled the element.
template <class R>
bool sqrt_special(R x, R y, R& re, R& im) {
  const R inf = std::numeric_limits<R>::infinity();
  if (std::isinf(y)) {
    re = inf, im = y;
  } else if (std::isinf(x)) {
    if (x > 0)
      re = x, im = std::isnan(y) ? y : std::copysign(R(0), y);
    else
      re = std::isnan(y) ? y : R(0), im = std::copysign(inf, y);
  } else if (std::isnan(x) || std::isnan(y)) {
    re = im = x + y;
  } else if (x == 0 && y == 0) {
    re = 0, im = y;
  } else {
    return false;
  }
  return true;
}

struct ZSqrt {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr int kIn = 1;
  static constexpr const char* kName = "vzSqrt";
  static unsigned eval(const V (&a)[4], const V (&)[4], V (&r)[4]) {
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      V x, y, re, im;
      split_parts(a[2 * h], a[2 * h + 1], x, y);
      // The larger part in range (a NaN x gives a NaN maximum), and y finite.
      const V ay = _mm_and_pd(y, kSqrt.abs);
      const V big = _mm_max_pd(ay, _mm_and_pd(x, kSqrt.abs));
      const __m128i out = _mm_or_si128(outside(high_words(big), kSqrt.z_range),
                                       _mm_cmpgt_epi32(high_words(ay), _mm_set1_epi32(0x7FEFFFFF)));
      mask |= soa_mask(_mm_castsi128_pd(out)) << (2 * h);
      zsqrt_core(x, y, re, im);
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const C* a, const C*, C* r) {
    double re, im;
    if (!sqrt_special(a->re, a->im, re, im)) {
      // Scale by 4^-k so that the larger part lies in [1, 4), run the vector
      // arithmetic on one lane, and scale the root by 2^k. The root's larger
      // part is a normal number; a subnormal smaller part rounds twice, far
      // below the result's ulp.
      const int k = std::ilogb(std::fmax(std::fabs(a->re), std::fabs(a->im))) >> 1;
      __m128d vr, vi;
      zsqrt_core(_mm_set1_pd(std::ldexp(a->re, -2 * k)), _mm_set1_pd(std::ldexp(a->im, -2 * k)), vr, vi);
      re = std::ldexp(_mm_cvtsd_f64(vr), k);
      im = std::ldexp(_mm_cvtsd_f64(vi), k);
    }
    r->re = re, r->im = im;
    return 0;
  }
};

// cSqrt: single parts widened; S = x^2 + y^2 is exact to one rounding in
// double and nothing over- or underflows there.
struct CSqrt {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr int kIn = 1;
  static constexpr const char* kName = "vcSqrt";
  static void core(__m128d x, __m128d y, __m128d& re, __m128d& im, __m128d& bad) {
    const __m128d ax = _mm_and_pd(x, kSqrt.abs), ay = _mm_and_pd(y, kSqrt.abs);
    const __m128d s = _mm_add_pd(_mm_mul_pd(ax, ax), _mm_mul_pd(ay, ay));
    bad = _mm_castsi128_pd(outside(high_words(s), kSqrt.c_range));
    const __m128d t = _mm_sqrt_pd(_mm_mul_pd(_mm_add_pd(ax, _mm_sqrt_pd(s)), kSqrt.half));
    const __m128d v = _mm_div_pd(_mm_mul_pd(ay, kSqrt.half), t);
    const __m128d xneg = _mm_castsi128_pd(_mm_srai_epi32(_mm_shuffle_epi32(bits(x), 0xF5), 31));
    re = _mm_or_pd(_mm_and_pd(xneg, v), _mm_andnot_pd(xneg, t));
    im = _mm_or_pd(_mm_or_pd(_mm_and_pd(xneg, t), _mm_andnot_pd(xneg, v)), _mm_and_pd(y, kSqrt.neg));
  }
  static unsigned eval(const V (&a)[2], const V (&)[2], V (&r)[2]) {
    V x, y;
    split_parts(a[0], a[1], x, y);
    __m128d re[2], im[2], bad[2];
    for (int h = 0; h < 2; ++h)
      core(_mm_cvtps_pd(h ? _mm_movehl_ps(x, x) : x), _mm_cvtps_pd(h ? _mm_movehl_ps(y, y) : y), re[h], im[h], bad[h]);
    const V rf = _mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1]));
    const V imf = _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1]));
    join_parts(rf, imf, r[0], r[1]);
    return soa_mask(bad[0]) | (soa_mask(bad[1]) << 2);
  }
  static int scalar(const C* a, const C*, C* r) {
    float re, im;
    if (!sqrt_special(a->re, a->im, re, im)) {
      __m128d vr, vi, bad;
      core(_mm_set1_pd(a->re), _mm_set1_pd(a->im), vr, vi, bad);
      re = static_cast<float>(_mm_cvtsd_f64(vr));
      im = static_cast<float>(_mm_cvtsd_f64(vi));
    }
    r->re = re, r->im = im;
    return 0;
  }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zSqrt, lahaep, ZSqrt)
ZEV_CKERNELS(cSqrt, laep, CSqrt)
ZEV_CKERNELS(cSqrt, ha, CSqrt)
