// Streaming quantiles: _vqsdSSStreamQuantiles and its single form, and
// __vqsSQuantilesFreeBuffers, which releases their state.
//
// Each variable keeps a summary of the observations seen so far in the manner
// of Greenwald and Khanna ("Space-efficient online computation of quantile
// summaries", SIGMOD 2001): tuples (v, g, d) in ascending v, where the rank of
// v among the n observations lies in [rmin, rmin + d], rmin the sum of g up to
// and including the tuple. The invariant g + d <= 2 eps n keeps every answer
// within eps n ranks. Sorted values are merged into the summary in one
// linear pass (an element inserted before tuple i gets g = 1,
// d = g_i + d_i - 1, which bounds its rank however many elements land in the
// same gap; one before the first or after the last tuple gets d = 0, its rank
// being exact), then adjacent tuples are merged while the invariant allows.
// The summary holds O(log(eps n)/eps) tuples.
//
// A block goes a chunk at a time. Most values of a chunk are not inserted
// at all: a value in the gap below tuple t is counted into g_t (add_chunk),
// which costs a cell look-up and a comparison; only what the gaps have no
// room for is sorted and merged. The variables are independent and are
// dealt out to the threads of the threading table.
//
// The state lives in the task between calls (stream_state) and is released by
// __vqsSQuantilesFreeBuffers, which the task's deletion calls.
#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "stats/ss_task.h"

namespace zev::ss {
namespace {

struct GapTable;
struct Summary {
  int64_t size, cap;
  double* v;
  int64_t* g;
  int64_t* d;
  GapTable* table;  // the gaps' look-up, made at the first chunk that uses it
  bool table_ok;    // false once a merge has changed the tuples
};

// The gaps of a summary of at least two tuples, for values v with
// v_0 < v <= v_last: the gap of v is its successor, the first tuple at or
// above it. The summary's range is cut into `cells` equal cells, about four
// per tuple; the cell of a value is non-decreasing in it, so the tuples
// whose cell lies below v's are below v and those whose cell lies above it
// are above. first[q] names the first tuple (from 1) whose cell is at or
// above q, and split[q] its value: when cell q holds at most one tuple the
// successor is first[q] + (v > split[q]), two loads side by side and one
// comparison. A cell of more tuples (a cluster, ties) is marked by a
// negative entry and stepped through.
struct GapTable {
  static constexpr int32_t kMaxCells = 16384;
  int32_t cells = 0, cap = 0;
  double lo = 0, scale = 0;
  int32_t* first = nullptr;
  double* split = nullptr;

