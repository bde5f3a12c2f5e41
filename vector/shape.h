// The shape every real vector kernel shares, written once.
//
// A family supplies a small policy; the shape owns the floating-point
// environment guard, the block loop, the tails, the special-lane mask test,
// the callout loop with its stack buffers, and the strided form with its
// unit-stride hand-over to the plain row. One macro, ZEV_KERNELS, makes a
// row's plain and strided kernel of one level from a policy.
//
// Policy members (defaults in brackets):
//   using T = float | double;
//   kIn, kOut [from eval]       inputs and results: 1 or 2 each
//   kBlock, kBlockI             elements per block of the plain and strided form
//   kNegativeCount [Empty]      how the plain form reads a negative n: Empty
//                               (nothing written, nothing reported) or Unsigned
//                               (a huge count, run off the caller's arrays), the
//                               reading of the rounding and polynomial rows only
//                               (unsigned_count_row(); ZEV_KERNELS checks it).
//                               Strided forms always read it as empty.
//   kCallout [true]             has special lanes and a scalar function
//   Evaluation, one of:
//     per vector:  V eval(V x, V& special)            one input, one result
//                  V eval(V a, V b, V& special)       two inputs
//                  V eval(V x, V& r2, V& special)     two results (returns r1)
//     per block (kPerBlock = true):
//                  template <int NV> unsigned eval(const V (&x)[NV], V (&y)[NV])
//                  returns the special-lane mask, one bit a lane in element order
//   kUnrolled [false]           per vector, one input and one result: the
//                               vectors of a block unrolled, so that long
//                               chains of neighbouring vectors overlap
//   kNoErrShortcut [false]      with the mode's error field at ERRMODE_NOERR, a
//                               block with special lanes first goes through
//                  template <int NV> unsigned noerr(unsigned mask, const V (&x)[NV], V (&y)[NV])
//                               which settles what it can and returns the rest
//   int scalar(const T* a, [const T* b,] T* r [, T* r2]) const   the lane's function
//   kName, kNameI [kName]       report names of the plain and strided form
//   kFiller [0.75]              value of the lanes a tail group leaves empty
//   kEveryLane [false]          every lane goes through the scalar function
//                               (a policy may instead answer every_lane() per call)
//   kDiscipline [Unpeeled]      Peeled: the aligned block loop of the one-operation
//                               kernels, with scalar peel and tail (needs T lane(T[, T]))
//   kTail [Group]               tail of the plain unpeeled form: Group (masked
//                               groups of one vector with the filler) or
//                               RepeatFirst (one block on the stack, empty places
//                               repeating the first remaining element)
//   using Guard [FpGuard]       the prologue and epilogue of both forms
//   kShortPrologue [false]      the plain form masks exceptions only
//   using Strided [the policy]  another policy for the strided form
//   kGatherStrided [false]      strided form: where no stride is 1, blocks load
//                               and store element by element with no stride test
//                               (a second copy of the block loop; worth it for
//                               short block arithmetic)
//   kChunkFlags [false]         plain form: chunks run untested through
//                               V op(V[, V]) while they raise no flag (see chunked())
// eval and scalar may be static. A policy may carry scalar parameters (the
// exponent of Powx, say): it is then built from them by the kernel.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

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

// MXCSR fields.
inline constexpr uint32_t kCsrFlags = 0x3F;          // the six sticky flags
inline constexpr uint32_t kCsrMasks = 0x1F80;        // the six exception masks
inline constexpr uint32_t kCsrControl = 0xFFC0;      // masks, rounding, DAZ, FTZ
inline constexpr uint32_t kCsrDaz = 0x40, kCsrFtz = 0x8000;
inline constexpr uint32_t kCsrNear = kCsrMasks;                        // nearest, no flush
inline constexpr uint32_t kCsrNearFlush = kCsrMasks | kCsrDaz | kCsrFtz;  // 0x9FC0
// x87 control word: the six exception masks.
inline constexpr uint16_t kX87Masks = 0x3F;
// The mode word's fields, by their public names.
inline constexpr uint32_t kModeFtzDazField = VQM_FTZDAZ_ON | VQM_FTZDAZ_OFF;
inline constexpr uint32_t kModeErrField = 0xFF00;

// Prologue in the constructor, epilogue in the destructor. Sticky flags raised
// inside pass back to the caller; masks, rounding, FTZ and DAZ come back.
class FpGuard {
 public:
  struct Short {};

  // The full prologue: x87 masks, then MXCSR by the mode's denormal field.
  FpGuard() {
    x87_step();
    mode_ = current_mode();
    const uint32_t target = (mode_ & kModeFtzDazField) == VQM_FTZDAZ_ON ? kCsrNearFlush : kCsrNear;
    csr_ = csr_get();
    if ((csr_ & kCsrControl) != target) {
      csr_set((csr_ & ~kCsrControl) | target);
      csr_changed_ = true;
    }
  }

  // The short prologue of plain Abs: reads no mode, only masks exceptions.
  explicit FpGuard(Short) {
    x87_step();
    csr_ = csr_get();
    if ((csr_ & kCsrMasks) != kCsrMasks) {
      csr_set(csr_ | kCsrMasks);
      csr_changed_ = true;
    }
  }

