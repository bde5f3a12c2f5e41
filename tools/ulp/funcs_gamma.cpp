// Gamma and the exponential integral: LGamma (log |gamma|), TGamma, ExpInt1.
// Special points: 1 and 2 (the positive zeros of lgamma), the zeros of lgamma
// on the negative axis from -2.457 down to -17, the poles at the non-positive
// integers, the overflow limits of both gammas, the tiny arguments whose
// gamma overflows, and the ends of the normal range of E1.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_lgamma(mpfr_t y, const mpfr_t a, const mpfr_t) {
  int sign;
  mpfr_lgamma(y, &sign, a, MPFR_RNDN);  // log |gamma|, +Inf at the poles
}
void ref_tgamma(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_gamma(y, a, MPFR_RNDN); }
// E1(x) = -Ei(-x); not defined (NaN) for x < 0.
void ref_e1(mpfr_t y, const mpfr_t a, const mpfr_t) {
  if (mpfr_sgn(a) < 0 && !mpfr_zero_p(a)) {
    mpfr_set_nan(y);
    return;
  }
  mpfr_t t;
  mpfr_init2(t, mpfr_get_prec(a));
  mpfr_neg(t, a, MPFR_RNDN);
  mpfr_eint(y, t, MPFR_RNDN);
  mpfr_neg(y, y, MPFR_RNDN);
  mpfr_clear(t);
}

// The zeros of lgamma on the negative axis, two in each (-k-1, -k), as far
// as a double comes near them.
const std::vector<double> kNegZeros = {
    -2.4570247382208006, -2.7476826467274127, -3.1435808883499800, -3.9552942848585785, -4.0390596090980160,
    -4.9916052895710440, -5.0082181681550420, -5.9986065931740340, -6.0013853390428550, -6.9998012511487750,
    -7.0001986618004460, -7.9999751918724640, -8.0000248025809600, -8.9999972434922530, -9.0000027558993130,
    -9.9999997244093200, -10.000000275573192, -10.999999974947328, -11.000000025052108, -11.999999997912235,
    -12.000000002087758, -12.999999999839392, -13.000000000160608, -13.999999999988529, -14.000000000011471,
    -14.999999999999236, -15.000000000000764, -15.999999999999952, -16.000000000000048};

std::vector<double> gamma_points(bool single, std::vector<double> extra) {
  std::vector<double> v{0.0, 1.0, 2.0, 0.5, 1.25, 1.75, 2.25, 0.875, 4.0, 8.0, 512.0, 1e-30, -1e-30, -0.5, -1.5};
  for (int k = 1; k <= 40; ++k) v.push_back(-static_cast<double>(k));
  for (double z : kNegZeros) v.push_back(single ? static_cast<double>(static_cast<float>(z)) : z);
  for (double x : extra) v.push_back(x);
  return v;
}

Registrar reg({
    {.row = "sLGamma", .arity = Arity::Unary, .ref = ref_lgamma,
     .a = {{-60.0, 4.2e36}, {-18.0, 0.0}, {0.0, 4.0}, {-0x1p-20, 0x1p-20}},
     .points = gamma_points(true, {4.0850034e36, 4.0850036e36, FLT_MAX, 8388608.0, -8388607.5})},
    {.row = "dLGamma", .arity = Arity::Unary, .ref = ref_lgamma,
     .a = {{-200.0, 2.6e305}, {-18.0, 0.0}, {0.0, 4.0}, {-0x1p-40, 0x1p-40}},
     .points = gamma_points(false, {2.5599833278516383e305, 2.5599833278516387e305, DBL_MAX, 4503599627370495.5, -4503599627370495.5})},
    {.row = "sTGamma", .arity = Arity::Unary, .ref = ref_tgamma,
     .a = {{-50.0, 36.0}, {-5.0, 5.0}, {-0x1p-20, 0x1p-20}},
     .points = gamma_points(true, {35.04010009765625, 35.0401, 2.9387359e-39, -2.9387359e-39, -41.5, -45.5})},
    {.row = "dTGamma", .arity = Arity::Unary, .ref = ref_tgamma,
     .a = {{-190.0, 172.0}, {-5.0, 5.0}, {-0x1p-40, 0x1p-40}},
     .points = gamma_points(false, {171.6243769563027, 171.62437695630274, 5.56268464626801e-309, -5.56268464626801e-309,
                                    -170.5, -177.5, -178.5, -184.5})},
    {.row = "sExpInt1", .arity = Arity::Unary, .ref = ref_e1,
     .a = {{0.0, 110.0}, {0.0, 4.0}, {-1.0, 1.0}},
     .points = {0.0, 1.0, 2.5, 3.0, 0x1p-126, 0x1p-149, 83.0, 85.0, 88.0, 100.0, 103.9, 104.0}},
    {.row = "dExpInt1", .arity = Arity::Unary, .ref = ref_e1,
     .a = {{0.0, 760.0}, {0.0, 4.0}, {-1.0, 1.0}},
     .points = {0.0, 1.0, 2.5, 3.0, 4.0, 1024.0, 700.0, 0x1p-1022, 0x1p-1074, 701.0, 703.0, 740.0, 744.0, 745.0, 746.0}},
});

}  // namespace
}  // namespace zev::ulp
