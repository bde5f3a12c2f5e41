// Interpolant kinds and polynomial evaluation shared by interpolation and integration.
#pragma once

#include "fitting/df_search.h"

namespace zev::df {

// How an interpolant is evaluated. The order matters: the polynomial kinds
// come first (up to kBreakQuadratic), the step and look-up kinds last (from
// kStepLeft).
enum Kind : int {
  kLinearPoly = 0,      // pieces of degree 1
  kQuadraticPoly = 1,   // pieces of degree 2 on the knots
  kCubicPoly = 2,       // pieces of degree 3
  kBreakQuadratic = 3,  // degree 2 with break points apart from the knots
  kCallerOnly = 4,      // no coefficients: caller functions only
  kStepLeft = 5,        // ZEV_DF_CL_STEPWISE_CONST_INTERPOLANT: y[i+1] on (x[i], x[i+1]]
  kStepRight = 6,       // ZEV_DF_CR_STEPWISE_CONST_INTERPOLANT: y[i] on [x[i], x[i+1])
  kLookup = 7,          // ZEV_DF_LOOKUP_INTERPOLANT: a value only at a knot
};

// The kind of a task's spline_order and spline_type, or
// ZEV_DF_ERROR_BAD_SPLINE_TYPE.
inline int interpolant_kind(int64_t order, int64_t type) {
  if (order == 0) {
    if (type == ZEV_DF_CL_STEPWISE_CONST_INTERPOLANT) return kStepLeft;
    if (type == ZEV_DF_CR_STEPWISE_CONST_INTERPOLANT) return kStepRight;
    if (type == ZEV_DF_LOOKUP_INTERPOLANT) return kLookup;
    return kCallerOnly;
  }
  if (order == ZEV_DF_PP_LINEAR) return kLinearPoly;
  if (order == ZEV_DF_PP_QUADRATIC) {
    if (type == ZEV_DF_PP_DEFAULT) return kQuadraticPoly;
    if (type == ZEV_DF_PP_SUBBOTIN) return kBreakQuadratic;
    return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  }
  if (order == ZEV_DF_PP_CUBIC) {
    if (type == ZEV_DF_PP_DEFAULT || type == ZEV_DF_PP_NATURAL || type == ZEV_DF_PP_HERMITE ||
        type == ZEV_DF_PP_BESSEL || type == ZEV_DF_PP_AKIMA || type == ZEV_DF_PP_HYMAN)
      return kCubicPoly;
    return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  }
  if (order < ZEV_DF_PP_LINEAR) return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  return kCallerOnly;
}

// Piece of a cell: the nearest real piece, so that sites outside the knots
// take the polynomial of the end piece.
inline int64_t piece_of(int64_t cell, int64_t nx) {
  int64_t p = cell - 1;
  if (p < 0) p = 0;
  if (p > nx - 2) p = nx - 2;
  return p;
}

}  // namespace zev::df
