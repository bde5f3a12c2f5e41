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
//   quarter turn on; one series of sin(c r), |c r| <= pi/2 (sin_half_turn, in
//   float below 2^22 for single). Single HA and LA take the fitted polynomial
//   of the single radian sine at HA in v, double EP that of the double radian
//   sine at EP (its lead raised by 2^-47), single EP the Taylor series cut
//   after a positive term; the EP results are clamped to [-1, 1].
// - Double LA and EP tangent: a quarter of a half turn, the radian tangent's
//   rational function in v, N/D or -D/N by the parity of k.
// - Single tangent: a quarter of a half turn, the series of sin(c v) and
//   cos(c v) in double on widened lanes, their quotient rounded once.
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
  __m128d c, h2, sin[5], cos[5], fit[4];
  __m128d quarter, shifter, inv_step, step, sign, one, zero_pos, ep_c, ep[4];
};
template <class U>
constexpr Consts<U> make_consts() {
  constexpr bool half = std::is_same_v<U, HalfTurn>;
  Consts<U> k{};
  k.c = d2(U::kC);
  k.h2 = d2(U::kH2);
  for (int i = 0; i < 5; ++i) k.sin[i] = d2(U::kSin[i]);
  for (int i = 0; i < 5; ++i) k.cos[i] = d2(U::kCos[i]);
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

// sin(c v) and cos(c v) in plain double, NS and NC terms past the first.
template <class U, int NS, int NC>
inline void sincos_plain(__m128d v, __m128d& s, __m128d& c) {
  const auto& k = kK<U>;
  const __m128d z = mul(v, v);
  s = mul(v, add(k.c, mul(z, series<NS>(k.sin, z))));
  c = add(k.one, mul(z, sub(mul(z, series<NC>(k.cos, z)), k.h2)));
}

// Terms of the single tangent's series by level: {sine, cosine}.
template <Level L>
constexpr int kTanTerms = L == Level::HA ? 5 : L == Level::LA ? 4 : 2;

// The fitted polynomial of sin(c r), |r| <= a quarter turn, for single HA
// and LA: within 2^-26 of the value, so that the float of +-quarter turn is
// +-1 exactly and no float result passes 1.
template <class U>
inline __m128d half_turn_fit(__m128d r) {
  const auto& k = kK<U>;
  const __m128d z = mul(r, r);
  return mul(r, add(k.c, mul(z, estrin(k.fit, z))));
}

// sin(c r), |r| <= a quarter turn, clamped to [-1, 1], at EP: single, the
// Taylor series to r^9 (cut after a positive term, so never short of 1 at a
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
  const __m128 y = L == Level::EP ? narrow(half_turn_ep<U, float>(r0), half_turn_ep<U, float>(r1))
                                  : narrow(half_turn_fit<U>(r0), half_turn_fit<U>(r1));
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

// One function of |x| on two double lanes, before the sign of x; `pole`
// marks the tangent's poles.
template <Fn F, class U, class T, Level L>
[[gnu::always_inline]] inline __m128d core(__m128d a, __m128d& pole) {
  const auto& k = kK<U>;
  if constexpr (F != Fn::Tan && (sizeof(T) == 4 || L == Level::EP)) return sin_half_turn<F, U, T, L>(a);
  // Double HA and LA sine and cosine, and the HA tangent: the circle table.
  if constexpr (sizeof(T) == 8 && F != Fn::Tan && L != Level::EP)
    return trigpi::table_sin_cos<U, L == Level::HA>(a, F == Fn::Cos ? 128 : 0);
  if constexpr (sizeof(T) == 8 && F == Fn::Tan && L == Level::HA) return trigpi::table_tan<U, HwEstimate>(a, pole);
  if constexpr (sizeof(T) == 8 && F == Fn::Tan) return rational_tan<U, L>(a, pole);
  // Single tangent: the series of sin(c v) and cos(c v) in double on the
  // widened lanes, their quotient rounded once.
  const Red r = reduce<U>(a);
  __m128d s, c;
  sincos_plain<U, kTanTerms<L>, kTanTerms<L>>(r.v, s, c);
  const __m128d odd = odd_lanes(r.q);
  // sin and cos of the argument, with their signs: the quotient then has the
  // sign of zero the rules give.
  const __m128d ns = half_sign(r.q), nc = half_sign(_mm_add_epi32(r.q, _mm_set1_epi32(1)));
  const __m128d nh = add(xor_(select(odd, c, s), ns), k.zero_pos);
  __m128d dh = xor_(select(odd, s, c), nc);
  pole = and_(cmpeq(r.v, _mm_setzero_pd()), odd);
  dh = select(pole, k.one, dh);  // no 0/0 in the lanes the scalar function takes
  const __m128d y = _mm_div_pd(nh, dh);
  // +-1 at |v| = quarter, with the sign of the quotient.
  const __m128d at1 = cmpeq(_mm_andnot_pd(k.sign, r.v), k.quarter);
  const __m128d unit = or_(and_(xor_(nh, dh), k.sign), k.one);
  return select(at1, unit, y);
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
  static constexpr bool kUnrolled = true;
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
  static constexpr bool kUnrolled = true;
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
