// Complex Asin, Acos, Atan, Asinh, Acosh, Atanh: accuracy against MPC over the
// plane and on both sides of every branch cut, the Annex G table of
// docs/vector_catrig.md with its symmetries, the pole statuses through the
// callout, guarded bounds and strides, and the caller's x87 control word.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "fp.h"
#include "complex_check.h"
#include "guarded.h"
#include "tools/ulp/complex_ref.h"
#include "vector/catrig/catrig_vec.h"
#include "zev/zev_vqm.h"
#include "zev/zev_vqm_functions.h"

namespace {

using zevtest::ModeScope;
using C8 = zev_complex8;
using C16 = zev_complex16;

enum Fn { kAsin, kAcos, kAtan, kAsinh, kAcosh, kAtanh };
const char* const kNames[] = {"Asin", "Acos", "Atan", "Asinh", "Acosh", "Atanh"};

template <class C> struct Entries {
  void (*plain[3])(int, const C*, C*);           // LA, HA, EP
  void (*strided[3])(int, const C*, int, C*, int);
};
#define ZENT(N) Entries<C16>{{_vqmz##N##_50, _vqmz##N, _vqmz##N##_26}, {_vqmz##N##I_50, _vqmz##N##I, _vqmz##N##I_26}}
#define CENT(N) Entries<C8>{{_vqmc##N##_21, _vqmc##N, _vqmc##N##_11}, {_vqmc##N##I_21, _vqmc##N##I, _vqmc##N##I_11}}
const Entries<C16> kZ[] = {ZENT(Asin), ZENT(Acos), ZENT(Atan), ZENT(Asinh), ZENT(Acosh), ZENT(Atanh)};
const Entries<C8> kC[] = {CENT(Asin), CENT(Acos), CENT(Atan), CENT(Asinh), CENT(Acosh), CENT(Atanh)};

template <class C> const Entries<C>& entries(Fn f);
template <> const Entries<C16>& entries<C16>(Fn f) { return kZ[f]; }
template <> const Entries<C8>& entries<C8>(Fn f) { return kC[f]; }

void mpc_fn(Fn f, mpc_ptr v, mpc_srcptr a) {
  switch (f) {
    case kAsin: mpc_asin(v, a, MPC_RNDNN); break;
    case kAcos: mpc_acos(v, a, MPC_RNDNN); break;
    case kAtan: mpc_atan(v, a, MPC_RNDNN); break;
    case kAsinh: mpc_asinh(v, a, MPC_RNDNN); break;
    case kAcosh: mpc_acosh(v, a, MPC_RNDNN); break;
    case kAtanh: mpc_atanh(v, a, MPC_RNDNN); break;
  }
}
template <Fn F> void exact(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_fn(F, v, a); }
const zev::ulp::CExactFn kExact[] = {exact<kAsin>, exact<kAcos>, exact<kAtan>,
                                     exact<kAsinh>, exact<kAcosh>, exact<kAtanh>};

// ---- accuracy against MPC -------------------------------------------------------------

template <class R>
R random_part(std::mt19937_64& g) {
  constexpr bool single = sizeof(R) == 4;
  const int emin = single ? -149 : -1074, emax = single ? 127 : 1023;
  const uint64_t u = g();
  R x;
  switch (u % 8) {
    case 0: x = 0; break;
    case 1:
    case 2:  // near the unit disc, where the cuts start
      x = static_cast<R>(std::ldexp(1.0 + double(u >> 11) * 0x1p-53, -int(u >> 4 & 3)));
      break;
    default: {
      const int e = emin + int((u >> 20) % uint64_t(emax - emin + 1));
      x = std::ldexp(R(0.5) + R(double(g() >> 11) * 0x1p-54), e);
    }
  }
  return (u >> 63) ? -x : x;
}

// Points on and beside the cuts (real axis beyond +-1 and imaginary axis
// beyond +-i, with +0 and -0), near +-1 and +-i, on the unit circle.
template <class C>
std::vector<C> cut_points() {
  using R = decltype(C::re);
  const R eps = std::numeric_limits<R>::epsilon();
  const R tiny = std::numeric_limits<R>::denorm_min();
  std::vector<C> p;
  for (R x : {R(1), R(1) + eps, R(1) - eps / 2, R(1.5), R(3), R(1e6), R(0.5), R(0)})
    for (R y : {R(0), tiny, eps * eps, eps, R(0.25)})
      for (R sx : {R(1), R(-1)})
        for (R sy : {R(1), R(-1)}) {
          p.push_back({sx * x, sy * y});
          p.push_back({sy * y, sx * x});
        }
  for (int k = 1; k < 8; ++k) p.push_back({R(std::cos(k * 0.19634954084936207)), R(std::sin(k * 0.19634954084936207))});
  return p;
}

template <class C>
void check_accuracy(Fn f, size_t npts, uint64_t seed) {
  using R = decltype(C::re);
  SCOPED_TRACE(std::string(sizeof(R) == 4 ? "c" : "z") + kNames[f]);
  std::mt19937_64 g(seed);
  std::vector<C> a = cut_points<C>();
  for (size_t i = 0; i < npts; ++i) {
    C z{random_part<R>(g), random_part<R>(g)};
    if (i % 4 == 1) z.im = std::ldexp(z.re, -int(g() % (sizeof(R) == 4 ? 30 : 60)));  // near the real axis
    if (i % 4 == 2) z.re = std::ldexp(z.im, -int(g() % (sizeof(R) == 4 ? 30 : 60)));  // near the imaginary one
    a.push_back(z);
  }
  std::vector<C> r(a.size());
  ModeScope mode(VQM_ERRMODE_IGNORE);
  entries<C>(f).plain[1](static_cast<int>(a.size()), a.data(), r.data());
  zev::ulp::CExact x;
  int fails = 0;
  for (size_t i = 0; i < a.size() && fails < 5; ++i) {
    x.compute(kExact[f], a[i].re, a[i].im, 0, 0);
    const double wr = zev::ulp::rounded<R>(mpc_realref(x.v)), wi = zev::ulp::rounded<R>(mpc_imagref(x.v));
    const double gr = r[i].re, gi = r[i].im;
    char s[256];
    snprintf(s, sizeof s, "z=(%a,%a) got=(%a,%a) want=(%a,%a)", double(a[i].re), double(a[i].im), gr, gi, wr, wi);
    if (std::isinf(wr) || std::isinf(wi)) {  // the poles
      if (gr != wr || gi != wi) ++fails, ADD_FAILURE() << s;
      continue;
    }
    const zev::ulp::CError e = zev::ulp::cerror<R>(x, gr, gi);
    // HA: normwise 1 ulp, each part 2 ulp where it is not below 2^-20 |exact|;
    // and the side of every cut: each part has the sign of the exact one.
    if (!zevtest::level_miss<R>(1, e, wr, wi).empty() || std::signbit(gr) != std::signbit(wr) ||
        std::signbit(gi) != std::signbit(wi))
      ++fails, ADD_FAILURE() << s << " normwise " << e.norm << " parts " << e.re << " " << e.im;
  }
}

TEST(Catrig, AccuracyDouble) {
  for (int f = 0; f < 6; ++f) check_accuracy<C16>(Fn(f), 2000, 10 + f);
}
TEST(Catrig, AccuracySingle) {
  for (int f = 0; f < 6; ++f) check_accuracy<C8>(Fn(f), 2000, 20 + f);
}

// ---- Annex G: the table and its symmetries --------------------------------------------------

constexpr double kInf = HUGE_VAL, kNaN = __builtin_nan("");
constexpr double kPi = 3.141592653589793, kPi2 = 1.5707963267948966, kPi4 = 0.7853981633974483,
                 k3Pi4 = 2.356194490192345;

struct Special {
  Fn f;
  double x, y, re, im;
  int status;
  bool any_sign_re = false, any_sign_im = false;  // the sign Annex G leaves open
};

// The entries as Annex G lists them, for the upper half plane (and for the
// odd functions the right half); Asin and Atan follow from Asinh and Atanh
// below.
const Special kTable[] = {
    // Acos
    {kAcos, 0.0, 0.0, kPi2, -0.0, 0},
    {kAcos, -0.0, 0.0, kPi2, -0.0, 0},
    {kAcos, 0.0, kNaN, kPi2, kNaN, 0},
    {kAcos, -0.0, kNaN, kPi2, kNaN, 0},
    {kAcos, 2.0, kInf, kPi2, -kInf, 0},
    {kAcos, -0.0, kInf, kPi2, -kInf, 0},
    {kAcos, 2.0, kNaN, kNaN, kNaN, 0},
    {kAcos, -kInf, 2.0, kPi, -kInf, 0},
    {kAcos, -kInf, 0.0, kPi, -kInf, 0},
    {kAcos, kInf, 2.0, 0.0, -kInf, 0},
    {kAcos, kInf, 0.0, 0.0, -kInf, 0},
    {kAcos, -kInf, kInf, k3Pi4, -kInf, 0},
    {kAcos, kInf, kInf, kPi4, -kInf, 0},
    {kAcos, kInf, kNaN, kNaN, kInf, 0, false, true},
    {kAcos, -kInf, kNaN, kNaN, kInf, 0, false, true},
    {kAcos, kNaN, 2.0, kNaN, kNaN, 0},
    {kAcos, kNaN, 0.0, kNaN, kNaN, 0},
    {kAcos, kNaN, kInf, kNaN, -kInf, 0},
    {kAcos, kNaN, kNaN, kNaN, kNaN, 0},
    // Acosh
    {kAcosh, 0.0, 0.0, 0.0, kPi2, 0},
    {kAcosh, -0.0, 0.0, 0.0, kPi2, 0},
    {kAcosh, 2.0, kInf, kInf, kPi2, 0},
    {kAcosh, -0.0, kInf, kInf, kPi2, 0},
    {kAcosh, 0.0, kNaN, kNaN, kNaN, 0},
    {kAcosh, 2.0, kNaN, kNaN, kNaN, 0},
    {kAcosh, -kInf, 2.0, kInf, kPi, 0},
    {kAcosh, -kInf, 0.0, kInf, kPi, 0},
    {kAcosh, kInf, 2.0, kInf, 0.0, 0},
    {kAcosh, kInf, 0.0, kInf, 0.0, 0},
    {kAcosh, -kInf, kInf, kInf, k3Pi4, 0},
    {kAcosh, kInf, kInf, kInf, kPi4, 0},
    {kAcosh, kInf, kNaN, kInf, kNaN, 0},
    {kAcosh, -kInf, kNaN, kInf, kNaN, 0},
    {kAcosh, kNaN, 2.0, kNaN, kNaN, 0},
    {kAcosh, kNaN, 0.0, kNaN, kNaN, 0},
    {kAcosh, kNaN, kInf, kInf, kNaN, 0},
    {kAcosh, kNaN, kNaN, kNaN, kNaN, 0},
    // Asinh
    {kAsinh, 0.0, 0.0, 0.0, 0.0, 0},
    {kAsinh, 2.0, kInf, kInf, kPi2, 0},
    {kAsinh, 0.0, kInf, kInf, kPi2, 0},
    {kAsinh, 2.0, kNaN, kNaN, kNaN, 0},
    {kAsinh, 0.0, kNaN, kNaN, kNaN, 0},
    {kAsinh, kInf, 2.0, kInf, 0.0, 0},
    {kAsinh, kInf, 0.0, kInf, 0.0, 0},
    {kAsinh, kInf, kInf, kInf, kPi4, 0},
    {kAsinh, kInf, kNaN, kInf, kNaN, 0},
    {kAsinh, kNaN, 0.0, kNaN, 0.0, 0},
    {kAsinh, kNaN, 2.0, kNaN, kNaN, 0},
    {kAsinh, kNaN, kInf, kInf, kNaN, 0, true, false},
    {kAsinh, kNaN, kNaN, kNaN, kNaN, 0},
    // Atanh
    {kAtanh, 0.0, 0.0, 0.0, 0.0, 0},
    {kAtanh, 0.0, kNaN, 0.0, kNaN, 0},
    {kAtanh, 1.0, 0.0, kInf, 0.0, 2},
    {kAtanh, 2.0, kInf, 0.0, kPi2, 0},
    {kAtanh, 0.5, kInf, 0.0, kPi2, 0},
    {kAtanh, 0.0, kInf, 0.0, kPi2, 0},
    {kAtanh, 2.0, kNaN, kNaN, kNaN, 0},
    {kAtanh, kInf, 2.0, 0.0, kPi2, 0},
    {kAtanh, kInf, 0.0, 0.0, kPi2, 0},
    {kAtanh, kInf, kInf, 0.0, kPi2, 0},
    {kAtanh, kInf, kNaN, 0.0, kNaN, 0},
    {kAtanh, kNaN, 0.0, kNaN, kNaN, 0},
    {kAtanh, kNaN, 2.0, kNaN, kNaN, 0},
    {kAtanh, kNaN, kInf, 0.0, kPi2, 0, true, false},
    {kAtanh, kNaN, kNaN, kNaN, kNaN, 0},
    // Exact values on the cuts, whose zero parts carry the side.
    {kAcos, 2.0, 0.0, 0.0, -1.3169578969248168, 0},
    {kAcos, -2.0, 0.0, kPi, -1.3169578969248168, 0},
    {kAcosh, 0.5, 0.0, 0.0, 1.0471975511965979, 0},
    {kAcosh, -2.0, 0.0, 1.3169578969248168, kPi, 0},
    {kAsinh, 0.0, 2.0, 1.3169578969248168, kPi2, 0},
    {kAtanh, 2.0, 0.0, 0.5493061443340549, kPi2, 0},
};

double neg(double v) { return -v; }

// The table with Asin and Atan added (asin z = -i asinh(iz): asin(y - ix) =
// (v, -u) where asinh(x + iy) = u + iv; likewise atan from atanh) and every
// entry's images: conj for all six, and z -> -z for the four odd ones.
std::vector<Special> full_table() {
  std::vector<Special> t(std::begin(kTable), std::end(kTable));
  for (const Special& s : kTable)
    if (s.f == kAsinh || s.f == kAtanh)
      t.push_back({s.f == kAsinh ? kAsin : kAtan, s.y, neg(s.x), s.im, neg(s.re), s.status, s.any_sign_im,
                   s.any_sign_re});
  const size_t base = t.size();
  for (size_t i = 0; i < base; ++i) {
    const Special s = t[i];
    t.push_back({s.f, s.x, neg(s.y), s.re, neg(s.im), s.status, s.any_sign_re, s.any_sign_im});
    if (s.f != kAcos && s.f != kAcosh) {
      t.push_back({s.f, neg(s.x), s.y, neg(s.re), s.im, s.status, s.any_sign_re, s.any_sign_im});
      t.push_back({s.f, neg(s.x), neg(s.y), neg(s.re), neg(s.im), s.status, s.any_sign_re, s.any_sign_im});
    }
  }
  return t;
}

template <class C>
void check_special(const Special& s) {
  using R = decltype(C::re);
  auto same = [](R got, double want, bool any_sign) {
    if (std::isnan(want)) return std::isnan(got);
    const R w = static_cast<R>(want);
    return any_sign ? std::fabs(got) == std::fabs(w) : zevtest::bits(got) == zevtest::bits(w);
  };
  const Entries<C>& e = entries<C>(s.f);
  for (int level = 0; level < 3; ++level)
    for (bool strided : {false, true}) {
      // The special element among ordinary ones, which keep their results.
      std::vector<C> a(5, C{R(0.5), R(-0.25)}), r(10, C{R(-9), R(-9)});
      a[2] = {static_cast<R>(s.x), static_cast<R>(s.y)};
      ModeScope mode(VQM_ERRMODE_IGNORE);
      if (strided) {
        e.strided[level](5, a.data(), 1, r.data(), 2);
        for (int i = 0; i < 5; ++i) r[i] = r[2 * i];
      } else {
        e.plain[level](5, a.data(), r.data());
      }
      EXPECT_TRUE(same(r[2].re, s.re, s.any_sign_re) && same(r[2].im, s.im, s.any_sign_im))
          << (sizeof(R) == 4 ? "c" : "z") << kNames[s.f] << "(" << s.x << ", " << s.y << ") = (" << r[2].re << ", "
          << r[2].im << ") want (" << s.re << ", " << s.im << ") level " << level << (strided ? " strided" : "");
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), s.status) << kNames[s.f] << "(" << s.x << ", " << s.y << ")";
      C want;
      e.plain[1](1, &a[1], &want);
      EXPECT_TRUE(zevtest::same(r[1].re, want.re) && zevtest::same(r[3].im, want.im));
    }
}

