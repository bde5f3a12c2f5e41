// WH: the family of 273 Wichmann-Hill combined generators with four
// multiplicative components (Wichmann and Hill, "Generating good pseudo-random
// numbers", Comput. Stat. Data Anal. 51 (2006) 1614).
//
// Member m has moduli kWhModuli[m] and multipliers kWhMultipliers[m]. Members
// 0 and 1 are the published sets; members 2 to 272 are this library's own
// parameter sets, chosen by tools/wh_params (four distinct primes just below
// 2^24, each multiplier below 128 a primitive root of its modulus, no modulus
// shared between members).
//
// State: the four current values, then the four current multipliers (a
// leapfrog replaces them). The current values are given out first, then
// stepped, as in the congruential generators.
#include "streams/state_check.h"
#include "streams/stream.h"

namespace {

#include "generators/wh/wh_params.inc"

struct State {
  uint32_t x[4];
  uint32_t a[4];
};
static_assert(sizeof(State) + 16 == 48);

struct Moduli {
  uint32_t m[4];
};

Moduli moduli_of(const void* stream) {
  int member = zev::vqs::member_of(stream);
  if (member < 0 || member >= ZEV_WH_MEMBERS) member = 0;
  Moduli r;
  for (int j = 0; j < 4; ++j) r.m[j] = kWhModuli[member][j];
  return r;
}

// put(k, state) sees the four values of output k.
template <class Put>
void generate(void* stream, int n, Put put) {
  State* st = zev::vqs::state<State>(stream);
  Moduli md = moduli_of(stream);
  uint32_t x[4], a[4];
  for (int j = 0; j < 4; ++j) x[j] = st->x[j], a[j] = st->a[j];
  for (int k = 0; k < n; ++k) {
    put(k, x);
    // A leapfrog leaves multipliers up to 2^24: the products need 64 bits.
    for (int j = 0; j < 4; ++j) x[j] = uint32_t(uint64_t(a[j]) * x[j] % md.m[j]);
  }
  for (int j = 0; j < 4; ++j) st->x[j] = x[j];
}

// The fractional part of sum over j of x[j] / m[j], with reciprocals formed
// once per call: round the sum to the nearest integer with the 1.5 * 2^52
// shifter, subtract, and add 1 when the difference is negative.
struct Fraction {
  double rcp[4];
  explicit Fraction(const Moduli& md) {
    for (int j = 0; j < 4; ++j) rcp[j] = 1.0 / double(md.m[j]);
  }
  double operator()(const uint32_t* x) const {
    double s = double(x[0]) * rcp[0];
    s += double(x[1]) * rcp[1];
    s += double(x[2]) * rcp[2];
    s += double(x[3]) * rcp[3];
    const double shifter = 6755399441055744.0;  // 1.5 * 2^52
    double t = s + shifter;
    double f = s - (t - shifter);
    if (f < 0.0) f += 1.0;
    return f;
  }
};

}  // namespace

// A loaded state: values and multipliers are non-zero residues of the
// member's moduli (prime), so no step or jump can make a value 0.
bool zev::gen::check_wh_state(const void* stream) {
  const State* st = zev::vqs::state<State>(stream);
  const Moduli md = moduli_of(stream);
  for (int j = 0; j < 4; ++j)
    if (st->x[j] == 0 || st->x[j] >= md.m[j] || st->a[j] == 0 || st->a[j] >= md.m[j]) return false;
  return true;
}

extern "C" {

ZEV_API int __vqsBRngWHInitStream(int op, void* stream, int n, const unsigned int* params) {
  State* st = zev::vqs::state<State>(stream);
  switch (op) {
    case ZEV_VQS_INIT_NEW: {
      int member = zev::vqs::member_of(stream);
      if (member < 0 || member >= ZEV_WH_MEMBERS) member = 0;
      for (int j = 0; j < 4; ++j) {
        uint32_t v = 1;
        if (n > j) v = params[j] % kWhModuli[member][j];
        st->x[j] = v ? v : 1;
        st->a[j] = kWhMultipliers[member][j];
      }
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_LEAPFROG: {
      Moduli md = moduli_of(stream);
      uint32_t k = uint32_t(zev::vqs::param_i32(params));
      for (int j = 0; j < 4; ++j) {
        uint32_t ak = __vqsiPowMod(st->a[j], k, md.m[j]);
        st->x[j] = uint32_t(uint64_t(st->x[j]) * ak % md.m[j]);
        st->a[j] = __vqsiPowMod(st->a[j], uint64_t(int64_t(n)), md.m[j]);
      }
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_SKIPAHEAD: {
      Moduli md = moduli_of(stream);
      uint64_t count = zev::vqs::param_u64(params);
      for (int j = 0; j < 4; ++j)
        st->x[j] = uint32_t(uint64_t(st->x[j]) * __vqsiPowMod(st->a[j], count, md.m[j]) % md.m[j]);
      return ZEV_VQS_OK;
    }
    case ZEV_VQS_INIT_SKIPEX: return ZEV_VQS_ERR_NO_SKIPAHEADEX;
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

// One 16-byte word per output: the four current values.
ZEV_API int __vqsiBRngWH(void* stream, int n, unsigned int* r) {
  generate(stream, n, [r](int k, const uint32_t* x) {
    for (int j = 0; j < 4; ++j) r[4 * k + j] = x[j];
  });
  return ZEV_VQS_OK;
}

ZEV_API int __vqsdBRngWH(void* stream, int n, double* r, double a, double b) {
  const Fraction frac(moduli_of(stream));
  const double w = b - a;
  generate(stream, n, [&](int k, const uint32_t* x) { r[k] = frac(x) * w + a; });
  return ZEV_VQS_OK;
}

ZEV_API int __vqssBRngWH(void* stream, int n, float* r, float a, float b) {
  const Fraction frac(moduli_of(stream));
  const double da = a, w = double(b) - da;
  generate(stream, n, [&](int k, const uint32_t* x) { r[k] = float(frac(x) * w + da); });
  return ZEV_VQS_OK;
}

}  // extern "C"
