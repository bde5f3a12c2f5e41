// Gamma and the exponential integral: the special-case table of
// docs/vector_gamma.md row by row (result class, status, errno), finite
// results near the zeros, poles and range ends against MPFR, every count on
// guarded buffers, strided forms, the callout (names, indices, a callback that
// stops the default handling), and the element loop's care of the caller's
// x87 control word and MXCSR. Accuracy over the whole domain is the ulp
// tool's job.
#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "fp.h"
#include "callout_record.h"
#include "guarded.h"
#include "one_call.h"
#include "mpfr_ulp.h"
#include "tools/gamma_tables/e1_double.h"
#include "zev/zev_vqm.h"

namespace {

using zevtest::bits;
using zevtest::Guarded;
using zevtest::ModeScope;
using zevtest::MpfrFn;
using zevtest::ulp_error;

int ref_lgamma(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) {
  int sign;
  return mpfr_lgamma(y, &sign, x, r);
}
int ref_e1(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) {
  mpfr_t t;
  mpfr_init2(t, mpfr_get_prec(y));
  mpfr_neg(t, x, r);
  const int i = mpfr_eint(y, t, r);
  mpfr_neg(y, y, r);
  mpfr_clear(t);
  return -i;
}

template <class T> using PlainFn = void (*)(int, const T*, T*);
template <class T> using StridedFn = void (*)(int, const T*, int, T*, int);

template <class T>
struct Entry {
  const char* name;  // row and level
  PlainFn<T> f;
  StridedFn<T> fi;
  MpfrFn ref;
  double bound;  // ulp of the finite results
};

// EP bounds in ulps: 2^-11 and 2^-26 relative are 2^13 and 2^27 ulps at most.
const Entry<float> kSingle[] = {
    {"sLGamma LA", _vqmsLGamma_21, _vqmsLGammaI_21, ref_lgamma, 4},
    {"sLGamma HA", _vqmsLGamma_HA, _vqmsLGammaI_HA, ref_lgamma, 1},
    {"sLGamma EP", _vqmsLGamma_11, _vqmsLGammaI_11, ref_lgamma, 1},
    {"sTGamma HA", _vqmsTGamma_HA, _vqmsTGammaI_HA, mpfr_gamma, 1},
    {"sExpInt1 LA", _vqmsExpInt1_21, _vqmsExpInt1I_21, ref_e1, 4},
    {"sExpInt1 HA", _vqmsExpInt1_HA, _vqmsExpInt1I_HA, ref_e1, 1},
    {"sExpInt1 EP", _vqmsExpInt1_11, _vqmsExpInt1I_11, ref_e1, 8192},
};
const Entry<double> kDouble[] = {
    {"dLGamma LA", _vqmdLGamma_50, _vqmdLGammaI_50, ref_lgamma, 4},
    {"dLGamma HA", _vqmdLGamma_HA, _vqmdLGammaI_HA, ref_lgamma, 1},
    {"dLGamma EP", _vqmdLGamma_26, _vqmdLGammaI_26, ref_lgamma, 1},
    {"dTGamma HA", _vqmdTGamma_HA, _vqmdTGammaI_HA, mpfr_gamma, 1},
    {"dTGamma EP", _vqmdTGamma_26, _vqmdTGammaI_26, mpfr_gamma, 1},
    {"dExpInt1 LA", _vqmdExpInt1_50, _vqmdExpInt1I_50, ref_e1, 4},
    {"dExpInt1 HA", _vqmdExpInt1_HA, _vqmdExpInt1I_HA, ref_e1, 1},
    {"dExpInt1 EP", _vqmdExpInt1_26, _vqmdExpInt1I_26, ref_e1, 1 << 27},
};

template <class T> const Entry<T>& entry(const std::string& name);
template <> const Entry<float>& entry<float>(const std::string& name) {
  for (const auto& e : kSingle)
    if (name == e.name) return e;
  abort();
}
template <> const Entry<double>& entry<double>(const std::string& name) {
  for (const auto& e : kDouble)
    if (name == e.name) return e;
  abort();
}

// ---- the special-case table ------------------------------------------------------

enum Kind { kFinite, kPlusInf, kMinusInf, kNaN, kPlusZero, kMinusZero, kTiny };

template <class T>
struct Case {
  const char* fn;  // row and level, as in the entries above
  T x;
  Kind kind;
  int status;
};

// Each row of the table runs at the levels listed with it.
const Case<double> kDoubleCases[] = {
    // LGamma: NaN and infinities give x*x, zeros and poles +Inf with 2,
    // overflow +Inf with 3, 1 and 2 exactly +0.
    {"dLGamma HA", NAN, kNaN, 0},            {"dLGamma HA", INFINITY, kPlusInf, 0},
    {"dLGamma HA", -INFINITY, kPlusInf, 0},  {"dLGamma HA", 0.0, kPlusInf, 2},
    {"dLGamma HA", -0.0, kPlusInf, 2},       {"dLGamma HA", -1.0, kPlusInf, 2},
    {"dLGamma HA", -2.0, kPlusInf, 2},       {"dLGamma HA", -171.0, kPlusInf, 2},
    {"dLGamma HA", -0x1p60, kPlusInf, 2},    {"dLGamma HA", 1.0, kPlusZero, 0},
    {"dLGamma HA", 2.0, kPlusZero, 0},       {"dLGamma HA", DBL_MAX, kPlusInf, 3},
    {"dLGamma HA", 2.5599833278516387e305, kPlusInf, 3},
    {"dLGamma HA", 2.5599833278516383e305, kFinite, 0},
    {"dLGamma HA", 4.9e-324, kFinite, 0},    {"dLGamma HA", -4.9e-324, kFinite, 0},
    {"dLGamma HA", -2.4570247382208006, kFinite, 0},   // a zero on the negative axis
    {"dLGamma HA", -2.7476826467274127, kFinite, 0},
    {"dLGamma HA", -15.000000000000764, kFinite, 0},
    {"dLGamma HA", -3.0000000000000004, kFinite, 0},   // next to a pole
    {"dLGamma HA", 0.99999999999999989, kFinite, 0},   // next to the zero at 1
    {"dLGamma HA", 2.0000000000000004, kFinite, 0},
    {"dLGamma HA", -4503599627370495.5, kFinite, 0},   // the last non-integer
    {"dLGamma HA", 0.875, kFinite, 0},       {"dLGamma HA", 1.25, kFinite, 0},
    {"dLGamma HA", 1.75, kFinite, 0},        {"dLGamma HA", 2.25, kFinite, 0},
    {"dLGamma HA", 4.0, kFinite, 0},         {"dLGamma HA", 8.0, kFinite, 0},
    {"dLGamma HA", 512.0, kFinite, 0},       {"dLGamma LA", 0.0, kPlusInf, 2},
    {"dLGamma EP", DBL_MAX, kPlusInf, 3},
    // TGamma: poles at zero (2), NaN at the negative integers and -Inf (1);
    // overflow and underflow leave Inf and zeros with no status.
    {"dTGamma HA", NAN, kNaN, 0},            {"dTGamma HA", INFINITY, kPlusInf, 0},
    {"dTGamma HA", -INFINITY, kNaN, 1},      {"dTGamma HA", 0.0, kPlusInf, 2},
    {"dTGamma HA", -0.0, kMinusInf, 2},      {"dTGamma HA", -1.0, kNaN, 1},
    {"dTGamma HA", -170.0, kNaN, 1},         {"dTGamma HA", -0x1p60, kNaN, 1},
    {"dTGamma HA", 171.63, kPlusInf, 0},     {"dTGamma HA", 1e300, kPlusInf, 0},
    {"dTGamma HA", 171.62, kFinite, 0},      {"dTGamma HA", 5.0, kFinite, 0},
    {"dTGamma HA", 1e-310, kPlusInf, 0},     {"dTGamma HA", -1e-310, kMinusInf, 0},
    {"dTGamma HA", 1e-300, kFinite, 0},      {"dTGamma HA", -1e-300, kFinite, 0},
    {"dTGamma HA", -2.0000000000000004, kFinite, 0},
    {"dTGamma HA", -0.5, kFinite, 0},        {"dTGamma HA", -175.5, kTiny, 0},
    {"dTGamma HA", -200.5, kMinusZero, 0},   {"dTGamma HA", -201.5, kPlusZero, 0},
    {"dTGamma HA", -1e10 - 0.5, kMinusZero, 0},
    {"dTGamma EP", -3.0, kNaN, 1},
    // ExpInt1: a pole at zero (2), not defined below (1).
    {"dExpInt1 HA", NAN, kNaN, 0},           {"dExpInt1 HA", INFINITY, kPlusZero, 0},
    {"dExpInt1 HA", -INFINITY, kNaN, 1},     {"dExpInt1 HA", 0.0, kPlusInf, 2},
    {"dExpInt1 HA", -0.0, kPlusInf, 2},      {"dExpInt1 HA", -1.0, kNaN, 1},
    {"dExpInt1 HA", -4.9e-324, kNaN, 1},     {"dExpInt1 HA", 4.9e-324, kFinite, 0},
    {"dExpInt1 HA", 1.0, kFinite, 0},        {"dExpInt1 HA", 2.5, kFinite, 0},
    {"dExpInt1 HA", 2.4999999999999996, kFinite, 0},
    {"dExpInt1 HA", 700.0, kFinite, 0},      {"dExpInt1 HA", 720.0, kTiny, 0},
    {"dExpInt1 HA", 746.0, kPlusZero, 0},    {"dExpInt1 HA", 1e300, kPlusZero, 0},
    {"dExpInt1 EP", NAN, kNaN, 0},           {"dExpInt1 EP", INFINITY, kPlusZero, 0},
    {"dExpInt1 EP", -INFINITY, kNaN, 1},     {"dExpInt1 EP", 0.0, kPlusInf, 2},
    {"dExpInt1 EP", -0.0, kPlusInf, 2},      {"dExpInt1 EP", -1.0, kNaN, 1},
    {"dExpInt1 EP", 1e-310, kFinite, 0},     {"dExpInt1 EP", 0.99999999999999989, kFinite, 0},
    {"dExpInt1 EP", 1.0, kFinite, 0},        {"dExpInt1 EP", 699.99, kFinite, 0},
    {"dExpInt1 EP", 700.0, kFinite, 0},      {"dExpInt1 EP", 720.0, kTiny, 0},
    {"dExpInt1 EP", 1023.9, kPlusZero, 0},   {"dExpInt1 LA", 0.0, kPlusInf, 2},
};

const Case<float> kSingleCases[] = {
    {"sLGamma HA", NAN, kNaN, 0},            {"sLGamma HA", -INFINITY, kPlusInf, 0},
    {"sLGamma HA", 0.0f, kPlusInf, 2},       {"sLGamma HA", -0.0f, kPlusInf, 2},
    {"sLGamma HA", -5.0f, kPlusInf, 2},      {"sLGamma HA", 1.0f, kPlusZero, 0},
    {"sLGamma HA", 2.0f, kPlusZero, 0},      {"sLGamma HA", FLT_MAX, kPlusInf, 3},
    {"sLGamma HA", 4.1e36f, kPlusInf, 3},    {"sLGamma HA", 4.0e36f, kFinite, 0},
    {"sLGamma HA", -2.457025f, kFinite, 0},  {"sLGamma HA", -3.1435809f, kFinite, 0},
    {"sLGamma HA", 1e-45f, kFinite, 0},      {"sLGamma HA", -8388607.5f, kFinite, 0},
    {"sTGamma HA", -INFINITY, kNaN, 1},      {"sTGamma HA", 0.0f, kPlusInf, 2},
    {"sTGamma HA", -0.0f, kMinusInf, 2},     {"sTGamma HA", -7.0f, kNaN, 1},
    {"sTGamma HA", 35.05f, kPlusInf, 0},     {"sTGamma HA", 35.04f, kFinite, 0},
    {"sTGamma HA", 1e-39f, kPlusInf, 0},     {"sTGamma HA", -36.5f, kTiny, 0},
    {"sTGamma HA", -50.5f, kMinusZero, 0},   {"sTGamma HA", -0.5f, kFinite, 0},
    {"sExpInt1 HA", NAN, kNaN, 0},           {"sExpInt1 HA", 0.0f, kPlusInf, 2},
    {"sExpInt1 HA", -2.0f, kNaN, 1},         {"sExpInt1 HA", 1.0f, kFinite, 0},
    {"sExpInt1 HA", 90.0f, kTiny, 0},        {"sExpInt1 HA", 200.0f, kPlusZero, 0},
    {"sExpInt1 EP", NAN, kNaN, 0},           {"sExpInt1 EP", 0.0f, kPlusInf, 2},
    {"sExpInt1 EP", -0.0f, kPlusInf, 2},     {"sExpInt1 EP", -2.0f, kNaN, 1},
    {"sExpInt1 EP", INFINITY, kPlusZero, 0}, {"sExpInt1 EP", 1e-45f, kFinite, 0},
    {"sExpInt1 EP", 1.0f, kFinite, 0},       {"sExpInt1 EP", 50.0f, kFinite, 0},
    {"sExpInt1 EP", 90.0f, kTiny, 0},        {"sExpInt1 EP", 800.0f, kPlusZero, 0},
};

template <class T>
void check_cases(const Case<T>* cases, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const Case<T>& c = cases[i];
    const Entry<T>& e = entry<T>(c.fn);
    SCOPED_TRACE(std::string(c.fn) + " at " + std::to_string(static_cast<double>(c.x)));
    const zevtest::Outcome<T> o = zevtest::call_one(e.f, c.x);
    const T y = o.y;
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.err, zevtest::errno_of(c.status));
    const T least = sizeof(T) == 4 ? FLT_MIN : DBL_MIN;
    switch (c.kind) {
      case kPlusInf: EXPECT_TRUE(std::isinf(y) && y > 0) << y; break;
      case kMinusInf: EXPECT_TRUE(std::isinf(y) && y < 0) << y; break;
      case kNaN: EXPECT_TRUE(std::isnan(y)) << y; break;
      case kPlusZero: EXPECT_EQ(bits(y), bits(T(0))) << y; break;
      case kMinusZero: EXPECT_EQ(bits(y), bits(T(-0.0))) << y; break;
      case kTiny:
        EXPECT_TRUE(y != 0 && std::fabs(y) < least) << y;
        EXPECT_LE(ulp_error<T>(e.ref, c.x, y), e.bound);
        break;
      case kFinite:
        EXPECT_TRUE(std::isfinite(y)) << y;
        EXPECT_LE(ulp_error<T>(e.ref, c.x, y), e.bound) << y;
        break;
    }
  }
}

