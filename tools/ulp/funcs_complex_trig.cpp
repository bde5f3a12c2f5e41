// Complex circular and hyperbolic rows against MPC: CIS (through MPFR's
// simultaneous sine and cosine), zArg, and the points of their own: arguments
// near multiples of pi/2 and at the thresholds of the reduction paths, Arg
// near its axes, on the diagonals and with parts far apart.
#include <cfloat>
#include <cmath>
#include <vector>

#include "tools/ulp/complex_measure.h"

namespace zev::ulp {
namespace {

void cis(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  mpfr_sin_cos(mpc_imagref(v), mpc_realref(v), mpc_realref(a), MPFR_RNDN);
}
void arg(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  mpc_arg(mpc_realref(v), a, MPFR_RNDN);
  mpfr_set_zero(mpc_imagref(v), 1);
}

// Multiples of pi/2 and their neighbours, the reduction thresholds, huge
// arguments, tiny ones.
void cis_points(std::vector<CPoint>& p, bool single) {
  const double pio2 = 1.5707963267948966;
  for (int k = -40; k <= 40; ++k) {
    const double x = k * pio2;
    for (int s = -2; s <= 2; ++s) {
      double y = single ? static_cast<float>(x) : x;
      for (int t = 0; t < (s < 0 ? -s : s); ++t)
        y = single ? std::nextafter(static_cast<float>(y), s < 0 ? -1e30f : 1e30f) : std::nextafter(y, s * 1e300);
      p.push_back({y, 0, 0, 0});
    }
  }
  for (double x : {10000.0, 10000.0009765625, 9999.999, 65536.0, 65536.00349206588, 65536.0034920659, 1e22,
                   0x1p1023, 0x1.fffffffffffffp1023, 1e300, 6381956970095103.0 * 0x1p797, 0x1p-30, 0x1p-1074,
                   1e-310, 355.0, 103993.0, 1.0e5})
    for (double s : {1.0, -1.0}) p.push_back({s * x, 0, 0, 0});
}

// Arg: axes, diagonals, parts far apart and the limits of the vector paths.
void arg_points(std::vector<CPoint>& p, bool) {
  const double v[] = {1.0, 0x1p-1019, 0x1p-1020, 0x1p993, 0x1p992, 0x1p-900, 0x1p960, 0x1p-1074, 1e-300, 1e300,
                      DBL_MAX, 3.0, 0x1.0000000000001p0};
  for (double a : v)
    for (double b : v)
      for (double sa : {1.0, -1.0})
        for (double sb : {1.0, -1.0}) p.push_back({sa * a, sb * b, 0, 0});
  for (int e = 0; e < 80; e += 3) {
    p.push_back({1.0, std::ldexp(1.0, -e), 0, 0});
    p.push_back({-1.0, std::ldexp(1.0, -e), 0, 0});
    p.push_back({std::ldexp(1.0, -e), -1.0, 0, 0});
  }
}

const CRow kCIS{CArity::RealIn, cis, cis_points}, kArg{CArity::Real, arg, arg_points};

Registrar reg({
    ZEV_CROW("zCIS", kCIS),
    ZEV_CROW("cCIS", kCIS),
    ZEV_CROW("zArg", kArg),
});

}  // namespace
}  // namespace zev::ulp
