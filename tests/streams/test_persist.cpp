// Saving and loading streams through files and memory.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "helpers.h"
#include "zev/zev_core.h"

using namespace vqstest;

namespace {

std::vector<char> read_file(const std::string& path) {
  std::vector<char> v;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return v;
  int c;
  while ((c = std::fgetc(f)) != EOF) v.push_back(char(c));
  std::fclose(f);
  return v;
}

// Every generator of the stream layer, in the middle of its sequence, with a
// private and a keyed chunk: file and memory forms continue it exactly.
TEST(StreamsPersist, RoundTripContinuesTheSequence) {
  const int ids[] = {ZEV_BRNG_MCG31M1, ZEV_BRNG_MCG59, ZEV_BRNG_R250, ZEV_BRNG_WH + 100,
                     ZEV_BRNG_MRG32K3A, 4 + 5, 0};
  uint64_t key[2];
  ASSERT_EQ(__vqsGenerateNewGlobalRODataTableEntryId(key, 3), 0);
  for (int id : ids) {
    Stream s(id, {4242, 17});
    ints(s, 13);
    ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, block(40, 0x5A), 40), 0);
    ASSERT_EQ(__vqsAddChunk(s, 9, key, block(24, 0x3C), 24), 0);
    ASSERT_EQ(__vqsAddChunk(s, 2, nullptr, nullptr, 0), 0);

    const std::string path = temp_path("rt");
    ASSERT_EQ(__vqsSaveStreamF(s, path.c_str(), -1), 0);
    auto mem = save_memory(s);
    EXPECT_EQ(read_file(path), mem) << "file and memory forms differ";
    EXPECT_EQ(int(mem.size()), __vqsGetStreamSize(s));

    Stream f, m;
    // A name given with its length need not be NUL-terminated.
    std::string padded = path + "XYZ";
    ASSERT_EQ(__vqsLoadStreamF(&f.s, padded.c_str(), int(path.size())), 0) << std::hex << id;
    ASSERT_EQ(__vqsLoadStreamM(&m.s, mem.data()), 0) << std::hex << id;
    std::remove(path.c_str());

    auto want = ints(s, 300);
    for (void* t : {f.s, m.s}) {
      EXPECT_EQ(__vqsGetStreamStateBrng(t), id);
      EXPECT_EQ(__vqsGetNumChunks(t), 3);
      EXPECT_EQ(__vqsGetStreamSize(t), __vqsGetStreamSize(s));
      auto* p1 = static_cast<unsigned char*>(__vqsSearchChunk(t, 1));
      ASSERT_NE(p1, nullptr);
      EXPECT_EQ(p1[39], 0x5A);
      // The keyed chunk finds the shared entry of the saved stream.
      EXPECT_EQ(__vqsSearchChunk(t, 9), __vqsSearchChunk(s, 9));
      EXPECT_EQ(ints(t, 300), want) << std::hex << id;
    }
    // The loaded copies save to the same bytes.
    EXPECT_EQ(save_memory(m), save_memory(s));
  }
  zev_vqs_glob_entry* e;
  EXPECT_EQ(__vqsFindGlobRODataTableEntry(&e, key), -3000);  // every reference dropped
}

// Offsets of the version 2 header.
enum { kVersion = 0, kMagic = 4, kHeaderLen = 8, kStateBytes = 12, kChunks = 16, kId = 20 };

// An older 20-byte header: magic and version in either order.
std::vector<char> old_form(const std::vector<char>& v2, bool magicFirst, uint8_t version,
                           int chunks) {
  std::vector<char> b(20, 0);
  const char magic[3] = {'R', 'N', 'G'};
  std::memcpy(&b[magicFirst ? 0 : 4], magic, 3);
  b[magicFirst ? 4 : 0] = char(version);
  const uint32_t state = zevtest::get_at<uint32_t>(v2, kStateBytes);
  zevtest::put_at<uint16_t>(b, 10, uint16_t(state));
  zevtest::put_at<uint16_t>(b, 12, uint16_t(chunks));
  std::memcpy(&b[16], &v2[kId], 4);
  b.insert(b.end(), v2.begin() + 24, v2.begin() + 24 + state);
  return b;
}

TEST(StreamsPersist, OlderHeadersLoad) {
  Stream s(ZEV_BRNG_MRG32K3A, {1, 2, 3, 4, 5, 6});
  ints(s, 3);
  auto v2 = save_memory(s);
  auto want = ints(s, 20);
  struct Case {
    bool magicFirst;
    uint8_t version;
    int chunkForm;  // -1 none, 0 keyless record, 1 keyed record
    int file, memory;
  } cases[] = {
      {false, 0, -1, 0, 0},   {false, 1, -1, 0, 0},      {true, 0, -1, 0, 0},
      {false, 0, 0, 0, 0},    {false, 1, 1, 0, 0},
      // Magic first: the byte at offset 0 is no version, so a chunk record
      // has no known form.
      {true, 1, 1, -1103, -1103},
  };
  for (const Case& c : cases) {
    auto b = old_form(v2, c.magicFirst, c.version, c.chunkForm >= 0 ? 1 : 0);
    if (c.chunkForm >= 0) {
      std::vector<char> rec(4, 0);
      zevtest::put_at<uint32_t>(rec, 0, 5);
      if (c.chunkForm == 1) rec.insert(rec.end(), 16, 0);
      rec.insert(rec.end(), {8, 0, 0, 0});
      rec.insert(rec.end(), 8, 'x');
      b.insert(b.end(), rec.begin(), rec.end());
    }
    const std::string path = temp_path("old");
    write_file(path, b);
    Stream f, m;
    EXPECT_EQ(__vqsLoadStreamF(&f.s, path.c_str(), -1), c.file);
    EXPECT_EQ(__vqsLoadStreamM(&m.s, b.data()), c.memory);
    std::remove(path.c_str());
    if (c.file == 0) {
      EXPECT_EQ(ints(f, 20), want);
      EXPECT_EQ(ints(m, 20), want);
      EXPECT_EQ(__vqsGetNumChunks(m), c.chunkForm >= 0 ? 1 : 0);
    } else {
      EXPECT_EQ(f.s, nullptr);
      EXPECT_EQ(m.s, nullptr);
    }
  }
}

