// Add, Sub, Mul, Sqr and Abs, single and double.
//
// Add, Sub, Mul and Sqr are one IEEE operation per element and report
// nothing; overflow and invalid show only in the sticky flags. Their plain
// forms peel up to one vector of elements so that the result (or, for Sqr, the
// input) is 16-byte aligned, then run a block loop that issues all loads of a
// block before its arithmetic.
#include <cstdint>

#include "vector/shape.h"
#include "vector/vops.h"

namespace zev::vk {
namespace {

struct AddOp {
  template <class V> static V v(V a, V b) { return add(a, b); }
  template <class T> static T s(T a, T b) { return a + b; }
};
struct SubOp {
  template <class V> static V v(V a, V b) { return sub(a, b); }
  template <class T> static T s(T a, T b) { return a - b; }
};
struct MulOp {
  template <class V> static V v(V a, V b) { return mul(a, b); }
  template <class T> static T s(T a, T b) { return a * b; }
};

// Block loop over [i, end) with the result stream aligned; a and b aligned
// or not as the template says.
template <class T, class Op, int B, bool AlignA, bool AlignB>
inline void peeled_loop(long i, long end, const T* a, const T* b, T* r) {
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes;
  constexpr int N = B / L;
  for (; i < end; i += B) {
    V x[N], y[N];
    for (int k = 0; k < N; ++k) x[k] = AlignA ? W::load_aligned(a + i + k * L) : W::load(a + i + k * L);
    for (int k = 0; k < N; ++k) y[k] = AlignB ? W::load_aligned(b + i + k * L) : W::load(b + i + k * L);
    for (int k = 0; k < N; ++k) W::store_aligned(r + i + k * L, Op::v(x[k], y[k]));
  }
}

template <class T>
inline bool aligned16(const T* p) {
  return (reinterpret_cast<uintptr_t>(p) & 15) == 0;
}

// The peeled binary kernel. Block B is 32 singles or 8 doubles. With r equal
// to a (or b) the same loop runs with that input aligned too.
template <class T, class Op, int B>
void peeled_binary(int n, const T* a, const T* b, T* r) {
  FpGuard env;
  if (n <= 0) return;
  long i = 0, vend = 0;
  if (n >= B) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(r) & 15;
    if (p % sizeof(T) == 0) {
      const long peel = p ? static_cast<long>((16 - p) / sizeof(T)) : 0;
      if (n >= peel + B) {
        vend = n - ((n - peel) % B);
        for (; i < peel; ++i) r[i] = Op::s(a[i], b[i]);
        const bool aa = aligned16(a + peel), ab = aligned16(b + peel);
        if (aa && ab)
          peeled_loop<T, Op, B, true, true>(i, vend, a, b, r);
        else if (aa)
          peeled_loop<T, Op, B, true, false>(i, vend, a, b, r);
        else if (ab)
          peeled_loop<T, Op, B, false, true>(i, vend, a, b, r);
        else
          peeled_loop<T, Op, B, false, false>(i, vend, a, b, r);
        i = vend;
        // What is left after the blocks: whole vectors while they fit (r stays
        // aligned), then single elements. Each lane is the same one operation.
        using W = Vec<T>;
        for (; i + W::kLanes <= n; i += W::kLanes)
          W::store_aligned(r + i, Op::v(W::load(a + i), W::load(b + i)));
      }
    }
  }
  for (; i < n; ++i) r[i] = Op::s(a[i], b[i]);
}

template <class T>
void peeled_sqr(int n, const T* a, T* r) {
  constexpr int B = 8;  // elements a block in both precisions
  FpGuard env;
  if (n <= 0) return;
  long i = 0;
  if (n >= B) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(a) & 15;
    if (p % sizeof(T) == 0) {
      const long peel = p ? static_cast<long>((16 - p) / sizeof(T)) : 0;
      if (n >= peel + B) {
        const long vend = n - ((n - peel) % B);
        for (; i < peel; ++i) r[i] = a[i] * a[i];
        using W = Vec<T>;
        constexpr int L = W::kLanes;
        const bool ar = aligned16(r + peel);
        for (; i < vend; i += B) {
          typename W::V x[B / L];
          for (int k = 0; k < B / L; ++k) x[k] = W::load_aligned(a + i + k * L);
          for (int k = 0; k < B / L; ++k) {
            const auto y = mul(x[k], x[k]);
            if (ar)
              W::store_aligned(r + i + k * L, y);
            else
              W::store(r + i + k * L, y);
          }
        }
      }
    }
  }
  for (; i < n; ++i) r[i] = a[i] * a[i];
}

// ---- Abs -----------------------------------------------------------------------

// Plain Abs is x times (1.0 OR the sign of x): exact for numbers, and a NaN
// comes out quiet, raising invalid if it was signalling.
template <class T>
inline typename Vec<T>::V abs_mul(typename Vec<T>::V x) {
  using W = Vec<T>;
  return mul(x, or_(W::set1(static_cast<T>(1.0)), and_(x, W::set1(static_cast<T>(-0.0)))));
}

