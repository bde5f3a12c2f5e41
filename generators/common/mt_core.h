// The Mersenne Twister recurrence of Matsumoto and Nishimura (ACM TOMACS 8(1),
// 1998) for a word array of N words with middle offset M and R lower bits,
// shared by MT19937 and the MT2203 family.
//
// The array holds untempered words; tempering happens as words go out, so a
// saved or copied state is the raw array and the position.
#pragma once

#include <emmintrin.h>
#include <cstdint>

namespace zev::gen::mt {

struct Twist {
  uint32_t a;  // twist matrix word
  uint32_t b;  // tempering mask after the shift left by 7
  uint32_t c;  // tempering mask after the shift left by 15
};

// Tempering shifts: (u, s, t, l) = (U, 7, 15, 18).
template <int U>
inline uint32_t temper(uint32_t y, const Twist& p) {
  y ^= y >> U;
  y ^= (y << 7) & p.b;
  y ^= (y << 15) & p.c;
  y ^= y >> 18;
  return y;
}

template <int U>
inline __m128i temper4(__m128i y, __m128i b, __m128i c) {
  y = _mm_xor_si128(y, _mm_srli_epi32(y, U));
  y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 7), b));
  y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 15), c));
  y = _mm_xor_si128(y, _mm_srli_epi32(y, 18));
  return y;
}

template <int R>
inline uint32_t twist1(uint32_t x0, uint32_t x1, uint32_t xm, uint32_t a) {
  constexpr uint32_t upper = 0xFFFFFFFFu << R, lower = ~upper;
  const uint32_t y = (x0 & upper) | (x1 & lower);
  return xm ^ (y >> 1) ^ ((0u - (y & 1u)) & a);
}

// Four words of the recurrence at once: x0 = words k..k+3, x1 = k+1..k+4,
// xm = k+M..k+M+3.
template <int R>
inline __m128i twist4(__m128i x0, __m128i x1, __m128i xm, __m128i a) {
  static_assert(R >= 1, "bit 0 of the twisted word comes from x1");
  const __m128i upper = _mm_set1_epi32(int(0xFFFFFFFFu << R));
  // (x0 & upper) | (x1 & ~upper) in the form that needs no copy of the mask
  const __m128i y = _mm_xor_si128(x1, _mm_and_si128(_mm_xor_si128(x0, x1), upper));
  // bit 0 of y is bit 0 of x1: taking it from there keeps it off y's chain
  const __m128i even = _mm_cmpeq_epi32(_mm_and_si128(x1, _mm_set1_epi32(1)), _mm_setzero_si128());
  return _mm_xor_si128(_mm_xor_si128(xm, _mm_srli_epi32(y, 1)), _mm_andnot_si128(even, a));
}

// Refills the whole array in place: word k becomes x[k + N]. Each new word
// is handed on as soon as it is made, while it is still in a register:
// put4(v, k) gets words k..k+3 for every k that is a multiple of 4 and
// below N - N % 4, put1(word, k) the last N % 4 words one by one. The words
// that the vector loops cannot make (near N - M, where x[k + M] wraps, and
// at the end) are made one at a time and then handed on as their group of 4.
template <int N, int M, int R, class Put4, class Put1>
inline void refill_into(uint32_t* x, uint32_t a, Put4&& put4, Put1&& put1) {
  static_assert(N - M >= 4, "the second part reads words written four or more steps before");
  constexpr int A = (N - M) / 4 * 4;      // vector groups of the first part end here
  constexpr int B = (N - M + 3) / 4 * 4;  // those of the second part start here
  constexpr int C = (N - 1) / 4 * 4;      // and end here
  const __m128i av = _mm_set1_epi32(int(a));
  auto ld = [](const uint32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
  auto st = [](uint32_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); };
  // Groups k..k+3 from x[k + d]: two groups per turn so that the chains of
  // two groups overlap.
  auto groups = [&](int k, int end, int d) {
    auto one = [&](int j) {
      const __m128i v = twist4<R>(ld(x + j), ld(x + j + 1), ld(x + j + d), av);
      st(x + j, v);
      put4(v, j);
    };
    for (; k + 8 <= end; k += 8) {
      one(k);
      one(k + 4);
    }
    if (k < end) one(k);
  };
  // First part: x[k + M] and x[k + 1..k + 4] are still old words.
  groups(0, A, M);
  if constexpr (A < B) {
    for (int k = A; k < B; ++k)
      x[k] = twist1<R>(x[k], x[k + 1], k < N - M ? x[k + M] : x[k + M - N], a);
    put4(ld(x + A), A);
  }
  // Second part: x[k + M - N] is new, written at least N - M >= 4 words before.
  groups(B, C, M - N);
  for (int k = C; k < N - 1; ++k) x[k] = twist1<R>(x[k], x[k + 1], x[k + M - N], a);
  x[N - 1] = twist1<R>(x[N - 1], x[0], x[M - 1], a);
  if constexpr (N - C == 4) {
    put4(ld(x + C), C);
  } else {
    for (int k = C; k < N; ++k) put1(x[k], k);
  }
}

