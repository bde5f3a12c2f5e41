// Exact remainders by long division on the significands.
//
// |x| = mx * 2^ex and |y| = my * 2^ey with integer significands below 2^53.
// Then |x| mod |y| = ((mx * 2^(ex - ey)) mod my) * 2^ey, and the power of two
// is brought in 11 bits at a time, so that the shifted remainder stays below
// 2^64. The result is a multiple of 2^ey below |y|, hence a double.
#include "vector/remainder/exact.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace zev::vk::rem {
namespace {

// Integer significand and exponent of a positive finite non-zero double.
void split(double v, uint64_t& m, int& e) {
  uint64_t u;
  memcpy(&u, &v, 8);
  const int be = static_cast<int>(u >> 52);
  m = u & 0x000FFFFFFFFFFFFFull;
  if (be == 0) {
    e = -1074;  // subnormal: the unit is the least subnormal
  } else {
    m |= 0x0010000000000000ull;
    e = be - 1075;
  }
}

// ax mod ay for positive finite ax and ay.
double mod_abs(double ax, double ay) {
  if (ax < ay) return ax;
  uint64_t mx, my;
  int ex, ey;
  split(ax, mx, ex);
  split(ay, my, ey);
  uint64_t r = mx % my;
  int d = ex - ey;
  while (d > 0 && r != 0) {
    const int k = d < 11 ? d : 11;
    r = (r << k) % my;
    d -= k;
  }
  return std::ldexp(static_cast<double>(r), ey);  // exact: a multiple of 2^ey below ay
}

}  // namespace

double fmod_exact(double x, double y) { return std::copysign(mod_abs(std::fabs(x), std::fabs(y)), x); }

double remainder_exact(double x, double y) {
  const double ax = std::fabs(x), ay = std::fabs(y);
  double r;
  bool odd;
  if (ay <= 0x1.fffffffffffffp1022) {
    // Reduce modulo 2|y| (finite) to learn the parity of the quotient.
    r = mod_abs(ax, ay + ay);
    odd = r >= ay;
    if (odd) r -= ay;  // exact
  } else {
    // |y| >= 2^1023 > |x|/2: the quotient is 0 or 1.
    odd = ax >= ay;
    r = odd ? ax - ay : ax;
  }
  // r in [0, |y|); |y| - r is exact, so the comparison with half of |y| is too.
  const double rest = ay - r;
  if (r > rest || (r == rest && odd)) r = -rest;
  if (r == 0) return std::copysign(0.0, x);
  return std::signbit(x) ? -r : r;
}

}  // namespace zev::vk::rem
