// The block arithmetic of the inverse circular functions: Asin, Acos, Atan,
// Atan2 and their half-turn forms (results in units of pi), single and double,
// with the reciprocal and reciprocal square root estimates as a template
// parameter E (HwEstimate in the kernels, the modelled worst estimates in the
// tests).
//
// Every result is put together the same way: an angle C of the branch (0,
// pi/4, pi/2, pi, or their images 0, 1/4, 1/2, 1 in half-turns) plus or minus
// a small part v = vh + vl, the sign chosen by a sign-bit mask fl:
//   r = C + (fl ? -k v : k v),   k = 1 for radians, 1/pi for half-turns.
// At HA, C and k v are pairs and C + k v is one Fast2Sum (|C| >= |k v| or
// C = 0 on every branch), so the branch angles are not rounded twice; the
// half-turn forms multiply the pair v by 1/pi as a pair. At LA and EP the
// half-turn branch angles are exact (1/2, 1), so asinpi(1) = 1/2, acospi(-1)
// = 1 and atanpi(1) = 1/4 hold at every level.
//
// Ordinary ranges keep every intermediate a normal number or an exact zero
// for every estimate within 1.5 * 2^-12, so FTZ and DAZ change nothing there:
// Asin, Acos: |x| <= 1 (u = (1 - |x|)/2 is 0 or at least 2^-54; an estimate
// of 1/sqrt(0) is forced to 0); Atan double: |x| in [2^-1019, 2^993) (the
// divisor of the table reduction is clamped to 2^100 before its estimate),
// single: |x| in [2^-125, 2^123); Atan2: both parts in those ranges (double)
// or normal (single), a quotient below the normal range only where the exact
// result is below it too.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstdint>

#include "vector/common/widen.h"
#include "vector/common/atan2_dd.h"
#include "vector/common/bits.h"
#include "vector/common/consts.h"
#include "vector/common/estrin.h"
#include "vector/common/exact.h"
#include "vector/common/level.h"
#include "vector/common/range.h"
#include "vector/estimate.h"
#include "vector/vops.h"

// The block arithmetic is forced inline: a translation unit of eighty kernels
// outgrows the compiler's inlining budget, and a call per vector (results of
// several vectors through memory, the constants loaded again) costs more than
// the arithmetic it calls.
#define ZEV_INVTRIG_INLINE [[gnu::always_inline]] inline

namespace zev::vk::invtrig {

// ---- constants ---------------------------------------------------------------

// A double pair hi + lo, for constants made at build time.
struct Pair {
  double hi, lo;
};
constexpr Pair split_c(double a) {
  const double t = a * 134217729.0;
  const double h = t - (t - a);
  return {h, a - h};
}
// The pair a * b to about 2^-104 (Dekker's product of the high parts, the
// cross terms added), evaluated by the compiler in double arithmetic.
constexpr Pair mul_c(Pair a, Pair b) {
  const double p = a.hi * b.hi;
  const Pair x = split_c(a.hi), y = split_c(b.hi);
  const double e = (((x.hi * y.hi - p) + x.hi * y.lo + x.lo * y.hi) + x.lo * y.lo) + (a.hi * b.lo + a.lo * b.hi);
  const double s = p + e;
  return {s, e - (s - p)};
}

inline constexpr Pair kPi = {3.141592653589793, 1.2246467991473532e-16};
inline constexpr Pair kPi2 = {1.5707963267948966, 6.123233995736766e-17};
inline constexpr Pair kPi4 = {0.7853981633974483, 3.061616997868383e-17};
inline constexpr Pair kInvPi = {0.3183098861837907, -1.9678676675182486e-17};
// 3 pi/4 rounded: pi - pi/4 with the low parts.
inline constexpr double k3Pi4 = (kPi.hi - kPi4.hi) + (kPi.lo - kPi4.lo);

// The angles of the branches in the result's units.
template <bool Pi>
struct Angles {
  static constexpr Pair quarter = Pi ? Pair{0.25, 0.0} : kPi4;
  static constexpr Pair half = Pi ? Pair{0.5, 0.0} : kPi2;
  static constexpr Pair full = Pi ? Pair{1.0, 0.0} : kPi;
  static constexpr double three_quarters = Pi ? 0.75 : k3Pi4;
};

ZEV_INVTRIG_INLINE __m128d sign_d() { return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<int64_t>(0x8000000000000000ull))); }
ZEV_INVTRIG_INLINE __m128 sign_f() { return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(0x80000000u))); }
// Keeps the leading 26 bits of a double: the product of two such heads, and
// of a head and the 27-bit rest of a double, is exact.
ZEV_INVTRIG_INLINE __m128d cut26() {
  return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<int64_t>(0xFFFFFFFFF8000000ull)));
}
ZEV_INVTRIG_INLINE __m128d abs_d(__m128d x) { return _mm_andnot_pd(sign_d(), x); }
ZEV_INVTRIG_INLINE __m128 abs_f(__m128 x) { return _mm_andnot_ps(sign_f(), x); }

template <int N>
struct CoefD {
  __m128d c[N];
};
template <int N>
struct CoefF {
  __m128 c[N];
};
template <int N>
constexpr CoefD<N> coef_d(const double (&v)[N], double k = 1.0) {
  CoefD<N> r{};
  for (int i = 0; i < N; ++i) r.c[i] = d2(v[i] * k);
  return r;
}
template <int N>
constexpr CoefF<N> coef_f(const double (&v)[N], double k = 1.0) {
  CoefF<N> r{};
  for (int i = 0; i < N; ++i) r.c[i] = f4(static_cast<float>(v[i] * k));
  return r;
}