TEST(Catrig, AnnexGTable) {
  for (const Special& s : full_table()) {
    check_special<C16>(s);
    check_special<C8>(s);
  }
}

// ---- callout --------------------------------------------------------------------------------

// Poles at elements 1 and 5 (atanh(+-1 + 0i), atan(+-i)): status 2, the
// element's index and the row's name; the callback's value is written when it
// returns 0; the other elements are untouched.
template <class C>
void check_callout(Fn f, const char* name, C p1, C p5) {
  using R = decltype(C::re);
  const std::vector<C> a{{R(0.5), R(0.5)}, p1, {R(2), R(1)}, {R(0), R(3)}, {R(-1), R(0.5)}, p5, {R(0.25), R(-4)}};
  std::vector<C> want(7);
  {
    ModeScope mode(VQM_ERRMODE_IGNORE);
    entries<C>(f).plain[1](7, a.data(), want.data());
  }
  zevtest::expect_reports_1_and_5<C>(
      name, 2, [&](C* r, int inc) { entries<C>(f).strided[0](7, a.data(), 1, r, inc); },
      [&](const std::vector<C>& r, int inc) {
        for (int i : {0, 2, 3, 4, 6})
          EXPECT_TRUE(zevtest::same(r[i * inc].re, want[i].re) && zevtest::same(r[i * inc].im, want[i].im)) << i;
      });
}

