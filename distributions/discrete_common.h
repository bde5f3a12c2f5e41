// What the Poisson, binomial, hypergeometric, multinomial and negative
// binomial generators share:
//
//  - Uniforms, a source that draws from the stream only as many uniforms as
//    are certain to be used, so that a generator whose variates take a
//    varying number of uniforms still leaves the stream exactly after the
//    last uniform it used, and one call of n gives what calls of n1 and
//    n - n1 give;
//  - the logarithms of the probability functions, in the saddle-point form
//    (Stirling's remainder and the deviance bd0), which keeps its absolute
//    accuracy for counts up to 2^31, where ln k! itself would lose 1e-6;
//  - InverseCdf, inversion by a table of the distribution function built on
//    the stack for one parameter set, one uniform a variate;
//  - single-draw Poisson and binomial generators for parameters that change
//    from one variate to the next.
#pragma once

#include <emmintrin.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "distributions/dist_common.h"
#include "distributions/dist_math.h"

namespace zev::dist {

constexpr int32_t kMarker = INT32_MAX;    // values outside a domain, and saturation
constexpr double kLn2Pi = 1.8378770664093454836;
// Attempts of one variate in a rejection loop before it gives up and writes
// the mode. Within the domains the acceptance rates measured are above
// 0.25, so the cap is never reached (probability below 0.75^4096); it only
// bounds the loops for parameters outside them.
constexpr int kMaxAttempts = 4096;

// Values of any generator, an abstract stream's included, into [0, 1]; NaN
// goes to 0.
inline void clamp_unit(double* u, int m) {
  for (int i = 0; i < m; ++i) u[i] = u[i] > 0 ? (u[i] < 1 ? u[i] : 1.0) : 0.0;
}

// The scalar exp and log of the C library set errno on underflow and
// overflow, which the generators do not report: errno is kept for the length
// of a call.
class KeepErrno {
 public:
  KeepErrno() : saved_(errno) {}
  ~KeepErrno() { errno = saved_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int saved_;
};

// ---- Uniforms drawn as they are needed ---------------------------------------
class Uniforms {
 public:
  // per: the fewest uniforms any variate takes.
  Uniforms(void* stream, int per) : stream_(stream), per_(per) {}

  // Variates still to come after the one being drawn now.
  void set_left(int64_t left) { left_ = left; }

  double next() {
    if (pos_ == len_) refill();
    return buf_[pos_++];
  }
  // After a failed draw next() returns 0.5 forever: every loop that draws
  // tests failed() once an attempt, and the caller returns status().
  bool failed() const { return status_ < 0; }
  int status() const { return status_; }

 private:
  void refill() {
    // One more uniform is certain for the variate being drawn, and per_ for
    // each of the others.
    const int64_t want = 1 + left_ * per_;
    len_ = want < kBlock ? int(want) : kBlock;
    pos_ = 0;
    if (status_ >= 0) {
      const int st = draw(stream_, len_, buf_, 0.0, 1.0);
      if (st >= 0) {
        clamp_unit(buf_, len_);
        return;
      }
      status_ = st;
    }
    for (int i = 0; i < len_; ++i) buf_[i] = 0.5;
  }

