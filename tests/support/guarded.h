// Guarded buffers: n elements whose last byte sits right before a page that can
// be neither read nor written, so any access past element n - 1 faults.
//
// `lead` spare elements stand before element 0; they move the start address
// through every alignment for the same n, and hold a canary so that a write
// below element 0 is seen (lead_intact()).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zevtest {

class GuardedBytes {
 public:
  explicit GuardedBytes(size_t bytes);
  ~GuardedBytes();
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;
  unsigned char* data() const { return data_; }

 private:
  void* map_ = nullptr;
  size_t map_size_ = 0;
  unsigned char* data_ = nullptr;
};

template <class T>
class Guarded {
 public:
  static constexpr unsigned char kCanary = 0xA5;

  explicit Guarded(size_t n, size_t lead = 0)
      : n_(n), lead_(lead), raw_((n + lead) * sizeof(T)) {
    memset(raw_.data(), kCanary, lead * sizeof(T));
    base_ = reinterpret_cast<T*>(raw_.data() + lead * sizeof(T));
  }
  T* data() const { return base_; }
  T& operator[](size_t i) const { return base_[i]; }
  size_t size() const { return n_; }
  T* begin() const { return base_; }
  T* end() const { return base_ + n_; }
  bool lead_intact() const {
    for (size_t i = 0; i < lead_ * sizeof(T); ++i)
      if (raw_.data()[i] != kCanary) return false;
    return true;
  }

 private:
  size_t n_, lead_;
  GuardedBytes raw_;
  T* base_;
};

}  // namespace zevtest
