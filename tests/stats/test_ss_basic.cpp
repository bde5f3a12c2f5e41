// _vqsdSSBasic and _vqssSSBasic: accuracy against long-double two-pass
// references, block-wise and threaded results, every matrix form, statuses
// with nothing written on a rejected call, and the exported merge.
#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

#include "guarded.h"
#include "ss_util.h"
#include "zev/zev_threading.h"

using sstest::Reference;
using sstest::rel;
using sstest::Task;
using zevtest::Guarded;

namespace {

constexpr int64_t kAllMask = ZEV_SS_MEAN | ZEV_SS_2R_MOM | ZEV_SS_3R_MOM | ZEV_SS_4R_MOM |
                             ZEV_SS_2C_MOM | ZEV_SS_3C_MOM | ZEV_SS_4C_MOM | ZEV_SS_KURTOSIS |
                             ZEV_SS_SKEWNESS | ZEV_SS_VARIATION | ZEV_SS_COV | ZEV_SS_COR |
                             ZEV_SS_SUM | ZEV_SS_2R_SUM | ZEV_SS_3R_SUM | ZEV_SS_4R_SUM |
                             ZEV_SS_2C_SUM | ZEV_SS_3C_SUM | ZEV_SS_4C_SUM | ZEV_SS_CP;
constexpr double kSentinel = -12345.5;

// Every result of Basic in guarded buffers that start as kSentinel.
template <class T>
struct Results {
  enum { kMean, kR2, kR3, kR4, kC2, kC3, kC4, kKurt, kSkew, kVar, kSum, kRS2, kRS3, kRS4, kCS2,
         kCS3, kCS4, kVectors };
  int p;
  std::vector<std::unique_ptr<Guarded<T>>> v;
  std::unique_ptr<Guarded<T>> cov, cor, cp, acc;
  int32_t cov_form = 0, cor_form = 0, cp_form = 0;

  explicit Results(int p_, int form = 0) : p(p_), cov_form(form), cor_form(form), cp_form(form) {
    for (int k = 0; k < kVectors; ++k) v.emplace_back(new Guarded<T>(p, 3));
    size_t m = form ? static_cast<size_t>(p) * (p + 1) / 2 : static_cast<size_t>(p) * p;
    cov.reset(new Guarded<T>(m, 1));
    cor.reset(new Guarded<T>(m, 1));
    cp.reset(new Guarded<T>(m, 1));
    acc.reset(new Guarded<T>(2));
    fill();
  }
  void fill() {
    for (auto& b : v) std::fill(b->begin(), b->end(), T(kSentinel));
    for (auto* b : {cov.get(), cor.get(), cp.get()}) std::fill(b->begin(), b->end(), T(kSentinel));
  }
  T* operator[](int k) const { return v[k]->data(); }
  // True when no buffer was written.
  bool untouched() const {
    for (auto& b : v)
      for (T x : *b)
        if (x != T(kSentinel)) return false;
    for (auto* b : {cov.get(), cor.get(), cp.get()})
      for (T x : *b)
        if (x != T(kSentinel)) return false;
    return true;
  }
  bool leads_intact() const {
    for (auto& b : v)
      if (!b->lead_intact()) return false;
    return cov->lead_intact() && cor->lead_intact() && cp->lead_intact();
  }
  void attach(zev_ss_task t, bool with_acc) const {
    int r = std::is_same_v<T, double>
                ? __vqsdSSEditMoments(t, (double*)(*this)[kMean], (double*)(*this)[kR2],
                                      (double*)(*this)[kR3], (double*)(*this)[kR4],
                                      (double*)(*this)[kC2], (double*)(*this)[kC3],
                                      (double*)(*this)[kC4])
                : __vqssSSEditMoments(t, (float*)(*this)[kMean], (float*)(*this)[kR2],
                                      (float*)(*this)[kR3], (float*)(*this)[kR4],
                                      (float*)(*this)[kC2], (float*)(*this)[kC3],
                                      (float*)(*this)[kC4]);
    ASSERT_EQ(r, 0);
    auto ed = [&](int64_t id, T* ptr) {
      if constexpr (std::is_same_v<T, double>) return __vqsdSSEditTask(t, id, ptr);
      else return __vqssSSEditTask(t, id, ptr);
    };
    const int64_t ids[] = {ZEV_SS_ED_KURTOSIS, ZEV_SS_ED_SKEWNESS, ZEV_SS_ED_VARIATION,
                           ZEV_SS_ED_SUM,      ZEV_SS_ED_2R_SUM,   ZEV_SS_ED_3R_SUM,
                           ZEV_SS_ED_4R_SUM,   ZEV_SS_ED_2C_SUM,   ZEV_SS_ED_3C_SUM,
                           ZEV_SS_ED_4C_SUM};
    for (int k = kKurt; k < kVectors; ++k) ASSERT_EQ(ed(ids[k - kKurt], (*this)[k]), 0);
    ASSERT_EQ(ed(ZEV_SS_ED_COV, cov->data()), 0);
    ASSERT_EQ(ed(ZEV_SS_ED_COR, cor->data()), 0);
    ASSERT_EQ(ed(ZEV_SS_ED_CP, cp->data()), 0);
    ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_COV_STORAGE, &cov_form), 0);
    ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_COR_STORAGE, &cor_form), 0);
    ASSERT_EQ(__vqsiSSEditTask(t, ZEV_SS_ED_CP_STORAGE, &cp_form), 0);
    if (with_acc) {
      ASSERT_EQ(ed(ZEV_SS_ED_ACCUM_WEIGHT, acc->data()), 0);
    }
  }
  // Entry (i, k) of a matrix in its form.
  T at(const Guarded<T>& m, int form, int i, int k) const {
    if (form == 0) return m[static_cast<size_t>(i) * p + k];
    if (form == 2) {
      if (i > k) std::swap(i, k);
      return m[static_cast<size_t>(i) * p - static_cast<size_t>(i) * (i - 1) / 2 + (k - i)];
    }
    if (i < k) std::swap(i, k);
    return m[static_cast<size_t>(i) * (i + 1) / 2 + k];
  }
};

