// Complex Sin, Cos, Tan, Sinh, Cosh, Tanh, CIS and zArg beside the peers a
// user would pick instead, on arrays of n elements with parts in [-10, 10]:
// loops over glibc's csin ... ctanh (and their f forms), loops over the
// std::complex functions (g++ -O3), for CIS loops over glibc's sincos and
// SLEEF's sincos (u10) writing cos + i sin, for zArg loops over carg and atan2.
//
//   zev_bench --benchmark_filter='^[cz](Sin|Cos|Tan|Sinh|Cosh|Tanh|CIS|Arg)/'
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <emmintrin.h>

#include <bit>
#include <cmath>
#include <complex>
#include <random>
#include <string>
#include <vector>

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>

#include "bench/bench_common.h"
#endif

extern "C" {
int dll_cpu_version(void);
// glibc's, declared here: C++ has no <complex.h> of C.
double _Complex csin(double _Complex);
double _Complex ccos(double _Complex);
double _Complex ctan(double _Complex);
double _Complex csinh(double _Complex);
double _Complex ccosh(double _Complex);
double _Complex ctanh(double _Complex);
float _Complex csinf(float _Complex);
float _Complex ccosf(float _Complex);
float _Complex ctanf(float _Complex);
float _Complex csinhf(float _Complex);
float _Complex ccoshf(float _Complex);
float _Complex ctanhf(float _Complex);
double carg(double _Complex);
}

namespace zevbench {
namespace {

enum Shape { kUn, kCIS, kArg };

template <class R>
void run(benchmark::State& state, void* fn, Shape shape) {
  using C = std::complex<R>;
  const long n = state.range(0);
  std::vector<C> a(n), r(n);
  std::vector<R> x(n), t(n);
  std::mt19937_64 g(1);
  std::uniform_real_distribution<double> u(-10, 10);
  for (long i = 0; i < n; ++i) a[i] = C(R(u(g)), R(u(g))), x[i] = R(u(g));
  const int m = static_cast<int>(n);
  for (auto _ : state) {
    switch (shape) {
      case kUn: reinterpret_cast<void (*)(int, const C*, C*)>(fn)(m, a.data(), r.data()); break;
      case kCIS: reinterpret_cast<void (*)(int, const R*, C*)>(fn)(m, x.data(), r.data()); break;
      case kArg: reinterpret_cast<void (*)(int, const C*, R*)>(fn)(m, a.data(), t.data()); break;
    }
    benchmark::DoNotOptimize(r.data());
    benchmark::DoNotOptimize(t.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void add(const std::string& row, const char* impl, void* fn, Shape shape) {
  if (!fn) return;
  const std::string name = row + "/" + impl;
  auto* bm = row[0] == 'c'
                 ? benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<float>(s, fn, shape); })
                 : benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<double>(s, fn, shape); });
  bm->Arg(1000)->Arg(1000000);
}

void add_ours(const std::string& row, Shape shape) {
  zevbench::complex_levels(row, [&](const char* impl, void* f) { add(row, impl, f, shape); });
}

#define ZEV_CLOOP(R, expr)                                                          \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, std::complex<R>* r) { \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                      \
  })
// glibc's C function f on element i, through the common layout.
#define ZEV_GLIBC(R, f) ZEV_CLOOP(R, std::bit_cast<std::complex<R>>(f(std::bit_cast<Cx<R>>(a[i]))))

template <class R> using Cx = std::conditional_t<sizeof(R) == 8, double _Complex, float _Complex>;

#if defined(ZEV_HAVE_SLEEF)
void sleef_cis_d(int n, const double* x, std::complex<double>* r) {
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    const Sleef___m128d_2 p = Sleef_sincosd2_u10sse2(_mm_loadu_pd(x + i));
    _mm_storeu_pd(reinterpret_cast<double*>(r + i), _mm_unpacklo_pd(p.y, p.x));
    _mm_storeu_pd(reinterpret_cast<double*>(r + i + 1), _mm_unpackhi_pd(p.y, p.x));
  }
  for (; i < n; ++i) r[i] = {std::cos(x[i]), std::sin(x[i])};
}
void sleef_cis_f(int n, const float* x, std::complex<float>* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const Sleef___m128_2 p = Sleef_sincosf4_u10sse2(_mm_loadu_ps(x + i));
    _mm_storeu_ps(reinterpret_cast<float*>(r + i), _mm_unpacklo_ps(p.y, p.x));
    _mm_storeu_ps(reinterpret_cast<float*>(r + i + 2), _mm_unpackhi_ps(p.y, p.x));
  }
  for (; i < n; ++i) r[i] = {std::cos(x[i]), std::sin(x[i])};
}
#endif

