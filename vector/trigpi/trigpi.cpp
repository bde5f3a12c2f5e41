// Sine, cosine and tangent of half-turns (Sinpi(x) = sin(pi x)) and of
// degrees (Sind(x) = sin(x pi/180)), single and double, three levels each.
//
// Reduction, exact for every finite x. Half-turns: a = |x| is cut to 2^53
// (every double from there on is an even integer, so nothing changes), the
// multiples of 4 go by one rounding sum, a - ((a + 2^54) - 2^54), and the
// multiple k of 1/2 nearest to the rest b by the rounding shifter: v = b - k/2,
// |v| <= 1/4, every step exact. Degrees: k = round(a/90) by the shifter and
// v = a - 90 k, |v| <= 45 (plus a rounding of a/90 near the half-way points),
// exact while a < 2^46 (90 k holds 46 bits at most); larger a go to the scalar
// function, which takes fmod(x, 360) (exact) first. k mod 4 is the quadrant:
// with S = sin(c v), C = cos(c v) (c = pi or pi/180) the sine of the argument
// is S, C, -S, -C, the cosine that of quadrant k + 1, the tangent their
// quotient.
//
// Cores. HA double keeps S and C as pairs of doubles: S = cHi vh (exact, 26 by
// 26 bits) + [cHi vl + cLo v + v z P(z)]; C = 1 - c^2/2 z (the head from a
// 21-bit c^2/2 times a 32-bit piece of z, exact, with its Fast2Sum error) +
// [the rest of c^2/2 z, with z's own rounding error, + z^2 Q(z)]; Sin and Cos
// add the pair once, Tan divides the pairs with one correction step. LA
// double evaluates the same series in plain double; EP double and the single
// tangents (in double on widened lanes, rounded once) a shorter prefix of it.
// The single sines and cosines reduce by half turns instead and evaluate one
// series of the sine (sin_half_turn). The series are the Taylor series of
// sin(c v) and cos(c v) (trigpi_coeffs.inc, tools/trigpi_tables).
//
// Measured worst errors: double HA 0.69 ulp (Sinpi, Cospi, Sind, Cosd), 0.87
// (Tanpi, Tand); LA 1.8, Tan LA 2.8; EP 32.5 bits. Single HA 0.51 ulp, LA 1.44,
// EP 14.1 bits (zev_ulp --full; the exhaustive figures are in
// docs/accuracy_trigpi.md).
//
// Exact values: zeros of the sine have the sign of x (+0 after a quadrant
// flip, by adding +0), zeros of the cosine are +0, Tan at |v| = 1/4 (45
// degrees) is +-1 by construction, the tangent's zeros and poles follow
// Sin/Cos with those signs: tan(n) = +0 for even n > 0, -0 for odd n > 0;
// poles +inf at 1/2 + 2m, -inf at 3/2 + 2m (likewise at 90 and 270 degrees).
//
// Special lanes: infinities and NaN; double lanes below 2^-1000 (where the
// products of the pair cores reach the subnormal range; the scalar function
// gives sin and tan of those in extended precision, cos as 1); degrees at and
// above 2^46; tangent poles (v = 0 in an odd quadrant). Status 1 at the
// infinities, 2 at the poles.
#include <emmintrin.h>

#include <cmath>
#include <cstdint>

#include "vector/common/widen.h"
#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/common/level.h"
#include "vector/common/range.h"
#include "vector/shape.h"
#include "vector/trigpi/trigpi_table.h"
#include "vector/vops.h"

