// Nanoseconds per variate of the distribution generators at n = 1,000 and
// 1,000,000, single thread, over MT19937, beside the C++ standard library's
// distributions over std::mt19937_64. numpy is timed by the command in
// docs/distributions.md. Each figure is the best of several rounds.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "zev/zev_vqs.h"
#include "zev/zev_vqs_dist.h"

namespace {

double best_ns(int n, const std::function<void(int)>& run, long total = 20'000'000) {
  // total: variates a round
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
  void* sf = nullptr;
  __vqsNewStreamEx(&sf, ZEV_BRNG_SFMT19937, 1, &seed);
  const int big = 1'000'000;
  std::vector<double> d(big);
  std::vector<float> f(big);
  std::vector<int32_t> i(big);
  std::mt19937_64 eng(12345);
  std::vector<double> means(big);
  for (int k = 0; k < big; ++k) means[k] = 3.0;
  const double pm[3] = {0.2, 0.3, 0.5};
  std::vector<int32_t> counts(3 * size_t(big));

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
      {"dGaussian BOXMULLER", [&](int n) { _vqsdRngGaussian(0, s, n, d.data(), 0.0, 1.0); }},
      {"dGaussian BOXMULLER2", [&](int n) { _vqsdRngGaussian(1, s, n, d.data(), 0.0, 1.0); }},
      {"dGaussian BOXMULLER2 SFMT19937", [&](int n) { _vqsdRngGaussian(1, sf, n, d.data(), 0.0, 1.0); }},
      {"dGaussian ICDF", [&](int n) { _vqsdRngGaussian(2, s, n, d.data(), 0.0, 1.0); }},
      {"dGaussian ICDF SFMT19937", [&](int n) { _vqsdRngGaussian(2, sf, n, d.data(), 0.0, 1.0); }},
      {"sGaussian BOXMULLER2", [&](int n) { _vqssRngGaussian(1, s, n, f.data(), 0.0f, 1.0f); }},
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
      {"dGamma a=2.5", [&](int n) { _vqsdRngGamma(0, s, n, d.data(), 2.5, 0.0, 1.0); }},
      {"sGamma a=2.5", [&](int n) { _vqssRngGamma(0, s, n, f.data(), 2.5f, 0.0f, 1.0f); }},
      {"dGamma a=0.5", [&](int n) { _vqsdRngGamma(0, s, n, d.data(), 0.5, 0.0, 1.0); }},
      {"dChiSquare df=4", [&](int n) { _vqsdRngChiSquare(0, s, n, d.data(), 4.0, 0.0, 1.0); }},
      {"dBeta 2,3", [&](int n) { _vqsdRngBeta(0, s, n, d.data(), 2.0, 3.0, 0.0, 1.0); }},
      {"dBeta 0.5,0.5", [&](int n) { _vqsdRngBeta(0, s, n, d.data(), 0.5, 0.5, 0.0, 1.0); }},
      {"iPoisson mu=3", [&](int n) { _vqsiRngPoisson(0, s, n, i.data(), 3.0); }},
      {"iPoisson mu=100 (table)", [&](int n) { _vqsiRngPoisson(0, s, n, i.data(), 100.0); }},
      {"iPoisson mu=100 INV", [&](int n) { _vqsiRngPoisson(1, s, n, i.data(), 100.0); }},
      {"iPoisson mu=1000 PTRS", [&](int n) { _vqsiRngPoisson(0, s, n, i.data(), 1000.0); }},
      {"iPoisson mu=1e6 PTRS", [&](int n) { _vqsiRngPoisson(0, s, n, i.data(), 1e6); }},
      {"iPoisson mu=1e6 INV", [&](int n) { _vqsiRngPoisson(1, s, n, i.data(), 1e6); }},
      {"iPoissonV mu=3", [&](int n) { _vqsiRngPoissonV(0, s, n, i.data(), means.data()); }},
      {"iBinomial 100,0.3 (table)", [&](int n) { _vqsiRngBinomial(0, s, n, i.data(), 100, 0.3); }},
      {"iBinomial 100,0.3 INV", [&](int n) { _vqsiRngBinomial(1, s, n, i.data(), 100, 0.3); }},
      {"iBinomial 1e6,0.3 BTRS", [&](int n) { _vqsiRngBinomial(0, s, n, i.data(), 1000000, 0.3); }},
      {"iBinomial 20,0.1", [&](int n) { _vqsiRngBinomial(0, s, n, i.data(), 20, 0.1); }},
      {"iHypergeometric 900,300,200 (table)", [&](int n) { _vqsiRngHypergeometric(0, s, n, i.data(), 900, 300, 200); }},
      {"iHypergeometric 900,300,200 INV", [&](int n) { _vqsiRngHypergeometric(1, s, n, i.data(), 900, 300, 200); }},
      {"iHypergeometric 1e6,3e5,2e5 HRUA", [&](int n) { _vqsiRngHypergeometric(0, s, n, i.data(), 1000000, 300000, 200000); }},
      {"iHypergeometric 30,10,5", [&](int n) { _vqsiRngHypergeometric(0, s, n, i.data(), 30, 10, 5); }},
      {"iNegbinomial 5,0.3", [&](int n) { _vqsiRngNegbinomial(0, s, n, i.data(), 5.0, 0.3); }},
      {"iMultinomial 100,(.2,.3,.5) a vector", [&](int n) { _vqsiRngMultinomial(0, s, n, counts.data(), 100, 3, pm); }},
      {"std gamma<double> 2.5 mt19937_64", [&](int n) {
         std::gamma_distribution<double> g(2.5, 1.0);
         for (int k = 0; k < n; ++k) d[k] = g(eng);
       }},
      {"std chi_squared<double> 4 mt19937_64", [&](int n) {
         std::chi_squared_distribution<double> g(4.0);
         for (int k = 0; k < n; ++k) d[k] = g(eng);
       }},
      {"std poisson<int> 3 mt19937_64", [&](int n) {
         std::poisson_distribution<int> g(3.0);
         for (int k = 0; k < n; ++k) i[k] = g(eng);
       }},
      {"std poisson<int> 100 mt19937_64", [&](int n) {
         std::poisson_distribution<int> g(100.0);
         for (int k = 0; k < n; ++k) i[k] = g(eng);
       }},
      {"std binomial<int> 100,0.3 mt19937_64", [&](int n) {
         std::binomial_distribution<int> g(100, 0.3);
         for (int k = 0; k < n; ++k) i[k] = g(eng);
       }},
      {"std negative_binomial<int> 5,0.3 mt19937_64", [&](int n) {
         std::negative_binomial_distribution<int> g(5, 0.3);
         for (int k = 0; k < n; ++k) i[k] = g(eng);
       }},
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
  // BENCH_DIST_ONLY=<text>[,<text>...] times only the rows whose name holds
  // one of the texts (BENCH_DIST_ONLY==<name>: the row of that name); those
  // rows run 5,000,000 variates a round.
  const char* only = std::getenv("BENCH_DIST_ONLY");
  auto wanted = [&](const char* name) {
    if (only[0] == '=') return std::strcmp(only + 1, name) == 0;
    for (const char* p = only;;) {
      const char* e = std::strchr(p, ',');
      const std::string part(p, e != nullptr ? size_t(e - p) : std::strlen(p));
      if (!part.empty() && std::strstr(name, part.c_str()) != nullptr) return true;
      if (e == nullptr) return false;
      p = e + 1;
    }
  };
  // BENCH_DIST_TOTAL=<count> sets the variates a round.
  const char* total_env = std::getenv("BENCH_DIST_TOTAL");
  const long total = total_env != nullptr ? std::atol(total_env) : only != nullptr ? 5'000'000 : 20'000'000;
  std::printf("%-40s %12s %12s\n", "ns per variate", "n=1000", "n=1000000");
  for (const Row& r : rows) {
    if (only != nullptr && !wanted(r.name)) continue;
    std::printf("%-40s %12.2f %12.2f\n", r.name, best_ns(1000, r.run, total), best_ns(big, r.run, total));
    std::fflush(stdout);
  }
  __vqsDeleteStream(&s);
  __vqsDeleteStream(&sf);
  return 0;
}
