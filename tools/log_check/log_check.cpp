// Exhaustive accuracy check of the single-precision logarithm kernels: every
// one of the 2^32 inputs, at every level, against glibc's double function
// (itself within one double ulp, so within 2^-28 of a single ulp). Prints the
// worst error in ulps of the single result and the worst relative error with
// their inputs, counts results of the wrong class (NaN, infinity, zero), and
// exits 1 when a level breaks its bound (HA 1 ulp, LA 4 ulp, EP 2^-11
// relative). Arguments name rows ("sLn") or levels of rows ("sLn:HA").
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

using Kernel = void (*)(int, const float*, float*);

struct Func {
  const char* row;
  double (*ref)(double);
  Kernel levels[3];  // LA, HA, EP
  bool one;          // one kernel for every level
};

double ref_ln(double x) { return std::log(x); }
double ref_log2(double x) { return std::log2(x); }
double ref_log10(double x) { return std::log10(x); }
double ref_log1p(double x) { return std::log1p(x); }

const Func kFuncs[] = {
    {"sLn", ref_ln, {_vqmsLn_21, _vqmsLn_HA, _vqmsLn_11}, false},
    {"sLog2", ref_log2, {_vqmsLog2_21, _vqmsLog2_HA, _vqmsLog2_11}, false},
    {"sLog10", ref_log10, {_vqmsLog10_21, _vqmsLog10_HA, _vqmsLog10_11}, false},
    {"sLog1p", ref_log1p, {_vqmsLog1p_21, _vqmsLog1p_HA, _vqmsLog1p_11}, true},
};
const char* kLevel[3] = {"LA", "HA", "EP"};

float from_bits(uint32_t u) {
  float f;
  memcpy(&f, &u, 4);
  return f;
}

double ulp_of(double ref) {
  const double a = std::fabs(ref);
  if (a < 0x1p-126) return 0x1p-149;
  int e;
  std::frexp(a, &e);
  return std::ldexp(1.0, e - 24);
}

struct Worst {
  double err = 0, x = 0, got = 0, ref = 0;
  void see(double e, double xx, double g, double r) {
    if (e > err) err = e, x = xx, got = g, ref = r;
  }
};

bool check(const Func& f, int level) {
  constexpr uint32_t kChunk = 1u << 20;
  std::vector<float> in(kChunk), out(kChunk);
  Worst ulp, rel;
  uint64_t wrong_class = 0;
  for (uint64_t base = 0; base < (1ull << 32); base += kChunk) {
    for (uint32_t i = 0; i < kChunk; ++i) in[i] = from_bits(static_cast<uint32_t>(base + i));
    f.levels[level](kChunk, in.data(), out.data());
    for (uint32_t i = 0; i < kChunk; ++i) {
      const double x = in[i], got = out[i];
      const double ref = f.ref(x);
      const float reff = static_cast<float>(ref);
      if (std::isnan(x) || std::isnan(reff) || std::isinf(reff) || std::isinf(got) || reff == 0) {
        if (std::isnan(reff) != std::isnan(got) || std::isinf(reff) != std::isinf(got) ||
            (std::isinf(got) && (got > 0) != (reff > 0)) || ((reff == 0) != (got == 0)))
          ++wrong_class;
        continue;
      }
      ulp.see(std::fabs(got - ref) / ulp_of(ref), x, got, ref);
      rel.see(std::fabs(got / ref - 1), x, got, ref);
    }
  }
  const double bound = level == 1 ? 1.0 : 4.0;
  const bool ok = wrong_class == 0 && (level == 2 ? rel.err <= 0x1p-11 : ulp.err <= bound);
  printf("%-7s %s  worst %.3f ulp at %a (got %a, want %a)  relative 2^%.1f at %a  wrong class %llu  %s\n", f.row,
         kLevel[level], ulp.err, ulp.x, ulp.got, ulp.ref, std::log2(rel.err), rel.x,
         static_cast<unsigned long long>(wrong_class), ok ? "ok" : "BROKEN");
  fflush(stdout);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  bool ok = true;
  for (const Func& f : kFuncs) {
    for (int level = 0; level < 3; ++level) {
      if (f.one && level != 1) continue;  // its HA entry stands for the rest
      bool want = argc == 1;
      for (int i = 1; i < argc; ++i)
        want |= argv[i] == std::string(f.row) || argv[i] == std::string(f.row) + ":" + kLevel[level];
      if (want) ok &= check(f, level);
    }
  }
  return ok ? 0 : 1;
}
