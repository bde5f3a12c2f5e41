// Generates vector/erf/erf_data.cpp, the tables of the error-function family,
// with MPFR at 320 bits:
//
//   zev_erf_tables > vector/erf/erf_data.cpp
//   zev_erf_tables single > vector/erf/erf_single_data.cpp   (kErfS, kInvTailS)
//
// Forward tables, on the grid b = i/128:
//   kErfPacked   768 rows {packed E and w, H}: E = erf(b) rounded down to
//                double, stored times 2^-1016 in the low 55 bits; w = the word
//                shifted right by 32, whose top 9 bits are the largest that
//                keep E w 2^-84 below the rest erf(b) - E (within 2^-61 E); H =
//                2^32 exp(-b^2). Rows 0 to 3 are {0, 2^32}.
//   kErf         768 rows {E, G}: erf(b), (2/sqrt(pi)) exp(-b^2).
//   kErfc        3488 rows {T, Tl, G, 0}: T + Tl = 2^128 erfc(b), G =
//                2^128 (2/sqrt(pi)) exp(-b^2).
//   kCdfNorm     4928 rows {T, Tl, G, 0}: T + Tl = 2^127 erfc(b/sqrt(2)), that
//                is 2^128 Phi(-b), G = 2^128 exp(-b^2/2)/sqrt(2 pi).
// Inverse tables, rows of polynomials in f (see erf_data.h): 212 rows in
// a = 1 - w, four a binade, for a in [2^-54, 1/2), then 208 rows in w, for
// w in [2^-53, 1/2); row values s erfinv(a) and s erfcinv(w), s = 1 (ErfInv,
// ErfcInv) and sqrt(2) (CdfNormInv). Each row is the interpolant of its
// function at the Chebyshev nodes of f in [-1/8, 1/8], converted to powers of
// f; the printed comment gives its largest error relative to the function,
// measured at 64 points a row with the stored (rounded) coefficients.
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "erf_inverse_mpfr.h"

