// Minmax, PooledCovariance, PartialCovariance and MahDistance against direct
// long-double computations in the test, and their statuses.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "tests/stats/ss_util.h"
#include "zev/zev_threading.h"

using sstest::Task;

namespace {

constexpr int32_t kRows = ZEV_SS_MATRIX_STORAGE_ROWS, kCols = ZEV_SS_MATRIX_STORAGE_COLS;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Reads entry (i, k) of a p by p matrix in storage form f.
double at(const std::vector<double>& m, int f, int p, int i, int k) {
  if (f == ZEV_SS_MATRIX_STORAGE_FULL) return m[i * p + k];
  if (i > k) std::swap(i, k);
  return f == ZEV_SS_MATRIX_STORAGE_U_PACKED ? m[i * p - i * (i - 1) / 2 + (k - i)]
                                             : m[k * (k + 1) / 2 + i];
}

TEST(SsMinmax, LayoutsWeightsMaskNaNAndBlocks) {
  const int32_t p = 3, n = 5;
  // variable-major data; variable 2 holds a NaN
  const std::vector<double> x = {4, -1, 7, 2, 0, 1e300, -1e300, 5, 5, 5, 1, kNaN, 3, 2, 9};
  const std::vector<double> w = {1, 0, 1, 1, 1};  // observation 1 does not count
  const int32_t mask[3] = {1, 1, 1}, mask_skip1[3] = {1, 0, 1};
  struct Case {
    int32_t layout;
    bool weighted;
    const int32_t* vmask;
    double lo[3], hi[3];
  };
  const Case cases[] = {
      {kRows, false, nullptr, {-1, -1e300, kNaN}, {7, 1e300, kNaN}},
      {kCols, false, mask, {-1, -1e300, kNaN}, {7, 1e300, kNaN}},
      {kRows, true, nullptr, {0, 5, 1}, {7, 1e300, 9}},
      {kCols, true, mask_skip1, {0, -9, 1}, {7, -9, 9}},
  };
  for (const Case& c : cases) {
    const std::vector<double> data = c.layout == kRows ? x : sstest::transpose(x, p, n);
    double lo[3] = {-9, -9, -9}, hi[3] = {-9, -9, -9};
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &c.layout, data.data(), c.weighted ? w.data() : nullptr,
                              c.vmask, 0), 0);
    ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_MIN, lo), 0);
    ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_MAX, hi), 0);
    ASSERT_EQ(_vqsdSSMinmax(t, ZEV_SS_MIN | ZEV_SS_MAX, ZEV_SS_METHOD_MINMAX, nullptr), 0);
    for (int j = 0; j < p; ++j) {
      if (std::isnan(c.lo[j])) {
        EXPECT_TRUE(std::isnan(lo[j]) && std::isnan(hi[j])) << j;
        continue;
      }
      EXPECT_EQ(lo[j], c.lo[j]) << "layout " << c.layout << " var " << j;
      EXPECT_EQ(hi[j], c.hi[j]) << "layout " << c.layout << " var " << j;
    }
  }
  // Two blocks folded with the update method equal one call over both.
  const int32_t one = 1, half = 3, rest = 2;
  std::vector<double> a = {4, -1, 7}, b = {2, 0};
  double lo = 0, hi = 0;
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &one, &half, &kRows, a.data(), nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_MIN, &lo), 0);
  ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_MAX, &hi), 0);
  ASSERT_EQ(_vqsdSSMinmax(t, ZEV_SS_MIN | ZEV_SS_MAX, ZEV_SS_METHOD_MINMAX, nullptr), 0);
  ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_OBSERV, b.data()), 0);
  ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_OBSERV_N, &rest), 0);
  ASSERT_EQ(_vqsdSSMinmax(t, ZEV_SS_MIN | ZEV_SS_MAX, ZEV_SS_METHOD_MINMAX_UPDATE, nullptr), 0);
  EXPECT_EQ(lo, -1);
  EXPECT_EQ(hi, 7);
}

// Per-group two-pass references in long double.
struct GroupRef {
  std::vector<long double> mean, cov;  // p, p*p
  long double W = 0, dof = 0;
};

