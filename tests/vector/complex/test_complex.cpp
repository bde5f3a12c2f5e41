// Complex Add, Sub, Mul, MulByConj, Div, Conj and Abs against MPC, the
// special-value table, statuses and the callout, guarded bounds, and Abs under
// modelled worst estimates.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/ulp/complex_ref.h"
#include "estimate_model.h"
#include "complex_check.h"
#include "fp.h"
#include "guarded.h"
#include "vector/complex/abs_core.h"
#include "zev/zev_vqm.h"
#include "zev/zev_vqm_functions.h"

namespace {

using zevtest::bits;
using zev::ulp::CExact;
using zev::ulp::COp;
using zevtest::ModeScope;
using zevtest::g_answer;
using zevtest::g_seen;
using zevtest::record_writing;
using C8 = zev_complex8;
using C16 = zev_complex16;

// ---- the entries ------------------------------------------------------------------

template <class C> struct Fns {
  using R = decltype(C::re);
  void (*bin)(int, const C*, const C*, C*) = nullptr;
  void (*binI)(int, const C*, int, const C*, int, C*, int) = nullptr;
  void (*un)(int, const C*, C*) = nullptr;
  void (*unI)(int, const C*, int, C*, int) = nullptr;
  void (*abs)(int, const C*, R*) = nullptr;
  void (*absI)(int, const C*, int, R*, int) = nullptr;
};

template <class C> struct Row {
  const char* name;
  COp op;
  Fns<C> lv[3];  // LA, HA, EP
};

#define BIN(P, N, S) Fns<P>{.bin = _vqm##N##S, .binI = _vqm##N##I##S}
#define UN(P, N, S) Fns<P>{.un = _vqm##N##S, .unI = _vqm##N##I##S}
#define ABS(P, N, S) Fns<P>{.abs = _vqm##N##S, .absI = _vqm##N##I##S}
#define ROW_Z(F, N, OP) Row<C16>{#N, OP, {F(C16, N, _50), F(C16, N, _HA), F(C16, N, _26)}}
#define ROW_C(F, N, OP) Row<C8>{#N, OP, {F(C8, N, _21), F(C8, N, _HA), F(C8, N, _11)}}

const Row<C16> kZRows[] = {
    ROW_Z(BIN, zAdd, COp::Add), ROW_Z(BIN, zSub, COp::Sub),         ROW_Z(BIN, zMul, COp::Mul),
    ROW_Z(BIN, zMulByConj, COp::MulByConj), ROW_Z(BIN, zDiv, COp::Div), ROW_Z(UN, zConj, COp::Conj),
    ROW_Z(ABS, zAbs, COp::Abs), ROW_Z(UN, zSqrt, COp::Sqrt),
};
const Row<C8> kCRows[] = {
    ROW_C(BIN, cAdd, COp::Add), ROW_C(BIN, cSub, COp::Sub),         ROW_C(BIN, cMul, COp::Mul),
    ROW_C(BIN, cMulByConj, COp::MulByConj), ROW_C(BIN, cDiv, COp::Div), ROW_C(UN, cConj, COp::Conj),
    ROW_C(ABS, cAbs, COp::Abs), ROW_C(UN, cSqrt, COp::Sqrt), ROW_C(ABS, cArg, COp::Arg),
};

bool real_result(COp op) { return op == COp::Abs || op == COp::Arg; }

// Runs one entry on n elements; Abs and Arg results go to the real part.
template <class C>
void run(const Fns<C>& f, int n, const C* a, const C* b, C* r) {
  using R = decltype(C::re);
  if (f.bin) return f.bin(n, a, b, r);
  if (f.un) return f.un(n, a, r);
  std::vector<R> t(n > 0 ? n : 0);
  f.abs(n, a, t.data());
  for (int i = 0; i < n; ++i) r[i] = {t[i], 0};
}

// ---- inputs over the whole plane ----------------------------------------------------

template <class R>
R random_part(std::mt19937_64& g) {
  constexpr bool single = sizeof(R) == 4;
  const int emin = single ? -149 : -1074, emax = single ? 127 : 1023;
  const uint64_t u = g();
  R x;
  switch (u % 16) {
    case 0: x = 0; break;
    case 1: x = std::ldexp(R(1) + R(double(u >> 12 & 0xFFFF) / 65536.0), emin + int(u >> 40 & 31)); break;  // tiny
    case 2: x = std::ldexp(R(1) + R(double(u >> 12 & 0xFFFF) / 65536.0), emax - int(u >> 40 & 7)); break;   // huge
    default: {
      const int e = emin + int((u >> 20) % uint64_t(emax - emin + 1));
      x = std::ldexp(R(0.5) + R(double(g() >> 11) * 0x1p-54), e);
    }
  }
  return (u >> 63) ? -x : x;
}

// Random parts over every binade; also parts near the axes, operands of
// similar size (cancellation in Mul), and both parts of one size.
template <class C>
std::vector<C> make_plane(std::mt19937_64& g, size_t n, std::vector<C>* second) {
  using R = decltype(C::re);
  std::vector<C> a(n), b(n);
  for (size_t i = 0; i < n; ++i) {
    a[i] = {random_part<R>(g), random_part<R>(g)};
    b[i] = {random_part<R>(g), random_part<R>(g)};
    switch (i % 6) {
      case 1: {  // moderate sizes: the vector paths
        auto moderate = [&](R& x) {
          if (x == 0) return;  // a zero part stays
          x = std::ldexp(x, -std::ilogb(x) + int(g() % 40) - 20);
        };
        moderate(a[i].re), moderate(a[i].im), moderate(b[i].re), moderate(b[i].im);
        if (a[i].re == 0) a[i].re = R(1.25);
        if (b[i].im == 0) b[i].im = R(-0.75);
        break;
      }
      case 2:  // a c - b d and a d + b c close to cancelling
        b[i] = {a[i].im * R(0.75), a[i].re * R(0.75)};
        b[i].re = std::nextafter(b[i].re, R(0));
        break;
      case 3:  // one part tiny against the other
        a[i].im = std::ldexp(a[i].re, -(sizeof(R) == 4 ? 30 : 60));
        break;
      case 4:  // same binade both parts
        a[i].im = a[i].re * R(0.875);
        b[i].re = b[i].im * R(-1.125);
        break;
      default: break;
    }
  }
  if (second) *second = b;
  return a;
}

// ---- accuracy against MPC ---------------------------------------------------------------

template <class C>
void check_accuracy(const Row<C>& row, int level, size_t npts, uint64_t seed) {
  using R = decltype(C::re);
  SCOPED_TRACE(std::string(row.name) + " level " + std::to_string(level));
  std::mt19937_64 g(seed);
  std::vector<C> b;
  const std::vector<C> a = make_plane<C>(g, npts, &b);
  std::vector<C> r(npts);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  run(row.lv[level], static_cast<int>(npts), a.data(), b.data(), r.data());
  CExact x;
  int fails = 0;
  for (size_t i = 0; i < npts && fails < 5; ++i) {
    x.compute(row.op, a[i].re, a[i].im, b[i].re, b[i].im);
    const double wr = zev::ulp::rounded<R>(mpc_realref(x.v)), wi = zev::ulp::rounded<R>(mpc_imagref(x.v));
    const double gr = r[i].re, gi = r[i].im;
    auto where = [&] {
      char s[256];
      snprintf(s, sizeof s, "a=(%a,%a) b=(%a,%a) got=(%a,%a) want=(%a,%a)", double(a[i].re), double(a[i].im),
               double(b[i].re), double(b[i].im), gr, gi, wr, wi);
      return std::string(s);
    };
    if (std::isnan(wr) || std::isnan(wi) || std::isinf(wr) || std::isinf(wi)) {
      // NaN and infinity classes: exact results that overflow must be
      // infinities; the other part is judged on its own.
      if (std::isinf(wr) && !std::isinf(gr) && !std::isnan(wi)) ++fails, ADD_FAILURE() << where();
      if (std::isinf(wi) && !std::isinf(gi) && !std::isnan(wr)) ++fails, ADD_FAILURE() << where();
      continue;
    }
    const std::string miss = zevtest::level_miss<R>(level, zev::ulp::cerror<R>(x, gr, gi), wr, wi);
    if (!miss.empty()) ++fails, ADD_FAILURE() << where() << miss;
  }
}

TEST(Complex, AccuracyDouble) {
  uint64_t seed = 1;
  for (const auto& row : kZRows)
    for (int level = 0; level < 3; ++level) check_accuracy(row, level, 3000, seed++);
}
TEST(Complex, AccuracySingle) {
  uint64_t seed = 100;
  for (const auto& row : kCRows)
    for (int level = 0; level < 3; ++level) check_accuracy(row, level, 3000, seed++);
}

// ---- special values: the table of docs/vector_complex.md ---------------------------------

constexpr double kInf = HUGE_VAL, kNaN = __builtin_nan("");
constexpr double kMax = 1.7976931348623157e308;
constexpr double kPiF = 3.14159274101257324;  // pi rounded to single

struct Special {
  const char* row;
  double ar, ai, br, bi;
  double rr, ri;  // expected parts; NaN means any NaN
  int status;
};
const Special kSpecials[] = {
    // Division.
    {"zDiv", 1e300, 1e300, 1e-300, 1e-300, kInf, 0.0, 3},  // overflow of finite inputs
    {"zDiv", kInf, 1.0, 0.0, 0.0, kInf, kInf, 0},          // Inf over zero: (a s, b s), s = Inf with c's sign
    {"zDiv", kInf, -1.0, -0.0, 0.0, -kInf, kInf, 0},
    {"zDiv", kNaN, 1.0, 0.0, 0.0, kNaN, kNaN, 0},          // NaN over zero: a b in both parts
    {"zDiv", 1.0, 2.0, kInf, 0.0, 0.0, 0.0, 0},            // finite over infinite: a signed zero
    {"zDiv", -1.0, 2.0, kInf, 0.0, -0.0, 0.0, 0},
    {"zDiv", 1.0, 1.0, 0.0, -kInf, -0.0, 0.0, 0},
    {"zDiv", kMax, kMax, kInf, kInf, 0.0, 0.0, 0},         // the sum does not overflow first
    {"zDiv", kInf, 2.0, kInf, 1.0, 0.0, 0.0, 0},          // infinite over infinite: the same formula
    {"zDiv", kInf, 1.0, 2.0, 1.0, kInf, -kInf, 0},         // infinite over finite: infinite
    {"zDiv", 1.0, 2.0, 0.0, 0.0, kInf, kInf, 2},           // finite over zero: a pole
    {"zDiv", 0.0, 0.0, 0.0, 0.0, kNaN, kNaN, 1},           // 0 / 0
    {"zDiv", 1.0, 2.0, kNaN, 1.0, kNaN, kNaN, 0},
    {"zDiv", 0x1p-1074, 0.0, 1.0, 0.0, 0x1p-1074, 0.0, 0},  // subnormal quotient, exact
    {"zDiv", 3.0, 0.0, 0.0, 2.0, 0.0, -1.5, 0},            // a zero part takes the scalar path
    {"zDiv", 0x1p-1000, 0x1p-1000, 0x1p500, 0x1p500, 0.0, 0.0, 0},  // 2^-1500 rounds to zero
    // Multiplication, Annex G: an infinite operand gives an infinite result.
    {"zMul", kInf, kNaN, 1.0, 0.0, kInf, kNaN, 0},
    {"zMul", kInf, 0.0, 0.0, 1.0, kNaN, kInf, 0},
    {"zMul", 1e300, 1e300, 1e10, 1e10, 0.0, kInf, 3},
    {"zMul", 1e300, 1e300, 1e10, -1e10, kInf, 0.0, 3},
    {"zMul", 0x1p-600, 0x1p-600, 0x1p-500, 0x1p-500, 0.0, 0.0, 0},  // 2^-1099 rounds to zero
    {"zMul", 0x1p-537, 0.0, 0x1p-537, 0.0, 0x1p-1074, 0.0, 0},             // subnormal product, exact
    {"zMulByConj", 1e300, 1e300, 1e10, -1e10, 0.0, kInf, 3},
    {"cMul", 1e30, 1e30, 1e10, 1e10, 0.0, kInf, 3},
    {"cMul", 1e30, 0.0, 1e10, 0.0, kInf, 0.0, 3},
    {"cMul", kInf, kNaN, 1.0, 0.0, kInf, kNaN, 0},
    {"cDiv", 1e30, 1e30, 1e-10, 1e-10, kInf, 0.0, 3},     // overflows single, not double
    {"cDiv", 1.0, 2.0, 0.0, 0.0, kInf, kInf, 2},
    {"cDiv", kInf, 1.0, 0.0, 0.0, kInf, kInf, 0},
    {"cDiv", 1.0, 2.0, kInf, 0.0, 0.0, 0.0, 0},
    // Add and Sub: overflow of finite inputs only.
    {"zAdd", kMax, 1.0, kMax, 1.0, kInf, 2.0, 3},
    {"zAdd", kInf, 1.0, 1.0, 1.0, kInf, 2.0, 0},
    {"zSub", kInf, 1.0, kInf, 1.0, kNaN, 0.0, 0},
    {"zSub", -kMax, 0.0, kMax, 0.0, -kInf, 0.0, 3},
    {"zAdd", kNaN, kMax, 1.0, kMax, kNaN, kInf, 3},  // no input part infinite
    {"cAdd", 3e38, 1.0, 3e38, 1.0, kInf, 2.0, 3},
    {"cSub", kInf, 1.0, kInf, 1.0, kNaN, 0.0, 0},
    // Abs: an infinite part wins over NaN; overflow of finite inputs.
    {"zAbs", 3e307, 4e307, 0, 0, 5e307, 0, 0},
    {"zAbs", kInf, kNaN, 0, 0, kInf, 0, 0},
    {"zAbs", kNaN, -kInf, 0, 0, kInf, 0, 0},
    {"zAbs", kNaN, kNaN, 0, 0, kNaN, 0, 0},
    {"zAbs", kNaN, 1.0, 0, 0, kNaN, 0, 0},
    {"zAbs", 0.0, -0.0, 0, 0, 0.0, 0, 0},
    {"zAbs", 0x1p-1074, 0x1p-1074, 0, 0, 0x1p-1074, 0, 0},  // sqrt(2) 2^-1074 rounds to 2^-1074
    {"zAbs", 0x1p-1074, 0.0, 0, 0, 0x1p-1074, 0, 0},
    {"zAbs", 0x3p-1074, 0x4p-1074, 0, 0, 0x5p-1074, 0, 0},
    {"zAbs", kMax, kMax, 0, 0, kInf, 0, 3},
    {"zAbs", -3.0, 4.0, 0, 0, 5.0, 0, 0},
    {"cAbs", 3e38, 3e38, 0, 0, kInf, 0, 3},
    {"cAbs", kInf, kNaN, 0, 0, kInf, 0, 0},
    {"cAbs", 0x1p-149, 0.0, 0, 0, 0x1p-149, 0, 0},
    {"cAbs", -3.0, 4.0, 0, 0, 5.0, 0, 0},
    // Sqrt: Annex G's csqrt, the cut along the negative real axis.
    {"zSqrt", 0.0, 0.0, 0, 0, 0.0, 0.0, 0},
    {"zSqrt", -0.0, -0.0, 0, 0, 0.0, -0.0, 0},
    {"zSqrt", -4.0, 0.0, 0, 0, 0.0, 2.0, 0},
    {"zSqrt", -4.0, -0.0, 0, 0, 0.0, -2.0, 0},
    {"zSqrt", 4.0, -0.0, 0, 0, 2.0, -0.0, 0},
    {"zSqrt", 0.0, 2.0, 0, 0, 1.0, 1.0, 0},
    {"zSqrt", kNaN, kInf, 0, 0, kInf, kInf, 0},
    {"zSqrt", 1.0, -kInf, 0, 0, kInf, -kInf, 0},
    {"zSqrt", -kInf, 1.0, 0, 0, 0.0, kInf, 0},
    {"zSqrt", -kInf, -1.0, 0, 0, 0.0, -kInf, 0},
    {"zSqrt", kInf, -1.0, 0, 0, kInf, -0.0, 0},
    {"zSqrt", kInf, kNaN, 0, 0, kInf, kNaN, 0},
    {"zSqrt", -kInf, kNaN, 0, 0, kNaN, kInf, 0},
    {"zSqrt", kNaN, 1.0, 0, 0, kNaN, kNaN, 0},
    {"zSqrt", 1.0, kNaN, 0, 0, kNaN, kNaN, 0},
    {"zSqrt", kMax, kMax, 0, 0, 1.4730945569055652e154, 6.1017574412827024e153, 0},  // no overflow inside
    {"zSqrt", 0x1p-1074, 0.0, 0, 0, 0x1p-537, 0.0, 0},
    {"zSqrt", -0x1p-1074, 0.0, 0, 0, 0.0, 0x1p-537, 0},
    {"cSqrt", -4.0, -0.0, 0, 0, 0.0, -2.0, 0},
    {"cSqrt", -kInf, kNaN, 0, 0, kNaN, kInf, 0},
    {"cSqrt", 0x1p-148, -0.0, 0, 0, 0x1p-74, -0.0, 0},
    {"cSqrt", 0.0, -8.0, 0, 0, 2.0, -2.0, 0},
    // Arg: atan2(im, re), the signs of zeros choosing the side.
    {"cArg", 0.0, 0.0, 0, 0, 0.0, 0, 0},
    {"cArg", 0.0, -0.0, 0, 0, -0.0, 0, 0},
    {"cArg", -1.0, 0.0, 0, 0, kPiF, 0, 0},
    {"cArg", -0.0, 0.0, 0, 0, kPiF, 0, 0},
    {"cArg", 0.0, 2.0, 0, 0, 1.57079637050628662, 0, 0},
    {"cArg", -0.0, -2.0, 0, 0, -1.57079637050628662, 0, 0},
    {"cArg", 1.0, 1.0, 0, 0, 0.785398185253143311, 0, 0},
    {"cArg", kInf, kInf, 0, 0, 0.785398185253143311, 0, 0},
    {"cArg", -kInf, -kInf, 0, 0, -2.35619449615478516, 0, 0},
    {"cArg", -kInf, 1.0, 0, 0, kPiF, 0, 0},
    {"cArg", 5.0, -kInf, 0, 0, -1.57079637050628662, 0, 0},
    {"cArg", kNaN, 1.0, 0, 0, kNaN, 0, 0},
    {"cArg", 0x1p100, 0x1p-40, 0, 0, 0x1p-140, 0, 0},  // a subnormal angle
    {"cArg", -0x1p100, 0x1p-40, 0, 0, kPiF, 0, 0},
    {"cArg", 0x1p-149, 0x1p-149, 0, 0, 0.785398185253143311, 0, 0},
    {"cArg", -1.0, -0.0, 0, 0, -3.14159274101257324, 0, 0},
    {"cArg", 0x1p-149, -0x1p-149, 0, 0, -0.785398185253143311, 0, 0},
    // Conj: bits move, the sign of the imaginary part flips.
    {"zConj", kNaN, -0.0, 0, 0, kNaN, 0.0, 0},
    {"zConj", kInf, kInf, 0, 0, kInf, -kInf, 0},
    {"cConj", 1.0, 0.0, 0, 0, 1.0, -0.0, 0},
};

template <class C, size_t N>
const Row<C>* find_row(const Row<C> (&rows)[N], const std::string& name) {
  for (const auto& r : rows)
    if (name == r.name) return &r;
  return nullptr;
}

template <class C>
void check_special(const Special& s, const Row<C>& row) {
  using R = decltype(C::re);
  auto same = [](double got, double want) {
    if (std::isnan(want)) return std::isnan(got);
    return bits(got) == bits(want);
  };
  for (int level = 0; level < 3; ++level) {
    for (bool strided : {false, true}) {
      SCOPED_TRACE(std::string(s.row) + " level " + std::to_string(level) + (strided ? " strided" : ""));
      const Fns<C>& f = row.lv[level];
      // Three ordinary elements around the special one: the lane is special
      // in a block of other lanes, and its neighbours keep their results.
      std::vector<C> a(5, C{R(0.5), R(0.25)}), b(5, C{R(1.5), R(-0.5)}), r(10);
      a[2] = C{R(s.ar), R(s.ai)};
      b[2] = C{R(s.br), R(s.bi)};
      ModeScope mode(VQM_ERRMODE_IGNORE);
      if (strided) {
        if (f.binI) f.binI(5, a.data(), 1, b.data(), 1, r.data(), 2);
        if (f.unI) f.unI(5, a.data(), 1, r.data(), 2);
        if (f.absI) {
          std::vector<R> t(10);
          f.absI(5, a.data(), 1, t.data(), 2);
          for (int i = 0; i < 5; ++i) r[2 * i] = {t[2 * i], 0};
        }
        for (int i = 0; i < 5; ++i) r[i] = r[2 * i];
      } else {
        run(f, 5, a.data(), b.data(), r.data());
      }
      const bool ep_add = level == 2 && (row.op == COp::Add || row.op == COp::Sub);  // EP does no test
      EXPECT_TRUE(same(r[2].re, s.rr)) << r[2].re << " want " << s.rr;
      if (!real_result(row.op)) {
        EXPECT_TRUE(same(r[2].im, s.ri)) << r[2].im << " want " << s.ri;
      }
      if (!ep_add) {
        EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), s.status);
      }
      C want{};
      run(f, 1, &a[1], &b[1], &want);
      EXPECT_EQ(bits(r[1].re), bits(want.re));
      EXPECT_EQ(bits(r[3].im), bits(want.im));
    }
  }
}

