// Cell search. Numbering, common to every member: a site below x[0] has cell 0,
// x[i-1] <= s < x[i] gives cell i, s == x[nx-1] gives nx - 1 (the right end
// belongs to the last real cell), and a site above x[nx-1] has cell nx.
#include "fitting/df_search.h"

#include <emmintrin.h>

#include "zev/zev_threading.h"

namespace zev::df {
namespace {

// Walks from a guessed cell c to the true cell of s (x[0] <= s < x[nx-1]).
template <class T>
inline int32_t walk_down(const T* x, int64_t c, T s) {
  while (c > 0 && x[c - 1] > s) --c;
  return static_cast<int32_t>(c);
}
template <class T>
inline int32_t walk_up(const T* x, int64_t c, int64_t nx, T s) {
  while (c < nx && x[c] <= s) ++c;
  return static_cast<int32_t>(c);
}

// The peak walk from guess p, also the repair of the user searches.
template <class T>
inline int32_t peak_cell(const T* x, int64_t nx, int64_t p, T s) {
  if (s == x[nx - 1]) return static_cast<int32_t>(nx - 1);
  if (p < 0) p = 0;
  if (p < nx) {
    if (s < x[p]) {
      if (p != 0 && s < x[p - 1]) return walk_down(x, p, s);
      return static_cast<int32_t>(p);
    }
    return walk_up(x, p, nx, s);
  }
  if (s > x[nx - 1]) return static_cast<int32_t>(nx);
  return walk_down(x, nx - 1, s);
}

template <class T>
inline int32_t uniform_cell(T x0, T right, T scale, int64_t nx, T s) {
  if (s == right) return static_cast<int32_t>(nx - 1);
  if (s < x0) return 0;
  int64_t c = trunc_clamped((s - x0) * scale, nx) + 1;
  return static_cast<int32_t>(c < nx ? c : nx);
}

template <class T>
int uniform(const zev_df_task_rec* t, int64_t n, const T* s, int32_t* cells, const T*, int32_t*,
            typename Fn<T>::search, void*) {
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count;
  T x0 = x[0], right = x[1];
  T scale = T(nx - 1) / (x[1] - x[0]);
  for (int64_t i = 0; i < n; ++i) cells[i] = uniform_cell(x0, right, scale, nx, s[i]);
  return 0;
}

template <class T>
inline int32_t quasi_cell(const T* x, int64_t nx, int64_t g, T s) {
  if (s < x[0]) return 0;
  if (s == x[nx - 1]) return static_cast<int32_t>(nx - 1);
  if (g >= nx) return walk_down(x, nx, s);
  if (s < x[g]) return walk_down(x, g, s);
  return walk_up(x, g, nx, s);
}

template <class T>
int quasi_uniform(const zev_df_task_rec* t, int64_t n, const T* s, int32_t* cells, const T*,
                  int32_t*, typename Fn<T>::search, void*) {
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count;
  T x0 = x[0];
  T scale = T(nx - 1) / (x[nx - 1] - x0);
  int64_t full = n / 32 * 32, i = 0;
  int32_t guess[32];
  for (; i < full; i += 32) {
    for (int k = 0; k < 32; ++k) {
      int64_t g = trunc_clamped((s[i + k] - x0) * scale, nx) + 1;
      guess[k] = static_cast<int32_t>(g < nx ? g : nx);
    }
    for (int k = 0; k < 32; ++k) cells[i + k] = quasi_cell(x, nx, guess[k], s[i + k]);
  }
  for (; i < n; ++i) {
    int64_t g = trunc_clamped((s[i] - x0) * scale, nx) + 1;
    cells[i] = quasi_cell(x, nx, g < nx ? g : nx, s[i]);
  }
  return 0;
}

template <class T>
int sorted(const zev_df_task_rec* t, int64_t n, const T* s, int32_t* cells, const T*,
           int32_t* cursor_io, typename Fn<T>::search, void*) {
  if (n <= 0) return 0;
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count, h = nx / 2;
  int64_t cur = cursor_io ? *cursor_io : 0;
  if (cur < 0 || cur > nx) cur = 0;
  if (cur < nx - h) {  // bisect toward the first site
    int64_t hi = nx;
    while (cur < hi - h) {
      int64_t mid = (cur + hi) / 2;
      if (x[mid] <= s[0]) cur = mid;
      else hi = mid;
    }
  }
  T right = x[nx - 1];
  for (int64_t i = 0; i < n; ++i) {
    if (s[i] == right) {
      cells[i] = static_cast<int32_t>(nx - 1);
      continue;
    }
    while (cur < nx && x[cur] <= s[i]) ++cur;
    cells[i] = static_cast<int32_t>(cur);
  }
  if (cursor_io) *cursor_io = static_cast<int32_t>(cur);
  return 0;
}

template <class T>
int peak(const zev_df_task_rec* t, int64_t n, const T* s, int32_t* cells, const T* dh, int32_t*,
         typename Fn<T>::search, void*) {
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count;
  int64_t p = dh ? trunc_clamped(dh[4], nx) : 0;
  for (int64_t i = 0; i < n; ++i) cells[i] = peak_cell(x, nx, p, s[i]);
  return 0;
}

// Number of x[lo..hi-1] not above s: the scan of the hybrid search without a
// branch per knot. Knots ascend, so this is how far the scan would walk.
inline int64_t count_le(const double* x, int64_t lo, int64_t hi, double s) {
  __m128d vs = _mm_set1_pd(s);
  __m128i acc = _mm_setzero_si128();
  int64_t j = lo;
  for (; j + 2 <= hi; j += 2)
    acc = _mm_sub_epi64(acc, _mm_castpd_si128(_mm_cmple_pd(_mm_loadu_pd(x + j), vs)));
  int64_t c = _mm_cvtsi128_si64(acc) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(acc, acc));
  if (j < hi) c += x[j] <= s;
  return c;
}
inline int64_t count_le(const float* x, int64_t lo, int64_t hi, float s) {
  __m128 vs = _mm_set1_ps(s);
  __m128i acc = _mm_setzero_si128();
  int64_t j = lo;
  for (; j + 4 <= hi; j += 4)
    acc = _mm_sub_epi32(acc, _mm_castps_si128(_mm_cmple_ps(_mm_loadu_ps(x + j), vs)));
  acc = _mm_add_epi32(acc, _mm_shuffle_epi32(acc, 0x4E));
  acc = _mm_add_epi32(acc, _mm_shuffle_epi32(acc, 0xB1));
  int64_t c = _mm_cvtsi128_si32(acc);
  for (; j < hi; ++j) c += x[j] <= s;
  return c;
}

template <class T>
int hybrid(const zev_df_task_rec* t, int64_t n, const T* s, int32_t* cells, const T*, int32_t*,
           typename Fn<T>::search, void*) {
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count;
  T x0 = x[0], right = x[nx - 1];
  const int32_t* table = t->lookup_table;
  int64_t m = t->lookup_size;
  T scale = Real<T>::scale(t);
  for (int64_t i = 0; i < n; ++i) {
    T si = s[i];
    if (si < x0) {
      cells[i] = 0;
      continue;
    }
    if (si >= right) {
      cells[i] = static_cast<int32_t>(si == right ? nx - 1 : nx);
      continue;
    }
    int64_t lo = 0, hi = nx - 1;
    if (table != nullptr) {
      int64_t b = trunc_clamped((si - x0) * scale, m);
      lo = table[2 * b];
      hi = table[2 * b + 1];
      // The table may predate an edit of the knot count; stay inside the knots.
      if (hi > nx - 1) hi = nx - 1;
      if (lo > hi) lo = 0;
    }
    if (hi - lo > 20) {
      int64_t stop = hi - 20;
      while (lo < stop) {
        int64_t mid = (lo + hi) >> 1;
        if (x[mid] <= si) {
          lo = mid;
        } else {
          hi = mid;
          stop = mid - 20;
        }
      }
    }
    cells[i] = static_cast<int32_t>(lo + count_le(x, lo, hi, si));
  }
  return 0;
}

constexpr int64_t kUserBlock = 4096;

template <class T, bool kUniform>
int user(const zev_df_task_rec* t, int64_t n, const T* s, int32_t* cells, const T*, int32_t*,
         typename Fn<T>::search fn, void* params) {
  const T* x = static_cast<const T*>(t->knots);
  int64_t nx = t->knot_count;
  T x0 = x[0];
  T right = kUniform ? x[1] : x[nx - 1];
  T scale = T(nx - 1) / (right - x0);
  int64_t cell64[kUserBlock];
  int flags[kUserBlock];
  for (int64_t done = 0; done < n; done += kUserBlock) {
    int64_t count = n - done < kUserBlock ? n - done : kUserBlock;
    for (int64_t i = 0; i < count; ++i) flags[i] = 0;
    int64_t asked = count;
    int st = fn(&asked, s + done, cell64, flags, params);
    if (st < 0) return st;
    for (int64_t i = 0; i < count; ++i) {
      int64_t c = cell64[i];
      if (st != 1000 && flags[i] == 0) {
        T si = s[done + i];
        if (kUniform) c = uniform_cell(x0, right, scale, nx, si);
        else c = peak_cell(x, nx, c < 0 ? 0 : (c > nx ? nx : c), si);
      }
      cells[done + i] = static_cast<int32_t>(c);
    }
  }
  return 0;
}

}  // namespace

