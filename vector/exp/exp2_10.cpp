// Exp2 and Exp10 in single and double, one kernel each for all levels.
//
// Exp2 needs no multiplication to reduce: adding 1.5 * 2^(m - 6) to x rounds it
// to a multiple of 1/64, the low bits of the sum's view hold 64 x rounded, and
// f = x - (that sum minus the shifter) is exact. Exp10 reduces by 128 log2(10)
// steps with a split constant. Both finish with y = hi + (lo + hi p) on a
// table of {hi, lo} pairs and an integer add into y's exponent field: the fast
// bounds keep every such result normal.
//
// Measured worst errors (zev_ulp --full, MPFR): sExp2 0.611 ulp, sExp10 0.551,
// dExp2 0.518, dExp10 0.505.
//
// The scalar functions compute 2^z with z = x log2(base) carried as a double
// pair, and round once, denormal results included.
#include <cfloat>

#include "vector/exp/exp_common.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace expk;

// ---- scalar functions ----------------------------------------------------------

// 2^(zh + zl) rounded once to double, for |zh| < 1100.
inline double pow2_once(double zh, double zl) {
  const Pow2Parts<double> p = pow2_parts<double>(zh, zl);
  return scale_once<double>(p.hi, p.lo, p.n);
}

// Single results of a double value: status from the rounded result.
inline int store_single(double v, float* r) {
  const float f = static_cast<float>(v);
  *r = f;
  if (f > FLT_MAX) return 3;
  if (f < FLT_MIN) return 4;
  return 0;
}
inline int status_double(double v) {
  if (v > DBL_MAX) return 3;
  if (v < DBL_MIN) return 4;
  return 0;
}

int sexp2_scalar(const float* a, float* r) {
  const float x = *a;
  if (nonfinite(x, r)) return 0;
  if (x >= 128.0f) {
    *r = overflow_f();
    return 3;
  }
  if (x <= -150.0f) {
    *r = underflow_f();
    return 4;
  }
  return store_single(pow2_once(x, 0.0), r);
}

int sexp10_scalar(const float* a, float* r) {
  const float x = *a;
  if (nonfinite(x, r)) return 0;
  if (x > 39.0f) {
    *r = overflow_f();
    return 3;
  }
  if (x < -46.0f) {
    *r = underflow_f();
    return 4;
  }
  double zh, zl;
  mul_log<double>(x, kLog2tenHi, kLog2tenLo, zh, zl);
  return store_single(pow2_once(zh, zl), r);
}

int dexp2_scalar(const double* a, double* r) {
  const double x = *a;
  if (nonfinite(x, r)) return 0;
  if (x >= 1024.0) {
    *r = overflow_d();
    return 3;
  }
  if (x <= -1075.0) {
    *r = underflow_d();
    return 4;
  }
  *r = pow2_once(x, 0.0);
  return status_double(*r);
}

int dexp10_scalar(const double* a, double* r) {
  const double x = *a;
  if (nonfinite(x, r)) return 0;
  if (x > 309.0) {
    *r = overflow_d();
    return 3;
  }
  if (x < -324.0) {
    *r = underflow_d();
    return 4;
  }
  double zh, zl;
  mul_log<double>(x, kLog2tenHi, kLog2tenLo, zh, zl);
  *r = pow2_once(zh, zl);
  return status_double(*r);
}

// ---- sExp2 ------------------------------------------------------------------------

struct SExp2Const {
  __m128 s, c1, c2;
  I4 bound;
};
alignas(16) const SExp2Const kS2 = {
    .s = f4(196608.0f),              // 1.5 * 2^17: adding it rounds x to a multiple of 1/64 (table kS64)
    .c1 = f4(0.693149745464325f),    // 2^f - 1 ~ f (c1 + f c2) on |f| <= 1/128: c1
    .c2 = f4(0.24022668600082397f),  // c2
    .bound = i4(0x42FC0000),         // bits of 126.0: larger |x| go to the scalar function
};

