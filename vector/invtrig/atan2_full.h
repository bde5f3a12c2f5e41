// atan2 of any pair of doubles at HA, for scalar functions: the special
// values, finite parts far apart, and the rest through the HA arithmetic of
// invtrig_core.h on one lane. Used by the Atan2 rows and by the complex Arg.
#pragma once

#include <cmath>

#include "vector/common/nan_status.h"
#include "vector/invtrig/invtrig_core.h"

namespace zev::vk::invtrig {

// (t + tl)/pi to the last bit: t times 1/pi as a pair, one rounding.
inline double over_pi(double t, double tl = 0.0) {
  double ph, pl;
  two_prod(t, kInvPi.hi, ph, pl);
  return ph + (pl + (t * kInvPi.lo + tl * kInvPi.hi));
}

// atan2 of any pair of doubles, by the table of special values; finite
// non-zero parts more than 2^60 apart by a shortcut (atan t = t within 2^-120
// of t, and pi/2 - t or pi - t round to pi/2 or pi); the rest scaled by the
// same power of two to exponents near 0 and run through the HA arithmetic.
template <bool Pi>
double atan2_one(double y, double x) {
  using A = Angles<Pi>;
  if (y != y || x != x) return nan_sum(y, x);
  const double ay = std::fabs(y), ax = std::fabs(x);
  const bool xneg = std::signbit(x);
  double r;
  if (std::isinf(ay)) {
    r = std::isinf(ax) ? (xneg ? A::three_quarters : A::quarter.hi) : A::half.hi;
  } else if (std::isinf(ax) || ay == 0) {
    r = xneg ? A::full.hi : 0.0;
  } else if (ax == 0) {
    r = A::half.hi;
  } else {
    int ey, ex;
    std::frexp(ay, &ey);
    std::frexp(ax, &ex);
    if (ey - ex > 60) {
      r = A::half.hi;
    } else if (ex - ey > 60) {
      if (xneg) {
        r = A::full.hi;
      } else {
        // t = ay/ax as a quotient of two numbers near 1, scaled back once.
        const double m = std::ldexp(ay, -ey), big = std::ldexp(ax, -ex), tp = m / big;
        double ph, pl;
        two_prod(tp, big, ph, pl);
        r = std::ldexp(Pi ? over_pi(tp, ((m - ph) - pl) / big) : tp, ey - ex);
      }
    } else {
      const int e = ey > ex ? ey : ex;
      return _mm_cvtsd_f64(
          atan2_d<Level::HA, Pi>(_mm_set1_pd(std::ldexp(y, -e)), _mm_set1_pd(std::ldexp(x, -e))));
    }
  }
  return std::copysign(r, y);
}

}  // namespace zev::vk::invtrig
