// Coefficients of the gamma and exponential-integral kernels (made by
// tools/gamma_tables into gamma_data.cpp). Extended-format sets are long
// double: the x87 unit evaluates them.
#pragma once

namespace zev::vk::gammadata {

inline constexpr int kStirlingTerms = 15;     // enough for x >= 8: first omitted term < 2^-76
inline constexpr int kStirlingTermsWide = 6;  // enough for x >= 64: first omitted term < 2^-84
inline constexpr int kStirlingTermsAsym = 4;  // enough for x >= 512: first omitted term < 2^-90
inline constexpr int kSinPiTerms = 13;        // sin(pi r), |r| <= 1/2: first omitted term < 2^-67
inline constexpr int kLogTerms = 6;           // 2 atanh s, |s| <= 2^-7: first omitted term < 2^-85 s
inline constexpr int kLogRows = 256;          // rows of the logarithm of doubles: |u| < 2^-8.8
inline constexpr int kLog1pTerms = 6;         // ln(1 + u) - u to u^7: first omitted term < 2^-73
inline constexpr int kExpTerms = 17;          // exp r, |r| <= ln2/2: first omitted term < 2^-68
inline constexpr int kE1SeriesTerms = 32;     // E1 series for x < 2.5: first omitted term < 2^-80
inline constexpr int kNegZeroIntervals = 16;  // zeros of lgamma in (-k-1, -k), k = 2 ... 17
inline constexpr int kNegZeroDegree = 14;
inline constexpr int kE1SmallDegree = 10;
inline constexpr int kE1PieceCount = 40;  // [1, 1024), four pieces a binade
inline constexpr int kE1PieceDegree = 6;

// lgamma near one of its zeros z0 = hi + lo on the negative axis:
// lgamma(z0 + t) = t (c[0] + c[1] t + ...) for |t| <= rho.
struct NegZero {
  double hi, rho;
  long double lo;
  long double c[kNegZeroDegree + 1];
};

struct ExtConsts {
  long double ln2_hi, ln2_lo, inv_ln2, ln_pi, half_ln_2pi_m1, euler, sqrt_half;
};

extern const long double kLgNear1[17];
extern const long double kLgMid[20];
extern const long double kLgNear2[18];
extern const double kStirling[kStirlingTerms];
extern const double kStirlingWide[2][kStirlingTermsWide];
extern const long double kSinPi[kSinPiTerms];
extern const long double kLogAtanh[kLogTerms];
extern const long double kLogC[33];  // ln(1 + i/32)
extern const double kLogInv[kLogRows + 1];
extern const long double kLogInvLn[kLogRows + 1];
extern const double kLog1p[kLog1pTerms];
extern const long double kExpTaylor[kExpTerms];
extern const long double kE1Series[kE1SeriesTerms];
extern const ExtConsts kExt;
extern const NegZero kNegZeros[2 * kNegZeroIntervals];
extern const double kE1Small[kE1SmallDegree + 1];
extern const double kE1Pieces[kE1PieceCount][kE1PieceDegree + 2];

}  // namespace zev::vk::gammadata
