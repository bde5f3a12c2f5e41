// Exhaustive check rows of the circular functions.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sSin, ::sin, false, 1, Class::Exact),
    ZEV_CHECK(sCos, ::cos, false, 0, Class::Exact),
    ZEV_CHECK(sTan, ::tan, false, 1, Class::Exact),
    {"sSinCos.sin", zev::row::sSinCos, ::sin, ZEV_CHECK_LEVELS2(sSinCos, 0), false, 1, Class::Exact},
    {"sSinCos.cos", zev::row::sSinCos, ::cos, ZEV_CHECK_LEVELS2(sSinCos, 1), false, 0, Class::Exact},
};

}  // namespace
