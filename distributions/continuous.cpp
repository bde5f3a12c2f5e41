// Continuous distributions by inverse transform: Exponential, Laplace,
// Weibull, Cauchy, Rayleigh, Gumbel, in single and double precision.
//
// Every method draws exactly one uniform per variate, always through the
// double generate function, so a single and a double call on equal streams
// consume the same numbers, and a call of n gives the same variates as calls
// of n1 and n - n1. Work goes in blocks of kBlock through stack buffers:
// draw, prepare the argument, one vector-kernel call, transform.
//
// The uniform is asked for on a lattice shifted by half a step of the 32-bit
// generators (2^-33), so that for them 1 - u never reaches 0 or 1 and the
// variates are symmetric about the median. The shift is exact: the generate
// function forms a + (b - a) u with b - a = -1, which rounds nothing for
// 32-bit words. A generator with a finer lattice only moves by 2^-33.
#include <emmintrin.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "distributions/dist_common.h"
#include "distributions/dist_math.h"

namespace {

using namespace zev::dist;

constexpr double kHalfStep = 0x1p-33;

// Argument of the logarithm of 1 - u, in blocks of m.
//   fast:     t = (1 - h) - u in (0, 1), and L = ln(t)
//   accurate: x = -h - u in (-1, 0), and L = log1p(x), which keeps full
//             relative precision of small u, where 1 - u would cancel.
// Both end with L = ln(1 - u - h) < 0. The clamps keep any generator's
// values (one whose lattice reaches the end) off the pole.
int draw_log_arg(void* stream, int m, bool acc, double* x) {
  const int st = acc ? draw(stream, m, x, -kHalfStep, -1.0 - kHalfStep)
                     : draw(stream, m, x, 1.0 - kHalfStep, -kHalfStep);
  if (st < 0) return st;
  const double lo = acc ? -1.0 + 0x1p-53 : DBL_MIN;
  for (int i = 0; i < m; ++i) x[i] = x[i] > lo ? x[i] : lo;
  return st;
}

// L = ln(1 - u) in double.
int log_tail(void* stream, int m, bool acc, double* L) {
  const int st = draw_log_arg(stream, m, acc, L);
  if (st < 0) return st;
  if (acc)
    _vqmdLog1p_HA(m, L, L);
  else
    _vqmdLn_50(m, L, L);
  return st;
}

// L = ln(1 - u) in single, from the same double uniforms.
//   fast:     t rounded to float once (relative precision of small t kept,
//             so the far tail is right; near L = 0 the rounding of t shows);
//   accurate: log1p in double, rounded once: float's rounding of x near -1
//             would undo what the accurate form is for.
int log_tail(void* stream, int m, bool acc, float* L, double* work) {
  if (acc) {
    const int st = log_tail(stream, m, true, work);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) L[i] = float(work[i]);
    return st;
  }
  // t = (1 - h) - u kept at FLT_MIN or above (NaN to FLT_MIN) and rounded,
  // four lanes at a time (the clamp at DBL_MIN of the double form is implied).
  const int st = draw(stream, m, work, 1.0 - kHalfStep, -kHalfStep);
  if (st < 0) return st;
  const __m128d lo = _mm_set1_pd(double(FLT_MIN));
  int i = 0;
  for (; i + 4 <= m; i += 4) {
    const __m128 a = _mm_cvtpd_ps(_mm_max_pd(_mm_loadu_pd(work + i), lo));
    const __m128 b = _mm_cvtpd_ps(_mm_max_pd(_mm_loadu_pd(work + i + 2), lo));
    _mm_storeu_ps(L + i, _mm_movelh_ps(a, b));
  }
  for (; i < m; ++i) _mm_store_ss(L + i, _mm_cvtsd_ss(_mm_setzero_ps(), _mm_max_sd(_mm_load_sd(work + i), lo)));
  _vqmsLn_21(m, L, L);
  return st;
}

template <class T>
int log_tail_any(void* stream, int m, bool acc, T* L, double* work) {
  if constexpr (sizeof(T) == 8)
    return log_tail(stream, m, acc, L);
  else
    return log_tail(stream, m, acc, L, work);
}


// Runs body(done, m) over blocks of kBlock; stops at a negative status.
template <class Body>
int for_blocks(int n, Body&& body) {
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = body(done, m);
    if (st < 0) return st;
    done += m;
  }
  return 0;
}

