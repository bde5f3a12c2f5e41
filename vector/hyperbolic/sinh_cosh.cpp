// Sinh and Cosh in double and single.
//
// Both exponentials come from one reduction: a = |x| = k ln2 + r with k a
// multiple of 1/16 (dSinh) or 1/128 (dCosh and the single rows), so that
// e^a = P e^r and e^-a = M e^-r with P = 2^m plus[j] and M = 2^-m minus[j]
// read from one table row and scaled by integer arithmetic on the exponent.
// Then
//   sinh a = (P - M) cosh r + (P + M) sinh r,   cosh a = P e^r + M e^-r,
// summed from the small terms to the large. Lanes past the scale's range, NaN
// and infinities go to the scalar function, which scales in two steps.
//
// Measured worst errors: docs/accuracy_hyperbolic.md.
#include <cfloat>
#include <cmath>

#include "vector/hyperbolic/hyp_common.h"
#include "vector/hyperbolic/hyp_single.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace hyp;

// 2^m and 2^-m as pow2_pair gives them, but 2^-m is +0 from m = 960 on: there
// the terms it scales are below 2^-1900 of the result, and as subnormal
// products (the low parts of the table reach them from m = 968) they would
// cost a microcode assist each. 2^-m is built as 2^(-m-63), by a saturating
// 16-bit subtraction from the exponent field 960, times 2^63.
template <int IndexBits>
inline void pow2_pair_cut(__m128d t, __m128d& up, __m128d& down) {
  const __m128i m = _mm_slli_epi64(_mm_srli_epi64(_mm_castpd_si128(t), IndexBits), 52);
  up = _mm_castsi128_pd(_mm_add_epi64(_mm_set1_epi64x(0x3FF0000000000000ll), m));
  const __m128d cut = _mm_castsi128_pd(_mm_subs_epu16(_mm_set1_epi64x(960ll << 52), m));
  down = _mm_mul_pd(cut, _mm_set1_pd(0x1p63));
}

// a = k ln2 + r, k a multiple of the ulp of c.shift, left in the low bits of t;
// k l1 is exact and ln2 = l1 + l2.
template <class C>
inline __m128d reduce_ln2(__m128d a, const C& c, __m128d& t) {
  t = _mm_add_pd(_mm_mul_pd(a, c.log2e), c.shift);
  const __m128d k = _mm_sub_pd(t, c.shift);
  return _mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(k, c.l1)), _mm_mul_pd(k, c.l2));
}

// ---- dSinh -----------------------------------------------------------------------

struct DSinhConst {
  __m128d log2e, shift, l1, l2, s3, s5, s7, c2, c4, c6, c8;
};
alignas(16) const DSinhConst kDSinh = {
    .log2e = dc(1.4426950408889634),         // log2 e: a in units of ln2
    .shift = dc(422212465065984.0),          // 1.5 * 2^48, whose ulp is 1/16: k = m + j/16
    .l1 = dc(0.69314718055829871),           // ln2, high 36 bits: k l1 is exact
    .l2 = dc(1.6465949582897082e-12),        // ln2 - l1
    .s3 = dc(0.16666666666671864),           // sinh r = r + r z (s3 + z (s5 + z s7)), z = r^2
    .s5 = dc(0.0083333332691419189),         //
    .s7 = dc(0.00019843655445827261),        //
    .c2 = dc(0.5),                           // cosh r - 1 = z (c2 + z (c4 + z (c6 + z c8)))
    .c4 = dc(0.041666666666648838),          //
    .c6 = dc(0.0013888888970874393),         //
    .c8 = dc(2.4801762009559563e-05),        //
};

// The lane range of the vector path, by the high word of |x|: from 2^-53 up
// to about 669.775, where 2^m still fits the exponent field with room for
// 2^-m. Zeros, denormals, tiny and large lanes, NaN and infinities go out.
constexpr Range32 kDSinhRange = range32(0x3CA00000u, 0x4084EE33u);

