// Table of the distribution generators' fast logarithm (made by
// tools/logpow_tables/gen_tables.cpp): 256 rows over [0.6826, 1.3652) in bit
// space, {1/c with 18 significant bits, log c hi}, then log c lo.
#pragma once

namespace zev::dist {

extern const double kLnFastTab[256][2];
extern const double kLnFastLo[256];

}  // namespace zev::dist
