/* Summary statistics: tasks over a matrix of observations, their editors, and
   the compute entries. See docs/stats.md for layouts, the result mask, the
   methods, block-wise use and measured accuracy.

   Every entry returns a status: 0 on success, one of the negative
   ZEV_SS_ERROR_ codes (or -3 for an unknown identifier) otherwise. Editors
   store pointers into caller memory and test them for null only; values are
   tested when a computation runs. A call rejected by its checks writes
   nothing. */
#ifndef ZEV_SS_H
#define ZEV_SS_H

#include "zev_config.h"
#include "zev_threading.h"

ZEV_EXTERN_C_BEGIN

typedef struct zev_ss_task_rec* zev_ss_task;

/* ---- status codes ---- */
#define ZEV_SS_STATUS_OK                       0
#define ZEV_SS_ERROR_BAD_PARAMETER_ID        (-3)    /* identifier unknown to this editor */
#define ZEV_SS_ERROR_MEM_FAILURE             (-4000)
#define ZEV_SS_ERROR_BAD_DIMEN               (-4001) /* dimension null or not positive */
#define ZEV_SS_ERROR_BAD_OBSERV_N            (-4002) /* observation_count null or not positive */
#define ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED   (-4003) /* bad observation layout or matrix form */
#define ZEV_SS_ERROR_BAD_INDC_ADDR           (-4004) /* variable_mask null on edit */
#define ZEV_SS_ERROR_BAD_WEIGHTS             (-4005) /* weights null on edit */
#define ZEV_SS_ERROR_BAD_MEAN_ADDR           (-4006) /* also sum null on edit */
#define ZEV_SS_ERROR_BAD_2R_MOM_ADDR         (-4007)
#define ZEV_SS_ERROR_BAD_3R_MOM_ADDR         (-4008)
#define ZEV_SS_ERROR_BAD_4R_MOM_ADDR         (-4009)
#define ZEV_SS_ERROR_BAD_2C_MOM_ADDR         (-4010)
#define ZEV_SS_ERROR_BAD_3C_MOM_ADDR         (-4011)
#define ZEV_SS_ERROR_BAD_4C_MOM_ADDR         (-4012)
#define ZEV_SS_ERROR_BAD_KURTOSIS_ADDR       (-4013)
#define ZEV_SS_ERROR_BAD_SKEWNESS_ADDR       (-4014)
#define ZEV_SS_ERROR_BAD_MIN_ADDR            (-4015)
#define ZEV_SS_ERROR_BAD_MAX_ADDR            (-4016)
#define ZEV_SS_ERROR_BAD_VARIATION_ADDR      (-4017)
#define ZEV_SS_ERROR_BAD_COV_ADDR            (-4018)
#define ZEV_SS_ERROR_BAD_COR_ADDR            (-4019)
#define ZEV_SS_ERROR_BAD_ACCUM_WEIGHT_ADDR   (-4020)
#define ZEV_SS_ERROR_BAD_QUANT_ORDER_ADDR    (-4021)
#define ZEV_SS_ERROR_BAD_QUANT_ORDER         (-4022)
#define ZEV_SS_ERROR_BAD_QUANT_ADDR          (-4023)
#define ZEV_SS_ERROR_BAD_ORDER_STATS_ADDR    (-4024)
#define ZEV_SS_ERROR_BAD_ROBUST_COV_ADDR     (-4027)
#define ZEV_SS_ERROR_BAD_ROBUST_MEAN_ADDR    (-4028)
/* Method bits this entry does not take, or a request it cannot compute. */
#define ZEV_SS_ERROR_METHOD_NOT_SUPPORTED    (-4029)
#define ZEV_SS_ERROR_BAD_GROUP_ADDR          (-4030) /* group_indices or group_flags missing at compute time */
#define ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR    (-4031)
#define ZEV_SS_ERROR_BAD_OBSERV_ADDR         (-4032)
#define ZEV_SS_ERROR_BAD_POOLED_COV_ADDR     (-4034)
#define ZEV_SS_ERROR_BAD_POOLED_MEAN_ADDR    (-4035)
#define ZEV_SS_ERROR_BAD_GROUP_COV_ADDR      (-4036)
#define ZEV_SS_ERROR_BAD_GROUP_MEAN_ADDR     (-4037)
#define ZEV_SS_ERROR_BAD_GROUP_INDC_ADDR     (-4038)
#define ZEV_SS_ERROR_BAD_OUTL_PARAM_ADDR     (-4039)
#define ZEV_SS_ERROR_BAD_OUTL_PARAM_N_ADDR   (-4040)
#define ZEV_SS_ERROR_BAD_OUTL_WEIGHTS_ADDR   (-4041)
#define ZEV_SS_ERROR_BAD_ROBUST_PARAM_ADDR   (-4042)
#define ZEV_SS_ERROR_BAD_ROBUST_PARAM_N_ADDR (-4043)
#define ZEV_SS_ERROR_BAD_STORAGE_ADDR        (-4044)
#define ZEV_SS_ERROR_BAD_PARTIAL_COV_IDX_ADDR (-4045)
#define ZEV_SS_ERROR_BAD_PARTIAL_COV_ADDR    (-4046)
#define ZEV_SS_ERROR_BAD_PARTIAL_COR_ADDR    (-4047)
#define ZEV_SS_ERROR_BAD_MI_PARAMS_ADDR      (-4048)
#define ZEV_SS_ERROR_BAD_MI_PARAMS_N_ADDR    (-4049)
#define ZEV_SS_ERROR_BAD_MI_PARAMS_N         (-4050) /* missing_parameter_count other than 5 */
#define ZEV_SS_ERROR_BAD_MI_INIT_ESTIMATES_N_ADDR (-4052)
#define ZEV_SS_ERROR_BAD_MI_INIT_ESTIMATES_ADDR   (-4053)
#define ZEV_SS_ERROR_BAD_MI_SIMUL_VALS_ADDR  (-4054)
#define ZEV_SS_ERROR_BAD_MI_SIMUL_VALS_N_ADDR (-4055)
#define ZEV_SS_ERROR_BAD_MI_ESTIMATES_N_ADDR (-4056)
#define ZEV_SS_ERROR_BAD_MI_ESTIMATES_ADDR   (-4057)
#define ZEV_SS_ERROR_MI_NO_OUTPUT            (-4060) /* neither simulated_values nor estimates */
#define ZEV_SS_ERROR_BAD_MI_PRIOR_N_ADDR     (-4061)
#define ZEV_SS_ERROR_BAD_MI_PRIOR_ADDR       (-4062)
#define ZEV_SS_ERROR_STREAM_QUANT_PARAMS_N_MISSING  (-4064) /* at compute time */
#define ZEV_SS_ERROR_BAD_STREAM_QUANT_PARAMS_ADDR   (-4065)
#define ZEV_SS_ERROR_BAD_STREAM_QUANT_PARAMS_N_ADDR (-4066)
#define ZEV_SS_ERROR_BAD_STREAM_QUANT_EPS           (-4067) /* epsilon outside (0, 1] */
#define ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER_ADDR    (-4068)
#define ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER         (-4069)
#define ZEV_SS_ERROR_BAD_STREAM_QUANT_ADDR          (-4070)
#define ZEV_SS_ERROR_BAD_PARAMTR_COR_ADDR    (-4071)
#define ZEV_SS_ERROR_BAD_PARTIAL_CLASSIFICATION (-4073) /* no variable classified 1, or an entry not 1, -1, 0 */
#define ZEV_SS_ERROR_BAD_SUM_ADDR            (-4074)
#define ZEV_SS_ERROR_BAD_2R_SUM_ADDR         (-4075)
#define ZEV_SS_ERROR_BAD_3R_SUM_ADDR         (-4076)
#define ZEV_SS_ERROR_BAD_4R_SUM_ADDR         (-4077)
#define ZEV_SS_ERROR_BAD_2C_SUM_ADDR         (-4078)
#define ZEV_SS_ERROR_BAD_3C_SUM_ADDR         (-4079)
#define ZEV_SS_ERROR_BAD_4C_SUM_ADDR         (-4080)
#define ZEV_SS_ERROR_BAD_CP_ADDR             (-4081)
#define ZEV_SS_ERROR_BAD_MDAD_ADDR           (-4082)
#define ZEV_SS_ERROR_BAD_MNAD_ADDR           (-4083)
#define ZEV_SS_ERROR_BAD_SORTED_OBSERV_ADDR  (-4084)
#define ZEV_SS_ERROR_IN_PLACE_SORT_WITH_MASK (-4085)
#define ZEV_SS_ERROR_BAD_MAHDIST_CENTER_ADDR  (-4086) /* distance center missing */
#define ZEV_SS_ERROR_BAD_MAHDIST_INVERSE_ADDR (-4087) /* inverse covariance missing */
#define ZEV_SS_ERROR_BAD_MAHDIST_ADDR         (-4088) /* distance output missing */
#define ZEV_SS_ERROR_BAD_MAHDIST_RANGE        (-4089) /* first/last outside 0 <= first <= last <= n */
#define ZEV_SS_ERROR_NOT_POSITIVE_DEFINITE    (-4090) /* a matrix to factor is not positive definite */
#define ZEV_SS_ERROR_BAD_OUTL_PARAMS          (-4091) /* outlier scheme not 0 or 1, alpha not in (0, 1), beta not in [0, 1) */
#define ZEV_SS_ERROR_BAD_ROBUST_PARAMS        (-4092) /* MCD fraction not in [0.5, 1], starts not in [1, 1e6], seed negative */
#define ZEV_SS_ERROR_BAD_MI_PARAMS            (-4093) /* EM iterations not in [1, 1e6], tolerance not positive, DA iterations or sets not in [0, 1e6], seed negative */