TEST(SsPooled, AgainstTwoPassPerGroup) {
  const int32_t p = 3, n = 400, G = 4;
  const std::vector<double> x = sstest::gaussian(p, n, 10, 2, 7);
  std::vector<int32_t> idx(n);
  std::vector<double> w(n);
  for (int i = 0; i < n; ++i) {
    idx[i] = (i * 7 + i / 3) % 3;  // groups 0, 1, 2; group 3 stays empty
    w[i] = 0.5 + (i % 5) * 0.25;
  }
  idx[17] = 3;  // group 3 holds one observation: its covariance is NaN
  const int32_t flags[G] = {1, 0, 1, 1};
  for (bool weighted : {false, true})
    for (int form : {ZEV_SS_MATRIX_STORAGE_FULL, ZEV_SS_MATRIX_STORAGE_U_PACKED}) {
      std::vector<GroupRef> ref(G);
      for (auto& r : ref) r.mean.assign(p, 0), r.cov.assign(p * p, 0);
      for (int i = 0; i < n; ++i) {
        const long double wi = weighted ? w[i] : 1;
        ref[idx[i]].W += wi;
        for (int j = 0; j < p; ++j) ref[idx[i]].mean[j] += wi * x[j * n + i];
      }
      std::vector<long double> W2(G, 0);
      for (int i = 0; i < n; ++i) W2[idx[i]] += weighted ? w[i] * w[i] : 1;
      for (int g = 0; g < G; ++g) {
        for (auto& m : ref[g].mean) m /= ref[g].W;
        ref[g].dof = ref[g].W - W2[g] / ref[g].W;
      }
      for (int i = 0; i < n; ++i) {
        GroupRef& r = ref[idx[i]];
        const long double wi = weighted ? w[i] : 1;
        for (int a = 0; a < p; ++a)
          for (int b = 0; b < p; ++b)
            r.cov[a * p + b] += wi * (x[a * n + i] - r.mean[a]) * (x[b * n + i] - r.mean[b]);
      }
      const int msize = form == ZEV_SS_MATRIX_STORAGE_FULL ? p * p : p * (p + 1) / 2;
      std::vector<double> pm(p), pc(msize), gm(3 * p), gc(3 * msize);
      Task t;
      ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x.data(), weighted ? w.data() : nullptr,
                                nullptr, 0), 0);
      ASSERT_EQ(__vqsdSSEditPooledCovariance(t, idx.data(), pm.data(), pc.data(), flags, gm.data(),
                                             gc.data()), 0);
      ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_POOLED_COV_STORAGE, &form), 0);
      ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_GROUP_COV_STORAGE, &form), 0);
      ASSERT_EQ(_vqsdSSPooledCovariance(t, ZEV_SS_POOLED_MEAN | ZEV_SS_POOLED_COV |
                                               ZEV_SS_GROUP_MEANS | ZEV_SS_GROUP_COVS,
                                        ZEV_SS_METHOD_POOLED, nullptr), 0);
      long double W = 0, dof = 0;
      for (int g = 0; g < G; ++g) W += ref[g].W, dof += ref[g].dof;
      for (int a = 0; a < p; ++a) {
        long double m = 0;
        for (int g = 0; g < G; ++g) m += ref[g].W * ref[g].mean[a];
        EXPECT_NEAR(pm[a], double(m / W), 1e-13 * 10) << a;
        for (int b = 0; b < p; ++b) {
          long double c = 0;
          for (int g = 0; g < G; ++g) c += ref[g].cov[a * p + b];
          EXPECT_NEAR(at(pc, form, p, a, b), double(c / dof), 1e-12) << a << "," << b;
        }
      }
      const int selected[3] = {0, 2, 3};
      for (int k = 0; k < 3; ++k) {
        const GroupRef& r = ref[selected[k]];
        for (int a = 0; a < p; ++a) {
          EXPECT_NEAR(gm[k * p + a], double(r.mean[a]), 1e-12) << "group " << selected[k];
          for (int b = 0; b < p; ++b) {
            const std::vector<double> one(gc.begin() + k * msize, gc.begin() + (k + 1) * msize);
            if (selected[k] == 3) EXPECT_TRUE(std::isnan(at(one, form, p, a, b)));
            else EXPECT_NEAR(at(one, form, p, a, b), double(r.cov[a * p + b] / r.dof), 1e-12);
          }
        }
      }
    }
}

TEST(SsPooled, StatusesWriteNothing) {
  const int32_t p = 1, n = 3, bad_index[3] = {0, -1, 1}, good[3] = {0, 1, 1}, bad_flag[2] = {1, 2};
  double x[3] = {1, 2, 3}, pm = -7;
  struct Case {
    const int32_t* idx;
    const int32_t* flags;
    uint64_t mask, method;
    int status;
  };
  const Case cases[] = {
      {nullptr, nullptr, ZEV_SS_POOLED_MEAN, ZEV_SS_METHOD_POOLED, ZEV_SS_ERROR_BAD_GROUP_ADDR},
      {good, nullptr, ZEV_SS_GROUP_MEANS, ZEV_SS_METHOD_POOLED, ZEV_SS_ERROR_BAD_GROUP_MEAN_ADDR},
      {bad_index, nullptr, ZEV_SS_POOLED_MEAN, ZEV_SS_METHOD_POOLED, ZEV_SS_ERROR_BAD_GROUP_INDC_ADDR},
      {good, bad_flag, ZEV_SS_POOLED_MEAN, ZEV_SS_METHOD_POOLED, 0},  // flags unread without group requests
      {good, nullptr, ZEV_SS_POOLED_MEAN, 0x2, ZEV_SS_ERROR_METHOD_NOT_SUPPORTED},
      {good, nullptr, ZEV_SS_POOLED_COV, ZEV_SS_METHOD_POOLED, ZEV_SS_ERROR_BAD_POOLED_COV_ADDR},
  };
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditPooledCovariance(t, c.idx, &pm, nullptr, c.flags, nullptr, nullptr), 0);
    EXPECT_EQ(_vqsdSSPooledCovariance(t, c.mask, c.method, nullptr), c.status);
    if (c.status) {
      EXPECT_EQ(pm, -7);
    }
    pm = -7;
  }
}

TEST(SsPartial, ClosedFormOfOneConditioningVariable) {
  // S over (y0, y1, z): P = S_YY - S_Yz S_zY / S_zz.
  const int32_t p = 3;
  const double S[9] = {4, 1.2, 0.8, 1.2, 9, -1.5, 0.8, -1.5, 2.5};
  const int32_t cls[3] = {1, 1, -1}, full = ZEV_SS_MATRIX_STORAGE_FULL,
                lower = ZEV_SS_MATRIX_STORAGE_L_PACKED;
  double P[4] = {}, R[3] = {};
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditPartialCovCor(t, cls, const_cast<double*>(S), &full, nullptr, nullptr, P,
                                      &full, R, &lower), 0);
  ASSERT_EQ(_vqsdSSPartialCovariance(t, ZEV_SS_PARTIAL_COV | ZEV_SS_PARTIAL_COR,
                                     ZEV_SS_METHOD_PARTIAL, nullptr), 0);
  const double p00 = 4 - 0.8 * 0.8 / 2.5, p01 = 1.2 - 0.8 * -1.5 / 2.5, p11 = 9 - 1.5 * 1.5 / 2.5;
  EXPECT_NEAR(P[0], p00, 1e-15);
  EXPECT_NEAR(P[1], p01, 1e-15);
  EXPECT_NEAR(P[2], p01, 1e-15);
  EXPECT_NEAR(P[3], p11, 1e-14);
  EXPECT_NEAR(R[0], 1, 1e-15);
  EXPECT_NEAR(R[1], p01 / std::sqrt(p00 * p11), 1e-15);
  EXPECT_NEAR(R[2], 1, 1e-15);
}

