// Per-thread vector-math state.
#pragma once

#include <cstdint>

#include "zev/zev_vqm.h"

namespace zev {

struct ThreadState {
  uint32_t mode;  // 0 until the first read of the mode
  int32_t status;
  zev_vqm_error_callback callback;
  uint32_t reserved1;
  uint32_t reserved2;
  const void* interf_input;
};

// The calling thread's record, created at first use.
ThreadState* thread_state();

// This thread's record once it exists (the fast path of thread_state()).
extern __thread ThreadState* t_record __attribute__((tls_model("initial-exec")));

// The mode word, as zev_vqm_kernel_GetMode gives it; inline for the kernels'
// prologue, with the first read of a thread going the long way.
inline uint32_t current_mode() {
  const ThreadState* r = t_record;
  if (__builtin_expect(r != nullptr && r->mode != 0, 1)) return r->mode;
  return zev_vqm_kernel_GetMode();
}

// The value the environment gives the mode word, or all ones when the
// variable is absent or malformed.
uint64_t parse_mode_value(const char* text);

// Sets the caller's errno.
void set_errno(int value);

}  // namespace zev
