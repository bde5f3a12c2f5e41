// Chunk list helpers shared by the stream functions and persistence.
#pragma once

#include "streams/stream.h"

namespace zev::vqs {

// Releases one node: a keyed node drops its reference in the shared table
// (whose last reference frees the data); a private node, or a keyed node whose
// key is no longer in the table, frees its data.
void release_chunk(zev_vqs_chunk* node);

// Releases every node of a stream and clears its list head.
void release_chunks(void* stream);

// Shared-table capacity, and the row count up to which new keys are shared.
constexpr int kGlobRows = 0x80;
constexpr int kGlobShareLimit = 0x7F;

// Rows of the shared table in use (read for tests through the exports).
int glob_count();

}  // namespace zev::vqs
