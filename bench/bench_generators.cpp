// Basic generators beside the C++ standard library in the same run: 32-bit
// words per element from MT19937, SFMT19937, MCG59 (64-bit words) and
// PHILOX4X32X10 against a plain loop over std::mt19937, and the double
// output in (0, 1) of each against its word output. The _ab lines take a
// range whose width is not a power of two, which keeps the product in the
// conversion.
//
// Names are rng/<implementation>/<n>; items per second is elements per second.
// numpy's bit generators are timed by bench/numpy_bitgen.py, run beside this.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "zev/zev_vqs.h"

namespace {

struct Owned {
  void* s = nullptr;
  explicit Owned(int id) {
    const unsigned seed[1] = {12345};
    __vqsNewStreamEx(&s, id, 1, seed);
  }
  ~Owned() { __vqsDeleteStream(&s); }
};

template <int Id, int WordUnits>
void words(benchmark::State& state) {
  const int n = int(state.range(0));
  Owned s(Id);
  int index = 0, offset = 0;
  const BrngRow* row = __vqsGetBrngBaseOffset(Id, &index, &offset) + index;
  std::vector<unsigned> r(size_t(n) * WordUnits);
  for (auto _ : state) {
    row->iGen(s.s, n, r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

template <int Id, int Wide = 0>
void doubles(benchmark::State& state) {
  const int n = int(state.range(0));
  Owned s(Id);
  int index = 0, offset = 0;
  const BrngRow* row = __vqsGetBrngBaseOffset(Id, &index, &offset) + index;
  std::vector<double> r(static_cast<size_t>(n));
  for (auto _ : state) {
    row->dGen(s.s, n, r.data(), Wide ? -2.0 : 0.0, Wide ? 3.0 : 1.0);
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void std_mt19937(benchmark::State& state) {
  const int n = int(state.range(0));
  std::mt19937 g(12345);
  std::vector<uint32_t> r(static_cast<size_t>(n));
  for (auto _ : state) {
    for (int i = 0; i < n; ++i) r[size_t(i)] = uint32_t(g());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void std_mt19937_double(benchmark::State& state) {
  const int n = int(state.range(0));
  std::mt19937 g(12345);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<double> r(static_cast<size_t>(n));
  for (auto _ : state) {
    for (int i = 0; i < n; ++i) r[size_t(i)] = u(g);
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(words<ZEV_BRNG_MT19937, 1>)->Name("rng/MT19937_int")->Arg(1000)->Arg(10000);
BENCHMARK(words<ZEV_BRNG_SFMT19937, 1>)->Name("rng/SFMT19937_int")->Arg(1000)->Arg(10000);
BENCHMARK(words<ZEV_BRNG_MCG59, 2>)->Name("rng/MCG59_int64")->Arg(1000)->Arg(10000);
BENCHMARK(words<ZEV_BRNG_PHILOX4X32X10, 1>)->Name("rng/PHILOX4X32X10_int")->Arg(1000)->Arg(10000);
BENCHMARK(words<ZEV_BRNG_MT2203, 1>)->Name("rng/MT2203_int")->Arg(1000)->Arg(10000);
BENCHMARK(std_mt19937)->Name("rng/std_mt19937_int")->Arg(1000)->Arg(10000);
BENCHMARK(doubles<ZEV_BRNG_MT19937>)->Name("rng/MT19937_double")->Arg(1000)->Arg(10000);
BENCHMARK(doubles<ZEV_BRNG_SFMT19937>)->Name("rng/SFMT19937_double")->Arg(1000)->Arg(10000);
BENCHMARK(doubles<ZEV_BRNG_MT19937, 1>)->Name("rng/MT19937_double_ab")->Arg(1000)->Arg(10000);
BENCHMARK(doubles<ZEV_BRNG_SFMT19937, 1>)->Name("rng/SFMT19937_double_ab")->Arg(1000)->Arg(10000);
BENCHMARK(doubles<ZEV_BRNG_MCG59>)->Name("rng/MCG59_double")->Arg(1000)->Arg(10000);
BENCHMARK(doubles<ZEV_BRNG_PHILOX4X32X10>)->Name("rng/PHILOX4X32X10_double")->Arg(1000)->Arg(10000);
BENCHMARK(std_mt19937_double)->Name("rng/std_mt19937_double")->Arg(1000)->Arg(10000);
