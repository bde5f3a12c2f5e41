// Saved streams whose generator state was damaged after the header: each
// generator checks its own state on load. And the stream functions' answer to
// null pointers.
#include <cstdio>
#include <functional>
#include <string>

#include "helpers.h"
#include "zev/zev_core.h"

using namespace vqstest;

namespace {

constexpr size_t kState = 24;  // the state's offset in the saved form

// A 32-bit word of the state in a saved image.
void poke32(std::vector<char>& b, size_t state_offset, uint32_t v) {
  zevtest::put_at(b, kState + state_offset, v);
}
uint32_t peek32(const std::vector<char>& b, size_t state_offset) {
  return zevtest::get_at<uint32_t>(b, kState + state_offset);
}

// Loads an image through both forms. Returns the two statuses; a stream that
// loads is deleted at once, never drawn from.
std::pair<int, int> load_both(const std::vector<char>& image, const char* tag) {
  const std::string path = temp_path(tag);
  write_file(path, image);
  void* f = reinterpret_cast<void*>(1);
  void* m = reinterpret_cast<void*>(1);
  const int sf = __vqsLoadStreamF(&f, path.c_str(), -1);
  const int sm = __vqsLoadStreamM(&m, image.data());
  std::remove(path.c_str());
  EXPECT_EQ(sf != 0, f == nullptr);
  EXPECT_EQ(sm != 0, m == nullptr);
  if (sf == 0) __vqsDeleteStream(&f);
  if (sm == 0) __vqsDeleteStream(&m);
  return {sf, sm};
}

// The Sobol user form 4: a full table of direction words for dim dimensions,
// which the stream keeps in chunks 9 and 13.
std::vector<unsigned> sobol_full_table(unsigned dim) {
  std::vector<unsigned> p = {dim, 1, 4};
  for (unsigned d = 0; d < dim; ++d)
    for (int j = 0; j < 32; ++j) p.push_back((1u << (31 - j)) ^ (d << (31 - j) & 0x80000000u));
  return p;
}

// Field offsets inside the generator states (behind the 16-byte header).
enum : size_t {
  kMtPos = 624 * 4, kMtRing = kMtPos + 4,
  kMt2203Pos = 69 * 4, kMt2203A = kMt2203Pos + 4, kMt2203B = kMt2203A + 4, kMt2203C = kMt2203B + 4,
  kSfmtLeft = 624 * 4, kSfmtSecond = kSfmtLeft + 4, kSfmtRing = kSfmtSecond + 4,
  kQPosition = 0, kQDimension = 4, kQComponent = 8, kQCursor = 12,
  kR250Pos = 1000, kR250Pos2 = 1004,
  kPhiloxLeft = 24, kArsLeft = 32,
};

struct Damage {
  const char* what;
  int id;
  std::vector<unsigned> seed;
  int draw;  // values drawn before saving
  size_t at;
  uint32_t value;
};

}  // namespace

