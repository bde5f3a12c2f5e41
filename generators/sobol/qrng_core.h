// The Gray-code walk shared by the quasi-random generators (Antonov and
// Saleev's ordering of Sobol's construction; the same for Niederreiter's).
//
// A sequence is given by 32 direction words per component: point q (q = 1,
// 2, ...) is the XOR of the direction words j over the set bits j of the
// Gray code q ^ (q >> 1), so point q is point q - 1 with direction word
// ctz(q) XORed in. Point 0 (all zero) is never given out.
//
// Stream fields: position counts values given out; with all components
// (component = 0xFFFFFFFF) the stream gives the components of successive
// points, `cursor` being the component of the next value and x[] the point
// of the last value given (point ceil(position / dimension)); with one
// component k, each value is coordinate k of the next point, position counts
// points, and only x[k] is kept.
#pragma once

#include <cstdint>
#include <cstring>

#include "generators/common/convert.h"
#include "zev/zev_vqs.h"

namespace zev::gen {

// Chunk ids of the quasi-random tables a user form brings (saved with the
// stream, so fixed): Sobol's direction words (keyed, shared by copies) and
// its point (private), Niederreiter's direction words.
constexpr int kSobolDirectionsChunk = 9;
constexpr int kNiederrDirectionsChunk = 10;
constexpr int kSobolPointChunk = 13;

}  // namespace zev::gen

namespace zev::gen::qrng {

constexpr uint32_t kAll = 0xFFFFFFFFu;
constexpr int kBits = 32;

struct Header {
  uint32_t position;
  uint32_t dimension;
  uint32_t component;
  uint32_t cursor;
};

struct Tables {
  const uint32_t* v;  // v[component * 32 + j]
  uint32_t* x;        // x[component]
};

inline uint32_t gray_point(const uint32_t* v, uint64_t q) {
  const uint64_t g = q ^ (q >> 1);
  uint32_t r = 0;
  for (int j = 0; j < kBits; ++j)
    if ((g >> j) & 1) r ^= v[j];
  return r;
}

// n words of the sequence.
inline void words(Header* h, Tables t, int n, uint32_t* out) {
  const uint32_t d = h->dimension;
  if (h->component != kAll) {
    const uint32_t k = h->component;
    const uint32_t* v = t.v + size_t(k) * kBits;
    uint32_t x = t.x[k];
    uint32_t q = h->position;
    for (int i = 0; i < n; ++i) {
      ++q;
      x ^= v[__builtin_ctz(q)];
      out[i] = x;
    }
    t.x[k] = x;
    h->position = q;
    return;
  }
  uint32_t c = h->cursor;
  int i = 0;
  // finish the current point
  while (i < n && c != 0) {
    out[i++] = t.x[c];
    if (++c == d) c = 0;
  }
  uint32_t q = uint32_t((uint64_t(h->position) + uint64_t(i)) / d);  // points done
  while (i < n) {
    // a new point: every component moves by the same direction index
    ++q;
    const int j = __builtin_ctz(q);
    const uint32_t m = uint32_t(n - i) < d ? uint32_t(n - i) : d;
    for (uint32_t k = 0; k < d; ++k) t.x[k] ^= t.v[size_t(k) * kBits + size_t(j)];
    for (uint32_t k = 0; k < m; ++k) out[i + int(k)] = t.x[k];
    i += int(m);
    c = m == d ? 0 : m;
  }
  h->position += uint32_t(n);
  h->cursor = c;
}

// Sets x to the point that the position stands at.
inline void place(Header* h, Tables t) {
  if (h->component != kAll) {
    const uint32_t k = h->component;
    t.x[k] = gray_point(t.v + size_t(k) * kBits, h->position);
    return;
  }
  const uint64_t q = (uint64_t(h->position) + h->dimension - 1) / h->dimension;
  for (uint32_t k = 0; k < h->dimension; ++k) t.x[k] = gray_point(t.v + size_t(k) * kBits, q);
  h->cursor = h->position % h->dimension;
}

// A loaded header: a dimension of 1 to max_dim (what the tables in use hold),
// a component that is all or one of them, and the cursor where the position
// puts it (the position modulo the dimension; 0 with one component).
inline bool header_ok(const Header& h, uint64_t max_dim) {
  if (h.dimension < 1 || h.dimension > max_dim) return false;
  if (h.component == kAll) return h.cursor == h.position % h.dimension;
  return h.component < h.dimension && h.cursor == 0;
}

inline int check_room(const Header* h, int n) {
  return uint64_t(h->position) + uint64_t(n > 0 ? n : 0) > 0xFFFFFFFFull ? ZEV_VQS_ERR_QRNG_EXHAUSTED : 0;
}

// Leapfrog: only the selection of one component of every point.
inline int leapfrog(Header* h, Tables t, int nstreams, int k) {
  if (nstreams != 0x7FFFFFFF || k < 0 || uint32_t(k) >= h->dimension) return ZEV_VQS_ERR_NO_LEAPFROG;
  if (h->component == kAll)  // points touched so far are used up
    h->position = uint32_t((uint64_t(h->position) + h->dimension - 1) / h->dimension);
  h->component = uint32_t(k);
  h->cursor = 0;
  place(h, t);
  return 0;
}

inline int skip(Header* h, Tables t, int n, uint64_t count) {
  if (n <= 0) return ZEV_VQS_ERR_NO_SKIPAHEAD;
  if (uint64_t(h->position) + count > 0xFFFFFFFFull) return ZEV_VQS_ERR_NO_SKIPAHEAD;
  h->position += uint32_t(count);
  place(h, t);
  return 0;
}

template <class Words>
inline int gen_d(Words&& w, int n, double* r, double a, double b) {
  return unsigned_doubles(n, r, a, b, w);
}

// Single precision in float arithmetic: the word converted as signed, with
// 2^32 added back by a two-entry table indexed by the sign.
template <class Words>
inline int gen_s(Words&& w, int n, float* r, float a, float b) {
  const float scale = (b - a) * 2.3283064365386963e-10f;
  static constexpr float kFix[2] = {0.0f, 4294967296.0f};
  return draw_converted(n, r, w, [scale, a](const uint32_t* q, int m, float* o) {
    for (int k = 0; k < m; ++k) {
      const int32_t s = int32_t(q[k]);
      o[k] = (float(s) + kFix[uint32_t(s) >> 31]) * scale + a;
    }
  });
}

}  // namespace zev::gen::qrng

