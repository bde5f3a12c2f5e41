// Sorting, selection, quantiles and order statistics, against std::sort and
// the quantile formula on the sorted data.
#include <algorithm>

#include "guarded.h"
#include "ss_util.h"
#include "zev/zev_threading.h"

using sstest::Task;
using zevtest::Guarded;

namespace {

// Arrays that stress a quicksort: random, sorted, reversed, all equal, few
// distinct values, organ pipe; every length around the insertion cut-off.
std::vector<double> shaped(int kind, int n, std::mt19937_64& g) {
  std::vector<double> a(n);
  std::uniform_real_distribution<double> u(-1, 1);
  for (int i = 0; i < n; ++i) {
    switch (kind) {
      case 0: a[i] = u(g); break;
      case 1: a[i] = i; break;
      case 2: a[i] = n - i; break;
      case 3: a[i] = 4; break;
      case 4: a[i] = static_cast<int>(g() % 3); break;
      default: a[i] = std::min(i, n - i); break;
    }
  }
  return a;
}

TEST(SsSort, QSortAndSelect) {
  std::mt19937_64 g(5);
  for (int kind = 0; kind < 6; ++kind)
    for (int n : {0, 1, 2, 3, 6, 7, 8, 9, 15, 16, 17, 100, 1000, 4097}) {
      std::vector<double> a = shaped(kind, n, g), want = a;
      std::sort(want.begin(), want.end());
      Guarded<double> b(n, 1);
      std::copy(a.begin(), a.end(), b.begin());
      __vqsdQSort(n, b.data());
      EXPECT_TRUE(std::equal(want.begin(), want.end(), b.begin())) << kind << " " << n;
      EXPECT_TRUE(b.lead_intact());
      std::vector<float> f(a.begin(), a.end()), wf(want.begin(), want.end());
      __vqssQSort(n, f.data());
      EXPECT_EQ(f, wf);
      for (int k = 0; k < n; k += std::max(1, n / 7)) {
        std::copy(a.begin(), a.end(), b.begin());
        EXPECT_EQ(__vqsdQSortSelect(n, b.data(), k), want[k]) << kind << " " << n << " " << k;
        std::vector<double> c(b.begin(), b.end());
        std::sort(c.begin(), c.end());
        EXPECT_EQ(c, want) << "select must only rearrange";
      }
    }
}

double reference_quantile(std::vector<double> v, double q) {
  std::sort(v.begin(), v.end());
  const int64_t n = v.size();
  double t = q * (n - 1);
  int64_t k = static_cast<int64_t>(t);
  double f = t - k;
  return v[k] * (1 - f) + f * v[std::min<int64_t>(k + 1, n - 1)];
}

TEST(SsQuantiles, ValuesAndOrderStatistics) {
  const int32_t p = 3, n = 1001;
  std::vector<double> rows = sstest::gaussian(p, n, 0, 1, 9);
  std::vector<double> cols = sstest::transpose(rows, p, n);
  const double orders[5] = {0, 0.1, 0.5, 0.975, 1};
  const int32_t count = 5;
  zev_threading_pool_set_size(2);
  for (int32_t layout : {ZEV_SS_MATRIX_STORAGE_ROWS, ZEV_SS_MATRIX_STORAGE_COLS}) {
    for (int32_t out_layout : {ZEV_SS_MATRIX_STORAGE_ROWS, ZEV_SS_MATRIX_STORAGE_COLS}) {
      for (bool stats : {false, true}) {
        int32_t pp = p, nn = n, lay = layout, olay = out_layout;
        Task t;
        const double* x = layout == ZEV_SS_MATRIX_STORAGE_ROWS ? rows.data() : cols.data();
        ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, &nn, &lay, x, nullptr, nullptr, 0), 0);
        Guarded<double> q(p * count, 1), s(p * n, 1);
        ASSERT_EQ(__vqsdSSEditQuantiles(t.t, &count, orders, q.data(), s.data(), &olay), 0);
        const int64_t mask = ZEV_SS_QUANTS | (stats ? ZEV_SS_ORDER_STATS : 0);
        ASSERT_EQ(_vqsdSSQuantiles(t.t, mask, ZEV_SS_METHOD_FAST_QUANTILES, zev_threading_pool()), 0);
        for (int j = 0; j < p; ++j) {
          std::vector<double> v(rows.begin() + j * n, rows.begin() + (j + 1) * n), sorted = v;
          std::sort(sorted.begin(), sorted.end());
          for (int m = 0; m < count; ++m)
            EXPECT_EQ(q[j * count + m], reference_quantile(v, orders[m])) << j << " " << m;
          EXPECT_EQ(q[j * count], sorted[0]);           // order 0: the smallest
          EXPECT_EQ(q[j * count + 4], sorted[n - 1]);   // order 1: the largest
          if (stats)
            for (int i = 0; i < n; ++i) {
              double got = out_layout == ZEV_SS_MATRIX_STORAGE_ROWS ? s[j * n + i] : s[i * p + j];
              EXPECT_EQ(got, sorted[i]);
            }
        }
        EXPECT_TRUE(q.lead_intact() && s.lead_intact());
      }
    }
  }
}

