// Gamma and the exponential integral beside the peers a user would pick
// instead; the harness is bench_vector.cpp. glibc's lgamma and tgamma as plain
// loops, SLEEF's SSE2 functions, GSL's E1 as a loop.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif
#if defined(ZEV_HAVE_GSL)
#include <gsl/gsl_errno.h>
#include <gsl/gsl_sf_expint.h>
#endif

namespace zevbench {
namespace {

void register_gamma() {
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;
  const Domain lg{0.01, 1000}, tgs{0.01, 35}, tgd{0.01, 170}, e1{0.01, 50};

  add_ours("sLGamma", U, lg, none, T);
  add("sLGamma", "glibc", ZEV_LOOP1(float, lgammaf(a[i])), U, lg, none, T);
  add_ours("dLGamma", U, lg, none, T);
  add("dLGamma", "glibc", ZEV_LOOP1(double, lgamma(a[i])), U, lg, none, T);
  add_ours("sTGamma", U, tgs, none, T);
  add("sTGamma", "glibc", ZEV_LOOP1(float, tgammaf(a[i])), U, tgs, none, T);
  add_ours("dTGamma", U, tgd, none, T);
  add("dTGamma", "glibc", ZEV_LOOP1(double, tgamma(a[i])), U, tgd, none, T);
  add_ours("sExpInt1", U, e1, none, T);
  add_ours("dExpInt1", U, e1, none, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sLGamma", "sleef_u10", ZEV_VEC_S(Sleef_lgammaf4_u10sse2), U, lg, none, T);
  add("dLGamma", "sleef_u10", ZEV_VEC_D(Sleef_lgammad2_u10sse2), U, lg, none, T);
  add("sTGamma", "sleef_u10", ZEV_VEC_S(Sleef_tgammaf4_u10sse2), U, tgs, none, T);
  add("dTGamma", "sleef_u10", ZEV_VEC_D(Sleef_tgammad2_u10sse2), U, tgd, none, T);
#endif
#if defined(ZEV_HAVE_GSL)
  gsl_set_error_handler_off();
  add("dExpInt1", "gsl", ZEV_LOOP1(double, gsl_sf_expint_E1(a[i])), U, e1, none, T);
  add("sExpInt1", "gsl", ZEV_LOOP1(float, static_cast<float>(gsl_sf_expint_E1(a[i]))), U, e1, none, T);
#endif
}

const int registered = (register_gamma(), 0);

}  // namespace
}  // namespace zevbench
