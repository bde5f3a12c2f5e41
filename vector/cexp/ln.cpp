// zLn (LA and HA, and EP), cLn (three kernels), zLog10 and cLog10 (one
// kernel each): the principal logarithm log|z| + i arg z, clog of C's Annex
// G, with its cut along the negative real axis (the sign of a zero
// imaginary part chooses +pi or -pi), and Log10 = Ln / ln 10.
//
// z rows: log|z| as a pair (cexp_core.h) and arg z as a pair from one
// division (vector/common/atan2_dd.h), each rounded once; Log10
// multiplies each pair by 1/ln 10 as a pair and rounds once. Vector lanes:
// the larger part in [2^-500, 2^500], the smaller zero or at least 2^-1019
// and at least 2^-960 of the larger.
// c rows: in double (the squares of single parts exact, their sum a pair, the
// double EP logarithm and LA atan2, each far below a single ulp), one rounding
// to single; vector lanes: every finite input but 0.
//
// The scalar function scales both parts by 2^-k (k the exponent of the
// larger), runs the same arithmetic and adds k ln 2 as a pair; a ratio of the
// parts below 2^-1000 takes atan2's first-order value. Status 2 for a zero
// input (a pole: -inf + i arg); no other status (the result neither
// overflows nor, but for log(+-1 + iy) with y subnormal, underflows).
#include <cmath>
#include <limits>

#include "vector/cexp/cexp_core.h"
#include "vector/common/atan2_dd.h"
#include "vector/cexp/cexp_scalar.h"