// Large variables go through a histogram of their range; data that crowd
// one cell, fall outside the sampled range, hold infinities or one value
// throughout must give the quantiles of the sorted data all the same.
TEST(SsQuantiles, LargeVariablesAgainstSortedData) {
  const int32_t n = 40000, count = 7;
  const double orders[count] = {0, 1e-5, 0.1, 0.5, 0.5 + 1e-5, 0.999, 1};
  std::mt19937_64 g(21);
  std::normal_distribution<double> z;
  struct Case {
    const char* name;
    double (*value)(int64_t i, double z);
  } cases[] = {
      {"gaussian", [](int64_t, double z) { return 10 + z; }},
      {"few values", [](int64_t i, double) { return static_cast<double>(i * 7919 % 5); }},
      {"one value", [](int64_t, double) { return 3.5; }},
      {"spike and far tail", [](int64_t i, double z) { return i % 3 ? 1 + 1e-12 * z : 1e300 * z; }},
      {"infinities", [](int64_t i, double z) {
         return i % 1000 == 1 ? INFINITY : i % 1000 == 2 ? -INFINITY : z;
       }},
      {"sorted", [](int64_t i, double) { return static_cast<double>(i); }},
  };
  for (const Case& c : cases) {
    std::vector<double> x(n);
    for (int64_t i = 0; i < n; ++i) x[i] = c.value(i, z(g));
    std::vector<double> sorted = x;
    std::sort(sorted.begin(), sorted.end());
    int32_t p = 1, nn = n, lay = ZEV_SS_MATRIX_STORAGE_ROWS;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &nn, &lay, x.data(), nullptr, nullptr, 0), 0);
    Guarded<double> q(count, 1);
    ASSERT_EQ(__vqsdSSEditQuantiles(t.t, &count, orders, q.data(), nullptr, nullptr), 0);
    ASSERT_EQ(_vqsdSSQuantiles(t.t, ZEV_SS_QUANTS, ZEV_SS_METHOD_FAST_QUANTILES, zev_threading_serial()), 0);
    for (int m = 0; m < count; ++m) {
      const double want = reference_quantile(sorted, orders[m]);
      if (std::isnan(want)) continue;  // inf - inf between the two ranks
      EXPECT_EQ(q[m], want) << c.name << " order " << orders[m];
    }
    EXPECT_TRUE(q.lead_intact());
  }
}

