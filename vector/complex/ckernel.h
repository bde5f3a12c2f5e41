// The loop of the complex kernels: blocks of four elements, a tail group with
// the filler 0.75 + 0.75i in its empty places, the callout of flagged
// elements through the complex reporters, and the strided form with its
// unit-stride hand-over. The floating-point guard, the vector types and the
// slot hand-over are those of vector/shape.h; the loop is its own because an
// element here is two parts, and the result of Abs is a real array.
//
// Policy members:
//   using R = float | double          the part type
//   kIn [2]                           complex inputs: 1 or 2
//   kRealOut [false]                  the result is one real number (Abs)
//   kRealIn [false]                   the input is one real number (CIS): one
//                                     real array in, kIn 1
//   kCallout [true]
//   kPrefetch [true]                  the plain loop prefetches the inputs ahead
//                                     (off for the kernels of one operation a
//                                     part, which the memory keeps up with)
//   kScalarB [false]                  the second operand is one complex number
//                                     for the whole call (Powx), passed by value
//   kDropFlags [0]                    MXCSR sticky flags that eval raises on
//                                     flagged elements only: a block with a
//                                     flagged element drops those it raised
//                                     before the scalar functions run, which
//                                     raise what the exact results call for
//   static unsigned eval(const V (&a)[NV], const V (&b)[NV], V (&r)[NR])
//     the block arithmetic on the block's vectors as they lie in memory (real
//     part first; NV = 4 for double, 2 for single, or NV / 2 for a real
//     input; NR = NV, or NV / 2 for a real result); returns the flagged
//     elements, one bit an element
//   static int scalar(const In* a, const In* b, Out* r)   the function of one element
//     (In is C, or R for a real input)
//   kName                             report name
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/exact.h"
#include "vector/common/range.h"
#include "vector/shape.h"

namespace zev::vk::cx {

template <class R> struct CplxOf;
template <> struct CplxOf<float> { using type = zev_complex8; };
template <> struct CplxOf<double> { using type = zev_complex16; };

inline constexpr int kElems = 4;  // elements a block
inline constexpr int kPrefetch = 1024;  // bytes ahead of a block
// Vectors of one complex block of part type R.
template <class R> inline constexpr int kVecs = kElems * 2 * static_cast<int>(sizeof(R)) / 16;

template <class P> constexpr int cins() {
  if constexpr (requires { P::kIn; }) return P::kIn; else return 2;
}
template <class P> constexpr bool real_out() {
  if constexpr (requires { P::kRealOut; }) return P::kRealOut; else return false;
}
template <class P> constexpr bool scalar_b() {
  if constexpr (requires { P::kScalarB; }) return P::kScalarB; else return false;
}
template <class P> constexpr bool prefetch() {
  if constexpr (requires { P::kPrefetch; }) return P::kPrefetch; else return true;
}
template <class P> constexpr bool real_in() {
  if constexpr (requires { P::kRealIn; }) return P::kRealIn; else return false;
}
template <class P> constexpr uint32_t drop_flags() {
  if constexpr (requires { P::kDropFlags; }) return P::kDropFlags; else return 0;
}

// ---- lane masks to element masks, and the two layouts ---------------------

// One bit per element from a lane mask of interleaved parts: an element is
// flagged when either of its parts is.
inline unsigned elem_mask(__m128d m0, __m128d m1) {
  return static_cast<unsigned>(_mm_movemask_pd(_mm_or_pd(_mm_unpacklo_pd(m0, m1), _mm_unpackhi_pd(m0, m1))));
}
inline unsigned elem_mask(__m128 m) {
  const unsigned b = static_cast<unsigned>(_mm_movemask_ps(_mm_or_ps(m, _mm_shuffle_ps(m, m, 0xB1))));
  return (b & 1u) | ((b >> 1) & 2u);
}
// The high words of two double vectors in one, (x0 low lane, x0 high lane,
// x1 low, x1 high): one 32-bit compare then tests four doubles. For the
// interleaved vectors of a block, two neighbouring lanes are one element.
inline __m128i high_words2(__m128d x0, __m128d x1) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castpd_ps(x0), _mm_castpd_ps(x1), _MM_SHUFFLE(3, 1, 3, 1)));
}
// Range tests on such words with the sign shifted out (no mask constant to
// hold): |w| in [lo, hi] is w << 1 in [2 lo, 2 hi + 1].
constexpr Range32 range32_abs(uint32_t lo, uint32_t hi) { return range32(2 * lo, 2 * hi + 1); }
inline __m128i outside_abs(__m128i w, const Range32& r) { return outside(_mm_slli_epi32(w, 1), r); }
// Lane bits, two neighbouring lanes an element (up to eight), to element bits.
inline unsigned pairs_to_elems(unsigned b) {
  b = (b | (b >> 1)) & 0x55u;
  b = (b | (b >> 1)) & 0x33u;
  return (b | (b >> 2)) & 0x0Fu;
}
// One bit per element from masks of separate real and imaginary lanes.
inline unsigned soa_mask(__m128d m) { return static_cast<unsigned>(_mm_movemask_pd(m)); }
inline unsigned soa_mask(__m128 m) { return static_cast<unsigned>(_mm_movemask_ps(m)); }

