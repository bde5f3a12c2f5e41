/* Data fitting: tasks, cell search, spline construction, interpolation and
   integration of functions of one variable. See docs/fitting.md for the
   layouts of functions, coefficients and results. Every entry returns a status:
   0 on success, one of the negative ZEV_DF_ERROR_ codes otherwise. */
#ifndef ZEV_DF_H
#define ZEV_DF_H

#include "zev_config.h"
#include "zev_threading.h"

ZEV_EXTERN_C_BEGIN

typedef struct zev_df_task_rec* zev_df_task;

/* ---- status codes ---- */
#define ZEV_DF_STATUS_OK                   0
#define ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR  (-1000)
#define ZEV_DF_ERROR_MEM_FAILURE           (-1001)
#define ZEV_DF_ERROR_METHOD_NOT_SUPPORTED  (-1002)
#define ZEV_DF_ERROR_BAD_NX                (-1004)
#define ZEV_DF_ERROR_NULL_X                (-1005)
#define ZEV_DF_ERROR_BAD_X_HINT            (-1006)
#define ZEV_DF_ERROR_BAD_NY                (-1007)
#define ZEV_DF_ERROR_NULL_Y                (-1008)
#define ZEV_DF_ERROR_BAD_Y_HINT            (-1009)
#define ZEV_DF_ERROR_BAD_SPLINE_ORDER      (-1010)
#define ZEV_DF_ERROR_BAD_SPLINE_TYPE       (-1011)
#define ZEV_DF_ERROR_BAD_IC_TYPE           (-1012)
#define ZEV_DF_ERROR_NULL_IC               (-1013)
#define ZEV_DF_ERROR_BAD_BC_TYPE           (-1014)
#define ZEV_DF_ERROR_NULL_BC               (-1015)
#define ZEV_DF_ERROR_NULL_SCOEFF           (-1016)
#define ZEV_DF_ERROR_BAD_SCOEFF_HINT       (-1017)
#define ZEV_DF_ERROR_BAD_PERIODIC_VAL      (-1018)
#define ZEV_DF_ERROR_BAD_PARAMETER         (-1019)
#define ZEV_DF_ERROR_BAD_INDEX             (-1020)
#define ZEV_DF_ERROR_BAD_DATA_HINT         (-1026)
#define ZEV_DF_ERROR_BAD_RHINT             (-1028)
#define ZEV_DF_ERROR_BAD_EXTRA_FLAG        (-1036)
#define ZEV_DF_ERROR_NULL_RESULT           (-1037)
#define ZEV_DF_ERROR_BAD_X                 (-1040) /* builders: knots not strictly ascending,
                                                      or a knot or a spacing not finite */

/* ---- partition hints (knots) ---- */
#define ZEV_DF_NO_HINT                0
#define ZEV_DF_NON_UNIFORM_PARTITION  1
#define ZEV_DF_QUASI_UNIFORM_PARTITION 2
#define ZEV_DF_UNIFORM_PARTITION      4   /* knots holds only the two ends */

/* ---- function and coefficient layouts ---- */
#define ZEV_DF_MATRIX_STORAGE_ROWS        0x10 /* function f at pointer + f*stride */
#define ZEV_DF_MATRIX_STORAGE_COLS        0x20 /* one knot's (or cell's) values together */
#define ZEV_DF_MATRIX_STORAGE_FUNCS_SEP   0x80 /* one pointer per function */

/* ---- value and pointer identifiers ---- */
#define ZEV_DF_X              1
#define ZEV_DF_Y              2
#define ZEV_DF_IC             3
#define ZEV_DF_BC             4
#define ZEV_DF_PP_SCOEFF      5
#define ZEV_DF_NX             14
#define ZEV_DF_XHINT          15
#define ZEV_DF_NY             16
#define ZEV_DF_YHINT          17
#define ZEV_DF_PP_ORDER       18
#define ZEV_DF_PP_TYPE        19
#define ZEV_DF_IC_TYPE        20
#define ZEV_DF_BC_TYPE        21
#define ZEV_DF_PP_SCOEFF_HINT 22
#define ZEV_DF_EXTRA_FLAG     23