// One damaged field per case: every load is refused with the code of its
// form and leaves no stream.
TEST(StreamsStateCheck, DamagedStatesAreRefused) {
  const unsigned kM1 = 4294967087u;
  const Damage cases[] = {
      {"MT19937 position past the array", ZEV_BRNG_MT19937, {5}, 10, kMtPos, 625},
      {"MT19937 position far past the array", ZEV_BRNG_MT19937, {5}, 10, kMtPos, 0x40000000u},
      {"MT19937 negative position", ZEV_BRNG_MT19937, {5}, 10, kMtPos, 0xFFFFFFFFu},
      {"MT19937 ring start", ZEV_BRNG_MT19937, {5}, 0, kMtRing, 700},
      {"MT2203 position past the array", ZEV_BRNG_MT2203 + 3, {5}, 10, kMt2203Pos, 70},
      {"MT2203 negative position", ZEV_BRNG_MT2203 + 3, {5}, 10, kMt2203Pos, 0x80000000u},
      {"MT2203 twist word of another member", ZEV_BRNG_MT2203 + 3, {5}, 0, kMt2203A, 0xAF81055Fu},
      {"MT2203 tempering mask b", ZEV_BRNG_MT2203 + 3, {5}, 0, kMt2203B, 0},
      {"MT2203 tempering mask c", ZEV_BRNG_MT2203 + 3, {5}, 0, kMt2203C, 0xFFFFFFFFu},
      {"SFMT19937 words left past the array", ZEV_BRNG_SFMT19937, {5}, 10, kSfmtLeft, 625},
      {"SFMT19937 negative words left", ZEV_BRNG_SFMT19937, {5}, 10, kSfmtLeft, 0xFFFFFFF0u},
      {"SFMT19937 second index", ZEV_BRNG_SFMT19937, {5}, 0, kSfmtSecond, 3},
      {"SFMT19937 ring start", ZEV_BRNG_SFMT19937, {5}, 0, kSfmtRing, 157},
      {"Sobol dimension above 40", ZEV_BRNG_SOBOL, {5}, 7, kQDimension, 41},
      {"Sobol dimension 0", ZEV_BRNG_SOBOL, {5}, 7, kQDimension, 0},
      {"Sobol huge dimension", ZEV_BRNG_SOBOL, {5}, 7, kQDimension, 0x80000000u},
      {"Sobol component past the dimension", ZEV_BRNG_SOBOL, {5}, 7, kQComponent, 5},
      {"Sobol cursor past the dimension", ZEV_BRNG_SOBOL, {5}, 7, kQCursor, 9},
      {"Sobol cursor off the position", ZEV_BRNG_SOBOL, {5}, 7, kQCursor, 1},
      {"Sobol dimension past a user table", ZEV_BRNG_SOBOL, sobol_full_table(3), 4, kQDimension, 4},
      {"Niederr dimension above 318", ZEV_BRNG_NIEDERR, {9}, 3, kQDimension, 319},
      {"Niederr dimension 0", ZEV_BRNG_NIEDERR, {9}, 3, kQDimension, 0},
      {"Niederr component past the dimension", ZEV_BRNG_NIEDERR, {9}, 3, kQComponent, 9},
      {"Niederr cursor past the dimension", ZEV_BRNG_NIEDERR, {9}, 3, kQCursor, 12},
      {"Niederr dimension past a user table", ZEV_BRNG_NIEDERR, {3, 1, 1, 3, 7, 11}, 2, kQDimension, 4},
      {"R250 position past the ring", ZEV_BRNG_R250, {5}, 3, kR250Pos, 250},
      {"R250 second position off the first", ZEV_BRNG_R250, {5}, 3, kR250Pos2, 0},
      {"PHILOX4X32X10 words left above 4", ZEV_BRNG_PHILOX4X32X10, {5}, 1, kPhiloxLeft, 5},
      {"PHILOX4X32X10 negative words left", ZEV_BRNG_PHILOX4X32X10, {5}, 1, kPhiloxLeft, 0x80000000u},
      {"ARS5 words left above 4", ZEV_BRNG_ARS5, {5}, 1, kArsLeft, 0x7FFFFFFFu},
      {"ARS5 negative words left", ZEV_BRNG_ARS5, {5}, 1, kArsLeft, 0xFFFFFFFFu},
      {"TRNG source", ZEV_BRNG_TRNG, {}, 0, 0, 1},
      {"MCG31M1 value 0", ZEV_BRNG_MCG31M1, {5}, 1, 0, 0},
      {"MCG31M1 value at the modulus", ZEV_BRNG_MCG31M1, {5}, 1, 0, 0x7FFFFFFFu},
      {"MCG31M1 multiplier 0", ZEV_BRNG_MCG31M1, {5}, 1, 4, 0},
      {"MCG59 value at 2^59", ZEV_BRNG_MCG59, {5}, 1, 4, 0x08000000u},
      {"MCG59 even multiplier", ZEV_BRNG_MCG59, {5}, 1, 8, 0x3C5FC},
      {"MRG32K3A word at the modulus", ZEV_BRNG_MRG32K3A, {5}, 1, 4, kM1},
      {"WH value 0", ZEV_BRNG_WH + 1, {5}, 1, 8, 0},
      {"WH value at its modulus", ZEV_BRNG_WH + 1, {5}, 1, 0, 0xFFE507},
      {"WH multiplier 0", ZEV_BRNG_WH + 1, {5}, 1, 20, 0},
  };
  for (const Damage& c : cases) {
    if ((c.id == ZEV_BRNG_ARS5 && !__vqsCPUisAES()) || (c.id == ZEV_BRNG_TRNG && !__vqsCPUisRDRAND()))
      continue;  // no stream of these without the instructions
    Stream s(c.id, c.seed);
    ASSERT_NE(s.s, nullptr) << c.what;
    if (c.draw > 0) ints(s, c.draw);
    auto image = save_memory(s);
    ASSERT_EQ(load_both(image, "intact"), std::make_pair(0, 0)) << c.what;
    ASSERT_NE(peek32(image, c.at), c.value) << c.what;
    poke32(image, c.at, c.value);
    EXPECT_EQ(load_both(image, "damaged"), std::make_pair(-1110, -1200)) << c.what;
  }
}

