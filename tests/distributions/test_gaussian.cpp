// The Gaussian family: fit to the normal distribution, the sequence rules of
// the three methods (what each consumes, the pending pair of method 1 across
// calls and across save and load), the wrapper's restoring of the caller's
// state, the multivariate forms' covariance and the lognormal.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <vector>

#include "dist_support.h"
#include "zev/zev_vqm.h"

namespace {

using disttest::seed;
using disttest::Stream;

double normal_cdf(double x) { return 0.5 * std::erfc(-x / std::sqrt(2.0)); }

TEST(Gaussian, EveryMethodFitsTheNormal) {
  const int n = 200000;
  const double a = 3, sigma = 2;
  for (int method : {0, 1, 2}) {
    Stream sd(ZEV_BRNG_MT19937, {seed(11 + method)}), sf(ZEV_BRNG_SFMT19937, {seed(5 + method)});
    std::vector<double> x(n);
    std::vector<float> y(n);
    ASSERT_EQ(_vqsdRngGaussian(method, sd, n, x.data(), a, sigma), 0);
    ASSERT_EQ(_vqssRngGaussian(method, sf, n, y.data(), float(a), float(sigma)), 0);
    auto cdf = [&](double v) { return normal_cdf((v - a) / sigma); };
    EXPECT_GT(disttest::ks_pvalue(disttest::ks_statistic(x, cdf), n), 1e-6) << "double " << method;
    EXPECT_GT(disttest::ks_pvalue(disttest::ks_statistic(y, cdf), n), 1e-6) << "single " << method;
    double mean, var;
    disttest::moments(x, mean, var);
    EXPECT_NEAR(mean, a, 5.5 * sigma / std::sqrt(n)) << method;
    EXPECT_NEAR(var, sigma * sigma, 5.5 * sigma * sigma * std::sqrt(2.0 / n)) << method;
    for (float v : y) ASSERT_TRUE(std::isfinite(v)) << method;
  }
}

// How many uniforms a call consumed: the uniforms a copy of the stream gives
// after the same number are the ones the stream gives next.
int consumed(void* before, void* after, int most) {
  std::vector<double> u(most + 1), next(1);
  _vqsdRngUniform(0, after, 1, next.data(), 0, 1);
  _vqsdRngUniform(0, before, most + 1, u.data(), 0, 1);
  for (int k = 0; k <= most; ++k)
    if (u[k] == next[0]) return k;
  return -1;
}

TEST(Gaussian, UniformsConsumedAndChunks) {
  struct Case {
    int method, n, uniforms, chunks;
  };
  const Case cases[] = {{0, 7, 14, 0}, {1, 7, 8, 1}, {1, 8, 8, 1}, {2, 7, 7, 0}, {1, 2500, 2500, 1}};
  for (const Case& c : cases) {
    Stream s(ZEV_BRNG_MT19937, {99});
    void* copy = nullptr;
    ASSERT_EQ(__vqsCopyStream(&copy, s), 0);
    std::vector<double> r(c.n);
    ASSERT_EQ(_vqsdRngGaussian(c.method, s, c.n, r.data(), 0, 1), 0);
    EXPECT_EQ(consumed(copy, s, 3 * c.n), c.uniforms) << "method " << c.method << " n " << c.n;
    EXPECT_EQ(__vqsGetNumChunks(s), c.chunks) << "method " << c.method;
    __vqsDeleteStream(&copy);
  }
}

TEST(Gaussian, PairsDoNotDependOnTheSplitNorOnSaveAndLoad) {
  const int total = 3001;
  for (bool single : {false, true}) {
    Stream whole(ZEV_BRNG_MT19937, {7}), parts(ZEV_BRNG_MT19937, {7});
    std::vector<double> x(total), y(total);
    std::vector<float> xf(total), yf(total);
    auto draw = [&](void* s, int n, int at, bool into_y) {
      if (single) return _vqssRngGaussian(1, s, n, (into_y ? yf : xf).data() + at, 1.5f, 0.5f);
      return _vqsdRngGaussian(1, s, n, (into_y ? y : x).data() + at, 1.5, 0.5);
    };
    ASSERT_EQ(draw(whole, total, 0, false), 0);
    const int splits[] = {1, 1, 2, 3, 1025, 999, 0, 970};  // odd pieces leave a pair pending
    int at = 0;
    void* s = parts.s;
    for (int k : splits) {
      ASSERT_EQ(draw(s, k, at, true), 0);
      at += k;
      // Save and load in the middle: the pending pair travels in the image.
      std::vector<char> image(__vqsGetStreamSize(s));
      ASSERT_EQ(__vqsSaveStreamM(s, image.data()), 0);
      void* loaded = nullptr;
      ASSERT_EQ(__vqsLoadStreamM(&loaded, image.data()), 0);
      if (s != parts.s) __vqsDeleteStream(&s);
      s = loaded;
    }
    ASSERT_EQ(at, total);
    for (int i = 0; i < total; ++i) {
      if (single) {
        ASSERT_EQ(xf[i], yf[i]) << i;
      } else {
        ASSERT_EQ(x[i], y[i]) << i;
      }
    }
    if (s != parts.s) __vqsDeleteStream(&s);
  }
}

// Methods that take a fixed number of uniforms a variate give, from a stream
// skipped ahead by k variates' uniforms, the sequence from variate k on; the
// one-uniform methods give, from leapfrog member j of m, every m-th variate
// from j.
TEST(Gaussian, SkippedAndLeapfroggedStreams) {
  struct Case {
    const char* name;
    int per;  // uniforms a variate
    int (*draw)(void* s, int n, double* r);
  };
  const Case cases[] = {
      {"Gaussian 0", 2, [](void* s, int n, double* r) { return _vqsdRngGaussian(0, s, n, r, 0.5, 2.0); }},
      {"Gaussian 2", 1, [](void* s, int n, double* r) { return _vqsdRngGaussian(2, s, n, r, 0.5, 2.0); }},
      {"Exponential", 1, [](void* s, int n, double* r) { return _vqsdRngExponential(0, s, n, r, 0.0, 3.0); }},
  };
  const int total = 2000, skip = 333, m = 5;
  for (const Case& c : cases) {
    Stream whole(ZEV_BRNG_MCG31M1, {12345});
    std::vector<double> all(total);
    ASSERT_EQ(c.draw(whole, total, all.data()), 0) << c.name;
    Stream skipped(ZEV_BRNG_MCG31M1, {12345});
    ASSERT_EQ(__vqsSkipAheadStream(skipped, static_cast<long long>(skip) * c.per), 0);
    std::vector<double> tail(total - skip);
    ASSERT_EQ(c.draw(skipped, total - skip, tail.data()), 0) << c.name;
    for (int i = 0; i < total - skip; ++i) ASSERT_EQ(tail[i], all[skip + i]) << c.name << " skipped, variate " << i;
    if (c.per != 1) continue;
    for (int j = 0; j < m; ++j) {
      Stream member(ZEV_BRNG_MCG31M1, {12345});
      ASSERT_EQ(__vqsLeapfrogStream(member, j, m), 0);
      std::vector<double> part(total / m);
      ASSERT_EQ(c.draw(member, total / m, part.data()), 0) << c.name;
      for (int i = 0; i < total / m; ++i) ASSERT_EQ(part[i], all[j + i * m]) << c.name << " member " << j << ", " << i;
    }
  }
}

// A callback of the caller's that counts its calls: the wrapper must keep it
// out of the generator's kernel calls and give it back afterwards.
int calls = 0;
int counting(zev_vqm_error_record*) { return ++calls, 0; }

TEST(Gaussian, CallersStateComesBackAndNothingSurfaces) {
  Stream s(ZEV_BRNG_MCG31M1, {1});
  const unsigned mode = VQM_HA | VQM_ERRMODE_CALLBACK | VQM_ERRMODE_ERRNO | VQM_FTZDAZ_ON;
  const unsigned old_mode = zev_vqm_kernel_SetMode(mode);
  const unsigned set = zev_vqm_kernel_GetMode();
  const zev_vqm_error_callback old_cb = zev_vqm_kernel_SetErrorCallBack(counting);
  const unsigned mxcsr = _mm_getcsr();
  unsigned short x87 = 0, x87_after = 0;
  __asm__ volatile("fnstcw %0" : "=m"(x87));
  std::vector<double> r(5000);
  for (int method : {0, 1, 2}) ASSERT_EQ(_vqsdRngGaussian(method, s, 5000, r.data(), 0, 1), 0);
  std::vector<float> f(5000);
  for (int method : {0, 1, 2}) ASSERT_EQ(_vqssRngGaussian(method, s, 5000, f.data(), 0, 1), 0);
  __asm__ volatile("fnstcw %0" : "=m"(x87_after));
  EXPECT_EQ(zev_vqm_kernel_GetMode(), set);
  EXPECT_EQ(zev_vqm_kernel_GetErrorCallBack(), counting);
  EXPECT_EQ(_mm_getcsr() & ~0x3Fu, mxcsr & ~0x3Fu);
  EXPECT_EQ(x87_after, x87);
  EXPECT_EQ(calls, 0);
  zev_vqm_kernel_SetErrorCallBack(old_cb);
  zev_vqm_kernel_SetMode(old_mode);
  EXPECT_EQ(_vqsdRngGaussian(3, s, 10, r.data(), 0, 1), ZEV_VQS_ERR_BAD_ARG);
}

TEST(GaussianMV, CovarianceOfEveryStorage) {
  const int dimen = 3, n = 100000;
  // Covariance C = L L^T with L lower triangular.
  const double L[3][3] = {{2, 0, 0}, {0.5, 1, 0}, {-1, 0.3, 0.7}};
  const double mean[3] = {1, -1, 10};
  double full[9] = {}, packed[6], diag[3] = {2, 1, 0.7};
  for (int i = 0; i < 3; ++i)  // column-major upper triangle of L^T: (k, i) at k + 3 i
    for (int k = 0; k <= i; ++k) full[k + 3 * i] = L[i][k];
  for (int k = 0, at = 0; k < 3; ++k)  // lower triangle of L, column by column
    for (int i = k; i < 3; ++i) packed[at++] = L[i][k];
  struct Case {
    int storage;
    const double* t;
  };
  for (const Case& c : {Case{ZEV_RNG_GAUSSIAN_MV_FULL, full}, Case{ZEV_RNG_GAUSSIAN_MV_PACKED, packed},
                        Case{ZEV_RNG_GAUSSIAN_MV_DIAGONAL, diag}}) {
    for (int method : {0, 1, 2}) {
      Stream s(ZEV_BRNG_MT19937, {seed(31 + method)});
      std::vector<double> r(static_cast<size_t>(n) * dimen);
      ASSERT_EQ(_vqsdRngGaussianMV(method, s, n, r.data(), dimen, c.storage, mean, c.t), 0);
      for (int a = 0; a < dimen; ++a) {
        double m = 0;
        for (int i = 0; i < n; ++i) m += r[i * dimen + a] / n;
        EXPECT_NEAR(m, mean[a], 0.03) << c.storage << " " << method;
        for (int b = 0; b < dimen; ++b) {
          double cov = 0, want = 0;
          for (int i = 0; i < n; ++i) cov += (r[i * dimen + a] - mean[a]) * (r[i * dimen + b] - mean[b]) / n;
          if (c.storage == ZEV_RNG_GAUSSIAN_MV_DIAGONAL) want = a == b ? diag[a] * diag[a] : 0;
          else
            for (int k = 0; k < dimen; ++k) want += L[a][k] * L[b][k];
          EXPECT_NEAR(cov, want, 0.04 * (1 + std::fabs(want))) << c.storage << " " << method << " " << a << b;
        }
      }
    }
  }
  // dimen 1 ignores the storage; an unknown storage leaves standard normals.
  Stream s1(ZEV_BRNG_MT19937, {3}), s2(ZEV_BRNG_MT19937, {3});
  std::vector<double> r1(1000), r2(1000);
  const double a0 = 5, t0 = 2;
  ASSERT_EQ(_vqsdRngGaussianMV(2, s1, 1000, r1.data(), 1, 77, &a0, &t0), 0);
  ASSERT_EQ(_vqsdRngGaussian(2, s2, 1000, r2.data(), 5, 2), 0);
  EXPECT_EQ(r1, r2);
  ASSERT_EQ(_vqsdRngGaussianMV(2, s1, 500, r1.data(), 2, 77, mean, full), 0);
  ASSERT_EQ(_vqsdRngGaussian(2, s2, 1000, r2.data(), 0, 1), 0);
  EXPECT_EQ(r1, r2);
}

TEST(Lognormal, MethodsAndTheAccurateFloor) {
  const int n = 100000;
  const double a = 0.5, sigma = 0.75, b = -1, beta = 2;
  for (int method : {ZEV_RNG_LOGNORMAL_BOXMULLER2, ZEV_RNG_LOGNORMAL_ICDF, ZEV_RNG_LOGNORMAL_ICDF_ACCURATE}) {
    Stream s(ZEV_BRNG_MT19937, {seed(41)}), g(ZEV_BRNG_MT19937, {seed(41)});
    std::vector<double> r(n), z(n);
    ASSERT_EQ(_vqsdRngLognormal(method, s, n, r.data(), a, sigma, b, beta), 0);
    ASSERT_EQ(_vqsdRngGaussian(method == 0 ? 1 : 2, g, n, z.data(), a, sigma), 0);
    for (int i = 0; i < n; ++i) {  // the exponential is the EP kernel (slot 2): 2^-26 relative
      const double e = beta * std::exp(z[i]);
      ASSERT_NEAR(r[i], b + e, 0x1p-26 * e + 4e-16 * std::fabs(b)) << i;
      if (method & ZEV_RNG_METHOD_ACCURATE) {
        ASSERT_GE(r[i], b);
      }
    }
    auto cdf = [&](double v) { return v <= b ? 0.0 : normal_cdf((std::log((v - b) / beta) - a) / sigma); };
    EXPECT_GT(disttest::ks_pvalue(disttest::ks_statistic(r, cdf), n), 1e-6) << method;
  }
}

}  // namespace
