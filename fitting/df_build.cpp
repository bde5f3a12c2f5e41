// Spline construction: linear, quadratic, and the cubic family (default and
// natural C2 splines, Hermite, Bessel, Akima, Hyman), in single and double,
// for every boundary variant, function layout and knot partition.
//
// Every cubic is written in Hermite form: the builder finds a slope d[i] at
// each knot, and piece i becomes
//   c0 = y[i], c1 = d[i], c2 = (3*delta - 2*d[i] - d[i+1])/h, c3 = (d[i] + d[i+1] - 2*delta)/h^2
// with h = x[i+1] - x[i] and delta = (y[i+1] - y[i])/h. Only the slopes differ:
//   C2 splines      slopes from one tridiagonal system (factorised once for all functions)
//   Hermite         inner slopes given by the caller, end slopes from the boundary variant
//   Bessel          slope of the parabola through three neighbouring knots
//                   (de Boor, A Practical Guide to Splines, ch. IV)
//   Akima           H. Akima, J. ACM 17(4), 1970: weighted slopes with his end extension
//   Hyman           Bessel slopes passed through Hyman's monotonicity filter
//                   (J. M. Hyman, SIAM J. Sci. Stat. Comput. 4(4), 1983)
#include <cmath>

#include "fitting/df_task.h"
#include "zev/zev_core_dfl.h"

