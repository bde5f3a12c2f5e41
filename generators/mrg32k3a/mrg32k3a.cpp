// MRG32K3A: the combined multiple recursive generator of L'Ecuyer ("Good
// parameters and implementations for combined multiple recursive random
// number generators", Operations Research 47 (1999) 159):
//   x(k) = (1403580 x(k-2) - 810728 x(k-3)) mod m1,   m1 = 2^32 - 209
//   y(k) = (527612 y(k-1) - 1370589 y(k-3)) mod m2,   m2 = 2^32 - 22853
//   output = x(k) - y(k) when x(k) > y(k), else x(k) - y(k) + m1
//
// State: x(k-3), x(k-2), x(k-1), then y(k-3), y(k-2), y(k-1).
#include "streams/stream.h"
#include "streams/state_check.h"

namespace {

constexpr uint32_t kM1 = 4294967087u;
constexpr uint32_t kM2 = 4294944443u;
constexpr int64_t kA12 = 1403580, kA13 = 810728;
constexpr int64_t kA21 = 527612, kA23 = 1370589;

// The companion matrices, acting on (x(k-3), x(k-2), x(k-1)).
constexpr uint32_t kMat1[9] = {0, 1, 0, 0, 0, 1, uint32_t(kM1 - kA13), uint32_t(kA12), 0};
constexpr uint32_t kMat2[9] = {0, 1, 0, 0, 0, 1, uint32_t(kM2 - kA23), 0, uint32_t(kA21)};

// 1/m1 rounded to a double: bits 0x3DF000000D10000B.
inline double scale() {
  uint64_t bits = 0x3DF000000D10000Bull;
  double d;
  std::memcpy(&d, &bits, 8);
  return d;
}

struct State {
  uint32_t x[3];
  uint32_t y[3];
};
static_assert(sizeof(State) + 16 <= 40);

// v modulo 2^32 - c for v in [0, 2^54): two folds of h 2^32 + l into
// h c + l, then one subtraction.
template <uint32_t C>
inline int64_t fold(uint64_t v) {
  constexpr uint64_t m = (uint64_t(1) << 32) - C;
  v = (v >> 32) * C + (v & 0xFFFFFFFFu);
  v = (v >> 32) * C + (v & 0xFFFFFFFFu);
  return int64_t(v >= m ? v - m : v);
}

// Sixteen values a round with the six words in registers; the tail runs the
// same step one value at a time. The sequence does not depend on the rounds.
template <class Put>
void generate(void* stream, int n, Put put) {
  State* st = zev::vqs::state<State>(stream);
  int64_t x0 = st->x[0], x1 = st->x[1], x2 = st->x[2];
  int64_t y0 = st->y[0], y1 = st->y[1], y2 = st->y[2];
  auto step = [&]() -> uint32_t {
    // Adding a13 m1 (a23 m2) makes the combination non-negative without
    // changing it modulo m1 (m2); the sums stay below 2^54.
    int64_t p1 = fold<209>(uint64_t(kA12 * x1 - kA13 * x0 + kA13 * int64_t(kM1)));
    int64_t p2 = fold<22853>(uint64_t(kA21 * y2 - kA23 * y0 + kA23 * int64_t(kM2)));
    x0 = x1, x1 = x2, x2 = p1;
    y0 = y1, y1 = y2, y2 = p2;
    return uint32_t(p1 > p2 ? p1 - p2 : p1 - p2 + kM1);
  };
  int k = 0;
  for (; n - k >= 16; k += 16) {
    uint32_t v[16];
    for (int j = 0; j < 16; ++j) v[j] = step();
    for (int j = 0; j < 16; ++j) put(k + j, v[j]);
  }
  for (; k < n; ++k) put(k, step());
  st->x[0] = uint32_t(x0), st->x[1] = uint32_t(x1), st->x[2] = uint32_t(x2);
  st->y[0] = uint32_t(y0), st->y[1] = uint32_t(y1), st->y[2] = uint32_t(y2);
}

void apply(const uint32_t m[9], uint32_t v[3], uint32_t mod) {
  uint32_t r[3];
  for (int i = 0; i < 3; ++i) {
    uint64_t s = 0;
    for (int j = 0; j < 3; ++j) s += uint64_t(m[3 * i + j]) * v[j] % mod;
    r[i] = uint32_t(s % mod);
  }
  std::memcpy(v, r, sizeof r);
}

}  // namespace

