// The rounding kernels beside the peers a user would pick instead; the harness is
// bench_vector.cpp. Adding a row is one line per implementation here.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

namespace zevbench {
namespace {

void register_rounding() {
  using std::cbrt, std::exp, std::exp2, std::expm1, std::log, std::log10, std::log1p, std::log2, std::pow,
      std::sqrt, std::hypot;
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const Domain v{-1e3, 1e3};

  // ---- Rounding kernels against loops over glibc's functions
  const auto& S = kSmall;
  add_ours("sFloor", U, v, none, S);
  add("sFloor", "glibc", ZEV_LOOP1(float, floorf(a[i])), U, v, none, S);
  add_ours("dFloor", U, v, none, S);
  add("dFloor", "glibc", ZEV_LOOP1(double, floor(a[i])), U, v, none, S);
  add_ours("sCeil", U, v, none, S);
  add("sCeil", "glibc", ZEV_LOOP1(float, ceilf(a[i])), U, v, none, S);
  add_ours("dCeil", U, v, none, S);
  add("dCeil", "glibc", ZEV_LOOP1(double, ceil(a[i])), U, v, none, S);
  add_ours("sRint", U, v, none, S);
  add("sRint", "glibc", ZEV_LOOP1(float, rintf(a[i])), U, v, none, S);
  add_ours("dRint", U, v, none, S);
  add("dRint", "glibc", ZEV_LOOP1(double, rint(a[i])), U, v, none, S);
  add_ours("sRound", U, v, none, S);
  add("sRound", "glibc", ZEV_LOOP1(float, roundf(a[i])), U, v, none, S);
  add_ours("dRound", U, v, none, S);
  add("dRound", "glibc", ZEV_LOOP1(double, round(a[i])), U, v, none, S);
  add_ours("sTrunc", U, v, none, S);
  add("sTrunc", "glibc", ZEV_LOOP1(float, truncf(a[i])), U, v, none, S);
  add_ours("dTrunc", U, v, none, S);
  add("dTrunc", "glibc", ZEV_LOOP1(double, trunc(a[i])), U, v, none, S);
}

const int registered = (register_rounding(), 0);

}  // namespace
}  // namespace zevbench
