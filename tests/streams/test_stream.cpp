// Stream creation, copies, deletion, sizes and the jump entry points.
#include "helpers.h"
#include "zev/zev_core.h"

using namespace vqstest;

namespace {

TEST(StreamsStream, NewStreamStatuses) {
  struct Case {
    int id, status;
  } cases[] = {
      {0x100000, 0}, {0, 0},          {4, 0},          {276, 0},      {0x500110, 0},
      {0x500111, -1000}, {0xA00000, -1000}, {0xB00000, -1000}, {0xC00000, -1000},
      {0xA00001, -1000}, {0x1100000, -1000}, {281, -1000},  {279, -1000}, {-1, -1000},
  };
  for (const Case& c : cases) {
    void* s = reinterpret_cast<void*>(1);
    int st = __vqsNewStreamEx(&s, c.id, 0, nullptr);
    EXPECT_EQ(st, c.status) << std::hex << c.id;
    if (st == 0) {
      EXPECT_EQ(__vqsGetStreamStateBrng(s), c.id);
      EXPECT_EQ(__vqsGetNumChunks(s), 0);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(s) % 128, 0u);
      EXPECT_EQ(__vqsDeleteStream(&s), 0);
      EXPECT_EQ(s, nullptr);
    }
  }
}

TEST(StreamsStream, OldAndNewIdsDrawTheSameNumbers) {
  Stream a(0, {7}), b(ZEV_BRNG_MCG31M1, {7});  // old id 0, new id
  EXPECT_EQ(ints(a, 20), ints(b, 20));
  EXPECT_EQ(__vqsGetStreamStateBrng(a), 0);
  Stream w(4 + 17, {1, 2, 3, 4}), v(ZEV_BRNG_WH + 17, {1, 2, 3, 4});  // old WH rows from 4
  EXPECT_EQ(ints(w, 20), ints(v, 20));
}

// A chunk's data block, owned by the stream once added.
TEST(StreamsStream, CopyIsIndependentAndCarriesChunks) {
  Stream a(ZEV_BRNG_MRG32K3A, {1, 2, 3});
  ints(a, 5);
  ASSERT_EQ(__vqsAddChunk(a, 1, nullptr, block(16, 0x11), 16), 0);
  ASSERT_EQ(__vqsAddChunk(a, 2, nullptr, block(8, 0x22), 8), 0);
  Stream b;
  ASSERT_EQ(__vqsCopyStream(&b.s, a), 0);
  EXPECT_EQ(__vqsGetStreamStateBrng(b), ZEV_BRNG_MRG32K3A);
  EXPECT_EQ(__vqsGetNumChunks(b), 2);
  EXPECT_EQ(__vqsGetStreamSize(b), __vqsGetStreamSize(a));
  // Private chunks are copied, not shared, and keep their order.
  auto* pa = static_cast<unsigned char*>(__vqsSearchChunk(a, 1));
  auto* pb = static_cast<unsigned char*>(__vqsSearchChunk(b, 1));
  ASSERT_NE(pb, nullptr);
  EXPECT_NE(pa, pb);
  EXPECT_EQ(pb[15], 0x11);
  pa[0] = 0x99;
  EXPECT_EQ(pb[0], 0x11);
  EXPECT_EQ(static_cast<unsigned char*>(__vqsSearchChunk(b, 2))[7], 0x22);
  // The copy continues the sequence, and drawing from it leaves the source be.
  auto from_b = ints(b, 50);
  EXPECT_EQ(from_b, ints(a, 50));
}

