// Tables of the circular functions (made by tools/trig_tables).
#pragma once

#include <cstdint>

namespace zev::vk::trigdata {

// Row j for the angle j pi/256, one turn: cosLo, cosHi (a power of two with
// its sign, or 0), sinHi, sinLo. The cosine enters it 128 rows further on.
extern const double kSinCos512[512][4];
// Row j for the pivot j pi/256, one period of the tangent: poleHi, poleLo
// (pi/2 - B), tag (1 where the pole term is taken out), c0Hi, c0Lo, c1Hi (a
// power of two), c1Lo, c2 to c7.
extern const double kTanPivot256[256][13];
// Row e, a biased exponent of a double: floor(2^(192 + e - 1075) / (2 pi))
// modulo 2^192, most significant word first.
extern const uint64_t kInvTwoPi64[2048][3];
// The large path of the single kernels. Row j for the angle j pi/128, one
// turn, in float: cosLo, sinHi, sinLo, cosHi (a power of two with its sign,
// or 0). The cosine enters it 64 rows further on.
extern const float kSinCos256[256][4];
// Row e, a biased exponent of a float: floor(2^(96 + e - 150) / (2 pi))
// modulo 2^96, most significant word first, then a zero word (a row is one
// aligned load).
extern const uint32_t kInvTwoPi32[256][4];

}  // namespace zev::vk::trigdata
