// Speed of the statistics entries against their peers in the same run, and
// large-sample accuracy of _vqsdSSBasic, outside CI.
//
//   bench_ss_basic [n] [p] [sections]   (defaults 10000000, 10, "bpcqa")
//
// Sections, in this order whatever the letters' order:
//   b  Basic: mean + variance + covariance over n observations of p variables,
//      one-pass and fast, both layouts, on the serial table and on the pool
//      of 2 threads, beside a plain summing loop over the same array (its
//      bandwidth is the ceiling of any one-pass computation);
//   p  the peers: numpy mean + var + cov, corrcoef, quantile, sort and SciPy
//      skew + kurtosis on the same sizes (/usr/bin/python3), and the ratios;
//   c  the cross-product sums alone: the module's register tiles against the
//      system BLAS's dsyrk and dgemm (one thread), on centred blocks as Basic
//      forms them and on the whole array at once;
//   q  Quantiles (orders 0.1, 0.5, 0.9) and streaming quantiles (eps 0.001);
//   a  the one-pass errors against a long-double two-pass reference at mean
//      10 and mean 1e9, standard deviation 1.
// Each time is the best of several runs, as wall and processor time: the
// machine is shared, and processor time leaves out the periods the process
// waits for a core (for the pool it adds both threads' time).
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

#include "ss_util.h"
#include "stats/ss_moments.h"
#include "zev/zev_threading.h"

extern "C" {
void dsyrk_(const char* uplo, const char* trans, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* beta, double* c, const int* ldc, size_t,
            size_t);
void dgemm_(const char* ta, const char* tb, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc, size_t, size_t);
void openblas_set_num_threads(int);
}

namespace {

double cpu_now() {
  timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return ts.tv_sec + 1e-9 * ts.tv_nsec;
}

struct Time {
  double wall = 1e30, cpu = 1e30;  // seconds, each the best of the runs
};
Time time_of(auto fn, int reps = 5) {
  Time t;
  for (int r = 0; r < reps; ++r) {
    auto w0 = std::chrono::steady_clock::now();
    double c0 = cpu_now();
    fn();
    t.cpu = std::min(t.cpu, cpu_now() - c0);
    t.wall = std::min(t.wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - w0).count());
  }
  return t;
}

// The pool's table with every body timed on its own thread (the thread's
// processor time). On a loaded machine the pool's two threads seldom run at
// once, so wall time cannot show what they give; the critical path can: the
// processor time outside the bodies plus the longest thread's share, which
// is the wall time of the run on two free cores.
double g_busy[64];
double thread_now() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return ts.tv_sec + 1e-9 * ts.tv_nsec;
}
struct Wrapped {
  void* context;
  zev_parallel_for_body for_body;
  zev_parallel_task_body task_body;
  zev_parallel_region_body region_body;
};
void timed_for(int64_t count, int threads, void* context, zev_parallel_for_body body) {
  Wrapped w{context, body, nullptr, nullptr};
  zev_threading_pool()->parallel_for(count, threads, &w, [](int64_t i, int t, int n, void* c) {
    auto* w = static_cast<Wrapped*>(c);
    const double t0 = thread_now();
    w->for_body(i, t, n, w->context);
    g_busy[t & 63] += thread_now() - t0;
  });
}
void timed_tasks(int64_t count, int threads, void* context, zev_parallel_task_body body) {
  Wrapped w{context, nullptr, body, nullptr};
  zev_threading_pool()->parallel_tasks(count, threads, &w, [](int64_t i, int t, int n, void* c) {
    auto* w = static_cast<Wrapped*>(c);
    const double t0 = thread_now();
    w->task_body(i, t, n, w->context);
    g_busy[t & 63] += thread_now() - t0;
  });
}
void timed_region(int threads, void* context, zev_parallel_region_body body) {
  Wrapped w{context, nullptr, nullptr, body};
  zev_threading_pool()->parallel_region(threads, &w, [](int t, void* r, int n, void* c) {
    auto* w = static_cast<Wrapped*>(c);
    const double t0 = thread_now();
    w->region_body(t, r, n, w->context);
    g_busy[t & 63] += thread_now() - t0;
  });
}
const zev_threading* timed_pool() {
  static const zev_threading table = {timed_for, timed_tasks, timed_region, nullptr,
                                      zev_threading_pool()->max_threads};
  return &table;
}
// The best critical path of several runs of fn on timed_pool().
double critical_path(auto fn, int reps = 5) {
  double best = 1e30;
  for (int r = 0; r < reps; ++r) {
    std::fill(std::begin(g_busy), std::end(g_busy), 0.0);
    const double c0 = cpu_now();
    fn();
    const double total = cpu_now() - c0;
    double sum = 0, longest = 0;
    for (double b : g_busy) sum += b, longest = std::max(longest, b);
    best = std::min(best, total - sum + longest);
  }
  return best;
}

