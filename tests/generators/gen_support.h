// Helpers of the generator tests: streams that delete themselves, and draws
// of words through a generator's integer function.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "zev/zev_vqs.h"

namespace gentest {

struct Stream {
  void* s = nullptr;
  Stream() = default;
  Stream(int id, std::vector<unsigned> seed) {
    status = __vqsNewStreamEx(&s, id, int(seed.size()), seed.empty() ? nullptr : seed.data());
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() {
    if (s) __vqsDeleteStream(&s);
  }
  operator void*() const { return s; }
  int status = 0;
};

// The generator row of a stream, as a distribution would find it.
inline const BrngRow& row_of(void* s) {
  int index = 0, offset = 0;
  const BrngRow* table = __vqsGetBrngBaseOffset(__vqsGetStreamStateBrng(s), &index, &offset);
  return table[index];
}

inline std::vector<uint32_t> words(void* s, int n) {
  std::vector<uint32_t> w(size_t(n) + 1, 0xDEADBEEFu);
  EXPECT_EQ(row_of(s).iGen(s, n, w.data()), 0);
  EXPECT_EQ(w[size_t(n)], 0xDEADBEEFu) << "written past n";
  w.pop_back();
  return w;
}

inline int skip(void* s, uint64_t k) { return __vqsSkipAheadStream(s, (long long)k); }

}  // namespace gentest
