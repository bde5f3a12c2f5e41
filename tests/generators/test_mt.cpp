// MT19937, MT2203 and SFMT19937: the authors' reference outputs, an
// independent scalar recurrence, jumps by both polynomial routines and by
// plain stepping, block splits and the jump refusals.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <bit>
#include <cstdint>
#include <vector>

#include "gen_support.h"
#include "generators/common/convert.h"
#include "zev/zev_vqs.h"

using gentest::Stream;
using gentest::words;

namespace {

// A plain MT19937 from the published description, seeded by the array seeding.
struct RefMT {
  uint32_t x[624];
  int i = 624;
  explicit RefMT(const std::vector<uint32_t>& key) {
    x[0] = 19650218u;
    for (int k = 1; k < 624; ++k) x[k] = 1812433253u * (x[k - 1] ^ (x[k - 1] >> 30)) + uint32_t(k);
    int a = 1, b = 0;
    const int len = int(key.size());
    for (int k = len > 624 ? len : 624; k; --k) {
      x[a] = (x[a] ^ ((x[a - 1] ^ (x[a - 1] >> 30)) * 1664525u)) + key[size_t(b)] + uint32_t(b);
      if (++a >= 624) { x[0] = x[623]; a = 1; }
      if (++b >= len) b = 0;
    }
    for (int k = 623; k; --k) {
      x[a] = (x[a] ^ ((x[a - 1] ^ (x[a - 1] >> 30)) * 1566083941u)) - uint32_t(a);
      if (++a >= 624) { x[0] = x[623]; a = 1; }
    }
    x[0] = 0x80000000u;
  }
  uint32_t next() {
    if (i == 624) {
      for (int k = 0; k < 624; ++k) {
        const uint32_t y = (x[k] & 0x80000000u) | (x[(k + 1) % 624] & 0x7FFFFFFFu);
        x[k] = x[(k + 397) % 624] ^ (y >> 1) ^ ((y & 1u) ? 0x9908B0DFu : 0u);
      }
      i = 0;
    }
    uint32_t y = x[i++];
    y ^= y >> 11;
    y ^= (y << 7) & 0x9D2C5680u;
    y ^= (y << 15) & 0xEFC60000u;
    return y ^ (y >> 18);
  }
};

TEST(MT19937, AuthorsReferenceOutput) {
  // mt19937ar.out of Matsumoto and Nishimura: init_by_array {0x123, 0x234, 0x345, 0x456}
  Stream s(ZEV_BRNG_MT19937, {0x123, 0x234, 0x345, 0x456});
  ASSERT_EQ(s.status, 0);
  const std::vector<uint32_t> expect = {1067595299u, 955945823u, 477289528u, 4107218783u,
                                        4228976476u};
  EXPECT_EQ(words(s, 5), expect);
}

TEST(MT19937, MatchesScalarRecurrenceForKeysOfEveryLength) {
  // key lengths below, at and above 624 words: the first mixing pass has
  // max(624, length) steps
  for (int len : {0, 1, 7, 623, 624, 625, 1500}) {
    std::vector<uint32_t> key;
    for (int k = 0; k < len; ++k) key.push_back(uint32_t(k) * 2654435761u + 17u);
    Stream s(ZEV_BRNG_MT19937, key);
    RefMT ref(len ? key : std::vector<uint32_t>{1u});
    const auto got = words(s, 2000);
    for (int k = 0; k < 2000; ++k) ASSERT_EQ(got[size_t(k)], ref.next()) << "len " << len << " k " << k;
  }
}

// One stream, several ids: the properties every sequence generator has.
struct SeqCase {
  const char* name;
  int id;
};
class SequenceProps : public ::testing::TestWithParam<SeqCase> {};

TEST_P(SequenceProps, SplitCallsGiveTheSameSequence) {
  const int id = GetParam().id;
  Stream whole(id, {5, 6, 7});
  if (whole.status == ZEV_VQS_ERR_BAD_BRNG) GTEST_SKIP() << "parameter table lacks this member";
  const auto ref = words(whole, 1400);
  // every split of 1400 words, across two refills of either array size
  for (int n1 = 0; n1 <= 1400; ++n1) {
    Stream s(id, {5, 6, 7});
    auto a = words(s, n1);
    auto b = words(s, 1400 - n1);
    a.insert(a.end(), b.begin(), b.end());
    ASSERT_EQ(a, ref) << "split at " << n1;
  }
}

// Ranges whose scale is a power of two (with a zero or non-zero start), one
// that is not, and reversed ones; the calls vary in size so that whole
// arrays, parts of arrays and single words all go through the conversion.
struct Range {
  double a, b;
};
constexpr Range kRanges[] = {{0.0, 1.0},  {-1.0, 1.0}, {3.0, 3.25},   {0.0, 0x1p-40},
                             {-2.0, 3.0}, {1.0, 0.0},  {-0.0, -1.0}, {1e30, 1.5e30}};
constexpr int kCalls[] = {1, 3, 624, 1000, 2, 1249, 68, 4, 2500};

TEST_P(SequenceProps, FloatFormsScaleTheWords) {
  const int id = GetParam().id;
  int total = 0;
  for (int c : kCalls) total += c;
  for (const Range& r : kRanges) {
    Stream si(id, {9}), sd(id, {9}), ss(id, {9});
    if (si.status == ZEV_VQS_ERR_BAD_BRNG) GTEST_SKIP() << "parameter table lacks this member";
    const auto w = words(si, total);
    std::vector<double> d(size_t(total) + 1, 7.0);
    std::vector<float> f(size_t(total) + 1, 7.0f);
    int k = 0;
    for (int c : kCalls) {
      ASSERT_EQ(gentest::row_of(sd).dGen(sd, c, d.data() + k, r.a, r.b), 0);
      ASSERT_EQ(gentest::row_of(ss).sGen(ss, c, f.data() + k, float(r.a), float(r.b)), 0);
      k += c;
    }
    ASSERT_EQ(d[size_t(total)], 7.0) << "written past n";
    const double scale = (r.b - r.a) * 0x1p-32;
    const double fa = float(r.a), fscale = (double(float(r.b)) - fa) * 0x1p-32;
    for (size_t j = 0; j < w.size(); ++j) {
      ASSERT_EQ(d[j], double(w[j]) * scale + r.a) << r.a << " " << r.b << " at " << j;
      ASSERT_EQ(f[j], float(double(w[j]) * fscale + fa)) << r.a << " " << r.b << " at " << j;
    }
  }
}

TEST_P(SequenceProps, RefusedJumpsAndOperations) {
  Stream s(GetParam().id, {1});
  if (s.status == ZEV_VQS_ERR_BAD_BRNG) GTEST_SKIP() << "parameter table lacks this member";
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, 2), ZEV_VQS_ERR_NO_LEAPFROG);
  unsigned long long big[2] = {5, 0};
  EXPECT_EQ(__vqsSkipAheadStreamEx(s, 2, big), ZEV_VQS_ERR_NO_SKIPAHEADEX);
  EXPECT_EQ(gentest::row_of(s).initFn(4, s, 0, nullptr), ZEV_VQS_ERR_BAD_INIT_OP);
}