// Asin and Acos, double: the series of (1 + e/2)^(-1/2), that turns the
// estimate into 2 sqrt(u), and the polynomial P(z) of asin(a) = a + a z P(z).
inline constexpr double kCorr[] = {0.24999999999999725, -0.09374999999999499, 0.039062512973409326,
                                   -0.017089852669219818};
inline constexpr double kAsinP[] = {0.16666666666664731,  0.075000000004254969,   0.044642856775805428,
                                    0.030381960865917483, 0.022371723076271322,   0.017360165087820061,
                                    0.013881175183171264, 0.012193412839768863,   0.0064317717599562023,
                                    0.019772600367158048, -0.016582846167623556, 0.032143616007816851};
inline constexpr double kAsinPEP[] = {0.16666656768980395,  0.075006122693918847, 0.044501696981026712,
                                      0.031911494806822795, 0.014101564261929104, 0.037936060488222831};
// Atan, double: Q of the table reduction, atan t = t + t z Q(z); the EP
// polynomial atan t = t E(z) on [0, 1]; R of Atan2, atan t = t + t z R(z) on [0, 1].
inline constexpr double kAtanQ[] = {-0.33333333333333315, 0.19999999999992654,  -0.14285714284797371,
                                    0.11111111053617004,  -0.09090906973094913, 0.07692257854969578,
                                    -0.066658806620043712, 0.058738289164359213, -0.051990191991189393,
                                    0.044291178811409156, -0.031836245158999729, 0.013620346040990536};
inline constexpr double kAtanEP[] = {0.99999999759644054,  -0.33333283021381682, 0.19998247736726771,
                                     -0.14261727144416822, 0.10940879001422719,  -0.083737221671148637,
                                     0.05748661919552888,  -0.030735388968257352, 0.010687668252723471,
                                     -0.001744677935340833};
inline constexpr double kAtan2R[] = {
    -0.33333333333331111,   0.19999999999696316,   -0.14285714269196445,   0.11111110634359174,
    -0.090909006476844134,  0.076922076093375993,  -0.06665825857290697,   0.058771423690440742,
    -0.052386340991051356,  0.046722881066856257,  -0.040890779973668384,  0.034008742858839917,
    -0.025751168869183702,  0.016904062013301985,  -0.0091303317329101911, 0.0038271503181785626,
    -0.0011535851065971401, 0.00022068738617221664, -2.0018621834823021e-05};

// Single: asin(a) = a + a z P(z); atan t = t + t z Q(z) (LA), t E(z) (EP).
inline constexpr double kAsinPS[] = {0.166667923, 0.0749436766, 0.0455576926, 0.0238239374, 0.0426903032};
inline constexpr double kAtanQS[] = {-0.333330423, 0.199919209,   -0.141975284,  0.10614863,
                                     -0.0744441226, 0.0419345051, -0.0155730704, 0.00271873176};
inline constexpr double kAtanES[] = {0.999775231, -0.325505346, 0.154571936, -0.043525815};
inline constexpr double kPiD = 3.14159265358979323846;
inline constexpr float kInvPiF = 0.318309873f;
// 1/pi cut to 12 bits (1304 2^-12), and the rest.
inline constexpr float kInvPiHi = 0.318359375f;
inline constexpr float kInvPiLo = static_cast<float>(1.0 / kPiD - 0.318359375);

struct DConst {
  CoefD<4> corr;
  CoefD<12> asin_p;
  CoefD<6> asin_p_ep;
  CoefD<12> atan_q;
  CoefD<10> atan_ep;
  CoefD<19> atan2_r;
};
inline constexpr DConst kD = {coef_d(kCorr),   coef_d(kAsinP),  coef_d(kAsinPEP),
                              coef_d(kAtanQ),  coef_d(kAtanEP), coef_d(kAtan2R)};

// The half-turn atan polynomial of single: Q/pi, its top five coefficients
// as they stand.
inline constexpr CoefF<8> kAtanQSPi = {
    {f4(static_cast<float>(-0.333330423 / kPiD)), f4(static_cast<float>(0.199919209 / kPiD)),
     f4(static_cast<float>(-0.141975284 / kPiD)), f4(0.0337881595f), f4(-0.0236962996f), f4(0.0133481678f),
     f4(-0.00495706219f), f4(0.000865399197f)}};

// Single polynomials, in radians and (Pi) divided by pi: the half-turn forms
// multiply the leading term by 1/pi and take these.
template <bool Pi>
struct FConst {
  static constexpr double k = Pi ? 1.0 / kPiD : 1.0;
  static constexpr CoefF<5> asin_p = coef_f(kAsinPS, k);
  static constexpr CoefF<4> asin_p_ep = coef_f({0.166667923, 0.0749436766, 0.0455576926, 0.0238239374}, k);
  static constexpr CoefF<8> atan_q = Pi ? kAtanQSPi : coef_f(kAtanQS);
  static constexpr CoefF<4> atan_e = coef_f(kAtanES, k);
};

// ---- finishing: C + (fl ? -k v : k v) -------------------------------------------

