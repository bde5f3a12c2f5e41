// The logarithm, power and root family: logarithms, reciprocal, division,
// roots, powers, hypotenuse and remainders.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_ln(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_log(y, a, MPFR_RNDN); }
void ref_log10(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_log10(y, a, MPFR_RNDN); }
void ref_log2(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_log2(y, a, MPFR_RNDN); }
void ref_log1p(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_log1p(y, a, MPFR_RNDN); }
// logb: the binade exponent; -inf at zero, +inf at infinities.
void ref_logb(mpfr_t y, const mpfr_t a, const mpfr_t) {
  if (mpfr_nan_p(a))
    mpfr_set_nan(y);
  else if (mpfr_inf_p(a))
    mpfr_set_inf(y, 1);
  else if (mpfr_zero_p(a))
    mpfr_set_inf(y, -1);
  else
    mpfr_set_si(y, mpfr_get_exp(a) - 1, MPFR_RNDN);
}
void ref_inv(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_ui_div(y, 1, a, MPFR_RNDN); }
void ref_div(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_div(y, a, b, MPFR_RNDN); }
void ref_sqrt(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sqrt(y, a, MPFR_RNDN); }
void ref_cbrt(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_cbrt(y, a, MPFR_RNDN); }
// 1/sqrt(x) and 1/cbrt(x), with the sign of zero carried through: -0 gives -inf.
// The intermediate root is rounded far beyond the target, which leaves the
// measured error untouched.
void ref_invsqrt(mpfr_t y, const mpfr_t a, const mpfr_t) {
  mpfr_t t;
  mpfr_init2(t, mpfr_get_prec(y) + 64);
  mpfr_sqrt(t, a, MPFR_RNDN);
  mpfr_ui_div(y, 1, t, MPFR_RNDN);
  mpfr_clear(t);
}
void ref_invcbrt(mpfr_t y, const mpfr_t a, const mpfr_t) {
  mpfr_t t;
  mpfr_init2(t, mpfr_get_prec(y) + 64);
  mpfr_cbrt(t, a, MPFR_RNDN);
  mpfr_ui_div(y, 1, t, MPFR_RNDN);
  mpfr_clear(t);
}
// x^(2/3) = cbrt(x*x) for every real x; x^(3/2) = x^1.5, NaN below zero.
void ref_pow2o3(mpfr_t y, const mpfr_t a, const mpfr_t) {
  mpfr_t t;
  mpfr_init2(t, 2 * mpfr_get_prec(a) + 8);
  mpfr_sqr(t, a, MPFR_RNDN);  // exact
  mpfr_cbrt(y, t, MPFR_RNDN);
  mpfr_clear(t);
}
void ref_pow3o2(mpfr_t y, const mpfr_t a, const mpfr_t) {
  mpfr_t e;
  mpfr_init2(e, 8);
  mpfr_set_d(e, 1.5, MPFR_RNDN);
  mpfr_pow(y, a, e, MPFR_RNDN);
  mpfr_clear(e);
}
void ref_pow(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_pow(y, a, b, MPFR_RNDN); }
// powr(x, y) = exp(y log x): NaN for x < 0, for 0^0, inf^0 and 1^inf.
void ref_powr(mpfr_t y, const mpfr_t a, const mpfr_t b) {
  if (mpfr_nan_p(a) || mpfr_nan_p(b) || (mpfr_sgn(a) < 0 && !mpfr_zero_p(a)) ||
      (mpfr_zero_p(a) && mpfr_zero_p(b)) || (mpfr_inf_p(a) && mpfr_zero_p(b)) ||
      (mpfr_cmp_ui(a, 1) == 0 && mpfr_inf_p(b))) {
    mpfr_set_nan(y);
    return;
  }
  mpfr_t x;
  mpfr_init2(x, mpfr_get_prec(a));
  mpfr_abs(x, a, MPFR_RNDN);  // -0 acts as +0
  mpfr_pow(y, x, b, MPFR_RNDN);
  mpfr_clear(x);
}
void ref_hypot(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_hypot(y, a, b, MPFR_RNDN); }
void ref_fmod(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_fmod(y, a, b, MPFR_RNDN); }
void ref_remainder(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_remainder(y, a, b, MPFR_RNDN); }