TEST(GammaFamily, SpecialCasesDouble) { check_cases(kDoubleCases, std::size(kDoubleCases)); }
TEST(GammaFamily, SpecialCasesSingle) { check_cases(kSingleCases, std::size(kSingleCases)); }

// E1 in its far tail, in arrays as the exhaustive check passes them: every
// result is +0 from where E1 leaves the format on. The band from about 11356
// on, where e^-x's scale 2^k would leave the extended exponent range, once
// gave -Inf at every level.
template <class T>
void e1_far_tail(const Entry<T>& e, double from) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  std::vector<T> x;
  for (double v = from; v < 0x1p20; v *= 1.01) x.push_back(static_cast<T>(v));
  for (double v = 11350; v <= 12010; v += 0.25) x.push_back(static_cast<T>(v));
  x.push_back(std::numeric_limits<T>::max());
  std::vector<T> y(x.size(), T(-7));
  e.f(static_cast<int>(x.size()), x.data(), y.data());
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
  for (size_t i = 0; i < x.size(); ++i) ASSERT_EQ(bits(y[i]), bits(T(0))) << "x " << x[i];
}

TEST(GammaFamily, ExpInt1FarTailIsZero) {
  for (const char* name : {"sExpInt1 LA", "sExpInt1 HA", "sExpInt1 EP"}) e1_far_tail(entry<float>(name), 104.0);
  for (const char* name : {"dExpInt1 LA", "dExpInt1 HA", "dExpInt1 EP"}) e1_far_tail(entry<double>(name), 745.2);
}

