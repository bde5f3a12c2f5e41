// Discrete distributions: chi-square of binned counts against the exact
// probabilities, exact moments, the split rule, and parameter edges.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "dist_support.h"
#include "guarded.h"

namespace {

using disttest::Stream;
using disttest::seed;


// Chi-square over k = 1, 2, ... with the tail pooled where its expected
// count falls under 20.
void expect_geometric_fit(const std::vector<int32_t>& x, double p) {
  const double n = double(x.size());
  std::vector<double> expected, observed;
  double tail = 1.0;  // P(K >= k)
  int k = 1;
  while (tail * n >= 40) {
    const double pk = std::pow(1 - p, k - 1) * p;
    expected.push_back(pk * n);
    tail -= pk;
    ++k;
  }
  expected.push_back(tail * n);
  observed.assign(expected.size(), 0);
  const int last = int(expected.size());
  for (int32_t v : x) {
    ASSERT_GE(v, 1);
    observed[std::min(v, last) - 1] += 1;
  }
  if (expected.size() > 1) {
    EXPECT_LT(disttest::chi2_z(observed, expected), 4.75) << "p = " << p;
  }
  double mean, var;
  disttest::moments(x, mean, var);
  const double m = 1 / p, v = (1 - p) / (p * p);
  EXPECT_NEAR(mean, m, 5.5 * std::sqrt(v / n) + 1e-12) << p;
}

TEST(Discrete, GeometricFitsTheExactProbabilities) {
  const int n = 300000;
  for (double p : {0.9, 0.5, 0.3, 0.05, 0.001})
    for (int id : {ZEV_BRNG_MT19937, ZEV_BRNG_MCG31M1}) {
      Stream s(id, {seed(31337)});
      std::vector<int32_t> x(n);
      ASSERT_EQ(_vqsiRngGeometric(0, s, n, x.data(), p), 0);
      expect_geometric_fit(x, p);
    }
}

TEST(Discrete, BernoulliFitsItsProbability) {
  const int n = 400000;
  for (double p : {0.5, 0.3, 0.01, 1e-4})
    for (int id : {ZEV_BRNG_MT19937, ZEV_BRNG_MCG59}) {
      Stream s(id, {seed(2024)});
      std::vector<int32_t> x(n);
      ASSERT_EQ(_vqsiRngBernoulli(0, s, n, x.data(), p), 0);
      double ones = 0;
      for (int32_t v : x) {
        ASSERT_TRUE(v == 0 || v == 1);
        ones += v;
      }
      EXPECT_NEAR(ones / n, p, 5.5 * std::sqrt(p * (1 - p) / n)) << p;
    }
}

TEST(Discrete, OneCallGivesWhatPiecesGive) {
  const int n = 3000;
  const int pieces[] = {1, 1024, 1, 1974};
  for (int which = 0; which < 2; ++which) {
    Stream a(ZEV_BRNG_SFMT19937, {8}), b(ZEV_BRNG_SFMT19937, {8});
    std::vector<int32_t> x(n), y(n);
    auto call = [&](void* s, int m, int32_t* r) {
      return which ? _vqsiRngGeometric(0, s, m, r, 0.2) : _vqsiRngBernoulli(0, s, m, r, 0.37);
    };
    ASSERT_EQ(call(a, n, x.data()), 0);
    int at = 0;
    for (int p : pieces) {
      ASSERT_EQ(call(b, p, y.data() + at), 0);
      at += p;
    }
    EXPECT_EQ(x, y) << which;
  }
}

TEST(Discrete, ParameterEdges) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    double p;
    int32_t bernoulli;  // every value, or -1 when values vary
    int32_t geometric;
  };
  const Case cases[] = {
      {0.0, 0, INT_MAX},  {-0.0, 0, INT_MAX},  {-1.0, 0, INT_MAX}, {-inf, 0, INT_MAX},
      {nan, 0, INT_MAX},  {1.0, 1, 1},         {1.5, 1, INT_MAX},  {inf, 1, INT_MAX},
      {1e-300, 0, INT_MAX}, {1e-320, 0, INT_MAX}, {1 - 1e-16, -1, -1}, {1e-9, -1, -1},
  };
  const int n = 1500;
  Stream s(ZEV_BRNG_MT19937, {1});
  zevtest::Guarded<int32_t> r(n, 4);
  for (const Case& c : cases) {
    ASSERT_EQ(_vqsiRngBernoulli(0, s, n, r.data(), c.p), 0);
    if (c.bernoulli >= 0) {
      for (int k = 0; k < n; ++k) ASSERT_EQ(r[k], c.bernoulli) << c.p;
    }
    ASSERT_EQ(_vqsiRngGeometric(0, s, n, r.data(), c.p), 0);
    for (int k = 0; k < n; ++k) {
      if (c.geometric >= 0) {
        ASSERT_EQ(r[k], c.geometric) << c.p;
      }
      ASSERT_GE(r[k], 1) << c.p;
    }
    ASSERT_TRUE(r.lead_intact());
  }
}

}  // namespace
