// Interpolation and integration: result layouts, the short and the blocked
// paths, caller functions, cells, statuses, and the threaded path's bits.
#include <cmath>
#include <cstring>

#include "df_util.h"
#include "guarded.h"

using fittest::Task;

namespace {

// A natural cubic spline of ny functions on random knots.
struct Fixture {
  int nx, ny;
  std::vector<double> x, y, c;
  Task t;
  Fixture(int nx_, int ny_, uint64_t seed, int64_t order = 4, int64_t type = 2) : nx(nx_), ny(ny_) {
    std::mt19937_64 g(seed);
    x = fittest::random_knots(g, nx);
    std::uniform_real_distribution<double> u(-2, 2);
    y.resize(nx * ny);
    for (double& v : y) v = u(g);
    c.assign(order * (nx - 1) * ny, 0.0);
    EXPECT_EQ(zev_df_kernel_dNewTask1D(&t.t, nx, x.data(), 0, ny, y.data(), 0x10, 0), 0);
    EXPECT_EQ(zev_df_kernel_dEditPPSpline1D(t, order, type, 2, nullptr, 0, nullptr, c.data(), 0x10), 0);
    if (order == 4) {
      EXPECT_EQ(zev_df_kernel_dDFNaturalCubicSpline1D(t, 0), 0);
    } else if (order == 2) {
      EXPECT_EQ(zev_df_kernel_dDFLinearSpline1D(t, 0), 0);
    }
  }
  double ref(int f, double s, int der) const {
    return fittest::eval_pp(x, c.data() + f * 4 * (nx - 1), 4, s, der);
  }
  std::vector<double> sites(int n, uint64_t seed) const {
    std::mt19937_64 g(seed);
    std::uniform_real_distribution<double> u(x.front() - 1, x.back() + 1);
    std::vector<double> s(n);
    for (double& v : s) v = u(g);
    for (int i = 0; i < nx && i < n; ++i) s[(i * 7) % n] = x[i];
    return s;
  }
};

int interp(zev_df_task t, int64_t type, int64_t n, const double* s, int64_t sitehint,
           const int32_t* dorder, double* r, int64_t rhint, const zev_threading* th,
           int32_t* cells = nullptr, const double* datahint = nullptr,
           zev_df_dinterp_fn le = nullptr, zev_df_dinterp_fn re = nullptr,
           zev_df_dinterp_fn ie = nullptr, void* params = nullptr) {
  return zev_df_kernel_dDFInterpolate1D(t, type, 0, n, s, sitehint, 4, dorder, datahint, r, rhint,
                                        le, params, re, params, ie, params, nullptr, nullptr, th,
                                        cells);
}

int integ(zev_df_task t, int64_t n, const double* l, const double* r, double* out, int64_t rhint,
          const zev_threading* th = nullptr, const double* dh = nullptr,
          zev_df_dinteg_fn le = nullptr, zev_df_dinteg_fn re = nullptr) {
  return zev_df_kernel_dDFIntegrate1D(t, 0, n, l, 0, r, 0, dh, dh, out, rhint, le, nullptr, re,
                                      nullptr, nullptr, nullptr, nullptr, nullptr, th);
}

TEST(DfInterp, EveryLayoutHoldsEveryResult) {
  Fixture fx(40, 3, 1);
  const int32_t dorder[4] = {1, 0, 1, 1};  // value, second and third derivatives
  const int orders[3] = {0, 2, 3};
  const int nd = 3;
  for (int n : {1, 7, 700}) {
    std::vector<double> s = fx.sites(n, n);
    for (int64_t rhint : {0x10, 0x20, 0x100, 0x200, 0x0, 0x80}) {
      zevtest::Guarded<double> r(n * fx.ny * nd, 3);
      ASSERT_EQ(interp(fx.t, 1, n, s.data(), 0, dorder, r.data(), rhint, zev_threading_pool()), 0);
      EXPECT_TRUE(r.lead_intact());
      for (int f = 0; f < fx.ny; ++f)
        for (int i = 0; i < n; ++i)
          for (int k = 0; k < nd; ++k) {
            int64_t at;
            switch (rhint) {
              case 0x20: at = (int64_t(f) * nd + k) * n + i; break;
              case 0x100: at = (int64_t(i) * fx.ny + f) * nd + k; break;
              case 0x200: at = (int64_t(i) * nd + k) * fx.ny + f; break;
              default: at = (int64_t(f) * n + i) * nd + k; break;
            }
            double want = fx.ref(f, s[i], orders[k]);
            ASSERT_NEAR(r[at], want, 1e-12 * std::max(1.0, std::fabs(want)))
                << "layout " << rhint << " n " << n << " f " << f << " i " << i << " k " << k;
          }
    }
  }
}

TEST(DfInterp, ShortPathAgreesWithTheBlockedPath) {
  // One site goes the short way; the same site among many goes through blocks.
  Fixture fx(30, 1, 2);
  std::vector<double> s = fx.sites(600, 3);
  s[0] = fx.x.front() - 0.75;  // below the knots: piece 0 goes on
  s[1] = fx.x.back();          // the right end: last piece
  s[2] = fx.x.back() + 2;      // above: last piece goes on
  for (const int32_t* dorder : {(const int32_t[4]){1, 0, 0, 0}, (const int32_t[4]){1, 1, 1, 1}}) {
    int nd = dorder[1] ? 4 : 1;
    std::vector<double> all(s.size() * nd);
    ASSERT_EQ(interp(fx.t, 1, s.size(), s.data(), 0, dorder, all.data(), 0x10, nullptr), 0);
    for (size_t i = 0; i < s.size(); ++i) {
      double one[4];
      ASSERT_EQ(interp(fx.t, 1, 1, &s[i], 0, dorder, one, 0x10, nullptr), 0);
      ASSERT_EQ(memcmp(one, &all[i * nd], nd * sizeof(double)), 0) << i;
    }
    for (int k = 0; k < nd; ++k) {
      EXPECT_NEAR(all[0 * nd + k], fittest::eval_pp(fx.x, fx.c.data(), 4, s[0], k), 1e-12);
      EXPECT_NEAR(all[2 * nd + k], fittest::eval_pp(fx.x, fx.c.data(), 4, s[2], k), 1e-12);
    }
  }
}

TEST(DfInterp, ThreadedPathGivesTheSameBits) {
  Fixture fx(1000, 2, 4);
  const int32_t dorder[4] = {1, 1, 0, 0};
  for (int64_t sitehint : {0, 0x40, 4}) {
    int n = 20000;
    std::vector<double> s = fx.sites(n, 5);
    if (sitehint == 0x40) std::sort(s.begin(), s.end());
    if (sitehint == 4) s = {fx.x.front() - 0.5, fx.x.back() + 0.5};
    std::vector<double> a(n * 4), b(n * 4);
    std::vector<int32_t> ca(n), cb(n);
    ASSERT_EQ(interp(fx.t, 3, n, s.data(), sitehint, dorder, a.data(), 0x100, zev_threading_serial(), ca.data()), 0);
    ASSERT_EQ(interp(fx.t, 3, n, s.data(), sitehint, dorder, b.data(), 0x100, zev_threading_pool(), cb.data()), 0);
    EXPECT_EQ(memcmp(a.data(), b.data(), a.size() * sizeof(double)), 0) << sitehint;
    EXPECT_EQ(ca, cb);
    double step = (s[1] - s[0]) / (n - 1);
    for (int i = 0; i < n; ++i) {
      double si = sitehint == 4 ? s[0] + i * step : s[i];
      ASSERT_EQ(ca[i], fittest::reference_cell(fx.x, si)) << i;
    }
    std::vector<double> l(n), r(n), ia(n * 2), ib(n * 2);
    std::mt19937_64 g(6);
    std::uniform_real_distribution<double> u(fx.x.front() - 2, fx.x.back() + 2);
    for (int i = 0; i < n; ++i) l[i] = u(g), r[i] = u(g);
    ASSERT_EQ(integ(fx.t, n, l.data(), r.data(), ia.data(), 0x20, zev_threading_serial()), 0);
    ASSERT_EQ(integ(fx.t, n, l.data(), r.data(), ib.data(), 0x20, zev_threading_pool()), 0);
    EXPECT_EQ(memcmp(ia.data(), ib.data(), ia.size() * sizeof(double)), 0);
  }
}

// Caller functions: each writes a tag of its side, function and order.
struct Calls {
  int left = 0, right = 0, inner = 0;
  int fail_at = -1;
};
int tag(int side, int64_t* n, int64_t* cell, const double* site, double* r, void* p) {
  auto* c = static_cast<Calls*>(p);
  int& count = side == 1 ? c->left : side == 2 ? c->right : c->inner;
  if (count++ == c->fail_at) return -55;
  EXPECT_EQ(*n, 1);
  for (int j = 0; j < 2 * 2; ++j) r[j] = side * 1000 + *cell + j * 0.25 + 0 * *site;
  return 0;
}
int left_fn(int64_t* n, int64_t* cell, const double* s, double* r, void* p) { return tag(1, n, cell, s, r, p); }
int right_fn(int64_t* n, int64_t* cell, const double* s, double* r, void* p) { return tag(2, n, cell, s, r, p); }
int inner_fn(int64_t* n, int64_t* cell, const double* s, double* r, void* p) { return tag(3, n, cell, s, r, p); }

TEST(DfInterp, CallerFunctionsTakeOverTheirSites) {
  Fixture fx(20, 2, 7);
  const int32_t dorder[4] = {1, 1, 0, 0};
  std::vector<double> s = fx.sites(900, 8);
  int n = static_cast<int>(s.size());
  for (bool with_inner : {false, true}) {
    Calls calls;
    std::vector<double> r(n * 4);
    ASSERT_EQ(interp(fx.t, 1, n, s.data(), 0, dorder, r.data(), 0x100, nullptr, nullptr, nullptr,
                     left_fn, right_fn, with_inner ? inner_fn : nullptr, &calls),
              0);
    int below = 0, above = 0;
    for (int i = 0; i < n; ++i) {
      int32_t cell = fittest::reference_cell(fx.x, s[i]);
      int side = cell == 0 ? 1 : cell == fx.nx ? 2 : (with_inner ? 3 : 0);
      below += cell == 0;
      above += cell == fx.nx;
      for (int f = 0; f < 2; ++f)
        for (int k = 0; k < 2; ++k) {
          double got = r[(i * 2 + f) * 2 + k];
          double want = side ? side * 1000 + cell + (f * 2 + k) * 0.25 : fx.ref(f, s[i], k);
          ASSERT_NEAR(got, want, 1e-12 * std::max(1.0, std::fabs(want))) << i;
        }
    }
    EXPECT_EQ(calls.left, below);
    EXPECT_EQ(calls.right, above);
    EXPECT_EQ(calls.inner, with_inner ? n - below - above : 0);
  }
  // A failing function stops the call with its status; so on the short path.
  Calls failing;
  failing.fail_at = 3;
  std::vector<double> r(n * 4);
  EXPECT_EQ(interp(fx.t, 1, n, s.data(), 0, dorder, r.data(), 0x10, zev_threading_pool(), nullptr,
                   nullptr, left_fn, right_fn, inner_fn, &failing),
            -55);
  Fixture one(20, 1, 9);
  Calls first;
  first.fail_at = 0;
  double below = one.x.front() - 1, out[2];
  EXPECT_EQ(interp(one.t, 1, 1, &below, 0, dorder, out, 0x10, nullptr, nullptr, nullptr, left_fn,
                   nullptr, nullptr, &first),
            -55);
}

TEST(DfInterp, GivenCellsChooseThePieces) {
  Fixture fx(12, 1, 10);
  std::vector<double> s = fx.sites(40, 11);
  std::vector<int32_t> cells(s.size());
  for (size_t i = 0; i < s.size(); ++i) cells[i] = static_cast<int32_t>((i * 5) % (fx.nx + 1));
  std::vector<double> r(s.size());
  ASSERT_EQ(interp(fx.t, 4, s.size(), s.data(), 0, nullptr, r.data(), 0x10, nullptr, cells.data()), 0);
  for (size_t i = 0; i < s.size(); ++i) {
    int p = std::max(0, std::min(cells[i] - 1, fx.nx - 2));
    const double* q = fx.c.data() + 4 * p;
    double d = s[i] - fx.x[p];
    EXPECT_NEAR(r[i], q[0] + d * (q[1] + d * (q[2] + d * q[3])), 1e-12 * (1 + std::fabs(r[i])));
  }
}

TEST(DfInterp, StepAndLookupInterpolants) {
  const double x[4] = {0, 1, 2, 3}, y[4] = {10, 11, 12, 13};
  const double s[8] = {-1, 0, 0.5, 1, 1.5, 3, 4, 2};
  struct Case {
    int64_t type;
    double want[8];
  } cases[] = {
      {7, {10, 10, 10, 11, 11, 13, 13, 12}},    // y[i] on [x[i], x[i+1])
      {8, {10, 10, 11, 11, 12, 13, 13, 12}},    // y[i+1] on (x[i], x[i+1]]
      {6, {NAN, 10, NAN, 11, NAN, 13, NAN, 12}},  // only at the knots
  };
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 4, x, 0, 1, y, 0, 0), 0);
    ASSERT_EQ(zev_df_kernel_dEditPPSpline1D(t, 0, c.type, 0, nullptr, 0, nullptr, nullptr, 0), 0);
    double r[8];
    ASSERT_EQ(interp(t, 1, 8, s, 0, nullptr, r, 0x10, nullptr), 0);
    for (int i = 0; i < 8; ++i) {
      if (std::isnan(c.want[i])) EXPECT_TRUE(std::isnan(r[i])) << c.type << " " << i;
      else EXPECT_EQ(r[i], c.want[i]) << c.type << " " << i;
    }
  }
}

