// The power kernels' table of 2^(j/128) (made by tools/exp_tables).
#pragma once

namespace zev::vk::logpow {

// 2^(j/128) as {hi, lo}: |hi + lo - 2^(j/128)| < 2^-106 relative.
extern const double kExpTab[128][2];

}  // namespace zev::vk::logpow