// pow's useful pairs: b chosen so that b log2(a) stays inside the exponent
// range, and negative a with integer b.
void pow_pair(Rng& rng, bool single, double& a, double& b) {
  const double top = single ? 128.0 : 1024.0, bottom = single ? -150.0 : -1075.0;
  const double la = (rng.uniform() * 2.0 - 1.0) * (single ? 126.0 : 1022.0);
  a = std::exp2(la) * (1.0 + rng.uniform());
  const double t = bottom + (top - bottom) * rng.uniform();
  b = t / std::log2(a);
  if (rng.below(4) == 0) {  // negative base, integer exponent
    a = -a;
    b = std::nearbyint(b);
  }
}

const std::vector<Range> kPosS{{0.0, FLT_MAX}}, kPosD{{0.0, DBL_MAX}};
const std::vector<Range> kAllS{{-FLT_MAX, FLT_MAX}}, kAllD{{-DBL_MAX, DBL_MAX}};

FuncDesc fn(const char* row, Arity ar, RefFn ref, bool positive, std::vector<double> points,
            std::vector<double> b_values = {}) {
  const bool single = row[0] == 's';
  const auto& pos = single ? kPosS : kPosD;
  const auto& all = single ? kAllS : kAllD;
  FuncDesc f{.row = row, .arity = ar, .ref = ref, .a = positive ? pos : all, .b = all, .points = points,
             .b_values = b_values};
  return f;
}

std::vector<double> log_points(double base_x) {
  return {1.0, 0x1.fffffep-1, 0x1.000002p+0, base_x, 0.5, 2.0, std::exp(1.0), 10.0, 0x1p-126, 0x1p-1022, 0.0};
}

FuncDesc two(const char* row, RefFn ref, std::vector<double> points, std::vector<double> b_values,
             PairGen pair = nullptr, bool positive_a = false) {
  FuncDesc f = fn(row, Arity::Binary, ref, positive_a, points, b_values);
  f.pair = pair;
  return f;
}

FuncDesc powx(const char* row) {
  const bool single = row[0] == 's';
  FuncDesc f = fn(row, Arity::Powx, ref_pow, false, {1.0, -1.0, 0.5, 2.0},
                  {2.0, 3.0, 0.5, -0.5, 1.0 / 3.0, 2.0 / 3.0, 1.5, -1.0, -2.0, 0.0, 1.0, 2.5, 10.0, -3.7, 0.1});
  f.a = single ? std::vector<Range>{{-1e4, 1e4}} : std::vector<Range>{{-1e30, 1e30}};
  f.b = {{-20.0, 20.0}};
  return f;
}

const std::vector<double> kDivB{1.0, -1.0, 3.0, 0x1p-126, 0x1p126, 0x1p-1022, 0x1p1000};

