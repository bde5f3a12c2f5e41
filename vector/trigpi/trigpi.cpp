// Sine, cosine and tangent of half-turns (Sinpi(x) = sin(pi x)) and of
// degrees (Sind(x) = sin(x pi/180)), single and double, three levels each.
//
// Reductions, exact for every finite x. The policies first cut the lanes that
// leave the shifter's range (trigpi_table.h, cut_big): half turns lose their
// multiples of 4, a - ((a + 2^54) - 2^54), exactly; degree lanes from 2^46 on
// go to the scalar function, which takes fmod(x, 360) (exact) first. Then k =
// round(a / step) by the rounding shifter and v = a - k step, exact, with the
// step of the core:
//
// - Double HA and LA sine and cosine, double HA tangent: one row of the circle
//   table, pi/256 = 1/256 half turn = 45/64 degree; the radian kernels' table
//   step on r + e = c v (trigpi_table.h).
// - Double EP sine and cosine, single sine and cosine: a half turn; the sine
//   is (-1)^k sin(c r) with r = a - k half turns, the cosine the same a
//   quarter turn on; one series of sin(c r), |c r| <= pi/2 (sin_half_turn;
//   single below 2^22: k and r in float, sin_half_turn_float). Single HA
//   takes the fitted polynomial of the single radian sine at HA in double,
//   double EP that of the double radian sine at EP (its lead raised by
//   2^-47); single LA and EP stay in float (sin_float: the HA fit, and the
//   short polynomial of the radian sine at EP, each written in r); the
//   results are clamped to [-1, 1] where the polynomial may pass 1.
// - Double LA and EP tangent: a quarter of a half turn, the radian tangent's
//   rational function in v, N/D or -D/N by the parity of k.
// - Single tangent: a quarter of a half turn; HA the double rational function
//   above (that of EP) on widened lanes, rounded once; LA and EP the single
//   radian tangent's rational function in float (tan_float).
//
// c = pi or pi/180. The series are Taylor series (trigpi_coeffs.inc,
// tools/trigpi_tables); worst errors are in docs/accuracy_trigpi.md.
//
// Exact values: zeros of the sine have the sign of x, zeros of the cosine are
// +0, the tangent at an eighth of a turn off a multiple of a half turn is +-1,
// tan(n half turns) is +0 for even n > 0 and -0 for odd n > 0, its poles are
// +inf at 1/2 + 2m, -inf at 3/2 + 2m half turns (likewise at 90 and 270
// degrees), cos(n half turns) and sin(n + 1/2 half turns) are +-1.
//
// Special lanes: infinities and NaN; double lanes below 2^-1000 (where the
// products of the cores reach the subnormal range; the scalar function gives
// sin and tan of those in extended precision, cos as 1); degrees at and above
// 2^46; tangent poles (v = 0 in an odd quadrant). Status 1 at the infinities,
// 2 at the poles.
#include <emmintrin.h>

#include <cmath>
#include <cstdint>

#include "vector/common/widen.h"
#include "vector/common/consts.h"
#include "vector/common/estrin.h"
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

