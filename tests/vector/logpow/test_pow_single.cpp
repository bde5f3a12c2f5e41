// Single powers against MPFR: x through every row of the logarithm's table in
// binades across the range, y set so that x^y sweeps the normal range out to
// its ends (where |y log2 x| meets the callout's bound), and x within a few
// ulps of 1 with large |y|, where the row of 1 must not cancel. Special
// values are in the table of test_logpow.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

struct Row {
  const char* name;
  void (*fn)(int, const float*, const float*, float*);
  bool ep;  // else within 1 ulp
};

void powx_ha(int n, const float* a, const float* b, float* r) {
  for (int i = 0; i < n; ++i) _vqmsPowx_HA(1, a + i, b[i], r + i);
}

const Row kRows[] = {
    {"sPow HA", _vqmsPow_HA, false},   {"sPowr HA", _vqmsPowr_HA, false},
    {"sPowr EP", _vqmsPowr_11, true},  {"sPowx HA (one lane a call)", powx_ha, false},
};

// Relative error and the error in single ulps of MPFR's x^y (a normal single).
void error_of(float x, float y, float got, double& ulps, double& rel) {
  mpfr_t a, b, g;
  mpfr_inits2(200, a, b, g, (mpfr_ptr)0);
  mpfr_set_flt(a, x, MPFR_RNDN);
  mpfr_set_flt(b, y, MPFR_RNDN);
  mpfr_pow(a, a, b, MPFR_RNDN);
  mpfr_set_flt(g, got, MPFR_RNDN);
  mpfr_sub(g, g, a, MPFR_RNDN);
  mpfr_div(b, g, a, MPFR_RNDN);
  rel = std::fabs(mpfr_get_d(b, MPFR_RNDN));
  mpfr_mul_2si(g, g, 24 - mpfr_get_exp(a), MPFR_RNDN);
  ulps = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_clears(a, b, g, (mpfr_ptr)0);
}

void inputs(std::vector<float>& xs, std::vector<float>& ys) {
  const float frac[] = {-1.0f, -0.71f, -0.3f, 0.013f, 0.52f, 0.997f};
  for (int e = -126; e <= 127; e += 9)
    for (int m = 0; m < 128; ++m) {  // four mantissas in each row of the table
      const float x = std::ldexp(1.0f + (m + 0.37f) / 128, e);
      const double l = std::fabs(std::log2(static_cast<double>(x)));
      for (float f : frac) {
        xs.push_back(x);
        ys.push_back(l < 1e-30 ? 3.0f : static_cast<float>(f * 125.4 / l));
      }
    }
  for (int k = -40; k <= 40; ++k) {  // x = 1 + k ulps, |y| up to 2^28
    const float x = k < 0 ? 1.0f + k * 0x1p-24f : 1.0f + k * 0x1p-23f;
    for (float y : {-0x1p28f, -12345.678f, 0x1.8p20f, 0x1p24f}) {
      if (std::fabs(y * std::log2(static_cast<double>(x))) > 125) continue;
      xs.push_back(x);
      ys.push_back(y);
    }
  }
}

TEST(SinglePowers, WithinTheirBounds) {
  std::vector<float> xs, ys;
  inputs(xs, ys);
  std::vector<float> out(xs.size());
  for (const Row& r : kRows) {
    r.fn(static_cast<int>(xs.size()), xs.data(), ys.data(), out.data());
    double worst = 0;
    size_t at = 0;
    for (size_t i = 0; i < xs.size(); ++i) {
      double ulps, rel;
      error_of(xs[i], ys[i], out[i], ulps, rel);
      const double v = r.ep ? rel * 0x1p11 : ulps;
      if (!(v <= worst)) worst = v, at = i;
    }
    EXPECT_LE(worst, 1.0) << r.name << ": worst at x = " << xs[at] << ", y = " << ys[at]
                          << (r.ep ? " (relative, in 2^-11)" : " (ulps)");
  }
}

}  // namespace
