// Generates vector/trig/trig_data.cpp: the circle table of the sine and cosine
// kernels and the bits of 1/(2 pi) for the large-argument reduction, computed
// with MPFR.
//
//   zev_trig_tables > vector/trig/trig_data.cpp
//
// kSinCos512: row j for B = j pi/256, fields cosLo, cosHi, sinHi, sinLo.
//   sinHi = sin B rounded to nearest, sinLo = the rest rounded; cosHi = cos B
//   rounded to the nearest power of two with its sign (0 where cos B is 0),
//   cosLo = cos B - cosHi rounded. A power of two in cosHi makes cosHi r exact.
// kTanPivot256: row j for the pivot B = j pi/256 (one period of the tangent),
//   13 fields: poleHi, poleLo (pi/2 - B), tag (1 in rows 64 to 191, where the
//   pole term 1/(pi/2 - B - r) is taken out of the polynomial), c0Hi, c0Lo,
//   c1Hi (a power of two, the largest not above c1), c1Lo, c2 to c7: the
//   Taylor coefficients of tan(B + r), less the pole term's where tag is 1.
//   Over |r| <= pi/512 the truncation after r^7 is below 2^-55.6 relative, at
//   the rows next to pi/4 (the generator prints the bound and stops above 2^-55).
// kInvTwoPi64: row e (a biased exponent) holds R(e) = floor(2^(192 + e - 1075)
//   / (2 pi)) mod 2^192 as three words, most significant first.
// kSinCos256 (single, large path of the single kernels): row j for
//   B = j pi/128, fields cosLo, sinHi, sinLo, cosHi in float, by the rules of
//   kSinCos512.
// kInvTwoPi32: row e (a biased exponent of a float) holds R(e) =
//   floor(2^(96 + e - 150) / (2 pi)) mod 2^96 as three 32-bit words, most
//   significant first, and a zero word that makes a row one aligned load.
#include <gmp.h>
#include <mpfr.h>

#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <algorithm>