/* ---- parameter identifiers ----
   Integers behind pointers are int32_t, or int64_t when the task was made with
   wide_integers nonzero. I: __vqsiSSEditTask, R: __vqsdSSEditTask and
   __vqssSSEditTask. */
#define ZEV_SS_ED_DIMEN                    1  /* I number of variables p */
#define ZEV_SS_ED_OBSERV_N                 2  /* I number of observations n */
#define ZEV_SS_ED_OBSERV                   3  /* R the p by n data */
#define ZEV_SS_ED_OBSERV_STORAGE           4  /* I layout of the data */
#define ZEV_SS_ED_INDC                     5  /* I variable mask, p entries */
#define ZEV_SS_ED_WEIGHTS                  6  /* R n weights */
#define ZEV_SS_ED_MEAN                     7  /* R */
#define ZEV_SS_ED_2R_MOM                   8  /* R */
#define ZEV_SS_ED_3R_MOM                   9  /* R */
#define ZEV_SS_ED_4R_MOM                   10 /* R */
#define ZEV_SS_ED_2C_MOM                   11 /* R variance */
#define ZEV_SS_ED_3C_MOM                   12 /* R */
#define ZEV_SS_ED_4C_MOM                   13 /* R */
#define ZEV_SS_ED_KURTOSIS                 14 /* R excess kurtosis */
#define ZEV_SS_ED_SKEWNESS                 15 /* R */
#define ZEV_SS_ED_MIN                      16 /* R */
#define ZEV_SS_ED_MAX                      17 /* R */
#define ZEV_SS_ED_VARIATION                18 /* R */
#define ZEV_SS_ED_COV                      19 /* R */
#define ZEV_SS_ED_COV_STORAGE              20 /* I */
#define ZEV_SS_ED_COR                      21 /* R */
#define ZEV_SS_ED_COR_STORAGE              22 /* I */
#define ZEV_SS_ED_ACCUM_WEIGHT             23 /* R two reals W, W2 */
#define ZEV_SS_ED_QUANT_ORDER_N            24 /* I */
#define ZEV_SS_ED_QUANT_ORDER              25 /* R */
#define ZEV_SS_ED_QUANT_QUANTILES          26 /* R */
#define ZEV_SS_ED_ORDER_STATS              27 /* R */
#define ZEV_SS_ED_GROUP_INDC               28 /* I */
#define ZEV_SS_ED_POOLED_COV_STORAGE       29 /* I */
#define ZEV_SS_ED_POOLED_MEAN              30 /* R */
#define ZEV_SS_ED_POOLED_COV               31 /* R */
#define ZEV_SS_ED_GROUP_COV_INDC           32 /* I group flags */
#define ZEV_SS_ED_REQ_GROUP_MEANS          33 /* R */
#define ZEV_SS_ED_GROUP_COV_STORAGE        34 /* I */
#define ZEV_SS_ED_REQ_GROUP_COV            35 /* R */
#define ZEV_SS_ED_ROBUST_COV_STORAGE       36 /* I */
#define ZEV_SS_ED_ROBUST_COV_PARAMS_N      37 /* I */
#define ZEV_SS_ED_ROBUST_COV_PARAMS        38 /* R */
#define ZEV_SS_ED_ROBUST_MEAN              39 /* R */
#define ZEV_SS_ED_ROBUST_COV               40 /* R */
#define ZEV_SS_ED_OUTLIERS_PARAMS_N        41 /* I */
#define ZEV_SS_ED_OUTLIERS_PARAMS          42 /* R */
#define ZEV_SS_ED_OUTLIERS_WEIGHT          43 /* R */
#define ZEV_SS_ED_ORDER_STATS_STORAGE      44 /* I */
#define ZEV_SS_ED_PARTIAL_COV_IDX          45 /* I */
#define ZEV_SS_ED_PARTIAL_COV              46 /* R */
#define ZEV_SS_ED_PARTIAL_COV_STORAGE      47 /* I */
#define ZEV_SS_ED_PARTIAL_COR              48 /* R */
#define ZEV_SS_ED_PARTIAL_COR_STORAGE      49 /* I */
#define ZEV_SS_ED_MI_PARAMS_N              50 /* I */
#define ZEV_SS_ED_MI_PARAMS                51 /* R */
#define ZEV_SS_ED_MI_INIT_ESTIMATES_N      52 /* I */
#define ZEV_SS_ED_MI_INIT_ESTIMATES        53 /* R */
#define ZEV_SS_ED_MI_SIMUL_VALS_N          54 /* I */
#define ZEV_SS_ED_MI_SIMUL_VALS            55 /* R */
#define ZEV_SS_ED_MI_ESTIMATES_N           56 /* I */
#define ZEV_SS_ED_MI_ESTIMATES             57 /* R */
#define ZEV_SS_ED_MI_PRIOR_N               58 /* I */
#define ZEV_SS_ED_MI_PRIOR                 59 /* R */
#define ZEV_SS_ED_PARAMTR_COR              60 /* R */
#define ZEV_SS_ED_PARAMTR_COR_STORAGE      61 /* I */
#define ZEV_SS_ED_STREAM_QUANT_PARAMS_N    62 /* I */
#define ZEV_SS_ED_STREAM_QUANT_PARAMS      63 /* R */
#define ZEV_SS_ED_STREAM_QUANT_ORDER_N     64 /* I */
#define ZEV_SS_ED_STREAM_QUANT_ORDER       65 /* R */
#define ZEV_SS_ED_STREAM_QUANT_QUANTILES   66 /* R */
#define ZEV_SS_ED_SUM                      67 /* R */
#define ZEV_SS_ED_2R_SUM                   68 /* R */
#define ZEV_SS_ED_3R_SUM                   69 /* R */
#define ZEV_SS_ED_4R_SUM                   70 /* R */
#define ZEV_SS_ED_2C_SUM                   71 /* R */
#define ZEV_SS_ED_3C_SUM                   72 /* R */
#define ZEV_SS_ED_4C_SUM                   73 /* R */
#define ZEV_SS_ED_CP                       74 /* R */
#define ZEV_SS_ED_CP_STORAGE               75 /* I */
#define ZEV_SS_ED_MDAD                     76 /* R median absolute deviation */
#define ZEV_SS_ED_MNAD                     77 /* R mean absolute deviation */
#define ZEV_SS_ED_SORTED_OBSERV            78 /* R */
#define ZEV_SS_ED_SORTED_OBSERV_STORAGE    79 /* I */

