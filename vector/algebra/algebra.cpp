// Reciprocal, square root, reciprocal square root and division, single and
// double.
//
// HA: sqrtps/pd and divps/pd are correctly rounded, and so are the HA Inv,
// Sqrt and Div kernels. sInvSqrt at HA refines the processor's 12-bit estimate
// by two Newton steps in double and rounds once (0.5 ulp plus at most 2^-17);
// dInvSqrt at HA corrects 1/sqrt(x) by the exact residuals of the root and of
// the reciprocal (below 0.51 ulp).
// LA and EP in single start from the estimates rcpps and rsqrtps (relative
// error below 1.5 * 2^-12): EP takes them as they are, LA adds one Newton
// step. Division keeps divps at every level: a times the estimate, with the
// wider special test it needs, measured slower. In double the estimate and
// its Newton steps cost more than divpd and sqrtpd themselves (measured: a
// float estimate refined to 2^-34 by one cubic step, with the exponent
// scaled around it, took 2.3 times as long as divpd and 1.3 times as long as
// sqrtpd), so dInv, dSqrt and dDiv run the hardware operation at every level,
// and dInvSqrt at LA and EP is 1/sqrt(x) with two roundings (below 1.5 ulp).
// Measured worst errors are in docs/accuracy_algebra.md.
//
// Special lanes leave the vector path by one range test on the bits of the
// input (or of the result, for Div): outside the range the vector result is
// either wrong for the level or owes a status. Their scalar functions compute
// with the IEEE operation and report what it raises: invalid 1, division by
// zero 2, overflow 3, underflow 4; NaN inputs report nothing. Kernels whose
// vector result is the IEEE operation itself skip that test in their plain
// form and read the sticky flags instead (below).
#include <type_traits>

#include "vector/algebra/common.h"

namespace zev::vk::alg {
namespace {

// ---- single constants -------------------------------------------------------------
struct SConst {
  C4 one, half, three_halves;
  Range32 inv;     // |x| in [2^-126, 2^126): 1/x is a normal number
  Range32 normal;  // x positive, normal, finite
};
constexpr SConst kS = {f4(1.0f), f4(0.5f), f4(1.5f), range32(0x00800000u, 0x7E7FFFFFu),
                       range32(0x00800000u, 0x7F7FFFFFu)};

struct DConst {
  C2 one, half, three_halves, split;
  Range32 inv;         // |x| in [2^-1022, 2^1022): 1/x is a normal number
  Range32 normal;      // x positive, normal, finite
  Range32 rsqrt_ha;    // x in [2^-968, 2^1020): the residuals stay exact
};
constexpr DConst kD = {d2(1.0), d2(0.5), d2(1.5), q2(0xFFFFFFFFF8000000ull),
                       range32(0x00100000u, 0x7FCFFFFFu), range32(0x00100000u, 0x7FEFFFFFu),
                       range32(0x03700000u, 0x7FAFFFFFu)};

// ---- scalar functions: one IEEE computation, its exceptions as status ----------

template <class T>
int inv_scalar(const T* a, T* r) {
  T x = *a;
  if (is_nan(x)) {
    *r = x + x;
    return 0;
  }
  Flags fl;
  pin(x);
  T y = T(1) / x;
  pin(y);
  const unsigned f = fl.stop();
  *r = y;
  return status_of(f, y);
}

template <class T>
int sqrt_scalar(const T* a, T* r) {
  T x = *a;
  if (is_nan(x)) {
    *r = x + x;
    return 0;
  }
  Flags fl;
  pin(x);
  T y = std::sqrt(x);
  pin(y);
  const unsigned f = fl.stop();
  *r = y;
  return status_of(f, y);
}

template <class T>
int div_scalar(const T* a, const T* b, T* r) {
  T x = *a, z = *b;
  if (is_nan(x) || is_nan(z)) {
    *r = nan_sum(x, z);
    return 0;
  }
  Flags fl;
  pin(x);
  pin(z);
  T y = x / z;
  pin(y);
  const unsigned f = fl.stop();
  *r = y;
  return status_of(f, y);
}

// 1/sqrt(x): the special values by their IEEE rules (sqrt, then the
// reciprocal: -0 gives -inf), numbers by `f`.
template <class T, class F>
int invsqrt_scalar(const T* a, T* r, F f) {
  const T x = *a;
  if (is_nan(x)) {
    *r = x + x;
    return 0;
  }
  if (x == 0) {
    *r = T(1) / x;
    return 2;
  }
  if (x < 0) {
    *r = std::numeric_limits<T>::quiet_NaN();
    return 1;
  }
  if (std::isinf(x)) {
    *r = 0;
    return 0;
  }
  *r = f(x);
  return 0;
}

// 1/sqrt(x) in double with a correction from the exact residuals, for x in
// [2^-968, 2^1020) (scaled into it by the scalar path). With s = sqrt(x) and
// q = 1/s both rounded, r = 1 - s*q and e = x - s*s come out exact through
// split products, and 1/sqrt(x) = q*(1 + r - e*q*q/2) to second order.
inline __m128d rsqrt_corrected(__m128d x) {
  const __m128d s = _mm_sqrt_pd(x);
  const __m128d q = _mm_div_pd(kD.one.pd(), s);
  const __m128d m = kD.split.pd();
  const __m128d sh = _mm_and_pd(s, m), sl = _mm_sub_pd(s, sh);
  const __m128d qh = _mm_and_pd(q, m), ql = _mm_sub_pd(q, qh);
  const __m128d p = _mm_mul_pd(s, s);
  const __m128d pl = _mm_add_pd(
      _mm_add_pd(_mm_sub_pd(_mm_mul_pd(sh, sh), p), _mm_mul_pd(_mm_add_pd(sh, sh), sl)), _mm_mul_pd(sl, sl));
  const __m128d e = _mm_sub_pd(_mm_sub_pd(x, p), pl);
  const __m128d u = _mm_mul_pd(s, q);
  const __m128d ul = _mm_add_pd(
      _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(sh, qh), u), _mm_mul_pd(sh, ql)), _mm_mul_pd(sl, qh)),
      _mm_mul_pd(sl, ql));
  const __m128d rr = _mm_sub_pd(_mm_sub_pd(kD.one.pd(), u), ul);
  const __m128d c = _mm_sub_pd(rr, _mm_mul_pd(_mm_mul_pd(kD.half.pd(), e), _mm_mul_pd(q, q)));
  return _mm_add_pd(q, _mm_mul_pd(q, c));
}

