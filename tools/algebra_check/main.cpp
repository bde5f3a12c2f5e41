// zev_algebra_check: accuracy of the reciprocal, division and root rows at
// every level against MPFR, and of the exact rows against glibc, bit for bit.
// Writes the table of docs/accuracy_algebra.md to standard output.
//
// usage: zev_algebra_check [points per function, default 1000000]
//        zev_algebra_check --exhaustive   every significand of sInv, sSqrt and
//                                         sInvSqrt at every level, x in [1, 4)
//        zev_algebra_check --edges [stride]  the ends of the ordinary ranges of
//                                         sInv, sSqrt and sInvSqrt, every input
//                                         (or every stride-th), FTZ/DAZ off and
//                                         on, processor and modelled estimates:
//                                         the table of docs/accuracy_estimates.md
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/algebra_check/edges.h"
#include "tools/algebra_check/measure.h"
#include "zev/zev_vqm.h"

using namespace zev::algcheck;

namespace {

using Entry = void (*)();
template <class F>
Entry E(F f) {
  return reinterpret_cast<Entry>(f);
}

struct Row {
  const char* name;
  Fn fn;
  bool single;
  Entry la, ha, ep;
  bool exact_ha;  // HA correctly rounded: checked bit for bit
};

#define ROW(p, f, fn, sfx_la, sfx_ep, cr) \
  { #p #f, fn, #p[0] == 's', E(_vqm##p##f##sfx_la), E(_vqm##p##f), E(_vqm##p##f##sfx_ep), cr }

const Row kRows[] = {
    ROW(s, Inv, Fn::Inv, _21, _11, true),          ROW(d, Inv, Fn::Inv, _50, _26, true),
    ROW(s, Sqrt, Fn::Sqrt, _21, _11, true),        ROW(d, Sqrt, Fn::Sqrt, _50, _26, true),
    ROW(s, InvSqrt, Fn::InvSqrt, _21, _11, false), ROW(d, InvSqrt, Fn::InvSqrt, _50, _26, false),
    ROW(s, Div, Fn::Div, _21, _11, true),          ROW(d, Div, Fn::Div, _50, _26, true),
    ROW(s, LinearFrac, Fn::LinearFrac, _21, _11, false),
    ROW(d, LinearFrac, Fn::LinearFrac, _50, _26, false),
};

struct ExRow {
  const char* name;
  Ex fn;
  bool single;
  Entry ha;
};
#define EXROW(p, f) \
  { #p #f, Ex::f, #p[0] == 's', E(_vqm##p##f) }
const ExRow kExact[] = {EXROW(s, Fmod),     EXROW(d, Fmod),     EXROW(s, Remainder), EXROW(d, Remainder),
                        EXROW(s, NextAfter), EXROW(d, NextAfter), EXROW(s, CopySign),  EXROW(d, CopySign),
                        EXROW(s, Fdim),     EXROW(d, Fdim),     EXROW(s, Fmax),      EXROW(d, Fmax),
                        EXROW(s, Fmin),     EXROW(d, Fmin),     EXROW(s, MaxMag),    EXROW(d, MaxMag),
                        EXROW(s, MinMag),   EXROW(d, MinMag),   EXROW(s, Modf),      EXROW(d, Modf)};

}  // namespace

// Every input of [1, 4) (two binades: every significand with both exponent
// parities) of a single unary row at one level, against the function in
// double (whose own error, 2^-53, is below 2^-29 ulp of single). Inside the
// normal range the estimates and the Newton steps scale by powers of two, so
// these binades stand for all others away from the ends, which the random
// run covers.
double exhaustive(Entry e, Fn fn, bool relative, float& worst_x) {
  std::vector<float> in(1 << 16), out(1 << 16);
  double worst = 0;
  for (uint64_t hi = 0x3F80; hi < 0x4080; ++hi) {
    for (uint32_t lo = 0; lo < (1u << 16); ++lo) in[lo] = from_bits<float>(static_cast<uint32_t>(hi << 16 | lo));
    reinterpret_cast<UnaryFn<float>>(e)(1 << 16, in.data(), out.data());
    for (uint32_t lo = 0; lo < (1u << 16); ++lo) {
      const double x = in[lo];
      const double y = fn == Fn::Inv ? 1.0 / x : fn == Fn::Sqrt ? std::sqrt(x) : 1.0 / std::sqrt(x);
      const double got = out[lo];
      double err;
      if (std::isnan(y) || std::isnan(got)) {
        err = std::isnan(y) == std::isnan(got) ? 0.0 : INFINITY;
      } else if (std::isinf(y) || std::isinf(got) || std::isinf(float(y))) {
        err = float(y) == float(got) ? 0.0 : INFINITY;
      } else if (y == 0) {
        err = got == 0 ? 0.0 : INFINITY;
      } else if (relative) {
        err = std::fabs(got - y) / std::max(std::fabs(y), 0x1p-126);
      } else {
        int ex;
        std::frexp(y, &ex);  // y = m * 2^ex, 0.5 <= m < 1
        const int ulp_exp = std::max(ex - 1, -126) - 23;
        err = std::fabs(got - y) / std::ldexp(1.0, ulp_exp);
      }
      if (err > worst) worst = err, worst_x = in[lo];
    }
  }
  return worst;
}

// The ends of the ordinary ranges (edges.h), every input of each binade: the
// entries with the processor's estimates, then the evaluations built on an
// estimate with modelled ones at both ends of the band and scattered in it
// (on the edge binades and on [1, 4)).
template <class Eval>
EdgeWorst modelled(EdgeFn f, int level, bool flush, uint32_t stride) {
  EdgeWorst w;
  std::vector<int> es = edge_binades(f);
  es.push_back(0);
  es.push_back(1);
  for (int e : es) w.join(check_eval<Eval>(f, level, flush, binade_inputs(e, false, stride)));
  return w;
}

int edges(uint32_t stride) {
  using namespace zev::vk::alg;
  using zevtest::ModelEstimate;
  const char* names[3] = {"LA", "HA", "EP"};
  bool ok = true;
  const auto row = [&](const char* fn, int l, const char* est, bool flush, const EdgeWorst& w) {
    const double bound = l == 0 ? 4.0 : l == 1 ? 1.0 : 0x1p-11;
    const bool pass = w.err <= bound && w.wrong == 0 && w.status == 0;
    ok = ok && pass;
    char worst[48];
    if (l == 2)
      snprintf(worst, sizeof worst, "2^%.2f", w.err > 0 ? std::log2(w.err) : -INFINITY);
    else
      snprintf(worst, sizeof worst, "%.3f ulp", w.err);
    printf("| %s | %s | %s | %s | %s | %s%s | %a | %ld | %ld | %ld |\n", fn, names[l], l == 2 ? "2^-11 rel" : l ? "1 ulp" : "4 ulp",
           est, flush ? "on" : "off", worst, pass ? "" : " FAIL", w.x, w.points, w.wrong, w.status);
    fflush(stdout);
  };
  printf("| Row | Level | Bound | Estimate | FTZ/DAZ | Worst | at x | Points | Wrong class | Statuses |\n");
  printf("|---|---|---|---|---|---|---|---|---|---|\n");
  const struct {
    const char* name;
    EdgeFn f;
    SingleUnary lv[3];
  } entries[] = {{"sInv", EdgeFn::Inv, {_vqmsInv_21, _vqmsInv, _vqmsInv_11}},
                 {"sSqrt", EdgeFn::Sqrt, {_vqmsSqrt_21, _vqmsSqrt, _vqmsSqrt_11}},
                 {"sInvSqrt", EdgeFn::InvSqrt, {_vqmsInvSqrt_21, _vqmsInvSqrt, _vqmsInvSqrt_11}}};
  for (const auto& e : entries)
    for (int l = 0; l < 3; ++l)
      for (bool flush : {false, true}) {
        EdgeWorst w;
        for (int b : edge_binades(e.f))
          for (bool neg : {false, true})
            if (!neg || e.f == EdgeFn::Inv) w.join(check_entry(e.lv[l], e.f, l, flush, binade_inputs(b, neg, stride)));
        row(e.name, l, "processor", flush, w);
      }
  struct Place {
    const char* name;
    double bias;
    bool scattered;
  };
  const Place places[] = {{"model, +1.5 * 2^-12", 1, false}, {"model, -1.5 * 2^-12", -1, false}, {"model, scattered", 0, true}};
  for (const Place& p : places) {
    zevtest::EstimateBias bias(p.bias, p.scattered);
    for (bool flush : {false, true}) {
      row("sInv", 2, p.name, flush, modelled<InvEstEP<ModelEstimate>>(EdgeFn::Inv, 2, flush, stride));
      row("sSqrt", 2, p.name, flush, modelled<SqrtEstEP<ModelEstimate>>(EdgeFn::Sqrt, 2, flush, stride));
      row("sInvSqrt", 0, p.name, flush, modelled<InvSqrtEstLA<ModelEstimate>>(EdgeFn::InvSqrt, 0, flush, stride));
      row("sInvSqrt", 1, p.name, flush, modelled<InvSqrtEstHA<ModelEstimate>>(EdgeFn::InvSqrt, 1, flush, stride));
      row("sInvSqrt", 2, p.name, flush, modelled<InvSqrtEstEP<ModelEstimate>>(EdgeFn::InvSqrt, 2, flush, stride));
    }
  }
  return ok ? 0 : 1;
}

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "--edges") return edges(argc > 2 ? static_cast<uint32_t>(atol(argv[2])) : 1);
  if (argc > 1 && std::string(argv[1]) == "--exhaustive") {
    const unsigned old = zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
    bool ok = true;
    printf("| Row | Level | Bound | Worst over all x in [1, 4) | at x |\n|---|---|---|---|---|\n");
    for (const Row& r : kRows) {
      if (!r.single || (r.fn != Fn::Inv && r.fn != Fn::Sqrt && r.fn != Fn::InvSqrt)) continue;
      const Entry lv[3] = {r.la, r.ha, r.ep};
      const char* names[3] = {"LA", "HA", "EP"};
      for (int l = 0; l < 3; ++l) {
        float at = 0;
        const double w = exhaustive(lv[l], r.fn, l == 2, at);
        const double bound = l == 0 ? 4.0 : l == 1 ? 1.0 : 0x1p-11;
        ok = ok && w <= bound;
        if (l == 2)
          printf("| %s | EP | 2^-11 rel | 2^%.2f | %a |\n", r.name, std::log2(w), at);
        else
          printf("| %s | %s | %.0f ulp | %.3f ulp | %a |\n", r.name, names[l], bound, w, at);
        fflush(stdout);
      }
    }
    zev_vqm_kernel_SetMode(old);
    return ok ? 0 : 1;
  }
  const long count = argc > 1 ? atol(argv[1]) : 1000000;
  const uint64_t seed = 0x616c676562726121ull;
  bool ok = true;
  printf("| Row | Level | Bound | Worst | Input (a, b) | Result | Correctly rounded | Points |\n");
  printf("|---|---|---|---|---|---|---|---|\n");
  for (const Row& r : kRows) {
    const Entry lv[3] = {r.la, r.ha, r.ep};
    const char* names[3] = {"LA", "HA", "EP"};
    for (int l = 0; l < 3; ++l) {
      const bool rel = l == 2;
      const bool bitwise = l == 1 && r.exact_ha;
      const Worst w = r.single ? measure<float>(r.fn, lv[l], rel, bitwise, count, seed + l)
                               : measure<double>(r.fn, lv[l], rel, bitwise, count, seed + l);
      const double bound = l == 0 ? 4.0 : l == 1 ? 1.0 : (r.single ? 0x1p-11 : 0x1p-26);
      const bool pass = w.err <= bound && (!bitwise || w.mismatches == 0);
      ok = ok && pass;
      char worst[64], bnd[32];
      if (rel) {
        snprintf(worst, sizeof worst, "2^%.2f", w.err > 0 ? std::log2(w.err) : -INFINITY);
        snprintf(bnd, sizeof bnd, "2^%d rel", r.single ? -11 : -26);
      } else {
        snprintf(worst, sizeof worst, "%.3f ulp", w.err);
        snprintf(bnd, sizeof bnd, "%.0f ulp", bound);
      }
      printf("| %s | %s | %s | %s%s | %a, %a | %a (want %a) | %s | %ld |\n", r.name, names[l], bnd, worst,
             pass ? "" : " FAIL", w.a, w.b, w.got, w.want,
             bitwise ? (w.mismatches ? "no" : "yes, bit for bit") : "-", w.points);
      fflush(stdout);
    }
  }
  printf("\n| Row | Against | Points | Bit differences |\n|---|---|---|---|\n");
  for (const ExRow& r : kExact) {
    const ExactResult x =
        r.single ? compare_exact<float>(r.fn, r.ha, count, seed) : compare_exact<double>(r.fn, r.ha, count, seed);
    ok = ok && x.mismatches == 0;
    printf("| %s | glibc | %ld | %ld", r.name, x.points, x.mismatches);
    if (x.mismatches) printf(" (first: %a, %a gives %a, glibc %a)", x.a, x.b, x.got, x.want);
    printf(" |\n");
    fflush(stdout);
  }
  return ok ? 0 : 1;
}
