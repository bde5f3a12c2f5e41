// Sticky flags of complex Mul, MulByConj, Div and Abs: overflow only where a
// part of the exact result exceeds the largest finite number, underflow only
// where it is tiny and inexact, invalid only where a NaN part comes from
// inputs without one. Each case runs alone, first and last in a block, in a
// tail, strided, and under flags the caller raised before.
#include <gtest/gtest.h>

#include <fenv.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"
#include "zev/zev_vqm_functions.h"

namespace {

constexpr int kO = FE_OVERFLOW, kU = FE_UNDERFLOW, kI = FE_INVALID;
constexpr int kWatched = kO | kU | kI;
constexpr double kInf = INFINITY, kNaN = NAN;

// a op b, or |a|; the expected flags among overflow, underflow and invalid.
struct Case {
  double ar, ai, br, bi;
  int flags;
};

const Case kZMul[] = {
    {1e300, 1, 1e-300, 0.5, 0},          // 0.5 + 5e299i: the cross products stay in range
    {1e200, 1e200, 1e200, 1e200, kO},    // 0 + 2e400i
    {1e300, 1e300, 1e300, -1e300, kO},   // 2e600 + 0i
    {DBL_MAX, 0, 2, 0, kO},
    {DBL_MAX, 0, 0.5, 0, 0},
    {1e-200, 0, 1e-200, 0, kU},          // 1e-400
    {1, 1e-200, 1, 1e-200, 0},           // 1 - 1e-400 + 2e-200i
    {1e-300, 1e-300, 1e300, 1e300, 0},   // 0 + 2i
    {1e-310, 0, 1, 0, 0},                // exact subnormal
    {1e-310, 0, 0.3, 0, kU},
    {kInf, 1, 1, 1, 0},
    {kInf, kInf, 1, 0, 0},               // NaN in both parts, recovered as infinities
    {1, 0, kInf, kInf, 0},
    {kInf, 0, 0, 0, kI},                 // Inf times zero
    {kNaN, 1, 1, 1, 0},
    {1, 1, kNaN, 0, 0},
};

const Case kZDiv[] = {
    {1e300, 1e300, 1e-300, 1e-300, kO},
    {DBL_MAX, 0, 0.5, 0, kO},
    {1, 1, 1e300, 1e300, 0},             // 1e-300
    {1, 1, 1e-300, 0, 0},                // 1e300 + 1e300i
    {1e-300, 0, 1e300, 0, kU},           // 1e-600
    {1e-310, 0, 1, 0, 0},                // exact subnormal
    {1e-310, 0, 3, 0, kU},
    // Inside the vector range, a real part near 2^-980 from cancellation.
    {0x1.8p-459, -0x1.8000000000001p-459, 0x1.3579bp470, 0x1.3579bp470, 0},
    {0x1.9p-459, -0x1.9000000000003p-459, 0x1.1p471, 0x1.3p471, 0},
    {1, 2, kInf, 0, 0},                  // signed zeros
    {kInf, 0, 1, 1, 0},
    {kInf, 0, kInf, 0, 0},
    {1, 1, 0, 0, 0},                     // a pole: infinities, no overflow
    {0, 0, 0, 0, kI},
    {kNaN, 1, 1, 1, 0},
    {1, 1, kNaN, kNaN, 0},
};

const Case kZAbs[] = {
    {1e300, 1e300, 0, 0, 0},  {1.5e308, 1.5e308, 0, 0, kO}, {DBL_MAX, 0, 0, 0, 0},   {3e307, 4e307, 0, 0, 0},
    {1e300, 1e-300, 0, 0, 0}, {1, 1e-200, 0, 0, 0},     {1, 1e-320, 0, 0, 0},    {1e-160, 1e-160, 0, 0, 0},
    {0, 0, 0, 0, 0},          {0, 1e-310, 0, 0, 0},     {0x3p-1074, 0x4p-1074, 0, 0, 0},
    {1e-310, 1e-310, 0, 0, kU}, {kInf, 1, 0, 0, 0},     {1, -kInf, 0, 0, 0},     {kInf, kNaN, 0, 0, 0},
    {kNaN, kInf, 0, 0, 0},    {kNaN, 1, 0, 0, 0},
};

const Case kCMul[] = {
    {1e30, 1, 1e-30, 0.5, 0}, {1e20, 1e20, 1e20, 1e20, kO}, {FLT_MAX, 0, 2, 0, kO}, {FLT_MAX, 0, 0.5, 0, 0},
    {1e-30, 0, 1e-30, 0, kU}, {1, 1e-30, 1, 1e-30, 0},     {1e-40, 0, 1, 0, 0},    {1e-40, 0, 0.3, 0, kU},
    {kInf, 1, 1, 1, 0},       {kInf, kInf, 1, 0, 0},       {1, 0, kInf, kInf, 0},  {kInf, 0, 0, 0, kI},
    {kNaN, 1, 1, 1, 0},
};

const Case kCDiv[] = {
    {1e30, 1e30, 1e-30, 1e-30, kO}, {FLT_MAX, 0, 0.5, 0, kO}, {1, 1, 1e30, 1e30, 0}, {1, 1, 1e-30, 0, 0},
    {1e-30, 0, 1e30, 0, kU},        {1e-40, 0, 1, 0, 0},      {1e-40, 0, 3, 0, kU},   {1, 2, kInf, 0, 0},
    {kInf, 0, 1, 1, 0},             {kInf, 0, kInf, 0, 0},    {1, 1, 0, 0, 0},        {0, 0, 0, 0, kI},
    {kNaN, 1, 1, 1, 0},
};

const Case kCAbs[] = {
    {1e30, 1e30, 0, 0, 0},  {3e38, 3e38, 0, 0, kO},  {FLT_MAX, 0, 0, 0, 0},   {1e38, 1e-38, 0, 0, 0},
    {0, 0, 0, 0, 0},        {0x3p-149, 0x4p-149, 0, 0, 0}, {1e-40, 1e-40, 0, 0, kU}, {kInf, 1, 0, 0, 0},
    {1, -kInf, 0, 0, 0},    {kInf, kNaN, 0, 0, 0},   {kNaN, 1, 0, 0, 0},
};

// One entry as a call on n elements with strides; Abs writes the real part.
template <class C>
struct Entry {
  using R = decltype(C::re);
  const char* name;
  void (*binI)(int, const C*, int, const C*, int, C*, int);
  void (*absI)(int, const C*, int, R*, int);
  bool conj;  // MulByConj: b goes in conjugated, so the Mul table serves
  const Case* cases;
  size_t ncases;
};

template <class C, size_t N>
Entry<C> bin(const char* name, void (*f)(int, const C*, int, const C*, int, C*, int), const Case (&t)[N],
             bool conj = false) {
  return {name, f, nullptr, conj, t, N};
}
template <class C, size_t N>
Entry<C> abs(const char* name, void (*f)(int, const C*, int, decltype(C::re)*, int), const Case (&t)[N]) {
  return {name, nullptr, f, false, t, N};
}

template <class C>
int flags_of(const Entry<C>& e, int n, const std::vector<C>& a, const std::vector<C>& b, int inc) {
  using R = decltype(C::re);
  std::vector<C> r(static_cast<size_t>(n) * inc);
  std::vector<R> t(static_cast<size_t>(n) * inc);
  feclearexcept(FE_ALL_EXCEPT);
  if (e.binI) e.binI(n, a.data(), inc, b.data(), inc, r.data(), inc);
  else e.absI(n, a.data(), inc, t.data(), inc);
  return fetestexcept(kWatched);
}

std::string flag_names(int f) {
  std::string s;
  if (f & kO) s += " overflow";
  if (f & kU) s += " underflow";
  if (f & kI) s += " invalid";
  return s.empty() ? " none" : s;
}

// Placements: (count, index of the case); the other elements are benign.
struct Place {
  int n, at;
};
constexpr Place kPlaces[] = {{1, 0}, {4, 0}, {4, 3}, {8, 5}, {7, 6}, {13, 12}};

template <class C>
void check(const Entry<C>& e) {
  using R = decltype(C::re);
  const C fa{R(1.25), R(0.75)}, fb{R(0.5), R(-1.5)};
  for (size_t k = 0; k < e.ncases; ++k) {
    const Case& c = e.cases[k];
    const C ca{R(c.ar), R(c.ai)}, cb{R(c.br), R(e.conj ? -c.bi : c.bi)};
    for (const int inc : {1, 2}) {
      for (const Place p : kPlaces) {
        std::vector<C> a(static_cast<size_t>(p.n) * inc, fa), b(a.size(), fb);
        a[static_cast<size_t>(p.at) * inc] = ca;
        b[static_cast<size_t>(p.at) * inc] = cb;
        const int got = flags_of(e, p.n, a, b, inc);
        EXPECT_EQ(got, c.flags) << e.name << " case " << k << " (" << c.ar << ", " << c.ai << "), (" << c.br
                                << ", " << c.bi << ") n " << p.n << " at " << p.at << " inc " << inc << ": got"
                                << flag_names(got) << ", want" << flag_names(c.flags);
      }
    }
    // Flags the caller raised before stay raised.
    std::vector<C> a(5, fa), b(5, fb);
    a[2] = ca, b[2] = cb;
    feraiseexcept(kWatched);
    if (e.binI) {
      std::vector<C> r(5);
      e.binI(5, a.data(), 1, b.data(), 1, r.data(), 1);
    } else {
      std::vector<R> t(5);
      e.absI(5, a.data(), 1, t.data(), 1);
    }
    EXPECT_EQ(fetestexcept(kWatched), kWatched) << e.name << " case " << k << " cleared the caller's flags";
  }
}

TEST(ComplexFlags, DoubleRows) {
  const Entry<zev_complex16> rows[] = {
      bin("zMul HA", _vqmzMulI_HA, kZMul),
      bin("zMul LA", _vqmzMulI_50, kZMul),
      bin("zMulByConj HA", _vqmzMulByConjI_HA, kZMul, true),
      bin("zMulByConj LA", _vqmzMulByConjI_50, kZMul, true),
      bin("zDiv HA", _vqmzDivI_HA, kZDiv),
      bin("zDiv LA", _vqmzDivI_50, kZDiv),
      bin("zDiv EP", _vqmzDivI_26, kZDiv),
      abs("zAbs HA", _vqmzAbsI_HA, kZAbs),
      abs("zAbs LA", _vqmzAbsI_50, kZAbs),
      abs("zAbs EP", _vqmzAbsI_26, kZAbs),
  };
  for (const auto& e : rows) check(e);
}

TEST(ComplexFlags, SingleRows) {
  const Entry<zev_complex8> rows[] = {
      bin("cMul HA", _vqmcMulI_HA, kCMul),
      bin("cMul LA", _vqmcMulI_21, kCMul),
      bin("cMulByConj HA", _vqmcMulByConjI_HA, kCMul, true),
      bin("cMulByConj LA", _vqmcMulByConjI_21, kCMul, true),
      bin("cDiv HA", _vqmcDivI_HA, kCDiv),
      bin("cDiv LA", _vqmcDivI_21, kCDiv),
      abs("cAbs HA", _vqmcAbsI_HA, kCAbs),
      abs("cAbs LA", _vqmcAbsI_21, kCAbs),
      abs("cAbs EP", _vqmcAbsI_11, kCAbs),
  };
  for (const auto& e : rows) check(e);
}

}  // namespace
