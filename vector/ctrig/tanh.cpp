// Complex Tanh and Tan, double and single, one kernel for every level.
//
//   tanh(x + iy) = (sinh x cosh x + i sin y cos y) / (sinh^2 x + cos^2 y)
//   tan(x + iy)  = (sin x cos x + i sinh y cosh y) / (sinh^2 y + cos^2 x)   (= -i tanh(iz))
//
// The denominator is cosh 2x + cos 2y over 2 written as a sum of two squares,
// so nothing cancels near the poles (x = 0, y = pi/2 + k pi). In double every
// factor is a sum of two doubles (ctrig_core.h), the reciprocal of the
// denominator a pair, each part one product rounded once; the single rows
// widen to double and round once.
//
// The vector path serves the hyperbolic part zero or within [2^-900, 20] and
// the circular part zero or within [2^-900, 2^1024). From 20 on the real part
// is +-1 (1 - tanh 20 is below 2^-54) and the imaginary part 4 sin y cos y
// e^-2|x| with e^-2|x| carried as 2^-m times a pair, down to a signed zero;
// the scalar function does that, tiny parts (x (1 + tan^2 y), y (1 - tanh^2 x))
// and Annex G's table. Status 1 for an infinite circular part with a finite
// hyperbolic one, where Annex G raises invalid; nothing overflows.
#include <emmintrin.h>

#include <cmath>
#include <utility>

#include "vector/complex/ckernel.h"
#include "vector/ctrig/ctrig_core.h"
#include "vector/ctrig/ctrig_scalar.h"

namespace zev::vk::cx {
namespace {

using namespace ctrig;

constexpr uint32_t kTanhHi = 0x40340000u;  // 20.0

template <bool Tan>
struct ZT {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr int kIn = 1;
  static constexpr const char* kName = Tan ? "vzTan" : "vzTanh";
  static unsigned eval(const V (&a)[4], const V (&)[4], V (&r)[4]) {
    unsigned mask = 0;
    for (int k = 0; k < 2; ++k) {
      V x, y, re, im;
      split_parts(a[2 * k], a[2 * k + 1], x, y);
      const V h = Tan ? y : x, t = Tan ? x : y;
      mask |= soa_mask(not_served<kTanhHi>(h, t)) << (2 * k);
      tanh_parts<true>(h, t, re, im);
      if (Tan) std::swap(re, im);
      join_parts(re, im, r[2 * k], r[2 * k + 1]);
    }
    return mask;
  }
  static int scalar(const C* a, const C*, C* r) { return full<Tan ? Fn::Tan : Fn::Tanh>(a->re, a->im, r->re, r->im); }
};

template <bool Tan>
struct ST {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr int kIn = 1;
  static constexpr const char* kName = Tan ? "vcTan" : "vcTanh";
  static unsigned eval(const V (&a)[2], const V (&)[2], V (&r)[2]) {
    V x, y;
    split_parts(a[0], a[1], x, y);
    const V h = Tan ? y : x, t = Tan ? x : y;
    __m128d re[2], im[2], out[2];
    for (int k = 0; k < 2; ++k) {
      const __m128d hd = _mm_cvtps_pd(k ? _mm_movehl_ps(h, h) : h), td = _mm_cvtps_pd(k ? _mm_movehl_ps(t, t) : t);
      out[k] = not_served<kTanhHi>(hd, td);
      tanh_parts<false>(hd, td, re[k], im[k]);
    }
    V fr = _mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1]));
    V fi = _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1]));
    if (Tan) std::swap(fr, fi);
    join_parts(fr, fi, r[0], r[1]);
    return soa_mask(out[0]) | (soa_mask(out[1]) << 2);
  }
  static int scalar(const C* a, const C*, C* r) {
    double re, im;
    const int st = full<Tan ? Fn::Tan : Fn::Tanh>(a->re, a->im, re, im);
    r->re = static_cast<float>(re);
    r->im = static_cast<float>(im);
    return st;
  }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;

ZEV_CKERNELS(zTanh, lahaep, ZT<false>)
ZEV_CKERNELS(zTan, lahaep, ZT<true>)
ZEV_CKERNELS(cTanh, lahaep, ST<false>)
ZEV_CKERNELS(cTan, lahaep, ST<true>)
