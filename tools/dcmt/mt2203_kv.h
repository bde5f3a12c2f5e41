// Dimensions of equidistribution k(v) of the tempered 32-bit Mersenne Twister
// of exponent 2203 (69 words, lower part of 5 bits, middle offset 34), for any
// twist word a and tempering masks b, c; used by the tempering search in
// dcmt.cpp and by the tests.
//
// Method. The raw recurrence has an irreducible characteristic polynomial phi
// of degree p = 2203. Bit j of the output (j = 1 the top bit) has the
// generating function sum_i o_j(i) t^-(i+1) = h_j / phi with deg h_j < p, and
// a vector C of polynomials gives sum_j sum_i C_(j,i) o_j(n + i) = 0 for every
// n exactly when phi divides sum_j C_j h_j. So the top v bits are
// k-distributed exactly when that module holds no nonzero C of degree below
// k, and k(v) is the least degree of its nonzero vectors. With
// g_j = h_j / h_1 mod phi the module has the basis (phi, 0, ..., 0) and
// (g_j, 0, .., 1 at j, .., 0); brought to weak Popov form (Mulders and
// Storjohann) its least row degree is k(v). The bound floor(p / v) follows
// from the row degrees summing to p. Going from v to v + 1 bits adds one
// coordinate and one row to an already reduced basis (Harase's incremental
// reduction), so the whole profile costs little more than its last step.
//
// Tempering is linear within a word, so h_j is the XOR of the numerators of
// the raw bits that output bit j reads; those 32 numerators are found once.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace zev_dcmt {

constexpr int kN = 69, kM = 34, kR = 5;
constexpr int kP = kN * 32 - kR;    // 2203
constexpr int kW = (kP + 64) / 64;  // words of a polynomial of degree kP: 35
constexpr uint32_t kUpper = 0xFFFFFFFFu << kR, kLower = ~kUpper;

using Poly = std::vector<uint64_t>;
using Elem = std::array<uint64_t, kW>;  // polynomials of degree at most kP

inline int getbit(const uint64_t* v, int i) { return (v[i >> 6] >> (i & 63)) & 1; }
inline void flipbit(uint64_t* v, int i) { v[i >> 6] ^= uint64_t(1) << (i & 63); }

// 64 bits of v starting at bit `at` (bits past the end read as 0).
inline uint64_t bits64(const uint64_t* v, int words, int at) {
  int w = at >> 6, s = at & 63;
  uint64_t lo = w < words ? v[w] : 0;
  if (s == 0) return lo;
  uint64_t hi = w + 1 < words ? v[w + 1] : 0;
  return (lo >> s) | (hi << (64 - s));
}

inline int degree(const uint64_t* a, int words) {
  for (int w = words - 1; w >= 0; --w)
    if (a[w]) return 64 * w + 63 - __builtin_clzll(a[w]);
  return -1;
}

// The words the raw recurrence for twist word a makes after a state of kN
// words drawn from rng.
inline void raw_words(uint32_t a, std::mt19937& rng, int count, uint32_t* out) {
  std::vector<uint32_t> x(kN + count);
  for (int i = 0; i < kN; ++i) x[i] = rng();
  for (int k = 0; k < count; ++k) {
    uint32_t y = (x[k] & kUpper) | (x[k + 1] & kLower);
    x[k + kN] = x[k + kM] ^ (y >> 1) ^ ((y & 1) ? a : 0u);
    out[k] = x[k + kN];
  }
}

inline uint32_t temper(uint32_t y, uint32_t b, uint32_t c) {
  y ^= y >> 12;
  y ^= (y << 7) & b;
  y ^= (y << 15) & c;
  return y ^ (y >> 18);
}

