/* libzev_core: tridiagonal solvers used by the spline builders.

   A system of order n has sub-diagonal dl[0..n-2], diagonal d[0..n-1] and
   super-diagonal du[0..n-2]; right-hand sides are the columns of b, column j
   at b + j*ldb (ldb >= n). Partial pivoting keeps the solvers stable on the
   end rows of every boundary variant, which need not be diagonally dominant.

   Every routine returns 0 on success, -i when argument i is invalid, and
   i > 0 when the i-th pivot of the factorisation is exactly zero (the system
   is singular; no solution was written). */
#ifndef ZEV_CORE_DFL_H
#define ZEV_CORE_DFL_H

#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

/* Solves the system for nrhs right-hand sides in place of b. dl, d and du are
   overwritten by the factorisation. */
ZEV_API int ddtsvb_4dfl(int n, int nrhs, double* dl, double* d, double* du, double* b, int ldb);
ZEV_API int sdtsvb_4dfl(int n, int nrhs, float* dl, float* d, float* du, float* b, int ldb);

/* Factorises the system in place of dl, d, du, with the second super-diagonal
   of the factor in du2[0..n-3] and the pivots in ipiv[0..n-1]. */
ZEV_API int ddttrfb_4dfl(int n, double* dl, double* d, double* du, double* du2, int* ipiv);
ZEV_API int sdttrfb_4dfl(int n, float* dl, float* d, float* du, float* du2, int* ipiv);

/* Solves with a factorisation made by ddttrfb_4dfl, in place of b. */
ZEV_API int ddttrsb_4dfl(int n, int nrhs, const double* dl, const double* d, const double* du,
                         const double* du2, const int* ipiv, double* b, int ldb);
ZEV_API int sdttrsb_4dfl(int n, int nrhs, const float* dl, const float* d, const float* du,
                         const float* du2, const int* ipiv, float* b, int ldb);

ZEV_EXTERN_C_END

#endif
