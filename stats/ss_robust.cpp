// Robust mean and covariance by the minimum covariance determinant (MCD):
// _vqsdSSRobustCovariance and its single form.
//
// The MCD estimate is the mean and covariance of the h observations whose
// covariance has the smallest determinant, h = ceil(fraction n) with the
// fraction in [0.5, 1] (0.5 gives the highest breakdown point,
// h = floor((n + p + 1)/2)). It is searched as Rousseeuw and Van Driessen do
// ("A fast algorithm for the minimum covariance determinant estimator",
// Technometrics 41, 1999): random starting subsets of p + 1 observations
// (grown while singular), each improved by C-steps (the h observations
// nearest under the current estimate form the next one; the determinant
// never grows), two steps on every start, then the ten best to convergence.
// The raw estimate is made consistent at the normal model, then reweighted:
// observations with squared distance above the 0.975 chi-square quantile get
// weight 0, and the mean and covariance of the rest, made consistent again,
// are the result. All in double; the random starts come from a fixed seed, so
// a call is reproducible.
#include <algorithm>
#include <cmath>

#include "stats/ss_chi2.h"
#include "stats/ss_matrix.h"

namespace zev::ss {
namespace {

struct Rng {  // splitmix64
  uint64_t s;
  uint64_t next() {
    uint64_t z = (s += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  int64_t below(int64_t n) { return static_cast<int64_t>(next() % static_cast<uint64_t>(n)); }
};

template <class T>
struct Fit {
  const Observations<T>* x;
  const int32_t* vars;
  int32_t p;
  int64_t n;
  double *mean, *L, *y, *dist, *sorted;
};

// Mean, covariance (divided by r - 1) and its Cholesky factor of the
// observations flagged in `in`; the log-determinant, or NaN when singular.
template <class T>
double estimate(Fit<T>& f, const uint8_t* in, int64_t r) {
  const int32_t p = f.p;
  std::fill(f.mean, f.mean + p, 0.0);
  std::fill(f.L, f.L + static_cast<int64_t>(p) * p, 0.0);
  int64_t k = 0;
  for (int64_t i = 0; i < f.n; ++i) {
    if (!in[i]) continue;
    ++k;
    for (int32_t a = 0; a < p; ++a) {
      f.y[a] = double((*f.x)(i, f.vars[a])) - f.mean[a];
      f.mean[a] += f.y[a] / double(k);
    }
    for (int32_t a = 0; a < p; ++a)
      for (int32_t b = 0; b <= a; ++b)
        f.L[static_cast<int64_t>(a) * p + b] += f.y[a] * (double((*f.x)(i, f.vars[b])) - f.mean[b]);
  }
  for (int32_t a = 0; a < p; ++a)
    for (int32_t b = 0; b <= a; ++b) f.L[static_cast<int64_t>(a) * p + b] /= double(r - 1);
  if (!cholesky(f.L, p)) return NAN;
  double logdet = 0;
  for (int32_t a = 0; a < p; ++a) logdet += 2 * std::log(f.L[static_cast<int64_t>(a) * p + a]);
  return logdet;
}

// Squared distances of all observations under the last estimate.
template <class T>
void distances(Fit<T>& f) {
  const int32_t p = f.p;
  for (int64_t i = 0; i < f.n; ++i) {
    double d2 = 0;
    for (int32_t a = 0; a < p; ++a) {
      double v = double((*f.x)(i, f.vars[a])) - f.mean[a];
      for (int32_t b = 0; b < a; ++b) v -= f.L[static_cast<int64_t>(a) * p + b] * f.y[b];
      f.y[a] = v / f.L[static_cast<int64_t>(a) * p + a];
      d2 += f.y[a] * f.y[a];
    }
    f.dist[i] = d2;
  }
}

// The h observations of smallest distance, into `in`.
template <class T>
void nearest(Fit<T>& f, uint8_t* in, int64_t h) {
  std::copy(f.dist, f.dist + f.n, f.sorted);
  std::nth_element(f.sorted, f.sorted + (h - 1), f.sorted + f.n);
  const double cut = f.sorted[h - 1];
  int64_t taken = 0;
  for (int64_t i = 0; i < f.n; ++i) in[i] = f.dist[i] < cut && taken < h ? (++taken, 1) : 0;
  for (int64_t i = 0; i < f.n && taken < h; ++i)
    if (f.dist[i] == cut && !in[i]) in[i] = 1, ++taken;
}

// C-steps from the estimate in f: at most `steps`, fewer when the determinant
// stops falling. Returns the log-determinant of the final subset in `in`.
template <class T>
double csteps(Fit<T>& f, uint8_t* in, int64_t h, int steps) {
  double last = INFINITY;
  for (int s = 0; s < steps; ++s) {
    distances(f);
    nearest(f, in, h);
    const double logdet = estimate(f, in, h);
    if (!(logdet < last - 1e-12)) return std::isnan(logdet) ? NAN : std::min(logdet, last);
    last = logdet;
  }
  return last;
}

template <class T>
int robust(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in_ = ints(t);
  const bool want_m = mask & ZEV_SS_ROBUST_MEAN, want_c = mask & ZEV_SS_ROBUST_COV;
  if (want_c && t->robust_covariance == nullptr) return ZEV_SS_ERROR_BAD_ROBUST_COV_ADDR;
  if (want_m && t->robust_mean == nullptr) return ZEV_SS_ERROR_BAD_ROBUST_MEAN_ADDR;
  if (t->robust_parameter_count == nullptr) return ZEV_SS_ERROR_BAD_ROBUST_PARAM_N_ADDR;
  const bool given = in_.value(t->robust_parameter_count) == 3;
  if (given && t->robust_parameters == nullptr) return ZEV_SS_ERROR_BAD_ROBUST_PARAM_ADDR;
  if (want_c && t->robust_covariance_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (want_c && (in_.value(t->robust_covariance_storage) < 0 || in_.value(t->robust_covariance_storage) > 2))
    return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  if (method != ZEV_SS_METHOD_MCD) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  double fraction = 0.5, starts = 50, seed = 1;
  if (given) {
    const T* q = static_cast<const T*>(t->robust_parameters);
    fraction = double(q[0]), starts = double(q[1]), seed = double(q[2]);
  }
  if (!(fraction >= 0.5 && fraction <= 1) || !(starts >= 1 && starts <= 1e6) || !(seed >= 0 && seed < 1e18))
    return ZEV_SS_ERROR_BAD_ROBUST_PARAMS;
  if (int s = data_checks(t, in_)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in_, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const Observations<T> x = observations_of<T>(t, in_);
  int32_t p = 0;
  int32_t* vars = variable_list(t, in_, x.p, &p);
  if (vars == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
  const int64_t n = x.n;
  const int64_t h = fraction == 0.5 ? (n + p + 1) / 2
                                    : std::min<int64_t>(n, static_cast<int64_t>(std::ceil(fraction * double(n))));
  if (p == 0 || h <= p || n < 2 * static_cast<int64_t>(p)) {
    release(vars);
    return ZEV_SS_ERROR_BAD_OBSERV_N;
  }
  if (!want_m && !want_c) {
    release(vars);
    return 0;
  }

  constexpr int kBest = 10;
  const int64_t pp = static_cast<int64_t>(p) * p;
  Buffer<double> store(2 * p + pp + 2 * n);
  Buffer<uint8_t> subsets((kBest + 2) * n);
  Buffer<double> best_det(kBest);
  if (store.failed() || subsets.failed() || best_det.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  Fit<T> f{&x, vars, p, n, store.p, store.p + p, store.p + p + pp, store.p + 2 * p + pp,
           store.p + 2 * p + pp + n};
  uint8_t* cur = subsets.p + kBest * n;
  uint8_t* keep = cur + n;
  int kept = 0;
  Rng rng{static_cast<uint64_t>(seed) * 0x2545F4914F6CDD1Dull + 1};
  for (int64_t s = 0; s < static_cast<int64_t>(starts); ++s) {
    // A random subset of p + 1 observations, grown while it is singular.
    std::fill(cur, cur + n, uint8_t{0});
    int64_t r = 0;
    double logdet = NAN;
    while (r < h) {
      const int64_t i = rng.below(n);
      if (cur[i]) continue;
      cur[i] = 1;
      if (++r > p && !std::isnan(logdet = estimate(f, cur, r))) break;
    }
    if (std::isnan(logdet)) continue;
    logdet = csteps(f, cur, h, 2);
    if (std::isnan(logdet)) continue;
    // Keep the kBest lowest determinants.
    int slot = kept < kBest ? kept++ : -1;
    if (slot < 0) {
      slot = static_cast<int>(std::max_element(best_det.p, best_det.p + kBest) - best_det.p);
      if (!(logdet < best_det[slot])) continue;
    }
    best_det[slot] = logdet;
    std::copy(cur, cur + n, subsets.p + static_cast<int64_t>(slot) * n);
  }
  if (kept == 0) {  // every start singular: the data lie in a hyperplane
    release(vars);
    return ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
  }
  double best = INFINITY;
  for (int k = 0; k < kept; ++k) {
    uint8_t* sub = subsets.p + static_cast<int64_t>(k) * n;
    if (std::isnan(estimate(f, sub, h))) continue;
    const double logdet = csteps(f, sub, h, 100);
    if (logdet < best) best = logdet, std::copy(sub, sub + n, keep);
  }
  if (!(best < INFINITY)) {
    release(vars);
    return ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
  }
  // Consistency at the normal model: the raw covariance times
  // (h/n) / P(chi2_{p+2} <= chi2_p quantile at h/n), then one reweighting at
  // the 0.975 quantile with its own factor.
  estimate(f, keep, h);
  const double q_h = chi2_upper_quantile(p, 1 - double(h) / double(n));
  const double c_raw = h == n ? 1 : (double(h) / double(n)) / chi2_cdf(p + 2, q_h);
  distances(f);
  const double cut = chi2_upper_quantile(p, 0.025);
  int64_t r = 0;
  for (int64_t i = 0; i < n; ++i) {
    keep[i] = f.dist[i] / c_raw <= cut;
    r += keep[i];
  }
  if (r <= p || std::isnan(estimate(f, keep, r))) {
    release(vars);
    return ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
  }
  const double c_rw = 0.975 / chi2_cdf(p + 2, cut);
  // estimate() left the factor in f.L; rebuild the covariance from it.
  if (want_m) {
    T* out = static_cast<T*>(t->robust_mean);
    for (int32_t a = 0; a < p; ++a) out[vars[a]] = T(f.mean[a]);
  }
  if (want_c) {
    auto cov = [&](int32_t a, int32_t b) {  // (L L^T)_ab times the factor
      double s = 0;
      for (int32_t k = 0; k <= std::min(a, b); ++k)
        s += f.L[static_cast<int64_t>(a) * p + k] * f.L[static_cast<int64_t>(b) * p + k];
      return c_rw * s;
    };
    Buffer<uint8_t> active(t->variable_mask ? x.p : 0);
    if (active.failed()) {
      release(vars);
      return ZEV_SS_ERROR_MEM_FAILURE;
    }
    if (active.p) {
      std::fill(active.p, active.p + x.p, uint8_t{0});
      for (int32_t k = 0; k < p; ++k) active[vars[k]] = 1;
    }
    auto slot = [&](int32_t j) { return static_cast<int32_t>(std::lower_bound(vars, vars + p, j) - vars); };
    write_matrix(static_cast<T*>(t->robust_covariance), form_of(in_, t->robust_covariance_storage), x.p,
                 active.p, [&](int32_t i, int32_t k) { return T(cov(slot(i), slot(k))); });
  }
  release(vars);
  return 0;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(RobustCovariance, robust)
