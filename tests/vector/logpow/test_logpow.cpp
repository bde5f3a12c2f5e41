// Logarithms, powers and roots: the special-case table of
// docs/vector_logpow.md at every level, plain and strided, among ordinary
// lanes; every count on guarded buffers against one-element calls; in-place
// calls; errno and the callback on reports. Accuracy is measured by the ulp
// tool (ulp_quick).
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "guarded.h"
#include "zev/zev_vqm.h"

#include "fp.h"

namespace {

using zevtest::bits;

using zevtest::Guarded;

enum class Form { Unary, Binary, Powx };

Form form_of(const std::string& fn) {
  if (fn == "Pow" || fn == "Powr" || fn == "Hypot") return Form::Binary;
  if (fn == "Powx") return Form::Powx;
  return Form::Unary;
}

// One row of the table.
struct Case {
  std::string fn, prec, x, y, result;
  int status;
};

std::string trim(const std::string& s) {
  const size_t a = s.find_first_not_of(' '), b = s.find_last_not_of(' ');
  return a == std::string::npos ? "" : s.substr(a, b - a + 1);
}

std::vector<Case> load_table() {
  std::ifstream in(ZEV_LOGPOW_DOC);
  std::vector<Case> out;
  std::string line;
  bool on = false;
  while (std::getline(in, line)) {
    if (line.find("table begin") != std::string::npos) on = true;
    if (line.find("table end") != std::string::npos) on = false;
    if (!on || line.rfind("| ", 0) != 0 || line.find("---") != std::string::npos) continue;
    std::vector<std::string> cells;
    std::stringstream ss(line.substr(1));
    std::string c;
    while (std::getline(ss, c, '|')) cells.push_back(trim(c));
    if (cells.size() < 6 || cells[0] == "Row") continue;
    out.push_back({cells[0], cells[1], cells[2], cells[3], cells[4], std::atoi(cells[5].c_str())});
  }
  return out;
}

const std::vector<Case>& table() {
  static const std::vector<Case> t = load_table();
  return t;
}

template <class T>
T parse(const std::string& s) {
  if (s.empty()) return T(0);
  if (s == "1/3") return T(1) / T(3);
  if constexpr (sizeof(T) == 4)
    return std::strtof(s.c_str(), nullptr);
  else
    return std::strtod(s.c_str(), nullptr);
}

// The entry of a row at a level: _vqm<row><suffix>.
template <class T>
void* entry(const std::string& fn, int level, bool strided) {
  const bool single = sizeof(T) == 4;
  static const char* sfx[2][3] = {{"_50", "", "_26"}, {"_21", "", "_11"}};
  const std::string name =
      std::string("_vqm") + (single ? "s" : "d") + fn + (strided ? "I" : "") + sfx[single ? 1 : 0][level];
  void* p = dlsym(RTLD_DEFAULT, name.c_str());
  EXPECT_NE(p, nullptr) << name;
  return p;
}

// Calls a kernel on n elements; strided calls use inca 2, incb 3, incr 2.
template <class T>
struct Call {
  std::string fn;
  int level;
  bool strided;
  void* f = nullptr;

  Call(std::string name, int lvl, bool str) : fn(std::move(name)), level(lvl), strided(str) {
    f = entry<T>(fn, level, strided);
  }

