// The large path of the single circular kernels (sSin, sCos, sSinCos above
// 10000), four float lanes at a time and no double arithmetic.
//
// Reduction (Payne-Hanek on 32-bit words): a = m 2^(e - 150) with a 24-bit m,
// and R(e) = floor(2^(e - 54) / (2 pi)) modulo 2^96 (kInvTwoPi32), so that
// m R(e) modulo 2^96 is the fraction of a turn times 2^96. Three 32x32-to-64
// products per lane (pmuludq, two lanes each) give its top 64 bits, the low
// product's high word carried in; the 32 bits dropped below and the floor of
// R(e) leave the fraction within 2^-63 of a turn. Of those 64 bits the first
// 23 make h in [1, 2), which h + 1.5 2^15 rounds to 1/256 of a turn (the row
// j in the low 8 bits of the sum); the rest of h, the next 23 bits and the
// last 18 make the signed remainder v + w, |v| <= 2^-9, exact. Times 2 pi
// (2 pi = H + L with H of 12 bits, v cut to 12 bits, so H vh and H vl are
// exact) it is r + e radians, |r| <= pi/256, good to about 2^-35 of r.
//
// Table step (kSinCos256, rows j for the sine, j + 64 for the cosine):
// sin(B + r + e) = sinHi + r cosHi + r cosLo + sinHi (cos r - 1) + C (sin r - r)
// + sinLo + e (C - r sinHi), C = cosHi + cosLo, where cosHi is a power of two
// (r cosHi exact) and the two leading sums keep their rounding errors. All in
// float; the error of the sum before its last rounding stays near 2^-33 of
// the result, so the result is within about 0.5 ulp at every level.
#pragma once

#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstdint>

#include "vector/trig/trig_common.h"

