// Complex Exp, Ln, Log10, Pow and Powx against MPC, Annex G's special values
// and the statuses of docs/vector_cexp.md, the callout (names, indices, the
// one b of Powx in the record), guarded bounds and strides, and the
// logarithm's atan2 under modelled worst reciprocal estimates.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "estimate_model.h"
#include "fp.h"
#include "complex_check.h"
#include "guarded.h"
#include "tools/ulp/complex_ref.h"
#include "vector/cexp/cexp_core.h"
#include "zev/zev_vqm.h"
#include "zev/zev_vqm_functions.h"

namespace {

using zev::ulp::CError;
using zev::ulp::CExact;
using zevtest::ModeScope;
using C8 = zev_complex8;
using C16 = zev_complex16;

void exp_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_exp(v, a, MPC_RNDNN); }
void log_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_log(v, a, MPC_RNDNN); }
void log10_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_log10(v, a, MPC_RNDNN); }
void pow_fn(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { zev::ulp::pow_exact(v, a, b); }

// Every entry of a row in one shape: n, a, a's stride, b, b's stride (0 for
// Powx), r, r's stride.
template <class C>
using Call = void (*)(int, const C*, int, const C*, int, C*, int);

template <class C>
struct Row {
  const char* name;
  zev::ulp::CExactFn exact;
  bool binary;
  Call<C> lv[3];  // LA, HA, EP
};

#define UNARY(C, N, S)                                                                   \
  [](int n, const C* a, int ia, const C*, int, C* r, int ir) {                           \
    if (ia == 1 && ir == 1) _vqm##N##S(n, a, r); else _vqm##N##I##S(n, a, ia, r, ir);    \
  }
#define BINARY(C, N, S)                                                                      \
  [](int n, const C* a, int ia, const C* b, int ib, C* r, int ir) {                          \
    if (ia == 1 && ib == 1 && ir == 1) _vqm##N##S(n, a, b, r); else _vqm##N##I##S(n, a, ia, b, ib, r, ir); \
  }
#define POWX(C, N, S)                                                                     \
  [](int n, const C* a, int ia, const C* b, int, C* r, int ir) {                          \
    if (ia == 1 && ir == 1) _vqm##N##S(n, a, *b, r); else _vqm##N##I##S(n, a, ia, *b, r, ir); \
  }
#define ROW_Z(F, N, FN, B) Row<C16>{#N, FN, B, {F(C16, N, _50), F(C16, N, _HA), F(C16, N, _26)}}
#define ROW_C(F, N, FN, B) Row<C8>{#N, FN, B, {F(C8, N, _21), F(C8, N, _HA), F(C8, N, _11)}}

const Row<C16> kZRows[] = {
    ROW_Z(UNARY, zExp, exp_fn, false),  ROW_Z(UNARY, zLn, log_fn, false), ROW_Z(UNARY, zLog10, log10_fn, false),
    ROW_Z(BINARY, zPow, pow_fn, true), ROW_Z(POWX, zPowx, pow_fn, true),
};
const Row<C8> kCRows[] = {
    ROW_C(UNARY, cExp, exp_fn, false),  ROW_C(UNARY, cLn, log_fn, false), ROW_C(UNARY, cLog10, log10_fn, false),
    ROW_C(BINARY, cPow, pow_fn, true), ROW_C(POWX, cPowx, pow_fn, true),
};

bool is_powx(const char* name) { return std::string(name).find("Powx") != std::string::npos; }

// ---- inputs -------------------------------------------------------------------------

// Points of the row's domain where the HA bound is promised: for Exp, x
// within the result's range (some beyond e^x's own, where a part still
// fits); for Ln, every binade of both parts; for Pow, |w log z| up to 512,
// across the vector path's bound, with a fifth of the points on a part
// 2^-20 to 2^-6 of the other (the angle near a quarter turn).
template <class R>
std::vector<std::pair<std::complex<double>, std::complex<double>>> points(const char* row, std::mt19937_64& g,
                                                                          int n) {
  constexpr bool single = sizeof(R) == 4;
  std::uniform_real_distribution<double> u(-1, 1);
  auto fit = [](double v) { return static_cast<double>(static_cast<R>(v)); };
  auto any = [&](int emin, int emax) {
    const int e = emin + static_cast<int>(g() % static_cast<uint64_t>(emax - emin + 1));
    return fit(std::ldexp(u(g), e));
  };
  const double xmax = single ? 89.0 : 710.0, xmin = single ? -103.0 : -744.0;
  std::vector<std::pair<std::complex<double>, std::complex<double>>> p;
  const std::string r = row + 1;
  for (int i = 0; i < n; ++i) {
    std::complex<double> a, b;
    if (r == "Exp") {
      const double x = i % 4 == 0 ? fit(xmin + (xmax - xmin) * (u(g) + 1) / 2) : any(-40, 6);
      a = {x, i % 3 == 0 ? any(-30, single ? 100 : 1000) : any(-30, 5)};
    } else if (r == "Ln" || r == "Log10") {
      const int emax = single ? 127 : 1023, emin = single ? -149 : -1074;
      switch (i % 4) {
        case 0: a = {any(emin, emax), any(emin, emax)}; break;
        case 1: {  // near the unit circle
          const double t = u(g) * 3.14159;
          a = {fit(std::cos(t)), fit(std::sin(t))};
          break;
        }
        case 2: a = {fit(1 + u(g) * 0x1p-20), any(-60, -10)}; break;  // log1p territory
        default: a = {any(-5, 5), any(-5, 5)};
      }
    } else {
      a = {any(-8, 8), any(-8, 8)};
      const std::complex<double> l = std::log(a);
      const double lz = std::abs(l);
      const double s = std::ldexp(1.0, static_cast<int>(g() % 10)) / std::max(lz, 1e-3);
      b = {fit(u(g) * s), fit(u(g) * s * (i % 5 == 0 ? 0 : 1))};
      if (i % 5 == 1 && !single) {
        // w real, w arg z = k pi/2 + d: a part d of the other.
        const double d = std::ldexp(u(g), -6 - static_cast<int>(g() % 15));
        const double k = static_cast<double>(g() % 8) - 4;
        if (l.imag() != 0) b = {(k * 1.5707963267948966 + d) / l.imag(), 0.0};
      }
    }
    p.push_back({a, b});
  }
  return p;
}

template <class C>
void check_accuracy(const Row<C>& row, int level, uint64_t seed) {
  using R = decltype(C::re);
  std::mt19937_64 g(seed);
  const auto pts = points<R>(row.name, g, 1200);
  const int n = static_cast<int>(pts.size());
  ModeScope mode(VQM_ERRMODE_IGNORE);
  CExact x;
  double worst = 0, worst_part = 0;
  // Powx: one b for each run of 8 points.
  for (int i0 = 0; i0 < n; i0 += 8) {
    C a[8], b[8], r[8];
    for (int k = 0; k < 8; ++k) {
      const auto& q = pts[i0 + (is_powx(row.name) ? 0 : k)];
      a[k] = {static_cast<R>(pts[i0 + k].first.real()), static_cast<R>(pts[i0 + k].first.imag())};
      b[k] = {static_cast<R>(q.second.real()), static_cast<R>(q.second.imag())};
    }
    row.lv[level](8, a, 1, b, 1, r, 1);
    for (int k = 0; k < 8; ++k) {
      x.compute(row.exact, a[k].re, a[k].im, b[k].re, b[k].im);
      // Results beyond the range of R: the special-value test's business.
      if (!std::isfinite(static_cast<R>(mpfr_get_d(mpc_realref(x.v), MPFR_RNDN))) ||
          !std::isfinite(static_cast<R>(mpfr_get_d(mpc_imagref(x.v), MPFR_RNDN))))
        continue;
      const CError e = zev::ulp::cerror<R>(x, r[k].re, r[k].im);
      const double pe = std::max(e.re_small ? 0.0 : e.re, e.im_small ? 0.0 : e.im);
      if (e.norm > worst || pe > worst_part) {
        worst = std::max(worst, e.norm), worst_part = std::max(worst_part, pe);
        ASSERT_LE(e.norm, level == 0 ? 4.0 : 1.0) << row.name << " level " << level << " at (" << a[k].re << ", "
                                                   << a[k].im << ") op (" << b[k].re << ", " << b[k].im << ")";
        if (level == 1) {
          ASSERT_TRUE(zevtest::parts_ok(e)) << row.name << " at (" << a[k].re << ", " << a[k].im << ")";
        }
      }
    }
  }
}

TEST(Cexp, AccuracyAgainstMpc) {
  uint64_t seed = 1;
  for (const auto& row : kZRows)
    for (int level = 0; level < 3; ++level) check_accuracy(row, level, seed++);
  for (const auto& row : kCRows)
    for (int level = 0; level < 3; ++level) check_accuracy(row, level, seed++);
}

// ---- Annex G's special values and the statuses --------------------------------------------

constexpr double kInf = HUGE_VAL, kNaN = __builtin_nan(""), kPi = 3.141592653589793;
constexpr double kAny = 12345.0;  // "either sign of zero" or "any value"

struct Special {
  const char* row;
  double ar, ai, br, bi;
  double re, im;  // expected; NaN matches any NaN; kAny matches anything
  int status;
};
const Special kSpecials[] = {
    // Exp
    {"Exp", 0.0, 0.0, 0, 0, 1.0, 0.0, 0},
    {"Exp", -0.0, -0.0, 0, 0, 1.0, -0.0, 0},
    {"Exp", 2.0, kInf, 0, 0, kNaN, kNaN, 1},
    {"Exp", 2.0, kNaN, 0, 0, kNaN, kNaN, 0},
    {"Exp", kInf, 0.0, 0, 0, kInf, 0.0, 0},
    {"Exp", kInf, -0.0, 0, 0, kInf, -0.0, 0},
    {"Exp", -kInf, 2.0, 0, 0, -0.0, 0.0, 0},  // +0 cis(2): cos 2 < 0
    {"Exp", kInf, 2.0, 0, 0, -kInf, kInf, 0},
    {"Exp", kInf, -1.0, 0, 0, kInf, -kInf, 0},
    {"Exp", -kInf, kInf, 0, 0, kAny, kAny, 0},
    {"Exp", kInf, kInf, 0, 0, kInf, kNaN, 1},
    {"Exp", -kInf, kNaN, 0, 0, kAny, kAny, 0},
    {"Exp", kInf, kNaN, 0, 0, kInf, kNaN, 0},
    {"Exp", kNaN, 0.0, 0, 0, kNaN, 0.0, 0},
    {"Exp", kNaN, -0.0, 0, 0, kNaN, -0.0, 0},
    {"Exp", kNaN, 1.0, 0, 0, kNaN, kNaN, 0},
    {"Exp", kNaN, kNaN, 0, 0, kNaN, kNaN, 0},
    {"Exp", 1e6, 0.0, 0, 0, kInf, 0.0, 3},
    {"Exp", 1e6, 1.0, 0, 0, kInf, kInf, 3},
    {"Exp", -1e6, 1.0, 0, 0, 0.0, 0.0, 4},
    // Ln
    {"Ln", -0.0, 0.0, 0, 0, -kInf, kPi, 2},
    {"Ln", -0.0, -0.0, 0, 0, -kInf, -kPi, 2},
    {"Ln", 0.0, 0.0, 0, 0, -kInf, 0.0, 2},
    {"Ln", 0.0, -0.0, 0, 0, -kInf, -0.0, 2},
    {"Ln", 3.0, kInf, 0, 0, kInf, kPi / 2, 0},
    {"Ln", -3.0, -kInf, 0, 0, kInf, -kPi / 2, 0},
    {"Ln", 3.0, kNaN, 0, 0, kNaN, kNaN, 0},
    {"Ln", -kInf, 3.0, 0, 0, kInf, kPi, 0},
    {"Ln", -kInf, -3.0, 0, 0, kInf, -kPi, 0},
    {"Ln", kInf, 3.0, 0, 0, kInf, 0.0, 0},
    {"Ln", kInf, -3.0, 0, 0, kInf, -0.0, 0},
    {"Ln", -kInf, kInf, 0, 0, kInf, 3 * kPi / 4, 0},
    {"Ln", kInf, -kInf, 0, 0, kInf, -kPi / 4, 0},
    {"Ln", kInf, kNaN, 0, 0, kInf, kNaN, 0},
    {"Ln", -kInf, kNaN, 0, 0, kInf, kNaN, 0},
    {"Ln", kNaN, 3.0, 0, 0, kNaN, kNaN, 0},
    {"Ln", kNaN, kInf, 0, 0, kInf, kNaN, 0},
    {"Ln", kNaN, kNaN, 0, 0, kNaN, kNaN, 0},
    {"Ln", -1.0, 0.0, 0, 0, 0.0, kPi, 0},
    {"Ln", -1.0, -0.0, 0, 0, 0.0, -kPi, 0},
    {"Ln", 1.0, 0.0, 0, 0, 0.0, 0.0, 0},
    // Pow
    {"Pow", kNaN, kNaN, 0.0, -0.0, 1.0, 0.0, 0},
    {"Pow", 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0},
    {"Pow", kInf, 1.0, -0.0, 0.0, 1.0, 0.0, 0},
    {"Pow", kNaN, 1.0, 2.0, 0.0, kNaN, kNaN, 0},
    {"Pow", 1.0, 1.0, kNaN, 0.0, kNaN, kNaN, 0},
    {"Pow", 0.0, 0.0, 2.0, 5.0, 0.0, 0.0, 0},
    {"Pow", -0.0, 0.0, 0.5, 0.0, 0.0, 0.0, 0},
    {"Pow", 0.0, 0.0, -2.0, 1.0, kInf, 0.0, 2},
    {"Pow", 0.0, -0.0, 0.0, 1.0, kNaN, kNaN, 1},
    {"Pow", kInf, 0.0, 2.0, 0.0, kInf, 0.0, 0},
    {"Pow", kInf, 0.0, -1.0, 0.0, 0.0, 0.0, 0},
    {"Pow", 2.0, 0.0, kInf, 0.0, kInf, 0.0, 0},
    {"Pow", 0.5, 0.0, kInf, 0.0, 0.0, 0.0, 0},
    {"Pow", 0.0, 1.0, kInf, 0.0, kNaN, kNaN, 1},
    {"Pow", 1.0, 0.0, 3.0, 2.0, 1.0, 0.0, 0},
    {"Pow", 1e300, 0.0, 2.0, 0.0, kInf, 0.0, 3},
    {"Pow", 1e-300, 0.0, 2.0, 0.0, 0.0, 0.0, 4},
};

bool matches(double got, double want) {
  if (want == kAny) return true;
  if (std::isnan(want)) return std::isnan(got);
  return zevtest::same(got, want);
}

template <class C>
void check_special(const Special& s, const Row<C>& row) {
  using R = decltype(C::re);
  SCOPED_TRACE(std::string(row.name) + " (" + std::to_string(s.ar) + ", " + std::to_string(s.ai) + ") op (" +
               std::to_string(s.br) + ", " + std::to_string(s.bi) + ")");
  ModeScope mode(VQM_ERRMODE_IGNORE);
  // The expected value at single precision, where that differs.
  const bool single = sizeof(R) == 4;
  double ar = s.ar, br = s.br;
  if (single && (std::fabs(ar) == 1e300 || std::fabs(ar) == 1e-300)) ar = ar > 1 ? 1e30 : 1e-30;
  for (int level = 0; level < 3; ++level) {
    // The element in the middle of a block and in a tail.
    for (int n : {4, 3}) {
      C a[4], b[4], r[4];
      for (int k = 0; k < 4; ++k) a[k] = {R(0.5), R(0.25)}, b[k] = {R(s.br), R(s.bi)};
      a[1] = {static_cast<R>(ar), static_cast<R>(s.ai)};
      b[1] = {static_cast<R>(br), static_cast<R>(s.bi)};
      zev_vqm_kernel_ClearErrStatus();
      row.lv[level](n, a, 1, b, 1, r, 1);
      double want_re = s.re, want_im = s.im;
      if (single && want_re == kPi) want_re = static_cast<R>(kPi);
      EXPECT_TRUE(matches(r[1].re, single && std::isfinite(want_re) && want_re != kAny ? R(want_re) : want_re))
          << "re " << r[1].re << " level " << level;
      EXPECT_TRUE(matches(r[1].im, single && std::isfinite(want_im) && want_im != kAny ? R(want_im) : want_im))
          << "im " << r[1].im << " level " << level;
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), s.status) << "level " << level;
    }
  }
}

