// Shared by the stream and generator tests: a stream that deletes itself at
// the end of a scope, the generator row a stream draws through, and reads and
// writes of fields in a stream's state and in a saved image.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

#include "zev/zev_vqs.h"

namespace zevtest {

// Made by NewStreamEx; the creation status is kept for the test to check.
struct Stream {
  void* s = nullptr;
  int status = 0;
  Stream() = default;
  explicit Stream(int id, std::vector<unsigned> seed = {}) {
    status = __vqsNewStreamEx(&s, id, int(seed.size()), seed.empty() ? nullptr : seed.data());
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() {
    if (s) __vqsDeleteStream(&s);
  }
  operator void*() const { return s; }
};

// The generator row of a stream, as a distribution finds it.
inline const BrngRow& row_of_stream(const void* s) {
  int index = 0, offset = 0;
  const BrngRow* table = __vqsGetBrngBaseOffset(__vqsGetStreamStateBrng(s), &index, &offset);
  return table[index];
}

// A field of a stream's state, off bytes behind the 16-byte header.
template <class T>
inline T state_field(const void* s, size_t off) {
  T v;
  std::memcpy(&v, static_cast<const unsigned char*>(s) + 16 + off, sizeof v);
  return v;
}

// Fields of a saved image, in the machine's (little-endian) order.
template <class T>
inline T get_at(const std::vector<char>& b, size_t at) {
  T v;
  std::memcpy(&v, &b[at], sizeof v);
  return v;
}
template <class T>
inline void put_at(std::vector<char>& b, size_t at, T v) {
  std::memcpy(&b[at], &v, sizeof v);
}

}  // namespace zevtest
