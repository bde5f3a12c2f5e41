// Fmod and Remainder, single and double: exact at every level.
//
// Vector path, with |a| and |b| and the quotient q = |a|/|b| rounded:
//   Fmod:      t = trunc(q), r = |a| - t*|b|, and r + |b| where r < 0 (q rounded up
//              to the next integer); the result takes the sign of a.
//   Remainder: t = rint(q), r = |a| - t*|b|, moved by |b| where 2r passes |b|
//              (q rounded across a half); the result is r with the sign of a
//              applied (a zero takes the sign of a).
// Single lanes work in double, where t*|b| is exact for t < 2^24. Double
// lanes split |b| into a 26-bit head and a tail, so that t*head and t*tail
// are exact for t < 2^26, and |a| - t*head is exact by Sterbenz's lemma.
// Special lanes: q not below that bound (large quotients, zero divisors,
// infinite dividends, NaN) and infinite divisors (in double: from 2^1020, and
// for Remainder dividends from 2^1022);
// their scalar function
// divides the significands as integers.
#include "vector/algebra/common.h"
#include "vector/remainder/exact.h"

namespace zev::vk::rem {
namespace {


struct Const {
  __m128d magic, one, inf, big_d, big_a, limit_s, limit_d, split, dsign;
  __m128 fsign;
};
constexpr Const kC = {
    .magic = d2(4503599627370496.0),     // 2^52: rounds 0 <= q < 2^52 to an integer
    .one = d2(1.0),                      // 1.0
    .inf = d2(__builtin_inf()),          // +inf
    .big_d = d2(0x1p1020),               // divisors from 2^1020 up go out (split path): t |b| could overflow
    .big_a = d2(0x1p1022),               // dividends from 2^1022 up go out (nearest, split path)
    .limit_s = d2(0x1p24),               // quotients from 2^24 up go out (single path)
    .limit_d = d2(0x1p26),               // quotients from 2^26 up go out (split path)
    .split = q2(0xFFFFFFFFF8000000ull),  // keeps the high 26 bits of a significand
    .dsign = q2(0x8000000000000000ull),  // double sign bit
    .fsign = u4(0x80000000u),            // single sign bit
};

// Rounding of 0 <= q < 2^52 to an integer, to nearest even.
inline __m128d rint_pos(__m128d q) {
  const __m128d m = kC.magic;
  return _mm_sub_pd(_mm_add_pd(q, m), m);
}

// The remainder of |a| by |b| in double, and the lanes to leave out.
template <bool Nearest, bool Split>
inline __m128d rem_abs(__m128d ax, __m128d ay, __m128d& special) {
  const __m128d q = _mm_div_pd(ax, ay);
  // Divisors from 2^1020 up (infinity included) go out too: t*|b| could overflow.
  special = _mm_or_pd(_mm_cmpnlt_pd(q, Split ? kC.limit_d : kC.limit_s),
                      _mm_cmpnlt_pd(ay, Split ? kC.big_d : kC.inf));
  // Rounded to nearest, t*|b| may pass |a| by |b|/2: dividends from 2^1022 up
  // go out too.
  if constexpr (Nearest && Split) special = _mm_or_pd(special, _mm_cmpnlt_pd(ax, kC.big_a));
  __m128d t = rint_pos(q);
  if constexpr (!Nearest) t = _mm_sub_pd(t, _mm_and_pd(_mm_cmpgt_pd(t, q), kC.one));
  __m128d r;
  if constexpr (Split) {
    const __m128d yh = _mm_and_pd(ay, kC.split), yl = _mm_sub_pd(ay, yh);
    r = _mm_sub_pd(_mm_sub_pd(ax, _mm_mul_pd(t, yh)), _mm_mul_pd(t, yl));
  } else {
    r = _mm_sub_pd(ax, _mm_mul_pd(t, ay));
  }
  const __m128d z = _mm_setzero_pd();
  if constexpr (Nearest) {
    const __m128d r2 = _mm_add_pd(r, r);
    r = _mm_sub_pd(r, _mm_and_pd(_mm_cmpgt_pd(r2, ay), ay));
    r = _mm_add_pd(r, _mm_and_pd(_mm_cmplt_pd(r2, _mm_sub_pd(z, ay)), ay));
  } else {
    r = _mm_add_pd(r, _mm_and_pd(_mm_cmplt_pd(r, z), ay));
  }
  return r;
}

// ---- scalar functions ---------------------------------------------------------------

// IEEE invalid: a default NaN, made by 0/0 so that the flag is raised.
template <class T>
T invalid() {
  T z = 0;
  pin(z);
  return z / z;
}

template <class T, bool Nearest>
int rem_scalar(const T* pa, const T* pb, T* r) {
  const T x = *pa, y = *pb;
  if (is_nan(x) || is_nan(y)) {
    // Of two NaNs, the one the C library of the platform returns.
    *r = (Nearest && sizeof(T) == 8) ? nan_sum(y, x) : nan_sum(x, y);
    return 0;
  }
  if (std::isinf(x) || y == 0) {
    *r = invalid<T>();
    return 1;
  }
  if (std::isinf(y)) {
    *r = x;
    return 0;
  }
  *r = static_cast<T>(Nearest ? remainder_exact(x, y) : fmod_exact(x, y));
  return 0;
}

template <bool Nearest>
struct sRemP {
  using T = float;
  static constexpr int kBlock = 8;
  static constexpr int kBlockI = 8;
  static constexpr bool kCallout = true;
  static constexpr const char* kName = Nearest ? "vsRemainder" : "vsFmod";
  static __m128 eval(__m128 a, __m128 b, __m128& special) {
    const __m128 sign = kC.fsign;
    const __m128 ax = _mm_andnot_ps(sign, a), ay = _mm_andnot_ps(sign, b);
    __m128d slo, shi;
    const __m128d rlo = rem_abs<Nearest, false>(_mm_cvtps_pd(ax), _mm_cvtps_pd(ay), slo);
    const __m128d rhi =
        rem_abs<Nearest, false>(_mm_cvtps_pd(_mm_movehl_ps(ax, ax)), _mm_cvtps_pd(_mm_movehl_ps(ay, ay)), shi);
    const __m128 r = _mm_movelh_ps(_mm_cvtpd_ps(rlo), _mm_cvtpd_ps(rhi));
    special = _mm_castsi128_ps(_mm_unpacklo_epi64(_mm_shuffle_epi32(_mm_castpd_si128(slo), _MM_SHUFFLE(2, 0, 2, 0)),
                                                  _mm_shuffle_epi32(_mm_castpd_si128(shi), _MM_SHUFFLE(2, 0, 2, 0))));
    return _mm_xor_ps(r, _mm_and_ps(a, sign));
  }
  static int scalar(const float* a, const float* b, float* r) { return rem_scalar<float, Nearest>(a, b, r); }
};

template <bool Nearest>
struct dRemP {
  using T = double;
  static constexpr int kBlock = 4;
  static constexpr int kBlockI = 4;
  static constexpr bool kCallout = true;
  static constexpr const char* kName = Nearest ? "vdRemainder" : "vdFmod";
  static __m128d eval(__m128d a, __m128d b, __m128d& special) {
    const __m128d sign = kC.dsign;
    const __m128d r = rem_abs<Nearest, true>(_mm_andnot_pd(sign, a), _mm_andnot_pd(sign, b), special);
    return _mm_xor_pd(r, _mm_and_pd(a, sign));
  }
  static int scalar(const double* a, const double* b, double* r) { return rem_scalar<double, Nearest>(a, b, r); }
};

}  // namespace
}  // namespace zev::vk::rem

using namespace zev::vk;
using namespace zev::vk::rem;

ZEV_KERNELS(sFmod, lahaep, sRemP<false>)
ZEV_KERNELS(dFmod, lahaep, dRemP<false>)
ZEV_KERNELS(sRemainder, lahaep, sRemP<true>)
ZEV_KERNELS(dRemainder, lahaep, dRemP<true>)