// The constants of one unit, full-width. quarter: the reduced value where the
// tangent is +-1; step: a quarter of a half turn, inv_step its inverse.
template <class U>
struct Consts {
  __m128d c, sin[4], fit[4];
  __m128d quarter, shifter, inv_step, step, sign, one, zero_pos, ep_c, ep[4];
};
template <class U>
constexpr Consts<U> make_consts() {
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  Consts<U> k{};
  k.c = d2(U::kC);
  for (int i = 0; i < 4; ++i) k.sin[i] = d2(U::kSin[i]);
  // The fitted polynomial of the single radian sine at HA, sin s ~ s + s^3
  // (f1 + s^2 (f2 + s^2 (f3 + s^2 f4))) on |s| <= pi/2, in v = s / c: the
  // coefficient of v^(2i+3) is f(i+1) c^(2i+3).
  constexpr double f[4] = {-0.1666665955042783, 0.00833306624608569, -0.00019809602902257352, 2.605780638722852e-06};
  double cp = U::kC * U::kC * U::kC;
  for (int i = 0; i < 4; ++i, cp *= U::kC * U::kC) k.fit[i] = d2(f[i] * cp);
  // The same for the double radian sine at EP (within 2^-27.1 on |s| <= pi/2);
  // its value at pi/2 is 1 - 1.8e-15, so the leading coefficient is raised by
  // 2^-47 of itself: from there the clamp gives 1 exactly at a quarter turn.
  constexpr double e[4] = {-0.16666658839437162, 0.0083330466452487071, -0.00019808085361787081,
                           2.6022725384193179e-06};
  cp = U::kC * U::kC * U::kC;
  for (int i = 0; i < 4; ++i, cp *= U::kC * U::kC) k.ep[i] = d2(e[i] * cp);
  k.ep_c = d2(U::kC * (1 + 0x1p-47));
  k.quarter = d2(half ? 0.25 : 45.0);
  k.shifter = d2(0x1.8p52);
  k.inv_step = d2(half ? 2.0 : 1.0 / 90);
  k.step = d2(half ? 0.5 : 90.0);
  k.sign = q2(0x8000000000000000ull);
  k.one = d2(1.0);
  k.zero_pos = d2(0.0);
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

// a below 2^43 half turns (2^46 degrees): the policies cut larger lanes first.
template <class U>
inline Red reduce(__m128d a) {
  const auto& k = kK<U>;
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
template <int N, int M>
inline __m128d series(const __m128d (&c)[M], __m128d z) {
  static_assert(N <= M);
  __m128d p = c[N - 1];
  for (int j = N - 2; j >= 0; --j) p = add(c[j], mul(z, p));
  return p;
}

// The fitted polynomial of sin(c r), |r| <= a quarter turn, in double for
// single HA (and LA lanes beyond the float reduction): within 2^-26 of the value, so that the float of +-quarter turn is
// +-1 exactly and no float result passes 1.
template <class U>
inline __m128d half_turn_fit(__m128d r) {
  const auto& k = kK<U>;
  const __m128d z = mul(r, r);
  return mul(r, add(k.c, mul(z, estrin(k.fit, z))));
}

// sin(c r), |r| <= a quarter turn, clamped to [-1, 1], at EP: single (lanes
// beyond the float reduction), the Taylor series to r^9 (cut after a positive term, so never short of 1 at a
// quarter turn); double, the fitted polynomial of the radian sine at EP in v.
template <class U, class T>
inline __m128d half_turn_ep(__m128d r) {
  const auto& k = kK<U>;
  const __m128d z = mul(r, r);
  __m128d y;
  if constexpr (sizeof(T) == 4)
    y = mul(r, add(k.c, mul(z, series<4>(k.sin, z))));
  else
    y = mul(r, add(k.ep_c, mul(z, estrin(k.ep, z))));
  return _mm_min_pd(_mm_max_pd(y, _mm_set1_pd(-1.0)), k.one);
}

template <Fn F, class U, class T, Level L>
inline __m128d sin_half_turn(__m128d a) {
  const auto& k = kK<U>;
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  const __m128d w = F == Fn::Cos ? add(a, _mm_set1_pd(half ? 0.5 : 90.0)) : a;
  const __m128d t = add(mul(w, _mm_set1_pd(half ? 1.0 : 1.0 / 180)), k.shifter);
  __m128d m = mul(sub(t, k.shifter), _mm_set1_pd(half ? 1.0 : 180.0));
  if constexpr (F == Fn::Cos) m = sub(m, _mm_set1_pd(half ? 0.5 : 90.0));
  const __m128d r = sub(a, m);
  const __m128d y = L == Level::EP ? half_turn_ep<U, T>(r) : half_turn_fit<U>(r);
  const __m128d flip = _mm_castsi128_pd(_mm_slli_epi64(_mm_castpd_si128(t), 63));
  return add(xor_(y, flip), k.zero_pos);  // a zero comes out +0
}

// ---- single cores in float (LA, EP) ------------------------------------------------

// The constants of the float cores of one unit. The sine at LA is the fitted
// polynomial of the single radian sine at HA written in r (its coefficient of
// r^(2i+3) times c^(2i+3), rounded to float), with c = hi + lo so that the
// leading term keeps the bits of c; at EP the short polynomial of the radian
// sine at EP. The tangent at LA and EP is the rational function of the single
// radian tangent written in v.
template <class U>
struct FConsts {
  __m128 shifter, inv_turn, turn, quarter, hi, lo, la[4], ep[3];
  __m128 tan_inv, tan_step, tan_quarter, tn[2], td[3];
  __m128 one, minus_one, sign;
};

// The float sine polynomials at a quarter turn q, in the kernel's order of
// operations (constant evaluation rounds each step to float as the kernel does).
constexpr float la_at(float q, float hi, float lo, const float (&p)[4]) {
  const float z = q * q;
  float s = p[2] + z * p[3];
  s = p[1] + z * s;
  s = p[0] + z * s;
  return q * hi + q * (lo + z * s);
}
constexpr float ep_at(float q, const float (&p)[3]) {
  const float z = q * q;
  return q * (p[0] + z * (p[1] + z * p[2]));
}
// One float step of x away from zero (dir 1) or towards it (dir -1).
constexpr float nudge(float x, int dir) {
  return __builtin_bit_cast(float, __builtin_bit_cast(int32_t, x) + dir);
}

template <class U>
constexpr FConsts<U> make_fconsts() {
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  constexpr double c = U::kC;
  const float q = half ? 0.5f : 90.0f;
  FConsts<U> k{};
  k.shifter = f4(0x1.8p23f);
  k.inv_turn = f4(static_cast<float>(1.0 / 180));
  k.turn = f4(180.0f);
  k.quarter = f4(q);
  const float hi = static_cast<float>(c), lo = static_cast<float>(c - hi);
  k.hi = f4(hi);
  k.lo = f4(lo);
  // Each polynomial must not fall short of 1 at the quarter turn, where the
  // clamp to [-1, 1] then makes it exact: the coefficient of r^3 (LA) or of r
  // (EP) is moved by whole float steps until it does not; at EP this stays
  // within 2^-18 of the fit.
  constexpr double fit[4] = {-0.1666665955042783, 0.00833306624608569, -0.00019809602902257352,
                             2.605780638722852e-06};
  float la[4] = {};
  double cp = c * c * c;
  for (int i = 0; i < 4; ++i, cp *= c * c) la[i] = static_cast<float>(fit[i] * cp);
  for (int i = 0; i < 16 && la_at(q, hi, lo, la) < 1.0f; ++i) la[0] = nudge(la[0], -1);
  float ep[3] = {static_cast<float>(0.999885321 * c), static_cast<float>(-0.165920958 * c * c * c),
                 static_cast<float>(0.00757660158 * c * c * c * c * c)};
  for (int i = 0; i < 256 && ep_at(q, ep) < 1.0f; ++i) ep[0] = nudge(ep[0], 1);
  for (int i = 0; i < 4; ++i) k.la[i] = f4(la[i]);
  for (int i = 0; i < 3; ++i) k.ep[i] = f4(ep[i]);
  // tan r ~ r (n0 + z n1) / (d0 + z (d1 + z d2)) on |r| <= pi/4, in v = r / c.
  k.tan_inv = f4(half ? 2.0f : static_cast<float>(1.0 / 90));
  k.tan_step = f4(half ? 0.5f : 90.0f);
  k.tan_quarter = f4(q / 2);
  k.tn[0] = f4(static_cast<float>(0.999999762 * c));
  k.tn[1] = f4(static_cast<float>(-0.0958017409 * c * c * c));
  k.td[0] = f4(0.999999762f);
  k.td[1] = f4(static_cast<float>(-0.42913565 * c * c));
  k.td[2] = f4(static_cast<float>(0.00971684884 * c * c * c * c));
  k.one = f4(1.0f);
  k.minus_one = f4(-1.0f);
  k.sign = u4(0x80000000u);
  return k;
}
template <class U>
inline constexpr FConsts<U> kF = make_fconsts<U>();

// sin(c r), |r| up to a quarter turn (a little more for degrees, where k may
// be off by one next to the half-way points), clamped to [-1, 1].
template <Fn F, class U, Level L>
inline __m128 sin_float(__m128 r) {
  const auto& k = kF<U>;
  const __m128 z = mul(r, r);
  __m128 y;
  if constexpr (L == Level::LA) {
    __m128 p = add(k.la[2], mul(z, k.la[3]));
    p = add(k.la[1], mul(z, p));
    p = add(k.la[0], mul(z, p));
    y = add(mul(r, k.hi), mul(r, add(k.lo, mul(z, p))));
  } else {
    y = mul(r, add(k.ep[0], mul(z, add(k.ep[1], mul(z, k.ep[2])))));
  }
  y = _mm_min_ps(y, k.one);
  return F == Fn::Sin ? _mm_max_ps(y, k.minus_one) : y;  // the cosine's argument is >= 0
}

// Single Sin and Cos of lanes below 2^22 (half turns or degrees): k =
// round(a / half turn) and r = a - k half turns in float, exact; the sine is
// (-1)^k sin(c r), the cosine (-1)^k sin(c (quarter - |r|)). HA takes the
// quarter turn and the polynomial in double (the quarter exactly), the same
// values as sin_half_turn; LA and EP stay in float, where quarter - |r| is
// exact from |r| = quarter / 2 on and elsewhere moves the cosine, which is
// then above 0.7, by at most half an ulp.
template <Fn F, class U, Level L>
inline __m128 sin_half_turn_float(__m128 a) {
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  const auto& k = kF<U>;
  const __m128 t = add(half ? a : mul(a, k.inv_turn), k.shifter);
  const __m128 kf = sub(t, k.shifter);
  __m128 r = sub(a, half ? kf : mul(kf, k.turn));
  __m128 y;
  if constexpr (L == Level::HA) {
    __m128d r0 = widen_lo(r), r1 = widen_hi(r);
    if constexpr (F == Fn::Cos) {
      const __m128d q = _mm_set1_pd(half ? 0.5 : 90.0), sign = kK<U>.sign;
      r0 = sub(q, andnot(sign, r0));
      r1 = sub(q, andnot(sign, r1));
    }
    y = narrow(half_turn_fit<U>(r0), half_turn_fit<U>(r1));
  } else {
    if constexpr (F == Fn::Cos) r = sub(k.quarter, andnot(k.sign, r));
    y = sin_float<F, U, L>(r);
  }
  const __m128 flip = _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(t), 31));
  return add(xor_(y, flip), _mm_setzero_ps());  // a zero comes out +0
}