TEST(StreamsStream, CopyStateMovesSeedWordsOnly) {
  // MCG31M1 copies its value and leaves the multiplier that a leapfrog set.
  Stream src(ZEV_BRNG_MCG31M1, {12345}), dst(ZEV_BRNG_MCG31M1, {1});
  ASSERT_EQ(__vqsLeapfrogStream(dst, 0, 3), 0);
  ASSERT_EQ(__vqsAddChunk(dst, 5, nullptr, block(4, 1), 4), 0);
  ASSERT_EQ(__vqsAddChunk(src, 6, nullptr, block(4, 2), 4), 0);
  ASSERT_EQ(__vqsCopyStreamState(dst, src), 0);
  EXPECT_EQ(__vqsGetNumChunks(dst), 1);
  EXPECT_EQ(__vqsSearchChunk(dst, 5), nullptr);
  ASSERT_NE(__vqsSearchChunk(dst, 6), nullptr);
  Stream ref(ZEV_BRNG_MCG31M1, {12345});
  auto seq = ints(ref, 7);
  auto got = ints(dst, 3);
  EXPECT_EQ(got, (std::vector<unsigned>{seq[0], seq[3], seq[6]}));

  // WH copies 64 bytes from a 32-byte state; the stream block is big enough.
  Stream w1(ZEV_BRNG_WH + 3, {9, 8, 7, 6}), w2(ZEV_BRNG_WH + 3);
  ASSERT_EQ(__vqsCopyStreamState(w2, w1), 0);
  EXPECT_EQ(ints(w2, 10), ints(w1, 10));

  // One stream as both arguments: nothing happens.
  EXPECT_EQ(__vqsCopyStreamState(src, src), 0);
  EXPECT_EQ(__vqsGetNumChunks(src), 1);
}

TEST(StreamsStream, SizeCountsStateHeaderAndChunks) {
  Stream s(ZEV_BRNG_R250);
  EXPECT_EQ(__vqsGetStreamSize(s), 1024 + 8);
  ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, block(100, 0), 100), 0);
  ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, nullptr, 0), 0);
  EXPECT_EQ(__vqsGetStreamSize(s), 1024 + 8 + 124 + 24);
}

TEST(StreamsStream, JumpStatusesByGenerator) {
  struct Case {
    int id, leap, skip, skipEx;
  } cases[] = {
      {ZEV_BRNG_MCG31M1, 0, 0, -1004}, {ZEV_BRNG_R250, -1002, -1003, -1004},
      {ZEV_BRNG_MRG32K3A, -1002, 0, 0}, {ZEV_BRNG_MCG59, 0, 0, -1004},
      {ZEV_BRNG_WH, 0, 0, -1004},
  };
  for (const Case& c : cases) {
    Stream s(c.id, {5});
    const unsigned long long words[2] = {10, 0};
    EXPECT_EQ(__vqsLeapfrogStream(s, 1, 4), c.leap) << std::hex << c.id;
    EXPECT_EQ(__vqsSkipAheadStream(s, 10), c.skip) << std::hex << c.id;
    EXPECT_EQ(__vqsSkipAheadStreamEx(s, 2, words), c.skipEx) << std::hex << c.id;
    BrngRow r = row_of(c.id);
    EXPECT_EQ(r.initFn(4, s, 0, nullptr), -2) << std::hex << c.id;
    EXPECT_EQ(r.initFn(-1, s, 0, nullptr), -2) << std::hex << c.id;
    // A refused leapfrog leaves the stream as it was.
    Stream fresh(c.id, {5});
    if (c.leap != 0 && c.skip != 0) {
      EXPECT_EQ(ints(s, 8), ints(fresh, 8)) << std::hex << c.id;
    }
  }
}

TEST(StreamsStream, LeapfrogRefusesNegativeStreamCounts) {
  Stream s(ZEV_BRNG_MCG31M1, {3});
  Stream ref(ZEV_BRNG_MCG31M1, {3});
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, -1), -1013);
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, INT32_MIN), -1013);
  EXPECT_EQ(ints(s, 4), ints(ref, 4));
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, 1), 0);
}

TEST(StreamsStream, AllocateValidates) {
  void* s = reinterpret_cast<void*>(1);
  EXPECT_EQ(__vqsAllocateStream(&s, __RegBrngsNew, 0x1100000, 16, 0), -1000);
  EXPECT_EQ(s, nullptr);
  ASSERT_EQ(__vqsAllocateStream(&s, __RegBrngsNew, 0x500005, 4, 5), 0);
  EXPECT_EQ(__vqsGetStreamStateBrng(s), 0x500005);
  __vqsDeleteStream(&s);
}

}  // namespace
