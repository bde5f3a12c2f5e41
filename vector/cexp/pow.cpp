// zPow, cPow, zPowx, cPowx (one kernel each): z^w = exp(w log z), the
// principal branch, cpow of C's Annex G; Powx takes one w for the whole call.
//
// z rows: log|z| as a pair (the logarithm family's power core, 2^-67), arg z
// as a pair within about 2^-80 (a rotation by 256 - ik and atan(k/256) from
// a table of pairs), w log z as pairs from exact products, and the
// exponential of the pair (the low part of the real part folded into the
// reduction by ln2/128, that of the imaginary part into the circle
// reduction); each part rounded once.
// c rows: log z and w log z in double, the exponential in double, one
// rounding to single.
//
// Vector lanes: z in the vector range of Ln, w finite with parts below
// 2^900; for z rows size = (|wr| + |wi|)(|log|z|| + |arg z|) below 128 and
// neither part below (1 + size/32) 2^-10 of the other; for c rows the real
// part of w log z in [-87, 88], size below 2^16 and neither part below
// size 2^-24 of the other. A part exactly zero (the angle exactly 0) stays.
//
// The scalar function, for finite z != 0 and w != 0, is exact enough for any
// such inputs (pow_long.h): log|z| and arg z in fixed point to 64n bits, n
// from the exponent of w, Im(w log z) reduced modulo 2 pi exactly, in turns;
// cos and sin of the rest from their series; e^Re(w log z) and the parts
// scaled by hand, so that a part is rounded once also where it over- or
// underflows, and an infinite or zero part has the sign of the exact one.
//
// The special cases (the scalar function):
//   w = 0 (either zero sign): 1 + 0i for every z, NaN and infinities included;
//   a NaN part (w not 0): NaN + NaN i, status 0;
//   z = 0: 0 + 0i for Re w > 0; +inf + 0i and status 2 (a pole) for Re w < 0;
//          NaN + NaN i and status 1 for Re w = 0, Im w != 0;
//   an infinite part: exp(w log z) with log of Annex G and a zero factor
//          taken as an exact zero in w log z (so inf^2 = inf, 2^inf = inf,
//          0.5^inf = 0); status 1 where Annex G's exp raises invalid or
//          w log z meets inf - inf, else 0;
//   finite: status 3 when a part overflows, 4 when both parts fall below the
//          normal range; a part that is exactly zero (the angle a whole
//          number of quarter turns) takes the sign of that part computed
//          with the angle wr arg z + wi log|z| in double arithmetic.
#include <cfloat>
#include <cmath>
#include <limits>

#include "vector/cexp/cexp_core.h"
#include "vector/cexp/cexp_scalar.h"
#include "vector/cexp/pow_long.h"