TEST(Catrig, PolesThroughTheCallout) {
  check_callout<C16>(kAtanh, "vzAtanh", {1, 0}, {-1, -0.0});
  check_callout<C8>(kAtanh, "vcAtanh", {1, 0}, {-1, -0.0f});
  check_callout<C16>(kAtan, "vzAtan", {0, 1}, {-0.0, -1});
  check_callout<C8>(kAtan, "vcAtan", {0, 1}, {-0.0f, -1});
  // Default mode: the status and errno (a singularity is a range error).
  const C16 pole{1, 0};
  C16 r;
  ModeScope mode(VQM_ERRMODE_DEFAULT);
  _vqmzAtanh(1, &pole, &r);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 2);
  EXPECT_EQ(r.re, kInf);
}

// ---- counts, strides, bounds, the x87 control word --------------------------------------------

template <class C>
void check_bounds(Fn f) {
  using R = decltype(C::re);
  std::mt19937_64 g(7);
  const Entries<C>& e = entries<C>(f);
  ModeScope mode(VQM_ERRMODE_IGNORE);
  for (int n : {0, 1, 2, 3, 4, 5, 7, 9}) {
    SCOPED_TRACE(std::string(kNames[f]) + " n " + std::to_string(n));
    std::vector<C> a0(n + 1);
    for (auto& z : a0) z = {random_part<R>(g), random_part<R>(g)};
    zevtest::Guarded<C> a(n, 1), r(n, 1);
    for (int i = 0; i < n; ++i) a[i] = a0[i];
    e.plain[1](n, a.data(), r.data());
    EXPECT_TRUE(r.lead_intact());
    zevtest::expect_strided_as_plain(n, a0.data(), static_cast<const C*>(nullptr), r.data(),
                                     [&](C* sa, C*, C* sr, int) {
                                       e.strided[1](n, sa, zevtest::kStrideIn, sr, zevtest::kStrideOut);
                                     });
    C guard{R(-9), R(-9)};
    e.plain[1](-3, a0.data(), &guard);
    e.strided[1](-3, a0.data(), 2, &guard, 2);
    EXPECT_EQ(guard.re, R(-9));
  }
}