// The pair v times 1/pi, as a pair (the cross terms below 2^-104 of it).
ZEV_INVTRIG_INLINE DD times_inv_pi(__m128d vh, __m128d vl) {
  const DD p = two_prod(vh, d1(kInvPi.hi));
  return {p.hi, _mm_add_pd(p.lo, _mm_add_pd(_mm_mul_pd(vh, d1(kInvPi.lo)), _mm_mul_pd(vl, d1(kInvPi.hi))))};
}

// Double; c = (ch, cl) in the result's units, v = vh + vl in radians.
// At HA in half-turns, a v below 2^-960 on a branch with C = 0 is scaled by
// 2^110 first: the product's low part would otherwise fall below the normal
// range and lose the last bit.
template <Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128d finish(__m128d ch, __m128d cl, __m128d vh, __m128d vl, __m128d fl) {
  if constexpr (L == Level::HA) {
    __m128d ph = vh, pl = vl;
    if constexpr (Pi) {
      const DD p = times_inv_pi(vh, vl);
      ph = p.hi;
      pl = p.lo;
    }
    const DD s = fast_two_sum(ch, _mm_xor_pd(ph, fl));
    __m128d r = _mm_add_pd(s.hi, _mm_add_pd(s.lo, _mm_add_pd(cl, _mm_xor_pd(pl, fl))));
    if constexpr (Pi) {
      const __m128d tiny = _mm_and_pd(_mm_cmplt_pd(abs_d(vh), d1(0x1p-960)), _mm_cmpeq_pd(ch, _mm_setzero_pd()));
      if (__builtin_expect(_mm_movemask_pd(tiny) != 0, 0)) {
        const DD q = times_inv_pi(_mm_mul_pd(vh, d1(0x1p110)), _mm_mul_pd(vl, d1(0x1p110)));
        const __m128d rt = _mm_mul_pd(_mm_xor_pd(_mm_add_pd(q.hi, q.lo), fl), d1(0x1p-110));
        r = select(tiny, rt, r);
      }
    }
    return r;
  } else {
    __m128d v = _mm_add_pd(vh, vl);
    if constexpr (Pi) v = _mm_mul_pd(v, d1(kInvPi.hi));
    return _mm_add_pd(ch, _mm_xor_pd(v, fl));
  }
}

// ---- Asin and Acos, double -------------------------------------------------------

// The small part of asin: a + a z P(z) for a < 1/2, else S + S z P(z) with
// S = 2 sqrt(u), u = (1 - a)/2, z = min(a^2, u); asin a = pi/2 - (that) on the
// outer branch. S comes from the 12-bit estimate y of 1/sqrt(u): s0 = 2u y
// and e = 2u y^2 - 2 (|e| < 2^-9.4), S = s0 (1 + e/2)^(-1/2), no square root
// and no Newton loop. At HA the outer small part is kept as a pair: S cut to
// 26 bits, sh (so that sh^2 is exact), and the rest (2 sqrt(u) - sh) from the exact residual
// 4u - sh^2 over (sh + S), with 1/(2S) = y F/4 (F = (1 + e/2)^(-1/2)) and one
// correction for sh + S against 2S.
struct AsinParts {
  __m128d outer, vh, vl;
};

template <class E, Level L>
ZEV_INVTRIG_INLINE AsinParts asin_parts(__m128d a) {
  const __m128d u = _mm_sub_pd(d1(0.5), _mm_mul_pd(d1(0.5), a));
  const __m128d z = _mm_min_pd(_mm_mul_pd(a, a), u);
  const __m128d outer = _mm_cmpge_pd(a, d1(0.5));
  const __m128 uf = _mm_cvtpd_ps(u);
  __m128d y = _mm_cvtps_pd(E::rsqrt(uf));
  y = _mm_and_pd(y, _mm_cmpge_pd(u, d1(0x1p-255)));  // u = 0: S = 0
  const __m128d w = _mm_add_pd(u, u);
  const __m128d s0 = _mm_mul_pd(w, y);
  const __m128d e = _mm_sub_pd(_mm_mul_pd(s0, y), d1(2.0));
  __m128d corr;
  if constexpr (L == Level::EP)
    corr = _mm_add_pd(kD.corr.c[0], _mm_mul_pd(e, kD.corr.c[1]));
  else
    corr = estrin(kD.corr.c, e);
  const __m128d ec = _mm_mul_pd(e, corr);
  const __m128d s = _mm_sub_pd(s0, _mm_mul_pd(s0, ec));
  const __m128d p = L == Level::EP ? estrin(kD.asin_p_ep.c, z) : estrin(kD.asin_p.c, z);
  const __m128d v = select(outer, s, a);
  const __m128d q = _mm_mul_pd(_mm_mul_pd(v, z), p);
  if constexpr (L == Level::HA) {
    const __m128d sh = _mm_and_pd(s, cut26());
    const __m128d g = _mm_mul_pd(_mm_mul_pd(y, _mm_sub_pd(d1(1.0), ec)), d1(0.25));  // 1/(2S)
    const __m128d res = _mm_sub_pd(_mm_add_pd(w, w), _mm_mul_pd(sh, sh));          // 4u - sh^2, exact
    __m128d sl = _mm_mul_pd(res, g);
    sl = _mm_add_pd(sl, _mm_mul_pd(sl, _mm_mul_pd(_mm_sub_pd(s, sh), g)));
    return {outer, select(outer, sh, a), _mm_add_pd(_mm_and_pd(outer, sl), q)};
  } else {
    return {outer, v, q};
  }
}