// sinh a for a >= 0 (HA): the rounding error of P - M is carried. Split
// (the scalar function, a up to the overflow limit): P is scaled by 2^(m-2)
// and M dropped (below 2^-1900 of the result); the caller multiplies by 4.
// There A is 2^1000 times B r, so the plain sum is exact enough.
template <bool Split = false>
inline __m128d sinh_abs(__m128d a) {
  const DSinhConst& c = kDSinh;
  __m128d t;
  const __m128d r = reduce_ln2(a, c, t);
  unsigned j[2];
  rows2(t, 15, j);
  __m128d up, down;
  pow2_pair_cut<4>(t, up, down);
  if constexpr (Split) {
    up = _mm_castsi128_pd(_mm_sub_epi64(_mm_castpd_si128(up), _mm_set1_epi64x(2ll << 52)));
    down = _mm_setzero_pd();
  }
  const SinhTable16& tab = sinhTable16;
  const __m128d phi = _mm_mul_pd(fetch(tab.plusHi, j), up);
  const __m128d plo = _mm_mul_pd(fetch(tab.plusLo, j), up);
  const __m128d mhi = _mm_mul_pd(fetch(tab.minusHi, j), down);
  const __m128d mlo = _mm_mul_pd(fetch(tab.minusLo, j), down);
  const __m128d ahi = _mm_sub_pd(phi, mhi);
  const __m128d alo = _mm_add_pd(_mm_sub_pd(plo, mlo), _mm_sub_pd(_mm_sub_pd(phi, ahi), mhi));  // exact: phi >= mhi
  const __m128d b = _mm_add_pd(phi, mhi);
  const __m128d z = _mm_mul_pd(r, r);
  const __m128d sr = _mm_mul_pd(_mm_mul_pd(r, z), _mm_add_pd(c.s3, _mm_mul_pd(z, _mm_add_pd(c.s5, _mm_mul_pd(z, c.s7)))));
  const __m128d cp = _mm_add_pd(c.c4, _mm_mul_pd(z, _mm_add_pd(c.c6, _mm_mul_pd(z, c.c8))));
  const __m128d cr = _mm_mul_pd(z, _mm_add_pd(c.c2, _mm_mul_pd(z, cp)));
  if constexpr (!Split) {
    // Near a = ln2/32, where A and B r nearly cancel, every part of A + B r
    // counts: B's rounding error, the product B r and the sum A + B r are
    // carried exactly into the small terms.
    const __m128d blo = _mm_add_pd(_mm_add_pd(_mm_sub_pd(phi, b), mhi), _mm_add_pd(plo, mlo));
    const DD p = two_prod(b, r);
    const DD s = two_sum(ahi, p.hi);
    const __m128d tail = _mm_add_pd(
        _mm_add_pd(_mm_add_pd(_mm_add_pd(s.lo, p.lo), _mm_mul_pd(blo, r)), alo),
        _mm_add_pd(_mm_mul_pd(ahi, cr), _mm_mul_pd(b, sr)));
    return _mm_add_pd(s.hi, tail);
  } else {
    // A + (low parts + A (cosh r - 1) + B (sinh r - r) + B r), smallest first.
    const __m128d inner =
        _mm_add_pd(_mm_add_pd(_mm_add_pd(alo, _mm_mul_pd(ahi, cr)), _mm_mul_pd(b, sr)), _mm_mul_pd(b, r));
    return _mm_add_pd(ahi, inner);
  }
}

