// Expm1 in single and double.
//
// Vector kernels (sExpm1, and dExpm1 at LA and EP): k = round(x N / ln 2) by
// the shifter, r = (x - kf L1) - kf L2, p = expm1(r) by a short polynomial, and
// 2^(k/N) = cut + lo from a table whose cut values have few significant bits.
// With e = k's bits above the index, H = 2^e cut is made exactly by OR-ing the
// biased exponent into the cut fraction, L = 2^e (lo + (cut + lo) p), and the
// minus one goes where it costs nothing:
//   (H - 1) + L     while H - 1 is exact (e from -13 to 23 in single, -32 to 52
//                   in double: the cut keeps 11 and 20 fraction bits),
//   (L - 1) + H     above, where 1 is far below H's last bit,
//   (H + L) - 1     below, where H + L is tiny beside 1.
// L is itself split: l1 = 2^e cut rh with rh the leading bits of p (the mask
// 0xFFFFC000 in single, 0xFFFFFFFF00000000 in double), exact, so that
// (H - 1) + l1 is exact where the two cancel; l2 holds the rest. Near zero
// (k = 0) the result is p itself, with no cancellation.
//
// Measured worst errors (zev_ulp --full, MPFR): sExpm1 0.548 ulp, dExpm1 LA
// and EP 0.595 ulp, dExpm1 HA 0.602 ulp.
//
// dExpm1 at HA has no vectors: it works element by element on the x87 unit
// with a control word of its own (53-bit precision, round to nearest, all
// exceptions masked), branching on the magnitude of x.
#include <cfloat>

#include "frame/report.h"
#include "frame/table.h"
#include "vector/exp/exp_common.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace expk;

// ---- scalar expm1 -----------------------------------------------------------------

// expm1 of a finite x <= 709.78, rounded once to double. F is double, or long
// double under 53-bit precision control (the x87 kernel). Returns the value
// widened to F before the final store.
template <class F>
double expm1_core(double xd) {
  const F x = xd;
  const F ax = x < 0 ? -x : x;
  if (ax < F(0x1p-54)) return static_cast<double>(x + F(0.5) * x * x);
  if (ax < F(0.0625)) {
    // Taylor series to degree 10: the first omitted term is below 2^-65 x.
    constexpr F c2 = 1.0 / 2, c3 = 1.0 / 6, c4 = 1.0 / 24, c5 = 1.0 / 120, c6 = 1.0 / 720, c7 = 1.0 / 5040,
                c8 = 1.0 / 40320, c9 = 1.0 / 362880, c10 = 1.0 / 3628800;
    const F x2 = x * x, x4 = x2 * x2;
    const F q = x2 * (((c2 + x * c3) + x2 * (c4 + x * c5)) +
                      x4 * (((c6 + x * c7) + x2 * (c8 + x * c9)) + x4 * c10));
    return static_cast<double>(x + q);
  }
  if (x < F(-40.0)) return static_cast<double>(F(-1.0) + F(0x1p-60));
  F zh, zl;
  mul_log<F>(x, kLog2eHi, kLog2eLo, zh, zl);
  const Pow2Parts<F> p = pow2_parts<F>(zh, zl);
  if (p.n > 60) return scale_once<F>(p.hi, p.lo, p.n);  // 1 is far below the last bit
  const F s = static_cast<F>(pow2i(p.n));
  const F a = p.hi * s, b = p.lo * s;  // exact
  // a - 1 as an exact sum h + e (Knuth's two-sum), then the small parts.
  const F h = a - F(1);
  const F av = h + F(1);
  const F e = (a - av) + (F(-1) - (h - av));
  return static_cast<double>(h + (e + b));
}

constexpr double kDExpm1Over = 709.782712893384;
constexpr float kSExpm1Over = 88.72283172607422f;