// asin: C = pi/2 on the outer branch, the small part subtracted there; the
// sign of x last.
template <class E, Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128d asin_d(__m128d x) {
  const __m128d a = abs_d(x);
  const AsinParts w = asin_parts<E, L>(a);
  using A = Angles<Pi>;
  const __m128d ch = _mm_and_pd(w.outer, d1(A::half.hi)), cl = _mm_and_pd(w.outer, d1(A::half.lo));
  const __m128d r = finish<L, Pi>(ch, cl, w.vh, w.vl, _mm_and_pd(w.outer, sign_d()));
  return _mm_or_pd(r, _mm_and_pd(x, sign_d()));
}

// acos: inner branch pi/2 - asin x; outer x > 0: the small part itself;
// outer x < 0: pi - the small part.
template <class E, Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128d acos_d(__m128d x) {
  const __m128d a = abs_d(x);
  const AsinParts w = asin_parts<E, L>(a);
  using A = Angles<Pi>;
  const __m128d neg = _mm_cmplt_pd(x, _mm_setzero_pd());
  const __m128d ch = select(w.outer, _mm_and_pd(neg, d1(A::full.hi)), d1(A::half.hi));
  const __m128d cl = select(w.outer, _mm_and_pd(neg, d1(A::full.lo)), d1(A::half.lo));
  const __m128d fl = _mm_xor_pd(_mm_and_pd(x, sign_d()), _mm_andnot_pd(w.outer, sign_d()));
  return finish<L, Pi>(ch, cl, w.vh, w.vl, fl);
}

// ---- Atan, double ----------------------------------------------------------------

// The interval table of a = |x|: c, the mask word, the angle atan(c) as a pair
// (row 0: pi/2, the limit of t = -1/a), and the same angle in half-turns.
struct AtanRow {
  __m128d c_mask, theta, theta_pi;
};
constexpr AtanRow atan_row(double c, bool mask, Pair theta) {
  const Pair tp = mul_c(theta, kInvPi);
  return {std::bit_cast<__m128d>(I2{std::bit_cast<int64_t>(c), mask ? int64_t{-1} : 0}), __m128d{theta.hi, theta.lo},
          __m128d{tp.hi, tp.lo}};
}
inline constexpr AtanRow kAtanTable[5] = {
    atan_row(1.0, false, {1.5707963267948966, 6.123233995736766e-17}),
    atan_row(1.5, true, {0.982793723247329, 1.3903311031230998e-17}),
    atan_row(1.0, true, {0.7853981633974483, 3.061616997868383e-17}),
    atan_row(0.5, true, {0.4636476090008061, 2.2698777452961687e-17}),
    atan_row(0.0, true, {0.0, 0.0}),
};

// Row 4 minus the number of row bounds (0.4375, 0.6875, 1.1875, 2.4375) at or
// below a, from the high words, without a branch.
ZEV_INVTRIG_INLINE __m128i atan_rows(__m128d a) {
  const __m128i hw = abs_high_words(a);
  __m128i s = _mm_cmpgt_epi32(hw, _mm_set1_epi32(0x3FDBFFFF));
  s = _mm_add_epi32(s, _mm_cmpgt_epi32(hw, _mm_set1_epi32(0x3FE5FFFF)));
  s = _mm_add_epi32(s, _mm_cmpgt_epi32(hw, _mm_set1_epi32(0x3FF2FFFF)));
  s = _mm_add_epi32(s, _mm_cmpgt_epi32(hw, _mm_set1_epi32(0x40037FFF)));
  return _mm_add_epi32(s, _mm_set1_epi32(4));
}

