// Sticky flags of arithmetic that is not the result's own: the intermediate
// steps of a scaled computation, whose tiny cross terms underflow where the
// result does not, or a naive product that a recovery replaces.
//
// FlagHold reads MXCSR's sticky flags when made; drop(f) puts the flags f back
// as they were then and keeps every other flag raised since. Values computed
// in between pass through fence() before the drop, and the inputs after the
// hold is made, so that the compiler moves none of that arithmetic across
// the reads and writes of MXCSR.
#pragma once

#include <cstdint>

#include "vector/shape.h"

namespace zev::vk {

// MXCSR's sticky flags by name.
inline constexpr uint32_t kFlagInvalid = 0x01, kFlagDivZero = 0x04, kFlagOverflow = 0x08, kFlagUnderflow = 0x10;
// Every flag a result can call for but inexact.
inline constexpr uint32_t kFlagsExact = kFlagInvalid | kFlagDivZero | kFlagOverflow | kFlagUnderflow;

class FlagHold {
 public:
  FlagHold() : saved_(csr_get()) {}
  void drop(uint32_t f) const { csr_set((csr_get() & ~f) | (saved_ & f)); }

 private:
  uint32_t saved_;
};

template <class T>
inline void fence_one(T& v) {
  __asm__ volatile("" : "+x"(v));
}
template <class... T>
inline void fence(T&... v) {
  (fence_one(v), ...);
}

}  // namespace zev::vk
