// Chunks: blocks of memory a stream carries for a generator or a
// distribution, and the shared table that holds read-only chunk data once for
// every stream that uses it, with a reference count.
//
// The table is the only state shared between streams. One spin lock guards
// it, held only for a walk of at most 128 rows and never across an allocation
// or a release. The find-then-act paths take the lock twice; between the two
// looks a row may go, and the second look then simply does nothing.
#include <x86intrin.h>

#include "streams/chunks.h"

namespace zev::vqs {
namespace {

zev_vqs_glob_entry globTable[kGlobRows];
int globCount = 0;
int globLock = 0;

void lock() {
  for (;;) {
    int expected = 0;
    if (__atomic_compare_exchange_n(&globLock, &expected, 1, false, __ATOMIC_ACQUIRE,
                                     __ATOMIC_RELAXED))
      return;
    _mm_pause();
  }
}
void unlock() { __atomic_store_n(&globLock, 0, __ATOMIC_RELEASE); }

struct Key {
  uint64_t lo, hi;
  bool zero() const { return lo == 0 && hi == 0; }
};

Key read_key(const uint64_t* k) {
  Key r{0, 0};
  if (k) std::memcpy(&r, k, 16);
  return r;
}

// Under the lock: the row holding key, or -1.
int find_locked(Key k) {
  for (int i = 0; i < globCount; ++i)
    if (globTable[i].key[0] == k.lo && globTable[i].key[1] == k.hi) return i;
  return -1;
}

bool in_table(Key k) {
  lock();
  bool found = find_locked(k) >= 0;
  unlock();
  return found;
}

// Drops one reference of key. Returns true when the key was in the table at
// the first look (the caller then must not release the data itself).
bool drop_reference(Key k) {
  if (!in_table(k)) return false;
  void* release = nullptr;
  lock();
  int i = find_locked(k);
  if (i >= 0 && --globTable[i].references <= 0) {
    release = globTable[i].data;
    --globCount;
    if (i != globCount) globTable[i] = globTable[globCount];
    globTable[globCount] = zev_vqs_glob_entry{};
  }
  unlock();
  if (release) zev_serv_deallocate(release);
  return true;
}

zev_vqs_chunk* new_node(int id, int size, void* data) {
  auto* node = static_cast<zev_vqs_chunk*>(zev_serv_allocate(sizeof(zev_vqs_chunk), kStreamAlign));
  if (!node) return nullptr;
  node->id = id;
  node->size = size;
  node->data = data;
  node->next = nullptr;
  node->key[0] = node->key[1] = 0;
  return node;
}

}  // namespace

int glob_count() { return globCount; }

void release_chunk(zev_vqs_chunk* node) {
  Key k{node->key[0], node->key[1]};
  bool shared = !k.zero() && drop_reference(k);
  if (!shared && node->data) zev_serv_deallocate(node->data);
  zev_serv_deallocate(node);
}

void release_chunks(void* stream) {
  zev_vqs_chunk* c = chunk_head(stream);
  set_chunk_head(stream, nullptr);
  while (c) {
    zev_vqs_chunk* next = c->next;
    release_chunk(c);
    c = next;
  }
}

}  // namespace zev::vqs

using namespace zev::vqs;

extern "C" {

// A null key is a private chunk; null data is taken only with no bytes.
ZEV_API int __vqsAddChunk(void* stream, int id, const uint64_t* key, void* data, int size) {
  if (!stream || (!data && size > 0)) return ZEV_VQS_ERR_NULL;
  zev_vqs_chunk* node = new_node(id, size, data);
  if (!node) return ZEV_VQS_ERR_NOMEM;
  Key k = read_key(key);
  if (!k.zero()) {
    if (in_table(k)) {
      // A key names one block of one size: a chunk that claims the key with
      // another size keeps its own data, privately, rather than point at a
      // block shorter than it says.
      bool shared = true;
      lock();
      int i = find_locked(k);
      if (i >= 0) {
        zev_vqs_glob_entry& e = globTable[i];
        if (e.size < 0) e.size = size;
        if (e.size == size) {
          ++e.references;
          node->data = e.data;  // the caller's block is not used
        } else {
          shared = false;
        }
      }
      unlock();
      if (shared) {
        node->key[0] = k.lo;
        node->key[1] = k.hi;
      }
    } else if (globCount >= kGlobShareLimit) {
      // A full table is no failure: the chunk stays private, with its own data.
    } else {
      lock();
      if (globCount < kGlobRows) {
        zev_vqs_glob_entry& e = globTable[globCount++];
        e.key[0] = k.lo;
        e.key[1] = k.hi;
        e.references = 1;
        e.size = size;
        e.data = data;
        node->key[0] = k.lo;
        node->key[1] = k.hi;
      }
      unlock();
    }
  }
  node->next = chunk_head(stream);
  set_chunk_head(stream, node);
  return ZEV_VQS_OK;
}

ZEV_API void* __vqsSearchChunk(const void* stream, int id) {
  if (!stream) return nullptr;
  for (zev_vqs_chunk* c = chunk_head(stream); c; c = c->next)
    if (c->id == id) return c->data;
  return nullptr;
}

ZEV_API int __vqsGetNumChunks(const void* stream) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  int n = 0;
  for (zev_vqs_chunk* c = chunk_head(stream); c; c = c->next) ++n;
  return n;
}

