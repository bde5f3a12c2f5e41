// Missing values of multivariate normal data: _vqsdSSMissingValues and its
// single form. A missing value is a NaN in the observations.
//
// First the expectation-maximization algorithm finds the maximum-likelihood
// mean and covariance: the E-step replaces each observation's missing part M
// by its conditional mean given the observed part O,
//   x_M = mu_M + S_MO S_OO^-1 (x_O - mu_O),  with the conditional covariance
//   S_MM - S_MO S_OO^-1 S_OM added to the cross products,
// and the M-step takes the mean and covariance of the completed data (Little
// and Rubin, Statistical Analysis with Missing Data, 2nd ed., 11.2). Then
// data augmentation (Schafer, Analysis of Incomplete Multivariate Data, 1997,
// 5.4) draws m sets of imputations, each by da_iterations rounds of an
// I-step (the missing part drawn from its conditional normal) and a P-step
// (the covariance drawn from its inverse-Wishart posterior with n - 1 degrees
// of freedom under the noninformative prior, the mean from N(xbar, S/n)),
// starting from the EM estimate. Draws come from a fixed seed: a call is
// reproducible.
#include <algorithm>
#include <cmath>

#include "stats/ss_matrix.h"

namespace zev::ss {
namespace {

struct Rng {  // splitmix64 with Box-Muller normals and Marsaglia-Tsang gammas
  uint64_t s;
  bool has_spare = false;
  double spare = 0;
  uint64_t next() {
    uint64_t z = (s += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  double uniform() { return (double(next() >> 11) + 0.5) * 0x1p-53; }  // (0, 1)
  double normal() {
    if (has_spare) return has_spare = false, spare;
    const double r = std::sqrt(-2 * std::log(uniform())), a = 6.283185307179586 * uniform();
    has_spare = true, spare = r * std::sin(a);
    return r * std::cos(a);
  }
  double gamma(double a) {  // shape a > 0, scale 1
    if (a < 1) return gamma(a + 1) * std::pow(uniform(), 1 / a);
    const double d = a - 1.0 / 3, c = 1 / std::sqrt(9 * d);
    for (;;) {
      double x, v;
      do x = normal(), v = 1 + c * x; while (v <= 0);
      v = v * v * v;
      const double u = uniform();
      if (std::log(u) < 0.5 * x * x + d - d * v + d * std::log(v)) return d * v;
    }
  }
};

// Lower-triangular inverse of a Cholesky factor, in place (m by m, row major).
void invert_lower(double* L, int32_t m) {
  for (int32_t j = 0; j < m; ++j) {
    L[static_cast<int64_t>(j) * m + j] = 1 / L[static_cast<int64_t>(j) * m + j];
    for (int32_t i = j + 1; i < m; ++i) {
      double s = 0;
      for (int32_t k = j; k < i; ++k) s += L[static_cast<int64_t>(i) * m + k] * L[static_cast<int64_t>(k) * m + j];
      L[static_cast<int64_t>(i) * m + j] = -s / L[static_cast<int64_t>(i) * m + i];
    }
  }
}

template <class T>
struct Model {
  const Observations<T>* x;
  const int32_t* vars;
  int32_t p;
  int64_t n;
  double *mu, *S;  // p, p*p (full)
  // work
  double *A, *b, *c, *C, *sum, *cross;
  int32_t *obs, *mis;
};

// The conditional distribution of observation i's missing part: mean in
// f.c[0..nm), covariance in f.C (nm by nm); returns nm. f.b holds x_O - mu_O
// solved against the factor of S_OO. False (-1) when S_OO is singular.
template <class T>
int32_t conditional(Model<T>& f, int64_t i) {
  const int32_t p = f.p;
  int32_t no = 0, nm = 0;
  for (int32_t a = 0; a < p; ++a) {
    const double v = double((*f.x)(i, f.vars[a]));
    if (v != v) f.mis[nm++] = a;
    else f.obs[no++] = a, f.b[no - 1] = v - f.mu[a];
  }
  if (nm == 0) return 0;
  // L = chol(S_OO); then B = L^-1 S_OM, z = L^-1 (x_O - mu_O).
  for (int32_t r = 0; r < no; ++r)
    for (int32_t s = 0; s < no; ++s) f.A[static_cast<int64_t>(r) * no + s] = f.S[static_cast<int64_t>(f.obs[r]) * p + f.obs[s]];
  if (no > 0 && !cholesky(f.A, no)) return -1;
  for (int32_t r = 0; r < no; ++r) {  // z in b
    double v = f.b[r];
    for (int32_t s = 0; s < r; ++s) v -= f.A[static_cast<int64_t>(r) * no + s] * f.b[s];
    f.b[r] = v / f.A[static_cast<int64_t>(r) * no + r];
  }
  double* B = f.cross + static_cast<int64_t>(p) * p;  // no by nm, after the cross products
  for (int32_t c = 0; c < nm; ++c)
    for (int32_t r = 0; r < no; ++r) {
      double v = f.S[static_cast<int64_t>(f.obs[r]) * p + f.mis[c]];
      for (int32_t s = 0; s < r; ++s) v -= f.A[static_cast<int64_t>(r) * no + s] * B[static_cast<int64_t>(s) * nm + c];
      B[static_cast<int64_t>(r) * nm + c] = v / f.A[static_cast<int64_t>(r) * no + r];
    }
  for (int32_t c = 0; c < nm; ++c) {
    double m = f.mu[f.mis[c]];
    for (int32_t r = 0; r < no; ++r) m += B[static_cast<int64_t>(r) * nm + c] * f.b[r];
    f.c[c] = m;
    for (int32_t d = 0; d < nm; ++d) {
      double v = f.S[static_cast<int64_t>(f.mis[c]) * p + f.mis[d]];
      for (int32_t r = 0; r < no; ++r) v -= B[static_cast<int64_t>(r) * nm + c] * B[static_cast<int64_t>(r) * nm + d];
      f.C[static_cast<int64_t>(c) * nm + d] = v;
    }
  }
  return nm;
}

// One pass: completes each observation (by conditional means, or by draws
// when rng is given, written to `draws` in observation order), and leaves
// the completed data's mean in f.sum and centred cross products in f.cross.
// The EM step adds the conditional covariances. False when a block is
// singular.
template <class T>
bool complete(Model<T>& f, Rng* rng, double* draws) {
  const int32_t p = f.p;
  std::fill(f.sum, f.sum + p, 0.0);
  std::fill(f.cross, f.cross + static_cast<int64_t>(p) * p, 0.0);
  double* xi = f.b + p;  // the completed observation
  int64_t k = 0;
  for (int64_t i = 0; i < f.n; ++i) {
    const int32_t nm = conditional(f, i);
    if (nm < 0) return false;
    for (int32_t a = 0; a < p; ++a) xi[a] = double((*f.x)(i, f.vars[a]));
    if (nm > 0) {
      if (rng) {
        if (!cholesky(f.C, nm))  // a degenerate conditional: its mean
          std::fill(f.C, f.C + static_cast<int64_t>(nm) * nm, 0.0);
        double* zz = f.b;  // reuse: the observed part is no longer needed
        for (int32_t c = 0; c < nm; ++c) zz[c] = rng->normal();
        for (int32_t c = 0; c < nm; ++c) {
          double v = f.c[c];
          for (int32_t d = 0; d <= c; ++d) v += f.C[static_cast<int64_t>(c) * nm + d] * zz[d];
          xi[f.mis[c]] = v;
          if (draws) draws[k++] = v;
        }
      } else {
        for (int32_t c = 0; c < nm; ++c) xi[f.mis[c]] = f.c[c];
        for (int32_t c = 0; c < nm; ++c)
          for (int32_t d = 0; d < nm; ++d)
            f.cross[static_cast<int64_t>(f.mis[c]) * p + f.mis[d]] += f.C[static_cast<int64_t>(c) * nm + d];
      }
    }
    for (int32_t a = 0; a < p; ++a) f.sum[a] += xi[a];
    for (int32_t a = 0; a < p; ++a)
      for (int32_t b = 0; b < p; ++b) f.cross[static_cast<int64_t>(a) * p + b] += xi[a] * xi[b];
  }
  for (int32_t a = 0; a < p; ++a) f.sum[a] /= double(f.n);
  for (int32_t a = 0; a < p; ++a)
    for (int32_t b = 0; b < p; ++b)
      f.cross[static_cast<int64_t>(a) * p + b] -= double(f.n) * f.sum[a] * f.sum[b];
  return true;
}

// The P-step: Sigma from the inverse Wishart with n - 1 degrees of freedom
// and scale matrix `cross`, mu from N(mean, Sigma/n). With cross = U U^T
// (Cholesky) and A the Bartlett factor (lower triangular, A_jj^2 ~
// chi2_{nu-j}, A_jk ~ N(0, 1) below the diagonal), U^-T A A^T U^-1 is a
// Wishart(nu, cross^-1) draw, so its inverse Sigma = H^T H with H = A^-1 U^T.
template <class T>
bool posterior_draw(Model<T>& f, Rng& rng) {
  const int32_t p = f.p;
  const int64_t pp = static_cast<int64_t>(p) * p;
  double *U = f.C, *Ainv = f.A, *H = f.S, *Sig = f.cross;  // cross is rebuilt by the next pass
  std::copy(f.cross, f.cross + pp, U);
  if (!cholesky(U, p)) return false;
  std::fill(Ainv, Ainv + pp, 0.0);
  const double nu = double(f.n - 1);
  for (int32_t j = 0; j < p; ++j) {
    Ainv[static_cast<int64_t>(j) * p + j] = std::sqrt(2 * rng.gamma(0.5 * (nu - j)));
    for (int32_t k = 0; k < j; ++k) Ainv[static_cast<int64_t>(j) * p + k] = rng.normal();
  }
  invert_lower(Ainv, p);
  for (int32_t a = 0; a < p; ++a)
    for (int32_t b = 0; b < p; ++b) {
      double s = 0;  // sum over k <= min(a, b) of Ainv[a][k] U[b][k]
      for (int32_t k = 0; k <= std::min(a, b); ++k)
        s += Ainv[static_cast<int64_t>(a) * p + k] * U[static_cast<int64_t>(b) * p + k];
      H[static_cast<int64_t>(a) * p + b] = s;
    }
  for (int32_t a = 0; a < p; ++a)
    for (int32_t b = 0; b < p; ++b) {
      double s = 0;
      for (int32_t k = 0; k < p; ++k) s += H[static_cast<int64_t>(k) * p + a] * H[static_cast<int64_t>(k) * p + b];
      Sig[static_cast<int64_t>(a) * p + b] = s;
    }
  std::copy(Sig, Sig + pp, f.S);
  double* L = f.A;
  std::copy(Sig, Sig + pp, L);
  if (!cholesky(L, p)) return false;
  for (int32_t a = 0; a < p; ++a) f.b[a] = rng.normal();
  for (int32_t a = 0; a < p; ++a) {
    double v = 0;
    for (int32_t k = 0; k <= a; ++k) v += L[static_cast<int64_t>(a) * p + k] * f.b[k];
    f.mu[a] = f.sum[a] + v / std::sqrt(double(f.n));
  }
  return true;
}

template <class T>
void write_estimate(const Model<T>& f, T* out) {  // means, then the upper triangle by rows
  int64_t k = 0;
  for (int32_t a = 0; a < f.p; ++a) out[k++] = T(f.mu[a]);
  for (int32_t a = 0; a < f.p; ++a)
    for (int32_t b = a; b < f.p; ++b) out[k++] = T(f.S[static_cast<int64_t>(a) * f.p + b]);
}

template <class T>
int missing(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  if (t->missing_parameter_count == nullptr) return ZEV_SS_ERROR_BAD_MI_PARAMS_N_ADDR;
  if (in.value(t->missing_parameter_count) != 5) return ZEV_SS_ERROR_BAD_MI_PARAMS_N;
  if (t->missing_parameters == nullptr) return ZEV_SS_ERROR_BAD_MI_PARAMS_ADDR;
  if (t->prior_count == nullptr) return ZEV_SS_ERROR_BAD_MI_PRIOR_N_ADDR;
  if (in.value(t->prior_count) != 0 && t->prior == nullptr) return ZEV_SS_ERROR_BAD_MI_PRIOR_ADDR;
  if (method != ZEV_SS_METHOD_EM_DA) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const T* q = static_cast<const T*>(t->missing_parameters);
  const double em_iter = double(q[0]), em_tol = double(q[1]), da_iter = double(q[2]),
               sets = double(q[3]), seed = double(q[4]);
  if (!(em_iter >= 1 && em_iter <= 1e6) || !(em_tol > 0) || !(da_iter >= 0 && da_iter <= 1e6) ||
      !(sets >= 0 && sets <= 1e6) || !(seed >= 0 && seed < 1e18))
    return ZEV_SS_ERROR_BAD_MI_PARAMS;
  // Either output may be left out; each one given is filled.
  const bool want_sim = (mask & ZEV_SS_MISSING_VALS) && sets > 0 && t->simulated_values;
  const bool want_est = (mask & ZEV_SS_MISSING_VALS) && da_iter > 0 && sets > 0 && t->estimates;
  const Observations<T> x = observations_of<T>(t, in);
  int32_t p = 0;
  int32_t* vars = variable_list(t, in, x.p, &p);
  if (vars == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
  const int64_t n = x.n, per = static_cast<int64_t>(p) * (p + 3) / 2;
  int64_t nmiss = 0;
  for (int64_t i = 0; i < n; ++i)
    for (int32_t a = 0; a < p; ++a) nmiss += x(i, vars[a]) != x(i, vars[a]);
  int status = 0;
  const bool has_init = t->initial_estimate_count && in.value(t->initial_estimate_count) == per;
  if (t->initial_estimate_count == nullptr) status = ZEV_SS_ERROR_BAD_MI_INIT_ESTIMATES_N_ADDR;
  else if (has_init && t->initial_estimates == nullptr) status = ZEV_SS_ERROR_BAD_MI_INIT_ESTIMATES_ADDR;
  else if (!t->simulated_values && !t->estimates) status = ZEV_SS_ERROR_MI_NO_OUTPUT;
  else if (want_sim && (t->simulated_values_count == nullptr ||
                        in.value(t->simulated_values_count) < static_cast<int64_t>(sets) * nmiss))
    status = ZEV_SS_ERROR_BAD_MI_SIMUL_VALS_N_ADDR;
  else if (want_est && (t->estimate_count == nullptr ||
                        in.value(t->estimate_count) < static_cast<int64_t>(sets * da_iter) * per))
    status = ZEV_SS_ERROR_BAD_MI_ESTIMATES_N_ADDR;
  else if (n <= p) status = ZEV_SS_ERROR_BAD_OBSERV_N;
  if (status || !(mask & ZEV_SS_MISSING_VALS)) {
    release(vars);
    return status;
  }

  const int64_t pp = static_cast<int64_t>(p) * p;
  Buffer<double> store(2 * p + pp + pp + 3 * p + pp + 2 * pp + pp);
  Buffer<int32_t> idx(2 * p);
  if (store.failed() || idx.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  double* w = store.p;
  Model<T> f{&x, vars, p, n, w, w + p, w + p + pp, w + p + 2 * pp, w + 3 * p + 2 * pp,
             w + 4 * p + 2 * pp, w + 4 * p + 3 * pp, w + 5 * p + 3 * pp, idx.p, idx.p + p};
  // f.cross has room for p*p cross products and then p*p for B.
  // The start: the given estimate, or the available-case means and variances.
  std::fill(f.S, f.S + pp, 0.0);
  if (has_init) {
    const T* e = static_cast<const T*>(t->initial_estimates);
    int64_t k = 0;
    for (int32_t a = 0; a < p; ++a) f.mu[a] = double(e[k++]);
    for (int32_t a = 0; a < p; ++a)
      for (int32_t b = a; b < p; ++b) f.S[a * p + b] = f.S[b * p + a] = double(e[k++]);
  } else {
    for (int32_t a = 0; a < p; ++a) {
      double s = 0, s2 = 0;
      int64_t c = 0;
      for (int64_t i = 0; i < n; ++i) {
        const double v = double(x(i, vars[a]));
        if (v == v) s += v, ++c;
      }
      const double m = c ? s / double(c) : 0;
      for (int64_t i = 0; i < n; ++i) {
        const double v = double(x(i, vars[a]));
        if (v == v) s2 += (v - m) * (v - m);
      }
      f.mu[a] = m;
      f.S[a * p + a] = c > 1 ? s2 / double(c - 1) : 1;
    }
  }
  for (int it = 0; it < static_cast<int>(em_iter) && status == 0; ++it) {
    if (!complete(f, static_cast<Rng*>(nullptr), nullptr)) {
      status = ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
      break;
    }
    double change = 0, size = 0;
    for (int32_t a = 0; a < p; ++a) {
      change = std::max(change, std::fabs(f.sum[a] - f.mu[a]));
      size = std::max(size, std::fabs(f.sum[a]));
      f.mu[a] = f.sum[a];
      for (int32_t b = 0; b < p; ++b) {
        const double s = f.cross[a * p + b] / double(n);
        change = std::max(change, std::fabs(s - f.S[a * p + b]));
        size = std::max(size, std::fabs(s));
        f.S[a * p + b] = s;
      }
    }
    if (change <= em_tol * std::max(size, 1.0)) break;
  }
  if (status == 0 && sets > 0) {
    Buffer<double> em(p + pp);
    if (em.failed()) status = ZEV_SS_ERROR_MEM_FAILURE;
    else std::copy(f.mu, f.mu + p + pp, em.p);  // mu and S are consecutive
    Rng rng{static_cast<uint64_t>(seed) * 0x2545F4914F6CDD1Dull + 12345};
    T* sim = static_cast<T*>(t->simulated_values);
    T* est = static_cast<T*>(t->estimates);
    Buffer<double> draws(nmiss);
    if (draws.failed()) status = ZEV_SS_ERROR_MEM_FAILURE;
    for (int64_t s = 0; s < static_cast<int64_t>(sets) && status == 0; ++s) {
      std::copy(em.p, em.p + p + pp, f.mu);
      for (int64_t it = 0; it < static_cast<int64_t>(da_iter) || it == 0; ++it) {
        if (!complete(f, &rng, draws.p)) {
          status = ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
          break;
        }
        if (it == static_cast<int64_t>(da_iter)) break;  // no P-step asked for: EM imputations
        if (!posterior_draw(f, rng)) {
          status = ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
          break;
        }
        if (want_est) write_estimate(f, est + (s * static_cast<int64_t>(da_iter) + it) * per);
      }
      if (status == 0 && want_sim)
        for (int64_t k = 0; k < nmiss; ++k) sim[s * nmiss + k] = T(draws[k]);
    }
  }
  release(vars);
  return status;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(MissingValues, missing)
