// NextAfter, CopySign, Fdim, Fmax, Fmin, MaxMag, MinMag and Modf, single and
// double: exact at every level, one kernel for all.
//
// Quiet NaN against a number gives the number in Fmax, Fmin, MaxMag and
// MinMag; two NaNs or a signalling one give a + b (the first NaN, quieted).
// Zeros of both signs compare equal, and then the second operand is the
// result, as maxps/minps give it. MaxMag and MinMag compare magnitudes first
// and fall back to Fmax and Fmin on equal magnitudes.
#include "vector/algebra/common.h"
#include "vector/shape2.h"

namespace zev::vk::rem {
namespace {

using alg::C2;
using alg::C4;
using alg::d2;
using alg::f4;
using alg::q2;
using alg::u4;

struct Const {
  C4 fsign, fmagic, fone, fexp, fmax_bits;
  C2 dsign, dmagic, done, dexp, dmax_hi;
};
constexpr Const kC = {u4(0x80000000u), f4(8388608.0f), f4(1.0f), u4(0x7F800000u), u4(0x7F7FFFFFu),
                      q2(0x8000000000000000ull), d2(4503599627370496.0), d2(1.0), q2(0x7FF0000000000000ull),
                      alg::w2(0x7FEFFFFFu)};

template <class T> struct K;
template <> struct K<float> {
  using V = __m128;
  static V sign() { return kC.fsign.ps(); }
  static V magic() { return kC.fmagic.ps(); }
  static V one() { return kC.fone.ps(); }
  // Lanes whose exponent field is all ones.
  static V inf_or_nan(V x) { return _mm_castsi128_ps(_mm_cmpgt_epi32(alg::abs_bits(x), kC.fmax_bits.i())); }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
  static __m128i one_i() { return _mm_set1_epi32(1); }
  static V max(V a, V b) { return _mm_max_ps(a, b); }
  static V min(V a, V b) { return _mm_min_ps(a, b); }
  static V unord(V a, V b) { return _mm_cmpunord_ps(a, b); }
  static V cmplt(V a, V b) { return _mm_cmplt_ps(a, b); }
  static V cmple(V a, V b) { return _mm_cmple_ps(a, b); }
  static V cmpeq(V a, V b) { return _mm_cmpeq_ps(a, b); }
  static V cmpneq(V a, V b) { return _mm_cmpneq_ps(a, b); }
  static V zero() { return _mm_setzero_ps(); }
};
template <> struct K<double> {
  using V = __m128d;
  static V sign() { return kC.dsign.pd(); }
  static V magic() { return kC.dmagic.pd(); }
  static V one() { return kC.done.pd(); }
  static V inf_or_nan(V x) {
    return _mm_castsi128_pd(_mm_cmpgt_epi32(alg::abs_high_words(x), kC.dmax_hi.i()));
  }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi64(a, b); }
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi64(a, b); }
  static __m128i one_i() { return _mm_set1_epi64x(1); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V unord(V a, V b) { return _mm_cmpunord_pd(a, b); }
  static V cmplt(V a, V b) { return _mm_cmplt_pd(a, b); }
  static V cmple(V a, V b) { return _mm_cmple_pd(a, b); }
  static V cmpeq(V a, V b) { return _mm_cmpeq_pd(a, b); }
  static V cmpneq(V a, V b) { return _mm_cmpneq_pd(a, b); }
  static V zero() { return _mm_setzero_pd(); }
};

template <class T_, bool Callout>
struct Base {
  using T = T_;
  using V = typename K<T>::V;
  static constexpr int kBlock = sizeof(T) == 4 ? 8 : 4;
  static constexpr int kBlockI = kBlock;
  static constexpr bool kSignedCount = true;
  static constexpr bool kCallout = Callout;
};

template <class T>
bool signalling(T x) {
  if (!alg::is_nan(x)) return false;
  if constexpr (sizeof(T) == 4) {
    uint32_t u;
    memcpy(&u, &x, 4);
    return !(u & 0x00400000u);
  } else {
    uint64_t u;
    memcpy(&u, &x, 8);
    return !(u & 0x0008000000000000ull);
  }
}

// The NaN lanes of the max and min family.
template <class T>
int nan_pair(const T* pa, const T* pb, T* r) {
  const T a = *pa, b = *pb;
  if (signalling(a) || signalling(b) || (alg::is_nan(a) && alg::is_nan(b)))
    *r = alg::nan_sum(a, b);
  else
    *r = alg::is_nan(a) ? b : a;
  return 0;
}

// ---- CopySign -------------------------------------------------------------------------
template <class T>
struct CopySignP : Base<T, false> {
  using V = typename K<T>::V;
  static V eval(V a, V b, V&) { return or_(andnot(K<T>::sign(), a), and_(K<T>::sign(), b)); }
};

// ---- Fmax, Fmin, MaxMag, MinMag -----------------------------------------------------------
enum class Pick { Max, Min, MaxMag, MinMag };

template <class T, Pick p>
struct PickP : Base<T, true> {
  using V = typename K<T>::V;
  static constexpr const char* kName = sizeof(T) == 4 ? (p == Pick::Max      ? "vsFmax"
                                                         : p == Pick::Min    ? "vsFmin"
                                                         : p == Pick::MaxMag ? "vsMaxMag"
                                                                             : "vsMinMag")
                                                      : (p == Pick::Max      ? "vdFmax"
                                                         : p == Pick::Min    ? "vdFmin"
                                                         : p == Pick::MaxMag ? "vdMaxMag"
                                                                             : "vdMinMag");
  static V eval(V a, V b, V& special) {
    using k = K<T>;
    special = k::unord(a, b);
    if constexpr (p == Pick::Max) return k::max(a, b);
    if constexpr (p == Pick::Min) return k::min(a, b);
    const V aa = andnot(k::sign(), a), ab = andnot(k::sign(), b);
    const V a_big = k::cmplt(ab, aa), b_big = k::cmplt(aa, ab);
    if constexpr (p == Pick::MaxMag) return select(a_big, a, select(b_big, b, k::max(a, b)));
    return select(b_big, a, select(a_big, b, k::min(a, b)));
  }
  static int scalar(const T* a, const T* b, T* r) { return nan_pair(a, b, r); }
};

// ---- Fdim ---------------------------------------------------------------------------------
// a - b where a > b, else +0; a NaN passes through the subtraction. Special:
// results whose exponent field is all ones (overflow, infinite or NaN inputs).
template <class T>
struct FdimP : Base<T, true> {
  using V = typename K<T>::V;
  static constexpr const char* kName = sizeof(T) == 4 ? "vsFdim" : "vdFdim";
  static V eval(V a, V b, V& special) {
    const V r = andnot(K<T>::cmple(a, b), sub(a, b));
    special = K<T>::inf_or_nan(r);
    return r;
  }
  static int scalar(const T* pa, const T* pb, T* r) {
    T a = *pa, b = *pb;
    if (alg::is_nan(a) || alg::is_nan(b)) {
      *r = a - b;
      return 0;
    }
    if (a <= b) {
      *r = 0;
      return 0;
    }
    alg::Flags fl;
    alg::pin(a);
    alg::pin(b);
    T y = a - b;
    alg::pin(y);
    const unsigned f = fl.stop();
    *r = y;
    return alg::status_of(f, y);
  }
};

// ---- NextAfter ----------------------------------------------------------------------------
// On the bits: one step up in magnitude where a moves away from zero, one
// down otherwise; a zero steps to the least subnormal with the sign of b; a
// equal to b gives b. Special: NaN, and results outside the normal range
// from a != b (underflow 4, overflow 3, as the C function signals them).
template <class T>
struct NextAfterP : Base<T, true> {
  using V = typename K<T>::V;
  static constexpr const char* kName = sizeof(T) == 4 ? "vsNextAfter" : "vdNextAfter";
  static V eval(V a, V b, V& special) {
    using k = K<T>;
    const V z = k::zero();
    // away: all ones where the magnitude grows (a < b for positive a).
    const __m128i away = bits(xor_(k::cmplt(a, b), k::cmplt(a, z)));
    const __m128i ia = bits(a);
    // ia + 1 where away, ia - 1 elsewhere: (ia - 1) - 2*away, away being 0 or -1.
    const __m128i stepped = k::sub(k::sub(ia, k::one_i()), k::add(away, away));
    const V tiny = or_(and_(k::sign(), b), cast(k::one_i()));
    V r = select(k::cmpeq(a, z), tiny, cast(stepped));
    const V same = k::cmpeq(a, b);
    r = select(same, b, r);
    special = or_(k::unord(a, b), andnot(same, alg::not_normal(r)));
    return r;
  }
  static V cast(__m128i v) {
    if constexpr (sizeof(T) == 4)
      return _mm_castsi128_ps(v);
    else
      return _mm_castsi128_pd(v);
  }
  static int scalar(const T* pa, const T* pb, T* r) {
    const T a = *pa, b = *pb;
    if (alg::is_nan(a) || alg::is_nan(b)) {
      *r = alg::nan_sum(b, a);  // of two NaNs the second, as the C function gives it
      return 0;
    }
    if (a == b) {
      *r = b;
      return 0;
    }
    T y;
    if (a == 0) {
      y = std::copysign(std::numeric_limits<T>::denorm_min(), b);
    } else {
      using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
      U u;
      memcpy(&u, &a, sizeof a);
      u += ((a < b) == (a > 0)) ? U(1) : U(-1);
      memcpy(&y, &u, sizeof y);
    }
    *r = y;
    if (std::isinf(y)) return 3;
    if (std::fabs(y) < std::numeric_limits<T>::min()) return 4;
    return 0;
  }
};

// ---- Modf -----------------------------------------------------------------------------------
// Integral part by the rounding step t = (|x| + 2^m) - 2^m, one down where it
// rounded up, the sign put back by OR; the fraction is (x - t) OR the sign, so
// a negative integer has a fraction of minus zero. Special: infinities and NaN
// (the exponent field all ones): an infinity gives itself and a zero of its
// sign, a NaN gives x + x twice.
template <class T>
struct ModfP : Base<T, true> {
  using V = typename K<T>::V;
  static constexpr const char* kName = sizeof(T) == 4 ? "vsModf" : "vdModf";
  static V eval(V x, V& frac, V& special) {
    using k = K<T>;
    const V s = and_(x, k::sign());
    const V ax = andnot(k::sign(), x);
    V t = sub(add(ax, k::magic()), k::magic());
    t = select(k::cmplt(ax, t), sub(t, k::one()), t);
    t = or_(t, s);
    const V ip = select(k::cmplt(k::magic(), ax), x, t);
    frac = or_(sub(x, ip), s);
    special = k::inf_or_nan(x);
    return ip;
  }
  static int scalar(const T* a, T* ip, T* frac) {
    const T x = *a;
    if (alg::is_nan(x)) {
      *ip = *frac = x + x;
    } else {
      *ip = x;
      *frac = std::copysign(T(0), x);
    }
    return 0;
  }
};

using sFmaxP = PickP<float, Pick::Max>;
using dFmaxP = PickP<double, Pick::Max>;
using sFminP = PickP<float, Pick::Min>;
using dFminP = PickP<double, Pick::Min>;
using sMaxMagP = PickP<float, Pick::MaxMag>;
using dMaxMagP = PickP<double, Pick::MaxMag>;
using sMinMagP = PickP<float, Pick::MinMag>;
using dMinMagP = PickP<double, Pick::MinMag>;

}  // namespace
}  // namespace zev::vk::rem

