// The inverse circular functions through their exported entries: the table
// of special values (docs/vector_invtrig.md) at every level, plain and
// strided; statuses, errno and the callback with its index and name; the
// callout leaving the other lanes alone; every count on guarded buffers;
// strides; and MPFR at the branch points. Accuracy over the whole domain is
// the ulp tool's job, the modelled estimates test_invtrig_estimates'.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fp.h"
#include "guarded.h"
#include "zev/zev_vqm.h"

namespace {

using zevtest::bits;
using zevtest::Guarded;
using zevtest::ModeScope;

template <class T> using Plain1 = void (*)(int, const T*, T*);
template <class T> using Strided1 = void (*)(int, const T*, int, T*, int);
template <class T> using Plain2 = void (*)(int, const T*, const T*, T*);
template <class T> using Strided2 = void (*)(int, const T*, int, const T*, int, T*, int);

const char* kLevel[3] = {"LA", "HA", "EP"};

template <class T>
struct Row1 {
  const char* fn;  // Asin, Acos, Atan, Asinpi, Acospi, Atanpi
  Plain1<T> f[3];
  Strided1<T> fi[3];
};
template <class T>
struct Row2 {
  const char* fn;  // Atan2, Atan2pi
  Plain2<T> f[3];
  Strided2<T> fi[3];
};

#define S1(r) {#r, {_vqms##r##_21, _vqms##r##_HA, _vqms##r##_11}, {_vqms##r##I_21, _vqms##r##I_HA, _vqms##r##I_11}}
#define D1(r) {#r, {_vqmd##r##_50, _vqmd##r##_HA, _vqmd##r##_26}, {_vqmd##r##I_50, _vqmd##r##I_HA, _vqmd##r##I_26}}
const Row1<float> kS1[] = {S1(Asin), S1(Acos), S1(Atan), S1(Asinpi), S1(Acospi), S1(Atanpi)};
const Row1<double> kD1[] = {D1(Asin), D1(Acos), D1(Atan), D1(Asinpi), D1(Acospi), D1(Atanpi)};
const Row2<float> kS2[] = {S1(Atan2), S1(Atan2pi)};
const Row2<double> kD2[] = {D1(Atan2), D1(Atan2pi)};
#undef S1
#undef D1

// ---- the table of special values ------------------------------------------------------

constexpr double kPi = 3.141592653589793, kPi2 = 1.5707963267948966, kPi4 = 0.7853981633974483;
constexpr double k3Pi4 = 2.356194490192345;
const double inf = INFINITY, nan_ = NAN;

struct Case1 {
  const char* fn;
  double x, want;  // want: exact, the single value is want rounded to single; NaN: any NaN
  int status;
  bool ha_only;  // exact at HA only (a radian value that LA and EP may miss by an ulp)
};
const Case1 kCases1[] = {
    {"Asin", 0.0, 0.0, 0, false},         {"Asin", -0.0, -0.0, 0, false},      {"Asin", 1.0, kPi2, 0, false},
    {"Asin", -1.0, -kPi2, 0, false},      {"Asin", 1.5, nan_, 1, false},       {"Asin", -inf, nan_, 1, false},
    {"Asin", inf, nan_, 1, false},        {"Asin", nan_, nan_, 0, false},      {"Acos", 1.0, 0.0, 0, false},
    {"Acos", -1.0, kPi, 0, false},        {"Acos", 0.0, kPi2, 0, false},       {"Acos", -0.0, kPi2, 0, false},
    {"Acos", -1.5, nan_, 1, false},       {"Acos", -inf, nan_, 1, false},      {"Acos", nan_, nan_, 0, false},
    {"Atan", 0.0, 0.0, 0, false},         {"Atan", -0.0, -0.0, 0, false},      {"Atan", inf, kPi2, 0, false},
    {"Atan", -inf, -kPi2, 0, false},      {"Atan", nan_, nan_, 0, false},      {"Atan", 1.0, kPi4, 0, false},
    {"Atan", -1.0, -kPi4, 0, false},      {"Atan", 0x1p1000, kPi2, 0, false},  {"Asinpi", 0.0, 0.0, 0, false},
    {"Asinpi", -0.0, -0.0, 0, false},     {"Asinpi", 1.0, 0.5, 0, false},      {"Asinpi", -1.0, -0.5, 0, false},
    {"Asinpi", 2.0, nan_, 1, false},      {"Asinpi", inf, nan_, 1, false},     {"Asinpi", nan_, nan_, 0, false},
    {"Acospi", 1.0, 0.0, 0, false},       {"Acospi", -1.0, 1.0, 0, false},     {"Acospi", 0.0, 0.5, 0, false},
    {"Acospi", -0.0, 0.5, 0, false},      {"Acospi", 1.0000001, nan_, 1, false}, {"Acospi", -inf, nan_, 1, false},
    {"Acospi", nan_, nan_, 0, false},     {"Atanpi", 0.0, 0.0, 0, false},      {"Atanpi", -0.0, -0.0, 0, false},
    {"Atanpi", inf, 0.5, 0, false},       {"Atanpi", -inf, -0.5, 0, false},    {"Atanpi", 1.0, 0.25, 0, false},
    {"Atanpi", -1.0, -0.25, 0, false},    {"Atanpi", nan_, nan_, 0, false},    {"Atanpi", 0x1p1000, 0.5, 0, false},
};

struct Case2 {
  const char* fn;
  double y, x, want;
  bool ha_only;
};
const Case2 kCases2[] = {
    {"Atan2", 0.0, 0.0, 0.0, false},      {"Atan2", -0.0, 0.0, -0.0, false},     {"Atan2", 0.0, -0.0, kPi, false},
    {"Atan2", -0.0, -0.0, -kPi, false},   {"Atan2", 0.0, 1.0, 0.0, false},       {"Atan2", -0.0, 1.0, -0.0, false},
    {"Atan2", 0.0, -1.0, kPi, false},     {"Atan2", -0.0, -1.0, -kPi, false},    {"Atan2", 1.0, 0.0, kPi2, false},
    {"Atan2", -1.0, -0.0, -kPi2, false},  {"Atan2", inf, inf, kPi4, false},      {"Atan2", -inf, inf, -kPi4, false},
    {"Atan2", inf, -inf, k3Pi4, false},   {"Atan2", -inf, -inf, -k3Pi4, false},  {"Atan2", inf, 1.0, kPi2, false},
    {"Atan2", -inf, -1.0, -kPi2, false},  {"Atan2", 1.0, inf, 0.0, false},       {"Atan2", -1.0, inf, -0.0, false},
    {"Atan2", 1.0, -inf, kPi, false},     {"Atan2", -1.0, -inf, -kPi, false},    {"Atan2", nan_, 1.0, nan_, false},
    {"Atan2", 1.0, nan_, nan_, false},    {"Atan2", 1.0, 1.0, kPi4, false},      {"Atan2", -3.0, 3.0, -kPi4, false},
    {"Atan2", 2.0, -2.0, k3Pi4, true},    {"Atan2pi", 0.0, 0.0, 0.0, false},     {"Atan2pi", -0.0, 0.0, -0.0, false},
    {"Atan2pi", 0.0, -0.0, 1.0, false},   {"Atan2pi", -0.0, -0.0, -1.0, false},  {"Atan2pi", 0.0, -1.0, 1.0, false},
    {"Atan2pi", -0.0, -5.0, -1.0, false}, {"Atan2pi", 0.0, 5.0, 0.0, false},     {"Atan2pi", 1.0, 0.0, 0.5, false},
    {"Atan2pi", -1.0, -0.0, -0.5, false}, {"Atan2pi", inf, inf, 0.25, false},    {"Atan2pi", -inf, inf, -0.25, false},
    {"Atan2pi", inf, -inf, 0.75, false},  {"Atan2pi", -inf, -inf, -0.75, false}, {"Atan2pi", inf, -7.0, 0.5, false},
    {"Atan2pi", 7.0, inf, 0.0, false},    {"Atan2pi", -7.0, inf, -0.0, false},   {"Atan2pi", 7.0, -inf, 1.0, false},
    {"Atan2pi", -7.0, -inf, -1.0, false}, {"Atan2pi", nan_, -inf, nan_, false},  {"Atan2pi", 1.0, 1.0, 0.25, false},
    {"Atan2pi", -3.0, 3.0, -0.25, false}, {"Atan2pi", 2.0, -2.0, 0.75, false},   {"Atan2pi", -0.5, -0.5, -0.75, false},
};

template <class T>
bool same_value(T got, T want) {
  if (std::isnan(want)) return std::isnan(got);
  return bits(got) == bits(want);
}

template <class T, size_t N>
const Row1<T>& row1(const Row1<T> (&rows)[N], const char* fn) {
  for (const auto& r : rows)
    if (std::string(r.fn) == fn) return r;
  abort();
}
template <class T, size_t N>
const Row2<T>& row2(const Row2<T> (&rows)[N], const char* fn) {
  for (const auto& r : rows)
    if (std::string(r.fn) == fn) return r;
  abort();
}

template <class T, size_t N>
void special_unary(const Row1<T> (&rows)[N]) {
  for (const Case1& c : kCases1) {
    const Row1<T>& r = row1(rows, c.fn);
    const T x = static_cast<T>(c.x), want = static_cast<T>(c.want);
    for (int l = 0; l < 3; ++l) {
      if (c.ha_only && l != 1) continue;
      for (bool strided : {false, true}) {
        ModeScope mode(VQM_ERRMODE_DEFAULT);
        Guarded<T> a(1), y(1);
        a[0] = x;
        if (strided) {
          T in[3] = {x, 0, 0}, out[3] = {7, 7, 7};
          r.fi[l](1, in, 2, out, 3);
          y[0] = out[0];
        } else {
          r.f[l](1, a.data(), y.data());
        }
        SCOPED_TRACE(std::string(c.fn) + " " + kLevel[l] + (strided ? " strided" : "") + " x " +
                     std::to_string(c.x));
        EXPECT_TRUE(same_value(y[0], want)) << std::hexfloat << static_cast<double>(y[0]) << " want "
                                            << static_cast<double>(want);
        EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), c.status);
        EXPECT_EQ(errno, c.status == 1 ? EDOM : 0);
      }
    }
  }
}

