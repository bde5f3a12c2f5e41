// SFMT19937: the SIMD-oriented Fast Mersenne Twister of Saito and Matsumoto
// ("SIMD-oriented Fast Mersenne Twister: a 128-bit Pseudorandom Number
// Generator", Monte Carlo and Quasi-Monte Carlo Methods 2006) with the
// parameters of exponent 19937: POS1 122, SL1 18, SL2 1 (bytes), SR1 11,
// SR2 1 (bytes), masks dfffffef ddfecb7f bffaffff bffffff6, parity vector
// 00000001 00000000 00000000 13c9e684. Words go out in array order with no
// tempering.
//
// Stream state (2520 bytes behind the 16-byte header, 2536 in all):
//   uint32 w[624]   156 blocks of 128 bits, 16-byte aligned in the stream
//   int32  left     words of the current block still to give out; 0 refills
//   int32  second   second index, 0 from seeding on
//   int32  ring     start of the ring in jump work states; 0 in a stream
//   int32  pad[3]
#include <emmintrin.h>

#include <cstring>

#include "generators/common/convert.h"
#include "generators/common/init.h"
#include "generators/sfmt19937/sfmt19937_charpoly.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"
#include "streams/state_check.h"

namespace {

using namespace zev::gen;
constexpr int N = 156, N32 = 624, POS1 = 122;
constexpr uint32_t kMask[4] = {0xdfffffefu, 0xddfecb7fu, 0xbffaffffu, 0xbffffff6u};
constexpr uint32_t kParity[4] = {0x00000001u, 0x00000000u, 0x00000000u, 0x13c9e684u};

struct State {
  uint32_t w[N32];  // 16-byte aligned: the stream is 128-aligned and w sits at offset 16
  int32_t left;
  int32_t second;
  int32_t ring;
  int32_t pad[3];
};
static_assert(sizeof(State) + 16 == 2536, "SFMT19937 stream is 2536 bytes");

constexpr int kStreamBytes = int(sizeof(State)) + zev::vqs::kHeaderBytes;
constexpr int kDegree = 19968;  // of the characteristic polynomial, 156 * 128

State* st(void* s) { return zev::vqs::state<State>(s); }
const State* st(const void* s) { return zev::vqs::state<State>(s); }

// One block of the recurrence from a = w[i], b = w[i + POS1], c = w[i - 2],
// d = w[i - 1]. c and d are the blocks just made, so they come last: the
// terms of a and b are summed while d is still being made, and the chain from
// one block to the next is one shift and one xor. The empty asm keeps the
// compiler from reassociating the xors, which lengthens that chain to four.
inline __m128i rec(__m128i a, __m128i b, __m128i c, __m128i d, __m128i mask) {
  __m128i t = _mm_xor_si128(a, _mm_slli_si128(a, 1));
  t = _mm_xor_si128(t, _mm_and_si128(_mm_srli_epi32(b, 11), mask));
  t = _mm_xor_si128(t, _mm_srli_si128(c, 1));
  asm("" : "+x"(t));
  return _mm_xor_si128(t, _mm_slli_epi32(d, 18));
}

inline __m128i* blk(uint32_t* w, int i) { return reinterpret_cast<__m128i*>(w) + i; }

// All 156 blocks at once, in place, each new block also handed to
// put(block, index) while it is in a register.
template <class Put>
inline void refill_into(uint32_t* w, Put&& put) {
  const __m128i mask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kMask));
  __m128i r1 = _mm_load_si128(blk(w, N - 2)), r2 = _mm_load_si128(blk(w, N - 1));
  int i = 0;
  for (; i < N - POS1; ++i) {
    const __m128i r = rec(_mm_load_si128(blk(w, i)), _mm_load_si128(blk(w, i + POS1)), r1, r2, mask);
    _mm_store_si128(blk(w, i), r);
    put(r, i);
    r1 = r2;
    r2 = r;
  }
  for (; i < N; ++i) {
    const __m128i r =
        rec(_mm_load_si128(blk(w, i)), _mm_load_si128(blk(w, i + POS1 - N)), r1, r2, mask);
    _mm_store_si128(blk(w, i), r);
    put(r, i);
    r1 = r2;
    r2 = r;
  }
}

void refill(uint32_t* w) { refill_into(w, [](__m128i, int) {}); }

