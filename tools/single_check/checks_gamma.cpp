// Exhaustive check rows of the gamma family and the exponential integral.
#include <cmath>

#include "tools/gamma_tables/e1_double.h"
#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

double ref_lgamma(double x) { return ::lgamma(x); }
double ref_tgamma(double x) { return ::tgamma(x); }

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sLGamma, ref_lgamma, true, -1, Class::Zero),
    ZEV_CHECK(sTGamma, ref_tgamma, true, -1, Class::Plain),
    ZEV_CHECK(sExpInt1, zev::gammaref::e1_double, false, -1, Class::Plain),
};

}  // namespace
