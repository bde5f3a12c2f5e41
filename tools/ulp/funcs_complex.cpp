// Complex rows of the arithmetic against MPC: Add, Sub, Mul, MulByConj, Div,
// Conj, Abs, Sqrt, Arg; and the measure every complex family registers its
// rows with (complex_measure.h).
//
// Inputs: the special values crossed with each other, the row's own points,
// then random points with parts over every binade of both signs, near the
// axes, huge and tiny parts, and operands chosen so that Mul's parts cancel
// and Div's quotient sits on an axis. Classes: where the exact value has an
// infinite part (an overflow included) the result must have one; NaN inputs
// must give a NaN part.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <string>

#include "tools/ulp/complex_measure.h"
#include "zev/zev_config.h"

namespace zev::ulp {
namespace {

// x rounded to the row's precision. The rounding goes through memory: at -O3
// g++ 12 was seen to keep the unrounded product of the Div points.
double fit_to(bool single, double x) {
  if (!single) return x;
  volatile float f = static_cast<float>(x);
  return f;
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
  x = fit_to(single, x);
  if (!std::isfinite(x)) x = single ? FLT_MAX : DBL_MAX;
  return g.below(2) ? -x : x;
}

std::vector<CPoint> inputs(bool single, const CRow& row, const Options& opt) {
  const bool binary = row.arity == CArity::Binary || row.arity == CArity::Scalar;
  const double tiny = single ? 0x1p-149 : 0x1p-1074, least = single ? 0x1p-126 : 0x1p-1022;
  const double big = single ? FLT_MAX : DBL_MAX;
  const double sv[] = {0.0, -0.0, tiny, -least, 1.0, -0.75, 3.0, big, -big, HUGE_VAL, -HUGE_VAL, NAN};
  std::vector<CPoint> p;
  for (double a : sv)
    for (double b : sv) {
      if (row.arity == CArity::RealIn) {
        p.push_back({a, 0.0, 0.0, 0.0});
        break;
      }
      if (!binary) {
        p.push_back({a, b, 0.0, 0.0});
        continue;
      }
      for (double c : sv)
        for (double d : {0.0, -1.0, big, double(HUGE_VAL), double(NAN)}) p.push_back({a, b, c, d});
    }
  auto fit = [single](double x) { return fit_to(single, x); };
  if (row.extra) {
    const size_t from = p.size();
    row.extra(p, single);
    for (size_t i = from; i < p.size(); ++i) p[i] = {fit(p[i].ar), fit(p[i].ai), fit(p[i].br), fit(p[i].bi)};
  }
  Rng g(opt.seed ^ (single ? 1 : 2) ^ (binary ? 4 : 8));
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
        q.br = fit(q.ar * (1 + 0x1p-20));
        q.bi = fit(q.ai);
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
    if (row.arity == CArity::RealIn) q.ai = 0.0;
    if (row.tie) {
      row.tie(q, g, single, false);
      q = {fit(q.ar), fit(q.ai), fit(q.br), fit(q.bi)};
    }
    p.push_back(q);
  }
  // Powx: one b a call; runs of 64 points share the b of their first.
  if (row.arity == CArity::Scalar) {
    for (size_t i = 0; i < p.size(); ++i) p[i].br = p[i & ~size_t(63)].br, p[i].bi = p[i & ~size_t(63)].bi;
    if (row.tie)
      for (size_t i = p.size() - static_cast<size_t>(opt.random_points); i < p.size(); ++i) {
        row.tie(p[i], g, single, true);
        p[i].ar = fit(p[i].ar), p[i].ai = fit(p[i].ai);
      }
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
    if (arity == CArity::Scalar) {
      // A call for each run of equal b; the last run keeps the spare tail.
      int i = 0;
      while (i < n) {
        int j = i + 1;
        while (j < n && p[from + j].br == p[from + i].br && p[from + j].bi == p[from + i].bi) ++j;
        call_one(fn, fi, p, from + i, j - i, out + 2 * i * (fi ? 3 : 1), j == n ? cap : 0);
        i = j;
      }
      return;
    }
    call_one(fn, fi, p, from, n, out, cap);
  }
  void call_one(void* fn, void* fi, const std::vector<CPoint>& p, size_t from, int n, double* out, size_t cap) const {
    std::vector<C> a(n * 2 + 1), b(n * 2 + 1);
    std::vector<R> ra(n * 2 + 1);
    for (int i = 0; i < n; ++i) {
      const CPoint& q = p[from + i];
      a[i] = {static_cast<R>(q.ar), static_cast<R>(q.ai)};
      ra[i] = static_cast<R>(q.ar);
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
      case CArity::Scalar:
        if (fi)
          reinterpret_cast<void (*)(int, const C*, int, C, C*, int)>(fi)(n, a.data(), 1, b[0], r.data(), ir);
        else
          reinterpret_cast<void (*)(int, const C*, C, C*)>(fn)(n, a.data(), b[0], r.data());
        break;
      case CArity::RealIn:
        if (fi)
          reinterpret_cast<void (*)(int, const R*, int, C*, int)>(fi)(n, ra.data(), 1, r.data(), ir);
        else
          reinterpret_cast<void (*)(int, const R*, C*)>(fn)(n, ra.data(), r.data());
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
void measure_level(const CRow& row, const std::vector<CPoint>& p, void* fn, void* fi, const Env& env,
                   LevelResult& res) {
  constexpr bool single = sizeof(R) == 4;
  const CArity arity = row.arity;
  const bool binary = arity == CArity::Binary || arity == CArity::Scalar;
  const Run<R> run{arity};
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
    const double gr = got[2 * i], gi = arity == CArity::Real ? 0.0 : got[2 * i + 1];
    x.compute(row.exact, q.ar, q.ai, q.br, q.bi);
    const double wr = rounded<R>(mpc_realref(x.v)), wi = rounded<R>(mpc_imagref(x.v));
    ++res.points;
    auto text = [&] {
      char bb[96];
      snprintf(bb, sizeof bb, "(%a, %a)", q.br, q.bi);
      const std::string bstr = bb;
      snprintf(buf, sizeof buf, "(%a, %a)%s%s -> (%a, %a), want (%a, %a)", q.ar, q.ai, binary ? " op " : "",
               binary ? bstr.c_str() : "",
               gr, gi, wr, wi);
      return std::string(buf);
    };
    const bool nan_in = std::isnan(q.ar) || std::isnan(q.ai) || (binary && (std::isnan(q.br) || std::isnan(q.bi)));
    const bool inf_in = std::isinf(q.ar) || std::isinf(q.ai) || (binary && (std::isinf(q.br) || std::isinf(q.bi)));
    if (std::isinf(wr) || std::isinf(wi) || std::isnan(wr) || std::isnan(wi) || nan_in || inf_in) {
      bool bad = false;
      if (!nan_in && (std::isinf(wr) || std::isinf(wi)) && !std::isinf(gr) && !std::isinf(gi)) bad = true;
      // NaN inputs give a NaN part where the exact value has one (z^0 is 1 for every z).
      if (nan_in && !inf_in && !std::isnan(gr) && !std::isnan(gi) && (std::isnan(wr) || std::isnan(wi))) bad = true;
      // Finite inputs: an overflowing part is an infinity of its sign.
      if (!nan_in && !inf_in && ((std::isinf(wr) && gr != wr) || (std::isinf(wi) && gi != wi))) bad = true;
      if (bad) {
        ++res.special_mismatches;
        if (res.special_examples.size() < 4) res.special_examples.push_back({0, {{q.ar, q.br}, gr, wr}});
        if (res.note.empty()) res.note = "class mismatch at " + text();
      }
      continue;
    }
    if (std::isnan(gr) || std::isnan(gi) || std::isinf(gr) || std::isinf(gi)) {
      // A finite exact value from finite inputs: no NaN or infinite part.
      ++res.special_mismatches;
      if (res.special_examples.size() < 4) res.special_examples.push_back({0, {{q.ar, q.br}, gr, wr}});
      if (res.note.empty()) res.note = "class mismatch at " + text();
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

}  // namespace

std::vector<LevelResult> measure_complex(const FuncDesc& fd, const Options& opt, const Env& env) {
  const CRow& row = *static_cast<const CRow*>(fd.data);
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
    if (pts.empty()) pts = inputs(single, row, opt);
    if (single)
      measure_level<float>(row, pts, fn, fi, env, r);
    else
      measure_level<double>(row, pts, fn, fi, env, r);
  }
  return out;
}

namespace {

void add(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { mpc_add(v, a, b, MPC_RNDNN); }
void sub(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { mpc_sub(v, a, b, MPC_RNDNN); }
void mul(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { mpc_mul(v, a, b, MPC_RNDNN); }
void mul_by_conj(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) {
  mpc_t c;
  mpc_init2(c, 64);
  mpc_conj(c, b, MPC_RNDNN);
  mpc_mul(v, a, c, MPC_RNDNN);
  mpc_clear(c);
}
void div(mpc_ptr v, mpc_srcptr a, mpc_srcptr b) { mpc_div(v, a, b, MPC_RNDNN); }
void conj(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_conj(v, a, MPC_RNDNN); }
void sqrt(mpc_ptr v, mpc_srcptr a, mpc_srcptr) { mpc_sqrt(v, a, MPC_RNDNN); }
void abs(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  mpc_abs(mpc_realref(v), a, MPFR_RNDN);
  mpfr_set_zero(mpc_imagref(v), 1);
}
void arg(mpc_ptr v, mpc_srcptr a, mpc_srcptr) {
  mpc_arg(mpc_realref(v), a, MPFR_RNDN);
  mpfr_set_zero(mpc_imagref(v), 1);
}

const CRow kAdd{CArity::Binary, add}, kSub{CArity::Binary, sub}, kMul{CArity::Binary, mul},
    kMulByConj{CArity::Binary, mul_by_conj}, kDiv{CArity::Binary, div}, kConj{CArity::Unary, conj},
    kSqrt{CArity::Unary, sqrt}, kAbs{CArity::Real, abs}, kArg{CArity::Real, arg};

Registrar reg({
    ZEV_CROW("zAdd", kAdd), ZEV_CROW("zSub", kSub), ZEV_CROW("zMul", kMul), ZEV_CROW("zMulByConj", kMulByConj),
    ZEV_CROW("zDiv", kDiv), ZEV_CROW("zConj", kConj), ZEV_CROW("zAbs", kAbs), ZEV_CROW("zSqrt", kSqrt),
    ZEV_CROW("cAdd", kAdd), ZEV_CROW("cSub", kSub), ZEV_CROW("cMul", kMul), ZEV_CROW("cMulByConj", kMulByConj),
    ZEV_CROW("cDiv", kDiv), ZEV_CROW("cConj", kConj), ZEV_CROW("cAbs", kAbs), ZEV_CROW("cSqrt", kSqrt),
    ZEV_CROW("cArg", kArg),
});

}  // namespace
}  // namespace zev::ulp
