// LGamma (log |gamma|) and TGamma in single and double: one kernel for all
// levels, an element loop over a scalar function that works in the x87
// extended format (gamma_ext.h), under the loop's own control word.
//
// lgamma, positive x, branch by the biased exponent and the high word:
//   exponent from 0x408 (x >= 512)   Stirling's series, four terms (asymptotic)
//   exponent from 0x401 (x >= 4)     Stirling's series from 8 on, below it the
//                                    shift down to [1.25, 2.25) (middle)
//   high word 0x40020000 (2.25) to 4  the same shift
//   0x3FFC0000 (1.75) to 2.25        t (polynomial in t), t = x - 2
//   0x3FF40000 (1.25) to 1.75        polynomial in x - 1.5
//   0x3FEC0000 (0.875) to 1.25       t (polynomial in t), t = x - 1, whose top
//                                    twelve coefficients are fixed constants
//   below 0.875                      lgamma(1 + x) - ln x
// x = 1 exactly returns 0 before any of them. Negative x: near each of the 32
// zeros from -2.457 down to -17 (below, no double comes near one) a
// polynomial in the distance to the zero keeps the relative error small;
// elsewhere the reflection ln(pi / |x sin(pi x)|) - lgamma(-x).
//
// tgamma: gamma(y) = e^lgamma(y) on [1, 2), and the recurrence upward or
// downward to there, the products on four chains; each factor near a pole is
// formed from x itself, so it keeps all its bits.
//
// Measured worst errors (zev_ulp, MPFR): see docs/accuracy_gamma.md.
#include <cstdint>
#include <limits>

#include "vector/common/bits.h"
#include "vector/gamma/gamma_ext.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace gammax;

// lgamma of a finite nonzero double (or widened single) x that is not a
// negative integer, in the extended format.
LD lgamma_ext(double xd) {
  const LD x = xd;
  if (x > 0) return lg_pos(xd);
  if (x > -18 && x < -2) {
    const int k = static_cast<int>(xd < 0 ? -xd : xd);  // x in (-k-1, -k)
    for (int i = 2 * (k - 2); i < 2 * (k - 2) + 2; ++i) {
      const NegZero& z = kNegZeros[i];
      const LD t = (x - z.hi) - z.lo;
      if (t <= z.rho && t >= -z.rho) return t * horner(z.c, t);
    }
  }
  const LD r = x - nearest(x);  // exact, nonzero
  const LD s = sinpi(r < 0 ? -r : r);
  return (kExt.ln_pi - log(-x * s)) - lg_pos(-xd);
}

// A negative integer (x <= -1 with no fraction), as a long double test.
inline bool negative_integer(LD x) { return x < 0 && (x <= -0x1p63L || x == nearest(x)); }

// Infinity or NaN, from the bits: no compare raises a flag on a signalling NaN.
template <class T>
inline bool inf_or_nan(T x) {
  constexpr auto e = sizeof(T) == 4 ? uint64_t{0x7F800000u} : uint64_t{0x7FF0000000000000ull};
  return (ubits(x) & e) == e;
}

// Status 3 where the rounded result overflows: from x = 2.5563e305 on in
// double. T is float or double; the work is in the extended format.
template <class T>
int lgamma_scalar(const T* a, T* r) {
  const T x = *a;
  if (inf_or_nan(x)) {
    *r = static_cast<T>(LD(x) * LD(x));
    return 0;
  }
  if ((ubits(x) << 1) == 0) {  // a zero of either sign
    *r = static_cast<T>(1 / LD(0));
    return 2;
  }
  if (x == 1) {
    *r = 0;
    return 0;
  }
  if ((ubits(x) & (sizeof(T) == 4 ? uint64_t{0x7F800000u} : uint64_t{0x7FF0000000000000ull})) == 0) {
    // Subnormal: lgamma x = -ln|x| - gamma x + ..., the rest far below an
    // ulp. Taken from the bits into the extended format, so that a DAZ the
    // caller set cannot read x as the zero the test above ruled out.
    *r = static_cast<T>(-log(abs_ext(x)));
    return 0;
  }
  if (negative_integer(x)) {
    *r = static_cast<T>(1 / LD(0));
    return 2;
  }
  const T v = static_cast<T>(lgamma_ext(x));
  *r = v;
  return v > std::numeric_limits<T>::max() ? 3 : 0;
}

