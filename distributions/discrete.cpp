// Discrete distributions drawn with one uniform a value: Bernoulli by
// comparison, Geometric by inversion.
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "distributions/dist_common.h"
#include "distributions/dist_math.h"

namespace {

using namespace zev::dist;

constexpr int32_t kSaturated = INT32_MAX;

}  // namespace

extern "C" {

// 1 when u < p, u on [0, 1): P(1) = p to the resolution of the generator.
ZEV_API int _vqsiRngBernoulli(int, void* stream, int n, int32_t* r, double p) {
  double u[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = draw(stream, m, u, 0.0, 1.0);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) r[done + i] = u[i] < p ? 1 : 0;
    done += m;
  }
  return 0;
}

// k = 1 + floor(zev::dist::ln(t) / zev::dist::ln(1 - p)) with t = 1 - u on the shifted lattice of
// the continuous generators, so t lies in (0, 1): P(k) = (1 - p)^(k-1) p.
// zev::dist::ln(1 - p) is taken once, as zev::dist::log1p(-p); p = 1 makes it -inf and every k 1.
ZEV_API int _vqsiRngGeometric(int, void* stream, int n, int32_t* r, double p) {
  if (!(p > 0 && p <= 1)) {
    for (int i = 0; i < n; ++i) r[i] = kSaturated;
    return 0;
  }
  QuietKernels quiet;
  const double inv = 1.0 / zev::dist::log1p(-p);  // -0 when p = 1
  constexpr double kTop = double(kSaturated - 1);
  double L[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    int st = draw(stream, m, L, 1.0 - 0x1p-33, -0x1p-33);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) L[i] = L[i] > DBL_MIN ? L[i] : DBL_MIN;
    _vqmdLn_50(m, L, L);
    for (int i = 0; i < m; ++i) {
      double q = L[i] * inv;  // >= 0
      q = q < kTop ? q : kTop;
      r[done + i] = int32_t(q) + 1;
    }
    done += m;
  }
  return 0;
}

}  // extern "C"
