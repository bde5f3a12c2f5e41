// PHILOX4X32X10: the counter-based generator Philox4x32 of Salmon, Moraes,
// Dror and Shaw ("Parallel Random Numbers: As Easy as 1, 2, 3", SC11) with ten
// rounds: multipliers 0xD2511F53 and 0xCD9E8D57, key increments (Weyl
// constants) 0x9E3779B9 and 0xBB67AE85. Each 128-bit counter value gives
// one block of four words; the counter goes up by one per block.
//
// Stream state (48 bytes behind the 16-byte header, 64 in all):
//   uint32 key[2], ctr[4]; int32 left (words of the block still to give out);
//   uint32 block[4]; int32 pad
// The words of a block go out in order 0, 1, 2, 3.
#include <emmintrin.h>

#include <cstring>

#include "generators/mt19937/convert.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"
#include "streams/state_check.h"

namespace {

using namespace zev::gen;

struct State {
  uint32_t key[2];
  uint32_t ctr[4];
  int32_t left;
  uint32_t block[4];
  int32_t pad;
};
static_assert(sizeof(State) + 16 == 64, "PHILOX4X32X10 stream is 64 bytes");

State* st(void* s) { return zev::vqs::state<State>(s); }

inline void philox_block(const uint32_t ctr[4], const uint32_t key[2], uint32_t out[4]) {
  uint32_t c0 = ctr[0], c1 = ctr[1], c2 = ctr[2], c3 = ctr[3], k0 = key[0], k1 = key[1];
  for (int r = 0; r < 10; ++r) {
    const uint64_t p0 = uint64_t(0xD2511F53u) * c0, p1 = uint64_t(0xCD9E8D57u) * c2;
    const uint32_t n0 = uint32_t(p1 >> 32) ^ c1 ^ k0, n1 = uint32_t(p1);
    const uint32_t n2 = uint32_t(p0 >> 32) ^ c3 ^ k1, n3 = uint32_t(p0);
    c0 = n0; c1 = n1; c2 = n2; c3 = n3;
    k0 += 0x9E3779B9u;
    k1 += 0xBB67AE85u;
  }
  out[0] = c0; out[1] = c1; out[2] = c2; out[3] = c3;
}

inline void increment(uint32_t ctr[4], uint64_t by_lo, uint64_t by_hi = 0) {
  // 128-bit addition, word 0 least significant
  uint64_t lo = uint64_t(ctr[0]) | uint64_t(ctr[1]) << 32;
  uint64_t hi = uint64_t(ctr[2]) | uint64_t(ctr[3]) << 32;
  const uint64_t nlo = lo + by_lo;
  hi += by_hi + (nlo < lo ? 1 : 0);
  ctr[0] = uint32_t(nlo); ctr[1] = uint32_t(nlo >> 32);
  ctr[2] = uint32_t(hi); ctr[3] = uint32_t(hi >> 32);
}

// The counter words of blocks ctr + j in lane j, then ctr += 4. Without a
// carry out of word 0 (all but 4 counters in 2^32) only word 0 differs.
inline void counter_lanes(uint32_t ctr[4], __m128i c[4]) {
  if (ctr[0] <= 0xFFFFFFFBu) {
    c[0] = _mm_add_epi32(_mm_set1_epi32(int(ctr[0])), _mm_set_epi32(3, 2, 1, 0));
    for (int w = 1; w < 4; ++w) c[w] = _mm_set1_epi32(int(ctr[w]));
    ctr[0] += 4;
    return;
  }
  alignas(16) uint32_t t[4][4];  // t[word][lane]
  for (int j = 0; j < 4; ++j) {
    for (int w = 0; w < 4; ++w) t[w][j] = ctr[w];
    increment(ctr, 1);
  }
  for (int w = 0; w < 4; ++w) c[w] = _mm_load_si128(reinterpret_cast<const __m128i*>(t[w]));
}

// 4 * G blocks at once, four in the SSE2 lanes of each of G groups: lane j
// of group g works on counter + 4g + j. The groups are independent, so one
// group's multiplies run while another's wait. The 32 x 32 -> 64-bit
// products come from _mm_mul_epu32 on the even lanes and on the odd lanes
// shifted down.
template <int G>
void philox_blocks(uint32_t ctr[4], const uint32_t key[2], uint32_t* out /* 16 G words */) {
  __m128i c[G][4];
  for (int g = 0; g < G; ++g) counter_lanes(ctr, c[g]);
  const __m128i m0 = _mm_set1_epi32(int(0xD2511F53u)), m1 = _mm_set1_epi32(int(0xCD9E8D57u));
  uint32_t k0 = key[0], k1 = key[1];
  auto mulhilo = [](__m128i a, __m128i m, __m128i& hi, __m128i& lo) {
    const __m128i pe = _mm_mul_epu32(a, m);                                        // lanes 0, 2
    const __m128i po = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(m, 32));  // lanes 1, 3
    // lo: low halves in lanes 0..3; hi: high halves
    const __m128i lo02 = _mm_shuffle_epi32(pe, 0xD8), lo13 = _mm_shuffle_epi32(po, 0xD8);
    lo = _mm_unpacklo_epi32(lo02, lo13);
    hi = _mm_unpackhi_epi32(lo02, lo13);
  };
  for (int r = 0; r < 10; ++r) {
    const __m128i kk0 = _mm_set1_epi32(int(k0)), kk1 = _mm_set1_epi32(int(k1));
    for (int g = 0; g < G; ++g) {
      __m128i h0, l0, h1, l1;
      mulhilo(c[g][0], m0, h0, l0);
      mulhilo(c[g][2], m1, h1, l1);
      c[g][0] = _mm_xor_si128(_mm_xor_si128(h1, c[g][1]), kk0);
      c[g][2] = _mm_xor_si128(_mm_xor_si128(h0, c[g][3]), kk1);
      c[g][1] = l1;
      c[g][3] = l0;
    }
    k0 += 0x9E3779B9u;
    k1 += 0xBB67AE85u;
  }
  // transpose back: out[16 g + 4 lane + word]
  for (int g = 0; g < G; ++g, out += 16) {
    const __m128i a01 = _mm_unpacklo_epi32(c[g][0], c[g][1]), a23 = _mm_unpacklo_epi32(c[g][2], c[g][3]);
    const __m128i b01 = _mm_unpackhi_epi32(c[g][0], c[g][1]), b23 = _mm_unpackhi_epi32(c[g][2], c[g][3]);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi64(a01, a23));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_unpackhi_epi64(a01, a23));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpacklo_epi64(b01, b23));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 12), _mm_unpackhi_epi64(b01, b23));
  }
}

