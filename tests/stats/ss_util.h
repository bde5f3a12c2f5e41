// Helpers of the statistics tests: a task owner, data sets and long-double
// two-pass references.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "zev/zev_ss.h"

namespace sstest {

struct Task {
  zev_ss_task t = nullptr;
  ~Task() {
    if (t) __vqsSSDeleteTask(&t);
  }
  operator zev_ss_task() const { return t; }
};

// p variables of n Gaussian observations, variable j with mean
// center + j/10 and standard deviation sd*(1 + j/10), stored variable by
// variable (x[j*n + i]).
inline std::vector<double> gaussian(int p, int64_t n, double center, double sd, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  std::vector<double> x(static_cast<size_t>(p) * n), z0(n);
  for (int j = 0; j < p; ++j)
    for (int64_t i = 0; i < n; ++i) {
      double zi = z(g), v = j ? 0.6 * zi + 0.8 * z0[i] : zi;  // neighbours correlate
      z0[i] = zi;
      x[j * n + i] = center + j / 10.0 + sd * (1 + j / 10.0) * v;
    }
  return x;
}

// The same data, one observation's variables together (x[i*p + j]).
template <class T>
std::vector<T> transpose(const std::vector<T>& x, int p, int64_t n) {
  std::vector<T> y(x.size());
  for (int j = 0; j < p; ++j)
    for (int64_t i = 0; i < n; ++i) y[i * p + j] = x[j * n + i];
  return y;
}

// Reference statistics by the two-pass method in long double.
struct Reference {
  int p;
  long double W = 0, W2 = 0;
  std::vector<long double> mean, raw2, raw3, raw4, cs2, cs3, cs4, cross;
  long double var(int j) const { return cs2[j] * (W / (W * W - W2)); }
  long double cov(int i, int k) const { return cross[i * p + k] / (W - W2 / W); }
  long double cor(int i, int k) const {
    return cross[i * p + k] / std::sqrt(cross[i * p + i] * cross[k * p + k]);
  }
};

// x variable-contiguous; w null for unweighted; only observations [first,
// end) count.
inline Reference reference(const double* x, const double* w, int p, int64_t n, int64_t first = 0,
                           int64_t end = -1) {
  if (end < 0) end = n;
  Reference r;
  r.p = p;
  r.mean.assign(p, 0);
  r.raw2 = r.raw3 = r.raw4 = r.cs2 = r.cs3 = r.cs4 = r.mean;
  r.cross.assign(static_cast<size_t>(p) * p, 0);
  for (int64_t i = first; i < end; ++i) {
    long double wi = w ? w[i] : 1;
    r.W += wi;
    r.W2 += wi * wi;
  }
  for (int j = 0; j < p; ++j) {
    long double s = 0, s2 = 0, s3 = 0, s4 = 0;
    for (int64_t i = first; i < end; ++i) {
      long double v = x[j * n + i], wi = w ? w[i] : 1;
      s += wi * v;
      s2 += wi * v * v;
      s3 += wi * v * v * v;
      s4 += wi * v * v * v * v;
    }
    r.mean[j] = s / r.W;
    r.raw2[j] = s2 / r.W;
    r.raw3[j] = s3 / r.W;
    r.raw4[j] = s4 / r.W;
    long double c2 = 0, c3 = 0, c4 = 0;
    for (int64_t i = first; i < end; ++i) {
      long double d = x[j * n + i] - r.mean[j], wi = w ? w[i] : 1;
      c2 += wi * d * d;
      c3 += wi * d * d * d;
      c4 += wi * d * d * d * d;
    }
    r.cs2[j] = c2;
    r.cs3[j] = c3;
    r.cs4[j] = c4;
  }
  for (int a = 0; a < p; ++a)
    for (int b = a; b < p; ++b) {
      long double c = 0;
      for (int64_t i = first; i < end; ++i)
        c += (w ? w[i] : 1) * (x[a * n + i] - r.mean[a]) * (x[b * n + i] - r.mean[b]);
      r.cross[a * p + b] = r.cross[b * p + a] = c;
    }
  return r;
}

inline double rel(long double got, long double want) {
  if (want == 0) return std::fabs(static_cast<double>(got));
  return static_cast<double>(std::fabs((got - want) / want));
}

}  // namespace sstest
