// Error of a result in ulps of the correctly rounded MPFR reference, with the
// subnormal spacing below the normal range. Tests that use it link MPFR.
#pragma once

#include <mpfr.h>

#include <algorithm>
#include <cmath>

namespace zevtest {

using MpfrFn = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

template <class T>
double ulp_error(MpfrFn ref, T x, T got) {
  constexpr int p = sizeof(T) == 4 ? 24 : 53;
  constexpr int emin = sizeof(T) == 4 ? -125 : -1021;  // mpfr exponent of the least normal
  mpfr_t mx, y, g;
  mpfr_inits2(200, mx, y, g, (mpfr_ptr)0);
  mpfr_set_d(mx, static_cast<double>(x), MPFR_RNDN);
  ref(y, mx, MPFR_RNDN);
  mpfr_set_d(g, static_cast<double>(got), MPFR_RNDN);
  mpfr_sub(g, g, y, MPFR_RNDN);
  const long e = std::max<long>(mpfr_get_exp(y), emin);
  mpfr_mul_2si(g, g, p - e, MPFR_RNDN);
  const double err = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_clears(mx, y, g, (mpfr_ptr)0);
  return err;
}

}  // namespace zevtest
