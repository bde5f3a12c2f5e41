// Asin, Acos, Atan, Atan2 and their half-turn forms Asinpi, Acospi, Atanpi,
// Atan2pi, single and double: policies, scalar functions and kernels. The
// block arithmetic is in invtrig_core.h.
//
// Levels: double HA and LA by the arithmetic of invtrig_core.h in double
// (Atan by its interval table, Atan2 by one division and a polynomial of
// degree 39 at LA, by atan2_dd's one-division pair at HA); double EP by
// the shorter series and polynomials. Single LA and EP in single; single
// HA in double on the widened lanes (Asin and Acos by the double LA
// arithmetic, Atan and Atan2 by the double EP polynomial, both within 2^-28
// before the one rounding to single).
//
// Special lanes and their scalar functions: Asin and Acos: |x| > 1 and NaN
// (dAsin LA lets NaN through the block arithmetic), NaN gives x/x with status
// 0, infinities and |x| > 1 a NaN with status 1. Atan: |x| outside the
// ordinary range of invtrig_core.h, status 0: NaN gives x + x, +-Inf and huge
// |x| +-pi/2 (+-1/2), zero and tiny |x| x itself (x/pi). Atan2: either part
// outside its ordinary range, status 0, the table of docs/vector_invtrig.md;
// finite parts far apart take a shortcut, the rest are scaled to exponent 0
// and run through the HA arithmetic on one lane. Single scalar functions
// compute in double.
#include <cmath>
#include <type_traits>

#include "vector/common/nan_status.h"
#include "vector/invtrig/atan2_full.h"
#include "vector/invtrig/invtrig_core.h"
#include "vector/shape.h"

