// The cores of the complex inverse circular and hyperbolic functions, in the
// x87 extended format (64-bit significand), for parts of the first quadrant.
//
// Asin and Acos (and through the identities Asinh and Acosh) follow Hull,
// Fairgrieve and Tang (ACM TOMS 23(3), 1997): with r = |z + 1|, s = |z - 1|
// and A = (r + s)/2 >= 1,
//   asin z = asin(x / A) + i log(A + sqrt(A^2 - 1)),
// where A - 1 and A - x are formed as sums of positive terms (the differences
// r - (x + 1), s -+ (x - 1) rewritten as y^2 over a sum), so that nothing
// cancels near the segment [-1, 1], and
//   real part   atan2(x, sqrt((A + x)(A - x)))       (asin; acos swaps the two)
//   imag part   log1p(A - 1 + sqrt((A - 1)(A + 1)))  (A <= 1.5)
//               log(A + sqrt(A^2 - 1))               (A > 1.5).
// Atanh follows Kahan ("Branch cuts for complex elementary functions", 1987):
//   real part   log1p(4x / ((1 - x)^2 + y^2)) / 4
//   imag part   atan2(2y, (1 - x)(1 + x) - y^2) / 2.
// The extended format holds the square of every double and its reciprocal
// square, so none of these overflow or underflow for finite double or single
// parts, and the hand scaling the double algorithms need is not needed here.
// Its 11 spare bits absorb the few roundings of each formula: every part is
// within about 2^-60 relative of the exact value before its one rounding to
// the element's type, so the stored parts are within 0.51 ulp.
//
// Only +, -, *, / and the square root of the x87 unit are used (each rounded
// to nearest at 64 bits under ExtGuard's control word): the transcendental
// x87 instructions, whose last bits differ between processor makers, are not.
// The logarithm is the extended one of the gamma family; the arctangent is
// below.
#pragma once

#include <cmath>

#include "vector/gamma/gamma_ext.h"

namespace zev::vk::catrig {

using LD = long double;
using gammax::ExtGuard;

// pi and its fractions rounded to 64 bits (pi = 0xC.90FDAA22168C234C4C6...).
inline constexpr LD kPiL = 0xC.90FDAA22168C235p-2L;
inline constexpr LD kPi2L = 0xC.90FDAA22168C235p-3L;
inline constexpr LD kPi4L = 0xC.90FDAA22168C235p-4L;

inline LD sqrt_ext(LD x) { return __builtin_sqrtl(x); }

// log(1 + t) for t >= 0 (finite): log u * t / (u - 1) with u = 1 + t rounded
// (u - 1 is exact), so the rounding of u cancels to first order.
inline LD log1p_ext(LD t) {
  const LD u = 1 + t;
  if (u == 1) return t;
  return gammax::log(u) * (t / (u - 1));
}

// atan t for 0 <= t <= 1: above tan(pi/8), atan t = pi/4 + atan((t - 1)/(t + 1));
// then two halvings u -> u / (1 + sqrt(1 + u^2)) bring |u| below tan(pi/32)
// = 0.0985, where the odd series to u^21 is within 2^-66 relative.
inline LD atan_unit(LD t) {
  LD base = 0, u = t;
  if (t > 0.41421356237309504880L) {
    base = kPi4L;
    u = (t - 1) / (t + 1);
  }
  u = u / (1 + sqrt_ext(1 + u * u));
  u = u / (1 + sqrt_ext(1 + u * u));
  const LD z = u * u;
  LD p = 1.0L / 21;
  for (int k = 9; k >= 0; --k) p = p * -z + 1.0L / (2 * k + 1);
  return base + 4 * (u * p);
}

// atan2(n, d) for n >= 0 finite and d finite, not both zero; d = -0 counts as
// positive (the callers pass +0 only).
inline LD atan2_ext(LD n, LD d) {
  const LD ad = d < 0 ? -d : d;
  const LD a = n <= ad ? atan_unit(n / ad) : kPi2L - atan_unit(ad / n);
  return d < 0 ? kPiL - a : a;
}

// asin and acos of x + iy, x, y >= 0 finite: the real part of asin
// (in [0, pi/2]) and of acos (in [0, pi/2]; acos of -x is pi minus it), and
// the imaginary part's magnitude (asin's; acos's is its negative).
struct AsinParts {
  LD re_asin, re_acos, im;
};
inline AsinParts asin_first(LD x, LD y) {
  const LD xp1 = x + 1, y2 = y * y;
  const LD r = sqrt_ext(xp1 * xp1 + y2);
  const LD xm1 = x - 1;
  const LD s = sqrt_ext(xm1 * xm1 + y2);
  const LD A = (r + s) / 2;
  const LD t = y2 / (r + xp1);  // r - (x + 1)
  LD am1, amx;                  // A - 1 and A - x
  if (x < 1) {
    am1 = (t + y2 / (s - xm1)) / 2;  // s - (1 - x) = y^2 / (s + (1 - x))
    amx = (t + (s - xm1)) / 2;
  } else {
    am1 = (t + (s + xm1)) / 2;
    amx = y == 0 ? 0 : (t + y2 / (s + xm1)) / 2;  // s - (x - 1)
  }
  const LD q = sqrt_ext((A + x) * amx);
  AsinParts p;
  p.re_asin = atan2_ext(x, q);
  p.re_acos = atan2_ext(q, x);
  p.im = A <= 1.5L ? log1p_ext(am1 + sqrt_ext(am1 * (A + 1))) : gammax::log(A + sqrt_ext(A * A - 1));
  return p;
}

// atanh of x + iy, x, y >= 0 finite, not the pole 1 + 0i: both parts (the
// imaginary one in [0, pi/2]).
struct AtanhParts {
  LD re, im;
};
inline AtanhParts atanh_first(LD x, LD y) {
  const LD omx = 1 - x, y2 = y * y;
  const LD den = omx * omx + y2;
  AtanhParts p;
  p.re = log1p_ext(4 * x / den) / 4;
  p.im = atan2_ext(2 * y, omx * (1 + x) - y2) / 2;
  return p;
}

}  // namespace zev::vk::catrig
