// What the tests of the complex rows share: the judgement of an error against
// MPC at each accuracy level, the callout recorder, and the check of a
// strided form against its plain form between canaries and guard pages.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "fp.h"
#include "callout_record.h"
#include "guarded.h"
#include "tools/ulp/complex_ref.h"
#include "zev/zev_vqm.h"

namespace zevtest {

// ---- accuracy levels ----------------------------------------------------------------------

// LA and HA: the normwise error in ulps of |exact|.
inline double norm_bound(int level) { return level == 1 ? 1.0 : 4.0; }

// HA's parts: each within 2 ulp of itself, where it is not below 2^-20 |exact|.
inline bool parts_ok(const zev::ulp::CError& e) {
  return (e.re_small || e.re <= 2.0) && (e.im_small || e.im <= 2.0);
}

// EP: the relative error within 2^-11 (single) or 2^-26 (double), judged in
// absolute terms at the least normal below the normal range; or within an
// ulp normwise. (wr, wi) is the exact value rounded.
template <class R>
bool ep_ok(const zev::ulp::CError& e, double wr, double wi) {
  constexpr bool single = sizeof(R) == 4;
  const double bound = single ? 0x1p-11 : 0x1p-26;
  const double least = single ? 0x1p-126 : 0x1p-1022;
  const double mag = std::hypot(wr, wi);
  const double ok = mag == 0 ? bound : bound * std::max(1.0, least / mag);
  return e.rel <= ok || e.norm <= 1.0;
}

// The level's judgement (0 LA, 1 HA, 2 EP): empty when e meets it, else what
// it missed.
template <class R>
std::string level_miss(int level, const zev::ulp::CError& e, double wr, double wi) {
  char s[128] = "";
  if (level == 2) {
    if (!ep_ok<R>(e, wr, wi)) snprintf(s, sizeof s, " rel %g", e.rel);
    return s;
  }
  std::string m;
  if (!(e.norm <= norm_bound(level))) snprintf(s, sizeof s, " normwise %g", e.norm), m += s;
  if (level == 1 && !parts_ok(e)) snprintf(s, sizeof s, " parts %g %g", e.re, e.im), m += s;
  return m;
}

// ---- the callout --------------------------------------------------------------------------


// Under the callback mode, for the callback's answers 0 and 1 and result
// increments 1 and 2: call(r, inc) runs a row on seven elements of which 1
// and 5 have the status `status`, its results at r[i * inc]; the callback
// sees them in order with the row's name and an infinite part, and its value
// 7 - 7i is written only when it answers 0. then(r, inc) checks the rest.
template <class C, class Call, class Then>
void expect_reports_1_and_5(const char* name, int status, Call call, Then then) {
  using R = decltype(C::re);
  for (int answer : {0, 1})
    for (int inc : {1, 2}) {
      SCOPED_TRACE(std::string(name) + " inc " + std::to_string(inc) + " answer " + std::to_string(answer));
      ModeScope mode(VQM_ERRMODE_CALLBACK);
      zev_vqm_kernel_SetErrorCallBack(record_writing);
      g_seen.clear();
      g_answer = answer;
      std::vector<C> r(14, C{R(-1), R(-1)});
      call(r.data(), inc);
      zev_vqm_kernel_ClearErrorCallBack();
      ASSERT_EQ(g_seen.size(), 2u);
      EXPECT_EQ(g_seen[0].index, 1);
      EXPECT_EQ(g_seen[1].index, 5);
      EXPECT_EQ(g_seen[0].status, status);
      EXPECT_EQ(g_seen[0].name, name);
      EXPECT_TRUE(std::isinf(g_seen[0].r1) || std::isinf(g_seen[0].r1_im));
      if (answer == 0) {
        EXPECT_EQ(r[inc].re, R(7));
        EXPECT_EQ(r[inc].im, R(-7));
      } else {
        EXPECT_TRUE(std::isinf(r[inc].re) || std::isinf(r[inc].im));
      }
      then(r, inc);
    }
}

// ---- strided against plain ----------------------------------------------------------------

constexpr int kStrideIn = 3, kStrideOut = 2;

// The first n elements of a0 (and b0, if given) at stride kStrideIn in
// guarded arrays, results at stride kStrideOut between canaries -9 that must
// stay: run(sa, sb, sr, span_r) calls the strided form, and each result must
// be the plain form's r[i] to the bit.
template <class C, class Run>
void expect_strided_as_plain(int n, const C* a0, const C* b0, const C* r, Run run) {
  using R = decltype(C::re);
  const int span_a = n ? (n - 1) * kStrideIn + 1 : 0, span_r = n ? (n - 1) * kStrideOut + 1 : 0;
  Guarded<C> sa(span_a), sb(span_a), sr(span_r);
  for (int i = 0; i < span_r; ++i) sr[i] = C{R(-9), R(-9)};
  for (int i = 0; i < n; ++i) {
    sa[i * kStrideIn] = a0[i];
    if (b0) sb[i * kStrideIn] = b0[i];
  }
  run(sa.data(), sb.data(), sr.data(), span_r);
  for (int i = 0; i < span_r; ++i) {
    if (i % kStrideOut) {
      EXPECT_EQ(sr[i].re, R(-9)) << i;
    } else {
      const C& p = r[i / kStrideOut];
      EXPECT_TRUE(same(sr[i].re, p.re) && same(sr[i].im, p.im)) << i;
    }
  }
}

}  // namespace zevtest
