// Spline construction against independent implementations (GSL, a dense solve
// of the spline conditions, the published slope formulas), exact reproduction
// of polynomials, and the builders' statuses.
#include <cmath>
#include <functional>
#include <limits>

#include "df_util.h"
#include "guarded.h"

#ifdef ZEV_HAVE_GSL
#include <gsl/gsl_errno.h>
#include <gsl/gsl_spline.h>
#endif

using fittest::Task;

namespace {

using BuildFn = int (*)(zev_df_task, int64_t);

struct Spline {
  Task t;
  std::vector<double> c;
  double ends[2];  // the knots of a uniform partition, which the task points at
};

// Builds one function's spline of the given order/type on knots x (or their
// two ends when uniform) and returns the status.
int build(Spline& s, BuildFn fn, int64_t order, int64_t type, const std::vector<double>& x,
          const std::vector<double>& y, int64_t bc_kind, const double* bc, int64_t ic_kind = 0,
          const double* ic = nullptr, bool uniform = false, int64_t method = 0) {
  int nx = static_cast<int>(x.size());
  s.ends[0] = x.front();
  s.ends[1] = x.back();
  int st = zev_df_kernel_dNewTask1D(&s.t.t, nx, uniform ? s.ends : x.data(), uniform ? 4 : 0, 1,
                                    y.data(), 0, 0);
  if (st) return st;
  s.c.assign(order * nx, -12345.0);
  st = zev_df_kernel_dEditPPSpline1D(s.t, order, type, bc_kind, bc, ic_kind, ic, s.c.data(), 0);
  if (st) return st;
  return fn(s.t, method);
}

// Values (orders given by mask bits 0..3) at sites through the interpolation entry.
std::vector<double> interp(zev_df_task t, const std::vector<double>& s, int order) {
  int32_t d[4] = {0, 0, 0, 0};
  d[order] = 1;
  std::vector<double> r(s.size());
  EXPECT_EQ(zev_df_kernel_dDFInterpolate1D(t, 1, 0, s.size(), s.data(), 0, 4, d, nullptr, r.data(),
                                           0x10, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  return r;
}

std::vector<double> integ(zev_df_task t, const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> r(a.size());
  EXPECT_EQ(zev_df_kernel_dDFIntegrate1D(t, 0, a.size(), a.data(), 0, b.data(), 0, nullptr, nullptr,
                                         r.data(), 0x10, nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  return r;
}

double max_abs(const std::vector<double>& v) {
  double m = 0;
  for (double e : v) m = std::max(m, std::fabs(e));
  return m;
}

void expect_close(const std::vector<double>& got, const std::vector<double>& want, double rel,
                  const std::string& what) {
  double scale = std::max(1.0, max_abs(want));
  for (size_t i = 0; i < got.size(); ++i)
    ASSERT_NEAR(got[i], want[i], rel * scale) << what << " at " << i;
}

std::vector<double> uniform_sites(std::mt19937_64& g, double lo, double hi, int n) {
  std::uniform_real_distribution<double> u(lo, hi);
  std::vector<double> s(n);
  for (double& v : s) v = u(g);
  return s;
}

// ---- the C2 spline by a dense solve of all its conditions ------------------------

enum EndKind { kNak, kFirst, kSecond };

// Coefficients (4 per cell, local powers) of the interpolating C2 cubic with
// the given end conditions, by Gaussian elimination on all 4(n-1) conditions.
std::vector<double> dense_c2(const std::vector<double>& x, const std::vector<double>& y,
                             EndKind left, double lv, EndKind right, double rv) {
  int n = static_cast<int>(x.size()), m = 4 * (n - 1);
  std::vector<std::vector<long double>> a(m, std::vector<long double>(m + 1, 0));
  int row = 0;
  auto h = [&](int p) { return static_cast<long double>(x[p + 1]) - x[p]; };
  for (int p = 0; p < n - 1; ++p) {
    a[row][4 * p] = 1;
    a[row++][m] = y[p];
    for (int j = 0; j < 4; ++j) a[row][4 * p + j] = std::pow(h(p), j);
    a[row++][m] = y[p + 1];
  }
  for (int i = 1; i < n - 1; ++i) {
    int p = i - 1;
    for (int j = 1; j < 4; ++j) a[row][4 * p + j] = j * std::pow(h(p), j - 1);
    a[row++][4 * i + 1] = -1;
    for (int j = 2; j < 4; ++j) a[row][4 * p + j] = j * (j - 1) * std::pow(h(p), j - 2);
    a[row++][4 * i + 2] = -2;
  }
  switch (left) {
    case kNak: a[row][3] = 1; a[row][7] = -1; break;
    case kFirst: a[row][1] = 1; a[row][m] = lv; break;
    case kSecond: a[row][2] = 2; a[row][m] = lv; break;
  }
  ++row;
  int p = n - 2;
  switch (right) {
    case kNak: a[row][4 * p + 3] = 1; a[row][4 * p - 1] = -1; break;
    case kFirst:
      for (int j = 1; j < 4; ++j) a[row][4 * p + j] = j * std::pow(h(p), j - 1);
      a[row][m] = rv;
      break;
    case kSecond:
      for (int j = 2; j < 4; ++j) a[row][4 * p + j] = j * (j - 1) * std::pow(h(p), j - 2);
      a[row][m] = rv;
      break;
  }
  for (int c = 0; c < m; ++c) {
    int piv = c;
    for (int r = c + 1; r < m; ++r)
      if (std::fabs(a[r][c]) > std::fabs(a[piv][c])) piv = r;
    std::swap(a[c], a[piv]);
    for (int r = 0; r < m; ++r) {
      if (r == c || a[r][c] == 0) continue;
      long double f = a[r][c] / a[c][c];
      for (int k = c; k <= m; ++k) a[r][k] -= f * a[c][k];
    }
  }
  std::vector<double> coef(m);
  for (int c = 0; c < m; ++c) coef[c] = static_cast<double>(a[c][m] / a[c][c]);
  return coef;
}

TEST(DfBuild, C2SplinesMatchADenseSolveOfTheirConditions) {
  struct Case {
    int64_t kind;
    EndKind left, right;
  } cases[] = {{1, kNak, kNak},       {2, kSecond, kSecond}, {0, kSecond, kSecond},
               {12, kFirst, kFirst},  {36, kFirst, kSecond}, {24, kSecond, kFirst},
               {48, kSecond, kSecond}};
  std::mt19937_64 g(1);
  for (BuildFn fn : {zev_df_kernel_dDFNaturalCubicSpline1D, zev_df_kernel_dDFDefaultCubicSpline1D}) {
    int64_t type = fn == zev_df_kernel_dDFNaturalCubicSpline1D ? 2 : 0;
    for (const Case& c : cases) {
      for (int nx : {3, 4, 7, 15}) {
        std::vector<double> x = fittest::random_knots(g, nx);
        std::vector<double> y = uniform_sites(g, -2, 2, nx);
        double bc[2] = {0.7, -1.3};
        if (c.kind == 2 || c.kind == 0) bc[0] = bc[1] = 0;
        Spline s;
        ASSERT_EQ(build(s, fn, 4, type, x, y, c.kind, bc), 0) << c.kind << " " << nx;
        // Three knots with not-a-knot at both ends: the parabola through them.
        std::vector<double> ref =
            nx == 3 && c.kind == 1 ? dense_c2(x, y, kSecond, 0, kSecond, 0)
                                   : dense_c2(x, y, c.left, bc[0], c.right, bc[1]);
        if (nx == 3 && c.kind == 1) {
          double q = ((y[2] - y[1]) / (x[2] - x[1]) - (y[1] - y[0]) / (x[1] - x[0])) / (x[2] - x[0]);
          for (int p = 0; p < 2; ++p) {
            double d = x[p] - x[0];
            ref[4 * p] = y[p];
            ref[4 * p + 1] = (y[1] - y[0]) / (x[1] - x[0]) + q * (2 * x[p] - x[0] - x[1]);
            ref[4 * p + 2] = q;
            ref[4 * p + 3] = 0;
            (void)d;
          }
        }
        for (int i = 0; i < 4 * (nx - 1); ++i)
          ASSERT_NEAR(s.c[i], ref[i], 1e-11 * std::max(1.0, std::fabs(ref[i])))
              << "type " << type << " kind " << c.kind << " nx " << nx << " coefficient " << i;
      }
    }
  }
}

#ifdef ZEV_HAVE_GSL
TEST(DfBuild, NaturalPeriodicAndAkimaMatchGsl) {
  gsl_set_error_handler_off();
  struct Case {
    const char* name;
    BuildFn fn;
    int64_t type, kind;
    const gsl_interp_type* gsl;
    bool periodic;
  } cases[] = {
      {"natural", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 2, gsl_interp_cspline, false},
      {"natural_no_condition", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 0, gsl_interp_cspline, false},
      {"default_free", zev_df_kernel_dDFDefaultCubicSpline1D, 0, 2, gsl_interp_cspline, false},
      {"periodic", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 0x40, gsl_interp_cspline_periodic, true},
      {"akima", zev_df_kernel_dDFAkimaCubicSpline1D, 5, 0, gsl_interp_akima, false},
      {"akima_periodic", zev_df_kernel_dDFAkimaCubicSpline1D, 5, 0x40, gsl_interp_akima_periodic, true},
  };
  std::mt19937_64 g(2);
  for (const Case& c : cases) {
    for (int nx : {5, 6, 12, 60}) {
      std::vector<double> x = fittest::random_knots(g, nx, -1.0, 0.37);
      std::vector<double> y = uniform_sites(g, -3, 3, nx);
      if (c.periodic) y.back() = y.front();
      Spline s;
      ASSERT_EQ(build(s, c.fn, 4, c.type, x, y, c.kind, nullptr), 0) << c.name;
      gsl_spline* gs = gsl_spline_alloc(c.gsl, nx);
      gsl_interp_accel* acc = gsl_interp_accel_alloc();
      ASSERT_EQ(gsl_spline_init(gs, x.data(), y.data(), nx), 0);
      std::vector<double> sites = uniform_sites(g, x.front(), x.back(), 200);
      sites.insert(sites.end(), x.begin(), x.end());
      std::vector<double> want[3], lo(sites.size(), x.front()), iw(sites.size());
      for (double v : sites) {
        want[0].push_back(gsl_spline_eval(gs, v, acc));
        want[1].push_back(gsl_spline_eval_deriv(gs, v, acc));
        want[2].push_back(gsl_spline_eval_deriv2(gs, v, acc));
      }
      for (size_t i = 0; i < sites.size(); ++i)
        iw[i] = gsl_spline_eval_integ(gs, x.front(), sites[i], acc);
      std::string what = std::string(c.name) + " nx=" + std::to_string(nx);
      for (int d = 0; d < 3; ++d)
        expect_close(interp(s.t, sites, d), want[d], d == 0 ? 1e-12 : 1e-10, what + " order " + std::to_string(d));
      expect_close(integ(s.t, lo, sites), iw, 1e-12, what + " integral");
      gsl_interp_accel_free(acc);
      gsl_spline_free(gs);
    }
  }
}
#endif

// A cubic and its derivatives and integral.
struct Cubic {
  double a, b, c, d;
  double v(double x, int k = 0) const {
    switch (k) {
      case 0: return a + x * (b + x * (c + x * d));
      case 1: return b + x * (2 * c + 3 * d * x);
      case 2: return 2 * c + 6 * d * x;
      default: return 6 * d;
    }
  }
  double integral(double l, double r) const {
    auto F = [&](double x) { return x * (a + x * (b / 2 + x * (c / 3 + x * d / 4))); };
    return F(r) - F(l);
  }
};

TEST(DfBuild, CubicsAreReproducedExactly) {
  // Every C2 variant whose conditions come from the cubic itself, and Hermite
  // with the cubic's own derivatives, reproduce it: values, derivatives of
  // orders 1 to 3, and integrals, inside and beyond the knots.
  Cubic p{0.5, -1.25, 0.75, 0.3};
  struct Case {
    const char* name;
    BuildFn fn;
    int64_t type, kind;
  } cases[] = {
      {"natural_nak", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 1},
      {"natural_clamped", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 12},
      {"natural_36", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 36},
      {"natural_24", zev_df_kernel_dDFNaturalCubicSpline1D, 2, 24},
      {"default_48", zev_df_kernel_dDFDefaultCubicSpline1D, 0, 48},
      {"hermite_nak", zev_df_kernel_dDFHermiteCubicSpline1D, 3, 1},
      {"hermite_clamped", zev_df_kernel_dDFHermiteCubicSpline1D, 3, 12},
      {"hermite_36", zev_df_kernel_dDFHermiteCubicSpline1D, 3, 36},
      {"hermite_24", zev_df_kernel_dDFHermiteCubicSpline1D, 3, 24},
      {"hermite_48", zev_df_kernel_dDFHermiteCubicSpline1D, 3, 48},
  };
  std::mt19937_64 g(3);
  for (const Case& c : cases) {
    for (int nx : {3, 4, 9, 30}) {
      for (bool uniform : {false, true}) {
        std::vector<double> x = fittest::random_knots(g, nx, -2.0, 0.3);
        if (uniform) {
          for (int i = 0; i < nx; ++i) x[i] = -2.0 + 0.25 * i;
        }
        // Not-a-knot on three knots gives their parabola, not the cubic.
        if (nx == 3 && c.kind == 1 && c.type != 3) continue;
        std::vector<double> y(nx), ic;
        for (int i = 0; i < nx; ++i) y[i] = p.v(x[i]);
        for (int i = 1; i + 1 < nx; ++i) ic.push_back(p.v(x[i], 1));
        double lv = (c.kind == 12 || c.kind == 36) ? p.v(x[0], 1) : p.v(x[0], 2);
        double rv = (c.kind == 12 || c.kind == 24) ? p.v(x.back(), 1) : p.v(x.back(), 2);
        double bc[2] = {lv, rv};
        Spline s;
        bool hermite = c.type == 3;
        ASSERT_EQ(build(s, c.fn, 4, c.type, x, y, c.kind, bc, hermite ? 1 : 0,
                        hermite ? ic.data() : nullptr, uniform),
                  0)
            << c.name;
        std::vector<double> sites = uniform_sites(g, x.front() - 1, x.back() + 1, 100);
        std::string what = std::string(c.name) + " nx=" + std::to_string(nx) + (uniform ? " uniform" : "");
        for (int k = 0; k < 4; ++k) {
          std::vector<double> want;
          for (double v : sites) want.push_back(p.v(v, k));
          expect_close(interp(s.t, sites, k), want, k < 2 ? 1e-11 : 1e-8, what + " order " + std::to_string(k));
        }
        std::vector<double> a = uniform_sites(g, x.front() - 1, x.back() + 1, 100), want;
        for (size_t i = 0; i < a.size(); ++i) want.push_back(p.integral(a[i], sites[i]));
        expect_close(integ(s.t, a, sites), want, 1e-11, what + " integral");
      }
    }
  }
}

TEST(DfBuild, LinearAndQuadraticByDirectEvaluation) {
  std::mt19937_64 g(4);
  std::vector<double> x = fittest::random_knots(g, 20);
  std::vector<double> y = uniform_sites(g, -1, 1, 20);
  Spline lin;
  ASSERT_EQ(build(lin, zev_df_kernel_dDFLinearSpline1D, 2, 0, x, y, 0, nullptr), 0);
  std::vector<double> sites = uniform_sites(g, x.front(), x.back(), 300), want;
  for (double s : sites) {
    int i = std::min(fittest::reference_cell(x, s) - 1, 18);
    want.push_back(y[i] + (s - x[i]) * ((y[i + 1] - y[i]) / (x[i + 1] - x[i])));
  }
  expect_close(interp(lin.t, sites, 0), want, 1e-14, "linear");

  // Quadratic: C1, through the knots, with the left-end condition; a parabola
  // whose own slope is given at the left end is reproduced.
  struct Case {
    int64_t kind;
    double bc0;  // slope (4) or curvature (0x10) asked at the left end
  } cases[] = {{12, 0.4}, {24, -0.6}, {2, 0.0}, {1, 0.0}};
  for (const Case& c : cases) {
    double bc[2] = {c.bc0, 0};
    Spline q;
    ASSERT_EQ(build(q, zev_df_kernel_dDFQuadraticSpline1D, 3, 0, x, y, c.kind, bc), 0);
    for (int i = 1; i + 1 < 20; ++i) {
      std::vector<double> at = {x[i]}, left = {std::nextafter(x[i], -INFINITY)};
      EXPECT_NEAR(interp(q.t, at, 0)[0], y[i], 1e-12);
      EXPECT_NEAR(interp(q.t, at, 1)[0], interp(q.t, left, 1)[0], 1e-6);
    }
    std::vector<double> x0 = {x[0]};
    double want_end = c.kind == 12 ? interp(q.t, x0, 1)[0] : interp(q.t, x0, 2)[0];
    if (c.kind != 1) {
      EXPECT_NEAR(want_end, c.bc0, 1e-11) << c.kind;
    }
  }
  std::vector<double> yp(20);
  for (int i = 0; i < 20; ++i) yp[i] = 1 - 0.5 * x[i] + 0.25 * x[i] * x[i];
  double bc[2] = {-0.5 + 0.5 * x[0], 0};
  Spline q;
  ASSERT_EQ(build(q, zev_df_kernel_dDFQuadraticSpline1D, 3, 0, x, yp, 12, bc), 0);
  want.clear();
  for (double s : sites) want.push_back(1 - 0.5 * s + 0.25 * s * s);
  expect_close(interp(q.t, sites, 0), want, 1e-10, "quadratic parabola");
}

TEST(DfBuild, QuadraticWithBreakPointsBetweenTheKnots) {
  // Break points at the midpoints or given; parabolas with their own end
  // conditions are reproduced, and random data give a C1 interpolant.
  std::mt19937_64 g(8);
  auto p = [](double x, int k) { return k == 0 ? 1 - 0.5 * x + 0.25 * x * x : k == 1 ? -0.5 + 0.5 * x : 0.5; };
  for (int nx : {3, 4, 12}) {
    std::vector<double> x = fittest::random_knots(g, nx), y(nx), breaks;
    for (int i = 0; i < nx; ++i) y[i] = p(x[i], 0);
    for (int i = 1; i < nx; ++i) breaks.push_back(x[i - 1] + (0.2 + 0.6 * (i % 3) / 2.0) * (x[i] - x[i - 1]));
    for (bool given : {false, true}) {
      for (int64_t kind : {1, 12, 36, 24, 48}) {
        double lv = (kind == 12 || kind == 36) ? p(x[0], 1) : p(x[0], 2);
        double rv = (kind == 12 || kind == 24) ? p(x.back(), 1) : p(x.back(), 2);
        double bc[2] = {lv, rv};
        Spline q;
        ASSERT_EQ(build(q, zev_df_kernel_dDFQuadraticSpline1D, 3, 1, x, y, kind, bc, given ? 8 : 0,
                        given ? breaks.data() : nullptr),
                  0);
        std::vector<double> sites = uniform_sites(g, x.front() - 1, x.back() + 1, 200);
        for (int k = 0; k < 3; ++k) {
          std::vector<double> want;
          for (double v : sites) want.push_back(p(v, k));
          expect_close(interp(q.t, sites, k), want, 1e-10,
                       "subbotin nx=" + std::to_string(nx) + " kind " + std::to_string(kind));
        }
        auto prim = [](double v) { return v * (1 - 0.25 * v + v * v / 12); };
        std::vector<double> a = uniform_sites(g, x.front() - 1, x.back() + 1, 200), want;
        for (size_t i = 0; i < a.size(); ++i) want.push_back(prim(sites[i]) - prim(a[i]));
        expect_close(integ(q.t, a, sites), want, 1e-10, "subbotin integral");
      }
      // Random data: through the knots, value and slope continuous at the breaks.
      std::vector<double> yr = uniform_sites(g, -1, 1, nx);
      Spline q;
      ASSERT_EQ(build(q, zev_df_kernel_dDFQuadraticSpline1D, 3, 1, x, yr, 2, nullptr, given ? 8 : 0,
                      given ? breaks.data() : nullptr),
                0);
      expect_close(interp(q.t, x, 0), yr, 1e-13, "subbotin knots");
      std::vector<double> lo, hi;
      for (int j = 1; j < nx; ++j) {
        double t = given ? breaks[j - 1] : (x[j - 1] + x[j]) / 2;
        lo.push_back(t - 1e-9);
        hi.push_back(t + 1e-9);
      }
      for (int k = 0; k < 2; ++k) expect_close(interp(q.t, lo, k), interp(q.t, hi, k), 1e-7, "subbotin C1");
    }
    std::vector<double> bad = breaks;
    bad[0] = x[1];  // a break point must lie strictly between its knots
    Spline q;
    EXPECT_EQ(build(q, zev_df_kernel_dDFQuadraticSpline1D, 3, 1, x, y, 2, nullptr, 8, bad.data()),
              ZEV_DF_ERROR_BAD_IC_TYPE);
    for (double v : q.c) ASSERT_EQ(v, -12345.0);
  }
}

TEST(DfBuild, BesselAndHymanFollowTheirFormulas) {
  std::mt19937_64 g(5);
  for (int nx : {4, 5, 25}) {
    std::vector<double> x = fittest::random_knots(g, nx);
    std::vector<double> y = uniform_sites(g, -1, 1, nx);
    std::vector<double> h(nx - 1), del(nx - 1), bes(nx);
    for (int i = 0; i + 1 < nx; ++i) {
      h[i] = x[i + 1] - x[i];
      del[i] = (y[i + 1] - y[i]) / h[i];
    }
    // Slope of the parabola through three neighbouring knots, at the middle one
    // and at the two ends.
    for (int i = 1; i + 1 < nx; ++i) bes[i] = (h[i] * del[i - 1] + h[i - 1] * del[i]) / (h[i - 1] + h[i]);
    bes[0] = ((2 * h[0] + h[1]) * del[0] - h[0] * del[1]) / (h[0] + h[1]);
    int k = nx - 2;
    bes[nx - 1] = ((2 * h[k] + h[k - 1]) * del[k] - h[k] * del[k - 1]) / (h[k] + h[k - 1]);
    Spline b;
    ASSERT_EQ(build(b, zev_df_kernel_dDFBesselCubicSpline1D, 4, 4, x, y, 0, nullptr), 0);
    std::vector<double> slopes = interp(b.t, x, 1);
    expect_close(slopes, bes, 1e-12, "bessel slopes");
    expect_close(interp(b.t, x, 0), y, 1e-14, "bessel values");

    // Hyman: the Bessel slopes limited so that monotone data stay monotone.
    std::vector<double> ym(nx);
    std::vector<double> steps = uniform_sites(g, 0.0, 1.0, nx);
    ym[0] = 0;
    for (int i = 1; i < nx; ++i) ym[i] = ym[i - 1] + (i % 3 == 0 ? 0.0 : steps[i] * steps[i] * 3);
    Spline hy;
    ASSERT_EQ(build(hy, zev_df_kernel_dDFHymanCubicSpline1D, 4, 9, x, ym, 0, nullptr), 0);
    std::vector<double> dense = uniform_sites(g, x.front(), x.back(), 2000);
    std::sort(dense.begin(), dense.end());
    std::vector<double> v = interp(hy.t, dense, 0);
    for (size_t i = 1; i < v.size(); ++i) ASSERT_GE(v[i], v[i - 1] - 1e-13) << "hyman monotone";
    std::vector<double> hs = interp(hy.t, x, 1);
    for (int i = 1; i + 1 < nx; ++i) {
      double dl = (ym[i] - ym[i - 1]) / h[i - 1], dr = (ym[i + 1] - ym[i]) / h[i];
      double s = (h[i] * dl + h[i - 1] * dr) / (h[i - 1] + h[i]);
      double want = dl > 0 && dr > 0 ? std::min(std::max(0.0, s), 3 * std::min(dl, dr)) : 0.0;
      ASSERT_NEAR(hs[i], want, 1e-12) << "hyman slope " << i;
    }
  }
  // Bessel reproduces parabolas.
  std::vector<double> x = fittest::random_knots(g, 8), y(8);
  for (int i = 0; i < 8; ++i) y[i] = 2 - x[i] + 0.5 * x[i] * x[i];
  Spline b;
  ASSERT_EQ(build(b, zev_df_kernel_dDFBesselCubicSpline1D, 4, 4, x, y, 0, nullptr), 0);
  std::vector<double> sites = uniform_sites(g, x.front(), x.back(), 100), want;
  for (double s : sites) want.push_back(2 - s + 0.5 * s * s);
  expect_close(interp(b.t, sites, 0), want, 1e-12, "bessel parabola");
}

TEST(DfBuild, LayoutsAndPrecisionsAgree) {
  // Three functions in the row, interleaved and separate layouts, for
  // functions and coefficients alike, give the coefficients of one-by-one builds.
  std::mt19937_64 g(6);
  const int nx = 11, ny = 3;
  std::vector<double> x = fittest::random_knots(g, nx);
  std::vector<double> rows = uniform_sites(g, -1, 1, nx * ny), inter(nx * ny);
  for (int f = 0; f < ny; ++f)
    for (int i = 0; i < nx; ++i) inter[i * ny + f] = rows[f * nx + i];
  double bc[2] = {0.2, -0.1};
  for (BuildFn fn : {zev_df_kernel_dDFNaturalCubicSpline1D, zev_df_kernel_dDFAkimaCubicSpline1D}) {
    int64_t type = fn == zev_df_kernel_dDFAkimaCubicSpline1D ? 5 : 2;
    std::vector<std::vector<double>> single(ny);
    for (int f = 0; f < ny; ++f) {
      Spline s;
      std::vector<double> y(rows.begin() + f * nx, rows.begin() + (f + 1) * nx);
      ASSERT_EQ(build(s, fn, 4, type, x, y, 12, bc), 0);
      single[f] = s.c;
    }
    for (int64_t yhint : {0x10, 0x20, 0x80}) {
      for (int64_t chint : {0x10, 0x20, 0x80}) {
        Task t;
        ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, nx, x.data(), 1, ny,
                                           yhint == 0x20 ? inter.data() : rows.data(), yhint, 0),
                  0);
        if (yhint == 0x80) {
          for (int f = 1; f < ny; ++f)
            ASSERT_EQ(zev_df_kernel_dEditIdxPtr(t, 2, f, rows.data() + f * nx), 0);
        }
        std::vector<double> c(4 * (nx - 1) * ny, 0.0);
        ASSERT_EQ(zev_df_kernel_dEditPPSpline1D(t, 4, type, 12, bc, 0, nullptr, c.data(), chint), 0);
        if (chint == 0x80) {
          for (int f = 1; f < ny; ++f)
            ASSERT_EQ(zev_df_kernel_dEditIdxPtr(t, 5, f, c.data() + f * 4 * (nx - 1)), 0);
        }
        ASSERT_EQ(fn(t, 0), 0);
        for (int f = 0; f < ny; ++f)
          for (int p = 0; p < nx - 1; ++p)
            for (int j = 0; j < 4; ++j) {
              double got = chint == 0x20 ? c[(p * ny + f) * 4 + j] : c[f * 4 * (nx - 1) + p * 4 + j];
              ASSERT_NEAR(got, single[f][p * 4 + j], 1e-13 * std::max(1.0, std::fabs(got)))
                  << yhint << " " << chint << " f" << f << " p" << p;
            }
      }
    }
    // Single precision builds the same spline to float accuracy.
    std::vector<float> xf(x.begin(), x.end()), yf(rows.begin(), rows.begin() + nx), cf(4 * (nx - 1));
    float bcf[2] = {0.2f, -0.1f};
    Task t;
    ASSERT_EQ(zev_df_kernel_sNewTask1D(&t.t, nx, xf.data(), 0, 1, yf.data(), 0, 0), 0);
    ASSERT_EQ(zev_df_kernel_sEditPPSpline1D(t, 4, type, 12, bcf, 0, nullptr, cf.data(), 0), 0);
    ASSERT_EQ(fn == zev_df_kernel_dDFAkimaCubicSpline1D ? zev_df_kernel_sDFAkimaCubicSpline1D(t, 0)
                                                        : zev_df_kernel_sDFNaturalCubicSpline1D(t, 0),
              0);
    for (int i = 0; i < 4 * (nx - 1); ++i)
      ASSERT_NEAR(cf[i], single[0][i], 2e-4 * std::max(1.0, std::fabs(single[0][i]))) << i;
  }
}

TEST(DfBuild, RejectionsWriteNothing) {
  std::vector<double> x5 = {0, 1, 2.5, 3, 4.5}, y5 = {1, 2, 0, 3, 1}, bc = {0, 0}, ic = {1, 1, 1};
  std::vector<double> x4 = {0, 1, 2, 3}, y4 = {1, 2, 0, 3}, x2 = {0, 1}, y2 = {1, 2};
  std::vector<double> yp = {1, 2, 0, 3, 2}, ynan = {NAN, 2, 0, 3, NAN};
  struct Case {
    const char* name;
    BuildFn fn;
    int64_t order, type, kind;
    const std::vector<double>*x, *y;
    const double* bc;
    int64_t ic_kind;
    const double* ic;
    int64_t method;
    int status;
  } cases[] = {
      {"akima nx=4", zev_df_kernel_dDFAkimaCubicSpline1D, 4, 5, 0, &x4, &y4, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_NX},
      {"bessel nx=4", zev_df_kernel_dDFBesselCubicSpline1D, 4, 4, 0, &x4, &y4, nullptr, 0, nullptr, 0, 0},
      {"hyman nx=2", zev_df_kernel_dDFHymanCubicSpline1D, 4, 9, 0, &x2, &y2, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_NX},
      {"natural nak nx=2", zev_df_kernel_dDFNaturalCubicSpline1D, 4, 2, 1, &x2, &y2, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_NX},
      {"natural free nx=2", zev_df_kernel_dDFNaturalCubicSpline1D, 4, 2, 2, &x2, &y2, nullptr, 0, nullptr, 0, 0},
      {"default nx=2", zev_df_kernel_dDFDefaultCubicSpline1D, 4, 0, 2, &x2, &y2, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_NX},
      {"kind 3", zev_df_kernel_dDFNaturalCubicSpline1D, 4, 2, 3, &x5, &y5, bc.data(), 0, nullptr, 0, ZEV_DF_ERROR_BAD_BC_TYPE},
      {"kind 12 no values", zev_df_kernel_dDFNaturalCubicSpline1D, 4, 2, 12, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_NULL_BC},
      {"periodic default no values", zev_df_kernel_dDFDefaultCubicSpline1D, 4, 0, 0x40, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_NULL_BC},
      {"periodic unequal", zev_df_kernel_dDFNaturalCubicSpline1D, 4, 2, 0x40, &x5, &yp, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_PERIODIC_VAL},
      {"periodic nan", zev_df_kernel_dDFAkimaCubicSpline1D, 4, 5, 0x40, &x5, &ynan, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_PERIODIC_VAL},
      {"linear periodic", zev_df_kernel_dDFLinearSpline1D, 2, 0, 0x40, &x5, &yp, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_PERIODIC_VAL},
      {"method 1", zev_df_kernel_dDFLinearSpline1D, 2, 0, 0, &x5, &y5, nullptr, 0, nullptr, 1, ZEV_DF_ERROR_METHOD_NOT_SUPPORTED},
      {"natural method 1", zev_df_kernel_dDFNaturalCubicSpline1D, 4, 2, 2, &x5, &y5, nullptr, 0, nullptr, 1, ZEV_DF_ERROR_METHOD_NOT_SUPPORTED},
      {"wrong type", zev_df_kernel_dDFAkimaCubicSpline1D, 4, 2, 0, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_METHOD_NOT_SUPPORTED},
      {"wrong order", zev_df_kernel_dDFNaturalCubicSpline1D, 3, 2, 0, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_METHOD_NOT_SUPPORTED},
      {"quadratic type 2", zev_df_kernel_dDFQuadraticSpline1D, 3, 2, 0, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_METHOD_NOT_SUPPORTED},
      {"break points periodic", zev_df_kernel_dDFQuadraticSpline1D, 3, 1, 0x40, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_BC_TYPE},
      {"break points kind 1", zev_df_kernel_dDFQuadraticSpline1D, 3, 1, 0, &x5, &y5, nullptr, 1, ic.data(), 0, ZEV_DF_ERROR_BAD_IC_TYPE},
      {"hermite no derivatives", zev_df_kernel_dDFHermiteCubicSpline1D, 4, 3, 0, &x5, &y5, nullptr, 0, nullptr, 0, ZEV_DF_ERROR_BAD_IC_TYPE},
      {"hermite second derivatives", zev_df_kernel_dDFHermiteCubicSpline1D, 4, 3, 0, &x5, &y5, nullptr, 2, ic.data(), 0, ZEV_DF_ERROR_BAD_IC_TYPE},
      {"hermite", zev_df_kernel_dDFHermiteCubicSpline1D, 4, 3, 0, &x5, &y5, nullptr, 1, ic.data(), 0, 0},
  };
  for (const Case& c : cases) {
    Spline s;
    int st = build(s, c.fn, c.order, c.type, *c.x, *c.y, c.kind, c.bc, c.ic_kind, c.ic, false,
                   c.method);
    EXPECT_EQ(st, c.status) << c.name;
    if (c.status != 0) {
      for (double v : s.c) ASSERT_EQ(v, -12345.0) << c.name;
    }
  }
  // No coefficients, no functions.
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, x5.data(), 0, 1, y5.data(), 0, 0), 0);
  ASSERT_EQ(zev_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, nullptr, 0), 0);
  EXPECT_EQ(zev_df_kernel_dDFNaturalCubicSpline1D(t, 0), ZEV_DF_ERROR_NULL_SCOEFF);
  Task u;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&u.t, 5, x5.data(), 0, 0, nullptr, 0, 0), 0);
  ASSERT_EQ(zev_df_kernel_dEditPPSpline1D(u, 4, 2, 2, nullptr, 0, nullptr, nullptr, 0), 0);
  EXPECT_EQ(zev_df_kernel_dDFNaturalCubicSpline1D(u, 0), ZEV_DF_ERROR_BAD_NY);
}

