// Data-fitting tasks: creation, deletion, value and pointer editors, queries,
// and the coarse lookup table of the hybrid search.
#include "fitting/df_task.h"

namespace zev::df {
namespace {

bool valid_layout(int64_t hint) {
  return hint == ZEV_DF_NO_HINT || hint == ZEV_DF_MATRIX_STORAGE_ROWS ||
         hint == ZEV_DF_MATRIX_STORAGE_COLS || hint == ZEV_DF_MATRIX_STORAGE_FUNCS_SEP;
}

// Fills the function rows by the layout: one pointer per function at stride
// nx, or the first entry alone for the interleaved and separate layouts.
template <class T>
void fill_function_rows(zev_df_task_rec* t, const T* y) {
  int64_t count = t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : t->function_count;
  t->function_rows[0] = y;
  if (t->function_hint == ZEV_DF_MATRIX_STORAGE_FUNCS_SEP ||
      t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS) {
    for (int64_t i = 1; i < count; ++i) t->function_rows[i] = nullptr;
    return;
  }
  for (int64_t i = 1; i < count; ++i) t->function_rows[i] = y + i * t->knot_count;
}

template <class T>
void fill_coefficient_rows(zev_df_task_rec* t, T* c, int64_t stride) {
  t->coefficient_rows[0] = c;
  for (int64_t i = 1; i < t->function_count; ++i)
    t->coefficient_rows[i] = (t->coefficient_hint & ZEV_DF_MATRIX_STORAGE_FUNCS_SEP)
                                 ? nullptr
                                 : static_cast<void*>(c + i * stride);
}

template <class T>
int new_task(zev_df_task* out, int64_t nx, const T* x, int64_t xhint, int64_t ny, const T* y,
             int64_t yhint, int wide) {
  if (nx < 2) return ZEV_DF_ERROR_BAD_NX;
  if (x == nullptr) return ZEV_DF_ERROR_NULL_X;
  if (xhint != 0 && xhint != 4 && xhint != 1 && xhint != 2) return ZEV_DF_ERROR_BAD_X_HINT;
  if (ny == 0 && y != nullptr) return ZEV_DF_ERROR_BAD_NY;
  if (ny != 0 && y == nullptr) return ZEV_DF_ERROR_NULL_Y;
  if (ny < 0) return ZEV_DF_ERROR_BAD_NY;
  if (!valid_layout(yhint)) return ZEV_DF_ERROR_BAD_Y_HINT;
  if (out == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;

  auto* t = static_cast<zev_df_task_rec*>(zev_serv_allocate(sizeof(zev_df_task_rec), kAlign));
  if (t == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
  memset(static_cast<void*>(t), 0, sizeof *t);
  t->wide_integers = wide;
  t->object_tag = 4;
  t->is_double = sizeof(T) == 8;
  t->space_dimension = 1;
  t->knot_count = nx;
  t->knots = x;
  t->partition_hint = xhint;
  t->function_count = ny;
  t->function_hint = yhint;
  if (y != nullptr) {
    t->function_rows = (alloc<const void*>(yhint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny));
    if (t->function_rows == nullptr) {
      release(t);
      return ZEV_DF_ERROR_MEM_FAILURE;
    }
    fill_function_rows(t, y);
  }
  if (xhint != 4) {
    int s = build_lookup<T>(t);
    if (s != 0) {
      release(t->function_rows);
      release(t);
      return s;
    }
  }
  *out = t;
  return 0;
}

template <class T>
int edit_ptr(zev_df_task_rec* t, int64_t id, const T* p) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->space_dimension != 1) return 0;
  static const int kNull[] = {0, ZEV_DF_ERROR_NULL_X, ZEV_DF_ERROR_NULL_Y, ZEV_DF_ERROR_NULL_IC,
                              ZEV_DF_ERROR_NULL_BC, ZEV_DF_ERROR_NULL_SCOEFF};
  if (id < 1 || id > 5) return ZEV_DF_ERROR_BAD_PARAMETER;
  if (p == nullptr) return kNull[id];
  switch (id) {
    case ZEV_DF_X: t->knots = p; return 0;
    case ZEV_DF_IC: t->internal_values = p; return 0;
    case ZEV_DF_BC: t->boundary_values = p; return 0;
    case ZEV_DF_Y: {
      if (t->function_count <= 0) return ZEV_DF_ERROR_BAD_NY;
      auto* rows = alloc<const void*>(
          t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : t->function_count);
      if (rows == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
      release(t->function_rows);
      t->function_rows = rows;
      fill_function_rows(t, p);
      return 0;
    }
    default: {  // 5
      if (t->function_count <= 0) return ZEV_DF_ERROR_BAD_NY;
      auto* rows = alloc<void*>(t->function_count);
      if (rows == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
      release(t->coefficient_rows);
      t->coefficient_rows = rows;
      int64_t stride =
          t->spline_order * (t->knot_count - (t->spline_type == ZEV_DF_PP_SUBBOTIN ? 0 : 1));
      fill_coefficient_rows(t, const_cast<T*>(p), stride);
      return 0;
    }
  }
}

template <class T>
int edit_idx_ptr(zev_df_task_rec* t, int64_t id, int64_t idx, const T* p) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->space_dimension != 1) return 0;
  if (id == ZEV_DF_Y) {
    if (t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS) return ZEV_DF_ERROR_BAD_Y_HINT;
    if (idx < 0 || idx >= t->function_count) return ZEV_DF_ERROR_BAD_INDEX;
    if (p == nullptr) return ZEV_DF_ERROR_NULL_Y;
    if (t->function_rows == nullptr) {
      t->function_rows = (alloc<const void*>(t->function_count));
      if (t->function_rows == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
      memset(static_cast<void*>(t->function_rows), 0, t->function_count * sizeof(void*));
    }
    t->function_rows[idx] = p;
    return 0;
  }
  if (id == ZEV_DF_PP_SCOEFF) {
    if (idx < 0 || idx >= t->function_count) return ZEV_DF_ERROR_BAD_INDEX;
    if (p == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
    if (t->coefficient_rows == nullptr) {
      t->coefficient_rows = alloc<void*>(t->function_count);
      if (t->coefficient_rows == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
      memset(static_cast<void*>(t->coefficient_rows), 0, t->function_count * sizeof(void*));
    }
    t->coefficient_rows[idx] = const_cast<T*>(p);
    return 0;
  }
  return ZEV_DF_ERROR_BAD_PARAMETER;
}

template <class T>
int query_ptr(const zev_df_task_rec* t, int64_t id, const T** out) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (out == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if (t->space_dimension != 1) return 0;
  switch (id) {
    case ZEV_DF_X: *out = static_cast<const T*>(t->knots); return 0;
    case ZEV_DF_IC: *out = static_cast<const T*>(t->internal_values); return 0;
    case ZEV_DF_BC: *out = static_cast<const T*>(t->boundary_values); return 0;
    case ZEV_DF_Y:
      *out = t->function_rows ? static_cast<const T*>(t->function_rows[0]) : nullptr;
      return 0;
    case ZEV_DF_PP_SCOEFF:
      *out = t->coefficient_rows ? static_cast<const T*>(t->coefficient_rows[0]) : nullptr;
      return 0;
    default: return ZEV_DF_ERROR_BAD_PARAMETER;
  }
}

template <class T>
int query_idx_ptr(const zev_df_task_rec* t, int64_t id, int64_t idx, const T** out) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (out == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if (t->space_dimension != 1) return 0;
  if (id != ZEV_DF_Y && id != ZEV_DF_PP_SCOEFF) return ZEV_DF_ERROR_BAD_PARAMETER;
  if (idx < 0 || idx >= t->function_count) return ZEV_DF_ERROR_BAD_INDEX;
  if (id == ZEV_DF_Y) {
    if (t->function_rows == nullptr) *out = nullptr;
    else
      *out = static_cast<const T*>(
          t->function_rows[t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 0 : idx]);
  } else {
    *out = t->coefficient_rows ? static_cast<const T*>(t->coefficient_rows[idx]) : nullptr;
  }
  return 0;
}

template <class T>
int edit_pp(zev_df_task_rec* t, int64_t order, int64_t type, int64_t bc_type, const T* bc,
            int64_t ic_type, const T* ic, T* coeff, int64_t coeff_hint) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (order < 0) return ZEV_DF_ERROR_BAD_SPLINE_ORDER;
  if (type < 0) return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  t->spline_order = order;
  t->spline_type = type;
  if (bc_type != ZEV_DF_NO_BC && bc_type != ZEV_DF_BC_NOT_A_KNOT && bc_type != ZEV_DF_BC_FREE_END &&
      bc_type != ZEV_DF_BC_PERIODIC && bc == nullptr)
    return ZEV_DF_ERROR_NULL_BC;
  t->boundary_kind = bc_type;
  t->boundary_values = bc;
  if (ic_type == ZEV_DF_NO_IC && ic != nullptr) return ZEV_DF_ERROR_BAD_IC_TYPE;
  if (ic_type != ZEV_DF_NO_IC && ic == nullptr) return ZEV_DF_ERROR_NULL_IC;
  t->internal_kind = ic_type;
  t->internal_values = ic;
  if (coeff != nullptr) {
    if (t->function_count <= 0) return ZEV_DF_ERROR_BAD_NY;
    void** rows = alloc<void*>(t->function_count);
    if (rows == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
    release(t->coefficient_rows);
    t->coefficient_rows = rows;
    t->coefficient_hint = coeff_hint;
    int64_t stride = order * t->knot_count - (type == ZEV_DF_PP_SUBBOTIN ? 0 : order);
    fill_coefficient_rows(t, coeff, stride);
  }
  t->coefficient_hint = coeff_hint;
  return 0;
}

}  // namespace

// The coarse table of the hybrid search: m bins over [x[0], x[nx-1]], each
// with the last knot of the bins below it (lo) and the first knot of the bins
// above it (hi), so that a site's cell lies in (lo, hi].
template <class T>
int build_lookup(zev_df_task_rec* t) {
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count;
  int64_t m = nx / 16;
  if (m < 16) m = 16;
  if (m > 1024) m = 1024;
  auto* table = static_cast<int32_t*>(zev_serv_allocate(8 * m + 16, kAlign));
  if (table == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
  int32_t* lo = table;      // lo[b] at table[2b]
  int32_t* hi = table + 1;  // hi[b] at table[2b + 1]
  for (int64_t b = 0; b < m + 2; ++b) lo[2 * b] = hi[2 * b] = -1;
  lo[0] = 0;
  T scale = T(m) / (x[nx - 1] - x[0]);
  for (int64_t i = 1; i < nx; ++i) {
    T v = (x[i] - x[0]) * scale;
    int64_t c = v >= T(0) && v <= T(m) ? static_cast<int64_t>(v) : (v > T(m) ? m : 0);
    if (c != 0) {
      if (hi[2 * (c - 1)] == -1) hi[2 * (c - 1)] = static_cast<int32_t>(i);
      lo[2 * (c + 1)] = static_cast<int32_t>(i);
    }
  }
  hi[2 * (m - 1)] = static_cast<int32_t>(nx - 1);
  for (int64_t k = 1; k < m; ++k) {
    if (lo[2 * k] == -1) lo[2 * k] = lo[2 * (k - 1)];
    int64_t j = m - 1 - k;
    if (hi[2 * j] == -1) hi[2 * j] = hi[2 * (j + 1)];
  }
  lo[2 * m] = lo[2 * (m - 1)];
  hi[2 * m] = hi[2 * (m - 1)];
  release(t->lookup_table);
  t->lookup_table = table;
  t->lookup_size = m;
  if constexpr (sizeof(T) == 8) t->lookup_scale.d = scale;
  else t->lookup_scale.s = scale;
  return 0;
}
template int build_lookup<double>(zev_df_task_rec*);
template int build_lookup<float>(zev_df_task_rec*);

}  // namespace zev::df

using namespace zev::df;

extern "C" {

ZEV_API int zev_df_kernel_dNewTask1D(zev_df_task* task, int64_t nx, const double* x, int64_t xhint,
                                     int64_t ny, const double* y, int64_t yhint, int wide) {
  return new_task(task, nx, x, xhint, ny, y, yhint, wide);
}
ZEV_API int zev_df_kernel_sNewTask1D(zev_df_task* task, int64_t nx, const float* x, int64_t xhint,
                                     int64_t ny, const float* y, int64_t yhint, int wide) {
  return new_task(task, nx, x, xhint, ny, y, yhint, wide);
}

ZEV_API int zev_df_kernel_DeleteTask(zev_df_task* task) {
  if (task == nullptr || *task == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  zev_df_task_rec* t = *task;
  release(t->function_rows);
  release(t->coefficient_rows);
  release(t->lookup_table);
  release(t);
  *task = nullptr;
  return 0;
}

ZEV_API int zev_df_kernel_iEditVal(zev_df_task t, int64_t id, int64_t v) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->space_dimension != 1) return 0;
  switch (id) {
    case ZEV_DF_NX:
      if (v < 2) return ZEV_DF_ERROR_BAD_NX;
      t->knot_count = v;
      return 0;
    case ZEV_DF_XHINT: {
      if (v != 0 && v != 1 && v != 2 && v != 4) return ZEV_DF_ERROR_BAD_X_HINT;
      if (v == 1) {
        if (t->knots == nullptr) return ZEV_DF_ERROR_NULL_X;
        int s = t->is_double ? build_lookup<double>(t) : build_lookup<float>(t);
        if (s != 0) return s;
      }
      t->partition_hint = v;
      return 0;
    }
    case ZEV_DF_NY:
      if (v <= 0) return ZEV_DF_ERROR_BAD_NY;
      t->function_count = v;
      return 0;
    case ZEV_DF_YHINT:
      if (!valid_layout(v)) return ZEV_DF_ERROR_BAD_Y_HINT;
      t->function_hint = v;
      return 0;
    case ZEV_DF_PP_ORDER:
      if (v < 0) return ZEV_DF_ERROR_BAD_SPLINE_ORDER;
      t->spline_order = v;
      return 0;
    case ZEV_DF_PP_TYPE:
      if (!(v == 0 || v == 1 || v == 2 || v == 3 || v == 4 || v == 5 || v == 9))
        return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
      t->spline_type = v;
      return 0;
    case ZEV_DF_IC_TYPE:
      if (!(v == 0 || v == 1 || v == 2 || (v & 8))) return ZEV_DF_ERROR_BAD_IC_TYPE;
      t->internal_kind = v;
      return 0;
    case ZEV_DF_BC_TYPE:
      if (v < 0) return ZEV_DF_ERROR_BAD_BC_TYPE;
      t->boundary_kind = v;
      return 0;
    case ZEV_DF_PP_SCOEFF_HINT:
      if (!valid_layout(v)) return ZEV_DF_ERROR_BAD_SCOEFF_HINT;
      t->coefficient_hint = v;
      return 0;
    case ZEV_DF_EXTRA_FLAG:
      if (v != 0 && v != 1) return ZEV_DF_ERROR_BAD_EXTRA_FLAG;
      t->extra_flag = v;
      return 0;
    default:
      return ZEV_DF_ERROR_BAD_PARAMETER;
  }
}

ZEV_API int zev_df_kernel_iQueryVal(zev_df_task t, int64_t id, void* result) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (result == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if (t->space_dimension != 1) return 0;
  int64_t v;
  switch (id) {
    case ZEV_DF_NX: v = t->knot_count; break;
    case ZEV_DF_XHINT: v = t->partition_hint; break;
    case ZEV_DF_NY: v = t->function_count; break;
    case ZEV_DF_YHINT: v = t->function_hint; break;
    case ZEV_DF_PP_ORDER: v = t->spline_order; break;
    case ZEV_DF_PP_TYPE: v = t->spline_type; break;
    case ZEV_DF_IC_TYPE: v = t->internal_kind; break;
    case ZEV_DF_BC_TYPE: v = t->boundary_kind; break;
    case ZEV_DF_PP_SCOEFF_HINT: v = t->coefficient_hint; break;
    case ZEV_DF_EXTRA_FLAG: v = t->extra_flag; break;
    default: return ZEV_DF_ERROR_BAD_PARAMETER;
  }
  if (t->wide_integers) *static_cast<int64_t*>(result) = v;
  else *static_cast<int32_t*>(result) = static_cast<int32_t>(v);
  return 0;
}

ZEV_API int zev_df_kernel_dEditPtr(zev_df_task t, int64_t id, const double* p) { return edit_ptr(t, id, p); }
ZEV_API int zev_df_kernel_sEditPtr(zev_df_task t, int64_t id, const float* p) { return edit_ptr(t, id, p); }
ZEV_API int zev_df_kernel_dQueryPtr(zev_df_task t, int64_t id, const double** r) { return query_ptr(t, id, r); }
ZEV_API int zev_df_kernel_sQueryPtr(zev_df_task t, int64_t id, const float** r) { return query_ptr(t, id, r); }
ZEV_API int zev_df_kernel_dEditIdxPtr(zev_df_task t, int64_t id, int64_t i, const double* p) {
  return edit_idx_ptr(t, id, i, p);
}
ZEV_API int zev_df_kernel_sEditIdxPtr(zev_df_task t, int64_t id, int64_t i, const float* p) {
  return edit_idx_ptr(t, id, i, p);
}
ZEV_API int zev_df_kernel_dQueryIdxPtr(zev_df_task t, int64_t id, int64_t i, const double** r) {
  return query_idx_ptr(t, id, i, r);
}
ZEV_API int zev_df_kernel_sQueryIdxPtr(zev_df_task t, int64_t id, int64_t i, const float** r) {
  return query_idx_ptr(t, id, i, r);
}
ZEV_API int zev_df_kernel_dEditPPSpline1D(zev_df_task t, int64_t order, int64_t type, int64_t bct,
                                          const double* bc, int64_t ict, const double* ic,
                                          double* c, int64_t ch) {
  return edit_pp(t, order, type, bct, bc, ict, ic, c, ch);
}
ZEV_API int zev_df_kernel_sEditPPSpline1D(zev_df_task t, int64_t order, int64_t type, int64_t bct,
                                          const float* bc, int64_t ict, const float* ic, float* c,
                                          int64_t ch) {
  return edit_pp(t, order, type, bct, bc, ict, ic, c, ch);
}

}  // extern "C"
