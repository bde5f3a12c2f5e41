// The tangent on the pivot table, with the estimate of the reciprocal as a
// template parameter: the kernels use HwEstimate, the tests modelled worst
// estimates (tests/support/estimate_model.h).
//
// x = B + rh + rl with B = j pi/256 (j modulo 256: the table spans one period)
// and tan(B + r) = P(r) + tag / (pi/2 - B - r), P of degree 7 from the row.
// In rows with tag 1 (B within pi/4 of the pole) the reciprocal of the pole
// distance p = (poleHi - rh) + pl carries the result; it starts from rcpps on
// the float of p's head ph (26 bits) and is refined without a division:
// y0 the estimate cut to 26 bits, d = 1 - y0 ph exact, and
// 1/p = y0 + y0 (d + d^2 + d^3 + d^4) (1 - w + w^2), w = tail/ph, which for
// any estimate within 1.5 * 2^-12 leaves a relative error near 2^-57. The
// float of ph is normal for every finite x: |p| stays above 2^-70 (the
// argument of least distance to a pole is 2^-61 away) and below pi/2.
#pragma once

#include <emmintrin.h>

#include "vector/common/exact.h"
#include "vector/estimate.h"
#include "vector/trig/trig_common.h"

namespace zev::vk::trig {

struct TanConst {
  __m128d one, mask27;
};
alignas(16) inline constexpr TanConst kTan = {
    .one = d2(1.0),
    .mask27 = q2(0xFFFFFFFFF8000000),  // 26 significant bits: y0 ph is exact
};

// tan(B + rh + rl) for two lanes; red.j carries the row in its low 8 bits.
template <class E>
[[gnu::always_inline]] inline __m128d tan_pivot(__m128d rh, __m128d rl, __m128i j) {
  const TanConst& c = kTan;
  const uint64_t lo = static_cast<uint64_t>(_mm_cvtsi128_si64(j)) & 255;
  const uint64_t hi = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_shuffle_epi32(j, _MM_SHUFFLE(3, 2, 3, 2)))) & 255;
  const double* t0 = trigdata::kTanPivot256[lo];
  const double* t1 = trigdata::kTanPivot256[hi];
  // The fields of both rows, two at a time (one unaligned load a row and two
  // unpacks), the last one alone.
  __m128d fld[13];
  for (int f = 0; f < 12; f += 2) {
    const __m128d a0 = _mm_loadu_pd(t0 + f), a1 = _mm_loadu_pd(t1 + f);
    fld[f] = _mm_unpacklo_pd(a0, a1);
    fld[f + 1] = _mm_unpackhi_pd(a0, a1);
  }
  fld[12] = _mm_set_pd(t1[12], t0[12]);
  auto field = [&](int f) { return fld[f]; };
  const __m128d poleHi = field(0), poleLo = field(1), tag = field(2);
  // The pole distance p + pl, and p's head ph with the tail.
  const __m128d p = _mm_sub_pd(poleHi, rh);
  const __m128d pl = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(_mm_sub_pd(poleHi, p), rh), rl), poleLo);
  const __m128d ph = _mm_and_pd(p, c.mask27);
  const __m128d tail = _mm_add_pd(pl, _mm_sub_pd(p, ph));
  // The reciprocal.
  const __m128 est = E::rcp(_mm_cvtpd_ps(ph));
  const __m128d y0 = _mm_and_pd(_mm_cvtps_pd(est), c.mask27);
  const __m128d d = _mm_sub_pd(c.one, _mm_mul_pd(y0, ph));
  const __m128d y1 = _mm_mul_pd(_mm_add_pd(y0, _mm_mul_pd(y0, d)), _mm_add_pd(c.one, _mm_mul_pd(d, d)));
  const __m128d w = _mm_mul_pd(tail, y1);
  const __m128d yl = _mm_mul_pd(_mm_mul_pd(y1, _mm_add_pd(_mm_sub_pd(_mm_mul_pd(w, w), w), d)), tag);
  const __m128d yh = _mm_mul_pd(y0, tag);
  // Head: c0Hi + c1Hi rh (exact product, |c0Hi| above it or c0Hi zero), then
  // plus the pole term's head, with the errors of both sums. The pole term
  // leads the second sum: it is 0 in rows without a pole, and in rows with it
  // above 1.26 (the pole at most pi/4 + pi/512 away), while |A| stays below
  // 0.28, so Fast2Sum is exact.
  const __m128d c0Hi = field(3), c0Lo = field(4), c1Hi = field(5), c1Lo = field(6);
  const __m128d q1 = _mm_mul_pd(c1Hi, rh);
  const __m128d A = _mm_add_pd(c0Hi, q1);
  const __m128d eA = _mm_add_pd(_mm_sub_pd(c0Hi, A), q1);
  const DD B = fast_two_sum(yh, A);
  const __m128d r2 = _mm_mul_pd(rh, rh);
  const __m128d poly = _mm_add_pd(
      _mm_add_pd(field(7), _mm_mul_pd(field(8), rh)),
      _mm_mul_pd(r2, _mm_add_pd(_mm_add_pd(field(9), _mm_mul_pd(field(10), rh)),
                                _mm_mul_pd(r2, _mm_add_pd(field(11), _mm_mul_pd(field(12), rh))))));
  // rl c1Lo is left out: rl is below 2^-53 rh, and c1Lo below c1 / 2.
  const __m128d rest =
      _mm_add_pd(_mm_add_pd(_mm_add_pd(yl, c0Lo), _mm_mul_pd(rl, c1Hi)),
                 _mm_add_pd(_mm_add_pd(eA, B.lo), _mm_mul_pd(rh, _mm_add_pd(c1Lo, _mm_mul_pd(rh, poly)))));
  return _mm_add_pd(B.hi, rest);
}

// tan |x| for two lanes of a = |x| by the pivot table, with the reduction by
// pi/256 in three parts, or the large path above 65536.00349206588.
template <class E>
inline __m128d tan_table(__m128d a) {
  const Reduced red = reduce_any(a);
  const __m128d rh = _mm_add_pd(red.r, red.e);
  const __m128d rl = _mm_add_pd(_mm_sub_pd(red.r, rh), red.e);
  return tan_pivot<E>(rh, rl, red.j);
}

}  // namespace zev::vk::trig
