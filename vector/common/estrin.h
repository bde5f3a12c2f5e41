// Polynomials in Estrin's grouping on vectors: pairs c[2i] + z c[2i+1], then
// pairs of those in z^2, z^4, ...: the dependency chain grows with log2 of
// the degree instead of the degree (Horner's rule, poly.h), which keeps the
// lanes of several vectors busy at once.
#pragma once

#include <emmintrin.h>

#include "vector/common/consts.h"
#include "vector/vops.h"

namespace zev::vk {

// c[0] + z c[1] + ... + z^(N-1) c[N-1], coefficients in ascending order.
template <class V, class C, int N>
[[gnu::always_inline]] inline V estrin(const C (&c)[N], V z) {
  constexpr int H = (N + 1) / 2;
  V t[H];
#pragma GCC unroll 16
  for (int i = 0; i < H; ++i)
    t[i] = 2 * i + 1 < N ? add(c[2 * i], mul(z, c[2 * i + 1])) : c[2 * i];
  V zz = mul(z, z);
#pragma GCC unroll 8
  for (int m = H; m > 1; m = (m + 1) / 2) {
#pragma GCC unroll 8
    for (int i = 0; i < m / 2; ++i) t[i] = add(t[2 * i], mul(zz, t[2 * i + 1]));
    if (m & 1) t[m / 2] = t[m - 1];
    if ((m + 1) / 2 > 1) zz = mul(zz, zz);
  }
  return t[0];
}

}  // namespace zev::vk
