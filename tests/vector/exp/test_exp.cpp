// The exponential family: special values and statuses, the NOERR shortcut of
// Exp, the callout's effect on the other lanes, every count on guarded
// buffers, in-place calls, strided forms, report names and indices, and the
// x87 kernel's handling of the caller's control state. Accuracy over the
// whole domain is the ulp tool's job (ulp_quick); here MPFR only judges the
// finite results of the edge cases.
#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <cerrno>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "callout_record.h"
#include "guarded.h"
#include "one_call.h"
#include "zev/zev_vqm.h"

#include "fp.h"
#include "mpfr_ulp.h"

namespace {

using zevtest::Guarded;

template <class T> using PlainFn = void (*)(int, const T*, T*);
template <class T> using StridedFn = void (*)(int, const T*, int, T*, int);
using zevtest::bits;
using zevtest::ModeScope;
using zevtest::MpfrFn;
using zevtest::ulp_error;

template <class T>
struct Entry {
  const char* name;
  PlainFn<T> f;
  StridedFn<T> fi;
  MpfrFn ref;
  double bound;  // ulp
};

const Entry<float> kSingle[] = {
    {"sExp LA", _vqmsExp_21, _vqmsExpI_21, mpfr_exp, 4},      {"sExp HA", _vqmsExp_HA, _vqmsExpI_HA, mpfr_exp, 1},
    {"sExp EP", _vqmsExp_11, _vqmsExpI_11, mpfr_exp, 4096},   {"sExp2", _vqmsExp2_HA, _vqmsExp2I_HA, mpfr_exp2, 1},
    {"sExp10", _vqmsExp10_HA, _vqmsExp10I_HA, mpfr_exp10, 1}, {"sExpm1", _vqmsExpm1_HA, _vqmsExpm1I_HA, mpfr_expm1, 1},
};
const Entry<double> kDouble[] = {
    {"dExp LA", _vqmdExp_50, _vqmdExpI_50, mpfr_exp, 4},
    {"dExp HA", _vqmdExp_HA, _vqmdExpI_HA, mpfr_exp, 1},
    {"dExp EP", _vqmdExp_26, _vqmdExpI_26, mpfr_exp, 1 << 27},
    {"dExp2", _vqmdExp2_HA, _vqmdExp2I_HA, mpfr_exp2, 1},
    {"dExp10", _vqmdExp10_HA, _vqmdExp10I_HA, mpfr_exp10, 1},
    {"dExpm1 LA", _vqmdExpm1_50, _vqmdExpm1I_50, mpfr_expm1, 4},
    {"dExpm1 HA", _vqmdExpm1_HA, _vqmdExpm1I_HA, mpfr_expm1, 1},
};

template <class T> const Entry<T>& entry(const char* name);
template <> const Entry<float>& entry<float>(const char* name) {
  for (const auto& e : kSingle)
    if (std::string(e.name) == name) return e;
  abort();
}
template <> const Entry<double>& entry<double>(const char* name) {
  for (const auto& e : kDouble)
    if (std::string(e.name) == name) return e;
  abort();
}

// ---- special values and statuses -------------------------------------------------

enum Kind { kFinite, kDenormal, kInf, kZero, kNaN, kMinusOne };

template <class T>
struct EdgeCase {
  const char* fn;
  T x;
  Kind kind;
  int status;
};

const EdgeCase<float> kSingleEdges[] = {
    {"sExp HA", 88.7f, kFinite, 0},       {"sExp LA", 88.7f, kFinite, 0},      {"sExp EP", 88.7f, kFinite, 0},
    {"sExp HA", 88.73f, kInf, 3},         {"sExp LA", 88.73f, kInf, 3},        {"sExp EP", 88.73f, kInf, 3},
    {"sExp HA", -87.5f, kDenormal, 4},    {"sExp LA", -87.5f, kDenormal, 4},   {"sExp EP", -87.5f, kDenormal, 4},
    {"sExp HA", -104.0f, kZero, 4},       {"sExp LA", -104.0f, kZero, 4},      {"sExp EP", -104.0f, kZero, 4},
    {"sExp HA", -87.4f, kDenormal, 4},      {"sExp HA", 88.0f, kFinite, 0},      {"sExp LA", -87.3f, kFinite, 0},
    {"sExp HA", -INFINITY, kZero, 0},     {"sExp LA", -INFINITY, kZero, 0},    {"sExp HA", INFINITY, kInf, 0},
    {"sExp EP", INFINITY, kInf, 0},       {"sExp HA", NAN, kNaN, 0},           {"sExp EP", NAN, kNaN, 0},
    {"sExp2", 127.5f, kFinite, 0},        {"sExp2", 128.0f, kInf, 3},          {"sExp2", -126.5f, kDenormal, 4},
    {"sExp2", -149.0f, kDenormal, 4},     {"sExp2", -151.0f, kZero, 4},        {"sExp2", -INFINITY, kZero, 0},
    {"sExp2", NAN, kNaN, 0},              {"sExp2", 126.0f, kFinite, 0},       {"sExp10", 38.5f, kFinite, 0},
    {"sExp10", 38.6f, kInf, 3},           {"sExp10", -38.5f, kDenormal, 4},    {"sExp10", -46.0f, kZero, 4},
    {"sExp10", -37.9f, kFinite, 0},       {"sExp10", INFINITY, kInf, 0},       {"sExpm1", 88.72f, kFinite, 0},
    {"sExpm1", 88.73f, kInf, 3},          {"sExpm1", -100.0f, kMinusOne, 0},   {"sExpm1", -INFINITY, kMinusOne, 0},
    {"sExpm1", NAN, kNaN, 0},             {"sExpm1", 86.7f, kFinite, 0},       {"sExpm1", 1e-30f, kFinite, 0},
};

const EdgeCase<double> kDoubleEdges[] = {
    {"dExp HA", 709.79, kInf, 3},          {"dExp LA", 709.79, kInf, 3},           {"dExp EP", 709.79, kInf, 3},
    {"dExp HA", -745.2, kZero, 4},         {"dExp LA", -745.2, kZero, 4},          {"dExp EP", -745.2, kZero, 4},
    {"dExp HA", -709.0, kDenormal, 4},     {"dExp LA", -709.0, kDenormal, 4},      {"dExp EP", -709.0, kDenormal, 4},
    {"dExp HA", 709.78, kFinite, 0},       {"dExp LA", 709.0, kFinite, 0},         {"dExp HA", -708.39, kFinite, 0},
    {"dExp HA", -744.5, kDenormal, 4},     {"dExp HA", -INFINITY, kZero, 0},       {"dExp EP", INFINITY, kInf, 0},
    {"dExp LA", NAN, kNaN, 0},             {"dExp2", 1023.9, kFinite, 0},          {"dExp2", 1024.0, kInf, 3},
    {"dExp2", -1022.5, kDenormal, 4},      {"dExp2", -1074.0, kDenormal, 4},       {"dExp2", -1076.0, kZero, 4},
    {"dExp2", -1021.999, kFinite, 0},      {"dExp10", 308.25, kFinite, 0},         {"dExp10", 308.26, kInf, 3},
    {"dExp10", -310.0, kDenormal, 4},      {"dExp10", -324.0, kZero, 4},           {"dExp10", -307.65, kFinite, 0},
    {"dExpm1 LA", 709.78, kFinite, 0},     {"dExpm1 LA", 709.79, kInf, 3},         {"dExpm1 LA", -1000.0, kMinusOne, 0},
    {"dExpm1 LA", NAN, kNaN, 0},           {"dExpm1 HA", 709.78, kFinite, 0},      {"dExpm1 HA", 709.79, kInf, 3},
    {"dExpm1 HA", 100.0, kFinite, 0},      {"dExpm1 HA", 50.0, kFinite, 0},        {"dExpm1 HA", -50.0, kMinusOne, 0},
    {"dExpm1 HA", -1000.0, kMinusOne, 0},  {"dExpm1 HA", 1e-3, kFinite, 0},        {"dExpm1 HA", 1e-10, kFinite, 0},
    {"dExpm1 HA", -1e-300, kFinite, 0},    {"dExpm1 HA", 4e-320, kFinite, 0},      {"dExpm1 HA", -INFINITY, kMinusOne, 0},
    {"dExpm1 HA", INFINITY, kInf, 0},      {"dExpm1 HA", NAN, kNaN, 0},
};

template <class T>
void check_edges(const EdgeCase<T>* cases, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const EdgeCase<T>& c = cases[i];
    const Entry<T>& e = entry<T>(c.fn);
    SCOPED_TRACE(std::string(c.fn) + " at " + std::to_string(static_cast<double>(c.x)));
    const zevtest::Outcome<T> o = zevtest::call_one(e.f, c.x);
    const T y = o.y;
    EXPECT_EQ(o.status, c.status);
    if (c.status == 3 || c.status == 0) {
      EXPECT_EQ(o.err, zevtest::errno_of(c.status));
    }
    switch (c.kind) {
      case kInf: EXPECT_TRUE(std::isinf(y) && y > 0) << y; break;
      case kZero: EXPECT_EQ(bits(y), 0u) << y; break;
      case kNaN: EXPECT_TRUE(std::isnan(y)); break;
      case kMinusOne: EXPECT_EQ(y, T(-1)); break;
      case kDenormal: EXPECT_EQ(std::fpclassify(y), FP_SUBNORMAL) << y; [[fallthrough]];
      case kFinite: EXPECT_LE(ulp_error<T>(e.ref, c.x, y), e.bound) << y; break;
    }
  }
}