  void operator()(int n, const T* a, const T* b, T bx, T* r) const {
    switch (form_of(fn)) {
      case Form::Unary:
        if (strided)
          reinterpret_cast<void (*)(int, const T*, int, T*, int)>(f)(n, a, 2, r, 2);
        else
          reinterpret_cast<void (*)(int, const T*, T*)>(f)(n, a, r);
        break;
      case Form::Binary:
        if (strided)
          reinterpret_cast<void (*)(int, const T*, int, const T*, int, T*, int)>(f)(n, a, 2, b, 3, r, 2);
        else
          reinterpret_cast<void (*)(int, const T*, const T*, T*)>(f)(n, a, b, r);
        break;
      case Form::Powx:
        if (strided)
          reinterpret_cast<void (*)(int, const T*, int, T, T*, int)>(f)(n, a, 2, bx, r, 2);
        else
          reinterpret_cast<void (*)(int, const T*, T, T*)>(f)(n, a, bx, r);
        break;
    }
  }
};

// Ordinary lanes: far from every special range (Powx keeps x = 1, which no
// exponent makes special).
template <class T>
T ordinary_x(const std::string& fn, int i) {
  return fn == "Powx" ? T(1) : T(1.5) + T(0.25) * T(i % 9);
}
template <class T>
T ordinary_y(int i) {
  return T(0.5) + T(0.125) * T(i % 7);
}

template <class T>
void check_case(const Case& c) {
  constexpr int n = 11, pos = 6;
  const T x = parse<T>(c.x), y = parse<T>(c.y), want = parse<T>(c.result);
  const bool want_nan = c.result == "NaN";
  for (int level = 0; level < 3; ++level) {
    for (bool strided : {false, true}) {
      SCOPED_TRACE(c.fn + (sizeof(T) == 4 ? " single" : " double") + " level " + std::to_string(level) +
                   (strided ? " strided" : "") + " x " + c.x + " y " + c.y);
      const int ia = strided ? 2 : 1, ib = strided ? 3 : 1;
      Guarded<T> a((n - 1) * ia + 1), b((n - 1) * ib + 1), r((n - 1) * ia + 1), clean((n - 1) * ia + 1);
      for (int i = 0; i < n; ++i) {
        a[i * ia] = ordinary_x<T>(c.fn, i);
        b[i * ib] = ordinary_y<T>(i);
      }
      const Call<T> call{c.fn, level, strided};
      zev_vqm_kernel_ClearErrStatus();
      call(n, a.data(), b.data(), y, clean.data());
      ASSERT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
      a[pos * ia] = x;
      b[pos * ib] = y;
      call(n, a.data(), b.data(), y, r.data());
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), c.status);
      const T got = r[pos * ia];
      if (want_nan)
        EXPECT_TRUE(std::isnan(got)) << got;
      else if (level == 2 && std::isfinite(want) && want != 0)  // EP: within its bound
        EXPECT_LE(std::fabs((static_cast<double>(got) - want) / want), sizeof(T) == 4 ? 0x1p-11 : 0x1p-26) << got;
      else
        EXPECT_EQ(bits(got), bits(want)) << got << " want " << want;
      for (int i = 0; i < n; ++i) {
        if (i != pos) {
          EXPECT_EQ(bits(r[i * ia]), bits(clean[i * ia])) << "lane " << i;
        }
      }
    }
  }
}

TEST(LogPowTable, EveryCaseAtEveryLevel) {
  ASSERT_GT(table().size(), 100u);
  for (const Case& c : table()) {
    if (c.prec.find('s') != std::string::npos) check_case<float>(c);
    if (c.prec.find('d') != std::string::npos) check_case<double>(c);
  }
}

// Inputs of every kind for one function: mostly ordinary, with the table's
// special inputs scattered in.
template <class T>
void inputs(const std::string& fn, int n, std::mt19937& g, T* a, T* b, T& bx) {
  std::vector<const Case*> sp;
  for (const Case& c : table())
    if (c.fn == fn && c.prec.find(sizeof(T) == 4 ? 's' : 'd') != std::string::npos) sp.push_back(&c);
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  bx = T(2.5);
  for (int i = 0; i < n; ++i) {
    const double m = std::ldexp(1.0 + std::fabs(u(g)), static_cast<int>(u(g) * 10));
    a[i] = static_cast<T>(fn == "Log1p" ? u(g) / 3 : (fn.rfind("Log", 0) == 0 || fn == "Ln" ? m : u(g) * m));
    b[i] = static_cast<T>(u(g) * 4);
    if (g() % 7 == 0 && !sp.empty()) {
      const Case& c = *sp[g() % sp.size()];
      a[i] = parse<T>(c.x);
      if (form_of(fn) == Form::Binary) b[i] = parse<T>(c.y);
    }
  }
}

template <class T>
void check_counts(const std::string& fn) {
  std::mt19937 g(1234);
  for (int level = 0; level < 3; ++level) {
    const Call<T> call{fn, level, false};
    for (int n : {0, 1, 3, 7, 8, 9, 33, 1000}) {
      SCOPED_TRACE(fn + (sizeof(T) == 4 ? " single" : " double") + " level " + std::to_string(level) + " n " +
                   std::to_string(n));
      for (size_t lead = 0; lead < 2; ++lead) {
        Guarded<T> a(n, lead), b(n, lead), r(n, lead), in_place(n, lead);
        T bx;
        inputs<T>(fn, n, g, a.data(), b.data(), bx);
        call(n, a.data(), b.data(), bx, r.data());
        for (int i = 0; i < n; ++i) in_place[i] = a[i];
        call(n, in_place.data(), b.data(), bx, in_place.data());
        for (int i = 0; i < n; ++i) {
          T one;
          call(1, &a[i], &b[i], bx, &one);
          ASSERT_EQ(bits(r[i]), bits(one)) << "element " << i << " of " << a[i];
          ASSERT_EQ(bits(in_place[i]), bits(one)) << "in place, element " << i;
        }
        EXPECT_TRUE(r.lead_intact());
        EXPECT_TRUE(in_place.lead_intact());
      }
    }
  }
}

std::set<std::string> functions() {
  std::set<std::string> f;
  for (const Case& c : table()) f.insert(c.fn);
  return f;
}

