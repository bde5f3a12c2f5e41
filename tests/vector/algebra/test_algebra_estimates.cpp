// The single Inv, Sqrt and InvSqrt kernels hold their bounds at the ends of
// their ordinary ranges on any processor and in either flush mode: through
// the exported entries, and through their block arithmetic compiled with
// estimates at both ends of the promised error band and scattered inside it.
// A stride over the edge binades here; zev_algebra_check --edges runs them
// all (docs/accuracy_estimates.md).
#include <gtest/gtest.h>

#include <string>

#include "tools/algebra_check/edges.h"

namespace {

using namespace zev::algcheck;
using zev::vk::alg::InvEstEP;
using zev::vk::alg::InvSqrtEstEP;
using zev::vk::alg::InvSqrtEstHA;
using zev::vk::alg::InvSqrtEstLA;
using zev::vk::alg::SqrtEstEP;
using zevtest::EstimateBias;
using zevtest::ModelEstimate;

constexpr uint32_t kStride = 127;
const char* kLevel[3] = {"LA", "HA", "EP"};

double bound(int level) { return level == 0 ? 4.0 : level == 1 ? 1.0 : 0x1p-11; }

struct EntryCase {
  const char* row;
  EdgeFn f;
  SingleUnary levels[3];
};
const EntryCase kEntries[] = {
    {"sInv", EdgeFn::Inv, {_vqmsInv_21, _vqmsInv, _vqmsInv_11}},
    {"sSqrt", EdgeFn::Sqrt, {_vqmsSqrt_21, _vqmsSqrt, _vqmsSqrt_11}},
    {"sInvSqrt", EdgeFn::InvSqrt, {_vqmsInvSqrt_21, _vqmsInvSqrt, _vqmsInvSqrt_11}},
};

std::string where(const char* row, int level, bool flush, const EdgeWorst& w) {
  char s[200];
  snprintf(s, sizeof s, "%s %s flush %d: at %a got %a want %a (%ld wrong, %ld statuses)", row, kLevel[level],
           flush, w.x, w.got, w.want, w.wrong, w.status);
  return s;
}

TEST(AlgebraEstimates, EdgeBinadesThroughTheEntries) {
  for (const EntryCase& c : kEntries)
    for (int level = 0; level < 3; ++level)
      for (bool flush : {false, true}) {
        EdgeWorst w;
        for (int e : edge_binades(c.f))
          for (bool negative : {false, true}) {
            if (negative && c.f != EdgeFn::Inv) continue;
            w.join(check_entry(c.levels[level], c.f, level, flush, binade_inputs(e, negative, kStride)));
          }
        EXPECT_LE(w.err, bound(level)) << where(c.row, level, flush, w);
        EXPECT_EQ(w.wrong, 0) << where(c.row, level, flush, w);
        EXPECT_EQ(w.status, 0) << where(c.row, level, flush, w);
      }
}

// One evaluation under every modelled estimate, with and without flushing.
template <class Eval>
void check_modelled(const char* row, EdgeFn f, int level) {
  struct Place {
    double bias;
    bool scattered;
  };
  for (const Place p : {Place{1, false}, Place{-1, false}, Place{0.5, false}, Place{-0.5, false},
                        Place{0, false}, Place{0, true}})
    for (bool flush : {false, true}) {
      EstimateBias b(p.bias, p.scattered);
      EdgeWorst w;
      for (int e : edge_binades(f)) w.join(check_eval<Eval>(f, level, flush, binade_inputs(e, false, kStride)));
      // Away from the ends: [1, 4), where the significands of both parities of
      // the exponent meet the estimate.
      for (int e : {0, 1}) w.join(check_eval<Eval>(f, level, flush, binade_inputs(e, false, kStride)));
      const std::string at = where(row, level, flush, w) + " bias " + std::to_string(p.bias) +
                             (p.scattered ? " scattered" : "");
      EXPECT_LE(w.err, bound(level)) << at;
      EXPECT_EQ(w.wrong, 0) << at;
      EXPECT_GT(w.points, 0) << at;
      // An estimate used as it is shows the model's place in the band.
      if (level == 2 && !p.scattered) {
        EXPECT_NEAR(w.err, std::max(std::fabs(p.bias) * zev::vk::kEstimateError, 0x1p-24),
                    0x1p-23 + 0.001 * zev::vk::kEstimateError)
            << at;
      }
    }
}

TEST(AlgebraEstimates, ModelledEstimatesAtBothEndsOfTheBand) {
  check_modelled<InvEstEP<ModelEstimate>>("sInv", EdgeFn::Inv, 2);
  check_modelled<SqrtEstEP<ModelEstimate>>("sSqrt", EdgeFn::Sqrt, 2);
  check_modelled<InvSqrtEstEP<ModelEstimate>>("sInvSqrt", EdgeFn::InvSqrt, 2);
  check_modelled<InvSqrtEstLA<ModelEstimate>>("sInvSqrt", EdgeFn::InvSqrt, 0);
  check_modelled<InvSqrtEstHA<ModelEstimate>>("sInvSqrt", EdgeFn::InvSqrt, 1);
}

}  // namespace
