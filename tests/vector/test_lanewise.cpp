// Lane-wise kernels: rounding, Frac, Abs, Add, Sub, Mul, Sqr in single and
// double, plain and strided, against independent scalar references, on guarded
// buffers, for every count and alignment; and the floating-point environment
// of the caller, which every kernel must hand back as it found it.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "guarded.h"
#include "zev/zev_vqm.h"

#include "fp.h"

namespace {

using zevtest::Guarded;

template <class T>
using Bits = zevtest::FpBits<T>;
using zevtest::bits;
using zevtest::from_bits;
using zevtest::same;

template <class T>
T quiet(T x) {
  return from_bits<T>(bits(x) | Bits<T>::kQuiet);
}

// ---- references, written from the functions' definitions -------------------
// NaN inputs come out quiet with their payload and sign (except strided Abs,
// which only clears the sign bit).
template <class T>
T ref_unary(const std::string& f, T x, bool strided) {
  if (f == "Abs") {
    if (strided) return from_bits<T>(bits(x) & ~Bits<T>::kSign);
    return std::isnan(x) ? quiet(x) : std::fabs(x);
  }
  if (std::isnan(x)) return quiet(x);
  if (f == "Ceil") return std::ceil(x);
  if (f == "Floor") return std::floor(x);
  if (f == "Trunc") return std::trunc(x);
  if (f == "Rint" || f == "NearbyInt") return std::nearbyint(x);  // tests run rounding to nearest
  if (f == "Round") return std::round(x);
  if (f == "Frac") return std::isinf(x) ? std::copysign(T(0), x) : std::copysign(x - std::trunc(x), x);
  if (f == "Sqr") return x * x;
  ADD_FAILURE() << "no reference for " << f;
  return 0;
}

template <class T>
T ref_binary(const std::string& f, T a, T b) {
  if (f == "Add") return a + b;
  if (f == "Sub") return a - b;
  if (f == "Mul") return a * b;
  ADD_FAILURE() << "no reference for " << f;
  return 0;
}

// Arithmetic results match as bits, any NaN matching any NaN (which of two
// NaN operands survives is the hardware's choice); the rounding family must
// match NaNs bit for bit.
// Inputs that exercise every path: ties, near-integers, the 2^23/2^52 edge,
// signed zeros, denormals, infinities, quiet and signalling NaNs, random bits.
template <class T>
std::vector<T> inputs(size_t n, uint32_t seed) {
  using U = typename Bits<T>::U;
  const T big = sizeof(T) == 4 ? T(8388608.0) : T(4503599627370496.0);
  std::vector<T> fixed = {T(0.5), T(1.5), T(2.5), T(-2.5), T(3.5), T(-0.5), T(0.49999997), T(-0.3), T(0.3),
                          T(-0.7), T(0.0), T(-0.0), big, -big, big + 1, big - T(0.5), T(8388609.0),
                          std::numeric_limits<T>::denorm_min(), -std::numeric_limits<T>::denorm_min(),
                          std::numeric_limits<T>::infinity(), -std::numeric_limits<T>::infinity(),
                          std::numeric_limits<T>::quiet_NaN(), -std::numeric_limits<T>::quiet_NaN(),
                          from_bits<T>(Bits<T>::kExp | 1),                  // signalling NaN
                          from_bits<T>(Bits<T>::kSign | Bits<T>::kExp | 5),  // negative signalling NaN
                          std::numeric_limits<T>::max(), std::numeric_limits<T>::min(), T(1e-30), T(-123.75)};
  std::mt19937_64 rng(seed);
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) {
    switch (rng() % 4) {
      case 0: v[i] = fixed[rng() % fixed.size()]; break;
      case 1: v[i] = from_bits<T>(static_cast<U>(rng())); break;
      case 2: v[i] = static_cast<T>(static_cast<int>(rng() % 2001) - 1000) * T(0.25); break;
      default: v[i] = static_cast<T>(std::ldexp(double(rng() % 100000) - 50000, -int(rng() % 16))); break;
    }
  }
  return v;
}

template <class T>
using Unary = void (*)(int, const T*, T*);
template <class T>
using UnaryI = void (*)(int, const T*, int, T*, int);
template <class T>
using Binary = void (*)(int, const T*, const T*, T*);
template <class T>
using BinaryI = void (*)(int, const T*, int, const T*, int, T*, int);