  ~FpGuard() {
    if (x87_changed_) x87_load_control(x87_);
    if (csr_changed_) csr_set(csr_ | (csr_get() & kCsrFlags));
  }

  FpGuard(const FpGuard&) = delete;
  FpGuard& operator=(const FpGuard&) = delete;

  uint32_t mode() const { return mode_; }

 private:
  void x87_step() {
    const uint16_t cw = x87_control();
    if ((cw & kX87Masks) != kX87Masks) {
      x87_ = cw;
      x87_clear_exceptions();
      x87_load_control(static_cast<uint16_t>(cw | kX87Masks));
      x87_changed_ = true;
    }
  }

  uint32_t mode_ = 0;
  uint32_t csr_ = 0;
  uint16_t x87_ = 0;
  bool x87_changed_ = false;
  bool csr_changed_ = false;
};

struct ShortGuard : FpGuard {
  ShortGuard() : FpGuard(FpGuard::Short{}) {}
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
  static V ones() { return _mm_castsi128_ps(_mm_set1_epi32(-1)); }
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
  static V ones() { return _mm_castsi128_pd(_mm_set1_epi32(-1)); }
};

// ---- policy traits ------------------------------------------------------------

// The value of the lanes a tail group leaves empty: a harmless input of every
// function, so that padded lanes never test as special. In any case padded
// lanes are cut from the special mask before the callout.
inline constexpr double kFiller = 0.75;

enum class Discipline { Unpeeled, Peeled };
enum class NegativeCount { Empty, Unsigned };
enum class Tail { Group, RepeatFirst };

// Inputs and results follow from the per-vector eval: two vector values are
// two inputs, a vector value and a vector reference two results.
template <class P> constexpr int ins() {
  using V = typename Vec<typename P::T>::V;
  if constexpr (requires { P::kIn; }) return P::kIn;
  else if constexpr (requires(const P& p, V& v) { p.eval(V{}, V{}, v); }) return 2;
  else return 1;
}
template <class P> constexpr int outs() {
  using V = typename Vec<typename P::T>::V;
  if constexpr (requires { P::kOut; }) return P::kOut;
  else if constexpr (ins<P>() == 1 && requires(const P& p, V& v, V& w) { p.eval(V{}, v, w); }) return 2;
  else return 1;
}
template <class P> constexpr bool per_block() {
  if constexpr (requires { P::kPerBlock; }) return P::kPerBlock; else return false;
}
template <class P> constexpr bool unrolled() {
  if constexpr (requires { P::kUnrolled; }) return P::kUnrolled; else return false;
}
template <class P> constexpr bool has_callout() {
  if constexpr (requires { P::kCallout; }) return P::kCallout; else return true;
}
template <class P> constexpr NegativeCount negative_count() {
  if constexpr (requires { P::kNegativeCount; }) return P::kNegativeCount; else return NegativeCount::Empty;
}
template <class P> constexpr bool noerr_shortcut() {
  if constexpr (requires { P::kNoErrShortcut; }) return P::kNoErrShortcut; else return false;
}
template <class P> constexpr bool short_prologue() {
  if constexpr (requires { P::kShortPrologue; }) return P::kShortPrologue; else return false;
}
template <class P> constexpr bool chunk_flags() {
  if constexpr (requires { P::kChunkFlags; }) return P::kChunkFlags; else return false;
}
template <class P> constexpr Discipline discipline() {
  if constexpr (requires { P::kDiscipline; }) return P::kDiscipline; else return Discipline::Unpeeled;
}
template <class P> constexpr Tail tail() {
  if constexpr (requires { P::kTail; }) return P::kTail; else return Tail::Group;
}
template <class P> constexpr typename P::T filler() {
  if constexpr (requires { P::kFiller; }) return P::kFiller; else return static_cast<typename P::T>(kFiller);
}
template <class P> inline bool every_lane(const P& pol) {
  if constexpr (requires { pol.every_lane(); }) return pol.every_lane();
  else if constexpr (requires { P::kEveryLane; }) return P::kEveryLane;
  else return false;
}
template <class P> constexpr bool gather_strided() {
  if constexpr (requires { P::kGatherStrided; }) return P::kGatherStrided; else return false;
}
template <class P> constexpr const char* name_plain() {
  if constexpr (requires { P::kName; }) return P::kName; else return nullptr;
}
template <class P> constexpr const char* name_strided() {
  if constexpr (requires { P::kNameI; }) return P::kNameI; else return name_plain<P>();
}
template <class P, bool Strided> struct GuardOf {
  using type = FpGuard;
};
template <class P, bool Strided> requires requires { typename P::Guard; }
struct GuardOf<P, Strided> {
  using type = typename P::Guard;
};
template <class P> requires(short_prologue<P>() && !requires { typename P::Guard; })
struct GuardOf<P, false> {
  using type = ShortGuard;
};
template <class P> struct StridedOf {
  using type = P;
};
template <class P> requires requires { typename P::Strided; }
struct StridedOf<P> {
  using type = typename P::Strided;
};