namespace zev::vk {
namespace {

using trigpi::Degree;
using trigpi::HalfTurn;

enum class Fn { Sin, Cos, Tan };

// The constants of one unit, full-width. kQuarter: the reduced value where
// the tangent is +-1; kPeriod: one turn; kHuge: the least input the vector
// reduction does not take (double lanes).
template <class U>
struct Consts {
  __m128d c, hi, lo, h2, h2hi, h2lo, sin[8], cos[8];
  __m128d quarter, shifter, inv_step, step, sign, one, zero_pos, clamp, mask_z, fit[4];
};
template <class U>
constexpr Consts<U> make_consts() {
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  Consts<U> k{d2(U::kC), d2(U::kHi), d2(U::kLo), d2(U::kH2), d2(U::kH2Hi), d2(U::kH2Lo), {}, {},
              d2(half ? 0.25 : 45.0), d2(0x1.8p52), d2(half ? 2.0 : 1.0 / 90), d2(half ? 0.5 : 90.0),
              q2(0x8000000000000000ull), d2(1.0), d2(0.0), d2(half ? 0x1p53 : 0x1p46),
              q2(0xFFFFFFFFFFE00000ull)};
  for (int i = 0; i < 8; ++i) k.sin[i] = d2(U::kSin[i]), k.cos[i] = d2(U::kCos[i]);
  // The fitted polynomial of the single radian sine at HA, sin s ~ s + s^3
  // (f1 + s^2 (f2 + s^2 (f3 + s^2 f4))) on |s| <= pi/2, in v = s / c: the
  // coefficient of v^(2i+3) is f(i+1) c^(2i+3).
  constexpr double f[4] = {-0.1666665955042783, 0.00833306624608569, -0.00019809602902257352, 2.605780638722852e-06};
  double cp = U::kC * U::kC * U::kC;
  for (int i = 0; i < 4; ++i, cp *= U::kC * U::kC) k.fit[i] = d2(f[i] * cp);
  return k;
}
template <class U>
inline constexpr Consts<U> kK = make_consts<U>();

// The largest double lane of the vector path.
template <class U>
constexpr double kLargest = std::is_same_v<U, HalfTurn> ? 0x1.fffffffffffffp1023 : 0x1.fffffffffffffp45;

template <class U>
constexpr double kPeriod = std::is_same_v<U, HalfTurn> ? 2.0 : 360.0;

// ---- reduction ---------------------------------------------------------------------

struct Red {
  __m128d v;  // reduced value, |v| <= quarter
  __m128i q;  // k in the low bits of each 64-bit lane
};

template <class U>
inline Red reduce(__m128d a) {
  const auto& k = kK<U>;
  a = _mm_min_pd(a, k.clamp);  // NaN lanes take the clamp; they are special
  if constexpr (std::is_same_v<U, HalfTurn>) {
    const __m128d four = _mm_set1_pd(0x1p54);
    a = sub(a, sub(add(a, four), four));  // a mod 4 in [-2, 2], exact
  }
  const __m128d t = add(mul(a, k.inv_step), k.shifter);
  const __m128d kf = sub(t, k.shifter);
  return {sub(a, mul(kf, k.step)), _mm_castpd_si128(t)};
}

// Lanes whose k is odd (all ones), and bit 1 of k moved to the sign.
inline __m128d odd_lanes(__m128i q) {
  const __m128i m = _mm_srai_epi32(_mm_slli_epi32(q, 31), 31);
  return _mm_castsi128_pd(_mm_shuffle_epi32(m, _MM_SHUFFLE(2, 2, 0, 0)));
}
inline __m128d half_sign(__m128i q) {
  return _mm_castsi128_pd(_mm_and_si128(_mm_slli_epi64(q, 62), _mm_set1_epi64x(INT64_MIN)));
}

// ---- cores -------------------------------------------------------------------------

// c0 + z (c1 + z (...)) over the first N coefficients.
template <int N>
inline __m128d series(const __m128d (&c)[8], __m128d z) {
  __m128d p = c[N - 1];
  for (int j = N - 2; j >= 0; --j) p = add(c[j], mul(z, p));
  return p;
}

// sin(c v) and cos(c v) as pairs of doubles (HA double).
template <class U>
inline void sincos_pair(__m128d v, DD& s, DD& c) {
  const auto& k = kK<U>;
  const DD vs = split(v);
  const __m128d z = mul(v, v);
  s.hi = mul(k.hi, vs.hi);
  s.lo = add(add(mul(k.hi, vs.lo), mul(k.lo, v)), mul(mul(v, z), series<8>(k.sin, z)));
  // z's rounding error, from the exact square of the split.
  const __m128d ze = add(add(sub(mul(vs.hi, vs.hi), z), mul(add(vs.hi, vs.hi), vs.lo)), mul(vs.lo, vs.lo));
  const __m128d zh = _mm_and_pd(z, k.mask_z);
  const __m128d t = mul(k.h2hi, zh);
  c.hi = sub(k.one, t);
  const __m128d e1 = sub(sub(k.one, c.hi), t);
  const __m128d rest = add(add(mul(k.h2hi, sub(z, zh)), mul(k.h2lo, z)), mul(k.h2, ze));
  c.lo = add(sub(e1, rest), mul(mul(z, z), series<8>(k.cos, z)));
}

// sin(c v) and cos(c v) in plain double, NS and NC terms past the first.
template <class U, int NS, int NC>
inline void sincos_plain(__m128d v, __m128d& s, __m128d& c) {
  const auto& k = kK<U>;
  const __m128d z = mul(v, v);
  s = mul(v, add(k.c, mul(z, series<NS>(k.sin, z))));
  c = add(k.one, mul(z, sub(mul(z, series<NC>(k.cos, z)), k.h2)));
}

// sin(c v) with the exact head cHi vh and the rest in one sum: within 0.6 ulp,
// for the double LA tangent, whose quotient would otherwise gather 4 ulp.
template <class U, int NS>
inline __m128d sin_head(__m128d v) {
  const auto& k = kK<U>;
  const DD vs = split(v);
  const __m128d z = mul(v, v);
  const __m128d lo = add(add(mul(k.hi, vs.lo), mul(k.lo, v)), mul(mul(v, z), series<NS>(k.sin, z)));
  return add(mul(k.hi, vs.hi), lo);
}

// Terms of the series by precision and level: {sine, cosine}.
template <class T, Level L>
constexpr int kTerms[2] = {sizeof(T) == 8 ? (L == Level::EP ? 5 : 7) : (L == Level::HA ? 5 : L == Level::LA ? 4 : 2),
                           sizeof(T) == 8 ? (L == Level::EP ? 4 : 7) : (L == Level::HA ? 5 : L == Level::LA ? 4 : 2)};

// Single Sin and Cos, and double EP: one series on a half turn. k = round(a /
// half turn) for the sine, round(a / half turn + 1/2) for the cosine, and
// r = a - k half turns (sine) or a - (k - 1/2) half turns (cosine), |r| <= a
// quarter turn, exact (for the cosine of a below 1/8 turn up to a rounding
// where the function is flat); the function is (-1)^k sin(c r). The series
// of sin(c r) is cut after a positive term (to v^9 or v^13), so it never
// falls short of a unit: clamped to [-1, 1], it gives +-1 exactly at
// r = +-quarter turn, and elsewhere the clamp moves nothing but its excess.
// The fitted polynomial of sin(c r), |r| <= a quarter turn, for single HA
// and LA: within 2^-26 of the value, so that the float of +-quarter turn is
// +-1 exactly and no float result passes 1.
template <class U>
inline __m128d half_turn_fit(__m128d r) {
  const auto& k = kK<U>;
  const __m128d z = mul(r, r), z2 = mul(z, z);
  const __m128d p = add(add(k.fit[0], mul(z, k.fit[1])), mul(z2, add(k.fit[2], mul(z, k.fit[3]))));
  return mul(r, add(k.c, mul(z, p)));
}

// The series of sin(c r), |r| <= a quarter turn, clamped to [-1, 1].
template <class U, int N>
inline __m128d half_turn_series(__m128d r) {
  const auto& k = kK<U>;
  static_assert(N % 2 == 0, "the last term of the series must be positive");
  const __m128d z = mul(r, r);
  __m128d p;
  if constexpr (N == 6) {  // Estrin's scheme: a shorter chain
    const __m128d z2 = mul(z, z);
    const __m128d p01 = add(k.sin[0], mul(z, k.sin[1])), p23 = add(k.sin[2], mul(z, k.sin[3]));
    const __m128d p45 = add(k.sin[4], mul(z, k.sin[5]));
    p = add(p01, mul(z2, add(p23, mul(z2, p45))));
  } else {
    p = series<N>(k.sin, z);
  }
  const __m128d y = mul(r, add(k.c, mul(z, p)));
  return _mm_min_pd(_mm_max_pd(y, _mm_set1_pd(-1.0)), k.one);
}
// Terms of the series past c r: to v^9 (single EP) or v^13.
template <class T, Level L>
constexpr int kHalfTurnTerms = sizeof(T) == 4 && L == Level::EP ? 4 : 6;

template <Fn F, class U, class T, Level L>
inline __m128d sin_half_turn(__m128d a) {
  const auto& k = kK<U>;
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  const __m128d w = F == Fn::Cos ? add(a, _mm_set1_pd(half ? 0.5 : 90.0)) : a;
  const __m128d t = add(mul(w, _mm_set1_pd(half ? 1.0 : 1.0 / 180)), k.shifter);
  __m128d m = mul(sub(t, k.shifter), _mm_set1_pd(half ? 1.0 : 180.0));
  if constexpr (F == Fn::Cos) m = sub(m, _mm_set1_pd(half ? 0.5 : 90.0));
  const __m128d r = sub(a, m);
  const __m128d y =
      sizeof(T) == 4 && L != Level::EP ? half_turn_fit<U>(r) : half_turn_series<U, kHalfTurnTerms<T, L>>(r);
  const __m128d flip = _mm_castsi128_pd(_mm_slli_epi64(_mm_castpd_si128(t), 63));
  return add(xor_(y, flip), k.zero_pos);  // a zero comes out +0
}

// Single Sin and Cos of lanes below 2^22 (half turns or degrees): k =
// round(a / half turn) and r = a - k half turns in float, exact; the sine is
// (-1)^k sin(c r), the cosine (-1)^k sin(c (quarter - |r|)), the quarter
// turn taken in double, exactly. The same values as sin_half_turn.
template <Fn F, class U, Level L>
inline __m128 sin_half_turn_float(__m128 a) {
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  const __m128 shifter = _mm_set1_ps(0x1.8p23f);
  const __m128 t = add(half ? a : mul(a, _mm_set1_ps(1.0f / 180)), shifter);
  const __m128 kf = sub(t, shifter);
  const __m128 r = sub(a, half ? kf : mul(kf, _mm_set1_ps(180.0f)));
  __m128d r0 = widen_lo(r), r1 = widen_hi(r);
  if constexpr (F == Fn::Cos) {
    const __m128d q = _mm_set1_pd(half ? 0.5 : 90.0), sign = kK<U>.sign;
    r0 = sub(q, andnot(sign, r0));
    r1 = sub(q, andnot(sign, r1));
  }
  constexpr int kN = kHalfTurnTerms<float, L>;
  const __m128 y = L == Level::EP ? narrow(half_turn_series<U, kN>(r0), half_turn_series<U, kN>(r1))
                                  : narrow(half_turn_fit<U>(r0), half_turn_fit<U>(r1));
  const __m128 flip = _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(t), 31));
  return add(xor_(y, flip), _mm_setzero_ps());  // a zero comes out +0
}

