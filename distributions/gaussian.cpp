// The Gaussian family: _vqsdRngGaussian and _vqssRngGaussian (three methods),
// the multivariate normal _vq?RngGaussianMV and the lognormal _vq?RngLognormal.
//
// These are the distribution generators that call vector kernels through the
// function rows: double through slot 2 of a row, single through slot 0. Every
// call runs inside a wrapper that masks the floating-point exceptions, sets
// the error mode to the callback and installs a callback that gives the two
// special inputs a finite result (ln 0 and the inverse error function of -1
// and 1), so that a uniform at the very end of its range still yields a
// finite variate; the caller's mode, callback and control words are restored
// on the way out.
#include <emmintrin.h>

#include <cstring>

#include "distributions/dist_common.h"
#include "zev/zev_core.h"
#include "zev/zev_core_blas.h"
#include "zev/zev_vqm_functions.h"

namespace {

using zev::dist::kBlock;

template <class T>
using Unary = void (*)(int, const T*, T*);
template <class T>
using Binary2 = void (*)(int, const T*, T*, T*);

// The kernels a precision uses, each by its row and slot.
template <class T>
struct Rows;
template <>
struct Rows<double> {
  static constexpr int kSlot = 2;
  static Unary<double> sin() { return reinterpret_cast<Unary<double>>(zev_vqm_kernel_dSin_ttab[kSlot]); }
  static Unary<double> cos() { return reinterpret_cast<Unary<double>>(zev_vqm_kernel_dCos_ttab[kSlot]); }
  static Binary2<double> sincos() {
    return reinterpret_cast<Binary2<double>>(zev_vqm_kernel_dSinCos_ttab[kSlot]);
  }
  static Unary<double> ln() { return reinterpret_cast<Unary<double>>(zev_vqm_kernel_dLn_ttab[kSlot]); }
  static Unary<double> sqrt() { return reinterpret_cast<Unary<double>>(zev_vqm_kernel_dSqrt_ttab[kSlot]); }
  static Unary<double> erfinv() {
    return reinterpret_cast<Unary<double>>(zev_vqm_kernel_dErfInv_ttab[kSlot]);
  }
  static Unary<double> exp() { return reinterpret_cast<Unary<double>>(zev_vqm_kernel_dExp_ttab[kSlot]); }
  static constexpr double kTwoPi = 6.283185307179586;  // 0x401921FB54442D18
  static constexpr double kSqrt2 = 1.4142135623730951;
  static constexpr int kPendingChunk = 2;
};
template <>
struct Rows<float> {
  static constexpr int kSlot = 0;
  static Unary<float> sin() { return reinterpret_cast<Unary<float>>(zev_vqm_kernel_sSin_ttab[kSlot]); }
  static Unary<float> cos() { return reinterpret_cast<Unary<float>>(zev_vqm_kernel_sCos_ttab[kSlot]); }
  static Binary2<float> sincos() {
    return reinterpret_cast<Binary2<float>>(zev_vqm_kernel_sSinCos_ttab[kSlot]);
  }
  static Unary<float> ln() { return reinterpret_cast<Unary<float>>(zev_vqm_kernel_sLn_ttab[kSlot]); }
  static Unary<float> sqrt() { return reinterpret_cast<Unary<float>>(zev_vqm_kernel_sSqrt_ttab[kSlot]); }
  static Unary<float> erfinv() { return reinterpret_cast<Unary<float>>(zev_vqm_kernel_sErfInv_ttab[kSlot]); }
  static Unary<float> exp() { return reinterpret_cast<Unary<float>>(zev_vqm_kernel_sExp_ttab[kSlot]); }
  static constexpr float kTwoPi = 6.2831855f;  // 0x40C90FDB
  static constexpr float kSqrt2 = 1.41421356f;
  static constexpr int kPendingChunk = 1;
};

// Uniforms on (a, b) by the uniform generator, method 0.
int uniform(void* stream, int n, double* r, double a, double b) {
  return _vqsdRngUniform(0, stream, n, r, a, b);
}
int uniform(void* stream, int n, float* r, float a, float b) {
  return _vqssRngUniform(0, stream, n, r, a, b);
}

// One kernel call with denormals kept, the mode restored after it.
template <class K, class... A>
void call(K kernel, A... args) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_FTZDAZ_OFF);
  kernel(args...);
  zev_vqm_kernel_SetMode(old);
}

