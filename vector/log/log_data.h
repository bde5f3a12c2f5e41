// Tables of the logarithm kernels, shared with the roots and powers that
// reduce their argument the same way (made by tools/logpow_tables).
#pragma once

#include "vector/log/log_constants.h"

namespace zev::vk::logpow {

// Log table, 128 rows over [0.6816, 1.3633) in bit space: {1/c, log c hi},
// then log c lo (see tools/logpow_tables/gen_tables.cpp for the rule).
extern const double kLogTab[128][2];
extern const double kLogLo[128];
// log_2 and log_10 of the same row centres: {hi, lo}.
extern const double kLog2Tab[128][2];
extern const double kLog10Tab[128][2];

}  // namespace zev::vk::logpow
