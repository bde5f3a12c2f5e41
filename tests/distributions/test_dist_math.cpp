// The scalar logarithm and exponential of the generators' accept/reject
// tests against the C library's long double functions: within 1 ulp over
// random arguments of every binade (the two-lane LA logarithm within 1.3),
// and the special arguments; the two-at-a-time Stirling remainders and
// deviances equal to the scalar ones; the segment-filled table of
// ln P(z) - ln P(mode) against the saddle-point values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "distributions/discrete_common.h"
#include "distributions/dist_math.h"
#include "stream_scope.h"
#include "zev/zev_vqm_functions.h"
#include "zev/zev_vqs_dist.h"

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
  double bound;  // ulps
};

double ours_ln(double x) { return zev::dist::ln(x); }
double ours_log1p(double x) { return zev::dist::log1p(x); }
double ours_exp(double x) { return zev::dist::exp(x); }
double ours_ln_la(double x) { return _mm_cvtsd_f64(zev::dist::ln_la(_mm_set1_pd(x))); }
// The argument of the fast inverse transforms on a 32-bit lattice: 1 - 2^-33 - w 2^-32.
double ours_ln_la_lattice(double x) { return ours_ln_la(1 - 0x1p-33 - std::floor(x * 0x1p32) * 0x1p-32); }
double ours_ln_fast(double x) { return _mm_cvtsd_f64(zev::dist::ln_fast(_mm_set1_pd(x))); }
double ours_ln_fast_lattice(double x) { return ours_ln_fast(1 - 0x1p-33 - std::floor(x * 0x1p32) * 0x1p-32); }
long double ref_log_lattice(long double x) { return logl(1 - 0x1p-33L - floorl(x * 0x1p32L) * 0x1p-32L); }
long double ref_log(long double x) { return logl(x); }
long double ref_log1p(long double x) { return log1pl(x); }
long double ref_exp(long double x) { return expl(x); }

TEST(DistMath, WithinOneUlpOfTheLongDoubleFunctions) {
  const Fn fns[] = {
      {"ln", ours_ln, ref_log, 0x1p-1074, 0x1p1023, true, 1},
      {"ln near 1", ours_ln, ref_log, 0.5, 2.0, false, 1},
      {"log1p", ours_log1p, ref_log1p, 0x1p-70, 0x1p1000, true, 1},
      {"log1p near -1", ours_log1p, ref_log1p, -1.0, -0.25, false, 1},
      {"log1p small", ours_log1p, ref_log1p, -0.3, 0.3, false, 1},
      {"exp", ours_exp, ref_exp, -745.0, 709.7, false, 1},
      {"exp small", ours_exp, ref_exp, -1.0, 1.0, false, 1},
      {"ln_la", ours_ln_la, ref_log, 0x1p-1022, 0x1p1023, true, 1.3},
      {"ln_la near 1", ours_ln_la, ref_log, 0.5, 2.0, false, 1.3},
      {"ln_la on the lattice", ours_ln_la_lattice, ref_log_lattice, 0.0, 1.0, false, 1.3},
      {"ln_fast", ours_ln_fast, ref_log, 0x1p-1022, 1.0, true, 1.3},
      {"ln_fast in [0.5, 1)", ours_ln_fast, ref_log, 0.5, 1.0, false, 1.3},
      {"ln_fast near 1", ours_ln_fast, ref_log, 1 - 0x1p-7, 1.0, false, 1.3},
      {"ln_fast on the lattice", ours_ln_fast_lattice, ref_log_lattice, 0.0, 1.0, false, 0.51},
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
    EXPECT_LE(worst, f.bound) << f.name << " worst at " << at;
  }
}

