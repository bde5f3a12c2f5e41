// The error measure of the ulp tool, the registry and the random source.
#include <dlfcn.h>

#include <cmath>
#include <cstring>

#include "tools/ulp/ulp.h"

namespace zev::ulp {

// ---- Registry ---------------------------------------------------------------

static std::vector<FuncDesc>& registry_storage() {
  static std::vector<FuncDesc> all;  // built before main, by the Registrars
  return all;
}
Registrar::Registrar(std::initializer_list<FuncDesc> funcs) {
  for (const FuncDesc& f : funcs) registry_storage().push_back(f);
}
const std::vector<FuncDesc>& registry() { return registry_storage(); }

const char* level_name(int level) {
  static const char* names[] = {"LA", "HA", "EP"};
  return names[level];
}

std::string entry_name(const std::string& row, int level) {
  const bool single = row[0] == 's' || row[0] == 'c';
  static const char* sfx_single[] = {"_21", "", "_11"};
  static const char* sfx_double[] = {"_50", "", "_26"};
  return "_vqm" + row + (single ? sfx_single : sfx_double)[level];
}

// ---- Random source ----------------------------------------------------------

static uint64_t splitmix(uint64_t& x) {
  uint64_t z = (x += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}
Rng::Rng(uint64_t seed) {
  for (auto& s : s_) s = splitmix(seed);
}
static inline uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
uint64_t Rng::next() {
  const uint64_t result = rotl(s_[1] * 5, 7) * 9;
  const uint64_t t = s_[1] << 17;
  s_[2] ^= s_[0];
  s_[3] ^= s_[1];
  s_[1] ^= s_[2];
  s_[0] ^= s_[3];
  s_[2] ^= t;
  s_[3] = rotl(s_[3], 45);
  return result;
}
double Rng::uniform() { return (next() >> 11) * 0x1p-53; }
uint64_t Rng::below(uint64_t n) { return n ? next() % n : 0; }

// ---- Error measure ----------------------------------------------------------

Format format_of(bool single) {
  return single ? Format{24, -126, 127, true} : Format{53, -1022, 1023, false};
}

void make_ref(const mpfr_t y, const Format& f, Ref& out) {
  out = Ref{};
  out.nan = mpfr_nan_p(y);
  out.inf = mpfr_inf_p(y);
  out.zero = mpfr_zero_p(y);
  out.cr = f.single ? static_cast<double>(mpfr_get_flt(y, MPFR_RNDN)) : mpfr_get_d(y, MPFR_RNDN);
  out.ulp_exp = f.emin - (f.p - 1);
  if (out.nan || out.inf || out.zero) {
    out.y_hi = out.nan ? NAN : out.inf ? (mpfr_signbit(y) ? -INFINITY : INFINITY) : 0.0;
    out.y_lo = 0.0;
    return;
  }
  // Binade of the exact value: |y| in [2^e, 2^(e+1)); MPFR's exponent is e + 1.
  long e = mpfr_get_exp(y) - 1;
  if (e < f.emin) e = f.emin;
  if (e > f.emax) e = f.emax;
  out.ulp_exp = static_cast<int>(e) - (f.p - 1);
  mpfr_t t;
  mpfr_init2(t, mpfr_get_prec(y));
  mpfr_mul_2si(t, y, -out.ulp_exp, MPFR_RNDN);  // exact
  out.y_hi = mpfr_get_d(t, MPFR_RNDN);
  mpfr_sub_d(t, t, out.y_hi, MPFR_RNDN);
  out.y_lo = mpfr_get_d(t, MPFR_RNDN);
  mpfr_clear(t);
}

Compare compare(double got, const Ref& ref, const Format& f, bool exact) {
  Compare c;
  const bool got_nan = std::isnan(got);
  if (ref.nan || got_nan) {
    if (ref.nan != got_nan) c.special = Compare::kNaN;
    return c;
  }
  if (ref.inf) {
    if (got != ref.cr) c.special = Compare::kInfinity;
    return c;
  }
  if (ref.zero && got == 0.0 && std::signbit(got) != std::signbit(ref.cr)) {
    c.special = Compare::kZeroSign;
    return c;
  }
  if (exact) {
    // Correctly rounded functions are judged against the rounded value: any
    // difference in the bits is at least one ulp.
    if (got != ref.cr) {
      const double g = std::isinf(got) ? std::copysign(std::ldexp(1.0, f.emax + 1 - ref.ulp_exp), got)
                                       : std::ldexp(got, -ref.ulp_exp);
      const double w = std::isinf(ref.cr) ? std::copysign(std::ldexp(1.0, f.emax + 1 - ref.ulp_exp), ref.cr)
                                          : std::ldexp(ref.cr, -ref.ulp_exp);
      c.ulp = g - w;
      if (c.ulp == 0.0 || std::isnan(c.ulp)) c.ulp = INFINITY;
      c.rel = INFINITY;
    }
    return c;
  }
  if (std::isinf(got) && got == ref.cr) return c;  // overflow, rounded correctly
  // An infinite result counts as 2^(emax+1), the first value past the largest.
  const double g = std::isinf(got) ? std::copysign(std::ldexp(1.0, f.emax + 1 - ref.ulp_exp), got)
                                   : std::ldexp(got, -ref.ulp_exp);
  c.ulp = (g - ref.y_hi) - ref.y_lo;
  if (std::isnan(c.ulp)) c.ulp = INFINITY;
  // Relative error; results below the normal range are measured against the
  // least normal, the usual floor for subnormals.
  const double floor_scaled = std::ldexp(1.0, f.emin - ref.ulp_exp);
  const double mag = std::fmax(std::fabs(ref.y_hi), floor_scaled);
  c.rel = std::fabs(c.ulp) / mag;
  return c;
}

const char* special_kind_name(int kind) {
  switch (kind) {
    case Compare::kNaN: return "NaN vs non-NaN";
    case Compare::kZeroSign: return "sign of zero";
    case Compare::kInfinity: return "infinity";
    default: return "ok";
  }
}

double correct_bits(double rel, const Format& f) {
  if (rel <= std::ldexp(1.0, -f.p)) return f.p;
  if (!(rel < INFINITY)) return 0.0;
  const double b = -std::log2(rel);
  return b < 0.0 ? 0.0 : b;
}

// ---- The module's entries -------------------------------------------------

static void* module_resolve(const char* name) {
  // The module is linked into the tool, so its exports are in the global scope.
  return dlsym(RTLD_DEFAULT, name);
}
// The status operations are looked up like the entries, so that the tool builds
// and runs whatever part of the frame exists.
using StatusFn = int (*)();
static StatusFn status_fn(const char* name) {
  return reinterpret_cast<StatusFn>(dlsym(RTLD_DEFAULT, name));
}
static int module_clear() {
  static StatusFn f = status_fn("zev_vqm_kernel_ClearErrStatus");
  return f ? f() : 0;
}
static int module_status() {
  static StatusFn f = status_fn("zev_vqm_kernel_GetErrStatus");
  return f ? f() : -2;  // no frame: nothing is built
}

Env module_env() { return Env{module_resolve, module_clear, module_status}; }

}  // namespace zev::ulp