template <class T, size_t N>
void special_binary(const Row2<T> (&rows)[N]) {
  for (const Case2& c : kCases2) {
    const Row2<T>& r = row2(rows, c.fn);
    const T y = static_cast<T>(c.y), x = static_cast<T>(c.x), want = static_cast<T>(c.want);
    for (int l = 0; l < 3; ++l) {
      if (c.ha_only && l != 1) continue;
      for (bool strided : {false, true}) {
        ModeScope mode(VQM_ERRMODE_DEFAULT);
        Guarded<T> a(1), b(1), out(1);
        a[0] = y;
        b[0] = x;
        if (strided)
          r.fi[l](1, a.data(), 0, b.data(), 0, out.data(), 0);
        else
          r.f[l](1, a.data(), b.data(), out.data());
        SCOPED_TRACE(std::string(c.fn) + " " + kLevel[l] + (strided ? " strided" : "") + " y " +
                     std::to_string(c.y) + " x " + std::to_string(c.x));
        EXPECT_TRUE(same_value(out[0], want)) << std::hexfloat << static_cast<double>(out[0]);
        EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
        EXPECT_EQ(errno, 0);
      }
    }
  }
}

TEST(Invtrig, SpecialValuesUnary) {
  special_unary(kS1);
  special_unary(kD1);
}
TEST(Invtrig, SpecialValuesBinary) {
  special_binary(kS2);
  special_binary(kD2);
}