template <class C, size_t N>
const Row<C>& find_row(const Row<C> (&rows)[N], const std::string& name) {
  for (const auto& r : rows)
    if (name == r.name + 1) return r;
  ADD_FAILURE() << name;
  return rows[0];
}

TEST(Cexp, SpecialValuesAndStatuses) {
  for (const Special& s : kSpecials) {
    const std::string name = s.row;
    // Ln's table holds for Log10 scaled by 1/ln 10 (zeros, infinities and NaN alike).
    check_special(s, find_row(kZRows, name));
    check_special(s, find_row(kCRows, name));
    if (name == "Pow") {
      check_special(s, find_row(kZRows, "Powx"));
      check_special(s, find_row(kCRows, "Powx"));
    }
    if (name == "Ln" && (std::isinf(s.re) || std::isnan(s.re)) && (s.im == 0 || std::isnan(s.im))) {
      check_special(s, find_row(kZRows, "Log10"));
      check_special(s, find_row(kCRows, "Log10"));
    }
  }
}

// Powers over the whole plane: angles Im(w log z) of up to 2^1034 radians,
// reduced exactly; parts that are exactly zero, and the signs of zero and
// infinite parts on underflow and overflow. Where `re` is kAny the value is
// MPC's (HA bounds); otherwise the expected parts and status.
struct PowCase {
  double ar, ai, br, bi;
  double re, im;
  int status;
};
constexpr double kMax = 1.7976931348623157e308, kTrue = 0x1p-1074;
const PowCase kPowCases[] = {
    {3.0, 0.0, kMax, 0.0, kInf, 0.0, 3},
    {3.0, 0.0, 0.0, 1e300, kAny, kAny, 0},
    {3.0, 0.0, 0.0, -kMax, kAny, kAny, 0},
    {1.0, kTrue, kMax, 0.0, kAny, kAny, 0},
    {1.0, 0x1p-600, 0.0, 0x1p300, kAny, kAny, 0},
    {kTrue, kMax, 1.0, 0.0, kTrue, kMax, 0},                    // z^1 = z, a part 2^-2098 of the other
    {kTrue, kMax, kMax, 0.0, kInf, -kInf, 3},                   // the angle 2^-1074 below a whole turn
    {-kMax, kTrue, kMax, 0.0, kInf, -kInf, 3},
    {-0x1p-1022, kMax, 3.0, 0.0, kInf, -kInf, 3},               // 3 pi/2 + 3 2^-2046
    {0.6, 0.8, 1e10, 0.0, kAny, kAny, 0},          // |z| within 2^-53 of 1, an angle of 9e9
    {-1.5, 1e-5, 700.5, 0.25, kAny, kAny, 0},
    {2.0, 0.0, 1e-300, 1e-300, kAny, kAny, 0},
    {0.0, 1.0, 1.0 + 0x1p-15, 0.0, kAny, kAny, 0},              // a part 2^-14 of the other
    {1.0, 1.0, 4.0, 1e-9, kAny, kAny, 0},
    // Exactly zero parts: the sign of that part of exp(w log z) in double arithmetic.
    {-2.0, 0.0, 2.0, 0.0, 4.0, -0.0, 0},
    {-2.0, -0.0, 2.0, -0.0, 4.0, 0.0, 0},
    {-2.0, 0.0, 3.0, 0.0, -8.0, kAny, 0},
    {0.0, 1.0, 2.0, 0.0, -1.0, 0.0, 0},
    {0.0, 1.0, 1.0, 0.0, 0.0, 1.0, 0},
    {1.0, 1.0, 4.0, 0.0, -4.0, 0.0, 0},
    {-1.0, 0.0, 0x1p1000, 0.0, 1.0, kAny, 0},
    // Over- and underflow at angles of pi/4 and 3 pi/4 from the cut.
    {-2.0, 0.0, 2000.25, 0.0, kInf, kInf, 3},
    {-2.0, 0.0, 2000.75, 0.0, -kInf, kInf, 3},
    {-2.0, -0.0, 2000.75, 0.0, -kInf, -kInf, 3},
    {-0.5, 0.0, 2000.25, 0.0, 0.0, 0.0, 4},
    {-0.5, 0.0, 2001.75, 0.0, 0.0, -0.0, 4},
    {-0.5, 0.0, 2000.75, 0.0, -0.0, 0.0, 4},
};