TEST(Catrig, CountsStridesAndBounds) {
  for (int f = 0; f < 6; ++f) {
    check_bounds<C16>(Fn(f));
    check_bounds<C8>(Fn(f));
  }
}

// Flush-to-zero and denormals-are-zero change nothing where inputs and results
// are normal numbers: inside the vector ranges every intermediate is normal,
// and the scalar function computes on the x87 unit.
template <class C>
void check_flush_modes(Fn f) {
  using R = decltype(C::re);
  std::mt19937_64 g(11 + f);
  std::vector<C> a;
  for (const C& z : cut_points<C>())
    if (std::isnormal(z.re) && std::isnormal(z.im)) a.push_back(z);
  while (a.size() < 3000) {
    const C z{random_part<R>(g), random_part<R>(g)};
    if (std::isnormal(z.re) && std::isnormal(z.im)) a.push_back(z);
  }
  std::vector<C> plain(a.size()), flushed(a.size());
  {
    ModeScope mode(VQM_ERRMODE_IGNORE | VQM_FTZDAZ_OFF);
    entries<C>(f).plain[1](static_cast<int>(a.size()), a.data(), plain.data());
  }
  {
    ModeScope mode(VQM_ERRMODE_IGNORE | VQM_FTZDAZ_ON);
    entries<C>(f).plain[1](static_cast<int>(a.size()), a.data(), flushed.data());
  }
  int fails = 0;
  for (size_t i = 0; i < a.size() && fails < 5; ++i) {
    auto normal_or_zero = [](R v) { return v == 0 || std::isnormal(v) || std::isinf(v); };
    if (!normal_or_zero(plain[i].re) || !normal_or_zero(plain[i].im)) continue;
    if (!zevtest::same(plain[i].re, flushed[i].re) || !zevtest::same(plain[i].im, flushed[i].im))
      ++fails, ADD_FAILURE() << kNames[f] << " z=(" << a[i].re << ", " << a[i].im << ")";
  }
}

