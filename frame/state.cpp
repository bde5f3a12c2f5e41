// Thread state records, the mode word and its environment value, status and
// callback operations.
#include "frame/state.h"

#include <errno.h>
#include <pthread.h>
#include <sys/mman.h>

#include <cstring>

#include "zev/zev_core.h"

namespace zev {
namespace {

// ---- private heap of thread records -------------------------------------
// Records come from pages of their own, so that the C runtime's allocator
// plays no part in the frame. Freed records go on a free list.
struct FreeNode {
  FreeNode* next;
};

constexpr size_t kHeapChunk = 16384;

struct RecordHeap {
  FreeNode* free_list;
  volatile int lock;
};

RecordHeap* g_heap = nullptr;
volatile int g_heap_lock = 0;
volatile int g_slot_lock = 0;
volatile int g_env_lock = 0;

// The TLS slot: a key for the thread-exit release, plus a fast per-thread copy.
constexpr pthread_key_t kInvalidKey = static_cast<pthread_key_t>(-1);
pthread_key_t g_key = kInvalidKey;


RecordHeap* heap_create() {
  void* p = mmap(nullptr, sizeof(RecordHeap), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return nullptr;
  RecordHeap* h = static_cast<RecordHeap*>(p);
  h->free_list = nullptr;
  h->lock = 0;
  return h;
}

ThreadState* heap_alloc(RecordHeap* h) {
  zev_serv_lock(&h->lock);
  if (h->free_list == nullptr) {
    void* p = mmap(nullptr, kHeapChunk, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) {
      zev_serv_unlock(&h->lock);
      return nullptr;
    }
    // Chunks are never returned while the module is loaded.
    char* c = static_cast<char*>(p);
    for (size_t off = 0; off + sizeof(ThreadState) <= kHeapChunk; off += sizeof(ThreadState)) {
      FreeNode* n = reinterpret_cast<FreeNode*>(c + off);
      n->next = h->free_list;
      h->free_list = n;
    }
  }
  FreeNode* n = h->free_list;
  h->free_list = n->next;
  zev_serv_unlock(&h->lock);
  return reinterpret_cast<ThreadState*>(n);
}

void heap_free(RecordHeap* h, ThreadState* r) {
  zev_serv_lock(&h->lock);
  FreeNode* n = reinterpret_cast<FreeNode*>(r);
  n->next = h->free_list;
  h->free_list = n;
  zev_serv_unlock(&h->lock);
}

void release_record(void* p) {
  if (p != nullptr && g_heap != nullptr) heap_free(g_heap, static_cast<ThreadState*>(p));
  t_record = nullptr;
}

bool ensure_key() {
  if (__atomic_load_n(&g_key, __ATOMIC_ACQUIRE) != kInvalidKey) return true;
  zev_serv_lock(&g_slot_lock);
  bool ok = true;
  if (g_key == kInvalidKey) {
    pthread_key_t k;
    if (pthread_key_create(&k, release_record) == 0)
      __atomic_store_n(&g_key, k, __ATOMIC_RELEASE);
    else
      ok = false;
  }
  zev_serv_unlock(&g_slot_lock);
  return ok;
}

bool ensure_heap() {
  if (__atomic_load_n(&g_heap, __ATOMIC_ACQUIRE) != nullptr) return true;
  zev_serv_lock(&g_heap_lock);
  if (g_heap == nullptr) __atomic_store_n(&g_heap, heap_create(), __ATOMIC_RELEASE);
  zev_serv_unlock(&g_heap_lock);
  return g_heap != nullptr;
}

// Creates the calling thread's record; null when the slot, the heap or the
// allocation cannot be had.
ThreadState* create_record() {
  if (!ensure_key()) zev_serv_print(1, 0x305, 0);
  if (g_key == kInvalidKey || !ensure_heap()) return nullptr;
  ThreadState* r = heap_alloc(g_heap);
  if (r == nullptr) return nullptr;
  if (pthread_setspecific(g_key, r) != 0) {
    heap_free(g_heap, r);
    return nullptr;
  }
  memset(r, 0, sizeof *r);
  t_record = r;
  return r;
}

// ---- environment value ---------------------------------------------------
constexpr char kModeVariable[] = "ZEV_VQM_MODE";
constexpr int kEnvMax = 256;

struct Keyword {
  const char* word;
  int length;
  uint64_t value;
};

// Searched in this order; the first match wins.
constexpr Keyword kKeywords[] = {
    {"LA", 2, VQM_LA},
    {"HA", 2, VQM_HA},
    {"EP", 2, VQM_EP},
    {"DEFAULT_PRECISION", 17, VQM_DEFAULT_PRECISION},
    {"FLOAT_CONSISTENT", 16, VQM_FLOAT_CONSISTENT},
    {"DOUBLE_CONSISTEN", 16, VQM_DOUBLE_CONSISTEN},
    {"RESTORE", 7, VQM_RESTORE},
    {"ERRMODE_IGNORE", 14, VQM_ERRMODE_IGNORE},
    {"ERRMODE_ERRNO", 13, VQM_ERRMODE_ERRNO},
    {"ERRMODE_STDERR", 14, VQM_ERRMODE_STDERR},
    {"ERRMODE_EXCEPT", 14, VQM_ERRMODE_EXCEPT},
    {"ERRMODE_CALLBACK", 16, VQM_ERRMODE_CALLBACK},
    {"ERRMODE_NOERR", 13, VQM_ERRMODE_NOERR},
    {"ERRMODE_DEFAULT", 15, VQM_ERRMODE_DEFAULT},
    {"TRAP_INVALID", 12, VQM_TRAP_INVALID},
    {"TRAP_DIVBYZERO", 14, VQM_TRAP_DIVBYZERO},
    {"TRAP_OVERFLOW", 13, VQM_TRAP_OVERFLOW},
    {"TRAP_UNDERFLOW", 14, VQM_TRAP_UNDERFLOW},
};

uint64_t read_environment() {
  char buf[kEnvMax + 1];
  zev_serv_lock(&g_env_lock);
  int len = zev_serv_getenv(kModeVariable, buf, sizeof buf);
  zev_serv_unlock(&g_env_lock);
  if (len <= 0) return ~uint64_t{0};
  return parse_mode_value(buf);
}

}  // namespace

__thread ThreadState* t_record __attribute__((tls_model("initial-exec"))) = nullptr;

uint64_t parse_mode_value(const char* s) {
  constexpr uint64_t kReject = ~uint64_t{0};
  if (s == nullptr || s[0] != 'V') return kReject;
  uint64_t result = 0;
  int pos = 0;
  for (;;) {
    if (strncmp(s + pos, "VQM_", 4) != 0) return kReject;
    const Keyword* hit = nullptr;
    for (const Keyword& k : kKeywords) {
      if (pos + 4 + k.length >= kEnvMax) continue;
      if (strncmp(s + pos + 4, k.word, static_cast<size_t>(k.length)) == 0) {
        hit = &k;
        break;
      }
    }
    if (hit == nullptr) return kReject;
    pos += 4 + hit->length;
    const char next = s[pos];
    if (next != ',' && next != 0) return kReject;
    result |= hit->value;
    if (next == 0) return result;
    ++pos;
    if (s[pos] != 'V') return kReject;
  }
}

ThreadState* thread_state() {
  ThreadState* r = t_record;
  if (__builtin_expect(r != nullptr, 1)) return r;
  r = create_record();
  if (r == nullptr) {
    zev_serv_print(1, 0x305, 0);
    zev_serv_exit(3);
  }
  return r;
}

void set_errno(int value) { errno = value; }

// Load and unload. A dynamic unload gives the records and the key back;
// at process end there is nothing to do.
__attribute__((constructor)) static void on_load() {
  if (create_record() == nullptr) zev_serv_print(1, 0x305, 0);
}

__attribute__((destructor)) static void on_unload() {
  if (g_key != kInvalidKey) {
    void* r = pthread_getspecific(g_key);
    if (r != nullptr) {
      release_record(r);
      pthread_setspecific(g_key, nullptr);
    }
  }
}

}  // namespace zev

using zev::thread_state;

namespace {

// The fields SetMode merges, in this order.
constexpr uint32_t kMergeMasks[] = {zev::kModeLevel, zev::kModeErrors, zev::kModeDenormals, zev::kModeTraps,
                                    zev::kModeUnnamed};

}  // namespace

#define ZEV_BOTH(ret, op, params)                                  \
  extern "C" ZEV_API ret zev_vqm_kernel_##op params;               \
  extern "C" ZEV_API ret _vqm##op params __attribute__((alias("zev_vqm_kernel_" #op))); \
  extern "C" ZEV_API ret zev_vqm_kernel_##op params

ZEV_BOTH(unsigned, GetMode, (void)) {
  zev::ThreadState* r = thread_state();
  if (__builtin_expect(r->mode != 0, 1)) return r->mode;
  const uint64_t env = zev::read_environment();
  uint32_t mode;
  if (env == ~uint64_t{0}) {
    mode = VQM_ERRMODE_DEFAULT | VQM_HA;
  } else {
    mode = static_cast<uint32_t>(env);
    if ((mode & zev::kModeLevel) == 0) mode |= VQM_HA;
    if ((mode & zev::kModeErrors) == 0) mode |= VQM_ERRMODE_DEFAULT;
  }
  r->mode = mode;
  return mode;
}

ZEV_BOTH(unsigned, SetMode, (unsigned mode)) {
  const uint32_t old = zev_vqm_kernel_GetMode();
  uint32_t m = old;
  for (uint32_t mask : kMergeMasks)
    if (mode & mask) m = (m & ~mask) | (mode & mask);
  thread_state()->mode = m;
  return old;
}

ZEV_BOTH(int, GetErrStatus, (void)) { return thread_state()->status; }

ZEV_BOTH(int, SetErrStatus, (int status)) {
  zev::ThreadState* r = thread_state();
  const int old = r->status;
  r->status = status;
  return old;
}

ZEV_BOTH(int, ClearErrStatus, (void)) {
  zev::ThreadState* r = thread_state();
  const int old = r->status;
  r->status = 0;
  return old;
}

ZEV_BOTH(zev_vqm_error_callback, GetErrorCallBack, (void)) { return thread_state()->callback; }

ZEV_BOTH(zev_vqm_error_callback, SetErrorCallBack, (zev_vqm_error_callback cb)) {
  zev::ThreadState* r = thread_state();
  const zev_vqm_error_callback old = r->callback;
  uint32_t mode = zev_vqm_kernel_GetMode();
  mode = cb != nullptr ? (mode | VQM_ERRMODE_CALLBACK) : (mode & ~VQM_ERRMODE_CALLBACK);
  r->callback = cb;
  zev_vqm_kernel_SetMode(mode);
  return old;
}

ZEV_BOTH(zev_vqm_error_callback, ClearErrorCallBack, (void)) { return zev_vqm_kernel_SetErrorCallBack(nullptr); }

ZEV_BOTH(void*, SetInterfInputVectorPointer, (void* p)) {
  thread_state()->interf_input = p;
  return p;
}

extern "C" ZEV_API int zev_vqm_kernel_GetTTableIndex(void) {
  return static_cast<int>(zev_vqm_kernel_GetMode() & zev::kModeLevel) - 1;
}

extern "C" ZEV_API int zev_vqm_kernel_GetTTableIndexM(int, int mode) { return (mode & zev::kModeLevel) - 1; }

extern "C" ZEV_API int dll_cpu_version(void) { return 3; }
