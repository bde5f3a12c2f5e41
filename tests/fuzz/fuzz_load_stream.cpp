// libFuzzer target for the stream loaders. The first input byte picks the
// form: even, the memory loader over exactly the remaining bytes; odd, the
// file loader over a memory file of them. A stream that loads is drawn from,
// copied, saved again, and deleted.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "streams/persist.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const bool file = data[0] & 1;
  const uint8_t* bytes = data + 1;
  size_t n = size - 1;

  void* s = nullptr;
  if (file) {
    // fmemopen refuses a zero-length buffer; one spare byte it never reads.
    std::vector<uint8_t> copy(bytes, bytes + n);
    copy.push_back(0);
    std::FILE* f = fmemopen(copy.data(), n ? n : 1, "rb");
    if (!f) return 0;
    if (n == 0) std::fgetc(f);
    zev::vqs::load_stream_file(&s, f);
    std::fclose(f);
  } else {
    zev::vqs::load_stream_memory(&s, bytes, n);
  }
  if (!s) return 0;

  BrngRow row;
  if (__vqsGetBrngProperties(__vqsGetStreamStateBrng(s), &row) == 0) {
    std::vector<unsigned> words(size_t(17) * row.wordBytes / 4);
    double d[17];
    float f[17];
    row.iGen(s, 17, words.data());
    row.dGen(s, 17, d, 0.0, 1.0);
    row.sGen(s, 17, f, -1.0f, 1.0f);
  }
  void* copy = nullptr;
  if (__vqsCopyStream(&copy, s) == 0) {
    std::vector<char> saved(size_t(__vqsGetStreamSize(copy)));
    __vqsSaveStreamM(copy, saved.data());
    void* again = nullptr;
    if (__vqsLoadStreamM(&again, saved.data()) == 0) __vqsDeleteStream(&again);
  }
  __vqsDeleteStream(&copy);
  __vqsDeleteStream(&s);
  return 0;
}
