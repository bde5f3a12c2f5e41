// The measure of the complex rows, shared by every complex family's
// funcs_complex_<family>.cpp: a row registers with
//   ZEV_CROW("zExp", kExpRow)
// where kExpRow is a CRow (arity, MPC reference, optional extra points).
// Each part is measured in ulps of that part (judged at HA where the part is
// not below 2^-20 of |exact|, bound 2 ulp), and the normwise error
// |got - exact| / |exact| in ulps of |exact| (the level's bound; at EP its
// relative size, results below the normal range against the least normal).
#pragma once

#include <vector>

#include "tools/ulp/complex_ref.h"
#include "tools/ulp/ulp.h"

namespace zev::ulp {

enum class CArity {
  Unary,   // complex -> complex
  Binary,  // complex, complex -> complex
  Real,    // complex -> real (Abs, Arg)
  RealIn,  // real -> complex (CIS): only the point's ar is used
  Scalar,  // Powx: one complex b for the whole call
};

// One input point: a = ar + i ai, b = br + i bi.
struct CPoint {
  double ar, ai, br, bi;
};

struct CRow {
  CArity arity;
  CExactFn exact;
  // Points of the row's own (branch cuts, zeros, overflow thresholds), added
  // after the common special values and before the random points; values are
  // rounded to the row's precision by the caller.
  void (*extra)(std::vector<CPoint>& p, bool single) = nullptr;
  // Ties the parts of each random point together where parts drawn apart
  // would leave the row's domain of meaning (Pow: |w log z| bounded). With
  // keep_b (Powx, whose b is shared by a run of points) only a may change.
  void (*tie)(CPoint& q, Rng& g, bool single, bool keep_b) = nullptr;
};

std::vector<LevelResult> measure_complex(const FuncDesc& fd, const Options& opt, const Env& env);

}  // namespace zev::ulp

#define ZEV_CROW(name, crow) {.row = name, .measure = zev::ulp::measure_complex, .data = &(crow)}
