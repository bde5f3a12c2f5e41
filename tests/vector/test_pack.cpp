// Pack and unpack against direct loops, for every element type and both widths.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "guarded.h"
#include "zev/zev_vqm.h"

namespace {

// Elements as bit patterns: every kernel must move them untouched, NaN
// payloads (even signalling ones) included.
template <class T>
T pattern(int i) {
  T v;
  unsigned char b[sizeof(T)];
  for (size_t k = 0; k < sizeof(T); ++k) b[k] = static_cast<unsigned char>(i * 37 + k * 11 + 1);
  if (i % 5 == 0) {  // a signalling NaN in the first part
    if (sizeof(T) % 8 == 0) {
      const uint64_t nan = 0x7FF0000000000001ull + i;
      memcpy(b, &nan, 8);
    } else {
      const uint32_t nan = 0x7F800001u + i;
      memcpy(b, &nan, 4);
    }
  }
  memcpy(&v, b, sizeof v);
  return v;
}

template <class T>
bool same(const T& a, const T& b) {
  return memcmp(&a, &b, sizeof(T)) == 0;
}

template <class T>
struct Kernels {
  void (*pack_i)(int64_t, const T*, int64_t, T*, int);
  void (*pack_m)(int64_t, const T*, const void*, T*, int);
  void (*pack_v)(int64_t, const T*, const void*, T*, int);
  void (*unpack_i)(int64_t, const T*, T*, int64_t, int);
  void (*unpack_m)(int64_t, const T*, T*, const void*, int);
  void (*unpack_v)(int64_t, const T*, T*, const void*, int);
};

template <class T, class Ix>
void check(const Kernels<T>& k, int width) {
  const int n = 37, inc = 3;
  std::vector<T> src(n * inc);
  for (size_t i = 0; i < src.size(); ++i) src[i] = pattern<T>(static_cast<int>(i));
  std::vector<Ix> mask(n), index(n);
  for (int i = 0; i < n; ++i) {
    // A 64-bit mask element with only its high half set counts as set.
    mask[i] = (i % 3 == 0) ? 0 : (sizeof(Ix) == 8 && i % 3 == 2 ? Ix(1) << 40 : Ix(1));
    index[i] = static_cast<Ix>((i * 7) % n) | (sizeof(Ix) == 8 ? (Ix(1) << 33) : 0);  // high half ignored
  }
  const T fill = pattern<T>(999);
  // A count with high bits set: the 32-bit width reads only its low half.
  const int64_t count = width == 1 ? (int64_t(5) << 32) + n : n;

  zevtest::Guarded<T> y(n * inc);
  for (auto& v : y) v = fill;
  k.pack_i(count, src.data(), inc, y.data(), width);
  for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[i], src[i * inc])) << "PackI " << i;
  ASSERT_TRUE(same(y[n], fill));

  for (auto& v : y) v = fill;
  k.pack_v(count, src.data(), index.data(), y.data(), width);
  for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[i], src[(i * 7) % n])) << "PackV " << i;

  for (auto& v : y) v = fill;
  k.pack_m(count, src.data(), mask.data(), y.data(), width);
  int j = 0;
  for (int i = 0; i < n; ++i) {
    if (i % 3 != 0) {
      ASSERT_TRUE(same(y[j++], src[i])) << "PackM " << i;
    }
  }
  ASSERT_TRUE(same(y[j], fill)) << "PackM wrote past its count of set elements";

  for (auto& v : y) v = fill;
  k.unpack_i(count, src.data(), y.data(), inc, width);
  for (int i = 0; i < n * inc; ++i) ASSERT_TRUE(same(y[i], i % inc ? fill : src[i / inc])) << "UnpackI " << i;

  for (auto& v : y) v = fill;
  k.unpack_v(count, src.data(), y.data(), index.data(), width);
  for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[(i * 7) % n], src[i])) << "UnpackV " << i;

  for (auto& v : y) v = fill;
  k.unpack_m(count, src.data(), y.data(), mask.data(), width);
  j = 0;
  for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[i], i % 3 ? src[j++] : fill)) << "UnpackM " << i;

  // Counts of zero and below copy nothing, in both widths.
  for (auto& v : y) v = fill;
  for (int64_t bad : {int64_t(0), int64_t(-1), int64_t(-100)}) {
    k.pack_i(bad, src.data(), inc, y.data(), width);
    k.unpack_m(bad, src.data(), y.data(), mask.data(), width);
    k.pack_v(bad, src.data(), index.data(), y.data(), width);
  }
  for (auto& v : y) ASSERT_TRUE(same(v, fill));
}

template <class T>
void check_all(const Kernels<T>& k) {
  check<T, int32_t>(k, 1);
  check<T, int64_t>(k, 0);
  check<T, int64_t>(k, 2);
}

#define ZEV_K(p) {_vqm##p##PackI, _vqm##p##PackM, _vqm##p##PackV, _vqm##p##UnpackI, _vqm##p##UnpackM, _vqm##p##UnpackV}

TEST(Pack, SingleDoubleAndComplex) {
  check_all<float>(ZEV_K(s));
  check_all<double>(ZEV_K(d));
  check_all<zev_complex8>(ZEV_K(c));
  check_all<zev_complex16>(ZEV_K(z));
  // Every level of a pack row is the same kernel.
  EXPECT_EQ(zev_vqm_kernel_zPackM_ttab[0], zev_vqm_kernel_zPackM_ttab[2]);
  float a[2] = {1, 2}, y[2] = {0, 0};
  _vqmsPackI_11(2, a, 1, y, 1);
  EXPECT_EQ(y[1], 2.0f);
}

TEST(Pack, AllZeroMaskWritesNothing) {
  const double a[4] = {1, 2, 3, 4};
  double y[4] = {9, 9, 9, 9};
  const int32_t m[4] = {0, 0, 0, 0};
  _vqmdPackM(4, a, m, y, 1);
  _vqmdUnpackM(4, a, y, m, 1);
  for (double v : y) EXPECT_EQ(v, 9.0);
}

}  // namespace