namespace zev::vk::cexp {

namespace {

SPair pair_sum(double a, double b) {
  const double s = a + b, bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}

// Annex G's values for an infinite or NaN part.
void ln_special(double x, double y, LnPairs& p) {
  const double inf = std::numeric_limits<double>::infinity();
  p.rl = p.il = 0;
  if (std::isinf(x) || std::isinf(y)) {
    p.rh = inf;
    if (std::isnan(x) || std::isnan(y)) {
      p.ih = std::isnan(x) ? x : y;
      return;
    }
    Pair a;
    if (std::isinf(x) && std::isinf(y))
      a = x > 0 ? kPi4 : k3Pi4;
    else if (std::isinf(x))
      a = x > 0 ? Pair{0.0, 0.0} : kPi;
    else
      a = kPi2;
    p.ih = std::copysign(a.hi, y);
    p.il = std::copysign(a.lo, y);
    return;
  }
  p.rh = p.ih = x + y;  // a NaN part
}

}  // namespace

int ln_full(double x, double y, LnPairs& p) {
  if (!std::isfinite(x) || !std::isfinite(y)) {
    ln_special(x, y, p);
    return 0;
  }
  if (x == 0 && y == 0) {
    p.rh = -1.0 / std::fabs(x);  // -inf, raising divide-by-zero
    p.rl = p.il = 0;
    const Pair a = std::signbit(x) ? kPi : Pair{0.0, 0.0};
    p.ih = std::copysign(a.hi, y);
    p.il = std::copysign(a.lo, y);
    return 2;
  }
  const double ax = std::fabs(x), ay = std::fabs(y);
  const int k = std::ilogb(std::fmax(ax, ay));
  const double xs = std::scalbn(x, -k), ys = std::scalbn(y, -k);  // the larger in [1, 2)
  // log|z| = log|z 2^-k| + k ln2.
  const DD l = log_norm2(lane(xs), lane(ys));
  double th, tl;
  two_prod<double>(static_cast<double>(k), kLn2.hi, th, tl);
  const SPair s = pair_sum(th, 0.5 * first(l.hi));
  const SPair r = pair_sum(s.hi, s.lo + (tl + k * kLn2.lo + 0.5 * first(l.lo)));
  p.rh = r.hi, p.rl = r.lo;
  // arg z.
  const double m = std::fmin(ax, ay), big = std::fmax(ax, ay);
  if (m != 0 && m < big * 0x1p-1000) {
    // atan t = t to far below an ulp for t < 2^-1000.
    if (ax >= ay) {
      if (x > 0) {
        p.ih = y / x, p.il = 0;
      } else {
        p.ih = std::copysign(kPi.hi, y);
        p.il = std::copysign(kPi.lo, y) - y / x;
      }
    } else {
      p.ih = std::copysign(kPi2.hi, y);
      p.il = std::copysign(kPi2.lo, y) - x / y;
    }
  } else {
    // Refined once: the powers take this pair (a scalar lane, no cost to Ln's blocks).
    const DD a = refine_arg(lane(xs), lane(ys), invtrig::atan2_pair_d(lane(ys), lane(xs)));
    p.ih = first(a.hi), p.il = first(a.lo);
  }
  return 0;
}

namespace {

using namespace cx;

// z rows: Log10 multiplies by 1/ln 10.
template <bool Log10>
struct ZLn {
  using R = double;
  static constexpr int kIn = 1;
  static constexpr const char* kName = Log10 ? "vzLog10" : "vzLn";
  static unsigned eval(const __m128d (&a)[4], const __m128d (&)[4], __m128d (&r)[4]) {
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      __m128d x, y, re, im;
      split_parts(a[2 * h], a[2 * h + 1], x, y);
      mask |= soa_mask(_mm_or_pd(ln_flags(x, y), atan2_dd_tiny(y, x))) << (2 * h);
      const DD l = log_norm2(x, y);
      const DD lr{_mm_mul_pd(l.hi, d1(0.5)), _mm_mul_pd(l.lo, d1(0.5))};
      const DD li = atan2_dd(y, x);
      if constexpr (Log10) {
        const DD c{d1(kInvLn10.hi), d1(kInvLn10.lo)};
        re = mul_round(lr, c);
        im = mul_round(li, c);
      } else {
        re = _mm_add_pd(lr.hi, lr.lo);
        im = _mm_add_pd(li.hi, li.lo);
      }
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const zev_complex16* a, const zev_complex16*, zev_complex16* r) {
    LnPairs p;
    const int st = ln_full(a->re, a->im, p);
    if constexpr (Log10) {
      double h, l;
      two_prod<double>(p.rh, kInvLn10.hi, h, l);
      // Zeros (their signs), infinities and NaN: the plain product.
      r->re = std::isfinite(p.rh) && p.rh != 0 ? h + (l + (p.rh * kInvLn10.lo + p.rl * kInvLn10.hi)) : h;
      two_prod<double>(p.ih, kInvLn10.hi, h, l);
      r->im = std::isfinite(p.ih) && p.ih != 0 ? h + (l + (p.ih * kInvLn10.lo + p.il * kInvLn10.hi)) : h;
    } else {
      r->re = p.rh + p.rl;
      r->im = p.ih + p.il;
    }
    return st;
  }
};

// c rows, in double.
template <bool Log10>
struct CLn {
  using R = float;
  static constexpr int kIn = 1;
  static constexpr const char* kName = Log10 ? "vcLog10" : "vcLn";
  // atan2 by the polynomial of the double LA kernel (about 2^-53).
  static void core(__m128d x, __m128d y, __m128d& re, __m128d& im) {
    const __m128d l = log_norm2_s(x, y);
    const __m128d a = invtrig::atan2_d<Level::LA, false>(y, x);
    if constexpr (Log10) {
      re = _mm_mul_pd(l, d1(0.5 * kInvLn10.hi));
      im = _mm_mul_pd(a, d1(kInvLn10.hi));
    } else {
      re = _mm_mul_pd(l, d1(0.5));
      im = a;
    }
  }
  static unsigned eval(const __m128 (&a)[2], const __m128 (&)[2], __m128 (&r)[2]) {
    __m128 x, y;
    split_parts(a[0], a[1], x, y);
    // Infinite or NaN parts, and 0 + 0i.
    const __m128 ax = _mm_andnot_ps(_mm_set1_ps(-0.0f), x), ay = _mm_andnot_ps(_mm_set1_ps(-0.0f), y);
    const __m128 inf = _mm_set1_ps(std::numeric_limits<float>::infinity());
    const __m128 bad = _mm_or_ps(_mm_or_ps(_mm_cmpnlt_ps(ax, inf), _mm_cmpnlt_ps(ay, inf)),
                                 _mm_cmpeq_ps(_mm_or_ps(ax, ay), _mm_setzero_ps()));
    __m128d re[2], im[2];
    for (int h = 0; h < 2; ++h)
      core(_mm_cvtps_pd(h ? _mm_movehl_ps(x, x) : x), _mm_cvtps_pd(h ? _mm_movehl_ps(y, y) : y), re[h], im[h]);
    join_parts(_mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1])),
               _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1])), r[0], r[1]);
    return soa_mask(bad);
  }
  static int scalar(const zev_complex8* a, const zev_complex8*, zev_complex8* r) {
    LnPairs p;
    const int st = ln_full(a->re, a->im, p);
    double re = p.rh + p.rl, im = p.ih + p.il;
    if constexpr (Log10) re *= kInvLn10.hi, im *= kInvLn10.hi;
    r->re = static_cast<float>(re);
    r->im = static_cast<float>(im);
    return st;
  }
};

}  // namespace
}  // namespace zev::vk::cexp

using ZLnP = zev::vk::cexp::ZLn<false>;
using ZLog10P = zev::vk::cexp::ZLn<true>;
using CLnP = zev::vk::cexp::CLn<false>;
using CLog10P = zev::vk::cexp::CLn<true>;

ZEV_CKERNELS(zLn, laha, ZLnP)
ZEV_CKERNELS(zLn, ep, ZLnP)
ZEV_CKERNELS(cLn, la, CLnP)
ZEV_CKERNELS(cLn, ha, CLnP)
ZEV_CKERNELS(cLn, ep, CLnP)
ZEV_CKERNELS(zLog10, lahaep, ZLog10P)
ZEV_CKERNELS(cLog10, lahaep, CLog10P)
