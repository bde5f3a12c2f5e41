// Moments, sums, skewness, kurtosis, variation, covariance, correlation and
// cross products over one block of observations: _vqsdSSBasic, _vqssSSBasic.
//
// Three data methods fill a partial result (ss_moments.h) per thread:
//   one-pass   the running update, one observation at a time;
//   fast       plain sums of powers, central quantities by expansion at the end;
//   user-mean  sums of powers of the deviation from the caller's means.
// The two derivation methods make no pass over the data: they turn sums
// (or cross products) the caller holds into moments (or matrices).
//
// Block-wise use: the result arrays and accumulated_weights (W, W2) of the
// previous block are the state of the next. Before the pass they are turned
// back into working form (raw means of powers, central sums, unscaled cross
// products), and after it into results again.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "stats/ss_matrix.h"
#include "stats/ss_moments.h"
#include "stats/ss_task.h"

namespace zev::ss {
namespace {

// ---- requests ---------------------------------------------------------------

// Positions: the place of a request in the need tables, and the bit of its
// field in the set of available fields.
enum : int {
  kMean, kRaw2, kRaw3, kRaw4, kCen2, kCen3, kCen4, kCov, kCor, kKurt, kSkew, kVariation,
  kSum, kRawSum2, kRawSum3, kRawSum4, kCenSum2, kCenSum3, kCenSum4, kCross, kNotHere,
  kPositions = 20
};

constexpr uint64_t kRequest[kPositions] = {
    ZEV_SS_MEAN,   ZEV_SS_2R_MOM, ZEV_SS_3R_MOM,    ZEV_SS_4R_MOM,  ZEV_SS_2C_MOM,
    ZEV_SS_3C_MOM, ZEV_SS_4C_MOM, ZEV_SS_COV,       ZEV_SS_COR,     ZEV_SS_KURTOSIS,
    ZEV_SS_SKEWNESS, ZEV_SS_VARIATION, ZEV_SS_SUM,  ZEV_SS_2R_SUM,  ZEV_SS_3R_SUM,
    ZEV_SS_4R_SUM, ZEV_SS_2C_SUM, ZEV_SS_3C_SUM,    ZEV_SS_4C_SUM,  ZEV_SS_CP};

constexpr int kMissing[kPositions + 1] = {
    -4006, -4007, -4008, -4009, -4010, -4011, -4012, -4018, -4019, -4013, -4014,
    -4017, -4074, -4075, -4076, -4077, -4078, -4079, -4080, -4081, -4029};

constexpr uint32_t B(int pos) { return 1u << pos; }

// The fields each request must be able to write, by method family.
constexpr uint32_t kNeedOnePass[kPositions] = {
    B(kMean), B(kRaw2), B(kRaw3), B(kRaw4), 0x13, 0x27, 0x4F, 0x81, 0x101, 0x25F, 0x437, 0x813,
    B(kSum), B(kRawSum2), B(kRawSum3), B(kRawSum4), 0x10001, 0x20001, 0x40001, 0x80001};
constexpr uint32_t kNeedFast[kPositions] = {
    B(kMean), B(kRaw2), B(kRaw3), B(kRaw4), 0x13, 0x27, 0x4F, 0x81, 0x101, 0x25F, 0x437, 0x813,
    B(kSum), B(kRawSum2), B(kRawSum3), B(kRawSum4), 0x10003, 0x20007, 0x4000F, 0x80001};
constexpr uint32_t kNeedDerive[kPositions] = {
    0x1001, 0x2002, 0x4004, 0x8008, 0x10010, 0x20020, 0x40040, 0x80080, 0x80100, 0x251, 0x431,
    0x811, B(kNotHere), B(kNotHere), B(kNotHere), B(kNotHere), B(kNotHere), B(kNotHere),
    B(kNotHere), B(kNotHere)};

void* field(const Rec* t, int pos) {
  switch (pos) {
    case kMean: return t->mean;
    case kRaw2: return t->raw_moment_2;
    case kRaw3: return t->raw_moment_3;
    case kRaw4: return t->raw_moment_4;
    case kCen2: return t->central_moment_2;
    case kCen3: return t->central_moment_3;
    case kCen4: return t->central_moment_4;
    case kCov: return t->covariance;
    case kCor: return t->correlation;
    case kKurt: return t->kurtosis;
    case kSkew: return t->skewness;
    case kVariation: return t->variation;
    case kSum: return t->sum;
    case kRawSum2: return t->raw_sum_2;
    case kRawSum3: return t->raw_sum_3;
    case kRawSum4: return t->raw_sum_4;
    case kCenSum2: return t->central_sum_2;
    case kCenSum3: return t->central_sum_3;
    case kCenSum4: return t->central_sum_4;
    case kCross: return t->cross_product;
    default: return nullptr;
  }
}

enum Method { kOnePass, kFast, kUserMean };

// The seven quantities a kernel may update, in partial order: the four raw
// means (mean, x^2, x^3, x^4) and the three central sums. Quantity q has its
// moment field at position q and its sum field at position kSum + q.
constexpr int kQuantities = 7;

// Arrays a kernel of each method and order updates (bit q = quantity q).
constexpr uint8_t kUses[3][4] = {
    {0x01, 0x11, 0x13, 0x7F},  // one-pass: m; m s2; m r2 s2; all
    {0x01, 0x03, 0x07, 0x0F},  // fast: m; m r2; m r2 r3; m r2 r3 r4
    {0x11, 0x31, 0x71, 0x7F},  // user-mean: m s2; m s2 s3; m s2 s3 s4; all
};

int order_of(Method method, uint32_t need) {
  auto has = [&](int pos) { return (need & B(pos)) != 0; };
  int order = 0;
  if (method == kOnePass) {
    if (has(kCen2) || has(kCenSum2)) order = 1;
    if (has(kRaw2) || has(kRawSum2)) order = 2;
    if (has(kRaw3) || has(kRaw4) || has(kCen3) || has(kCen4) || has(kRawSum3) ||
        has(kRawSum4) || has(kCenSum3) || has(kCenSum4))
      order = 3;
  } else if (method == kUserMean) {
    if (has(kCen3) || has(kCenSum3)) order = 1;
    if (has(kCen4) || has(kCenSum4)) order = 2;
    if (has(kRaw2) || has(kRaw3) || has(kRaw4) || has(kRawSum2) || has(kRawSum3) ||
        has(kRawSum4))
      order = 3;
  } else {
    if (has(kRaw2) || has(kRawSum2)) order = 1;
    if (has(kRaw3) || has(kRawSum3)) order = 2;
    if (has(kRaw4) || has(kRawSum4)) order = 3;
  }
  return order;
}

// ---- kernels ----------------------------------------------------------------

template <class T>
struct Args {
  int64_t first, end;  // observations of this thread
  int64_t n;           // leading dimension of the variable-contiguous layout
  int32_t p;
  const T* x;
  const T* w;          // null: unweighted
  T acc[4];            // W, W2, two spare accumulators carried along
  T* q[kQuantities];   // mean, raw 2..4 (means of powers), central sums 2..4
  T* cross;            // p by p, upper triangle; null without cross products
  T* block;            // zeroed scratch of a CrossBlock
  const T* mean_in;    // user-mean: the caller's means (read only)
  const T* cross_center;  // fast and user-mean: the means the previous block centred on
};

template <class T>
using Kernel = void (*)(Args<T>&);

// Observation-contiguous data: the hardware prefetcher alone leaves the
// kernels waiting on memory (measured: half again as slow as the
// variable-contiguous walk), so each observation asks for the data 1 KiB
// ahead. A prefetch does not fault, even past the end of the array.
template <class T>
inline void prefetch_ahead(const T* x, int64_t i, int32_t p) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(x + i * p) + 1024),
               _MM_HINT_T0);
}

