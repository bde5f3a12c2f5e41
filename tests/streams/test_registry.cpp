// The registry: id forms, row contents, validity, registration.
#include "helpers.h"

using namespace vqstest;

namespace {

struct RowCase {
  int id;
  int stateBytes, seedWords, zeroFlag, wordBytes, bitCount;
};

// On x86-64 the abstract streams hold 8-byte pointers: 48, 64 and 56 bytes.
const RowCase kRows[] = {
    {0x100000, 24, 1, 0, 4, 31},        {0x200000, 1024, 252, 1, 4, 32},
    {0x300000, 40, 6, 1, 4, 32},        {0x400000, 32, 1, 0, 8, 59},
    {0x500000, 48, 4, 1, 16, 24},       {0x600000, 11712, 2604, 0, 4, 32},
    {0x700000, 84288, 10498, 0, 4, 32}, {0x800000, 2520, 625, 1, 4, 32},
    {0x900000, 312, 70, 1, 4, 32},      {0xA00000, 48, 0, 1, 4, 32},
    {0xB00000, 64, 0, 1, 4, 32},        {0xC00000, 56, 0, 1, 4, 32},
    {0xD00000, 2536, 625, 1, 4, 32},    {0xE00000, 24, 1, 0, 4, 32},
    {0xF00000, 72, 8, 1, 4, 32},        {0x1000000, 64, 8, 1, 4, 32},
};

TEST(StreamsRegistry, RowsHoldTheirSizes) {
  EXPECT_EQ(__vqsGetNumRegBrngs(), 16);
  for (const RowCase& c : kRows) {
    BrngRow r = row_of(c.id);
    EXPECT_EQ(r.stateBytes, c.stateBytes) << std::hex << c.id;
    EXPECT_EQ(r.seedWords, c.seedWords) << std::hex << c.id;
    EXPECT_EQ(r.zeroFlag, c.zeroFlag) << std::hex << c.id;
    EXPECT_EQ(r.wordBytes, c.wordBytes) << std::hex << c.id;
    EXPECT_EQ(r.bitCount, c.bitCount) << std::hex << c.id;
  }
}

// Fails until every generator of the module is built in.
TEST(StreamsRegistry, AllSixteenRowsHaveTheirFunctions) {
  for (const RowCase& c : kRows) {
    BrngRow r = row_of(c.id);
    EXPECT_TRUE(r.initFn && r.sGen && r.dGen && r.iGen) << std::hex << c.id;
  }
}

TEST(StreamsRegistry, OldFormNamesTheSameRows) {
  struct { int oldId, newId; } pairs[] = {{0, 0x100000}, {1, 0x200000}, {2, 0x300000},
                                          {3, 0x400000}, {4, 0x500000}, {276, 0x500110},
                                          {277, 0x600000}, {278, 0x700000}};
  for (auto p : pairs) {
    BrngRow a = row_of(p.oldId), b = row_of(p.newId);
    EXPECT_EQ(0, std::memcmp(&a, &b, sizeof a)) << p.oldId;
  }
  for (int id : {279, 280}) {
    BrngRow r = row_of(id), zero{};
    EXPECT_EQ(0, std::memcmp(&r, &zero, sizeof r)) << id;
  }
}

TEST(StreamsRegistry, IdDecodingAndValidity) {
  struct Case {
    int id;
    bool newTable;
    int index, offset, status;
  } cases[] = {
      {0, false, 0, 0, 0},
      {3, false, 3, 0, 0},
      {4, false, 4, 0, 0},
      {4 + 272, false, 4, 272, 0},
      {277, false, 277, 0, 0},
      {280, false, 280, 0, 0},
      {281, false, 281, 0, -1000},
      {0xFFFFF, false, 0xFFFFF, 0, -1000},
      {0x100000, true, 0, 0, 0},
      {0x500000 + 272, true, 4, 272, 0},
      {0x500000 + 273, true, 4, 273, -1000},
      {0x900000 + 6023, true, 8, 6023, 0},
      {0x900000 + 6024, true, 8, 6024, -1000},
      {0x100001, true, 0, 1, -1000},
      {0xA00001, true, 9, 1, -1000},
      {0x1100000, true, 16, 0, -1000},
      {0x7FFFFFFF, true, 2046, 0xFFFFF, -1000},
      {-5, false, -5, 0, -1000},  // refused: it would name memory before the table
  };
  for (const Case& c : cases) {
    int index = -99, offset = -99;
    BrngRow* t = __vqsGetBrngBaseOffset(c.id, &index, &offset);
    EXPECT_EQ(t, c.newTable ? __RegBrngsNew : __RegBrngs) << std::hex << c.id;
    EXPECT_EQ(index, c.index) << std::hex << c.id;
    EXPECT_EQ(offset, c.offset) << std::hex << c.id;
    EXPECT_EQ(__vqsIsBrngValid(t, index, offset), c.status) << std::hex << c.id;
    BrngRow r;
    EXPECT_EQ(__vqsGetBrngProperties(c.id, &r), c.status) << std::hex << c.id;
  }
}

int dummy_init(int, void*, int, const unsigned*) { return 0; }
int dummy_s(void*, int, float*, float, float) { return 0; }
int dummy_d(void*, int, double*, double, double) { return 0; }
int dummy_i(void*, int, unsigned*) { return 0; }

TEST(StreamsRegistry, RegisterChecksInOrder) {
  const BrngRow good{16, 1, 1, 4, 32, dummy_init, dummy_s, dummy_d, dummy_i};
  struct Case {
    BrngRow row;
    int status;
  } cases[] = {
      {{-1, 0, 0, 3, 0, nullptr, nullptr, nullptr, nullptr}, -1008},
      {{0, 0, 0, 3, 0, nullptr, nullptr, nullptr, nullptr}, -1009},
      {{0, 0, 0, 4, 0, nullptr, nullptr, nullptr, nullptr}, -1010},
      {{0, 1, 0, 16, 0, nullptr, nullptr, nullptr, nullptr}, -1011},
      {{0, 1, 0, 8, 1, nullptr, dummy_s, dummy_d, dummy_i}, -5},
      {{0, 1, 0, 8, 1, dummy_init, dummy_s, nullptr, dummy_i}, -5},
  };
  for (const Case& c : cases) EXPECT_EQ(__vqsRegisterBrng(&c.row), c.status);
  EXPECT_EQ(__vqsRegisterBrng(nullptr), -5);
  EXPECT_EQ(__vqsGetNumRegBrngs(), 16);

  EXPECT_EQ(__vqsRegisterBrng(&good), 0x1100000);
  EXPECT_EQ(__vqsGetNumRegBrngs(), 17);
  BrngRow zeroState = good;
  zeroState.stateBytes = 0;  // accepted: registration does not judge sizes
  EXPECT_EQ(__vqsRegisterBrng(&zeroState), 0x1200000);
  EXPECT_EQ(__vqsGetNumRegBrngs(), 18);

  BrngRow back = row_of(0x1100000);
  EXPECT_EQ(back.initFn, &dummy_init);
  EXPECT_EQ(__vqsGetBrngProperties(0x1100001, &back), -1000);

  void* s = nullptr;
  EXPECT_EQ(__vqsNewStreamEx(&s, 0x1100000, 0, nullptr), 0);
  EXPECT_EQ(__vqsGetStreamStateBrng(s), 0x1100000);
  __vqsDeleteStream(&s);
}

TEST(StreamsRegistry, FullTableRefusesInsteadOfOverrunning) {
  const BrngRow good{16, 1, 1, 4, 32, dummy_init, dummy_s, dummy_d, dummy_i};
  int last = 0;
  // Rows registered by earlier tests count too: fill up to the last row.
  for (int i = __vqsGetNumRegBrngs(); i < ZEV_VQS_NEW_ROWS; ++i) last = __vqsRegisterBrng(&good);
  EXPECT_EQ(last, ((ZEV_VQS_NEW_ROWS - 1) << 20) + 0x100000);
  EXPECT_EQ(__vqsRegisterBrng(&good), -4);
  EXPECT_EQ(__vqsGetNumRegBrngs(), ZEV_VQS_NEW_ROWS);
}

}  // namespace
