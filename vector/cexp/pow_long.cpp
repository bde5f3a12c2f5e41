// The long arithmetic of the complex powers (pow_long.h): fixed-point numbers
// of 64-bit limbs, products by unsigned __int128, one long division by a
// 64-bit integer (the ratio of the parts of z), reciprocals by Newton's
// iteration, and the atanh and atan series after a table step.
#include "vector/cexp/pow_long.h"

#include "vector/common/exact.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <utility>

namespace zev::vk::cexp::lng {
namespace {

using u64 = uint64_t;
using u128 = unsigned __int128;

constexpr double kPiD = 3.141592653589793, k2PiHi = 0x1.921fb54442d18p+2, k2PiLo = 0x1.1a62633145c07p-52;

// l[0] the integer part, l[1..n] the fraction; signed values in two's
// complement over the n + 1 limbs in use.
struct Fx {
  u64 l[kLimbs];
};

Fx from(const u64 (&c)[kLimbs]) {
  Fx r;
  memcpy(r.l, c, sizeof r.l);
  return r;
}

// Limb arrays of any length, most significant first: len limbs, limb `units`
// holding 2^0 to 2^63. Carries out of limb 0 are dropped (sums modulo its
// range), so that an array with units -1 holds a fraction of a turn.
void add_arr(u64* r, const u64* a, const u64* b, int len) {
  u128 c = 0;
  for (int k = len - 1; k >= 0; --k) {
    c += static_cast<u128>(a[k]) + b[k];
    r[k] = static_cast<u64>(c);
    c >>= 64;
  }
}
void neg_arr(u64* r, const u64* a, int len) {
  u128 c = 1;
  for (int k = len - 1; k >= 0; --k) {
    c += static_cast<u64>(~a[k]);
    r[k] = static_cast<u64>(c);
    c >>= 64;
  }
}
// d += m 2^p; bits below the last limb are dropped.
void add_bits(u64* d, int units, int len, u64 m, long p) {
  if (m == 0) return;
  const long q = p >= 0 ? p / 64 : -((-p + 63) / 64);  // floor(p / 64)
  const u128 v = static_cast<u128>(m) << static_cast<int>(p - 64 * q);
  u128 c = 0;
  long k = units - q;  // the limb of v's low half
  for (int s = 0; k >= 0; ++s, --k) {
    if (s >= 2 && c == 0) break;
    const u64 add = s == 0 ? static_cast<u64>(v) : s == 1 ? static_cast<u64>(v >> 64) : 0;
    if (k >= len) continue;
    c += static_cast<u128>(d[k]) + add;
    d[k] = static_cast<u64>(c);
    c >>= 64;
  }
}
// A non-negative array as (hi + lo) 2^e, hi in [1, 2) (about 125 bits from
// its leading one), or (0, 0) 2^0.
void to_pair_e(const u64* d, int units, int len, double& hi, double& lo, int& e);
// The same as a pair.
void to_pair(const u64* d, int units, int len, double& hi, double& lo) {
  int e;
  to_pair_e(d, units, len, hi, lo, e);
  hi = std::ldexp(hi, e), lo = std::ldexp(lo, e);
}
void to_pair_e(const u64* d, int units, int len, double& hi, double& lo, int& e) {
  e = 0;
  int k = 0;
  while (k < len && d[k] == 0) ++k;
  if (k == len) {
    hi = lo = 0;
    return;
  }
  auto at = [&](int i) { return i < len ? d[i] : u64{0}; };
  const int z = __builtin_clzll(d[k]);
  const u64 h = z ? at(k) << z | at(k + 1) >> (64 - z) : at(k);
  const u64 l = z ? at(k + 1) << z | at(k + 2) >> (64 - z) : at(k + 1);
  const u128 v = (static_cast<u128>(h) << 64 | l) >> 1;  // the leading one at bit 126
  const double vh = static_cast<double>(v);
  const u128 back = static_cast<u128>(vh);
  const double r = v >= back ? static_cast<double>(v - back) : -static_cast<double>(back - v);
  e = 64 * (units - k) + 63 - z;
  hi = std::ldexp(vh, -126);
  lo = std::ldexp(r, -126);
}

void add(Fx& r, const Fx& a, const Fx& b, int n) { add_arr(r.l, a.l, b.l, n + 1); }
void neg(Fx& r, const Fx& a, int n) { neg_arr(r.l, a.l, n + 1); }
void sub(Fx& r, const Fx& a, const Fx& b, int n) {
  Fx t;
  neg(t, b, n);
  add(r, a, t, n);
}
bool is_zero(const Fx& a, int n) {
  for (int k = 0; k <= n; ++k)
    if (a.l[k]) return false;
  return true;
}
// |a|, and whether a was negative.
Fx magnitude(const Fx& a, int n, bool& negative) {
  negative = static_cast<int64_t>(a.l[0]) < 0;
  Fx r = a;
  if (negative) neg(r, a, n);
  return r;
}
// r = a b for non-negative a, b below 2^63: the partial products below limb
// n + 1 are left out (an error below (n + 2) 2^-64n).
void mul(Fx& r, const Fx& a, const Fx& b, int n) {
  u64 t[kLimbs + 2] = {};  // t[k + 1] accumulates limb k
  for (int i = 0; i <= n; ++i) {
    if (a.l[i] == 0) continue;
    u128 c = 0;
    for (int j = std::min(n, n + 1 - i); j >= 0; --j) {
      c += static_cast<u128>(a.l[i]) * b.l[j] + t[i + j + 1];
      t[i + j + 1] = static_cast<u64>(c);
      c >>= 64;
    }
    for (int k = i; c != 0 && k >= 0; --k) {
      c += t[k];
      t[k] = static_cast<u64>(c);
      c >>= 64;
    }
  }
  for (int k = 0; k <= n; ++k) r.l[k] = t[k + 1];
}
void mul_u(Fx& r, const Fx& a, u64 m, int n) {
  u128 c = 0;
  for (int k = n; k >= 0; --k) {
    c += static_cast<u128>(a.l[k]) * m;
    r.l[k] = static_cast<u64>(c);
    c >>= 64;
  }
}
void div_u(Fx& r, const Fx& a, u64 d, int n) {
  if (d < (u64{1} << 32)) {
    // By halves of limbs (each partial dividend below d 2^32), the quotient
    // from the product with floor((2^64 - 1)/d), at most two short.
    const u64 inv = ~u64{0} / d;
    auto step = [&](u64 h, u64& rem) {
      u64 q = static_cast<u64>((static_cast<u128>(h) * inv) >> 64), t = h - q * d;
      while (t >= d) t -= d, ++q;
      rem = t;
      return q;
    };
    u64 rem = 0;
    for (int k = 0; k <= n; ++k) {
      const u64 qh = step(rem << 32 | a.l[k] >> 32, rem);
      const u64 ql = step(rem << 32 | (a.l[k] & 0xFFFFFFFFu), rem);
      r.l[k] = qh << 32 | ql;
    }
    return;
  }
  u128 rem = 0;
  for (int k = 0; k <= n; ++k) {
    const u128 cur = rem << 64 | a.l[k];
    r.l[k] = static_cast<u64>(cur / d);
    rem = cur % d;
  }
}
// a 2^-s, 0 < s < 64, a non-negative.
void shr(Fx& r, const Fx& a, int s, int n) {
  for (int k = n; k >= 0; --k) r.l[k] = a.l[k] >> s | (k > 0 ? a.l[k - 1] << (64 - s) : 0);
}

// |v| = m 2^e with m < 2^53 a whole number.
void split_d(double v, u64& m, int& e) {
  int ee;
  const double f = std::frexp(std::fabs(v), &ee);
  m = static_cast<u64>(std::ldexp(f, 53));
  e = ee - 53;
}

// A number m 2^e beyond the double range, m in [0.5, 1) or 0.
struct Tiny {
  double m = 0;
  int e = 0;
};
Tiny tiny(double m, int e) {
  if (m == 0) return {};
  int k;
  const double f = std::frexp(m, &k);
  return {f, e + k};
}
Tiny mul(double w, Tiny t) {
  int k;
  const double f = std::frexp(w, &k);
  return tiny(f * t.m, t.e + k);
}
Tiny sum(Tiny a, Tiny b) {
  if (b.m == 0) return a;
  if (a.m == 0 || b.e - a.e > 64) return b;
  if (a.e - b.e > 64) return a;
  return a.e >= b.e ? tiny(a.m + std::ldexp(b.m, b.e - a.e), a.e) : tiny(b.m + std::ldexp(a.m, a.e - b.e), b.e);
}

// 1/d for d in [1, 4]: Newton's iteration r (2 - d r) from the double
// reciprocal, each step doubling the bits.
void recip(Fx& r, const Fx& d, int n) {
  u64 m;
  int e;
  split_d(1.0 / (static_cast<double>(d.l[0]) + std::ldexp(static_cast<double>(d.l[1]), -64)), m, e);
  r = Fx{};
  add_bits(r.l, 0, n + 1, m, e);
  Fx two{}, q;
  two.l[0] = 2;
  for (int bits = 50; bits < 64 * n + 16; bits *= 2) {
    mul(q, d, r, n);
    sub(q, two, q, n);
    mul(r, r, q, n);
  }
}

// sum of the series t + sign t v2 / (k1) + ... with t_k = t_{k-1} v2 / div(k):
// atanh (sign +1, div 2k+1 of t v^2k), atan (alternating).
Fx odd_series(const Fx& v, bool alternate, int n) {
  Fx v2, term = v, sum = v, t;
  mul(v2, v, v, n);
  for (u64 k = 3;; k += 2) {
    mul(term, term, v2, n);
    if (is_zero(term, n)) break;
    div_u(t, term, k, n);
    if (alternate && (k & 3) == 3)
      sub(sum, sum, t, n);
    else
      add(sum, sum, t, n);
  }
  return sum;
}

// log|z| for finite z != 0, signed; where z is 1, -1, i or -i but for a part
// m below 2^-32 and |w| m^2 / 2 (2^ew the size of w) below 2^-90, log|z| =
// m^2 / 2 goes to `tail`, over 2 pi, and 0 is returned.
Fx log_abs(double x, double y, int n, int ew, Tiny& tail) {
  u64 mx, my;
  int ex, ey;
  split_d(x, mx, ex);
  split_d(y, my, ey);
  const double big = std::fmax(std::fabs(x), std::fabs(y)), small = std::fmin(std::fabs(x), std::fabs(y));
  if (big == 1 && small != 0 && small < 0x1p-32 && ew + 2 * std::ilogb(small) < -90) {
    u64 m;
    int e;
    split_d(small, m, e);
    tail = tiny(static_cast<double>(m) * static_cast<double>(m) * (0.25 / kPiD), 2 * e);  // m^2 / (4 pi)
    return Fx{};
  }
  const long k = std::ilogb(big);
  // s = |z|^2 2^-2k in [1, 8), exact but for bits far below the fraction.
  Fx s{};
  for (const auto& [m, e] : {std::pair<u64, long>{mx, ex}, std::pair<u64, long>{my, ey}}) {
    const u128 q = static_cast<u128>(m) * m;
    add_bits(s.l, 0, n + 1, static_cast<u64>(q), 2 * e - 2 * k);
    add_bits(s.l, 0, n + 1, static_cast<u64>(q >> 64), 2 * e - 2 * k + 64);
  }
  const int j = s.l[0] >= 4 ? 2 : s.l[0] >= 2 ? 1 : 0;
  if (j) shr(s, s, j, n);  // [1, 2)
  // c = 1 + i/64 nearest; u = (s - c)/(s + c), |u| < 2^-8; log s = log c + 2 atanh u.
  const int i = static_cast<int>(((s.l[1] >> 57) + 1) >> 1);
  Fx c{}, num, den, rd, u;
  c.l[0] = 1 + (i >> 6);
  c.l[1] = static_cast<u64>(i & 63) << 58;
  sub(num, s, c, n);
  add(den, s, c, n);
  bool un;
  num = magnitude(num, n, un);
  recip(rd, den, n);
  mul(u, num, rd, n);
  Fx r = odd_series(u, false, n);
  if (un) neg(r, r, n);
  // log|z| = (2k + j)/2 ln 2 + log(c)/2 + atanh u.
  const long q = 2 * k + j;
  Fx h, lc = from(kLnTable[i]);
  mul_u(h, from(kConst[0]), static_cast<u64>(q < 0 ? -q : q), n);
  shr(h, h, 1, n);
  if (q < 0) neg(h, h, n);
  shr(lc, lc, 1, n);
  add(r, r, h, n);
  add(r, r, lc, n);
  return r;
}

// arg z / (2 pi), signed, for z != 0; whole eighths of a turn exactly on the
// axes and diagonals. Where the ratio a of the smaller to the larger part is
// below 2^-64 and 2^ew a below 2^-90, atan a = a (to 2^-128) goes to `tail`,
// over 2 pi and with its sign in arg z, and the nearest quarter turn is
// returned.
Fx arg_turns(double x, double y, int n, int ew, Tiny& tail) {
  Fx t{};
  const double ax = std::fabs(x), ay = std::fabs(y);
  if (y == 0) {
    if (std::signbit(x)) t.l[1] = u64{1} << 63;
  } else if (x == 0) {
    t.l[1] = u64{1} << 62;
  } else {
    const bool swap = ay > ax;
    u64 mm, mb;
    int em, eb;
    split_d(swap ? x : y, mm, em);
    split_d(swap ? y : x, mb, eb);
    if (em - eb < -66 && ew + em - eb + 1 < -90) {
      const double sg = (swap ? -1.0 : 1.0) * (x < 0 ? -1.0 : 1.0) * (std::signbit(y) ? -1.0 : 1.0);
      tail = tiny(sg * static_cast<double>(mm) / static_cast<double>(mb) * (0.5 / kPiD), em - eb);
      if (swap) t.l[1] = u64{1} << 62;
      if (x < 0 && !swap) t.l[1] = u64{1} << 63;
      if (std::signbit(y)) neg(t, t, n);
      return t;
    }
    Fx a{};
    add_bits(a.l, 0, n + 1, mm, static_cast<long>(em) - eb);
    div_u(a, a, mb, n);  // the smaller over the larger part, in [0, 1]
    // c = j/64 nearest; atan a = atan c + atan v, v = (a - c)/(1 + a c), |v| < 2^-7.
    const int j = a.l[0] ? 64 : static_cast<int>(((a.l[1] >> 57) + 1) >> 1);
    Fx c{}, num, den{}, ac, rd, v;
    c.l[0] = static_cast<u64>(j >> 6);
    c.l[1] = static_cast<u64>(j & 63) << 58;
    sub(num, a, c, n);
    bool vn;
    num = magnitude(num, n, vn);
    mul_u(ac, a, static_cast<u64>(j), n);
    shr(ac, ac, 6, n);
    den.l[0] = 1;
    add(den, den, ac, n);
    recip(rd, den, n);
    mul(v, num, rd, n);
    Fx s = odd_series(v, true, n);
    mul(s, s, from(kConst[2]), n);
    if (vn) neg(s, s, n);
    add(t, from(kAtanTurns[j]), s, n);
    Fx e{};
    if (swap) {
      e.l[1] = u64{1} << 62;
      sub(t, e, t, n);
    }
    if (x < 0) {
      e.l[1] = u64{1} << 63;
      sub(t, e, t, n);
    }
  }
  if (std::signbit(y)) neg(t, t, n);
  return t;
}

constexpr int kUnits = 17;  // integer limbs of Re(w log z): |w log z| < 2^1035

// acc += (-1 if negative) mag m 2^e, mag below 2^10.
void add_term(u64* acc, int units, int len, const Fx& mag, bool negative, u64 m, int e, int n) {
  u64 t[kUnits + kLimbs + 1] = {};
  Fx p;
  mul_u(p, mag, m, n);
  for (int k = 0; k <= n; ++k) add_bits(t, units, len, p.l[k], static_cast<long>(e) - 64L * k);
  if (negative) neg_arr(t, t, len);
  add_arr(acc, acc, t, len);
}

// pow_parts in 64 n fraction bits; n_more, where larger, the bits that keep
// also the smaller part of w times log z (for an angle that comes out a
// whole number of quarter turns but for such a term).
void parts_n(double x, double y, double wr, double wi, int ew, int n, int n_more, PowParts& p) {
  bool ln_neg, at_neg;
  Tiny ln_tail, at_tail;
  const Fx ln = magnitude(log_abs(x, y, n, ew, ln_tail), n, ln_neg);
  const Fx at = magnitude(arg_turns(x, y, n, ew, at_tail), n, at_neg);
  Fx lt, ar;
  mul(lt, ln, from(kConst[2]), n);  // |log|z|| / (2 pi)
  mul(ar, at, from(kConst[1]), n);  // |arg z|
  u64 mx, my;
  int ex, ey;
  split_d(wr, mx, ex);
  split_d(wi, my, ey);

  // Re(w log z) = wr log|z| - wi arg z.
  const int len = kUnits + 1 + n;
  u64 re[kUnits + kLimbs + 1] = {};
  add_term(re, kUnits, len, ln, ln_neg != std::signbit(wr), mx, ex, n);
  add_term(re, kUnits, len, ar, at_neg == std::signbit(wi), my, ey, n);
  const bool rneg = static_cast<int64_t>(re[0]) < 0;
  if (rneg) neg_arr(re, re, len);
  bool big = re[kUnits] >= 20000;
  for (int k = 0; k < kUnits; ++k) big |= re[k] != 0;
  if (big) {
    p.re_hi = 20000, p.re_lo = 0;
  } else {
    to_pair(re, kUnits, len, p.re_hi, p.re_lo);
  }
  if (rneg) p.re_hi = -p.re_hi, p.re_lo = -p.re_lo;
  // The tails' share, 2 pi (wr log|z| - wi arg z) / (2 pi), below 2^-90.
  p.re_lo += (wr * std::ldexp(ln_tail.m, ln_tail.e) - wi * std::ldexp(at_tail.m, at_tail.e)) * (2 * kPiD);

  // Im(w log z) / (2 pi) = wr arg z / (2 pi) + wi log|z| / (2 pi), modulo 1.
  u64 tt[kUnits + kLimbs + 1] = {};
  add_term(tt, -1, n, at, at_neg != std::signbit(wr), mx, ex, n);
  add_term(tt, -1, n, lt, ln_neg != std::signbit(wi), my, ey, n);
  // q quarter turns and the rest r in [-1/8, 1/8] of a turn, exact; the
  // tails, below 2^-90 of a turn, added to r.
  const int q = static_cast<int>(((tt[0] >> 61) + 1) >> 1) & 3;
  tt[0] -= static_cast<u64>(q) << 62;
  const Tiny rt = sum(mul(wr, at_tail), mul(wi, ln_tail));
  bool zero = true;
  for (int k = 0; k < n; ++k) zero &= tt[k] == 0;
  p.c_exp = p.s_exp = 0;
  if (zero && n_more > n) {
    parts_n(x, y, wr, wi, ew, n_more, n_more, p);
    return;
  }
  // A rest r below 2^-64 of a turn: cos r = 1 and sin r = 2 pi r within
  // 2^-123, r = m 2^e kept apart from the double range.
  auto tiny_rest = [&](double m, double ml, int se) {
    double sh, sl;
    two_prod<double>(m, k2PiHi, sh, sl);
    sl += m * k2PiLo + ml * k2PiHi;
    const double c[2] = {1, 0}, s[2] = {sh, sl};
    switch (q) {
      case 0: p.c_hi = c[0], p.c_lo = c[1], p.s_hi = s[0], p.s_lo = s[1], p.s_exp = se; break;
      case 1: p.c_hi = -s[0], p.c_lo = -s[1], p.c_exp = se, p.s_hi = c[0], p.s_lo = c[1]; break;
      case 2: p.c_hi = -c[0], p.c_lo = -c[1], p.s_hi = -s[0], p.s_lo = -s[1], p.s_exp = se; break;
      default: p.c_hi = s[0], p.c_lo = s[1], p.c_exp = se, p.s_hi = -c[0], p.s_lo = -c[1]; break;
    }
  };
  if (zero) {
    tiny_rest(rt.m, 0, rt.e);  // with no tail, a part is exactly zero
    return;
  }
  if (rt.m != 0 && rt.e > -64 * n) {
    u64 m;
    int e;
    split_d(rt.m, m, e);
    u64 d[kLimbs] = {};
    add_bits(d, -1, n, m, static_cast<long>(e) + rt.e);
    if (rt.m < 0) neg_arr(d, d, n);
    add_arr(tt, tt, d, n);
  }
  const bool rn = static_cast<int64_t>(tt[0]) < 0;
  if (rn) neg_arr(tt, tt, n);
  constexpr int m = 2;
  if (tt[0] == 0) {  // r below 2^-64 of a turn
    double h, l;
    int e;
    to_pair_e(tt, -1, n, h, l, e);
    tiny_rest(rn ? -h : h, rn ? -l : l, e);
    return;
  }
  // cos r and sin r in 128 bits: their series on r in radians.
  Fx r{}, r2, term;
  for (int k = 0; k < m; ++k) r.l[k + 1] = tt[k];
  mul(r, r, from(kConst[1]), m);
  mul(r2, r, r, m);
  Fx sn = r, cs{};
  cs.l[0] = 1;
  term = r;
  for (u64 k = 2; !is_zero(term, m); k += 2) {  // sin: r^(k+1)/(k+1)!
    mul(term, term, r2, m);
    div_u(term, term, k * (k + 1), m);
    (k & 2 ? sub : add)(sn, sn, term, m);
  }
  term = cs;
  for (u64 k = 2; !is_zero(term, m); k += 2) {  // cos: r^k/k!
    mul(term, term, r2, m);
    div_u(term, term, (k - 1) * k, m);
    (k & 2 ? sub : add)(cs, cs, term, m);
  }
  double ch, cl, sh, sl;
  to_pair(cs.l, 0, m + 1, ch, cl);
  to_pair(sn.l, 0, m + 1, sh, sl);
  if (rn) sh = -sh, sl = -sl;
  // cos and sin of q quarter turns plus r.
  switch (q) {
    case 0: p.c_hi = ch, p.c_lo = cl, p.s_hi = sh, p.s_lo = sl; break;
    case 1: p.c_hi = -sh, p.c_lo = -sl, p.s_hi = ch, p.s_lo = cl; break;
    case 2: p.c_hi = -ch, p.c_lo = -cl, p.s_hi = -sh, p.s_lo = -sl; break;
    default: p.c_hi = sh, p.c_lo = sl, p.s_hi = -ch, p.s_lo = -cl; break;
  }
}

}  // namespace

void pow_parts(double x, double y, double wr, double wi, PowParts& p) {
  int ew = -1100, es = 1100;
  for (const double v : {wr, wi})
    if (v != 0) ew = std::max(ew, std::ilogb(v)), es = std::min(es, std::ilogb(v));
  // |w| times the error of log z (a few hundred units of 2^-64n) below 2^-130.
  const int n = std::clamp((std::max(ew, 0) + 160 + 63) / 64, 3, kLimbs - 1);
  const int n_more = std::clamp((std::max(ew, 0) - std::min(es, 0) + 180 + 63) / 64, n, kLimbs - 1);
  parts_n(x, y, wr, wi, ew, n, n_more, p);
}

}  // namespace zev::vk::cexp::lng