// The members every policy states: the element type, its vector type and the
// blocks of both forms. The other members keep their defaults unless a policy
// names them.
template <class T_, int Block, int BlockI = Block>
struct Blocks {
  using T = T_;
  using V = typename Vec<T_>::V;
  static constexpr int kBlock = Block;
  static constexpr int kBlockI = BlockI;
};

// NOERR in the mode's error field, as the guard read it.
template <class G> inline bool mode_noerr(const G& env) {
  if constexpr (requires { env.mode(); }) return (env.mode() & kModeErrField) == VQM_ERRMODE_NOERR;
  else return false;
}

// Slots a strided kernel hands a unit-stride call to, by the levels the kernel
// serves: a kernel serving HA uses slot 1, any other the first slot it serves.
inline constexpr int kSlot_la = 0, kSlot_ha = 1, kSlot_ep = 2;
inline constexpr int kSlot_laha = 1, kSlot_laep = 0, kSlot_lahaep = 1;

// ---- arrays --------------------------------------------------------------------

// Element access of one array: element i at p[i * stride] (stride 1 in the
// plain form).
template <class T>
struct Strided {
  T* p;
  int stride;
  T& operator[](long i) const { return p[i * stride]; }
  T* base() const { return p; }
  int inc() const { return stride; }
};

// The arrays of one call: kIn inputs and kOut results.
template <class T, int NI, int NO>
struct Arrays {
  Strided<const T> in[NI];
  Strided<T> out[NO];
  const char* name;
};

// Loads a group of `count` lanes (count < lanes allowed) from element i on,
// filling the rest with the filler. No memory past the group is touched.
template <class T>
inline typename Vec<T>::V load_group(const Strided<const T>& a, long i, int count, T fill) {
  alignas(16) T buf[Vec<T>::kLanes];
  for (int k = 0; k < Vec<T>::kLanes; ++k) buf[k] = k < count ? a[i + k] : fill;
  return Vec<T>::load_aligned(buf);
}

template <class T>
inline void store_group(const Strided<T>& r, long i, int count, typename Vec<T>::V v) {
  alignas(16) T buf[Vec<T>::kLanes];
  Vec<T>::store_aligned(buf, v);
  for (int k = 0; k < count; ++k) r[i + k] = buf[k];
}

// A whole vector of a strided array starting at element i: one unaligned load
// for stride 1, a broadcast of element 0 for stride 0, else element by element.
template <class T>
__attribute__((always_inline)) inline typename Vec<T>::V load_strided(const Strided<const T>& a, long i) {
  if (a.stride == 1) return Vec<T>::load(a.p + i);
  if (a.stride == 0) return Vec<T>::set1(a.p[0]);
  alignas(16) T buf[Vec<T>::kLanes];
  for (int k = 0; k < Vec<T>::kLanes; ++k) buf[k] = a[i + k];
  return Vec<T>::load_aligned(buf);
}

template <class T>
__attribute__((always_inline)) inline void store_strided(const Strided<T>& r, long i, typename Vec<T>::V v) {
  if (r.stride == 1) {
    Vec<T>::store(r.p + i, v);
    return;
  }
  alignas(16) T buf[Vec<T>::kLanes];
  Vec<T>::store_aligned(buf, v);
  for (int k = 0; k < Vec<T>::kLanes; ++k) r[i + k] = buf[k];
}

// How the vectors of a block move: unaligned whole vectors (plain blocks), by
// stride (strided blocks), or a group of g lanes with the filler.
struct MovePlain {
  template <class T> typename Vec<T>::V load(const Strided<const T>& a, long i) const { return Vec<T>::load(a.p + i); }
  template <class T> void store(const Strided<T>& r, long i, typename Vec<T>::V v) const { Vec<T>::store(r.p + i, v); }
};
struct MoveStrided {
  template <class T> typename Vec<T>::V load(const Strided<const T>& a, long i) const { return load_strided<T>(a, i); }
  template <class T> void store(const Strided<T>& r, long i, typename Vec<T>::V v) const { store_strided<T>(r, i, v); }
};
// Element by element, for strided calls where no stride is 1 (kGatherStrided):
// no test of a stride in the block, so the pointers and strides of a short
// block stay in registers.
struct MoveGather {
  template <class T> typename Vec<T>::V load(const Strided<const T>& a, long i) const {
    alignas(16) T buf[Vec<T>::kLanes];
    for (int k = 0; k < Vec<T>::kLanes; ++k) buf[k] = a[i + k];
    return Vec<T>::load_aligned(buf);
  }
  template <class T> void store(const Strided<T>& r, long i, typename Vec<T>::V v) const {
    alignas(16) T buf[Vec<T>::kLanes];
    Vec<T>::store_aligned(buf, v);
    for (int k = 0; k < Vec<T>::kLanes; ++k) r[i + k] = buf[k];
  }
};
template <class TT>
struct MoveGroup {
  int g;
  TT fill;
  template <class T> typename Vec<T>::V load(const Strided<const T>& a, long i) const {
    return load_group<T>(a, i, g, fill);
  }
  template <class T> void store(const Strided<T>& r, long i, typename Vec<T>::V v) const {
    store_group<T>(r, i, g, v);
  }
};

// ---- the callout ------------------------------------------------------------

