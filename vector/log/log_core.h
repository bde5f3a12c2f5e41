// The logarithm cores shared by the log, power and root kernels.
//
// x = 2^k z with z in [0.6816, 1.3633) taken straight from the bits (an
// offset subtraction, no compare), then z = c (1 + r) with c the centre of
// one of 128 rows of z, so that |r| < 2^-8 and
//   log x = k ln2 + log c + log1p(r).
// The row of z = 1 has c = 1, so near x = 1 nothing cancels.
//
// Double cores (normal positive finite x only; the kernels send other lanes to
// the callout):
//   log_ep   one double:  r rounded once, degree 4;  |err| < 2^-36 relative
//   log_ha   s + lo:      r exact as a sum of two doubles, degree 7; the sum
//                         s + lo is within 2^-62 relative of log x, so the
//                         rounded result is within 0.51 ulp
//   log_pw   s + lo:      as log_ha with r^2/2 exact and degree 8; within
//                         2^-67 relative, for exp(y log x)
// The single kernels use log_s: z of a single times invc is exact in double,
// and degree 4 (HA) or 3 (LA) leaves < 2^-33 relative.
//
// Without FMA, exactness comes from splitting: invc has 26 significant bits,
// z's high 26 bits times invc and z's low 27 bits times invc are exact, and
// zh invc - 1 is exact (Sterbenz). ln2_hi and logc_hi are multiples of 2^-42,
// so k ln2_hi + logc_hi is exact for every k.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/common/widen.h"
#include "vector/log/log_data.h"
#include "vector/vops.h"

namespace zev::vk::logpow {

inline __m128i i64(uint64_t v) { return _mm_set1_epi64x(static_cast<long long>(v)); }
inline __m128d as_d(__m128i v) { return _mm_castsi128_pd(v); }
inline __m128i as_i(__m128d v) { return _mm_castpd_si128(v); }

constexpr uint64_t kLogOff = 0x3FE5D00000000000ull;

// The reduction of x: exponent, z and the row's entries.
struct LogRow {
  __m128d kf, z, invc, lchi, lclo;
  __m128i kb;  // k << 52 as a 64-bit integer
};

inline LogRow log_row(__m128d x) {
  LogRow o;
  const __m128i ix = as_i(x);
  const __m128i tmp = _mm_sub_epi64(ix, i64(kLogOff));
  const __m128i idx = _mm_and_si128(_mm_srli_epi64(tmp, 45), i64(127));
  o.kb = _mm_and_si128(tmp, i64(0xFFF0000000000000ull));
  o.z = as_d(_mm_sub_epi64(ix, o.kb));
  const __m128i k32 = _mm_srai_epi32(tmp, 20);  // k in each high word
  o.kf = _mm_cvtepi32_pd(_mm_shuffle_epi32(k32, _MM_SHUFFLE(3, 1, 3, 1)));
  const int i0 = _mm_cvtsi128_si32(idx);
  const int i1 = _mm_extract_epi16(idx, 4);
  const __m128d t0 = _mm_load_pd(kLogTab[i0]);
  const __m128d t1 = _mm_load_pd(kLogTab[i1]);
  o.invc = _mm_unpacklo_pd(t0, t1);
  o.lchi = _mm_unpackhi_pd(t0, t1);
  o.lclo = _mm_loadh_pd(_mm_load_sd(&kLogLo[i0]), &kLogLo[i1]);
  return o;
}

// The product of a double and a constant pair c = chi + clo whose chi is
// given split (c1 + c2): (a c) as hi + lo, within 2^-104 relative.
inline DD mul_const(DD a, double c1, double c2, double chi, double clo) {
  const __m128d p = _mm_mul_pd(a.hi, d1(chi));
  const DD s = split(a.hi);
  const __m128d e =
      _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(s.hi, d1(c1)), p), _mm_mul_pd(s.hi, d1(c2))),
                            _mm_mul_pd(s.lo, d1(c1))),
                 _mm_mul_pd(s.lo, d1(c2)));
  const __m128d l = _mm_add_pd(_mm_mul_pd(a.hi, d1(clo)), _mm_mul_pd(a.lo, d1(chi)));
  return {p, _mm_add_pd(e, l)};
}

