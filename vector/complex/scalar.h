// The scalar functions of the complex arithmetic: one element, every input,
// exponents tracked by hand so that no intermediate overflows or underflows
// where the result is representable. They alone report a status:
// 0, 1 (0/0), 2 (a finite non-zero number over zero), 3 (a finite
// computation overflowed).
#pragma once

#include <cmath>

#include "zev/zev_config.h"

namespace zev::vk::cx {

int zmul_full(const zev_complex16* a, const zev_complex16* b, zev_complex16* r, bool conj);
int cmul_full(const zev_complex8* a, const zev_complex8* b, zev_complex8* r, bool conj);
int zdiv_full(const zev_complex16* a, const zev_complex16* b, zev_complex16* r);
int cdiv_full(const zev_complex8* a, const zev_complex8* b, zev_complex8* r);
int zabs_full(const zev_complex16* a, double* r);
int cabs_full(const zev_complex8* a, float* r);

// Add and Sub: a part that went infinite while no input part is infinite is
// an overflow.
template <class C>
inline int addsub_full(const C* a, const C* b, C* r, bool sub) {
  const auto br = sub ? -b->re : b->re, bi = sub ? -b->im : b->im;
  r->re = a->re + br;
  r->im = a->im + bi;
  const bool in_inf = std::isinf(a->re) || std::isinf(a->im) || std::isinf(b->re) || std::isinf(b->im);
  return !in_inf && (std::isinf(r->re) || std::isinf(r->im)) ? 3 : 0;
}

}  // namespace zev::vk::cx
