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

// With two NaN operands the result carries the first operand's payload, in
// every form and at every lane position. Add and Mul are commutative to the
// compiler, which would otherwise pick the operand order per vector from its
// register allocation; the instructions are written out so that it cannot.
template <class X> inline X first_add(X a, X b);
template <class X> inline X first_mul(X a, X b);
template <> inline __m128d first_add(__m128d a, __m128d b) { asm("addpd %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline __m128 first_add(__m128 a, __m128 b) { asm("addps %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline double first_add(double a, double b) { asm("addsd %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline float first_add(float a, float b) { asm("addss %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline __m128d first_mul(__m128d a, __m128d b) { asm("mulpd %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline __m128 first_mul(__m128 a, __m128 b) { asm("mulps %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline double first_mul(double a, double b) { asm("mulsd %1, %0" : "+x"(a) : "x"(b)); return a; }
template <> inline float first_mul(float a, float b) { asm("mulss %1, %0" : "+x"(a) : "x"(b)); return a; }

struct AddOp {
  template <class V> static V v(V a, V b) { return first_add(a, b); }
  template <class T> static T s(T a, T b) { return first_add(a, b); }
};
struct SubOp {
  template <class V> static V v(V a, V b) { return sub(a, b); }
  template <class T> static T s(T a, T b) { return a - b; }
};
struct MulOp {
  template <class V> static V v(V a, V b) { return first_mul(a, b); }
  template <class T> static T s(T a, T b) { return first_mul(a, b); }
};

// Add, Sub and Mul: blocks of 32 singles or 8 doubles, peeled so that the
// result is aligned; strided blocks of 8 singles or 4 doubles, gathered
// element by element where no stride is 1: beside one operation a lane the
// stride tests are the larger cost.
template <class T_, class Op>
struct BinaryOpP {
  using T = T_;
  using V = typename Vec<T>::V;
  static constexpr Discipline kDiscipline = Discipline::Peeled;
  static constexpr int kBlock = sizeof(T) == 4 ? 32 : 8;
  static constexpr int kBlockI = sizeof(T) == 4 ? 8 : 4;
  static constexpr bool kGatherStrided = true;
  static constexpr bool kCallout = false;
  static V eval(V x, V y, V&) { return Op::v(x, y); }
  static T lane(T x, T y) { return Op::s(x, y); }
};

// Sqr: blocks of 8 in both precisions, peeled so that the input is aligned.
template <class T_>
struct SqrP {
  using T = T_;
  using V = typename Vec<T>::V;
  static constexpr Discipline kDiscipline = Discipline::Peeled;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = sizeof(T) == 4 ? 8 : 4;
  static constexpr bool kCallout = false;
  static V eval(V x, V&) { return mul(x, x); }
  static T lane(T x) { return x * x; }
};

// ---- Abs -----------------------------------------------------------------------

// Strided Abs clears the sign bit: no arithmetic, so a signalling NaN stays
// signalling.
template <class T_>
struct AbsBitsP {
  using T = T_;
  using V = typename Vec<T>::V;
  static constexpr int kBlock = sizeof(T) == 4 ? 8 : 4;
  static constexpr int kBlockI = kBlock;
  static constexpr bool kCallout = false;
  static V eval(V x, V&) { return andnot(Vec<T>::set1(static_cast<T>(-0.0)), x); }
};

// Plain Abs is x times (1.0 OR the sign of x): exact for numbers, and a NaN
// comes out quiet, raising invalid if it was signalling. It has the short
// prologue and the tail of one stacked block.
template <class T_>
struct AbsP : AbsBitsP<T_> {
  using T = T_;
  using V = typename Vec<T>::V;
  using Strided = AbsBitsP<T>;
  static constexpr bool kShortPrologue = true;
  static constexpr Tail kTail = Tail::RepeatFirst;
  static V eval(V x, V&) {
    using W = Vec<T>;
    return mul(x, or_(W::set1(static_cast<T>(1.0)), and_(x, W::set1(static_cast<T>(-0.0)))));
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sAdd, lahaep, BinaryOpP<float, AddOp>)
ZEV_KERNELS(dAdd, lahaep, BinaryOpP<double, AddOp>)
ZEV_KERNELS(sSub, lahaep, BinaryOpP<float, SubOp>)
ZEV_KERNELS(dSub, lahaep, BinaryOpP<double, SubOp>)
ZEV_KERNELS(sMul, lahaep, BinaryOpP<float, MulOp>)
ZEV_KERNELS(dMul, lahaep, BinaryOpP<double, MulOp>)
ZEV_KERNELS(sSqr, lahaep, SqrP<float>)
ZEV_KERNELS(dSqr, lahaep, SqrP<double>)
ZEV_KERNELS(sAbs, lahaep, AbsP<float>)
ZEV_KERNELS(dAbs, lahaep, AbsP<double>)
