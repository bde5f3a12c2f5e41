// Input generation and the measuring of one function at its three levels.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "tools/ulp/ulp.h"

namespace zev::ulp {

namespace {

// ---- Ordered bit patterns: consecutive integers are consecutive floats ------

int64_t ord(double x, bool single) {
  if (single) {
    const float f = static_cast<float>(x);
    int32_t i;
    memcpy(&i, &f, 4);
    return i < 0 ? -static_cast<int64_t>(i & 0x7fffffff) : i;
  }
  int64_t i;
  memcpy(&i, &x, 8);
  return i < 0 ? -(i & 0x7fffffffffffffffll) : i;
}

double from_ord(int64_t o, bool single) {
  if (single) {
    const int32_t i = o < 0 ? static_cast<int32_t>(static_cast<uint32_t>(-o) | 0x80000000u)
                            : static_cast<int32_t>(o);
    float f;
    memcpy(&f, &i, 4);
    return f;
  }
  const int64_t i = o < 0 ? static_cast<int64_t>(static_cast<uint64_t>(-o) | 0x8000000000000000ull) : o;
  double d;
  memcpy(&d, &i, 8);
  return d;
}

double to_format(double x, bool single) { return single ? static_cast<double>(static_cast<float>(x)) : x; }

double max_finite(bool single) { return single ? FLT_MAX : DBL_MAX; }

// Clamp an ordered value to the finite numbers of the format.
int64_t clamp_ord(int64_t o, bool single) {
  const int64_t m = ord(max_finite(single), single);
  return std::clamp(o, -m, m);
}

double sample_range(Rng& rng, const Range& r, bool single) {
  const double lo = to_format(std::max(r.lo, -max_finite(single)), single);
  const double hi = to_format(std::min(r.hi, max_finite(single)), single);
  if (rng.below(4) == 0 && std::isfinite(hi - lo)) {  // uniform over values
    return to_format(lo + (hi - lo) * rng.uniform(), single);
  }
  const int64_t a = ord(lo, single), b = ord(hi, single);  // uniform over bit patterns
  return from_ord(a + static_cast<int64_t>(rng.below(static_cast<uint64_t>(b - a) + 1)), single);
}

double sample(Rng& rng, const std::vector<Range>& rs, bool single) {
  if (rs.empty()) return 0.75;
  return sample_range(rng, rs[rng.below(rs.size())], single);
}

// The values every function meets: zeros, subnormals, the normal edges,
// infinities and NaNs (quiet of both signs, and one signalling).
std::vector<double> general_specials(bool single) {
  std::vector<double> v;
  const double minsub = single ? 0x1p-149 : 0x1p-1074;
  const double maxsub = single ? 0x1.fffffcp-127 : 0x0.fffffffffffffp-1022;
  const double minnorm = single ? FLT_MIN : DBL_MIN;
  for (double s : {1.0, -1.0}) {
    for (double x : {0.0, minsub, maxsub, minnorm, max_finite(single), 1.0, 0.5, 2.0, 0.75, 3.0,
                     static_cast<double>(INFINITY)})
      v.push_back(s * x);
  }
  v.push_back(std::numeric_limits<double>::quiet_NaN());
  v.push_back(-std::numeric_limits<double>::quiet_NaN());
  v.push_back(std::numeric_limits<double>::signaling_NaN());  // kept signalling in single too
  return v;
}

// Dense and growing steps around a point.
void steps_around(double p, int dense, bool single, std::vector<double>& out) {
  if (std::isnan(p)) return;
  if (std::isinf(p)) p = std::copysign(max_finite(single), p);
  const int64_t o = ord(to_format(p, single), single);
  for (int k = -dense; k <= dense; ++k) out.push_back(from_ord(clamp_ord(o + k, single), single));
  const int top = single ? 22 : 50;
  for (int j = 5; j <= top; j += 3) {
    const int64_t d = int64_t{1} << j;
    out.push_back(from_ord(clamp_ord(o + d, single), single));
    out.push_back(from_ord(clamp_ord(o - d, single), single));
  }
}

}  // namespace

std::vector<Point> make_inputs(const FuncDesc& fd, const Options& opt) {
  const bool single = fd.row[0] == 's';
  uint64_t h = 0xcbf29ce484222325ull;  // FNV-1a of the row name: each row its own stream
  for (const char* c = fd.row; *c; ++c) h = (h ^ static_cast<unsigned char>(*c)) * 0x100000001b3ull;
  Rng rng(opt.seed ^ h);
  std::vector<Point> pts;
  const std::vector<double> gen = general_specials(single);

  std::vector<double> around(fd.points);
  for (const Range& r : fd.a) {
    around.push_back(r.lo);
    around.push_back(r.hi);
  }
  std::vector<double> dense;
  for (double p : around) steps_around(p, opt.dense, single, dense);

  auto random_b = [&]() { return sample(rng, fd.b, single); };

  switch (fd.arity) {
    case Arity::First2:
    case Arity::Second2:
    case Arity::Unary:
      for (double x : gen) pts.push_back({x, 0.0});
      for (double x : fd.points) pts.push_back({to_format(x, single), 0.0});
      for (double x : dense) pts.push_back({x, 0.0});
      for (long i = 0; i < opt.random_points; ++i) pts.push_back({sample(rng, fd.a, single), 0.0});
      break;
    case Arity::Binary: {
      std::vector<double> bs(gen);
      for (double x : fd.b_values) bs.push_back(to_format(x, single));
      std::vector<double> as(gen);
      for (double x : fd.points) as.push_back(to_format(x, single));
      for (double x : as)
        for (double y : bs) pts.push_back({x, y});
      for (double x : dense) pts.push_back({x, random_b()});
      for (double y : fd.b_values) {  // second-argument edges, first random
        std::vector<double> db;
        steps_around(y, opt.dense / 4, single, db);
        for (double v : db) pts.push_back({sample(rng, fd.a, single), v});
      }
      for (long i = 0; i < opt.random_points; ++i) {
        double a, b;
        if (fd.pair && (i & 1)) {
          fd.pair(rng, single, a, b);
          a = to_format(a, single);
          b = to_format(b, single);
        } else {
          a = sample(rng, fd.a, single);
          b = random_b();
        }
        pts.push_back({a, b});
      }
      break;
    }
    case Arity::Powx: {
      // One scalar per call: the points are grouped by b after the shuffle.
      std::vector<double> bs;
      for (double x : fd.b_values) bs.push_back(to_format(x, single));
      for (int i = 0; i < 8; ++i) bs.push_back(random_b());
      const long per_b = std::max<long>(opt.random_points / static_cast<long>(bs.size()), 64);
      for (double y : bs) {
        for (double x : gen) pts.push_back({x, y});
        for (size_t i = 0; i < dense.size(); i += 3) pts.push_back({dense[i], y});
        for (long i = 0; i < per_b; ++i) pts.push_back({sample(rng, fd.a, single), y});
      }
      for (double y : gen) pts.push_back({0.75, y}), pts.push_back({-2.0, y}), pts.push_back({0.0, y});
      break;
    }
  }
  // Shuffle, so that specials land in every lane position of a block.
  for (size_t i = pts.size(); i > 1; --i) std::swap(pts[i - 1], pts[rng.below(i)]);
  if (fd.arity == Arity::Powx)
    std::stable_sort(pts.begin(), pts.end(), [](const Point& x, const Point& y) {
      uint64_t bx, by;
      memcpy(&bx, &x.b, 8);
      memcpy(&by, &y.b, 8);
      return bx < by;
    });
  return pts;
}

// ---- Calling kernels --------------------------------------------------------

namespace {

template <class T>
using Unary = void (*)(int, const T*, T*);
template <class T>
using Unary2 = void (*)(int, const T*, T*, T*);
template <class T>
using Binary = void (*)(int, const T*, const T*, T*);
template <class T>
using PowxK = void (*)(int, const T*, T, T*);

// Double to the kernel's type; a signalling NaN stays signalling (the
// conversion instruction would quiet it).
template <class T>
T narrow(double x) {
  if constexpr (sizeof(T) == 4) {
    uint64_t u;
    memcpy(&u, &x, 8);
    if (std::isnan(x) && !(u & 0x0008000000000000ull)) {
      const uint32_t s = static_cast<uint32_t>(u >> 32) & 0x80000000u;
      const uint32_t bits = s | 0x7fa00000u;
      float f;
      memcpy(&f, &bits, 4);
      return f;
    }
    return static_cast<float>(x);
  } else {
    return x;
  }
}

// A buffer with slack on both sides filled with a marker pattern, so that a
// write outside r[0..n-1] is seen.
constexpr int kSlack = 16;
constexpr unsigned char kMarker = 0x5B;

template <class T>
struct Caller {
  void* fn;
  Arity arity;
  std::vector<T> abuf, bbuf, rbuf;