TEST(DfInterp, RejectionsWriteNothing) {
  Fixture fx(10, 1, 12);
  double s[3] = {0, 1, 2};
  struct Case {
    const char* name;
    int64_t order, type, rhint;
    double dh1, dh4;
    int status;
  } cases[] = {
      {"order 3 type 2", 3, 2, 0x10, 0, 0, ZEV_DF_ERROR_BAD_SPLINE_TYPE},
      {"order 4 type 1", 4, 1, 0x10, 0, 0, ZEV_DF_ERROR_BAD_SPLINE_TYPE},
      {"order 1", 1, 0, 0x10, 0, 0, ZEV_DF_ERROR_BAD_SPLINE_TYPE},
      {"order 0 no functions", 0, 0, 0x10, 0, 0, ZEV_DF_ERROR_BAD_SPLINE_TYPE},
      {"result hint 0x40", 4, 2, 0x40, 0, 0, ZEV_DF_ERROR_BAD_RHINT},
      {"data hint 2.0", 4, 2, 0x10, 2.0, 0, ZEV_DF_ERROR_BAD_DATA_HINT},
      {"peak past nx", 4, 2, 0x10, 1.0, 11, ZEV_DF_ERROR_BAD_DATA_HINT},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(zev_df_kernel_iEditVal(fx.t, 18, c.order), 0);
    zev_df_kernel_dEditPPSpline1D(fx.t, c.order, c.type, 2, nullptr, 0, nullptr, nullptr, 0x10);
    double dh[5] = {0, c.dh1, 0, 0, c.dh4};
    for (int n : {1, 3}) {
      double r[3] = {-7, -7, -7};
      EXPECT_EQ(interp(fx.t, 1, n, s, 0, nullptr, r, c.rhint, nullptr, nullptr, dh), c.status) << c.name;
      EXPECT_EQ(r[0], -7) << c.name;
      double a[3] = {0, 0, 0}, b[3] = {1, 1, 1};
      EXPECT_EQ(integ(fx.t, n, a, b, r, c.rhint, nullptr, dh), c.status) << c.name;
      EXPECT_EQ(r[0], -7) << c.name;
    }
  }
}

