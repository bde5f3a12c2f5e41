// Uniform and bit generators: the mapping of each basic generator's words to
// values (computed here from the generator's own words), the split rule, the
// widths each generator can supply, the clamp of the accurate form, the floor
// of the integer form, and statuses passed back from the basic generator.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "dist_support.h"
#include "guarded.h"

namespace {

using disttest::Stream;

double bits_to_double(uint64_t b) {
  double d;
  std::memcpy(&d, &b, 8);
  return d;
}

// How a generator turns its integer word into a value on [a, b).
enum class Map { U32, MRG, MCG31, MCG59, Mid32, WH };

struct Gen {
  const char* name;
  int id;
  std::vector<unsigned> seed;
  Map map;
  bool single_in_float;  // the single form rounds in float arithmetic
  bool bits32;           // can give 32-bit and 64-bit words
};

bool have_aes() { return __vqsCPUisAES() != 0; }

std::vector<Gen> generators() {
  std::vector<Gen> g = {
      {"MCG31M1", ZEV_BRNG_MCG31M1, {12345}, Map::MCG31, false, false},
      {"R250", ZEV_BRNG_R250, {777}, Map::U32, false, false},
      {"MRG32K3A", ZEV_BRNG_MRG32K3A, {1, 2, 3, 4, 5, 6}, Map::MRG, false, false},
      {"MCG59", ZEV_BRNG_MCG59, {0x9ABCDEF, 0x123}, Map::MCG59, false, true},
      {"WH", ZEV_BRNG_WH, {11, 22, 33, 44}, Map::WH, false, false},
      {"Sobol", ZEV_BRNG_SOBOL, {1}, Map::U32, true, false},
      {"Niederr", ZEV_BRNG_NIEDERR, {1}, Map::U32, true, false},
      {"MT19937", ZEV_BRNG_MT19937, {5489}, Map::U32, false, true},
      {"MT2203", ZEV_BRNG_MT2203 + 3, {99}, Map::U32, false, true},
      {"SFMT19937", ZEV_BRNG_SFMT19937, {4321}, Map::U32, false, true},
      {"PHILOX4X32X10", ZEV_BRNG_PHILOX4X32X10, {7, 8, 0xFFFFFFFF}, Map::Mid32, false, true},
  };
  if (have_aes()) g.push_back({"ARS5", ZEV_BRNG_ARS5, {1, 2, 3}, Map::Mid32, false, true});
  return g;
}

// Words as 32-bit units (wordBytes / 4 per word).
std::vector<unsigned> words(void* s, int n) {
  const BrngRow& row = zevtest::row_of_stream(s);
  std::vector<unsigned> w(size_t(n) * row.wordBytes / 4);
  EXPECT_EQ(_vqsiRngUniformBits(0, s, n, w.data()), 0);
  return w;
}

// The value the generator's conversion gives for word k, in double.
double expect_double(const Gen& g, const std::vector<unsigned>& w, int k, double a, double b) {
  switch (g.map) {
    case Map::U32:
      return double(w[k]) * ((b - a) * 0x1p-32) + a;
    case Map::MRG:
      return double(w[k]) * ((b - a) * bits_to_double(0x3DF000000D10000Bull)) + a;
    case Map::MCG31:
      return double(w[k]) * ((b - a) * bits_to_double(0x3E00000000200000ull)) + a;
    case Map::MCG59: {
      const double s = (b - a) * 0x1p-59;
      return double(w[2 * k]) * s + double(w[2 * k + 1]) * 0x1p32 * s + a;
    }
    case Map::Mid32:
      return double(int32_t(w[k])) * ((b - a) * 0x1p-32) + (a + b) / 2;
    case Map::WH: {
      // Member 0: the published moduli. The fraction of the sum of v / m.
      static const double m[4] = {0xFFE657, 0xFFE653, 0xFFE63F, 0xFFE639};
      long double sum = 0;
      for (int j = 0; j < 4; ++j) sum += w[4 * k + j] / (long double)m[j];
      const double u = double(sum - std::floor(sum));
      return u * (b - a) + a;
    }
  }
  return 0;
}

float expect_float(const Gen& g, const std::vector<unsigned>& w, int k, float a, float b) {
  if (g.map == Map::MCG59) {
    const double s = (double(b) - double(a)) * 0x1p-59;
    return float((double(w[2 * k]) + double(w[2 * k + 1]) * 0x1p32) * s + double(a));
  }
  return float(expect_double(g, w, k, a, b));
}

struct Range {
  double a, b;
};
const Range kRanges[] = {{0.0, 1.0}, {-3.0, 5.5}, {2.0, 2.0}, {1e6, -1e-3}};

TEST(Uniform, WordsMapToValuesByTheGeneratorsConversion) {
  constexpr int n = 2100;  // past the generators' blocks and refills
  for (const Gen& g : generators()) {
    for (const Range& rg : kRanges) {
      Stream sw(g.id, g.seed), sd(g.id, g.seed), sf(g.id, g.seed);
      const std::vector<unsigned> w = words(sw, n);
      zevtest::Guarded<double> d(n, 2);
      zevtest::Guarded<float> f(n, 2);
      ASSERT_EQ(_vqsdRngUniform(0, sd, n, d.data(), rg.a, rg.b), 0) << g.name;
      ASSERT_EQ(_vqssRngUniform(0, sf, n, f.data(), float(rg.a), float(rg.b)), 0) << g.name;
      EXPECT_TRUE(d.lead_intact() && f.lead_intact()) << g.name;
      int bad_d = 0, bad_f = 0;
      for (int k = 0; k < n; ++k) {
        const double ed = expect_double(g, w, k, rg.a, rg.b);
        const double tol_d = g.map == Map::WH ? 8e-15 * (std::fabs(rg.b - rg.a) + std::fabs(rg.a)) : 0;
        if (!(std::fabs(d[k] - ed) <= tol_d)) ++bad_d;
        const float ef = expect_float(g, w, k, float(rg.a), float(rg.b));
        const float tol_f = (g.single_in_float || g.map == Map::WH)
                                ? 2 * std::nextafter(std::fabs(ef), INFINITY) - 2 * std::fabs(ef) +
                                      1e-7f * std::fabs(float(rg.b - rg.a))
                                : 0;
        if (!(std::fabs(f[k] - ef) <= tol_f)) ++bad_f;
      }
      EXPECT_EQ(bad_d, 0) << g.name << " double, range " << rg.a << ".." << rg.b;
      EXPECT_EQ(bad_f, 0) << g.name << " single, range " << rg.a << ".." << rg.b;
    }
  }
}

// Draws n values of one form with one call, and with calls of the sizes in
// `pieces` (summing to n), and compares the bits.
template <class T>
void expect_split_rule(const Gen& g, int n, const std::vector<int>& pieces,
                       const std::function<int(void*, int, T*)>& call, const char* form) {
  Stream one(g.id, g.seed), many(g.id, g.seed);
  std::vector<T> x(n), y(n);
  ASSERT_EQ(call(one, n, x.data()), 0);
  int at = 0;
  for (int p : pieces) {
    ASSERT_EQ(call(many, p, y.data() + at), 0);
    at += p;
  }
  ASSERT_EQ(at, n);
  EXPECT_EQ(std::memcmp(x.data(), y.data(), n * sizeof(T)), 0) << g.name << " " << form;
}

TEST(Uniform, OneCallGivesWhatPiecesGive) {
  const int n = 5000;
  const std::vector<int> pieces = {1, 1023, 1025, 7, 2048, 896};
  for (const Gen& g : generators()) {
    const int wb = zevtest::row_of_stream(Stream(g.id, g.seed)).wordBytes;
    expect_split_rule<double>(g, n, pieces, [](void* s, int m, double* r) {
      return _vqsdRngUniform(0, s, m, r, -2.0, 3.0);
    }, "double");
    expect_split_rule<double>(g, n, pieces, [](void* s, int m, double* r) {
      return _vqsdRngUniform(ZEV_RNG_METHOD_ACCURATE, s, m, r, -2.0, 3.0);
    }, "double accurate");
    expect_split_rule<float>(g, n, pieces, [](void* s, int m, float* r) {
      return _vqssRngUniform(ZEV_RNG_METHOD_ACCURATE, s, m, r, -2.0f, 3.0f);
    }, "single");
    expect_split_rule<int32_t>(g, n, pieces, [](void* s, int m, int32_t* r) {
      return _vqsiRngUniform(0, s, m, r, -1000, 1000);
    }, "integer");
    // Bits: words of 4, 8 or 16 bytes, held as 16-byte elements.
    struct W16 { unsigned u[4]; };
    expect_split_rule<W16>(g, n, pieces, [wb](void* s, int m, W16* r) {
      std::vector<unsigned> tmp(size_t(m) * wb / 4 + 1);
      const int st = _vqsiRngUniformBits(0, s, m, tmp.data());
      std::memset(static_cast<void*>(r), 0, size_t(m) * sizeof(W16));
      for (int k = 0; k < m; ++k) std::memcpy(&r[k], tmp.data() + size_t(k) * wb / 4, wb);
      return st;
    }, "bits");
    if (g.bits32) {
      expect_split_rule<unsigned>(g, n, pieces, [](void* s, int m, unsigned* r) {
        return _vqsiRngUniformBits32(0, s, m, r);
      }, "bits32");
      expect_split_rule<unsigned long long>(g, n, pieces, [](void* s, int m, unsigned long long* r) {
        return _vqsiRngUniformBits64(0, s, m, r);
      }, "bits64");
    }
  }
}

TEST(Uniform, Bits32AndBits64AreTheWordSequence) {
  constexpr int n = 4200;  // two whole MCG59 blocks of 2048 and a rest
  for (const Gen& g : generators()) {
    Stream sw(g.id, g.seed), s32(g.id, g.seed), s64(g.id, g.seed);
    zevtest::Guarded<unsigned> b32(n, 2);
    zevtest::Guarded<unsigned long long> b64(n / 2, 2);
    const int st32 = _vqsiRngUniformBits32(0, s32, n, b32.data());
    const int st64 = _vqsiRngUniformBits64(0, s64, n / 2, b64.data());
    EXPECT_TRUE(b32.lead_intact() && b64.lead_intact()) << g.name;
    if (!g.bits32) {
      EXPECT_EQ(st32, ZEV_VQS_ERR_BIT_WIDTH) << g.name;
      EXPECT_EQ(st64, ZEV_VQS_ERR_BIT_WIDTH) << g.name;
      // Refused: neither stream moved.
      const std::vector<unsigned> w = words(sw, 3), w32 = words(s32, 3), w64 = words(s64, 3);
      EXPECT_EQ(w, w32) << g.name;
      EXPECT_EQ(w, w64) << g.name;
      continue;
    }
    ASSERT_EQ(st32, 0) << g.name;
    ASSERT_EQ(st64, 0) << g.name;
    const std::vector<unsigned> w = words(sw, n);
    std::vector<unsigned> expect(n);
    for (int k = 0; k < n; ++k)
      expect[k] = g.map == Map::MCG59
                      ? unsigned(((uint64_t(w[2 * k + 1]) << 32) | w[2 * k]) >> 27)
                      : w[k];
    int bad32 = 0, bad64 = 0;
    for (int k = 0; k < n; ++k) bad32 += b32[k] != expect[k];
    for (int k = 0; k < n / 2; ++k)
      bad64 += b64[k] != (uint64_t(expect[2 * k + 1]) << 32 | expect[2 * k]);
    EXPECT_EQ(bad32, 0) << g.name;
    EXPECT_EQ(bad64, 0) << g.name;
  }
}

TEST(Uniform, AbstractAndRegisteredStreamsRefuseFixedWidths) {
  unsigned ibuf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  void* s = nullptr;
  ASSERT_EQ(__vqsiNewAbstractStream(&s, 8, ibuf,
                                    [](void*, unsigned*, unsigned*, unsigned*, unsigned*,
                                       unsigned*) { return 0; }),
            0);
  unsigned r32[4];
  unsigned long long r64[4];
  EXPECT_EQ(_vqsiRngUniformBits32(0, s, 4, r32), ZEV_VQS_ERR_BIT_WIDTH);
  EXPECT_EQ(_vqsiRngUniformBits64(0, s, 2, r64), ZEV_VQS_ERR_BIT_WIDTH);
  // The words themselves come through UniformBits.
  EXPECT_EQ(_vqsiRngUniformBits(0, s, 4, r32), 0);
  EXPECT_EQ(r32[0], 1u);
  EXPECT_EQ(r32[3], 4u);
  __vqsDeleteStream(&s);

  // A generator registered by a caller: MT19937's row under a new id.
  BrngRow row{};
  ASSERT_EQ(__vqsGetBrngProperties(ZEV_BRNG_MT19937, &row), 0);
  const int id = __vqsRegisterBrng(&row);
  ASSERT_GT(id, 0);
  Stream reg(id, {5489}), mt(ZEV_BRNG_MT19937, {5489});
  EXPECT_EQ(_vqsiRngUniformBits32(0, reg, 4, r32), ZEV_VQS_ERR_BIT_WIDTH);
  EXPECT_EQ(_vqsiRngUniformBits64(0, reg, 2, r64), ZEV_VQS_ERR_BIT_WIDTH);
  EXPECT_EQ(words(reg, 4), words(mt, 4));
}

TEST(Uniform, AccurateFormClampsExactlyTheGeneratedValues) {
  // Ranges where a + (b - a) u can round onto or past an end.
  const Range ranges[] = {{0.1, 0.7}, {1.0, 1.0 + 0x1p-50}, {-1e-300, 1e-300}, {3.0, 3.0}};
  for (const Range& rg : ranges) {
    for (int id : {ZEV_BRNG_MT19937, ZEV_BRNG_MCG59, ZEV_BRNG_WH}) {
      const int n = 3001;
      Stream plain(id, {42}), acc(id, {42}), fplain(id, {42}), facc(id, {42});
      std::vector<double> x(n), y(n);
      std::vector<float> fx(n), fy(n);
      ASSERT_EQ(_vqsdRngUniform(0, plain, n, x.data(), rg.a, rg.b), 0);
      ASSERT_EQ(_vqsdRngUniform(ZEV_RNG_METHOD_ACCURATE, acc, n, y.data(), rg.a, rg.b), 0);
      const float fa = float(rg.a), fb = float(rg.b);
      ASSERT_EQ(_vqssRngUniform(0, fplain, n, fx.data(), fa, fb), 0);
      ASSERT_EQ(_vqssRngUniform(ZEV_RNG_METHOD_ACCURATE, facc, n, fy.data(), fa, fb), 0);
      for (int k = 0; k < n; ++k) {
        ASSERT_EQ(y[k], std::min(rg.b, std::max(rg.a, x[k]))) << k;
        ASSERT_TRUE(y[k] >= rg.a && y[k] <= rg.b);
        ASSERT_EQ(fy[k], std::min(fb, std::max(fa, fx[k]))) << k;
        if (rg.a == rg.b) {
          ASSERT_EQ(x[k], rg.a);
        }
      }
    }
  }
}

TEST(Uniform, IntegersAreTheFloorOfDoubleUniforms) {
  const int n = 2500;
  const int32_t ranges[][2] = {{-1, 1}, {-7, 100}, {0, 2}, {-2147483647 - 1, 2147483647}, {5, 5}};
  for (auto& rg : ranges) {
    Stream si(ZEV_BRNG_MT19937, {3}), sd(ZEV_BRNG_MT19937, {3});
    zevtest::Guarded<int32_t> r(n, 2);
    std::vector<double> d(n);
    ASSERT_EQ(_vqsiRngUniform(0, si, n, r.data(), rg[0], rg[1]), 0);
    ASSERT_EQ(_vqsdRngUniform(0, sd, n, d.data(), double(rg[0]), double(rg[1])), 0);
    EXPECT_TRUE(r.lead_intact());
    bool saw_low = false;
    for (int k = 0; k < n; ++k) {
      ASSERT_EQ(double(r[k]), std::floor(d[k])) << k;
      saw_low |= r[k] == rg[0];
    }
    if (rg[1] - int64_t(rg[0]) <= 2) {
      EXPECT_TRUE(saw_low);  // -0.5 goes to -1, not 0
    }
  }
}

TEST(Uniform, CountsOfZeroAndBelow) {
  // The integer form calls no generator; the double form does, and MCG31M1
  // gives out one value for a count of zero.
  Stream a(ZEV_BRNG_MCG31M1, {77}), b(ZEV_BRNG_MCG31M1, {77});
  int32_t ri[1] = {123};
  EXPECT_EQ(_vqsiRngUniform(0, a, 0, ri, 0, 10), 0);
  EXPECT_EQ(_vqsiRngUniform(0, a, -5, ri, 0, 10), 0);
  EXPECT_EQ(ri[0], 123);
  EXPECT_EQ(words(a, 1), words(b, 1));  // a did not move
  double rd[1];
  EXPECT_EQ(_vqsdRngUniform(0, a, 0, rd, 0.0, 1.0), 0);
  const std::vector<unsigned> wb = words(b, 2);
  EXPECT_EQ(words(a, 1)[0], wb[1]);  // a moved by one

  Stream m(ZEV_BRNG_MT19937, {1}), m2(ZEV_BRNG_MT19937, {1});
  EXPECT_EQ(_vqsdRngUniform(ZEV_RNG_METHOD_ACCURATE, m, 0, rd, 0.0, 1.0), 0);
  EXPECT_EQ(_vqsiRngUniformBits64(0, m, 0, nullptr), 0);
  EXPECT_EQ(words(m, 2), words(m2, 2));
}

// A double abstract stream whose buffer holds 4 numbers and whose callback
// gives no more: the fifth number fails with -1121.
int no_more(void*, unsigned*, double*, unsigned*, unsigned*, unsigned*) { return 0; }

TEST(Uniform, BasicGeneratorStatusesComeBackUnchanged) {
  double buf[4] = {0.5, 0.25, 2.0, -1.0};  // the last two lie outside the clamp range
  void* s = nullptr;
  ASSERT_EQ(__vqsdNewAbstractStream(&s, 4, buf, 0.0, 1.0, no_more), 0);
  double r[8] = {};
  EXPECT_EQ(_vqsdRngUniform(ZEV_RNG_METHOD_ACCURATE, s, 6, r, 0.0, 1.0),
            ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT);
  // No clamp after a failure: the values written stay as generated.
  EXPECT_EQ(r[2], 2.0);
  EXPECT_EQ(r[3], -1.0);
  float fr[2];
  EXPECT_EQ(_vqssRngUniform(0, s, 2, fr, 0.0f, 1.0f), ZEV_VQS_ERR_ABSTRACT_WRONG_TYPE);
  unsigned ur[2];
  EXPECT_EQ(_vqsiRngUniformBits(0, s, 2, ur), ZEV_VQS_ERR_ABSTRACT_WRONG_TYPE);
  int32_t ir[2];
  EXPECT_EQ(_vqsiRngUniform(0, s, 2, ir, 0, 4), ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT);
  __vqsDeleteStream(&s);
}

}  // namespace
