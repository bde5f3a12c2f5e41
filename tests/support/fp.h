// Floating-point helpers of the kernel tests: bit views, bit-exact comparison
// with a choice about NaN, and a scope that sets the mode word for a test.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "zev/zev_vqm.h"

namespace zevtest {

template <class T> struct FpBits;
template <> struct FpBits<float> {
  using U = uint32_t;
  static constexpr U kSign = 0x80000000u, kQuiet = 0x00400000u, kExp = 0x7F800000u;
};
template <> struct FpBits<double> {
  using U = uint64_t;
  static constexpr U kSign = 0x8000000000000000ull, kQuiet = 0x0008000000000000ull, kExp = 0x7FF0000000000000ull;
};

template <class T>
typename FpBits<T>::U bits(T x) {
  typename FpBits<T>::U u;
  memcpy(&u, &x, sizeof x);
  return u;
}

template <class T>
T from_bits(typename FpBits<T>::U u) {
  T x;
  memcpy(&x, &u, sizeof x);
  return x;
}

// Equal bits, or both NaN where `any_nan` (which of two NaN operands survives,
// and its payload, is then not part of the contract).
template <class T>
bool same(T got, T want, bool any_nan = true) {
  if (any_nan && got != got && want != want) return true;
  return bits(got) == bits(want);
}

// The x87 control word, read and loaded.
inline uint16_t x87_control() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
inline void x87_load_control(uint16_t cw) { __asm__ volatile("fldcw %0" ::"m"(cw)); }

// Sets the mode word for a scope, then restores it; clears the status and
// errno on the way in and the status on the way out.
class ModeScope {
 public:
  explicit ModeScope(unsigned mode) : old_(zev_vqm_kernel_SetMode(mode)) {
    zev_vqm_kernel_ClearErrStatus();
    errno = 0;
  }
  ~ModeScope() {
    zev_vqm_kernel_SetMode(old_);
    zev_vqm_kernel_ClearErrStatus();
  }
  ModeScope(const ModeScope&) = delete;
  ModeScope& operator=(const ModeScope&) = delete;

 private:
  unsigned old_;
};

}  // namespace zevtest