int integ_left(int64_t*, const double* a, const double* b, double* r, void*) {
  r[0] = 100 * (*b - *a);
  return 0;
}
int integ_right(int64_t*, const double* a, const double* b, double* r, void*) {
  r[0] = 1000 * (*b - *a);
  return 0;
}

TEST(DfInteg, PiecesOutsideTheKnotsAndReversedLimits) {
  Fixture fx(15, 1, 13);
  // The integral through the interpolant's own antiderivative, piece by piece.
  auto exact = [&](double a, double b) {
    auto prim = [&](double s) {  // from x[0], with the end pieces continued
      int nx = fx.nx;
      auto piece_int = [&](int p, double d) {
        const double* q = fx.c.data() + 4 * p;
        return d * (q[0] + d * (q[1] / 2 + d * (q[2] / 3 + d * q[3] / 4)));
      };
      if (s < fx.x[0]) return piece_int(0, s - fx.x[0]);
      double acc = 0;
      int p = 0;
      for (; p < nx - 2 && fx.x[p + 1] <= s; ++p) acc += piece_int(p, fx.x[p + 1] - fx.x[p]);
      return acc + piece_int(p, s - fx.x[p]);
    };
    return prim(b) - prim(a);
  };
  std::vector<double> l = {-10, fx.x[3], fx.x[9], 30, fx.x.back(), fx.x[2] + 0.1, -5};
  std::vector<double> r = {30, fx.x[3], fx.x[2], 40, fx.x[0], fx.x[2] + 0.3, -4};
  int n = static_cast<int>(l.size());
  std::vector<double> got(n);
  ASSERT_EQ(integ(fx.t, n, l.data(), r.data(), got.data(), 0x10), 0);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(got[i], exact(l[i], r[i]), 1e-10 * (1 + std::fabs(got[i]))) << i;
  // Caller functions for the parts outside: [-10, x0] and [x_last, 30] of interval 0.
  ASSERT_EQ(integ(fx.t, n, l.data(), r.data(), got.data(), 0x10, nullptr, nullptr, integ_left,
                  integ_right),
            0);
  double inside = exact(fx.x.front(), fx.x.back());
  EXPECT_NEAR(got[0], 100 * (fx.x.front() + 10) + inside + 1000 * (30 - fx.x.back()), 1e-9);
  EXPECT_NEAR(got[3], 1000 * 10, 1e-9);
  EXPECT_NEAR(got[6], 100 * 1, 1e-12);
  EXPECT_NEAR(got[2], exact(fx.x[9], fx.x[2]), 1e-10);  // reversed: negative
  EXPECT_LT(got[2] * exact(fx.x[2], fx.x[9]), 0);
}

