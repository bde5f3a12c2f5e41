// Tridiagonal solvers of the spline builders, over LAPACK's ?gtsv, ?gttrf, ?gttrs.
#include "zev/zev_core_dfl.h"

#include <cstddef>

extern "C" {
void dgtsv_(const int* n, const int* nrhs, double* dl, double* d, double* du, double* b,
            const int* ldb, int* info);
void sgtsv_(const int* n, const int* nrhs, float* dl, float* d, float* du, float* b,
            const int* ldb, int* info);
void dgttrf_(const int* n, double* dl, double* d, double* du, double* du2, int* ipiv, int* info);
void sgttrf_(const int* n, float* dl, float* d, float* du, float* du2, int* ipiv, int* info);
void dgttrs_(const char* trans, const int* n, const int* nrhs, const double* dl, const double* d,
             const double* du, const double* du2, const int* ipiv, double* b, const int* ldb,
             int* info, size_t trans_len);
void sgttrs_(const char* trans, const int* n, const int* nrhs, const float* dl, const float* d,
             const float* du, const float* du2, const int* ipiv, float* b, const int* ldb,
             int* info, size_t trans_len);
}

namespace {

// Argument checks shared by the three routines, in LAPACK's numbering:
// n is argument 1, nrhs 2, and ldb the last.
int check(int n, int nrhs, int ldb) {
  if (n < 0) return -1;
  if (nrhs < 0) return -2;
  if (ldb < (n > 1 ? n : 1)) return -7;
  return 0;
}

// ?gttrf leaves an exactly zero pivot in d without failing the later solve;
// report it as a singular system instead.
template <class T>
int zero_pivot(int n, const T* d) {
  for (int i = 0; i < n; ++i)
    if (d[i] == T(0)) return i + 1;
  return 0;
}

}  // namespace

extern "C" {

ZEV_API int ddtsvb_4dfl(int n, int nrhs, double* dl, double* d, double* du, double* b, int ldb) {
  if (int s = check(n, nrhs, ldb)) return s;
  if (n == 0 || nrhs == 0) return 0;
  int info = 0;
  dgtsv_(&n, &nrhs, dl, d, du, b, &ldb, &info);
  return info;
}

ZEV_API int sdtsvb_4dfl(int n, int nrhs, float* dl, float* d, float* du, float* b, int ldb) {
  if (int s = check(n, nrhs, ldb)) return s;
  if (n == 0 || nrhs == 0) return 0;
  int info = 0;
  sgtsv_(&n, &nrhs, dl, d, du, b, &ldb, &info);
  return info;
}

ZEV_API int ddttrfb_4dfl(int n, double* dl, double* d, double* du, double* du2, int* ipiv) {
  if (n < 0) return -1;
  if (n == 0) return 0;
  int info = 0;
  dgttrf_(&n, dl, d, du, du2, ipiv, &info);
  return info != 0 ? info : zero_pivot(n, d);
}

ZEV_API int sdttrfb_4dfl(int n, float* dl, float* d, float* du, float* du2, int* ipiv) {
  if (n < 0) return -1;
  if (n == 0) return 0;
  int info = 0;
  sgttrf_(&n, dl, d, du, du2, ipiv, &info);
  return info != 0 ? info : zero_pivot(n, d);
}

ZEV_API int ddttrsb_4dfl(int n, int nrhs, const double* dl, const double* d, const double* du,
                         const double* du2, const int* ipiv, double* b, int ldb) {
  if (int s = check(n, nrhs, ldb)) return s;
  if (n == 0 || nrhs == 0) return 0;
  int info = 0;
  dgttrs_("N", &n, &nrhs, dl, d, du, du2, ipiv, b, &ldb, &info, 1);
  return info;
}

ZEV_API int sdttrsb_4dfl(int n, int nrhs, const float* dl, const float* d, const float* du,
                         const float* du2, const int* ipiv, float* b, int ldb) {
  if (int s = check(n, nrhs, ldb)) return s;
  if (n == 0 || nrhs == 0) return 0;
  int info = 0;
  sgttrs_("N", &n, &nrhs, dl, d, du, du2, ipiv, b, &ldb, &info, 1);
  return info;
}

}  // extern "C"
