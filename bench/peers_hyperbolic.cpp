// The hyperbolic family beside the peers a user would pick instead; the harness
// is bench_vector.cpp. Adding a row is one line per implementation here.
#include <emmintrin.h>

#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

// libmvec's SSE variants of the family.
extern "C" {
__m128d _ZGVbN2v_sinh(__m128d);
__m128d _ZGVbN2v_cosh(__m128d);
__m128d _ZGVbN2v_tanh(__m128d);
__m128d _ZGVbN2v_asinh(__m128d);
__m128d _ZGVbN2v_acosh(__m128d);
__m128d _ZGVbN2v_atanh(__m128d);
__m128 _ZGVbN4v_sinhf(__m128);
__m128 _ZGVbN4v_coshf(__m128);
__m128 _ZGVbN4v_tanhf(__m128);
__m128 _ZGVbN4v_asinhf(__m128);
__m128 _ZGVbN4v_acoshf(__m128);
__m128 _ZGVbN4v_atanhf(__m128);
}

namespace zevbench {
namespace {

void register_hyperbolic() {
  using std::acosh, std::asinh, std::atanh, std::cosh, std::sinh, std::tanh;
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;
  const Domain sd{-80, 80}, dd{-700, 700}, th{-10, 10}, as{-1e6, 1e6}, ac{1, 1e6}, at{-0.999, 0.999};

  add_ours("sSinh", U, sd, none, T);
  add("sSinh", "glibc", ZEV_LOOP1(float, sinhf(a[i])), U, sd, none, T);
  add("sSinh", "libmvec", ZEV_VEC_S(_ZGVbN4v_sinhf), U, sd, none, T);
  add_ours("dSinh", U, dd, none, T);
  add("dSinh", "glibc", ZEV_LOOP1(double, sinh(a[i])), U, dd, none, T);
  add("dSinh", "libmvec", ZEV_VEC_D(_ZGVbN2v_sinh), U, dd, none, T);
  add_ours("sCosh", U, sd, none, T);
  add("sCosh", "glibc", ZEV_LOOP1(float, coshf(a[i])), U, sd, none, T);
  add("sCosh", "libmvec", ZEV_VEC_S(_ZGVbN4v_coshf), U, sd, none, T);
  add_ours("dCosh", U, dd, none, T);
  add("dCosh", "glibc", ZEV_LOOP1(double, cosh(a[i])), U, dd, none, T);
  add("dCosh", "libmvec", ZEV_VEC_D(_ZGVbN2v_cosh), U, dd, none, T);
  add_ours("sTanh", U, th, none, T);
  add("sTanh", "glibc", ZEV_LOOP1(float, tanhf(a[i])), U, th, none, T);
  add("sTanh", "libmvec", ZEV_VEC_S(_ZGVbN4v_tanhf), U, th, none, T);
  add_ours("dTanh", U, th, none, T);
  add("dTanh", "glibc", ZEV_LOOP1(double, tanh(a[i])), U, th, none, T);
  add("dTanh", "libmvec", ZEV_VEC_D(_ZGVbN2v_tanh), U, th, none, T);
  add_ours("sAsinh", U, as, none, T);
  add("sAsinh", "glibc", ZEV_LOOP1(float, asinhf(a[i])), U, as, none, T);
  add("sAsinh", "libmvec", ZEV_VEC_S(_ZGVbN4v_asinhf), U, as, none, T);
  add_ours("dAsinh", U, as, none, T);
  add("dAsinh", "glibc", ZEV_LOOP1(double, asinh(a[i])), U, as, none, T);
  add("dAsinh", "libmvec", ZEV_VEC_D(_ZGVbN2v_asinh), U, as, none, T);
  add_ours("sAcosh", U, ac, none, T);
  add("sAcosh", "glibc", ZEV_LOOP1(float, acoshf(a[i])), U, ac, none, T);
  add("sAcosh", "libmvec", ZEV_VEC_S(_ZGVbN4v_acoshf), U, ac, none, T);
  add_ours("dAcosh", U, ac, none, T);
  add("dAcosh", "glibc", ZEV_LOOP1(double, acosh(a[i])), U, ac, none, T);
  add("dAcosh", "libmvec", ZEV_VEC_D(_ZGVbN2v_acosh), U, ac, none, T);
  add_ours("sAtanh", U, at, none, T);
  add("sAtanh", "glibc", ZEV_LOOP1(float, atanhf(a[i])), U, at, none, T);
  add("sAtanh", "libmvec", ZEV_VEC_S(_ZGVbN4v_atanhf), U, at, none, T);
  add_ours("dAtanh", U, at, none, T);
  add("dAtanh", "glibc", ZEV_LOOP1(double, atanh(a[i])), U, at, none, T);
  add("dAtanh", "libmvec", ZEV_VEC_D(_ZGVbN2v_atanh), U, at, none, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sSinh", "sleef_u10", ZEV_VEC_S(Sleef_sinhf4_u10sse2), U, sd, none, T);
  add("sSinh", "sleef_u35", ZEV_VEC_S(Sleef_sinhf4_u35sse2), U, sd, none, T);
  add("dSinh", "sleef_u10", ZEV_VEC_D(Sleef_sinhd2_u10sse2), U, dd, none, T);
  add("dSinh", "sleef_u35", ZEV_VEC_D(Sleef_sinhd2_u35sse2), U, dd, none, T);
  add("sCosh", "sleef_u10", ZEV_VEC_S(Sleef_coshf4_u10sse2), U, sd, none, T);
  add("sCosh", "sleef_u35", ZEV_VEC_S(Sleef_coshf4_u35sse2), U, sd, none, T);
  add("dCosh", "sleef_u10", ZEV_VEC_D(Sleef_coshd2_u10sse2), U, dd, none, T);
  add("dCosh", "sleef_u35", ZEV_VEC_D(Sleef_coshd2_u35sse2), U, dd, none, T);
  add("sTanh", "sleef_u10", ZEV_VEC_S(Sleef_tanhf4_u10sse2), U, th, none, T);
  add("sTanh", "sleef_u35", ZEV_VEC_S(Sleef_tanhf4_u35sse2), U, th, none, T);
  add("dTanh", "sleef_u10", ZEV_VEC_D(Sleef_tanhd2_u10sse2), U, th, none, T);
  add("dTanh", "sleef_u35", ZEV_VEC_D(Sleef_tanhd2_u35sse2), U, th, none, T);
  add("sAsinh", "sleef_u10", ZEV_VEC_S(Sleef_asinhf4_u10sse2), U, as, none, T);
  add("dAsinh", "sleef_u10", ZEV_VEC_D(Sleef_asinhd2_u10sse2), U, as, none, T);
  add("sAcosh", "sleef_u10", ZEV_VEC_S(Sleef_acoshf4_u10sse2), U, ac, none, T);
  add("dAcosh", "sleef_u10", ZEV_VEC_D(Sleef_acoshd2_u10sse2), U, ac, none, T);
  add("sAtanh", "sleef_u10", ZEV_VEC_S(Sleef_atanhf4_u10sse2), U, at, none, T);
  add("dAtanh", "sleef_u10", ZEV_VEC_D(Sleef_atanhd2_u10sse2), U, at, none, T);
#endif
}

const int registered = (register_hyperbolic(), 0);

}  // namespace
}  // namespace zevbench
