// Smallest and largest value of each variable: _vqsdSSMinmax, _vqssSSMinmax.
//
// Observations of weight 0 do not take part. A NaN observation makes both
// results NaN (nothing is lost silently). With ZEV_SS_METHOD_MINMAX_UPDATE the
// block's values are folded into what minimum and maximum already hold, so a
// series of blocks gives the result of one call over all of them.
#include <algorithm>
#include <limits>

#include "stats/ss_task.h"

namespace zev::ss {
namespace {

template <class T>
struct Range {
  T lo, hi;
  void add(T x) {
    if (x < lo || x != x) lo = x;  // a NaN, once taken, stays: NaN < x is false
    if (x > hi || x != x) hi = x;
  }
};

template <class T>
struct MinmaxJob {
  Observations<T> x;
  const T* w;
  const int32_t* vars;
  T* lo;  // null when not asked for
  T* hi;
  bool update;
};

template <class T>
Range<T> start(const MinmaxJob<T>& c, int32_t j) {
  constexpr T inf = std::numeric_limits<T>::infinity();
  Range<T> r{inf, -inf};
  if (c.update) {
    if (c.lo) r.lo = c.lo[j];
    if (c.hi) r.hi = c.hi[j];
  }
  return r;
}

template <class T>
void finish(const MinmaxJob<T>& c, int32_t j, const Range<T>& r) {
  if (c.lo) c.lo[j] = r.lo;
  if (c.hi) c.hi[j] = r.hi;
}

// One variable, its observations contiguous.
template <class T>
void variable_body(int64_t index, int, int, void* context) {
  auto& c = *static_cast<MinmaxJob<T>*>(context);
  const int32_t j = c.vars[index];
  const T* x = c.x.x + static_cast<int64_t>(j) * c.x.n;
  Range<T> r = start(c, j);
  for (int64_t i = 0; i < c.x.n; ++i)
    if (c.w == nullptr || c.w[i] != T(0)) r.add(x[i]);
  finish(c, j, r);
}

template <class T>
int minmax(Rec* t, uint64_t mask, uint64_t method, const zev_threading* th) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want_lo = mask & ZEV_SS_MIN, want_hi = mask & ZEV_SS_MAX;
  if (want_lo && t->minimum == nullptr) return ZEV_SS_ERROR_BAD_MIN_ADDR;
  if (want_hi && t->maximum == nullptr) return ZEV_SS_ERROR_BAD_MAX_ADDR;
  if (method != ZEV_SS_METHOD_MINMAX && method != ZEV_SS_METHOD_MINMAX_UPDATE)
    return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  if (!want_lo && !want_hi) return 0;

  const Observations<T> x = observations_of<T>(t, in);
  int32_t count = 0;
  int32_t* vars = variable_list(t, in, x.p, &count);
  if (vars == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
  MinmaxJob<T> job{x,
                   static_cast<const T*>(t->weights),
                   vars,
                   want_lo ? static_cast<T*>(t->minimum) : nullptr,
                   want_hi ? static_cast<T*>(t->maximum) : nullptr,
                   method == ZEV_SS_METHOD_MINMAX_UPDATE};
  if (x.var_major) {
    int threads = 1;
    if (th && th->max_threads && th->parallel_for)
      threads = static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(th->max_threads(), count)));
    for_variables(th, count, threads, &job, variable_body<T>);
  } else {
    // One observation's variables together: one pass over the rows, all
    // variables' ranges kept side by side.
    auto* r = alloc<Range<T>>(count);
    if (r == nullptr) {
      release(vars);
      return ZEV_SS_ERROR_MEM_FAILURE;
    }
    for (int32_t k = 0; k < count; ++k) r[k] = start(job, vars[k]);
    for (int64_t i = 0; i < x.n; ++i) {
      if (job.w && job.w[i] == T(0)) continue;
      const T* row = x.x + i * x.p;
      for (int32_t k = 0; k < count; ++k) r[k].add(row[vars[k]]);
    }
    for (int32_t k = 0; k < count; ++k) finish(job, vars[k], r[k]);
    release(r);
  }
  release(vars);
  return 0;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(Minmax, minmax)