template <int N, int M, int R>
inline void refill(uint32_t* x, uint32_t a) {
  refill_into<N, M, R>(x, a, [](__m128i, int) {}, [](uint32_t, int) {});
}

// The published array seeding, for an array of N words.
template <int N>
inline void seed_by_array(uint32_t* x, const uint32_t* key, int key_length) {
  x[0] = 19650218u;
  for (int i = 1; i < N; ++i) x[i] = (x[i - 1] ^ (x[i - 1] >> 30)) * 0x6C078965u + uint32_t(i);
  int i = 1, j = 0;
  for (int k = N > key_length ? N : key_length; k > 0; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 0x19660Du)) + key[j] + uint32_t(j);
    ++i;
    ++j;
    if (i >= N) { x[0] = x[N - 1]; i = 1; }
    if (j >= key_length) j = 0;
  }
  for (int k = N - 1; k > 0; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 0x5D588B65u)) - uint32_t(i);
    ++i;
    if (i >= N) { x[0] = x[N - 1]; i = 1; }
  }
  x[0] = 0x80000000u;
}

// Hands the next n untempered words of (x, pos) on, numbered from 0:
// put4(v, i) for words i..i+3 in a register where a whole group is there,
// put1(word, i) for the others. When a whole array is wanted, the refill
// hands its words over as it makes them, so they are not read back; the
// position then stays N.
template <int N, int M, int R, class Put4, class Put1>
inline void walk(uint32_t* x, int32_t& pos, int n, uint32_t a, Put4&& put4_in, Put1&& put1_in) {
  // Local copies: their address never leaves this function, so the vector
  // stores (which may alias anything) do not force the output pointer and
  // the masks to be read back from memory for every group.
  auto put4 = put4_in;
  auto put1 = put1_in;
  int done = 0;
  while (done < n) {
    if (pos >= N) {
      if (n - done >= N) {
        refill_into<N, M, R>(
            x, a, [&](__m128i v, int k) { put4(v, done + k); }, [&](uint32_t w, int k) { put1(w, done + k); });
        done += N;
        continue;
      }
      refill<N, M, R>(x, a);
      pos = 0;
    }
    const int m = n - done < N - pos ? n - done : N - pos;
    const uint32_t* src = x + pos;
    int i = 0;
    for (; i + 4 <= m; i += 4) put4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)), done + i);
    for (; i < m; ++i) put1(src[i], done + i);
    pos += m;
    done += m;
  }
}

// n tempered words into out.
template <int N, int M, int R, int U>
inline void draw(uint32_t* x, int32_t& pos, int n, uint32_t* out, const Twist& p) {
  const __m128i b = _mm_set1_epi32(int(p.b)), c = _mm_set1_epi32(int(p.c));
  walk<N, M, R>(
      x, pos, n, p.a,
      [=](__m128i v, int i) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), temper4<U>(v, b, c)); },
      [=](uint32_t w, int i) { out[i] = temper<U>(w, p); });
}

// n tempered words to `sink(words4, count, out_index)`, count 4 or 1: the
// floating forms convert them on the way.
template <int N, int M, int R, int U, class Sink>
inline void draw_into(uint32_t* x, int32_t& pos, int n, const Twist& p, Sink sink) {
  const __m128i b = _mm_set1_epi32(int(p.b)), c = _mm_set1_epi32(int(p.c));
  walk<N, M, R>(
      x, pos, n, p.a, [=](__m128i v, int i) { sink(temper4<U>(v, b, c), 4, i); },
      [=](uint32_t w, int i) { sink(_mm_cvtsi32_si128(int(temper<U>(w, p))), 1, i); });
}

}  // namespace zev::gen::mt