template <class T>
SearchBody<T> search_member(int method) {
  static const SearchBody<T> kMembers[kSearchMethods] = {
      uniform<T>, quasi_uniform<T>, sorted<T>, peak<T>, hybrid<T>, user<T, false>, user<T, true>};
  return method >= 0 && method < kSearchMethods ? kMembers[method] : nullptr;
}
template SearchBody<double> search_member<double>(int);
template SearchBody<float> search_member<float>(int);

namespace {

template <class T>
struct SearchJob {
  const zev_df_task_rec* t;
  SearchBody<T> body;
  const T* sites;
  int32_t* cells;
  const T* datahint;
  typename Fn<T>::search fn;
  void* params;
  int64_t chunk;
  volatile int status;
};

template <class T>
void search_piece(int64_t index, int, int, void* context) {
  auto* job = static_cast<SearchJob<T>*>(context);
  int64_t first = index * job->chunk;
  int32_t cursor = 0;
  int st = job->body(job->t, job->chunk, job->sites + first, job->cells + first, job->datahint,
                     &cursor, job->fn, job->params);
  if (st < 0) __atomic_store_n(&job->status, st, __ATOMIC_RELAXED);
}

template <class T>
int search(const zev_df_task_rec* t, int64_t n, const T* sites, int64_t sitehint,
           const T* datahint, int32_t* cells, typename Fn<T>::search fn, void* params,
           const zev_threading* th) {
  if (t == nullptr) return ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR;
  if (t->knots == nullptr) return ZEV_DF_ERROR_NULL_X;
  int method = choose_method<T>(t, fn != nullptr, sitehint, datahint);
  if (method < 0) return method;
  if (n <= 0) return 0;
  if (sites == nullptr || cells == nullptr) return ZEV_DF_ERROR_NULL_RESULT;
  SearchBody<T> body = search_member<T>(method);

  constexpr int64_t kStackSites = 4096;
  T stack_sites[sizeof(T) == 8 ? kStackSites : 2 * kStackSites];
  T* made = nullptr;
  if (sitehint == ZEV_DF_UNIFORM_SITES) {
    T* buf = stack_sites;
    if (n > kStackSites) {
      made = alloc<T>(n);
      if (made == nullptr) return ZEV_DF_ERROR_MEM_FAILURE;
      buf = made;
    }
    make_sites(sites, n, buf);
    sites = buf;
  }

  int threads = th && th->max_threads ? th->max_threads() : 1;
  int64_t limit = method == kSortedSearch ? 3000 : 1000;
  int status = 0;
  if (n <= limit || threads < 2 || th->parallel_for == nullptr) {
    int32_t cursor = 0;
    status = body(t, n, sites, cells, datahint, &cursor, fn, params);
  } else {
    SearchJob<T> job = {t, body, sites, cells, datahint, fn, params, n / threads, 0};
    th->parallel_for(threads, threads, &job, search_piece<T>);
    status = job.status;
    int64_t rest = n - threads * job.chunk;
    if (status >= 0 && rest > 0) {
      int32_t cursor = 0;
      int64_t first = threads * job.chunk;
      status = body(t, rest, sites + first, cells + first, datahint, &cursor, fn, params);
    }
  }
  release(made);
  return status < 0 ? status : 0;
}

}  // namespace
}  // namespace zev::df

