// The half-turn and degree circular functions beside the peers a user would
// pick instead: SLEEF's sinpi/cospi (u05) where it has them, and glibc's and
// libmvec's radian functions on x pi (or x pi/180), which is what a user
// without these functions writes; the harness is bench_vector.cpp.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

extern "C" {
__m128d _ZGVbN2v_sin(__m128d);
__m128d _ZGVbN2v_cos(__m128d);
__m128d _ZGVbN2v_tan(__m128d);
__m128 _ZGVbN4v_sinf(__m128);
__m128 _ZGVbN4v_cosf(__m128);
__m128 _ZGVbN4v_tanf(__m128);
}

namespace zevbench {
namespace {

constexpr double kPi = 3.141592653589793, kRad = kPi / 180;

// A vector function composed with a scaling of its argument.
template <auto F, const double& C>
__m128d scaled_d(__m128d x) {
  return F(_mm_mul_pd(x, _mm_set1_pd(C)));
}
template <auto F, const double& C>
__m128 scaled_s(__m128 x) {
  return F(_mm_mul_ps(x, _mm_set1_ps(static_cast<float>(C))));
}
constexpr double kInv180 = 1.0 / 180;

void register_trigpi() {
  constexpr bool U = false;
  const Domain none{0.5, 1.0}, half{-100.0, 100.0}, deg{-3600.0, 3600.0};
  const auto& T = kTranscendental;

  add_ours("sSinpi", U, half, none, T);
  add("sSinpi", "glibc_sinf_xpi", ZEV_LOOP1(float, sinf(a[i] * float(kPi))), U, half, none, T);
  add("sSinpi", "libmvec_sinf_xpi", ZEV_VEC_S((scaled_s<_ZGVbN4v_sinf, kPi>)), U, half, none, T);
  add_ours("sCospi", U, half, none, T);
  add("sCospi", "glibc_cosf_xpi", ZEV_LOOP1(float, cosf(a[i] * float(kPi))), U, half, none, T);
  add("sCospi", "libmvec_cosf_xpi", ZEV_VEC_S((scaled_s<_ZGVbN4v_cosf, kPi>)), U, half, none, T);
  add_ours("sTanpi", U, half, none, T);
  add("sTanpi", "glibc_tanf_xpi", ZEV_LOOP1(float, tanf(a[i] * float(kPi))), U, half, none, T);
  add("sTanpi", "libmvec_tanf_xpi", ZEV_VEC_S((scaled_s<_ZGVbN4v_tanf, kPi>)), U, half, none, T);
  add_ours("dSinpi", U, half, none, T);
  add("dSinpi", "glibc_sin_xpi", ZEV_LOOP1(double, sin(a[i] * kPi)), U, half, none, T);
  add("dSinpi", "libmvec_sin_xpi", ZEV_VEC_D((scaled_d<_ZGVbN2v_sin, kPi>)), U, half, none, T);
  add_ours("dCospi", U, half, none, T);
  add("dCospi", "glibc_cos_xpi", ZEV_LOOP1(double, cos(a[i] * kPi)), U, half, none, T);
  add("dCospi", "libmvec_cos_xpi", ZEV_VEC_D((scaled_d<_ZGVbN2v_cos, kPi>)), U, half, none, T);
  add_ours("dTanpi", U, half, none, T);
  add("dTanpi", "glibc_tan_xpi", ZEV_LOOP1(double, tan(a[i] * kPi)), U, half, none, T);
  add("dTanpi", "libmvec_tan_xpi", ZEV_VEC_D((scaled_d<_ZGVbN2v_tan, kPi>)), U, half, none, T);

  add_ours("sSind", U, deg, none, T);
  add("sSind", "glibc_sinf_xrad", ZEV_LOOP1(float, sinf(a[i] * float(kRad))), U, deg, none, T);
  add("sSind", "libmvec_sinf_xrad", ZEV_VEC_S((scaled_s<_ZGVbN4v_sinf, kRad>)), U, deg, none, T);
  add_ours("sCosd", U, deg, none, T);
  add("sCosd", "glibc_cosf_xrad", ZEV_LOOP1(float, cosf(a[i] * float(kRad))), U, deg, none, T);
  add_ours("sTand", U, deg, none, T);
  add("sTand", "glibc_tanf_xrad", ZEV_LOOP1(float, tanf(a[i] * float(kRad))), U, deg, none, T);
  add_ours("dSind", U, deg, none, T);
  add("dSind", "glibc_sin_xrad", ZEV_LOOP1(double, sin(a[i] * kRad)), U, deg, none, T);
  add("dSind", "libmvec_sin_xrad", ZEV_VEC_D((scaled_d<_ZGVbN2v_sin, kRad>)), U, deg, none, T);
  add_ours("dCosd", U, deg, none, T);
  add("dCosd", "glibc_cos_xrad", ZEV_LOOP1(double, cos(a[i] * kRad)), U, deg, none, T);
  add_ours("dTand", U, deg, none, T);
  add("dTand", "glibc_tan_xrad", ZEV_LOOP1(double, tan(a[i] * kRad)), U, deg, none, T);
  add("dTand", "libmvec_tan_xrad", ZEV_VEC_D((scaled_d<_ZGVbN2v_tan, kRad>)), U, deg, none, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sSinpi", "sleef_u05", ZEV_VEC_S(Sleef_sinpif4_u05sse2), U, half, none, T);
  add("sCospi", "sleef_u05", ZEV_VEC_S(Sleef_cospif4_u05sse2), U, half, none, T);
  add("sTanpi", "sleef_tan_xpi_u10", ZEV_VEC_S((scaled_s<Sleef_tanf4_u10sse2, kPi>)), U, half, none, T);
  add("dSinpi", "sleef_u05", ZEV_VEC_D(Sleef_sinpid2_u05sse2), U, half, none, T);
  add("dCospi", "sleef_u05", ZEV_VEC_D(Sleef_cospid2_u05sse2), U, half, none, T);
  add("dTanpi", "sleef_tan_xpi_u10", ZEV_VEC_D((scaled_d<Sleef_tand2_u10sse2, kPi>)), U, half, none, T);
  add("sSind", "sleef_sinpi_x180_u05", ZEV_VEC_S((scaled_s<Sleef_sinpif4_u05sse2, kInv180>)), U, deg, none, T);
  add("dSind", "sleef_sinpi_x180_u05", ZEV_VEC_D((scaled_d<Sleef_sinpid2_u05sse2, kInv180>)), U, deg, none, T);
  add("dCosd", "sleef_cospi_x180_u05", ZEV_VEC_D((scaled_d<Sleef_cospid2_u05sse2, kInv180>)), U, deg, none, T);
  add("dTand", "sleef_tan_xrad_u10", ZEV_VEC_D((scaled_d<Sleef_tand2_u10sse2, kRad>)), U, deg, none, T);
#endif
}

const int registered = (register_trigpi(), 0);

}  // namespace
}  // namespace zevbench
