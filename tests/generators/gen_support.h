// Helpers of the generator tests: streams that delete themselves, and draws
// of words through a generator's integer function.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "stream_scope.h"
#include "zev/zev_vqs.h"

namespace gentest {

using zevtest::Stream;  // creation status in .status, for the test to check
inline const BrngRow& row_of(void* s) { return zevtest::row_of_stream(s); }

inline std::vector<uint32_t> words(void* s, int n) {
  std::vector<uint32_t> w(size_t(n) + 1, 0xDEADBEEFu);
  EXPECT_EQ(row_of(s).iGen(s, n, w.data()), 0);
  EXPECT_EQ(w[size_t(n)], 0xDEADBEEFu) << "written past n";
  w.pop_back();
  return w;
}

inline int skip(void* s, uint64_t k) { return __vqsSkipAheadStream(s, (long long)k); }

}  // namespace gentest
