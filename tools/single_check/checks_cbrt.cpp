// Exhaustive check rows of the cube-root family.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

double ref_invcbrt(double x) { return 1.0 / std::cbrt(x); }
double ref_pow2o3(double x) { return std::cbrt(x * x); }  // x x is exact for a single x
double ref_pow3o2(double x) { return std::pow(x, 1.5); }

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sCbrt, ::cbrt, false, 1, Class::Exact),
    ZEV_CHECK(sInvCbrt, ref_invcbrt, false, 1, Class::Exact),
    ZEV_CHECK(sPow2o3, ref_pow2o3, false, 0, Class::Exact),
    ZEV_CHECK(sPow3o2, ref_pow3o2, false, -1, Class::Exact),
};

}  // namespace
