// Cell search members, shared by the search entry and interpolation.
#pragma once

#include "fitting/df_task.h"

namespace zev::df {

template <class T> struct Fn;
template <> struct Fn<double> {
  using search = zev_df_dsearch_fn;
  using interp = zev_df_dinterp_fn;
  using integ = zev_df_dinteg_fn;
};
template <> struct Fn<float> {
  using search = zev_df_ssearch_fn;
  using interp = zev_df_sinterp_fn;
  using integ = zev_df_sinteg_fn;
};

// One search member: cells of sites[0..n-1] into cells.
template <class T>
using SearchBody = int (*)(const zev_df_task_rec* t, int64_t n, const T* sites, int32_t* cells,
                          const T* datahint, int32_t* cursor, typename Fn<T>::search fn,
                          void* params);

// The seven members in method order (0 uniform .. 6 uniform with user function).
template <class T>
SearchBody<T> search_member(int method);

// Fills sites[0..n-1] evenly from the two ends e[0], e[1].
template <class T>
void make_sites(const T* e, int64_t n, T* sites) {
  if (n == 1) {
    sites[0] = e[0];
    return;
  }
  T step = (e[1] - e[0]) / T(n - 1);
  for (int64_t i = 0; i < n; ++i) sites[i] = e[0] + T(i) * step;
}

}  // namespace zev::df
