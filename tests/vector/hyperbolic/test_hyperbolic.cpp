// The hyperbolic family: the special-case table of docs/vector_hyperbolic.md
// (signed zeros, infinities, NaN, the domain ends of the inverses, overflow)
// with results and statuses, the callout's report names and indices, every
// count on guarded buffers, a special lane among ordinary ones, and the
// strided forms. Accuracy over the whole domain is the ulp tool's job; here
// MPFR judges the finite results of the edge cases.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cerrno>
#include <cfenv>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "fp.h"
#include "callout_record.h"
#include "guarded.h"
#include "mpfr_ulp.h"
#include "zev/zev_vqm.h"

namespace {

using zevtest::bits;
using zevtest::Guarded;
using zevtest::ModeScope;
using zevtest::MpfrFn;
using zevtest::ulp_error;

template <class T> using PlainFn = void (*)(int, const T*, T*);
template <class T> using StridedFn = void (*)(int, const T*, int, T*, int);

// One row: its three levels (LA, HA, EP), plain and strided, and its reference.
template <class T>
struct Row {
  const char* name;
  PlainFn<T> f[3];
  StridedFn<T> fi[3];
  MpfrFn ref;
  double lo, hi;  // an ordinary range, inside the vector path
};
#define ROW(r, ref, lo, hi) \
  {#r, {_vqm##r##_21, _vqm##r##_HA, _vqm##r##_11}, {_vqm##r##I_21, _vqm##r##I_HA, _vqm##r##I_11}, ref, lo, hi}
#define DROW(r, ref, lo, hi) \
  {#r, {_vqm##r##_50, _vqm##r##_HA, _vqm##r##_26}, {_vqm##r##I_50, _vqm##r##I_HA, _vqm##r##I_26}, ref, lo, hi}
const Row<float> kSingle[] = {
    ROW(sSinh, mpfr_sinh, -80, 80),     ROW(sCosh, mpfr_cosh, -80, 80),      ROW(sTanh, mpfr_tanh, -22, 22),
    ROW(sAsinh, mpfr_asinh, -1e6, 1e6), ROW(sAcosh, mpfr_acosh, 1.001, 1e6), ROW(sAtanh, mpfr_atanh, -0.999, 0.999),
};
const Row<double> kDouble[] = {
    DROW(dSinh, mpfr_sinh, -660, 660),   DROW(dCosh, mpfr_cosh, -700, 700),     DROW(dTanh, mpfr_tanh, -22, 22),
    DROW(dAsinh, mpfr_asinh, -1e9, 1e9), DROW(dAcosh, mpfr_acosh, 1.001, 1e9), DROW(dAtanh, mpfr_atanh, -0.999, 0.999),
};
#undef ROW
#undef DROW
const double kBound[3] = {4.0, 1.0, 0.0};  // LA, HA; EP by relative error below
const char* kLevel[3] = {"LA", "HA", "EP"};

template <class T> const Row<T>& row(const char* name);
template <> const Row<float>& row<float>(const char* name) {
  for (const auto& r : kSingle)
    if (std::string(r.name) == name) return r;
  abort();
}
template <> const Row<double>& row<double>(const char* name) {
  for (const auto& r : kDouble)
    if (std::string(r.name) == name) return r;
  abort();
}

// ---- the special-case table -----------------------------------------------------------

enum Kind {
  kExact,   // the result's bits equal `want`
  kNaN,     // a NaN
  kFinite,  // finite, within the level's bound of the exact value
};

struct Case {
  const char* row;
  double x;
  Kind kind;
  double want;
  int status;
};

constexpr double kInf = INFINITY;
const Case kCases[] = {
    // Sinh: odd, signed zeros kept, overflow status 3 with an infinity of x's sign.
    {"dSinh", 0.0, kExact, 0.0, 0},               {"dSinh", -0.0, kExact, -0.0, 0},
    {"dSinh", kInf, kExact, kInf, 0},             {"dSinh", -kInf, kExact, -kInf, 0},
    {"dSinh", NAN, kNaN, 0, 0},                   {"dSinh", 4.9e-324, kExact, 4.9e-324, 0},
    {"dSinh", -1e-300, kExact, -1e-300, 0},       {"dSinh", 1e-17, kExact, 1e-17, 0},
    {"dSinh", 700.0, kFinite, 0, 0},              {"dSinh", -710.0, kFinite, 0, 0},
    {"dSinh", 710.4758600739439, kFinite, 0, 0},  {"dSinh", 711.0, kExact, kInf, 3},
    {"dSinh", -711.0, kExact, -kInf, 3},          {"dSinh", 669.8, kFinite, 0, 0},
    {"sSinh", 0.0, kExact, 0.0, 0},               {"sSinh", -0.0, kExact, -0.0, 0},
    {"sSinh", kInf, kExact, kInf, 0},             {"sSinh", -kInf, kExact, -kInf, 0},
    {"sSinh", NAN, kNaN, 0, 0},                   {"sSinh", -1e-40, kExact, -1e-40, 0},
    {"sSinh", 89.4, kFinite, 0, 0},               {"sSinh", -89.2, kFinite, 0, 0},
    {"sSinh", 89.5, kExact, kInf, 3},             {"sSinh", -90.0, kExact, -kInf, 3},
    {"sSinh", 88.99, kFinite, 0, 0},              {"sSinh", -0.34657359, kFinite, 0, 0},
    {"sSinh", 1e-30, kExact, 1e-30, 0},           {"sSinh", 87.5, kFinite, 0, 0},
    // Cosh: even, cosh 0 = 1, +inf for both infinities and on overflow (status 3).
    {"dCosh", 0.0, kExact, 1.0, 0},               {"dCosh", -0.0, kExact, 1.0, 0},
    {"dCosh", kInf, kExact, kInf, 0},             {"dCosh", -kInf, kExact, kInf, 0},
    {"dCosh", NAN, kNaN, 0, 0},                   {"dCosh", 1e-300, kExact, 1.0, 0},
    {"dCosh", 710.0, kFinite, 0, 0},              {"dCosh", -708.0, kFinite, 0, 0},
    {"dCosh", 711.0, kExact, kInf, 3},            {"dCosh", -711.0, kExact, kInf, 3},
    {"sCosh", 0.0, kExact, 1.0, 0},               {"sCosh", -kInf, kExact, kInf, 0},
    {"sCosh", NAN, kNaN, 0, 0},                   {"sCosh", 89.4, kFinite, 0, 0},
    {"sCosh", -89.5, kExact, kInf, 3},            {"sCosh", 100.0, kExact, kInf, 3},
    {"sCosh", -88.99, kFinite, 0, 0},             {"sCosh", 87.5, kFinite, 0, 0},
    // Tanh: odd, +-1 from 20 on (the last row) and at the infinities; never a status.
    {"dTanh", 0.0, kExact, 0.0, 0},               {"dTanh", -0.0, kExact, -0.0, 0},
    {"dTanh", 20.0, kExact, 1.0, 0},              {"dTanh", -25.0, kExact, -1.0, 0},
    {"dTanh", 1e300, kExact, 1.0, 0},             {"dTanh", -DBL_MAX, kExact, -1.0, 0},
    {"dTanh", kInf, kExact, 1.0, 0},              {"dTanh", -kInf, kExact, -1.0, 0},
    {"dTanh", NAN, kNaN, 0, 0},                   {"dTanh", -4.9e-324, kExact, -4.9e-324, 0},
    {"dTanh", 0.125, kFinite, 0, 0},              {"dTanh", 19.99, kFinite, 0, 0},
    {"sTanh", 0.0, kExact, 0.0, 0},               {"sTanh", -0.0, kExact, -0.0, 0},
    {"sTanh", 20.0, kExact, 1.0, 0},              {"sTanh", -FLT_MAX, kExact, -1.0, 0},
    {"sTanh", kInf, kExact, 1.0, 0},              {"sTanh", NAN, kNaN, 0, 0},
    {"sTanh", 9.5, kExact, 1.0, 0},               {"sTanh", -8.6, kFinite, 0, 0},
    {"sTanh", 0.55, kFinite, 0, 0},               {"sTanh", -1e-30, kFinite, 0, 0},
    // Asinh: odd, infinities give themselves.
    {"dAsinh", 0.0, kExact, 0.0, 0},              {"dAsinh", -0.0, kExact, -0.0, 0},
    {"dAsinh", kInf, kExact, kInf, 0},            {"dAsinh", -kInf, kExact, -kInf, 0},
    {"dAsinh", NAN, kNaN, 0, 0},                  {"dAsinh", DBL_MAX, kFinite, 0, 0},
    {"dAsinh", -1073741824.0, kFinite, 0, 0},     {"dAsinh", 0x1p-6, kFinite, 0, 0},
    {"dAsinh", -1e-300, kExact, -1e-300, 0},      {"dAsinh", 4.9e-324, kExact, 4.9e-324, 0},
    {"sAsinh", -0.0, kExact, -0.0, 0},            {"sAsinh", -kInf, kExact, -kInf, 0},
    {"sAsinh", NAN, kNaN, 0, 0},                  {"sAsinh", FLT_MAX, kFinite, 0, 0},
    {"sAsinh", -0x1.fffffep125, kFinite, 0, 0},   {"sAsinh", 0x1p126, kFinite, 0, 0},
    {"sAsinh", 1e20, kFinite, 0, 0},              {"sAsinh", -0x1p40, kFinite, 0, 0},
    {"sAsinh", 1e-30, kFinite, 0, 0},             {"sAsinh", -1e-40, kExact, -1e-40, 0},
    // Acosh: 1 gives +0; below 1 (zero, negatives, -inf) NaN with status 1; +inf itself.
    {"dAcosh", 1.0, kExact, 0.0, 0},              {"dAcosh", kInf, kExact, kInf, 0},
    {"dAcosh", NAN, kNaN, 0, 0},                  {"dAcosh", 0.5, kNaN, 0, 1},
    {"dAcosh", 0.0, kNaN, 0, 1},                  {"dAcosh", -1.0, kNaN, 0, 1},
    {"dAcosh", -kInf, kNaN, 0, 1},                {"dAcosh", 0x1.0000000000001p0, kFinite, 0, 0},
    {"dAcosh", DBL_MAX, kFinite, 0, 0},           {"dAcosh", 1073741824.0, kFinite, 0, 0},
    {"sAcosh", 1.0, kExact, 0.0, 0},              {"sAcosh", kInf, kExact, kInf, 0},
    {"sAcosh", 0.99999994, kNaN, 0, 1},           {"sAcosh", -0.0, kNaN, 0, 1},
    {"sAcosh", 1.00000012, kFinite, 0, 0},        {"sAcosh", FLT_MAX, kFinite, 0, 0},
    {"sAcosh", 0x1.fffffep125, kFinite, 0, 0},    {"sAcosh", 0x1p126, kFinite, 0, 0},
    {"sAcosh", 1e20, kFinite, 0, 0},              {"sAcosh", 0x1p40, kFinite, 0, 0},
    {"sAcosh", 4097.0, kFinite, 0, 0},            {"sAcosh", NAN, kNaN, 0, 0},
    // Atanh: odd; +-1 a pole (status 2, an infinity of x's sign); beyond, NaN status 1.
    {"dAtanh", 0.0, kExact, 0.0, 0},              {"dAtanh", -0.0, kExact, -0.0, 0},
    {"dAtanh", 1.0, kExact, kInf, 2},             {"dAtanh", -1.0, kExact, -kInf, 2},
    {"dAtanh", 1.5, kNaN, 0, 1},                  {"dAtanh", -kInf, kNaN, 0, 1},
    {"dAtanh", NAN, kNaN, 0, 0},                  {"dAtanh", 1e-300, kExact, 1e-300, 0},
    {"dAtanh", 0x1.fffffffffffffp-1, kFinite, 0, 0}, {"dAtanh", 0x1p-970, kFinite, 0, 0},
    {"sAtanh", -1.0, kExact, -kInf, 2},           {"sAtanh", 1.0000001, kNaN, 0, 1},
    {"sAtanh", -0.0, kExact, -0.0, 0},            {"sAtanh", 0.99999994, kFinite, 0, 0},
    {"sAtanh", 1e-30, kFinite, 0, 0},             {"sAtanh", -1e-40, kExact, -1e-40, 0},
    {"sAtanh", 0.5, kFinite, 0, 0},               {"sAtanh", NAN, kNaN, 0, 0},
};

template <class T>
void check_case(const Case& c, const Row<T>& r) {
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(std::string(c.row) + " " + kLevel[lv] + " at " + std::to_string(c.x));
    ModeScope mode(VQM_ERRMODE_DEFAULT);
    Guarded<T> a(1), y(1);
    a[0] = static_cast<T>(c.x);
    r.f[lv](1, a.data(), y.data());
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), c.status);
    EXPECT_EQ(errno, c.status == 0 ? 0 : c.status == 1 ? EDOM : ERANGE);  // a pole is a range error
    const T got = y[0];
    switch (c.kind) {
      case kExact: EXPECT_EQ(bits(got), bits(static_cast<T>(c.want))) << got; break;
      case kNaN: EXPECT_TRUE(std::isnan(got)) << got; break;
      case kFinite: {
        ASSERT_TRUE(std::isfinite(got)) << got;
        const double err = ulp_error<T>(r.ref, static_cast<T>(c.x), got);
        // EP: relative error 2^-11 (single), 2^-26 (double), in ulps of the result.
        const double bound = lv == 2 ? (sizeof(T) == 4 ? 0x1p13 : 0x1p27) : kBound[lv];
        EXPECT_LE(err, bound) << got;
      }
    }
  }
}