namespace zev::vk {
namespace {

using namespace invtrig;

enum class Fn { Asin, Acos, Atan };

// ---- scalar functions ----------------------------------------------------------

template <class T>
T make_nan() {
  volatile T z = 0;
  return z / z;  // invalid
}

// Asin, Acos of one lane: NaN x/x (status 0), Inf x/x and |x| > 1 NaN
// (status 1); any other x by the HA arithmetic in double.
template <Fn F, bool Pi, class T>
int asin_scalar(const T* a, T* r) {
  const T x = *a;
  if (x != x) {
    *r = x / x;
    return 0;
  }
  if (std::fabs(x) > 1) {
    volatile T v = x;
    *r = std::isinf(x) ? v / v : make_nan<T>();
    return 1;
  }
  const __m128d d = _mm_set1_pd(x);
  *r = static_cast<T>(
      _mm_cvtsd_f64(F == Fn::Asin ? asin_d<HwEstimate, Level::HA, Pi>(d) : acos_d<HwEstimate, Level::HA, Pi>(d)));
  return 0;
}

// |x|/pi for |x| below 2^-1019: scaled up, and back with one rounding.
inline double tiny_over_pi(double a) { return over_pi(a * 0x1p110) * 0x1p-110; }

// atan of any double: NaN x + x; from 2^993 on (and Inf) +-pi/2, since
// pi/2 - 1/|x| rounds to it; below 2^-1019 x (x/pi); else the HA arithmetic.
template <bool Pi>
double atan_one(double x) {
  if (x != x) return x + x;
  const double a = std::fabs(x);
  if (a >= 0x1p993) return std::copysign(Angles<Pi>::half.hi, x);
  if (a < 0x1p-1019) return std::copysign(Pi ? tiny_over_pi(a) : a, x);
  return _mm_cvtsd_f64(atan_table_d<HwEstimate, Level::HA, Pi>(_mm_set1_pd(x)));
}

template <bool Pi, class T>
int atan_scalar(const T* a, T* r) {
  *r = static_cast<T>(atan_one<Pi>(*a));
  return 0;
}

template <bool Pi, class T>
int atan2_scalar(const T* b, const T* a, T* r) {
  *r = static_cast<T>(atan2_one<Pi>(*b, *a));
  return 0;
}

// ---- policies ---------------------------------------------------------------------

template <class T>
inline constexpr int kBlk = sizeof(T) == 8 ? 4 : 8;

template <class T, Fn F, Level L, bool Pi, const char* Name, const char* NameI = Name>
struct Unary : Blocks<T, kBlk<T>> {
  using V = typename Blocks<T, kBlk<T>>::V;
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  using E = HwEstimate;
  static constexpr const char* kName = Name;
  static constexpr const char* kNameI = NameI;
  // The chains are long (estimate, series, polynomial): the vectors of a
  // block overlap.
  static constexpr bool kUnrolled = true;
  [[gnu::always_inline]] static V eval(V x, V& special) {
    if constexpr (std::is_same_v<T, double>) {
      if constexpr (F == Fn::Atan) {
        special = atan_special(x);
        if constexpr (Pi && L != Level::HA) {
          return atanpi_div_d<L>(x);
        } else if constexpr (Pi) {  // atan2pi(x, 1) by the one-division pair
          special = _mm_or_pd(special, atan2_hd_special(x, d1(1.0)));
          return atan2_hd<true>(x, d1(1.0));
        } else if constexpr (L == Level::EP) {
          return atan_ep_d<E, Pi>(x);
        } else {
          return atan_table_d<E, L, Pi>(x);
        }
      } else {
        // dAsin at LA: NaN is not flagged, it runs through as NaN.
        if constexpr (F == Fn::Asin && L == Level::LA && !Pi)
          special = _mm_cmpgt_pd(abs_d(x), _mm_set1_pd(1.0));
        else
          special = asin_special(x);
        if constexpr (F == Fn::Asin)
          return asin_d<E, L, Pi>(x);
        else
          return acos_d<E, L, Pi>(x);
      }
    } else {
      if constexpr (F == Fn::Atan) {
        special = atan_special(x);
        if constexpr (L == Level::HA)
          return widened(x, [](__m128d v) __attribute__((always_inline)) { return atan_ep_d<E, Pi, true>(v); });
        else
          return atan_f<E, L, Pi>(x);
      } else {
        special = asin_special(x);
        if constexpr (L == Level::HA) {
          if constexpr (F == Fn::Asin)
            return widened(x, [](__m128d v) __attribute__((always_inline)) { return asin_d<E, Level::EP, Pi>(v); });
          else
            return widened(x, [](__m128d v) __attribute__((always_inline)) { return acos_d<E, Level::EP, Pi>(v); });
        } else if constexpr (F == Fn::Asin) {
          return asin_f<E, L, Pi>(x);
        } else {
          return acos_f<E, L, Pi>(x);
        }
      }
    }
  }
  static int scalar(const T* a, T* r) {
    if constexpr (F == Fn::Atan)
      return atan_scalar<Pi>(a, r);
    else
      return asin_scalar<F, Pi>(a, r);
  }
};

// Atan2 and Atan2pi: the first array is y, the second x.
template <class T, Level L, bool Pi, const char* Name>
struct Binary : Blocks<T, kBlk<T>> {
  using V = typename Blocks<T, kBlk<T>>::V;
  static constexpr NegativeCount kNegativeCount = NegativeCount::Unsigned;
  static constexpr const char* kName = Name;
  [[gnu::always_inline]] static V eval(V y, V x, V& special) {
    if constexpr (std::is_same_v<T, double>) {
      special = _mm_or_pd(atan_special(y), atan_special(x));
      if constexpr (L == Level::HA) {
        special = _mm_or_pd(special, atan2_hd_special(y, x));
        return atan2_hd<Pi>(y, x);
      }
      return atan2_d<L, Pi, L == Level::EP>(y, x);
    } else {
      special = _mm_or_ps(atan2_special(y), atan2_special(x));
      if constexpr (L == Level::HA)
        return widened(y, x, [](__m128d b, __m128d a) __attribute__((always_inline)) { return atan2_d<Level::LA, Pi, true>(b, a); });
      else
        return atan2_f<L, Pi>(y, x);
    }
  }
  static int scalar(const T* b, const T* a, T* r) { return atan2_scalar<Pi>(b, a, r); }
};

constexpr char kNsAsin[] = "vsAsin", kNsAsinI[] = "vsAsinI", kNdAsin[] = "vdAsin";
constexpr char kNsAcos[] = "vsAcos", kNdAcos[] = "vdAcos";
constexpr char kNsAtan[] = "vsAtan", kNdAtan[] = "vdAtan";
constexpr char kNsAsinpi[] = "vsAsinpi", kNdAsinpi[] = "vdAsinpi";
constexpr char kNsAcospi[] = "vsAcospi", kNdAcospi[] = "vdAcospi";
constexpr char kNsAtanpi[] = "vsAtanpi", kNdAtanpi[] = "vdAtanpi";
constexpr char kNsAtan2[] = "vsAtan2", kNdAtan2[] = "vdAtan2";
constexpr char kNsAtan2pi[] = "vsAtan2pi", kNdAtan2pi[] = "vdAtan2pi";

constexpr Level LA = Level::LA, HA = Level::HA, EP = Level::EP;
constexpr Fn Asin = Fn::Asin, Acos = Fn::Acos, Atan = Fn::Atan;

}  // namespace
}  // namespace zev::vk

using namespace zev::vk;

