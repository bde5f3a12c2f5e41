// Half-turn and degree sine, cosine and tangent: the special-value table
// (exact zeros with their signs, exact units, poles, infinities, NaN) with its
// statuses and errno at every level, MPFR spot checks near the exact points
// and far out, the callout's names, indices and callback, every count on
// guarded buffers, strided forms. Accuracy over the whole domain is the ulp
// tool's and the exhaustive single check's job.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "fp.h"
#include "callout_record.h"
#include "guarded.h"
#include "one_call.h"
#include "mpfr_ulp.h"
#include "zev/zev_vqm.h"

namespace {

using zevtest::bits;
using zevtest::Guarded;
using zevtest::ModeScope;

template <class T> using PlainFn = void (*)(int, const T*, T*);
template <class T> using StridedFn = void (*)(int, const T*, int, T*, int);

enum Fn { kSin, kCos, kTan };
enum Unit { kHalf, kDeg };

template <class T>
struct Entry {
  const char* row;
  int level;  // 0 LA, 1 HA, 2 EP
  Fn fn;
  Unit unit;
  PlainFn<T> f;
  StridedFn<T> fi;
};

#define ZEV_E3(R, F, U, la, ha, ep)                                                        \
  {#R, 0, F, U, _vqm##R##_##la, _vqm##R##I_##la}, {#R, 1, F, U, _vqm##R##_HA, _vqm##R##I_HA}, \
      {#R, 2, F, U, _vqm##R##_##ep, _vqm##R##I_##ep}
const Entry<float> kSingle[] = {
    ZEV_E3(sSinpi, kSin, kHalf, 21, HA, 11), ZEV_E3(sCospi, kCos, kHalf, 21, HA, 11),
    ZEV_E3(sTanpi, kTan, kHalf, 21, HA, 11), ZEV_E3(sSind, kSin, kDeg, 21, HA, 11),
    ZEV_E3(sCosd, kCos, kDeg, 21, HA, 11),   ZEV_E3(sTand, kTan, kDeg, 21, HA, 11),
};
const Entry<double> kDouble[] = {
    ZEV_E3(dSinpi, kSin, kHalf, 50, HA, 26), ZEV_E3(dCospi, kCos, kHalf, 50, HA, 26),
    ZEV_E3(dTanpi, kTan, kHalf, 50, HA, 26), ZEV_E3(dSind, kSin, kDeg, 50, HA, 26),
    ZEV_E3(dCosd, kCos, kDeg, 50, HA, 26),   ZEV_E3(dTand, kTan, kDeg, 50, HA, 26),
};
#undef ZEV_E3

// ---- the special-value table -----------------------------------------------------------
//
// x in units of a quarter turn (0.5 half-turn, 90 degrees), so that one table
// serves both units; `exact` a value every level returns bit for bit.
struct Special {
  Fn fn;
  double quarters;  // x = quarters * (quarter turn); NaN and infinities as they are
  double exact;
  int status;
};
const double kInf = INFINITY;
const Special kTable[] = {
    // Sine: zeros with the sign of x at every multiple of a half turn, +-1 between.
    {kSin, 0.0, 0.0, 0},   {kSin, -0.0, -0.0, 0},  {kSin, 2, 0.0, 0},    {kSin, -2, -0.0, 0},
    {kSin, 4, 0.0, 0},     {kSin, -6, -0.0, 0},    {kSin, 1, 1.0, 0},    {kSin, -1, -1.0, 0},
    {kSin, 3, -1.0, 0},    {kSin, -3, 1.0, 0},     {kSin, 4098, 0.0, 0}, {kSin, 4099, -1.0, 0},
    {kSin, kInf, NAN, 1},  {kSin, -kInf, NAN, 1},  {kSin, NAN, NAN, 0},
    // Cosine: +0 at every odd quarter, of either sign.
    {kCos, 0.0, 1.0, 0},   {kCos, -0.0, 1.0, 0},   {kCos, 1, 0.0, 0},    {kCos, -1, 0.0, 0},
    {kCos, 3, 0.0, 0},     {kCos, -3, 0.0, 0},     {kCos, 2, -1.0, 0},   {kCos, -2, -1.0, 0},
    {kCos, 4, 1.0, 0},     {kCos, 4097, 0.0, 0},   {kCos, 4098, -1.0, 0}, {kCos, kInf, NAN, 1},
    {kCos, -kInf, NAN, 1}, {kCos, NAN, NAN, 0},
    // Tangent: sine over cosine with their signed zeros; poles with status 2.
    {kTan, 0.0, 0.0, 0},   {kTan, -0.0, -0.0, 0},  {kTan, 2, -0.0, 0},   {kTan, 4, 0.0, 0},
    {kTan, -2, 0.0, 0},    {kTan, -4, -0.0, 0},    {kTan, 0.5, 1.0, 0},  {kTan, -0.5, -1.0, 0},
    {kTan, 1.5, -1.0, 0},  {kTan, 2.5, 1.0, 0},    {kTan, -1.5, 1.0, 0}, {kTan, 1, kInf, 2},
    {kTan, 3, -kInf, 2},   {kTan, -1, -kInf, 2},   {kTan, -3, kInf, 2},  {kTan, 5, kInf, 2},
    {kTan, 4098, -0.0, 0}, {kTan, 4099, -kInf, 2}, {kTan, kInf, NAN, 1}, {kTan, -kInf, NAN, 1},
    {kTan, NAN, NAN, 0},
};

template <class T>
void check_table(const Entry<T>& e) {
  const double quarter = e.unit == kHalf ? 0.5 : 90.0;
  for (const Special& s : kTable) {
    if (s.fn != e.fn) continue;
    const T x = static_cast<T>(std::isfinite(s.quarters) ? s.quarters * quarter : s.quarters);
    SCOPED_TRACE(std::string(e.row) + " level " + std::to_string(e.level) + " at " + std::to_string(double(x)));
    const zevtest::Outcome<T> o = zevtest::call_one(e.f, x);
    if (std::isnan(s.exact))
      EXPECT_TRUE(std::isnan(o.y));
    else
      EXPECT_EQ(bits(o.y), bits(static_cast<T>(s.exact))) << o.y;
    EXPECT_EQ(o.status, s.status);
    EXPECT_EQ(o.err, zevtest::errno_of(s.status));
  }
}

TEST(TrigPi, SpecialTableSingle) {
  for (const auto& e : kSingle) check_table(e);
}
TEST(TrigPi, SpecialTableDouble) {
  for (const auto& e : kDouble) check_table(e);
}

// Beyond the table: the largest values are even integers (sine and tangent
// +-0, cosine 1) in half-turns; odd integers just below 2^53 and 2^24; the
// degree forms on huge multiples of 360 and 180.
TEST(TrigPi, HugeArguments) {
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  for (int lv = 0; lv < 3; ++lv) {
    const double xs[] = {DBL_MAX, -0x1p60, 0x1p53 - 1, 0x1p52 + 1, 0x1p51 + 0.5};
    const double want_sin[] = {0.0, -0.0, 0.0, 0.0, 1.0}, want_cos[] = {1.0, 1.0, -1.0, -1.0, 0.0};
    for (int i = 0; i < 5; ++i) {
      double r;
      kDouble[lv].f(1, &xs[i], &r);
      EXPECT_EQ(bits(r), bits(want_sin[i])) << xs[i];
      kDouble[3 + lv].f(1, &xs[i], &r);
      EXPECT_EQ(bits(r), bits(want_cos[i])) << xs[i];
    }
    const float fs[] = {FLT_MAX, 0x1p24f - 1, -0x1p23f - 1};
    const float fsin[] = {0.0f, 0.0f, -0.0f}, fcos[] = {1.0f, -1.0f, -1.0f};
    for (int i = 0; i < 3; ++i) {
      float r;
      kSingle[lv].f(1, &fs[i], &r);
      EXPECT_EQ(bits(r), bits(fsin[i])) << fs[i];
      kSingle[3 + lv].f(1, &fs[i], &r);
      EXPECT_EQ(bits(r), bits(fcos[i])) << fs[i];
    }
    // 360 * 2^60 and 180 * (2^60 + 1) in degrees.
    const double d[] = {360 * 0x1p60, 180 * (0x1p40 + 1)};
    double r;
    kDouble[9 + lv].f(1, &d[0], &r);   // dSind
    EXPECT_EQ(bits(r), bits(0.0));
    kDouble[12 + lv].f(1, &d[1], &r);  // dCosd
    EXPECT_EQ(r, -1.0);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
  }
}

// ---- MPFR spot checks --------------------------------------------------------------

int sind(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) { return mpfr_sinu(y, x, 360, r); }
int cosd(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) { return mpfr_cosu(y, x, 360, r); }
int tand(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) { return mpfr_tanu(y, x, 360, r); }
zevtest::MpfrFn reference(Fn f, Unit u) {
  if (u == kHalf) return f == kSin ? mpfr_sinpi : f == kCos ? mpfr_cospi : mpfr_tanpi;
  return f == kSin ? sind : f == kCos ? cosd : tand;
}

// Steps of a few ulps around every quarter and eighth of a turn up to four
// turns, near 2^k for some large k, and random points: within the level's bound.
template <class T>
void check_spots(const Entry<T>& e) {
  constexpr bool single = sizeof(T) == 4;
  const double bound = e.level == 1 ? 1.0 : e.level == 0 ? 4.0 : (single ? 0x1p12 : 0x1p26);
  const double eighth = e.unit == kHalf ? 0.25 : 45.0;
  std::vector<T> xs;
  for (int j = -32; j <= 32; ++j) {
    T c = static_cast<T>(j * eighth);
    for (int s = 0; s < 4; ++s) c = std::nextafter(c, T(-1e30));
    for (int s = 0; s < 9; ++s, c = std::nextafter(c, T(1e30))) xs.push_back(c);
  }
  std::mt19937 g(17);
  std::uniform_real_distribution<double> u(-4 * eighth * 4, 4 * eighth * 4);
  std::uniform_int_distribution<int> ex(-40, single ? 120 : 1000);
  for (int i = 0; i < 300; ++i) xs.push_back(static_cast<T>(u(g)));
  for (int i = 0; i < 300; ++i) xs.push_back(static_cast<T>(std::ldexp(u(g) / 16, ex(g))));
  for (T x : {T(1e-30), T(-3e-38), single ? T(1e-44) : T(1e-310), single ? T(3e38) : T(1.7e308)}) xs.push_back(x);
  std::vector<T> r(xs.size());
  ModeScope mode(VQM_ERRMODE_IGNORE);
  e.f(static_cast<int>(xs.size()), xs.data(), r.data());
  const zevtest::MpfrFn ref = reference(e.fn, e.unit);
  for (size_t i = 0; i < xs.size(); ++i) {
    if (std::isinf(r[i])) continue;  // a pole of the table
    EXPECT_LE(zevtest::ulp_error(ref, xs[i], r[i]), bound) << e.row << " level " << e.level << " at " << xs[i];
  }
}

TEST(TrigPi, AccuracySpots) {
  for (const auto& e : kSingle) check_spots(e);
  for (const auto& e : kDouble) check_spots(e);
}

// Next to every quarter turn up to four turns, the single sines and cosines
// stay within [-1, 1] at every level (the float cores clamp their polynomials).
TEST(TrigPi, SingleNeverPassesOne) {
  for (const auto& e : kSingle) {
    if (e.fn == kTan) continue;
    const float quarter = e.unit == kHalf ? 0.5f : 90.0f;
    std::vector<float> xs;
    for (int j = -16; j <= 16; ++j) {
      float c = static_cast<float>(j) * quarter;
      for (int s = 0; s < 64; ++s) c = std::nextafter(c, -1e30f);
      for (int s = 0; s < 129; ++s, c = std::nextafter(c, 1e30f)) xs.push_back(c);
    }
    std::vector<float> r(xs.size());
    e.f(static_cast<int>(xs.size()), xs.data(), r.data());
    for (size_t i = 0; i < xs.size(); ++i)
      ASSERT_LE(std::fabs(r[i]), 1.0f) << e.row << " level " << e.level << " at " << xs[i];
  }
}

// ---- callout, counts, strides ------------------------------------------------------

using zevtest::g_seen;
using zevtest::record_writing;

// One infinity and one pole (tangents) in a block of ordinary lanes: reports in
// element order with the row's name; the callback's result lands in the array
// and the other lanes keep their values; the strided form reports the same.
template <class T>
void check_callout(const Entry<T>& e, bool strided) {
  SCOPED_TRACE(std::string(e.row) + " level " + std::to_string(e.level) + (strided ? " strided" : ""));
  const int n = 21;
  const double quarter = e.unit == kHalf ? 0.5 : 90.0;
  std::vector<T> a(n), r(2 * n), clean(n);
  for (int i = 0; i < n; ++i) a[i] = static_cast<T>((i % 7) * quarter / 3 + quarter / 5);
  e.f(n, a.data(), clean.data());
  a[4] = static_cast<T>(-INFINITY);
  if (e.fn == kTan) a[13] = static_cast<T>(3 * quarter);
  ModeScope mode(VQM_ERRMODE_CALLBACK);
  zev_vqm_kernel_SetErrorCallBack(record_writing);
  g_seen.clear();
  if (strided)
    e.fi(n, a.data(), 1, r.data(), 2);
  else
    e.f(n, a.data(), r.data());
  zev_vqm_kernel_ClearErrorCallBack();
  const int step = strided ? 2 : 1;
  ASSERT_EQ(g_seen.size(), e.fn == kTan ? 2u : 1u);
  const std::string name = std::string("v") + e.row;
  EXPECT_EQ(g_seen[0].index, 4);
  EXPECT_EQ(g_seen[0].status, 1);
  EXPECT_EQ(g_seen[0].name, name);
  EXPECT_EQ(g_seen[0].a1, -INFINITY);
  if (e.fn == kTan) {
    EXPECT_EQ(g_seen[1].index, 13);
    EXPECT_EQ(g_seen[1].status, 2);
  }
  for (int i = 0; i < n; ++i) {
    const bool hit = i == 4 || (e.fn == kTan && i == 13);
    EXPECT_EQ(bits(r[i * step]), bits(hit ? T(7) : clean[i])) << "lane " << i;
  }
}

TEST(TrigPi, CalloutNamesIndicesCallback) {
  for (const auto& e : kSingle) check_callout(e, false), check_callout(e, true);
  for (const auto& e : kDouble) check_callout(e, false), check_callout(e, true);
}

// Inputs of every path: ordinary values, huge ones, tiny ones, zeros.
template <class T>
std::vector<T> mixed_inputs(size_t n, uint32_t seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-800, 800);
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) {
    const double x = u(g);
    v[i] = static_cast<T>(i % 11 == 3 ? x * 1e30 : i % 13 == 5 ? x * 1e-40 : i % 17 == 0 ? 0.0 : x);
  }
  return v;
}

// Every count from 0 to 33 and 1000 at two start alignments: each result equals
// the one-element call, nothing outside [0, n) is touched; the strided form with
// input strides 0 to 3 and result strides 0 to 2 equals the plain form.
template <class T>
void check_counts_strides(const Entry<T>& e) {
  SCOPED_TRACE(std::string(e.row) + " level " + std::to_string(e.level));
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const std::vector<T> in = mixed_inputs<T>(1000, 7);
  std::vector<T> one(1000);
  for (int i = 0; i < 1000; ++i) e.f(1, &in[i], &one[i]);
  std::vector<int> counts;
  for (int n = 0; n <= 33; ++n) counts.push_back(n);
  counts.push_back(1000);
  for (int n : counts)
    for (size_t lead = 0; lead < 2; ++lead) {
      Guarded<T> a(n, lead), r(n, lead + 1);
      for (int i = 0; i < n; ++i) a[i] = in[i];
      e.f(n, a.data(), r.data());
      for (int i = 0; i < n; ++i) ASSERT_EQ(bits(r[i]), bits(one[i])) << "n " << n << " lane " << i;
      EXPECT_TRUE(r.lead_intact() && a.lead_intact());
    }
  for (int n : {1, 3, 8, 13, 33})
    for (int inca : {0, 1, 2, 3})
      for (int incr : {0, 1, 2}) {
        const int na = inca == 0 ? 1 : (n - 1) * inca + 1, nr = incr == 0 ? 1 : (n - 1) * incr + 1;
        Guarded<T> a(na), r(nr);
        for (int i = 0; i < na; ++i) a[i] = T(-1);
        for (int i = 0; i < n; ++i) a[i * inca] = in[inca == 0 ? 0 : 40 + i];
        e.fi(n, a.data(), inca, r.data(), incr);
        for (int i = incr == 0 ? n - 1 : 0; i < n; ++i) {
          const T want = inca == 0 ? one[0] : one[40 + i];
          EXPECT_EQ(bits(r[i * incr]), bits(want)) << "n " << n << " inca " << inca << " incr " << incr;
        }
      }
}

TEST(TrigPi, EveryCountAndStride) {
  for (const auto& e : kSingle) check_counts_strides(e);
  for (const auto& e : kDouble) check_counts_strides(e);
}

// A block takes another road when one of its lanes is large (half turns from
// 2^22 in single, 2^43 in double; degrees from 2^22 in single) or special: the
// ordinary lanes beside it keep the bits they have alone.
template <class T>
void check_large_neighbours(const Entry<T>& e) {
  const double quarter = e.unit == kHalf ? 0.5 : 90.0;
  // 2^21 + 1/4: the first lane the single half-turn tangent takes in double.
  const T big[] = {static_cast<T>(0x1p22 * 1.5 + 0.5), static_cast<T>(sizeof(T) == 8 ? 0x1p43 + 0.25 : 0x1p30),
                   static_cast<T>(0x1p21 + 0.25), static_cast<T>(INFINITY)};
  const int n = 16;
  std::vector<T> a(n), r(n), alone(n);
  for (int i = 0; i < n; ++i) a[i] = static_cast<T>((i - 7) * quarter * 0.3 + quarter * 0.01);
  for (int i = 0; i < n; ++i) e.f(1, &a[i], &alone[i]);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  for (const T b : big)
    for (int at : {0, 5, n - 1}) {
      std::vector<T> x = a;
      x[at] = b;
      e.f(n, x.data(), r.data());
      for (int i = 0; i < n; ++i) {
        if (i != at) {
          EXPECT_EQ(bits(r[i]), bits(alone[i])) << e.row << " level " << e.level << " lane " << i << " beside " << double(b);
        }
      }
    }
}

TEST(TrigPi, LargeLaneKeepsNeighbours) {
  for (const auto& e : kSingle) check_large_neighbours(e);
  for (const auto& e : kDouble) check_large_neighbours(e);
}

}  // namespace
