// The rows of the exhaustive single-precision check. Each family registers its
// rows of one single argument in checks_<family>.cpp with a static Registrar:
// the reference (glibc's double functions or better, far below a single ulp),
// the kernels of the three levels, the parity rule and the class rule. The
// runner (single_check.cpp) measures them in the order of the row table.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include "rows_gen.h"
#include "zev/zev_vqm.h"

namespace zev::single_check {

using Kernel = void (*)(int, const float*, float*);

// What counts as the wrong class of result, beside a NaN or an infinity (with
// its sign) where the reference has none or the other way round.
enum class Class {
  Plain,  // nothing more
  Zero,   // a zero where the reference rounds to none, or the other way round
  Exact,  // a NaN, infinity or zero reference must be met exactly
};

struct Func {
  const char* row;   // the name printed and selected ("sLn", "sSinCos.sin")
  int order;         // the row's place in the row table
  double (*ref)(double);
  Kernel levels[3];  // LA, HA, EP
  bool one;          // one kernel for every level: its HA entry stands for the rest
  int parity;        // f(-x) = -f(x) (1), f(x) (0); else -1, negative inputs measured
  Class cls;
};

// Every checks_<family>.cpp holds one of these at namespace scope.
struct Registrar {
  Registrar(std::initializer_list<Func> funcs);
};
const std::vector<Func>& registry();

// A row of two results measured on one of them; the other goes to scratch.
template <void (*K)(int, const float*, float*, float*), int Which>
void one_of_two(int n, const float* a, float* r) {
  thread_local std::vector<float> other;
  other.resize(static_cast<size_t>(n));
  if (Which == 0) K(n, a, r, other.data());
  else K(n, a, other.data(), r);
}

}  // namespace zev::single_check

// The entries of a row's three levels, and of one result of a two-result row.
#define ZEV_CHECK_LEVELS(r) {_vqm##r##_21, _vqm##r##_HA, _vqm##r##_11}
#define ZEV_CHECK_LEVELS2(r, w)                                                        \
  {zev::single_check::one_of_two<_vqm##r##_21, w>, zev::single_check::one_of_two<_vqm##r##_HA, w>, \
   zev::single_check::one_of_two<_vqm##r##_11, w>}
// One registered row: ZEV_CHECK(sExp, ::exp, false, -1, Class::Plain).
#define ZEV_CHECK(r, ref, one, parity, cls) {#r, zev::row::r, ref, ZEV_CHECK_LEVELS(r), one, parity, cls}
