// Reciprocal, division, roots, remainders and neighbours: the special-case
// table of docs/vector_algebra.md with its statuses and report names, the
// callout's behaviour (other lanes keep their vector results, in-place calls,
// masked tails, strided forms) on guarded buffers, and the caller's
// floating-point state.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "guarded.h"
#include "kernels.h"

namespace {

using namespace algtest;
using zevtest::Guarded;

// ---- the special-case table --------------------------------------------------------

enum Levels { kAll = 7, kHA = 2 };

template <class T>
struct Case {
  const char* row;  // without the precision letter
  int levels;       // bit l: level l
  T a, b;
  T want, want2;    // want2: the fraction of Modf
  int status;
  bool nan_bits = false;  // the NaN's bits are part of the contract
};

template <class T>
std::vector<Case<T>> special_cases() {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), mx = L::max(), mn = L::min(), dm = L::denorm_min();
  const T pz = T(0), nz = -T(0);
  const T even_sub = std::ldexp(T(1), sizeof(T) == 4 ? -148 : -1074);  // 2^-148, 2^-1074
  const T even_sub_rsqrt = std::ldexp(T(1), sizeof(T) == 4 ? 74 : 537);
  const T below_min = std::nextafter(mn, pz);
  return {
      // Inv: a pole at zero, overflow from subnormals, underflow past 2^126 (2^1022).
      {"Inv", kAll, pz, 0, inf, 0, 2}, {"Inv", kAll, nz, 0, -inf, 0, 2}, {"Inv", kAll, inf, 0, pz, 0, 0},
      {"Inv", kAll, -inf, 0, nz, 0, 0}, {"Inv", kAll, nan, 0, nan, 0, 0}, {"Inv", kAll, dm, 0, inf, 0, 3},
      {"Inv", kAll, -mx, 0, T(1) / -mx, 0, 4}, {"Inv", kHA, T(4), 0, T(0.25), 0, 0},
      // Sqrt: invalid below zero; -0 is -0.
      {"Sqrt", kAll, T(-1), 0, nan, 0, 1}, {"Sqrt", kAll, -inf, 0, nan, 0, 1}, {"Sqrt", kAll, nz, 0, nz, 0, 0},
      {"Sqrt", kAll, pz, 0, pz, 0, 0}, {"Sqrt", kAll, inf, 0, inf, 0, 0}, {"Sqrt", kAll, nan, 0, nan, 0, 0},
      {"Sqrt", kAll, -dm, 0, nan, 0, 1}, {"Sqrt", kAll, even_sub, 0, std::sqrt(even_sub), 0, 0},
      {"Sqrt", kHA, T(2.25), 0, T(1.5), 0, 0},
      // InvSqrt: poles at both zeros, invalid below zero.
      {"InvSqrt", kAll, pz, 0, inf, 0, 2}, {"InvSqrt", kAll, nz, 0, -inf, 0, 2},
      {"InvSqrt", kAll, T(-4), 0, nan, 0, 1}, {"InvSqrt", kAll, -inf, 0, nan, 0, 1},
      {"InvSqrt", kAll, inf, 0, pz, 0, 0}, {"InvSqrt", kAll, nan, 0, nan, 0, 0},
      {"InvSqrt", kAll, even_sub, 0, even_sub_rsqrt, 0, 0}, {"InvSqrt", kHA, T(0.25), 0, T(2), 0, 0},
      // Div
      {"Div", kAll, T(1), pz, inf, 0, 2}, {"Div", kAll, T(-1), pz, -inf, 0, 2}, {"Div", kAll, T(1), nz, -inf, 0, 2},
      {"Div", kAll, pz, pz, nan, 0, 1}, {"Div", kAll, inf, -inf, nan, 0, 1}, {"Div", kAll, inf, T(2), inf, 0, 0},
      {"Div", kAll, T(2), -inf, nz, 0, 0}, {"Div", kAll, nz, T(5), nz, 0, 0}, {"Div", kAll, mx, T(0.5), inf, 0, 3},
      {"Div", kAll, -mx, T(0.25), -inf, 0, 3}, {"Div", kAll, dm, T(2), pz, 0, 4}, {"Div", kAll, mn, T(3), mn / T(3), 0, 4},
      {"Div", kAll, nan, T(1), nan, 0, 0}, {"Div", kAll, T(1), nan, nan, 0, 0}, {"Div", kAll, nan, pz, nan, 0, 0},
      {"Div", kHA, T(6), T(-4), T(-1.5), 0, 0},
      // LinearFrac with (2a + 1) / (b - 1)
      {"LinearFrac", kAll, T(1), T(1), inf, 0, 2}, {"LinearFrac", kAll, T(-0.5), T(1), nan, 0, 1},
      {"LinearFrac", kAll, T(3), T(3), T(3.5), 0, 0}, {"LinearFrac", kAll, T(-0.5), T(3), pz, 0, 0},
      {"LinearFrac", kAll, mx, T(2), inf, 0, 3}, {"LinearFrac", kAll, T(1), mx, T(3) / mx, 0, 4},
      {"LinearFrac", kAll, nan, T(2), nan, 0, 0}, {"LinearFrac", kAll, inf, T(3), inf, 0, 0},
      {"LinearFrac", kAll, T(1), inf, pz, 0, 0}, {"LinearFrac", kAll, inf, inf, nan, 0, 1},
      // Fmod: the sign of a; invalid for an infinite a or a zero b.
      {"Fmod", kAll, T(5), pz, -nan, 0, 1, true}, {"Fmod", kAll, pz, pz, -nan, 0, 1, true},
      {"Fmod", kAll, inf, T(2), -nan, 0, 1, true}, {"Fmod", kAll, -inf, inf, -nan, 0, 1, true},
      {"Fmod", kAll, T(5), inf, T(5), 0, 0}, {"Fmod", kAll, T(-5), -inf, T(-5), 0, 0},
      {"Fmod", kAll, nz, T(3), nz, 0, 0}, {"Fmod", kAll, T(-7), T(3), T(-1), 0, 0}, {"Fmod", kAll, T(7), T(-3), T(1), 0, 0},
      {"Fmod", kAll, T(-6), T(3), nz, 0, 0}, {"Fmod", kAll, mx, dm, pz, 0, 0}, {"Fmod", kAll, mx, T(3), std::fmod(mx, T(3)), 0, 0},
      {"Fmod", kAll, nan, pz, nan, 0, 0},
      // Remainder: the nearest quotient, ties to even.
      {"Remainder", kAll, T(5), pz, -nan, 0, 1, true}, {"Remainder", kAll, -inf, T(2), -nan, 0, 1, true},
      {"Remainder", kAll, T(5), inf, T(5), 0, 0}, {"Remainder", kAll, T(7), T(2), T(-1), 0, 0},
      {"Remainder", kAll, T(5), T(2), T(1), 0, 0}, {"Remainder", kAll, T(-5), T(2), T(-1), 0, 0},
      {"Remainder", kAll, nz, T(3), nz, 0, 0}, {"Remainder", kAll, T(-6), T(3), nz, 0, 0},
      {"Remainder", kAll, mx, std::ldexp(T(1.5), L::max_exponent - 2), std::remainder(mx, std::ldexp(T(1.5), L::max_exponent - 2)), 0, 0},
      {"Remainder", kAll, mx, dm, pz, 0, 0},
      {"Remainder", kAll, -mx, std::ldexp(T(1.15), L::max_exponent - 9),
       std::remainder(-mx, std::ldexp(T(1.15), L::max_exponent - 9)), 0, 0},
      // NextAfter: overflow off the largest finite, underflow into the subnormals.
      {"NextAfter", kAll, T(1), T(2), std::nextafter(T(1), T(2)), 0, 0}, {"NextAfter", kAll, mx, inf, inf, 0, 3},
      {"NextAfter", kAll, -mx, -inf, -inf, 0, 3}, {"NextAfter", kAll, pz, T(1), dm, 0, 4},
      {"NextAfter", kAll, pz, T(-1), -dm, 0, 4}, {"NextAfter", kAll, mn, pz, below_min, 0, 4},
      {"NextAfter", kAll, dm, pz, pz, 0, 4}, {"NextAfter", kAll, below_min, T(1), mn, 0, 0},
      {"NextAfter", kAll, nz, pz, pz, 0, 0}, {"NextAfter", kAll, T(1), T(1), T(1), 0, 0},
      {"NextAfter", kAll, inf, pz, mx, 0, 0}, {"NextAfter", kAll, nan, T(1), nan, 0, 0},
      {"NextAfter", kAll, T(-1), pz, std::nextafter(T(-1), T(0)), 0, 0},
      // CopySign, Fdim
      {"CopySign", kAll, T(1), nz, T(-1), 0, 0}, {"CopySign", kAll, -inf, T(2), inf, 0, 0},
      {"CopySign", kAll, T(-3), nan, T(3), 0, 0}, {"Fdim", kAll, T(5), T(3), T(2), 0, 0},
      {"Fdim", kAll, T(3), T(5), pz, 0, 0}, {"Fdim", kAll, mx, -mx, inf, 0, 3}, {"Fdim", kAll, inf, T(1), inf, 0, 0},
      {"Fdim", kAll, inf, inf, pz, 0, 0}, {"Fdim", kAll, nan, T(1), nan, 0, 0}, {"Fdim", kAll, T(1), nan, nan, 0, 0},
      // Fmax, Fmin, MaxMag, MinMag: a quiet NaN gives the number; equal zeros the second.
      {"Fmax", kAll, nan, T(1), T(1), 0, 0}, {"Fmax", kAll, T(1), nan, T(1), 0, 0}, {"Fmax", kAll, nz, pz, pz, 0, 0},
      {"Fmax", kAll, pz, nz, nz, 0, 0}, {"Fmax", kAll, T(2), T(3), T(3), 0, 0}, {"Fmax", kAll, -inf, nan, -inf, 0, 0},
      {"Fmin", kAll, nan, T(1), T(1), 0, 0}, {"Fmin", kAll, T(2), T(3), T(2), 0, 0}, {"Fmin", kAll, pz, nz, nz, 0, 0},
      {"Fmin", kAll, nz, pz, pz, 0, 0}, {"Fmin", kAll, T(1), nan, T(1), 0, 0},
      {"MaxMag", kAll, T(-3), T(2), T(-3), 0, 0}, {"MaxMag", kAll, T(2), T(-3), T(-3), 0, 0},
      {"MaxMag", kAll, T(-2), T(2), T(2), 0, 0}, {"MaxMag", kAll, nan, T(-5), T(-5), 0, 0},
      {"MaxMag", kAll, nz, pz, pz, 0, 0}, {"MinMag", kAll, T(-3), T(2), T(2), 0, 0},
      {"MinMag", kAll, T(-2), T(2), T(-2), 0, 0}, {"MinMag", kAll, nan, T(-5), T(-5), 0, 0},
      {"MinMag", kAll, T(2), nan, T(2), 0, 0},
      // Modf: integral part and fraction, both with the sign of a.
      {"Modf", kAll, T(-3.5), 0, T(-3), T(-0.5), 0}, {"Modf", kAll, inf, 0, inf, pz, 0},
      {"Modf", kAll, -inf, 0, -inf, nz, 0}, {"Modf", kAll, nan, 0, nan, nan, 0}, {"Modf", kAll, nz, 0, nz, nz, 0},
      {"Modf", kAll, T(-4), 0, T(-4), nz, 0}, {"Modf", kAll, std::ldexp(T(1), 60), 0, std::ldexp(T(1), 60), pz, 0},
      {"Modf", kAll, T(0.25), 0, pz, T(0.25), 0}, {"Modf", kAll, T(-0.75), 0, nz, T(-0.75), 0},
  };
}