template <class T>
struct UnaryCase {
  const char* name;
  Unary<T> plain;
  UnaryI<T> strided;
};
template <class T>
struct BinaryCase {
  const char* name;
  Binary<T> plain;
  BinaryI<T> strided;
};

#define ZEV_U(p, f) {#f, _vqm##p##f, _vqm##p##f##I}
const UnaryCase<float> kUnaryS[] = {ZEV_U(s, Ceil), ZEV_U(s, Floor), ZEV_U(s, Trunc), ZEV_U(s, Rint),
                                    ZEV_U(s, NearbyInt), ZEV_U(s, Round), ZEV_U(s, Frac), ZEV_U(s, Abs),
                                    ZEV_U(s, Sqr)};
const UnaryCase<double> kUnaryD[] = {ZEV_U(d, Ceil), ZEV_U(d, Floor), ZEV_U(d, Trunc), ZEV_U(d, Rint),
                                     ZEV_U(d, NearbyInt), ZEV_U(d, Round), ZEV_U(d, Frac), ZEV_U(d, Abs),
                                     ZEV_U(d, Sqr)};
const BinaryCase<float> kBinaryS[] = {ZEV_U(s, Add), ZEV_U(s, Sub), ZEV_U(s, Mul)};
const BinaryCase<double> kBinaryD[] = {ZEV_U(d, Add), ZEV_U(d, Sub), ZEV_U(d, Mul)};
#undef ZEV_U

const int kCounts[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 65, 1000};

bool rounding_family(const std::string& f) { return f != "Sqr" && f != "Abs"; }

template <class T>
void check_unary(const UnaryCase<T>& c) {
  const std::string f = c.name;
  for (int n : kCounts)
    for (size_t lead = 0; lead < 16 / sizeof(T); ++lead) {
      const std::vector<T> in = inputs<T>(n, 1000u * n + lead);
      Guarded<T> a(n, lead), r(n, (lead + 1) % (16 / sizeof(T)));
      std::copy(in.begin(), in.end(), a.begin());
      c.plain(n, a.data(), r.data());
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(same(r[i], ref_unary(f, in[i], false), !(rounding_family(f) || f == "Abs")))
            << f << " n=" << n << " i=" << i << " x=" << in[i] << " got " << r[i];
      EXPECT_TRUE(a.lead_intact() && r.lead_intact());
      // In place: the same values.
      c.plain(n, a.data(), a.data());
      for (int i = 0; i < n; ++i) ASSERT_TRUE(same(a[i], r[i], false)) << f << " in place, i=" << i;
    }
}

template <class T>
void check_unary_strided(const UnaryCase<T>& c) {
  const std::string f = c.name;
  const int strides[][2] = {{1, 1}, {2, 1}, {1, 3}, {3, 2}, {0, 1}, {5, 5}};
  for (const auto& s : strides)
    for (int n : kCounts) {
      const int inca = s[0], incr = s[1];
      const size_t na = n ? size_t(inca) * (n - 1) + 1 : 0, nr = n ? size_t(incr) * (n - 1) + 1 : 0;
      const std::vector<T> in = inputs<T>(na, 77u * n + inca);
      Guarded<T> a(na), r(nr);
      std::copy(in.begin(), in.end(), a.begin());
      for (size_t i = 0; i < nr; ++i) r[i] = T(-7);
      c.strided(n, a.data(), inca, r.data(), incr);
      for (int i = 0; i < n; ++i) {
        const T x = in[size_t(i) * inca];
        // With unit strides the plain kernel runs: Abs then multiplies.
        const bool plain = inca == 1 && incr == 1;
        ASSERT_TRUE(same(r[size_t(i) * incr], ref_unary(f, x, !plain), !(rounding_family(f) || f == "Abs")))
            << f << "I n=" << n << " inca=" << inca << " incr=" << incr << " i=" << i;
      }
      for (size_t j = 0; j < nr; ++j) {
        if (j % incr != 0) {
          ASSERT_EQ(r[j], T(-7)) << f << "I wrote between its strides";
        }
      }
    }
}

