// Tables of 2^(j/N) for the exponential family (made by tools/exp_tables).
#pragma once

#include <cstdint>

namespace zev::vk::expdata {

// Expm1 entries: the cut value's fraction bits with a zero exponent field, and
// the rest of 2^(j/N) beyond the cut value.
struct ExpM1F {
  uint32_t frac;
  float lo;
};
struct ExpM1D {
  uint64_t frac;
  double lo;
};

extern const float kS128[128][2];
extern const float kS64[64][2];
extern const double kD64[64][2];
extern const double kD128[128][2];
extern const double kD128One[128];
extern const double kD1024[1024];
extern const ExpM1F kM1S64[64];
extern const ExpM1D kM1D128[128];

}  // namespace zev::vk::expdata
