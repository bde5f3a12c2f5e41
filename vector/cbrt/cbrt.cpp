// Cbrt, InvCbrt, Pow2o3 and Pow3o2, single and double.
//
// Cube roots: v = 2^E m, E = 3q + j; a seed polynomial gives cbrt(m) within
// 2^-22, times 2^(j/3) and 2^q. At HA the seed is cut to 17 bits (t), so that
// t^3 is exact and v - t^3 is exact (Sterbenz); with e = (v - t^3) / t^3,
//   cbrt v = t (1 + e/3 - e^2/9 + 5e^3/81),  |e| < 2^-14,
// the tail below 2^-62, and the result rounds once (about 0.5 ulp). Pow2o3 feeds
// x^2 as an exact pair; InvCbrt uses (1 + e)^(-1/3) and 1/t with its exact
// residual; Pow3o2 is x sqrt(x) with the square root's residual.
// The single cube roots (Cbrt, InvCbrt, Pow2o3) run in single throughout: a
// seed u of v^(-1/3) from the bits of v and one correction (2^-14.3), then
// with e = v u^3 - 1
//   cbrt v = v u^2 (1 + e)^(-2/3),  v^(-1/3) = u (1 + e)^(-1/3),
//   v^(2/3) = v u (1 + e)^(-1/3),
// with the exact products of root_s at HA (about 0.85 ulp); no division and no
// widening. Single Pow3o2 is x sqrt(x) in double.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "vector/log/log_core.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace logpow;

#include "vector/cbrt/cbrt_poly.inc"
#include "vector/cbrt/root_seed.inc"

constexpr double kShift = 6755399441055744.0;

// The seed of cbrt v (v positive normal): within 2^-22.
inline __m128d cbrt_seed(__m128d v) {
  const __m128i iv = as_i(v);
  const __m128i h = _mm_srli_epi32(_mm_shuffle_epi32(iv, _MM_SHUFFLE(3, 1, 3, 1)), 20);
  const __m128d E = _mm_sub_pd(_mm_cvtepi32_pd(h), d1(1023.0));
  const __m128d m = as_d(_mm_or_si128(_mm_and_si128(iv, i64(0x000FFFFFFFFFFFFFull)), i64(0x3FF0000000000000ull)));
  const __m128d tq = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(E, d1(1.0 / 3.0)), d1(1.0 / 3.0)), d1(kShift));
  const __m128d q = _mm_sub_pd(tq, d1(kShift));
  const __m128d j = _mm_sub_pd(E, _mm_mul_pd(q, d1(3.0)));
  const __m128d k = _mm_or_pd(_mm_and_pd(_mm_cmpeq_pd(j, d1(1.0)), d1(kCbrt2_1_hi)),
                              _mm_or_pd(_mm_and_pd(_mm_cmpeq_pd(j, d1(2.0)), d1(kCbrt2_2_hi)),
                                        _mm_and_pd(_mm_cmpeq_pd(j, d1(0.0)), d1(1.0))));
  __m128d p = d1(kCbrtSeed[6]);
  for (int i = 5; i >= 0; --i) p = _mm_add_pd(d1(kCbrtSeed[i]), _mm_mul_pd(m, p));
  const __m128d scale = as_d(_mm_slli_epi64(_mm_add_epi64(as_i(tq), i64(1023)), 52));
  return _mm_mul_pd(_mm_mul_pd(p, k), scale);
}

