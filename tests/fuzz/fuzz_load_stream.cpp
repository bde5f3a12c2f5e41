// libFuzzer target for the stream loaders. The first input byte picks the
// form: even, the memory loader over exactly the remaining bytes; odd, the
// file loader over a memory file of them. Its other bits choose the counts of
// the jumps below.
//
// A stream that loads is used as a caller would use it: integer, double and
// single outputs of several sizes (one value, a few, and more than the word
// array of the twisters, which takes their whole-array path), a skip-ahead and
// a leapfrog on a copy, a state copy, and a save that must load again, with
// no status other than 0, to the same sequence. A load that succeeds must be
// safe to draw from; anything else is a finding.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "streams/persist.h"

namespace {

// A broken promise of the stream functions: reported with its line, then the
// abort that libFuzzer records as a finding.
void must(bool ok, int line = __builtin_LINE()) {
  if (ok) return;
  std::fprintf(stderr, "stream check failed at fuzz_load_stream.cpp:%d\n", line);
  std::abort();
}

// Draws from the stream in every type and size. The sizes are the same for
// every generator but the hardware one, whose words cost a processor read each.
void draw_all(void* s, const BrngRow& row, bool cheap) {
  const int sizes[3] = {1, 7, cheap ? 33 : 700};
  for (int n : sizes) {
    std::vector<unsigned> words(size_t(n) * size_t(row.wordBytes) / 4 + 1);
    std::vector<double> d(size_t(n) + 1);
    std::vector<float> f(size_t(n) + 1);
    row.iGen(s, n, words.data());
    row.dGen(s, n, d.data(), -2.0, 3.0);
    row.sGen(s, n, f.data(), 0.0f, 1.0f);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const bool file = data[0] & 1;
  const unsigned knob = data[0] >> 1;
  const uint8_t* bytes = data + 1;
  size_t n = size - 1;

  void* s = nullptr;
  int status;
  if (file) {
    // fmemopen refuses a zero-length buffer; one spare byte it never reads.
    std::vector<uint8_t> copy(bytes, bytes + n);
    copy.push_back(0);
    std::FILE* f = fmemopen(copy.data(), n ? n : 1, "rb");
    if (!f) return 0;
    if (n == 0) std::fgetc(f);
    status = zev::vqs::load_stream_file(&s, f);
    std::fclose(f);
  } else {
    status = zev::vqs::load_stream_memory(&s, bytes, n);
  }
  must((status == 0) == (s != nullptr));  // a refusal leaves no stream
  if (!s) return 0;

  const int id = __vqsGetStreamStateBrng(s);
  BrngRow row;
  must(__vqsGetBrngProperties(id, &row) == 0);
  const bool hardware = id == ZEV_BRNG_TRNG;

  draw_all(s, row, hardware);

  // Jumps on a copy, then draws from it.
  void* copy = nullptr;
  if (__vqsCopyStream(&copy, s) == 0) {
    __vqsSkipAheadStream(copy, 1 + knob);
    const unsigned long long words3[3] = {knob, 1, 0};
    __vqsSkipAheadStreamEx(copy, 3, words3);
    __vqsLeapfrogStream(copy, int(knob % 3), 0x7FFFFFFF);
    draw_all(copy, row, hardware);
    __vqsCopyStreamState(copy, s);
    draw_all(copy, row, true);
  }
  __vqsDeleteStream(&copy);

  // A stream the library holds saves to bytes that load back, and the loaded
  // stream gives what the saved one gives.
  const int bytesNeeded = __vqsGetStreamSize(s);
  must(bytesNeeded > 0);
  std::vector<char> saved(static_cast<size_t>(bytesNeeded));
  must(__vqsSaveStreamM(s, saved.data()) == 0);
  void* again = nullptr;
  must(__vqsLoadStreamM(&again, saved.data()) == 0);
  if (!hardware) {
    std::vector<unsigned> a(size_t(5) * size_t(row.wordBytes) / 4), b(a.size());
    const int sa = row.iGen(s, 5, a.data());
    const int sb = row.iGen(again, 5, b.data());
    must(sa == sb && (sa != 0 || a == b));
  }
  __vqsDeleteStream(&again);
  __vqsDeleteStream(&s);
  return 0;
}
