// zev_algebra_check: accuracy of the reciprocal, division and root rows at
// every level against MPFR, and of the exact rows against glibc, bit for bit.
// Writes the table of docs/accuracy_algebra.md to standard output.
//
// usage: zev_algebra_check [points per function, default 1000000]
//        zev_algebra_check --exhaustive   every significand of sInv, sSqrt and
//                                         sInvSqrt at every level, x in [1, 4)
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

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

int main(int argc, char** argv) {
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
