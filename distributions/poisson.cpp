// Poisson by PTRS or by inversion, and PoissonV with one mean a variate.
#include <cmath>
#include <cstdint>

#include "distributions/discrete_common.h"

namespace {

using namespace zev::dist;

constexpr double kMaxMean = 0x1p30;

bool mean_in_domain(double mu) { return mu >= 0 && mu <= kMaxMean; }

int poisson_inverse(void* stream, int n, int32_t* r, double mu) {
  const double mode = std::floor(mu);
  const InverseCdf table(
      0, double(kMarker), mode, zev::dist::exp(poisson_log_pmf(mode, mu)), table_width(std::sqrt(mu)),
      [mu](double k) { return mu / (k + 1); }, [mu](double k) { return k / mu; });
  return invert(stream, n, r, table);
}

}  // namespace

extern "C" {

ZEV_API int _vqsiRngPoisson(int method, void* stream, int n, int32_t* r, double mu) {
  KeepErrno keep;
  if (!mean_in_domain(mu)) {
    for (int i = 0; i < n; ++i) r[i] = kMarker;
    return 0;
  }
  if ((method & ~ZEV_RNG_METHOD_ACCURATE) == ZEV_RNG_POISSON_INV || mu < 10 ||
      small_table(0, double(kMarker), std::floor(mu), std::sqrt(mu)))
    return poisson_inverse(stream, n, r, mu);
  const Ptrs ptrs(mu);
  Memo memo(std::floor(mu));
  return two_uniform_rounds(stream, n, ptrs, &memo, [&](int i, double k) { r[i] = saturate(k); });
}

ZEV_API int _vqsiRngPoissonV(int, void* stream, int n, int32_t* r, const double* mu) {
  KeepErrno keep;
  Uniforms u(stream, 1);
  PoissonSeq poisson;
  return each_variate(u, n, [&](int i) {
    if (mean_in_domain(mu[i])) {
      r[i] = saturate(poisson(u, mu[i]));
    } else {
      u.next();  // every variate takes at least one uniform
      r[i] = kMarker;
    }
  });
}

}  // extern "C"
