// zPow, cPow, zPowx, cPowx (one kernel each): z^w = exp(w log z), the
// principal branch, cpow of C's Annex G; Powx takes one w for the whole call.
//
// z rows: log z as pairs (cexp_core.h), w log z as pairs from exact
// products, and the exponential of the pair (the low part of the real part
// folded into the reduction by ln2/128, that of the imaginary part into the
// circle reduction); each part rounded once. The pairs carry w log z to about
// 2^-60 of |w| |log z|, so that a large exponent keeps its accuracy.
// c rows: log z and w log z in double, the exponential in double, one
// rounding to single.
//
// Vector lanes: z in the vector range of Ln, w finite with parts below
// 2^900, the real part of w log z in [-700, 708] (z) or [-87, 88] (c), and
// for c rows (|wr| + |wi|)(|log|z|| + |arg z|) below 2^16.
//
// The special cases (the scalar function):
//   w = 0 (either zero sign): 1 + 0i for every z, NaN and infinities included;
//   a NaN part (w not 0): NaN + NaN i, status 0;
//   z = 0: 0 + 0i for Re w > 0; +inf + 0i and status 2 (a pole) for Re w < 0;
//          NaN + NaN i and status 1 for Re w = 0, Im w != 0;
//   an infinite part: exp(w log z) with log of Annex G and a zero factor
//          taken as an exact zero in w log z (so inf^2 = inf, 2^inf = inf,
//          0.5^inf = 0); status 1 where Annex G's exp raises invalid, else 0;
//   finite: status 3 when a part overflows, 4 when both parts fall below the
//          normal range; an angle Im(w log z) beyond the double range (|w|
//          near the largest double) is unknown, and the modulus is returned
//          on the real axis.
#include <cmath>
#include <limits>

#include "vector/cexp/cexp_core.h"
#include "vector/cexp/cexp_scalar.h"