// The rational functions of the radian tangent at LA (3/3) and EP (2/2),
// N(r)/D(r) with r = c v, written in v: the coefficient of v^j carries c^j.
template <class U, Level L>
struct TanRational {
  __m128d n[4], d[4];
};
template <class U, Level L>
constexpr TanRational<U, L> make_tan_rational() {
  constexpr double la_n[4] = {1.0, -0.12828347003747023, 0.0028059181997214249, -7.4836345641659391e-06};
  constexpr double la_d[4] = {1.0, -0.46161680337080113, 0.023344852656587221, -0.00020844803827304198};
  constexpr double ep_n[4] = {1.1559034178886809, -0.12872306814578047, 0.0012427749419586368, 0.0};
  constexpr double ep_d[4] = {1.1559034178631502, -0.51402420551256156, 0.018463698006558116, 0.0};
  TanRational<U, L> q{};
  double cj = 1.0;  // c^(2i)
  for (int i = 0; i < 4; ++i, cj *= U::kC * U::kC) {
    q.n[i] = d2((L == Level::LA ? la_n[i] : ep_n[i]) * cj * U::kC);
    q.d[i] = d2((L == Level::LA ? la_d[i] : ep_d[i]) * cj);
  }
  return q;
}
template <class U, Level L>
inline constexpr TanRational<U, L> kTanRat = make_tan_rational<U, L>();

