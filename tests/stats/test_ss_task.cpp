// Statistics tasks: creation, deletion, the parameter table through the three
// generic editors, the named editors, and the entries not built yet.
#include <cstddef>
#include <cstring>
#include <functional>
#include <vector>

#include "ss_util.h"
#include "stats/ss_task.h"

using sstest::Task;

namespace {

using Rec = zev_ss_task_rec;

TEST(SsTask, Creation) {
  const int32_t p3 = 3, zero = 0, neg = -2, rows = 0x10000, cols = 0x20000, bad = 0x30000, n5 = 5;
  const int64_t p64 = 3, n64 = 5, rows64 = 0x10000, neg64 = int64_t{-1} << 32;  // low word 0
  double x[15] = {};
  struct Case {
    const void *dim, *n, *storage;
    const double* x;
    int wide, status;
  } cases[] = {
      {nullptr, &n5, &rows, x, 0, -4001},
      {&zero, &n5, &rows, x, 0, -4001},
      {&neg, &n5, &rows, x, 0, -4001},
      {&p3, &n5, nullptr, x, 0, -4044},
      {&p3, &n5, &bad, x, 0, -4003},
      {&p3, nullptr, &rows, x, 0, -4002},
      {&p3, &zero, &cols, x, 0, -4002},
      {&p3, &neg, &rows, nullptr, 0, 0},  // no data: no further checks
      {&p3, nullptr, nullptr, nullptr, 0, 0},
      {&p3, &n5, &rows, x, 0, 0},
      {&p3, &n5, &cols, x, 0, 0},
      {&p64, &n64, &rows64, x, 1, 0},
      {&neg64, &n64, &rows64, x, 1, -4001},  // the sign is the high word's
      {&p64, &neg64, &rows64, x, 1, -4002},
  };
  for (const Case& c : cases) {
    Task t;
    EXPECT_EQ(__vqsdSSNewTask(&t.t, c.dim, c.n, c.storage, c.x, nullptr, nullptr, c.wide), c.status);
    EXPECT_EQ(t.t != nullptr, c.status == 0);
    if (t.t) {
      EXPECT_EQ(t.t->object_tag, 2);
      EXPECT_EQ(t.t->is_double, 1);
      EXPECT_EQ(t.t->wide_integers, c.wide);
      EXPECT_EQ(t.t->observations, c.x);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(t.t) % 128, 0u);
    }
    Task s;
    float xf[15] = {};
    EXPECT_EQ(__vqssSSNewTask(&s.t, c.dim, c.n, c.storage, c.x ? xf : nullptr, nullptr, nullptr,
                              c.wide),
              c.status);
    if (s.t) { EXPECT_EQ(s.t->is_double, 0); }
  }
}