struct SExp2P : ExpPolicy<float, 4> {
  static constexpr const char* kName = "vsExp2";
  static int scalar(const float* a, float* r) { return sexp2_scalar(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const SExp2Const& c = kS2;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      m |= special_s(x[v], c.bound) << (4 * v);
      const __m128 t = _mm_add_ps(x[v], c.s);
      const __m128 f = _mm_sub_ps(x[v], _mm_sub_ps(t, c.s));
      const __m128 p = _mm_mul_ps(f, _mm_add_ps(c.c1, _mm_mul_ps(f, c.c2)));
      unsigned j[4];
      index4(t, 63, j);
      __m128 hi, lo;
      fetch_pairs(expdata::kS64, j, hi, lo);
      const __m128 yy = _mm_add_ps(hi, _mm_add_ps(lo, _mm_mul_ps(hi, p)));
      y[v] = fv(_mm_add_epi32(bits(yy), _mm_slli_epi32(_mm_srli_epi32(bits(t), 6), 23)));
    }
    return m;
  }
};

// ---- sExp10 -----------------------------------------------------------------------

struct SExp10Const {
  __m128 c, s, l1, l2, c1, c2;
  I4 bound;
};
alignas(16) const SExp10Const kS10 = {
    .c = f4(425.206787109375f),          // 128 log2(10): x in units of the table step log10(2)/128
    .s = f4(12582912.0f),                // 1.5 * 2^23: rounds to an integer k
    .l1 = f4(0.002353668212890625f),     // log10(2)/128, high part: k * l1 is exact
    .l2 = f4(-1.8713717508944683e-06f),  // log10(2)/128, low part
    .c1 = f4(2.3025872707366943f),       // 10^r - 1 ~ r (c1 + r c2): c1 (ln 10)
    .c2 = f4(2.650949716567993f),        // c2
    .bound = i4(0x4217B818),             // bits of 37.929779052734375: larger |x| go to the scalar function
};

struct SExp10P : ExpPolicy<float, 8> {
  static constexpr const char* kName = "vsExp10";
  static int scalar(const float* a, float* r) { return sexp10_scalar(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const SExp10Const& c = kS10;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      m |= special_s(x[v], c.bound) << (4 * v);
      __m128 t;
      const __m128 r = reduce(x[v], c, t);
      const __m128 p = _mm_mul_ps(r, _mm_add_ps(c.c1, _mm_mul_ps(r, c.c2)));
      unsigned j[4];
      index4(t, 127, j);
      __m128 hi, lo;
      fetch_pairs(expdata::kS128, j, hi, lo);
      const __m128 yy = _mm_add_ps(hi, _mm_add_ps(lo, _mm_mul_ps(hi, p)));
      y[v] = fv(_mm_add_epi32(bits(yy), _mm_slli_epi32(_mm_srli_epi32(bits(t), 7), 23)));
    }
    return m;
  }
};

// ---- dExp2 ------------------------------------------------------------------------

struct DExp2Const {
  __m128d s, c1, c2, c3, c4, c5;
};
alignas(16) const DExp2Const kD2 = {
    .s = d2(105553116266496.0),       // 1.5 * 2^46: adding it rounds x to a multiple of 1/64 (table kD64)
    .c1 = d2(0.6931471805599453),     // 2^f - 1 ~ f (c1 + f (c2 + ... + f c5)) on |f| <= 1/128: c1 (ln 2)
    .c2 = d2(0.24022650695884967),    // c2
    .c3 = d2(0.05550410866607508),    // c3
    .c4 = d2(0.009618142269653759),   // c4
    .c5 = d2(0.0013333417185814622),  // c5
};