/* ---- layouts of observations (and of order statistics and sorted data) ----
   Variable j of observation i stands at j*n + i (one variable's observations
   together) or at i*p + j (one observation's variables together). */
#define ZEV_SS_MATRIX_STORAGE_ROWS  0x10000
#define ZEV_SS_MATRIX_STORAGE_COLS  0x20000

/* ---- matrix forms of covariance, correlation, cross products ----
   Upper packed: row i holds the p - i entries (i, i..p-1). Lower packed: row i
   holds the i + 1 entries (i, 0..i). Packed size p(p+1)/2. */
#define ZEV_SS_MATRIX_STORAGE_FULL         0
#define ZEV_SS_MATRIX_STORAGE_L_PACKED     1
#define ZEV_SS_MATRIX_STORAGE_U_PACKED     2

/* ---- result mask ---- */
#define ZEV_SS_MEAN       0x1ULL
#define ZEV_SS_2R_MOM     0x2ULL
#define ZEV_SS_3R_MOM     0x4ULL
#define ZEV_SS_4R_MOM     0x8ULL
#define ZEV_SS_2C_MOM     0x10ULL
#define ZEV_SS_3C_MOM     0x20ULL
#define ZEV_SS_4C_MOM     0x40ULL
#define ZEV_SS_KURTOSIS   0x80ULL
#define ZEV_SS_SKEWNESS   0x100ULL
#define ZEV_SS_VARIATION  0x200ULL
#define ZEV_SS_MIN        0x400ULL   /* Minmax */
#define ZEV_SS_MAX        0x800ULL   /* Minmax */
#define ZEV_SS_COV        0x1000ULL
#define ZEV_SS_COR        0x2000ULL
#define ZEV_SS_QUANTS     0x10000ULL
#define ZEV_SS_ORDER_STATS 0x20000ULL
#define ZEV_SS_POOLED_MEAN 0x40000ULL  /* PooledCovariance */
#define ZEV_SS_POOLED_COV  0x80000ULL
#define ZEV_SS_GROUP_MEANS 0x100000ULL
#define ZEV_SS_GROUP_COVS  0x200000ULL
#define ZEV_SS_PARTIAL_COV 0x400000ULL /* PartialCovariance */
#define ZEV_SS_PARTIAL_COR 0x800000ULL
#define ZEV_SS_PARAMTR_COR 0x1000000ULL /* CorParametrization */
#define ZEV_SS_SUM        0x2000000ULL
#define ZEV_SS_2R_SUM     0x4000000ULL
#define ZEV_SS_3R_SUM     0x8000000ULL
#define ZEV_SS_4R_SUM     0x10000000ULL
#define ZEV_SS_2C_SUM     0x20000000ULL
#define ZEV_SS_3C_SUM     0x40000000ULL
#define ZEV_SS_4C_SUM     0x80000000ULL
#define ZEV_SS_CP         0x100000000ULL
#define ZEV_SS_MDAD       0x200000000ULL
#define ZEV_SS_MNAD       0x400000000ULL
#define ZEV_SS_MAHDIST    0x800000000ULL /* MahDistance */
#define ZEV_SS_OUTLIERS   0x1000000000ULL /* OutliersDetection */
#define ZEV_SS_STREAM_QUANTS 0x2000000000ULL /* StreamQuantiles */
#define ZEV_SS_ROBUST_MEAN 0x4000000000ULL  /* RobustCovariance */
#define ZEV_SS_ROBUST_COV  0x8000000000ULL
#define ZEV_SS_MISSING_VALS 0x10000000000ULL /* MissingValues */