// The one-pass method, a block of observations at a time: the block's own
// weight, mean, means of powers and central sums are formed (two passes over
// data in the first level cache: the sums, then the deviations from the
// block's mean), and the block is folded into the running values by the
// pairwise merge that joins the threads' results (Chan, Golub and LeVeque;
// Pebay), with the means moved by q*(mean_b - mean), q = Wb/(Wa + Wb), as the
// one-observation update moves them. Every central term is a power of a
// deviation, never a power of x, and the block's mean of x^2 is m*m + s2/W.
// The cross products of the block's deviations go through the register
// tiles, together with one extra row, the difference of the means, which
// carries the merge's term (Wa*Wb/(Wa + Wb))*d_i*d_k; the tiles' diagonal
// then gives the block's second central sums as well.
template <class T, int Order, bool Cross, bool Weighted, bool ObsMajor>
void one_pass_blocks(Args<T>& a, CrossBlock<T>& cb) {
  const int32_t p = a.p;
  const T* __restrict x = a.x;
  const T* __restrict wt = a.w;
  constexpr uint8_t uses = kUses[kOnePass][Order];
  constexpr bool kR2 = uses & 0x02, kR3 = uses & 0x04, kR4 = uses & 0x08;
  constexpr bool kS2 = uses & 0x10, kS3 = uses & 0x20, kS4 = uses & 0x40;
  static_assert(!kR2 || kS2, "the mean of x^2 comes from the second central sum");
  // The second central sums from the tiles' diagonal, where no higher sum
  // needs the squares on the way.
  constexpr bool kDiagonal = Cross && kS2 && !kS3;
  constexpr bool kShift = kDiagonal && !Weighted;
  T* __restrict m = a.q[0];
  T* __restrict r2 = a.q[1];
  T* __restrict r3 = a.q[2];
  T* __restrict r4 = a.q[3];
  T* __restrict s2 = a.q[4];
  T* __restrict s3 = a.q[5];
  T* __restrict s4 = a.q[6];
  // The block's values per variable: mean, central sums 2 to 4, means of x^3, x^4.
  T* bm = cb.aux_array(0);
  T* b2 = cb.aux_array(1);
  T* b3 = cb.aux_array(2);
  T* b4 = cb.aux_array(3);
  T* q3 = cb.aux_array(4);
  T* q4 = cb.aux_array(5);
  T W = a.acc[0], W2 = a.acc[1];
  const int32_t B = cb.rows;
  auto each_variable = [&](auto step) {
    int32_t j = 0;
    for (; j + Pack<T>::kWidth <= p; j += Pack<T>::kWidth) step(Pack<T>{}, j);
    for (; j < p; ++j) step(T{}, j);
  };
  for (int64_t b0 = a.first; b0 < a.end; b0 += B) {
    const int32_t nb = static_cast<int32_t>(std::min<int64_t>(B, a.end - b0));
    // Observation-contiguous data is read where it stands; the other layout
    // is first gathered into the rows, an observation to a row.
    const T* src = cb.e;
    int64_t src_stride = cb.ps;
    if constexpr (ObsMajor) {
      src = x + b0 * p;
      src_stride = p;
    } else {
      for (int32_t j = 0; j < p; ++j) {
        const T* col = x + static_cast<int64_t>(j) * a.n + b0;
        T* dst = cb.e + j;
        for (int32_t o = 0; o < nb; ++o) dst[static_cast<int64_t>(o) * cb.ps] = col[o];
      }
    }
    // The next block is asked for while this one is worked on: during the
    // tiles' flush, or else a share in each vector of variables' pass.
    const int64_t next = b0 + nb, next_nb = std::min<int64_t>(B, a.end - next);
    if (next_nb <= 0) cb.next.set(x, 0, 0, 0);
    else if constexpr (ObsMajor) cb.next.set(x + next * p, 0, 1, next_nb * p * int64_t{sizeof(T)});
    else cb.next.set(x + next, a.n * int64_t{sizeof(T)}, p, next_nb * int64_t{sizeof(T)});
    const int64_t pf_share = (cb.next.left() * Pack<T>::kWidth + p - 1) / p;
    T wb, w2b;
    if constexpr (Weighted) {
      wb = w2b = T(0);
      for (int32_t o = 0; o < nb; ++o) {
        const T w = wt[b0 + o];
        cb.coef[o] = w;
        wb += w;
        w2b += w * w;
      }
      if (wb == T(0)) {  // no weight in the block: only W2's terms (zero as well)
        W2 += w2b;
        continue;
      }
    } else {
      wb = w2b = static_cast<T>(nb);
    }
    const T wa = W, r = T(1) / (wa + wb), q = wb * r, f = wa * q;
    const bool first = wa == T(0);
    // Mean, variance and cross products alone, after the first block: one
    // pass takes the deviations d from the running mean m (exact where x is
    // within a factor of two of m) and their sum; the tiles give sum d d^T.
    // With delta = mean(d), the block's centred sums are
    // sum d d^T - nb delta delta^T, and the merge adds
    // (W nb/(W + nb)) delta delta^T: together sum d d^T - (nb^2/(W + nb))
    // delta delta^T, a rank-one term per block. This saves the pass that
    // forms the block's mean first.
    if constexpr (kShift) {
      if (!first) {
        each_variable([&](auto one, int32_t j) {
          using N = decltype(one);
          const N zero = splat<N>(T(0)), mj = load<N>(m + j);
          N s1[4] = {zero, zero, zero, zero};
          auto add_dev = [&](int u, int32_t o) {
            const N d = load<N>(src + o * src_stride + j) - mj;
            store(cb.row(o) + j, d);
            s1[u] = s1[u] + d;
          };
          int32_t o = 0;
          for (; o + 4 <= nb; o += 4)
            for (int u = 0; u < 4; ++u) add_dev(u, o + u);
          for (; o < nb; ++o) add_dev(0, o);
          store(bm + j, ((s1[0] + s1[1]) + (s1[2] + s1[3])) / splat<N>(wb));
        });
        cb.count = nb;
        cb.template flush_block<false>();
        const T c = wb * q;  // nb^2/(W + nb)
        rank_one(a.cross, p, bm, -c);
        for (int32_t j = 0; j < p; ++j) b2[j] = cb.block_diagonal(j);
        each_variable([&](auto one, int32_t j) {
          using N = decltype(one);
          const N delta = load<N>(bm + j), dd = load<N>(b2 + j), mj = load<N>(m + j);
          store(s2 + j, load<N>(s2 + j) + (dd - splat<N>(c) * delta * delta));
          if constexpr (kR2) {
            const N mb = mj + delta, wbv = splat<N>(wb);
            const N r2b = mb * mb + (dd - wbv * delta * delta) / wbv;
            store(r2 + j, load<N>(r2 + j) + splat<N>(q) * (r2b - load<N>(r2 + j)));
          }
          store(m + j, mj + splat<N>(q) * delta);
        });
        W = wa + wb;
        W2 += w2b;
        continue;
      }
    }
    // Per vector of variables: the sums, then the deviations. Four
    // observations at a time go to separate accumulators, to keep the
    // additions' latency out of the way.
    each_variable([&](auto one, int32_t j) {
      using N = decltype(one);
      if constexpr (!Cross) cb.next.issue(pf_share);
      const N zero = splat<N>(T(0));
      auto v_at = [&](int32_t o) { return load<N>(src + o * src_stride + j); };
      auto w_of = [&](int32_t o) { return splat<N>(cb.coef[o]); };
      auto total = [](N* s) { return (s[0] + s[1]) + (s[2] + s[3]); };
      N s1[4], p3[4], p4[4];
      for (int u = 0; u < 4; ++u) s1[u] = p3[u] = p4[u] = zero;
      auto add_raw = [&](int u, int32_t o) {
        const N v = v_at(o), wv = Weighted ? w_of(o) * v : v;
        s1[u] = s1[u] + wv;
        if constexpr (kR3 || kR4) {
          const N wv2 = wv * v;
          if constexpr (kR3) p3[u] = p3[u] + wv2 * v;
          if constexpr (kR4) p4[u] = p4[u] + wv2 * (v * v);
        }
      };
      int32_t o = 0;
      for (; o + 4 <= nb; o += 4)
        for (int u = 0; u < 4; ++u) add_raw(u, o + u);
      for (; o < nb; ++o) add_raw(0, o);
      const N wbv = splat<N>(wb), mb = total(s1) / wbv;
      store(bm + j, mb);
      if constexpr (kR3) store(q3 + j, total(p3) / wbv);
      if constexpr (kR4) store(q4 + j, total(p4) / wbv);
      if constexpr (kS2 || Cross) {
        N c2[4], c3[4], c4[4];
        for (int u = 0; u < 4; ++u) c2[u] = c3[u] = c4[u] = zero;
        auto add_central = [&](int u, int32_t o) {
          const N d = v_at(o) - mb;
          if constexpr (Cross) store(cb.row(o) + j, d);
          if constexpr (kS2 && !kDiagonal) {
            const N wd2 = Weighted ? w_of(o) * (d * d) : d * d;
            c2[u] = c2[u] + wd2;
            if constexpr (kS3) c3[u] = c3[u] + wd2 * d;
            if constexpr (kS4) c4[u] = c4[u] + wd2 * (d * d);
          }
        };
        o = 0;
        for (; o + 4 <= nb; o += 4)
          for (int u = 0; u < 4; ++u) add_central(u, o + u);
        for (; o < nb; ++o) add_central(0, o);
        if constexpr (kS2 && !kDiagonal) store(b2 + j, total(c2));
        if constexpr (kS3) store(b3 + j, total(c3));
        if constexpr (kS4) store(b4 + j, total(c4));
      }
      // The extra row: d itself with coefficient f, or sqrt(f)*d where every
      // coefficient is 1.
      if constexpr (Cross) {
        if (!first) {
          const N d = mb - load<N>(m + j);
          store(cb.row(nb) + j, Weighted ? d : splat<N>(std::sqrt(f)) * d);
        }
      }
    });
    if constexpr (Cross) {
      cb.coef[nb] = f;
      cb.count = first ? nb : nb + 1;
      cb.template flush_block<Weighted>();
      if constexpr (kDiagonal) {
        const T* extra = cb.row(nb);
        for (int32_t j = 0; j < p; ++j) {
          const T e = first ? T(0) : Weighted ? (extra[j] * f) * extra[j] : extra[j] * extra[j];
          b2[j] = cb.block_diagonal(j) - e;
        }
      }
    }
    // The merge, fourth order first: each line uses the values before it.
    each_variable([&](auto one, int32_t j) {
      using N = decltype(one);
      const N mb = load<N>(bm + j), wbv = splat<N>(wb);
      const N c2b = kS2 ? load<N>(b2 + j) : splat<N>(T(0));
      const N r2b = mb * mb + c2b / wbv;
      if (first) {
        store(m + j, mb);
        if constexpr (kR2) store(r2 + j, r2b);
        if constexpr (kR3) store(r3 + j, load<N>(q3 + j));
        if constexpr (kR4) store(r4 + j, load<N>(q4 + j));
        if constexpr (kS2) store(s2 + j, load<N>(s2 + j) + c2b);
        if constexpr (kS3) store(s3 + j, load<N>(s3 + j) + load<N>(b3 + j));
        if constexpr (kS4) store(s4 + j, load<N>(s4 + j) + load<N>(b4 + j));
        return;
      }
      const N mj = load<N>(m + j), d = mb - mj, rd = splat<N>(r) * d;
      const N wav = splat<N>(wa);
      if constexpr (kS2) {
        const N c2a = load<N>(s2 + j);
        if constexpr (kS3) {
          const N c3a = load<N>(s3 + j), c3b = load<N>(b3 + j);
          if constexpr (kS4)
            store(s4 + j, load<N>(s4 + j) + load<N>(b4 + j) +
                              ((((splat<N>((wa - wb) * wa + wb * wb) * d * wbv * rd +
                                  splat<N>(T(6)) * wav * c2b) * wav +
                                 splat<N>(T(6) * wb * wb) * c2a) * rd +
                                splat<N>(T(4)) * (wav * c3b - wbv * c3a)) * rd));
          store(s3 + j, c3a + c3b +
                            (splat<N>(r * r * wb * wa * (wa - wb)) * d * d +
                             splat<N>(T(3) * r) * (wav * c2b - wbv * c2a)) * d);
        }
        store(s2 + j, c2a + c2b + splat<N>(wa * wb * r) * d * d);
      }
      const N qv = splat<N>(q);
      store(m + j, mj + qv * d);
      if constexpr (kR2) store(r2 + j, load<N>(r2 + j) + qv * (r2b - load<N>(r2 + j)));
      if constexpr (kR3) store(r3 + j, load<N>(r3 + j) + qv * (load<N>(q3 + j) - load<N>(r3 + j)));
      if constexpr (kR4) store(r4 + j, load<N>(r4 + j) + qv * (load<N>(q4 + j) - load<N>(r4 + j)));
    });
    W = wa + wb;
    W2 += w2b;
  }
  a.acc[0] = W;
  a.acc[1] = W2;
  cb.next.set(x, 0, 0, 0);
  if constexpr (Cross) cb.finish(a.cross);
}