// atan of a + al (a = |x| in the ordinary range, al a low part, zero but
// in Atan2) by the table: t = N/D, N = (a & mask) - c (exact) plus
// al & mask, D = a c + (1 & mask) + al c as a pair. The quotient comes from
// the estimate of 1/D (D clamped to 2^100: beyond, -1/a is below 2^-100 and
// atan a rounds to pi/2 either way) and two Newton steps (2^-45); q = N y
// cut to 26 bits (within 2^-24 of t), the residual N - q D times y corrects
// it, and th + tl is t to about 2^-68 with th rounded to nearest. Row 4
// (a < 0.4375) takes t = a + al.
// The result: the row's angle (ch, cl) in the units of Pi, and atan t - the
// angle as th + (tl + th z Q(z)) in radians.
struct AtanParts {
  __m128d ch, cl, th, tl;
};
template <class E, bool Pi>
ZEV_INVTRIG_INLINE AtanParts atan_table(__m128d a, __m128d al) {
  const __m128i row = atan_rows(a);
  const int i0 = _mm_cvtsi128_si32(row), i1 = _mm_extract_epi16(row, 4);
  const __m128d r0 = kAtanTable[i0].c_mask, r1 = kAtanTable[i1].c_mask;
  const __m128d c = _mm_unpacklo_pd(r0, r1), mask = _mm_unpackhi_pd(r0, r1);
  const __m128d t0 = Pi ? kAtanTable[i0].theta_pi : kAtanTable[i0].theta;
  const __m128d t1 = Pi ? kAtanTable[i1].theta_pi : kAtanTable[i1].theta;
  const __m128d n = _mm_sub_pd(_mm_and_pd(a, mask), c);
  // a c as a pair without Dekker's product: c is 0, 1/2, 1 or 3/2, so
  // a c = (a & [c >= 1]) + a (c - [c >= 1]), two exact terms, the first the
  // larger or zero.
  const __m128d ge1 = _mm_cmpge_pd(c, d1(1.0));
  const DD ac = fast_two_sum(_mm_and_pd(a, ge1), _mm_mul_pd(a, _mm_sub_pd(c, _mm_and_pd(ge1, d1(1.0)))));
  const DD d = two_sum(ac.hi, _mm_and_pd(d1(1.0), mask));
  const __m128d dh = _mm_min_pd(d.hi, d1(0x1p100)), dl = _mm_add_pd(d.lo, _mm_add_pd(ac.lo, _mm_mul_pd(al, c)));
  __m128d y = _mm_cvtps_pd(E::rcp(_mm_cvtpd_ps(dh)));
  y = _mm_add_pd(y, _mm_mul_pd(y, _mm_sub_pd(d1(1.0), _mm_mul_pd(dh, y))));
  y = _mm_add_pd(y, _mm_mul_pd(y, _mm_sub_pd(d1(1.0), _mm_mul_pd(dh, y))));
  // q = N y cut to 26 bits and dh cut to 26 bits and the rest: q dh1 and
  // q dh2 are exact, and N - q dh1 too (the two within 2^-24 of each other),
  // so the residual N - q D needs no Dekker product either.
  const __m128d cut = cut26();
  const __m128d q = _mm_and_pd(_mm_mul_pd(n, y), cut);
  const __m128d dh1 = _mm_and_pd(dh, cut), dh2 = _mm_sub_pd(dh, dh1);
  const __m128d res =
      _mm_sub_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(n, _mm_mul_pd(q, dh1)), _mm_mul_pd(q, dh2)), _mm_and_pd(al, mask)),
                 _mm_mul_pd(q, dl));
  const DD t = fast_two_sum(q, _mm_mul_pd(res, y));
  const __m128d m0 = _mm_castsi128_pd(_mm_cmpgt_epi32(abs_high_words(a), _mm_set1_epi32(0x3FDBFFFF)));
  const __m128d th = select(m0, t.hi, a);
  const __m128d tl = select(m0, t.lo, al);
  const __m128d z = _mm_mul_pd(th, th);
  const __m128d p = _mm_mul_pd(_mm_mul_pd(th, z), estrin(kD.atan_q.c, z));
  return {_mm_unpacklo_pd(t0, t1), _mm_unpackhi_pd(t0, t1), th, _mm_add_pd(tl, p)};
}

template <class E, Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128d atan_table_d(__m128d x) {
  const AtanParts w = atan_table<E, Pi>(abs_d(x), _mm_setzero_pd());
  const __m128d r = finish<L, Pi>(w.ch, w.cl, w.th, w.tl, _mm_setzero_pd());
  return _mm_or_pd(r, _mm_and_pd(x, sign_d()));
}

// atan without a table: t = a up to 1, else 1/a from the estimate and two
// Newton steps y (2 - d y), atan = pi/2 - atan t there; t E(z), E of degree 19.
template <class E>
ZEV_INVTRIG_INLINE __m128d recip_d(__m128d d) {
  __m128d y = _mm_cvtps_pd(E::rcp(_mm_cvtpd_ps(d)));
  y = _mm_mul_pd(y, _mm_sub_pd(d1(2.0), _mm_mul_pd(d, y)));
  return _mm_mul_pd(y, _mm_sub_pd(d1(2.0), _mm_mul_pd(d, y)));
}
// Div: t = min(a, 1)/max(a, 1) by one division instead (single HA).
template <class E, bool Pi, bool Div = false>
ZEV_INVTRIG_INLINE __m128d atan_ep_d(__m128d x) {
  const __m128d a = abs_d(x);
  const __m128d big = _mm_cmpgt_pd(a, d1(1.0));
  __m128d t;
  if constexpr (Div)
    t = _mm_div_pd(_mm_min_pd(a, d1(1.0)), _mm_max_pd(a, d1(1.0)));
  else
    t = select(big, recip_d<E>(_mm_min_pd(_mm_max_pd(a, d1(1.0)), d1(0x1p100))), a);
  const __m128d p = _mm_mul_pd(t, estrin(kD.atan_ep.c, _mm_mul_pd(t, t)));
  __m128d r = finish<Level::EP, Pi>(_mm_and_pd(big, d1(Angles<Pi>::half.hi)), _mm_setzero_pd(), p,
                                    _mm_setzero_pd(), _mm_and_pd(big, sign_d()));
  r = select(_mm_cmpeq_pd(a, d1(1.0)), d1(Angles<Pi>::quarter.hi), r);  // |x| = 1: pi/4 (1/4) exactly
  return _mm_or_pd(r, _mm_and_pd(x, sign_d()));
}

// ---- Atan2, double -------------------------------------------------------------

