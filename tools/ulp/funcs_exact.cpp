// Lane-wise exact functions: rounding to an integer, Abs, Add, Sub, Mul, Sqr.
// Each result is correctly rounded at every level, so the bound is 0 ulp.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_ceil(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_ceil(y, a); }
void ref_floor(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_floor(y, a); }
void ref_trunc(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_trunc(y, a); }
void ref_round(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_round(y, a); }        // ties away
void ref_rint(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_rint(y, a, MPFR_RNDN); }  // ties to even
// Frac keeps the sign of x (a negative integer gives minus zero), and an
// infinity gives a zero of its sign.
void ref_frac(mpfr_t y, const mpfr_t a, const mpfr_t) {
  if (mpfr_inf_p(a))
    mpfr_set_zero(y, mpfr_signbit(a) ? -1 : 1);
  else
    mpfr_frac(y, a, MPFR_RNDN);
}
void ref_abs(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_abs(y, a, MPFR_RNDN); }
void ref_sqr(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sqr(y, a, MPFR_RNDN); }
void ref_add(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_add(y, a, b, MPFR_RNDN); }
void ref_sub(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_sub(y, a, b, MPFR_RNDN); }
void ref_mul(mpfr_t y, const mpfr_t a, const mpfr_t b) { mpfr_mul(y, a, b, MPFR_RNDN); }

// Around the halves and the integers, and where every float is an integer.
std::vector<double> rounding_points(bool single) {
  const double big = single ? 0x1p23 : 0x1p52;
  return {0.0, 0.5, -0.5, 1.5, -1.5, 2.5, -2.5, 0.49999997, -0.3, 1.0, -1.0, big, -big, 2 * big, big / 2, -big / 2};
}

const std::vector<Range> kAllS{{-FLT_MAX, FLT_MAX}};
const std::vector<Range> kAllD{{-DBL_MAX, DBL_MAX}};
const std::vector<Range> kIntS{{-0x1p25, 0x1p25}};  // where rounding does something
const std::vector<Range> kIntD{{-0x1p54, 0x1p54}};

// Sums of an exact kind need the whole span of exponents to be exact.
constexpr int kWideS = 400, kWideD = 2300;

FuncDesc rounding(const char* row, RefFn ref) {
  const bool single = row[0] == 's';
  FuncDesc f{.row = row, .arity = Arity::Unary, .ref = ref, .a = single ? kIntS : kIntD,
             .points = rounding_points(single)};
  f.a.push_back(single ? kAllS[0] : kAllD[0]);
  f.exact = true;
  return f;
}

FuncDesc exact(const char* row, Arity ar, RefFn ref, int bits, std::vector<double> points) {
  const bool single = row[0] == 's';
  FuncDesc f{.row = row, .arity = ar, .ref = ref, .a = single ? kAllS : kAllD, .b = single ? kAllS : kAllD,
             .points = points};
  if (ar == Arity::Binary) f.b_values = {1.0, -1.0, 0.5, 0x1p-30, 0x1p30};
  f.exact = true;
  f.work_bits = bits;
  return f;
}

Registrar reg({
    rounding("sCeil", ref_ceil), rounding("dCeil", ref_ceil),
    rounding("sFloor", ref_floor), rounding("dFloor", ref_floor),
    rounding("sTrunc", ref_trunc), rounding("dTrunc", ref_trunc),
    rounding("sRound", ref_round), rounding("dRound", ref_round),
    rounding("sRint", ref_rint), rounding("dRint", ref_rint),
    rounding("sNearbyInt", ref_rint), rounding("dNearbyInt", ref_rint),
    rounding("sFrac", ref_frac), rounding("dFrac", ref_frac),
    exact("sAbs", Arity::Unary, ref_abs, 0, {0.0}),
    exact("dAbs", Arity::Unary, ref_abs, 0, {0.0}),
    exact("sSqr", Arity::Unary, ref_sqr, 0, {0x1p64, 0x1p-75, 0x1p-63}),
    exact("dSqr", Arity::Unary, ref_sqr, 0, {0x1p512, 0x1p-538, 0x1p-511}),
    exact("sAdd", Arity::Binary, ref_add, kWideS, {1.0, 0x1p-24}),
    exact("dAdd", Arity::Binary, ref_add, kWideD, {1.0, 0x1p-53}),
    exact("sSub", Arity::Binary, ref_sub, kWideS, {1.0, 0x1p-24}),
    exact("dSub", Arity::Binary, ref_sub, kWideD, {1.0, 0x1p-53}),
    exact("sMul", Arity::Binary, ref_mul, 0, {1.0, 0x1p-75, 0x1p64}),
    exact("dMul", Arity::Binary, ref_mul, 0, {1.0, 0x1p-538, 0x1p512}),
});

}  // namespace
}  // namespace zev::ulp