TEST(Hyperbolic, SpecialCaseTable) {
  for (const Case& c : kCases) {
    if (c.row[0] == 's')
      check_case(c, row<float>(c.row));
    else
      check_case(c, row<double>(c.row));
  }
}

// Tiny normal arguments: the result is x (1 for Cosh) at HA, within the
// level's bound at LA and EP, and no flag but inexact is raised; an underflow would be spurious, since the result is normal. The
// arguments run from just below 2^-12 (2^-26 in double), where x^3 is
// already below half an ulp, down to the least normal, at both signs, in one
// array.
template <class T>
void check_tiny(const Row<T>& r) {
  const bool cosh = std::string(r.name).find("Cosh") != std::string::npos;
  const int least = sizeof(T) == 4 ? -126 : -1022;
  std::vector<T> x;
  for (int e = sizeof(T) == 4 ? -13 : -28; e >= least; --e)
    for (double f : {1.0, 1.37, 1.999}) x.push_back(static_cast<T>((e % 2 ? -f : f) * std::ldexp(1.0, e)));
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(std::string(r.name) + " " + kLevel[lv]);
    ModeScope mode(VQM_ERRMODE_DEFAULT);
    std::vector<T> y(x.size());
    feclearexcept(FE_ALL_EXCEPT);
    r.f[lv](static_cast<int>(x.size()), x.data(), y.data());
    EXPECT_FALSE(fetestexcept(FE_UNDERFLOW | FE_OVERFLOW | FE_INVALID | FE_DIVBYZERO));
    for (size_t i = 0; i < x.size(); ++i) {
      if (lv == 1) ASSERT_EQ(bits(y[i]), bits(cosh ? T(1) : x[i])) << x[i];
      else ASSERT_LE(ulp_error<T>(r.ref, x[i], y[i]), lv == 2 ? (sizeof(T) == 4 ? 0x1p13 : 0x1p27) : 4.0) << x[i];
    }
  }
}

