// Complex Add, Sub, Conj, Mul and MulByConj, single and double.
//
// Each kernel's vector path is trusted only where a range test proves it
// exact to its level; any other element goes to the scalar function, which
// alone reports a status.
#include <emmintrin.h>

#include "vector/common/consts.h"
#include "vector/common/exact.h"
#include "vector/common/flag_hold.h"
#include "vector/common/range.h"
#include "vector/complex/ckernel.h"
#include "vector/complex/scalar.h"
#include "vector/vops.h"

namespace zev::vk::cx {
namespace {

struct TestConst {
  __m128 s_exp;   // exponent field of a single
  __m128d z_exp;  // exponent field of a double's high word, in every word
};
inline constexpr TestConst kTest = {.s_exp = u4(0x7F800000u), .z_exp = w2(0x7FF00000u)};

// The elements of a block with an infinite or NaN part. The masked exponent
// fields are non-negative 16-bit words in the upper half of each word, so a
// 16-bit signed maximum folds the block's vectors into one before the single
// compare and mask move of the common case; the element bits are worked out
// only when some lane is hit.
inline unsigned not_finite_elems(const __m128 (&r)[2]) {
  const __m128i e = bits(kTest.s_exp);
  const __m128i e0 = _mm_and_si128(bits(r[0]), e), e1 = _mm_and_si128(bits(r[1]), e);
  if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_max_epi16(e0, e1), e)) == 0) return 0;
  return elem_mask(_mm_castsi128_ps(_mm_cmpeq_epi32(e0, e))) |
         (elem_mask(_mm_castsi128_ps(_mm_cmpeq_epi32(e1, e))) << 2);
}
inline unsigned not_finite_elems(const __m128d (&r)[4]) {
  const __m128i e = bits(kTest.z_exp);
  const __m128i e01 = _mm_and_si128(high_words2(r[0], r[1]), e);
  const __m128i e23 = _mm_and_si128(high_words2(r[2], r[3]), e);
  if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_max_epi16(e01, e23), e)) == 0) return 0;
  const unsigned lanes = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(e01, e)))) |
                         (static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(e23, e)))) << 4);
  return pairs_to_elems(lanes);
}

// ---- Add and Sub ---------------------------------------------------------------

// a + b with a the instruction's first operand: of two NaN lanes SSE returns
// the first, and a plain + leaves the order to the compiler, which picked it
// differently for the plain and the strided loop. With the scalar function's
// nan_sum, every form and level gives a's NaN.
inline __m128d add_first(__m128d a, __m128d b) {
  __asm__("addpd %1, %0" : "+x"(a) : "x"(b));
  return a;
}
inline __m128 add_first(__m128 a, __m128 b) {
  __asm__("addps %1, %0" : "+x"(a) : "x"(b));
  return a;
}

// HA and LA: one IEEE operation a part; an element with an infinite or NaN
// part goes to the scalar function, which reports an overflow of finite
// inputs. EP: no test.
template <class R_, bool Sub, bool Test>
struct AddSub {
  using R = R_;
  using C = typename CplxOf<R>::type;
  using V = typename Vec<R>::V;
  static constexpr int N = kVecs<R>;
  static constexpr bool kCallout = Test;
  static constexpr bool kPrefetch = false;
  static constexpr const char* kName = sizeof(R) == 4 ? (Sub ? "vcSub" : "vcAdd") : (Sub ? "vzSub" : "vzAdd");
  static unsigned eval(const V (&a)[N], const V (&b)[N], V (&r)[N]) {
    for (int k = 0; k < N; ++k) r[k] = Sub ? sub(a[k], b[k]) : add_first(a[k], b[k]);
    if constexpr (Test) return not_finite_elems(r); else return 0;
  }
  static int scalar(const C* a, const C* b, C* r) { return addsub_full(a, b, r, Sub); }
};

// ---- Conj ----------------------------------------------------------------------

template <class R_>
struct ConjP {
  using R = R_;
  using C = typename CplxOf<R>::type;
  using V = typename Vec<R>::V;
  static constexpr int N = kVecs<R>;
  static constexpr int kIn = 1;
  static constexpr bool kCallout = false;
  static constexpr bool kPrefetch = false;
  static constexpr const char* kName = sizeof(R) == 4 ? "vcConj" : "vzConj";
  static unsigned eval(const V (&a)[N], const V (&)[N], V (&r)[N]) {
    const V sign = sizeof(R) == 4 ? V(_mm_castsi128_ps(_mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0)))
                                  : V(_mm_castsi128_pd(_mm_set_epi64x(INT64_MIN, 0)));
    for (int k = 0; k < N; ++k) r[k] = xor_(a[k], sign);
    return 0;
  }
  static int scalar(const C*, const C*, C*) { return 0; }
};

