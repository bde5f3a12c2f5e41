// What every distribution generator shares: the row of a stream's generator,
// the block size of stack buffers, and the guard round vector-kernel calls.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

#include "streams/stream.h"
#include "zev/zev_vqm.h"
#include "zev/zev_vqs.h"
#include "zev/zev_vqs_dist.h"
#include "zev/zev_vqs_generators.h"

namespace zev::dist {

// Values per block: the stack buffers hold 1024 doubles (8 KiB), which stay in
// the first-level cache between the draw, the kernel and the transform.
constexpr int kBlock = 1024;

inline bool accurate(int method) { return (method & ZEV_RNG_METHOD_ACCURATE) != 0; }

// The registry row of a stream's generator. A stream is valid by
// construction, so the id is not tested here.
inline const BrngRow& row_of(const void* stream, int* index_out = nullptr) {
  int index = 0, offset = 0;
  const BrngRow* table = __vqsGetBrngBaseOffset(zev::vqs::stream_id(stream), &index, &offset);
  if (index_out != nullptr) *index_out = index;
  return table[index];
}

// Whether the stream's double form is the affine map of its 32-bit words,
// a + (b - a) w 2^-32 or the midpoint form (MT19937, MT2203, SFMT19937,
// TRNG, ARS5, PHILOX4X32X10). With a = 1 - 2^-33 and b - a = -1 their values
// are exactly the odd multiples of 2^-33 in (0, 1).
inline bool words32_lattice(const void* stream) {
  const auto g = row_of(stream).dGen;
  return g == __vqsdBRngMT19937 || g == __vqsdBRngMT2203 || g == __vqsdBRngSFMT19937 ||
         g == __vqsdBRngTRNG || g == __vqsdBRngARS5 || g == __vqsdBRngPHILOX4X32X10;
}

// Raw uniforms on [a, b) from the basic generator, with its own scaling.
inline int draw(void* stream, int n, double* r, double a, double b) {
  return row_of(stream).dGen(stream, n, r, a, b);
}
inline int draw(void* stream, int n, float* r, float a, float b) {
  return row_of(stream).sGen(stream, n, r, a, b);
}

// Vector kernels called from a generator must neither report to the caller
// (errno, the callback, the thread status) nor flush denormals because of
// the caller's mode: the guard sets the error mode to "no errors" and the
// denormal mode to "keep" for the length of a call, and restores the mode.
class QuietKernels {
 public:
  QuietKernels() {
    old_ = zev_vqm_kernel_GetMode();
    unsigned want = VQM_ERRMODE_NOERR;
    if ((old_ & (VQM_FTZDAZ_ON | VQM_FTZDAZ_OFF)) == VQM_FTZDAZ_ON) want |= VQM_FTZDAZ_OFF;
    zev_vqm_kernel_SetMode(want);
  }
  ~QuietKernels() { zev_vqm_kernel_SetMode(old_); }
  QuietKernels(const QuietKernels&) = delete;
  QuietKernels& operator=(const QuietKernels&) = delete;

 private:
  unsigned old_;
};

// Arithmetic done inline (not through a vector row) runs as a kernel would:
// round to nearest, exceptions masked, no flushing of denormals, whatever the
// caller's MXCSR holds; the caller's control bits come back at the end, with
// the flags raised meanwhile.
class NearestCsr {
 public:
  NearestCsr() : old_(_mm_getcsr()) {
    const unsigned want = (old_ & ~0xE040u) | 0x1F80u;  // FZ, RC, DAZ cleared; masks set
    if (want != old_) _mm_setcsr(want);
  }
  ~NearestCsr() { _mm_setcsr(old_ | (_mm_getcsr() & 0x3Fu)); }
  NearestCsr(const NearestCsr&) = delete;
  NearestCsr& operator=(const NearestCsr&) = delete;

 private:
  unsigned old_;
};

}  // namespace zev::dist