// A value of 0 in a whole component, or a 64-bit field: cases that need more
// than one word changed.
TEST(StreamsStateCheck, DamagedWideFieldsAreRefused) {
  {
    Stream s(ZEV_BRNG_MRG32K3A, {1, 2, 3, 4, 5, 6});
    auto image = save_memory(s);
    for (size_t at : {0, 4, 8}) poke32(image, at, 0);  // the first component all zero
    EXPECT_EQ(load_both(image, "mrg"), std::make_pair(-1110, -1200));
  }
  {
    Stream s(ZEV_BRNG_MCG59, {5});
    auto image = save_memory(s);
    poke32(image, 0, 0);
    poke32(image, 4, 0);
    EXPECT_EQ(load_both(image, "mcg59"), std::make_pair(-1110, -1200));
  }
}

// A Sobol stream with the default tables gets chunks 9 and 13 that do not
// hold its dimension: generate functions would take them for its tables.
TEST(StreamsStateCheck, QuasiRandomChunksMustHoldTheDimension) {
  Stream s(ZEV_BRNG_SOBOL, {6});
  void* v = zev_serv_allocate(64, 128);
  void* x = zev_serv_allocate(8, 128);
  std::memset(v, 0, 64);
  std::memset(x, 0, 8);
  ASSERT_EQ(__vqsAddChunk(s, 9, nullptr, v, 64), 0);
  ASSERT_EQ(__vqsAddChunk(s, 13, nullptr, x, 8), 0);
  EXPECT_EQ(load_both(save_memory(s), "sobolchunks"), std::make_pair(-1110, -1200));

  Stream n(ZEV_BRNG_NIEDERR, {4});
  void* t = zev_serv_allocate(128, 128);
  std::memset(t, 0, 128);
  ASSERT_EQ(__vqsAddChunk(n, 10, nullptr, t, 128), 0);  // one dimension's words
  EXPECT_EQ(load_both(save_memory(n), "niederrchunk"), std::make_pair(-1110, -1200));
}

// Sobol's point chunk (13) changes with every draw: one with a key would be
// shared by every stream loaded from the image, each drawing into the
// others' point. The image names it keyed in its record.
TEST(StreamsStateCheck, SobolPointChunkMustBePrivate) {
  Stream s(ZEV_BRNG_SOBOL, sobol_full_table(3));
  ASSERT_NE(__vqsSearchChunk(s, 13), nullptr);
  auto image = save_memory(s);
  uint32_t state;
  uint16_t count;
  std::memcpy(&state, &image[12], 4);
  std::memcpy(&count, &image[16], 2);
  size_t at = kState + state;
  bool found = false;
  for (int c = 0; c < count; ++c) {
    int32_t id, size;
    std::memcpy(&id, &image[at], 4);
    std::memcpy(&size, &image[at + 20], 4);
    if (id == 13) {
      const uint64_t key[2] = {0x5EED, 13};
      std::memcpy(&image[at + 4], key, 16);
      found = true;
    }
    at += 24 + size_t(size);
  }
  ASSERT_TRUE(found);
  EXPECT_EQ(load_both(image, "sobolkey"), std::make_pair(-1110, -1200));
}