TEST(SsPartial, Statuses) {
  const int32_t p = 2, full = 0, no_y[2] = {-1, 0}, bad[2] = {1, 2}, cond[2] = {1, -1};
  const double singular[4] = {1, 0, 0, 0};
  double P[4] = {-7, -7, -7, -7};
  struct Case {
    const int32_t* cls;
    const double* S;
    int status;
  };
  const Case cases[] = {
      {nullptr, singular, ZEV_SS_ERROR_BAD_PARTIAL_COV_IDX_ADDR},
      {cond, nullptr, ZEV_SS_ERROR_BAD_COV_ADDR},
      {no_y, singular, ZEV_SS_ERROR_BAD_PARTIAL_CLASSIFICATION},
      {bad, singular, ZEV_SS_ERROR_BAD_PARTIAL_CLASSIFICATION},
      {cond, singular, ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE},  // the conditioning variance is 0
  };
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditPartialCovCor(t, c.cls, const_cast<double*>(c.S), &full, nullptr, nullptr,
                                        P, &full, nullptr, nullptr), 0);
    EXPECT_EQ(_vqsdSSPartialCovariance(t, ZEV_SS_PARTIAL_COV, ZEV_SS_METHOD_PARTIAL, nullptr),
              c.status);
    EXPECT_EQ(P[0], -7);
  }
}

TEST(SsMahDistance, DirectFormRangeMaskAndThreads) {
  const int32_t p = 3, n = 3000;
  const std::vector<double> x = sstest::gaussian(p, n, 1, 1, 3);
  const double c[3] = {1, 1.1, 0.9};
  const double A[9] = {2, 0.5, 0.1, 0.5, 1, -0.2, 0.1, -0.2, 3};
  const int32_t vmask[3] = {1, 0, 1}, first = 100, last = 2900;
  std::vector<double> d(n, -7);
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x.data(), nullptr, vmask, 0), 0);
  ASSERT_EQ(__vqsdSSEditMahDistance(t, &first, &last, c, A, d.data()), 0);
  zev_threading_pool_set_size(2);
  ASSERT_EQ(_vqsdSSMahDistance(t, ZEV_SS_MAHDIST, ZEV_SS_METHOD_MAHDIST, zev_threading_pool()), 0);
  for (int i = 0; i < n; ++i) {
    if (i < first || i >= last) {
      ASSERT_EQ(d[i], -7) << i;
      continue;
    }
    const long double y0 = x[i] - c[0], y2 = x[2 * n + i] - c[2];
    const long double q = y0 * (A[0] * y0 + A[2] * y2) + y2 * (A[6] * y0 + A[8] * y2);
    ASSERT_NEAR(d[i], double(std::sqrt(q)), 1e-13 * (1 + double(std::sqrt(q)))) << i;
  }
  const int32_t beyond = n + 1;
  ASSERT_EQ(__vqsdSSEditMahDistance(t, nullptr, &beyond, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_vqsdSSMahDistance(t, ZEV_SS_MAHDIST, ZEV_SS_METHOD_MAHDIST, nullptr),
            ZEV_SS_ERROR_BAD_MAHDIST_RANGE);
  Task empty;
  ASSERT_EQ(__vqsdSSNewTask(&empty.t, &p, &n, &kRows, x.data(), nullptr, nullptr, 0), 0);
  EXPECT_EQ(_vqsdSSMahDistance(empty, ZEV_SS_MAHDIST, ZEV_SS_METHOD_MAHDIST, nullptr),
            ZEV_SS_ERROR_BAD_MAHDIST_CENTER_ADDR);
}

}  // namespace

namespace {

// The example of the alternating-projections paper: the nearest correlation
// matrix to [[1 1 0] [1 1 1] [0 1 1]] has 0.7607 off the diagonal next to it
// and 0.1573 in the corners (four digits as published).
TEST(SsCorParametrization, PublishedExampleAndFixedPoint) {
  const int32_t p = 3, full = ZEV_SS_MATRIX_STORAGE_FULL, upper = ZEV_SS_MATRIX_STORAGE_U_PACKED;
  double C[9] = {1, 1, 0, 1, 1, 1, 0, 1, 1}, X[6] = {};
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditMtxParametrz(t, C, &full, X, &upper), 0);
  ASSERT_EQ(_vqsdSSCorParametrization(t, ZEV_SS_PARAMTR_COR, ZEV_SS_METHOD_NEAREST_COR, nullptr), 0);
  const double want[6] = {1, 0.7607, 0.1573, 1, 0.7607, 1};
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(X[k], want[k], 6e-5) << k;
  // The result is positive semidefinite: its determinant and its leading
  // minor are not negative.
  const double a = X[1], b = X[2], c = X[4];
  EXPECT_GE(1 + 2 * a * b * c - a * a - b * b - c * c, -1e-12);
  // A valid correlation matrix is its own nearest one.
  double R[9] = {1, 0.3, -0.2, 0.3, 1, 0.5, -0.2, 0.5, 1}, Y[9] = {};
  ASSERT_EQ(__vqsdSSEditMtxParametrz(t, R, &full, Y, &full), 0);
  ASSERT_EQ(_vqsdSSCorParametrization(t, ZEV_SS_PARAMTR_COR, ZEV_SS_METHOD_NEAREST_COR, nullptr), 0);
  for (int k = 0; k < 9; ++k) EXPECT_NEAR(Y[k], R[k], 1e-14) << k;
}

