// Worst errors of the peers' double lgamma, tgamma (glibc) and E1 (GSL)
// beside ours, on the same points, against MPFR:
//   zev_gamma_peer_ulp [points per range]
// Points: random over the bit patterns of each range (every binade alike;
// the last range of a row is its benchmark range),
// and the neighbourhoods of the zeros and poles of lgamma on the negative axis.
#include <gsl/gsl_errno.h>
#include <gsl/gsl_sf_expint.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

using Ref = void (*)(mpfr_t y, const mpfr_t x);
void r_lgamma(mpfr_t y, const mpfr_t x) { int s; mpfr_lgamma(y, &s, x, MPFR_RNDN); }
void r_tgamma(mpfr_t y, const mpfr_t x) { mpfr_gamma(y, x, MPFR_RNDN); }
void r_e1(mpfr_t y, const mpfr_t x) {
  mpfr_t t;
  mpfr_init2(t, 200);
  mpfr_neg(t, x, MPFR_RNDN);
  mpfr_eint(y, t, MPFR_RNDN);
  mpfr_neg(y, y, MPFR_RNDN);
  mpfr_clear(t);
}

double ulps(Ref ref, double x, double got) {
  mpfr_t mx, y, g;
  mpfr_inits2(200, mx, y, g, (mpfr_ptr)0);
  mpfr_set_d(mx, x, MPFR_RNDN);
  ref(y, mx);
  double e = 0;
  if (mpfr_number_p(y) && std::isfinite(got) && !mpfr_zero_p(y)) {
    mpfr_set_d(g, got, MPFR_RNDN);
    mpfr_sub(g, g, y, MPFR_RNDN);
    const long ex = std::max<long>(mpfr_get_exp(y), -1021);
    mpfr_mul_2si(g, g, 53 - ex, MPFR_RNDN);
    e = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  }
  mpfr_clears(mx, y, g, (mpfr_ptr)0);
  return e;
}

double random_in(std::mt19937_64& g, double lo, double hi) {
  // Uniform over bit patterns of |x| in the range's span, sign by the range.
  for (;;) {
    const double a = std::max(std::fabs(lo), std::fabs(hi));
    uint64_t top;
    memcpy(&top, &a, 8);
    uint64_t b = g() % (top + 1);
    double v;
    memcpy(&v, &b, 8);
    if (g() & 1) v = -v;
    if (v >= lo && v <= hi) return v;
  }
}

struct Row {
  const char* name;
  Ref ref;
  double (*peer)(double);
  void (*ours)(int, const double*, double*);
  std::vector<std::pair<double, double>> ranges;
};

double e1_gsl(double x) { return gsl_sf_expint_E1(x); }
double lg_glibc(double x) { return ::lgamma(x); }
double tg_glibc(double x) { return ::tgamma(x); }

}  // namespace

int main(int argc, char** argv) {
  const long n = argc > 1 ? std::atol(argv[1]) : 100000;
  gsl_set_error_handler_off();
  zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  const Row rows[] = {
      {"dLGamma (glibc lgamma)", r_lgamma, lg_glibc, _vqmdLGamma_HA, {{-200, 2.5e305}, {-18, 0}, {0, 4}, {8, 1000}}},
      {"dTGamma (glibc tgamma)", r_tgamma, tg_glibc, _vqmdTGamma_HA, {{-190, 171.6}, {-5, 5}, {2, 170}}},
      {"dExpInt1 (GSL E1)", r_e1, e1_gsl, _vqmdExpInt1_HA, {{1e-300, 700}, {0, 4}}},
  };
  std::mt19937_64 g(12345);
  // Neighbourhoods of the negative zeros and poles (lgamma and tgamma only).
  std::vector<double> near;
  for (double z : {-2.4570247382208006, -2.7476826467274127, -3.14358088834998, -3.9552942848585785,
                   -4.039059609098016, -4.991605289571044, -5.008218168155042, -5.998606593174034})
    for (int k = -300; k <= 300; ++k) near.push_back(z + k * 4.440892098500626e-16 * 4);
  for (int p = 1; p <= 20; ++p)
    for (int k = 1; k <= 50; ++k) near.push_back(-p + k * 1e-9), near.push_back(-p - k * 1e-9);
  for (const Row& r : rows) {
    std::vector<double> xs;
    for (const auto& [lo, hi] : r.ranges)
      for (long i = 0; i < n; ++i) xs.push_back(random_in(g, lo, hi));
    if (r.ref != r_e1) xs.insert(xs.end(), near.begin(), near.end());
    std::vector<double> mine(xs.size());
    r.ours(static_cast<int>(xs.size()), xs.data(), mine.data());
    double wp = 0, wo = 0, xp = 0, xo = 0;
    for (size_t i = 0; i < xs.size(); ++i) {
      const double ep = ulps(r.ref, xs[i], r.peer(xs[i])), eo = ulps(r.ref, xs[i], mine[i]);
      if (ep > wp) wp = ep, xp = xs[i];
      if (eo > wo) wo = eo, xo = xs[i];
    }
    printf("%-24s points %zu  peer worst %.3g ulp at %a  ours (HA) worst %.3f ulp at %a\n", r.name, xs.size(), wp, xp,
           wo, xo);
  }
  return 0;
}
