// The reporters: status, callback, errno, standard error and the x87 exception.
#include "frame/report.h"

#include <cstring>

#include "frame/state.h"
#include "zev/zev_core.h"

namespace zev {
namespace {

int errno_of(int status) {
  switch (status) {
    case -2: return 13;
    case -1: return 22;
    case 0: return 0;
    case 1: return 33;
    case 2:
    case 3:
    case 4: return 34;
    default: return 14;
  }
}

// Raises the status's exception flag on the x87 unit so that a caller's
// handler sees a hardware exception for the traps the mode unmasks.
void raise_x87(uint32_t mode, int status) {
  struct Env {
    uint16_t control, r0, status, r1, tag, r2;
    uint32_t rest[4];
  } saved, copy;
  __asm__ volatile("fnstenv %0" : "=m"(saved));
  __asm__ volatile("fldenv %0" ::"m"(saved));  // fnstenv masks all; put the word back
  copy = saved;
  if (mode & VQM_TRAP_INVALID) copy.control &= ~0x01;
  if (mode & VQM_TRAP_DIVBYZERO) copy.control &= ~0x04;
  if (mode & VQM_TRAP_OVERFLOW) copy.control &= ~0x08;
  if (mode & VQM_TRAP_UNDERFLOW) copy.control &= ~0x10;
  uint16_t flag = 0;
  switch (status) {
    case 1: flag = 0x01; break;
    case 2: flag = 0x04; break;
    case 3: flag = 0x08; break;
    case 4: flag = 0x10; break;
    default: break;
  }
  copy.status = static_cast<uint16_t>((copy.status & ~0x3F) | flag);
  __asm__ volatile("fldenv %0" ::"m"(copy));
  saved.control |= 0x3F;
  saved.status |= flag;
  __asm__ volatile("fldenv %0\n\tfwait" ::"m"(saved));
}

void print_report(const zev_vqm_error_record& e) {
  static const int first_ids[] = {0x2EE, 0x2EF, 0x2F0, 0x2F1};
  int id;
  if (e.status == -2) {
    zev_serv_print(1, 0x2ED, 1, e.name);
    return;
  }
  if (e.status == -1) {
    zev_serv_print(1, 0x2EC, 2, e.name, e.index);
    return;
  }
  if (e.status == 0) return;
  id = (e.status >= 1 && e.status <= 4) ? first_ids[e.status - 1] : 0x2F2;
  zev_serv_print(1, id, 1, e.name);
  const bool two_args = memcmp(&e.a1, &e.a2, 8) != 0 && !(e.a2 == 0.0);
  const bool two_res = memcmp(&e.r1, &e.r2, 8) != 0 && !(e.r2 == 0.0);
  const int i = e.index;
  if (!two_args && !two_res) {
    zev_serv_print(1, 0x2F3, 2, i, e.a1);
    zev_serv_print(1, 0x2F4, 2, i, e.r1);
  } else if (!two_args) {
    zev_serv_print(1, 0x2F5, 2, i, e.a1);
    zev_serv_print(1, 0x2F6, 2, i, e.r1);
    zev_serv_print(1, 0x2F7, 2, i, e.r2);
  } else if (!two_res) {
    zev_serv_print(1, 0x2F8, 2, i, e.a1);
    zev_serv_print(1, 0x2F9, 2, i, e.a2);
    zev_serv_print(1, 0x2FA, 2, i, e.r1);
  } else {
    zev_serv_print(1, 0x2FB, 2, i, e.a1);
    zev_serv_print(1, 0x2FC, 2, i, e.a2);
    zev_serv_print(1, 0x2FD, 2, i, e.r1);
    zev_serv_print(1, 0x2FE, 2, i, e.r2);
  }
}

template <class T> struct Parts;
template <> struct Parts<float> {
  static constexpr int shift = 2;
  static double re(const float& v) { return v; }
  static double im(const float&) { return 0; }
  static void set(float& v, double re, double) { v = static_cast<float>(re); }
  static constexpr bool complex = false;
};
template <> struct Parts<double> {
  static constexpr int shift = 3;
  static double re(const double& v) { return v; }
  static double im(const double&) { return 0; }
  static void set(double& v, double re, double) { v = re; }
  static constexpr bool complex = false;
};
template <> struct Parts<zev_complex8> {
  static constexpr int shift = 3;
  static double re(const zev_complex8& v) { return v.re; }
  static double im(const zev_complex8& v) { return v.im; }
  static void set(zev_complex8& v, double re, double im) {
    v.re = static_cast<float>(re);
    v.im = static_cast<float>(im);
  }
  static constexpr bool complex = true;
};
template <> struct Parts<zev_complex16> {
  static constexpr int shift = 4;
  static double re(const zev_complex16& v) { return v.re; }
  static double im(const zev_complex16& v) { return v.im; }
  static void set(zev_complex16& v, double re, double im) {
    v.re = re;
    v.im = im;
  }
  static constexpr bool complex = true;
};

template <class T>
void report_impl(int status, int index, const T* a1, long inca1, const T* a2, long inca2, T* r1, long incr1,
                 T* r2, long incr2, const char* name) {
  using P = Parts<T>;
  const uint32_t mode = zev_vqm_kernel_GetMode();
  const uint32_t f = mode & kModeErrors;
  if (f == VQM_ERRMODE_NOERR) return;
  ThreadState* ts = thread_state();
  ts->status = status;
  if (f == VQM_ERRMODE_IGNORE) return;

  zev_vqm_error_record e{};  // the fields a report does not fill are zero
  e.status = status;
  e.index = index;
  if (ts->interf_input != nullptr) {
    const intptr_t delta = static_cast<intptr_t>(reinterpret_cast<uintptr_t>(a1) -
                                                 reinterpret_cast<uintptr_t>(ts->interf_input));
    e.index = static_cast<int>(index + (delta >> P::shift));
  }
  const bool cb = (mode & VQM_ERRMODE_CALLBACK) && ts->callback != nullptr;
  const bool defaults = (mode & kModeReporting) != 0;
  int len = 0;
  if (name != nullptr)
    while (len < 47 && name[len] != 0) ++len;
  if (name != nullptr) memcpy(e.name, name, static_cast<size_t>(len));
  e.name[len] = 0;
  e.name_length = (status == -2 && !(mode & VQM_ERRMODE_CALLBACK) && !defaults) ? 0 : len;

  if (status != -1 && status != -2) {
    const long i = index;
    e.a1 = P::re(a1[i * inca1]);
    e.a2 = P::re(a2[i * inca2]);
    e.r1 = P::re(r1[i * incr1]);
    e.r2 = P::re(r2[i * incr2]);
    if (P::complex) {
      e.a1_im = P::im(a1[i * inca1]);
      e.a2_im = P::im(a2[i * inca2]);
      e.r1_im = P::im(r1[i * incr1]);
      e.r2_im = P::im(r2[i * incr2]);
    }
  }
  if (cb && ts->callback(&e) != 0) return;
  if (defaults) {
    if (mode & VQM_ERRMODE_ERRNO) set_errno(errno_of(status));
    if (mode & VQM_ERRMODE_STDERR) print_report(e);
    if (mode & VQM_ERRMODE_EXCEPT) raise_x87(mode, status);
  }
  if (status == -1 || status == -2) return;
  const long i = index;
  P::set(r2[i * incr2], e.r2, P::complex ? e.r2_im : 0.0);
  P::set(r1[i * incr1], e.r1, P::complex ? e.r1_im : 0.0);
}

}  // namespace

}  // namespace zev

#define ZEV_DEFINE_REPORTERS(sfx, T)                                                                   \
  extern "C" void vqm_report_##sfx(int status, int index, const T* a1, const T* a2, T* r1, T* r2,     \
                                   const char* name) {                                                \
    zev::report_impl<T>(status, index, a1, 1, a2, 1, r1, 1, r2, 1, name);                             \
  }                                                                                                   \
  extern "C" void vqm_report_##sfx##i(int status, int index, const T* a1, int inca1, const T* a2,     \
                                      int inca2, T* r1, int incr1, T* r2, int incr2,                  \
                                      const char* name) {                                             \
    zev::report_impl<T>(status, index, a1, inca1, a2, inca2, r1, incr1, r2, incr2, name);             \
  }
ZEV_DEFINE_REPORTERS(s, float)
ZEV_DEFINE_REPORTERS(d, double)
ZEV_DEFINE_REPORTERS(c, zev_complex8)
ZEV_DEFINE_REPORTERS(z, zev_complex16)
