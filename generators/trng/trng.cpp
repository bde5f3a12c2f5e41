// TRNG: word from the processor's hardware generator (RDRAND), with no
// equence, no seed and no jumps; and the processor feature tests of the
// generator that need instructions beyond SSE2.
//
// Stream tate (8 bytes behind the 16-byte header, 24 in all):
//   uint32 ource   always 0
//   int32  retrie  reads tried again after a failure before giving up
#include <cpuid.h>
#include <immintrin.h>

#include "generators/common/convert.h"
#include "generators/common/init.h"
#include "streams/stream.h"
#include "zev/zev_vqs.h"
#include "streams/state_check.h"

namespace {

constexpr int32_t kDefaultRetries = 10;  // when the second seed word is 0 or absent

using namespace zev::gen;

struct State {
  uint32_t source;
  int32_t retries;
};
static_assert(sizeof(State) + 16 == 24, "TRNG stream is 24 bytes");

State* st(void* s) { return zev::vqs::state<State>(s); }

bool leaf1(unsigned& ecx, unsigned& edx) {
  unsigned eax, ebx;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return false;
  return true;
}

__attribute__((target("rdrnd"))) inline bool read32(uint32_t& w, int retries) {
  unsigned v;
  for (int k = 0; k <= retries; ++k)
    if (_rdrand32_step(&v)) {
      w = v;
      return true;
    }
  return false;
}

__attribute__((target("rdrnd"))) inline bool read64(uint64_t& w, int retries) {
  unsigned long long v;
  for (int k = 0; k <= retries; ++k)
    if (_rdrand64_step(&v)) {
      w = v;
      return true;
    }
  return false;
}

// Words in pairs from 64-bit reads, a last single one for odd n.
int words(State* s, int n, uint32_t* out) {
  if (!__vqsCPUisRDRAND()) return ZEV_VQS_ERR_NO_RDRAND;
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    uint64_t v;
    if (!read64(v, s->retries)) return ZEV_VQS_ERR_RDRAND_FAILED;
    out[i] = uint32_t(v);
    out[i + 1] = uint32_t(v >> 32);
  }
  if (i < n && !read32(out[i], s->retries)) return ZEV_VQS_ERR_RDRAND_FAILED;
  return 0;
}

}  // namespace

// A loaded state: the source word, which is always 0. Any retry count is one
// that seeding can store (seed word 1 is taken as it stands).
bool zev::gen::check_trng_state(const void* stream) {
  return zev::vqs::state<State>(stream)->source == 0;
}

extern "C" {

ZEV_API int __vqsCPUisRDRAND(void) {
  unsigned ecx = 0, edx = 0;
  return leaf1(ecx, edx) && ((ecx >> 30) & 1) ? 1 : 0;
}

ZEV_API int __vqsCPUisAES(void) {
  unsigned ecx = 0, edx = 0;
  return leaf1(ecx, edx) && ((edx >> 26) & 1) && ((ecx >> 25) & 1) ? 1 : 0;
}

ZEV_API int __vqsCPUisVAES(void) { return zev_serv_cpuisicx(); }

ZEV_API int __vqsBRngTRNGInitStream(int op, void* stream, int n, const unsigned int* params) {
  if (const int refused = refuse_unless_new(op)) return refused;
  State* s = st(stream);
  s->source = 0;
  s->retries = (n >= 2 && params[1] != 0) ? int32_t(params[1]) : kDefaultRetries;
  return ZEV_VQS_OK;
}

ZEV_API int __vqsiBRngTRNG(void* stream, int n, unsigned int* r) {
  return n > 0 ? words(st(stream), n, r) : 0;
}

ZEV_API int __vqsdBRngTRNG(void* stream, int n, double* r, double a, double b) {
  State* s = st(stream);
  return unsigned_doubles(n, r, a, b, [s](int m, uint32_t* w) { return words(s, m, w); });
}

ZEV_API int __vqssBRngTRNG(void* stream, int n, float* r, float a, float b) {
  // single precision throughout: S = (b - a) * 2^-32 as a float
  const float scale = (b - a) * 2.3283064365386963e-10f;
  State* s = st(stream);
  return draw_converted(n, r, [s](int m, uint32_t* w) { return words(s, m, w); },
                        [scale, a](const uint32_t* w, int m, float* o) {
                          for (int k = 0; k < m; ++k) o[k] = float(w[k]) * scale + a;
                        });
}

}  // extern "C"
