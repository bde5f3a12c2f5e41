// Exhaustive accuracy check of the single-precision kernels of one argument:
// every one of the 2^32 inputs, at every level, against glibc's double
// functions (within a few double ulps, far below a single ulp). Prints the
// worst error in ulps of the single result (denormal spacing below the normal
// range) and the worst relative error of normal results (the EP bound), each
// with its input; counts results of the wrong class against the reference
// rounded to single; exits 1 when a level breaks its bound (HA 1 ulp, LA 4
// ulp, EP 2^-11 relative) or a class is wrong. Odd and even functions are
// measured on the positive half, and their negative half is compared with it
// bit for bit. Arguments name rows ("sLn") or levels of rows ("sLn:HA");
// --flush first runs the kernels with FTZ/DAZ on and compares them with the
// function of the input as they read it (a subnormal as a zero of its sign),
// a zero result standing where the exact result is subnormal.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"
#include "tools/gamma_tables/e1_double.h"

namespace {

using Kernel = void (*)(int, const float*, float*);

// What counts as the wrong class of result, beside a NaN or an infinity (with
// its sign) where the reference has none or the other way round.
enum class Class {
  Plain,  // nothing more
  Zero,   // a zero where the reference rounds to none, or the other way round
  Exact,  // a NaN, infinity or zero reference must be met exactly
};

struct Func {
  const char* row;
  double (*ref)(double);
  Kernel levels[3];  // LA, HA, EP
  bool one;          // one kernel for every level: its HA entry stands for the rest
  int parity;        // f(-x) = -f(x) (1), f(x) (0); else -1, negative inputs measured
  Class cls;
};

double ref_exp10(double x) { return exp10(x); }
double ref_invcbrt(double x) { return 1.0 / std::cbrt(x); }
double ref_pow2o3(double x) { return std::cbrt(x * x); }  // x x is exact for a single x
double ref_pow3o2(double x) { return std::pow(x, 1.5); }
double ref_ln(double x) { return std::log(x); }
double ref_log2(double x) { return std::log2(x); }
double ref_log10(double x) { return std::log10(x); }
double ref_log1p(double x) { return std::log1p(x); }
double ref_inv(double x) { return 1.0 / x; }
double ref_sqrt(double x) { return std::sqrt(x); }
double ref_invsqrt(double x) { return 1.0 / std::sqrt(x); }  // 1/sqrt(-0) = -inf

// A row of two results measured on one of them; the other goes to scratch.
template <void (*K)(int, const float*, float*, float*), int Which>
void one_of_two(int n, const float* a, float* r) {
  static std::vector<float> other;
  other.resize(static_cast<size_t>(n));
  if (Which == 0) K(n, a, r, other.data());
  else K(n, a, other.data(), r);
}

// One part of CIS of a single x (0 the cosine, 1 the sine), one kernel for every level.
template <int Which>
void part_of_cis(int n, const float* a, float* r) {
  static std::vector<zev_complex8> z;
  z.resize(static_cast<size_t>(n));
  _vqmcCIS(n, a, z.data());
  for (int i = 0; i < n; ++i) r[i] = Which == 0 ? z[i].re : z[i].im;
}

double ref_asinpi(double x) { return std::asin(x) / M_PI; }
double ref_acospi(double x) { return std::acos(x) / M_PI; }
double ref_atanpi(double x) { return std::atan(x) / M_PI; }

// Half-turn and degree functions of a single x: the nearest quarter turn
// taken out exactly (degrees beyond 2^46 first reduced by fmod, also exact),
// then glibc's double functions on the rest in radians (within 2^-51 of the
// value), quadrant by quadrant; zeros and poles carry the signs the kernels
// promise (sine: x's; cosine: +0; tangent: sine over cosine).
template <int Unit, int F>  // Unit: 2 half-turns, 360 degrees; F: 0 sin, 1 cos, 2 tan
double ref_turn(double x) {
  if (!std::isfinite(x)) return x - x;
  double m = std::fabs(x);
  if (Unit == 360 && m >= 0x1p46) m = std::fmod(m, 360.0);
  if (Unit == 2 && m >= 0x1p24) m = 0;  // an even integer
  const double k = std::nearbyint(m * 4 / Unit);
  const double r = (m - k * (Unit / 4.0)) * (M_PI * 2 / Unit);
  const int q = static_cast<int>(static_cast<int64_t>(k) & 3);
  double s, c;
  sincos(r, &s, &c);
  const double sq[4] = {s, c, -s, -c}, cq[4] = {c, -s, -c, s};
  const double sv = sq[q] + 0.0, cv = cq[q] + 0.0;
  const double sign = std::signbit(x) ? -1.0 : 1.0;
  return sign * (F == 0 ? sv : F == 1 ? sign * cv : sv / cv);
}

// The normal distribution from glibc's long double erfc (Phi(x) = erfc(-x/sqrt2)/2).
double ref_cdfnorm(double x) {
  return static_cast<double>(0.5L * erfcl(static_cast<long double>(x) * -0.7071067811865475244008443621L));
}
// The inverse error functions: one Newton step on glibc's erf or erfc from our
// double HA result (within a few 1e-16 of the root), the target taken exactly:
// erf(z) = a for a <= 1/2, erfc(z) = w (w = 1 - a, y or 2 - y, all exact)
// otherwise. The step leaves an error of the order of glibc's, far below
// 2^-30 of a single ulp.
double newton(double z, double t, bool pole) {
  const double slope = 1.1283791670955126 * std::exp(-z * z);
  return pole ? z + (std::erfc(z) - t) / slope : z + (t - std::erf(z)) / slope;
}
double ref_erfcinv_of(double y) {  // y in (0, 2)
  double z;
  _vqmdErfcInv_HA(1, &y, &z);
  if (y < 0.5) return newton(z, y, true);
  if (y > 1.5) return -newton(-z, 2.0 - y, true);
  return std::copysign(newton(std::fabs(z), std::fabs(1.0 - y), false), z);
}
double ref_erfinv(double x) {
  const double a = std::fabs(x);
  if (!(a < 1.0)) return a == 1.0 ? std::copysign(HUGE_VAL, x) : NAN;
  if (a == 0.0) return x;
  double z;
  _vqmdErfInv_HA(1, &a, &z);
  return std::copysign(a <= 0.5 ? newton(z, a, false) : newton(z, 1.0 - a, true), x);
}
double ref_erfcinv(double y) {
  if (!(y >= 0.0 && y <= 2.0)) return NAN;
  if (y == 0.0 || y == 2.0) return y == 0.0 ? HUGE_VAL : -HUGE_VAL;
  return y == 1.0 ? 0.0 : ref_erfcinv_of(y);
}
double ref_cdfnorminv(double p) {
  if (!(p >= 0.0 && p <= 1.0)) return NAN;
  if (p == 0.0 || p == 1.0) return p == 0.0 ? -HUGE_VAL : HUGE_VAL;
  return p == 0.5 ? 0.0 : -1.4142135623730951 * ref_erfcinv_of(2.0 * p);
}

double ref_lgamma(double x) { return ::lgamma(x); }
double ref_tgamma(double x) { return ::tgamma(x); }
#define ZEV_LEVELS(r) {_vqm##r##_21, _vqm##r##_HA, _vqm##r##_11}
#define ZEV_LEVELS2(r, w) {one_of_two<_vqm##r##_21, w>, one_of_two<_vqm##r##_HA, w>, one_of_two<_vqm##r##_11, w>}
const Func kFuncs[] = {
    {"sExp", ::exp, ZEV_LEVELS(sExp), false, -1, Class::Plain},
    {"sExp2", ::exp2, ZEV_LEVELS(sExp2), true, -1, Class::Plain},
    {"sExp10", ref_exp10, ZEV_LEVELS(sExp10), true, -1, Class::Plain},
    {"sExpm1", ::expm1, ZEV_LEVELS(sExpm1), true, -1, Class::Plain},
    {"sLn", ref_ln, ZEV_LEVELS(sLn), false, -1, Class::Zero},
    {"sLog2", ref_log2, ZEV_LEVELS(sLog2), false, -1, Class::Zero},
    {"sLog10", ref_log10, ZEV_LEVELS(sLog10), false, -1, Class::Zero},
    {"sLog1p", ref_log1p, ZEV_LEVELS(sLog1p), true, -1, Class::Zero},
    {"sCbrt", ::cbrt, ZEV_LEVELS(sCbrt), false, 1, Class::Exact},
    {"sInvCbrt", ref_invcbrt, ZEV_LEVELS(sInvCbrt), false, 1, Class::Exact},
    {"sPow2o3", ref_pow2o3, ZEV_LEVELS(sPow2o3), false, 0, Class::Exact},
    {"sPow3o2", ref_pow3o2, ZEV_LEVELS(sPow3o2), false, -1, Class::Exact},
    {"sInv", ref_inv, ZEV_LEVELS(sInv), false, 1, Class::Exact},
    {"sSqrt", ref_sqrt, ZEV_LEVELS(sSqrt), false, -1, Class::Exact},
    {"sInvSqrt", ref_invsqrt, ZEV_LEVELS(sInvSqrt), false, -1, Class::Exact},
    {"sSin", ::sin, ZEV_LEVELS(sSin), false, 1, Class::Exact},
    {"sCos", ::cos, ZEV_LEVELS(sCos), false, 0, Class::Exact},
    {"sTan", ::tan, ZEV_LEVELS(sTan), false, 1, Class::Exact},
    {"sSinCos.sin", ::sin, ZEV_LEVELS2(sSinCos, 0), false, 1, Class::Exact},
    {"sSinCos.cos", ::cos, ZEV_LEVELS2(sSinCos, 1), false, 0, Class::Exact},
    {"cCIS.cos", ::cos, {part_of_cis<0>, part_of_cis<0>, part_of_cis<0>}, true, 0, Class::Exact},
    {"cCIS.sin", ::sin, {part_of_cis<1>, part_of_cis<1>, part_of_cis<1>}, true, 1, Class::Exact},
    {"sAsin", ::asin, ZEV_LEVELS(sAsin), false, 1, Class::Exact},
    {"sAcos", ::acos, ZEV_LEVELS(sAcos), false, -1, Class::Exact},
    {"sAtan", ::atan, ZEV_LEVELS(sAtan), false, 1, Class::Exact},
    {"sAsinpi", ref_asinpi, ZEV_LEVELS(sAsinpi), false, 1, Class::Exact},
    {"sAcospi", ref_acospi, ZEV_LEVELS(sAcospi), false, -1, Class::Exact},
    {"sAtanpi", ref_atanpi, ZEV_LEVELS(sAtanpi), false, 1, Class::Exact},
    {"sSinpi", ref_turn<2, 0>, ZEV_LEVELS(sSinpi), false, 1, Class::Exact},
    {"sCospi", ref_turn<2, 1>, ZEV_LEVELS(sCospi), false, 0, Class::Exact},
    {"sTanpi", ref_turn<2, 2>, ZEV_LEVELS(sTanpi), false, 1, Class::Exact},
    {"sSind", ref_turn<360, 0>, ZEV_LEVELS(sSind), false, 1, Class::Exact},
    {"sCosd", ref_turn<360, 1>, ZEV_LEVELS(sCosd), false, 0, Class::Exact},
    {"sTand", ref_turn<360, 2>, ZEV_LEVELS(sTand), false, 1, Class::Exact},
    {"sSinh", ::sinh, ZEV_LEVELS(sSinh), false, 1, Class::Zero},
    {"sCosh", ::cosh, ZEV_LEVELS(sCosh), false, 0, Class::Plain},
    {"sTanh", ::tanh, ZEV_LEVELS(sTanh), false, 1, Class::Zero},
    {"sAsinh", ::asinh, ZEV_LEVELS(sAsinh), false, 1, Class::Zero},
    {"sAcosh", ::acosh, ZEV_LEVELS(sAcosh), false, -1, Class::Zero},
    {"sAtanh", ::atanh, ZEV_LEVELS(sAtanh), false, 1, Class::Zero},
    {"sErf", ::erf, ZEV_LEVELS(sErf), false, 1, Class::Exact},
    {"sErfc", ::erfc, ZEV_LEVELS(sErfc), false, -1, Class::Zero},
    {"sCdfNorm", ref_cdfnorm, ZEV_LEVELS(sCdfNorm), false, -1, Class::Zero},
    {"sErfInv", ref_erfinv, ZEV_LEVELS(sErfInv), false, 1, Class::Exact},
    {"sErfcInv", ref_erfcinv, ZEV_LEVELS(sErfcInv), false, -1, Class::Exact},
    {"sCdfNormInv", ref_cdfnorminv, ZEV_LEVELS(sCdfNormInv), false, -1, Class::Exact},
    {"sLGamma", ref_lgamma, ZEV_LEVELS(sLGamma), true, -1, Class::Zero},
    {"sTGamma", ref_tgamma, ZEV_LEVELS(sTGamma), true, -1, Class::Plain},
    {"sExpInt1", zev::gammaref::e1_double, ZEV_LEVELS(sExpInt1), false, -1, Class::Plain},
};
#undef ZEV_LEVELS
#undef ZEV_LEVELS2
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

bool check(const Func& f, int level) {
  constexpr uint32_t kChunk = 1u << 20;
  std::vector<float> in(kChunk), out(kChunk), neg(kChunk), out_neg(kChunk);
  Worst ulp, rel;
  uint64_t wrong = 0, asymmetric = 0;
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
      const bool sub = std::fabs(x) < 0x1p-126;
      const double ref = f.ref(g_flush && sub ? std::copysign(0.0, x) : x);
      if (g_flush && got == 0 && std::fabs(ref) < 0x1p-126 && ref != 0) continue;  // flushed result
      bool special;
      if (wrong_class(f.cls, x, got, ref, special)) ++wrong;
      if (special) continue;
      ulp.see(std::fabs(got - ref) / ulp_of(ref), x, got, ref);
      if (std::fabs(ref) >= 0x1p-126) rel.see(std::fabs(got / ref - 1), x, got, ref);
    }
  }
  const bool ok = wrong == 0 && asymmetric == 0 &&
                  (level == 2 ? rel.err <= 0x1p-11 : ulp.err <= (level == 1 ? 1.0 : 4.0));
  printf("%-8s %s%s  worst %.3f ulp at %a (got %a, want %a)  relative 2^%.2f at %a  wrong class %llu  "
         "asymmetric %llu  %s\n",
         f.row, kLevel[level], g_flush ? " FTZ/DAZ" : "", ulp.err, ulp.x, ulp.got, ulp.ref, std::log2(rel.err), rel.x,
         static_cast<unsigned long long>(wrong), static_cast<unsigned long long>(asymmetric), ok ? "ok" : "BROKEN");
  fflush(stdout);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  int first = 1;
  if (argc > 1 && argv[1] == std::string("--flush")) g_flush = true, first = 2;
  zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE | (g_flush ? VQM_FTZDAZ_ON : VQM_FTZDAZ_OFF));
  bool ok = true;
  for (const Func& f : kFuncs) {
    for (int level = 0; level < 3; ++level) {
      if (f.one && level != 1) continue;
      bool want = argc == first;
      for (int i = first; i < argc; ++i)
        want |= argv[i] == std::string(f.row) || argv[i] == std::string(f.row) + ":" + kLevel[level];
      if (want) ok &= check(f, level);
    }
  }
  return ok ? 0 : 1;
}