TEST(Complex, SpecialValues) {
  for (const Special& s : kSpecials) {
    if (s.row[0] == 'z') check_special(s, *find_row(kZRows, s.row));
    else check_special(s, *find_row(kCRows, s.row));
  }
}

// ---- callout: names, indices, the callback's value, the other modes -------------------

TEST(Complex, CalloutNamesIndicesAndCallback) {
  // Elements 1 and 5 overflow: the products with b = 1e10 (1e-10 for Div).
  const std::vector<C16> a{{1, 1}, {1e300, 1e300}, {1, 1}, {1, 1}, {1, 1}, {1e300, -1e300}, {1, 1}};
  struct Case {
    void (*fn)(int, const C16*, int, const C16*, int, C16*, int);
    const char* name;
    double big, first_re;  // the size of b's overflowing elements; the real part of (1 + i) op (1 + i)
  };
  for (const Case& c : {Case{_vqmzMulI, "vzMul", 1e10, 0.0}, Case{_vqmzMulI_26, "vzMul", 1e10, 0.0},
                        Case{_vqmzDivI_50, "vzDiv", 1e-10, 1.0}, Case{_vqmzMulByConjI, "vzMulByConj", 1e10, 2.0}}) {
    const std::vector<C16> b{{1, 1}, {c.big, c.big}, {1, 1}, {1, 1}, {1, 1}, {c.big, c.big}, {1, 1}};
    zevtest::expect_reports_1_and_5<C16>(
        c.name, 3, [&](C16* r, int inc) { c.fn(7, a.data(), 1, b.data(), 1, r, inc); },
        [&](const std::vector<C16>& r, int) { EXPECT_EQ(r[0].re, c.first_re); });
  }
  // Abs reports through a complex record, and writes back the real part only.
  ModeScope mode(VQM_ERRMODE_CALLBACK);
  zev_vqm_kernel_SetErrorCallBack(record_writing);
  g_seen.clear();
  g_answer = 0;
  const C16 big[3] = {{3, 4}, {kMax, kMax}, {6, 8}};
  zevtest::Guarded<double> out(3);
  _vqmzAbs(3, big, out.data());
  zev_vqm_kernel_ClearErrorCallBack();
  ASSERT_EQ(g_seen.size(), 1u);
  EXPECT_EQ(g_seen[0].name, "vzAbs");
  EXPECT_EQ(g_seen[0].index, 1);
  EXPECT_EQ(out[0], 5.0);
  EXPECT_EQ(out[1], 7.0);
  EXPECT_EQ(out[2], 10.0);
}

