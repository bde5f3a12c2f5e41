// The circular functions: Sin, Cos, SinCos (both results), Tan.
// Inputs over every binade up to the largest finite value, dense steps around
// multiples of pi/2 and pi/256, the kernels' switch points (the large-path
// bounds 10000, 65536.00349206588, 2^23, 2^24; for Tan 8256 and 128000), 1e22, and the arguments
// closest to a multiple of pi/2 in each format.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_sin(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sin(y, a, MPFR_RNDN); }
void ref_cos(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_cos(y, a, MPFR_RNDN); }
void ref_tan(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_tan(y, a, MPFR_RNDN); }

std::vector<double> points(bool single) {
  std::vector<double> v{0.0,     1e-30,   10000.0, 65536.00349206588, 8388608.0, 16777216.0, 1e22,
                        -1e22,   0x1p-20, 0x1p-26, 0x1p-54,           1e300,     1e10,       -3e5};
  v.push_back(single ? FLT_MAX : DBL_MAX);
  v.push_back(single ? 16367173.0 * 0x1p72 : 6381956970095103.0 * 0x1p797);  // nearest a multiple of pi/2
  for (int k = 1; k <= 40; ++k) v.push_back(k * M_PI_2);
  for (double k : {100.0, 1000.0, 5000.0, 6366.0, 40000.0, 41721.0, 1e6, 1e7})
    v.push_back(std::nearbyint(k) * M_PI_2);
  for (int j = 1; j < 8; ++j) v.push_back(j * M_PI / 256);
  return v;
}

// The tangent's switch points besides: 8256 and 128000, and the poles.
std::vector<double> tan_points(bool single) {
  std::vector<double> v = points(single);
  for (double x : {8256.0, 128000.0, 1e5, 3e5}) v.push_back(x);
  return v;
}

const std::vector<Range> kRanges = {{-DBL_MAX, DBL_MAX}, {-10.0, 10.0}, {-70000.0, 70000.0}, {-1e6, 1e6}};
const std::vector<Range> kRangesS = {{-FLT_MAX, FLT_MAX}, {-10.0, 10.0}, {-20000.0, 20000.0}, {-1e6, 1e6}};

Registrar reg({
    {.row = "sSin", .ref = ref_sin, .a = kRangesS, .points = points(true)},
    {.row = "dSin", .ref = ref_sin, .a = kRanges, .points = points(false)},
    {.row = "sCos", .ref = ref_cos, .a = kRangesS, .points = points(true)},
    {.row = "dCos", .ref = ref_cos, .a = kRanges, .points = points(false)},
    {.row = "sSinCos", .arity = Arity::First2, .ref = ref_sin, .a = kRangesS, .points = points(true)},
    {.row = "sSinCos", .arity = Arity::Second2, .ref = ref_cos, .a = kRangesS, .points = points(true)},
    {.row = "dSinCos", .arity = Arity::First2, .ref = ref_sin, .a = kRanges, .points = points(false)},
    {.row = "dSinCos", .arity = Arity::Second2, .ref = ref_cos, .a = kRanges, .points = points(false)},
    {.row = "sTan", .ref = ref_tan, .a = kRangesS, .points = tan_points(true)},
    {.row = "dTan", .ref = ref_tan, .a = kRanges, .points = tan_points(false)},
});

}  // namespace
}  // namespace zev::ulp