TEST(SsQuantiles, Statuses) {
  const int32_t p = 2, n = 4, rows = 0x10000, bad = 0x40000;
  double x[8] = {4, 3, 2, 1, 8, 7, 6, 5}, ok[1] = {0.5}, high[1] = {1.5}, neg[1] = {-0.1};
  const int32_t one = 1, minus = -1;
  struct Case {
    int64_t mask, method;
    const int32_t *storage, *count, *stats_storage;
    const double* orders;
    bool quantiles, stats;
    int status;
  } cases[] = {
      {ZEV_SS_QUANTS, 1, &bad, &one, &rows, ok, true, true, -4003},
      {ZEV_SS_QUANTS, 1, nullptr, &one, &rows, ok, true, true, -4044},
      {ZEV_SS_QUANTS, 1, &rows, &one, &rows, ok, false, true, -4023},
      {ZEV_SS_QUANTS, 1, &rows, &one, &rows, nullptr, true, true, -4021},
      {ZEV_SS_QUANTS, 1, &rows, nullptr, &rows, ok, true, true, -4022},
      {ZEV_SS_QUANTS, 1, &rows, &minus, &rows, ok, true, true, -4022},
      {ZEV_SS_QUANTS, 1, &rows, &one, &rows, high, true, true, -4022},
      {ZEV_SS_QUANTS, 1, &rows, &one, &rows, neg, true, true, -4022},
      {ZEV_SS_ORDER_STATS, 1, &rows, &one, &rows, ok, true, false, -4024},
      {ZEV_SS_ORDER_STATS, 1, &rows, &one, nullptr, ok, true, true, -4044},
      {ZEV_SS_ORDER_STATS, 1, &rows, &one, &bad, ok, true, true, -4003},
      {ZEV_SS_QUANTS, 2, &rows, &one, &rows, ok, true, true, -4029},
      {ZEV_SS_QUANTS | ZEV_SS_ORDER_STATS, 1, &rows, &one, &rows, ok, true, true, 0},
  };
  for (const Case& c : cases) {
    int32_t pp = p, nn = n;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, &nn, &rows, x, nullptr, nullptr, 0), 0);
    double q[2] = {-9, -9}, s[8] = {-9, -9, -9, -9, -9, -9, -9, -9};
    ASSERT_EQ(__vqsdSSEditQuantiles(t.t, c.count, c.orders, c.quantiles ? q : nullptr,
                                    c.stats ? s : nullptr, c.stats_storage),
              0);
    if (c.storage) {
      ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_OBSERV_STORAGE, c.storage), 0);
    } else {
      Task u;  // a task whose storage was never given
      ASSERT_EQ(__vqsdSSNewTask(&u.t, &pp, &nn, nullptr, nullptr, nullptr, nullptr, 0), 0);
      ASSERT_EQ(__vqsdSSEditTask(u.t, ZEV_SS_ED_OBSERV, x), 0);
      ASSERT_EQ(__vqsdSSEditQuantiles(u.t, c.count, c.orders, q, s, c.stats_storage), 0);
      std::swap(t.t, u.t);
    }
    EXPECT_EQ(_vqsdSSQuantiles(t.t, c.mask, c.method, nullptr), c.status) << c.status;
    if (c.status != 0) {
      EXPECT_EQ(q[0], -9);
      EXPECT_EQ(s[0], -9);
    } else {
      EXPECT_EQ(q[0], 2.5);
      EXPECT_EQ(q[1], 6.5);
      EXPECT_EQ(s[0], 1);
      EXPECT_EQ(s[7], 8);
    }
  }
  EXPECT_EQ(_vqssSSQuantiles(nullptr, ZEV_SS_QUANTS, 1, nullptr), ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR);
}

