// Fdim, single and double, exact.
#include "vector/remainder/lanes.h"

namespace zev::vk::rem {
namespace {

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
    if (is_nan(a) || is_nan(b)) {
      *r = a - b;
      return 0;
    }
    if (a <= b) {
      *r = 0;
      return 0;
    }
    Flags fl;
    pin(a);
    pin(b);
    T y = a - b;
    pin(y);
    const unsigned f = fl.stop();
    *r = y;
    return status_of(f, y);
  }
};

}  // namespace
}  // namespace zev::vk::rem

using namespace zev::vk;
using namespace zev::vk::rem;

ZEV_KERNELS(sFdim, lahaep, FdimP<float>)
ZEV_KERNELS(dFdim, lahaep, FdimP<double>)