TEST(SsCorParametrization, Statuses) {
  const int32_t p = 2, full = 0, bad_form = 3;
  double C[4] = {1, 0, 0, 1}, X[4] = {-7, -7, -7, -7};
  struct Case {
    double* cor;
    const int32_t* cor_form;
    double* out;
    uint64_t method;
    int status;
  };
  const Case cases[] = {
      {nullptr, &full, X, ZEV_SS_METHOD_NEAREST_COR, ZEV_SS_ERROR_BAD_COR_ADDR},
      {C, nullptr, X, ZEV_SS_METHOD_NEAREST_COR, ZEV_SS_ERROR_BAD_STORAGE_ADDR},
      {C, &full, nullptr, ZEV_SS_METHOD_NEAREST_COR, ZEV_SS_ERROR_BAD_PARAMTR_COR_ADDR},
      {C, &bad_form, X, ZEV_SS_METHOD_NEAREST_COR, ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED},
      {C, &full, X, 0x2, ZEV_SS_ERROR_METHOD_NOT_SUPPORTED},
  };
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditMtxParametrz(t, c.cor, c.cor_form, c.out, &full), 0);
    EXPECT_EQ(_vqsdSSCorParametrization(t, ZEV_SS_PARAMTR_COR, c.method, nullptr), c.status);
    EXPECT_EQ(X[0], -7);
  }
}

}  // namespace

namespace {

// Gaussian data with planted outliers far along one direction: BACON names
// every planted one, and at alpha = 0.05 (split over n) almost nothing else.
TEST(SsOutliers, FindsPlantedOutliersUnderBothSchemes) {
  const int32_t p = 3, n = 1200;
  std::vector<double> x = sstest::gaussian(p, n, 5, 1, 11);
  std::vector<bool> planted(n, false);
  for (int i = 7; i < n; i += 40) {  // 30 observations moved 12 standard deviations
    planted[i] = true;
    for (int j = 0; j < p; ++j) x[j * n + i] += (j == 1 ? -12 : 12) * (1 + j / 10.0);
  }
  for (double scheme : {0.0, 1.0}) {
    const int32_t three = 3;
    const double params[3] = {scheme, 0.05, 0};
    std::vector<double> w(n, -7);
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x.data(), nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditOutDetect(t, &three, params, w.data()), 0);
    ASSERT_EQ(_vqsdSSOutliersDetection(t, ZEV_SS_OUTLIERS, ZEV_SS_METHOD_BACON, nullptr), 0);
    int missed = 0, false_alarms = 0;
    for (int i = 0; i < n; ++i) {
      ASSERT_TRUE(w[i] == 0 || w[i] == 1) << i;
      missed += planted[i] && w[i] != 0;
      false_alarms += !planted[i] && w[i] == 0;
    }
    EXPECT_EQ(missed, 0) << "scheme " << scheme;
    EXPECT_LE(false_alarms, 2) << "scheme " << scheme;
  }
}

TEST(SsOutliers, Statuses) {
  const int32_t p = 2, n = 20, small = 9, three = 3, two = 2;
  std::vector<double> x = sstest::gaussian(p, n, 0, 1, 5);
  const double good[3] = {0, 0.05, 0}, bad_alpha[3] = {0, 0, 0}, bad_scheme[3] = {2, 0.05, 0};
  double w[20];
  struct Case {
    const int32_t* count;
    const double* params;
    double* weights;
    const int32_t* nobs;
    int status;
  };
  const Case cases[] = {
      {nullptr, good, w, &n, ZEV_SS_ERROR_BAD_OUTL_PARAM_N_ADDR},
      {&three, nullptr, w, &n, ZEV_SS_ERROR_BAD_OUTL_PARAM_ADDR},
      {&three, good, nullptr, &n, ZEV_SS_ERROR_BAD_OUTL_WEIGHTS_ADDR},
      {&three, bad_alpha, w, &n, ZEV_SS_ERROR_BAD_OUTL_PARAMS},
      {&three, bad_scheme, w, &n, ZEV_SS_ERROR_BAD_OUTL_PARAMS},
      {&three, good, w, &small, ZEV_SS_ERROR_BAD_OBSERV_N},  // needs n > 4p + 1
      {&two, bad_alpha, w, &n, 0},                            // count not 3: defaults
  };
  for (const Case& c : cases) {
    std::fill(w, w + n, -7.0);
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, c.nobs, &kRows, x.data(), nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditOutDetect(t, c.count, c.params, c.weights), 0);
    EXPECT_EQ(_vqsdSSOutliersDetection(t, ZEV_SS_OUTLIERS, ZEV_SS_METHOD_BACON, nullptr), c.status);
    if (c.status) {
      EXPECT_EQ(w[0], -7);
    }
  }
}

}  // namespace

