// Statistics tasks: creation, deletion, the parameter table with its three
// generic editors and the named editors.
//
// An editor stores a pointer and tests only that it is not null: no value
// behind a pointer is read and no field is compared with another, so a caller
// may change the numbers between two computations without editing the task.
#include <cstddef>

#include "stats/ss_task.h"

namespace zev::ss {
namespace {

using Rec = zev_ss_task_rec;

enum Kind : uint8_t { kNone, kInt, kReal };

struct Param {
  uint16_t offset;  // of the field in the record
  Kind kind;
  int16_t null_status;
};

#define P(field, kind, status) {static_cast<uint16_t>(offsetof(Rec, field)), kind, status}
// Indexed by identifier; entry 0 is unused. Identifiers 67 (sum) and 7 (mean)
// share -4006, 28 and 32 -4038, and every storage form -4044.
const Param kParams[80] = {
    {0, kNone, 0},
    P(dimension, kInt, -4001),
    P(observation_count, kInt, -4002),
    P(observations, kReal, -4032),
    P(observation_storage, kInt, -4044),
    P(variable_mask, kInt, -4004),
    P(weights, kReal, -4005),
    P(mean, kReal, -4006),
    P(raw_moment_2, kReal, -4007),
    P(raw_moment_3, kReal, -4008),
    P(raw_moment_4, kReal, -4009),
    P(central_moment_2, kReal, -4010),
    P(central_moment_3, kReal, -4011),
    P(central_moment_4, kReal, -4012),
    P(kurtosis, kReal, -4013),
    P(skewness, kReal, -4014),
    P(minimum, kReal, -4015),
    P(maximum, kReal, -4016),
    P(variation, kReal, -4017),
    P(covariance, kReal, -4018),
    P(covariance_storage, kInt, -4044),
    P(correlation, kReal, -4019),
    P(correlation_storage, kInt, -4044),
    P(accumulated_weights, kReal, -4020),
    P(quantile_order_count, kInt, -4022),
    P(quantile_orders, kReal, -4021),
    P(quantiles, kReal, -4023),
    P(order_statistics, kReal, -4024),
    P(group_indices, kInt, -4038),
    P(pooled_covariance_storage, kInt, -4044),
    P(pooled_mean, kReal, -4035),
    P(pooled_covariance, kReal, -4034),
    P(group_flags, kInt, -4038),
    P(group_means, kReal, -4037),
    P(group_covariance_storage, kInt, -4044),
    P(group_covariances, kReal, -4036),
    P(robust_covariance_storage, kInt, -4044),
    P(robust_parameter_count, kInt, -4043),
    P(robust_parameters, kReal, -4042),
    P(robust_mean, kReal, -4028),
    P(robust_covariance, kReal, -4027),
    P(outlier_parameter_count, kInt, -4040),
    P(outlier_parameters, kReal, -4039),
    P(outlier_weights, kReal, -4041),
    P(order_statistics_storage, kInt, -4044),
    P(partial_classification, kInt, -4045),
    P(partial_covariance, kReal, -4046),
    P(partial_covariance_storage, kInt, -4044),
    P(partial_correlation, kReal, -4047),
    P(partial_correlation_storage, kInt, -4044),
    P(missing_parameter_count, kInt, -4049),
    P(missing_parameters, kReal, -4048),
    P(initial_estimate_count, kInt, -4052),
    P(initial_estimates, kReal, -4053),
    P(simulated_values_count, kInt, -4055),
    P(simulated_values, kReal, -4054),
    P(estimate_count, kInt, -4056),
    P(estimates, kReal, -4057),
    P(prior_count, kInt, -4061),
    P(prior, kReal, -4062),
    P(parametrized_correlation, kReal, -4071),
    P(parametrized_storage, kInt, -4044),
    P(stream_parameter_count, kInt, -4066),
    P(stream_parameters, kReal, -4065),
    P(stream_quantile_order_count, kInt, -4069),
    P(stream_quantile_orders, kReal, -4068),
    P(stream_quantiles, kReal, -4070),
    P(sum, kReal, -4006),
    P(raw_sum_2, kReal, -4075),
    P(raw_sum_3, kReal, -4076),
    P(raw_sum_4, kReal, -4077),
    P(central_sum_2, kReal, -4078),
    P(central_sum_3, kReal, -4079),
    P(central_sum_4, kReal, -4080),
    P(cross_product, kReal, -4081),
    P(cross_product_storage, kInt, -4044),
    P(median_absolute_deviation, kReal, -4082),
    P(mean_absolute_deviation, kReal, -4083),
    P(sorted_observations, kReal, -4084),
    P(sorted_storage, kInt, -4044),
};
#undef P

void store(Rec* t, size_t offset, const void* value) {
  // Every parameter field is one pointer wide; the record's own fields are
  // reached only through their names.
  memcpy(reinterpret_cast<unsigned char*>(t) + offset, &value, sizeof value);
}

// The generic edit: first is the lowest identifier the editor covers, last
// the highest; the range test is one unsigned comparison of the 64-bit
// difference, so a high word that is not zero falls outside.
int edit(zev_ss_task task, int64_t id, const void* value, Kind kind, int64_t first, int64_t last) {
  if (task == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  if (static_cast<uint64_t>(id) - static_cast<uint64_t>(first) >
      static_cast<uint64_t>(last - first))
    return ZEV_SS_ERROR_BAD_PARAMETER_ID;
  const Param& p = kParams[id];
  if (p.kind != kind) return ZEV_SS_ERROR_BAD_PARAMETER_ID;
  if (value == nullptr) return p.null_status;
  store(task, p.offset, value);
  return 0;
}

template <class T>
int new_task(zev_ss_task* out, const void* dimension, const void* count, const void* storage,
             const T* observations, const T* weights, const void* mask, int wide) {
  IntRead in{wide != 0};
  if (dimension == nullptr || in.value(dimension) <= 0) return ZEV_SS_ERROR_BAD_DIMEN;
  if (observations != nullptr) {
    if (storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
    int64_t layout = in.value(storage);
    if (layout != ZEV_SS_MATRIX_STORAGE_ROWS && layout != ZEV_SS_MATRIX_STORAGE_COLS)
      return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
    if (count == nullptr || in.value(count) <= 0) return ZEV_SS_ERROR_BAD_OBSERV_N;
  }
  auto* t = static_cast<Rec*>(alloc_bytes(sizeof(Rec)));
  if (t == nullptr) {
    *out = nullptr;
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  memset(static_cast<void*>(t), 0, sizeof *t);
  t->wide_integers = wide;
  t->object_tag = 2;
  t->is_double = sizeof(T) == 8;
  t->dimension = dimension;
  t->observation_count = count;
  t->observation_storage = storage;
  t->observations = observations;
  t->weights = weights;
  t->variable_mask = mask;
  *out = t;
  return 0;
}

// Stores each argument that is not null in its field; a null argument leaves
// the field as it was.
template <class... Fields>
int named_edit(zev_ss_task task, Fields... pairs) {
  if (task == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  auto one = [&](auto pair) {
    if (pair.second != nullptr) store(task, pair.first, pair.second);
  };
  (one(pairs), ...);
  return 0;
}

struct F {
  size_t first;
  const void* second;
};
#define FLD(field, arg) F{offsetof(Rec, field), static_cast<const void*>(arg)}

}  // namespace
}  // namespace zev::ss

using namespace zev::ss;

extern "C" {

ZEV_API int __vqsdSSNewTask(zev_ss_task* task, const void* dimension, const void* count,
                            const void* storage, const double* observations,
                            const double* weights, const void* mask, int wide) {
  return new_task(task, dimension, count, storage, observations, weights, mask, wide);
}
ZEV_API int __vqssSSNewTask(zev_ss_task* task, const void* dimension, const void* count,
                            const void* storage, const float* observations, const float* weights,
                            const void* mask, int wide) {
  return new_task(task, dimension, count, storage, observations, weights, mask, wide);
}

ZEV_API int __vqsSSDeleteTask(zev_ss_task* task) {
  if (task == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  zev_ss_task t = *task;
  release(t->last_means);
  for (int32_t i = 0; i < t->cleanup_count; ++i) t->cleanup_functions[i](t);
  release(t);
  *task = nullptr;
  return 0;
}

ZEV_API int __vqsiSSEditTask(zev_ss_task task, int64_t id, const void* value) {
  return edit(task, id, value, kInt, 1, 79);
}
ZEV_API int __vqsdSSEditTask(zev_ss_task task, int64_t id, const double* value) {
  return edit(task, id, value, kReal, 3, 78);
}
ZEV_API int __vqssSSEditTask(zev_ss_task task, int64_t id, const float* value) {
  return edit(task, id, value, kReal, 3, 78);
}

// The named editors move pointers only, so the two precisions share one body
// each; the single-precision name hands its arguments on unchanged.
ZEV_API int __vqsdSSEditMoments(zev_ss_task task, double* mean, double* raw2, double* raw3,
                                double* raw4, double* central2, double* central3,
                                double* central4) {
  return named_edit(task, FLD(mean, mean), FLD(raw_moment_2, raw2), FLD(raw_moment_3, raw3),
                    FLD(raw_moment_4, raw4), FLD(central_moment_2, central2),
                    FLD(central_moment_3, central3), FLD(central_moment_4, central4));
}
ZEV_API int __vqsdSSEditSums(zev_ss_task task, double* sum, double* raw_sum2, double* raw_sum3,
                             double* raw_sum4, double* central_sum2, double* central_sum3,
                             double* central_sum4) {
  return named_edit(task, FLD(sum, sum), FLD(raw_sum_2, raw_sum2), FLD(raw_sum_3, raw_sum3),
                    FLD(raw_sum_4, raw_sum4), FLD(central_sum_2, central_sum2),
                    FLD(central_sum_3, central_sum3), FLD(central_sum_4, central_sum4));
}
ZEV_API int __vqsdSSEditCovCor(zev_ss_task task, double* mean, double* cov, const void* cov_storage,
                               double* cor, const void* cor_storage) {
  return named_edit(task, FLD(mean, mean), FLD(covariance, cov),
                    FLD(covariance_storage, cov_storage), FLD(correlation, cor),
                    FLD(correlation_storage, cor_storage));
}
ZEV_API int __vqsdSSEditCP(zev_ss_task task, double* mean, double* sum, double* cross_product,
                           const void* cross_product_storage) {
  return named_edit(task, FLD(mean, mean), FLD(sum, sum), FLD(cross_product, cross_product),
                    FLD(cross_product_storage, cross_product_storage));
}
ZEV_API int __vqsdSSEditPartialCovCor(zev_ss_task task, const void* partial_classification,
                                      double* cov, const void* cov_storage, double* cor,
                                      const void* cor_storage, double* partial_cov,
                                      const void* partial_cov_storage, double* partial_cor,
                                      const void* partial_cor_storage) {
  return named_edit(task, FLD(partial_classification, partial_classification),
                    FLD(covariance, cov), FLD(covariance_storage, cov_storage),
                    FLD(correlation, cor), FLD(correlation_storage, cor_storage),
                    FLD(partial_covariance, partial_cov),
                    FLD(partial_covariance_storage, partial_cov_storage),
                    FLD(partial_correlation, partial_cor),
                    FLD(partial_correlation_storage, partial_cor_storage));
}
ZEV_API int __vqsdSSEditQuantiles(zev_ss_task task, const void* order_count, const double* orders,
                                  double* quantiles, double* order_stats,
                                  const void* order_stats_storage) {
  return named_edit(task, FLD(quantile_order_count, order_count), FLD(quantile_orders, orders),
                    FLD(quantiles, quantiles), FLD(order_statistics, order_stats),
                    FLD(order_statistics_storage, order_stats_storage));
}
ZEV_API int __vqsdSSEditStreamQuantiles(zev_ss_task task, const void* order_count,
                                        const double* orders, double* quantiles,
                                        const void* parameter_count, const double* parameters) {
  return named_edit(task, FLD(stream_quantile_order_count, order_count),
                    FLD(stream_quantile_orders, orders), FLD(stream_quantiles, quantiles),
                    FLD(stream_parameter_count, parameter_count),
                    FLD(stream_parameters, parameters));
}
ZEV_API int __vqsdSSEditPooledCovariance(zev_ss_task task, const void* group_indices,
                                         double* pooled_mean, double* pooled_cov,
                                         const void* group_flags, double* group_means,
                                         double* group_covs) {
  return named_edit(task, FLD(group_indices, group_indices), FLD(pooled_mean, pooled_mean),
                    FLD(pooled_covariance, pooled_cov), FLD(group_flags, group_flags),
                    FLD(group_means, group_means), FLD(group_covariances, group_covs));
}
ZEV_API int __vqsdSSEditRCov(zev_ss_task task, const void* cov_storage,
                             const void* parameter_count, const double* parameters,
                             double* robust_mean, double* robust_cov) {
  return named_edit(task, FLD(robust_covariance_storage, cov_storage),
                    FLD(robust_parameter_count, parameter_count),
                    FLD(robust_parameters, parameters), FLD(robust_mean, robust_mean),
                    FLD(robust_covariance, robust_cov));
}
ZEV_API int __vqsdSSEditOutDetect(zev_ss_task task, const void* parameter_count,
                                  const double* parameters, double* outlier_weights) {
  return named_edit(task, FLD(outlier_parameter_count, parameter_count),
                    FLD(outlier_parameters, parameters), FLD(outlier_weights, outlier_weights));
}
ZEV_API int __vqsdSSEditMissingVals(zev_ss_task task, const void* parameter_count,
                                    const double* parameters, const void* initial_estimate_count,
                                    const double* initial_estimates, const void* prior_count,
                                    const double* prior, const void* simulated_values_count,
                                    double* simulated_values, const void* estimate_count,
                                    double* estimates) {
  return named_edit(task, FLD(missing_parameter_count, parameter_count),
                    FLD(missing_parameters, parameters),
                    FLD(initial_estimate_count, initial_estimate_count),
                    FLD(initial_estimates, initial_estimates), FLD(prior_count, prior_count),
                    FLD(prior, prior), FLD(simulated_values_count, simulated_values_count),
                    FLD(simulated_values, simulated_values), FLD(estimate_count, estimate_count),
                    FLD(estimates, estimates));
}
ZEV_API int __vqsdSSEditMtxParametrz(zev_ss_task task, double* cor, const void* cor_storage,
                                     double* parametrized_cor, const void* parametrized_storage) {
  return named_edit(task, FLD(correlation, cor), FLD(correlation_storage, cor_storage),
                    FLD(parametrized_correlation, parametrized_cor),
                    FLD(parametrized_storage, parametrized_storage));
}
ZEV_API int __vqsdSSEditMahDistance(zev_ss_task task, const void* first, const void* last,
                                    const double* center, const double* inverse,
                                    double* distances) {
  return named_edit(task, FLD(distance_first, first), FLD(distance_last, last),
                    FLD(distance_center, center), FLD(distance_inverse, inverse),
                    FLD(distance_output, distances));
}

#define D(x) reinterpret_cast<double*>(x)
#define CD(x) reinterpret_cast<const double*>(x)
ZEV_API int __vqssSSEditMoments(zev_ss_task task, float* mean, float* raw2, float* raw3,
                                float* raw4, float* central2, float* central3, float* central4) {
  return __vqsdSSEditMoments(task, D(mean), D(raw2), D(raw3), D(raw4), D(central2), D(central3),
                             D(central4));
}
ZEV_API int __vqssSSEditSums(zev_ss_task task, float* sum, float* raw_sum2, float* raw_sum3,
                             float* raw_sum4, float* central_sum2, float* central_sum3,
                             float* central_sum4) {
  return __vqsdSSEditSums(task, D(sum), D(raw_sum2), D(raw_sum3), D(raw_sum4), D(central_sum2),
                          D(central_sum3), D(central_sum4));
}
ZEV_API int __vqssSSEditCovCor(zev_ss_task task, float* mean, float* cov, const void* cov_storage,
                               float* cor, const void* cor_storage) {
  return __vqsdSSEditCovCor(task, D(mean), D(cov), cov_storage, D(cor), cor_storage);
}
ZEV_API int __vqssSSEditCP(zev_ss_task task, float* mean, float* sum, float* cross_product,
                           const void* cross_product_storage) {
  return __vqsdSSEditCP(task, D(mean), D(sum), D(cross_product), cross_product_storage);
}
ZEV_API int __vqssSSEditPartialCovCor(zev_ss_task task, const void* partial_classification,
                                      float* cov, const void* cov_storage, float* cor,
                                      const void* cor_storage, float* partial_cov,
                                      const void* partial_cov_storage, float* partial_cor,
                                      const void* partial_cor_storage) {
  return __vqsdSSEditPartialCovCor(task, partial_classification, D(cov), cov_storage, D(cor),
                                   cor_storage, D(partial_cov), partial_cov_storage,
                                   D(partial_cor), partial_cor_storage);
}
ZEV_API int __vqssSSEditQuantiles(zev_ss_task task, const void* order_count, const float* orders,
                                  float* quantiles, float* order_stats,
                                  const void* order_stats_storage) {
  return __vqsdSSEditQuantiles(task, order_count, CD(orders), D(quantiles), D(order_stats),
                               order_stats_storage);
}
ZEV_API int __vqssSSEditStreamQuantiles(zev_ss_task task, const void* order_count,
                                        const float* orders, float* quantiles,
                                        const void* parameter_count, const float* parameters) {
  return __vqsdSSEditStreamQuantiles(task, order_count, CD(orders), D(quantiles),
                                     parameter_count, CD(parameters));
}
ZEV_API int __vqssSSEditPooledCovariance(zev_ss_task task, const void* group_indices,
                                         float* pooled_mean, float* pooled_cov,
                                         const void* group_flags, float* group_means,
                                         float* group_covs) {
  return __vqsdSSEditPooledCovariance(task, group_indices, D(pooled_mean), D(pooled_cov),
                                      group_flags, D(group_means), D(group_covs));
}
ZEV_API int __vqssSSEditRCov(zev_ss_task task, const void* cov_storage,
                             const void* parameter_count, const float* parameters,
                             float* robust_mean, float* robust_cov) {
  return __vqsdSSEditRCov(task, cov_storage, parameter_count, CD(parameters), D(robust_mean),
                          D(robust_cov));
}
ZEV_API int __vqssSSEditOutDetect(zev_ss_task task, const void* parameter_count,
                                  const float* parameters, float* outlier_weights) {
  return __vqsdSSEditOutDetect(task, parameter_count, CD(parameters), D(outlier_weights));
}
ZEV_API int __vqssSSEditMissingVals(zev_ss_task task, const void* parameter_count,
                                    const float* parameters, const void* initial_estimate_count,
                                    const float* initial_estimates, const void* prior_count,
                                    const float* prior, const void* simulated_values_count,
                                    float* simulated_values, const void* estimate_count,
                                    float* estimates) {
  return __vqsdSSEditMissingVals(task, parameter_count, CD(parameters), initial_estimate_count,
                                 CD(initial_estimates), prior_count, CD(prior),
                                 simulated_values_count, D(simulated_values), estimate_count,
                                 D(estimates));
}
ZEV_API int __vqssSSEditMtxParametrz(zev_ss_task task, float* cor, const void* cor_storage,
                                     float* parametrized_cor, const void* parametrized_storage) {
  return __vqsdSSEditMtxParametrz(task, D(cor), cor_storage, D(parametrized_cor),
                                  parametrized_storage);
}
ZEV_API int __vqssSSEditMahDistance(zev_ss_task task, const void* first, const void* last,
                                    const float* center, const float* inverse, float* distances) {
  return __vqsdSSEditMahDistance(task, first, last, CD(center), CD(inverse), D(distances));
}
#undef D
#undef CD


}  // extern "C"