// atan2(y, x) from t = m/M (m, M the smaller and larger of |y|, |x|): p =
// atan t; |y| > |x| turns it to pi/2 - p, x < 0 to pi - that, so that
// r = C + (fl ? -p : p) with C in {0, pi/2, pi} and fl = (|y| > |x|) xor
// (x < 0). |y| = |x| gives pi/4 exactly in the result's units. The sign of y last.
// At HA t is a pair (m (1/M) and the exact residual m - t M over M) and atan t
// comes from the interval table of Atan, as a pair; otherwise p = t + t z R(z)
// (R of degree 18, within 2^-54 on [0, 1]) or, Short, t E(z).
struct Atan2Parts {
  __m128d ch, cl, vh, vl, fl, eq;
};
// C (pi/2 where |y| > |x|, that is g, else pi where x < 0, else 0, in the
// result's units) and the sign mask fl = g xor (x < 0).
struct Atan2Branch {
  __m128d ch, cl, fl;
};
template <bool Pi>
ZEV_INVTRIG_INLINE Atan2Branch atan2_branch_d(__m128d g, __m128d xv) {
  using A = Angles<Pi>;
  const __m128d xmask =
      _mm_castsi128_pd(_mm_shuffle_epi32(_mm_srai_epi32(_mm_castpd_si128(xv), 31), _MM_SHUFFLE(3, 3, 1, 1)));
  return {select(g, d1(A::half.hi), _mm_and_pd(xmask, d1(A::full.hi))),
          select(g, d1(A::half.lo), _mm_and_pd(xmask, d1(A::full.lo))),
          _mm_xor_pd(_mm_and_pd(g, sign_d()), _mm_and_pd(xv, sign_d()))};
}
template <Level L, bool Pi, bool Short, class E>
ZEV_INVTRIG_INLINE Atan2Parts atan2_parts(__m128d yv, __m128d xv) {
  const __m128d ay = abs_d(yv), ax = abs_d(xv);
  const __m128d g = _mm_cmpgt_pd(ay, ax), eq = _mm_cmpeq_pd(ay, ax);
  const __m128d big = _mm_max_pd(ay, ax), small = _mm_min_pd(ay, ax);
  __m128d vh, vl;
  if constexpr (L == Level::HA) {
    // t = m/M as a pair, then atan t by the table (rows 2 to 4), as a pair.
    // (Dekker's product here, not the 26-bit cut of atan_table: for m near
    // the bottom of the range the cut's residual is subnormal, and FTZ would
    // drop it.)
    const __m128d rb = _mm_div_pd(d1(1.0), big);
    const __m128d q = _mm_mul_pd(small, rb);
    const DD pr = two_prod(q, big);
    const DD t = fast_two_sum(q, _mm_mul_pd(_mm_sub_pd(_mm_sub_pd(small, pr.hi), pr.lo), rb));
    const AtanParts w = atan_table<E, false>(t.hi, t.lo);
    const DD s = fast_two_sum(w.ch, w.th);
    vh = s.hi;
    vl = _mm_add_pd(s.lo, _mm_add_pd(w.cl, w.tl));
  } else {
    const __m128d th = _mm_div_pd(small, big);
    const __m128d z = _mm_mul_pd(th, th);
    if constexpr (Short) {  // t E(z), the EP polynomial
      vh = _mm_mul_pd(th, estrin(kD.atan_ep.c, z));
      vl = _mm_setzero_pd();
    } else {
      vh = th;
      vl = _mm_mul_pd(_mm_mul_pd(th, z), estrin(kD.atan2_r.c, z));
    }
  }
  const Atan2Branch c = atan2_branch_d<Pi>(g, xv);
  return {c.ch, c.cl, vh, vl, c.fl, eq};
}

// The kernels' HA: atan(m/M) as a pair from one division with an exact
// residual and no estimate (atan_ratio_dd, within about 2^-58), then C and
// the sign as above. Its range is narrower than the other levels': lanes
// that atan2_hd_special marks go to the scalar function.
template <bool Pi>
ZEV_INVTRIG_INLINE __m128d atan2_hd(__m128d yv, __m128d xv) {
  const __m128d ay = abs_d(yv), ax = abs_d(xv), z = _mm_setzero_pd();
  const DD v = atan_ratio_dd<false>(_mm_min_pd(ay, ax), z, _mm_max_pd(ay, ax), z);
  const Atan2Branch c = atan2_branch_d<Pi>(_mm_cmpgt_pd(ay, ax), xv);
  const __m128d r = finish<Level::HA, Pi>(c.ch, c.cl, v.hi, v.lo, c.fl);
  return _mm_xor_pd(r, _mm_and_pd(yv, sign_d()));
}
// Beyond atan_special of each part: the smaller part m below 2^-960, or
// below 2^-960 of the larger. Above both, the residuals of the ratio (about
// 2^-26 and 2^-79 of m) and the differences m - c M (multiples of an ulp of
// c M, at least M/8) are normal numbers, so that FTZ drops none of them.
ZEV_INVTRIG_INLINE __m128d atan2_hd_special(__m128d yv, __m128d xv) {
  const __m128d ay = abs_d(yv), ax = abs_d(xv);
  const __m128d M = _mm_max_pd(ay, ax);
  return _mm_cmplt_pd(_mm_min_pd(ay, ax), _mm_mul_pd(_mm_max_pd(M, d1(1.0)), d1(0x1p-960)));
}

template <Level L, bool Pi, bool Short = false, class E = HwEstimate>
ZEV_INVTRIG_INLINE __m128d atan2_d(__m128d yv, __m128d xv) {
  const auto [ch, cl, vh, vl, fl, eq] = atan2_parts<L, Pi, Short, E>(yv, xv);
  // |y| = |x|: the small part is pi/4 (1/4 in half-turns) exactly; at HA the
  // table gives it so.
  __m128d r;
  if constexpr (L == Level::HA) {
    r = finish<L, Pi>(ch, cl, vh, vl, fl);
  } else if constexpr (Pi) {
    const __m128d p = select(eq, d1(0.25), _mm_mul_pd(_mm_add_pd(vh, vl), d1(kInvPi.hi)));
    r = _mm_add_pd(ch, _mm_xor_pd(p, fl));
  } else {
    r = finish<L, false>(ch, cl, select(eq, d1(kPi4.hi), vh), _mm_andnot_pd(eq, vl), fl);
  }
  return _mm_xor_pd(r, _mm_and_pd(yv, sign_d()));
}

