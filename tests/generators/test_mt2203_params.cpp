// MT2203 parameter table: the shape of every row, the dimensions of
// equidistribution k(v) found by lattice reduction against a plain rank
// count, the tempering masks of the library's own members against the masks
// they had before they got their own, and the streams' use of every part of
// a member's row.
#include <gtest/gtest.h>

#include <cstdint>

#include "gen_support.h"
#include "tools/dcmt/mt2203_kv.h"
#include "zev/zev_vqs.h"

namespace {

struct Row {
  uint32_t a, b, c;
};
const Row kRows[] = {
#include "generators/mt2203/mt2203_params.inc"
};
constexpr int kMembers = 6024;

using zev_dcmt::kP;

TEST(MT2203Params, EveryRowHasTheFamilyShape) {
  ASSERT_EQ(sizeof kRows / sizeof kRows[0], size_t(kMembers));
  for (int m = 0; m < kMembers; ++m) {
    SCOPED_TRACE(m);
    EXPECT_EQ(kRows[m].b & 0x7Fu, 0u);    // below bit 7, b never reaches the output
    EXPECT_EQ(kRows[m].c & 0x7FFFu, 0u);  // nor c below bit 15
    EXPECT_NE(kRows[m].b, 0u);
    EXPECT_NE(kRows[m].c, 0u);
    if (m >= 2) {
      EXPECT_EQ(kRows[m].a & 0xFFFFu, uint32_t(m));
      EXPECT_EQ(kRows[m].a >> 31, 1u);
    }
  }
}

// The top v bits of k(v) consecutive outputs have full rank k(v) v as a map
// of the state, and those of k(v) + 1 outputs do not.
TEST(MT2203Params, LatticeAgreesWithRankCount) {
  struct Case {
    int member;
    int v;
  };
  const Case cases[] = {{1, 3}, {1, 12}, {1, 17}, {1, 32}, {5, 2}, {5, 16}, {5, 25}};
  int member = -1;
  int k[33];
  for (const Case& t : cases) {
    SCOPED_TRACE(testing::Message() << "member " << t.member << ", v " << t.v);
    const Row& r = kRows[t.member];
    if (t.member != member) {
      const zev_dcmt::Member m(r.a, 7);
      ASSERT_TRUE(m.ok);
      zev_dcmt::kv_profile(m, r.b, r.c, k);
      member = t.member;
      EXPECT_EQ(k[1], kP);
      for (int v = 2; v <= 32; ++v) EXPECT_LE(k[v], kP / v) << v;
    }
    EXPECT_TRUE(zev_dcmt::rank_full(r.a, r.b, r.c, t.v, k[t.v], 11));
    EXPECT_FALSE(zev_dcmt::rank_full(r.a, r.b, r.c, t.v, k[t.v] + 1, 13));
  }
}

// The sum over v of floor(p / v) - k(v): the published members are at 699
// and 700; the library's own members with their own masks must come close,
// and stay well below what member 0's masks gave them.
TEST(MT2203Params, OwnMasksBringKvNearTheBounds) {
  const int members[] = {0, 1, 2, 3, 1000, 2047, 3013, 4500, 6023};
  long own = 0, shared = 0;
  for (int id : members) {
    SCOPED_TRACE(id);
    const Row& r = kRows[id];
    const zev_dcmt::Member m(r.a, 3);
    ASSERT_TRUE(m.ok);
    int k[33];
    zev_dcmt::kv_profile(m, r.b, r.c, k);
    const int d = zev_dcmt::deficiency(k);
    EXPECT_LE(d, 860);
    own += d;
    zev_dcmt::kv_profile(m, kRows[0].b, kRows[0].c, k);
    shared += zev_dcmt::deficiency(k);
  }
  EXPECT_LT(own * 10, shared * 9);
}

// A member's stream, untempered with the member's own masks, follows the
// raw recurrence with the member's own twist word; with member 0's masks it
// does not.
uint32_t untemper(uint32_t y, uint32_t b, uint32_t c) {
  auto undo_right = [](uint32_t z, int s) {
    uint32_t x = z;
    for (int i = 0; i < 32 / s + 1; ++i) x = z ^ (x >> s);
    return x;
  };
  auto undo_left = [](uint32_t z, int s, uint32_t m) {
    uint32_t x = z;
    for (int i = 0; i < 32 / s + 1; ++i) x = z ^ ((x << s) & m);
    return x;
  };
  return undo_right(undo_left(undo_left(undo_right(y, 18), 15, c), 7, b), 12);
}

int recurrence_breaks(const std::vector<uint32_t>& y, uint32_t a, uint32_t b, uint32_t c) {
  std::vector<uint32_t> x(y.size());
  for (size_t i = 0; i < y.size(); ++i) x[i] = untemper(y[i], b, c);
  int breaks = 0;
  for (size_t k = 0; k + zev_dcmt::kN < x.size(); ++k) {
    const uint32_t v = (x[k] & zev_dcmt::kUpper) | (x[k + 1] & zev_dcmt::kLower);
    breaks += x[k + zev_dcmt::kN] != (x[k + zev_dcmt::kM] ^ (v >> 1) ^ ((v & 1) ? a : 0u));
  }
  return breaks;
}

TEST(MT2203Params, StreamsUseTheirMembersRow) {
  for (int id : {1, 2, 3013, 6023}) {
    SCOPED_TRACE(id);
    const Row& r = kRows[id];
    for (uint32_t w : {0x12345678u, 0xDEADBEEFu}) EXPECT_EQ(untemper(zev_dcmt::temper(w, r.b, r.c), r.b, r.c), w);
    gentest::Stream s(ZEV_BRNG_MT2203 + id, {5, 6});
    ASSERT_EQ(s.status, 0);
    const std::vector<uint32_t> y = gentest::words(s, 300);
    EXPECT_EQ(recurrence_breaks(y, r.a, r.b, r.c), 0);
    EXPECT_GT(recurrence_breaks(y, r.a, kRows[0].b, kRows[0].c), 100);
  }
}

}  // namespace