TEST(Cexp, PowOverTheWholePlane) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  CExact x;
  for (const PowCase& c : kPowCases) {
    SCOPED_TRACE(testing::Message() << "(" << c.ar << ", " << c.ai << ")^(" << c.br << ", " << c.bi << ")");
    const C16 a[3] = {{0.5, 0.25}, {c.ar, c.ai}, {0.5, 0.25}}, b[3] = {{1, 1}, {c.br, c.bi}, {1, 1}};
    C16 r[3], rx[3];
    zev_vqm_kernel_ClearErrStatus();
    _vqmzPow(3, a, b, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), c.status);
    _vqmzPowx(1, a + 1, b[1], rx);
    EXPECT_TRUE(zevtest::same(rx[0].re, r[1].re) && zevtest::same(rx[0].im, r[1].im));
    if (c.re == kAny) {
      x.compute(pow_fn, c.ar, c.ai, c.br, c.bi);
      const CError e = zev::ulp::cerror<double>(x, r[1].re, r[1].im);
      EXPECT_LE(e.norm, 1.0) << r[1].re << " " << r[1].im;
      EXPECT_TRUE(zevtest::parts_ok(e)) << r[1].re << " " << r[1].im;
    } else {
      EXPECT_TRUE(matches(r[1].re, c.re)) << r[1].re;
      EXPECT_TRUE(matches(r[1].im, c.im)) << r[1].im;
    }
  }
}

