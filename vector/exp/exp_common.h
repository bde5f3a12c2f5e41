// Pieces shared by the kernels and scalar functions of the exponential family:
// full-width constant types, the special-lane tests, lane-by-lane table
// fetches, and the scalar helpers that scale a result by 2^n with one rounding.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/exp/exp_data.h"
#include "vector/shape.h"
#include "vector/vops.h"

namespace zev::vk::expk {

// The constant makers of vector/common/consts.h, also by these names.
using zev::vk::d2;
using zev::vk::f4;
using zev::vk::i2;
using zev::vk::i4;
using zev::vk::I2;
using zev::vk::I4;
using zev::vk::iv;

inline __m128 fv(__m128i v) { return _mm_castsi128_ps(v); }
inline __m128d dv(__m128i v) { return _mm_castsi128_pd(v); }

// The members of the family's policies: blocks, the unsigned reading of a
// negative count (polynomial rows) and the per-block evaluation.
template <class T, int Block, int BlockI = Block>
struct ExpPolicy : Blocks<T, Block, BlockI> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr bool kPerBlock = true;
};

// ---- special-lane tests ----------------------------------------------------

// Single: the sign-cleared bits of x, signed-compared, exceed the bound.
inline unsigned special_s(__m128 x, I4 bound) {
  const __m128i ax = _mm_and_si128(bits(x), _mm_set1_epi32(0x7FFFFFFF));
  return static_cast<unsigned>(_mm_movemask_ps(fv(_mm_cmpgt_epi32(ax, iv(bound)))));
}

// Double: the high words of a pair of vectors gathered into one vector, so one
// compare and one mask read serve four lanes.
inline unsigned special_d2(__m128d x0, __m128d x1, I4 bound) {
  const __m128 hi = _mm_shuffle_ps(_mm_castpd_ps(x0), _mm_castpd_ps(x1), _MM_SHUFFLE(3, 1, 3, 1));
  const __m128i ax = _mm_and_si128(_mm_castps_si128(hi), _mm_set1_epi32(0x7FFFFFFF));
  return static_cast<unsigned>(_mm_movemask_ps(fv(_mm_cmpgt_epi32(ax, iv(bound)))));
}

// The mask of NV double vectors, four lanes a compare.
template <int NV>
inline unsigned special_d(const __m128d (&x)[NV], I4 bound) {
  if constexpr (NV == 1) {
    return special_d2(x[0], x[0], bound) & 3u;
  } else {
    static_assert(NV % 2 == 0);
    unsigned m = 0;
    for (int k = 0; k < NV; k += 2) m |= special_d2(x[k], x[k + 1], bound) << (2 * k);
    return m;
  }
}

// Lane bits of a vector mask, for the selects of the NOERR shortcut.
inline __m128 lanes_s(unsigned m) {
  return fv(_mm_set_epi32(-static_cast<int>((m >> 3) & 1), -static_cast<int>((m >> 2) & 1),
                          -static_cast<int>((m >> 1) & 1), -static_cast<int>(m & 1)));
}
inline __m128d lanes_d(unsigned m) {
  return dv(_mm_set_epi64x(-static_cast<long long>((m >> 1) & 1), -static_cast<long long>(m & 1)));
}

// ---- reduction --------------------------------------------------------------

// x = k L + r for a table step L = l1 + l2, k l1 exact: t = x c + s (c = 1/L,
// s a rounding shifter) holds k in its low bits, kf = t - s is k as a value.
template <class C, class V>
inline V reduce(V x, const C& c, V& t) {
  t = add(mul(x, c.c), c.s);
  const V kf = sub(t, c.s);
  return sub(sub(x, mul(kf, c.l1)), mul(kf, c.l2));
}

// ---- table fetches: one load a lane, no gather --------------------------------

