// Triangular multiplies B = alpha op(A) B (side "L"): small loops for full
// and packed A, and the system BLAS's ?trmm for large full A.
#include "zev/zev_core_blas.h"

#include <cstddef>

extern "C" {
void dtrmm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
            const int* n, const double* alpha, const double* a, const int* lda, double* b,
            const int* ldb, size_t, size_t, size_t, size_t);
void strmm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
            const int* n, const float* alpha, const float* a, const int* lda, float* b,
            const int* ldb, size_t, size_t, size_t, size_t);
}

namespace {

bool is(const char* c, char want) { return (*c | 0x20) == (want | 0x20); }

// Each column x of B becomes alpha E x, E = op(A) triangular, in place: a
// lower E from the last row up, an upper one from the first row down, so
// that every x_k is read before it is overwritten. at(i, k) reads A.
template <class T, class At>
void multiply(bool upper, bool trans, bool unit, int m, int n, T alpha, At at, T* b, int ldb) {
  const bool lower_e = upper == trans;  // upper A transposed, or lower A
  auto e = [&](int i, int k) { return trans ? at(k, i) : at(i, k); };
  for (int j = 0; j < n; ++j) {
    T* x = b + static_cast<std::ptrdiff_t>(j) * ldb;
    if (lower_e) {
      for (int i = m - 1; i >= 0; --i) {
        T s = unit ? x[i] : e(i, i) * x[i];
        for (int k = 0; k < i; ++k) s += e(i, k) * x[k];
        x[i] = alpha * s;
      }
    } else {
      for (int i = 0; i < m; ++i) {
        T s = unit ? x[i] : e(i, i) * x[i];
        for (int k = i + 1; k < m; ++k) s += e(i, k) * x[k];
        x[i] = alpha * s;
      }
    }
  }
}

template <class T>
void full(const char* uplo, const char* transa, const char* diag, int m, int n, T alpha,
          const T* a, int lda, T* b, int ldb) {
  multiply(is(uplo, 'U'), !is(transa, 'N'), is(diag, 'U'), m, n, alpha,
           [&](int i, int k) { return a[i + static_cast<std::ptrdiff_t>(k) * lda]; }, b, ldb);
}

template <class T>
void packed(const char* uplo, const char* transa, const char* diag, int m, int n, T alpha,
            const T* ap, T* b, int ldb) {
  const bool upper = is(uplo, 'U');
  // Column k of the triangle: rows 0..k from k(k+1)/2 (upper), rows k..m-1
  // from k m - k(k-1)/2 (lower).
  auto at = [&](int i, int k) {
    const std::ptrdiff_t kk = k;
    return upper ? ap[kk * (kk + 1) / 2 + i] : ap[kk * m - kk * (kk - 1) / 2 + (i - k)];
  };
  multiply(upper, !is(transa, 'N'), is(diag, 'U'), m, n, alpha, at, b, ldb);
}

}  // namespace

extern "C" {

ZEV_API void zev_blas_xdtrmm_4vqm(const char*, const char* uplo, const char* transa,
                                  const char* diag, const int* m, const int* n,
                                  const double* alpha, const double* a, const int* lda,
                                  double* b, const int* ldb) {
  full(uplo, transa, diag, *m, *n, *alpha, a, *lda, b, *ldb);
}
ZEV_API void zev_blas_xstrmm_4vqm(const char*, const char* uplo, const char* transa,
                                  const char* diag, const int* m, const int* n,
                                  const float* alpha, const float* a, const int* lda, float* b,
                                  const int* ldb) {
  full(uplo, transa, diag, *m, *n, *alpha, a, *lda, b, *ldb);
}
ZEV_API void zev_blas4vqm_dtrmm(const char* side, const char* uplo, const char* transa,
                                const char* diag, const int* m, const int* n, const double* alpha,
                                const double* a, const int* lda, double* b, const int* ldb) {
  dtrmm_(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, 1, 1, 1, 1);
}
ZEV_API void zev_blas4vqm_strmm(const char* side, const char* uplo, const char* transa,
                                const char* diag, const int* m, const int* n, const float* alpha,
                                const float* a, const int* lda, float* b, const int* ldb) {
  strmm_(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, 1, 1, 1, 1);
}
ZEV_API void zev_blas4vqm_dptrmm(const char*, const char* uplo, const char* transa,
                                 const char* diag, const int* m, const int* n,
                                 const double* alpha, const double* ap, double* b, const int* ldb) {
  packed(uplo, transa, diag, *m, *n, *alpha, ap, b, *ldb);
}
ZEV_API void zev_blas4vqm_sptrmm(const char*, const char* uplo, const char* transa,
                                 const char* diag, const int* m, const int* n, const float* alpha,
                                 const float* ap, float* b, const int* ldb) {
  packed(uplo, transa, diag, *m, *n, *alpha, ap, b, *ldb);
}

}  // extern "C"