// sinh a for 0 <= a < 669.8 at LA and EP, with no table: a = k ln2 + r, k an
// integer, |r| <= ln2/2 (a little more where a log2e rounds across a half),
// H = 2^(k-1) and L = 2^(-k-1) from the bits of k, d = H - L, s = H + L, and
//   sinh a = d + (d (cosh r - 1) + s sinh r),
// the Taylor series of cosh r - 1 to r^12 and of sinh r to r^13 (the first
// terms left out are below 2^-57 of the result). For k = 0, d is 0 and s is 1:
// sinh a is sinh r itself. The worst case is k = 1 near a = ln2/2, where d
// and s sinh r cancel to half of d (the difference exact by Sterbenz): about
// 2 ulp. Every step is a full-width vector operation: no row to fetch.
struct DSinhLAConst {
  __m128d log2e, shift, l1, l2, c2, c4, c6, c8, c10, c12, s3, s5, s7, s9, s11, s13;
  I2 half;
};
alignas(16) const DSinhLAConst kDSinhLA = {
    .log2e = dc(1.4426950408889634),     // log2 e
    .shift = dc(6755399441055744.0),     // 1.5 * 2^52: rounds a log2e to an integer k in the low bits
    .l1 = dc(0.69314718055829871),       // ln2, high 36 bits: k l1 is exact
    .l2 = dc(1.6465949582897082e-12),    // ln2 - l1
    .c2 = dc(1.0 / 2),                   // cosh r - 1 = z (c2 + z (c4 + ... + z c12)), z = r^2
    .c4 = dc(1.0 / 24),
    .c6 = dc(1.0 / 720),
    .c8 = dc(1.0 / 40320),
    .c10 = dc(1.0 / 3628800),
    .c12 = dc(1.0 / 479001600),
    .s3 = dc(1.0 / 6),                   // sinh r = r + r z (s3 + z (s5 + ... + z s13))
    .s5 = dc(1.0 / 120),
    .s7 = dc(1.0 / 5040),
    .s9 = dc(1.0 / 362880),
    .s11 = dc(1.0 / 39916800),
    .s13 = dc(1.0 / 6227020800.0),
    .half = i2(0x3FE0000000000000ll),    // the bits of 0.5
};

inline __m128d sinh_la(__m128d a) {
  const DSinhLAConst& c = kDSinhLA;
  const __m128d t = _mm_add_pd(_mm_mul_pd(a, c.log2e), c.shift);
  const __m128d k = _mm_sub_pd(t, c.shift);
  const __m128d r = _mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(k, c.l1)), _mm_mul_pd(k, c.l2));
  const __m128i kb = _mm_slli_epi64(_mm_castpd_si128(t), 52);  // k << 52 (k <= 967)
  const __m128d h = _mm_castsi128_pd(_mm_add_epi64(iv(c.half), kb));
  const __m128d l = _mm_castsi128_pd(_mm_sub_epi64(iv(c.half), kb));
  const __m128d d = _mm_sub_pd(h, l), s = _mm_add_pd(h, l);
  const __m128d z = _mm_mul_pd(r, r);
  __m128d e = _mm_add_pd(c.c10, _mm_mul_pd(z, c.c12));
  __m128d o = _mm_add_pd(c.s11, _mm_mul_pd(z, c.s13));
  e = _mm_add_pd(c.c8, _mm_mul_pd(z, e));
  o = _mm_add_pd(c.s9, _mm_mul_pd(z, o));
  e = _mm_add_pd(c.c6, _mm_mul_pd(z, e));
  o = _mm_add_pd(c.s7, _mm_mul_pd(z, o));
  e = _mm_add_pd(c.c4, _mm_mul_pd(z, e));
  o = _mm_add_pd(c.s5, _mm_mul_pd(z, o));
  e = _mm_mul_pd(z, _mm_add_pd(c.c2, _mm_mul_pd(z, e)));                        // cosh r - 1
  o = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), _mm_add_pd(c.s3, _mm_mul_pd(z, o))));  // sinh r
  return _mm_add_pd(d, _mm_add_pd(_mm_mul_pd(d, e), _mm_mul_pd(s, o)));
}

// Scalar function of dSinh at every level.
int dsinh_scalar(const double* in, double* out) {
  const double x = *in;
  const unsigned e = static_cast<unsigned>(ubits(x) >> 52) & 0x7FF;
  if (e == 0x7FF) {
    *out = x + x;
    return 0;
  }
  if (e == 0) {
    *out = x * 0x1p-1022 + x;  // a denormal or zero: itself, with underflow raised for a denormal
    return 0;
  }
  if (e < 0x3CA) {
    *out = x * 1.0;
    return 0;
  }
  const double ax = std::fabs(x);
  if (ax >= 710.475860073944) {
    *out = x * DBL_MAX;  // an infinity of x's sign, with overflow raised
    return 3;
  }
  const double y = lane([](__m128d v) { return sinh_abs<true>(v); }, ax) * 4.0;
  *out = std::copysign(y, x);
  return std::isinf(y) ? 3 : 0;
}