double rsqrt_ha_scalar(double x) {
  // Scale into the range of the residuals by an even power of two.
  double scale = 1.0;
  if (x < 0x1p-968) {
    x *= 0x1p600;
    scale = 0x1p300;
  } else if (x >= 0x1p1020) {
    x *= 0x1p-600;
    scale = 0x1p-300;
  }
  double y;
  _mm_store_sd(&y, rsqrt_corrected(_mm_set1_pd(x)));
  return y * scale;
}

// Two Newton steps in double from the single estimate: 12, 23, 45 bits.
inline __m128d newton_rsqrt(__m128d x, __m128d y) {
  const __m128d hx = _mm_mul_pd(kD.half.pd(), x), t = kD.three_halves.pd();
  y = _mm_mul_pd(y, _mm_sub_pd(t, _mm_mul_pd(hx, _mm_mul_pd(y, y))));
  return _mm_mul_pd(y, _mm_sub_pd(t, _mm_mul_pd(hx, _mm_mul_pd(y, y))));
}


// ---- kernels of one IEEE operation: special lanes found by the flags ------------

// Where the vector result is the IEEE operation itself (every Div, every
// dInv and dSqrt, sInv and sSqrt at HA), the scalar function of a special
// lane repeats that operation under the same control word and gives the same
// result (a NaN operand comes out quieted by both, the first of two NaNs
// first); all the callout adds is the status, and a status needs invalid,
// division by zero, overflow or underflow, which the operation itself raises.
// So whole blocks run without per-lane tests: a chunk whose operations raised
// one of these four flags runs again through the tested blocks, which report
// its lanes in order. The rerun reads the inputs again, which the untested
// results must not have overwritten (ChunkOut below). The caller's four flags
// are set aside on entry and come back, with every raised one, on exit.
// Div and sInv at HA run this way. dInv and Sqrt keep the tested blocks:
// dInv and dSqrt already run at the pace of divpd and sqrtpd, and sSqrt at
// HA measured 3% faster untested at 1,000 elements but 7-10% slower from
// 100,000 on.
constexpr uint32_t kStatusFlags = kInvalid | kDivZero | kOverflow | kUnderflow;
constexpr long kChunk = 4096;  // bytes of results between two flag reads: 1024 singles, 512 doubles

