// sSin, sCos and sSinCos.
//
// Every level reduces a = |x| by multiples of pi, n = round(a/pi) by the
// float shifter, takes the parity of n as the sign, and evaluates one odd
// polynomial. The cosine is the shifted sine: n is taken as the half-integer
// round((a + pi/2)/pi) - 1/2, so r = a - n pi lies around the cosine's zeros;
// lanes so small that a + pi/2 rounds to pi/2 are exactly 1. SinCos reduces
// once by n for the sine and a second time from a by m = n +- 1/2 for the
// cosine. HA takes n in float and the rest in double, rounding once.
//
// Lanes above 10000 (and NaN, Inf) take the large path in the same block: a
// Payne-Hanek reduction on 32-bit words and the float table of 256 rows
// (ssincos_large.h), the same at every level.
#include "vector/common/level.h"
#include "vector/shape.h"
#include "vector/trig/ssincos_core.h"

namespace zev::vk {
namespace {

using namespace trig;
using namespace trig::sgl;

struct SBase {
  using T = float;
  using V = __m128;
  static constexpr int kBlockI = 8;
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static int scalar(const float* x, float* r) { return not_finite_lane(*x, r); }
};

inline __m128 reduce3(__m128 a, __m128 n) {
  const SConst& c = kS;
  const __m128 r = _mm_sub_ps(_mm_sub_ps(a, _mm_mul_ps(n, c.p1)), _mm_mul_ps(n, c.p2));
  return _mm_sub_ps(r, _mm_mul_ps(n, c.e3));
}

// The odd polynomial of a reduced by n at each level: HA in double, rounded
// once; LA on the four-part reduction; EP on three parts, with the cosine's
// own first coefficient.
template <Level L, bool Cos>
inline __m128 sin_reduced(__m128 a, __m128 n) {
  const SConst& c = kS;
  if constexpr (L == Level::HA) return sin_reduced_ha(a, n);
  else if constexpr (L == Level::LA) return poly_la(reduce4(a, n), c.c1, c.c2, c.c3, c.c4);
  else return poly_ep(reduce3(a, n), Cos ? c.q1cos : c.q1);
}

// Per block: one test of the block for lanes above the bound (NaN and Inf
// among them: the special lanes are a subset); a block all of whose lanes
// are large skips the ordinary arithmetic. P::ordinary(x, a) is the ordinary
// path of four lanes; turn 0 is the sine, 64 the cosine. HA takes this form:
// its ordinary arithmetic is the costly one to skip (arguments spread to 1e6
// run 20 % faster), and its ordinary loop is as fast. LA and EP test per
// vector: the block test costs their short ordinary loop about 5 %.
template <class P, int Turn>
struct LargeByBlock : P {
  using V = __m128;
  static constexpr bool kPerBlock = true;
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    V a[NV], large[NV];
    for (int v = 0; v < NV; ++v) {
      a[v] = abs_of(x[v]);
      large[v] = _mm_cmpnle_ps(a[v], kS.bound);
    }
    V any = large[0], all = large[0];
    for (int v = 1; v < NV; ++v) {
      any = _mm_or_ps(any, large[v]);
      all = _mm_and_ps(all, large[v]);
    }
    if (__builtin_expect(_mm_movemask_ps(any) == 0, 1)) {
      for (int v = 0; v < NV; ++v) y[v] = P::ordinary(x[v], a[v]);
      return 0;
    }
    if (_mm_movemask_ps(all) == 15) {
      for (int v = 0; v < NV; ++v) y[v] = large_path(x[v], large[v], x[v], Turn);
    } else {
      for (int v = 0; v < NV; ++v) y[v] = with_large(x[v], a[v], P::ordinary(x[v], a[v]), Turn);
    }
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) m |= static_cast<unsigned>(_mm_movemask_ps(not_finite(a[v]))) << (4 * v);
    return m;
  }
};

template <Level L>
struct SSinP : SBase {
  static constexpr int kBlock = L == Level::HA ? 16 : 8;
  static constexpr const char* kName = "vsSin";
  static V ordinary(V x, V a) {
    const SinRed q = sin_n(a);
    return _mm_xor_ps(sin_reduced<L, false>(a, q.n), _mm_xor_ps(parity_sign(q.t), sign_of(x)));
  }
  static V eval(V x, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    return with_large(x, a, ordinary(x, a), 0);
  }
};

template <Level L>
struct SCosP : SBase {
  static constexpr int kBlock = L == Level::HA ? 16 : 8;
  static constexpr const char* kName = "vsCos";
  static V ordinary(V, V a) {
    const SinRed q = cos_n(a);
    return cos_one(a, _mm_xor_ps(sin_reduced<L, true>(a, q.n), parity_sign(q.t)));
  }
  static V eval(V x, V& special) {
    const V a = abs_of(x);
    special = not_finite(a);
    return with_large(x, a, ordinary(x, a), 64);
  }
};