namespace zev::vk::cexp {

namespace {

// a b with a zero factor giving an exact zero (never NaN from 0 inf).
double mul0(double a, double b) { return a == 0 || b == 0 ? 0.0 : a * b; }

SPair two_sum_s(double a, double b) {
  const double s = a + b, bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}

// (wr + i wi)(lr + i li) as pairs; |w| below 2^900 and the parts of l finite.
void mul_w_s(double wr, double wi, SPair lr, SPair li, SPair& pr, SPair& pi) {
  double a, al, b, bl, c, cl, d, dl;
  two_prod<double>(wr, lr.hi, a, al);
  two_prod<double>(wi, li.hi, b, bl);
  two_prod<double>(wr, li.hi, c, cl);
  two_prod<double>(wi, lr.hi, d, dl);
  const SPair s = two_sum_s(a, -b), t = two_sum_s(c, d);
  pr = two_sum_s(s.hi, s.lo + (al - bl) + (wr * lr.lo - wi * li.lo));
  pi = two_sum_s(t.hi, t.lo + (cl + dl) + (wr * li.lo + wi * lr.lo));
}

// z^w in double; `fin` tells whether every input part was finite.
int pow_d(double x, double y, double wr, double wi, double& re, double& im, bool& fin) {
  fin = false;
  if (wr == 0 && wi == 0) {
    re = 1, im = 0;
    return 0;
  }
  if (std::isnan(x) || std::isnan(y) || std::isnan(wr) || std::isnan(wi)) {
    re = im = std::numeric_limits<double>::quiet_NaN();
    return 0;
  }
  if (x == 0 && y == 0) {
    if (wr > 0) {
      re = im = 0;
      return 0;
    }
    if (wr < 0) {
      re = std::numeric_limits<double>::infinity(), im = 0;
      return 2;
    }
    volatile double zero = 0;
    re = im = zero * std::numeric_limits<double>::infinity();  // invalid
    return 1;
  }
  LnPairs l;
  ln_full(x, y, l);
  if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(wr) || !std::isfinite(wi)) {
    const double pr = mul0(wr, l.rh) - mul0(wi, l.ih), pi = mul0(wr, l.ih) + mul0(wi, l.rh);
    if (std::isnan(pr) || std::isnan(pi)) {
      volatile double zero = 0;
      re = im = zero * std::numeric_limits<double>::infinity();
      return 1;
    }
    const int st = exp_full<double>(pr, pi, re, im);
    return st == 1 ? 1 : 0;
  }
  fin = true;
  SPair pr, pi;
  if (std::fmax(std::fabs(wr), std::fabs(wi)) < 0x1p900) {
    mul_w_s(wr, wi, {l.rh, l.rl}, {l.ih, l.il}, pr, pi);
  } else {  // scaled by 2^-200 so that the sums do not meet inf - inf
    const double sr = wr * 0x1p-200, si = wi * 0x1p-200;
    pr = {(sr * l.rh - si * l.ih) * 0x1p200, 0};
    pi = {(sr * l.ih + si * l.rh) * 0x1p200, 0};
  }
  // An angle beyond the range of doubles is unknown: the modulus goes on the
  // real axis.
  if (!std::isfinite(pi.hi)) pi = {0, 0};
  const double h = std::fmin(std::fmax(pr.hi, -1e5), 1e5);
  exp_finite(h, h == pr.hi ? pr.lo : 0.0, pi.hi, pi.lo, re, im);
  return 0;
}

template <class R>
int pow_full(R x, R y, R wr, R wi, R& re, R& im) {
  double dr, di;
  bool fin;
  const int st = pow_d(x, y, wr, wi, dr, di, fin);
  re = static_cast<R>(dr), im = static_cast<R>(di);
  if (!fin) return st;
  if (std::isinf(re) || std::isinf(im)) return 3;
  if (std::fmax(std::fabs(re), std::fabs(im)) < std::numeric_limits<R>::min()) return 4;
  return 0;
}

using namespace cx;

// Lanes whose w has a NaN or infinite part or one of 2^900 or more.
inline __m128d w_flags(__m128d wr, __m128d wi) {
  return _mm_or_pd(_mm_cmpnlt_pd(abs_of(wr), d1(0x1p900)), _mm_cmpnlt_pd(abs_of(wi), d1(0x1p900)));
}

template <bool Scalar>
struct ZPow {
  using R = double;
  static constexpr int kIn = 2;
  static constexpr bool kScalarB = Scalar;
  static constexpr const char* kName = Scalar ? "vzPowx" : "vzPow";
  static unsigned eval(const __m128d (&a)[4], const __m128d (&b)[4], __m128d (&r)[4]) {
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      __m128d x, y, wr, wi;
      split_parts(a[2 * h], a[2 * h + 1], x, y);
      split_parts(b[2 * h], b[2 * h + 1], wr, wi);
      DD lr, li;
      ln_pair(x, y, lr, li);
      li = refine_arg(x, y, li);
      // w log z as pairs.
      const DD p1 = two_prod(wr, lr.hi), p2 = two_prod(wi, li.hi);
      const DD p3 = two_prod(wr, li.hi), p4 = two_prod(wi, lr.hi);
      const DD s = two_sum(p1.hi, _mm_xor_pd(p2.hi, d1(-0.0))), t = two_sum(p3.hi, p4.hi);
      const __m128d sl = _mm_add_pd(_mm_add_pd(s.lo, _mm_sub_pd(p1.lo, p2.lo)),
                                    _mm_sub_pd(_mm_mul_pd(wr, lr.lo), _mm_mul_pd(wi, li.lo)));
      const __m128d tl = _mm_add_pd(_mm_add_pd(t.lo, _mm_add_pd(p3.lo, p4.lo)),
                                    _mm_add_pd(_mm_mul_pd(wr, li.lo), _mm_mul_pd(wi, lr.lo)));
      const DD pr = two_sum(s.hi, sl), pi = two_sum(t.hi, tl);
      const __m128d bad = _mm_or_pd(_mm_or_pd(ln_flags(x, y), w_flags(wr, wi)), exp_flags(pr.hi, pi.hi, -700.0, 708.0));
      mask |= soa_mask(bad) << (2 * h);
      const __m128d xc = _mm_min_pd(_mm_max_pd(pr.hi, d1(-700.0)), d1(708.0));
      const ExpCis o = exp_cis<true, true>(xc, pr.lo, pi.hi, pi.lo);
      const __m128d re = _mm_mul_pd(o.m_re, o.scale);
      const __m128d im = _mm_mul_pd(o.m_im, o.scale);
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const zev_complex16* a, const zev_complex16* b, zev_complex16* r) {
    return pow_full<double>(a->re, a->im, b->re, b->im, r->re, r->im);
  }
};

template <bool Scalar>
struct CPow {
  using R = float;
  static constexpr int kIn = 2;
  static constexpr bool kScalarB = Scalar;
  static constexpr const char* kName = Scalar ? "vcPowx" : "vcPow";
  static __m128d core(__m128d x, __m128d y, __m128d wr, __m128d wi, __m128d& re, __m128d& im) {
    const __m128d lr = _mm_mul_pd(log_norm2_s(x, y), d1(0.5));
    const __m128d li = invtrig::atan2_d<Level::LA, false>(y, x);
    const __m128d pr = _mm_sub_pd(_mm_mul_pd(wr, lr), _mm_mul_pd(wi, li));
    const __m128d pi = _mm_add_pd(_mm_mul_pd(wr, li), _mm_mul_pd(wi, lr));
    // The size of w log z: beyond 2^16 the double products lose single bits.
    const __m128d size = _mm_mul_pd(_mm_add_pd(abs_of(wr), abs_of(wi)), _mm_add_pd(abs_of(lr), abs_of(li)));
    exp_v<false>(pr, pi, re, im);
    return _mm_or_pd(exp_flags(pr, pi, -87.0, 88.0), _mm_cmpnlt_pd(size, d1(65536.0)));
  }
  static unsigned eval(const __m128 (&a)[2], const __m128 (&b)[2], __m128 (&r)[2]) {
    __m128 x, y, wr, wi;
    split_parts(a[0], a[1], x, y);
    split_parts(b[0], b[1], wr, wi);
    // z: an infinite or NaN part, or 0 + 0i; w: an infinite or NaN part.
    const __m128 sg = _mm_set1_ps(-0.0f), inf = _mm_set1_ps(std::numeric_limits<float>::infinity());
    const __m128 ax = _mm_andnot_ps(sg, x), ay = _mm_andnot_ps(sg, y);
    __m128 bad = _mm_or_ps(_mm_or_ps(_mm_cmpnlt_ps(ax, inf), _mm_cmpnlt_ps(ay, inf)),
                           _mm_cmpeq_ps(_mm_or_ps(ax, ay), _mm_setzero_ps()));
    bad = _mm_or_ps(bad, _mm_or_ps(_mm_cmpnlt_ps(_mm_andnot_ps(sg, wr), inf), _mm_cmpnlt_ps(_mm_andnot_ps(sg, wi), inf)));
    __m128d re[2], im[2];
    unsigned mask = soa_mask(bad);
    for (int h = 0; h < 2; ++h) {
      auto wide = [h](__m128 v) { return _mm_cvtps_pd(h ? _mm_movehl_ps(v, v) : v); };
      mask |= soa_mask(core(wide(x), wide(y), wide(wr), wide(wi), re[h], im[h])) << (2 * h);
    }
    join_parts(_mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1])),
               _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1])), r[0], r[1]);
    return mask;
  }
  static int scalar(const zev_complex8* a, const zev_complex8* b, zev_complex8* r) {
    return pow_full<float>(a->re, a->im, b->re, b->im, r->re, r->im);
  }
};

}  // namespace
}  // namespace zev::vk::cexp

using ZPowP = zev::vk::cexp::ZPow<false>;
using ZPowxP = zev::vk::cexp::ZPow<true>;
using CPowP = zev::vk::cexp::CPow<false>;
using CPowxP = zev::vk::cexp::CPow<true>;

ZEV_CKERNELS(zPow, lahaep, ZPowP)
ZEV_CKERNELS(zPowx, lahaep, ZPowxP)
ZEV_CKERNELS(cPow, lahaep, CPowP)
ZEV_CKERNELS(cPowx, lahaep, CPowxP)