// The switch points of the scalar functions, each with two neighbours on
// either side, against MPFR: the depths of E1's continued fraction, the
// lengths of Stirling's series and the ends of lgamma's branches, and gamma's
// recurrence, where an off-by-one in a depth, a length or a count shows.
TEST(GammaFamily, SwitchPointsAgainstMpfr) {
  struct Point {
    const char* fn;
    std::vector<double> xs;
  };
  const Point points[] = {
      {"dExpInt1 HA", {2.5, 3, 4, 6, 8, 12, 16, 24, 32, 64, 128, 700}},
      {"dLGamma HA", {0.25, 0.875, 1.25, 1.75, 2.25, 4, 8, 16, 64, 512, 0x1p1000}},
      {"dTGamma HA", {0.25, 1, 2, 3, 8, 100.5, 171.5, -0.5, -7.5, -100.5, -170.5}},
  };
  for (const Point& p : points) {
    const Entry<double>& e = entry<double>(p.fn);
    for (double x0 : p.xs) {
      double x = std::nextafter(std::nextafter(x0, -INFINITY), -INFINITY);
      for (int k = 0; k < 5; ++k, x = std::nextafter(x, INFINITY)) {
        double y;
        e.f(1, &x, &y);
        EXPECT_LE(ulp_error<double>(e.ref, x, y), e.bound) << p.fn << " at " << x;
      }
    }
  }
}

