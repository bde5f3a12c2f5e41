// The double-double sine and cosine core: cos t and sin t as unrounded pairs
// from one reduction by pi/256 and the circle table's rows j and j + 128,
// any finite t (the large reduction runs for lanes beyond 65536). The pairs
// are the table step's leading sum and rest, within about 2^-62 of the value,
// the rest up to 2^-16 of the leading sum: callers that need a normalised
// pair add them by Fast2Sum.
#pragma once

#include <emmintrin.h>

#include "vector/common/exact.h"
#include "vector/trig/trig_common.h"

namespace zev::vk::trig {

struct CosSin {
  DD c, s;
};

// t = y (Pair false) or t = y + yl, a pair (the complex powers' angle). A pair
// is first reduced by 2 pi in three parts (n 2pi_1 and n 2pi_2 exact for
// |n| < 2^26), so that its low part enters the circle reduction as a small
// correction; beyond |y| = 2^28 the low part is dropped, as the pair's own
// accuracy (about 2^-60 |t| in the powers) bounds that of the angle anyway.
template <bool Pair = false>
inline CosSin cos_sin(__m128d y, __m128d yl = _mm_setzero_pd()) {
  if constexpr (Pair) {
    const DD t = two_sum(y, yl);  // the pair normalised: the reduction takes yl to first order
    y = t.hi, yl = t.lo;
    const __m128d shifter = _mm_set1_pd(6755399441055744.0);
    const __m128d n = _mm_sub_pd(_mm_add_pd(_mm_mul_pd(y, _mm_set1_pd(0x1.45f306dc9c883p-3)), shifter), shifter);
    const __m128d small = _mm_cmplt_pd(_mm_and_pd(y, kTab.abs), _mm_set1_pd(0x1p28));
    const __m128d k = _mm_and_pd(n, small);
    const __m128d y1 = _mm_sub_pd(y, _mm_mul_pd(k, _mm_set1_pd(0x1.921fb54p+2)));  // exact
    const DD y2 = two_sum(y1, _mm_mul_pd(k, _mm_set1_pd(-0x1.10b461p-28)));       // the product exact
    y = y2.hi;
    yl = _mm_and_pd(_mm_add_pd(y2.lo, _mm_sub_pd(yl, _mm_mul_pd(k, _mm_set1_pd(0x1.a62633145c06ep-56)))), small);
  }
  const __m128d sg = _mm_and_pd(y, kTab.sign);
  Reduced red = reduce_any(_mm_and_pd(y, kTab.abs));
  if constexpr (Pair) red.e = _mm_add_pd(red.e, _mm_xor_pd(yl, sg));
  const DD s = table_sin_pair(red, 0);
  return {table_sin_pair(red, 128), {_mm_xor_pd(s.hi, sg), _mm_xor_pd(s.lo, sg)}};
}

}  // namespace zev::vk::trig
