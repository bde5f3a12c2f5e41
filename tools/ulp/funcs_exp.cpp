// The exponential family: Exp, Exp2, Exp10, Expm1.
// Special points: the overflow threshold, the edge of the normal range, the
// total-underflow threshold and the kernels' fast bounds (where lanes leave
// the vector path), and zero.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_exp(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_exp(y, a, MPFR_RNDN); }
void ref_exp2(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_exp2(y, a, MPFR_RNDN); }
void ref_exp10(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_exp10(y, a, MPFR_RNDN); }
void ref_expm1(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_expm1(y, a, MPFR_RNDN); }

// Thresholds of base^x for a format: overflow, least normal, half the least
// subnormal (below it the result rounds to zero).
std::vector<double> edges(double log_base, bool single, std::vector<double> extra) {
  const double lmax = single ? std::log2(FLT_MAX) : std::log2(DBL_MAX);
  const double lmin = single ? -126.0 : -1022.0;
  const double lzero = single ? -150.0 : -1075.0;
  std::vector<double> v{0.0, lmax / log_base, lmin / log_base, lzero / log_base, -0x1p-30, 0x1p-30, 1.0, -1.0};
  for (double x : extra) v.push_back(x);
  return v;
}

const double kLog2E = 1.0 / std::log(2.0);  // exp(x) = 2^(x log2 e)
const double kLog2Ten = std::log2(10.0);

Registrar reg({
    {.row = "sExp", .arity = Arity::Unary, .ref = ref_exp, .a = {{-110.0, 90.0}},
     .points = edges(kLog2E, true, {87.33654022216797, -87.33654022216797, 88.72283172607422, -103.97207641601562})},
    {.row = "dExp", .arity = Arity::Unary, .ref = ref_exp, .a = {{-750.0, 712.0}},
     .points = edges(kLog2E, false, {708.3955, 709.782712893384, -708.3964185322641, -745.1332191019411})},
    {.row = "sExp2", .arity = Arity::Unary, .ref = ref_exp2, .a = {{-160.0, 130.0}},
     .points = edges(1.0, true, {126.0, -126.0})},
    {.row = "dExp2", .arity = Arity::Unary, .ref = ref_exp2, .a = {{-1080.0, 1030.0}},
     .points = edges(1.0, false, {1023.0, -1022.0, 1024.0})},
    {.row = "sExp10", .arity = Arity::Unary, .ref = ref_exp10, .a = {{-48.0, 40.0}},
     .points = edges(kLog2Ten, true, {37.929779052734375, -37.929779052734375})},
    {.row = "dExp10", .arity = Arity::Unary, .ref = ref_exp10, .a = {{-330.0, 312.0}},
     .points = edges(kLog2Ten, false, {307.652, -307.652})},
    {.row = "sExpm1", .arity = Arity::Unary, .ref = ref_expm1, .a = {{-20.0, 90.0}, {-0x1p-20, 0x1p-20}},
     .points = {0.0, 86.64339447021484, -86.64339447021484, 88.72283935546875, std::log(2.0), -std::log(2.0), -17.0, 0x1p-25,
      -0x1p-25}},
    {.row = "dExpm1", .arity = Arity::Unary, .ref = ref_expm1, .a = {{-40.0, 712.0}, {-0x1p-40, 0x1p-40}},
     .points = {0.0, 709.782712893384, 708.3955, 86.64337158203125, 40.2025146484375, 0.00390625, 6.938893903907228e-18,
      std::log(2.0), -std::log(2.0), -38.0, 0x1p-54, -0x1p-54}},
});

}  // namespace
}  // namespace zev::ulp
