// Generates vector/gamma/gamma_data.cpp: the coefficients of the gamma and
// exponential-integral kernels, computed with MPFR at 320 bits.
//
//   zev_gamma_tables > vector/gamma/gamma_data.cpp
//
// Extended-format values (long double) are rounded to nearest from MPFR and
// printed in hexadecimal, so the file reads back bit for bit. Fits are
// weighted least squares on 6(N+1) Chebyshev nodes of the interval, which
// comes within a small factor of the minimax error; the error printed beside
// each set is the largest relative error found on 4001 points of the interval,
// with the coefficients as stored (rounded), evaluated in MPFR.
#include <mpfr.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include "vector/gamma/gamma_data.h"

namespace {

using namespace zev::vk::gammadata;

constexpr mpfr_prec_t kPrec = 320;

struct M {
  mpfr_t v;
  M() { mpfr_init2(v, kPrec); mpfr_set_zero(v, 1); }
  M(double d) { mpfr_init2(v, kPrec); mpfr_set_d(v, d, MPFR_RNDN); }
  M(const M& o) { mpfr_init2(v, kPrec); mpfr_set(v, o.v, MPFR_RNDN); }
  M& operator=(const M& o) { mpfr_set(v, o.v, MPFR_RNDN); return *this; }
  ~M() { mpfr_clear(v); }
  long double ld() const { return mpfr_get_ld(v, MPFR_RNDN); }
  double d() const { return mpfr_get_d(v, MPFR_RNDN); }
};
M operator+(const M& a, const M& b) { M r; mpfr_add(r.v, a.v, b.v, MPFR_RNDN); return r; }
M operator-(const M& a, const M& b) { M r; mpfr_sub(r.v, a.v, b.v, MPFR_RNDN); return r; }
M operator*(const M& a, const M& b) { M r; mpfr_mul(r.v, a.v, b.v, MPFR_RNDN); return r; }
M operator/(const M& a, const M& b) { M r; mpfr_div(r.v, a.v, b.v, MPFR_RNDN); return r; }
M fabs(const M& a) { M r; mpfr_abs(r.v, a.v, MPFR_RNDN); return r; }
M lgam(const M& a) { M r; int s; mpfr_lgamma(r.v, &s, a.v, MPFR_RNDN); return r; }
M digam(const M& a) { M r; mpfr_digamma(r.v, a.v, MPFR_RNDN); return r; }
M e1(const M& a) { M r, n; mpfr_neg(n.v, a.v, MPFR_RNDN); mpfr_eint(r.v, n.v, MPFR_RNDN); mpfr_neg(r.v, r.v, MPFR_RNDN); return r; }
M expm(const M& a) { M r; mpfr_exp(r.v, a.v, MPFR_RNDN); return r; }
M logm(const M& a) { M r; mpfr_log(r.v, a.v, MPFR_RNDN); return r; }
M pi() { M r; mpfr_const_pi(r.v, MPFR_RNDN); return r; }
M euler() { M r; mpfr_const_euler(r.v, MPFR_RNDN); return r; }
M zeta(int k) { M r; mpfr_zeta_ui(r.v, k, MPFR_RNDN); return r; }
M fact(int k) { M r; mpfr_fac_ui(r.v, k, MPFR_RNDN); return r; }
double maxd(double a, double b) { return a > b ? a : b; }

void put_ld(const M& v, const char* end = ",\n") { std::printf("    %LaL%s", v.ld(), end); }
void put_d(const M& v, const char* end = ",\n") { std::printf("    %a%s", v.d(), end); }

// Solves A c = y (n x n) by Gaussian elimination with partial pivoting.
std::vector<M> solve(std::vector<std::vector<M>> a, std::vector<M> y) {
  const size_t n = y.size();
  for (size_t i = 0; i < n; ++i) {
    size_t p = i;
    for (size_t r = i + 1; r < n; ++r)
      if (mpfr_cmpabs(a[r][i].v, a[p][i].v) > 0) p = r;
    std::swap(a[i], a[p]);
    std::swap(y[i], y[p]);
    for (size_t r = i + 1; r < n; ++r) {
      const M f = a[r][i] / a[i][i];
      for (size_t c = i; c < n; ++c) a[r][c] = a[r][c] - f * a[i][c];
      y[r] = y[r] - f * y[i];
    }
  }
  std::vector<M> c(n);
  for (size_t i = n; i-- > 0;) {
    M s = y[i];
    for (size_t k = i + 1; k < n; ++k) s = s - a[i][k] * c[k];
    c[i] = s / a[i][i];
  }
  return c;
}

// A fit of f on [a, b] in t = x - centre: f(x) ~ t^s (c_0 + c_1 t + ... + c_N t^N),
// with the coefficients from index `first` on fixed in `fixed` (may be empty),
// weighted by 1/|f| (relative error). The variable is scaled by h = (b - a)/2
// inside the solve and scaled back. Returns the coefficients rounded as
// stored (extended or double) and the measured relative error.
struct Fit {
  std::vector<M> c;
  double err;
};
Fit fit(const std::function<M(const M&)>& f, const M& a, const M& b, const M& centre, int s, int n,
        bool extended, const std::vector<M>& fixed = {}, int first = 0, bool relative = true) {
  const int free = fixed.empty() ? n + 1 : first;
  const int nodes = 6 * (n + 1);
  const M h = (b - a) / M(2), mid = (a + b) / M(2);
  std::vector<std::vector<M>> ata(free, std::vector<M>(free));
  std::vector<M> aty(free);
  for (int j = 0; j < nodes; ++j) {
    M th;
    mpfr_set_d(th.v, M_PI * (2 * j + 1) / (2 * nodes), MPFR_RNDN);  // node angle, double is plenty
    mpfr_cos(th.v, th.v, MPFR_RNDN);
    const M x = mid + h * th;
    const M t = x - centre;
    const M u = t / h;
    const M fx = f(x);
    const M w = relative ? M(1) / fabs(fx) : M(1);
    M ts(1);
    for (int k = 0; k < s; ++k) ts = ts * t;
    M rhs = fx;
    std::vector<M> row(free);
    M uk(1);
    M tk(1);
    for (int k = 0; k <= n; ++k) {
      if (k < free) row[k] = ts * uk * w;
      else rhs = rhs - fixed[k - first] * ts * tk;
      uk = uk * u;
      tk = tk * t;
    }
    rhs = rhs * w;
    for (int p = 0; p < free; ++p) {
      for (int q = 0; q < free; ++q) ata[p][q] = ata[p][q] + row[p] * row[q];
      aty[p] = aty[p] + row[p] * rhs;
    }
  }
  std::vector<M> cu = solve(ata, aty);
  Fit out;
  M hk(1);
  for (int k = 0; k <= n; ++k) {
    M ck = k < free ? cu[k] / hk : fixed[k - first];
    M r;
    if (extended) mpfr_set_ld(r.v, ck.ld(), MPFR_RNDN);
    else mpfr_set_d(r.v, ck.d(), MPFR_RNDN);
    out.c.push_back(r);
    hk = hk * h;
  }
  out.err = 0;
  for (int j = 0; j <= 4000; ++j) {
    const M x = a + (b - a) * M(j / 4000.0);
    const M t = x - centre;
    if (mpfr_zero_p(t.v) && s > 0) continue;
    M p;
    for (int k = n; k >= 0; --k) p = p * t + out.c[k];
    for (int k = 0; k < s; ++k) p = p * t;
    const M fx = f(x);
    out.err = maxd(out.err, fabs(relative ? (p - fx) / fx : p - fx).d());
  }
  return out;
}

void put_fit(const char* type, const char* name, const char* what, const Fit& f, bool extended,
             const char* kind = "relative error") {
  std::printf("// %s; %s %.2g (2^%.1f)\n", what, kind, f.err, std::log2(f.err));
  std::printf("alignas(16) const %s %s[%zu] = {\n", type, name, f.c.size());
  for (const M& c : f.c) extended ? put_ld(c) : put_d(c);
  std::printf("};\n\n");
}

// A root of lgamma in (lo, hi) where lgamma changes sign, by bisection.
M root(M lo, M hi) {
  const bool neg_lo = mpfr_sgn(lgam(lo).v) < 0;
  for (int i = 0; i < 300; ++i) {
    const M m = (lo + hi) / M(2);
    if ((mpfr_sgn(lgam(m).v) < 0) == neg_lo) lo = m; else hi = m;
  }
  return (lo + hi) / M(2);
}

// The minimum of |gamma| in (-k-1, -k): the root of digamma there.
M minimum(int k) {
  M lo(-k - 1 + 1e-12), hi(-k - 1e-12);
  const bool neg_lo = mpfr_sgn(digam(lo).v) < 0;
  for (int i = 0; i < 200; ++i) {
    const M m = (lo + hi) / M(2);
    if ((mpfr_sgn(digam(m).v) < 0) == neg_lo) lo = m; else hi = m;
  }
  return (lo + hi) / M(2);
}

}  // namespace