// The replacement results: ln 0 gives the logarithm of the least subnormal,
// the inverse error function at -1 and 1 (pole) and beyond (invalid) the
// value of the least and greatest uniform's image.
template <class T>
struct Replacement;
template <>
struct Replacement<double> {
  static constexpr double kLnZero = -744.4400719213812, kErfInvEnd = 5.8635847487551676;
};
template <>
struct Replacement<float> {
  static constexpr double kLnZero = -103.2789306640625, kErfInvEnd = 3.8325068950653076;
};

template <class T>
int replace(zev_vqm_error_record* rec) {
  double v;
  if (rec->status == VQM_STATUS_SINGULARITY && rec->a1 == 0) v = Replacement<T>::kLnZero;
  else if (rec->status == VQM_STATUS_SINGULARITY) v = rec->a1 < 0 ? -Replacement<T>::kErfInvEnd : Replacement<T>::kErfInvEnd;
  else if (rec->status == VQM_STATUS_DOMAIN) v = rec->a1 < 0 ? -Replacement<T>::kErfInvEnd : Replacement<T>::kErfInvEnd;
  else return 0;
  rec->r1 = rec->r2 = v;
  return 0;
}

// The wrapper: exceptions masked (the x87 word too for double), the callback
// mode and the replacement callback installed; all restored in reverse order.
template <class T, class F>
int wrapped(F body) {
  unsigned short x87 = 0;
  if (sizeof(T) == 8) {
    __asm__ volatile("fnclex\n\tfnstcw %0" : "=m"(x87));
    unsigned short masked = x87 | 0x3F;
    __asm__ volatile("fldcw %0" : : "m"(masked));
  }
  const unsigned mxcsr = _mm_getcsr();
  _mm_setcsr(mxcsr | 0x1F80);
  const unsigned mode = zev_vqm_kernel_SetMode(VQM_ERRMODE_CALLBACK);
  const zev_vqm_error_callback cb = zev_vqm_kernel_SetErrorCallBack(replace<T>);
  const int status = body();
  zev_vqm_kernel_SetErrorCallBack(cb);
  zev_vqm_kernel_SetMode(mode);
  _mm_setcsr(mxcsr);
  if (sizeof(T) == 8) __asm__ volatile("fldcw %0" : : "m"(x87));
  return status;
}

// R = sqrt(-2 ln u1) for m values of u1, in place.
template <class T>
void radius(int m, T* x) {
  call(Rows<T>::ln(), m, static_cast<const T*>(x), x);
  for (int i = 0; i < m; ++i) x[i] = -(x[i] + x[i]);
  call(Rows<T>::sqrt(), m, static_cast<const T*>(x), x);
}

// Method 0: two uniforms, one variate (R sin w).
template <class T>
int box_muller_one(void* stream, int n, T* r, T a, T sigma) {
  alignas(16) T u[2 * kBlock], w[kBlock], s[kBlock], x[kBlock];
  for (int pos = 0; pos < n; pos += kBlock) {
    const int m = n - pos < kBlock ? n - pos : kBlock;
    const int st = uniform(stream, 2 * m, u, T(0), T(1));
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) x[i] = u[2 * i], w[i] = u[2 * i + 1] * Rows<T>::kTwoPi;
    call(Rows<T>::sin(), m, static_cast<const T*>(w), s);
    radius(m, x);
    for (int i = 0; i < m; ++i) r[pos + i] = (x[i] * sigma) * s[i] + a;
  }
  return 0;
}