// r = z invc - 1 exactly, as a sum of two doubles.
inline DD log_r_exact(const LogRow& w) {
  const __m128d zh = as_d(_mm_and_si128(as_i(w.z), i64(0xFFFFFFFFF8000000ull)));
  const __m128d zl = _mm_sub_pd(w.z, zh);
  const __m128d a = _mm_sub_pd(_mm_mul_pd(zh, w.invc), d1(1.0));
  const __m128d b = _mm_mul_pd(zl, w.invc);
  return two_sum(a, b);
}

// log x, |err| < 2^-36 relative (the tail r^5/5): the EP double kernels.
inline __m128d log_ep(__m128d x) {
  const LogRow w = log_row(x);
  const __m128d r = _mm_sub_pd(_mm_mul_pd(w.z, w.invc), d1(1.0));
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(0x1.62e42fefa39efp-1)), w.lchi);
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d p = _mm_mul_pd(
      r2, _mm_add_pd(d1(-0.5), _mm_mul_pd(r, _mm_add_pd(d1(0x1.5555555555555p-2), _mm_mul_pd(r, d1(-0.25))))));
  return _mm_add_pd(hi, _mm_add_pd(r, p));
}

// log x as s + lo; `corr`, when given, is a small addend of x (x + corr is the
// argument, |corr| <= ulp(x)/2), folded into r exactly enough.
template <bool Corr = false>
inline DD log_ha(__m128d x, __m128d corr = _mm_setzero_pd()) {
  const LogRow w = log_row(x);
  DD r = log_r_exact(w);
  if constexpr (Corr) {
    // corr / c scaled by 2^-k: 2^-k from the exponent bits k << 52.
    const __m128d sc = as_d(_mm_sub_epi64(i64(0x3FF0000000000000ull), w.kb));
    r.lo = _mm_add_pd(r.lo, _mm_mul_pd(_mm_mul_pd(corr, w.invc), sc));
    // r.lo is no longer below an ulp of r: keep the cross term of r^2/2.
    r.lo = _mm_sub_pd(r.lo, _mm_mul_pd(r.hi, r.lo));
  }
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(kLn2_hi)), w.lchi);  // exact
  const DD s = fast_two_sum(hi, r.hi);
  const __m128d rr = r.hi;
  const __m128d r2 = _mm_mul_pd(rr, rr);
  // log1p(r) - r: Taylor to r^7; the tail r^8/8 < 2^-67.
  __m128d q = d1(1.0 / 7.0);
  q = _mm_add_pd(d1(-1.0 / 6.0), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(0.2), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(-0.25), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(1.0 / 3.0), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(-0.5), _mm_mul_pd(rr, q));
  const __m128d p = _mm_mul_pd(r2, q);
  const __m128d lo = _mm_add_pd(
      _mm_add_pd(_mm_add_pd(_mm_mul_pd(w.kf, d1(kLn2_lo)), w.lclo), _mm_add_pd(s.lo, r.lo)), p);
  return {s.hi, lo};
}

// log x as s + lo within 2^-67 relative, for the powers. Always inlined: in a
// file of many power kernels GCC's unit growth limit otherwise leaves it a call
// in the block loop, with every live vector register spilled around it.
__attribute__((always_inline)) inline DD log_pw(__m128d x) {
  const LogRow w = log_row(x);
  const DD r = log_r_exact(w);
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(kLn2_hi)), w.lchi);  // exact
  const DD s = fast_two_sum(hi, r.hi);
  const __m128d rr = r.hi;
  const DD sq = two_prod(rr, rr);
  const __m128d half_sq = _mm_mul_pd(d1(-0.5), sq.hi);
  const DD t = fast_two_sum(s.hi, half_sq);
  // log1p(r) - r + r^2/2 = r^3 (1/3 - r/4 + ... - r^5/8); tail r^9/9 < 2^-75.
  __m128d q = d1(-0.125);
  q = _mm_add_pd(d1(1.0 / 7.0), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(-1.0 / 6.0), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(0.2), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(-0.25), _mm_mul_pd(rr, q));
  q = _mm_add_pd(d1(1.0 / 3.0), _mm_mul_pd(rr, q));
  const __m128d p3 = _mm_mul_pd(_mm_mul_pd(sq.hi, rr), q);
  // - r r_lo - sq.lo / 2, and the low parts of the sums and the table.
  const __m128d small = _mm_sub_pd(_mm_mul_pd(d1(-0.5), sq.lo), _mm_mul_pd(rr, r.lo));
  const __m128d lo = _mm_add_pd(
      _mm_add_pd(_mm_add_pd(_mm_mul_pd(w.kf, d1(kLn2_lo)), w.lclo), _mm_add_pd(_mm_add_pd(s.lo, t.lo), r.lo)),
      _mm_add_pd(small, p3));
  return fast_two_sum(t.hi, lo);
}

