// Reciprocal, division, roots, LinearFrac, remainders and neighbours beside
// their peers: a plain loop over glibc's scalar function, SLEEF's SSE2
// functions where it has them, and for the operations the compiler can
// vectorize (division, square root, reciprocal square root, LinearFrac) a
// plain -O3 -msse2 loop. Sqrt's own entries and its glibc and SLEEF peers are
// registered in bench_vector.cpp; this file adds its plain loop.
//
//   zev_bench --benchmark_filter='^[sd](Inv|Div|Sqrt|InvSqrt|LinearFrac|Fmod|Remainder|NextAfter|CopySign|Fdim|Fmax|Fmin|MaxMag|MinMag|Modf)/'
//       --benchmark_repetitions=5 --benchmark_format=json > out.json
//   bench/ratios.py out.json
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include "bench/bench_common.h"
#include "zev/zev_vqm.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

namespace {

using namespace zevbench;

// Loops the compiler may vectorize: no errno to keep for sqrt.
#define ZEV_NOERRNO __attribute__((optimize("no-math-errno")))
ZEV_NOERRNO void loop_sqrtf(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = std::sqrt(a[i]);
}
ZEV_NOERRNO void loop_sqrt(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = std::sqrt(a[i]);
}
ZEV_NOERRNO void loop_rsqrtf(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = 1.0f / std::sqrt(a[i]);
}
ZEV_NOERRNO void loop_rsqrt(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = 1.0 / std::sqrt(a[i]);
}

// ---- LinearFrac and Modf: signatures of their own ---------------------------------

template <class T>
T* buffer(long n, double lo, double hi, uint64_t seed) {
  T* p = static_cast<T*>(std::aligned_alloc(64, (sizeof(T) * n + 63) & ~size_t{63}));
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(lo, hi);
  for (long i = 0; i < n; ++i) p[i] = static_cast<T>(u(g));
  return p;
}

template <class T>
using LinearFracFn = void (*)(int, const T*, const T*, T, T, T, T, T*);
template <class T>
using ModfFn = void (*)(int, const T*, T*, T*);

template <class T>
void run_linearfrac(benchmark::State& s, LinearFracFn<T> f) {
  const long n = s.range(0);
  T *a = buffer<T>(n, -100, 100, 1), *b = buffer<T>(n, 1, 100, 2), *r = buffer<T>(n, 0, 1, 3);
  for (auto _ : s) {
    f(static_cast<int>(n), a, b, T(1.5), T(-0.25), T(2), T(3), r);
    benchmark::DoNotOptimize(r);
    benchmark::ClobberMemory();
  }
  s.SetItemsProcessed(s.iterations() * n);
  std::free(a), std::free(b), std::free(r);
}

template <class T>
void run_modf(benchmark::State& s, ModfFn<T> f) {
  const long n = s.range(0);
  T *a = buffer<T>(n, -1e6, 1e6, 1), *r = buffer<T>(n, 0, 1, 2), *r2 = buffer<T>(n, 0, 1, 3);
  for (auto _ : s) {
    f(static_cast<int>(n), a, r, r2);
    benchmark::DoNotOptimize(r);
    benchmark::ClobberMemory();
  }
  s.SetItemsProcessed(s.iterations() * n);
  std::free(a), std::free(r), std::free(r2);
}

template <class T>
void add_linearfrac(const char* row, const char* impl, LinearFracFn<T> f) {
  const std::string name = std::string(row) + "/" + impl;
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run_linearfrac<T>(s, f); })
      ->Arg(1000)
      ->Arg(1000000);
}
template <class T>
void add_modf(const char* row, const char* impl, ModfFn<T> f) {
  const std::string name = std::string(row) + "/" + impl;
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run_modf<T>(s, f); })->Arg(1000)->Arg(1000000);
}

