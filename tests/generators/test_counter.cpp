// PHILOX4X32X10, ARS5 and TRNG: the authors' known answers, ARS-5 against an
// independent AES-round reference, skips (one and several words of count)
// against plain drawing, block splits, and the statuses of the hardware paths.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "gen_support.h"
#include "zev/zev_vqs.h"

using gentest::Stream;
using gentest::words;

namespace {

struct Kat {
  uint32_t ctr[4], key[2], out[4];
};

TEST(Philox4x32x10, AuthorsKnownAnswers) {
  // Random123 tests/kat_vectors, "philox4x32 10" lines: counter, key, result
  const Kat kats[] = {
      {{0, 0, 0, 0}, {0, 0}, {0x6627e8d5, 0xe169c58d, 0xbc57ac4c, 0x9b00dbd8}},
      {{0xffffffff, 0xffffffff, 0xffffffff, 0xffffffff},
       {0xffffffff, 0xffffffff},
       {0x408f276d, 0x41c83b0e, 0xa20bc7c6, 0x6d5451fd}},
      {{0x243f6a88, 0x85a308d3, 0x13198a2e, 0x03707344},
       {0xa4093822, 0x299f31d0},
       {0xd16cfe09, 0x94fdcceb, 0x5001e420, 0x24126ea1}}};
  for (const Kat& k : kats) {
    Stream s(ZEV_BRNG_PHILOX4X32X10, {k.key[0], k.key[1], k.ctr[0], k.ctr[1], k.ctr[2], k.ctr[3]});
    const auto w = words(s, 4);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(w[size_t(i)], k.out[i]) << i;
  }
  Stream unseeded(ZEV_BRNG_PHILOX4X32X10, {});
  EXPECT_EQ(words(unseeded, 1)[0], 0x6627e8d5u);  // all-zero key and counter
}

TEST(Philox4x32x10, CounterCarriesAcrossWords) {
  // counter 0xFFFFFFFF in word 0: the second block is that of counter (0, 1, 0, 0)
  Stream a(ZEV_BRNG_PHILOX4X32X10, {7, 8, 0xFFFFFFFFu, 0, 0, 0});
  Stream b(ZEV_BRNG_PHILOX4X32X10, {7, 8, 0, 1, 0, 0});
  const auto wa = words(a, 8), wb = words(b, 4);
  EXPECT_EQ(std::vector<uint32_t>(wa.begin() + 4, wa.end()), wb);
}

TEST(Philox4x32x10, BlocksInLanesCarryLikeSingleBlocks) {
  // a long call computes up to twelve blocks side by side; counters whose
  // word 0 runs out within such a group carry into the next words as single
  // blocks of four words do
  const uint32_t high[][3] = {{0, 0, 0}, {0xFFFFFFFFu, 0xFFFFFFFFu, 5}, {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu}};
  for (uint32_t back : {0u, 1u, 3u, 4u, 5u, 11u, 12u, 40u})
    for (const auto& h : high) {
      const std::vector<unsigned> seed = {3, 4, 0xFFFFFFFFu - back, h[0], h[1], h[2]};
      Stream a(ZEV_BRNG_PHILOX4X32X10, seed), b(ZEV_BRNG_PHILOX4X32X10, seed);
      const auto whole = words(a, 4 * 60);
      std::vector<uint32_t> single;
      for (int k = 0; k < 60; ++k) {
        const auto w = words(b, 4);
        single.insert(single.end(), w.begin(), w.end());
      }
      ASSERT_EQ(whole, single) << "word 0 = 0xFFFFFFFF - " << back << ", word 3 = " << h[2];
    }
}

// ---- an AES round from FIPS-197, for the ARS-5 reference ----
uint8_t xtime(uint8_t x) { return uint8_t((x << 1) ^ ((x & 0x80) ? 0x1B : 0)); }
uint8_t gmul(uint8_t a, uint8_t b) {
  uint8_t r = 0;
  for (; b; b >>= 1, a = xtime(a))
    if (b & 1) r ^= a;
  return r;
}
struct Sbox {
  uint8_t s[256];
  Sbox() {
    for (int x = 0; x < 256; ++x) {
      uint8_t inv = 0;
      for (int y = 1; y < 256 && x; ++y)
        if (gmul(uint8_t(x), uint8_t(y)) == 1) inv = uint8_t(y);
      uint8_t b = inv, r = inv;
      for (int k = 0; k < 4; ++k) {
        b = uint8_t((b << 1) | (b >> 7));
        r ^= b;
      }
      s[x] = uint8_t(r ^ 0x63);
    }
  }
};
const Sbox kSbox;

void aes_round(uint8_t st[16], const uint8_t rk[16], bool last) {
  uint8_t t[16];
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 4; ++r) t[r + 4 * c] = kSbox.s[st[r + 4 * ((c + r) % 4)]];
  for (int c = 0; c < 4 && !last; ++c) {
    uint8_t* col = t + 4 * c;
    const uint8_t a0 = col[0], a1 = col[1], a2 = col[2], a3 = col[3];
    col[0] = uint8_t(gmul(a0, 2) ^ gmul(a1, 3) ^ a2 ^ a3);
    col[1] = uint8_t(a0 ^ gmul(a1, 2) ^ gmul(a2, 3) ^ a3);
    col[2] = uint8_t(a0 ^ a1 ^ gmul(a2, 2) ^ gmul(a3, 3));
    col[3] = uint8_t(gmul(a0, 3) ^ a1 ^ a2 ^ gmul(a3, 2));
  }
  for (int i = 0; i < 16; ++i) st[i] = t[i] ^ rk[i];
}

