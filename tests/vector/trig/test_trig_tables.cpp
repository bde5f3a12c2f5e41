// The tables of the single kernels' large path against MPFR: the circle table
// of 256 float rows (every row by its rule, and the rows quoted for it) and
// the bits of 1/(2 pi) per float exponent.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>

#include "vector/trig/trig_data.h"

namespace {

using zev::vk::trigdata::kInvTwoPi32;
using zev::vk::trigdata::kSinCos256;

TEST(TrigTables, QuotedRows) {
  // cosLo, sinHi, sinLo, cosHi
  EXPECT_EQ(kSinCos256[1][0], -0.00030118130962364376f);
  EXPECT_EQ(kSinCos256[1][1], 0.024541229009628296f);
  EXPECT_EQ(kSinCos256[1][2], -4.867160008359406e-10f);
  EXPECT_EQ(kSinCos256[1][3], 1.0f);
  const float row64[4] = {0, 1, 0, 0}, row128[4] = {0, 0, 0, -1};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(kSinCos256[64][k], row64[k]);
    EXPECT_EQ(kSinCos256[128][k], row128[k]);
  }
  EXPECT_EQ(kInvTwoPi32[127][0], 0x00000051u);
  EXPECT_EQ(kInvTwoPi32[127][1], 0x7CC1B727u);
  EXPECT_EQ(kInvTwoPi32[127][2], 0x220A94FEu);
}

// sinHi + sinLo is sin B within 2^-24 ulp of sinHi, sinHi rounded to nearest;
// cosHi is a power of two with the sign of cos B (0 at its zeros) and cosHi +
// cosLo is cos B within half an ulp of cosLo (2^-24 of it).
TEST(TrigTables, CircleRowsFollowTheirRule) {
  mpfr_t b, s, c, t;
  mpfr_inits2(300, b, s, c, t, (mpfr_ptr)0);
  for (int j = 0; j < 256; ++j) {
    SCOPED_TRACE(j);
    const float* row = kSinCos256[j];
    mpfr_const_pi(b, MPFR_RNDN);
    mpfr_mul_si(b, b, j, MPFR_RNDN);
    mpfr_div_si(b, b, 128, MPFR_RNDN);
    mpfr_sin_cos(s, c, b, MPFR_RNDN);
    EXPECT_EQ(row[1], mpfr_get_flt(s, MPFR_RNDN));
    mpfr_sub_d(t, s, row[1], MPFR_RNDN);
    mpfr_sub_d(t, t, row[2], MPFR_RNDN);
    EXPECT_LE(std::fabs(mpfr_get_d(t, MPFR_RNDN)), 0x1p-48 * std::fabs(row[1]) + 0x1p-60);
    const float cosHi = row[3];
    if (j % 128 == 64) {
      EXPECT_EQ(cosHi, 0.0f);
    } else {
      int e;
      EXPECT_EQ(std::frexp(std::fabs(cosHi), &e), 0.5f);
      EXPECT_EQ(std::signbit(cosHi), mpfr_sgn(c) < 0);
    }
    mpfr_sub_d(t, c, cosHi, MPFR_RNDN);
    mpfr_sub_d(t, t, row[0], MPFR_RNDN);
    EXPECT_LE(std::fabs(mpfr_get_d(t, MPFR_RNDN)), 0x1p-24 * std::fabs(row[0]) + 0x1p-60);
    EXPECT_LE(std::fabs(row[0]), 0.5f * std::fabs(cosHi) + 0x1p-60);  // the nearest power of two
  }
  mpfr_clears(b, s, c, t, (mpfr_ptr)0);
}

// Row e: floor(2^(e - 54) / (2 pi)) mod 2^96 in three words, then 0.
TEST(TrigTables, InverseTwoPiBits) {
  mpfr_t v, w;
  mpfr_inits2(500, v, w, (mpfr_ptr)0);
  for (int e = 0; e < 256; ++e) {
    SCOPED_TRACE(e);
    mpfr_const_pi(v, MPFR_RNDN);
    mpfr_mul_2si(v, v, 1, MPFR_RNDN);
    mpfr_ui_div(v, 1, v, MPFR_RNDN);
    mpfr_mul_2si(v, v, e - 54 - 96, MPFR_RNDN);  // the value over 2^96: its fraction is R / 2^96
    mpfr_frac(v, v, MPFR_RNDN);
    for (int k = 0; k < 3; ++k) {
      mpfr_mul_2si(v, v, 32, MPFR_RNDN);
      mpfr_floor(w, v);
      EXPECT_EQ(kInvTwoPi32[e][k], static_cast<uint32_t>(mpfr_get_ui(w, MPFR_RNDN)));
      mpfr_sub(v, v, w, MPFR_RNDN);
    }
    EXPECT_EQ(kInvTwoPi32[e][3], 0u);
  }
  mpfr_clears(v, w, (mpfr_ptr)0);
}

}  // namespace