/* ---- method word of _vqsdSSBasic ---- */
#define ZEV_SS_METHOD_FAST             0x1    /* raw sums, central quantities by expansion */
#define ZEV_SS_METHOD_1PASS            0x2    /* one-pass update */
#define ZEV_SS_METHOD_FAST_USER_MEAN   0x100  /* central sums around the caller's mean */
#define ZEV_SS_METHOD_CP_TO_COVCOR     0x200  /* no data pass: matrices from cross products */
#define ZEV_SS_METHOD_SUM_TO_MOM       0x400  /* no data pass: moments from sums */
#define ZEV_SS_METHOD_FAST_QUANTILES   0x1    /* _vqsdSSQuantiles */
#define ZEV_SS_METHOD_RADIX_SORT       0x100000 /* _vqsdSSSort */
#define ZEV_SS_METHOD_MINMAX           0x1    /* _vqsdSSMinmax: this block alone */
#define ZEV_SS_METHOD_MINMAX_UPDATE    0x2    /* fold the block into minimum and maximum */
#define ZEV_SS_METHOD_POOLED           0x1    /* _vqsdSSPooledCovariance: one-pass per group */
#define ZEV_SS_METHOD_PARTIAL          0x1    /* _vqsdSSPartialCovariance: from covariance */
#define ZEV_SS_METHOD_MAHDIST          0x1    /* _vqsdSSMahDistance */
#define ZEV_SS_METHOD_STREAM           0x1    /* _vqsdSSStreamQuantiles: fold the block in */
#define ZEV_SS_METHOD_STREAM_NEW       0x2    /* start a new series with this block */
#define ZEV_SS_METHOD_EM_DA            0x1    /* _vqsdSSMissingValues: EM, then data augmentation */
#define ZEV_SS_METHOD_MCD              0x1    /* _vqsdSSRobustCovariance: minimum covariance determinant */
#define ZEV_SS_METHOD_BACON            0x1    /* _vqsdSSOutliersDetection */
#define ZEV_SS_METHOD_NEAREST_COR      0x1    /* _vqsdSSCorParametrization: alternating projections */