// Method 1: pairs R sin w, R cos w; an odd count leaves the raw pair of its
// last variate pending in a chunk of the stream, whose cosine variate the
// next call gives first. sigma and a are applied as each block is written
// ((R t) sigma + a, the rounding of a last pass over the output), so that
// the output is touched once.
template <class T>
int box_muller_pairs(void* stream, int n, T* r, T a, T sigma) {
  constexpr int kId = Rows<T>::kPendingChunk;
  auto* pending = static_cast<T*>(__vqsSearchChunk(stream, kId));
  if (pending == nullptr) {
    pending = static_cast<T*>(zev_serv_allocate(2 * sizeof(T), 128));
    if (pending == nullptr) return ZEV_VQS_ERR_NOMEM;
    pending[0] = pending[1] = T(-1);
    const int st = __vqsAddChunk(stream, kId, nullptr, pending, 2 * sizeof(T));
    if (st < 0) {
      zev_serv_deallocate(pending);
      return st;
    }
  }
  if (n <= 0) return 0;
  int pos = 0;
  if (pending[0] != T(-1)) {  // the cosine variate of the pending pair
    T w = pending[1] * Rows<T>::kTwoPi, c, x = pending[0];
    call(Rows<T>::cos(), 1, static_cast<const T*>(&w), &c);
    radius(1, &x);
    r[0] = (x * c) * sigma + a;
    pos = 1;
  }
  const int owed = n - pos;
  alignas(16) T u[kBlock], w[kBlock / 2], s[kBlock / 2], c[kBlock / 2], x[kBlock / 2];
  auto pairs = [&](int m) {  // m pairs into r[pos..pos + 2m)
    const int st = uniform(stream, 2 * m, u, T(0), T(1));
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) x[i] = u[2 * i], w[i] = u[2 * i + 1] * Rows<T>::kTwoPi;
    call(Rows<T>::sincos(), m, static_cast<const T*>(w), s, c);
    radius(m, x);
    for (int i = 0; i < m; ++i) {
      r[pos + 2 * i] = (x[i] * s[i]) * sigma + a;
      r[pos + 2 * i + 1] = (x[i] * c[i]) * sigma + a;
    }
    pos += 2 * m;
    return 0;
  };
  for (int b = owed >> 10; b > 0; --b)
    if (int st = pairs(kBlock / 2)) return st;
  if (const int m = (n - pos) >> 1; m > 0)
    if (int st = pairs(m)) return st;
  if (owed & 1) {  // one pair more: its sine variate now, its raw pair kept
    T uv[2];
    const int st = uniform(stream, 2, uv, T(0), T(1));
    if (st < 0) return st;
    T wl = uv[1] * Rows<T>::kTwoPi, sl, xl = uv[0];
    call(Rows<T>::sin(), 1, static_cast<const T*>(&wl), &sl);
    radius(1, &xl);
    r[n - 1] = (xl * sl) * sigma + a;
    pending[0] = uv[0], pending[1] = uv[1];
  } else {
    pending[0] = pending[1] = T(-1);
  }
  return 0;
}

// Method 2: one uniform on (-1, 1) a variate through the inverse error
// function.
template <class T>
int inverse(void* stream, int n, T* r, T a, T sigma) {
  if (n <= 0) return 0;
  const int st = uniform(stream, n, r, T(-1), T(1));
  if (st < 0) return st;
  call(Rows<T>::erfinv(), n, static_cast<const T*>(r), r);
  const T f = sigma * Rows<T>::kSqrt2;
  for (int i = 0; i < n; ++i) r[i] = r[i] * f + a;
  return 0;
}

template <class T>
int gaussian(int method, void* stream, int n, T* r, T a, T sigma) {
  if (method < 0 || method > 2) return ZEV_VQS_ERR_BAD_ARG;
  return wrapped<T>([&] {
    switch (method) {
      case 0: return box_muller_one(stream, n, r, a, sigma);
      case 1: return box_muller_pairs(stream, n, r, a, sigma);
      default: return inverse(stream, n, r, a, sigma);
    }
  });
}