// Double tangent at LA and EP: k = round(v / quarter of a half turn), v exact,
// |c v| <= pi/4; N/D for even k, -D/N for odd k, one division. The rare
// lanes (v = 0, |v| = an eighth of a turn) are set apart: the poles (v = 0,
// k odd) divide by 1 and go to the scalar function, tan(n half turns) takes
// the sign of n's parity, and +-1 is exact.
template <class U, Level L>
inline __m128d rational_tan(__m128d a, __m128d& pole) {
  const auto& k = kK<U>;
  const TanRational<U, L>& q = kTanRat<U, L>;
  const Red r = reduce<U>(a);
  const __m128d v = r.v, z = mul(v, v);
  constexpr bool three = L == Level::LA;
  __m128d n = three ? add(q.n[2], mul(z, q.n[3])) : q.n[2];
  __m128d d = three ? add(q.d[2], mul(z, q.d[3])) : q.d[2];
  n = mul(v, add(q.n[0], mul(z, add(q.n[1], mul(z, n)))));
  d = add(q.d[0], mul(z, add(q.d[1], mul(z, d))));
  const __m128d odd = odd_lanes(r.q);
  const __m128d swap = and_(xor_(n, d), odd);
  n = xor_(n, swap);
  d = xor_(d, swap);
  const __m128d vzero = cmpeq(v, _mm_setzero_pd()), at1 = cmpeq(andnot(k.sign, v), k.quarter);
  const bool rare = _mm_movemask_pd(or_(vzero, at1)) != 0;
  if (__builtin_expect(rare, 0)) {
    pole = and_(vzero, odd);
    d = select(pole, k.one, d);
  }
  __m128d y = xor_(_mm_div_pd(n, d), _mm_castsi128_pd(_mm_slli_epi64(r.q, 63)));
  if (__builtin_expect(rare, 0)) {
    y = or_(y, and_(andnot(odd, vzero), half_sign(r.q)));
    y = select(at1, or_(and_(y, k.sign), k.one), y);
  }
  return y;
}