template <class T>
void lf_loop(int n, const T* a, const T* b, T sa, T ha, T sb, T hb, T* r) {
  for (int i = 0; i < n; ++i) r[i] = (a[i] * sa + ha) / (b[i] * sb + hb);
}
void modff_loop(int n, const float* a, float* r, float* r2) {
  for (int i = 0; i < n; ++i) r2[i] = modff(a[i], &r[i]);
}
void modf_loop(int n, const double* a, double* r, double* r2) {
  for (int i = 0; i < n; ++i) r2[i] = modf(a[i], &r[i]);
}
#if defined(ZEV_HAVE_SLEEF)
void modff_sleef(int n, const float* a, float* r, float* r2) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const Sleef___m128_2 v = Sleef_modff4_sse2(_mm_loadu_ps(a + i));
    _mm_storeu_ps(r2 + i, v.x);
    _mm_storeu_ps(r + i, v.y);
  }
  for (; i < n; ++i) r2[i] = modff(a[i], &r[i]);
}
void modf_sleef(int n, const double* a, double* r, double* r2) {
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    const Sleef___m128d_2 v = Sleef_modfd2_sse2(_mm_loadu_pd(a + i));
    _mm_storeu_pd(r2 + i, v.x);
    _mm_storeu_pd(r + i, v.y);
  }
  for (; i < n; ++i) r2[i] = modf(a[i], &r[i]);
}
#endif

