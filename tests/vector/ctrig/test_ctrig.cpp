// Complex CIS, Arg, and the circular and hyperbolic rows: accuracy against MPC
// (MPFR's sine and cosine for CIS), the special-value table of
// docs/vector_ctrig.md, statuses and the callout, CIS against the real SinCos
// it is defined as, and no access outside the arrays.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fp.h"
#include "complex_check.h"
#include "guarded.h"
#include "tools/ulp/complex_ref.h"
#include "zev/zev_vqm.h"
#include "zev/zev_vqm_functions.h"

namespace {

using zev::ulp::CExact;
using zevtest::bits;
using zevtest::ModeScope;
using C8 = zev_complex8;
using C16 = zev_complex16;

constexpr double kInf = HUGE_VAL, kNaN = __builtin_nan("");

// ---- MPC references -------------------------------------------------------------

void ref_cis(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  mpfr_sin_cos(mpc_imagref(v), mpc_realref(v), mpc_realref(a), MPFR_RNDN);
}
void ref_arg(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  mpc_arg(mpc_realref(v), a, MPFR_RNDN);
  mpfr_set_zero(mpc_imagref(v), 1);
}
void ref_sin(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_sin(v, a, MPC_RNDNN); }
void ref_cos(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_cos(v, a, MPC_RNDNN); }
void ref_sinh(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_sinh(v, a, MPC_RNDNN); }
void ref_cosh(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_cosh(v, a, MPC_RNDNN); }
void ref_tanh(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { zev::ulp::tanh_exact(v, a, b); }
void ref_tan(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { zev::ulp::tan_exact(v, a, b); }

// ---- the entries ------------------------------------------------------------------

enum class Kind { CIS, Arg, Unary };

// One level's plain and strided entry, type-erased; `call` runs either.
struct Entry {
  void* plain;
  void* strided;
};

template <class C>
struct Row {
  using R = decltype(C::re);
  const char* name;
  Kind kind;
  zev::ulp::CExactFn exact;
  Entry lv[3];  // LA, HA, EP

  // n elements of a (CIS reads the real parts) into r, with input and result
  // increments ia and ir (plain entry where both are 1 and !force_strided).
  void call(int level, int n, const C* a, int ia, C* r, int ir, bool force_strided = false) const {
    const Entry& e = lv[level];
    const bool plain = !force_strided && ia == 1 && ir == 1;
    switch (kind) {
      case Kind::CIS: {
        std::vector<R> x(n > 0 ? size_t(n) * ia : 0);
        for (int i = 0; i < n; ++i) x[size_t(i) * ia] = a[size_t(i) * ia].re;
        if (plain) reinterpret_cast<void (*)(int, const R*, C*)>(e.plain)(n, x.data(), r);
        else
          reinterpret_cast<void (*)(int, const R*, int, C*, int)>(e.strided)(n, x.data(), ia, r, ir);
        break;
      }
      case Kind::Arg: {
        std::vector<R> t(n > 0 ? size_t(n) * ir : 0);
        if (plain) reinterpret_cast<void (*)(int, const C*, R*)>(e.plain)(n, a, t.data());
        else reinterpret_cast<void (*)(int, const C*, int, R*, int)>(e.strided)(n, a, ia, t.data(), ir);
        for (int i = 0; i < n; ++i) r[size_t(i) * ir] = {t[size_t(i) * ir], 0};
        break;
      }
      case Kind::Unary:
        if (plain) reinterpret_cast<void (*)(int, const C*, C*)>(e.plain)(n, a, r);
        else reinterpret_cast<void (*)(int, const C*, int, C*, int)>(e.strided)(n, a, ia, r, ir);
        break;
    }
  }
};

#define ENT(N, S) Entry{reinterpret_cast<void*>(_vqm##N##S), reinterpret_cast<void*>(_vqm##N##I##S)}
#define ROW_Z(N, K, F) Row<C16>{#N, K, F, {ENT(N, _50), ENT(N, _HA), ENT(N, _26)}}
#define ROW_C(N, K, F) Row<C8>{#N, K, F, {ENT(N, _21), ENT(N, _HA), ENT(N, _11)}}

const Row<C16> kZRows[] = {
    ROW_Z(zCIS, Kind::CIS, ref_cis),     ROW_Z(zArg, Kind::Arg, ref_arg),     ROW_Z(zSinh, Kind::Unary, ref_sinh),
    ROW_Z(zCosh, Kind::Unary, ref_cosh), ROW_Z(zSin, Kind::Unary, ref_sin),   ROW_Z(zCos, Kind::Unary, ref_cos),
    ROW_Z(zTanh, Kind::Unary, ref_tanh), ROW_Z(zTan, Kind::Unary, ref_tan),
};
const Row<C8> kCRows[] = {
    ROW_C(cCIS, Kind::CIS, ref_cis),     ROW_C(cSinh, Kind::Unary, ref_sinh), ROW_C(cCosh, Kind::Unary, ref_cosh),
    ROW_C(cSin, Kind::Unary, ref_sin),   ROW_C(cCos, Kind::Unary, ref_cos),   ROW_C(cTanh, Kind::Unary, ref_tanh),
    ROW_C(cTan, Kind::Unary, ref_tan),
};

template <class C, size_t N>
const Row<C>* find_row(const Row<C> (&rows)[N], const std::string& name) {
  for (const auto& r : rows)
    if (name == r.name) return &r;
  return nullptr;
}

// ---- inputs ------------------------------------------------------------------------

// Parts over every binade of both signs, and the row's own regions: moderate
// arguments (the vector paths), multiples of pi/2 and their neighbours, parts
// near the overflow thresholds, tiny parts, parts far apart.
template <class R>
R any_part(std::mt19937_64& g) {
  constexpr bool single = sizeof(R) == 4;
  const int emin = single ? -149 : -1074, emax = single ? 127 : 1023;
  const uint64_t u = g();
  const int e = emin + int((u >> 20) % uint64_t(emax - emin + 1));
  const R x = std::ldexp(R(0.5) + R(double(g() >> 11) * 0x1p-54), e);
  return (u >> 63) ? -x : x;
}

template <class C>
std::vector<C> make_inputs(Kind kind, std::mt19937_64& g, size_t n) {
  using R = decltype(C::re);
  constexpr bool single = sizeof(R) == 4;
  std::uniform_real_distribution<double> u(-1, 1);
  std::vector<C> a(n);
  for (size_t i = 0; i < n; ++i) {
    R re = any_part<R>(g), im = any_part<R>(g);
    switch (i % 8) {
      case 0: case 1: case 2:  // moderate parts
        re = R(std::ldexp(u(g), int(g() % 12) - 4));
        im = R(std::ldexp(u(g), int(g() % 12) - 4));
        break;
      case 3:  // near a multiple of pi/2
        re = R(double(int(g() % 64) - 32) * 1.5707963267948966);
        re = std::nextafter(re, R(g() % 2 ? 1e30 : -1e30));
        im = R(std::ldexp(u(g), int(g() % 10)));
        break;
      case 4:  // near the overflow thresholds of the hyperbolic parts
        re = R((single ? 88.0 : 709.0) + 4 * u(g));
        im = R(4 * u(g));
        break;
      case 5:  // one part tiny
        im = R(std::ldexp(u(g), single ? -100 : -900));
        re = R(std::ldexp(u(g), int(g() % 8)));
        if (g() % 2) std::swap(re, im);
        break;
      case 6:  // both parts tiny or on an axis
        re = R(std::ldexp(u(g), -int(g() % 40)));
        im = g() % 2 ? R(0) : R(std::ldexp(u(g), -int(g() % 40)));
        break;
      default: break;
    }
    a[i] = {re, kind == Kind::CIS ? R(0) : im};
  }
  return a;
}

// ---- accuracy against MPC -----------------------------------------------------------

template <class C>
void check_accuracy(const Row<C>& row, int level, size_t npts, uint64_t seed) {
  using R = decltype(C::re);
  SCOPED_TRACE(std::string(row.name) + " level " + std::to_string(level));
  std::mt19937_64 g(seed);
  const std::vector<C> a = make_inputs<C>(row.kind, g, npts);
  std::vector<C> r(npts), rs(2 * npts);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  row.call(level, int(npts), a.data(), 1, r.data(), 1);
  row.call(level, int(npts), a.data(), 1, rs.data(), 2, true);
  CExact x;
  int fails = 0;
  for (size_t i = 0; i < npts && fails < 5; ++i) {
    if (bits(r[i].re) != bits(rs[2 * i].re) || bits(r[i].im) != bits(rs[2 * i].im))
      ++fails, ADD_FAILURE() << "strided differs at " << i;
    x.compute(row.exact, a[i].re, a[i].im, 0, 0);
    const double wr = zev::ulp::rounded<R>(mpc_realref(x.v)), wi = zev::ulp::rounded<R>(mpc_imagref(x.v));
    const double gr = r[i].re, gi = r[i].im;
    auto where = [&] {
      char s[256];
      snprintf(s, sizeof s, "a=(%a,%a) got=(%a,%a) want=(%a,%a)", double(a[i].re), double(a[i].im), gr, gi, wr, wi);
      return std::string(s);
    };
    if (std::isinf(wr) || std::isinf(wi)) {  // overflow: the infinite part of its sign
      if ((std::isinf(wr) && gr != wr) || (std::isinf(wi) && gi != wi)) ++fails, ADD_FAILURE() << where();
      continue;
    }
    const std::string miss = zevtest::level_miss<R>(level, zev::ulp::cerror<R>(x, gr, gi), wr, wi);
    if (!miss.empty()) ++fails, ADD_FAILURE() << where() << miss;
  }
}

TEST(ComplexTrig, AccuracyDouble) {
  uint64_t seed = 11;
  for (const auto& row : kZRows)
    for (int level = 0; level < 3; ++level) check_accuracy(row, level, 4000, seed++);
}
TEST(ComplexTrig, AccuracySingle) {
  uint64_t seed = 111;
  for (const auto& row : kCRows)
    for (int level = 0; level < 3; ++level) check_accuracy(row, level, 4000, seed++);
}

// zArg at HA where its atan2 changes rows: m/M a few ulps either side of 1/8,
// 3/8, 23/32 and 1, both parts' order, all four quadrants, at several scales
// of the vector range. The pair before the rounding is within 2^-58, so the
// result is within 0.53 ulp; a wrong row constant or a lost low part shows
// well above the 0.6 checked here.
TEST(ComplexTrig, ArgAcrossTheRowsOfItsAtan2) {
  std::mt19937_64 g(7);
  std::vector<C16> a;
  for (double bound : {0.125, 0.375, 0.71875, 1.0})
    for (int e : {-1000, -40, 0, 3, 900})
      for (int k = -3; k <= 3; ++k)
        for (int q = 0; q < 8; ++q) {
          const double M = std::ldexp(1.0 + double(g() >> 11) * 0x1p-53, e);
          double m = M * bound;
          for (int j = 0; j < std::abs(k); ++j) m = std::nextafter(m, k < 0 ? 0.0 : kInf);
          double re = q & 4 ? m : M, im = q & 4 ? M : m;
          if (q & 1) re = -re;
          if (q & 2) im = -im;
          a.push_back({re, im});
        }
  const int n = int(a.size());
  std::vector<double> r(n);
  _vqmzArg_HA(n, a.data(), r.data());
  CExact x;
  double worst = 0;
  for (int i = 0; i < n; ++i) {
    x.compute(ref_arg, a[i].re, a[i].im, 0, 0);
    const double err = zev::ulp::cerror<double>(x, r[i], 0.0).norm;
    worst = std::max(worst, err);
    EXPECT_LE(err, 0.6) << std::hexfloat << a[i].re << " " << a[i].im << " -> " << r[i];
  }
  RecordProperty("worst_ulp", std::to_string(worst));
}

// The atan2 pair of zArg at HA and of zLn keeps every intermediate normal on
// its vector path: flushing subnormals to zero changes no normal result, also
// where the parts are 2^900 to 2^1010 apart (an angle near the bottom of the
// normal range, zArg's scalar function beyond 2^960) and where the smaller
// part is near 2^-1019. (zLn's scalar function, which the powers share, takes
// parts more than 2^960 apart and is not held to this.)
TEST(ComplexTrig, Atan2PairUnderFlushToZero) {
  std::mt19937_64 g(9);
  std::vector<C16> a;
  for (int i = 0; i < 600; ++i) {
    const double u = 1.0 + double(g() >> 11) * 0x1p-53, v = 1.0 + double(g() >> 11) * 0x1p-53;
    double re, im;
    switch (i % 3) {
      case 0: re = std::ldexp(u, 480), im = std::ldexp(v, 480 - 900 - int(g() % 111)); break;
      case 1: re = std::ldexp(u, -int(g() % 40)), im = std::ldexp(v, -1019 + int(g() % 8)); break;
      default: re = std::ldexp(u, int(g() % 200) - 100), im = std::ldexp(v, int(g() % 200) - 100); break;
    }
    if (g() % 2) std::swap(re, im);
    a.push_back({g() % 2 ? -re : re, g() % 2 ? -im : im});
  }
  const int n = int(a.size());
  std::vector<double> t0(n), t1(n);
  std::vector<C16> l0(n), l1(n);
  {
    ModeScope mode(VQM_ERRMODE_IGNORE | VQM_FTZDAZ_OFF);
    _vqmzArg_HA(n, a.data(), t0.data());
    _vqmzLn_HA(n, a.data(), l0.data());
  }
  {
    ModeScope mode(VQM_ERRMODE_IGNORE | VQM_FTZDAZ_ON);
    _vqmzArg_HA(n, a.data(), t1.data());
    _vqmzLn_HA(n, a.data(), l1.data());
  }
  for (int i = 0; i < n; ++i) {
    if (std::isnormal(t0[i])) {
      EXPECT_EQ(bits(t0[i]), bits(t1[i])) << std::hexfloat << a[i].re << " " << a[i].im;
    }
    const double m = std::fmin(std::fabs(a[i].re), std::fabs(a[i].im)), M = std::fmax(std::fabs(a[i].re), std::fabs(a[i].im));
    if (std::isnormal(l0[i].im) && m >= M * 0x1p-960) {
      EXPECT_EQ(bits(l0[i].im), bits(l1[i].im)) << std::hexfloat << a[i].re << " " << a[i].im;
    }
  }
}

// CIS is the real SinCos at HA with its results interleaved: the same bits for
// every finite argument, the large reduction paths included.
TEST(ComplexTrig, CISIsSinCos) {
  std::mt19937_64 g(5);
  std::vector<double> x;
  for (double v : {0.0, -0.0, 0x1p-1074, 1.0, -2.5, 9999.0, 10000.5, 65536.0, 65536.00349206588, 65537.0, 1e22,
                   -1e300, 0x1.fffffffffffffp1023})
    x.push_back(v);
  for (int i = 0; i < 2000; ++i) x.push_back(any_part<double>(g));
  const int n = int(x.size());
  std::vector<double> s(n), c(n);
  std::vector<C16> z(n);
  _vqmdSinCos_HA(n, x.data(), s.data(), c.data());
  _vqmzCIS(n, x.data(), z.data());
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(bits(z[i].re), bits(c[i])) << x[i];
    EXPECT_EQ(bits(z[i].im), bits(s[i])) << x[i];
  }
  std::vector<float> xf(n), sf(n), cf(n);
  for (int i = 0; i < n; ++i) xf[i] = static_cast<float>(x[i]);
  std::vector<C8> zf(n);
  _vqmsSinCos_HA(n, xf.data(), sf.data(), cf.data());
  _vqmcCIS_21(n, xf.data(), zf.data());
  for (int i = 0; i < n; ++i) {
    if (std::isinf(xf[i])) continue;
    EXPECT_EQ(bits(zf[i].re), bits(cf[i])) << xf[i];
    EXPECT_EQ(bits(zf[i].im), bits(sf[i])) << xf[i];
  }
}

// ---- special values: the table of docs/vector_ctrig.md -------------------------------

struct Special {
  const char* row;
  double ar, ai;
  double rr, ri;  // expected parts; NaN means any NaN
  int status;
};
constexpr double kPi = 3.141592653589793, kPi2 = 1.5707963267948966, kPi4 = 0.7853981633974483;
const Special kSpecials[] = {
    // CIS: an infinity gives NaN parts and, unlike SinCos, no status.
    {"zCIS", kInf, 0, kNaN, kNaN, 0},
    {"zCIS", -kInf, 0, kNaN, kNaN, 0},
    {"zCIS", kNaN, 0, kNaN, kNaN, 0},
    {"zCIS", -0.0, 0, 1.0, -0.0, 0},
    {"zCIS", 0x1p-1074, 0, 1.0, 0x1p-1074, 0},
    {"cCIS", kInf, 0, kNaN, kNaN, 0},
    {"cCIS", kNaN, 0, kNaN, kNaN, 0},
    {"cCIS", -0.0, 0, 1.0, -0.0, 0},
    // zArg: atan2(im, re), the signs of zeros choosing the side.
    {"zArg", 0.0, 0.0, 0.0, 0, 0},
    {"zArg", 0.0, -0.0, -0.0, 0, 0},
    {"zArg", -1.0, 0.0, kPi, 0, 0},
    {"zArg", -1.0, -0.0, -kPi, 0, 0},
    {"zArg", -0.0, 0.0, kPi, 0, 0},
    {"zArg", -0.0, -0.0, -kPi, 0, 0},
    {"zArg", 0.0, 2.0, kPi2, 0, 0},
    {"zArg", -0.0, -2.0, -kPi2, 0, 0},
    {"zArg", 1.0, 1.0, kPi4, 0, 0},
    {"zArg", -3.0, 3.0, 2.356194490192345, 0, 0},
    {"zArg", kInf, kInf, kPi4, 0, 0},
    {"zArg", -kInf, -kInf, -2.356194490192345, 0, 0},
    {"zArg", -kInf, 1.0, kPi, 0, 0},
    {"zArg", kInf, -1.0, -0.0, 0, 0},
    {"zArg", 5.0, -kInf, -kPi2, 0, 0},
    {"zArg", kNaN, 1.0, kNaN, 0, 0},
    {"zArg", 1.0, kNaN, kNaN, 0, 0},
    {"zArg", 0x1p1000, 0x1p-74, 0x1p-1074, 0, 0},  // a subnormal angle
    {"zArg", 0x1p1000, 0x1p-80, 0.0, 0, 0},        // below the least subnormal
    {"zArg", -0x1p1000, 0x1p-80, kPi, 0, 0},
    {"zArg", 0x1p-1074, -0x1p-1074, -kPi4, 0, 0},
    {"zArg", 1e-300, 1e300, kPi2, 0, 0},
    // csinh: odd, csinh(conj z) = conj csinh(z); status 1 where invalid is raised.
    {"zSinh", 0.0, 0.0, 0.0, 0.0, 0},
    {"zSinh", -0.0, -0.0, -0.0, -0.0, 0},
    {"zSinh", 0.0, 3.0, -0.0, 0.1411200080598672, 0},  // 0 cos 3 keeps the sign of cos 3
    {"zSinh", 0.0, kInf, 0.0, kNaN, 1},                // sign of the zero not settled
    {"zSinh", 0.0, kNaN, 0.0, kNaN, 0},
    {"zSinh", 1.0, kInf, kNaN, kNaN, 1},
    {"zSinh", 1.0, kNaN, kNaN, kNaN, 0},
    {"zSinh", kInf, 0.0, kInf, 0.0, 0},
    {"zSinh", -kInf, -0.0, -kInf, -0.0, 0},
    {"zSinh", kInf, 1.0, kInf, kInf, 0},    // +inf cis(y)
    {"zSinh", kInf, 2.0, -kInf, kInf, 0},
    {"zSinh", -kInf, 2.0, kInf, kInf, 0},
    {"zSinh", kInf, -2.0, -kInf, -kInf, 0},
    {"zSinh", kInf, kInf, kInf, kNaN, 1},   // sign of the infinity not settled
    {"zSinh", kInf, kNaN, kInf, kNaN, 0},
    {"zSinh", kNaN, 0.0, kNaN, 0.0, 0},
    {"zSinh", kNaN, -0.0, kNaN, -0.0, 0},
    {"zSinh", kNaN, 1.0, kNaN, kNaN, 0},
    {"zSinh", kNaN, kInf, kNaN, kNaN, 0},
    {"zSinh", kNaN, kNaN, kNaN, kNaN, 0},
    {"zSinh", 800.0, 1.0, kInf, kInf, 3},   // overflow of finite inputs
    {"zSinh", -800.0, 0.0, -kInf, 0.0, 3},  // the zero part stays zero
    {"zSinh", 0x1p-1074, 0.0, 0x1p-1074, 0.0, 0},
    {"zSinh", 1e-300, -1e-300, 1e-300, -1e-300, 0},
    {"zSinh", 0x1p-1000, 1.0, 0x1p-1000 * 0.5403023058681398, 0.8414709848078965, 0},  // 2^-1000 cos 1
    // ccosh: even, ccosh(conj z) = conj ccosh(z).
    {"zCosh", 0.0, 0.0, 1.0, 0.0, 0},
    {"zCosh", -0.0, 0.0, 1.0, -0.0, 0},
    {"zCosh", 0.0, kInf, kNaN, 0.0, 1},      // sign of the zero not settled
    {"zCosh", 0.0, kNaN, kNaN, 0.0, 0},
    {"zCosh", 1.0, kInf, kNaN, kNaN, 1},
    {"zCosh", 1.0, kNaN, kNaN, kNaN, 0},
    {"zCosh", kInf, 0.0, kInf, 0.0, 0},
    {"zCosh", -kInf, 0.0, kInf, -0.0, 0},
    {"zCosh", kInf, 1.0, kInf, kInf, 0},
    {"zCosh", -kInf, 1.0, kInf, -kInf, 0},
    {"zCosh", kInf, 2.0, -kInf, kInf, 0},
    {"zCosh", kInf, kInf, kInf, kNaN, 1},    // sign of the infinity not settled
    {"zCosh", kInf, kNaN, kInf, kNaN, 0},
    {"zCosh", kNaN, 0.0, kNaN, 0.0, 0},      // sign of the zero not settled
    {"zCosh", kNaN, 1.0, kNaN, kNaN, 0},
    {"zCosh", kNaN, kNaN, kNaN, kNaN, 0},
    {"zCosh", 800.0, 0.0, kInf, 0.0, 3},
    {"zCosh", -800.0, 0.0, kInf, -0.0, 3},
    {"zCosh", 712.0, 1.0, kInf, kInf, 3},
    // csin(z) = -i csinh(iz), ccos(z) = ccosh(iz).
    {"zSin", 0.0, 0.0, 0.0, 0.0, 0},
    {"zSin", 0.0, kInf, 0.0, kInf, 0},
    {"zSin", kInf, 0.0, kNaN, 0.0, 1},
    {"zSin", kNaN, 0.0, kNaN, 0.0, 0},
    {"zSin", 1.0, 800.0, kInf, kInf, 3},
    {"zSin", 1e-300, 0.0, 1e-300, 0.0, 0},
    {"zCos", 0.0, 0.0, 1.0, -0.0, 0},
    {"zCos", 0.0, kInf, kInf, -0.0, 0},
    {"zCos", kInf, 0.0, kNaN, -0.0, 1},    // sign of the zero not settled; conj-symmetric
    {"zCos", 0.0, 800.0, kInf, -0.0, 3},
    {"zCos", kNaN, kInf, kInf, kNaN, 0},
    // Single: overflow of single, not double.
    {"cSinh", 100.0, 0.0, kInf, 0.0, 3},
    {"cSinh", kInf, 1.0, kInf, kInf, 0},
    {"cSinh", 0.0, kInf, 0.0, kNaN, 1},
    {"cCosh", 95.0, -2.0, -kInf, -kInf, 3},
    {"cCosh", kNaN, 0.0, kNaN, 0.0, 0},
    {"cSin", 1.0, 100.0, kInf, kInf, 3},
    {"cCos", kInf, 0.0, kNaN, -0.0, 1},
    // ctanh: odd, ctanh(conj z) = conj ctanh(z); ctan(z) = -i ctanh(iz).
    {"zTanh", 0.0, 0.0, 0.0, 0.0, 0},
    {"zTanh", -0.0, -0.0, -0.0, -0.0, 0},
    {"zTanh", 1.0, kInf, kNaN, kNaN, 1},
    {"zTanh", 0.0, kInf, kNaN, kNaN, 1},
    {"zTanh", 1.0, kNaN, kNaN, kNaN, 0},
    {"zTanh", kInf, 1.0, 1.0, 0.0, 0},      // 1 + i0 sin 2y
    {"zTanh", kInf, 2.0, 1.0, -0.0, 0},
    {"zTanh", -kInf, 2.0, -1.0, -0.0, 0},
    {"zTanh", kInf, -0.0, 1.0, -0.0, 0},
    {"zTanh", kInf, kInf, 1.0, 0.0, 0},     // sign of the zero not settled
    {"zTanh", kInf, kNaN, 1.0, 0.0, 0},
    {"zTanh", kNaN, 0.0, kNaN, 0.0, 0},
    {"zTanh", kNaN, -0.0, kNaN, -0.0, 0},
    {"zTanh", kNaN, 1.0, kNaN, kNaN, 0},
    {"zTanh", 800.0, 1.0, 1.0, 0.0, 0},     // the imaginary part below the subnormals, no status
    {"zTanh", -800.0, 2.0, -1.0, -0.0, 0},
    {"zTanh", 1e300, -1.0, 1.0, -0.0, 0},
    {"zTanh", 0.0, 1.0, 0.0, 1.5574077246549023, 0},   // tan 1
    {"zTanh", 0.5, 0.0, 0.46211715726000974, 0.0, 0},  // tanh 0.5
    {"zTanh", 0x1p-1074, 0x1p-1074, 0x1p-1074, 0x1p-1074, 0},
    {"zTan", 0.0, kInf, 0.0, 1.0, 0},
    {"zTan", kInf, 0.0, kNaN, kNaN, 1},
    {"zTan", 1.0, 800.0, 0.0, 1.0, 0},
    {"zTan", -1.0, -800.0, -0.0, -1.0, 0},
    {"zTan", 1.0, 0.0, 1.5574077246549023, 0.0, 0},
    {"cTanh", kInf, 1.0, 1.0, 0.0, 0},
    {"cTanh", 30.0, 0.0, 1.0, 0.0, 0},
    {"cTanh", 0.0, kInf, kNaN, kNaN, 1},
    {"cTan", 0.0, 100.0, 0.0, 1.0, 0},
};

template <class C>
void check_special(const Special& s, const Row<C>& row) {
  using R = decltype(C::re);
  auto same = [](double got, double want) {
    if (std::isnan(want)) return std::isnan(got);
    return bits(got) == bits(want);
  };
  for (int level = 0; level < 3; ++level) {
    for (bool strided : {false, true}) {
      SCOPED_TRACE(std::string(s.row) + " level " + std::to_string(level) + (strided ? " strided" : "") + " at (" +
                   std::to_string(s.ar) + ", " + std::to_string(s.ai) + ")");
      // Ordinary elements around the special one: its neighbours keep their results.
      std::vector<C> a(5, C{R(0.5), R(0.25)}), r(10);
      a[2] = C{R(s.ar), R(s.ai)};
      ModeScope mode(VQM_ERRMODE_IGNORE);
      row.call(level, 5, a.data(), 1, r.data(), strided ? 2 : 1, strided);
      if (strided)
        for (int i = 0; i < 5; ++i) r[i] = r[2 * i];
      EXPECT_TRUE(same(r[2].re, s.rr)) << r[2].re << " want " << s.rr;
      if (row.kind != Kind::Arg) {
        EXPECT_TRUE(same(r[2].im, s.ri)) << r[2].im << " want " << s.ri;
      }
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), s.status);
      C want{};
      row.call(level, 1, &a[1], 1, &want, 1);
      EXPECT_EQ(bits(r[1].re), bits(want.re));
      EXPECT_EQ(bits(r[3].im), bits(want.im));
    }
  }
}

