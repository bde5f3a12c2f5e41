// CopySign, single and double: the magnitude of a with the sign of b, on the bits.
#include "vector/remainder/lanes.h"

namespace zev::vk::rem {
namespace {

// ---- CopySign -------------------------------------------------------------------------
template <class T>
struct CopySignP : Base<T, false> {
  using V = typename K<T>::V;
  static V eval(V a, V b, V&) { return or_(andnot(K<T>::sign(), a), and_(K<T>::sign(), b)); }
};

}  // namespace
}  // namespace zev::vk::rem

using namespace zev::vk;
using namespace zev::vk::rem;

ZEV_KERNELS(sCopySign, lahaep, CopySignP<float>)
ZEV_KERNELS(dCopySign, lahaep, CopySignP<double>)