void row(const char* name, Time t, Time loop, double bytes, const char* extra = "") {
  printf("%-34s %9.1f %6.2f %6.2f | %9.1f %6.2f  %s\n", name, t.wall * 1e3, bytes / t.wall / 1e9,
         loop.wall / t.wall, t.cpu * 1e3, loop.cpu / t.cpu, extra);
}

struct Out {
  std::vector<double> mean, raw2, var, cov;
  explicit Out(int p) : mean(p), raw2(p), var(p), cov(static_cast<size_t>(p) * p) {}
};

int basic(const std::vector<double>& x, int32_t p, int32_t n, int32_t layout, int64_t mask,
          int64_t method, const zev_threading* th, Out& o) {
  sstest::Task t;
  int32_t full = 0;
  if (__vqsdSSNewTask(&t.t, &p, &n, &layout, x.data(), nullptr, nullptr, 0)) return -1;
  __vqsdSSEditMoments(t.t, o.mean.data(), o.raw2.data(), nullptr, nullptr, o.var.data(), nullptr,
                      nullptr);
  __vqsdSSEditCovCor(t.t, nullptr, o.cov.data(), &full, nullptr, nullptr);
  return _vqsdSSBasic(t.t, mask, method, th);
}

// The peers, timed by numpy itself on data of the same shape: name -> best
// wall and processor seconds.
std::map<std::string, Time> peers(int64_t n, int p) {
  char script[2048];
  snprintf(script, sizeof script,
           "import numpy as np, time, scipy.stats as st\n"
           "x = np.random.default_rng(7).normal(10, 1, (%lld, %d)); xt = np.ascontiguousarray(x.T)\n"
           "def t(name, f, reps=%d):\n"
           "  w = c = 1e30\n"
           "  for _ in range(reps):\n"
           "    w0 = time.perf_counter(); c0 = time.process_time(); f()\n"
           "    w = min(w, time.perf_counter() - w0); c = min(c, time.process_time() - c0)\n"
           "  print(name, w, c, flush=True)\n"
           "t('mean_var_cov', lambda: (x.mean(0), x.var(0, ddof=1), np.cov(x, rowvar=False)))\n"
           "t('corrcoef', lambda: np.corrcoef(x, rowvar=False))\n"
           "t('skew_kurtosis', lambda: (st.skew(x, axis=0), st.kurtosis(x, axis=0)))\n"
           "t('quantile_pn', lambda: np.quantile(xt, [0.1, 0.5, 0.9], axis=1))\n"
           "t('quantile_np', lambda: np.quantile(x, [0.1, 0.5, 0.9], axis=0))\n"
           "t('sort_pn', lambda: np.sort(xt, axis=1))\n",
           static_cast<long long>(n), p, n >= 5000000 ? 2 : 3);
  std::map<std::string, Time> r;
  char path[64];
  snprintf(path, sizeof path, "/tmp/stats_peers_%d.py", static_cast<int>(getpid()));
  FILE* py = fopen(path, "w");
  if (!py) return r;
  fputs(script, py);
  fclose(py);
  const std::string cmd = std::string("/usr/bin/python3 ") + path;
  FILE* f = popen(cmd.c_str(), "r");
  if (!f) return r;
  char name[64];
  double w, c;
  while (fscanf(f, "%63s %lf %lf", name, &w, &c) == 3) r[name] = Time{w, c};
  pclose(f);
  remove(path);
  return r;
}