// The one-pass Exponential and Rayleigh take ln_fast's short form on the
// 32-bit generators' t = 1 - 2^-33 - w 2^-32: it must equal the general form
// bit for bit and keep the bound, at both ends of the lattice (t nearest 0
// and 1, where the exponent and the row of c = 1 are at their extremes) and
// over a million words between.
TEST(DistMath, LnFastShortFormOnTheLattice) {
  std::vector<uint32_t> words;
  for (uint32_t w = 0; w < 8192; ++w) words.push_back(w), words.push_back(~w);
  for (int e = 0; e < 32; ++e) {  // t at the binade edges 2^-e and either side
    const uint64_t w0 = (uint64_t(1) << 32) - (uint64_t(1) << (32 - e));
    for (int d = -2; d <= 2; ++d) words.push_back(uint32_t(w0 + d));
  }
  std::mt19937 g(7);
  for (int i = 0; i < 1000000; ++i) words.push_back(g());
  double worst = 0, at = 0;
  for (size_t i = 0; i + 1 < words.size(); i += 2) {
    const double t0 = 1 - 0x1p-33 - words[i] * 0x1p-32, t1 = 1 - 0x1p-33 - words[i + 1] * 0x1p-32;
    const __m128d x = _mm_set_pd(t1, t0);
    double s[2], gen[2];
    _mm_storeu_pd(s, zev::dist::ln_fast<true>(x));
    _mm_storeu_pd(gen, zev::dist::ln_fast<false>(x));
    for (int j = 0; j < 2; ++j) {
      const double t = j ? t1 : t0;
      ASSERT_EQ(s[j], gen[j]) << "t = " << t;
      const double e = ulps(s[j], logl((long double)t));
      if (e > worst) worst = e, at = t;
    }
  }
  EXPECT_LE(worst, 0.51) << "worst at " << at;
  RecordProperty("worst_ulps", std::to_string(worst));
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

TEST(DistMath, TwoLog1pAtOnceEqualOneByOne) {
  // Lanes whose 1 + x is exact (x <= -0.5, or few bits) and not, apart and
  // together, and the arguments that go one by one.
  const double xs[] = {-0.9, -0.5, -0.3, -0.125, 0.2, 0.375, 1.0, 1.7, 3e9, 1e300,
                       0.1 + 0x1p-40, -1.0, 0x1p-60, 0.0, kInf, kNan};
  for (double x : xs)
    for (double y : xs) {
      double lx, ly;
      zev::dist::log1p2(x, y, lx, ly);
      const double wx = zev::dist::log1p(x), wy = zev::dist::log1p(y);
      EXPECT_TRUE(lx == wx || (std::isnan(lx) && std::isnan(wx))) << x << " " << y;
      EXPECT_TRUE(ly == wy || (std::isnan(ly) && std::isnan(wy))) << x << " " << y;
    }
}

TEST(DistMath, TwoAtOnceEqualOneByOne) {
  // Stirling remainders: the table below 16 and the series above.
  const double ks[] = {1, 15, 16, 17, 300000, 2147483647.0};
  for (double a : ks)
    for (double b : ks) {
      double da, db;
      zev::dist::stirling_delta2(a, b, da, db);
      EXPECT_EQ(da, zev::dist::stirling_delta(a)) << a << " " << b;
      EXPECT_EQ(db, zev::dist::stirling_delta(b)) << a << " " << b;
    }
  // Deviances: the series (converging after different numbers of terms in
  // the two lanes), the logarithm, and x = 0.
  const double xm[][2] = {{300000, 300000}, {300400, 300000}, {301000, 299500}, {700000, 699999.5},
                          {1000, 1050}, {1000, 2000}, {0, 5}, {12, 3}};
  for (const auto& p : xm)
    for (const auto& q : xm) {
      double bp, bq;
      zev::dist::bd0_2(p[0], p[1], q[0], q[1], bp, bq);
      EXPECT_EQ(bp, zev::dist::bd0(p[0], p[1])) << p[0] << " " << p[1];
      EXPECT_EQ(bq, zev::dist::bd0(q[0], q[1])) << q[0] << " " << q[1];
    }
}

// BTRS's rounds, whose candidates go two at a time through the vector unit,
// against its attempts one by one over the same uniforms: the same variates
// and the same uniforms used, for odd and even counts, lengths that end
// inside a round or on its end, and values of k near 0 and 2^31.
TEST(DistMath, BtrsRoundsGiveTheAttemptByAttemptVariates) {
  using zev::dist::Btrs;
  using zev::dist::Memo;
  const struct {
    double n, p;
    int count;
  } cases[] = {{20, 0.5, 3001},       {100, 0.3, 1},      {1e6, 0.3, 2001},  {1e6, 0.3, 512},
               {1e6, 1e-5, 999},      {2147483647.0, 0.5, 1025},          {2e9, 0.4, 7},
               {45, 0.45, 20000}};
  for (const auto& c : cases) {
    const Btrs btrs(c.n, c.p);
    zevtest::Stream s1(ZEV_BRNG_MT19937, {7}), s2(ZEV_BRNG_MT19937, {7});
    std::vector<double> got(c.count, -1), want(c.count, -1);
    Memo m1(btrs.mode()), m2(btrs.mode());
    ASSERT_EQ(btrs.rounds(s1, c.count, &m1, [&](int i, double k) { got[i] = k; }), 0);
    ASSERT_EQ(zev::dist::two_uniform_rounds(s2, c.count, btrs, &m2, [&](int i, double k) { want[i] = k; }), 0);
    for (int i = 0; i < c.count; ++i)
      ASSERT_EQ(std::memcmp(&got[i], &want[i], sizeof(double)), 0)
          << c.n << " " << c.p << " variate " << i << ": " << got[i] << " " << want[i];
    double next1, next2;
    zev::dist::draw(s1, 1, &next1, 0.0, 1.0);
    zev::dist::draw(s2, 1, &next2, 0.0, 1.0);
    EXPECT_EQ(next1, next2) << c.n << " " << c.p;
  }
}

// A method on the Poisson distribution of mean mu: the table fills from its
// log_ratio and steps, and must agree with log_ratio itself everywhere.
struct PoissonRatios {
  double mu, mode;
  double log_ratio(double z) const {
    return zev::dist::poisson_log_pmf(z, mu) - zev::dist::poisson_log_pmf(mode, mu);
  }
  __m128d step(__m128d z) const {
    return _mm_div_pd(_mm_set1_pd(mu), _mm_add_pd(z, _mm_set1_pd(1.0)));
  }
  double bottom() const { return 0; }
  double top() const { return 3 * mu; }
};

// Beta with both shapes at least 1 is formed in passes over rounds of
// attempts (candidates of both shapes, a quick test of the open attempts
// where its outcome is clear, a walk over the outcomes). Against the attempts
// one by one, as the method is published, on the same uniforms: X's attempts,
// then Y's, z = sqrt(2) erfinv(2 u - 1) from the ErfInv row, the squeeze,
// and the full test with the module's ln and log1p. Bit for bit, across
// rounds, for shapes whose open attempts go either way, and the stream left
// at the same place.
TEST(DistMath, BetaRoundsGiveTheAttemptByAttemptVariates) {
  const double shapes[][2] = {{2, 3}, {1, 1}, {1, 40}, {7.5, 1.25}, {1e4, 2e4}, {1.0000001, 3e6}};
  for (const auto& sh : shapes) {
    const int n = 3001;
    const double loc = 0.25, scale = 3;
    zevtest::Stream s1(ZEV_BRNG_MT19937, {11}), s2(ZEV_BRNG_MT19937, {11});
    std::vector<double> got(n);
    ASSERT_EQ(_vqsdRngBeta(0, s1, n, got.data(), sh[0], sh[1], loc, scale), 0);
    struct Shape {
      double d, c;
    } sp[2];
    for (int j = 0; j < 2; ++j) sp[j].d = sh[j] - 1.0 / 3, sp[j].c = 1 / std::sqrt(9 * sp[j].d);
    auto h = [](double t) {  // ln(1 + t) - t + t^2/2 - t^3/3
      if (t > 0.125 || t < -0.125) return zev::dist::log1p(t) - t + t * t * (0.5 - t / 3);
      double q = 0;
      for (int k = 22; k >= 4; --k) q = q * t + ((k & 1) ? 1.0 : -1.0) / k;
      return q * (t * t) * (t * t);
    };
    int s = 0;
    double x = 0;
    for (int i = 0; i < n;) {
      double u[2];
      ASSERT_EQ(zev::dist::draw(s2, 2, u, 0x1p-33, 1 + 0x1p-33), 0);
      for (double& v : u) v = std::min(std::max(v, 0x1p-60), 1 - 0x1p-53);
      double z = 2 * u[0] - 1;
      _vqmdErfInv_50(1, &z, &z);
      z *= 1.4142135623730951;
      const double t = sp[s].c * z, U = u[1];
      if (!(t > -1)) continue;
      const double q = 1 + t, v = sp[s].d * (q * q * q), z2 = z * z;
      if (!(U < 1 - 0.0331 * (z2 * z2)) && !(zev::dist::ln(U) < 3 * sp[s].d * h(t))) continue;
      if (s == 0) {
        x = v, s = 1;
        continue;
      }
      const double want = loc + scale * (x / (x + v));
      ASSERT_EQ(std::memcmp(&got[i], &want, sizeof(double)), 0)
          << sh[0] << " " << sh[1] << " variate " << i << ": " << got[i] << " " << want;
      ++i, s = 0;
    }
    double next1, next2;
    zev::dist::draw(s1, 1, &next1, 0.0, 1.0);
    zev::dist::draw(s2, 1, &next2, 0.0, 1.0);
    EXPECT_EQ(next1, next2) << sh[0] << " " << sh[1];
  }
}

TEST(DistMath, SegmentTableFollowsTheSaddlePointForm) {
  // Centres whose window starts below the support, inside it, and reaches
  // past its top.
  for (double mu : {30.0, 1e4, 3e5}) {
    const PoissonRatios m{mu, std::floor(mu)};
    using Table = zev::dist::SegmentTable<PoissonRatios>;
    Table up(m.mode), down(m.mode);
    const double lo = std::max(m.bottom(), m.mode - Table::kSize / 2 - 3);
    const double hi = std::min(m.top(), m.mode + Table::kSize / 2 + 3);
    double worst = 0;
    for (double z = lo; z <= hi; ++z) {
      const double want = m.log_ratio(z);
      if (want > -45) worst = std::max(worst, std::fabs(up(z, m) - want));  // where a test can go either way
    }
    // A value does not depend on which values were asked for before it.
    for (double z = hi; z >= lo; --z) ASSERT_EQ(down(z, m), up(z, m)) << mu << " " << z;
    EXPECT_LT(worst, 1e-12) << mu;
  }
}

}  // namespace
