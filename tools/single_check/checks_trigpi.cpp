// Exhaustive check rows of the half-turn and degree functions.
#include <cmath>
#include <cstdint>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

// Half-turn and degree functions of a single x: the nearest quarter turn
// taken out exactly (degrees beyond 2^46 first reduced by fmod, also exact),
// then glibc's double functions on the rest in radians (within 2^-51 of the
// value), quadrant by quadrant; zeros and poles carry the signs the kernels
// promise (sine: x's; cosine: +0; tangent: sine over cosine).
template <int Unit, int F>  // Unit: 2 half-turns, 360 degrees; F: 0 sin, 1 cos, 2 tan
double ref_turn(double x) {
  if (!std::isfinite(x)) return x - x;
  double m = std::fabs(x);
  if (Unit == 360 && m >= 0x1p46) m = std::fmod(m, 360.0);
  if (Unit == 2 && m >= 0x1p24) m = 0;  // an even integer
  const double k = std::nearbyint(m * 4 / Unit);
  const double r = (m - k * (Unit / 4.0)) * (M_PI * 2 / Unit);
  const int q = static_cast<int>(static_cast<int64_t>(k) & 3);
  double s, c;
  sincos(r, &s, &c);
  const double sq[4] = {s, c, -s, -c}, cq[4] = {c, -s, -c, s};
  const double sv = sq[q] + 0.0, cv = cq[q] + 0.0;
  const double sign = std::signbit(x) ? -1.0 : 1.0;
  return sign * (F == 0 ? sv : F == 1 ? sign * cv : sv / cv);
}

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sSinpi, (ref_turn<2, 0>), false, 1, Class::Exact),
    ZEV_CHECK(sCospi, (ref_turn<2, 1>), false, 0, Class::Exact),
    ZEV_CHECK(sTanpi, (ref_turn<2, 2>), false, 1, Class::Exact),
    ZEV_CHECK(sSind, (ref_turn<360, 0>), false, 1, Class::Exact),
    ZEV_CHECK(sCosd, (ref_turn<360, 1>), false, 0, Class::Exact),
    ZEV_CHECK(sTand, (ref_turn<360, 2>), false, 1, Class::Exact),
};

}  // namespace