TEST(Complex, ModesAndErrno) {
  const C8 a[2] = {{1e30f, 1e30f}, {1, 1}}, b[2] = {{1e-10f, 1e-10f}, {1, 1}};
  C8 r[2];
  {
    ModeScope mode(VQM_ERRMODE_DEFAULT);
    _vqmcDiv(2, a, b, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 3);
    EXPECT_EQ(errno, ERANGE);
  }
  {
    ModeScope mode(VQM_ERRMODE_NOERR);
    _vqmcDiv(2, a, b, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
    EXPECT_TRUE(std::isinf(r[0].re));
  }
}

// ---- counts, strides and guarded bounds ---------------------------------------------------

template <class C>
void check_bounds(const Row<C>& row) {
  using R = decltype(C::re);
  std::mt19937_64 g(7);
  for (int level = 0; level < 3; ++level) {
    const Fns<C>& f = row.lv[level];
    for (int n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 33}) {
      SCOPED_TRACE(std::string(row.name) + " level " + std::to_string(level) + " n " + std::to_string(n));
      std::vector<C> b;
      std::vector<C> a0 = make_plane<C>(g, n + 1, &b);
      ModeScope mode(VQM_ERRMODE_IGNORE);
      // Plain: arrays that end at a guard page, at both alignments.
      for (size_t lead : {0, 1}) {
        zevtest::Guarded<C> a(n, lead), bb(n, lead), r(n, lead);
        for (int i = 0; i < n; ++i) a[i] = a0[i], bb[i] = b[i];
        if (real_result(row.op)) {
          zevtest::Guarded<R> t(n, lead);
          f.abs(n, a.data(), t.data());
          EXPECT_TRUE(t.lead_intact());
          for (int i = 0; i < n; ++i) r[i] = {t[i], 0};
        } else {
          run(f, n, a.data(), bb.data(), r.data());
        }
        EXPECT_TRUE(r.lead_intact());
        constexpr int ia = zevtest::kStrideIn, ir = zevtest::kStrideOut;
        zevtest::expect_strided_as_plain(n, a0.data(), b.data(), r.data(), [&](C* sa, C* sb, C* sr, int span_r) {
          if (real_result(row.op)) {
            zevtest::Guarded<R> t(span_r);
            for (int i = 0; i < span_r; ++i) t[i] = R(-9);
            f.absI(n, sa, ia, t.data(), ir);
            for (int i = 0; i < span_r; ++i) sr[i] = {t[i], i % ir ? R(-9) : R(0)};
          } else if (f.binI) {
            f.binI(n, sa, ia, sb, ia, sr, ir);
          } else {
            f.unI(n, sa, ia, sr, ir);
          }
        });
      }
      // A negative count writes nothing.
      C guard{R(-9), R(-9)};
      if (!real_result(row.op)) {
        run(f, -3, a0.data(), b.data(), &guard);
        EXPECT_EQ(guard.re, R(-9));
      }
    }
  }
}

