// Add, Sub, Mul, Sqr and Abs beside the peers a user would pick instead; the harness is
// bench_vector.cpp. Adding a row is one line per implementation here.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

namespace zevbench {
namespace {

void register_arith() {
  using std::cbrt, std::exp, std::exp2, std::expm1, std::log, std::log10, std::log1p, std::log2, std::pow,
      std::sqrt, std::hypot;
  constexpr bool U = false, B = true;
  const Domain none{0.5, 1.0};

  // ---- Lane-wise kernels against a plain loop doing the same operation
  const Domain v{-1e3, 1e3};
  const auto& L = kLaneWise;
  add_ours("sAdd", B, v, v, L);
  add("sAdd", "loop", ZEV_LOOP2(float, a[i] + b[i]), B, v, v, L);
  add_ours("dAdd", B, v, v, L);
  add("dAdd", "loop", ZEV_LOOP2(double, a[i] + b[i]), B, v, v, L);
  add_ours("sSub", B, v, v, L);
  add("sSub", "loop", ZEV_LOOP2(float, a[i] - b[i]), B, v, v, L);
  add_ours("dSub", B, v, v, L);
  add("dSub", "loop", ZEV_LOOP2(double, a[i] - b[i]), B, v, v, L);
  add_ours("sMul", B, v, v, L);
  add("sMul", "loop", ZEV_LOOP2(float, a[i] * b[i]), B, v, v, L);
  add_ours("dMul", B, v, v, L);
  add("dMul", "loop", ZEV_LOOP2(double, a[i] * b[i]), B, v, v, L);
  add_ours("sSqr", U, v, none, L);
  add("sSqr", "loop", ZEV_LOOP1(float, a[i] * a[i]), U, v, none, L);
  add_ours("dSqr", U, v, none, L);
  add("dSqr", "loop", ZEV_LOOP1(double, a[i] * a[i]), U, v, none, L);
  add_ours("sAbs", U, v, none, L);
  add("sAbs", "loop", ZEV_LOOP1(float, std::fabs(a[i])), U, v, none, L);
  add_ours("dAbs", U, v, none, L);
  add("dAbs", "loop", ZEV_LOOP1(double, std::fabs(a[i])), U, v, none, L);

}

const int registered = (register_arith(), 0);

}  // namespace
}  // namespace zevbench
