// MCG31M1: x(k+1) = 1132489760 x(k) mod (2^31 - 1).
//
// The state is the current value and the current multiplier; a leapfrog
// replaces the multiplier, so a stream is fully described by the two.
// The value x is given out first and then stepped: the first output after
// seeding is the seed itself.
#include <emmintrin.h>

#include "streams/stream.h"
#include "streams/state_check.h"

namespace {

constexpr uint32_t kM = 0x7FFFFFFFu;
constexpr uint32_t kA = 0x43806C20u;  // 1132489760

struct State {
  uint32_t x;
  uint32_t a;
};
static_assert(sizeof(State) + 16 <= 24);

// 1/(2^31 - 1) rounded to a double: bits 0x3E00000000200000.
inline double scale() {
  uint64_t bits = 0x3E00000000200000ull;
  double d;
  std::memcpy(&d, &bits, 8);
  return d;
}

// The 62-bit product folded once: 2^31 is 1 modulo 2^31 - 1.
inline uint32_t mulmod(uint32_t a, uint32_t x) {
  uint64_t p = uint64_t(a) * x;
  uint32_t l = uint32_t(p), h = uint32_t(p >> 32);
  uint64_t s = uint64_t(l & kM) + (l >> 31) + 2ull * h;
  if (s >= kM) s -= kM;
  return uint32_t(s);
}

// Multiplies four lanes by a (below 2^31) modulo 2^31 - 1: products of the
// even and odd lanes by _mm_mul_epu32, each folded as (p & M) + (p >> 31),
// which is below 2^32, then one conditional subtraction in 32-bit lanes.
inline __m128i mulmod4(__m128i x, __m128i a) {
  const __m128i m64 = _mm_set1_epi64x(kM);
  __m128i pe = _mm_mul_epu32(x, a);
  __m128i po = _mm_mul_epu32(_mm_srli_epi64(x, 32), a);
  __m128i re = _mm_add_epi64(_mm_and_si128(pe, m64), _mm_srli_epi64(pe, 31));
  __m128i ro = _mm_add_epi64(_mm_and_si128(po, m64), _mm_srli_epi64(po, 31));
  __m128i r = _mm_or_si128(re, _mm_slli_epi64(ro, 32));
  // r < 2M: r - M has its top bit set exactly when r < M.
  __m128i t = _mm_sub_epi32(r, _mm_set1_epi32(int(kM)));
  return _mm_add_epi32(t, _mm_and_si128(_mm_srai_epi32(t, 31), _mm_set1_epi32(int(kM))));
}

// Eight values a round: two vectors hold eight consecutive values, and each
// round multiplies every lane by a^8. The first eight come from the plain
// step; the sequence is the plain step's. out.one(k, x) stores value k,
// out.four(k, v) values k to k + 3.
template <class Out>
void generate(void* stream, int n, Out out) {
  State* st = zev::vqs::state<State>(stream);
  uint32_t a = st->a, x = st->x;
  if (n <= 0) {
    // The family stores its first value before it looks at n.
    out.one(0, x);
    st->x = mulmod(a, x);
    return;
  }
  int k = 0;
  if (n >= 8) {
    alignas(16) uint32_t lane[8];
    lane[0] = x;
    for (int j = 1; j < 8; ++j) lane[j] = mulmod(a, lane[j - 1]);
    const __m128i a8 = _mm_set1_epi32(int(__vqsiPowMod2P31M1(a, 8)));
    __m128i v0 = _mm_load_si128(reinterpret_cast<const __m128i*>(lane));
    __m128i v1 = _mm_load_si128(reinterpret_cast<const __m128i*>(lane + 4));
    for (; n - k >= 8; k += 8) {
      out.four(k, v0);
      out.four(k + 4, v1);
      v0 = mulmod4(v0, a8);
      v1 = mulmod4(v1, a8);
    }
    x = uint32_t(_mm_cvtsi128_si32(v0));
  }
  for (; k < n; ++k) {
    out.one(k, x);
    x = mulmod(a, x);
  }
  st->x = x;
}

struct IntOut {
  unsigned int* r;
  void one(int k, uint32_t x) const { r[k] = x; }
  void four(int k, __m128i v) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(r + k), v); }
};

// x * S + a in double; values stay below 2^31, so the signed conversion of
// the lanes is exact.
struct DoubleOut {
  double* r;
  double s, a;
  void one(int k, uint32_t x) const { r[k] = double(x) * s + a; }
  void four(int k, __m128i v) const {
    const __m128d vs = _mm_set1_pd(s), va = _mm_set1_pd(a);
    __m128d lo = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), vs), va);
    __m128d hi = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), vs), va);
    _mm_storeu_pd(r + k, lo);
    _mm_storeu_pd(r + k + 2, hi);
  }
};

struct FloatOut {
  float* r;
  double s, a;
  void one(int k, uint32_t x) const { r[k] = float(double(x) * s + a); }
  void four(int k, __m128i v) const {
    const __m128d vs = _mm_set1_pd(s), va = _mm_set1_pd(a);
    __m128d lo = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), vs), va);
    __m128d hi = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), vs), va);
    _mm_storeu_ps(r + k, _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)));
  }
};

}  // namespace

// A loaded state: the value and the multiplier are residues of 1 to 2^31 - 2
// (no power of a unit is 0), and a value of 0 would give out zeros, which
// this generator never does.
bool zev::gen::check_mcg31m1_state(const void* stream) {
  const State* st = zev::vqs::state<State>(stream);
  return st->x >= 1 && st->x < kM && st->a >= 1 && st->a < kM;
}

extern "C" {

ZEV_API int __vqsBRngMCG31M1InitStream(int op, void* stream, int n, const unsigned int* params) {
  State* st = zev::vqs::state<State>(stream);
  switch (op) {
    case ZEV_VQS_INIT_NEW: {
      uint32_t x = n >= 1 ? params[0] % kM : 1;
      st->x = x ? x : 1;
      st->a = kA;
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_LEAPFROG: {
      uint32_t k = uint32_t(zev::vqs::param_i32(params));
      st->x = mulmod(st->x, __vqsiPowMod2P31M1(st->a, k));
      st->a = __vqsiPowMod2P31M1(st->a, uint64_t(int64_t(n)));
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_SKIPAHEAD:
      st->x = mulmod(st->x, __vqsiPowMod2P31M1(st->a, zev::vqs::param_u64(params)));
      return ZEV_VQS_OK;
    case ZEV_VQS_INIT_SKIPEX: return ZEV_VQS_ERR_NO_SKIPAHEADEX;
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

ZEV_API int __vqsiBRngMCG31M1(void* stream, int n, unsigned int* r) {
  if (n <= 0 && !r) return ZEV_VQS_OK;
  generate(stream, n, IntOut{r});
  return ZEV_VQS_OK;
}

ZEV_API int __vqsdBRngMCG31M1(void* stream, int n, double* r, double a, double b) {
  if (n <= 0 && !r) return ZEV_VQS_OK;
  generate(stream, n, DoubleOut{r, (b - a) * scale(), a});
  return ZEV_VQS_OK;
}

ZEV_API int __vqssBRngMCG31M1(void* stream, int n, float* r, float a, float b) {
  if (n <= 0 && !r) return ZEV_VQS_OK;
  const double da = a;
  generate(stream, n, FloatOut{r, (double(b) - da) * scale(), da});
  return ZEV_VQS_OK;
}

}  // extern "C"
