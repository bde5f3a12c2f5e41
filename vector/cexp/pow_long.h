// The long arithmetic of the complex powers: w log z for finite z != 0 and
// finite w, exact enough for any such inputs. Fixed-point numbers of 64-bit
// limbs (most significant first, limb 0 the integer part) carry log|z| and
// arg z to 64 n fraction bits, n chosen from the exponent of w so that
// |w| 2^-64n stays below 2^-130: the products with w are exact shifts of the
// limbs, Im(w log z) is reduced modulo 2 pi in turns (exactly: arg z is a
// whole number of eighths of a turn on the axes and diagonals), and
// Re(w log z) comes out as a pair. log|z| = k ln 2 + log c + 2 atanh u after a
// table step c = 1 + i/64; atan by the step c = j/64 and its series.
// Where z lies so near an axis (or |z| so near 1) that w times the
// difference of arg z from a whole number of quarter turns (of log|z| from
// 0) is below 2^-90, that difference is kept apart as a double with its own
// exponent: it decides the sign, and the size, of a part that would
// otherwise come out exactly zero ((2^-1074 + i DBL_MAX)^DBL_MAX has an
// imaginary part of -inf, z^1 = z for z = 2^-1074 + i DBL_MAX).
#pragma once

#include <cstdint>

namespace zev::vk::cexp::lng {

inline constexpr int kLimbs = 22;  // the integer limb and 21 fraction limbs

// Generated (tools/cpow_tables): ln 2, 2 pi, 1/(2 pi); ln(1 + i/64);
// atan(j/64) / (2 pi).
extern const uint64_t kConst[3][kLimbs];
extern const uint64_t kLnTable[65][kLimbs];
extern const uint64_t kAtanTurns[65][kLimbs];
// atan(k/256) as pairs hi + lo, k = 0..256 (the vector powers' arg z).
extern const double kAtanPairs[257][2];

// exp(w log z) = e^re (c 2^c_exp + i s 2^s_exp).
struct PowParts {
  double re_hi, re_lo;  // Re(w log z) as a pair, clamped to [-20000, 20000]
  double c_hi, c_lo;    // cos Im(w log z) as a pair, (0, 0) where exactly zero
  double s_hi, s_lo;    // sin Im(w log z) likewise
  int c_exp, s_exp;     // the exponents of a cosine or sine below the double range
};

// For finite x + iy != 0 and finite wr + i wi != 0.
void pow_parts(double x, double y, double wr, double wi, PowParts& p);

}  // namespace zev::vk::cexp::lng