TEST(ComplexTrig, SpecialValues) {
  for (const Special& s : kSpecials) {
    if (s.row[0] == 'z') {
      const Row<C16>* r = find_row(kZRows, s.row);
      ASSERT_NE(r, nullptr) << s.row;
      check_special(s, *r);
    } else {
      const Row<C8>* r = find_row(kCRows, s.row);
      ASSERT_NE(r, nullptr) << s.row;
      check_special(s, *r);
    }
  }
}

// ---- callout: names, indices, the callback's value -----------------------------------

// Elements 1 and 5 overflow; the callback sees them in order with the row's
// name, and its value is written back only when it returns zero.
template <class C>
void check_callout(const Row<C>& row, const char* name) {
  using R = decltype(C::re);
  const std::vector<C> a{{1, 1}, {R(800), R(1)}, {1, 1}, {1, 1}, {1, 1}, {R(-800), R(0.5)}, {1, 1}};
  const bool circ = name[2] == 'S' && name[3] == 'i' && name[4] == 'n' && name[5] == 0;
  std::vector<C> in = a;
  if (circ)  // Sin: the hyperbolic part is the imaginary one
    for (auto& e : in) std::swap(e.re, e.im);
  zevtest::expect_reports_1_and_5<C>(
      name, 3, [&](C* r, int inc) { row.call(1, 7, in.data(), 1, r, inc, inc != 1); },
      [&](const std::vector<C>& r, int inc) {
        C want;
        row.call(1, 1, &in[2], 1, &want, 1);
        EXPECT_EQ(bits(r[2 * inc].re), bits(want.re));
        EXPECT_EQ(bits(r[2 * inc].im), bits(want.im));
      });
}