TEST(ExpFamily, EdgeCasesSingle) { check_edges(kSingleEdges, std::size(kSingleEdges)); }
TEST(ExpFamily, EdgeCasesDouble) { check_edges(kDoubleEdges, std::size(kDoubleEdges)); }

// Exp(0) and Exp(-0) are exactly 1 at every level, plain and strided.
TEST(ExpFamily, ExpOfZeroIsOne) {
  for (const char* n : {"sExp LA", "sExp HA", "sExp EP"}) {
    const float a[2] = {0.0f, -0.0f};
    float r[4] = {};
    entry<float>(n).f(2, a, r);
    entry<float>(n).fi(2, a, 1, r, 2);
    EXPECT_TRUE(r[0] == 1.0f && r[1] == 1.0f && r[2] == 1.0f) << n;
  }
  for (const char* n : {"dExp LA", "dExp HA", "dExp EP"}) {
    const double a[2] = {0.0, -0.0};
    double r[4] = {};
    entry<double>(n).f(2, a, r);
    entry<double>(n).fi(2, a, 1, r, 2);
    EXPECT_TRUE(r[0] == 1.0 && r[1] == 1.0 && r[2] == 1.0) << n;
  }
}

// ---- ERRMODE_NOERR inside Exp ------------------------------------------------------

