// zArg: atan2(im, re) of a double complex.
//
// LA and EP (one kernel): the odd polynomial of degree 39 over [0, 1] on
// t = min(|re|, |im|) / max(|re|, |im|), turned to pi/2 - p where |im| > |re|
// and to pi - p where re's sign bit is set, im's sign last: the arithmetic of
// cArg (vector/complex/arg_core.h) without its rounding to single. Elements
// with a part zero, infinite or NaN, the larger part outside [2^-900, 2^960]
// or the parts 2^60 or more apart go to the scalar function of cArg in double.
//
// HA: atan2 as a pair from one division (vector/common/atan2_dd.h: a row of
// four by m/M, the reduced quotient as a pair, a Taylor polynomial), rounded
// once. Elements with a part outside [2^-1019, 2^993) (zero, subnormal, huge,
// infinite, NaN) or the parts more than 2^960 apart go to the scalar atan2 of
// the inverse circular family at HA (atan2_full.h), which scales finite parts
// to exponent 0. Arg reports nothing.
#include <emmintrin.h>

#include "vector/common/atan2_dd.h"
#include "vector/complex/arg_core.h"
#include "vector/complex/ckernel.h"
#include "vector/invtrig/atan2_full.h"

namespace zev::vk::cx {
namespace {

template <bool HA>
struct ZArg {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr int kIn = 1;
  static constexpr bool kRealOut = true;
  static constexpr const char* kName = "vzArg";
  static unsigned eval(const V (&a)[4], const V (&)[4], V (&r)[2]) {
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      V x, y, special;
      split_parts(a[2 * h], a[2 * h + 1], x, y);
      if constexpr (HA) {
        special = _mm_or_pd(_mm_or_pd(invtrig::atan_special(x), invtrig::atan_special(y)), atan2_dd_tiny(y, x));
        const DD v = atan2_dd(y, x);
        r[h] = _mm_add_pd(v.hi, v.lo);
      } else {
        r[h] = arg_core(x, y, special);
      }
      mask |= soa_mask(special) << (2 * h);
    }
    return mask;
  }
  static int scalar(const C* a, const C*, R* r) {
    *r = HA ? invtrig::atan2_one<false>(a->im, a->re) : arg_full(a->re, a->im);
    return 0;
  }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zArg, laep, ZArg<false>)
ZEV_CKERNELS(zArg, ha, ZArg<true>)
