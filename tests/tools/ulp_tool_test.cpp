// The ulp tool's own contract: its error measure, and that it catches a kernel
// over its bound, a mishandled special value, lane crosstalk, writes past the
// results, and an entry that is missing.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <map>
#include <string>

#include "tools/ulp/ulp.h"

namespace {

using namespace zev::ulp;

struct MeasureCase {
  const char* what;
  bool single;
  const char* exact;  // the exact value, decimal or hex, for MPFR
  double got;
  bool exact_fn;
  int special;        // Compare::Kind expected
  double ulp;         // expected signed error (ignored if special)
};

TEST(UlpMeasure, ErrorInUlpsOfTheExactValue) {
  const double inf = INFINITY;
  const MeasureCase cases[] = {
      {"exact hit", true, "1", 1.0, false, Compare::kOk, 0.0},
      {"one ulp above one", true, "1", 0x1.000002p+0, false, Compare::kOk, 1.0},
      {"below a power of two: the exact value's ulp", true, "1", 0x1.fffffep-1, false, Compare::kOk, -0.5},
      {"fraction of an ulp", false, "0x1.00000000000008p+0", 1.0, false, Compare::kOk, -0.5},
      {"subnormal: the least ulp", true, "0x3.4p-149", 0x3p-149, false, Compare::kOk, -0.25},
      {"underflow to zero", false, "0x0.8p-1074", 0.0, false, Compare::kOk, -0.5},
      {"overflow rounded to infinity", true, "0x1.8p+128", inf, false, Compare::kOk, 0.0},
      {"infinity past the largest", true, "0x1.fffffe8p+127", inf, false, Compare::kOk, 0.75},
      {"largest for an overflow", false, "0x1p+1025", DBL_MAX, false, Compare::kOk, -0x1p+53},
      {"exact zero, wrong sign", true, "-0", 0.0, false, Compare::kZeroSign, 0},
      {"exact zero, right sign", true, "-0", -0.0, false, Compare::kOk, 0},
      {"NaN wanted", false, "@NaN@", 1.0, false, Compare::kNaN, 0},
      {"NaN given", false, "2", NAN, false, Compare::kNaN, 0},
      {"exact infinity", true, "-@Inf@", -FLT_MAX, false, Compare::kInfinity, 0},
      {"correctly rounded: rounding error not counted", false, "0x1.00000000000001p+0", 1.0, true, Compare::kOk, 0},
      {"correctly rounded: a different neighbour", false, "0x1.00000000000001p+0", 0x1.0000000000001p+0, true,
       Compare::kOk, 1.0},
  };
  mpfr_t y;
  mpfr_init2(y, 256);
  for (const MeasureCase& c : cases) {
    SCOPED_TRACE(c.what);
    mpfr_set_emin(mpfr_get_emin_min());
    mpfr_set_emax(mpfr_get_emax_max());
    ASSERT_EQ(mpfr_set_str(y, c.exact, 0, MPFR_RNDN), 0);
    const Format f = format_of(c.single);
    Ref ref;
    make_ref(y, f, ref);
    const Compare got = compare(c.got, ref, f, c.exact_fn);
    EXPECT_EQ(got.special, c.special);
    if (c.special == Compare::kOk) {
      EXPECT_DOUBLE_EQ(got.ulp, c.ulp);
    }
  }
  mpfr_clear(y);
}

TEST(UlpMeasure, CorrectBitsOfARelativeError) {
  const Format s = format_of(true), d = format_of(false);
  EXPECT_DOUBLE_EQ(correct_bits(0x1p-12, s), 12.0);
  EXPECT_DOUBLE_EQ(correct_bits(0.0, s), 24.0);
  EXPECT_DOUBLE_EQ(correct_bits(0x1p-30, d), 30.0);
  EXPECT_DOUBLE_EQ(correct_bits(INFINITY, d), 0.0);
}

// ---- A fake module: entries of a made-up row "sTwice" (2x), with faults ----

int g_status = 0;
int fake_clear() {
  int s = g_status;
  g_status = 0;
  return s;
}
int fake_get() { return g_status; }

void good(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = 2.0f * a[i];
}
// Two ulps off in [1, 2): over the HA bound, within LA's.
void two_ulps(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) {
    const float x = a[i];  // r may be a
    r[i] = 2.0f * x;
    if (x >= 1.0f && x < 1.5f) r[i] = std::nextafter(std::nextafter(r[i], 8.0f), 8.0f);
  }
}
void nan_to_zero(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = std::isnan(a[i]) ? 0.0f : 2.0f * a[i];
}
// A lane that sees an infinity in the lane before it goes wrong.
void crosstalk(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = (i > 0 && std::isinf(a[i - 1])) ? a[i] : 2.0f * a[i];
}
void writes_past(int n, const float* a, float* r) {
  good(n, a, r);
  r[n] = 0.0f;
}

void good_i(int n, const float* a, int inca, float* r, int incr) {
  for (int i = 0; i < n; ++i) r[i * incr] = 2.0f * a[i * inca];
}
// Ignores the result stride.
void packs_results(int n, const float* a, int inca, float* r, int) {
  for (int i = 0; i < n; ++i) r[i] = 2.0f * a[i * inca];
}

