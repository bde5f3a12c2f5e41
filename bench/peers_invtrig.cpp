// The inverse circular functions beside the peers a user would pick instead;
// the harness is bench_vector.cpp. The half-turn forms have no peer of their
// own in these libraries: their peers are the radian functions times 1/pi.
#include <cmath>

#include "bench/bench_common.h"

#if defined(ZEV_HAVE_SLEEF)
#include <sleef.h>
#endif

// glibc's libmvec, SSE variants.
extern "C" {
__m128d _ZGVbN2v_asin(__m128d);
__m128 _ZGVbN4v_asinf(__m128);
__m128d _ZGVbN2v_acos(__m128d);
__m128 _ZGVbN4v_acosf(__m128);
__m128d _ZGVbN2v_atan(__m128d);
__m128 _ZGVbN4v_atanf(__m128);
__m128d _ZGVbN2vv_atan2(__m128d, __m128d);
__m128 _ZGVbN4vv_atan2f(__m128, __m128);
}

namespace zevbench {
namespace {

constexpr float fpi = static_cast<float>(M_1_PI);

// A vector function times 1/pi.
template <auto F>
__m128d pi_d(__m128d x) {
  return _mm_mul_pd(F(x), _mm_set1_pd(M_1_PI));
}
template <auto F>
__m128 pi_s(__m128 x) {
  return _mm_mul_ps(F(x), _mm_set1_ps(static_cast<float>(M_1_PI)));
}
template <auto F>
__m128d pi2_d(__m128d y, __m128d x) {
  return _mm_mul_pd(F(y, x), _mm_set1_pd(M_1_PI));
}
template <auto F>
__m128 pi2_s(__m128 y, __m128 x) {
  return _mm_mul_ps(F(y, x), _mm_set1_ps(static_cast<float>(M_1_PI)));
}

void register_invtrig() {
  constexpr bool U = false, B = true;
  const Domain none{0.5, 1.0}, unit{-1.0, 1.0}, wide{-100.0, 100.0};
  const auto& T = kTranscendental;

  // Asin, Acos, Atan and their half-turn forms.
#define ZEV_UNARY(Row, fn, dom)                                                                             \
  add_ours("s" #Row, U, dom, none, T);                                                                      \
  add("s" #Row, "glibc", ZEV_LOOP1(float, fn##f(a[i])), U, dom, none, T);                                   \
  add("s" #Row, "libmvec", ZEV_VEC_S(_ZGVbN4v_##fn##f), U, dom, none, T);                                   \
  add_ours("d" #Row, U, dom, none, T);                                                                      \
  add("d" #Row, "glibc", ZEV_LOOP1(double, fn(a[i])), U, dom, none, T);                                     \
  add("d" #Row, "libmvec", ZEV_VEC_D(_ZGVbN2v_##fn), U, dom, none, T);                                      \
  add_ours("s" #Row "pi", U, dom, none, T);                                                                 \
  add("s" #Row "pi", "glibc", ZEV_LOOP1(float, fn##f(a[i]) * fpi), U, dom, none, T);                        \
  add("s" #Row "pi", "libmvec", ZEV_VEC_S(pi_s<_ZGVbN4v_##fn##f>), U, dom, none, T);                        \
  add_ours("d" #Row "pi", U, dom, none, T);                                                                 \
  add("d" #Row "pi", "glibc", ZEV_LOOP1(double, fn(a[i]) * M_1_PI), U, dom, none, T);                       \
  add("d" #Row "pi", "libmvec", ZEV_VEC_D(pi_d<_ZGVbN2v_##fn>), U, dom, none, T);
  ZEV_UNARY(Asin, asin, unit)
  ZEV_UNARY(Acos, acos, unit)
  ZEV_UNARY(Atan, atan, wide)
#undef ZEV_UNARY

  // Atan2 (y, x) over all four quadrants.
  add_ours("sAtan2", B, wide, wide, T);
  add("sAtan2", "glibc", ZEV_LOOP2(float, atan2f(a[i], b[i])), B, wide, wide, T);
  add("sAtan2", "libmvec", ZEV_VEC2_S(_ZGVbN4vv_atan2f), B, wide, wide, T);
  add_ours("dAtan2", B, wide, wide, T);
  add("dAtan2", "glibc", ZEV_LOOP2(double, atan2(a[i], b[i])), B, wide, wide, T);
  add("dAtan2", "libmvec", ZEV_VEC2_D(_ZGVbN2vv_atan2), B, wide, wide, T);
  add_ours("sAtan2pi", B, wide, wide, T);
  add("sAtan2pi", "glibc", ZEV_LOOP2(float, atan2f(a[i], b[i]) * fpi), B, wide, wide, T);
  add("sAtan2pi", "libmvec", ZEV_VEC2_S(pi2_s<_ZGVbN4vv_atan2f>), B, wide, wide, T);
  add_ours("dAtan2pi", B, wide, wide, T);
  add("dAtan2pi", "glibc", ZEV_LOOP2(double, atan2(a[i], b[i]) * M_1_PI), B, wide, wide, T);
  add("dAtan2pi", "libmvec", ZEV_VEC2_D(pi2_d<_ZGVbN2vv_atan2>), B, wide, wide, T);

#if defined(ZEV_HAVE_SLEEF)
#define ZEV_SLEEF1(Row, fn, dom)                                                                            \
  add("s" #Row, "sleef_u10", ZEV_VEC_S(Sleef_##fn##f4_u10sse2), U, dom, none, T);                           \
  add("s" #Row, "sleef_u35", ZEV_VEC_S(Sleef_##fn##f4_u35sse2), U, dom, none, T);                           \
  add("d" #Row, "sleef_u10", ZEV_VEC_D(Sleef_##fn##d2_u10sse2), U, dom, none, T);                           \
  add("d" #Row, "sleef_u35", ZEV_VEC_D(Sleef_##fn##d2_u35sse2), U, dom, none, T);                           \
  add("s" #Row "pi", "sleef_u10", ZEV_VEC_S(pi_s<Sleef_##fn##f4_u10sse2>), U, dom, none, T);                \
  add("s" #Row "pi", "sleef_u35", ZEV_VEC_S(pi_s<Sleef_##fn##f4_u35sse2>), U, dom, none, T);                \
  add("d" #Row "pi", "sleef_u10", ZEV_VEC_D(pi_d<Sleef_##fn##d2_u10sse2>), U, dom, none, T);                \
  add("d" #Row "pi", "sleef_u35", ZEV_VEC_D(pi_d<Sleef_##fn##d2_u35sse2>), U, dom, none, T);
  ZEV_SLEEF1(Asin, asin, unit)
  ZEV_SLEEF1(Acos, acos, unit)
  ZEV_SLEEF1(Atan, atan, wide)
#undef ZEV_SLEEF1
  add("sAtan2", "sleef_u10", ZEV_VEC2_S(Sleef_atan2f4_u10sse2), B, wide, wide, T);
  add("sAtan2", "sleef_u35", ZEV_VEC2_S(Sleef_atan2f4_u35sse2), B, wide, wide, T);
  add("dAtan2", "sleef_u10", ZEV_VEC2_D(Sleef_atan2d2_u10sse2), B, wide, wide, T);
  add("dAtan2", "sleef_u35", ZEV_VEC2_D(Sleef_atan2d2_u35sse2), B, wide, wide, T);
  add("sAtan2pi", "sleef_u10", ZEV_VEC2_S(pi2_s<Sleef_atan2f4_u10sse2>), B, wide, wide, T);
  add("sAtan2pi", "sleef_u35", ZEV_VEC2_S(pi2_s<Sleef_atan2f4_u35sse2>), B, wide, wide, T);
  add("dAtan2pi", "sleef_u10", ZEV_VEC2_D(pi2_d<Sleef_atan2d2_u10sse2>), B, wide, wide, T);
  add("dAtan2pi", "sleef_u35", ZEV_VEC2_D(pi2_d<Sleef_atan2d2_u35sse2>), B, wide, wide, T);
#endif
}

const int registered = (register_invtrig(), 0);

}  // namespace
}  // namespace zevbench
