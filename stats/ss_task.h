// The statistics task record and the helpers every statistics file shares.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zev/zev_core.h"
#include "zev/zev_ss.h"

using zev_ss_cleanup_fn = void (*)(zev_ss_task);

// Every parameter pointer points into caller memory; the record owns only
// stream_state (through its clean-up function) and last_means.
struct zev_ss_task_rec {
  int32_t wide_integers;  // 0: integers behind pointers are 32 bits, else 64
  uint8_t object_tag;     // 2
  int32_t is_double;
  const void* dimension;
  const void* observation_count;
  const void* variable_mask;
  const void* observations;
  const void* weights;
  void* accumulated_weights;
  const void* observation_storage;
  void* parametrized_correlation;
  const void* parametrized_storage;
  void* mean;
  void* raw_moment_2;
  void* raw_moment_3;
  void* raw_moment_4;
  void* central_moment_2;
  void* central_moment_3;
  void* central_moment_4;
  void* sum;
  void* raw_sum_2;
  void* raw_sum_3;
  void* raw_sum_4;
  void* central_sum_2;
  void* central_sum_3;
  void* central_sum_4;
  void* kurtosis;
  void* skewness;
  void* variation;
  void* minimum;
  void* maximum;
  const void* covariance_storage;
  void* covariance;
  const void* correlation_storage;
  void* correlation;
  const void* cross_product_storage;
  void* cross_product;
  const void* group_indices;
  const void* group_flags;
  void* group_means;
  void* group_covariances;
  const void* group_covariance_storage;
  void* pooled_mean;
  void* pooled_covariance;
  const void* pooled_covariance_storage;
  const void* quantile_order_count;
  const void* quantile_orders;
  void* quantiles;
  void* order_statistics;
  const void* order_statistics_storage;
  const void* stream_quantile_order_count;
  const void* stream_quantile_orders;
  void* stream_quantiles;
  void* stream_state;  // owned, released by its clean-up function
  const void* stream_parameter_count;
  const void* stream_parameters;
  void* mean_absolute_deviation;
  void* median_absolute_deviation;
  const void* robust_parameter_count;
  const void* robust_parameters;
  void* robust_mean;
  void* robust_covariance;
  const void* robust_covariance_storage;
  const void* outlier_parameter_count;
  const void* outlier_parameters;
  void* outlier_weights;
  const void* partial_classification;
  void* partial_covariance;
  const void* partial_covariance_storage;
  void* partial_correlation;
  const void* partial_correlation_storage;
  const void* missing_parameter_count;
  const void* missing_parameters;
  const void* initial_estimate_count;
  const void* initial_estimates;
  const void* prior_count;
  const void* prior;
  const void* simulated_values_count;
  void* simulated_values;
  const void* estimate_count;
  void* estimates;
  const void* distance_first;
  const void* distance_last;
  const void* distance_center;
  const void* distance_inverse;
  void* distance_output;
  const void* distance_selection;
  const void* distance_selection_count;
  int32_t cleanup_count;
  zev_ss_cleanup_fn cleanup_functions[1];
  void* sorted_observations;
  const void* sorted_storage;
  void* last_means;  // owned: p reals, the means a user-mean block used
};