namespace {

// Rank distance of v from the rank 1 + q (n - 1) among sorted data: 0 when a
// copy of v holds that rank.
double rank_error(const std::vector<double>& sorted, double v, double q) {
  const double r = 1 + q * double(sorted.size() - 1);
  const double lo = double(std::lower_bound(sorted.begin(), sorted.end(), v) - sorted.begin()) + 1;
  const double hi = double(std::upper_bound(sorted.begin(), sorted.end(), v) - sorted.begin());
  if (hi < lo) return INFINITY;  // v is not one of the observations
  return r < lo ? lo - r : (r > hi ? r - hi : 0);
}

TEST(SsStreamQuantiles, RankErrorWithinEpsilonOverBlocks) {
  const int32_t p = 2, one = 1, nq = 7;
  const double orders[nq] = {0, 0.001, 0.25, 0.5, 0.9, 0.999, 1};
  const int64_t blocks[] = {50000, 1, 3, 99996, 50000};  // 200000 in all
  std::mt19937_64 g(21);
  std::normal_distribution<double> z;
  for (double eps : {0.01, 0.001}) {
    std::vector<double> all[2];
    double out[2 * nq];
    Task t;
    const int32_t n0 = 1;
    double dummy[2] = {0, 0};
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n0, &kRows, dummy, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditStreamQuantiles(t, &nq, orders, out, &one, &eps), 0);
    bool first = true;
    std::vector<double> x;
    int32_t n = 0;  // the task keeps a pointer to it
    for (int64_t len : blocks) {
      x.resize(2 * len);
      for (int64_t i = 0; i < len; ++i) {
        x[i] = z(g);                          // variable 0: Gaussian
        x[len + i] = double(g() % 10);        // variable 1: heavily tied
        all[0].push_back(x[i]);
        all[1].push_back(x[len + i]);
      }
      n = static_cast<int32_t>(len);
      ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_OBSERV, x.data()), 0);
      ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_OBSERV_N, &n), 0);
      ASSERT_EQ(_vqsdSSStreamQuantiles(t, ZEV_SS_STREAM_QUANTS,
                                       first ? ZEV_SS_METHOD_STREAM_NEW : ZEV_SS_METHOD_STREAM,
                                       nullptr), 0);
      first = false;
      for (int j = 0; j < 2; ++j) {
        std::vector<double> s = all[j];
        std::sort(s.begin(), s.end());
        for (int m = 0; m < nq; ++m)
          ASSERT_LE(rank_error(s, out[j * nq + m], orders[m]), eps * double(s.size()))
              << "eps " << eps << " var " << j << " order " << orders[m] << " n " << s.size();
      }
    }
    // A released state starts a new series: the next block alone.
    __vqsSQuantilesFreeBuffers(t);
    ASSERT_EQ(_vqsdSSStreamQuantiles(t, ZEV_SS_STREAM_QUANTS, ZEV_SS_METHOD_STREAM, nullptr), 0);
    std::vector<double> last(x.begin(), x.begin() + blocks[4]);
    std::sort(last.begin(), last.end());
    EXPECT_LE(rank_error(last, out[3], 0.5), eps * double(last.size()));
  }
}

// Streams whose order defeats a summary that counts values into the gaps
// of what it has seen: rising, falling, a level shift, a narrow band inside
// a wide one, a spike of one value, a narrow spot inside the range, a heavy
// tail; every order from 0 to 1 in steps of 0.01 within eps n, after each
// block of a series.
TEST(SsStreamQuantiles, RankErrorOnOrderedAndShiftingStreams) {
  // Two variables side by side (observation-contiguous): the stream and its
  // negation.
  const int32_t one = 1, nq = 101, p = 2, layout = ZEV_SS_MATRIX_STORAGE_COLS;
  double orders[nq];
  for (int m = 0; m < nq; ++m) orders[m] = m / 100.0;
  std::mt19937_64 g(5);
  std::normal_distribution<double> z;
  struct Case {
    const char* name;
    double (*value)(int64_t i, double z);
  } cases[] = {
      {"rising", [](int64_t i, double) { return double(i); }},
      {"falling", [](int64_t i, double) { return -double(i); }},
      {"level shift", [](int64_t i, double z) { return (i < 60000 ? 0 : 50) + z; }},
      {"band inside", [](int64_t i, double z) { return i < 30000 ? 1000 * z : 1e-6 * z; }},
      {"spike", [](int64_t i, double z) { return i % 4 ? 7.0 : z; }},
      // Into one narrow spot inside the range: one gap takes whole chunks,
      // from one or two cells, far beyond its room.
      {"one spot", [](int64_t i, double z) { return i < 30000 ? z : 0.1 + 1e-9 * z; }},
      // A heavy tail: the range is wide and most tuples share a few cells.
      {"heavy tail", [](int64_t, double z) { return z * z * z * z * z; }},
  };
  for (const Case& c : cases)
    for (double eps : {0.01, 0.002}) {
      Task t;
      std::vector<double> all, x, out(p * nq);
      int32_t n = 1, pp = p;
      double dummy = 0;
      ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, &n, &layout, &dummy, nullptr, nullptr, 0), 0);
      ASSERT_EQ(__vqsdSSEditStreamQuantiles(t, &nq, orders, out.data(), &one, &eps), 0);
      for (int block = 0; block < 4; ++block) {
        x.resize(2 * 30000);
        for (size_t i = 0; i < x.size(); i += 2) {
          x[i] = c.value(static_cast<int64_t>(all.size()), z(g));
          x[i + 1] = -x[i];
          all.push_back(x[i]);
        }
        n = 30000;
        ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_OBSERV, x.data()), 0);
        ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_OBSERV_N, &n), 0);
        ASSERT_EQ(_vqsdSSStreamQuantiles(t, ZEV_SS_STREAM_QUANTS,
                                         block ? ZEV_SS_METHOD_STREAM : ZEV_SS_METHOD_STREAM_NEW,
                                         nullptr), 0);
        for (int j = 0; j < p; ++j) {
          std::vector<double> s = all;
          if (j) for (double& v : s) v = -v;
          std::sort(s.begin(), s.end());
          for (int m = 0; m < nq; ++m)
            ASSERT_LE(rank_error(s, out[j * nq + m], orders[m]), eps * double(s.size()))
                << c.name << " eps " << eps << " variable " << j << " order " << orders[m]
                << " n " << s.size();
        }
      }
    }
}