struct DExp2P : ExpPolicy<double, 4> {
  static constexpr const char* kName = "vdExp2";
  static int scalar(const double* a, double* r) { return dexp2_scalar(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const DExp2Const& c = kD2;
    for (int v = 0; v < NV; ++v) {
      const __m128d t = _mm_add_pd(x[v], c.s);
      const __m128d f = _mm_sub_pd(x[v], _mm_sub_pd(t, c.s));
      const __m128d f2 = _mm_mul_pd(f, f);
      // f (c1 + c2 f) + f^3 ((c3 + c4 f) + c5 f^2)
      const __m128d lo2 = _mm_add_pd(c.c1, _mm_mul_pd(f, c.c2));
      const __m128d hi3 = _mm_add_pd(_mm_add_pd(c.c3, _mm_mul_pd(f, c.c4)), _mm_mul_pd(f2, c.c5));
      const __m128d p = _mm_add_pd(_mm_mul_pd(f, lo2), _mm_mul_pd(_mm_mul_pd(f2, f), hi3));
      unsigned j[2];
      index2(t, 63, j);
      __m128d hi, lo;
      fetch_pairs(expdata::kD64, j, hi, lo);
      y[v] = dv(_mm_add_epi64(bits(_mm_add_pd(hi, _mm_add_pd(lo, _mm_mul_pd(hi, p)))),
                              _mm_slli_epi64(_mm_srli_epi64(bits(t), 6), 52)));
    }
    return special_d<NV>(x, i4(0x408FEFFF));
  }
};

// ---- dExp10 -----------------------------------------------------------------------

struct DExp10Const {
  __m128d c, s, l1, l2, c1, c2, c3, c4, c5;
};
alignas(16) const DExp10Const kD10 = {
    .c = d2(425.20679614558236),       // 128 log2(10): x in units of the table step log10(2)/128
    .s = d2(6896136929411072.0),       // 1.5 * 2^52 + 2^47: rounds to an integer k, kept positive in the low bits
    .l1 = d2(0.0023517968411397305),   // log10(2)/128, high part: k * l1 is exact
    .l2 = d2(-1.487744411497209e-14),  // log10(2)/128, low part
    .c1 = d2(2.302585092994046),       // 10^r - 1 ~ r (c1 + r (c2 + ... + r c5)): c1 (ln 10)
    .c2 = d2(2.650949055239026),       // c2
    .c3 = d2(2.0346785917911965),      // c3
    .c4 = d2(1.1712555494866221),      // c4
    .c5 = d2(0.5396424512945068),      // c5
};

struct DExp10P : ExpPolicy<double, 4> {
  static constexpr const char* kName = "vdExp10";
  static int scalar(const double* a, double* r) { return dexp10_scalar(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const DExp10Const& c = kD10;
    for (int v = 0; v < NV; ++v) {
      __m128d t;
      const __m128d r = reduce(x[v], c, t);
      const __m128d r2 = _mm_mul_pd(r, r);
      const __m128d lo2 = _mm_add_pd(c.c1, _mm_mul_pd(r, c.c2));
      const __m128d hi3 = _mm_add_pd(_mm_add_pd(c.c3, _mm_mul_pd(r, c.c4)), _mm_mul_pd(r2, c.c5));
      const __m128d p = _mm_add_pd(_mm_mul_pd(r, lo2), _mm_mul_pd(_mm_mul_pd(r2, r), hi3));
      unsigned j[2];
      index2(t, 127, j);
      __m128d hi, lo;
      fetch_pairs(expdata::kD128, j, hi, lo);
      y[v] = dv(_mm_add_epi64(bits(_mm_add_pd(hi, _mm_add_pd(lo, _mm_mul_pd(hi, p)))),
                              _mm_slli_epi64(_mm_srli_epi64(bits(t), 7), 52)));
    }
    return special_d<NV>(x, i4(0x40733A70));
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sExp2, lahaep, SExp2P)
ZEV_KERNELS(sExp10, lahaep, SExp10P)
ZEV_KERNELS(dExp2, lahaep, DExp2P)
ZEV_KERNELS(dExp10, lahaep, DExp10P)