// cbrt(vh + vl) for vh in [2^-1000, 2^1000], |vl| <= ulp(vh)/2: about 0.5 ulp.
inline __m128d cbrt_ha(__m128d vh, __m128d vl) {
  const __m128d t = as_d(_mm_and_si128(as_i(cbrt_seed(vh)), i64(0xFFFFFFF000000000ull)));
  const __m128d t3 = _mm_mul_pd(_mm_mul_pd(t, t), t);  // exact: 51 bits
  const __m128d e = _mm_div_pd(_mm_add_pd(_mm_sub_pd(vh, t3), vl), t3);
  const __m128d p = _mm_mul_pd(
      e, _mm_add_pd(d1(1.0 / 3.0), _mm_mul_pd(e, _mm_add_pd(d1(-1.0 / 9.0), _mm_mul_pd(e, d1(5.0 / 81.0))))));
  return _mm_add_pd(t, _mm_mul_pd(t, p));
}
// LA: the seed unrounded, t^3 rounded; about 1 ulp.
inline __m128d cbrt_la(__m128d v) {
  const __m128d t = cbrt_seed(v);
  const __m128d t3 = _mm_mul_pd(_mm_mul_pd(t, t), t);
  const __m128d e = _mm_div_pd(_mm_sub_pd(v, t3), t3);
  return _mm_add_pd(t, _mm_mul_pd(t, _mm_mul_pd(e, _mm_add_pd(d1(1.0 / 3.0), _mm_mul_pd(e, d1(-1.0 / 9.0))))));
}
// 1/cbrt v, about 0.5 ulp.
inline __m128d invcbrt_ha(__m128d v) {
  const __m128d t = as_d(_mm_and_si128(as_i(cbrt_seed(v)), i64(0xFFFFFFF000000000ull)));
  const __m128d t3 = _mm_mul_pd(_mm_mul_pd(t, t), t);
  const __m128d e = _mm_div_pd(_mm_sub_pd(v, t3), t3);
  const __m128d q = _mm_div_pd(d1(1.0), t);
  const DD qs = split(q);  // q t = qh t + ql t, both exact
  const __m128d rho = _mm_sub_pd(_mm_sub_pd(d1(1.0), _mm_mul_pd(qs.hi, t)), _mm_mul_pd(qs.lo, t));
  // (1 + e)^(-1/3) - 1 = -e/3 + 2e^2/9 - 14e^3/81 + 35e^4/243
  __m128d p = d1(35.0 / 243.0);
  p = _mm_add_pd(d1(-14.0 / 81.0), _mm_mul_pd(e, p));
  p = _mm_add_pd(d1(2.0 / 9.0), _mm_mul_pd(e, p));
  p = _mm_add_pd(d1(-1.0 / 3.0), _mm_mul_pd(e, p));
  return _mm_add_pd(q, _mm_mul_pd(q, _mm_add_pd(rho, _mm_mul_pd(e, p))));
}
// x^(3/2) = x sqrt(x) with the square root as an exact pair; about 0.5 ulp.
inline __m128d pow3o2_ha(__m128d x) {
  const __m128d s = _mm_sqrt_pd(x);
  const DD ss = two_prod(s, s);
  const __m128d sl = _mm_div_pd(_mm_sub_pd(_mm_sub_pd(x, ss.hi), ss.lo), _mm_add_pd(s, s));
  const DD p = two_prod(x, s);
  return _mm_add_pd(p.hi, _mm_add_pd(p.lo, _mm_mul_pd(x, sl)));
}

// ---- scalar functions ----------------------------------------------------------

inline double make_nan() {
  volatile double z = 0.0;
  return z / z;
}
inline double make_inf() {
  volatile double z = 0.0;
  return 1.0 / z;
}
template <class F>
inline double lane1(F f, double v) {
  return _mm_cvtsd_f64(f(_mm_set1_pd(v)));
}

// The root functions of one double; x finite nonzero is scaled into the
// vector range by a power of 2^6, so the scaling of the result is exact.
enum class Fn { Cbrt, InvCbrt, Pow2o3, Pow3o2 };