// The block of the current counter is the one being given out; the counter
// then moves on. left words of block remain, from index 4 - left.
void words(State* s, int n, uint32_t* out) {
  while (n > 0 && s->left > 0) {
    *out++ = s->block[4 - s->left];
    --s->left;
    --n;
  }
  while (n >= 48) {
    philox_blocks<3>(s->ctr, s->key, out);
    out += 48;
    n -= 48;
  }
  if (n >= 32) {
    philox_blocks<2>(s->ctr, s->key, out);
    out += 32;
    n -= 32;
  } else if (n >= 16) {
    philox_blocks<1>(s->ctr, s->key, out);
    out += 16;
    n -= 16;
  }
  while (n >= 4) {
    philox_block(s->ctr, s->key, out);
    increment(s->ctr, 1);
    out += 4;
    n -= 4;
  }
  if (n > 0) {
    philox_block(s->ctr, s->key, s->block);
    increment(s->ctr, 1);
    s->left = 4;
    while (n > 0) {
      *out++ = s->block[4 - s->left];
      --s->left;
      --n;
    }
  }
}

// Skip: words left in the block first, then whole blocks by counter
// arithmetic, then the block of the landing counter is computed at once.
int skip(State* s, uint64_t lo, uint64_t hi, uint64_t top) {
  if (hi == 0 && top == 0 && lo < uint64_t(s->left)) {
    s->left -= int32_t(lo);
    return 0;
  }
  // count - left, as a 192-bit number (the cap drops anything above 2^130 words)
  uint64_t l = uint64_t(s->left);
  const uint64_t nlo = lo - l;
  const uint64_t borrow = nlo > lo ? 1 : 0;
  uint64_t nhi = hi - borrow;
  const uint64_t nb2 = (borrow && hi == 0) ? 1 : 0;
  uint64_t ntop = top - nb2;
  // blocks = rest / 4 (128 bits), remainder rest % 4
  const uint64_t rem = nlo & 3;
  const uint64_t blo = (nlo >> 2) | (nhi << 62);
  const uint64_t bhi = (nhi >> 2) | (ntop << 62);
  increment(s->ctr, blo, bhi);
  if (rem == 0) {
    s->left = 0;
    return 0;
  }
  philox_block(s->ctr, s->key, s->block);
  increment(s->ctr, 1);
  s->left = 4 - int32_t(rem);
  return 0;
}

}  // namespace

// A loaded state: the words left in the block, 0 to 4, index the block.
bool zev::gen::check_philox4x32x10_state(const void* stream) {
  const State* s = zev::vqs::state<State>(stream);
  return s->left >= 0 && s->left <= 4;
}

extern "C" {

ZEV_API int __vqsBRngPHILOX4X32X10InitStream(int op, void* stream, int n,
                                             const unsigned int* params) {
  State* s = st(stream);
  switch (op) {
    case 0: {
      uint32_t seed[6] = {};
      for (int i = 0; i < n && i < 6; ++i) seed[i] = params[i];
      std::memset(s, 0, sizeof(State));
      s->key[0] = seed[0];
      s->key[1] = seed[1];
      for (int i = 0; i < 4; ++i) s->ctr[i] = seed[2 + i];
      return 0;
    }
    case 1: return ZEV_VQS_ERR_NO_LEAPFROG;
    case 2: return skip(s, zev::vqs::param_u64(params), 0, 0);
    case 3: {
      uint64_t w[3] = {};
      for (int i = 0; i < n && i < 3; ++i) w[i] = zev::vqs::param_u64(params, i);
      return skip(s, w[0], w[1], w[2]);
    }
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

ZEV_API int __vqsiBRngPHILOX4X32X10(void* stream, int n, unsigned int* r) {
  if (n > 0) words(st(stream), n, r);
  return 0;
}

ZEV_API int __vqsdBRngPHILOX4X32X10(void* stream, int n, double* r, double a, double b) {
  const Affine f = midpoint_affine(a, b);
  State* s = st(stream);
  return draw_converted(n, r, [s](int m, uint32_t* w) { words(s, m, w); return 0; },
                        [f](const uint32_t* w, int m, double* o) { swords_to_double(w, m, o, f); });
}

ZEV_API int __vqssBRngPHILOX4X32X10(void* stream, int n, float* r, float a, float b) {
  const Affine f = midpoint_affine(double(a), double(b));
  State* s = st(stream);
  return draw_converted(n, r, [s](int m, uint32_t* w) { words(s, m, w); return 0; },
                        [f](const uint32_t* w, int m, float* o) { swords_to_float(w, m, o, f); });
}

}  // extern "C"