// ---- Mul and MulByConj ------------------------------------------------------------

struct MulConst {
  Range32 z_ha;       // double parts within [2^-459, 2^510.5]: no product over- or underflows
  __m128d d_cancel;        // 2^-20: EP cancellation bound, double
  __m128 s_cancel;        // 2^-10: EP cancellation bound, single
  __m128d d_abs;           // sign-clear mask, double
  __m128 s_abs;           // sign-clear mask, single
};
inline constexpr MulConst kMul = {
    .z_ha = range32_abs(0x23400000u, 0x5FD6A09Du),
    .d_cancel = q2(0x3EB0000000000000ull),
    .s_cancel = u4(0x3A800000u),
    .d_abs = q2(0x7FFFFFFFFFFFFFFFull),
    .s_abs = u4(0x7FFFFFFFu),
};

// zMul at HA and LA: exact products from halves cut once by a mask, a double sum for each
// part with Fast2Sum on the leading terms, low parts added from low to high,
// so that cancellation cannot lose the result. Parts outside the range go to
// the scalar function: zeros, subnormals, huge parts, infinities and NaN.
template <bool Conj>
struct ZMulHA {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr const char* kName = Conj ? "vzMulByConj" : "vzMul";
  // Within the range nothing over- or underflows: every flag but inexact
  // comes from a flagged element.
  static constexpr uint32_t kDropFlags = kFlagsExact;
  static V part(V ph, V pl, V qh, V ql) {  // (ph + pl) + (qh + ql)
    const DD s = two_sum(ph, qh);
    return _mm_add_pd(s.hi, _mm_add_pd(s.lo, _mm_add_pd(pl, ql)));
  }
  static unsigned eval(const V (&a)[4], const V (&b)[4], V (&r)[4]) {
    // The range test of the block: the high words of all sixteen parts in
    // four vectors, one compare each, two mask moves.
    unsigned lanes = 0;
    for (int h = 0; h < 2; ++h) {
      const __m128i out = _mm_or_si128(outside_abs(high_words2(a[2 * h], a[2 * h + 1]), kMul.z_ha),
                                       outside_abs(high_words2(b[2 * h], b[2 * h + 1]), kMul.z_ha));
      lanes |= static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(out))) << (4 * h);
    }
    for (int h = 0; h < 2; ++h) {
      V ar, ai, br, bi;
      split_parts(a[2 * h], a[2 * h + 1], ar, ai);
      split_parts(b[2 * h], b[2 * h + 1], br, bi);
      if (Conj) bi = _mm_xor_pd(bi, _mm_set1_pd(-0.0));
      const Halves xr = halves(ar), xi = halves(ai), yr = halves(br), yi = halves(bi);
      const DD ac = prod(xr, yr), bd = prod(xi, yi), ad = prod(xr, yi), bc = prod(xi, yr);
      const V re = part(ac.hi, ac.lo, _mm_xor_pd(bd.hi, _mm_set1_pd(-0.0)), _mm_xor_pd(bd.lo, _mm_set1_pd(-0.0)));
      const V im = part(ad.hi, ad.lo, bc.hi, bc.lo);
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return pairs_to_elems(lanes);
  }
  static int scalar(const C* a, const C* b, C* r) { return zmul_full(a, b, r, Conj); }
};