// The entry points both quasi-random generators share: init, leapfrog and
// skip through the direction tables, and integer and double output. The file
// that expands it defines init(), st(), tables() and words() for its state.
#define ZEV_QRNG_COMMON_ENTRIES(Name)                                                          \
  ZEV_API int __vqsBRng##Name##InitStream(int op, void* stream, int n, const unsigned int* params) { \
    switch (op) {                                                                              \
      case ZEV_VQS_INIT_NEW: return init(stream, n, params);                                   \
      case ZEV_VQS_INIT_LEAPFROG: {                                                            \
        int k = 0;                                                                             \
        std::memcpy(&k, params, 4);                                                            \
        return zev::gen::qrng::leapfrog(&st(stream)->h, tables(stream), n, k);                 \
      }                                                                                        \
      case ZEV_VQS_INIT_SKIPAHEAD:                                                             \
        return zev::gen::qrng::skip(&st(stream)->h, tables(stream), n, zev::vqs::param_u64(params)); \
      case ZEV_VQS_INIT_SKIPEX: return ZEV_VQS_ERR_NO_SKIPAHEADEX;                             \
      default: return ZEV_VQS_ERR_BAD_INIT_OP;                                                 \
    }                                                                                          \
  }                                                                                            \
  ZEV_API int __vqsiBRng##Name(void* stream, int n, unsigned int* r) {                         \
    if (const int e = zev::gen::qrng::check_room(&st(stream)->h, n)) return e;                 \
    if (n > 0) words(stream, n, r);                                                            \
    return 0;                                                                                  \
  }                                                                                            \
  ZEV_API int __vqsdBRng##Name(void* stream, int n, double* r, double a, double b) {           \
    if (const int e = zev::gen::qrng::check_room(&st(stream)->h, n)) return e;                 \
    return zev::gen::qrng::gen_d([stream](int m, uint32_t* w) { words(stream, m, w); return 0; }, n, r, a, b); \
  }
