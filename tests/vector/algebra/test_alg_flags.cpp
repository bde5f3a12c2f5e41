// Division and the single reciprocal at HA find their special lanes from the
// sticky flags a run of blocks raises, and rerun only the blocks of a flagged
// stretch through the tested path; the other kernels of one IEEE operation
// (dInv, Sqrt) test every block and must behave the same. These tests plant special lanes
// across long arrays (first element, both sides of the stretch boundaries, the
// masked tail) and check each element against the IEEE operation, the reports
// against the planted lanes in ascending order, in-place calls against
// out-of-place ones, and the caller's sticky flags on the way out.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

std::vector<std::pair<int, int>> g_reports;  // (index, status)
int record(zev_vqm_error_record* rec) {
  g_reports.push_back({rec->index, rec->status});
  return 1;  // keep the scalar function's result
}

enum class Op { Div, Inv, Sqrt };

struct Kernel {
  const char* name;
  Op op;
  bool single;
  void (*fn)();
};
template <class F>
void (*fp(F f))() {
  return reinterpret_cast<void (*)()>(f);
}

const Kernel kKernels[] = {
    {"sDiv LA", Op::Div, true, fp(_vqmsDiv_21)},   {"sDiv HA", Op::Div, true, fp(_vqmsDiv_HA)},
    {"sDiv EP", Op::Div, true, fp(_vqmsDiv_11)},   {"dDiv", Op::Div, false, fp(_vqmdDiv)},
    {"sInv HA", Op::Inv, true, fp(_vqmsInv_HA)},   {"dInv LA", Op::Inv, false, fp(_vqmdInv_50)},
    {"dInv HA", Op::Inv, false, fp(_vqmdInv_HA)},  {"dInv EP", Op::Inv, false, fp(_vqmdInv_26)},
    {"sSqrt HA", Op::Sqrt, true, fp(_vqmsSqrt_HA)}, {"dSqrt LA", Op::Sqrt, false, fp(_vqmdSqrt_50)},
    {"dSqrt HA", Op::Sqrt, false, fp(_vqmdSqrt_HA)}, {"dSqrt EP", Op::Sqrt, false, fp(_vqmdSqrt_26)},
};

// A special input of each kind with the status it reports.
template <class T>
struct Plant {
  T a, b;
  int status;
};
template <class T>
std::vector<Plant<T>> plants(Op op) {
  using L = std::numeric_limits<T>;
  const T big = L::max() / 4, small = L::min() * 4, nan = L::quiet_NaN(), inf = L::infinity();
  switch (op) {
    case Op::Div:
      return {{T(3), T(0), 2}, {big, small, 3}, {small, big, 4}, {T(0), T(0), 1},
              {nan, T(2), 0},  {T(1), inf, 0},  {inf, inf, 1},    {L::denorm_min(), T(1), 0}};
    case Op::Inv:
      return {{T(0), 0, 2}, {L::denorm_min(), 0, 3}, {-L::max(), 0, 4}, {nan, 0, 0}, {-inf, 0, 0}};
    case Op::Sqrt:
      return {{T(-1), 0, 1}, {-inf, 0, 1}, {nan, 0, 0}, {-T(0), 0, 0}, {L::denorm_min(), 0, 0}};
  }
  return {};
}

template <class T>
T apply(Op op, T a, T b) {
  switch (op) {
    case Op::Div:
      return a / b;
    case Op::Inv:
      return T(1) / a;
    case Op::Sqrt:
      return std::sqrt(a);
  }
  return 0;
}

template <class T>
void call(const Kernel& k, int n, const T* a, const T* b, T* r) {
  if (k.op == Op::Div)
    reinterpret_cast<void (*)(int, const T*, const T*, T*)>(k.fn)(n, a, b, r);
  else
    reinterpret_cast<void (*)(int, const T*, T*)>(k.fn)(n, a, r);
}

// Stretches hold 4096 bytes of results: 1024 singles, 512 doubles.
template <class T>
constexpr int kStretch = 4096 / sizeof(T);

struct Layout {
  int n;
  std::vector<int> at;  // planted indices, ascending
};
template <class T>
std::vector<Layout> layouts() {
  constexpr int C = kStretch<T>;
  return {
      {3 * C + 7, {0, C - 1, C, 2 * C + 5, 3 * C + 6}},  // boundaries and the last tail lane
      {2 * C, {1, 2, 3, C + 17}},                         // several in one stretch, none in another
      {C + 3, {C + 1}},                                   // only in the tail
      {5 * C, {}},                                        // clean
      {37, {0, 36}},                                      // shorter than a stretch
  };
}

