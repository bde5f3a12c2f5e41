// Helpers of the vector-math benchmarks: a table of cases (one line per
// implementation of a function), adapters that turn a peer into an array
// kernel, and the lookup of our entries by name.
//
// Benchmark names are <row>/<implementation>/<n>: our entries are zev_LA,
// zev_HA and zev_EP, the peers glibc (a plain loop over the scalar function),
// libmvec, sleef_u10, sleef_u35 and loop (a plain -O3 -msse2 loop doing the
// same operation). bench/ratios.py reads the JSON output and prints ratios.
#pragma once

#include <dlfcn.h>
#include <emmintrin.h>

#include <cstdint>
#include <string>
#include <vector>

// The peers of other libraries, declared once.
// glibc's libmvec, SSE variants (x86-64 vector function ABI, 'b' = SSE).
extern "C" {
__m128d _ZGVbN2v_exp(__m128d);
__m128 _ZGVbN4v_expf(__m128);
__m128d _ZGVbN2v_exp2(__m128d);
__m128 _ZGVbN4v_exp2f(__m128);
__m128d _ZGVbN2v_exp10(__m128d);
__m128 _ZGVbN4v_exp10f(__m128);
__m128d _ZGVbN2v_expm1(__m128d);
__m128 _ZGVbN4v_expm1f(__m128);
__m128d _ZGVbN2v_log(__m128d);
__m128 _ZGVbN4v_logf(__m128);
__m128d _ZGVbN2v_log2(__m128d);
__m128 _ZGVbN4v_log2f(__m128);
__m128d _ZGVbN2v_log10(__m128d);
__m128 _ZGVbN4v_log10f(__m128);
__m128d _ZGVbN2v_log1p(__m128d);
__m128 _ZGVbN4v_log1pf(__m128);
__m128d _ZGVbN2v_cbrt(__m128d);
__m128 _ZGVbN4v_cbrtf(__m128);
__m128d _ZGVbN2vv_pow(__m128d, __m128d);
__m128 _ZGVbN4vv_powf(__m128, __m128);
__m128d _ZGVbN2vv_hypot(__m128d, __m128d);
__m128 _ZGVbN4vv_hypotf(__m128, __m128);
}

namespace zevbench {

// Array kernels of the three shapes measured here.
template <class T>
using Unary = void (*)(int n, const T* a, T* r);
template <class T>
using Binary = void (*)(int n, const T* a, const T* b, T* r);

struct Domain {
  double lo, hi;
};

// Size lists.
inline const std::vector<long> kTranscendental{1000, 1000000};
inline const std::vector<long> kLaneWise{1000, 10000000};
inline const std::vector<long> kSmall{1000};

// Registers one implementation of a row. `fn` has the row's kernel type
// (Unary<T> or Binary<T>, T from the row's first letter); a and b are drawn
// uniformly from their domains with a fixed seed.
void add(const char* row, const char* impl, void* fn, bool binary, Domain a, Domain b,
         const std::vector<long>& sizes);

// Registers our three entries of a row (_vqm<row>_21/_50, _vqm<row>,
// _vqm<row>_11/_26) under zev_LA, zev_HA and zev_EP; an absent entry is
// left out.
void add_ours(const char* row, bool binary, Domain a, Domain b, const std::vector<long>& sizes);

// ---- Adapters ------------------------------------------------------------

// A vector function of the x86-64 vector ABI or of SLEEF over an array (F is
// taken as auto: SLEEF declares its vector returns const): whole
// vectors straight from the array, the tail through a padded vector.
template <auto F>
void vec_d(int n, const double* a, double* r) {
  int i = 0;
  for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, F(_mm_loadu_pd(a + i)));
  if (i < n) {
    alignas(16) double t[2] = {a[i], a[i]};
    _mm_store_pd(t, F(_mm_load_pd(t)));
    r[i] = t[0];
  }
}
template <auto F>
void vec_s(int n, const float* a, float* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, F(_mm_loadu_ps(a + i)));
  if (i < n) {
    alignas(16) float t[4];
    for (int k = 0; k < 4; ++k) t[k] = a[i + (i + k < n ? k : 0)];
    _mm_store_ps(t, F(_mm_load_ps(t)));
    for (int k = 0; i + k < n; ++k) r[i + k] = t[k];
  }
}
template <auto F>
void vec2_d(int n, const double* a, const double* b, double* r) {
  int i = 0;
  for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, F(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
  if (i < n) {
    alignas(16) double t[2] = {a[i], a[i]}, u[2] = {b[i], b[i]};
    _mm_store_pd(t, F(_mm_load_pd(t), _mm_load_pd(u)));
    r[i] = t[0];
  }
}
template <auto F>
void vec2_s(int n, const float* a, const float* b, float* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, F(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
  if (i < n) {
    alignas(16) float t[4], u[4];
    for (int k = 0; k < 4; ++k) {
      const int j = i + (i + k < n ? k : 0);
      t[k] = a[j];
      u[k] = b[j];
    }
    _mm_store_ps(t, F(_mm_load_ps(t), _mm_load_ps(u)));
    for (int k = 0; i + k < n; ++k) r[i + k] = t[k];
  }
}

// The LA, HA and EP entries of a complex row, each handed to add(impl, fn)
// under its benchmark name; fn is null where the module has no such entry.
template <class Add>
void complex_levels(const std::string& row, Add add) {
  const bool single = row[0] == 'c';
  const char* sfx[3] = {single ? "_21" : "_50", "", single ? "_11" : "_26"};
  const char* impl[3] = {"zev_LA", "zev_HA", "zev_EP"};
  for (int lv = 0; lv < 3; ++lv) add(impl[lv], dlsym(RTLD_DEFAULT, ("_vqm" + row + sfx[lv]).c_str()));
}

}  // namespace zevbench

// A plain loop over a scalar expression of a[i] (and b[i]), as a kernel pointer.
#define ZEV_LOOP1(T, expr) \
  reinterpret_cast<void*>(+[](int n, const T* a, T* r) { for (int i = 0; i < n; ++i) r[i] = (expr); })
#define ZEV_LOOP2(T, expr)                                                         \
  reinterpret_cast<void*>(+[](int n, const T* a, const T* b, T* r) {               \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                     \
  })
#define ZEV_VEC_S(f) reinterpret_cast<void*>(static_cast<zevbench::Unary<float>>(&zevbench::vec_s<f>))
#define ZEV_VEC_D(f) reinterpret_cast<void*>(static_cast<zevbench::Unary<double>>(&zevbench::vec_d<f>))
#define ZEV_VEC2_S(f) reinterpret_cast<void*>(static_cast<zevbench::Binary<float>>(&zevbench::vec2_s<f>))
#define ZEV_VEC2_D(f) reinterpret_cast<void*>(static_cast<zevbench::Binary<double>>(&zevbench::vec2_d<f>))
