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
// at all: a value in the gap below tuple t is counted into g_t. Most chunks
// are only counted by cells finer than the tuples, and the counts are given
// to the gaps after the chunk (add_chunk_counted); the others find each
// value's gap (add_chunk_exact). Only what the gaps have no room for is
// sorted and merged. The variables are independent and are dealt out to
// the threads of the threading table.
//
// The state lives in the task between calls (stream_state) and is released by
// __vqsSQuantilesFreeBuffers, which the task's deletion calls.
#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <type_traits>

#include "stats/ss_task.h"

namespace zev::ss {
namespace {

struct Grid;
struct Summary {
  int64_t size, cap;
  double* v;
  int64_t* g;
  int64_t* d;
  Grid* grid;    // the cells, made at the first chunk that uses them
  bool grid_ok;   // false once a merge has changed the tuples
  bool index_ok;  // likewise for the look-up of the exact way
  // After a counted chunk that spilled more than an eighth of its values,
  // the next `wait` chunks go the exact way; the wait grows (1, 3, 7, ...,
  // 64 chunks) while counted chunks keep spilling that much.
  int32_t wait, backoff;
};

// The cells of a summary of at least two tuples, for values v with
// v_0 <= v <= v_last. The summary's range is cut into `cells` equal cells,
// about sixteen per tuple; the cell of a value is non-decreasing in it
// (cell() and the vector form in walk do the same operations), so the
// tuples whose cell lies below v's are below v and those whose cell lies
// above it are above.
//
// The exact way (add_chunk_exact) finds each value's gap, its successor:
// first[q] names the first tuple (from 1) whose cell is at or above q, and
// split[q] its value; when cell q holds at most one tuple the successor is
// first[q] + (v > split[q]), two loads side by side and one comparison. A
// cell of more tuples (a cluster, ties) is marked by a negative entry and
// searched.
//
// The quick way (add_chunk_counted) only counts the values of each cell in
// hist, which is all zero between chunks, and keeps in pos the place of
// each cell's last value; take serves it when values must be taken back.
struct Grid {
  static constexpr int32_t kPerTuple = 16, kMinCells = 1024, kMaxCells = 32768;
  int32_t cells = 0, cap = 0;
  double lo = 0, scale = 0;
  int32_t* first = nullptr;
  double* split = nullptr;
  uint16_t* hist = nullptr;
  uint16_t* take = nullptr;
  uint16_t* pos = nullptr;

