// Reporting a special lane: status, errno, callback, standard error and the
// x87 flag, as the mode word asks. Driven through kernels that report: Exp
// (overflow 3, underflow 4) and Ln (domain 1, pole 2).
#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>

#include "zev/zev_vqm.h"

namespace {

static_assert(sizeof(zev_vqm_error_record) == 144);
static_assert(offsetof(zev_vqm_error_record, index) == 4);
static_assert(offsetof(zev_vqm_error_record, a1) == 8);
static_assert(offsetof(zev_vqm_error_record, r2) == 32);
static_assert(offsetof(zev_vqm_error_record, name) == 40);
static_assert(offsetof(zev_vqm_error_record, name_length) == 104);
static_assert(offsetof(zev_vqm_error_record, a1_im) == 112);

// Runs f on a fresh thread, so each case starts from the default mode.
template <class F>
void on_fresh_thread(F f) {
  std::thread(f).join();
}

struct Seen {
  int calls = 0;
  zev_vqm_error_record last{};
  int answer = 0;
  double new_r1 = 0;
  bool change = false;
};
thread_local Seen seen;

int watcher(zev_vqm_error_record* e) {
  ++seen.calls;
  seen.last = *e;
  if (seen.change) e->r1 = seen.new_r1;
  return seen.answer;
}

// Overflow and underflow lanes in the middle of a block: 88.73 overflows,
// -104 underflows wholly; the other lanes keep their vector results.
const float kExpIn[8] = {0.5f, 1.0f, 88.73f, 2.0f, -104.0f, 0.25f, 3.0f, -1.0f};

TEST(Report, DefaultModeSetsStatusErrnoAndCallback) {
  on_fresh_thread([] {
    zev_vqm_kernel_SetErrorCallBack(watcher);
    float r[8];
    errno = 0;
    _vqmsExp(8, kExpIn, r);
    EXPECT_EQ(seen.calls, 2);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 4) << "the last report wins";
    EXPECT_EQ(errno, 34);
    EXPECT_EQ(seen.last.index, 4);
    EXPECT_EQ(seen.last.a1, -104.0);
    EXPECT_EQ(seen.last.a2, -104.0) << "a unary kernel passes its input as both arguments";
    EXPECT_EQ(std::string(seen.last.name), "vsExp");
    EXPECT_EQ(seen.last.name_length, 5);
    EXPECT_TRUE(std::isinf(r[2]) && r[2] > 0);
    EXPECT_EQ(r[4], 0.0f);
    for (int i : {0, 1, 3, 5, 6, 7}) EXPECT_NEAR(r[i], std::exp(kExpIn[i]), 1e-6 * std::exp(kExpIn[i]));
  });
}

TEST(Report, NoErrAndIgnoreModes) {
  on_fresh_thread([] {
    zev_vqm_kernel_SetErrorCallBack(watcher);
    zev_vqm_kernel_SetErrStatus(-77);
    zev_vqm_kernel_SetMode(0x2000);  // NOERR alone: nothing at all
    EXPECT_EQ(zev_vqm_kernel_GetMode() & 0xFF00, 0x2000u);
    float r[8];
    errno = 0;
    _vqmsExp(8, kExpIn, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), -77);
    EXPECT_EQ(seen.calls, 0);
    EXPECT_EQ(errno, 0);
    EXPECT_TRUE(std::isinf(r[2]));
    zev_vqm_kernel_SetMode(0x100);  // IGNORE alone: the status only
    _vqmsExp(8, kExpIn, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 4);
    EXPECT_EQ(seen.calls, 0);
    EXPECT_EQ(errno, 0);
  });
}

TEST(Report, CallbackAnswerDecidesTheWriteBack) {
  on_fresh_thread([] {
    zev_vqm_kernel_SetErrorCallBack(watcher);
    float r[8];
    // Zero: go on; the changed r1 is the element's final value.
    seen.change = true;
    seen.new_r1 = 42.0;
    _vqmsExp(8, kExpIn, r);
    EXPECT_EQ(r[2], 42.0f);
    EXPECT_EQ(r[4], 42.0f);
    // Non-zero: stop; no errno, and the scalar function's result stands.
    seen.answer = 1;
    errno = 0;
    _vqmsExp(8, kExpIn, r);
    EXPECT_TRUE(std::isinf(r[2]));
    EXPECT_EQ(r[4], 0.0f);
    EXPECT_EQ(errno, 0);
    // In place: the scalar function reads its copy of the input, so the
    // results are those of the out-of-place call; the record reads the arrays,
    // where the lane's result already stands.
    seen.answer = 0;
    seen.change = false;
    _vqmsExp(8, kExpIn, r);
    float x[8];
    memcpy(x, kExpIn, sizeof x);
    _vqmsExp(8, x, x);
    EXPECT_EQ(memcmp(x, r, sizeof x), 0);
    EXPECT_EQ(seen.last.a1, 0.0);
  });
}