// Typed reporter calls: unit strides go to the plain reporters.
template <class T>
inline void report(int st, int i, const T* a1, int ia1, const T* a2, int ia2, T* r1, int ir1, T* r2, int ir2,
                   const char* n) {
  if (ia1 == 1 && ia2 == 1 && ir1 == 1 && ir2 == 1)
    zev::report(st, i, a1, a2, r1, r2, n);
  else
    zev::report(st, i, a1, ia1, a2, ia2, r1, ir1, r2, ir2, n);
}

// Runs the scalar function on every flagged lane of a block starting at
// element `base`, in ascending order. `in` and `res` are the block's input
// lanes and computed results on the stack; lanes that are not flagged keep
// their vector result. A lane with a status is written out, reported (the
// reporter sees and may change the array's element) and read back.
template <class P, int NI, int NO, int N>
void callout(const P& pol, unsigned mask, long base, typename P::T (&in)[NI][N], typename P::T (&res)[NO][N],
             const Arrays<typename P::T, NI, NO>& io) {
  const auto& a1 = io.in[0];
  const auto& a2 = io.in[NI - 1];
  const auto& r1 = io.out[0];
  const auto& r2 = io.out[NO - 1];
  while (mask != 0) {
    const int j = __builtin_ctz(mask);
    mask &= mask - 1;
    int st;
    if constexpr (NI == 2)
      st = pol.scalar(&in[0][j], &in[1][j], &res[0][j]);
    else if constexpr (NO == 2)
      st = pol.scalar(&in[0][j], &res[0][j], &res[1][j]);
    else
      st = pol.scalar(&in[0][j], &res[0][j]);
    if (st == 0) continue;
    for (int o = NO - 1; o >= 0; --o) io.out[o][base + j] = res[o][j];
    report(st, static_cast<int>(base + j), a1.base(), a1.inc(), a2.base(), a2.inc(), r1.base(), r1.inc(),
           r2.base(), r2.inc(), io.name);
    for (int o = 0; o < NO; ++o) res[o][j] = io.out[o][base + j];
  }
}

// ---- one block ----------------------------------------------------------------

// Computes NV vectors from element i: loads, the block arithmetic, the mask
// test, the callout of the flagged lanes under `valid`, stores. The loads and
// stores go through `acc`, a copy the caller keeps in registers across its
// loop; `io`, whose address the callout takes, serves the callout only.
template <class P, int NV, class Move>
__attribute__((always_inline)) inline void block(const P& pol, const Move& mv,
                                                 const Arrays<typename P::T, ins<P>(), outs<P>()> acc,
                                                 const Arrays<typename P::T, ins<P>(), outs<P>()>& io, long i,
                                                 bool noerr, unsigned valid = ~0u) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes, NI = ins<P>(), NO = outs<P>();
  V x[NI][NV], y[NO][NV];
  unsigned mask = 0;
  for (int k = 0; k < NV; ++k)
    for (int s = 0; s < NI; ++s) x[s][k] = mv.template load<T>(acc.in[s], i + k * L);
  bool all = false;
  if constexpr (has_callout<P>()) all = every_lane(pol);
  if (all) {
    for (int k = 0; k < NV; ++k) y[0][k] = x[0][k];
    if constexpr (NO == 2)
      for (int k = 0; k < NV; ++k) y[1][k] = x[0][k];
    mask = NV * L >= 32 ? ~0u : (1u << (NV * L)) - 1;
  } else if constexpr (per_block<P>()) {
    mask = pol.template eval<NV>(x[0], y[0]);
  } else if constexpr (unrolled<P>() && NI == 1 && NO == 1) {
#pragma GCC unroll 8
    for (int k = 0; k < NV; ++k) {
      V special = W::zero();
      y[0][k] = pol.eval(x[0][k], special);
      if constexpr (has_callout<P>()) mask |= static_cast<unsigned>(W::mask(special)) << (k * L);
    }
  } else {
    for (int k = 0; k < NV; ++k) {
      V special = W::zero();
      if constexpr (NI == 2)
        y[0][k] = pol.eval(x[0][k], x[1][k], special);
      else if constexpr (NO == 2)
        y[0][k] = pol.eval(x[0][k], y[1][k], special);
      else
        y[0][k] = pol.eval(x[0][k], special);
      if constexpr (has_callout<P>()) mask |= static_cast<unsigned>(W::mask(special)) << (k * L);
    }
  }
  if constexpr (has_callout<P>()) {
    mask &= valid;  // padded lanes of a tail group never reach the callout
    if (__builtin_expect(mask != 0, 0)) {
      if constexpr (noerr_shortcut<P>()) {
        if (noerr) mask = pol.template noerr<NV>(mask, x[0], y[0]);
      }
      if (mask != 0) {
        alignas(16) T in[NI][NV * L];
        alignas(16) T res[NO][NV * L];
        for (int k = 0; k < NV; ++k) {
          for (int s = 0; s < NI; ++s) W::store_aligned(in[s] + k * L, x[s][k]);
          for (int o = 0; o < NO; ++o) W::store_aligned(res[o] + k * L, y[o][k]);
        }
        callout<P>(pol, mask, i, in, res, io);
        for (int k = 0; k < NV; ++k)
          for (int o = 0; o < NO; ++o) y[o][k] = W::load_aligned(res[o] + k * L);
      }
    }
  }
  (void)noerr;
  for (int k = 0; k < NV; ++k)
    for (int o = 0; o < NO; ++o) mv.template store<T>(acc.out[o], i + k * L, y[o][k]);
}