// ---- Exponential, Rayleigh -------------------------------------------------
// Both map L = ln(1 - u): loc - scale L, and loc + scale sqrt(-2 L).
template <class T, class Map>
int from_log_tail(int method, void* stream, int n, T* r, Map map) {
  QuietKernels quiet;
  T L[kBlock];
  double work[kBlock];
  return for_blocks(n, [&](int done, int m) {
    const int st = log_tail_any(stream, m, accurate(method), L, work);
    if (st < 0) return st;
    map(m, L, r + done);
    return 0;
  });
}

// Method 0 in double, in one pass: t = (1 - h) - u is drawn into a block,
// and each pair of lanes has its logarithm taken by ln_fast (within 1.3 ulp)
// and is mapped straight into r: no call of a vector row, no special lanes,
// no second pass over the block. The 32-bit generators' t lies on the
// lattice of multiples of 2^-33 in (0, 1), where ln_fast takes its short
// form; any other generator's t is clamped into [DBL_MIN, DBL_MAX] (NaN to
// DBL_MIN) and takes the general form, which agrees with the short one on
// that lattice.
template <bool Short, class Map>
int neg_log_pass(void* stream, int n, double* r, Map map) {
  double t[kBlock];
  const __m128d lo = _mm_set1_pd(DBL_MIN), hi = _mm_set1_pd(DBL_MAX);
  auto ln_t = [&](__m128d x) {
    if constexpr (Short)
      return ln_fast<true>(x);
    else
      return ln_fast<false>(_mm_min_pd(_mm_max_pd(x, lo), hi));
  };
  return for_blocks(n, [&](int done, int m) {
    const int st = draw(stream, m, t, 1.0 - kHalfStep, -kHalfStep);
    if (st < 0) return st;
    const NearestCsr nearest;
    double* out = r + done;
    int i = 0;
    for (; i + 2 <= m; i += 2) _mm_storeu_pd(out + i, map(ln_t(_mm_loadu_pd(t + i))));
    if (i < m) _mm_store_sd(out + i, map(ln_t(_mm_load_sd(t + i))));
    return 0;
  });
}

template <class Map>
int neg_log_pass(void* stream, int n, double* r, Map map) {
  return words32_lattice(stream) ? neg_log_pass<true>(stream, n, r, map) : neg_log_pass<false>(stream, n, r, map);
}

template <class T>
int exponential(int method, void* stream, int n, T* r, T loc, T scale) {
  if constexpr (sizeof(T) == 8) {
    if (!accurate(method)) {
      const __m128d l = _mm_set1_pd(loc), s = _mm_set1_pd(scale);
      return neg_log_pass(stream, n, r, [=](__m128d L) { return _mm_sub_pd(l, _mm_mul_pd(s, L)); });
    }
  }
  return from_log_tail(method, stream, n, r, [=](int m, const T* L, T* out) {
    for (int i = 0; i < m; ++i) out[i] = loc - scale * L[i];
  });
}

// sqrt(-2 L) by the packed square root, two or four lanes an instruction
// (the scalar std::sqrt keeps a branch for errno in every lane).
inline void minus2_sqrt(int m, double* L) {
  int i = 0;
  for (; i + 2 <= m; i += 2)
    _mm_storeu_pd(L + i, _mm_sqrt_pd(_mm_mul_pd(_mm_set1_pd(-2.0), _mm_loadu_pd(L + i))));
  if (i < m) _mm_store_sd(L + i, _mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(-2.0 * L[i])));
}
inline void minus2_sqrt(int m, float* L) {
  int i = 0;
  for (; i + 4 <= m; i += 4)
    _mm_storeu_ps(L + i, _mm_sqrt_ps(_mm_mul_ps(_mm_set1_ps(-2.0f), _mm_loadu_ps(L + i))));
  for (; i < m; ++i) _mm_store_ss(L + i, _mm_sqrt_ss(_mm_set_ss(-2.0f * L[i])));
}

template <class T>
int rayleigh(int method, void* stream, int n, T* r, T loc, T scale) {
  if constexpr (sizeof(T) == 8) {
    if (!accurate(method)) {
      const __m128d l = _mm_set1_pd(loc), s = _mm_set1_pd(scale), m2 = _mm_set1_pd(-2.0);
      return neg_log_pass(stream, n, r, [=](__m128d L) {
        return _mm_add_pd(l, _mm_mul_pd(s, _mm_sqrt_pd(_mm_mul_pd(m2, L))));
      });
    }
  }
  return from_log_tail(method, stream, n, r, [=](int m, T* L, T* out) {
    minus2_sqrt(m, L);
    for (int i = 0; i < m; ++i) out[i] = loc + scale * L[i];
  });
}

