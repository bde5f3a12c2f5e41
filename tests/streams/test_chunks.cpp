// Chunks and the shared read-only table.
#include "helpers.h"
#include "zev/zev_core.h"

using namespace vqstest;

namespace {

int refs(const uint64_t* key) {
  zev_vqs_glob_entry* e = nullptr;
  if (__vqsFindGlobRODataTableEntry(&e, key) != 0) return 0;
  return e->references;
}

TEST(StreamsChunks, ListOrderSearchAndDeletion) {
  Stream s(ZEV_BRNG_MCG59);
  EXPECT_EQ(__vqsSearchChunk(s, 1), nullptr);
  EXPECT_EQ(__vqsGetNumChunks(s), 0);
  void* first = block(8, 1);
  void* second = block(8, 2);
  void* other = block(8, 3);
  ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, first, 8), 0);
  ASSERT_EQ(__vqsAddChunk(s, 4, nullptr, other, 8), 0);
  ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, second, 8), 0);
  EXPECT_EQ(__vqsGetNumChunks(s), 3);
  EXPECT_EQ(__vqsSearchChunk(s, 1), second);  // the newest wins
  EXPECT_EQ(__vqsSearchChunk(s, 4), other);
  EXPECT_EQ(__vqsDeleteChunksById(s, 1), 0);
  EXPECT_EQ(__vqsGetNumChunks(s), 1);
  EXPECT_EQ(__vqsSearchChunk(s, 1), nullptr);
  EXPECT_EQ(__vqsSearchChunk(s, 4), other);
  EXPECT_EQ(__vqsDeleteChunks(s), 0);
  EXPECT_EQ(__vqsGetNumChunks(s), 0);
}

TEST(StreamsChunks, SharedKeyIsCountedAndReleasedByTheLast) {
  uint64_t key[2];
  ASSERT_EQ(__vqsGenerateNewGlobalRODataTableEntryId(key, 42), 0);
  EXPECT_EQ(key[1], 42u);
  EXPECT_NE(key[0], 0u);
  Stream a(ZEV_BRNG_MCG31M1), b(ZEV_BRNG_MCG31M1), c(ZEV_BRNG_MCG31M1);
  void* data = block(64, 7);
  ASSERT_EQ(__vqsAddChunk(a, 9, key, data, 64), 0);
  EXPECT_EQ(refs(key), 1);
  // The second stream's block is not used: it points at the shared data.
  void* unused = block(64, 8);
  ASSERT_EQ(__vqsAddChunk(b, 9, key, unused, 64), 0);
  zev_serv_deallocate(unused);
  EXPECT_EQ(__vqsSearchChunk(b, 9), data);
  EXPECT_EQ(refs(key), 2);
  // A copy takes a further reference; a state copy swaps its list.
  ASSERT_EQ(__vqsCopyChunks(c, a), 0);
  EXPECT_EQ(__vqsSearchChunk(c, 9), data);
  EXPECT_EQ(refs(key), 3);
  ASSERT_EQ(__vqsCopyStreamState(c, a), 0);
  EXPECT_EQ(refs(key), 3);
  __vqsDeleteStream(&c.s);
  __vqsDeleteStream(&a.s);
  EXPECT_EQ(refs(key), 1);
  EXPECT_EQ(static_cast<unsigned char*>(__vqsSearchChunk(b, 9))[63], 7);
  __vqsDeleteStream(&b.s);
  zev_vqs_glob_entry* e;
  EXPECT_EQ(__vqsFindGlobRODataTableEntry(&e, key), -3000);
}

