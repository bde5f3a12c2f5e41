// Special values and statuses of scalar functions: NaN tests and the NaN of
// two operands, and the status of a lane from the IEEE exceptions its scalar
// computation raised.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "vector/shape.h"

namespace zev::vk {

// Keeps a value in a register across the flag reads, so that the compiler
// neither hoists its computation above them nor sinks it below.
template <class T>
inline void pin(T& v) {
  __asm__ volatile("" : "+x"(v));
}

// Collects the exceptions raised between start() and stop() with the
// caller's sticky flags set aside, and puts those flags back, joined by the
// new ones, at stop().
class Flags {
 public:
  Flags() : saved_(csr_get()) { csr_set(saved_ & ~kCsrFlags); }
  unsigned stop() {
    const unsigned got = csr_get() & kCsrFlags;
    csr_set(saved_ | got);
    return got;
  }

 private:
  uint32_t saved_;
};


// The status of a lane whose inputs are not NaN: invalid 1, an exact pole 2,
// an overflow that left an infinity 3, an underflow that left a result below
// the normal range 4.
template <class T>
inline int status_of(unsigned flags, T r) {
  if (flags & kCsrInvalid) return 1;
  if (flags & kCsrDivZero) return 2;
  if ((flags & kCsrOverflow) && std::isinf(r)) return 3;
  if ((flags & kCsrUnderflow) && std::fabs(r) < std::numeric_limits<T>::min()) return 4;
  return 0;
}

template <class T>
inline bool is_nan(T x) {
  return x != x;
}

// a + b with a as the destination operand: of two NaNs the first one comes
// out (quieted), as the C functions give it. Written out because the compiler
// may swap the operands of a plain a + b.
inline float nan_sum(float a, float b) {
  __asm__("addss %1, %0" : "+x"(a) : "x"(b));
  return a;
}
inline double nan_sum(double a, double b) {
  __asm__("addsd %1, %0" : "+x"(a) : "x"(b));
  return a;
}

}  // namespace zev::vk
