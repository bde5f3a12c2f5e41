// Writes the seed corpus of the loader fuzz target: saved streams of the
// stream layer's generators, with and without chunks, in the version 2 form
// and in an older 20-byte form, each behind a form byte (0 memory, 1 file).
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "zev/zev_core.h"
#include "zev/zev_vqs.h"

static void write(const std::string& dir, const std::string& name, uint8_t form,
                  const std::vector<char>& bytes) {
  std::FILE* f = std::fopen((dir + "/" + name).c_str(), "wb");
  if (!f) return;
  std::fputc(form, f);
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  struct { const char* name; int id; } gens[] = {
      {"mcg31m1", ZEV_BRNG_MCG31M1}, {"mcg59", ZEV_BRNG_MCG59}, {"r250", ZEV_BRNG_R250},
      {"wh7", ZEV_BRNG_WH + 7},      {"mrg32k3a", ZEV_BRNG_MRG32K3A}, {"old_wh", 9}};
  for (auto& g : gens) {
    void* s = nullptr;
    const unsigned seed[2] = {2024, 7};
    if (__vqsNewStreamEx(&s, g.id, 2, seed) != 0) return 1;
    unsigned buf[64];
    BrngRow row;
    __vqsGetBrngProperties(g.id, &row);
    row.iGen(s, 5, buf);
    std::vector<char> plain(size_t(__vqsGetStreamSize(s)));
    __vqsSaveStreamM(s, plain.data());
    write(dir, std::string(g.name) + "_mem", 0, plain);

    void* data = zev_serv_allocate(12, 128);
    std::memset(data, 0x42, 12);
    __vqsAddChunk(s, 1, nullptr, data, 12);
    uint64_t key[2] = {0x1234, 0x5678};
    void* shared = zev_serv_allocate(8, 128);
    std::memset(shared, 0x17, 8);
    __vqsAddChunk(s, 9, key, shared, 8);
    std::vector<char> chunks(size_t(__vqsGetStreamSize(s)));
    __vqsSaveStreamM(s, chunks.data());
    write(dir, std::string(g.name) + "_chunks_file", 1, chunks);

    // The same stream behind a version 0 header, without its chunks.
    std::vector<char> old(20, 0);
    old[0] = 0;
    std::memcpy(&old[4], "RNG", 3);
    uint32_t state;
    std::memcpy(&state, &plain[12], 4);
    old[10] = char(state & 0xFF);
    old[11] = char(state >> 8);
    std::memcpy(&old[16], &plain[20], 4);
    old.insert(old.end(), plain.begin() + 24, plain.end());
    write(dir, std::string(g.name) + "_v0", 0, old);
    __vqsDeleteStream(&s);
  }
  return 0;
}