/* ---- spline orders and types ---- */
#define ZEV_DF_PP_STD        0
#define ZEV_DF_PP_LINEAR     2
#define ZEV_DF_PP_QUADRATIC  3
#define ZEV_DF_PP_CUBIC      4
#define ZEV_DF_PP_DEFAULT    0
#define ZEV_DF_PP_SUBBOTIN   1
#define ZEV_DF_PP_NATURAL    2
#define ZEV_DF_PP_HERMITE    3
#define ZEV_DF_PP_BESSEL     4
#define ZEV_DF_PP_AKIMA      5
#define ZEV_DF_LOOKUP_INTERPOLANT     6  /* value at the knot equal to the site */
#define ZEV_DF_CR_STEPWISE_CONST_INTERPOLANT 7 /* y[i] on [x[i], x[i+1]) */
#define ZEV_DF_CL_STEPWISE_CONST_INTERPOLANT 8 /* y[i+1] on (x[i], x[i+1]] */
#define ZEV_DF_PP_HYMAN      9

/* ---- boundary conditions (left end first in boundary_values) ---- */
#define ZEV_DF_NO_BC         0x00 /* the method's own end conditions */
#define ZEV_DF_BC_NOT_A_KNOT 0x01
#define ZEV_DF_BC_FREE_END   0x02
#define ZEV_DF_BC_1ST_LEFT_DER  0x04
#define ZEV_DF_BC_1ST_RIGHT_DER 0x08
#define ZEV_DF_BC_2ND_LEFT_DER  0x10
#define ZEV_DF_BC_2ND_RIGHT_DER 0x20
#define ZEV_DF_BC_PERIODIC   0x40

/* ---- internal conditions ---- */
#define ZEV_DF_NO_IC                 0
#define ZEV_DF_IC_1ST_DER            1  /* Hermite: first derivatives at inner knots */
#define ZEV_DF_IC_2ND_DER            2
#define ZEV_DF_IC_Q_KNOT             8  /* quadratic type 1: break points given */

/* ---- sites, data hints, computation kinds, results ---- */
#define ZEV_DF_SORTED_DATA     0x40
#define ZEV_DF_UNIFORM_SITES   4      /* sites holds the two ends of n equidistant sites */
#define ZEV_DF_INTERP          1      /* compute results */
#define ZEV_DF_CELL            2      /* return the cells as well */
#define ZEV_DF_CELLS_GIVEN     4      /* the cells are given: no search */
#define ZEV_DF_MATRIX_STORAGE_FUNCS_SITES_DERS 0x10 /* r[(f*n + i)*nd + k] */
#define ZEV_DF_MATRIX_STORAGE_FUNCS_DERS_SITES 0x20 /* r[(f*nd + k)*n + i] */
#define ZEV_DF_MATRIX_STORAGE_SITES_FUNCS_DERS 0x100 /* r[(i*ny + f)*nd + k] */
#define ZEV_DF_MATRIX_STORAGE_SITES_DERS_FUNCS 0x200 /* r[(i*nd + k)*ny + f] */

/* ---- caller functions ---- */

/* Search: fills cells[0..*n-1] (numbering of the cell search) for sites; sets
   flags[i] to 1 where cell i is final and 0 where it is only a guess to be
   repaired. Returns a negative status to stop, 1000 when all cells are final,
   anything else to ask for the repair pass. */
typedef int (*zev_df_dsearch_fn)(int64_t* n, const double* sites, int64_t* cells, int* flags,
                                 void* params);
typedef int (*zev_df_ssearch_fn)(int64_t* n, const float* sites, int64_t* cells, int* flags,
                                 void* params);

/* Interpolation (extrapolation, interior): for *n sites with their cells,
   writes for each site ny*nd reals, function by function, each function's
   requested derivative orders in rising order. A negative result stops the
   call with that status. */
typedef int (*zev_df_dinterp_fn)(int64_t* n, int64_t* cell, const double* site, double* result,
                                 void* params);
typedef int (*zev_df_sinterp_fn)(int64_t* n, int64_t* cell, const float* site, float* result,
                                 void* params);

/* Integration over [*left, *right] (a part of one interval outside the knots,
   or inside them for the interior function): writes ny reals, one per
   function. A negative result stops the call with that status. */
typedef int (*zev_df_dinteg_fn)(int64_t* n, const double* left, const double* right,
                                double* result, void* params);
typedef int (*zev_df_sinteg_fn)(int64_t* n, const float* left, const float* right,
                                float* result, void* params);