// The single rows share the scalar arithmetic: the same signs where a part
// overflows or vanishes, in the single range.
TEST(Cexp, PowSingleSigns) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  const C8 a[] = {{-2.0f, 0.0f}, {-2.0f, 0.0f}, {-0.5f, 0.0f}, {0x1p-149f, 3e38f}, {0.0f, 1.0f}};
  const C8 b[] = {{200.25f, 0.0f}, {200.75f, 0.0f}, {201.75f, 0.0f}, {3e38f, 0.0f}, {2.0f, 0.0f}};
  const double want[][2] = {{kInf, kInf}, {-kInf, kInf}, {0.0, -0.0}, {kInf, -kInf}, {-1.0, 0.0}};
  C8 r[5];
  _vqmcPow(5, a, b, r);
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(matches(r[i].re, want[i][0])) << i << " " << r[i].re;
    EXPECT_TRUE(matches(r[i].im, want[i][1])) << i << " " << r[i].im;
  }
}

// Exp's scaled path: parts right although e^x alone overflows or underflows.
TEST(Cexp, ExpBeyondTheRangeOfEToTheX) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  CExact x;
  const C16 a[] = {{709.9, 0.7853981633974483}, {710.0, -2.356194490192345}, {-745.5, 0.0}, {-740.0, 1.0},
                   {709.5, -3.0}, {-708.9, 1e-300}};
  C16 r[6];
  _vqmzExp(6, a, r);
  for (int i = 0; i < 6; ++i) {
    x.compute(exp_fn, a[i].re, a[i].im, 0, 0);
    const CError e = zev::ulp::cerror<double>(x, r[i].re, r[i].im);
    EXPECT_LE(e.norm, 1.0) << i;
    EXPECT_LE(std::max(e.re_small ? 0 : e.re, e.im_small ? 0 : e.im), 2.0) << i;
  }
}