// One kernel per (method, order, cross, weighted, layout). The one-pass
// method goes by blocks (above); the fast and user-mean methods add plain
// sums, with observations in the outer loop and variables in the inner one,
// for both layouts: the inner loop then carries p independent chains, and
// the variable-contiguous layout reads p sequential streams.
template <class T, int M, int Order, bool Cross, bool Weighted, bool ObsMajor>
void kernel(Args<T>& a) {
  const int32_t p = a.p;
  const T* __restrict x = a.x;
  T W = a.acc[0], W2 = a.acc[1];
  int64_t i = a.first;
  T* __restrict m = a.q[0];
  T* __restrict r2 = a.q[1];
  T* __restrict r3 = a.q[2];
  T* __restrict r4 = a.q[3];
  T* __restrict s2 = a.q[4];
  T* __restrict s3 = a.q[5];
  T* __restrict s4 = a.q[6];
  CrossBlock<T> cb(p, a.block);
  // Variables j.. of observation obs, one or a vector's width of them.
  auto at = [&](auto one, int64_t obs, int32_t j) {
    using N = decltype(one);
    return ObsMajor ? load<N>(x + obs * p + j)
                    : gather<N>(x + static_cast<int64_t>(j) * a.n + obs, a.n);
  };
  // The loop over variables: whole vectors, then the rest one at a time.
  auto each_variable = [&](auto step) {
    int32_t j = 0;
    for (; j + Pack<T>::kWidth <= p; j += Pack<T>::kWidth) step(Pack<T>{}, j);
    for (; j < p; ++j) step(T{}, j);
  };
  constexpr uint8_t uses = kUses[M][Order];
  constexpr bool kR2 = uses & 0x02, kR3 = uses & 0x04, kR4 = uses & 0x08;
  constexpr bool kS2 = uses & 0x10, kS3 = uses & 0x20, kS4 = uses & 0x40;

  if constexpr (M == kOnePass) {
    one_pass_blocks<T, Order, Cross, Weighted, ObsMajor>(a, cb);
    return;
  } else {
    // Sums: the raw arrays hold means of powers between calls.
    if (W > T(0)) {
      for (int32_t j = 0; j < p; ++j) {
        if (M == kFast) m[j] *= W;
        if (kR2) r2[j] *= W;
        if (kR3) r3[j] *= W;
        if (kR4) r4[j] *= W;
      }
    }
    const T* __restrict mu = a.mean_in;
    for (; i < a.end; ++i) {
      const T w = Weighted ? a.w[i] : T(1);
      if constexpr (ObsMajor) prefetch_ahead(x, i, p);
      T* __restrict e = cb.next_e();
      each_variable([&](auto one, int32_t j) {
        using N = decltype(one);
        const N v = at(one, i, j), wv = Weighted ? splat<N>(w) * v : v;
        if constexpr (M == kFast) store(m + j, load<N>(m + j) + wv);
        if constexpr (kR2) store(r2 + j, load<N>(r2 + j) + wv * v);
        if constexpr (kR3) store(r3 + j, load<N>(r3 + j) + wv * v * v);
        if constexpr (kR4) store(r4 + j, load<N>(r4 + j) + (wv * v) * (v * v));
        if constexpr (M == kUserMean) {
          const N dv = v - load<N>(mu + j);
          const N wd2 = Weighted ? splat<N>(w) * dv * dv : dv * dv;
          if constexpr (kS2) store(s2 + j, load<N>(s2 + j) + wd2);
          if constexpr (kS3) store(s3 + j, load<N>(s3 + j) + wd2 * dv);
          if constexpr (kS4) store(s4 + j, load<N>(s4 + j) + wd2 * dv * dv);
        }
        if constexpr (Cross) store(e + j, v);
      });
      if constexpr (Cross) cb.template push<Weighted>(w);
      W += w;
      W2 += w * w;
    }
    if (W > T(0)) {
      const T inv = T(1) / W;
      for (int32_t j = 0; j < p; ++j) {
        if (M == kFast) m[j] *= inv;
        if (kR2) r2[j] *= inv;
        if (kR3) r3[j] *= inv;
        if (kR4) r4[j] *= inv;
      }
    }
  }
  if constexpr (Cross) {
    cb.template flush<Weighted>();
    cb.finish(a.cross);
  }
  a.acc[0] = W;
  a.acc[1] = W2;
}