// A loaded state: every word below its modulus, and neither component all
// zero (seeding and every jump keep both true; the reductions rely on the
// first, and an all-zero component never leaves zero).
bool zev::gen::check_mrg32k3a_state(const void* stream) {
  const State* st = zev::vqs::state<State>(stream);
  for (int i = 0; i < 3; ++i)
    if (st->x[i] >= kM1 || st->y[i] >= kM2) return false;
  return (st->x[0] | st->x[1] | st->x[2]) != 0 && (st->y[0] | st->y[1] | st->y[2]) != 0;
}

extern "C" {

ZEV_API int __vqsBRngMRG32K3AInitStream(int op, void* stream, int n, const unsigned int* params) {
  State* st = zev::vqs::state<State>(stream);
  switch (op) {
    case ZEV_VQS_INIT_NEW: {
      uint32_t w[6];
      for (int i = 0; i < 6; ++i) w[i] = i < n ? params[i] : 1u;
      for (int i = 0; i < 3; ++i) {
        // Adding 2^32 - m wraps a word at or above m back below it.
        st->x[i] = w[i] >= kM1 ? w[i] + 0xD1u : w[i];
        st->y[i] = w[3 + i] >= kM2 ? w[3 + i] + 0x5945u : w[3 + i];
      }
      if ((st->x[0] | st->x[1] | st->x[2]) == 0) st->x[0] = 1;
      if ((st->y[0] | st->y[1] | st->y[2]) == 0) st->y[0] = 1;
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_LEAPFROG: return ZEV_VQS_ERR_NO_LEAPFROG;
    case ZEV_VQS_INIT_SKIPAHEAD: {
      uint64_t count = zev::vqs::param_u64(params);
      uint32_t p1[9], p2[9];
      __vqsiVect3PowMod(kMat1, count, kM1, p1);
      __vqsiVect3PowMod(kMat2, count, kM2, p2);
      apply(p1, st->x, kM1);
      apply(p2, st->y, kM2);
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_SKIPEX: {
      if (n <= 0) return ZEV_VQS_OK;
      uint64_t words[64];
      const uint64_t* e = reinterpret_cast<const uint64_t*>(params);
      if (n <= 64) {  // copy to an aligned buffer; params need not be 8-aligned
        for (int i = 0; i < n; ++i) words[i] = zev::vqs::param_u64(params, i);
        e = words;
      }
      bool high = false;
      for (int i = 3; i < n; ++i) high |= zev::vqs::param_u64(params, i) != 0;
      uint32_t p1[9], p2[9];
      if (high) {
        __vqsiVect3PowArrayMod(kMat1, e, n, kM1, p1);
        __vqsiVect3PowArrayMod(kMat2, e, n, kM2, p2);
      } else {
        int w = n < 3 ? n : 3;
        __vqsiVect3PowArrayMod_M1(kMat1, e, w, p1);
        __vqsiVect3PowArrayMod_M2(kMat2, e, w, p2);
      }
      apply(p1, st->x, kM1);
      apply(p2, st->y, kM2);
      return ZEV_VQS_OK;
    }
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

ZEV_API int __vqsiBRngMRG32K3A(void* stream, int n, unsigned int* r) {
  generate(stream, n, [r](int k, uint32_t v) { r[k] = v; });
  return ZEV_VQS_OK;
}

ZEV_API int __vqsdBRngMRG32K3A(void* stream, int n, double* r, double a, double b) {
  const double s = (b - a) * scale();
  generate(stream, n, [=](int k, uint32_t v) { r[k] = double(v) * s + a; });
  return ZEV_VQS_OK;
}

ZEV_API int __vqssBRngMRG32K3A(void* stream, int n, float* r, float a, float b) {
  const double da = a, s = (double(b) - da) * scale();
  generate(stream, n, [=](int k, uint32_t v) { r[k] = float(double(v) * s + da); });
  return ZEV_VQS_OK;
}

}  // extern "C"