TEST(SsSort, SortEntry) {
  const int32_t p = 3, n = 5, rows = 0x10000, cols = 0x20000, bad = 0x40000;
  const double x0[15] = {5, 1, 4, 2, 3, 0, -1, 9, 8, 7, 2, 2, 1, 3, 1};
  int32_t mask[3] = {1, 0, 1};
  struct Case {
    const int32_t *in, *out;
    bool in_place, masked;
    int64_t method;
    int status;
  } cases[] = {
      {&rows, &rows, false, false, ZEV_SS_METHOD_RADIX_SORT, 0},
      {&rows, &cols, false, true, ZEV_SS_METHOD_RADIX_SORT, 0},
      {&rows, &rows, true, false, ZEV_SS_METHOD_RADIX_SORT, 0},
      {&rows, &cols, true, false, ZEV_SS_METHOD_RADIX_SORT, -4044},
      {&rows, &rows, true, true, ZEV_SS_METHOD_RADIX_SORT, -4085},
      {&rows, &bad, false, false, ZEV_SS_METHOD_RADIX_SORT, -4003},
      {&rows, &rows, false, false, 0x1, -4029},
  };
  for (const Case& c : cases) {
    double x[15], out[15];
    std::copy(x0, x0 + 15, x);
    std::fill(out, out + 15, -9.0);
    int32_t pp = p, nn = n;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, &nn, c.in, x, nullptr, c.masked ? mask : nullptr, 0), 0);
    double* target = c.in_place ? x : out;
    EXPECT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_SORTED_OBSERV, nullptr), -4084);
    EXPECT_EQ(_vqsdSSSort(t.t, 0, c.method, nullptr), -4084);
    ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_SORTED_OBSERV, target), 0);
    EXPECT_EQ(_vqsdSSSort(t.t, 0, c.method, nullptr), -4044);  // no sorted_storage yet
    ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_SORTED_OBSERV_STORAGE, c.out), 0);
    EXPECT_EQ(_vqsdSSSort(t.t, 0, c.method, zev_threading_pool()), c.status);
    if (c.status != 0) {
      EXPECT_TRUE(std::equal(x, x + 15, x0));
      EXPECT_EQ(out[0], -9);
      continue;
    }
    for (int j = 0; j < p; ++j) {
      std::vector<double> want(x0 + j * n, x0 + (j + 1) * n);
      std::sort(want.begin(), want.end());
      for (int i = 0; i < n; ++i) {
        double got = *c.out == rows ? target[j * n + i] : target[i * p + j];
        if (c.masked && !mask[j]) EXPECT_EQ(got, -9.0);
        else EXPECT_EQ(got, want[i]) << j << " " << i;
      }
    }
  }
}

}  // namespace

namespace {

// Weighted quantiles worked by hand: S the total weight, target q*S.
TEST(SsWMedian, Cases) {
  struct Case {
    std::vector<double> x, w;
    double q, want;
  } cases[] = {
      {{3, 1, 2}, {1, 1, 1}, 0.5, 2},                 // odd count: the middle value
      {{1, 2, 3, 4}, {1, 1, 1, 1}, 0.5, 2.5},         // the sum lands on 2: mean of 2 and 3
      {{1, 2, 3, 4}, {1, 1, 1, 5}, 0.5, 3.2},         // passes 4 inside the last step
      {{1, 2, 3, 4, 5, 6}, {1, 1, 0, 0, 1, 1}, 0.5, 3.5},  // skips zero weights to 5
      {{4, 2, 9}, {1, 1, 1}, 0, 2},                   // order 0: the smallest
      {{4, 2, 9}, {2, 1, 1}, 1, 9},                   // order 1: the largest
  };
  for (const Case& c : cases) {
    int32_t p = 1, n = static_cast<int32_t>(c.x.size()), layout = 0x10000;
    double out = -1;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, c.x.data(), c.w.data(), nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditQuantiles(t.t, nullptr, &c.q, &out, nullptr, nullptr), 0);
    ASSERT_EQ(_vqsdSSWMedian(t.t, 0, 0, nullptr), 0);
    EXPECT_DOUBLE_EQ(out, c.want) << c.q << " " << c.want;
  }
  // Several variables, observation-contiguous, unweighted, two threads.
  int32_t p = 2, n = 5, layout = 0x20000;
  double x[10] = {5, 50, 1, 10, 4, 40, 2, 20, 3, 30}, q = 0.5, out[2] = {-1, -1};
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, x, nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditQuantiles(t.t, nullptr, &q, out, nullptr, nullptr), 0);
  ASSERT_EQ(_vqsdSSWMedian(t.t, 0, 0, zev_threading_pool()), 0);
  // Five unit weights, target 2.5: the running sum passes it inside the step
  // to the third value, so the result interpolates between the second and
  // third (the even-count rule takes the middle of two values only where the
  // sum lands exactly on the target).
  EXPECT_EQ(out[0], 2.5);
  EXPECT_EQ(out[1], 25);
  double bad = 1.5;
  ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_QUANT_ORDER, &bad), 0);
  EXPECT_EQ(_vqsdSSWMedian(t.t, 0, 0, nullptr), -4022);
  EXPECT_EQ(_vqsdSSWMedian(nullptr, 0, 0, nullptr), -4031);
}