// ---- the callout: statuses, callback, names, the other lanes ---------------------------

struct Seen {
  std::vector<int> index;
  std::vector<std::string> name;
  std::vector<double> a1;
};
Seen g_seen;
int record(zev_vqm_error_record* rec) {
  g_seen.index.push_back(rec->index);
  g_seen.name.push_back(rec->name);
  g_seen.a1.push_back(rec->a1);
  rec->r1 = 42.0;  // written back, since the callback returns 0
  return 0;
}

// Out-of-domain lanes among ordinary ones: each is reported once, in order,
// with its index and the row's name (vsAsinI for the strided sAsin), gets
// the callback's value; the other lanes keep their one-element results.
template <class T>
void check_callout(const char* prefix, const Row1<T>& r, int l) {
  const int n = 11;
  std::vector<T> x(n);
  for (int i = 0; i < n; ++i) x[i] = static_cast<T>(0.09 * i - 0.45);
  x[2] = 3;
  x[7] = -INFINITY;
  x[8] = NAN;  // status 0: no report
  std::vector<T> single(n);
  for (int i = 0; i < n; ++i) r.f[l](1, &x[i], &single[i]);
  for (bool strided : {false, true}) {
    ModeScope mode(VQM_ERRMODE_DEFAULT | VQM_ERRMODE_CALLBACK);
    zev_vqm_kernel_SetErrorCallBack(record);
    g_seen = {};
    std::vector<T> out(2 * n, T(-7));
    if (strided)
      r.fi[l](n, x.data(), 1, out.data(), 2);
    else
      r.f[l](n, x.data(), out.data());
    zev_vqm_kernel_ClearErrorCallBack();
    const std::string want_name =
        std::string(prefix) == "s" && std::string(r.fn) == "Asin" && strided ? "vsAsinI"
                                                                             : std::string("v") + prefix + r.fn;
    SCOPED_TRACE(want_name + " " + kLevel[l] + (strided ? " strided" : ""));
    ASSERT_EQ(g_seen.index, (std::vector<int>{2, 7}));
    EXPECT_EQ(g_seen.name[0], want_name);
    EXPECT_EQ(g_seen.a1[1], -INFINITY);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 1);
    const int step = strided ? 2 : 1;
    for (int i = 0; i < n; ++i) {
      if (i == 2 || i == 7)
        EXPECT_EQ(out[i * step], T(42)) << i;
      else
        EXPECT_TRUE(same_value(out[i * step], single[i])) << i;
    }
    if (strided)
      for (int i = 0; i < n; ++i) EXPECT_EQ(out[2 * i + 1], T(-7));
  }
}

