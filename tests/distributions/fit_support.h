// Checks shared by the rejection and table generators' tests: the first four
// moments against exact values, with standard errors estimated from the
// sample's own higher moments, and a chi-square of binned counts against a
// probability function, with the exact moments summed from it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "dist_support.h"

namespace disttest {

// Moments of an exact distribution: mean, variance, third and fourth
// central moments.
struct Moments {
  double mean, var, mu3, mu4;
};

inline Moments from_shape(double mean, double var, double skew, double exkurt) {
  return {mean, var, skew * var * std::sqrt(var), (exkurt + 3) * var * var};
}

// Sample mean and central moments 2 to 8 in long double. The first four are
// compared with the exact ones within z standard errors of each estimator,
// the errors by the usual large-sample formulas in the sample's moments:
//   var(m2) = (m4 - m2^2) / n,  var(m3) = (m6 - m3^2 - 6 m4 m2 + 9 m2^3) / n,
//   var(m4) = (m8 - m4^2 - 8 m5 m3 + 16 m2 m3^2) / n.
template <class T>
void expect_moments(const std::vector<T>& x, const Moments& e, const std::string& what,
                    double z = 6.5) {
  const long double n = x.size();
  long double s = 0;
  for (T v : x) s += v;
  const long double mean = s / n;
  long double c[9] = {};
  for (T v : x) {
    const long double d = v - mean;
    long double p = d * d;
    for (int k = 2; k <= 8; ++k, p *= d) c[k] += p;
  }
  for (int k = 2; k <= 8; ++k) c[k] /= n;
  const double m2 = c[2], m3 = c[3], m4 = c[4], m5 = c[5], m6 = c[6], m8 = c[8];
  const double se1 = std::sqrt(e.var / double(n));
  const double se2 = std::sqrt(std::fabs(m4 - m2 * m2) / double(n));
  const double se3 = std::sqrt(std::fabs(m6 - m3 * m3 - 6 * m4 * m2 + 9 * m2 * m2 * m2) / double(n));
  const double se4 = std::sqrt(std::fabs(m8 - m4 * m4 - 8 * m5 * m3 + 16 * m2 * m3 * m3) / double(n));
  const double slack = 1e-12;  // relative, for rounding in sums
  EXPECT_NEAR(double(mean), e.mean, z * se1 + slack * std::fabs(e.mean) + 1e-300) << what << " mean";
  // Where the sample holds only a few values off the mode (n var small), the
  // higher sample moments cannot estimate their own errors: the mean only.
  if (double(n) * e.var < 200 && e.var < 1) return;
  EXPECT_NEAR(m2, e.var, z * se2 + slack * e.var + 1e-300) << what << " variance";
  EXPECT_NEAR(m3, e.mu3, z * se3 + 1e-9 * std::pow(e.var, 1.5) + 1e-300) << what << " third moment";
  EXPECT_NEAR(m4, e.mu4, z * se4 + 1e-9 * e.var * e.var + 1e-300) << what << " fourth moment";
}

// For a distribution on the integers with probability function pmf, whose
// mass lies in [lo, hi]: the exact moments by summation, and a chi-square of
// the counts in bins of consecutive values, each bin closed once its
// expected count reaches 20 (the first bin takes everything below, the last
// everything above). Fails when the Wilson-Hilferty deviate exceeds zmax.
inline void expect_discrete_fit(const std::vector<int32_t>& x, const std::function<double(double)>& pmf,
                                double lo, double hi, const std::string& what, double zmax = 5.0) {
  const double n = double(x.size());
  std::vector<double> start, expected;
  long double s0 = 0, s1 = 0;
  double acc = 0;
  start.push_back(-1e300);
  for (double k = lo; k <= hi; k += 1) {
    const double p = pmf(k);
    s0 += p;
    s1 += p * k;
    acc += p * n;
    if (acc >= 20) {
      expected.push_back(acc);
      start.push_back(k + 1);
      acc = 0;
    }
  }
  if (expected.empty()) {
    expected.push_back(acc);
  } else {
    expected.back() += acc;
    start.pop_back();
  }
  const long double mean = s1 / s0;
  long double c[5] = {};
  for (double k = lo; k <= hi; k += 1) {
    const long double p = pmf(k) / s0, d = k - mean;
    c[2] += p * d * d;
    c[3] += p * d * d * d;
    c[4] += p * d * d * d * d;
  }
  // GSL's probability functions carry errors near 1e-6 at counts of 2^31.
  EXPECT_NEAR(double(s0), 1.0, 1e-5) << what << ": the range holds the mass";
  for (double& e : expected) e /= double(s0);
  std::vector<double> observed(expected.size(), 0);
  for (int32_t v : x) {
    const size_t j = size_t(std::upper_bound(start.begin(), start.end(), double(v)) - start.begin()) - 1;
    observed[j] += 1;
  }
  if (expected.size() > 1) {
    const double z = chi2_z(observed, expected);
    EXPECT_LT(z, zmax) << what << ": chi-square over " << expected.size() << " bins";
  }
  expect_moments(x, {double(mean), double(c[2]), double(c[3]), double(c[4])}, what);
}

}  // namespace disttest
