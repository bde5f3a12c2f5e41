// The circular functions: special values and statuses at every level, the
// hardest arguments of the reductions and both sides of every switch point
// against MPFR, the forced cosine lanes, SinCos against Sin and Cos where they
// share the reduction, the EP fallback, the callout's effect on the other
// lanes and its report names, every count on guarded buffers, plain and
// strided. Accuracy over the whole domain is the ulp tool's job.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstring>
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
using zevtest::ulp_error;

enum Fn { kSin, kCos, kTan };
const zevtest::MpfrFn kRef[] = {mpfr_sin, mpfr_cos, mpfr_tan};

// One result of a row at a level: unary rows directly, SinCos through one of
// its results (the other written to a scratch array of the same guard).
template <class T>
struct Entry {
  const char* name;
  const char* report;  // the report name, "vsSin"
  Fn fn;
  double bound;  // ulp; EP: relative
  bool ep;
  void (*f)(int, const T*, T*);
  void (*fi)(int, const T*, int, T*, int);
  void (*f2)(int, const T*, T*, T*);
  void (*fi2)(int, const T*, int, T*, int, T*, int);
  int which;  // SinCos: 0 sine, 1 cosine
  void run(int n, const T* a, T* r) const {
    if (f) return f(n, a, r);
    std::vector<T> other(static_cast<size_t>(n) + 1);
    which == 0 ? f2(n, a, r, other.data()) : f2(n, a, other.data(), r);
  }
  void run_i(int n, const T* a, int inca, T* r, int incr) const {
    if (fi) return fi(n, a, inca, r, incr);
    std::vector<T> other(static_cast<size_t>(n) * (incr ? incr : 1) + 1);
    which == 0 ? fi2(n, a, inca, r, incr, other.data(), incr) : fi2(n, a, inca, other.data(), incr, r, incr);
  }
};

