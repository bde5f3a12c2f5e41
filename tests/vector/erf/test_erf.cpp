// The error-function family: the special values and statuses of the tables in
// docs/vector_erf.md, finite edge results judged by MPFR, every count on
// guarded buffers, special lanes among ordinary ones, strided forms, report
// names and indices, and the row slots the Gaussian generator calls. Accuracy
// over the whole domain is the ulp tool's job.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "fp.h"
#include "callout_record.h"
#include "guarded.h"
#include "one_call.h"
#include "mpfr_ulp.h"
#include "tools/erf_tables/erf_inverse_mpfr.h"
#include "zev/zev_vqm.h"

namespace {

using zevtest::bits;
using zevtest::Guarded;
using zevtest::ModeScope;
using zevtest::MpfrFn;
using zevtest::ulp_error;

// ---- MPFR references of the functions MPFR lacks (shared with the ulp tool) ---

template <void (*F)(mpfr_ptr, mpfr_srcptr)>
int as_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t) {
  F(y, x);
  return 0;
}
constexpr MpfrFn mp_cdfnorm = as_ref<zev::erfmp::cdfnorm>, mp_erfinv = as_ref<zev::erfmp::erfinv>,
                 mp_erfcinv = as_ref<zev::erfmp::erfcinv>, mp_cdfnorminv = as_ref<zev::erfmp::cdfnorminv>;

// ---- the entries ------------------------------------------------------------------

template <class T> using PlainFn = void (*)(int, const T*, T*);
template <class T> using StridedFn = void (*)(int, const T*, int, T*, int);

template <class T>
struct Entry {
  const char* name;  // "dErfInv HA"
  PlainFn<T> f;
  StridedFn<T> fi;
  MpfrFn ref;
  double bound;  // ulp
  double lo, hi; // ordinary inputs: no special lane
};

