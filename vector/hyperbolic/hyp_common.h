// Pieces shared by the hyperbolic kernels: constant vectors, the two-lane
// fetches of the tables, the sign of a lane, and the bridges between four
// singles and two pairs of doubles.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector/common/bits.h"
#include "vector/common/exact.h"
#include "vector/common/level.h"
#include "vector/common/range.h"
#include "vector/common/widen.h"
#include "vector/exp/exp_common.h"
#include "vector/hyperbolic/hyperbolic_data.h"
#include "vector/vops.h"

namespace zev::vk::hyp {

constexpr __m128d dc(double v) { return __m128d{v, v}; }
using expk::dv;
using expk::fv;
using expk::i2;
using expk::i4;
using expk::I2;
using expk::I4;
using expk::iv;
using expk::overflow_d;
using expk::overflow_f;

inline __m128d sign_of(__m128d x) { return _mm_and_pd(x, _mm_set1_pd(-0.0)); }
inline __m128d abs_of(__m128d x) { return _mm_andnot_pd(_mm_set1_pd(-0.0), x); }
inline __m128 sign_of(__m128 x) { return _mm_and_ps(x, _mm_set1_ps(-0.0f)); }
inline __m128 abs_of(__m128 x) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), x); }

// The low 32 bits of each lane of t, masked: table rows of two lanes.
inline void rows2(__m128d t, unsigned mask, unsigned (&j)[2]) { expk::index2(t, static_cast<int>(mask), j); }

// One double a lane from an array.
inline __m128d fetch(const double* tab, const unsigned (&j)[2]) { return expk::fetch(tab, j); }

// 2^m and 2^-m for the integers m held above `IndexBits` index bits in the
// low word of the shifter's view t (0 <= m <= 1022).
template <int IndexBits>
inline void pow2_pair(__m128d t, __m128d& up, __m128d& down) {
  const __m128i m = _mm_slli_epi64(_mm_srli_epi64(_mm_castpd_si128(t), IndexBits), 52);
  const __m128i one = _mm_set1_epi64x(0x3FF0000000000000ll);
  up = _mm_castsi128_pd(_mm_add_epi64(one, m));
  down = _mm_castsi128_pd(_mm_sub_epi64(one, m));
}


}  // namespace zev::vk::hyp
