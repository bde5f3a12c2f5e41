// The row table as the module's own code reads it.
#pragma once

#include "zev/zev_vqm.h"

extern "C" __attribute__((visibility("hidden"))) zev_vqm_row zev_vqm_rows[];

namespace zev {

// Slot s of a row as a kernel of type F. The slot is fetched at every call.
template <class F>
inline F* slot(int row, int s) {
  return reinterpret_cast<F*>(zev_vqm_rows[row].slot[s]);
}

}  // namespace zev
