// The scalar functions of the complex circular and hyperbolic rows: one
// element, every input, in double. The single rows call them on widened parts.
#pragma once

namespace zev::vk::ctrig {

enum class Fn { Sinh, Cosh, Sin, Cos, Tanh, Tan };

// F of x + iy into re + i im; returns the status (0, 1 or 3).
int full(Fn f, double x, double y, double& re, double& im);

template <Fn F>
inline int full(double x, double y, double& re, double& im) {
  return full(F, x, y, re, im);
}

}  // namespace zev::vk::ctrig