// gamma of a finite nonzero x that is not a negative integer. Past the ends
// of the double range the value is an infinity or a zero of the right sign.
LD tgamma_ext(double xd) {
  const LD x = xd;
  if (x > 0) {
    if (x > 172) return pow2(16000);  // overflows the double format
    if (x < 1) {
      if (x < 0.25L) return exp(lg_near1(x)) / x;
      return gamma_12(x + 1) / x;  // x + 1 exact
    }
    const int n = static_cast<int>(xd) - 1;  // x - n in [1, 2)
    return gamma_12(x - n) * falling(x, n);
  }
  // x < 0: gamma(x) = gamma(x + n) / (x (x + 1) ... (x + n - 1)), x + n in (1, 2).
  if (xd < -190) {
    // Below the double range; the sign is that of gamma on (-m-1, -m), (-1)^(m+1).
    const bool odd = (static_cast<long long>(-xd) & 1) != 0;
    return (odd ? 1 : -1) * pow2(-16000);
  }
  const int n = static_cast<int>(-xd) + 2;
  return gamma_12(x + n) / rising(x, n);
}

template <class T>
int tgamma_scalar(const T* a, T* r) {
  const T x = *a;
  if (inf_or_nan(x)) {
    if (ubits(x) == ubits(-std::numeric_limits<T>::infinity())) {
      *r = static_cast<T>(LD(0) / LD(0));
      return 1;
    }
    *r = static_cast<T>(LD(x) + LD(x));
    return 0;
  }
  if ((ubits(x) << 1) == 0) {  // a zero of either sign
    *r = static_cast<T>(1 / LD(x));
    return 2;
  }
  if (negative_integer(x)) {
    *r = static_cast<T>(LD(0) / LD(0));
    return 1;
  }
  *r = static_cast<T>(tgamma_ext(x));
  return 0;
}

// The lgamma loop by blocks of eight elements. Where every element of a block
// lies in [64, Wide) (Wide keeps the result finite), the block runs the
// Stirling branch as straight code with no branch between the elements, so
// that their long x87 chains overlap; any other block takes the scalar
// function element by element. Either way each element gets the scalar
// function's result bits, and an element with a status is flagged, so that
// the callout runs the scalar function again for it and reports the status.
template <class T_>
struct LGammaLoop : ElementLoop<T_, lgamma_scalar<T_>> {
  using T = T_;
  using V = typename Vec<T>::V;
  static constexpr bool kEveryLane = false;
  static constexpr bool kPerBlock = true;
  static constexpr T kWide = sizeof(T) == 4 ? 0x1p100f : 0x1p1000;
  template <int NV>
  static unsigned eval(const V (&x)[NV], V (&y)[NV]) {
    constexpr int L = Vec<T>::kLanes, N = NV * L;
    alignas(16) T in[N], out[N];
    for (int v = 0; v < NV; ++v) Vec<T>::store_aligned(in + v * L, x[v]);
    bool wide = true;
    for (int k = 0; k < N; ++k) wide &= in[k] >= 64 && in[k] < kWide;  // false for a NaN
    unsigned m = 0;
    if (wide) {
      for (int k = 0; k < N; ++k) out[k] = static_cast<T>(stirling_wide(in[k]));
    } else {
      for (int k = 0; k < N; ++k) {
        if (in[k] >= 8 && in[k] < kWide)
          out[k] = static_cast<T>(lg_stirling(in[k]));
        else
          m |= (lgamma_scalar<T>(in + k, out + k) != 0 ? 1u : 0u) << k;
      }
    }
    for (int v = 0; v < NV; ++v) y[v] = Vec<T>::load_aligned(out + v * L);
    return m;
  }
};

struct SLGammaP : LGammaLoop<float> {
  static constexpr const char* kName = "vsLGamma";
};
struct DLGammaP : LGammaLoop<double> {
  static constexpr const char* kName = "vdLGamma";
};
struct STGammaP : ElementLoop<float, tgamma_scalar<float>> {
  static constexpr const char* kName = "vsTGamma";
};
struct DTGammaP : ElementLoop<double, tgamma_scalar<double>> {
  static constexpr const char* kName = "vdTGamma";
};

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

ZEV_KERNELS(sLGamma, lahaep, SLGammaP)
ZEV_KERNELS(dLGamma, lahaep, DLGammaP)
ZEV_KERNELS(sTGamma, lahaep, STGammaP)
ZEV_KERNELS(dTGamma, lahaep, DTGammaP)
