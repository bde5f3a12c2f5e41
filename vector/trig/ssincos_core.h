// The arithmetic of the single circular kernels (sSin, sCos, sSinCos): the
// constants, the reductions by pi in float and in double, the polynomials,
// and the hand-over to the large path (ssincos_large.h). The complex CIS of
// single runs the SinCos HA arithmetic from here.
#pragma once

#include "vector/trig/ssincos_large.h"
#include "vector/trig/trig_common.h"

namespace zev::vk::trig::sgl {

struct SConst {
  __m128 inv, shifter, pio2, half, one, bound, sign, abs;
  __m128 p1, p2, p3, p4;          // pi in four float parts (LA)
  __m128 e3;                      // the third part of the three-part pi (EP)
  __m128 c1, c2, c3, c4;          // LA polynomial of sin and cos
  __m128 k1, k2, k3, k4;          // LA polynomial of SinCos
  __m128 q0, q1, q2, q1cos;       // EP polynomial
  __m128d dp1, dp2, d1, d2, d3, d4;  // HA, in double
};
alignas(16) inline constexpr SConst kS = {
    .inv = u4(0x3EA2F983),            // 1/pi
    .shifter = f4(12582912.0f),       // 1.5 * 2^23: rounds a/pi to n, n's low bit in the word
    .pio2 = u4(0x3FC90FDB),           // pi/2
    .half = f4(0.5f),                 // 1/2
    .one = f4(1.0f),                  // cos of the smallest lanes
    .bound = f4(10000.0f),            // above it, and NaN, the large path
    .sign = u4(0x80000000),           // the sign bit
    .abs = u4(0x7FFFFFFF),            // all but the sign bit
    .p1 = u4(0x40490000),             // pi in four parts: n p1, n p2, n p3 exact
    .p2 = u4(0x3A7DA000),
    .p3 = u4(0x34222000),
    .p4 = u4(0x2CB4611A),
    .e3 = u4(0x34222169),             // third and last part of the three-part pi of EP
    .c1 = f4(-0.166666597f),          // sin r ~ r + r z (c1 + z (c2 + z (c3 + z c4))): c1
    .c2 = f4(0.00833306275f),
    .c3 = f4(-0.000198096022f),
    .c4 = f4(2.60578054e-06f),
    .k1 = f4(-0.166666612f),          // the same form for SinCos: c1
    .k2 = f4(0.00833306648f),
    .k3 = f4(-0.000198096022f),
    .k4 = f4(2.60578054e-06f),
    .q0 = f4(0.999885321f),           // EP: sin r ~ r (q0 + z (q1 + z q2))
    .q1 = f4(-0.165920958f),
    .q2 = f4(0.00757660158f),
    .q1cos = u4(0xBE29E73F),          // -0.165921196: q1 of the cosine
    .dp1 = q2(0x400921FB54440000),    // pi in two double parts (HA): n dp1 exact
    .dp2 = q2(0x3D968C234C4C6629),
    .d1 = d2(-0.1666665955042783),    // HA polynomial, in double: c1
    .d2 = d2(0.00833306624608569),
    .d3 = d2(-0.00019809602902257352),
    .d4 = d2(2.605780638722852e-06),
};

inline __m128 sign_of(__m128 x) { return _mm_and_ps(x, kS.sign); }
inline __m128 abs_of(__m128 x) { return _mm_and_ps(x, kS.abs); }
inline __m128 parity_sign(__m128 t) { return fv(_mm_slli_epi32(_mm_castps_si128(t), 31)); }

// r - n pi in float, four parts.
inline __m128 reduce4(__m128 a, __m128 n) {
  const SConst& c = kS;
  __m128 r = _mm_sub_ps(a, _mm_mul_ps(n, c.p1));
  r = _mm_sub_ps(r, _mm_mul_ps(n, c.p2));
  r = _mm_sub_ps(r, _mm_mul_ps(n, c.p3));
  return _mm_sub_ps(r, _mm_mul_ps(n, c.p4));
}

inline __m128 poly_la(__m128 r, const __m128& c1, const __m128& c2, const __m128& c3, const __m128& c4) {
  const __m128 z = _mm_mul_ps(r, r);
  __m128 p = _mm_add_ps(c3, _mm_mul_ps(z, c4));
  p = _mm_add_ps(c2, _mm_mul_ps(z, p));
  p = _mm_add_ps(c1, _mm_mul_ps(z, p));
  return _mm_add_ps(r, _mm_mul_ps(_mm_mul_ps(r, z), p));
}

inline __m128 poly_ep(__m128 r, const __m128& q1) {
  const SConst& c = kS;
  const __m128 z = _mm_mul_ps(r, r);
  return _mm_mul_ps(r, _mm_add_ps(c.q0, _mm_mul_ps(z, _mm_add_ps(q1, _mm_mul_ps(z, c.q2)))));
}

inline __m128d poly_ha(__m128d r) {
  const SConst& c = kS;
  const __m128d z = _mm_mul_pd(r, r);
  __m128d p = _mm_add_pd(c.d3, _mm_mul_pd(z, c.d4));
  p = _mm_add_pd(c.d2, _mm_mul_pd(z, p));
  p = _mm_add_pd(c.d1, _mm_mul_pd(z, p));
  return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), p));
}