// Kernel tables, one per method: entry cross + 2*order + 8*weighted +
// 16*(layout 0x20000), so that order and cross alternate in the low bits.
template <class T, int M, int I>
constexpr Kernel<T> entry() {
  return &kernel<T, M, (I >> 1) & 3, (I & 1) != 0, (I & 8) != 0, (I & 16) != 0>;
}
template <class T, int M, int... I>
constexpr auto make_table(std::integer_sequence<int, I...>) {
  return std::array<Kernel<T>, sizeof...(I)>{entry<T, M, I>()...};
}
template <class T, int M>
const auto kTable = make_table<T, M>(std::make_integer_sequence<int, 32>{});

template <class T>
T inv_sqrt(T v) {
  return T(1) / std::sqrt(v);
}

// Writes correlation, covariance, cross products (those requested, in that
// order) from the work matrix C of unscaled centred cross products.
template <class T>
void write_matrices(const Rec* t, const IntRead& in, uint32_t need, const T* C, int32_t p,
                    const uint8_t* active, T W, T W2, T* diag) {
  const T f = W > T(0) ? T(1) / (W - W2 / W) : T(1);
  auto c = [&](int32_t i, int32_t k) { return C[static_cast<int64_t>(i) * p + k]; };
  if (need & B(kCor)) {
    for (int32_t i = 0; i < p; ++i) diag[i] = inv_sqrt(c(i, i));
    write_matrix(static_cast<T*>(t->correlation), form_of(in, t->correlation_storage), p, active,
                 [&](int32_t i, int32_t k) { return i == k ? f * c(i, i) : c(i, k) * diag[i] * diag[k]; });
  }
  if (need & B(kCov))
    write_matrix(static_cast<T*>(t->covariance), form_of(in, t->covariance_storage), p, active,
                 [&](int32_t i, int32_t k) { return f * c(i, k); });
  if (need & B(kCross))
    write_matrix(static_cast<T*>(t->cross_product), form_of(in, t->cross_product_storage), p,
                 active, [&](int32_t i, int32_t k) { return c(i, k); });
}

