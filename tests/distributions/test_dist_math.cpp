// The scalar logarithm and exponential of the generators' accept/reject
// tests against the C library's long double functions: within 1 ulp over
// random arguments of every binade, and the special arguments.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "distributions/dist_math.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// |got - ref| in units of the last place of ref rounded to double.
double ulps(double got, long double ref) {
  const double r = double(ref);
  if (r == 0) return got == 0 ? 0 : kInf;
  int e;
  std::frexp(r, &e);
  const long double ulp = std::ldexp(1.0L, std::max(e - 53, -1074));
  return double(std::fabs((long double)got - ref) / ulp);
}

struct Fn {
  const char* name;
  double (*ours)(double);
  long double (*ref)(long double);
  double lo, hi;  // random arguments: lo + (hi - lo) u, or log-uniform when lo > 0
  bool log_uniform;
};

double ours_ln(double x) { return zev::dist::ln(x); }
double ours_log1p(double x) { return zev::dist::log1p(x); }
double ours_exp(double x) { return zev::dist::exp(x); }
long double ref_log(long double x) { return logl(x); }
long double ref_log1p(long double x) { return log1pl(x); }
long double ref_exp(long double x) { return expl(x); }

TEST(DistMath, WithinOneUlpOfTheLongDoubleFunctions) {
  const Fn fns[] = {
      {"ln", ours_ln, ref_log, 0x1p-1074, 0x1p1023, true},
      {"ln near 1", ours_ln, ref_log, 0.5, 2.0, false},
      {"log1p", ours_log1p, ref_log1p, 0x1p-70, 0x1p1000, true},
      {"log1p near -1", ours_log1p, ref_log1p, -1.0, -0.25, false},
      {"log1p small", ours_log1p, ref_log1p, -0.3, 0.3, false},
      {"exp", ours_exp, ref_exp, -745.0, 709.7, false},
      {"exp small", ours_exp, ref_exp, -1.0, 1.0, false},
  };
  std::mt19937_64 g(20261125);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (const Fn& f : fns) {
    double worst = 0, at = 0;
    for (int i = 0; i < 200000; ++i) {
      double x = f.log_uniform ? std::exp2(std::log2(f.lo) + (std::log2(f.hi) - std::log2(f.lo)) * u(g))
                               : f.lo + (f.hi - f.lo) * u(g);
      if (f.ours == ours_log1p && f.log_uniform && (i & 1) && x < 1) x = -x;  // negatives too
      if (!(x > -1)) continue;
      const double e = ulps(f.ours(x), f.ref(x));
      if (e > worst) worst = e, at = x;
    }
    EXPECT_LE(worst, 1.0) << f.name << " worst at " << at;
  }
}

TEST(DistMath, SpecialArguments) {
  struct Case {
    double (*f)(double);
    double x, want;
  };
  const double tiny = 0x1p-1074;
  const Case cases[] = {
      {ours_ln, 1.0, 0.0},         {ours_ln, 0.0, -kInf},       {ours_ln, -0.0, -kInf},
      {ours_ln, -1.0, kNan},       {ours_ln, kInf, kInf},       {ours_ln, -kInf, kNan},
      {ours_ln, kNan, kNan},       {ours_ln, tiny, -744.4400719213812},
      {ours_log1p, 0.0, 0.0},      {ours_log1p, -1.0, -kInf},   {ours_log1p, -1.5, kNan},
      {ours_log1p, kInf, kInf},    {ours_log1p, kNan, kNan},    {ours_log1p, 1e-300, 1e-300},
      {ours_exp, 0.0, 1.0},        {ours_exp, -kInf, 0.0},      {ours_exp, kInf, kInf},
      {ours_exp, kNan, kNan},      {ours_exp, 709.79, kInf},    {ours_exp, -745.2, 0.0},
      {ours_exp, -745.13, tiny},   {ours_exp, 1e-300, 1.0},
  };
  for (const Case& c : cases) {
    const double got = c.f(c.x);
    if (std::isnan(c.want))
      EXPECT_TRUE(std::isnan(got)) << c.x;
    else
      EXPECT_EQ(got, c.want) << c.x;
  }
  // -0 keeps its sign through log1p.
  EXPECT_TRUE(std::signbit(zev::dist::log1p(-0.0)));
}

TEST(DistMath, TwoLogarithmsAtOnceEqualOneByOne) {
  const double xs[] = {1e-300, 0.3, 1.0, 7.5, 1e300, 0x1p-1074, 0.0, kInf};
  for (double x : xs)
    for (double y : xs) {
      double lx, ly;
      zev::dist::ln2(x, y, lx, ly);
      EXPECT_EQ(lx, zev::dist::ln(x)) << x << " " << y;
      EXPECT_EQ(ly, zev::dist::ln(y)) << x << " " << y;
    }
}

}  // namespace