TEST(Complex, CountsStridesAndBounds) {
  for (const auto& row : kZRows) check_bounds(row);
  for (const auto& row : kCRows) check_bounds(row);
}

// Of two NaN parts, Add and Sub give a's NaN at every level, plain and
// strided alike: the operand order of the sum decides the payload, and the
// compiler had picked it differently for the two loops of one kernel.
template <class C>
void check_nan_order(const Row<C>& row) {
  using R = decltype(C::re);
  using U = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
  auto nan = [](U payload) {
    const U q = sizeof(R) == 4 ? U(0x7FC00000u) : U(0x7FF8000000000000ull);
    R x;
    U u = q | payload;
    std::memcpy(&x, &u, sizeof x);
    return x;
  };
  constexpr int n = 6;  // a whole block and a tail
  std::vector<C> a(2 * n), b(2 * n), r(2 * n);
  for (int i = 0; i < 2 * n; ++i) a[i] = {nan(1 + i), nan(100 + i)}, b[i] = {nan(200 + i), nan(300 + i)};
  for (int level = 0; level < 3; ++level) {
    const Fns<C>& f = row.lv[level];
    for (int strided = 0; strided < 2; ++strided) {
      if (strided) f.binI(n, a.data(), 2, b.data(), 2, r.data(), 2);
      else f.bin(n, a.data(), b.data(), r.data());
      for (int i = 0; i < n; ++i) {
        const C& want = a[strided ? 2 * i : i];
        const C& got = r[strided ? 2 * i : i];
        EXPECT_EQ(bits(got.re), bits(want.re)) << row.name << " level " << level << " strided " << strided << " " << i;
        EXPECT_EQ(bits(got.im), bits(want.im)) << row.name << " level " << level << " strided " << strided << " " << i;
      }
    }
  }
}

