// The mode word, its environment value, status and callback, per thread.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <thread>

#include "zev/zev_vqm.h"

namespace {

// The first mode read of a fresh thread, with the variable set to value
// (null: unset).
unsigned first_mode_with(const char* value) {
  if (value)
    setenv("ZEV_VQM_MODE", value, 1);
  else
    unsetenv("ZEV_VQM_MODE");
  unsigned mode = 0;
  std::thread([&] { mode = zev_vqm_kernel_GetMode(); }).join();
  unsetenv("ZEV_VQM_MODE");
  return mode;
}

TEST(Mode, EnvironmentValue) {
  const struct {
    const char* value;
    unsigned mode;
  } cases[] = {
      {nullptr, 0x1A02},
      {"", 0x1A02},
      {"VQM_LA", 0x1A01},
      {"VQM_ERRMODE_STDERR", 0x402},
      {"VQM_ERRMODE_NOERR,VQM_EP", 0x2003},
      {"VQM_LA,VQM_HA", 0x1A03},                 // values are ORed: LA|HA is EP
      {"VQM_DOUBLE_CONSISTEN", 0x1A22},
      {"VQM_TRAP_OVERFLOW,VQM_ERRMODE_IGNORE", 0x4000102},
      {"VQM_DEFAULT_PRECISION", 0x1A02},
      // Malformed values are ignored whole.
      {"VQM_DOUBLE_CONSISTENT", 0x1A02},
      {"VQM_EP,VQM_DOUBLE_CONSISTENT", 0x1A02},
      {"VQM_HA,", 0x1A02},
      {"VQM_HA,X", 0x1A02},
      {"VQM_", 0x1A02},
      {"VQM_HA ", 0x1A02},
      {"vqm_HA", 0x1A02},
      {"VQM_XX", 0x1A02},
      {"XQM_HA", 0x1A02},
  };
  for (const auto& c : cases) EXPECT_EQ(first_mode_with(c.value), c.mode) << (c.value ? c.value : "(unset)");
}

TEST(Mode, LongValueKeepsItsKeywordsWithinTheLimit) {
  std::string v;
  for (int i = 0; i < 30; ++i) v += "VQM_LA,";
  v += "VQM_EP";  // ends past 200 characters, still inside 256
  EXPECT_EQ(first_mode_with(v.c_str()), 0x1A03u);
  std::string too_long;
  while (too_long.size() < 250) too_long += "VQM_LA,";
  too_long += "VQM_ERRMODE_CALLBACK";  // its end would reach 256
  EXPECT_EQ(first_mode_with(too_long.c_str()), 0x1A02u);
}

// SetMode merges field by field; a zero field keeps its old value.
TEST(Mode, SetModeMerges) {
  std::thread([] {
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1A02u);
    EXPECT_EQ(zev_vqm_kernel_SetMode(0), 0x1A02u);
    EXPECT_EQ(zev_vqm_kernel_SetMode(0x3), 0x1A02u);
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1A03u);
    EXPECT_EQ(zev_vqm_kernel_SetMode(0x100), 0x1A03u);
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x103u);
    zev_vqm_kernel_SetMode(0x10);  // the precision field is not merged
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x103u);
    zev_vqm_kernel_SetMode(0x30000 | 0x8000000 | 0x280000);
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x82B0103u);
    EXPECT_EQ(_vqmSetMode(5), 0x82B0103u);  // no check of the accuracy value
    EXPECT_EQ(_vqmGetMode(), 0x82B0105u);
    EXPECT_EQ(zev_vqm_kernel_GetTTableIndex(), 4);
  }).join();
}

// The mode-saving pattern of callers inside the module: a thread whose
// denormal field was 0 keeps 0x140000 afterwards.
TEST(Mode, SavingPatternLeavesDenormalFieldSet) {
  std::thread([] {
    const unsigned old = zev_vqm_kernel_SetMode(0x140000);
    zev_vqm_kernel_SetMode(old);
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x141A02u);
  }).join();
}

int cb(zev_vqm_error_record*) { return 0; }

TEST(Mode, CallbackSetsAndClearsItsBit) {
  std::thread([] {
    EXPECT_EQ(zev_vqm_kernel_SetErrorCallBack(cb), nullptr);
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1A02u);
    EXPECT_EQ(_vqmGetErrorCallBack(), cb);
    EXPECT_EQ(zev_vqm_kernel_ClearErrorCallBack(), cb);
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0xA02u);
    EXPECT_EQ(zev_vqm_kernel_GetErrorCallBack(), nullptr);
  }).join();
  std::thread([] {
    zev_vqm_kernel_SetMode(0x1000);  // callback bit alone
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1002u);
    _vqmSetErrorCallBack(cb);
    _vqmClearErrorCallBack();  // clearing would empty the field: the merge keeps it
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1002u);
    EXPECT_EQ(zev_vqm_kernel_GetErrorCallBack(), nullptr);
  }).join();
}

TEST(Mode, StatusOperations) {
  std::thread([] {
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
    EXPECT_EQ(zev_vqm_kernel_SetErrStatus(7), 0);
    EXPECT_EQ(_vqmClearErrStatus(), 7);
    EXPECT_EQ(_vqmGetErrStatus(), 0);
    EXPECT_EQ(_vqmSetErrStatus(-12345), 0);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), -12345);
    int x;
    EXPECT_EQ(zev_vqm_kernel_SetInterfInputVectorPointer(&x), &x);
    EXPECT_EQ(_vqmSetInterfInputVectorPointer(nullptr), nullptr);
  }).join();
}

TEST(Mode, ThreadsKeepTheirOwnState) {
  std::thread t1([] {
    zev_vqm_kernel_SetMode(0x1);
    zev_vqm_kernel_SetErrStatus(3);
    zev_vqm_kernel_SetErrorCallBack(cb);
    std::thread([] {
      EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1A02u);
      EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
      EXPECT_EQ(zev_vqm_kernel_GetErrorCallBack(), nullptr);
    }).join();
    EXPECT_EQ(zev_vqm_kernel_GetMode(), 0x1A01u);
    EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 3);
    EXPECT_EQ(zev_vqm_kernel_GetErrorCallBack(), cb);
  });
  t1.join();
}

}  // namespace