// The group tail: groups of one vector from element i to `end`, the filler in
// the empty lanes, padded lanes out of the mask.
template <class P, class Count>
inline void group_tail(const P& pol, const Arrays<typename P::T, ins<P>(), outs<P>()>& io, long i, Count end,
                       bool noerr) {
  constexpr int L = Vec<typename P::T>::kLanes;
  for (; i < static_cast<long>(end); i += L) {
    const int g = end - i < static_cast<Count>(L) ? static_cast<int>(end - i) : L;
    block<P, 1>(pol, MoveGroup<typename P::T>{g, filler<P>()}, io, io, i, noerr, (1u << g) - 1);
  }
}

// ---- chunked sticky flags ---------------------------------------------------

// A policy of one IEEE operation gives a lane's status from the flags the
// operation raises itself: a status needs invalid, division by zero, overflow
// or underflow. With kChunkFlags its plain form runs chunks of kChunkBytes of
// results untested through `op(x[, b])`, and only a chunk that raised one of
// those four flags runs again through the tested blocks, which report its
// lanes in order. The caller's four flags are set aside on entry and come
// back, with every raised one, before the tail.
inline constexpr uint32_t kCsrInvalid = 0x01, kCsrDivZero = 0x04, kCsrOverflow = 0x08, kCsrUnderflow = 0x10;
inline constexpr uint32_t kChunkWatched = kCsrInvalid | kCsrDivZero | kCsrOverflow | kCsrUnderflow;
inline constexpr long kChunkBytes = 4096;  // 1024 singles, 512 doubles

// Whether n elements at r and at a share a byte.
template <class T>
inline bool overlap(const T* r, const T* a, long n) {
  const auto r0 = reinterpret_cast<uintptr_t>(r), a0 = reinterpret_cast<uintptr_t>(a);
  const uintptr_t bytes = static_cast<uintptr_t>(n) * sizeof(T);
  return r0 < a0 + bytes && a0 < r0 + bytes;
}

// ---- the plain and strided forms ------------------------------------------------

// Whole blocks of the unpeeled plain form, then its tail.
template <class P>
inline void unpeeled(const P& pol, const Arrays<typename P::T, ins<P>(), outs<P>()>& io, unsigned long count,
                     bool noerr) {
  using T = typename P::T;
  constexpr int L = Vec<T>::kLanes, B = P::kBlock;
  static_assert(B % L == 0);
  const unsigned long whole = count & ~static_cast<unsigned long>(B - 1);
  long i = 0;
  const auto acc = io;
  for (; i < static_cast<long>(whole); i += B) block<P, B / L>(pol, MovePlain{}, acc, io, i, noerr);
  if constexpr (tail<P>() == Tail::RepeatFirst) {
    if (i < static_cast<long>(count)) {
      // The remaining elements go through one block on the stack, its empty
      // places repeating the first remaining element.
      alignas(16) T buf[B];
      const long rem = static_cast<long>(count) - i;
      for (int k = 0; k < B; ++k) buf[k] = io.in[0][i + (k < rem ? k : 0)];
      const Arrays<T, 1, 1> tmp{{{buf, 1}}, {{buf, 1}}, io.name};
      block<P, B / L>(pol, MovePlain{}, tmp, tmp, 0, noerr);
      for (long k = 0; k < rem; ++k) io.out[0][i + k] = buf[k];
    }
  } else {
    group_tail<P>(pol, io, i, count, noerr);
  }
}

template <class T>
inline bool aligned16(const T* p) {
  return (reinterpret_cast<uintptr_t>(p) & 15) == 0;
}

// The peeled block loop over [i, end): the aligned stream by aligned access,
// each other stream aligned or not as the template says.
template <class P, bool AlignA, bool AlignB, bool AlignR>
inline void peeled_loop(const P& pol, long i, long end, const typename P::T* a, const typename P::T* b,
                        typename P::T* r) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes, N = P::kBlock / L, NI = ins<P>();
  for (; i < end; i += P::kBlock) {
    V x[N], z[N];
    V special;
    for (int k = 0; k < N; ++k) x[k] = AlignA ? W::load_aligned(a + i + k * L) : W::load(a + i + k * L);
    if constexpr (NI == 2)
      for (int k = 0; k < N; ++k) z[k] = AlignB ? W::load_aligned(b + i + k * L) : W::load(b + i + k * L);
    for (int k = 0; k < N; ++k) {
      V y;
      if constexpr (NI == 2)
        y = pol.eval(x[k], z[k], special);
      else
        y = pol.eval(x[k], special);
      if (AlignR)
        W::store_aligned(r + i + k * L, y);
      else
        W::store(r + i + k * L, y);
    }
  }
}