void register_ctrig() {
  for (const char* f : {"Sin", "Cos", "Tan", "Sinh", "Cosh", "Tanh"})
    for (const char* p : {"c", "z"}) add_ours(std::string(p) + f, kUn);
  add_ours("zCIS", kCIS);
  add_ours("cCIS", kCIS);
  // zArg's own entries are registered by peers_complex.cpp with the other Arg rows.
  add("zSin", "glibc", ZEV_GLIBC(double, csin), kUn);
  add("zCos", "glibc", ZEV_GLIBC(double, ccos), kUn);
  add("zTan", "glibc", ZEV_GLIBC(double, ctan), kUn);
  add("zSinh", "glibc", ZEV_GLIBC(double, csinh), kUn);
  add("zCosh", "glibc", ZEV_GLIBC(double, ccosh), kUn);
  add("zTanh", "glibc", ZEV_GLIBC(double, ctanh), kUn);
  add("cSin", "glibc", ZEV_GLIBC(float, csinf), kUn);
  add("cCos", "glibc", ZEV_GLIBC(float, ccosf), kUn);
  add("cTan", "glibc", ZEV_GLIBC(float, ctanf), kUn);
  add("cSinh", "glibc", ZEV_GLIBC(float, csinhf), kUn);
  add("cCosh", "glibc", ZEV_GLIBC(float, ccoshf), kUn);
  add("cTanh", "glibc", ZEV_GLIBC(float, ctanhf), kUn);
  add("zSin", "std_complex", ZEV_CLOOP(double, std::sin(a[i])), kUn);
  add("zCos", "std_complex", ZEV_CLOOP(double, std::cos(a[i])), kUn);
  add("zTan", "std_complex", ZEV_CLOOP(double, std::tan(a[i])), kUn);
  add("zSinh", "std_complex", ZEV_CLOOP(double, std::sinh(a[i])), kUn);
  add("zCosh", "std_complex", ZEV_CLOOP(double, std::cosh(a[i])), kUn);
  add("zTanh", "std_complex", ZEV_CLOOP(double, std::tanh(a[i])), kUn);
  add("cSin", "std_complex", ZEV_CLOOP(float, std::sin(a[i])), kUn);
  add("cCos", "std_complex", ZEV_CLOOP(float, std::cos(a[i])), kUn);
  add("cTan", "std_complex", ZEV_CLOOP(float, std::tan(a[i])), kUn);
  add("cSinh", "std_complex", ZEV_CLOOP(float, std::sinh(a[i])), kUn);
  add("cCosh", "std_complex", ZEV_CLOOP(float, std::cosh(a[i])), kUn);
  add("cTanh", "std_complex", ZEV_CLOOP(float, std::tanh(a[i])), kUn);
  add("zCIS", "glibc_sincos", reinterpret_cast<void*>(+[](int n, const double* x, std::complex<double>* r) {
        double s, c;
        for (int i = 0; i < n; ++i) sincos(x[i], &s, &c), r[i] = {c, s};
      }), kCIS);
  add("cCIS", "glibc_sincos", reinterpret_cast<void*>(+[](int n, const float* x, std::complex<float>* r) {
        float s, c;
        for (int i = 0; i < n; ++i) sincosf(x[i], &s, &c), r[i] = {c, s};
      }), kCIS);
#if defined(ZEV_HAVE_SLEEF)
  add("zCIS", "sleef_u10", reinterpret_cast<void*>(&sleef_cis_d), kCIS);
  add("cCIS", "sleef_u10", reinterpret_cast<void*>(&sleef_cis_f), kCIS);
#endif
  add("zArg", "glibc_carg", reinterpret_cast<void*>(+[](int n, const std::complex<double>* a, double* r) {
        for (int i = 0; i < n; ++i) r[i] = carg(std::bit_cast<double _Complex>(a[i]));
      }), kArg);
  add("zArg", "glibc_atan2", reinterpret_cast<void*>(+[](int n, const std::complex<double>* a, double* r) {
        for (int i = 0; i < n; ++i) r[i] = std::atan2(a[i].imag(), a[i].real());
      }), kArg);
}

const int registered = (dll_cpu_version() == 3 ? (register_ctrig(), 0) : 0);

}  // namespace
}  // namespace zevbench