namespace {

constexpr mpfr_prec_t kPrec = 320;

uint64_t dbits(double d) {
  uint64_t u;
  memcpy(&u, &d, 8);
  return u;
}
double dfrom(uint64_t u) {
  double d;
  memcpy(&d, &u, 8);
  return d;
}

struct M {
  mpfr_t v;
  M() { mpfr_init2(v, kPrec); }
  ~M() { mpfr_clear(v); }
  M(const M&) = delete;
  operator mpfr_ptr() { return v; }
};

// ---- inverse rows ------------------------------------------------------------

constexpr int kCentralRows = 212, kPoleRows = 208;

// The point 2^e (1.125 + q/4 + f) of row r: e and q from the row number.
void row_point(mpfr_t x, int r, double f) {
  const bool pole = r >= kCentralRows;
  const int k = pole ? r - kCentralRows : r;  // k = 0x3FE*4+3 - (exponent*4 + q)
  const int code = 0xFF7 - k;
  const int e = (code >> 2) - 1023, q = code & 3;
  mpfr_set_d(x, 1.125 + q * 0.25, MPFR_RNDN);
  mpfr_add_d(x, x, f, MPFR_RNDN);
  mpfr_mul_2si(x, x, e, MPFR_RNDN);
}

void row_value(mpfr_t y, int r, const mpfr_t f, const mpfr_t scale) {
  const bool pole = r >= kCentralRows;
  M x;
  row_point(x, r, 0.0);
  M t;
  mpfr_set(t, f, MPFR_RNDN);
  mpfr_mul_2si(t, t, mpfr_get_exp(x) - 1, MPFR_RNDN);  // f in units of 2^e
  mpfr_add(x, x, t, MPFR_RNDN);
  if (!zev::erfmp::solve(y, x, pole)) fprintf(stderr, "no convergence\n");
  mpfr_mul(y, y, scale, MPFR_RNDN);
}

// Monomial coefficients c[0..d] in u of the interpolant of value(u) at the
// Chebyshev nodes of u in [-1, 1].
template <class Value>
void fit_nodes(int d, Value value, std::vector<M*>& c) {
  const int n = d + 1;
  std::vector<std::vector<M*>> a(n);
  for (int i = 0; i < n; ++i) {
    a[i].resize(n + 1);
    for (int j = 0; j <= n; ++j) a[i][j] = new M;
  }
  M node, pi, tmp, uu;
  mpfr_const_pi(pi, MPFR_RNDN);
  for (int i = 0; i < n; ++i) {
    // u_i = cos(pi (2i+1) / (2n))
    mpfr_mul_si(node, pi, 2 * i + 1, MPFR_RNDN);
    mpfr_div_si(node, node, 2 * n, MPFR_RNDN);
    mpfr_cos(uu, node, MPFR_RNDN);
    mpfr_set_ui(tmp, 1, MPFR_RNDN);
    for (int j = 0; j < n; ++j) {
      mpfr_set(*a[i][j], tmp, MPFR_RNDN);
      mpfr_mul(tmp, tmp, uu, MPFR_RNDN);
    }
    value(*a[i][n], uu);
  }
  // Gaussian elimination with partial pivoting.
  for (int col = 0; col < n; ++col) {
    int p = col;
    for (int i = col + 1; i < n; ++i)
      if (mpfr_cmpabs(*a[i][col], *a[p][col]) > 0) p = i;
    std::swap(a[col], a[p]);
    for (int i = col + 1; i < n; ++i) {
      mpfr_div(tmp, *a[i][col], *a[col][col], MPFR_RNDN);
      for (int j = col; j <= n; ++j) {
        mpfr_mul(uu, tmp, *a[col][j], MPFR_RNDN);
        mpfr_sub(*a[i][j], *a[i][j], uu, MPFR_RNDN);
      }
    }
  }
  c.resize(n);
  for (int i = n - 1; i >= 0; --i) {
    c[i] = new M;
    mpfr_set(*c[i], *a[i][n], MPFR_RNDN);
    for (int j = i + 1; j < n; ++j) {
      mpfr_mul(tmp, *a[i][j], *c[j], MPFR_RNDN);
      mpfr_sub(*c[i], *c[i], tmp, MPFR_RNDN);
    }
    mpfr_div(*c[i], *c[i], *a[i][i], MPFR_RNDN);
  }
  for (auto& row : a)
    for (M* m : row) delete m;
}

// Monomial coefficients c[0..d] in f of row r's interpolant, f = u/8.
void fit(int r, int d, const mpfr_t scale, std::vector<M*>& c) {
  fit_nodes(
      d,
      [&](mpfr_ptr y, mpfr_ptr u) {
        M f;
        mpfr_div_2ui(f, u, 3, MPFR_RNDN);
        row_value(y, r, f, scale);
      },
      c);
  for (size_t i = 0; i < c.size(); ++i) mpfr_mul_2si(*c[i], *c[i], 3 * static_cast<long>(i), MPFR_RNDN);
}

// v rounded to 27 significant bits.
double round27(const mpfr_t v) {
  mpfr_t t;
  mpfr_init2(t, 27);
  mpfr_set(t, v, MPFR_RNDN);
  const double d = mpfr_get_d(t, MPFR_RNDN);
  mpfr_clear(t);
  return d;
}

// Largest relative error of a row's stored polynomial over 65 points. The
// split layout is l0 l1 c2..cD h0 h1.
double row_error(int r, const mpfr_t scale, const std::vector<double>& coef, int degree, bool split) {
  double worst = 0;
  M f, y, p, t;
  for (int k = 0; k <= 64; ++k) {
    const double fd = k == 64 ? 0.12499999 : -0.125 + k * (0.25 / 64);
    mpfr_set_d(f, fd, MPFR_RNDN);
    row_value(y, r, f, scale);
    mpfr_set_ui(p, 0, MPFR_RNDN);
    for (int i = degree; i >= 0; --i) {
      mpfr_mul(p, p, f, MPFR_RNDN);
      if (split && i < 2) {
        mpfr_add_d(p, p, coef[i], MPFR_RNDN);
        mpfr_add_d(p, p, coef[degree + 1 + i], MPFR_RNDN);
      } else {
        mpfr_add_d(p, p, coef[i], MPFR_RNDN);
      }
    }
    mpfr_sub(t, p, y, MPFR_RNDN);
    mpfr_div(t, t, y, MPFR_RNDN);
    worst = std::fmax(worst, std::fabs(mpfr_get_d(t, MPFR_RNDN)));
  }
  return worst;
}

void inverse_table(const char* name, double s2, int degree, bool split) {
  M scale;
  mpfr_set_ui(scale, static_cast<unsigned>(s2), MPFR_RNDN);
  mpfr_sqrt(scale, scale, MPFR_RNDN);
  const int len = split ? degree + 3 : degree + 1;
  const int width = (len + 1) & ~1;
  std::vector<std::vector<double>> rows;
  double worst = 0;
  for (int r = 0; r < kCentralRows + kPoleRows; ++r) {
    std::vector<M*> c;
    fit(r, degree, scale, c);
    std::vector<double> out;
    if (split) {
      const double h0 = round27(*c[0]), h1 = round27(*c[1]);
      M t;
      mpfr_sub_d(t, *c[0], h0, MPFR_RNDN);
      out.push_back(mpfr_get_d(t, MPFR_RNDN));
      mpfr_sub_d(t, *c[1], h1, MPFR_RNDN);
      out.push_back(mpfr_get_d(t, MPFR_RNDN));
      for (int i = 2; i <= degree; ++i) out.push_back(mpfr_get_d(*c[i], MPFR_RNDN));
      out.push_back(h0);
      out.push_back(h1);
    } else {
      for (int i = 0; i <= degree; ++i) out.push_back(mpfr_get_d(*c[i], MPFR_RNDN));
    }
    worst = std::fmax(worst, row_error(r, scale, out, degree, split));
    while (static_cast<int>(out.size()) < width) out.push_back(0.0);
    rows.push_back(out);
    for (M* m : c) delete m;
  }
  printf("// %s: degree %d%s, scale sqrt(%g); largest relative error of a row %.3g\n", name, degree,
         split ? ", l0 l1 c2..c14 h0 h1" : "", s2, worst);
  printf("alignas(16) const double %s[%d][%d] = {\n", name, kCentralRows + kPoleRows, width);
  for (const auto& row : rows) {
    printf("    {");
    for (size_t i = 0; i < row.size(); ++i) printf("%s%a", i ? ", " : "", row[i]);
    printf("},\n");
  }
  printf("};\n\n");
}

// ---- forward tables -------------------------------------------------------------

void erf_tables() {
  M b, e, g, t, twoover;
  mpfr_const_pi(twoover, MPFR_RNDN);
  mpfr_sqrt(twoover, twoover, MPFR_RNDN);
  mpfr_ui_div(twoover, 2, twoover, MPFR_RNDN);
  printf("// 768 rows {packed E and w, H} on b = i/128\n");
  printf("alignas(16) const uint64_t kErfPacked[768][2] = {\n");
  for (int i = 0; i < 768; ++i) {
    uint64_t w0 = 0, w1 = dbits(4294967296.0);
    if (i >= 4) {
      mpfr_set_si(b, i, MPFR_RNDN);
      mpfr_div_2ui(b, b, 7, MPFR_RNDN);
      mpfr_erf(e, b, MPFR_RNDN);
      const double E = mpfr_get_d(e, MPFR_RNDD);
      mpfr_sub_d(t, e, E, MPFR_RNDN);  // rest, >= 0
      const uint64_t body = dbits(E * 0x1p-1016);
      const uint64_t low23 = body >> 32;  // the bits of E that fall into w
      mpfr_div_d(t, t, E, MPFR_RNDN);
      mpfr_mul_2si(t, t, 84, MPFR_RNDN);  // wanted w
      const double want = mpfr_get_d(t, MPFR_RNDN);
      long top = static_cast<long>(std::floor((want - static_cast<double>(low23)) / 8388608.0));
      if (top < 0) top = 0;
      if (top > 511) top = 511;
      w0 = body | (static_cast<uint64_t>(top) << 55);
      mpfr_sqr(g, b, MPFR_RNDN);
      mpfr_neg(g, g, MPFR_RNDN);
      mpfr_exp(g, g, MPFR_RNDN);
      mpfr_mul_2si(g, g, 32, MPFR_RNDN);
      w1 = dbits(mpfr_get_d(g, MPFR_RNDN));
    }
    printf("    {0x%016llXull, 0x%016llXull},\n", static_cast<unsigned long long>(w0),
           static_cast<unsigned long long>(w1));
  }
  printf("};\n\n");
  printf("// 768 rows {erf(b), (2/sqrt(pi)) exp(-b^2)} on b = i/128\n");
  printf("alignas(16) const double kErf[768][2] = {\n");
  for (int i = 0; i < 768; ++i) {
    mpfr_set_si(b, i, MPFR_RNDN);
    mpfr_div_2ui(b, b, 7, MPFR_RNDN);
    mpfr_erf(e, b, MPFR_RNDN);
    mpfr_sqr(g, b, MPFR_RNDN);
    mpfr_neg(g, g, MPFR_RNDN);
    mpfr_exp(g, g, MPFR_RNDN);
    mpfr_mul(g, g, twoover, MPFR_RNDN);
    printf("    {%a, %a},\n", mpfr_get_d(e, MPFR_RNDN), mpfr_get_d(g, MPFR_RNDN));
  }
  printf("};\n\n");
}

// Rows {T, Tl, G, 0}: T + Tl = 2^scale erfc(b k), G = 2^scale d/db of -erfc(b k).
void tail_table(const char* name, int rows, int scale, bool normal) {
  M b, x, e, g, t, c;
  mpfr_const_pi(c, MPFR_RNDN);
  mpfr_sqrt(c, c, MPFR_RNDN);
  mpfr_ui_div(c, 2, c, MPFR_RNDN);  // 2/sqrt(pi)
  if (normal) {                      // d/db erfc(b/sqrt2) = (2/sqrt(pi)) e^{-b^2/2} / sqrt2; halved by 2^127
    mpfr_sqrt_ui(t, 2, MPFR_RNDN);
    mpfr_div(c, c, t, MPFR_RNDN);
  }
  printf("// %d rows {T, Tl, G, 0} on b = i/128\n", rows);
  printf("alignas(16) const double %s[%d][4] = {\n", name, rows);
  for (int i = 0; i < rows; ++i) {
    mpfr_set_si(b, i, MPFR_RNDN);
    mpfr_div_2ui(b, b, 7, MPFR_RNDN);
    mpfr_set(x, b, MPFR_RNDN);
    if (normal) {
      mpfr_sqrt_ui(t, 2, MPFR_RNDN);
      mpfr_div(x, x, t, MPFR_RNDN);
    }
    mpfr_erfc(e, x, MPFR_RNDN);
    mpfr_mul_2si(e, e, scale, MPFR_RNDN);
    const double T = mpfr_get_d(e, MPFR_RNDN);
    mpfr_sub_d(t, e, T, MPFR_RNDN);
    const double Tl = mpfr_get_d(t, MPFR_RNDN);
    mpfr_sqr(g, x, MPFR_RNDN);
    mpfr_neg(g, g, MPFR_RNDN);
    mpfr_exp(g, g, MPFR_RNDN);
    mpfr_mul(g, g, c, MPFR_RNDN);
    mpfr_mul_2si(g, g, scale, MPFR_RNDN);
    printf("    {%a, %a, %a, 0},\n", T, Tl, mpfr_get_d(g, MPFR_RNDN));
  }
  printf("};\n\n");
}

// The deep tail of the single inverses, w = erfc(z) in [2^-150, 2^-53]:
// z = t P(u), t = sqrt(-ln w), u = K (1/t - C) in [-1, 1], P of degree 8
// interpolating z/t at the Chebyshev nodes of u; {C, K, p0..p8}.
void single_tail() {
  constexpr int kDegree = 8;
  M a, b, t, w, z;
  mpfr_const_log2(a, MPFR_RNDN);
  mpfr_mul_ui(b, a, 150, MPFR_RNDN);
  mpfr_mul_ui(a, a, 53, MPFR_RNDN);
  mpfr_rec_sqrt(a, a, MPFR_RNDN);  // 1/t at w = 2^-53, the upper end of 1/t
  mpfr_rec_sqrt(b, b, MPFR_RNDN);
  mpfr_add(t, a, b, MPFR_RNDN);
  const double C = mpfr_get_d(t, MPFR_RNDN) / 2;
  mpfr_sub(t, a, b, MPFR_RNDN);
  const double K = 2 / mpfr_get_d(t, MPFR_RNDN);
  // z/t at u, with 1/t = C + u/K taken from the stored C and K.
  auto value = [&](mpfr_ptr y, mpfr_srcptr u) {
    mpfr_div_d(t, u, K, MPFR_RNDN);
    mpfr_add_d(t, t, C, MPFR_RNDN);
    mpfr_ui_div(t, 1, t, MPFR_RNDN);
    mpfr_sqr(w, t, MPFR_RNDN);
    mpfr_neg(w, w, MPFR_RNDN);
    mpfr_exp(w, w, MPFR_RNDN);
    zev::erfmp::erfcinv(z, w);
    mpfr_div(y, z, t, MPFR_RNDN);
  };
  std::vector<M*> c;
  fit_nodes(kDegree, value, c);
  std::vector<double> p;
  for (M* m : c) p.push_back(mpfr_get_d(*m, MPFR_RNDN)), delete m;
  double worst = 0;
  M y, q, u;
  for (int k = 0; k <= 400; ++k) {
    mpfr_set_d(u, -1 + k / 200.0, MPFR_RNDN);
    value(y, u);
    mpfr_set_ui(q, 0, MPFR_RNDN);
    for (int i = kDegree; i >= 0; --i) {
      mpfr_mul(q, q, u, MPFR_RNDN);
      mpfr_add_d(q, q, p[i], MPFR_RNDN);
    }
    mpfr_div(q, q, y, MPFR_RNDN);
    mpfr_sub_ui(q, q, 1, MPFR_RNDN);
    worst = std::fmax(worst, std::fabs(mpfr_get_d(q, MPFR_RNDN)));
  }
  printf("// {C, K, p0..p8}: erfcinv(w) = t P(K (1/t - C)), t = sqrt(-ln w), w in [2^-150, 2^-53];\n");
  printf("// largest relative error of the stored polynomial at 401 points %.3g\n", worst);
  printf("alignas(16) const double kInvTailS[%d] = {%a, %a", kDegree + 3, C, K);
  for (double d : p) printf(", %a", d);
  printf("};\n\n");
}

// The single rows of Erf: 504 rows {erf(b), (2/sqrt(pi)) exp(-b^2)} of float on
// b = i/128, up to 3.9296875, where erf rounds to 1 in single.
int single_tables() {
  printf(
      "// Single tables of the error-function family.\n"
      "// Generated by tools/erf_tables (zev_erf_tables single > vector/erf/erf_single_data.cpp):\n"
      "// MPFR at 320 bits, each value rounded to nearest single. Do not edit.\n"
      "#include \"vector/erf/erf_data.h\"\n\nnamespace zev::vk::erfdata {\n\n");
  M b, e, g, c;
  mpfr_const_pi(c, MPFR_RNDN);
  mpfr_sqrt(c, c, MPFR_RNDN);
  mpfr_ui_div(c, 2, c, MPFR_RNDN);
  printf("// 504 rows {erf(b), (2/sqrt(pi)) exp(-b^2)} on b = i/128\n");
  printf("alignas(16) const float kErfS[504][2] = {\n");
  for (int i = 0; i < 504; ++i) {
    mpfr_set_si(b, i, MPFR_RNDN);
    mpfr_div_2ui(b, b, 7, MPFR_RNDN);
    mpfr_erf(e, b, MPFR_RNDN);
    mpfr_sqr(g, b, MPFR_RNDN);
    mpfr_neg(g, g, MPFR_RNDN);
    mpfr_exp(g, g, MPFR_RNDN);
    mpfr_mul(g, g, c, MPFR_RNDN);
    printf("    {%a, %a},\n", mpfr_get_flt(e, MPFR_RNDN), mpfr_get_flt(g, MPFR_RNDN));
  }
  printf("};\n\n");
  single_tail();
  printf("}  // namespace zev::vk::erfdata\n");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && argv[1] == std::string("single")) return single_tables();
  printf(
      "// Tables of the error-function family.\n"
      "// Generated by tools/erf_tables (zev_erf_tables > vector/erf/erf_data.cpp):\n"
      "// MPFR at 320 bits. Do not edit. See erf_data.h for the layouts.\n"
      "#include \"vector/erf/erf_data.h\"\n\nnamespace zev::vk::erfdata {\n\n");
  erf_tables();
  tail_table("kErfc", 3488, 128, false);
  tail_table("kCdfNorm", 4928, 127, true);
  inverse_table("kInvHA", 1, 14, true);
  inverse_table("kInvLA", 1, 12, false);
  inverse_table("kInvEP", 1, 6, false);
  inverse_table("kInvS5", 1, 5, false);
  inverse_table("kInvS3", 1, 3, false);
  inverse_table("kNormInvHA", 2, 14, true);
  inverse_table("kNormInvLA", 2, 12, false);
  inverse_table("kNormInvEP", 2, 6, false);
  inverse_table("kNormInvS5", 2, 5, false);
  inverse_table("kNormInvS3", 2, 3, false);
  printf("}  // namespace zev::vk::erfdata\n");
  return 0;
}