template <class T>
void check_noerr(const char* fn, std::vector<T> xs) {
  const Entry<T>& e = entry<T>(fn);
  const int n = static_cast<int>(xs.size());
  std::vector<T> want(n), got(n);
  {
    ModeScope mode(VQM_ERRMODE_DEFAULT);
    e.f(n, xs.data(), want.data());
  }
  ModeScope mode(VQM_ERRMODE_NOERR);
  zev_vqm_kernel_SetErrStatus(0);
  feclearexcept(FE_ALL_EXCEPT);
  e.f(n, xs.data(), got.data());
  EXPECT_FALSE(fetestexcept(FE_OVERFLOW)) << fn;
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0) << fn;
  EXPECT_EQ(errno, 0) << fn;
  for (int i = 0; i < n; ++i)
    EXPECT_EQ(bits(got[i]), bits(want[i])) << fn << " lane " << i << " x " << xs[i];
}

TEST(ExpFamily, NoErrShortcut) {
  // Overflow and total underflow lanes are settled by select; the lane between
  // the fast bound and the limit and the NaN still go through the scalar
  // function and come out as in the default mode.
  for (const char* fn : {"sExp LA", "sExp HA", "sExp EP"})
    check_noerr<float>(fn, {1.0f, 88.73f, -104.0f, 88.7f, NAN, 2.0f, 1000.0f, -1000.0f});
  for (const char* fn : {"dExp LA", "dExp HA", "dExp EP"})
    check_noerr<double>(fn, {1.0, 709.79, -745.2, 709.0, NAN, 2.0, 1e4, -1e4});
}

// ---- block behaviour on guarded buffers ---------------------------------------------

// Random inputs inside the vector path of each function (no special lane).
template <class T>
std::vector<T> ordinary_inputs(const char* fn, size_t n, uint32_t seed) {
  std::mt19937 g(seed);
  const std::string f = fn;
  double lo = -80, hi = 80;
  if (f.find("Exp2") != std::string::npos) lo = -120, hi = 120;
  if (f.find("Exp10") != std::string::npos) lo = -37, hi = 37;
  if (f[0] == 'd' && f.find("Exp2") == std::string::npos && f.find("Exp10") == std::string::npos) lo = -700, hi = 700;
  if (f[0] == 'd' && f.find("Exp10") != std::string::npos) lo = -300, hi = 300;
  if (f[0] == 'd' && f.find("Exp2") != std::string::npos) lo = -1000, hi = 1000;
  std::uniform_real_distribution<double> u(lo, hi);
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<T>(i % 5 == 0 ? u(g) * 1e-3 : u(g));
  return v;
}