ZEV_API int __vqsDeleteChunksById(void* stream, int id) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  zev_vqs_chunk* head = chunk_head(stream);
  zev_vqs_chunk** link = &head;
  while (*link) {
    zev_vqs_chunk* c = *link;
    if (c->id == id) {
      *link = c->next;
      release_chunk(c);
    } else {
      link = &c->next;
    }
  }
  set_chunk_head(stream, head);
  return ZEV_VQS_OK;
}

ZEV_API int __vqsDeleteChunks(void* stream) {
  if (!stream) return ZEV_VQS_ERR_NULL;
  release_chunks(stream);
  return ZEV_VQS_OK;
}

// The copies keep the source's order and go in front of whatever the
// destination already holds. A failed allocation keeps the nodes copied so far.
ZEV_API int __vqsCopyChunks(void* dst, const void* src) {
  if (!dst || !src) return ZEV_VQS_ERR_NULL;
  zev_vqs_chunk* first = nullptr;
  zev_vqs_chunk** tail = &first;
  int status = ZEV_VQS_OK;
  for (zev_vqs_chunk* c = chunk_head(src); c; c = c->next) {
    zev_vqs_chunk* node = new_node(c->id, c->size, nullptr);
    if (!node) {
      status = ZEV_VQS_ERR_NOMEM;
      break;
    }
    Key k{c->key[0], c->key[1]};
    bool shared = false;
    if (!k.zero()) {
      lock();
      int i = find_locked(k);
      if (i >= 0) {
        ++globTable[i].references;
        node->data = globTable[i].data;
        node->key[0] = k.lo;
        node->key[1] = k.hi;
        shared = true;
      }
      unlock();
    }
    if (!shared && c->size > 0) {
      node->data = zev_serv_allocate(size_t(c->size), kStreamAlign);
      if (!node->data) {
        zev_serv_deallocate(node);
        status = ZEV_VQS_ERR_NOMEM;
        break;
      }
      if (c->data) std::memcpy(node->data, c->data, size_t(c->size));
    }
    *tail = node;
    tail = &node->next;
  }
  *tail = chunk_head(dst);
  set_chunk_head(dst, first ? first : chunk_head(dst));
  return status;
}

ZEV_API int __vqsFindGlobRODataTableEntry(zev_vqs_glob_entry** entry, const uint64_t* key) {
  Key k = read_key(key);
  if (k.zero()) return ZEV_VQS_ERR_GLOB_KEY_ABSENT;
  lock();
  int i = find_locked(k);
  unlock();
  if (i < 0) return ZEV_VQS_ERR_GLOB_KEY_ABSENT;
  if (entry) *entry = &globTable[i];
  return ZEV_VQS_OK;
}

// A created entry starts with no references; each chunk that registers a
// reference to it adds one, and the last chunk to go releases the data.
ZEV_API int __vqsCreateGlobRODataTableEntry(zev_vqs_glob_entry** entry, const uint64_t* key,
                                            void* data) {
  if (!key) return ZEV_VQS_ERR_NULL;
  Key k = read_key(key);
  lock();
  if (globCount >= kGlobRows) {
    unlock();
    return ZEV_VQS_ERR_GLOB_TABLE_FULL;
  }
  zev_vqs_glob_entry& e = globTable[globCount++];
  e.key[0] = k.lo;
  e.key[1] = k.hi;
  e.references = 0;
  e.size = -1;
  e.data = data;
  unlock();
  if (entry) *entry = &e;
  return ZEV_VQS_OK;
}

ZEV_API int __vqsRegisterGlobRODataReference(zev_vqs_chunk* node, const uint64_t* key) {
  Key k = read_key(key);
  if (k.zero()) return ZEV_VQS_ERR_GLOB_KEY_ABSENT;
  lock();
  int i = find_locked(k);
  if (i >= 0) {
    ++globTable[i].references;
    if (node) {
      node->data = globTable[i].data;
      node->key[0] = k.lo;
      node->key[1] = k.hi;
    }
  }
  unlock();
  return i >= 0 ? ZEV_VQS_OK : ZEV_VQS_ERR_GLOB_KEY_ABSENT;
}

ZEV_API int __vqsUnregisterGlobRODataReference(const uint64_t* key) {
  Key k = read_key(key);
  if (k.zero()) return ZEV_VQS_ERR_GLOB_KEY_ABSENT;
  return drop_reference(k) ? ZEV_VQS_OK : ZEV_VQS_ERR_GLOB_KEY_ABSENT;
}

ZEV_API int __vqsGenerateNewGlobalRODataTableEntryId(uint64_t* key, int number) {
  if (!key) return ZEV_VQS_ERR_NULL;
  Key k;
  k.hi = uint64_t(int64_t(number));
  do {
    k.lo = __rdtsc();
    if (k.zero()) break;
  } while (in_table(k));
  std::memcpy(key, &k, 16);
  return ZEV_VQS_OK;
}

}  // extern "C"