// ---- the callout -----------------------------------------------------------------------------

using zevtest::g_seen;
using zevtest::record_writing;

TEST(Cexp, CalloutNamesIndicesAndTheOneB) {
  ModeScope mode(VQM_ERRMODE_CALLBACK);
  zev_vqm_kernel_SetErrorCallBack(record_writing);
  const C16 a[7] = {{1, 1}, {800, 1}, {1, 1}, {1, 1}, {1, 1}, {0, 0}, {1, 1}};
  for (int inc : {1, 2}) {
    g_seen.clear();
    C16 r[14];
    _vqmzExpI(7, a, 1, r, inc);
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0].status, 3);
    EXPECT_EQ(g_seen[0].index, 1);
    EXPECT_EQ(g_seen[0].name, "vzExp");
    EXPECT_EQ(r[inc].re, 7.0);  // the callback's value is written
    g_seen.clear();
    _vqmzLnI(7, a, 1, r, inc);
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0].status, 2);
    EXPECT_EQ(g_seen[0].index, 5);
    EXPECT_EQ(g_seen[0].name, "vzLn");
    // Powx: the record's second argument is the one b, for every element.
    g_seen.clear();
    _vqmzPowxI(7, a, 1, C16{-2.0, 0.5}, r, inc);
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0].index, 5);
    EXPECT_EQ(g_seen[0].status, 2);
    EXPECT_EQ(g_seen[0].name, "vzPowx");
    EXPECT_EQ(g_seen[0].a2, -2.0);
    EXPECT_EQ(g_seen[0].a2_im, 0.5);
    EXPECT_TRUE(std::isfinite(r[0].re) && std::isfinite(r[6 * inc].re));  // the others computed
  }
  g_seen.clear();
  const C8 c[3] = {{1, 1}, {100, 1}, {1, 1}};
  C8 rc[3];
  _vqmcExp(3, c, rc);
  ASSERT_EQ(g_seen.size(), 1u);
  EXPECT_EQ(g_seen[0].name, "vcExp");
  zev_vqm_kernel_ClearErrorCallBack();
}