// Every count from 0 to 33 and 1000, every start alignment: each result equals
// the one-element call on the same input, no status, nothing outside [0, n).
template <class T>
void check_counts(const Entry<T>& e) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  std::vector<int> counts;
  for (int n = 0; n <= 33; ++n) counts.push_back(n);
  counts.push_back(1000);
  const std::vector<T> in = ordinary_inputs<T>(e.name, 1000, 7);
  std::vector<T> single(1000);
  for (int i = 0; i < 1000; ++i) e.f(1, &in[i], &single[i]);
  for (int n : counts) {
    for (size_t lead = 0; lead < 2; ++lead) {
      Guarded<T> a(n, lead), r(n, lead + 1);
      for (int i = 0; i < n; ++i) a[i] = in[i];
      e.f(n, a.data(), r.data());
      for (int i = 0; i < n; ++i) ASSERT_EQ(bits(r[i]), bits(single[i])) << "n " << n << " lane " << i;
      EXPECT_TRUE(r.lead_intact() && a.lead_intact());
    }
  }
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
}

TEST(ExpFamily, EveryCountSingle) {
  for (const auto& e : kSingle) check_counts(e);
}
TEST(ExpFamily, EveryCountDouble) {
  for (const auto& e : kDouble) check_counts(e);
}

// A special lane anywhere in a block leaves the other lanes' vector results
// bit for bit; the special lane gets the one-element result.
template <class T>
void check_special_lane(const Entry<T>& e, T special) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const int n = 16;
  const std::vector<T> in = ordinary_inputs<T>(e.name, n, 11);
  std::vector<T> clean(n);
  e.f(n, in.data(), clean.data());
  T alone;
  e.f(1, &special, &alone);
  for (int pos : {0, 1, 2, 3, 5, 7, 9, 15}) {
    std::vector<T> a = in, r(n);
    a[pos] = special;
    e.f(n, a.data(), r.data());
    for (int i = 0; i < n; ++i)
      EXPECT_EQ(bits(r[i]), bits(i == pos ? alone : clean[i])) << "special at " << pos << " lane " << i;
  }
}

TEST(ExpFamily, SpecialLaneLeavesOthers) {
  for (const auto& e : kSingle)
    for (float s : {NAN, INFINITY, 1e6f, -1e6f}) check_special_lane(e, s);
  for (const auto& e : kDouble)
    for (double s : {double(NAN), -double(INFINITY), 1e6, -1e6}) check_special_lane(e, s);
}

// In place (r == a) gives what a separate result array gets.
template <class T>
void check_in_place(const Entry<T>& e) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  std::vector<T> in = ordinary_inputs<T>(e.name, 37, 3);
  in[5] = static_cast<T>(NAN);
  in[30] = static_cast<T>(1e6);
  std::vector<T> want(in.size()), buf = in;
  e.f(static_cast<int>(in.size()), in.data(), want.data());
  e.f(static_cast<int>(buf.size()), buf.data(), buf.data());
  for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(bits(buf[i]), bits(want[i])) << e.name << " lane " << i;
}

TEST(ExpFamily, InPlace) {
  for (const auto& e : kSingle) check_in_place(e);
  for (const auto& e : kDouble) check_in_place(e);
}

// Strided forms equal the plain results lane for lane, for input and result
// strides 0, 1, 2 and 3 (a result stride of 0 leaves the last result).
template <class T>
void check_strided(const Entry<T>& e) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  for (int n : {1, 3, 8, 13, 33}) {
    std::vector<T> src = ordinary_inputs<T>(e.name, n, 5 + n);
    if (n > 3) src[2] = static_cast<T>(1e6);  // a special lane, through the strided callout
    for (int inca : {0, 1, 2, 3}) {
      for (int incr : {0, 1, 2}) {
        const int na = inca == 0 ? 1 : (n - 1) * inca + 1, nr = incr == 0 ? 1 : (n - 1) * incr + 1;
        Guarded<T> a(na), r(nr);
        for (int i = 0; i < na; ++i) a[i] = static_cast<T>(-1);
        for (int i = 0; i < n; ++i) a[i * inca] = src[inca == 0 ? 0 : i];
        std::vector<T> x(n), want(n);
        for (int i = 0; i < n; ++i) x[i] = a[i * inca];
        e.f(n, x.data(), want.data());
        e.fi(n, a.data(), inca, r.data(), incr);
        if (incr == 0) {
          EXPECT_EQ(bits(r[0]), bits(want[n - 1])) << "n " << n << " inca " << inca;
        } else {
          for (int i = 0; i < n; ++i)
            EXPECT_EQ(bits(r[i * incr]), bits(want[i])) << "n " << n << " inca " << inca << " incr " << incr;
        }
      }
    }
  }
}