struct Seen {
  int calls = 0, status = 0, index = -1;
  std::string name;
} g_seen;

int record_callback(zev_vqm_error_record* rec) {
  ++g_seen.calls;
  g_seen.status = rec->status;
  g_seen.index = rec->index;
  g_seen.name = rec->name;
  return 0;
}

template <class T>
const Kernel* find(const std::string& row, int level) {
  const std::string full = (sizeof(T) == 4 ? "s" : "d") + row;
  for (const Kernel& k : kKernels)
    if (full == k.row && k.level == level) return &k;
  return nullptr;
}

// Ordinary inputs of every kernel: no lane of them is special.
template <class T>
T ordinary_a(int i) {
  return T(1.25) + T(i % 7) * T(0.5);
}
template <class T>
T ordinary_b(int i) {
  return T(3.5) + T(i % 5) * T(0.25);
}

// Runs every case at three places of a 13-element array (first lane, middle
// of a block, the tail) in the plain form, and at one place in the strided
// form: the special lane's result, the status, the callback's index and
// name, and the other lanes' results as a run without the special lane has
// them.
template <class T>
void check_special_table() {
  const int n = 13;
  zev_vqm_kernel_SetErrorCallBack(record_callback);
  for (const Case<T>& c : special_cases<T>())
    for (int level = 0; level < 3; ++level) {
      if (!(c.levels & (1 << level))) continue;
      const Kernel* k = find<T>(c.row, level);
      ASSERT_NE(k, nullptr) << c.row;
      SCOPED_TRACE(std::string(k->row) + " level " + std::to_string(level) + " a=" + std::to_string(double(c.a)) +
                   " b=" + std::to_string(double(c.b)));
      Guarded<T> a(n), b(n), r(n), r2(n), base(n), base2(n);
      for (int i = 0; i < n; ++i) a[i] = ordinary_a<T>(i), b[i] = ordinary_b<T>(i);
      run<T>(*k, n, a.data(), b.data(), base.data(), base2.data());
      for (int pos : {0, 5, 12}) {
        a[pos] = c.a;
        b[pos] = c.b;
        zev_vqm_kernel_ClearErrStatus();
        g_seen = {};
        run<T>(*k, n, a.data(), b.data(), r.data(), r2.data());
        EXPECT_TRUE(same(r[pos], c.want, !c.nan_bits)) << "pos " << pos << " got " << r[pos] << " want " << c.want;
        if (k->form == Form::Modf) {
          EXPECT_TRUE(same(r2[pos], c.want2)) << "fraction " << r2[pos];
        }
        EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), c.status);
        EXPECT_EQ(g_seen.calls, c.status ? 1 : 0);
        if (c.status) {
          EXPECT_EQ(g_seen.index, pos);
          EXPECT_EQ(g_seen.name, k->name);
        }
        for (int i = 0; i < n; ++i)
          if (i != pos) {
            ASSERT_TRUE(same(r[i], base[i], false)) << "lane " << i << " lost its vector result";
            if (k->form == Form::Modf) {
              ASSERT_TRUE(same(r2[i], base2[i], false));
            }
          }
        a[pos] = ordinary_a<T>(pos);
        b[pos] = ordinary_b<T>(pos);
      }
      // Strided, the special lane at element 6 of 9: strides 2 and 3.
      const int m = 9, pos = 6;
      Guarded<T> sa(2 * (m - 1) + 1), sb(2 * (m - 1) + 1), sr(3 * (m - 1) + 1), sr2(3 * (m - 1) + 1);
      for (int i = 0; i < m; ++i) sa[2 * i] = ordinary_a<T>(i), sb[2 * i] = ordinary_b<T>(i);
      sa[2 * pos] = c.a;
      sb[2 * pos] = c.b;
      zev_vqm_kernel_ClearErrStatus();
      g_seen = {};
      run_i<T>(*k, m, sa.data(), 2, sb.data(), 2, sr.data(), 3, sr2.data());
      EXPECT_TRUE(same(sr[3 * pos], c.want, !c.nan_bits)) << "strided";
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), c.status) << "strided";
      if (c.status) {
        EXPECT_EQ(g_seen.index, pos);
        EXPECT_EQ(g_seen.name, k->name_i);
      }
    }
  zev_vqm_kernel_ClearErrorCallBack();
  zev_vqm_kernel_ClearErrStatus();
}

