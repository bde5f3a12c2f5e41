// The base-2 construction of Niederreiter's sequence in the form of Bratley,
// Fox and Niederreiter (ACM TOMACS 2(3), 1992, section 3.3; ACM TOMS 20(4),
// 1994, Algorithm 738): the 32 direction words of one dimension from its
// irreducible polynomial over GF(2) (bit k for x^k).
//
// With e the degree of p and j = Q e + u (0 <= u < e) an output digit, let
// b = p^(Q+1) (degree m = e (Q + 1)); the sequence v has v[r] = 0 for
// r < e Q, v[e Q] = 1, v[r] = 1 for e Q < r < m (the free values, all set to
// 1 as in Algorithm 738), then v[r + m] = sum over k < m of b_k v[r + k].
// The generator matrix entry is c[j][r] = v[r + u], and the direction word of
// index digit r is sum over j < 32 of c[j][r] 2^(31 - j).
#pragma once

#include <cstdint>

namespace zev::gen::niederr {

// Polynomials of degree above 31 are not supported (the caller checks).
inline void directions(uint64_t p, uint32_t dir[32]) {
  int e = 0;
  while ((p >> (e + 1)) != 0) ++e;
  for (int r = 0; r < 32; ++r) dir[r] = 0;
  if (e <= 0) return;
  // b = p^(Q+1) as bits; its degree stays below 32 + e + e <= 94
  uint64_t b[2] = {1, 0};
  int Q = -1;
  uint8_t v[32 + 32 + 96];
  for (int j = 0; j < 32; ++j) {
    const int q = j / e, u = j % e;
    while (Q < q) {  // b *= p
      uint64_t n0 = 0, n1 = 0;
      for (int k = 0; k <= e; ++k)
        if ((p >> k) & 1) {
          n0 ^= b[0] << k;
          n1 ^= (b[1] << k) | (k ? b[0] >> (64 - k) : 0);
        }
      b[0] = n0;
      b[1] = n1;
      ++Q;
    }
    const int m = e * (q + 1), big = e * q;
    const int len = 32 + u;  // v[0 .. len - 1] is needed
    for (int r = 0; r < len; ++r) {
      if (r < big) v[r] = 0;
      else if (r < m) v[r] = 1;
      else {
        int t = 0;
        for (int k = 0; k < m; ++k)
          t ^= int((b[k >> 6] >> (k & 63)) & 1) & v[r - m + k];
        v[r] = uint8_t(t);
      }
    }
    for (int r = 0; r < 32; ++r)
      if (v[r + u]) dir[r] |= 1u << (31 - j);
  }
}

}  // namespace zev::gen::niederr
