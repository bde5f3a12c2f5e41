// The harness of the vector-math benchmarks: our kernels beside the peers a
// user would pick instead, measured in one run (a plain loop over glibc's
// scalar function, glibc's libmvec SSE variants, SLEEF's SSE2 functions, and
// for the lane-wise kernels a plain -O3 -msse2 loop). Each family registers
// its rows from its own file, peers_<family>.cpp: adding a function is one
// line per implementation there.
//
//   zev_bench --benchmark_filter='^[sd]Exp/' --benchmark_repetitions=5
//             --benchmark_format=json > out.json
//   bench/ratios.py out.json
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "bench/bench_common.h"


// The module is reached by name (dlsym); this one direct reference keeps it
// among the binary's libraries.
extern "C" int dll_cpu_version(void);


namespace zevbench {

namespace {

struct Buffers {
  std::vector<char> raw;
  void* a;
  void* b;
  void* r;
};

// Inputs drawn once per benchmark with a fixed seed; arrays 64-byte aligned.
template <class T>
void fill(T* p, long n, Domain d, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(d.lo, d.hi);
  for (long i = 0; i < n; ++i) p[i] = static_cast<T>(u(g));
}

template <class T>
void run(benchmark::State& state, void* fn, bool binary, Domain da, Domain db) {
  const long n = state.range(0);
  const size_t bytes = sizeof(T) * static_cast<size_t>(n);
  auto alloc = [&](size_t sz) { return static_cast<T*>(std::aligned_alloc(64, (sz + 63) & ~size_t{63})); };
  T* a = alloc(bytes);
  T* b = alloc(bytes);
  T* r = alloc(bytes);
  fill(a, n, da, 1);
  fill(b, n, db, 2);
  memset(r, 0, bytes);
  for (auto _ : state) {
    if (binary)
      reinterpret_cast<Binary<T>>(fn)(static_cast<int>(n), a, b, r);
    else
      reinterpret_cast<Unary<T>>(fn)(static_cast<int>(n), a, r);
    benchmark::DoNotOptimize(r);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes) * (binary ? 3 : 2));
  std::free(a);
  std::free(b);
  std::free(r);
}

}  // namespace

void add(const char* row, const char* impl, void* fn, bool binary, Domain a, Domain b,
         const std::vector<long>& sizes) {
  if (!fn) return;
  const std::string name = std::string(row) + "/" + impl;
  benchmark::internal::Benchmark* bm;
  if (row[0] == 's')
    bm = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<float>(s, fn, binary, a, b); });
  else
    bm = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run<double>(s, fn, binary, a, b); });
  for (long n : sizes) bm->Arg(n);
}

void add_ours(const char* row, bool binary, Domain a, Domain b, const std::vector<long>& sizes) {
  if (dll_cpu_version() != 3) return;
  const bool single = row[0] == 's';
  static const char* suffix_s[] = {"_21", "", "_11"};
  static const char* suffix_d[] = {"_50", "", "_26"};
  static const char* impl[] = {"zev_LA", "zev_HA", "zev_EP"};
  for (int level = 0; level < 3; ++level) {
    const std::string entry = std::string("_vqm") + row + (single ? suffix_s : suffix_d)[level];
    void* fn = dlsym(RTLD_DEFAULT, entry.c_str());
    if (!fn) continue;
    add(row, impl[level], fn, binary, a, b, sizes);
  }
}

}  // namespace zevbench

// The benchmark main, unless another benchmark file of the binary brings its own.
__attribute__((weak)) int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
