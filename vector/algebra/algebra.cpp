// Reciprocal, square root, reciprocal square root and division, single and
// double.
//
// HA: sqrtps/pd and divps/pd are correctly rounded, and so are the HA Inv,
// Sqrt and Div kernels. sInvSqrt at HA refines the processor's 12-bit estimate
// by two Newton steps in double and rounds once (0.5 ulp plus less than
// 2^-19); dInvSqrt at HA corrects 1/sqrt(x) by the exact residuals of the
// root and of the reciprocal (below 0.51 ulp).
// The estimates rcpps and rsqrtps differ between processors within a relative
// error of 1.5 * 2^-12, so what is built on them is written once, with the
// estimate as a parameter, in estimated.h, and holds its bound for any
// estimate the instruction set allows, with or without FTZ and DAZ. EP takes
// the estimates as they are (sInv, sInvSqrt; sSqrt as x * rsqrt(x));
// sInvSqrt at LA refines its estimate to second order. sInv and sSqrt at LA
// run divps and sqrtps: a Newton step that holds 4 ulp for every allowed
// estimate and keeps its intermediates normal costs more than the exact
// operation (measured: the old one step alone was 1.3 times as slow as divps
// and sqrtps at 1,000 elements). Division keeps divps at every level: a times
// the estimate, with the wider special test it needs, measured slower. In
// double the estimate and its Newton steps cost more than divpd and sqrtpd
// themselves (measured: a float estimate refined to 2^-34 by one cubic step,
// with the exponent scaled around it, took 2.3 times as long as divpd and 1.3
// times as long as sqrtpd), so dInv, dSqrt and dDiv run the hardware
// operation at every level, and dInvSqrt at LA and EP is 1/sqrt(x) with two
// roundings (below 1.5 ulp). Measured worst errors are in
// docs/accuracy_algebra.md and docs/accuracy_estimates.md.
//
// Special lanes leave the vector path by one range test on the bits of the
// input (or of the result, for Div): outside the range the vector result is
// either wrong for the level or owes a status. Their scalar functions compute
// with the IEEE operation and report what it raises: invalid 1, division by
// zero 2, overflow 3, underflow 4; NaN inputs report nothing. Kernels whose
// vector result is the IEEE operation itself skip that test in their plain
// form and read the sticky flags instead (below).
#include <type_traits>

#include "vector/algebra/common.h"
#include "vector/algebra/estimated.h"

