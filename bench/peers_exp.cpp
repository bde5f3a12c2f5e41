// The exponential family beside the peers a user would pick instead; the harness is
// bench_vector.cpp. Adding a row is one line per implementation here.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

namespace zevbench {
namespace {

void register_exp() {
  using std::cbrt, std::exp, std::exp2, std::expm1, std::log, std::log10, std::log1p, std::log2, std::pow,
      std::sqrt, std::hypot;
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;

  // ---- Exponential family
  add_ours("sExp", U, {-80, 80}, none, T);
  add("sExp", "glibc", ZEV_LOOP1(float, expf(a[i])), U, {-80, 80}, none, T);
  add("sExp", "libmvec", ZEV_VEC_S(_ZGVbN4v_expf), U, {-80, 80}, none, T);
  add_ours("dExp", U, {-700, 700}, none, T);
  add("dExp", "glibc", ZEV_LOOP1(double, exp(a[i])), U, {-700, 700}, none, T);
  add("dExp", "libmvec", ZEV_VEC_D(_ZGVbN2v_exp), U, {-700, 700}, none, T);
  add_ours("sExp2", U, {-120, 120}, none, T);
  add("sExp2", "glibc", ZEV_LOOP1(float, exp2f(a[i])), U, {-120, 120}, none, T);
  add("sExp2", "libmvec", ZEV_VEC_S(_ZGVbN4v_exp2f), U, {-120, 120}, none, T);
  add_ours("dExp2", U, {-1000, 1000}, none, T);
  add("dExp2", "glibc", ZEV_LOOP1(double, exp2(a[i])), U, {-1000, 1000}, none, T);
  add("dExp2", "libmvec", ZEV_VEC_D(_ZGVbN2v_exp2), U, {-1000, 1000}, none, T);
  add_ours("sExp10", U, {-37, 37}, none, T);
  add("sExp10", "glibc", ZEV_LOOP1(float, exp10f(a[i])), U, {-37, 37}, none, T);
  add("sExp10", "libmvec", ZEV_VEC_S(_ZGVbN4v_exp10f), U, {-37, 37}, none, T);
  add_ours("dExp10", U, {-300, 300}, none, T);
  add("dExp10", "glibc", ZEV_LOOP1(double, exp10(a[i])), U, {-300, 300}, none, T);
  add("dExp10", "libmvec", ZEV_VEC_D(_ZGVbN2v_exp10), U, {-300, 300}, none, T);
  add_ours("sExpm1", U, {-20, 80}, none, T);
  add("sExpm1", "glibc", ZEV_LOOP1(float, expm1f(a[i])), U, {-20, 80}, none, T);
  add("sExpm1", "libmvec", ZEV_VEC_S(_ZGVbN4v_expm1f), U, {-20, 80}, none, T);
  add_ours("dExpm1", U, {-40, 700}, none, T);
  add("dExpm1", "glibc", ZEV_LOOP1(double, expm1(a[i])), U, {-40, 700}, none, T);
  add("dExpm1", "libmvec", ZEV_VEC_D(_ZGVbN2v_expm1), U, {-40, 700}, none, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sExp", "sleef_u10", ZEV_VEC_S(Sleef_expf4_u10sse2), U, {-80, 80}, none, T);
  add("dExp", "sleef_u10", ZEV_VEC_D(Sleef_expd2_u10sse2), U, {-700, 700}, none, T);
  add("sExp2", "sleef_u10", ZEV_VEC_S(Sleef_exp2f4_u10sse2), U, {-120, 120}, none, T);
  add("sExp2", "sleef_u35", ZEV_VEC_S(Sleef_exp2f4_u35sse2), U, {-120, 120}, none, T);
  add("dExp2", "sleef_u10", ZEV_VEC_D(Sleef_exp2d2_u10sse2), U, {-1000, 1000}, none, T);
  add("dExp2", "sleef_u35", ZEV_VEC_D(Sleef_exp2d2_u35sse2), U, {-1000, 1000}, none, T);
  add("sExp10", "sleef_u10", ZEV_VEC_S(Sleef_exp10f4_u10sse2), U, {-37, 37}, none, T);
  add("sExp10", "sleef_u35", ZEV_VEC_S(Sleef_exp10f4_u35sse2), U, {-37, 37}, none, T);
  add("dExp10", "sleef_u10", ZEV_VEC_D(Sleef_exp10d2_u10sse2), U, {-300, 300}, none, T);
  add("dExp10", "sleef_u35", ZEV_VEC_D(Sleef_exp10d2_u35sse2), U, {-300, 300}, none, T);
  add("sExpm1", "sleef_u10", ZEV_VEC_S(Sleef_expm1f4_u10sse2), U, {-20, 80}, none, T);
  add("dExpm1", "sleef_u10", ZEV_VEC_D(Sleef_expm1d2_u10sse2), U, {-40, 700}, none, T);
#endif
}

const int registered = (register_exp(), 0);

}  // namespace
}  // namespace zevbench
