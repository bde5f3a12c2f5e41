// CIS: exp(i x) = cos x + i sin x of a real x, one kernel for every level.
//
// zCIS is the double SinCos of the circular family at HA with its two results
// interleaved: a = |x| reduced by pi/256 in three parts (the vector
// Payne-Hanek reduction above 65536.00349206588), the sine from row j of the
// circle table and the cosine from row j + 128, the sign of x on the sine.
// cCIS is the single SinCos at HA: n = round(a/pi) in float, r = a - n pi and
// the polynomial in double, one rounding to single; above 10000 the double
// table path. Both call the circular family's arithmetic (vector/trig/).
//
// Only infinite and NaN inputs leave the vector path: an infinity gives NaN in
// both parts (x * 0, raising invalid) and a NaN x * x in both, and neither is
// reported: CIS has no status.
#include <emmintrin.h>

#include "vector/complex/ckernel.h"
#include "vector/trig/ssincos_core.h"
#include "vector/trig/trig_common.h"

namespace zev::vk::cx {
namespace {

// The NaN parts of an infinite or NaN x, status 0.
template <class R, class C>
int cis_not_finite(const R* x, C* r) {
  const R v = *x != *x ? *x * *x : *x * R(0);
  r->re = v;
  r->im = v;
  return 0;
}

struct ZCIS {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr int kIn = 1;
  static constexpr bool kRealIn = true;
  static constexpr const char* kName = "vzCIS";
  static unsigned eval(const V (&a)[2], const V (&)[2], V (&r)[4]) {
    using namespace trig;
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      const V ax = _mm_and_pd(a[h], kTab.abs);
      mask |= soa_mask(not_finite(ax)) << (2 * h);
      const Reduced red = reduce_any(ax);
      const V c = table_sin(red, 128);
      const V s = _mm_xor_pd(table_sin(red, 0), _mm_and_pd(a[h], kTab.sign));
      join_parts(c, s, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const R* x, const R*, C* r) { return cis_not_finite(x, r); }
};

struct CCIS {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr int kIn = 1;
  static constexpr bool kRealIn = true;
  static constexpr const char* kName = "vcCIS";
  static unsigned eval(const V (&a)[1], const V (&)[1], V (&r)[2]) {
    using namespace trig::sgl;
    V c;
    const V s = sincos_ha(a[0], c);
    join_parts(c, s, r[0], r[1]);
    return soa_mask(trig::not_finite(abs_of(a[0])));
  }
  static int scalar(const R* x, const R*, C* r) { return cis_not_finite(x, r); }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zCIS, lahaep, ZCIS)
ZEV_CKERNELS(cCIS, lahaep, CCIS)