namespace zev::vk::alg {
namespace {

// ---- single constants -------------------------------------------------------------
struct SConst {
  __m128 one;
  Range32 inv;  // |x| in [2^-126, 2^126): 1/x is a normal number
};
constexpr SConst kS = {
    .one = f4(1.0f),                           // 1.0f
    .inv = range32(0x00800000u, 0x7E7FFFFFu),  // |x| in [2^-126, 2^126): 1/x is a normal number
};

struct DConst {
  __m128d one, half, split;
  Range32 inv;         // |x| in [2^-1022, 2^1022): 1/x is a normal number
  Range32 normal;      // x positive, normal, finite
  Range32 rsqrt_ha;    // x in [2^-968, 2^1020): the residuals stay exact
};
constexpr DConst kD = {
    .one = d2(1.0),                                 // 1.0
    .half = d2(0.5),                                // 0.5
    .split = q2(0xFFFFFFFFF8000000ull),             // keeps the high 26 bits of a significand (Veltkamp split by mask)
    .inv = range32(0x00100000u, 0x7FCFFFFFu),       // |x| in [2^-1022, 2^1022): 1/x is a normal number
    .normal = range32(0x00100000u, 0x7FEFFFFFu),    // x positive, normal, finite
    .rsqrt_ha = range32(0x03700000u, 0x7FAFFFFFu),  // x in [2^-968, 2^1020): the residuals stay exact
};

// ---- scalar functions: one IEEE computation, its exceptions as status ----------

template <class T>
int inv_scalar(const T* a, T* r) {
  T x = *a;
  if (is_nan(x)) {
    *r = x + x;
    return 0;
  }
  Flags fl;
  pin(x);
  T y = T(1) / x;
  pin(y);
  const unsigned f = fl.stop();
  *r = y;
  return status_of(f, y);
}

template <class T>
int sqrt_scalar(const T* a, T* r) {
  T x = *a;
  if (is_nan(x)) {
    *r = x + x;
    return 0;
  }
  Flags fl;
  pin(x);
  T y = std::sqrt(x);
  pin(y);
  const unsigned f = fl.stop();
  *r = y;
  return status_of(f, y);
}

template <class T>
int div_scalar(const T* a, const T* b, T* r) {
  T x = *a, z = *b;
  if (is_nan(x) || is_nan(z)) {
    *r = nan_sum(x, z);
    return 0;
  }
  Flags fl;
  pin(x);
  pin(z);
  T y = x / z;
  pin(y);
  const unsigned f = fl.stop();
  *r = y;
  return status_of(f, y);
}

// 1/sqrt(x): the special values by their IEEE rules (sqrt, then the
// reciprocal: -0 gives -inf), numbers by `f`.
template <class T, class F>
int invsqrt_scalar(const T* a, T* r, F f) {
  const T x = *a;
  if (is_nan(x)) {
    *r = x + x;
    return 0;
  }
  if (x == 0) {
    *r = T(1) / x;
    return 2;
  }
  if (x < 0) {
    *r = std::numeric_limits<T>::quiet_NaN();
    return 1;
  }
  if (std::isinf(x)) {
    *r = 0;
    return 0;
  }
  *r = f(x);
  return 0;
}

// 1/sqrt(x) in double with a correction from the exact residuals, for x in
// [2^-968, 2^1020) (scaled into it by the scalar path). With s = sqrt(x) and
// q = 1/s both rounded, r = 1 - s*q and e = x - s*s come out exact through
// split products, and 1/sqrt(x) = q*(1 + r - e*q*q/2) to second order.
inline __m128d rsqrt_corrected(__m128d x) {
  const __m128d s = _mm_sqrt_pd(x);
  const __m128d q = _mm_div_pd(kD.one, s);
  const __m128d m = kD.split;
  const __m128d sh = _mm_and_pd(s, m), sl = _mm_sub_pd(s, sh);
  const __m128d qh = _mm_and_pd(q, m), ql = _mm_sub_pd(q, qh);
  const __m128d p = _mm_mul_pd(s, s);
  const __m128d pl = _mm_add_pd(
      _mm_add_pd(_mm_sub_pd(_mm_mul_pd(sh, sh), p), _mm_mul_pd(_mm_add_pd(sh, sh), sl)), _mm_mul_pd(sl, sl));
  const __m128d e = _mm_sub_pd(_mm_sub_pd(x, p), pl);
  const __m128d u = _mm_mul_pd(s, q);
  const __m128d ul = _mm_add_pd(
      _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(sh, qh), u), _mm_mul_pd(sh, ql)), _mm_mul_pd(sl, qh)),
      _mm_mul_pd(sl, ql));
  const __m128d rr = _mm_sub_pd(_mm_sub_pd(kD.one, u), ul);
  const __m128d c = _mm_sub_pd(rr, _mm_mul_pd(_mm_mul_pd(kD.half, e), _mm_mul_pd(q, q)));
  return _mm_add_pd(q, _mm_mul_pd(q, c));
}

double rsqrt_ha_scalar(double x) {
  // Scale into the range of the residuals by an even power of two.
  double scale = 1.0;
  if (x < 0x1p-968) {
    x *= 0x1p600;
    scale = 0x1p300;
  } else if (x >= 0x1p1020) {
    x *= 0x1p-600;
    scale = 0x1p-300;
  }
  double y;
  _mm_store_sd(&y, rsqrt_corrected(_mm_set1_pd(x)));
  return y * scale;
}

// ---- kernels of one IEEE operation: special lanes found by the flags ------------

// Where the vector result is the IEEE operation itself (every Div, every
// dInv and dSqrt, sInv and sSqrt at HA and LA), the scalar function of a special
// lane repeats that operation under the same control word and gives the same
// result (a NaN operand comes out quieted by both, the first of two NaNs
// first); all the callout adds is the status, and a status needs invalid,
// division by zero, overflow or underflow, which the operation itself raises.
// So whole blocks run without per-lane tests: a chunk whose operations raised
// one of these four flags runs again through the tested blocks, which report
// its lanes in order. The rerun reads the inputs again, which the untested
// results must not have overwritten (ChunkOut below). The caller's four flags
// are set aside on entry and come back, with every raised one, on exit.
// That is the shape's kChunkFlags. Div, and sInv at HA and LA, run this way. dInv and Sqrt keep the tested blocks:
// dInv and dSqrt already run at the pace of divpd and sqrtpd, and sSqrt at
// HA measured 3% faster untested at 1,000 elements but 7-10% slower from
// 100,000 on.
// ---- policies -------------------------------------------------------------------

