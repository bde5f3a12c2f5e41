// Continuous distributions: fit to the exact CDF (Kolmogorov-Smirnov) and to
// the exact first two moments, at fixed seeds on several generators; the
// split rule; single against double on the same uniforms; the accurate forms
// in the far tail against a long-double reference; and parameters at and
// beyond the ends of their domains.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "dist_support.h"
#include "guarded.h"
#include "zev/zev_vqm.h"

namespace {

using disttest::Stream;
using disttest::seed;
constexpr double kPi = 3.14159265358979323846;
constexpr double kEuler = 0.57721566490153286061;
constexpr int kAcc = ZEV_RNG_METHOD_ACCURATE;

using DCall = std::function<int(int, void*, int, double*)>;
using FCall = std::function<int(int, void*, int, float*)>;

struct Dist {
  std::string name;
  DCall d;
  FCall f;
  std::function<double(double)> cdf;
  double mean, var, kurtosis;  // NaN when the moment does not exist
};

double weibull_moment(double c, int k) { return std::tgamma(1.0 + k / c); }

std::vector<Dist> distributions() {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<Dist> v;
  {
    const double loc = 1.5, s = 2.0;
    v.push_back({"Exponential",
                 [=](int m, void* st, int n, double* r) { return _vqsdRngExponential(m, st, n, r, loc, s); },
                 [=](int m, void* st, int n, float* r) { return _vqssRngExponential(m, st, n, r, loc, s); },
                 [=](double x) { return x < loc ? 0.0 : -std::expm1(-(x - loc) / s); }, loc + s, s * s, 9.0});
  }
  {
    const double loc = -3.0, s = 0.5;
    v.push_back({"Laplace",
                 [=](int m, void* st, int n, double* r) { return _vqsdRngLaplace(m, st, n, r, loc, s); },
                 [=](int m, void* st, int n, float* r) { return _vqssRngLaplace(m, st, n, r, loc, s); },
                 [=](double x) {
                   return x < loc ? 0.5 * std::exp((x - loc) / s) : 1 - 0.5 * std::exp(-(x - loc) / s);
                 },
                 loc, 2 * s * s, 6.0});
  }
  for (double c : {2.0, 0.7}) {
    const double loc = 0.25, s = 3.0;
    const double g1 = weibull_moment(c, 1), g2 = weibull_moment(c, 2), g3 = weibull_moment(c, 3),
                 g4 = weibull_moment(c, 4);
    const double var = g2 - g1 * g1;
    const double m4 = g4 - 4 * g3 * g1 + 6 * g2 * g1 * g1 - 3 * g1 * g1 * g1 * g1;
    v.push_back({"Weibull c=" + std::to_string(c),
                 [=](int m, void* st, int n, double* r) { return _vqsdRngWeibull(m, st, n, r, c, loc, s); },
                 [=](int m, void* st, int n, float* r) { return _vqssRngWeibull(m, st, n, r, c, loc, s); },
                 [=](double x) { return x < loc ? 0.0 : -std::expm1(-std::pow((x - loc) / s, c)); },
                 loc + s * g1, s * s * var, m4 / (var * var)});
  }
  {
    const double loc = 10.0, s = 0.1;
    v.push_back({"Cauchy",
                 [=](int m, void* st, int n, double* r) { return _vqsdRngCauchy(m, st, n, r, loc, s); },
                 [=](int m, void* st, int n, float* r) { return _vqssRngCauchy(m, st, n, r, loc, s); },
                 [=](double x) { return 0.5 + std::atan((x - loc) / s) / kPi; }, nan, nan, nan});
  }
  {
    const double loc = -1.0, s = 1.5;
    v.push_back({"Rayleigh",
                 [=](int m, void* st, int n, double* r) { return _vqsdRngRayleigh(m, st, n, r, loc, s); },
                 [=](int m, void* st, int n, float* r) { return _vqssRngRayleigh(m, st, n, r, loc, s); },
                 [=](double x) {
                   const double z = (x - loc) / s;
                   return x < loc ? 0.0 : -std::expm1(-z * z / 2);
                 },
                 loc + s * std::sqrt(kPi / 2), (4 - kPi) / 2 * s * s,
                 (-6 * kPi * kPi + 24 * kPi - 16) / ((4 - kPi) * (4 - kPi)) + 3});
  }
  {
    const double loc = 2.0, s = 4.0;
    v.push_back({"Gumbel",
                 [=](int m, void* st, int n, double* r) { return _vqsdRngGumbel(m, st, n, r, loc, s); },
                 [=](int m, void* st, int n, float* r) { return _vqssRngGumbel(m, st, n, r, loc, s); },
                 [=](double x) { return std::exp(-std::exp(-(x - loc) / s)); }, loc + s * kEuler,
                 kPi * kPi / 6 * s * s, 5.4});
  }
  return v;
}

// p-value below which a fit fails. With about a hundred fits in the suite,
// a correct generator fails somewhere with probability near 1e-4 per seed.
constexpr double kAlpha = 1e-6;
// Moments: within this many standard errors.
constexpr double kSigmas = 5.5;

template <class T>
void expect_fit(const Dist& d, const std::vector<T>& x, const std::string& what) {
  const double ks = disttest::ks_statistic(x, d.cdf);
  EXPECT_GT(disttest::ks_pvalue(ks, x.size()), kAlpha) << what << " D = " << ks;
  if (std::isnan(d.mean)) return;
  double mean, var;
  disttest::moments(x, mean, var);
  const double n = double(x.size());
  EXPECT_NEAR(mean, d.mean, kSigmas * std::sqrt(d.var / n)) << what;
  EXPECT_NEAR(var, d.var, kSigmas * d.var * std::sqrt((d.kurtosis - 1) / n)) << what;
}


TEST(Continuous, FitsTheExactDistribution) {
  const int n = 250000;
  for (const Dist& d : distributions()) {
    for (int method : {0, kAcc}) {
      const std::string m = method ? " accurate" : "";
      Stream sd(ZEV_BRNG_MT19937, {seed(20261125)}), sf(ZEV_BRNG_SFMT19937, {seed(77)});
      std::vector<double> x(n);
      std::vector<float> y(n);
      ASSERT_EQ(d.d(method, sd, n, x.data()), 0);
      ASSERT_EQ(d.f(method, sf, n, y.data()), 0);
      expect_fit(d, x, d.name + " double" + m);
      expect_fit(d, y, d.name + " single" + m);
    }
  }
}

TEST(Continuous, FitsOnGeneratorsOfOtherLattices) {
  // MCG31M1 steps by 1/(2^31 - 1), MCG59 by 2^-59, PHILOX takes its words signed.
  const int n = 100000;
  for (int id : {ZEV_BRNG_MCG31M1, ZEV_BRNG_MCG59, ZEV_BRNG_PHILOX4X32X10, ZEV_BRNG_MRG32K3A})
    for (const Dist& d : distributions()) {
      Stream s(id, {seed(987654)});
      std::vector<double> x(n);
      ASSERT_EQ(d.d(0, s, n, x.data()), 0);
      expect_fit(d, x, d.name + " on generator " + std::to_string(id >> 20));
    }
}

TEST(Continuous, OneCallGivesWhatPiecesGive) {
  const int n = 3000;
  const int pieces[] = {1, 1024, 975, 1000};
  for (const Dist& d : distributions())
    for (int method : {0, kAcc}) {
      Stream a(ZEV_BRNG_MT19937, {5}), b(ZEV_BRNG_MT19937, {5}), c(ZEV_BRNG_MT19937, {5}),
          e(ZEV_BRNG_MT19937, {5});
      std::vector<double> x(n), y(n);
      std::vector<float> fx(n), fy(n);
      ASSERT_EQ(d.d(method, a, n, x.data()), 0);
      ASSERT_EQ(d.f(method, c, n, fx.data()), 0);
      int at = 0;
      for (int p : pieces) {
        ASSERT_EQ(d.d(method, b, p, y.data() + at), 0);
        ASSERT_EQ(d.f(method, e, p, fy.data() + at), 0);
        at += p;
      }
      EXPECT_EQ(std::memcmp(x.data(), y.data(), n * sizeof(double)), 0) << d.name << method;
      EXPECT_EQ(std::memcmp(fx.data(), fy.data(), n * sizeof(float)), 0) << d.name << method;
    }
}

TEST(Continuous, SingleAndDoubleUseTheSameUniforms) {
  const int n = 2000;
  for (const Dist& d : distributions())
    for (int method : {0, kAcc}) {
      Stream a(ZEV_BRNG_MT19937, {9}), b(ZEV_BRNG_MT19937, {9});
      std::vector<double> x(n);
      std::vector<float> y(n);
      ASSERT_EQ(d.d(method, a, n, x.data()), 0);
      ASSERT_EQ(d.f(method, b, n, y.data()), 0);
      int bad = 0;
      for (int k = 0; k < n; ++k) {
        const bool ok = std::fabs(y[k] - x[k]) <= 2e-6 * std::fabs(x[k]) + 2e-6;
        if (!ok && bad < 3) ADD_FAILURE() << d.name << " " << x[k] << " " << y[k];
        bad += !ok;
      }
      EXPECT_EQ(bad, 0) << d.name << " method " << method;
      unsigned wa, wb;
      _vqsiRngUniformBits(0, a, 1, &wa);
      _vqsiRngUniformBits(0, b, 1, &wb);
      EXPECT_EQ(wa, wb) << d.name << ": one uniform a variate in both";
    }
}

// The accurate forms keep full relative precision where 1 - u cancels: fed
// uniforms of our choosing through an abstract stream, they must match a
// long-double evaluation of the same formula on the same argument.
TEST(Continuous, AccurateFormsKeepTheTail) {
  const double u[] = {1e-16, 3e-13, 1e-9, 2.5e-5, 0.3, 0.75, 1 - 1e-9};
  const int n = int(std::size(u));
  double buf[std::size(u)];
  std::memcpy(buf, u, sizeof buf);
  auto no_more = [](void*, unsigned*, double*, unsigned*, unsigned*, unsigned*) { return 0; };
  const double loc = 0.0, s = 1.0;
  for (int which = 0; which < 2; ++which) {
    void* st = nullptr;
    ASSERT_EQ(__vqsdNewAbstractStream(&st, n, buf, 0.0, 1.0, no_more), 0);
    double r[std::size(u)];
    if (which == 0)
      ASSERT_EQ(_vqsdRngExponential(kAcc, st, n, r, loc, s), 0);
    else
      ASSERT_EQ(_vqsdRngGumbel(kAcc, st, n, r, loc, s), 0);
    for (int k = 0; k < n; ++k) {
      const double x = -u[k] - 0x1p-33;  // the argument, as the generator forms it
      const long double e = -log1pl((long double)x);
      const long double want = which == 0 ? e : -logl(e);
      const double tol = 4 * std::numeric_limits<double>::epsilon() * std::max(1.0L, fabsl(want));
      EXPECT_NEAR(r[k], double(want), tol) << (which ? "Gumbel" : "Exponential") << " u = " << u[k];
    }
    __vqsDeleteStream(&st);
  }
}

// Each fast form is its formula applied to the generator's own words: on
// MT19937, u = w 2^-32 exactly, and the shifted lattice of the inverse
// transforms is exact too, so a long-double evaluation is the reference.
TEST(Continuous, FastFormsFollowTheirFormulaOnTheWords) {
  const int n = 3000;
  Stream sw(ZEV_BRNG_MT19937, {17});
  std::vector<unsigned> w(n);
  ASSERT_EQ(_vqsiRngUniformBits(0, sw, n, w.data()), 0);
  struct Case {
    const char* name;
    std::function<int(void*, int, double*)> call;
    std::function<long double(long double)> f;  // of u = w 2^-32
    double ulps;  // of max(|value|, floor)
    double floor;
  };
  const long double h = 0x1p-33L, pi = 3.141592653589793238462643383279503L;
  const Case cases[] = {
      {"Exponential", [](void* s, int m, double* r) { return _vqsdRngExponential(0, s, m, r, 0.0, 1.0); },
       [=](long double u) { return -logl(1 - h - u); }, 0.51, 0},
      {"Rayleigh", [](void* s, int m, double* r) { return _vqsdRngRayleigh(0, s, m, r, 0.0, 1.0); },
       [=](long double u) { return sqrtl(-2 * logl(1 - h - u)); }, 1, 0},
      {"Gumbel", [](void* s, int m, double* r) { return _vqsdRngGumbel(0, s, m, r, 0.0, 1.0); },
       [=](long double u) { return -logl(-logl(1 - h - u)); }, 8, 1},
      {"Laplace", [](void* s, int m, double* r) { return _vqsdRngLaplace(0, s, m, r, 0.0, 1.0); },
       [=](long double u) {
         const long double v = 2 * u - 1 + 2 * h;
         return v < 0 ? logl(1 + v) : -logl(1 - v);
       }, 4, 0},
      {"Cauchy", [](void* s, int m, double* r) { return _vqsdRngCauchy(0, s, m, r, 0.0, 1.0); },
       [=](long double u) { return tanl(pi * (u + h - 0.5L)); }, 6, 0},
      {"Weibull c=3", [](void* s, int m, double* r) { return _vqsdRngWeibull(0, s, m, r, 3.0, 0.0, 1.0); },
       [=](long double u) { return powl(-logl(1 - h - u), 1.0L / 3); }, 16, 0},
  };
  for (const Case& c : cases) {
    Stream s(ZEV_BRNG_MT19937, {17});
    std::vector<double> r(n);
    ASSERT_EQ(c.call(s, n, r.data()), 0);
    int bad = 0;
    for (int k = 0; k < n; ++k) {
      const long double want = c.f(w[k] * 0x1p-32L);
      const double ulp = std::ldexp(1.0, std::ilogb(std::max(std::fabs(double(want)), c.floor)) - 52);
      if (!(fabsl(r[k] - want) <= c.ulps * ulp + 1e-300)) {
        if (bad < 3) ADD_FAILURE() << c.name << " w = " << w[k] << ": " << r[k] << " want " << double(want);
        ++bad;
      }
    }
    EXPECT_EQ(bad, 0) << c.name;
  }
}

// The fast forms of Exponential and Rayleigh in double do their arithmetic
// at round to nearest without flushing, whatever the caller's MXCSR holds,
// and give the caller's control bits back.
TEST(Continuous, FastFormsIgnoreTheCallersRoundingAndFlushing) {
  const int n = 2000;
  using LS = int (*)(int, void*, int, double*, double, double);
  for (LS call : {LS(_vqsdRngExponential), LS(_vqsdRngRayleigh)}) {
    Stream a(ZEV_BRNG_MT19937, {3}), b(ZEV_BRNG_MT19937, {3});
    std::vector<double> x(n), y(n);
    ASSERT_EQ(call(0, a, n, x.data(), 0.5, 2.0), 0);
    const unsigned csr = _mm_getcsr();
    const unsigned odd = (csr & ~0x3Fu) | 0xE040u;  // toward zero, flush to zero, denormals are zero
    _mm_setcsr(odd);
    const int st = call(0, b, n, y.data(), 0.5, 2.0);
    const unsigned after = _mm_getcsr();
    _mm_setcsr(csr);
    ASSERT_EQ(st, 0);
    EXPECT_EQ(after & ~0x3Fu, odd);
    EXPECT_EQ(std::memcmp(x.data(), y.data(), n * sizeof(double)), 0);
  }
}

TEST(Continuous, StatusOfTheBasicGeneratorComesBack) {
  double buf[3] = {0.1, 0.2, 0.3};
  auto no_more = [](void*, unsigned*, double*, unsigned*, unsigned*, unsigned*) { return 0; };
  for (const Dist& d : distributions()) {
    void* st = nullptr;
    ASSERT_EQ(__vqsdNewAbstractStream(&st, 3, buf, 0.0, 1.0, no_more), 0);
    std::vector<double> r(10);
    EXPECT_EQ(d.d(0, st, 10, r.data()), ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT) << d.name;
    __vqsDeleteStream(&st);
  }
}

// Parameters at and past the ends of every domain: each call ends, returns
// 0, writes only r[0..n), and leaves the caller's vector-math mode, status
// and errno as they were.
TEST(Continuous, ParametersOutsideTheirDomainsAreSafe) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double values[] = {0.0, -0.0, -1.0, 1e-310, 1e-300, 1e300, inf, -inf, nan};
  const int n = 1100;
  using LS = int (*)(int, void*, int, double*, double, double);
  using LSf = int (*)(int, void*, int, float*, float, float);
  const LS d2[] = {_vqsdRngExponential, _vqsdRngLaplace, _vqsdRngCauchy, _vqsdRngRayleigh, _vqsdRngGumbel};
  const LSf f2[] = {_vqssRngExponential, _vqssRngLaplace, _vqssRngCauchy, _vqssRngRayleigh, _vqssRngGumbel};
  _vqmClearErrStatus();
  const unsigned mode = _vqmGetMode();
  errno = 0;
  Stream s(ZEV_BRNG_MT19937, {1});
  zevtest::Guarded<double> r(n, 4);
  zevtest::Guarded<float> rf(n, 4);
  for (int method : {0, kAcc})
    for (double a : values)
      for (double b : values) {
        for (int k = 0; k < 5; ++k) {
          ASSERT_EQ(d2[k](method, s, n, r.data(), a, b), 0);
          ASSERT_EQ(f2[k](method, s, n, rf.data(), float(a), float(b)), 0);
        }
        if (b == 0 && !std::isnan(a) && !std::isinf(a)) {
          ASSERT_EQ(_vqsdRngExponential(method, s, n, r.data(), a, b), 0);
          for (int k = 0; k < n; ++k) ASSERT_EQ(r[k], a);
        }
        for (double c : values) {
          ASSERT_EQ(_vqsdRngWeibull(method, s, n, r.data(), c, a, b), 0);
          ASSERT_EQ(_vqssRngWeibull(method, s, n, rf.data(), float(c), float(a), float(b)), 0);
          if (!(c > 0 && c < inf)) {
            for (int k = 0; k < n; ++k) ASSERT_TRUE(std::isnan(r[k]) && std::isnan(rf[k]));
          }
        }
        ASSERT_TRUE(r.lead_intact() && rf.lead_intact());
      }
  // Shapes at the edge of what the power can hold: 1/c overflows or is huge.
  for (double c : {1e-300, 1e-5, 1e-3, 1e5, 1e300}) {
    ASSERT_EQ(_vqsdRngWeibull(0, s, n, r.data(), c, 0.0, 1.0), 0);
    for (int k = 0; k < n; ++k) ASSERT_TRUE(r[k] >= 0) << c;
  }
  EXPECT_EQ(_vqmGetErrStatus(), 0);
  EXPECT_EQ(_vqmGetMode(), mode);
  EXPECT_EQ(errno, 0);
}

TEST(Continuous, CountsOfZeroAndBelowWriteNothing) {
  Stream s(ZEV_BRNG_MT19937, {1}), t(ZEV_BRNG_MT19937, {1});
  for (const Dist& d : distributions()) {
    EXPECT_EQ(d.d(0, s, 0, nullptr), 0);
    EXPECT_EQ(d.f(kAcc, s, -3, nullptr), 0);
  }
  unsigned ws, wt;
  _vqsiRngUniformBits(0, s, 1, &ws);
  _vqsiRngUniformBits(0, t, 1, &wt);
  EXPECT_EQ(ws, wt);
}

}  // namespace