TEST(Invtrig, CalloutReportsOutOfDomainLanes) {
  for (int l = 0; l < 3; ++l) {
    for (int k : {0, 1, 3, 4}) {
      check_callout<float>("s", kS1[k], l);
      check_callout<double>("d", kD1[k], l);
    }
  }
}

// ---- counts, guarded buffers, strides ----------------------------------------------------

template <class T>
std::vector<T> ordinary(int n, bool asin_domain, uint32_t seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1, 1), e(-20, 20);
  std::vector<T> v(n);
  for (int i = 0; i < n; ++i) v[i] = static_cast<T>(asin_domain ? u(g) : u(g) * std::exp2(e(g)));
  return v;
}

// Every count from 0 to 19 and 1000, two start alignments: each result is the
// one-element call's, nothing outside [0, n) is touched; the strided form
// with strides 2 and 3 and with a broadcast input agrees.
TEST(Invtrig, EveryCountUnary) {
  auto check = [](auto tag, const auto& r) {
    using T = decltype(tag);
    const bool dom = std::string(r.fn).find("Atan") == std::string::npos;
    const std::vector<T> in = ordinary<T>(1000, dom, 11);
    for (int l = 0; l < 3; ++l) {
      std::vector<T> single(1000);
      for (int i = 0; i < 1000; ++i) r.f[l](1, &in[i], &single[i]);
      SCOPED_TRACE(std::string(r.fn) + " " + kLevel[l] + (sizeof(T) == 4 ? " single" : " double"));
      ModeScope mode(VQM_ERRMODE_DEFAULT);
      std::vector<int> counts;
      for (int n = 0; n < 20; ++n) counts.push_back(n);
      counts.push_back(1000);
      for (int n : counts)
        for (size_t lead = 0; lead < 2; ++lead) {
          Guarded<T> a(n, lead), y(n, lead + 1);
          for (int i = 0; i < n; ++i) a[i] = in[i];
          r.f[l](n, a.data(), y.data());
          for (int i = 0; i < n; ++i) ASSERT_EQ(bits(y[i]), bits(single[i])) << "n " << n << " lane " << i;
          EXPECT_TRUE(a.lead_intact() && y.lead_intact());
          Guarded<T> as(2 * n), ys(3 * n);
          for (int i = 0; i < n; ++i) as[2 * i] = in[i];
          r.fi[l](n, as.data(), 2, ys.data(), 3);
          for (int i = 0; i < n; ++i) ASSERT_EQ(bits(ys[3 * i]), bits(single[i])) << "strided n " << n;
        }
      // A broadcast input: stride 0.
      Guarded<T> one(1), ys(13);
      one[0] = in[5];
      r.fi[l](13, one.data(), 0, ys.data(), 1);
      for (int i = 0; i < 13; ++i) EXPECT_EQ(bits(ys[i]), bits(single[5]));
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
    }
  };
  for (const auto& r : kS1) check(float{}, r);
  for (const auto& r : kD1) check(double{}, r);
}