INSTANTIATE_TEST_SUITE_P(Gens, SequenceProps,
                         ::testing::Values(SeqCase{"MT19937", ZEV_BRNG_MT19937},
                                           SeqCase{"SFMT19937", ZEV_BRNG_SFMT19937},
                                           SeqCase{"MT2203_0", ZEV_BRNG_MT2203},
                                           SeqCase{"MT2203_last", ZEV_BRNG_MT2203 + 6023}),
                         [](const auto& info) { return std::string(info.param.name); });

// The word-to-double conversion at the words where a shortcut could slip
// (zero, the sign bit, all ones), in groups of four and one by one, under
// every rounding mode: the same bits as the formula, the sign of zero too.
TEST(WordConversion, DoublesAreTheFormulaInEveryRoundingMode) {
  alignas(16) static const uint32_t words8[8] = {0u, 1u, 2u, 0x7FFFFFFFu, 0x80000000u,
                                                0x80000001u, 0xFFFFFFFEu, 0xFFFFFFFFu};
  const uint32_t* w = words8;
  asm("" : "+r"(w));  // no folding of the conversion at compile time, in the default mode
  std::vector<Range> ranges(std::begin(kRanges), std::end(kRanges));
  ranges.push_back({-0.0, 1.0});
  const unsigned csr = _mm_getcsr();
  for (unsigned mode : {_MM_ROUND_NEAREST, _MM_ROUND_DOWN, _MM_ROUND_UP, _MM_ROUND_TOWARD_ZERO}) {
    for (const Range& r : ranges) {
      _mm_setcsr((csr & ~0x6000u) | mode);
      const zev::gen::Affine f = zev::gen::unsigned_affine(r.a, r.b);
      double four[8], one[8], expect[8];
      zev::gen::with_double_sink(four, f, [&](auto sink) {
        sink(_mm_load_si128(reinterpret_cast<const __m128i*>(w)), 4, 0);
        sink(_mm_load_si128(reinterpret_cast<const __m128i*>(w + 4)), 4, 4);
      });
      zev::gen::with_double_sink(one, f, [&](auto sink) {
        for (int k = 0; k < 8; ++k) sink(_mm_cvtsi32_si128(int(w[k])), 1, k);
      });
      volatile double s = f.s, c = f.c;  // computed here, in this mode
      for (int k = 0; k < 8; ++k) expect[k] = double(w[k]) * s + c;
      _mm_setcsr(csr);
      for (int k = 0; k < 8; ++k) {
        EXPECT_EQ(std::bit_cast<uint64_t>(four[k]), std::bit_cast<uint64_t>(expect[k]))
            << "mode " << mode << " range " << r.a << " " << r.b << " word " << w[k];
        EXPECT_EQ(std::bit_cast<uint64_t>(one[k]), std::bit_cast<uint64_t>(expect[k]))
            << "mode " << mode << " range " << r.a << " " << r.b << " word " << w[k];
      }
    }
  }
}

