// Exp in single and double, three kernels each.
//
// Every kernel: t = x C + S with the rounding shifter S, so that the low bits
// of t's integer view hold k = round(x C); kf = t - S; a reduced argument; a
// polynomial; and a scale by 2^(k's upper bits) made by integer arithmetic on
// t's view. Lanes whose magnitude passes the fast bound (NaN and infinities
// among them) are flagged from the bits of x and go to the scalar function.
//
// Measured worst errors (docs/accuracy_exp.md; single exhaustive):
//   sExp  HA 0.568 ulp at 0x1.3bef32p+6   LA 3.18 ulp at 0x1.5eede8p+6 (scalar
//         path)   EP 12.4 correct bits
//   dExp  HA 0.519 ulp at -0x1.3fb569747c8p-5   LA 2.09 ulp at
//         -0x1.e53119d08b1cep-5   EP 28.2 correct bits
#include <cfloat>
#include <cmath>
#include <limits>

#include "vector/exp/exp_common.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace expk;

// ---- sExp --------------------------------------------------------------------

constexpr I4 kSExpBound = i4(0x42AEAC4F);  // 87.33654022216797

struct SExpHAConst {
  __m128 c, s, l1, l2, half;
  I4 bias, expmask;
};
alignas(16) const SExpHAConst kSHA = {
    .c = f4(184.6649627685547f),         // 128/ln2: x in units of the table step ln2/128
    .s = f4(12582912.0f),                // 1.5 * 2^23: adding it rounds to an integer k in the low bits
    .l1 = f4(0.0054168701171875f),       // ln2/128, high part: k * l1 is exact
    .l2 = f4(-1.6577690757912933e-06f),  // ln2/128, low part
    .half = f4(0.5f),                    // coefficient of r^2 in exp(r) - 1 = r + r^2/2
    .bias = i4(0x3F80),                  // 127 << 7: the exponent bias above the 7 index bits of k
    .expmask = i4(0x7F800000),           // the exponent field
};

struct SExpLAConst {
  __m128 c, s, l1, l2, c0, c1, c2, c3, c4, c5;
};
alignas(16) const SExpLAConst kSLA = {
    .c = f4(1.4426950216293335f),      // 1/ln2
    .s = f4(12582912.0f),              // 1.5 * 2^23: rounds x/ln2 to an integer k
    .l1 = f4(0.693145751953125f),      // ln2, high part: k * l1 is exact
    .l2 = f4(1.428606765330187e-06f),  // ln2, low part
    .c0 = f4(1.0f),                    // exp(r) ~ c0 + c1 r + ... + c5 r^5 on |r| <= ln2/2: c0
    .c1 = f4(0.9999998807907104f),     // c1
    .c2 = f4(0.4999939203262329f),     // c2
    .c3 = f4(0.16667431592941284f),    // c3
    .c4 = f4(0.041873522102832794f),   // c4
    .c5 = f4(0.008291719481348991f),   // c5
};

struct SExpEPConst {
  __m128 c, s, one, c1, c2, c3;
};
alignas(16) const SExpEPConst kSEP = {
    .c = f4(1.4426950216293335f),     // 1/ln2: x in units of ln2
    .s = f4(12582912.0f),             // 1.5 * 2^23: rounds to an integer k
    .one = f4(1.0f),                  // 1.0
    .c1 = f4(0.6931782960891724f),    // 2^f - 1 ~ f (c1 + f (c2 + f c3)) on |f| <= 1/2: c1
    .c2 = f4(0.2420288622379303f),    // c2
    .c3 = f4(0.055504005402326584f),  // c3
};

// Overflow and underflow limits of Exp, and the edge below which results are
// subnormal (underflow, status 4).
template <class T> struct ExpEdges;
template <> struct ExpEdges<float> {
  static constexpr float kOver = 88.72283172607422f, kUnder = -103.97207641601562f, kSubnormal = -87.33654022216797f;
};
template <> struct ExpEdges<double> {
  static constexpr double kOver = 709.782712893384, kUnder = -745.1332191019411, kSubnormal = -708.3964185322641;
};