std::map<std::string, void*>* g_entries;
void* fake_resolve(const char* name) {
  auto it = g_entries->find(name);
  return it == g_entries->end() ? nullptr : it->second;
}

void ref_twice(mpfr_t y, const mpfr_t a, const mpfr_t) { mpfr_mul_2ui(y, a, 1, MPFR_RNDN); }

struct FaultCase {
  const char* what;
  void (*kernel)(int, const float*, float*);
  void (*strided)(int, const float*, int, float*, int);
  State state;
  bool pass_ha, pass_la;
  bool special, crosstalk, outside;
};

TEST(UlpRunner, FindsEveryKindOfFault) {
  const FaultCase cases[] = {
      {"correct", good, good_i, State::Measured, true, true, false, false, false},
      {"two ulps", two_ulps, good_i, State::Measured, false, true, false, false, false},
      {"NaN lost", nan_to_zero, good_i, State::Measured, false, false, true, false, false},
      {"crosstalk", crosstalk, good_i, State::Measured, false, false, false, true, false},
      {"write past the end", writes_past, good_i, State::Measured, false, false, false, false, true},
      {"strided form ignores its stride", good, packs_results, State::Measured, false, false, true, false, true},
  };
  FuncDesc fd{.row = "sTwice", .arity = Arity::Unary, .ref = ref_twice, .a = {{-1e30, 1e30}}, .points = {1.0, 2.0}};
  Options opt;
  opt.random_points = 3000;
  opt.dense = 4;
  opt.crosstalk_inputs = 64;
  const Env env{fake_resolve, fake_clear, fake_get};
  for (const FaultCase& c : cases) {
    SCOPED_TRACE(c.what);
    std::map<std::string, void*> entries{{"_vqmsTwice_21", reinterpret_cast<void*>(c.kernel)},
                                         {"_vqmsTwice", reinterpret_cast<void*>(c.kernel)},
                                         {"_vqmsTwiceI_21", reinterpret_cast<void*>(c.strided)},
                                         {"_vqmsTwiceI", reinterpret_cast<void*>(c.strided)}};
    g_entries = &entries;  // no EP entry: reported missing
    const std::vector<LevelResult> res = measure_function(fd, opt, env);
    ASSERT_EQ(res.size(), 3u);
    EXPECT_EQ(res[kEP].state, State::Missing);
    const LevelResult& la = res[kLA];
    const LevelResult& ha = res[kHA];
    EXPECT_EQ(ha.state, c.state);
    EXPECT_EQ(ha.pass(), c.pass_ha);
    EXPECT_EQ(la.pass(), c.pass_la);
    EXPECT_EQ(ha.special_mismatches > 0, c.special);
    EXPECT_EQ(ha.crosstalk_failures > 0, c.crosstalk);
    EXPECT_EQ(ha.outside_writes > 0, c.outside);
    if (c.kernel == two_ulps) {
      EXPECT_DOUBLE_EQ(ha.worst_ulp, 2.0);
      EXPECT_GE(ha.worst_ulp_at.in.a, 1.0);
      EXPECT_LT(ha.worst_ulp_at.in.a, 1.5);
    }
    if (c.state == State::Measured) {
      EXPECT_EQ(ha.strided_entry, "_vqmsTwiceI");
      if (!c.special) {
        EXPECT_GT(ha.strided_points, 3000);
      }
    }
  }
}

TEST(UlpRunner, InputsCoverSpecialsAndEveryBinade) {
  FuncDesc fd{.row = "dTwice", .arity = Arity::Unary, .ref = ref_twice, .a = {{0.0, DBL_MAX}}, .points = {709.78}};
  Options opt;
  opt.random_points = 20000;
  const std::vector<Point> pts = make_inputs(fd, opt);
  bool nan = false, neg_zero = false, inf = false, subnormal = false, near_point = false;
  int binades[2200] = {};
  for (const Point& p : pts) {
    nan |= std::isnan(p.a);
    neg_zero |= p.a == 0.0 && std::signbit(p.a);
    inf |= std::isinf(p.a);
    subnormal |= p.a != 0.0 && std::fabs(p.a) < DBL_MIN;
    near_point |= p.a != 709.78 && std::fabs(p.a - 709.78) < 1e-12;
    if (std::isfinite(p.a) && p.a > 0.0) ++binades[std::ilogb(p.a) + 1075];
  }
  EXPECT_TRUE(nan && neg_zero && inf && subnormal && near_point);
  int empty = 0;
  for (int e = -1022; e <= 1023; ++e) empty += binades[e + 1075] == 0;
  EXPECT_LT(empty, 40);  // random points reach nearly every binade
  // A fixed seed: the same inputs every run.
  const std::vector<Point> again = make_inputs(fd, opt);
  ASSERT_EQ(again.size(), pts.size());
  EXPECT_EQ(memcmp(again.data(), pts.data(), pts.size() * sizeof(Point)), 0);
}

}  // namespace
