// Fmax, Fmin, MaxMag and MinMag, single and double, exact.
//
// Quiet NaN against a number gives the number; two NaNs or a signalling one
// give a + b (the first NaN, quieted). Zeros of both signs compare equal, and
// then the second operand is the result, as maxps/minps give it. MaxMag and
// MinMag compare magnitudes first and fall back to Fmax and Fmin on equal
// magnitudes.
#include "vector/remainder/lanes.h"

namespace zev::vk::rem {
namespace {

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

ZEV_KERNELS(sFmax, lahaep, sFmaxP)
ZEV_KERNELS(dFmax, lahaep, dFmaxP)
ZEV_KERNELS(sFmin, lahaep, sFminP)
ZEV_KERNELS(dFmin, lahaep, dFminP)
ZEV_KERNELS(sMaxMag, lahaep, sMaxMagP)
ZEV_KERNELS(dMaxMag, lahaep, dMaxMagP)
ZEV_KERNELS(sMinMag, lahaep, sMinMagP)
ZEV_KERNELS(dMinMag, lahaep, dMinMagP)
