// Partial covariance and correlation, _vqsdSSPartialCovariance and its single
// form, and Mahalanobis distances, _vqsdSSMahDistance and its single form.
//
// Partial covariance: partial_classification marks each variable 1 (a result
// variable, set Y), -1 (conditioned on, set Z) or 0 (neither); a variable the
// variable mask leaves out counts as 0. From the covariance S held in
// `covariance` (as Basic leaves it), the result is the k by k matrix, k = |Y|,
//   P = S_YY - S_YZ S_ZZ^-1 S_ZY,
// formed as S_YY - B^T B with B = L^-1 S_ZY and S_ZZ = L L^T (Cholesky, in
// double for both precisions), and the partial correlation P_ab/sqrt(P_aa P_bb).
//
// Mahalanobis distance of observation i from a centre c under a matrix A (the
// inverse of a covariance): sqrt((x_i - c)^T A (x_i - c)) over the variables
// the mask lets through, for first <= i < last, written to distances[i].
#include <algorithm>
#include <cmath>

#include "stats/ss_matrix.h"

namespace zev::ss {
namespace {

template <class T>
int partial(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want_pc = mask & ZEV_SS_PARTIAL_COV, want_pr = mask & ZEV_SS_PARTIAL_COR;
  if (t->partial_classification == nullptr) return ZEV_SS_ERROR_BAD_PARTIAL_COV_IDX_ADDR;
  if (t->covariance == nullptr) return ZEV_SS_ERROR_BAD_COV_ADDR;
  if (t->covariance_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (want_pc && t->partial_covariance == nullptr) return ZEV_SS_ERROR_BAD_PARTIAL_COV_ADDR;
  if (want_pc && t->partial_covariance_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (want_pr && t->partial_correlation == nullptr) return ZEV_SS_ERROR_BAD_PARTIAL_COR_ADDR;
  if (want_pr && t->partial_correlation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (method != ZEV_SS_METHOD_PARTIAL) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (t->dimension == nullptr || in.value(t->dimension) <= 0) return ZEV_SS_ERROR_BAD_DIMEN;
  const int32_t p = in.low(t->dimension);
  int32_t k = 0, m = 0;
  for (int32_t j = 0; j < p; ++j) {
    const int64_t c = in.value_at(t->partial_classification, j);
    if (c != 1 && c != -1 && c != 0) return ZEV_SS_ERROR_BAD_PARTIAL_CLASSIFICATION;
    if (t->variable_mask && in.at(t->variable_mask, j) == 0) continue;
    k += c == 1;
    m += c == -1;
  }
  if (k == 0) return ZEV_SS_ERROR_BAD_PARTIAL_CLASSIFICATION;
  if (!want_pc && !want_pr) return 0;

  Buffer<int32_t> Y(k), Z(m);
  Buffer<T> S(static_cast<int64_t>(p) * p);
  Buffer<double> L(static_cast<int64_t>(m) * m), B(static_cast<int64_t>(m) * k),
      P(static_cast<int64_t>(k) * k);
  if (Y.failed() || Z.failed() || S.failed() || L.failed() || B.failed() || P.failed())
    return ZEV_SS_ERROR_MEM_FAILURE;
  for (int32_t j = 0, a = 0, b = 0; j < p; ++j) {
    if (t->variable_mask && in.at(t->variable_mask, j) == 0) continue;
    const int64_t c = in.value_at(t->partial_classification, j);
    if (c == 1) Y[a++] = j;
    if (c == -1) Z[b++] = j;
  }
  read_matrix(S.p, static_cast<const T*>(t->covariance), form_of(in, t->covariance_storage), p);
  auto s = [&](int32_t i, int32_t j) {
    return double(i <= j ? S[static_cast<int64_t>(i) * p + j] : S[static_cast<int64_t>(j) * p + i]);
  };
  for (int32_t a = 0; a < m; ++a)
    for (int32_t b = 0; b < m; ++b) L[static_cast<int64_t>(a) * m + b] = s(Z[a], Z[b]);
  if (!cholesky(L.p, m)) return ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE;
  for (int32_t c = 0; c < k; ++c)  // B = L^-1 S_ZY, column by column
    for (int32_t a = 0; a < m; ++a) {
      double v = s(Z[a], Y[c]);
      for (int32_t r = 0; r < a; ++r) v -= L[static_cast<int64_t>(a) * m + r] * B[static_cast<int64_t>(r) * k + c];
      B[static_cast<int64_t>(a) * k + c] = v / L[static_cast<int64_t>(a) * m + a];
    }
  for (int32_t a = 0; a < k; ++a)
    for (int32_t b = a; b < k; ++b) {
      double v = s(Y[a], Y[b]);
      for (int32_t r = 0; r < m; ++r) v -= B[static_cast<int64_t>(r) * k + a] * B[static_cast<int64_t>(r) * k + b];
      P[static_cast<int64_t>(a) * k + b] = v;
    }
  auto pv = [&](int32_t a, int32_t b) { return P[static_cast<int64_t>(a) * k + b]; };
  if (want_pc)
    write_matrix(static_cast<T*>(t->partial_covariance), form_of(in, t->partial_covariance_storage), k,
                 nullptr, [&](int32_t a, int32_t b) { return T(pv(a, b)); });
  if (want_pr)
    write_matrix(static_cast<T*>(t->partial_correlation),
                 form_of(in, t->partial_correlation_storage), k, nullptr, [&](int32_t a, int32_t b) {
                   return T(pv(a, b) / std::sqrt(pv(a, a) * pv(b, b)));
                 });
  return 0;
}

template <class T>
struct DistanceJob {
  Observations<T> x;
  const T* center;
  const T* A;
  T* out;
  const int32_t* vars;
  int32_t count;
  int64_t first, last;
  double* work;  // count reals per thread
  static constexpr int64_t kChunk = 1024;
};

template <class T>
void distance_body(int64_t index, int thread, int, void* context) {
  auto& c = *static_cast<DistanceJob<T>*>(context);
  const int64_t lo = c.first + index * c.kChunk, hi = std::min(c.last, lo + c.kChunk);
  double* y = c.work + static_cast<int64_t>(thread) * c.count;
  for (int64_t i = lo; i < hi; ++i) {
    for (int32_t a = 0; a < c.count; ++a) y[a] = double(c.x(i, c.vars[a])) - double(c.center[c.vars[a]]);
    double q = 0;
    for (int32_t a = 0; a < c.count; ++a) {
      const T* row = c.A + static_cast<int64_t>(c.vars[a]) * c.x.p;
      double v = 0;
      for (int32_t b = 0; b < c.count; ++b) v += double(row[c.vars[b]]) * y[b];
      q += y[a] * v;
    }
    c.out[i] = T(std::sqrt(q));  // a matrix that is not positive definite may give NaN
  }
}

template <class T>
int distance(Rec* t, uint64_t mask, uint64_t method, const zev_threading* th) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want = mask & ZEV_SS_MAHDIST;
  if (want && t->distance_center == nullptr) return ZEV_SS_ERROR_BAD_MAHDIST_CENTER_ADDR;
  if (want && t->distance_inverse == nullptr) return ZEV_SS_ERROR_BAD_MAHDIST_INVERSE_ADDR;
  if (want && t->distance_output == nullptr) return ZEV_SS_ERROR_BAD_MAHDIST_ADDR;
  if (method != ZEV_SS_METHOD_MAHDIST) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const Observations<T> x = observations_of<T>(t, in);
  const int64_t first = t->distance_first ? in.value(t->distance_first) : 0;
  const int64_t last = t->distance_last ? in.value(t->distance_last) : x.n;
  if (first < 0 || first > last || last > x.n) return ZEV_SS_ERROR_BAD_MAHDIST_RANGE;
  if (!want || first == last) return 0;

  const int64_t chunks = (last - first + DistanceJob<T>::kChunk - 1) / DistanceJob<T>::kChunk;
  int threads = 1;
  if (th && th->max_threads && th->parallel_for)
    threads = static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(th->max_threads(), chunks)));
  int32_t count = 0;
  int32_t* vars = variable_list(t, in, x.p, &count);
  Buffer<double> work(static_cast<int64_t>(threads) * count);
  if (vars == nullptr || work.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  DistanceJob<T> job{x,
                     static_cast<const T*>(t->distance_center),
                     static_cast<const T*>(t->distance_inverse),
                     static_cast<T*>(t->distance_output),
                     vars,
                     count,
                     first,
                     last,
                     work.p};
  for_variables(th, chunks, threads, &job, distance_body<T>);
  release(vars);
  return 0;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(PartialCovariance, partial)
ZEV_SS_COMPUTE_ENTRIES(MahDistance, distance)
