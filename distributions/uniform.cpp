// Uniform and bit generators: the thinnest distribution generators, and the
// way every other one draws its raw numbers.
//
// The floating forms hand the range to the basic generator, which scales its
// own words (a + (b - a) u), so no second pass is paid except for the clamp
// of the accurate form. The integer and repacked forms go through stack
// buffers in blocks, so nothing is allocated.
#include <cstring>

#include "distributions/dist_common.h"

namespace {

using zev::dist::accurate;
using zev::dist::row_of;

// v = min(b, max(a, v)), the maximum first. A NaN v stays NaN. Written so
// that the compiler maps both selections onto maxpd/minpd.
template <class T>
void clamp(int n, T* r, T a, T b) {
  for (int i = 0; i < n; ++i) {
    T v = r[i];
    v = a > v ? a : v;
    v = b < v ? b : v;
    r[i] = v;
  }
}

// Row indices of the initial table that give whole 32-bit words, and the one
// generator (MCG59) whose 59-bit words are repacked.
constexpr int kRowMCG59 = 3;
constexpr int kInitialRows = 16;
bool gives_words32(int index) {
  return index == 7 || index == 8 || (index >= 12 && index < kInitialRows);
}

// MCG59: bits 27..58 of each 64-bit word, 32 bits a step. Whole blocks of
// 2048 words, then one last call for the rest, made even when the rest is 0.
int repacked32(void* stream, int n, unsigned int* r) {
  constexpr int kWords = 2048;
  uint64_t buf[kWords];
  const int whole = n / kWords;
  const int rest = n - whole * kWords;
  for (int k = 0; k <= whole; ++k) {
    const int m = k < whole ? kWords : rest;
    const int st = _vqsiRngUniformBits(0, stream, m, reinterpret_cast<unsigned int*>(buf));
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) r[i] = static_cast<uint32_t>(buf[i] >> 27);
    r += m;
  }
  return 0;
}

}  // namespace

extern "C" {

ZEV_API int _vqsdRngUniform(int method, void* stream, int n, double* r, double a, double b) {
  const int st = row_of(stream).dGen(stream, n, r, a, b);
  if (st < 0) return st;
  if (accurate(method) && n > 0) clamp(n, r, a, b);
  return st;
}

ZEV_API int _vqssRngUniform(int method, void* stream, int n, float* r, float a, float b) {
  const int st = row_of(stream).sGen(stream, n, r, a, b);
  if (st < 0) return st;
  if (accurate(method) && n > 0) clamp(n, r, a, b);
  return st;
}

ZEV_API int _vqsiRngUniform(int, void* stream, int n, int32_t* r, int32_t a, int32_t b) {
  double buf[zev::dist::kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < zev::dist::kBlock ? n - done : zev::dist::kBlock;
    const int st = _vqsdRngUniform(0, stream, m, buf, double(a), double(b));
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) {
      // floor(v): truncate, and step down when the truncation went up.
      double v = buf[i];
      const double t = double(int64_t(v));
      if (v < t) v -= 1.0;
      r[done + i] = static_cast<int32_t>(v);
    }
    done += m;
  }
  return 0;
}

ZEV_API int _vqsiRngUniformBits(int, void* stream, int n, unsigned int* r) {
  return row_of(stream).iGen(stream, n, r);
}

ZEV_API int _vqsiRngUniformBits32(int, void* stream, int n, unsigned int* r) {
  int index = 0;
  row_of(stream, &index);
  if (index == kRowMCG59) return repacked32(stream, n, r);
  if (gives_words32(index)) return _vqsiRngUniformBits(0, stream, n, r);
  return ZEV_VQS_ERR_BIT_WIDTH;
}

ZEV_API int _vqsiRngUniformBits64(int, void* stream, int n, unsigned long long* r) {
  int index = 0;
  row_of(stream, &index);
  const bool mcg59 = index == kRowMCG59;
  if (!mcg59 && !gives_words32(index)) return ZEV_VQS_ERR_BIT_WIDTH;
  // Two 32-bit words a value, the earlier in the low half. The count of
  // 32-bit words is cut below 2^31 so that 2n cannot overflow.
  constexpr int kPiece = 1 << 29;
  unsigned int* w = reinterpret_cast<unsigned int*>(r);
  int left = n > 0 ? n : 0;
  do {
    const int m = left < kPiece ? left : kPiece;
    const int st = mcg59 ? repacked32(stream, 2 * m, w) : _vqsiRngUniformBits(0, stream, 2 * m, w);
    if (st < 0) return st;
    w += 2 * size_t(m);
    left -= m;
  } while (left > 0);
  return 0;
}

}  // extern "C"
