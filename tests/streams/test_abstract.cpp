// Abstract streams: numbers from the caller's buffer, refilled by a callback.
#include "helpers.h"

using namespace vqstest;

namespace {

// The callback writes `result` new numbers at the index, continuing a count.
struct Feed {
  unsigned next = 1000;
  int result = -100;  // -100: as many as requested
  int calls = 0;
};
Feed* g_feed = nullptr;

template <class T>
int refill(void*, unsigned* size, T* buf, unsigned* req, unsigned*, unsigned* idx) {
  ++g_feed->calls;
  int n = g_feed->result == -100 ? int(*req) : g_feed->result;
  for (int i = 0; i < n && i < int(*size); ++i) buf[(*idx + unsigned(i)) % *size] = T(g_feed->next++);
  return n;
}

TEST(StreamsAbstract, IntegerStreamReadsBufferThenRefills) {
  Feed feed;
  g_feed = &feed;
  unsigned buf[5] = {1, 2, 3, 4, 5};
  Stream s;
  ASSERT_EQ(__vqsiNewAbstractStream(&s.s, 5, buf, refill<unsigned>), 0);
  EXPECT_EQ(__vqsGetStreamStateBrng(s), ZEV_BRNG_IABSTRACT);
  std::vector<unsigned> want = {1, 2, 3, 4, 5};
  for (unsigned v = 1000; v < 1012; ++v) want.push_back(v);
  // Split calls and one call see the same numbers.
  auto a = ints(s, 3);
  auto b = ints(s, 14);
  a.insert(a.end(), b.begin(), b.end());
  EXPECT_EQ(a, want);
  EXPECT_GE(feed.calls, 3);
}

TEST(StreamsAbstract, FloatingStreamsRescaleTheRange) {
  Feed feed;
  g_feed = &feed;
  double dbuf[4] = {0.0, 0.25, 0.5, 1.0};
  Stream d;
  ASSERT_EQ(__vqsdNewAbstractStream(&d.s, 4, dbuf, 0.0, 1.0, refill<double>), 0);
  auto got = doubles(d, 4, 10.0, 14.0);
  EXPECT_EQ(got, (std::vector<double>{10.0, 11.0, 12.0, 14.0}));

  float fbuf[2] = {-1.0f, 1.0f};
  Stream f;
  ASSERT_EQ(__vqssNewAbstractStream(&f.s, 2, fbuf, -1.0f, 1.0f, refill<float>), 0);
  EXPECT_EQ(floats(f, 2, 0.0f, 1.0f), (std::vector<float>{0.0f, 1.0f}));
}

TEST(StreamsAbstract, Statuses) {
  Feed feed;
  g_feed = &feed;
  unsigned buf[4] = {};
  void* s = nullptr;
  // Constructors refuse a zero size, a null buffer or a null callback.
  EXPECT_EQ(__vqsiNewAbstractStream(&s, 0, buf, refill<unsigned>), -3);
  EXPECT_EQ(__vqsiNewAbstractStream(&s, 4, nullptr, refill<unsigned>), -3);
  EXPECT_EQ(__vqsiNewAbstractStream(&s, 4, buf, nullptr), -3);
  double dbuf[4] = {};
  EXPECT_EQ(__vqsdNewAbstractStream(&s, 4, dbuf, 0, 1, nullptr), -3);
  float fbuf[4] = {};
  EXPECT_EQ(__vqssNewAbstractStream(&s, 0, fbuf, 0, 1, refill<float>), -3);

  Stream i;
  ASSERT_EQ(__vqsiNewAbstractStream(&i.s, 4, buf, refill<unsigned>), 0);
  EXPECT_EQ(__vqsLeapfrogStream(i, 0, 2), -1002);
  EXPECT_EQ(__vqsSkipAheadStream(i, 1), -1003);
  const unsigned long long w[1] = {1};
  EXPECT_EQ(__vqsSkipAheadStreamEx(i, 1, w), -1004);
  EXPECT_EQ(__vqsBRngiAbstractInitStream(7, i, 0, nullptr), -2);

  // Wrong type: the shared stub, under all six names.
  double d[2];
  float f[2];
  unsigned u[2];
  EXPECT_EQ(__vqsdBRngiAbstract(i, 2, d, 0, 1), -1122);
  EXPECT_EQ(__vqssBRngiAbstract(i, 2, f, 0, 1), -1122);
  EXPECT_EQ(__vqsdBRngsAbstract(i, 2, d, 0, 1), -1122);
  EXPECT_EQ(__vqsiBRngdAbstract(i, 2, u), -1122);
  EXPECT_EQ(__vqsiBRngsAbstract(i, 2, u), -1122);
  EXPECT_EQ(__vqssBRngdAbstract(i, 2, f, 0, 1), -1122);
  BrngRow r = row_of(ZEV_BRNG_IABSTRACT);
  EXPECT_EQ(r.dGen(i, 2, d, 0, 1), -1122);

  // Callback results: too many, negative, zero. Earlier values stay written.
  struct Case {
    int result, status;
  } cases[] = {{5, -1120}, {-1, -1120}, {0, -1121}};
  for (const Case& c : cases) {
    unsigned b2[4] = {7, 7, 7, 7};
    Stream t;
    ASSERT_EQ(__vqsiNewAbstractStream(&t.s, 4, b2, refill<unsigned>), 0);
    feed.result = c.result;
    unsigned out[6] = {};
    EXPECT_EQ(__vqsiBRngiAbstract(t, 6, out), c.status) << c.result;
    EXPECT_EQ(out[3], 7u);
  }

  // A stream whose buffer is null (allocated, never initialised).
  void* raw = nullptr;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(ZEV_BRNG_IABSTRACT, &index, &offset);
  ASSERT_EQ(__vqsAllocateStream(&raw, table, ZEV_BRNG_IABSTRACT, index, offset), 0);
  EXPECT_EQ(__vqsiBRngiAbstract(raw, 1, u), -5);
  __vqsDeleteStream(&raw);
}

}  // namespace
