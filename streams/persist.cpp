// Saving a stream to a file or to memory and loading it back as a new stream.
//
// The saved form, version 2, little-endian:
//   0  u8   version 2            12  u32  state bytes (stateBytes - 16)
//   4  3    magic "RNG"          16  u16  chunk count
//   8  u16  header length 24     20  i32  generator id
//   24      the generator state as it stands in the stream
// then per chunk, newest first: id (4), key (16), data size (4), data.
// Bytes 1-3, 7, 10-11 and 18-19 carry no value; this writer zeroes them.
//
// A loaded state is checked by its generator (streams/state_check.h) once its
// chunks are attached; a state that fails is refused with the header's code.
//
// Older 20-byte headers are read too: magic and version at offsets 0 and 4 in
// either order, state bytes (u16) at 10, chunk count at 12, id at 16. Their
// chunk records have a key when the byte at offset 0 is 1 (or 2), none when
// it is 0.
#include "streams/persist.h"

#include <climits>
#include <cpuid.h>

#include "streams/chunks.h"
#include "streams/state_check.h"

namespace zev::vqs {
namespace {

constexpr uint32_t kMagic = 0x474E52;  // "RNG", little-endian
constexpr int kHeader = 24;

inline uint16_t get16(const unsigned char* p) { return uint16_t(p[0] | p[1] << 8); }
inline uint32_t get32(const unsigned char* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline void put16(unsigned char* p, uint32_t v) { p[0] = uint8_t(v), p[1] = uint8_t(v >> 8); }
inline void put32(unsigned char* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}

bool cpu_has_rdrand() {
  unsigned a, b, c, d;
  return __get_cpuid(1, &a, &b, &c, &d) && (c & bit_RDRND);
}
bool cpu_has_aes() {
  unsigned a, b, c, d;
  return __get_cpuid(1, &a, &b, &c, &d) && (c & bit_AES);
}

// Where the bytes come from. `remaining` bounds chunk allocations: a record
// that claims more data than is left fails as the short read it would be,
// without first asking for the memory.
struct Source {
  std::FILE* f = nullptr;
  const unsigned char* base = nullptr;
  size_t pos = 0, size = 0;

  bool read(void* dst, size_t n) {
    if (f) return n == 0 || std::fread(dst, 1, n, f) == n;
    if (n > size - pos) return false;
    std::memcpy(dst, base + pos, n);
    pos += n;
    return true;
  }
  size_t remaining() const {
    if (!f) return size - pos;
    long here = std::ftell(f);
    if (here < 0 || std::fseek(f, 0, SEEK_END) != 0) return SIZE_MAX;
    long end = std::ftell(f);
    std::fseek(f, here, SEEK_SET);
    return end >= here ? size_t(end - here) : 0;
  }
};

// The file form rejects a header with -1110 (-1111 for the version); the
// memory form has the one code -1200.
int load(void** out, Source& src, bool memory) {
  *out = nullptr;
  const int badHeader = memory ? ZEV_VQS_ERR_MEM_FORMAT : ZEV_VQS_ERR_FILE_HEADER;
  const int badVersion = memory ? ZEV_VQS_ERR_MEM_FORMAT : ZEV_VQS_ERR_FILE_VERSION;

  unsigned char h[kHeader] = {};
  if (!src.read(h, 8)) return ZEV_VQS_ERR_FILE_READ;
  uint32_t headerLength, stateBytes, chunkCount;
  int32_t id;
  if (h[0] == 2) {
    if (!src.read(h + 8, 16)) return ZEV_VQS_ERR_FILE_READ;
    headerLength = get16(h + 8);
    stateBytes = get32(h + 12);
    chunkCount = get16(h + 16);
    id = int32_t(get32(h + 20));
  } else {
    if (!src.read(h + 8, 12)) return ZEV_VQS_ERR_FILE_READ;
    headerLength = kHeader;
    stateBytes = get16(h + 10);
    chunkCount = get16(h + 12);
    id = int32_t(get32(h + 16));
  }
  if ((get32(h + 4) & 0xFFFFFF) != kMagic && (get32(h) & 0xFFFFFF) != kMagic) return badHeader;
  if (h[0] > 2 && h[4] > 2) return badVersion;

  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(id, &index, &offset);
  if (__vqsIsBrngValid(table, index, offset) != ZEV_VQS_OK) return badHeader;
  const BrngRow& row = table[index];
  // A row that cannot make a stream (empty, or its generator not built in)
  // is refused like an unknown id.
  if (row.stateBytes < kHeaderBytes || !row.initFn) return badHeader;
  // An abstract stream's state is the caller's buffer and callback addresses,
  // which mean nothing once saved: such a stream is not loaded.
  if (table == __RegBrngsNew && index >= 9 && index <= 11) return badHeader;
  if (stateBytes != uint32_t(row.stateBytes - kHeaderBytes)) return badHeader;
  if (headerLength < kHeader) return badHeader;

  void* s = nullptr;
  int status = __vqsAllocateStream(&s, table, id, index, offset);
  if (status != ZEV_VQS_OK) return status;

  if (!src.read(state<unsigned char>(s), stateBytes)) status = ZEV_VQS_ERR_FILE_READ;
  if (status == ZEV_VQS_OK && id == ZEV_BRNG_TRNG && !cpu_has_rdrand())
    status = ZEV_VQS_ERR_NO_RDRAND;
  if (status == ZEV_VQS_OK && id == ZEV_BRNG_ARS5 && !cpu_has_aes()) status = ZEV_VQS_ERR_NO_AES;

  for (uint32_t c = 0; status == ZEV_VQS_OK && c < chunkCount; ++c) {
    unsigned char word[4];
    uint64_t key[2] = {0, 0};
    if (!src.read(word, 4)) {
      status = ZEV_VQS_ERR_FILE_READ;
      break;
    }
    int32_t chunkId = int32_t(get32(word));
    if (h[0] == 1 || h[0] == 2) {
      unsigned char k[16];
      if (!src.read(k, 16)) {
        status = ZEV_VQS_ERR_FILE_READ;
        break;
      }
      key[0] = uint64_t(get32(k)) | uint64_t(get32(k + 4)) << 32;
      key[1] = uint64_t(get32(k + 8)) | uint64_t(get32(k + 12)) << 32;
    } else if (h[0] != 0) {
      status = ZEV_VQS_ERR_FILE_READ;  // no chunk record form for this byte
      break;
    }
    if (!src.read(word, 4)) {
      status = ZEV_VQS_ERR_FILE_READ;
      break;
    }
    int32_t size = int32_t(get32(word));
    if (size < 0) {
      status = ZEV_VQS_ERR_NOMEM;
      break;
    }
    if (size_t(size) > src.remaining()) {
      status = ZEV_VQS_ERR_FILE_READ;
      break;
    }
    void* data = nullptr;
    if (size > 0) {
      data = zev_serv_allocate(size_t(size), kStreamAlign);
      if (!data) {
        status = ZEV_VQS_ERR_NOMEM;
        break;
      }
      if (!src.read(data, size_t(size))) {
        zev_serv_deallocate(data);
        status = ZEV_VQS_ERR_FILE_READ;
        break;
      }
    }
    status = __vqsAddChunk(s, chunkId, key, data, size);
    if (status != ZEV_VQS_OK) {
      if (data) zev_serv_deallocate(data);
      break;
    }
    // A key already shared points the new chunk at the shared block; the
    // block just read is then not used, and goes back here rather than leak.
    if (data && chunk_head(s)->data != data) zev_serv_deallocate(data);
  }

  if (status < 0) {
    __vqsDeleteStream(&s);
    return status;
  }
  // Records come newest first and each was pushed at the front: turn the
  // list round so that it stands as it stood in the saved stream.
  zev_vqs_chunk* reversed = nullptr;
  for (zev_vqs_chunk* c = chunk_head(s); c;) {
    zev_vqs_chunk* next = c->next;
    c->next = reversed;
    reversed = c;
    c = next;
  }
  set_chunk_head(s, reversed);
  // The header says nothing of the state: the generator checks it, with its
  // chunks in place, before anything draws from it. A state that fails is
  // refused as an unacceptable saved stream.
  if (status == ZEV_VQS_OK) {
    const StateCheck check = state_check(id);
    if (check && !check(s)) {
      __vqsDeleteStream(&s);
      return badHeader;
    }
  }
  *out = s;
  return status;
}

// A name of name_length bytes gets a NUL-terminated copy; a negative length
// means the name is NUL-terminated already.
struct Name {
  char* copy = nullptr;
  const char* name = nullptr;
  int prepare(const char* n, int length) {
    if (length < 0) {
      name = n;
      return ZEV_VQS_OK;
    }
    copy = static_cast<char*>(zev_serv_allocate(size_t(length) + 1, kStreamAlign));
    if (!copy) return ZEV_VQS_ERR_NOMEM;
    if (length > 0 && n) std::memcpy(copy, n, size_t(length));
    copy[length] = 0;
    name = copy;
    return ZEV_VQS_OK;
  }
  ~Name() {
    if (copy) zev_serv_deallocate(copy);
  }
};

int fill_header(const void* stream, unsigned char h[kHeader], uint32_t* stateBytes) {
  BrngRow row;
  int st = __vqsGetBrngProperties(stream_id(stream), &row);
  if (st != ZEV_VQS_OK) return st;
  std::memset(h, 0, kHeader);
  h[0] = 2;
  put32(h + 4, kMagic);
  put16(h + 8, kHeader);
  *stateBytes = uint32_t(row.stateBytes - kHeaderBytes);
  put32(h + 12, *stateBytes);
  put16(h + 16, uint32_t(__vqsGetNumChunks(stream)));
  put32(h + 20, uint32_t(stream_id(stream)));
  return ZEV_VQS_OK;
}

void chunk_record(const zev_vqs_chunk* c, unsigned char rec[24]) {
  put32(rec, uint32_t(c->id));
  for (int i = 0; i < 2; ++i) {
    put32(rec + 4 + 8 * i, uint32_t(c->key[i]));
    put32(rec + 8 + 8 * i, uint32_t(c->key[i] >> 32));
  }
  put32(rec + 20, uint32_t(c->size));
}

}  // namespace

int load_stream_file(void** stream, std::FILE* f) {
  Source src;
  src.f = f;
  return load(stream, src, false);
}

int load_stream_memory(void** stream, const unsigned char* memory, size_t size) {
  Source src;
  src.base = memory;
  src.size = size;
  return load(stream, src, true);
}

}  // namespace zev::vqs

using namespace zev::vqs;

extern "C" {

ZEV_API int __vqsSaveStreamF(const void* stream, const char* name, int name_length) {
  if (!stream || !name) return ZEV_VQS_ERR_NULL;
  Name nm;
  int status = nm.prepare(name, name_length);
  if (status != ZEV_VQS_OK) return status;
  unsigned char h[kHeader];
  uint32_t stateBytes;
  status = fill_header(stream, h, &stateBytes);
  if (status != ZEV_VQS_OK) return status;
  if (!nm.name) return ZEV_VQS_ERR_FILE_OPEN;
  std::FILE* f = std::fopen(nm.name, "wb");
  if (!f) return ZEV_VQS_ERR_FILE_OPEN;
  if (std::fwrite(h, 1, kHeader, f) != size_t(kHeader) ||
      std::fwrite(state<unsigned char>(stream), 1, stateBytes, f) != stateBytes) {
    status = ZEV_VQS_ERR_FILE_WRITE;
  } else {
    // Closing the file catches what the record writes may miss; the status
    // follows the data write of the last chunk.
    for (const zev_vqs_chunk* c = chunk_head(stream); c; c = c->next) {
      unsigned char rec[24];
      chunk_record(c, rec);
      std::fwrite(rec, 1, 24, f);
      size_t bytes = c->size > 0 ? size_t(c->size) : 0;
      bool ok = bytes == 0 || std::fwrite(c->data, 1, bytes, f) == bytes;
      status = ok ? ZEV_VQS_OK : ZEV_VQS_ERR_FILE_WRITE;
    }
  }
  if (std::fclose(f) != 0) status = ZEV_VQS_ERR_FILE_CLOSE;
  return status;
}

ZEV_API int __vqsLoadStreamF(void** stream, const char* name, int name_length) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  *stream = nullptr;
  if (!name) return ZEV_VQS_ERR_NULL;
  Name nm;
  int status = nm.prepare(name, name_length);
  if (status != ZEV_VQS_OK) return status;
  std::FILE* f = nm.name ? std::fopen(nm.name, "rb") : nullptr;
  if (!f) return ZEV_VQS_ERR_FILE_OPEN;
  status = load_stream_file(stream, f);
  if (std::fclose(f) != 0) {
    __vqsDeleteStream(stream);
    status = ZEV_VQS_ERR_FILE_CLOSE;
  }
  return status;
}

// This form cannot fail: the stream and the memory are the caller's, sized by
// __vqsGetStreamSize, and are used as they are given.
ZEV_API int __vqsSaveStreamM(const void* stream, char* memory) {
  unsigned char h[kHeader];
  uint32_t stateBytes;
  int status = fill_header(stream, h, &stateBytes);
  if (status != ZEV_VQS_OK) return status;
  unsigned char* p = reinterpret_cast<unsigned char*>(memory);
  std::memcpy(p, h, kHeader);
  p += kHeader;
  std::memcpy(p, state<unsigned char>(stream), stateBytes);
  p += stateBytes;
  for (const zev_vqs_chunk* c = chunk_head(stream); c; c = c->next) {
    chunk_record(c, p);
    p += 24;
    if (c->size > 0) {
      std::memcpy(p, c->data, size_t(c->size));
      p += c->size;
    }
  }
  return ZEV_VQS_OK;
}

ZEV_API int __vqsLoadStreamM(void** stream, const char* memory) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  if (!memory) {
    *stream = nullptr;
    return ZEV_VQS_ERR_NULL;
  }
  return load_stream_memory(stream, reinterpret_cast<const unsigned char*>(memory), SIZE_MAX);
}

}  // extern "C"