// ---- knots that do not ascend ------------------------------------------------------

int new_task(zev_df_task* t, int64_t nx, const double* x, int64_t xhint, const double* y) {
  return zev_df_kernel_dNewTask1D(t, nx, x, xhint, 1, y, 0, 0);
}
int new_task(zev_df_task* t, int64_t nx, const float* x, int64_t xhint, const float* y) {
  return zev_df_kernel_sNewTask1D(t, nx, x, xhint, 1, y, 0, 0);
}
int edit_pp(zev_df_task t, int64_t order, int64_t type, int64_t ic_kind, const double* ic, double* c) {
  return zev_df_kernel_dEditPPSpline1D(t, order, type, 0, nullptr, ic_kind, ic, c, 0);
}
int edit_pp(zev_df_task t, int64_t order, int64_t type, int64_t ic_kind, const float* ic, float* c) {
  return zev_df_kernel_sEditPPSpline1D(t, order, type, 0, nullptr, ic_kind, ic, c, 0);
}

struct KnotBuilder {
  const char* name;
  BuildFn d, s;
  int64_t order, type, ic_kind;
};

const KnotBuilder kKnotBuilders[] = {
    {"linear", zev_df_kernel_dDFLinearSpline1D, zev_df_kernel_sDFLinearSpline1D, 2, 0, 0},
    {"quadratic", zev_df_kernel_dDFQuadraticSpline1D, zev_df_kernel_sDFQuadraticSpline1D, 3, 0, 0},
    {"quadratic break points", zev_df_kernel_dDFQuadraticSpline1D, zev_df_kernel_sDFQuadraticSpline1D, 3, 1, 0},
    {"default", zev_df_kernel_dDFDefaultCubicSpline1D, zev_df_kernel_sDFDefaultCubicSpline1D, 4, 0, 0},
    {"natural", zev_df_kernel_dDFNaturalCubicSpline1D, zev_df_kernel_sDFNaturalCubicSpline1D, 4, 2, 0},
    {"hermite", zev_df_kernel_dDFHermiteCubicSpline1D, zev_df_kernel_sDFHermiteCubicSpline1D, 4, 3, 1},
    {"bessel", zev_df_kernel_dDFBesselCubicSpline1D, zev_df_kernel_sDFBesselCubicSpline1D, 4, 4, 0},
    {"hyman", zev_df_kernel_dDFHymanCubicSpline1D, zev_df_kernel_sDFHymanCubicSpline1D, 4, 9, 0},
    {"akima", zev_df_kernel_dDFAkimaCubicSpline1D, zev_df_kernel_sDFAkimaCubicSpline1D, 4, 5, 0},
};