// The result as v 2^e, v from the vector core on the scaled input.
template <Fn F>
double root_value(double x, int& e) {
  const double ax = std::fabs(x);
  int s = 0;  // ax = 2^(6s) * as
  double as = ax;
  if (ax < 0x1p-480) {
    as = ax * 0x1p600;
    s = -100;
  } else if (ax > 0x1p480) {
    as = ax * 0x1p-600;
    s = 100;
  }
  double v;
  if constexpr (F == Fn::Cbrt) {
    v = lane1([](__m128d a) { return cbrt_ha(a, _mm_setzero_pd()); }, as);
    e = 2 * s;
    v = std::copysign(v, x);
  } else if constexpr (F == Fn::InvCbrt) {
    v = std::copysign(lane1(invcbrt_ha, as), x);
    e = -2 * s;
  } else if constexpr (F == Fn::Pow2o3) {
    v = lane1(
        [](__m128d a) {
          const DD sq = two_prod(a, a);
          return cbrt_ha(sq.hi, sq.lo);
        },
        as);
    e = 4 * s;
  } else {
    v = lane1(pow3o2_ha, as);
    e = 9 * s;
  }
  return v;
}

template <class T, Fn F>
int root_scalar(const T* a, T* r) {
  const double x = *a;
  if (std::isnan(x)) {
    *r = static_cast<T>(x + x);
    return 0;
  }
  if constexpr (F == Fn::Pow3o2) {  // as pow(x, 1.5): -inf gives +inf
    if (x < 0 && !std::isinf(x)) {
      *r = static_cast<T>(make_nan());
      return 1;
    }
  }
  if (x == 0) {
    if constexpr (F == Fn::InvCbrt) {
      *r = static_cast<T>(std::copysign(make_inf(), x));
      return 2;
    }
    *r = static_cast<T>(F == Fn::Cbrt ? x : 0.0);
    return 0;
  }
  if (std::isinf(x)) {
    if constexpr (F == Fn::Cbrt) *r = static_cast<T>(x);
    if constexpr (F == Fn::InvCbrt) *r = static_cast<T>(std::copysign(0.0, x));
    if constexpr (F == Fn::Pow2o3 || F == Fn::Pow3o2) *r = std::numeric_limits<T>::infinity();
    return 0;
  }
  int e = 0;
  const double v = root_value<F>(x, e);
  const double w = std::ldexp(v, e);
  const T t = static_cast<T>(w);
  *r = t;
  if (std::isinf(t)) return 3;
  // Underflow: a result below the least normal that lost bits on the way.
  if (std::fabs(t) < std::numeric_limits<T>::min() && std::ldexp(static_cast<double>(t), -e) != v) return 4;
  return 0;
}

// The seed of v^(-1/3) for positive normal singles: the bits of v over 3 (by a
// conversion to single, an error far below the seed's) taken from a constant
// give u0 within 3.5%; one correction u1 = u0 (1 + e0 (a0 + a1 e0)),
// e0 = v u0^3 - 1, leaves 2^-14.3.
inline __m128 invcbrt_seed_s(__m128 v) {
  const __m128i third = _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(_mm_castps_si128(v)), _mm_set1_ps(1.0f / 3)));
  const __m128 u = _mm_castsi128_ps(_mm_sub_epi32(_mm_set1_epi32(kInvCbrtMagic), third));
  const __m128 e = _mm_sub_ps(_mm_mul_ps(_mm_mul_ps(v, u), _mm_mul_ps(u, u)), _mm_set1_ps(1.0f));
  const __m128 g = _mm_mul_ps(e, _mm_add_ps(_mm_set1_ps(kInvCbrtStep[0]), _mm_mul_ps(e, _mm_set1_ps(kInvCbrtStep[1]))));
  return _mm_add_ps(u, _mm_mul_ps(u, g));
}

// The series coefficients of (1 + e)^a - 1, a = -2/3 (cbrt from v u^2) or
// -1/3 (InvCbrt from u, Pow2o3 from v u).
template <Fn F>
constexpr float kStep[2] = {-2.0f / 3, 5.0f / 9};
template <>
constexpr float kStep<Fn::InvCbrt>[2] = {-1.0f / 3, 2.0f / 9};
template <>
constexpr float kStep<Fn::Pow2o3>[2] = {-1.0f / 3, 2.0f / 9};