// Berlekamp-Massey over GF(2). s holds `len` bits; the result is the connection
// polynomial C (C(0) = 1) and its linear complexity L.
inline int berlekamp_massey(const uint64_t* s, int len, Poly& C) {
  const int words = (len + 64) / 64 + 1;
  // r holds the sequence reversed: r bit j = s bit (len - 1 - j), so the window
  // s[n], s[n-1], ..., s[n-L] is r from bit len - 1 - n upwards.
  Poly r(words, 0), B(words, 0), T(words, 0);
  for (int j = 0; j < len; ++j)
    if (getbit(s, len - 1 - j)) flipbit(r.data(), j);
  C.assign(words, 0);
  C[0] = B[0] = 1;
  int L = 0, m = 1;
  for (int n = 0; n < len; ++n) {
    const int at = len - 1 - n;
    uint64_t acc = 0;
    const int cw = (L >> 6) + 1;
    for (int w = 0; w < cw; ++w) acc ^= C[w] & bits64(r.data(), words, at + 64 * w);
    // bits of C above L are zero, so the last word needs no mask
    if (!__builtin_parityll(acc)) { ++m; continue; }
    const bool grow = 2 * L <= n;
    if (grow) T = C;
    // C ^= B << m
    const int ws = m >> 6, bs = m & 63;
    for (int w = words - 1; w >= ws; --w) {
      uint64_t v = B[w - ws] << bs;
      if (bs && w - ws - 1 >= 0) v |= B[w - ws - 1] >> (64 - bs);
      C[w] ^= v;
    }
    if (grow) { L = n + 1 - L; B.swap(T); m = 1; } else { ++m; }
  }
  return L;
}

// a * b mod phi, a and b of degree below kP.
inline Elem mulmod(const Elem& a, const Elem& b, const Elem& phi) {
  Elem r{};
  for (int i = degree(a.data(), kW); i >= 0; --i) {
    uint64_t carry = 0;
    for (int w = 0; w < kW; ++w) {
      const uint64_t nc = r[w] >> 63;
      r[w] = (r[w] << 1) | carry;
      carry = nc;
    }
    if (getbit(r.data(), kP))
      for (int w = 0; w < kW; ++w) r[w] ^= phi[w];
    if (getbit(a.data(), i))
      for (int w = 0; w < kW; ++w) r[w] ^= b[w];
  }
  return r;
}

// dst ^= src * t^s, src of degree sd >= 0; dst has room for the result and
// one word more.
inline void xor_shifted(uint64_t* dst, const uint64_t* src, int sd, int s) {
  const int ws = s >> 6, bs = s & 63, top = sd >> 6;
  if (bs == 0) {
    for (int w = 0; w <= top; ++w) dst[w + ws] ^= src[w];
  } else {
    for (int w = 0; w <= top; ++w) {
      dst[w + ws] ^= src[w] << bs;
      dst[w + ws + 1] ^= src[w] >> (64 - bs);
    }
  }
}

// a^-1 mod phi by the extended Euclidean algorithm (a nonzero, phi irreducible).
inline Elem inverse(const Elem& a, const Elem& phi) {
  uint64_t r0[kW + 1] = {}, r1[kW + 1] = {}, u0[kW + 1] = {}, u1[kW + 1] = {};
  std::copy(phi.begin(), phi.end(), r0);
  std::copy(a.begin(), a.end(), r1);
  u1[0] = 1;  // u0 a = r0, u1 a = r1 (mod phi)
  int d0 = degree(r0, kW), d1 = degree(r1, kW);
  while (d1 > 0) {
    if (d0 < d1) {
      std::swap(r0, r1);
      std::swap(u0, u1);
      std::swap(d0, d1);
    }
    const int s = d0 - d1;
    xor_shifted(r0, r1, d1, s);
    const int du = degree(u1, kW + 1);
    if (du >= 0) xor_shifted(u0, u1, du, s);
    d0 = degree(r0, kW);
  }
  Elem out{};
  std::copy(u1, u1 + kW, out.begin());  // degree below kP since r1 = 1
  return out;
}

// The basis of the module of relations among the first v output bits, kept
// in weak Popov form: row degree = largest coordinate degree, leading
// position = the last coordinate of that degree, all leading positions
// distinct.
class Lattice {
 public:
  static constexpr int kMaxV = 32;
  static constexpr int kCW = kW + 1;

