// MT2203: a family of 6024 Mersenne Twisters of exponent 2203 (69 words,
// lower part of 5 bits, middle offset 34, tempering shifts 12, 7, 15, 18),
// one parameter set per member, chosen by the member offset of the stream's
// id. Seeding is the published array seeding for 69 words.
//
// Stream state (296 bytes behind the 16-byte header, 312 in all):
//   uint32 x[69]    untempered words
//   int32  pos      next word to give out; 69 means refill first
//   uint32 a, b, c  the member's twist word and tempering masks
//   int32  pad
#include "generators/common/convert.h"
#include "generators/common/mt_core.h"
#include "generators/common/init.h"
#include "streams/state_check.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"

namespace {

using namespace zev::gen;
constexpr int N = 69, M = 34, R = 5;

// Members 0 and 1 are the two published parameter sets of the family; members
// from 2 on are this library's own parameter sets, made by tools/dcmt (see the
// comment at the top of the table).
constexpr mt::Twist kParams[ZEV_MT2203_MEMBERS] = {
#include "generators/mt2203/mt2203_params.inc"
};

struct State {
  uint32_t x[N];
  int32_t pos;
  uint32_t a, b, c;
  int32_t pad;
};
static_assert(sizeof(State) + 16 == 312, "MT2203 stream is 312 bytes");

State* st(void* s) { return zev::vqs::state<State>(s); }

void words(State* s, int n, uint32_t* out) {
  const mt::Twist p{s->a, s->b, s->c};
  mt::draw<N, M, R, 12>(s->x, s->pos, n, out, p);
}

}  // namespace

// A loaded state: the position within the array (69 means refill first), and
// the twist word and tempering masks those of the stream's member.
bool zev::gen::check_mt2203_state(const void* stream) {
  const State* s = zev::vqs::state<State>(stream);
  const int member = zev::vqs::member_of(stream);
  if (member < 0 || member >= ZEV_MT2203_MEMBERS) return false;
  const mt::Twist& p = kParams[member];
  return s->pos >= 0 && s->pos <= N && s->a == p.a && s->b == p.b && s->c == p.c;
}

extern "C" {

ZEV_API int __vqsBRngMT2203InitStream(int op, void* stream, int n, const unsigned int* params) {
  State* s = st(stream);
  auto seed = [stream, s](const uint32_t* key, int length) {
    mt::seed_by_array<N>(s->x, key, length);
    s->pos = N;
    int member = zev::vqs::member_of(stream);
    if (member < 0 || member >= ZEV_MT2203_MEMBERS) member = 0;
    if (kParams[member].a == 0) return ZEV_VQS_ERR_BAD_BRNG;  // a row this build lacks
    s->a = kParams[member].a;
    s->b = kParams[member].b;
    s->c = kParams[member].c;
    s->pad = 0;
    return ZEV_VQS_OK;
  };
  return mt::init_stream(op, n, params, seed);
}

ZEV_API int __vqsiBRngMT2203(void* stream, int n, unsigned int* r) {
  if (n > 0) words(st(stream), n, r);
  return 0;
}

ZEV_API int __vqsdBRngMT2203(void* stream, int n, double* r, double a, double b) {
  State* s = st(stream);
  const mt::Twist p{s->a, s->b, s->c};
  if (n > 0)
    with_double_sink(r, unsigned_affine(a, b),
                     [&](auto sink) { mt::draw_into<N, M, R, 12>(s->x, s->pos, n, p, sink); });
  return 0;
}

ZEV_API int __vqssBRngMT2203(void* stream, int n, float* r, float a, float b) {
  State* s = st(stream);
  const mt::Twist p{s->a, s->b, s->c};
  if (n > 0)
    mt::draw_into<N, M, R, 12>(s->x, s->pos, n, p,
                               FloatSink(r, unsigned_affine(double(a), double(b))));
  return 0;
}

}  // extern "C"