// sin(a - n pi) in double for four lanes (n exact in float), rounded to float.
inline __m128 sin_reduced_ha(__m128 a, __m128 n) {
  const SConst& c = kS;
  const __m128d a0 = _mm_cvtps_pd(a), a1 = _mm_cvtps_pd(_mm_movehl_ps(a, a));
  const __m128d n0 = _mm_cvtps_pd(n), n1 = _mm_cvtps_pd(_mm_movehl_ps(n, n));
  const __m128d r0 = _mm_sub_pd(_mm_sub_pd(a0, _mm_mul_pd(n0, c.dp1)), _mm_mul_pd(n0, c.dp2));
  const __m128d r1 = _mm_sub_pd(_mm_sub_pd(a1, _mm_mul_pd(n1, c.dp1)), _mm_mul_pd(n1, c.dp2));
  return _mm_movelh_ps(_mm_cvtpd_ps(poly_ha(r0)), _mm_cvtpd_ps(poly_ha(r1)));
}

// The lanes of `large` (above the bound, or NaN, Inf) recomputed by the large
// path of ssincos_large.h and merged into y. turn 0 gives the sine (with the
// sign of x), 64 the cosine. Out of line: the ordinary case does not pay for
// it.
inline __attribute__((noinline)) __m128 large_path(__m128 x, __m128 large, __m128 y, int turn) {
  __m128 v = table_sin4(reduce_large4(abs_of(x)), turn);
  if (turn == 0) v = _mm_xor_ps(v, sign_of(x));
  return select(large, v, y);
}

// Both results of the lanes of `large` from one reduction.
inline __attribute__((noinline)) void large_pair(__m128 x, __m128 large, __m128& s, __m128& c) {
  const SReduced red = reduce_large4(abs_of(x));
  s = select(large, _mm_xor_ps(table_sin4(red, 0), sign_of(x)), s);
  c = select(large, table_sin4(red, 64), c);
}

inline __m128 with_large(__m128 x, __m128 a, __m128 y, int turn) {
  const __m128 large = _mm_cmpnle_ps(a, kS.bound);
  if (__builtin_expect(_mm_movemask_ps(large) != 0, 0)) return large_path(x, large, y, turn);
  return y;
}

inline __m128 with_large_pair(__m128 x, __m128 a, __m128 s, __m128& c) {
  const __m128 large = _mm_cmpnle_ps(a, kS.bound);
  if (__builtin_expect(_mm_movemask_ps(large) != 0, 0)) large_pair(x, large, s, c);
  return s;
}

// t = a/pi + shifter and n = t - shifter (sine); for the cosine t from
// a + pi/2 and n the half-integer below.
struct SinRed {
  __m128 t, n;
};
inline SinRed sin_n(__m128 a) {
  const SConst& c = kS;
  const __m128 t = _mm_add_ps(_mm_mul_ps(a, c.inv), c.shifter);
  return {t, _mm_sub_ps(t, c.shifter)};
}
inline SinRed cos_n(__m128 a) {
  const SConst& c = kS;
  const __m128 t = _mm_add_ps(_mm_mul_ps(_mm_add_ps(a, c.pio2), c.inv), c.shifter);
  return {t, _mm_sub_ps(_mm_sub_ps(t, c.shifter), c.half)};
}
// Lanes where a + pi/2 rounds to pi/2: their cosine is 1.
inline __m128 cos_one(__m128 a, __m128 y) {
  const SConst& c = kS;
  return select(_mm_cmpeq_ps(_mm_add_ps(a, c.pio2), c.pio2), c.one, y);
}

// sSinCos at HA: in double, r = a - n pi with two parts, and for the cosine a
// second reduction from a by m = n + sgn(r)/2 (see cos_arg of dsincos.cpp),
// rounded once at the end; lanes above the bound take the large path.
inline __m128 sincos_ha(__m128 x, __m128& cos_out) {
  const SConst& c = kS;
  const __m128 a = abs_of(x);
  const SinRed q = sin_n(a);
  const __m128 a_hi = _mm_movehl_ps(a, a), n_hi = _mm_movehl_ps(q.n, q.n);
  __m128d s[2], co[2];
  for (int k = 0; k < 2; ++k) {
    const __m128d ad = _mm_cvtps_pd(k == 0 ? a : a_hi), nd = _mm_cvtps_pd(k == 0 ? q.n : n_hi);
    const __m128d r = _mm_sub_pd(_mm_sub_pd(ad, _mm_mul_pd(nd, c.dp1)), _mm_mul_pd(nd, c.dp2));
    const __m128d rs = _mm_and_pd(r, _mm_set1_pd(-0.0));
    const __m128d m = _mm_add_pd(nd, _mm_or_pd(_mm_set1_pd(0.5), rs));
    const __m128d rc = _mm_sub_pd(_mm_sub_pd(ad, _mm_mul_pd(m, c.dp1)), _mm_mul_pd(m, c.dp2));
    s[k] = poly_ha(r);
    co[k] = poly_ha(_mm_xor_pd(rc, _mm_xor_pd(rs, _mm_set1_pd(-0.0))));
  }
  const __m128 par = parity_sign(q.t);
  cos_out = cos_one(a, _mm_xor_ps(_mm_movelh_ps(_mm_cvtpd_ps(co[0]), _mm_cvtpd_ps(co[1])), par));
  const __m128 sn = _mm_xor_ps(_mm_movelh_ps(_mm_cvtpd_ps(s[0]), _mm_cvtpd_ps(s[1])), _mm_xor_ps(par, sign_of(x)));
  return with_large_pair(x, a, sn, cos_out);
}

}  // namespace zev::vk::trig::sgl
