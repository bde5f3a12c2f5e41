// Exhaustive check rows of the hyperbolic functions and their inverses.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sSinh, ::sinh, false, 1, Class::Zero),
    ZEV_CHECK(sCosh, ::cosh, false, 0, Class::Plain),
    ZEV_CHECK(sTanh, ::tanh, false, 1, Class::Zero),
    ZEV_CHECK(sAsinh, ::asinh, false, 1, Class::Zero),
    ZEV_CHECK(sAcosh, ::acosh, false, -1, Class::Zero),
    ZEV_CHECK(sAtanh, ::atanh, false, 1, Class::Zero),
};

}  // namespace