// One function of |x| on two double lanes, before the sign of x; `pole`
// marks the tangent's poles. Double HA goes through the pairs.
template <Fn F, class U, class T, Level L>
[[gnu::always_inline]] inline __m128d core(__m128d a, __m128d& pole) {
  const auto& k = kK<U>;
  if constexpr (F != Fn::Tan && (sizeof(T) == 4 || L == Level::EP)) return sin_half_turn<F, U, T, L>(a);
  // Double HA and LA sine and cosine, and the HA tangent: the circle table.
  if constexpr (sizeof(T) == 8 && F != Fn::Tan && L != Level::EP)
    return trigpi::table_sin_cos<U, L == Level::HA>(a, F == Fn::Cos ? 128 : 0);
  if constexpr (sizeof(T) == 8 && F == Fn::Tan && L == Level::HA) return trigpi::table_tan<U, HwEstimate>(a, pole);
  const Red r = reduce<U>(a);
  constexpr bool pair = sizeof(T) == 8 && L == Level::HA;
  DD s, c;
  if constexpr (pair) {
    sincos_pair<U>(r.v, s, c);
  } else {
    sincos_plain<U, kTerms<T, L>[0], kTerms<T, L>[1]>(r.v, s.hi, c.hi);
    if constexpr (F == Fn::Tan && sizeof(T) == 8 && L == Level::LA) s.hi = sin_head<U, kTerms<T, L>[0]>(r.v);
    s.lo = c.lo = _mm_setzero_pd();
  }
  const __m128d odd = odd_lanes(r.q);
  if constexpr (F != Fn::Tan) {
    const __m128i q = F == Fn::Cos ? _mm_add_epi32(r.q, _mm_set1_epi32(1)) : r.q;
    const __m128d sel = F == Fn::Cos ? _mm_xor_pd(odd, _mm_castsi128_pd(_mm_set1_epi32(-1))) : odd;
    __m128d y = select(sel, c.hi, s.hi);
    if constexpr (pair) y = add(y, select(sel, c.lo, s.lo));
    return add(xor_(y, half_sign(q)), k.zero_pos);  // a zero comes out +0
  } else {
    // sin and cos of the argument, with their signs: the quotient then has
    // the sign of zero the rules give.
    const __m128d ns = half_sign(r.q), nc = half_sign(_mm_add_epi32(r.q, _mm_set1_epi32(1)));
    const __m128d nh = add(xor_(select(odd, c.hi, s.hi), ns), k.zero_pos);
    __m128d dh = xor_(select(odd, s.hi, c.hi), nc);
    const __m128d vzero = cmpeq(r.v, _mm_setzero_pd());
    pole = and_(vzero, odd);
    dh = select(pole, k.one, dh);  // no 0/0 in the lanes the scalar function takes
    __m128d y;
    if constexpr (pair) {
      // With w = 1/d rounded, y = n w (within 2 ulp of n/d), then one step
      // y + (n - y d) w, y dh exact: the low parts are not small (up to a
      // tenth of the heads), so they go into y and into d.
      const __m128d nl = xor_(select(odd, c.lo, s.lo), ns);
      const __m128d dl = xor_(select(odd, s.lo, c.lo), nc);
      const __m128d w = _mm_div_pd(k.one, add(dh, dl));
      y = mul(add(nh, nl), w);
      const DD p = two_prod(y, dh);
      const __m128d corr = mul(add(sub(sub(nh, p.hi), p.lo), sub(nl, mul(y, dl))), w);
      y = select(vzero, y, add(y, corr));
    } else {
      y = _mm_div_pd(nh, dh);
    }
    // +-1 at |v| = quarter, with the sign of the quotient.
    const __m128d at1 = cmpeq(_mm_andnot_pd(k.sign, r.v), k.quarter);
    const __m128d unit = or_(and_(xor_(nh, dh), k.sign), k.one);
    return select(at1, unit, y);
  }
}