template <class T>
void run_all(const Kernel& k) {
  const auto kinds = plants<T>(k.op);
  for (const Layout& lay : layouts<T>()) {
    for (int place : {0, 1, 2}) {  // results apart, over a, over b
      if (place == 2 && k.op != Op::Div) continue;
      std::vector<T> a(lay.n), b(lay.n, T(1.5));
      for (int i = 0; i < lay.n; ++i) a[i] = T(1 + (i % 97)) / T(7);
      std::vector<std::pair<int, int>> want;
      for (size_t p = 0; p < lay.at.size(); ++p) {
        const Plant<T>& pl = kinds[p % kinds.size()];
        a[lay.at[p]] = pl.a;
        if (k.op == Op::Div) b[lay.at[p]] = pl.b;
        if (pl.status != 0) want.push_back({lay.at[p], pl.status});
      }
      std::vector<T> out(lay.n, T(-7));
      std::vector<T> arg = a, argb = b;
      T* r = place == 1 ? arg.data() : place == 2 ? argb.data() : out.data();
      g_reports.clear();
      zev_vqm_kernel_SetErrorCallBack(record);
      call<T>(k, lay.n, arg.data(), argb.data(), r);
      zev_vqm_kernel_ClearErrorCallBack();
      zev_vqm_kernel_ClearErrStatus();
      SCOPED_TRACE(testing::Message() << k.name << " n=" << lay.n << " place " << place);
      EXPECT_EQ(g_reports, want);
      for (int i = 0; i < lay.n; ++i) {
        const T e = apply<T>(k.op, a[i], b[i]);
        if (std::isnan(e)) {
          EXPECT_TRUE(std::isnan(r[i])) << "at " << i;
        } else {
          EXPECT_EQ(std::memcmp(&e, &r[i], sizeof(T)), 0) << "at " << i << ": " << r[i] << " want " << e;
        }
      }
    }
  }
}

TEST(AlgebraFlags, PlantedLanesReportInOrderAndOthersAreExact) {
  for (const Kernel& k : kKernels) {
    if (k.single)
      run_all<float>(k);
    else
      run_all<double>(k);
  }
}

// The caller's sticky flags survive a clean run, a run that raises a flag
// hands it back, and flags the caller had clear stay clear.
template <class T>
unsigned flags_after(const Kernel& k, unsigned preset, int plant_at) {
  const int n = 3 * kStretch<T>;
  std::vector<T> a(n, T(2)), b(n, T(4)), r(n);
  if (plant_at >= 0) a[plant_at] = T(-1), b[plant_at] = T(0);  // a pole, or a root of -1
  const unsigned saved = _mm_getcsr();
  _mm_setcsr((saved & ~0x3Fu) | preset);
  call<T>(k, n, a.data(), b.data(), r.data());
  const unsigned got = _mm_getcsr() & 0x1D;  // invalid, zero divide, overflow, underflow
  _mm_setcsr(saved);
  zev_vqm_kernel_ClearErrStatus();
  return got;
}

TEST(AlgebraFlags, CallerFlagsComeBackWithRaisedOnes) {
  struct Row {
    unsigned preset;
    int plant_at;  // -1: none
    unsigned want_div, want_sqrt;
  };
  constexpr unsigned kInvalid = 0x01, kZero = 0x04, kOver = 0x08, kUnder = 0x10;
  const Row rows[] = {
      {0, -1, 0, 0},
      {kOver | kUnder, -1, kOver | kUnder, kOver | kUnder},
      {0, 700, kZero, kInvalid},
      {kOver, 1500, kOver | kZero, kOver | kInvalid},
  };
  for (const Kernel& k : kKernels) {
    if (k.op == Op::Inv) continue;  // 1/2 and 1/-1 raise nothing
    for (const Row& row : rows) {
      const unsigned want = k.op == Op::Div ? row.want_div : row.want_sqrt;
      const unsigned got = k.single ? flags_after<float>(k, row.preset, row.plant_at)
                                    : flags_after<double>(k, row.preset, row.plant_at);
      EXPECT_EQ(got, want) << k.name << " preset " << row.preset << " plant " << row.plant_at;
    }
  }
}

}  // namespace