// ---- sSinCos ----

struct SSinCosBase : SBase {
  static constexpr int kBlock = 16;
  static constexpr const char* kName = "vsSinCos";
  static int scalar(const float* x, float* s, float* c) {
    const int st = not_finite_lane(*x, s);
    *c = *s;
    return st;
  }
};

// In double, rounded once (sincos_ha of ssincos_core.h).
struct SSinCosHA : SSinCosBase {
  static V eval(V x, V& cos_out, V& special) {
    special = not_finite(abs_of(x));
    return sincos_ha(x, cos_out);
  }
};

// LA and EP: one reduction by pi/2 in float, k = round(a 2/pi), r = a - k pi/2
// in four parts (k pi/2's parts exact up to k = 8191), |r| <= pi/4; sin r and
// cos r from two polynomials, swapped where k is odd, with the signs of the
// quadrant: sin a = (-1)^(k>>1) {sin r, cos r}, cos a = (-1)^((k+1)>>1)
// {cos r, sin r}. Next to a zero of either function the result is sin r of
// a small r, accurate relative to itself.
struct SinCosQuadConst {
  __m128 inv, p1, p2, p3, p4, c2, c4, c6, c8;
};
alignas(16) constexpr SinCosQuadConst kSCQ = {
    .inv = u4(0x3F22F983),          // 2/pi
    .p1 = u4(0x3FC90000),           // pi/2 in four parts: k p1, k p2, k p3 exact
    .p2 = u4(0x39FDA000),
    .p3 = u4(0x33A22000),
    .p4 = u4(0x2C34611A),
    .c2 = f4(-0.5f),                // cos r ~ 1 + z (c2 + z (c4 + z (c6 + z c8))), Taylor, |r| <= pi/4
    .c4 = f4(0.0416666679f),
    .c6 = f4(-0.00138888892f),
    .c8 = f4(2.48015876e-05f),
};

struct SSinCosLAEP : SSinCosBase {
  static V eval(V x, V& cos_out, V& special) {
    const SConst& c = kS;
    const SinCosQuadConst& q = kSCQ;
    const V a = abs_of(x);
    special = not_finite(a);
    const V t = _mm_add_ps(_mm_mul_ps(a, q.inv), c.shifter);
    const V k = _mm_sub_ps(t, c.shifter);
    V r = _mm_sub_ps(a, _mm_mul_ps(k, q.p1));
    r = _mm_sub_ps(r, _mm_mul_ps(k, q.p2));
    r = _mm_sub_ps(r, _mm_mul_ps(k, q.p3));
    r = _mm_sub_ps(r, _mm_mul_ps(k, q.p4));
    const V z = _mm_mul_ps(r, r);
    const V sr = poly_la(r, c.k1, c.k2, c.k3, c.k4);
    V cr = _mm_add_ps(_mm_mul_ps(z, q.c8), q.c6);
    cr = _mm_add_ps(_mm_mul_ps(cr, z), q.c4);
    cr = _mm_add_ps(_mm_mul_ps(cr, z), q.c2);
    cr = _mm_add_ps(_mm_mul_ps(cr, z), c.one);
    // Bit 0 of k swaps the two, bit 1 (and bit 1 of k + 1) gives the signs.
    const __m128i tb = _mm_castps_si128(t);
    const V flip0 = fv(_mm_slli_epi32(tb, 31));
    const V flip1 = _mm_and_ps(fv(_mm_slli_epi32(tb, 30)), c.sign);
    const V d = _mm_and_ps(_mm_xor_ps(sr, cr), fv(_mm_srai_epi32(_mm_castps_si128(flip0), 31)));
    cos_out = _mm_xor_ps(_mm_xor_ps(cr, d), _mm_xor_ps(flip1, flip0));
    const V sn = _mm_xor_ps(_mm_xor_ps(sr, d), _mm_xor_ps(flip1, sign_of(x)));
    return with_large_pair(x, a, sn, cos_out);
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sSin, ha, LargeByBlock<SSinP<Level::HA>, 0>)
ZEV_KERNELS(sSin, la, SSinP<Level::LA>)
ZEV_KERNELS(sSin, ep, SSinP<Level::EP>)
ZEV_KERNELS(sCos, ha, LargeByBlock<SCosP<Level::HA>, 64>)
ZEV_KERNELS(sCos, la, SCosP<Level::LA>)
ZEV_KERNELS(sCos, ep, SCosP<Level::EP>)
ZEV_KERNELS(sSinCos, ha, SSinCosHA)
ZEV_KERNELS(sSinCos, laep, SSinCosLAEP)