  void* stream_;
  int per_;
  int64_t left_ = 0;
  int pos_ = 0, len_ = 0;
  int status_ = 0;
  double buf_[kBlock];
};

// Runs one(i) for each variate i with the source told how many follow; stops
// at a failed draw and returns its status.
template <class One>
int each_variate(Uniforms& u, int n, One&& one) {
  for (int i = 0; i < n; ++i) {
    u.set_left(int64_t(n) - i - 1);
    one(i);
    if (u.failed()) return u.status();
  }
  return 0;
}

inline int32_t saturate(double k) { return k < double(kMarker) ? int32_t(k) : kMarker; }

// ---- Logarithms of probability functions -------------------------------------
// delta(k) = ln k! - (k + 1/2) ln k + k - ln(2 pi) / 2 for integers k >= 1:
// up to 15 from a table made at first use (k! is exact in double), above by
// the asymptotic series.
inline double stirling_delta(double k) {
  if (k > 15) {
    const double r = 1 / k, r2 = r * r;
    return r * (1.0 / 12 - r2 * (1.0 / 360 - r2 * (1.0 / 1260 - r2 * (1.0 / 1680 - r2 / 1188))));
  }
  struct Table {
    double d[16];
    Table() {
      double f = 1;
      d[0] = 0;  // not used
      for (int i = 1; i < 16; ++i) {
        f *= i;
        d[i] = ln(f) - (i + 0.5) * ln(double(i)) + i - 0.5 * kLn2Pi;
      }
    }
  };
  static const Table table;
  return table.d[int(k)];
}

// bd0(x, m) = x ln(x / m) + m - x >= 0, without the cancellation near x = m:
// there it is the series 2 x sum v^(2j+1) / (2j+1) - (x - m) with
// v = (x - m) / (x + m).
inline double bd0(double x, double m) {
  if (x == 0) return m;
  if (std::fabs(x - m) < 0.1 * (x + m)) {
    // |v| < 0.1: after 13 terms the next is below v^26 < 2^-86 of the first.
    constexpr double inv_odd[13] = {1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9,  1.0 / 11, 1.0 / 13, 1.0 / 15,
                                    1.0 / 17, 1.0 / 19, 1.0 / 21, 1.0 / 23, 1.0 / 25, 1.0 / 27};
    const double v = (x - m) / (x + m), v2 = v * v;
    double s = (x - m) * v, ej = 2 * x * v;
    for (int j = 0; j < 13; ++j) {
      ej *= v2;
      const double s1 = s + ej * inv_odd[j];
      if (s1 == s) return s1;
      s = s1;
    }
    return s;
  }
  return x * ln(x / m) + m - x;
}

// stirling_delta and bd0 of two arguments at once, in the same arithmetic
// lane by lane, so with the same results: the series of bd0 runs until
// neither lane changes (a term that leaves a sum unchanged is followed by
// smaller ones only). Arguments outside the vector forms go one by one.
inline void stirling_delta2(double k0, double k1, double& d0, double& d1) {
  if (!(k0 > 15 && k1 > 15)) {
    d0 = stirling_delta(k0), d1 = stirling_delta(k1);
    return;
  }
  auto c = [](double v) { return _mm_set1_pd(v); };
  const __m128d r = _mm_div_pd(c(1.0), _mm_set_pd(k1, k0)), r2 = _mm_mul_pd(r, r);
  __m128d t = _mm_sub_pd(c(1.0 / 1680), _mm_div_pd(r2, c(1188)));
  t = _mm_sub_pd(c(1.0 / 1260), _mm_mul_pd(r2, t));
  t = _mm_sub_pd(c(1.0 / 360), _mm_mul_pd(r2, t));
  t = _mm_mul_pd(r, _mm_sub_pd(c(1.0 / 12), _mm_mul_pd(r2, t)));
  d0 = _mm_cvtsd_f64(t), d1 = _mm_cvtsd_f64(_mm_unpackhi_pd(t, t));
}

inline void bd0_2(double x0, double m0, double x1, double m1, double& b0, double& b1) {
  if (!(x0 != 0 && x1 != 0 && std::fabs(x0 - m0) < 0.1 * (x0 + m0) && std::fabs(x1 - m1) < 0.1 * (x1 + m1))) {
    b0 = bd0(x0, m0), b1 = bd0(x1, m1);
    return;
  }
  constexpr double inv_odd[13] = {1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9,  1.0 / 11, 1.0 / 13, 1.0 / 15,
                                  1.0 / 17, 1.0 / 19, 1.0 / 21, 1.0 / 23, 1.0 / 25, 1.0 / 27};
  const __m128d x = _mm_set_pd(x1, x0), m = _mm_set_pd(m1, m0), d = _mm_sub_pd(x, m);
  const __m128d v = _mm_div_pd(d, _mm_add_pd(x, m)), v2 = _mm_mul_pd(v, v);
  __m128d s = _mm_mul_pd(d, v), ej = _mm_mul_pd(_mm_mul_pd(_mm_set1_pd(2.0), x), v);
  for (int j = 0; j < 13; ++j) {
    ej = _mm_mul_pd(ej, v2);
    const __m128d s1 = _mm_add_pd(s, _mm_mul_pd(ej, _mm_set1_pd(inv_odd[j])));
    const bool done = _mm_movemask_pd(_mm_cmpeq_pd(s1, s)) == 3;
    s = s1;
    if (done) break;
  }
  b0 = _mm_cvtsd_f64(s), b1 = _mm_cvtsd_f64(_mm_unpackhi_pd(s, s));
}

// ln P(X = k), X Poisson(mu), mu > 0, k >= 1, with ln k given.
inline double poisson_log_pmf_lnk(double k, double mu, double lnk) {
  return -stirling_delta(k) - bd0(k, mu) - 0.5 * (kLn2Pi + lnk);
}

// ln P(X = k), X Poisson(mu), mu > 0, k >= 0.
inline double poisson_log_pmf(double k, double mu) {
  if (k == 0) return -mu;
  return poisson_log_pmf_lnk(k, mu, ln(k));
}

// ln P(X = k), X binomial(n, p), q = 1 - p given separately so that it keeps
// its precision; 0 <= k <= n.
inline double binomial_log_pmf(double k, double n, double p, double q) {
  if (n == 0) return 0;
  if (k == 0) return p < 0.5 ? n * log1p(-p) : n * ln(q);
  if (k == n) return q < 0.5 ? n * log1p(-q) : n * ln(p);
  const double lc = stirling_delta(n) - stirling_delta(k) - stirling_delta(n - k) - bd0(k, n * p) -
                    bd0(n - k, n * q);
  return lc - 0.5 * (kLn2Pi + ln(k) + log1p(-k / n));
}

// ln P(X = k), X hypergeometric: k successes in d draws from a population of
// pop with s successes, as a quotient of binomial probabilities at p = d/pop.
inline double hypergeometric_log_pmf(double k, double pop, double s, double d) {
  const double p = d / pop, q = (pop - d) / pop;
  return binomial_log_pmf(k, s, p, q) + binomial_log_pmf(d - k, pop - s, p, q) -
         binomial_log_pmf(d, pop, p, q);
}

// ---- Inversion by a table of the distribution function ------------------------
// For a distribution on the integers [kmin, kmax] with mode m, P(m) and the
// ratios up(k) = P(k+1)/P(k), down(k) = P(k-1)/P(k): the table covers
// [lo, hi] = [m - w, m + w] within the support in at most kCells cells of s
// integers. F[j] = P(X < lo + j s), and P[j] = P(X = lo + j s). A variate is
// found by a guide table, a short scan of F, and within a cell of more than
// one integer a walk by the ratios; beyond the table by a walk into the tail
// that ends where the terms no longer change the sum. The walks through the
// whole range at construction cost O(hi - lo).
template <class Up, class Down>
class InverseCdf {
 public:
  static constexpr int kCells = 2048;