// The high 12 significant bits of a positive normal a, rounded (a far below
// the largest single) or cut.
template <bool Round = true>
inline __m128 high12(__m128 a) {
  const __m128i r = Round ? _mm_add_epi32(_mm_castps_si128(a), _mm_set1_epi32(0x800)) : _mm_castps_si128(a);
  return _mm_castsi128_ps(_mm_and_si128(r, _mm_set1_epi32(static_cast<int>(0xFFFFF000u))));
}

// Single roots of |x| (x normal, any sign) from the seed u (2^-14.3): level 0
// LA, 1 HA, 2 EP.
//
// EP: v u^2, u or v u, within 2^-13.
// LA: y = v u^2 and e = y u - 1 rounded, the series to e; the rounding errors
// of y enter e and come back at a third: about 1.4 ulp.
// HA: u rounded to 12 bits (2^-11.7), so that u^2 is exact; y = v u^2 rounded
// once and e = (yh u - 1) + yl u with both products exact, so e is that of y
// and the result is within a third of y's rounding plus its own: about 0.85
// ulp. The series runs to e^2 (|e| < 2^-10, the tail below 2^-31). Pow2o3 is
// v u (1 + e)^(-1/3) with v u as an exact pair. Cbrt at LA takes the HA step
// too: the cheaper one can miss the exact root of an exact cube (-27).
template <Fn F, int L>
inline __m128 root_s(__m128 ax) {
  constexpr const float* c = kStep<F>;
  const __m128 one = _mm_set1_ps(1.0f);
  if constexpr (L == 1 || (L == 0 && F == Fn::Cbrt)) {
    const __m128 u = high12(invcbrt_seed_s(ax));
    const __m128 y = _mm_mul_ps(ax, _mm_mul_ps(u, u));
    const __m128 yh = high12(y), yl = _mm_sub_ps(y, yh);
    const __m128 e = _mm_add_ps(_mm_sub_ps(_mm_mul_ps(yh, u), one), _mm_mul_ps(yl, u));
    const __m128 g = _mm_mul_ps(e, _mm_add_ps(_mm_set1_ps(c[0]), _mm_mul_ps(e, _mm_set1_ps(c[1]))));
    if constexpr (F == Fn::Pow2o3) {
      const __m128 vh = high12<false>(ax);
      const __m128 ph = _mm_mul_ps(vh, u), pl = _mm_mul_ps(_mm_sub_ps(ax, vh), u);
      return _mm_add_ps(ph, _mm_add_ps(pl, _mm_mul_ps(_mm_add_ps(ph, pl), g)));
    } else {
      const __m128 b = F == Fn::InvCbrt ? u : y;
      return _mm_add_ps(b, _mm_mul_ps(b, g));
    }
  } else {
    const __m128 u = invcbrt_seed_s(ax);
    if constexpr (F == Fn::InvCbrt) {
      if constexpr (L == 2) return u;
    } else if constexpr (F == Fn::Pow2o3) {
      if constexpr (L == 2) return _mm_mul_ps(ax, u);
    } else {
      if constexpr (L == 2) return _mm_mul_ps(_mm_mul_ps(ax, u), u);
    }
    const __m128 y = _mm_mul_ps(ax, _mm_mul_ps(u, u));
    const __m128 g = _mm_mul_ps(_mm_sub_ps(_mm_mul_ps(y, u), one), _mm_set1_ps(c[0]));
    const __m128 b = F == Fn::InvCbrt ? u : F == Fn::Pow2o3 ? _mm_mul_ps(ax, u) : y;
    return _mm_add_ps(b, _mm_mul_ps(b, g));
  }
}

// ---- policies -------------------------------------------------------------------

// A negative count read as unsigned, a callout.
template <class T>
struct RootBase : Blocks<T, sizeof(T) == 4 ? 16 : 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
};

