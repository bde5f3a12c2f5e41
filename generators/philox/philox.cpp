// PHILOX4X32X10: the counter-based generator Philox4x32 of Salmon, Moraes,
// Dror and Shaw ("Parallel Random Numbers: As Easy as 1, 2, 3", SC11) with ten
// rounds: multipliers 0xD2511F53 and 0xCD9E8D57, key increments (Weyl
// constants) 0x9E3779B9 and 0xBB67AE85. Each 128-bit counter value gives
// one block of four words; the counter goes up by one per block.
//
// Stream state (48 bytes behind the 16-byte header, 64 in all):
//   uint32 key[2], ctr[4]; int32 left (words of the block still to give out);
//   uint32 block[4]; int32 pad
// The words of a block go out in order 0, 1, 2, 3; the block logic
// (counter, words left, skip) is the shared one of generators/common/counter.h.
#include <emmintrin.h>

#include <cstring>

#include "generators/common/convert.h"
#include "generators/common/counter.h"
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
    counter::add(ctr, 1);
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

// The block function of the counter, for the shared block logic; whole
// blocks go twelve, eight or four at a time through the lanes.
struct Cipher {
  const uint32_t* key;

  void one(const uint32_t ctr[4], uint32_t out[4]) const { philox_block(ctr, key, out); }

  void many(uint32_t ctr[4], int nblocks, uint32_t* out) const {
    while (nblocks >= 12) {
      philox_blocks<3>(ctr, key, out);
      out += 48;
      nblocks -= 12;
    }
    if (nblocks >= 8) {
      philox_blocks<2>(ctr, key, out);
      out += 32;
      nblocks -= 8;
    } else if (nblocks >= 4) {
      philox_blocks<1>(ctr, key, out);
      out += 16;
      nblocks -= 4;
    }
    for (; nblocks > 0; --nblocks, out += 4) {
      philox_block(ctr, key, out);
      counter::add(ctr, 1);
    }
  }
};

void words(State* s, int n, uint32_t* out) { counter::words(Cipher{s->key}, s, n, out); }

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
    case ZEV_VQS_INIT_NEW: {
      uint32_t seed[6] = {};  // key[2] then ctr[4]
      for (int i = 0; i < n && i < 6; ++i) seed[i] = params[i];
      std::memset(s, 0, sizeof(State));
      s->key[0] = seed[0];
      s->key[1] = seed[1];
      for (int i = 0; i < 4; ++i) s->ctr[i] = seed[2 + i];
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_LEAPFROG: return ZEV_VQS_ERR_NO_LEAPFROG;
    case ZEV_VQS_INIT_SKIPAHEAD:
    case ZEV_VQS_INIT_SKIPEX: return counter::skip_op(Cipher{s->key}, s, op, n, params);
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

ZEV_API int __vqsiBRngPHILOX4X32X10(void* stream, int n, unsigned int* r) {
  if (n > 0) words(st(stream), n, r);
  return 0;
}

ZEV_API int __vqsdBRngPHILOX4X32X10(void* stream, int n, double* r, double a, double b) {
  State* s = st(stream);
  return midpoint_doubles(n, r, a, b, [s](int m, uint32_t* w) { words(s, m, w); return 0; });
}

ZEV_API int __vqssBRngPHILOX4X32X10(void* stream, int n, float* r, float a, float b) {
  State* s = st(stream);
  return midpoint_floats(n, r, a, b, [s](int m, uint32_t* w) { words(s, m, w); return 0; });
}

}  // extern "C"
