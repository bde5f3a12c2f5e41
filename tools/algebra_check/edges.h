// The ends of the ordinary ranges of the single Inv, Sqrt and InvSqrt kernels,
// checked input by input: every significand (or every stride-th) of the
// lowest and highest binades of each kernel's ordinary range and of the
// binades just outside it, with FTZ/DAZ off and on, through the exported
// entries (the processor's own estimates) and through the block arithmetic
// of vector/algebra/estimated.h compiled with a modelled estimate
// (tests/support/estimate_model.h). Shared by zev_algebra_check --edges (all
// inputs, docs/accuracy_estimates.md) and the tests (a stride).
//
// Reference: the function in double of the input as the kernel reads it
// (with flushing on, a subnormal input is a zero of its sign); its error,
// below 2^-52, is far below the bounds. Error in ulps of the exact result
// (the ulp of the least normal below the normal range), relative error for
// EP. With flushing on, a zero result stands where the exact result is
// subnormal. Besides the error: results of the wrong class (a NaN, an
// infinity or a zero where the reference has none, or the other way round),
// and a status reported for a call whose every exact result is a normal
// number.
#pragma once

#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "tests/support/estimate_model.h"
#include "vector/algebra/estimated.h"
#include "zev/zev_vqm.h"

namespace zev::algcheck {

enum class EdgeFn { Inv, Sqrt, InvSqrt };

// Exponents of the binades checked; -127 stands for the subnormals.
inline std::vector<int> edge_binades(EdgeFn f) {
  if (f == EdgeFn::Inv) return {-127, -126, -125, -124, 122, 123, 124, 125, 126, 127};
  return {-127, -126, -125, -124, -123, 124, 125, 126, 127};
}

inline float bits_to_float(uint32_t u) {
  float f;
  std::memcpy(&f, &u, 4);
  return f;
}

// Every stride-th input of a binade (and its last), with the sign asked.
inline std::vector<float> binade_inputs(int e, bool negative, uint32_t stride) {
  const uint32_t base = e == -127 ? 0 : static_cast<uint32_t>(e + 127) << 23;
  const uint32_t sign = negative ? 0x80000000u : 0;
  std::vector<float> v;
  for (uint32_t m = e == -127 ? 1 : 0; m < (1u << 23); m += stride) v.push_back(bits_to_float(sign | base | m));
  v.push_back(bits_to_float(sign | base | 0x7FFFFFu));
  return v;
}

inline double edge_ref(EdgeFn f, double x) {
  switch (f) {
    case EdgeFn::Inv: return 1.0 / x;
    case EdgeFn::Sqrt: return std::sqrt(x);
    case EdgeFn::InvSqrt: return x == 0 ? 1.0 / x : 1.0 / std::sqrt(x);
  }
  return 0;
}

struct EdgeWorst {
  double err = 0;  // ulps, or relative error at EP
  float x = 0, got = 0;
  double want = 0;
  long points = 0, wrong = 0, status = 0;
  void join(const EdgeWorst& o) {
    if (o.err > err || std::isnan(o.err)) err = o.err, x = o.x, got = o.got, want = o.want;
    points += o.points, wrong += o.wrong, status += o.status;
  }
};

inline double ulp_of_single(double y) {
  const double a = std::fabs(y);
  if (a < 0x1p-126) return 0x1p-149;
  int e;
  std::frexp(a, &e);
  return std::ldexp(1.0, e - 24);
}

// One result; `level` 0 LA, 1 HA, 2 EP.
inline void judge(EdgeFn f, int level, bool flush, float x, float got, EdgeWorst& w) {
  const float fmin = std::numeric_limits<float>::min();
  const double xr = flush && std::fabs(x) < fmin ? std::copysign(0.0, x) : double(x);
  const double y = edge_ref(f, xr);
  const float yf = static_cast<float>(y);
  ++w.points;
  double err;
  if (std::isnan(y) || std::isnan(got)) {
    err = std::isnan(y) && std::isnan(got) ? 0 : INFINITY;
  } else if (std::isinf(yf) || std::isinf(got) || y == 0) {
    err = got == yf && std::signbit(got) == std::signbit(yf) ? 0 : INFINITY;
  } else if (got == 0 && flush && std::fabs(y) < fmin) {
    err = 0;  // flushed where the exact result is subnormal
  } else if (got == 0) {
    err = INFINITY;
  } else if (level == 2) {
    err = std::fabs(got - y) / std::max(std::fabs(y), 0x1p-126);
  } else {
    err = std::fabs(got - y) / ulp_of_single(y);
  }
  if (err == INFINITY) ++w.wrong;
  if (err > w.err || (err == INFINITY && w.err != INFINITY)) w.err = err, w.x = x, w.got = got, w.want = y;
}

// Whether every exact result of the inputs is a normal number (no status due).
inline bool all_normal(EdgeFn f, const std::vector<float>& in) {
  for (float x : in) {
    if (!(std::fabs(x) >= std::numeric_limits<float>::min())) return false;
    const double y = std::fabs(edge_ref(f, x));
    if (!(y >= 0x1p-126 && y < 0x1p128)) return false;
  }
  return true;
}

using SingleUnary = void (*)(int, const float*, float*);

// Through an exported entry, in calls of 1000 elements (blocks, tail and
// callout all take part).
inline EdgeWorst check_entry(SingleUnary entry, EdgeFn f, int level, bool flush, const std::vector<float>& in) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE | (flush ? VQM_FTZDAZ_ON : VQM_FTZDAZ_OFF));
  std::vector<float> out(in.size());
  EdgeWorst w;
  const bool quiet = all_normal(f, in);
  for (size_t off = 0; off < in.size(); off += 1000) {
    const int n = static_cast<int>(std::min<size_t>(1000, in.size() - off));
    zev_vqm_kernel_ClearErrStatus();
    entry(n, &in[off], &out[off]);
    if (quiet && zev_vqm_kernel_GetErrStatus() != 0) ++w.status;
  }
  zev_vqm_kernel_ClearErrStatus();
  zev_vqm_kernel_SetMode(old);
  for (size_t i = 0; i < in.size(); ++i) judge(f, level, flush, in[i], out[i], w);
  return w;
}

// Through block arithmetic `Eval` (an evaluation of estimated.h with a
// model estimate), under the flush bits asked; special lanes belong to the
// scalar function and are not judged here.
template <class Eval>
EdgeWorst check_eval(EdgeFn f, int level, bool flush, const std::vector<float>& in) {
  std::vector<float> x(in), out(in.size() + 4), sp(in.size() + 4);
  while (x.size() % 4) x.push_back(1.0f);
  const uint32_t saved = zev::vk::csr_get();
  zev::vk::csr_set((saved & ~0xFFC0u) | (flush ? 0x9FC0u : 0x1F80u));
  for (size_t i = 0; i < x.size(); i += 4) {
    __m128 special;
    const __m128 y = Eval::eval(_mm_loadu_ps(&x[i]), special);
    _mm_storeu_ps(&out[i], y);
    _mm_storeu_ps(&sp[i], special);
  }
  zev::vk::csr_set(saved);
  EdgeWorst w;
  for (size_t i = 0; i < in.size(); ++i) {
    uint32_t s;
    std::memcpy(&s, &sp[i], 4);
    if (s == 0) judge(f, level, flush, in[i], out[i], w);
  }
  return w;
}

}  // namespace zev::algcheck