namespace zev::df {
namespace {

enum Builder { kLinear, kQuadratic, kDefault, kNatural, kHermite, kBessel, kHyman, kAkima };

// End conditions. kFirst and kSecond carry a value; kFree is a zero second
// derivative; kNotAKnot a continuous third derivative at the second knot;
// kPeriodic joins the ends; kOwn is the method's own end rule.
enum End { kNotAKnot, kFree, kFirst, kSecond, kPeriodic, kOwn };

struct Variant {
  int number;
  End left, right;
  bool needs_values;
};

// boundary_kind -> variant number and the condition at each end.
bool variant_of(int64_t kind, int64_t type, Variant* v) {
  switch (kind) {
    case ZEV_DF_BC_NOT_A_KNOT: *v = {0, kNotAKnot, kNotAKnot, false}; return true;
    case ZEV_DF_BC_FREE_END: *v = {1, kFree, kFree, false}; return true;
    case ZEV_DF_BC_1ST_LEFT_DER | ZEV_DF_BC_1ST_RIGHT_DER:
      *v = {2, kFirst, kFirst, true};
      return true;
    case ZEV_DF_BC_1ST_LEFT_DER | ZEV_DF_BC_2ND_RIGHT_DER:
      *v = {3, kFirst, kSecond, true};
      return true;
    case ZEV_DF_BC_2ND_LEFT_DER | ZEV_DF_BC_1ST_RIGHT_DER:
      *v = {4, kSecond, kFirst, true};
      return true;
    case ZEV_DF_BC_2ND_LEFT_DER | ZEV_DF_BC_2ND_RIGHT_DER:
      *v = {5, kSecond, kSecond, true};
      return true;
    case ZEV_DF_BC_PERIODIC:  // values only for the default and Hermite cubics
      *v = {6, kPeriodic, kPeriodic, type == ZEV_DF_PP_DEFAULT || type == ZEV_DF_PP_HERMITE};
      return true;
    case ZEV_DF_NO_BC: *v = {7, kOwn, kOwn, false}; return true;
    default: return false;
  }
}

template <class T>
int trf(int n, T* dl, T* d, T* du, T* du2, int* ipiv) {
  if constexpr (sizeof(T) == 8) return ddttrfb_4dfl(n, dl, d, du, du2, ipiv);
  else return sdttrfb_4dfl(n, dl, d, du, du2, ipiv);
}
template <class T>
int trs(int n, int nrhs, const T* dl, const T* d, const T* du, const T* du2, const int* ipiv, T* b,
        int ldb) {
  if constexpr (sizeof(T) == 8) return ddttrsb_4dfl(n, nrhs, dl, d, du, du2, ipiv, b, ldb);
  else return sdttrsb_4dfl(n, nrhs, dl, d, du, du2, ipiv, b, ldb);
}

// A solver failure becomes a negative status.
int solver_status(int info) { return info == 0 ? 0 : (info < 0 ? info : -info); }

template <class T>
struct Work {
  T* x = nullptr;   // knots, computed for a uniform partition
  T* h = nullptr;   // cell widths
  T* delta = nullptr;  // divided differences of one function
  T* d = nullptr;   // slopes of one function
  T* block = nullptr;
  ~Work() { release(block); }
  bool init(int64_t nx) {
    block = alloc<T>(4 * nx + 8);
    if (!block) return false;
    x = block;
    h = x + nx;
    delta = h + nx;
    d = delta + nx;
    return true;
  }
};

template <class T>
void load_knots(const zev_df_task_rec* t, Work<T>& w) {
  Knots<T> k(t);
  for (int64_t i = 0; i < k.n; ++i) w.x[i] = k.at(i);
  for (int64_t i = 0; i + 1 < k.n; ++i) w.h[i] = w.x[i + 1] - w.x[i];
}

template <class T>
void load_function(const Values<T>& y, int64_t f, int64_t nx, Work<T>& w) {
  for (int64_t i = 0; i + 1 < nx; ++i) w.delta[i] = (y.at(f, i + 1) - y.at(f, i)) / w.h[i];
}

template <class T>
void write_cubic(const Values<T>& y, const Coeffs<T>& c, int64_t f, int64_t nx, const Work<T>& w) {
  for (int64_t i = 0; i + 1 < nx; ++i) {
    T h = w.h[i], dl = w.d[i], dr = w.d[i + 1], del = w.delta[i];
    T* p = c.at(f, i);
    p[0] = y.at(f, i);
    p[1] = dl;
    p[2] = (T(3) * del - T(2) * dl - dr) / h;
    p[3] = (dl + dr - T(2) * del) / (h * h);
  }
}

// ---- end slopes of the local methods ----------------------------------------

// Left end slope from a condition, the inner slopes d[1], d[2] being known.
template <class T>
T left_slope(End e, T value, const Work<T>& w) {
  const T *h = w.h, *del = w.delta, *d = w.d;
  switch (e) {
    case kFirst: return value;
    case kFree: value = T(0); [[fallthrough]];
    case kSecond: return (T(3) * del[0] - d[1]) / T(2) - value * h[0] / T(4);
    case kNotAKnot: {
      T r = h[0] / h[1];
      return r * r * (d[1] + d[2] - T(2) * del[1]) - d[1] + T(2) * del[0];
    }
    default:  // three-point (parabola) end rule
      return ((T(2) * h[0] + h[1]) * del[0] - h[0] * del[1]) / (h[0] + h[1]);
  }
}

template <class T>
T right_slope(End e, T value, const Work<T>& w, int64_t nx) {
  int64_t k = nx - 2;
  const T *h = w.h, *del = w.delta, *d = w.d;
  switch (e) {
    case kFirst: return value;
    case kFree: value = T(0); [[fallthrough]];
    case kSecond: return (T(3) * del[k] - d[k]) / T(2) + value * h[k] / T(4);
    case kNotAKnot: {
      T r = h[k] / h[k - 1];
      return r * r * (d[k - 1] + d[k] - T(2) * del[k - 1]) - d[k] + T(2) * del[k];
    }
    default:
      return ((T(2) * h[k] + h[k - 1]) * del[k] - h[k] * del[k - 1]) / (h[k] + h[k - 1]);
  }
}

// Sets d[0] and d[nx-1] by the variant once the inner slopes are known.
template <class T>
void end_slopes(const Variant& v, const T* bc, Work<T>& w, int64_t nx) {
  T lv = v.needs_values && v.left != kPeriodic ? bc[0] : T(0);
  T rv = v.needs_values && v.right != kPeriodic ? bc[1] : T(0);
  if (nx == 3 && v.left == kNotAKnot && v.right == kNotAKnot) {
    // One cubic through the three knots with the given middle slope.
    T q = (w.delta[1] - w.delta[0]) / (w.h[0] + w.h[1]);  // second divided difference
    T h0 = w.h[0], h1 = w.h[1];
    T c = (w.d[1] - (w.delta[0] + q * h0)) / (-h0 * h1);
    w.d[0] = w.delta[0] - q * h0 + c * h0 * (h0 + h1);
    w.d[2] = w.delta[0] + q * (h0 + T(2) * h1) + c * (h0 + h1) * h1;
    return;
  }
  // A not-a-knot end of three knots needs the other end first.
  if (v.left == kNotAKnot) {
    w.d[nx - 1] = right_slope(v.right, rv, w, nx);
    w.d[0] = left_slope(v.left, lv, w);
  } else {
    w.d[0] = left_slope(v.left, lv, w);
    w.d[nx - 1] = right_slope(v.right, rv, w, nx);
  }
}

template <class T>
inline T bessel_inner(T hl, T hr, T dl, T dr) {
  return (hr * dl + hl * dr) / (hl + hr);
}

template <class T>
inline T hyman_filter(T d, T dl, T dr) {
  if (dl > T(0) && dr > T(0)) {
    T lim = T(3) * (dl < dr ? dl : dr);
    d = d > T(0) ? d : T(0);
    return d < lim ? d : lim;
  }
  if (dl < T(0) && dr < T(0)) {
    T lim = T(3) * (dl > dr ? dl : dr);
    d = d < T(0) ? d : T(0);
    return d > lim ? d : lim;
  }
  return T(0);
}

template <class T>
inline T hyman_end(T d, T del) {
  if (d * del <= T(0)) return T(0);
  if (std::fabs(d) > T(3) * std::fabs(del)) return T(3) * del;
  return d;
}

// Akima's slope from four neighbouring divided differences m[i-2..i+1].
template <class T>
inline T akima_slope(T mm2, T mm1, T m0, T mp1) {
  T wl = std::fabs(mp1 - m0), wr = std::fabs(mm1 - mm2);
  if (wl + wr == T(0)) return (mm1 + m0) / T(2);
  return (wl * mm1 + wr * m0) / (wl + wr);
}

template <class T>
void local_slopes(Builder b, const Variant& v, const T* bc, const T* ic, int64_t f,
                  Work<T>& w, int64_t nx) {
  const T *h = w.h, *del = w.delta;
  T* d = w.d;
  int64_t cells = nx - 1;
  bool periodic = v.left == kPeriodic;
  switch (b) {
    case kHermite:
      for (int64_t i = 1; i + 1 < nx; ++i) d[i] = ic[f * (nx - 2) + i - 1];
      if (periodic) {
        d[0] = d[nx - 1] = bc[0];
        return;
      }
      break;
    case kBessel:
    case kHyman:
      for (int64_t i = 1; i + 1 < nx; ++i) d[i] = bessel_inner(h[i - 1], h[i], del[i - 1], del[i]);
      if (periodic) d[0] = d[nx - 1] = bessel_inner(h[cells - 1], h[0], del[cells - 1], del[0]);
      if (b == kHyman) {
        for (int64_t i = 1; i + 1 < nx; ++i) d[i] = hyman_filter(d[i], del[i - 1], del[i]);
        if (periodic) d[0] = d[nx - 1] = hyman_filter(d[0], del[cells - 1], del[0]);
      }
      if (periodic) return;
      break;
    case kAkima: {
      // m[j] for j = -2 .. cells+1, stored at j + 2.
      auto m = [&](int64_t j) -> T {
        if (j >= 0 && j < cells) return del[j];
        if (periodic) return del[(j + cells) % cells];
        if (j == -1) return T(2) * del[0] - del[1];
        if (j == -2) return T(3) * del[0] - T(2) * del[1];
        if (j == cells) return T(2) * del[cells - 1] - del[cells - 2];
        return T(3) * del[cells - 1] - T(2) * del[cells - 2];  // cells + 1
      };
      for (int64_t i = 0; i < nx; ++i) d[i] = akima_slope(m(i - 2), m(i - 1), m(i), m(i + 1));
      if (periodic) {
        d[nx - 1] = d[0];
        return;
      }
      if (v.left == kOwn) return;  // Akima's own ends are the extension above
      break;
    }
    default:
      break;
  }
  end_slopes(v, bc, w, nx);
  if (b == kHyman && v.left == kOwn) {
    d[0] = hyman_end(d[0], del[0]);
    d[nx - 1] = hyman_end(d[nx - 1], del[cells - 1]);
  }
}

// ---- C2 cubic: one tridiagonal system in the slopes ---------------------------

template <class T>
int c2_spline(const zev_df_task_rec* t, const Variant& v, const T* bc, Work<T>& w,
              const Values<T>& y, const Coeffs<T>& c) {
  int64_t nx = t->knot_count, ny = t->function_count, cells = nx - 1;
  const T* h = w.h;
  bool periodic = v.left == kPeriodic;
  End left = v.left == kOwn ? kFree : v.left, right = v.right == kOwn ? kFree : v.right;
  T lv = v.needs_values && !periodic ? bc[0] : T(0);
  T rv = v.needs_values && !periodic ? bc[1] : T(0);

  if (!periodic && nx == 3 && left == kNotAKnot && right == kNotAKnot) {
    // Not-a-knot at both ends of three knots: the parabola through them.
    for (int64_t f = 0; f < ny; ++f) {
      load_function(y, f, nx, w);
      T q = (w.delta[1] - w.delta[0]) / (h[0] + h[1]);
      w.d[0] = w.delta[0] - q * h[0];
      w.d[1] = w.delta[0] + q * h[0];
      w.d[2] = w.delta[0] + q * (h[0] + T(2) * h[1]);
      write_cubic(y, c, f, nx, w);
    }
    return 0;
  }

  int64_t n = periodic ? cells : nx;  // unknowns
  int64_t nrhs = ny + (periodic ? 1 : 0);
  T* mem = alloc<T>(5 * n + n * nrhs + 8);
  int* ipiv = alloc<int>(n + 1);
  if (mem == nullptr || ipiv == nullptr) {
    release(mem);
    release(ipiv);
    return ZEV_DF_ERROR_MEM_FAILURE;
  }
  T *dl = mem, *dg = dl + n, *du = dg + n, *du2 = du + n, *rhs = du2 + n + 8;
  T gamma = T(0), corner_a = T(0), corner_c = T(0);
  if (!periodic) {
    for (int64_t i = 1; i + 1 < nx; ++i) {
      dl[i - 1] = h[i];
      dg[i] = T(2) * (h[i - 1] + h[i]);
      du[i] = h[i - 1];
    }
    switch (left) {
      case kFirst: dg[0] = T(1); du[0] = T(0); break;
      case kNotAKnot: dg[0] = h[1]; du[0] = h[0] + h[1]; break;
      default: dg[0] = T(2); du[0] = T(1); break;  // second derivative or free end
    }
    int64_t k = cells - 1;
    switch (right) {
      case kFirst: dg[n - 1] = T(1); dl[n - 2] = T(0); break;
      case kNotAKnot: dg[n - 1] = h[k - 1]; dl[n - 2] = h[k] + h[k - 1]; break;
      default: dg[n - 1] = T(2); dl[n - 2] = T(1); break;
    }
  } else if (n >= 3) {
    for (int64_t i = 0; i < n; ++i) {
      T hp = h[(i + n - 1) % n], hi = h[i];
      dg[i] = T(2) * (hp + hi);
      if (i > 0) dl[i - 1] = hi;
      if (i + 1 < n) du[i] = hp;
    }
    // Sherman-Morrison: the corners a = h[0] (row 0, last column) and
    // c = h[n-2] (last row, column 0) move into a rank-one update.
    corner_a = h[0];
    corner_c = h[n - 2];
    gamma = -dg[0];
    dg[0] -= gamma;
    dg[n - 1] -= corner_a * corner_c / gamma;
  }

  // Right-hand sides, one column per function.
  for (int64_t f = 0; f < ny; ++f) {
    load_function(y, f, nx, w);
    T* r = rhs + f * n;
    const T* del = w.delta;
    if (!periodic) {
      for (int64_t i = 1; i + 1 < nx; ++i) r[i] = T(3) * (h[i] * del[i - 1] + h[i - 1] * del[i]);
      switch (left) {
        case kFirst: r[0] = lv; break;
        case kNotAKnot:
          r[0] = ((h[0] + T(2) * (h[0] + h[1])) * h[1] * del[0] + h[0] * h[0] * del[1]) /
                 (h[0] + h[1]);
          break;
        default: r[0] = T(3) * del[0] - lv * h[0] / T(2); break;
      }
      int64_t k = cells - 1;
      switch (right) {
        case kFirst: r[n - 1] = rv; break;
        case kNotAKnot:
          r[n - 1] = (h[k] * h[k] * del[k - 1] + (T(2) * (h[k - 1] + h[k]) + h[k]) * h[k - 1] * del[k]) /
                     (h[k - 1] + h[k]);
          break;
        default: r[n - 1] = T(3) * del[k] + rv * h[k] / T(2); break;
      }
    } else {
      for (int64_t i = 0; i < n; ++i) {
        int64_t p = (i + n - 1) % n;
        r[i] = T(3) * (h[i] * del[p] + h[p] * del[i]);
      }
    }
  }

  int status = 0;
  if (periodic && n < 3) {
    // One or two unknowns: solve the small cyclic system directly.
    for (int64_t f = 0; f < ny; ++f) {
      T* r = rhs + f * n;
      if (n == 1) {
        r[0] = r[0] / (T(6) * h[0]);
      } else {
        T a = T(2) * (h[0] + h[1]), b = h[0] + h[1];
        T det = a * a - b * b;
        T m0 = (a * r[0] - b * r[1]) / det, m1 = (a * r[1] - b * r[0]) / det;
        r[0] = m0;
        r[1] = m1;
      }
    }
  } else {
    if (periodic) {
      T* u = rhs + ny * n;
      for (int64_t i = 0; i < n; ++i) u[i] = T(0);
      u[0] = gamma;
      u[n - 1] = corner_c;
    }
    status = solver_status(trf<T>(static_cast<int>(n), dl, dg, du, du2, ipiv));
    if (status == 0)
      status = solver_status(trs<T>(static_cast<int>(n), static_cast<int>(nrhs), dl, dg, du, du2,
                                    ipiv, rhs, static_cast<int>(n)));
    if (status == 0 && periodic) {
      const T* z = rhs + ny * n;
      T vz = z[0] + corner_a / gamma * z[n - 1];
      for (int64_t f = 0; f < ny; ++f) {
        T* r = rhs + f * n;
        T vy = r[0] + corner_a / gamma * r[n - 1];
        T factor = vy / (T(1) + vz);
        for (int64_t i = 0; i < n; ++i) r[i] -= factor * z[i];
      }
    }
  }
  if (status == 0) {
    for (int64_t f = 0; f < ny; ++f) {
      load_function(y, f, nx, w);
      const T* r = rhs + f * n;
      for (int64_t i = 0; i < n; ++i) w.d[i] = r[i];
      if (periodic) w.d[nx - 1] = r[0];
      write_cubic(y, c, f, nx, w);
    }
  }
  release(mem);
  release(ipiv);
  return status;
}

// ---- quadratic with break points between the knots ---------------------------
//
// Yu. N. Subbotin's interpolating quadratic (Mat. Zametki 1, 1967): piece j
// lives on [t[j], t[j+1]] around knot x[j], with t[0] = x[0], t[nx] = x[nx-1]
// and t[j] in (x[j-1], x[j]) the midpoint or a caller's break point. The
// unknowns are the slopes D[j] at the break points; with a[j] = (x[j] - t[j])/L[j],
// L[j] = t[j+1] - t[j], continuity of value at t[j+1] reads
//   (1-a[j])^2 L[j] D[j] + ((1-a[j])(1+a[j]) L[j] + a[j+1](2-a[j+1]) L[j+1]) D[j+1]
//     + a[j+1]^2 L[j+1] D[j+2] = 2 (y[j+1] - y[j]),
// and the end conditions close the system. Piece j is stored in powers of
// (s - x[j]): c0 = y[j], c1 = (1-a[j]) D[j] + a[j] D[j+1], c2 = (D[j+1] - D[j])/(2 L[j]).
template <class T>
int subbotin_spline(const zev_df_task_rec* t, const Variant& v, const T* bc, Work<T>& w,
                    const Values<T>& y, const Coeffs<T>& c) {
  int64_t nx = t->knot_count, ny = t->function_count, n = nx + 1;  // n slopes
  const T* x = w.x;
  const T* given =
      (t->internal_kind & ZEV_DF_IC_Q_KNOT) ? static_cast<const T*>(t->internal_values) : nullptr;
  T* mem = alloc<T>(9 * n + n * ny + 8);
  int* ipiv = alloc<int>(n);
  if (mem == nullptr || ipiv == nullptr) {
    release(mem);
    release(ipiv);
    return ZEV_DF_ERROR_MEM_FAILURE;
  }
  T *tb = mem, *L = tb + n, *al = L + n, *dl = al + n, *dg = dl + n, *du = dg + n, *du2 = du + n,
    *rhs = du2 + n + 8;
  tb[0] = x[0];
  tb[nx] = x[nx - 1];
  int status = 0;
  for (int64_t j = 1; j < nx; ++j) {
    tb[j] = given ? given[j - 1] : (x[j - 1] + x[j]) / T(2);
    if (!(tb[j] > x[j - 1] && tb[j] < x[j])) status = ZEV_DF_ERROR_BAD_IC_TYPE;
  }
  if (status != 0) {
    release(mem);
    release(ipiv);
    return status;
  }
  for (int64_t j = 0; j < nx; ++j) {
    L[j] = tb[j + 1] - tb[j];
    al[j] = (x[j] - tb[j]) / L[j];
  }
  // Continuity rows 1 .. nx-1 (at t[1] .. t[nx-1]); row 0 and row nx are the ends.
  for (int64_t j = 0; j + 1 < nx; ++j) {
    T a0 = al[j], a1 = al[j + 1];
    dl[j] = (T(1) - a0) * (T(1) - a0) * L[j];
    dg[j + 1] = (T(1) - a0) * (T(1) + a0) * L[j] + a1 * (T(2) - a1) * L[j + 1];
    du[j + 1] = a1 * a1 * L[j + 1];
  }
  // End rows; not-a-knot (pieces 0 and 1 one parabola) is folded into a
  // two-term row with the continuity row next to it.
  T lfold = T(0), rfold = T(0);
  bool lnak = v.left == kNotAKnot, rnak = v.right == kNotAKnot;
  End le = v.left == kOwn ? kFree : v.left, re = v.right == kOwn ? kFree : v.right;
  if (le == kFirst) {
    dg[0] = T(1);
    du[0] = T(0);
  } else if (lnak) {
    // L1 D0 - (L0+L1) D1 + L0 D2 = 0, minus L0/du[1] times continuity row 1.
    lfold = L[0] / du[1];
    dg[0] = L[1] - lfold * dl[0];
    du[0] = -(L[0] + L[1]) - lfold * dg[1];
  } else {  // second derivative (D1 - D0)/L0 = value
    dg[0] = T(-1);
    du[0] = T(1);
  }
  int64_t m = nx;  // last slope
  if (re == kFirst) {
    dg[m] = T(1);
    dl[m - 1] = T(0);
  } else if (rnak) {
    // L[m-1] D[m-2] - (L[m-2]+L[m-1]) D[m-1] + L[m-2] D[m] = 0, folded with row m-1.
    rfold = L[m - 1] / dl[m - 2];
    dl[m - 1] = -(L[m - 2] + L[m - 1]) - rfold * dg[m - 1];
    dg[m] = L[m - 2] - rfold * du[m - 1];
  } else {
    dg[m] = T(1);
    dl[m - 1] = T(-1);
  }
  T lv = v.needs_values ? bc[0] : T(0), rv = v.needs_values ? bc[1] : T(0);
  for (int64_t f = 0; f < ny; ++f) {
    T* r = rhs + f * n;
    for (int64_t j = 0; j + 1 < nx; ++j) r[j + 1] = T(2) * (y.at(f, j + 1) - y.at(f, j));
    r[0] = le == kFirst ? lv : (lnak ? -lfold * r[1] : lv * L[0]);
    r[m] = re == kFirst ? rv : (rnak ? -rfold * r[m - 1] : rv * L[m - 1]);
  }
  status = solver_status(trf<T>(static_cast<int>(n), dl, dg, du, du2, ipiv));
  if (status == 0)
    status = solver_status(trs<T>(static_cast<int>(n), static_cast<int>(ny), dl, dg, du, du2, ipiv,
                                  rhs, static_cast<int>(n)));
  if (status == 0) {
    for (int64_t f = 0; f < ny; ++f) {
      const T* D = rhs + f * n;
      for (int64_t j = 0; j < nx; ++j) {
        T* p = c.at(f, j);
        p[0] = y.at(f, j);
        p[1] = (T(1) - al[j]) * D[j] + al[j] * D[j + 1];
        p[2] = (D[j + 1] - D[j]) / (T(2) * L[j]);
      }
    }
  }
  release(mem);
  release(ipiv);
  return status;
}

// ---- entry ----------------------------------------------------------------------

template <class T>
int build(zev_df_task_rec* t, int64_t method, Builder b) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (method != ZEV_DF_PP_STD) return ZEV_DF_ERROR_METHOD_NOT_SUPPORTED;
  // By Builder: the spline order and type each builder takes (-1: any).
  static const int64_t kOrder[] = {ZEV_DF_PP_LINEAR, ZEV_DF_PP_QUADRATIC, ZEV_DF_PP_CUBIC,
                                   ZEV_DF_PP_CUBIC,  ZEV_DF_PP_CUBIC,     ZEV_DF_PP_CUBIC,
                                   ZEV_DF_PP_CUBIC,  ZEV_DF_PP_CUBIC};
  static const int64_t kType[] = {-1, -1, ZEV_DF_PP_DEFAULT, ZEV_DF_PP_NATURAL, ZEV_DF_PP_HERMITE,
                                  ZEV_DF_PP_BESSEL, ZEV_DF_PP_HYMAN, ZEV_DF_PP_AKIMA};
  if (t->spline_order != kOrder[b]) return ZEV_DF_ERROR_METHOD_NOT_SUPPORTED;
  if (b == kQuadratic
          ? (t->spline_type != ZEV_DF_PP_DEFAULT && t->spline_type != ZEV_DF_PP_SUBBOTIN)
          : (kType[b] >= 0 && t->spline_type != kType[b]))
    return ZEV_DF_ERROR_METHOD_NOT_SUPPORTED;

