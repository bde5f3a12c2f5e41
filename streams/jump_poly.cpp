// Polynomial jump-ahead for linear generators over GF(2).
//
// A generator whose state moves by a linear map T with characteristic
// polynomial P satisfies P(T) = 0, so T^k = (x^k mod P)(T): a skip of k steps
// is the remainder x^k mod P, evaluated at the state by Horner's rule (one
// step and at most one state addition per coefficient), or by a sliding
// window of 7 coefficients over a table of 128 precomputed states, which
// trades the table for about one addition in eight coefficients.
//
// The stream is written only by the last step (set back), so a jump that
// fails for lack of memory leaves it as it was.
#include <cstdint>
#include <cstring>

#include "zev/zev_core.h"
#include "zev/zev_vqs.h"

namespace {

// spread[h]: the bits of h moved to the even positions (squaring over GF(2)).
struct SpreadTable {
  uint16_t v[256];
  constexpr SpreadTable() : v() {
    for (int h = 0; h < 256; ++h) {
      uint16_t s = 0;
      for (int b = 0; b < 8; ++b)
        if ((h >> b) & 1) s = uint16_t(s | (1u << (2 * b)));
      v[h] = s;
    }
  }
};
constexpr SpreadTable kSpread;

inline uint64_t spread32(uint32_t w) {
  return uint64_t(kSpread.v[w & 255]) | uint64_t(kSpread.v[(w >> 8) & 255]) << 16 |
         uint64_t(kSpread.v[(w >> 16) & 255]) << 32 | uint64_t(kSpread.v[w >> 24]) << 48;
}

// `width` (1..64) bits of v starting at bit `at`.
inline uint64_t extract(const uint64_t* v, long at, int width) {
  const long w = at >> 6;
  const int s = int(at & 63);
  uint64_t r = v[w] >> s;
  if (s && s + width > 64) r |= v[w + 1] << (64 - s);
  return width == 64 ? r : r & ((uint64_t(1) << width) - 1);
}
// v ^= bits << at; bits has at most 64 - 0 bits and lands inside v.
inline void xor_at(uint64_t* v, long at, uint64_t bits) {
  const long w = at >> 6;
  const int s = int(at & 63);
  v[w] ^= bits << s;
  if (s) {
    const uint64_t hi = bits >> (64 - s);
    if (hi) v[w + 1] ^= hi;
  }
}

struct Modulus {
  int degree;
  int words;  // words of a remainder: degree bits, rounded up
  int nlow;   // terms below the leading one
  const int* low;
  int chunk;  // width of a reduction chunk in the sparse form
  // dense form: tables[k][h] = h * x^(4k) * (P - x^degree), k = 0..15, h = 0..15
  uint64_t* tables;
  int twords;  // words of one table entry
};

// Reduces v (2 * words + 2 words, degree below 2 * degree - 1) modulo P in place.
void reduce(uint64_t* v, const Modulus& m) {
  const int d = m.degree;
  if (!m.tables) {
    for (long hi = 2L * d - 2; hi >= d;) {
      const long lo = hi - m.chunk + 1 > d ? hi - m.chunk + 1 : d;
      const int width = int(hi - lo + 1);
      const uint64_t bits = extract(v, lo, width);
      if (bits) {
        xor_at(v, lo, bits);
        for (int t = 0; t < m.nlow; ++t) xor_at(v, lo - d + m.low[t], bits);
      }
      hi = lo - 1;
    }
    return;
  }
  // Nibbles from the top: the nibble at d + 4t goes to the table for t mod 16
  // at word t / 16; every table entry stays below d + 4t.
  for (long t = (long(d) - 2) / 4; t >= 0; --t) {
    const long at = long(d) + 4 * t;
    const unsigned h = unsigned(extract(v, at, 4));
    if (!h) continue;
    xor_at(v, at, h);
    const uint64_t* e = m.tables + (size_t(t & 15) * 16 + h) * size_t(m.twords);
    uint64_t* dst = v + (t >> 4);
    for (int w = 0; w < m.twords; ++w) dst[w] ^= e[w];
  }
}

void square(const uint64_t* r, uint64_t* v, const Modulus& m) {
  for (int w = 0; w < m.words; ++w) {
    v[2 * w] = spread32(uint32_t(r[w]));
    v[2 * w + 1] = spread32(uint32_t(r[w] >> 32));
  }
  v[2 * m.words] = v[2 * m.words + 1] = 0;
  reduce(v, m);
}

void times_x(uint64_t* r, const Modulus& m) {
  uint64_t carry = 0;
  for (int w = 0; w < m.words; ++w) {
    const uint64_t c = r[w] >> 63;
    r[w] = (r[w] << 1) | carry;
    carry = c;
  }
  const int d = m.degree;
  const bool top = d % 64 ? (r[d >> 6] >> (d & 63)) & 1 : carry;
  if (top) {
    if (d % 64) r[d >> 6] ^= uint64_t(1) << (d & 63);
    for (int t = 0; t < m.nlow; ++t) r[m.low[t] >> 6] ^= uint64_t(1) << (m.low[t] & 63);
  }
}

struct Buffers {
  void* p[8] = {};
  int n = 0;
  void* take(size_t bytes) {
    void* q = zev_serv_allocate(bytes, 128);
    if (q) p[n++] = q;
    return q;
  }
  ~Buffers() {
    for (int i = 0; i < n; ++i) zev_serv_deallocate(p[i]);
  }
};

inline int coef(const uint32_t* poly, long i) { return (poly[i >> 5] >> (i & 31)) & 1; }

long highest(const uint32_t* poly, int nwords) {
  for (long w = 2L * nwords - 1; w >= 0; --w)
    if (poly[w]) return w * 32 + 31 - __builtin_clz(poly[w]);
  return -1;
}

}  // namespace