// Subnormal arguments of LGamma and ExpInt1 with and without the caller's
// DAZ and FTZ: the loops leave MXCSR to the caller, and a subnormal read as
// zero by an SSE conversion or compare once met a path that had already ruled
// zero out (lgamma(0x1p-140f) gave 0x1.25p0, then 0x1.79p13; E1 gave +Inf).
// The result must not depend on those bits.
TEST(GammaFamily, SubnormalArgumentsUnderCallersDaz) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const unsigned old = _mm_getcsr();
  for (unsigned csr : {old & ~0x8040u, old | 0x8040u}) {
    for (const char* fn : {"sLGamma LA", "sLGamma HA", "sLGamma EP"}) {
      const Entry<float>& e = entry<float>(fn);
      for (float x : {0x1p-149f, -0x1p-149f, 0x1p-140f, -0x1.8p-131f, 0x1.fffffcp-127f, -0x1.fffffcp-127f}) {
        float y;
        _mm_setcsr(csr);
        e.f(1, &x, &y);
        _mm_setcsr(old);
        EXPECT_LE(ulp_error<float>(e.ref, x, y), e.bound) << fn << " at " << x << (csr & 0x40 ? " DAZ" : "");
      }
    }
    for (const char* fn : {"sExpInt1 LA", "sExpInt1 HA", "sExpInt1 EP"}) {
      const Entry<float>& e = entry<float>(fn);
      for (float x : {0x1p-149f, 0x1p-140f, 0x1.fffffcp-127f}) {
        float y;
        _mm_setcsr(csr);
        e.f(1, &x, &y);
        _mm_setcsr(old);
        EXPECT_LE(ulp_error<float>(e.ref, x, y), e.bound) << fn << " at " << x << (csr & 0x40 ? " DAZ" : "");
      }
    }
    for (const char* fn : {"dLGamma LA", "dLGamma HA", "dLGamma EP", "dExpInt1 LA", "dExpInt1 HA", "dExpInt1 EP"}) {
      const Entry<double>& e = entry<double>(fn);
      const bool e1 = std::string(fn).find("ExpInt1") != std::string::npos;
      for (double x : {0x1p-1074, -0x1p-1074, 0x1p-1070, -0x1.8p-1050, 0x1.ffffffffffffep-1023}) {
        if (e1 && x < 0) continue;
        double y;
        _mm_setcsr(csr);
        e.f(1, &x, &y);
        _mm_setcsr(old);
        EXPECT_LE(ulp_error<double>(e.ref, x, y), e.bound) << fn << " at " << x << (csr & 0x40 ? " DAZ" : "");
      }
    }
  }
}