#define U(row, fn, lv, sfx, b, ep) \
  {#row " " lv, "v" #row, fn, b, ep, _vqm##row##sfx, _vqm##row##I##sfx, nullptr, nullptr, 0}
#define P(row, fn, lv, sfx, b, ep, w) \
  {#row " " lv, "v" #row, fn, b, ep, nullptr, nullptr, _vqm##row##sfx, _vqm##row##I##sfx, w}

const Entry<float> kS[] = {
    U(sSin, kSin, "LA", _21, 4, false),       U(sSin, kSin, "HA", _HA, 1, false),
    U(sSin, kSin, "EP", _11, 0x1p-11, true),  U(sCos, kCos, "LA", _21, 4, false),
    U(sCos, kCos, "HA", _HA, 1, false),       U(sCos, kCos, "EP", _11, 0x1p-11, true),
    U(sTan, kTan, "LA", _21, 4, false),       U(sTan, kTan, "HA", _HA, 1, false),
    U(sTan, kTan, "EP", _11, 0x1p-11, true),  P(sSinCos, kSin, "LA", _21, 4, false, 0),
    P(sSinCos, kCos, "LA", _21, 4, false, 1), P(sSinCos, kSin, "HA", _HA, 1, false, 0),
    P(sSinCos, kCos, "HA", _HA, 1, false, 1), P(sSinCos, kSin, "EP", _11, 0x1p-11, true, 0),
    P(sSinCos, kCos, "EP", _11, 0x1p-11, true, 1),
};
const Entry<double> kD[] = {
    U(dSin, kSin, "LA", _50, 4, false),       U(dSin, kSin, "HA", _HA, 1, false),
    U(dSin, kSin, "EP", _26, 0x1p-26, true),  U(dCos, kCos, "LA", _50, 4, false),
    U(dCos, kCos, "HA", _HA, 1, false),       U(dCos, kCos, "EP", _26, 0x1p-26, true),
    U(dTan, kTan, "LA", _50, 4, false),       U(dTan, kTan, "HA", _HA, 1, false),
    U(dTan, kTan, "EP", _26, 0x1p-26, true),  P(dSinCos, kSin, "LA", _50, 4, false, 0),
    P(dSinCos, kCos, "LA", _50, 4, false, 1), P(dSinCos, kSin, "HA", _HA, 1, false, 0),
    P(dSinCos, kCos, "HA", _HA, 1, false, 1), P(dSinCos, kSin, "EP", _26, 0x1p-26, true, 0),
    P(dSinCos, kCos, "EP", _26, 0x1p-26, true, 1),
};
#undef U
#undef P

// The error against the level's bound: ulps, or relative error at EP with an
// absolute allowance of the bound near the function's zeros.
template <class T>
bool within(const Entry<T>& e, T x, T y) {
  const double u = ulp_error<T>(kRef[e.fn], x, y);
  if (!e.ep) return u <= e.bound;
  const double ulp_rel = sizeof(T) == 4 ? 0x1p-23 : 0x1p-52;
  if (u * ulp_rel <= 2 * e.bound) return true;  // u ulps of the exact value: relative error below u 2^(1-p)
  mpfr_t m;
  mpfr_init2(m, 200);
  mpfr_set_d(m, static_cast<double>(x), MPFR_RNDN);
  kRef[e.fn](m, m, MPFR_RNDN);
  const double abs_err = std::fabs(static_cast<double>(y) - mpfr_get_d(m, MPFR_RNDN));
  mpfr_clear(m);
  return abs_err <= e.bound;
}

// ---- special values and statuses ----

TEST(Trig, SpecialValuesAndStatuses) {
  auto check = [](const auto& e, auto x) {
    using T = decltype(x);
    SCOPED_TRACE(std::string(e.name) + " at " + std::to_string(static_cast<double>(x)));
    const zevtest::Outcome<T> o = zevtest::call_one([&](int n, const T* a, T* r) { e.run(n, a, r); }, x);
    const T y = o.y;
    const int status = std::isinf(x) ? VQM_STATUS_DOMAIN : 0;
    EXPECT_EQ(o.status, status);
    EXPECT_EQ(o.err, zevtest::errno_of(status));
    if (std::isinf(x)) {
      EXPECT_TRUE(std::isnan(y));
      return;
    }
    if (std::isnan(x)) {
      EXPECT_TRUE(std::isnan(y));
    } else if (x == 0 && (e.fn == kCos || !e.ep)) {
      // sin and tan keep the zero with its sign; cos is 1.
      EXPECT_EQ(bits(y), bits(e.fn == kCos ? T(1) : x));
    } else if (x == 0) {
      EXPECT_EQ(y, 0) << y;  // EP polynomials scale x by a constant near 1: the zero stays
      EXPECT_EQ(std::signbit(y), std::signbit(x));
    } else if (std::fabs(x) < T(0x1p-60) && !e.ep) {
      EXPECT_EQ(bits(y), bits(e.fn == kCos ? T(1) : x)) << y;  // x - x^3/6 rounds to x
    } else {
      EXPECT_TRUE(within(e, x, y)) << y;
    }
  };
  const float fs[] = {0.0f, -0.0f, INFINITY, -INFINITY, NAN, 0x1p-149f, -0x1p-126f, 0x1p-70f, 1.0f, -3.0f};
  const double ds[] = {0.0, -0.0, INFINITY, -INFINITY, NAN, 0x1p-1074, -0x1p-1022, 0x1p-300, 1.0, -3.0};
  for (const auto& e : kS)
    for (float x : fs) check(e, x);
  for (const auto& e : kD)
    for (double x : ds) check(e, x);
}

// The cosine of a lane too small to move a + pi/2 is exactly 1, at every
// level, SinCos included.
TEST(Trig, SmallCosineIsOne) {
  for (const auto& e : kS)
    for (float x : {0x1p-25f, -0x1p-30f, 0x1p-100f})
      if (e.fn == kCos) {
        float y;
        e.run(1, &x, &y);
        EXPECT_EQ(y, 1.0f) << e.name << " " << x;
      }
  for (const auto& e : kD)
    for (double x : {0x1p-54, -0x1p-60, 0x1p-500})
      if (e.fn == kCos) {
        double y;
        e.run(1, &x, &y);
        EXPECT_EQ(y, 1.0) << e.name << " " << x;
      }
}

// ---- the reductions' hardest arguments and switch points ----

// The arguments closest to multiples of pi/2 (the published worst cases of
// each format), multiples of pi/2 and pi/256 rounded, the largest finite
// value, 1e22, and the neighbours of every switch point.
template <class T>
std::vector<T> hard_inputs() {
  std::vector<T> v;
  auto add = [&](double x) {
    const T t = static_cast<T>(x);
    for (T y : {t, std::nextafter(t, T(0)), std::nextafter(t, T(INFINITY))}) {
      if (std::isinf(y)) continue;
      v.push_back(y);
      v.push_back(-y);
    }
  };
  if (sizeof(T) == 4) {
    add(16367173.0 * 0x1p72);  // the float nearest a multiple of pi/2
    add(FLT_MAX);
    for (double s : {10000.0, 8256.0, 65536.00349206588, 1e6, 1e22}) add(s);
  } else {
    add(6381956970095103.0 * 0x1p797);  // the double nearest a multiple of pi/2
    add(DBL_MAX);
    for (double s : {65536.00349206588, 128000.0, 8388608.0, 16777216.0, 1e22, 1e300, 0x1p1023})
      add(s);
  }
  for (long k : {1L, 2L, 3L, 7L, 100L, 1000L, 6366L, 41721L, 1000000L, 100000000L}) add(k * M_PI_2);
  for (int j = 1; j < 256; j += 17) add(j * M_PI / 256);
  return v;
}

template <class T>
void check_hard(const Entry<T>& e) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const std::vector<T> in = hard_inputs<T>();
  std::vector<T> out(in.size());
  e.run(static_cast<int>(in.size()), in.data(), out.data());
  for (size_t i = 0; i < in.size(); ++i)
    EXPECT_TRUE(within(e, in[i], out[i])) << e.name << " at " << std::hexfloat << in[i] << " got " << out[i];
}

TEST(Trig, HardArgumentsAndSwitchPoints) {
  for (const auto& e : kS) check_hard(e);
  for (const auto& e : kD) check_hard(e);
}

// The single kernels' large path (above 10000) is the same at every level and
// holds 1 ulp at each. Its hardest arguments: the floats closest to multiples
// of pi/2 relative to their size (a brute search over every float above 10000,
// m 2^(e-150) against 2^(e-150)/(pi/2) mod 1 to 128 bits; the sines and
// cosines next to their zeros), the same significands six binades lower
// (closest to multiples of pi/128, the step of the table: the remainder after
// the row is almost all in the lower words of the fraction), the largest
// float, and the floats nearest the first 64 multiples of pi/128 past 10000.
TEST(Trig, SingleLargePathHardArguments) {
  const uint32_t kHard[] = {
      0x6f79be45, 0x50a3e87f, 0x6ff9be45, 0x5123e87f, 0x7079be45, 0x6a1976f1,  // near k pi/2
      0x53b146a6, 0x65898498, 0x51a3e87f, 0x77584625, 0x4c2332e9, 0x6c55da58,
      0x6c79be45, 0x4da3e87f, 0x6cf9be45, 0x4e23e87f, 0x671976f1, 0x50b146a6,  // near k pi/128
      0x62898498, 0x74584625, 0x492332e9, 0x6955da58, 0x7f7fffff, 0x461c4001,
  };
  std::vector<float> in;
  for (uint32_t b : kHard)
    for (uint32_t d : {0u, 1u, ~0u}) {
      float x;
      const uint32_t u = b + d;
      std::memcpy(&x, &u, sizeof x);
      if (!(x > 10000.0f) || std::isinf(x)) continue;
      in.push_back(x);
      in.push_back(-x);
    }
  const double first = std::ceil(10000 / (M_PI / 128));  // the first multiple of pi/128 past 10000
  for (int j = 0; j < 64; ++j) in.push_back(static_cast<float>((first + j) * (M_PI / 128)));
  ModeScope mode(VQM_ERRMODE_IGNORE);
  std::vector<float> out(in.size());
  for (const auto& e : kS) {
    if (e.fn == kTan) continue;
    e.run(static_cast<int>(in.size()), in.data(), out.data());
    for (size_t i = 0; i < in.size(); ++i) {
      const double u = ulp_error<float>(kRef[e.fn], in[i], out[i]);
      EXPECT_LE(u, 1.0) << e.name << " at " << std::hexfloat << in[i] << " got " << out[i];
    }
  }
}

// ---- shared reductions ----

template <class T>
std::vector<T> mixed_inputs(int n, unsigned seed) {
  std::vector<T> v(static_cast<size_t>(n));
  uint64_t s = seed * 0x9E3779B97F4A7C15ull + 1;
  for (int i = 0; i < n; ++i) {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    const double u = static_cast<double>(s >> 11) * 0x1p-53;
    // Mostly ordinary arguments, some large ones up to 1e30.
    v[static_cast<size_t>(i)] = static_cast<T>(i % 5 == 4 ? std::pow(10.0, 30 * u) : (u - 0.5) * 40);
  }
  return v;
}

// dSinCos HA reduces once for both results, as dSin and dCos do: the same
// bits. At every level, lanes that take the large path agree too: dSinCos LA
// and EP with the table path of dSin, sSinCos with the large path of sSin and
// sCos above 10000.
TEST(Trig, SinCosAgreesWithSinAndCos) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const int n = 203;
  const std::vector<double> x = mixed_inputs<double>(n, 1);
  std::vector<double> s(n), c(n), s2(n), c2(n);
  _vqmdSin_HA(n, x.data(), s.data());
  _vqmdCos_HA(n, x.data(), c.data());
  _vqmdSinCos_HA(n, x.data(), s2.data(), c2.data());
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(bits(s2[i]), bits(s[i])) << x[i];
    EXPECT_EQ(bits(c2[i]), bits(c[i])) << x[i];
  }
  for (auto f : {_vqmdSinCos_50, _vqmdSinCos_26}) {
    f(n, x.data(), s2.data(), c2.data());
    for (int i = 0; i < n; ++i)
      if (std::fabs(x[i]) > 8388608.0) {
        EXPECT_EQ(bits(s2[i]), bits(s[i])) << x[i];
        EXPECT_EQ(bits(c2[i]), bits(c[i])) << x[i];
      }
  }
  const std::vector<float> xf = mixed_inputs<float>(n, 2);
  std::vector<float> sf(n), cf(n), sf2(n), cf2(n);
  _vqmsSin_HA(n, xf.data(), sf.data());
  _vqmsCos_HA(n, xf.data(), cf.data());
  for (auto f : {_vqmsSinCos_21, _vqmsSinCos_HA, _vqmsSinCos_11}) {
    f(n, xf.data(), sf2.data(), cf2.data());
    for (int i = 0; i < n; ++i)
      if (std::fabs(xf[i]) > 10000.0f) {
        EXPECT_EQ(bits(sf2[i]), bits(sf[i])) << xf[i];
        EXPECT_EQ(bits(cf2[i]), bits(cf[i])) << xf[i];
      }
  }
}