// Low 32 bits of each lane of the shifter's view, masked to an index. The
// indices leave the vector two at a time through 64-bit moves: fewer
// transfers than one a lane, and unsigned, so no sign extension follows.
inline void index4(__m128 t, int mask, unsigned (&j)[4]) {
  const __m128i m = _mm_and_si128(bits(t), _mm_set1_epi32(mask));
  const uint64_t lo = static_cast<uint64_t>(_mm_cvtsi128_si64(m));
  // pshufd, not movhlps: the compiler's movhlps would merge into a register
  // last written by a table load, a false dependency across blocks.
  const uint64_t hi = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_shuffle_epi32(m, _MM_SHUFFLE(3, 2, 3, 2))));
  j[0] = static_cast<uint32_t>(lo);
  j[1] = static_cast<uint32_t>(lo >> 32);
  j[2] = static_cast<uint32_t>(hi);
  j[3] = static_cast<uint32_t>(hi >> 32);
}
inline void index2(__m128d t, int mask, unsigned (&j)[2]) {
  const __m128i b = bits(t);
  j[0] = static_cast<uint32_t>(_mm_cvtsi128_si64(b)) & static_cast<unsigned>(mask);
  j[1] = static_cast<uint32_t>(_mm_cvtsi128_si64(_mm_shuffle_epi32(b, _MM_SHUFFLE(3, 2, 3, 2)))) & static_cast<unsigned>(mask);
}

// Pairs {hi, lo} of single for four lanes.
inline void fetch_pairs(const float (*tab)[2], const unsigned (&j)[4], __m128& hi, __m128& lo) {
  __m128 a = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(tab[j[0]])));
  a = _mm_castpd_ps(_mm_loadh_pd(_mm_castps_pd(a), reinterpret_cast<const double*>(tab[j[1]])));
  __m128 b = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(tab[j[2]])));
  b = _mm_castpd_ps(_mm_loadh_pd(_mm_castps_pd(b), reinterpret_cast<const double*>(tab[j[3]])));
  hi = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
  lo = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
}

// Pairs {hi, lo} of double for two lanes.
inline void fetch_pairs(const double (*tab)[2], const unsigned (&j)[2], __m128d& hi, __m128d& lo) {
  const __m128d a = _mm_load_pd(tab[j[0]]);
  const __m128d b = _mm_load_pd(tab[j[1]]);
  hi = _mm_unpacklo_pd(a, b);
  lo = _mm_unpackhi_pd(a, b);
}

inline __m128d fetch(const double* tab, const unsigned (&j)[2]) {
  return _mm_loadh_pd(_mm_load_sd(tab + j[0]), tab + j[1]);
}

// ---- scalar helpers ---------------------------------------------------------

// Infinities and NaN of the exponentials: -inf gives `low` (+0, or -1 for
// Expm1), +inf itself, NaN quiet. False for finite x.
inline bool nonfinite(float x, float* r, float low = 0.0f) {
  const uint32_t u = ubits(x);
  if ((u & 0x7F800000u) != 0x7F800000u) return false;
  *r = u == 0xFF800000u ? low : x * x;
  return true;
}
inline bool nonfinite(double x, double* r, double low = 0.0) {
  const uint64_t u = ubits(x);
  if ((u & 0x7FF0000000000000ull) != 0x7FF0000000000000ull) return false;
  *r = u == 0xFFF0000000000000ull ? low : x * x;
  return true;
}

// 2^n for -1022 <= n <= 1023.
inline double pow2i(int n) { return dfrom(static_cast<uint64_t>(n + 1023) << 52); }

// Results that raise the overflow or underflow flag as they are made.
inline double overflow_d() {
  volatile double big = 0x1.fffffffffffffp1023;
  return big * big;
}
inline double underflow_d() {
  volatile double tiny = 0x1p-1074;
  return tiny * tiny;
}
inline float overflow_f() {
  volatile float big = 0x1.fffffep127f;
  return big * big;
}
inline float underflow_f() {
  volatile float tiny = 0x1p-149f;
  return tiny * tiny;
}

// 2^n (hi + lo) rounded once to double, hi + lo in [0.5, 2) with |lo| far
// below hi. Denormal results are rounded once: the value is brought to units
// of 2^-1022, where adding 1 puts the rounding point at 2^-1074.
template <class F>
inline double scale_once(F hi, F lo, int n) {
  if (n > 1023) return static_cast<double>((hi + lo) * static_cast<F>(pow2i(n - 1023))) * 0x1p1023;
  if (n > -1022) return static_cast<double>((hi + lo) * static_cast<F>(pow2i(n)));
  const int m = n + 1022;  // <= 0
  const F s = m >= -1000 ? static_cast<F>(pow2i(m)) : F(0);
  const F zh = hi * s, zl = lo * s;
  if (zh + zl >= F(1)) return static_cast<double>((zh + zl) * static_cast<F>(0x1p-1022));
  const F one = 1;
  const F sh = one + zh;
  const F err = (one - sh) + zh;
  const F s2 = sh + (err + zl);
  return static_cast<double>((s2 - one) * static_cast<F>(0x1p-1022));
}