// blocks >= 156 whole blocks straight into out by the recurrence, reading
// the state for the first 156 and out itself after that; the state then
// takes the last 156 blocks, as if the array had been refilled in place.
void blocks_into(State* s, int blocks, uint32_t* out) {
  const __m128i mask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kMask));
  auto ld = [](const uint32_t* p, int i) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p) + i); };
  auto st = [](uint32_t* p, int i, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p) + i, v); };
  __m128i r1 = _mm_load_si128(blk(s->w, N - 2)), r2 = _mm_load_si128(blk(s->w, N - 1));
  int i = 0;
  for (; i < N - POS1; ++i) {
    const __m128i r = rec(_mm_load_si128(blk(s->w, i)), _mm_load_si128(blk(s->w, i + POS1)), r1, r2, mask);
    st(out, i, r);
    r1 = r2;
    r2 = r;
  }
  for (; i < N; ++i) {
    const __m128i r = rec(_mm_load_si128(blk(s->w, i)), ld(out, i + POS1 - N), r1, r2, mask);
    st(out, i, r);
    r1 = r2;
    r2 = r;
  }
  for (; i < blocks; ++i) {
    const __m128i r = rec(ld(out, i - N), ld(out, i + POS1 - N), r1, r2, mask);
    st(out, i, r);
    r1 = r2;
    r2 = r;
  }
  std::memcpy(s->w, out + 4 * (blocks - N), N32 * 4);
}

void words(State* s, int n, uint32_t* out) {
  while (n > 0) {
    if (s->left == 0) {
      if (n >= N32) {
        const int blocks = n / 4;
        blocks_into(s, blocks, out);
        out += 4 * blocks;
        n -= 4 * blocks;
        continue;
      }
      refill(s->w);
      s->left = N32;
    }
    const int m = n < s->left ? n : s->left;
    std::memcpy(out, s->w + (N32 - s->left), size_t(m) * 4);
    s->left -= m;
    out += m;
    n -= m;
  }
}

// The floating forms take whole arrays from the refill as it makes them,
// and the words of a partly used array in place, four at a time.
template <class Sink>
void convert_from_array(State* s, int n, Sink&& sink) {
  int done = 0;
  while (done < n) {
    if (s->left == 0) {
      if (n - done >= N32) {
        refill_into(s->w, [&](__m128i r, int i) { sink(r, 4, done + 4 * i); });
        done += N32;
        continue;
      }
      refill(s->w);
      s->left = N32;
    }
    const int m = n - done < s->left ? n - done : s->left;
    const uint32_t* src = s->w + (N32 - s->left);
    int i = 0;
    for (; i + 4 <= m; i += 4)
      sink(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)), 4, done + i);
    for (; i < m; ++i) sink(_mm_cvtsi32_si128(int(src[i])), 1, done + i);
    s->left -= m;
    done += m;
  }
}

inline uint32_t func1(uint32_t x) { return (x ^ (x >> 27)) * 1664525u; }
inline uint32_t func2(uint32_t x) { return (x ^ (x >> 27)) * 1566083941u; }

// The published array seeding of SFMT, then its period certification.
void seed_by_array(uint32_t* w, const uint32_t* key, int key_length) {
  constexpr int size = N32, lag = 11, mid = (size - lag) / 2;
  std::memset(w, 0x8b, size_t(size) * 4);
  int count = key_length + 1 > size ? key_length + 1 : size;
  uint32_t r = func1(w[0] ^ w[mid] ^ w[size - 1]);
  w[mid] += r;
  r += uint32_t(key_length);
  w[mid + lag] += r;
  w[0] = r;
  --count;
  int i = 1, j = 0;
  for (; j < count && j < key_length; ++j) {
    r = func1(w[i] ^ w[(i + mid) % size] ^ w[(i + size - 1) % size]);
    w[(i + mid) % size] += r;
    r += key[j] + uint32_t(i);
    w[(i + mid + lag) % size] += r;
    w[i] = r;
    i = (i + 1) % size;
  }
  for (; j < count; ++j) {
    r = func1(w[i] ^ w[(i + mid) % size] ^ w[(i + size - 1) % size]);
    w[(i + mid) % size] += r;
    r += uint32_t(i);
    w[(i + mid + lag) % size] += r;
    w[i] = r;
    i = (i + 1) % size;
  }
  for (j = 0; j < size; ++j) {
    r = func2(w[i] + w[(i + mid) % size] + w[(i + size - 1) % size]);
    w[(i + mid) % size] ^= r;
    r -= uint32_t(i);
    w[(i + mid + lag) % size] ^= r;
    w[i] = r;
    i = (i + 1) % size;
  }
  // period certification: the inner product of the first block with the parity
  // vector must be 1; if not, flip the lowest bit that the parity vector has
  uint32_t inner = 0;
  for (int k = 0; k < 4; ++k) inner ^= w[k] & kParity[k];
  for (int sh = 16; sh > 0; sh >>= 1) inner ^= inner >> sh;
  if (inner & 1) return;
  for (int k = 0; k < 4; ++k)
    for (int b = 0; b < 32; ++b)
      if ((kParity[k] >> b) & 1) {
        w[k] ^= 1u << b;
        return;
      }
}

