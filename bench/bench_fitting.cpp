// Fitting: interpolation of a natural cubic spline and the hybrid cell search,
// beside GSL's spline evaluation and std::upper_bound, in the same run, on one
// thread. Ratios: BM_fit_Interp_Zev / BM_fit_Interp_GslLoop and
// BM_fit_Search_Hybrid / BM_fit_Search_UpperBound (times per site).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "zev/zev_df.h"

#ifdef ZEV_HAVE_GSL
#include <gsl/gsl_spline.h>
#endif

namespace {

constexpr int kKnots = 1000;
constexpr int kSites = 1000000;

struct FitData {
  std::vector<double> x, y, c, sites, r;
  std::vector<int32_t> cells;
  zev_df_task task = nullptr;
  FitData() {
    std::mt19937_64 g(2024);
    std::uniform_real_distribution<double> gap(0.5, 1.5), val(-1, 1);
    x.resize(kKnots);
    y.resize(kKnots);
    x[0] = 0;
    for (int i = 1; i < kKnots; ++i) x[i] = x[i - 1] + gap(g);
    for (double& v : y) v = val(g);
    std::uniform_real_distribution<double> site(x.front(), x.back());
    sites.resize(kSites);
    for (double& s : sites) s = site(g);
    r.resize(kSites);
    cells.resize(kSites);
    c.resize(4 * (kKnots - 1));
    zev_df_kernel_dNewTask1D(&task, kKnots, x.data(), 1, 1, y.data(), 0x10, 0);
    zev_df_kernel_dEditPPSpline1D(task, 4, 2, 2, nullptr, 0, nullptr, c.data(), 0x10);
    zev_df_kernel_dDFNaturalCubicSpline1D(task, 0);
  }
  ~FitData() { zev_df_kernel_DeleteTask(&task); }
};

FitData& data() {
  static FitData d;
  return d;
}

void BM_fit_Interp_Zev(benchmark::State& state) {
  FitData& d = data();
  for (auto _ : state) {
    zev_df_kernel_dDFInterpolate1D(d.task, 1, 0, kSites, d.sites.data(), 0, 0, nullptr, nullptr,
                                   d.r.data(), 0x10, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(d.r.data());
  }
  state.SetItemsProcessed(state.iterations() * kSites);
}
BENCHMARK(BM_fit_Interp_Zev)->Unit(benchmark::kMillisecond);

#ifdef ZEV_HAVE_GSL
void BM_fit_Interp_GslLoop(benchmark::State& state) {
  FitData& d = data();
  gsl_spline* s = gsl_spline_alloc(gsl_interp_cspline, kKnots);
  gsl_interp_accel* acc = gsl_interp_accel_alloc();
  gsl_spline_init(s, d.x.data(), d.y.data(), kKnots);
  for (auto _ : state) {
    for (int i = 0; i < kSites; ++i) d.r[i] = gsl_spline_eval(s, d.sites[i], acc);
    benchmark::DoNotOptimize(d.r.data());
  }
  state.SetItemsProcessed(state.iterations() * kSites);
  gsl_interp_accel_free(acc);
  gsl_spline_free(s);
}
BENCHMARK(BM_fit_Interp_GslLoop)->Unit(benchmark::kMillisecond);
#endif

void BM_fit_Search_Hybrid(benchmark::State& state) {
  FitData& d = data();
  for (auto _ : state) {
    zev_df_kernel_dDFSearch1D(d.task, 0, kSites, d.sites.data(), 0, nullptr, d.cells.data(),
                              nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(d.cells.data());
  }
  state.SetItemsProcessed(state.iterations() * kSites);
}
BENCHMARK(BM_fit_Search_Hybrid)->Unit(benchmark::kMillisecond);

void BM_fit_Search_UpperBound(benchmark::State& state) {
  FitData& d = data();
  const double* x = d.x.data();
  for (auto _ : state) {
    for (int i = 0; i < kSites; ++i)
      d.cells[i] = static_cast<int32_t>(std::upper_bound(x, x + kKnots, d.sites[i]) - x);
    benchmark::DoNotOptimize(d.cells.data());
  }
  state.SetItemsProcessed(state.iterations() * kSites);
}
BENCHMARK(BM_fit_Search_UpperBound)->Unit(benchmark::kMillisecond);

}  // namespace