// EP lanes above the bound go to the scalar function, which runs the table
// path: the HA result bit for bit, and no status.
TEST(Trig, EpFallbackIsTablePath) {
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  const std::vector<double> x = {16777216.5, -3e7, 1e22, DBL_MAX, 8388608.5, 0.5, -1e300};
  const int n = static_cast<int>(x.size());
  std::vector<double> ha(n), ep(n), hac(n), epc(n);
  _vqmdSin_HA(n, x.data(), ha.data());
  _vqmdSin_26(n, x.data(), ep.data());
  _vqmdCos_HA(n, x.data(), hac.data());
  _vqmdCos_26(n, x.data(), epc.data());
  for (int i = 0; i < n; ++i) {
    if (std::fabs(x[i]) > 16777216.0) {
      EXPECT_EQ(bits(ep[i]), bits(ha[i])) << x[i];
    }
    if (std::fabs(x[i]) > 8388609.0) {
      EXPECT_EQ(bits(epc[i]), bits(hac[i])) << x[i];
    }
  }
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
}

// With FTZ and DAZ on, inputs and results away from the subnormal range keep
// their bits: no intermediate of the ordinary or the large path is subnormal.
template <class T>
void check_flush(const Entry<T>& e) {
  std::vector<T> in = mixed_inputs<T>(96, 4);
  for (T x : {T(1e-10), T(-3e-7), T(0.7853981633974483), T(1e30), T(-1e38)}) in.push_back(x);
  std::vector<T> plain(in.size()), flushed(in.size());
  {
    ModeScope mode(VQM_ERRMODE_IGNORE | VQM_FTZDAZ_OFF);
    e.run(static_cast<int>(in.size()), in.data(), plain.data());
  }
  ModeScope mode(VQM_ERRMODE_IGNORE | VQM_FTZDAZ_ON);
  e.run(static_cast<int>(in.size()), in.data(), flushed.data());
  for (size_t i = 0; i < in.size(); ++i)
    EXPECT_EQ(bits(flushed[i]), bits(plain[i])) << e.name << " at " << std::hexfloat << in[i];
}