// Blocks of eight arguments all from 64 on run lgamma's Stirling branch as
// straight code; any other block runs element by element. Around the ends of
// that range (64, the asymptotic branch's 512, the top where results stay
// finite) and the rows of the logarithm, each value goes once into a block of
// its own kind and once into a block with 0.5 in it (the element path): the
// results must be the same bits, and within the bound of MPFR.
template <class T>
void stirling_blocks(const char* fn, std::vector<double> x0s) {
  SCOPED_TRACE(fn);
  const Entry<T>& e = entry<T>(fn);
  std::vector<T> xs;
  for (double x0 : x0s) {
    T x = static_cast<T>(x0);
    x = std::nextafter(std::nextafter(x, T(-INFINITY)), T(-INFINITY));
    for (int k = 0; k < 5; ++k, x = std::nextafter(x, T(INFINITY))) xs.push_back(x);
  }
  while (xs.size() % 8) xs.push_back(T(100));
  std::vector<T> blocks(xs.size()), mixed(xs.size()), in(xs);
  e.f(static_cast<int>(xs.size()), in.data(), blocks.data());
  for (size_t i = 0; i < xs.size(); i += 8) {
    in[i] = T(0.5);  // element 0 of each block forces the element path
    in[i + 1] = xs[i];
  }
  ModeScope mode(VQM_ERRMODE_IGNORE);
  e.f(static_cast<int>(in.size()), in.data(), mixed.data());
  for (size_t i = 0; i < xs.size(); ++i) {
    EXPECT_LE(ulp_error<T>(e.ref, xs[i], blocks[i]), e.bound) << "at " << xs[i];
    const T other = i % 8 == 0 ? mixed[i + 1] : mixed[i];
    if (i % 8 != 1) {
      EXPECT_EQ(bits(blocks[i]), bits(other)) << "at " << xs[i];
    }
  }
}