/* ---- tasks ----
   dimension, observation_count, observation_storage and variable_mask point at
   integers of the width wide_integers selects (0: int32_t, else int64_t). */
ZEV_API int __vqsdSSNewTask(zev_ss_task* task, const void* dimension,
                            const void* observation_count, const void* observation_storage,
                            const double* observations, const double* weights,
                            const void* variable_mask, int wide_integers);
ZEV_API int __vqssSSNewTask(zev_ss_task* task, const void* dimension,
                            const void* observation_count, const void* observation_storage,
                            const float* observations, const float* weights,
                            const void* variable_mask, int wide_integers);
/* Releases the task and sets *task to null; -4031 when task is null. */
ZEV_API int __vqsSSDeleteTask(zev_ss_task* task);

/* ---- generic editors: store value under identifier id ---- */
ZEV_API int __vqsiSSEditTask(zev_ss_task task, int64_t id, const void* value);
ZEV_API int __vqsdSSEditTask(zev_ss_task task, int64_t id, const double* value);
ZEV_API int __vqssSSEditTask(zev_ss_task task, int64_t id, const float* value);

/* ---- named editors: store each pointer that is not null, skip each null
   one, return 0 (or -4031 for a null task). Integer pointers as above. ---- */
#define ZEV_SS_NAMED_EDITORS(p, R)                                                           \
  ZEV_API int __vqs##p##SSEditMoments(zev_ss_task task, R* mean, R* raw2, R* raw3, R* raw4,  \
                                      R* central2, R* central3, R* central4);               \
  ZEV_API int __vqs##p##SSEditSums(zev_ss_task task, R* sum, R* raw_sum2, R* raw_sum3,       \
                                   R* raw_sum4, R* central_sum2, R* central_sum3,            \
                                   R* central_sum4);                                         \
  ZEV_API int __vqs##p##SSEditCovCor(zev_ss_task task, R* mean, R* cov,                      \
                                     const void* cov_storage, R* cor,                        \
                                     const void* cor_storage);                               \
  ZEV_API int __vqs##p##SSEditCP(zev_ss_task task, R* mean, R* sum, R* cross_product,        \
                                 const void* cross_product_storage);                         \
  ZEV_API int __vqs##p##SSEditPartialCovCor(                                                 \
      zev_ss_task task, const void* partial_classification, R* cov, const void* cov_storage, \
      R* cor, const void* cor_storage, R* partial_cov, const void* partial_cov_storage,      \
      R* partial_cor, const void* partial_cor_storage);                                      \
  ZEV_API int __vqs##p##SSEditQuantiles(zev_ss_task task, const void* order_count,           \
                                        const R* orders, R* quantiles, R* order_stats,       \
                                        const void* order_stats_storage);                    \
  ZEV_API int __vqs##p##SSEditStreamQuantiles(zev_ss_task task, const void* order_count,     \
                                              const R* orders, R* quantiles,                 \
                                              const void* parameter_count,                   \
                                              const R* parameters);                          \
  ZEV_API int __vqs##p##SSEditPooledCovariance(zev_ss_task task, const void* group_indices,  \
                                               R* pooled_mean, R* pooled_cov,                \
                                               const void* group_flags, R* group_means,      \
                                               R* group_covs);                               \
  ZEV_API int __vqs##p##SSEditRCov(zev_ss_task task, const void* cov_storage,                \
                                   const void* parameter_count, const R* parameters,         \
                                   R* robust_mean, R* robust_cov);                           \
  ZEV_API int __vqs##p##SSEditOutDetect(zev_ss_task task, const void* parameter_count,       \
                                        const R* parameters, R* outlier_weights);            \
  ZEV_API int __vqs##p##SSEditMissingVals(                                                   \
      zev_ss_task task, const void* parameter_count, const R* parameters,                    \
      const void* initial_estimate_count, const R* initial_estimates,                        \
      const void* prior_count, const R* prior, const void* simulated_values_count,           \
      R* simulated_values, const void* estimate_count, R* estimates);                        \
  ZEV_API int __vqs##p##SSEditMtxParametrz(zev_ss_task task, R* cor, const void* cor_storage, \
                                           R* parametrized_cor,                              \
                                           const void* parametrized_storage);            \
  /* MahDistance: observations first <= i < last (integers; null: 0 and n),  \
     centre (p reals), A (p by p, full, the inverse of a covariance),       \
     distances (written at [first, last)). */                                \
  ZEV_API int __vqs##p##SSEditMahDistance(zev_ss_task task, const void* first,           \
                                          const void* last, const R* center,             \
                                          const R* inverse, R* distances);
