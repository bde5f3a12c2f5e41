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
void sin(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_sin(v, a, MPC_RNDNN); }
void cos(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_cos(v, a, MPC_RNDNN); }
void sinh(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_sinh(v, a, MPC_RNDNN); }
void cosh(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_cosh(v, a, MPC_RNDNN); }
void tanh(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { tanh_exact(v, a, b); }
void tan(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { tan_exact(v, a, b); }
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

// The hyperbolic part (re for Sinh, Cosh, Tanh; im for the circular rows):
// near 0, near 1/4 (where sinh changes method), around the overflow
// thresholds and beyond; the circular part near multiples of pi/2, tiny,
// huge.
template <bool Circular>
void hyp_points(std::vector<CPoint>& p, bool single) {
  const double h[] = {0.0, 0x1p-1074, 0x1p-901, 0x1p-899, 1e-300, 1e-20, 0x1p-28, 0.2499999, 0.25, 0.2500001, 1.0, 3.5,
                      19.999, 20.0, 25.0, 360.0, 1419.0, 1500.0, 88.0, 89.5, 95.0, 707.9, 708.0, 709.7, 710.5, 720.0, 750.0, 800.0, 3000.0, 1e300};
  const double t[] = {0.0, 0x1p-1074, 0x1p-901, 1e-300, 1e-10, 0.5, 1.5707963267948966, 1.5707963267948968,
                      3.141592653589793, 4.71238898038469, 1e5, 1e22, 1e300, 0x1.fffffffffffffp1023};
  (void)single;
  for (double a : h)
    for (double b : t)
      for (double sa : {1.0, -1.0})
        for (double sb : {1.0, -1.0}) p.push_back(Circular ? CPoint{sb * b, sa * a, 0, 0} : CPoint{sa * a, sb * b, 0, 0});
}

const CRow kCIS{CArity::RealIn, cis, cis_points}, kArg{CArity::Real, arg, arg_points};
const CRow kSinh{CArity::Unary, sinh, hyp_points<false>}, kCosh{CArity::Unary, cosh, hyp_points<false>},
    kSin{CArity::Unary, sin, hyp_points<true>}, kCos{CArity::Unary, cos, hyp_points<true>},
    kTanh{CArity::Unary, tanh, hyp_points<false>}, kTan{CArity::Unary, tan, hyp_points<true>};

Registrar reg({
    ZEV_CROW("zCIS", kCIS),
    ZEV_CROW("cCIS", kCIS),
    ZEV_CROW("zArg", kArg),
    ZEV_CROW("zSinh", kSinh), ZEV_CROW("zCosh", kCosh), ZEV_CROW("zSin", kSin), ZEV_CROW("zCos", kCos),
    ZEV_CROW("cSinh", kSinh), ZEV_CROW("cCosh", kCosh), ZEV_CROW("cSin", kSin), ZEV_CROW("cCos", kCos),
    ZEV_CROW("zTanh", kTanh), ZEV_CROW("zTan", kTan), ZEV_CROW("cTanh", kTanh), ZEV_CROW("cTan", kTan),
});

}  // namespace
}  // namespace zev::ulp