// log x in double for single arguments (x a widened single, normal).
// Degree 4 (HA) leaves < 2^-33 relative, degree 3 (LA) < 2^-25.
template <int Degree>
inline __m128d log_s(__m128d x) {
  const LogRow w = log_row(x);
  const __m128d r = _mm_sub_pd(_mm_mul_pd(w.z, w.invc), d1(1.0));  // exact: 24 x 26 bits
  const __m128d hi = _mm_add_pd(_mm_mul_pd(w.kf, d1(0x1.62e42fefa39efp-1)), w.lchi);
  __m128d q;
  if constexpr (Degree >= 4)
    q = _mm_add_pd(d1(-0.5), _mm_mul_pd(r, _mm_add_pd(d1(0x1.5555555555555p-2), _mm_mul_pd(r, d1(-0.25)))));
  else
    q = _mm_add_pd(d1(-0.5), _mm_mul_pd(r, d1(0x1.5555555555555p-2)));
  return _mm_add_pd(hi, _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q)));
}

// ---- special-lane masks ---------------------------------------------------------
// x not a positive normal (zero, denormal, negative, infinity, NaN), on the high
// words of doubles: (hx - 0x00100000) unsigned >= 0x7FE00000.
inline __m128d not_pos_normal(__m128d x) {
  const __m128i h = _mm_shuffle_epi32(as_i(x), _MM_SHUFFLE(3, 3, 1, 1));
  const __m128i t = _mm_xor_si128(_mm_sub_epi32(h, _mm_set1_epi32(0x00100000)), _mm_set1_epi32(INT32_MIN));
  return as_d(_mm_cmpgt_epi32(t, _mm_set1_epi32(static_cast<int>(0x7FE00000u ^ 0x80000000u) - 1)));
}
// The same on singles: (ix - 0x00800000) unsigned >= 0x7F000000.
inline __m128 not_pos_normal(__m128 x) {
  const __m128i t =
      _mm_xor_si128(_mm_sub_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x00800000)), _mm_set1_epi32(INT32_MIN));
  return _mm_castsi128_ps(_mm_cmpgt_epi32(t, _mm_set1_epi32(static_cast<int>(0x7F000000u ^ 0x80000000u) - 1)));
}

// Lanes of |x| outside [2^lo, 2^hi) by the high word (NaN and infinity too):
// (h - lo_word) unsigned >= (hi_word - lo_word).
inline __m128d outside(__m128d ax, uint32_t lo_word, uint32_t hi_word) {
  const __m128i h = _mm_shuffle_epi32(as_i(ax), _MM_SHUFFLE(3, 3, 1, 1));
  const __m128i t = _mm_xor_si128(_mm_sub_epi32(h, _mm_set1_epi32(static_cast<int>(lo_word))),
                                  _mm_set1_epi32(INT32_MIN));
  return as_d(_mm_cmpgt_epi32(t, _mm_set1_epi32(static_cast<int>((hi_word - lo_word) ^ 0x80000000u) - 1)));
}
constexpr uint32_t word_of_exp(int e) { return static_cast<uint32_t>(e + 1023) << 20; }

// The same on singles, by the bits of |x|.
inline __m128 outside(__m128 ax, uint32_t lo_bits, uint32_t hi_bits) {
  const __m128i t = _mm_xor_si128(_mm_sub_epi32(_mm_castps_si128(ax), _mm_set1_epi32(static_cast<int>(lo_bits))),
                                  _mm_set1_epi32(INT32_MIN));
  return _mm_castsi128_ps(
      _mm_cmpgt_epi32(t, _mm_set1_epi32(static_cast<int>((hi_bits - lo_bits) ^ 0x80000000u) - 1)));
}
constexpr uint32_t sbits_of_exp(int e) { return static_cast<uint32_t>(e + 127) << 23; }

}  // namespace zev::vk::logpow