  struct Vector {
    uint64_t c[kMaxV][kCW];
    int deg[kMaxV];
    int d, lp;
  };

  explicit Lattice(const Elem& phi) : v_(1) {
    std::fill(pivot_, pivot_ + kMaxV, -1);
    Vector& r = rows_.emplace_back();
    start(r, phi);
    pivot_[0] = 0;
  }

  // (g, 0, ..., 0) in the current v coordinates, reduced by the basis as far
  // as it goes without changing the basis.
  void reduced(const Elem& g, Vector& r) const {
    start(r, g);
    for (int pv = pivot_[r.lp]; r.d >= 0 && pv >= 0 && rows_[size_t(pv)].d <= r.d; pv = pivot_[r.lp])
      step(r, rows_[size_t(pv)]);
  }

  static void add_to(Vector& r, const Vector& x, int v) {
    for (int k = 0; k < v; ++k) {
      if (x.deg[k] < 0) continue;
      xor_shifted(r.c[k], x.c[k], x.deg[k], 0);
      r.deg[k] = degree(r.c[k], (std::max(r.deg[k], x.deg[k]) >> 6) + 1);
    }
  }

  // Adds output bit v + 1 given r = (g, 0, ..., 0) plus any vector of the
  // basis, g = h_(v+1) / h_1 mod phi: the new row is r with a last coordinate 1.
  void add(const Vector& r) {
    for (Vector& x : rows_) {
      std::memset(x.c[v_], 0, sizeof x.c[v_]);
      x.deg[v_] = -1;
    }
    Vector& n = rows_.emplace_back(r);
    std::memset(n.c[v_], 0, sizeof n.c[v_]);
    n.c[v_][0] = 1;
    n.deg[v_] = 0;
    ++v_;
    settle(n, v_);
    reduce(int(rows_.size()) - 1);
  }
  void add(const Elem& g) {
    Vector r;
    reduced(g, r);
    add(r);
  }

  int min_degree() const {
    int m = rows_[0].d;
    for (const Vector& x : rows_) m = std::min(m, x.d);
    return m;
  }
  int bits() const { return v_; }

 private:
  void start(Vector& r, const Elem& g) const {
    for (int k = 0; k < v_; ++k) {
      std::memset(r.c[k], 0, sizeof r.c[k]);
      r.deg[k] = -1;
    }
    std::copy(g.begin(), g.end(), r.c[0]);
    r.deg[0] = degree(r.c[0], kW);
    settle(r, v_);
  }

  static void settle(Vector& r, int v) {
    r.d = -1;
    r.lp = -1;
    for (int j = 0; j < v; ++j)
      if (r.deg[j] >= r.d) { r.d = r.deg[j]; r.lp = j; }
  }

  // a += t^(a.d - p.d) p, for a and p of the same leading position.
  void step(Vector& a, const Vector& p) const {
    const int s = a.d - p.d;
    for (int k = 0; k < v_; ++k) {
      if (p.deg[k] < 0) continue;
      xor_shifted(a.c[k], p.c[k], p.deg[k], s);
      a.deg[k] = degree(a.c[k], (std::max(a.deg[k], p.deg[k] + s) >> 6) + 1);
    }
    settle(a, v_);
  }

  // Mulders-Storjohann: while row `cur` shares its leading position with a
  // pivot, the one of higher degree is reduced by the other.
  void reduce(int cur) {
    for (;;) {
      const int j = rows_[size_t(cur)].lp;
      int pv = pivot_[j];
      if (pv < 0) { pivot_[j] = cur; return; }
      if (rows_[size_t(pv)].d > rows_[size_t(cur)].d) {
        pivot_[j] = cur;
        std::swap(cur, pv);
      }
      step(rows_[size_t(cur)], rows_[size_t(pv)]);
    }
  }

  int v_;
  int pivot_[kMaxV];
  std::vector<Vector> rows_;
};

