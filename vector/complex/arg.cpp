// Complex Arg, single: atan2(im, re).
//
// a = |re|, b = |im|, M = max, m = min, t = m / M in [0, 1]; p = atan(t) by one
// odd polynomial over [0, 1] (t + t z P(z), z = t^2, 19 coefficients); p
// becomes pi/2 - p where b > a, pi - p where re's sign bit is set, and takes
// im's sign last, so that +0 and -0 of im choose +0, -0 or +-pi. The single
// parts are widened and the arithmetic runs in double (within 2 ulp of
// double, far below the single's ulp), with one rounding to single: every
// level has the same arithmetic (arg_core.h; zArg at LA and EP runs it in
// double, vector/ctrig/).
// Elements with a zero M, an infinite or NaN part, M outside [2^-900, 2^960],
// or parts 2^60 or more apart go to the scalar function; Arg reports nothing.
#include <emmintrin.h>

#include <cmath>

#include "vector/common/consts.h"
#include "vector/common/range.h"
#include "vector/complex/arg_core.h"
#include "vector/complex/ckernel.h"

namespace zev::vk::cx {
namespace {

// cArg: single parts widened; the double arithmetic is far below the
// single's ulp, and double holds every single's ratio.
struct CArg {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr int kIn = 1;
  static constexpr bool kRealOut = true;
  static constexpr const char* kName = "vcArg";
  static unsigned eval(const V (&a)[2], const V (&)[2], V (&r)[1]) {
    V x, y;
    split_parts(a[0], a[1], x, y);
    __m128d special[2], d[2];
    for (int h = 0; h < 2; ++h)
      d[h] = arg_core(_mm_cvtps_pd(h ? _mm_movehl_ps(x, x) : x), _mm_cvtps_pd(h ? _mm_movehl_ps(y, y) : y),
                             special[h]);
    r[0] = _mm_movelh_ps(_mm_cvtpd_ps(d[0]), _mm_cvtpd_ps(d[1]));
    return soa_mask(special[0]) | (soa_mask(special[1]) << 2);
  }
  static int scalar(const C* a, const C*, float* r) {
    *r = static_cast<float>(arg_full(a->re, a->im));
    return 0;
  }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(cArg, la, CArg)
ZEV_CKERNELS(cArg, ha, CArg)
ZEV_CKERNELS(cArg, ep, CArg)
