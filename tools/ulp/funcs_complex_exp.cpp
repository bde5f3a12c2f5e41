// Complex rows of the exponential, logarithms and powers against MPC: Exp,
// Ln, Log10, Pow, Powx. The row's own points: the edges of the vector ranges
// (x near -700, 708 for z, -87, 88 for c), the overflow and underflow
// thresholds of e^x where a part stays representable, arguments near zeros of
// cos and sin, points on and near the unit circle (log1p territory) and on the
// branch cut, huge and tiny parts, and powers whose exponent w log z is large.
#include <cfloat>
#include <cmath>

#include "tools/ulp/complex_measure.h"

namespace zev::ulp {
namespace {

void exp_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_exp(v, a, MPC_RNDNN); }
void log_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_log(v, a, MPC_RNDNN); }
void log10_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_log10(v, a, MPC_RNDNN); }
void pow_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { pow_exact(v, a, b); }

void exp_points(std::vector<CPoint>& p, bool single) {
  const double lo = single ? -87.0 : -700.0, hi = single ? 88.0 : 708.0;
  const double ovf = single ? 88.72283935546875 : 709.782712893384, unf = single ? -103.97 : -745.13;
  const double ys[] = {0.0, -0.0, 1.0, -2.5, 1.5707963267948966, 3.141592653589793, 1e4, 65536.5, 1e22, -1e300, 3e38};
  for (double x : {lo, std::nextafter(lo, -1e9), hi, std::nextafter(hi, 1e9), ovf, ovf + 0.3, ovf + 1.0,
                   ovf * 1.9, unf, unf - 0.4, single ? -88.0 : -708.5, single ? -126.0 : -1020.0, 0.0, -0.0,
                   1e-30, -1e-300})
    for (double y : ys) p.push_back({x, y, 0, 0});
  // Near zeros of cos y: the real part much below the imaginary.
  for (int k = 1; k < 40; ++k) {
    const double y = k * 1.5707963267948966;
    p.push_back({0.5, y, 0, 0});
    p.push_back({single ? 88.5 : 709.9, y, 0, 0});
  }
}

void ln_points(std::vector<CPoint>& p, bool single) {
  // On and near the unit circle: |z|^2 - 1 tiny.
  for (int k = 0; k < 64; ++k) {
    const double t = 0.01 + k * 0.049;
    const double x = std::cos(t), y = std::sin(t);
    p.push_back({x, y, 0, 0});
    p.push_back({-x, y, 0, 0});
    p.push_back({x, -y * (1 + 0x1p-30), 0, 0});
  }
  const double eps = single ? 0x1p-24 : 0x1p-53;
  for (double x : {1.0, 1.0 + 2 * eps, 1.0 - eps, -1.0, 0.6, 0.8})
    for (double y : {0.0, -0.0, eps, 1e-20, 1e-300, 0x1p-1074, 0.8, 0.6})
      p.push_back({x, y, 0, 0});
  // The branch cut and the axes; huge and tiny parts.
  const double big = single ? FLT_MAX : DBL_MAX, tiny = single ? 0x1p-149 : 0x1p-1074;
  for (double x : {-2.0, -1e-5, -1e30, -big, big, tiny, -tiny, 0x1p-500, 0x1p500, 0x1p-501, 0x1p501, 3e-320})
    for (double y : {0.0, -0.0, tiny, -tiny, 1e-310, 1.0, -3.0, big, 0x1p-1019, 0x1p-1020})
      p.push_back({x, y, 0, 0}), p.push_back({y, x, 0, 0});
}

void pow_points(std::vector<CPoint>& p, bool single) {
  // w log z large: results near the overflow and underflow thresholds.
  const double e = single ? 80.0 : 700.0;
  for (double x : {2.0, 0.5, -3.0, 1.0, 1e-3, 1e10})
    for (double wr : {0.0, 1.0, -1.0, 2.0, 0.5, -0.5, 3.0, e / std::log(10.0), -e / std::log(10.0), 1e3})
      for (double wi : {0.0, -0.0, 1.0, 0.25})
        p.push_back({x, 0.5, wr, wi}), p.push_back({x, 0.0, wr, wi});
  // Zero bases, unit bases, integer exponents.
  for (double wr : {0.0, 2.0, -2.0, 0.5, 3.0})
    for (double wi : {0.0, 1.0}) {
      p.push_back({0.0, 0.0, wr, wi});
      p.push_back({-0.0, 0.0, wr, wi});
      p.push_back({1.0, 0.0, wr, wi});
      p.push_back({0.0, 1.0, wr, wi});
    }
}

// Exponents drawn over every binade make |w log z| astronomically large: the
// result then overflows or underflows at an angle that depends on more bits
// of log z than double arithmetic carries. The random points bring |w log z|
// below a bound drawn over [2^-20, 1.25 L] (L the overflow threshold of e^x),
// which covers every representable result, its overflow and its underflow;
// the special points above still cross every class. Pow scales w; Powx, whose
// w is shared by a run of points, replaces z by exp(s log z).
void pow_tie(CPoint& q, Rng& g, bool single, bool keep_b) {
  const double lr = std::log(std::hypot(q.ar, q.ai)), la = std::atan2(q.ai, q.ar);
  const double lz = std::hypot(lr, la), w = std::hypot(q.br, q.bi);
  if (!std::isfinite(lz) || !std::isfinite(w) || lz == 0 || w == 0) return;
  const double limit = (single ? 88.72 : 709.78) * 1.25;
  const double bound = std::ldexp(limit * (0.5 + 0.5 * g.uniform()), -static_cast<int>(g.below(21)));
  if (w * lz <= bound) return;
  const double s = bound / (w * lz);
  if (!keep_b) {
    q.br *= s, q.bi *= s;
    return;
  }
  const double m = std::exp(s * lr);
  q.ar = m * std::cos(s * la), q.ai = m * std::sin(s * la);
}

const CRow kExp{CArity::Unary, exp_fn, exp_points}, kLn{CArity::Unary, log_fn, ln_points},
    kLog10{CArity::Unary, log10_fn, ln_points}, kPow{CArity::Binary, pow_fn, pow_points, pow_tie},
    kPowx{CArity::Scalar, pow_fn, pow_points, pow_tie};

Registrar reg({
    ZEV_CROW("zExp", kExp), ZEV_CROW("cExp", kExp), ZEV_CROW("zLn", kLn), ZEV_CROW("cLn", kLn),
    ZEV_CROW("zLog10", kLog10), ZEV_CROW("cLog10", kLog10), ZEV_CROW("zPow", kPow), ZEV_CROW("cPow", kPow),
    ZEV_CROW("zPowx", kPowx), ZEV_CROW("cPowx", kPowx),
});

}  // namespace
}  // namespace zev::ulp