struct Tol {
  double first;   // mean, raw moments, sums: relative
  double second;  // variance, covariance, correlation, central sum 2: relative
  double higher;  // central moments and sums of orders 3 and 4, scaled by var^(k/2)
  double shape;   // skewness and kurtosis: absolute
};

// Checks every result against the reference; returns the worst errors found
// in the four classes.
template <class T>
Tol check(const Results<T>& r, const Reference& ref, const Tol& tol, const char* what,
          bool second_order = false) {
  using R = Results<T>;
  Tol worst{0, 0, 0, 0};
  auto upd = [&](double& w, double e, double bound, const char* name, int j) {
    w = std::max(w, e);
    EXPECT_LE(e, bound) << what << " " << name << " variable " << j;
  };
  const long double W = ref.W;
  for (int j = 0; j < r.p; ++j) {
    const long double var = ref.var(j), sd = std::sqrt(var);
    const long double c3 = ref.cs3[j] / W, c4 = ref.cs4[j] / W;
    upd(worst.first, rel(r[R::kMean][j], ref.mean[j]), tol.first, "mean", j);
    upd(worst.first, rel(r[R::kR2][j], ref.raw2[j]), tol.first, "raw2", j);
    upd(worst.second, rel(r[R::kC2][j], var), tol.second, "variance", j);
    upd(worst.second, rel(r[R::kCS2][j], ref.cs2[j]), tol.second, "censum2", j);
    upd(worst.second, rel(r[R::kVar][j], sd / ref.mean[j]), tol.second, "variation", j);
    upd(worst.first, rel(r[R::kSum][j], ref.mean[j] * W), tol.first, "sum", j);
    upd(worst.first, rel(r[R::kRS2][j], ref.raw2[j] * W), tol.first, "rawsum2", j);
    if (second_order) continue;
    upd(worst.first, rel(r[R::kR3][j], ref.raw3[j]), tol.first, "raw3", j);
    upd(worst.first, rel(r[R::kR4][j], ref.raw4[j]), tol.first, "raw4", j);
    upd(worst.first, rel(r[R::kRS3][j], ref.raw3[j] * W), tol.first, "rawsum3", j);
    upd(worst.first, rel(r[R::kRS4][j], ref.raw4[j] * W), tol.first, "rawsum4", j);
    upd(worst.higher, std::fabs((r[R::kC3][j] - c3) / (var * sd)), tol.higher, "cen3", j);
    upd(worst.higher, std::fabs((r[R::kC4][j] - c4) / (var * var)), tol.higher, "cen4", j);
    upd(worst.higher, std::fabs((r[R::kCS3][j] - ref.cs3[j]) / (W * var * sd)), tol.higher,
        "censum3", j);
    upd(worst.higher, std::fabs((r[R::kCS4][j] - ref.cs4[j]) / (W * var * var)), tol.higher,
        "censum4", j);
    upd(worst.shape, std::fabs(r[R::kSkew][j] - c3 / (var * sd)), tol.shape, "skewness", j);
    upd(worst.shape, std::fabs(r[R::kKurt][j] - (c4 / (var * var) - 3)), tol.shape, "kurtosis",
        j);
  }
  // Matrix entries are measured on the scale of their row and column:
  // covariance and cross products relative to sqrt(c_ii c_kk), correlations
  // absolutely (the diagonal, which holds the variance, relatively).
  for (int i = 0; i < r.p; ++i)
    for (int k = 0; k < r.p; ++k) {
      const long double sc = std::sqrt(ref.cov(i, i) * ref.cov(k, k));
      const long double sx = std::sqrt(ref.cross[i * r.p + i] * ref.cross[k * r.p + k]);
      upd(worst.second, std::fabs(r.at(*r.cov, r.cov_form, i, k) - ref.cov(i, k)) / sc,
          tol.second, "cov", i);
      upd(worst.second, std::fabs(r.at(*r.cp, r.cp_form, i, k) - ref.cross[i * r.p + k]) / sx,
          tol.second, "cross", i);
      const double cor = r.at(*r.cor, r.cor_form, i, k);
      upd(worst.second, i == k ? rel(cor, ref.var(i)) : std::fabs(cor - ref.cor(i, k)),
          tol.second, "cor", i);
    }
  return worst;
}

struct Data {
  int p;
  int64_t n;
  std::vector<double> rows, cols, w;  // variable-contiguous, observation-contiguous, weights
};

Data make_data(int p, int64_t n, double center, double sd, uint64_t seed, bool weights) {
  Data d{p, n, sstest::gaussian(p, n, center, sd, seed), {}, {}};
  d.cols = sstest::transpose(d.rows, p, n);
  if (weights) {
    std::mt19937_64 g(seed + 1);
    std::uniform_real_distribution<double> u(0.5, 2.0);
    d.w.resize(n);
    for (auto& x : d.w) x = u(g);
  }
  return d;
}

// Runs Basic over observations [first, end) of d in the given layout.
struct Basic {
  int32_t p, n, layout;
  Task t;
  Basic(const Data& d, int32_t layout_, int64_t first, int64_t end, const double* x,
      bool weighted)
      : p(d.p), n(static_cast<int32_t>(end - first)), layout(layout_) {
    const double* w = weighted ? d.w.data() + first : nullptr;
    EXPECT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, x, w, nullptr, 0), 0);
  }
};

const Data& data10() {
  static Data d = make_data(10, 100000, 10.0, 1.0, 1, true);
  return d;
}
const Data& data1e9() {
  static Data d = make_data(10, 100000, 1e9, 1.0, 2, false);
  return d;
}