// Interleaved (re, im, ...) to separate real and imaginary vectors and back.
inline void split_parts(__m128d x0, __m128d x1, __m128d& re, __m128d& im) {
  re = _mm_unpacklo_pd(x0, x1);
  im = _mm_unpackhi_pd(x0, x1);
}
inline void join_parts(__m128d re, __m128d im, __m128d& x0, __m128d& x1) {
  x0 = _mm_unpacklo_pd(re, im);
  x1 = _mm_unpackhi_pd(re, im);
}
inline void split_parts(__m128 x0, __m128 x1, __m128& re, __m128& im) {
  re = _mm_shuffle_ps(x0, x1, _MM_SHUFFLE(2, 0, 2, 0));
  im = _mm_shuffle_ps(x0, x1, _MM_SHUFFLE(3, 1, 3, 1));
}
inline void join_parts(__m128 re, __m128 im, __m128& x0, __m128& x1) {
  x0 = _mm_unpacklo_ps(re, im);
  x1 = _mm_unpackhi_ps(re, im);
}

// ---- exact products from halves cut once -----------------------------------------

// A double cut by the mask 0xFFFFFFFFF8000000: a head of 26 significant bits
// and the exact rest of at most 27. Cut once, an operand serves every product
// it enters.
struct Halves {
  __m128d v, h, l;
};
inline Halves halves(__m128d v) {
  const __m128d h = _mm_and_pd(v, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xFFFFFFFFF8000000ull))));
  return {v, h, _mm_sub_pd(v, h)};
}
// x y = hi + lo: hi rounded, lo its error; every partial product is exact but
// the last (up to 54 bits), whose rounding is below 2^-100 of x y. Products
// must stay clear of overflow and underflow (the kernels' range tests).
inline DD prod(const Halves& x, const Halves& y) {
  const __m128d p = _mm_mul_pd(x.v, y.v);
  const __m128d e = _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(x.h, y.h), p), _mm_mul_pd(x.h, y.l)),
                                          _mm_mul_pd(x.l, y.h)),
                               _mm_mul_pd(x.l, y.l));
  return {p, e};
}

// ---- the loop -----------------------------------------------------------------

template <class P>
struct CLoop {
  using R = typename P::R;
  using C = typename CplxOf<R>::type;
  using W = Vec<R>;
  using V = typename W::V;
  using Out = std::conditional_t<real_out<P>(), R, C>;
  using In = std::conditional_t<real_in<P>(), R, C>;
  static constexpr int NI = cins<P>();
  static constexpr int NV = real_in<P>() ? kVecs<R> / 2 : kVecs<R>;  // input vectors a block
  static constexpr int NR = real_out<P>() ? kVecs<R> / 2 : kVecs<R>;  // result vectors a block

  struct Io {
    const In* a;
    int ia;
    const In* b;
    int ib;
    Out* r;
    int ir;
    const char* name;
  };

  // Reports element i. A real result, or a real input, goes through a complex
  // element on the stack (stride 0), so that the reporter reads and writes
  // nothing else of the real array.
  static void report(const Io& io, int st, long i) {
    if constexpr (real_in<P>()) {
      const C in{io.a[i * io.ia], 0};
      report_strided(st, static_cast<int>(i), &in, 0, &in, 0, io.r, io.ir, io.r, io.ir, io.name);
    } else if constexpr (real_out<P>()) {
      C tmp{io.r[i * io.ir], 0};
      const C* a = io.a;
      report_strided(st, static_cast<int>(i), a, io.ia, a, io.ia, &tmp, 0, &tmp, 0, io.name);
      io.r[i * io.ir] = tmp.re;
    } else {
      const C* b = NI == 2 ? io.b : io.a;
      const int ib = NI == 2 ? io.ib : io.ia;
      // A scalar b has stride 0 here, so the reporter reads that one number.
      if (io.ia == 1 && ib == 1 && io.ir == 1)
        report_plain(st, static_cast<int>(i), io.a, b, io.r, io.r, io.name);
      else
        report_strided(st, static_cast<int>(i), io.a, io.ia, b, ib, io.r, io.ir, io.r, io.ir, io.name);
    }
  }
  static void report_plain(int st, int i, const zev_complex16* a, const zev_complex16* b, zev_complex16* r1,
                            zev_complex16* r2, const char* n) {
    vqm_report_z(st, i, a, b, r1, r2, n);
  }
  static void report_plain(int st, int i, const zev_complex8* a, const zev_complex8* b, zev_complex8* r1,
                            zev_complex8* r2, const char* n) {
    vqm_report_c(st, i, a, b, r1, r2, n);
  }
  static void report_strided(int st, int i, const zev_complex16* a, int ia, const zev_complex16* b, int ib,
                               zev_complex16* r1, int ir1, zev_complex16* r2, int ir2, const char* n) {
    vqm_report_zi(st, i, a, ia, b, ib, r1, ir1, r2, ir2, n);
  }
  static void report_strided(int st, int i, const zev_complex8* a, int ia, const zev_complex8* b, int ib,
                               zev_complex8* r1, int ir1, zev_complex8* r2, int ir2, const char* n) {
    vqm_report_ci(st, i, a, ia, b, ib, r1, ir1, r2, ir2, n);
  }

