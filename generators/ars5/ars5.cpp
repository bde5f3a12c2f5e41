// ARS5: the counter-based generator ARS (AES Random Simple) of Salmon, Moraes,
// Dror and Shaw ("Parallel Random Numbers: As Easy as 1, 2, 3", SC11) with
// five rounds: the 128-bit counter XOR the key, then four AES rounds and a
// last AES round, round key i being the key plus i times the Weyl increment
// (0x9E3779B97F4A7C15 in the low 64 bits, 0xBB67AE8584CAA73B in the high
// 64 bits, added as two 64-bit numbers). Each counter value gives four words.
//
// Stream state (56 bytes behind the 16-byte header, 72 in all):
//   uint32 key[4], ctr[4] (word 0 least significant); int32 left;
//   uint32 block[4]; int32 pad
// The block logic (counter, words left, skip) is the shared one of
// generators/common/counter.h; this file supplies the cipher.
#include <immintrin.h>

#include <cstring>

#include "generators/common/convert.h"
#include "generators/common/counter.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"
#include "streams/state_check.h"

namespace {

using namespace zev::gen;

struct State {
  uint32_t key[4];
  uint32_t ctr[4];
  int32_t left;
  uint32_t block[4];
  int32_t pad;
};
static_assert(sizeof(State) + 16 == 72, "ARS5 stream is 72 bytes");

State* st(void* s) { return zev::vqs::state<State>(s); }

struct Keys {
  __m128i k[6];
};

__attribute__((target("aes,sse2"))) inline Keys schedule(const uint32_t key[4]) {
  Keys ks;
  const __m128i weyl = _mm_set_epi64x(int64_t(0xBB67AE8584CAA73Bull), int64_t(0x9E3779B97F4A7C15ull));
  ks.k[0] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(key));
  for (int i = 1; i < 6; ++i) ks.k[i] = _mm_add_epi64(ks.k[i - 1], weyl);
  return ks;
}

__attribute__((target("aes,sse2"))) inline __m128i ars(__m128i v, const Keys& ks) {
  v = _mm_xor_si128(v, ks.k[0]);
  v = _mm_aesenc_si128(v, ks.k[1]);
  v = _mm_aesenc_si128(v, ks.k[2]);
  v = _mm_aesenc_si128(v, ks.k[3]);
  v = _mm_aesenc_si128(v, ks.k[4]);
  return _mm_aesenclast_si128(v, ks.k[5]);
}

// The block cipher of the counter, for the shared block logic.
struct Cipher {
  const uint32_t* key;

  __attribute__((target("aes,sse2"))) void one(const uint32_t ctr[4], uint32_t out[4]) const {
    const __m128i v = ars(_mm_loadu_si128(reinterpret_cast<const __m128i*>(ctr)), schedule(key));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v);
  }

  // Whole blocks straight to out, four counters in flight.
  __attribute__((target("aes,sse2"))) void many(uint32_t ctr[4], int nblocks, uint32_t* out) const {
    const Keys ks = schedule(key);
    uint64_t lo = uint64_t(ctr[0]) | uint64_t(ctr[1]) << 32;
    uint64_t hi = uint64_t(ctr[2]) | uint64_t(ctr[3]) << 32;
    auto make = [&]() {
      const __m128i c = _mm_set_epi64x(int64_t(hi), int64_t(lo));
      if (++lo == 0) ++hi;
      return c;
    };
    int b = 0;
    for (; b + 4 <= nblocks; b += 4) {
      __m128i v0 = _mm_xor_si128(make(), ks.k[0]), v1 = _mm_xor_si128(make(), ks.k[0]);
      __m128i v2 = _mm_xor_si128(make(), ks.k[0]), v3 = _mm_xor_si128(make(), ks.k[0]);
      for (int r = 1; r < 5; ++r) {
        v0 = _mm_aesenc_si128(v0, ks.k[r]);
        v1 = _mm_aesenc_si128(v1, ks.k[r]);
        v2 = _mm_aesenc_si128(v2, ks.k[r]);
        v3 = _mm_aesenc_si128(v3, ks.k[r]);
      }
      __m128i* o = reinterpret_cast<__m128i*>(out + 4 * b);
      _mm_storeu_si128(o, _mm_aesenclast_si128(v0, ks.k[5]));
      _mm_storeu_si128(o + 1, _mm_aesenclast_si128(v1, ks.k[5]));
      _mm_storeu_si128(o + 2, _mm_aesenclast_si128(v2, ks.k[5]));
      _mm_storeu_si128(o + 3, _mm_aesenclast_si128(v3, ks.k[5]));
    }
    for (; b < nblocks; ++b)
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * b), ars(make(), ks));
    ctr[0] = uint32_t(lo); ctr[1] = uint32_t(lo >> 32);
    ctr[2] = uint32_t(hi); ctr[3] = uint32_t(hi >> 32);
  }
};

void words(State* s, int n, uint32_t* out) { counter::words(Cipher{s->key}, s, n, out); }

}  // namespace

// A loaded state: the words left in the block, 0 to 4, index the block.
bool zev::gen::check_ars5_state(const void* stream) {
  const State* s = zev::vqs::state<State>(stream);
  return s->left >= 0 && s->left <= 4;
}

extern "C" {

ZEV_API int __vqsBRngARS5InitStream(int op, void* stream, int n, const unsigned int* params) {
  State* s = st(stream);
  if (op < ZEV_VQS_INIT_NEW || op > ZEV_VQS_INIT_SKIPEX) return ZEV_VQS_ERR_BAD_INIT_OP;
  if (op == ZEV_VQS_INIT_LEAPFROG) return ZEV_VQS_ERR_NO_LEAPFROG;
  if (!__vqsCPUisAES()) return ZEV_VQS_ERR_NO_AES;
  if (op == ZEV_VQS_INIT_NEW) {
    uint32_t seed[8] = {};  // key[4] then ctr[4]: the first eight state words
    for (int i = 0; i < n && i < 8; ++i) seed[i] = params[i];
    std::memset(s, 0, sizeof(State));
    std::memcpy(s->key, seed, 16);
    std::memcpy(s->ctr, seed + 4, 16);
    return ZEV_VQS_OK;
  }
  return counter::skip_op(Cipher{s->key}, s, op, n, params);
}

ZEV_API int __vqsiBRngARS5(void* stream, int n, unsigned int* r) {
  if (!__vqsCPUisAES()) return ZEV_VQS_ERR_NO_AES;
  if (n > 0) words(st(stream), n, r);
  return 0;
}

ZEV_API int __vqsdBRngARS5(void* stream, int n, double* r, double a, double b) {
  if (!__vqsCPUisAES()) return ZEV_VQS_ERR_NO_AES;
  State* s = st(stream);
  return midpoint_doubles(n, r, a, b, [s](int m, uint32_t* w) { words(s, m, w); return 0; });
}

ZEV_API int __vqssBRngARS5(void* stream, int n, float* r, float a, float b) {
  if (!__vqsCPUisAES()) return ZEV_VQS_ERR_NO_AES;
  State* s = st(stream);
  return midpoint_floats(n, r, a, b, [s](int m, uint32_t* w) { words(s, m, w); return 0; });
}

}  // extern "C"