  InverseCdf(double kmin, double kmax, double mode, double pmode, double w, Up up, Down down)
      : up_(up), down_(down), kmin_(kmin), kmax_(kmax) {
    lo_ = std::fmax(kmin, mode - w);
    hi_ = std::fmin(kmax, mode + w);
    const double count = hi_ - lo_ + 1;
    s_ = std::ceil(count / kCells);
    cells_ = int(std::ceil(count / s_));
    for (int j = 0; j <= cells_; ++j) F_[j] = 0;
    // Cell sums into F_[j + 1], and the first term of each cell.
    auto add = [&](double k, double p) {
      const double off = k - lo_;
      const int j = int(off / s_);
      F_[j + 1] += p;
      if (off == j * s_) P_[j] = p;
    };
    double p = pmode;
    for (double k = mode;; ) {
      add(k, p);
      if (k <= lo_) break;
      p *= down_(k);
      k -= 1;
    }
    p = pmode;
    for (double k = mode; k < hi_; k += 1) {
      p *= up_(k);
      add(k + 1, p);
    }
    p_after_ = hi_ < kmax ? p * up_(hi_) : 0;
    // Mass below the table.
    double tail = 0;
    p = P_[0];
    for (double k = lo_; k > kmin;) {
      p *= down_(k);
      k -= 1;
      if (tail + p == tail) break;
      tail += p;
    }
    F_[0] = tail;
    for (int j = 0; j < cells_; ++j) F_[j + 1] += F_[j];
    // A guide entry starts low enough for every u that the product u cells
    // rounds to its row.
    for (int g = 0, j = 0; g < cells_; ++g) {
      const double at = (g - 1e-6) / cells_;
      while (j < cells_ - 1 && F_[j + 1] <= at) ++j;
      G_[g] = j;
    }
  }

