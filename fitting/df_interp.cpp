// Interpolation: values and derivatives of a built spline at many sites, with a
// short path for one site and a blocked path that the caller's threads share.
#include "fitting/df_interp.h"

#include "zev/zev_threading.h"

namespace zev::df {
namespace {

constexpr int64_t kBlock = 320;       // sites per block
constexpr int64_t kThreadMin = 512;   // more sites than this may go to threads

// Where result (function f, site i, k-th requested order) goes.
struct Layout {
  int64_t fs, ss, ks;
};

bool layout_of(int64_t rhint, int64_t n, int64_t ny, int64_t nd, Layout* l) {
  if (rhint == ZEV_DF_NO_HINT || rhint == ZEV_DF_MATRIX_STORAGE_FUNCS_SEP)
    rhint = ZEV_DF_MATRIX_STORAGE_FUNCS_SITES_DERS;
  switch (rhint) {
    case ZEV_DF_MATRIX_STORAGE_FUNCS_SITES_DERS: *l = {n * nd, nd, 1}; return true;
    case ZEV_DF_MATRIX_STORAGE_FUNCS_DERS_SITES: *l = {nd * n, 1, n}; return true;
    case ZEV_DF_MATRIX_STORAGE_SITES_FUNCS_DERS: *l = {nd, ny * nd, 1}; return true;
    case ZEV_DF_MATRIX_STORAGE_SITES_DERS_FUNCS: *l = {1, nd * ny, ny}; return true;
    default: return false;
  }
}

// Requested derivative orders, rising; the value alone when none is asked.
int read_orders(const void* dorder, int64_t count, int wide, int orders[4]) {
  int nd = 0;
  if (dorder != nullptr) {
    for (int64_t j = 0; j < count && j < 4; ++j) {
      int64_t v = wide ? static_cast<const int64_t*>(dorder)[j]
                       : static_cast<const int32_t*>(dorder)[j];
      if (v == 1) orders[nd++] = static_cast<int>(j);
    }
  }
  if (nd == 0) orders[nd++] = 0;
  return nd;
}

// Derivative of order k of sum c[j] d^j, j < O.
template <class T, int O>
inline T poly(const T* c, T d, int k) {
  switch (k) {
    case 0: {
      T v = c[O - 1];
      for (int j = O - 2; j >= 0; --j) v = v * d + c[j];
      return v;
    }
    case 1: {
      T v = T(O - 1) * c[O - 1];
      for (int j = O - 2; j >= 1; --j) v = v * d + T(j) * c[j];
      return v;
    }
    case 2: {
      if (O < 3) return T(0);
      T v = T((O - 1) * (O - 2)) * c[O - 1];
      for (int j = O - 2; j >= 2; --j) v = v * d + T(j * (j - 1)) * c[j];
      return v;
    }
    default:
      return O == 4 ? T(6) * c[3] : T(0);
  }
}

template <class T>
struct Context {
  const zev_df_task_rec* t;
  int kind;
  int method;  // -1: cells given
  int64_t n;
  const T* sites;
  bool uniform_sites;
  bool sorted_sites;
  int nd;
  int orders[4];
  const T* datahint;
  T* r;
  Layout lay;
  typename Fn<T>::interp le, re, ie;
  void *lp, *rp, *ip;
  typename Fn<T>::search search;
  void* sp;
  int32_t* cells;     // caller's cell array (given or returned), or null
  bool cells_given, return_cells, results;
  T* cb;              // callback results, ny*nd per thread
  volatile int status;
};

template <class T>
void record_status(Context<T>* c, int st) {
  int expected = 0;
  __atomic_compare_exchange_n(&c->status, &expected, st, false, __ATOMIC_RELAXED,
                              __ATOMIC_RELAXED);
}

// Polynomial evaluation of a block, for spline orders 2..4.
template <class T, int O>
void eval_poly(const Context<T>& c, int64_t first, int64_t count, const T* s, const int32_t* cell) {
  const zev_df_task_rec* t = c.t;
  Knots<T> k(t);
  Coeffs<T> co(t);
  int64_t nx = k.n, ny = t->function_count;
  T* r = c.r;
  const Layout l = c.lay;
  if (c.nd == 1 && c.orders[0] == 0 && ny == 1 && l.ss == 1 && !co.interleaved) {
    // The common case: values of one function, contiguous results.
    const T* base = co.rows[0];
    T* out = r + first;
    if (k.uniform) {
      for (int64_t i = 0; i < count; ++i) {
        int64_t p = piece_of(cell[i], nx);
        out[i] = poly<T, O>(base + p * O, s[i] - k.at(p), 0);
      }
    } else {
      const T* x = k.x;
      for (int64_t i = 0; i < count; ++i) {
        int64_t p = piece_of(cell[i], nx);
        const T* q = base + p * O;
        T d = s[i] - x[p];
        T v = q[O - 1];
        for (int j = O - 2; j >= 0; --j) v = v * d + q[j];
        out[i] = v;
      }
    }
    return;
  }
  for (int64_t i = 0; i < count; ++i) {
    int64_t p = piece_of(cell[i], nx);
    T d = s[i] - k.at(p);
    T* base = r + (first + i) * l.ss;
    for (int64_t f = 0; f < ny; ++f) {
      const T* q = co.at(f, p);
      for (int j = 0; j < c.nd; ++j) base[f * l.fs + j * l.ks] = poly<T, O>(q, d, c.orders[j]);
    }
  }
}

// The quadratic whose break points lie between the knots: piece j is centred
// on knot x[j] and reaches from break point t[j] to t[j+1].
template <class T>
void eval_subbotin(const Context<T>& c, int64_t first, int64_t count, const T* s,
                   const int32_t* cell) {
  const zev_df_task_rec* t = c.t;
  Knots<T> k(t);
  Coeffs<T> co(t);
  int64_t nx = k.n, ny = t->function_count;
  const T* given =
      (t->internal_kind & ZEV_DF_IC_Q_KNOT) ? static_cast<const T*>(t->internal_values) : nullptr;
  const Layout l = c.lay;
  for (int64_t i = 0; i < count; ++i) {
    int64_t cl = cell[i], p;
    if (cl <= 0) {
      p = 0;
    } else if (cl >= nx) {
      p = nx - 1;
    } else {
      T brk = given ? given[cl - 1] : (k.at(cl - 1) + k.at(cl)) / T(2);
      p = s[i] < brk ? cl - 1 : cl;
    }
    T d = s[i] - k.at(p);
    T* base = c.r + (first + i) * l.ss;
    for (int64_t f = 0; f < ny; ++f) {
      const T* q = co.at(f, p);
      for (int j = 0; j < c.nd; ++j) base[f * l.fs + j * l.ks] = poly<T, 3>(q, d, c.orders[j]);
    }
  }
}

// The step and look-up interpolants, read from the function values.
template <class T>
void eval_step(const Context<T>& c, int64_t first, int64_t count, const T* s, const int32_t* cell) {
  const zev_df_task_rec* t = c.t;
  Knots<T> k(t);
  Values<T> y(t);
  int64_t nx = k.n, ny = t->function_count;
  const Layout l = c.lay;
  for (int64_t i = 0; i < count; ++i) {
    T si = s[i];
    int64_t cl = cell[i];
    int64_t idx;  // knot whose value the site takes, or -1 for none
    if (c.kind == kLookup) {  // look-up: only a site equal to a knot has a value
      idx = -1;
      if (cl >= 1 && cl <= nx && k.at(cl - 1) == si) idx = cl - 1;
      else if (cl == nx - 1 && k.at(nx - 1) == si) idx = nx - 1;
    } else if (si <= k.first) {
      idx = 0;
    } else if (si >= k.last) {
      idx = nx - 1;
    } else if (c.kind == kStepRight) {  // continuous on the right: y[i] on [x[i], x[i+1])
      idx = cl - 1;
    } else {  // continuous on the left: y[i+1] on (x[i], x[i+1]]
      idx = k.at(cl - 1) == si ? cl - 1 : cl;
    }
    T* base = c.r + (first + i) * l.ss;
    for (int64_t f = 0; f < ny; ++f) {
      T v = idx < 0 ? T(__builtin_nan("")) : y.at(f, idx);
      for (int j = 0; j < c.nd; ++j) base[f * l.fs + j * l.ks] = c.orders[j] == 0 ? v : T(0);
    }
  }
}

// Calls the caller's functions for the sites of a block that need one.
template <class T>
int call_functions(const Context<T>& c, int64_t first, int64_t count, const T* s,
                   const int32_t* cell, int thread) {
  if (!c.le && !c.re && !c.ie) return 0;
  int64_t nx = c.t->knot_count, ny = c.t->function_count;
  T* buf = c.cb + static_cast<int64_t>(thread) * ny * c.nd;
  const Layout l = c.lay;
  for (int64_t i = 0; i < count; ++i) {
    int64_t cl = cell[i];
    typename Fn<T>::interp fn;
    void* params;
    if (cl == 0) {
      fn = c.le;
      params = c.lp;
    } else if (cl == nx) {
      fn = c.re;
      params = c.rp;
    } else {
      fn = c.ie;
      params = c.ip;
    }
    if (!fn) continue;
    int64_t one = 1, cell64 = cl;
    T site = s[i];
    int st = fn(&one, &cell64, &site, buf, params);
    if (st < 0) return st;
    T* base = c.r + (first + i) * l.ss;
    for (int64_t f = 0; f < ny; ++f)
      for (int j = 0; j < c.nd; ++j) base[f * l.fs + j * l.ks] = buf[f * c.nd + j];
  }
  return 0;
}

template <class T>
int run_block(Context<T>* c, int64_t b, int thread, int32_t* cursor) {
  int64_t first = b * kBlock;
  int64_t count = c->n - first < kBlock ? c->n - first : kBlock;
  T site_buf[kBlock];
  int32_t cell_buf[kBlock];
  const T* s = c->sites + first;
  if (c->uniform_sites) {
    const T* e = c->sites;
    T step = c->n > 1 ? (e[1] - e[0]) / T(c->n - 1) : T(0);
    for (int64_t i = 0; i < count; ++i) site_buf[i] = e[0] + T(first + i) * step;
    s = site_buf;
  }
  int32_t* cell = c->cells && (c->cells_given || c->return_cells) ? c->cells + first : cell_buf;
  if (!c->cells_given) {
    int st = search_member<T>(c->method)(c->t, count, s, cell, c->datahint, cursor, c->search,
                                         c->sp);
    if (st < 0) return st;
  }
  if (!c->results) return 0;
  switch (c->kind) {
    case kLinearPoly: eval_poly<T, 2>(*c, first, count, s, cell); break;
    case kQuadraticPoly: eval_poly<T, 3>(*c, first, count, s, cell); break;
    case kCubicPoly: eval_poly<T, 4>(*c, first, count, s, cell); break;
    case kBreakQuadratic: eval_subbotin(*c, first, count, s, cell); break;
    case kStepLeft: case kStepRight: case kLookup: eval_step(*c, first, count, s, cell); break;
    default: break;  // caller functions only
  }
  return call_functions(*c, first, count, s, cell, thread);
}

template <class T>
void block_body(int64_t b, int thread, int, void* context) {
  auto* c = static_cast<Context<T>*>(context);
  if (__atomic_load_n(&c->status, __ATOMIC_RELAXED) < 0) return;
  int32_t cursor = 0;
  int st = run_block(c, b, thread, &cursor);
  if (st < 0) record_status(c, st);
}

template <class T>
int interpolate(const zev_df_task_rec* t, int64_t type, int64_t, int64_t n, const T* sites,
                int64_t sitehint, int64_t ndorder, const void* dorder, const T* datahint, T* r,
                int64_t rhint, typename Fn<T>::interp le, void* lp, typename Fn<T>::interp re,
                void* rp, typename Fn<T>::interp ie, void* ip, typename Fn<T>::search search,
                void* sp, const zev_threading* th, int32_t* cells) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  int kind = interpolant_kind(t->spline_order, t->spline_type);
  if (kind < 0) return kind;
  if (kind == kCallerOnly && !(le && re && ie)) return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  bool cells_given = (type & ZEV_DF_CELLS_GIVEN) != 0;
  int method = -1;
  if (!cells_given) {
    method = choose_method<T>(t, search != nullptr, sitehint, datahint);
    if (method < 0) return method;
  }
  Layout lay;
  int orders[4];
  int nd = read_orders(dorder, ndorder, t->wide_integers, orders);
  int64_t ny = t->function_count;
  if (!layout_of(rhint, n, ny, nd, &lay)) return ZEV_DF_ERROR_BAD_RHINT;
  if (n <= 0) return 0;
  bool results = type != ZEV_DF_CELL;  // not cells alone
  if (t->knots == nullptr) return ZEV_DF_ERROR_NULL_X;
  if (ny <= 0) return ZEV_DF_ERROR_BAD_NY;
  if (sites == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if (results && r == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if ((cells_given || (type & ZEV_DF_CELL)) && cells == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if (results && kind <= kBreakQuadratic) {
    if (t->coefficient_rows == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
    for (int64_t f = 0; f < (t->coefficient_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny); ++f)
      if (t->coefficient_rows[f] == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
  }
  if (results && kind == kBreakQuadratic && (t->internal_kind & ZEV_DF_IC_Q_KNOT) &&
      t->internal_values == nullptr)
    return ZEV_DF_ERROR_NULL_IC;
  if (results && kind >= kStepLeft) {
    if (t->function_rows == nullptr) return ZEV_DF_ERROR_NULL_Y;
    for (int64_t f = 0; f < (t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny); ++f)
      if (t->function_rows[f] == nullptr) return ZEV_DF_ERROR_NULL_Y;
  }
  int64_t nx = t->knot_count;

  // Short path: one site, one function, a plain polynomial, nothing to search
  // beyond one site and nothing to return but values.
  if (n == 1 && !(type & ZEV_DF_CELL) && !(sitehint & ZEV_DF_UNIFORM_SITES) &&
      kind < kBreakQuadratic && ny < 2 && !search && results) {
    Knots<T> k(t);
    T s = sites[0];
    int64_t piece, cell;
    if (cells_given) {
      cell = cells[0];
    } else if (s < k.first) {
      cell = 0;
    } else if (s > k.last) {
      cell = nx;
    } else if (method == kUniformSearch) {
      cell = trunc_clamped((s - k.first) / k.step, nx - 2) + 1;
    } else {
      int32_t c32 = 0, cursor = 0;
      search_member<T>(method)(t, 1, &s, &c32, datahint, &cursor, nullptr, nullptr);
      cell = c32;
    }
    piece = piece_of(cell, nx);
    typename Fn<T>::interp fn = cell == 0 ? le : (cell == nx ? re : ie);
    void* params = cell == 0 ? lp : (cell == nx ? rp : ip);
    if (fn) {
      int64_t one = 1;
      T buf[4];
      int st = fn(&one, &cell, &s, buf, params);
      if (st < 0) return st;
      for (int j = 0; j < nd; ++j) r[j] = buf[j];
      return 0;
    }
    Coeffs<T> co(t);
    const T* q = co.at(0, piece);
    T d = s - k.at(piece);
    for (int j = 0; j < nd; ++j) {
      switch (kind) {
        case kLinearPoly: r[j] = poly<T, 2>(q, d, orders[j]); break;
        case kQuadraticPoly: r[j] = poly<T, 3>(q, d, orders[j]); break;
        default: r[j] = poly<T, 4>(q, d, orders[j]); break;
      }
    }
    return 0;
  }

  // Long path.
  int threads = th && th->max_threads ? th->max_threads() : 1;
  if (threads < 1) threads = 1;
  Context<T> c = {};
  c.t = t;
  c.kind = kind;
  c.method = method;
  c.n = n;
  c.sites = sites;
  c.uniform_sites = (sitehint & 4) != 0;
  c.sorted_sites = (sitehint & ZEV_DF_SORTED_DATA) != 0;
  c.nd = nd;
  for (int j = 0; j < 4; ++j) c.orders[j] = orders[j];
  c.datahint = datahint;
  c.r = r;
  c.lay = lay;
  c.le = le, c.re = re, c.ie = ie;
  c.lp = lp, c.rp = rp, c.ip = ip;
  c.search = search;
  c.sp = sp;
  c.cells = cells;
  c.cells_given = cells_given;
  c.return_cells = (type & ZEV_DF_CELL) != 0;
  c.results = results;
  c.status = 0;

  T stack_cb[2048 / sizeof(T)];
  T* heap_cb = nullptr;
  if (le || re || ie) {
    int64_t need = ny * nd * threads;
    if (need * static_cast<int64_t>(sizeof(T)) <= 2048) {
      c.cb = stack_cb;
    } else {
      heap_cb = alloc<T>(need);
      if (heap_cb == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
      c.cb = heap_cb;
    }
  }
  int64_t blocks = (n + kBlock - 1) / kBlock;
  if (threads < 2 || n <= kThreadMin || th->parallel_for == nullptr) {
    int32_t cursor = 0;  // sorted sites: each block goes on from the last cell
    for (int64_t b = 0; b < blocks; ++b) {
      if (!c.sorted_sites) cursor = 0;
      int st = run_block(&c, b, 0, &cursor);
      if (st < 0) {
        c.status = st;
        break;
      }
    }
  } else {
    th->parallel_for(blocks, threads, &c, block_body<T>);
  }
  release(heap_cb);
  return c.status < 0 ? c.status : 0;
}

}  // namespace
}  // namespace zev::df

using namespace zev::df;

extern "C" {

ZEV_API int zev_df_kernel_dDFInterpolate1D(
    zev_df_task t, int64_t type, int64_t method, int64_t n, const double* sites, int64_t sitehint,
    int64_t ndorder, const void* dorder, const double* datahint, double* r, int64_t rhint,
    zev_df_dinterp_fn le, void* lp, zev_df_dinterp_fn re, void* rp, zev_df_dinterp_fn ie,
    void* ip, zev_df_dsearch_fn search, void* sp, const zev_threading* th, int32_t* cells) {
  return interpolate<double>(t, type, method, n, sites, sitehint, ndorder, dorder, datahint, r,
                             rhint, le, lp, re, rp, ie, ip, search, sp, th, cells);
}

ZEV_API int zev_df_kernel_sDFInterpolate1D(
    zev_df_task t, int64_t type, int64_t method, int64_t n, const float* sites, int64_t sitehint,
    int64_t ndorder, const void* dorder, const float* datahint, float* r, int64_t rhint,
    zev_df_sinterp_fn le, void* lp, zev_df_sinterp_fn re, void* rp, zev_df_sinterp_fn ie,
    void* ip, zev_df_ssearch_fn search, void* sp, const zev_threading* th, int32_t* cells) {
  return interpolate<float>(t, type, method, n, sites, sitehint, ndorder, dorder, datahint, r,
                            rhint, le, lp, re, rp, ie, ip, search, sp, th, cells);
}

}  // extern "C"
