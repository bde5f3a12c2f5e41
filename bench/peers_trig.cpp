// The circular functions beside their peers; the harness is bench_vector.cpp.
// Each row twice: on [-10, 10] (row name as is) and on [-1e6, 1e6] (row name
// with "_1e6"). SinCos rows write the sine to a scratch array; their peers are
// glibc's sincos in a loop and SLEEF's sincos, and Sin beside Cos is the
// sum of those two rows.
#include <cmath>
#include <vector>

#include "bench/bench_common.h"
#include "zev/zev_vqm.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

extern "C" {
__m128d _ZGVbN2v_sin(__m128d);
__m128 _ZGVbN4v_sinf(__m128);
__m128d _ZGVbN2v_cos(__m128d);
__m128 _ZGVbN4v_cosf(__m128);
__m128d _ZGVbN2v_tan(__m128d);
__m128 _ZGVbN4v_tanf(__m128);
}

namespace zevbench {
namespace {

// A two-result kernel measured on its second result; the first goes to scratch.
template <class T, void (*F)(int, const T*, T*, T*)>
void second_of(int n, const T* a, T* r) {
  static thread_local std::vector<T> s;
  if (s.size() < static_cast<size_t>(n)) s.resize(static_cast<size_t>(n));
  F(n, a, s.data(), r);
}

#if defined(ZEV_HAVE_SLEEF)
// Both results used, as a caller of sincos would.
template <auto F>
__m128 sum_s(__m128 a) {
  const auto p = F(a);
  return _mm_add_ps(p.x, p.y);
}
template <auto F>
__m128d sum_d(__m128d a) {
  const auto p = F(a);
  return _mm_add_pd(p.x, p.y);
}
#endif

void register_trig() {
  constexpr bool U = false;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;
  for (const Domain d : {Domain{-10, 10}, Domain{-1e6, 1e6}}) {
    const bool wide = d.hi > 10;
    auto row = [&](const char* r) {
      static std::vector<std::string> names;  // the harness keeps the pointer
      names.push_back(std::string(r) + (wide ? "_1e6" : ""));
      return names.back().c_str();
    };
    if (!wide) {
      for (const char* r : {"sSin", "dSin", "sCos", "dCos", "sTan", "dTan"}) add_ours(r, U, d, none, T);
    } else {
      add(row("sSin"), "zev_LA", reinterpret_cast<void*>(_vqmsSin_21), U, d, none, T);
      add(row("sSin"), "zev_HA", reinterpret_cast<void*>(_vqmsSin_HA), U, d, none, T);
      add(row("sSin"), "zev_EP", reinterpret_cast<void*>(_vqmsSin_11), U, d, none, T);
      add(row("dSin"), "zev_HA", reinterpret_cast<void*>(_vqmdSin_HA), U, d, none, T);
      add(row("dSin"), "zev_EP", reinterpret_cast<void*>(_vqmdSin_26), U, d, none, T);
      add(row("sCos"), "zev_LA", reinterpret_cast<void*>(_vqmsCos_21), U, d, none, T);
      add(row("sCos"), "zev_HA", reinterpret_cast<void*>(_vqmsCos_HA), U, d, none, T);
      add(row("sCos"), "zev_EP", reinterpret_cast<void*>(_vqmsCos_11), U, d, none, T);
      add(row("dCos"), "zev_HA", reinterpret_cast<void*>(_vqmdCos_HA), U, d, none, T);
      add(row("dCos"), "zev_EP", reinterpret_cast<void*>(_vqmdCos_26), U, d, none, T);
      add(row("sTan"), "zev_LA", reinterpret_cast<void*>(_vqmsTan_21), U, d, none, T);
      add(row("sTan"), "zev_HA", reinterpret_cast<void*>(_vqmsTan_HA), U, d, none, T);
      add(row("dTan"), "zev_LA", reinterpret_cast<void*>(_vqmdTan_50), U, d, none, T);
      add(row("dTan"), "zev_HA", reinterpret_cast<void*>(_vqmdTan_HA), U, d, none, T);
      add(row("dTan"), "zev_EP", reinterpret_cast<void*>(_vqmdTan_26), U, d, none, T);
    }
    add(row("sSinCos"), "zev_LA", reinterpret_cast<void*>(&second_of<float, _vqmsSinCos_21>), U, d, none, T);
    add(row("sSinCos"), "zev_HA", reinterpret_cast<void*>(&second_of<float, _vqmsSinCos_HA>), U, d, none, T);
    add(row("dSinCos"), "zev_LA", reinterpret_cast<void*>(&second_of<double, _vqmdSinCos_50>), U, d, none, T);
    add(row("dSinCos"), "zev_HA", reinterpret_cast<void*>(&second_of<double, _vqmdSinCos_HA>), U, d, none, T);
    add(row("dSinCos"), "zev_EP", reinterpret_cast<void*>(&second_of<double, _vqmdSinCos_26>), U, d, none, T);

    add(row("sSin"), "glibc", ZEV_LOOP1(float, sinf(a[i])), U, d, none, T);
    add(row("dSin"), "glibc", ZEV_LOOP1(double, sin(a[i])), U, d, none, T);
    add(row("sCos"), "glibc", ZEV_LOOP1(float, cosf(a[i])), U, d, none, T);
    add(row("dCos"), "glibc", ZEV_LOOP1(double, cos(a[i])), U, d, none, T);
    add(row("sTan"), "glibc", ZEV_LOOP1(float, tanf(a[i])), U, d, none, T);
    add(row("dTan"), "glibc", ZEV_LOOP1(double, tan(a[i])), U, d, none, T);
    add(row("sSinCos"), "glibc", reinterpret_cast<void*>(+[](int n, const float* a, float* r) {
          float s;
          for (int i = 0; i < n; ++i) sincosf(a[i], &s, &r[i]), r[i] += s;
        }), U, d, none, T);
    add(row("dSinCos"), "glibc", reinterpret_cast<void*>(+[](int n, const double* a, double* r) {
          double s;
          for (int i = 0; i < n; ++i) sincos(a[i], &s, &r[i]), r[i] += s;
        }), U, d, none, T);
    add(row("sSin"), "libmvec", ZEV_VEC_S(_ZGVbN4v_sinf), U, d, none, T);
    add(row("dSin"), "libmvec", ZEV_VEC_D(_ZGVbN2v_sin), U, d, none, T);
    add(row("sCos"), "libmvec", ZEV_VEC_S(_ZGVbN4v_cosf), U, d, none, T);
    add(row("dCos"), "libmvec", ZEV_VEC_D(_ZGVbN2v_cos), U, d, none, T);
    add(row("sTan"), "libmvec", ZEV_VEC_S(_ZGVbN4v_tanf), U, d, none, T);
    add(row("dTan"), "libmvec", ZEV_VEC_D(_ZGVbN2v_tan), U, d, none, T);
#if defined(ZEV_HAVE_SLEEF)
    add(row("sSin"), "sleef_u10", ZEV_VEC_S(Sleef_sinf4_u10sse2), U, d, none, T);
    add(row("sSin"), "sleef_u35", ZEV_VEC_S(Sleef_sinf4_u35sse2), U, d, none, T);
    add(row("dSin"), "sleef_u10", ZEV_VEC_D(Sleef_sind2_u10sse2), U, d, none, T);
    add(row("dSin"), "sleef_u35", ZEV_VEC_D(Sleef_sind2_u35sse2), U, d, none, T);
    add(row("sCos"), "sleef_u10", ZEV_VEC_S(Sleef_cosf4_u10sse2), U, d, none, T);
    add(row("sCos"), "sleef_u35", ZEV_VEC_S(Sleef_cosf4_u35sse2), U, d, none, T);
    add(row("dCos"), "sleef_u10", ZEV_VEC_D(Sleef_cosd2_u10sse2), U, d, none, T);
    add(row("dCos"), "sleef_u35", ZEV_VEC_D(Sleef_cosd2_u35sse2), U, d, none, T);
    add(row("sTan"), "sleef_u10", ZEV_VEC_S(Sleef_tanf4_u10sse2), U, d, none, T);
    add(row("sTan"), "sleef_u35", ZEV_VEC_S(Sleef_tanf4_u35sse2), U, d, none, T);
    add(row("dTan"), "sleef_u10", ZEV_VEC_D(Sleef_tand2_u10sse2), U, d, none, T);
    add(row("dTan"), "sleef_u35", ZEV_VEC_D(Sleef_tand2_u35sse2), U, d, none, T);
    add(row("sSinCos"), "sleef_u10",
        ZEV_VEC_S(sum_s<Sleef_sincosf4_u10sse2>), U, d, none, T);
    add(row("sSinCos"), "sleef_u35",
        ZEV_VEC_S(sum_s<Sleef_sincosf4_u35sse2>), U, d, none, T);
    add(row("dSinCos"), "sleef_u10",
        ZEV_VEC_D(sum_d<Sleef_sincosd2_u10sse2>), U, d, none, T);
    add(row("dSinCos"), "sleef_u35",
        ZEV_VEC_D(sum_d<Sleef_sincosd2_u35sse2>), U, d, none, T);
#endif
  }
}

const int registered = (register_trig(), 0);

}  // namespace
}  // namespace zevbench