TEST(ComplexTrig, CalloutNamesIndicesAndCallback) {
  check_callout(*find_row(kZRows, "zCosh"), "vzCosh");
  check_callout(*find_row(kZRows, "zSin"), "vzSin");
  check_callout(*find_row(kCRows, "cSinh"), "vcSinh");
}

// Default mode: errno is set to ERANGE for an overflow, and a NaN input is not reported.
TEST(ComplexTrig, ErrnoAndStatus) {
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  const C16 a[2] = {{kNaN, 1.0}, {1.0, kInf}};
  C16 r[2];
  _vqmzSinh(1, a, r);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
  EXPECT_EQ(errno, 0);
  _vqmzSinh(2, a, r);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 1);
  EXPECT_EQ(errno, EDOM);
  const C16 b{-750.0, 0.25};
  _vqmzCosh(1, &b, r);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 3);
  EXPECT_EQ(errno, ERANGE);
}

// ---- arrays: nothing read or written outside n elements -------------------------------

template <class C>
void check_bounds(const Row<C>& row) {
  using R = decltype(C::re);
  SCOPED_TRACE(row.name);
  for (int level = 0; level < 3; ++level)
    for (int n = 0; n <= 9; ++n)
      for (int inc : {1, 2, 3}) {
        const size_t len = n == 0 ? 1 : size_t(n - 1) * inc + 1;
        // Input: the real array of CIS, else complex; result: real for Arg.
        zevtest::Guarded<C> a(len, 1), r(len, 1);
        zevtest::Guarded<R> x(len, 1), t(len, 1);
        for (size_t i = 0; i < len; ++i) a[i] = C{R(0.5 + i), R(-0.25 * i)}, x[i] = R(0.5 + i);
        const Entry& e = row.lv[level];
        const bool plain = inc == 1;
        switch (row.kind) {
          case Kind::CIS:
            if (plain) reinterpret_cast<void (*)(int, const R*, C*)>(e.plain)(n, x.data(), r.data());
            else reinterpret_cast<void (*)(int, const R*, int, C*, int)>(e.strided)(n, x.data(), inc, r.data(), inc);
            break;
          case Kind::Arg:
            if (plain) reinterpret_cast<void (*)(int, const C*, R*)>(e.plain)(n, a.data(), t.data());
            else reinterpret_cast<void (*)(int, const C*, int, R*, int)>(e.strided)(n, a.data(), inc, t.data(), inc);
            break;
          case Kind::Unary:
            if (plain) reinterpret_cast<void (*)(int, const C*, C*)>(e.plain)(n, a.data(), r.data());
            else reinterpret_cast<void (*)(int, const C*, int, C*, int)>(e.strided)(n, a.data(), inc, r.data(), inc);
            break;
        }
        EXPECT_TRUE(a.lead_intact() && r.lead_intact() && x.lead_intact() && t.lead_intact());
      }
}

TEST(ComplexTrig, NoAccessOutsideArrays) {
  for (const auto& row : kZRows) check_bounds(row);
  for (const auto& row : kCRows) check_bounds(row);
}

}  // namespace