TEST(MT19937, UnseededIsSeedOne) {
  Stream a(ZEV_BRNG_MT19937, {}), b(ZEV_BRNG_MT19937, {1});
  EXPECT_EQ(words(a, 700), words(b, 700));
}

// Skip by k equals k single steps: small counts by stepping, counts around
// 2^21 on both sides of the switch to the polynomial, from several positions
// inside a block.
TEST(MT19937, SkipEqualsSteps) {
  Stream ref(ZEV_BRNG_MT19937, {42});
  const uint64_t far = 0x200000 + 700;
  std::vector<uint32_t> seq = words(ref, int(far + 16));
  for (uint64_t start : {0ull, 1ull, 623ull, 624ull, 1000ull}) {
    for (uint64_t k : {0ull, 1ull, 5ull, 623ull, 624ull, 10000ull, 0x1FFFFFull, 0x200000ull,
                       0x200000ull + 699}) {
      if (start + k + 5 > seq.size()) continue;
      Stream s(ZEV_BRNG_MT19937, {42});
      words(s, int(start));
      ASSERT_EQ(gentest::skip(s, k), 0);
      const auto got = words(s, 5);
      for (int j = 0; j < 5; ++j)
        ASSERT_EQ(got[size_t(j)], seq[size_t(start + k) + size_t(j)]) << "start " << start << " k " << k;
    }
  }
}

// A plain MT2203 member from the published description: 69 words, lower part
// of 5 bits, middle offset 34, tempering shifts 12, 7, 15, 18.
std::vector<uint32_t> ref_mt2203(uint32_t a, uint32_t b, uint32_t c, std::vector<uint32_t> key, int n) {
  uint32_t x[69];
  x[0] = 19650218u;
  for (int k = 1; k < 69; ++k) x[k] = 1812433253u * (x[k - 1] ^ (x[k - 1] >> 30)) + uint32_t(k);
  int i = 1, j = 0;
  const int len = int(key.size());
  for (int k = len > 69 ? len : 69; k; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 1664525u)) + key[size_t(j)] + uint32_t(j);
    if (++i >= 69) { x[0] = x[68]; i = 1; }
    if (++j >= len) j = 0;
  }
  for (int k = 68; k; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 1566083941u)) - uint32_t(i);
    if (++i >= 69) { x[0] = x[68]; i = 1; }
  }
  x[0] = 0x80000000u;
  std::vector<uint32_t> out;
  int pos = 69;
  while (int(out.size()) < n) {
    if (pos == 69) {
      for (int k = 0; k < 69; ++k) {
        const uint32_t y = (x[k] & 0xFFFFFFE0u) | (x[(k + 1) % 69] & 0x1Fu);
        x[k] = x[(k + 34) % 69] ^ (y >> 1) ^ ((y & 1u) ? a : 0u);
      }
      pos = 0;
    }
    uint32_t y = x[pos++];
    y ^= y >> 12;
    y ^= (y << 7) & b;
    y ^= (y << 15) & c;
    out.push_back(y ^ (y >> 18));
  }
  return out;
}

TEST(MT2203, PublishedMembersMatchScalarRecurrence) {
  const uint32_t params[2][3] = {{0xAF81055F, 0xDD7EEF80, 0xEFD78000},
                                 {0x832604E1, 0x66AD7F80, 0xEBD58000}};
  for (int m = 0; m < 2; ++m) {
    Stream s(ZEV_BRNG_MT2203 + m, {0x123, 0x234});
    const auto expect = ref_mt2203(params[m][0], params[m][1], params[m][2], {0x123, 0x234}, 500);
    EXPECT_EQ(words(s, 500), expect) << "member " << m;
  }
}