  // The variate of u in [0, 1].
  double operator()(double u) const {
    if (u < F_[0]) return below(u);
    if (u >= F_[cells_]) return above(u);
    const int g = int(u * cells_);
    int j = G_[g < cells_ ? g : cells_ - 1];
    while (F_[j + 1] <= u) ++j;
    double k = lo_ + j * s_;
    if (s_ == 1) return k;
    double c = F_[j], p = P_[j];
    const double last = std::fmin(hi_, k + s_ - 1);
    while (k < last && c + p <= u) {
      c += p;
      p *= up_(k);
      k += 1;
    }
    return k;
  }

 private:
  double below(double u) const {
    double k = lo_, c = F_[0], p = P_[0];
    while (k > kmin_ && u < c) {
      p *= down_(k);
      k -= 1;
      c -= p;
      if (p == 0) break;
    }
    return k;
  }
  double above(double u) const {
    double k = hi_, c = F_[cells_], p = p_after_;
    while (k < kmax_) {
      k += 1;
      if (u < c + p || c + p == c) return k;
      c += p;
      p *= up_(k);
    }
    return k;
  }

  Up up_;
  Down down_;
  double kmin_, kmax_, lo_, hi_, s_, p_after_;
  int cells_;
  double F_[kCells + 1];
  double P_[kCells];
  int G_[kCells];
};

template <class Up, class Down>
InverseCdf(double, double, double, double, double, Up, Down) -> InverseCdf<Up, Down>;

// Half-width of a table: 12 standard deviations and 16 more beyond the mode
// hold all but 1e-30 of the mass for the distributions here.
inline double table_width(double sd) { return std::ceil(12 * sd + 16); }

// Method 0 of Poisson, Binomial and Hypergeometric inverts by the table
// wherever it spans at most kSmallTable integers (a build of about a
// microsecond a call), and takes its rejection method beyond.
constexpr double kSmallTable = 512;
inline bool small_table(double kmin, double kmax, double mode, double sd) {
  const double w = table_width(sd);
  return std::fmin(kmax, mode + w) - std::fmax(kmin, mode - w) + 1 <= kSmallTable;
}

// Fills r[0..n) by the table, one uniform a variate, in blocks.
template <class Table>
int invert(void* stream, int n, int32_t* r, const Table& table) {
  double u[kBlock];
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int st = draw(stream, m, u, 0.0, 1.0);
    if (st < 0) return st;
    clamp_unit(u, m);
    for (int i = 0; i < m; ++i) r[done + i] = saturate(table(u[i]));
    done += m;
  }
  return 0;
}

// ---- Values kept about the mode -------------------------------------------------
// f(k) for the kSize integers about a centre, kept as they are first asked
// for: a rejection method whose acceptance test needs ln P(k) then pays for
// it once a value of k in a call, and gives the same decisions as without.
class Memo {
 public:
  static constexpr int kSize = 4096;
  // Only the bits that mark kept values are cleared: a call that needs few
  // values pays little for the table.
  explicit Memo(double centre) : lo_(centre - kSize / 2) {
    for (uint64_t& w : kept_) w = 0;
  }
  template <class F>
  double operator()(double k, F&& f) {
    const double off = k - lo_;
    if (!(off >= 0 && off < kSize)) return f(k);
    const int i = int(off);
    const uint64_t bit = uint64_t(1) << (i & 63);
    if ((kept_[i >> 6] & bit) == 0) {
      v_[i] = f(k);
      kept_[i >> 6] |= bit;
    }
    return v_[i];
  }