// The double Exp of the scalar functions, and the distribution generators'
// scalar exponential: 64 pairs {hi, lo}, degree-6 polynomial, one rounding
// at the end, denormal results included.
template <class F>
double exp_core(double x) {
  const F s = 6755399441055744.0;
  const F t = F(x) * F(92.33248261689366) + s;
  const F kf = t - s;
  const long long k = static_cast<long long>(kf);
  const F r = (F(x) - kf * F(0.010830424696223417)) - kf * F(2.572804622327669e-14);
  const F c3 = 0.1666666666665788, c4 = 0.04166666666677052, c5 = 0.008333341995140497,
          c6 = 0.0013888870459233254;
  const F q = ((((c6 * r + c5) * r + c4) * r + c3) * r + F(0.5)) * r * r + r;
  const int j = static_cast<int>(k & 63);
  const F hi = expdata::kD64[j][0], lo = expdata::kD64[j][1];
  return scale_once<F>(hi, lo + hi * q, static_cast<int>(k >> 6));
}

// 2^(zh + zl) as 2^n (hi + lo), |zh| < 1100, |zl| <= ulp(zh). F is double, or
// long double running with 53-bit precision control.
template <class F>
struct Pow2Parts {
  F hi, lo;
  int n;
};
template <class F>
inline Pow2Parts<F> pow2_parts(F zh, F zl) {
  const F shifter = 6755399441055744.0;  // 1.5 * 2^52
  const F t = zh * F(64) + shifter;
  const F kf = t - shifter;
  // k from the shifter's view; on the x87 unit this avoids a conversion that
  // would change the control word twice per element.
  long long k;
  if constexpr (sizeof(F) > sizeof(double))
    k = static_cast<long long>(ubits(static_cast<double>(t)) - ubits(6755399441055744.0));
  else
    k = static_cast<long long>(kf);
  const F f = (zh - kf * F(0.015625)) + zl;  // |f| <= 1/128 + tiny; the difference is exact
  // 2^f - 1 = sum (ln2 f)^i / i!, to degree 7: truncation below 2^-64.
  constexpr F c1 = 0x1.62e42fefa39efp-1, c2 = 0x1.ebfbdff82c58fp-3, c3 = 0x1.c6b08d704a0cp-5,
              c4 = 0x1.3b2ab6fba4e77p-7, c5 = 0x1.5d87fe78a6731p-10, c6 = 0x1.430912f86c787p-13,
              c7 = 0x1.ffcbfc588b0c7p-17;
  // Estrin's grouping: short dependency chains (they set the x87 kernel's pace).
  const F f2 = f * f;
  const F q = f * ((c1 + f * c2) + f2 * ((c3 + f * c4) + f2 * ((c5 + f * c6) + f2 * c7)));
  const int j = static_cast<int>(k & 63);
  const F th = expdata::kD64[j][0], tl = expdata::kD64[j][1];
  Pow2Parts<F> p;
  p.hi = th;
  p.lo = tl + th * q;
  p.n = static_cast<int>(k >> 6);
  return p;
}

// x log2(base) as a sum zh + zl, the constant given as a double pair.
template <class F>
inline void mul_log(F x, double ch, double cl, F& zh, F& zl) {
  F ph, pl;
  two_prod<F>(x, ch, ph, pl);
  zh = ph;
  zl = pl + x * F(cl);
}

// log2(e), log2(10) as double pairs.
constexpr double kLog2eHi = 0x1.71547652b82fep0, kLog2eLo = 0x1.777d0ffda0d24p-56;
constexpr double kLog2tenHi = 0x1.a934f0979a371p1, kLog2tenLo = 0x1.7f2495fb7fa6dp-53;

}  // namespace zev::vk::expk