namespace zev::ss {

using Rec = zev_ss_task_rec;

constexpr int kAlign = 128;

inline void* alloc_bytes(size_t bytes) { return bytes ? zev_serv_allocate(bytes, kAlign) : nullptr; }
template <class T>
T* alloc(int64_t count) {
  if (count <= 0) return nullptr;
  return static_cast<T*>(alloc_bytes(static_cast<size_t>(count) * sizeof(T)));
}
inline void release(void* p) {
  if (p) zev_serv_deallocate(p);
}
// A work array that is released on every way out; `failed()` tells an
// allocation that did not succeed (an empty array never fails).
template <class T>
struct Buffer {
  T* p;
  int64_t count;
  explicit Buffer(int64_t n) : p(alloc<T>(n)), count(n) {}
  ~Buffer() { release(p); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  bool failed() const { return count > 0 && p == nullptr; }
  T& operator[](int64_t i) const { return p[i]; }
};

// An integer behind a pointer, read by the task's width. Sizes and loop bounds
// use the low 32 bits; sign tests use the whole value (the high word of the
// 64-bit form).
struct IntRead {
  bool wide;
  int64_t value(const void* p) const {
    return wide ? *static_cast<const int64_t*>(p) : *static_cast<const int32_t*>(p);
  }
  int32_t low(const void* p) const {
    return wide ? static_cast<int32_t>(*static_cast<const int64_t*>(p) & 0xFFFFFFFF)
                : *static_cast<const int32_t*>(p);
  }
  // Entry j of an integer array (the variable mask): stride 2 in 32-bit words
  // for the wide form, the low word deciding.
  int32_t at(const void* p, int64_t j) const {
    return static_cast<const int32_t*>(p)[wide ? 2 * j : j];
  }
  // Entry j of an integer array whose sign matters (group indices): the
  // whole 64-bit value in the wide form.
  int64_t value_at(const void* p, int64_t j) const {
    return wide ? static_cast<const int64_t*>(p)[j] : static_cast<const int32_t*>(p)[j];
  }
};
inline IntRead ints(const zev_ss_task_rec* t) { return IntRead{t->wide_integers != 0}; }

// Runs body over the count listed variables, through the table's
// parallel_for when there is one.
template <class Body>
inline void for_variables(const zev_threading* th, int64_t count, int threads, void* context, Body body) {
  if (th && th->parallel_for && threads > 1) {
    th->parallel_for(count, threads, context, body);
    return;
  }
  for (int64_t k = 0; k < count; ++k) body(k, 0, 1, context);
}

inline bool has_layout(const IntRead& in, const void* storage) {
  return (in.value(storage) & (ZEV_SS_MATRIX_STORAGE_ROWS | ZEV_SS_MATRIX_STORAGE_COLS)) != 0;
}

// The observations' checks every entry here shares, after its own.
inline int data_checks(const Rec* t, const IntRead& in) {
  if (t->dimension == nullptr || in.value(t->dimension) <= 0) return ZEV_SS_ERROR_BAD_DIMEN;
  if (t->observation_count == nullptr || in.value(t->observation_count) <= 0)
    return ZEV_SS_ERROR_BAD_OBSERV_N;
  if (t->observations == nullptr) return ZEV_SS_ERROR_BAD_OBSERV_ADDR;
  return 0;
}

// The observations of a task in either layout: variable j of observation i.
template <class T>
struct Observations {
  const T* x;
  int64_t n;
  int32_t p;
  bool var_major;  // x[j*n + i]; else x[i*p + j]
  T operator()(int64_t i, int32_t j) const {
    return var_major ? x[static_cast<int64_t>(j) * n + i] : x[i * p + j];
  }
};
// After data_checks and a layout check have passed.
template <class T>
Observations<T> observations_of(const Rec* t, const IntRead& in) {
  const int32_t p = in.low(t->dimension);
  return {static_cast<const T*>(t->observations), in.low(t->observation_count), p,
          (in.value(t->observation_storage) & ZEV_SS_MATRIX_STORAGE_ROWS) || p == 1};
}

// The variables the mask lets through, in ascending order; null on failure.
inline int32_t* variable_list(const Rec* t, const IntRead& in, int32_t p, int32_t* count) {
  auto* v = alloc<int32_t>(p);
  if (v == nullptr) return nullptr;
  *count = 0;
  for (int32_t j = 0; j < p; ++j)
    if (t->variable_mask == nullptr || in.at(t->variable_mask, j) != 0) v[(*count)++] = j;
  return v;
}

}  // namespace zev::ss

// Defines the compute entries _vqsdSS<name> and _vqssSS<name> over
// zev::ss::fn<double> and zev::ss::fn<float>; used at file scope.
#define ZEV_SS_COMPUTE_ENTRIES(name, fn)                                                     \
  extern "C" ZEV_API int _vqsdSS##name(zev_ss_task task, int64_t mask, int64_t method,       \
                                       const zev_threading* threading) {                     \
    return zev::ss::fn<double>(task, mask, method, threading);                               \
  }                                                                                           \
  extern "C" ZEV_API int _vqssSS##name(zev_ss_task task, int64_t mask, int64_t method,       \
                                       const zev_threading* threading) {                     \
    return zev::ss::fn<float>(task, mask, method, threading);                                \
  }
