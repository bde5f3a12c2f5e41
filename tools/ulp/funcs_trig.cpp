// The circular functions: Sin, Cos, SinCos (both results), Tan.
// Inputs over every binade up to the largest finite value, dense steps around
// multiples of pi/2 and pi/256, the kernels' switch points (the large-path
// bounds 10000, 65536.00349206588, 2^23, 2^24; for Tan 8256 and 128000),
// 1e22, and in every binade the argument nearest a multiple of pi/2 that the
// continued fraction of pi/2 scaled to the binade gives.
#include <cfloat>
#include <cmath>

#include "tools/ulp/ulp.h"

namespace zev::ulp {
namespace {

void ref_sin(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_sin(y, a, MPFR_RNDN); }
void ref_cos(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_cos(y, a, MPFR_RNDN); }
void ref_tan(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_tan(y, a, MPFR_RNDN); }

// x = m 2^e is near k pi/2 when m/k is near c = pi/2^(e+1): the convergents
// of c's continued fraction whose numerator is a p-bit m give, binade by
// binade, the hardest arguments of the reductions.
std::vector<double> near_half_pi(bool single) {
  const int p = single ? 24 : 53, emax = single ? 104 : 971;
  std::vector<double> v;
  mpfr_t x, a;
  mpfr_inits2(2400, x, a, (mpfr_ptr)0);
  mpz_t q, h, h1, h2, best;
  mpz_inits(q, h, h1, h2, best, nullptr);
  for (int e = 1 - p; e <= emax; ++e) {
    mpfr_const_pi(x, MPFR_RNDN);
    mpfr_div_2si(x, x, e + 1, MPFR_RNDN);
    mpz_set_ui(h1, 1);
    mpz_set_ui(h2, 0);
    mpz_set_ui(best, 0);
    for (int i = 0; i < 400; ++i) {  // numerators h of the convergents, until they pass p bits
      mpfr_floor(a, x);
      mpfr_get_z(q, a, MPFR_RNDN);
      mpz_mul(h, q, h1);
      mpz_add(h, h, h2);
      if (mpz_sizeinbase(h, 2) > static_cast<size_t>(p)) break;
      if (mpz_sizeinbase(h, 2) == static_cast<size_t>(p)) mpz_set(best, h);
      mpz_set(h2, h1);
      mpz_set(h1, h);
      mpfr_sub(x, x, a, MPFR_RNDN);
      if (mpfr_zero_p(x)) break;
      mpfr_ui_div(x, 1, x, MPFR_RNDN);
    }
    if (mpz_sgn(best)) v.push_back(std::ldexp(mpz_get_d(best), e));
  }
  mpz_clears(q, h, h1, h2, best, nullptr);
  mpfr_clears(x, a, (mpfr_ptr)0);
  return v;
}

std::vector<double> points(bool single) {
  std::vector<double> v{0.0,     1e-30,   10000.0, 65536.00349206588, 8388608.0, 16777216.0, 1e22,
                        -1e22,   0x1p-20, 0x1p-26, 0x1p-54,           1e300,     1e10,       -3e5};
  v.push_back(single ? FLT_MAX : DBL_MAX);
  v.push_back(single ? 16367173.0 * 0x1p72 : 6381956970095103.0 * 0x1p797);  // nearest a multiple of pi/2
  for (int k = 1; k <= 40; ++k) v.push_back(k * M_PI_2);
  for (double k : {100.0, 1000.0, 5000.0, 6366.0, 40000.0, 41721.0, 1e6, 1e7})
    v.push_back(std::nearbyint(k) * M_PI_2);
  for (int j = 1; j < 8; ++j) v.push_back(j * M_PI / 256);
  for (double x : near_half_pi(single)) v.push_back(x);
  return v;
}

// The tangent's switch points besides: 8256 and 128000, and the poles.
std::vector<double> tan_points(bool single) {
  std::vector<double> v = points(single);
  for (double x : {8256.0, 128000.0, 1e5, 3e5}) v.push_back(x);
  return v;
}

const std::vector<Range> kRanges = {{-DBL_MAX, DBL_MAX}, {-10.0, 10.0}, {-70000.0, 70000.0}, {-1e6, 1e6}};
const std::vector<Range> kRangesS = {{-FLT_MAX, FLT_MAX}, {-10.0, 10.0}, {-20000.0, 20000.0}, {-1e6, 1e6}};

Registrar reg({
    {.row = "sSin", .ref = ref_sin, .a = kRangesS, .points = points(true)},
    {.row = "dSin", .ref = ref_sin, .a = kRanges, .points = points(false)},
    {.row = "sCos", .ref = ref_cos, .a = kRangesS, .points = points(true)},
    {.row = "dCos", .ref = ref_cos, .a = kRanges, .points = points(false)},
    {.row = "sSinCos", .arity = Arity::First2, .ref = ref_sin, .a = kRangesS, .points = points(true)},
    {.row = "sSinCos", .arity = Arity::Second2, .ref = ref_cos, .a = kRangesS, .points = points(true)},
    {.row = "dSinCos", .arity = Arity::First2, .ref = ref_sin, .a = kRanges, .points = points(false)},
    {.row = "dSinCos", .arity = Arity::Second2, .ref = ref_cos, .a = kRanges, .points = points(false)},
    {.row = "sTan", .ref = ref_tan, .a = kRangesS, .points = tan_points(true)},
    {.row = "dTan", .ref = ref_tan, .a = kRanges, .points = tan_points(false)},
});

}  // namespace
}  // namespace zev::ulp