template <class T>
inline bool overlap(const T* r, const T* a, long n) {
  const auto r0 = reinterpret_cast<uintptr_t>(r), a0 = reinterpret_cast<uintptr_t>(a);
  const uintptr_t bytes = static_cast<uintptr_t>(n) * sizeof(T);
  return r0 < a0 + bytes && a0 < r0 + bytes;
}

// Sets the caller's four flags aside; puts them back, joined by the raised
// ones, at the end (before the shape's guard restores its control word).
class StatusWatch {
 public:
  StatusWatch() : kept_(csr_get() & kStatusFlags) {
    if (kept_ != 0) csr_set(csr_get() & ~kStatusFlags);
  }
  ~StatusWatch() {
    if (kept_ != 0) csr_set(csr_get() | kept_);
  }
  // Flags raised since the last call, cleared again for the next chunk.
  bool raised() {
    const uint32_t c = csr_get();
    if (__builtin_expect((c & kStatusFlags) == 0, 1)) return false;
    kept_ |= c & kStatusFlags;
    csr_set(c & ~kStatusFlags);
    return true;
  }
  StatusWatch(const StatusWatch&) = delete;
  StatusWatch& operator=(const StatusWatch&) = delete;

 private:
  uint32_t kept_;
};

// The chunk loop shared by the unary and binary forms over `whole` elements,
// a multiple of the vector: blocks of B, then single vectors. `fast(i, nv, c)`
// computes nv vectors from element i of the chunk starting at c untested,
// `tested(i, nv)` the same through the shape's tested block (nv a
// std::integral_constant); `done(c, end)` follows every chunk that raised
// nothing.
template <class T, int B, class Fast, class Tested, class Done>
inline void flagged_blocks(long whole, Fast fast, Tested tested, Done done) {
  constexpr int L = Vec<T>::kLanes;
  constexpr long C = kChunk / static_cast<long>(sizeof(T));
  static_assert(C % B == 0);
  StatusWatch watch;
  for (long c = 0; c < whole; c += C) {
    const long end = whole - c < C ? whole : c + C;
    long i = c;
    for (; i + B <= end; i += B) fast(i, std::integral_constant<int, B / L>{}, c);
    for (; i < end; i += L) fast(i, std::integral_constant<int, 1>{}, c);
    if (__builtin_expect(!watch.raised(), 1)) {
      done(c, end);
      continue;
    }
    for (i = c; i + B <= end; i += B) tested(i, std::integral_constant<int, B / L>{});
    for (; i < end; i += L) tested(i, std::integral_constant<int, 1>{});
    watch.raised();
  }
}

// Where the result array of a division is one of its inputs, a chunk's
// untested results wait in a buffer on the stack until its flags are read,
// so that a rerun still finds the inputs; they are copied out after a clean
// chunk. Other overlaps run the tested blocks throughout.
template <class T>
struct ChunkOut {
  T* r;
  bool buffered;
  alignas(16) T buf[kChunk / sizeof(T)];
  T* at(long k, long c) { return buffered ? buf + (k - c) : r + k; }
  void done(long c, long end) {
    if (!buffered) return;
    constexpr int L = Vec<T>::kLanes;
    for (long k = c; k < end; k += L) Vec<T>::store(r + k, Vec<T>::load_aligned(buf + (k - c)));
  }
};

// Unary kernels buffer nothing: in place they run the tested blocks, which
// measured faster than the untested ones with the copy.
template <class P>
void flagged_unary(int n, const typename P::T* a, typename P::T* r) {
  using T = typename P::T;
  using W = Vec<T>;
  constexpr int L = W::kLanes;
  if (n <= 0 || overlap(r, a, n)) return unary<P>(n, a, r);
  FpGuard env;
  const long whole = n & ~(L - 1);
  const Plain<const T> A{a};
  const Plain<T> R{r};
  const auto ld = [&](long k) { return W::load(a + k); };
  const auto st = [&](long k, auto v) { W::store(r + k, v); };
  flagged_blocks<T, P::kBlock>(
      whole,
      [&](long i, auto nv, long) {
        typename W::V x[nv];
        for (int k = 0; k < nv; ++k) x[k] = ld(i + k * L);
        for (int k = 0; k < nv; ++k) st(i + k * L, P::op(x[k]));
      },
      [&](long i, auto nv) { unary_block<P, nv>(P{}, i, ld, st, A, R, name_plain<P>()); }, [](long, long) {});
  if (whole < n) {
    const int g = static_cast<int>(n - whole);
    unary_block<P, 1>(
        P{}, whole, [&](long k) { return load_group<T>(A, k, g); },
        [&](long k, auto v) { store_group<T>(R, k, g, v); }, A, R, name_plain<P>(), (1u << g) - 1);
  }
}

