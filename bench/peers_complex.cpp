// Complex Add, Sub, Mul, MulByConj, Div, Conj, Abs, Sqrt and Arg beside the peers a user
// would pick instead, on arrays of n complex elements: a plain -O3 loop over
// the parts (loop), a loop over std::complex operators (std_complex: with
// g++ -O3, Mul and Div call libgcc's __muldc3 and __divdc3 for their
// Annex G cases), and glibc's cabs and hypot for Abs, csqrt for Sqrt, carg
// and atan2 for Arg.
//
//   zev_bench --benchmark_filter='^[cz](Add|Sub|Mul|MulByConj|Div|Conj|Abs|Sqrt|Arg)/'
#include <benchmark/benchmark.h>
#include <bit>
#include <dlfcn.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_common.h"

extern "C" {
int dll_cpu_version(void);
// glibc's, declared here: C++ has no <complex.h> of C.
double cabs(double _Complex);
float cabsf(float _Complex);
double _Complex csqrt(double _Complex);
float _Complex csqrtf(float _Complex);
float cargf(float _Complex);
}

namespace zevbench {
namespace {

enum Shape { kBin, kUn, kAbs };

template <class R>
void run_c(benchmark::State& state, void* fn, Shape shape) {
  using C = std::complex<R>;
  const long n = state.range(0);
  std::vector<C> a(n), b(n), r(n);
  std::vector<R> t(n);
  std::mt19937_64 g(1);
  std::uniform_real_distribution<double> u(-1e3, 1e3);
  for (long i = 0; i < n; ++i) a[i] = C(R(u(g)), R(u(g))), b[i] = C(R(u(g)), R(u(g)));
  const int m = static_cast<int>(n);
  for (auto _ : state) {
    switch (shape) {
      case kBin: reinterpret_cast<void (*)(int, const C*, const C*, C*)>(fn)(m, a.data(), b.data(), r.data()); break;
      case kUn: reinterpret_cast<void (*)(int, const C*, C*)>(fn)(m, a.data(), r.data()); break;
      case kAbs: reinterpret_cast<void (*)(int, const C*, R*)>(fn)(m, a.data(), t.data()); break;
    }
    benchmark::DoNotOptimize(r.data());
    benchmark::DoNotOptimize(t.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void add_c(const std::string& row, const char* impl, void* fn, Shape shape) {
  if (!fn) return;
  const std::string name = row + "/" + impl;
  auto* bm = row[0] == 'c'
                 ? benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run_c<float>(s, fn, shape); })
                 : benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run_c<double>(s, fn, shape); });
  bm->Arg(1000)->Arg(1000000);
}

void add_ours_c(const std::string& row, Shape shape) {
  zevbench::complex_levels(row, [&](const char* impl, void* f) { add_c(row, impl, f, shape); });
}

// Loops over arrays of std::complex<R> (the layout of the module's elements).
#define ZEV_CLOOP2(R, expr)                                                                                       \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, const std::complex<R>* b, std::complex<R>* r) { \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                                                   \
  })
#define ZEV_CLOOP1(R, T, expr)                                                      \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, T* r) {             \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                     \
  })

template <class R>
void register_type(char p) {
  using C = std::complex<R>;
  const std::string P(1, p);
  for (const char* f : {"Add", "Sub", "Mul", "MulByConj", "Div"}) add_ours_c(P + f, kBin);
  add_ours_c(P + "Conj", kUn);
  add_ours_c(P + "Sqrt", kUn);
  add_ours_c(P + "Arg", kAbs);
  add_ours_c(P + "Abs", kAbs);
  // Plain loops over the parts.
  add_c(P + "Add", "loop", ZEV_CLOOP2(R, C(a[i].real() + b[i].real(), a[i].imag() + b[i].imag())), kBin);
  add_c(P + "Sub", "loop", ZEV_CLOOP2(R, C(a[i].real() - b[i].real(), a[i].imag() - b[i].imag())), kBin);
  add_c(P + "Mul", "loop",
        ZEV_CLOOP2(R, C(a[i].real() * b[i].real() - a[i].imag() * b[i].imag(),
                        a[i].real() * b[i].imag() + a[i].imag() * b[i].real())),
        kBin);
  add_c(P + "MulByConj", "loop",
        ZEV_CLOOP2(R, C(a[i].real() * b[i].real() + a[i].imag() * b[i].imag(),
                        a[i].imag() * b[i].real() - a[i].real() * b[i].imag())),
        kBin);
  add_c(P + "Conj", "loop", ZEV_CLOOP1(R, C, C(a[i].real(), -a[i].imag())), kUn);
  // std::complex operators.
  add_c(P + "Add", "std_complex", ZEV_CLOOP2(R, a[i] + b[i]), kBin);
  add_c(P + "Sub", "std_complex", ZEV_CLOOP2(R, a[i] - b[i]), kBin);
  add_c(P + "Mul", "std_complex", ZEV_CLOOP2(R, a[i] * b[i]), kBin);
  add_c(P + "MulByConj", "std_complex", ZEV_CLOOP2(R, a[i] * std::conj(b[i])), kBin);
  add_c(P + "Div", "std_complex", ZEV_CLOOP2(R, a[i] / b[i]), kBin);
  add_c(P + "Conj", "std_complex", ZEV_CLOOP1(R, C, std::conj(a[i])), kUn);
  add_c(P + "Abs", "std_complex", ZEV_CLOOP1(R, R, std::abs(a[i])), kAbs);
  add_c(P + "Sqrt", "std_complex", ZEV_CLOOP1(R, C, std::sqrt(a[i])), kUn);
  // glibc.
  if constexpr (sizeof(R) == 8) {
    add_c(P + "Abs", "glibc_cabs",
          ZEV_CLOOP1(R, R, cabs(reinterpret_cast<const double _Complex*>(a)[i])), kAbs);
    add_c(P + "Abs", "glibc_hypot", ZEV_CLOOP1(R, R, hypot(a[i].real(), a[i].imag())), kAbs);
    add_c(P + "Sqrt", "glibc_csqrt",
          ZEV_CLOOP1(R, C, std::bit_cast<C>(csqrt(reinterpret_cast<const double _Complex*>(a)[i]))), kUn);
  } else {
    add_c(P + "Abs", "glibc_cabs",
          ZEV_CLOOP1(R, R, cabsf(reinterpret_cast<const float _Complex*>(a)[i])), kAbs);
    add_c(P + "Abs", "glibc_hypot", ZEV_CLOOP1(R, R, hypotf(a[i].real(), a[i].imag())), kAbs);
    add_c(P + "Sqrt", "glibc_csqrt",
          ZEV_CLOOP1(R, C, std::bit_cast<C>(csqrtf(reinterpret_cast<const float _Complex*>(a)[i]))), kUn);
    add_c(P + "Arg", "glibc_carg", ZEV_CLOOP1(R, R, cargf(reinterpret_cast<const float _Complex*>(a)[i])), kAbs);
    add_c(P + "Arg", "glibc_atan2", ZEV_CLOOP1(R, R, atan2f(a[i].imag(), a[i].real())), kAbs);
  }
}

const int registered = (dll_cpu_version() == 3 ? (register_type<float>('c'), register_type<double>('z'), 0) : 0);

}  // namespace
}  // namespace zevbench
