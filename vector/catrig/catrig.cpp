// Complex Asin, Acos, Asinh, Acosh, Atan, Atanh, single and double: one kernel
// for all levels each. A vector path (catrig_vec.h: double arithmetic for the
// single rows, sums of two doubles for the double rows) runs the elements
// whose parts lie in its range (single: finite and non-zero; double: both in
// [2^-250, 2^250)); every other element goes to the scalar function, which
// settles the special values and computes in the x87 extended format
// (catrig_core.h). Both round each part once.
//
// The six functions come from two cores on the first quadrant, by the
// symmetries asin(-z) = -asin z, asin(conj z) = conj(asin z) (likewise asinh,
// atanh) and the identities
//   asinh z = -i asin(iz):  asinh(x + iy) = (+-Im asin(|y| + i|x|), +-Re asin(|y| + i|x|))
//   atan z = -i atanh(iz):  atan(x + iy)  = (+-Im atanh(|y| + i|x|), +-Re atanh(|y| + i|x|))
//   acos(x + iy) = (Re acos, -+Im asin(|x| + i|y|)),  acosh(x + iy) = (Im asin(|x| + i|y|), +-Re acos),
// every sign the sign bit of x or y, so that the sign of a zero part picks
// the side of a branch cut. Infinite and NaN parts follow C's Annex G
// (the table in docs/vector_catrig.md). The one status is 2, at the poles
// atanh(+-1 +- 0i) and atan(+-0 +- i), whose results are infinite: no
// result overflows, and Annex G raises invalid only for NaN inputs (left
// quiet here, as the real kernels do).
#include <cmath>
#include <limits>

#include "vector/catrig/catrig_core.h"
#include "vector/catrig/catrig_vec.h"
#include "vector/common/range.h"
#include "vector/complex/ckernel.h"

