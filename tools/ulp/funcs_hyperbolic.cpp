// The hyperbolic family: Sinh, Cosh, Tanh and their inverses.
// Special points: the kernels' switch points (the fast bounds where lanes leave
// the vector path, the table's row boundaries of Tanh and its last row at 20),
// the overflow limits, 1 and -1 for Atanh, 1 for Acosh, and 2^30 where the
// inverses drop the 1 beside x^2.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_sinh(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sinh(y, a, MPFR_RNDN); }
void ref_cosh(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_cosh(y, a, MPFR_RNDN); }
void ref_tanh(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_tanh(y, a, MPFR_RNDN); }
void ref_asinh(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_asinh(y, a, MPFR_RNDN); }
void ref_acosh(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_acosh(y, a, MPFR_RNDN); }
void ref_atanh(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_atanh(y, a, MPFR_RNDN); }

// Both signs of each point.
std::vector<double> pm(std::vector<double> v) {
  const size_t n = v.size();
  for (size_t i = 0; i < n; ++i) v.push_back(-v[i]);
  return v;
}

// Tanh: the lower ends of the table's rows, eight a binade from 0.125 to 16,
// then 18 and 20.
std::vector<double> tanh_points() {
  std::vector<double> v{0.0, 18.0, 20.0, 0x1p-30};
  for (int e = -3; e <= 3; ++e)
    for (int s = 0; s < 8; ++s) v.push_back(std::ldexp(1.0 + s / 8.0, e));
  return pm(v);
}

// Sinh, Cosh: multiples of ln2/32 (the reduced argument's end points), the fast
// bounds, the overflow limits.
std::vector<double> exp_points(bool single) {
  std::vector<double> v{0.0, 0x1p-30, 0x1p-53, 0.75};
  const double ln2 = std::log(2.0);
  for (int i = 1; i < 12; ++i) v.push_back(i * ln2 / 32);
  if (single) {
    for (double x : {89.0, 89.41598629223294, 89.5, 88.0}) v.push_back(x);
  } else {
    for (double x : {669.775, 707.69983, 710.475860073944, 709.0, 711.0}) v.push_back(x);
  }
  return pm(v);
}

Registrar reg({
    {.row = "sSinh", .ref = ref_sinh, .a = {{-92.0, 92.0}, {-0x1p-10, 0x1p-10}}, .points = exp_points(true)},
    {.row = "dSinh", .ref = ref_sinh, .a = {{-712.0, 712.0}, {-0x1p-10, 0x1p-10}}, .points = exp_points(false)},
    {.row = "sCosh", .ref = ref_cosh, .a = {{-92.0, 92.0}, {-0x1p-10, 0x1p-10}}, .points = exp_points(true)},
    {.row = "dCosh", .ref = ref_cosh, .a = {{-712.0, 712.0}, {-0x1p-10, 0x1p-10}}, .points = exp_points(false)},
    {.row = "sTanh", .ref = ref_tanh, .a = {{-24.0, 24.0}, {-0x1p-10, 0x1p-10}, {-FLT_MAX, FLT_MAX}},
     .points = tanh_points()},
    {.row = "dTanh", .ref = ref_tanh, .a = {{-24.0, 24.0}, {-0x1p-10, 0x1p-10}, {-DBL_MAX, DBL_MAX}},
     .points = tanh_points()},
    {.row = "sAsinh", .ref = ref_asinh, .a = {{-FLT_MAX, FLT_MAX}, {-4.0, 4.0}},
     .points = pm({0.0, 1.0, 0x1p-12, 0x1p30, 0x1p64, FLT_MAX})},
    {.row = "dAsinh", .ref = ref_asinh, .a = {{-DBL_MAX, DBL_MAX}, {-4.0, 4.0}},
     .points = pm({0.0, 1.0, 0x1p-28, 0x1p30, 0x1p512, DBL_MAX})},
    {.row = "sAcosh", .ref = ref_acosh, .a = {{1.0, FLT_MAX}, {1.0, 4.0}, {-2.0, 1.0}},
     .points = {1.0, 2.0, 0x1p30, FLT_MAX, 0.5, -1.0}},
    {.row = "dAcosh", .ref = ref_acosh, .a = {{1.0, DBL_MAX}, {1.0, 4.0}, {-2.0, 1.0}},
     .points = {1.0, 2.0, 0x1p30, DBL_MAX, 0.5, -1.0}},
    {.row = "sAtanh", .ref = ref_atanh, .a = {{-1.0, 1.0}, {-0x1p-10, 0x1p-10}, {-4.0, 4.0}},
     .points = pm({0.0, 1.0, 0.5, 0x1p-12, 0x1p-126})},
    {.row = "dAtanh", .ref = ref_atanh, .a = {{-1.0, 1.0}, {-0x1p-10, 0x1p-10}, {-4.0, 4.0}},
     .points = pm({0.0, 1.0, 0.5, 0x1p-28, 0x1p-970, 0x1p-1022})},
});

}  // namespace
}  // namespace zev::ulp