// Every state the library makes passes its check, and the loaded stream goes
// on as the saved one does.
TEST(StreamsStateCheck, SavedStatesLoadAndContinue) {
  struct Case {
    const char* what;
    int id;
    std::vector<unsigned> seed;
    std::function<void(void*)> use;
  };
  auto draw = [](std::vector<int> sizes) {
    return [sizes](void* s) {
      for (int n : sizes) {
        ints(s, n);
        doubles(s, n);
        floats(s, n);
      }
    };
  };
  auto skip = [](long long count) {
    return [count](void* s) { ASSERT_EQ(__vqsSkipAheadStream(s, count), 0); };
  };
  auto leapfrog = [](int k, int nstreams) {
    return [k, nstreams](void* s) { ASSERT_EQ(__vqsLeapfrogStream(s, k, nstreams), 0); };
  };
  auto chunks = [](void* s) {
    void* a = zev_serv_allocate(16, 128);
    std::memset(a, 7, 16);
    ASSERT_EQ(__vqsAddChunk(s, 1, nullptr, a, 16), 0);
    uint64_t key[2];
    __vqsGenerateNewGlobalRODataTableEntryId(key, 77);
    void* b = zev_serv_allocate(24, 128);
    std::memset(b, 9, 24);
    ASSERT_EQ(__vqsAddChunk(s, 2, key, b, 24), 0);
  };
  auto none = [](void*) {};
  const std::vector<int> sizes = {1, 3, 700, 1300, 5};
  const std::vector<unsigned> seed = {11, 22, 33, 44, 55, 66};
  std::vector<Case> cases = {
      {"MCG31M1", ZEV_BRNG_MCG31M1, seed, draw(sizes)},
      {"MCG31M1 leapfrog", ZEV_BRNG_MCG31M1, seed, leapfrog(3, 7)},
      {"MCG31M1 skip", ZEV_BRNG_MCG31M1, seed, skip(123456789)},
      {"MCG31M1 old id", 0, {0}, none},
      {"MCG59", ZEV_BRNG_MCG59, seed, draw(sizes)},
      {"MCG59 leapfrog", ZEV_BRNG_MCG59, seed, leapfrog(2, 5)},
      {"MCG59 skip", ZEV_BRNG_MCG59, seed, skip(1LL << 40)},
      {"R250", ZEV_BRNG_R250, seed, draw(sizes)},
      {"R250 fresh", ZEV_BRNG_R250, {}, none},
      {"MRG32K3A", ZEV_BRNG_MRG32K3A, seed, draw(sizes)},
      {"MRG32K3A skip", ZEV_BRNG_MRG32K3A, seed, skip(987654321987LL)},
      {"MRG32K3A zero seed", ZEV_BRNG_MRG32K3A, {0, 0, 0, 0, 0, 0}, none},
      {"WH member 0", ZEV_BRNG_WH, seed, draw(sizes)},
      {"WH member 272 leapfrog", ZEV_BRNG_WH + 272, seed, leapfrog(5, 9)},
      {"WH member 100 skip", ZEV_BRNG_WH + 100, seed, skip(1LL << 50)},
      {"WH old id 276", 276, seed, draw({4})},
      {"Sobol", ZEV_BRNG_SOBOL, {7}, draw(sizes)},
      {"Sobol dimension 40", ZEV_BRNG_SOBOL, {40}, draw({13, 81})},
      {"Sobol leapfrog", ZEV_BRNG_SOBOL, {7}, leapfrog(6, 0x7FFFFFFF)},
      {"Sobol skip", ZEV_BRNG_SOBOL, {7}, skip(1000003)},
      {"Sobol near the end", ZEV_BRNG_SOBOL, {1}, skip(0xFFFFFF00LL)},
      {"Sobol user table", ZEV_BRNG_SOBOL, sobol_full_table(45), draw({1, 99, 7})},
      {"Sobol old id", 277, {3}, draw({5})},
      {"Niederr", ZEV_BRNG_NIEDERR, {9}, draw(sizes)},
      {"Niederr dimension 318", ZEV_BRNG_NIEDERR, {318}, draw({700})},
      {"Niederr leapfrog", ZEV_BRNG_NIEDERR, {9}, leapfrog(8, 0x7FFFFFFF)},
      {"Niederr user polynomials", ZEV_BRNG_NIEDERR, {3, 1, 1, 3, 7, 11}, draw({2, 50})},
      {"MT19937", ZEV_BRNG_MT19937, seed, draw(sizes)},
      {"MT19937 fresh", ZEV_BRNG_MT19937, seed, none},
      {"MT19937 short skip", ZEV_BRNG_MT19937, seed, skip(1000)},
      {"MT19937 long skip", ZEV_BRNG_MT19937, seed, skip(0x300007)},
      {"MT2203 member 6023", ZEV_BRNG_MT2203 + 6023, seed, draw(sizes)},
      {"MT2203 member 0", ZEV_BRNG_MT2203, seed, none},
      {"SFMT19937", ZEV_BRNG_SFMT19937, seed, draw(sizes)},
      {"SFMT19937 short skip", ZEV_BRNG_SFMT19937, seed, skip(1001)},
      {"SFMT19937 long skip", ZEV_BRNG_SFMT19937, seed, skip(0x12345)},
      {"PHILOX4X32X10", ZEV_BRNG_PHILOX4X32X10, seed, draw(sizes)},
      {"PHILOX4X32X10 skip", ZEV_BRNG_PHILOX4X32X10, seed, skip(10000001)},
      {"PHILOX4X32X10 fresh", ZEV_BRNG_PHILOX4X32X10, {}, none},
  };
  if (__vqsCPUisAES()) {
    cases.push_back({"ARS5", ZEV_BRNG_ARS5, seed, draw(sizes)});
    cases.push_back({"ARS5 skip", ZEV_BRNG_ARS5, seed, skip(10000003)});
  }
  if (__vqsCPUisRDRAND()) cases.push_back({"TRNG", ZEV_BRNG_TRNG, {0, 3}, draw({3})});

  for (bool withChunks : {false, true}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.what) + (withChunks ? ", with chunks" : ""));
      Stream s(c.id, c.seed);
      ASSERT_NE(s.s, nullptr);
      c.use(s);
      if (withChunks) chunks(s);
      const auto image = save_memory(s);
      const std::string path = temp_path("saved");
      ASSERT_EQ(__vqsSaveStreamF(s, path.c_str(), -1), 0);
      Stream f, m;
      EXPECT_EQ(__vqsLoadStreamF(&f.s, path.c_str(), -1), 0);
      EXPECT_EQ(__vqsLoadStreamM(&m.s, image.data()), 0);
      std::remove(path.c_str());
      if (!f.s || !m.s || c.id == ZEV_BRNG_TRNG) continue;
      const auto want = ints(s, 40);
      EXPECT_EQ(ints(f, 40), want);
      EXPECT_EQ(ints(m, 40), want);
    }
  }
}

