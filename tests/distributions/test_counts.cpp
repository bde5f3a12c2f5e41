// Poisson, PoissonV, Binomial, Hypergeometric, Multinomial, Negbinomial:
// chi-square of binned counts and the first four moments against GSL's
// probability functions, for every method and across the parameter ranges;
// the split rule; parameters at and beyond the ends of their domains.
#include <gtest/gtest.h>
#include <gsl/gsl_randist.h>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "fit_support.h"
#include "guarded.h"

namespace {

using disttest::Stream;
using disttest::seed;
constexpr int kInv = 1;  // the _INV method of every distribution that has one

std::string name(const char* what, double a, double b = NAN, double c = NAN) {
  std::string s = std::string(what) + "(" + std::to_string(a);
  if (!std::isnan(b)) s += ", " + std::to_string(b);
  if (!std::isnan(c)) s += ", " + std::to_string(c);
  return s + ")";
}

// Range that holds all but a negligible part of the mass.
void range(double mean, double sd, double kmin, double kmax, double& lo, double& hi) {
  lo = std::max(kmin, std::floor(mean - 14 * sd - 30));
  hi = std::min(kmax, std::ceil(mean + 14 * sd + 30));
}

TEST(Counts, PoissonFitsForEveryMethodAndMean) {
  const int n = 200000;
  for (double mu : {1e-6, 0.5, 3.0, 9.99, 10.0, 27.5, 1000.0, 7000.0, 1e6, 1e9})
    for (int method : {ZEV_RNG_POISSON_PTRS, ZEV_RNG_POISSON_INV}) {
      Stream s(ZEV_BRNG_MT19937, {seed(4242)});
      std::vector<int32_t> x(n);
      ASSERT_EQ(_vqsiRngPoisson(method, s, n, x.data(), mu), 0);
      double lo, hi;
      range(mu, std::sqrt(mu), 0, INT_MAX, lo, hi);
      disttest::expect_discrete_fit(x, [=](double k) { return gsl_ran_poisson_pdf(unsigned(k), mu); },
                                    lo, hi, name("Poisson", mu) + " method " + std::to_string(method));
    }
}

TEST(Counts, PoissonVFitsEachMean) {
  const double means[] = {0.0, 0.25, 4.0, 12.0, 300.0, 5e7};
  const int classes = int(std::size(means)), per = 60000, n = classes * per;
  std::vector<double> mu(n);
  for (int i = 0; i < n; ++i) mu[i] = means[i % classes];
  Stream s(ZEV_BRNG_SFMT19937, {seed(99)});
  std::vector<int32_t> x(n);
  ASSERT_EQ(_vqsiRngPoissonV(0, s, n, x.data(), mu.data()), 0);
  for (int c = 0; c < classes; ++c) {
    std::vector<int32_t> y;
    for (int i = c; i < n; i += classes) y.push_back(x[i]);
    const double m = means[c];
    if (m == 0) {
      for (int32_t v : y) ASSERT_EQ(v, 0);
      continue;
    }
    double lo, hi;
    range(m, std::sqrt(m), 0, INT_MAX, lo, hi);
    disttest::expect_discrete_fit(y, [=](double k) { return gsl_ran_poisson_pdf(unsigned(k), m); }, lo, hi,
                                  name("PoissonV", m));
  }
}

TEST(Counts, BinomialFitsForEveryMethod) {
  const int n = 200000;
  struct P {
    int32_t trials;
    double p;
  };
  const P cases[] = {{1, 0.5},       {20, 0.3},         {100, 0.3},     {100, 0.97},  {1000, 1e-3},
                     {5000, 0.5},    {1000000, 1e-6},   {1000000, 0.4}, {INT_MAX, 1e-8},
                     {INT_MAX, 0.5}, {50, 1 - 1e-12},   {30, 1e-12}};
  for (const P& c : cases)
    for (int method : {ZEV_RNG_BINOMIAL_BTRS, ZEV_RNG_BINOMIAL_INV}) {
      Stream s(ZEV_BRNG_MT19937, {seed(777)});
      std::vector<int32_t> x(n);
      ASSERT_EQ(_vqsiRngBinomial(method, s, n, x.data(), c.trials, c.p), 0);
      const double mean = c.trials * c.p, sd = std::sqrt(mean * (1 - c.p));
      double lo, hi;
      range(mean, sd, 0, c.trials, lo, hi);
      const unsigned t = unsigned(c.trials);
      const double p = c.p;
      disttest::expect_discrete_fit(
          x, [=](double k) { return gsl_ran_binomial_pdf(unsigned(k), p, t); }, lo, hi,
          name("Binomial", c.trials, c.p) + " method " + std::to_string(method));
    }
}

TEST(Counts, HypergeometricFitsForEveryMethod) {
  const int n = 200000;
  struct P {
    int32_t pop, succ, draws;
  };
  const P cases[] = {{10, 4, 5},          {50, 30, 12},          {1000, 500, 100},   {1000, 20, 990},
                     {1000, 990, 400},    {100000, 30000, 50000}, {INT_MAX, 1000, 5000},
                     {INT_MAX, INT_MAX / 3, 100000000},          {2, 1, 1},          {30, 0, 10}};
  for (const P& c : cases)
    for (int method : {ZEV_RNG_HYPERGEOMETRIC_HRUA, ZEV_RNG_HYPERGEOMETRIC_INV}) {
      Stream s(ZEV_BRNG_MT19937, {seed(31)});
      std::vector<int32_t> x(n);
      ASSERT_EQ(_vqsiRngHypergeometric(method, s, n, x.data(), c.pop, c.succ, c.draws), 0);
      const double N = c.pop, K = c.succ, D = c.draws;
      const double mean = D * K / N, sd = std::sqrt(D * (K / N) * (1 - K / N) * (N - D) / std::max(1.0, N - 1));
      double lo, hi;
      range(mean, sd, std::max(0.0, D - (N - K)), std::min(K, D), lo, hi);
      const unsigned n1 = unsigned(c.succ), n2 = unsigned(c.pop - c.succ), t = unsigned(c.draws);
      disttest::expect_discrete_fit(
          x, [=](double k) { return gsl_ran_hypergeometric_pdf(unsigned(k), n1, n2, t); }, lo, hi,
          name("Hypergeometric", N, K, D) + " method " + std::to_string(method));
    }
}

TEST(Counts, NegbinomialFits) {
  const int n = 200000;
  for (double a : {0.3, 1.0, 4.5, 200.0})
    for (double p : {0.9, 0.4, 0.02}) {
      Stream s(ZEV_BRNG_PHILOX4X32X10, {seed(5150)});
      std::vector<int32_t> x(n);
      ASSERT_EQ(_vqsiRngNegbinomial(0, s, n, x.data(), a, p), 0);
      const double mean = a * (1 - p) / p, sd = std::sqrt(mean / p);
      double lo, hi;
      range(mean, 3 * sd, 0, INT_MAX, lo, hi);  // a heavier right tail for small a
      disttest::expect_discrete_fit(
          x, [=](double k) { return gsl_ran_negative_binomial_pdf(unsigned(k), p, a); }, lo, hi,
          name("Negbinomial", a, p));
    }
}

TEST(Counts, MultinomialMarginalsAndCovariance) {
  const int n = 100000;
  const std::vector<double> p = {0.2, 0.05, 0.0, 0.45, 0.3};
  const int k = int(p.size());
  for (int32_t trials : {1, 7, 100, 100000}) {
    Stream s(ZEV_BRNG_MT19937, {seed(606)});
    zevtest::Guarded<int32_t> r(size_t(n) * k, 4);
    ASSERT_EQ(_vqsiRngMultinomial(0, s, n, r.data(), trials, k, p.data()), 0);
    ASSERT_TRUE(r.lead_intact());
    for (int i = 0; i < n; ++i) {
      long sum = 0;
      for (int j = 0; j < k; ++j) {
        ASSERT_GE(r[size_t(i) * k + j], 0);
        sum += r[size_t(i) * k + j];
      }
      ASSERT_EQ(sum, trials);
      ASSERT_EQ(r[size_t(i) * k + 2], 0);
    }
    for (int j : {0, 1, 3, 4}) {
      std::vector<int32_t> y(n);
      for (int i = 0; i < n; ++i) y[i] = r[size_t(i) * k + j];
      const double pj = p[j], mean = trials * pj;
      double lo, hi;
      range(mean, std::sqrt(mean * (1 - pj)), 0, trials, lo, hi);
      disttest::expect_discrete_fit(
          y, [=](double x) { return gsl_ran_binomial_pdf(unsigned(x), pj, unsigned(trials)); }, lo, hi,
          name("Multinomial marginal", trials, j));
    }
    // Covariance of categories 0 and 3: -trials p0 p3.
    long double m0 = 0, m3 = 0, c03 = 0;
    for (int i = 0; i < n; ++i) {
      m0 += r[size_t(i) * k];
      m3 += r[size_t(i) * k + 3];
    }
    m0 /= n;
    m3 /= n;
    for (int i = 0; i < n; ++i) c03 += (r[size_t(i) * k] - m0) * (r[size_t(i) * k + 3] - m3);
    c03 /= n - 1;
    const double want = -trials * p[0] * p[3];
    const double sd0 = std::sqrt(trials * p[0] * (1 - p[0])), sd3 = std::sqrt(trials * p[3] * (1 - p[3]));
    EXPECT_NEAR(double(c03), want, 6.5 * sd0 * sd3 * std::sqrt(2.0 / n)) << trials;
  }
}

TEST(Counts, MultinomialRefusesBadParameters) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> good = {0.5, 0.5};
  struct Case {
    int32_t trials, k;
    std::vector<double> p;
    bool null_p;
  };
  const Case cases[] = {{-1, 2, good, false},          {10, 0, good, false},        {10, -3, good, false},
                        {10, 2, good, true},           {10, 2, {0.5, 0.6}, false},  {10, 2, {0.4, 0.5}, false},
                        {10, 2, {-0.1, 1.1}, false},   {10, 2, {nan, 1.0}, false},  {10, 2, {1.5, -0.5}, false},
                        {10, 1, {0.999}, false}};
  Stream s(ZEV_BRNG_MT19937, {1}), t(ZEV_BRNG_MT19937, {1});
  int32_t r[8] = {-7, -7, -7, -7, -7, -7, -7, -7};
  for (const Case& c : cases) {
    EXPECT_EQ(_vqsiRngMultinomial(0, s, 4, r, c.trials, c.k, c.null_p ? nullptr : c.p.data()),
              ZEV_VQS_ERR_MULTINOMIAL_PARAM);
    for (int32_t v : r) ASSERT_EQ(v, -7);
  }
  unsigned ws, wt;
  _vqsiRngUniformBits(0, s, 1, &ws);
  _vqsiRngUniformBits(0, t, 1, &wt);
  EXPECT_EQ(ws, wt) << "a refused call draws nothing";
  // One category, and a sum off by rounding only: accepted.
  const double one = 1.0, near[3] = {0.1, 0.2, 0.7000000000000001};
  EXPECT_EQ(_vqsiRngMultinomial(0, s, 4, r, 9, 1, &one), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(r[i], 9);
  EXPECT_EQ(_vqsiRngMultinomial(0, s, 2, r, 9, 3, near), 0);
  // Accepted extremes: counts still sum to ntrial, with nothing past r[n k).
  const double edge[3] = {1e-300, 0.5, 0.5};
  for (int32_t trials : {0, 1, INT_MAX}) {
    zevtest::Guarded<int32_t> g(3 * 500, 2);
    ASSERT_EQ(_vqsiRngMultinomial(0, s, 500, g.data(), trials, 3, edge), 0);
    ASSERT_TRUE(g.lead_intact());
    for (int i = 0; i < 500; ++i) {
      ASSERT_TRUE(g[3 * i] == 0 && g[3 * i + 1] >= 0 && g[3 * i + 2] >= 0);
      ASSERT_EQ(int64_t(g[3 * i + 1]) + g[3 * i + 2], trials);
    }
  }
}

// One call of n against pieces: exact for every method here but Negbinomial.
TEST(Counts, OneCallGivesWhatPiecesGive) {
  const int n = 5000;
  const int pieces[] = {1, 1023, 2, 1500, 2474};
  std::vector<double> mu(n);
  for (int i = 0; i < n; ++i) mu[i] = (i % 7) * 4.5;
  const double pm[3] = {0.3, 0.3, 0.4};
  using Call = std::function<int(void*, int, int32_t*, int)>;  // stream, m, r, offset
  const std::vector<std::pair<std::string, Call>> calls = {
      {"Poisson PTRS", [](void* s, int m, int32_t* r, int) { return _vqsiRngPoisson(0, s, m, r, 40.0); }},
      {"Poisson INV", [](void* s, int m, int32_t* r, int) { return _vqsiRngPoisson(kInv, s, m, r, 40.0); }},
      {"PoissonV", [&](void* s, int m, int32_t* r, int at) { return _vqsiRngPoissonV(0, s, m, r, mu.data() + at); }},
      {"Binomial BTRS", [](void* s, int m, int32_t* r, int) { return _vqsiRngBinomial(0, s, m, r, 500, 0.7); }},
      {"Binomial INV", [](void* s, int m, int32_t* r, int) { return _vqsiRngBinomial(kInv, s, m, r, 500, 0.7); }},
      {"Hypergeometric HRUA",
       [](void* s, int m, int32_t* r, int) { return _vqsiRngHypergeometric(0, s, m, r, 900, 300, 200); }},
      {"Hypergeometric INV",
       [](void* s, int m, int32_t* r, int) { return _vqsiRngHypergeometric(kInv, s, m, r, 900, 300, 200); }},
  };
  for (const auto& [what, call] : calls) {
    Stream a(ZEV_BRNG_MT19937, {5}), b(ZEV_BRNG_MT19937, {5});
    std::vector<int32_t> x(n), y(n);
    ASSERT_EQ(call(a, n, x.data(), 0), 0);
    int at = 0;
    for (int p : pieces) {
      ASSERT_EQ(call(b, p, y.data() + at, at), 0);
      at += p;
    }
    EXPECT_EQ(x, y) << what;
    unsigned wa, wb;
    _vqsiRngUniformBits(0, a, 1, &wa);
    _vqsiRngUniformBits(0, b, 1, &wb);
    EXPECT_EQ(wa, wb) << what << ": the streams end at the same place";
  }
  // Multinomial: the variates are vectors of three.
  Stream a(ZEV_BRNG_MT19937, {6}), b(ZEV_BRNG_MT19937, {6});
  std::vector<int32_t> x(3 * 700), y(3 * 700);
  ASSERT_EQ(_vqsiRngMultinomial(0, a, 700, x.data(), 60, 3, pm), 0);
  ASSERT_EQ(_vqsiRngMultinomial(0, b, 1, y.data(), 60, 3, pm), 0);
  ASSERT_EQ(_vqsiRngMultinomial(0, b, 699, y.data() + 3, 60, 3, pm), 0);
  EXPECT_EQ(x, y) << "Multinomial";
}

// The inversion methods take one uniform a variate and are monotone in it.
TEST(Counts, InversionTakesOneUniformAVariate) {
  const int n = 3000;
  for (int which = 0; which < 4; ++which) {
    Stream a(ZEV_BRNG_MT19937, {11}), b(ZEV_BRNG_MT19937, {11});
    std::vector<int32_t> x(n);
    std::vector<double> u(n);
    int st = which == 0   ? _vqsiRngPoisson(kInv, a, n, x.data(), 123.0)
             : which == 1 ? _vqsiRngBinomial(kInv, a, n, x.data(), 1000, 0.1)
             : which == 2 ? _vqsiRngBinomial(kInv, a, n, x.data(), 1000, 0.9)
                          : _vqsiRngHypergeometric(kInv, a, n, x.data(), 1000, 100, 300);
    ASSERT_EQ(st, 0);
    ASSERT_EQ(_vqsdRngUniform(0, b, n, u.data(), 0.0, 1.0), 0);
    for (int i = 0; i < n; ++i)
      for (int j : {i + 1, i + 7})
        ASSERT_TRUE(j >= n || u[i] >= u[j] || x[i] <= x[j]) << which << " at " << i;
    unsigned wa, wb;
    _vqsiRngUniformBits(0, a, 1, &wa);
    _vqsiRngUniformBits(0, b, 1, &wb);
    EXPECT_EQ(wa, wb) << which;
  }
}

// Parameters at and beyond the ends of every domain: each call ends, returns
// 0, writes only r[0..n), and gives either the marker everywhere or values
// in the support.
TEST(Counts, ParametersOutsideTheirDomainsAreSafe) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  const int n = 1100;
  Stream s(ZEV_BRNG_MT19937, {1});
  zevtest::Guarded<int32_t> r(n, 4);
  auto in_range = [&](int64_t lo, int64_t hi, const std::string& what) {
    ASSERT_TRUE(r.lead_intact()) << what;
    if (r[0] == INT_MAX && hi < INT_MAX) {
      for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], INT_MAX) << what;
        }
      return;
    }
    for (int i = 0; i < n; ++i) {
          ASSERT_TRUE(r[i] >= lo && r[i] <= hi) << what << " " << r[i];
        }
  };
  for (int method : {0, kInv}) {
    for (double mu : {0.0, -0.0, 1e-300, 1e-6, 0x1p30, 0x1p30 + 1, 1e300, inf, -1.0, -inf, nan}) {
      ASSERT_EQ(_vqsiRngPoisson(method, s, n, r.data(), mu), 0);
      in_range(0, INT_MAX, name("Poisson", mu));
      if (mu == 0)
        for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], 0);
        }
      if (!(mu >= 0 && mu <= 0x1p30))
        for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], INT_MAX);
        }
      std::vector<double> v(n, mu);
      ASSERT_EQ(_vqsiRngPoissonV(method, s, n, r.data(), v.data()), 0);
      in_range(0, INT_MAX, name("PoissonV", mu));
    }
    for (int32_t t : {0, 1, -1, 1000, INT_MAX, INT_MIN})
      for (double p : {0.0, -0.0, 1e-300, 1e-12, 0.5, 1 - 1e-16, 1.0, 1 + 1e-16, -1.0, inf, nan}) {
        ASSERT_EQ(_vqsiRngBinomial(method, s, n, r.data(), t, p), 0);
        in_range(0, t, name("Binomial", t, p));
        if (t >= 0 && p == 0)
          for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], 0);
        }
        if (t >= 0 && p == 1)
          for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], t);
        }
      }
    const int32_t sizes[] = {0, 1, 2, 10, 1000, INT_MAX, -1, INT_MIN};
    for (int32_t pop : sizes)
      for (int32_t succ : sizes)
        for (int32_t d : sizes) {
          ASSERT_EQ(_vqsiRngHypergeometric(method, s, n, r.data(), pop, succ, d), 0);
          const bool ok = pop >= 0 && succ >= 0 && succ <= pop && d >= 0 && d <= pop;
          in_range(ok ? std::max<int64_t>(0, int64_t(d) - (int64_t(pop) - succ)) : 0,
                   ok ? std::min(succ, d) : INT_MAX, name("Hypergeometric", pop, succ, d));
        }
  }
  for (double a : {0.0, -1.0, 1e-300, 1e-6, 1e6, 1e300, inf, nan})
    for (double p : {0.0, 1e-300, 1e-9, 0.5, 1.0, 1.5, -0.5, nan}) {
      ASSERT_EQ(_vqsiRngNegbinomial(0, s, n, r.data(), a, p), 0);
      in_range(0, INT_MAX, name("Negbinomial", a, p));
      if (!(a > 0 && a < inf && p > 0 && p <= 1))
        for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], INT_MAX);
        }
      if (p == 1 && a > 0 && a < inf)
        for (int i = 0; i < n; ++i) {
          ASSERT_EQ(r[i], 0);
        }
    }
}