// The peeled plain form of the one-operation kernels. The stream to align is
// the result for two inputs and the input for one; a peel of up to one vector
// of scalar operations aligns it, the block loop picks aligned access for the
// other streams that allow it, and a scalar loop does the rest (with whole
// aligned vectors first, for two inputs).
template <class P>
void peeled(int n, const typename P::T* a, const typename P::T* b, typename P::T* r, const P& pol) {
  using T = typename P::T;
  using W = Vec<T>;
  constexpr int B = P::kBlock, NI = ins<P>();
  auto op = [&](long k) {
    if constexpr (NI == 2)
      r[k] = pol.lane(a[k], b[k]);
    else
      r[k] = pol.lane(a[k]);
  };
  long i = 0;
  if (n >= B) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(NI == 2 ? static_cast<const T*>(r) : a) & 15;
    if (p % sizeof(T) == 0) {
      const long peel = p ? static_cast<long>((16 - p) / sizeof(T)) : 0;
      if (n >= peel + B) {
        const long vend = n - ((n - peel) % B);
        for (; i < peel; ++i) op(i);
        if constexpr (NI == 2) {
          const bool aa = aligned16(a + peel), ab = aligned16(b + peel);
          if (aa && ab)
            peeled_loop<P, true, true, true>(pol, i, vend, a, b, r);
          else if (aa)
            peeled_loop<P, true, false, true>(pol, i, vend, a, b, r);
          else if (ab)
            peeled_loop<P, false, true, true>(pol, i, vend, a, b, r);
          else
            peeled_loop<P, false, false, true>(pol, i, vend, a, b, r);
          i = vend;
          // Whole vectors while they fit (r stays aligned): each lane is the
          // same one operation.
          typename W::V special;
          for (; i + W::kLanes <= n; i += W::kLanes)
            W::store_aligned(r + i, pol.eval(W::load(a + i), W::load(b + i), special));
        } else {
          if (aligned16(r + peel))
            peeled_loop<P, true, false, true>(pol, i, vend, a, b, r);
          else
            peeled_loop<P, true, false, false>(pol, i, vend, a, b, r);
          i = vend;
        }
      }
    }
  }
  for (; i < n; ++i) op(i);
}

// The chunked plain form (kChunkFlags): whole vectors by chunks, untested while
// they raise none of the watched flags, then the group tail. The untested
// results of a chunk must not overwrite its inputs before its flags are read:
// a result array that is one of two inputs takes them through a buffer on the
// stack; any other overlap runs the tested blocks throughout (unpeeled()).
template <class P>
void chunked(const P& pol, const Arrays<typename P::T, ins<P>(), outs<P>()>& io, long n) {
  using T = typename P::T;
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes, B = P::kBlock, NI = ins<P>();
  constexpr long C = kChunkBytes / static_cast<long>(sizeof(T));
  static_assert(C % B == 0);
  const long whole = n & ~static_cast<long>(L - 1);
  // Where the result array is one of the inputs, a chunk's untested results
  // wait on the stack until its flags are read, so that a rerun still finds
  // the inputs; they are copied out after a clean chunk.
  const bool buffered = (NI == 1 ? false : (io.out[0].p == io.in[0].p || io.out[0].p == io.in[1].p));
  alignas(16) T buf[NI == 2 ? C : 1];
  const uint32_t before = csr_get();
  uint32_t kept = before & kChunkWatched;
  if (kept != 0) csr_set(before & ~kChunkWatched);
  auto fast = [&](long i, auto nv, long c) {
    constexpr int NV = decltype(nv)::value;
    V x[NV], z[NV];
    for (int k = 0; k < NV; ++k) {
      x[k] = W::load(io.in[0].p + i + k * L);
      if constexpr (NI == 2) z[k] = W::load(io.in[NI - 1].p + i + k * L);
    }
    for (int k = 0; k < NV; ++k) {
      T* dst = io.out[0].p + i + k * L;
      if constexpr (NI == 2) {
        if (buffered) dst = buf + (i - c) + k * L;
        W::store(dst, pol.op(x[k], z[k]));
      } else {
        W::store(dst, pol.op(x[k]));
      }
    }
  };
  for (long c = 0; c < whole; c += C) {
    const long end = whole - c < C ? whole : c + C;
    long i = c;
    for (; i + B <= end; i += B) fast(i, std::integral_constant<int, B / L>{}, c);
    for (; i < end; i += L) fast(i, std::integral_constant<int, 1>{}, c);
    const uint32_t now = csr_get();
    if (__builtin_expect((now & kChunkWatched) == 0, 1)) {
      if (buffered)
        for (long k = c; k < end; k += L) W::store(io.out[0].p + k, W::load_aligned(buf + (k - c)));
      continue;
    }
    kept |= now & kChunkWatched;
    csr_set(now & ~kChunkWatched);
    for (i = c; i + B <= end; i += B) block<P, B / L>(pol, MovePlain{}, io, io, i, false);
    for (; i < end; i += L) block<P, 1>(pol, MovePlain{}, io, io, i, false);
    const uint32_t again = csr_get();
    if ((again & kChunkWatched) != 0) {
      kept |= again & kChunkWatched;
      csr_set(again & ~kChunkWatched);
    }
  }
  if (kept != 0) csr_set(csr_get() | kept);
  group_tail<P>(pol, io, whole, n, false);
}

