// LinearFrac: (a*scalea + shifta) / (b*scaleb + shiftb), single and double, one
// kernel for all levels; the policy carries the four scalars.
//
// Single works in double: a*scalea is exact there, the sum and the quotient
// round at 2^-53, so the one rounding to single decides the result (below
// 0.5 + 2^-28 ulp). Double keeps numerator and denominator as pairs: the
// products by split multiplication, the sums by Knuth's TwoSum; the quotient
// q0 = n*(1/d) is then corrected by the exact residual n - q0*d (below 0.51 ulp).
//
// Special lanes: the result is not a normal finite number, apart from the
// exact zeros of a zero numerator over a non-zero denominator; in double also
// lanes whose products or sums (when not zero) leave [2^-960, 2^1000), where
// the split arithmetic would stop being exact. Their scalar function works at
// a precision and range where nothing overflows on the way (double for single,
// binary128 for double) and reports: 0/0 and inf/inf and inf*0 1, a non-zero
// numerator over a zero denominator 2, a finite quotient of finite inputs
// that overflows 3, one that underflows 4. A NaN among the six inputs reports
// nothing.
#include "vector/algebra/common.h"

namespace zev::vk::alg {
namespace {

struct LfConst {
  __m128d split, one;
  Range32 safe;  // |v| in [2^-960, 2^1000)
};
constexpr LfConst kLf = {
    .split = q2(0xFFFFFFFFF8000000ull),         // keeps the high 26 bits of a significand
    .one = d2(1.0),                             // 1.0
    .safe = range32(0x03F00000u, 0x7E6FFFFFu),  // |v| in [2^-960, 2^1000)
};

template <class T>
bool any_nan(T a, T b, T sa, T ha, T sb, T hb) {
  return is_nan(a) || is_nan(b) || is_nan(sa) || is_nan(ha) || is_nan(sb) || is_nan(hb);
}

struct sLinearFracP {
  using T = float;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = 8;
  static constexpr bool kCallout = true;
  static constexpr const char* kName = "vsLinearFrac";
  float sa, ha, sb, hb;

  // Two lanes in double: numerator, denominator, quotient; and the exact-zero mask.
  void half(__m128d a, __m128d b, __m128d& q, __m128d& zero) const {
    const __m128d n = _mm_add_pd(_mm_mul_pd(a, _mm_set1_pd(sa)), _mm_set1_pd(ha));
    const __m128d d = _mm_add_pd(_mm_mul_pd(b, _mm_set1_pd(sb)), _mm_set1_pd(hb));
    q = _mm_div_pd(n, d);
    const __m128d z = _mm_setzero_pd();
    zero = _mm_and_pd(_mm_cmpeq_pd(n, z), _mm_cmpneq_pd(d, z));
  }
  __m128 eval(__m128 a, __m128 b, __m128& special) const {
    __m128d qlo, qhi, zlo, zhi;
    half(_mm_cvtps_pd(a), _mm_cvtps_pd(b), qlo, zlo);
    half(_mm_cvtps_pd(_mm_movehl_ps(a, a)), _mm_cvtps_pd(_mm_movehl_ps(b, b)), qhi, zhi);
    const __m128 r = _mm_movelh_ps(_mm_cvtpd_ps(qlo), _mm_cvtpd_ps(qhi));
    const __m128i zero = _mm_unpacklo_epi64(_mm_shuffle_epi32(_mm_castpd_si128(zlo), _MM_SHUFFLE(2, 0, 2, 0)),
                                            _mm_shuffle_epi32(_mm_castpd_si128(zhi), _MM_SHUFFLE(2, 0, 2, 0)));
    special = _mm_andnot_ps(_mm_castsi128_ps(zero), not_normal(r));
    return r;
  }
  int scalar(const float* pa, const float* pb, float* r) const {
    double a = *pa, b = *pb;
    if (any_nan<float>(*pa, *pb, sa, ha, sb, hb)) {
      *r = static_cast<float>((a * sa + ha) / (b * sb + hb));
      return 0;
    }
    Flags fl;
    pin(a);
    pin(b);
    float y = static_cast<float>((a * sa + ha) / (b * sb + hb));
    pin(y);
    const unsigned f = fl.stop();
    *r = y;
    return status_of(f, y);
  }
};

struct dLinearFracP {
  using T = double;
  static constexpr int kBlock = 4;
  static constexpr int kBlockI = 4;
  static constexpr bool kCallout = true;
  static constexpr const char* kName = "vdLinearFrac";
  double sa, ha, sb, hb;

