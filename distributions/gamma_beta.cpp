// Gamma (and ChiSquare on it), Beta, and Negbinomial as a Gamma-Poisson
// mixture, by rejection methods that need uniforms only.
//
// Every attempt takes two uniforms. A round draws 2m uniforms, m no more than
// the variates still owed, runs the m attempts and keeps the accepted ones in
// order; so no uniform is drawn that is not used, and one call of n gives
// what calls of n1 and n - n1 give. The logarithms and exponentials of a
// round go through the vector rows; the rarer second tests are scalar.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "distributions/discrete_common.h"

namespace {

using namespace zev::dist;

constexpr double kLn4 = 1.3862943611198906;
constexpr int kPairs = kBlock / 2;

// 2m uniforms in (0, 1), on the half-step-shifted lattice of the continuous
// distributions and kept off both ends for any generator.
int draw_open(void* stream, int count, double* u) {
  const int st = draw(stream, count, u, 0x1p-33, 1.0 + 0x1p-33);
  if (st < 0) return st;
  for (int i = 0; i < count; ++i) {
    const double x = u[i] > 0x1p-60 ? u[i] : 0x1p-60;
    u[i] = x < 1 - 0x1p-53 ? x : 1 - 0x1p-53;
  }
  return st;
}

constexpr double factorial(int k) { return k <= 1 ? 1.0 : k * factorial(k - 1); }

// e^v - 1 - v without cancellation for small v (its series to v^13, within
// 2^-60 relative for |v| < 1/4); e = e^v.
inline double expm1_minus(double v, double e) {
  if (std::fabs(v) >= 0.25) return e - 1 - v;
  constexpr double c[12] = {1 / factorial(2),  1 / factorial(3),  1 / factorial(4),  1 / factorial(5),
                            1 / factorial(6),  1 / factorial(7),  1 / factorial(8),  1 / factorial(9),
                            1 / factorial(10), 1 / factorial(11), 1 / factorial(12), 1 / factorial(13)};
  double s = c[11];
  for (int k = 10; k >= 0; --k) s = s * v + c[k];
  return s * v * v;
}

// L = ln(u1 / (1 - u1)) for the first uniform of each pair, and E = e^(c L).
void logit_exp(int m, const double* u, double c, double* L, double* E) {
  for (int i = 0; i < m; ++i) L[i] = u[2 * i] / (1 - u[2 * i]);
  _vqmdLn_50(m, L, L);
  for (int i = 0; i < m; ++i) E[i] = c * L[i];
  _vqmdExp_50(m, E, E);
}

// Runs rounds of attempts until n variates are out. attempt(u1, u2, i, x)
// decides the pair i of the round; fallback is written for a variate whose
// attempts reach kMaxAttempts (which happens only outside the domains).
template <class Prepare, class Attempt>
int rounds(void* stream, int n, double* out, double fallback, Prepare&& prepare, Attempt&& attempt) {
  QuietKernels quiet;
  double u[kBlock];
  int fails = 0;
  for (int done = 0; done < n;) {
    const int m = n - done < kPairs ? n - done : kPairs;
    const int st = draw_open(stream, 2 * m, u);
    if (st < 0) return st;
    prepare(m, u);
    for (int i = 0; i < m; ++i) {
      double x;
      if (attempt(u[2 * i], u[2 * i + 1], i, x)) {
        out[done++] = x;
        fails = 0;
      } else if (++fails == kMaxAttempts) {
        out[done++] = fallback;
        fails = 0;
      }
    }
  }
  return 0;
}

// ---- Gamma -------------------------------------------------------------------
// n standard gamma variates of shape a > 0 into out.
//   a >= 1: Cheng's GB (1977): v = ln(u1/(1-u1)) / sqrt(2a - 1), y = a e^v,
//           accepted when  w + 1 + ln 4.5 - 4.5 z >= 0  or  w >= ln z, with
//           z = u1^2 u2 and w = a - ln 4 + (a + sqrt(2a-1)) v - y, written
//           here as L - ln 4 - a (e^v - 1 - v) so that it holds its absolute
//           accuracy for large a.
//   a < 1:  Ahrens and Dieter's GS (1974): with b = 1 + a/e and p = b u1,
//           x = p^(1/a) accepted when u2 <= e^-x, or for p > 1
//           x = -ln((b - p)/a) accepted when u2 <= x^(a-1).
int standard_gamma(void* stream, int n, double* out, double a) {
  if (a >= 1) {
    const double c = 1 / std::sqrt(2 * a - 1);
    const double d = 1 + std::log(4.5);
    double L[kPairs], E[kPairs];
    return rounds(
        stream, n, out, a, [&](int m, const double* u) { logit_exp(m, u, c, L, E); },
        [&](double u1, double u2, int i, double& x) {
          const double v = c * L[i];
          const double w = L[i] - kLn4 - a * expm1_minus(v, E[i]);
          const double z = u1 * u1 * u2;
          x = a * E[i];
          return w + d - 4.5 * z >= 0 || w >= std::log(z);
        });
  }
  const double b = 1 + a / 2.718281828459045;
  const double inv_a = 1 / a;
  return rounds(
      stream, n, out, a, [](int, const double*) {},
      [&](double u1, double u2, int, double& x) {
        const double p = b * u1;
        if (p <= 1) {
          x = std::exp(std::log(p) * inv_a);
          return u2 <= std::exp(-x);
        }
        x = -std::log((b - p) * inv_a);
        return std::log(u2) <= (a - 1) * std::log(x);
      });
}

template <class T>
int gamma(void* stream, int n, T* r, double a, double loc, double scale) {
  if (!(a > 0 && a < std::numeric_limits<double>::infinity())) {
    for (int i = 0; i < n; ++i) r[i] = std::numeric_limits<T>::quiet_NaN();
    return 0;
  }
  double x[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = standard_gamma(stream, m, x, a);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) r[done + i] = T(loc + scale * x[i]);
    done += m;
  }
  return 0;
}