template <class T_, int Block, int BlockI>
struct Base : Blocks<T_, Block, BlockI> {
};

// Inv. Special: |x| outside [2^-126, 2^126) (singles) or [2^-1022, 2^1022)
// (doubles): zeros, subnormals and the ends where 1/x leaves the normal range,
// infinities and NaN.
// sInv: divps at HA and LA, the estimate at EP (estimated.h), whose
// ordinary range ends at 2^125.
template <Level e>
struct sInvP : Base<float, 16, 8> {
  static constexpr bool kChunkFlags = e != Level::EP;
  static constexpr const char* kName = "vsInv";
  static __m128 eval(__m128 x, __m128& special) {
    if constexpr (e == Level::EP) return InvEstEP<HwEstimate>::eval(x, special);
    special = _mm_castsi128_ps(outside(abs_bits(x), kS.inv));
    return op(x);
  }
  static __m128 op(__m128 x) { return _mm_div_ps(kS.one, x); }
  static int scalar(const float* a, float* r) { return inv_scalar(a, r); }
};

// Double Inv at every level: divpd. On the processors this module serves an
// estimate refined by Newton steps in double costs more than the division
// itself, so LA and EP keep the correctly rounded quotient.
template <Level e>
struct dInvP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdInv";
  static constexpr const char* kNameI = "vdInvI";
  static __m128d eval(__m128d x, __m128d& special) {
    special = _mm_castsi128_pd(outside(abs_high_words(x), kD.inv));
    return op(x);
  }
  static __m128d op(__m128d x) { return _mm_div_pd(kD.one, x); }
  // At HA a zero lane is a pole by the kernel's own test; its result, the
  // infinity of the division, stands.
  static int scalar(const double* a, double* r) {
    if (e == Level::HA && *a == 0.0) {
      *r = 1.0 / *a;
      return 2;
    }
    return inv_scalar(a, r);
  }
};

// Sqrt. HA and LA: sqrtps, special only where x < 0 (invalid); the hardware
// root is right for every other input. EP: x * rsqrt(x) (estimated.h), for x
// positive, normal and finite.
template <Level e>
struct sSqrtP : Base<float, 16, 8> {
  static constexpr const char* kName = "vsSqrt";
  static __m128 eval(__m128 x, __m128& special) {
    if constexpr (e == Level::EP) return SqrtEstEP<HwEstimate>::eval(x, special);
    special = _mm_cmplt_ps(x, _mm_setzero_ps());
    return op(x);
  }
  static __m128 op(__m128 x) { return _mm_sqrt_ps(x); }
  static int scalar(const float* a, float* r) { return sqrt_scalar(a, r); }
};

// Double Sqrt at every level: sqrtpd, for the same reason as double Inv.
template <Level e>
struct dSqrtP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdSqrt";
  static __m128d eval(__m128d x, __m128d& special) {
    special = _mm_cmplt_pd(x, _mm_setzero_pd());
    return op(x);
  }
  static __m128d op(__m128d x) { return _mm_sqrt_pd(x); }
  static int scalar(const double* a, double* r) { return sqrt_scalar(a, r); }
};

// InvSqrt. Special at every level: x not a positive normal finite number
// (the bits of x minus those of the least normal, compared unsigned against
// the span up to the largest finite; negative numbers carry the sign bit and
// fall above). dInvSqrt at HA narrows the range to [2^-968, 2^1020).
template <Level e>
struct sInvSqrtP : Base<float, 16, 8> {
  static constexpr const char* kName = "vsInvSqrt";
  static __m128 eval(__m128 x, __m128& special) {
    if constexpr (e == Level::HA) return InvSqrtEstHA<HwEstimate>::eval(x, special);
    if constexpr (e == Level::LA) return InvSqrtEstLA<HwEstimate>::eval(x, special);
    return InvSqrtEstEP<HwEstimate>::eval(x, special);
  }
  // Subnormal inputs land here: in double they are normal, and 1/sqrt(x)
  // rounded twice stays within 0.5 + 2^-28 ulp of single.
  static int scalar(const float* a, float* r) {
    return invsqrt_scalar(a, r, [](float x) { return static_cast<float>(1.0 / std::sqrt(double(x))); });
  }
};

