// The inverse error functions and the normal distribution in MPFR, for the
// table generator, the ulp tool and the tests of the family.
//
// The inverses come from Newton's method on mpfr_erf or mpfr_erfc at the
// precision of the root, iterated until the step falls below 2^-(precision - 8)
// of the root. erfcinv(u) is solved near its poles as erfc(z) = u or
// erfc(z) = 2 - u and in the middle as erf(z) = |1 - u|, the differences exact
// at the working precision.
#pragma once

#include <mpfr.h>

namespace zev::erfmp {

// z >= 0 with erf(z) = t (pole false) or erfc(z) = t (pole true), t > 0, at
// z's precision. False when the steps did not settle.
inline bool solve(mpfr_ptr z, mpfr_srcptr t, bool pole) {
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
  } else {  // left of the root: t sqrt(pi)/2
    mpfr_div(z, t, c, MPFR_RNDN);
  }
  bool settled = false;
  for (int it = 0; it < 500 && !settled; ++it) {
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
    settled = mpfr_zero_p(f) || mpfr_get_exp(f) < mpfr_get_exp(z) - static_cast<mpfr_exp_t>(p) + 8;
  }
  mpfr_clears(f, g, c, (mpfr_ptr)0);
  return settled;
}

// erfcinv(u) for u in [0, 2] into y, times -sqrt(2) when `cdfnorm` (the
// inverse of the normal distribution at u/2); NaN outside [0, 2].
inline void erfcinv_scaled(mpfr_ptr y, mpfr_srcptr u, bool cdfnorm) {
  if (mpfr_nan_p(u) || mpfr_sgn(u) < 0 || mpfr_cmp_ui(u, 2) > 0) {
    mpfr_set_nan(y);
    return;
  }
  if (mpfr_zero_p(u) || mpfr_cmp_ui(u, 2) == 0) {
    mpfr_set_inf(y, (mpfr_zero_p(u) ? 1 : -1) * (cdfnorm ? -1 : 1));
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
  if (cdfnorm) {
    mpfr_sqrt_ui(t, 2, MPFR_RNDN);
    mpfr_mul(z, z, t, MPFR_RNDN);
    mpfr_neg(z, z, MPFR_RNDN);
  }
  mpfr_set(y, z, MPFR_RNDN);
  mpfr_clears(z, t, (mpfr_ptr)0);
}

inline void erfcinv(mpfr_ptr y, mpfr_srcptr u) { erfcinv_scaled(y, u, false); }

// erfinv(x) = erfcinv(1 - x); 1 - x is exact at the working precision, and
// the arguments up to 1/2 are solved directly so that the relative accuracy of
// the tiny ones holds.
inline void erfinv(mpfr_ptr y, mpfr_srcptr a) {
  if (mpfr_zero_p(a)) {
    mpfr_set(y, a, MPFR_RNDN);
    return;
  }
  if (!mpfr_nan_p(a) && mpfr_cmp_d(a, 0.5) <= 0 && mpfr_cmp_d(a, -0.5) >= 0) {
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
  erfcinv(y, u);
  mpfr_clear(u);
}

// The normal distribution Phi(x) = erfc(-x/sqrt(2))/2.
inline void cdfnorm(mpfr_ptr y, mpfr_srcptr a) {
  mpfr_t t, s;
  mpfr_inits2(mpfr_get_prec(y) + 64, t, s, (mpfr_ptr)0);
  mpfr_sqrt_ui(s, 2, MPFR_RNDN);
  mpfr_div(t, a, s, MPFR_RNDN);
  mpfr_neg(t, t, MPFR_RNDN);
  mpfr_erfc(t, t, MPFR_RNDN);
  mpfr_div_2ui(y, t, 1, MPFR_RNDN);
  mpfr_clears(t, s, (mpfr_ptr)0);
}

// Its inverse, -sqrt(2) erfcinv(2p); 2p exact.
inline void cdfnorminv(mpfr_ptr y, mpfr_srcptr a) {
  mpfr_t u;
  mpfr_init2(u, mpfr_get_prec(a) + 2);
  mpfr_mul_2ui(u, a, 1, MPFR_RNDN);
  erfcinv_scaled(y, u, true);
  mpfr_clear(u);
}

}  // namespace zev::erfmp