// ---- Beta --------------------------------------------------------------------
// Cheng (1978), with a0, b0 the shapes:
//   BB, min(a0, b0) > 1: a = min, b = max, alpha = a + b,
//      beta = sqrt((alpha - 2) / (2ab - alpha)), gamma = a + 1/beta;
//      v = beta ln(u1/(1-u1)), w = a e^v, z = u1^2 u2, r = gamma v - ln 4,
//      s = a + r - w; accept when s + 1 + ln 5 >= 5z, or s > ln z, or
//      r + alpha ln(alpha / (b + w)) >= ln z.
//   BC, min(a0, b0) <= 1: a = max, b = min, with the constants k1, k2 of the
//      paper.
// The variate is w / (b + w) when a is a0, else b / (b + w).
int standard_beta(void* stream, int n, double* out, double a0, double b0) {
  const double a = std::fmin(a0, b0), b = std::fmax(a0, b0);
  const bool mine = a == a0;  // w / (b + w) is the variate of a0
  auto value = [=](double w) {
    if (!(w <= DBL_MAX)) return mine ? 1.0 : 0.0;
    return mine ? w / (b + w) : b / (b + w);
  };
  const double alpha = a0 + b0, mean = a0 / alpha;
  if (a > 1) {
    const double beta = std::sqrt((alpha - 2) / (2 * a * b - alpha));
    const double c5 = 1 + std::log(5.0);
    double L[kPairs], E[kPairs];
    return rounds(
        stream, n, out, mean, [&](int m, const double* u) { logit_exp(m, u, beta, L, E); },
        [&](double u1, double u2, int i, double& x) {
          const double v = beta * L[i], w = a * E[i], z = u1 * u1 * u2;
          // s = a + r - w = L - ln 4 - a (e^v - 1 - v), r = s - a + w.
          const double s = L[i] - kLn4 - a * expm1_minus(v, E[i]);
          x = value(w);
          if (s + c5 >= 5 * z) return true;
          const double t = std::log(z);
          if (s > t) return true;
          const double r = a * v + L[i] - kLn4;
          return r + alpha * std::log(alpha / (b + w)) >= t;
        });
  }
  // BC: here a is the larger shape.
  const double big = b, small = a;
  const double beta = 1 / small, delta = 1 + big - small;
  const double k1 = delta * (0.0138889 + 0.0416667 * small) / (big * beta - 0.777778);
  const double k2 = 0.25 + (0.5 + 0.25 / delta) * small;
  auto value_bc = [=](double w) {
    // Here w / (small + w) is the variate of the larger shape.
    if (!(w <= DBL_MAX)) return mine ? 0.0 : 1.0;
    return mine ? small / (small + w) : w / (small + w);
  };
  return rounds(
      stream, n, out, mean, [](int, const double*) {},
      [&](double u1, double u2, int, double& x) {
        double z;
        if (u1 < 0.5) {
          const double y = u1 * u2;
          z = u1 * y;
          if (0.25 * u2 + z - y >= k1) return false;
        } else {
          z = u1 * u1 * u2;
          if (z <= 0.25) {
            const double v = beta * std::log(u1 / (1 - u1));
            x = value_bc(big * std::exp(v));
            return true;
          }
          if (z >= k2) return false;
        }
        const double v = beta * std::log(u1 / (1 - u1));
        const double w = big * std::exp(v);
        x = value_bc(w);
        return alpha * (std::log(alpha / (small + w)) + v) - kLn4 >= std::log(z);
      });
}