TEST(MT2203, RefusesSkipAndMembersDiffer) {
  Stream a(ZEV_BRNG_MT2203, {3}), b(ZEV_BRNG_MT2203 + 1, {3}), c(ZEV_BRNG_MT2203 + 6023, {3});
  if (c.status == ZEV_VQS_ERR_BAD_BRNG) GTEST_SKIP() << "parameter table lacks member 6023";
  ASSERT_EQ(c.status, 0);
  EXPECT_EQ(gentest::skip(a, 10), ZEV_VQS_ERR_NO_SKIPAHEAD);
  const auto wa = words(a, 100), wb = words(b, 100), wc = words(c, 100);
  EXPECT_NE(wa, wb);
  EXPECT_NE(wa, wc);
  void* bad = nullptr;
  EXPECT_EQ(__vqsNewStreamEx(&bad, ZEV_BRNG_MT2203 + 6024, 0, nullptr), ZEV_VQS_ERR_BAD_BRNG);
}

TEST(SFMT19937, AuthorsReferenceOutput) {
  // SFMT.19937.64.out.txt of Saito and Matsumoto, init_by_array {5, 4, 3, 2, 1}:
  // each 64-bit output is two 32-bit words, the low one first.
  Stream s(ZEV_BRNG_SFMT19937, {5, 4, 3, 2, 1});
  const uint64_t expect[] = {2100341266307895239ull, 8344256300489757943ull,
                             15687933285484243894ull, 8268620370277076319ull,
                             12371852309826545459ull, 8800491541730110238ull,
                             18113268950100835773ull, 2886823658884438119ull,
                             3293667307248180724ull};
  const auto w = words(s, 18);
  for (int k = 0; k < 9; ++k)
    EXPECT_EQ(uint64_t(w[size_t(2 * k)]) | uint64_t(w[size_t(2 * k + 1)]) << 32, expect[k]) << k;
}

TEST(SFMT19937, SkipEqualsSteps) {
  Stream ref(ZEV_BRNG_SFMT19937, {77, 78});
  const auto seq = words(ref, 200000);
  for (uint64_t start : {0ull, 3ull, 624ull, 1001ull}) {
    // below 0x4E00 through Horner, above through the sliding window
    for (uint64_t k : {0ull, 1ull, 2ull, 3ull, 4ull, 620ull, 624ull, 625ull, 5000ull, 0x4DFFull,
                       0x4E00ull, 0x4E03ull, 150001ull}) {
      Stream s(ZEV_BRNG_SFMT19937, {77, 78});
      words(s, int(start));
      ASSERT_EQ(gentest::skip(s, k), 0);
      const auto got = words(s, 9);
      for (int j = 0; j < 9; ++j)
        ASSERT_EQ(got[size_t(j)], seq[size_t(start + k) + size_t(j)]) << "start " << start << " k " << k;
    }
  }
}

TEST(PolyJump, BothRoutinesAgreeOnLongSkips) {
  // MT19937 always takes the sliding window above 2^21; compare it with two
  // shorter skips whose sum is the same count.
  Stream a(ZEV_BRNG_MT19937, {11}), b(ZEV_BRNG_MT19937, {11});
  const uint64_t k = 0x123456789ull;
  ASSERT_EQ(gentest::skip(a, k), 0);
  ASSERT_EQ(gentest::skip(b, k - 0x300000), 0);
  ASSERT_EQ(gentest::skip(b, 0x300000), 0);
  EXPECT_EQ(words(a, 50), words(b, 50));
  Stream c(ZEV_BRNG_SFMT19937, {11}), d(ZEV_BRNG_SFMT19937, {11});
  ASSERT_EQ(gentest::skip(c, k), 0);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(gentest::skip(d, k / 3), 0);
  EXPECT_EQ(words(c, 50), words(d, 50));
}

TEST(PolyJump, RemainderOfSmallAndBoundaryCounts) {
  // x^count modulo x^5 + x^2 + 1
  const int terms[] = {0, 2, 5};
  uint32_t out[2];
  struct Case { uint64_t count; uint32_t expect; } cases[] = {
      {0, 0x1}, {4, 0x10}, {5, 0x5}, {6, 0xA}, {31, 0x1}, {62, 0x1}, {7, 0x14}};
  for (const auto& c : cases) {
    ASSERT_EQ(__vqsPolyRem(c.count, 5, 3, terms, 1, out), 0);
    EXPECT_EQ(out[0], c.expect) << c.count;
    EXPECT_EQ(out[1], 0u);
  }
}

}  // namespace