TEST(AlgebraSpecials, SingleTable) { check_special_table<float>(); }
TEST(AlgebraSpecials, DoubleTable) { check_special_table<double>(); }

// ---- counts, tails, in-place and strided forms ---------------------------------------

// Inputs with a special lane now and then, so that blocks with and without
// callouts both occur.
template <class T>
void fill(std::vector<T>& a, std::vector<T>& b, uint64_t seed, bool positive) {
  std::mt19937_64 g(seed);
  const T specials[] = {T(0), -T(0), std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN(),
                        std::numeric_limits<T>::denorm_min(), std::numeric_limits<T>::max(), T(-1)};
  for (size_t i = 0; i < a.size(); ++i) {
    a[i] = static_cast<T>(std::ldexp(1.0 + double(g() % 1000) / 1000.0, int(g() % 40) - 20));
    b[i] = static_cast<T>(std::ldexp(1.0 + double(g() % 1000) / 1000.0, int(g() % 40) - 20));
    if (!positive && (g() & 1)) a[i] = -a[i];
    if (g() & 1) b[i] = -b[i];
    if (g() % 16 == 0) a[i] = specials[g() % 7];
    if (g() % 32 == 0) b[i] = specials[g() % 7];
  }
}

// Every element must come out as a call on that element alone gives it (so
// blocks, groups and the tail agree), with nothing written outside.
template <class T>
void check_counts(const Kernel& k) {
  SCOPED_TRACE(std::string(k.row) + " level " + std::to_string(k.level));
  const int counts[] = {0, 1, 3, 7, 8, 9, 33, 1000};
  const bool positive = std::string(k.row).find("Sqrt") != std::string::npos;
  for (int n : counts)
    for (size_t lead = 0; lead < 16 / sizeof(T); lead += 16 / sizeof(T) - 1) {
      std::vector<T> x(n), y(n);
      fill(x, y, 977u * n + lead, positive);
      Guarded<T> a(n, lead), b(n), r(n, (lead + 1) % 4), r2(n);
      std::copy(x.begin(), x.end(), a.begin());
      std::copy(y.begin(), y.end(), b.begin());
      run<T>(k, n, a.data(), b.data(), r.data(), r2.data());
      for (int i = 0; i < n; ++i) {
        T one = 0, one2 = 0;
        run<T>(k, 1, &x[i], &y[i], &one, &one2);
        ASSERT_TRUE(same(r[i], one, false)) << "n=" << n << " i=" << i << " x=" << x[i] << " y=" << y[i];
        if (k.form == Form::Modf) {
          ASSERT_TRUE(same(r2[i], one2, false));
        }
      }
      EXPECT_TRUE(a.lead_intact() && r.lead_intact());
      // In place: r the same as a.
      run<T>(k, n, a.data(), b.data(), a.data(), r2.data());
      for (int i = 0; i < n; ++i) ASSERT_TRUE(same(a[i], r[i], false)) << "in place, n=" << n << " i=" << i;
      // Strided: element i at 2i and 3i; the gaps keep their marks; stride
      // 0 on b broadcasts b[0].
      const size_t na = n ? 2 * size_t(n - 1) + 1 : 0, nr = n ? 3 * size_t(n - 1) + 1 : 0;
      Guarded<T> sa(na), sb(na), sr(nr), sr2(nr), sb0(1);
      for (int i = 0; i < n; ++i) sa[2 * i] = x[i], sb[2 * i] = y[i];
      for (size_t j = 0; j < nr; ++j) sr[j] = sr2[j] = T(-7);
      run_i<T>(k, n, sa.data(), 2, sb.data(), 2, sr.data(), 3, sr2.data());
      for (int i = 0; i < n; ++i) ASSERT_TRUE(same(sr[3 * i], r[i], false)) << "strided, n=" << n << " i=" << i;
      for (size_t j = 0; j < nr; ++j)
        if (j % 3) {
          ASSERT_EQ(sr[j], T(-7)) << "written between the strides";
        }
      if (n > 0 && k.form != Form::Unary && k.form != Form::Modf) {
        sb0[0] = y[0];
        run_i<T>(k, n, sa.data(), 2, sb0.data(), 0, sr.data(), 3, sr2.data());
        for (int i = 0; i < n; ++i) {
          T one = 0, one2 = 0;
          run<T>(k, 1, &x[i], &y[0], &one, &one2);
          ASSERT_TRUE(same(sr[3 * i], one, false)) << "stride 0, i=" << i;
        }
      }
    }
  zev_vqm_kernel_ClearErrStatus();
}

