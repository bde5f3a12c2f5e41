// The nearest correlation matrix: _vqsdSSCorParametrization and its single
// form.
//
// Given a symmetric matrix C (a correlation estimate that may have lost
// positive semidefiniteness, for example one assembled from pairwise
// estimates), the result is the correlation matrix X nearest to C in the
// Frobenius norm: symmetric, positive semidefinite, unit diagonal. It is found
// by alternating projections with the Dykstra correction (Higham, "Computing
// the nearest correlation matrix - a problem from finance", IMA J. Numer.
// Anal. 22, 2002): the projection on the semidefinite cone clips the negative
// eigenvalues of a cyclic Jacobi decomposition, the projection on the
// unit-diagonal matrices sets the diagonal to 1. A C that is already a
// correlation matrix comes back unchanged (to rounding).
#include <algorithm>
#include <cmath>

#include "stats/ss_matrix.h"

namespace zev::ss {
namespace {

// Eigen-decomposition of the symmetric m by m matrix a (destroyed) by cyclic
// Jacobi rotations: a's diagonal ends as the eigenvalues, v (row major) holds
// the eigenvectors as columns.
void jacobi(double* a, double* v, int32_t m) {
  auto A = [&](int32_t i, int32_t j) -> double& { return a[static_cast<int64_t>(i) * m + j]; };
  auto V = [&](int32_t i, int32_t j) -> double& { return v[static_cast<int64_t>(i) * m + j]; };
  for (int32_t i = 0; i < m; ++i)
    for (int32_t j = 0; j < m; ++j) V(i, j) = i == j;
  for (int sweep = 0; sweep < 60; ++sweep) {
    double off = 0, diag = 0;
    for (int32_t i = 0; i < m; ++i) {
      diag += A(i, i) * A(i, i);
      for (int32_t j = i + 1; j < m; ++j) off += A(i, j) * A(i, j);
    }
    if (off <= 1e-32 * diag || off == 0) return;
    for (int32_t p = 0; p < m; ++p)
      for (int32_t q = p + 1; q < m; ++q) {
        if (A(p, q) == 0) continue;
        const double theta = (A(q, q) - A(p, p)) / (2 * A(p, q));
        const double t = std::copysign(1.0, theta) / (std::fabs(theta) + std::sqrt(theta * theta + 1));
        const double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (int32_t k = 0; k < m; ++k) {  // columns p and q
          const double akp = A(k, p), akq = A(k, q);
          A(k, p) = c * akp - s * akq;
          A(k, q) = s * akp + c * akq;
        }
        for (int32_t k = 0; k < m; ++k) {  // rows p and q
          const double apk = A(p, k), aqk = A(q, k);
          A(p, k) = c * apk - s * aqk;
          A(q, k) = s * apk + c * aqk;
        }
        for (int32_t k = 0; k < m; ++k) {
          const double vkp = V(k, p), vkq = V(k, q);
          V(k, p) = c * vkp - s * vkq;
          V(k, q) = s * vkp + c * vkq;
        }
      }
  }
}

// x = the nearest positive semidefinite matrix to r (both m by m), with
// work arrays a and v of m*m reals.
void psd_projection(const double* r, double* x, double* a, double* v, int32_t m) {
  const int64_t mm = static_cast<int64_t>(m) * m;
  std::copy(r, r + mm, a);
  jacobi(a, v, m);
  for (int32_t i = 0; i < m; ++i)
    for (int32_t j = 0; j < m; ++j) {
      double s = 0;
      for (int32_t k = 0; k < m; ++k) {
        const double lambda = a[static_cast<int64_t>(k) * m + k];
        if (lambda > 0) s += v[static_cast<int64_t>(i) * m + k] * lambda * v[static_cast<int64_t>(j) * m + k];
      }
      x[static_cast<int64_t>(i) * m + j] = s;
    }
}

template <class T>
int parametrize(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want = mask & ZEV_SS_PARAMTR_COR;
  if (t->correlation == nullptr) return ZEV_SS_ERROR_BAD_COR_ADDR;
  if (t->correlation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (want && t->parametrized_correlation == nullptr) return ZEV_SS_ERROR_BAD_PARAMTR_COR_ADDR;
  if (want && t->parametrized_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  auto form_ok = [&](const void* s) { return s == nullptr || (in.value(s) >= 0 && in.value(s) <= 2); };
  if (!form_ok(t->correlation_storage) || !form_ok(want ? t->parametrized_storage : nullptr))
    return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  if (method != ZEV_SS_METHOD_NEAREST_COR) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (t->dimension == nullptr || in.value(t->dimension) <= 0) return ZEV_SS_ERROR_BAD_DIMEN;
  if (!want) return 0;

  const int32_t p = in.low(t->dimension);
  int32_t m = 0;
  int32_t* vars = variable_list(t, in, p, &m);
  const int64_t mm = static_cast<int64_t>(m) * m;
  Buffer<T> C(static_cast<int64_t>(p) * p);
  Buffer<double> work(6 * mm);
  Buffer<uint8_t> active(t->variable_mask ? p : 0);
  if (vars == nullptr || C.failed() || work.failed() || active.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  double *Y = work.p, *R = Y + mm, *X = R + mm, *dS = X + mm, *a = dS + mm, *v = a + mm;
  read_matrix(C.p, static_cast<const T*>(t->correlation), form_of(in, t->correlation_storage), p);
  for (int32_t i = 0; i < m; ++i)
    for (int32_t j = 0; j < m; ++j) {
      const int32_t r = std::min(vars[i], vars[j]), c = std::max(vars[i], vars[j]);
      Y[static_cast<int64_t>(i) * m + j] = double(C[static_cast<int64_t>(r) * p + c]);
    }
  std::fill(dS, dS + mm, 0.0);
  const double tol = sizeof(T) == 8 ? 1e-14 : 1e-7;
  for (int iter = 0; iter < 1000; ++iter) {
    for (int64_t k = 0; k < mm; ++k) R[k] = Y[k] - dS[k];
    psd_projection(R, X, a, v, m);
    double change = 0, size = 0;
    for (int64_t k = 0; k < mm; ++k) {
      dS[k] = X[k] - R[k];
      const double y = (k % (m + 1) == 0) ? 1.0 : X[k];
      change += (y - Y[k]) * (y - Y[k]);
      size += y * y;
      Y[k] = y;
    }
    if (change <= tol * tol * size) break;
  }
  if (active.p) {
    std::fill(active.p, active.p + p, uint8_t{0});
    for (int32_t k = 0; k < m; ++k) active[vars[k]] = 1;
  }
  auto slot = [&](int32_t j) { return static_cast<int64_t>(std::lower_bound(vars, vars + m, j) - vars); };
  write_matrix(static_cast<T*>(t->parametrized_correlation), form_of(in, t->parametrized_storage), p,
               active.p, [&](int32_t i, int32_t k) { return T(Y[slot(i) * m + slot(k)]); });
  release(vars);
  return 0;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(CorParametrization, parametrize)
