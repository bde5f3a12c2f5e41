// Logarithms against MPFR where their reductions have edges: every binade,
// the ends of the reduced interval [2/3, 4/3) and the neighbours of 1 for the
// single kernels, log1p around its branch points (-1, +-1/3, tiny arguments,
// the hand-over to the scalar function at 2^100), exact results at powers of
// the base, and the double Log2 LA kernel over every binade. Zeros, denormals,
// infinities and NaN are in the special-case table of test_logpow; the whole
// single range is checked by tools/single_check.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zev/zev_vqm.h"

#include "fp.h"

namespace {

template <class T>
using Plain = void (*)(int, const T*, T*);

enum class Fn { Ln, Log2, Log10, Log1p };

// The bound of a level: ulps for HA and LA, 2^-11 (single) or 2^-26
// (double) relative for EP.
enum class Level { LA, HA, EP };

template <class T>
struct Row {
  const char* name;
  Fn fn;
  Level level;
  Plain<T> kernel;
};

const Row<float> kSingle[] = {
    {"sLn LA", Fn::Ln, Level::LA, _vqmsLn_21},          {"sLn HA", Fn::Ln, Level::HA, _vqmsLn_HA},
    {"sLn EP", Fn::Ln, Level::EP, _vqmsLn_11},          {"sLog2 LA", Fn::Log2, Level::LA, _vqmsLog2_21},
    {"sLog2 HA", Fn::Log2, Level::HA, _vqmsLog2_HA},    {"sLog2 EP", Fn::Log2, Level::EP, _vqmsLog2_11},
    {"sLog10 LA", Fn::Log10, Level::LA, _vqmsLog10_21}, {"sLog10 HA", Fn::Log10, Level::HA, _vqmsLog10_HA},
    {"sLog10 EP", Fn::Log10, Level::EP, _vqmsLog10_11}, {"sLog1p", Fn::Log1p, Level::HA, _vqmsLog1p_HA},
};

// Error of got in ulps of the exact value (its precision p, normal results)
// and relative.
struct Err {
  double ulps, rel;
};

template <class T>
Err error_of(Fn fn, T x, T got) {
  constexpr int p = sizeof(T) == 4 ? 24 : 53;
  mpfr_t y, g;
  mpfr_inits2(256, y, g, (mpfr_ptr)0);
  mpfr_set_d(y, static_cast<double>(x), MPFR_RNDN);
  switch (fn) {
    case Fn::Ln: mpfr_log(y, y, MPFR_RNDN); break;
    case Fn::Log2: mpfr_log2(y, y, MPFR_RNDN); break;
    case Fn::Log10: mpfr_log10(y, y, MPFR_RNDN); break;
    case Fn::Log1p: mpfr_log1p(y, y, MPFR_RNDN); break;
  }
  if (mpfr_zero_p(y)) {
    mpfr_clears(y, g, (mpfr_ptr)0);
    return {got == 0 ? 0.0 : INFINITY, got == 0 ? 0.0 : INFINITY};
  }
  mpfr_set_d(g, static_cast<double>(got), MPFR_RNDN);
  mpfr_sub(g, g, y, MPFR_RNDN);
  mpfr_div(g, g, y, MPFR_RNDN);
  const double rel = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_mul(g, g, y, MPFR_RNDN);
  mpfr_mul_2si(g, g, p - mpfr_get_exp(y), MPFR_RNDN);
  const double ulps = std::fabs(mpfr_get_d(g, MPFR_RNDN));
  mpfr_clears(y, g, (mpfr_ptr)0);
  return {ulps, rel};
}

template <class T>
double bound_ratio(Level level, Err e) {
  switch (level) {
    case Level::HA: return e.ulps;
    case Level::LA: return e.ulps / 4;
    case Level::EP: return e.rel * (sizeof(T) == 4 ? 0x1p11 : 0x1p26);
  }
  return 0;
}

// Positive arguments: every binade with both ends and a stride of mantissas,
// the neighbours of the reduction's edges (z0 = 0x1.5568p-1 and 2 z0), of 2/3,
// 4/3 and 1 (within 512
// ulps) in several binades.
std::vector<float> log_inputs() {
  std::vector<float> v;
  for (uint32_t e = 1; e <= 254; ++e)
    for (uint32_t k = 0; k < 48; ++k)
      v.push_back(zevtest::from_bits<float>(e << 23 | (k == 47 ? 0x7FFFFF : k * 0x2C8F3 + (e * 7919u & 0x3FF))));
  for (uint32_t edge : {0x3F2AB400u, 0x3FAAB400u, 0x3F2AAAABu, 0x3FAAAAABu, 0x3F800000u})
    for (int scale : {0, 1, -1, 40, -60, 120, -125})
      for (int d = -512; d <= 512; d += 3) {
        const uint32_t b = edge + static_cast<uint32_t>(d);
        v.push_back(std::ldexp(zevtest::from_bits<float>(b), scale));
      }
  return v;
}

// log1p arguments: near -1, on both sides of -1/3 and 1/3 (where the exponent
// of 1 + x changes), tiny ones of both signs, a stride over (-1, 2^127) and the
// neighbours of 2^100.
std::vector<float> log1p_inputs() {
  std::vector<float> v;
  for (int d = 1; d < 4000; d += 7) v.push_back(-1.0f + d * 0x1p-24f);
  for (float edge : {-1.0f / 3, 1.0f / 3, -0.5f, 0.5f, 1.0f, 2.0f})
    for (int d = -600; d <= 600; d += 5) v.push_back(edge + d * 0x1p-25f);
  for (int e = -126; e < -1; ++e)
    for (float m : {1.0f, 1.37f, 1.9999999f}) {
      v.push_back(std::ldexp(m, e));
      v.push_back(-std::ldexp(m, e));
    }
  for (uint32_t e = 1; e <= 254; ++e)
    for (uint32_t k = 0; k < 16; ++k) v.push_back(zevtest::from_bits<float>(e << 23 | (k * 0x8A3D7 + e * 131u) % 0x800000u));
  for (int d = -64; d <= 64; ++d) v.push_back(zevtest::from_bits<float>(0x71800000u + static_cast<uint32_t>(d)));  // 2^100
  return v;
}

TEST(LogSingle, WithinTheirBoundsAtEveryEdge) {
  const std::vector<float> logs = log_inputs(), l1p = log1p_inputs();
  for (const Row<float>& r : kSingle) {
    const std::vector<float>& in = r.fn == Fn::Log1p ? l1p : logs;
    std::vector<float> out(in.size());
    r.kernel(static_cast<int>(in.size()), in.data(), out.data());
    double worst = 0;
    float worst_x = 0;
    for (size_t i = 0; i < in.size(); ++i) {
      if (!(in[i] > -1.0f)) continue;
      const double v = bound_ratio<float>(r.level, error_of<float>(r.fn, in[i], out[i]));
      if (!(v <= worst)) worst = v, worst_x = in[i];
    }
    EXPECT_LE(worst, 1.0) << r.name << ": worst at " << std::hexfloat << worst_x << " (fraction of the bound)";
  }
}

// Powers of the base give the exponent exactly at HA and LA: k + 0 must not
// pick up the rounding of k log(2) or of a scaled f.
TEST(LogSingle, PowersOfTheBaseAreExact) {
  std::vector<float> p2, p10;
  for (int k = -149; k <= 127; ++k) p2.push_back(std::ldexp(1.0f, k));
  for (int k = 0; k <= 10; ++k) p10.push_back(static_cast<float>(std::pow(10.0, k)));
  std::vector<float> out(p2.size());
  for (Plain<float> f : {_vqmsLog2_HA, _vqmsLog2_21}) {
    f(static_cast<int>(p2.size()), p2.data(), out.data());
    for (size_t i = 0; i < p2.size(); ++i) EXPECT_EQ(out[i], static_cast<float>(static_cast<int>(i) - 149));
  }
  for (Plain<float> f : {_vqmsLog10_HA, _vqmsLog10_21}) {
    f(static_cast<int>(p10.size()), p10.data(), out.data());
    for (size_t i = 0; i < p10.size(); ++i) EXPECT_EQ(out[i], static_cast<float>(i)) << "10^" << i;
  }
}

// Double Log2 LA: every binade, the neighbours of 1 and the rows beside it,
// and 2^k exactly.
TEST(LogDouble, Log2LaWithinFourUlpsAndExactAtPowersOfTwo) {
  std::vector<double> in;
  for (int e = -1022; e <= 1023; ++e)
    for (double m : {1.0, 1.0000001, 1.3, 1.36, 1.37, 1.5, 1.9999999999}) in.push_back(std::ldexp(m, e));
  for (int d = -300; d <= 300; ++d) in.push_back(1.0 + d * 0x1p-52);
  // Full mantissas beside 1, where log c and r cancel to 2^-9: r's rounding
  // shows there (a round z times the table's 1/c would be exact).
  for (int d = -300; d <= 300; ++d) in.push_back(1.0 + d * 0x1.3c5f9d2e8a71bp-12);
  std::vector<double> out(in.size());
  _vqmdLog2_50(static_cast<int>(in.size()), in.data(), out.data());
  double worst = 0, worst_x = 0;
  for (size_t i = 0; i < in.size(); ++i) {
    const double u = error_of<double>(Fn::Log2, in[i], out[i]).ulps;
    if (!(u <= worst)) worst = u, worst_x = in[i];
    const int e = std::ilogb(in[i]);
    if (in[i] == std::ldexp(1.0, e)) {
      EXPECT_EQ(out[i], static_cast<double>(e));
    }
  }
  EXPECT_LE(worst, 4.0) << "worst at " << std::hexfloat << worst_x;
}

// Double HA of the three bases: every binade, the row of 1 where z's high and
// low partial products cancel (1 - 2^-42, full mantissas), the rows beside it,
// the reduction's edges; 2^k gives k exactly in base 2.
TEST(LogDouble, HaWithinOneUlpNearOneAndAtTheEdges) {
  std::vector<double> in;
  for (int e = -1022; e <= 1023; ++e)
    for (double m : {1.0, 1.0000001, 1.3, 1.36, 1.37, 1.5, 1.9999999999}) in.push_back(std::ldexp(m, e));
  for (int d = -300; d <= 300; ++d) {
    in.push_back(1.0 + d * 0x1p-52);
    in.push_back(1.0 + d * 0x1.3c5f9d2e8a71bp-12);  // full mantissas, rows beside 1
    in.push_back(1.0 + d * 0x1.9e3779b97f4a7p-35);  // row of 1, a and b of opposite signs
  }
  for (int k = 20; k <= 52; ++k) in.insert(in.end(), {1.0 - std::ldexp(1.0, -k), 1.0 + std::ldexp(1.0, -k)});
  for (double edge : {0x1.5d00000000000p-1, 0x1.5d00000000000p+0})
    for (int d = -64; d <= 64; ++d) in.push_back(edge + d * 0x1p-52);
  const struct {
    const char* name;
    Fn fn;
    Plain<double> kernel;
  } rows[] = {{"dLn", Fn::Ln, _vqmdLn}, {"dLog2", Fn::Log2, _vqmdLog2}, {"dLog10", Fn::Log10, _vqmdLog10}};
  std::vector<double> out(in.size());
  for (const auto& r : rows) {
    r.kernel(static_cast<int>(in.size()), in.data(), out.data());
    double worst = 0, worst_x = 0;
    for (size_t i = 0; i < in.size(); ++i) {
      const double u = error_of<double>(r.fn, in[i], out[i]).ulps;
      if (!(u <= worst)) worst = u, worst_x = in[i];
      if (r.fn == Fn::Log2 && in[i] == std::ldexp(1.0, std::ilogb(in[i]))) {
        EXPECT_EQ(out[i], static_cast<double>(std::ilogb(in[i])));
      }
    }
    EXPECT_LE(worst, 0.52) << r.name << ": worst at " << std::hexfloat << worst_x;
  }
}

}  // namespace