TEST(StreamsChunks, SharedKeyWithAnotherSizeStaysPrivate) {
  uint64_t key[2] = {0xFEED, 1};
  Stream a(ZEV_BRNG_MCG59), b(ZEV_BRNG_MCG59);
  void* data = block(8, 1);
  ASSERT_EQ(__vqsAddChunk(a, 9, key, data, 8), 0);
  void* longer = block(9, 2);
  ASSERT_EQ(__vqsAddChunk(b, 9, key, longer, 9), 0);
  EXPECT_EQ(__vqsSearchChunk(b, 9), longer);
  EXPECT_EQ(refs(key), 1);
  // Saving the private chunk reads its own nine bytes.
  std::vector<char> saved(size_t(__vqsGetStreamSize(b)));
  EXPECT_EQ(__vqsSaveStreamM(b, saved.data()), 0);
  EXPECT_EQ(saved.back(), 2);
}

TEST(StreamsChunks, FullTableGivesPrivateChunks) {
  // Fill the table up to the sharing limit with entries of their own.
  int made = 0;
  for (int i = 0; i < 0x7F; ++i) {
    uint64_t key[2] = {0x1000u + unsigned(i), 0x77};
    zev_vqs_glob_entry* e;
    ASSERT_EQ(__vqsCreateGlobRODataTableEntry(&e, key, nullptr), 0);
    ++made;
  }
  Stream s(ZEV_BRNG_MCG59);
  uint64_t fresh[2] = {0xABC, 0xDEF};
  void* data = block(16, 5);
  ASSERT_EQ(__vqsAddChunk(s, 3, fresh, data, 16), 0);
  zev_vqs_glob_entry* e;
  EXPECT_EQ(__vqsFindGlobRODataTableEntry(&e, fresh), -3000);
  EXPECT_EQ(__vqsSearchChunk(s, 3), data);
  // The last row is still there for direct creation, and then it is full.
  uint64_t last[2] = {0x5000, 0x77};
  EXPECT_EQ(__vqsCreateGlobRODataTableEntry(&e, last, nullptr), 0);
  uint64_t more[2] = {0x5001, 0x77};
  EXPECT_EQ(__vqsCreateGlobRODataTableEntry(&e, more, nullptr), -3001);
  // A reference to an entry fills a node; dropping the last releases it.
  zev_vqs_chunk node{};
  EXPECT_EQ(__vqsRegisterGlobRODataReference(&node, last), 0);
  EXPECT_EQ(refs(last), 1);
  EXPECT_EQ(__vqsUnregisterGlobRODataReference(last), 0);
  EXPECT_EQ(__vqsFindGlobRODataTableEntry(&e, last), -3000);
  EXPECT_EQ(__vqsRegisterGlobRODataReference(&node, more), -3000);
  EXPECT_EQ(__vqsUnregisterGlobRODataReference(more), -3000);
  // Leave the table as it was found: a reference taken and dropped releases
  // each entry made above.
  for (int i = 0; i < 0x7F; ++i) {
    uint64_t key[2] = {0x1000u + unsigned(i), 0x77};
    ASSERT_EQ(__vqsRegisterGlobRODataReference(&node, key), 0);
    ASSERT_EQ(__vqsUnregisterGlobRODataReference(key), 0);
  }
  EXPECT_EQ(__vqsCreateGlobRODataTableEntry(&e, more, nullptr), 0);
  EXPECT_EQ(__vqsRegisterGlobRODataReference(&node, more), 0);
  EXPECT_EQ(__vqsUnregisterGlobRODataReference(more), 0);
}

TEST(StreamsChunks, FindRefusesNullAndZeroKeys) {
  zev_vqs_glob_entry* e = nullptr;
  uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__vqsFindGlobRODataTableEntry(&e, nullptr), -3000);
  EXPECT_EQ(__vqsFindGlobRODataTableEntry(&e, zero), -3000);
  // A zero key makes a private chunk.
  Stream s(ZEV_BRNG_MCG59);
  void* data = block(4, 1);
  ASSERT_EQ(__vqsAddChunk(s, 1, zero, data, 4), 0);
  EXPECT_EQ(__vqsSearchChunk(s, 1), data);
}

}  // namespace
