// Exhaustive accuracy check of the single-precision root kernels: every one of
// the 2^32 inputs, at every level, against glibc's double functions (within a
// few double ulps, far below a single ulp). Prints the worst error in ulps of
// the single result and the worst relative error (the bound of EP), each with
// its input, and counts results of the wrong class (NaN, infinity) against the
// reference rounded to single. Odd and even functions are measured on the
// positive half and their negative half is compared with it bit for bit.
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
  int parity;        // f(-x) = -f(x) (1), f(x) (0); else -1 and negative inputs are measured
};

double ref_invcbrt(double x) { return 1.0 / std::cbrt(x); }
double ref_pow2o3(double x) { return std::cbrt(x * x); }  // x x exact for a single x
double ref_pow3o2(double x) { return std::pow(x, 1.5); }

const Func kFuncs[] = {
    {"sCbrt", ::cbrt, {_vqmsCbrt_21, _vqmsCbrt_HA, _vqmsCbrt_11}, 1},
    {"sInvCbrt", ref_invcbrt, {_vqmsInvCbrt_21, _vqmsInvCbrt_HA, _vqmsInvCbrt_11}, 1},
    {"sPow2o3", ref_pow2o3, {_vqmsPow2o3_21, _vqmsPow2o3_HA, _vqmsPow2o3_11}, 0},
    {"sPow3o2", ref_pow3o2, {_vqmsPow3o2_21, _vqmsPow3o2_HA, _vqmsPow3o2_11}, -1},
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
  double worst = 0, worst_x = 0, worst_rel = 0, worst_rel_x = 0;
  uint64_t wrong_class = 0, asymmetric = 0;
  std::vector<float> neg(kChunk), out_neg(kChunk);
  // With a parity the negative inputs are checked against the positive ones, bit for bit.
  const uint64_t end = f.parity >= 0 ? 1ull << 31 : 1ull << 32;
  for (uint64_t base = 0; base < end; base += kChunk) {
    for (uint32_t i = 0; i < kChunk; ++i) in[i] = from_bits(static_cast<uint32_t>(base + i));
    f.levels[level](kChunk, in.data(), out.data());
    if (f.parity >= 0) {
      for (uint32_t i = 0; i < kChunk; ++i) neg[i] = -in[i];
      f.levels[level](kChunk, neg.data(), out_neg.data());
      for (uint32_t i = 0; i < kChunk; ++i) {
        const float want = f.parity == 1 ? -out[i] : out[i];
        if (memcmp(&want, &out_neg[i], 4) != 0 && !(std::isnan(want) && std::isnan(out_neg[i]))) ++asymmetric;
      }
    }
    for (uint32_t i = 0; i < kChunk; ++i) {
      const double x = in[i], got = out[i];
      const double ref = f.ref(x);
      const float reff = static_cast<float>(ref);
      if (std::isnan(reff) || std::isinf(reff) || std::isnan(got) || std::isinf(got) || ref == 0) {
        if (std::isnan(reff) != std::isnan(got) || std::isinf(reff) != std::isinf(got) ||
            (!std::isnan(got) && got != reff))
          ++wrong_class;
        continue;
      }
      const double err = std::fabs(got - ref) / ulp_of(ref);
      if (err > worst) worst = err, worst_x = x;
      if (std::fabs(ref) >= 0x1p-126) {
        const double rel = std::fabs(got / ref - 1);
        if (rel > worst_rel) worst_rel = rel, worst_rel_x = x;
      }
    }
  }
  printf("%-8s %s  worst %.3f ulp at %a  relative 2^%.2f at %a  wrong class %llu  asymmetric %llu\n", f.row,
         kLevel[level], worst, worst_x, std::log2(worst_rel), worst_rel_x, static_cast<unsigned long long>(wrong_class),
         static_cast<unsigned long long>(asymmetric));
  fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  for (const Func& f : kFuncs) {
    bool want = argc == 1;
    for (int i = 1; i < argc; ++i) want |= std::string(argv[i]) == f.row;
    if (!want) continue;
    for (int level = 0; level < 3; ++level) check(f, level);
  }
  return 0;
}
