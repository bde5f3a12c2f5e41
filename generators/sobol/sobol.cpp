// Sobol: the quasi-random sequence of Sobol in the implementation of Bratley
// and Fox (ACM TOMS 14(1), 1988, Algorithm 659), up to 40 dimensions, in
// Antonov and Saleev's Gray-code order, with 32-bit words.
//
// Stream state (11696 bytes behind the 16-byte header, 11712 in all):
//   position, dimension, component, cursor (uint32 each)
//   uint32 x[40]        current point
//   uint32 v[40][32]    direction words, left-aligned
// The user forms ZEV_QRNG_USER_POLYS_INITS (with or without
// ZEV_QRNG_USER_FROM_DIM1) and ZEV_QRNG_USER_DIRECTIONS keep their direction
// words in chunk kSobolDirectionsChunk (shared by copies of the stream) and
// the point in chunk kSobolPointChunk.
#include <cstring>

#include "generators/sobol/qrng_core.h"
#include "streams/state_check.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"

namespace {

using namespace zev::gen;
constexpr int kMaxDim = 40;

// Algorithm 659 data (Bratley and Fox, 1988): the primitive polynomials of
// dimensions 1..40 (1 stands for dimension 1, whose direction numbers are
// all 1), coded with their leading and constant terms, and the initial
// direction numbers m_1..m_8 (VINIT).
constexpr uint32_t kPoly[kMaxDim] = {
    1,   3,   7,   11,  13,  19,  25,  37,  59,  47,  61,  55,  41,  67,
    97,  91,  109, 103, 115, 131, 193, 137, 145, 143, 241, 157, 185, 167,
    229, 171, 213, 191, 253, 203, 211, 239, 247, 285, 369, 299};

// VINIT of Algorithm 659 by columns: column c holds m_c of the dimensions from
// kVinitFirst[c] (1-based) to 40; column 1 is all ones.
constexpr int kVinitFirst[8] = {1, 3, 4, 6, 8, 14, 20, 38};
constexpr uint8_t kVinitCol2[38] = {1, 3, 1, 3, 1, 3, 3, 1, 3, 1, 3, 1, 3, 1, 1, 3, 1, 3, 1,
                                    3, 1, 3, 3, 1, 3, 1, 3, 1, 3, 1, 1, 3, 1, 3, 1, 3, 1, 3};
constexpr uint8_t kVinitCol3[37] = {7, 5, 1, 3, 3, 7, 5, 5, 7, 7, 1, 3, 3, 7, 5, 1, 1, 5, 3,
                                    3, 1, 7, 5, 1, 3, 3, 7, 5, 1, 1, 5, 7, 7, 5, 1, 3, 3};
constexpr uint8_t kVinitCol4[35] = {1,  7, 9,  13, 11, 1, 3, 7,  9, 5, 13, 13, 11, 3, 15, 5, 3, 15,
                                    7,  9, 13, 9,  1,  11, 7, 5, 15, 1, 15, 11, 5,  3, 1,  7, 9};
constexpr uint8_t kVinitCol5[33] = {9,  3,  27, 15, 29, 21, 23, 19, 11, 25, 7,  13, 17, 1, 25, 29, 3,
                                    31, 11, 5,  23, 27, 19, 21, 5,  1,  17, 13, 7,  15, 9, 31, 9};
constexpr uint8_t kVinitCol6[27] = {37, 33, 7,  5,  11, 39, 63, 27, 17, 15, 23, 29, 3, 21,
                                    13, 31, 25, 9,  49, 33, 19, 29, 11, 19, 27, 15, 25};
constexpr uint8_t kVinitCol7[21] = {13, 33, 115, 41, 79, 17, 29, 119, 75, 73, 105,
                                    7,  59, 65,  21, 3,  113, 61, 89, 45, 107};
constexpr uint8_t kVinitCol8[3] = {7, 23, 39};

// m_1..m_8 of dimension i (0-based); 0 where the column does not reach it.
uint32_t vinit(int i, int c) {
  static constexpr const uint8_t* kCols[8] = {nullptr,    kVinitCol2, kVinitCol3, kVinitCol4,
                                              kVinitCol5, kVinitCol6, kVinitCol7, kVinitCol8};
  if (c == 0) return 1;
  const int first = kVinitFirst[c] - 1;
  return i >= first ? kCols[c][i - first] : 0;
}

struct State {
  qrng::Header h;
  uint32_t x[kMaxDim];
  uint32_t v[kMaxDim][32];
  uint32_t pad[(11696 - 16 - 4 * kMaxDim - 4 * 32 * kMaxDim) / 4];
};
static_assert(sizeof(State) + 16 == 11712, "Sobol stream is 11712 bytes");

State* st(void* s) { return zev::vqs::state<State>(s); }

int degree_of(uint32_t poly) { return poly ? 31 - __builtin_clz(poly) : -1; }

// Direction words of one dimension from its polynomial and m_1..m_s by the
// recurrence of Algorithm 659: m_j = m_{j-s} ^ sum_k a_k 2^k m_{j-k}, then
// v_j = m_j 2^(32 - j).
void directions(uint32_t poly, const uint32_t* m_init, int m_count, uint32_t* v) {
  uint64_t m[33] = {};
  const int s = degree_of(poly);
  if (s <= 0) {  // dimension 1: all m_j = 1
    for (int j = 1; j <= 32; ++j) v[j - 1] = 1u << (32 - j);
    return;
  }
  for (int j = 1; j <= s && j <= 32; ++j) m[j] = j <= m_count ? m_init[j - 1] : 1;
  for (int j = s + 1; j <= 32; ++j) {
    uint64_t nv = m[j - s];
    for (int k = 1; k <= s; ++k)
      if ((poly >> (s - k)) & 1) nv ^= m[j - k] << k;
    m[j] = nv;
  }
  for (int j = 1; j <= 32; ++j) v[j - 1] = uint32_t(m[j] << (32 - j));
}

void default_dimension(int i, uint32_t* v) {
  uint32_t init[8];
  for (int k = 0; k < 8; ++k) init[k] = vinit(i, k);
  directions(kPoly[i], init, 8, v);
}

qrng::Tables tables(void* stream) {
  State* s = st(stream);
  void* tv = __vqsSearchChunk(stream, kSobolDirectionsChunk);
  void* tx = __vqsSearchChunk(stream, kSobolPointChunk);
  if (tv && tx) return {static_cast<const uint32_t*>(tv), static_cast<uint32_t*>(tx)};
  return {&s->v[0][0], s->x};
}

// The user forms that keep their table in chunks: the table goes to chunk 9
// (keyed, shared by copies), the point to chunk 13 (private).
int attach_chunks(void* stream, uint32_t dim, const uint32_t* table) {
  const int words9 = int(dim) * 64 + 2048 - int((dim * 4) & 0x3F) * 32;
  uint32_t* tv = static_cast<uint32_t*>(zev_serv_allocate(size_t(words9) * 4, 128));
  uint32_t* tx = static_cast<uint32_t*>(zev_serv_allocate(size_t(dim) * 4, 128));
  if (!tv || !tx) {
    zev_serv_deallocate(tv);
    zev_serv_deallocate(tx);
    return ZEV_VQS_ERR_NOMEM;
  }
  std::memset(tv, 0, size_t(words9) * 4);
  std::memcpy(tv, table, size_t(dim) * 32 * 4);
  std::memset(tx, 0, size_t(dim) * 4);
  uint64_t key[2];
  __vqsGenerateNewGlobalRODataTableEntryId(key, 9);
  if (__vqsAddChunk(stream, kSobolDirectionsChunk, key, tv, words9 * 4) != 0) {
    zev_serv_deallocate(tv);
    zev_serv_deallocate(tx);
    return ZEV_VQS_ERR_NOMEM;
  }
  if (__vqsAddChunk(stream, kSobolPointChunk, nullptr, tx, int(dim) * 4) != 0) {
    zev_serv_deallocate(tx);
    return ZEV_VQS_ERR_NOMEM;
  }
  return 0;
}

int init(void* stream, int n, const unsigned int* p) {
  State* s = st(stream);
  std::memset(s, 0, sizeof(State));
  uint32_t dim = 1;
  uint32_t form = 0;
  if (n == 1) {
    dim = (p[0] >= 1 && p[0] <= uint32_t(kMaxDim)) ? p[0] : 1;
  } else if (n >= 2) {
    dim = p[0] < 1 ? 1 : p[0];
    if (n >= 4 && p[1] == ZEV_QRNG_USER_PARAMS) form = p[2];
    const uint32_t base = form & ~uint32_t(ZEV_QRNG_USER_FROM_DIM1);
    if (dim > uint32_t(kMaxDim) && base != ZEV_QRNG_USER_POLYS_INITS &&
        base != ZEV_QRNG_USER_DIRECTIONS)
      dim = 1;
  }
  // which user form the n given satisfies; anything else keeps the defaults
  const int64_t nn = n;
  const int64_t d = dim;
  bool polys = false, inits = false, full = false;
  const unsigned* up = nullptr;  // user polynomials of dimensions (first..dim)
  const unsigned* ui = nullptr;  // user initial numbers, count per dimension
  int64_t count = 0;
  int first = 1;  // first dimension the user data describe (0-based)
  switch (form) {
    case ZEV_QRNG_USER_POLYS:
      if (d <= kMaxDim && nn >= d + 2) { polys = true; up = p + 3; }
      break;
    case ZEV_QRNG_USER_INITS:
      if (d <= kMaxDim && nn >= 4 && nn >= (d - 1) * int64_t(p[3]) + 4) {
        inits = true; count = p[3]; ui = p + 4;
      }
      break;
    case ZEV_QRNG_USER_POLYS_INITS:
      if (nn >= d + 3 && nn >= (d - 1) * (int64_t(p[d + 2]) + 1) + 4) {
        polys = inits = true; up = p + 3; count = p[d + 2]; ui = p + d + 3;
      }
      break;
    case ZEV_QRNG_USER_DIRECTIONS:
      if (nn >= d * 32 + 3) full = true;
      break;
    case ZEV_QRNG_USER_POLYS_INITS | ZEV_QRNG_USER_FROM_DIM1:
      if (nn >= d + 4 && nn >= (int64_t(p[d + 3]) + 1) * d + 4) {
        polys = inits = true; up = p + 3; count = p[d + 3]; ui = p + d + 4; first = 0;
      }
      break;
    default: break;
  }
  if (!polys && !inits && !full && dim > uint32_t(kMaxDim)) dim = 1;
  s->h.dimension = dim;
  s->h.component = qrng::kAll;
  if (count > 32) count = 32;
  const bool chunked =
      full || (form & ~uint32_t(ZEV_QRNG_USER_FROM_DIM1)) == ZEV_QRNG_USER_POLYS_INITS;
  if (!chunked) {
    for (uint32_t i = 0; i < dim; ++i) {
      if (!polys && !inits) { default_dimension(int(i), s->v[i]); continue; }
      if (int(i) < first) { default_dimension(int(i), s->v[i]); continue; }
      const uint32_t poly = polys ? up[i - uint32_t(first)] : kPoly[i];
      uint32_t init_m[32];
      int mc = 8;
      if (inits) {
        mc = int(count);
        for (int k = 0; k < mc; ++k) init_m[k] = ui[int64_t(i - uint32_t(first)) * count + k];
      } else {
        for (int k = 0; k < 8; ++k) init_m[k] = vinit(i, k);
      }
      directions(poly, init_m, mc, s->v[i]);
    }
    return 0;
  }
  // chunk forms: build the whole table first
  uint32_t* table = static_cast<uint32_t*>(zev_serv_allocate(size_t(dim) * 32 * 4, 128));
  if (!table) return ZEV_VQS_ERR_NOMEM;
  for (uint32_t i = 0; i < dim; ++i) {
    uint32_t* v = table + size_t(i) * 32;
    if (full) {
      std::memcpy(v, p + 3 + size_t(i) * 32, 32 * 4);
    } else if (int(i) < first) {
      default_dimension(int(i), v);
    } else {
      uint32_t init_m[32];
      for (int k = 0; k < count; ++k) init_m[k] = ui[int64_t(i - uint32_t(first)) * count + k];
      directions(up[i - uint32_t(first)], init_m, int(count), v);
    }
  }
  const int status = attach_chunks(stream, dim, table);
  zev_serv_deallocate(table);
  return status;
}

void words(void* stream, int n, uint32_t* out) { qrng::words(&st(stream)->h, tables(stream), n, out); }

}  // namespace

