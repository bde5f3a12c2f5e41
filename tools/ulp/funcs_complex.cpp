// Complex rows against MPC: Add, Sub, Mul, MulByConj, Div, Conj, Abs, Sqrt, Arg.
//
// A complex row is measured here rather than by the real runner: each part
// in ulps of that part (judged at HA where the part is not below 2^-20 of
// |exact|, bound 2 ulp), and the normwise error |got - exact| / |exact| in
// ulps of |exact| (the level's bound; at EP its relative size, results below
// the normal range against the least normal). Inputs: the special values
// crossed with each other, then random points with parts over every binade
// of both signs, near the axes, huge and tiny parts, and operands chosen so
// that Mul's parts cancel and Div's quotient sits on an axis. Classes: where
// the exact value has an infinite part (an overflow included) the result
// must have one; NaN inputs must give a NaN part.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <string>

#include "tools/ulp/complex_ref.h"
#include "tools/ulp/ulp.h"
#include "zev/zev_config.h"

namespace zev::ulp {
namespace {

// The complex arities, measured here through FuncDesc::measure: an arity of
// the runner's would add cases to every switch of the real runner.
enum class CArity { Unary, Binary, Real };
CArity arity_of(const std::string& row) {
  const std::string f = row.substr(1);
  return f == "Conj" || f == "Sqrt" ? CArity::Unary : f == "Abs" || f == "Arg" ? CArity::Real : CArity::Binary;
}

struct CPoint {
  double ar, ai, br, bi;
};

COp op_of(const std::string& row) {
  const std::string f = row.substr(1);
  if (f == "Add") return COp::Add;
  if (f == "Sub") return COp::Sub;
  if (f == "Mul") return COp::Mul;
  if (f == "MulByConj") return COp::MulByConj;
  if (f == "Div") return COp::Div;
  if (f == "Conj") return COp::Conj;
  if (f == "Sqrt") return COp::Sqrt;
  if (f == "Arg") return COp::Arg;
  return COp::Abs;
}

double part(Rng& g, bool single) {
  const int emin = single ? -149 : -1074, emax = single ? 127 : 1023;
  double x;
  switch (g.below(8)) {
    case 0: x = std::ldexp(1.0 + g.uniform(), emin + static_cast<int>(g.below(40))); break;      // tiny
    case 1: x = std::ldexp(1.0 + g.uniform(), emax - static_cast<int>(g.below(8))); break;       // huge
    case 2: x = std::ldexp(1.0 + g.uniform(), static_cast<int>(g.below(60)) - 30); break;        // ordinary
    default: x = std::ldexp(1.0 + g.uniform(), emin + static_cast<int>(g.below(emax - emin)));  // any binade
  }
  if (single) x = static_cast<float>(x);
  if (!std::isfinite(x)) x = single ? FLT_MAX : DBL_MAX;
  return g.below(2) ? -x : x;
}

std::vector<CPoint> inputs(bool single, bool binary, const Options& opt) {
  const double tiny = single ? 0x1p-149 : 0x1p-1074, least = single ? 0x1p-126 : 0x1p-1022;
  const double big = single ? FLT_MAX : DBL_MAX;
  const double sv[] = {0.0, -0.0, tiny, -least, 1.0, -0.75, 3.0, big, -big, HUGE_VAL, -HUGE_VAL, NAN};
  std::vector<CPoint> p;
  for (double a : sv)
    for (double b : sv) {
      if (!binary) {
        p.push_back({a, b, 0.0, 0.0});
        continue;
      }
      for (double c : sv)
        for (double d : {0.0, -1.0, big, double(HUGE_VAL), double(NAN)}) p.push_back({a, b, c, d});
    }
  Rng g(opt.seed ^ (single ? 1 : 2) ^ (binary ? 4 : 8));
  auto fit = [&](double x) { return single ? static_cast<double>(static_cast<float>(x)) : x; };
  for (long i = 0; i < opt.random_points; ++i) {
    CPoint q{part(g, single), part(g, single), part(g, single), part(g, single)};
    const int shift = single ? 30 : 60;
    switch (i % 8) {
      case 1: q.ai = fit(std::ldexp(q.ar, -static_cast<int>(g.below(shift)))); break;  // near the real axis
      case 2: q.bi = g.below(2) ? 0.0 : -0.0; break;                                     // on an axis
      case 3:  // Mul: a c close to b d (and a d close to -b c)
        q.br = fit(q.ai * 0.75), q.bi = fit(q.ar * 0.75);
        q.br = fit(std::nextafter(q.br, 0.0));
        break;
      case 4:  // Div: a quotient near 1 or near i
        q.br = fit(q.ar * (1 + 0x1p-20)), q.bi = fit(q.ai);
        if (g.below(2)) std::swap(q.br, q.bi), q.br = -q.br;
        break;
      case 5:  // both operands ordinary: the vector paths
        q.ar = fit(std::ldexp(1.0 + g.uniform(), static_cast<int>(g.below(40)) - 20));
        q.ai = fit(std::ldexp(g.uniform() - 0.5, static_cast<int>(g.below(40)) - 20));
        q.br = fit(std::ldexp(g.uniform() - 0.5, static_cast<int>(g.below(40)) - 20));
        q.bi = fit(std::ldexp(1.0 + g.uniform(), static_cast<int>(g.below(40)) - 20));
        break;
      default: break;
    }
    p.push_back(q);
  }
  return p;
}

template <class R>
struct Run {
  using C = std::conditional_t<sizeof(R) == 4, zev_complex8, zev_complex16>;
  CArity arity;
  // Results of n elements from the entry (fn) or its strided twin (fi, with
  // strides 1, 2 and result stride 3), as doubles.
  void call(void* fn, void* fi, const std::vector<CPoint>& p, size_t from, int n, double* out, size_t cap = 0) const {
    std::vector<C> a(n * 2 + 1), b(n * 2 + 1);
    for (int i = 0; i < n; ++i) {
      const CPoint& q = p[from + i];
      a[i] = {static_cast<R>(q.ar), static_cast<R>(q.ai)};
      b[fi ? 2 * i : i] = {static_cast<R>(q.br), static_cast<R>(q.bi)};
    }
    const int ir = fi ? 3 : 1;
    const size_t len = static_cast<size_t>(n) * ir + cap;
    std::vector<C> r(len, C{R(-7), R(-7)});
    std::vector<R> t(len, R(-7));
    switch (arity) {
      case CArity::Binary:
        if (fi)
          reinterpret_cast<void (*)(int, const C*, int, const C*, int, C*, int)>(fi)(n, a.data(), 1, b.data(), 2,
                                                                                    r.data(), ir);
        else
          reinterpret_cast<void (*)(int, const C*, const C*, C*)>(fn)(n, a.data(), b.data(), r.data());
        break;
      case CArity::Unary:
        if (fi)
          reinterpret_cast<void (*)(int, const C*, int, C*, int)>(fi)(n, a.data(), 1, r.data(), ir);
        else
          reinterpret_cast<void (*)(int, const C*, C*)>(fn)(n, a.data(), r.data());
        break;
      default:
        if (fi)
          reinterpret_cast<void (*)(int, const C*, int, R*, int)>(fi)(n, a.data(), 1, t.data(), ir);
        else
          reinterpret_cast<void (*)(int, const C*, R*)>(fn)(n, a.data(), t.data());
        for (size_t i = 0; i < len; ++i) r[i] = {t[i], i % ir || i >= size_t(n) * ir ? t[i] : R(0)};
    }
    for (size_t i = 0; i < len; ++i) {
      out[2 * i] = r[i].re;
      out[2 * i + 1] = r[i].im;
    }
  }
};

bool same_bits(double x, double y) { return std::memcmp(&x, &y, sizeof x) == 0 || (x != x && y != y); }

template <class R>
void measure_level(const FuncDesc& fd, const std::vector<CPoint>& p, void* fn, void* fi, const Env& env,
                   LevelResult& res) {
  constexpr bool single = sizeof(R) == 4;
  const Run<R> run{arity_of(fd.row)};
  const COp op = op_of(fd.row);
  const int n = static_cast<int>(p.size());
  std::vector<double> got(2 * n), gs(6 * n);
  env.clear_status();
  run.call(fn, nullptr, p, 0, n, got.data());
  if (fi) {
    run.call(fn, fi, p, 0, n, gs.data());
    for (int i = 0; i < n; ++i)
      if (!same_bits(gs[6 * i], got[2 * i]) || !same_bits(gs[6 * i + 1], got[2 * i + 1])) ++res.crosstalk_failures;
    res.strided_points = n;
  }
  // Writes past n: short calls into arrays with spare elements.
  for (int m = 1; m <= 9; ++m) {
    std::vector<double> o(2 * (m + 4));
    run.call(fn, nullptr, p, 100, m, o.data(), 4);
    for (int k = 2 * m; k < 2 * (m + 4); ++k)
      if (o[k] != -7.0) {
        ++res.outside_writes;
        res.outside_example = "n = " + std::to_string(m);
        break;
      }
  }
  const double least = single ? 0x1p-126 : 0x1p-1022;
  CExact x;
  char buf[512];
  std::string at_norm, at_part;
  for (int i = 0; i < n; ++i) {
    const CPoint& q = p[i];
    const double gr = got[2 * i], gi = arity_of(fd.row) == CArity::Real ? 0.0 : got[2 * i + 1];
    x.compute(op, q.ar, q.ai, q.br, q.bi);
    const double wr = rounded<R>(mpc_realref(x.v)), wi = rounded<R>(mpc_imagref(x.v));
    ++res.points;
    auto text = [&] {
      char bb[96];
      snprintf(bb, sizeof bb, "(%a, %a)", q.br, q.bi);
      const std::string bstr = bb;
      snprintf(buf, sizeof buf, "(%a, %a)%s%s -> (%a, %a), want (%a, %a)", q.ar, q.ai,
               arity_of(fd.row) == CArity::Binary ? " op " : "",
               arity_of(fd.row) == CArity::Binary ? bstr.c_str() : "",
               gr, gi, wr, wi);
      return std::string(buf);
    };
    const bool nan_in = std::isnan(q.ar) || std::isnan(q.ai) ||
                        (arity_of(fd.row) == CArity::Binary && (std::isnan(q.br) || std::isnan(q.bi)));
    const bool inf_in = std::isinf(q.ar) || std::isinf(q.ai) ||
                        (arity_of(fd.row) == CArity::Binary && (std::isinf(q.br) || std::isinf(q.bi)));
    if (std::isinf(wr) || std::isinf(wi) || std::isnan(wr) || std::isnan(wi) || nan_in || inf_in) {
      bool bad = false;
      if (!nan_in && (std::isinf(wr) || std::isinf(wi)) && !std::isinf(gr) && !std::isinf(gi)) bad = true;
      if (nan_in && !inf_in && !std::isnan(gr) && !std::isnan(gi)) bad = true;
      // Finite inputs: an overflowing part is an infinity of its sign.
      if (!nan_in && !inf_in && ((std::isinf(wr) && gr != wr) || (std::isinf(wi) && gi != wi))) bad = true;
      if (bad) {
        ++res.special_mismatches;
        if (res.special_examples.size() < 4) res.special_examples.push_back({0, {{q.ar, q.br}, gr, wr}});
        if (res.note.empty()) res.note = "class mismatch at " + text();
      }
      continue;
    }
    const CError e = cerror<R>(x, gr, gi);
    // Below the normal range EP is judged against the least normal.
    const double rel_eff = mpfr_get_d(x.abs, MPFR_RNDN) < least ? e.norm * std::ldexp(1.0, 1 - (single ? 24 : 53)) : e.rel;
    if (e.norm > res.worst_ulp) {
      res.worst_ulp = e.norm;
      res.worst_ulp_at = {{q.ar, q.br}, gr, wr};
      at_norm = text();
    }
    if (rel_eff > res.worst_rel) {
      res.worst_rel = rel_eff;
      res.worst_rel_at = {{q.ar, q.br}, gr, wr};
    }
    const double pe = std::max(e.re_small ? 0.0 : e.re, e.im_small ? 0.0 : e.im);
    if (pe > res.worst_part) {
      res.worst_part = pe;
      at_part = text();
    }
  }
  snprintf(buf, sizeof buf, "normwise %.3f ulp at %s; parts %.3f ulp at %s", res.worst_ulp, at_norm.c_str(),
           res.worst_part, at_part.c_str());
  if (res.note.empty()) res.note = buf; else res.note += std::string("; ") + buf;
  env.clear_status();
}

std::vector<LevelResult> measure(const FuncDesc& fd, const Options& opt, const Env& env) {
  const bool single = fd.row[0] == 'c';
  std::vector<LevelResult> out(3);
  std::vector<CPoint> pts;
  for (int lv = 0; lv < 3; ++lv) {
    LevelResult& r = out[lv];
    r.row = fd.row;
    r.entry = entry_name(fd.row, lv);
    r.level = lv;
    r.bits_bound = lv == kEP;
    r.bound = lv == kLA ? fd.bound_la : lv == kHA ? fd.bound_ha : (single ? 11.0 : 26.0);
    r.part_bound = lv == kHA ? 2.0 : 0.0;
    void* fn = env.resolve(r.entry.c_str());
    void* fi = env.resolve(entry_name(std::string(fd.row) + "I", lv).c_str());
    if (!fn) continue;
    r.state = State::Measured;
    if (fi) r.strided_entry = entry_name(std::string(fd.row) + "I", lv);
    if (pts.empty()) pts = inputs(single, arity_of(fd.row) == CArity::Binary, opt);
    if (single)
      measure_level<float>(fd, pts, fn, fi, env, r);
    else
      measure_level<double>(fd, pts, fn, fi, env, r);
  }
  return out;
}

#define ROW(name) {.row = name, .measure = measure}
Registrar reg({
    ROW("zAdd"), ROW("zSub"), ROW("zMul"), ROW("zMulByConj"), ROW("zDiv"), ROW("zConj"), ROW("zAbs"), ROW("zSqrt"),
    ROW("cAdd"), ROW("cSub"), ROW("cMul"), ROW("cMulByConj"), ROW("cDiv"), ROW("cConj"), ROW("cAbs"), ROW("cSqrt"), ROW("cArg"),
});

}  // namespace
}  // namespace zev::ulp