// atan in half-turns at LA and EP: atan2pi(x, 1), one division and the
// polynomial of Atan2 (LA: t + t z R(z); EP: t E(z)) times 1/pi in one
// rounding; no estimate, no table. |x| = 1 gives 1/4 exactly.
template <Level L>
ZEV_INVTRIG_INLINE __m128d atanpi_div_d(__m128d x) {
  return atan2_d<L, true, L == Level::EP>(x, d1(1.0));
}

// atan2(y, x) in radians as a pair hi + lo, the HA arithmetic above before
// its last rounding (the complex logarithms and powers keep the pair).
template <class E = HwEstimate>
ZEV_INVTRIG_INLINE DD atan2_pair_d(__m128d yv, __m128d xv) {
  const Atan2Parts w = atan2_parts<Level::HA, false, false, E>(yv, xv);
  const DD s = fast_two_sum(w.ch, _mm_xor_pd(w.vh, w.fl));
  const __m128d lo = _mm_add_pd(s.lo, _mm_add_pd(w.cl, _mm_xor_pd(w.vl, w.fl)));
  const __m128d sy = _mm_and_pd(yv, sign_d());
  return {_mm_xor_pd(s.hi, sy), _mm_xor_pd(lo, sy)};
}

// ---- single, in single ------------------------------------------------------------

// asin and acos at LA and EP, the double arithmetic above in float: the
// correction (1 + e/2)^(-1/2) to e^2 (LA) or e (EP), the estimate forced to 0
// below u = 2^-32 (only u = 0 among single inputs). The half-turn forms
// multiply the leading term by 1/pi and use P/pi; on the outer branch the
// leading term S is cut to 12 bits and multiplied by 1/pi cut to 12 bits, an
// exact product v that the branch angle takes without a rounding (1/2 - v is
// exact near x = 1/2, where the result falls to 1/6), the rest going into q.
template <class E, Level L, bool Pi>
struct AsinF {
  __m128 outer, v, q;
  ZEV_INVTRIG_INLINE explicit AsinF(__m128 a) {
    const __m128 u = _mm_sub_ps(f1(0.5f), _mm_mul_ps(f1(0.5f), a));
    const __m128 z = _mm_min_ps(_mm_mul_ps(a, a), u);
    outer = _mm_cmpge_ps(a, f1(0.5f));
    const __m128 y = _mm_and_ps(E::rsqrt(u), _mm_cmpge_ps(u, f1(0x1p-32f)));
    const __m128 w = _mm_add_ps(u, u);
    const __m128 s0 = _mm_mul_ps(w, y);
    const __m128 e = _mm_sub_ps(_mm_mul_ps(s0, y), f1(2.0f));
    const __m128 corr = L == Level::EP ? f1(0.25f) : _mm_add_ps(f1(0.25000003f), _mm_mul_ps(e, f1(-0.0937500298f)));
    const __m128 s = _mm_sub_ps(s0, _mm_mul_ps(_mm_mul_ps(s0, e), corr));
    const __m128 p = L == Level::EP ? estrin(FConst<Pi>::asin_p_ep.c, z) : estrin(FConst<Pi>::asin_p.c, z);
    const __m128 lead = select(outer, s, a);
    q = _mm_mul_ps(_mm_mul_ps(lead, z), p);
    if constexpr (Pi) {
      // The split on the outer branch only, where S is at least 2^-12 and
      // its rest stays normal.
      const __m128 lh = _mm_and_ps(s, _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(0xFFFFF000u))));
      const __m128 qo =
          _mm_add_ps(_mm_add_ps(_mm_mul_ps(lh, f1(kInvPiLo)), _mm_mul_ps(_mm_sub_ps(s, lh), f1(kInvPiF))), q);
      v = select(outer, _mm_mul_ps(lh, f1(kInvPiHi)), _mm_mul_ps(a, f1(kInvPiF)));
      q = select(outer, qo, q);
    } else {
      v = lead;
    }
  }
  // C + (fl ? -(v + q) : v + q); with Pi, C + (fl ? -v : v) first, exactly.
  ZEV_INVTRIG_INLINE __m128 join(__m128 c, __m128 fl) const {
    if constexpr (Pi) return _mm_add_ps(_mm_add_ps(c, _mm_xor_ps(v, fl)), _mm_xor_ps(q, fl));
    return _mm_add_ps(c, _mm_xor_ps(_mm_add_ps(v, q), fl));
  }
};

template <class E, Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128 asin_f(__m128 x) {
  const AsinF<E, L, Pi> w(abs_f(x));
  const __m128 c = _mm_and_ps(w.outer, f1(Pi ? 0.5f : 1.57079637f));
  const __m128 r = w.join(c, _mm_and_ps(w.outer, sign_f()));
  return _mm_or_ps(r, _mm_and_ps(x, sign_f()));
}

template <class E, Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128 acos_f(__m128 x) {
  const AsinF<E, L, Pi> w(abs_f(x));
  const __m128 neg = _mm_cmplt_ps(x, _mm_setzero_ps());
  const __m128 c = select(w.outer, _mm_and_ps(neg, f1(Pi ? 1.0f : 3.14159274f)), f1(Pi ? 0.5f : 1.57079637f));
  const __m128 fl = _mm_xor_ps(_mm_and_ps(x, sign_f()), _mm_andnot_ps(w.outer, sign_f()));
  return w.join(c, fl);
}

