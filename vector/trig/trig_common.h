// Pieces shared by the circular kernels: the table row step that turns a
// reduced argument and a row of the circle table into a sine, the vector
// Payne-Hanek reduction of large arguments, and the special values.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/bits.h"
#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/trig/trig_data.h"
#include "vector/vops.h"

namespace zev::vk::trig {

inline __m128d dv(__m128i v) { return _mm_castsi128_pd(v); }
inline __m128 fv(__m128i v) { return _mm_castsi128_ps(v); }

// Constants of the circle-table kernels (dSin, dCos, dSinCos at HA).
struct TableConst {
  __m128d inv, shifter, p1, p2, p3, bound, s5, s3, c6, c4, c2, sign, abs;
};
alignas(16) inline constexpr TableConst kTab = {
    .inv = d2(81.487330863050417),          // 256/pi: a in units of the row step pi/256
    .shifter = d2(6755399441055744.0),      // 1.5 * 2^52: rounds to k, k's low bits in the word
    .p1 = q2(0x3F8921FB54400000),           // pi/256 in three parts: k p1 is exact
    .p2 = q2(0x3D60B4611A600000),           // second part: k p2 is exact
    .p3 = q2(0x3B33198A2E037073),           // third part
    .bound = q2(0x40F000000E4DB24C),        // 65536.00349206588: above it, and NaN, the large path
    .s5 = q2(0x3F81110FABB3551C),           // sin r - r ~ r z (s3 + s5 z): s5
    .s3 = q2(0xBFC5555555554448),           // s3
    .c6 = q2(0xBF56C16AB163B2D7),           // cos r - 1 ~ z (c2 + z (c4 + z c6)): c6
    .c4 = q2(0x3FA5555555554CCF),           // c4
    .c2 = q2(0xBFE0000000000000),           // c2 = -1/2
    .sign = q2(0x8000000000000000),         // the sign bit
    .abs = q2(0x7FFFFFFFFFFFFFFF),          // all but the sign bit
};

// A reduced argument of two double lanes: r + e, |r| up to about pi/512, and
// the words whose low 9 bits are the row numbers of the circle table.
struct Reduced {
  __m128d r, e;
  __m128i j;
};

// Cody-Waite reduction of a = |x| by pi/256 (ordinary lanes, a up to 65536).
inline Reduced reduce_table(__m128d a) {
  const TableConst& c = kTab;
  const __m128d t = _mm_add_pd(_mm_mul_pd(a, c.inv), c.shifter);
  const __m128d k = _mm_sub_pd(t, c.shifter);
  const __m128d u = _mm_sub_pd(a, _mm_mul_pd(k, c.p1));
  const __m128d kp2 = _mm_mul_pd(k, c.p2);
  const __m128d r = _mm_sub_pd(u, kp2);
  const __m128d e = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(u, r), kp2), _mm_mul_pd(k, c.p3));
  return {r, e, _mm_castpd_si128(t)};
}

// The large-argument reduction (vector Payne-Hanek): replaces r, e and j in
// the lanes of `large` with the reduction of a modulo 2 pi, the row being the
// fraction of a turn rounded to 1/512. Out of line: the ordinary case does not
// pay for it. Lanes whose exponent field is all ones read the last row of the
// table harmlessly; their results are replaced by the scalar function.
void reduce_large(__m128d a, __m128d large, Reduced& red);

// Rows j + turn of the circle table for two lanes (j in the low bits of each
// 64-bit word), as one vector a field.
struct TableRows {
  __m128d cosLo, cosHi, sinHi, sinLo;
};
inline TableRows table_rows(__m128i j, unsigned turn) {
  const uint64_t lo = static_cast<uint64_t>(_mm_cvtsi128_si64(j));
  const uint64_t hi = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_shuffle_epi32(j, _MM_SHUFFLE(3, 2, 3, 2))));
  const double* row0 = trigdata::kSinCos512[(static_cast<unsigned>(lo) + turn) & 511];
  const double* row1 = trigdata::kSinCos512[(static_cast<unsigned>(hi) + turn) & 511];
  const __m128d a0 = _mm_load_pd(row0), a1 = _mm_load_pd(row1);
  const __m128d b0 = _mm_load_pd(row0 + 2), b1 = _mm_load_pd(row1 + 2);
  return {_mm_unpacklo_pd(a0, a1), _mm_unpackhi_pd(a0, a1), _mm_unpacklo_pd(b0, b1), _mm_unpackhi_pd(b0, b1)};
}

