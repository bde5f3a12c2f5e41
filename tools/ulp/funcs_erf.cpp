// The error-function family: Erf, Erfc, CdfNorm and their inverses.
// References: mpfr_erf and mpfr_erfc; the normal distribution from erfc,
// Phi(x) = erfc(-x/sqrt(2))/2; the inverses by Newton's method on mpfr_erf or
// mpfr_erfc at 64 bits above the reference's precision
// (tools/erf_tables/erf_inverse_mpfr.h). Ranges take in the deep
// tails: Erfc's subnormal results from x = 26.5 (double) and 9.2 (single),
// CdfNorm's from -37.5 and -13.1, and the inverses near 0, 1 and 2.
#include <cmath>

#include "tools/erf_tables/erf_inverse_mpfr.h"
#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_erf(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_erf(y, a, MPFR_RNDN); }
void ref_erfc(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_erfc(y, a, MPFR_RNDN); }

void ref_cdfnorm(mpfr_t y, const mpfr_t a, const mpfr_t) { erfmp::cdfnorm(y, a); }
void ref_erfinv(mpfr_t y, const mpfr_t a, const mpfr_t) { erfmp::erfinv(y, a); }
void ref_erfcinv(mpfr_t y, const mpfr_t a, const mpfr_t) { erfmp::erfcinv(y, a); }
void ref_cdfnorminv(mpfr_t y, const mpfr_t a, const mpfr_t) { erfmp::cdfnorminv(y, a); }

Registrar reg({
    {.row = "sErf", .arity = Arity::Unary, .ref = ref_erf, .a = {{-5.0, 5.0}, {-0x1p-100, 0x1p-100}},
     .points = {0.0, 0.013671875, 0.02734375, 3.9296875, 3.92, 5.9921875, 0x1p-126}},
    {.row = "dErf", .arity = Arity::Unary, .ref = ref_erf, .a = {{-6.5, 6.5}, {-0x1p-900, 0x1p-900}},
     .points = {0.0, 0.02734375, 0.0078125, 0.01953125, 5.9921875, 5.86, 5.92, 0x1p-256, 0x1p-1022}},
    {.row = "sErfc", .arity = Arity::Unary, .ref = ref_erfc, .a = {{-4.5, 10.1}, {9.0, 10.06}, {-0x1p-30, 0x1p-30}},
     .points = {0.0, 10.0541954, 9.1940, 0x1p-128}},
    {.row = "dErfc", .arity = Arity::Unary, .ref = ref_erfc, .a = {{-6.0, 27.3}, {26.0, 27.23}, {-0x1p-60, 0x1p-60}},
     .points = {0.0, 27.226017111108366, 26.54325845425098, 26.699372268345602, -5.8635847487551676, 27.2421875,
      0x1p-128, 0x1p-70}},
    {.row = "sCdfNorm", .arity = Arity::Unary, .ref = ref_cdfnorm, .a = {{-14.3, 6.0}, {-14.2, -12.5}, {-0x1p-30, 0x1p-30}},
     .points = {0.0, -14.170186, -13.0, 0x1p-128}},
    {.row = "dCdfNorm", .arity = Arity::Unary, .ref = ref_cdfnorm, .a = {{-38.6, 9.0}, {-38.5, -37.0}, {-0x1p-60, 0x1p-60}},
     .points = {0.0, -38.485408335567335, -37.74026543984266, -38.4921875, 8.3, 0x1p-128}},
    {.row = "sErfInv", .arity = Arity::Unary, .ref = ref_erfinv, .a = {{-1.0, 1.0}, {0.999, 1.0}, {-1.0, -0.999}},
     .points = {0.5, -0.5, 0x1p-54, 0x1p-24, 0.99999994, 0.25, 0.75}},
    {.row = "dErfInv", .arity = Arity::Unary, .ref = ref_erfinv, .a = {{-1.0, 1.0}, {0.999999, 1.0}, {-1.0, -0.999999}},
     .points = {0.5, -0.5, 0x1p-54, 0x1p-35, 0x1p-53, 0.99999999999999989, 0.25, 0.75}},
    {.row = "sErfcInv", .arity = Arity::Unary, .ref = ref_erfcinv, .a = {{0.0, 2.0}, {1.999, 2.0}, {0.999, 1.001}},
     .points = {0x1p-53, 0x1p-149, 1.0, 0.5, 1.5, 1.9999999, 0x1p-126}},
    {.row = "dErfcInv", .arity = Arity::Unary, .ref = ref_erfcinv, .a = {{0.0, 2.0}, {1.999999, 2.0}, {0.999999, 1.000001}},
     .points = {0x1p-53, 0x1p-1074, 0x1p-1022, 1.0, 0.5, 1.5, 1.9999999999999998}},
    {.row = "sCdfNormInv", .arity = Arity::Unary, .ref = ref_cdfnorminv, .a = {{0.0, 1.0}, {0.999, 1.0}, {0.499, 0.501}},
     .points = {0x1p-54, 0x1p-149, 0.5, 0.25, 0.75, 0.99999994}},
    {.row = "dCdfNormInv", .arity = Arity::Unary, .ref = ref_cdfnorminv, .a = {{0.0, 1.0}, {0.999999, 1.0}, {0.499999, 0.500001}},
     .points = {0x1p-54, 0x1p-1074, 0.5, 0.25, 0.75, 0.99999999999999989}},
});

}  // namespace
}  // namespace zev::ulp