template <class T>
void plain_abs(int n, const T* a, T* r) {
  using W = Vec<T>;
  constexpr int L = W::kLanes;
  constexpr int B = 2 * L;  // 8 singles, 4 doubles
  FpGuard env{FpGuard::Short{}};
  if (n <= 0) return;
  const long whole = n & ~(B - 1);
  long i = 0;
  for (; i < whole; i += B)
    for (int k = 0; k < B / L; ++k) W::store(r + i + k * L, abs_mul<T>(W::load(a + i + k * L)));
  if (i < n) {
    // The tail goes through a block on the stack, its empty places repeating
    // the first remaining element.
    alignas(16) T buf[B];
    const long rem = n - i;
    for (int k = 0; k < B; ++k) buf[k] = a[i + (k < rem ? k : 0)];
    for (int k = 0; k < B / L; ++k) W::store_aligned(buf + k * L, abs_mul<T>(W::load_aligned(buf + k * L)));
    for (long k = 0; k < rem; ++k) r[i + k] = buf[k];
  }
}

// The strided forms of this file: no callout, negative counts empty.
template <class T_, int BlockI>
struct StridedPolicy {
  using T = T_;
  using V = typename Vec<T>::V;
  static constexpr int kBlock = BlockI;
  static constexpr int kBlockI = BlockI;
  static constexpr bool kSignedCount = true;
  static constexpr bool kCallout = false;
};

// Strided Abs clears the sign bit: no arithmetic, so a signalling NaN stays
// signalling.
template <class T, int BlockI>
struct AbsBitsPolicy : StridedPolicy<T, BlockI> {
  using V = typename Vec<T>::V;
  static V eval(V x, V&) { return andnot(Vec<T>::set1(static_cast<T>(-0.0)), x); }
};

template <class T, class Op, int BlockI>
struct BinaryOpPolicy : StridedPolicy<T, BlockI> {
  using V = typename Vec<T>::V;
  static V eval(V x, V y, V&) { return Op::v(x, y); }
};

template <class T, int BlockI>
struct SqrPolicy : StridedPolicy<T, BlockI> {
  using V = typename Vec<T>::V;
  static V eval(V x, V&) { return mul(x, x); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

#define ZEV_PEELED_BINARY(ROW, T, Op, B, BI)                                                             \
  extern "C" void zev_k_##ROW##_ha(int n, const T* a, const T* b, T* r) { peeled_binary<T, Op, B>(n, a, b, r); } \
  extern "C" void zev_k_##ROW##I_ha(int n, const T* a, int inca, const T* b, int incb, T* r, int incr) {  \
    binary_strided<BinaryOpPolicy<T, Op, BI>, zev::row::ROW, kSlot_ha, zev::kt::ROW>(n, a, inca, b, incb, r, \
                                                                                     incr);               \
  }

ZEV_PEELED_BINARY(sAdd, float, AddOp, 32, 8)
ZEV_PEELED_BINARY(dAdd, double, AddOp, 8, 4)
ZEV_PEELED_BINARY(sSub, float, SubOp, 32, 8)
ZEV_PEELED_BINARY(dSub, double, SubOp, 8, 4)
ZEV_PEELED_BINARY(sMul, float, MulOp, 32, 8)
ZEV_PEELED_BINARY(dMul, double, MulOp, 8, 4)

extern "C" void zev_k_sSqr_ha(int n, const float* a, float* r) { peeled_sqr<float>(n, a, r); }
extern "C" void zev_k_dSqr_ha(int n, const double* a, double* r) { peeled_sqr<double>(n, a, r); }
extern "C" void zev_k_sSqrI_ha(int n, const float* a, int inca, float* r, int incr) {
  unary_strided<SqrPolicy<float, 8>, zev::row::sSqr, kSlot_ha, zev::kt::sSqr>(n, a, inca, r, incr);
}
extern "C" void zev_k_dSqrI_ha(int n, const double* a, int inca, double* r, int incr) {
  unary_strided<SqrPolicy<double, 4>, zev::row::dSqr, kSlot_ha, zev::kt::dSqr>(n, a, inca, r, incr);
}

extern "C" void zev_k_sAbs_ha(int n, const float* a, float* r) { plain_abs<float>(n, a, r); }
extern "C" void zev_k_dAbs_ha(int n, const double* a, double* r) { plain_abs<double>(n, a, r); }
extern "C" void zev_k_sAbsI_ha(int n, const float* a, int inca, float* r, int incr) {
  unary_strided<AbsBitsPolicy<float, 8>, zev::row::sAbs, kSlot_ha, zev::kt::sAbs>(n, a, inca, r, incr);
}
extern "C" void zev_k_dAbsI_ha(int n, const double* a, int inca, double* r, int incr) {
  unary_strided<AbsBitsPolicy<double, 4>, zev::row::dAbs, kSlot_ha, zev::kt::dAbs>(n, a, inca, r, incr);
}