TEST(Invtrig, EveryCountBinary) {
  auto check = [](auto tag, const auto& r) {
    using T = decltype(tag);
    const std::vector<T> ys = ordinary<T>(1000, false, 3), xs = ordinary<T>(1000, false, 4);
    for (int l = 0; l < 3; ++l) {
      std::vector<T> single(1000);
      for (int i = 0; i < 1000; ++i) r.f[l](1, &ys[i], &xs[i], &single[i]);
      SCOPED_TRACE(std::string(r.fn) + " " + kLevel[l] + (sizeof(T) == 4 ? " single" : " double"));
      ModeScope mode(VQM_ERRMODE_DEFAULT);
      for (int n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 13, 17, 1000})
        for (size_t lead = 0; lead < 2; ++lead) {
          Guarded<T> a(n, lead), b(n, lead + 1), out(n, lead);
          for (int i = 0; i < n; ++i) a[i] = ys[i], b[i] = xs[i];
          r.f[l](n, a.data(), b.data(), out.data());
          for (int i = 0; i < n; ++i) ASSERT_EQ(bits(out[i]), bits(single[i])) << "n " << n << " lane " << i;
          EXPECT_TRUE(a.lead_intact() && b.lead_intact() && out.lead_intact());
          Guarded<T> as(2 * n), bs(n), os(3 * n);
          for (int i = 0; i < n; ++i) as[2 * i] = ys[i], bs[i] = xs[i];
          r.fi[l](n, as.data(), 2, bs.data(), 1, os.data(), 3);
          for (int i = 0; i < n; ++i) ASSERT_EQ(bits(os[3 * i]), bits(single[i])) << "strided n " << n;
        }
      // In place: r the same as the first input.
      std::vector<T> a(ys.begin(), ys.begin() + 37);
      r.f[l](37, a.data(), xs.data(), a.data());
      for (int i = 0; i < 37; ++i) EXPECT_EQ(bits(a[i]), bits(single[i]));
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
    }
  };
  for (const auto& r : kS2) check(float{}, r);
  for (const auto& r : kD2) check(double{}, r);
}

