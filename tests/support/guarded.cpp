#include "guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace zevtest {

GuardedBytes::GuardedBytes(size_t bytes) {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t body = (bytes + page - 1) / page * page;
  map_size_ = body + 2 * page;  // guard, body, guard
  map_ = mmap(nullptr, map_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map_ == MAP_FAILED) abort();
  unsigned char* b = static_cast<unsigned char*>(map_) + page;
  if (body && mprotect(b, body, PROT_READ | PROT_WRITE) != 0) abort();
  data_ = b + body - bytes;
}

GuardedBytes::~GuardedBytes() { munmap(map_, map_size_); }

}  // namespace zevtest
