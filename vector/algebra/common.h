// What the algebraic kernels share with the remainder family: constant
// vectors, the range tests of special lanes, and lane statuses from IEEE
// exceptions (vector/common/), with the kernel shape.
#pragma once

#include "vector/common/consts.h"
#include "vector/common/level.h"
#include "vector/common/range.h"
#include "vector/common/nan_status.h"
#include "vector/shape.h"
#include "vector/vops.h"