TEST(Catrig, FlushModesChangeNoNormalResult) {
  for (int f = 0; f < 6; ++f) {
    check_flush_modes<C16>(Fn(f));
    check_flush_modes<C8>(Fn(f));
  }
}

// The elements run in the x87 extended format: a caller's word with 53- or
// 24-bit precision, another rounding or unmasked exceptions changes no result
// and comes back as it was.
TEST(Catrig, X87ControlWordOfTheCaller) {
  ModeScope mode(VQM_ERRMODE_IGNORE);
  std::mt19937_64 g(5);
  std::vector<C16> a(64), want(64), got(64);
  for (auto& z : a) z = {random_part<double>(g), random_part<double>(g)};
  for (int f = 0; f < 6; ++f) {
    entries<C16>(Fn(f)).plain[1](64, a.data(), want.data());
    const uint16_t saved = zevtest::x87_control();
    for (uint16_t cw : {uint16_t(0x027F), uint16_t(0x007F), uint16_t(0x0F7F), uint16_t(0x0372)}) {
      zevtest::x87_load_control(cw);
      entries<C16>(Fn(f)).plain[1](64, a.data(), got.data());
      const uint16_t after = zevtest::x87_control();
      zevtest::x87_load_control(saved);
      EXPECT_EQ(after, cw);
      for (int i = 0; i < 64; ++i)
        EXPECT_TRUE(zevtest::same(got[i].re, want[i].re) && zevtest::same(got[i].im, want[i].im))
            << kNames[f] << " cw " << cw << " element " << i;
    }
  }
}