// The vector ranges, on |x|: Cbrt and InvCbrt [2^-1000, 2^1000), Pow2o3
// [2^-500, 2^500), Pow3o2 [2^-670, 2^680) and x > 0.
template <Fn F>
inline __m128d special_d(__m128d x) {
  const __m128d ax = _mm_andnot_pd(d1(-0.0), x);
  if constexpr (F == Fn::Cbrt || F == Fn::InvCbrt)
    return outside(ax, word_of_exp(-1000), word_of_exp(1000));
  else if constexpr (F == Fn::Pow2o3)
    return outside(ax, word_of_exp(-500), word_of_exp(500));
  else
    return outside(x, word_of_exp(-670), word_of_exp(680));  // negative x: sign bit makes it huge
}

// Levels of the double kernels.
template <Fn F, int L>  // L: 0 LA, 1 HA, 2 EP
inline __m128d root_d(__m128d x) {
  const __m128d sign = _mm_and_pd(x, d1(-0.0));
  const __m128d ax = _mm_andnot_pd(d1(-0.0), x);
  if constexpr (F == Fn::Cbrt) {
    return _mm_or_pd(sign, L == 1 ? cbrt_ha(ax, _mm_setzero_pd()) : cbrt_la(ax));
  } else if constexpr (F == Fn::InvCbrt) {
    return _mm_or_pd(sign, invcbrt_ha(ax));
  } else if constexpr (F == Fn::Pow2o3) {
    if constexpr (L == 1) {
      const DD sq = two_prod(ax, ax);
      return cbrt_ha(sq.hi, sq.lo);
    } else if constexpr (L == 0) {
      return cbrt_la(_mm_mul_pd(ax, ax));
    } else {
      // EP: the seed refined once, no pair.
      const __m128d v = _mm_mul_pd(ax, ax);
      const __m128d t = cbrt_seed(v);
      const __m128d t3 = _mm_mul_pd(_mm_mul_pd(t, t), t);
      return _mm_add_pd(t, _mm_mul_pd(t, _mm_mul_pd(_mm_div_pd(_mm_sub_pd(v, t3), t3), d1(1.0 / 3.0))));
    }
  } else {
    if constexpr (L == 1)
      return pow3o2_ha(x);
    else
      return _mm_mul_pd(x, _mm_sqrt_pd(x));
  }
}

constexpr const char* name_of(Fn f, bool single) {
  switch (f) {
    case Fn::Cbrt: return single ? "vsCbrt" : "vdCbrt";
    case Fn::InvCbrt: return single ? "vsInvCbrt" : "vdInvCbrt";
    case Fn::Pow2o3: return single ? "vsPow2o3" : "vdPow2o3";
    default: return single ? "vsPow3o2" : "vdPow3o2";
  }
}

template <Fn F, int L>
struct DRootP : RootBase<double> {
  static constexpr const char* kName = name_of(F, false);
  static __m128d eval(__m128d x, __m128d& special) {
    special = special_d<F>(x);
    return root_d<F, L>(x);
  }
  static int scalar(const double* a, double* r) { return root_scalar<double, F>(a, r); }
};

// Single kernels. Every normal single is inside the vector range of the roots;
// zero, denormals, infinities and NaN go to the scalar function. Pow3o2 runs
// x sqrt(x) in double (within 2^-52) and can still overflow or underflow as a
// single, checked on the result.
template <Fn F, int L>
struct SRootP : RootBase<float> {
  static constexpr const char* kName = name_of(F, true);
  static __m128 eval(__m128 x, __m128& special) {
    if constexpr (F == Fn::Pow3o2) {
      __m128 r;
      if constexpr (L == 2)  // EP in single: x sqrt(x), within 2 ulp
        r = _mm_mul_ps(x, _mm_sqrt_ps(x));
      else
        r = narrow(root_d<F, 0>(widen_lo(x)), root_d<F, 0>(widen_hi(x)));
      special = _mm_or_ps(not_pos_normal(x), not_pos_normal(r));
      return r;
    } else {
      const __m128 sign = _mm_and_ps(x, _mm_set1_ps(-0.0f));
      const __m128 ax = _mm_xor_ps(x, sign);
      special = not_pos_normal(ax);
      const __m128 r = root_s<F, L>(ax);
      return F == Fn::Pow2o3 ? r : _mm_or_ps(r, sign);
    }
  }
  static int scalar(const float* a, float* r) { return root_scalar<float, F>(a, r); }
};

}  // namespace
}  // namespace zev::vk