// Turns a matrix result of the previous block back into unscaled sums.
template <class T>
void unscale(T* C, int32_t p, int source, T W, T W2) {
  const T s = W - W2 / W;
  auto at = [&](int32_t i, int32_t k) -> T& { return C[static_cast<int64_t>(i) * p + k]; };
  if (source == kCov) {
    for (int32_t i = 0; i < p; ++i)
      for (int32_t k = i; k < p; ++k) at(i, k) *= s;
  } else if (source == kCor) {
    for (int32_t i = 0; i < p; ++i)
      for (int32_t k = i + 1; k < p; ++k) at(i, k) = at(i, k) * std::sqrt(at(i, i) * at(k, k)) * s;
    for (int32_t i = 0; i < p; ++i) at(i, i) *= s;
  }
}

// ---- results of one variable -------------------------------------------------

// The values of one variable in working form; absent ones are NaN.
template <class T>
struct Values {
  T m, r2, r3, r4, s2, s3, s4;
};

// Writes every requested per-variable result of variable j.
template <class T>
void write_results(const Rec* t, uint32_t need, int32_t j, const Values<T>& v, T W, T W2,
                   bool fast, bool keep_mean) {
  T m = v.m, r2 = v.r2, r3 = v.r3, r4 = v.r4, s2 = v.s2, s3 = v.s3, s4 = v.s4;
  T c2, c3, c4;
  if (W == T(0)) {  // no weight: every result is zero
    m = r2 = r3 = r4 = s2 = s3 = s4 = c2 = c3 = c4 = T(0);
  } else if (fast) {
    const T mm = m * m;
    s2 = (r2 - mm) * W;
    s3 = ((T(-3) * r2 + T(2) * mm) * m + r3) * W;
    s4 = (((T(6) * r2 - T(3) * mm) * m - T(4) * r3) * m + r4) * W;
    c2 = (r2 - mm) * (W * W / (W * W - W2));
    c3 = (T(-3) * r2 + T(2) * mm) * m + r3;
    c4 = ((T(6) * r2 - T(3) * mm) * m - T(4) * r3) * m + r4;
  } else {
    c2 = s2 * (W / (W * W - W2));
    c3 = s3 / W;
    c4 = s4 / W;
  }
  auto put = [&](int pos, T value) {
    if (need & B(pos)) static_cast<T*>(field(t, pos))[j] = value;
  };
  if (!keep_mean) put(kMean, m);
  put(kRaw2, r2);
  put(kRaw3, r3);
  put(kRaw4, r4);
  put(kCen2, c2);
  put(kCen3, c3);
  put(kCen4, c4);
  put(kSum, m * W);
  put(kRawSum2, r2 * W);
  put(kRawSum3, r3 * W);
  put(kRawSum4, r4 * W);
  put(kCenSum2, s2);
  put(kCenSum3, s3);
  put(kCenSum4, s4);
  const bool zero = W == T(0);
  put(kKurt, zero ? T(0) : c4 / (c2 * c2) - T(3));
  put(kSkew, zero ? T(0) : c3 / std::sqrt(c2 * c2 * c2));
  put(kVariation, zero ? T(0) : std::sqrt(c2) / m);
}