int sexpm1_scalar(const float* a, float* r) {
  const float x = *a;
  if (nonfinite(x, r, -1.0f)) return 0;
  if (x > kSExpm1Over) {
    *r = overflow_f();
    return 3;
  }
  const float f = static_cast<float>(expm1_core<double>(x));
  *r = f;
  return f > FLT_MAX ? 3 : 0;
}

int dexpm1_scalar(const double* a, double* r) {
  const double x = *a;
  if (nonfinite(x, r, -1.0)) return 0;
  if (x > kDExpm1Over) {
    *r = overflow_d();
    return 3;
  }
  *r = expm1_core<double>(x);
  return *r > DBL_MAX ? 3 : 0;
}

// ---- sExpm1 -------------------------------------------------------------------------

struct SExpm1Const {
  __m128 c, s, l1, l2, c2, c3, one, minus_one;
  I4 bias, big, small, bound, cutmask, sign;
};
alignas(16) const SExpm1Const kSM1 = {
    .c = f4(92.33248138427734f),                       // 64/ln2: x in units of the table step ln2/64 (kM1S64)
    .s = f4(12582912.0f),                              // 1.5 * 2^23: rounds to an integer k
    .l1 = f4(0.010833740234375f),                      // ln2/64, high part: k * l1 is exact
    .l2 = f4(-3.3155381515825866e-06f),                // ln2/64, low part
    .c2 = f4(0.5000008940696716f),                     // exp(r) - 1 - r ~ r^2 (c2 + r c3): c2
    .c3 = f4(0.16666696965694427f),                    // c3
    .one = f4(1.0f),                                   // 1.0
    .minus_one = f4(-1.0f),                            // -1.0
    .bias = i4(127 << 23),                             // 127 << 23: the exponent bias, in place
    .big = i4(23),                                     // exponents e above 23: the minus one is below the last bit (big)
    .small = i4(-13),                                  // exponents e below -13: 2^e + L tiny beside 1 (small)
    .bound = i4(0x42AD496B),                           // bits of 86.64339447021484: larger |x| go to the scalar function
    .cutmask = i4(static_cast<int32_t>(0xFFFFC000u)),  // cuts r to its high bits: r_hi * l exact
    .sign = i4(static_cast<int32_t>(0x80000000u)),     // the sign bit: expm1(-0) is -0
};

// The final sum, one form for all lanes with operands chosen by e:
//   result = (a + w) + (z + err),  a = u + v exact,  err the rounding error of
//   a + w (Fast2Sum: |a| >= |w| wherever it matters), L = l1 + l2 with l1
//   exact and l2 small:
//   mid    u = H, v = -1, w = l1,      z = l2       H - 1 exact
//   small  u = 0, v = -1, w = H + l1,  z = l2       H + L tiny beside 1
//   big    u = H, v = 0,  w = l1,      z = l2 - 1   1 far below H's last bit
// Masks and adds, no selects.
template <class V>
inline V expm1_sum(V h, V l1, V l2, V minus_one, V big, V small) {
  const V u = andnot(small, h);
  const V v = andnot(big, minus_one);
  const V w = add(l1, and_(small, h));
  const V z = add(l2, and_(big, minus_one));
  const V a = add(u, v);
  const V sum = add(a, w);
  const V err = sub(w, sub(sum, a));
  return add(sum, add(z, err));
}

