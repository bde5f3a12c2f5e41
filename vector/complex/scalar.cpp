// Scalar functions of complex Mul, Div and Abs (see scalar.h).
//
// Finite inputs: each complex operand is scaled by a power of two so that its
// larger part lies in [0.5, 1), the arithmetic runs as a sum of two doubles
// on the scaled values (exact products by Dekker's split), and the exponents,
// kept in integers, come back in one step in the x87 extended format, whose
// range holds every intermediate: the result is rounded once to double (a
// subnormal included), with at most 2^-11 ulp more from the 64-bit step.
// A part below 2^-1022 of its operand's larger part is lost to the scaling;
// its weight in the result is below 2^-1000 of the result's magnitude.
//
// Flags: the scaled steps underflow in their cross terms where the result
// does not, so they run under a FlagHold, and only the last step, the
// rounding to the result, raises overflow and underflow. A naive product that
// the recovery of infinities replaces leaves no invalid behind.
#include "vector/complex/scalar.h"

#include <fenv.h>

#include <cmath>

#include "vector/common/exact.h"
#include "vector/common/flag_hold.h"

namespace zev::vk::cx {
namespace {

struct Scaled {
  double re, im;
  int e;
};
Scaled scaled(double re, double im) {
  int e = 0;
  const double m = std::fmax(std::fabs(re), std::fabs(im));
  if (m != 0.0) std::frexp(m, &e);
  return {std::ldexp(re, -e), std::ldexp(im, -e), e};
}

// hi + lo = a + b exactly.
inline void two_sum(double a, double b, double& hi, double& lo) {
  hi = a + b;
  const double bb = hi - a;
  lo = (a - (hi - bb)) + (b - bb);
}

// p + q as a double sum, with p = ph + pl, q = qh + ql.
inline void dd_add(double ph, double pl, double qh, double ql, double& hi, double& lo) {
  double s, e;
  two_sum(ph, qh, s, e);
  e += pl + ql;
  hi = s + e;
  lo = e - (hi - s);
}

// (hi + lo) * 2^e rounded once to double.
inline double finish(double hi, double lo, int e) {
  return static_cast<double>(std::scalbn(static_cast<long double>(hi) + static_cast<long double>(lo), e));
}

inline double box(double x) { return std::copysign(std::isinf(x) ? 1.0 : 0.0, x); }
inline double unnan(double x) { return std::isnan(x) ? std::copysign(0.0, x) : x; }

inline bool finite4(double a, double b, double c, double d) {
  return std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d);
}

// Infinities of a product whose naive result is NaN in both parts, recovered
// as in C's Annex G: an infinite operand makes an infinite result. (Annex G's
// further recovery of products that overflowed has no case here: the callers
// form products in a range where finite ones stay finite.)
// `held` is the invalid flag from before the naive product, put back when the
// recovery takes over.
bool mul_recover(double a, double b, double c, double d, double& x, double& y, const fexcept_t& held) {
  bool re = false;
  if (std::isinf(a) || std::isinf(b)) {
    a = box(a), b = box(b), c = unnan(c), d = unnan(d);
    re = true;
  }
  if (std::isinf(c) || std::isinf(d)) {
    c = box(c), d = box(d), a = unnan(a), b = unnan(b);
    re = true;
  }
  if (!re) return false;
  fesetexceptflag(&held, FE_INVALID);
  fence(a, b, c, d);
  x = HUGE_VAL * (a * c - b * d);
  y = HUGE_VAL * (a * d + b * c);
  return true;
}

}  // namespace

