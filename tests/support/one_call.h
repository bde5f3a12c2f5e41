// One element through a kernel under an error mode, on guarded one-element
// arrays: the result, and the status and errno the call leaves.
#pragma once

#include <cerrno>

#include "fp.h"
#include "guarded.h"
#include "zev/zev_vqm.h"

namespace zevtest {

template <class T>
struct Outcome {
  T y;
  int status, err;
};

template <class T, class F>
Outcome<T> call_one(F f, T x, unsigned mode = VQM_ERRMODE_DEFAULT) {
  ModeScope scope(mode);
  Guarded<T> a(1), r(1);
  a[0] = x;
  f(1, a.data(), r.data());
  return {r[0], zev_vqm_kernel_GetErrStatus(), errno};
}

// The errno a status leaves: none, EDOM for invalid, ERANGE for the others.
inline int errno_of(int status) { return status == 0 ? 0 : status == 1 ? EDOM : ERANGE; }

}  // namespace zevtest
