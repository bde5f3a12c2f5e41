// A variant of the unary kernel shape for families whose block arithmetic
// wants the whole block at once, and that act on the mode's error field before
// the callout. Reusable by any family with the same needs.
//
// Policy members:
//   using T;  kBlock, kBlockI;  kName (and optionally kNameI)
//   template <int NV> unsigned eval(const V (&x)[NV], V (&y)[NV]) const;
//       computes NV vectors and returns the special-lane mask, one bit a lane
//       in element order (so a double policy can test the high words of a
//       pair of vectors with one compare);
//   int scalar(const T* a, T* r) const;
//   static constexpr bool kNoErrShortcut;  when true:
//   template <int NV> unsigned noerr(unsigned mask, const V (&x)[NV], V (&y)[NV]) const;
//       called with the mode's error field equal to ERRMODE_NOERR on a block
//       with special lanes; settles the lanes it can by select and returns the
//       mask of those still to go through the scalar function.
#pragma once

#include "vector/shape.h"

namespace zev::vk {

template <class P, int NV, class LoadFn, class StoreFn, class AccA, class AccR>
inline void block_whole(const P& pol, bool noerr, long i, LoadFn load, StoreFn store, const AccA& a,
                        const AccR& r, const char* name) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes;
  V x[NV], y[NV];
  for (int k = 0; k < NV; ++k) x[k] = load(i + k * L);
  unsigned mask = pol.template eval<NV>(x, y);
  if (__builtin_expect(mask != 0, 0)) {
    if constexpr (P::kNoErrShortcut) {
      if (noerr) mask = pol.template noerr<NV>(mask, x, y);
    } else {
      (void)noerr;
    }
    if (mask != 0) {
      alignas(16) T in[NV * L];
      alignas(16) T res[NV * L];
      for (int k = 0; k < NV; ++k) {
        W::store_aligned(in + k * L, x[k]);
        W::store_aligned(res + k * L, y[k]);
      }
      callout_unary<P>(pol, mask, i, in, res, a, r, name);
      for (int k = 0; k < NV; ++k) y[k] = W::load_aligned(res + k * L);
    }
  }
  for (int k = 0; k < NV; ++k) store(i + k * L, y[k]);
}

inline bool mode_noerr(const FpGuard& env) { return (env.mode() & 0xFF00) == 0x2000; }

// Plain form: whole blocks from element 0 with unaligned access, then groups
// of one vector with the filler in the empty lanes. The count is taken as
// unsigned, as in every plain polynomial kernel.
template <class P>
void unary_whole(int n, const typename P::T* a, typename P::T* r, const P& pol = P{}) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlock;
  static_assert(B % L == 0);
  FpGuard env;
  const bool noerr = mode_noerr(env);
  const unsigned long count = static_cast<uint32_t>(n);
  const unsigned long whole = count & ~static_cast<unsigned long>(B - 1);
  const Plain<const T> A{a};
  const Plain<T> R{r};
  long i = 0;
  for (; i < static_cast<long>(whole); i += B)
    block_whole<P, B / L>(
        pol, noerr, i, [&](long k) { return Vec<T>::load(a + k); },
        [&](long k, auto v) { Vec<T>::store(r + k, v); }, A, R, name_plain<P>());
  for (; i < static_cast<long>(count); i += L) {
    const int g = count - i < static_cast<unsigned long>(L) ? static_cast<int>(count - i) : L;
    block_whole<P, 1>(
        pol, noerr, i, [&](long k) { return load_group<T>(A, k, g); },
        [&](long k, auto v) { store_group<T>(R, k, g, v); }, A, R, name_plain<P>());
  }
}

// Strided form: unit strides go to the plain row's slot; otherwise whole
// blocks by stride, then groups of one vector.
template <class P, int PlainRow, int Slot, class F>
void unary_whole_strided(int n, const typename P::T* a, int inca, typename P::T* r, int incr, const P& pol = P{}) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlockI;
  if (inca == 1 && incr == 1) {
    slot<F>(PlainRow, Slot)(n, a, r);
    return;
  }
  FpGuard env;
  if (n <= 0) return;
  const bool noerr = mode_noerr(env);
  const long whole = n & ~(B - 1);
  const Strided<const T> A{a, inca};
  const Strided<T> R{r, incr};
  constexpr const char* name = name_strided<P>();
  long i = 0;
  for (; i < whole; i += B)
    block_whole<P, B / L>(
        pol, noerr, i, [&](long k) { return load_strided<T>(A, k); },
        [&](long k, auto v) { store_strided<T>(R, k, v); }, A, R, name);
  for (; i < n; i += L) {
    const int g = n - i < L ? static_cast<int>(n - i) : L;
    block_whole<P, 1>(
        pol, noerr, i, [&](long k) { return load_group<T>(A, k, g); },
        [&](long k, auto v) { store_group<T>(R, k, g, v); }, A, R, name);
  }
}

}  // namespace zev::vk

// ZEV_WHOLE_KERNELS(ROW, lvl, Policy): zev_k_<ROW>_<lvl> and zev_k_<ROW>I_<lvl>.
#define ZEV_WHOLE_KERNELS(ROW, lvl, Policy)                                                                  \
  extern "C" void zev_k_##ROW##_##lvl(int n, const Policy::T* a, Policy::T* r) {                              \
    zev::vk::unary_whole<Policy>(n, a, r);                                                                   \
  }                                                                                                          \
  extern "C" void zev_k_##ROW##I_##lvl(int n, const Policy::T* a, int inca, Policy::T* r, int incr) {         \
    zev::vk::unary_whole_strided<Policy, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>(n, a, inca, r,    \
                                                                                           incr);            \
  }