// Flagged lanes of |x| from the flag limit up to just below the overflow
// limit 710.475860073944 (high word 0x408633CE).
constexpr Range32 kDSinhWide = range32(0x4084EE34u, 0x408633CDu);

// A vector with flagged lanes first settles those of the wide range in place,
// by the very split arithmetic of the scalar function (the same bits); only
// NaN, infinities, tiny lanes and those at the overflow limit and beyond
// reach the scalar function.
template <bool Full>
struct DSinhP : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vdSinh";
  static __m128d eval(__m128d x, __m128d& special) {
    const __m128i hw = abs_high_words(x);
    special = _mm_castsi128_pd(outside(hw, kDSinhRange));
    const __m128d ax = abs_of(x);
    // Flagged lanes compute on 0, so that no tiny or huge lane raises a flag.
    const __m128d a = _mm_andnot_pd(special, ax);
    __m128d y = Full ? sinh_abs(a) : sinh_la(a);
    if (__builtin_expect(_mm_movemask_pd(special) != 0, 0)) {
      const __m128d wide = _mm_andnot_pd(_mm_castsi128_pd(outside(hw, kDSinhWide)), special);
      if (_mm_movemask_pd(wide) != 0) {
        const __m128d split = _mm_mul_pd(sinh_abs<true>(_mm_and_pd(wide, ax)), _mm_set1_pd(4.0));
        y = _mm_or_pd(_mm_and_pd(wide, split), _mm_andnot_pd(wide, y));
        special = _mm_andnot_pd(wide, special);
      }
    }
    return _mm_or_pd(y, sign_of(x));
  }
  static int scalar(const double* a, double* r) { return dsinh_scalar(a, r); }
};

// ---- dCosh -----------------------------------------------------------------------

struct DCoshConst {
  __m128d log2e, shift, l1, l2, c3, c4, c5, half;
};
alignas(16) const DCoshConst kDCosh = {
    .log2e = dc(1.4426950408889634),      // log2 e
    .shift = dc(52776558133248.0),        // 1.5 * 2^45, whose ulp is 1/128: k = m + j/128
    .l1 = dc(0.69314718055829871),        // ln2, high 36 bits: k l1 is exact while 128 k < 2^17
    .l2 = dc(1.6465949582897082e-12),     // ln2 - l1
    .c3 = dc(0.16666666666667068),        // e^r - 1 = r + z/2 + c3 r^3 + c4 z^2 + c5 r^5
    .c4 = dc(0.041666676847894581),       //
    .c5 = dc(0.0083333338154500513),      //
    .half = dc(0.5),                      //
};

// Lanes above about 707.69983 (high word 0x40861D99), NaN and infinities,
// and below 2^-53, where cosh rounds to 1 (the scalar function's |x| + 1).
constexpr Range32 kDCoshRange = range32(0x3CA00000u, 0x40861D99u);

// cosh a for 0 <= a <= 707.7: P e^r + M e^-r with e^(+-r) - 1 = E +- O,
// E and O the even and odd parts.
inline __m128d cosh_abs(__m128d a) {
  const DCoshConst& c = kDCosh;
  __m128d t;
  const __m128d r = reduce_ln2(a, c, t);
  unsigned j[2];
  rows2(t, 127, j);
  __m128d up, down;
  pow2_pair_cut<7>(t, up, down);
  const double* r0 = coshTable128[j[0]];
  const double* r1 = coshTable128[j[1]];
  const __m128d phi = _mm_mul_pd(_mm_loadh_pd(_mm_load_sd(r0), r1), up);
  const __m128d plo = _mm_mul_pd(_mm_loadh_pd(_mm_load_sd(r0 + 1), r1 + 1), up);
  const __m128d m = _mm_mul_pd(_mm_loadh_pd(_mm_load_sd(r0 + 2), r1 + 2), down);
  const __m128d z = _mm_mul_pd(r, r);
  const __m128d ev = _mm_mul_pd(z, _mm_add_pd(c.half, _mm_mul_pd(z, c.c4)));
  const __m128d od = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), _mm_add_pd(c.c3, _mm_mul_pd(z, c.c5))));
  const DD s = fast_two_sum(phi, m);  // phi >= 0.5 >= m
  const __m128d inner = _mm_add_pd(_mm_add_pd(_mm_add_pd(s.lo, plo), _mm_mul_pd(m, _mm_sub_pd(ev, od))),
                                   _mm_mul_pd(phi, _mm_add_pd(od, ev)));
  return _mm_add_pd(s.hi, inner);
}

