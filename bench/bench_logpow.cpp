// Logarithms, powers and roots beyond the common table of bench_vector.cpp
// (which has Ln, Log2, Log10, Log1p, Pow, Cbrt and Hypot): Logb, Powr,
// InvCbrt, Pow2o3, Pow3o2 and Powx, each beside the peers a user would pick.
//
//   zev_bench --benchmark_filter='^(s|d)(Ln|Log|Pow|Hypot|Cbrt|InvCbrt)'
//             --benchmark_repetitions=5 --benchmark_format=json > out.json
// (one command line)
//   bench/ratios.py out.json
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <emmintrin.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_common.h"
#include "zev/zev_vqm.h"
#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

extern "C" {
__m128 _ZGVbN4vv_powf(__m128, __m128);
__m128d _ZGVbN2vv_pow(__m128d, __m128d);
}

namespace {

using zevbench::add;
using zevbench::add_ours;
using zevbench::Domain;

#if defined(ZEV_HAVE_SLEEF)
__m128d sleef_invcbrt_d(__m128d x) { return _mm_div_pd(_mm_set1_pd(1.0), Sleef_cbrtd2_u10sse2(x)); }
__m128 sleef_invcbrt_s(__m128 x) { return _mm_div_ps(_mm_set1_ps(1.0f), Sleef_cbrtf4_u10sse2(x)); }
__m128d sleef_pow2o3_d(__m128d x) { return Sleef_cbrtd2_u10sse2(_mm_mul_pd(x, x)); }
__m128 sleef_pow2o3_s(__m128 x) { return Sleef_cbrtf4_u10sse2(_mm_mul_ps(x, x)); }
__m128d sleef_pow3o2_d(__m128d x) { return Sleef_powd2_u10sse2(x, _mm_set1_pd(1.5)); }
__m128 sleef_pow3o2_s(__m128 x) { return Sleef_powf4_u10sse2(x, _mm_set1_ps(1.5f)); }
#endif

// Powx: a scalar exponent, so a registration of its own.
constexpr double kPowxB = 2.7;
template <class T>
using PowxFn = void (*)(int, const T*, T, T*);

template <class T>
void run_powx(benchmark::State& st, PowxFn<T> f) {
  const long n = st.range(0);
  std::mt19937 g(7);
  std::uniform_real_distribution<double> u(0.01, 100.0);
  std::vector<T> a(n), r(n);
  for (auto& v : a) v = static_cast<T>(u(g));
  for (auto _ : st) {
    f(static_cast<int>(n), a.data(), static_cast<T>(kPowxB), r.data());
    benchmark::DoNotOptimize(r.data());
  }
  zev_vqm_kernel_ClearErrStatus();
  st.SetItemsProcessed(st.iterations() * n);
}

template <class T>
void add_powx(const char* row, const char* impl, PowxFn<T> f) {
  if (!f) return;
  auto* bm = benchmark::RegisterBenchmark((std::string(row) + "/" + impl).c_str(),
                                          [=](benchmark::State& s) { run_powx<T>(s, f); });
  for (long n : zevbench::kTranscendental) bm->Arg(n);
}

template <class T>
void add_powx_ours(const char* row) {
  const bool single = row[0] == 's';
  static const char* sfx_s[] = {"_21", "", "_11"};
  static const char* sfx_d[] = {"_50", "", "_26"};
  static const char* impl[] = {"zev_LA", "zev_HA", "zev_EP"};
  for (int l = 0; l < 3; ++l) {
    const std::string e = std::string("_vqm") + row + (single ? sfx_s : sfx_d)[l];
    add_powx<T>(row, impl[l], reinterpret_cast<PowxFn<T>>(dlsym(RTLD_DEFAULT, e.c_str())));
  }
}

void register_logpow() {
  constexpr bool U = false, B = true;
  const auto& T = zevbench::kTranscendental;
  const Domain none{0.5, 1.0}, any{-1e30, 1e30}, pos{1e-20, 1e20}, pos_d{1e-200, 1e200};  // x^1.5 stays finite
  const Domain base{0.01, 100}, expo{-20, 20};

  add_ours("sLogb", U, any, none, T);
  add("sLogb", "glibc", ZEV_LOOP1(float, logbf(a[i])), U, any, none, T);
  add_ours("dLogb", U, any, none, T);
  add("dLogb", "glibc", ZEV_LOOP1(double, logb(a[i])), U, any, none, T);

  add_ours("sPowr", B, base, expo, T);
  add("sPowr", "glibc", ZEV_LOOP2(float, powf(a[i], b[i])), B, base, expo, T);
  add("sPowr", "libmvec", ZEV_VEC2_S(_ZGVbN4vv_powf), B, base, expo, T);
  add_ours("dPowr", B, base, expo, T);
  add("dPowr", "glibc", ZEV_LOOP2(double, pow(a[i], b[i])), B, base, expo, T);
  add("dPowr", "libmvec", ZEV_VEC2_D(_ZGVbN2vv_pow), B, base, expo, T);

  add_ours("sInvCbrt", U, any, none, T);
  add("sInvCbrt", "glibc", ZEV_LOOP1(float, 1.0f / cbrtf(a[i])), U, any, none, T);
  add_ours("dInvCbrt", U, any, none, T);
  add("dInvCbrt", "glibc", ZEV_LOOP1(double, 1.0 / cbrt(a[i])), U, any, none, T);
  add_ours("sPow2o3", U, any, none, T);
  add("sPow2o3", "glibc", ZEV_LOOP1(float, cbrtf(a[i] * a[i])), U, any, none, T);
  add_ours("dPow2o3", U, any, none, T);
  add("dPow2o3", "glibc", ZEV_LOOP1(double, cbrt(a[i] * a[i])), U, any, none, T);
  add_ours("sPow3o2", U, pos, none, T);
  add("sPow3o2", "glibc", ZEV_LOOP1(float, powf(a[i], 1.5f)), U, pos, none, T);
  add("sPow3o2", "loop", ZEV_LOOP1(float, a[i] * sqrtf(a[i])), U, pos, none, T);
  add_ours("dPow3o2", U, pos_d, none, T);
  add("dPow3o2", "glibc", ZEV_LOOP1(double, pow(a[i], 1.5)), U, pos_d, none, T);
  add("dPow3o2", "loop", ZEV_LOOP1(double, a[i] * sqrt(a[i])), U, pos_d, none, T);

  add_powx_ours<float>("sPowx");
  add_powx<float>("sPowx", "glibc", +[](int n, const float* a, float b, float* r) {
    for (int i = 0; i < n; ++i) r[i] = powf(a[i], b);
  });
  add_powx_ours<double>("dPowx");
  add_powx<double>("dPowx", "glibc", +[](int n, const double* a, double b, double* r) {
    for (int i = 0; i < n; ++i) r[i] = pow(a[i], b);
  });

#if defined(ZEV_HAVE_SLEEF)
  add("sPowr", "sleef_u10", ZEV_VEC2_S(Sleef_powf4_u10sse2), B, base, expo, T);
  add("dPowr", "sleef_u10", ZEV_VEC2_D(Sleef_powd2_u10sse2), B, base, expo, T);
  add("sInvCbrt", "sleef_u10", ZEV_VEC_S(sleef_invcbrt_s), U, any, none, T);
  add("dInvCbrt", "sleef_u10", ZEV_VEC_D(sleef_invcbrt_d), U, any, none, T);
  add("sPow2o3", "sleef_u10", ZEV_VEC_S(sleef_pow2o3_s), U, any, none, T);
  add("dPow2o3", "sleef_u10", ZEV_VEC_D(sleef_pow2o3_d), U, any, none, T);
  add("sPow3o2", "sleef_u10", ZEV_VEC_S(sleef_pow3o2_s), U, pos, none, T);
  add("dPow3o2", "sleef_u10", ZEV_VEC_D(sleef_pow3o2_d), U, pos_d, none, T);
  add_powx<float>("sPowx", "sleef_u10", +[](int n, const float* a, float b, float* r) {
    int i = 0;
    const __m128 vb = _mm_set1_ps(b);
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, Sleef_powf4_u10sse2(_mm_loadu_ps(a + i), vb));
    for (; i < n; ++i) r[i] = powf(a[i], b);
  });
  add_powx<double>("dPowx", "sleef_u10", +[](int n, const double* a, double b, double* r) {
    int i = 0;
    const __m128d vb = _mm_set1_pd(b);
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, Sleef_powd2_u10sse2(_mm_loadu_pd(a + i), vb));
    for (; i < n; ++i) r[i] = pow(a[i], b);
  });
#endif
}

const int registered = (register_logpow(), 0);

}  // namespace