  Caller(void* f, Arity ar) : fn(f), arity(ar) {}

  // Runs the kernel on points[first, first+n), with the arrays starting
  // `off_a`, `off_r` elements past a 64-byte boundary; in place when asked.
  // Returns false if the kernel wrote outside its n results.
  bool run(const Point* p, int n, int off_a, int off_b, int off_r, bool in_place, T* out) {
    const size_t size = static_cast<size_t>(n) + 2 * kSlack + 16;
    abuf.assign(size + 16, T(0));
    bbuf.assign(size + 16, T(0));
    rbuf.resize(size + 16);
    auto align = [](std::vector<T>& v, int off) {
      uintptr_t u = reinterpret_cast<uintptr_t>(v.data()) + kSlack * sizeof(T);
      u = (u + 63) & ~uintptr_t{63};
      return reinterpret_cast<T*>(u) + off;
    };
    T* a = align(abuf, off_a);
    T* b = align(bbuf, off_b);
    T* r = in_place ? a : align(rbuf, off_r);
    for (int i = 0; i < n; ++i) {
      a[i] = narrow<T>(p[i].a);
      b[i] = narrow<T>(p[i].b);
    }
    if (!in_place) {
      memset(r - kSlack, kMarker, sizeof(T) * kSlack);
      memset(r, kMarker, sizeof(T) * (static_cast<size_t>(n) + kSlack));
    } else {
      memset(a - kSlack, kMarker, sizeof(T) * kSlack);
      memset(a + n, kMarker, sizeof(T) * kSlack);
    }
    switch (arity) {
      case Arity::Unary: reinterpret_cast<Unary<T>>(fn)(n, a, r); break;
      case Arity::First2: reinterpret_cast<Unary2<T>>(fn)(n, a, r, b); break;
      case Arity::Second2: reinterpret_cast<Unary2<T>>(fn)(n, a, b, r); break;
      case Arity::Binary: reinterpret_cast<Binary<T>>(fn)(n, a, b, r); break;
      case Arity::Powx: reinterpret_cast<PowxK<T>>(fn)(n, a, narrow<T>(p[0].b), r); break;
    }
    memcpy(out, r, sizeof(T) * static_cast<size_t>(n));
    const unsigned char* lo = reinterpret_cast<const unsigned char*>(r - kSlack);
    const unsigned char* hi = reinterpret_cast<const unsigned char*>(r + n);
    for (size_t i = 0; i < sizeof(T) * kSlack; ++i)
      if (lo[i] != kMarker || hi[i] != kMarker) return false;
    return true;
  }
};

template <class T>
using UnaryI = void (*)(int, const T*, int, T*, int);
template <class T>
using Unary2I = void (*)(int, const T*, int, T*, int, T*, int);
template <class T>
using BinaryI = void (*)(int, const T*, int, const T*, int, T*, int);
template <class T>
using PowxI = void (*)(int, const T*, int, T, T*, int);

// The strided form: element i at a[i*inca], result at r[i*incr]. Everything
// else in the result buffer must keep its marker.
template <class T>
struct StridedCaller {
  void* fn;
  Arity arity;
  std::vector<T> abuf, bbuf, rbuf;