template <class T>
struct Blas;
template <>
struct Blas<double> {
  static constexpr auto small = zev_blas_xdtrmm_4vqm;
  static constexpr auto large = zev_blas4vqm_dtrmm;
  static constexpr auto packed = zev_blas4vqm_dptrmm;
};
template <>
struct Blas<float> {
  static constexpr auto small = zev_blas_xstrmm_4vqm;
  static constexpr auto large = zev_blas4vqm_strmm;
  static constexpr auto packed = zev_blas4vqm_sptrmm;
};

template <class T>
int gaussian_mv(int method, void* stream, int n, T* r, int dimen, int mstorage, const T* a,
                const T* t) {
  if (dimen == 1) return gaussian(method, stream, n, r, a[0], t[0]);
  const int st = gaussian(method, stream, n * dimen, r, T(0), T(1));
  if (st < 0) return st;
  if (n <= 0 || dimen <= 0) return st;
  const T one = 1;
  switch (mstorage) {
    case ZEV_RNG_GAUSSIAN_MV_FULL:
      (dimen <= 10 ? Blas<T>::small : Blas<T>::large)("L", "U", "T", "N", &dimen, &n, &one, t, &dimen,
                                                        r, &dimen);
      break;
    case ZEV_RNG_GAUSSIAN_MV_PACKED:
      Blas<T>::packed("L", "L", "N", "N", &dimen, &n, &one, t, r, &dimen);
      break;
    case ZEV_RNG_GAUSSIAN_MV_DIAGONAL:
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < dimen; ++j) r[static_cast<int64_t>(i) * dimen + j] = r[static_cast<int64_t>(i) * dimen + j] * t[j] + a[j];
      return st;
    default:
      return st;
  }
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < dimen; ++j) r[static_cast<int64_t>(i) * dimen + j] += a[j];
  return st;
}

template <class T>
int lognormal(int method, void* stream, int n, T* r, T a, T sigma, T b, T beta) {
  const int st = gaussian(method == 0 ? 1 : 2, stream, n, r, a, sigma);
  if (st < 0 || n <= 0) return st;
  wrapped<T>([&] {
    call(Rows<T>::exp(), n, static_cast<const T*>(r), r);
    return 0;
  });
  const bool clamp = zev::dist::accurate(method);
  for (int i = 0; i < n; ++i) {
    const T v = r[i] * beta + b;
    r[i] = clamp && v < b ? b : v;
  }
  return st;
}

}  // namespace

extern "C" {

ZEV_API int _vqsdRngGaussian(int method, void* stream, int n, double* r, double a, double sigma) {
  return gaussian(method, stream, n, r, a, sigma);
}
ZEV_API int _vqssRngGaussian(int method, void* stream, int n, float* r, float a, float sigma) {
  return gaussian(method, stream, n, r, a, sigma);
}
ZEV_API int _vqsdRngGaussianMV(int method, void* stream, int n, double* r, int dimen, int mstorage,
                               const double* a, const double* t) {
  return gaussian_mv(method, stream, n, r, dimen, mstorage, a, t);
}
ZEV_API int _vqssRngGaussianMV(int method, void* stream, int n, float* r, int dimen, int mstorage,
                               const float* a, const float* t) {
  return gaussian_mv(method, stream, n, r, dimen, mstorage, a, t);
}
ZEV_API int _vqsdRngLognormal(int method, void* stream, int n, double* r, double a, double sigma,
                              double b, double beta) {
  return lognormal(method, stream, n, r, a, sigma, b, beta);
}
ZEV_API int _vqssRngLognormal(int method, void* stream, int n, float* r, float a, float sigma,
                              float b, float beta) {
  return lognormal(method, stream, n, r, a, sigma, b, beta);
}

}  // extern "C"