TEST(Report, InterfaceInputShiftsTheIndex) {
  on_fresh_thread([] {
    zev_vqm_kernel_SetErrorCallBack(watcher);
    float whole[20] = {};
    for (int i = 0; i < 8; ++i) whole[12 + i] = kExpIn[i];
    float r[8];
    zev_vqm_kernel_SetInterfInputVectorPointer(whole);
    _vqmsExp(8, whole + 12, r);  // the piece starting at element 12
    EXPECT_EQ(seen.last.index, 16);
    EXPECT_EQ(seen.last.a1, -104.0) << "values are those of the piece's own element";
    zev_vqm_kernel_SetInterfInputVectorPointer(nullptr);
  });
}

TEST(Report, LnDomainAndPole) {
  on_fresh_thread([] {
    const float in[3] = {0.0f, 2.0f, -1.0f};
    float r[3];
    errno = 0;
    _vqmsLn(1, in, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 2);
    EXPECT_EQ(errno, 34);
    _vqmsLn(3, in, r);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 1);
    EXPECT_EQ(errno, 33);
  });
}

uint16_t x87_status() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

TEST(Report, ExceptModeLeavesTheX87Flag) {
  on_fresh_thread([] {
    __asm__ volatile("fnclex");
    const float in[1] = {100.0f};
    float r[1];
    _vqmsExp(1, in, r);  // overflow, default mode: EXCEPT with no trap bit
    EXPECT_TRUE(x87_status() & 0x08) << "overflow flag";
    __asm__ volatile("fnclex");
  });
}

// Standard error: the first line by status, then the value lines.
TEST(Report, StderrLines) {
  on_fresh_thread([] {
    zev_vqm_kernel_SetMode(0x400);
    const float in[4] = {1, 2, 3, 100.0f};
    float r[4];
    fflush(stderr);
    int pipefd[2];
    ASSERT_EQ(pipe(pipefd), 0);
    const int saved = dup(2);
    dup2(pipefd[1], 2);
    _vqmsExp(4, in, r);
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    close(pipefd[1]);
    char buf[1024] = {};
    const ssize_t got = read(pipefd[0], buf, sizeof buf - 1);
    close(pipefd[0]);
    ASSERT_GT(got, 0);
    const std::string text(buf);
    EXPECT_NE(text.find("vsExp"), std::string::npos) << text;
    EXPECT_NE(text.find("overflow"), std::string::npos) << text;
    EXPECT_NE(text.find("argument[3] = 100"), std::string::npos) << text;
    EXPECT_NE(text.find("result[3] = inf"), std::string::npos) << text;
  });
}

// Leaves a stretch of stack below the caller full of ones, where the next
// calls will place their frames.
__attribute__((noinline)) void dirty_stack() {
  volatile unsigned char junk[16384];
  for (size_t i = 0; i < sizeof junk; ++i) junk[i] = 0xFF;
}

// A callback sees zeros in every field its report does not fill: the
// imaginary parts of a real row, the name's bytes past its end.
TEST(Report, UnfilledRecordFieldsAreZero) {
  on_fresh_thread([] {
    zev_vqm_kernel_SetErrorCallBack(watcher);
    float r[8];
    for (int round = 0; round < 4; ++round) {
      dirty_stack();
      seen = Seen{};
      _vqmsExp_HA(8, kExpIn, r);
      ASSERT_EQ(seen.calls, 2);
      EXPECT_EQ(seen.last.a1_im, 0.0);
      EXPECT_EQ(seen.last.a2_im, 0.0);
      EXPECT_EQ(seen.last.r1_im, 0.0);
      EXPECT_EQ(seen.last.r2_im, 0.0);
      EXPECT_EQ(seen.last.padding, 0);
      for (size_t i = strlen(seen.last.name); i < sizeof seen.last.name; ++i)
        ASSERT_EQ(seen.last.name[i], 0) << "name byte " << i;
    }
  });
}

}  // namespace