// The quotient of the single tangent at HA: N/D (even k) or D/N (odd k) of
// the double rational function of EP, on the widened lanes of v (exact),
// rounded once.
template <class U>
inline __m128 tan_quotient_double(__m128 v, __m128 odd) {
  const TanRational<U, Level::EP>& q = kTanRat<U, Level::EP>;
  __m128d y[2];
  for (int h = 0; h < 2; ++h) {
    const __m128d w = h == 0 ? widen_lo(v) : widen_hi(v), z = mul(w, w);
    const __m128d od = _mm_castps_pd(h == 0 ? _mm_unpacklo_ps(odd, odd) : _mm_unpackhi_ps(odd, odd));
    __m128d n = mul(w, add(q.n[0], mul(z, add(q.n[1], mul(z, q.n[2])))));
    __m128d d = add(q.d[0], mul(z, add(q.d[1], mul(z, q.d[2]))));
    const __m128d swap = and_(xor_(n, d), od);
    y[h] = _mm_div_pd(xor_(n, swap), xor_(d, swap));
  }
  return narrow(y[0], y[1]);
}

// Single tangent, a below 2^21 half turns (2^22 degrees): k = round(a /
// quarter of a half turn) and v = a - k step in float, both exact; N/D for
// even k, -D/N for odd k, one division: the float rational function (LA, EP)
// or the double one (HA). The rare lanes as in rational_tan: the poles (their
// quotient divides by zero) go to the scalar function, tan(n half turns)
// takes the sign of n's parity, +-1 is exact.
template <class U, Level L>
inline __m128 tan_float(__m128 a, __m128& pole) {
  const auto& k = kF<U>;
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  const __m128 t = add(half ? add(a, a) : mul(a, k.tan_inv), k.shifter);
  const __m128 v = sub(a, mul(sub(t, k.shifter), k.tan_step));
  const __m128i tb = _mm_castps_si128(t);
  const __m128 odd = _mm_castsi128_ps(_mm_srai_epi32(_mm_slli_epi32(tb, 31), 31));
  __m128 y;
  if constexpr (L == Level::HA) {
    y = tan_quotient_double<U>(v, odd);
  } else {
    const __m128 z = mul(v, v);
    const __m128 n = mul(v, add(k.tn[0], mul(z, k.tn[1])));
    const __m128 d = add(k.td[0], mul(z, add(k.td[1], mul(z, k.td[2]))));
    const __m128 swap = and_(xor_(n, d), odd);
    y = _mm_div_ps(xor_(n, swap), xor_(d, swap));
  }
  y = xor_(y, _mm_castsi128_ps(_mm_slli_epi32(tb, 31)));
  const __m128 vzero = cmpeq(v, _mm_setzero_ps()), at1 = cmpeq(andnot(k.sign, v), k.tan_quarter);
  if (__builtin_expect(_mm_movemask_ps(or_(vzero, at1)) != 0, 0)) {
    pole = and_(vzero, odd);
    const __m128 half_sign = and_(_mm_castsi128_ps(_mm_slli_epi32(tb, 30)), k.sign);
    y = or_(y, and_(andnot(odd, vzero), half_sign));
    y = select(at1, or_(and_(y, k.sign), k.one), y);
  }
  return y;
}

