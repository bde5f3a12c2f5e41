// Single cube roots against MPFR: every binade of the normal range (so every
// residue of the exponent by 3 and every power-of-two scale of the seed), both
// signs, mantissas spread over [1, 2) and its ends, at every level; the strided
// form gives the plain form's bits. Zero, denormals, infinities and NaN are in
// the special-case table of test_logpow.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

using Plain = void (*)(int, const float*, float*);
using Strided = void (*)(int, const float*, int, float*, int);

// (1/3, -1/3, 2/3) powers by MPFR: the root of x, then the integer power.
enum class Fn { Cbrt, InvCbrt, Pow2o3 };

struct Row {
  const char* name;
  Fn fn;
  Plain plain;
  Strided strided;
  double bound;  // ulps; EP is bounded relatively, see below
  bool ep;
};

const Row kRows[] = {
    {"sCbrt LA", Fn::Cbrt, _vqmsCbrt_21, _vqmsCbrtI_21, 4, false},
    {"sCbrt HA", Fn::Cbrt, _vqmsCbrt_HA, _vqmsCbrtI_HA, 1, false},
    {"sCbrt EP", Fn::Cbrt, _vqmsCbrt_11, _vqmsCbrtI_11, 0, true},
    {"sInvCbrt LA", Fn::InvCbrt, _vqmsInvCbrt_21, _vqmsInvCbrtI_21, 4, false},
    {"sInvCbrt HA", Fn::InvCbrt, _vqmsInvCbrt_HA, _vqmsInvCbrtI_HA, 1, false},
    {"sInvCbrt EP", Fn::InvCbrt, _vqmsInvCbrt_11, _vqmsInvCbrtI_11, 0, true},
    {"sPow2o3 LA", Fn::Pow2o3, _vqmsPow2o3_21, _vqmsPow2o3I_21, 4, false},
    {"sPow2o3 HA", Fn::Pow2o3, _vqmsPow2o3_HA, _vqmsPow2o3I_HA, 1, false},
    {"sPow2o3 EP", Fn::Pow2o3, _vqmsPow2o3_11, _vqmsPow2o3I_11, 0, true},
};

// Error of got in single ulps of the exact value and its relative error.
struct Err {
  double ulps, rel;
};

Err error_of(Fn fn, float x, float got) {
  mpfr_t y, g;
  mpfr_inits2(200, y, g, (mpfr_ptr)0);
  mpfr_set_flt(y, x, MPFR_RNDN);
  if (fn == Fn::Pow2o3) mpfr_sqr(y, y, MPFR_RNDN);  // exact at 200 bits
  mpfr_cbrt(y, y, MPFR_RNDN);
  if (fn == Fn::InvCbrt) mpfr_ui_div(y, 1, y, MPFR_RNDN);
  mpfr_set_flt(g, got, MPFR_RNDN);
  mpfr_sub(g, g, y, MPFR_RNDN);
  mpfr_div(g, g, y, MPFR_RNDN);
  const double rel = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_mul(g, g, y, MPFR_RNDN);
  mpfr_mul_2si(g, g, 24 - mpfr_get_exp(y), MPFR_RNDN);  // every result here is normal
  const double ulps = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_clears(y, g, (mpfr_ptr)0);
  return {ulps, rel};
}

// Inputs: every normal binade, 64 mantissas each (both ends, a stride through
// the middle), both signs.
std::vector<float> inputs() {
  std::vector<float> v;
  for (uint32_t e = 1; e <= 254; ++e)
    for (uint32_t k = 0; k < 64; ++k) {
      const uint32_t mant = k == 0 ? 0 : k == 63 ? 0x7FFFFF : k * 0x20821 + (e * 7919u & 0xFFF);
      for (uint32_t s : {0u, 0x80000000u}) {
        const uint32_t b = s | e << 23 | (mant & 0x7FFFFF);
        float f;
        memcpy(&f, &b, 4);
        v.push_back(f);
      }
    }
  return v;
}

TEST(SingleRoots, WithinTheirBoundsInEveryBinade) {
  const std::vector<float> in = inputs();
  std::vector<float> out(in.size());
  for (const Row& r : kRows) {
    r.plain(static_cast<int>(in.size()), in.data(), out.data());
    double worst = 0;
    float worst_x = 0;
    for (size_t i = 0; i < in.size(); ++i) {
      const Err e = error_of(r.fn, in[i], out[i]);
      const double v = r.ep ? e.rel * 0x1p11 : e.ulps / r.bound;
      if (!(v <= worst)) worst = v, worst_x = in[i];
    }
    EXPECT_LE(worst, 1.0) << r.name << ": worst at " << worst_x << (r.ep ? " (relative, in 2^-11)" : " (in bound)");
  }
}

TEST(SingleRoots, StridedMatchesPlain) {
  const std::vector<float> in = inputs();
  const int n = static_cast<int>(in.size()) / 3;
  std::vector<float> plain(n), strided(2 * n), picked(n);
  for (int i = 0; i < n; ++i) picked[i] = in[3 * i + 1];
  for (const Row& r : kRows) {
    r.plain(n, picked.data(), plain.data());
    r.strided(n, in.data() + 1, 3, strided.data(), 2);
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(0, memcmp(&plain[i], &strided[2 * i], 4)) << r.name << " at " << picked[i];
    }
  }
}

}  // namespace
