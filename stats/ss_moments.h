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

#include <algorithm>
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
// too short for vectors. A block of observations instead streams past
// register tiles of the sums: the variables are cut into vectors of L, and
// for a pair of vectors (a, b) the L rotations of vector a times vector b
// give all L*L products d_i*d_k between them, with no broadcast of a single
// value. The cross-product terms do not feed back into the running means, so
// the order in which they are added is free.
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
  static V div(V a, V b) { return _mm_div_pd(a, b); }
  static V gather(const double* p, int64_t stride) { return _mm_set_pd(p[stride], p[0]); }
  // v[1] = v[0] with its lanes rotated by one.
  static void rotations(V* v) { v[1] = _mm_shuffle_pd(v[0], v[0], 1); }
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
  static V div(V a, V b) { return _mm_div_ps(a, b); }
  static V gather(const float* p, int64_t stride) {
    return _mm_set_ps(p[3 * stride], p[2 * stride], p[stride], p[0]);
  }
  // v[r] = v[0] with lane l taken from lane (l + r) mod 4.
  static void rotations(V* v) {
    v[1] = _mm_shuffle_ps(v[0], v[0], _MM_SHUFFLE(0, 3, 2, 1));
    v[2] = _mm_shuffle_ps(v[0], v[0], _MM_SHUFFLE(1, 0, 3, 2));
    v[3] = _mm_shuffle_ps(v[0], v[0], _MM_SHUFFLE(2, 1, 0, 3));
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
  friend Pack operator/(Pack a, Pack b) { return {Ln::div(a.v, b.v)}; }
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

// The cache lines of the next block of observations, asked for a share at a
// time while the present block is worked on, so that memory and arithmetic
// overlap: `runs` runs of `run_lines` lines, `stride` bytes apart.
struct Prefetch {
  const char* base = nullptr;
  int64_t stride = 0, run_lines = 1, total = 0, done = 0;
  void set(const void* b, int64_t stride_, int64_t runs, int64_t bytes) {
    base = static_cast<const char*>(b);
    stride = stride_;
    run_lines = (bytes + 63) / 64 + 1;  // a run need not start on a line
    total = runs * run_lines;
    done = 0;
  }
  void issue(int64_t count) {
    for (const int64_t end = std::min(total, done + count); done < end; ++done)
      _mm_prefetch(base + done / run_lines * stride + done % run_lines * 64, _MM_HINT_T0);
  }
  int64_t left() const { return total - done; }
};

template <class T>
struct CrossBlock {
  using Ln = Lanes<T>;
  using V = typename Ln::V;
  static constexpr int L = Ln::L;
  // Vectors of b per tile: L accumulators each, about ten in all, so that the
  // tile, the rotations and one load fit the sixteen registers.
  static constexpr int kTile = 10 / L;

  int32_t p, ps, nv;  // ps: p rounded up to whole vectors (the pad stays zero), nv = ps/L
  int32_t rows;       // observations gathered before a flush; one more row is room for an extra term
  int32_t count = 0;
  T* S;     // the sums: per pair a <= b of vectors, L rotations of L lanes
  T* Sb;    // the last block's own sums (flush_block), laid out as S
  T* e;     // rows + 1 rows of ps: deviations
  T* coef;  // each row's coefficient c_o
  T* aux;   // kAux arrays of ps
  Prefetch next;  // lines to ask for during the next flush, spread over its tiles
  int32_t every = 1 << 20;

  static int32_t padded(int32_t p) { return (p + L - 1) / L * L; }
  // A block of about 16 KiB of observations, so that it stays in the first
  // level cache while the tiles stream over it.
  static int32_t rows_for(int32_t p) {
    return static_cast<int32_t>(std::clamp<int64_t>(16384 / (sizeof(T) * padded(p)), 16, 256));
  }
  static int64_t pairs(int32_t p) {
    const int64_t nv = padded(p) / L;
    return nv * (nv + 1) / 2;
  }
  // Reals of zeroed scratch one block needs.
  // Scratch: the sums, one block's sums, the rows, the coefficients and
  // kAux arrays of ps for the caller's per-variable values of a block.
  static constexpr int kAux = 6;
  static int64_t scratch(int32_t p) {
    const int64_t r = rows_for(p) + 1;
    return 2 * pairs(p) * L * L + r * padded(p) + r + kAux * padded(p);
  }
  CrossBlock(int32_t p_, T* zeroed) : p(p_), ps(padded(p_)), nv(ps / L), rows(rows_for(p_)) {
    S = Sb = e = coef = aux = nullptr;
    if (zeroed == nullptr) return;
    S = zeroed;
    Sb = S + pairs(p) * L * L;
    e = Sb + pairs(p) * L * L;
    coef = e + static_cast<int64_t>(rows + 1) * ps;
    aux = coef + rows + 1;
  }
  T* aux_array(int k) const { return aux + static_cast<int64_t>(k) * ps; }
  T* row(int32_t o) const { return e + static_cast<int64_t>(o) * ps; }
  // Where the next observation's deviations go; push() then records its
  // coefficient.
  T* next_e() const { return row(count); }
  template <bool Coef>
  void push(T c) {
    coef[count] = c;
    if (++count == rows) flush<Coef>();
  }

  // Pair (a, b) starts at vector tri(a, b) of the sums.
  int64_t tri(int32_t a, int32_t b) const {
    return static_cast<int64_t>(a) * nv - static_cast<int64_t>(a) * (a - 1) / 2 + (b - a);
  }
  // Vector a against vectors b0 .. b0+NB-1: the tile stays in registers while
  // the block streams past. Without Coef every coefficient is 1.
  // Fresh: the tile starts from zero and leaves the block's own sums in Sb.
  template <bool Coef, int NB, bool Fresh>
  void tile(int32_t a, int32_t b0) {
    V acc[NB][L];
    T* s = (Fresh ? Sb : S) + tri(a, b0) * L * L;
    for (int v = 0; v < NB; ++v)
      for (int r = 0; r < L; ++r) acc[v][r] = Fresh ? Ln::splat(T(0)) : Ln::load(s + (v * L + r) * L);
    const T* ea = e + a * L;
    const T* eb = e + b0 * L;
    int32_t wait = every;
    for (int32_t o = 0; o < count; ++o, ea += ps, eb += ps) {
      if (--wait == 0) {
        next.issue(1);
        wait = every;
      }
      V rot[L];
      rot[0] = Ln::load(ea);
      if constexpr (Coef) rot[0] = Ln::mul(rot[0], Ln::splat(coef[o]));
      Ln::rotations(rot);
      for (int v = 0; v < NB; ++v) {
        const V vb = Ln::load(eb + v * L);
        for (int r = 0; r < L; ++r) acc[v][r] = Ln::madd(acc[v][r], rot[r], vb);
      }
    }
    for (int v = 0; v < NB; ++v)
      for (int r = 0; r < L; ++r) Ln::store(s + (v * L + r) * L, acc[v][r]);
  }
  template <bool Coef, bool Fresh = false>
  void flush() {
    if (count == 0) return;
    // The next block's lines, one every `every` rows of the tiles, so that
    // few requests are outstanding at once.
    int64_t tiles = 0;
    for (int32_t a = 0; a < nv; ++a) tiles += (nv - a + kTile - 1) / kTile;
    every = static_cast<int32_t>(std::clamp<int64_t>(tiles * count / (next.left() + 1), 1, 1 << 20));
    for (int32_t a = 0; a < nv; ++a)
      for (int32_t b = a; b < nv; b += kTile) {
        switch (std::min<int32_t>(kTile, nv - b)) {
          case 1: tile<Coef, 1, Fresh>(a, b); break;
          case 2: tile<Coef, 2, Fresh>(a, b); break;
          case 3: tile<Coef, (kTile >= 3 ? 3 : 1), Fresh>(a, b); break;
          case 4: tile<Coef, (kTile >= 4 ? 4 : 1), Fresh>(a, b); break;
          default: tile<Coef, (kTile >= 5 ? 5 : 1), Fresh>(a, b); break;
        }
      }
    next.issue(next.left());
    count = 0;
  }
  // The rows gathered as one block: its own sums go to Sb, whose diagonal
  // the caller may read (block_diagonal), and are then added to S.
  template <bool Coef>
  void flush_block() {
    if (count == 0) return;
    flush<Coef, true>();
    const int64_t m = pairs(p) * L * L;
    for (int64_t k = 0; k < m; k += L) Ln::store(S + k, Ln::add(Ln::load(S + k), Ln::load(Sb + k)));
  }
  // The block's sum of c_o*d_j*d_j.
  T block_diagonal(int32_t j) const { return Sb[tri(j / L, j / L) * L * L + j % L]; }

  // Adds the sums into the upper triangle of the full p by p matrix C (the
  // rows gathered must have been flushed). Lane l of rotation r of pair
  // (a, b) holds the sum of d_i*d_k, i = aL + (l + r) mod L, k = bL + l;
  // within a diagonal pair each product off the diagonal comes twice, and the
  // one with i < k is taken.
  void finish(T* C) const {
    for (int32_t a = 0; a < nv; ++a)
      for (int32_t b = a; b < nv; ++b)
        for (int r = 0; r < L; ++r)
          for (int l = 0; l < L; ++l) {
            const int32_t i = a * L + (l + r) % L, k = b * L + l;
            if (i >= p || k >= p || (a == b && r != 0 && i > k)) continue;
            C[static_cast<int64_t>(i) * p + k] += S[(tri(a, b) * L + r) * L + l];
          }
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