struct SExpm1P : ExpPolicy<float, 8> {
  static constexpr const char* kName = "vsExpm1";
  static int scalar(const float* a, float* r) { return sexpm1_scalar(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const SExpm1Const& c = kSM1;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      m |= special_s(x[v], c.bound) << (4 * v);
      const __m128 t = _mm_add_ps(_mm_mul_ps(x[v], c.c), c.s);
      const __m128 kf = _mm_sub_ps(t, c.s);
      const __m128 ra = _mm_sub_ps(x[v], _mm_mul_ps(kf, c.l1));  // exact
      const __m128 rb = _mm_mul_ps(kf, c.l2);
      const __m128 r = _mm_sub_ps(ra, rb);
      const __m128 q = _mm_mul_ps(_mm_mul_ps(r, r), _mm_add_ps(c.c2, _mm_mul_ps(r, c.c3)));
      // p = r + q as rh + rl, rh with 10 significant bits: cut rh is exact, and
      // so is (H - 1) + 2^e cut rh wherever the two cancel.
      const __m128 rh = _mm_and_ps(ra, fv(iv(c.cutmask)));
      const __m128 rl = _mm_add_ps(_mm_sub_ps(_mm_sub_ps(ra, rh), rb), q);
      unsigned j[4];
      index4(t, 63, j);
      __m128 fr, lo;
      fetch_pairs(reinterpret_cast<const float(*)[2]>(expdata::kM1S64), j, fr, lo);
      const __m128i ebits = _mm_slli_epi32(_mm_srli_epi32(bits(t), 6), 23);  // e << 23
      const __m128i e = _mm_srai_epi32(ebits, 23);
      const __m128 scale = fv(_mm_add_epi32(ebits, iv(c.bias)));
      const __m128 cut1 = _mm_or_ps(fr, c.one);  // the cut value itself
      const __m128 h = _mm_or_ps(fr, scale);      // 2^e cut, exact
      const __m128 l1 = _mm_mul_ps(_mm_mul_ps(cut1, rh), scale);  // exact
      const __m128 l2 = _mm_mul_ps(_mm_add_ps(lo, _mm_add_ps(_mm_mul_ps(lo, _mm_add_ps(r, q)), _mm_mul_ps(cut1, rl))), scale);
      const __m128 big = fv(_mm_cmpgt_epi32(e, iv(c.big)));
      const __m128 small = fv(_mm_cmplt_epi32(e, iv(c.small)));
      const __m128 yy = expm1_sum(h, l1, l2, c.minus_one, big, small);
      y[v] = _mm_or_ps(yy, _mm_and_ps(x[v], fv(iv(c.sign))));  // expm1(-0) is -0
    }
    return m;
  }
};

// ---- dExpm1 at LA and EP ------------------------------------------------------------------

struct DExpm1Const {
  __m128d c, s, l1, l2, c2, c3, c4, c5, one, minus_one;
  I2 bias;
  I4 big, small, bound;
  I2 cutmask, sign;
};
alignas(16) const DExpm1Const kDM1 = {
    .c = d2(184.6649652337873),                                  // 128/ln2: x in units of the table step ln2/128 (kM1D128)
    .s = d2(6755399441055744.0),                                 // 1.5 * 2^52: rounds to an integer k
    .l1 = d2(0.005415212347998022),                              // ln2/128, high part: k * l1 is exact
    .l2 = d2(1.2655086083325438e-13),                            // ln2/128, low part
    .c2 = d2(0.4999999999999767),                                // exp(r) - 1 - r ~ r^2 (c2 + r (c3 + r (c4 + r c5))): c2
    .c3 = d2(0.166666666666658),                                 // c3
    .c4 = d2(0.04166667939432669),                               // c4
    .c5 = d2(0.008333335878830547),                              // c5
    .one = d2(1.0),                                              // 1.0
    .minus_one = d2(-1.0),                                       // -1.0
    .bias = i2(1023ll << 52),                                    // 1023 << 52: the exponent bias, in place
    .big = i4(52),                                               // exponents e above 52: the minus one is below the last bit (big)
    .small = i4(-32),                                            // exponents e below -32: 2^e + L tiny beside 1 (small)
    .bound = i4(0x40861DA0),                                     // high word of 707.7 (0x40861DA0): larger |x| go to the scalar function
    .cutmask = i2(static_cast<int64_t>(0xFFFFFFFF00000000ull)),  // cuts r to its high 32 bits: r_hi * l exact
    .sign = i2(static_cast<int64_t>(0x8000000000000000ull)),     // the sign bit: expm1(-0) is -0
};

