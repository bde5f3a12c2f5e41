// The extended-format (x87, 64-bit significand) pieces of the gamma and
// exponential-integral scalar functions: the kernels' control-word guard, and
// log, exp, sin(pi r), lgamma and gamma of long double arguments.
//
// Every operation here is an x87 add, subtract, multiply or divide, rounded
// to nearest at 64 bits under the guard's control word, so the results are
// the same bits on every processor; the transcendental x87 instructions
// (fyl2x, fsin), whose last bits differ between processor makers, are not
// used. The one step on SSE (the logarithm's row) is exact, so the caller's
// MXCSR, which these loops leave alone, cannot change it.
#pragma once

#include <cstdint>
#include <cstring>

#include "vector/gamma/gamma_data.h"
#include "vector/shape.h"

namespace zev::vk::gammax {

using LD = long double;
using namespace gammadata;

// The prologue of the element loops: unless the x87 control word already has
// its six exception masks set, 64-bit precision and round to nearest, those
// are loaded (the other bits kept) after clearing pending exceptions; the
// epilogue loads the saved word back. MXCSR is not touched.
class ExtGuard {
 public:
  static constexpr uint16_t kFields = 0x0F3F;  // rounding, precision, exception masks
  static constexpr uint16_t kWanted = 0x033F;  // nearest, 64-bit, all masked
  ExtGuard() {
    const uint16_t cw = x87_control();
    if ((cw & kFields) != kWanted) {
      saved_ = cw;
      x87_clear_exceptions();
      x87_load_control(static_cast<uint16_t>((cw & ~kFields) | kWanted));
      changed_ = true;
    }
  }
  // A caller's word that unmasks an exception would turn the flags raised
  // inside (inexact, nearly always) into a trap at its next x87 instruction:
  // they are cleared first.
  ~ExtGuard() {
    if (changed_) {
      if ((saved_ & kX87Masks) != kX87Masks) x87_clear_exceptions();
      x87_load_control(saved_);
    }
  }
  ExtGuard(const ExtGuard&) = delete;
  ExtGuard& operator=(const ExtGuard&) = delete;

 private:
  uint16_t saved_ = 0;
  bool changed_ = false;
};

// The extended format for one scalar call inside a vector kernel (whose
// guard set only the masks): the whole x87 environment is saved, the control
// word set as above, and the saved environment loaded back at the end, so
// the flags raised inside do not outlive the call (where the caller's word
// unmasks them they would trap at its next x87 instruction).
class ExtScope {
 public:
  ExtScope() {
    __asm__ volatile("fnstenv %0" : "=m"(env_)::"memory");  // also masks every exception
    const uint16_t cw = x87_control();
    x87_load_control(static_cast<uint16_t>((cw & ~ExtGuard::kFields) | ExtGuard::kWanted));
  }
  ~ExtScope() { __asm__ volatile("fldenv %0" ::"m"(env_) : "memory"); }
  ExtScope(const ExtScope&) = delete;
  ExtScope& operator=(const ExtScope&) = delete;

