// Checks of a generator's own state, for streams whose state comes from saved
// bytes rather than from the generator.
//
// The saved header names the generator and the state size, but says nothing of
// the state itself: a position past its array, a dimension past its table or a
// chunk shorter than the table it stands for would be read or written as it
// stands on the first draw. Each generator therefore keeps, beside its four
// functions, one check that a state could have been made by those functions:
// every field later used as an index or a count within its range, and the
// values the generator's arithmetic relies on within theirs. The loader runs
// the check of the stream's generator once the state and chunks are in place
// and refuses a state that fails.
//
// A check reads the stream (header, state, chunk list) and changes nothing.
// Rows registered by a caller have no check: their state means nothing here.
#pragma once

#include "streams/stream.h"

namespace zev::vqs {

using StateCheck = bool (*)(const void* stream);

// The check of the generator that a stream id names, or null when there is
// none (an empty row, a registered row, an id that names no row).
StateCheck state_check(int id);

// The data and size of the first chunk with this id, in list order: the one
// that __vqsSearchChunk gives a generate function. Null when there is none.
const zev_vqs_chunk* first_chunk(const void* stream, int id);

}  // namespace zev::vqs

// One check per built-in generator, each defined in its generator's folder.
namespace zev::gen {
bool check_mcg31m1_state(const void* stream);
bool check_r250_state(const void* stream);
bool check_mrg32k3a_state(const void* stream);
bool check_mcg59_state(const void* stream);
bool check_wh_state(const void* stream);
bool check_sobol_state(const void* stream);
bool check_niederr_state(const void* stream);
bool check_mt19937_state(const void* stream);
bool check_mt2203_state(const void* stream);
bool check_sfmt19937_state(const void* stream);
bool check_trng_state(const void* stream);
bool check_ars5_state(const void* stream);
bool check_philox4x32x10_state(const void* stream);
}  // namespace zev::gen