TEST(Hyperbolic, TinyArgumentsRaiseNoUnderflow) {
  for (const auto& r : kSingle)
    if (std::string(r.name) != "sAcosh") check_tiny(r);
  for (const auto& r : kDouble)
    if (std::string(r.name) != "dAcosh") check_tiny(r);
}

// ---- callout: report names, indices, statuses ------------------------------------------

using zevtest::g_seen;
using zevtest::record;

// Two bad lanes among 24 reach the callback in ascending order with the row's
// name; the NaN and infinity between them report only where the table says so
// (atanh(+inf) is invalid).
template <class T>
void check_reports(const Row<T>& r, T bad, int status) {
  for (int lv = 0; lv < 3; ++lv)
    for (bool strided : {false, true}) {
      SCOPED_TRACE(std::string(r.name) + " " + kLevel[lv] + (strided ? " strided" : ""));
      ModeScope mode(VQM_ERRMODE_CALLBACK);
      zev_vqm_kernel_SetErrorCallBack(record);
      g_seen.clear();
      std::vector<T> a(24, static_cast<T>(r.lo + (r.hi - r.lo) * 0.75)), y(48, 0);
      a[3] = bad;
      a[9] = static_cast<T>(NAN);
      a[10] = static_cast<T>(INFINITY);
      a[17] = bad;
      if (strided)
        r.fi[lv](24, a.data(), 1, y.data(), 2);
      else
        r.f[lv](24, a.data(), y.data());
      zev_vqm_kernel_ClearErrorCallBack();
      ASSERT_GE(g_seen.size(), 2u);
      EXPECT_EQ(g_seen.front().index, 3);
      EXPECT_EQ(g_seen.back().index, 17);
      EXPECT_EQ(g_seen.front().status, status);
      EXPECT_EQ(g_seen.front().name, std::string("v") + r.name);
    }
}

