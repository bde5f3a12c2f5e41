// Exhaustive check rows of the error functions and the normal distribution.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

// The normal distribution from glibc's long double erfc (Phi(x) = erfc(-x/sqrt2)/2).
double ref_cdfnorm(double x) {
  return static_cast<double>(0.5L * erfcl(static_cast<long double>(x) * -0.7071067811865475244008443621L));
}
// The inverse error functions: one Newton step on glibc's erf or erfc from our
// double HA result (within a few 1e-16 of the root), the target taken exactly:
// erf(z) = a for a <= 1/2, erfc(z) = w (w = 1 - a, y or 2 - y, all exact)
// otherwise. The step leaves an error of the order of glibc's, far below
// 2^-30 of a single ulp.
double newton(double z, double t, bool pole) {
  const double slope = 1.1283791670955126 * std::exp(-z * z);
  return pole ? z + (std::erfc(z) - t) / slope : z + (t - std::erf(z)) / slope;
}
// erfc(z) = w for w below 2^-53, where the double kernels take their slow
// series: Newton's method on ln erfc (concave, decreasing) until the step
// falls below 2^-40 z (quadratic convergence leaves the root within double
// rounding). The start is the root of the previous argument when it lies
// within 2^-20 below (the scan walks the floats upwards: two steps), else one
// asymptotic substitution z^2 = -ln w - ln(z sqrt(pi)).
double tail_root(double w) {
  thread_local double last_w = 0, last_z = 0;
  const double lw = std::log(w);
  double z;
  if (w > last_w && w <= last_w * (1 + 0x1p-20)) {
    z = last_z;
  } else {
    z = std::sqrt(-lw);
    z = std::sqrt(-lw - std::log(z * 1.7724538509055159));
  }
  for (int i = 0; i < 40; ++i) {
    const double e = std::erfc(z);
    const double step = (std::log(e) - lw) * e / (1.1283791670955126 * std::exp(-z * z));
    z += step;
    if (std::fabs(step) < 0x1p-40 * z) {
      last_w = w, last_z = z;
      return z;
    }
  }
  return NAN;
}
double ref_erfcinv_of(double y) {  // y in (0, 2)
  if (y < 0x1p-53) return tail_root(y);
  double z;
  _vqmdErfcInv_HA(1, &y, &z);
  if (y < 0.5) return newton(z, y, true);
  if (y > 1.5) return -newton(-z, 2.0 - y, true);
  return std::copysign(newton(std::fabs(z), std::fabs(1.0 - y), false), z);
}
double ref_erfinv(double x) {
  const double a = std::fabs(x);
  if (!(a < 1.0)) return a == 1.0 ? std::copysign(HUGE_VAL, x) : NAN;
  if (a == 0.0) return x;
  double z;
  _vqmdErfInv_HA(1, &a, &z);
  return std::copysign(a <= 0.5 ? newton(z, a, false) : newton(z, 1.0 - a, true), x);
}
double ref_erfcinv(double y) {
  if (!(y >= 0.0 && y <= 2.0)) return NAN;
  if (y == 0.0 || y == 2.0) return y == 0.0 ? HUGE_VAL : -HUGE_VAL;
  return y == 1.0 ? 0.0 : ref_erfcinv_of(y);
}
double ref_cdfnorminv(double p) {
  if (!(p >= 0.0 && p <= 1.0)) return NAN;
  if (p == 0.0 || p == 1.0) return p == 0.0 ? -HUGE_VAL : HUGE_VAL;
  return p == 0.5 ? 0.0 : -1.4142135623730951 * ref_erfcinv_of(2.0 * p);
}

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sErf, ::erf, false, 1, Class::Exact),
    ZEV_CHECK(sErfc, ::erfc, false, -1, Class::Zero),
    ZEV_CHECK(sCdfNorm, ref_cdfnorm, false, -1, Class::Zero),
    ZEV_CHECK(sErfInv, ref_erfinv, false, 1, Class::Exact),
    ZEV_CHECK(sErfcInv, ref_erfcinv, false, -1, Class::Exact),
    ZEV_CHECK(sCdfNormInv, ref_cdfnorminv, false, -1, Class::Exact),
};

}  // namespace
