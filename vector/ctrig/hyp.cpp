// Complex Sinh, Cosh, Sin and Cos, double and single, one kernel for every
// level.
//
//   sinh(x + iy) = sinh x cos y + i cosh x sin y
//   cosh(x + iy) = cosh x cos y + i sinh x sin y
//   sin(x + iy)  = sin x cosh y + i cos x sinh y     (= -i sinh(iz))
//   cos(x + iy)  = cos x cosh y - i sin x sinh y     (= cosh(iz))
//
// One core: the hyperbolic pair of one part and the circular pair of the
// other, each factor a sum of two doubles (ctrig_core.h), each part one
// product rounded once. The single rows widen to double, take the leading
// terms only, and round once to single.
//
// The vector path serves elements whose hyperbolic part is zero or within
// [2^-900, 690) and whose circular part is zero or within [2^-900, 2^1024);
// a single element also leaves it where a part overflows single. The scalar
// function handles every element: Annex G's table for infinite and NaN parts,
// and otherwise the same factors carried with exponents by hand (e^|x| as
// 2^m times a pair for 690 <= |x|, tiny parts scaled by 2^600), so that a
// part overflows, or rounds below the normal range, only when its exact value
// does. Status 3 for an infinite part from finite inputs, 1 where Annex G
// raises invalid (an infinite circular part with a finite or infinite
// hyperbolic one); underflow is not reported, as the real Sinh and Sin do not.
#include <emmintrin.h>

#include <cmath>

#include "vector/common/bits.h"
#include "vector/complex/ckernel.h"
#include "vector/ctrig/ctrig_core.h"
#include "vector/ctrig/ctrig_scalar.h"

namespace zev::vk::cx {
namespace {

using namespace ctrig;

// The two parts of F at h (the hyperbolic argument) and t (the circular one).
template <Fn F, bool Full>
inline void parts(__m128d h, __m128d t, __m128d& re, __m128d& im) {
  DD sh, ch, sn, cs;
  factors(h, t, sh, ch, sn, cs);
  auto mul = [](const DD& f, const DD& g) {
    return Full ? mul_round(f, g) : _mm_mul_pd(_mm_add_pd(f.hi, f.lo), _mm_add_pd(g.hi, g.lo));
  };
  switch (F) {
    case Fn::Sinh: re = mul(sh, cs), im = mul(ch, sn); break;
    case Fn::Cosh: re = mul(ch, cs), im = mul(sh, sn); break;
    case Fn::Sin: re = mul(ch, sn), im = mul(sh, cs); break;
    case Fn::Cos: re = mul(ch, cs), im = mul(neg(sh), sn); break;
  }
}

constexpr bool circular(Fn f) { return f == Fn::Sin || f == Fn::Cos; }

template <Fn F>
struct Z {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr int kIn = 1;
  static constexpr const char* kName = F == Fn::Sinh ? "vzSinh" : F == Fn::Cosh ? "vzCosh" : F == Fn::Sin ? "vzSin" : "vzCos";
  static unsigned eval(const V (&a)[4], const V (&)[4], V (&r)[4]) {
    unsigned mask = 0;
    for (int k = 0; k < 2; ++k) {
      V x, y, re, im;
      split_parts(a[2 * k], a[2 * k + 1], x, y);
      const V h = circular(F) ? y : x, t = circular(F) ? x : y;
      mask |= soa_mask(not_served(h, t)) << (2 * k);
      parts<F, true>(h, t, re, im);
      join_parts(re, im, r[2 * k], r[2 * k + 1]);
    }
    return mask;
  }
  static int scalar(const C* a, const C*, C* r) { return full<F>(a->re, a->im, r->re, r->im); }
};

template <Fn F>
struct S {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr int kIn = 1;
  static constexpr const char* kName = F == Fn::Sinh ? "vcSinh" : F == Fn::Cosh ? "vcCosh" : F == Fn::Sin ? "vcSin" : "vcCos";
  static unsigned eval(const V (&a)[2], const V (&)[2], V (&r)[2]) {
    V x, y;
    split_parts(a[0], a[1], x, y);
    const V h = circular(F) ? y : x, t = circular(F) ? x : y;
    __m128d re[2], im[2], out[2];
    for (int k = 0; k < 2; ++k) {
      const __m128d hd = _mm_cvtps_pd(k ? _mm_movehl_ps(h, h) : h), td = _mm_cvtps_pd(k ? _mm_movehl_ps(t, t) : t);
      out[k] = not_served(hd, td);
      parts<F, false>(hd, td, re[k], im[k]);
    }
    const V fr = _mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1]));
    const V fi = _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1]));
    join_parts(fr, fi, r[0], r[1]);
    // A part beyond the largest single (or any part of a lane out of range).
    const V inf = _mm_castsi128_ps(_mm_set1_epi32(0x7F800000));
    const V absmask = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    const V big = _mm_or_ps(_mm_cmpeq_ps(_mm_and_ps(fr, absmask), inf), _mm_cmpeq_ps(_mm_and_ps(fi, absmask), inf));
    return soa_mask(big) | soa_mask(out[0]) | (soa_mask(out[1]) << 2);
  }
  static int scalar(const C* a, const C*, C* r) {
    double re, im;
    int st = full<F>(a->re, a->im, re, im);
    r->re = static_cast<float>(re);
    r->im = static_cast<float>(im);
    if (st == 0 && std::isfinite(a->re) && std::isfinite(a->im) && (std::isinf(r->re) || std::isinf(r->im))) st = 3;
    return st;
  }
};

}  // namespace
}  // namespace zev::vk::cx

using namespace zev::vk::cx;
using zev::vk::ctrig::Fn;

ZEV_CKERNELS(zSinh, lahaep, Z<Fn::Sinh>)
ZEV_CKERNELS(zCosh, lahaep, Z<Fn::Cosh>)
ZEV_CKERNELS(zSin, lahaep, Z<Fn::Sin>)
ZEV_CKERNELS(zCos, lahaep, Z<Fn::Cos>)
ZEV_CKERNELS(cSinh, lahaep, S<Fn::Sinh>)
ZEV_CKERNELS(cCosh, lahaep, S<Fn::Cosh>)
ZEV_CKERNELS(cSin, lahaep, S<Fn::Sin>)
ZEV_CKERNELS(cCos, lahaep, S<Fn::Cos>)
