// Helpers of the fitting tests: a task owner, knots, and the reference cell.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "zev/zev_df.h"

namespace fittest {

struct Task {
  zev_df_task t = nullptr;
  ~Task() {
    if (t) zev_df_kernel_DeleteTask(&t);
  }
  operator zev_df_task() const { return t; }
};

// Ascending knots with random gaps in [0.2, 1.8] * scale from x0.
inline std::vector<double> random_knots(std::mt19937_64& g, int n, double x0 = -3.0,
                                        double scale = 1.0) {
  std::uniform_real_distribution<double> gap(0.2, 1.8);
  std::vector<double> x(n);
  x[0] = x0;
  for (int i = 1; i < n; ++i) x[i] = x[i - 1] + gap(g) * scale;
  return x;
}

// The cell numbering: 0 below x[0], i for x[i-1] <= s < x[i], nx - 1 at
// x[nx-1], nx above it.
template <class T>
int32_t reference_cell(const std::vector<T>& x, T s) {
  int n = static_cast<int>(x.size());
  if (s < x[0]) return 0;
  if (s == x[n - 1]) return n - 1;
  if (s > x[n - 1]) return n;
  return static_cast<int32_t>(std::upper_bound(x.begin(), x.end(), s) - x.begin());
}

// Value at s of the piecewise polynomial with coefficients c (order o) over x.
inline double eval_pp(const std::vector<double>& x, const double* c, int o, double s, int der = 0) {
  int n = static_cast<int>(x.size());
  int p = reference_cell(x, s) - 1;
  p = std::max(0, std::min(p, n - 2));
  double d = s - x[p];
  const double* q = c + p * o;
  double v = 0, pw = 1;
  for (int j = der; j < o; ++j) {
    double f = 1;
    for (int k = 0; k < der; ++k) f *= (j - k);
    v += f * q[j] * pw;
    pw *= d;
  }
  return v;
}

}  // namespace fittest
