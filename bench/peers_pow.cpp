// Powers and roots beside the peers a user would pick instead; the harness is
// bench_vector.cpp. Adding a row is one line per implementation here.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

namespace zevbench {
namespace {

void register_pow() {
  using std::cbrt, std::exp, std::exp2, std::expm1, std::log, std::log10, std::log1p, std::log2, std::pow,
      std::sqrt, std::hypot;
  constexpr bool U = false, B = true;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;
  const Domain pos{1e-30, 1e30}, pos_d{1e-300, 1e300};

  // ---- Powers and roots
  const Domain base{0.01, 100}, expo{-20, 20}, any{-1e30, 1e30};
  add_ours("sPow", B, base, expo, T);
  add("sPow", "glibc", ZEV_LOOP2(float, powf(a[i], b[i])), B, base, expo, T);
  add("sPow", "libmvec", ZEV_VEC2_S(_ZGVbN4vv_powf), B, base, expo, T);
  add_ours("dPow", B, base, expo, T);
  add("dPow", "glibc", ZEV_LOOP2(double, pow(a[i], b[i])), B, base, expo, T);
  add("dPow", "libmvec", ZEV_VEC2_D(_ZGVbN2vv_pow), B, base, expo, T);
  add_ours("sSqrt", U, pos, none, T);
  add("sSqrt", "glibc", ZEV_LOOP1(float, sqrtf(a[i])), U, pos, none, T);
  add_ours("dSqrt", U, pos_d, none, T);
  add("dSqrt", "glibc", ZEV_LOOP1(double, sqrt(a[i])), U, pos_d, none, T);
  add_ours("sCbrt", U, any, none, T);
  add("sCbrt", "glibc", ZEV_LOOP1(float, cbrtf(a[i])), U, any, none, T);
  add("sCbrt", "libmvec", ZEV_VEC_S(_ZGVbN4v_cbrtf), U, any, none, T);
  add_ours("dCbrt", U, any, none, T);
  add("dCbrt", "glibc", ZEV_LOOP1(double, cbrt(a[i])), U, any, none, T);
  add("dCbrt", "libmvec", ZEV_VEC_D(_ZGVbN2v_cbrt), U, any, none, T);
  add_ours("sHypot", B, any, any, T);
  add("sHypot", "glibc", ZEV_LOOP2(float, hypotf(a[i], b[i])), B, any, any, T);
  add("sHypot", "libmvec", ZEV_VEC2_S(_ZGVbN4vv_hypotf), B, any, any, T);
  add_ours("dHypot", B, any, any, T);
  add("dHypot", "glibc", ZEV_LOOP2(double, hypot(a[i], b[i])), B, any, any, T);
  add("dHypot", "libmvec", ZEV_VEC2_D(_ZGVbN2vv_hypot), B, any, any, T);


#if defined(ZEV_HAVE_SLEEF)
  add("sPow", "sleef_u10", ZEV_VEC2_S(Sleef_powf4_u10sse2), B, base, expo, T);
  add("dPow", "sleef_u10", ZEV_VEC2_D(Sleef_powd2_u10sse2), B, base, expo, T);
  add("sSqrt", "sleef_u05", ZEV_VEC_S(Sleef_sqrtf4_u05sse2), U, pos, none, T);
  add("sSqrt", "sleef_u35", ZEV_VEC_S(Sleef_sqrtf4_u35sse2), U, pos, none, T);
  add("dSqrt", "sleef_u05", ZEV_VEC_D(Sleef_sqrtd2_u05sse2), U, pos_d, none, T);
  add("dSqrt", "sleef_u35", ZEV_VEC_D(Sleef_sqrtd2_u35sse2), U, pos_d, none, T);
  add("sCbrt", "sleef_u10", ZEV_VEC_S(Sleef_cbrtf4_u10sse2), U, any, none, T);
  add("sCbrt", "sleef_u35", ZEV_VEC_S(Sleef_cbrtf4_u35sse2), U, any, none, T);
  add("dCbrt", "sleef_u10", ZEV_VEC_D(Sleef_cbrtd2_u10sse2), U, any, none, T);
  add("dCbrt", "sleef_u35", ZEV_VEC_D(Sleef_cbrtd2_u35sse2), U, any, none, T);
  add("sHypot", "sleef_u05", ZEV_VEC2_S(Sleef_hypotf4_u05sse2), B, any, any, T);
  add("sHypot", "sleef_u35", ZEV_VEC2_S(Sleef_hypotf4_u35sse2), B, any, any, T);
  add("dHypot", "sleef_u05", ZEV_VEC2_D(Sleef_hypotd2_u05sse2), B, any, any, T);
  add("dHypot", "sleef_u35", ZEV_VEC2_D(Sleef_hypotd2_u35sse2), B, any, any, T);
#endif
}

const int registered = (register_pow(), 0);

}  // namespace
}  // namespace zevbench
