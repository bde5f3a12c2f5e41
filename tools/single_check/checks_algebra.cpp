// Exhaustive check rows of the algebra family.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

double ref_inv(double x) { return 1.0 / x; }
double ref_sqrt(double x) { return std::sqrt(x); }
double ref_invsqrt(double x) { return 1.0 / std::sqrt(x); }  // 1/sqrt(-0) = -inf

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sInv, ref_inv, false, 1, Class::Exact),
    ZEV_CHECK(sSqrt, ref_sqrt, false, -1, Class::Exact),
    ZEV_CHECK(sInvSqrt, ref_invsqrt, false, -1, Class::Exact),
};

}  // namespace
