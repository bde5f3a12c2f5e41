// Exhaustive accuracy check of the single-precision kernels of one argument:
// every one of the 2^32 inputs, at every level, against each row's reference
// (glibc's double functions or better, within a few double ulps, far below a
// single ulp). Prints the worst error in ulps of the single result (denormal
// spacing below the normal range) and the worst relative error of normal
// results (the EP bound), each with its input; counts results of the wrong
// class against the reference rounded to single; exits 1 when a level breaks
// its bound (HA 1 ulp, LA 4 ulp, EP 2^-11 relative) or a class is wrong. Odd
// and even functions are measured on the positive half, and their negative
// half is compared with it bit for bit. Arguments name rows ("sLn") or levels
// of rows ("sLn:HA"); the levels asked of one row share one walk over the
// inputs, and one reference value an input. --flush first runs the kernels with FTZ/DAZ on and
// compares them with the function of the input as they read it (a subnormal
// as a zero of its sign), a zero result standing where the exact result is
// subnormal.
//
// The rows come from the checks_<family>.cpp files (single_check.h). Two
// threads take the two halves of the input range; among equal errors the
// worst case printed is the one of the least input bits, as one thread
// walking the range upwards would find it.
#include "tools/single_check/single_check.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace zev::single_check {

namespace {
std::vector<Func>& rows() {
  static std::vector<Func> r;
  return r;
}
}  // namespace

Registrar::Registrar(std::initializer_list<Func> funcs) { rows().insert(rows().end(), funcs); }
const std::vector<Func>& registry() { return rows(); }

}  // namespace zev::single_check

