// Accuracy of the algebraic and remainder rows, shared by the zev_algebra_check
// tool (full run, docs/accuracy_algebra.md) and the tests (a quick run).
//
// Rounding functions (Inv, Div, Sqrt, InvSqrt, LinearFrac) against MPFR: the
// exact value at 256 bits, rounded to the target with its exponent range
// (overflow to infinity, subnormals), and the error in
// ulps of the exact value (relative error for EP). Exact functions against
// glibc, bit for bit.
//
// Inputs: random points with every binade equally likely (subnormals
// included) and uniform significands, a fixed seed, plus the boundary values
// of each format. Arrays of 1000 go through the plain entries, so block loop,
// tail and callout all take part.
#pragma once

#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"

namespace zev::algcheck {

template <class T> struct Fmt;
template <> struct Fmt<float> {
  using U = uint32_t;
  static constexpr int p = 24, emin = -126, emax = 127, ebits = 8;
  static constexpr const char* name = "single";
};
template <> struct Fmt<double> {
  using U = uint64_t;
  static constexpr int p = 53, emin = -1022, emax = 1023, ebits = 11;
  static constexpr const char* name = "double";
};

template <class T>
typename Fmt<T>::U to_bits(T x) {
  typename Fmt<T>::U u;
  memcpy(&u, &x, sizeof x);
  return u;
}
template <class T>
T from_bits(typename Fmt<T>::U u) {
  T x;
  memcpy(&x, &u, sizeof x);
  return x;
}

// A random value with its binade drawn uniformly from all binades (the
// subnormals count as one), uniform significand, sign as asked.
template <class T>
T random_binade(std::mt19937_64& g, bool positive_only) {
  using U = typename Fmt<T>::U;
  constexpr int mbits = Fmt<T>::p - 1;
  const U e = static_cast<U>(g() % ((1u << Fmt<T>::ebits) - 1));  // 0 .. max finite exponent field
  const U m = static_cast<U>(g()) & ((U(1) << mbits) - 1);
  U u = (e << mbits) | m;
  if (!positive_only && (g() & 1)) u |= U(1) << (sizeof(T) * 8 - 1);
  return from_bits<T>(u);
}

// Values at the edges of a format and of the functions here.
template <class T>
std::vector<T> boundary_values() {
  using L = std::numeric_limits<T>;
  std::vector<T> v = {T(0), T(1), T(2), T(0.5), T(3), L::min(), L::denorm_min(), L::max(), L::infinity(),
                      L::quiet_NaN(), std::nextafter(L::min(), T(0)), std::nextafter(L::min(), T(1)),
                      std::nextafter(T(1), T(0)), std::nextafter(T(1), T(2)), std::ldexp(T(1), L::max_exponent - 2),
                      std::ldexp(T(1.5), L::max_exponent - 2), std::ldexp(T(1), L::min_exponent - 1 + Fmt<T>::p)};
  const size_t n = v.size();
  for (size_t i = 0; i < n; ++i) v.push_back(-v[i]);
  return v;
}

// ---- errors against MPFR -------------------------------------------------------------

struct Worst {
  double err = 0;          // ulps, or relative error for EP
  double a = 0, b = 0;     // the input
  double got = 0, want = 0;
  long points = 0;
  long mismatches = 0;     // bit differences (correctly rounded rows) or special-value differences
};

// The exact value y (256 bits) against the kernel's result; `cr` receives y
// rounded to the target format (its exponent range included).
template <class T>
double ulp_error(const mpfr_t y, T got, T& cr, bool relative) {
  // mpfr_get_flt and mpfr_get_d round correctly, subnormals and overflow included.
  cr = sizeof(T) == 4 ? static_cast<T>(mpfr_get_flt(y, MPFR_RNDN)) : static_cast<T>(mpfr_get_d(y, MPFR_RNDN));
  if (mpfr_nan_p(y)) return std::isnan(got) ? 0.0 : INFINITY;
  if (std::isnan(got)) return INFINITY;
  if (std::isinf(cr) || std::isinf(got)) return (cr == got) ? 0.0 : INFINITY;
  if (mpfr_zero_p(y)) return got == 0 && std::signbit(got) == bool(mpfr_signbit(y)) ? 0.0 : INFINITY;
  // |got - y| in ulps of y (the ulp of the least normal binade below it).
  mpfr_t d;
  mpfr_init2(d, 320);
  mpfr_set_d(d, static_cast<double>(got), MPFR_RNDN);
  mpfr_sub(d, d, y, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  double e;
  if (relative) {
    mpfr_t ay;
    mpfr_init2(ay, 320);
    mpfr_abs(ay, y, MPFR_RNDN);
    mpfr_t least;
    mpfr_init2(least, 32);
    mpfr_set_ui_2exp(least, 1, Fmt<T>::emin, MPFR_RNDN);
    if (mpfr_less_p(ay, least)) mpfr_set(ay, least, MPFR_RNDN);
    mpfr_div(d, d, ay, MPFR_RNDN);
    e = mpfr_get_d(d, MPFR_RNDU);
    mpfr_clear(ay);
    mpfr_clear(least);
  } else {
    long ex = mpfr_get_exp(y) - 1;  // y = m * 2^ex with 1 <= m < 2
    if (ex < Fmt<T>::emin) ex = Fmt<T>::emin;
    mpfr_mul_2si(d, d, -(ex - Fmt<T>::p + 1), MPFR_RNDN);
    e = mpfr_get_d(d, MPFR_RNDU);
  }
  mpfr_clear(d);
  return e;
}

enum class Fn { Inv, Sqrt, InvSqrt, Div, LinearFrac };

// The exact value of a function at (a, b) (and the LinearFrac scalars).
inline void reference(mpfr_t y, Fn f, double a, double b, const double* s) {
  mpfr_t x, z, u;
  mpfr_inits2(256, x, z, u, (mpfr_ptr)0);
  mpfr_set_d(x, a, MPFR_RNDN);
  mpfr_set_d(z, b, MPFR_RNDN);
  switch (f) {
    case Fn::Inv: mpfr_ui_div(y, 1, x, MPFR_RNDN); break;
    case Fn::Sqrt: mpfr_sqrt(y, x, MPFR_RNDN); break;
    case Fn::InvSqrt:
      if (mpfr_zero_p(x))  // 1/sqrt(-0) is -inf, as the IEEE operations give it
        mpfr_set_inf(y, mpfr_signbit(x) ? -1 : 1);
      else
        mpfr_rec_sqrt(y, x, MPFR_RNDN);
      break;
    case Fn::Div: mpfr_div(y, x, z, MPFR_RNDN); break;
    case Fn::LinearFrac: {
      mpfr_t sa, ha, sb, hb;
      mpfr_inits2(256, sa, ha, sb, hb, (mpfr_ptr)0);
      mpfr_set_d(sa, s[0], MPFR_RNDN);
      mpfr_set_d(ha, s[1], MPFR_RNDN);
      mpfr_set_d(sb, s[2], MPFR_RNDN);
      mpfr_set_d(hb, s[3], MPFR_RNDN);
      mpfr_mul(x, x, sa, MPFR_RNDN);  // exact at 256 bits
      mpfr_add(x, x, ha, MPFR_RNDN);  // exact unless the exponents lie far apart
      mpfr_mul(z, z, sb, MPFR_RNDN);
      mpfr_add(z, z, hb, MPFR_RNDN);
      mpfr_div(y, x, z, MPFR_RNDN);
      mpfr_clears(sa, ha, sb, hb, (mpfr_ptr)0);
      break;
    }
  }
  mpfr_clears(x, z, u, (mpfr_ptr)0);
}

template <class T>
using UnaryFn = void (*)(int, const T*, T*);
template <class T>
using BinaryFn = void (*)(int, const T*, const T*, T*);
template <class T>
using LinearFracFn = void (*)(int, const T*, const T*, T, T, T, T, T*);

// Inputs of a function: boundary values (and their pairs), then random ones.
template <class T>
void make_inputs(Fn f, long count, uint64_t seed, std::vector<T>& a, std::vector<T>& b) {
  std::mt19937_64 g(seed);
  const bool positive = f == Fn::Sqrt || f == Fn::InvSqrt;
  const std::vector<T> edge = boundary_values<T>();
  for (T x : edge)
    for (T y : edge) {
      a.push_back(x);
      b.push_back(y);
      if (f != Fn::Div && f != Fn::LinearFrac) break;
    }
  while (static_cast<long>(a.size()) < count) {
    a.push_back(random_binade<T>(g, positive));
    if (f == Fn::LinearFrac) {
      // Moderate operands, so that the scalars of the call matter.
      const T x = static_cast<T>(std::ldexp(double(g() % 2000000) / 1000000.0 - 1.0, int(g() % 40) - 20));
      a.back() = x;
      b.push_back(static_cast<T>(std::ldexp(double(g() % 2000000) / 1000000.0 - 1.0, int(g() % 40) - 20)));
    } else {
      b.push_back(random_binade<T>(g, false));
    }
  }
}

// Runs one entry over `count` points and returns the worst error. For
// LinearFrac the scalars change every 1000 points.
template <class T>
Worst measure(Fn f, void (*entry)(), bool relative, bool bitwise, long count, uint64_t seed) {
  std::vector<T> a, b;
  make_inputs<T>(f, count, seed, a, b);
  std::vector<T> r(a.size());
  std::mt19937_64 g(seed ^ 0x5bd1e995);
  Worst w;
  mpfr_t y;
  mpfr_init2(y, 256);
  for (size_t off = 0; off < a.size(); off += 1000) {
    const int n = static_cast<int>(std::min<size_t>(1000, a.size() - off));
    double s[4] = {1, 0, 1, 0};
    switch (f) {
      case Fn::Inv:
      case Fn::Sqrt:
      case Fn::InvSqrt: reinterpret_cast<UnaryFn<T>>(entry)(n, &a[off], &r[off]); break;
      case Fn::Div: reinterpret_cast<BinaryFn<T>>(entry)(n, &a[off], &b[off], &r[off]); break;
      case Fn::LinearFrac:
        if (off > 0)
          for (double& v : s) v = static_cast<T>(std::ldexp(double(g() % 2000000) / 1000000.0 - 1.0, int(g() % 20) - 10));
        reinterpret_cast<LinearFracFn<T>>(entry)(n, &a[off], &b[off], T(s[0]), T(s[1]), T(s[2]), T(s[3]), &r[off]);
        break;
    }
    for (int i = 0; i < n; ++i) {
      const T x = a[off + i], z = b[off + i];
      reference(y, f, x, z, s);
      T cr;
      const double e = ulp_error<T>(y, r[off + i], cr, relative);
      ++w.points;
      const bool differs = std::isnan(cr) ? !std::isnan(r[off + i]) : to_bits(cr) != to_bits(r[off + i]);
      if (bitwise && differs) ++w.mismatches;
      if (e > w.err || std::isnan(e)) {
        w.err = e;
        w.a = x;
        w.b = z;
        w.got = r[off + i];
        w.want = cr;
      }
    }
  }
  mpfr_clear(y);
  return w;
}

// ---- exact functions against glibc ------------------------------------------------------

enum class Ex { Fmod, Remainder, NextAfter, CopySign, Fdim, Fmax, Fmin, MaxMag, MinMag, Modf };

// glibc's functions, called through pointers: the compiler treats fmax and
// its kin as commutative and would otherwise be free to swap the operands.
template <class T>
T glibc(Ex f, T a, T b, T* frac = nullptr) {
  using F2 = T (*)(T, T);
  using Fm = T (*)(T, T*);
  F2 fn = nullptr;
  Fm mf = nullptr;
  if constexpr (sizeof(T) == 4) {
    static F2 volatile t[9] = {fmodf, remainderf, nextafterf, copysignf, fdimf, fmaxf, fminf, fmaxmagf, fminmagf};
    static Fm volatile m = modff;
    if (f == Ex::Modf) mf = m; else fn = t[static_cast<int>(f)];
  } else {
    static F2 volatile t[9] = {fmod, remainder, nextafter, copysign, fdim, fmax, fmin, fmaxmag, fminmag};
    static Fm volatile m = modf;
    if (f == Ex::Modf) mf = m; else fn = t[static_cast<int>(f)];
  }
  if (mf) {
    *frac = mf(a, &b);
    return b;
  }
  return fn(a, b);
}

// Pairs for the exact functions: boundary values against each other, a
// signalling NaN, and random pairs (every binade; for Fmod and Remainder
// often close in exponent, where the vector path works).
template <class T>
void exact_inputs(Ex f, long count, uint64_t seed, std::vector<T>& a, std::vector<T>& b) {
  using U = typename Fmt<T>::U;
  std::mt19937_64 g(seed);
  std::vector<T> edge = boundary_values<T>();
  const U qbit = U(1) << (Fmt<T>::p - 2);
  const U expo = ((U(1) << Fmt<T>::ebits) - 1) << (Fmt<T>::p - 1);
  edge.push_back(from_bits<T>(expo | 1));                          // signalling NaN
  edge.push_back(from_bits<T>(expo | qbit | 5 | (U(1) << (sizeof(T) * 8 - 1))));  // negative quiet NaN, payload
  for (T x : edge)
    for (T y : edge) a.push_back(x), b.push_back(y);
  while (static_cast<long>(a.size()) < count) {
    T x = random_binade<T>(g, false), y = random_binade<T>(g, false);
    const int mode = static_cast<int>(g() % 4);
    if ((f == Ex::Fmod || f == Ex::Remainder) && mode < 3) {
      // |x/y| up to 2^(8 * mode): within and past the vector path's quotient bound.
      if (x != 0) {
        const int e = std::ilogb(x) - static_cast<int>(g() % (8 * mode + 2));
        y = std::ldexp(T(1) + T(g() % 1000) / T(1000), e);
        if (g() & 1) y = -y;
      }
    } else if (mode == 0) {
      y = x;
    } else if (mode == 1) {
      y = -x;
    }
    a.push_back(x);
    b.push_back(y);
  }
}

struct ExactResult {
  long points = 0, mismatches = 0;
  double a = 0, b = 0, got = 0, want = 0;  // first mismatch
};

template <class T>
ExactResult compare_exact(Ex f, void (*entry)(), long count, uint64_t seed) {
  std::vector<T> a, b;
  exact_inputs<T>(f, count, seed, a, b);
  std::vector<T> r(a.size()), r2(a.size());
  for (size_t off = 0; off < a.size(); off += 1000) {
    const int n = static_cast<int>(std::min<size_t>(1000, a.size() - off));
    if (f == Ex::Modf)
      reinterpret_cast<void (*)(int, const T*, T*, T*)>(entry)(n, &a[off], &r[off], &r2[off]);
    else
      reinterpret_cast<BinaryFn<T>>(entry)(n, &a[off], &b[off], &r[off]);
  }
  ExactResult res;
  for (size_t i = 0; i < a.size(); ++i) {
    T frac = 0;
    const T want = glibc<T>(f, a[i], b[i], &frac);
    bool ok = to_bits(want) == to_bits(r[i]);
    if (f == Ex::Modf) ok = ok && to_bits(frac) == to_bits(r2[i]);
    ++res.points;
    if (!ok && res.mismatches++ == 0) {
      res.a = a[i];
      res.b = b[i];
      res.got = r[i];
      res.want = want;
    }
  }
  return res;
}

}  // namespace zev::algcheck
