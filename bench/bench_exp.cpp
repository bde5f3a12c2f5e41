// The exponential family beyond the common table of bench_vector.cpp: the
// cost of the callout when some lanes leave the vector path, in the default
// mode and with ERRMODE_NOERR (where Exp settles overflow and underflow lanes
// by select), and the strided forms at stride 2 beside the plain ones.
//
//   zev_bench --benchmark_filter='^ExpFamily/' --benchmark_repetitions=5
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

// Inputs of Exp with one lane in `every` past the overflow limit.
template <class T>
std::vector<T> inputs(long n, int every, T hi) {
  std::mt19937 g(42);
  std::uniform_real_distribution<double> u(-0.9 * hi, 0.9 * hi);
  std::vector<T> v(n);
  for (long i = 0; i < n; ++i) v[i] = static_cast<T>(every > 0 && i % every == every - 1 ? 2 * hi : u(g));
  return v;
}

template <class T>
void run_plain(benchmark::State& st, void (*f)(int, const T*, T*), int every, unsigned mode, T hi) {
  const long n = st.range(0);
  const std::vector<T> a = inputs<T>(n, every, hi);
  std::vector<T> r(n);
  const unsigned old = zev_vqm_kernel_SetMode(mode);
  for (auto _ : st) {
    f(static_cast<int>(n), a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
  }
  zev_vqm_kernel_SetMode(old);
  zev_vqm_kernel_ClearErrStatus();
  st.SetItemsProcessed(st.iterations() * n);
}

template <class T>
void run_strided(benchmark::State& st, void (*f)(int, const T*, int, T*, int), T hi) {
  const long n = st.range(0);
  const std::vector<T> a = inputs<T>(2 * n, 0, hi);
  std::vector<T> r(2 * n);
  for (auto _ : st) {
    f(static_cast<int>(n), a.data(), 2, r.data(), 2);
    benchmark::DoNotOptimize(r.data());
  }
  st.SetItemsProcessed(st.iterations() * n);
}

template <class T>
void scalar_loop(benchmark::State& st, T (*f)(T), T hi) {
  const long n = st.range(0);
  const std::vector<T> a = inputs<T>(n, 64, hi);
  std::vector<T> r(n);
  for (auto _ : st) {
    for (long i = 0; i < n; ++i) r[i] = f(a[i]);
    benchmark::DoNotOptimize(r.data());
  }
  st.SetItemsProcessed(st.iterations() * n);
}

constexpr unsigned kDefault = VQM_ERRMODE_DEFAULT, kNoErr = VQM_ERRMODE_NOERR;

void register_all() {
  const float fs = 88.0f;
  const double ds = 708.0;
  for (long n : {1000L, 1000000L}) {
    auto reg = [n](const char* name, auto fn) { benchmark::RegisterBenchmark(name, fn)->Arg(n); };
    // One lane in 64 overflows: the callout's cost, and what NOERR saves.
    reg("ExpFamily/sExp_HA_over64/default", [=](benchmark::State& s) { run_plain<float>(s, _vqmsExp_HA, 64, kDefault, fs); });
    reg("ExpFamily/sExp_HA_over64/noerr", [=](benchmark::State& s) { run_plain<float>(s, _vqmsExp_HA, 64, kNoErr, fs); });
    reg("ExpFamily/sExp_HA_over64/glibc", [=](benchmark::State& s) { scalar_loop<float>(s, ::expf, fs); });
    reg("ExpFamily/dExp_HA_over64/default", [=](benchmark::State& s) { run_plain<double>(s, _vqmdExp_HA, 64, kDefault, ds); });
    reg("ExpFamily/dExp_HA_over64/noerr", [=](benchmark::State& s) { run_plain<double>(s, _vqmdExp_HA, 64, kNoErr, ds); });
    reg("ExpFamily/dExp_HA_over64/glibc", [=](benchmark::State& s) { scalar_loop<double>(s, ::exp, ds); });
    // Strided forms, stride 2, beside the plain kernels on ordinary inputs.
    reg("ExpFamily/sExp_HA/plain", [=](benchmark::State& s) { run_plain<float>(s, _vqmsExp_HA, 0, kDefault, fs); });
    reg("ExpFamily/sExp_HA/stride2", [=](benchmark::State& s) { run_strided<float>(s, _vqmsExpI_HA, fs); });
    reg("ExpFamily/dExp_HA/plain", [=](benchmark::State& s) { run_plain<double>(s, _vqmdExp_HA, 0, kDefault, ds); });
    reg("ExpFamily/dExp_HA/stride2", [=](benchmark::State& s) { run_strided<double>(s, _vqmdExpI_HA, ds); });
    reg("ExpFamily/dExpm1_HA/plain", [=](benchmark::State& s) { run_plain<double>(s, _vqmdExpm1_HA, 0, kDefault, ds); });
    reg("ExpFamily/dExpm1_HA/stride2", [=](benchmark::State& s) { run_strided<double>(s, _vqmdExpm1I_HA, ds); });
  }
}

const int kRegistered = (register_all(), 0);

}  // namespace