// ---- MPFR at the branch points ----------------------------------------------------------

using Ref1 = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
Ref1 ref_of(const std::string& fn) {
  if (fn == "Asin") return mpfr_asin;
  if (fn == "Acos") return mpfr_acos;
  if (fn == "Atan") return mpfr_atan;
  if (fn == "Asinpi") return mpfr_asinpi;
  if (fn == "Acospi") return mpfr_acospi;
  return mpfr_atanpi;
}

// Error in ulps of the exact result, or relative (EP).
template <class T>
double err(Ref1 f, T x, T got, bool relative) {
  mpfr_t mx, y, d;
  mpfr_inits2(200, mx, y, d, (mpfr_ptr)0);
  mpfr_set_d(mx, x, MPFR_RNDN);
  f(y, mx, MPFR_RNDN);
  if (mpfr_zero_p(y)) {
    mpfr_clears(mx, y, d, (mpfr_ptr)0);
    return got == 0 ? 0.0 : INFINITY;
  }
  mpfr_set_d(d, got, MPFR_RNDN);
  mpfr_sub(d, d, y, MPFR_RNDN);
  if (relative)
    mpfr_div(d, d, y, MPFR_RNDN);
  else
    mpfr_mul_2si(d, d, (sizeof(T) == 4 ? 24 : 53) - mpfr_get_exp(y), MPFR_RNDN);
  const double e = std::fabs(mpfr_get_d(d, MPFR_RNDN));
  mpfr_clears(mx, y, d, (mpfr_ptr)0);
  return e;
}

// 64 neighbours each side of 1/2 (the Asin and Acos branch point) and of 1,
// and of the Atan table bounds: both branches meet within the level's bound.
TEST(Invtrig, BranchPoints) {
  auto check = [](auto tag, const auto& r) {
    using T = decltype(tag);
    const std::string fn = r.fn;
    const bool at = fn.find("Atan") != std::string::npos;
    std::vector<double> centres = at ? std::vector<double>{0.4375, 0.6875, 1.1875, 2.4375, 1.0}
                                     : std::vector<double>{0.5, 1.0, -0.5, -1.0};
    // Double Atanpi HA is atan2pi(x, 1): its rows change at 1/8, 3/8, 23/32
    // and their inverses, and it leaves the vector path below 2^-960 and
    // above 2^960.
    if (at && sizeof(T) == 8)
      centres.insert(centres.end(), {0.125, 0.375, 0.71875, 8.0, 8.0 / 3, 32.0 / 23, 0x1p-960, 0x1p960});
    for (int l = 0; l < 3; ++l) {
      const double bound = l == 2 ? (sizeof(T) == 4 ? 0x1p-11 : 0x1p-26) : l == 1 ? 1.0 : 4.0;
      double worst = 0;
      for (double c : centres) {
        T x = static_cast<T>(c);
        for (int k = 0; k < 64; ++k) x = std::nextafter(x, T(0));
        for (int k = 0; k < 128; ++k, x = std::nextafter(x, T(10))) {
          if (std::fabs(x) > 1 && !at) continue;
          T y;
          r.f[l](1, &x, &y);
          worst = std::max(worst, err<T>(ref_of(fn), x, y, l == 2));
        }
      }
      EXPECT_LE(worst, bound) << fn << " " << kLevel[l] << (sizeof(T) == 4 ? " single" : " double");
    }
  };
  for (const auto& r : kS1) check(float{}, r);
  for (const auto& r : kD1) check(double{}, r);
}