template <class T>
void check_binary(const BinaryCase<T>& c) {
  const std::string f = c.name;
  for (int n : kCounts)
    for (size_t la = 0; la < 16 / sizeof(T); ++la)
      for (size_t lr = 0; lr < 16 / sizeof(T); ++lr) {
        const std::vector<T> x = inputs<T>(n, 5u * n + la), y = inputs<T>(n, 9u * n + lr + 1);
        Guarded<T> a(n, la), b(n, (la + lr) % (16 / sizeof(T))), r(n, lr);
        std::copy(x.begin(), x.end(), a.begin());
        std::copy(y.begin(), y.end(), b.begin());
        c.plain(n, a.data(), b.data(), r.data());
        for (int i = 0; i < n; ++i)
          ASSERT_TRUE(same(r[i], ref_binary(f, x[i], y[i]), true)) << f << " n=" << n << " i=" << i;
        // r the same as a, r the same as b, a the same as b.
        c.plain(n, a.data(), b.data(), a.data());
        for (int i = 0; i < n; ++i) ASSERT_TRUE(same(a[i], r[i], true)) << f << " r==a i=" << i;
        std::copy(x.begin(), x.end(), a.begin());
        c.plain(n, a.data(), b.data(), b.data());
        for (int i = 0; i < n; ++i) ASSERT_TRUE(same(b[i], r[i], true)) << f << " r==b i=" << i;
        c.plain(n, a.data(), a.data(), r.data());
        for (int i = 0; i < n; ++i) ASSERT_TRUE(same(r[i], ref_binary(f, x[i], x[i]), true)) << f << " a==b";
      }
  // Strided forms, stride 0 on an input broadcasting its first element.
  const int strides[][3] = {{2, 1, 1}, {1, 0, 1}, {0, 2, 3}, {3, 3, 2}};
  for (const auto& s : strides)
    for (int n : kCounts) {
      const size_t na = n ? size_t(s[0]) * (n - 1) + 1 : 0, nb = n ? size_t(s[1]) * (n - 1) + 1 : 0,
                   nr = n ? size_t(s[2]) * (n - 1) + 1 : 0;
      const std::vector<T> x = inputs<T>(na, 3u * n), y = inputs<T>(nb, 11u * n);
      Guarded<T> a(na), b(nb), r(nr);
      std::copy(x.begin(), x.end(), a.begin());
      std::copy(y.begin(), y.end(), b.begin());
      c.strided(n, a.data(), s[0], b.data(), s[1], r.data(), s[2]);
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(same(r[size_t(i) * s[2]], ref_binary(f, x[size_t(i) * s[0]], y[size_t(i) * s[1]]), true))
            << f << "I i=" << i;
    }
}

TEST(LaneWise, UnarySingle) {
  for (const auto& c : kUnaryS) check_unary(c);
}
TEST(LaneWise, UnaryDouble) {
  for (const auto& c : kUnaryD) check_unary(c);
}
TEST(LaneWise, UnaryStrided) {
  for (const auto& c : kUnaryS) check_unary_strided(c);
  for (const auto& c : kUnaryD) check_unary_strided(c);
}
TEST(LaneWise, Binary) {
  for (const auto& c : kBinaryS) check_binary(c);
  for (const auto& c : kBinaryD) check_binary(c);
}

// Cases the definitions single out.
TEST(LaneWise, NamedCases) {
  struct Case {
    void (*f)(int, const float*, float*);
    float x, want;
  } cases[] = {
      {_vqmsRint, 2.5f, 2.0f},   {_vqmsCeil, -0.7f, -0.0f}, {_vqmsCeil, -0.5f, -0.0f},   {_vqmsRound, 2.5f, 3.0f},   {_vqmsRound, 3.5f, 4.0f},
      {_vqmsRound, -2.5f, -3.0f}, {_vqmsRound, 0.49999997f, 0.0f}, {_vqmsCeil, -0.3f, -0.0f},
      {_vqmsFloor, -0.0f, -0.0f}, {_vqmsTrunc, -0.7f, -0.0f}, {_vqmsFloor, 0.3f, 0.0f},
      {_vqmsCeil, 8388609.0f, 8388609.0f}, {_vqmsFrac, -INFINITY, -0.0f}, {_vqmsFrac, INFINITY, 0.0f},
  };
  for (const Case& c : cases) {
    float r = 1.0f;
    c.f(1, &c.x, &r);
    EXPECT_EQ(bits(r), bits(c.want)) << c.x;
  }
}