TEST(SsBasic, OnePassAccuracyMeanTen) {
  const Data& d = data10();
  const Tol tol{1e-12, 1e-12, 1e-11, 1e-11};
  for (bool weighted : {false, true}) {
    Reference ref = sstest::reference(d.rows.data(), weighted ? d.w.data() : nullptr, d.p, d.n);
    for (int32_t layout : {ZEV_SS_MATRIX_STORAGE_ROWS, ZEV_SS_MATRIX_STORAGE_COLS}) {
      Basic run(d, layout, 0, d.n,
              layout == ZEV_SS_MATRIX_STORAGE_ROWS ? d.rows.data() : d.cols.data(), weighted);
      Results<double> r(d.p);
      r.attach(run.t, false);
      ASSERT_EQ(_vqsdSSBasic(run.t, kAllMask, ZEV_SS_METHOD_1PASS, zev_threading_serial()), 0);
      Tol worst = check(r, ref, tol, weighted ? "weighted" : "unweighted");
      printf("mean 10, one-pass, %s, worst: first %.3g second %.3g higher %.3g shape %.3g\n",
             weighted ? "weighted" : "unweighted", worst.first, worst.second, worst.higher,
             worst.shape);
      EXPECT_TRUE(r.leads_intact());
    }
  }
}

// Around 1e9 a rounding of a mean (6e-8) is a relative error of that size in
// a deviation of about 1; the block means and the merge's differences of
// means carry it. Measured: 4.9e-9 (second order), 3.1e-8 (orders 3 and 4),
// 2.3e-8 (shape); held here with a margin of two. Means, raw moments and
// sums stay within 1e-12.
TEST(SsBasic, OnePassAccuracyMeanBillion) {
  const Data& d = data1e9();
  Reference ref = sstest::reference(d.rows.data(), nullptr, d.p, d.n);
  Basic run(d, ZEV_SS_MATRIX_STORAGE_COLS, 0, d.n, d.cols.data(), false);
  Results<double> r(d.p);
  r.attach(run.t, false);
  ASSERT_EQ(_vqsdSSBasic(run.t, kAllMask, ZEV_SS_METHOD_1PASS, zev_threading_serial()), 0);
  Tol worst = check(r, ref, Tol{1e-12, 1e-8, 6e-8, 5e-8}, "mean 1e9");
  printf("mean 1e9, one-pass, worst: first %.3g second %.3g higher %.3g shape %.3g\n",
         worst.first, worst.second, worst.higher, worst.shape);
}

// Second-order requests alone (no third or fourth order) take the kernel
// that centres each block on the running mean: the same bounds as above,
// both layouts, weighted or not, serial and on the pool.
TEST(SsBasic, OnePassSecondOrderAccuracy) {
  constexpr int64_t kSecond = ZEV_SS_MEAN | ZEV_SS_2R_MOM | ZEV_SS_2C_MOM | ZEV_SS_VARIATION |
                              ZEV_SS_COV | ZEV_SS_COR | ZEV_SS_SUM | ZEV_SS_2R_SUM |
                              ZEV_SS_2C_SUM | ZEV_SS_CP;
  struct Case {
    const Data* d;
    bool weighted;
    Tol tol;
    const char* what;
  } cases[] = {
      {&data10(), false, Tol{1e-12, 1e-12, 0, 0}, "mean 10"},
      {&data10(), true, Tol{1e-12, 1e-12, 0, 0}, "mean 10, weighted"},
      {&data1e9(), false, Tol{1e-12, 1e-8, 0, 0}, "mean 1e9"},
  };
  for (const Case& c : cases) {
    const Data& d = *c.d;
    Reference ref = sstest::reference(d.rows.data(), c.weighted ? d.w.data() : nullptr, d.p, d.n);
    for (int32_t layout : {ZEV_SS_MATRIX_STORAGE_ROWS, ZEV_SS_MATRIX_STORAGE_COLS})
      for (const zev_threading* th : {zev_threading_serial(), zev_threading_pool()}) {
        Basic run(d, layout, 0, d.n,
                  layout == ZEV_SS_MATRIX_STORAGE_ROWS ? d.rows.data() : d.cols.data(), c.weighted);
        Results<double> r(d.p);
        r.attach(run.t, false);
        ASSERT_EQ(_vqsdSSBasic(run.t, kSecond, ZEV_SS_METHOD_1PASS, th), 0);
        Tol worst = check(r, ref, c.tol, c.what, true);
        printf("%s, second order, worst: first %.3g second %.3g\n", c.what, worst.first,
               worst.second);
      }
  }
}

// The fast method subtracts raw means: its error grows with (mean/sd)^k.
TEST(SsBasic, FastMethodMeanTen) {
  const Data& d = data10();
  Reference ref = sstest::reference(d.rows.data(), nullptr, d.p, d.n);
  for (int32_t layout : {ZEV_SS_MATRIX_STORAGE_ROWS, ZEV_SS_MATRIX_STORAGE_COLS}) {
    Basic run(d, layout, 0, d.n,
            layout == ZEV_SS_MATRIX_STORAGE_ROWS ? d.rows.data() : d.cols.data(), false);
    Results<double> r(d.p);
    r.attach(run.t, false);
    ASSERT_EQ(_vqsdSSBasic(run.t, kAllMask, ZEV_SS_METHOD_FAST, zev_threading_serial()), 0);
    Tol worst = check(r, ref, Tol{1e-12, 1e-10, 1e-7, 1e-7}, "fast");
    printf("mean 10, fast, worst: first %.3g second %.3g higher %.3g shape %.3g\n", worst.first,
           worst.second, worst.higher, worst.shape);
  }
}

