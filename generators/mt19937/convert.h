// Word-to-floating conversions shared by the generators of this folder group.
//
// Every generator hands out 32-bit words; the floating forms scale them into
// (a, b) in one pass so that a distribution pays for no second one:
//   unsigned form:  double(w) * S + a,            S = (b - a) * 2^-32
//   midpoint form:  double(int32(w)) * S + (a + b) / 2
// The single-precision forms do the arithmetic in double and round once at
// the end. SSE2 has no unsigned conversion: w ^ 0x80000000 taken as signed,
// plus 2^31, is double(w) exactly.
#pragma once

#include <emmintrin.h>
#include <cstdint>

namespace zev::gen {

constexpr double kTwoM32 = 2.3283064365386962890625e-10;  // 2^-32, high word 0x3DF00000

struct Affine {
  double s;  // scale per unit of the word
  double c;  // added after scaling
};

// double(w) * S + a
inline Affine unsigned_affine(double a, double b) { return {(b - a) * kTwoM32, a}; }
// double(int32(w)) * S + (a + b) / 2
inline Affine midpoint_affine(double a, double b) { return {(b - a) * kTwoM32, a + (b - a) * 0.5}; }

// n words (unsigned) to doubles.
inline void words_to_double(const uint32_t* w, int n, double* r, Affine f) {
  const __m128i bias = _mm_set1_epi32(int(0x80000000u));
  const __m128d half = _mm_set1_pd(2147483648.0), s = _mm_set1_pd(f.s), c = _mm_set1_pd(f.c);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i v = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(w + i)), bias);
    __m128d lo = _mm_add_pd(_mm_cvtepi32_pd(v), half);
    __m128d hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE)), half);
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(lo, s), c));
    _mm_storeu_pd(r + i + 2, _mm_add_pd(_mm_mul_pd(hi, s), c));
  }
  for (; i < n; ++i) r[i] = double(w[i]) * f.s + f.c;
}

// n words (signed) to doubles.
inline void swords_to_double(const uint32_t* w, int n, double* r, Affine f) {
  const __m128d s = _mm_set1_pd(f.s), c = _mm_set1_pd(f.c);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(w + i));
    __m128d lo = _mm_cvtepi32_pd(v);
    __m128d hi = _mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE));
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(lo, s), c));
    _mm_storeu_pd(r + i + 2, _mm_add_pd(_mm_mul_pd(hi, s), c));
  }
  for (; i < n; ++i) r[i] = double(int32_t(w[i])) * f.s + f.c;
}

// n words (unsigned) to floats, computed in double, rounded at the end.
inline void words_to_float(const uint32_t* w, int n, float* r, Affine f) {
  const __m128i bias = _mm_set1_epi32(int(0x80000000u));
  const __m128d half = _mm_set1_pd(2147483648.0), s = _mm_set1_pd(f.s), c = _mm_set1_pd(f.c);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i v = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(w + i)), bias);
    __m128d lo = _mm_add_pd(_mm_cvtepi32_pd(v), half);
    __m128d hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE)), half);
    __m128 flo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(lo, s), c));
    __m128 fhi = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(hi, s), c));
    _mm_storeu_ps(r + i, _mm_movelh_ps(flo, fhi));
  }
  for (; i < n; ++i) r[i] = float(double(w[i]) * f.s + f.c);
}

// n words (signed) to floats, computed in double, rounded at the end.
inline void swords_to_float(const uint32_t* w, int n, float* r, Affine f) {
  const __m128d s = _mm_set1_pd(f.s), c = _mm_set1_pd(f.c);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(w + i));
    __m128 flo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), s), c));
    __m128 fhi = _mm_cvtpd_ps(
        _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE)), s), c));
    _mm_storeu_ps(r + i, _mm_movelh_ps(flo, fhi));
  }
  for (; i < n; ++i) r[i] = float(double(int32_t(w[i])) * f.s + f.c);
}

// Sinks for generators that hand over four words in a register: unsigned
// words to doubles and to floats, count 4 or 1, at out[index].
struct DoubleSink {
  double* out;
  __m128d s, c;
  DoubleSink(double* r, Affine f) : out(r), s(_mm_set1_pd(f.s)), c(_mm_set1_pd(f.c)) {}
  // 2^52 + w exactly, from the word under the exponent bits of 2^52
  static inline __m128d exact(__m128i w2) {
    const __m128i magic = _mm_set1_epi32(0x43300000);
    return _mm_sub_pd(_mm_castsi128_pd(_mm_unpacklo_epi32(w2, magic)), _mm_set1_pd(4503599627370496.0));
  }
  inline void operator()(__m128i w, int count, int index) const {
    if (count == 4) {
      const __m128i magic = _mm_set1_epi32(0x43300000);
      const __m128d two52 = _mm_set1_pd(4503599627370496.0);
      const __m128d lo = _mm_sub_pd(_mm_castsi128_pd(_mm_unpacklo_epi32(w, magic)), two52);
      const __m128d hi = _mm_sub_pd(_mm_castsi128_pd(_mm_unpackhi_epi32(w, magic)), two52);
      _mm_storeu_pd(out + index, _mm_add_pd(_mm_mul_pd(lo, s), c));
      _mm_storeu_pd(out + index + 2, _mm_add_pd(_mm_mul_pd(hi, s), c));
    } else {
      _mm_store_sd(out + index, _mm_add_sd(_mm_mul_sd(exact(w), s), c));
    }
  }
};

struct FloatSink {
  float* out;
  __m128d s, c;
  FloatSink(float* r, Affine f) : out(r), s(_mm_set1_pd(f.s)), c(_mm_set1_pd(f.c)) {}
  inline void operator()(__m128i w, int count, int index) const {
    const __m128i v = _mm_xor_si128(w, _mm_set1_epi32(int(0x80000000u)));
    const __m128d half = _mm_set1_pd(2147483648.0);
    const __m128d lo = _mm_add_pd(_mm_cvtepi32_pd(v), half);
    const __m128 flo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(lo, s), c));
    if (count == 4) {
      const __m128d hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE)), half);
      const __m128 fhi = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(hi, s), c));
      _mm_storeu_ps(out + index, _mm_movelh_ps(flo, fhi));
    } else {
      _mm_store_ss(out + index, flo);
    }
  }
};

// Draws n words through `words(count, out)` in stack-sized pieces and converts
// them with `conv(words, count, out)`.
template <class T, class Words, class Conv>
inline int draw_converted(int n, T* r, Words&& words, Conv&& conv) {
  alignas(16) uint32_t buf[512];
  int done = 0;
  while (done < n) {
    const int m = n - done < 512 ? n - done : 512;
    const int st = words(m, buf);
    if (st < 0) return st;
    conv(buf, m, r + done);
    done += m;
  }
  return 0;
}

}  // namespace zev::gen