 private:
  double lo_;
  uint64_t kept_[kSize / 64];
  double v_[kSize];
};

// ln P(z) - ln P(mode) of a rejection method for the kSize integers about
// the mode, filled a segment of kSeg integers at a time when a value of it is
// first asked for: the segment's first value within [bottom, top] by the
// method's saddle-point form, log_ratio(z), each next one by adding
// ln P(z + 1) / P(z), the logarithm of the method's step(z), two at a time.
// A value is a function of z and the parameters alone, whichever call or
// attempt first asks for it, so the variates do not depend on how n is
// split. A sum of at most 63 terms, each within 1.3 ulp, is within about
// 2.5e-14 of the largest value of its segment: 1e-12 where an acceptance
// test can still go either way (values above -45; the saddle-point form
// holds 1e-15), at a fraction of the cost of the saddle-point form for
// every value (up to eight divisions and a logarithm). Values outside
// [bottom, top] are never asked for; values outside the table come from
// log_ratio.
template <class Method>
class SegmentTable {
 public:
  static constexpr int kSize = 2048, kSeg = 64;
  explicit SegmentTable(double centre) : lo_(centre - kSize / 2) {
    for (bool& f : filled_) f = false;
  }
  double operator()(double z, const Method& method) {
    const double off = z - lo_;
    if (!(off >= 0 && off < kSize)) return method.log_ratio(z);
    const int i = int(off);
    if (!filled_[i / kSeg]) fill(i / kSeg, method);
    return v_[i];
  }

 private:
  void fill(int seg, const Method& method) {
    filled_[seg] = true;
    const double first = std::fmax(lo_ + seg * kSeg, method.bottom());
    const double last = std::fmin(lo_ + (seg + 1) * kSeg - 1, method.top());
    if (first > last) return;
    const int a = int(first - lo_), count = int(last - first);  // steps after the first value
    double lr[kSeg];
    // A lane past count (z = last, whose step may be 0) is kept off 0 and not used.
    const __m128d two = _mm_set1_pd(2.0), least = _mm_set1_pd(DBL_MIN);
    __m128d z = _mm_add_pd(_mm_set1_pd(first), _mm_set_pd(1.0, 0.0));
    {
      const NearestCsr nearest;
      for (int j = 0; j < count; j += 2, z = _mm_add_pd(z, two))
        _mm_storeu_pd(lr + j, ln_la(_mm_max_pd(method.step(z), least)));
    }
    double v = method.log_ratio(first);
    v_[a] = v;
    for (int j = 0; j < count; ++j) v_[a + j + 1] = v += lr[j];
  }