// Double Atan2 and Atan2pi where the ratio reduction changes row (m/M at
// 1/8, 3/8, 23/32, 1) and where the HA kernel hands lanes to the scalar
// function (the smaller part near 2^-960, the ratio near 2^-960), with parts
// near the ends of the vector range, in all four quadrants, with and without
// FTZ/DAZ: every level within its bound against MPFR. The inputs go in one
// call of 8 lanes, so that flagged and vector lanes share blocks.
TEST(Invtrig, DoubleAtan2AtItsSwitchPoints) {
  struct Pair {
    double y, x;
  };
  std::vector<Pair> in;
  auto around = [&](double y, double x) {
    for (int k = -3; k <= 3; ++k) {
      double yy = y;
      for (int i = 0; i < std::abs(k); ++i) yy = std::nextafter(yy, k < 0 ? 0.0 : INFINITY);
      for (double sy : {1.0, -1.0})
        for (double sx : {1.0, -1.0}) in.push_back({sy * yy, sx * x});
    }
  };
  for (double M : {1.0, 0x1.6p-3, 0x1p-900, 0x1p-843, 0x1p-1017, 0x1.8p992})
    for (double ratio : {0.125, 0.375, 0.71875, 1.0, 0x1p-60, 0x1p-117, 0x1p-960, 0x1p-961, 0x1.3p-955}) {
      around(M * ratio, M);
      around(M, M * ratio);
    }
  for (double y : {0x1.fffffffffffffp-901, 0x1p-900, 0x1.0000000000001p-900})
    for (double x : {0x1p-1019, 0x1.8p-1018, 0x1.7p-902, 0x1.4p-900}) {
      around(y, x);
      around(x, y);
    }
  const int n = static_cast<int>(in.size());
  std::vector<double> ys(n), xs(n), out(n);
  for (int i = 0; i < n; ++i) ys[i] = in[i].y, xs[i] = in[i].x;
  mpfr_t my, mx, r, d;
  mpfr_inits2(200, my, mx, r, d, (mpfr_ptr)0);
  for (const auto& row : kD2) {
    const bool pi = std::string(row.fn) == "Atan2pi";
    for (unsigned ftz : {VQM_FTZDAZ_OFF, VQM_FTZDAZ_ON})
      for (int l = 0; l < 3; ++l) {
        ModeScope mode(VQM_ERRMODE_IGNORE | ftz);
        double worst = 0;
        int at = 0;
        for (int b = 0; b + 8 <= n; b += 8) row.f[l](8, ys.data() + b, xs.data() + b, out.data() + b);
        for (int i = 0; i < n / 8 * 8; ++i) {
          mpfr_set_d(my, ys[i], MPFR_RNDN);
          mpfr_set_d(mx, xs[i], MPFR_RNDN);
          pi ? mpfr_atan2pi(r, my, mx, MPFR_RNDN) : mpfr_atan2(r, my, mx, MPFR_RNDN);
          // Under FTZ/DAZ a subnormal part reads as zero and a result below
          // the normal range may come back as zero: those lanes are not judged.
          if (ftz == VQM_FTZDAZ_ON && (std::fabs(ys[i]) < 0x1p-1022 || std::fabs(xs[i]) < 0x1p-1022 ||
                                       mpfr_zero_p(r) || mpfr_get_exp(r) <= -1022))
            continue;
          mpfr_set_d(d, out[i], MPFR_RNDN);
          mpfr_sub(d, d, r, MPFR_RNDN);
          if (l == 2)
            mpfr_div(d, d, r, MPFR_RNDN);
          else  // ulps of the exact result, the least normal's below the normal range
            mpfr_mul_2si(d, d, 53 - std::max<long>(mpfr_get_exp(r), -1021), MPFR_RNDN);
          const double e = std::fabs(mpfr_get_d(d, MPFR_RNDN));
          if (e > worst) worst = e, at = i;
        }
        const double bound = l == 2 ? 0x1p-26 : l == 1 ? 1.0 : 4.0;
        EXPECT_LE(worst, bound) << row.fn << " " << kLevel[l] << (ftz == VQM_FTZDAZ_ON ? " FTZ" : "") << " at y "
                                << ys[at] << " x " << xs[at];
      }
  }
  mpfr_clears(my, mx, r, d, (mpfr_ptr)0);
}

}  // namespace
