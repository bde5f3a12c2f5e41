// The half-turn and degree forms of sine, cosine and tangent. MPFR's sinpi,
// cospi, tanpi and sinu, cosu, tanu (u = 360) are the references; inputs span
// every binade up to the largest finite value, with dense steps around
// integers, half-integers and quarters (half-turns) and multiples of 45
// degrees, near and far.
#include <cfloat>
#include <vector>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_sinpi(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sinpi(y, a, MPFR_RNDN); }
void ref_cospi(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_cospi(y, a, MPFR_RNDN); }
void ref_tanpi(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_tanpi(y, a, MPFR_RNDN); }
void ref_sind(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sinu(y, a, 360, MPFR_RNDN); }
void ref_cosd(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_cosu(y, a, 360, MPFR_RNDN); }
void ref_tand(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_tanu(y, a, 360, MPFR_RNDN); }

// Multiples of `step` (a quarter turn over two) near zero and far out, both signs.
std::vector<double> points(double step, bool single) {
  std::vector<double> v{0.0, 0x1p-30, -0x1p-30, 1e-300};
  const double far[] = {1.0, 7.0, 1e3 + 1, 0x1p20 + 3, single ? 0x1p22 + 1 : 0x1p49 + 1};
  for (double m : far)
    for (int j = 0; j < 8; ++j) {
      const double p = (m + j) * step;
      v.push_back(p);
      v.push_back(-p);
    }
  for (double big : {single ? 0x1p23 : 0x1p51, single ? 0x1p24 : 0x1p52, single ? 0x1p25 : 0x1p53,
                     single ? 0x1p46 : 0x1p46, single ? 1e38 : 1e300})
    v.push_back(big), v.push_back(-big);
  return v;
}

std::vector<Range> ranges(double lo, double hi, bool single) {
  const double max = single ? FLT_MAX : DBL_MAX;
  return {{-max, max}, {lo, hi}};
}

Registrar reg({
    {.row = "sSinpi", .ref = ref_sinpi, .a = ranges(-4.0, 4.0, true), .points = points(0.25, true)},
    {.row = "sCospi", .ref = ref_cospi, .a = ranges(-4.0, 4.0, true), .points = points(0.25, true)},
    {.row = "sTanpi", .ref = ref_tanpi, .a = ranges(-4.0, 4.0, true), .points = points(0.25, true)},
    {.row = "sSind", .ref = ref_sind, .a = ranges(-720.0, 720.0, true), .points = points(45.0, true)},
    {.row = "sCosd", .ref = ref_cosd, .a = ranges(-720.0, 720.0, true), .points = points(45.0, true)},
    {.row = "sTand", .ref = ref_tand, .a = ranges(-720.0, 720.0, true), .points = points(45.0, true)},
    {.row = "dSinpi", .ref = ref_sinpi, .a = ranges(-4.0, 4.0, false), .points = points(0.25, false)},
    {.row = "dCospi", .ref = ref_cospi, .a = ranges(-4.0, 4.0, false), .points = points(0.25, false)},
    {.row = "dTanpi", .ref = ref_tanpi, .a = ranges(-4.0, 4.0, false), .points = points(0.25, false)},
    {.row = "dSind", .ref = ref_sind, .a = ranges(-720.0, 720.0, false), .points = points(45.0, false)},
    {.row = "dCosd", .ref = ref_cosd, .a = ranges(-720.0, 720.0, false), .points = points(45.0, false)},
    {.row = "dTand", .ref = ref_tand, .a = ranges(-720.0, 720.0, false), .points = points(45.0, false)},
});

}  // namespace
}  // namespace zev::ulp
