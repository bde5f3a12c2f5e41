// Reporting a lane's status: the eight reporters, one per element type and form.
// a1, a2, r1 and r2 are the bases of the whole arrays; the reporter reads and
// writes element `index` (times the stride in the strided forms).
#pragma once

#include "zev/zev_vqm.h"

extern "C" {
#define ZEV_REPORTERS(sfx, T)                                                                      \
  __attribute__((visibility("hidden"))) void vqm_report_##sfx(int status, int index, const T* a1, \
                                                              const T* a2, T* r1, T* r2,          \
                                                              const char* name);                  \
  __attribute__((visibility("hidden"))) void vqm_report_##sfx##i(                                 \
      int status, int index, const T* a1, int inca1, const T* a2, int inca2, T* r1, int incr1,    \
      T* r2, int incr2, const char* name);
ZEV_REPORTERS(s, float)
ZEV_REPORTERS(d, double)
ZEV_REPORTERS(c, zev_complex8)
ZEV_REPORTERS(z, zev_complex16)
#undef ZEV_REPORTERS
}

namespace zev {

// Typed access to the reporter of an element type, for the kernel shapes.
inline void report(int st, int i, const float* a1, const float* a2, float* r1, float* r2, const char* n) {
  vqm_report_s(st, i, a1, a2, r1, r2, n);
}
inline void report(int st, int i, const double* a1, const double* a2, double* r1, double* r2, const char* n) {
  vqm_report_d(st, i, a1, a2, r1, r2, n);
}
inline void report(int st, int i, const float* a1, int ia1, const float* a2, int ia2, float* r1, int ir1,
                   float* r2, int ir2, const char* n) {
  vqm_report_si(st, i, a1, ia1, a2, ia2, r1, ir1, r2, ir2, n);
}
inline void report(int st, int i, const double* a1, int ia1, const double* a2, int ia2, double* r1, int ir1,
                   double* r2, int ir2, const char* n) {
  vqm_report_di(st, i, a1, ia1, a2, ia2, r1, ir1, r2, ir2, n);
}

}  // namespace zev