int main() {
  std::printf(
      "// Coefficients of the gamma and exponential-integral kernels.\n"
      "// Generated by tools/gamma_tables (zev_gamma_tables > vector/gamma/gamma_data.cpp):\n"
      "// MPFR at 320 bits, values rounded to nearest. Do not edit.\n"
      "// Fits: weighted least squares on Chebyshev nodes; each error is the largest\n"
      "// relative error of the stored coefficients over the interval, in MPFR.\n"
      "#include \"vector/gamma/gamma_data.h\"\n\nnamespace zev::vk::gammadata {\n\n");

  // lgamma(1 + t) on t in [-0.125, 0.25): t (c1 + c2 t + ... + c17 t^16) with
  // c6 ... c17 fixed as given; c1 ... c5 fitted.
  {
    const double given[] = {0.16955717699094375, -0.14404989663541906, 0.12550967040163546, -0.11133428824955251,
                            0.10009944023621534, -0.0909521467531501,  0.08334819260138183, -0.07699907053943185,
                            0.07187829478937564, -0.06659156622817312, 0.053663994327534346, -0.02540957765007032};
    std::vector<M> fixed;
    for (double g : given) {
      M v;
      mpfr_set_ld(v.v, static_cast<long double>(g), MPFR_RNDN);
      fixed.push_back(v);
    }
    const Fit f = fit([](const M& x) { return lgam(x); }, M(0.875), M(1.25), M(1), 1, 16, true, fixed, 5);
    put_fit("long double", "kLgNear1",
            "lgamma(1 + t) = t P(t), t in [-0.125, 0.25); P(t) = sum c[k] t^k, c[5] on as given", f, true);
  }
  {
    const Fit f = fit([](const M& x) { return lgam(x); }, M(1.25), M(1.75), M(1.5), 0, 19, true);
    put_fit("long double", "kLgMid", "lgamma(1.5 + t) = sum c[k] t^k, t in [-0.25, 0.25)", f, true);
  }
  {
    const Fit f = fit([](const M& x) { return lgam(x); }, M(1.75), M(2.25), M(2), 1, 17, true);
    put_fit("long double", "kLgNear2", "lgamma(2 + t) = t sum c[k] t^k, t in [-0.25, 0.25)", f, true);
  }

  // Stirling: lgamma(x) = (x - 1/2)(ln x - 1) + (ln(2 pi) - 1)/2 + sum_k a_k / x^(2k-1),
  // a_k = B_2k / (2k (2k - 1)), B_2k = (-1)^(k+1) 2 (2k)! zeta(2k) / (2 pi)^(2k).
  // In double: the series adds at most 1/(12x) <= 2^-6.5 to a result of at
  // least lgamma(8) > 2^3, so a coefficient's rounding moves it by < 2^-63.
  std::printf("// Stirling's series: a[k-1] = B_2k / (2k (2k - 1)), k = 1 ... %d\n", kStirlingTerms);
  std::printf("alignas(16) const double kStirling[%d] = {\n", kStirlingTerms);
  std::vector<M> stirling;
  for (int k = 1; k <= kStirlingTerms; ++k) {
    M tp = M(2) * pi(), p(1);
    for (int j = 0; j < 2 * k; ++j) p = p * tp;
    M b = M(2) * fact(2 * k) * zeta(2 * k) / p;
    if (k % 2 == 0) mpfr_neg(b.v, b.v, MPFR_RNDN);
    put_d(b / M(2.0 * k * (2 * k - 1)));
    stirling.push_back(b / M(2.0 * k * (2 * k - 1)));
  }
  std::printf("};\n\n");
  // From 64 on one evaluation of six slots, whose row the key picks without a
  // branch: the middle branch's six terms below 512, the asymptotic branch's
  // four (and two zeros) from 512 (biased exponent 0x408) on.
  std::printf("// Stirling's series from 64 on: six terms below 512, four from 512 on\n");
  std::printf("alignas(16) const double kStirlingWide[2][%d] = {\n", kStirlingTermsWide);
  for (int row = 0; row < 2; ++row) {
    std::printf("    {");
    for (int k = 0; k < kStirlingTermsWide; ++k)
      std::printf("%s%a", k ? ", " : "", row == 1 && k >= kStirlingTermsAsym ? 0.0 : stirling[k].d());
    std::printf("},\n");
  }
  std::printf("};\n\n");

  // Taylor series used in the extended format.
  std::printf("// sin(pi r) = sum s[j] r^(2j+1): s[j] = (-1)^j pi^(2j+1) / (2j+1)!\n");
  std::printf("alignas(16) const long double kSinPi[%d] = {\n", kSinPiTerms);
  {
    M p = pi();
    const M p2 = pi() * pi();
    for (int j = 0; j < kSinPiTerms; ++j) {
      M v = p / fact(2 * j + 1);
      if (j % 2) mpfr_neg(v.v, v.v, MPFR_RNDN);
      put_ld(v);
      p = p * p2;
    }
  }
  std::printf("};\n\n// log((1 + s)/(1 - s)) = 2 sum s^(2j+1) / (2j+1): a[j] = 2 / (2j+1)\n");
  std::printf("alignas(16) const long double kLogAtanh[%d] = {\n", kLogTerms);
  for (int j = 0; j < kLogTerms; ++j) put_ld(M(2) / M(2 * j + 1));
  std::printf("};\n\n// ln(1 + i/32), the centres of the logarithm's rows\n");
  std::printf("alignas(16) const long double kLogC[33] = {\n");
  for (int i = 0; i <= 32; ++i) put_ld(logm(M(1) + M(i / 32.0)));
  std::printf("};\n\n");
  // The division-free logarithm of double arguments: r[i] = 1/(1 + i/%d)
  // rounded to 11 bits, so that m r[i] is exact in the extended format for a
  // double m, and -ln r[i] in the extended format.
  {
    mpfr_t r11;
    mpfr_init2(r11, 11);
    std::printf("// r[i] = 1/(1 + i/%d) to 11 bits, the rows of the logarithm of doubles\n", kLogRows);
    std::printf("alignas(16) const double kLogInv[%d] = {\n", kLogRows + 1);
    std::vector<M> inv(kLogRows + 1);
    for (int i = 0; i <= kLogRows; ++i) {
      const M c = M(1) + M(i) / M(kLogRows);
      mpfr_ui_div(r11, 1, c.v, MPFR_RNDN);
      mpfr_set(inv[i].v, r11, MPFR_RNDN);
      put_d(inv[i]);
    }
    std::printf("};\n\n// -ln r[i]\n");
    std::printf("alignas(16) const long double kLogInvLn[%d] = {\n", kLogRows + 1);
    for (int i = 0; i <= kLogRows; ++i) {
      M l = logm(inv[i]);
      mpfr_neg(l.v, l.v, MPFR_RNDN);
      put_ld(l);
    }
    mpfr_clear(r11);
  }
  std::printf("};\n\n// ln(1 + u) = u + u^2 sum q[j] u^j: q[j] = (-1)^(j+1) / (j + 2)\n");
  std::printf("alignas(16) const double kLog1p[%d] = {\n", kLog1pTerms);
  for (int j = 0; j < kLog1pTerms; ++j) put_d(M(j % 2 ? 1 : -1) / M(j + 2));
  std::printf("};\n\n// exp(r) = sum r^k / k!\n");
  std::printf("alignas(16) const long double kExpTaylor[%d] = {\n", kExpTerms);
  for (int k = 0; k < kExpTerms; ++k) put_ld(M(1) / fact(k));
  std::printf("};\n\n// E1(x) = -gamma - ln x - sum (-x)^k / (k k!): e[k-1] = (-1)^k / (k k!)\n");
  std::printf("alignas(16) const long double kE1Series[%d] = {\n", kE1SeriesTerms);
  for (int k = 1; k <= kE1SeriesTerms; ++k) {
    M v = M(1) / (M(k) * fact(k));
    if (k % 2) mpfr_neg(v.v, v.v, MPFR_RNDN);
    put_ld(v);
  }
  std::printf("};\n\n");
  {
    M l2 = logm(M(2));
    M l2hi;  // 40 bits: k ln2_hi is exact in the extended format for |k| < 2^24
    mpfr_t t40;
    mpfr_init2(t40, 40);
    mpfr_set(t40, l2.v, MPFR_RNDN);
    mpfr_set(l2hi.v, t40, MPFR_RNDN);
    mpfr_clear(t40);
    std::printf("// Constants in the extended format.\nconst ExtConsts kExt = {\n");
    std::printf("    .ln2_hi = %LaL,\n", l2hi.ld());
    std::printf("    .ln2_lo = %LaL,\n", (l2 - l2hi).ld());
    std::printf("    .inv_ln2 = %LaL,\n", (M(1) / l2).ld());
    std::printf("    .ln_pi = %LaL,\n", logm(pi()).ld());
    std::printf("    .half_ln_2pi_m1 = %LaL,\n", ((logm(M(2) * pi()) - M(1)) / M(2)).ld());
    std::printf("    .euler = %LaL,\n", euler().ld());
    { M h; mpfr_sqrt_ui(h.v, 2, MPFR_RNDN); std::printf("    .sqrt_half = %LaL,\n", (h / M(2)).ld()); }
    std::printf("};\n\n");
  }

  // lgamma near its zeros on the negative axis: lgamma(z0 + t) = t G(t) on
  // |t| <= rho, z0 = hi + lo.
  {
    std::vector<std::vector<M>> coefs;
    std::vector<M> z0s, rhos;
    double worst = 0;
    for (int k = 2; k < 2 + kNegZeroIntervals; ++k) {
      const M m = minimum(k);
      const M zs[2] = {root(M(-k - 1) + M(1e-300), m), root(m, M(-k) - M(1e-300))};
      for (const M& z : zs) {
        const M dist_lo = z - M(-k - 1), dist_hi = M(-k) - z;
        const M d = mpfr_cmp(dist_lo.v, dist_hi.v) < 0 ? dist_lo : dist_hi;
        const M psi = fabs(digam(z));
        M rho = d / M(8);
        const M r2 = M(0.125) / psi;
        if (mpfr_cmp(r2.v, rho.v) < 0) rho = r2;
        M rhod;
        mpfr_set_d(rhod.v, rho.d(), MPFR_RNDN);
        const Fit f = fit([](const M& x) { return lgam(x); }, z - rhod, z + rhod, z, 1, kNegZeroDegree, true);
        worst = maxd(worst, f.err);
        coefs.push_back(f.c);
        z0s.push_back(z);
        rhos.push_back(rhod);
      }
    }
    std::printf("// lgamma near its zeros on the negative axis, two in each (-k-1, -k), k = 2 ... %d:\n",
                1 + kNegZeroIntervals);
    std::printf("// lgamma(z0 + t) = t sum c[j] t^j for |t| <= rho, z0 = hi + lo; worst relative error %.2g (2^%.1f)\n",
                worst, std::log2(worst));
    std::printf("alignas(16) const NegZero kNegZeros[%zu] = {\n", z0s.size());
    for (size_t i = 0; i < z0s.size(); ++i) {
      M hi;
      mpfr_set_d(hi.v, z0s[i].d(), MPFR_RNDN);
      std::printf("    {%a, %a, %LaL, {", hi.d(), rhos[i].d(), (z0s[i] - hi).ld());
      for (size_t j = 0; j < coefs[i].size(); ++j) std::printf("%s%LaL", j ? ", " : "", coefs[i][j].ld());
      std::printf("}},\n");
    }
    std::printf("};\n\n");
  }

  // E1 for the EP kernels, in double: E1(x) + ln x on (0, 1], and e^x E1(x)
  // on [1, 1024) in 40 pieces, four to a binade.
  {
    const Fit f = fit([](const M& x) { return e1(x) + logm(x); }, M(0x1p-30), M(1), M(0), 0, kE1SmallDegree, false, {}, 0, false);
    put_fit("double", "kE1Small", "E1(x) + ln x = sum c[k] x^k, x in (0, 1]", f, false, "absolute error");
  }
  {
    double worst = 0;
    std::vector<Fit> fits;
    for (int i = 0; i < kE1PieceCount; ++i) {
      const double a = std::ldexp(1.0 + (i % 4) / 4.0, i / 4), b = std::ldexp(1.0 + (i % 4 + 1) / 4.0, i / 4);
      const double c = (a + b) / 2;
      fits.push_back(fit([](const M& x) { return expm(x) * e1(x); }, M(a), M(b), M(c), 0, kE1PieceDegree, false));
      worst = maxd(worst, fits.back().err);
    }
    std::printf("// e^x E1(x) = sum c[k] (x - m)^k on [2^e (1 + j/4), 2^e (1 + (j+1)/4)), piece 4e + j,\n");
    std::printf("// m the middle of the piece (first entry); worst relative error %.2g (2^%.1f)\n", worst,
                std::log2(worst));
    std::printf("alignas(16) const double kE1Pieces[%d][%d] = {\n", kE1PieceCount, kE1PieceDegree + 2);
    for (int i = 0; i < kE1PieceCount; ++i) {
      const double a = std::ldexp(1.0 + (i % 4) / 4.0, i / 4), b = std::ldexp(1.0 + (i % 4 + 1) / 4.0, i / 4);
      std::printf("    {%a", (a + b) / 2);
      for (const M& c : fits[i].c) std::printf(", %a", c.d());
      std::printf("},\n");
    }
    std::printf("};\n\n");
  }
  std::printf("}  // namespace zev::vk::gammadata\n");
  return 0;
}
