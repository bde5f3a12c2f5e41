// Tables of the error-function family (made by tools/erf_tables; the layouts
// are described there and below).
#pragma once

#include <cstdint>

namespace zev::vk::erfdata {

// Forward tables on the grid b = i/128.
extern const uint64_t kErfPacked[768][2];  // {E 2^-1016 with w in the top bits, 2^32 exp(-b^2)}
extern const double kErf[768][2];          // {erf(b), (2/sqrt(pi)) exp(-b^2)}
extern const float kErfS[504][2];          // the same in single, up to 3.9296875 (erf_single_data.cpp)
extern const double kInvTailS[11];          // the single inverses' deep tail, {C, K, p0..p8} (erf_single_data.cpp)
extern const double kErfc[3488][4];        // {T, Tl, G, 0}: 2^128 erfc(b) and its slope
extern const double kCdfNorm[4928][4];     // {T, Tl, G, 0}: 2^127 erfc(b/sqrt(2)) and its slope

// Inverse tables: 212 rows in a = |distance from the zero of the result| for
// a in [2^-54, 1/2), row 0xFF7 - (a's high word >> 18), then 208 rows in the
// pole distance w in [2^-53, 1/2), row 212 + 0xFF7 - (w's high word >> 18):
// four rows a binade. A row holds a polynomial in f = (significand with its
// top two fraction bits cleared) - 1.125, f in [-1/8, 1/8): of erfinv(a),
// erfcinv(w) (kInv...) and sqrt(2) times them (kNormInv...).
// HA rows: l0 l1 c2..c14 h0 h1 0, h0 and h1 held to 27 bits, l0 and l1 their
// remainders. LA: c0..c12 0; EP: c0..c6 0; S5 (single LA): c0..c5; S3
// (single EP): c0..c3.
inline constexpr int kInvRows = 420, kInvCentral = 212;
extern const double kInvHA[kInvRows][18];
extern const double kInvLA[kInvRows][14];
extern const double kInvEP[kInvRows][8];
extern const double kInvS5[kInvRows][6];
extern const double kInvS3[kInvRows][4];
extern const double kNormInvHA[kInvRows][18];
extern const double kNormInvLA[kInvRows][14];
extern const double kNormInvEP[kInvRows][8];
extern const double kNormInvS5[kInvRows][6];
extern const double kNormInvS3[kInvRows][4];

}  // namespace zev::vk::erfdata