TEST(SsMAD, ValuesAndStatuses) {
  // Variable 0: {1, 2, 3, 4, 100}; variable 1 masked out.
  const double x0[10] = {1, 2, 3, 4, 100, 7, 7, 7, 7, 7};
  double x[10];
  std::copy(x0, x0 + 10, x);
  double w[5] = {1, 1, 1, 1, 0};
  int32_t p = 2, n = 5, rows = 0x10000, mask[2] = {1, 0};
  for (bool weighted : {false, true}) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &rows, x, weighted ? w : nullptr, mask, 0), 0);
    double mdad[2] = {-1, -1}, mnad[2] = {-1, -1}, mean[2] = {3, 0};
    ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MDAD, mdad), 0);
    ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MNAD, mnad), 0);
    ASSERT_EQ(_vqsdSSMAD(t.t, ZEV_SS_MDAD | ZEV_SS_MNAD, 0x1, zev_threading_pool()), 0);
    EXPECT_EQ(mdad[0], 1);                           // deviations from 3: {2, 1, 0, 1, 97}
    EXPECT_DOUBLE_EQ(mnad[0], weighted ? 1.0 : 31.2);  // around 2.5 or 22
    EXPECT_EQ(mdad[1], -1);                          // masked
    EXPECT_EQ(mnad[1], -1);
    ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MEAN, mean), 0);
    ASSERT_EQ(_vqsdSSMAD(t.t, ZEV_SS_MNAD, 0x100, nullptr), 0);
    EXPECT_DOUBLE_EQ(mnad[0], weighted ? 1.0 : 20.2);  // around the caller's 3
    EXPECT_TRUE(std::equal(x, x + 10, x0)) << "the observations stay as they were";
  }
  struct Case {
    int64_t mask, method;
    int32_t dim, count, storage;
    bool mdad, mnad, mean;
    int status;
  } cases[] = {
      {ZEV_SS_MDAD, 1, 0, 5, 0x10000, true, true, true, -4001},
      {ZEV_SS_MDAD, 1, 2, 0, 0x10000, true, true, true, -4002},
      {ZEV_SS_MDAD, 1, 2, 5, 0x30000, true, true, true, -4003},  // compared whole
      {ZEV_SS_MDAD, 1, 2, 5, 0x10000, false, true, true, -4082},
      {ZEV_SS_MNAD, 1, 2, 5, 0x10000, true, false, true, -4083},
      {ZEV_SS_MDAD, 0x100, 2, 5, 0x10000, true, true, true, -4029},
      {ZEV_SS_MNAD, 2, 2, 5, 0x10000, true, true, true, -4029},
      {ZEV_SS_MNAD, 0x100, 2, 5, 0x10000, true, true, false, -4006},
      {ZEV_SS_MNAD, 0x100, 2, 5, 0x20000, true, true, true, 0},
  };
  for (const Case& c : cases) {
    int32_t pp = 2, nn = 5;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, &nn, &rows, x, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_DIMEN, &c.dim), 0);
    ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_OBSERV_N, &c.count), 0);
    ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_OBSERV_STORAGE, &c.storage), 0);
    double mdad[2] = {-1, -1}, mnad[2] = {-1, -1}, mean[2] = {0, 0};
    if (c.mdad) {
      ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MDAD, mdad), 0);
    }
    if (c.mnad) {
      ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MNAD, mnad), 0);
    }
    if (c.mean) {
      ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MEAN, mean), 0);
    }
    EXPECT_EQ(_vqsdSSMAD(t.t, c.mask, c.method, nullptr), c.status) << c.status;
    if (c.status != 0) {
      EXPECT_EQ(mdad[0], -1);
      EXPECT_EQ(mnad[0], -1);
    }
  }
}

}  // namespace