TEST(Complex, AddSubNaNOperandOrder) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  for (const auto& row : kZRows)
    if (row.op == COp::Add || row.op == COp::Sub) check_nan_order(row);
  for (const auto& row : kCRows)
    if (row.op == COp::Add || row.op == COp::Sub) check_nan_order(row);
}

// In place: r the same as a, with special elements that take the callout.
TEST(Complex, InPlace) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  std::mt19937_64 g(11);
  for (const auto& row : kZRows) {
    if (!row.lv[1].bin) continue;
    std::vector<C16> b;
    std::vector<C16> a = make_plane<C16>(g, 37, &b), want(37), r = a;
    row.lv[1].bin(37, a.data(), b.data(), want.data());
    row.lv[1].bin(37, r.data(), b.data(), r.data());
    for (int i = 0; i < 37; ++i)
      EXPECT_TRUE(zevtest::same(r[i].re, want[i].re) && zevtest::same(r[i].im, want[i].im)) << row.name << " " << i;
  }
}

// ---- cDiv's x87 loop: the caller's control word and MXCSR come back -------------------------

TEST(Complex, X87LoopKeepsCallerState) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  std::mt19937_64 g(5);
  std::vector<C8> b;
  const std::vector<C8> a = make_plane<C8>(g, 64, &b);
  std::vector<C8> want(64), got(64);
  _vqmcDiv(64, a.data(), b.data(), want.data());
  const uint16_t saved = zevtest::x87_control();
  const unsigned csr = _mm_getcsr();
  for (uint16_t cw : {uint16_t(0x037F), uint16_t(0x0F7F), uint16_t(0x007F), uint16_t(0x027F)}) {
    zevtest::x87_load_control(cw);
    _mm_setcsr((csr & ~0x6000u) | 0x2000u);
    _vqmcDiv(64, a.data(), b.data(), got.data());
    const uint16_t after = zevtest::x87_control();
    const unsigned csr_after = _mm_getcsr();
    _mm_setcsr(csr);
    zevtest::x87_load_control(saved);
    EXPECT_EQ(after, cw);
    EXPECT_EQ(csr_after & 0xFFC0u, ((csr & ~0x6000u) | 0x2000u) & 0xFFC0u);
    for (int i = 0; i < 64; ++i)
      EXPECT_TRUE(zevtest::same(got[i].re, want[i].re) && zevtest::same(got[i].im, want[i].im)) << cw << " " << i;
  }
}

