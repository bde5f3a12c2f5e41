// Ceil, Floor, Trunc, Rint, NearbyInt, Round and Frac, single and double.
//
// All rest on one step with no rounding-mode change and no conversion to
// integer: t = (|x| + 2^m) - 2^m rounds |x| to an integer, ties to even, under
// the round-to-nearest the prologue forces. Lanes with |x| above 2^m (and the
// infinities) are integers already and pass through; NaN passes through the
// additions quiet, with its payload and sign. The sign goes back by OR, so a
// small negative input gives minus zero. A conditional step of one is taken as
// t - (mask AND 1.0): where the mask is clear that subtracts +0, which leaves
// every t as it was, minus zero and NaN included.
#include <cmath>
#include <cstring>

#include "vector/shape.h"
#include "vector/vops.h"

namespace zev::vk {
namespace {

template <class T> struct RoundConst;
template <> struct RoundConst<float> {
  static __m128 magic() { return _mm_set1_ps(8388608.0f); }
  static __m128 sign() { return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(0x80000000u))); }
  static __m128 one() { return _mm_set1_ps(1.0f); }
  static __m128 minus_one() { return _mm_set1_ps(-1.0f); }
  static __m128 half() { return _mm_set1_ps(0.5f); }
};
template <> struct RoundConst<double> {
  static __m128d magic() { return _mm_set1_pd(4503599627370496.0); }
  static __m128d sign() { return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0x8000000000000000ull))); }
  static __m128d one() { return _mm_set1_pd(1.0); }
  static __m128d minus_one() { return _mm_set1_pd(-1.0); }
  static __m128d half() { return _mm_set1_pd(0.5); }
};

enum class Op { Ceil, Floor, Trunc, Rint, Round, Frac };

template <class V, class C, Op op>
inline V round_core(V x) {
  const V s = and_(x, C::sign());
  const V ax = andnot(C::sign(), x);
  const V magic = C::magic();
  V t = sub(add(ax, magic), magic);
  const V big = cmplt(magic, ax);
  if constexpr (op == Op::Rint) {
    t = or_(t, s);
    return select(big, x, t);
  } else if constexpr (op == Op::Ceil) {
    // For -1 < x < -0.5 the step up is (-1) - (-1), a plus zero: the sign goes
    // back once more so that every small negative input gives minus zero.
    t = or_(t, s);
    t = or_(sub(t, and_(cmplt(t, x), C::minus_one())), s);
    return select(big, x, t);
  } else if constexpr (op == Op::Floor) {
    t = or_(t, s);
    t = sub(t, and_(cmplt(x, t), C::one()));
    return select(big, x, t);
  } else if constexpr (op == Op::Round) {
    V u = select(big, ax, t);
    const V d = sub(ax, u);
    u = add(u, and_(cmpeq(d, C::half()), C::one()));
    return or_(u, s);
  } else {  // Trunc, and the integer part of Frac
    t = sub(t, and_(cmplt(ax, t), C::one()));
    t = or_(t, s);
    const V tr = select(big, x, t);
    if constexpr (op == Op::Trunc) return tr;
    return or_(sub(x, tr), s);
  }
}

template <class T_, Op op, int Block, int BlockI, bool Callout = false>
struct RoundPolicy {
  using T = T_;
  using C = RoundConst<T>;
  using V = typename Vec<T>::V;
  static constexpr int kBlock = Block;
  static constexpr int kBlockI = BlockI;
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;  // the plain rounding rows
  static constexpr bool kCallout = Callout;
  static V eval(V x, V& special) {
    if constexpr (Callout) {
      // Frac: lanes whose exponent field is all ones go to the scalar function.
      if constexpr (sizeof(T) == 4) {
        const __m128i e = _mm_and_si128(bits(x), _mm_set1_epi32(0x7F800000));
        special = _mm_castsi128_ps(_mm_cmpeq_epi32(e, _mm_set1_epi32(0x7F800000)));
      } else {
        // Compare the high words; spread each lane's result over its 64 bits.
        const __m128i e = _mm_and_si128(bits(x), _mm_set1_epi64x(0x7FF0000000000000ll));
        const __m128i eq = _mm_cmpeq_epi32(e, _mm_set1_epi64x(0x7FF0000000000000ll));
        special = _mm_castsi128_pd(_mm_shuffle_epi32(eq, _MM_SHUFFLE(3, 3, 1, 1)));
      }
    }
    return round_core<V, C, op>(x);
  }
};

// Frac's scalar function works in double: NaN gives x + x, an infinity a zero
// of its sign. It never reports.
struct FracScalar {
  static int scalar(const float* a, float* r) {
    const double x = *a;
    *r = static_cast<float>(std::isnan(x) ? x + x : std::copysign(0.0, x));
    return 0;
  }
  static int scalar(const double* a, double* r) {
    const double x = *a;
    *r = std::isnan(x) ? x + x : std::copysign(0.0, x);
    return 0;
  }
};

using sCeilP = RoundPolicy<float, Op::Ceil, 8, 8>;
using dCeilP = RoundPolicy<double, Op::Ceil, 4, 4>;
using sFloorP = RoundPolicy<float, Op::Floor, 16, 16>;
using dFloorP = RoundPolicy<double, Op::Floor, 4, 4>;
using sTruncP = RoundPolicy<float, Op::Trunc, 8, 8>;
using dTruncP = RoundPolicy<double, Op::Trunc, 4, 4>;
using sRintP = RoundPolicy<float, Op::Rint, 8, 8>;
using dRintP = RoundPolicy<double, Op::Rint, 16, 16>;
using sNearbyIntP = RoundPolicy<float, Op::Rint, 8, 8>;
using dNearbyIntP = RoundPolicy<double, Op::Rint, 16, 16>;
using sRoundP = RoundPolicy<float, Op::Round, 8, 8>;
using dRoundP = RoundPolicy<double, Op::Round, 4, 4>;

struct sFracP : RoundPolicy<float, Op::Frac, 4, 4, true>, FracScalar {
  static constexpr const char* kName = "vsFrac";
};
struct dFracP : RoundPolicy<double, Op::Frac, 4, 4, true>, FracScalar {
  static constexpr const char* kName = "vdFrac";
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sCeil, lahaep, sCeilP)
ZEV_KERNELS(dCeil, lahaep, dCeilP)
ZEV_KERNELS(sFloor, lahaep, sFloorP)
ZEV_KERNELS(dFloor, lahaep, dFloorP)
ZEV_KERNELS(sTrunc, lahaep, sTruncP)
ZEV_KERNELS(dTrunc, lahaep, dTruncP)
ZEV_KERNELS(sRint, lahaep, sRintP)
ZEV_KERNELS(dRint, lahaep, dRintP)
ZEV_KERNELS(sNearbyInt, lahaep, sNearbyIntP)
ZEV_KERNELS(dNearbyInt, lahaep, dNearbyIntP)
ZEV_KERNELS(sRound, lahaep, sRoundP)
ZEV_KERNELS(dRound, lahaep, dRoundP)
ZEV_KERNELS(sFrac, lahaep, sFracP)
ZEV_KERNELS(dFrac, lahaep, dFracP)
