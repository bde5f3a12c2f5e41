// The shape every real vector kernel shares, written once.
//
// A family supplies a small policy: the element type, its block size, the block
// arithmetic on one vector (with the special-lane mask when it has a callout),
// the scalar function and the report name. The shape owns the floating-point
// environment guard, the block loop, the masked tail with its 0.75 filler, the
// callout loop with its stack buffers, and the strided form with its unit-stride
// hand-over to the plain row.
//
// Policy members (unary; binary policies take two vectors and two pointers):
//   using T = float | double;
//   static constexpr int kBlock;        elements per block of the plain kernel
//   static constexpr int kBlockI;       elements per block of the strided kernel
//   static constexpr bool kSignedCount; negative n is empty (else taken unsigned)
//   static constexpr bool kCallout;     has special lanes
//   V eval(V x, V& special) const;      block arithmetic; special lanes all ones
//   int scalar(const T* a, T* r) const;         (kCallout) the lane's function
// eval and scalar may be static. A policy may carry scalar parameters (the
// exponent of Powx, say): the kernel passes an instance, and the strided form
// takes a hand-over callable for its unit-stride case.
//   static constexpr const char* kName;         (kCallout) report name
//   static constexpr const char* kNameI;        (optional) report name of the strided form
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/report.h"
#include "frame/state.h"
#include "frame/table.h"
#include "rows_gen.h"
#include "zev/zev_vqm.h"

