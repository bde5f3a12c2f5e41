// The logarithms beside the peers a user would pick instead; the harness is
// bench_vector.cpp. Adding a row is one line per implementation here.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

namespace zevbench {
namespace {

void register_log() {
  using std::cbrt, std::exp, std::exp2, std::expm1, std::log, std::log10, std::log1p, std::log2, std::pow,
      std::sqrt, std::hypot;
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;

  // ---- Logarithms
  const Domain pos{1e-30, 1e30}, pos_d{1e-300, 1e300}, p1{-0.9, 1e6};
  add_ours("sLn", U, pos, none, T);
  add("sLn", "glibc", ZEV_LOOP1(float, logf(a[i])), U, pos, none, T);
  add("sLn", "libmvec", ZEV_VEC_S(_ZGVbN4v_logf), U, pos, none, T);
  add_ours("dLn", U, pos_d, none, T);
  add("dLn", "glibc", ZEV_LOOP1(double, log(a[i])), U, pos_d, none, T);
  add("dLn", "libmvec", ZEV_VEC_D(_ZGVbN2v_log), U, pos_d, none, T);
  add_ours("sLog2", U, pos, none, T);
  add("sLog2", "glibc", ZEV_LOOP1(float, log2f(a[i])), U, pos, none, T);
  add("sLog2", "libmvec", ZEV_VEC_S(_ZGVbN4v_log2f), U, pos, none, T);
  add_ours("dLog2", U, pos_d, none, T);
  add("dLog2", "glibc", ZEV_LOOP1(double, log2(a[i])), U, pos_d, none, T);
  add("dLog2", "libmvec", ZEV_VEC_D(_ZGVbN2v_log2), U, pos_d, none, T);
  add_ours("sLog10", U, pos, none, T);
  add("sLog10", "glibc", ZEV_LOOP1(float, log10f(a[i])), U, pos, none, T);
  add("sLog10", "libmvec", ZEV_VEC_S(_ZGVbN4v_log10f), U, pos, none, T);
  add_ours("dLog10", U, pos_d, none, T);
  add("dLog10", "glibc", ZEV_LOOP1(double, log10(a[i])), U, pos_d, none, T);
  add("dLog10", "libmvec", ZEV_VEC_D(_ZGVbN2v_log10), U, pos_d, none, T);
  add_ours("sLog1p", U, p1, none, T);
  add("sLog1p", "glibc", ZEV_LOOP1(float, log1pf(a[i])), U, p1, none, T);
  add("sLog1p", "libmvec", ZEV_VEC_S(_ZGVbN4v_log1pf), U, p1, none, T);
  add_ours("dLog1p", U, p1, none, T);
  add("dLog1p", "glibc", ZEV_LOOP1(double, log1p(a[i])), U, p1, none, T);
  add("dLog1p", "libmvec", ZEV_VEC_D(_ZGVbN2v_log1p), U, p1, none, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sLn", "sleef_u10", ZEV_VEC_S(Sleef_logf4_u10sse2), U, pos, none, T);
  add("sLn", "sleef_u35", ZEV_VEC_S(Sleef_logf4_u35sse2), U, pos, none, T);
  add("dLn", "sleef_u10", ZEV_VEC_D(Sleef_logd2_u10sse2), U, pos_d, none, T);
  add("dLn", "sleef_u35", ZEV_VEC_D(Sleef_logd2_u35sse2), U, pos_d, none, T);
  add("sLog2", "sleef_u10", ZEV_VEC_S(Sleef_log2f4_u10sse2), U, pos, none, T);
  add("sLog2", "sleef_u35", ZEV_VEC_S(Sleef_log2f4_u35sse2), U, pos, none, T);
  add("dLog2", "sleef_u10", ZEV_VEC_D(Sleef_log2d2_u10sse2), U, pos_d, none, T);
  add("dLog2", "sleef_u35", ZEV_VEC_D(Sleef_log2d2_u35sse2), U, pos_d, none, T);
  add("sLog10", "sleef_u10", ZEV_VEC_S(Sleef_log10f4_u10sse2), U, pos, none, T);
  add("dLog10", "sleef_u10", ZEV_VEC_D(Sleef_log10d2_u10sse2), U, pos_d, none, T);
  add("sLog1p", "sleef_u10", ZEV_VEC_S(Sleef_log1pf4_u10sse2), U, p1, none, T);
  add("dLog1p", "sleef_u10", ZEV_VEC_D(Sleef_log1pd2_u10sse2), U, p1, none, T);
#endif
}

const int registered = (register_log(), 0);

}  // namespace
}  // namespace zevbench
