// Complex Asin, Acos, Atan, Asinh, Acosh, Atanh beside the peers a user would
// pick instead, on arrays of n complex elements whose parts are uniform in
// (-4, 4) (both sides of every cut, the segment [-1, 1] and beyond): glibc's
// casin ... catanh (casinf ... for c rows) and a loop over std::asin ... of
// std::complex, compiled -O3.
//
//   zev_bench --benchmark_filter='^[cz]A(sin|cos|tan)h?/'
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <bit>
#include <complex>
#include <random>
#include <string>
#include <vector>

extern "C" {
int dll_cpu_version(void);
// glibc's, declared here: C++ has no <complex.h> of C.
double _Complex casin(double _Complex);
double _Complex cacos(double _Complex);
double _Complex catan(double _Complex);
double _Complex casinh(double _Complex);
double _Complex cacosh(double _Complex);
double _Complex catanh(double _Complex);
float _Complex casinf(float _Complex);
float _Complex cacosf(float _Complex);
float _Complex catanf(float _Complex);
float _Complex casinhf(float _Complex);
float _Complex cacoshf(float _Complex);
float _Complex catanhf(float _Complex);
}

namespace zevbench {
namespace {

template <class R>
void run(benchmark::State& state, void* fn) {
  using C = std::complex<R>;
  const long n = state.range(0);
  std::vector<C> a(n), r(n);
  std::mt19937_64 g(1);
  std::uniform_real_distribution<double> u(-4, 4);
  for (long i = 0; i < n; ++i) a[i] = C(R(u(g)), R(u(g)));
  const int m = static_cast<int>(n);
  for (auto _ : state) {
    reinterpret_cast<void (*)(int, const C*, C*)>(fn)(m, a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void add(const std::string& row, const char* impl, void* fn) {
  if (!fn) return;
  const std::string name = row + "/" + impl;
  auto* bm = row[0] == 'c' ? benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<float>(s, fn); })
                           : benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<double>(s, fn); });
  bm->Arg(1000)->Arg(1000000);
}

// One kernel serves every level: the HA entry stands for all three.
void add_ours(const std::string& row) { add(row, "zev_HA", dlsym(RTLD_DEFAULT, ("_vqm" + row).c_str())); }

#define ZEV_LOOP(R, expr)                                                                 \
  reinterpret_cast<void*>(+[](int n, const std::complex<R>* a, std::complex<R>* r) {      \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                            \
  })
#define ZEV_GLIBC(R, CT, f) ZEV_LOOP(R, std::bit_cast<std::complex<R>>(f(reinterpret_cast<const CT*>(a)[i])))

void register_all() {
  for (const char* f : {"Asin", "Acos", "Atan", "Asinh", "Acosh", "Atanh"}) {
    add_ours(std::string("c") + f);
    add_ours(std::string("z") + f);
  }
  add("zAsin", "glibc", ZEV_GLIBC(double, double _Complex, casin));
  add("zAcos", "glibc", ZEV_GLIBC(double, double _Complex, cacos));
  add("zAtan", "glibc", ZEV_GLIBC(double, double _Complex, catan));
  add("zAsinh", "glibc", ZEV_GLIBC(double, double _Complex, casinh));
  add("zAcosh", "glibc", ZEV_GLIBC(double, double _Complex, cacosh));
  add("zAtanh", "glibc", ZEV_GLIBC(double, double _Complex, catanh));
  add("cAsin", "glibc", ZEV_GLIBC(float, float _Complex, casinf));
  add("cAcos", "glibc", ZEV_GLIBC(float, float _Complex, cacosf));
  add("cAtan", "glibc", ZEV_GLIBC(float, float _Complex, catanf));
  add("cAsinh", "glibc", ZEV_GLIBC(float, float _Complex, casinhf));
  add("cAcosh", "glibc", ZEV_GLIBC(float, float _Complex, cacoshf));
  add("cAtanh", "glibc", ZEV_GLIBC(float, float _Complex, catanhf));
  add("zAsin", "std_complex", ZEV_LOOP(double, std::asin(a[i])));
  add("zAcos", "std_complex", ZEV_LOOP(double, std::acos(a[i])));
  add("zAtan", "std_complex", ZEV_LOOP(double, std::atan(a[i])));
  add("zAsinh", "std_complex", ZEV_LOOP(double, std::asinh(a[i])));
  add("zAcosh", "std_complex", ZEV_LOOP(double, std::acosh(a[i])));
  add("zAtanh", "std_complex", ZEV_LOOP(double, std::atanh(a[i])));
  add("cAsin", "std_complex", ZEV_LOOP(float, std::asin(a[i])));
  add("cAcos", "std_complex", ZEV_LOOP(float, std::acos(a[i])));
  add("cAtan", "std_complex", ZEV_LOOP(float, std::atan(a[i])));
  add("cAsinh", "std_complex", ZEV_LOOP(float, std::asinh(a[i])));
  add("cAcosh", "std_complex", ZEV_LOOP(float, std::acosh(a[i])));
  add("cAtanh", "std_complex", ZEV_LOOP(float, std::atanh(a[i])));
}

const int registered = (dll_cpu_version() == 3 ? (register_all(), 0) : 0);

}  // namespace
}  // namespace zevbench