template <class P>
void flagged_binary(int n, const typename P::T* a, const typename P::T* b, typename P::T* r) {
  using T = typename P::T;
  using W = Vec<T>;
  constexpr int L = W::kLanes;
  // Each input is the result array itself or apart from it.
  const bool ra = r == a, rb = r == b;
  if (n <= 0 || (!ra && overlap(r, a, n)) || (!rb && overlap(r, b, n))) return binary<P>(n, a, b, r);
  FpGuard env;
  const long whole = n & ~(L - 1);
  const Plain<const T> A{a}, Bb{b};
  const Plain<T> R{r};
  const auto la = [&](long k) { return W::load(a + k); };
  const auto lb = [&](long k) { return W::load(b + k); };
  const auto st = [&](long k, auto v) { W::store(r + k, v); };
  ChunkOut<T> out;
  out.r = r;
  out.buffered = ra || rb;
  flagged_blocks<T, P::kBlock>(
      whole,
      [&](long i, auto nv, long c) {
        typename W::V x[nv], z[nv];
        for (int k = 0; k < nv; ++k) {
          x[k] = la(i + k * L);
          z[k] = lb(i + k * L);
        }
        for (int k = 0; k < nv; ++k) W::store(out.at(i + k * L, c), P::op(x[k], z[k]));
      },
      [&](long i, auto nv) { binary_block<P, nv>(P{}, i, la, lb, st, A, Bb, R, name_plain<P>()); },
      [&](long c, long end) { out.done(c, end); });
  if (whole < n) {
    const int g = static_cast<int>(n - whole);
    binary_block<P, 1>(
        P{}, whole, [&](long k) { return load_group<T>(A, k, g); }, [&](long k) { return load_group<T>(Bb, k, g); },
        [&](long k, auto v) { store_group<T>(R, k, g, v); }, A, Bb, R, name_plain<P>(), (1u << g) - 1);
  }
}

// ---- policies -------------------------------------------------------------------

template <class T_, int Block, int BlockI>
struct Base {
  using T = T_;
  using V = typename Vec<T>::V;
  static constexpr int kBlock = Block;
  static constexpr int kBlockI = BlockI;
  static constexpr bool kSignedCount = true;
  static constexpr bool kCallout = true;
};

// Inv. Special: |x| outside [2^-126, 2^126) (singles) or [2^-1022, 2^1022)
// (doubles): zeros, subnormals and the ends where 1/x leaves the normal range,
// infinities and NaN.
enum class Est { Exact, Newton, Raw };

template <Est e>
struct sInvP : Base<float, 16, 8> {
  static constexpr const char* kName = "vsInv";
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(abs_bits(x), kS.inv));
    if constexpr (e == Est::Exact) return op(x);
    const __m128 y = _mm_rcp_ps(x);
    if constexpr (e == Est::Raw) return y;
    // y + y*(1 - x*y): the residual is small, so its rounding matters little.
    return _mm_add_ps(y, _mm_mul_ps(y, _mm_sub_ps(kS.one.ps(), _mm_mul_ps(x, y))));
  }
  static __m128 op(__m128 x) { return _mm_div_ps(kS.one.ps(), x); }
  static int scalar(const float* a, float* r) { return inv_scalar(a, r); }
};

// Double Inv at every level: divpd. On the processors this module serves an
// estimate refined by Newton steps in double costs more than the division
// itself, so LA and EP keep the correctly rounded quotient.
template <Est e>
struct dInvP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdInv";
  static constexpr const char* kNameI = "vdInvI";
  static __m128d eval(__m128d x, __m128d& special) {
    special = _mm_castsi128_pd(outside(abs_high_words(x), kD.inv));
    return op(x);
  }
  static __m128d op(__m128d x) { return _mm_div_pd(kD.one.pd(), x); }
  // At HA a zero lane is a pole by the kernel's own test; its result, the
  // infinity of the division, stands.
  static int scalar(const double* a, double* r) {
    if (e == Est::Exact && *a == 0.0) {
      *r = 1.0 / *a;
      return 2;
    }
    return inv_scalar(a, r);
  }
};

