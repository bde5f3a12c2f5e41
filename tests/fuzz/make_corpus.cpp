// Writes the seed corpus of the loader fuzz target: a saved stream of every
// generator whose state holds no caller address (all but the abstract
// streams), each behind a form byte (0 memory, 1 file): the plain stream in
// both forms, the stream with a private and a keyed chunk, and, where it has
// no chunks, an older 20-byte header. Niederr, whose state is too large for
// that header's 16-bit size field, has one form of each of its streams.
// The quasi-random generators also come with user tables, which live in
// chunks. Every stream has been drawn from (and jumped, where it can be)
// before it is saved, so that positions stand inside their arrays.
//
// Run: zev_fuzz_make_corpus tests/fuzz/corpus
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "zev/zev_core.h"
#include "zev/zev_vqs.h"

namespace {

void write(const std::string& dir, const std::string& name, uint8_t form,
           const std::vector<char>& bytes) {
  std::FILE* f = std::fopen((dir + "/" + name).c_str(), "wb");
  if (!f) return;
  std::fputc(form, f);
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

std::vector<char> save(void* s) {
  std::vector<char> bytes(size_t(__vqsGetStreamSize(s)));
  __vqsSaveStreamM(s, bytes.data());
  return bytes;
}

// Draws a few values of every type and moves the stream on.
void use(void* s, int id) {
  BrngRow row;
  __vqsGetBrngProperties(id, &row);
  unsigned buf[64];
  double d[8];
  float f[8];
  row.iGen(s, 5, buf);
  row.dGen(s, 3, d, 0.0, 1.0);
  row.sGen(s, 2, f, 0.0f, 1.0f);
  __vqsSkipAheadStream(s, 3);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  struct Gen {
    const char* name;
    int id;
    std::vector<unsigned> seed;
  };
  // Sobol with a full user table of three dimensions (form 4, kept in chunks
  // 9 and 13) and Niederr with three user polynomials (form 1, chunk 10).
  std::vector<unsigned> sobolUser = {3, 1, 4};
  for (int d = 0; d < 3; ++d)
    for (int j = 0; j < 32; ++j) sobolUser.push_back((1u << (31 - j)) | (d ? 1u << (31 - j / 2) : 0u));
  const Gen gens[] = {
      {"mcg31m1", ZEV_BRNG_MCG31M1, {2024, 7}},
      {"mcg59", ZEV_BRNG_MCG59, {2024, 7}},
      {"r250", ZEV_BRNG_R250, {2024, 7}},
      {"wh7", ZEV_BRNG_WH + 7, {2024, 7}},
      {"mrg32k3a", ZEV_BRNG_MRG32K3A, {2024, 7}},
      {"old_wh", 9, {2024, 7}},
      {"sobol", ZEV_BRNG_SOBOL, {5}},
      {"sobol_user", ZEV_BRNG_SOBOL, sobolUser},
      {"niederr", ZEV_BRNG_NIEDERR, {7}},
      {"niederr_user", ZEV_BRNG_NIEDERR, {3, 1, 1, 3, 7, 11}},
      {"mt19937", ZEV_BRNG_MT19937, {2024, 7}},
      {"mt2203", ZEV_BRNG_MT2203 + 17, {2024, 7}},
      {"sfmt19937", ZEV_BRNG_SFMT19937, {2024, 7}},
      {"trng", ZEV_BRNG_TRNG, {0, 5}},
      {"ars5", ZEV_BRNG_ARS5, {2024, 7, 1, 2}},
      {"philox", ZEV_BRNG_PHILOX4X32X10, {2024, 7, 1}},
  };
  int made = 0;
  for (const Gen& g : gens) {
    void* s = nullptr;
    if (__vqsNewStreamEx(&s, g.id, int(g.seed.size()), g.seed.data()) != 0) {
      // TRNG and ARS5 need RDRAND and AES: a processor without them makes no
      // corpus for those two.
      std::fprintf(stderr, "no stream of %s\n", g.name);
      __vqsDeleteStream(&s);
      continue;
    }
    use(s, g.id);
    const std::vector<char> plain = save(s);
    uint32_t state;
    std::memcpy(&state, &plain[12], 4);
    if (state > 0xFFFF) {
      // Niederr's state is 84 KB: one form for each of its two streams keeps
      // the corpus small, and the fuzzer mutates the form byte anyway.
      const bool user = std::strstr(g.name, "user") != nullptr;
      write(dir, std::string(g.name) + (user ? "_file" : "_mem"), user ? 1 : 0, plain);
      __vqsDeleteStream(&s);
      ++made;
      continue;
    }
    write(dir, std::string(g.name) + "_mem", 0, plain);
    write(dir, std::string(g.name) + "_file", 1, plain);

    // The same stream behind a version 0 header, where it has no chunks.
    if (__vqsGetNumChunks(s) == 0) {
      std::vector<char> old(20, 0);
      std::memcpy(&old[4], "RNG", 3);
      old[10] = char(state & 0xFF);
      old[11] = char(state >> 8);
      std::memcpy(&old[16], &plain[20], 4);
      old.insert(old.end(), plain.begin() + 24, plain.begin() + 24 + state);
      write(dir, std::string(g.name) + "_v0", 0, old);
    }

    void* data = zev_serv_allocate(12, 128);
    std::memset(data, 0x42, 12);
    __vqsAddChunk(s, 1, nullptr, data, 12);
    uint64_t key[2] = {0x1234, 0x5678};
    void* shared = zev_serv_allocate(8, 128);
    std::memset(shared, 0x17, 8);
    __vqsAddChunk(s, 21, key, shared, 8);
    write(dir, std::string(g.name) + "_chunks_file", 1, save(s));
    __vqsDeleteStream(&s);
    ++made;
  }
  std::fprintf(stderr, "%d generators written to %s\n", made, dir.c_str());
  return 0;
}