// Each variable a stream of its own kind, fed in blocks through both
// precisions, both layouts, the serial table and the pool: every order in
// steps of 0.01 within eps n after every block, and the pool's answers
// those of the serial table (the chunks do not depend on the threads).
template <class T>
std::vector<T> stream_series(const std::vector<std::vector<double>>& blocks, int32_t p,
                             int32_t layout, const zev_threading* th, T eps, const T* orders,
                             int32_t nq) {
  const int32_t one = 1;
  std::vector<T> out(static_cast<size_t>(p) * nq), all;
  Task t;
  int32_t n = 1;
  T dummy[1] = {0};
  constexpr bool kDouble = std::is_same_v<T, double>;
  if constexpr (kDouble) {
    EXPECT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, dummy, nullptr, nullptr, 0), 0);
    EXPECT_EQ(__vqsdSSEditStreamQuantiles(t, &nq, orders, out.data(), &one, &eps), 0);
  } else {
    EXPECT_EQ(__vqssSSNewTask(&t.t, &p, &n, &layout, dummy, nullptr, nullptr, 0), 0);
    EXPECT_EQ(__vqssSSEditStreamQuantiles(t, &nq, orders, out.data(), &one, &eps), 0);
  }
  std::vector<T> x;
  for (size_t b = 0; b < blocks.size(); ++b) {
    n = static_cast<int32_t>(blocks[b].size() / p);  // blocks[b][j*n + i]
    x.resize(blocks[b].size());
    for (int32_t j = 0; j < p; ++j)
      for (int32_t i = 0; i < n; ++i)
        x[layout == kRows ? size_t(j) * n + i : size_t(i) * p + j] = T(blocks[b][size_t(j) * n + i]);
    EXPECT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_OBSERV_N, &n), 0);
    const int64_t method = b ? ZEV_SS_METHOD_STREAM : ZEV_SS_METHOD_STREAM_NEW;
    if constexpr (kDouble) {
      EXPECT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_OBSERV, x.data()), 0);
      EXPECT_EQ(_vqsdSSStreamQuantiles(t, ZEV_SS_STREAM_QUANTS, method, th), 0);
    } else {
      EXPECT_EQ(__vqssSSEditTask(t, ZEV_SS_ED_OBSERV, x.data()), 0);
      EXPECT_EQ(_vqssSSStreamQuantiles(t, ZEV_SS_STREAM_QUANTS, method, th), 0);
    }
    all.insert(all.end(), out.begin(), out.end());
  }
  return all;  // the answers after each block, one after the other
}

TEST(SsStreamQuantiles, AdversarialStreamsInBothPrecisionsLayoutsAndThreads) {
  const int32_t p = 8, nq = 101;
  const double kInf = std::numeric_limits<double>::infinity();
  const int64_t sizes[] = {40000, 5, 60000};
  std::mt19937_64 g(17);
  std::normal_distribution<double> z;
  // Values exact in single precision, so that both precisions rank the same data.
  auto f = [](double v) { return double(float(v)); };
  std::vector<std::vector<double>> blocks;
  std::vector<std::vector<double>> sorted[3];  // per block: each variable's data so far, sorted
  std::vector<std::vector<double>> so_far(p);
  int64_t i = 0;
  for (int b = 0; b < 3; ++b) {
    const int64_t n = sizes[b];
    std::vector<double> x(static_cast<size_t>(p) * n);
    for (int64_t o = 0; o < n; ++o, ++i) {
      const double v[p] = {
          f(z(g)),                                     // Gaussian
          double(i),                                   // rising
          -double(i),                                  // falling
          3.0,                                         // constant
          double(g() % 10),                            // ten tied values
          i % 2 ? double(i) : -double(i),              // zigzag: a new extreme every time
          i % 100 ? f(1 + 1e-6 * (i % 997)) : f(1e6 * z(g)),  // a dense cluster in a wide range
          i % 50 ? f(z(g)) : (i % 100 ? kInf : -kInf),        // a range without a finite width
      };
      for (int j = 0; j < p; ++j) x[size_t(j) * n + o] = v[j], so_far[j].push_back(v[j]);
    }
    blocks.push_back(std::move(x));
    sorted[b] = so_far;
    for (auto& s : sorted[b]) std::sort(s.begin(), s.end());
  }
  double orders_d[nq];
  float orders_f[nq];
  for (int m = 0; m < nq; ++m) orders_d[m] = m / 100.0, orders_f[m] = float(orders_d[m]);
  auto check = [&](const auto& answers, double eps, const char* what) {
    for (int b = 0; b < 3; ++b)
      for (int j = 0; j < p; ++j)
        for (int m = 0; m < nq; ++m) {
          const double v = double(answers[(size_t(b) * p + j) * nq + m]);
          ASSERT_LE(rank_error(sorted[b][j], v, orders_d[m]), eps * double(sorted[b][j].size()))
              << what << " block " << b << " variable " << j << " order " << orders_d[m];
        }
  };
  for (int32_t layout : {kRows, kCols}) {
    const double eps = 0.003;
    auto serial_d = stream_series<double>(blocks, p, layout, zev_threading_serial(), eps, orders_d, nq);
    auto pool_d = stream_series<double>(blocks, p, layout, zev_threading_pool(), eps, orders_d, nq);
    check(serial_d, eps, layout == kRows ? "double (p, n)" : "double (n, p)");
    EXPECT_EQ(serial_d, pool_d);
    const float eps_f = 0.003f;
    auto serial_f = stream_series<float>(blocks, p, layout, zev_threading_serial(), eps_f, orders_f, nq);
    auto pool_f = stream_series<float>(blocks, p, layout, zev_threading_pool(), eps_f, orders_f, nq);
    check(serial_f, double(eps_f), layout == kRows ? "single (p, n)" : "single (n, p)");
    EXPECT_EQ(serial_f, pool_f);
  }
}

