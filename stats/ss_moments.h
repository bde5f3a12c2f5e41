// Moments and cross products: the partial result of a set of observations,
// its per-observation update, and the merge of two partials.
//
// A partial holds the accumulated weights W and W2, the means of x, x^2, x^3,
// x^4, the central sums s2, s3, s4 and the centred cross products C (upper
// triangle of a full p by p matrix). The one-pass update adds one observation
// to such a partial; the merge adds a whole partial. Both are the pairwise
// formulas of Chan, Golub and LeVeque (1979) for the second order and of
// Pebay (2008, SAND2008-6212) for the third and fourth; the update is the
// merge with a partial of one observation, written out so that no sum of
// large powers is ever formed: every term is a power of the deviation from
// the running mean.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <type_traits>

#include "zev/zev_ss.h"

namespace zev::ss {

template <class T> struct PartialOf;
template <> struct PartialOf<double> { using type = zev_ss_dpartial; };
template <> struct PartialOf<float> { using type = zev_ss_spartial; };
template <class T> using Partial = typename PartialOf<T>::type;

// C[i][k] += c*d[i]*d[k] over the upper triangle (i <= k) of a full p by p
// matrix: the rank-one update of every cross-product path.
template <class T>
inline void rank_one(T* __restrict C, int32_t p, const T* __restrict d, T c) {
  for (int32_t i = 0; i < p; ++i) {
    const T cd = c * d[i];
    T* __restrict row = C + static_cast<int64_t>(i) * p;
    for (int32_t k = i; k < p; ++k) row[k] += cd * d[k];
  }
}

// Sums of c_o*d_o*d_o^T over observations, gathered a block at a time. The
// per-observation update of a p by p triangle runs rows of 1 to p entries,
// too short for vectors; a block of observations instead lets each tile of a
// row of the sums sit in registers while the block streams past it. The
// cross-product terms do not feed back into the running means, so the order
// in which they are added is free.
template <class T> struct Lanes;
template <> struct Lanes<double> {
  using V = __m128d;
  static constexpr int L = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  static V splat(double x) { return _mm_set1_pd(x); }
  static V madd(V acc, V a, V b) { return _mm_add_pd(acc, _mm_mul_pd(a, b)); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V gather(const double* p, int64_t stride) { return _mm_set_pd(p[stride], p[0]); }
};
template <> struct Lanes<float> {
  using V = __m128;
  static constexpr int L = 4;
  static V load(const float* p) { return _mm_loadu_ps(p); }
  static void store(float* p, V v) { _mm_storeu_ps(p, v); }
  static V splat(float x) { return _mm_set1_ps(x); }
  static V madd(V acc, V a, V b) { return _mm_add_ps(acc, _mm_mul_ps(a, b)); }
  static V add(V a, V b) { return _mm_add_ps(a, b); }
  static V sub(V a, V b) { return _mm_sub_ps(a, b); }
  static V mul(V a, V b) { return _mm_mul_ps(a, b); }
  static V gather(const float* p, int64_t stride) {
    return _mm_set_ps(p[3 * stride], p[2 * stride], p[stride], p[0]);
  }
};

// One number type for the kernels' variable loops: Pack<T> holds a vector
// of adjacent variables, T one variable, and the same source serves both.
// The operations are the same IEEE operations lane by lane, so a variable
// gets the same bits whichever form handled it.
template <class T>
struct Pack {
  using Ln = Lanes<T>;
  typename Ln::V v;
  static constexpr int kWidth = Ln::L;
  friend Pack operator+(Pack a, Pack b) { return {Ln::add(a.v, b.v)}; }
  friend Pack operator-(Pack a, Pack b) { return {Ln::sub(a.v, b.v)}; }
  friend Pack operator*(Pack a, Pack b) { return {Ln::mul(a.v, b.v)}; }
};
template <class N, class T>
inline N load(const T* p) {
  if constexpr (std::is_same_v<N, T>) return *p;
  else return N{Lanes<T>::load(p)};
}
template <class N, class T>
inline void store(T* p, N x) {
  if constexpr (std::is_same_v<N, T>) *p = x;
  else Lanes<T>::store(p, x.v);
}
template <class N, class T>
inline N splat(T x) {
  if constexpr (std::is_same_v<N, T>) return x;
  else return N{Lanes<T>::splat(x)};
}
// Variables j, j+1, ... of one observation, stride elements apart.
template <class N, class T>
inline N gather(const T* p, int64_t stride) {
  if constexpr (std::is_same_v<N, T>) return *p;
  else return N{Lanes<T>::gather(p, stride)};
}

template <class T>
struct CrossBlock {
  static constexpr int kBlock = 32;  // observations gathered before a flush
  using Ln = Lanes<T>;
  static constexpr int L = Ln::L;

  int32_t p, ps;  // ps: p rounded up to whole vectors; the pad stays zero
  int32_t count = 0;
  T* e;   // kBlock rows of ps: deviations
  T* S;   // p rows of ps: the sums (upper triangle, from the vector holding the diagonal)
  T coef[kBlock];  // each observation's coefficient c_o

  static int32_t padded(int32_t p) { return (p + L - 1) / L * L; }
  // Reals of zeroed scratch one block needs.
  static int64_t scratch(int32_t p) {
    return static_cast<int64_t>(padded(p)) * (kBlock + p);
  }
  CrossBlock(int32_t p_, T* zeroed) : p(p_), ps(padded(p_)) {
    e = S = nullptr;
    if (zeroed == nullptr) return;  // no cross products wanted
    e = zeroed;
    S = e + static_cast<int64_t>(kBlock) * ps;
  }
  // Where the next observation's deviations go; push() then records its
  // coefficient (the products c_o*d_i are formed in the flush, where they
  // cost a scalar multiply per row instead of a stored vector per pair).
  T* next_e() const { return e + static_cast<int64_t>(count) * ps; }
  void push(T c) {
    coef[count] = c;
    if (++count == kBlock) flush();
  }

  // Rows i .. i+R-1 of the sums, vectors k .. k+NV*L-1: the tile stays in
  // registers while the block streams past, and two rows share each load.
  template <int R, int NV>
  void tile(int32_t i, int32_t k) {
    typename Ln::V acc[R][NV];
    for (int r = 0; r < R; ++r)
      for (int v = 0; v < NV; ++v) acc[r][v] = Ln::load(S + static_cast<int64_t>(i + r) * ps + k + v * L);
    const T* eo = e + k;
    const T* di = e + i;
    for (int32_t o = 0; o < count; ++o, eo += ps, di += ps) {
      typename Ln::V a[R];
      for (int r = 0; r < R; ++r) a[r] = Ln::splat(di[r] * coef[o]);
      for (int v = 0; v < NV; ++v) {
        const typename Ln::V ev = Ln::load(eo + v * L);
        for (int r = 0; r < R; ++r) acc[r][v] = Ln::madd(acc[r][v], a[r], ev);
      }
    }
    for (int r = 0; r < R; ++r)
      for (int v = 0; v < NV; ++v) Ln::store(S + static_cast<int64_t>(i + r) * ps + k + v * L, acc[r][v]);
  }
  template <int R>
  void rows(int32_t i) {
    // Row i starts at the vector holding the diagonal; with i even, row i + 1
    // starts at the same vector (L is even).
    for (int32_t k = i / L * L; k < ps; k += 3 * L) {
      switch ((ps - k) / L) {
        case 1: tile<R, 1>(i, k); break;
        case 2: tile<R, 2>(i, k); break;
        default: tile<R, 3>(i, k); break;
      }
    }
  }
  void flush() {
    if (count == 0) return;
    int32_t i = 0;
    for (; i + 1 < p; i += 2) rows<2>(i);
    if (i < p) rows<1>(i);
    count = 0;
  }
  // Adds the sums into the upper triangle of the full p by p matrix C.
  void finish(T* C) {
    flush();
    for (int32_t i = 0; i < p; ++i)
      for (int32_t k = i; k < p; ++k)
        C[static_cast<int64_t>(i) * p + k] += S[static_cast<int64_t>(i) * ps + k];
  }
};

// Folds b into a. Null arrays are neither read nor written; a null mean on
// either side means both are centred on the same point (the caller's means).
// variables lists count variable numbers, or is null for 0..p-1.
template <class T>
void merge_partial(int32_t p, const int32_t* variables, int32_t count, Partial<T>* a,
                   const Partial<T>* b) {
  const T wa = a->w, wb = b->w;
  const int32_t m = variables ? count : p;
  auto var = [&](int32_t k) { return variables ? variables[k] : k; };
  if (wb == T(0)) {  // b holds no weight: nothing but its W2 (zero as well) to add
    a->w2 += b->w2;
    return;
  }
  const bool means = a->mean && b->mean;
  if (wa == T(0)) {  // a is empty: take b as it stands
    for (int32_t k = 0; k < m; ++k) {
      int32_t j = var(k);
      if (means) a->mean[j] = b->mean[j];
      if (a->raw2 && b->raw2) a->raw2[j] = b->raw2[j];
      if (a->raw3 && b->raw3) a->raw3[j] = b->raw3[j];
      if (a->raw4 && b->raw4) a->raw4[j] = b->raw4[j];
      if (a->central_sum2 && b->central_sum2) a->central_sum2[j] += b->central_sum2[j];
      if (a->central_sum3 && b->central_sum3) a->central_sum3[j] += b->central_sum3[j];
      if (a->central_sum4 && b->central_sum4) a->central_sum4[j] += b->central_sum4[j];
    }
    if (a->cross && b->cross)
      for (int32_t x = 0; x < m; ++x)
        for (int32_t y = x; y < m; ++y) {
          int64_t at = static_cast<int64_t>(var(x)) * p + var(y);
          a->cross[at] += b->cross[at];
        }
    a->w = wb;
    a->w2 += b->w2;
    return;
  }
  const T r = T(1) / (wa + wb);
  if (a->cross && b->cross) {
    const T f = wa * wb * r;
    for (int32_t x = 0; x < m; ++x) {
      const int32_t i = var(x);
      const T di = means ? b->mean[i] - a->mean[i] : T(0);
      T* __restrict ca = a->cross + static_cast<int64_t>(i) * p;
      const T* __restrict cb = b->cross + static_cast<int64_t>(i) * p;
      for (int32_t y = x; y < m; ++y) {
        const int32_t k = var(y);
        const T dk = means ? b->mean[k] - a->mean[k] : T(0);
        ca[k] += cb[k] + f * di * dk;
      }
    }
  }
  for (int32_t k = 0; k < m; ++k) {
    const int32_t j = var(k);
    const T d = means ? b->mean[j] - a->mean[j] : T(0);
    const T rd = r * d;
    const T c2a = a->central_sum2 ? a->central_sum2[j] : T(0);
    const T c2b = b->central_sum2 ? b->central_sum2[j] : T(0);
    const T c3a = a->central_sum3 ? a->central_sum3[j] : T(0);
    const T c3b = b->central_sum3 ? b->central_sum3[j] : T(0);
    // Fourth, third, second order, then the means: each line uses the values
    // of a before the merge.
    if (a->central_sum4 && b->central_sum4)
      a->central_sum4[j] +=
          b->central_sum4[j] +
          (((((wa - wb) * wa + wb * wb) * d * wb * rd + T(6) * wa * c2b) * wa +
            T(6) * wb * wb * c2a) * rd +
           T(4) * (wa * c3b - wb * c3a)) * rd;
    if (a->central_sum3 && b->central_sum3)
      a->central_sum3[j] +=
          c3b + (r * r * wb * d * d * wa * (wa - wb) + T(3) * r * (wa * c2b - wb * c2a)) * d;
    if (a->central_sum2 && b->central_sum2) a->central_sum2[j] += c2b + wa * wb * r * d * d;
    if (means) a->mean[j] = (a->mean[j] * wa + b->mean[j] * wb) * r;
    if (a->raw2 && b->raw2) a->raw2[j] = (a->raw2[j] * wa + b->raw2[j] * wb) * r;
    if (a->raw3 && b->raw3) a->raw3[j] = (a->raw3[j] * wa + b->raw3[j] * wb) * r;
    if (a->raw4 && b->raw4) a->raw4[j] = (a->raw4[j] * wa + b->raw4[j] * wb) * r;
  }
  a->w = wa + wb;
  a->w2 += b->w2;
}

}  // namespace zev::ss
