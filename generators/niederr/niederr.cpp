// Niederr: Niederreiter's base-2 quasi-random sequence in the construction of
// Bratley, Fox and Niederreiter (Algorithm 738), up to 318 dimensions, in
// Gray-code order, with 32-bit words. Dimension i uses the i-th irreducible
// polynomial over GF(2) in increasing order.
//
// Stream state (84272 bytes behind the 16-byte header, 84288 in all):
//   position, dimension, component, cursor (uint32 each)
//   uint32 x[318]       current point
//   uint32 v[318][32]   direction words
// A user table (user polynomials, form 1, or user direction words, form 4)
// goes to chunk kNiederrDirectionsChunk, which the generate functions look up first.
#include <cstring>

#include "generators/niederr/niederr_construct.h"
#include "generators/sobol/qrng_core.h"
#include "streams/state_check.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"

namespace {

using namespace zev::gen;
constexpr int kMaxDim = 318;

#include "generators/niederr/niederr_tables.inc"

struct State {
  qrng::Header h;
  uint32_t x[kMaxDim];
  uint32_t v[kMaxDim][32];
  uint32_t pad[(84272 - 16 - 4 * kMaxDim - 4 * 32 * kMaxDim) / 4];
};
static_assert(sizeof(State) + 16 == 84288, "Niederr stream is 84288 bytes");

State* st(void* s) { return zev::vqs::state<State>(s); }

qrng::Tables tables(void* stream) {
  State* s = st(stream);
  if (void* tv = __vqsSearchChunk(stream, kNiederrDirectionsChunk))
    return {static_cast<const uint32_t*>(tv), s->x};
  return {&s->v[0][0], s->x};
}

int init(void* stream, int n, const unsigned int* p) {
  State* s = st(stream);
  std::memset(&s->h, 0, sizeof(s->h));
  uint32_t dim = 1;
  if (n >= 1) dim = (p[0] >= 1 && p[0] <= uint32_t(kMaxDim)) ? p[0] : 1;
  s->h.dimension = dim;
  s->h.component = qrng::kAll;
  std::memset(s->x, 0, sizeof(s->x));
  const int64_t nn = n, d = dim;
  const uint32_t form = (n > 2 && p[1] == ZEV_QRNG_USER_PARAMS) ? p[2] : 0;
  const bool polys = form == ZEV_QRNG_USER_POLYS && nn >= d + 3;
  const bool full = form == ZEV_QRNG_USER_DIRECTIONS && nn >= d * 32 + 3;
  if (!polys && !full) {
    std::memcpy(s->v, kNiederrDirections, size_t(dim) * 32 * 4);
    return 0;
  }
  uint32_t* table = static_cast<uint32_t*>(zev_serv_allocate(size_t(dim) * 32 * 4, 128));
  if (!table) return ZEV_VQS_ERR_NOMEM;
  for (uint32_t i = 0; i < dim; ++i) {
    if (full) std::memcpy(table + size_t(i) * 32, p + 3 + size_t(i) * 32, 32 * 4);
    else niederr::directions(p[3 + i], table + size_t(i) * 32);
  }
  if (__vqsAddChunk(stream, kNiederrDirectionsChunk, nullptr, table, int(dim) * 32 * 4) != 0) {
    zev_serv_deallocate(table);
    return ZEV_VQS_ERR_NOMEM;
  }
  return 0;
}

void words(void* stream, int n, uint32_t* out) { qrng::words(&st(stream)->h, tables(stream), n, out); }

}  // namespace

// A loaded state: the header against the tables in use: the point always in
// the state (318 dimensions), the direction words there or in chunk 10 when
// it holds data, which must then hold the dimension's words.
bool zev::gen::check_niederr_state(const void* stream) {
  const State* s = zev::vqs::state<State>(stream);
  uint64_t max_dim = kMaxDim;
  const zev_vqs_chunk* tv = zev::vqs::first_chunk(stream, kNiederrDirectionsChunk);
  if (tv && tv->data) {
    const uint64_t by_v = tv->size > 0 ? uint64_t(tv->size) / (4 * qrng::kBits) : 0;
    if (by_v < max_dim) max_dim = by_v;
  }
  return qrng::header_ok(s->h, max_dim);
}

extern "C" {

ZEV_QRNG_COMMON_ENTRIES(Niederr)

ZEV_API int __vqssBRngNiederr(void* stream, int n, float* r, float a, float b) {
  if (const int e = qrng::check_room(&st(stream)->h, n)) return e;
  return unsigned_floats(n, r, a, b, [stream](int m, uint32_t* w) {
    words(stream, m, w);
    return 0;
  });
}

}  // extern "C"