using namespace zev::df;

extern "C" {

ZEV_API int zev_df_kernel_dDFSearch1D(zev_df_task t, int64_t, int64_t n, const double* sites,
                                      int64_t sitehint, const double* datahint, int32_t* cells,
                                      zev_df_dsearch_fn fn, void* params,
                                      const zev_threading* th) {
  return search<double>(t, n, sites, sitehint, datahint, cells, fn, params, th);
}
ZEV_API int zev_df_kernel_sDFSearch1D(zev_df_task t, int64_t, int64_t n, const float* sites,
                                      int64_t sitehint, const float* datahint, int32_t* cells,
                                      zev_df_ssearch_fn fn, void* params,
                                      const zev_threading* th) {
  return search<float>(t, n, sites, sitehint, datahint, cells, fn, params, th);
}

#define ZEV_DF_MEMBER(name, index)                                                              \
  ZEV_API int zev_df_kernel_d##name(zev_df_task t, int64_t n, const double* s, int32_t* c,     \
                                    const double* dh, int32_t* cur, zev_df_dsearch_fn fn,      \
                                    void* p) {                                                 \
    return search_member<double>(index)(t, n, s, c, dh, cur, fn, p);                           \
  }                                                                                            \
  ZEV_API int zev_df_kernel_d##name##32(zev_df_task t, int32_t n, const double* s, int32_t* c, \
                                        const double* dh, int32_t* cur, zev_df_dsearch_fn fn,  \
                                        void* p) {                                             \
    return search_member<double>(index)(t, n, s, c, dh, cur, fn, p);                           \
  }                                                                                            \
  ZEV_API int zev_df_kernel_s##name(zev_df_task t, int64_t n, const float* s, int32_t* c,      \
                                    const float* dh, int32_t* cur, zev_df_ssearch_fn fn,       \
                                    void* p) {                                                 \
    return search_member<float>(index)(t, n, s, c, dh, cur, fn, p);                            \
  }                                                                                            \
  ZEV_API int zev_df_kernel_s##name##32(zev_df_task t, int32_t n, const float* s, int32_t* c,  \
                                        const float* dh, int32_t* cur, zev_df_ssearch_fn fn,   \
                                        void* p) {                                             \
    return search_member<float>(index)(t, n, s, c, dh, cur, fn, p);                            \
  }
ZEV_DF_MEMBER(DFUniformSearch1D, kUniformSearch)
ZEV_DF_MEMBER(DFQuasiUniformSearch1D, kQuasiUniformSearch)
ZEV_DF_MEMBER(DFSortedSearch1D, kSortedSearch)
ZEV_DF_MEMBER(DFPeakSearch1D, kPeakSearch)
ZEV_DF_MEMBER(DFHybridSearch1D, kHybridSearch)
ZEV_DF_MEMBER(DFUserDefSearch1D, kUserSearch)
ZEV_DF_MEMBER(DFUniUserDefSearch1D, kUserUniformSearch)
#undef ZEV_DF_MEMBER

}  // extern "C"
