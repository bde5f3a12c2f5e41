// dSin, dCos and dSinCos.
//
// HA (and LA of dSin, dCos): the circle table of 512 rows, a = |x| reduced by
// pi/256 in three parts (Cody-Waite), the row number being the low 9 bits of
// the shifter's sum, so no quadrant logic: the row is the angle. Above
// 65536.00349206588 the block takes the vector Payne-Hanek reduction
// (trig_large.cpp) for those lanes. The cosine enters the table 128 rows on.
//
// EP, and LA of dSinCos: a reduction by multiples of pi (n = round(a/pi)), the
// parity of n as the sign, one odd polynomial. The cosine is the sine of
// pi/2 - a (dCos) or, in SinCos, of the distance to the nearer zero of the
// cosine, m = n +- 1/2. EP lanes above their bound go to the scalar function,
// which runs the table path; dSinCos LA takes the vector large path.
#include "vector/shape.h"
#include "vector/trig/trig_common.h"

namespace zev::vk {
namespace {

using namespace trig;

inline __m128d sign_of(__m128d x) { return _mm_and_pd(x, kTab.sign); }
inline __m128d abs_of(__m128d x) { return _mm_and_pd(x, kTab.abs); }
// The parity of the integer in the shifter's sum t, as a sign bit.
inline __m128d parity_sign(__m128d t) { return dv(_mm_slli_epi64(_mm_castpd_si128(t), 63)); }

struct DBase {
  using T = double;
  using V = __m128d;
  static constexpr int kBlock = 4;
  static constexpr int kBlockI = 4;
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
};

// ---- table kernels ----

struct DSinTable : DBase {
  static constexpr const char* kName = "vdSin";
  static V eval(V x, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    return _mm_xor_pd(table_sin(reduce_any(a), 0), sign_of(x));
  }
  static int scalar(const double* x, double* r) { return not_finite_lane(*x, r); }
};

struct DCosTable : DBase {
  static constexpr const char* kName = "vdCos";
  static V eval(V x, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    return table_sin(reduce_any(a), 128);
  }
  static int scalar(const double* x, double* r) { return not_finite_lane(*x, r); }
};

// One reduction, two rows: j for the sine, j + 128 for the cosine.
struct DSinCosHA : DBase {
  static constexpr const char* kName = "vdSinCos";
  static V eval(V x, V& c, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    const Reduced red = reduce_any(a);
    c = table_sin(red, 128);
    return _mm_xor_pd(table_sin(red, 0), sign_of(x));
  }
  static int scalar(const double* x, double* s, double* c) {
    const int st = not_finite_lane(*x, s);
    *c = *s;
    return st;
  }
};

// ---- polynomial kernels ----

struct PolyConst {
  __m128d inv, shifter, p1, p2, p3, half, pio2, bound, c1, c2, c3, c4;
};
// The reduction by pi in three parts and the odd polynomial of dSin EP.
alignas(16) constexpr PolyConst kEP = {
    .inv = q2(0x3FD45F306DC9C883),      // 1/pi
    .shifter = d2(6755399441055744.0),  // 1.5 * 2^52: rounds a/pi to n
    .p1 = q2(0x400921FB40000000),       // pi in three parts: n p1 exact
    .p2 = q2(0x3E84442D00000000),       // second part
    .p3 = q2(0x3D08469898CC5170),       // third part
    .half = d2(0.5),                    // 1/2
    .pio2 = d2(1.5707963267948966),     // pi/2
    .bound = d2(16777216.0),            // 2^24: sine lanes above it go to the scalar function
    .c1 = d2(-0.16666658839437162),     // sin r ~ r + r z (c1 + z (c2 + z (c3 + z c4))): c1
    .c2 = d2(0.0083330466452487071),    // c2
    .c3 = d2(-0.00019808085361787081),  // c3
    .c4 = d2(2.6022725384193179e-06),   // c4
};

inline __m128d ep_poly(__m128d r) {
  const PolyConst& c = kEP;
  const __m128d z = _mm_mul_pd(r, r);
  __m128d p = _mm_add_pd(c.c3, _mm_mul_pd(z, c.c4));
  p = _mm_add_pd(c.c2, _mm_mul_pd(z, p));
  p = _mm_add_pd(c.c1, _mm_mul_pd(z, p));
  return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), p));
}

struct DEPBase : DBase {
  static constexpr int kBlock = 8;
};