// ---- Weibull: loc + scale E^(1/c), E = -ln(1 - u) ---------------------------
template <class T>
int weibull(int method, void* stream, int n, T* r, T c, T loc, T scale) {
  if (!(c > 0 && c < std::numeric_limits<T>::infinity())) {
    for (int i = 0; i < n; ++i) r[i] = std::numeric_limits<T>::quiet_NaN();
    return 0;
  }
  QuietKernels quiet;
  const bool acc = accurate(method);
  const T inv_c = T(1.0 / double(c));
  T L[kBlock];
  double work[kBlock];
  return for_blocks(n, [&](int done, int m) {
    const int st = log_tail_any(stream, m, acc, L, work);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) L[i] = -L[i];
    if (acc) {
      if constexpr (sizeof(T) == 8)
        _vqmdPowx_HA(m, L, inv_c, L);
      else
        _vqmsPowx_HA(m, L, inv_c, L);
    } else {
      // exp(ln(E) / c): two cheap rows in place of the power, whose extra
      // precision the fast form does not buy.
      if constexpr (sizeof(T) == 8)
        _vqmdLn_50(m, L, L);
      else
        _vqmsLn_21(m, L, L);
      for (int i = 0; i < m; ++i) L[i] *= inv_c;
      if constexpr (sizeof(T) == 8)
        _vqmdExp_50(m, L, L);
      else
        _vqmsExp_21(m, L, L);
    }
    T* out = r + done;
    for (int i = 0; i < m; ++i) out[i] = loc + scale * L[i];
    return 0;
  });
}

// ---- Gumbel (maximum): loc - scale ln(E), E = -ln(1 - u) -------------------
// Single precision forms E in double and rounds it once: E from a float
// argument would be 0 for u below 2^-25, and ln(0) has no place here.
template <class T>
int gumbel(int method, void* stream, int n, T* r, T loc, T scale) {
  QuietKernels quiet;
  const bool acc = accurate(method);
  T L[kBlock];
  double work[kBlock];
  return for_blocks(n, [&](int done, int m) {
    if constexpr (sizeof(T) == 8) {
      const int st = log_tail(stream, m, acc, L);
      if (st < 0) return st;
      for (int i = 0; i < m; ++i) L[i] = -L[i];
      if (acc)
        _vqmdLn_HA(m, L, L);
      else
        _vqmdLn_50(m, L, L);
    } else {
      const int st = log_tail(stream, m, acc, work);
      if (st < 0) return st;
      for (int i = 0; i < m; ++i) L[i] = float(-work[i]);
      if (acc)
        _vqmsLn_HA(m, L, L);
      else
        _vqmsLn_21(m, L, L);
    }
    T* out = r + done;
    for (int i = 0; i < m; ++i) out[i] = loc - scale * L[i];
    return 0;
  });
}

// ---- Laplace ---------------------------------------------------------------
// v = 2u - 1 on the shifted lattice, in (-1, 1) and symmetric about 0;
// x = loc - sign(v) scale ln(1 - |v|).
//   fast:     ln(1 - |v|), 1 - |v| being exact for 32-bit lattices;
//   accurate: log1p(-|v|) in double for both precisions, its argument
//             exact for every generator (float would round 1 + x away).
template <class T>
int laplace(int method, void* stream, int n, T* r, T loc, T scale) {
  QuietKernels quiet;
  const bool acc = accurate(method);
  double v[kBlock], work[kBlock];
  T L[kBlock];
  return for_blocks(n, [&](int done, int m) {
    const int st = draw(stream, m, v, -1.0 + 2 * kHalfStep, 1.0 + 2 * kHalfStep);
    if (st < 0) return st;
    if (acc) {
      const double lo = -1.0 + 0x1p-53;
      for (int i = 0; i < m; ++i) {
        const double x = -std::fabs(v[i]);
        work[i] = x > lo ? x : lo;
      }
      _vqmdLog1p_HA(m, work, work);
      for (int i = 0; i < m; ++i) L[i] = T(work[i]);
    } else {
      const double lo = sizeof(T) == 8 ? DBL_MIN : double(FLT_MIN);
      for (int i = 0; i < m; ++i) {
        const double t = 1.0 - std::fabs(v[i]);
        L[i] = T(t > lo ? t : lo);
      }
      if constexpr (sizeof(T) == 8)
        _vqmdLn_50(m, L, L);
      else
        _vqmsLn_21(m, L, L);
    }
    T* out = r + done;
    for (int i = 0; i < m; ++i) {
      out[i] = loc - T(std::copysign(1.0, v[i])) * (scale * L[i]);
    }
    return 0;
  });
}