TEST(SsStreamQuantiles, Statuses) {
  const int32_t p = 1, n = 4, one = 1, two = 2, nq = 1;
  double x[4] = {1, 2, 3, 4}, out = -7;
  const double eps = 0.1, eps_bad = 0, q = 0.5, q_bad = 1.5;
  struct Case {
    const int32_t* pcount;
    const double* params;
    const double* orders;
    double* quantiles;
    uint64_t method;
    int status;
  };
  const Case cases[] = {
      {nullptr, &eps, &q, &out, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_STREAM_QUANT_PARAMS_N_MISSING},
      {&two, &eps, &q, &out, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_BAD_STREAM_QUANT_PARAMS_N_ADDR},
      {&one, nullptr, &q, &out, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_BAD_STREAM_QUANT_PARAMS_ADDR},
      {&one, &eps_bad, &q, &out, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_BAD_STREAM_QUANT_EPS},
      {&one, &eps, nullptr, &out, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER_ADDR},
      {&one, &eps, &q_bad, &out, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER},
      {&one, &eps, &q, nullptr, ZEV_SS_METHOD_STREAM, ZEV_SS_ERROR_BAD_STREAM_QUANT_ADDR},
      {&one, &eps, &q, &out, 0x4, ZEV_SS_ERROR_METHOD_NOT_SUPPORTED},
  };
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditStreamQuantiles(t, &nq, c.orders, c.quantiles, c.pcount, c.params), 0);
    EXPECT_EQ(_vqsdSSStreamQuantiles(t, ZEV_SS_STREAM_QUANTS, c.method, nullptr), c.status);
    EXPECT_EQ(out, -7);
  }
}

}  // namespace

namespace {

// x = m + A z for Gaussian z, 20% of the observations replaced by a tight
// cluster far away: the MCD estimate recovers m and A A^T, where the
// classical estimate does not.
TEST(SsRobust, RecoversContaminatedNormal) {
  const int32_t p = 3, n = 2000;
  const double m[3] = {1, -2, 0.5}, A[3][3] = {{1, 0, 0}, {0.6, 0.8, 0}, {-0.3, 0.2, 1.5}};
  std::mt19937_64 g(4);
  std::normal_distribution<double> z;
  std::vector<double> x(p * n);
  for (int i = 0; i < n; ++i) {
    const double zi[3] = {z(g), z(g), z(g)};
    for (int a = 0; a < p; ++a) {
      double v = m[a];
      for (int b = 0; b < p; ++b) v += A[a][b] * zi[b];
      x[a * n + i] = i % 5 == 0 ? 8 + 0.1 * zi[a] : v;  // every fifth observation an outlier
    }
  }
  const int32_t form = ZEV_SS_MATRIX_STORAGE_FULL, three = 3;
  const double params[3] = {0.5, 50, 7};
  double mean[3], cov[9];
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x.data(), nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditRCov(t, &form, &three, params, mean, cov), 0);
  ASSERT_EQ(_vqsdSSRobustCovariance(t, ZEV_SS_ROBUST_MEAN | ZEV_SS_ROBUST_COV, ZEV_SS_METHOD_MCD,
                                    nullptr), 0);
  for (int a = 0; a < p; ++a) {
    EXPECT_NEAR(mean[a], m[a], 0.12) << a;
    for (int b = 0; b < p; ++b) {
      double s = 0;
      for (int k = 0; k < p; ++k) s += A[a][k] * A[b][k];
      EXPECT_NEAR(cov[a * p + b], s, 0.15 * std::sqrt(cov[a * p + a] * cov[b * p + b]) + 0.05)
          << a << "," << b;
    }
  }
}

TEST(SsRobust, Statuses) {
  const int32_t p = 2, n = 40, few = 3, three = 3, full = 0, bad_form = 5;
  std::vector<double> x = sstest::gaussian(p, n, 0, 1, 9);
  const double good[3] = {0.5, 5, 1}, bad[3] = {0.4, 5, 1};
  double mean[2] = {-7, -7}, cov[4];
  struct Case {
    const int32_t* count;
    const double* params;
    const int32_t* form;
    const int32_t* nobs;
    uint64_t method;
    int status;
  };
  const Case cases[] = {
      {nullptr, good, &full, &n, ZEV_SS_METHOD_MCD, ZEV_SS_ERROR_BAD_ROBUST_PARAM_N_ADDR},
      {&three, nullptr, &full, &n, ZEV_SS_METHOD_MCD, ZEV_SS_ERROR_BAD_ROBUST_PARAM_ADDR},
      {&three, good, nullptr, &n, ZEV_SS_METHOD_MCD, ZEV_SS_ERROR_BAD_STORAGE_ADDR},
      {&three, good, &bad_form, &n, ZEV_SS_METHOD_MCD, ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED},
      {&three, good, &full, &n, 0x2, ZEV_SS_ERROR_METHOD_NOT_SUPPORTED},
      {&three, bad, &full, &n, ZEV_SS_METHOD_MCD, ZEV_SS_ERROR_BAD_ROBUST_PARAMS},
      {&three, good, &full, &few, ZEV_SS_METHOD_MCD, ZEV_SS_ERROR_BAD_OBSERV_N},
  };
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, c.nobs, &kRows, x.data(), nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditRCov(t, c.form, c.count, c.params, mean, cov), 0);
    EXPECT_EQ(_vqsdSSRobustCovariance(t, ZEV_SS_ROBUST_MEAN | ZEV_SS_ROBUST_COV, c.method, nullptr),
              c.status);
    EXPECT_EQ(mean[0], -7);
  }
}

}  // namespace