// atan t for t in [0, 1] in float: t + t z Q(z) (LA) or t E(z) (EP), with the
// leading term times 1/pi and the coefficients over pi in half-turns.
template <Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128 atan_poly_f(__m128 t) {
  const __m128 z = _mm_mul_ps(t, t);
  if constexpr (L == Level::EP) return _mm_mul_ps(t, estrin(FConst<Pi>::atan_e.c, z));
  const __m128 lead = Pi ? _mm_mul_ps(t, f1(kInvPiF)) : t;
  return _mm_add_ps(lead, _mm_mul_ps(_mm_mul_ps(t, z), estrin(FConst<Pi>::atan_q.c, z)));
}

// atan in float: t = a up to 1, else 1/a from the estimate with one Newton
// step y (2 - d y): t within 1.5^2 2^-24 plus its roundings, which pi/2 - atan t
// (at least pi/4) halves.
template <class E, Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128 atan_f(__m128 x) {
  const __m128 a = abs_f(x);
  const __m128 big = _mm_cmpgt_ps(a, f1(1.0f));
  const __m128 d = _mm_max_ps(a, f1(1.0f));
  __m128 y = E::rcp(d);
  y = _mm_mul_ps(y, _mm_sub_ps(f1(2.0f), _mm_mul_ps(d, y)));
  const __m128 p = select(_mm_cmpeq_ps(a, f1(1.0f)), f1(Pi ? 0.25f : 0.785398185f), atan_poly_f<L, Pi>(select(big, y, a)));
  const __m128 c = _mm_and_ps(big, f1(Pi ? 0.5f : 1.57079637f));
  const __m128 r = _mm_add_ps(c, _mm_xor_ps(p, _mm_and_ps(big, sign_f())));
  return _mm_or_ps(r, _mm_and_ps(x, sign_f()));
}

template <Level L, bool Pi>
ZEV_INVTRIG_INLINE __m128 atan2_f(__m128 yv, __m128 xv) {
  const __m128 ay = abs_f(yv), ax = abs_f(xv);
  const __m128 g = _mm_cmpgt_ps(ay, ax), eq = _mm_cmpeq_ps(ay, ax);
  const __m128 t = _mm_div_ps(_mm_min_ps(ay, ax), _mm_max_ps(ay, ax));
  const __m128 p = select(eq, f1(Pi ? 0.25f : 0.785398185f), atan_poly_f<L, Pi>(t));
  const __m128 xmask = _mm_castsi128_ps(_mm_srai_epi32(_mm_castps_si128(xv), 31));
  const __m128 c = select(g, f1(Pi ? 0.5f : 1.57079637f), _mm_and_ps(xmask, f1(Pi ? 1.0f : 3.14159274f)));
  const __m128 fl = _mm_xor_ps(_mm_and_ps(g, sign_f()), _mm_and_ps(xv, sign_f()));
  const __m128 r = _mm_add_ps(c, _mm_xor_ps(p, fl));
  return _mm_xor_ps(r, _mm_and_ps(yv, sign_f()));
}

// ---- single at HA, in double --------------------------------------------------------

// Four singles as two vectors of doubles, and back.
template <class F>
ZEV_INVTRIG_INLINE __m128 widened(__m128 x, F f) {
  return narrow(f(widen_lo(x)), f(widen_hi(x)));
}
template <class F>
ZEV_INVTRIG_INLINE __m128 widened(__m128 y, __m128 x, F f) {
  return narrow(f(widen_lo(y), widen_lo(x)), f(widen_hi(y), widen_hi(x)));
}

// ---- special lanes ------------------------------------------------------------------

// Asin, Acos: |x| above 1 or NaN (the compare "not less or equal").
ZEV_INVTRIG_INLINE __m128d asin_special(__m128d x) { return _mm_cmpnle_pd(abs_d(x), d1(1.0)); }
ZEV_INVTRIG_INLINE __m128 asin_special(__m128 x) { return _mm_cmpnle_ps(abs_f(x), f1(1.0f)); }
// Atan, Atan2 (each part): the high word of |x| outside [0x00300000,
// 0x7E000000), that is zero, denormals, |x| below 2^-1019 or from 2^993 on,
// Inf, NaN: subtract 0x80300000, compare signed with 0xFDD00000.
ZEV_INVTRIG_INLINE __m128d atan_special(__m128d x) {
  static constexpr Range32 k = range32(0x00300000u, 0x7DFFFFFFu);
  return _mm_castsi128_pd(outside(abs_high_words(x), k));
}
// Single Atan: |x| outside [2^-125, 2^123) (0x01000000, 0x7D000000), by the
// limits 0x81000000 and 0xFC000000.
ZEV_INVTRIG_INLINE __m128 atan_special(__m128 x) {
  static constexpr Range32 k = range32(0x01000000u, 0x7CFFFFFFu);
  return _mm_castsi128_ps(outside(abs_bits(x), k));
}
// Single Atan2 (each part): not a normal finite number.
ZEV_INVTRIG_INLINE __m128 atan2_special(__m128 x) {
  static constexpr Range32 k = range32(0x00800000u, 0x7F7FFFFFu);
  return _mm_castsi128_ps(outside(abs_bits(x), k));
}

}  // namespace zev::vk::invtrig
