// The loader core shared by the file and memory forms. The public loaders
// wrap it; the fuzz target drives it directly with a bounded memory source
// and with a memory file.
#pragma once

#include <cstdio>

#include "streams/stream.h"

namespace zev::vqs {

// Loads a saved stream from an open file. On failure no stream is left and
// *stream is null. The file is not closed.
int load_stream_file(void** stream, std::FILE* f);

// Loads a saved stream from memory of at most `size` bytes (SIZE_MAX when
// the caller gives no size). Reading past `size` is a short read (-1103).
int load_stream_memory(void** stream, const unsigned char* memory, size_t size);

}  // namespace zev::vqs
