// The error-function family: Erf, Erfc, CdfNorm and their inverses.
// References: mpfr_erf and mpfr_erfc; the normal distribution from erfc,
// Phi(x) = erfc(-x/sqrt(2))/2; the inverses by Newton's method on mpfr_erf or
// mpfr_erfc at 64 bits above the reference's precision, iterated until the
// step falls below 2^-(precision - 8) of the root. Ranges take in the deep
// tails: Erfc's subnormal results from x = 26.5 (double) and 9.2 (single),
// CdfNorm's from -37.5 and -13.1, and the inverses near 0, 1 and 2.
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_erf(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_erf(y, a, MPFR_RNDN); }
void ref_erfc(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_erfc(y, a, MPFR_RNDN); }

void ref_cdfnorm(mpfr_t y, const mpfr_t a, const mpfr_t) {
  mpfr_t t, s;
  mpfr_inits2(mpfr_get_prec(y) + 64, t, s, (mpfr_ptr)0);
  mpfr_sqrt_ui(s, 2, MPFR_RNDN);
  mpfr_div(t, a, s, MPFR_RNDN);
  mpfr_neg(t, t, MPFR_RNDN);
  mpfr_erfc(t, t, MPFR_RNDN);
  mpfr_div_2ui(y, t, 1, MPFR_RNDN);
  mpfr_clears(t, s, (mpfr_ptr)0);
}

// z >= 0 with erf(z) = t (pole false) or erfc(z) = t (pole true), t > 0, at
// z's precision.
void solve(mpfr_t z, const mpfr_t t, bool pole) {
  const mpfr_prec_t p = mpfr_get_prec(z);
  mpfr_t f, g, c;
  mpfr_inits2(p, f, g, c, (mpfr_ptr)0);
  mpfr_const_pi(c, MPFR_RNDN);
  mpfr_sqrt(c, c, MPFR_RNDN);
  mpfr_ui_div(c, 2, c, MPFR_RNDN);  // 2/sqrt(pi)
  if (pole) {  // right of the root: sqrt(-ln t)
    mpfr_log(z, t, MPFR_RNDN);
    mpfr_neg(z, z, MPFR_RNDN);
    mpfr_sqrt(z, z, MPFR_RNDN);
  } else {  // left of the root
    mpfr_div(z, t, c, MPFR_RNDN);
  }
  for (int it = 0; it < 500; ++it) {
    if (pole) mpfr_erfc(f, z, MPFR_RNDN);
    else mpfr_erf(f, z, MPFR_RNDN);
    mpfr_sub(f, f, t, MPFR_RNDN);
    mpfr_sqr(g, z, MPFR_RNDN);
    mpfr_neg(g, g, MPFR_RNDN);
    mpfr_exp(g, g, MPFR_RNDN);
    mpfr_mul(g, g, c, MPFR_RNDN);
    if (pole) mpfr_neg(g, g, MPFR_RNDN);
    mpfr_div(f, f, g, MPFR_RNDN);
    mpfr_sub(z, z, f, MPFR_RNDN);
    if (mpfr_zero_p(f) || mpfr_get_exp(f) < mpfr_get_exp(z) - static_cast<mpfr_exp_t>(p) + 8) break;
  }
  mpfr_clears(f, g, c, (mpfr_ptr)0);
}

// erfcinv(u) for u in [0, 2], into y; `scale` multiplies the root (-sqrt(2)
// for CdfNormInv).
void erfcinv_into(mpfr_t y, const mpfr_t u, double scale) {
  if (mpfr_nan_p(u) || mpfr_sgn(u) < 0 || mpfr_cmp_ui(u, 2) > 0) {
    mpfr_set_nan(y);
    return;
  }
  if (mpfr_zero_p(u) || mpfr_cmp_ui(u, 2) == 0) {
    mpfr_set_inf(y, (mpfr_zero_p(u) ? 1 : -1) * (scale < 0 ? -1 : 1));
    return;
  }
  if (mpfr_cmp_ui(u, 1) == 0) {
    mpfr_set_zero(y, 1);
    return;
  }
  const mpfr_prec_t p = mpfr_get_prec(y) + 64;
  mpfr_t z, t;
  mpfr_inits2(p + 1100, t, (mpfr_ptr)0);
  mpfr_init2(z, p);
  int sign = 1;
  if (mpfr_cmp_d(u, 0.5) < 0) {
    solve(z, u, true);
  } else if (mpfr_cmp_d(u, 1.5) > 0) {
    mpfr_ui_sub(t, 2, u, MPFR_RNDN);  // exact at this precision
    solve(z, t, true);
    sign = -1;
  } else {
    mpfr_ui_sub(t, 1, u, MPFR_RNDN);
    if (mpfr_sgn(t) < 0) sign = -1;
    mpfr_abs(t, t, MPFR_RNDN);
    solve(z, t, false);
  }
  if (sign < 0) mpfr_neg(z, z, MPFR_RNDN);
  if (scale < 0) {
    mpfr_sqrt_ui(t, 2, MPFR_RNDN);
    mpfr_mul(z, z, t, MPFR_RNDN);
    mpfr_neg(z, z, MPFR_RNDN);
  }
  mpfr_set(y, z, MPFR_RNDN);
  mpfr_clears(z, t, (mpfr_ptr)0);
}

void ref_erfcinv(mpfr_t y, const mpfr_t a, const mpfr_t) { erfcinv_into(y, a, 1.0); }

// erfinv(x) = erfcinv(1 - x); 1 - x is exact at the working precision, and
// the tiny arguments are solved directly so that their relative accuracy holds.
void ref_erfinv(mpfr_t y, const mpfr_t a, const mpfr_t) {
  if (mpfr_zero_p(a)) {
    mpfr_set(y, a, MPFR_RNDN);
    return;
  }
  if (!mpfr_nan_p(a) && mpfr_cmpabs_ui(a, 1) < 0 && mpfr_cmp_d(a, 0.5) <= 0 && mpfr_cmp_d(a, -0.5) >= 0) {
    mpfr_t z, t;
    mpfr_init2(z, mpfr_get_prec(y) + 64);
    mpfr_init2(t, mpfr_get_prec(a));
    mpfr_abs(t, a, MPFR_RNDN);
    solve(z, t, false);
    if (mpfr_sgn(a) < 0) mpfr_neg(z, z, MPFR_RNDN);
    mpfr_set(y, z, MPFR_RNDN);
    mpfr_clears(z, t, (mpfr_ptr)0);
    return;
  }
  mpfr_t u;
  mpfr_init2(u, 1200);
  mpfr_ui_sub(u, 1, a, MPFR_RNDN);
  erfcinv_into(y, u, 1.0);
  mpfr_clear(u);
}

// CdfNormInv(p) = -sqrt(2) erfcinv(2p); for p in (1/4, 3/4) through the
// central form, 1 - 2p exact.
void ref_cdfnorminv(mpfr_t y, const mpfr_t a, const mpfr_t) {
  mpfr_t u;
  mpfr_init2(u, mpfr_get_prec(a) + 2);
  mpfr_mul_2ui(u, a, 1, MPFR_RNDN);
  erfcinv_into(y, u, -1.0);
  mpfr_clear(u);
}

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
