// Complex Exp, Ln, Log10, Pow and Powx beside the peers a user would pick
// instead, on arrays of n complex elements: glibc's cexp, clog, clog10, cpow
// (and their f forms for the single rows), and loops over std::complex's exp,
// log, log10, pow compiled -O3. Inputs: parts uniform in [-10, 10] (Exp: the
// real part in [-10, 10], the imaginary part in [-100, 100]); the exponents of
// Pow uniform in [-3, 3] (Powx: one of them).
//
//   zev_bench --benchmark_filter='^[cz](Exp|Ln|Log10|Pow|Powx)/'
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <bit>
#include <complex>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_common.h"

extern "C" {
int dll_cpu_version(void);
// glibc's, declared here: C++ has no <complex.h> of C.
double _Complex cexp(double _Complex);
float _Complex cexpf(float _Complex);
double _Complex clog(double _Complex);
float _Complex clogf(float _Complex);
double _Complex clog10(double _Complex);
float _Complex clog10f(float _Complex);
double _Complex cpow(double _Complex, double _Complex);
float _Complex cpowf(float _Complex, float _Complex);
}

namespace zevbench {
namespace {

enum Shape { kUn, kBin, kScalar };

template <class R>
void run(benchmark::State& state, void* fn, Shape shape, bool exp_row) {
  using C = std::complex<R>;
  const long n = state.range(0);
  std::vector<C> a(n), b(n), r(n);
  std::mt19937_64 g(1);
  std::uniform_real_distribution<double> u(-10, 10), w(-3, 3);
  for (long i = 0; i < n; ++i) {
    a[i] = C(R(u(g)), R(exp_row ? 10 * u(g) : u(g)));
    b[i] = C(R(w(g)), R(w(g)));
  }
  const int m = static_cast<int>(n);
  for (auto _ : state) {
    switch (shape) {
      case kUn: reinterpret_cast<void (*)(int, const C*, C*)>(fn)(m, a.data(), r.data()); break;
      case kBin: reinterpret_cast<void (*)(int, const C*, const C*, C*)>(fn)(m, a.data(), b.data(), r.data()); break;
      case kScalar: reinterpret_cast<void (*)(int, const C*, C, C*)>(fn)(m, a.data(), b[0], r.data()); break;
    }
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void add(const std::string& row, const char* impl, void* fn, Shape shape) {
  if (!fn) return;
  const std::string name = row + "/" + impl;
  const bool e = row.substr(1) == "Exp";
  auto* bm = row[0] == 'c'
                 ? benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<float>(s, fn, shape, e); })
                 : benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<double>(s, fn, shape, e); });
  bm->Arg(1000)->Arg(1000000);
}

void add_ours(const std::string& row, Shape shape) {
  zevbench::complex_levels(row, [&](const char* impl, void* f) { add(row, impl, f, shape); });
}

#define ZEV_CLOOP1(R, expr) \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, std::complex<R>* r) { for (int i = 0; i < n; ++i) r[i] = (expr); })
#define ZEV_CLOOP2(R, expr)                                                                                      \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, const std::complex<R>* b, std::complex<R>* r) { \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                                                 \
  })
#define ZEV_LOOPX(R, expr)                                                                                   \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, std::complex<R> b, std::complex<R>* r) {    \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                                              \
  })

template <class R>
void register_type(char p) {
  using C = std::complex<R>;
  using G = std::conditional_t<sizeof(R) == 4, float _Complex, double _Complex>;
  const std::string P(1, p);
  for (const char* f : {"Exp", "Ln", "Log10"}) add_ours(P + f, kUn);
  add_ours(P + "Pow", kBin);
  add_ours(P + "Powx", kScalar);
  add(P + "Exp", "std_complex", ZEV_CLOOP1(R, std::exp(a[i])), kUn);
  add(P + "Ln", "std_complex", ZEV_CLOOP1(R, std::log(a[i])), kUn);
  add(P + "Log10", "std_complex", ZEV_CLOOP1(R, std::log10(a[i])), kUn);
  add(P + "Pow", "std_complex", ZEV_CLOOP2(R, std::pow(a[i], b[i])), kBin);
  add(P + "Powx", "std_complex", ZEV_LOOPX(R, std::pow(a[i], b)), kScalar);
  if constexpr (sizeof(R) == 8) {
    add(P + "Exp", "glibc_cexp", ZEV_CLOOP1(R, std::bit_cast<C>(cexp(reinterpret_cast<const G*>(a)[i]))), kUn);
    add(P + "Ln", "glibc_clog", ZEV_CLOOP1(R, std::bit_cast<C>(clog(reinterpret_cast<const G*>(a)[i]))), kUn);
    add(P + "Log10", "glibc_clog10", ZEV_CLOOP1(R, std::bit_cast<C>(clog10(reinterpret_cast<const G*>(a)[i]))), kUn);
    add(P + "Pow", "glibc_cpow",
        ZEV_CLOOP2(R, std::bit_cast<C>(cpow(reinterpret_cast<const G*>(a)[i], reinterpret_cast<const G*>(b)[i]))), kBin);
    add(P + "Powx", "glibc_cpow",
        ZEV_LOOPX(R, std::bit_cast<C>(cpow(reinterpret_cast<const G*>(a)[i], std::bit_cast<G>(b)))), kScalar);
  } else {
    add(P + "Exp", "glibc_cexp", ZEV_CLOOP1(R, std::bit_cast<C>(cexpf(reinterpret_cast<const G*>(a)[i]))), kUn);
    add(P + "Ln", "glibc_clog", ZEV_CLOOP1(R, std::bit_cast<C>(clogf(reinterpret_cast<const G*>(a)[i]))), kUn);
    add(P + "Log10", "glibc_clog10", ZEV_CLOOP1(R, std::bit_cast<C>(clog10f(reinterpret_cast<const G*>(a)[i]))), kUn);
    add(P + "Pow", "glibc_cpow",
        ZEV_CLOOP2(R, std::bit_cast<C>(cpowf(reinterpret_cast<const G*>(a)[i], reinterpret_cast<const G*>(b)[i]))), kBin);
    add(P + "Powx", "glibc_cpow",
        ZEV_LOOPX(R, std::bit_cast<C>(cpowf(reinterpret_cast<const G*>(a)[i], std::bit_cast<G>(b)))), kScalar);
  }
}

const int registered = (dll_cpu_version() == 3 ? (register_type<float>('c'), register_type<double>('z'), 0) : 0);

}  // namespace
}  // namespace zevbench