// sin(B + r + e) for the rows j + turn of the circle table (turn 0 for the
// sine, 128 for the cosine), as the unrounded pair of the leading sum and the
// rest (the complex kernels carry it as a sum of two doubles).
inline DD table_sin_pair(const Reduced& red, unsigned turn) {
  const TableConst& c = kTab;
  const TableRows row = table_rows(red.j, turn);
  const __m128d cosLo = row.cosLo, cosHi = row.cosHi, sinHi = row.sinHi, sinLo = row.sinLo;
  const __m128d r = red.r, z = _mm_mul_pd(r, r);
  const __m128d p1 = _mm_mul_pd(cosHi, r);  // exact: cosHi is a power of two
  const __m128d p0 = _mm_mul_pd(cosLo, r);
  const __m128d A = _mm_add_pd(sinHi, p1);
  const __m128d e1 = _mm_add_pd(_mm_sub_pd(sinHi, A), p1);
  const __m128d B = _mm_add_pd(A, p0);
  const __m128d e2 = _mm_add_pd(_mm_sub_pd(A, B), p0);
  const __m128d C = _mm_add_pd(cosLo, cosHi);
  const __m128d s =
      _mm_mul_pd(_mm_mul_pd(_mm_mul_pd(_mm_add_pd(_mm_mul_pd(c.s5, z), c.s3), z), r), C);
  const __m128d cp = _mm_mul_pd(
      _mm_add_pd(_mm_mul_pd(_mm_add_pd(_mm_mul_pd(c.c6, z), c.c4), z), c.c2), z);
  const __m128d cc = _mm_mul_pd(cp, sinHi);
  const __m128d w = _mm_add_pd(sinLo, _mm_mul_pd(red.e, _mm_sub_pd(C, _mm_mul_pd(sinHi, r))));
  return {B, _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_add_pd(e1, e2), s), cc), w)};
}
// The same, rounded.
inline __m128d table_sin(const Reduced& red, unsigned turn) {
  const DD p = table_sin_pair(red, turn);
  return _mm_add_pd(p.hi, p.lo);
}

// The reduction of a = |x| for the table kernels, the large path included.
inline Reduced reduce_any(__m128d a) {
  Reduced red = reduce_table(a);
  const __m128d large = _mm_cmpnle_pd(a, kTab.bound);
  if (__builtin_expect(_mm_movemask_pd(large) != 0, 0)) reduce_large(a, large, red);
  return red;
}

// Lanes whose exponent field is all ones (infinities and NaN).
inline __m128d not_finite(__m128d a) {
  return _mm_castsi128_pd(_mm_cmpgt_epi32(_mm_shuffle_epi32(_mm_castpd_si128(a), _MM_SHUFFLE(3, 3, 1, 1)),
                                          _mm_set1_epi32(0x7FEFFFFF)));
}
inline __m128 not_finite(__m128 a) {
  return _mm_castsi128_ps(_mm_cmpgt_epi32(_mm_castps_si128(a), _mm_set1_epi32(0x7F7FFFFF)));
}

// sin and cos of one double by the table path, large arguments included: the
// scalar functions of the polynomial levels use it for their large lanes.
double sin_full(double x);
double cos_full(double x);

// The value and status of a lane that is not finite: Inf gives NaN, status 1
// (invalid); NaN comes back quieted, status 0.
template <class T>
inline int not_finite_lane(T x, T* r) {
  if (x != x) {
    *r = x * x;
    return 0;
  }
  *r = x * T(0);
  return 1;
}

}  // namespace zev::vk::trig