// ---- counts, strides and bounds ------------------------------------------------------------

template <class C>
void check_bounds(const Row<C>& row) {
  using R = decltype(C::re);
  std::mt19937_64 g(7);
  std::uniform_real_distribution<double> u(-3, 3);
  for (int level = 0; level < 3; ++level) {
    for (int n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 33}) {
      SCOPED_TRACE(std::string(row.name) + " level " + std::to_string(level) + " n " + std::to_string(n));
      std::vector<C> a0(n + 1), b0(n + 1);
      for (int i = 0; i <= n; ++i) {
        a0[i] = {R(u(g)), R(u(g))}, b0[i] = {R(u(g)), R(u(g))};
        if (i % 5 == 3) a0[i].re = R(1e5);  // a scalar lane
      }
      ModeScope mode(VQM_ERRMODE_IGNORE);
      zevtest::Guarded<C> a(n), b(row.binary ? n : 0), r(n);
      for (int i = 0; i < n; ++i) a[i] = a0[i];
      for (int i = 0; row.binary && i < n; ++i) b[i] = b0[i];
      const C* pb = !row.binary ? nullptr : is_powx(row.name) ? b0.data() : b.data();
      row.lv[level](n, a.data(), 1, pb, 1, r.data(), 1);
      zevtest::expect_strided_as_plain(n, a0.data(), b0.data(), r.data(), [&](C* sa, C* sb, C* sr, int) {
        const C* psb = !row.binary ? nullptr : is_powx(row.name) ? b0.data() : sb;
        row.lv[level](n, sa, zevtest::kStrideIn, psb, zevtest::kStrideIn, sr, zevtest::kStrideOut);
      });
      C guard{R(-9), R(-9)};
      row.lv[level](-3, a0.data(), 1, b0.data(), 1, &guard, 1);
      EXPECT_EQ(guard.re, R(-9));
    }
  }
}

