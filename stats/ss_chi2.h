// The chi-square distribution for the robust estimators: its upper tail and
// quantiles, from the regularized incomplete gamma function.
#pragma once

#include <algorithm>
#include <cmath>

namespace zev::ss {

// Upper regularized incomplete gamma Q(a, x), x > 0, by the series of P below
// a + 1 and the continued fraction (modified Lentz) above it.
inline double gamma_q(double a, double x) {
  int sign;
  const double front = std::exp(a * std::log(x) - x - lgamma_r(a, &sign));
  if (x < a + 1) {
    double term = 1 / a, sum = term;
    for (int k = 1; k < 1000 && std::fabs(term) > 1e-17 * sum; ++k) {
      term *= x / (a + k);
      sum += term;
    }
    return 1 - front * sum;
  }
  const double tiny = 1e-300;
  double b = x + 1 - a, c = 1 / tiny, d = 1 / b, h = d;
  for (int k = 1; k < 1000; ++k) {
    const double an = -k * (k - a);
    b += 2;
    d = an * d + b;
    if (std::fabs(d) < tiny) d = tiny;
    c = b + an / c;
    if (std::fabs(c) < tiny) c = tiny;
    d = 1 / d;
    const double delta = d * c;
    h *= delta;
    if (std::fabs(delta - 1) < 1e-16) break;
  }
  return front * h;
}

// The x with Q(p/2, x/2) = tail: the chi-square quantile of p degrees of
// freedom at 1 - tail, by bisection on log Q (monotone), to 1e-12 relative.
inline double chi2_upper_quantile(int32_t p, double tail) {
  const double a = 0.5 * p, target = std::log(tail);
  double lo = 0, hi = std::max(1.0, 2.0 * p);
  while (std::log(gamma_q(a, 0.5 * hi)) > target) hi *= 2;
  for (int k = 0; k < 200 && hi - lo > 1e-12 * hi; ++k) {
    const double mid = 0.5 * (lo + hi);
    if (std::log(gamma_q(a, 0.5 * mid)) > target) lo = mid;
    else hi = mid;
  }
  return 0.5 * (lo + hi);
}

// P(chi2_p <= x).
inline double chi2_cdf(int32_t p, double x) { return x <= 0 ? 0 : 1 - gamma_q(0.5 * p, 0.5 * x); }

}  // namespace zev::ss