// EP, both precisions: plain products, and an element whose part p - q or
// p + q is not above max(|p|, |q|) times the cancellation bound (a loss of
// more bits than EP keeps; also zero, infinite and NaN parts) goes to the
// scalar function.
template <class R_, bool Conj>
struct MulEP {
  using R = R_;
  using C = typename CplxOf<R>::type;
  using V = typename Vec<R>::V;
  static constexpr int N = kVecs<R>;
  static constexpr const char* kName = sizeof(R) == 4 ? (Conj ? "vcMulByConj" : "vcMul")
                                                      : (Conj ? "vzMulByConj" : "vzMul");
  static V vabs(V x) {
    if constexpr (sizeof(R) == 4) return and_(x, kMul.s_abs); else return and_(x, kMul.d_abs);
  }
  static V bound() {
    if constexpr (sizeof(R) == 4) return kMul.s_cancel; else return kMul.d_cancel;
  }
  // Flagged where not (max(|p|, |q|) * bound < |s|): NaN compares false.
  static V lossy(V p, V q, V s) {
    V m;
    if constexpr (sizeof(R) == 4) m = _mm_max_ps(vabs(p), vabs(q)); else m = _mm_max_pd(vabs(p), vabs(q));
    const V ok = cmplt(mul(m, bound()), vabs(s));
    return andnot(ok, Vec<R>::ones());
  }
  static unsigned eval(const V (&a)[N], const V (&b)[N], V (&r)[N]) {
    unsigned mask = 0;
    for (int h = 0; h < N / 2; ++h) {
      V ar, ai, br, bi;
      split_parts(a[2 * h], a[2 * h + 1], ar, ai);
      split_parts(b[2 * h], b[2 * h + 1], br, bi);
      if (Conj) bi = xor_(bi, Vec<R>::set1(R(-0.0)));
      const V ac = mul(ar, br), bd = mul(ai, bi), ad = mul(ar, bi), bc = mul(ai, br);
      const V re = sub(ac, bd), im = add(ad, bc);
      mask |= soa_mask(or_(lossy(ac, bd, re), lossy(ad, bc, im))) << (h * Vec<R>::kLanes);
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const C* a, const C* b, C* r) {
    if constexpr (sizeof(R) == 4) return cmul_full(a, b, r, Conj); else return zmul_full(a, b, r, Conj);
  }
};

// cMul at HA and LA: the products and sums in double, one rounding to single.
// Products of singles are exact in double, so no cancellation can arise; an
// element whose single result is infinite or NaN goes to the scalar function,
// which reports an overflow of finite inputs.
template <bool Conj>
struct CMulHA {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr const char* kName = Conj ? "vcMulByConj" : "vcMul";
  // Finite inputs make no NaN: an invalid product (an infinity times zero)
  // is a flagged element's, which the scalar function may recover.
  static constexpr uint32_t kDropFlags = kFlagInvalid;
  static unsigned eval(const V (&a)[2], const V (&b)[2], V (&r)[2]) {
    // Separate real and imaginary parts, each four elements, widened in two
    // halves: (a + ib)(c + id) = (ac - bd) + i(bc + ad), and with conj(c + id)
    // (ac + bd) + i(bc - ad).
    V ar, ai, br, bi;
    split_parts(a[0], a[1], ar, ai);
    split_parts(b[0], b[1], br, bi);
    __m128 re[2], im[2];
    for (int h = 0; h < 2; ++h) {
      const __m128d x = _mm_cvtps_pd(h ? _mm_movehl_ps(ar, ar) : ar), y = _mm_cvtps_pd(h ? _mm_movehl_ps(ai, ai) : ai);
      const __m128d c = _mm_cvtps_pd(h ? _mm_movehl_ps(br, br) : br), d = _mm_cvtps_pd(h ? _mm_movehl_ps(bi, bi) : bi);
      const __m128d ac = _mm_mul_pd(x, c), bd = _mm_mul_pd(y, d), bc = _mm_mul_pd(y, c), ad = _mm_mul_pd(x, d);
      re[h] = _mm_cvtpd_ps(Conj ? _mm_add_pd(ac, bd) : _mm_sub_pd(ac, bd));
      im[h] = _mm_cvtpd_ps(Conj ? _mm_sub_pd(bc, ad) : _mm_add_pd(bc, ad));
    }
    const V rr = _mm_movelh_ps(re[0], re[1]), ri = _mm_movelh_ps(im[0], im[1]);
    join_parts(rr, ri, r[0], r[1]);
    // A lane a part: the element bits come straight from one mask move.
    const __m128i e = bits(kTest.s_exp);
    const __m128i m = _mm_max_epi16(_mm_and_si128(bits(rr), e), _mm_and_si128(bits(ri), e));
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(m, e))));
  }
  static int scalar(const C* a, const C* b, C* r) { return cmul_full(a, b, r, Conj); }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zAdd, laha, AddSub<double, false, true>)
ZEV_CKERNELS(zAdd, ep, AddSub<double, false, false>)
ZEV_CKERNELS(cAdd, laha, AddSub<float, false, true>)
ZEV_CKERNELS(cAdd, ep, AddSub<float, false, false>)
ZEV_CKERNELS(zSub, laha, AddSub<double, true, true>)
ZEV_CKERNELS(zSub, ep, AddSub<double, true, false>)
ZEV_CKERNELS(cSub, laha, AddSub<float, true, true>)
ZEV_CKERNELS(cSub, ep, AddSub<float, true, false>)
ZEV_CKERNELS(zConj, lahaep, ConjP<double>)
ZEV_CKERNELS(cConj, lahaep, ConjP<float>)
ZEV_CKERNELS(zMul, laha, ZMulHA<false>)
ZEV_CKERNELS(zMul, ep, MulEP<double, false>)
ZEV_CKERNELS(zMulByConj, laha, ZMulHA<true>)
ZEV_CKERNELS(zMulByConj, ep, MulEP<double, true>)
ZEV_CKERNELS(cMul, laha, CMulHA<false>)
ZEV_CKERNELS(cMul, ep, MulEP<float, false>)
ZEV_CKERNELS(cMulByConj, laha, CMulHA<true>)
ZEV_CKERNELS(cMulByConj, ep, MulEP<float, true>)
