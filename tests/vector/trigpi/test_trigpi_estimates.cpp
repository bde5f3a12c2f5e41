// The double half-turn and degree tangent at HA takes the reciprocal of its
// pole distance from rcpps, whose bits differ between processors: its core,
// compiled with modelled estimates at both ends of the promised band and
// scattered inside it, keeps the exact values (+-1 at the odd eighths of a
// turn, the signed zeros) and 1 ulp next to the poles and on every row of the
// pivot table.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <string>
#include <vector>

#include "estimate_model.h"
#include "mpfr_ulp.h"
#include "vector/trigpi/trigpi_table.h"

namespace {

using zevtest::ModelEstimate;
using zev::vk::trigpi::Degree;
using zev::vk::trigpi::HalfTurn;

// tan of x in the unit through the core; NaN at a pole, whose lane is the
// scalar function's.
template <class U>
double tan_of(double x) {
  __m128d pole = _mm_setzero_pd();
  const double t = _mm_cvtsd_f64(zev::vk::trigpi::table_tan<U, ModelEstimate>(_mm_set1_pd(std::fabs(x)), pole));
  if (_mm_movemask_pd(pole) != 0) return NAN;
  return std::signbit(x) ? -t : t;
}

int tand(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) { return mpfr_tanu(y, x, 360, r); }

template <class U>
void check_unit(double half_turn, zevtest::MpfrFn ref) {
  const double eighth = half_turn / 4, row = half_turn / 256;
  // Exact values: tan(n half turns) is +0 for even n, -0 for odd n (before
  // the sign of x); +-1 at n half turns +- an eighth.
  for (int n = 0; n < 9; ++n) {
    const double z = tan_of<U>(n * half_turn);
    EXPECT_EQ(z, 0.0);
    EXPECT_EQ(std::signbit(z), n % 2 == 1) << n;
    EXPECT_EQ(tan_of<U>(n * half_turn + eighth), 1.0) << n;
    EXPECT_EQ(tan_of<U>(n * half_turn - eighth + (n == 0 ? half_turn : 0)), -1.0) << n;
  }
  // Next to the poles, at pivots and at both ends of every row's interval.
  std::vector<double> xs;
  for (double k : {0.0, 1.0, 7.0, 1000.0, 3e9}) {
    const double pole = k * half_turn + 2 * eighth;
    double lo = pole, hi = pole;
    for (int i = 0; i < 6; ++i) {
      xs.push_back(lo = std::nextafter(lo, 0.0));
      xs.push_back(hi = std::nextafter(hi, INFINITY));
    }
  }
  for (int j = 0; j < 256; ++j)
    for (double d : {0.0, 0.49 * row, -0.49 * row}) xs.push_back(3 * half_turn + j * row + d);
  int poles = 0;
  for (double x : xs) {
    const double t = tan_of<U>(x);
    if (std::isnan(t)) {
      ++poles;
      continue;
    }
    EXPECT_LE(zevtest::ulp_error<double>(ref, x, t), 1.0) << std::hexfloat << x;
  }
  EXPECT_EQ(poles, 1);  // row 128 of the sweep, and only there
}

TEST(TrigPiEstimates, TangentHoldsForEveryEstimate) {
  struct Model {
    double bias;
    bool scattered;
  };
  for (const Model m : {Model{1.0, false}, Model{-1.0, false}, Model{0.0, false}, Model{0.0, true}}) {
    SCOPED_TRACE("bias " + std::to_string(m.bias) + (m.scattered ? " scattered" : ""));
    ModelEstimate::bias = m.bias;
    ModelEstimate::scattered = m.scattered;
    check_unit<HalfTurn>(1.0, mpfr_tanpi);
    check_unit<Degree>(180.0, tand);
  }
  ModelEstimate::bias = 1.0;
  ModelEstimate::scattered = false;
}

}  // namespace
