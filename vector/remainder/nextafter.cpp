// NextAfter, single and double, exact.
#include "vector/remainder/lanes.h"

namespace zev::vk::rem {
namespace {

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
    special = or_(k::unord(a, b), andnot(same, not_normal(r)));
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
    if (is_nan(a) || is_nan(b)) {
      *r = nan_sum(b, a);  // of two NaNs the second, as the C function gives it
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

}  // namespace
}  // namespace zev::vk::rem

using namespace zev::vk;
using namespace zev::vk::rem;

ZEV_KERNELS(sNextAfter, lahaep, NextAfterP<float>)
ZEV_KERNELS(dNextAfter, lahaep, NextAfterP<double>)