struct DSinEP : DEPBase {
  static constexpr const char* kName = "vdSin";
  static V eval(V x, V& special) {
    const PolyConst& c = kEP;
    const V a = abs_of(x);
    special = _mm_cmpnle_pd(a, c.bound);
    const V t = _mm_add_pd(_mm_mul_pd(a, c.inv), c.shifter);
    const V n = _mm_sub_pd(t, c.shifter);
    const V r = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(n, c.p1)), _mm_mul_pd(n, c.p2)),
                           _mm_mul_pd(n, c.p3));
    return _mm_xor_pd(ep_poly(_mm_xor_pd(r, parity_sign(t))), sign_of(x));
  }
  static int scalar(const double* x, double* r) {
    if (*x - *x != 0) return not_finite_lane(*x, r);
    *r = sin_full(*x);
    return 0;
  }
};

// cos a = sin u with u = pi/2 - a; n = round(u/pi) and r = u - n pi taken as
// (1/2 - n) pi - a. Where u rounds to pi/2 the lane is exactly 1.
struct DCosEP : DEPBase {
  static constexpr const char* kName = "vdCos";
  static V eval(V x, V& special) {
    const PolyConst& c = kEP;
    const V a = abs_of(x);
    const V u = _mm_sub_pd(c.pio2, a);
    special = _mm_cmpnle_pd(abs_of(u), _mm_set1_pd(8388608.0));
    const V t = _mm_add_pd(_mm_mul_pd(u, c.inv), c.shifter);
    const V m = _mm_sub_pd(c.half, _mm_sub_pd(t, c.shifter));
    const V r = _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(m, c.p1), a), _mm_mul_pd(m, c.p2)),
                           _mm_mul_pd(m, c.p3));
    const V y = ep_poly(_mm_xor_pd(r, parity_sign(t)));
    return select(_mm_cmpeq_pd(u, c.pio2), _mm_set1_pd(1.0), y);
  }
  static int scalar(const double* x, double* r) {
    if (*x - *x != 0) return not_finite_lane(*x, r);
    *r = cos_full(*x);
    return 0;
  }
};

// ---- dSinCos at LA and EP ----

// Lanes where pi/2 - a rounds to pi/2: their cosine is 1.
inline __m128d cos_one(__m128d a, __m128d y) {
  const __m128d pio2 = kEP.pio2;
  return select(_mm_cmpeq_pd(_mm_sub_pd(pio2, a), pio2), _mm_set1_pd(1.0), y);
}

// sin a = (-1)^n sin r with r = a - n pi; cos a = (-1)^n sin(pi/2 - |r|),
// and pi/2 - |r| = -sgn(r) (a - m pi) with m = n + sgn(r)/2: a second
// reduction from a with the same parts, so the cosine keeps full accuracy
// near its zeros. (The sign is that of r, not of a - m pi: near a zero of the
// cosine |r| may pass pi/2 by a rounding.)
struct SinCosLAConst {
  __m128d inv, shifter, p1, p2, p3, p4, half, bound, c1, c2, c3, c4, c5, c6, c7;
};
alignas(16) constexpr SinCosLAConst kSCLA = {
    .inv = q2(0x3FD45F306DC9C883),       // 1/pi
    .shifter = d2(6755399441055744.0),   // 1.5 * 2^52
    .p1 = q2(0x400921FB40000000),        // pi in four parts: n p1, n p2, n p3 exact
    .p2 = q2(0x3E84442D00000000),        // second part
    .p3 = q2(0x3D08469880000000),        // third part
    .p4 = q2(0x3B88CC51701B839A),        // fourth part
    .half = d2(0.5),                     // 1/2, with the sign of r
    .bound = d2(8388608.0),              // 2^23: above it the vector large path
    .c1 = d2(-0.16666666666666183),      // sin r ~ r + r z (c1 + z (c2 + ... + z c7)): c1
    .c2 = d2(0.008333333333285186),      // c2
    .c3 = d2(-0.00019841269824944237),   // c3
    .c4 = d2(2.755731658449074e-06),     // c4
    .c5 = d2(-2.5051879126742989e-08),   // c5
    .c6 = d2(1.6048055576979365e-10),    // c6
    .c7 = d2(-7.3728090972650701e-13),   // c7
};

// -sgn(r) rc: the argument whose sine is cos r.
inline __m128d cos_arg(__m128d rc, __m128d r) {
  return _mm_xor_pd(rc, _mm_xor_pd(sign_of(r), kTab.sign));
}

