// The scalar functions of the complex arithmetic: one element, every input,
// exponents tracked by hand so that no intermediate overflows or underflows
// where the result is representable. They alone report a status:
// 0, 1 (0/0), 2 (a finite non-zero number over zero), 3 (a finite
// computation overflowed).
#pragma once

#include <emmintrin.h>

#include "vector/common/nan_status.h"

#include <cmath>

#include "zev/zev_config.h"

namespace zev::vk::cx {

int zmul_full(const zev_complex16* a, const zev_complex16* b, zev_complex16* r, bool conj);
int cmul_full(const zev_complex8* a, const zev_complex8* b, zev_complex8* r, bool conj);
int zdiv_full(const zev_complex16* a, const zev_complex16* b, zev_complex16* r);
int cdiv_full(const zev_complex8* a, const zev_complex8* b, zev_complex8* r);
int zabs_full(const zev_complex16* a, double* r);
int cabs_full(const zev_complex8* a, float* r);

// x - y as one instruction (a NaN y keeps its sign); sums go through
// nan_sum, which keeps x's NaN of two.
inline double minus(double x, double y) { return _mm_cvtsd_f64(_mm_sub_sd(_mm_set_sd(x), _mm_set_sd(y))); }
inline float minus(float x, float y) { return _mm_cvtss_f32(_mm_sub_ss(_mm_set_ss(x), _mm_set_ss(y))); }
// x * y with x the destination operand, whose NaN comes out of two.
inline double times(double x, double y) {
  __asm__("mulsd %1, %0" : "+x"(x) : "x"(y));
  return x;
}

// Add and Sub: a part that went infinite while no input part is infinite is
// an overflow. Of two NaN parts the result is a's NaN.
template <class C>
inline int addsub_full(const C* a, const C* b, C* r, bool sub) {
  r->re = sub ? minus(a->re, b->re) : nan_sum(a->re, b->re);
  r->im = sub ? minus(a->im, b->im) : nan_sum(a->im, b->im);
  const bool in_inf = std::isinf(a->re) || std::isinf(a->im) || std::isinf(b->re) || std::isinf(b->im);
  return !in_inf && (std::isinf(r->re) || std::isinf(r->im)) ? 3 : 0;
}

}  // namespace zev::vk::cx