// ---- the double vector paths, part by part ------------------------------------------

// The pairs of the double rows on first-quadrant points of their range (x, y
// in [2^-250, 2^250), weighted towards the unit disc, the cuts' ends and the
// unit circle): each part of asin, acos (also of -x) and atanh within 1 ulp of
// MPC's, and the worst recorded.
TEST(Catrig, DoublePathsPartByPart) {
  std::mt19937_64 g(3);
  std::vector<std::pair<double, double>> pts;
  for (int i = 0; i < 600; ++i) {
    auto part = [&](int spread) {
      return std::ldexp(1.0 + double(g() >> 11) * 0x1p-53, int(g() % (2 * spread + 1)) - spread);
    };
    const int k = i % 3;
    double x = part(k == 0 ? 249 : 3), y = part(k == 0 ? 249 : (k == 1 ? 60 : 3));
    if (k == 2) {  // near the unit circle
      const double t = double(g() >> 11) * 0x1p-53 * 1.5707963267948966;
      x = std::cos(t), y = std::sin(t);
      if (x < 0x1p-250 || y < 0x1p-250) continue;
    }
    pts.push_back({x, y});
  }
  zev::ulp::CExact asin_x, acos_x, acosn_x, atanh_x;
  double worst = 0;
  for (auto [x, y] : pts) {
    asin_x.compute(kExact[kAsin], x, y, 0, 0);
    acos_x.compute(kExact[kAcos], x, y, 0, 0);
    acosn_x.compute(kExact[kAcos], -x, y, 0, 0);
    atanh_x.compute(kExact[kAtanh], x, y, 0, 0);
    // The cores take a block's two halves: the point in both.
    const __m128d vx[2] = {_mm_set1_pd(x), _mm_set1_pd(x)}, vy[2] = {_mm_set1_pd(y), _mm_set1_pd(y)};
    const __m128d pos[2] = {_mm_setzero_pd(), _mm_setzero_pd()};
    const __m128d neg[2] = {_mm_castsi128_pd(_mm_set1_epi32(-1)), _mm_castsi128_pd(_mm_set1_epi32(-1))};
    __m128d re[2], im[2], rc[2], rn[2], ii[2], ar[2], ai[2];
    zev::vk::catrig::asin_first_dd<false>(vx, vy, pos, re, im);
    zev::vk::catrig::asin_first_dd<true>(vx, vy, pos, rc, ii);
    zev::vk::catrig::asin_first_dd<true>(vx, vy, neg, rn, ii);
    zev::vk::catrig::atanh_first_dd(vx, vy, ar, ai);
    const double e[] = {
        zev::ulp::part_ulps<double>(mpc_realref(asin_x.v), _mm_cvtsd_f64(re[0])),
        zev::ulp::part_ulps<double>(mpc_imagref(asin_x.v), _mm_cvtsd_f64(im[0])),
        zev::ulp::part_ulps<double>(mpc_realref(acos_x.v), _mm_cvtsd_f64(rc[0])),
        zev::ulp::part_ulps<double>(mpc_realref(acosn_x.v), _mm_cvtsd_f64(rn[0])),
        zev::ulp::part_ulps<double>(mpc_realref(atanh_x.v), _mm_cvtsd_f64(ar[0])),
        zev::ulp::part_ulps<double>(mpc_imagref(atanh_x.v), _mm_cvtsd_f64(ai[0])),
    };
    for (int j = 0; j < 6; ++j) {
      worst = std::max(worst, e[j]);
      EXPECT_LE(e[j], 1.0) << "part " << j << " at (" << x << ", " << y << ")";
    }
  }
  RecordProperty("z_paths_worst_part_ulp", std::to_string(worst));
  std::printf("worst part: %.3f ulp\n", worst);
}

}  // namespace
