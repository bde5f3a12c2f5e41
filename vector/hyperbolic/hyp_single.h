// The single-arithmetic core of sSinh, sCosh and sTanh at LA and EP: both
// exponentials of a = |x| from one reduction, four lanes at a time, no table.
//
// a = k ln2 + r with k an integer and |r| <= ln2/2 (a little more where
// a log2e rounds across a half), so e^(+-a) = 2^(+-k) (C +- S) with
// C = cosh r and S = sinh r. With H = 2^(k-1) and L = 2^(-k-1), d = H - L and
// s = H + L,
//   sinh a = d + (d (C - 1) + s S),   cosh a = s + (s (C - 1) + d S),
// the large term exact and first. For k = 0, d is 0 and s is 1, so sinh a is
// S itself, r = a exactly: no separate branch for small a. H is 2^(k-1) from
// the bits of the shifter's view of k (k <= 128, so H <= 2^127); L is built
// with a saturating 16-bit subtraction, which leaves +0 from k = 126 on,
// where it no longer counts.
//
// LA: C - 1 to r^6 (Taylor, the first term left out is below 2^-27.5 of C)
// and S = r + r z (1/6 + z o5), z = r^2, whose o5 leans on 1/120 so that the
// relative error of S stays below 2^-24.5 on the whole interval. EP: C - 1 to
// r^4 (2^-18.7) and S = r + r z o3, o3 leaning on 1/6 (2^-15.5 relative).
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/level.h"
#include "vector/common/range.h"
#include "vector/exp/exp_common.h"

namespace zev::vk::hyp {

struct HypSingleConst {
  __m128 log2e, shift, l1, l2, e2, e4, e6, o3, o5, o3ep;
  I4 half;
};
inline constexpr HypSingleConst kHypS = {
    .log2e = expk::f4(1.44269502f),         // log2 e
    .shift = expk::f4(12582912.0f),         // 1.5 * 2^23: rounds a log2e to an integer k in the low bits
    .l1 = expk::f4(0.693145751953125f),     // ln2, high part of 15 bits: k l1 is exact for k <= 2^9
    .l2 = expk::f4(1.42860677e-06f),        // ln2 - l1
    .e2 = expk::f4(0.5f),                   // cosh r - 1 = z (e2 + z (e4 + z e6))
    .e4 = expk::f4(1.0f / 24.0f),           //
    .e6 = expk::f4(1.0f / 720.0f),          //
    .o3 = expk::f4(1.0f / 6.0f),            // sinh r = r + r z (o3 + z o5), LA
    .o5 = expk::f4(0.00835463f),            // 1/120 + 2.13e-5: the r^7 term spread over |r| <= 0.35
    .o3ep = expk::f4(0.167497f),            // sinh r = r + r z o3ep, EP: 1/6 + 8.3e-4, likewise
    .half = expk::i4(0x3F000000),           // the bits of 0.5
};

struct HypParts {
  __m128 d, s, cm1, sr;  // d = H - L, s = H + L, C - 1, S
};

// The parts of sinh and cosh of 0 <= a < 89.07 (k <= 128).
template <Level L>
inline HypParts hyp_parts(__m128 a) {
  const HypSingleConst& c = kHypS;
  const __m128 t = _mm_add_ps(_mm_mul_ps(a, c.log2e), c.shift);
  const __m128 kf = _mm_sub_ps(t, c.shift);
  const __m128 r = _mm_sub_ps(_mm_sub_ps(a, _mm_mul_ps(kf, c.l1)), _mm_mul_ps(kf, c.l2));
  const __m128 z = _mm_mul_ps(r, r);
  const __m128 rz = _mm_mul_ps(r, z);
  HypParts p;
  if constexpr (L == Level::EP) {
    p.cm1 = _mm_mul_ps(z, _mm_add_ps(c.e2, _mm_mul_ps(z, c.e4)));
    p.sr = _mm_add_ps(r, _mm_mul_ps(rz, c.o3ep));
  } else {
    p.cm1 = _mm_mul_ps(z, _mm_add_ps(c.e2, _mm_mul_ps(z, _mm_add_ps(c.e4, _mm_mul_ps(z, c.e6)))));
    p.sr = _mm_add_ps(r, _mm_mul_ps(rz, _mm_add_ps(c.o3, _mm_mul_ps(z, c.o5))));
  }
  const __m128i kb = _mm_slli_epi32(_mm_castps_si128(t), 23);  // k << 23
  const __m128 h = _mm_castsi128_ps(_mm_add_epi32(expk::iv(c.half), kb));
  const __m128 l = _mm_castsi128_ps(_mm_subs_epu16(expk::iv(c.half), kb));
  p.d = _mm_sub_ps(h, l);
  p.s = _mm_add_ps(h, l);
  return p;
}

// sinh a (Cosh false) or cosh a (Cosh true) from the parts.
template <bool Cosh>
inline __m128 hyp_value(const HypParts& p) {
  const __m128 big = Cosh ? p.s : p.d, small = Cosh ? p.d : p.s;
  return _mm_add_ps(big, _mm_add_ps(_mm_mul_ps(big, p.cm1), _mm_mul_ps(small, p.sr)));
}

// The lanes of the single-arithmetic kernels that leave the vector path at
// the small end: below 2^-28 the squares and fourth powers of the polynomials
// would go subnormal and raise a false underflow, while the result is x (1
// for Cosh) to the last bit. Their scalar functions compute in double.
inline constexpr uint32_t kTinyBits = 0x31800000u;  // 2^-28

// A per-block policy from a per-vector one: Base::one(x, special) gives a
// vector's results and special lanes; the block's lanes are tested with one
// movemask, and the lane bits gathered only when some lane is special.
template <class Base>
struct BlockOf : Base {
  using V = __m128;
  static constexpr bool kPerBlock = true;
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    V sp[NV];
    for (int v = 0; v < NV; ++v) y[v] = Base::one(x[v], sp[v]);
    V any = sp[0];
    for (int v = 1; v < NV; ++v) any = _mm_or_ps(any, sp[v]);
    if (__builtin_expect(_mm_movemask_ps(any) == 0, 1)) return 0;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) m |= static_cast<unsigned>(_mm_movemask_ps(sp[v])) << (4 * v);
    return m;
  }
};

}  // namespace zev::vk::hyp
