// MCG31M1, MCG59, R250, WH and MRG32K3A: known answers against small
// independent references, seeding rules, jumps, and call splitting.
#include <cmath>

#include "helpers.h"

using namespace vqstest;

namespace {

// ---- Independent references ------------------------------------------------

struct RefMcg31 {
  uint64_t x;
  uint32_t next() {
    uint32_t v = uint32_t(x);
    x = x * 1132489760u % 2147483647u;
    return v;
  }
};

struct RefMcg59 {
  uint64_t x;
  uint64_t next() {
    uint64_t v = x;
    x = (x * 302875106592253ull) % (1ull << 59);
    return v;
  }
};

// The published floating-point form of the recurrence (products below 2^53).
struct RefMrg {
  double s1[3], s2[3];
  RefMrg(const uint32_t w[6]) {
    for (int i = 0; i < 3; ++i) s1[i] = w[i], s2[i] = w[3 + i];
  }
  uint32_t next() {
    const double m1 = 4294967087.0, m2 = 4294944443.0;
    double p1 = 1403580.0 * s1[1] - 810728.0 * s1[0];
    p1 -= std::floor(p1 / m1) * m1;
    if (p1 < 0) p1 += m1;
    s1[0] = s1[1], s1[1] = s1[2], s1[2] = p1;
    double p2 = 527612.0 * s2[2] - 1370589.0 * s2[0];
    p2 -= std::floor(p2 / m2) * m2;
    if (p2 < 0) p2 += m2;
    s2[0] = s2[1], s2[1] = s2[2], s2[2] = p2;
    return uint32_t(p1 > p2 ? p1 - p2 : p1 - p2 + m1);
  }
};

// x(k) = x(k-250) ^ x(k-103) over the whole history.
struct RefR250 {
  std::vector<uint32_t> h;
  explicit RefR250(std::vector<uint32_t> init) : h(std::move(init)) {}
  uint32_t next() {
    size_t k = h.size();
    h.push_back(h[k - 250] ^ h[k - 103]);
    return h.back();
  }
  static std::vector<uint32_t> seeded(uint32_t s) {
    std::vector<uint32_t> w(250);
    uint32_t lcg = s ? s : 1;
    for (auto& v : w) v = lcg = lcg * 69069u;
    diagonal(w);
    return w;
  }
  static void diagonal(std::vector<uint32_t>& w) {
    for (int b = 0; b < 32; ++b) {
      size_t i = 3 + 14 * (b / 2) + 7 * (b % 2);
      uint32_t bit = 0x80000000u >> b;
      w[i] = (w[i] & (bit | (bit - 1))) | bit;
    }
  }
};

struct RefWh {
  uint64_t x[4], a[4], m[4];
  void step() {
    for (int j = 0; j < 4; ++j) x[j] = x[j] * a[j] % m[j];
  }
  double frac() const {
    double s = double(x[0]) * (1.0 / double(m[0]));
    s += double(x[1]) * (1.0 / double(m[1]));
    s += double(x[2]) * (1.0 / double(m[2]));
    s += double(x[3]) * (1.0 / double(m[3]));
    return s - std::floor(s);
  }
};

const uint64_t kWhM[2][4] = {{0xFFE657, 0xFFE653, 0xFFE63F, 0xFFE639},
                             {0xFFE507, 0xFFE4EB, 0xFFE4D7, 0xFFE4A1}};
const uint64_t kWhA[2][4] = {{125, 117, 127, 126}, {127, 126, 125, 123}};

// ---- Known answers ---------------------------------------------------------

TEST(StreamsKnownAnswer, Mcg31m1) {
  Stream s(ZEV_BRNG_MCG31M1, {20250101});
  RefMcg31 ref{20250101};
  auto got = ints(s, 1000);
  for (unsigned v : got) ASSERT_EQ(v, ref.next());
  // Doubles: x * ((b - a) / (2^31 - 1)) + a, bit for bit.
  RefMcg31 r2{ref.x};
  auto d = doubles(s, 100, -2.0, 3.0);
  const double scale = 1.0 / 2147483647.0;
  for (double v : d) ASSERT_EQ(bits(v), bits(double(r2.next()) * (5.0 * scale) + -2.0));
}

TEST(StreamsKnownAnswer, Mcg59) {
  Stream s(ZEV_BRNG_MCG59, {0x89ABCDEFu, 0x1234567u});
  RefMcg59 ref{0x123456789ABCDEFull};
  auto got = ints(s, 1001);
  for (int i = 0; i < 1001; ++i) {
    uint64_t v = ref.next();
    ASSERT_EQ(got[2 * i], uint32_t(v));
    ASSERT_EQ(got[2 * i + 1], uint32_t(v >> 32));
  }
  // The two precisions combine the halves in different orders.
  RefMcg59 r2{ref.x};
  const double s59 = std::ldexp(1.0, -59);
  auto d = doubles(s, 99, 1.0, 2.0);
  for (double v : d) {
    uint64_t x = r2.next();
    double l = double(uint32_t(x)), h = double(uint32_t(x >> 32)) * 4294967296.0;
    ASSERT_EQ(bits(v), bits(l * s59 + h * s59 + 1.0));
  }
  RefMcg59 r3 = r2;
  auto f = floats(s, 99, 1.0f, 2.0f);
  for (float v : f) {
    uint64_t x = r3.next();
    double l = double(uint32_t(x)), h = double(uint32_t(x >> 32)) * 4294967296.0;
    ASSERT_EQ(v, float((l + h) * s59 + 1.0));
  }
}

TEST(StreamsKnownAnswer, Mrg32k3a) {
  const uint32_t seed[6] = {12345, 12345, 12345, 12345, 12345, 12345};
  Stream s(ZEV_BRNG_MRG32K3A, std::vector<unsigned>(seed, seed + 6));
  RefMrg ref(seed);
  auto got = ints(s, 2000);
  for (unsigned v : got) ASSERT_EQ(v, ref.next());
  // By hand: p1 = 592852 * 12345 - m1 = 3023790853, p2 = 3 m2 - 842977 * 12345
  // = 2478282264, output p1 - p2.
  EXPECT_EQ(got[0], 545508589u);
}

TEST(StreamsKnownAnswer, R250) {
  std::vector<unsigned> seed(250);
  for (int i = 0; i < 250; ++i) seed[i] = 0x9E3779B9u * unsigned(i + 1);
  Stream s(ZEV_BRNG_R250, seed);
  std::vector<uint32_t> init(seed.begin(), seed.end());
  RefR250::diagonal(init);
  RefR250 ref(init);
  for (unsigned v : ints(s, 3000)) ASSERT_EQ(v, ref.next());

  Stream t(ZEV_BRNG_R250, {777});
  RefR250 ref2(RefR250::seeded(777));
  for (unsigned v : ints(t, 600)) ASSERT_EQ(v, ref2.next());
}

TEST(StreamsKnownAnswer, WichmannHillPublishedMembers) {
  for (int member = 0; member < 2; ++member) {
    Stream s(ZEV_BRNG_WH + member, {111111111, 222222222, 333333333, 444444444});
    RefWh ref;
    const uint64_t seed[4] = {111111111, 222222222, 333333333, 444444444};
    for (int j = 0; j < 4; ++j) {
      ref.m[j] = kWhM[member][j];
      ref.a[j] = kWhA[member][j];
      ref.x[j] = seed[j] % ref.m[j];
    }
    RefWh r2 = ref;
    auto w = ints(s, 500);
    for (int k = 0; k < 500; ++k) {
      for (int j = 0; j < 4; ++j) ASSERT_EQ(w[4 * k + j], ref.x[j]) << member << " " << k;
      ref.step();
    }
    auto d = doubles(s, 500);
    for (int k = 0; k < 500; ++k) r2.step();
    for (int k = 0; k < 500; ++k) {
      ASSERT_EQ(bits(d[k]), bits(r2.frac())) << member << " " << k;
      r2.step();
    }
  }
}

// ---- Seeding ---------------------------------------------------------------

// The first integer word of a stream made from a seed.
std::vector<unsigned> first_words(int id, std::vector<unsigned> seed, int n = 1) {
  Stream s(id, std::move(seed));
  return ints(s, n);
}

TEST(StreamsSeeding, EdgeSeedsOfTheCongruentialGenerators) {
  struct Case {
    int id;
    std::vector<unsigned> seed;
    std::vector<unsigned> first;
  } cases[] = {
      {ZEV_BRNG_MCG31M1, {}, {1}},
      {ZEV_BRNG_MCG31M1, {0}, {1}},
      {ZEV_BRNG_MCG31M1, {0x7FFFFFFF}, {1}},
      {ZEV_BRNG_MCG31M1, {0x80000000u}, {1}},
      {ZEV_BRNG_MCG31M1, {0xFFFFFFFFu}, {1}},
      {ZEV_BRNG_MCG31M1, {0x7FFFFFFE, 99}, {0x7FFFFFFE}},
      {ZEV_BRNG_MCG59, {}, {1, 0}},
      {ZEV_BRNG_MCG59, {0, 0x8000000}, {1, 0}},
      {ZEV_BRNG_MCG59, {0, 1}, {0, 1}},
      {ZEV_BRNG_MCG59, {5}, {5, 0}},
      {ZEV_BRNG_MCG59, {5, 0xFFFFFFFFu, 77}, {5, 0x7FFFFFF}},
      {ZEV_BRNG_WH, {}, {1, 1, 1, 1}},
      {ZEV_BRNG_WH, {0xFFE657, 2}, {1, 2, 1, 1}},
      {ZEV_BRNG_WH + 1, {0xFFE507 + 5, 0, 7, 8, 9}, {5, 1, 7, 8}},
  };
  for (const Case& c : cases)
    EXPECT_EQ(first_words(c.id, c.seed, 1), c.first) << std::hex << c.id;
}

TEST(StreamsSeeding, Mrg32k3aWordsAreReducedAndNeverAllZero) {
  struct Case {
    std::vector<unsigned> seed;
    uint32_t state[6];
  } cases[] = {
      {{}, {1, 1, 1, 1, 1, 1}},
      {{4294967087u, 5, 6, 4294944443u, 8, 9}, {0, 5, 6, 0, 8, 9}},
      {{0xFFFFFFFFu, 1, 1, 0xFFFFFFFFu}, {208, 1, 1, 22852, 1, 1}},
      {{0, 0, 0, 0, 0, 0}, {1, 0, 0, 1, 0, 0}},
      {{7}, {7, 1, 1, 1, 1, 1}},
  };
  for (const Case& c : cases) {
    RefMrg ref(c.state);
    auto got = first_words(ZEV_BRNG_MRG32K3A, c.seed, 20);
    for (unsigned v : got) EXPECT_EQ(v, ref.next());
  }
}

TEST(StreamsSeeding, R250SeedForms) {
  EXPECT_EQ(first_words(ZEV_BRNG_R250, {0}, 300), first_words(ZEV_BRNG_R250, {1}, 300));
  EXPECT_EQ(first_words(ZEV_BRNG_R250, {}, 300), first_words(ZEV_BRNG_R250, {1}, 300));
  std::vector<unsigned> seed(250, 5);
  seed[0] = 42;
  // 249 words: only the first counts; 250 words: all of them.
  std::vector<unsigned> short_seed(seed.begin(), seed.end() - 1);
  EXPECT_EQ(first_words(ZEV_BRNG_R250, short_seed, 300), first_words(ZEV_BRNG_R250, {42}, 300));
  EXPECT_NE(first_words(ZEV_BRNG_R250, seed, 300), first_words(ZEV_BRNG_R250, {42}, 300));
}

// ---- Jumps and splits, for every generator that has them ------------------

struct Gen {
  const char* name;
  int id;
  std::vector<unsigned> seed;
  bool leapfrog, skip;
  bool nZeroWritesOne;  // MCG31M1 stores its first value before looking at n
};

const Gen kGens[] = {
    {"MCG31M1", ZEV_BRNG_MCG31M1, {123456789}, true, true, true},
    {"MCG59", ZEV_BRNG_MCG59, {987654321, 4321}, true, true, false},
    {"WH0", ZEV_BRNG_WH, {1, 2, 3, 4}, true, true, false},
    {"WH272", ZEV_BRNG_WH + 272, {5, 6, 7, 8}, true, true, false},
    {"MRG32K3A", ZEV_BRNG_MRG32K3A, {1, 2, 3, 4, 5, 6}, false, true, false},
    {"R250", ZEV_BRNG_R250, {31337}, false, false, false},
};

int units(int id) { return row_of(id).wordBytes / 4; }

TEST(StreamsJumps, SkipAheadEqualsSingleSteps) {
  for (const Gen& g : kGens) {
    if (!g.skip) continue;
    const int u = units(g.id);
    Stream ref(g.id, g.seed);
    auto seq = ints(ref, 2100);
    for (int k : {0, 1, 2, 7, 8, 9, 16, 17, 100, 1000, 2000}) {
      Stream s(g.id, g.seed);
      ASSERT_EQ(__vqsSkipAheadStream(s, k), 0) << g.name;
      auto got = ints(s, 100 / u);
      std::vector<unsigned> want(seq.begin() + k * u, seq.begin() + k * u + got.size());
      EXPECT_EQ(got, want) << g.name << " skip " << k;
    }
  }
}

TEST(StreamsJumps, LeapfrogTakesEveryMthValue) {
  for (const Gen& g : kGens) {
    if (!g.leapfrog) continue;
    const int u = units(g.id);
    Stream ref(g.id, g.seed);
    auto seq = ints(ref, 400);
    struct { int k, m; } cases[] = {{0, 1}, {0, 3}, {2, 3}, {4, 5}, {1, 7}, {9, 10}};
    for (auto c : cases) {
      Stream s(g.id, g.seed);
      ASSERT_EQ(__vqsLeapfrogStream(s, c.k, c.m), 0);
      auto got = ints(s, 30);
      for (int i = 0; i < 30; ++i)
        for (int j = 0; j < u; ++j)
          ASSERT_EQ(got[i * u + j], seq[(c.k + i * c.m) * u + j]) << g.name << " " << c.k << "/" << c.m;
      // A skip after a leapfrog counts thinned steps.
      ASSERT_EQ(__vqsSkipAheadStream(s, 2), 0);
      auto after = ints(s, 1);
      EXPECT_EQ(after[0], seq[(c.k + 32 * c.m) * u]) << g.name;
    }
  }
}

TEST(StreamsJumps, PeriodSkipsReturnToTheStart) {
  {
    Stream a(ZEV_BRNG_MCG31M1, {99}), b(ZEV_BRNG_MCG31M1, {99});
    ASSERT_EQ(__vqsSkipAheadStream(a, 2147483646LL), 0);  // the full period, 2^31 - 2
    EXPECT_EQ(ints(a, 16), ints(b, 16));
    ASSERT_EQ(__vqsSkipAheadStream(a, 2147483646LL / 2), 0);  // half of it: elsewhere
    EXPECT_NE(ints(a, 16), ints(b, 16));
  }
  {
    // An odd MCG59 value has period 2^57.
    Stream a(ZEV_BRNG_MCG59, {12345}), b(ZEV_BRNG_MCG59, {12345});
    ASSERT_EQ(__vqsSkipAheadStream(a, 1LL << 57), 0);
    EXPECT_EQ(ints(a, 8), ints(b, 8));
  }
}

TEST(StreamsJumps, Mrg32k3aMultiWordSkip) {
  const std::vector<unsigned> seed = {9, 8, 7, 6, 5, 4};
  // One word equals the plain skip.
  {
    Stream a(ZEV_BRNG_MRG32K3A, seed), b(ZEV_BRNG_MRG32K3A, seed);
    const unsigned long long w[1] = {123456789};
    ASSERT_EQ(__vqsSkipAheadStreamEx(a, 1, w), 0);
    ASSERT_EQ(__vqsSkipAheadStream(b, 123456789), 0);
    EXPECT_EQ(ints(a, 20), ints(b, 20));
  }
  // 2^64 is two skips of 2^63, and the count's extra zero words change nothing.
  {
    Stream a(ZEV_BRNG_MRG32K3A, seed), b(ZEV_BRNG_MRG32K3A, seed), c(ZEV_BRNG_MRG32K3A, seed);
    const unsigned long long w2[2] = {0, 1}, w5[5] = {0, 1, 0, 0, 0};
    ASSERT_EQ(__vqsSkipAheadStreamEx(a, 2, w2), 0);
    ASSERT_EQ(__vqsSkipAheadStream(b, 1LL << 62), 0);
    ASSERT_EQ(__vqsSkipAheadStream(b, 1LL << 62), 0);
    ASSERT_EQ(__vqsSkipAheadStream(b, 1LL << 62), 0);
    ASSERT_EQ(__vqsSkipAheadStream(b, 1LL << 62), 0);
    ASSERT_EQ(__vqsSkipAheadStreamEx(c, 5, w5), 0);
    auto x = ints(a, 20);
    EXPECT_EQ(x, ints(b, 20));
    EXPECT_EQ(x, ints(c, 20));
  }
  // A count above 2^192 (word 3 set) goes through the general modulus path:
  // 2^192 + 5 is 2^192 then 5 single steps.
  {
    Stream a(ZEV_BRNG_MRG32K3A, seed), b(ZEV_BRNG_MRG32K3A, seed);
    const unsigned long long w[4] = {5, 0, 0, 1}, hi[4] = {0, 0, 0, 1};
    ASSERT_EQ(__vqsSkipAheadStreamEx(a, 4, w), 0);
    ASSERT_EQ(__vqsSkipAheadStreamEx(b, 4, hi), 0);
    ints(b, 5);
    EXPECT_EQ(ints(a, 20), ints(b, 20));
  }
}

// The specialised reductions for the two moduli agree with the general one,
// and the one-word powers keep their edge values.
TEST(StreamsJumps, PowerFormsAgree) {
  const uint32_t m1 = 4294967087u, m2 = 4294944443u;
  const uint32_t a1[9] = {0, 1, 0, 0, 0, 1, m1 - 810728u, 1403580u, 0};
  const uint32_t a2[9] = {0, 1, 0, 0, 0, 1, m2 - 1370589u, 0, 527612u};
  uint64_t e[4] = {0x9E3779B97F4A7C15ull, 0xD1B54A32D192ED03ull, 0xFFFFFFFFFFFFFFFFull, 3};
  for (int t = 0; t < 20; ++t) {
    uint32_t g1[9], s1[9], g2[9], s2[9];
    __vqsiVect3PowArrayMod(a1, e, 4, m1, g1);
    __vqsiVect3PowArrayMod_M1(a1, e, 4, s1);
    __vqsiVect3PowArrayMod(a2, e, 4, m2, g2);
    __vqsiVect3PowArrayMod_M2(a2, e, 4, s2);
    ASSERT_EQ(0, std::memcmp(g1, s1, 36)) << t;
    ASSERT_EQ(0, std::memcmp(g2, s2, 36)) << t;
    for (auto& w : e) w = w * 6364136223846793005ull + 1442695040888963407ull;
  }
  EXPECT_EQ(__vqsiPowMod2P31M1(0, 0), 1u);
  EXPECT_EQ(__vqsiPowMod2P31M1(0, 5), 0u);
  EXPECT_EQ(__vqsiPowMod2P31M1(16807, 0x7FFFFFFE), 1u);  // Fermat
  EXPECT_EQ(__vqsiPowMod(3, 0, 1), 0u);
  EXPECT_EQ(__vqsiPowMod(0xFFFFFFFFu, 2, 0xFFFFFFFBu), 16u);
  EXPECT_EQ(__vqsiPowMod2P59(3, 0), 1u);
}

// One call of n gives what calls of n1 and n - n1 give, in every type.
TEST(StreamsSplits, OneCallEqualsTwo) {
  const int n = 41;
  for (const Gen& g : kGens) {
    const int u = units(g.id);
    Stream whole(g.id, g.seed);
    auto wi = ints(whole, n);
    Stream wd_s(g.id, g.seed);
    auto wd = doubles(wd_s, n, -1.0, 4.0);
    Stream wf_s(g.id, g.seed);
    auto wf = floats(wf_s, n, 2.0f, 3.0f);
    int lo = g.nZeroWritesOne ? 1 : 0, hi = g.nZeroWritesOne ? n - 1 : n;
    for (int n1 = lo; n1 <= hi; ++n1) {
      Stream a(g.id, g.seed), b(g.id, g.seed), c(g.id, g.seed);
      auto i1 = ints(a, n1);
      auto i2 = ints(a, n - n1);
      i1.insert(i1.end(), i2.begin(), i2.end());
      ASSERT_EQ(i1, wi) << g.name << " n1 " << n1;
      ASSERT_EQ(int(i1.size()), n * u);
      auto d1 = doubles(b, n1, -1.0, 4.0);
      auto d2 = doubles(b, n - n1, -1.0, 4.0);
      d1.insert(d1.end(), d2.begin(), d2.end());
      ASSERT_EQ(d1, wd) << g.name << " n1 " << n1;
      auto f1 = floats(c, n1, 2.0f, 3.0f);
      auto f2 = floats(c, n - n1, 2.0f, 3.0f);
      f1.insert(f1.end(), f2.begin(), f2.end());
      ASSERT_EQ(f1, wf) << g.name << " n1 " << n1;
    }
    // Outputs stay in range [a, b].
    for (double v : wd) ASSERT_TRUE(v >= -1.0 && v <= 4.0) << g.name;
    for (float v : wf) ASSERT_TRUE(v >= 2.0f && v <= 3.0f) << g.name;
  }
}

TEST(StreamsSplits, CountZero) {
  // MCG31M1 writes one value and advances; the others write nothing.
  for (const Gen& g : kGens) {
    Stream s(g.id, g.seed), ref(g.id, g.seed);
    const int u = units(g.id);
    std::vector<unsigned> buf(u, 0xABCDEF01u);
    BrngRow r = row_of(g.id);
    ASSERT_EQ(r.iGen(s, 0, buf.data()), 0);
    auto seq = ints(ref, 3);
    if (g.nZeroWritesOne) {
      EXPECT_EQ(buf[0], seq[0]);
      EXPECT_EQ(ints(s, 1)[0], seq[1]);
    } else {
      EXPECT_EQ(buf[0], 0xABCDEF01u) << g.name;
      EXPECT_EQ(ints(s, 1)[0], seq[0]) << g.name;
    }
  }
}

}  // namespace