// The NOERR shortcut: flagged lanes past the limits get +inf or +0 without the
// scalar call; the rest stay flagged.
template <class T, int NV>
unsigned noerr_settle(unsigned mask, const typename Vec<T>::V (&x)[NV], typename Vec<T>::V (&y)[NV]) {
  using W = Vec<T>;
  using V = typename W::V;
  constexpr int L = W::kLanes;
  const V over = W::set1(ExpEdges<T>::kOver), under = W::set1(ExpEdges<T>::kUnder);
  const V inf = W::set1(std::numeric_limits<T>::infinity()), zero = W::zero();
  unsigned settled = 0;
  for (int k = 0; k < NV; ++k) {
    V lanes;
    if constexpr (L == 4) lanes = lanes_s(mask >> (L * k));
    else lanes = lanes_d(mask >> (L * k));
    const V m = and_(lanes, or_(cmplt(over, x[k]), cmplt(x[k], under)));
    y[k] = select(m, and_(cmplt(zero, x[k]), inf), y[k]);
    settled |= static_cast<unsigned>(W::mask(m)) << (L * k);
  }
  return mask & ~settled;
}

// Scalar function of sExp at LA and EP, in single arithmetic.
int sexp_scalar_single(const float* a, float* r) {
  const float x = *a;
  if (nonfinite(x, r)) return 0;
  if (x > ExpEdges<float>::kOver) {
    *r = overflow_f();
    return 3;
  }
  if (x < ExpEdges<float>::kUnder) {
    *r = underflow_f();
    return 4;
  }
  const float t = 1.442695f * x + 12582912.0f;
  const float kf = t - 12582912.0f;
  const int k = static_cast<int>(ubits(t)) - 0x4B400000;
  // The large part first: kf ln2_hi is exact and x minus it is exact, so the
  // small part's rounding stays small.
  const float rr = (x - kf * 0.69314575f) - kf * 1.4286068e-6f;
  const float p =
      1.0000001f + rr * (1.0f + rr * (0.4999887f + rr * (0.16666326f + rr * (0.041917525f + rr * 0.0083811125f))));
  if (x < ExpEdges<float>::kSubnormal) {
    const float scale = ffrom(static_cast<uint32_t>((k - 69) & 0xFF) << 23);  // 2^(k + 60)
    *r = (p * scale) * 8.673617379884035e-19f;                                 // times 2^-60
    return 4;
  }
  if (k + 127 > 254) {
    *r = (p * ffrom(static_cast<uint32_t>((k + 126) & 0xFF) << 23)) * 2.0f;
    return 0;
  }
  *r = p * ffrom(static_cast<uint32_t>((k + 127) & 0xFF) << 23);
  return 0;
}

// Scalar function of sExp at HA and of dExp at every level: the double
// computation, rounded once to T.
template <class T>
int exp_scalar(const T* a, T* r) {
  using E = ExpEdges<T>;
  const T x = *a;
  if (nonfinite(x, r)) return 0;
  if (std::fabs(x) < T(0x1p-52)) {
    *r = static_cast<T>(static_cast<double>(x) + 1.0);
    return 0;
  }
  if (x > E::kOver) {
    if constexpr (sizeof(T) == 4) *r = overflow_f(); else *r = overflow_d();
    return 3;
  }
  if (x < E::kUnder) {
    if constexpr (sizeof(T) == 4) *r = underflow_f(); else *r = underflow_d();
    return 4;
  }
  *r = static_cast<T>(exp_core<double>(x));
  return x < E::kSubnormal ? 4 : 0;
}

// ---- single policies ----

struct SExpBase : ExpPolicy<float, 4> {
  static constexpr bool kNoErrShortcut = true;
  static constexpr const char* kName = "vsExp";
  template <int NV>
  static unsigned noerr(unsigned mask, const V (&x)[NV], V (&y)[NV]) {
    return noerr_settle<float, NV>(mask, x, y);
  }
};