TEST(GammaFamily, StirlingBlocksMatchElementPath) {
  // 64 and 512 (the branch ends), the top of the block range and a value past
  // it, and arguments whose significand sits on the logarithm's row
  // boundaries (1 + (i + 1/2)/256) and at its ends.
  std::vector<double> d = {64, 512, 0x1p1000, 0x1.8p1000, 65.0 * (1 + 0.5 / 256), 0x1p7 * (1 + 255.5 / 256),
                           0x1p9 * (1 + 127.5 / 256), 0x1p20 * (2 - 0x1p-40), 0x1p300 * (1 + 0x1p-30)};
  stirling_blocks<double>("dLGamma HA", d);
  stirling_blocks<double>("dLGamma EP", d);
  stirling_blocks<float>("sLGamma HA", {64, 512, 0x1p100, 0x1.8p100, 0x1p7 * (1 + 255.5 / 256), 1e30});
}

// ---- every count, guarded; strided forms ------------------------------------------

// Inputs of every branch and special class, repeated cyclically.
template <class T>
std::vector<T> mixed_inputs(size_t n) {
  const double pool[] = {0.3, -2.45, 1.0, 7.5, 600.0, 1.6, -0.0, NAN, -3.0, 2.1, 0.9, 40.0, -17.25, 1e-5, 3.0, 100.0};
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<T>(pool[(i * 7) % std::size(pool)]);
  return v;
}

template <class T>
void every_count(const Entry<T>& e) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const std::vector<T> in = mixed_inputs<T>(40);
  std::vector<T> one(in.size());
  for (size_t i = 0; i < in.size(); ++i) e.f(1, &in[i], &one[i]);
  for (int n = 0; n <= 37; ++n) {
    for (size_t lead = 0; lead < 4; ++lead) {
      Guarded<T> a(n, lead), r(n, lead);
      for (int i = 0; i < n; ++i) a[i] = in[i];
      e.f(n, a.data(), r.data());
      EXPECT_TRUE(r.lead_intact()) << "n " << n;
      for (int i = 0; i < n; ++i) EXPECT_EQ(bits(r[i]), bits(one[i])) << "n " << n << " lane " << i;
    }
    // Strided: inputs every 3rd, results every 2nd, the places between untouched.
    std::vector<T> a(3 * n + 1, T(0.5)), r(2 * n + 1, T(-7));
    for (int i = 0; i < n; ++i) a[3 * i] = in[i];
    e.fi(n, a.data(), 3, r.data(), 2);
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(bits(r[2 * i]), bits(one[i])) << "strided n " << n << " lane " << i;
      EXPECT_EQ(r[2 * i + 1], T(-7));
    }
    // Negative counts write nothing.
    if (n == 0) {
      Guarded<T> g(1);
      g[0] = T(-7);
      e.f(-5, in.data(), g.data());
      e.fi(-5, in.data(), 1, g.data(), 2);
      EXPECT_EQ(g[0], T(-7));
    }
  }
}

TEST(GammaFamily, EveryCountAndStride) {
  for (const auto& e : kSingle) every_count(e);
  for (const auto& e : kDouble) every_count(e);
}

TEST(GammaFamily, InPlace) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  for (const auto& e : kDouble) {
    std::vector<double> a = mixed_inputs<double>(21), want(a.size());
    e.f(static_cast<int>(a.size()), a.data(), want.data());
    e.f(static_cast<int>(a.size()), a.data(), a.data());
    for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(bits(a[i]), bits(want[i])) << e.name << " lane " << i;
  }
}

// ---- the callout ---------------------------------------------------------------------

using zevtest::g_seen;
using zevtest::g_answer;
using zevtest::record_writing;

