// Interpolant kinds and polynomial evaluation shared by interpolation and integration.
#pragma once

#include "fitting/df_search.h"

namespace zev::df {

// Interpolant kind from spline_order and spline_type: 0 linear, 1 quadratic,
// 2 cubic, 3 quadratic with break points apart from the knots, 4 caller
// functions only, 5/6/7 the step and look-up interpolants of types 8/7/6;
// or ZEV_DF_ERROR_BAD_SPLINE_TYPE.
inline int interpolant_kind(int64_t order, int64_t type) {
  if (order == 0) {
    if (type == 8) return 5;
    if (type == 7) return 6;
    if (type == 6) return 7;
    return 4;
  }
  if (order == 2) return 0;
  if (order == 3) {
    if (type == 0) return 1;
    if (type == 1) return 3;
    return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  }
  if (order == 4) {
    if (type == 0 || type == 2 || type == 3 || type == 4 || type == 5 || type == 9) return 2;
    return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  }
  if (order < 2) return ZEV_DF_ERROR_BAD_SPLINE_TYPE;
  return 4;
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