// ---- scalar functions ----------------------------------------------------------------

inline double make_nan() {
  volatile double z = 0.0;
  return z / z;  // invalid
}
inline double make_inf(double sign) {
  volatile double z = 0.0;
  return sign / z;  // divide by zero
}

template <Fn F, class U, class T, Level L>
inline double vector_lane(double x) {
  __m128d pole;
  const double y = _mm_cvtsd_f64(core<F, U, T, L>(_mm_set_sd(std::fabs(x)), pole));
  return F == Fn::Cos ? y : std::copysign(1.0, x) * y;
}

// A special lane: NaN, infinity, a tangent pole, a tiny double, a degree
// argument beyond the vector reduction (taken mod 360 first, exactly).
template <Fn F, class U, class T, Level L>
int scalar_fn(const T* a, T* r) {
  const double x = *a;
  if (std::isnan(x)) {
    *r = *a + *a;
    return 0;
  }
  if (std::isinf(x)) {
    *r = static_cast<T>(make_nan());
    return 1;
  }
  const double m = std::fmod(x, kPeriod<U>);  // exact, with the sign of x
  const double am = std::fabs(m), quarter = kPeriod<U> / 4;
  if (F == Fn::Tan && (am == quarter || am == 3 * quarter)) {
    *r = static_cast<T>(make_inf((am == quarter) == (x > 0) ? 1.0 : -1.0));
    return 2;
  }
  if (sizeof(T) == 8 && am < 0x1p-1000) {
    // pi x (or x pi/180) rounded once from 64 bits: within 0.5 ulp + 2^-11.
    const long double c = std::is_same_v<U, HalfTurn> ? 3.14159265358979323846264338327950288L
                                                      : 0.0174532925199432957692369076848861271L;
    *r = F == Fn::Cos ? T(1) : static_cast<T>(static_cast<long double>(m) * c);
    return 0;
  }
  *r = static_cast<T>(vector_lane<F, U, T, L>(m));
  return 0;
}