namespace zev::vk::catrig {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kPi = 3.141592653589793, kPi2 = 1.5707963267948966, kPi4 = 0.7853981633974483,
                 k3Pi4 = 2.356194490192345;

// Parts of a result before the signs and the rounding to the element type:
// LD for computed values, so that the special values (doubles) and the
// computed ones round the same single way.
struct Out {
  LD re, im;
};

// asinh on the first quadrant (x = |re|, y = |im|); the caller puts the signs
// of the input's parts on the result's parts.
Out asinh_first(double x, double y) {
  if (std::isnan(x)) return {y == kInf ? kInf : kNaN, y == 0 ? 0.0 : kNaN};
  if (std::isnan(y)) return {x == kInf ? kInf : kNaN, kNaN};
  if (x == kInf) return {kInf, y == kInf ? kPi4 : 0.0};
  if (y == kInf) return {kInf, kPi2};
  const AsinParts p = asin_first(y, x);
  return {p.im, p.re_asin};
}

// atanh on the first quadrant; sets *pole at 1 + 0i.
Out atanh_first(double x, double y, bool* pole) {
  if (std::isnan(x)) return {y == kInf ? 0.0 : kNaN, y == kInf ? kPi2 : kNaN};
  if (std::isnan(y)) return {x == kInf || x == 0 ? 0.0 : kNaN, kNaN};
  if (x == kInf || y == kInf) return {0.0, kPi2};
  if (x == 1 && y == 0) {
    *pole = true;
    return {kInf, 0.0};
  }
  const AtanhParts p = catrig::atanh_first(x, y);
  return {p.re, p.im};
}

// acos of x + iy with y >= 0 (its sign bit clear); the caller negates the
// imaginary part for a negative y.
Out acos_upper(double x, double y) {
  if (std::isnan(x)) return {kNaN, y == kInf ? -kInf : kNaN};
  if (std::isnan(y)) {
    if (std::isinf(x)) return {kNaN, -kInf};
    return {x == 0 ? kPi2 : kNaN, kNaN};
  }
  if (std::isinf(x)) return {y == kInf ? (x > 0 ? kPi4 : k3Pi4) : (x > 0 ? 0.0 : kPi), -kInf};
  if (y == kInf) return {kPi2, -kInf};
  const AsinParts p = asin_first(std::fabs(x), y);
  return {std::signbit(x) ? kPiL - p.re_acos : p.re_acos, -p.im};
}

// acosh of x + iy with y >= 0; the caller negates the imaginary part for a
// negative y.
Out acosh_upper(double x, double y) {
  if (std::isnan(x)) return {y == kInf ? kInf : kNaN, kNaN};
  if (std::isnan(y)) return {std::isinf(x) ? kInf : kNaN, kNaN};
  if (std::isinf(x)) return {kInf, y == kInf ? (x > 0 ? kPi4 : k3Pi4) : (x > 0 ? 0.0 : kPi)};
  if (y == kInf) return {kInf, kPi2};
  const AsinParts p = asin_first(std::fabs(x), y);
  return {p.im, std::signbit(x) ? kPiL - p.re_acos : p.re_acos};
}

enum class Fn { Asin, Acos, Atan, Asinh, Acosh, Atanh };

template <class R>
inline R with_sign(LD v, R s) {
  return std::copysign(static_cast<R>(v), s);
}

// The scalar function of every element: status 2 at a pole, else 0.
template <Fn F, class R>
int eval_one(R x, R y, R& re, R& im) {
  const ExtGuard guard;
  const double ax = std::fabs(static_cast<double>(x)), ay = std::fabs(static_cast<double>(y));
  bool pole = false;
  switch (F) {
    case Fn::Asinh: {
      const Out o = asinh_first(ax, ay);
      re = with_sign(o.re, x), im = with_sign(o.im, y);
      break;
    }
    case Fn::Asin: {  // -i asinh(iz), iz = -y + ix
      const Out o = asinh_first(ay, ax);
      re = with_sign(o.im, x), im = with_sign(o.re, y);
      break;
    }
    case Fn::Atanh: {
      const Out o = atanh_first(ax, ay, &pole);
      re = with_sign(o.re, x), im = with_sign(o.im, y);
      break;
    }
    case Fn::Atan: {  // -i atanh(iz)
      const Out o = atanh_first(ay, ax, &pole);
      re = with_sign(o.im, x), im = with_sign(o.re, y);
      break;
    }
    case Fn::Acos: {
      const Out o = acos_upper(x, ay);
      re = static_cast<R>(o.re), im = static_cast<R>(std::signbit(y) ? -o.im : o.im);
      break;
    }
    case Fn::Acosh: {
      const Out o = acosh_upper(x, ay);
      re = static_cast<R>(o.re), im = static_cast<R>(std::signbit(y) ? -o.im : o.im);
      break;
    }
  }
  return pole ? 2 : 0;
}

// The single rows: the vector path of catrig_vec.h on elements whose parts
// are neither zero nor infinite nor NaN; the scalar function on the others.
template <Fn F>
struct SingleVec {
  using R = float;
  using C = zev_complex8;
  using V = __m128;
  static constexpr int kIn = 1;
  static unsigned eval(const V (&a)[2], const V (&)[2], V (&r)[2]) {
    V x, y;
    cx::split_parts(a[0], a[1], x, y);
    const V sign = _mm_set1_ps(-0.0f);
    // |part| - 1 as an integer: negative for a zero, above the largest
    // finite for infinity and NaN.
    auto bad = [](V v) {
      const __m128i m = _mm_sub_epi32(_mm_castps_si128(_mm_andnot_ps(_mm_set1_ps(-0.0f), v)), _mm_set1_epi32(1));
      return _mm_or_si128(_mm_cmplt_epi32(m, _mm_setzero_si128()), _mm_cmpgt_epi32(m, _mm_set1_epi32(0x7F7FFFFE)));
    };
    const unsigned mask = cx::soa_mask(_mm_castsi128_ps(_mm_or_si128(bad(x), bad(y))));
    const V ax = _mm_andnot_ps(sign, x), ay = _mm_andnot_ps(sign, y);
    __m128d ore[2], oim[2];
    for (int h = 0; h < 2; ++h) {
      const __m128d xd = _mm_cvtps_pd(h ? _mm_movehl_ps(ax, ax) : ax);
      const __m128d yd = _mm_cvtps_pd(h ? _mm_movehl_ps(ay, ay) : ay);
      __m128d rc, im;
      if constexpr (F == Fn::Asin) {
        asin_first_d<false>(xd, yd, ore[h], oim[h]);
      } else if constexpr (F == Fn::Asinh) {
        asin_first_d<false>(yd, xd, oim[h], ore[h]);
      } else if constexpr (F == Fn::Atanh) {
        atanh_first_d(xd, yd, ore[h], oim[h]);
      } else if constexpr (F == Fn::Atan) {
        atanh_first_d(yd, xd, oim[h], ore[h]);
      } else {  // Acos and Acosh: pi - acos |x| where x < 0
        asin_first_d<true>(xd, yd, rc, im);
        const __m128d xneg = _mm_cmplt_pd(_mm_cvtps_pd(h ? _mm_movehl_ps(x, x) : x), _mm_setzero_pd());
        const __m128d re = select(xneg, _mm_sub_pd(dv(3.141592653589793), rc), rc);
        ore[h] = F == Fn::Acos ? re : im;
        oim[h] = F == Fn::Acos ? im : re;
      }
    }
    V re = _mm_movelh_ps(_mm_cvtpd_ps(ore[0]), _mm_cvtpd_ps(ore[1]));
    V im = _mm_movelh_ps(_mm_cvtpd_ps(oim[0]), _mm_cvtpd_ps(oim[1]));
    const V sx = _mm_and_ps(x, sign), sy = _mm_and_ps(y, sign);
    if constexpr (F == Fn::Acos) {
      im = _mm_xor_ps(im, _mm_xor_ps(sy, sign));  // -Im asin, conj below the axis
    } else if constexpr (F == Fn::Acosh) {
      im = _mm_or_ps(im, sy);
    } else {
      re = _mm_or_ps(re, sx);
      im = _mm_or_ps(im, sy);
    }
    cx::join_parts(re, im, r[0], r[1]);
    return mask;
  }
  static int scalar(const C* a, const C*, C* r) { return eval_one<F>(a->re, a->im, r->re, r->im); }
};

// The double rows: elements whose parts both lie in [2^-250, 2^250) run the
// pairs of catrig_vec.h; the scalar function takes the others (zero, tiny,
// huge, infinite and NaN parts).
template <Fn F>
struct DoubleVec {
  using R = double;
  using C = zev_complex16;
  using V = __m128d;
  static constexpr int kIn = 1;
  static constexpr Range32 kRange = range32(0x30500000u, 0x4F8FFFFFu);
  static unsigned eval(const V (&a)[4], const V (&)[4], V (&r)[4]) {
    const V sign = dv(-0.0);
    unsigned mask = 0;
    V ax[2], ay[2], sx[2], sy[2], xneg[2], re[2], im[2];
    for (int h = 0; h < 2; ++h) {
      V x, y;
      cx::split_parts(a[2 * h], a[2 * h + 1], x, y);
      const __m128i out = _mm_or_si128(outside(abs_high_words(x), kRange), outside(abs_high_words(y), kRange));
      mask |= cx::soa_mask(_mm_castsi128_pd(out)) << (2 * h);
      ax[h] = _mm_andnot_pd(sign, x), ay[h] = _mm_andnot_pd(sign, y);
      sx[h] = _mm_and_pd(x, sign), sy[h] = _mm_and_pd(y, sign);
      xneg[h] = _mm_cmplt_pd(x, _mm_setzero_pd());
    }
    // The cores take both halves at once.
    if constexpr (F == Fn::Atanh) {
      atanh_first_dd(ax, ay, re, im);
    } else if constexpr (F == Fn::Atan) {
      atanh_first_dd(ay, ax, im, re);
    } else if constexpr (F == Fn::Asin) {
      asin_first_dd<false>(ax, ay, xneg, re, im);
    } else if constexpr (F == Fn::Asinh) {
      asin_first_dd<false>(ay, ax, xneg, im, re);
    } else {
      V rc[2], ii[2];
      asin_first_dd<true>(ax, ay, xneg, rc, ii);
      for (int h = 0; h < 2; ++h) {
        if constexpr (F == Fn::Acos) {  // -Im asin, conj below the axis
          re[h] = rc[h], im[h] = _mm_xor_pd(ii[h], _mm_xor_pd(sy[h], sign));
        } else {
          re[h] = ii[h], im[h] = _mm_or_pd(rc[h], sy[h]);
        }
        cx::join_parts(re[h], im[h], r[2 * h], r[2 * h + 1]);
      }
      return mask;
    }
    for (int h = 0; h < 2; ++h)
      cx::join_parts(_mm_or_pd(re[h], sx[h]), _mm_or_pd(im[h], sy[h]), r[2 * h], r[2 * h + 1]);
    return mask;
  }
  static int scalar(const C* a, const C*, C* r) { return eval_one<F>(a->re, a->im, r->re, r->im); }
};

#define CATRIG_POLICY(NAME, TEXT, ...)           \
  struct NAME : __VA_ARGS__ {                         \
    static constexpr const char* kName = TEXT;   \
  };
CATRIG_POLICY(ZAsin, "vzAsin", DoubleVec<Fn::Asin>)
CATRIG_POLICY(ZAcos, "vzAcos", DoubleVec<Fn::Acos>)
CATRIG_POLICY(ZAtan, "vzAtan", DoubleVec<Fn::Atan>)
CATRIG_POLICY(ZAsinh, "vzAsinh", DoubleVec<Fn::Asinh>)
CATRIG_POLICY(ZAcosh, "vzAcosh", DoubleVec<Fn::Acosh>)
CATRIG_POLICY(ZAtanh, "vzAtanh", DoubleVec<Fn::Atanh>)
CATRIG_POLICY(CAsin, "vcAsin", SingleVec<Fn::Asin>)
CATRIG_POLICY(CAcos, "vcAcos", SingleVec<Fn::Acos>)
CATRIG_POLICY(CAtan, "vcAtan", SingleVec<Fn::Atan>)
CATRIG_POLICY(CAsinh, "vcAsinh", SingleVec<Fn::Asinh>)
CATRIG_POLICY(CAcosh, "vcAcosh", SingleVec<Fn::Acosh>)
CATRIG_POLICY(CAtanh, "vcAtanh", SingleVec<Fn::Atanh>)
#undef CATRIG_POLICY

}  // namespace
}  // namespace zev::vk::catrig

using namespace zev::vk::catrig;

ZEV_CKERNELS(cAsinh, lahaep, CAsinh)
ZEV_CKERNELS(cAsin, lahaep, CAsin)
ZEV_CKERNELS(cAcosh, lahaep, CAcosh)
ZEV_CKERNELS(cAcos, lahaep, CAcos)
ZEV_CKERNELS(cAtanh, lahaep, CAtanh)
ZEV_CKERNELS(cAtan, lahaep, CAtan)
ZEV_CKERNELS(zAsinh, lahaep, ZAsinh)
ZEV_CKERNELS(zAsin, lahaep, ZAsin)
ZEV_CKERNELS(zAcos, lahaep, ZAcos)
ZEV_CKERNELS(zAcosh, lahaep, ZAcosh)
ZEV_CKERNELS(zAtanh, lahaep, ZAtanh)
ZEV_CKERNELS(zAtan, lahaep, ZAtan)
