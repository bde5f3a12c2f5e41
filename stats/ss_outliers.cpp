// Multivariate outlier detection by the BACON algorithm (Billor, Hadi and
// Velleman, "BACON: blocked adaptive computationally efficient outlier
// nominators", Computational Statistics & Data Analysis 34, 2000):
// _vqsdSSOutliersDetection and its single form.
//
// A small basic subset of m = 4p observations that are surely not outliers is
// grown: its mean and covariance give every observation a Mahalanobis
// distance, and the new subset is every observation closer than
//   c_npr * sqrt(chi2_p quantile at 1 - alpha/n),
//   c_npr = c_np + c_hr, c_np = 1 + (p + 1)/(n - p) + 2/(n - 1 - 3p),
//   c_hr = max(0, (h - r)/(h + r)), h = floor((n + p + 1)/2), r = subset size,
// until the subset stops changing (or changes in at most beta*n
// observations). Observations outside the final subset are the outliers:
// their weight is 0, every other weight 1. The starting subset (scheme) is
// the m observations nearest the mean by Mahalanobis distance (0) or nearest
// the coordinate-wise median by Euclidean distance (1). All arithmetic in
// double; the observations' own weights are not read.
#include <algorithm>
#include <cmath>

#include "stats/ss_chi2.h"
#include "stats/ss_matrix.h"

