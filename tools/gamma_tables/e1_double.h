// E1(x) in plain double arithmetic: the reference of the exhaustive single
// check. The series for x < 2.5 cancels by at most e^(2x) < 2^7.3, and the
// continued fraction above is taken to a depth by range that leaves below
// 2^-50, so the value is within about 2^-44 relative of E1, far below a single ulp;
// tests/vector/gamma checks it against MPFR on a sample.
#pragma once

#include <cmath>

namespace zev::gammaref {

inline double e1_double(double x) {
  if (std::isnan(x) || x < 0) return NAN;
  if (x == 0) return INFINITY;
  if (x < 2.5) {
    double p = 1, s = 0;
    for (int k = 1; k <= 40; ++k) {
      p *= -x / k;
      s += p / k;
    }
    return (-0.57721566490153286 - std::log(x)) - s;
  }
  const int depth = x < 3 ? 40 : x < 4 ? 32 : x < 6 ? 26 : x < 8 ? 20 : x < 16 ? 15 : x < 32 ? 10 : 8;
  double t = 0;
  for (int k = depth; k > 0; --k) t = static_cast<double>(k) * k / (x + (2 * k + 1) - t);
  return std::exp(-x) / (x + 1 - t);
}

}  // namespace zev::gammaref