// Each damaged saved stream, with the status of the file and memory loaders.
TEST(StreamsPersist, RejectedInputs) {
  Stream s(ZEV_BRNG_MCG59, {99});
  ASSERT_EQ(__vqsAddChunk(s, 3, nullptr, block(32, 1), 32), 0);
  const auto good = save_memory(s);
  struct Case {
    const char* what;
    void (*damage)(std::vector<char>&);
    int file, memory;  // memory 1: not tried (the memory form has no length)
  } cases[] = {
      {"empty file", [](std::vector<char>& b) { b.clear(); }, -1103, 1},
      {"short header", [](std::vector<char>& b) { b.erase(b.begin() + 12, b.end()); }, -1103, 1},
      {"short state", [](std::vector<char>& b) { b.erase(b.begin() + 30, b.end()); }, -1103, 1},
      {"short chunk data", [](std::vector<char>& b) { b.pop_back(); }, -1103, 1},
      {"no magic", [](std::vector<char>& b) { b[kMagic + 1] = 'X'; }, -1110, -1200},
      {"version 3, none at 4", [](std::vector<char>& b) { b[kVersion] = 3; }, -1111, -1200},
      {"unknown id", [](std::vector<char>& b) { zevtest::put_at<uint32_t>(b, kId, 0x1100000); }, -1110, -1200},
      {"member out of range", [](std::vector<char>& b) { zevtest::put_at<uint32_t>(b, kId, 0x500111); }, -1110, -1200},
      {"empty old row", [](std::vector<char>& b) { zevtest::put_at<uint32_t>(b, kId, 279); }, -1110, -1200},
      {"abstract stream", [](std::vector<char>& b) {
         zevtest::put_at<uint32_t>(b, kId, ZEV_BRNG_DABSTRACT);
         zevtest::put_at<uint32_t>(b, kStateBytes, 48);
       }, -1110, -1200},
      {"state size mismatch", [](std::vector<char>& b) { zevtest::put_at<uint32_t>(b, kStateBytes, 15); }, -1110, -1200},
      {"header length 23", [](std::vector<char>& b) { zevtest::put_at<uint16_t>(b, kHeaderLen, 23); }, -1110, -1200},
      {"negative chunk size", [](std::vector<char>& b) { zevtest::put_at<uint32_t>(b, 24 + 16 + 20, 0x80000000u); }, -4, -4},
      {"chunk count too high", [](std::vector<char>& b) { zevtest::put_at<uint16_t>(b, kChunks, 2); }, -1103, 1},
  };
  for (const Case& c : cases) {
    auto b = good;
    c.damage(b);
    const std::string path = temp_path("bad");
    write_file(path, b);
    void* f = reinterpret_cast<void*>(1);
    EXPECT_EQ(__vqsLoadStreamF(&f, path.c_str(), -1), c.file) << c.what;
    EXPECT_EQ(f, nullptr) << c.what;
    std::remove(path.c_str());
    if (c.memory != 1) {
      b.resize(b.size() + 64, 0);
      void* m = reinterpret_cast<void*>(1);
      EXPECT_EQ(__vqsLoadStreamM(&m, b.data()), c.memory) << c.what;
      EXPECT_EQ(m, nullptr) << c.what;
    }
  }
}

TEST(StreamsPersist, FileStatuses) {
  Stream s(ZEV_BRNG_MCG31M1, {5});
  void* t = nullptr;
  const std::string missing = temp_path("missing") + "/none";
  EXPECT_EQ(__vqsLoadStreamF(&t, missing.c_str(), -1), -1101);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(__vqsSaveStreamF(s, missing.c_str(), -1), -1101);
  // Length 0: the empty name, which no file has.
  EXPECT_EQ(__vqsLoadStreamF(&t, "anything", 0), -1101);
  EXPECT_EQ(__vqsSaveStreamF(s, "anything", 0), -1101);
  // A device that takes no bytes: the buffered write fails on closing.
  if (access("/dev/full", W_OK) == 0) {
    EXPECT_EQ(__vqsSaveStreamF(s, "/dev/full", -1), -1100);
    // A chunk too large for the buffer fails in its own write, which leaves
    // nothing for the close to flush.
    ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, block(1 << 16, 0), 1 << 16), 0);
    EXPECT_EQ(__vqsSaveStreamF(s, "/dev/full", -1), -1102);
  }
}

}  // namespace
