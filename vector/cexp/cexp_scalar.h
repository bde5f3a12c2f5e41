// The scalar functions of the complex exponential, logarithms and powers: one
// element, every input, with C's Annex G values for infinite, NaN and zero
// parts. They alone report a status: 1 invalid, 2 a pole, 3 overflow of a
// finite input, 4 a result whose parts both fall below the normal range.
#pragma once

namespace zev::vk::cexp {

// exp(x + iy) rounded to R; the status.
template <class R>
int exp_full(R x, R y, R& re, R& im);

// exp((x + xl) + i(y + yl)) for finite x, y with low parts xl, yl, rounded to
// double, the status left to the caller.
void exp_finite(double x, double xl, double y, double yl, double& re, double& im);
// e^(x + xl) (c 2^ce + i s 2^se), the cosine and sine given as pairs
// {c, cl, s, sl} and exponents; x within [-20000, 20000], where it matters.
void exp_cis_pairs(double x, double xl, const double (&cs)[4], int ce, int se, double& re, double& im);
int exp_special(double x, double y, double& re, double& im);

// log(x + iy) as pairs re.hi + re.lo, im.hi + im.lo (every input; the pairs
// of infinite and NaN results have a zero low part); the status.
struct LnPairs {
  double rh, rl, ih, il;
};
int ln_full(double x, double y, LnPairs& p);

}  // namespace zev::vk::cexp
