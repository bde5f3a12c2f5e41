// Streaming quantiles: _vqsdSSStreamQuantiles and its single form, and
// __vqsSQuantilesFreeBuffers, which releases their state.
//
// Each variable keeps a summary of the observations seen so far in the manner
// of Greenwald and Khanna ("Space-efficient online computation of quantile
// summaries", SIGMOD 2001): tuples (v, g, d) in ascending v, where the rank of
// v among the n observations lies in [rmin, rmin + d], rmin the sum of g up to
// and including the tuple. The invariant g + d <= 2 eps n keeps every answer
// within eps n ranks. A block is added a sorted chunk at a time: the chunk is
// merged into the summary in one linear pass (an element inserted before
// tuple i gets g = 1, d = g_i + d_i - 1, which bounds its rank however many
// elements land in the same gap; one before the first or after the last tuple
// gets d = 0, its rank being exact), then adjacent tuples are merged while
// the invariant allows. The summary holds O(log(eps n)/eps) tuples.
//
// The state lives in the task between calls (stream_state) and is released by
// __vqsSQuantilesFreeBuffers, which the task's deletion calls.
#include <algorithm>
#include <cmath>
#include <type_traits>

#include "stats/ss_task.h"

namespace zev::ss {
namespace {

struct Summary {
  int64_t size, cap;
  double* v;
  int64_t* g;
  int64_t* d;
};

struct StreamState {
  int32_t p;
  double eps;
  int64_t n;  // observations folded in so far
  Summary* sums;
};

void free_state(StreamState* s) {
  if (s == nullptr) return;
  for (int32_t j = 0; j < s->p; ++j) release(s->sums[j].v), release(s->sums[j].g), release(s->sums[j].d);
  release(s->sums);
  release(s);
}

// Room for `need` tuples, growing the arrays geometrically.
bool reserve(Summary& s, int64_t need) {
  if (need <= s.cap) return true;
  const int64_t cap = std::max(need, 2 * s.cap);
  auto* v = alloc<double>(cap);
  auto* g = alloc<int64_t>(cap);
  auto* d = alloc<int64_t>(cap);
  if (!v || !g || !d) {
    release(v), release(g), release(d);
    return false;
  }
  std::copy(s.v, s.v + s.size, v);
  std::copy(s.g, s.g + s.size, g);
  std::copy(s.d, s.d + s.size, d);
  release(s.v), release(s.g), release(s.d);
  s.v = v, s.g = g, s.d = d, s.cap = cap;
  return true;
}

// Merges the sorted chunk c[0..k) into s (capacity for size + k reserved),
// writing from the back so that no second buffer is needed, then compresses
// with the bound b = floor(2 eps n).
void merge(Summary& s, const double* c, int64_t k, int64_t b) {
  int64_t i = s.size - 1, j = k - 1, out = s.size + k - 1;
  const int64_t old = s.size;
  while (j >= 0) {
    if (i >= 0 && s.v[i] > c[j]) {  // an old tuple above the chunk's largest left
      s.v[out] = s.v[i], s.g[out] = s.g[i], s.d[out] = s.d[i];
      --i, --out;
      continue;
    }
    // c[j] goes before tuple i + 1 (the successor, already moved to out + 1)
    const bool inner = i >= 0 && i + 1 < old;
    s.v[out] = c[j];
    s.g[out] = 1;
    s.d[out] = inner ? s.g[out + 1] + s.d[out + 1] - 1 : 0;  // out + 1: the successor, or an
                                                            // element of the same gap, which
                                                            // carries the same bound
    --j, --out;
  }
  s.size = old + k;
  // Compress from the top: tuple t merges into t + 1 when the sum stays within
  // b; the first and last tuples stay.
  if (s.size < 3) return;
  int64_t top = s.size - 1;  // the kept tuple above the one looked at
  int64_t w = s.size - 1;
  for (int64_t t = s.size - 2; t >= 1; --t) {
    if (s.g[t] + s.g[top] + s.d[top] <= b) {
      s.g[top] += s.g[t];
      continue;
    }
    --w;
    s.v[w] = s.v[t], s.g[w] = s.g[t], s.d[w] = s.d[t];
    top = w;
  }
  --w;
  s.v[w] = s.v[0], s.g[w] = s.g[0], s.d[w] = s.d[0];
  const int64_t kept = s.size - w;
  std::copy(s.v + w, s.v + s.size, s.v);
  std::copy(s.g + w, s.g + s.size, s.g);
  std::copy(s.d + w, s.d + s.size, s.d);
  s.size = kept;
}

// Adds the chunk c[0..k) to a summary of at least two tuples without
// sorting most of it. A value above the first tuple and at or below the
// last has a successor, the first tuple at or above it; c values in the
// gap below tuple t raise the ranks of t and of every tuple after it by c,
// so they may simply be counted into g_t, as long as g_t + d_t stays within
// b. The gap of each value is found through a table of 4096 equal cells of
// the summary's range, each naming the first tuple whose cell is at or above
// it (the cell of a value is non-decreasing in it), then a step over the
// tuples within the cell. Values of gaps that would exceed b, and values
// outside the range, are sorted and merged as tuples. Returns false when
// memory runs out; the summary is then as it was.
struct Absorb {
  static constexpr int32_t kCells = 4096;
  int32_t first[kCells];
};

bool add_chunk(Summary& s, const double* c, int64_t stride, int64_t k, int64_t b, double* spill,
               int32_t* gap, int64_t* counts, Absorb& table) {
  const double lo = s.v[0], hi = s.v[s.size - 1];
  const double scale = Absorb::kCells / (hi - lo);
  auto cell = [&](double v) {
    const double t = (v - lo) * scale;
    return t < Absorb::kCells ? static_cast<int32_t>(t) : Absorb::kCells - 1;
  };
  // first[cell] = the first tuple (from 1) whose cell is at or above it.
  int64_t t = 1;
  for (int32_t q = 0; q < Absorb::kCells; ++q) {
    while (t < s.size - 1 && cell(s.v[t]) < q) ++t;
    table.first[q] = static_cast<int32_t>(t);
  }
  std::fill(counts, counts + s.size, int64_t{0});
  for (int64_t i = 0; i < k; ++i) {
    const double v = c[i * stride];
    if (!(v > lo && v <= hi)) {  // outside the range, or a NaN: merged as a tuple
      gap[i] = -1;
      continue;
    }
    int32_t u = table.first[cell(v)];
    while (s.v[u] < v) ++u;  // stops at the last tuple at the latest (v <= hi)
    gap[i] = u;
    ++counts[u];
  }
  for (int64_t u = 1; u < s.size; ++u)  // counts[u] = -1 marks a gap that must spill
    if (counts[u] && s.g[u] + s.d[u] + counts[u] > b) counts[u] = -1;
  int64_t m = 0;
  for (int64_t i = 0; i < k; ++i)
    if (gap[i] < 0 || counts[gap[i]] < 0) spill[m++] = c[i * stride];
  if (!reserve(s, s.size + m)) return false;
  for (int64_t u = 1; u < s.size; ++u)
    if (counts[u] > 0) s.g[u] += counts[u];
  std::sort(spill, spill + m);
  merge(s, spill, m, b);
  return true;
}

// The value whose rank interval is nearest to the rank 1 + q (n - 1).
double query(const Summary& s, double q, int64_t n) {
  const double r = 1 + q * double(n - 1);
  double best = 0, worst_best = INFINITY;
  int64_t rmin = 0;
  for (int64_t t = 0; t < s.size; ++t) {
    rmin += s.g[t];
    const double err = std::max(r - double(rmin), double(rmin + s.d[t]) - r);
    if (err < worst_best) worst_best = err, best = s.v[t];
  }
  return best;
}

template <class T>
int stream(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want = mask & ZEV_SS_STREAM_QUANTS;
  if (t->stream_parameter_count == nullptr) return ZEV_SS_ERROR_STREAM_QUANT_PARAMS_N_MISSING;
  if (in.value(t->stream_parameter_count) != 1) return ZEV_SS_ERROR_BAD_STREAM_QUANT_PARAMS_N_ADDR;
  if (t->stream_parameters == nullptr) return ZEV_SS_ERROR_BAD_STREAM_QUANT_PARAMS_ADDR;
  const double eps = double(*static_cast<const T*>(t->stream_parameters));
  if (!(eps > 0 && eps <= 1)) return ZEV_SS_ERROR_BAD_STREAM_QUANT_EPS;
  int32_t order_count = 0;
  if (want) {
    if (t->stream_quantile_orders == nullptr) return ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER_ADDR;
    if (t->stream_quantile_order_count == nullptr || in.value(t->stream_quantile_order_count) < 0)
      return ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER;
    order_count = in.low(t->stream_quantile_order_count);
    const T* q = static_cast<const T*>(t->stream_quantile_orders);
    for (int32_t m = 0; m < order_count; ++m)
      if (!(q[m] >= T(0) && q[m] <= T(1))) return ZEV_SS_ERROR_BAD_STREAM_QUANT_ORDER;
    if (t->stream_quantiles == nullptr) return ZEV_SS_ERROR_BAD_STREAM_QUANT_ADDR;
  }
  if (method != ZEV_SS_METHOD_STREAM && method != ZEV_SS_METHOD_STREAM_NEW)
    return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const Observations<T> x = observations_of<T>(t, in);

  // A new series, or a state made for another dimension or epsilon, starts
  // afresh.
  auto* st = static_cast<StreamState*>(t->stream_state);
  if (st && (method == ZEV_SS_METHOD_STREAM_NEW || st->p != x.p || st->eps != eps)) {
    free_state(st);
    st = nullptr;
    t->stream_state = nullptr;
  }
  if (st == nullptr) {
    st = alloc<StreamState>(1);
    Summary* sums = alloc<Summary>(x.p);
    if (st == nullptr || sums == nullptr) {
      release(st), release(sums);
      return ZEV_SS_ERROR_MEM_FAILURE;
    }
    std::fill(sums, sums + x.p, Summary{0, 0, nullptr, nullptr, nullptr});
    *st = {x.p, eps, 0, sums};
    t->stream_state = st;
    t->cleanup_functions[0] = __vqsSQuantilesFreeBuffers;
    t->cleanup_count = 1;
  }

  int32_t count = 0;
  int32_t* vars = variable_list(t, in, x.p, &count);
  // Chunks of 16/eps observations (at least 4096, at most 65536): most of a
  // chunk is counted into the summary's gaps, and what spills is merged.
  const int64_t chunk = std::min<int64_t>(x.n, std::clamp<int64_t>(int64_t(16 / eps), 4096, 65536));
  Buffer<double> buf(2 * chunk);
  Buffer<int32_t> gap(chunk);
  Buffer<Absorb> table(1);
  if (vars == nullptr || buf.failed() || gap.failed() || table.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  int64_t* counts = nullptr;  // one per tuple of the largest summary
  int64_t counts_cap = 0;
  int status = 0;
  // A new series starts with a short sorted chunk, so that the summary has
  // gaps to count into as early as possible.
  for (int64_t i0 = 0, k = 0; i0 < x.n && status == 0; i0 += k) {
    k = std::min(st->n < 1024 ? std::min<int64_t>(chunk, 1024) : chunk, x.n - i0);
    const int64_t n_after = st->n + k;
    const int64_t b = static_cast<int64_t>(std::floor(2 * eps * double(n_after)));
    for (int32_t a = 0; a < count && status == 0; ++a) {
      const int32_t j = vars[a];
      Summary& s = st->sums[j];
      // A summary of a few tuples, or of one value, takes the chunk sorted;
      // otherwise double data are read where they stand.
      if (s.size < 64 || !(s.v[s.size - 1] - s.v[0] > 0) ||
          !(Absorb::kCells / (s.v[s.size - 1] - s.v[0]) < INFINITY)) {
        for (int64_t i = 0; i < k; ++i) buf[i] = double(x(i0 + i, j));
        std::sort(buf.p, buf.p + k);
        if (!reserve(s, s.size + k)) status = ZEV_SS_ERROR_MEM_FAILURE;
        else merge(s, buf.p, k, b);
        continue;
      }
      if (s.size > counts_cap) {
        release(counts);
        counts_cap = 2 * s.size;
        counts = alloc<int64_t>(counts_cap);
        if (counts == nullptr) {
          counts_cap = 0;
          status = ZEV_SS_ERROR_MEM_FAILURE;
          continue;
        }
      }
      const double* c = buf.p;
      int64_t stride = 1;
      if constexpr (std::is_same_v<T, double>) {
        c = x.var_major ? x.x + static_cast<int64_t>(j) * x.n + i0 : x.x + i0 * x.p + j;
        stride = x.var_major ? 1 : x.p;
      } else {
        for (int64_t i = 0; i < k; ++i) buf[i] = double(x(i0 + i, j));
      }
      if (!add_chunk(s, c, stride, k, b, buf.p + chunk, gap.p, counts, *table.p))
        status = ZEV_SS_ERROR_MEM_FAILURE;
    }
    if (status == 0) st->n = n_after;
  }
  if (status == 0 && want) {
    const T* q = static_cast<const T*>(t->stream_quantile_orders);
    T* out = static_cast<T*>(t->stream_quantiles);
    for (int32_t a = 0; a < count; ++a)
      for (int32_t m = 0; m < order_count; ++m)
        out[static_cast<int64_t>(vars[a]) * order_count + m] =
            T(query(st->sums[vars[a]], double(q[m]), st->n));
  }
  release(vars);
  release(counts);
  return status;
}

}  // namespace
}  // namespace zev::ss

extern "C" {
ZEV_API void __vqsSQuantilesFreeBuffers(zev_ss_task task) {
  if (task == nullptr) return;
  zev::ss::free_state(static_cast<zev::ss::StreamState*>(task->stream_state));
  task->stream_state = nullptr;
}
}

ZEV_SS_COMPUTE_ENTRIES(StreamQuantiles, stream)