TEST(SsBasic, UserMeanCentralSums) {
  const Data& d = data10();
  Reference ref = sstest::reference(d.rows.data(), nullptr, d.p, d.n);
  Basic run(d, ZEV_SS_MATRIX_STORAGE_ROWS, 0, d.n, d.rows.data(), false);
  Results<double> r(d.p);
  r.attach(run.t, false);
  for (int j = 0; j < d.p; ++j) r[Results<double>::kMean][j] = static_cast<double>(ref.mean[j]);
  ASSERT_EQ(_vqsdSSBasic(run.t, ZEV_SS_2C_SUM | ZEV_SS_3C_SUM | ZEV_SS_4C_SUM | ZEV_SS_COV,
                         ZEV_SS_METHOD_FAST_USER_MEAN, zev_threading_serial()),
            0);
  for (int j = 0; j < d.p; ++j) {
    long double var = ref.var(j);
    EXPECT_LE(rel(r[Results<double>::kCS2][j], ref.cs2[j]), 1e-12);
    EXPECT_LE(std::fabs(r[Results<double>::kCS3][j] - ref.cs3[j]) / (ref.W * var * std::sqrt(var)),
              1e-11);
    EXPECT_LE(std::fabs(r[Results<double>::kCS4][j] - ref.cs4[j]) / (ref.W * var * var), 1e-11);
    EXPECT_EQ(r[Results<double>::kMean][j], static_cast<double>(ref.mean[j]));  // read only
  }
  for (int i = 0; i < d.p; ++i)
    for (int k = 0; k < d.p; ++k) {
      // Raw cross products less W*mean*mean^T: the fast method's cancellation.
      EXPECT_LE(std::fabs(r.at(*r.cov, 0, i, k) - ref.cov(i, k)) / std::sqrt(ref.var(i) * ref.var(k)),
                1e-10);
    }
}

// Three blocks with accumulated_weights give the results of one call.
TEST(SsBasic, BlocksEqualOneCall) {
  const Data& d = data10();
  const int64_t cuts[] = {0, 31111, 64000, d.n};
  for (int64_t method : {ZEV_SS_METHOD_1PASS, ZEV_SS_METHOD_FAST}) {
    for (bool weighted : {false, true}) {
      for (int form : {0, 1, 2}) {
        Results<double> whole(d.p, form), blocks(d.p, form);
        Basic one(d, ZEV_SS_MATRIX_STORAGE_ROWS, 0, d.n, d.rows.data(), weighted);
        whole.attach(one.t, false);
        ASSERT_EQ(_vqsdSSBasic(one.t, kAllMask, method, zev_threading_serial()), 0);
        (*blocks.acc)[0] = (*blocks.acc)[1] = 0;
        for (int b = 0; b < 3; ++b) {
          // Observation-contiguous blocks: a different kernel family too.
          Basic part(d, ZEV_SS_MATRIX_STORAGE_COLS, cuts[b], cuts[b + 1],
                   d.cols.data() + cuts[b] * d.p, weighted);
          blocks.attach(part.t, true);
          ASSERT_EQ(_vqsdSSBasic(part.t, kAllMask, method, zev_threading_serial()), 0);
        }
        Reference ref;  // compare the two runs with each other
        ref.p = d.p;
        auto as_ref = [&](const Results<double>& r) {
          using R = Results<double>;
          Reference x;
          x.p = d.p;
          Reference full = sstest::reference(d.rows.data(), weighted ? d.w.data() : nullptr,
                                             d.p, d.n);
          x.W = full.W;
          x.W2 = full.W2;
          for (int j = 0; j < d.p; ++j) {
            x.mean.push_back(r[R::kMean][j]);
            x.raw2.push_back(r[R::kR2][j]);
            x.raw3.push_back(r[R::kR3][j]);
            x.raw4.push_back(r[R::kR4][j]);
            x.cs2.push_back(r[R::kCS2][j]);
            x.cs3.push_back(r[R::kCS3][j]);
            x.cs4.push_back(r[R::kCS4][j]);
          }
          for (int i = 0; i < d.p; ++i)
            for (int k = 0; k < d.p; ++k) x.cross.push_back(r.at(*r.cp, form, i, k));
          return x;
        };
        double scale = method == ZEV_SS_METHOD_FAST ? 1e3 : 1;
        check(blocks, as_ref(whole), Tol{1e-13, 1e-13 * scale, 1e-12 * scale, 1e-12 * scale},
              "blocks");
        EXPECT_DOUBLE_EQ((*blocks.acc)[0], weighted ? static_cast<double>(as_ref(whole).W) : d.n);
      }
    }
  }
}

TEST(SsBasic, TwoThreadsEqualSerial) {
  const Data& d = data10();
  ASSERT_EQ(zev_threading_pool_set_size(2), 2);
  for (int64_t method : {ZEV_SS_METHOD_1PASS, ZEV_SS_METHOD_FAST}) {
    for (bool weighted : {false, true}) {
      for (int32_t layout : {ZEV_SS_MATRIX_STORAGE_ROWS, ZEV_SS_MATRIX_STORAGE_COLS}) {
        const double* x = layout == ZEV_SS_MATRIX_STORAGE_ROWS ? d.rows.data() : d.cols.data();
        Basic a(d, layout, 0, d.n, x, weighted), b(d, layout, 0, d.n, x, weighted);
        Results<double> serial(d.p), pooled(d.p);
        serial.attach(a.t, false);
        pooled.attach(b.t, false);
        ASSERT_EQ(_vqsdSSBasic(a.t, kAllMask, method, zev_threading_serial()), 0);
        ASSERT_EQ(_vqsdSSBasic(b.t, kAllMask, method, zev_threading_pool()), 0);
        for (int k = 0; k < Results<double>::kVectors; ++k)
          for (int j = 0; j < d.p; ++j) {
            double s = serial[k][j], q = pooled[k][j];
            // Orders 3 and 4 of a near-symmetric sample sit near zero: compare
            // those on the scale of the variance.
            using R = Results<double>;
            const bool unit = k == R::kC3 || k == R::kSkew || k == R::kKurt;
            double scale = std::max(std::fabs(s), unit ? 1.0 : k == R::kCS3 ? 1.0 * d.n : 0.0);
            // The fast method's central quantities are differences of raw
            // means: the rounding of the sums, which the split changes, is
            // amplified as (mean/sd)^k (see FastMethodMeanTen).
            const bool raw = k <= R::kR4 || (k >= R::kSum && k <= R::kRS4);
            const double tol = method == ZEV_SS_METHOD_1PASS || raw ? 1e-12 : 1e-8;
            EXPECT_LE(std::fabs(s - q), tol * scale)
                << "method " << method << " quantity " << k << " variable " << j;
          }
        for (int i = 0; i < d.p; ++i)
          for (int k = 0; k < d.p; ++k) {
            const size_t at = i * d.p + k, ii = i * d.p + i, kk = k * d.p + k;
            auto err = [&](const Guarded<double>& a, const Guarded<double>& b) {
              return std::fabs(a[at] - b[at]) / std::sqrt(b[ii] * b[kk]);
            };
            const double tol = method == ZEV_SS_METHOD_1PASS ? 1e-12 : 1e-10;
            EXPECT_LE(err(*pooled.cov, *serial.cov), tol);
            EXPECT_LE(err(*pooled.cp, *serial.cp), tol);
            EXPECT_LE(std::fabs((*pooled.cor)[at] - (*serial.cor)[at]) *
                          (i == k ? 1 / (*serial.cor)[at] : 1),
                      tol);
          }
      }
    }
  }
}