TEST(Counts, StatusOfTheBasicGeneratorComesBack) {
  double buf[3] = {0.1, 0.2, 0.3};
  auto no_more = [](void*, unsigned*, double*, unsigned*, unsigned*, unsigned*) { return 0; };
  const double mu[10] = {1, 2, 3, 50, 60, 70, 1, 2, 3, 4};
  const double pm[2] = {0.5, 0.5};
  const std::vector<std::function<int(void*, int32_t*)>> calls = {
      [](void* s, int32_t* r) { return _vqsiRngPoisson(0, s, 10, r, 3.0); },
      [](void* s, int32_t* r) { return _vqsiRngPoisson(0, s, 10, r, 300.0); },
      [&](void* s, int32_t* r) { return _vqsiRngPoissonV(0, s, 10, r, mu); },
      [](void* s, int32_t* r) { return _vqsiRngBinomial(0, s, 10, r, 1000, 0.5); },
      [](void* s, int32_t* r) { return _vqsiRngHypergeometric(0, s, 10, r, 1000, 500, 500); },
      [&](void* s, int32_t* r) { return _vqsiRngMultinomial(0, s, 5, r, 10, 2, pm); },
      [](void* s, int32_t* r) { return _vqsiRngNegbinomial(0, s, 10, r, 2.0, 0.5); },
  };
  int which = 0;
  for (const auto& call : calls) {
    void* st = nullptr;
    ASSERT_EQ(__vqsdNewAbstractStream(&st, 3, buf, 0.0, 1.0, no_more), 0);
    int32_t r[10];
    EXPECT_EQ(call(st, r), ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT) << which++;
    __vqsDeleteStream(&st);
  }
}

}  // namespace
