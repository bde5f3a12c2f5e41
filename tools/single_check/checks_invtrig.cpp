// Exhaustive check rows of the inverse circular functions.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

double ref_asinpi(double x) { return std::asin(x) / M_PI; }
double ref_acospi(double x) { return std::acos(x) / M_PI; }
double ref_atanpi(double x) { return std::atan(x) / M_PI; }

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sAsin, ::asin, false, 1, Class::Exact),
    ZEV_CHECK(sAcos, ::acos, false, -1, Class::Exact),
    ZEV_CHECK(sAtan, ::atan, false, 1, Class::Exact),
    ZEV_CHECK(sAsinpi, ref_asinpi, false, 1, Class::Exact),
    ZEV_CHECK(sAcospi, ref_acospi, false, -1, Class::Exact),
    ZEV_CHECK(sAtanpi, ref_atanpi, false, 1, Class::Exact),
};

}  // namespace