// Sqrt. HA: special only where x < 0 (invalid); the hardware root is right for
// every other input. LA and EP: x * (estimate of 1/sqrt(x)) needs x positive,
// normal and finite.
template <Est e>
struct sSqrtP : Base<float, 16, 8> {
  static constexpr const char* kName = "vsSqrt";
  static __m128 eval(__m128 x, __m128& special) {
    if constexpr (e == Est::Exact) {
      special = _mm_cmplt_ps(x, _mm_setzero_ps());
      return op(x);
    } else {
      special = _mm_castsi128_ps(outside(bits(x), kS.normal));
      const __m128 y = _mm_rsqrt_ps(x);
      const __m128 s = _mm_mul_ps(x, y);
      if constexpr (e == Est::Raw) return s;
      // s + (y/2)*(x - s*s)
      return _mm_add_ps(s, _mm_mul_ps(_mm_mul_ps(kS.half.ps(), y), _mm_sub_ps(x, _mm_mul_ps(s, s))));
    }
  }
  static __m128 op(__m128 x) { return _mm_sqrt_ps(x); }
  static int scalar(const float* a, float* r) { return sqrt_scalar(a, r); }
};

// Double Sqrt at every level: sqrtpd, for the same reason as double Inv.
template <Est e>
struct dSqrtP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdSqrt";
  static __m128d eval(__m128d x, __m128d& special) {
    special = _mm_cmplt_pd(x, _mm_setzero_pd());
    return op(x);
  }
  static __m128d op(__m128d x) { return _mm_sqrt_pd(x); }
  static int scalar(const double* a, double* r) { return sqrt_scalar(a, r); }
};

// InvSqrt. Special at every level: x not a positive normal finite number
// (the bits of x minus those of the least normal, compared unsigned against
// the span up to the largest finite; negative numbers carry the sign bit and
// fall above). dInvSqrt at HA narrows the range to [2^-968, 2^1020).
template <Est e>
struct sInvSqrtP : Base<float, 16, 8> {
  static constexpr const char* kName = "vsInvSqrt";
  static __m128 eval(__m128 x, __m128& special) {
    special = _mm_castsi128_ps(outside(bits(x), kS.normal));
    const __m128 y = _mm_rsqrt_ps(x);
    if constexpr (e == Est::Raw) return y;
    if constexpr (e == Est::Newton) {
      const __m128 hx = _mm_mul_ps(kS.half.ps(), x);
      return _mm_mul_ps(y, _mm_sub_ps(kS.three_halves.ps(), _mm_mul_ps(hx, _mm_mul_ps(y, y))));
    } else {
      const __m128d lo = newton_rsqrt(_mm_cvtps_pd(x), _mm_cvtps_pd(y));
      const __m128d hi = newton_rsqrt(_mm_cvtps_pd(_mm_movehl_ps(x, x)), _mm_cvtps_pd(_mm_movehl_ps(y, y)));
      return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
    }
  }
  // Subnormal inputs land here: in double they are normal, and 1/sqrt(x)
  // rounded twice stays within 0.5 + 2^-28 ulp of single.
  static int scalar(const float* a, float* r) {
    return invsqrt_scalar(a, r, [](float x) { return static_cast<float>(1.0 / std::sqrt(double(x))); });
  }
};

template <Est e>
struct dInvSqrtP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdInvSqrt";
  static __m128d eval(__m128d x, __m128d& special) {
    if constexpr (e == Est::Exact) {
      special = _mm_castsi128_pd(outside(high_words(x), kD.rsqrt_ha));
      return rsqrt_corrected(x);
    } else {
      special = _mm_castsi128_pd(outside(high_words(x), kD.normal));
      return _mm_div_pd(kD.one.pd(), _mm_sqrt_pd(x));
    }
  }
  static int scalar(const double* a, double* r) {
    if constexpr (e == Est::Exact)
      return invsqrt_scalar(a, r, [](double x) { return rsqrt_ha_scalar(x); });
    else
      return invsqrt_scalar(a, r, [](double x) { return 1.0 / std::sqrt(x); });
  }
};

// Div. Special lanes from the result: not a normal finite number, except
// quotients equal to the dividend (exact: the zeros of a zero dividend, a/1;
// 0/0 gives a NaN, which equals nothing). That catches the poles, 0/0 and
// inf/inf, overflow and underflow, and NaN.
// Single Div at every level: divps, which costs less here than a times
// the estimate of 1/b with the wider test that the estimate needs.
template <Est e>
struct sDivP : Base<float, 16, 8> {
  static constexpr const char* kName = "vsDiv";
  static __m128 eval(__m128 a, __m128 b, __m128& special) {
    const __m128 q = op(a, b);
    special = _mm_andnot_ps(_mm_cmpeq_ps(a, q), not_normal(q));
    return q;
  }
  static __m128 op(__m128 a, __m128 b) { return _mm_div_ps(a, b); }
  static int scalar(const float* a, const float* b, float* r) { return div_scalar(a, b, r); }
};