namespace zev::vk {

// ---- floating-point environment guard --------------------------------------

inline uint16_t x87_control() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw)::"memory");
  return cw;
}
inline void x87_load_control(uint16_t cw) { __asm__ volatile("fldcw %0" ::"m"(cw) : "memory"); }
inline void x87_clear_exceptions() { __asm__ volatile("fnclex" ::: "memory"); }
inline uint32_t csr_get() {
  uint32_t v;
  __asm__ volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
inline void csr_set(uint32_t v) { __asm__ volatile("ldmxcsr %0" ::"m"(v) : "memory"); }

constexpr uint32_t kCsrNear = 0x1F80;      // all masked, round to nearest, no FTZ/DAZ
constexpr uint32_t kCsrNearFlush = 0x9FC0;  // the same with FTZ and DAZ

// Prologue in the constructor, epilogue in the destructor. Sticky flags raised
// inside pass back to the caller; masks, rounding, FTZ and DAZ come back.
class FpGuard {
 public:
  struct Short {};

  // The full prologue: x87 masks, then MXCSR by the mode's denormal field.
  FpGuard() {
    x87_step();
    mode_ = current_mode();
    const uint32_t target = (mode_ & 0x3C0000) == 0x280000 ? kCsrNearFlush : kCsrNear;
    csr_ = csr_get();
    if ((csr_ & 0xFFC0) != target) {
      csr_set((csr_ & 0xFFFF003F) | target);
      csr_changed_ = true;
    }
  }

  // The short prologue of plain Abs: reads no mode, only masks exceptions.
  explicit FpGuard(Short) {
    x87_step();
    csr_ = csr_get();
    if ((csr_ & 0x1F80) != 0x1F80) {
      csr_set(csr_ | 0x1F80);
      csr_changed_ = true;
    }
  }

  ~FpGuard() {
    if (x87_changed_) x87_load_control(x87_);
    if (csr_changed_) csr_set(csr_ | (csr_get() & 0x3F));
  }

  FpGuard(const FpGuard&) = delete;
  FpGuard& operator=(const FpGuard&) = delete;

  uint32_t mode() const { return mode_; }

 private:
  void x87_step() {
    const uint16_t cw = x87_control();
    if ((cw & 0x3F) != 0x3F) {
      x87_ = cw;
      x87_clear_exceptions();
      x87_load_control(static_cast<uint16_t>(cw | 0x3F));
      x87_changed_ = true;
    }
  }

  uint32_t mode_ = 0;
  uint32_t csr_ = 0;
  uint16_t x87_ = 0;
  bool x87_changed_ = false;
  bool csr_changed_ = false;
};

// ---- vectors of one element type ------------------------------------------

template <class T> struct Vec;

template <> struct Vec<float> {
  using V = __m128;
  static constexpr int kLanes = 4;
  static V load(const float* p) { return _mm_loadu_ps(p); }
  static V load_aligned(const float* p) { return _mm_load_ps(p); }
  static void store(float* p, V v) { _mm_storeu_ps(p, v); }
  static void store_aligned(float* p, V v) { _mm_store_ps(p, v); }
  static V set1(float x) { return _mm_set1_ps(x); }
  static int mask(V m) { return _mm_movemask_ps(m); }
  static V zero() { return _mm_setzero_ps(); }
};

template <> struct Vec<double> {
  using V = __m128d;
  static constexpr int kLanes = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static V load_aligned(const double* p) { return _mm_load_pd(p); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  static void store_aligned(double* p, V v) { _mm_store_pd(p, v); }
  static V set1(double x) { return _mm_set1_pd(x); }
  static int mask(V m) { return _mm_movemask_pd(m); }
  static V zero() { return _mm_setzero_pd(); }
};

// The value of the lanes a tail group leaves empty: a harmless input of every
// function, so that padded lanes never test as special.
inline constexpr double kFiller = 0.75;

// A policy whose function is not harmless at 0.75 for every parameter (a
// power with a huge scalar exponent) names its own filler as kFiller; in any
// case padded lanes are cut from the special mask before the callout.
template <class P>
constexpr typename P::T filler() {
  if constexpr (requires { P::kFiller; })
    return P::kFiller;
  else
    return static_cast<typename P::T>(kFiller);
}

// Slots a strided kernel hands a unit-stride call to: a kernel serving HA uses
// slot 1, any other the first slot it serves.
inline constexpr int kSlot_la = 0;
inline constexpr int kSlot_ha = 1;
inline constexpr int kSlot_ep = 2;

// Report names: kName for the plain kernel, kNameI (else kName) for the
// strided one; kernels with no callout have none.
template <class P>
constexpr const char* name_plain() {
  if constexpr (requires { P::kName; })
    return P::kName;
  else
    return nullptr;
}
template <class P>
constexpr const char* name_strided() {
  if constexpr (requires { P::kNameI; })
    return P::kNameI;
  else
    return name_plain<P>();
}

// Element access of one array: plain (stride 1) or strided.
template <class T>
struct Plain {
  T* p;
  T& operator[](long i) const { return p[i]; }
  T* base() const { return p; }
  int inc() const { return 1; }
};

// Loads a group of `count` lanes (count < lanes allowed) from element i on,
// filling the rest with the filler. No memory past the group is touched.
template <class T, class Acc>
inline typename Vec<T>::V load_group(const Acc& a, long i, int count, T fill = static_cast<T>(kFiller)) {
  alignas(16) T buf[Vec<T>::kLanes];
  for (int k = 0; k < Vec<T>::kLanes; ++k) buf[k] = k < count ? a[i + k] : fill;
  return Vec<T>::load_aligned(buf);
}

template <class T, class Acc>
inline void store_group(const Acc& r, long i, int count, typename Vec<T>::V v) {
  alignas(16) T buf[Vec<T>::kLanes];
  Vec<T>::store_aligned(buf, v);
  for (int k = 0; k < count; ++k) r[i + k] = buf[k];
}

// Strided access: element i at p[i * inc].
template <class T>
struct Strided {
  T* p;
  int stride;
  T& operator[](long i) const { return p[i * stride]; }
  T* base() const { return p; }
  int inc() const { return stride; }
};

// Loads a whole vector of a strided array starting at element i: one
// unaligned load for stride 1, a broadcast of element 0 for stride 0, else
// element by element.
template <class T>
inline typename Vec<T>::V load_strided(const Strided<const T>& a, long i) {
  if (a.stride == 1) return Vec<T>::load(a.p + i);
  if (a.stride == 0) return Vec<T>::set1(a.p[0]);
  alignas(16) T buf[Vec<T>::kLanes];
  for (int k = 0; k < Vec<T>::kLanes; ++k) buf[k] = a[i + k];
  return Vec<T>::load_aligned(buf);
}

template <class T>
inline void store_strided(const Strided<T>& r, long i, typename Vec<T>::V v) {
  if (r.stride == 1) {
    Vec<T>::store(r.p + i, v);
    return;
  }
  alignas(16) T buf[Vec<T>::kLanes];
  Vec<T>::store_aligned(buf, v);
  for (int k = 0; k < Vec<T>::kLanes; ++k) r[i + k] = buf[k];
}

// ---- the callout ------------------------------------------------------------

// Runs the scalar function on every flagged lane of a block of `count`
// elements starting at element `base`, in ascending order. `in` and `res` are
// the block's input lanes and computed results on the stack; lanes that are not
// flagged keep their vector result.
template <class P, class AccA, class AccR>
void callout_unary(const P& pol, unsigned mask, long base, typename P::T* in, typename P::T* res, const AccA& a,
                   const AccR& r, const char* name) {
  while (mask != 0) {
    const int j = __builtin_ctz(mask);
    mask &= mask - 1;
    const int st = pol.scalar(&in[j], &res[j]);
    if (st == 0) continue;
    r[base + j] = res[j];
    report(st, static_cast<int>(base + j), a.base(), a.inc(), a.base(), a.inc(), r.base(), r.inc(), r.base(),
           r.inc(), name);
    res[j] = r[base + j];
  }
}

template <class P, class AccA, class AccB, class AccR>
void callout_binary(const P& pol, unsigned mask, long base, typename P::T* ina, typename P::T* inb, typename P::T* res,
                    const AccA& a, const AccB& b, const AccR& r, const char* name) {
  while (mask != 0) {
    const int j = __builtin_ctz(mask);
    mask &= mask - 1;
    const int st = pol.scalar(&ina[j], &inb[j], &res[j]);
    if (st == 0) continue;
    r[base + j] = res[j];
    report(st, static_cast<int>(base + j), a.base(), a.inc(), b.base(), b.inc(), r.base(), r.inc(), r.base(),
           r.inc(), name);
    res[j] = r[base + j];
  }
}

// Typed reporter calls for plain and strided accessors (plain arrays go to
// the plain reporters).
template <class T>
inline void report(int st, int i, const T* a1, int ia1, const T* a2, int ia2, T* r1, int ir1, T* r2, int ir2,
                   const char* n) {
  if (ia1 == 1 && ia2 == 1 && ir1 == 1 && ir2 == 1)
    zev::report(st, i, a1, a2, r1, r2, n);
  else
    zev::report(st, i, a1, ia1, a2, ia2, r1, ir1, r2, ir2, n);
}

// ---- one block of a unary kernel -------------------------------------------

// Computes `count` elements (a whole block, or a tail group) from element i.
// Vectors is the number of vectors in the block; a tail group is one vector.
template <class P, int Vectors, class LoadFn, class StoreFn, class AccA, class AccR>
inline void unary_block(const P& pol, long i, LoadFn load, StoreFn store, const AccA& a, const AccR& r,
                        const char* name, unsigned valid = ~0u) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes;
  V x[Vectors], y[Vectors];
  unsigned mask = 0;
  for (int k = 0; k < Vectors; ++k) x[k] = load(i + k * L);
  for (int k = 0; k < Vectors; ++k) {
    V special = W::zero();
    y[k] = pol.eval(x[k], special);
    if constexpr (P::kCallout) mask |= static_cast<unsigned>(W::mask(special)) << (k * L);
  }
  if constexpr (P::kCallout) {
    mask &= valid;  // padded lanes of a tail group never reach the callout
    if (__builtin_expect(mask != 0, 0)) {
      alignas(16) T in[Vectors * L];
      alignas(16) T res[Vectors * L];
      for (int k = 0; k < Vectors; ++k) {
        W::store_aligned(in + k * L, x[k]);
        W::store_aligned(res + k * L, y[k]);
      }
      callout_unary<P>(pol, mask, i, in, res, a, r, name);
      for (int k = 0; k < Vectors; ++k) y[k] = W::load_aligned(res + k * L);
    }
  }
  for (int k = 0; k < Vectors; ++k) store(i + k * L, y[k]);
}

// ---- unary kernels ------------------------------------------------------------

// Plain unary, unpeeled: whole blocks from element 0 with unaligned access,
// then groups of one vector with the filler in the empty lanes.
template <class P>
void unary(int n, const typename P::T* a, typename P::T* r, const P& pol = P{}) {
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
  const Plain<T> R{r};
  long i = 0;
  for (; i < static_cast<long>(whole); i += B)
    unary_block<P, B / L>(
        pol, i, [&](long k) { return Vec<T>::load(a + k); }, [&](long k, auto v) { Vec<T>::store(r + k, v); }, A, R,
        name_plain<P>());
  for (; i < static_cast<long>(count); i += L) {
    const int g = count - i < static_cast<unsigned long>(L) ? static_cast<int>(count - i) : L;
    unary_block<P, 1>(
        pol, i, [&](long k) { return load_group<T>(A, k, g, filler<P>()); }, [&](long k, auto v) { store_group<T>(R, k, g, v); },
        A, R, name_plain<P>(), (1u << g) - 1);
  }
}

// Strided unary: with both strides 1 it hands the call to the plain row's slot;
// otherwise whole blocks by stride, then groups of one vector.
template <class P, class Handover>
void unary_strided(int n, const typename P::T* a, int inca, typename P::T* r, int incr, const P& pol,
                   Handover handover) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlockI;
  if (inca == 1 && incr == 1) {
    handover();
    return;
  }
  FpGuard env;
  if (n <= 0) return;
  const long whole = n & ~(B - 1);
  const Strided<const T> A{a, inca};
  const Strided<T> R{r, incr};
  constexpr const char* name = name_strided<P>();
  long i = 0;
  for (; i < whole; i += B)
    unary_block<P, B / L>(
        pol, i, [&](long k) { return load_strided<T>(A, k); }, [&](long k, auto v) { store_strided<T>(R, k, v); }, A,
        R, name);
  for (; i < n; i += L) {
    const int g = n - i < L ? static_cast<int>(n - i) : L;
    unary_block<P, 1>(
        pol, i, [&](long k) { return load_group<T>(A, k, g, filler<P>()); }, [&](long k, auto v) { store_group<T>(R, k, g, v); },
        A, R, name, (1u << g) - 1);
  }
}