  // One block from element i; g elements are real (g < 4 only in the tail,
  // or in every block of a strided call, which moves element by element).
  // `acc` is the caller's copy of the arrays, kept in registers across its
  // loop; `io`, whose address the callout takes, serves the callout only.
  // `keep` holds the drop flags as they stood after the last scalar step (or
  // on entry): no unflagged element raises one, so a drop flag set beyond
  // `keep` came from this block's flagged elements.
  template <bool Whole>
  __attribute__((always_inline)) static void block(const Io acc, const Io& io, long i, int g, uint32_t& keep) {
    constexpr int L = W::kLanes;
    V x[NV], y[NV], z[NR];
    alignas(16) In ina[kElems], inb[kElems];
    if constexpr (Whole) {
      const R* pa = reinterpret_cast<const R*>(acc.a + i);
      for (int k = 0; k < NV; ++k) x[k] = W::load(pa + k * L);
      if constexpr (NI == 2) {
        // A scalar b lies in a block of four copies, read at every step.
        const R* pb = reinterpret_cast<const R*>(scalar_b<P>() ? acc.b : acc.b + i);
        for (int k = 0; k < NV; ++k) y[k] = W::load(pb + k * L);
      }
    } else {
      In fill;
      if constexpr (real_in<P>()) fill = static_cast<R>(kFiller);
      else fill = C{static_cast<R>(kFiller), static_cast<R>(kFiller)};
      for (int e = 0; e < kElems; ++e) {
        ina[e] = e < g ? acc.a[(i + e) * acc.ia] : fill;
        if constexpr (NI == 2) inb[e] = e < g ? acc.b[(i + e) * acc.ib] : fill;
      }
      for (int k = 0; k < NV; ++k) {
        x[k] = W::load_aligned(reinterpret_cast<const R*>(ina) + k * L);
        if constexpr (NI == 2) y[k] = W::load_aligned(reinterpret_cast<const R*>(inb) + k * L);
      }
    }
    if constexpr (NI == 1)
      for (int k = 0; k < NV; ++k) y[k] = x[k];
    unsigned mask = P::eval(x, y, z);
    alignas(16) Out res[kElems];
    if constexpr (has_callout<P>()) {
      if (!Whole) mask &= (1u << g) - 1;
      if (__builtin_expect(mask != 0, 0)) {
        // A whole block's inputs are read again from the caller's arrays,
        // which nothing has written yet (the block stores after its callout),
        // so that x and y need not live across eval; a gathered block has
        // them in ina and inb already.
        if constexpr (Whole) {
          for (int e = 0; e < kElems; ++e) {
            ina[e] = acc.a[i + e];
            if constexpr (NI == 2) inb[e] = scalar_b<P>() ? acc.b[e] : acc.b[i + e];
          }
        }
        const In* sb = NI == 2 ? inb : ina;  // a unary scalar function ignores b
        for (int k = 0; k < NR; ++k) W::store_aligned(reinterpret_cast<R*>(res) + k * L, z[k]);
        // After the stores (csr_set clobbers memory), so that no arithmetic of
        // eval can move past the drop.
        if constexpr (drop_flags<P>() != 0) csr_set((csr_get() & ~drop_flags<P>()) | keep);
        while (mask != 0) {
          const int j = __builtin_ctz(mask);
          mask &= mask - 1;
          const int st = P::scalar(&ina[j], &sb[j], &res[j]);
          if (st == 0) continue;
          io.r[(i + j) * io.ir] = res[j];
          report(io, st, i + j);
          res[j] = io.r[(i + j) * io.ir];
        }
        if constexpr (drop_flags<P>() != 0) keep = csr_get() & drop_flags<P>();
        for (int k = 0; k < NR; ++k) z[k] = W::load_aligned(reinterpret_cast<const R*>(res) + k * L);
      }
    }
    if constexpr (Whole) {
      R* pr = reinterpret_cast<R*>(acc.r + i);
      for (int k = 0; k < NR; ++k) W::store(pr + k * L, z[k]);
    } else {
      for (int k = 0; k < NR; ++k) W::store_aligned(reinterpret_cast<R*>(res) + k * L, z[k]);
      for (int e = 0; e < g; ++e) acc.r[(i + e) * acc.ir] = res[e];
    }
  }