ZEV_SS_NAMED_EDITORS(d, double)
ZEV_SS_NAMED_EDITORS(s, float)
#undef ZEV_SS_NAMED_EDITORS

/* ---- compute entries: task, result mask, method word, threading table ----
   Basic: moments, sums, skewness, kurtosis, variation, covariance, correlation
   and cross products. Quantiles: quantiles (mask ZEV_SS_QUANTS, variable j's
   at quantiles[j*order_count + m]) and sorted data (ZEV_SS_ORDER_STATS, in
   order_statistics_storage's layout); method 0x1. Sort: sorted_observations
   in sorted_storage's layout, in place when it is observations; method
   ZEV_SS_METHOD_RADIX_SORT. WMedian: the weighted quantile of order
   quantile_orders[0], variable j's at quantiles[j]. MAD: median (ZEV_SS_MDAD,
   method 0x1) and mean (ZEV_SS_MNAD, method 0x1, or 0x100 around the
   caller's mean) absolute deviations. Minmax: minimum (ZEV_SS_MIN) and
   maximum (ZEV_SS_MAX), method ZEV_SS_METHOD_MINMAX or _UPDATE.
   PooledCovariance: pooled and per-group means and covariances
   (ZEV_SS_POOLED_MEAN, _POOLED_COV, _GROUP_MEANS, _GROUP_COVS), method
   ZEV_SS_METHOD_POOLED. PartialCovariance: from covariance and
   partial_classification (ZEV_SS_PARTIAL_COV, _PARTIAL_COR), method
   ZEV_SS_METHOD_PARTIAL. MahDistance: ZEV_SS_MAHDIST, method
   ZEV_SS_METHOD_MAHDIST, inputs set by __vqsdSSEditMahDistance.
   CorParametrization: the nearest correlation matrix to correlation
   (ZEV_SS_PARAMTR_COR), method ZEV_SS_METHOD_NEAREST_COR. OutliersDetection:
   outlier_weights 0 or 1 (ZEV_SS_OUTLIERS), method ZEV_SS_METHOD_BACON,
   parameters scheme, alpha, beta. StreamQuantiles: stream_quantiles
   (ZEV_SS_STREAM_QUANTS, variable j's at [j*order_count + m]) within
   epsilon*n ranks over all blocks of the series, method ZEV_SS_METHOD_STREAM
   or _NEW. RobustCovariance: robust_mean and robust_covariance
   (ZEV_SS_ROBUST_MEAN, _COV), method ZEV_SS_METHOD_MCD, parameters fraction,
   starts, seed. MissingValues: EM estimate, then data augmentation
   (ZEV_SS_MISSING_VALS), method ZEV_SS_METHOD_EM_DA, missing values are
   NaN. See docs/stats.md. */
