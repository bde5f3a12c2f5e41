// The accuracy levels, as kernel templates take them.
#pragma once

namespace zev::vk {

// LA: 4 ulp, HA: 1 ulp, EP: half the significand's bits.
enum class Level { LA, HA, EP };

}  // namespace zev::vk
