// InitStream pieces shared by several generators.
//
// refuse_unless_new: the generators that only seed (R250, TRNG, the abstract
// streams) refuse every other operation the same way.
//
// mt::init_stream: the InitStream of the Mersenne Twister family (MT19937,
// MT2203, SFMT19937), written once. ZEV_VQS_INIT_NEW seeds by the published array
// seeding from the n seed words, or from the one word 1 when none is given;
// no member leapfrogs or takes a multi-word skip; ZEV_VQS_INIT_SKIPAHEAD goes
// to the generator's skip with the count (a count of 0 leaves the stream as
// it is), or is refused where the generator has none.
#pragma once

#include <cstdint>
#include <type_traits>

#include "streams/stream.h"
#include "zev/zev_vqs.h"

namespace zev::gen {

// ZEV_VQS_OK for ZEV_VQS_INIT_NEW, else the status that refuses op.
inline int refuse_unless_new(int op) {
  switch (op) {
    case ZEV_VQS_INIT_NEW: return ZEV_VQS_OK;
    case ZEV_VQS_INIT_LEAPFROG: return ZEV_VQS_ERR_NO_LEAPFROG;
    case ZEV_VQS_INIT_SKIPAHEAD: return ZEV_VQS_ERR_NO_SKIPAHEAD;
    case ZEV_VQS_INIT_SKIPEX: return ZEV_VQS_ERR_NO_SKIPAHEADEX;
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

}  // namespace zev::gen

namespace zev::gen::mt {

struct NoSkip {};

// seed(words, count) and skip(count) return a status.
template <class Seed, class Skip = NoSkip>
inline int init_stream(int op, int n, const unsigned int* params, Seed&& seed, Skip&& skip = {}) {
  switch (op) {
    case ZEV_VQS_INIT_NEW: {
      const uint32_t one = 1;
      return n <= 0 ? seed(&one, 1) : seed(params, n);
    }
    case ZEV_VQS_INIT_LEAPFROG: return ZEV_VQS_ERR_NO_LEAPFROG;
    case ZEV_VQS_INIT_SKIPAHEAD:
      if constexpr (std::is_same_v<std::decay_t<Skip>, NoSkip>) {
        return ZEV_VQS_ERR_NO_SKIPAHEAD;
      } else {
        const uint64_t count = zev::vqs::param_u64(params);
        return count == 0 ? ZEV_VQS_OK : skip(count);
      }
    case ZEV_VQS_INIT_SKIPEX: return ZEV_VQS_ERR_NO_SKIPAHEADEX;
    default: return ZEV_VQS_ERR_BAD_INIT_OP;
  }
}

}  // namespace zev::gen::mt