#define ZEV_SS_COMPUTE(name)                                                                  \
  ZEV_API int _vqsdSS##name(zev_ss_task task, int64_t mask, int64_t method,                  \
                            const zev_threading* threading);                                 \
  ZEV_API int _vqssSS##name(zev_ss_task task, int64_t mask, int64_t method,                  \
                            const zev_threading* threading);
ZEV_SS_COMPUTE(Basic)
ZEV_SS_COMPUTE(Minmax)
ZEV_SS_COMPUTE(MAD)
ZEV_SS_COMPUTE(Quantiles)
ZEV_SS_COMPUTE(Sort)
ZEV_SS_COMPUTE(WMedian)
ZEV_SS_COMPUTE(StreamQuantiles)
ZEV_SS_COMPUTE(RobustCovariance)
ZEV_SS_COMPUTE(OutliersDetection)
ZEV_SS_COMPUTE(MissingValues)
ZEV_SS_COMPUTE(PartialCovariance)
ZEV_SS_COMPUTE(PooledCovariance)
ZEV_SS_COMPUTE(CorParametrization)
ZEV_SS_COMPUTE(MahDistance)
#undef ZEV_SS_COMPUTE

/* Releases the state StreamQuantiles keeps in the task (the task's deletion
   calls it); the next StreamQuantiles call starts a new series. */