// Matrix forms and the variable mask: packed forms hold every pair's place,
// skipped variables' slots stay untouched.
TEST(SsBasic, MatrixFormsAndMask) {
  const Data& d = data10();
  Reference ref = sstest::reference(d.rows.data(), nullptr, d.p, d.n);
  for (bool wide : {false, true}) {
    for (int form : {0, 1, 2}) {
      int32_t mask32[10] = {1, 0, 1, 1, 0, 1, 1, 1, 1, 0};
      int64_t mask64[10];
      for (int j = 0; j < 10; ++j) mask64[j] = mask32[j] ? (int64_t{7} << 32) | 1 : int64_t{5} << 32;
      int32_t p32 = d.p, n32 = static_cast<int32_t>(d.n), lay32 = ZEV_SS_MATRIX_STORAGE_ROWS;
      int64_t p64 = d.p, n64 = d.n, lay64 = ZEV_SS_MATRIX_STORAGE_ROWS, form64 = form;
      Task t;
      if (wide)
        ASSERT_EQ(__vqsdSSNewTask(&t.t, &p64, &n64, &lay64, d.rows.data(), nullptr, mask64, 1), 0);
      else
        ASSERT_EQ(__vqsdSSNewTask(&t.t, &p32, &n32, &lay32, d.rows.data(), nullptr, mask32, 0), 0);
      Results<double> r(d.p, form);
      r.attach(t.t, false);
      if (wide) {  // storage forms read as 64 bits
        ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_COV_STORAGE, &form64), 0);
        ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_COR_STORAGE, &form64), 0);
        ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_CP_STORAGE, &form64), 0);
      }
      ASSERT_EQ(zev_threading_pool_set_size(2), 2);
      ASSERT_EQ(_vqsdSSBasic(t.t, kAllMask, ZEV_SS_METHOD_1PASS, zev_threading_pool()), 0);
      for (int j = 0; j < d.p; ++j) {
        if (mask32[j]) {
          EXPECT_LE(rel(r[Results<double>::kMean][j], ref.mean[j]), 1e-12);
          EXPECT_LE(rel(r[Results<double>::kC2][j], ref.var(j)), 1e-12);
        } else {
          for (int k = 0; k < Results<double>::kVectors; ++k)
            EXPECT_EQ(r[k][j], kSentinel) << "masked variable " << j << " quantity " << k;
        }
      }
      for (int i = 0; i < d.p; ++i)
        for (int k = 0; k < d.p; ++k) {
          double cov = r.at(*r.cov, form, i, k), cor = r.at(*r.cor, form, i, k);
          if (mask32[i] && mask32[k]) {
            EXPECT_LE(std::fabs(cov - ref.cov(i, k)) / std::sqrt(ref.var(i) * ref.var(k)), 1e-12);
            EXPECT_LE(i == k ? rel(cor, ref.var(i)) : std::fabs(cor - ref.cor(i, k)), 1e-12);
          } else {
            EXPECT_EQ(cov, kSentinel);
            EXPECT_EQ(cor, kSentinel);
          }
        }
      EXPECT_TRUE(r.leads_intact());
    }
  }
}