TEST(ExpFamily, StridedEqualsPlain) {
  for (const auto& e : kSingle) check_strided(e);
  for (const auto& e : kDouble) check_strided(e);
}

// ---- reports: names, indices, order --------------------------------------------------

using zevtest::g_seen;
using zevtest::record;

TEST(ExpFamily, ReportNamesAndIndices) {
  struct Case {
    const char* fn;
    bool strided;
    const char* name;
  };
  const Case cases[] = {{"dExp HA", false, "vdExp"},      {"dExp LA", true, "vdExp"},
                        {"dExp2", false, "vdExp2"},       {"dExp10", true, "vdExp10"},
                        {"dExpm1 LA", false, "vdExpm1"},  {"dExpm1 LA", true, "vdExpm1I"},
                        {"dExpm1 HA", false, "vdExpm1"},  {"dExpm1 HA", true, "vdExpm1I"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.fn) + (c.strided ? " strided" : ""));
    ModeScope mode(VQM_ERRMODE_CALLBACK);
    zev_vqm_kernel_SetErrorCallBack(record);
    g_seen.clear();
    std::vector<double> a(24, 0.5), r(48, 0.0);
    a[3] = 1e6;
    a[17] = 2e6;
    if (c.strided)
      entry<double>(c.fn).fi(24, a.data(), 1, r.data(), 2);
    else
      entry<double>(c.fn).f(24, a.data(), r.data());
    zev_vqm_kernel_ClearErrorCallBack();
    ASSERT_EQ(g_seen.size(), 2u);
    EXPECT_EQ(g_seen[0].index, 3);
    EXPECT_EQ(g_seen[1].index, 17);
    EXPECT_EQ(g_seen[0].status, 3);
    EXPECT_EQ(g_seen[0].name, c.name);
  }
  for (const Entry<float>& e : kSingle) {
    ModeScope mode(VQM_ERRMODE_CALLBACK);
    zev_vqm_kernel_SetErrorCallBack(record);
    g_seen.clear();
    const float a[5] = {0.5f, 0.5f, 1e6f, 0.5f, 0.5f};
    float r[10];
    e.fi(5, a, 1, r, 2);
    zev_vqm_kernel_ClearErrorCallBack();
    ASSERT_EQ(g_seen.size(), 1u) << e.name;
    EXPECT_EQ(g_seen[0].index, 2);
    const std::string base = std::string("v") + std::string(e.name).substr(0, std::string(e.name).find(' '));
    EXPECT_EQ(g_seen[0].name, base) << e.name;
  }
}

// ---- the x87 kernel: its own control word, the caller's state kept ----------------------

using zevtest::x87_control;
using zevtest::x87_load_control;

TEST(ExpFamily, X87KernelKeepsCallerState) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  std::vector<double> in = ordinary_inputs<double>("dExpm1 HA", 64, 9);
  for (int i = 0; i < 8; ++i) in[i] = std::ldexp(1.0, -3 * i - 1) * (i % 2 ? -1 : 1);  // every branch
  std::vector<double> want(in.size()), got(in.size());
  _vqmdExpm1_HA(static_cast<int>(in.size()), in.data(), want.data());
  const uint16_t saved = x87_control();
  const unsigned csr = _mm_getcsr();
  // 64-bit precision, round toward zero, one exception unmasked-free word;
  // and MXCSR rounding down, which the kernel must neither use nor touch.
  for (uint16_t cw : {uint16_t(0x037F), uint16_t(0x0F7F), uint16_t(0x007F)}) {
    x87_load_control(cw);
    _mm_setcsr((csr & ~0x6000u) | 0x2000u);
    _vqmdExpm1_HA(static_cast<int>(in.size()), in.data(), got.data());
    const uint16_t after = x87_control();
    const unsigned csr_after = _mm_getcsr();
    _mm_setcsr(csr);
    x87_load_control(saved);
    EXPECT_EQ(after, cw);
    EXPECT_EQ(csr_after & 0xFFC0u, ((csr & ~0x6000u) | 0x2000u) & 0xFFC0u);
    for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(bits(got[i]), bits(want[i])) << "cw " << cw << " lane " << i;
  }
  EXPECT_LE(ulp_error<double>(mpfr_expm1, in[3], want[3]), 1.0);
}

}  // namespace
