// Per-thread vector-math state.
#pragma once

#include <cstdint>

#include "zev/zev_vqm.h"

namespace zev {

// The fields of the mode word; zev/zev_vqm.h names the values they take.
inline constexpr uint32_t kModeLevel = 0xF;                                   // VQM_LA, VQM_HA, VQM_EP
inline constexpr uint32_t kModeErrors = 0xFF00;                               // VQM_ERRMODE_*, bits 8-15
inline constexpr uint32_t kModeDenormals = VQM_FTZDAZ_ON | VQM_FTZDAZ_OFF;    // 0x3C0000
inline constexpr uint32_t kModeTraps =
    VQM_TRAP_INVALID | VQM_TRAP_DIVBYZERO | VQM_TRAP_OVERFLOW | VQM_TRAP_UNDERFLOW;  // 0xF000000
inline constexpr uint32_t kModeUnnamed = 0x30000;  // bits 16-17: kept by SetMode, read by nothing
// The error modes that act on a report without a callback.
inline constexpr uint32_t kModeReporting =
    VQM_ERRMODE_IGNORE | VQM_ERRMODE_ERRNO | VQM_ERRMODE_STDERR | VQM_ERRMODE_EXCEPT | VQM_ERRMODE_NOERR;

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