namespace zev::vk {
namespace {
using sCbrtLA = SRootP<Fn::Cbrt, 0>;
using sCbrtHA = SRootP<Fn::Cbrt, 1>;
using sCbrtEP = SRootP<Fn::Cbrt, 2>;
using sInvCbrtLA = SRootP<Fn::InvCbrt, 0>;
using sInvCbrtHA = SRootP<Fn::InvCbrt, 1>;
using sInvCbrtEP = SRootP<Fn::InvCbrt, 2>;
using sPow2o3LA = SRootP<Fn::Pow2o3, 0>;
using sPow2o3HA = SRootP<Fn::Pow2o3, 1>;
using sPow2o3EP = SRootP<Fn::Pow2o3, 2>;
using sPow3o2LA = SRootP<Fn::Pow3o2, 0>;
using sPow3o2HA = SRootP<Fn::Pow3o2, 1>;
using sPow3o2EP = SRootP<Fn::Pow3o2, 2>;
using dCbrtLA = DRootP<Fn::Cbrt, 0>;
using dCbrtHA = DRootP<Fn::Cbrt, 1>;
using dInvCbrtHA = DRootP<Fn::InvCbrt, 1>;
using dPow2o3LA = DRootP<Fn::Pow2o3, 0>;
using dPow2o3HA = DRootP<Fn::Pow2o3, 1>;
using dPow2o3EP = DRootP<Fn::Pow2o3, 2>;
using dPow3o2LA = DRootP<Fn::Pow3o2, 0>;
using dPow3o2HA = DRootP<Fn::Pow3o2, 1>;
// EP of dPow3o2: x sqrt(x) as LA, a kernel of its own by the row's pattern.
struct dPow3o2EP : DRootP<Fn::Pow3o2, 2> {};
}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

// Rows: sCbrt, sInvCbrt, sPow2o3, sPow3o2, dPow2o3, dPow3o2 three kernels;
// dCbrt LA = EP; dInvCbrt one kernel.
ZEV_KERNELS(sCbrt, la, sCbrtLA)
ZEV_KERNELS(sCbrt, ha, sCbrtHA)
ZEV_KERNELS(sCbrt, ep, sCbrtEP)
ZEV_KERNELS(sInvCbrt, la, sInvCbrtLA)
ZEV_KERNELS(sInvCbrt, ha, sInvCbrtHA)
ZEV_KERNELS(sInvCbrt, ep, sInvCbrtEP)
ZEV_KERNELS(sPow2o3, la, sPow2o3LA)
ZEV_KERNELS(sPow2o3, ha, sPow2o3HA)
ZEV_KERNELS(sPow2o3, ep, sPow2o3EP)
ZEV_KERNELS(sPow3o2, la, sPow3o2LA)
ZEV_KERNELS(sPow3o2, ha, sPow3o2HA)
ZEV_KERNELS(sPow3o2, ep, sPow3o2EP)
ZEV_KERNELS(dCbrt, laep, dCbrtLA)
ZEV_KERNELS(dCbrt, ha, dCbrtHA)
ZEV_KERNELS(dInvCbrt, lahaep, dInvCbrtHA)
ZEV_KERNELS(dPow2o3, la, dPow2o3LA)
ZEV_KERNELS(dPow2o3, ha, dPow2o3HA)
ZEV_KERNELS(dPow2o3, ep, dPow2o3EP)
ZEV_KERNELS(dPow3o2, la, dPow3o2LA)
ZEV_KERNELS(dPow3o2, ha, dPow3o2HA)
ZEV_KERNELS(dPow3o2, ep, dPow3o2EP)
