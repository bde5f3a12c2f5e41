// The kernel shape of functions with two results (Modf; SinCos uses it too).
//
// Follows vector/shape.h: the same guard, block loop, masked tail with the
// 0.75 filler, callout and strided hand-over; only the results are two arrays.
//
// Policy members:
//   using T = float | double;
//   static constexpr int kBlock, kBlockI;  elements per block, plain and strided
//   static constexpr bool kSignedCount;    negative n is empty (else taken unsigned)
//   static constexpr bool kCallout;        has special lanes
//   V eval(V x, V& r2, V& special) const;  block arithmetic: returns r1, sets r2
//   int scalar(const T* a, T* r1, T* r2) const;   (kCallout) the lane's function
//   static constexpr const char* kName, kNameI;   report names (kNameI optional)
// A reported lane passes a as both inputs and r1, r2 as the two results.
#pragma once

#include "vector/shape.h"

namespace zev::vk {

template <class P, class AccA, class AccR>
void callout_unary2(const P& pol, unsigned mask, long base, typename P::T* in, typename P::T* res1,
                    typename P::T* res2, const AccA& a, const AccR& r1, const AccR& r2, const char* name) {
  while (mask != 0) {
    const int j = __builtin_ctz(mask);
    mask &= mask - 1;
    const int st = pol.scalar(&in[j], &res1[j], &res2[j]);
    if (st == 0) continue;
    r2[base + j] = res2[j];
    r1[base + j] = res1[j];
    report(st, static_cast<int>(base + j), a.base(), a.inc(), a.base(), a.inc(), r1.base(), r1.inc(), r2.base(),
           r2.inc(), name);
    res1[j] = r1[base + j];
    res2[j] = r2[base + j];
  }
}

// Computes `count` elements (a block, or a tail group of one vector) from i.
template <class P, int Vectors, class LoadFn, class StoreFn, class AccA, class AccR>
inline void unary2_block(const P& pol, long i, LoadFn load, StoreFn store, const AccA& a, const AccR& r1,
                         const AccR& r2, const char* name) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes;
  V x[Vectors], y1[Vectors], y2[Vectors];
  unsigned mask = 0;
  for (int k = 0; k < Vectors; ++k) x[k] = load(i + k * L);
  for (int k = 0; k < Vectors; ++k) {
    V special = W::zero();
    y1[k] = pol.eval(x[k], y2[k], special);
    if constexpr (P::kCallout) mask |= static_cast<unsigned>(W::mask(special)) << (k * L);
  }
  if constexpr (P::kCallout) {
    if (__builtin_expect(mask != 0, 0)) {
      alignas(16) T in[Vectors * L];
      alignas(16) T res1[Vectors * L];
      alignas(16) T res2[Vectors * L];
      for (int k = 0; k < Vectors; ++k) {
        W::store_aligned(in + k * L, x[k]);
        W::store_aligned(res1 + k * L, y1[k]);
        W::store_aligned(res2 + k * L, y2[k]);
      }
      callout_unary2<P>(pol, mask, i, in, res1, res2, a, r1, r2, name);
      for (int k = 0; k < Vectors; ++k) {
        y1[k] = W::load_aligned(res1 + k * L);
        y2[k] = W::load_aligned(res2 + k * L);
      }
    }
  }
  for (int k = 0; k < Vectors; ++k) store(i + k * L, y1[k], y2[k]);
}

// Plain form: whole blocks from element 0 with unaligned access, then groups
// of one vector with the filler in the empty lanes.
template <class P>
void unary2(int n, const typename P::T* a, typename P::T* r1, typename P::T* r2, const P& pol = P{}) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlock;
  static_assert(B % L == 0);
  FpGuard env;
  if constexpr (P::kSignedCount) {
    if (n <= 0) return;
  }
  const unsigned long count = static_cast<uint32_t>(n);
  const unsigned long whole = count & ~static_cast<unsigned long>(B - 1);
  const Plain<const T> A{a};
  const Plain<T> R1{r1}, R2{r2};
  long i = 0;
  for (; i < static_cast<long>(whole); i += B)
    unary2_block<P, B / L>(
        pol, i, [&](long k) { return Vec<T>::load(a + k); },
        [&](long k, auto v1, auto v2) {
          Vec<T>::store(r1 + k, v1);
          Vec<T>::store(r2 + k, v2);
        },
        A, R1, R2, name_plain<P>());
  for (; i < static_cast<long>(count); i += L) {
    const int g = count - i < static_cast<unsigned long>(L) ? static_cast<int>(count - i) : L;
    unary2_block<P, 1>(
        pol, i, [&](long k) { return load_group<T>(A, k, g); },
        [&](long k, auto v1, auto v2) {
          store_group<T>(R1, k, g, v1);
          store_group<T>(R2, k, g, v2);
        },
        A, R1, R2, name_plain<P>());
  }
}

// Strided form: with all three strides 1 it hands the call over (to the plain
// row's slot); otherwise blocks by stride, then groups of one vector.
template <class P, class Handover>
void unary2_strided(int n, const typename P::T* a, int inca, typename P::T* r1, int incr1, typename P::T* r2,
                    int incr2, const P& pol, Handover handover) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlockI;
  if (inca == 1 && incr1 == 1 && incr2 == 1) {
    handover();
    return;
  }
  FpGuard env;
  if (n <= 0) return;
  const long whole = n & ~(B - 1);
  const Strided<const T> A{a, inca};
  const Strided<T> R1{r1, incr1}, R2{r2, incr2};
  constexpr const char* name = name_strided<P>();
  long i = 0;
  for (; i < whole; i += B)
    unary2_block<P, B / L>(
        pol, i, [&](long k) { return load_strided<T>(A, k); },
        [&](long k, auto v1, auto v2) {
          store_strided<T>(R1, k, v1);
          store_strided<T>(R2, k, v2);
        },
        A, R1, R2, name);
  for (; i < n; i += L) {
    const int g = n - i < L ? static_cast<int>(n - i) : L;
    unary2_block<P, 1>(
        pol, i, [&](long k) { return load_group<T>(A, k, g); },
        [&](long k, auto v1, auto v2) {
          store_group<T>(R1, k, g, v1);
          store_group<T>(R2, k, g, v2);
        },
        A, R1, R2, name);
  }
}

template <class P, int PlainRow, int Slot, class F>
void unary2_strided(int n, const typename P::T* a, int inca, typename P::T* r1, int incr1, typename P::T* r2,
                    int incr2) {
  unary2_strided<P>(n, a, inca, r1, incr1, r2, incr2, P{}, [&] { slot<F>(PlainRow, Slot)(n, a, r1, r2); });
}

}  // namespace zev::vk

// ZEV_UNARY2_KERNELS(ROW, lvl, Policy) defines zev_k_<ROW>_<lvl> and its
// strided twin zev_k_<ROW>I_<lvl>.
#define ZEV_UNARY2_KERNELS(ROW, lvl, Policy)                                                                   \
  extern "C" void zev_k_##ROW##_##lvl(int n, const Policy::T* a, Policy::T* r1, Policy::T* r2) {                \
    zev::vk::unary2<Policy>(n, a, r1, r2);                                                                     \
  }                                                                                                            \
  extern "C" void zev_k_##ROW##I_##lvl(int n, const Policy::T* a, int inca, Policy::T* r1, int incr1,           \
                                       Policy::T* r2, int incr2) {                                             \
    zev::vk::unary2_strided<Policy, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>(n, a, inca, r1, incr1, \
                                                                                      r2, incr2);             \
  }