namespace zev::vk::trig::sgl {

struct SLargeConst {
  __m128 one, s15, g0, l0, mask12, h, l, t, s5, s3, c4, c2;
  I4 row16, row, sig, lead, hi32, lo32, gmask, lmask;
};
alignas(16) inline constexpr SLargeConst kSL = {
    .one = u4(0x3F800000),      // 1.0: h = 1 + the fraction's top 23 bits
    .s15 = f4(49152.0f),        // 1.5 2^15: rounds h to 1/256, the row in the low 8 bits
    .g0 = u4(0x34000000),       // 2^-23: g carries fraction bits 24 to 46
    .l0 = u4(0x28800000),       // 2^-46: l carries fraction bits 47 to 64
    .mask12 = u4(0xFFFFF000),   // keeps 12 significant bits: products with H exact
    .h = u4(0x40C91000),        // 2 pi, high part (12 bits)
    .l = u4(0xB795777A),        // 2 pi, low part
    .t = u4(0x40C90FDB),        // 2 pi whole
    .s5 = u4(0x3C08885C),       // sin r - r ~ r z (s3 + s5 z): 0.00833329186
    .s3 = u4(0xBE2AAAAB),       // -0.166666672
    .c4 = u4(0x3D2AAA7C),       // cos r - 1 ~ z (c2 + c4 z): 0.0416664928
    .c2 = u4(0xBF000000),       // -0.5
    .row16 = i4(0x00000FF0),    // 16 times the exponent, after a shift by 19
    .row = i4(0x000000FF),      // a row of the circle table
    .sig = i4(0x007FFFFF),      // the significand field
    .lead = i4(0x00800000),     // its leading bit: m = field + 2^23
    .hi32 = {0, -1, 0, -1},     // the high word of a 64-bit element
    .lo32 = {-1, 0, -1, 0},     // its low word
    .gmask = i4(0x000001FF),    // the fraction's bits 24 to 32, in its high word
    .lmask = i4(0x0003FFFF),    // its last 18 bits, in its low word
};

// The constants read from memory as whole vectors: the large path is one
// call per group of four lanes, and the compiler would otherwise rebuild each
// constant from a scalar on every call (two instructions each).
inline const SLargeConst& large_consts() {
  const SLargeConst* p = &kSL;
  __asm__("" : "+r"(p));
  return *p;
}

// A reduced argument of four lanes: r + e radians past the row j (the low 8
// bits of each word of j).
struct SReduced {
  __m128 r, e;
  __m128i j;
};

// The top 64 bits of m R modulo 2^96 for the lanes whose m are in the even
// 32-bit elements of m and whose rows are r0 and r1: (R2 m mod 2^32) 2^32 +
// R1 m + (R0 m >> 32) modulo 2^64, one per 64-bit element.
inline __m128i frac64(__m128i m, __m128i r0, __m128i r1) {
  const __m128i w21 = _mm_unpacklo_epi64(r0, r1);  // R2, R1 of both rows
  const __m128i w0 = _mm_unpackhi_epi64(r0, r1);   // R0, 0
  const __m128i p2 = _mm_mul_epu32(m, w21);
  const __m128i p1 = _mm_mul_epu32(m, _mm_srli_epi64(w21, 32));
  const __m128i p0 = _mm_mul_epu32(m, w0);
  return _mm_add_epi64(_mm_add_epi64(_mm_slli_epi64(p2, 32), p1), _mm_srli_epi64(p0, 32));
}

// a = |x| finite (other lanes give some value, replaced later) to r + e and j.
inline SReduced reduce_large4(__m128 a) {
  const SLargeConst& c = large_consts();
  const __m128i ab = _mm_castps_si128(a);
  // The byte offsets of the rows, 16 e: the exponent field shifted by 19, not 23.
  const __m128i off = _mm_and_si128(_mm_srli_epi32(ab, 19), iv(c.row16));
  const char* base = reinterpret_cast<const char*>(trigdata::kInvTwoPi32);
  const auto row = [base](int o) { return _mm_load_si128(reinterpret_cast<const __m128i*>(base + o)); };
  const __m128i r0 = row(_mm_extract_epi16(off, 0)), r1 = row(_mm_extract_epi16(off, 2));
  const __m128i r2 = row(_mm_extract_epi16(off, 4)), r3 = row(_mm_extract_epi16(off, 6));
  const __m128i m = _mm_or_si128(_mm_and_si128(ab, iv(c.sig)), iv(c.lead));
  // Lanes 0 and 2 in the even elements of m, lanes 1 and 3 after the shift.
  const __m128i fe = frac64(m, r0, r2), fo = frac64(_mm_srli_epi64(m, 32), r1, r3);
  // The high and the low words of the four fractions, in lane order.
  const __m128i fhi = _mm_or_si128(_mm_srli_epi64(fe, 32), _mm_and_si128(fo, iv(c.hi32)));
  const __m128i flo = _mm_or_si128(_mm_and_si128(fe, iv(c.lo32)), _mm_slli_epi64(fo, 32));
  // Three exact floats: h in [1, 2), g below 2^-23, l below 2^-46.
  const __m128 h = _mm_or_ps(fv(_mm_srli_epi32(fhi, 9)), c.one);
  const __m128 s = _mm_add_ps(h, c.s15);
  const __m128 hp = _mm_sub_ps(h, _mm_sub_ps(s, c.s15));
  const __m128i gbits = _mm_or_si128(_mm_slli_epi32(_mm_and_si128(fhi, iv(c.gmask)), 14), _mm_srli_epi32(flo, 18));
  const __m128 g = _mm_sub_ps(_mm_or_ps(fv(gbits), c.g0), c.g0);
  const __m128i lbits = _mm_slli_epi32(_mm_and_si128(flo, iv(c.lmask)), 5);
  const __m128 l = _mm_sub_ps(_mm_or_ps(fv(lbits), c.l0), c.l0);
  const __m128 v = _mm_add_ps(hp, g);  // |hp| >= 2^-23 > g, or hp = 0: Fast2Sum
  const __m128 w = _mm_add_ps(_mm_add_ps(_mm_sub_ps(hp, v), g), l);
  // Times 2 pi.
  const __m128 vh = _mm_and_ps(v, c.mask12);
  const __m128 vl = _mm_sub_ps(v, vh);
  const __m128 p = _mm_mul_ps(c.h, vh);
  const __m128 q = _mm_add_ps(_mm_add_ps(_mm_mul_ps(c.h, vl), _mm_mul_ps(c.l, vh)),
                              _mm_add_ps(_mm_mul_ps(c.t, w), _mm_mul_ps(c.l, vl)));
  const __m128 r = _mm_add_ps(p, q);
  return {r, _mm_add_ps(_mm_sub_ps(p, r), q), _mm_castps_si128(s)};
}

// sin(B + r + e) for the rows j + turn of kSinCos256 (turn 0: the sine of a,
// 64: its cosine).
inline __m128 table_sin4(const SReduced& red, int turn) {
  const SLargeConst& c = large_consts();
  // The byte offsets of the rows, 16 ((j + turn) & 255).
  const __m128i off = _mm_slli_epi32(_mm_and_si128(_mm_add_epi32(red.j, _mm_set1_epi32(turn)), iv(c.row)), 4);
  const char* base = reinterpret_cast<const char*>(trigdata::kSinCos256);
  const auto row = [base](int o) { return _mm_load_ps(reinterpret_cast<const float*>(base + o)); };
  __m128 cosLo = row(_mm_extract_epi16(off, 0)), sinHi = row(_mm_extract_epi16(off, 2));
  __m128 sinLo = row(_mm_extract_epi16(off, 4)), cosHi = row(_mm_extract_epi16(off, 6));
  _MM_TRANSPOSE4_PS(cosLo, sinHi, sinLo, cosHi);
  const __m128 r = red.r, z = _mm_mul_ps(r, r);
  const __m128 p1 = _mm_mul_ps(r, cosHi);  // exact: cosHi is a power of two
  const __m128 p0 = _mm_mul_ps(r, cosLo);
  const __m128 A = _mm_add_ps(sinHi, p1);
  const __m128 e1 = _mm_add_ps(_mm_sub_ps(sinHi, A), p1);
  const __m128 B = _mm_add_ps(A, p0);
  const __m128 e2 = _mm_add_ps(_mm_sub_ps(A, B), p0);
  const __m128 C = _mm_add_ps(cosLo, cosHi);
  const __m128 sp = _mm_mul_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(c.s5, z), c.s3), z), r);
  const __m128 cp = _mm_mul_ps(_mm_add_ps(_mm_mul_ps(c.c4, z), c.c2), z);
  const __m128 w = _mm_add_ps(sinLo, _mm_mul_ps(red.e, _mm_sub_ps(C, _mm_mul_ps(r, sinHi))));
  const __m128 rest = _mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_add_ps(e1, e2), _mm_mul_ps(C, sp)), _mm_mul_ps(sinHi, cp)), w);
  return _mm_add_ps(B, rest);
}

}  // namespace zev::vk::trig::sgl