// ---- jump work states: a ring of 156 blocks, oldest at block `ring` ----
void j_clear(void* w) { std::memset(st(w), 0, sizeof(State)); }
void j_add(void* w, const void* src) {
  State* d = st(w);
  const State* s = st(src);
  for (int j = 0, a = d->ring, b = s->ring; j < N; ++j) {
    _mm_store_si128(blk(d->w, a), _mm_xor_si128(_mm_load_si128(blk(d->w, a)),
                                                 _mm_load_si128(blk(const_cast<uint32_t*>(s->w), b))));
    if (++a == N) a = 0;
    if (++b == N) b = 0;
  }
}
void j_copy(void* w, const void* src) {
  State* d = st(w);
  const State* s = st(src);
  for (int j = 0, b = s->ring; j < N; ++j) {
    std::memcpy(d->w + 4 * j, s->w + 4 * b, 16);
    if (++b == N) b = 0;
  }
  d->ring = 0;
  d->left = 0;
  d->second = s->second;
}
void j_step(void* w) {
  State* d = st(w);
  const __m128i mask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kMask));
  const int h = d->ring;
  auto at = [&](int k) { return _mm_load_si128(blk(d->w, (h + k) % N)); };
  _mm_store_si128(blk(d->w, h), rec(at(0), at(POS1), at(N - 2), at(N - 1), mask));
  d->ring = h + 1 == N ? 0 : h + 1;
}
// The stream's array is the state before the block that the skip lands in.
void j_setback(void* stream, const void* w, uint64_t asked) {
  State* s = st(stream);
  const uint64_t rem = (asked - uint64_t(s->left)) & 3;
  j_copy(stream, w);
  if (rem) {
    refill(s->w);
    s->left = N32 - int32_t(rem);
  }
}
int j_small(void* stream, uint64_t* count) {
  State* s = st(stream);
  if (*count <= uint64_t(s->left)) {
    s->left -= int32_t(*count);
    return 0;
  }
  *count = (*count - uint64_t(s->left)) >> 2;  // whole blocks past the current array
  return 1;
}

}  // namespace

// A loaded state: the words left within the array (0 means refill first),
// the second index 0 and the ring start 0, as in every stream.
bool zev::gen::check_sfmt19937_state(const void* stream) {
  const State* s = st(stream);
  return s->left >= 0 && s->left <= N32 && s->second == 0 && s->ring == 0;
}

extern "C" {

ZEV_API int __vqsBRngSFMT19937InitStream(int op, void* stream, int n, const unsigned int* params) {
  State* s = st(stream);
  auto seed = [s](const uint32_t* key, int length) {
    seed_by_array(s->w, key, length);
    s->left = 0;
    s->second = 0;
    s->ring = 0;
    return ZEV_VQS_OK;
  };
  // Short skips by Horner's rule, longer ones by the sliding window.
  auto skip = [stream](uint64_t count) {
    if (count < uint64_t(kDegree))
      return __vqs_SkipAheadHorner(stream, j_clear, j_add, j_copy, j_step, j_setback, j_small,
                                   uint32_t(count), 0, N32, kDegree, kStreamBytes,
                                   kSFMT19937CharPolyTerms, kSFMT19937CharPoly);
    return __vqs_SkipAheadSWin(stream, j_clear, j_add, j_copy, j_step, j_setback, j_small,
                               uint32_t(count), uint32_t(count >> 32), N32, kDegree, kStreamBytes,
                               kSFMT19937CharPolyTerms, kSFMT19937CharPoly);
  };
  return mt::init_stream(op, n, params, seed, skip);
}

ZEV_API int __vqsiBRngSFMT19937(void* stream, int n, unsigned int* r) {
  if (n > 0) words(st(stream), n, r);
  return 0;
}

ZEV_API int __vqsdBRngSFMT19937(void* stream, int n, double* r, double a, double b) {
  if (n > 0)
    with_double_sink(r, unsigned_affine(a, b), [&](auto sink) { convert_from_array(st(stream), n, sink); });
  return 0;
}

ZEV_API int __vqssBRngSFMT19937(void* stream, int n, float* r, float a, float b) {
  if (n > 0) convert_from_array(st(stream), n, FloatSink(r, unsigned_affine(double(a), double(b))));
  return 0;
}

}  // extern "C"
