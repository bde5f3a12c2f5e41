// Vector-math kernels beside the peers a user would pick instead, measured in
// one run: a plain loop over glibc's scalar function, glibc's libmvec SSE
// variants, SLEEF's SSE2 functions, and for the lane-wise kernels a plain
// -O3 -msse2 loop. Adding a function is one line per implementation in
// register_all() below.
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

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

// The module is reached by name (dlsym), so that rows not built yet are simply
// left out; this one direct reference keeps it among the binary's libraries.
extern "C" int dll_cpu_version(void);

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

using StatusFn = int (*)();
StatusFn status_fn(const char* name) { return reinterpret_cast<StatusFn>(dlsym(RTLD_DEFAULT, name)); }

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
  static const StatusFn clear = status_fn("zev_vqm_kernel_ClearErrStatus");
  static const StatusFn get = status_fn("zev_vqm_kernel_GetErrStatus");
  if (!clear || !get) return;
  const bool single = row[0] == 's';
  static const char* suffix_s[] = {"_21", "", "_11"};
  static const char* suffix_d[] = {"_50", "", "_26"};
  static const char* impl[] = {"zev_LA", "zev_HA", "zev_EP"};
  for (int level = 0; level < 3; ++level) {
    const std::string entry = std::string("_vqm") + row + (single ? suffix_s : suffix_d)[level];
    void* fn = dlsym(RTLD_DEFAULT, entry.c_str());
    if (!fn) continue;
    // A row whose family is not built answers status -2 and writes nothing.
    clear();
    alignas(16) double in[4] = {0.75, 0.75, 0.75, 0.75}, in2[4] = {0.75, 0.75, 0.75, 0.75}, out[4];
    alignas(16) float fin[4] = {0.75f, 0.75f, 0.75f, 0.75f}, fout[4];
    if (single)
      binary ? reinterpret_cast<Binary<float>>(fn)(4, fin, fin, fout) : reinterpret_cast<Unary<float>>(fn)(4, fin, fout);
    else
      binary ? reinterpret_cast<Binary<double>>(fn)(4, in, in2, out) : reinterpret_cast<Unary<double>>(fn)(4, in, out);
    const int status = get();
    clear();
    if (status == -2) continue;
    add(row, impl[level], fn, binary, a, b, sizes);
  }
}