TEST(Hyperbolic, ReportNamesAndIndices) {
  check_reports(row<double>("dSinh"), 800.0, 3);
  check_reports(row<double>("dCosh"), -800.0, 3);
  check_reports(row<double>("dAcosh"), 0.5, 1);
  check_reports(row<double>("dAtanh"), -1.0, 2);
  check_reports(row<float>("sSinh"), -100.0f, 3);
  check_reports(row<float>("sCosh"), 100.0f, 3);
  check_reports(row<float>("sAcosh"), -3.0f, 1);
  check_reports(row<float>("sAtanh"), 1.0f, 2);
}

// ---- block behaviour on guarded buffers -----------------------------------------------

template <class T>
std::vector<T> ordinary(const Row<T>& r, size_t n, uint32_t seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(r.lo, r.hi), v(-0.05, 0.05);
  std::vector<T> x(n);
  for (size_t i = 0; i < n; ++i) {
    x[i] = static_cast<T>(i % 4 == 0 ? std::max(r.lo, std::min(r.hi, v(g) + (r.lo > 0 ? 1.05 : 0))) : u(g));
  }
  return x;
}

// Every count from 0 to 33 and 1000 at two start alignments: each result
// equals the one-element call, no status, nothing touched outside [0, n).
template <class T>
void check_counts(const Row<T>& r) {
  const std::vector<T> in = ordinary(r, 1000, 7);
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(std::string(r.name) + " " + kLevel[lv]);
    ModeScope mode(VQM_ERRMODE_DEFAULT);
    std::vector<T> single(1000);
    for (int i = 0; i < 1000; ++i) r.f[lv](1, &in[i], &single[i]);
    for (int n = 0; n <= 1000; n = n < 33 ? n + 1 : 1000 + (n == 1000)) {
      for (size_t lead = 0; lead < 2; ++lead) {
        Guarded<T> a(n, lead), y(n, lead + 1);
        for (int i = 0; i < n; ++i) a[i] = in[i];
        r.f[lv](n, a.data(), y.data());
        for (int i = 0; i < n; ++i) ASSERT_EQ(bits(y[i]), bits(single[i])) << "n " << n << " lane " << i;
        EXPECT_TRUE(y.lead_intact() && a.lead_intact());
      }
      if (n == 1000) break;
    }
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
  }
}

