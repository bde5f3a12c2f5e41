// Generates vector/hyperbolic/hyperbolic_data.cpp: the power-of-two tables of
// Sinh and Cosh and the piecewise polynomial of Tanh, with MPFR at 256 bits,
// every value rounded to nearest.
//
//   zev_hyperbolic_tables > vector/hyperbolic/hyperbolic_data.cpp
//
// sinhTable16: 0.5 * 2^(j/16) and 0.5 * 2^(-j/16) as hi and lo, four arrays.
// coshTable128: rows {hi, lo of 0.5 * 2^(j/128), 0.5 * 2^(-j/128)}.
// tanhTable: 60 rows of 16 doubles. Row i >= 1 covers the eighth of a binade
// [b, b + 2^e/8) with b = 0.125 + (i - 1) step, eight rows a binade up to 20;
// its polynomial, of degree 10 in the distance from the interval's midpoint
// (row 58: from its centre 18.530773732699249), interpolates tanh at the
// Chebyshev nodes of the interval. Row 0 ([0, 0.125)) is
// the fitted odd-and-even polynomial given as constants, and row 59 (20 and
// beyond) is the constant 1. The generator prints each row's largest
// relative error against MPFR on 400 points of its interval.
#include <mpfr.h>

#include <cmath>
#include <cstdio>