namespace zev::ss {
namespace {

struct Work {
  int32_t p;
  int64_t n;
  double *mean, *L, *y;  // p, p*p, p
  double *dist;          // n
  uint8_t *in, *next;    // n: the basic subset, the next one
};

// Mean and covariance of the subset `in` (r members), the covariance's
// Cholesky factor in w.L, then every observation's squared distance.
template <class T>
bool distances(const Observations<T>& x, const int32_t* vars, Work& w, int64_t r) {
  const int32_t p = w.p;
  std::fill(w.mean, w.mean + p, 0.0);
  std::fill(w.L, w.L + static_cast<int64_t>(p) * p, 0.0);
  int64_t k = 0;
  for (int64_t i = 0; i < w.n; ++i) {  // one-pass update over the members
    if (!w.in[i]) continue;
    ++k;
    for (int32_t a = 0; a < p; ++a) {
      const double v = double(x(i, vars[a]));
      w.y[a] = v - w.mean[a];
      w.mean[a] += w.y[a] / double(k);
    }
    for (int32_t a = 0; a < p; ++a)
      for (int32_t b = 0; b <= a; ++b)
        w.L[static_cast<int64_t>(a) * p + b] += w.y[a] * (double(x(i, vars[b])) - w.mean[b]);
  }
  for (int32_t a = 0; a < p; ++a)
    for (int32_t b = 0; b <= a; ++b) {
      w.L[static_cast<int64_t>(a) * p + b] /= double(r - 1);
      w.L[static_cast<int64_t>(b) * p + a] = w.L[static_cast<int64_t>(a) * p + b];
    }
  if (!cholesky(w.L, p)) return false;
  for (int64_t i = 0; i < w.n; ++i) {  // d^2 = |L^-1 (x - mean)|^2
    double d2 = 0;
    for (int32_t a = 0; a < p; ++a) {
      double v = double(x(i, vars[a])) - w.mean[a];
      for (int32_t b = 0; b < a; ++b) v -= w.L[static_cast<int64_t>(a) * p + b] * w.y[b];
      w.y[a] = v / w.L[static_cast<int64_t>(a) * p + a];
      d2 += w.y[a] * w.y[a];
    }
    w.dist[i] = d2;
  }
  return true;
}

// Marks the m observations of smallest dist as the subset.
void smallest(Work& w, double* sorted, int64_t m) {
  std::copy(w.dist, w.dist + w.n, sorted);
  std::nth_element(sorted, sorted + (m - 1), sorted + w.n);
  const double cut = sorted[m - 1];
  int64_t taken = 0;
  for (int64_t i = 0; i < w.n; ++i) w.in[i] = 0;
  for (int64_t i = 0; i < w.n && taken < m; ++i)
    if (w.dist[i] < cut) w.in[i] = 1, ++taken;
  for (int64_t i = 0; i < w.n && taken < m; ++i)  // ties at the cut, in index order
    if (w.dist[i] == cut && !w.in[i]) w.in[i] = 1, ++taken;
}

template <class T>
int outliers(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want = mask & ZEV_SS_OUTLIERS;
  if (t->outlier_parameter_count == nullptr) return ZEV_SS_ERROR_BAD_OUTL_PARAM_N_ADDR;
  const bool given = in.value(t->outlier_parameter_count) == 3;
  if (given && t->outlier_parameters == nullptr) return ZEV_SS_ERROR_BAD_OUTL_PARAM_ADDR;
  if (want && t->outlier_weights == nullptr) return ZEV_SS_ERROR_BAD_OUTL_WEIGHTS_ADDR;
  if (method != ZEV_SS_METHOD_BACON) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  double scheme = 0, alpha = 0.05, beta = 0;
  if (given) {
    const T* q = static_cast<const T*>(t->outlier_parameters);
    scheme = double(q[0]), alpha = double(q[1]), beta = double(q[2]);
  }
  if ((scheme != 0 && scheme != 1) || !(alpha > 0 && alpha < 1) || !(beta >= 0 && beta < 1))
    return ZEV_SS_ERROR_BAD_OUTL_PARAMS;
  if (int s = data_checks(t, in)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const Observations<T> x = observations_of<T>(t, in);
  int32_t p = 0;
  int32_t* vars = variable_list(t, in, x.p, &p);
  if (vars == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
  const int64_t n = x.n;
  if (p == 0 || n <= 4 * static_cast<int64_t>(p) + 1) {  // c_np needs n > 3p + 1; the start 4p
    release(vars);
    return ZEV_SS_ERROR_BAD_OBSERV_N;
  }
  if (!want) {
    release(vars);
    return 0;
  }

  Buffer<double> store(2 * p + static_cast<int64_t>(p) * p + 2 * n);
  Buffer<uint8_t> flags(2 * n);
  if (store.failed() || flags.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  Work w{p, n, store.p, store.p + p, store.p + p + static_cast<int64_t>(p) * p,
         store.p + 2 * p + static_cast<int64_t>(p) * p, flags.p, flags.p + n};
  double* sorted = w.dist + n;
  const int64_t m = 4 * static_cast<int64_t>(p);
  int status = 0;

  // The starting subset.
  if (scheme == 0) {
    std::fill(w.in, w.in + n, uint8_t{1});
    if (!distances(x, vars, w, n)) status = ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
  } else {
    for (int32_t a = 0; a < p; ++a) {  // the coordinate-wise median
      for (int64_t i = 0; i < n; ++i) sorted[i] = double(x(i, vars[a]));
      std::nth_element(sorted, sorted + n / 2, sorted + n);
      double med = sorted[n / 2];
      if (n % 2 == 0) med = 0.5 * (med + *std::max_element(sorted, sorted + n / 2));
      w.mean[a] = med;
    }
    for (int64_t i = 0; i < n; ++i) {
      double d2 = 0;
      for (int32_t a = 0; a < p; ++a) d2 += (double(x(i, vars[a])) - w.mean[a]) * (double(x(i, vars[a])) - w.mean[a]);
      w.dist[i] = d2;
    }
  }
  if (status == 0) {
    smallest(w, sorted, m);
    const double chi = chi2_upper_quantile(p, alpha / double(n));
    const double h = std::floor(0.5 * double(n + p + 1));
    const double cnp = 1 + double(p + 1) / double(n - p) + 2.0 / double(n - 1 - 3 * p);
    int64_t r = m;
    for (int iter = 0; iter < 1000; ++iter) {
      if (!distances(x, vars, w, r)) {
        status = ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
        break;
      }
      const double chr = std::max(0.0, (h - double(r)) / (h + double(r)));
      const double cut = (cnp + chr) * (cnp + chr) * chi;  // on squared distances
      int64_t next = 0, changed = 0;
      for (int64_t i = 0; i < n; ++i) {
        w.next[i] = w.dist[i] < cut;
        next += w.next[i];
        changed += w.next[i] != w.in[i];
      }
      std::swap(w.in, w.next);
      r = next;
      if (changed <= static_cast<int64_t>(beta * double(n)) || r <= p) break;
    }
  }
  if (status == 0) {
    T* out = static_cast<T*>(t->outlier_weights);
    for (int64_t i = 0; i < n; ++i) out[i] = w.in[i] ? T(1) : T(0);
  }
  release(vars);
  return status;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(OutliersDetection, outliers)