  ~GapTable() { release(first), release(split); }
  int32_t cell(double v) const {
    return static_cast<int32_t>(std::min((v - lo) * scale, double(cells - 1)));
  }
  bool build(const Summary& s) {
    int64_t want = 1024;
    while (want < 4 * s.size && want < kMaxCells) want *= 2;
    if (want > cap) {
      release(first), release(split);
      first = alloc<int32_t>(want);
      split = alloc<double>(want);
      cap = first && split ? static_cast<int32_t>(want) : 0;
      if (cap == 0) return false;
    }
    cells = static_cast<int32_t>(want);
    lo = s.v[0];
    scale = cells / (s.v[s.size - 1] - lo);
    int64_t t = 1;
    for (int32_t q = 0; q < cells; ++q) {
      while (t < s.size - 1 && cell(s.v[t]) < q) ++t;
      const bool crowded = t + 1 < s.size && cell(s.v[t]) == q && cell(s.v[t + 1]) == q;
      first[q] = crowded ? ~static_cast<int32_t>(t) : static_cast<int32_t>(t);
      split[q] = s.v[t];
    }
    return true;
  }
};

struct StreamState {
  int32_t p;
  double eps;
  int64_t n;  // observations folded in so far
  Summary* sums;
};

void free_state(StreamState* s) {
  if (s == nullptr) return;
  for (int32_t j = 0; j < s->p; ++j) {
    Summary& u = s->sums[j];
    release(u.v), release(u.g), release(u.d);
    if (u.table) u.table->~GapTable(), release(u.table);
  }
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
  s.table_ok = false;
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

// Adds the chunk c[0..k) (stride apart) to a summary of at least two tuples
// with a positive, finite range, without sorting most of it: c values in the
// gap below tuple t raise the ranks of t and of every tuple after it by c,
// so they are counted into g_t as long as g_t + d_t stays within b. The
// values beyond that room, and values outside the range, are sorted and
// merged as tuples (an inserted value's g + d is its successor's, within b),
// so the guarantee is the summary's own whatever the order of the stream.
// left has room for every tuple. Returns false when memory runs out.
template <class T>
bool add_chunk(Summary& s, const T* c, int64_t stride, int64_t k, int64_t b, double* spill,
               int32_t* left) {
  if (!s.table_ok) {
    if (!s.table->build(s)) return false;
    s.table_ok = true;
  }
  const GapTable& table = *s.table;
  const double lo = s.v[0], hi = s.v[s.size - 1];
  const double* __restrict sv = s.v;
  const int32_t* __restrict first = table.first;
  const double* __restrict split = table.split;
  int32_t* __restrict room_left = left;
  // The room of each gap, at most the chunk.
  auto room = [&](int64_t u) { return static_cast<int32_t>(std::clamp<int64_t>(b - s.g[u] - s.d[u], 0, k)); };
  for (int64_t u = 1; u < s.size; ++u) left[u] = room(u);
  int64_t m = 0;
  // One value of the range whose cell is q: into its gap, or to the spill
  // when the gap is full.
  auto count = [&](uint32_t q, double v) {
    const int32_t f = first[q];
    uint32_t u;
    if (f < 0) [[unlikely]] {
      u = static_cast<uint32_t>(~f);
      while (sv[u] < v) ++u;  // stops at the last tuple at the latest (v <= v_last)
    } else {
      u = static_cast<uint32_t>(f) + (split[q] < v);
    }
    if (--room_left[u] < 0) [[unlikely]] spill[m++] = v;
  };
  auto one = [&](double v) {
    if (!(v > lo && v <= hi)) spill[m++] = v;  // outside the range, or a NaN: merged as a tuple
    else count(static_cast<uint32_t>(table.cell(v)), v);
  };
  // A value costs about a dozen instructions, so the processor itself reads
  // only a few lines ahead: the data are asked for 1 KiB in advance (a
  // prefetch does not fault, even past the end of the array). Two values
  // go through the range test and the cell arithmetic side by side, the same
  // operations as table.cell.
  const auto at = reinterpret_cast<uintptr_t>(c);
  const int64_t step = stride * int64_t{sizeof(T)}, ahead = 1024 / int64_t{sizeof(T)};
  auto prefetch = [&](int64_t i) {
    _mm_prefetch(reinterpret_cast<const char*>(at + (i + ahead) * step), _MM_HINT_T0);
  };
  const __m128d vlo = _mm_set1_pd(lo), vhi = _mm_set1_pd(hi), vscale = _mm_set1_pd(table.scale),
                vtop = _mm_set1_pd(double(table.cells - 1));
  auto pair = [&](double v0, double v1) {
    const __m128d v = _mm_set_pd(v1, v0);
    const __m128d in = _mm_and_pd(_mm_cmpgt_pd(v, vlo), _mm_cmple_pd(v, vhi));
    if (_mm_movemask_pd(in) != 3) [[unlikely]] {
      one(v0), one(v1);
      return;
    }
    const __m128i q = _mm_cvttpd_epi32(_mm_min_pd(_mm_mul_pd(_mm_sub_pd(v, vlo), vscale), vtop));
    count(static_cast<uint32_t>(_mm_cvtsi128_si32(q)), v0);
    count(static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(q, 1))), v1);
  };
  int64_t i = 0;
  if (stride == 1) {
    constexpr int64_t kLine = 64 / sizeof(T);  // values of a cache line
    for (; i + kLine <= k; i += kLine) {
      prefetch(i);
      for (int64_t o = 0; o < kLine; o += 2) pair(double(c[i + o]), double(c[i + o + 1]));
    }
  } else {
    for (; i + 2 <= k; i += 2) {
      prefetch(i), prefetch(i + 1);
      pair(double(c[i * stride]), double(c[(i + 1) * stride]));
    }
  }
  for (; i < k; ++i) one(double(c[i * stride]));
  for (int64_t u = 1; u < s.size; ++u) s.g[u] += room(u) - std::max(left[u], 0);
  if (m == 0) return true;
  if (!reserve(s, s.size + m)) return false;
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

// One block, its variables dealt out to `groups` threads.
template <class T>
struct Job {
  Observations<T> x;
  StreamState* st;  // n is the count before the block
  const int32_t* vars;
  int32_t count;
  int groups;
  int64_t chunk;
  double eps;
  int* status;  // one per group
};

// The block's chunks over the variables vars[g], vars[g + groups], ...
template <class T>
int run_group(const Job<T>& job, int64_t g) {
  const Observations<T>& x = job.x;
  Buffer<double> buf(2 * job.chunk);  // a chunk to sort, and the values that spill
  if (buf.failed()) return ZEV_SS_ERROR_MEM_FAILURE;
  double* spill = buf.p + job.chunk;
  int32_t* left = nullptr;  // one per tuple of the largest summary
  int64_t left_cap = 0;
  int status = 0;
  int64_t n = job.st->n;
  // A new series starts with a short sorted chunk, so that the summary has
  // gaps to count into as early as possible.
  for (int64_t i0 = 0, k = 0; i0 < x.n && status == 0; i0 += k) {
    k = std::min(n < 1024 ? std::min<int64_t>(job.chunk, 1024) : job.chunk, x.n - i0);
    n += k;
    const int64_t b = static_cast<int64_t>(std::floor(2 * job.eps * double(n)));
    for (int64_t a = g; a < job.count && status == 0; a += job.groups) {
      const int32_t j = job.vars[a];
      Summary& s = job.st->sums[j];
      const T* c = x.var_major ? x.x + static_cast<int64_t>(j) * x.n + i0 : x.x + i0 * x.p + j;
      const int64_t stride = x.var_major ? 1 : x.p;
      // A summary of a few tuples, or of one value, or whose range is too
      // narrow or too wide to cut into cells (a difference beyond the largest
      // double), takes the chunk sorted; otherwise the data are read where
      // they stand.
      const double range = s.size ? s.v[s.size - 1] - s.v[0] : 0;
      if (s.size < 64 || !(range > 0 && range < INFINITY && GapTable::kMaxCells / range < INFINITY)) {
        for (int64_t i = 0; i < k; ++i) buf[i] = double(c[i * stride]);
        std::sort(buf.p, buf.p + k);
        if (!reserve(s, s.size + k)) status = ZEV_SS_ERROR_MEM_FAILURE;
        else merge(s, buf.p, k, b);
        continue;
      }
      if (s.table == nullptr) {
        if ((s.table = alloc<GapTable>(1)) == nullptr) {
          status = ZEV_SS_ERROR_MEM_FAILURE;
          continue;
        }
        new (s.table) GapTable;
      }
      if (s.size > left_cap) {
        release(left);
        left_cap = 2 * s.size;
        left = alloc<int32_t>(left_cap);
        if (left == nullptr) {
          left_cap = 0;
          status = ZEV_SS_ERROR_MEM_FAILURE;
          continue;
        }
      }
      if (!add_chunk(s, c, stride, k, b, spill, left)) status = ZEV_SS_ERROR_MEM_FAILURE;
    }
  }
  release(left);
  return status;
}

template <class T>
void group_body(int64_t g, int, int, void* context) {
  auto* job = static_cast<Job<T>*>(context);
  job->status[g] = run_group(*job, g);
}

template <class T>
int stream(Rec* t, uint64_t mask, uint64_t method, const zev_threading* th) {
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
    std::fill(sums, sums + x.p, Summary{0, 0, nullptr, nullptr, nullptr, nullptr, false});
    *st = {x.p, eps, 0, sums};
    t->stream_state = st;
    t->cleanup_functions[0] = __vqsSQuantilesFreeBuffers;
    t->cleanup_count = 1;
  }

