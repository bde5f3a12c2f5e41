// Modular powers for the jumps of the congruential generators: one-word
// powers (MCG31M1, MCG59, WH) and powers of 3x3 matrices (MRG32K3A).
//
// All are binary powers that take the exponent's bits from the lowest, with
// every product reduced at once.
#include "streams/stream.h"

namespace {

constexpr uint32_t kM31 = 0x7FFFFFFFu;
constexpr uint32_t kMrgM1 = 4294967087u;  // 2^32 - 209
constexpr uint32_t kMrgM2 = 4294944443u;  // 2^32 - 22853

inline uint32_t mul_m31(uint32_t a, uint32_t b) {
  uint64_t p = uint64_t(a) * b;
  uint64_t r = (p & kM31) + (p >> 31);
  if (r >= kM31) r -= kM31;
  return uint32_t(r);
}

// Reductions of a 64-bit value.
struct ModGeneric {
  uint32_t m;
  uint32_t reduce(uint64_t x) const { return uint32_t(x % m); }
};

// Modulus 2^32 - c: x = h 2^32 + l is congruent to h c + l; two folds and at
// most two subtractions bring any 64-bit value below the modulus.
template <uint32_t M>
struct ModNear32 {
  static constexpr uint64_t c = (uint64_t(1) << 32) - M;
  uint32_t m = M;
  uint32_t reduce(uint64_t x) const {
    x = (x >> 32) * c + (x & 0xFFFFFFFFu);
    x = (x >> 32) * c + (x & 0xFFFFFFFFu);
    while (x >= M) x -= M;
    return uint32_t(x);
  }
};

template <class Mod>
void mat_mul(const Mod& md, const uint32_t a[9], const uint32_t b[9], uint32_t out[9]) {
  uint32_t t[9];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      uint64_t s = 0;
      for (int k = 0; k < 3; ++k) {
        s += md.reduce(uint64_t(a[3 * i + k]) * b[3 * k + j]);
      }
      t[3 * i + j] = md.reduce(s);
    }
  std::memcpy(out, t, sizeof t);
}

// r = a^e for an exponent of ewords 64-bit words, least significant first.
template <class Mod>
void mat_pow(const Mod& md, const uint32_t a[9], const uint64_t* e, int ewords, uint32_t out[9]) {
  uint32_t r[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  uint32_t s[9];
  for (int i = 0; i < 9; ++i) s[i] = md.reduce(a[i]);
  if (md.m == 1) std::memset(r, 0, sizeof r);
  int top = ewords;
  while (top > 0 && e[top - 1] == 0) --top;
  for (int w = 0; w < top; ++w) {
    uint64_t bits = e[w];
    int nbits = (w == top - 1) ? 64 - __builtin_clzll(bits) : 64;
    for (int b = 0; b < nbits; ++b, bits >>= 1) {
      if (bits & 1) mat_mul(md, r, s, r);
      mat_mul(md, s, s, s);
    }
  }
  std::memcpy(out, r, sizeof r);
}

}  // namespace

extern "C" {

ZEV_API uint32_t __vqsiPowMod(uint32_t a, uint64_t e, uint32_t m) {
  if (m == 0) return 0;
  uint64_t r = 1 % m, s = a % m;
  while (e) {
    if (e & 1) r = r * s % m;
    s = s * s % m;
    e >>= 1;
  }
  return uint32_t(r);
}

ZEV_API uint32_t __vqsiPowMod2P31M1(uint32_t a, uint64_t e) {
  uint32_t r = 1, s = a % kM31;
  while (e) {
    if (e & 1) r = mul_m31(r, s);
    s = mul_m31(s, s);
    e >>= 1;
  }
  return r;
}

ZEV_API uint64_t __vqsiPowMod2P59(uint64_t a, uint64_t e) {
  constexpr uint64_t mask = (uint64_t(1) << 59) - 1;
  uint64_t r = 1, s = a & mask;
  while (e) {
    if (e & 1) r = (r * s) & mask;
    s = (s * s) & mask;
    e >>= 1;
  }
  return r;
}

ZEV_API void __vqsiVect3PowMod(const uint32_t a[9], uint64_t e, uint32_t m, uint32_t out[9]) {
  mat_pow(ModGeneric{m ? m : 1}, a, &e, 1, out);
}

ZEV_API void __vqsiVect3PowArrayMod(const uint32_t a[9], const uint64_t* e, int ewords,
                                    uint32_t m, uint32_t out[9]) {
  mat_pow(ModGeneric{m ? m : 1}, a, e, ewords, out);
}

ZEV_API void __vqsiVect3PowArrayMod_M1(const uint32_t a[9], const uint64_t* e, int ewords,
                                       uint32_t out[9]) {
  mat_pow(ModNear32<kMrgM1>{}, a, e, ewords, out);
}

ZEV_API void __vqsiVect3PowArrayMod_M2(const uint32_t a[9], const uint64_t* e, int ewords,
                                       uint32_t out[9]) {
  mat_pow(ModNear32<kMrgM2>{}, a, e, ewords, out);
}

}  // extern "C"