TEST(SsTask, Deletion) {
  const int32_t p = 2;
  zev_ss_task t = nullptr;
  ASSERT_EQ(__vqsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  EXPECT_EQ(__vqsSSDeleteTask(nullptr), ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR);
  EXPECT_EQ(__vqsSSDeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
  // A task that ran a user-mean computation owns its last means.
  int32_t n = 2, layout = 0x10000;
  double x[4] = {1, 2, 3, 4}, mean[2] = {1.5, 3.5}, c2[2];
  ASSERT_EQ(__vqsdSSNewTask(&t, &p, &n, &layout, x, nullptr, nullptr, 0), 0);
  ASSERT_EQ(__vqsdSSEditSums(t, nullptr, nullptr, nullptr, nullptr, c2, nullptr, nullptr), 0);
  ASSERT_EQ(__vqsdSSEditTask(t, ZEV_SS_ED_MEAN, mean), 0);
  ASSERT_EQ(_vqsdSSBasic(t, ZEV_SS_2C_SUM, ZEV_SS_METHOD_FAST_USER_MEAN, nullptr), 0);
  EXPECT_EQ(c2[0], 0.5);
  EXPECT_NE(t->last_means, nullptr);
  EXPECT_EQ(__vqsSSDeleteTask(&t), 0);  // the sanitizer build sees a leak otherwise
}

// The parameter table: identifier, field, editor kind ('i' or 'r'), status on
// a null value.
struct Param {
  int64_t id;
  size_t offset;
  char kind;
  int null_status;
};
#define F(field) offsetof(Rec, field)
const Param kTable[] = {
    {1, F(dimension), 'i', -4001},          {2, F(observation_count), 'i', -4002},
    {3, F(observations), 'r', -4032},       {4, F(observation_storage), 'i', -4044},
    {5, F(variable_mask), 'i', -4004},      {6, F(weights), 'r', -4005},
    {7, F(mean), 'r', -4006},               {8, F(raw_moment_2), 'r', -4007},
    {9, F(raw_moment_3), 'r', -4008},       {10, F(raw_moment_4), 'r', -4009},
    {11, F(central_moment_2), 'r', -4010},  {12, F(central_moment_3), 'r', -4011},
    {13, F(central_moment_4), 'r', -4012},  {14, F(kurtosis), 'r', -4013},
    {15, F(skewness), 'r', -4014},          {16, F(minimum), 'r', -4015},
    {17, F(maximum), 'r', -4016},           {18, F(variation), 'r', -4017},
    {19, F(covariance), 'r', -4018},        {20, F(covariance_storage), 'i', -4044},
    {21, F(correlation), 'r', -4019},       {22, F(correlation_storage), 'i', -4044},
    {23, F(accumulated_weights), 'r', -4020}, {24, F(quantile_order_count), 'i', -4022},
    {25, F(quantile_orders), 'r', -4021},   {26, F(quantiles), 'r', -4023},
    {27, F(order_statistics), 'r', -4024},  {28, F(group_indices), 'i', -4038},
    {29, F(pooled_covariance_storage), 'i', -4044}, {30, F(pooled_mean), 'r', -4035},
    {31, F(pooled_covariance), 'r', -4034}, {32, F(group_flags), 'i', -4038},
    {33, F(group_means), 'r', -4037},       {34, F(group_covariance_storage), 'i', -4044},
    {35, F(group_covariances), 'r', -4036}, {36, F(robust_covariance_storage), 'i', -4044},
    {37, F(robust_parameter_count), 'i', -4043}, {38, F(robust_parameters), 'r', -4042},
    {39, F(robust_mean), 'r', -4028},       {40, F(robust_covariance), 'r', -4027},
    {41, F(outlier_parameter_count), 'i', -4040}, {42, F(outlier_parameters), 'r', -4039},
    {43, F(outlier_weights), 'r', -4041},   {44, F(order_statistics_storage), 'i', -4044},
    {45, F(partial_classification), 'i', -4045}, {46, F(partial_covariance), 'r', -4046},
    {47, F(partial_covariance_storage), 'i', -4044}, {48, F(partial_correlation), 'r', -4047},
    {49, F(partial_correlation_storage), 'i', -4044}, {50, F(missing_parameter_count), 'i', -4049},
    {51, F(missing_parameters), 'r', -4048}, {52, F(initial_estimate_count), 'i', -4052},
    {53, F(initial_estimates), 'r', -4053}, {54, F(simulated_values_count), 'i', -4055},
    {55, F(simulated_values), 'r', -4054},  {56, F(estimate_count), 'i', -4056},
    {57, F(estimates), 'r', -4057},         {58, F(prior_count), 'i', -4061},
    {59, F(prior), 'r', -4062},             {60, F(parametrized_correlation), 'r', -4071},
    {61, F(parametrized_storage), 'i', -4044}, {62, F(stream_parameter_count), 'i', -4066},
    {63, F(stream_parameters), 'r', -4065}, {64, F(stream_quantile_order_count), 'i', -4069},
    {65, F(stream_quantile_orders), 'r', -4068}, {66, F(stream_quantiles), 'r', -4070},
    {67, F(sum), 'r', -4006},               {68, F(raw_sum_2), 'r', -4075},
    {69, F(raw_sum_3), 'r', -4076},         {70, F(raw_sum_4), 'r', -4077},
    {71, F(central_sum_2), 'r', -4078},     {72, F(central_sum_3), 'r', -4079},
    {73, F(central_sum_4), 'r', -4080},     {74, F(cross_product), 'r', -4081},
    {75, F(cross_product_storage), 'i', -4044}, {76, F(median_absolute_deviation), 'r', -4082},
    {77, F(mean_absolute_deviation), 'r', -4083}, {78, F(sorted_observations), 'r', -4084},
    {79, F(sorted_storage), 'i', -4044},
};

const void* field_at(const Rec* t, size_t offset) {
  const void* v;
  memcpy(&v, reinterpret_cast<const unsigned char*>(t) + offset, sizeof v);
  return v;
}

TEST(SsTask, GenericEditors) {
  const int32_t p = 2;
  Task t;
  ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  double value[4];
  using Editor = int (*)(zev_ss_task, int64_t, const void*);
  const Editor editors[3] = {
      __vqsiSSEditTask,
      [](zev_ss_task a, int64_t id, const void* v) {
        return __vqsdSSEditTask(a, id, static_cast<const double*>(v));
      },
      [](zev_ss_task a, int64_t id, const void* v) {
        return __vqssSSEditTask(a, id, static_cast<const float*>(v));
      }};
  std::vector<unsigned char> before(sizeof(Rec));
  for (int e = 0; e < 3; ++e) {
    const char kind = e == 0 ? 'i' : 'r';
    for (const Param& c : kTable) {
      const bool listed = c.kind == kind;
      memcpy(before.data(), t.t, sizeof(Rec));
      EXPECT_EQ(editors[e](t.t, c.id, nullptr), listed ? c.null_status : -3) << e << " " << c.id;
      EXPECT_EQ(memcmp(before.data(), t.t, sizeof(Rec)), 0) << "a failed edit changed the task";
      EXPECT_EQ(editors[e](t.t, c.id, value + e), listed ? 0 : -3);
      if (listed) {
        EXPECT_EQ(field_at(t.t, c.offset), value + e) << c.id;
        // Only that field changed.
        std::vector<unsigned char> after(sizeof(Rec));
        memcpy(after.data(), t.t, sizeof(Rec));
        memcpy(after.data() + c.offset, before.data() + c.offset, sizeof(void*));
        EXPECT_EQ(memcmp(before.data(), after.data(), sizeof(Rec)), 0) << c.id;
      } else {
        EXPECT_EQ(memcmp(before.data(), t.t, sizeof(Rec)), 0);
      }
    }
    // Outside the table, including a high word that is not zero.
    for (int64_t id : {int64_t{0}, int64_t{80}, int64_t{-1}, int64_t{0x100000001},
                       int64_t{0x100000007}, INT64_MIN})
      EXPECT_EQ(editors[e](t.t, id, value), -3) << id;
    EXPECT_EQ(editors[e](nullptr, 7, value), ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR);
  }
  EXPECT_EQ(t.t->stream_state, nullptr);  // no identifier reaches it
}

// Each named editor stores its non-null arguments in its fields, in argument
// order; null arguments leave fields as they were.
TEST(SsTask, NamedEditors) {
  double a[10][1];
  auto P = [&](int k) { return a[k]; };
  struct Named {
    const char* name;
    std::function<int(zev_ss_task, bool)> call;  // bool: all arguments null
    std::vector<size_t> fields;
  };
  auto d = [&](bool none, int k) { return none ? nullptr : P(k); };
  auto f = [&](bool none, int k) { return none ? nullptr : reinterpret_cast<float*>(P(k)); };
  const std::vector<Named> named = {
      {"Moments",
       [&](zev_ss_task t, bool z) {
         return __vqsdSSEditMoments(t, d(z, 0), d(z, 1), d(z, 2), d(z, 3), d(z, 4), d(z, 5), d(z, 6));
       },
       {F(mean), F(raw_moment_2), F(raw_moment_3), F(raw_moment_4), F(central_moment_2),
        F(central_moment_3), F(central_moment_4)}},
      {"sMoments",
       [&](zev_ss_task t, bool z) {
         return __vqssSSEditMoments(t, f(z, 0), f(z, 1), f(z, 2), f(z, 3), f(z, 4), f(z, 5), f(z, 6));
       },
       {F(mean), F(raw_moment_2), F(raw_moment_3), F(raw_moment_4), F(central_moment_2),
        F(central_moment_3), F(central_moment_4)}},
      {"Sums",
       [&](zev_ss_task t, bool z) {
         return __vqssSSEditSums(t, f(z, 0), f(z, 1), f(z, 2), f(z, 3), f(z, 4), f(z, 5), f(z, 6));
       },
       {F(sum), F(raw_sum_2), F(raw_sum_3), F(raw_sum_4), F(central_sum_2), F(central_sum_3),
        F(central_sum_4)}},
      {"CovCor",
       [&](zev_ss_task t, bool z) {
         return __vqsdSSEditCovCor(t, d(z, 0), d(z, 1), d(z, 2), d(z, 3), d(z, 4));
       },
       {F(mean), F(covariance), F(covariance_storage), F(correlation), F(correlation_storage)}},
      {"CP",
       [&](zev_ss_task t, bool z) { return __vqssSSEditCP(t, f(z, 0), f(z, 1), f(z, 2), d(z, 3)); },
       {F(mean), F(sum), F(cross_product), F(cross_product_storage)}},
      {"PartialCovCor",
       [&](zev_ss_task t, bool z) {
         return __vqsdSSEditPartialCovCor(t, d(z, 0), d(z, 1), d(z, 2), d(z, 3), d(z, 4), d(z, 5),
                                          d(z, 6), d(z, 7), d(z, 8));
       },
       {F(partial_classification), F(covariance), F(covariance_storage), F(correlation),
        F(correlation_storage), F(partial_covariance), F(partial_covariance_storage),
        F(partial_correlation), F(partial_correlation_storage)}},
      {"Quantiles",
       [&](zev_ss_task t, bool z) {
         return __vqssSSEditQuantiles(t, d(z, 0), f(z, 1), f(z, 2), f(z, 3), d(z, 4));
       },
       {F(quantile_order_count), F(quantile_orders), F(quantiles), F(order_statistics),
        F(order_statistics_storage)}},
      {"StreamQuantiles",
       [&](zev_ss_task t, bool z) {
         return __vqsdSSEditStreamQuantiles(t, d(z, 0), d(z, 1), d(z, 2), d(z, 3), d(z, 4));
       },
       {F(stream_quantile_order_count), F(stream_quantile_orders), F(stream_quantiles),
        F(stream_parameter_count), F(stream_parameters)}},
      {"PooledCovariance",
       [&](zev_ss_task t, bool z) {
         return __vqssSSEditPooledCovariance(t, d(z, 0), f(z, 1), f(z, 2), d(z, 3), f(z, 4), f(z, 5));
       },
       {F(group_indices), F(pooled_mean), F(pooled_covariance), F(group_flags), F(group_means),
        F(group_covariances)}},
      {"RCov",
       [&](zev_ss_task t, bool z) {
         return __vqsdSSEditRCov(t, d(z, 0), d(z, 1), d(z, 2), d(z, 3), d(z, 4));
       },
       {F(robust_covariance_storage), F(robust_parameter_count), F(robust_parameters),
        F(robust_mean), F(robust_covariance)}},
      {"OutDetect",
       [&](zev_ss_task t, bool z) { return __vqssSSEditOutDetect(t, d(z, 0), f(z, 1), f(z, 2)); },
       {F(outlier_parameter_count), F(outlier_parameters), F(outlier_weights)}},
      {"MissingVals",
       [&](zev_ss_task t, bool z) {
         return __vqsdSSEditMissingVals(t, d(z, 0), d(z, 1), d(z, 2), d(z, 3), d(z, 4), d(z, 5),
                                        d(z, 6), d(z, 7), d(z, 8), d(z, 9));
       },
       {F(missing_parameter_count), F(missing_parameters), F(initial_estimate_count),
        F(initial_estimates), F(prior_count), F(prior), F(simulated_values_count),
        F(simulated_values), F(estimate_count), F(estimates)}},
      {"MtxParametrz",
       [&](zev_ss_task t, bool z) {
         return __vqssSSEditMtxParametrz(t, f(z, 0), d(z, 1), f(z, 2), d(z, 3));
       },
       {F(correlation), F(correlation_storage), F(parametrized_correlation),
        F(parametrized_storage)}},
      {"MahDistance",
       [&](zev_ss_task t, bool z) {
         return __vqssSSEditMahDistance(t, d(z, 0), d(z, 1), f(z, 2), f(z, 3), f(z, 4));
       },
       {F(distance_first), F(distance_last), F(distance_center), F(distance_inverse),
        F(distance_output)}},
  };
  const int32_t p = 2;
  for (const Named& e : named) {
    Task t;
    ASSERT_EQ(__vqsdSSNewTask(&t.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
    std::vector<unsigned char> before(sizeof(Rec)), after(sizeof(Rec));
    memcpy(before.data(), t.t, sizeof(Rec));
    EXPECT_EQ(e.call(t.t, true), 0) << e.name;
    EXPECT_EQ(memcmp(before.data(), t.t, sizeof(Rec)), 0) << e.name;
    EXPECT_EQ(e.call(t.t, false), 0) << e.name;
    memcpy(after.data(), t.t, sizeof(Rec));
    for (size_t k = 0; k < e.fields.size(); ++k) {
      EXPECT_EQ(field_at(t.t, e.fields[k]), a[k]) << e.name << " argument " << k;
      memcpy(after.data() + e.fields[k], before.data() + e.fields[k], sizeof(void*));
    }
    EXPECT_EQ(memcmp(before.data(), after.data(), sizeof(Rec)), 0) << e.name << ": other fields";
    EXPECT_EQ(e.call(nullptr, false), ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR) << e.name;
  }
}

}  // namespace
