// Gamma, ChiSquare and Beta: Kolmogorov-Smirnov against GSL's distribution
// functions and the first four moments against their closed forms, single
// and double, from tiny to huge shapes; the split rule; parameters at and
// beyond the ends of their domains.
#include <gtest/gtest.h>
#include <gsl/gsl_cdf.h>

#include <cerrno>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gsl/gsl_errno.h>

#include "fit_support.h"
#include "guarded.h"
#include "zev/zev_vqm.h"

namespace {

using disttest::Stream;
using disttest::seed;

constexpr double kAlpha = 1e-6;  // p-value below which a fit fails

struct Case {
  std::string name;
  std::function<int(void*, int, double*)> d;
  std::function<int(void*, int, float*)> f;
  std::function<double(double)> cdf;
  disttest::Moments m;
  bool check_moments;  // false where the fourth moment's error estimate is not to be trusted
  bool same_in_single;  // the parameters are floats: the single call rounds the double one
  bool single_fit;      // float resolves the distribution: no ties from rounding
};

std::vector<Case> cases() {
  gsl_set_error_handler_off();  // a failing GSL function gives NaN, which fails the test
  std::vector<Case> v;
  // GSL's gamma distribution function is accurate up to a = 1e4 (at 1e6 it
  // leaves [0, 1] in the tails, at 1e8 it is off by 0.07 at the mean plus
  // one deviation); larger shapes are checked by their moments only.
  for (double a : {0.01, 0.3, 0.999, 1.0, 2.5, 30.0, 1e4, 1e6, 1e12}) {
    // Shapes below 1 put much mass below an ulp of 1: no shift there.
    const double loc = a < 1 ? 0.0 : 1.0, scale = 2.0;
    v.push_back({"Gamma a=" + std::to_string(a),
                 [=](void* s, int n, double* r) { return _vqsdRngGamma(0, s, n, r, a, loc, scale); },
                 [=](void* s, int n, float* r) { return _vqssRngGamma(0, s, n, r, float(a), float(loc), float(scale)); },
                 a <= 1e4 ? std::function<double(double)>([=](double x) { return gsl_cdf_gamma_P(x - loc, a, scale); })
                          : nullptr,
                 disttest::from_shape(loc + a * scale, a * scale * scale, 2 / std::sqrt(a), 6 / a), a >= 0.3,
                 float(a) == a, a >= 0.1 && a <= 1e4});
  }
  for (double df : {1.0, 3.0, 10.0}) {
    v.push_back({"ChiSquare df=" + std::to_string(df),
                 [=](void* s, int n, double* r) { return _vqsdRngChiSquare(0, s, n, r, df, 0.0, 1.0); },
                 [=](void* s, int n, float* r) { return _vqssRngChiSquare(0, s, n, r, float(df), 0.0f, 1.0f); },
                 [=](double x) { return gsl_cdf_chisq_P(x, df); },
                 disttest::from_shape(df, 2 * df, std::sqrt(8 / df), 12 / df), true, true, true});
  }
  struct AB {
    double a, b;
  };
  // Shapes below 1 put mass within an ulp of 0 or 1, where a shift by loc
  // would make values tie: those run unshifted. Below 0.2 so much mass lies
  // within an ulp of 1 that the rounded values tie in double, below 0.5 in
  // single (and below 0.2 too much underflows in single); Beta(a, b) with a < 0.03 cannot be checked by a distribution
  // function at all.
  for (AB p : {AB{2, 3}, AB{0.5, 0.5}, AB{1, 1}, AB{0.2, 5}, AB{5, 0.2}, AB{50, 0.8}, AB{1.5, 1.01},
               AB{1e4, 2e4}, AB{0.2, 0.2}, AB{0.03, 2}}) {
    const bool small = std::min(p.a, p.b) < 1;
    const double a = p.a, b = p.b, loc = small ? 0.0 : -1.0, scale = small ? 1.0 : 3.0, s = a + b;
    const double mean = a / s, var = a * b / (s * s * (s + 1));
    const double skew = 2 * (b - a) * std::sqrt(s + 1) / ((s + 2) * std::sqrt(a * b));
    const double exk = 6 * ((a - b) * (a - b) * (s + 1) - a * b * (s + 2)) / (a * b * (s + 2) * (s + 3));
    v.push_back({"Beta a=" + std::to_string(a) + " b=" + std::to_string(b),
                 [=](void* st, int n, double* r) { return _vqsdRngBeta(0, st, n, r, a, b, loc, scale); },
                 [=](void* st, int n, float* r) {
                   return _vqssRngBeta(0, st, n, r, float(a), float(b), float(loc), float(scale));
                 },
                 [=](double x) { return gsl_cdf_beta_P((x - loc) / scale, a, b); },
                 disttest::from_shape(loc + scale * mean, scale * scale * var, skew, exk),
                 std::min(a, b) >= 0.2, float(a) == a && float(b) == b, b >= 0.5 && a >= 0.2});
  }
  return v;
}

template <class T>
void ks_fit(const Case& c, const std::vector<T>& x, const std::string& what) {
  if (!c.cdf) return;
  const double ks = disttest::ks_statistic(x, c.cdf);
  EXPECT_GT(disttest::ks_pvalue(ks, x.size()), kAlpha) << what << " D = " << ks;
}

template <class T>
void expect_fit(const Case& c, const std::vector<T>& x, const std::string& what) {
  ks_fit(c, x, what);
  if (c.check_moments) disttest::expect_moments(x, c.m, what);
}

TEST(GammaBeta, FitsTheExactDistribution) {
  const int n = 200000;
  for (const Case& c : cases()) {
    Stream sd(ZEV_BRNG_MT19937, {seed(20261125)}), sf(ZEV_BRNG_PHILOX4X32X10, {seed(41)});
    std::vector<double> x(n);
    ASSERT_EQ(c.d(sd, n, x.data()), 0);
    expect_fit(c, x, c.name + " double");
    std::vector<float> y(n);
    ASSERT_EQ(c.f(sf, n, y.data()), 0);
    // Single precision: the fit only (rounding to float moves the moments of
    // the narrow cases by more than their standard errors allow).
    if (c.single_fit) ks_fit(c, y, c.name + " single");
  }
}

TEST(GammaBeta, FitsOnGeneratorsOfOtherLattices) {
  const int n = 60000;
  for (int id : {ZEV_BRNG_MCG31M1, ZEV_BRNG_MCG59, ZEV_BRNG_MRG32K3A})
    for (const Case& c : cases()) {
      Stream s(id, {seed(987654)});
      std::vector<double> x(n);
      ASSERT_EQ(c.d(s, n, x.data()), 0);
      ks_fit(c, x, c.name + " generator " + std::to_string(id >> 20));
    }
}

TEST(GammaBeta, OneCallGivesWhatPiecesGive) {
  const int n = 3000;
  const int pieces[] = {1, 511, 513, 1, 1974};
  for (const Case& c : cases()) {
    Stream a(ZEV_BRNG_MT19937, {5}), b(ZEV_BRNG_MT19937, {5}), e(ZEV_BRNG_MT19937, {5});
    std::vector<double> x(n), y(n);
    std::vector<float> z(n);
    ASSERT_EQ(c.d(a, n, x.data()), 0);
    int at = 0;
    for (int p : pieces) {
      ASSERT_EQ(c.d(b, p, y.data() + at), 0);
      at += p;
    }
    EXPECT_EQ(x, y) << c.name;
    ASSERT_EQ(c.f(e, n, z.data()), 0);
    if (c.same_in_single)
      for (int i = 0; i < n; ++i) {
          ASSERT_EQ(z[i], float(x[i])) << c.name << " single rounds the double";
        }
    unsigned wa, wb;
    _vqsiRngUniformBits(0, a, 1, &wa);
    _vqsiRngUniformBits(0, b, 1, &wb);
    EXPECT_EQ(wa, wb) << c.name;
  }
}

TEST(GammaBeta, ParametersOutsideTheirDomainsAreSafe) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  const double shapes[] = {0.0, -0.0, -1.0, 1e-310, 1e-300, 1e-20, 1e20, 1e300, inf, -inf, nan};
  const double locs[] = {0.0, -inf, nan};
  const int n = 700;
  _vqmClearErrStatus();
  const unsigned mode = _vqmGetMode();
  errno = 0;
  Stream s(ZEV_BRNG_MT19937, {1});
  zevtest::Guarded<double> r(n, 4);
  zevtest::Guarded<float> rf(n, 4);
  // Outside a domain every value is NaN, in double and single apart.
  auto check = [&](bool domain, bool domain_f, const std::string& what) {
    ASSERT_TRUE(r.lead_intact() && rf.lead_intact()) << what;
    for (int i = 0; i < n; ++i) {
      ASSERT_TRUE(domain || std::isnan(r[i])) << what;
      ASSERT_TRUE(domain_f || std::isnan(rf[i])) << what;
    }
  };
  for (double a : shapes) {
    const bool ok = a > 0 && a < inf;
    for (double loc : locs) {
      ASSERT_EQ(_vqsdRngGamma(0, s, n, r.data(), a, loc, 1.0), 0);
      ASSERT_EQ(_vqssRngGamma(0, s, n, rf.data(), float(a), float(loc), 1.0f), 0);
      check(ok, float(a) > 0 && float(a) < inf, "Gamma " + std::to_string(a));
      if (ok && loc == 0)
        for (int i = 0; i < n; ++i) {
          ASSERT_TRUE(r[i] >= 0 && r[i] < inf) << a;
        }
      ASSERT_EQ(_vqsdRngChiSquare(0, s, n, r.data(), a, loc, 1.0), 0);
      ASSERT_EQ(_vqssRngChiSquare(0, s, n, rf.data(), float(a), float(loc), 1.0f), 0);
      check(ok, float(a) > 0 && float(a) < inf, "ChiSquare " + std::to_string(a));
    }
    for (double b : shapes) {
      const bool okb = ok && b > 0 && b < inf;
      ASSERT_EQ(_vqsdRngBeta(0, s, n, r.data(), a, b, 0.0, 1.0), 0);
      ASSERT_EQ(_vqssRngBeta(0, s, n, rf.data(), float(a), float(b), 0.0f, 1.0f), 0);
      check(okb, float(a) > 0 && float(a) < inf && float(b) > 0 && float(b) < inf,
            "Beta " + std::to_string(a) + " " + std::to_string(b));
      if (okb)
        for (int i = 0; i < n; ++i) {
          ASSERT_TRUE(r[i] >= 0 && r[i] <= 1) << a << " " << b << " " << r[i];
        }
    }
  }
  EXPECT_EQ(_vqmGetErrStatus(), 0);
  EXPECT_EQ(_vqmGetMode(), mode);
  EXPECT_EQ(errno, 0);
}

TEST(GammaBeta, StatusOfTheBasicGeneratorComesBack) {
  double buf[3] = {0.1, 0.2, 0.3};
  auto no_more = [](void*, unsigned*, double*, unsigned*, unsigned*, unsigned*) { return 0; };
  for (const Case& c : cases()) {
    void* st = nullptr;
    ASSERT_EQ(__vqsdNewAbstractStream(&st, 3, buf, 0.0, 1.0, no_more), 0);
    std::vector<double> r(10);
    EXPECT_EQ(c.d(st, 10, r.data()), ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT) << c.name;
    __vqsDeleteStream(&st);
  }
}

}  // namespace