// A loaded state: the header against the tables that tables() will use,
// chunks 9 and 13 when both hold data (each must hold the dimension's
// direction words and point), else the fixed tables of 40 dimensions. The
// point changes with every draw, so chunk 13 must be the stream's own: a key
// would share it with every stream loaded from the same bytes.
bool zev::gen::check_sobol_state(const void* stream) {
  const State* s = zev::vqs::state<State>(stream);
  uint64_t max_dim = kMaxDim;
  const zev_vqs_chunk* tv = zev::vqs::first_chunk(stream, kSobolDirectionsChunk);
  const zev_vqs_chunk* tx = zev::vqs::first_chunk(stream, kSobolPointChunk);
  if (tv && tv->data && tx && tx->data) {
    if (tx->key[0] != 0 || tx->key[1] != 0) return false;
    const uint64_t by_v = tv->size > 0 ? uint64_t(tv->size) / (4 * qrng::kBits) : 0;
    const uint64_t by_x = tx->size > 0 ? uint64_t(tx->size) / 4 : 0;
    max_dim = by_v < by_x ? by_v : by_x;
  }
  return qrng::header_ok(s->h, max_dim);
}

extern "C" {

ZEV_QRNG_COMMON_ENTRIES(Sobol)

ZEV_API int __vqssBRngSobol(void* stream, int n, float* r, float a, float b) {
  if (const int e = qrng::check_room(&st(stream)->h, n)) return e;
  return qrng::gen_s([stream](int m, uint32_t* w) { words(stream, m, w); return 0; }, n, r, a, b);
}

}  // extern "C"
