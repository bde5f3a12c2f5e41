// Modf, single and double: integral part and fraction, exact.
#include "vector/remainder/lanes.h"

namespace zev::vk::rem {
namespace {

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
    if (is_nan(x)) {
      *ip = *frac = x + x;
    } else {
      *ip = x;
      *frac = std::copysign(T(0), x);
    }
    return 0;
  }
};

}  // namespace
}  // namespace zev::vk::rem

using namespace zev::vk;
using namespace zev::vk::rem;

ZEV_KERNELS(sModf, lahaep, ModfP<float>)
ZEV_KERNELS(dModf, lahaep, ModfP<double>)
