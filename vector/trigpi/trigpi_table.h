// The table cores of the double half-turn and degree functions: the argument
// is cut exactly to a row of the circle table and a remainder, and the rest is
// the radian functions' own table step.
//
// One row of the circle table is pi/256, which is 1/256 of a half turn and
// 45/64 = 0.703125 of a degree, both exact. So k = round(a / step) by the
// rounding shifter (after the multiples of 4 half turns are taken out
// exactly, see trigpi.cpp) and v = a - k step are exact, |v| <= step/2 (plus a
// rounding of a/step near half-way points, which does no harm), and the low 9
// bits of k are the row on the whole circle, 8 bits the pivot of the tangent
// over its period. The remainder in radians, r + e = c v (c = pi or pi/180),
// is exact but for the last rounding: c = cHi + cLo with cHi of 26 bits and
// v = vh + vl cut at 26 bits, so cHi vh and cHi vl are exact, and a Fast2Sum
// normalises the sum. The rest is the sine step of the radian kernels on the
// same rows (HA), a shorter sum of it (LA), or the tangent on the pivot table.
//
// The tangent takes the reciprocal estimate of the processor, so it is a
// template on the estimator (tests/vector/trigpi runs it under the modelled
// worst estimates).
#pragma once

#include <emmintrin.h>

#include <type_traits>

#include "vector/common/consts.h"
#include "vector/trig/tan_core.h"
#include "vector/vops.h"