// Statuses in check order, and nothing written on a rejected call. Each
// case builds its task from the dimension alone and attaches every input and
// result except the identifiers it drops.
TEST(SsBasic, Statuses) {
  using R = Results<double>;
  const int p = 3;
  double x[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13};
  struct Case {
    int64_t mask, method;
    std::vector<int> drop;
    int32_t layout, n;
    bool acc;
    int status;
  } cases[] = {
      {ZEV_SS_MEAN, 0, {}, 0x10000, 4, false, -4029},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS | ZEV_SS_METHOD_FAST, {}, 0x10000, 4, false, -4029},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS | ZEV_SS_METHOD_FAST_USER_MEAN, {}, 0x10000, 4, false, -4029},
      {ZEV_SS_MEAN, 0x4, {}, 0x10000, 4, false, -4029},
      {ZEV_SS_SUM, ZEV_SS_METHOD_SUM_TO_MOM, {}, 0x10000, 4, true, -4029},
      {ZEV_SS_CP, ZEV_SS_METHOD_CP_TO_COVCOR, {}, 0x10000, 4, true, -4029},
      {ZEV_SS_VARIATION, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_MEAN, ZEV_SS_ED_VARIATION}, 0x10000, 4, false, -4006},
      {ZEV_SS_2C_MOM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_2R_MOM}, 0x10000, 4, false, -4007},
      {ZEV_SS_KURTOSIS, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_3R_MOM, ZEV_SS_ED_3C_MOM}, 0x10000, 4, false, -4008},
      {ZEV_SS_SKEWNESS, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_3C_MOM}, 0x10000, 4, false, -4011},
      {ZEV_SS_SKEWNESS, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_SKEWNESS}, 0x10000, 4, false, -4014},
      {ZEV_SS_KURTOSIS, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_KURTOSIS}, 0x10000, 4, false, -4013},
      {ZEV_SS_4R_MOM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_4R_MOM}, 0x10000, 4, false, -4009},
      {ZEV_SS_VARIATION, ZEV_SS_METHOD_FAST, {ZEV_SS_ED_VARIATION}, 0x10000, 4, false, -4017},
      {ZEV_SS_4C_MOM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_4C_MOM}, 0x10000, 4, false, -4012},
      {ZEV_SS_2C_MOM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_2C_MOM}, 0x10000, 4, false, -4010},
      {ZEV_SS_3C_SUM, ZEV_SS_METHOD_FAST, {ZEV_SS_ED_3R_MOM}, 0x10000, 4, false, -4008},
      {ZEV_SS_2C_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_2R_MOM}, 0x10000, 4, false, 0},
      {ZEV_SS_2C_SUM, ZEV_SS_METHOD_FAST, {ZEV_SS_ED_2R_MOM}, 0x10000, 4, false, -4007},
      {ZEV_SS_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_SUM}, 0x10000, 4, false, -4074},
      {ZEV_SS_2R_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_2R_SUM}, 0x10000, 4, false, -4075},
      {ZEV_SS_3R_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_3R_SUM}, 0x10000, 4, false, -4076},
      {ZEV_SS_4R_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_4R_SUM}, 0x10000, 4, false, -4077},
      {ZEV_SS_2C_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_2C_SUM}, 0x10000, 4, false, -4078},
      {ZEV_SS_3C_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_3C_SUM}, 0x10000, 4, false, -4079},
      {ZEV_SS_4C_SUM, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_4C_SUM}, 0x10000, 4, false, -4080},
      {ZEV_SS_CP, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_CP}, 0x10000, 4, false, -4081},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_SUM_TO_MOM, {ZEV_SS_ED_SUM}, 0x10000, 4, true, -4074},
      {ZEV_SS_COV, ZEV_SS_METHOD_CP_TO_COVCOR, {ZEV_SS_ED_CP}, 0x10000, 4, true, -4081},
      {ZEV_SS_COR, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_COR}, 0x10000, 4, false, -4019},
      {ZEV_SS_CP | ZEV_SS_COV, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_CP, ZEV_SS_ED_COV}, 0x10000, 4, false, -4018},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_SUM_TO_MOM, {ZEV_SS_ED_OBSERV_N}, 0x10000, 4, false, -4020},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_SUM_TO_MOM, {ZEV_SS_ED_OBSERV_N}, 0x10000, 4, true, 0},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_SUM_TO_MOM, {ZEV_SS_ED_OBSERV}, 0x10000, 4, false, 0},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_OBSERV_N}, 0x10000, 4, false, -4002},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {}, 0x10000, 0, false, -4002},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {}, 0x10000, -4, false, -4002},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_OBSERV}, 0x10000, 4, false, -4032},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {ZEV_SS_ED_OBSERV_STORAGE}, 0x10000, 4, false, -4044},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {}, 0x40000, 4, false, -4003},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, {}, 0x30000, 4, false, 0},
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS | ZEV_SS_METHOD_CP_TO_COVCOR, {ZEV_SS_ED_OBSERV}, 0x10000, 4,
       false, -4032},  // checked as one-pass
      {ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS | ZEV_SS_METHOD_CP_TO_COVCOR, {ZEV_SS_ED_SUM}, 0x10000, 4,
       false, 0},  // one-pass table: the sum is not needed
      {0, ZEV_SS_METHOD_1PASS, {}, 0x10000, 4, false, 0},
  };
  const std::pair<int, int> vec_ids[] = {
      {ZEV_SS_ED_MEAN, R::kMean}, {ZEV_SS_ED_2R_MOM, R::kR2}, {ZEV_SS_ED_3R_MOM, R::kR3},
      {ZEV_SS_ED_4R_MOM, R::kR4}, {ZEV_SS_ED_2C_MOM, R::kC2}, {ZEV_SS_ED_3C_MOM, R::kC3},
      {ZEV_SS_ED_4C_MOM, R::kC4}, {ZEV_SS_ED_KURTOSIS, R::kKurt},
      {ZEV_SS_ED_SKEWNESS, R::kSkew}, {ZEV_SS_ED_VARIATION, R::kVar},
      {ZEV_SS_ED_SUM, R::kSum}, {ZEV_SS_ED_2R_SUM, R::kRS2}, {ZEV_SS_ED_3R_SUM, R::kRS3},
      {ZEV_SS_ED_4R_SUM, R::kRS4}, {ZEV_SS_ED_2C_SUM, R::kCS2}, {ZEV_SS_ED_3C_SUM, R::kCS3},
      {ZEV_SS_ED_4C_SUM, R::kCS4}};
  for (const Case& c : cases) {
    auto kept = [&](int id) { return std::find(c.drop.begin(), c.drop.end(), id) == c.drop.end(); };
    int32_t pp = p, layout = c.layout, count = c.n;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
    if (kept(ZEV_SS_ED_OBSERV_N)) { ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_OBSERV_N, &count), 0); }
    if (kept(ZEV_SS_ED_OBSERV)) { ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_OBSERV, x), 0); }
    if (kept(ZEV_SS_ED_OBSERV_STORAGE)) {
      ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_OBSERV_STORAGE, &layout), 0);
    }
    R r(p);
    for (auto [id, k] : vec_ids)
      if (kept(id)) { ASSERT_EQ(__vqsdSSEditTask(t.t, id, r[k]), 0); }
    if (kept(ZEV_SS_ED_COV)) { ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_COV, r.cov->data()), 0); }
    if (kept(ZEV_SS_ED_COR)) { ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_COR, r.cor->data()), 0); }
    if (kept(ZEV_SS_ED_CP)) { ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_CP, r.cp->data()), 0); }
    (*r.acc)[0] = (*r.acc)[1] = 4;
    if (c.acc) { ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_ACCUM_WEIGHT, r.acc->data()), 0); }
    EXPECT_EQ(_vqsdSSBasic(t.t, c.mask, c.method, zev_threading_serial()), c.status)
        << "mask " << std::hex << c.mask << " method " << c.method;
    if (c.status != 0) {
      EXPECT_TRUE(r.untouched()) << "mask " << std::hex << c.mask;
      EXPECT_EQ((*r.acc)[0], 4.0);
    }
    EXPECT_TRUE(r.leads_intact());
  }
  EXPECT_EQ(_vqsdSSBasic(nullptr, ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, nullptr),
            ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR);
  // A dimension edited to zero after creation.
  {
    int32_t pp = p, n = 4, layout = 0x10000, zero = 0;
    double mean[3] = {kSentinel, kSentinel, kSentinel};
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &pp, &n, &layout, x, nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditTask(t.t, ZEV_SS_ED_MEAN, mean), 0);
    ASSERT_EQ(__vqsiSSEditTask(t.t, ZEV_SS_ED_DIMEN, &zero), 0);
    EXPECT_EQ(_vqsdSSBasic(t.t, ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, nullptr), ZEV_SS_ERROR_BAD_DIMEN);
    EXPECT_EQ(mean[0], kSentinel);
  }
  EXPECT_EQ(_vqssSSBasic(nullptr, ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS, nullptr),
            ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR);
}