  bool run(const Point* p, int n, int inca, int incb, int incr, T* out) {
    abuf.assign(static_cast<size_t>(n) * inca + 1, T(0));
    bbuf.assign(static_cast<size_t>(n) * incb + 1, T(0));
    const size_t rsize = static_cast<size_t>(n) * incr + 2 * kSlack;
    rbuf.resize(rsize);
    memset(rbuf.data(), kMarker, rsize * sizeof(T));
    T* r = rbuf.data() + kSlack;
    for (int i = 0; i < n; ++i) {
      abuf[static_cast<size_t>(i) * inca] = narrow<T>(p[i].a);
      bbuf[static_cast<size_t>(i) * incb] = narrow<T>(p[i].b);
    }
    switch (arity) {
      case Arity::Unary: reinterpret_cast<UnaryI<T>>(fn)(n, abuf.data(), inca, r, incr); break;
      case Arity::First2: reinterpret_cast<Unary2I<T>>(fn)(n, abuf.data(), inca, r, incr, bbuf.data(), incb); break;
      case Arity::Second2: reinterpret_cast<Unary2I<T>>(fn)(n, abuf.data(), inca, bbuf.data(), incb, r, incr); break;
      case Arity::Binary:
        reinterpret_cast<BinaryI<T>>(fn)(n, abuf.data(), inca, bbuf.data(), incb, r, incr);
        break;
      case Arity::Powx: reinterpret_cast<PowxI<T>>(fn)(n, abuf.data(), inca, narrow<T>(p[0].b), r, incr); break;
    }
    bool clean = true;
    for (size_t j = 0; j < rsize; ++j) {
      const long rel = static_cast<long>(j) - kSlack;
      if (rel >= 0 && rel % incr == 0 && rel / incr < n) {
        out[rel / incr] = rbuf[j];
        continue;
      }
      const unsigned char* b = reinterpret_cast<const unsigned char*>(&rbuf[j]);
      for (size_t q = 0; q < sizeof(T); ++q) clean &= b[q] == kMarker;
    }
    return clean;
  }
};

// The lengths and offsets the calls cycle through: short tails, whole blocks
// of 4, 8, 16 and 32 and one more, and long runs.
constexpr int kLengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100, 1000, 4093};

bool same_bits(double x, double y) {
  if (std::isnan(x) && std::isnan(y)) return true;
  return memcmp(&x, &y, sizeof x) == 0;
}

template <class T>
void measure_level(const FuncDesc& fd, const std::vector<Point>& pts, const std::vector<Ref>& refs,
                   void* fn, void* strided_fn, const Options& opt, const Env& env, LevelResult& res) {
  const Format f = format_of(sizeof(T) == 4);
  Caller<T> call(fn, fd.arity);
  std::vector<T> out(4096 + 64);
  auto judge = [&](size_t idx, double got, bool strided) {
    const Point& p = pts[idx];
    const Compare c = compare(got, refs[idx], f, fd.exact);
    const Example ex{p, got, refs[idx].cr, strided};
    if (c.special != Compare::kOk) {
      if (res.special_examples.size() < 8) res.special_examples.push_back({c.special, ex});
      ++res.special_mismatches;
      return;
    }
    const double u = std::fabs(c.ulp);
    if (u > res.worst_ulp || res.points == 0) {
      res.worst_ulp = u;
      res.worst_ulp_at = ex;
    }
    if (c.rel > res.worst_rel || res.points == 0) {
      res.worst_rel = c.rel;
      res.worst_rel_at = ex;
    }
    ++res.points;
  };
  // Calls of one scalar for Powx: cut a chunk where b changes.
  auto chunk = [&](size_t i, int k) {
    int n = kLengths[k % (sizeof kLengths / sizeof kLengths[0])];
    n = static_cast<int>(std::min<size_t>(n, pts.size() - i));
    if (fd.arity == Arity::Powx) {
      int m = 1;
      while (m < n && same_bits(pts[i + m].b, pts[i].b)) ++m;
      n = m;
    }
    return n;
  };
  size_t i = 0;
  int k = 0;
  while (i < pts.size()) {
    const int n = chunk(i, k);
    const bool in_place = (k % 5) == 4;
    if (!call.run(&pts[i], n, k % 4, (k / 2) % 4, (k / 4) % 4, in_place, out.data()) && !res.outside_writes++) {
      res.outside_example = "n " + std::to_string(n) + ", offsets a " + std::to_string(k % 4) + " b " +
                            std::to_string((k / 2) % 4) + " r " + std::to_string((k / 4) % 4) +
                            (in_place ? ", in place" : "") + ", first input " + format_value(pts[i].a, sizeof(T) == 4);
    }
    for (int j = 0; j < n; ++j) judge(i + j, static_cast<double>(out[j]), false);
    i += static_cast<size_t>(n);
    ++k;
  }

  // The strided entry on the same points, with strides other than all ones
  // (which would hand the call to the plain kernel).
  if (strided_fn) {
    static const int kStrides[][3] = {{2, 3, 1}, {1, 1, 2}, {3, 1, 3}, {1, 2, 1}};
    StridedCaller<T> sc{strided_fn, fd.arity, {}, {}, {}};
    const long before = res.points;
    for (i = 0, k = 0; i < pts.size(); ++k) {
      const int n = chunk(i, k);
      const int* st = kStrides[k % 4];
      if (!sc.run(&pts[i], n, st[0], st[1], st[2], out.data()) && !res.outside_writes++) {
        res.outside_example = "strided, n " + std::to_string(n) + ", inca " + std::to_string(st[0]) + " incb " +
                              std::to_string(st[1]) + " incr " + std::to_string(st[2]) + ", first input " +
                              format_value(pts[i].a, sizeof(T) == 4);
      }
      for (int j = 0; j < n; ++j) judge(i + j, static_cast<double>(out[j]), true);
      i += static_cast<size_t>(n);
    }
    res.strided_points = res.points - before;
  }

  // Lane independence: an input gives the same bits alone (n = 1, the tail
  // path) and at every position of a longer array filled with other inputs,
  // special ones among them.
  Rng rng(opt.seed + 17);
  const std::vector<double> specials = general_specials(sizeof(T) == 4);
  const int m = 21;
  std::vector<Point> arr(m);
  std::vector<T> base(1), res_arr(m);
  const size_t stride = std::max<size_t>(pts.size() / static_cast<size_t>(opt.crosstalk_inputs), 1);
  for (size_t s = 0; s < pts.size(); s += stride) {
    const Point x = pts[s];
    call.run(&x, 1, 0, 0, 0, false, base.data());
    for (int pos = 0; pos < m; ++pos) {
      for (int q = 0; q < m; ++q) {
        // Neighbours: other inputs, a third of them special values, so that
        // special lanes and their callouts share the block.
        arr[q] = pts[rng.below(pts.size())];
        if (rng.below(3) == 0) arr[q].a = specials[rng.below(specials.size())];
        if (fd.arity == Arity::Powx) arr[q].b = x.b;
      }
      arr[pos] = x;
      call.run(arr.data(), m, pos % 4, 0, (pos / 4) % 4, false, res_arr.data());
      if (!same_bits(res_arr[pos], base[0])) {
        ++res.crosstalk_failures;
        if (res.crosstalk_examples.size() < 4)
          res.crosstalk_examples.push_back({x, static_cast<double>(res_arr[pos]), static_cast<double>(base[0])});
      }
    }
  }
  (void)env;
}

}  // namespace

