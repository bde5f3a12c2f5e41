// Quantiles, order statistics, sorting, the weighted median and the absolute
// deviations: _vqsdSSQuantiles, _vqsdSSSort, _vqsdSSWMedian, _vqsdSSMAD, and
// the in-place sort and selection the rest of the subsystem calls
// (__vqsdQSort, __vqsdQSortSelect and their single forms).
#include <algorithm>
#include <limits>

#include "stats/ss_task.h"

namespace zev::ss {
namespace {

constexpr int kInsertion = 8;  // ranges shorter than this are finished by insertion

template <class T>
void insertion(T* a, int64_t lo, int64_t hi) {  // [lo, hi]
  for (int64_t i = lo + 1; i <= hi; ++i) {
    T v = a[i];
    int64_t j = i - 1;
    while (j >= lo && a[j] > v) {
      a[j + 1] = a[j];
      --j;
    }
    a[j + 1] = v;
  }
}

// Orders a[lo], a[lo + 1], a[hi] with the middle element moved to lo + 1, so
// that the median of the three sits at lo + 1 and serves as the pivot, with
// sentinels at both ends of the partition.
template <class T>
void median_of_three(T* a, int64_t lo, int64_t hi) {
  std::swap(a[lo + (hi - lo) / 2], a[lo + 1]);
  if (a[lo] > a[hi]) std::swap(a[lo], a[hi]);
  if (a[lo + 1] > a[hi]) std::swap(a[lo + 1], a[hi]);
  if (a[lo] > a[lo + 1]) std::swap(a[lo], a[lo + 1]);
}

// Partitions [lo, hi] (at least 3 elements, median of three in place) around
// a[lo + 1]; returns the pivot's final place.
template <class T>
int64_t partition(T* a, int64_t lo, int64_t hi) {
  const T pivot = a[lo + 1];
  int64_t i = lo + 1, j = hi;
  for (;;) {
    do ++i; while (a[i] < pivot);
    do --j; while (a[j] > pivot);
    if (i >= j) break;
    std::swap(a[i], a[j]);
  }
  a[lo + 1] = a[j];
  a[j] = pivot;
  return j;
}

// Quicksort with an explicit stack: the larger side is pushed and the
// smaller one taken next, so 64 pairs of bounds are more than 2^63 elements
// need.
template <class T>
void qsort(int64_t n, T* a) {
  int64_t stack[128];
  int top = 0;
  int64_t lo = 0, hi = n - 1;
  for (;;) {
    if (hi - lo < kInsertion - 1) {
      insertion(a, lo, hi);
      if (top == 0) return;
      hi = stack[--top];
      lo = stack[--top];
      continue;
    }
    median_of_three(a, lo, hi);
    const int64_t m = partition(a, lo, hi);
    if (m - lo > hi - m) {
      stack[top++] = lo;
      stack[top++] = m - 1;
      lo = m + 1;
    } else {
      stack[top++] = m + 1;
      stack[top++] = hi;
      hi = m - 1;
    }
  }
}

// The k-th smallest of a[0..n-1] (k from 0), by partitioning only the side
// that holds it; a is rearranged.
template <class T>
T select(int64_t n, T* a, int64_t k) {
  int64_t lo = 0, hi = n - 1;
  while (hi - lo >= kInsertion - 1) {
    median_of_three(a, lo, hi);
    const int64_t m = partition(a, lo, hi);
    if (m == k) return a[m];
    if (k < m) hi = m - 1;
    else lo = m + 1;
  }
  insertion(a, lo, hi);
  return a[k];
}

// The interpolation of the quantile of order q of n values: t = q*(n - 1),
// k = floor(t), f = t - k; (1 - f)*x(k) + f*x(k + 1), with k + 1 held at
// n - 1.
struct Place {
  int64_t k, k1;
};
template <class T>
Place place(int64_t n, T q, T* f) {
  const T t = q * T(n - 1);
  int64_t k = static_cast<int64_t>(t);
  if (k > n - 1) k = n - 1;
  *f = t - T(k);
  return {k, std::min(k + 1, n - 1)};
}

// The quantiles of the orders taken in ascending order (`rank` lists the
// order numbers so), from unsorted values: each selection leaves everything
// from x(k) on at or above it, so the next, larger k is selected in buf[k..n)
// only, and x(k + 1) is the least of buf[k + 1..n).
template <class T>
void quantiles_by_selection(T* buf, int64_t n, const T* orders, const int32_t* rank,
                            int32_t count, T* out) {
  int64_t lo = 0;
  for (int32_t r = 0; r < count; ++r) {
    const int32_t m = rank[r];
    T f;
    const Place at = place(n, orders[m], &f);
    const T a = select(n - lo, buf + lo, at.k - lo);
    T b = a;
    if (at.k1 != at.k) b = *std::min_element(buf + at.k + 1, buf + n);
    out[m] = a * (T(1) - f) + f * b;
    lo = at.k;
  }
}

// The values at ranks ks[0..m) (ascending, distinct, each below n) of the
// n values src[i*stride], into vals; buf has room for n values and src is
// not changed. Large inputs go through a histogram: the range of a sample
// of the values is cut into 4096 equal cells (values beyond it fall in the
// end cells), one pass counts the values of each cell, one gathers the
// values of the few cells that hold a wanted rank, and selection finishes
// inside those cells. The cell of a value is a non-decreasing function of
// it, so every value of a cell lies at or below every value of the next.
// Small inputs, inputs with a NaN, and samples with no range to divide are
// copied and selected as they stand.
template <class T>
void values_at_ranks(const T* src, int64_t stride, int64_t n, T* buf, const int64_t* ks, int32_t m,
                     T* vals) {
  constexpr int32_t kCells = 4096, kSample = 1024;
  auto by_selection = [&](T* a, int64_t count, int64_t offset, int32_t first, int32_t end) {
    int64_t lo = 0;  // everything from a[lo] on is at or above what was selected
    for (int32_t r = first; r < end; ++r) {
      const int64_t k = ks[r] - offset;
      vals[r] = select(count - lo, a + lo, k - lo);
      lo = k;
    }
  };
  auto copy_all = [&] {
    for (int64_t i = 0; i < n; ++i) buf[i] = src[i * stride];
    by_selection(buf, n, 0, 0, m);
  };
  if (n < 4 * kCells) return copy_all();
  T lo = std::numeric_limits<T>::infinity(), hi = -lo;
  for (int64_t i = 0; i < kSample; ++i) {
    const T v = src[i * (n / kSample) * stride];
    if (v - v == T(0)) {  // finite
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
  }
  const T scale = T(kCells) / (hi - lo);
  if (!(hi > lo) || !(scale < std::numeric_limits<T>::infinity())) return copy_all();
  auto cell = [&](T v) {
    const T t = (v - lo) * scale;  // NaN only for a NaN, which is counted apart
    return t >= T(0) ? (t < T(kCells) ? static_cast<int32_t>(t) : kCells - 1) : 0;
  };
  int32_t counts[kCells] = {};
  int64_t nans = 0;
  for (int64_t i = 0; i < n; ++i) {
    const T v = src[i * stride];
    ++counts[cell(v)];
    nans += v != v;
  }
  if (nans) return copy_all();
  // The cells of the wanted ranks, each with the count below it and its
  // place in buf.
  int16_t slot[kCells];
  std::fill(slot, slot + kCells, int16_t{-1});
  int32_t cell_of[64];  // at most 2 ranks per order; m is small
  int64_t below[64], start[64], fill[64];
  int32_t cells = 0;
  int64_t cum = 0, placed = 0;
  int32_t c = 0;
  for (int32_t r = 0; r < m; ++r) {
    while (cum + counts[c] <= ks[r]) cum += counts[c++];
    if (slot[c] < 0) {
      slot[c] = static_cast<int16_t>(cells);
      cell_of[cells] = c;
      below[cells] = cum;
      start[cells] = fill[cells] = placed;
      placed += counts[c];
      ++cells;
    }
  }
  for (int64_t i = 0; i < n; ++i) {
    const T v = src[i * stride];
    const int16_t s = slot[cell(v)];
    if (s >= 0) buf[fill[s]++] = v;
  }
  // Ranks of one cell are consecutive in ks: select them within the cell.
  int32_t r = 0;
  for (int32_t s = 0; s < cells; ++s) {
    int32_t end = r;
    while (end < m && ks[end] < below[s] + counts[cell_of[s]]) ++end;
    by_selection(buf + start[s], counts[cell_of[s]], below[s], r, end);
    r = end;
  }
}

// The quantiles of the orders, from the n values src[i*stride]: the ranks
// k and k + 1 of every order, found by values_at_ranks.
template <class T>
void quantiles_of(const T* src, int64_t stride, int64_t n, T* buf, const T* orders,
                  const int32_t* rank, int32_t count, T* out) {
  if (count > 32) {  // more orders than the rank lists hold: a piece at a time
    for (int32_t first = 0; first < count; first += 32)
      quantiles_of(src, stride, n, buf, orders, rank + first, std::min(32, count - first), out);
    return;
  }
  int64_t ks[64];
  T vals[64];
  int32_t m = 0;
  for (int32_t r = 0; r < count; ++r) {
    T f;
    const Place at = place(n, orders[rank[r]], &f);
    for (int64_t k : {at.k, at.k1})
      if (m == 0 || ks[m - 1] < k) ks[m++] = k;
  }
  std::sort(ks, ks + m);
  m = static_cast<int32_t>(std::unique(ks, ks + m) - ks);
  values_at_ranks(src, stride, n, buf, ks, m, vals);
  for (int32_t r = 0; r < count; ++r) {
    const int32_t o = rank[r];
    T f;
    const Place at = place(n, orders[o], &f);
    const T a = vals[std::lower_bound(ks, ks + m, at.k) - ks];
    const T b = vals[std::lower_bound(ks, ks + m, at.k1) - ks];
    out[o] = a * (T(1) - f) + f * b;
  }
}

// One quantile of unsorted values (buf is rearranged).
template <class T>
T quantile(T* buf, int64_t n, T q) {
  T out;
  const int32_t first = 0;
  quantiles_by_selection(buf, n, &q, &first, 1, &out);
  return out;
}

template <class T>
struct QuantileJob {
  const Rec* t;
  const T* x;
  int64_t n;
  int32_t p;
  bool var_major;
  const int32_t* vars;
  T* buffers;  // one of n reals per thread
  bool want_quantiles, want_stats;
  int32_t order_count;
  const T* orders;
  const int32_t* rank;  // order numbers by ascending order
  T* quantiles;
  T* stats;
  bool stats_var_major;
};

template <class T>
void quantile_body(int64_t index, int thread, int, void* context) {
  auto* c = static_cast<QuantileJob<T>*>(context);
  const int32_t j = c->vars[index];
  T* buf = c->buffers + static_cast<int64_t>(thread) * c->n;
  if (!c->want_stats) {  // quantiles alone: selection from the data where they stand
    const T* src = c->var_major ? c->x + static_cast<int64_t>(j) * c->n : c->x + j;
    quantiles_of(src, c->var_major ? 1 : c->p, c->n, buf, c->orders, c->rank, c->order_count,
                 c->quantiles + static_cast<int64_t>(j) * c->order_count);
    return;
  }
  for (int64_t i = 0; i < c->n; ++i)
    buf[i] = c->var_major ? c->x[static_cast<int64_t>(j) * c->n + i] : c->x[i * c->p + j];
  if (c->want_stats) {
    qsort(c->n, buf);
    for (int64_t i = 0; i < c->n; ++i) {
      if (c->stats_var_major) c->stats[static_cast<int64_t>(j) * c->n + i] = buf[i];
      else c->stats[i * c->p + j] = buf[i];
    }
  }
  if (c->want_quantiles) {
    T* out = c->quantiles + static_cast<int64_t>(j) * c->order_count;
    for (int32_t m = 0; m < c->order_count; ++m) {
      T f;
      const Place at = place(c->n, c->orders[m], &f);
      out[m] = buf[at.k] * (T(1) - f) + f * buf[at.k1];
    }
  }
}

template <class T>
int quantiles(Rec* t, uint64_t mask, uint64_t method, const zev_threading* th) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const bool want_q = mask & ZEV_SS_QUANTS, want_s = mask & ZEV_SS_ORDER_STATS;
  int32_t order_count = 0;
  if (want_q) {
    if (t->quantiles == nullptr) return ZEV_SS_ERROR_BAD_QUANT_ADDR;
    if (t->quantile_orders == nullptr) return ZEV_SS_ERROR_BAD_QUANT_ORDER_ADDR;
    if (t->quantile_order_count == nullptr || in.value(t->quantile_order_count) < 0)
      return ZEV_SS_ERROR_BAD_QUANT_ORDER;
    order_count = in.low(t->quantile_order_count);
    const T* q = static_cast<const T*>(t->quantile_orders);
    for (int32_t m = 0; m < order_count; ++m)
      if (!(q[m] >= T(0) && q[m] <= T(1))) return ZEV_SS_ERROR_BAD_QUANT_ORDER;
  }
  if (want_s) {
    if (t->order_statistics == nullptr) return ZEV_SS_ERROR_BAD_ORDER_STATS_ADDR;
    if (t->order_statistics_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
    if (!has_layout(in, t->order_statistics_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  }
  if (!(method & 0x1)) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;
  if (!want_q && !want_s) return 0;

  const int32_t p = in.low(t->dimension);
  const int64_t n = in.low(t->observation_count);
  int threads = 1;
  if (th && th->max_threads && th->parallel_for) {
    int64_t limit = std::min<int64_t>(th->max_threads(), p);
    limit = std::min<int64_t>(limit, (int64_t{1} << 30) / (8 * n));
    threads = limit < 1 ? 1 : static_cast<int>(limit);
  }
  int32_t count = 0;
  int32_t* vars = variable_list(t, in, p, &count);
  T* buffers = alloc<T>(threads * n);
  Buffer<int32_t> rank(order_count);
  if (vars == nullptr || buffers == nullptr || rank.failed()) {
    release(vars);
    release(buffers);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  const T* orders = static_cast<const T*>(t->quantile_orders);
  for (int32_t m = 0; m < order_count; ++m) rank[m] = m;
  std::stable_sort(rank.p, rank.p + order_count, [&](int32_t a, int32_t b) { return orders[a] < orders[b]; });
  QuantileJob<T> job{t,
                     static_cast<const T*>(t->observations),
                     n,
                     p,
                     (in.value(t->observation_storage) & ZEV_SS_MATRIX_STORAGE_ROWS) || p == 1,
                     vars,
                     buffers,
                     want_q,
                     want_s,
                     order_count,
                     orders,
                     rank.p,
                     static_cast<T*>(t->quantiles),
                     static_cast<T*>(t->order_statistics),
                     want_s && ((in.value(t->order_statistics_storage) & ZEV_SS_MATRIX_STORAGE_ROWS) ||
                                p == 1)};
  for_variables(th, count, threads, &job, quantile_body<T>);
  release(vars);
  release(buffers);
  return 0;
}

template <class T>
struct SortJob {
  const T* x;
  T* out;
  int64_t n;
  int32_t p;
  bool in_var_major, out_var_major;
  const int32_t* vars;
  T* buffers;
};

template <class T>
void sort_body(int64_t index, int thread, int, void* context) {
  auto* c = static_cast<SortJob<T>*>(context);
  const int32_t j = c->vars[index];
  T* buf = c->buffers + static_cast<int64_t>(thread) * c->n;
  for (int64_t i = 0; i < c->n; ++i)
    buf[i] = c->in_var_major ? c->x[static_cast<int64_t>(j) * c->n + i] : c->x[i * c->p + j];
  qsort(c->n, buf);
  for (int64_t i = 0; i < c->n; ++i) {
    if (c->out_var_major) c->out[static_cast<int64_t>(j) * c->n + i] = buf[i];
    else c->out[i * c->p + j] = buf[i];
  }
}

template <class T>
int sort(Rec* t, uint64_t, uint64_t method, const zev_threading* th) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  if (t->sorted_observations == nullptr) return ZEV_SS_ERROR_BAD_SORTED_OBSERV_ADDR;
  if (t->sorted_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  const bool in_place = t->sorted_observations == t->observations;
  if (in_place) {
    if (t->observation_storage == nullptr ||
        in.value(t->observation_storage) != in.value(t->sorted_storage))
      return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
    if (t->variable_mask) return ZEV_SS_ERROR_IN_PLACE_SORT_WITH_MASK;
  }
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage) || !has_layout(in, t->sorted_storage))
    return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  if (!(method & 0x100000)) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;

  const int32_t p = in.low(t->dimension);
  const int64_t n = in.low(t->observation_count);
  int threads = 1;
  if (th && th->max_threads && th->parallel_for)
    threads = static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(th->max_threads(), p)));
  int32_t count = 0;
  int32_t* vars = variable_list(t, in, p, &count);
  T* buffers = alloc<T>(threads * n);
  if (vars == nullptr || buffers == nullptr) {
    release(vars);
    release(buffers);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  auto var_major = [&](const void* storage) {
    return (in.value(storage) & ZEV_SS_MATRIX_STORAGE_ROWS) || p == 1;
  };
  SortJob<T> job{static_cast<const T*>(t->observations), static_cast<T*>(t->sorted_observations), n,
                 p, var_major(t->observation_storage), var_major(t->sorted_storage), vars, buffers};
  for_variables(th, count, threads, &job, sort_body<T>);
  release(vars);
  release(buffers);
  return 0;
}

// ---- weighted median ----------------------------------------------------

template <class T>
struct Pair {
  T value, weight;
};

template <class T>
struct WMedianJob {
  const T* x;
  const T* w;  // null: all 1
  int64_t n;
  int32_t p;
  bool var_major;
  const int32_t* vars;
  Pair<T>* buffers;
  T order;
  T* out;
};

// The weighted quantile of order q of one variable's pairs: walk the sorted
// values with a running sum of weights up to q times the total; interpolate
// inside the step where the sum passes it, and take the middle of two values
// where it lands exactly on it.
template <class T>
T weighted_quantile(Pair<T>* a, int64_t n, T q) {
  T total = T(0);
  for (int64_t i = 0; i < n; ++i) total += a[i].weight;
  const T target = total * q;
  std::sort(a, a + n, [](const Pair<T>& l, const Pair<T>& r) { return l.value < r.value; });
  T c = T(0);
  int64_t i = 0;
  for (; i < n; ++i) {
    c += a[i].weight;
    if (c >= target) break;
  }
  if (i == n) i = n - 1;  // rounding kept the running sum below the target
  const T v = a[i].value;
  if (c <= target) {
    if ((n & 1) || i == n - 1) return v;
    int64_t k = i + 1;
    while (k < n && !(a[k].weight > T(0))) ++k;
    return k < n ? (v + a[k].value) / T(2) : v;
  }
  const T w = a[i].weight, c0 = c - w;
  if (c0 <= T(0) || c0 == w || i == 0) return v;
  const T u = a[i - 1].value;
  return u + ((target - c0) / (c - c0)) * (v - u);
}

template <class T>
void wmedian_body(int64_t index, int thread, int, void* context) {
  auto* c = static_cast<WMedianJob<T>*>(context);
  const int32_t j = c->vars[index];
  Pair<T>* buf = c->buffers + static_cast<int64_t>(thread) * c->n;
  for (int64_t i = 0; i < c->n; ++i) {
    buf[i].value = c->var_major ? c->x[static_cast<int64_t>(j) * c->n + i] : c->x[i * c->p + j];
    buf[i].weight = c->w ? c->w[i] : T(1);
  }
  c->out[j] = weighted_quantile(buf, c->n, c->order);
}

template <class T>
int wmedian(Rec* t, uint64_t, uint64_t, const zev_threading* th) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  if (t->quantiles == nullptr) return ZEV_SS_ERROR_BAD_QUANT_ADDR;
  if (t->quantile_orders == nullptr) return ZEV_SS_ERROR_BAD_QUANT_ORDER_ADDR;
  const T q = static_cast<const T*>(t->quantile_orders)[0];
  if (!(q >= T(0) && q <= T(1))) return ZEV_SS_ERROR_BAD_QUANT_ORDER;
  if (int s = data_checks(t, in)) return s;
  const int32_t p = in.low(t->dimension);
  const int64_t n = in.low(t->observation_count);
  int threads = 1;
  if (th && th->max_threads && th->parallel_for)
    threads = static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(th->max_threads(), p)));
  int32_t count = 0;
  int32_t* vars = variable_list(t, in, p, &count);
  auto* buffers = alloc<Pair<T>>(threads * n);
  if (vars == nullptr || buffers == nullptr) {
    release(vars);
    release(buffers);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  WMedianJob<T> job{static_cast<const T*>(t->observations),
                    static_cast<const T*>(t->weights),
                    n,
                    p,
                    (in.value(t->observation_storage) & ZEV_SS_MATRIX_STORAGE_ROWS) || p == 1,
                    vars,
                    buffers,
                    q,
                    static_cast<T*>(t->quantiles)};
  for_variables(th, count, threads, &job, wmedian_body<T>);
  release(vars);
  release(buffers);
  return 0;
}

// ---- absolute deviations --------------------------------------------------

template <class T>
int basic_of(zev_ss_task t, int64_t mask, int64_t method) {
  if constexpr (sizeof(T) == 8) return _vqsdSSBasic(t, mask, method, nullptr);
  else return _vqssSSBasic(t, mask, method, nullptr);
}

// The weighted mean of n contiguous values, through Basic on a task of one
// variable; a negative status on failure.
template <class T>
int mean_of(const T* v, const T* w, int64_t n, T* mean) {
  Rec local;
  memset(static_cast<void*>(&local), 0, sizeof local);
  const int64_t one = 1, layout = ZEV_SS_MATRIX_STORAGE_ROWS;
  local.wide_integers = 1;
  local.object_tag = 2;
  local.is_double = sizeof(T) == 8;
  local.dimension = &one;
  local.observation_count = &n;
  local.observation_storage = &layout;
  local.observations = v;
  local.weights = w;
  local.mean = mean;
  return basic_of<T>(&local, ZEV_SS_MEAN, ZEV_SS_METHOD_1PASS);
}

template <class T>
struct MadJob {
  const T* x;
  const T* w;
  int64_t n;
  int32_t p;
  bool var_major, median, user_mean;
  const int32_t* vars;
  T* buffers;
  const T* mean;
  T* out;
  int status;
};

template <class T>
void mad_body(int64_t index, int thread, int, void* context) {
  auto* c = static_cast<MadJob<T>*>(context);
  const int32_t j = c->vars[index];
  T* buf = c->buffers + static_cast<int64_t>(thread) * c->n;
  // The caller's observations are never changed: the deviations are formed
  // in the thread's buffer.
  for (int64_t i = 0; i < c->n; ++i)
    buf[i] = c->var_major ? c->x[static_cast<int64_t>(j) * c->n + i] : c->x[i * c->p + j];
  T centre;
  if (c->median) {
    centre = quantile(buf, c->n, T(0.5));
  } else if (c->user_mean) {
    centre = c->mean[j];
  } else if (int s = mean_of(buf, c->w, c->n, &centre); s < 0) {
    c->status = s;
    return;
  }
  for (int64_t i = 0; i < c->n; ++i) buf[i] = buf[i] > centre ? buf[i] - centre : centre - buf[i];
  T result;
  if (c->median) {
    result = quantile(buf, c->n, T(0.5));
  } else if (int s = mean_of(buf, c->w, c->n, &result); s < 0) {
    c->status = s;
    return;
  }
  c->out[j] = result;
}

template <class T>
int mad(Rec* t, uint64_t mask, uint64_t method, const zev_threading* th) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  if (t->dimension == nullptr || in.value(t->dimension) < 1) return ZEV_SS_ERROR_BAD_DIMEN;
  if (t->observation_count == nullptr || in.value(t->observation_count) < 1)
    return ZEV_SS_ERROR_BAD_OBSERV_N;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  const int64_t layout = in.value(t->observation_storage);
  if (layout != ZEV_SS_MATRIX_STORAGE_ROWS && layout != ZEV_SS_MATRIX_STORAGE_COLS)
    return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  const bool want_median = mask & ZEV_SS_MDAD, want_mean = mask & ZEV_SS_MNAD;
  if (want_median && t->median_absolute_deviation == nullptr) return ZEV_SS_ERROR_BAD_MDAD_ADDR;
  if (want_mean && t->mean_absolute_deviation == nullptr) return ZEV_SS_ERROR_BAD_MNAD_ADDR;
  if (want_median && method != 0x1) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (want_mean && method != 0x1 && method != 0x100) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  const bool user_mean = method == 0x100;
  if (want_mean && user_mean && t->mean == nullptr) return ZEV_SS_ERROR_BAD_MEAN_ADDR;
  if (t->observations == nullptr) return ZEV_SS_ERROR_BAD_OBSERV_ADDR;
  if (!want_median && !want_mean) return 0;

