// Exhaustive check rows of the exponential family.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

double ref_exp10(double x) { return exp10(x); }

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sExp, ::exp, false, -1, Class::Plain),
    ZEV_CHECK(sExp2, ::exp2, true, -1, Class::Plain),
    ZEV_CHECK(sExp10, ref_exp10, true, -1, Class::Plain),
    ZEV_CHECK(sExpm1, ::expm1, true, -1, Class::Plain),
};

}  // namespace