// Scalar function of dCosh (coshScalarFull).
int dcosh_scalar(const double* in, double* out) {
  const double x = *in;
  const unsigned e = static_cast<unsigned>(ubits(x) >> 52) & 0x7FF;
  if (e == 0x7FF) {
    *out = x * x;
    return 0;
  }
  const double ax = std::fabs(x);
  if (e < 0x3CA) {
    *out = ax + 1.0;
    return 0;
  }
  if (ax >= 710.475860073944) {
    *out = overflow_d();
    return 3;
  }
  if (ax > 707.0) {
    // e^-a is below 2^-2000 of the result here: cosh a = sinh a, formed as
    // (value 2^(m-2)) 4 so that no false overflow occurs.
    const double y = lane([](__m128d v) { return sinh_abs<true>(v); }, ax) * 4.0;
    *out = y;
    return std::isinf(y) ? 3 : 0;
  }
  *out = lane(cosh_abs, ax);
  return 0;
}

struct DCoshP : Blocks<double, 8> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = "vdCosh";
  static __m128d eval(__m128d x, __m128d& special) {
    const __m128i hw = abs_high_words(x);
    special = _mm_castsi128_pd(outside(hw, kDCoshRange));
    return cosh_abs(_mm_andnot_pd(special, abs_of(x)));  // flagged lanes compute on 0: no flag
  }
  static int scalar(const double* a, double* r) { return dcosh_scalar(a, r); }
};

// ---- sSinh, sCosh ------------------------------------------------------------------
//
// HA in double, two lanes at a time, from the 128-row table: the double
// arithmetic leaves errors far below a single's ulp. LA and EP in single
// arithmetic, four lanes at a time (hyp_single.h).

struct SHypConst {
  __m128d log2e, shift, l1, l2, s3, s5, c2, c4;
};
alignas(16) const SHypConst kSHyp = {
    .log2e = dc(1.4426950408889634),  // log2 e
    .shift = dc(52776558133248.0),    // 1.5 * 2^45: steps of 1/128
    .l1 = dc(0.69314718055829871),    // ln2, high part
    .l2 = dc(1.6465949582897082e-12), // ln2, low part
    .s3 = dc(1.0 / 6.0),              // sinh r = r + r^3/6 + r^5/120, |r| <= ln2/256
    .s5 = dc(1.0 / 120.0),            //
    .c2 = dc(0.5),                    // cosh r - 1 = r^2/2 + r^4/24
    .c4 = dc(1.0 / 24.0),             //
};

// |x| of a single above 89 (sinh and cosh overflow at 89.41599), NaN, infinities.
constexpr I4 kSHypBound = i4(0x42B20000);

// sinh a (Cosh false) or cosh a (Cosh true) for 0 <= a <= 89.5 in double:
// degree 5 for sinh r, 4 for cosh r - 1.
template <bool Cosh>
inline __m128d sinhcosh_d(__m128d a) {
  const SHypConst& c = kSHyp;
  __m128d t;
  const __m128d r = reduce_ln2(a, c, t);
  unsigned j[2];
  rows2(t, 127, j);
  __m128d up, down;
  pow2_pair<7>(t, up, down);
  const double* r0 = coshTable128[j[0]];
  const double* r1 = coshTable128[j[1]];
  __m128d p = _mm_add_pd(_mm_loadh_pd(_mm_load_sd(r0), r1), _mm_loadh_pd(_mm_load_sd(r0 + 1), r1 + 1));
  p = _mm_mul_pd(p, up);
  const __m128d m = _mm_mul_pd(_mm_loadh_pd(_mm_load_sd(r0 + 2), r1 + 2), down);
  const __m128d z = _mm_mul_pd(r, r);
  const __m128d sr = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), _mm_add_pd(c.s3, _mm_mul_pd(z, c.s5))));
  const __m128d cr = _mm_mul_pd(z, _mm_add_pd(c.c2, _mm_mul_pd(z, c.c4)));
  // sinh a = A cosh r + B sinh r with A = P - M, B = P + M; cosh swaps them.
  const __m128d diff = _mm_sub_pd(p, m), sum = _mm_add_pd(p, m);
  const __m128d aa = Cosh ? sum : diff, bb = Cosh ? diff : sum;
  return _mm_add_pd(aa, _mm_add_pd(_mm_mul_pd(aa, cr), _mm_mul_pd(bb, sr)));
}