namespace zev::vk::trigpi {

#include "vector/trigpi/trigpi_coeffs.inc"

template <class U>
inline constexpr bool kHalfTurn = std::is_same_v<U, HalfTurn>;

// The constants of the table cores of one unit.
struct TableUnit {
  __m128d big, clamp, four, inv_step, step, shifter, hi, lo, c, mask26;
};
template <class U>
inline constexpr TableUnit kTableUnit = {
    d2(kHalfTurn<U> ? 0x1p43 : 0x1p46),             // from here on a / step leaves the shifter's range
    d2(kHalfTurn<U> ? 0x1p53 : 0x1p46),             // no result changes above (half turns); degrees: special
    d2(0x1p54),                                     // a + 2^54 - 2^54 rounds a to a multiple of 4
    d2(kHalfTurn<U> ? 256.0 : 256.0 / 180),         // 1 / step
    d2(kHalfTurn<U> ? 1.0 / 256 : 0.703125),        // one row, pi/256 in the unit
    d2(0x1.8p52),                                   // 1.5 * 2^52: rounds to k, k in the low bits
    d2(U::kHi * (kHalfTurn<U> ? 1.0 / 256 : 1.0)),  // c = hi + lo, hi of 26 bits (per 1/256 half turn)
    d2(U::kLo * (kHalfTurn<U> ? 1.0 / 256 : 1.0)),
    d2(U::kC * (kHalfTurn<U> ? 1.0 / 256 : 1.0)),   // c rounded
    q2(0xFFFFFFFFF8000000ull),                      // the top 26 bits of a double
};

// A block with a lane from 2^43 half turns on (or an infinity, a NaN, a
// degree lane that is special): half turns lose their multiples of 4, exactly,
// b = a - ((a + 2^54) - 2^54) in [-2, 2] (from 2^53 on every double is an
// even integer, so the cut to 2^53 changes no result); degree lanes are cut so
// that they compute nothing undefined (the scalar function takes them).
template <class U>
__attribute__((noinline)) __m128d cut_big(__m128d a) {
  const TableUnit& k = kTableUnit<U>;
  a = _mm_min_pd(a, k.clamp);  // NaN lanes take the clamp
  if constexpr (kHalfTurn<U>) a = sub(a, sub(add(a, k.four), k.four));
  return a;
}

// a = |x| cut to a row and the remainder r + e in radians (e = 0 with Exact
// false, for LA: r = c v rounded once); a below `big` (cut_big first).
template <class U, bool Exact>
[[gnu::always_inline]] inline trig::Reduced reduce_rows(__m128d a) {
  const TableUnit& k = kTableUnit<U>;
  // Half turns: w = 256 a is exact and v = w - k is in 1/256 half turns
  // (the constants c carry the 1/256); degrees: v = a - 45/64 k.
  const __m128d w = mul(a, k.inv_step);
  const __m128d t = add(w, k.shifter);
  const __m128d v = kHalfTurn<U> ? sub(w, sub(t, k.shifter)) : sub(a, mul(sub(t, k.shifter), k.step));
  if constexpr (!Exact) return {mul(v, k.c), _mm_setzero_pd(), _mm_castpd_si128(t)};
  const __m128d vh = and_(v, k.mask26), vl = sub(v, vh);
  const __m128d p = mul(k.hi, vh);
  const __m128d q = add(mul(k.hi, vl), mul(k.lo, v));
  const __m128d r = add(p, q);
  return {r, add(sub(p, r), q), _mm_castpd_si128(t)};
}

// sin(B + r) from the rows j + turn with e = 0, summed once: the LA step.
// sinHi + C r + (sinLo + C r^3 S(z) + sinHi z K(z)), C = cosHi + cosLo.
inline __m128d table_sin_short(const trig::Reduced& red, unsigned turn) {
  const trig::TableConst& c = trig::kTab;
  const trig::TableRows row = trig::table_rows(red.j, turn);
  const __m128d r = red.r, z = mul(r, r);
  const __m128d C = add(row.cosLo, row.cosHi);
  const __m128d s = mul(mul(add(mul(c.s5, z), c.s3), z), r);
  const __m128d cp = mul(add(mul(add(mul(c.c6, z), c.c4), z), c.c2), z);
  const __m128d rest = add(add(row.sinLo, mul(C, s)), mul(row.sinHi, cp));
  return add(row.sinHi, add(mul(C, r), rest));
}

// sin and cos of a = |x| in the unit (HA: Exact, LA: not), before the sign
// of x. A zero comes out +0: v = +0 on rows 0 and 256, whose sine and cosine
// fields are +0 and +-1, and every sum of the step then holds +0.
template <class U, bool Exact>
[[gnu::always_inline]] inline __m128d table_sin_cos(__m128d a, unsigned turn) {
  const trig::Reduced red = reduce_rows<U, Exact>(a);
  return Exact ? trig::table_sin(red, turn) : table_sin_short(red, turn);
}

// tan of a = |x| in the unit on the pivot table, before the sign of x.
// Where v = 0 (rare), `pole` gets the lanes at a pole (row 128 of the
// period), whose row is turned to 0 so that they compute nothing undefined,
// and tan(n half turns) is +0 for even n and -0 for odd n (bit 8 of k).
template <class U, class E>
[[gnu::always_inline]] inline __m128d table_tan(__m128d a, __m128d& pole) {
  trig::Reduced red = reduce_rows<U, true>(a);
  const __m128d vzero = cmpeq(red.r, _mm_setzero_pd());
  const bool any_zero = _mm_movemask_pd(vzero) != 0;
  const __m128i k = red.j;
  if (__builtin_expect(any_zero, 0)) {
    const __m128i row = _mm_and_si128(k, _mm_set1_epi64x(255));
    const __m128i at128 = _mm_shuffle_epi32(_mm_cmpeq_epi32(row, _mm_set1_epi64x(128)), _MM_SHUFFLE(2, 2, 0, 0));
    pole = and_(vzero, _mm_castsi128_pd(at128));
    red.j = _mm_andnot_si128(_mm_castpd_si128(pole), k);
  }
  __m128d y = trig::tan_pivot<E>(red.r, red.e, red.j);
  if (__builtin_expect(any_zero, 0)) {
    const __m128d odd = _mm_castsi128_pd(_mm_slli_epi64(_mm_srli_epi64(k, 8), 63));
    y = add(y, _mm_setzero_pd());
    y = or_(y, and_(cmpeq(y, _mm_setzero_pd()), odd));
  }
  return y;
}

}  // namespace zev::vk::trigpi
