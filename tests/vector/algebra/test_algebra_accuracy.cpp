// A quick run of the accuracy check of docs/accuracy_algebra.md: every level
// of the rounding rows within its bound against MPFR (HA Inv, Sqrt and Div bit
// for bit correctly rounded), the exact rows bit for bit against glibc.
#include <gtest/gtest.h>

#include "kernels.h"
#include "tools/algebra_check/measure.h"

namespace {

using namespace algtest;
using namespace zev::algcheck;

constexpr long kPoints = 6000;

bool correctly_rounded(const std::string& row) {
  return row.find("InvSqrt") == std::string::npos && row.find("LinearFrac") == std::string::npos;
}

TEST(AlgebraAccuracy, RoundingRowsWithinBounds) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  const std::pair<const char*, Fn> rows[] = {
      {"Inv", Fn::Inv}, {"Sqrt", Fn::Sqrt}, {"InvSqrt", Fn::InvSqrt}, {"Div", Fn::Div}, {"LinearFrac", Fn::LinearFrac}};
  for (const Kernel& k : kKernels)
    for (const auto& [name, fn] : rows) {
      if (std::string(k.row).substr(1) != name) continue;
      const bool rel = k.level == 2, bitwise = k.level == 1 && correctly_rounded(k.row);
      const Worst w = k.single ? measure<float>(fn, k.plain, rel, bitwise, kPoints, 11 + k.level)
                               : measure<double>(fn, k.plain, rel, bitwise, kPoints, 11 + k.level);
      const double bound = k.level == 0 ? 4.0 : k.level == 1 ? 1.0 : (k.single ? 0x1p-11 : 0x1p-26);
      EXPECT_LE(w.err, bound) << k.row << " level " << k.level << " at " << w.a << ", " << w.b << ": got " << w.got
                              << " want " << w.want;
      EXPECT_EQ(w.mismatches, 0) << k.row << " is not correctly rounded";
    }
  zev_vqm_kernel_SetMode(old);
}

TEST(AlgebraAccuracy, ExactRowsMatchTheCLibrary) {
  const unsigned old = zev_vqm_kernel_SetMode(VQM_ERRMODE_IGNORE);
  const std::pair<const char*, Ex> rows[] = {{"Fmod", Ex::Fmod},         {"Remainder", Ex::Remainder},
                                             {"NextAfter", Ex::NextAfter}, {"CopySign", Ex::CopySign},
                                             {"Fdim", Ex::Fdim},         {"Fmax", Ex::Fmax},
                                             {"Fmin", Ex::Fmin},         {"MaxMag", Ex::MaxMag},
                                             {"MinMag", Ex::MinMag},     {"Modf", Ex::Modf}};
  for (const Kernel& k : kKernels) {
    if (k.level != 1) continue;
    for (const auto& [name, fn] : rows) {
      if (std::string(k.row).substr(1) != name) continue;
      const ExactResult x = k.single ? compare_exact<float>(fn, k.plain, kPoints, 5)
                                     : compare_exact<double>(fn, k.plain, kPoints, 5);
      EXPECT_EQ(x.mismatches, 0) << k.row << ": " << x.a << ", " << x.b << " gives " << x.got << ", glibc "
                                 << x.want;
    }
  }
  zev_vqm_kernel_SetMode(old);
}

}  // namespace