// ---- the entry --------------------------------------------------------------

template <class T>
struct Region {
  Args<T>* args;
  Kernel<T> kernel;
  Method method;
  bool cross;
};

template <class T>
void region_body(int thread, void*, int, void* context) {
  auto* c = static_cast<Region<T>*>(context);
  Args<T>& a = c->args[thread];
  const bool sums = c->cross && c->method != kOnePass;
  // Fast and user-mean cross products: back to raw sums of x x^T, add the
  // range's, and centre again on the means after the range.
  if (sums && a.acc[0] > T(0)) rank_one(a.cross, a.p, a.cross_center, a.acc[0]);
  c->kernel(a);
  if (sums && a.acc[0] > T(0))
    rank_one(a.cross, a.p, c->method == kUserMean ? a.mean_in : a.q[0], -a.acc[0]);
}

template <class T>
Partial<T> partial_of(Args<T>& a, bool user_mean) {
  Partial<T> r;
  r.w = a.acc[0];
  r.w2 = a.acc[1];
  r.mean = user_mean ? nullptr : a.q[0];  // user-mean: both centred on the caller's means
  r.raw2 = a.q[1];
  r.raw3 = a.q[2];
  r.raw4 = a.q[3];
  r.central_sum2 = a.q[4];
  r.central_sum3 = a.q[5];
  r.central_sum4 = a.q[6];
  r.cross = a.cross;
  return r;
}

