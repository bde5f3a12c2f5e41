// zExp (one kernel for every level) and cExp (LA and EP, and HA): the
// complex exponential e^x (cos y + i sin y), cexp of C's Annex G.
//
// zExp: e^x and cos y, sin y as pairs, each part their product rounded once
// and scaled by 2^n (cexp_core.h). Vector lanes: x in [-700, 708] and y
// finite (the large reduction of the sine family runs in the block for |y|
// beyond 65536). cExp: the same formula in double, one rounding to single;
// vector lanes: x in [-87, 88], where neither part's scale can leave the
// single range.
//
// Other lanes take the scalar function: Annex G's table for infinite and NaN
// parts, and otherwise e^x = 2^m e^h with h = x - m ln2 as a pair, the parts
// formed at the scale of 1 and then scaled once, so that a part that is
// representable comes out right although e^x alone overflows or underflows.
// Status 3 when a finite input gives an infinite part, 4 when both parts
// fall below the normal range, 1 for x + i inf with x finite or +inf.
#include <cfloat>
#include <cmath>
#include <limits>

#include "vector/cexp/cexp_core.h"
#include "vector/cexp/cexp_scalar.h"
#include "vector/exp/exp_common.h"

namespace zev::vk::cexp {

namespace {

// 2^N (hi + lo) rounded once, hi + lo of any size (0 keeps its sign).
double scale_pair(double hi, double lo, int n) {
  if (hi == 0) return hi;
  int e;
  const double f = std::frexp(std::fabs(hi), &e);  // [0.5, 1)
  const double l = std::ldexp(std::copysign(lo, lo * hi), -e);  // lo with the sign relative to |hi|
  const long N = static_cast<long>(n) + e;
  double r;
  if (N > 2000)
    r = expk::overflow_d();
  else if (N < -2000)
    r = expk::underflow_d();
  else
    r = expk::scale_once<double>(f, l, static_cast<int>(N));
  return std::copysign(r, hi);
}

}  // namespace

// Annex G's values of exp for an infinite or NaN part; the status.
int exp_special(double x, double y, double& re, double& im) {
  const double inf = std::numeric_limits<double>::infinity();
  if (std::isnan(y)) {
    if (x == inf)
      re = inf, im = y;
    else if (x == -inf)
      re = 0, im = 0;
    else
      re = im = y + x;
    return 0;
  }
  if (std::isinf(y)) {
    if (std::isnan(x)) {
      re = im = x;
      return 0;
    }
    if (x == -inf) {
      re = 0, im = 0;
      return 0;
    }
    const double nan = y - y;  // raises invalid, as Annex G asks
    re = x == inf ? inf : nan;
    im = nan;
    return 1;
  }
  // y finite, x infinite or NaN.
  if (std::isnan(x)) {
    re = x;
    im = y == 0 ? y : x;
    return 0;
  }
  if (y == 0) {
    re = x > 0 ? inf : 0;
    im = y;
    return 0;
  }
  const trig::CosSin cs = trig::cos_sin(lane(y));
  const double mag = x > 0 ? inf : 0.0;
  re = std::copysign(mag, first(_mm_add_pd(cs.c.hi, cs.c.lo)));
  im = std::copysign(mag, first(_mm_add_pd(cs.s.hi, cs.s.lo)));
  return 0;
}

// e^(x + xl) (c 2^ce + i s 2^se) for finite x and its low part, c and s given
// as pairs: 2^m e^h (c + i s), h = x - m ln2, each part rounded once.
void exp_cis_pairs(double x, double xl, const double (&cs)[4], int ce, int se, double& re, double& im) {
  const double xc = std::fmin(std::fmax(x, -20000.0), 20000.0);  // beyond, every part over- or underflows
  const double m = std::nearbyint(xc * 0x1.71547652b82fep0);
  double ph, pl;
  two_prod<double>(m, kLn2.hi, ph, pl);
  const double h = xc - ph;  // exact: ph is within a factor 2 of xc, or m = 0
  const double l = (xc == x ? xl : 0.0) - (pl + m * kLn2.lo);
  const DD hl = fast_two_sum(lane(h), lane(l));
  const expk::ExpParts e = expk::exp_parts<5>(hl.hi, hl.lo);
  const DD ex{e.hi, e.lo};
  const DD pr = mul_pair(ex, {lane(cs[0]), lane(cs[1])}), pi = mul_pair(ex, {lane(cs[2]), lane(cs[3])});
  // e^h = 2^k (hi + lo), k in {-1, 0, 1}: the exponent of the scale of 1.0.
  const int k = static_cast<int>((static_cast<long long>(_mm_cvtsi128_si64(e.nb)) >> 52));
  const int n = static_cast<int>(m) + k;
  re = scale_pair(first(pr.hi), first(pr.lo), n + ce);
  im = scale_pair(first(pi.hi), first(pi.lo), n + se);
}

// exp((x + xl) + i(y + yl)) for finite x, y and their low parts.
void exp_finite(double x, double xl, double y, double yl, double& re, double& im) {
  const trig::CosSin cs = trig::cos_sin<true>(lane(y), lane(yl));
  const double p[4] = {first(cs.c.hi), first(cs.c.lo), first(cs.s.hi), first(cs.s.lo)};
  exp_cis_pairs(std::fmin(std::fmax(x, -1600.0), 1600.0), xl, p, 0, 0, re, im);  // beyond 1600, every part over- or underflows
  if (y == 0) im = y;  // sin(+-0) = +-0
}

template <class R>
int exp_full(R x, R y, R& re, R& im) {
  double dr, di;
  if (!std::isfinite(x) || !std::isfinite(y)) {
    const int st = exp_special(x, y, dr, di);
    re = static_cast<R>(dr), im = static_cast<R>(di);
    return st;
  }
  exp_finite(x, 0, y, 0, dr, di);
  re = static_cast<R>(dr), im = static_cast<R>(di);
  if (std::isinf(re) || std::isinf(im)) return 3;
  if (std::fmax(std::fabs(re), std::fabs(im)) < std::numeric_limits<R>::min()) return 4;
  return 0;
}
template int exp_full<float>(float, float, float&, float&);
template int exp_full<double>(double, double, double&, double&);

namespace {

using namespace cx;

struct ZExp {
  using R = double;
  static constexpr int kIn = 1;
  static constexpr const char* kName = "vzExp";
  static unsigned eval(const __m128d (&a)[4], const __m128d (&)[4], __m128d (&r)[4]) {
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      __m128d x, y, re, im;
      split_parts(a[2 * h], a[2 * h + 1], x, y);
      mask |= soa_mask(exp_flags(x, y, -700.0, 708.0)) << (2 * h);
      exp_v<true>(x, y, re, im);
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const zev_complex16* a, const zev_complex16*, zev_complex16* r) {
    return exp_full<double>(a->re, a->im, r->re, r->im);
  }
};

struct CExp {
  using R = float;
  static constexpr int kIn = 1;
  static constexpr const char* kName = "vcExp";
  static unsigned eval(const __m128 (&a)[2], const __m128 (&)[2], __m128 (&r)[2]) {
    __m128 x, y;
    split_parts(a[0], a[1], x, y);
    __m128d re[2], im[2];
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      const __m128d xd = _mm_cvtps_pd(h ? _mm_movehl_ps(x, x) : x);
      const __m128d yd = _mm_cvtps_pd(h ? _mm_movehl_ps(y, y) : y);
      mask |= soa_mask(exp_flags(xd, yd, -87.0, 88.0)) << (2 * h);
      exp_v<false>(xd, yd, re[h], im[h]);
    }
    join_parts(_mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1])),
               _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1])), r[0], r[1]);
    return mask;
  }
  static int scalar(const zev_complex8* a, const zev_complex8*, zev_complex8* r) {
    return exp_full<float>(a->re, a->im, r->re, r->im);
  }
};

}  // namespace
}  // namespace zev::vk::cexp

using zev::vk::cexp::CExp;
using zev::vk::cexp::ZExp;

ZEV_CKERNELS(zExp, lahaep, ZExp)
ZEV_CKERNELS(cExp, laep, CExp)
ZEV_CKERNELS(cExp, ha, CExp)