bool LevelResult::pass() const {
  if (state != State::Measured) return true;
  if (special_mismatches || crosstalk_failures || outside_writes) return false;
  if (part_bound > 0 && worst_part > part_bound) return false;
  if (bits_bound) return correct_bits(worst_rel, format_of(row[0] == 's')) >= bound;
  return worst_ulp <= bound;
}

std::vector<LevelResult> measure_function(const FuncDesc& fd, const Options& opt, const Env& env) {
  if (fd.measure) return fd.measure(fd, opt, env);
  const bool single = fd.row[0] == 's';
  const Format f = format_of(single);
  std::vector<LevelResult> out(3);
  void* fns[3] = {};
  void* sfns[3] = {};
  bool any = false;
  for (int lv = 0; lv < 3; ++lv) {
    LevelResult& r = out[lv];
    r.row = std::string(fd.row) + (fd.arity == Arity::First2 ? " r1" : fd.arity == Arity::Second2 ? " r2" : "");
    r.entry = entry_name(fd.row, lv);
    r.level = lv;
    r.exact = fd.exact;
    r.bits_bound = !fd.exact && lv == kEP;
    r.bound = fd.exact ? 0.0 : lv == kLA ? fd.bound_la : lv == kHA ? fd.bound_ha : (single ? 11.0 : 26.0);
    fns[lv] = env.resolve(r.entry.c_str());
    if (!fns[lv]) {
      r.state = State::Missing;
      continue;
    }
    r.state = State::Measured;
    any = true;
    const std::string sname = entry_name(std::string(fd.row) + "I", lv);
    sfns[lv] = env.resolve(sname.c_str());
    if (sfns[lv]) r.strided_entry = sname;
  }
  if (!any) return out;

  mpfr_set_emin(mpfr_get_emin_min());
  mpfr_set_emax(mpfr_get_emax_max());
  const std::vector<Point> pts = make_inputs(fd, opt);
  std::vector<Ref> refs(pts.size());
  const mpfr_prec_t prec = fd.work_bits ? fd.work_bits : 128;
  mpfr_t y, a, b;
  mpfr_inits2(prec, y, a, b, static_cast<mpfr_ptr>(nullptr));
  // Arguments are exact at any precision of at least 53 bits.
  for (size_t i = 0; i < pts.size(); ++i) {
    mpfr_set_d(a, pts[i].a, MPFR_RNDN);
    mpfr_set_d(b, pts[i].b, MPFR_RNDN);
    fd.ref(y, a, b);
    make_ref(y, f, refs[i]);
  }
  mpfr_clears(y, a, b, static_cast<mpfr_ptr>(nullptr));

  for (int lv = 0; lv < 3; ++lv) {
    if (out[lv].state != State::Measured) continue;
    env.clear_status();
    if (single)
      measure_level<float>(fd, pts, refs, fns[lv], sfns[lv], opt, env, out[lv]);
    else
      measure_level<double>(fd, pts, refs, fns[lv], sfns[lv], opt, env, out[lv]);
    env.clear_status();
  }
  return out;
}

}  // namespace zev::ulp
