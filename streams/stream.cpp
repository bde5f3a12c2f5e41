// Stream creation, copying, deletion, and the jump operations that hand over
// to a generator's init function.
#include "streams/chunks.h"

using namespace zev::vqs;

namespace {

void* allocate_stream(const BrngRow& row) {
  size_t bytes = alloc_bytes(row);
  void* s = zev_serv_allocate(bytes, kStreamAlign);
  if (s) std::memset(s, 0, bytes);
  return s;
}

void set_header(void* s, int id) {
  StreamHeader* h = header(s);
  h->id = id;
  h->byteA = 1;
  h->byteB = 0;
  h->word = 0;
  h->chunks = 0;
}

}  // namespace

extern "C" {

ZEV_API int __vqsAllocateStream(void** stream, const BrngRow* table, int id, int index,
                                int offset) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  *stream = nullptr;
  int st = __vqsIsBrngValid(table, index, offset);
  if (st != ZEV_VQS_OK) return st;
  void* s = allocate_stream(table[index]);
  if (!s) return ZEV_VQS_ERR_NOMEM;
  set_header(s, id);
  *stream = s;
  return ZEV_VQS_OK;
}

ZEV_API int __vqsNewStreamEx(void** stream, int id, int n, const unsigned int* params) {
  // No place for the stream, or no seed words for a count of them: refused
  // before anything is allocated.
  if (!stream || (n > 0 && !params)) return ZEV_VQS_ERR_NULL;
  // Abstract streams are made only through their own constructors.
  if (id == ZEV_BRNG_IABSTRACT || id == ZEV_BRNG_DABSTRACT || id == ZEV_BRNG_SABSTRACT)
    return ZEV_VQS_ERR_BAD_BRNG;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(id, &index, &offset);
  int st = __vqsIsBrngValid(table, index, offset);
  if (st != ZEV_VQS_OK) return st;
  // An empty row (old ids 279 and 280) or a generator not built into this
  // module has no init function and cannot make a stream.
  if (!table[index].initFn) return ZEV_VQS_ERR_BAD_BRNG;
  st = __vqsAllocateStream(stream, table, id, index, offset);
  if (st != ZEV_VQS_OK) return st;
  return table[index].initFn(ZEV_VQS_INIT_NEW, *stream, n, params);
}

ZEV_API int __vqsCopyStream(void** newstream, const void* src) {
  if (!newstream) return ZEV_VQS_ERR_NULL;
  *newstream = nullptr;
  if (!src) return ZEV_VQS_ERR_NULL;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(stream_id(src), &index, &offset);
  int st = __vqsIsBrngValid(table, index, offset);
  if (st != ZEV_VQS_OK) return st;
  const BrngRow& row = table[index];
  void* s = allocate_stream(row);
  if (!s) return ZEV_VQS_ERR_NOMEM;
  set_header(s, stream_id(src));
  if (row.stateBytes > 0) std::memcpy(s, src, size_t(row.stateBytes));
  set_chunk_head(s, nullptr);  // the byte copy brought the source's list along
  *newstream = s;
  return __vqsCopyChunks(s, src);
}

// Copies seedWords * wordBytes bytes of state, which for some generators is
// less than the whole state (the multipliers of MCG31M1 and MCG59 stay) and
// for WH more: stream blocks are sized so that this copy stays inside them.
ZEV_API int __vqsCopyStreamState(void* dst, const void* src) {
  if (!dst || !src) return ZEV_VQS_ERR_NULL;
  if (dst == src) return ZEV_VQS_OK;
  int index, offset;
  const BrngRow* table = __vqsGetBrngBaseOffset(stream_id(src), &index, &offset);
  if (__vqsIsBrngValid(table, index, offset) != ZEV_VQS_OK) return ZEV_VQS_ERR_BAD_BRNG;
  const BrngRow& row = table[index];
  int64_t bytes = int64_t(row.seedWords) * row.wordBytes;
  if (bytes > 0) std::memcpy(state<unsigned char>(dst), state<unsigned char>(src), size_t(bytes));
  release_chunks(dst);
  return __vqsCopyChunks(dst, src);
}

ZEV_API int __vqsDeleteStream(void** stream) {
  if (stream && *stream) {
    release_chunks(*stream);
    zev_serv_deallocate(*stream);
  }
  if (stream) *stream = nullptr;
  return ZEV_VQS_OK;
}

ZEV_API int __vqsGetStreamSize(const void* stream) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  int index, offset;
  const BrngRow* table = __vqsGetBrngBaseOffset(stream_id(stream), &index, &offset);
  if (__vqsIsBrngValid(table, index, offset) != ZEV_VQS_OK) return ZEV_VQS_ERR_BAD_BRNG;
  int size = table[index].stateBytes + 8;
  for (zev_vqs_chunk* c = chunk_head(stream); c; c = c->next) size += c->size + 24;
  return size;
}

// With no stream there is no id: -5, which no stream can hold (negative ids
// make no stream).
ZEV_API int __vqsGetStreamStateBrng(const void* stream) {
  return stream ? stream_id(stream) : ZEV_VQS_ERR_NULL;
}

ZEV_API int __vqsLeapfrogStream(void* stream, int k, int nstreams) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  if (uint64_t(int64_t(nstreams)) >= 0xFFFFFFFFull) return ZEV_VQS_ERR_LEAPFROG_NSTREAMS;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(stream_id(stream), &index, &offset);
  int32_t kk = k;
  return table[index].initFn(ZEV_VQS_INIT_LEAPFROG, stream, nstreams,
                             reinterpret_cast<const unsigned int*>(&kk));
}

ZEV_API int __vqsSkipAheadStream(void* stream, long long nskip) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(stream_id(stream), &index, &offset);
  long long count = nskip;
  return table[index].initFn(ZEV_VQS_INIT_SKIPAHEAD, stream, 2,
                             reinterpret_cast<const unsigned int*>(&count));
}

ZEV_API int __vqsSkipAheadStreamEx(void* stream, int n, const unsigned long long* nskip) {
  if (!stream || (n > 0 && !nskip)) return ZEV_VQS_ERR_NULL;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(stream_id(stream), &index, &offset);
  return table[index].initFn(ZEV_VQS_INIT_SKIPEX, stream, n,
                             reinterpret_cast<const unsigned int*>(nskip));
}

}  // extern "C"
