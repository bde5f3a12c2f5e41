// Exhaustive check rows of the complex circular family: the parts of CIS of a
// single x, one kernel for every level.
#include <cmath>
#include <vector>

#include "tools/single_check/single_check.h"

namespace {

using zev::single_check::Class;

// One part of CIS (0 the cosine, 1 the sine); the scratch is the thread's own.
template <int Which>
void part_of_cis(int n, const float* a, float* r) {
  thread_local std::vector<zev_complex8> z;
  z.resize(static_cast<size_t>(n));
  _vqmcCIS(n, a, z.data());
  for (int i = 0; i < n; ++i) r[i] = Which == 0 ? z[i].re : z[i].im;
}

const zev::single_check::Registrar kRows{
    {"cCIS.cos", zev::row::cCIS, ::cos, {part_of_cis<0>, part_of_cis<0>, part_of_cis<0>}, true, 0, Class::Exact},
    {"cCIS.sin", zev::row::cCIS, ::sin, {part_of_cis<1>, part_of_cis<1>, part_of_cis<1>}, true, 1, Class::Exact},
};

}  // namespace
