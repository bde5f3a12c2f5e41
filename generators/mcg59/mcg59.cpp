// MCG59: x(k+1) = 13^13 x(k) mod 2^59, multiplier 302875106592253.
//
// The state is the current value and the current multiplier (a leapfrog
// replaces the multiplier). The value is given out first, then stepped.
#include <emmintrin.h>

#include "streams/stream.h"
#include "streams/state_check.h"

namespace {

constexpr uint64_t kMask = (uint64_t(1) << 59) - 1;
constexpr uint64_t kA = 0x113769B23C5FDull;  // 302875106592253
constexpr double kScale = 1.0 / 576460752303423488.0;  // 2^-59
constexpr double kTwo32 = 4294967296.0;

struct State {
  uint64_t x;
  uint64_t a;
};
static_assert(sizeof(State) + 16 <= 32);

// Four values a round, lanes advanced by a^4; the sequence is the plain step's.
// put4(k, lane) takes values k..k+3, put(k, x) the single ones at the end.
template <class Put, class Put4>
void generate(void* stream, int n, Put put, Put4 put4) {
  if (n <= 0) return;
  State* st = zev::vqs::state<State>(stream);
  uint64_t a = st->a, x = st->x;
  int k = 0;
  if (n >= 4) {
    uint64_t a4 = __vqsiPowMod2P59(a, 4);
    uint64_t lane[4];
    lane[0] = x;
    for (int j = 1; j < 4; ++j) lane[j] = (a * lane[j - 1]) & kMask;
    for (; n - k >= 4; k += 4) {
      put4(k, lane);
      for (int j = 0; j < 4; ++j) lane[j] = (a4 * lane[j]) & kMask;
    }
    x = lane[0];
  }
  for (; k < n; ++k) {
    put(k, x);
    x = (a * x) & kMask;
  }
  st->x = x;
}

template <class Put>
void generate(void* stream, int n, Put put) {
  generate(stream, n, put, [&](int k, const uint64_t* lane) {
    for (int j = 0; j < 4; ++j) put(k + j, lane[j]);
  });
}

}  // namespace

// A loaded state: the value is below 2^59 and not 0 (an odd multiplier
// never makes 0 of it); the multiplier, a power of an odd number, is odd.
bool zev::gen::check_mcg59_state(const void* stream) {
  const State* st = zev::vqs::state<State>(stream);
  return st->x != 0 && st->x <= kMask && (st->a & 1) && st->a <= kMask;
}

extern "C" {

ZEV_API int __vqsBRngMCG59InitStream(int op, void* stream, int n, const unsigned int* params) {
  State* st = zev::vqs::state<State>(stream);
  switch (op) {
    case ZEV_VQS_INIT_NEW: {
      uint64_t x = 1;
      if (n == 1) x = params[0];
      if (n >= 2) x = uint64_t(params[0]) + (uint64_t(params[1] & 0x7FFFFFFu) << 32);
      st->x = x ? x : 1;
      st->a = kA;
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_LEAPFROG: {
      uint32_t k = uint32_t(zev::vqs::param_i32(params));
      st->x = (st->x * __vqsiPowMod2P59(st->a, k)) & kMask;
      st->a = __vqsiPowMod2P59(st->a, uint64_t(int64_t(n)));
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_SKIPAHEAD:
      st->x = (st->x * __vqsiPowMod2P59(st->a, zev::vqs::param_u64(params))) & kMask;
      return ZEV_VQS_OK;
    case ZEV_VQS_INIT_SKIPEX: return ZEV_VQS_ERR_NO_SKIPAHEADEX;
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

// 64-bit words, low half first.
ZEV_API int __vqsiBRngMCG59(void* stream, int n, unsigned int* r) {
  generate(stream, n, [r](int k, uint64_t x) {
    r[2 * k] = uint32_t(x);
    r[2 * k + 1] = uint32_t(x >> 32);
  });
  return ZEV_VQS_OK;
}

// Double precision scales each half, then adds: the order is part of the
// output, and differs on purpose from the single-precision form. Two values
// at a time, the halves exactly: the low word under the exponent bits of
// 2^52 is 2^52 + l, the high word under those of 2^84 is 2^84 + h * 2^32.
// (x is never 0, so no half-sum can be a zero whose sign the mode decides.)
ZEV_API int __vqsdBRngMCG59(void* stream, int n, double* r, double a, double b) {
  const double s = (b - a) * kScale;
  const __m128i low = _mm_set1_epi64x(0xFFFFFFFFll);
  const __m128i e52 = _mm_set1_epi64x(0x4330000000000000ll), e84 = _mm_set1_epi64x(0x4530000000000000ll);
  const __m128d two52 = _mm_set1_pd(0x1p52), two84 = _mm_set1_pd(0x1p84);
  const __m128d vs = _mm_set1_pd(s), va = _mm_set1_pd(a);
  auto pair = [&](__m128i x) {
    const __m128d l = _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(_mm_and_si128(x, low), e52)), two52);
    const __m128d h = _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(_mm_srli_epi64(x, 32), e84)), two84);
    return _mm_add_pd(_mm_add_pd(_mm_mul_pd(l, vs), _mm_mul_pd(h, vs)), va);
  };
  generate(
      stream, n,
      [=](int k, uint64_t x) {
        double l = double(uint32_t(x)), h = double(uint32_t(x >> 32)) * kTwo32;
        r[k] = l * s + h * s + a;
      },
      [&](int k, const uint64_t* lane) {
        // from registers: a 16-byte load of two 8-byte stores would stall
        _mm_storeu_pd(r + k, pair(_mm_set_epi64x(int64_t(lane[1]), int64_t(lane[0]))));
        _mm_storeu_pd(r + k + 2, pair(_mm_set_epi64x(int64_t(lane[3]), int64_t(lane[2]))));
      });
  return ZEV_VQS_OK;
}

// Single precision adds the halves, then scales.
ZEV_API int __vqssBRngMCG59(void* stream, int n, float* r, float a, float b) {
  const double da = a, s = (double(b) - da) * kScale;
  generate(stream, n, [=](int k, uint64_t x) {
    double l = double(uint32_t(x)), h = double(uint32_t(x >> 32)) * kTwo32;
    r[k] = float((l + h) * s + da);
  });
  return ZEV_VQS_OK;
}

}  // extern "C"