// ---- binary kernels (unpeeled) ------------------------------------------------

template <class P, int Vectors, class LoadA, class LoadB, class StoreFn, class AccA, class AccB, class AccR>
inline void binary_block(const P& pol, long i, LoadA la, LoadB lb, StoreFn store, const AccA& a, const AccB& b,
                         const AccR& r, const char* name, unsigned valid = ~0u) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes;
  V x[Vectors], z[Vectors], y[Vectors];
  unsigned mask = 0;
  for (int k = 0; k < Vectors; ++k) {
    x[k] = la(i + k * L);
    z[k] = lb(i + k * L);
  }
  for (int k = 0; k < Vectors; ++k) {
    V special = W::zero();
    y[k] = pol.eval(x[k], z[k], special);
    if constexpr (P::kCallout) mask |= static_cast<unsigned>(W::mask(special)) << (k * L);
  }
  if constexpr (P::kCallout) {
    mask &= valid;  // padded lanes of a tail group never reach the callout
    if (__builtin_expect(mask != 0, 0)) {
      alignas(16) T ina[Vectors * L];
      alignas(16) T inb[Vectors * L];
      alignas(16) T res[Vectors * L];
      for (int k = 0; k < Vectors; ++k) {
        W::store_aligned(ina + k * L, x[k]);
        W::store_aligned(inb + k * L, z[k]);
        W::store_aligned(res + k * L, y[k]);
      }
      callout_binary<P>(pol, mask, i, ina, inb, res, a, b, r, name);
      for (int k = 0; k < Vectors; ++k) y[k] = W::load_aligned(res + k * L);
    }
  }
  for (int k = 0; k < Vectors; ++k) store(i + k * L, y[k]);
}