  Variant v = {7, kOwn, kOwn, false};
  bool valid_variant = variant_of(t->boundary_kind, t->spline_type, &v);
  int64_t nx = t->knot_count;
  static const int64_t kFewest[] = {2, 2, 3, 2, 3, 4, 4, 5};
  int64_t fewest = kFewest[b];
  if ((b == kNatural || b == kQuadratic) && t->boundary_kind == ZEV_DF_BC_NOT_A_KNOT) fewest = 3;
  if (nx < fewest) return ZEV_DF_ERROR_BAD_NX;

  if (t->function_hint != ZEV_DF_MATRIX_STORAGE_COLS &&
      t->function_hint != ZEV_DF_MATRIX_STORAGE_ROWS &&
      t->function_hint != ZEV_DF_MATRIX_STORAGE_FUNCS_SEP && t->function_hint != ZEV_DF_NO_HINT)
    return ZEV_DF_ERROR_BAD_Y_HINT;
  if (b != kLinear) {
    if (!valid_variant) return ZEV_DF_ERROR_BAD_BC_TYPE;
    if (v.needs_values && t->boundary_values == nullptr) return ZEV_DF_ERROR_NULL_BC;
  }
  if (t->knots == nullptr) return ZEV_DF_ERROR_NULL_X;
  if (!Knots<T>(t).ascending()) return ZEV_DF_ERROR_BAD_X;
  int64_t ny = t->function_count;
  if (ny <= 0) return ZEV_DF_ERROR_BAD_NY;
  if (t->function_rows == nullptr) return ZEV_DF_ERROR_NULL_Y;
  for (int64_t f = 0; f < (t->function_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny); ++f)
    if (t->function_rows[f] == nullptr) return ZEV_DF_ERROR_NULL_Y;
  if (t->coefficient_rows == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
  for (int64_t f = 0; f < (t->coefficient_hint == ZEV_DF_MATRIX_STORAGE_COLS ? 1 : ny); ++f)
    if (t->coefficient_rows[f] == nullptr) return ZEV_DF_ERROR_NULL_SCOEFF;
  if (b == kHermite) {
    if (t->internal_kind != ZEV_DF_IC_1ST_DER) return ZEV_DF_ERROR_BAD_IC_TYPE;
    if (t->internal_values == nullptr) return ZEV_DF_ERROR_NULL_IC;
  }
  bool subbotin = b == kQuadratic && t->spline_type == ZEV_DF_PP_SUBBOTIN;
  if (subbotin) {
    // Slopes of a C1 quadratic close only one condition across a periodic join.
    if (v.left == kPeriodic) return ZEV_DF_ERROR_BAD_BC_TYPE;
    if (t->internal_kind != ZEV_DF_NO_IC && !(t->internal_kind & ZEV_DF_IC_Q_KNOT))
      return ZEV_DF_ERROR_BAD_IC_TYPE;
    if ((t->internal_kind & ZEV_DF_IC_Q_KNOT) && t->internal_values == nullptr)
      return ZEV_DF_ERROR_NULL_IC;
  }

  Values<T> y(t);
  Coeffs<T> c(t);
  if (t->boundary_kind == ZEV_DF_BC_PERIODIC)
    for (int64_t f = 0; f < ny; ++f)
      if (!(y.at(f, 0) == y.at(f, nx - 1))) return ZEV_DF_ERROR_BAD_PERIODIC_VAL;

  Knots<T> knots(t);
  if (b == kLinear) {
    for (int64_t f = 0; f < ny; ++f) {
      if (knots.uniform) {
        T rstep = T(nx - 1) / (knots.last - knots.first);
        for (int64_t i = 0; i + 1 < nx; ++i) {
          T* p = c.at(f, i);
          p[0] = y.at(f, i);
          p[1] = (y.at(f, i + 1) - y.at(f, i)) * rstep;
        }
      } else {
        const T* x = knots.x;
        for (int64_t i = 0; i + 1 < nx; ++i) {
          T* p = c.at(f, i);
          p[0] = y.at(f, i);
          p[1] = (y.at(f, i + 1) - y.at(f, i)) / (x[i + 1] - x[i]);
        }
      }
    }
    return 0;
  }

  Work<T> w;
  if (!w.init(nx)) return ZEV_DF_ERROR_MEM_FAILURE;
  load_knots(t, w);
  const T* bc = static_cast<const T*>(t->boundary_values);

  if (subbotin) return subbotin_spline(t, v, bc, w, y, c);

  if (b == kQuadratic) {
    // C1 quadratic through the knots: d[i+1] = 2*delta[i] - d[i], from a left slope.
    for (int64_t f = 0; f < ny; ++f) {
      load_function(y, f, nx, w);
      const T *h = w.h, *del = w.delta;
      T d0;
      switch (v.left) {
        case kFirst: d0 = bc[0]; break;
        case kSecond: d0 = del[0] - bc[0] * h[0] / T(2); break;
        case kNotAKnot: d0 = del[0] - (del[1] - del[0]) / (h[0] + h[1]) * h[0]; break;
        case kPeriodic: {
          // d[nx-1] = (-1)^cells d0 + a; periodic slopes fix d0 for an odd
          // number of cells, and leave it to boundary_values[0] otherwise.
          T a = T(0);
          for (int64_t i = 0; i + 1 < nx; ++i) a = T(2) * del[i] - a;
          d0 = (nx - 1) % 2 ? a / T(2) : bc[0];
          break;
        }
        default: d0 = del[0]; break;  // free end: no curvature on the first piece
      }
      T d = d0;
      for (int64_t i = 0; i + 1 < nx; ++i) {
        T* p = c.at(f, i);
        p[0] = y.at(f, i);
        p[1] = d;
        p[2] = (del[i] - d) / h[i];
        d = T(2) * del[i] - d;
      }
    }
    return 0;
  }

  if (b == kDefault || b == kNatural) return c2_spline(t, v, bc, w, y, c);

  const T* ic = static_cast<const T*>(t->internal_values);
  for (int64_t f = 0; f < ny; ++f) {
    load_function(y, f, nx, w);
    local_slopes(b, v, bc, ic, f, w, nx);
    write_cubic(y, c, f, nx, w);
  }
  return 0;
}

}  // namespace
}  // namespace zev::df

using namespace zev::df;

extern "C" {
#define ZEV_DF_BUILDER(name, kind)                                           \
  ZEV_API int zev_df_kernel_d##name(zev_df_task t, int64_t method) {        \
    return build<double>(t, method, kind);                                   \
  }                                                                          \
  ZEV_API int zev_df_kernel_s##name(zev_df_task t, int64_t method) {        \
    return build<float>(t, method, kind);                                    \
  }
ZEV_DF_BUILDER(DFLinearSpline1D, kLinear)
ZEV_DF_BUILDER(DFQuadraticSpline1D, kQuadratic)
ZEV_DF_BUILDER(DFDefaultCubicSpline1D, kDefault)
ZEV_DF_BUILDER(DFNaturalCubicSpline1D, kNatural)
ZEV_DF_BUILDER(DFHermiteCubicSpline1D, kHermite)
ZEV_DF_BUILDER(DFBesselCubicSpline1D, kBessel)
ZEV_DF_BUILDER(DFHymanCubicSpline1D, kHyman)
ZEV_DF_BUILDER(DFAkimaCubicSpline1D, kAkima)
#undef ZEV_DF_BUILDER
}