// ---- policies ------------------------------------------------------------------------

constexpr const char* kNames[2][2][3] = {
    {{"vsSinpi", "vsCospi", "vsTanpi"}, {"vsSind", "vsCosd", "vsTand"}},
    {{"vdSinpi", "vdCospi", "vdTanpi"}, {"vdSind", "vdCosd", "vdTand"}},
};

// The table kernels (HA, and LA but the tangent) run blocks of 4: the
// compiler keeps two of them in registers, not four.
template <Fn F, class U, Level L>
struct DPolicy : Blocks<double, (L == Level::HA || (L == Level::LA && F != Fn::Tan)) ? 4 : 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr const char* kName = kNames[1][std::is_same_v<U, Degree>][static_cast<int>(F)];
  // The vectors of a block unrolled, so that their long chains overlap.
  static constexpr bool kPerBlock = true;
  template <int NV>
  static unsigned eval(const __m128d (&x)[NV], __m128d (&y)[NV]) {
    unsigned mask = 0;
#pragma GCC unroll 8
    for (int k = 0; k < NV; ++k) {
      __m128d special;
      y[k] = eval(x[k], special);
      mask |= static_cast<unsigned>(_mm_movemask_pd(special)) << (2 * k);
    }
    return mask;
  }
  [[gnu::always_inline]] static __m128d eval(__m128d x, __m128d& special) {
    // Special: tiny lanes (zeros included), infinities and NaN; degrees
    // also from 2^46 on. One test for them and for the half turns from 2^43
    // on, which the cores take only after cut_big.
    const __m128d sgn = and_(x, kK<U>.sign);
    __m128d a = xor_(x, sgn);
    special = _mm_setzero_pd();
    const __m128d rare = or_(_mm_cmplt_pd(a, d1(0x1p-1000)), _mm_cmpnlt_pd(a, trigpi::kTableUnit<U>.big));
    if (__builtin_expect(_mm_movemask_pd(rare) != 0, 0)) {
      special = or_(_mm_cmplt_pd(a, d1(0x1p-1000)), _mm_cmpnle_pd(a, d1(kLargest<U>)));
      a = trigpi::cut_big<U>(a);
    }
    __m128d pole = _mm_setzero_pd();
    __m128d y = core<F, U, double, L>(a, pole);
    if constexpr (F != Fn::Cos) y = xor_(y, sgn);
    special = or_(special, pole);
    return y;
  }
  static int scalar(const double* a, double* r) { return scalar_fn<F, U, double, L>(a, r); }
};