namespace zev::vk::cexp {

namespace {

// a b in w log z where an input part is infinite: a zero factor gives an
// exact zero (never NaN from 0 inf), and finite factors a finite product (the
// largest double at most, as in exact arithmetic), so that it cannot cancel
// an infinite term: (0 + 2^-1074 i)^(-inf + i DBL_MAX) is exp(inf - i inf).
double mul0(double a, double b) {
  if (a == 0 || b == 0) return 0.0;
  const double p = a * b;
  return std::isinf(p) && std::isfinite(a) && std::isfinite(b) ? std::copysign(DBL_MAX, p) : p;
}

// z^w in double; `fin` tells whether every input part was finite.
int pow_d(double x, double y, double wr, double wi, double& re, double& im, bool& fin) {
  fin = false;
  if (wr == 0 && wi == 0) {
    re = 1, im = 0;
    return 0;
  }
  if (std::isnan(x) || std::isnan(y) || std::isnan(wr) || std::isnan(wi)) {
    re = im = std::numeric_limits<double>::quiet_NaN();
    return 0;
  }
  if (x == 0 && y == 0) {
    if (wr > 0) {
      re = im = 0;
      return 0;
    }
    if (wr < 0) {
      re = std::numeric_limits<double>::infinity(), im = 0;
      return 2;
    }
    volatile double zero = 0;
    re = im = zero * std::numeric_limits<double>::infinity();  // invalid
    return 1;
  }
  LnPairs l;
  ln_full(x, y, l);
  if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(wr) || !std::isfinite(wi)) {
    // A part of log z that is not zero but below the double range keeps its
    // sign, so that an infinite w sees it: log|z| > 0 unless z is one of
    // 1, -1, i, -i (|z| = 1 exactly), arg z has the sign of y.
    // (Annex G's arg of an infinite z is exact.)
    const bool unit = (std::fabs(x) == 1 && y == 0) || (x == 0 && std::fabs(y) == 1);
    const bool zf = std::isfinite(x) && std::isfinite(y);
    const double lr = l.rh == 0 && !unit ? DBL_TRUE_MIN : l.rh;
    const double li = l.ih == 0 && y != 0 && zf ? std::copysign(DBL_TRUE_MIN, y) : l.ih;
    const double pr = mul0(wr, lr) - mul0(wi, li), pi = mul0(wr, li) + mul0(wi, lr);
    // inf - inf in w log z is invalid; exp of the rest follows Exp's table
    // (exp(+inf + i NaN) = +inf + i NaN, exp(-inf + i NaN) = 0 + 0i).
    const int st = exp_full<double>(pr, pi, re, im);
    return st == 1 || std::isnan(pr) || std::isnan(pi) ? 1 : 0;
  }
  fin = true;
  lng::PowParts q;
  lng::pow_parts(x, y, wr, wi, q);
  const double cs[4] = {q.c_hi, q.c_lo, q.s_hi, q.s_lo};
  exp_cis_pairs(q.re_hi, q.re_lo, cs, q.c_exp, q.s_exp, re, im);
  if (q.c_hi == 0 || q.s_hi == 0) {
    // A part that is exactly zero (the angle a whole number of quarter
    // turns) takes the sign of that part of exp(w log z) with the angle
    // w log z in double arithmetic, wr arg z + wi log|z|, which keeps
    // conj(z)^conj(w) = conj(z^w): (-2)^2 = 4 - 0i, i^2 = -1 + 0i, i^1 = 0 + i.
    const double th = wr * l.ih + wi * l.rh;
    double c = 1, s = th;  // sin(+-0) = +-0
    if (!std::isfinite(th)) {
      s = 1;
    } else if (th != 0) {
      const trig::CosSin t = trig::cos_sin(lane(th));
      c = first(_mm_add_pd(t.c.hi, t.c.lo)), s = first(_mm_add_pd(t.s.hi, t.s.lo));
    }
    if (q.c_hi == 0) re = std::copysign(0.0, c);
    if (q.s_hi == 0) im = std::copysign(0.0, s);
  }
  return 0;
}

template <class R>
int pow_full(R x, R y, R wr, R wi, R& re, R& im) {
  double dr, di;
  bool fin;
  const int st = pow_d(x, y, wr, wi, dr, di, fin);
  re = static_cast<R>(dr), im = static_cast<R>(di);
  if (!fin) return st;
  if (std::isinf(re) || std::isinf(im)) return 3;
  if (std::fmax(std::fabs(re), std::fabs(im)) < std::numeric_limits<R>::min()) return 4;
  return 0;
}

using namespace cx;

// Lanes whose w has a NaN or infinite part or one of 2^900 or more.
inline __m128d w_flags(__m128d wr, __m128d wi) {
  return _mm_or_pd(_mm_cmpnlt_pd(abs_of(wr), d1(0x1p900)), _mm_cmpnlt_pd(abs_of(wi), d1(0x1p900)));
}

// arg z as a pair within about 2^-80, for the vector range of zLn: with M
// and m the larger and smaller of |x|, |y| and k = round(256 m / M), arg of
// the rotated (256 M + k m) + i(256 m - k M), whose parts are exact pairs,
// is v = atan((256 m - k M)/(256 M + k m)), |v| < 2^-9, by its series to
// v^7; atan(k/256) from a table of pairs; then the octant by pi/2 - a, pi -
// a and the sign of y.
inline DD arg_pair(__m128d x, __m128d y) {
  const __m128d ax = abs_of(x), ay = abs_of(y);
  const __m128d swap = _mm_cmpgt_pd(ay, ax);
  const __m128d big = _mm_max_pd(ax, ay), small = _mm_min_pd(ax, ay);
  const __m128d sh = d1(6755399441055744.0);
  // k in [0, 256] (flagged lanes, NaN among them, take 0).
  const __m128d kr = _mm_sub_pd(_mm_add_pd(_mm_mul_pd(_mm_div_pd(small, big), d1(256.0)), sh), sh);
  const __m128d kf = _mm_min_pd(_mm_max_pd(kr, _mm_setzero_pd()), d1(256.0));
  const DD km = two_prod(kf, small), kb = two_prod(kf, big);
  const __m128d b256 = _mm_mul_pd(big, d1(256.0)), s256 = _mm_mul_pd(small, d1(256.0));
  const DD xs = two_sum(b256, km.hi);
  const DD xp = fast_two_sum(xs.hi, _mm_add_pd(xs.lo, km.lo));
  const DD yp = two_sum(_mm_sub_pd(s256, kb.hi), _mm_xor_pd(kb.lo, d1(-0.0)));  // the first difference exact
  const __m128d vh = _mm_div_pd(yp.hi, xp.hi);
  const DD q = two_prod(vh, xp.hi);
  const __m128d vl = _mm_div_pd(_mm_sub_pd(_mm_add_pd(_mm_sub_pd(yp.hi, q.hi), yp.lo), _mm_add_pd(q.lo, _mm_mul_pd(vh, xp.lo))), xp.hi);
  const __m128d v2 = _mm_mul_pd(vh, vh);
  const __m128d p = _mm_mul_pd(_mm_mul_pd(vh, v2),
                               _mm_add_pd(d1(-1.0 / 3), _mm_mul_pd(v2, _mm_add_pd(d1(0.2), _mm_mul_pd(v2, d1(-1.0 / 7))))));
  const __m128i ki = _mm_cvttpd_epi32(kf);
  const double* r0 = lng::kAtanPairs[_mm_cvtsi128_si32(ki)];
  const double* r1 = lng::kAtanPairs[_mm_cvtsi128_si32(_mm_srli_si128(ki, 4))];
  const __m128d r0v = _mm_load_pd(r0), r1v = _mm_load_pd(r1);
  const __m128d th = _mm_unpacklo_pd(r0v, r1v), tl = _mm_unpackhi_pd(r0v, r1v);
  DD a = two_sum(th, vh);
  a = fast_two_sum(a.hi, _mm_add_pd(a.lo, _mm_add_pd(tl, _mm_add_pd(vl, p))));
  // pi/2 - a where |y| > |x|, then pi - a where x < 0 (x = -0 included).
  const __m128d neg = d1(-0.0);
  const DD b = two_sum(d1(kPi2.hi), _mm_xor_pd(a.hi, neg));
  const DD bb = fast_two_sum(b.hi, _mm_add_pd(b.lo, _mm_sub_pd(d1(kPi2.lo), a.lo)));
  a = {_mm_or_pd(_mm_and_pd(swap, bb.hi), _mm_andnot_pd(swap, a.hi)), _mm_or_pd(_mm_and_pd(swap, bb.lo), _mm_andnot_pd(swap, a.lo))};
  const __m128d xn = _mm_castsi128_pd(_mm_srai_epi32(_mm_shuffle_epi32(_mm_castpd_si128(x), 0xF5), 31));
  const DD c = two_sum(d1(kPi.hi), _mm_xor_pd(a.hi, neg));
  const DD cc = fast_two_sum(c.hi, _mm_add_pd(c.lo, _mm_sub_pd(d1(kPi.lo), a.lo)));
  a = {_mm_or_pd(_mm_and_pd(xn, cc.hi), _mm_andnot_pd(xn, a.hi)), _mm_or_pd(_mm_and_pd(xn, cc.lo), _mm_andnot_pd(xn, a.lo))};
  const __m128d sy = sign_of(y);
  return {_mm_xor_pd(a.hi, sy), _mm_xor_pd(a.lo, sy)};
}

// The vector path of the z rows: log|z| within 2^-67 relative, arg z within
// about 2^-80, the products exact, so that the angle Im(w log z) is known to
// about 2^-62 (the circle reduction's pairs) + size 2^-67, size = (|wr| +
// |wi|)(|log|z|| + |arg z|): a part of f times the other has an error of
// about that over f 2^-53 of its ulps. Lanes stay while size is below kSize
// and f is at least (1 + size/32) / kPart (measured against MPC up to size
// 256 and f 2^-16: 0.70 ulp normwise, 0.59 ulp a part); every other lane
// takes the long arithmetic of the scalar function.
constexpr double kSize = 128.0, kPart = 0x1p10;

template <bool Scalar>
struct ZPow {
  using R = double;
  static constexpr int kIn = 2;
  static constexpr bool kScalarB = Scalar;
  static constexpr const char* kName = Scalar ? "vzPowx" : "vzPow";
  static unsigned eval(const __m128d (&a)[4], const __m128d (&b)[4], __m128d (&r)[4]) {
    unsigned mask = 0;
    for (int h = 0; h < 2; ++h) {
      __m128d x, y, wr, wi;
      split_parts(a[2 * h], a[2 * h + 1], x, y);
      split_parts(b[2 * h], b[2 * h + 1], wr, wi);
      const DD l2 = log_norm2_pw(x, y);
      const DD lr{_mm_mul_pd(l2.hi, d1(0.5)), _mm_mul_pd(l2.lo, d1(0.5))};
      const DD li = arg_pair(x, y);
      // w log z as pairs.
      const DD p1 = two_prod(wr, lr.hi), p2 = two_prod(wi, li.hi);
      const DD p3 = two_prod(wr, li.hi), p4 = two_prod(wi, lr.hi);
      const DD s = two_sum(p1.hi, _mm_xor_pd(p2.hi, d1(-0.0))), t = two_sum(p3.hi, p4.hi);
      const __m128d sl = _mm_add_pd(_mm_add_pd(s.lo, _mm_sub_pd(p1.lo, p2.lo)),
                                    _mm_sub_pd(_mm_mul_pd(wr, lr.lo), _mm_mul_pd(wi, li.lo)));
      const __m128d tl = _mm_add_pd(_mm_add_pd(t.lo, _mm_add_pd(p3.lo, p4.lo)),
                                    _mm_add_pd(_mm_mul_pd(wr, li.lo), _mm_mul_pd(wi, lr.lo)));
      const DD pr = two_sum(s.hi, sl), pi = two_sum(t.hi, tl);
      const __m128d xc = _mm_min_pd(_mm_max_pd(pr.hi, d1(-700.0)), d1(708.0));
      const ExpCis o = exp_cis<true, true>(xc, pr.lo, pi.hi, pi.lo);
      const __m128d re = _mm_mul_pd(o.m_re, o.scale);
      const __m128d im = _mm_mul_pd(o.m_im, o.scale);
      // The pairs serve while size stays below kSize (which also keeps
      // Re(w log z) in range), and while neither part is thin, unless the
      // angle is exactly zero.
      const __m128d size = _mm_mul_pd(_mm_add_pd(abs_of(wr), abs_of(wi)), _mm_add_pd(abs_of(lr.hi), abs_of(li.hi)));
      const __m128d are = abs_of(re), aim = abs_of(im);
      const __m128d thin = _mm_andnot_pd(_mm_cmpeq_pd(pi.hi, _mm_setzero_pd()),
                                         _mm_cmplt_pd(_mm_mul_pd(_mm_min_pd(are, aim), d1(kPart)),
                                                      _mm_mul_pd(_mm_max_pd(are, aim), _mm_add_pd(d1(1.0), _mm_mul_pd(size, d1(1.0 / 32))))));
      const __m128d bad = _mm_or_pd(_mm_or_pd(ln_flags(x, y), w_flags(wr, wi)),
                                    _mm_or_pd(_mm_cmpnlt_pd(size, d1(kSize)), thin));
      mask |= soa_mask(bad) << (2 * h);
      join_parts(re, im, r[2 * h], r[2 * h + 1]);
    }
    return mask;
  }
  static int scalar(const zev_complex16* a, const zev_complex16* b, zev_complex16* r) {
    return pow_full<double>(a->re, a->im, b->re, b->im, r->re, r->im);
  }
};

template <bool Scalar>
struct CPow {
  using R = float;
  static constexpr int kIn = 2;
  static constexpr bool kScalarB = Scalar;
  static constexpr const char* kName = Scalar ? "vcPowx" : "vcPow";
  static __m128d core(__m128d x, __m128d y, __m128d wr, __m128d wi, __m128d& re, __m128d& im) {
    // log|z| from the pair of log(x^2 + y^2) (about 2^-59), arg z the double LA
    // atan2 (about 2^-53): w log z within a few 2^-53 size.
    const DD l2 = log_norm2(x, y);
    const __m128d lr = _mm_mul_pd(_mm_add_pd(l2.hi, l2.lo), d1(0.5));
    const __m128d li = invtrig::atan2_d<Level::LA, false>(y, x);
    const __m128d pr = _mm_sub_pd(_mm_mul_pd(wr, lr), _mm_mul_pd(wi, li));
    const __m128d pi = _mm_add_pd(_mm_mul_pd(wr, li), _mm_mul_pd(wi, lr));
    // The size of w log z: beyond 2^16 the double products lose single bits.
    const __m128d size = _mm_mul_pd(_mm_add_pd(abs_of(wr), abs_of(wi)), _mm_add_pd(abs_of(lr), abs_of(li)));
    exp_v<false>(pr, pi, re, im);
    // The angle is known to a few 2^-53 size: a part below 2^-24 size of the
    // other (unless the angle is exactly zero) would lose single bits.
    const __m128d are = abs_of(re), aim = abs_of(im);
    const __m128d thin = _mm_andnot_pd(_mm_cmpeq_pd(pi, _mm_setzero_pd()),
                                       _mm_cmplt_pd(_mm_mul_pd(_mm_min_pd(are, aim), d1(0x1p24)),
                                                    _mm_mul_pd(size, _mm_max_pd(are, aim))));
    return _mm_or_pd(_mm_or_pd(exp_flags(pr, pi, -87.0, 88.0), _mm_cmpnlt_pd(size, d1(65536.0))), thin);
  }
  static unsigned eval(const __m128 (&a)[2], const __m128 (&b)[2], __m128 (&r)[2]) {
    __m128 x, y, wr, wi;
    split_parts(a[0], a[1], x, y);
    split_parts(b[0], b[1], wr, wi);
    // z: an infinite or NaN part, or 0 + 0i; w: an infinite or NaN part.
    const __m128 sg = _mm_set1_ps(-0.0f), inf = _mm_set1_ps(std::numeric_limits<float>::infinity());
    const __m128 ax = _mm_andnot_ps(sg, x), ay = _mm_andnot_ps(sg, y);
    __m128 bad = _mm_or_ps(_mm_or_ps(_mm_cmpnlt_ps(ax, inf), _mm_cmpnlt_ps(ay, inf)),
                           _mm_cmpeq_ps(_mm_or_ps(ax, ay), _mm_setzero_ps()));
    bad = _mm_or_ps(bad, _mm_or_ps(_mm_cmpnlt_ps(_mm_andnot_ps(sg, wr), inf), _mm_cmpnlt_ps(_mm_andnot_ps(sg, wi), inf)));
    __m128d re[2], im[2];
    unsigned mask = soa_mask(bad);
    for (int h = 0; h < 2; ++h) {
      auto wide = [h](__m128 v) { return _mm_cvtps_pd(h ? _mm_movehl_ps(v, v) : v); };
      mask |= soa_mask(core(wide(x), wide(y), wide(wr), wide(wi), re[h], im[h])) << (2 * h);
    }
    join_parts(_mm_movelh_ps(_mm_cvtpd_ps(re[0]), _mm_cvtpd_ps(re[1])),
               _mm_movelh_ps(_mm_cvtpd_ps(im[0]), _mm_cvtpd_ps(im[1])), r[0], r[1]);
    return mask;
  }
  static int scalar(const zev_complex8* a, const zev_complex8* b, zev_complex8* r) {
    return pow_full<float>(a->re, a->im, b->re, b->im, r->re, r->im);
  }
};

}  // namespace
}  // namespace zev::vk::cexp

using ZPowP = zev::vk::cexp::ZPow<false>;
using ZPowxP = zev::vk::cexp::ZPow<true>;
using CPowP = zev::vk::cexp::CPow<false>;
using CPowxP = zev::vk::cexp::CPow<true>;

ZEV_CKERNELS(zPow, lahaep, ZPowP)
ZEV_CKERNELS(zPowx, lahaep, ZPowxP)
ZEV_CKERNELS(cPow, lahaep, CPowP)
ZEV_CKERNELS(cPowx, lahaep, CPowxP)
