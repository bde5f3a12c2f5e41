// Complex Abs, single and double: one kernel for every level, on the
// processor's reciprocal square root estimate (abs_core.h).
#include "vector/complex/abs_core.h"
#include "vector/complex/scalar.h"

namespace zev::vk::cx {
namespace {

struct ZAbs : ZAbsCore<HwEstimate> {
  using C = zev_complex16;
  static constexpr const char* kName = "vzAbs";
  static int scalar(const C* a, const C*, double* r) { return zabs_full(a, r); }
};
struct CAbs : CAbsCore<HwEstimate> {
  using C = zev_complex8;
  static constexpr const char* kName = "vcAbs";
  static int scalar(const C* a, const C*, float* r) { return cabs_full(a, r); }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zAbs, lahaep, ZAbs)
ZEV_CKERNELS(cAbs, lahaep, CAbs)
