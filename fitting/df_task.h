// The data-fitting task record and the helpers every fitting file shares.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

#include "zev/zev_core.h"
#include "zev/zev_df.h"

struct zev_df_task_rec {
  int32_t wide_integers;
  uint8_t object_tag;        // 4
  int32_t is_double;
  int32_t space_dimension;   // 1
  int64_t knot_count;
  const void* knots;
  int64_t partition_hint;
  int64_t function_count;
  const void** function_rows;
  int64_t function_hint;
  int64_t spline_order;
  int64_t spline_type;
  int64_t internal_kind;
  const void* internal_values;
  int64_t boundary_kind;
  const void* boundary_values;
  void** coefficient_rows;
  int64_t coefficient_hint;
  int64_t extra_flag;
  int64_t lookup_size;
  int32_t* lookup_table;     // (lo, hi) pairs for bins 0 .. lookup_size + 1
  union {
    double d;
    float s;
  } lookup_scale;
};

namespace zev::df {

constexpr int kAlign = 128;

// A count whose bytes do not fit a size_t gets no memory, like any other
// allocation that fails.
template <class T>
T* alloc(int64_t count) {
  if (count <= 0 || static_cast<uint64_t>(count) > SIZE_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(zev_serv_allocate(static_cast<size_t>(count) * sizeof(T), kAlign));
}
inline void release(void* p) {
  if (p) zev_serv_deallocate(p);
}

// Truncating conversion that stays defined for NaN and huge values: NaN and
// negative values give 0, values past limit give limit.
template <class T>
inline int64_t trunc_clamped(T v, int64_t limit) {
  if (!(v >= T(0))) return 0;
  if (v >= T(limit)) return limit;
  return static_cast<int64_t>(v);
}

template <class T> struct Real;
template <> struct Real<double> {
  static double scale(const zev_df_task_rec* t) { return t->lookup_scale.d; }
};
template <> struct Real<float> {
  static float scale(const zev_df_task_rec* t) { return t->lookup_scale.s; }
};

// Read-only view of a task's knots: the full list, or the two ends of a
// uniform partition from which any knot is computed.
template <class T>
struct Knots {
  const T* x;
  int64_t n;
  bool uniform;
  T step;
  T first, last;

  explicit Knots(const zev_df_task_rec* t)
      : x(static_cast<const T*>(t->knots)), n(t->knot_count),
        uniform((t->partition_hint & 4) != 0) {
    first = x[0];
    last = uniform ? x[1] : x[n - 1];
    step = uniform ? (x[1] - x[0]) / T(n - 1) : T(0);
  }
  T at(int64_t i) const {
    if (!uniform) return x[i];
    return i == n - 1 ? last : first + T(i) * step;
  }
  // True when every spacing at(i+1) - at(i) is positive and finite: the knots
  // ascend strictly, none is NaN or infinite, and no spacing overflows. A
  // uniform partition is judged by the knots it stands for, so reversed or
  // equal ends, and ends too close together for the knot count, fail too.
  // Every spacing is a divisor somewhere in the builders.
  bool ascending() const {
    const T largest = std::numeric_limits<T>::max();
    T prev = at(0);
    for (int64_t i = 1; i < n; ++i) {
      T next = at(i), h = next - prev;
      if (!(h > T(0) && h <= largest)) return false;
      prev = next;
    }
    return true;
  }
};

// Function value f at knot i, by the function layout.
template <class T>
struct Values {
  const T* const* rows;
  int64_t ny;
  bool interleaved;
  Values(const zev_df_task_rec* t)
      : rows(reinterpret_cast<const T* const*>(t->function_rows)), ny(t->function_count),
        interleaved(t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS) {}
  T at(int64_t f, int64_t i) const { return interleaved ? rows[0][i * ny + f] : rows[f][i]; }
};

// Coefficients of function f on piece i, by the coefficient layout.
template <class T>
struct Coeffs {
  T* const* rows;
  int64_t ny, order;
  bool interleaved;
  Coeffs(const zev_df_task_rec* t)
      : rows(reinterpret_cast<T* const*>(t->coefficient_rows)), ny(t->function_count),
        order(t->spline_order), interleaved(t->coefficient_hint == ZEV_DF_MATRIX_STORAGE_COLS) {}
  T* at(int64_t f, int64_t i) const {
    return interleaved ? rows[0] + (i * ny + f) * order : rows[f] + i * order;
  }
};

template <class T>
int build_lookup(zev_df_task_rec* t);

// The cell search methods, in the order of their exported members.
enum SearchMethod : int {
  kUniformSearch,       // uniform partition: the cell by arithmetic
  kQuasiUniformSearch,  // quasi-uniform partition
  kSortedSearch,        // sorted sites: a walk from the last cell
  kPeakSearch,          // sites gathered near one knot (data hint)
  kHybridSearch,        // anything else
  kUserSearch,          // the caller's search function first
  kUserUniformSearch,   // the same, on a uniform partition
  kSearchMethods
};

// Search method choice shared by the search wrapper and interpolation: a
// SearchMethod, or a negative status.
template <class T>
int choose_method(const zev_df_task_rec* t, bool user_fn, int64_t sitehint, const T* datahint) {
  const bool uniform = t->partition_hint == ZEV_DF_UNIFORM_PARTITION;
  if (user_fn) return uniform ? kUserUniformSearch : kUserSearch;
  if (uniform) return kUniformSearch;
  if (t->partition_hint == ZEV_DF_QUASI_UNIFORM_PARTITION) return kQuasiUniformSearch;
  if (sitehint == ZEV_DF_SORTED_DATA) return kSortedSearch;
  if (datahint == nullptr) return kHybridSearch;
  if (datahint[1] == T(0)) return kHybridSearch;
  if (datahint[1] == T(1) && datahint[4] >= T(0) && datahint[4] <= T(t->knot_count))
    return kPeakSearch;
  return ZEV_DF_ERROR_BAD_DATA_HINT;
}

}  // namespace zev::df