void ratio(const char* what, Time ours, const std::map<std::string, Time>& pe, const char* key) {
  auto it = pe.find(key);
  if (it == pe.end()) {
    printf("%-44s (no numpy figure)\n", what);
    return;
  }
  printf("%-44s ours %8.1f ms wall %8.1f ms cpu | numpy %8.1f ms wall %8.1f ms cpu | numpy/ours %5.2f wall %5.2f cpu\n",
         what, ours.wall * 1e3, ours.cpu * 1e3, it->second.wall * 1e3, it->second.cpu * 1e3,
         it->second.wall / ours.wall, it->second.cpu / ours.cpu);
}

}  // namespace

int main(int argc, char** argv) {
  const int64_t n = argc > 1 ? atoll(argv[1]) : 10000000;
  const int p = argc > 2 ? atoi(argv[2]) : 10;
  const std::string sections = argc > 3 ? argv[3] : "bpcqa";
  auto want = [&](char c) { return sections.find(c) != std::string::npos; };
  const int64_t mask = ZEV_SS_MEAN | ZEV_SS_2C_MOM | ZEV_SS_COV;
  zev_threading_pool_set_size(2);
  openblas_set_num_threads(1);

  std::vector<double> rows = sstest::gaussian(p, n, 10.0, 1.0, 7);  // x[j*n + i]
  std::vector<double> cols = sstest::transpose(rows, p, n);         // x[i*p + j]
  const double bytes = 8.0 * p * n;
  const int32_t n32 = static_cast<int32_t>(n);

  volatile double sink = 0;
  const Time loop = time_of([&] {
    double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    const double* a = cols.data();
    const size_t m = cols.size() & ~size_t{3};
    for (size_t i = 0; i < m; i += 4) {
      s0 += a[i];
      s1 += a[i + 1];
      s2 += a[i + 2];
      s3 += a[i + 3];
    }
    sink = s0 + s1 + s2 + s3;
  });
  printf("n %lld p %d, %.0f MB\n", static_cast<long long>(n), p, bytes / 1e6);
  printf("%-34s %9s %6s %6s | %9s %6s\n", "", "wall ms", "GB/s", "loop/", "cpu ms", "loop/");
  row("plain summing loop", loop, loop, bytes);

  Out o(p);
  Time basic_1 = {}, basic_2 = {};
  if (want('b')) {
    struct Row {
      const char* name;
      int32_t layout;
      int64_t method;
      const zev_threading* th;
    } rows_[] = {
        {"Basic one-pass, (n, p), 1 thread", 0x20000, ZEV_SS_METHOD_1PASS, zev_threading_serial()},
        {"Basic one-pass, (n, p), 2 threads", 0x20000, ZEV_SS_METHOD_1PASS, zev_threading_pool()},
        {"Basic one-pass, (p, n), 1 thread", 0x10000, ZEV_SS_METHOD_1PASS, zev_threading_serial()},
        {"Basic one-pass, (p, n), 2 threads", 0x10000, ZEV_SS_METHOD_1PASS, zev_threading_pool()},
        {"Basic fast, (n, p), 1 thread", 0x20000, ZEV_SS_METHOD_FAST, zev_threading_serial()},
        {"Basic fast, (n, p), 2 threads", 0x20000, ZEV_SS_METHOD_FAST, zev_threading_pool()},
    };
    for (const Row& r : rows_) {
      const std::vector<double>& x = r.layout == 0x20000 ? cols : rows;
      int status = 0;
      Time t = time_of([&] { status = basic(x, p, n32, r.layout, mask, r.method, r.th, o); });
      row(r.name, t, loop, bytes, status ? "status not 0" : "");
      if (r.th == zev_threading_pool()) {
        const double c = critical_path([&] { basic(x, p, n32, r.layout, mask, r.method, timed_pool(), o); });
        printf("%-34s %9.1f        %6.2f   (critical path: the wall time on 2 free cores)\n",
               "  critical path", c * 1e3, loop.cpu / c);
      }
      if (&r == rows_) basic_1 = t;
      if (&r == rows_ + 1) basic_2 = t;
    }
  }

  Time quant = {}, stream = {};
  if (want('q')) {
    const int32_t nq = 3, one = 1, layout = 0x10000;
    const double orders[3] = {0.1, 0.5, 0.9}, eps = 0.001;
    std::vector<double> q(static_cast<size_t>(p) * nq);
    auto run = [&](bool streaming, const zev_threading* th) {
      sstest::Task t;
      int32_t pp = p, nn = n32, lay = layout;
      __vqsdSSNewTask(&t.t, &pp, &nn, &lay, rows.data(), nullptr, nullptr, 0);
      if (streaming) {
        __vqsdSSEditStreamQuantiles(t.t, &nq, orders, q.data(), &one, &eps);
        return _vqsdSSStreamQuantiles(t.t, ZEV_SS_STREAM_QUANTS, ZEV_SS_METHOD_STREAM_NEW, th);
      }
      __vqsdSSEditQuantiles(t.t, &nq, orders, q.data(), nullptr, nullptr);
      return _vqsdSSQuantiles(t.t, ZEV_SS_QUANTS, 0x1, th);
    };
    for (int k = 0; k < 4; ++k) {
      const bool streaming = k >= 2;
      const zev_threading* th = k % 2 ? zev_threading_pool() : zev_threading_serial();
      int status = 0;
      Time t = time_of([&] { status = run(streaming, th); }, 3);
      const char* names[] = {"Quantiles (p, n), 1 thread", "Quantiles (p, n), 2 threads",
                             "StreamQuantiles eps 0.001, 1 thread", "StreamQuantiles eps 0.001, 2 thr"};
      row(names[k], t, loop, bytes, status ? "status not 0" : "");
      if (k % 2) {
        const double c = critical_path([&] { run(streaming, timed_pool()); }, 3);
        printf("%-34s %9.1f        %6.2f   (critical path: the wall time on 2 free cores)\n",
               "  critical path", c * 1e3, loop.cpu / c);
        if (streaming) printf("StreamQuantiles on 2 threads, critical path / plain loop: %.1f times\n",
                              c / loop.cpu);
      }
      if (k == 0) quant = t;
      if (k == 2) stream = t;
    }
  }

  if (want('p')) {
    std::map<std::string, Time> pe = peers(n, p);
    printf("numpy peers (same shape, normal(10, 1)):\n");
    for (auto& [k, t] : pe) printf("  %-20s %9.1f ms wall %9.1f ms cpu\n", k.c_str(), t.wall * 1e3, t.cpu * 1e3);
    if (want('b')) {
      ratio("Basic mean+var+cov, 1 thread vs numpy", basic_1, pe, "mean_var_cov");
      ratio("Basic mean+var+cov, 2 threads vs numpy", basic_2, pe, "mean_var_cov");
    }
    if (want('q')) {
      ratio("Quantiles vs np.quantile on (p, n)", quant, pe, "quantile_pn");
      ratio("Quantiles vs np.quantile on (n, p)", quant, pe, "quantile_np");
    }
  }
  if (want('b')) printf("Basic one-pass (n, p) 1 thread / plain loop: %.2f wall, %.2f cpu\n",
                        loop.wall / basic_1.wall, loop.cpu / basic_1.cpu);
  if (want('q')) printf("StreamQuantiles / plain loop: %.1f times wall, %.1f times cpu\n",
                        stream.wall / loop.wall, stream.cpu / loop.cpu);

  if (want('c')) {
    // The cross-product sums of the (n, p) array, uncentred, so that every
    // variant does the same arithmetic: blocks gathered into the tiles'
    // rows as Basic gathers them, then the tiles or dsyrk over each block;
    // dsyrk and dgemm over chunks of 262144 bytes (the chunk of the
    // documented BLAS path); and one dsyrk over the whole array.
    using zev::ss::CrossBlock;
    std::vector<double> scratch(CrossBlock<double>::scratch(p)), C(static_cast<size_t>(p) * p);
    const double one = 1;
    const int pi = p;
    auto tiles = [&](int blas) {  // 0 the tiles, 1 dsyrk, 2 dgemm
      std::fill(scratch.begin(), scratch.end(), 0.0);
      std::fill(C.begin(), C.end(), 0.0);
      CrossBlock<double> cb(p, scratch.data());
      const int B = cb.rows;
      for (int64_t b0 = 0; b0 < n; b0 += B) {
        const int nb = static_cast<int>(std::min<int64_t>(B, n - b0));
        for (int o = 0; o < nb; ++o) memcpy(cb.row(o), cols.data() + (b0 + o) * p, 8 * p);
        const int ld = cb.ps;
        if (blas == 1) {
          dsyrk_("U", "N", &pi, &nb, &one, cb.e, &ld, &one, C.data(), &pi, 1, 1);
        } else if (blas == 2) {
          dgemm_("N", "T", &pi, &pi, &nb, &one, cb.e, &ld, cb.e, &ld, &one, C.data(), &pi, 1, 1);
        } else {
          cb.count = nb;
          cb.flush<false>();
        }
      }
      if (!blas) cb.finish(C.data());
    };
    const int chunk = std::max(64, 262144 / (8 * p));
    auto chunks = [&](bool gemm) {
      std::fill(C.begin(), C.end(), 0.0);
      for (int64_t b0 = 0; b0 < n; b0 += chunk) {
        const int k = static_cast<int>(std::min<int64_t>(chunk, n - b0));
        const double* a = cols.data() + b0 * p;
        if (gemm) dgemm_("N", "T", &pi, &pi, &k, &one, a, &pi, a, &pi, &one, C.data(), &pi, 1, 1);
        else dsyrk_("U", "N", &pi, &k, &one, a, &pi, &one, C.data(), &pi, 1, 1);
      }
    };
    printf("cross-product sums of the (n, p) array, one thread:\n");
    row("own tiles, blocks as in Basic", time_of([&] { tiles(0); }), loop, bytes);
    row("dsyrk on the same blocks", time_of([&] { tiles(1); }), loop, bytes);
    row("dgemm on the same blocks", time_of([&] { tiles(2); }), loop, bytes);
    row("dsyrk, 256 KiB chunks", time_of([&] { chunks(false); }), loop, bytes);
    row("dgemm, 256 KiB chunks", time_of([&] { chunks(true); }), loop, bytes);
    row("dsyrk, one call over all", time_of([&] {
          std::fill(C.begin(), C.end(), 0.0);
          dsyrk_("U", "N", &pi, &n32, &one, cols.data(), &pi, &one, C.data(), &pi, 1, 1);
        }), loop, bytes);
  }

  if (want('a')) {
    for (double center : {10.0, 1e9}) {
      std::vector<double> x = sstest::gaussian(p, n, center, 1.0, 11);
      sstest::Reference ref = sstest::reference(x.data(), nullptr, p, n);
      Out a(p);
      basic(x, p, n32, 0x10000, mask, ZEV_SS_METHOD_1PASS, zev_threading_serial(), a);
      double e_mean = 0, e_var = 0, e_cov = 0;
      for (int j = 0; j < p; ++j) {
        e_mean = std::max(e_mean, sstest::rel(a.mean[j], ref.mean[j]));
        e_var = std::max(e_var, sstest::rel(a.var[j], ref.var(j)));
        for (int k = 0; k < p; ++k)
          e_cov = std::max(e_cov, static_cast<double>(std::fabs(a.cov[j * p + k] - ref.cov(j, k)) /
                                                        std::sqrt(ref.var(j) * ref.var(k))));
      }
      printf("mean %g: one-pass worst relative error: mean %.3g variance %.3g covariance %.3g\n",
             center, e_mean, e_var, e_cov);
    }
  }
  return sink == 12345.0;
}