namespace {

// Normal data with 15% of the values missing completely at random: EM finds
// the mean and covariance of the full sample closely (the information lost is
// small), the imputed values follow their variables' distribution, and the
// data-augmentation estimates scatter round the EM estimate.
TEST(SsMissing, EmAndDataAugmentationRecoverTheSample) {
  const int32_t p = 3, n = 3000, five = 5, zero = 0;
  const std::vector<double> full = sstest::gaussian(p, n, 2, 1, 17);
  std::vector<double> x = full;
  std::mt19937_64 g(5);
  int64_t nmiss = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < p; ++j)
      if (g() % 100 < 15 && j != static_cast<int>(i % p)) x[j * n + i] = NAN, ++nmiss;
  const int32_t sets = 3, da = 20, per = p * (p + 3) / 2;
  const double params[5] = {200, 1e-10, da, sets, 1};
  const int32_t sim_n = static_cast<int32_t>(sets * nmiss), est_n = sets * da * per;
  std::vector<double> sim(sim_n), est(est_n);
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x.data(), nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditMissingVals(t, &five, params, &zero, nullptr, &zero, nullptr, &sim_n,
                                    sim.data(), &est_n, est.data()), 0);
  ASSERT_EQ(_vqsdSSMissingValues(t, ZEV_SS_MISSING_VALS, ZEV_SS_METHOD_EM_DA, nullptr), 0);
  // The full sample's mean and covariance, for comparison.
  double mean[3] = {}, cov[3][3] = {};
  for (int j = 0; j < p; ++j) {
    for (int i = 0; i < n; ++i) mean[j] += full[j * n + i] / n;
  }
  for (int a = 0; a < p; ++a)
    for (int b = 0; b < p; ++b)
      for (int i = 0; i < n; ++i)
        cov[a][b] += (full[a * n + i] - mean[a]) * (full[b * n + i] - mean[b]) / (n - 1);
  // The average of the DA estimates over the last half of every chain.
  std::vector<double> avg(per, 0);
  int count = 0;
  for (int s = 0; s < sets; ++s)
    for (int it = da / 2; it < da; ++it, ++count)
      for (int k = 0; k < per; ++k) avg[k] += est[(s * da + it) * per + k];
  for (auto& v : avg) v /= count;
  for (int a = 0; a < p; ++a) EXPECT_NEAR(avg[a], mean[a], 0.06) << a;
  int k = p;
  for (int a = 0; a < p; ++a)
    for (int b = a; b < p; ++b, ++k) EXPECT_NEAR(avg[k], cov[a][b], 0.1) << a << "," << b;
  // Imputed values of each variable have about its mean and spread.
  for (int s = 0; s < sets; ++s) {
    double sum = 0, sum2 = 0;
    for (int64_t m = 0; m < nmiss; ++m) sum += sim[s * nmiss + m], sum2 += sim[s * nmiss + m] * sim[s * nmiss + m];
    EXPECT_TRUE(std::isfinite(sum) && std::isfinite(sum2)) << s;
  }
  for (int i = 0, m = 0; i < n; ++i)  // the first set, variable by variable
    for (int j = 0; j < p; ++j)
      if (std::isnan(x[j * n + i])) {
        ASSERT_LT(std::fabs(sim[m++] - mean[j]), 6 * std::sqrt(cov[j][j])) << i << "," << j;
      }
}

TEST(SsMissing, Statuses) {
  const int32_t p = 2, n = 10, four = 4, five = 5, zero = 0, one = 1;
  std::vector<double> x = sstest::gaussian(p, n, 0, 1, 2);
  x[3] = NAN;
  const double good[5] = {10, 1e-8, 2, 1, 0}, bad[5] = {0, 1e-8, 2, 1, 0};
  double sim[4] = {-7, -7, -7, -7}, est[20];
  struct Case {
    const int32_t* count;
    const double* params;
    const int32_t* prior_count;
    const int32_t* sim_count;
    double* sim_out;
    double* est_out;
    int status;
  };
  const Case cases[] = {
      {nullptr, good, &zero, &four, sim, est, ZEV_SS_ERROR_BAD_MI_PARAMS_N_ADDR},
      {&four, good, &zero, &four, sim, est, ZEV_SS_ERROR_BAD_MI_PARAMS_N},
      {&five, nullptr, &zero, &four, sim, est, ZEV_SS_ERROR_BAD_MI_PARAMS_ADDR},
      {&five, good, nullptr, &four, sim, est, ZEV_SS_ERROR_BAD_MI_PRIOR_N_ADDR},
      {&five, good, &one, &four, sim, est, ZEV_SS_ERROR_BAD_MI_PRIOR_ADDR},
      {&five, bad, &zero, &four, sim, est, ZEV_SS_ERROR_BAD_MI_PARAMS},
      {&five, good, &zero, &four, nullptr, nullptr, ZEV_SS_ERROR_MI_NO_OUTPUT},
      {&five, good, &zero, &one, sim, nullptr, 0},  // one missing value, one set: room for 1 is enough
      {&five, good, &zero, &zero, sim, nullptr, ZEV_SS_ERROR_BAD_MI_SIMUL_VALS_N_ADDR},
  };
  for (const Case& c : cases) {
    sim[0] = -7;
    Task t;
    const int32_t est_n = 20;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &kRows, x.data(), nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditMissingVals(t, c.count, c.params, &zero, nullptr, c.prior_count, nullptr,
                                      c.sim_count, c.sim_out, &est_n, c.est_out), 0);
    EXPECT_EQ(_vqsdSSMissingValues(t, ZEV_SS_MISSING_VALS, ZEV_SS_METHOD_EM_DA, nullptr), c.status);
    if (c.status) {
      EXPECT_EQ(sim[0], -7);
    }
  }
}

}  // namespace
