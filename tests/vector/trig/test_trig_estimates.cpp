// The tangent at HA takes the reciprocal of the pole distance from rcpps,
// whose bits differ between processors: its block arithmetic, compiled with
// modelled estimates at both ends of the promised band and scattered inside
// it, holds 1 ulp on the arguments where the reciprocal carries the result
// (next to the poles, in every row with the pole term, through the large
// path) and on the rows without it.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <string>
#include <vector>

#include "estimate_model.h"
#include "mpfr_ulp.h"
#include "vector/trig/tan_core.h"

namespace {

using zevtest::ModelEstimate;

template <class E>
double tan_of(double x) {
  const __m128d a = _mm_set1_pd(std::fabs(x));
  const double t = _mm_cvtsd_f64(zev::vk::trig::tan_table<E>(a));
  return std::signbit(x) ? -t : t;
}

std::vector<double> inputs() {
  std::vector<double> v;
  // Next to the poles: the doubles around (k + 1/2) pi for small and large k,
  // and the published double nearest a multiple of pi/2.
  for (double k : {0.0, 1.0, 2.0, 17.0, 1000.0, 20000.0, 1e6, 3e9, 1e15}) {
    double x = (k + 0.5) * M_PI;
    for (int i = 0; i < 8; ++i) {
      v.push_back(x);
      x = std::nextafter(x, 0.0);
    }
  }
  v.push_back(6381956970095103.0 * 0x1p797);
  // Every row of the table, at its pivot and at both ends of its interval.
  for (int j = 0; j < 512; ++j)
    for (double d : {0.0, 0.99 * M_PI / 512, -0.99 * M_PI / 512}) v.push_back(j * M_PI / 256 + d);
  return v;
}

TEST(TrigEstimates, TanHoldsOneUlpForEveryEstimate) {
  const std::vector<double> xs = inputs();
  struct Model {
    double bias;
    bool scattered;
  };
  for (const Model m : {Model{1.0, false}, Model{-1.0, false}, Model{0.0, false}, Model{0.0, true}}) {
    ModelEstimate::bias = m.bias;
    ModelEstimate::scattered = m.scattered;
    double worst = 0;
    for (double x : xs) {
      if (x == 0) continue;
      const double u = zevtest::ulp_error<double>(mpfr_tan, x, tan_of<ModelEstimate>(x));
      worst = std::max(worst, u);
      EXPECT_LE(u, 1.0) << std::hexfloat << x << " bias " << m.bias << (m.scattered ? " scattered" : "");
    }
    RecordProperty("worst_ulp_bias_" + std::to_string(m.bias) + (m.scattered ? "_scattered" : ""),
                   std::to_string(worst));
  }
  ModelEstimate::bias = 1.0;
  ModelEstimate::scattered = false;
}

}  // namespace
