// The MPC reference of the complex rows (ulp tool and tests), and the error measures:
// each part in ulps of that part, and the normwise error |got - exact| /
// |exact| in ulps of |exact| (subnormal spacing below the normal range).
#pragma once

#include <mpc.h>
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace zev::ulp {

enum class COp { Add, Sub, Mul, MulByConj, Div, Conj, Abs, Sqrt, Arg };

// The exact value v of a row's function of a (and b), rounded to v's
// precision; a real result goes to the real part of v, its imaginary part +0.
using CExactFn = void (*)(mpc_ptr v, mpc_srcptr a, mpc_srcptr b);

template <class R> struct CFormat {
  static constexpr int p = sizeof(R) == 4 ? 24 : 53;
  static constexpr int emin = sizeof(R) == 4 ? -125 : -1021;  // mpfr exponent of the least normal
};

// The exact (or 256-bit) value of op(a, b), with a and b given as parts.
struct CExact {
  mpc_t v;
  mpfr_t abs;  // |v|
  CExact() {
    mpc_init2(v, 256);
    mpfr_init2(abs, 256);
  }
  ~CExact() {
    mpc_clear(v);
    mpfr_clear(abs);
  }
  CExact(const CExact&) = delete;
  CExact& operator=(const CExact&) = delete;

  void compute(CExactFn f, double ar, double ai, double br, double bi) {
    mpc_t a, b;
    mpc_init2(a, 64);
    mpc_init2(b, 64);
    mpc_set_d_d(a, ar, ai, MPC_RNDNN);
    mpc_set_d_d(b, br, bi, MPC_RNDNN);
    f(v, a, b);
    mpc_abs(abs, v, MPFR_RNDN);
    mpc_clear(a);
    mpc_clear(b);
  }

  void compute(COp op, double ar, double ai, double br, double bi) {
    mpc_t a, b;
    mpc_init2(a, 64);
    mpc_init2(b, 64);
    mpc_set_d_d(a, ar, ai, MPC_RNDNN);
    mpc_set_d_d(b, br, bi, MPC_RNDNN);
    switch (op) {
      case COp::Add: mpc_add(v, a, b, MPC_RNDNN); break;
      case COp::Sub: mpc_sub(v, a, b, MPC_RNDNN); break;
      case COp::Mul: mpc_mul(v, a, b, MPC_RNDNN); break;
      case COp::MulByConj:
        mpc_conj(b, b, MPC_RNDNN);
        mpc_mul(v, a, b, MPC_RNDNN);
        break;
      case COp::Div: mpc_div(v, a, b, MPC_RNDNN); break;
      case COp::Conj: mpc_conj(v, a, MPC_RNDNN); break;
      case COp::Sqrt: mpc_sqrt(v, a, MPC_RNDNN); break;
      case COp::Arg:
        mpc_arg(mpc_realref(v), a, MPFR_RNDN);
        mpfr_set_zero(mpc_imagref(v), 1);
        break;
      case COp::Abs:
        mpc_abs(mpc_realref(v), a, MPFR_RNDN);
        mpfr_set_zero(mpc_imagref(v), 1);
        break;
    }
    mpc_abs(abs, v, MPFR_RNDN);
    mpc_clear(a);
    mpc_clear(b);
  }
};

// tanh(a), by MPC while |re a| <= 40; beyond, where MPC's tanh can take
// unbounded time on the vanishing imaginary part, by the formula
// (+-1, sin 2y / (cosh 2x + cos 2y)) in MPFR, the real part exact to far
// below 2^-100 (1 - tanh 40 < 2^-114).
inline void tanh_exact(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  if (mpfr_cmpabs_ui(mpc_realref(a), 40) <= 0) {
    mpc_tanh(v, a, MPC_RNDNN);
    return;
  }
  mpfr_t s, c, t;
  mpfr_inits2(320, s, c, t, (mpfr_ptr)0);
  mpfr_mul_2ui(t, mpc_imagref(a), 1, MPFR_RNDN);
  mpfr_sin_cos(s, c, t, MPFR_RNDN);
  mpfr_mul_2ui(t, mpc_realref(a), 1, MPFR_RNDN);
  mpfr_abs(t, t, MPFR_RNDN);
  mpfr_cosh(t, t, MPFR_RNDN);
  mpfr_add(t, t, c, MPFR_RNDN);
  mpfr_div(mpc_imagref(v), s, t, MPFR_RNDN);
  mpfr_set_si(mpc_realref(v), mpfr_signbit(mpc_realref(a)) ? -1 : 1, MPFR_RNDN);
  mpfr_clears(s, c, t, (mpfr_ptr)0);
}
// tan(a) = -i tanh(i a).
inline void tan_exact(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) {
  mpc_t ia;
  mpc_init2(ia, 64);
  mpc_mul_i(ia, a, 1, MPC_RNDNN);
  tanh_exact(v, ia, b);
  mpc_mul_i(v, v, -1, MPC_RNDNN);
  mpc_clear(ia);
}

// z^w by MPC, with two repairs. MPC's exact results (a negative real z with
// w real, such as (-1 - 0i)^0.5) take arg z = +pi whatever the sign of a zero
// imaginary part: z with -0 goes through conj(conj(z)^conj(w)), the principal
// branch's symmetry, so that the cut follows that sign as everywhere else.
// And where finite inputs overflow, MPC can give an infinite part the wrong
// sign when the angle Im(w log z) lies within 2^-1000 of a multiple of pi/2
// ((2^-1074 + i DBL_MAX)^DBL_MAX is inf - i inf, MPC says inf + i inf): the
// signs of infinite parts come from cos and sin of that angle in 4400-bit
// arithmetic, which holds it to far below its distance from such a multiple.
inline void pow_exact(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) {
  if (mpfr_zero_p(mpc_imagref(a)) && mpfr_signbit(mpc_imagref(a))) {
    mpc_t ca, cb;
    mpc_init2(ca, mpfr_get_prec(mpc_realref(a)));
    mpc_init2(cb, mpfr_get_prec(mpc_realref(b)));
    mpc_conj(ca, a, MPC_RNDNN);
    mpc_conj(cb, b, MPC_RNDNN);
    pow_exact(v, ca, cb);
    mpc_conj(v, v, MPC_RNDNN);
    mpc_clear(ca);
    mpc_clear(cb);
    return;
  }
  mpc_pow(v, a, b, MPC_RNDNN);
  const bool finite = mpfr_number_p(mpc_realref(a)) && mpfr_number_p(mpc_imagref(a)) &&
                      mpfr_number_p(mpc_realref(b)) && mpfr_number_p(mpc_imagref(b));
  if (!finite || mpc_cmp_si(a, 0) == 0 || (!mpfr_inf_p(mpc_realref(v)) && !mpfr_inf_p(mpc_imagref(v)))) return;
  // First with the bits of w and 200 more; where the cosine or sine that
  // decides a sign is below 2^-100 there, again with 4400.
  const long ew = std::max(mpfr_regular_p(mpc_realref(b)) ? mpfr_get_exp(mpc_realref(b)) : 0,
                           mpfr_regular_p(mpc_imagref(b)) ? mpfr_get_exp(mpc_imagref(b)) : 0);
  for (const long prec : {std::max(ew, 0L) + 200, 4400L}) {
    mpfr_t l, g, t;
    mpfr_inits2(prec, l, g, t, (mpfr_ptr)0);
    mpfr_hypot(l, mpc_realref(a), mpc_imagref(a), MPFR_RNDN);
    mpfr_log(l, l, MPFR_RNDN);
    mpfr_atan2(g, mpc_imagref(a), mpc_realref(a), MPFR_RNDN);
    mpfr_mul(g, g, mpc_realref(b), MPFR_RNDN);
    mpfr_fma(t, l, mpc_imagref(b), g, MPFR_RNDN);  // wr arg z + wi log|z|
    mpfr_sin_cos(g, l, t, MPFR_RNDN);
    const bool re_inf = mpfr_inf_p(mpc_realref(v)), im_inf = mpfr_inf_p(mpc_imagref(v));
    const bool sure = (!re_inf || mpfr_get_exp(l) > -100) && (!im_inf || mpfr_get_exp(g) > -100);
    if (sure || prec == 4400) {
      if (re_inf && !mpfr_zero_p(l)) mpfr_setsign(mpc_realref(v), mpc_realref(v), mpfr_signbit(l), MPFR_RNDN);
      if (im_inf && !mpfr_zero_p(g)) mpfr_setsign(mpc_imagref(v), mpc_imagref(v), mpfr_signbit(g), MPFR_RNDN);
    }
    mpfr_clears(l, g, t, (mpfr_ptr)0);
    if (sure) break;
  }
}

// A part of the exact value correctly rounded to R, as a double.
template <class R>
double rounded(mpfr_srcptr x) {
  if constexpr (sizeof(R) == 4) {
    return static_cast<double>(mpfr_get_flt(x, MPFR_RNDN));
  } else {
    // mpfr_get_d rounds once to double, a subnormal included.
    return mpfr_get_d(x, MPFR_RNDN);
  }
}

// Error of `got` against the exact x, in ulps of the format at x's exponent.
template <class R>
double part_ulps(mpfr_srcptr x, double got) {
  mpfr_t g;
  mpfr_init2(g, 320);
  mpfr_set_d(g, got, MPFR_RNDN);
  mpfr_sub(g, g, x, MPFR_RNDN);
  const long e = mpfr_zero_p(x) ? CFormat<R>::emin : std::max<long>(mpfr_get_exp(x), CFormat<R>::emin);
  mpfr_mul_2si(g, g, CFormat<R>::p - e, MPFR_RNDN);
  const double err = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_clear(g);
  return err;
}

struct CError {
  double re = 0, im = 0;  // each part in ulps of that part
  double norm = 0;        // |got - exact| in ulps of |exact|
  double rel = 0;         // |got - exact| / |exact|
  bool re_small = false, im_small = false;  // part below 2^-20 |exact|
};

template <class R>
CError cerror(const CExact& x, double gr, double gi) {
  CError e;
  e.re = part_ulps<R>(mpc_realref(x.v), gr);
  e.im = part_ulps<R>(mpc_imagref(x.v), gi);
  mpfr_t d, t;
  mpfr_inits2(320, d, t, (mpfr_ptr)0);
  mpfr_set_d(d, gr, MPFR_RNDN);
  mpfr_sub(d, d, mpc_realref(x.v), MPFR_RNDN);
  mpfr_set_d(t, gi, MPFR_RNDN);
  mpfr_sub(t, t, mpc_imagref(x.v), MPFR_RNDN);
  mpfr_hypot(d, d, t, MPFR_RNDN);
  const long ex = mpfr_zero_p(x.abs) ? CFormat<R>::emin : std::max<long>(mpfr_get_exp(x.abs), CFormat<R>::emin);
  mpfr_mul_2si(t, d, CFormat<R>::p - ex, MPFR_RNDN);
  e.norm = mpfr_get_d(t, MPFR_RNDN);
  if (mpfr_zero_p(x.abs)) {
    e.rel = mpfr_zero_p(d) ? 0.0 : std::numeric_limits<double>::infinity();
  } else {
    mpfr_div(t, d, x.abs, MPFR_RNDN);
    e.rel = mpfr_get_d(t, MPFR_RNDN);
  }
  auto small = [&](mpfr_srcptr p) {
    if (mpfr_zero_p(p)) return true;
    return mpfr_get_exp(p) < mpfr_get_exp(x.abs) - 20;
  };
  e.re_small = small(mpc_realref(x.v));
  e.im_small = small(mpc_imagref(x.v));
  mpfr_clears(d, t, (mpfr_ptr)0);
  return e;
}

}  // namespace zev::ulp
