// Cell search: every method gives the documented numbering, on one thread and on many.
#include <cmath>

#include "df_util.h"
#include "guarded.h"

using fittest::reference_cell;
using fittest::Task;

namespace {

// Sites that exercise every branch: random inside and outside, every knot,
// points just beside the knots, repeats, and the two ends.
// The uniform formula has no walk: a site an ulp beside a knot may round into
// the neighbouring cell, which that method accepts, so it gets no such sites.
std::vector<double> site_mix(std::mt19937_64& g, const std::vector<double>& x, int n,
                             bool beside = true) {
  std::uniform_real_distribution<double> u(x.front() - 2, x.back() + 2);
  std::vector<double> s;
  for (double k : x) {
    s.push_back(k);
    if (!beside) continue;
    s.push_back(std::nextafter(k, -INFINITY));
    s.push_back(std::nextafter(k, INFINITY));
  }
  s.push_back(x.front() - 1e6);
  s.push_back(x.back() + 1e6);
  while (static_cast<int>(s.size()) < n) {
    double v = u(g);
    s.push_back(v);
    if (g() % 8 == 0) s.push_back(v);  // repeats
  }
  s.resize(n);
  std::shuffle(s.begin(), s.end(), g);
  return s;
}

// Caller search: deliberately poor guesses, all marked for repair.
int guessing_search(int64_t* n, const double* sites, int64_t* cells, int* flags, void* params) {
  int64_t nx = *static_cast<int64_t*>(params);
  for (int64_t i = 0; i < *n; ++i) {
    cells[i] = (i * 7919 + static_cast<int64_t>(std::fabs(sites[i]) * 13)) % (nx + 3) - 1;
    flags[i] = 0;
  }
  return 0;
}

// Caller search that knows the answer and says so.
struct Exact {
  const std::vector<double>* x;
};
int exact_search(int64_t* n, const double* sites, int64_t* cells, int* flags, void* params) {
  const auto* e = static_cast<Exact*>(params);
  for (int64_t i = 0; i < *n; ++i) {
    cells[i] = reference_cell(*e->x, sites[i]);
    flags[i] = 1;
  }
  return 1000;
}
int failing_search(int64_t*, const double*, int64_t*, int*, void*) { return -77; }

struct Method {
  const char* name;
  int64_t xhint;
  bool uniform_knots;
  bool sorted;
  int peak;   // -1: no data hint
  int user;   // 0 none, 1 guessing, 2 exact
};

class SearchMethods : public ::testing::TestWithParam<Method> {};

TEST_P(SearchMethods, NumberingMatchesBinarySearch) {
  const Method& m = GetParam();
  std::mt19937_64 g(42);
  zev_threading_pool_set_size(3);
  for (int nx : {2, 3, 17, 40, 1000}) {
    std::vector<double> x = fittest::random_knots(g, nx);
    if (m.uniform_knots)  // integer knots: the uniform formula is exact on them
      for (int i = 0; i < nx; ++i) x[i] = i - 5.0;
    double ends[2] = {x.front(), x.back()};
    Task t;
    ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, nx, m.uniform_knots ? ends : x.data(), m.xhint, 0,
                                       nullptr, 0, 0),
              0);
    for (int n : {1, 31, 33, 1001, 3500}) {
      std::vector<double> s = site_mix(g, x, n, !m.uniform_knots);
      if (m.sorted) std::sort(s.begin(), s.end());
      double dh[5] = {0, 0, 0, 0, 0};
      if (m.peak >= 0) {
        dh[1] = 1.0;
        dh[4] = m.peak == 1000 ? nx : std::min(m.peak, nx);
      }
      int64_t nx64 = nx;
      Exact exact{&x};
      zev_df_dsearch_fn fn = m.user == 1 ? guessing_search : m.user == 2 ? exact_search : nullptr;
      void* params = m.user == 1 ? static_cast<void*>(&nx64) : &exact;
      for (const zev_threading* th : {zev_threading_serial(), zev_threading_pool()}) {
        zevtest::Guarded<int32_t> cells(n);
        ASSERT_EQ(zev_df_kernel_dDFSearch1D(t, 0, n, s.data(), m.sorted ? 0x40 : 0,
                                            m.peak >= 0 ? dh : nullptr, cells.data(), fn, params,
                                            th),
                  0);
        for (int i = 0; i < n; ++i)
          ASSERT_EQ(cells[i], reference_cell(x, s[i]))
              << m.name << " nx=" << nx << " n=" << n << " site=" << s[i];
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, SearchMethods,
    ::testing::Values(Method{"uniform", 4, true, false, -1, 0},
                      Method{"quasi_uniform", 2, false, false, -1, 0},
                      Method{"sorted", 0, false, true, -1, 0},
                      Method{"peak_low", 0, false, false, 0, 0},
                      Method{"peak_mid", 0, false, false, 9, 0},
                      Method{"peak_top", 0, false, false, 1000, 0},
                      Method{"hybrid", 1, false, false, -1, 0},
                      Method{"hybrid_no_hint", 0, false, false, -1, 0},
                      Method{"user_repaired", 0, false, false, -1, 1},
                      Method{"user_final", 0, false, false, -1, 2},
                      Method{"uniform_user_repaired", 4, true, false, -1, 1}),
    [](const auto& i) { return std::string(i.param.name); });

TEST(DfSearch, DataHintAndEmptyCalls) {
  std::vector<double> x = {0, 1, 2, 3};
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 4, x.data(), 0, 0, nullptr, 0, 0), 0);
  struct Case {
    double entry1, entry4;
    int status;
  } cases[] = {{0.0, 99, 0}, {1.0, 4, 0}, {1.0, 0, 0}, {1.0, 5, ZEV_DF_ERROR_BAD_DATA_HINT},
               {1.0, -1, ZEV_DF_ERROR_BAD_DATA_HINT}, {2.0, 1, ZEV_DF_ERROR_BAD_DATA_HINT}};
  double s[3] = {-1, 1.5, 3};
  for (const Case& c : cases) {
    double dh[5] = {0, c.entry1, 0, 0, c.entry4};
    int32_t cells[3] = {-9, -9, -9};
    EXPECT_EQ(zev_df_kernel_dDFSearch1D(t, 0, 3, s, 0, dh, cells, nullptr, nullptr, nullptr),
              c.status);
    if (c.status == 0) {
      EXPECT_EQ(cells[0], 0);
      EXPECT_EQ(cells[1], 2);
      EXPECT_EQ(cells[2], 3);
    } else {
      EXPECT_EQ(cells[0], -9);  // nothing written on a rejected call
    }
  }
  int32_t untouched = -9;
  EXPECT_EQ(zev_df_kernel_dDFSearch1D(t, 0, 0, s, 0, nullptr, &untouched, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(untouched, -9);
  int32_t cells[3];
  EXPECT_EQ(zev_df_kernel_dDFSearch1D(t, 0, 3, s, 0, nullptr, cells, failing_search, nullptr,
                                      nullptr),
            -77);
}

TEST(DfSearch, SitesFromTheirEnds) {
  std::mt19937_64 g(7);
  std::vector<double> x = fittest::random_knots(g, 50);
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 50, x.data(), 0, 0, nullptr, 0, 0), 0);
  for (int n : {2, 100, 5000}) {  // the last one takes heap memory for the sites
    double ends[2] = {x.front() - 1, x.back() + 1};
    zevtest::Guarded<int32_t> cells(n);
    ASSERT_EQ(zev_df_kernel_dDFSearch1D(t, 0, n, ends, 4, nullptr, cells.data(), nullptr, nullptr,
                                        zev_threading_pool()),
              0);
    double step = (ends[1] - ends[0]) / (n - 1);
    for (int i = 0; i < n; ++i) ASSERT_EQ(cells[i], reference_cell(x, ends[0] + i * step)) << i;
  }
}