inline __m128d la_poly(__m128d r) {
  const SinCosLAConst& c = kSCLA;
  const __m128d z = _mm_mul_pd(r, r);
  __m128d p = _mm_add_pd(c.c6, _mm_mul_pd(z, c.c7));
  p = _mm_add_pd(c.c5, _mm_mul_pd(z, p));
  p = _mm_add_pd(c.c4, _mm_mul_pd(z, p));
  p = _mm_add_pd(c.c3, _mm_mul_pd(z, p));
  p = _mm_add_pd(c.c2, _mm_mul_pd(z, p));
  p = _mm_add_pd(c.c1, _mm_mul_pd(z, p));
  return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), p));
}

// The table path for the lanes of `large` (the vector large path of dSinCos LA).
__attribute__((noinline)) void sincos_large(__m128d x, __m128d large, __m128d& s, __m128d& c) {
  const __m128d a = abs_of(x);
  Reduced red = reduce_table(a);
  reduce_large(a, _mm_cmpnle_pd(a, kTab.bound), red);
  s = select(large, _mm_xor_pd(table_sin(red, 0), sign_of(x)), s);
  c = select(large, table_sin(red, 128), c);
}

struct DSinCosLA : DBase {
  static constexpr const char* kName = "vdSinCos";
  static V eval(V x, V& cos_out, V& special) {
    const SinCosLAConst& c = kSCLA;
    const V a = abs_of(x);
    special = not_finite(a);
    const V large = _mm_cmpnle_pd(a, c.bound);
    const V t = _mm_add_pd(_mm_mul_pd(a, c.inv), c.shifter);
    const V n = _mm_sub_pd(t, c.shifter);
    const V u2 = _mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(n, c.p1)), _mm_mul_pd(n, c.p2));
    const V r = _mm_sub_pd(_mm_sub_pd(u2, _mm_mul_pd(n, c.p3)), _mm_mul_pd(n, c.p4));
    const V m = _mm_add_pd(n, _mm_or_pd(c.half, sign_of(u2)));
    const V rc = _mm_sub_pd(
        _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(m, c.p1)), _mm_mul_pd(m, c.p2)),
                   _mm_mul_pd(m, c.p3)),
        _mm_mul_pd(m, c.p4));
    const V par = parity_sign(t);
    V s = _mm_xor_pd(la_poly(r), _mm_xor_pd(par, sign_of(x)));
    V co = cos_one(a, _mm_xor_pd(la_poly(cos_arg(rc, u2)), par));
    if (__builtin_expect(_mm_movemask_pd(large) != 0, 0)) sincos_large(x, large, s, co);
    cos_out = co;
    return s;
  }
  static int scalar(const double* x, double* s, double* c) { return DSinCosHA::scalar(x, s, c); }
};

struct DSinCosEP : DEPBase {
  static constexpr const char* kName = "vdSinCos";
  static V eval(V x, V& cos_out, V& special) {
    const PolyConst& c = kEP;
    const V a = abs_of(x);
    special = _mm_cmpnle_pd(a, _mm_set1_pd(8388608.0));
    const V t = _mm_add_pd(_mm_mul_pd(a, c.inv), c.shifter);
    const V n = _mm_sub_pd(t, c.shifter);
    const V u2 = _mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(n, c.p1)), _mm_mul_pd(n, c.p2));
    const V r = _mm_sub_pd(u2, _mm_mul_pd(n, c.p3));
    const V m = _mm_add_pd(n, _mm_or_pd(c.half, sign_of(u2)));
    const V rc = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(m, c.p1)), _mm_mul_pd(m, c.p2)),
                            _mm_mul_pd(m, c.p3));
    const V par = parity_sign(t);
    cos_out = cos_one(a, _mm_xor_pd(ep_poly(cos_arg(rc, u2)), par));
    return _mm_xor_pd(ep_poly(r), _mm_xor_pd(par, sign_of(x)));
  }
  static int scalar(const double* x, double* s, double* c) {
    if (*x - *x != 0) return DSinCosHA::scalar(x, s, c);
    *s = sin_full(*x);
    *c = cos_full(*x);
    return 0;
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(dSin, laha, DSinTable)
ZEV_KERNELS(dSin, ep, DSinEP)
ZEV_KERNELS(dCos, laha, DCosTable)
ZEV_KERNELS(dCos, ep, DCosEP)
ZEV_KERNELS(dSinCos, ha, DSinCosHA)
ZEV_KERNELS(dSinCos, la, DSinCosLA)
ZEV_KERNELS(dSinCos, ep, DSinCosEP)