void register_algebra() {
  constexpr bool U = false, B = true;
  const std::vector<long>& T = kTranscendental;
  const Domain pos{0.001, 1000}, any{-1000, 1000}, divisor{0.5, 100}, none{0.5, 1};

  add_ours("sInv", U, pos, none, T);
  add("sInv", "loop", ZEV_LOOP1(float, 1.0f / a[i]), U, pos, none, T);
  add_ours("dInv", U, pos, none, T);
  add("dInv", "loop", ZEV_LOOP1(double, 1.0 / a[i]), U, pos, none, T);
  add_ours("sDiv", B, any, pos, T);
  add("sDiv", "loop", ZEV_LOOP2(float, a[i] / b[i]), B, any, pos, T);
  add_ours("dDiv", B, any, pos, T);
  add("dDiv", "loop", ZEV_LOOP2(double, a[i] / b[i]), B, any, pos, T);
  add("sSqrt", "loop", reinterpret_cast<void*>(&loop_sqrtf), U, pos, none, T);
  add("dSqrt", "loop", reinterpret_cast<void*>(&loop_sqrt), U, pos, none, T);
  add_ours("sInvSqrt", U, pos, none, T);
  add("sInvSqrt", "glibc", ZEV_LOOP1(float, 1.0f / sqrtf(a[i])), U, pos, none, T);
  add("sInvSqrt", "loop", reinterpret_cast<void*>(&loop_rsqrtf), U, pos, none, T);
  add_ours("dInvSqrt", U, pos, none, T);
  add("dInvSqrt", "glibc", ZEV_LOOP1(double, 1.0 / sqrt(a[i])), U, pos, none, T);
  add("dInvSqrt", "loop", reinterpret_cast<void*>(&loop_rsqrt), U, pos, none, T);

  add_linearfrac<float>("sLinearFrac", "zev_HA", _vqmsLinearFrac);
  add_linearfrac<float>("sLinearFrac", "loop", lf_loop<float>);
  add_linearfrac<double>("dLinearFrac", "zev_HA", _vqmdLinearFrac);
  add_linearfrac<double>("dLinearFrac", "loop", lf_loop<double>);
  add_modf<float>("sModf", "zev_HA", _vqmsModf);
  add_modf<float>("sModf", "glibc", modff_loop);
  add_modf<double>("dModf", "zev_HA", _vqmdModf);
  add_modf<double>("dModf", "glibc", modf_loop);

  // Binary exact functions: ours, glibc, SLEEF.
  add_ours("sFmod", B, any, divisor, T);
  add("sFmod", "glibc", ZEV_LOOP2(float, fmodf(a[i], b[i])), B, any, divisor, T);
  add_ours("dFmod", B, any, divisor, T);
  add("dFmod", "glibc", ZEV_LOOP2(double, fmod(a[i], b[i])), B, any, divisor, T);
  add_ours("sRemainder", B, any, divisor, T);
  add("sRemainder", "glibc", ZEV_LOOP2(float, remainderf(a[i], b[i])), B, any, divisor, T);
  add_ours("dRemainder", B, any, divisor, T);
  add("dRemainder", "glibc", ZEV_LOOP2(double, remainder(a[i], b[i])), B, any, divisor, T);
  add_ours("sNextAfter", B, any, any, T);
  add("sNextAfter", "glibc", ZEV_LOOP2(float, nextafterf(a[i], b[i])), B, any, any, T);
  add_ours("dNextAfter", B, any, any, T);
  add("dNextAfter", "glibc", ZEV_LOOP2(double, nextafter(a[i], b[i])), B, any, any, T);
  add_ours("sCopySign", B, any, any, T);
  add("sCopySign", "glibc", ZEV_LOOP2(float, copysignf(a[i], b[i])), B, any, any, T);
  add_ours("dCopySign", B, any, any, T);
  add("dCopySign", "glibc", ZEV_LOOP2(double, copysign(a[i], b[i])), B, any, any, T);
  add_ours("sFdim", B, any, any, T);
  add("sFdim", "glibc", ZEV_LOOP2(float, fdimf(a[i], b[i])), B, any, any, T);
  add_ours("dFdim", B, any, any, T);
  add("dFdim", "glibc", ZEV_LOOP2(double, fdim(a[i], b[i])), B, any, any, T);
  add_ours("sFmax", B, any, any, T);
  add("sFmax", "glibc", ZEV_LOOP2(float, fmaxf(a[i], b[i])), B, any, any, T);
  add_ours("dFmax", B, any, any, T);
  add("dFmax", "glibc", ZEV_LOOP2(double, fmax(a[i], b[i])), B, any, any, T);
  add_ours("sFmin", B, any, any, T);
  add("sFmin", "glibc", ZEV_LOOP2(float, fminf(a[i], b[i])), B, any, any, T);
  add_ours("dFmin", B, any, any, T);
  add("dFmin", "glibc", ZEV_LOOP2(double, fmin(a[i], b[i])), B, any, any, T);
  add_ours("sMaxMag", B, any, any, T);
  add("sMaxMag", "glibc", ZEV_LOOP2(float, fmaxmagf(a[i], b[i])), B, any, any, T);
  add_ours("dMaxMag", B, any, any, T);
  add("dMaxMag", "glibc", ZEV_LOOP2(double, fmaxmag(a[i], b[i])), B, any, any, T);
  add_ours("sMinMag", B, any, any, T);
  add("sMinMag", "glibc", ZEV_LOOP2(float, fminmagf(a[i], b[i])), B, any, any, T);
  add_ours("dMinMag", B, any, any, T);
  add("dMinMag", "glibc", ZEV_LOOP2(double, fminmag(a[i], b[i])), B, any, any, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sFmod", "sleef", ZEV_VEC2_S(Sleef_fmodf4_sse2), B, any, divisor, T);
  add("dFmod", "sleef", ZEV_VEC2_D(Sleef_fmodd2_sse2), B, any, divisor, T);
  add("sRemainder", "sleef", ZEV_VEC2_S(Sleef_remainderf4_sse2), B, any, divisor, T);
  add("dRemainder", "sleef", ZEV_VEC2_D(Sleef_remainderd2_sse2), B, any, divisor, T);
  add("sNextAfter", "sleef", ZEV_VEC2_S(Sleef_nextafterf4_sse2), B, any, any, T);
  add("dNextAfter", "sleef", ZEV_VEC2_D(Sleef_nextafterd2_sse2), B, any, any, T);
  add("sCopySign", "sleef", ZEV_VEC2_S(Sleef_copysignf4_sse2), B, any, any, T);
  add("dCopySign", "sleef", ZEV_VEC2_D(Sleef_copysignd2_sse2), B, any, any, T);
  add("sFdim", "sleef", ZEV_VEC2_S(Sleef_fdimf4_sse2), B, any, any, T);
  add("dFdim", "sleef", ZEV_VEC2_D(Sleef_fdimd2_sse2), B, any, any, T);
  add("sFmax", "sleef", ZEV_VEC2_S(Sleef_fmaxf4_sse2), B, any, any, T);
  add("dFmax", "sleef", ZEV_VEC2_D(Sleef_fmaxd2_sse2), B, any, any, T);
  add("sFmin", "sleef", ZEV_VEC2_S(Sleef_fminf4_sse2), B, any, any, T);
  add("dFmin", "sleef", ZEV_VEC2_D(Sleef_fmind2_sse2), B, any, any, T);
  add_modf<float>("sModf", "sleef", modff_sleef);
  add_modf<double>("dModf", "sleef", modf_sleef);
#endif
}

const int registered = (register_algebra(), 0);

}  // namespace