// One function of |x| on two double lanes, before the sign of x; `pole`
// marks the tangent's poles.
template <Fn F, class U, class T, Level L>
[[gnu::always_inline]] inline __m128d core(__m128d a, __m128d& pole) {
  if constexpr (F != Fn::Tan && (sizeof(T) == 4 || L == Level::EP)) return sin_half_turn<F, U, T, L>(a);
  // Double HA and LA sine and cosine, and the HA tangent: the circle table.
  if constexpr (sizeof(T) == 8 && F != Fn::Tan && L != Level::EP)
    return trigpi::table_sin_cos<U, L == Level::HA>(a, F == Fn::Cos ? 128 : 0);
  if constexpr (sizeof(T) == 8 && F == Fn::Tan && L == Level::HA) return trigpi::table_tan<U, HwEstimate>(a, pole);
  if constexpr (sizeof(T) == 8 && F == Fn::Tan) return rational_tan<U, L>(a, pole);
  // Single tangent in double (HA, and the lanes beyond the float cores): the
  // rational function of the double radian tangent at EP, within 2^-34 of
  // the value, rounded once to float later.
  return rational_tan<U, Level::EP>(a, pole);
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
// compiler keeps two of them in registers, not four. So do the rational
// tangents (LA, EP), one vector after the other: unrolled in blocks of 8 they
// cost 1.7 to 1.9 times the radian tangent at a million elements.
template <Fn F, class U, Level L>
struct DPolicy : Blocks<double, (L != Level::EP || F == Fn::Tan) ? 4 : 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr const char* kName = kNames[1][std::is_same_v<U, Degree>][static_cast<int>(F)];
  // The vectors of a block unrolled, so that their long chains overlap (not
  // the rational tangent's).
  static constexpr bool kUnrolled = !(F == Fn::Tan && L != Level::HA);
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

// The least |x| (its bits) that the float reductions do not take: 2^22, and
// 2^21 for the half-turn tangent, which rounds 2a.
template <Fn F, class U>
inline constexpr uint32_t kFloatLimit = F == Fn::Tan && std::is_same_v<U, HalfTurn> ? 0x4A000000u : 0x4A800000u;

// The lanes of `wide` (from the float limit on, infinities and NaN) in double
// on the widened lanes, merged into the float results y, with their special
// lanes: infinities, NaN, degrees from 2^46 on, tangent poles. Half-turn
// lanes from 2^43 on lose their multiples of 4 first (cut_big).
template <Fn F, class U, Level L>
__attribute__((noinline)) __m128 wide_lanes(__m128 ax, __m128 wide, __m128 y, __m128& special) {
  static constexpr Range32 kOrdinary = range32(0u, std::is_same_v<U, HalfTurn> ? 0x7F7FFFFFu : 0x567FFFFFu);
  __m128d a0 = widen_lo(ax), a1 = widen_hi(ax);
  __m128 sp = _mm_setzero_ps();
  constexpr int32_t kCut = std::is_same_v<U, HalfTurn> ? 0x55000000 : 0x56800000;  // 2^43, 2^46
  if (_mm_movemask_epi8(_mm_cmpgt_epi32(bits(ax), _mm_set1_epi32(kCut - 1))) != 0) {
    sp = _mm_castsi128_ps(outside(bits(ax), kOrdinary));
    a0 = trigpi::cut_big<U>(a0);
    a1 = trigpi::cut_big<U>(a1);
  }
  __m128d p0 = _mm_setzero_pd(), p1 = _mm_setzero_pd();
  const __m128 yw = narrow(core<F, U, float, L>(a0, p0), core<F, U, float, L>(a1, p1));
  if constexpr (F == Fn::Tan)
    sp = or_(sp, _mm_shuffle_ps(_mm_castpd_ps(p0), _mm_castpd_ps(p1), _MM_SHUFFLE(2, 0, 2, 0)));
  special = select(wide, sp, special);
  return select(wide, yw, y);
}

// Single rows: below the float limit, Sin and Cos reduce in float and take
// the polynomial in double (HA) or in float (LA, EP); the tangent takes the
// double rational function on widened lanes (HA) or the float one (LA, EP).
// A block with a lane beyond (or an infinity, a NaN) recomputes those lanes
// in double; the other lanes keep their bits.
template <Fn F, class U, Level L>
// HA, which carries its work in double, runs short rolled blocks: unrolled in
// blocks of 16 it cost half again at a million elements.
struct SPolicy : Blocks<float, L == Level::HA ? (F == Fn::Tan ? 4 : 8) : 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr const char* kName = kNames[0][std::is_same_v<U, Degree>][static_cast<int>(F)];
  // The vectors of a block unrolled (LA, EP), so that their chains overlap.
  static constexpr bool kUnrolled = L != Level::HA;
  [[gnu::always_inline]] static __m128 eval(__m128 x, __m128& special) {
    const __m128 sgn = and_(x, _mm_set1_ps(-0.0f));
    const __m128 ax = xor_(x, sgn);
    __m128 y, pole = _mm_setzero_ps();
    if constexpr (F != Fn::Tan)
      y = sin_half_turn_float<F, U, L>(ax);
    else
      y = tan_float<U, L>(ax, pole);
    special = pole;
    // Signed compare of the sign-cleared bits: NaN and infinities lie above.
    const __m128i wide = _mm_cmpgt_epi32(bits(ax), _mm_set1_epi32(kFloatLimit<F, U> - 1));
    if (__builtin_expect(_mm_movemask_epi8(wide) != 0, 0))
      y = wide_lanes<F, U, L>(ax, _mm_castsi128_ps(wide), y, special);
    if constexpr (F != Fn::Cos) y = xor_(y, sgn);
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