  double lo_;
  bool filled_[kSize / kSeg];
  double v_[kSize];
};

// ---- Rejection over rounds ----------------------------------------------------
// n variates of a method whose every attempt takes two uniforms:
// method.attempt(u1, u2, k) is true with the variate k, which put(i, k)
// writes, with memo, the values it keeps (a Memo, or a table of its own).
// A round draws 2m uniforms, m no more than the variates owed, so no
// uniform is drawn that is not used, and the attempts see the uniforms the
// draw-as-needed source would give them. A variate whose attempts reach
// kMaxAttempts (only outside the domains) is method.fallback().
template <class Method, class MemoT, class Put>
int two_uniform_rounds(void* stream, int n, const Method& method, MemoT* memo, Put&& put) {
  double u[kBlock];
  int fails = 0;
  for (int done = 0; done < n;) {
    const int m = n - done < kBlock / 2 ? n - done : kBlock / 2;
    const int st = draw(stream, 2 * m, u, 0.0, 1.0);
    if (st < 0) return st;
    clamp_unit(u, 2 * m);
    for (int i = 0; i < m; ++i) {
      double k;
      if (method.attempt(u[2 * i], u[2 * i + 1], k, memo)) {
        put(done++, k);
        fails = 0;
      } else if (++fails == kMaxAttempts) {
        put(done++, method.fallback());
        fails = 0;
      }
    }
  }
  return 0;
}

// ---- Poisson, PTRS ------------------------------------------------------------
// Transformed rejection with squeeze (Hormann 1993), mu >= 10: two uniforms
// an attempt, acceptance 0.75 (mu = 10) to 0.89.
class Ptrs {
 public:
  double mu() const { return mu_; }
  explicit Ptrs(double mu) : mu_(mu) {
    const double slam = std::sqrt(mu);
    b_ = 0.931 + 2.53 * slam;
    a_ = -0.059 + 0.02483 * b_;
    vr_ = 0.9277 - 3.6224 / (b_ - 2);
    ln_inv_alpha_ = ln(1.1239 + 1.1328 / (b_ - 3.4));
  }
  // One attempt from the uniforms u1 and u2: true with the variate k. With
  // memo, ln P(k) is kept for the values of k about mu.
  bool attempt(double u1, double V, double& k, Memo* memo = nullptr) const {
    const double U = u1 - 0.5;
    const double us = 0.5 - std::fabs(U);
    if (!(us > 0)) return false;
    k = std::floor((2 * a_ / us + b_) * U + mu_ + 0.43);
    if (us >= 0.07 && V <= vr_) return true;
    if (k < 0 || (us < 0.013 && V > us)) return false;
    const double q = V / (a_ / (us * us) + b_);
    if (k == 0) return ln(q) + ln_inv_alpha_ <= -mu_;
    if (memo != nullptr) {
      const double lp = (*memo)(k, [&](double j) { return poisson_log_pmf(j, mu_); });
      return ln(q) + ln_inv_alpha_ <= lp;
    }
    // ln(V / (a / us^2 + b)) and ln k in one evaluation.
    double lq, lk;
    ln2(q, k, lq, lk);
    return lq + ln_inv_alpha_ <= poisson_log_pmf_lnk(k, mu_, lk);
  }
  double fallback() const { return std::floor(mu_); }
  double operator()(Uniforms& u) const {
    for (int t = 0; t < kMaxAttempts; ++t) {
      const double u1 = u.next(), u2 = u.next();
      if (u.failed()) return 0;
      double k;
      if (attempt(u1, u2, k)) return k;
    }
    return fallback();
  }

 private:
  double mu_, a_, b_, vr_, ln_inv_alpha_;
};

// Poisson(mu) for one variate by inversion from 0: one uniform, e^-mu given
// (PoissonSeq below a mean of 10, Negbinomial below 40). Below 10, PTRS
// otherwise: at least one uniform, whatever mu is.
inline double poisson_from_zero(Uniforms& u, double mu, double emu) {
  double f = emu, v = u.next(), k = 0;
  while (v >= f && f > 0) {
    v -= f;
    k += 1;
    f *= mu / k;
  }
  return k;
}

// Poisson(mu) for a sequence of means, each as above, with the set-up of the
// last mean kept: runs of equal means cost one exponential or one PTRS
// set-up.
class PoissonSeq {
 public:
  double operator()(Uniforms& u, double mu) {
    if (mu < 10) {
      if (mu != small_mu_) small_mu_ = mu, emu_ = exp(-mu);
      return poisson_from_zero(u, mu, emu_);
    }
    if (mu != ptrs_.mu()) ptrs_ = Ptrs(mu);
    return ptrs_(u);
  }

