// Hypergeometric by ratio of uniforms (HRUA) or by inversion.
#include <emmintrin.h>

#include <cmath>
#include <cstdint>

#include "distributions/discrete_common.h"

namespace {

using namespace zev::dist;

// Support, mode and standard deviation of the successes among d draws
// without replacement from pop items of which s are successes.
struct Shape {
  Shape(double pop, double s, double d)
      : kmin(std::fmax(0, d - (pop - s))),
        kmax(std::fmin(s, d)),
        mode(std::fmin(kmax, std::fmax(kmin, std::floor((d + 1) * (s + 1) / (pop + 2))))),
        sd(std::sqrt(pop > 1 ? d * (s / pop) * (1 - s / pop) * (pop - d) / (pop - 1) : 0)) {}
  double kmin, kmax, mode, sd;
};

// The variates by the table of the distribution function.
int hypergeometric_inverse(void* stream, int n, int32_t* r, double pop, double s, double d) {
  const Shape sh(pop, s, d);
  const double kmin = sh.kmin, kmax = sh.kmax, mode = sh.mode;
  const double pmode = kmin == kmax ? 1.0 : zev::dist::exp(hypergeometric_log_pmf(mode, pop, s, d));
  const double f = pop - s - d;  // failures left over when all draws are failures, minus one
  const InverseCdf table(
      kmin, kmax, mode, pmode, table_width(sh.sd),
      [=](double k) { return (s - k) * (d - k) / ((k + 1) * (f + k + 1)); },
      [=](double k) { return k * (f + k) / ((s - k + 1) * (d - k + 1)); });
  return invert(stream, n, r, table);
}

// Ratio of uniforms (Stadlober 1989) on the reduced problem: g = min(s,
// pop - s) successes, m = min(d, pop - d) draws, so that the support is
// [0, min(g, m)]; two uniforms an attempt. The acceptance test is
// u^2 <= P(z) / P(mode), with the squeezes 4u - u^2 - 3 >= 2 ln u >= u - 1/u.
class Hrua {
 public:
  Hrua(double pop, double g, double m) : pop_(pop), g_(g), m_(m) {
    constexpr double kD1 = 1.7155277699214135;  // 2 sqrt(2/e)
    constexpr double kD2 = 0.8989161620588988;  // 3 - 2 sqrt(3/e)
    const double p = g / pop;
    c_ = m * p + 0.5;
    const double sd = std::sqrt((pop - m) * m * p * (1 - p) / (pop - 1) + 0.5);
    h_ = kD1 * sd + kD2;
    mode_ = std::floor((m + 1) * (g + 1) / (pop + 2));
    p_ = m / pop;
    q_ = (pop - m) / pop;
    f_ = pop - g;
    gp_ = g * p_, gq_ = g * q_, fp_ = f_ * p_, fq_ = f_ * q_;
    c0_ = stirling_delta(g) + stirling_delta(f_) - kLn2Pi;
    ln_pmode_ = ln_part(mode_);
    end_ = std::fmin(std::fmin(m, g) + 1, std::floor(c_ + 16 * sd));
  }
  // One attempt from the uniforms x and y: true with the variate z. ln P(z) -
  // ln P(mode) is kept in the table for the values of z about the mode: most
  // attempts then cost no logarithm. The table's recurrence holds on the
  // whole support, [0, top()].
  bool attempt(double x, double y, double& z, SegmentTable<Hrua>* table) const {
    const double w = c_ + h_ * (y - 0.5) / x;
    if (!(w >= 0 && w < end_)) return false;
    z = std::floor(w);
    const double tz = (*table)(z, *this);
    if (x * (4 - x) - 3 <= tz) return true;
    if (x * (x - tz) >= 1) return false;
    return 2 * zev::dist::ln(x) <= tz;
  }
  double fallback() const { return mode_; }
  double mode() const { return mode_; }
  double bottom() const { return 0; }
  double top() const { return std::fmin(g_, m_); }
  // ln P(z) - ln P(mode) by the saddle-point form.
  double log_ratio(double z) const { return ln_part(z) - ln_pmode_; }
  // P(z + 1) / P(z) for z in [0, top()).
  __m128d step(__m128d z) const {
    const __m128d one = _mm_set1_pd(1.0);
    const __m128d num = _mm_mul_pd(_mm_sub_pd(_mm_set1_pd(g_), z), _mm_sub_pd(_mm_set1_pd(m_), z));
    const __m128d den =
        _mm_mul_pd(_mm_add_pd(z, one), _mm_add_pd(_mm_add_pd(_mm_set1_pd(f_ - m_), z), one));
    return _mm_div_pd(num, den);
  }

 private:
  // ln P(z) but for its term that does not depend on z: the binomial
  // probabilities of z among g and of m - z among f = pop - g, at p = m/pop.
  // Inside both supports their saddle-point forms share one logarithm.
  double ln_part(double z) const {
    const double y = m_ - z;
    if (!(z > 0 && z < g_ && y > 0 && y < f_))
      return binomial_log_pmf(z, g_, p_, q_) + binomial_log_pmf(y, f_, p_, q_);
    return c0_ - stirling_delta(z) - stirling_delta(g_ - z) - stirling_delta(y) - stirling_delta(f_ - y) -
           bd0(z, gp_) - bd0(g_ - z, gq_) - bd0(y, fp_) - bd0(f_ - y, fq_) -
           0.5 * zev::dist::ln((z * ((g_ - z) / g_)) * (y * ((f_ - y) / f_)));
  }

  double pop_, g_, m_, c_, h_, mode_, p_, q_, ln_pmode_, end_, f_, gp_, gq_, fp_, fq_, c0_;
};

}  // namespace

extern "C" {

ZEV_API int _vqsiRngHypergeometric(int method, void* stream, int n, int32_t* r, int32_t population,
                                   int32_t successes, int32_t draws) {
  KeepErrno keep;
  if (!(population >= 0 && successes >= 0 && successes <= population && draws >= 0 &&
        draws <= population)) {
    for (int i = 0; i < n; ++i) r[i] = kMarker;
    return 0;
  }
  const double pop = population, s = successes, d = draws;
  const double m = std::fmin(d, pop - d);
  const Shape sh(pop, s, d);
  if ((method & ~ZEV_RNG_METHOD_ACCURATE) == ZEV_RNG_HYPERGEOMETRIC_INV || m < 10 ||
      s == 0 || s == pop || small_table(sh.kmin, sh.kmax, sh.mode, sh.sd))
    return hypergeometric_inverse(stream, n, r, pop, s, d);
  const double g = std::fmin(s, pop - s);
  const Hrua hrua(pop, g, m);
  SegmentTable<Hrua> table(hrua.mode());
  return two_uniform_rounds(stream, n, hrua, &table, [&](int i, double z) {
    if (s > pop - s) z = m - z;
    if (m < d) z = s - z;
    r[i] = int32_t(z);
  });
}

}  // extern "C"