#define LEVELS(T, row, ref, lo, hi, la, ha, ep, bla, bep)                                              \
  Entry<T>{#row " LA", _vqm##row##_##la, _vqm##row##I_##la, ref, 4, lo, hi},                           \
      Entry<T>{#row " HA", _vqm##row##_HA, _vqm##row##I_HA, ref, 1, lo, hi},                           \
      Entry<T>{#row " EP", _vqm##row##_##ep, _vqm##row##I_##ep, ref, bep, lo, hi}

const Entry<float> kSingle[] = {
    LEVELS(float, sErf, mpfr_erf, -5, 5, 21, HA, 11, 4, 4096),
    LEVELS(float, sErfc, mpfr_erfc, -5, 10, 21, HA, 11, 4, 4096),
    LEVELS(float, sCdfNorm, mp_cdfnorm, -14, 6, 21, HA, 11, 4, 4096),
    LEVELS(float, sErfInv, mp_erfinv, -0.9999f, 0.9999f, 21, HA, 11, 4, 4096),
    LEVELS(float, sErfcInv, mp_erfcinv, 1e-7f, 1.9999f, 21, HA, 11, 4, 4096),
    LEVELS(float, sCdfNormInv, mp_cdfnorminv, 1e-7f, 0.9999f, 21, HA, 11, 4, 4096),
};
const Entry<double> kDouble[] = {
    LEVELS(double, dErf, mpfr_erf, -6.5, 6.5, 50, HA, 26, 4, 1 << 27),
    {"dErfc", _vqmdErfc_HA, _vqmdErfcI_HA, mpfr_erfc, 1, -6, 27.2},
    LEVELS(double, dCdfNorm, mp_cdfnorm, -38.4, 9, 50, HA, 26, 4, 1 << 27),
    LEVELS(double, dErfInv, mp_erfinv, -0.999999, 0.999999, 50, HA, 26, 4, 1 << 27),
    LEVELS(double, dErfcInv, mp_erfcinv, 1e-15, 1.999999, 50, HA, 26, 4, 1 << 27),
    LEVELS(double, dCdfNormInv, mp_cdfnorminv, 1e-15, 0.999999, 50, HA, 26, 4, 1 << 27),
};
#undef LEVELS

// The levels of a row, or the one entry of dErfc.
template <class T, size_t N>
std::vector<const Entry<T>*> levels(const Entry<T> (&tab)[N], const std::string& row) {
  std::vector<const Entry<T>*> v;
  for (const auto& e : tab)
    if (std::string(e.name).substr(0, std::string(e.name).find(' ')) == row) v.push_back(&e);
  return v;
}

// ---- special values and statuses, at every level ---------------------------------

enum Kind {
  kBits,  // exactly `want`
  kNaN,
  kUlp,   // within the level's bound of the MPFR value (and of the class of `want`: 0 normal, 1 subnormal)
};

struct Case {
  const char* row;
  double x;
  Kind kind;
  double want;
  int status;
};

constexpr double kInf = HUGE_VAL, kNan = NAN;

// One table for both precisions: the row name without its letter.
const Case kCases[] = {
    {"Erf", 0.0, kBits, 0.0, 0},           {"Erf", -0.0, kBits, -0.0, 0},
    {"Erf", kInf, kBits, 1.0, 0},          {"Erf", -kInf, kBits, -1.0, 0},
    {"Erf", kNan, kNaN, 0, 0},             {"Erf", 7.0, kBits, 1.0, 0},
    {"Erf", -7.0, kBits, -1.0, 0},         {"Erf", 0x1p-120, kUlp, 0, 0},
    {"Erf", 1e-30, kUlp, 0, 0},            {"Erf", 0.02734375, kUlp, 0, 0},
    {"Erf", -0.5, kUlp, 0, 0},             {"Erf", 3.9, kUlp, 0, 0},
    {"Erfc", kNan, kNaN, 0, 0},            {"Erfc", kInf, kBits, 0.0, 0},
    {"Erfc", -kInf, kBits, 2.0, 0},        {"Erfc", 0.0, kBits, 1.0, 0},
    {"Erfc", -0.0, kBits, 1.0, 0},         {"Erfc", 1e-30, kBits, 1.0, 0},
    {"Erfc", -7.0, kBits, 2.0, 0},         {"Erfc", 27.3, kBits, 0.0, 4},
    {"Erfc", 1e30, kBits, 0.0, 4},         {"Erfc", 9.0, kUlp, 0, 0},
    {"Erfc", -1.5, kUlp, 0, 0},            {"Erfc", 2.0, kUlp, 0, 0},
    {"CdfNorm", kNan, kNaN, 0, 0},         {"CdfNorm", kInf, kBits, 1.0, 0},
    {"CdfNorm", -kInf, kBits, 0.0, 0},     {"CdfNorm", 0.0, kBits, 0.5, 0},
    {"CdfNorm", -0.0, kBits, 0.5, 0},      {"CdfNorm", 40.0, kBits, 1.0, 0},
    {"CdfNorm", -38.6, kBits, 0.0, 4},     {"CdfNorm", -1e30, kBits, 0.0, 4},
    {"CdfNorm", -12.5, kUlp, 0, 0},        {"CdfNorm", 1.25, kUlp, 0, 0},
    {"ErfInv", kNan, kNaN, 0, 0},          {"ErfInv", 1.0, kBits, kInf, 2},
    {"ErfInv", -1.0, kBits, -kInf, 2},     {"ErfInv", 1.5, kNaN, 0, 1},
    {"ErfInv", -1.0000001, kNaN, 0, 1},    {"ErfInv", kInf, kNaN, 0, 1},
    {"ErfInv", -kInf, kNaN, 0, 1},         {"ErfInv", 0.0, kBits, 0.0, 0},
    {"ErfInv", -0.0, kBits, -0.0, 0},      {"ErfInv", -0x1p-120, kUlp, 0, 0},
    {"ErfInv", -1e-30, kUlp, 0, 0},        {"ErfInv", 0.5, kUlp, 0, 0},
    {"ErfInv", -0.9999, kUlp, 0, 0},       {"ErfInv", 0x1p-54, kUlp, 0, 0},
    {"ErfcInv", kNan, kNaN, 0, 0},         {"ErfcInv", 1.0, kBits, 0.0, 0},
    {"ErfcInv", 0.0, kBits, kInf, 2},      {"ErfcInv", -0.0, kBits, kInf, 2},
    {"ErfcInv", 2.0, kBits, -kInf, 2},     {"ErfcInv", -0.5, kNaN, 0, 1},
    {"ErfcInv", 2.5, kNaN, 0, 1},          {"ErfcInv", kInf, kNaN, 0, 1},
    {"ErfcInv", 1e-30, kUlp, 0, 0},        {"ErfcInv", 0x1p-140, kUlp, 0, 0},
    {"ErfcInv", 1.9, kUlp, 0, 0},          {"ErfcInv", 0.5, kUlp, 0, 0},
    {"CdfNormInv", kNan, kNaN, 0, 0},      {"CdfNormInv", 0.5, kBits, 0.0, 0},
    {"CdfNormInv", 0.0, kBits, -kInf, 2},  {"CdfNormInv", 1.0, kBits, kInf, 2},
    {"CdfNormInv", 1.5, kNaN, 0, 1},       {"CdfNormInv", -0.25, kNaN, 0, 1},
    {"CdfNormInv", -kInf, kNaN, 0, 1},     {"CdfNormInv", 1e-30, kUlp, 0, 0},
    {"CdfNormInv", 0x1p-140, kUlp, 0, 0},  {"CdfNormInv", 0.975, kUlp, 0, 0},
    // the seams of the two row sets: a = 1/2
    {"ErfInv", -0.5, kUlp, 0, 0},          {"ErfcInv", 1.5, kUlp, 0, 0},
    {"CdfNormInv", 0.25, kUlp, 0, 0},      {"CdfNormInv", 0.75, kUlp, 0, 0},
};

// Cases only a double can hold: the subnormal ends of the tails, and results
// below the single range.
const Case kDoubleCases[] = {
    {"Erfc", 9.5, kUlp, 0, 0},              {"CdfNorm", -13.5, kUlp, 0, 0},
    {"Erf", 0x1p-1074, kUlp, 1, 0},         {"Erf", -4e-310, kUlp, 1, 0},
    {"Erfc", 26.6, kUlp, 1, 0},             {"Erfc", 27.2, kUlp, 1, 0},
    {"Erfc", 27.226017111108366, kBits, 0.0, 4}, {"Erfc", 1e-300, kBits, 1.0, 0},
    {"CdfNorm", -38.0, kUlp, 1, 0},         {"CdfNorm", -38.48, kUlp, 1, 0},
    {"ErfInv", 0x1p-1074, kUlp, 1, 0},      {"ErfInv", -1e-310, kUlp, 1, 0},
    {"ErfInv", 1e-300, kUlp, 0, 0},         {"ErfInv", 0.99999999999999989, kUlp, 0, 0},
    {"ErfInv", 0x1p-35, kUlp, 0, 0},        {"ErfcInv", 0x1p-1074, kUlp, 0, 0},
    {"ErfcInv", 1e-300, kUlp, 0, 0},        {"ErfcInv", 1.9999999999999998, kUlp, 0, 0},
    {"ErfcInv", 0.99999999999999989, kUlp, 0, 0}, {"CdfNormInv", 0x1p-1074, kUlp, 0, 0},
    {"CdfNormInv", 1e-300, kUlp, 0, 0},     {"CdfNormInv", 0.99999999999999989, kUlp, 0, 0},
};

template <class T, size_t N>
void check_case(const Entry<T> (&tab)[N], const Case& c) {
  const std::string row = std::string(sizeof(T) == 4 ? "s" : "d") + c.row;
  const T x = static_cast<T>(c.x);
  for (const Entry<T>* e : levels(tab, row)) {
    SCOPED_TRACE(std::string(e->name) + " at " + std::to_string(c.x));
    const zevtest::Outcome<T> o = zevtest::call_one(e->f, x, VQM_ERRMODE_ERRNO);
    const T y = o.y;
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.err, zevtest::errno_of(c.status));
    switch (c.kind) {
      case kBits: EXPECT_EQ(bits(y), bits(static_cast<T>(c.want))) << y; break;
      case kNaN: EXPECT_TRUE(std::isnan(y)) << y; break;
      case kUlp:
        EXPECT_EQ(std::fpclassify(y), c.want == 1 ? FP_SUBNORMAL : FP_NORMAL) << y;
        EXPECT_LE(ulp_error<T>(e->ref, x, y), e->bound) << y;
        break;
    }
  }
}

// The subnormal ends of the single tails.
const Case kSingleCases[] = {
    {"Erf", 0x1p-140, kUlp, 1, 0},  {"ErfInv", -0x1p-140, kUlp, 1, 0},
    {"Erfc", 9.5, kUlp, 1, 0},      {"Erfc", 10.05, kUlp, 1, 0},     {"Erfc", 10.0541954, kBits, 0.0, 4},
    {"CdfNorm", -13.5, kUlp, 1, 0}, {"CdfNorm", -14.17, kUlp, 1, 0}, {"CdfNorm", -14.170186, kBits, 0.0, 4},
};

TEST(ErfFamily, SpecialValuesSingle) {
  for (const Case& c : kCases) check_case(kSingle, c);
  for (const Case& c : kSingleCases) check_case(kSingle, c);
}
TEST(ErfFamily, SpecialValuesDouble) {
  for (const Case& c : kCases) check_case(kDouble, c);
  for (const Case& c : kDoubleCases) check_case(kDouble, c);
}

// Inverses near their ends: random points in every binade of the pole
// distance (every 89th binade of a double; every fourth binade of a single, whose
// deep tail below 2^-53 has its own polynomial), judged by MPFR.
template <class T, size_t N>
void inverses_near_the_ends(const Entry<T> (&tab)[N], int last, int stride, int per) {
  constexpr int kBits = std::numeric_limits<T>::digits;
  std::mt19937_64 g(5);
  for (const auto& e : tab) {
    const std::string n = e.name;
    if (n.find("Inv") == std::string::npos) continue;
    SCOPED_TRACE(n);
    for (int b = 1; b <= last; b += stride) {
      for (int k = 0; k < per; ++k) {
        const T w = static_cast<T>(std::ldexp(1.0 + (g() >> 12) * 0x1p-52, -b));
        T x = w;
        if (n.find("ErfInv") == 1) x = b <= kBits ? T(1) - w : w;
        if (n.find("ErfcInv") == 1 && b < kBits && (b + k) % 2) x = T(2) - w;
        if (n.find("CdfNormInv") == 1 && b < kBits && (b + k) % 2) x = T(1) - w;
        T y;
        e.f(1, &x, &y);
        EXPECT_LE(ulp_error<T>(e.ref, x, y), e.bound) << "x " << x << " y " << y;
      }
    }
  }
}
TEST(ErfFamily, InversesNearTheEnds) {
  inverses_near_the_ends(kSingle, 149, 4, 1);
  inverses_near_the_ends(kDouble, 1070, 89, 1);
}

// ---- blocks, counts, strides, reports -------------------------------------------

template <class T>
std::vector<T> ordinary(const Entry<T>& e, size_t n, uint32_t seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(e.lo, e.hi);
  std::vector<T> v(n);
  for (auto& x : v) x = static_cast<T>(u(g));
  return v;
}

// Every count from 0 to 33 and 1000, two alignments: each result is the
// one-element call's, nothing outside [0, n) is touched, no status.
template <class T>
void check_counts(const Entry<T>& e) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  const std::vector<T> in = ordinary(e, 1000, 7);
  std::vector<T> one(1000);
  for (int i = 0; i < 1000; ++i) e.f(1, &in[i], &one[i]);
  std::vector<int> counts;
  for (int n = 0; n <= 33; ++n) counts.push_back(n);
  counts.push_back(1000);
  for (int n : counts) {
    for (size_t lead = 0; lead < 2; ++lead) {
      Guarded<T> a(n, lead), r(n, lead + 1);
      for (int i = 0; i < n; ++i) a[i] = in[i];
      e.f(n, a.data(), r.data());
      for (int i = 0; i < n; ++i) ASSERT_EQ(bits(r[i]), bits(one[i])) << "n " << n << " lane " << i;
      EXPECT_TRUE(r.lead_intact() && a.lead_intact());
    }
  }
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
}

TEST(ErfFamily, EveryCount) {
  for (const auto& e : kSingle) check_counts(e);
  for (const auto& e : kDouble) check_counts(e);
}

// A special lane anywhere leaves the other lanes' results; it gets its
// one-element result. Strided forms equal the plain ones for strides 0 to 3.
template <class T>
void check_lanes_and_strides(const Entry<T>& e, T special) {
  SCOPED_TRACE(e.name);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const int n = 13;
  const std::vector<T> in = ordinary(e, n, 11);
  std::vector<T> clean(n);
  e.f(n, in.data(), clean.data());
  T alone;
  e.f(1, &special, &alone);
  for (int pos : {0, 1, 4, 7, 12}) {
    std::vector<T> a = in, r(n);
    a[pos] = special;
    e.f(n, a.data(), r.data());
    for (int i = 0; i < n; ++i) EXPECT_TRUE(zevtest::same(r[i], i == pos ? alone : clean[i])) << pos << " " << i;
  }
  std::vector<T> src = in;
  src[2] = special;
  std::vector<T> want(n);
  for (int inca : {1, 2, 3}) {
    for (int incr : {0, 1, 2}) {
      Guarded<T> a((n - 1) * inca + 1), r(incr == 0 ? 1 : (n - 1) * incr + 1);
      for (int i = 0; i < n; ++i) a[i * inca] = src[i];
      e.f(n, src.data(), want.data());
      e.fi(n, a.data(), inca, r.data(), incr);
      for (int i = incr == 0 ? n - 1 : 0; i < n; ++i)
        EXPECT_TRUE(zevtest::same(r[i * incr], want[i])) << "inca " << inca << " incr " << incr << " i " << i;
    }
  }
}

// A value past each row's vector path: outside the inverses' domain, past the
// tails' underflow limits.
double past(const std::string& name) {
  return name.find("Inv") != std::string::npos ? 3.0 : name.find("CdfNorm") != std::string::npos ? -40.0 : 30.0;
}

TEST(ErfFamily, SpecialLanesAndStrides) {
  for (const auto& e : kSingle) {
    check_lanes_and_strides(e, static_cast<float>(NAN));
    check_lanes_and_strides(e, static_cast<float>(past(e.name)));
  }
  for (const auto& e : kDouble) {
    check_lanes_and_strides(e, static_cast<double>(NAN));
    check_lanes_and_strides(e, past(e.name));
  }
}

using zevtest::g_seen;
using zevtest::record;

// The callback sees each failing lane in order, with the row's report name
// (the strided form reports under the same name).
TEST(ErfFamily, ReportNamesAndIndices) {
  struct R {
    const char* row;
    double bad;
    int status;
    const char* name;
  };
  const R rs[] = {{"dErfc", 30.0, 4, "vdErfc"},       {"dCdfNorm", -40.0, 4, "vdCdfNorm"},
                  {"dErfInv", 1.0, 2, "vdErfInv"},    {"dErfInv", 2.0, 1, "vdErfInv"},
                  {"dErfcInv", 0.0, 2, "vdErfcInv"},  {"dCdfNormInv", 1.0, 2, "vdCdfNormInv"},
                  {"sErfc", 30.0, 4, "vsErfc"},       {"sErfInv", -1.0, 2, "vsErfInv"},
                  {"sErfcInv", 3.0, 1, "vsErfcInv"},  {"sCdfNormInv", 0.0, 2, "vsCdfNormInv"}};
  for (const R& c : rs) {
    SCOPED_TRACE(c.row);
    const bool single = c.row[0] == 's';
    for (bool strided : {false, true}) {
      ModeScope mode(VQM_ERRMODE_CALLBACK);
      zev_vqm_kernel_SetErrorCallBack(record);
      g_seen.clear();
      std::vector<double> a(24, 0.25), r(48);
      std::vector<float> af(24, 0.25f), rf(48);
      a[3] = a[17] = c.bad;
      af[3] = af[17] = static_cast<float>(c.bad);
      if (single) {
        const auto& e = *levels(kSingle, c.row)[1];
        strided ? e.fi(24, af.data(), 1, rf.data(), 2) : e.f(24, af.data(), rf.data());
      } else {
        const auto& e = *levels(kDouble, c.row).back();
        strided ? e.fi(24, a.data(), 1, r.data(), 2) : e.f(24, a.data(), r.data());
      }
      zev_vqm_kernel_ClearErrorCallBack();
      ASSERT_EQ(g_seen.size(), 2u);
      EXPECT_EQ(g_seen[0].index, 3);
      EXPECT_EQ(g_seen[1].index, 17);
      EXPECT_EQ(g_seen[0].status, c.status);
      EXPECT_EQ(g_seen[0].name, c.name);
    }
  }
}

// The Gaussian generator calls dErfInv through slot 2 (EP) and sErfInv
// through slot 0 (LA): the slots hold kernels of those levels.
TEST(ErfFamily, GeneratorSlots) {
  using D = void (*)(int, const double*, double*);
  using S = void (*)(int, const float*, float*);
  const D d = reinterpret_cast<D>(zev_vqm_kernel_dErfInv_ttab[2]);
  const S s = reinterpret_cast<S>(zev_vqm_kernel_sErfInv_ttab[0]);
  std::vector<double> x = ordinary(kDouble[9], 1000, 3), y(1000), want(1000);
  std::vector<float> xf = ordinary(kSingle[9], 1000, 3), yf(1000), wantf(1000);
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  d(1000, x.data(), y.data());
  _vqmdErfInv_26(1000, x.data(), want.data());
  s(1000, xf.data(), yf.data());
  _vqmsErfInv_21(1000, xf.data(), wantf.data());
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(bits(y[i]), bits(want[i]));
    ASSERT_EQ(bits(yf[i]), bits(wantf[i]));
  }
  for (int i = 0; i < 1000; i += 37) {
    EXPECT_LE(ulp_error<double>(mp_erfinv, x[i], y[i]), 1 << 27) << x[i];
    EXPECT_LE(ulp_error<float>(mp_erfinv, xf[i], yf[i]), 4) << xf[i];
  }
}

}  // namespace
