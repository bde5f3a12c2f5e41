// Exhaustive check rows of the logarithm family.
#include <cmath>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

double ref_ln(double x) { return std::log(x); }
double ref_log2(double x) { return std::log2(x); }
double ref_log10(double x) { return std::log10(x); }
double ref_log1p(double x) { return std::log1p(x); }

const zev::single_check::Registrar kRows{
    ZEV_CHECK(sLn, ref_ln, false, -1, Class::Zero),
    ZEV_CHECK(sLog2, ref_log2, false, -1, Class::Zero),
    ZEV_CHECK(sLog10, ref_log10, false, -1, Class::Zero),
    ZEV_CHECK(sLog1p, ref_log1p, true, -1, Class::Zero),
};

}  // namespace
