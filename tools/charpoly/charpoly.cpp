// Characteristic polynomials of the MT19937 and SFMT19937 recurrences over
// GF(2), found by Berlekamp-Massey over a run of output bits of each
// recurrence, for the polynomial jump-ahead of those generators.
//
// MT19937: one step is one 32-bit word of the recurrence x[k+624] =
// x[k+397] ^ twist(x[k], x[k+1]) (Matsumoto and Nishimura, 1998); the state
// space has dimension 19937. SFMT19937: one step is one 128-bit block of the
// recurrence of Saito and Matsumoto (2008) with the parameters of exponent
// 19937 (POS1 122, SL1 18, SL2 1, SR1 11, SR2 1, masks dfffffef ddfecb7f
// bffaffff bffffff6); the state space has dimension 156 * 128 = 19968.
//
// The top bit of each new word (block word 0 for SFMT) is taken from a state
// seeded by a fixed small generator; 2 * dimension bits are enough for
// Berlekamp-Massey to return the minimal polynomial, and the program checks
// that its degree is the full dimension, so it is the characteristic
// polynomial. The program prints a header with the exponents of the non-zero
// terms, the leading one included, in increasing order.
//
// Usage: zev_charpoly mt19937|sfmt19937 > header
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

using Bits = std::vector<uint64_t>;

inline int getbit(const Bits& v, long i) { return (v[i >> 6] >> (i & 63)) & 1; }
inline void flip(Bits& v, long i) { v[i >> 6] ^= uint64_t(1) << (i & 63); }

uint32_t lcg_state = 12345;
uint32_t next_word() {  // a fixed seed source; any non-zero state will do
  lcg_state = lcg_state * 1664525u + 1013904223u;
  return lcg_state ^ (lcg_state >> 16);
}

Bits mt19937_bits(long count) {
  std::vector<uint32_t> x(624 + count);
  for (int i = 0; i < 624; ++i) x[i] = next_word();
  Bits out((count + 63) / 64 + 1, 0);
  for (long k = 0; k < count; ++k) {
    const uint32_t y = (x[k] & 0x80000000u) | (x[k + 1] & 0x7FFFFFFFu);
    x[k + 624] = x[k + 397] ^ (y >> 1) ^ ((y & 1) ? 0x9908B0DFu : 0u);
    if (x[k + 624] >> 31) flip(out, k);
  }
  return out;
}

Bits sfmt19937_bits(long count) {
  const int n = 156, pos1 = 122;
  const uint32_t msk[4] = {0xdfffffefu, 0xddfecb7fu, 0xbffaffffu, 0xbffffff6u};
  std::vector<uint32_t> w(4 * (n + count));
  for (int i = 0; i < 4 * n; ++i) w[i] = next_word();
  Bits out((count + 63) / 64 + 1, 0);
  for (long k = 0; k < count; ++k) {
    const uint32_t* a = &w[4 * k];
    const uint32_t* b = &w[4 * (k + pos1)];
    const uint32_t* c = &w[4 * (k + n - 2)];
    const uint32_t* d = &w[4 * (k + n - 1)];
    uint32_t* r = &w[4 * (k + n)];
    // a << 8 and c >> 8 as 128-bit numbers, word 0 least significant
    uint32_t al[4], cr[4];
    for (int i = 0; i < 4; ++i) {
      al[i] = (a[i] << 8) | (i ? a[i - 1] >> 24 : 0);
      cr[i] = (c[i] >> 8) | (i < 3 ? c[i + 1] << 24 : 0);
    }
    for (int i = 0; i < 4; ++i)
      r[i] = a[i] ^ al[i] ^ ((b[i] >> 11) & msk[i]) ^ cr[i] ^ (d[i] << 18);
    if (r[0] >> 31) flip(out, k);
  }
  return out;
}

// Returns the connection polynomial's coefficients c[0..L] and L.
int berlekamp_massey(const Bits& s, long len, Bits& C) {
  const long words = (len + 64) / 64 + 2;
  Bits r(words, 0), B(words, 0), T;
  for (long j = 0; j < len; ++j)
    if (getbit(s, len - 1 - j)) flip(r, j);
  auto bits64 = [&](long at) {
    long w = at >> 6;
    int sh = int(at & 63);
    uint64_t lo = w < words ? r[w] : 0;
    if (!sh) return lo;
    uint64_t hi = w + 1 < words ? r[w + 1] : 0;
    return (lo >> sh) | (hi << (64 - sh));
  };
  C.assign(words, 0);
  C[0] = B[0] = 1;
  long L = 0, m = 1;
  for (long n = 0; n < len; ++n) {
    const long at = len - 1 - n;
    uint64_t acc = 0;
    for (long w = 0; w <= (L >> 6); ++w) acc ^= C[w] & bits64(at + 64 * w);
    if (!__builtin_parityll(acc)) { ++m; continue; }
    const bool grow = 2 * L <= n;
    if (grow) T = C;
    const long ws = m >> 6;
    const int bs = int(m & 63);
    for (long w = words - 1; w >= ws; --w) {
      uint64_t v = B[w - ws] << bs;
      if (bs && w - ws - 1 >= 0) v |= B[w - ws - 1] >> (64 - bs);
      C[w] ^= v;
    }
    if (grow) { L = n + 1 - L; B.swap(T); m = 1; } else { ++m; }
  }
  return int(L);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const bool mt = std::strcmp(argv[1], "mt19937") == 0;
  const bool sfmt = std::strcmp(argv[1], "sfmt19937") == 0;
  if (!mt && !sfmt) return 2;
  const int dim = mt ? 19937 : 19968;
  const long len = 2L * dim + 64;
  const Bits s = mt ? mt19937_bits(len) : sfmt19937_bits(len);
  Bits C;
  const int L = berlekamp_massey(s, len, C);
  if (L != dim || !getbit(C, L)) {
    std::fprintf(stderr, "linear complexity %d, expected %d\n", L, dim);
    return 1;
  }
  // characteristic polynomial x^L C(1/x): exponent L - i for each c_i set
  std::vector<int> terms;
  for (int i = L; i >= 0; --i)
    if (getbit(C, i)) terms.push_back(L - i);
  const char* name = mt ? "MT19937" : "SFMT19937";
  std::printf("// Characteristic polynomial of the %s recurrence over GF(2): the\n", name);
  std::printf("// exponents of its %zu non-zero terms in increasing order, the leading\n", terms.size());
  std::printf("// term %d included. Made by tools/charpoly (zev_charpoly %s), which\n", L, argv[1]);
  std::printf("// runs Berlekamp-Massey over %ld output bits of the recurrence.\n", len);
  std::printf("#pragma once\n\n");
  std::printf("static constexpr int k%sCharPolyTerms = %zu;\n", name, terms.size());
  std::printf("static constexpr int k%sCharPoly[%zu] = {", name, terms.size());
  for (size_t i = 0; i < terms.size(); ++i)
    std::printf("%s%d", i % 10 ? ", " : (i ? ",\n    " : "\n    "), terms[i]);
  std::printf("};\n");
  return 0;
}