TEST(GammaFamily, ReportsByElement) {
  struct Row {
    const char* fn;
    const char* name;
    double bad;  // an input that reports
    int status;
  };
  const Row rows[] = {{"dLGamma HA", "vdLGamma", -4.0, 2},   {"dTGamma HA", "vdTGamma", -4.0, 1},
                      {"dExpInt1 HA", "vdExpInt1", -4.0, 1}, {"dExpInt1 EP", "vdExpInt1", 0.0, 2}};
  for (const Row& row : rows) {
    for (bool strided : {false, true}) {
      for (int answer : {0, 1}) {
        SCOPED_TRACE(std::string(row.fn) + (strided ? " strided" : "") + " callback " + std::to_string(answer));
        ModeScope mode(VQM_ERRMODE_CALLBACK | VQM_ERRMODE_ERRNO);
        zev_vqm_kernel_SetErrorCallBack(record_writing);
        g_seen.clear();
        g_answer = answer;
        std::vector<double> a(19, 1.5), r(38, 0.0);
        a[2] = row.bad;
        a[13] = row.bad;
        const Entry<double>& e = entry<double>(row.fn);
        if (strided)
          e.fi(19, a.data(), 1, r.data(), 2);
        else
          e.f(19, a.data(), r.data());
        zev_vqm_kernel_ClearErrorCallBack();
        ASSERT_EQ(g_seen.size(), 2u);
        EXPECT_EQ(g_seen[0].index, 2);
        EXPECT_EQ(g_seen[1].index, 13);
        EXPECT_EQ(g_seen[0].status, row.status);
        EXPECT_EQ(g_seen[0].name, row.name);
        EXPECT_EQ(g_seen[0].a1, row.bad);
        EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), row.status);
        const int step = strided ? 2 : 1;
        // Zero: the record's changed result is written; non-zero: the
        // scalar function's result stands and errno stays clear.
        if (answer == 0) {
          EXPECT_EQ(r[2 * step], zevtest::g_written);
          EXPECT_EQ(errno, row.status == 1 ? EDOM : ERANGE);
        } else {
          EXPECT_TRUE(std::isinf(r[2 * step]) || std::isnan(r[2 * step]));
          EXPECT_EQ(errno, 0);
        }
        EXPECT_EQ(bits(r[3 * step]), bits(r[0]));  // the other lanes keep their values
      }
    }
  }
}

// ---- the caller's control state ---------------------------------------------------------

using zevtest::x87_control;
using zevtest::x87_load_control;

TEST(GammaFamily, ElementLoopKeepsCallerState) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const std::vector<double> in = mixed_inputs<double>(32);
  const uint16_t saved = x87_control();
  const unsigned csr = _mm_getcsr();
  for (const auto& e : kDouble) {
    std::vector<double> want(in.size()), got(in.size());
    e.f(static_cast<int>(in.size()), in.data(), want.data());
    // 53-bit precision; round toward zero; every exception unmasked (the
    // flags raised inside must not become a trap); with MXCSR rounding down.
    for (uint16_t cw : {uint16_t(0x027F), uint16_t(0x0F7F), uint16_t(0x0340)}) {
      x87_load_control(cw);
      _mm_setcsr((csr & ~0x6000u) | 0x2000u);
      e.f(static_cast<int>(in.size()), in.data(), got.data());
      volatile long double probe = 1.0L;
      probe = probe * 2.0L;  // an exact x87 instruction: a pending exception would trap here
      const uint16_t after = x87_control();
      const unsigned csr_after = _mm_getcsr();
      _mm_setcsr(csr);
      x87_load_control(saved);
      EXPECT_EQ(after, cw) << e.name;
      EXPECT_EQ(csr_after & 0xFFC0u, ((csr & ~0x6000u) | 0x2000u) & 0xFFC0u) << e.name;
      for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(bits(got[i]), bits(want[i])) << e.name << " cw " << cw << " lane " << i;
    }
  }
}

// ---- the reference of the exhaustive single check -----------------------------------------

// Its own E1 in double must be far below a single ulp from MPFR.
TEST(GammaFamily, DoubleE1ReferenceAgainstMpfr) {
  double worst = 0;
  for (int i = 0; i < 3000; ++i) {
    const double x = std::ldexp(1.0 + (i % 97) / 97.0, i % 40 - 30);  // 2^-30 ... 2^10
    if (x > 745) continue;
    worst = std::max(worst, ulp_error<double>(ref_e1, x, zev::gammaref::e1_double(x)));
  }
  EXPECT_LT(worst, 4096.0);  // 2^12 double ulps: 2^-17 of a single ulp
}

}  // namespace