// Plain Abs multiplies, strided Abs clears the bit: a signalling NaN comes
// out quiet from one and signalling from the other.
TEST(LaneWise, AbsOfSignallingNan) {
  const float snan = from_bits<float>(0xFF800001u);
  float r[2] = {0, 0};
  _vqmsAbs(1, &snan, r);
  EXPECT_EQ(bits(r[0]), 0xFFC00001u);
  _vqmsAbsI(1, &snan, 1, r, 2);  // unit input stride, result stride 2: the strided kernel
  EXPECT_EQ(bits(r[0]), 0x7F800001u);
}

// Two NaN operands: the result is the first operand's NaN, quieted, in the
// plain and strided forms, at every lane position of a block, peeled or not.
template <class T>
void check_first_payload(const BinaryCase<T>& c) {
  const int strides[][3] = {{1, 1, 1}, {2, 1, 1}, {1, 3, 1}, {2, 2, 2}, {3, 1, 2}, {0, 2, 1}};
  for (const auto& s : strides)
    for (int n : kCounts) {
      const size_t na = n ? size_t(s[0]) * (n - 1) + 1 : 0, nb = n ? size_t(s[1]) * (n - 1) + 1 : 0,
                   nr = n ? size_t(s[2]) * (n - 1) + 1 : 0;
      Guarded<T> a(na), b(nb), r(nr);
      // Distinct payloads a lane, one operand of them signalling.
      for (size_t i = 0; i < na; ++i) a[i] = from_bits<T>(Bits<T>::kExp | Bits<T>::kQuiet | (2 * i + 1));
      for (size_t i = 0; i < nb; ++i) b[i] = from_bits<T>(Bits<T>::kExp | ((2 * i + 2) << 4));
      c.strided(n, a.data(), s[0], b.data(), s[1], r.data(), s[2]);
      for (int i = 0; i < n; ++i)
        ASSERT_EQ(bits(r[size_t(i) * s[2]]), bits(a[size_t(i) * s[0]]))
            << c.name << "I n=" << n << " strides " << s[0] << "," << s[1] << "," << s[2] << " i=" << i;
      if (s[0] == 1 && s[1] == 1 && s[2] == 1) {
        c.plain(n, a.data(), b.data(), r.data());
        for (int i = 0; i < n; ++i) ASSERT_EQ(bits(r[i]), bits(a[i])) << c.name << " n=" << n << " i=" << i;
      }
    }
}

TEST(LaneWise, TwoNansGiveTheFirstOperandsPayload) {
  for (const auto& c : kBinaryS) check_first_payload(c);
  for (const auto& c : kBinaryD) check_first_payload(c);
}

// The peeled kernels go to their scalar loop when r is not even element
// aligned; the results stay those of one IEEE operation.
#if !defined(__SANITIZE_ADDRESS__)
TEST(LaneWise, AddWithOddlyAlignedResult) {
  const int n = 100;
  std::vector<float> a(n), b(n);
  for (int i = 0; i < n; ++i) a[i] = 0.1f * i, b[i] = 3.0f - i;
  zevtest::GuardedBytes raw(n * sizeof(float) + 2);
  float* r = reinterpret_cast<float*>(raw.data() + 2);
  _vqmsAdd(n, a.data(), b.data(), r);
  for (int i = 0; i < n; ++i) {
    float v;
    memcpy(&v, raw.data() + 2 + 4 * i, 4);
    ASSERT_EQ(v, a[i] + b[i]);
  }
}
#endif

// Negative counts: the kernels that test the count as signed write nothing.
TEST(LaneWise, NegativeCountIsEmpty) {
  float a[4] = {1, 2, 3, 4}, r[4] = {9, 9, 9, 9};
  _vqmsAdd(-3, a, a, r);
  _vqmsMul(-1, a, a, r);
  _vqmsSqr(-8, a, r);
  _vqmsAbs(-2, a, r);
  _vqmsCeilI(-5, a, 1, r, 2);
  for (float v : r) EXPECT_EQ(v, 9.0f);
}

