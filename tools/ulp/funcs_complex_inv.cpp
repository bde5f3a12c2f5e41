// Complex inverse circular and hyperbolic rows against MPC: Asin, Acos, Atan,
// Asinh, Acosh, Atanh. Own points: on and beside both sides of the branch
// cuts (real axis outside [-1, 1] for asin, acos, atanh, acosh below 1;
// imaginary axis outside [-i, i] for asinh, atan), near +-1 and +-i (where
// A - 1 and 1 - |z|^2 cancel), on the unit circle, and tiny and huge parts.
#include <cmath>
#include <vector>

#include "tools/ulp/complex_measure.h"

namespace zev::ulp {
namespace {

void asin_(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_asin(v, a, MPC_RNDNN); }
void acos_(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_acos(v, a, MPC_RNDNN); }
void atan_(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_atan(v, a, MPC_RNDNN); }
void asinh_(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_asinh(v, a, MPC_RNDNN); }
void acosh_(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_acosh(v, a, MPC_RNDNN); }
void atanh_(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_atanh(v, a, MPC_RNDNN); }

// The same points for every row: each point also enters as its image under
// z -> iz (up to signs), so the rows with cuts on the real axis and those
// with cuts on the imaginary axis get both sets.
void extra(std::vector<CPoint>& p, bool single) {
  const int prec = single ? 24 : 53;
  const double eps = std::ldexp(1.0, -prec);
  const double tiny = single ? 0x1p-149 : 0x1p-1074, huge = single ? 0x1p127 : 0x1p1023;
  std::vector<std::pair<double, double>> q;
  // Near +-1: 1 +- k eps with tiny to moderate imaginary parts.
  for (double d : {0.0, eps, -eps / 2, 8 * eps, -8 * eps, 0x1p-10, -0x1p-10})
    for (double y : {0.0, tiny, 0x1p-100, eps, std::sqrt(eps), 0x1p-4, 1.0})
      q.push_back({1 + d, y});
  // On the cut beyond 1, and beside it.
  for (double x : {1.5, 2.0, 10.0, 1e10, huge})
    for (double y : {0.0, tiny, 0x1p-60, 0x1p-30})
      q.push_back({x, y});
  // The unit circle and beside it: 1 - |z|^2 cancels in atanh.
  for (int k = 1; k < 16; ++k) {
    const double t = k * 0.098174770424681;  // k pi/32
    const double c = std::cos(t), s = std::sin(t);
    q.push_back({c, s});
    q.push_back({c * (1 + eps), s});
    q.push_back({c, s * (1 - eps)});
  }
  // Tiny and huge parts, mixed.
  for (double x : {tiny, 0x1p-600, 0x1p-30, 0.5, 2.0, 0x1p30, 0x1p600, huge})
    for (double y : {tiny, 0x1p-600, 0x1p-30, 0.5, 2.0, 0x1p30, 0x1p600, huge})
      q.push_back({x, y});
  for (auto [x, y] : q) {
    for (double sx : {1.0, -1.0})
      for (double sy : {1.0, -1.0}) {
        p.push_back({sx * x, sy * y, 0, 0});
        p.push_back({sy * y, sx * x, 0, 0});  // the image under z -> iz (up to signs)
      }
  }
}

const CRow kAsin{CArity::Unary, asin_, extra}, kAcos{CArity::Unary, acos_, extra},
    kAtan{CArity::Unary, atan_, extra}, kAsinh{CArity::Unary, asinh_, extra},
    kAcosh{CArity::Unary, acosh_, extra}, kAtanh{CArity::Unary, atanh_, extra};

Registrar reg({
    ZEV_CROW("cAsinh", kAsinh), ZEV_CROW("cAsin", kAsin), ZEV_CROW("cAcosh", kAcosh),
    ZEV_CROW("cAcos", kAcos),   ZEV_CROW("cAtanh", kAtanh), ZEV_CROW("cAtan", kAtan),
    ZEV_CROW("zAsinh", kAsinh), ZEV_CROW("zAsin", kAsin), ZEV_CROW("zAcos", kAcos),
    ZEV_CROW("zAcosh", kAcosh), ZEV_CROW("zAtanh", kAtanh), ZEV_CROW("zAtan", kAtan),
});

}  // namespace
}  // namespace zev::ulp