 private:
  struct {
    unsigned char bytes[28];
  } env_;
};

// The policy of the element loops: every lane goes through the scalar
// function F under the extended-format guard.
template <class T_, int (*F)(const T_*, T_*)>
struct ElementLoop {
  using T = T_;
  using V = typename Vec<T>::V;
  using Guard = ExtGuard;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = 8;
  static constexpr bool kEveryLane = true;
  static V eval(V x, V& special) {
    special = Vec<T>::ones();
    return x;
  }
  static int scalar(const T* a, T* r) { return F(a, r); }
};

// 2^k as a long double, |k| <= 16383, made from its bits. Within the double
// range it is loaded from a double's bits (one 8-byte store and load, which
// the processor forwards; the 10-byte value from two stores it cannot).
inline LD pow2(int k) {
  if (k >= -1022 && k <= 1023) {
    const uint64_t b = static_cast<uint64_t>(k + 1023) << 52;
    double d;
    memcpy(&d, &b, 8);
    return d;
  }
  const uint64_t m = 1ull << 63;
  const uint16_t se = static_cast<uint16_t>(16383 + k);
  unsigned char b[sizeof(LD)] = {};
  memcpy(b, &m, 8);
  memcpy(b + 8, &se, 2);
  LD v;
  memcpy(&v, b, sizeof(LD));
  return v;
}

// |x| of a finite x in the extended format. A subnormal x is made from its
// bits (an integer conversion and an x87 scaling): an SSE conversion or
// compare would read it as zero under a DAZ the caller set, which these
// loops leave alone.
template <class T>
inline LD abs_ext(T x) {
  constexpr bool single = sizeof(T) == 4;
  uint64_t b;
  if constexpr (single) {
    uint32_t u;
    memcpy(&u, &x, 4);
    b = u;
  } else {
    memcpy(&b, &x, 8);
  }
  const uint64_t e = b & (single ? uint64_t{0x7F800000u} : uint64_t{0x7FF0000000000000ull});
  if (e != 0) return x < 0 ? -LD(x) : LD(x);
  const uint64_t m = b & (single ? uint64_t{0x7FFFFFu} : uint64_t{0xFFFFFFFFFFFFFull});
  return static_cast<LD>(m) * pow2(single ? -149 : -1074);
}

// Biased exponent of a positive normal long double.
inline int biased_exponent(LD x) {
  unsigned char b[sizeof(LD)];
  memcpy(b, &x, sizeof(LD));
  uint16_t se;
  memcpy(&se, b + 8, 2);
  return se & 0x7FFF;
}

// c[0] + c[1] z + ... + c[N-1] z^(N-1): the first N of the coefficients.
// From six terms on, the even and the odd coefficients run as two Horner
// chains in z^2, E(z^2) + z O(z^2): the x87 multiply and add take 8 cycles a
// step in one chain, so two chains of half the length nearly halve the
// latency, and the polynomials are long (up to 32 terms). The error bound is
// the single chain's: a small multiple of the sum of the terms' magnitudes.
// The coefficients may be doubles where their rounding is negligible: a
// double loads as one micro-operation, a long double as four.
template <int N, class C, int M>
inline LD horner_n(const C (&c)[M], LD z) {
  static_assert(N <= M);
  if constexpr (N < 6) {
    LD p = c[N - 1];
    for (int k = N - 2; k >= 0; --k) p = p * z + LD(c[k]);
    return p;
  } else {
    const LD w = z * z;
    constexpr int ke = (N - 1) & ~1, ko = N % 2 == 0 ? N - 1 : N - 2;  // the top even and odd terms
    LD e = c[ke], o = c[ko];
    for (int k = ke - 2; k >= 0; k -= 2) e = e * w + LD(c[k]);
    for (int k = ko - 2; k >= 1; k -= 2) o = o * w + LD(c[k]);
    return e + z * o;
  }
}
template <class C, int N>
inline LD horner(const C (&c)[N], LD z) {
  return horner_n<N>(c, z);
}

// Nearest integer of |x| < 2^62, ties to even: 2^63 has unit spacing.
inline LD nearest(LD x) {
  const LD big = 0x1p63L;
  return x < 0 ? -((-x + big) - big) : (x + big) - big;
}

// ln x for a positive normal long double: x = 2^e m, m in [1, 2), c = 1 + i/32
// the nearest of 33 centres, s = (m - c)/(m + c) with |s| <= 2^-7 (m - c
// exact), ln m = ln c + 2 atanh s to s^11. Within 2^-63 relative.
//
// The exponent and the row come from the bits of x rounded to double (the
// rounding may carry x to the next binade: then m is just below 1 and the
// row is 0, c = 1, which serves as well). Arguments outside the normal double
// range take their exponent from the extended format itself.
inline LD log(LD x) {
  const double xd = static_cast<double>(x);
  uint64_t b;
  memcpy(&b, &xd, 8);
  const int eb = static_cast<int>(b >> 52);
  int e, i;
  LD m;
  if (__builtin_expect(eb >= 1 && eb <= 0x7FD, 1)) {
    e = eb - 1023;
    m = x * pow2(-e);                                    // [1, 2), or just below 1
    i = static_cast<int>(((b >> 46) & 63) + 1) >> 1;     // (m - 1) 32 rounded, from the top six fraction bits
  } else {
    e = biased_exponent(x) - 16383;
    m = x * pow2(-e);  // [1, 2)
    // The row by SSE on a double copy: (m - 1) 32 + 1/2 is exact there.
    i = static_cast<int>((static_cast<double>(m) - 1.0) * 32.0 + 0.5);
  }
  const LD c = 1 + i * (1.0L / 32);
  const LD s = (m - c) / (m + c);
  const LD p = s * horner(kLogAtanh, s * s);
  return (e * kExt.ln2_hi) + ((e * kExt.ln2_lo + kLogC[i]) + p);
}

// ln x for a positive double x, without a division: x = 2^e m, m in [1, 2),
// r = 1/c to 11 bits for the nearest of 257 centres c = 1 + i/256, u = m r - 1
// exact (53 + 11 bits), |u| < 2^-8.8, ln m = -ln r + ln(1 + u) to u^7. Within
// 2^-65 absolute plus 2^-64 relative (the row's -ln r is rounded); the gamma
// rows take it of arguments from 1.25 up or below 0.875, never near 1.
inline LD log_d(double x) {
  uint64_t b;
  memcpy(&b, &x, 8);
  const int eb = static_cast<int>(b >> 52);
  if (__builtin_expect(eb == 0, 0)) return log(x);  // subnormal
  const uint64_t mb = (b & 0x000FFFFFFFFFFFFFull) | 0x3FF0000000000000ull;
  double m;
  memcpy(&m, &mb, 8);
  const int e = eb - 1023;
  const int i = static_cast<int>(((b >> 43) & 511) + 1) >> 1;  // (m - 1) 256 rounded, from the top nine fraction bits
  const LD u = LD(m) * kLogInv[i] - 1;
  const LD p = u + (u * u) * horner(kLog1p, u);
  return (e * kExt.ln2_hi) + ((e * kExt.ln2_lo + kLogInvLn[i]) + p);
}

// e^y for |y| < 11000: y = k ln2 + r, |r| <= ln2/2, Taylor to degree 16.
// Within 2^-63 relative.
inline LD exp(LD y) {
  const LD k = nearest(y * kExt.inv_ln2);
  const LD r = (y - k * kExt.ln2_hi) - k * kExt.ln2_lo;  // k ln2_hi exact
  // k to an integer through a double (exact): a direct conversion of a long
  // double truncates by changing the x87 control word twice, each a stall.
  return horner(kExpTaylor, r) * pow2(static_cast<int>(static_cast<double>(k)));
}

// sin(pi r) for 0 <= r <= 1/2.
inline LD sinpi(LD r) { return r * horner(kSinPi, r * r); }

// ---- lgamma and gamma of positive arguments -----------------------------------

// lgamma(1 + t), t in [-0.125, 0.25).
inline LD lg_near1(LD t) { return t * horner(kLgNear1, t); }
// lgamma(1.5 + t), t in [-0.25, 0.25).
inline LD lg_mid(LD t) { return horner(kLgMid, t); }
// lgamma(2 + t), t in [-0.25, 0.25).
inline LD lg_near2(LD t) { return t * horner(kLgNear2, t); }

// lgamma(y), y in [0.875, 2.25).
inline LD lg_12(LD y) {
  if (y < 1.25L) return lg_near1(y - 1);
  if (y < 1.75L) return lg_mid(y - 1.5L);
  return lg_near2(y - 2);
}

// Stirling's series for x >= 8: (x - 1/2)(ln x - 1) + (ln(2 pi) - 1)/2 + r S(r^2),
// r = 1/x, S's coefficients c (terms by range: the first one left out stays
// below 2^-70 of the result).
template <int N, int M>
inline LD stirling(double xd, const double (&c)[M]) {
  const LD x = xd, r = 1 / x, z = r * r;
  return (x - 0.5L) * (log_d(xd) - 1) + (kExt.half_ln_2pi_m1 + r * horner_n<N>(c, z));
}

// From 64 on: the row of six terms, or from 512 on (the asymptotic branch,
// biased exponent 0x408 up) of four, picked by a select, not a branch, so
// that a block of such arguments runs as straight code.
inline LD stirling_wide(double xd) {
  return stirling<kStirlingTermsWide>(xd, kStirlingWide[xd >= 512 ? 1 : 0]);
}

inline LD lg_stirling(double xd) {
  if (xd >= 64) return stirling_wide(xd);
  return xd >= 16 ? stirling<10>(xd, kStirling) : stirling<kStirlingTerms>(xd, kStirling);
}

// lgamma of a positive double xd.
inline LD lg_pos(double xd) {
  const LD x = xd;
  if (x < 0.25L) return lg_near1(x) - log_d(xd);       // lgamma(1 + x) - ln x
  if (x < 0.875L) return lg_12(x + 1) - log_d(xd);     // x + 1 exact
  if (x < 2.25L) return lg_12(x);
  if (x < 8) {
    // lgamma(x - n) + ln((x - 1) ... (x - n)), x - n in [1.25, 2.25).
    const int n = static_cast<int>(static_cast<double>(x - 1.25L));
    LD p = x - 1;
    for (int j = 2; j <= n; ++j) p *= x - j;
    return lg_12(x - n) + log(p);
  }
  return lg_stirling(xd);
}

// gamma(y), y in [1, 2): e^lgamma(y), |lgamma(y)| < 0.13.
inline LD gamma_12(LD y) { return exp(lg_12(y)); }

// The product (x - 1)(x - 2) ... (x - n) on four chains, for 1 <= x < 2^11:
// every x - j is exact, so the factors come from a running t = x - j, with no
// integer conversion (a store and a load each) in the loop.
inline LD falling(LD x, int n) {
  LD p[4] = {1, 1, 1, 1};
  LD t = x - 1;
  int j = 1;
  for (; j + 3 <= n; j += 4, t -= 4) {
    p[0] *= t;
    p[1] *= t - 1;
    p[2] *= t - 2;
    p[3] *= t - 3;
  }
  for (; j <= n; ++j, t -= 1) p[0] *= t;
  return (p[0] * p[1]) * (p[2] * p[3]);
}

// The product x (x + 1) ... (x + n - 1) on four chains. Each x + j is formed
// from x itself, so the factor nearest a pole keeps all its bits; j runs as a
// long double (exact), with no integer conversion in the loop.
inline LD rising(LD x, int n) {
  LD p[4] = {1, 1, 1, 1};
  LD jf = 0;
  int j = 0;
  for (; j + 4 <= n; j += 4, jf += 4) {
    p[0] *= x + jf;
    p[1] *= x + (jf + 1);
    p[2] *= x + (jf + 2);
    p[3] *= x + (jf + 3);
  }
  for (; j < n; ++j, jf += 1) p[0] *= x + jf;
  return (p[0] * p[1]) * (p[2] * p[3]);
}

}  // namespace zev::vk::gammax