template <class P>
void binary(int n, const typename P::T* a, const typename P::T* b, typename P::T* r, const P& pol = P{}) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlock;
  FpGuard env;
  if constexpr (P::kSignedCount) {
    if (n <= 0) return;
  }
  const unsigned long count = static_cast<uint32_t>(n);
  const unsigned long whole = count & ~static_cast<unsigned long>(B - 1);
  const Plain<const T> A{a}, Bb{b};
  const Plain<T> R{r};
  long i = 0;
  for (; i < static_cast<long>(whole); i += B)
    binary_block<P, B / L>(
        pol, i, [&](long k) { return Vec<T>::load(a + k); }, [&](long k) { return Vec<T>::load(b + k); },
        [&](long k, auto v) { Vec<T>::store(r + k, v); }, A, Bb, R, name_plain<P>());
  for (; i < static_cast<long>(count); i += L) {
    const int g = count - i < static_cast<unsigned long>(L) ? static_cast<int>(count - i) : L;
    binary_block<P, 1>(
        pol, i, [&](long k) { return load_group<T>(A, k, g, filler<P>()); }, [&](long k) { return load_group<T>(Bb, k, g, filler<P>()); },
        [&](long k, auto v) { store_group<T>(R, k, g, v); }, A, Bb, R, name_plain<P>(), (1u << g) - 1);
  }
}

