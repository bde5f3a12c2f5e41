// Exhaustive accuracy check of the single-precision exponential kernels: every
// one of the 2^32 inputs, at every level, against glibc's double function
// (itself within one double ulp, so within 2^-28 of a single ulp). Prints the
// worst error in ulps of the single result (denormal spacing below the normal
// range) with its input, and counts results of the wrong class (NaN, infinity,
// zero) against the reference rounded to single.
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
};

double ref_exp10(double x) { return exp10(x); }

const Func kFuncs[] = {
    {"sExp", ::exp, {_vqmsExp_21, _vqmsExp_HA, _vqmsExp_11}},
    {"sExp2", ::exp2, {_vqmsExp2_21, _vqmsExp2_HA, _vqmsExp2_11}},
    {"sExp10", ref_exp10, {_vqmsExp10_21, _vqmsExp10_HA, _vqmsExp10_11}},
    {"sExpm1", ::expm1, {_vqmsExpm1_21, _vqmsExpm1_HA, _vqmsExpm1_11}},
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

void check(const Func& f, int level) {
  constexpr uint32_t kChunk = 1u << 20;
  std::vector<float> in(kChunk), out(kChunk);
  double worst = 0, worst_x = 0, worst_got = 0, worst_ref = 0;
  uint64_t wrong_class = 0;
  for (uint64_t base = 0; base < (1ull << 32); base += kChunk) {
    for (uint32_t i = 0; i < kChunk; ++i) in[i] = from_bits(static_cast<uint32_t>(base + i));
    f.levels[level](kChunk, in.data(), out.data());
    for (uint32_t i = 0; i < kChunk; ++i) {
      const double x = in[i], got = out[i];
      const double ref = f.ref(x);
      const float reff = static_cast<float>(ref);
      if (std::isnan(x) || std::isnan(reff) || std::isinf(reff) || std::isinf(got)) {
        if (std::isnan(reff) != std::isnan(got) || std::isinf(reff) != std::isinf(got) ||
            (std::isinf(got) && (got > 0) != (reff > 0)))
          ++wrong_class;
        continue;
      }
      const double err = std::fabs(got - ref) / ulp_of(ref);
      if (err > worst) worst = err, worst_x = x, worst_got = got, worst_ref = ref;
    }
  }
  printf("%-7s %s  worst %.3f ulp at %a (got %a, want %a)  wrong class %llu\n", f.row, kLevel[level], worst,
         worst_x, worst_got, worst_ref, static_cast<unsigned long long>(wrong_class));
  fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  for (const Func& f : kFuncs) {
    bool want = argc == 1;
    for (int i = 1; i < argc; ++i) want |= std::string(argv[i]) == f.row;
    if (!want) continue;
    for (int level = 0; level < 3; ++level) {
      // Rows of one kernel for all levels: its HA entry stands for the rest.
      if (level != 1 && std::string(f.row) != "sExp") continue;
      check(f, level);
    }
  }
  return 0;
}
