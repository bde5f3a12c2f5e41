// dAsinh and dAcosh start from a reciprocal square root estimate, whose bits
// differ between processors. Their block arithmetic (vector/hyperbolic/
// inverse_core.h) is run here with modelled estimates at both ends of the
// promised band and scattered through it, with FTZ/DAZ off and on, at the ends
// of the ordinary range (1 + 2^-52 and 2 for Acosh, 2^-6 and the tiny and
// denormal inputs for Asinh, 2^30 for both) and over every binade between;
// every result must stay within 1 ulp of MPFR.
#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "estimate_model.h"
#include "mpfr_ulp.h"
#include "vector/hyperbolic/inverse_core.h"

namespace {

using zevtest::EstimateBias;
using zevtest::ModelEstimate;
using zevtest::MpfrFn;
using zevtest::ulp_error;

std::vector<double> acosh_inputs() {
  std::vector<double> v;
  for (int k = 1; k <= 2000; ++k) v.push_back(1.0 + k * 0x1p-52);
  for (int k = -500; k <= 500; ++k) {
    v.push_back(2.0 + k * 0x1p-51);
    v.push_back(0x1p30 + k * 0x1p-22);
  }
  std::mt19937_64 g(17);
  for (int e = 0; e <= 40; ++e)
    for (int i = 0; i < 300; ++i) v.push_back(std::ldexp(1.0 + std::uniform_real_distribution<double>(0, 1)(g), e));
  for (int e = -52; e <= -1; ++e)
    for (int i = 0; i < 40; ++i) v.push_back(1.0 + std::ldexp(1.0 + std::uniform_real_distribution<double>(0, 1)(g), e));
  return v;
}

std::vector<double> asinh_inputs() {
  std::vector<double> v{0x1p-1000, 0x1p-1022, 4.9e-324, 0x1.8p-1070, 0x1p-600};
  for (int k = -500; k <= 500; ++k) {
    v.push_back(0x1p-6 + k * 0x1p-58);
    v.push_back(0x1p30 + k * 0x1p-22);
  }
  std::mt19937_64 g(19);
  for (int e = -60; e <= 40; ++e)
    for (int i = 0; i < 150; ++i) v.push_back(std::ldexp(1.0 + std::uniform_real_distribution<double>(0, 1)(g), e));
  return v;
}

// Runs the arithmetic on pairs of inputs; returns the worst error in ulps of
// the lanes it does not send to the scalar function.
template <class Core>
double worst(const std::vector<double>& xs, MpfrFn ref, bool flush, bool negate) {
  const unsigned csr = _mm_getcsr();
  _mm_setcsr((csr & ~0xE040u) | (flush ? 0x8040u : 0u));  // nearest; FTZ and DAZ as asked
  double w = 0;
  for (size_t i = 0; i + 1 < xs.size(); i += 2) {
    const double in[2] = {negate ? -xs[i] : xs[i], xs[i + 1]};
    __m128d special;
    const __m128d y = Core::eval(_mm_loadu_pd(in), special);
    double out[2], sp[2];
    _mm_storeu_pd(out, y);
    _mm_storeu_pd(sp, special);
    for (int k = 0; k < 2; ++k) {
      if (sp[k] != 0) continue;  // a special lane (its bits are all ones)
      double x = in[k];
      if (flush && std::fabs(x) < 0x1p-1022) x = std::copysign(0.0, x);  // as DAZ reads it
      const double err = ulp_error<double>(ref, x, out[k]);
      if (err > w) w = err;
    }
  }
  _mm_setcsr(csr);
  return w;
}

struct Place {
  double bias;
  bool scattered;
};
const Place kPlaces[] = {{1.0, false}, {-1.0, false}, {0.0, true}};

TEST(HyperbolicEstimates, AcoshWithinOneUlp) {
  const std::vector<double> xs = acosh_inputs();
  for (const Place& p : kPlaces)
    for (bool flush : {false, true}) {
      EstimateBias bias(p.bias, p.scattered);
      const double w = worst<zev::vk::hyp::AcoshD<ModelEstimate>>(xs, mpfr_acosh, flush, false);
      std::printf("acosh bias %+.0f%s flush %d: %.3f ulp\n", p.bias, p.scattered ? " scattered" : "", flush, w);
      EXPECT_LE(w, 1.0);
    }
}

TEST(HyperbolicEstimates, AsinhWithinOneUlp) {
  const std::vector<double> xs = asinh_inputs();
  for (const Place& p : kPlaces)
    for (bool flush : {false, true})
      for (bool negate : {false, true}) {
        EstimateBias bias(p.bias, p.scattered);
        const double w = worst<zev::vk::hyp::AsinhD<ModelEstimate>>(xs, mpfr_asinh, flush, negate);
        std::printf("asinh bias %+.0f%s flush %d%s: %.3f ulp\n", p.bias, p.scattered ? " scattered" : "", flush,
                    negate ? " negative" : "", w);
        EXPECT_LE(w, 1.0);
      }
}

}  // namespace