TEST(AlgebraShape, CountsTailsInPlaceStrided) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  for (const Kernel& k : kKernels) {
    if (k.single)
      check_counts<float>(k);
    else
      check_counts<double>(k);
  }
  zev_vqm_kernel_SetMode(old);
}

// The three levels of a row with three kernels are separate kernels; the
// unit-stride strided call is the plain one.
TEST(AlgebraShape, UnitStridesRunThePlainKernel) {
  const float a[5] = {2.0f, 3.0f, 7.0f, 0.1f, 9.5f};
  float r[5], ri[5];
  _vqmsInv_11(5, a, r);
  _vqmsInvI_11(5, a, 1, ri, 1);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(bits(r[i]), bits(ri[i]));
}

TEST(AlgebraShape, NegativeCountIsEmpty) {
  float a[4] = {1, 2, 3, 4}, r[4] = {9, 9, 9, 9}, r2[4] = {9, 9, 9, 9};
  _vqmsInv(-3, a, r);
  _vqmsDiv(-1, a, a, r);
  _vqmsModf(-2, a, r, r2);
  _vqmsLinearFrac(-5, a, a, 1, 0, 1, 0, r);
  _vqmsFmodI(-5, a, 2, a, 2, r, 2);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(r[i] + r2[i], 18.0f);
}

