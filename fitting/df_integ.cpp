// Integration of a built spline over caller-given intervals: for each j, the
// integral of every function from llim[j] to rlim[j]. Outside the knots the
// end pieces go on (or the caller's functions take over), as in interpolation.
#include "fitting/df_interp.h"

#include "zev/zev_threading.h"

namespace zev::df {
namespace {

constexpr int64_t kBlock = 320;
constexpr int64_t kThreadMin = 512;

// Integral of piece q (order o) from its left knot over a length d.
template <class T>
inline T antiderivative(const T* q, int o, T d) {
  T v = q[o - 1] / T(o);
  for (int j = o - 2; j >= 0; --j) v = v * d + q[j] / T(j + 1);
  return v * d;
}

template <class T>
struct IntegContext {
  const zev_df_task_rec* t;
  int kind, lmethod, rmethod;
  int64_t nlim;
  const T *llim, *rlim;
  bool luniform, runiform, lsorted, rsorted;
  const T *ldh, *rdh;
  T* r;
  int64_t fs, js;  // result strides of a function and an interval
  typename Fn<T>::integ le, re, ie;
  void *lp, *rp, *ip;
  typename Fn<T>::search search;
  void* sp;
  const T* cum;  // cum[f*nx + i]: integral from x[0] to x[i]
  T* cb;         // callback results, ny per thread
  volatile int status;
};

// Constant of a step piece p, and of the parts left and right of the knots.
template <class T>
inline T step_value(const Values<T>& y, int kind, int64_t f, int64_t p) {
  return kind == kStepRight ? y.at(f, p) : y.at(f, p + 1);
}

// Break point j of the quadratic whose pieces are centred on the knots.
template <class T>
inline T break_point(const zev_df_task_rec* t, const Knots<T>& k, int64_t j) {
  if (j <= 0) return k.first;
  if (j >= k.n) return k.last;
  if (t->internal_kind & ZEV_DF_IC_Q_KNOT) return static_cast<const T*>(t->internal_values)[j - 1];
  return (k.at(j - 1) + k.at(j)) / T(2);
}

// Piece that holds s, from its cell.
template <class T>
inline int64_t piece_at(const IntegContext<T>& c, const Knots<T>& k, int64_t cell, T s) {
  if (c.kind != kBreakQuadratic) return piece_of(cell, k.n);
  if (cell <= 0) return 0;
  if (cell >= k.n) return k.n - 1;
  return s < break_point(c.t, k, cell) ? cell - 1 : cell;
}

// Integral from x[0] to s, s in piece p (or beyond the knots on an end piece):
// cum[p] holds the integral up to the piece's own knot.
template <class T>
inline T primitive(const IntegContext<T>& c, const Knots<T>& k, const Coeffs<T>& co,
                   const Values<T>& y, int64_t f, int64_t p, T s) {
  T d = s - k.at(p);
  T base = c.cum[f * k.n + p];
  if (c.kind >= kStepLeft) return base + step_value(y, c.kind, f, p) * d;
  return base + antiderivative(co.at(f, p), static_cast<int>(c.t->spline_order), d);
}

template <class T>
void make_limits(const T* e, int64_t n, int64_t first, int64_t count, T* out) {
  T step = n > 1 ? (e[1] - e[0]) / T(n - 1) : T(0);
  for (int64_t i = 0; i < count; ++i) out[i] = e[0] + T(first + i) * step;
}

template <class T>
int integ_block(IntegContext<T>* c, int64_t b, int thread, int32_t* lcur, int32_t* rcur) {
  const zev_df_task_rec* t = c->t;
  int64_t first = b * kBlock;
  int64_t count = c->nlim - first < kBlock ? c->nlim - first : kBlock;
  T lbuf[kBlock], rbuf[kBlock];
  int32_t lcell[kBlock], rcell[kBlock];
  const T* a = c->llim + first;
  const T* bb = c->rlim + first;
  if (c->luniform) {
    make_limits(c->llim, c->nlim, first, count, lbuf);
    a = lbuf;
  }
  if (c->runiform) {
    make_limits(c->rlim, c->nlim, first, count, rbuf);
    bb = rbuf;
  }
  int st = search_member<T>(c->lmethod)(t, count, a, lcell, c->ldh, lcur, c->search, c->sp);
  if (st < 0) return st;
  st = search_member<T>(c->rmethod)(t, count, bb, rcell, c->rdh, rcur, c->search, c->sp);
  if (st < 0) return st;

  Knots<T> k(t);
  Coeffs<T> co(t);
  Values<T> y(t);
  int64_t nx = k.n, ny = t->function_count;
  T* buf = c->cb ? c->cb + static_cast<int64_t>(thread) * ny : nullptr;
  for (int64_t i = 0; i < count; ++i) {
    T lo = a[i], hi = bb[i];
    int64_t clo = lcell[i], chi = rcell[i];
    T sign = T(1);
    if (lo > hi) {
      T tmp = lo;
      lo = hi;
      hi = tmp;
      int64_t ct = clo;
      clo = chi;
      chi = ct;
      sign = T(-1);
    }
    T* out = c->r + (first + i) * c->js;
    for (int64_t f = 0; f < ny; ++f) out[f * c->fs] = T(0);
    if (!(lo < hi)) continue;  // empty interval (or NaN limits: zero)

    // Left of the knots.
    if (lo < k.first) {
      T end = hi < k.first ? hi : k.first;
      if (c->le) {
        int64_t one = 1;
        int s = c->le(&one, &lo, &end, buf, c->lp);
        if (s < 0) return s;
        for (int64_t f = 0; f < ny; ++f) out[f * c->fs] += sign * buf[f];
      } else {
        for (int64_t f = 0; f < ny; ++f) {
          T v;
          if (c->kind >= kStepLeft) v = y.at(f, 0) * (end - lo);
          else v = primitive(*c, k, co, y, f, 0, end) - primitive(*c, k, co, y, f, 0, lo);  // piece 0
          out[f * c->fs] += sign * v;
        }
      }
    }
    // Right of the knots.
    if (hi > k.last) {
      T start = lo > k.last ? lo : k.last;
      if (c->re) {
        int64_t one = 1;
        int s = c->re(&one, &start, &hi, buf, c->rp);
        if (s < 0) return s;
        for (int64_t f = 0; f < ny; ++f) out[f * c->fs] += sign * buf[f];
      } else {
        for (int64_t f = 0; f < ny; ++f) {
          T v;
          if (c->kind >= kStepLeft) v = y.at(f, nx - 1) * (hi - start);
          else {
            int64_t last = c->kind == kBreakQuadratic ? nx - 1 : nx - 2;
            v = primitive(*c, k, co, y, f, last, hi) - primitive(*c, k, co, y, f, last, start);
          }
          out[f * c->fs] += sign * v;
        }
      }
    }
    // Within the knots.
    T ilo = lo > k.first ? lo : k.first;
    T ihi = hi < k.last ? hi : k.last;
    if (ilo < ihi) {
      if (c->ie) {
        int64_t one = 1;
        int s = c->ie(&one, &ilo, &ihi, buf, c->ip);
        if (s < 0) return s;
        for (int64_t f = 0; f < ny; ++f) out[f * c->fs] += sign * buf[f];
      } else {
        int64_t plo = piece_at(*c, k, clo < 1 ? 1 : (clo > nx - 1 ? nx - 1 : clo), ilo);
        int64_t phi = piece_at(*c, k, chi < 1 ? 1 : (chi > nx - 1 ? nx - 1 : chi), ihi);
        for (int64_t f = 0; f < ny; ++f) {
          T v = primitive(*c, k, co, y, f, phi, ihi) - primitive(*c, k, co, y, f, plo, ilo);
          out[f * c->fs] += sign * v;
        }
      }
    }
  }
  return 0;
}

template <class T>
void integ_body(int64_t b, int thread, int, void* context) {
  auto* c = static_cast<IntegContext<T>*>(context);
  if (__atomic_load_n(&c->status, __ATOMIC_RELAXED) < 0) return;
  int32_t lcur = 0, rcur = 0;
  int st = integ_block(c, b, thread, &lcur, &rcur);
  if (st < 0) {
    int expected = 0;
    __atomic_compare_exchange_n(&c->status, &expected, st, false, __ATOMIC_RELAXED,
                                __ATOMIC_RELAXED);
  }
}

template <class T>
int integrate(const zev_df_task_rec* t, int64_t nlim, const T* llim, int64_t llimhint,
              const T* rlim, int64_t rlimhint, const T* ldh, const T* rdh, T* r, int64_t rhint,
              typename Fn<T>::integ le, void* lp, typename Fn<T>::integ re, void* rp,
              typename Fn<T>::integ ie, void* ip, typename Fn<T>::search search, void* sp,
              const zev_threading* th) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  int kind = interpolant_kind(t->spline_order, t->spline_type);
  if (kind < 0 || kind == kLookup) return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  if (kind == kCallerOnly && !(le && re && ie)) return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  int lmethod = choose_method<T>(t, search != nullptr, llimhint, ldh);
  if (lmethod < 0) return lmethod;
  int rmethod = choose_method<T>(t, search != nullptr, rlimhint, rdh);
  if (rmethod < 0) return rmethod;
  int64_t ny = t->function_count;
  if (rhint == ZEV_DF_NO_HINT || rhint == ZEV_DF_MATRIX_STORAGE_FUNCS_SEP)
    rhint = ZEV_DF_MATRIX_STORAGE_ROWS;
  if (rhint != ZEV_DF_MATRIX_STORAGE_ROWS && rhint != ZEV_DF_MATRIX_STORAGE_COLS)
    return ZEV_DF_ERROR_BAD_RHINT;
  if (nlim <= 0) return 0;
  if (t->knots == nullptr) return ZEV_DF_ERROR_NULL_X;
  if (ny <= 0) return ZEV_DF_ERROR_BAD_NY;
  if (llim == nullptr || rlim == nullptr || r == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  if (kind == kBreakQuadratic && (t->internal_kind & ZEV_DF_IC_Q_KNOT) &&
      t->internal_values == nullptr)
    return ZEV_DF_ERROR_NULL_IC;
  if (kind <= kBreakQuadratic) {
    if (t->coefficient_rows == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
    for (int64_t f = 0; f < (t->coefficient_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny); ++f)
      if (t->coefficient_rows[f] == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
  } else if (kind >= kStepLeft) {
    if (t->function_rows == nullptr) return ZEV_DF_ERROR_NULL_Y;
    for (int64_t f = 0; f < (t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny); ++f)
      if (t->function_rows[f] == nullptr) return ZEV_DF_ERROR_NULL_Y;
  }

  int threads = th && th->max_threads ? th->max_threads() : 1;
  if (threads < 1) threads = 1;
  int64_t nx = t->knot_count;
  T* cum = nullptr;
  if (kind != kCallerOnly) {
    // Integral from x[0] to each knot, per function.
    cum = alloc<T>(ny * nx);
    if (cum == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
    Knots<T> k(t);
    Coeffs<T> co(t);
    Values<T> y(t);
    for (int64_t f = 0; f < ny; ++f) {
      T acc = T(0);
      int order = static_cast<int>(t->spline_order);
      if (kind == kBreakQuadratic) {
        // Pieces reach from break point to break point around their knot.
        for (int64_t p = 0; p < nx; ++p) {
          const T* q = co.at(f, p);
          T left = break_point(t, k, p) - k.at(p), right = break_point(t, k, p + 1) - k.at(p);
          cum[f * nx + p] = acc - antiderivative(q, order, left);
          acc += antiderivative(q, order, right) - antiderivative(q, order, left);
        }
        continue;
      }
      cum[f * nx] = acc;
      for (int64_t p = 0; p + 1 < nx; ++p) {
        T h = k.at(p + 1) - k.at(p);
        acc += kind >= kStepLeft ? step_value(y, kind, f, p) * h
                                 : antiderivative(co.at(f, p), order, h);
        cum[f * nx + p + 1] = acc;
      }
    }
  }
  T* cb = nullptr;
  if (le || re || ie) {
    cb = alloc<T>(ny * threads);
    if (cb == nullptr) {
      release(cum);
      return ZEV_DF_ERROR_MEM_FAILURE;
    }
  }
  IntegContext<T> c = {};
  c.t = t;
  c.kind = kind;
  c.lmethod = lmethod;
  c.rmethod = rmethod;
  c.nlim = nlim;
  c.llim = llim;
  c.rlim = rlim;
  c.luniform = (llimhint & ZEV_DF_UNIFORM_SITES) != 0;
  c.runiform = (rlimhint & ZEV_DF_UNIFORM_SITES) != 0;
  c.lsorted = (llimhint & ZEV_DF_SORTED_DATA) != 0;
  c.rsorted = (rlimhint & ZEV_DF_SORTED_DATA) != 0;
  c.ldh = ldh;
  c.rdh = rdh;
  c.r = r;
  c.fs = rhint == ZEV_DF_MATRIX_STORAGE_ROWS ? nlim : 1;
  c.js = rhint == ZEV_DF_MATRIX_STORAGE_ROWS ? 1 : ny;
  c.le = le, c.re = re, c.ie = ie;
  c.lp = lp, c.rp = rp, c.ip = ip;
  c.search = search;
  c.sp = sp;
  c.cum = cum;
  c.cb = cb;
  c.status = 0;
  int64_t blocks = (nlim + kBlock - 1) / kBlock;
  if (threads < 2 || nlim <= kThreadMin || th->parallel_for == nullptr) {
    int32_t lcur = 0, rcur = 0;
    for (int64_t b = 0; b < blocks; ++b) {
      if (!c.lsorted) lcur = 0;
      if (!c.rsorted) rcur = 0;
      int st = integ_block(&c, b, 0, &lcur, &rcur);
      if (st < 0) {
        c.status = st;
        break;
      }
    }
  } else {
    th->parallel_for(blocks, threads, &c, integ_body<T>);
  }
  release(cb);
  release(cum);
  return c.status < 0 ? c.status : 0;
}

}  // namespace
}  // namespace zev::df

using namespace zev::df;

extern "C" {

ZEV_API int zev_df_kernel_dDFIntegrate1D(
    zev_df_task t, int64_t, int64_t nlim, const double* llim, int64_t llimhint,
    const double* rlim, int64_t rlimhint, const double* ldh, const double* rdh, double* r,
    int64_t rhint, zev_df_dinteg_fn le, void* lp, zev_df_dinteg_fn re, void* rp,
    zev_df_dinteg_fn ie, void* ip, zev_df_dsearch_fn search, void* sp, const zev_threading* th) {
  return integrate<double>(t, nlim, llim, llimhint, rlim, rlimhint, ldh, rdh, r, rhint, le, lp,
                           re, rp, ie, ip, search, sp, th);
}

ZEV_API int zev_df_kernel_sDFIntegrate1D(
    zev_df_task t, int64_t, int64_t nlim, const float* llim, int64_t llimhint, const float* rlim,
    int64_t rlimhint, const float* ldh, const float* rdh, float* r, int64_t rhint,
    zev_df_sinteg_fn le, void* lp, zev_df_sinteg_fn re, void* rp, zev_df_sinteg_fn ie, void* ip,
    zev_df_ssearch_fn search, void* sp, const zev_threading* th) {
  return integrate<float>(t, nlim, llim, llimhint, rlim, rlimhint, ldh, rdh, r, rhint, le, lp,
                          re, rp, ie, ip, search, sp, th);
}

}  // extern "C"
