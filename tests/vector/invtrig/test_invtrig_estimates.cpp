// The block arithmetic of Asin, Acos and Atan (and of Atan2 at HA, which
// reduces by the Atan table) holds its level for every estimate the
// instruction set allows: compiled with the modelled estimates at both ends
// of the band and scattered inside it, with FTZ/DAZ off and on, at the ends
// of the ordinary ranges and across the branch points. Only lanes of the
// ordinary range are judged; the others go to the scalar functions, which
// the entry tests cover.
#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "estimate_model.h"
#include "vector/invtrig/invtrig_core.h"
#include "vector/shape.h"

namespace {

using namespace zev::vk::invtrig;
using zev::vk::Level;
using zevtest::EstimateBias;
using zevtest::ModelEstimate;
using M = ModelEstimate;

enum class F { Asin, Acos, Atan, Asinpi, Acospi, Atanpi };

int ref(F f, mpfr_t y, const mpfr_t x) {
  switch (f) {
    case F::Asin: return mpfr_asin(y, x, MPFR_RNDN);
    case F::Acos: return mpfr_acos(y, x, MPFR_RNDN);
    case F::Atan: return mpfr_atan(y, x, MPFR_RNDN);
    case F::Asinpi: return mpfr_asinpi(y, x, MPFR_RNDN);
    case F::Acospi: return mpfr_acospi(y, x, MPFR_RNDN);
    case F::Atanpi: return mpfr_atanpi(y, x, MPFR_RNDN);
  }
  return 0;
}

// Inputs: dense runs at the ends of the ordinary ranges and at the branch
// points, and a spread over the binades in between.
template <class T>
std::vector<T> inputs(F f) {
  const bool single = sizeof(T) == 4;
  std::vector<double> centres;
  if (f == F::Atan || f == F::Atanpi) {
    centres = single ? std::vector<double>{0x1p-125, 0x1p123, 1.0, 0x1p-63, 0x1p-75}
                     : std::vector<double>{0x1p-1019, 0x1p993, 0x1p100, 0.4375, 0.6875, 1.1875, 2.4375, 1.0};
  } else {
    centres = {1.0, 0.5, 0x1p-60, 0.99};
  }
  std::vector<T> v;
  for (double c : centres)
    for (int k = -64; k <= 64; ++k) {
      T x = static_cast<T>(c);
      for (int j = 0; j < std::abs(k); ++j) x = std::nextafter(x, k < 0 ? T(0) : T(INFINITY));
      v.push_back(x);
    }
  const int lo = single ? -125 : -1019, hi = (f == F::Atan || f == F::Atanpi) ? (single ? 122 : 992) : -1;
  uint64_t h = 12345;
  for (int e = lo; e <= hi; e += single ? 1 : 3)
    for (int i = 0; i < 8; ++i) {
      h = h * 6364136223846793005ull + 1442695040888963407ull;
      v.push_back(static_cast<T>(std::ldexp(1.0 + static_cast<double>(h >> 11) * 0x1p-53, e)));
    }
  const size_t n = v.size();
  for (size_t i = 0; i < n; ++i) v.push_back(-v[i]);
  return v;
}

// Error of got against f(x): ulps of the exact result (the subnormal spacing
// below the normal range), or (EP) relative, against the least normal below
// it. With flushing, a zero stands for an exact result below the normal range.
template <class T>
double error(F f, T x, T got, bool relative, bool flush, mpfr_t mx, mpfr_t y) {
  constexpr int p = sizeof(T) == 4 ? 24 : 53;
  constexpr long emin = sizeof(T) == 4 ? -125 : -1021;
  mpfr_set_d(mx, static_cast<double>(x), MPFR_RNDN);
  ref(f, y, mx);
  if (mpfr_zero_p(y)) return got == 0 ? 0.0 : INFINITY;
  const bool tiny = mpfr_get_exp(y) < emin;
  if (flush && tiny && got == 0) return 0.0;
  mpfr_t d;
  mpfr_init2(d, 200);
  mpfr_set_d(d, static_cast<double>(got), MPFR_RNDN);
  mpfr_sub(d, d, y, MPFR_RNDN);
  if (relative && !tiny)
    mpfr_div(d, d, y, MPFR_RNDN);
  else if (relative)
    mpfr_mul_2si(d, d, 1 - emin, MPFR_RNDN);  // over the least normal, 2^(emin - 1)
  else
    mpfr_mul_2si(d, d, p - std::max(mpfr_get_exp(y), emin), MPFR_RNDN);
  const double e = std::fabs(mpfr_get_d(d, MPFR_RNDN));
  mpfr_clear(d);
  return e;
}

struct Place {
  double bias;
  bool scattered;
};
const Place kPlaces[] = {{1, false}, {-1, false}, {0.5, false}, {-0.5, false}, {0, true}};

// eval: a function of one vector of T (four floats or two doubles).
template <class T, class E>
void check(const char* name, F f, Level level, E eval) {
  using V = typename zev::vk::Vec<T>::V;
  constexpr int L = sizeof(V) / sizeof(T);
  const std::vector<T> xs = inputs<T>(f);
  const bool ep = level == Level::EP;
  const double bound = ep ? (sizeof(T) == 4 ? 0x1p-11 : 0x1p-26) : (level == Level::HA ? 1.0 : 4.0);
  mpfr_t mx, y;
  mpfr_inits2(200, mx, y, (mpfr_ptr)0);
  double overall = 0;
  for (const Place& pl : kPlaces)
    for (bool flush : {false, true}) {
      EstimateBias b(pl.bias, pl.scattered);
      const unsigned csr = _mm_getcsr();
      _mm_setcsr((csr & ~0x8040u) | (flush ? 0x8040u : 0u));
      std::vector<T> got(xs.size() + L);
      for (size_t i = 0; i < xs.size(); i += L) {
        alignas(16) T in[L], out[L];
        for (int k = 0; k < L; ++k) in[k] = i + k < xs.size() ? xs[i + k] : T(0.75);
        V v;
        std::memcpy(&v, in, sizeof v);
        const V r = eval(v);
        std::memcpy(out, &r, sizeof r);
        for (int k = 0; k < L; ++k) got[i + k] = out[k];
      }
      _mm_setcsr(csr);
      double worst = 0;
      T at = 0;
      for (size_t i = 0; i < xs.size(); ++i) {
        const double e = error<T>(f, xs[i], got[i], ep, flush, mx, y);
        if (!(e <= worst)) worst = e, at = xs[i];
      }
      overall = std::max(overall, worst);
      EXPECT_LE(worst, bound) << name << " bias " << pl.bias << (pl.scattered ? " scattered" : "") << " flush "
                              << flush << " at " << std::hexfloat << static_cast<double>(at);
    }
  mpfr_clears(mx, y, (mpfr_ptr)0);
  if (ep)
    printf("%-22s worst 2^%.2f relative\n", name, std::log2(overall));
  else
    printf("%-22s worst %.3f ulp\n", name, overall);
}

constexpr Level LA = Level::LA, HA = Level::HA, EP = Level::EP;

TEST(InvtrigEstimates, Single) {
  check<float>("sAsin LA/EP", F::Asin, LA, asin_f<M, LA, false>);
  check<float>("sAcos LA", F::Acos, LA, acos_f<M, LA, false>);
  check<float>("sAcos EP", F::Acos, EP, acos_f<M, EP, false>);
  check<float>("sAtan LA", F::Atan, LA, atan_f<M, LA, false>);
  check<float>("sAtan EP", F::Atan, EP, atan_f<M, EP, false>);
  check<float>("sAsinpi LA", F::Asinpi, LA, asin_f<M, LA, true>);
  check<float>("sAsinpi EP", F::Asinpi, EP, asin_f<M, EP, true>);
  check<float>("sAcospi LA", F::Acospi, LA, acos_f<M, LA, true>);
  check<float>("sAcospi EP", F::Acospi, EP, acos_f<M, EP, true>);
  check<float>("sAtanpi LA", F::Atanpi, LA, atan_f<M, LA, true>);
  check<float>("sAtanpi EP", F::Atanpi, EP, atan_f<M, EP, true>);
  // HA: the double arithmetic on the widened lanes.
  check<float>("sAsin HA", F::Asin, HA, [](__m128 x) { return widened(x, asin_d<M, EP, false>); });
  check<float>("sAcos HA", F::Acos, HA, [](__m128 x) { return widened(x, acos_d<M, EP, false>); });
  check<float>("sAtan HA", F::Atan, HA, [](__m128 x) { return widened(x, atan_ep_d<M, false, true>); });
  check<float>("sAsinpi HA", F::Asinpi, HA, [](__m128 x) { return widened(x, asin_d<M, EP, true>); });
  check<float>("sAcospi HA", F::Acospi, HA, [](__m128 x) { return widened(x, acos_d<M, EP, true>); });
  check<float>("sAtanpi HA", F::Atanpi, HA, [](__m128 x) { return widened(x, atan_ep_d<M, true, true>); });
}

TEST(InvtrigEstimates, Double) {
  for (Level l : {LA, HA, EP}) {
    const std::string lv = l == LA ? " LA" : l == HA ? " HA" : " EP";
    auto pick = [l](auto la, auto ha, auto ep) { return l == LA ? la : l == HA ? ha : ep; };
    check<double>(("dAsin" + lv).c_str(), F::Asin, l, pick(asin_d<M, LA, false>, asin_d<M, HA, false>, asin_d<M, EP, false>));
    check<double>(("dAcos" + lv).c_str(), F::Acos, l, pick(acos_d<M, LA, false>, acos_d<M, HA, false>, acos_d<M, EP, false>));
    check<double>(("dAsinpi" + lv).c_str(), F::Asinpi, l, pick(asin_d<M, LA, true>, asin_d<M, HA, true>, asin_d<M, EP, true>));
    check<double>(("dAcospi" + lv).c_str(), F::Acospi, l, pick(acos_d<M, LA, true>, acos_d<M, HA, true>, acos_d<M, EP, true>));
  }
  // dAtan runs its HA kernel at LA; dAtanpi at LA and EP divides and takes no
  // estimate.
  check<double>("dAtan LA/HA", F::Atan, HA, atan_table_d<M, HA, false>);
  check<double>("dAtan EP", F::Atan, EP, atan_ep_d<M, false>);
  check<double>("dAtanpi HA", F::Atanpi, HA, atan_table_d<M, HA, true>);
  // Atan2 at HA reduces by the Atan table: y against x = 1 and x = -1.
  check<double>("dAtan2 HA (x = 1)", F::Atan, HA,
                [](__m128d y) { return atan2_d<HA, false, false, M>(y, _mm_set1_pd(1.0)); });
  check<double>("dAtan2pi HA (x = 1)", F::Atanpi, HA,
                [](__m128d y) { return atan2_d<HA, true, false, M>(y, _mm_set1_pd(1.0)); });
}

}  // namespace