  const int32_t p = in.low(t->dimension);
  const int64_t n = in.low(t->observation_count);
  int threads = 1;
  if (th && th->max_threads && th->parallel_for)
    threads = static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(th->max_threads(), p)));
  int32_t count = 0;
  int32_t* vars = variable_list(t, in, p, &count);
  T* buffers = alloc<T>(threads * n);
  if (vars == nullptr || buffers == nullptr) {
    release(vars);
    release(buffers);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  int status = 0;
  for (int form = 0; form < 2 && status == 0; ++form) {
    const bool median = form == 0;
    if (median ? !want_median : !want_mean) continue;
    MadJob<T> job{static_cast<const T*>(t->observations),
                  static_cast<const T*>(t->weights),
                  n,
                  p,
                  layout == ZEV_SS_MATRIX_STORAGE_ROWS || p == 1,
                  median,
                  user_mean,
                  vars,
                  buffers,
                  static_cast<const T*>(t->mean),
                  static_cast<T*>(median ? t->median_absolute_deviation : t->mean_absolute_deviation),
                  0};
    for_variables(th, count, threads, &job, mad_body<T>);
    status = job.status;
  }
  release(vars);
  release(buffers);
  return status;
}

}  // namespace
}  // namespace zev::ss

extern "C" {

ZEV_API void __vqsdQSort(int64_t n, double* a) {
  if (n > 1) zev::ss::qsort(n, a);
}
ZEV_API void __vqssQSort(int64_t n, float* a) {
  if (n > 1) zev::ss::qsort(n, a);
}
ZEV_API double __vqsdQSortSelect(int64_t n, double* a, int64_t k) {
  return zev::ss::select(n, a, k);
}
ZEV_API float __vqssQSortSelect(int64_t n, float* a, int64_t k) {
  return zev::ss::select(n, a, k);
}


}  // extern "C"

ZEV_SS_COMPUTE_ENTRIES(Quantiles, quantiles)
ZEV_SS_COMPUTE_ENTRIES(WMedian, wmedian)
ZEV_SS_COMPUTE_ENTRIES(MAD, mad)
ZEV_SS_COMPUTE_ENTRIES(Sort, sort)
