// Nanoseconds per variate of the distribution generators at n = 1,000 and
// 1,000,000, single thread, over MT19937, beside the C++ standard library's
// distributions over std::mt19937_64. numpy is timed by the command in
// docs/distributions.md. Each figure is the best of several rounds.
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

#include "zev/zev_vqs.h"
#include "zev/zev_vqs_dist.h"

namespace {

double best_ns(int n, const std::function<void(int)>& run) {
  const long total = 20'000'000;  // variates a round
  const int reps = int(total / n) > 0 ? int(total / n) : 1;
  double best = 1e30;
  for (int round = 0; round < 5; ++round) {
    const auto t0 = std::chrono::steady_clock::now();
    for (int k = 0; k < reps; ++k) run(n);
    const auto t1 = std::chrono::steady_clock::now();
    const double ns = std::chrono::duration<double, std::nano>(t1 - t0).count() / (double(reps) * n);
    if (ns < best) best = ns;
  }
  return best;
}

}  // namespace

int main() {
  void* s = nullptr;
  unsigned seed = 12345;
  __vqsNewStreamEx(&s, ZEV_BRNG_MT19937, 1, &seed);
  const int big = 1'000'000;
  std::vector<double> d(big);
  std::vector<float> f(big);
  std::vector<int32_t> i(big);
  std::mt19937_64 eng(12345);

  struct Row {
    const char* name;
    std::function<void(int)> run;
  };
  const int A = ZEV_RNG_METHOD_ACCURATE;
  std::vector<Row> rows = {
      {"dUniform", [&](int n) { _vqsdRngUniform(0, s, n, d.data(), 0.0, 1.0); }},
      {"dUniform accurate", [&](int n) { _vqsdRngUniform(A, s, n, d.data(), 0.0, 1.0); }},
      {"sUniform", [&](int n) { _vqssRngUniform(0, s, n, f.data(), 0.0f, 1.0f); }},
      {"iUniform", [&](int n) { _vqsiRngUniform(0, s, n, i.data(), 0, 1000); }},
      {"iUniformBits32", [&](int n) { _vqsiRngUniformBits32(0, s, n, reinterpret_cast<unsigned*>(i.data())); }},
      {"dExponential", [&](int n) { _vqsdRngExponential(0, s, n, d.data(), 0.0, 1.0); }},
      {"dExponential accurate", [&](int n) { _vqsdRngExponential(A, s, n, d.data(), 0.0, 1.0); }},
      {"sExponential", [&](int n) { _vqssRngExponential(0, s, n, f.data(), 0.0f, 1.0f); }},
      {"dLaplace", [&](int n) { _vqsdRngLaplace(0, s, n, d.data(), 0.0, 1.0); }},
      {"dLaplace accurate", [&](int n) { _vqsdRngLaplace(A, s, n, d.data(), 0.0, 1.0); }},
      {"dWeibull c=1.5", [&](int n) { _vqsdRngWeibull(0, s, n, d.data(), 1.5, 0.0, 1.0); }},
      {"dWeibull c=1.5 accurate", [&](int n) { _vqsdRngWeibull(A, s, n, d.data(), 1.5, 0.0, 1.0); }},
      {"dCauchy", [&](int n) { _vqsdRngCauchy(0, s, n, d.data(), 0.0, 1.0); }},
      {"dRayleigh", [&](int n) { _vqsdRngRayleigh(0, s, n, d.data(), 0.0, 1.0); }},
      {"dGumbel", [&](int n) { _vqsdRngGumbel(0, s, n, d.data(), 0.0, 1.0); }},
      {"dGumbel accurate", [&](int n) { _vqsdRngGumbel(A, s, n, d.data(), 0.0, 1.0); }},
      {"sGumbel", [&](int n) { _vqssRngGumbel(0, s, n, f.data(), 0.0f, 1.0f); }},
      {"iBernoulli p=0.3", [&](int n) { _vqsiRngBernoulli(0, s, n, i.data(), 0.3); }},
      {"iGeometric p=0.3", [&](int n) { _vqsiRngGeometric(0, s, n, i.data(), 0.3); }},
      {"std uniform_real<double> mt19937_64", [&](int n) {
         std::uniform_real_distribution<double> u(0.0, 1.0);
         for (int k = 0; k < n; ++k) d[k] = u(eng);
       }},
      {"std exponential<double> mt19937_64", [&](int n) {
         std::exponential_distribution<double> e(1.0);
         for (int k = 0; k < n; ++k) d[k] = e(eng);
       }},
      {"std cauchy<double> mt19937_64", [&](int n) {
         std::cauchy_distribution<double> c(0.0, 1.0);
         for (int k = 0; k < n; ++k) d[k] = c(eng);
       }},
      {"std weibull<double> mt19937_64", [&](int n) {
         std::weibull_distribution<double> w(1.5, 1.0);
         for (int k = 0; k < n; ++k) d[k] = w(eng);
       }},
      {"std geometric<int> mt19937_64", [&](int n) {
         std::geometric_distribution<int> g(0.3);
         for (int k = 0; k < n; ++k) i[k] = g(eng);
       }},
  };
  std::printf("%-40s %12s %12s\n", "ns per variate", "n=1000", "n=1000000");
  for (const Row& r : rows)
    std::printf("%-40s %12.2f %12.2f\n", r.name, best_ns(1000, r.run), best_ns(big, r.run));
  __vqsDeleteStream(&s);
  return 0;
}