TEST(Hyperbolic, EveryCount) {
  for (const auto& r : kSingle) check_counts(r);
  for (const auto& r : kDouble) check_counts(r);
}

// dSinh and dCosh next to their overflow limits, where the scale 2^m of the
// reduction would overflow (dSinh settles those lanes by the split scale in
// the block) or 2^-m scales the table's low parts below the normal range:
// every result within its level's bound in an array mixed with ordinary
// lanes, and no status.
TEST(Hyperbolic, SinhCoshNearOverflow) {
  std::vector<double> in;
  for (int i = 0; i < 48; ++i) in.push_back((i % 2 ? 1 : -1) * (i % 3 ? 669.5 + i * 0.85 : 1.0 + i));
  in.push_back(710.4758600739439);
  for (const char* name : {"dSinh", "dCosh"}) {
    const Row<double>& r = row<double>(name);
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(name) + " " + kLevel[lv]);
      ModeScope mode(VQM_ERRMODE_DEFAULT);
      std::vector<double> y(in.size());
      r.f[lv](static_cast<int>(in.size()), in.data(), y.data());
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
      for (size_t i = 0; i < in.size(); ++i)
        EXPECT_LE(ulp_error<double>(r.ref, in[i], y[i]), lv == 2 ? 0x1p27 : kBound[lv]) << in[i];
    }
  }
}