TEST(Trig, FlushModeKeepsOrdinaryResults) {
  for (const auto& e : kS) check_flush(e);
  for (const auto& e : kD) check_flush(e);
}

// ---- the callout, counts, strides ----

// An infinity or NaN anywhere in a block leaves the other lanes' results bit
// for bit; every count runs on guarded buffers with no access past n.
template <class T>
void check_counts_and_lanes(const Entry<T>& e) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const std::vector<T> in = mixed_inputs<T>(64, 3);
  std::vector<T> alone(in.size());
  for (size_t i = 0; i < in.size(); ++i) e.run(1, &in[i], &alone[i]);
  for (int n = 0; n <= 40; ++n) {
    for (size_t lead = 0; lead < 2; ++lead) {
      Guarded<T> a(static_cast<size_t>(n), lead), r(static_cast<size_t>(n), lead + 1);
      for (int i = 0; i < n; ++i) a[i] = in[i];
      const int bad = n > 0 ? (n * 7) % n : -1;
      if (bad >= 0) a[bad] = n % 2 ? T(INFINITY) : T(NAN);
      e.run(n, a.data(), r.data());
      for (int i = 0; i < n; ++i) {
        if (i == bad) ASSERT_TRUE(std::isnan(r[i]));
        else ASSERT_EQ(bits(r[i]), bits(alone[i])) << "n " << n << " lane " << i;
      }
      EXPECT_TRUE(r.lead_intact() && a.lead_intact());
    }
  }
  // Strided: increments 2 and 3 through guarded arrays.
  for (int n : {1, 5, 17, 33}) {
    Guarded<T> a(static_cast<size_t>((n - 1) * 3 + 1)), r(static_cast<size_t>((n - 1) * 2 + 1));
    for (int i = 0; i < n; ++i) a[i * 3] = in[i];
    e.run_i(n, a.data(), 3, r.data(), 2);
    for (int i = 0; i < n; ++i) ASSERT_EQ(bits(r[i * 2]), bits(alone[i])) << "strided n " << n << " lane " << i;
  }
}

