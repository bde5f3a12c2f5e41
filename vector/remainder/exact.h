// Exact remainders of doubles by integer long division, for the lanes the
// vector paths of Fmod and Remainder leave out (large quotients, zeros,
// infinities, NaN). Single-precision lanes use them on their values widened
// to double: the exact remainder of two singles is a single.
#pragma once

namespace zev::vk::rem {

// |x| mod |y| for finite x and finite non-zero y, exact, with the sign of x.
double fmod_exact(double x, double y);
// x - n*y with n the integer nearest x/y (ties to even), exact; finite x,
// finite non-zero y.
double remainder_exact(double x, double y);

}  // namespace zev::vk::rem