// ARS with R rounds (Salmon et al.): counter XOR key, R - 1 AES rounds and a
// last one, round key i = key + i * Weyl as two 64-bit lanes.
void ars_ref(const uint32_t ctr[4], const uint32_t key[4], int rounds, uint32_t out[4]) {
  uint64_t k[2];
  std::memcpy(k, key, 16);
  uint8_t st[16], rk[16];
  std::memcpy(st, ctr, 16);
  std::memcpy(rk, k, 16);
  for (int i = 0; i < 16; ++i) st[i] ^= rk[i];
  for (int r = 1; r <= rounds; ++r) {
    k[0] += 0x9E3779B97F4A7C15ull;
    k[1] += 0xBB67AE8584CAA73Bull;
    std::memcpy(rk, k, 16);
    aes_round(st, rk, r == rounds);
  }
  std::memcpy(out, st, 16);
}

TEST(ARS5, MatchesFiveRoundConstruction) {
  if (!__vqsCPUisAES()) {
    void* s = nullptr;
    EXPECT_EQ(__vqsNewStreamEx(&s, ZEV_BRNG_ARS5, 0, nullptr), ZEV_VQS_ERR_NO_AES);
    __vqsDeleteStream(&s);
    GTEST_SKIP() << "no AES instructions";
  }
  const uint32_t seeds[][8] = {{0, 0, 0, 0, 0, 0, 0, 0},
                               {0xa4093822, 0x299f31d0, 0x082efa98, 0xec4e6c89, 0x243f6a88,
                                0x85a308d3, 0x13198a2e, 0x03707344},
                               {~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, 0xFFFFFFF0u}};
  for (const auto& seed : seeds) {
    Stream s(ZEV_BRNG_ARS5, std::vector<unsigned>(seed, seed + 8));
    ASSERT_EQ(s.status, 0);
    const auto got = words(s, 4 * 40 + 3);  // whole blocks, four at a time, and a tail
    uint32_t ctr[4], key[4];
    std::memcpy(key, seed, 16);
    std::memcpy(ctr, seed + 4, 16);
    for (int b = 0; b < 41; ++b) {
      uint32_t expect[4];
      ars_ref(ctr, key, 5, expect);
      for (int i = 0; i < 4 && 4 * b + i < int(got.size()); ++i)
        ASSERT_EQ(got[size_t(4 * b + i)], expect[i]) << "block " << b << " word " << i;
      for (int i = 0; i < 4 && ++ctr[i] == 0; ++i) {
      }
    }
  }
}

struct CounterCase {
  const char* name;
  int id;
};
class CounterProps : public ::testing::TestWithParam<CounterCase> {
 protected:
  void SetUp() override {
    if (GetParam().id == ZEV_BRNG_ARS5 && !__vqsCPUisAES()) GTEST_SKIP() << "no AES instructions";
  }
};

TEST_P(CounterProps, EverySplitGivesTheSameSequence) {
  const int id = GetParam().id;
  Stream whole(id, {1, 2, 3});
  const auto ref = words(whole, 41);
  for (int n1 = 0; n1 <= 41; ++n1)
    for (int n2 = 0; n1 + n2 <= 41; n2 += 3) {
      Stream s(id, {1, 2, 3});
      auto a = words(s, n1), b = words(s, n2), c = words(s, 41 - n1 - n2);
      a.insert(a.end(), b.begin(), b.end());
      a.insert(a.end(), c.begin(), c.end());
      ASSERT_EQ(a, ref) << n1 << " " << n2;
    }
}

TEST_P(CounterProps, SkipEqualsSteps) {
  const int id = GetParam().id;
  Stream whole(id, {9, 9, 0xFFFFFFF0u});
  const auto ref = words(whole, 400);
  for (int start : {0, 1, 2, 3, 4, 5, 7})
    for (int k : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 63, 64, 65, 301}) {
      Stream s(id, {9, 9, 0xFFFFFFF0u});
      words(s, start);
      ASSERT_EQ(gentest::skip(s, uint64_t(k)), 0);
      ASSERT_EQ(words(s, 5), std::vector<uint32_t>(ref.begin() + start + k, ref.begin() + start + k + 5))
          << "start " << start << " k " << k;
      // the same count as a multi-word skip
      Stream t(id, {9, 9, 0xFFFFFFF0u});
      words(t, start);
      const unsigned long long ks[3] = {(unsigned long long)k, 0, 0};
      ASSERT_EQ(__vqsSkipAheadStreamEx(t, 3, ks), 0);
      ASSERT_EQ(words(t, 5), std::vector<uint32_t>(ref.begin() + start + k, ref.begin() + start + k + 5));
    }
}

