// The error-function family beside its peers: glibc's scalar erf and erfc in a
// loop, libmvec's SSE forms, SLEEF's SSE2 erf (u10) and erfc (u15), and for the
// inverses Boost.Math's erf_inv and erfc_inv (header-only; left out when the
// header is missing). SciPy's ndtri is timed apart (bench/scipy_ndtri.py).
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif
#if __has_include(<boost/math/special_functions/erf.hpp>)
#include <boost/math/special_functions/erf.hpp>
#define ZEV_HAVE_BOOST_MATH 1
#endif

// libmvec's SSE forms of this family.
extern "C" {
__m128d _ZGVbN2v_erf(__m128d);
__m128d _ZGVbN2v_erfc(__m128d);
__m128 _ZGVbN4v_erff(__m128);
__m128 _ZGVbN4v_erfcf(__m128);
}

namespace zevbench {
namespace {

void register_erf() {
  using std::erf, std::erfc;
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;
  const Domain fwd{-6, 6}, tail{-6, 27}, norm{-38, 9};
  const Domain inv{-0.999, 0.999}, cinv{0.001, 1.999}, ninv{0.001, 0.999};

  add_ours("sErf", U, {-4, 4}, none, T);
  add("sErf", "glibc", ZEV_LOOP1(float, erff(a[i])), U, {-4, 4}, none, T);
  add("sErf", "libmvec", ZEV_VEC_S(_ZGVbN4v_erff), U, {-4, 4}, none, T);
  add_ours("dErf", U, fwd, none, T);
  add("dErf", "glibc", ZEV_LOOP1(double, erf(a[i])), U, fwd, none, T);
  add("dErf", "libmvec", ZEV_VEC_D(_ZGVbN2v_erf), U, fwd, none, T);
  add_ours("sErfc", U, {-4, 10}, none, T);
  add("sErfc", "glibc", ZEV_LOOP1(float, erfcf(a[i])), U, {-4, 10}, none, T);
  add("sErfc", "libmvec", ZEV_VEC_S(_ZGVbN4v_erfcf), U, {-4, 10}, none, T);
  add_ours("dErfc", U, tail, none, T);
  add("dErfc", "glibc", ZEV_LOOP1(double, erfc(a[i])), U, tail, none, T);
  add("dErfc", "libmvec", ZEV_VEC_D(_ZGVbN2v_erfc), U, tail, none, T);
  add_ours("sCdfNorm", U, {-14, 6}, none, T);
  add("sCdfNorm", "glibc", ZEV_LOOP1(float, 0.5f * erfcf(a[i] * -0.70710678f)), U, {-14, 6}, none, T);
  add_ours("dCdfNorm", U, norm, none, T);
  add("dCdfNorm", "glibc", ZEV_LOOP1(double, 0.5 * erfc(a[i] * -0.7071067811865476)), U, norm, none, T);
  add_ours("sErfInv", U, inv, none, T);
  add_ours("dErfInv", U, inv, none, T);
  add_ours("sErfcInv", U, cinv, none, T);
  add_ours("dErfcInv", U, cinv, none, T);
  add_ours("sCdfNormInv", U, ninv, none, T);
  add_ours("dCdfNormInv", U, ninv, none, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sErf", "sleef_u10", ZEV_VEC_S(Sleef_erff4_u10sse2), U, {-4, 4}, none, T);
  add("dErf", "sleef_u10", ZEV_VEC_D(Sleef_erfd2_u10sse2), U, fwd, none, T);
  add("sErfc", "sleef_u15", ZEV_VEC_S(Sleef_erfcf4_u15sse2), U, {-4, 10}, none, T);
  add("dErfc", "sleef_u15", ZEV_VEC_D(Sleef_erfcd2_u15sse2), U, tail, none, T);
#endif
#if defined(ZEV_HAVE_BOOST_MATH)
  using boost::math::erf_inv, boost::math::erfc_inv;
  add("sErfInv", "boost", ZEV_LOOP1(float, erf_inv(a[i])), U, inv, none, T);
  add("dErfInv", "boost", ZEV_LOOP1(double, erf_inv(a[i])), U, inv, none, T);
  add("sErfcInv", "boost", ZEV_LOOP1(float, erfc_inv(a[i])), U, cinv, none, T);
  add("dErfcInv", "boost", ZEV_LOOP1(double, erfc_inv(a[i])), U, cinv, none, T);
  add("sCdfNormInv", "boost", ZEV_LOOP1(float, -1.41421356f * erfc_inv(2.0f * a[i])), U, ninv, none, T);
  add("dCdfNormInv", "boost", ZEV_LOOP1(double, -1.4142135623730951 * erfc_inv(2.0 * a[i])), U, ninv, none, T);
#endif
}

const int registered = (register_erf(), 0);

}  // namespace
}  // namespace zevbench
