// Tables of the Niederreiter generator in base 2 (Bratley, Fox and
// Niederreiter, ACM TOMS 20(4), 1994, Algorithm 738; the construction of
// Bratley, Fox and Niederreiter, ACM TOMACS 2(3), 1992):
//
// 1. The first 318 irreducible polynomials over GF(2) in increasing order
//    (x, x + 1, x^2 + x + 1, x^3 + x + 1, ...), coded with bit k for x^k,
//    found by trial division.
// 2. For dimension i with polynomial p of degree e, the generator matrix
//    c[j][r] (j: output digit, r: index digit, both from 0) of section 3.3 of
//    the 1992 paper with its choices of the free values: for j = Q e + u,
//    0 <= u < e, let b = p^(Q + 1) (degree m = e (Q + 1)); the sequence v has
//    v[r] = 0 for r < e Q, v[e Q] = 1, v[r] = 1 for e Q < r < m, and then
//    v[r + m] = sum over k < m of b_k v[r + k]; c[j][r] = v[r + u]. The
//    direction word of index digit r is sum over j < 32 of c[j][r] 2^(31 - j).
//
// Usage: zev_niederr_poly > generators/niederr/niederr_tables.inc
#include <cstdint>
#include <cstdio>
#include <vector>

#include "generators/niederr/niederr_construct.h"

namespace {

int deg(uint64_t a) { return a ? 63 - __builtin_clzll(a) : -1; }
uint64_t mod(uint64_t a, uint64_t b) {
  for (int da = deg(a), db = deg(b); da >= db; da = deg(a)) a ^= b << (da - db);
  return a;
}
}  // namespace

int main() {
  constexpr int kDims = 318, kBits = 32;
  std::vector<uint64_t> irred;
  for (uint64_t f = 2; int(irred.size()) < kDims; ++f) {
    bool ok = true;
    for (uint64_t g : irred) {
      if (2 * deg(g) > deg(f)) break;
      if (mod(f, g) == 0) { ok = false; break; }
    }
    if (ok) irred.push_back(f);
  }
  std::printf("// Made by tools/niederr_poly (zev_niederr_poly): the irreducible polynomials\n");
  std::printf("// over GF(2) in increasing order and the direction words of the base-2\n");
  std::printf("// Niederreiter construction of Algorithm 738 for %d dimensions.\n", kDims);
  std::printf("static constexpr uint32_t kNiederrPoly[%d] = {", kDims);
  for (int i = 0; i < kDims; ++i)
    std::printf("%s%u", i % 12 ? ", " : (i ? ",\n    " : "\n    "), unsigned(irred[size_t(i)]));
  std::printf("};\n\n");
  std::printf("static constexpr uint32_t kNiederrDirections[%d][%d] = {\n", kDims, kBits);
  for (int i = 0; i < kDims; ++i) {
    const uint64_t p = irred[size_t(i)];
    uint32_t dir[kBits];
    zev::gen::niederr::directions(p, dir);
    std::printf("    {");
    for (int r = 0; r < kBits; ++r) std::printf("%s0x%08Xu", r ? (r % 6 ? ", " : ",\n     ") : "", dir[r]);
    std::printf("}%s\n", i + 1 < kDims ? "," : "");
  }
  std::printf("};\n");
  return 0;
}