// ---- Cauchy: loc + scale tan(pi v), v = u - 1/2 -----------------------------
// No tangent row is used: with a = |v| in [0, 1/2), w = min(a, 1/2 - a) lies
// in [0, 1/4] and 1/2 - a is exact, so tan(pi v) = +-(sin/cos or cos/sin) of
// z = pi w, |z| <= pi/4, where the Taylor series of sine to z^17 and of
// cosine to z^16 are within 1e-18 relative. The result is within a few ulps.
constexpr double fact(int k) { return k <= 1 ? 1.0 : k * fact(k - 1); }

inline double tan_pi(double v) {
  constexpr double kPi = 3.141592653589793;
  const double a = std::fabs(v);
  const bool swap = a > 0.25;
  const double w = swap ? 0.5 - a : a;
  const double z = kPi * w, z2 = z * z;
  double s = 1.0 / fact(17);
  s = s * z2 - 1.0 / fact(15);
  s = s * z2 + 1.0 / fact(13);
  s = s * z2 - 1.0 / fact(11);
  s = s * z2 + 1.0 / fact(9);
  s = s * z2 - 1.0 / fact(7);
  s = s * z2 + 1.0 / fact(5);
  s = s * z2 - 1.0 / fact(3);
  s = z + z * (z2 * s);
  double c = 1.0 / fact(16);
  c = c * z2 - 1.0 / fact(14);
  c = c * z2 + 1.0 / fact(12);
  c = c * z2 - 1.0 / fact(10);
  c = c * z2 + 1.0 / fact(8);
  c = c * z2 - 1.0 / fact(6);
  c = c * z2 + 1.0 / fact(4);
  c = c * z2 - 0.5;
  c = 1.0 + z2 * c;
  const double num = swap ? c : s, den = swap ? s : c;
  const double t = num / den;
  return v < 0 ? -t : t;
}

template <class T>
int cauchy(int, void* stream, int n, T* r, T loc, T scale) {
  double v[kBlock];
  return for_blocks(n, [&](int done, int m) {
    const int st = draw(stream, m, v, -0.5 + kHalfStep, 0.5 + kHalfStep);
    if (st < 0) return st;
    T* out = r + done;
    for (int i = 0; i < m; ++i) out[i] = loc + scale * T(tan_pi(v[i]));
    return 0;
  });
}

}  // namespace

extern "C" {

#define ZEV_DIST_LOC_SCALE(Name, impl)                                                        \
  ZEV_API int _vqss##Name(int method, void* stream, int n, float* r, float loc, float scale) { \
    return impl<float>(method, stream, n, r, loc, scale);                                     \
  }                                                                                            \
  ZEV_API int _vqsd##Name(int method, void* stream, int n, double* r, double loc,             \
                          double scale) {                                                      \
    return impl<double>(method, stream, n, r, loc, scale);                                    \
  }

ZEV_DIST_LOC_SCALE(RngExponential, exponential)
ZEV_DIST_LOC_SCALE(RngRayleigh, rayleigh)
ZEV_DIST_LOC_SCALE(RngGumbel, gumbel)
ZEV_DIST_LOC_SCALE(RngLaplace, laplace)
ZEV_DIST_LOC_SCALE(RngCauchy, cauchy)
#undef ZEV_DIST_LOC_SCALE

ZEV_API int _vqssRngWeibull(int method, void* stream, int n, float* r, float c, float loc,
                            float scale) {
  return weibull<float>(method, stream, n, r, c, loc, scale);
}
ZEV_API int _vqsdRngWeibull(int method, void* stream, int n, double* r, double c, double loc,
                            double scale) {
  return weibull<double>(method, stream, n, r, c, loc, scale);
}

}  // extern "C"