  int32_t count = 0;
  int32_t* vars = variable_list(t, in, x.p, &count);
  // The variables are independent: on the threading table they are dealt
  // out to the threads in turn, and each thread walks the block chunk by
  // chunk over its own variables. The chunks, and so the results, do not
  // depend on the thread count.
  int groups = 1;
  if (th && th->max_threads && th->parallel_for && x.n * count >= (int64_t{1} << 16))
    groups = static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(th->max_threads(), count)));
  Buffer<int> statuses(groups);
  if (vars == nullptr || statuses.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  std::fill(statuses.p, statuses.p + groups, 0);
  // Chunks of 16/eps observations (at least 4096, at most 65536): most of a
  // chunk is counted into the summary's gaps, and what spills is merged.
  Job<T> job{x, st, vars, count, groups,
             std::min<int64_t>(x.n, std::clamp<int64_t>(int64_t(16 / eps), 4096, 65536)), eps,
             statuses.p};
  for_variables(th, groups, groups, &job, group_body<T>);
  int status = 0;
  for (int k = 0; k < groups && status == 0; ++k) status = statuses[k];
  if (status) {  // some summaries hold part of the block: the series cannot go on
    release(vars);
    free_state(st);
    t->stream_state = nullptr;
    return status;
  }
  st->n += x.n;
  if (want) {
    const T* q = static_cast<const T*>(t->stream_quantile_orders);
    T* out = static_cast<T*>(t->stream_quantiles);
    for (int32_t a = 0; a < count; ++a)
      for (int32_t m = 0; m < order_count; ++m)
        out[static_cast<int64_t>(vars[a]) * order_count + m] =
            T(query(st->sums[vars[a]], double(q[m]), st->n));
  }
  release(vars);
  return 0;
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