Registrar reg({
    fn("sLn", Arity::Unary, ref_ln, true, log_points(1.0)),
    fn("dLn", Arity::Unary, ref_ln, true, log_points(1.0)),
    fn("sLog10", Arity::Unary, ref_log10, true, log_points(10.0)),
    fn("dLog10", Arity::Unary, ref_log10, true, log_points(10.0)),
    fn("sLog2", Arity::Unary, ref_log2, true, log_points(2.0)),
    fn("dLog2", Arity::Unary, ref_log2, true, log_points(2.0)),
    [] {
      FuncDesc f = fn("sLog1p", Arity::Unary, ref_log1p, true, {-1.0, -0.99999994, 0.0, 0x1p-25, -0x1p-25, 1.0});
      f.a.push_back({-1.0, 1.0});
      return f;
    }(),
    [] {
      FuncDesc f = fn("dLog1p", Arity::Unary, ref_log1p, true, {-1.0, -0x1.fffffffffffffp-1, 0.0, 0x1p-54, 1.0});
      f.a.push_back({-1.0, 1.0});
      return f;
    }(),
    fn("sLogb", Arity::Unary, ref_logb, false, {1.0, 2.0, 0x1p-149, 0x1p-126}),
    fn("dLogb", Arity::Unary, ref_logb, false, {1.0, 2.0, 0x1p-1074, 0x1p-1022}),
    fn("sInv", Arity::Unary, ref_inv, false, {0x1p126, 0x1p127, 0x1p-127, 0.0}),
    fn("dInv", Arity::Unary, ref_inv, false, {0x1p1022, 0x1p1023, 0x1p-1023, 0.0}),
    two("sDiv", ref_div, {0.0, 1.0, 0x1p-126}, kDivB),
    two("dDiv", ref_div, {0.0, 1.0, 0x1p-1022}, kDivB),
    fn("sSqrt", Arity::Unary, ref_sqrt, true, {0.0, 1.0, 4.0, 0x1p-149}),
    fn("dSqrt", Arity::Unary, ref_sqrt, true, {0.0, 1.0, 4.0, 0x1p-1074}),
    fn("sInvSqrt", Arity::Unary, ref_invsqrt, true, {0.0, 1.0, 4.0, 0x1p-149}),
    fn("dInvSqrt", Arity::Unary, ref_invsqrt, true, {0.0, 1.0, 4.0, 0x1p-1074}),
    fn("sCbrt", Arity::Unary, ref_cbrt, false, {0.0, 1.0, 8.0, -8.0, 0x1p-149}),
    fn("dCbrt", Arity::Unary, ref_cbrt, false, {0.0, 1.0, 8.0, -8.0, 0x1p-1074}),
    fn("sInvCbrt", Arity::Unary, ref_invcbrt, false, {0.0, 1.0, 8.0, -8.0, 0x1p-149}),
    fn("dInvCbrt", Arity::Unary, ref_invcbrt, false, {0.0, 1.0, 8.0, -8.0, 0x1p-1074}),
    fn("sPow2o3", Arity::Unary, ref_pow2o3, false, {0.0, 1.0, 8.0, -8.0, 0x1p-149}),
    fn("dPow2o3", Arity::Unary, ref_pow2o3, false, {0.0, 1.0, 8.0, -8.0, 0x1p-1074}),
    fn("sPow3o2", Arity::Unary, ref_pow3o2, true, {0.0, 1.0, 4.0, 6.9814635e25, 0x1p-149}),
    fn("dPow3o2", Arity::Unary, ref_pow3o2, true, {0.0, 1.0, 4.0, 0x1p682, 0x1p-1074}),
    two("sPow", ref_pow, {1.0, -1.0, 0.0, 2.0}, {0.5, 2.0, 3.0, -1.0, 1.0 / 3.0, 127.0, -149.0}, pow_pair, true),
    two("dPow", ref_pow, {1.0, -1.0, 0.0, 2.0}, {0.5, 2.0, 3.0, -1.0, 1.0 / 3.0, 1023.0, -1074.0}, pow_pair, true),
    two("sPowr", ref_powr, {1.0, 0.0, 2.0}, {0.5, 2.0, 3.0, -1.0, 127.0}, pow_pair, true),
    two("dPowr", ref_powr, {1.0, 0.0, 2.0}, {0.5, 2.0, 3.0, -1.0, 1023.0}, pow_pair, true),
    powx("sPowx"),
    powx("dPowx"),
    two("sHypot", ref_hypot, {0.0, 1.0, 0x1p-149, 0x1p127}, {1.0, 0x1p127, 0x1p-149, 3.0}),
    two("dHypot", ref_hypot, {0.0, 1.0, 0x1p-1074, 0x1p1023}, {1.0, 0x1p1023, 0x1p-1074, 3.0}),
    two("sFmod", ref_fmod, {0.0, 1.0, 0x1p127}, {1.0, 3.0, 0x1p-149, 0.1f}),
    two("dFmod", ref_fmod, {0.0, 1.0, 0x1p1023}, {1.0, 3.0, 0x1p-1074, 0.1}),
    two("sRemainder", ref_remainder, {0.0, 1.0, 0x1p127}, {1.0, 3.0, 0x1p-149, 0.1f}),
    two("dRemainder", ref_remainder, {0.0, 1.0, 0x1p1023}, {1.0, 3.0, 0x1p-1074, 0.1}),
});

}  // namespace
}  // namespace zev::ulp
