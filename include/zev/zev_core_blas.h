/* Triangular multiplies of the core library, over the system BLAS: what the
   multivariate normal generator applies to its standard normal vectors.
   Column-major, as in BLAS: B (m by n, leading dimension ldb) becomes
   alpha op(A) B, side "L" only; uplo "U"/"L", transa "N"/"T", diag "N"/"U". */
#ifndef ZEV_CORE_BLAS_H
#define ZEV_CORE_BLAS_H

#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

/* Full A (m by m, leading dimension lda). The _4vqm forms are small loops for
   m up to about 10; the 4vqm_ forms call the BLAS. */
ZEV_API void zev_blas_xdtrmm_4vqm(const char* side, const char* uplo, const char* transa,
                                  const char* diag, const int* m, const int* n,
                                  const double* alpha, const double* a, const int* lda,
                                  double* b, const int* ldb);
ZEV_API void zev_blas_xstrmm_4vqm(const char* side, const char* uplo, const char* transa,
                                  const char* diag, const int* m, const int* n,
                                  const float* alpha, const float* a, const int* lda, float* b,
                                  const int* ldb);
ZEV_API void zev_blas4vqm_dtrmm(const char* side, const char* uplo, const char* transa,
                                const char* diag, const int* m, const int* n, const double* alpha,
                                const double* a, const int* lda, double* b, const int* ldb);
ZEV_API void zev_blas4vqm_strmm(const char* side, const char* uplo, const char* transa,
                                const char* diag, const int* m, const int* n, const float* alpha,
                                const float* a, const int* lda, float* b, const int* ldb);
/* Packed A: the triangle column by column, m(m+1)/2 values. */
ZEV_API void zev_blas4vqm_dptrmm(const char* side, const char* uplo, const char* transa,
                                 const char* diag, const int* m, const int* n,
                                 const double* alpha, const double* ap, double* b, const int* ldb);
ZEV_API void zev_blas4vqm_sptrmm(const char* side, const char* uplo, const char* transa,
                                 const char* diag, const int* m, const int* n, const float* alpha,
                                 const float* ap, float* b, const int* ldb);

ZEV_EXTERN_C_END

#endif
