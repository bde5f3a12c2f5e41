// Tables of the hyperbolic kernels (made by tools/hyperbolic_tables).
#pragma once

namespace zev::vk::hyp {

// 0.5 * 2^(j/16) and 0.5 * 2^(-j/16), each as hi + lo: dSinh at HA.
struct SinhTable16 {
  double plusHi[16], plusLo[16], minusHi[16], minusLo[16];
};
extern const SinhTable16 sinhTable16;

// Rows {hi, lo of 0.5 * 2^(j/128), 0.5 * 2^(-j/128)}: dCosh, dSinh at LA and EP,
// and the single Sinh and Cosh.
extern const double coshTable128[128][3];

// Tanh's piecewise polynomial, 60 rows of 128 bytes: {c0Lo, c0Hi, c1 .. c10,
// negCentre, scale, 0, 0}; tanhTableLA is the LA and EP kernels' own copy.
enum TanhField { kC0Lo = 0, kC0Hi = 1, kC1 = 2, kNegCentre = 12, kScale = 13 };
extern const double tanhTable[60][16];
extern const double tanhTableLA[60][16];

}  // namespace zev::vk::hyp