TEST_P(CounterProps, LongSkipsAreCounterArithmetic) {
  const int id = GetParam().id;
  // 2^64 words are 2^62 blocks: the same as two skips of 2^63 words, and as
  // a stream whose counter starts 2^62 higher
  Stream a(id, {5}), b(id, {5});
  const unsigned long long big[2] = {0, 1};
  ASSERT_EQ(__vqsSkipAheadStreamEx(a, 2, big), 0);
  ASSERT_EQ(gentest::skip(b, 1ull << 63), 0);
  ASSERT_EQ(gentest::skip(b, 1ull << 63), 0);
  EXPECT_EQ(words(a, 9), words(b, 9));
  const bool philox = id == ZEV_BRNG_PHILOX4X32X10;
  // counter word 1 (bits 32..63 of the block counter) = 2^30 after 2^62 blocks... and a third
  // word of count (2^128 words = 2^126 blocks: counter word 3 += 2^30)
  std::vector<unsigned> seed = philox ? std::vector<unsigned>{5, 0, 0, 0, 0, 1u << 30}
                                      : std::vector<unsigned>{5, 0, 0, 0, 0, 0, 0, 1u << 30};
  Stream c(id, {5}), d(id, seed);
  const unsigned long long huge[3] = {0, 0, 1};
  ASSERT_EQ(__vqsSkipAheadStreamEx(c, 3, huge), 0);
  EXPECT_EQ(words(c, 9), words(d, 9));
}

TEST_P(CounterProps, FloatFormsUseTheMidpointScale) {
  const int id = GetParam().id;
  Stream si(id, {4}), sd(id, {4}), ss(id, {4});
  const auto w = words(si, 99);
  std::vector<double> d(99);
  std::vector<float> f(99);
  ASSERT_EQ(gentest::row_of(sd).dGen(sd, 99, d.data(), 1.0, 5.0), 0);
  ASSERT_EQ(gentest::row_of(ss).sGen(ss, 99, f.data(), 1.0f, 5.0f), 0);
  for (size_t k = 0; k < w.size(); ++k) {
    const double expect = double(int32_t(w[k])) * (4.0 * 0x1p-32) + 3.0;
    ASSERT_EQ(d[k], expect) << k;
    ASSERT_EQ(f[k], float(expect)) << k;
    ASSERT_GE(d[k], 1.0);
    ASSERT_LT(d[k], 5.0);
  }
}

TEST_P(CounterProps, RefusesLeapfrog) {
  Stream s(GetParam().id, {1});
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, 3), ZEV_VQS_ERR_NO_LEAPFROG);
}

INSTANTIATE_TEST_SUITE_P(Gens, CounterProps,
                         ::testing::Values(CounterCase{"PHILOX4X32X10", ZEV_BRNG_PHILOX4X32X10},
                                           CounterCase{"ARS5", ZEV_BRNG_ARS5}),
                         [](const auto& info) { return std::string(info.param.name); });

int32_t trng_retries(void* s) { return zevtest::state_field<int32_t>(s, 4); }

TEST(TRNG, RetryCountAndStatuses) {
  struct Case { std::vector<unsigned> seed; int32_t retries; } cases[] = {
      {{}, 10}, {{5}, 10}, {{5, 3}, 3}, {{5, 0}, 10}, {{1, 7, 9}, 7}};
  for (const auto& c : cases) {
    Stream s(ZEV_BRNG_TRNG, c.seed);
    ASSERT_EQ(s.status, 0);
    EXPECT_EQ(trng_retries(s), c.retries);
  }
  Stream s(ZEV_BRNG_TRNG, {});
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, 2), ZEV_VQS_ERR_NO_LEAPFROG);
  EXPECT_EQ(gentest::skip(s, 3), ZEV_VQS_ERR_NO_SKIPAHEAD);
  const unsigned long long k[1] = {3};
  EXPECT_EQ(__vqsSkipAheadStreamEx(s, 1, k), ZEV_VQS_ERR_NO_SKIPAHEADEX);
  std::vector<uint32_t> w(9, 0);
  const int st = __vqsiBRngTRNG(s, 7, w.data());
  if (!__vqsCPUisRDRAND()) {
    EXPECT_EQ(st, ZEV_VQS_ERR_NO_RDRAND);
    return;
  }
  EXPECT_EQ(st, 0);
  EXPECT_EQ(w[7], 0u);  // nothing past n
  std::vector<float> f(5);
  EXPECT_EQ(__vqssBRngTRNG(s, 5, f.data(), 2.0f, 3.0f), 0);
  for (float x : f) {
    EXPECT_GE(x, 2.0f);
    EXPECT_LE(x, 3.0f);
  }
}

}  // namespace
