// Small helpers for the stream tests.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "guarded.h"
#include "stream_scope.h"
#include "zev/zev_core.h"
#include "zev/zev_vqs.h"

namespace vqstest {

// Owns a stream for the length of a test; its creation must succeed.
struct Stream : zevtest::Stream {
  Stream() = default;
  explicit Stream(int id, std::vector<unsigned> seed = {}) : zevtest::Stream(id, std::move(seed)) {
    EXPECT_EQ(status, 0) << std::hex << id;
  }
};

// A block for a chunk, from the module's allocator, every byte fill.
inline void* block(int size, unsigned char fill) {
  void* p = zev_serv_allocate(size_t(size), 128);
  std::memset(p, fill, size_t(size));
  return p;
}

inline BrngRow row_of(int id) {
  BrngRow r{};
  EXPECT_EQ(__vqsGetBrngProperties(id, &r), 0) << std::hex << id;
  return r;
}

// Results are drawn into guarded buffers (any access past the last element
// faults, a write before the first is seen) and handed back as vectors.
template <class T, class Call>
std::vector<T> draw_guarded(size_t count, Call call) {
  zevtest::Guarded<T> g(count, 4);
  EXPECT_EQ(call(g.data()), 0);
  EXPECT_TRUE(g.lead_intact()) << "written before the array";
  return std::vector<T>(g.begin(), g.end());
}

// n integer words of a stream as 32-bit units.
inline std::vector<unsigned> ints(void* s, int n) {
  BrngRow r = row_of(__vqsGetStreamStateBrng(s));
  return draw_guarded<unsigned>(size_t(n) * r.wordBytes / 4,
                                [&](unsigned* p) { return r.iGen(s, n, p); });
}

inline std::vector<double> doubles(void* s, int n, double a = 0.0, double b = 1.0) {
  BrngRow r = row_of(__vqsGetStreamStateBrng(s));
  return draw_guarded<double>(size_t(n), [&](double* p) { return r.dGen(s, n, p, a, b); });
}

inline std::vector<float> floats(void* s, int n, float a = 0.0f, float b = 1.0f) {
  BrngRow r = row_of(__vqsGetStreamStateBrng(s));
  return draw_guarded<float>(size_t(n), [&](float* p) { return r.sGen(s, n, p, a, b); });
}

inline uint64_t bits(double d) {
  uint64_t b;
  std::memcpy(&b, &d, 8);
  return b;
}

// A file name of this process in the test's scratch directory.
inline std::string temp_path(const char* tag) {
  return std::string(::testing::TempDir()) + "zev_vqs_" + tag + "_" + std::to_string(getpid());
}

// The memory form of a stream.
inline std::vector<char> save_memory(void* s) {
  std::vector<char> m(size_t(__vqsGetStreamSize(s)));
  EXPECT_EQ(__vqsSaveStreamM(s, m.data()), 0);
  return m;
}

inline void write_file(const std::string& path, const std::vector<char>& bytes) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

}  // namespace vqstest
