// R250: the generalied feedback shift register x(k) = x(k-250) XOR x(k-103)
// on 32-bit word (Kirkpatrick and Stoll, J. Comput. Phys. 40 (1981) 517).
//
// State: the 250 word of the register as a ring, the ring position of the
// oldet word x(k-250), and the ring position of x(k-103): 1008 bytes, the
// 252 word that a state copy moves.
#include "generators/common/init.h"
#include "streams/stream.h"
#include "streams/state_check.h"

namespace {

constexpr int kLong = 250;
constexpr int kShort = 103;
constexpr double kScale = 1.0 / 4294967296.0;

struct State {
  uint32_t x[kLong];
  uint32_t pos;   // oldest word, x(k-250)
  uint32_t pos2;  // x(k-103)
};
static_assert(sizeof(State) + 16 == 1024);

template <class Put>
void generate(void* stream, int n, Put put) {
  State* st = zev::vqs::state<State>(stream);
  // The x(k-103) position follows from the oldest one; both are taken modulo
  // 250 so that a state loaded from damaged bytes cannot index past the ring.
  uint32_t i = st->pos % kLong, j = (i + kLong - kShort) % kLong;
  for (int k = 0; k < n; ++k) {
    uint32_t v = st->x[i] ^ st->x[j];
    st->x[i] = v;
    put(k, v);
    i = i + 1 == kLong ? 0 : i + 1;
    j = j + 1 == kLong ? 0 : j + 1;
  }
  st->pos = i;
  st->pos2 = j;
}

}  // namespace

// A loaded state: both ring positions inside the ring, the second one 147
// places after the first, as every step leaves them.
bool zev::gen::check_r250_state(const void* stream) {
  const State* st = zev::vqs::state<State>(stream);
  return st->pos < uint32_t(kLong) && st->pos2 == (st->pos + kLong - kShort) % kLong;
}

extern "C" {

ZEV_API int __vqsBRngR250InitStream(int op, void* stream, int n, const unsigned int* params) {
  if (const int refused = zev::gen::refuse_unless_new(op)) return refused;
  State* st = zev::vqs::state<State>(stream);
  if (n >= kLong) {
    std::memcpy(st->x, params, sizeof st->x);
  } else {
    // Fill from a 69069 congruential sequence: word j is s * 69069^(j+1).
    uint32_t s = (n < 1 || params[0] == 0) ? 1u : params[0];
    for (int i = 0; i < kLong / 2; ++i) {
      st->x[2 * i] = s * 0x10DCDu;
      s *= 0x1C587629u;  // 69069^2
      st->x[2 * i + 1] = s;
    }
  }
  // Set a diagonal of 32 words to a unit lower triangle, so that the register
  // holds 32 linearly independent words whatever the seed.
  uint32_t mask = 0xFFFFFFFFu, bit = 0x80000000u;
  for (int r = 0; r < 16; ++r) {
    st->x[3 + 14 * r] = (st->x[3 + 14 * r] & mask) | bit;
    st->x[10 + 14 * r] = (st->x[10 + 14 * r] & (mask >> 1)) | (bit >> 1);
    mask >>= 2;
    bit >>= 2;
  }
  st->pos = 0;
  st->pos2 = kLong - kShort;
  return ZEV_VQS_OK;
}

ZEV_API int __vqsiBRngR250(void* stream, int n, unsigned int* r) {
  generate(stream, n, [r](int k, uint32_t v) { r[k] = v; });
  return ZEV_VQS_OK;
}

ZEV_API int __vqsdBRngR250(void* stream, int n, double* r, double a, double b) {
  const double s = (b - a) * kScale;
  generate(stream, n, [=](int k, uint32_t v) { r[k] = double(v) * s + a; });
  return ZEV_VQS_OK;
}

ZEV_API int __vqssBRngR250(void* stream, int n, float* r, float a, float b) {
  const double da = a, s = (double(b) - da) * kScale;
  generate(stream, n, [=](int k, uint32_t v) { r[k] = float(double(v) * s + da); });
  return ZEV_VQS_OK;
}

}  // extern "C"