 private:
  double small_mu_ = -1, emu_ = 0;
  Ptrs ptrs_{10};
};

// ---- Binomial, BTRS -----------------------------------------------------------
// Transformed rejection (Hormann 1993) for n p >= 10 with p <= 1/2: two
// uniforms an attempt, acceptance 0.71 to 0.89; the test compares with
// ln P(k) - ln P(mode).
class Btrs {
 public:
  Btrs(double n, double p) : n_(n), p_(p), q_(1 - p) {
    const double spq = std::sqrt(n * p * q_);
    b_ = 1.15 + 2.53 * spq;
    a_ = -0.0873 + 0.0248 * b_ + 0.01 * p;
    c_ = n * p + 0.5;
    vr_ = 0.92 - 4.2 / b_;
    ln_alpha_ = ln((2.83 + 5.1 / b_) * spq);
    const double mode = std::floor((n + 1) * p);
    mode_ = mode;
    ln_pmode_ = binomial_log_pmf(mode, n, p, q_);
    // ln P(k) - ln P(mode) = c0 - delta(k) - delta(n - k) - bd0(k, n p)
    //   - bd0(n - k, n q) - ln(k (n - k) / n) / 2 for 0 < k < n.
    c0_ = stirling_delta(n) - 0.5 * kLn2Pi - ln_pmode_;
    np_ = n * p;
    nq_ = n * q_;
  }
  // One attempt from the uniforms u1 and u2: true with the variate k. With
  // memo, ln P(k) - ln P(mode) is kept for the values of k about the mode.
  bool attempt(double u1, double V, double& k, Memo* memo = nullptr) const {
    const double U = u1 - 0.5;
    const double us = 0.5 - std::fabs(U);
    if (!(us > 0)) return false;
    k = std::floor((2 * a_ / us + b_) * U + c_);
    if (k < 0 || k > n_) return false;
    if (us >= 0.07 && V <= vr_) return true;
    const double q = hat(us, V);
    if (memo != nullptr || k == 0 || k == n_) return test(ln(q), k, memo);
    // ln(V / (a / us^2 + b)) and ln(k (n - k) / n) in one evaluation.
    double lq, lk;
    ln2(q, k * ((n_ - k) / n_), lq, lk);
    return lq + ln_alpha_ <= log_ratio(k, lk);
  }
  double fallback() const { return mode_; }
  double operator()(Uniforms& u) const {
    for (int t = 0; t < kMaxAttempts; ++t) {
      const double u1 = u.next(), u2 = u.next();
      if (u.failed()) return 0;
      double k;
      if (attempt(u1, u2, k)) return k;
    }
    return fallback();
  }
  double mode() const { return mode_; }

  // The q of an attempt's acceptance test, ln q + ln alpha <= ln P(k) - ln P(mode).
  double hat(double us, double V) const { return V / (a_ / (us * us) + b_); }
  // That test, for k in [0, n], with ln q given and a memo unless k is 0 or n.
  bool test(double lq, double k, Memo* memo) const {
    if (k == 0 || k == n_) return lq + ln_alpha_ <= binomial_log_pmf(k, n_, p_, q_) - ln_pmode_;
    return lq + ln_alpha_ <= (*memo)(k, [&](double j) { return log_ratio(j, ln(j * ((n_ - j) / n_))); });
  }