TEST(Trig, EveryCountAndSpecialLanes) {
  for (const auto& e : kS) check_counts_and_lanes(e);
  for (const auto& e : kD) check_counts_and_lanes(e);
}

using zevtest::g_seen;
using zevtest::record;

// Infinite lanes are reported with status 1 under the row's name (the strided
// form's too), in lane order; NaN lanes and large finite lanes are not.
TEST(Trig, ReportNamesAndIndices) {
  auto check = [](const auto& e, auto zero, bool strided) {
    using T = decltype(zero);
    SCOPED_TRACE(std::string(e.name) + (strided ? " strided" : ""));
    ModeScope mode(VQM_ERRMODE_CALLBACK);
    zev_vqm_kernel_SetErrorCallBack(record);
    g_seen.clear();
    std::vector<T> a(24, T(0.5)), r(48);
    a[3] = T(INFINITY);
    a[9] = T(NAN);
    a[11] = T(1e30);
    a[17] = -T(INFINITY);
    if (strided) e.run_i(24, a.data(), 1, r.data(), 2);
    else e.run(24, a.data(), r.data());
    zev_vqm_kernel_ClearErrorCallBack();
    ASSERT_EQ(g_seen.size(), 2u);
    EXPECT_EQ(g_seen[0].index, 3);
    EXPECT_EQ(g_seen[1].index, 17);
    EXPECT_EQ(g_seen[0].status, VQM_STATUS_DOMAIN);
    EXPECT_EQ(g_seen[0].name, e.report);
  };
  for (bool strided : {false, true}) {
    for (const auto& e : kS) check(e, 0.0f, strided);
    for (const auto& e : kD) check(e, 0.0, strided);
  }
}

}  // namespace
