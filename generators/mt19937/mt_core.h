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
  const __m128i upper = _mm_set1_epi32(int(0xFFFFFFFFu << R));
  const __m128i y = _mm_or_si128(_mm_and_si128(x0, upper), _mm_andnot_si128(upper, x1));
  const __m128i odd = _mm_sub_epi32(_mm_setzero_si128(),
                                    _mm_and_si128(y, _mm_set1_epi32(1)));
  return _mm_xor_si128(_mm_xor_si128(xm, _mm_srli_epi32(y, 1)), _mm_and_si128(odd, a));
}

// Refills the whole array in place: word k becomes x[k + N].
template <int N, int M, int R>
inline void refill(uint32_t* x, uint32_t a) {
  const __m128i av = _mm_set1_epi32(int(a));
  auto ld = [](const uint32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
  auto st = [](uint32_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); };
  int k = 0;
  // First part: x[k + M] is still an old word. Words k + 1..k + 4 are old too.
  for (; k + 4 <= N - M; k += 4) st(x + k, twist4<R>(ld(x + k), ld(x + k + 1), ld(x + k + M), av));
  for (; k < N - M; ++k) x[k] = twist1<R>(x[k], x[k + 1], x[k + M], a);
  // Second part: x[k + M - N] is new, written at least N - M >= 4 words before.
  if constexpr (N - M >= 4) {
    for (; k + 4 <= N - 1; k += 4)
      st(x + k, twist4<R>(ld(x + k), ld(x + k + 1), ld(x + k + M - N), av));
  }
  for (; k < N - 1; ++k) x[k] = twist1<R>(x[k], x[k + 1], x[k + M - N], a);
  x[N - 1] = twist1<R>(x[N - 1], x[0], x[M - 1], a);
}

// Tempers n words of src into dst.
template <int U>
inline void temper_block(const uint32_t* src, int n, uint32_t* dst, const Twist& p) {
  const __m128i b = _mm_set1_epi32(int(p.b)), c = _mm_set1_epi32(int(p.c));
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), temper4<U>(y, b, c));
  }
  for (; i < n; ++i) dst[i] = temper<U>(src[i], p);
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

// Hands out n tempered words from (x, pos), refilling when the array is spent.
template <int N, int M, int R, int U>
inline void draw(uint32_t* x, int32_t& pos, int n, uint32_t* out, const Twist& p) {
  while (n > 0) {
    if (pos >= N) {
      refill<N, M, R>(x, p.a);
      pos = 0;
    }
    const int m = n < N - pos ? n : N - pos;
    temper_block<U>(x + pos, m, out, p);
    pos += m;
    out += m;
    n -= m;
  }
}

// The same walk, each tempered word going straight to `sink(words4, count,
// out_index)`: four words in a register where a whole group is there, else
// one by one (count 1). Used by the floating forms to convert in one pass.
template <int N, int M, int R, int U, class Sink>
inline void draw_into(uint32_t* x, int32_t& pos, int n, const Twist& p, Sink&& sink) {
  const __m128i b = _mm_set1_epi32(int(p.b)), c = _mm_set1_epi32(int(p.c));
  int done = 0;
  while (done < n) {
    if (pos >= N) {
      refill<N, M, R>(x, p.a);
      pos = 0;
    }
    const int m = n - done < N - pos ? n - done : N - pos;
    int i = 0;
    for (; i + 4 <= m; i += 4) {
      const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + pos + i));
      sink(temper4<U>(y, b, c), 4, done + i);
    }
    for (; i < m; ++i) sink(_mm_cvtsi32_si128(int(temper<U>(x[pos + i], p))), 1, done + i);
    pos += m;
    done += m;
  }
}

}  // namespace zev::gen::mt