// The kernel pair of one row and level from policy P. Row and Slot name the
// plain row and the slot the strided form hands a unit-stride call to; F is
// the plain row's kernel type.
template <class P, int Row, int Slot, class F>
struct Kernel {
  using T = typename P::T;
  static constexpr int NI = ins<P>(), NO = outs<P>();
  using Arr = Arrays<T, NI, NO>;

  // The plain form on arrays of unit stride.
  __attribute__((always_inline)) static void run_plain(int n, const Arr& io, const T* a, const T* b, T* r,
                                                       const P& pol) {
    typename GuardOf<P, false>::type env;
    if constexpr (negative_count<P>() == NegativeCount::Empty) {
      if (n <= 0) return;
    }
    if constexpr (discipline<P>() == Discipline::Peeled) {
      peeled<P>(n, a, b, r, pol);
    } else if constexpr (chunk_flags<P>()) {
      const bool apart = NI == 1 ? !overlap(r, a, n)
                                 : (r == a || !overlap(r, a, n)) && (r == b || !overlap(r, b, n));
      if (apart)
        chunked<P>(pol, io, n);
      else
        unpeeled<P>(pol, io, static_cast<uint32_t>(n), false);
    } else {
      unpeeled<P>(pol, io, static_cast<uint32_t>(n), mode_noerr(env));
    }
  }

  // The strided form, past the hand-over: whole blocks by stride, then the
  // group tail; the count tested as signed.
  template <class Q>
  __attribute__((always_inline)) static void run_strided(int n, const Arrays<T, NI, NO>& io, const Q& pol) {
    typename GuardOf<Q, true>::type env;
    if (n <= 0) return;
    const bool noerr = mode_noerr(env);
    constexpr int L = Vec<T>::kLanes, B = Q::kBlockI;
    const long whole = n & ~(B - 1);
    long i = 0;
    const auto acc = io;
    bool unit = true;
    if constexpr (gather_strided<Q>()) {
      unit = false;
      for (const auto& s : io.in) unit |= s.stride == 1;
      for (const auto& s : io.out) unit |= s.stride == 1;
      if (!unit)
        for (; i < whole; i += B) block<Q, B / L>(pol, MoveGather{}, acc, io, i, noerr);
    }
    if (unit)
      for (; i < whole; i += B) block<Q, B / L>(pol, MoveStrided{}, acc, io, i, noerr);
    group_tail<Q>(pol, io, i, static_cast<long>(n), noerr);
  }

  // ---- one input, one result (and Powx: one input and a scalar) ----
  static void plain(int n, const T* a, T* r) requires(NI == 1 && NO == 1) {
    const Arr io{{{a, 1}}, {{r, 1}}, name_plain<P>()};
    run_plain(n, io, a, nullptr, r, P{});
  }
  static void strided(int n, const T* a, int inca, T* r, int incr) requires(NI == 1 && NO == 1) {
    if (inca == 1 && incr == 1) return slot<F>(Row, Slot)(n, a, r);
    using Q = typename StridedOf<P>::type;
    const Arr io{{{a, inca}}, {{r, incr}}, name_strided<Q>()};
    run_strided<Q>(n, io, Q{});
  }
  static void plain(int n, const T* a, T b, T* r) requires(NI == 1 && NO == 1) {
    const Arr io{{{a, 1}}, {{r, 1}}, name_plain<P>()};
    run_plain(n, io, a, nullptr, r, P{b});
  }
  static void strided(int n, const T* a, int inca, T b, T* r, int incr) requires(NI == 1 && NO == 1) {
    if (inca == 1 && incr == 1) return slot<F>(Row, Slot)(n, a, b, r);
    using Q = typename StridedOf<P>::type;
    const Arr io{{{a, inca}}, {{r, incr}}, name_strided<Q>()};
    run_strided<Q>(n, io, Q{b});
  }

  // ---- two inputs (and LinearFrac: two inputs and four scalars) ----
  static void plain(int n, const T* a, const T* b, T* r) requires(NI == 2) {
    const Arr io{{{a, 1}, {b, 1}}, {{r, 1}}, name_plain<P>()};
    run_plain(n, io, a, b, r, P{});
  }
  static void strided(int n, const T* a, int inca, const T* b, int incb, T* r, int incr) requires(NI == 2) {
    if (inca == 1 && incb == 1 && incr == 1) return slot<F>(Row, Slot)(n, a, b, r);
    using Q = typename StridedOf<P>::type;
    const Arr io{{{a, inca}, {b, incb}}, {{r, incr}}, name_strided<Q>()};
    run_strided<Q>(n, io, Q{});
  }
  static void plain(int n, const T* a, const T* b, T s1, T s2, T s3, T s4, T* r) requires(NI == 2) {
    const Arr io{{{a, 1}, {b, 1}}, {{r, 1}}, name_plain<P>()};
    run_plain(n, io, a, b, r, P{s1, s2, s3, s4});
  }
  static void strided(int n, const T* a, int inca, const T* b, int incb, T s1, T s2, T s3, T s4, T* r, int incr)
    requires(NI == 2)
  {
    if (inca == 1 && incb == 1 && incr == 1) return slot<F>(Row, Slot)(n, a, b, s1, s2, s3, s4, r);
    using Q = typename StridedOf<P>::type;
    const Arr io{{{a, inca}, {b, incb}}, {{r, incr}}, name_strided<Q>()};
    run_strided<Q>(n, io, Q{s1, s2, s3, s4});
  }

