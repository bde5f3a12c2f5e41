// The inverse circular functions: Asin, Acos, Atan, Atan2 and the half-turn
// forms (results in units of pi), against MPFR.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_asin(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_asin(y, a, MPFR_RNDN); }
void ref_acos(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_acos(y, a, MPFR_RNDN); }
void ref_atan(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_atan(y, a, MPFR_RNDN); }
void ref_atan2(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_atan2(y, a, b, MPFR_RNDN); }
void ref_asinpi(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_asinpi(y, a, MPFR_RNDN); }
void ref_acospi(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_acospi(y, a, MPFR_RNDN); }
void ref_atanpi(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_atanpi(y, a, MPFR_RNDN); }
void ref_atan2pi(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_atan2pi(y, a, b, MPFR_RNDN); }

// Pairs of Atan2 arguments: magnitudes near each other (the ratio near 1,
// where the branches meet), far apart (the shortcuts of the scalar
// function), or anywhere, in all four quadrants.
void atan2_pair(Rng& rng, bool single, double& a, double& b) {
  const double top = single ? 127.0 : 1023.0;
  const double e = (rng.uniform() * 2.0 - 1.0) * (top - 2.0);
  b = std::exp2(e) * (1.0 + rng.uniform());
  switch (rng.below(3)) {
    case 0:  // |y| / |x| within 2^-20 of 1
      a = b * (1.0 + (rng.uniform() * 2.0 - 1.0) * 0x1p-20);
      break;
    case 1: {  // ratios from 2^-80 to 2^80
      const double d = (rng.uniform() * 2.0 - 1.0) * 80.0;
      a = b * std::exp2(d);
      break;
    }
    default:
      a = std::exp2((rng.uniform() * 2.0 - 1.0) * (top - 2.0)) * (1.0 + rng.uniform());
  }
  if (rng.below(2)) a = -a;
  if (rng.below(2)) b = -b;
}

// Branch points of Asin and Acos (1/2), the ends of the domain, and the
// interval bounds of the double Atan table; 1 and the float and double
// limits of the ordinary ranges.
const std::vector<double> kAsinPoints{0.5, -0.5, 1.0, -1.0, 0.0, 0x1p-26, 0x1p-13, 0.99999, -0.99999};
const std::vector<double> kAtanPoints{0.4375, 0.6875, 1.1875, 2.4375, 1.0, -1.0, 0.0, 0x1p-1019, 0x1p993,
                                      0x1p-125, 0x1p123, 0x1p-26, 0x1p26, 0x1p54, 0x1p100, -0.4375, -2.4375};
const std::vector<double> kAtan2B{1.0, -1.0, 0.0, -0.0, 0x1p-1019, 0x1p993, 0x1p-126, 0x1p127, 3.0, -3.0};

FuncDesc unary(const char* row, RefFn ref, bool asin_domain) {
  const bool single = row[0] == 's';
  const double big = single ? FLT_MAX : DBL_MAX;
  FuncDesc f{.row = row, .arity = Arity::Unary, .ref = ref};
  if (asin_domain) {
    f.a = {{-1.0, 1.0}, {0.5, 1.0}, {-1.0, -0.5}, {-2.0, 2.0}};
    f.points = kAsinPoints;
  } else {
    f.a = {{-big, big}, {-4.0, 4.0}};
    f.points = kAtanPoints;
  }
  return f;
}

FuncDesc binary(const char* row, RefFn ref) {
  const bool single = row[0] == 's';
  const double big = single ? FLT_MAX : DBL_MAX;
  return {.row = row, .arity = Arity::Binary, .ref = ref, .a = {{-big, big}}, .b = {{-big, big}},
          .points = {1.0, -1.0, 0.0, -0.0, 0x1p-1019, 0x1p993, 3.0},
          .b_values = kAtan2B, .pair = atan2_pair};
}

Registrar reg({
    unary("sAsin", ref_asin, true),     unary("dAsin", ref_asin, true),
    unary("sAcos", ref_acos, true),     unary("dAcos", ref_acos, true),
    unary("sAtan", ref_atan, false),    unary("dAtan", ref_atan, false),
    unary("sAsinpi", ref_asinpi, true), unary("dAsinpi", ref_asinpi, true),
    unary("sAcospi", ref_acospi, true), unary("dAcospi", ref_acospi, true),
    unary("sAtanpi", ref_atanpi, false), unary("dAtanpi", ref_atanpi, false),
    binary("sAtan2", ref_atan2),        binary("dAtan2", ref_atan2),
    binary("sAtan2pi", ref_atan2pi),    binary("dAtan2pi", ref_atan2pi),
});

}  // namespace
}  // namespace zev::ulp