struct DExpm1P : ExpPolicy<double, 8> {
  static constexpr const char* kName = "vdExpm1";
  static constexpr const char* kNameI = "vdExpm1I";
  static int scalar(const double* a, double* r) { return dexpm1_scalar(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const DExpm1Const& c = kDM1;
    for (int v = 0; v < NV; ++v) {
      const __m128d t = _mm_add_pd(_mm_mul_pd(x[v], c.c), c.s);
      const __m128d kf = _mm_sub_pd(t, c.s);
      const __m128d ra = _mm_sub_pd(x[v], _mm_mul_pd(kf, c.l1));  // exact
      const __m128d rb = _mm_mul_pd(kf, c.l2);
      const __m128d r = _mm_sub_pd(ra, rb);
      const __m128d r2 = _mm_mul_pd(r, r);
      // q = r^2 ((c2 + c3 r) + r^2 (c4 + c5 r)); p = r + q as rh + rl.
      const __m128d pa = _mm_add_pd(c.c2, _mm_mul_pd(r, c.c3));
      const __m128d pb = _mm_add_pd(c.c4, _mm_mul_pd(r, c.c5));
      const __m128d q = _mm_mul_pd(r2, _mm_add_pd(pa, _mm_mul_pd(r2, pb)));
      const __m128d rh = _mm_and_pd(ra, dv(iv(c.cutmask)));
      const __m128d rl = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(ra, rh), rb), q);
      unsigned j[2];
      index2(t, 127, j);
      const __m128d a0 = _mm_load_pd(reinterpret_cast<const double*>(&expdata::kM1D128[j[0]]));
      const __m128d a1 = _mm_load_pd(reinterpret_cast<const double*>(&expdata::kM1D128[j[1]]));
      const __m128d fr = _mm_unpacklo_pd(a0, a1), lo = _mm_unpackhi_pd(a0, a1);
      const __m128i ebits = _mm_slli_epi64(_mm_srli_epi64(bits(t), 7), 52);  // e << 52
      // e itself in both dwords of each lane, for the compares.
      const __m128i e = _mm_srai_epi32(_mm_shuffle_epi32(ebits, _MM_SHUFFLE(3, 3, 1, 1)), 20);
      const __m128d scale = dv(_mm_add_epi64(ebits, iv(c.bias)));
      const __m128d cut1 = _mm_or_pd(fr, c.one);
      const __m128d h = _mm_or_pd(fr, scale);
      const __m128d l1 = _mm_mul_pd(_mm_mul_pd(cut1, rh), scale);
      const __m128d l2 = _mm_mul_pd(_mm_add_pd(lo, _mm_add_pd(_mm_mul_pd(lo, _mm_add_pd(r, q)), _mm_mul_pd(cut1, rl))), scale);
      const __m128d big = dv(_mm_cmpgt_epi32(e, iv(c.big)));
      const __m128d small = dv(_mm_cmplt_epi32(e, iv(c.small)));
      const __m128d yy = expm1_sum(h, l1, l2, c.minus_one, big, small);
      y[v] = _mm_or_pd(yy, _mm_and_pd(x[v], dv(iv(c.sign))));
    }
    return special_d<NV>(x, c.bound);
  }
};

// ---- dExpm1 at HA: the x87 kernel --------------------------------------------------------

// The kernel's own prologue: unless the control word already has all
// exceptions masked, 53-bit precision and round to nearest, load that (other
// bits kept) after clearing pending exceptions; the epilogue loads the saved
// word back. MXCSR is not touched.
// A caller's word that unmasks an exception would turn the flags raised
// inside (inexact, nearly always; invalid for a signalling NaN) into a trap at
// its next x87 instruction: they are cleared before the word comes back.
class X87Guard {
 public:
  X87Guard() {
    const uint16_t cw = x87_control();
    if ((cw & 0xF3F) != 0x23F) {
      saved_ = cw;
      x87_clear_exceptions();
      x87_load_control(static_cast<uint16_t>((cw & 0xF0C0) + 0x23F));
      changed_ = true;
    }
  }
  ~X87Guard() {
    if (changed_) {
      if ((saved_ & kX87Masks) != kX87Masks) x87_clear_exceptions();
      x87_load_control(saved_);
    }
  }
  X87Guard(const X87Guard&) = delete;
  X87Guard& operator=(const X87Guard&) = delete;