// A special lane anywhere in a block leaves the other lanes bit for bit.
template <class T>
void check_special_lane(const Row<T>& r, T special) {
  const int n = 16;
  const std::vector<T> in = ordinary(r, n, 11);
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(std::string(r.name) + " " + kLevel[lv]);
    ModeScope mode(VQM_ERRMODE_IGNORE);
    std::vector<T> clean(n);
    r.f[lv](n, in.data(), clean.data());
    T alone;
    r.f[lv](1, &special, &alone);
    for (int pos : {0, 1, 3, 5, 8, 15}) {
      std::vector<T> a = in, y(n);
      a[pos] = special;
      r.f[lv](n, a.data(), y.data());
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(zevtest::same(y[i], i == pos ? alone : clean[i])) << "special at " << pos << " lane " << i;
    }
  }
}

TEST(Hyperbolic, SpecialLaneLeavesOthers) {
  for (const auto& r : kSingle)
    for (float s : {NAN, INFINITY, -INFINITY, 1e30f, 0.0f}) check_special_lane(r, s);
  for (const auto& r : kDouble)
    for (double s : {double(NAN), double(INFINITY), -1e300, 0.0, 4.9e-324}) check_special_lane(r, s);
}

// Strided forms equal the plain results, for strides 0 to 3 of the input and
// 0 to 2 of the result (a result stride of 0 leaves the last result).
template <class T>
void check_strided(const Row<T>& r) {
  for (int lv = 0; lv < 3; ++lv)
    for (int n : {1, 3, 8, 13}) {
      SCOPED_TRACE(std::string(r.name) + " " + kLevel[lv]);
      ModeScope mode(VQM_ERRMODE_IGNORE);
      std::vector<T> src = ordinary(r, n, 5 + n);
      if (n > 3) src[2] = static_cast<T>(NAN);
      for (int inca : {0, 1, 2, 3})
        for (int incr : {0, 1, 2}) {
          const int na = inca == 0 ? 1 : (n - 1) * inca + 1, nr = incr == 0 ? 1 : (n - 1) * incr + 1;
          Guarded<T> a(na), y(nr);
          for (int i = 0; i < na; ++i) a[i] = static_cast<T>(r.lo > 0 ? 2 : 0.5);
          for (int i = 0; i < n; ++i) a[i * inca] = src[inca == 0 ? 0 : i];
          std::vector<T> x(n), want(n);
          for (int i = 0; i < n; ++i) x[i] = a[i * inca];
          r.f[lv](n, x.data(), want.data());
          r.fi[lv](n, a.data(), inca, y.data(), incr);
          for (int i = incr == 0 ? n - 1 : 0; i < n; ++i)
            EXPECT_TRUE(zevtest::same(y[i * incr], want[i])) << "n " << n << " inca " << inca << " incr " << incr;
        }
    }
}

TEST(Hyperbolic, StridedEqualsPlain) {
  for (const auto& r : kSingle) check_strided(r);
  for (const auto& r : kDouble) check_strided(r);
}

}  // namespace