using namespace zev::vk;
using namespace zev::vk::rem;

ZEV_BINARY_KERNELS(sCopySign, ha, CopySignP<float>)
ZEV_BINARY_KERNELS(dCopySign, ha, CopySignP<double>)
ZEV_BINARY_KERNELS(sFmax, ha, sFmaxP)
ZEV_BINARY_KERNELS(dFmax, ha, dFmaxP)
ZEV_BINARY_KERNELS(sFmin, ha, sFminP)
ZEV_BINARY_KERNELS(dFmin, ha, dFminP)
ZEV_BINARY_KERNELS(sMaxMag, ha, sMaxMagP)
ZEV_BINARY_KERNELS(dMaxMag, ha, dMaxMagP)
ZEV_BINARY_KERNELS(sMinMag, ha, sMinMagP)
ZEV_BINARY_KERNELS(dMinMag, ha, dMinMagP)
ZEV_BINARY_KERNELS(sFdim, ha, FdimP<float>)
ZEV_BINARY_KERNELS(dFdim, ha, FdimP<double>)
ZEV_BINARY_KERNELS(sNextAfter, ha, NextAfterP<float>)
ZEV_BINARY_KERNELS(dNextAfter, ha, NextAfterP<double>)
ZEV_UNARY2_KERNELS(sModf, ha, ModfP<float>)
ZEV_UNARY2_KERNELS(dModf, ha, ModfP<double>)