  // ---- one input, two results ----
  static void plain(int n, const T* a, T* r1, T* r2) requires(NO == 2) {
    const Arr io{{{a, 1}}, {{r1, 1}, {r2, 1}}, name_plain<P>()};
    run_plain(n, io, a, nullptr, r1, P{});
  }
  static void strided(int n, const T* a, int inca, T* r1, int incr1, T* r2, int incr2) requires(NO == 2) {
    if (inca == 1 && incr1 == 1 && incr2 == 1) return slot<F>(Row, Slot)(n, a, r1, r2);
    using Q = typename StridedOf<P>::type;
    const Arr io{{{a, inca}}, {{r1, incr1}, {r2, incr2}}, name_strided<Q>()};
    run_strided<Q>(n, io, Q{});
  }
};

// The rows whose plain kernels may read a negative count as unsigned (a huge
// count): the rounding rows and the rows of polynomial approximations. Every
// other kernel reads it as empty, as does any policy that keeps the default;
// ZEV_KERNELS refuses the unsigned reading outside these rows.
constexpr bool unsigned_count_row(int row) {
  using namespace zev::row;
  switch (row) {
    // rounding
    case sCeil: case dCeil: case sFloor: case dFloor: case sFrac: case dFrac: case sNearbyInt: case dNearbyInt:
    case sRint: case dRint: case sRound: case dRound: case sTrunc: case dTrunc:
    // polynomial approximations
    case sExp: case dExp: case sExp2: case dExp2: case sExp10: case dExp10: case sExpm1: case dExpm1: case sLn:
    case dLn: case sLog2: case dLog2: case sLog10: case dLog10: case sLog1p: case dLog1p: case sCbrt:
    case dCbrt: case sInvCbrt: case dInvCbrt: case sPow2o3: case dPow2o3: case sPow3o2: case dPow3o2: case sPow:
    case dPow: case sPowr: case dPowr: case sPowx: case dPowx: case sSin: case dSin: case sCos: case dCos:
    case sTan: case dTan: case sSinCos: case dSinCos: case sSinpi: case dSinpi: case sCospi: case dCospi:
    case sTanpi: case dTanpi: case sSind: case dSind: case sCosd: case dCosd: case sTand: case dTand:
    case sAsin: case dAsin: case sAcos: case dAcos: case sAtan: case dAtan: case sAtan2: case dAtan2:
    case sAsinpi: case dAsinpi: case sAcospi: case dAcospi: case sAtanpi: case dAtanpi: case sAtan2pi:
    case dAtan2pi: case sSinh: case dSinh: case sCosh: case dCosh: case sTanh: case dTanh: case sAsinh:
    case dAsinh: case sAcosh: case dAcosh: case sAtanh: case dAtanh: case sErf: case dErf: case sErfc:
    case dErfc: case sCdfNorm: case dCdfNorm: case sErfInv: case dErfInv: case sErfcInv: case dErfcInv:
    case sCdfNormInv: case dCdfNormInv: case sLGamma: case dLGamma: case sTGamma: case dTGamma: case sExpInt1:
    case dExpInt1:
      return true;
    default:
      return false;
  }
}

// Kernel names by the levels served, as bits of zev::row::kKernelLevels.
inline constexpr unsigned kLevel_la = 1, kLevel_ha = 2, kLevel_ep = 4, kLevel_laha = 8, kLevel_laep = 16,
                          kLevel_lahaep = 32;

}  // namespace zev::vk

// ---- kernel definitions ------------------------------------------------------
// ZEV_KERNELS(ROW, lvl, Policy) defines zev_k_<ROW>_<lvl> and its strided twin
// zev_k_<ROW>I_<lvl> from Policy; lvl names the levels the kernel serves: la,
// ha, ep, laha, laep or lahaep, as the row's sharing in frame/rows.txt says. A
// kernel the row does not have fails to compile, one it misses fails to link.
#define ZEV_KERNELS(ROW, lvl, ...)                                                                          \
  static_assert((zev::row::kKernelLevels[zev::row::ROW] & zev::vk::kLevel_##lvl) != 0,                       \
                #ROW "'s sharing in frame/rows.txt has no kernel serving " #lvl);                                                 \
  static_assert(zev::vk::negative_count<__VA_ARGS__>() == zev::vk::NegativeCount::Empty ||                 \
                    zev::vk::unsigned_count_row(zev::row::ROW),                                             \
                #ROW " reads a negative count as empty: only rounding and polynomial rows take it unsigned"); \
  extern "C" void zev_k_##ROW##_##lvl(ZEV_PARAMS_##ROW) {                                                   \
    zev::vk::Kernel<__VA_ARGS__, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>::plain(ZEV_ARGS_##ROW);  \
  }                                                                                                         \
  extern "C" void zev_k_##ROW##I_##lvl(ZEV_PARAMS_##ROW##I) {                                               \
    zev::vk::Kernel<__VA_ARGS__, zev::row::ROW, zev::vk::kSlot_##lvl, zev::kt::ROW>::strided(                \
        ZEV_ARGS_##ROW##I);                                                                                 \
  }

