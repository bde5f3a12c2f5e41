// Binomial by BTRS or by inversion, and Multinomial by conditional binomials.
#include <cmath>
#include <cstdint>

#include "distributions/discrete_common.h"

namespace {

using namespace zev::dist;

int binomial_inverse(void* stream, int n, int32_t* r, double trials, double pm, bool flip) {
  const double qm = 1 - pm, ratio = pm / qm;
  const double mode = std::floor((trials + 1) * pm);
  const InverseCdf table(
      0, trials, mode, zev::dist::exp(binomial_log_pmf(mode, trials, pm, qm)),
      table_width(std::sqrt(trials * pm * qm)),
      [=](double k) { return ratio * (trials - k) / (k + 1); },
      [=](double k) { return k / (ratio * (trials - k + 1)); });
  if (!flip) return invert(stream, n, r, table);
  // Reflected on u too, so that the values still grow with u.
  return invert(stream, n, r, [&](double u) { return trials - table(1 - u); });
}

// Tolerance of the sum of the multinomial probabilities about 1.
constexpr long double kSumTolerance = 1e-9L;

}  // namespace

extern "C" {

ZEV_API int _vqsiRngBinomial(int method, void* stream, int n, int32_t* r, int32_t ntrial,
                             double p) {
  KeepErrno keep;
  if (!(ntrial >= 0 && p >= 0 && p <= 1)) {
    for (int i = 0; i < n; ++i) r[i] = kMarker;
    return 0;
  }
  const double trials = ntrial;
  const bool flip = p > 0.5;
  const double pm = flip ? 1 - p : p;
  if ((method & ~ZEV_RNG_METHOD_ACCURATE) == ZEV_RNG_BINOMIAL_INV || trials * pm < 10 ||
      small_table(0, trials, std::floor((trials + 1) * pm), std::sqrt(trials * pm * (1 - pm))))
    return binomial_inverse(stream, n, r, trials, pm, flip);
  const Btrs btrs(trials, pm);
  Memo memo(btrs.mode());
  return btrs.rounds(stream, n, &memo,
                     [&](int i, double k) { r[i] = int32_t(flip ? trials - k : k); });
}

ZEV_API int _vqsiRngMultinomial(int, void* stream, int n, int32_t* r, int32_t ntrial, int32_t k,
                                const double* p) {
  KeepErrno keep;
  if (ntrial < 0 || k < 1 || p == nullptr) return ZEV_VQS_ERR_MULTINOMIAL_PARAM;
  long double total = 0;
  for (int32_t j = 0; j < k; ++j) {
    if (!(p[j] >= 0 && p[j] <= 1)) return ZEV_VQS_ERR_MULTINOMIAL_PARAM;
    total += p[j];
  }
  if (!(std::fabs(total - 1.0L) <= kSumTolerance)) return ZEV_VQS_ERR_MULTINOMIAL_PARAM;
  // Category j takes a binomial share of the trials left, with p_j over the
  // probability left (carried in long double, so that it does not cancel);
  // the last takes the rest. Every category but the last takes one binomial
  // draw, so every variate at least k - 1 uniforms.
  Uniforms u(stream, k - 1);
  BinomialSeq binomial[16];  // the set-up of category j kept in binomial[j % 16]
  return each_variate(u, n, [&](int i) {
    int32_t* x = r + int64_t(i) * k;
    double left = ntrial;
    long double rest = total;
    for (int32_t j = 0; j < k - 1; ++j) {
      const double share = rest > 0 ? double(p[j] / rest) : 1.0;
      const double c = binomial[j % 16](u, left, share < 1 ? share : 1.0);
      x[j] = int32_t(c);
      left -= c;
      rest -= p[j];
    }
    x[k - 1] = int32_t(left);
  });
}

}  // extern "C"
