// dExpm1 under a caller that unmasks x87 exceptions. The HA kernel runs on the
// x87 unit with its own control word; the flags its arithmetic raises must not
// be left pending for the caller's word, or the caller's next x87 instruction
// traps. Every level is called, plain and strided, on inputs that overflow,
// are invalid (a signalling NaN), subnormal and inexact.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <unistd.h>

#include "tests/support/fp.h"
#include "zev/zev_vqm.h"

namespace {

using zevtest::x87_control;
using zevtest::x87_load_control;

uint16_t x87_status() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

struct Entry {
  const char* name;
  void (*plain)(int, const double*, double*);
  void (*strided)(int, const double*, int, double*, int);
};
const Entry kEntries[] = {{"LA", _vqmdExpm1_50, _vqmdExpm1I_50},
                          {"HA", _vqmdExpm1_HA, _vqmdExpm1I_HA},
                          {"EP", _vqmdExpm1_26, _vqmdExpm1I_26}};

double snan() {
  const uint64_t u = 0x7FF0000000000001ull;
  double d;
  memcpy(&d, &u, 8);
  return d;
}

// Overflow, invalid, a subnormal, the flat -1 side, and inexact results on
// every path of the x87 loop.
const double kInputs[] = {1000.0, 709.79, snan(), 4e-320, -1000.0, 50.0, 0.3, 1e-3, 1e-10, 1e-300, -0.7};
constexpr int kN = sizeof kInputs / sizeof kInputs[0];

// Invalid, overflow and underflow unmasked; 64-bit and 53-bit precision,
// nearest and toward zero.
const uint16_t kWords[] = {0x0366, 0x0266, 0x0F66};

void call(const Entry& e, bool strided, double* r) {
  if (strided)
    e.strided(kN, kInputs, 1, r, 2);
  else
    e.plain(kN, kInputs, r);
}

TEST(Shape, X87LoopLeavesNoPendingException) {
  zevtest::ModeScope mode(VQM_HA | VQM_ERRMODE_IGNORE);
  const unsigned csr = _mm_getcsr();
  const uint16_t saved = x87_control();
  for (const Entry& e : kEntries) {
    for (int strided = 0; strided < 2; ++strided) {
      for (uint16_t cw : kWords) {
        SCOPED_TRACE(std::string(e.name) + (strided ? " strided" : " plain") + " cw " + std::to_string(cw));
        double r[2 * kN];
        __asm__ volatile("fnclex");
        x87_load_control(cw);
        _mm_setcsr((csr & ~0x603Fu) | 0x2000u);  // round down, no flags
        const unsigned before = _mm_getcsr();
        call(e, strided, r);
        // Read without waiting: a pending unmasked exception would trap at
        // the next waiting x87 instruction, so it is cleared before any.
        const uint16_t cw_after = x87_control(), sw = x87_status();
        const unsigned csr_after = _mm_getcsr();
        __asm__ volatile("fnclex");
        x87_load_control(saved);
        _mm_setcsr(csr);
        EXPECT_EQ(sw & 0x3F & ~cw, 0) << "pending under the caller's word, status " << sw;
        EXPECT_EQ(cw_after, cw);
        EXPECT_EQ(csr_after & 0xFFC0u, before & 0xFFC0u);
        if (std::string(e.name) == "HA") {
          EXPECT_EQ(csr_after, before) << "the x87 loop leaves MXCSR alone";
        }
        EXPECT_EQ(r[0], HUGE_VAL);
      }
    }
  }
}

// The caller's next long double addition after the call, in a child: a
// pending unmasked exception would kill it with SIGFPE.
void call_then_add(const Entry& e, bool strided) {
  zev_vqm_kernel_SetMode(VQM_HA | VQM_ERRMODE_IGNORE);
  double r[2 * kN];
  __asm__ volatile("fnclex");
  x87_load_control(kWords[0]);
  call(e, strided, r);
  volatile long double a = 1.0L, b = 0x1p-70L;
  a = a + b;
  _exit(0);
}

TEST(Shape, X87LoopThenCallerAdds) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const Entry& e : kEntries)
    for (bool strided : {false, true})
      EXPECT_EXIT(call_then_add(e, strided), ::testing::ExitedWithCode(0), "")
          << e.name << (strided ? " strided" : " plain");
}

}  // namespace