  ~Grid() { release(first), release(split), release(hist), release(take), release(pos); }
  // The shifter 1.5*2^52 rounds the cell's position to the nearest integer
  // and leaves it in the low bits.
  static constexpr double kShifter = 0x1.8p52;
  int32_t cell(double v) const {
    const double at = std::min((v - lo) * scale, double(cells - 1)) + kShifter;
    return static_cast<int32_t>(std::bit_cast<uint64_t>(at));
  }
  // Fits the cells to the summary's tuples and range; the counts stay zero.
  bool fit(const Summary& s) {
    int64_t want = kMinCells;
    while (want < kPerTuple * s.size && want < kMaxCells) want *= 2;
    if (want > cap) {
      release(first), release(split), release(hist), release(take), release(pos);
      first = alloc<int32_t>(want);
      split = alloc<double>(want);
      hist = alloc<uint16_t>(want);
      take = alloc<uint16_t>(want);
      pos = alloc<uint16_t>(want);
      cap = first && split && hist && take && pos ? static_cast<int32_t>(want) : 0;
      if (cap == 0) return false;
      std::fill(hist, hist + want, uint16_t{0});
      std::fill(take, take + want, uint16_t{0});
    }
    cells = static_cast<int32_t>(want);
    lo = s.v[0];
    scale = cells / (s.v[s.size - 1] - lo);
    return true;
  }
  // The look-up of the exact way, for the tuples as they are.
  void index(const Summary& s) {
    const int64_t last = s.size - 1;
    int32_t q = 0;
    for (int64_t t = 1, e; t <= last; t = e) {
      const int32_t ct = cell(s.v[t]);
      for (e = t + 1; e <= last && cell(s.v[e]) == ct;) ++e;
      for (; q < ct; ++q) first[q] = static_cast<int32_t>(t), split[q] = s.v[t];
      first[q] = e > t + 1 ? ~static_cast<int32_t>(t) : static_cast<int32_t>(t), split[q] = s.v[t];
      ++q;
    }
    for (; q < cells; ++q) first[q] = static_cast<int32_t>(last), split[q] = s.v[last];
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
    if (u.grid) u.grid->~Grid(), release(u.grid);
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
  s.grid_ok = s.index_ok = false;
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

// Four values of the chunk from i on, as two pairs of doubles: unit stride
// reads them as vectors.
template <bool kUnit, class T>
inline void load4(const T* c, int64_t i, int64_t stride, __m128d& a, __m128d& b) {
  if constexpr (kUnit && std::is_same_v<T, double>) {
    a = _mm_loadu_pd(c + i), b = _mm_loadu_pd(c + i + 2);
  } else if constexpr (kUnit) {
    const __m128 f = _mm_loadu_ps(c + i);
    a = _mm_cvtps_pd(f), b = _mm_cvtps_pd(_mm_movehl_ps(f, f));
  } else {
    a = _mm_set_pd(double(c[(i + 1) * stride]), double(c[i * stride]));
    b = _mm_set_pd(double(c[(i + 3) * stride]), double(c[(i + 2) * stride]));
  }
}

// Walks the chunk c[0..k) four values at a time: in_range(q, v, i) for each
// value v = c[i stride] with v_0 <= v <= v_last, whose cell is q, and
// out(v) for the others (NaNs among them). Two pairs go through the range
// test and the cell arithmetic side by side, the same operations as
// Grid::cell. A value costs a few instructions, so the processor itself
// reads only a few lines ahead: the data are asked for 4 KiB in advance
// (1 KiB in a strided walk; a prefetch does not fault, even past the end of
// the array).
template <bool kUnit, class T, class In, class Out>
inline void walk(const Summary& s, const T* c, int64_t stride, int64_t k, In in_range, Out out) {
  const Grid& grid = *s.grid;
  const double lo = s.v[0], hi = s.v[s.size - 1];
  const __m128d vlo = _mm_set1_pd(lo), vhi = _mm_set1_pd(hi), vscale = _mm_set1_pd(grid.scale),
                vtop = _mm_set1_pd(double(grid.cells - 1)), vshift = _mm_set1_pd(Grid::kShifter);
  auto one = [&](double v, int64_t i) {
    if (v >= lo && v <= hi) in_range(static_cast<uint32_t>(grid.cell(v)), v, i);
    else out(v);
  };
  const auto at = reinterpret_cast<uintptr_t>(c);
  const int64_t step = stride * int64_t{sizeof(T)};
  const int64_t ahead = (kUnit ? 4096 : 1024) / int64_t{sizeof(T)};
  auto prefetch = [&](int64_t i) {
    _mm_prefetch(reinterpret_cast<const char*>(at + (i + ahead) * step), _MM_HINT_T0);
  };
  auto four = [&](int64_t i) {
    __m128d a, b;
    load4<kUnit>(c, i, stride, a, b);
    const __m128d in_a = _mm_and_pd(_mm_cmpge_pd(a, vlo), _mm_cmple_pd(a, vhi));
    const __m128d in_b = _mm_and_pd(_mm_cmpge_pd(b, vlo), _mm_cmple_pd(b, vhi));
    if (_mm_movemask_pd(_mm_and_pd(in_a, in_b)) != 3) [[unlikely]] {
      alignas(16) double w[4];
      _mm_store_pd(w, a), _mm_store_pd(w + 2, b);
      one(w[0], i), one(w[1], i + 1), one(w[2], i + 2), one(w[3], i + 3);
      return;
    }
    const __m128d qa = _mm_add_pd(_mm_min_pd(_mm_mul_pd(_mm_sub_pd(a, vlo), vscale), vtop), vshift);
    const __m128d qb = _mm_add_pd(_mm_min_pd(_mm_mul_pd(_mm_sub_pd(b, vlo), vscale), vtop), vshift);
    alignas(16) uint32_t q[8];
    alignas(16) double w[4];
    _mm_store_pd(reinterpret_cast<double*>(q), qa);
    _mm_store_pd(reinterpret_cast<double*>(q + 4), qb);
    _mm_store_pd(w, a), _mm_store_pd(w + 2, b);
    in_range(q[0], w[0], i), in_range(q[2], w[1], i + 1);
    in_range(q[4], w[2], i + 2), in_range(q[6], w[3], i + 3);
  };
  int64_t i = 0;
  if constexpr (kUnit) {
    constexpr int64_t kLine = 64 / sizeof(T);  // values of a cache line
    for (; i + kLine <= k; i += kLine) {
      prefetch(i);
      for (int64_t o = 0; o < kLine; o += 4) four(i + o);
    }
  } else {
    for (; i + 4 <= k; i += 4) {
      prefetch(i), prefetch(i + 1), prefetch(i + 2), prefetch(i + 3);
      four(i);
    }
  }
  for (; i < k; ++i) one(double(c[i * stride]), i);
}

// Sorts the values that spilled and merges them as tuples.
bool merge_spill(Summary& s, double* spill, int64_t m, int64_t b) {
  if (m == 0) return true;
  if (!reserve(s, s.size + m)) return false;
  std::sort(spill, spill + m);
  merge(s, spill, m, b);
  return true;
}

// Adds the chunk c[0..k) (stride apart) to a summary of at least two tuples
// with a positive, finite range, the exact way: c values in the gap below
// tuple t raise the ranks of t and of every tuple after it by c, so they
// are counted into g_t as long as g_t + d_t stays within b. A value equal
// to the value of a full tuple may go after it instead, into the gap of the
// next tuple with room past full tuples of that same value (ties are
// ordered as it suits). The values beyond that room, and values
// outside the range, are sorted and merged as tuples (an inserted value's
// g + d is its successor's, within b), so the guarantee is the summary's
// own whatever the order of the stream. left has room for two per tuple.
// Returns false when memory runs out.
template <bool kUnit, class T>
bool add_chunk_exact(Summary& s, const T* c, int64_t stride, int64_t k, int64_t b, double* spill,
                     int32_t* left) {
  const Grid& grid = *s.grid;
  const int64_t last = s.size - 1;
  const double* __restrict sv = s.v;
  const int32_t* __restrict first = grid.first;
  const double* __restrict split = grid.split;
  int32_t* __restrict room_left = left;
  // The room of each gap, at most the chunk.
  auto room = [&](int64_t u) { return static_cast<int32_t>(std::clamp<int64_t>(b - s.g[u] - s.d[u], 0, k)); };
  for (int64_t u = 1; u <= last; ++u) left[u] = room(u);
  // The first tuple from u on whose gap has room (last + 1 if none): full
  // tuples stay full, so each remembers where the search from it ended.
  int32_t* __restrict skip = left + s.size;
  std::fill(skip, skip + s.size, 0);
  auto open = [&](int64_t u) {
    int64_t r = u;
    while (r <= last && room_left[r] <= 0) r = std::max<int64_t>(skip[r], r + 1);
    for (int64_t w = u; w < r;) {
      const int64_t next = std::max<int64_t>(skip[w], w + 1);
      skip[w] = static_cast<int32_t>(r), w = next;
    }
    return r;
  };
  int64_t m = 0;
  walk<kUnit>(
      s, c, stride, k,
      [&](uint32_t q, double v, int64_t) {
        const int32_t f = first[q];
        int64_t u;
        if (f < 0 && split[q] < v) [[unlikely]] {
          // the first tuple at or above v, at the latest the first of a later cell
          const int32_t g =
              q + 1 < static_cast<uint32_t>(grid.cells) ? first[q + 1] : static_cast<int32_t>(last);
          const double* at = sv + ~f;
          for (int64_t len = (g < 0 ? ~g : g) - ~f + 1; len > 1;) {  // without branches
            const int64_t half = len / 2;
            at = at[half] < v ? at + half : at;
            len -= half;
          }
          u = (at - sv) + (*at < v);
        } else {
          u = f < 0 ? ~f : f + (split[q] < v);
        }
        if (--room_left[u] >= 0) [[likely]] return;
        ++room_left[u];
        // v after the full tuples of its own value, before the next with room
        if (sv[u] == v && u < last) {
          const int64_t r = open(u + 1);
          if (r <= last && sv[r - 1] == v) {
            --room_left[r];
            return;
          }
        }
        spill[m++] = v;
      },
      [&](double v) { spill[m++] = v; });
  for (int64_t u = 1; u <= last; ++u) s.g[u] += room(u) - left[u];
  return merge_spill(s, spill, m, b);
}

// The same, the quick way: the values of the range are only counted by
// cell, and the counts are given to the gaps after the chunk. A cell that
// holds no tuple lies inside one gap. A cell that holds tuples t..e-1 (the
// tuples of the range from 1 on) holds values whose successor is one of
// t..e, or t..last if e is beyond the last: its count h goes to g of that
// last possible successor, and the ranks of t..e-1 rise by at most h, so
// their d grow by h. Where a tuple's g + d would pass the bound, values are
// taken out of the cells that count towards it (its own cell, then those
// below it, first one from each) and spill. The walk keeps the place of
// the last value of each cell, so one value a cell is at hand; more need a
// second walk over the chunk. The return value is the number of values
// that spilled, or -1 when memory runs out. counts has room for three per
// tuple.
template <bool kUnit, class T>
int64_t add_chunk_counted(Summary& s, const T* c, int64_t stride, int64_t k, int64_t b,
                          double* spill, int32_t* counts) {
  Grid& grid = *s.grid;
  uint16_t* __restrict hist = grid.hist;
  uint16_t* __restrict take = grid.take;
  uint16_t* __restrict pos = grid.pos;
  int64_t m = 0;
  walk<kUnit>(
      s, c, stride, k,
      [&](uint32_t q, double, int64_t i) { ++hist[q], pos[q] = static_cast<uint16_t>(i); },
      [&](double v) { spill[m++] = v; });
  const int64_t last = s.size - 1;
  int32_t* __restrict dg = counts;
  int32_t* __restrict dd = counts + s.size;
  int32_t* __restrict tc = counts + 2 * s.size;  // the cell of each tuple
  std::fill(counts, counts + 2 * s.size, 0);
  for (int64_t t = 1; t <= last; ++t) tc[t] = grid.cell(s.v[t]);
  // The tuples t..e-1 share a cell with t; their counts go to `to`.
  auto group_end = [&](int64_t t) {
    int64_t e = t + 1;
    while (e <= last && tc[e] == tc[t]) ++e;
    return e;
  };
  int32_t q = 0;  // the first cell not yet given out
  for (int64_t t = 1; t <= last;) {
    const int32_t ct = tc[t];
    int32_t sum = 0;
    for (; q < ct; ++q) sum += hist[q];
    dg[t] += sum;
    const int64_t e = group_end(t), to = std::min(e, last);
    const int32_t h = hist[ct];
    q = ct + 1;
    dg[to] += h;
    for (; t < to; ++t) dd[t] += h;
    t = e;
  }
  // Takes up to x values out of cell p (the first at the place kept for
  // it), returns how many.
  int64_t rest = 0;  // values still to be found by a second walk
  auto grab = [&](int32_t p, int64_t x) {
    x = std::min<int64_t>(x, hist[p]);
    if (x == 0) return x;
    hist[p] = static_cast<uint16_t>(hist[p] - x);
    int64_t more = x;
    if (take[p] == 0) spill[m++] = double(c[pos[p] * stride]), --more;
    // the kept place's value counts once
    take[p] = static_cast<uint16_t>(take[p] + more + (take[p] == 0));
    rest += more;
    return x;
  };
  // The same for the cell of the group a..e-1.
  auto grab_group = [&](int64_t a, int64_t e, int64_t x) {
    x = grab(tc[a], x);
    const int64_t to = std::min(e, last);
    dg[to] -= static_cast<int32_t>(x);
    for (int64_t u = a; u < to; ++u) dd[u] -= static_cast<int32_t>(x);
    return x;
  };
  for (int64_t t = 1; t <= last; ++t) {
    int64_t over = s.g[t] + s.d[t] + dg[t] + dd[t] - b;
    if (over <= 0) continue;
    int64_t a = t;
    while (a > 1 && tc[a - 1] == tc[t]) --a;
    const int64_t e = group_end(t);
    for (int pass = 0; pass < 2 && over > 0; ++pass) {
      const int64_t most = pass ? over : 1;  // one from each cell, then all that is needed
      // t's own cell, where t is a possible successor (t before the
      // group's `to`, or t the last tuple)
      if (t < std::min(e, last) || t == last) over -= grab_group(a, e, std::min(over, most));
      if (t != a) continue;
      // the cells between the group below and t's cell, then the group below's cell
      for (int32_t p = a > 1 ? tc[a - 1] + 1 : 0; p < tc[a] && over > 0; ++p) {
        const int64_t x = grab(p, std::min(over, most));
        dg[a] -= static_cast<int32_t>(x), over -= x;
      }
      if (over > 0 && a > 1) {
        int64_t a0 = a - 1;
        while (a0 > 1 && tc[a0 - 1] == tc[a - 1]) --a0;
        over -= grab_group(a0, a, std::min(over, most));
      }
    }
  }
  if (rest) {
    walk<kUnit>(
        s, c, stride, k,
        [&](uint32_t q, double v, int64_t i) {
          if (take[q] <= 1 || rest == 0 || i == pos[q]) [[likely]] return;
          --take[q], --rest;
          spill[m++] = v;
        },
        [](double) {});
  }
  for (int32_t p = 0; p < grid.cells; ++p) hist[p] = 0, take[p] = 0;
  for (int64_t t = 1; t <= last; ++t) s.g[t] += dg[t], s.d[t] += dd[t];
  return merge_spill(s, spill, m, b) ? m : -1;
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
  int32_t* counts = nullptr;  // three per tuple of the largest summary
  int64_t counts_cap = 0;
  int status = 0;
  // One chunk of variable j, observations i0..i0+k, with the bound b.
  auto chunk = [&](int32_t j, int64_t i0, int64_t k, int64_t b) {
    Summary& s = job.st->sums[j];
    const T* c = x.var_major ? x.x + static_cast<int64_t>(j) * x.n + i0 : x.x + i0 * x.p + j;
    const int64_t stride = x.var_major ? 1 : x.p;
    // A summary of a few tuples, or of one value, or whose range is too
    // narrow or too wide to cut into cells (a difference beyond the largest
    // double), takes the chunk sorted; otherwise the data are read where
    // they stand.
    const double range = s.size ? s.v[s.size - 1] - s.v[0] : 0;
    if (s.size < 64 || !(range > 0 && range < INFINITY && Grid::kMaxCells / range < INFINITY)) {
      for (int64_t i = 0; i < k; ++i) buf[i] = double(c[i * stride]);
      std::sort(buf.p, buf.p + k);
      if (!reserve(s, s.size + k)) return ZEV_SS_ERROR_MEM_FAILURE;
      merge(s, buf.p, k, b);
      return 0;
    }
    if (s.grid == nullptr) {
      if ((s.grid = alloc<Grid>(1)) == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
      new (s.grid) Grid;
    }
    if (!s.grid_ok) {
      if (!s.grid->fit(s)) return ZEV_SS_ERROR_MEM_FAILURE;
      s.grid_ok = true;
    }
    if (3 * s.size > counts_cap) {
      release(counts);
      counts_cap = 6 * s.size;
      if ((counts = alloc<int32_t>(counts_cap)) == nullptr) {
        counts_cap = 0;
        return ZEV_SS_ERROR_MEM_FAILURE;
      }
    }
    const bool unit = stride == 1;
    bool ok;
    if (s.wait == 0) {
      const int64_t spilled = unit ? add_chunk_counted<true>(s, c, stride, k, b, spill, counts)
                                   : add_chunk_counted<false>(s, c, stride, k, b, spill, counts);
      ok = spilled >= 0;
      if (spilled > k / 8) s.backoff = std::min(2 * s.backoff + 1, 64), s.wait = s.backoff;
      else s.backoff = 0;
    } else {
      --s.wait;
      if (!s.index_ok) s.grid->index(s), s.index_ok = true;
      ok = unit ? add_chunk_exact<true>(s, c, stride, k, b, spill, counts)
                : add_chunk_exact<false>(s, c, stride, k, b, spill, counts);
    }
    return ok ? 0 : ZEV_SS_ERROR_MEM_FAILURE;
  };
  // The chunks of the block: a new series starts with a short sorted
  // chunk, so that the summary has gaps to count into as early as
  // possible. Each chunk's bound follows from the count after it.
  auto next = [&](int64_t n, int64_t i0) {
    return std::min(n < 1024 ? std::min<int64_t>(job.chunk, 1024) : job.chunk, x.n - i0);
  };
  auto bound = [&](int64_t n) { return static_cast<int64_t>(std::floor(2 * job.eps * double(n))); };
  if (x.var_major) {
    // A variable's values lie together: each takes its whole block in
    // turn, and its cells stay in the cache from one chunk to the next.
    for (int64_t a = g; a < job.count && status == 0; a += job.groups) {
      int64_t n = job.st->n;
      for (int64_t i0 = 0, k = 0; i0 < x.n && status == 0; i0 += k) {
        k = next(n, i0), n += k;
        status = chunk(job.vars[a], i0, k, bound(n));
      }
    }
  } else {
    // The variables of an observation lie together: each chunk goes to
    // all of them while its lines are in the cache.
    int64_t n = job.st->n;
    for (int64_t i0 = 0, k = 0; i0 < x.n && status == 0; i0 += k) {
      k = next(n, i0), n += k;
      for (int64_t a = g; a < job.count && status == 0; a += job.groups)
        status = chunk(job.vars[a], i0, k, bound(n));
    }
  }
  release(counts);
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
    std::fill(sums, sums + x.p, Summary{0, 0, nullptr, nullptr, nullptr, nullptr, false, false, 0, 0});
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
             std::min<int64_t>(x.n, std::clamp<int64_t>(int64_t(32 / eps), 4096, 65535)), eps,
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