TEST(DfInterp, SinglePrecisionFollowsDouble) {
  Fixture fx(50, 1, 14);
  std::vector<float> xf(fx.x.begin(), fx.x.end()), yf(fx.y.begin(), fx.y.end()), cf(4 * 49);
  Task t;
  ASSERT_EQ(zev_df_kernel_sNewTask1D(&t.t, 50, xf.data(), 0, 1, yf.data(), 0, 0), 0);
  ASSERT_EQ(zev_df_kernel_sEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, cf.data(), 0), 0);
  ASSERT_EQ(zev_df_kernel_sDFNaturalCubicSpline1D(t, 0), 0);
  std::vector<double> s = fx.sites(1000, 15);
  std::vector<float> sf(s.begin(), s.end()), r(s.size());
  ASSERT_EQ(zev_df_kernel_sDFInterpolate1D(t, 1, 0, sf.size(), sf.data(), 0, 0, nullptr, nullptr,
                                           r.data(), 0x10, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, zev_threading_pool(),
                                           nullptr),
            0);
  for (size_t i = 0; i < s.size(); ++i) ASSERT_NEAR(r[i], fx.ref(0, sf[i], 0), 2e-4 * (1 + std::fabs(r[i]))) << i;
  float a = xf.front(), b = xf.back(), integral;
  ASSERT_EQ(zev_df_kernel_sDFIntegrate1D(t, 0, 1, &a, 0, &b, 0, nullptr, nullptr, &integral, 0,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr, nullptr),
            0);
  double want;
  ASSERT_EQ(integ(fx.t, 1, &fx.x.front(), &fx.x.back(), &want, 0), 0);
  EXPECT_NEAR(integral, want, 1e-3 * (1 + std::fabs(want)));
}

}  // namespace