/* ---- tasks ---- */
ZEV_API int zev_df_kernel_dNewTask1D(zev_df_task* task, int64_t nx, const double* x,
                                     int64_t xhint, int64_t ny, const double* y, int64_t yhint,
                                     int wide_integers);
ZEV_API int zev_df_kernel_sNewTask1D(zev_df_task* task, int64_t nx, const float* x,
                                     int64_t xhint, int64_t ny, const float* y, int64_t yhint,
                                     int wide_integers);
ZEV_API int zev_df_kernel_DeleteTask(zev_df_task* task);

ZEV_API int zev_df_kernel_iEditVal(zev_df_task task, int64_t id, int64_t value);
/* Writes 32 bits, or 64 bits when the task was made with wide_integers. */
ZEV_API int zev_df_kernel_iQueryVal(zev_df_task task, int64_t id, void* result);

ZEV_API int zev_df_kernel_dEditPtr(zev_df_task task, int64_t id, const double* ptr);
ZEV_API int zev_df_kernel_sEditPtr(zev_df_task task, int64_t id, const float* ptr);
ZEV_API int zev_df_kernel_dQueryPtr(zev_df_task task, int64_t id, const double** result);
ZEV_API int zev_df_kernel_sQueryPtr(zev_df_task task, int64_t id, const float** result);
ZEV_API int zev_df_kernel_dEditIdxPtr(zev_df_task task, int64_t id, int64_t idx,
                                      const double* ptr);
ZEV_API int zev_df_kernel_sEditIdxPtr(zev_df_task task, int64_t id, int64_t idx,
                                      const float* ptr);
ZEV_API int zev_df_kernel_dQueryIdxPtr(zev_df_task task, int64_t id, int64_t idx,
                                       const double** result);
ZEV_API int zev_df_kernel_sQueryIdxPtr(zev_df_task task, int64_t id, int64_t idx,
                                       const float** result);
ZEV_API int zev_df_kernel_dEditPPSpline1D(zev_df_task task, int64_t order, int64_t type,
                                          int64_t bc_type, const double* bc, int64_t ic_type,
                                          const double* ic, double* scoeff, int64_t scoeffhint);
ZEV_API int zev_df_kernel_sEditPPSpline1D(zev_df_task task, int64_t order, int64_t type,
                                          int64_t bc_type, const float* bc, int64_t ic_type,
                                          const float* ic, float* scoeff, int64_t scoeffhint);

/* ---- cell search ---- */
ZEV_API int zev_df_kernel_dDFSearch1D(zev_df_task task, int64_t method, int64_t n,
                                      const double* sites, int64_t sitehint,
                                      const double* datahint, int32_t* cells,
                                      zev_df_dsearch_fn fn, void* params,
                                      const zev_threading* threading);
ZEV_API int zev_df_kernel_sDFSearch1D(zev_df_task task, int64_t method, int64_t n,
                                      const float* sites, int64_t sitehint,
                                      const float* datahint, int32_t* cells,
                                      zev_df_ssearch_fn fn, void* params,
                                      const zev_threading* threading);

/* The seven members, one signature each: cursor is the sorted search's running
   cell (read at entry, written at exit; others ignore it), datahint the peak
   search's hint, fn and params the caller's search. The 32 forms take a
   32-bit count. */
#define ZEV_DF_SEARCH_MEMBER(name)                                                          \
  ZEV_API int zev_df_kernel_d##name(zev_df_task task, int64_t n, const double* sites,       \
                                    int32_t* cells, const double* datahint, int32_t* cursor, \
                                    zev_df_dsearch_fn fn, void* params);                    \
  ZEV_API int zev_df_kernel_d##name##32(zev_df_task task, int32_t n, const double* sites,   \
                                        int32_t* cells, const double* datahint,             \
                                        int32_t* cursor, zev_df_dsearch_fn fn, void* params); \
  ZEV_API int zev_df_kernel_s##name(zev_df_task task, int64_t n, const float* sites,        \
                                    int32_t* cells, const float* datahint, int32_t* cursor, \
                                    zev_df_ssearch_fn fn, void* params);                    \
  ZEV_API int zev_df_kernel_s##name##32(zev_df_task task, int32_t n, const float* sites,    \
                                        int32_t* cells, const float* datahint,              \
                                        int32_t* cursor, zev_df_ssearch_fn fn, void* params);