// What a member needs for k(v): phi and the numerators of its 32 raw bits.
struct Member {
  Elem phi{};
  Elem raw[32]{};  // raw[m]: numerator of bit m (0 the lowest) of the raw words
  bool ok = false;

  // h_k = sum over i of phi_(k+1+i) s_i: the polynomial part of phi S.
  Member(uint32_t a, uint32_t seed) {
    std::seed_seq ss{seed, a};
    std::mt19937 rng(ss);
    std::vector<uint32_t> x(2 * kP);
    raw_words(a, rng, 2 * kP, x.data());
    std::vector<uint64_t> top((2 * kP + 63) / 64 + 1, 0);
    for (int i = 0; i < 2 * kP; ++i)
      if (x[size_t(i)] >> 31) flipbit(top.data(), i);
    Poly C;
    if (berlekamp_massey(top.data(), 2 * kP, C) != kP || !getbit(C.data(), kP)) return;
    for (int k = 0; k <= kP; ++k)  // phi is C reversed
      if (getbit(C.data(), kP - k)) flipbit(phi.data(), k);
    std::vector<uint32_t> h(kP, 0);
    for (int j = 1; j <= kP; ++j) {
      if (!getbit(phi.data(), j)) continue;
      for (int k = 0; k < j; ++k) h[size_t(k)] ^= x[size_t(j - 1 - k)];
    }
    for (int k = 0; k < kP; ++k)
      for (uint32_t bits = h[size_t(k)]; bits; bits &= bits - 1) flipbit(raw[__builtin_ctz(bits)].data(), k);
    ok = true;
  }

  // Numerator of output bit j (1 the top bit) under masks b, c.
  Elem output(uint32_t b, uint32_t c, int j) const {
    Elem h{};
    for (int m = 0; m < 32; ++m)
      if ((temper(1u << m, b, c) >> (32 - j)) & 1)
        for (int w = 0; w < kW; ++w) h[w] ^= raw[m][w];
    return h;
  }
};

// k(v) for v = 1..32 (k[0] unused).
inline void kv_profile(const Member& m, uint32_t b, uint32_t c, int k[33]) {
  const Elem inv = inverse(m.output(b, c, 1), m.phi);
  Lattice L(m.phi);
  k[0] = 0;
  k[1] = L.min_degree();
  for (int v = 2; v <= 32; ++v) {
    L.add(mulmod(m.output(b, c, v), inv, m.phi));
    k[v] = L.min_degree();
  }
}

inline int deficiency(const int k[33]) {
  int s = 0;
  for (int v = 1; v <= 32; ++v) s += kP / v - k[v];
  return s;
}

// Brute force: true when the map from the state to the top v bits of k
// consecutive outputs has full rank kv. The states after 0..kP-1 steps span
// the state space (phi is irreducible), so the columns are those steps.
inline bool rank_full(uint32_t a, uint32_t b, uint32_t c, int v, int k, uint32_t seed) {
  if (k * v > kP) return false;
  std::mt19937 rng(seed);
  std::vector<uint32_t> y(kP + k);
  raw_words(a, rng, kP + k, y.data());
  for (uint32_t& w : y) w = temper(w, b, c);
  std::vector<Elem> basis(kP);  // basis[i]: the reduced row whose top bit is i
  std::vector<char> have(kP, 0);
  for (int i = 0; i < k; ++i)
    for (int j = 1; j <= v; ++j) {
      Elem r{};
      for (int n = 0; n < kP; ++n)
        if ((y[size_t(n + i)] >> (32 - j)) & 1) flipbit(r.data(), n);
      for (int d = degree(r.data(), kW); d >= 0; d = degree(r.data(), kW)) {
        if (!have[size_t(d)]) { basis[size_t(d)] = r; have[size_t(d)] = 1; break; }
        for (int w = 0; w <= d >> 6; ++w) r[w] ^= basis[size_t(d)][w];
      }
      if (degree(r.data(), kW) < 0) return false;
    }
  return true;
}

}  // namespace zev_dcmt