int zmul_full(const zev_complex16* pa, const zev_complex16* pb, zev_complex16* r, bool conj) {
  if (!finite4(pa->re, pa->im, pb->re, pb->im)) {
    // The parts are read after the flag, so that no product moves before it.
    fexcept_t held;
    fegetexceptflag(&held, FE_INVALID);
    const double a = pa->re, b = pa->im, c = pb->re, d = conj ? -pb->im : pb->im;
    // Products of doubles are finite in the extended range: a huge finite
    // product does not turn a sum with an infinity into NaN.
    const long double la = a, lb = b, lc = c, ld = d;
    double x = static_cast<double>(la * lc - lb * ld), y = static_cast<double>(la * ld + lb * lc);
    if (std::isnan(x) && std::isnan(y)) mul_recover(a, b, c, d, x, y, held);
    r->re = x, r->im = y;
    return 0;
  }
  const double a = pa->re, b = pa->im, c = pb->re, d = conj ? -pb->im : pb->im;
  const FlagHold hold;
  const Scaled u = scaled(a, b), v = scaled(c, d);
  double ach, acl, bdh, bdl, adh, adl, bch, bcl, rh, rl, ih, il;
  two_prod(u.re, v.re, ach, acl);
  two_prod(u.im, v.im, bdh, bdl);
  two_prod(u.re, v.im, adh, adl);
  two_prod(u.im, v.re, bch, bcl);
  dd_add(ach, acl, -bdh, -bdl, rh, rl);
  dd_add(adh, adl, bch, bcl, ih, il);
  fence(rh, rl, ih, il);
  hold.drop(kFlagsExact);
  r->re = finish(rh, rl, u.e + v.e);
  r->im = finish(ih, il, u.e + v.e);
  return std::isinf(r->re) || std::isinf(r->im) ? 3 : 0;
}

int cmul_full(const zev_complex8* pa, const zev_complex8* pb, zev_complex8* r, bool conj) {
  // Products of singles are exact in double and nothing overflows there.
  // The parts are read after the flag, so that no product moves before it.
  const bool finite = finite4(pa->re, pa->im, pb->re, pb->im);
  fexcept_t held{};
  if (!finite) fegetexceptflag(&held, FE_INVALID);
  const double a = pa->re, b = pa->im, c = pb->re, d = conj ? -double(pb->im) : double(pb->im);
  // In this operand order, of two NaN parts the one that comes out is the
  // same in every build.
  double x = minus(times(a, c), times(d, b)), y = nan_sum(times(d, a), times(b, c));
  if (!finite && std::isnan(x) && std::isnan(y)) mul_recover(a, b, c, d, x, y, held);
  r->re = static_cast<float>(x), r->im = static_cast<float>(y);
  return finite && (std::isinf(r->re) || std::isinf(r->im)) ? 3 : 0;
}

