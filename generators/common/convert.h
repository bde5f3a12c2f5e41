// Word-to-floating conversions shared by the generators.
//
// Every generator hands out 32-bit words; the floating forms scale them into
// (a, b) in one pass so that a distribution pays for no second one:
//   unsigned form:  double(w) * S + a,            S = (b - a) * 2^-32
//   midpoint form:  double(int32(w)) * S + (a + b) / 2
// The single-precision forms do the arithmetic in double and round once at
// the end. SSE2 has no unsigned conversion: the word under the exponent bits
// of 2^52 is the double 2^52 + w, and less 2^52 it is double(w) exactly.
#pragma once

#include <emmintrin.h>

#include <bit>
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

// double(w) for the words in lanes 0, 1 (lo) and 2, 3 (hi). The difference
// of equal numbers is -0 when rounding down, so the sign is cleared: the
// word 0 gives +0 in every mode, as double(w) does.
struct WordsToDouble {
  const __m128i top = _mm_set1_epi32(0x43300000);  // high word of 2^52
  const __m128d two52 = _mm_set1_pd(4503599627370496.0), sign = _mm_set1_pd(-0.0);
  __m128d lo(__m128i w) const { return exact(_mm_unpacklo_epi32(w, top)); }
  __m128d hi(__m128i w) const { return exact(_mm_unpackhi_epi32(w, top)); }
  __m128d exact(__m128i w2) const {
    return _mm_andnot_pd(sign, _mm_sub_pd(_mm_castsi128_pd(w2), two52));
  }
};

// n words (unsigned) to doubles.
inline void words_to_double(const uint32_t* w, int n, double* r, Affine f) {
  const WordsToDouble u;
  const __m128d s = _mm_set1_pd(f.s), c = _mm_set1_pd(f.c);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(w + i));
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(u.lo(v), s), c));
    _mm_storeu_pd(r + i + 2, _mm_add_pd(_mm_mul_pd(u.hi(v), s), c));
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
  const WordsToDouble u;
  const __m128d s = _mm_set1_pd(f.s), c = _mm_set1_pd(f.c);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(w + i));
    const __m128 flo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(u.lo(v), s), c));
    const __m128 fhi = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(u.hi(v), s), c));
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
//
// The double sink puts the word under the exponent bits of a power of two P:
// that double is P + w * P * 2^-52 exactly. With P = 2^52 the difference is
// w itself, then scaled and shifted (kProduct). When S is a positive power of
// two, as for (0, 1), P = 2^52 * S makes the difference w * S, the exact
// product, so the multiply goes (kExact), and with a = +0 the sum too
// (kExactNoShift: w * S + 0 is w * S, never -0). The differences are exact,
// so the values are the same bits. Only the word 0 needs care: P - P is -0
// when rounding down, so that mode takes kDown, which clears the sign first.
enum class Scale { kDown, kProduct, kExact, kExactNoShift };

template <Scale K>
struct DoubleSink {
  double* out;
  __m128d s, c, p;
  __m128i top;  // high word of P in each 32-bit lane
  DoubleSink(double* r, Affine f, double pw)
      : out(r), s(_mm_set1_pd(f.s)), c(_mm_set1_pd(f.c)), p(_mm_set1_pd(pw)),
        top(_mm_set1_epi32(int(high_word(pw)))) {}
  static uint32_t high_word(double x) { return uint32_t(std::bit_cast<uint64_t>(x) >> 32); }
  inline __m128d value(__m128i w2) const {
    __m128d d = _mm_sub_pd(_mm_castsi128_pd(w2), p);
    if constexpr (K == Scale::kDown) d = _mm_andnot_pd(_mm_set1_pd(-0.0), d);
    if constexpr (K == Scale::kDown || K == Scale::kProduct) return _mm_add_pd(_mm_mul_pd(d, s), c);
    else if constexpr (K == Scale::kExact) return _mm_add_pd(d, c);
    else return d;
  }
  inline void operator()(__m128i w, int count, int index) const {
    if (count == 4) {
      _mm_storeu_pd(out + index, value(_mm_unpacklo_epi32(w, top)));
      _mm_storeu_pd(out + index + 2, value(_mm_unpackhi_epi32(w, top)));
    } else {
      _mm_store_sd(out + index, value(_mm_unpacklo_epi32(w, top)));
    }
  }
};

// Runs draw(sink) with the double sink that suits f and the rounding mode.
template <class Draw>
inline void with_double_sink(double* r, Affine f, Draw&& draw) {
  constexpr double two52 = 4503599627370496.0;
  if ((_mm_getcsr() & 0x6000) == 0x2000) return draw(DoubleSink<Scale::kDown>(r, f, two52));
  const uint64_t u = std::bit_cast<uint64_t>(f.s);
  const uint32_t e = uint32_t(u >> 52);  // sign and exponent
  // a positive normal power of two whose 2^52 multiple is normal too
  if ((u & 0xFFFFFFFFFFFFFull) != 0 || e < 1 || e >= 0x7FF - 52)
    return draw(DoubleSink<Scale::kProduct>(r, f, two52));
  if (std::bit_cast<uint64_t>(f.c) == 0)
    return draw(DoubleSink<Scale::kExactNoShift>(r, f, f.s * two52));
  draw(DoubleSink<Scale::kExact>(r, f, f.s * two52));
}

struct FloatSink {
  float* out;
  __m128d s, c;
  WordsToDouble u;
  FloatSink(float* r, Affine f) : out(r), s(_mm_set1_pd(f.s)), c(_mm_set1_pd(f.c)) {}
  inline void operator()(__m128i w, int count, int index) const {
    const __m128 flo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(u.lo(w), s), c));
    if (count == 4) {
      const __m128 fhi = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(u.hi(w), s), c));
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

// The floating outputs of the generators that make words in pieces: n values
// in (a, b) from the words that words(m, w) writes (it returns a status),
// converted in stack-sized pieces, by the unsigned form or by the midpoint
// form (the word read as signed).
template <class Words>
inline int unsigned_doubles(int n, double* r, double a, double b, Words&& words) {
  const Affine f = unsigned_affine(a, b);
  return draw_converted(n, r, words,
                        [f](const uint32_t* w, int m, double* o) { words_to_double(w, m, o, f); });
}
template <class Words>
inline int unsigned_floats(int n, float* r, float a, float b, Words&& words) {
  const Affine f = unsigned_affine(double(a), double(b));
  return draw_converted(n, r, words,
                        [f](const uint32_t* w, int m, float* o) { words_to_float(w, m, o, f); });
}
template <class Words>
inline int midpoint_doubles(int n, double* r, double a, double b, Words&& words) {
  const Affine f = midpoint_affine(a, b);
  return draw_converted(n, r, words,
                        [f](const uint32_t* w, int m, double* o) { swords_to_double(w, m, o, f); });
}
template <class Words>
inline int midpoint_floats(int n, float* r, float a, float b, Words&& words) {
  const Affine f = midpoint_affine(double(a), double(b));
  return draw_converted(n, r, words,
                        [f](const uint32_t* w, int m, float* o) { swords_to_float(w, m, o, f); });
}

}  // namespace zev::gen