struct SExpHA : SExpBase {
  static int scalar(const float* a, float* r) { return exp_scalar<float>(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const SExpHAConst& c = kSHA;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      m |= special_s(x[v], kSExpBound) << (4 * v);
      __m128 t;
      const __m128 r = reduce(x[v], c, t);
      const __m128 p = _mm_add_ps(r, _mm_mul_ps(c.half, _mm_mul_ps(r, r)));
      unsigned j[4];
      index4(t, 127, j);
      __m128 hi, lo;
      fetch_pairs(expdata::kS128, j, hi, lo);
      const __m128 yy = _mm_add_ps(hi, _mm_add_ps(lo, _mm_mul_ps(hi, p)));
      const __m128i sc = _mm_and_si128(_mm_slli_epi32(_mm_add_epi32(bits(t), iv(c.bias)), 16), iv(c.expmask));
      y[v] = _mm_mul_ps(yy, fv(sc));
    }
    return m;
  }
};

struct SExpLA : SExpBase {
  static int scalar(const float* a, float* r) { return sexp_scalar_single(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const SExpLAConst& c = kSLA;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      m |= special_s(x[v], kSExpBound) << (4 * v);
      __m128 t;
      const __m128 r = reduce(x[v], c, t);
      __m128 p = _mm_add_ps(c.c4, _mm_mul_ps(r, c.c5));
      p = _mm_add_ps(c.c3, _mm_mul_ps(r, p));
      p = _mm_add_ps(c.c2, _mm_mul_ps(r, p));
      p = _mm_add_ps(c.c1, _mm_mul_ps(r, p));
      p = _mm_add_ps(c.c0, _mm_mul_ps(r, p));
      y[v] = fv(_mm_add_epi32(bits(p), _mm_slli_epi32(bits(t), 23)));
    }
    return m;
  }
};

struct SExpEP : SExpBase {
  static int scalar(const float* a, float* r) { return sexp_scalar_single(a, r); }
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const SExpEPConst& c = kSEP;
    unsigned m = 0;
    for (int v = 0; v < NV; ++v) {
      m |= special_s(x[v], kSExpBound) << (4 * v);
      const __m128 xc = _mm_mul_ps(x[v], c.c);
      const __m128 t = _mm_add_ps(xc, c.s);
      const __m128 f = _mm_sub_ps(xc, _mm_sub_ps(t, c.s));  // in units of powers of 2
      __m128 p = _mm_add_ps(c.c2, _mm_mul_ps(f, c.c3));
      p = _mm_add_ps(c.c1, _mm_mul_ps(f, p));
      p = _mm_add_ps(c.one, _mm_mul_ps(f, p));
      y[v] = fv(_mm_add_epi32(bits(p), _mm_slli_epi32(bits(t), 23)));
    }
    return m;
  }
};

// ---- dExp ----------------------------------------------------------------------

constexpr I4 kDExpBound = i4(0x4086232A);  // high word of about 708.3955

struct DExpHAConst {
  __m128d c, s, l1, l2, c2, c3, c4, c5;
};
alignas(16) const DExpHAConst kDHA = {
    .c = d2(92.33248261689366),       // 64/ln2: x in units of the table step ln2/64 (kD64)
    .s = d2(6755399441055744.0),      // 1.5 * 2^52: rounds to an integer k in the low bits
    .l1 = d2(0.010830424696223417),   // ln2/64, high part: k * l1 is exact
    .l2 = d2(2.572804622327669e-14),  // ln2/64, low part
    .c2 = d2(0.4999999999994775),     // exp(r) - 1 - r ~ r^2 (c2 + r (c3 + r (c4 + r c5))): c2
    .c3 = d2(0.1666666666667797),     // c3
    .c4 = d2(0.04166672368662385),    // c4
    .c5 = d2(0.00833333416441411),    // c5
};

struct DExpLAConst {
  __m128d c, s, l1, l2, c2, c3;
};
alignas(16) const DExpLAConst kDLA = {
    .c = d2(1477.3197218702985),      // 1024/ln2: x in units of the table step ln2/1024 (kD1024)
    .s = d2(6755399441055744.0),      // 1.5 * 2^52: rounds to an integer k
    .l1 = d2(0.0006769015431018488),  // ln2/1024, high part: k * l1 is exact
    .l2 = d2(4.137227896298129e-13),  // ln2/1024, low part
    .c2 = d2(0.5000000035796539),     // exp(r) - 1 - r ~ r^2 (c2 + r c3): c2
    .c3 = d2(0.16666666666666669),    // c3
};