template <Level e>
struct dInvSqrtP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdInvSqrt";
  static __m128d eval(__m128d x, __m128d& special) {
    if constexpr (e == Level::HA) {
      special = _mm_castsi128_pd(outside(high_words(x), kD.rsqrt_ha));
      return rsqrt_corrected(x);
    } else {
      special = _mm_castsi128_pd(outside(high_words(x), kD.normal));
      return _mm_div_pd(kD.one, _mm_sqrt_pd(x));
    }
  }
  static int scalar(const double* a, double* r) {
    if constexpr (e == Level::HA)
      return invsqrt_scalar(a, r, [](double x) { return rsqrt_ha_scalar(x); });
    else
      return invsqrt_scalar(a, r, [](double x) { return 1.0 / std::sqrt(x); });
  }
};

// Div. Special lanes from the result: not a normal finite number, except
// quotients equal to the dividend (exact: the zeros of a zero dividend, a/1;
// 0/0 gives a NaN, which equals nothing). That catches the poles, 0/0 and
// inf/inf, overflow and underflow, and NaN.
// Single Div at every level: divps, which costs less here than a times
// the estimate of 1/b with the wider test that the estimate needs.
template <Level e>
struct sDivP : Base<float, 16, 8> {
  static constexpr bool kChunkFlags = true;
  static constexpr const char* kName = "vsDiv";
  static __m128 eval(__m128 a, __m128 b, __m128& special) {
    const __m128 q = op(a, b);
    special = _mm_andnot_ps(_mm_cmpeq_ps(a, q), not_normal(q));
    return q;
  }
  static __m128 op(__m128 a, __m128 b) { return _mm_div_ps(a, b); }
  static int scalar(const float* a, const float* b, float* r) { return div_scalar(a, b, r); }
};

struct dDivP : Base<double, 8, 4> {
  static constexpr bool kChunkFlags = true;
  static constexpr const char* kName = "vdDiv";
  static __m128d eval(__m128d a, __m128d b, __m128d& special) {
    const __m128d q = op(a, b);
    special = _mm_andnot_pd(_mm_cmpeq_pd(a, q), not_normal(q));  // as in single
    return q;
  }
  static __m128d op(__m128d a, __m128d b) { return _mm_div_pd(a, b); }
  static int scalar(const double* a, const double* b, double* r) { return div_scalar(a, b, r); }
};

}  // namespace
}  // namespace zev::vk::alg

using namespace zev::vk;
using namespace zev::vk::alg;

using sInvHA = sInvP<Level::HA>;
using dInvHA = dInvP<Level::HA>;
using sSqrtHA = sSqrtP<Level::HA>;
using dSqrtHA = dSqrtP<Level::HA>;
using sDivHA = sDivP<Level::HA>;

ZEV_KERNELS(sInv, ha, sInvHA)
ZEV_KERNELS(sInv, la, sInvP<Level::LA>)
ZEV_KERNELS(sInv, ep, sInvP<Level::EP>)
ZEV_KERNELS(dInv, ha, dInvHA)
ZEV_KERNELS(dInv, la, dInvP<Level::LA>)
ZEV_KERNELS(dInv, ep, dInvP<Level::EP>)
ZEV_KERNELS(sSqrt, ha, sSqrtHA)
ZEV_KERNELS(sSqrt, la, sSqrtP<Level::LA>)
ZEV_KERNELS(sSqrt, ep, sSqrtP<Level::EP>)
ZEV_KERNELS(dSqrt, ha, dSqrtHA)
ZEV_KERNELS(dSqrt, la, dSqrtP<Level::LA>)
ZEV_KERNELS(dSqrt, ep, dSqrtP<Level::EP>)
ZEV_KERNELS(sInvSqrt, ha, sInvSqrtP<Level::HA>)
ZEV_KERNELS(sInvSqrt, la, sInvSqrtP<Level::LA>)
ZEV_KERNELS(sInvSqrt, ep, sInvSqrtP<Level::EP>)
ZEV_KERNELS(dInvSqrt, ha, dInvSqrtP<Level::HA>)
ZEV_KERNELS(dInvSqrt, laep, dInvSqrtP<Level::LA>)
ZEV_KERNELS(sDiv, ha, sDivHA)
ZEV_KERNELS(sDiv, la, sDivP<Level::LA>)
ZEV_KERNELS(sDiv, ep, sDivP<Level::EP>)
ZEV_KERNELS(dDiv, lahaep, dDivP)