// ---- Abs under the modelled worst estimates, at the ends of its range, with
// and without flushing -------------------------------------------------------------------------

template <class Core, class C>
double check_abs_model(double bias, bool scattered, bool flush) {
  using R = decltype(C::re);
  constexpr int NV = zev::vk::cx::kVecs<R>, NR = NV / 2;
  zevtest::EstimateBias eb(bias, scattered);
  const unsigned csr = _mm_getcsr();
  if (flush) _mm_setcsr(csr | 0x8040u);
  std::mt19937_64 g(3);
  // |z| over the binades of the vector range and just outside it, with
  // parts from equal down to far apart.
  const int lo = sizeof(R) == 4 ? -66 : -36, hi = sizeof(R) == 4 ? 66 : 36;
  CExact x;
  double worst = 0;
  int checked = 0;
  for (int e = lo; e <= hi; ++e) {
    for (int k = 0; k < 64; ++k) {
      alignas(16) C in[4];
      for (auto& c : in) {
        const double m = std::ldexp(1.0 + double(g() >> 11) * 0x1p-53, e);
        const int gap = int(g() % 70);
        c = {R(m), R(std::ldexp(1.0 + double(g() >> 11) * 0x1p-53, e - gap))};
        if (g() & 1) std::swap(c.re, c.im);
        if (g() & 1) c.re = -c.re;
      }
      typename zev::vk::Vec<R>::V v[NV], r[NR];
      for (int i = 0; i < NV; ++i) v[i] = zev::vk::Vec<R>::load(reinterpret_cast<const R*>(in) + i * (16 / sizeof(R)));
      const unsigned mask = Core::eval(v, v, r);
      alignas(16) R out[4];
      for (int i = 0; i < NR; ++i) zev::vk::Vec<R>::store(out + i * (16 / sizeof(R)), r[i]);
      for (int j = 0; j < 4; ++j) {
        if (mask >> j & 1) continue;  // the scalar function's lane
        x.compute(COp::Abs, in[j].re, in[j].im, 0, 0);
        const double err = zev::ulp::part_ulps<R>(mpc_realref(x.v), out[j]);
        worst = std::max(worst, err);
        ++checked;
        EXPECT_LE(err, 1.0) << "|" << double(in[j].re) << ", " << double(in[j].im) << "| = " << out[j];
      }
    }
  }
  _mm_setcsr(csr);
  EXPECT_GT(checked, (hi - lo) * 64 * 2);
  return worst;
}

TEST(Complex, AbsUnderModelledEstimates) {
  using zev::vk::cx::CAbsCore;
  using zev::vk::cx::ZAbsCore;
  using zevtest::ModelEstimate;
  double worst_z = 0, worst_c = 0;
  for (bool flush : {false, true}) {
    for (auto [bias, scattered] : {std::pair{1.0, false}, {-1.0, false}, {0.0, true}}) {
      SCOPED_TRACE("bias " + std::to_string(bias) + (scattered ? " scattered" : "") + (flush ? " flush" : ""));
      worst_z = std::max(worst_z, check_abs_model<ZAbsCore<ModelEstimate>, C16>(bias, scattered, flush));
      worst_c = std::max(worst_c, check_abs_model<CAbsCore<ModelEstimate>, C8>(bias, scattered, flush));
    }
  }
  RecordProperty("zAbs_worst_ulp", std::to_string(worst_z));
  RecordProperty("cAbs_worst_ulp", std::to_string(worst_c));
}

}  // namespace