TEST(Cexp, CountsStridesAndBounds) {
  for (const auto& row : kZRows) check_bounds(row);
  for (const auto& row : kCRows) check_bounds(row);
}

// ---- the logarithm's atan2 under modelled worst estimates -----------------------------------

TEST(Cexp, LnUnderModelledEstimates) {
  std::mt19937_64 g(5);
  CExact x;
  for (double bias : {1.0, -1.0, 0.0})
    for (bool scattered : {false, true}) {
      zevtest::EstimateBias eb(bias, scattered);
      for (int i = 0; i < 2000; ++i) {
        const double re = std::ldexp(double(g() >> 11) * 0x1p-53, static_cast<int>(g() % 200) - 100) * (i % 2 ? -1 : 1);
        const double im = std::ldexp(double(g() >> 11) * 0x1p-53, static_cast<int>(g() % 200) - 100);
        zev::vk::DD lr, li;
        zev::vk::cexp::ln_pair<zevtest::ModelEstimate>(_mm_set1_pd(re), _mm_set1_pd(im), lr, li);
        const double gr = _mm_cvtsd_f64(_mm_add_pd(lr.hi, lr.lo)), gi = _mm_cvtsd_f64(_mm_add_pd(li.hi, li.lo));
        x.compute(log_fn, re, im, 0, 0);
        const CError e = zev::ulp::cerror<double>(x, gr, gi);
        ASSERT_LE(e.norm, 1.0) << re << " " << im << " bias " << bias;
      }
    }
}

}  // namespace