 private:
  uint16_t saved_ = 0;
  bool changed_ = false;
};

using LD = long double;

// One element on the x87 unit. Branches on the high word of |x|.
int expm1_x87(const double* a, double* r) {
  const double x = *a;
  const uint64_t u = ubits(x);
  const uint32_t hw = static_cast<uint32_t>(u >> 32) & 0x7FFFFFFFu;
  if (hw >= 0x4055A92Du) {
    // Large arguments: NaN, infinities, overflow, the flat -1 side, and exp.
    if (hw >= 0x7FF00000u) {
      if ((u & 0x000FFFFFFFFFFFFFull) != 0) {
        *r = static_cast<double>(LD(x) + LD(x));
      } else {
        *r = (u >> 63) ? -1.0 : x;
      }
      return 0;
    }
    if (u >> 63) {
      *r = static_cast<double>(LD(-1.0) + LD(0x1p-60));
      return 0;
    }
    if (x > kDExpm1Over) {
      *r = static_cast<double>(LD(0x1p1023) * LD(0x1p1023));  // +inf and the overflow flag at the store
      return 3;
    }
    LD zh, zl;
    mul_log<LD>(x, kLog2eHi, kLog2eLo, zh, zl);
    const Pow2Parts<LD> p = pow2_parts<LD>(zh, zl);
    *r = scale_once<LD>(p.hi, p.lo, p.n);
    return 0;
  }
  if (u > 0x404419EC00000000ull && (u >> 63) == 0) {
    // x > 40.2025146484375, compared on the bits: a double compare would
    // raise the denormal flag in MXCSR for a subnormal x.
    // exp(x) exceeds 2^58: the minus one is far below the last bit.
    LD zh, zl;
    mul_log<LD>(x, kLog2eHi, kLog2eLo, zh, zl);
    const Pow2Parts<LD> p = pow2_parts<LD>(zh, zl);
    *r = scale_once<LD>(p.hi, p.lo, p.n);
    return 0;
  }
  if (hw >= 0x3F700000u) {
    *r = expm1_core<LD>(x);
    return 0;
  }
  if (hw >= 0x3C600000u) {
    // |x| < 2^-8: to degree 7 the first omitted term is below 2^-60 x.
    const LD xl = x;
    const LD q = xl * xl *
                 (LD(0.5) + xl * (LD(1.0 / 6) + xl * (LD(1.0 / 24) + xl * (LD(1.0 / 120) +
                                                                           xl * (LD(1.0 / 720) + xl * LD(1.0 / 5040))))));
    *r = static_cast<double>(xl + q);
    return 0;
  }
  if (hw >= 0x00100000u) {
    const LD xl = x;
    *r = static_cast<double>(xl + LD(0.5) * xl * xl);
    return 0;
  }
  // Zero gives itself; a denormal gives itself, as x + x^2/2 rounds to x.
  *r = x;
  return 0;
}

// The policy of the x87 kernel: every lane goes through expm1_x87, under the
// kernel's own prologue.
struct DExpm1X87 {
  using T = double;
  using Guard = X87Guard;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = 8;
  static constexpr bool kEveryLane = true;
  static constexpr const char* kName = "vdExpm1";
  static constexpr const char* kNameI = "vdExpm1I";
  static __m128d eval(__m128d x, __m128d& special) {
    special = Vec<double>::ones();
    return x;
  }
  static int scalar(const double* a, double* r) { return expm1_x87(a, r); }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sExpm1, lahaep, SExpm1P)
ZEV_KERNELS(dExpm1, laep, DExpm1P)

ZEV_KERNELS(dExpm1, ha, DExpm1X87)
