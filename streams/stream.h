// The stream object as the module sees it from inside: the 16-byte header,
// the generator state behind it, and small helpers every generator uses.
//
// A stream is one block from zev_serv_allocate with alignment 128:
//   offset 0   int32  generator id, as given at creation (old or new form)
//   offset 4   uint8  header byte A (1 at creation; nothing reads it)
//   offset 5   uint8  header byte B (0 at creation; nothing reads it)
//   offset 6   uint16 header word   (0 at creation; nothing reads it)
//   offset 8   64-bit slot: pointer to the newest chunk, null when none
//   offset 16  generator state, stateBytes - 16 bytes
//
// BrngRow, the function-pointer types of its four functions and the status
// codes are public and live in include/zev/zev_vqs.h.
#pragma once

#include <cstdint>
#include <cstring>

#include "zev/zev_core.h"
#include "zev/zev_vqs.h"

namespace zev::vqs {

struct StreamHeader {
  int32_t id;
  uint8_t byteA;
  uint8_t byteB;
  uint16_t word;
  int64_t chunks;  // zev_vqs_chunk*, sign-extended into the slot
};
static_assert(sizeof(StreamHeader) == 16, "the stream header is 16 bytes");

constexpr int kHeaderBytes = 16;
constexpr int kStreamAlign = 128;

inline StreamHeader* header(void* s) { return static_cast<StreamHeader*>(s); }
inline const StreamHeader* header(const void* s) { return static_cast<const StreamHeader*>(s); }

inline int stream_id(const void* s) { return header(s)->id; }

// The generator state, right behind the header.
template <class T>
inline T* state(void* s) {
  return reinterpret_cast<T*>(static_cast<unsigned char*>(s) + kHeaderBytes);
}
template <class T>
inline const T* state(const void* s) {
  return reinterpret_cast<const T*>(static_cast<const unsigned char*>(s) + kHeaderBytes);
}

inline zev_vqs_chunk* chunk_head(const void* s) {
  return reinterpret_cast<zev_vqs_chunk*>(static_cast<intptr_t>(header(s)->chunks));
}
inline void set_chunk_head(void* s, zev_vqs_chunk* c) {
  header(s)->chunks = static_cast<int64_t>(reinterpret_cast<intptr_t>(c));
}

// The member offset of a stream's id (WH member, MT2203 member).
inline int member_of(const void* s) {
  int index = 0, offset = 0;
  __vqsGetBrngBaseOffset(stream_id(s), &index, &offset);
  return offset;
}

// The 64-bit count of a skip-ahead, word i of a multi-word count.
inline uint64_t param_u64(const unsigned int* params, int i = 0) {
  uint64_t v;
  std::memcpy(&v, reinterpret_cast<const unsigned char*>(params) + 8 * i, 8);
  return v;
}
inline int32_t param_i32(const unsigned int* params) {
  int32_t v;
  std::memcpy(&v, params, 4);
  return v;
}

// Bytes to allocate for a stream of a row: at least stateBytes, and enough
// that __vqsCopyStreamState (seedWords * wordBytes bytes of state) stays
// inside the block. The slack is zeroed.
inline size_t alloc_bytes(const BrngRow& row) {
  int64_t need = int64_t(row.stateBytes);
  int64_t copy = int64_t(kHeaderBytes) + int64_t(row.seedWords) * row.wordBytes;
  if (copy > need) need = copy;
  if (need < kHeaderBytes) need = kHeaderBytes;
  return size_t(need);
}

}  // namespace zev::vqs