ZEV_DF_SEARCH_MEMBER(DFUniformSearch1D)
ZEV_DF_SEARCH_MEMBER(DFQuasiUniformSearch1D)
ZEV_DF_SEARCH_MEMBER(DFSortedSearch1D)
ZEV_DF_SEARCH_MEMBER(DFPeakSearch1D)
ZEV_DF_SEARCH_MEMBER(DFHybridSearch1D)
ZEV_DF_SEARCH_MEMBER(DFUserDefSearch1D)
ZEV_DF_SEARCH_MEMBER(DFUniUserDefSearch1D)
#undef ZEV_DF_SEARCH_MEMBER

/* ---- spline construction (method must be 0) ---- */
#define ZEV_DF_BUILDER(name)                                              \
  ZEV_API int zev_df_kernel_d##name(zev_df_task task, int64_t method);    \
  ZEV_API int zev_df_kernel_s##name(zev_df_task task, int64_t method);
ZEV_DF_BUILDER(DFLinearSpline1D)
ZEV_DF_BUILDER(DFQuadraticSpline1D)
ZEV_DF_BUILDER(DFDefaultCubicSpline1D)
ZEV_DF_BUILDER(DFNaturalCubicSpline1D)
ZEV_DF_BUILDER(DFHermiteCubicSpline1D)
ZEV_DF_BUILDER(DFBesselCubicSpline1D)
ZEV_DF_BUILDER(DFHymanCubicSpline1D)
ZEV_DF_BUILDER(DFAkimaCubicSpline1D)
#undef ZEV_DF_BUILDER

/* ---- interpolation ----
   cells: with ZEV_DF_CELLS_GIVEN the n cells to use; with ZEV_DF_CELL the
   array that receives them (n entries); otherwise unread and may be null. */
ZEV_API int zev_df_kernel_dDFInterpolate1D(
    zev_df_task task, int64_t type, int64_t method, int64_t n, const double* sites,
    int64_t sitehint, int64_t ndorder, const void* dorder, const double* datahint,
    double* r, int64_t rhint, zev_df_dinterp_fn le, void* lparams, zev_df_dinterp_fn re,
    void* rparams, zev_df_dinterp_fn ie, void* iparams, zev_df_dsearch_fn search,
    void* sparams, const zev_threading* threading, int32_t* cells);
ZEV_API int zev_df_kernel_sDFInterpolate1D(
    zev_df_task task, int64_t type, int64_t method, int64_t n, const float* sites,
    int64_t sitehint, int64_t ndorder, const void* dorder, const float* datahint,
    float* r, int64_t rhint, zev_df_sinterp_fn le, void* lparams, zev_df_sinterp_fn re,
    void* rparams, zev_df_sinterp_fn ie, void* iparams, zev_df_ssearch_fn search,
    void* sparams, const zev_threading* threading, int32_t* cells);

/* ---- integration ----
   For each j below nlim, the integral of every function from llim[j] to
   rlim[j] (negative when rlim[j] < llim[j]). Limit hints: ZEV_DF_UNIFORM_SITES
   (two ends given) and ZEV_DF_SORTED_DATA. Result hint 0x10 (or 0):
   r[f*nlim + j]; 0x20: r[j*ny + f]. */
ZEV_API int zev_df_kernel_dDFIntegrate1D(
    zev_df_task task, int64_t method, int64_t nlim, const double* llim, int64_t llimhint,
    const double* rlim, int64_t rlimhint, const double* ldatahint, const double* rdatahint,
    double* r, int64_t rhint, zev_df_dinteg_fn le, void* lparams, zev_df_dinteg_fn re,
    void* rparams, zev_df_dinteg_fn ie, void* iparams, zev_df_dsearch_fn search,
    void* sparams, const zev_threading* threading);
ZEV_API int zev_df_kernel_sDFIntegrate1D(
    zev_df_task task, int64_t method, int64_t nlim, const float* llim, int64_t llimhint,
    const float* rlim, int64_t rlimhint, const float* ldatahint, const float* rdatahint,
    float* r, int64_t rhint, zev_df_sinteg_fn le, void* lparams, zev_df_sinteg_fn re,
    void* rparams, zev_df_sinteg_fn ie, void* iparams, zev_df_ssearch_fn search,
    void* sparams, const zev_threading* threading);

ZEV_EXTERN_C_END

#endif