// Derivation methods: no data pass; moments from the sum fields, matrices
// from cross_product. A value whose source field is absent is read from its
// result field as it stands.
template <class T>
int derive(Rec* t, const IntRead& in, uint32_t need, int32_t p, const uint8_t* active) {
  T W, W2;
  if (t->accumulated_weights) {
    W = static_cast<T*>(t->accumulated_weights)[0];
    W2 = static_cast<T*>(t->accumulated_weights)[1];
  } else {
    W = W2 = static_cast<T>(in.value(t->observation_count));
  }
  T* C = nullptr;
  T* diag = nullptr;
  if ((need & (B(kCov) | B(kCor))) && t->cross_product) {
    C = alloc<T>(static_cast<int64_t>(p) * p + p);
    if (C == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
    diag = C + static_cast<int64_t>(p) * p;
  }
  const T inv = T(1) / W;
  for (int32_t j = 0; j < p; ++j) {
    if (active && !active[j]) continue;
    auto get = [&](int q) -> T {
      const T* s = static_cast<const T*>(field(t, kSum + q));
      const T* f = static_cast<const T*>(field(t, q));
      if (q < 4) return s ? s[j] * inv : f ? f[j] : T(NAN);
      if (s) return s[j];
      if (!f) return T(NAN);
      return q == 4 ? f[j] * ((W * W - W2) / W) : f[j] * W;  // a moment back to a sum
    };
    Values<T> v{get(0), get(1), get(2), get(3), get(4), get(5), get(6)};
    write_results(t, need, j, v, W, W2, false, false);
  }
  if (C) {
    read_matrix(C, static_cast<const T*>(t->cross_product), form_of(in, t->cross_product_storage), p);
    write_matrices(t, in, need & (B(kCov) | B(kCor)), C, p, active, W, W2, diag);
    release(C);
  }
  return 0;
}

template <class T>
int basic(Rec* t, uint64_t mask, uint64_t method, const zev_threading* threading) {
  if (t == nullptr) return ZEV_SS_ERROR_NULL_TASK_DESCRIPTOR;
  const bool fast = method & ZEV_SS_METHOD_FAST, one = method & ZEV_SS_METHOD_1PASS,
             user = method & ZEV_SS_METHOD_FAST_USER_MEAN,
             derivation = method & (ZEV_SS_METHOD_CP_TO_COVCOR | ZEV_SS_METHOD_SUM_TO_MOM);
  const int data_methods = fast + one + user;
  if (!(data_methods == 1 || (data_methods == 0 && derivation)))
    return ZEV_SS_ERROR_METHOD_NOT_SUPPORTED;

  const uint32_t* table = fast ? kNeedFast : data_methods == 1 ? kNeedOnePass : kNeedDerive;
  uint32_t need = 0, available = 0;
  for (int pos = 0; pos < kPositions; ++pos) {
    if (mask & kRequest[pos]) need |= table[pos];
    if (field(t, pos) != nullptr) available |= B(pos);
  }
  if (uint32_t missing = need & ~available) return kMissing[__builtin_ctz(missing)];

  const IntRead in = ints(t);
  if (data_methods == 0) {
    if (!(t->accumulated_weights || (t->observation_count && !t->weights)))
      return ZEV_SS_ERROR_BAD_ACCUM_WEIGHT_ADDR;
  } else {
    if (t->observation_count == nullptr || in.value(t->observation_count) <= 0)
      return ZEV_SS_ERROR_BAD_OBSERV_N;
    if (t->observations == nullptr) return ZEV_SS_ERROR_BAD_OBSERV_ADDR;
    if (t->observation_storage == nullptr) return ZEV_SS_ERROR_BAD_STORAGE_ADDR;
    if (!(in.value(t->observation_storage) &
          (ZEV_SS_MATRIX_STORAGE_ROWS | ZEV_SS_MATRIX_STORAGE_COLS)))
      return ZEV_SS_ERROR_STORAGE_NOT_SUPPORTED;
  }
  if (t->dimension == nullptr || in.value(t->dimension) <= 0) return ZEV_SS_ERROR_BAD_DIMEN;
  const int32_t p = in.low(t->dimension);

  uint8_t* active = nullptr;  // null: every variable takes part
  auto done = [&](int status) {
    release(active);
    return status;
  };
  if (t->variable_mask) {
    active = alloc<uint8_t>(p);
    if (active == nullptr) return ZEV_SS_ERROR_MEM_FAILURE;
    for (int32_t j = 0; j < p; ++j) active[j] = in.at(t->variable_mask, j) != 0;
  }
  if (derivation) return done(derive<T>(t, in, need, p, active));

  // ---- data methods: plan ----
  const int64_t n = in.low(t->observation_count);
  const bool var_major = (in.value(t->observation_storage) & ZEV_SS_MATRIX_STORAGE_ROWS) || p == 1;
  const Method m = fast ? kFast : user ? kUserMean : kOnePass;
  const bool cross = need & (B(kCov) | B(kCor) | B(kCross));
  const int order = order_of(m, need);
  const uint8_t uses = kUses[m][order];
  const bool weighted = t->weights != nullptr;
  const Kernel<T> kern = (m == kOnePass ? kTable<T, kOnePass>
                          : m == kFast  ? kTable<T, kFast>
                                        : kTable<T, kUserMean>)[cross + 2 * order + 8 * weighted +
                                                                16 * !var_major];
  T* acc_field = static_cast<T*>(t->accumulated_weights);
  const T W0 = acc_field ? acc_field[0] : T(0), W20 = acc_field ? acc_field[1] : T(0);

  int threads = 1;
  if (threading && threading->max_threads && threading->parallel_region) {
    const int64_t work = n * p * (cross ? p : 1);
    int64_t limit = threading->max_threads();
    limit = std::min<int64_t>(limit, work >> 13);
    limit = std::min<int64_t>(limit, n / 16);
    threads = limit < 1 ? 1 : static_cast<int>(limit);
  }

  // Where each quantity is worked on in thread 0: its sum field if that is
  // requested, else its moment field if that is, else a private array. A
  // variable mask makes them all private, so that skipped variables' slots
  // stay untouched.
  T* work[kQuantities] = {};
  int from[kQuantities];  // position of the field it continues from, or -1
  int privates = 0;
  for (int q = 0; q < kQuantities; ++q) {
    from[q] = (need & B(kSum + q)) ? kSum + q : (need & B(q)) ? q : -1;
    if (!(uses & (1 << q))) continue;
    if (m == kUserMean && q == 0) continue;  // the caller's means, read only
    if (from[q] >= 0 && !active) work[q] = static_cast<T*>(field(t, from[q]));
    else ++privates;
  }
  const T* user_mean = m == kUserMean ? static_cast<const T*>(t->mean) : nullptr;
  if (m == kUserMean && user_mean == nullptr) ++privates;  // centre on zeros
  // The work matrix: the first requested of cross_product, covariance,
  // correlation, worked on in place when it is full and there is no mask.
  int source = -1;
  T* C = nullptr;
  bool private_C = false;
  if (cross) {
    source = (need & B(kCross)) ? kCross : (need & B(kCov)) ? kCov : kCor;
    const void* st = source == kCross ? t->cross_product_storage
                     : source == kCov ? t->covariance_storage : t->correlation_storage;
    if (form_of(in, st) == kFull && !active) C = static_cast<T*>(field(t, source));
    else private_C = true;
  }

  // All memory in two pieces, taken before anything is written.
  const int64_t pp = static_cast<int64_t>(p) * p;
  // Scratch of a thread: the rows and tiles of a CrossBlock (the one-pass
  // method gathers its blocks there with or without cross products).
  const int64_t block = cross || m == kOnePass ? CrossBlock<T>::scratch(p) : 0;
  const int64_t per_thread = kQuantities * static_cast<int64_t>(p) + (cross ? pp : 0) + block;
  const int64_t reals = static_cast<int64_t>(privates) * p + (private_C ? pp : 0) + p + block +
                        (threads - 1) * per_thread;
  T* pool = alloc<T>(reals);
  auto* args = alloc<Args<T>>(threads);
  const bool need_last = m == kUserMean && t->last_means == nullptr;
  T* last = need_last ? alloc<T>(p) : nullptr;
  if (!pool || !args || (need_last && !last)) {
    release(pool);
    release(args);
    release(last);
    return done(ZEV_SS_ERROR_MEM_FAILURE);
  }
  if (need_last) t->last_means = last;
  memset(pool, 0, static_cast<size_t>(reals) * sizeof(T));
  T* next = pool;
  auto take = [&](int64_t count) {
    T* r = next;
    next += count;
    return r;
  };
  for (int q = 0; q < kQuantities; ++q)
    if ((uses & (1 << q)) && !work[q] && !(m == kUserMean && q == 0)) work[q] = take(p);
  if (m == kUserMean && user_mean == nullptr) user_mean = take(p);
  if (private_C) C = take(pp);
  T* diag = take(p);
  T* block0 = take(block);

  // ---- thread 0 continues the previous block ----
  auto each = [&](auto fn) {
    for (int32_t j = 0; j < p; ++j)
      if (!active || active[j]) fn(j);
  };
  if (W0 > T(0)) {
    const T inv = T(1) / W0;
    for (int q = 0; q < kQuantities; ++q) {
      T* a = work[q];
      if (!a || (m == kUserMean && q == 0)) continue;
      // The field the previous block left this quantity in.
      int pos = from[q];
      if (pos < 0) pos = field(t, kSum + q) ? kSum + q : field(t, q) ? q : -1;
      if (pos < 0) continue;
      const T* src = static_cast<const T*>(field(t, pos));
      T scale = T(1);
      if (q < 4 && pos >= kSum) scale = inv;                 // a sum, back to a mean
      if (q == 4 && pos < kSum) scale = (W0 * W0 - W20) / W0;  // a variance, back to a sum
      if (q > 4 && pos < kSum) scale = W0;                   // a moment, back to a sum
      each([&](int32_t j) { a[j] = src[j] * scale; });
    }
    if (cross) {
      if (private_C) {
        const void* st = source == kCross ? t->cross_product_storage
                         : source == kCov ? t->covariance_storage : t->correlation_storage;
        read_matrix(C, static_cast<const T*>(field(t, source)), form_of(in, st), p);
      }
      unscale(C, p, source, W0, W20);
    }
  } else {
    for (int q = 0; q < kQuantities; ++q)
      if (work[q]) each([&](int32_t j) { work[q][j] = T(0); });
    if (cross) memset(C, 0, static_cast<size_t>(pp) * sizeof(T));
  }
  // Fast and user-mean cross products are turned back into raw sums around
  // the means the previous block centred them on.
  const T* center = m == kUserMean ? (need_last ? user_mean : static_cast<const T*>(t->last_means))
                                   : work[0];

  // ---- the pass ----
  const T* x = static_cast<const T*>(t->observations);
  const T* w = static_cast<const T*>(t->weights);
  const int64_t share = n / threads;
  for (int k = 0; k < threads; ++k) {
    Args<T>& a = args[k];
    a.first = k * share;
    a.end = k == threads - 1 ? n : (k + 1) * share;
    a.n = n;
    a.p = p;
    a.x = x;
    a.w = w;
    a.mean_in = user_mean;
    a.cross_center = center;
    a.acc[2] = a.acc[3] = T(0);
    if (k == 0) {
      a.acc[0] = W0 > T(0) ? W0 : T(0);
      a.acc[1] = W0 > T(0) ? W20 : T(0);
      for (int q = 0; q < kQuantities; ++q) a.q[q] = work[q];
      a.cross = cross ? C : nullptr;
      a.block = block ? block0 : nullptr;
    } else {
      a.acc[0] = a.acc[1] = T(0);
      T* base = take(per_thread);
      for (int q = 0; q < kQuantities; ++q)
        a.q[q] = work[q] ? base + q * static_cast<int64_t>(p) : nullptr;
      a.cross = cross ? base + kQuantities * static_cast<int64_t>(p) : nullptr;
      a.block = block ? base + kQuantities * static_cast<int64_t>(p) + (cross ? pp : 0) : nullptr;
    }
    if (m == kUserMean) a.q[0] = const_cast<T*>(user_mean);
  }
  Region<T> region{args, kern, m, cross};
  if (threads > 1) threading->parallel_region(threads, &region, region_body<T>);
  else region_body<T>(0, nullptr, 1, &region);

  // ---- merge ----
  Partial<T> total = partial_of(args[0], m == kUserMean);
  for (int k = 1; k < threads; ++k) {
    Partial<T> part = partial_of(args[k], m == kUserMean);
    merge_partial<T>(p, nullptr, 0, &total, &part);
  }
  const T W = total.w, W2 = total.w2;

  // ---- results ----
  if (acc_field) {
    acc_field[0] = W;
    acc_field[1] = W2;
  }
  constexpr T nan = std::numeric_limits<T>::quiet_NaN();
  each([&](int32_t j) {
    auto val = [&](int q) { return work[q] ? work[q][j] : nan; };
    Values<T> v{m == kUserMean ? user_mean[j] : val(0), val(1), val(2), val(3),
                val(4),        val(5),        val(6)};
    write_results(t, need, j, v, W, W2, m == kFast, m == kUserMean);
  });
  if (cross) write_matrices(t, in, need, C, p, active, W, W2, diag);
  if (m == kUserMean) memcpy(t->last_means, user_mean, static_cast<size_t>(p) * sizeof(T));

  release(pool);
  release(args);
  return done(0);
}

}  // namespace
}  // namespace zev::ss

ZEV_SS_COMPUTE_ENTRIES(Basic, basic)

extern "C" {

ZEV_API void zev_ss_dMergePartial(int32_t p, const int32_t* variables, int32_t count,
                                  zev_ss_dpartial* a, const zev_ss_dpartial* b) {
  zev::ss::merge_partial<double>(p, variables, count, a, b);
}
ZEV_API void zev_ss_sMergePartial(int32_t p, const int32_t* variables, int32_t count,
                                  zev_ss_spartial* a, const zev_ss_spartial* b) {
  zev::ss::merge_partial<float>(p, variables, count, a, b);
}

}  // extern "C"