// Small cases with answers known exactly.
TEST(SsBasic, EdgeCases) {
  using R = Results<double>;
  // p = 1 observation-contiguous runs as variable-contiguous.
  {
    int32_t p = 1, n = 4, layout = ZEV_SS_MATRIX_STORAGE_COLS;
    double x[4] = {1, 2, 3, 6};
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, x, nullptr, nullptr, 0), 0);
    R r(1);
    r.attach(t.t, false);
    ASSERT_EQ(_vqsdSSBasic(t.t, ZEV_SS_MEAN | ZEV_SS_2C_MOM | ZEV_SS_CP, ZEV_SS_METHOD_1PASS,
                           nullptr),
              0);
    EXPECT_EQ(r[R::kMean][0], 3.0);
    EXPECT_DOUBLE_EQ(r[R::kC2][0], 14.0 / 3);
    EXPECT_DOUBLE_EQ((*r.cp)[0], 14.0);
  }
  // n = 1: W*W = W2, a non-finite variance and status 0.
  {
    int32_t p = 2, n = 1, layout = ZEV_SS_MATRIX_STORAGE_ROWS;
    double x[2] = {5, 7};
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, x, nullptr, nullptr, 0), 0);
    R r(2);
    r.attach(t.t, false);
    ASSERT_EQ(_vqsdSSBasic(t.t, ZEV_SS_2C_MOM, ZEV_SS_METHOD_1PASS, nullptr), 0);
    EXPECT_EQ(r[R::kMean][1], 7.0);
    EXPECT_FALSE(std::isfinite(r[R::kC2][0]));
  }
  // Leading zero weights change nothing.
  {
    int32_t p = 2, n = 6, n2 = 4, layout = ZEV_SS_MATRIX_STORAGE_ROWS;
    double x[12] = {9, 9, 1, 2, 4, 8, 9, 9, 3, 1, 4, 1};
    double w[6] = {0, 0, 1, 2, 1, 0.5};
    double x2[8] = {1, 2, 4, 8, 3, 1, 4, 1};
    Task a, b;
    ASSERT_EQ(__vqsdSSNewTask(&a.t, &p, &n, &layout, x, w, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSNewTask(&b.t, &p, &n2, &layout, x2, w + 2, nullptr, 0), 0);
    R ra(2), rb(2);
    ra.attach(a.t, false);
    rb.attach(b.t, false);
    ASSERT_EQ(_vqsdSSBasic(a.t, kAllMask, ZEV_SS_METHOD_1PASS, nullptr), 0);
    ASSERT_EQ(_vqsdSSBasic(b.t, kAllMask, ZEV_SS_METHOD_1PASS, nullptr), 0);
    for (int k = 0; k < R::kVectors; ++k)
      for (int j = 0; j < 2; ++j) EXPECT_EQ(ra[k][j], rb[k][j]) << k;
    EXPECT_DOUBLE_EQ(ra[R::kMean][0], (1 + 4 + 4 + 4) / 4.5);
  }
}

// Derivation: moments from sums and matrices from cross products, no data.
TEST(SsBasic, Derivation) {
  using R = Results<double>;
  int32_t p = 2, n = 4;
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, nullptr, nullptr, nullptr, nullptr, 0), 0);
  R r(2);
  r.attach(t.t, false);
  // Data {1, 2, 3, 6} and {2, 2, 4, 4}.
  double s[2] = {12, 12}, cs2[2] = {14, 4}, cp[4] = {14, 4, 4, 4};
  std::copy(s, s + 2, r[R::kSum]);
  std::copy(cs2, cs2 + 2, r[R::kCS2]);
  std::copy(cp, cp + 4, r.cp->data());
  ASSERT_EQ(_vqsdSSBasic(t.t, ZEV_SS_MEAN | ZEV_SS_2C_MOM, ZEV_SS_METHOD_SUM_TO_MOM, nullptr), 0);
  EXPECT_EQ(r[R::kMean][0], 3.0);
  EXPECT_DOUBLE_EQ(r[R::kC2][0], 14.0 / 3);
  EXPECT_DOUBLE_EQ(r[R::kC2][1], 4.0 / 3);
  ASSERT_EQ(_vqsdSSBasic(t.t, ZEV_SS_COV | ZEV_SS_COR, ZEV_SS_METHOD_CP_TO_COVCOR, nullptr), 0);
  EXPECT_DOUBLE_EQ((*r.cov)[1], 4.0 / 3);
  EXPECT_DOUBLE_EQ((*r.cor)[2], 4.0 / std::sqrt(14.0 * 4.0));
  EXPECT_DOUBLE_EQ((*r.cor)[0], 14.0 / 3);  // the diagonal holds the variance
}