template <class T>
int beta_dist(void* stream, int n, T* r, double a, double b, double loc, double scale) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  if (!(a > 0 && a < inf && b > 0 && b < inf)) {
    for (int i = 0; i < n; ++i) r[i] = std::numeric_limits<T>::quiet_NaN();
    return 0;
  }
  double x[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = standard_beta(stream, m, x, a, b);
    if (st < 0) return st;
    for (int i = 0; i < m; ++i) r[done + i] = T(loc + scale * x[i]);
    done += m;
  }
  return 0;
}

}  // namespace

extern "C" {

ZEV_API int _vqssRngGamma(int, void* stream, int n, float* r, float a, float loc, float scale) {
  KeepErrno keep;
  return gamma<float>(stream, n, r, a, loc, scale);
}
ZEV_API int _vqsdRngGamma(int, void* stream, int n, double* r, double a, double loc, double scale) {
  KeepErrno keep;
  return gamma<double>(stream, n, r, a, loc, scale);
}
ZEV_API int _vqssRngChiSquare(int, void* stream, int n, float* r, float df, float loc, float scale) {
  KeepErrno keep;
  return gamma<float>(stream, n, r, 0.5 * double(df), loc, 2 * double(scale));
}
ZEV_API int _vqsdRngChiSquare(int, void* stream, int n, double* r, double df, double loc,
                              double scale) {
  KeepErrno keep;
  return gamma<double>(stream, n, r, 0.5 * df, loc, 2 * scale);
}
ZEV_API int _vqssRngBeta(int, void* stream, int n, float* r, float a, float b, float loc,
                         float scale) {
  KeepErrno keep;
  return beta_dist<float>(stream, n, r, a, b, loc, scale);
}
ZEV_API int _vqsdRngBeta(int, void* stream, int n, double* r, double a, double b, double loc,
                         double scale) {
  KeepErrno keep;
  return beta_dist<double>(stream, n, r, a, b, loc, scale);
}

// Failures before the a-th success, success probability p: Poisson(lambda)
// with lambda Gamma(a, (1 - p)/p). A block of means first, then their Poisson
// draws.
ZEV_API int _vqsiRngNegbinomial(int, void* stream, int n, int32_t* r, double a, double p) {
  KeepErrno keep;
  if (!(a > 0 && a < std::numeric_limits<double>::infinity() && p > 0 && p <= 1)) {
    for (int i = 0; i < n; ++i) r[i] = kMarker;
    return 0;
  }
  const double scale = (1 - p) / p;
  double lam[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    int st = standard_gamma(stream, m, lam, a);
    if (st < 0) return st;
    Uniforms u(stream, 1);
    st = each_variate(u, m, [&](int i) {
      const double mu = lam[i] * scale;
      if (mu < 0x1p31) {
        r[done + i] = saturate(poisson_once(u, mu));
      } else {
        u.next();
        r[done + i] = kMarker;
      }
    });
    if (st < 0) return st;
    done += m;
  }
  return 0;
}

}  // extern "C"