template <Fn F, class U, Level L>
struct SPolicy : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr const char* kName = kNames[0][std::is_same_v<U, Degree>][static_cast<int>(F)];
  // The vectors of a block unrolled, so that their chains overlap.
  static constexpr bool kPerBlock = true;
  template <int NV>
  static unsigned eval(const __m128 (&x)[NV], __m128 (&y)[NV]) {
    unsigned mask = 0;
#pragma GCC unroll 8
    for (int k = 0; k < NV; ++k) {
      __m128 special;
      y[k] = eval(x[k], special);
      mask |= static_cast<unsigned>(_mm_movemask_ps(special)) << (4 * k);
    }
    return mask;
  }
  [[gnu::always_inline]] static __m128 eval(__m128 x, __m128& special) {
    // Infinities and NaN; degrees also from 2^46 on.
    static constexpr Range32 kOrdinary = range32(0u, std::is_same_v<U, HalfTurn> ? 0x7F7FFFFFu : 0x567FFFFFu);
    // One test for them and for the half turns from 2^43 on, which the
    // cores take only after cut_big; Sin and Cos reduce in float below 2^22.
    const __m128 sgn = and_(x, _mm_set1_ps(-0.0f));
    const __m128 ax = xor_(x, sgn);
    if constexpr (F != Fn::Tan) {
      if (__builtin_expect(_mm_movemask_ps(_mm_cmpnlt_ps(ax, _mm_set1_ps(0x1p22f))) == 0, 1)) {
        special = _mm_setzero_ps();
        const __m128 y = sin_half_turn_float<F, U, L>(ax);
        return F == Fn::Cos ? y : xor_(y, sgn);
      }
    }
    __m128d a0 = widen_lo(ax), a1 = widen_hi(ax);
    special = _mm_setzero_ps();
    if (__builtin_expect(_mm_movemask_ps(_mm_cmpnlt_ps(ax, _mm_set1_ps(std::is_same_v<U, HalfTurn> ? 0x1p43f : 0x1p46f))) != 0, 0)) {
      special = _mm_castsi128_ps(outside(abs_bits(x), kOrdinary));
      a0 = trigpi::cut_big<U>(a0);
      a1 = trigpi::cut_big<U>(a1);
    }
    __m128d p0 = _mm_setzero_pd(), p1 = _mm_setzero_pd();
    const __m128d y0 = core<F, U, float, L>(a0, p0);
    const __m128d y1 = core<F, U, float, L>(a1, p1);
    __m128 y = narrow(y0, y1);
    if constexpr (F != Fn::Cos) y = xor_(y, sgn);
    if constexpr (F == Fn::Tan)
      special = or_(special, _mm_shuffle_ps(_mm_castpd_ps(p0), _mm_castpd_ps(p1), _MM_SHUFFLE(2, 0, 2, 0)));
    return y;
  }
  static int scalar(const float* a, float* r) { return scalar_fn<F, U, float, L>(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

#define ZEV_TRIGPI_ROW(P, ROW, F, U)                   \
  ZEV_KERNELS(ROW, la, P<Fn::F, U, Level::LA>)         \
  ZEV_KERNELS(ROW, ha, P<Fn::F, U, Level::HA>)         \
  ZEV_KERNELS(ROW, ep, P<Fn::F, U, Level::EP>)

// Every row has three kernels.
ZEV_TRIGPI_ROW(SPolicy, sSinpi, Sin, HalfTurn)
ZEV_TRIGPI_ROW(SPolicy, sCospi, Cos, HalfTurn)
ZEV_TRIGPI_ROW(SPolicy, sTanpi, Tan, HalfTurn)
ZEV_TRIGPI_ROW(SPolicy, sSind, Sin, Degree)
ZEV_TRIGPI_ROW(SPolicy, sCosd, Cos, Degree)
ZEV_TRIGPI_ROW(SPolicy, sTand, Tan, Degree)
ZEV_TRIGPI_ROW(DPolicy, dSinpi, Sin, HalfTurn)
ZEV_TRIGPI_ROW(DPolicy, dCospi, Cos, HalfTurn)
ZEV_TRIGPI_ROW(DPolicy, dTanpi, Tan, HalfTurn)
ZEV_TRIGPI_ROW(DPolicy, dSind, Sin, Degree)
ZEV_TRIGPI_ROW(DPolicy, dCosd, Cos, Degree)
ZEV_TRIGPI_ROW(DPolicy, dTand, Tan, Degree)