extern "C" {

ZEV_API int __vqsPolyRem(uint64_t count, int degree, int nterms, const int* terms, int nwords,
                         uint32_t* out) {
  std::memset(out, 0, size_t(nwords) * 8);
  if (count < uint64_t(degree)) {
    out[count >> 5] = 1u << (count & 31);
    return 0;
  }
  Modulus m{};
  m.degree = degree;
  m.words = (degree + 63) / 64;
  m.low = terms;
  m.nlow = 0;
  int emax = 0;
  for (int t = 0; t < nterms; ++t)
    if (terms[t] < degree) {
      ++m.nlow;
      if (terms[t] > emax) emax = terms[t];
    }
  // terms are in increasing order with the leading one last
  m.chunk = degree - emax < 64 ? degree - emax : 64;
  const bool dense = m.nlow * 4 > 16 * (m.words + 1);
  Buffers buf;
  const size_t rwords = size_t(m.words) + 2, vwords = 2 * size_t(m.words) + 4;
  uint64_t* r = static_cast<uint64_t*>(buf.take((rwords + vwords) * 8));
  if (!r) return ZEV_VQS_ERR_NOMEM;
  uint64_t* v = r + rwords;
  if (dense) {
    m.twords = m.words + 1;
    m.tables = static_cast<uint64_t*>(buf.take(size_t(16) * 16 * size_t(m.twords) * 8));
    if (!m.tables) return ZEV_VQS_ERR_NOMEM;
    // base[k] = x^(4k) * (P - x^degree), k = 0..15, then all sums of 4 shifts
    uint64_t* base = v;  // scratch: v has room for words + 1 words and more
    std::memset(base, 0, size_t(m.twords) * 8);
    for (int t = 0; t < m.nlow; ++t) base[m.low[t] >> 6] ^= uint64_t(1) << (m.low[t] & 63);
    for (int k = 0; k < 16; ++k) {
      uint64_t* tk = m.tables + size_t(k) * 16 * size_t(m.twords);
      std::memset(tk, 0, size_t(m.twords) * 8);
      // shifted copies by 4k + b for b = 0..3
      for (int h = 1; h < 16; ++h) {
        const int low = __builtin_ctz(unsigned(h));
        const uint64_t* prev = tk + size_t(h & (h - 1)) * size_t(m.twords);
        uint64_t* e = tk + size_t(h) * size_t(m.twords);
        const int sh = 4 * k + low;  // below 64
        for (int w = 0; w < m.twords; ++w) {
          uint64_t s = base[w] << sh;
          if (sh && w) s |= base[w - 1] >> (64 - sh);
          e[w] = prev[w] ^ s;
        }
      }
    }
  }
  // left to right over the bits of count
  std::memset(r, 0, rwords * 8);
  r[0] = 1;
  for (int bit = 63 - __builtin_clzll(count); bit >= 0; --bit) {
    square(r, v, m);
    std::memcpy(r, v, size_t(m.words) * 8);
    if (degree % 64) r[m.words - 1] &= (uint64_t(1) << (degree % 64)) - 1;
    if ((count >> bit) & 1) times_x(r, m);
  }
  std::memcpy(out, r, size_t(m.words) * 8);
  return 0;
}

ZEV_API int __vqs_SkipAheadHorner(void* stream, zev_jump_clear_fn clear, zev_jump_add_fn add,
                                  zev_jump_copy_fn copy, zev_jump_step_fn step,
                                  zev_jump_setback_fn setback, zev_jump_small_fn small,
                                  uint32_t count_lo, uint32_t count_hi, int nwords, int degree,
                                  int state_size, int nterms, const int* terms) {
  const uint64_t asked = uint64_t(count_hi) << 32 | count_lo;
  uint64_t count = asked;
  if (count == 0) return 0;
  if (!small(stream, &count)) return 0;
  Buffers buf;
  uint32_t* poly = static_cast<uint32_t*>(buf.take(size_t(nwords) * 8));
  void* work = buf.take(size_t(state_size));
  if (!poly || !work) return ZEV_VQS_ERR_NOMEM;
  if (__vqsPolyRem(count, degree, nterms, terms, nwords, poly) != 0) return ZEV_VQS_ERR_NOMEM;
  (void)clear;
  long i = highest(poly, nwords);
  copy(work, stream);
  for (--i; i >= 0; --i) {
    step(work);
    if (coef(poly, i)) add(work, stream);
  }
  setback(stream, work, asked);
  return 0;
}

ZEV_API int __vqs_SkipAheadSWin(void* stream, zev_jump_clear_fn clear, zev_jump_add_fn add,
                                zev_jump_copy_fn copy, zev_jump_step_fn step,
                                zev_jump_setback_fn setback, zev_jump_small_fn small,
                                uint32_t count_lo, uint32_t count_hi, int nwords, int degree,
                                int state_size, int nterms, const int* terms) {
  const uint64_t asked = uint64_t(count_hi) << 32 | count_lo;
  uint64_t count = asked;
  if (count == 0) return 0;
  if (!small(stream, &count)) return 0;
  const size_t ss = (size_t(state_size) + 127) & ~size_t(127);
  Buffers buf;
  uint32_t* poly = static_cast<uint32_t*>(buf.take(size_t(nwords) * 8));
  unsigned char* table = static_cast<unsigned char*>(buf.take(ss * 128));
  unsigned char* powers = static_cast<unsigned char*>(buf.take(ss * 7));
  void* run = buf.take(ss);
  if (!poly || !table || !powers || !run) return ZEV_VQS_ERR_NOMEM;
  if (__vqsPolyRem(count, degree, nterms, terms, nwords, poly) != 0) return ZEV_VQS_ERR_NOMEM;

  // powers[j] = T^j S for j = 0..6; table[b] = T^7 S + sum over the bits j of b of T^j S,
  // filled in Gray code order so that each entry is its predecessor plus one power.
  auto pw = [&](int j) { return static_cast<void*>(powers + ss * size_t(j)); };
  auto tb = [&](int b) { return static_cast<void*>(table + ss * size_t(b)); };
  copy(pw(0), stream);
  for (int j = 1; j < 7; ++j) {
    copy(pw(j), pw(j - 1));
    step(pw(j));
  }
  copy(tb(0), pw(6));
  step(tb(0));
  for (int k = 1; k < 128; ++k) {
    const int g = k ^ (k >> 1), prev = (k - 1) ^ ((k - 1) >> 1);
    copy(tb(g), tb(prev));
    add(tb(g), pw(__builtin_ctz(unsigned(k))));
  }

  clear(run);
  long i = highest(poly, nwords);
  while (i > 6) {
    if (!coef(poly, i)) {
      step(run);
      --i;
      continue;
    }
    for (int s = 0; s < 8; ++s) step(run);
    int b = 0;
    for (int mth = 1; mth <= 7; ++mth) b |= coef(poly, i - mth) << (7 - mth);
    add(run, tb(b));
    i -= 8;
  }
  for (; i >= 0; --i) {
    step(run);
    if (coef(poly, i)) add(run, stream);
  }
  setback(stream, run, asked);
  return 0;
}

}  // extern "C"