// ---- the caller's floating-point environment --------------------------------

using zevtest::x87_control;
using zevtest::x87_load_control;

TEST(LaneWise, CallerEnvironmentComesBack) {
  const uint32_t rounding[] = {0x0000, 0x2000, 0x4000, 0x6000};
  const uint32_t flush[] = {0x0000, 0x8040};  // none, FTZ and DAZ
  const uint32_t masks[] = {0x1F80, 0x1F00};  // all masked; invalid unmasked
  const uint16_t x87[] = {0x037F, 0x0372};
  // Every kernel of the family, plain and strided, and an empty call.
  std::vector<std::function<void(float*, float*)>> calls = {[](float* a, float* r) { _vqmsRound(0, a, r); }};
  for (const auto& c : kUnaryS) {
    calls.push_back([&c](float* a, float* r) { c.plain(33, a, r); });
    calls.push_back([&c](float* a, float* r) { c.strided(9, a, 2, r, 3); });
  }
  for (const auto& c : kBinaryS) {
    calls.push_back([&c](float* a, float* r) { c.plain(33, a, a, r); });
    calls.push_back([&c](float* a, float* r) { c.strided(9, a, 2, a, 0, r, 3); });
  }
  for (const auto& c : kUnaryD)
    calls.push_back([&c](float* a, float* r) { c.plain(16, reinterpret_cast<double*>(a), reinterpret_cast<double*>(r)); });
  alignas(16) float a[100], r[100];
  for (int i = 0; i < 100; ++i) a[i] = 0.3f * i - 7.1f;
  const uint32_t saved = _mm_getcsr();
  const uint16_t saved_x87 = x87_control();
  for (auto& call : calls)
    for (uint32_t rc : rounding)
      for (uint32_t fz : flush)
        for (uint32_t m : masks)
          for (uint16_t cw : x87) {
            const uint32_t csr = rc | fz | m | 0x01;  // a sticky invalid flag already set
            x87_load_control(cw);
            _mm_setcsr(csr);
            call(a, r);
            const uint32_t after = _mm_getcsr();
            const uint16_t after_x87 = x87_control();
            _mm_setcsr(saved);
            x87_load_control(saved_x87);
            ASSERT_EQ(after & 0xFFC0, csr & 0xFFC0) << std::hex << csr;
            ASSERT_TRUE(after & 0x01) << "sticky flag lost";
            ASSERT_EQ(after_x87, cw);
          }
}

TEST(LaneWise, RintIgnoresCallerRounding) {
  const float x = 1.5f;
  float r = 0;
  const uint32_t saved = _mm_getcsr();
  _mm_setcsr((saved & ~0x6000u & ~0x3Fu) | 0x2000);  // round down, flags clear
  _vqmsRint(1, &x, &r);
  const uint32_t after = _mm_getcsr();
  _mm_setcsr(saved);
  EXPECT_EQ(r, 2.0f);
  EXPECT_EQ(after & 0x6000, 0x2000u);
  EXPECT_TRUE(after & 0x20) << "inexact should show";
}

TEST(LaneWise, DenormalFieldFlushesInsideOnly) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_FTZDAZ_ON);
  const float d = std::numeric_limits<float>::denorm_min();
  const float a[1] = {d}, zero[1] = {0.0f};
  float r[1] = {1.0f};
  const uint32_t saved = _mm_getcsr();
  _vqmsAdd(1, a, zero, r);
  EXPECT_EQ(_mm_getcsr() & 0xFFC0, saved & 0xFFC0);
  EXPECT_EQ(r[0], 0.0f);
  _vqmsAbs(1, a, r);  // plain Abs reads no mode: the denormal stays
  EXPECT_EQ(r[0], d);
  _vqmsAbsI(1, a, 1, r, 2);
  EXPECT_EQ(r[0], d);
  zev_vqm_kernel_SetMode(VQM_FTZDAZ_OFF);
  _vqmsAdd(1, a, zero, r);
  EXPECT_EQ(r[0], d);
  zev_vqm_kernel_SetMode(old);
}

}  // namespace