TEST(LogPowCounts, GuardedBuffersMatchOneElementCalls) {
  for (const std::string& fn : functions()) {
    check_counts<float>(fn);
    check_counts<double>(fn);
  }
}

// The strided form with stride 0 on the input broadcasts a[0]; with unit
// strides it is the plain kernel.
TEST(LogPowStrided, BroadcastAndUnitStride) {
  const double a[1] = {10.0};
  Guarded<double> r(5), p(5), q(5);
  _vqmdLog10I(5, a, 0, r.data(), 1);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(r[i], 1.0);
  Guarded<double> x(5);
  for (int i = 0; i < 5; ++i) x[i] = 0.3 * (i + 1);
  _vqmdLnI(5, x.data(), 1, p.data(), 1);
  _vqmdLn(5, x.data(), q.data());
  for (int i = 0; i < 5; ++i) EXPECT_EQ(bits(p[i]), bits(q[i]));
}

// Reports in the default mode set errno; the last report wins.
TEST(LogPowReports, ErrnoAndLastStatus) {
  const float a[5] = {1.0f, 0.0f, 2.0f, -1.0f, 3.0f};
  float r[5];
  zev_vqm_kernel_ClearErrStatus();
  errno = 0;
  _vqmsLn(2, a, r);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), VQM_STATUS_SINGULARITY);
  EXPECT_EQ(errno, ERANGE);
  errno = 0;
  _vqmsLn(5, a, r);
  EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), VQM_STATUS_DOMAIN);
  EXPECT_EQ(errno, EDOM);
  EXPECT_TRUE(std::isinf(r[1]) && r[1] < 0);
  EXPECT_TRUE(std::isnan(r[3]));
  zev_vqm_kernel_ClearErrStatus();
}

// A callback sees the element's index and arguments; with a zero return its
// changed result is what the array holds.
int g_calls = 0, g_index = -1;
double g_a1 = 0, g_a2 = 0;
int change_result(zev_vqm_error_record* rec) {
  ++g_calls;
  g_index = rec->index;
  g_a1 = rec->a1;
  g_a2 = rec->a2;
  rec->r1 = 42.0;
  return 0;
}

TEST(LogPowReports, CallbackSeesTheLaneAndMayChangeIt) {
  const unsigned old = zev_vqm_kernel_GetMode();
  zev_vqm_kernel_SetErrorCallBack(change_result);
  zev_vqm_kernel_SetMode((old & ~0xFF00u) | VQM_ERRMODE_CALLBACK);
  std::vector<double> x(9, 2.0), y(9, 3.0), r(9);
  x[5] = 0.0;
  y[5] = -3.0;
  _vqmdPow(9, x.data(), y.data(), r.data());
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(g_index, 5);
  EXPECT_EQ(g_a1, 0.0);
  EXPECT_EQ(g_a2, -3.0);
  EXPECT_EQ(r[5], 42.0);
  EXPECT_EQ(r[4], 8.0);
  zev_vqm_kernel_SetMode(old);
  zev_vqm_kernel_ClearErrorCallBack();
  zev_vqm_kernel_ClearErrStatus();
}

}  // namespace

namespace {

// The caller's rounding mode does not reach the arithmetic (which relies on
// round to nearest for its exact sums), and comes back after the call.
TEST(LogPowEnvironment, CallerRoundingIsIgnoredAndRestored) {
  constexpr int n = 37;
  std::vector<double> x(n), y(n), near(n), down(n);
  for (int i = 0; i < n; ++i) {
    x[i] = 0.37 + 0.91 * i;
    y[i] = 0.5 + 0.07 * i;
  }
  for (bool second : {false, true}) {
    std::vector<double>& out = second ? down : near;
    const unsigned csr = _mm_getcsr();
    if (second) _mm_setcsr((csr & ~0x6000u) | 0x2000u);  // round down
    _vqmdLn(n, x.data(), out.data());
    const unsigned after = _mm_getcsr();
    _mm_setcsr(csr);
    if (second) {
      EXPECT_EQ(after & 0x6000u, 0x2000u);
    }
  }
  for (int i = 0; i < n; ++i) EXPECT_EQ(bits(near[i]), bits(down[i])) << x[i];
  std::vector<double> p1(n), p2(n);
  _vqmdPow(n, x.data(), y.data(), p1.data());
  const unsigned csr = _mm_getcsr();
  _mm_setcsr((csr & ~0x6000u) | 0x6000u);  // toward zero
  _vqmdPow(n, x.data(), y.data(), p2.data());
  _mm_setcsr(csr);
  for (int i = 0; i < n; ++i) EXPECT_EQ(bits(p1[i]), bits(p2[i])) << x[i] << " ^ " << y[i];
}

}  // namespace
