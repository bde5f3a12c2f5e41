// The long arithmetic of the complex powers against MPFR: Re(w log z) as a
// pair and cos, sin of Im(w log z) with their exponents, for z and w over
// every binade (w up to the largest double, angles up to 2^1034 radians), and
// the points near the axes and the unit circle whose distance from a whole
// number of quarter turns is kept apart.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <random>

#include "vector/cexp/pow_long.h"

namespace {

using zev::vk::cexp::lng::PowParts;
using zev::vk::cexp::lng::pow_parts;

// |exact - (hi + lo) 2^e| for cos (c) or sin (!c) of Im(w log z), and the
// error of Re(w log z); 4400 bits hold the angle of any finite inputs.
struct Errors {
  double re, c, s, c_rel, s_rel;
};
Errors errors(double x, double y, double wr, double wi, const PowParts& p) {
  mpfr_t zx, zy, l, a, t, u;
  mpfr_inits2(4400, zx, zy, l, a, t, u, (mpfr_ptr)0);
  mpfr_set_d(zx, x, MPFR_RNDN);
  mpfr_set_d(zy, y, MPFR_RNDN);
  mpfr_hypot(l, zx, zy, MPFR_RNDN);
  mpfr_log(l, l, MPFR_RNDN);
  mpfr_atan2(a, zy, zx, MPFR_RNDN);
  Errors e{};
  mpfr_mul_d(t, l, wr, MPFR_RNDN);
  mpfr_mul_d(u, a, wi, MPFR_RNDN);
  mpfr_sub(t, t, u, MPFR_RNDN);  // Re
  if (mpfr_cmpabs_ui(t, 20000) < 0) {
    mpfr_sub_d(t, t, p.re_hi, MPFR_RNDN);
    mpfr_sub_d(t, t, p.re_lo, MPFR_RNDN);
    e.re = std::fabs(mpfr_get_d(t, MPFR_RNDN));
  }
  mpfr_mul_d(t, a, wr, MPFR_RNDN);
  mpfr_mul_d(u, l, wi, MPFR_RNDN);
  mpfr_add(t, t, u, MPFR_RNDN);  // Im
  auto part = [&](bool cos, double hi, double lo, int ex, double& abs_err, double& rel_err) {
    if (cos) mpfr_cos(u, t, MPFR_RNDN); else mpfr_sin(u, t, MPFR_RNDN);
    mpfr_mul_2si(u, u, -ex, MPFR_RNDN);
    const double ref = mpfr_get_d(u, MPFR_RNDN);
    mpfr_sub_d(u, u, hi, MPFR_RNDN);
    mpfr_sub_d(u, u, lo, MPFR_RNDN);
    const double d = std::fabs(mpfr_get_d(u, MPFR_RNDN));
    mpfr_mul_2si(u, u, ex, MPFR_RNDN);
    abs_err = std::fabs(mpfr_get_d(u, MPFR_RNDN));
    rel_err = ref == 0 ? (d == 0 ? 0 : 1) : d / std::fabs(ref);
  };
  part(true, p.c_hi, p.c_lo, p.c_exp, e.c, e.c_rel);
  part(false, p.s_hi, p.s_lo, p.s_exp, e.s, e.s_rel);
  mpfr_clears(zx, zy, l, a, t, u, (mpfr_ptr)0);
  return e;
}

TEST(PowLong, RandomOverEveryBinade) {
  std::mt19937_64 g(7);
  auto part = [&](int emin, int emax) {
    const int e = emin + static_cast<int>(g() % static_cast<uint64_t>(emax - emin + 1));
    const double v = std::ldexp(1.0 + static_cast<double>(g() >> 11) * 0x1p-53, e);
    return g() & 1 ? -v : v;
  };
  for (int i = 0; i < 1500; ++i) {
    double x = part(-1074, 1023), y = part(-1074, 1023), wr = part(-1074, 1023), wi = part(-1074, 1023);
    if (i % 3 == 1) wr = part(-4, 4), wi = part(-4, 4);      // ordinary w
    if (i % 5 == 2) y = std::ldexp(x, -60 - static_cast<int>(g() % 1500));  // near an axis
    if (i % 7 == 3) x = 1.0, y = part(-1074, -20);          // near the unit circle
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(wr) || !std::isfinite(wi) || y == 0) continue;
    PowParts p;
    pow_parts(x, y, wr, wi, p);
    const Errors e = errors(x, y, wr, wi, p);
    SCOPED_TRACE(testing::Message() << std::hexfloat << "(" << x << ", " << y << ")^(" << wr << ", " << wi << ")");
    EXPECT_LE(e.re, 0x1p-100 * std::fmax(1.0, std::fabs(p.re_hi)));
    // Absolute within 2^-100 (the pairs round at about 2^-106); a part of
    // its own exponent (below 2^-90) within 2^-50 of itself.
    EXPECT_TRUE(e.c <= 0x1p-100 || (p.c_exp != 0 && e.c_rel <= 0x1p-50)) << e.c << " " << e.c_rel;
    EXPECT_TRUE(e.s <= 0x1p-100 || (p.s_exp != 0 && e.s_rel <= 0x1p-50)) << e.s << " " << e.s_rel;
  }
}

// Angles that are whole numbers of quarter turns, exactly or but for a
// distance far below the double range.
TEST(PowLong, QuarterTurns) {
  struct Case {
    double x, y, wr, wi;
    double c, s;  // exact cos and sin (kTiny: nonzero below 2^-90, sign given)
  };
  constexpr double kTiny = 0x1p-200;
  const Case cases[] = {
      {-2.0, 0.0, 2.0, 0.0, 1.0, 0.0},           {0.0, 1.0, 1.0, 0.0, 0.0, 1.0},
      {1.0, 1.0, 4.0, 0.0, -1.0, 0.0},           {-1.0, 0.0, 0x1p1000, 0.0, 1.0, 0.0},
      {3.0, 0.0, DBL_MAX, 0.0, 1.0, 0.0},        {-1.0, -0.0, 0.5, 0.0, 0.0, -1.0},
      {0x1p-1074, DBL_MAX, DBL_MAX, 0.0, 1.0, -kTiny}, {-DBL_MAX, 0x1p-1074, DBL_MAX, 0.0, 1.0, -kTiny},
      {0x1p-1074, DBL_MAX, 1.0, 0.0, kTiny, 1.0},
      {0x1p-1074, 0x1p1000, 1024.0, 0x1p-200, 1.0, kTiny},  // wi log|z| decides, not the arg's tail
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(testing::Message() << "(" << k.x << ", " << k.y << ")^(" << k.wr << ", " << k.wi << ")");
    PowParts p;
    pow_parts(k.x, k.y, k.wr, k.wi, p);
    auto check = [](double hi, double lo, int ex, double want) {
      if (std::fabs(want) == kTiny) {
        EXPECT_TRUE(hi != 0 && std::signbit(hi) == std::signbit(want));
        EXPECT_LT(std::ldexp(std::fabs(hi), ex), 0x1p-90);
      } else {
        EXPECT_EQ(std::ldexp(hi + lo, ex), want);
      }
    };
    check(p.c_hi, p.c_lo, p.c_exp, k.c);
    check(p.s_hi, p.s_lo, p.s_exp, k.s);
  }
}

}  // namespace