int zdiv_full(const zev_complex16* pa, const zev_complex16* pb, zev_complex16* r) {
  double a = pa->re, b = pa->im, c = pb->re, d = pb->im;
  const bool num_special = !std::isfinite(a) || !std::isfinite(b);
  const bool den_zero = c == 0.0 && d == 0.0;
  if (num_special && den_zero) {
    // Inf or NaN over a complex zero: an infinite part wins, with the sign of c.
    if (std::isinf(a) || std::isinf(b)) {
      const double s = std::copysign(HUGE_VAL, c);
      r->re = a * s, r->im = b * s;
    } else {
      r->re = r->im = a * b;
    }
    return 0;
  }
  const bool den_inf = std::isinf(c) || std::isinf(d);
  if (den_inf && !std::isnan(a) && !std::isnan(b)) {
    // A finite or infinite numerator over an infinite denominator: a signed
    // zero. Extended range keeps the sums from overflowing before the product.
    const long double c1 = box(c), d1 = box(d);
    const long double a1 = std::isinf(a) || std::isinf(b) ? box(a) : a;
    const long double b1 = std::isinf(a) || std::isinf(b) ? box(b) : b;
    r->re = static_cast<double>((c1 * a1 + d1 * b1) * 0.0L);
    r->im = static_cast<double>((c1 * b1 - d1 * a1) * 0.0L);
    return 0;
  }
  if (std::isnan(a) || std::isnan(b) || std::isnan(c) || std::isnan(d)) {
    r->re = r->im = a + b + c + d;
    return 0;
  }
  if (num_special) {
    // An infinite numerator over a finite denominator: an infinite result.
    const double a1 = box(a), b1 = box(b);
    r->re = HUGE_VAL * (a1 * c + b1 * d);
    r->im = HUGE_VAL * (b1 * c - a1 * d);
    return 0;
  }
  if (den_zero) {
    // A finite numerator over a complex zero: infinities where the numerator
    // is not zero (a pole), NaN for 0/0.
    const double s = std::copysign(HUGE_VAL, c);
    r->re = a * s, r->im = b * s;
    return a == 0.0 && b == 0.0 ? 1 : 2;
  }
  const FlagHold hold;
  const Scaled u = scaled(a, b), v = scaled(c, d);
  double cch, ccl, ddh, ddl, sh, sl;
  two_prod(v.re, v.re, cch, ccl);
  two_prod(v.im, v.im, ddh, ddl);
  dd_add(cch, ccl, ddh, ddl, sh, sl);  // c^2 + d^2 in [0.25, 2]
  double ach, acl, bdh, bdl, bch, bcl, adh, adl, nh, nl;
  two_prod(u.re, v.re, ach, acl);
  two_prod(u.im, v.im, bdh, bdl);
  two_prod(u.im, v.re, bch, bcl);
  two_prod(u.re, v.im, adh, adl);
  const int e = u.e - v.e;
  auto quotient = [&](double h, double l, double& q, double& ql) {
    q = h / sh;
    double t, tl;
    two_prod(q, sh, t, tl);
    ql = ((((h - t) - tl) + l) - q * sl) / sh;
  };
  double rh, rl, ih, il;
  dd_add(ach, acl, bdh, bdl, nh, nl);
  quotient(nh, nl, rh, rl);
  dd_add(bch, bcl, -adh, -adl, nh, nl);
  quotient(nh, nl, ih, il);
  fence(rh, rl, ih, il);
  hold.drop(kFlagsExact);
  r->re = finish(rh, rl, e);
  r->im = finish(ih, il, e);
  return std::isinf(r->re) || std::isinf(r->im) ? 3 : 0;
}

int cdiv_full(const zev_complex8* pa, const zev_complex8* pb, zev_complex8* r) {
  const zev_complex16 a{pa->re, pa->im}, b{pb->re, pb->im};
  zev_complex16 w;
  const int st = zdiv_full(&a, &b, &w);
  r->re = static_cast<float>(w.re), r->im = static_cast<float>(w.im);
  if (st != 0) return st;
  return finite4(a.re, a.im, b.re, b.im) && (std::isinf(r->re) || std::isinf(r->im)) ? 3 : 0;
}

int zabs_full(const zev_complex16* pa, double* r) {
  const double x = pa->re, y = pa->im;
  if (std::isinf(x) || std::isinf(y)) {  // an infinite part wins over NaN
    *r = HUGE_VAL;
    return 0;
  }
  if (std::isnan(x) || std::isnan(y)) {
    *r = x * y;
    return 0;
  }
  if (x == 0.0 && y == 0.0) {
    *r = 0.0;
    return 0;
  }
  const FlagHold hold;
  const Scaled u = scaled(x, y);
  double xh, xl, yh, yl, sh, sl;
  two_prod(u.re, u.re, xh, xl);
  two_prod(u.im, u.im, yh, yl);
  dd_add(xh, xl, yh, yl, sh, sl);  // in [0.25, 2]
  double s = std::sqrt(sh), t, tl;
  two_prod(s, s, t, tl);
  double sc = (((sh - t) - tl) + sl) / (2.0 * s);
  fence(s, sc);
  hold.drop(kFlagsExact);
  *r = finish(s, sc, u.e);
  return std::isinf(*r) ? 3 : 0;
}

int cabs_full(const zev_complex8* pa, float* r) {
  const double x = pa->re, y = pa->im;
  if (std::isinf(x) || std::isinf(y)) {
    *r = HUGE_VALF;
    return 0;
  }
  if (std::isnan(x) || std::isnan(y)) {
    *r = static_cast<float>(x * y);
    return 0;
  }
  // Squares of singles are exact in double; the sum and the root round once
  // each, far below the single's ulp.
  *r = static_cast<float>(std::sqrt(x * x + y * y));
  return std::isinf(*r) ? 3 : 0;
}

}  // namespace zev::vk::cx