namespace {

constexpr mpfr_prec_t kPrec = 256;

void half_pow2(mpfr_t v, int j, int n) {
  mpfr_set_si(v, j, MPFR_RNDN);
  mpfr_div_si(v, v, n, MPFR_RNDN);
  mpfr_exp2(v, v, MPFR_RNDN);
  mpfr_mul_d(v, v, 0.5, MPFR_RNDN);
}

void hi_lo(const mpfr_t v, double& hi, double& lo) {
  mpfr_t h;
  mpfr_init2(h, kPrec);
  hi = mpfr_get_d(v, MPFR_RNDN);
  mpfr_sub_d(h, v, hi, MPFR_RNDN);
  lo = mpfr_get_d(h, MPFR_RNDN);
  mpfr_clear(h);
}

void sinh_table() {
  mpfr_t v;
  mpfr_init2(v, kPrec);
  double t[4][16];
  for (int j = 0; j < 16; ++j) {
    half_pow2(v, j, 16);
    hi_lo(v, t[0][j], t[1][j]);
    half_pow2(v, -j, 16);
    hi_lo(v, t[2][j], t[3][j]);
  }
  const char* names[4] = {"plusHi", "plusLo", "minusHi", "minusLo"};
  printf("// 0.5 * 2^(j/16) and 0.5 * 2^(-j/16), hi and lo: |hi + lo - value| < 2^-106 relative\n");
  printf("alignas(16) const SinhTable16 sinhTable16 = {\n");
  for (int k = 0; k < 4; ++k) {
    printf("    .%s = {", names[k]);
    for (int j = 0; j < 16; ++j) printf("%s%a", j ? ", " : "", t[k][j]);
    printf("},\n");
  }
  printf("};\n\n");
  mpfr_clear(v);
}

void cosh_table() {
  mpfr_t v;
  mpfr_init2(v, kPrec);
  printf("// Rows {hi, lo of 0.5 * 2^(j/128), 0.5 * 2^(-j/128)}\n");
  printf("alignas(16) const double coshTable128[128][3] = {\n");
  for (int j = 0; j < 128; ++j) {
    double hi, lo;
    half_pow2(v, j, 128);
    hi_lo(v, hi, lo);
    half_pow2(v, -j, 128);
    printf("    {%a, %a, %a},\n", hi, lo, mpfr_get_d(v, MPFR_RNDN));
  }
  printf("};\n\n");
  mpfr_clear(v);
}

constexpr int kRows = 60;
constexpr int kDeg = 10;

// Row 0: the fitted polynomial about 0, in the order c0 to c10.
const double kRow0[kDeg + 1] = {0.0,
                                1.0,
                                -2.2641324065961031e-14,
                                -0.33333333332733495,
                                -6.1657913857114935e-10,
                                0.13333336553530611,
                                -9.6680215638798597e-07,
                                -0.053950559160515929,
                                -0.00020089404395508289,
                                0.023253339490596985,
                                -0.0053200028115862903};
constexpr double kRow58Centre = 18.530773732699249;

// Lower and upper end of row i's interval (i = 1 .. 58).
void row_interval(int i, double& lo, double& hi) {
  const int e = -3 + (i - 1) / 8;
  const int s = (i - 1) % 8;
  lo = std::ldexp(1.0 + s / 8.0, e);
  hi = std::ldexp(1.0 + (s + 1) / 8.0, e);
  if (i == 58) hi = 20.0;
}

// The polynomial of degree 10 in d = a - c that interpolates tanh(c + d) at
// the 11 Chebyshev nodes of [dl, dh] (near the minimax polynomial), solved
// for its monomial coefficients by Gaussian elimination at 256 bits.
void tanh_fit(double c, double dl, double dh, double (&out)[kDeg + 2]) {
  constexpr int n = kDeg + 1;
  mpfr_t m[n][n + 1], d, f, tmp;
  for (int i = 0; i < n; ++i)
    for (int k = 0; k <= n; ++k) mpfr_init2(m[i][k], kPrec);
  mpfr_inits2(kPrec, d, f, tmp, (mpfr_ptr)0);
  for (int i = 0; i < n; ++i) {
    // d_i = mid + half cos(pi (i + 1/2) / n)
    mpfr_const_pi(d, MPFR_RNDN);
    mpfr_mul_d(d, d, (i + 0.5) / n, MPFR_RNDN);
    mpfr_cos(d, d, MPFR_RNDN);
    mpfr_mul_d(d, d, 0.5 * (dh - dl), MPFR_RNDN);
    mpfr_add_d(d, d, 0.5 * (dh + dl), MPFR_RNDN);
    mpfr_add_d(f, d, c, MPFR_RNDN);
    mpfr_tanh(f, f, MPFR_RNDN);
    mpfr_set_ui(m[i][0], 1, MPFR_RNDN);
    for (int k = 1; k < n; ++k) mpfr_mul(m[i][k], m[i][k - 1], d, MPFR_RNDN);
    mpfr_set(m[i][n], f, MPFR_RNDN);
  }
  for (int col = 0; col < n; ++col) {
    int piv = col;
    for (int i = col + 1; i < n; ++i)
      if (mpfr_cmpabs(m[i][col], m[piv][col]) > 0) piv = i;
    if (piv != col)
      for (int k = 0; k <= n; ++k) mpfr_swap(m[piv][k], m[col][k]);
    for (int i = 0; i < n; ++i) {
      if (i == col) continue;
      mpfr_div(f, m[i][col], m[col][col], MPFR_RNDN);
      for (int k = col; k <= n; ++k) {
        mpfr_mul(tmp, f, m[col][k], MPFR_RNDN);
        mpfr_sub(m[i][k], m[i][k], tmp, MPFR_RNDN);
      }
    }
  }
  for (int k = 0; k < n; ++k) {
    mpfr_div(f, m[k][n], m[k][k], MPFR_RNDN);
    if (k == 0) {
      double hi, lo;
      hi_lo(f, hi, lo);
      out[0] = lo;
      out[1] = hi;
    } else {
      out[k + 1] = mpfr_get_d(f, MPFR_RNDN);
    }
  }
  for (int i = 0; i < n; ++i)
    for (int k = 0; k <= n; ++k) mpfr_clear(m[i][k]);
  mpfr_clears(d, f, tmp, (mpfr_ptr)0);
}

// Largest relative error of a row on its interval, against MPFR.
double row_error(const double (&row)[16], double lo, double hi) {
  mpfr_t x, y, p, d, t;
  mpfr_inits2(kPrec, x, y, p, d, t, (mpfr_ptr)0);
  double worst = 0;
  for (int s = 0; s <= 400; ++s) {
    const double a = lo + (hi - lo) * s / 400.0;
    if (a == 0) continue;
    mpfr_set_d(x, a, MPFR_RNDN);
    mpfr_tanh(y, x, MPFR_RNDN);
    mpfr_mul_d(d, x, row[13], MPFR_RNDN);
    mpfr_add_d(d, d, row[12], MPFR_RNDN);  // exact d = a scale + negCentre
    mpfr_set_d(p, row[11], MPFR_RNDN);
    for (int k = 10; k >= 2; --k) {
      mpfr_mul(p, p, d, MPFR_RNDN);
      mpfr_add_d(p, p, row[k], MPFR_RNDN);
    }
    mpfr_mul(p, p, d, MPFR_RNDN);
    mpfr_add_d(p, p, row[0], MPFR_RNDN);
    mpfr_add_d(p, p, row[1], MPFR_RNDN);
    mpfr_sub(t, p, y, MPFR_RNDN);
    mpfr_div(t, t, y, MPFR_RNDN);
    worst = std::fmax(worst, std::fabs(mpfr_get_d(t, MPFR_RNDN)));
  }
  mpfr_clears(x, y, p, d, t, (mpfr_ptr)0);
  return worst;
}

void tanh_table(const char* name, bool report) {
  double rows[kRows][16] = {};
  double err[kRows] = {};
  for (int k = 0; k <= kDeg; ++k) rows[0][k + 1] = kRow0[k];
  rows[0][0] = 0.0;
  rows[0][12] = 0.0;
  rows[0][13] = 1.0;
  err[0] = row_error(rows[0], 0.0, 0.125);
  for (int i = 1; i <= 58; ++i) {
    double lo, hi;
    row_interval(i, lo, hi);
    const double c = i == 58 ? kRow58Centre : 0.5 * (lo + hi);
    double t[kDeg + 2];
    tanh_fit(c, lo - c, hi - c, t);
    for (int k = 0; k < kDeg + 2; ++k) rows[i][k] = t[k];
    rows[i][12] = -c;
    rows[i][13] = 1.0;
    err[i] = row_error(rows[i], lo, hi);
  }
  rows[59][1] = 1.0;
  printf("// Rows {c0Lo, c0Hi, c1, ..., c10, negCentre, scale, 0, 0}%s\n",
         report ? "; largest relative error of each row's polynomial on its interval:" : " (the same rows)");
  if (report) {
    double worst = 0;
    for (int i = 0; i < kRows; ++i) worst = std::fmax(worst, err[i]);
    printf("// all rows below %.3g (2^%.1f); row 0 %.3g, rows 1-58 at most %.3g\n", worst, std::log2(worst), err[0],
           [&] {
             double w = 0;
             for (int i = 1; i < kRows; ++i) w = std::fmax(w, err[i]);
             return w;
           }());
  }
  printf("alignas(16) const double %s[60][16] = {\n", name);
  for (int i = 0; i < kRows; ++i) {
    printf("    {");
    for (int k = 0; k < 16; ++k) printf("%s%a", k ? ", " : "", rows[i][k]);
    printf("},\n");
  }
  printf("};\n\n");
}

}  // namespace

int main() {
  printf("// Tables of the hyperbolic kernels.\n");
  printf("// Generated by tools/hyperbolic_tables (zev_hyperbolic_tables > vector/hyperbolic/hyperbolic_data.cpp):\n");
  printf("// MPFR at 256 bits, each value rounded to nearest. Do not edit.\n");
  printf("#include \"vector/hyperbolic/hyperbolic_data.h\"\n\nnamespace zev::vk::hyp {\n\n");
  sinh_table();
  cosh_table();
  tanh_table("tanhTable", true);
  tanh_table("tanhTableLA", false);
  printf("}  // namespace zev::vk::hyp\n");
  return 0;
}