// double
ZEV_KERNELS(dAsin, la, Unary<double, Asin, LA, false, kNdAsin>)
ZEV_KERNELS(dAsin, ha, Unary<double, Asin, HA, false, kNdAsin>)
ZEV_KERNELS(dAsin, ep, Unary<double, Asin, EP, false, kNdAsin>)
ZEV_KERNELS(dAcos, laep, Unary<double, Acos, LA, false, kNdAcos>)
ZEV_KERNELS(dAcos, ha, Unary<double, Acos, HA, false, kNdAcos>)
ZEV_KERNELS(dAtan, laha, Unary<double, Atan, HA, false, kNdAtan>)
ZEV_KERNELS(dAtan, ep, Unary<double, Atan, EP, false, kNdAtan>)
ZEV_KERNELS(dAsinpi, la, Unary<double, Asin, LA, true, kNdAsinpi>)
ZEV_KERNELS(dAsinpi, ha, Unary<double, Asin, HA, true, kNdAsinpi>)
ZEV_KERNELS(dAsinpi, ep, Unary<double, Asin, EP, true, kNdAsinpi>)
ZEV_KERNELS(dAcospi, la, Unary<double, Acos, LA, true, kNdAcospi>)
ZEV_KERNELS(dAcospi, ha, Unary<double, Acos, HA, true, kNdAcospi>)
ZEV_KERNELS(dAcospi, ep, Unary<double, Acos, EP, true, kNdAcospi>)
ZEV_KERNELS(dAtanpi, la, Unary<double, Atan, LA, true, kNdAtanpi>)
ZEV_KERNELS(dAtanpi, ha, Unary<double, Atan, HA, true, kNdAtanpi>)
ZEV_KERNELS(dAtanpi, ep, Unary<double, Atan, EP, true, kNdAtanpi>)
ZEV_KERNELS(dAtan2, laep, Binary<double, LA, false, kNdAtan2>)
ZEV_KERNELS(dAtan2, ha, Binary<double, HA, false, kNdAtan2>)
ZEV_KERNELS(dAtan2pi, la, Binary<double, LA, true, kNdAtan2pi>)
ZEV_KERNELS(dAtan2pi, ha, Binary<double, HA, true, kNdAtan2pi>)
ZEV_KERNELS(dAtan2pi, ep, Binary<double, EP, true, kNdAtan2pi>)
// single
ZEV_KERNELS(sAsin, laep, Unary<float, Asin, LA, false, kNsAsin, kNsAsinI>)
ZEV_KERNELS(sAsin, ha, Unary<float, Asin, HA, false, kNsAsin, kNsAsinI>)
ZEV_KERNELS(sAcos, la, Unary<float, Acos, LA, false, kNsAcos>)
ZEV_KERNELS(sAcos, ha, Unary<float, Acos, HA, false, kNsAcos>)
ZEV_KERNELS(sAcos, ep, Unary<float, Acos, EP, false, kNsAcos>)
ZEV_KERNELS(sAtan, la, Unary<float, Atan, LA, false, kNsAtan>)
ZEV_KERNELS(sAtan, ha, Unary<float, Atan, HA, false, kNsAtan>)
ZEV_KERNELS(sAtan, ep, Unary<float, Atan, EP, false, kNsAtan>)
ZEV_KERNELS(sAsinpi, la, Unary<float, Asin, LA, true, kNsAsinpi>)
ZEV_KERNELS(sAsinpi, ha, Unary<float, Asin, HA, true, kNsAsinpi>)
ZEV_KERNELS(sAsinpi, ep, Unary<float, Asin, EP, true, kNsAsinpi>)
ZEV_KERNELS(sAcospi, la, Unary<float, Acos, LA, true, kNsAcospi>)
ZEV_KERNELS(sAcospi, ha, Unary<float, Acos, HA, true, kNsAcospi>)
ZEV_KERNELS(sAcospi, ep, Unary<float, Acos, EP, true, kNsAcospi>)
ZEV_KERNELS(sAtanpi, la, Unary<float, Atan, LA, true, kNsAtanpi>)
ZEV_KERNELS(sAtanpi, ha, Unary<float, Atan, HA, true, kNsAtanpi>)
ZEV_KERNELS(sAtanpi, ep, Unary<float, Atan, EP, true, kNsAtanpi>)
ZEV_KERNELS(sAtan2, la, Binary<float, LA, false, kNsAtan2>)
ZEV_KERNELS(sAtan2, ha, Binary<float, HA, false, kNsAtan2>)
ZEV_KERNELS(sAtan2, ep, Binary<float, EP, false, kNsAtan2>)
ZEV_KERNELS(sAtan2pi, la, Binary<float, LA, true, kNsAtan2pi>)
ZEV_KERNELS(sAtan2pi, ha, Binary<float, HA, true, kNsAtan2pi>)
ZEV_KERNELS(sAtan2pi, ep, Binary<float, EP, true, kNsAtan2pi>)