// Each stream function that takes a required pointer, given null there: the
// status of a null pointer (-5) before anything is allocated, or what the
// function's own contract says (deleting never fails; a search finds nothing).
TEST(StreamsNullPointers, EveryStreamFunction) {
  Stream s(ZEV_BRNG_MCG31M1, {5});
  const auto image = save_memory(s);
  const std::string path = temp_path("null");
  ASSERT_EQ(__vqsSaveStreamF(s, path.c_str(), -1), 0);
  static const unsigned long long kSkip[2] = {1, 0};
  void* out = reinterpret_cast<void*>(1);  // a stream result must come back null
  struct Case {
    const char* what;
    std::function<int()> call;
    int status;
    bool outCleared;
  } cases[] = {
      {"NewStreamEx, no stream", [] { return __vqsNewStreamEx(nullptr, ZEV_BRNG_MT19937, 0, nullptr); }, -5, false},
      {"NewStreamEx, seed count without seeds", [&] { out = nullptr; return __vqsNewStreamEx(&out, ZEV_BRNG_MT19937, 3, nullptr); }, -5, true},
      {"AllocateStream, no stream", [] { return __vqsAllocateStream(nullptr, __RegBrngsNew, ZEV_BRNG_MCG31M1, 0, 0); }, -5, false},
      {"CopyStream, no result", [&] { return __vqsCopyStream(nullptr, s); }, -5, false},
      {"CopyStream, no source", [&] { return __vqsCopyStream(&out, nullptr); }, -5, true},
      {"CopyStreamState, no destination", [&] { return __vqsCopyStreamState(nullptr, s); }, -5, false},
      {"CopyStreamState, no source", [&] { return __vqsCopyStreamState(s, nullptr); }, -5, false},
      {"DeleteStream, no pointer", [] { return __vqsDeleteStream(nullptr); }, 0, false},
      {"DeleteStream, null stream", [&] { out = nullptr; return __vqsDeleteStream(&out); }, 0, true},
      {"GetStreamSize", [] { return __vqsGetStreamSize(nullptr); }, -5, false},
      {"GetStreamStateBrng", [] { return __vqsGetStreamStateBrng(nullptr); }, -5, false},
      {"LeapfrogStream", [] { return __vqsLeapfrogStream(nullptr, 0, 1); }, -5, false},
      {"SkipAheadStream", [] { return __vqsSkipAheadStream(nullptr, 1); }, -5, false},
      {"SkipAheadStreamEx, no stream", [] { return __vqsSkipAheadStreamEx(nullptr, 2, kSkip); }, -5, false},
      {"SkipAheadStreamEx, no count words", [&] { return __vqsSkipAheadStreamEx(s, 2, nullptr); }, -5, false},
      {"SaveStreamF, no stream", [&] { return __vqsSaveStreamF(nullptr, path.c_str(), -1); }, -5, false},
      {"SaveStreamF, no name", [&] { return __vqsSaveStreamF(s, nullptr, -1); }, -5, false},
      {"SaveStreamF, no name with a length", [&] { return __vqsSaveStreamF(s, nullptr, 4); }, -5, false},
      {"LoadStreamF, no result", [&] { return __vqsLoadStreamF(nullptr, path.c_str(), -1); }, -5, false},
      {"LoadStreamF, no name", [&] { return __vqsLoadStreamF(&out, nullptr, -1); }, -5, true},
      {"LoadStreamF, no name with a length", [&] { return __vqsLoadStreamF(&out, nullptr, 0); }, -5, true},
      {"LoadStreamM, no result", [&] { return __vqsLoadStreamM(nullptr, image.data()); }, -5, false},
      {"LoadStreamM, no image", [&] { return __vqsLoadStreamM(&out, nullptr); }, -5, true},
      {"GetBrngProperties, no row", [] { return __vqsGetBrngProperties(ZEV_BRNG_MCG31M1, nullptr); }, -5, false},
      {"RegisterBrng, no row", [] { return __vqsRegisterBrng(nullptr); }, -5, false},
      {"AddChunk, no stream", [] { return __vqsAddChunk(nullptr, 1, nullptr, nullptr, 0); }, -5, false},
      {"AddChunk, bytes without data", [&] { return __vqsAddChunk(s, 1, nullptr, nullptr, 8); }, -5, false},
      {"GetNumChunks", [] { return __vqsGetNumChunks(nullptr); }, -5, false},
      {"DeleteChunksById", [] { return __vqsDeleteChunksById(nullptr, 1); }, -5, false},
      {"DeleteChunks", [] { return __vqsDeleteChunks(nullptr); }, -5, false},
      {"CopyChunks, no destination", [&] { return __vqsCopyChunks(nullptr, s); }, -5, false},
      {"CopyChunks, no source", [&] { return __vqsCopyChunks(s, nullptr); }, -5, false},
      {"SearchChunk", [] { return __vqsSearchChunk(nullptr, 1) == nullptr ? 0 : 1; }, 0, false},
      {"CreateGlobRODataTableEntry, no key", [] {
         zev_vqs_glob_entry* e = nullptr;
         return __vqsCreateGlobRODataTableEntry(&e, nullptr, nullptr);
       }, -5, false},
      {"GenerateNewGlobalRODataTableEntryId", [] { return __vqsGenerateNewGlobalRODataTableEntryId(nullptr, 1); }, -5, false},
  };
  for (const Case& c : cases) {
    out = reinterpret_cast<void*>(1);
    EXPECT_EQ(c.call(), c.status) << c.what;
    if (c.outCleared) {
      EXPECT_EQ(out, nullptr) << c.what;
    }
  }
  // The stream the calls were given is untouched: no chunk, the same sequence.
  EXPECT_EQ(__vqsGetNumChunks(s), 0);
  Stream fresh(ZEV_BRNG_MCG31M1, {5});
  EXPECT_EQ(ints(s, 8), ints(fresh, 8));
  std::remove(path.c_str());
}
