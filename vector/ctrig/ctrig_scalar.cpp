// The scalar functions of Sinh, Cosh, Sin, Cos, Tanh and Tan: Annex G's special values,
// and finite elements with the factors of ctrig_core.h carried with their
// exponents by hand.
#include "vector/ctrig/ctrig_scalar.h"

#include <cmath>

#include "vector/common/bits.h"
#include "vector/ctrig/ctrig_core.h"

namespace zev::vk::ctrig {
namespace {

constexpr double kInf = HUGE_VAL;

// A factor 2^e (h + l).
struct Scaled {
  double h, l;
  int e;
};

double lane0(__m128d v) { return _mm_cvtsd_f64(v); }

// e^x for |x| < 2839, beyond the core's 708: e^(x/4) = 2^n (h + l) from the
// core, raised to the fourth power by two squarings of normalised pairs
// (each exact to 2^-104), within about 2^-58 of e^x.
Scaled exp_wide(double x) {
  const expk::ExpParts e = expk::exp_parts<5>(_mm_set_sd(x * 0.25), _mm_setzero_pd());
  DD q = fast_two_sum(e.hi, e.lo);
  for (int i = 0; i < 2; ++i) {
    const DD p = mul_pair(q, q);
    q = fast_two_sum(p.hi, p.lo);
  }
  return {lane0(q.hi), lane0(q.lo), 4 * static_cast<int>(_mm_cvtsi128_si64(e.nb) >> 52)};
}

// sinh x and cosh x, x finite.
void hyperbolic(double x, Scaled& s, Scaled& c) {
  const double a = std::fabs(x), sg = std::copysign(1.0, x);
  if (a == 0) {
    s = {x, 0, 0}, c = {1, 0, 0};
  } else if (a < 0x1p-900) {  // sinh x = x, cosh x = 1 to far below an ulp
    s = {x * 0x1p600, 0, -600}, c = {1, 0, 0};
  } else if (a < 690) {
    DD sh, ch;
    sinh_cosh(_mm_set1_pd(a), sh, ch);
    s = {sg * lane0(sh.hi), sg * lane0(sh.lo), 0}, c = {lane0(ch.hi), lane0(ch.lo), 0};
  } else if (a < 2839) {  // e^-a is below 2^-1990 of e^a: both are e^a / 2
    const Scaled e = exp_wide(a);
    s = {sg * e.h, sg * e.l, e.e - 1}, c = {e.h, e.l, e.e - 1};
  } else {  // every non-zero part overflows
    s = {sg, 0, 5000}, c = {1, 0, 5000};
  }
}

// sin y and cos y, y finite.
void circular(double y, Scaled& s, Scaled& c) {
  const double a = std::fabs(y);
  if (a == 0) {
    s = {y, 0, 0}, c = {1, 0, 0};
  } else if (a < 0x1p-900) {
    s = {y * 0x1p600, 0, -600}, c = {1, 0, 0};
  } else {
    DD sn, cs;
    sin_cos(_mm_set1_pd(y), sn, cs);
    s = {lane0(sn.hi), lane0(sn.lo), 0}, c = {lane0(cs.hi), lane0(cs.lo), 0};
  }
}

// v 2^e with one rounding: the first step stays within the normal range.
double scale2(double v, int e) {
  if (e > 0) {
    while (e > 1023 && std::isfinite(v)) v *= 0x1p1023, e -= 1023;
    return e > 1023 ? v : v * dfrom(static_cast<uint64_t>(e + 1023) << 52);
  }
  if (e < -900) v *= 0x1p-900, e += 900;
  if (e < -1022) return v * 0x1p-1022 * 0x1p-200;  // far below the least subnormal: a signed zero
  return v * dfrom(static_cast<uint64_t>(e + 1023) << 52);
}

double product(const Scaled& f, const Scaled& g) {
  const double v = lane0(mul_round({_mm_set1_pd(f.h), _mm_set1_pd(f.l)}, {_mm_set1_pd(g.h), _mm_set1_pd(g.l)}));
  return v == 0 ? v : scale2(v, f.e + g.e);
}

// csinh (Cosh false) and ccosh of x + iy with an infinite or NaN part, by
// Annex G; the status 1 where it raises invalid.
int special(bool cosh, double x, double y, double& re, double& im) {
  if (std::isinf(x)) {
    if (y == 0) {
      re = cosh ? kInf : x;
      im = cosh ? y * std::copysign(1.0, x) : y;
      return 0;
    }
    if (std::isfinite(y)) {  // +-inf cis(y), the sign of x on the sinh part
      const double c = trig::cos_full(y), s = trig::sin_full(y);
      re = cosh ? kInf * c : x * c;
      im = cosh ? x * s : kInf * s;
      return 0;
    }
    re = cosh ? kInf : x;  // the sign of the infinite part is not settled
    im = y - y;            // NaN; invalid for an infinite y
    return std::isinf(y) ? 1 : 0;
  }
  if (std::isnan(x)) {
    re = x + x;
    im = y == 0 ? y : re;
    return 0;
  }
  // x finite, y infinite or NaN.
  const double nan = y - y;
  if (x == 0) {
    re = cosh ? nan : x;
    im = cosh ? x : nan;
  } else {
    re = im = nan;
  }
  return std::isinf(y) ? 1 : 0;
}

int hyp(bool cosh, double x, double y, double& re, double& im) {
  if (!std::isfinite(x) || !std::isfinite(y)) return special(cosh, x, y, re, im);
  Scaled s, c, sn, cs;
  hyperbolic(x, s, c);
  circular(y, sn, cs);
  re = product(cosh ? c : s, cs);
  im = product(cosh ? s : c, sn);
  return std::isinf(re) || std::isinf(im) ? 3 : 0;
}

// ctanh of x + iy, every input.
int tanh_one(double x, double y, double& re, double& im) {
  if (std::isinf(x)) {  // 1 + i0 sin 2y; with y infinite or NaN the zero's sign is not settled
    re = std::copysign(1.0, x);
    im = std::isfinite(y) ? std::copysign(0.0, trig::sin_full(y) * trig::cos_full(y)) : std::copysign(0.0, y);
    return 0;
  }
  if (std::isnan(x)) {
    re = x + x;
    im = y == 0 ? y : re;
    return 0;
  }
  if (!std::isfinite(y)) {
    re = im = y - y;
    return std::isinf(y) ? 1 : 0;
  }
  const double a = std::fabs(x);
  if (a >= 20) {  // 1 - tanh a is below 2^-54: the real part is +-1
    re = std::copysign(1.0, x);
    DD sn, cs;
    sin_cos(_mm_set1_pd(y), sn, cs);
    const DD sc = mul_pair(sn, cs);
    if (a >= 1419) {  // e^-2a is far below the least subnormal
      im = std::copysign(0.0, lane0(sc.hi));
      return 0;
    }
    // 4 sin y cos y e^-2a.
    const Scaled e = exp_wide(-2 * a);
    const double v = lane0(mul_round(sc, {_mm_set1_pd(e.h), _mm_set1_pd(e.l)})) * 4;
    im = v == 0 ? v : scale2(v, e.e);
    return 0;
  }
  const bool tx = a != 0 && a < 0x1p-900, ty = y != 0 && std::fabs(y) < 0x1p-900;
  __m128d r, i;
  tanh_parts<true>(_mm_set1_pd(tx ? 0.0 : x), _mm_set1_pd(ty ? 0.0 : y), r, i);
  re = lane0(r), im = lane0(i);
  const double t = im, h = re;
  if (tx) re = x * (1 + t * t);  // x / cos^2 y: tiny against the imaginary part unless y is tiny too
  if (ty) im = y * (1 - h * h);  // y / cosh^2 x
  return 0;
}

}  // namespace

int full(Fn f, double x, double y, double& re, double& im) {
  double a, b;
  int st;
  switch (f) {
    case Fn::Sinh: return hyp(false, x, y, re, im);
    case Fn::Cosh: return hyp(true, x, y, re, im);
    case Fn::Sin:  // -i sinh(-y + ix)
      st = hyp(false, -y, x, a, b);
      re = b, im = -a;
      return st;
    case Fn::Cos:  // cosh(-y + ix)
      return hyp(true, -y, x, re, im);
    case Fn::Tanh: return tanh_one(x, y, re, im);
    case Fn::Tan:  // -i tanh(-y + ix)
      st = tanh_one(-y, x, a, b);
      re = b, im = -a;
      return st;
  }
  return 0;
}

}  // namespace zev::vk::ctrig