// A callback that changes r1 and returns zero: its value is the element's
// final result; one that returns non-zero leaves the scalar function's.
int set_seven(zev_vqm_error_record* rec) {
  rec->r1 = 7.0;
  return 0;
}
int refuse(zev_vqm_error_record* rec) {
  rec->r1 = 7.0;
  return 1;
}
TEST(AlgebraCallout, CallbackResultIsWrittenBack) {
  double a[9] = {1, 2, 0, 4, 5, 6, 7, 8, 0};
  double r[9];
  zev_vqm_kernel_SetErrorCallBack(set_seven);
  _vqmdInv(9, a, r);
  EXPECT_EQ(r[2], 7.0);
  EXPECT_EQ(r[8], 7.0);
  EXPECT_EQ(r[3], 0.25);
  zev_vqm_kernel_SetErrorCallBack(refuse);
  _vqmdInv(9, a, r);
  EXPECT_EQ(r[2], INFINITY);
  zev_vqm_kernel_ClearErrorCallBack();
  zev_vqm_kernel_ClearErrStatus();
}

// The scalar functions read the exceptions they raise with the caller's
// sticky flags set aside: the caller's flags survive, and the caller's
// rounding and masks come back.
TEST(AlgebraCallout, CallerFlagsAndControlSurvive) {
  const uint32_t saved = _mm_getcsr();
  _mm_setcsr((saved & ~0x603Fu) | 0x2000u | 0x01u);  // round down, invalid already raised
  const float a[3] = {0.0f, 2.0f, -1.0f};
  float r[3];
  zev_vqm_kernel_ClearErrStatus();
  _vqmsSqrt(3, a, r);
  const uint32_t after = _mm_getcsr();
  _mm_setcsr(saved);
  EXPECT_EQ(after & 0x6000u, 0x2000u);
  EXPECT_TRUE(after & 0x01u);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 1);
  EXPECT_EQ(r[1], std::sqrt(2.0f));  // rounded to nearest inside
  zev_vqm_kernel_ClearErrStatus();
}

// With flushing on, a subnormal divisor counts as zero: a pole.
TEST(AlgebraCallout, FlushModeTurnsSubnormalsIntoZeros) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_FTZDAZ_ON);
  const float a[1] = {1.0f}, b[1] = {std::numeric_limits<float>::denorm_min()};
  float r[1];
  zev_vqm_kernel_ClearErrStatus();
  _vqmsDiv(1, a, b, r);
  EXPECT_EQ(r[0], INFINITY);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 2);
  zev_vqm_kernel_SetMode(VQM_FTZDAZ_OFF);
  zev_vqm_kernel_ClearErrStatus();
  _vqmsDiv(1, a, b, r);
  EXPECT_EQ(r[0], INFINITY);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 3);
  zev_vqm_kernel_SetMode(old);
  zev_vqm_kernel_ClearErrStatus();
}

}  // namespace
