// The kernels of the algebraic and remainder rows, by entry, for the tests.
#pragma once

#include <cstdint>
#include <cstring>

#include "zev/zev_vqm.h"

#include "fp.h"

namespace algtest {

enum class Form { Unary, Binary, Modf, LinearFrac };

using Fp = void (*)();

// One kernel: a row at a level, its plain and strided entries and the report
// names it uses.
struct Kernel {
  const char* row;
  int level;  // 0 LA, 1 HA, 2 EP
  bool single;
  Form form;
  Fp plain, strided;
  const char* name;
  const char* name_i;
};

template <class F>
Fp fp(F f) {
  return reinterpret_cast<Fp>(f);
}

// All levels of a row (the entries of a row with one kernel run the same one).
#define ALG_LEVELS(p, f, form, la, ep, nm, nmI)                                                          \
  Kernel{#p #f, 0, #p[0] == 's', form, fp(_vqm##p##f##la), fp(_vqm##p##f##I##la), nm, nmI},             \
      Kernel{#p #f, 1, #p[0] == 's', form, fp(_vqm##p##f), fp(_vqm##p##f##I), nm, nmI},                 \
      Kernel{#p #f, 2, #p[0] == 's', form, fp(_vqm##p##f##ep), fp(_vqm##p##f##I##ep), nm, nmI}
#define ALG_S(f, form) ALG_LEVELS(s, f, form, _21, _11, "vs" #f, "vs" #f)
#define ALG_D(f, form) ALG_LEVELS(d, f, form, _50, _26, "vd" #f, "vd" #f)

inline const Kernel kKernels[] = {
    ALG_S(Inv, Form::Unary),           ALG_LEVELS(d, Inv, Form::Unary, _50, _26, "vdInv", "vdInvI"),
    ALG_S(Sqrt, Form::Unary),          ALG_D(Sqrt, Form::Unary),
    ALG_S(InvSqrt, Form::Unary),       ALG_D(InvSqrt, Form::Unary),
    ALG_S(Div, Form::Binary),          ALG_D(Div, Form::Binary),
    ALG_S(Fmod, Form::Binary),         ALG_D(Fmod, Form::Binary),
    ALG_S(Remainder, Form::Binary),    ALG_D(Remainder, Form::Binary),
    ALG_S(NextAfter, Form::Binary),    ALG_D(NextAfter, Form::Binary),
    ALG_S(CopySign, Form::Binary),     ALG_D(CopySign, Form::Binary),
    ALG_S(Fdim, Form::Binary),         ALG_D(Fdim, Form::Binary),
    ALG_S(Fmax, Form::Binary),         ALG_D(Fmax, Form::Binary),
    ALG_S(Fmin, Form::Binary),         ALG_D(Fmin, Form::Binary),
    ALG_S(MaxMag, Form::Binary),       ALG_D(MaxMag, Form::Binary),
    ALG_S(MinMag, Form::Binary),       ALG_D(MinMag, Form::Binary),
    ALG_S(Modf, Form::Modf),           ALG_D(Modf, Form::Modf),
    ALG_S(LinearFrac, Form::LinearFrac), ALG_D(LinearFrac, Form::LinearFrac),
};

// The scalars the tests give LinearFrac: (2a + 1) / (b - 1).
constexpr double kLf[4] = {2.0, 1.0, 1.0, -1.0};

// Runs a kernel's plain form: r2 only for Modf, b unused by unary forms.
template <class T>
void run(const Kernel& k, int n, const T* a, const T* b, T* r, T* r2) {
  switch (k.form) {
    case Form::Unary: reinterpret_cast<void (*)(int, const T*, T*)>(k.plain)(n, a, r); break;
    case Form::Binary: reinterpret_cast<void (*)(int, const T*, const T*, T*)>(k.plain)(n, a, b, r); break;
    case Form::Modf: reinterpret_cast<void (*)(int, const T*, T*, T*)>(k.plain)(n, a, r, r2); break;
    case Form::LinearFrac:
      reinterpret_cast<void (*)(int, const T*, const T*, T, T, T, T, T*)>(k.plain)(n, a, b, T(kLf[0]), T(kLf[1]),
                                                                                   T(kLf[2]), T(kLf[3]), r);
      break;
  }
}

// Its strided form, with the same stride for both results of Modf.
template <class T>
void run_i(const Kernel& k, int n, const T* a, int inca, const T* b, int incb, T* r, int incr, T* r2) {
  switch (k.form) {
    case Form::Unary:
      reinterpret_cast<void (*)(int, const T*, int, T*, int)>(k.strided)(n, a, inca, r, incr);
      break;
    case Form::Binary:
      reinterpret_cast<void (*)(int, const T*, int, const T*, int, T*, int)>(k.strided)(n, a, inca, b, incb, r, incr);
      break;
    case Form::Modf:
      reinterpret_cast<void (*)(int, const T*, int, T*, int, T*, int)>(k.strided)(n, a, inca, r, incr, r2, incr);
      break;
    case Form::LinearFrac:
      reinterpret_cast<void (*)(int, const T*, int, const T*, int, T, T, T, T, T*, int)>(k.strided)(
          n, a, inca, b, incb, T(kLf[0]), T(kLf[1]), T(kLf[2]), T(kLf[3]), r, incr);
      break;
  }
}

using zevtest::bits;
using zevtest::same;

}  // namespace algtest
