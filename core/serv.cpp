// Services of libzev_core: memory, locks, environment, messages, exit.
#include "zev/zev_core.h"

#include <cpuid.h>
#include <emmintrin.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" {

void* zev_serv_allocate(size_t size, int alignment) {
  if (size == 0) return nullptr;
  size_t a = alignment <= 0 ? 16 : static_cast<size_t>(alignment);
  if (a & (a - 1)) return nullptr;
  if (a < sizeof(void*)) a = sizeof(void*);
  void* p = nullptr;
  if (posix_memalign(&p, a, size) != 0) return nullptr;
  return p;
}

void zev_serv_deallocate(void* p) { free(p); }

int zev_serv_memcpy_s(void* dest, size_t dest_size, const void* src, size_t count) {
  if (dest == nullptr) return 22;
  if (src == nullptr) {
    memset(dest, 0, dest_size);
    return 22;
  }
  if (count > dest_size) {
    memset(dest, 0, dest_size);
    return 34;
  }
  const char* d = static_cast<const char*>(dest);
  const char* s = static_cast<const char*>(src);
  if (count && d < s + count && s < d + count) {
    memset(dest, 0, dest_size);
    return 22;
  }
  memcpy(dest, src, count);
  return 0;
}

int zev_serv_cpuisicx(void) {
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return 0;
  return (d & bit_SSE2) ? 1 : 0;
}

void zev_serv_lock(volatile int* lock) {
  for (;;) {
    if (__atomic_exchange_n(lock, 1, __ATOMIC_ACQUIRE) == 0) return;
    while (__atomic_load_n(lock, __ATOMIC_RELAXED) != 0) _mm_pause();
  }
}

void zev_serv_unlock(volatile int* lock) { __atomic_store_n(lock, 0, __ATOMIC_RELEASE); }

int zev_serv_getenv(const char* name, char* buffer, int size) {
  if (name == nullptr || buffer == nullptr || size <= 0) return -1;
  const char* v = getenv(name);
  if (v == nullptr) {
    buffer[0] = 0;
    return 0;
  }
  size_t len = strlen(v);
  size_t copy = len < static_cast<size_t>(size - 1) ? len : static_cast<size_t>(size - 1);
  memcpy(buffer, v, copy);
  buffer[copy] = 0;
  return static_cast<int>(len);
}

namespace {
struct Message {
  int id;
  const char* text;
};
constexpr Message kCatalogue[] = {
#define ZEV_MSG(id, text) {id, text},
#include "messages.def"
#undef ZEV_MSG
};
}  // namespace

const char* zev_serv_message(int message_id) {
  for (const Message& m : kCatalogue)
    if (m.id == message_id) return m.text;
  return nullptr;
}

void zev_serv_print(int level, int message_id, int argument_count, ...) {
  const char* fmt = zev_serv_message(message_id);
  std::string out = level >= 1 ? "" : "";
  va_list ap;
  va_start(ap, argument_count);
  if (fmt == nullptr) {
    char buf[64];
    snprintf(buf, sizeof buf, "zev: message 0x%X", message_id);
    out = buf;
  } else {
    // Walk the format: each placeholder takes the next argument, by its own type,
    // while arguments remain; placeholders past argument_count print as "?".
    int used = 0;
    for (const char* p = fmt; *p; ++p) {
      if (*p != '%') {
        out.push_back(*p);
        continue;
      }
      const char* q = p + 1;
      while (*q && strchr("0123456789.", *q)) ++q;
      char piece[16];
      size_t len = static_cast<size_t>(q - p) + 1;
      if (len >= sizeof piece) len = sizeof piece - 1;
      memcpy(piece, p, len);
      piece[len] = 0;
      char buf[128];
      if (used >= argument_count) {
        snprintf(buf, sizeof buf, "?");
      } else if (*q == 's') {
        const char* s = va_arg(ap, const char*);
        snprintf(buf, sizeof buf, piece, s ? s : "(null)");
      } else if (*q == 'd') {
        snprintf(buf, sizeof buf, piece, va_arg(ap, int));
      } else {
        snprintf(buf, sizeof buf, piece, va_arg(ap, double));
      }
      ++used;
      out += buf;
      p = q;
    }
  }
  va_end(ap);
  out.push_back('\n');
  fputs(out.c_str(), stderr);
  fflush(stderr);
}

void zev_serv_exit(int status) { exit(status); }

}  // extern "C"
