// MT19937: the 32-bit Mersenne Twister of exponent 19937 (Matsumoto and
// Nishimura, ACM TOMACS 8(1), 1998), seeded by the published array seeding.
//
// Stream state (2504 bytes behind the 16-byte header, 2520 in all):
//   uint32 x[624]   untempered words of the current block
//   int32  pos      next word to give out; 624 means refill first
//   int32  ring     start of the ring in jump work states; 0 in a stream
#include <cstring>

#include "generators/common/convert.h"
#include "generators/mt19937/mt19937_charpoly.h"
#include "generators/common/mt_core.h"
#include "generators/common/init.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"
#include "streams/state_check.h"

namespace {

using namespace zev::gen;
constexpr int N = 624, M = 397, R = 31;
constexpr mt::Twist kTwist{
    .a = 0x9908B0DFu,  // last row of the twist matrix
    .b = 0x9D2C5680u,  // tempering mask after the shift left by 7
    .c = 0xEFC60000u,  // tempering mask after the shift left by 15
};

struct State {
  uint32_t x[N];
  int32_t pos;
  int32_t ring;
};
static_assert(sizeof(State) + 16 == 2520, "MT19937 stream is 2520 bytes");

constexpr int kStreamBytes = int(sizeof(State)) + zev::vqs::kHeaderBytes;
constexpr int kDegree = 19937;            // of the characteristic polynomial
constexpr uint64_t kStepBelow = 0x200000;  // shorter skips step word by word

State* st(void* s) { return zev::vqs::state<State>(s); }
const State* st(const void* s) { return zev::vqs::state<State>(s); }

void words(State* s, int n, uint32_t* out) { mt::draw<N, M, R, 11>(s->x, s->pos, n, out, kTwist); }

// Moves the position by count words without tempering anything.
void step_words(State* s, uint64_t count) {
  while (count > 0) {
    if (s->pos >= N) {
      mt::refill<N, M, R>(s->x, kTwist.a);
      s->pos = 0;
    }
    const uint64_t left = uint64_t(N - s->pos);
    const uint64_t m = count < left ? count : left;
    s->pos += int32_t(m);
    count -= m;
  }
}

// ---- jump work states ----
// A work state is a stream-shaped block whose x is a ring of the 624 previous
// words, oldest at x[ring]; the stream itself is such a ring with ring = 0
// (its array is the block before the next refill). The lower 31 bits of the
// oldest word never reach the future, so their value in a sum does not matter.
void j_clear(void* w) { std::memset(st(w), 0, sizeof(State)); }
void j_add(void* w, const void* src) {
  State* d = st(w);
  const State* s = st(src);
  for (int j = 0, a = d->ring, b = s->ring; j < N; ++j) {
    d->x[a] ^= s->x[b];
    if (++a == N) a = 0;
    if (++b == N) b = 0;
  }
}
void j_copy(void* w, const void* src) {
  State* d = st(w);
  const State* s = st(src);
  for (int j = 0, b = s->ring; j < N; ++j) {
    d->x[j] = s->x[b];
    if (++b == N) b = 0;
  }
  d->ring = 0;
  d->pos = N;
}
void j_step(void* w) {
  State* d = st(w);
  const int h = d->ring;
  const int h1 = h + 1 == N ? 0 : h + 1;
  const int hm = h + M >= N ? h + M - N : h + M;
  d->x[h] = mt::twist1<R>(d->x[h], d->x[h1], d->x[hm], kTwist.a);
  d->ring = h1;
}
void j_setback(void* stream, const void* w, uint64_t) {
  j_copy(stream, w);  // linear order, ring 0, position N: the next draw refills
}
int j_small(void* stream, uint64_t* count) {
  State* s = st(stream);
  const uint64_t left = uint64_t(N - s->pos);
  if (*count <= left) {
    s->pos += int32_t(*count);
    return 0;
  }
  *count -= left;  // the array is the block before the one that the skip lands in
  return 1;
}

}  // namespace

// A loaded state: the position within the array (624 means refill first),
// and the ring start of jump work states 0, as in every stream.
bool zev::gen::check_mt19937_state(const void* stream) {
  const State* s = st(stream);
  return s->pos >= 0 && s->pos <= N && s->ring == 0;
}

extern "C" {

ZEV_API int __vqsBRngMT19937InitStream(int op, void* stream, int n, const unsigned int* params) {
  State* s = st(stream);
  auto seed = [s](const uint32_t* key, int length) {
    mt::seed_by_array<N>(s->x, key, length);
    s->pos = N;
    s->ring = 0;
    return ZEV_VQS_OK;
  };
  auto skip = [stream, s](uint64_t count) {
    if (count < kStepBelow) {
      step_words(s, count);
      return ZEV_VQS_OK;
    }
    return __vqs_SkipAheadSWin(stream, j_clear, j_add, j_copy, j_step, j_setback, j_small,
                               uint32_t(count), uint32_t(count >> 32), N, kDegree, kStreamBytes,
                               kMT19937CharPolyTerms, kMT19937CharPoly);
  };
  return mt::init_stream(op, n, params, seed, skip);
}

ZEV_API int __vqsiBRngMT19937(void* stream, int n, unsigned int* r) {
  if (n > 0) words(st(stream), n, r);
  return 0;
}

ZEV_API int __vqsdBRngMT19937(void* stream, int n, double* r, double a, double b) {
  State* s = st(stream);
  if (n > 0)
    with_double_sink(r, unsigned_affine(a, b),
                     [&](auto sink) { mt::draw_into<N, M, R, 11>(s->x, s->pos, n, kTwist, sink); });
  return 0;
}

ZEV_API int __vqssBRngMT19937(void* stream, int n, float* r, float a, float b) {
  State* s = st(stream);
  if (n > 0)
    mt::draw_into<N, M, R, 11>(s->x, s->pos, n, kTwist,
                               FloatSink(r, unsigned_affine(double(a), double(b))));
  return 0;
}

}  // extern "C"
