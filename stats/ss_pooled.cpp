// Pooled and group means and covariances: _vqsdSSPooledCovariance and its
// single form.
//
// Observation i belongs to group group_indices[i] (0 or more); there are G =
// largest index + 1 groups. Each group's mean and centred cross products are
// updated one observation at a time (the weighted one-pass update, in double
// for both precisions), so no large sum of products is formed. With weights w,
// W_g = sum w and W2_g = sum w^2 over the group:
//   group covariance   C_g / (W_g - W2_g/W_g)
//   pooled covariance  sum_g C_g / sum_g (W_g - W2_g/W_g)   (unweighted: / (n - G))
//   pooled mean        sum_g W_g m_g / sum_g W_g            (the mean of all observations)
// A group with fewer than two observations has a NaN covariance; a group with
// none has NaN means too. Observations of weight 0 take no part.
#include <algorithm>
#include <limits>

#include "stats/ss_matrix.h"

namespace zev::ss {
namespace {

struct Group {
  double W, W2;
  double* mean;  // count entries
  double* C;     // count by count, upper triangle used
};

template <class T>
int pooled(Rec* t, uint64_t mask, uint64_t method, const zev_threading*) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const IntRead in = ints(t);
  const bool want_pm = mask & ZEV_SS_POOLED_MEAN, want_pc = mask & ZEV_SS_POOLED_COV;
  const bool want_gm = mask & ZEV_SS_GROUP_MEANS, want_gc = mask & ZEV_SS_GROUP_COVS;
  if (want_pm && t->pooled_mean == nullptr) return ZEV_SS_ERROR_BAD_POOLED_MEAN_ADDR;
  if (want_pc && t->pooled_covariance == nullptr) return ZEV_SS_ERROR_BAD_POOLED_COV_ADDR;
  if (want_pc && t->pooled_covariance_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (want_gm && t->group_means == nullptr) return ZEV_SS_ERROR_BAD_GROUP_MEAN_ADDR;
  if (want_gc && t->group_covariances == nullptr) return ZEV_SS_ERROR_BAD_GROUP_COV_ADDR;
  if (want_gc && t->group_covariance_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (t->group_indices == nullptr) return ZEV_SS_ERROR_BAD_GROUP_ADDR;
  if ((want_gm || want_gc) && t->group_flags == nullptr) return ZEV_SS_ERROR_BAD_GROUP_ADDR;
  if (method != ZEV_SS_METHOD_POOLED) return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;
  if (int s = data_checks(t, in)) return s;
  if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
  if (!has_layout(in, t->observation_storage)) return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;

  const Observations<T> x = observations_of<T>(t, in);
  int64_t G = 0;
  for (int64_t i = 0; i < x.n; ++i) {
    const int64_t g = in.value_at(t->group_indices, i);
    if (g < 0 || g >= (int64_t{1} << 31)) return ZEV_SS_ERROR_BAD_GROUP_INDC_ADDR;
    G = std::max(G, g + 1);
  }
  if (want_gm || want_gc)
    for (int64_t g = 0; g < G; ++g) {
      const int64_t f = in.value_at(t->group_flags, g);
      if (f != 0 && f != 1) return ZEV_SS_ERROR_BAD_GROUP_INDC_ADDR;
    }
  if (!(want_pm || want_pc || want_gm || want_gc)) return 0;

  int32_t count = 0;
  int32_t* vars = variable_list(t, in, x.p, &count);
  const int64_t per = count + static_cast<int64_t>(count) * count;
  Buffer<Group> groups(G);
  Buffer<double> store(G * per), scratch(2 * count);
  Buffer<uint8_t> active(t->variable_mask ? x.p : 0);
  if (vars == nullptr || groups.failed() || store.failed() || scratch.failed() || active.failed()) {
    release(vars);
    return ZEV_SS_ERROR_MEM_FAILURE;
  }
  std::fill(store.p, store.p + G * per, 0.0);
  for (int64_t g = 0; g < G; ++g) groups[g] = {0, 0, store.p + g * per, store.p + g * per + count};
  if (active.p) {
    std::fill(active.p, active.p + x.p, uint8_t{0});
    for (int32_t k = 0; k < count; ++k) active[vars[k]] = 1;
  }

  const T* w = static_cast<const T*>(t->weights);
  double* d = scratch.p;          // x - old mean
  double* e = scratch.p + count;  // x - new mean
  for (int64_t i = 0; i < x.n; ++i) {
    const double wi = w ? double(w[i]) : 1.0;
    if (wi == 0.0) continue;
    Group& g = groups[in.value_at(t->group_indices, i)];
    g.W += wi;
    g.W2 += wi * wi;
    const double r = wi / g.W;
    for (int32_t k = 0; k < count; ++k) {
      const double v = double(x(i, vars[k]));
      d[k] = v - g.mean[k];
      g.mean[k] += r * d[k];
      e[k] = v - g.mean[k];
    }
    for (int32_t a = 0; a < count; ++a) {
      double* row = g.C + static_cast<int64_t>(a) * count;
      const double wd = wi * d[a];
      for (int32_t b = a; b < count; ++b) row[b] += wd * e[b];
    }
  }

  // Results, written in the places of the variables the mask lets through.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  auto write_vector = [&](T* out, auto value) {
    for (int32_t k = 0; k < count; ++k) out[vars[k]] = T(value(k));
  };
  auto slot = [&](int32_t j) {  // the place of variable j in the compressed list
    return static_cast<int32_t>(std::lower_bound(vars, vars + count, j) - vars);
  };
  auto write_cov = [&](T* out, Form f, auto value) {
    write_matrix(out, f, x.p, active.p,
                 [&](int32_t i, int32_t k) { return T(value(slot(i), slot(k))); });
  };
  if (want_pm || want_pc) {
    double W = 0, dof = 0;
    for (int64_t g = 0; g < G; ++g) {
      W += groups[g].W;
      if (groups[g].W > 0) dof += groups[g].W - groups[g].W2 / groups[g].W;
    }
    if (want_pm)
      write_vector(static_cast<T*>(t->pooled_mean), [&](int32_t k) {
        double s = 0;
        for (int64_t g = 0; g < G; ++g) s += groups[g].W * groups[g].mean[k];
        return W > 0 ? s / W : nan;
      });
    if (want_pc)
      write_cov(static_cast<T*>(t->pooled_covariance), form_of(in, t->pooled_covariance_storage),
                [&](int32_t a, int32_t b) {
                  double s = 0;
                  for (int64_t g = 0; g < G; ++g) s += groups[g].C[static_cast<int64_t>(a) * count + b];
                  return dof > 0 ? s / dof : nan;
                });
  }
  if (want_gm || want_gc) {
    const Form gf = want_gc ? form_of(in, t->group_covariance_storage) : kFull;
    const int64_t msize =
        gf == kFull ? static_cast<int64_t>(x.p) * x.p : static_cast<int64_t>(x.p) * (x.p + 1) / 2;
    int64_t selected = 0;
    for (int64_t g = 0; g < G; ++g) {
      if (in.value_at(t->group_flags, g) != 1) continue;
      const Group& gr = groups[g];
      if (want_gm)
        write_vector(static_cast<T*>(t->group_means) + selected * x.p,
                     [&](int32_t k) { return gr.W > 0 ? gr.mean[k] : nan; });
      if (want_gc) {
        const double dof = gr.W > 0 ? gr.W - gr.W2 / gr.W : 0;
        write_cov(static_cast<T*>(t->group_covariances) + selected * msize, gf,
                  [&](int32_t a, int32_t b) {
                    return dof > 0 ? gr.C[static_cast<int64_t>(a) * count + b] / dof : nan;
                  });
      }
      ++selected;
    }
  }
  release(vars);
  return 0;
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(PooledCovariance, pooled)