// Every builder refuses knots that are not finite and strictly ascending, or
// whose spacing overflows, and writes no coefficient; a uniform partition is
// judged by the knots it stands for. Knots, values and coefficients sit on
// guarded buffers, so a read of an inner knot of a uniform partition or a
// write past the coefficients faults.
template <class T>
void knots_must_ascend() {
  const T inf = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
  const T big = std::numeric_limits<T>::max();
  const T above_one = std::nextafter(T(1), T(2));
  const int nx = 6;
  struct Case {
    const char* name;
    bool uniform;
    std::vector<T> x;  // nx knots, or the two ends of a uniform partition
    int status;
  } cases[] = {
      {"ascending", false, {0, 1, 2.5, 3, 4.5, 6}, 0},
      {"uniform", true, {-1, 6}, 0},
      {"repeated", false, {0, 1, 1, 3, 4.5, 6}, ZEV_DF_ERROR_BAD_X},
      {"repeated last", false, {0, 1, 2.5, 3, 6, 6}, ZEV_DF_ERROR_BAD_X},
      {"swapped", false, {0, 2.5, 1, 3, 4.5, 6}, ZEV_DF_ERROR_BAD_X},
      {"falling", false, {6, 4.5, 3, 2.5, 1, 0}, ZEV_DF_ERROR_BAD_X},
      {"NaN inner", false, {0, 1, nan, 3, 4.5, 6}, ZEV_DF_ERROR_BAD_X},
      {"NaN first", false, {nan, 1, 2.5, 3, 4.5, 6}, ZEV_DF_ERROR_BAD_X},
      {"+inf last", false, {0, 1, 2.5, 3, 4.5, inf}, ZEV_DF_ERROR_BAD_X},
      {"-inf first", false, {-inf, 1, 2.5, 3, 4.5, 6}, ZEV_DF_ERROR_BAD_X},
      {"spacing overflows", false, {-big / 2, big * T(0.75), big * T(0.8), big * T(0.85), big * T(0.9), big},
       ZEV_DF_ERROR_BAD_X},
      {"uniform reversed", true, {6, -1}, ZEV_DF_ERROR_BAD_X},
      {"uniform equal", true, {2, 2}, ZEV_DF_ERROR_BAD_X},
      {"uniform NaN end", true, {0, nan}, ZEV_DF_ERROR_BAD_X},
      {"uniform infinite end", true, {-inf, 6}, ZEV_DF_ERROR_BAD_X},
      {"uniform span overflows", true, {-big / 4 * 3, big / 4 * 3}, ZEV_DF_ERROR_BAD_X},
      {"uniform ends too close", true, {1, above_one}, ZEV_DF_ERROR_BAD_X},
  };
  const T kUnset = T(-12345);
  for (const KnotBuilder& b : kKnotBuilders) {
    BuildFn fn = sizeof(T) == 8 ? b.d : b.s;
    int64_t stride = b.order * (b.type == 1 && b.order == 3 ? nx : nx - 1);
    for (const Case& c : cases) {
      std::string what = std::string(b.name) + ", " + c.name + (sizeof(T) == 8 ? ", double" : ", float");
      zevtest::Guarded<T> x(c.x.size()), y(nx), ic(nx - 2), coef(stride, 3);
      std::copy(c.x.begin(), c.x.end(), x.begin());
      for (int i = 0; i < nx; ++i) y[i] = T(1 + (i * 7) % 5);
      for (int i = 0; i + 2 < nx; ++i) ic[i] = T(0.5);
      std::fill(coef.begin(), coef.end(), kUnset);
      Task t;
      ASSERT_EQ(new_task(&t.t, nx, x.data(), c.uniform ? 4 : 0, y.data()), 0) << what;
      ASSERT_EQ(edit_pp(t, b.order, b.type, b.ic_kind, b.ic_kind ? ic.data() : nullptr, coef.data()), 0)
          << what;
      EXPECT_EQ(fn(t, 0), c.status) << what;
      EXPECT_TRUE(coef.lead_intact()) << what;
      int64_t written = 0;
      for (T v : coef) written += !(v == kUnset);
      if (c.status == 0) {
        EXPECT_GT(written, 0) << what;
      } else {
        EXPECT_EQ(written, 0) << what;
      }
    }
  }
}

TEST(DfBuild, KnotsMustAscendDouble) { knots_must_ascend<double>(); }
TEST(DfBuild, KnotsMustAscendFloat) { knots_must_ascend<float>(); }

}  // namespace