  // n variates into put(i, k), as two_uniform_rounds would give them with
  // attempt(): the same uniforms, the same decisions. The candidates of a
  // round go two at a time through the vector unit (for x in [0, n + 1),
  // below 2^31, floor is the truncation), the squeeze is a mask, and only
  // the attempts it leaves open go through test(), after the pass; the
  // accepted values are then gathered in order without a branch on the
  // outcome. Every value is the same, rounded the same, as attempt() gives.
  template <class Put>
  int rounds(void* stream, int n, Memo* memo, Put&& put) const {
    constexpr int kHalf = kBlock / 2;
    alignas(16) double u[kBlock + 2], ks[kHalf + 1];
    alignas(16) unsigned char acc[kHalf + 1];
    double kept[kHalf];
    int open[kHalf + 2];
    const __m128d half = _mm_set1_pd(0.5), zero = _mm_setzero_pd(), sign = _mm_set1_pd(-0.0);
    const __m128d two_a = _mm_set1_pd(2 * a_), b = _mm_set1_pd(b_), c = _mm_set1_pd(c_);
    const __m128d end = _mm_set1_pd(n_ + 1), vr = _mm_set1_pd(vr_), sq = _mm_set1_pd(0.07);
    int fails = 0;
    for (int done = 0; done < n;) {
      const int m = n - done < kHalf ? n - done : kHalf;
      const int st = draw(stream, 2 * m, u, 0.0, 1.0);
      if (st < 0) return st;
      clamp_unit(u, 2 * m);
      u[2 * m] = 0.5, u[2 * m + 1] = 0;  // an odd m's partner lane: squeezed, not used
      int nopen = 0;
      for (int i = 0; i < m; i += 2) {
        const __m128d p0 = _mm_load_pd(u + 2 * i), p1 = _mm_load_pd(u + 2 * i + 2);
        const __m128d U = _mm_sub_pd(_mm_unpacklo_pd(p0, p1), half);
        const __m128d V = _mm_unpackhi_pd(p0, p1);
        const __m128d us = _mm_sub_pd(half, _mm_andnot_pd(sign, U));
        const __m128d x = _mm_add_pd(_mm_mul_pd(_mm_add_pd(_mm_div_pd(two_a, us), b), U), c);
        const __m128d in = _mm_and_pd(_mm_cmpgt_pd(us, zero),
                                      _mm_and_pd(_mm_cmpge_pd(x, zero), _mm_cmplt_pd(x, end)));
        const __m128d squeezed = _mm_and_pd(_mm_cmpge_pd(us, sq), _mm_cmple_pd(V, vr));
        _mm_store_pd(ks + i, _mm_cvtepi32_pd(_mm_cvttpd_epi32(x)));
        const int yes = _mm_movemask_pd(_mm_and_pd(in, squeezed));
        const int maybe = _mm_movemask_pd(_mm_andnot_pd(squeezed, in));
        acc[i] = yes & 1, acc[i + 1] = yes >> 1;
        open[nopen] = i, nopen += maybe & 1;
        open[nopen] = i + 1, nopen += maybe >> 1;
      }
      // ln q of two open attempts in one evaluation (an odd one out pairs with itself).
      if (nopen & 1) open[nopen] = open[nopen - 1];
      for (int j = 0; j < nopen; j += 2) {
        const int i0 = open[j], i1 = open[j + 1];
        double l0, l1;
        ln2(hat(0.5 - std::fabs(u[2 * i0] - 0.5), u[2 * i0 + 1]),
            hat(0.5 - std::fabs(u[2 * i1] - 0.5), u[2 * i1 + 1]), l0, l1);
        acc[i0] = test(l0, ks[i0], memo);
        acc[i1] = test(l1, ks[i1], memo);
      }
      int got = 0;
      for (int i = 0; i < m; ++i) {
        kept[got] = ks[i];
        got += acc[i];
        fails = acc[i] ? 0 : fails + 1;
        if (fails == kMaxAttempts) [[unlikely]] {
          kept[got++] = fallback();
          fails = 0;
        }
      }
      for (int j = 0; j < got; ++j) put(done + j, kept[j]);
      done += got;
    }
    return 0;
  }

 private:
  // ln P(k) - ln P(mode), 0 < k < n, lk = ln(k (n - k) / n).
  double log_ratio(double k, double lk) const {
    double dk, dnk, bk, bnk;
    stirling_delta2(k, n_ - k, dk, dnk);
    bd0_2(k, np_, n_ - k, nq_, bk, bnk);
    return c0_ - dk - dnk - bk - bnk - 0.5 * lk;
  }

 public:

 private:
  double n_, p_, q_, a_, b_, c_, vr_, ln_alpha_, mode_, ln_pmode_, c0_, np_, nq_;
};

// Binomial(n, p) for one variate at a time, n >= 0, 0 <= p <= 1: by the
// smaller of p and 1 - p; below a mean of 10 by inversion from 0 (one
// uniform), else BTRS. At least one uniform, even where the value is
// certain. The set-up of the last (n, p) is kept, so runs of equal
// parameters pay it once.
class BinomialSeq {
 public:
  double operator()(Uniforms& u, double n, double p) {
    if (!(p > 0) || n == 0 || p >= 1) {
      u.next();
      return p >= 1 ? n : 0;
    }
    const bool flip = p > 0.5;
    const double pm = flip ? 1 - p : p;
    if (n != n_ || pm != pm_) {
      n_ = n, pm_ = pm;
      small_ = n * pm < 10;
      if (small_)
        ratio_ = pm / (1 - pm), f0_ = exp(n * log1p(-pm));
      else
        btrs_ = Btrs(n, pm);
    }
    double k;
    if (small_) {
      double f = f0_, v = u.next();
      k = 0;
      while (v >= f && k < n && f > 0) {
        v -= f;
        f *= ratio_ * (n - k) / (k + 1);
        k += 1;
      }
    } else {
      k = btrs_(u);
    }
    return flip ? n - k : k;
  }

 private:
  double n_ = -1, pm_ = -1, ratio_ = 0, f0_ = 0;
  bool small_ = true;
  Btrs btrs_{20, 0.5};
};

}  // namespace zev::dist