// Two halves computed apart and joined with the exported merge equal the
// whole.
TEST(SsBasic, ExportedMerge) {
  using R = Results<double>;
  const Data& d = data10();
  Reference ref = sstest::reference(d.rows.data(), nullptr, d.p, d.n);
  const int64_t half = 40000;
  R a(d.p), b(d.p);
  Basic ra(d, ZEV_SS_MATRIX_STORAGE_COLS, 0, half, d.cols.data(), false);
  Basic rb(d, ZEV_SS_MATRIX_STORAGE_COLS, half, d.n, d.cols.data() + half * d.p, false);
  a.attach(ra.t, true);
  b.attach(rb.t, true);
  (*a.acc)[0] = (*a.acc)[1] = (*b.acc)[0] = (*b.acc)[1] = 0;
  ASSERT_EQ(_vqsdSSBasic(ra.t, kAllMask, ZEV_SS_METHOD_1PASS, zev_threading_serial()), 0);
  ASSERT_EQ(_vqsdSSBasic(rb.t, kAllMask, ZEV_SS_METHOD_1PASS, zev_threading_serial()), 0);
  auto part = [&](R& r) {
    return zev_ss_dpartial{(*r.acc)[0], (*r.acc)[1], r[R::kMean], r[R::kR2], r[R::kR3], r[R::kR4],
                           r[R::kCS2],  r[R::kCS3],  r[R::kCS4],  r.cp->data()};
  };
  zev_ss_dpartial pa = part(a), pb = part(b);
  zev_ss_dMergePartial(d.p, nullptr, 0, &pa, &pb);
  EXPECT_EQ(pa.w, static_cast<double>(d.n));
  for (int j = 0; j < d.p; ++j) {
    long double var = ref.var(j);
    EXPECT_LE(rel(pa.mean[j], ref.mean[j]), 1e-12);
    EXPECT_LE(rel(pa.raw4[j], ref.raw4[j]), 1e-12);
    EXPECT_LE(rel(pa.central_sum2[j], ref.cs2[j]), 1e-12);
    EXPECT_LE(std::fabs(pa.central_sum3[j] - ref.cs3[j]) / (ref.W * var * std::sqrt(var)), 1e-11);
    EXPECT_LE(std::fabs(pa.central_sum4[j] - ref.cs4[j]) / (ref.W * var * var), 1e-11);
    for (int k = j; k < d.p; ++k) {
      EXPECT_LE(std::fabs(pa.cross[j * d.p + k] - ref.cross[j * d.p + k]) /
                    std::sqrt(ref.cross[j * d.p + j] * ref.cross[k * d.p + k]),
                1e-12);
    }
  }
}

TEST(SsBasic, SinglePrecision) {
  using R = Results<float>;
  const Data& d = data10();
  Reference ref = sstest::reference(d.rows.data(), nullptr, d.p, d.n);
  std::vector<float> xf(d.cols.begin(), d.cols.end());
  int32_t p = d.p, n = static_cast<int32_t>(d.n), layout = ZEV_SS_MATRIX_STORAGE_COLS;
  Task t;
  ASSERT_EQ(__vqssSSNewTask(&t.t, &p, &n, &layout, xf.data(), nullptr, nullptr, 0), 0);
  R r(d.p);
  r.attach(t.t, false);
  ASSERT_EQ(zev_threading_pool_set_size(2), 2);
  ASSERT_EQ(_vqssSSBasic(t.t, kAllMask, ZEV_SS_METHOD_1PASS, zev_threading_pool()), 0);
  // Accumulators stay in single precision; the data were rounded to float.
  for (int j = 0; j < d.p; ++j) {
    EXPECT_LE(rel(r[R::kMean][j], ref.mean[j]), 2e-5);
    EXPECT_LE(rel(r[R::kC2][j], ref.var(j)), 1e-4);
  }
  for (int i = 0; i < d.p; ++i)
    for (int k = 0; k < d.p; ++k) EXPECT_LE(rel(r.at(*r.cov, 0, i, k), ref.cov(i, k)), 1e-3);
}

}  // namespace

// The thread count: at most max_threads, at least 8192 units of work (n*p,
// n*p*p with a matrix) and 16 observations a thread; each thread runs once.
namespace counting {
int g_regions = 0, g_threads = 0, g_bodies = 0;
void region(int threads, void* context, zev_parallel_region_body body) {
  ++g_regions;
  g_threads = threads;
  for (int t = 0; t < threads; ++t, ++g_bodies) body(t, nullptr, threads, context);
}
int max8() { return 8; }
const zev_threading kTable = {nullptr, nullptr, region, nullptr, max8};
}  // namespace counting

TEST(SsBasic, ThreadCount) {
  struct Case {
    int32_t p, n;
    int64_t mask;
    int threads;
  } cases[] = {
      {10, 100000, ZEV_SS_MEAN, 8},
      {10, 1638, ZEV_SS_MEAN, 1},   // 16380 >> 13 = 1
      {10, 1639, ZEV_SS_MEAN, 2},   // 16390 >> 13 = 2
      {10, 1639, ZEV_SS_COV, 8},    // with a matrix: 163900 >> 13 = 20
      {1000, 40, ZEV_SS_MEAN, 2},   // 16 observations a thread
      {1000, 31, ZEV_SS_MEAN, 1},
  };
  for (const Case& c : cases) {
    std::vector<double> x(static_cast<size_t>(c.p) * c.n, 1.0), mean(c.p), cov(static_cast<size_t>(c.p) * c.p);
    int32_t p = c.p, n = c.n, layout = ZEV_SS_MATRIX_STORAGE_ROWS;
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, &n, &layout, x.data(), nullptr, nullptr, 0), 0);
    ASSERT_EQ(__vqsdSSEditCovCor(t.t, mean.data(), cov.data(), nullptr, nullptr, nullptr), 0);
    counting::g_regions = counting::g_threads = counting::g_bodies = 0;
    ASSERT_EQ(_vqsdSSBasic(t.t, c.mask, ZEV_SS_METHOD_1PASS, &counting::kTable), 0);
    const int used = counting::g_regions ? counting::g_threads : 1;
    EXPECT_EQ(used, c.threads) << c.p << " " << c.n;
    EXPECT_EQ(counting::g_bodies, counting::g_regions ? used : 0);
    EXPECT_EQ(mean[c.p - 1], 1.0);
  }
}