// Scalar functions of sSinh and sCosh, every level: the HA arithmetic, with
// overflow and the IEEE results of NaN and infinities.
template <bool Cosh>
int shyp_scalar(const float* in, float* out) {
  const float x = *in;
  if (std::isnan(x) || std::isinf(x)) {
    *out = Cosh ? x * x : x + x;
    return 0;
  }
  const float ax = std::fabs(x);
  if (ax > 89.5f) {
    *out = Cosh ? overflow_f() : std::copysign(overflow_f(), x);
    return 3;
  }
  const double y = lane([](__m128d v) { return sinhcosh_d<Cosh>(v); }, ax);
  if (y > static_cast<double>(FLT_MAX) * (1.0 + 0x1p-25)) {  // rounds past the largest single
    *out = Cosh ? overflow_f() : std::copysign(overflow_f(), x);
    return 3;
  }
  *out = Cosh ? static_cast<float>(y) : std::copysign(static_cast<float>(y), x);
  return 0;
}

// LA and EP: lanes below 2^-28 or above 89.0, NaN and infinities are special
// and compute on 0 instead, so that nothing raises a flag.
constexpr Range32 kSHypSingleRange = range32(kTinyBits, 0x42B20000u);

template <Level L, bool Cosh>
struct SHypSingle : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = Cosh ? "vsCosh" : "vsSinh";
  static __m128 one(__m128 x, __m128& special) {
    const __m128 ax = abs_of(x);
    special = fv(outside(_mm_castps_si128(ax), kSHypSingleRange));
    const __m128 y = hyp_value<Cosh>(hyp_parts<L>(_mm_andnot_ps(special, ax)));
    return Cosh ? y : _mm_or_ps(y, sign_of(x));
  }
  static int scalar(const float* a, float* r) { return shyp_scalar<Cosh>(a, r); }
};
template <Level L, bool Cosh>
using SHypSingleP = BlockOf<SHypSingle<L, Cosh>>;

template <bool Cosh>
struct SHypHAP : Blocks<float, 16> {
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // polynomial row
  static constexpr const char* kName = Cosh ? "vsCosh" : "vsSinh";
  static __m128 eval(__m128 x, __m128& special) {
    const __m128 ax = abs_of(x);
    special = fv(_mm_cmpgt_epi32(_mm_castps_si128(ax), iv(kSHypBound)));
    const __m128 y = narrow(sinhcosh_d<Cosh>(widen_lo(ax)), sinhcosh_d<Cosh>(widen_hi(ax)));
    return Cosh ? y : _mm_or_ps(y, sign_of(x));
  }
  static int scalar(const float* a, float* r) { return shyp_scalar<Cosh>(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

// dSinh: HA, and LA with EP; dCosh: one kernel; single rows: three each.
ZEV_KERNELS(dSinh, ha, DSinhP<true>)
ZEV_KERNELS(dSinh, laep, DSinhP<false>)
ZEV_KERNELS(dCosh, lahaep, DCoshP)
ZEV_KERNELS(sSinh, ha, SHypHAP<false>)
ZEV_KERNELS(sSinh, la, SHypSingleP<Level::LA, false>)
ZEV_KERNELS(sSinh, ep, SHypSingleP<Level::EP, false>)
ZEV_KERNELS(sCosh, ha, SHypHAP<true>)
ZEV_KERNELS(sCosh, la, SHypSingleP<Level::LA, true>)
ZEV_KERNELS(sCosh, ep, SHypSingleP<Level::EP, true>)