namespace {

void register_all() {
  using std::cbrt, std::exp, std::exp2, std::expm1, std::log, std::log10, std::log1p, std::log2, std::pow,
      std::sqrt, std::hypot;
  constexpr bool U = false, B = true;
  const Domain none{0.5, 1.0};
  const auto& T = kTranscendental;

  // ---- Exponential family
  add_ours("sExp", U, {-80, 80}, none, T);
  add("sExp", "glibc", ZEV_LOOP1(float, expf(a[i])), U, {-80, 80}, none, T);
  add("sExp", "libmvec", ZEV_VEC_S(_ZGVbN4v_expf), U, {-80, 80}, none, T);
  add_ours("dExp", U, {-700, 700}, none, T);
  add("dExp", "glibc", ZEV_LOOP1(double, exp(a[i])), U, {-700, 700}, none, T);
  add("dExp", "libmvec", ZEV_VEC_D(_ZGVbN2v_exp), U, {-700, 700}, none, T);
  add_ours("sExp2", U, {-120, 120}, none, T);
  add("sExp2", "glibc", ZEV_LOOP1(float, exp2f(a[i])), U, {-120, 120}, none, T);
  add("sExp2", "libmvec", ZEV_VEC_S(_ZGVbN4v_exp2f), U, {-120, 120}, none, T);
  add_ours("dExp2", U, {-1000, 1000}, none, T);
  add("dExp2", "glibc", ZEV_LOOP1(double, exp2(a[i])), U, {-1000, 1000}, none, T);
  add("dExp2", "libmvec", ZEV_VEC_D(_ZGVbN2v_exp2), U, {-1000, 1000}, none, T);
  add_ours("sExp10", U, {-37, 37}, none, T);
  add("sExp10", "glibc", ZEV_LOOP1(float, exp10f(a[i])), U, {-37, 37}, none, T);
  add("sExp10", "libmvec", ZEV_VEC_S(_ZGVbN4v_exp10f), U, {-37, 37}, none, T);
  add_ours("dExp10", U, {-300, 300}, none, T);
  add("dExp10", "glibc", ZEV_LOOP1(double, exp10(a[i])), U, {-300, 300}, none, T);
  add("dExp10", "libmvec", ZEV_VEC_D(_ZGVbN2v_exp10), U, {-300, 300}, none, T);
  add_ours("sExpm1", U, {-20, 80}, none, T);
  add("sExpm1", "glibc", ZEV_LOOP1(float, expm1f(a[i])), U, {-20, 80}, none, T);
  add("sExpm1", "libmvec", ZEV_VEC_S(_ZGVbN4v_expm1f), U, {-20, 80}, none, T);
  add_ours("dExpm1", U, {-40, 700}, none, T);
  add("dExpm1", "glibc", ZEV_LOOP1(double, expm1(a[i])), U, {-40, 700}, none, T);
  add("dExpm1", "libmvec", ZEV_VEC_D(_ZGVbN2v_expm1), U, {-40, 700}, none, T);

  // ---- Logarithms
  const Domain pos{1e-30, 1e30}, pos_d{1e-300, 1e300}, p1{-0.9, 1e6};
  add_ours("sLn", U, pos, none, T);
  add("sLn", "glibc", ZEV_LOOP1(float, logf(a[i])), U, pos, none, T);
  add("sLn", "libmvec", ZEV_VEC_S(_ZGVbN4v_logf), U, pos, none, T);
  add_ours("dLn", U, pos_d, none, T);
  add("dLn", "glibc", ZEV_LOOP1(double, log(a[i])), U, pos_d, none, T);
  add("dLn", "libmvec", ZEV_VEC_D(_ZGVbN2v_log), U, pos_d, none, T);
  add_ours("sLog2", U, pos, none, T);
  add("sLog2", "glibc", ZEV_LOOP1(float, log2f(a[i])), U, pos, none, T);
  add("sLog2", "libmvec", ZEV_VEC_S(_ZGVbN4v_log2f), U, pos, none, T);
  add_ours("dLog2", U, pos_d, none, T);
  add("dLog2", "glibc", ZEV_LOOP1(double, log2(a[i])), U, pos_d, none, T);
  add("dLog2", "libmvec", ZEV_VEC_D(_ZGVbN2v_log2), U, pos_d, none, T);
  add_ours("sLog10", U, pos, none, T);
  add("sLog10", "glibc", ZEV_LOOP1(float, log10f(a[i])), U, pos, none, T);
  add("sLog10", "libmvec", ZEV_VEC_S(_ZGVbN4v_log10f), U, pos, none, T);
  add_ours("dLog10", U, pos_d, none, T);
  add("dLog10", "glibc", ZEV_LOOP1(double, log10(a[i])), U, pos_d, none, T);
  add("dLog10", "libmvec", ZEV_VEC_D(_ZGVbN2v_log10), U, pos_d, none, T);
  add_ours("sLog1p", U, p1, none, T);
  add("sLog1p", "glibc", ZEV_LOOP1(float, log1pf(a[i])), U, p1, none, T);
  add("sLog1p", "libmvec", ZEV_VEC_S(_ZGVbN4v_log1pf), U, p1, none, T);
  add_ours("dLog1p", U, p1, none, T);
  add("dLog1p", "glibc", ZEV_LOOP1(double, log1p(a[i])), U, p1, none, T);
  add("dLog1p", "libmvec", ZEV_VEC_D(_ZGVbN2v_log1p), U, p1, none, T);

  // ---- Powers and roots
  const Domain base{0.01, 100}, expo{-20, 20}, any{-1e30, 1e30};
  add_ours("sPow", B, base, expo, T);
  add("sPow", "glibc", ZEV_LOOP2(float, powf(a[i], b[i])), B, base, expo, T);
  add("sPow", "libmvec", ZEV_VEC2_S(_ZGVbN4vv_powf), B, base, expo, T);
  add_ours("dPow", B, base, expo, T);
  add("dPow", "glibc", ZEV_LOOP2(double, pow(a[i], b[i])), B, base, expo, T);
  add("dPow", "libmvec", ZEV_VEC2_D(_ZGVbN2vv_pow), B, base, expo, T);
  add_ours("sSqrt", U, pos, none, T);
  add("sSqrt", "glibc", ZEV_LOOP1(float, sqrtf(a[i])), U, pos, none, T);
  add_ours("dSqrt", U, pos_d, none, T);
  add("dSqrt", "glibc", ZEV_LOOP1(double, sqrt(a[i])), U, pos_d, none, T);
  add_ours("sCbrt", U, any, none, T);
  add("sCbrt", "glibc", ZEV_LOOP1(float, cbrtf(a[i])), U, any, none, T);
  add("sCbrt", "libmvec", ZEV_VEC_S(_ZGVbN4v_cbrtf), U, any, none, T);
  add_ours("dCbrt", U, any, none, T);
  add("dCbrt", "glibc", ZEV_LOOP1(double, cbrt(a[i])), U, any, none, T);
  add("dCbrt", "libmvec", ZEV_VEC_D(_ZGVbN2v_cbrt), U, any, none, T);
  add_ours("sHypot", B, any, any, T);
  add("sHypot", "glibc", ZEV_LOOP2(float, hypotf(a[i], b[i])), B, any, any, T);
  add("sHypot", "libmvec", ZEV_VEC2_S(_ZGVbN4vv_hypotf), B, any, any, T);
  add_ours("dHypot", B, any, any, T);
  add("dHypot", "glibc", ZEV_LOOP2(double, hypot(a[i], b[i])), B, any, any, T);
  add("dHypot", "libmvec", ZEV_VEC2_D(_ZGVbN2vv_hypot), B, any, any, T);

#if defined(ZEV_HAVE_SLEEF)
  add("sExp", "sleef_u10", ZEV_VEC_S(Sleef_expf4_u10sse2), U, {-80, 80}, none, T);
  add("dExp", "sleef_u10", ZEV_VEC_D(Sleef_expd2_u10sse2), U, {-700, 700}, none, T);
  add("sExp2", "sleef_u10", ZEV_VEC_S(Sleef_exp2f4_u10sse2), U, {-120, 120}, none, T);
  add("sExp2", "sleef_u35", ZEV_VEC_S(Sleef_exp2f4_u35sse2), U, {-120, 120}, none, T);
  add("dExp2", "sleef_u10", ZEV_VEC_D(Sleef_exp2d2_u10sse2), U, {-1000, 1000}, none, T);
  add("dExp2", "sleef_u35", ZEV_VEC_D(Sleef_exp2d2_u35sse2), U, {-1000, 1000}, none, T);
  add("sExp10", "sleef_u10", ZEV_VEC_S(Sleef_exp10f4_u10sse2), U, {-37, 37}, none, T);
  add("sExp10", "sleef_u35", ZEV_VEC_S(Sleef_exp10f4_u35sse2), U, {-37, 37}, none, T);
  add("dExp10", "sleef_u10", ZEV_VEC_D(Sleef_exp10d2_u10sse2), U, {-300, 300}, none, T);
  add("dExp10", "sleef_u35", ZEV_VEC_D(Sleef_exp10d2_u35sse2), U, {-300, 300}, none, T);
  add("sExpm1", "sleef_u10", ZEV_VEC_S(Sleef_expm1f4_u10sse2), U, {-20, 80}, none, T);
  add("dExpm1", "sleef_u10", ZEV_VEC_D(Sleef_expm1d2_u10sse2), U, {-40, 700}, none, T);
  add("sLn", "sleef_u10", ZEV_VEC_S(Sleef_logf4_u10sse2), U, pos, none, T);
  add("sLn", "sleef_u35", ZEV_VEC_S(Sleef_logf4_u35sse2), U, pos, none, T);
  add("dLn", "sleef_u10", ZEV_VEC_D(Sleef_logd2_u10sse2), U, pos_d, none, T);
  add("dLn", "sleef_u35", ZEV_VEC_D(Sleef_logd2_u35sse2), U, pos_d, none, T);
  add("sLog2", "sleef_u10", ZEV_VEC_S(Sleef_log2f4_u10sse2), U, pos, none, T);
  add("sLog2", "sleef_u35", ZEV_VEC_S(Sleef_log2f4_u35sse2), U, pos, none, T);
  add("dLog2", "sleef_u10", ZEV_VEC_D(Sleef_log2d2_u10sse2), U, pos_d, none, T);
  add("dLog2", "sleef_u35", ZEV_VEC_D(Sleef_log2d2_u35sse2), U, pos_d, none, T);
  add("sLog10", "sleef_u10", ZEV_VEC_S(Sleef_log10f4_u10sse2), U, pos, none, T);
  add("dLog10", "sleef_u10", ZEV_VEC_D(Sleef_log10d2_u10sse2), U, pos_d, none, T);
  add("sLog1p", "sleef_u10", ZEV_VEC_S(Sleef_log1pf4_u10sse2), U, p1, none, T);
  add("dLog1p", "sleef_u10", ZEV_VEC_D(Sleef_log1pd2_u10sse2), U, p1, none, T);
  add("sPow", "sleef_u10", ZEV_VEC2_S(Sleef_powf4_u10sse2), B, base, expo, T);
  add("dPow", "sleef_u10", ZEV_VEC2_D(Sleef_powd2_u10sse2), B, base, expo, T);
  add("sSqrt", "sleef_u05", ZEV_VEC_S(Sleef_sqrtf4_u05sse2), U, pos, none, T);
  add("sSqrt", "sleef_u35", ZEV_VEC_S(Sleef_sqrtf4_u35sse2), U, pos, none, T);
  add("dSqrt", "sleef_u05", ZEV_VEC_D(Sleef_sqrtd2_u05sse2), U, pos_d, none, T);
  add("dSqrt", "sleef_u35", ZEV_VEC_D(Sleef_sqrtd2_u35sse2), U, pos_d, none, T);
  add("sCbrt", "sleef_u10", ZEV_VEC_S(Sleef_cbrtf4_u10sse2), U, any, none, T);
  add("sCbrt", "sleef_u35", ZEV_VEC_S(Sleef_cbrtf4_u35sse2), U, any, none, T);
  add("dCbrt", "sleef_u10", ZEV_VEC_D(Sleef_cbrtd2_u10sse2), U, any, none, T);
  add("dCbrt", "sleef_u35", ZEV_VEC_D(Sleef_cbrtd2_u35sse2), U, any, none, T);
  add("sHypot", "sleef_u05", ZEV_VEC2_S(Sleef_hypotf4_u05sse2), B, any, any, T);
  add("sHypot", "sleef_u35", ZEV_VEC2_S(Sleef_hypotf4_u35sse2), B, any, any, T);
  add("dHypot", "sleef_u05", ZEV_VEC2_D(Sleef_hypotd2_u05sse2), B, any, any, T);
  add("dHypot", "sleef_u35", ZEV_VEC2_D(Sleef_hypotd2_u35sse2), B, any, any, T);
#endif

  // ---- Lane-wise kernels against a plain loop doing the same operation
  const Domain v{-1e3, 1e3};
  const auto& L = kLaneWise;
  add_ours("sAdd", B, v, v, L);
  add("sAdd", "loop", ZEV_LOOP2(float, a[i] + b[i]), B, v, v, L);
  add_ours("dAdd", B, v, v, L);
  add("dAdd", "loop", ZEV_LOOP2(double, a[i] + b[i]), B, v, v, L);
  add_ours("sSub", B, v, v, L);
  add("sSub", "loop", ZEV_LOOP2(float, a[i] - b[i]), B, v, v, L);
  add_ours("dSub", B, v, v, L);
  add("dSub", "loop", ZEV_LOOP2(double, a[i] - b[i]), B, v, v, L);
  add_ours("sMul", B, v, v, L);
  add("sMul", "loop", ZEV_LOOP2(float, a[i] * b[i]), B, v, v, L);
  add_ours("dMul", B, v, v, L);
  add("dMul", "loop", ZEV_LOOP2(double, a[i] * b[i]), B, v, v, L);
  add_ours("sSqr", U, v, none, L);
  add("sSqr", "loop", ZEV_LOOP1(float, a[i] * a[i]), U, v, none, L);
  add_ours("dSqr", U, v, none, L);
  add("dSqr", "loop", ZEV_LOOP1(double, a[i] * a[i]), U, v, none, L);
  add_ours("sAbs", U, v, none, L);
  add("sAbs", "loop", ZEV_LOOP1(float, std::fabs(a[i])), U, v, none, L);
  add_ours("dAbs", U, v, none, L);
  add("dAbs", "loop", ZEV_LOOP1(double, std::fabs(a[i])), U, v, none, L);

  // ---- Rounding kernels against loops over glibc's functions
  const auto& S = kSmall;
  add_ours("sFloor", U, v, none, S);
  add("sFloor", "glibc", ZEV_LOOP1(float, floorf(a[i])), U, v, none, S);
  add_ours("dFloor", U, v, none, S);
  add("dFloor", "glibc", ZEV_LOOP1(double, floor(a[i])), U, v, none, S);
  add_ours("sCeil", U, v, none, S);
  add("sCeil", "glibc", ZEV_LOOP1(float, ceilf(a[i])), U, v, none, S);
  add_ours("dCeil", U, v, none, S);
  add("dCeil", "glibc", ZEV_LOOP1(double, ceil(a[i])), U, v, none, S);
  add_ours("sRint", U, v, none, S);
  add("sRint", "glibc", ZEV_LOOP1(float, rintf(a[i])), U, v, none, S);
  add_ours("dRint", U, v, none, S);
  add("dRint", "glibc", ZEV_LOOP1(double, rint(a[i])), U, v, none, S);
  add_ours("sRound", U, v, none, S);
  add("sRound", "glibc", ZEV_LOOP1(float, roundf(a[i])), U, v, none, S);
  add_ours("dRound", U, v, none, S);
  add("dRound", "glibc", ZEV_LOOP1(double, round(a[i])), U, v, none, S);
  add_ours("sTrunc", U, v, none, S);
  add("sTrunc", "glibc", ZEV_LOOP1(float, truncf(a[i])), U, v, none, S);
  add_ours("dTrunc", U, v, none, S);
  add("dTrunc", "glibc", ZEV_LOOP1(double, trunc(a[i])), U, v, none, S);
}

// Registered before main, like the BENCHMARK macros.
const int registered = (register_all(), 0);

}  // namespace
}  // namespace zevbench

// The benchmark main, unless another benchmark file of the binary brings its own.
__attribute__((weak)) int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