  static void run(int n, const Io& io, bool unit) {
    FpGuard env;
    if (n <= 0) return;
    long i = 0;
    const long whole = n & ~(kElems - 1);
    const Io acc = io;
    uint32_t keep = drop_flags<P>() != 0 ? csr_get() & drop_flags<P>() : 0;
    if (unit)
      for (; i < whole; i += kElems) {
        // The inputs a kilobyte ahead: a block of heavy arithmetic holds so
        // few loads in flight that the streams would otherwise stall on
        // memory at large counts. A prefetch past the end is harmless.
        if constexpr (prefetch<P>()) {
          _mm_prefetch(reinterpret_cast<const char*>(acc.a + i) + kPrefetch, _MM_HINT_T0);
          if constexpr (NI == 2 && !scalar_b<P>())
            _mm_prefetch(reinterpret_cast<const char*>(acc.b + i) + kPrefetch, _MM_HINT_T0);
        }
        block<true>(acc, io, i, kElems, keep);
      }
    else
      for (; i < whole; i += kElems) block<false>(acc, io, i, kElems, keep);
    if (i < n) block<false>(acc, io, i, static_cast<int>(n - i), keep);
  }
};

// Kernels of one row and level, plain and strided, for unary (Conj, Abs) and
// binary rows; F is the plain row's kernel type.
template <class P, int Row, int Slot, class F>
struct CKernel {
  using L = CLoop<P>;
  using C = typename L::C;
  using In = typename L::In;
  using Out = typename L::Out;
  static void plain(int n, const In* a, Out* r) { L::run(n, {a, 1, nullptr, 0, r, 1, P::kName}, true); }
  static void strided(int n, const In* a, int ia, Out* r, int ir) {
    if (ia == 1 && ir == 1) return slot<F>(Row, Slot)(n, a, r);
    L::run(n, {a, ia, nullptr, 0, r, ir, P::kName}, false);
  }
  static void plain(int n, const C* a, const C* b, Out* r) { L::run(n, {a, 1, b, 1, r, 1, P::kName}, true); }
  static void strided(int n, const C* a, int ia, const C* b, int ib, Out* r, int ir) {
    if (ia == 1 && ib == 1 && ir == 1) return slot<F>(Row, Slot)(n, a, b, r);
    L::run(n, {a, ia, b, ib, r, ir, P::kName}, false);
  }
  // One b for the whole call: four copies make a block's operand, stride 0.
  static void plain(int n, const C* a, C b, Out* r) {
    alignas(16) const C bb[kElems] = {b, b, b, b};
    L::run(n, {a, 1, bb, 0, r, 1, P::kName}, true);
  }
  static void strided(int n, const C* a, int ia, C b, Out* r, int ir) {
    if (ia == 1 && ir == 1) return slot<F>(Row, Slot)(n, a, b, r);
    alignas(16) const C bb[kElems] = {b, b, b, b};
    L::run(n, {a, ia, bb, 0, r, ir, P::kName}, false);
  }
};

}  // namespace zev::vk::cx

// ZEV_CKERNELS(ROW, lvl, Policy): the complex twin of ZEV_KERNELS.
#define ZEV_CKERNELS(ROW, lvl, ...)                                                                        \
  static_assert((zev::row::kKernelLevels[zev::row::ROW] & zev::vk::kLevel_##lvl) != 0,                      \
                #ROW "'s sharing in frame/rows.txt has no kernel serving " #lvl);                          \
  extern "C" void zev_k_##ROW##_##lvl(ZEV_PARAMS_##ROW) {                                                  \
    zev::vk::cx::CKernel<__VA_ARGS__, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>::plain(           \
        ZEV_ARGS_##ROW);                                                                                   \
  }                                                                                                        \
  extern "C" void zev_k_##ROW##I_##lvl(ZEV_PARAMS_##ROW##I) {                                              \
    zev::vk::cx::CKernel<__VA_ARGS__, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>::strided(         \
        ZEV_ARGS_##ROW##I);                                                                                \
  }