namespace {

using zev::single_check::Class;
using zev::single_check::Func;

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

// The worst error seen, with its input; a later input of an equal error does
// not replace it, so a walk upwards keeps the least input bits.
struct Worst {
  double err = 0, x = 0, got = 0, ref = 0;
  uint64_t bits = 0;
  void see(double e, uint64_t b, double xx, double g, double r) {
    if (e > err) err = e, bits = b, x = xx, got = g, ref = r;
  }
  void merge(const Worst& o) {
    if (o.err > err || (o.err == err && o.err > 0 && o.bits < bits)) *this = o;
  }
};

struct Tally {
  Worst ulp, rel;
  uint64_t wrong = 0, asymmetric = 0;
  void merge(const Tally& o) {
    ulp.merge(o.ulp);
    rel.merge(o.rel);
    wrong += o.wrong;
    asymmetric += o.asymmetric;
  }
};

bool wrong_class(Class cls, double x, double got, double ref, bool& special) {
  const float reff = static_cast<float>(ref);
  special = std::isnan(x) || std::isnan(reff) || std::isinf(reff) || std::isnan(got) || std::isinf(got) ||
            (cls != Class::Plain && reff == 0);
  if (!special) return false;
  if (std::isnan(reff) != std::isnan(got) || std::isinf(reff) != std::isinf(got) ||
      (std::isinf(got) && (got > 0) != (reff > 0)))
    return true;
  if (cls == Class::Zero) return (reff == 0) != (got == 0);
  return cls == Class::Exact && !std::isnan(got) && got != reff;
}

bool g_flush = false;

uint32_t mode() { return VQM_ERRMODE_IGNORE | (g_flush ? VQM_FTZDAZ_ON : VQM_FTZDAZ_OFF); }

constexpr uint32_t kChunk = 1u << 20;

// The inputs of bits [begin, end), a multiple of kChunk apart, on the calling
// thread (which sets its own mode word), at each of the levels asked: the
// reference is computed once an input for all of them.
void scan(const Func& f, const std::vector<int>& levels, uint64_t begin, uint64_t end, std::vector<Tally>& tallies) {
  zev_vqm_kernel_SetMode(mode());
  const size_t nl = levels.size();
  std::vector<float> in(kChunk), neg(kChunk), out_neg(kChunk);
  std::vector<std::vector<float>> out(nl, std::vector<float>(kChunk));
  std::vector<double> refs(kChunk);
  for (uint64_t base = begin; base < end; base += kChunk) {
    for (uint32_t i = 0; i < kChunk; ++i) in[i] = from_bits(static_cast<uint32_t>(base + i));
    for (size_t l = 0; l < nl; ++l) {
      Tally& t = tallies[l];
      f.levels[levels[l]](kChunk, in.data(), out[l].data());
      if (f.parity >= 0) {
        for (uint32_t i = 0; i < kChunk; ++i) neg[i] = -in[i];
        f.levels[levels[l]](kChunk, neg.data(), out_neg.data());
        for (uint32_t i = 0; i < kChunk; ++i) {
          const float want = f.parity == 1 ? -out[l][i] : out[l][i];
          if (memcmp(&want, &out_neg[i], 4) != 0 && !(std::isnan(want) && std::isnan(out_neg[i]))) ++t.asymmetric;
        }
      }
    }
    for (uint32_t i = 0; i < kChunk; ++i) {
      const double x = in[i];
      const bool sub = std::fabs(x) < 0x1p-126;
      refs[i] = f.ref(g_flush && sub ? std::copysign(0.0, x) : x);
    }
    for (size_t l = 0; l < nl; ++l) {
      Tally& t = tallies[l];
      for (uint32_t i = 0; i < kChunk; ++i) {
        const double x = in[i], got = out[l][i], ref = refs[i];
        if (g_flush && got == 0 && std::fabs(ref) < 0x1p-126 && ref != 0) continue;  // flushed result
        bool special;
        if (wrong_class(f.cls, x, got, ref, special)) ++t.wrong;
        if (special) continue;
        t.ulp.see(std::fabs(got - ref) / ulp_of(ref), base + i, x, got, ref);
        if (std::fabs(ref) >= 0x1p-126) t.rel.see(std::fabs(got / ref - 1), base + i, x, got, ref);
      }
    }
  }
}

// The levels of one row, in one walk over the inputs; a line for each.
bool check(const Func& f, const std::vector<int>& levels) {
  const uint64_t end = f.parity >= 0 ? 1ull << 31 : 1ull << 32;
  std::vector<Tally> lower(levels.size()), upper(levels.size());
  std::thread second(scan, std::cref(f), std::cref(levels), end / 2, end, std::ref(upper));
  scan(f, levels, 0, end / 2, lower);
  second.join();
  bool all = true;
  for (size_t l = 0; l < levels.size(); ++l) {
    const int level = levels[l];
    lower[l].merge(upper[l]);
    const Worst &ulp = lower[l].ulp, &rel = lower[l].rel;
    const bool ok = lower[l].wrong == 0 && lower[l].asymmetric == 0 &&
                    (level == 2 ? rel.err <= 0x1p-11 : ulp.err <= (level == 1 ? 1.0 : 4.0));
    printf("%-8s %s%s  worst %.3f ulp at %a (got %a, want %a)  relative 2^%.2f at %a  wrong class %llu  "
           "asymmetric %llu  %s\n",
           f.row, kLevel[level], g_flush ? " FTZ/DAZ" : "", ulp.err, ulp.x, ulp.got, ulp.ref, std::log2(rel.err),
           rel.x, static_cast<unsigned long long>(lower[l].wrong),
           static_cast<unsigned long long>(lower[l].asymmetric), ok ? "ok" : "BROKEN");
    all &= ok;
  }
  fflush(stdout);
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  int first = 1;
  if (argc > 1 && argv[1] == std::string("--flush")) g_flush = true, first = 2;
  zev_vqm_kernel_SetMode(mode());
  // In the order of the row table; the two results of a row in their order.
  std::vector<Func> funcs = zev::single_check::registry();
  std::stable_sort(funcs.begin(), funcs.end(), [](const Func& a, const Func& b) { return a.order < b.order; });
  bool ok = true;
  for (const Func& f : funcs) {
    std::vector<int> levels;
    for (int level = 0; level < 3; ++level) {
      if (f.one && level != 1) continue;
      bool want = argc == first;
      for (int i = first; i < argc; ++i)
        want |= argv[i] == std::string(f.row) || argv[i] == std::string(f.row) + ":" + kLevel[level];
      if (want) levels.push_back(level);
    }
    if (!levels.empty()) ok &= check(f, levels);
  }
  return ok ? 0 : 1;
}