  // x*s + h as hi + lo; lanes where the parts leave the exact range are marked.
  static void affine(__m128d x, double s, double h, __m128d& hi, __m128d& lo, __m128d& risky) {
    const __m128d m = kLf.split;
    const __m128d vs = _mm_set1_pd(s), vh = _mm_set1_pd(h);
    const __m128d xh = _mm_and_pd(x, m), xl = _mm_sub_pd(x, xh);
    const __m128d sh = _mm_and_pd(vs, m), sl = _mm_sub_pd(vs, sh);
    const __m128d p = _mm_mul_pd(x, vs);
    const __m128d pl = _mm_add_pd(
        _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(xh, sh), p), _mm_mul_pd(xh, sl)), _mm_mul_pd(xl, sh)),
        _mm_mul_pd(xl, sl));
    const __m128d t = _mm_add_pd(p, vh);
    const __m128d bb = _mm_sub_pd(t, p);
    const __m128d e = _mm_add_pd(_mm_sub_pd(p, _mm_sub_pd(t, bb)), _mm_sub_pd(vh, bb));
    hi = t;
    lo = _mm_add_pd(e, pl);
    const __m128d z = _mm_setzero_pd();
    const __m128d out_p = _mm_andnot_pd(_mm_cmpeq_pd(p, z), _mm_castsi128_pd(outside(abs_high_words(p), kLf.safe)));
    const __m128d out_t = _mm_andnot_pd(_mm_cmpeq_pd(t, z), _mm_castsi128_pd(outside(abs_high_words(t), kLf.safe)));
    risky = _mm_or_pd(out_p, out_t);
  }
  __m128d eval(__m128d a, __m128d b, __m128d& special) const {
    __m128d n, nl, d, dl, rn, rd;
    affine(a, sa, ha, n, nl, rn);
    affine(b, sb, hb, d, dl, rd);
    const __m128d inv = _mm_div_pd(kLf.one, d);
    const __m128d q0 = _mm_mul_pd(n, inv);
    // n + nl - q0*(d + dl), with q0*d split exactly.
    const __m128d m = kLf.split;
    const __m128d qh = _mm_and_pd(q0, m), ql = _mm_sub_pd(q0, qh);
    const __m128d dh = _mm_and_pd(d, m), dlo = _mm_sub_pd(d, dh);
    const __m128d u = _mm_mul_pd(q0, d);
    const __m128d ul = _mm_add_pd(
        _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(qh, dh), u), _mm_mul_pd(qh, dlo)), _mm_mul_pd(ql, dh)),
        _mm_mul_pd(ql, dlo));
    const __m128d res = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(n, u), ul), _mm_sub_pd(nl, _mm_mul_pd(q0, dl)));
    const __m128d q = _mm_add_pd(q0, _mm_mul_pd(res, inv));
    const __m128d z = _mm_setzero_pd();
    const __m128d exact_zero = _mm_and_pd(_mm_and_pd(_mm_cmpeq_pd(n, z), _mm_cmpeq_pd(nl, z)), _mm_cmpneq_pd(d, z));
    special = _mm_or_pd(_mm_andnot_pd(exact_zero, not_normal(q)), _mm_or_pd(rn, rd));
    return q;
  }
  int scalar(const double* pa, const double* pb, double* r) const {
    const double a = *pa, b = *pb;
    if (any_nan<double>(a, b, sa, ha, sb, hb)) {
      *r = (a * sa + ha) / (b * sb + hb);
      return 0;
    }
    // binary128 holds the products exactly and never overflows here.
    using Q = __float128;
    const Q n = Q(a) * Q(sa) + Q(ha);
    const Q d = Q(b) * Q(sb) + Q(hb);
    const Q q = n / d;
    const double y = static_cast<double>(q);
    *r = y;
    if (y != y) return 1;
    const bool finite = std::isfinite(a) && std::isfinite(b) && std::isfinite(sa) && std::isfinite(ha) &&
                        std::isfinite(sb) && std::isfinite(hb);
    if (!finite) return 0;
    if (d == 0) return 2;
    if (std::isinf(y)) return 3;
    if (std::fabs(y) < 0x1p-1022 && Q(y) != q) return 4;
    return 0;
  }
};

}  // namespace
}  // namespace zev::vk::alg

using namespace zev::vk;
using namespace zev::vk::alg;

ZEV_KERNELS(sLinearFrac, lahaep, sLinearFracP)
ZEV_KERNELS(dLinearFrac, lahaep, dLinearFracP)