struct dDivP : Base<double, 8, 4> {
  static constexpr const char* kName = "vdDiv";
  static __m128d eval(__m128d a, __m128d b, __m128d& special) {
    const __m128d q = op(a, b);
    special = _mm_andnot_pd(_mm_cmpeq_pd(a, q), not_normal(q));  // as in single
    return q;
  }
  static __m128d op(__m128d a, __m128d b) { return _mm_div_pd(a, b); }
  static int scalar(const double* a, const double* b, double* r) { return div_scalar(a, b, r); }
};

}  // namespace
}  // namespace zev::vk::alg

using namespace zev::vk;
using namespace zev::vk::alg;
using E = Est;

using sInvHA = sInvP<E::Exact>;
using dInvHA = dInvP<E::Exact>;
using sSqrtHA = sSqrtP<E::Exact>;
using dSqrtHA = dSqrtP<E::Exact>;
using sDivHA = sDivP<E::Exact>;

// The kernels of one IEEE operation: the plain forms watch the flags, the
// strided forms run the tested blocks of the shape.
#define ZEV_FLAGGED_UNARY(ROW, lvl, Policy)                                                            \
  extern "C" void zev_k_##ROW##_##lvl(int n, const Policy::T* a, Policy::T* r) { flagged_unary<Policy>(n, a, r); } \
  extern "C" void zev_k_##ROW##I_##lvl(int n, const Policy::T* a, int inca, Policy::T* r, int incr) {   \
    unary_strided<Policy, zev::row::ROW, kSlot_##lvl, zev::kt::ROW>(n, a, inca, r, incr);             \
  }
#define ZEV_FLAGGED_BINARY(ROW, lvl, Policy)                                                           \
  extern "C" void zev_k_##ROW##_##lvl(int n, const Policy::T* a, const Policy::T* b, Policy::T* r) {    \
    flagged_binary<Policy>(n, a, b, r);                                                                 \
  }                                                                                                     \
  extern "C" void zev_k_##ROW##I_##lvl(int n, const Policy::T* a, int inca, const Policy::T* b, int incb, \
                                       Policy::T* r, int incr) {                                        \
    binary_strided<Policy, zev::row::ROW, kSlot_##lvl, zev::kt::ROW>(n, a, inca, b, incb, r, incr);   \
  }

ZEV_FLAGGED_UNARY(sInv, ha, sInvHA)
ZEV_UNARY_KERNELS(sInv, la, sInvP<E::Newton>)
ZEV_UNARY_KERNELS(sInv, ep, sInvP<E::Raw>)
ZEV_UNARY_KERNELS(dInv, ha, dInvHA)
ZEV_UNARY_KERNELS(dInv, la, dInvP<E::Newton>)
ZEV_UNARY_KERNELS(dInv, ep, dInvP<E::Raw>)
ZEV_UNARY_KERNELS(sSqrt, ha, sSqrtHA)
ZEV_UNARY_KERNELS(sSqrt, la, sSqrtP<E::Newton>)
ZEV_UNARY_KERNELS(sSqrt, ep, sSqrtP<E::Raw>)
ZEV_UNARY_KERNELS(dSqrt, ha, dSqrtHA)
ZEV_UNARY_KERNELS(dSqrt, la, dSqrtP<E::Newton>)
ZEV_UNARY_KERNELS(dSqrt, ep, dSqrtP<E::Raw>)
ZEV_UNARY_KERNELS(sInvSqrt, ha, sInvSqrtP<E::Exact>)
ZEV_UNARY_KERNELS(sInvSqrt, la, sInvSqrtP<E::Newton>)
ZEV_UNARY_KERNELS(sInvSqrt, ep, sInvSqrtP<E::Raw>)
ZEV_UNARY_KERNELS(dInvSqrt, ha, dInvSqrtP<E::Exact>)
ZEV_UNARY_KERNELS(dInvSqrt, la, dInvSqrtP<E::Newton>)
ZEV_FLAGGED_BINARY(sDiv, ha, sDivHA)
ZEV_FLAGGED_BINARY(sDiv, la, sDivP<E::Newton>)
ZEV_FLAGGED_BINARY(sDiv, ep, sDivP<E::Raw>)
ZEV_FLAGGED_BINARY(dDiv, ha, dDivP)