TEST(DfSearch, LookupTableFollowsThePartitionHint) {
  std::mt19937_64 g(9);
  std::vector<double> x = fittest::random_knots(g, 300), y = fittest::random_knots(g, 300, 100, 3);
  double ends[2] = {0, 1};
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 2, ends, 4, 0, nullptr, 0, 0), 0);
  // Made uniform (no table), then given real knots with hint 0: still right.
  ASSERT_EQ(zev_df_kernel_iEditVal(t, 14, 300), 0);
  ASSERT_EQ(zev_df_kernel_dEditPtr(t, 1, x.data()), 0);
  ASSERT_EQ(zev_df_kernel_iEditVal(t, 15, 0), 0);
  auto check = [&](const std::vector<double>& k) {
    std::vector<double> s = site_mix(g, k, 2000);
    std::vector<int32_t> cells(s.size());
    ASSERT_EQ(zev_df_kernel_dDFSearch1D(t, 0, s.size(), s.data(), 0, nullptr, cells.data(),
                                        nullptr, nullptr, nullptr),
              0);
    for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(cells[i], reference_cell(k, s[i]));
  };
  check(x);
  ASSERT_EQ(zev_df_kernel_iEditVal(t, 15, 1), 0);  // builds the table
  check(x);
  ASSERT_EQ(zev_df_kernel_dEditPtr(t, 1, y.data()), 0);
  ASSERT_EQ(zev_df_kernel_iEditVal(t, 15, 1), 0);  // rebuilds it for the new knots
  check(y);
}

TEST(DfSearch, SinglePrecisionAndDirectMembers) {
  std::mt19937_64 g(11);
  std::vector<double> xd = fittest::random_knots(g, 200);
  std::vector<float> x(xd.begin(), xd.end());
  Task t;
  ASSERT_EQ(zev_df_kernel_sNewTask1D(&t.t, 200, x.data(), 0, 0, nullptr, 0, 0), 0);
  std::vector<double> sd = site_mix(g, xd, 3000);
  std::vector<float> s(sd.begin(), sd.end());
  for (float k : x) s.push_back(k);
  std::vector<int32_t> a(s.size()), b(s.size()), c(s.size());
  ASSERT_EQ(zev_df_kernel_sDFSearch1D(t, 0, s.size(), s.data(), 0, nullptr, a.data(), nullptr,
                                      nullptr, zev_threading_pool()),
            0);
  ASSERT_EQ(zev_df_kernel_sDFHybridSearch1D32(t, static_cast<int32_t>(s.size()), s.data(),
                                              b.data(), nullptr, nullptr, nullptr, nullptr),
            0);
  ASSERT_EQ(zev_df_kernel_sDFQuasiUniformSearch1D(t, s.size(), s.data(), c.data(), nullptr,
                                                  nullptr, nullptr, nullptr),
            0);
  for (size_t i = 0; i < s.size(); ++i) {
    ASSERT_EQ(a[i], reference_cell(x, s[i])) << s[i];
    ASSERT_EQ(b[i], a[i]);
    ASSERT_EQ(c[i], a[i]);
  }
}

}  // namespace