template <class P, class Handover>
void binary_strided(int n, const typename P::T* a, int inca, const typename P::T* b, int incb, typename P::T* r,
                    int incr, const P& pol, Handover handover) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes;
  constexpr int B = P::kBlockI;
  if (inca == 1 && incb == 1 && incr == 1) {
    handover();
    return;
  }
  FpGuard env;
  if (n <= 0) return;
  const long whole = n & ~(B - 1);
  const Strided<const T> A{a, inca}, Bb{b, incb};
  const Strided<T> R{r, incr};
  constexpr const char* name = name_strided<P>();
  long i = 0;
  for (; i < whole; i += B)
    binary_block<P, B / L>(
        pol, i, [&](long k) { return load_strided<T>(A, k); }, [&](long k) { return load_strided<T>(Bb, k); },
        [&](long k, auto v) { store_strided<T>(R, k, v); }, A, Bb, R, name);
  for (; i < n; i += L) {
    const int g = n - i < L ? static_cast<int>(n - i) : L;
    binary_block<P, 1>(
        pol, i, [&](long k) { return load_group<T>(A, k, g, filler<P>()); }, [&](long k) { return load_group<T>(Bb, k, g, filler<P>()); },
        [&](long k, auto v) { store_group<T>(R, k, g, v); }, A, Bb, R, name, (1u << g) - 1);
  }
}

// The usual strided kernels: with unit strides they call the plain row's slot.
template <class P, int PlainRow, int Slot, class F>
void unary_strided(int n, const typename P::T* a, int inca, typename P::T* r, int incr) {
  unary_strided<P>(n, a, inca, r, incr, P{}, [&] { slot<F>(PlainRow, Slot)(n, a, r); });
}

template <class P, int PlainRow, int Slot, class F>
void binary_strided(int n, const typename P::T* a, int inca, const typename P::T* b, int incb, typename P::T* r,
                    int incr) {
  binary_strided<P>(n, a, inca, b, incb, r, incr, P{}, [&] { slot<F>(PlainRow, Slot)(n, a, b, r); });
}

}  // namespace zev::vk

// ---- kernel definitions ------------------------------------------------------
// ZEV_UNARY_KERNELS(ROW, lvl, Policy) defines zev_k_<ROW>_<lvl> and its strided
// twin zev_k_<ROW>I_<lvl>; lvl is la, ha or ep, the level the kernel is named by.
#define ZEV_UNARY_KERNELS(ROW, lvl, Policy)                                                             \
  extern "C" void zev_k_##ROW##_##lvl(int n, const Policy::T* a, Policy::T* r) {                         \
    zev::vk::unary<Policy>(n, a, r);                                                                    \
  }                                                                                                     \
  extern "C" void zev_k_##ROW##I_##lvl(int n, const Policy::T* a, int inca, Policy::T* r, int incr) {    \
    zev::vk::unary_strided<Policy, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>(n, a, inca, r, incr); \
  }

#define ZEV_BINARY_KERNELS(ROW, lvl, Policy)                                                              \
  extern "C" void zev_k_##ROW##_##lvl(int n, const Policy::T* a, const Policy::T* b, Policy::T* r) {       \
    zev::vk::binary<Policy>(n, a, b, r);                                                                  \
  }                                                                                                       \
  extern "C" void zev_k_##ROW##I_##lvl(int n, const Policy::T* a, int inca, const Policy::T* b, int incb,  \
                                       Policy::T* r, int incr) {                                          \
    zev::vk::binary_strided<Policy, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>(n, a, inca, b, incb, \
                                                                                      r, incr);           \
  }