ZEV_API void __vqsSQuantilesFreeBuffers(zev_ss_task task);

/* ---- sorting and selection ----
   __vqsdQSort sorts a[0..n-1] ascending in place. __vqsdQSortSelect returns
   the k-th smallest of a[0..n-1] (0 <= k < n), rearranging a. */
ZEV_API void __vqsdQSort(int64_t n, double* a);
ZEV_API void __vqssQSort(int64_t n, float* a);
ZEV_API double __vqsdQSortSelect(int64_t n, double* a, int64_t k);
ZEV_API float __vqssQSortSelect(int64_t n, float* a, int64_t k);

/* ---- partial results and their merge ----
   The state of a one-pass or fast computation over a set of observations:
   the accumulated weights, the means of x, x^2, x^3, x^4, the central sums of
   orders 2 to 4, and the centred cross products (full p by p, row-major, the
   upper triangle i <= k in use). A null array is neither read nor written.
   zev_ss_dMergePartial folds b into a, as if a's observations and b's had
   been accumulated together: the compute entries use it to join threads, and
   a caller can use it to join partial results made elsewhere (other
   processes, other blocks). variables lists the count variable numbers to
   merge; null means 0..p-1. */
typedef struct zev_ss_dpartial {
  double w, w2;
  double* mean;
  double* raw2;
  double* raw3;
  double* raw4;
  double* central_sum2;
  double* central_sum3;
  double* central_sum4;
  double* cross;
} zev_ss_dpartial;
typedef struct zev_ss_spartial {
  float w, w2;
  float* mean;
  float* raw2;
  float* raw3;
  float* raw4;
  float* central_sum2;
  float* central_sum3;
  float* central_sum4;
  float* cross;
} zev_ss_spartial;
ZEV_API void zev_ss_dMergePartial(int32_t p, const int32_t* variables, int32_t count,
                                  zev_ss_dpartial* a, const zev_ss_dpartial* b);
ZEV_API void zev_ss_sMergePartial(int32_t p, const int32_t* variables, int32_t count,
                                  zev_ss_spartial* a, const zev_ss_spartial* b);

ZEV_EXTERN_C_END

#endif
