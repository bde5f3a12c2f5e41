// Matrix forms of the statistics outputs: full, lower packed, upper packed,
// and the reads and writes every compute entry shares.
#pragma once

#include <cmath>

#include "stats/ss_task.h"

namespace zev::ss {

enum Form { kFull, kLower, kUpper };
inline Form form_of(const IntRead& in, const void* storage) {
  if (storage == nullptr) return kFull;
  int64_t v = in.value(storage);
  if (v & 2) return kUpper;
  if (v & 1) return kLower;
  return kFull;
}
inline int64_t packed_at(Form f, int32_t p, int32_t i, int32_t k) {  // i <= k
  return f == kUpper ? static_cast<int64_t>(i) * p - static_cast<int64_t>(i) * (i - 1) / 2 + (k - i)
                     : static_cast<int64_t>(k) * (k + 1) / 2 + i;
}

// Writes value(i, k) (i <= k) into out in form f, both triangles of a full
// matrix. The lower triangle goes first: value() reads the upper triangle of
// the work matrix, which may be out itself.
template <class T, class V>
void write_matrix(T* out, Form f, int32_t p, const uint8_t* active, V value) {
  auto on = [&](int32_t j) { return active == nullptr || active[j]; };
  if (f == kFull) {
    for (int32_t i = 0; i < p; ++i)
      for (int32_t k = 0; k < i; ++k)
        if (on(i) && on(k)) out[static_cast<int64_t>(i) * p + k] = value(k, i);
    for (int32_t i = 0; i < p; ++i)
      for (int32_t k = i; k < p; ++k)
        if (on(i) && on(k)) out[static_cast<int64_t>(i) * p + k] = value(i, k);
    return;
  }
  for (int32_t i = 0; i < p; ++i)
    for (int32_t k = i; k < p; ++k)
      if (on(i) && on(k)) out[packed_at(f, p, i, k)] = value(i, k);
}

// Reads the upper triangle of a matrix in form f into a full work matrix.
template <class T>
void read_matrix(T* work, const T* src, Form f, int32_t p) {
  for (int32_t i = 0; i < p; ++i)
    for (int32_t k = i; k < p; ++k)
      work[static_cast<int64_t>(i) * p + k] =
          f == kFull ? src[static_cast<int64_t>(i) * p + k] : src[packed_at(f, p, i, k)];
}

// Cholesky factor of the m by m matrix a (lower triangle in place, row major);
// false when a is not positive definite.
inline bool cholesky(double* a, int32_t m) {
  for (int32_t j = 0; j < m; ++j) {
    double s = a[static_cast<int64_t>(j) * m + j];
    for (int32_t r = 0; r < j; ++r) s -= a[static_cast<int64_t>(j) * m + r] * a[static_cast<int64_t>(j) * m + r];
    if (!(s > 0)) return false;
    const double l = std::sqrt(s);
    a[static_cast<int64_t>(j) * m + j] = l;
    for (int32_t i = j + 1; i < m; ++i) {
      double v = a[static_cast<int64_t>(i) * m + j];
      for (int32_t r = 0; r < j; ++r) v -= a[static_cast<int64_t>(i) * m + r] * a[static_cast<int64_t>(j) * m + r];
      a[static_cast<int64_t>(i) * m + j] = v / l;
    }
  }
  return true;
}

}  // namespace zev::ss