struct DExpEPConst {
  __m128d c, s, l, one, c2;
};
alignas(16) const DExpEPConst kDEP = {
    .c = d2(184.6649652337873),      // 128/ln2: x in units of the table step ln2/128 (kD128One)
    .s = d2(6755399441055744.0),     // 1.5 * 2^52: rounds to an integer k
    .l = d2(0.0054152123481245725),  // ln2/128 in one part (EP needs no split)
    .one = d2(1.0),                  // 1.0
    .c2 = d2(0.49999908361121337),   // exp(r) ~ 1 + r + c2 r^2: c2
};

// 2^(k's bits above the index) added into the exponent field of y.
template <int IndexBits>
inline __m128d add_exponent(__m128d y, __m128d t) {
  return dv(_mm_add_epi64(bits(y), _mm_slli_epi64(_mm_srli_epi64(bits(t), IndexBits), 52)));
}

struct DExpBase : ExpPolicy<double, 4> {
  static constexpr bool kNoErrShortcut = true;
  static constexpr const char* kName = "vdExp";
  static int scalar(const double* a, double* r) { return exp_scalar<double>(a, r); }
  template <int NV>
  static unsigned noerr(unsigned mask, const V (&x)[NV], V (&y)[NV]) {
    return noerr_settle<double, NV>(mask, x, y);
  }
};

struct DExpHA : DExpBase {
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const DExpHAConst& c = kDHA;
    for (int v = 0; v < NV; ++v) {
      __m128d t;
      const __m128d r = reduce(x[v], c, t);
      const __m128d r2 = _mm_mul_pd(r, r);
      __m128d p = _mm_add_pd(c.c4, _mm_mul_pd(r, c.c5));
      p = _mm_add_pd(c.c3, _mm_mul_pd(r, p));
      p = _mm_add_pd(c.c2, _mm_mul_pd(r, p));
      p = _mm_add_pd(r, _mm_mul_pd(r2, p));
      unsigned j[2];
      index2(t, 63, j);
      __m128d hi, lo;
      fetch_pairs(expdata::kD64, j, hi, lo);
      y[v] = add_exponent<6>(_mm_add_pd(hi, _mm_add_pd(lo, _mm_mul_pd(hi, p))), t);
    }
    return special_d<NV>(x, kDExpBound);
  }
};

struct DExpLA : DExpBase {
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const DExpLAConst& c = kDLA;
    for (int v = 0; v < NV; ++v) {
      __m128d t;
      const __m128d r = reduce(x[v], c, t);
      const __m128d q = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), _mm_add_pd(c.c2, _mm_mul_pd(r, c.c3))));
      unsigned j[2];
      index2(t, 1023, j);
      const __m128d tv = fetch(expdata::kD1024, j);
      y[v] = add_exponent<10>(_mm_add_pd(tv, _mm_mul_pd(tv, q)), t);
    }
    return special_d<NV>(x, kDExpBound);
  }
};

struct DExpEP : DExpBase {
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    const DExpEPConst& c = kDEP;
    for (int v = 0; v < NV; ++v) {
      const __m128d t = _mm_add_pd(_mm_mul_pd(x[v], c.c), c.s);
      const __m128d kf = _mm_sub_pd(t, c.s);
      const __m128d r = _mm_sub_pd(x[v], _mm_mul_pd(kf, c.l));
      const __m128d p = _mm_add_pd(c.one, _mm_mul_pd(r, _mm_add_pd(c.one, _mm_mul_pd(r, c.c2))));
      unsigned j[2];
      index2(t, 127, j);
      y[v] = add_exponent<7>(_mm_mul_pd(fetch(expdata::kD128One, j), p), t);
    }
    return special_d<NV>(x, kDExpBound);
  }
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sExp, la, SExpLA)
ZEV_KERNELS(sExp, ha, SExpHA)
ZEV_KERNELS(sExp, ep, SExpEP)
ZEV_KERNELS(dExp, la, DExpLA)
ZEV_KERNELS(dExp, ha, DExpHA)
ZEV_KERNELS(dExp, ep, DExpEP)
