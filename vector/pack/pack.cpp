// Pack and unpack: gather elements into a contiguous array, or scatter one out,
// by a stride (I), a mask (M) or an index vector (V). One kernel serves every
// level; elements move as bit patterns, so NaN payloads survive.
//
// The width selector, tested once ahead of the loop, picks a 32-bit count with
// 32-bit mask and index elements (selector 1) or a 64-bit count with 64-bit
// elements (any other value), where a mask element is set when either half is
// non-zero and an index element is read by its low 32 bits.
#include <cstdint>

#include "rows_gen.h"

namespace {

struct Bits128 {
  uint64_t lo, hi;
};
template <int Bytes> struct Raw;
template <> struct Raw<4> { using type = uint32_t; };
template <> struct Raw<8> { using type = uint64_t; };
template <> struct Raw<16> { using type = Bits128; };

// One element a round, ascending: no unrolling and no vector code.
#define ZEV_PLAIN_LOOP __attribute__((optimize("no-tree-vectorize", "no-unroll-loops")))

template <class E, class C>
ZEV_PLAIN_LOOP void pack_i(C n, const E* a, int64_t inca, E* y) {
  for (C i = 0; i < n; ++i) y[i] = a[i * inca];
}
template <class E, class C>
ZEV_PLAIN_LOOP void unpack_i(C n, const E* a, E* y, int64_t incy) {
  for (C i = 0; i < n; ++i) y[i * incy] = a[i];
}
template <class E, class C, class Ix>
ZEV_PLAIN_LOOP void pack_v(C n, const E* a, const Ix* ia, E* y) {
  for (C i = 0; i < n; ++i) y[i] = a[static_cast<int32_t>(ia[i])];
}
template <class E, class C, class Ix>
ZEV_PLAIN_LOOP void unpack_v(C n, const E* a, E* y, const Ix* iy) {
  for (C i = 0; i < n; ++i) y[static_cast<int32_t>(iy[i])] = a[i];
}
template <class E, class C, class M>
ZEV_PLAIN_LOOP void pack_m(C n, const E* a, const M* ma, E* y) {
  C j = 0;
  for (C i = 0; i < n; ++i)
    if (ma[i] != 0) y[j++] = a[i];
}
template <class E, class C, class M>
ZEV_PLAIN_LOOP void unpack_m(C n, const E* a, E* y, const M* my) {
  C j = 0;
  for (C i = 0; i < n; ++i)
    if (my[i] != 0) y[i] = a[j++];
}

// Dispatch on the width selector; a count of zero or below copies nothing.
template <class F>
void by_width(int64_t n, int width, F body) {
  if (width == 1) {
    const int32_t n32 = static_cast<int32_t>(n);
    if (n32 > 0) body(n32, static_cast<const int32_t*>(nullptr));
  } else if (n > 0) {
    body(n, static_cast<const int64_t*>(nullptr));
  }
}

}  // namespace

#define ZEV_PACK_KERNELS(p, T)                                                                          \
  extern "C" void zev_k_##p##PackI_lahaep(int64_t n, const T* a, int64_t inca, T* y, int width) {            \
    using E = Raw<sizeof(T)>::type;                                                                     \
    by_width(n, width, [&](auto c, auto) { pack_i(c, reinterpret_cast<const E*>(a), inca, reinterpret_cast<E*>(y)); }); \
  }                                                                                                     \
  extern "C" void zev_k_##p##UnpackI_lahaep(int64_t n, const T* a, T* y, int64_t incy, int width) {          \
    using E = Raw<sizeof(T)>::type;                                                                     \
    by_width(n, width, [&](auto c, auto) { unpack_i(c, reinterpret_cast<const E*>(a), reinterpret_cast<E*>(y), incy); }); \
  }                                                                                                     \
  extern "C" void zev_k_##p##PackV_lahaep(int64_t n, const T* a, const void* ia, T* y, int width) {          \
    using E = Raw<sizeof(T)>::type;                                                                     \
    by_width(n, width, [&](auto c, auto ix) {                                                            \
      pack_v(c, reinterpret_cast<const E*>(a), static_cast<decltype(ix)>(ia), reinterpret_cast<E*>(y)); \
    });                                                                                                 \
  }                                                                                                     \
  extern "C" void zev_k_##p##UnpackV_lahaep(int64_t n, const T* a, T* y, const void* iy, int width) {        \
    using E = Raw<sizeof(T)>::type;                                                                     \
    by_width(n, width, [&](auto c, auto ix) {                                                            \
      unpack_v(c, reinterpret_cast<const E*>(a), reinterpret_cast<E*>(y), static_cast<decltype(ix)>(iy)); \
    });                                                                                                 \
  }                                                                                                     \
  extern "C" void zev_k_##p##PackM_lahaep(int64_t n, const T* a, const void* ma, T* y, int width) {          \
    using E = Raw<sizeof(T)>::type;                                                                     \
    by_width(n, width, [&](auto c, auto m) {                                                             \
      pack_m(c, reinterpret_cast<const E*>(a), static_cast<decltype(m)>(ma), reinterpret_cast<E*>(y));  \
    });                                                                                                 \
  }                                                                                                     \
  extern "C" void zev_k_##p##UnpackM_lahaep(int64_t n, const T* a, T* y, const void* my, int width) {        \
    using E = Raw<sizeof(T)>::type;                                                                     \
    by_width(n, width, [&](auto c, auto m) {                                                             \
      unpack_m(c, reinterpret_cast<const E*>(a), reinterpret_cast<E*>(y), static_cast<decltype(m)>(my)); \
    });                                                                                                 \
  }

ZEV_PACK_KERNELS(s, float)
ZEV_PACK_KERNELS(d, double)
ZEV_PACK_KERNELS(c, zev_complex8)
ZEV_PACK_KERNELS(z, zev_complex16)