namespace {

constexpr mpfr_prec_t kPrec = 256;

// The nearest power of two to |c| with the sign of c, c not zero.
double nearest_pow2(mpfr_t c, mpfr_t t) {
  const double cd = mpfr_get_d(c, MPFR_RNDN);
  int e;
  std::frexp(std::fabs(cd), &e);  // |c| in [2^(e-1), 2^e)
  const double lo = std::ldexp(1.0, e - 1), hi = std::ldexp(1.0, e);
  mpfr_abs(t, c, MPFR_RNDN);
  mpfr_mul_2si(t, t, 1, MPFR_RNDN);
  mpfr_sub_d(t, t, lo + hi, MPFR_RNDN);  // 2|c| - (lo + hi): sign tells the nearer end
  return std::copysign(mpfr_sgn(t) < 0 ? lo : hi, cd);
}

// Row j of a circle table of n rows (B = 2 pi j / n) in T: sinHi the sine
// rounded to nearest, cosHi the nearest power of two to the cosine (so that
// cosHi r is exact), the lo parts the rests rounded to nearest; the quarter
// turns exact (MPFR would leave a tiny remainder of pi's rounding).
template <class T>
struct CircleRow {
  T cosLo = 0, cosHi = 0, sinHi = 0, sinLo = 0;
};
template <class T>
CircleRow<T> circle_row(int j, int n) {
  const auto get = [](mpfr_t x) -> T {
    if constexpr (sizeof(T) == 4)
      return mpfr_get_flt(x, MPFR_RNDN);
    else
      return mpfr_get_d(x, MPFR_RNDN);
  };
  mpfr_t b, s, c, t;
  mpfr_inits2(kPrec, b, s, c, t, (mpfr_ptr)0);
  mpfr_const_pi(b, MPFR_RNDN);
  mpfr_mul_si(b, b, j, MPFR_RNDN);
  mpfr_div_si(b, b, n / 2, MPFR_RNDN);
  mpfr_sin_cos(s, c, b, MPFR_RNDN);
  CircleRow<T> r;
  if (j % (n / 2) == 0) {
    r.cosHi = j == 0 ? 1 : -1;
  } else if (j % (n / 4) == 0) {
    r.sinHi = j == n / 4 ? 1 : -1;
  } else {
    r.sinHi = get(s);
    mpfr_sub_d(t, s, r.sinHi, MPFR_RNDN);
    r.sinLo = get(t);
    r.cosHi = static_cast<T>(nearest_pow2(c, t));
    mpfr_sub_d(t, c, r.cosHi, MPFR_RNDN);
    r.cosLo = get(t);
  }
  mpfr_clears(b, s, c, t, (mpfr_ptr)0);
  return r;
}

void sincos512() {
  printf("// Row j for B = j pi/256: cosLo, cosHi, sinHi, sinLo.\n");
  printf("alignas(32) const double kSinCos512[512][4] = {\n");
  for (int j = 0; j < 512; ++j) {
    const CircleRow<double> r = circle_row<double>(j, 512);
    printf("    {%a, %a, %a, %a},\n", r.cosLo, r.cosHi, r.sinHi, r.sinLo);
  }
  printf("};\n\n");
}

void tan_pivot256() {
  constexpr int kN = 9;
  constexpr mpfr_prec_t kP = 1024;
  mpfr_t b, y, t[kN], acc, v, q;
  mpfr_inits2(kP, b, y, acc, v, q, (mpfr_ptr)0);
  for (auto& x : t) mpfr_init2(x, kP);
  double worst = 0;
  printf("// Row j for B = j pi/256: poleHi, poleLo, tag, c0Hi, c0Lo, c1Hi, c1Lo, c2, ..., c7.\n");
  printf("alignas(32) const double kTanPivot256[256][13] = {\n");
  for (int j = 0; j < 256; ++j) {
    const bool tag = j >= 64 && j < 192;
    mpfr_const_pi(b, MPFR_RNDN);
    mpfr_mul_si(b, b, j, MPFR_RNDN);
    mpfr_div_si(b, b, 256, MPFR_RNDN);
    mpfr_const_pi(y, MPFR_RNDN);
    mpfr_div_si(y, y, 2, MPFR_RNDN);
    mpfr_sub(y, y, b, MPFR_RNDN);  // pi/2 - B
    if (j == 128) {
      // 1/y - cot y = y/3 + y^3/45 + 2 y^5/945 + y^7/4725 + ..., y = -r: the
      // function tan(pi/2 + r) + 1/r = -cot r + 1/r has the same series in r.
      const int num[kN] = {0, 1, 0, 1, 0, 2, 0, 1, 0}, den[kN] = {1, 3, 1, 45, 1, 945, 1, 4725, 1};
      for (int k = 0; k < kN; ++k) {
        mpfr_set_si(t[k], num[k], MPFR_RNDN);
        mpfr_div_si(t[k], t[k], den[k], MPFR_RNDN);
      }
    } else {
      mpfr_tan(t[0], b, MPFR_RNDN);
      for (int k = 0; k + 1 < kN; ++k) {
        mpfr_set_si(acc, k == 0 ? 1 : 0, MPFR_RNDN);
        for (int i = 0; i <= k; ++i) {
          mpfr_mul(v, t[i], t[k - i], MPFR_RNDN);
          mpfr_add(acc, acc, v, MPFR_RNDN);
        }
        mpfr_div_si(t[k + 1], acc, k + 1, MPFR_RNDN);
      }
      if (tag) {
        // Less the pole term: 1/(y - r) = sum r^k / y^(k+1).
        mpfr_set(q, y, MPFR_RNDN);
        for (int k = 0; k < kN; ++k) {
          mpfr_ui_div(v, 1, q, MPFR_RNDN);
          mpfr_sub(t[k], t[k], v, MPFR_RNDN);
          mpfr_mul(q, q, y, MPFR_RNDN);
        }
      }
    }
    // The r^8 term at |r| = pi/512 against the least value on the interval
    // (|r|/3 at least in rows 0 and 128, whose series are odd).
    const double c8 = std::fabs(mpfr_get_d(t[8], MPFR_RNDN)), rmax = M_PI / 512;
    const double least = std::fabs(mpfr_get_d(t[0], MPFR_RNDN)) - std::fabs(mpfr_get_d(t[1], MPFR_RNDN)) * rmax;
    const double floor_value = least > 0 ? least : rmax / 3;
    if (c8 * std::pow(rmax, 8) > 0x1p-55 * floor_value) {
      fprintf(stderr, "row %d: degree 7 is short\n", j);
      return;
    }
    worst = std::max(worst, c8 * std::pow(rmax, 8) / floor_value);
    const double poleHi = mpfr_get_d(y, MPFR_RNDN);
    mpfr_sub_d(v, y, poleHi, MPFR_RNDN);
    const double poleLo = mpfr_get_d(v, MPFR_RNDN);
    const double c0Hi = mpfr_get_d(t[0], MPFR_RNDN);
    mpfr_sub_d(v, t[0], c0Hi, MPFR_RNDN);
    double c0Lo = mpfr_get_d(v, MPFR_RNDN);
    if (std::fabs(c0Lo) < 0x1p-900) c0Lo = 0;  // tan(3 pi/4) = -1: the rest is pi's rounding at 1024 bits
    int e;
    std::frexp(mpfr_get_d(t[1], MPFR_RNDD), &e);
    const double c1Hi = std::ldexp(1.0, e - 1);
    mpfr_sub_d(v, t[1], c1Hi, MPFR_RNDN);
    const double c1Lo = mpfr_get_d(v, MPFR_RNDN);
    printf("    {%a, %a, %d, %a, %a, %a, %a", poleHi, poleLo, tag ? 1 : 0, c0Hi, c0Lo, c1Hi, c1Lo);
    for (int k = 2; k < 8; ++k) printf(", %a", mpfr_get_d(t[k], MPFR_RNDN));
    printf("},\n");
  }
  printf("};\n\n");
  fprintf(stderr, "tangent pivots: r^8 term below 2^%.1f relative\n", std::log2(worst));
  for (auto& x : t) mpfr_clear(x);
  mpfr_clears(b, y, acc, v, q, (mpfr_ptr)0);
}

void sincos256() {
  printf("// Row j for B = j pi/128, in float: cosLo, sinHi, sinLo, cosHi.\n");
  printf("alignas(16) const float kSinCos256[256][4] = {\n");
  for (int j = 0; j < 256; ++j) {
    const CircleRow<float> r = circle_row<float>(j, 256);
    printf("    {%af, %af, %af, %af},\n", r.cosLo, r.sinHi, r.sinLo, r.cosHi);
  }
  printf("};\n\n");
}

void inv_two_pi32() {
  // 2^(e - 54) / (2 pi) up to 2^201: 400 bits hold its integer part exactly.
  mpfr_t v;
  mpfr_init2(v, 400);
  mpz_t z, mod;
  mpz_inits(z, mod, nullptr);
  mpz_ui_pow_ui(mod, 2, 96);
  printf("// Row e: floor(2^(96 + e - 150) / (2 pi)) mod 2^96, most significant word first, and 0.\n");
  printf("alignas(16) const uint32_t kInvTwoPi32[256][4] = {\n");
  for (int e = 0; e < 256; ++e) {
    mpfr_const_pi(v, MPFR_RNDN);
    mpfr_mul_2si(v, v, 1, MPFR_RNDN);
    mpfr_ui_div(v, 1, v, MPFR_RNDN);
    mpfr_mul_2si(v, v, e - 54, MPFR_RNDN);
    mpfr_get_z(z, v, MPFR_RNDD);
    mpz_mod(z, z, mod);
    uint32_t w[3];
    for (int k = 2; k >= 0; --k) {
      w[k] = static_cast<uint32_t>(mpz_get_ui(z) & 0xFFFFFFFFu);
      mpz_tdiv_q_2exp(z, z, 32);
    }
    printf("    {0x%08" PRIX32 ", 0x%08" PRIX32 ", 0x%08" PRIX32 ", 0},\n", w[0], w[1], w[2]);
  }
  printf("};\n\n");
  mpz_clears(z, mod, nullptr);
  mpfr_clear(v);
}

void inv_two_pi64() {
  // 2^(e - 883) / (2 pi) needs its integer part exact: up to 2^1165, so 1500 bits.
  mpfr_t v;
  mpfr_init2(v, 1500);
  mpz_t z, mod;
  mpz_inits(z, mod, nullptr);
  mpz_ui_pow_ui(mod, 2, 192);
  printf("// Row e: floor(2^(192 + e - 1075) / (2 pi)) mod 2^192, most significant word first.\n");
  printf("alignas(32) const uint64_t kInvTwoPi64[2048][3] = {\n");
  for (int e = 0; e < 2048; ++e) {
    mpfr_const_pi(v, MPFR_RNDN);
    mpfr_mul_2si(v, v, 1, MPFR_RNDN);
    mpfr_ui_div(v, 1, v, MPFR_RNDN);
    mpfr_mul_2si(v, v, e - 883, MPFR_RNDN);
    mpfr_get_z(z, v, MPFR_RNDD);
    mpz_mod(z, z, mod);
    uint64_t w[3];
    for (int k = 2; k >= 0; --k) {
      w[k] = mpz_get_ui(z);  // the low 64 bits (unsigned long is 64 bits here)
      mpz_tdiv_q_2exp(z, z, 64);
    }
    printf("    {0x%016" PRIX64 ", 0x%016" PRIX64 ", 0x%016" PRIX64 "},\n", w[0], w[1], w[2]);
  }
  printf("};\n\n");
  mpz_clears(z, mod, nullptr);
  mpfr_clear(v);
}

}  // namespace

int main() {
  printf("// Tables of the circular functions.\n");
  printf("// Generated by tools/trig_tables (zev_trig_tables > vector/trig/trig_data.cpp):\n");
  printf("// MPFR at 256 bits (1500 and 400 for the bits of 1/(2 pi)), rounded to nearest. Do not edit.\n");
  printf("#include \"vector/trig/trig_data.h\"\n\nnamespace zev::vk::trigdata {\n\n");
  sincos512();
  tan_pivot256();
  inv_two_pi64();
  sincos256();
  inv_two_pi32();
  printf("}  // namespace zev::vk::trigdata\n");
  return 0;
}
