/* Distribution generators: uniform and bit generators, and the continuous and
   discrete distributions drawn from a stream by inverse transform.

   Every generator takes (method, stream, n, r, parameters...) and returns 0 or
   the negative status of the stream's basic generator (ZEV_VQS_ERR_* in
   zev_vqs.h). Bit 0x40000000 of method is the accurate flag; the low values
   select the algorithm. Arguments are not validated: each distribution's
   parameter domain is written beside it, and outside it a generator still
   ends, writes only r[0..n) and allocates nothing, but its values are only
   what the note beside it says. n of zero or below writes nothing (except
   where the uniform generators pass n straight to the basic generator).
   docs/distributions.md tells the algorithms and how many uniforms each
   method consumes. */
#ifndef ZEV_VQS_DIST_H
#define ZEV_VQS_DIST_H

#include <stdint.h>
#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

/* Accurate flag of the method argument. */
#define ZEV_RNG_METHOD_ACCURATE 0x40000000

/* ---- Uniform and bit generators --------------------------------------- */
#define ZEV_RNG_UNIFORM_STD          0
#define ZEV_RNG_UNIFORM_STD_ACCURATE ZEV_RNG_METHOD_ACCURATE

/* Values a + (b - a) u. Without the accurate flag a value can round onto or
   past an end; with it every value lies in [min(a,b) .. max(a,b)] when a <= b. */
ZEV_API int _vqssRngUniform(int method, void* stream, int n, float* r, float a, float b);
ZEV_API int _vqsdRngUniform(int method, void* stream, int n, double* r, double a, double b);
/* Integers from a up to below b, as the floor of a double uniform on [a, b).
   method is not read. */
ZEV_API int _vqsiRngUniform(int method, void* stream, int n, int32_t* r, int32_t a, int32_t b);
/* n words of the generator's own width (4, 8 or 16 bytes each). */
ZEV_API int _vqsiRngUniformBits(int method, void* stream, int n, unsigned int* r);
/* n 32-bit or 64-bit words; ZEV_VQS_ERR_BIT_WIDTH (-1014), with the stream
   untouched, where the generator cannot supply them (MCG31M1, R250,
   MRG32K3A, WH, Sobol, Niederr, the abstract streams, registered generators). */
ZEV_API int _vqsiRngUniformBits32(int method, void* stream, int n, unsigned int* r);
ZEV_API int _vqsiRngUniformBits64(int method, void* stream, int n, unsigned long long* r);

/* ---- Continuous distributions, inverse transform ----------------------- */
/* Method 0 (ICDF): the fast form. Method ICDF | ZEV_RNG_METHOD_ACCURATE: the
   same variates computed without the cancellation of 1 - u near its ends.
   Both consume one uniform per variate. Parameters follow scipy.stats:
   loc shifts, scale stretches. Domain: scale > 0, finite loc and scale. */
#define ZEV_RNG_EXPONENTIAL_ICDF 0
#define ZEV_RNG_LAPLACE_ICDF     0
#define ZEV_RNG_WEIBULL_ICDF     0
#define ZEV_RNG_CAUCHY_ICDF      0
#define ZEV_RNG_RAYLEIGH_ICDF    0
#define ZEV_RNG_GUMBEL_ICDF      0

/* Exponential: loc - scale ln(1 - u). Values >= loc. */
ZEV_API int _vqssRngExponential(int method, void* stream, int n, float* r, float loc, float scale);
ZEV_API int _vqsdRngExponential(int method, void* stream, int n, double* r, double loc, double scale);
/* Laplace: density exp(-|x - loc| / scale) / (2 scale). */
ZEV_API int _vqssRngLaplace(int method, void* stream, int n, float* r, float loc, float scale);
ZEV_API int _vqsdRngLaplace(int method, void* stream, int n, double* r, double loc, double scale);
/* Weibull (scipy.stats.weibull_min): loc + scale (-ln(1 - u))^(1/c).
   Domain: c > 0 finite as well. Outside it (c <= 0, c NaN or infinite) every
   value is NaN and the stream does not move. Method 0 goes through exp(ln(E)/c)
   and can lose |ln E| / c ulps; the accurate form uses a correctly scaled power. */
ZEV_API int _vqssRngWeibull(int method, void* stream, int n, float* r, float c, float loc, float scale);
ZEV_API int _vqsdRngWeibull(int method, void* stream, int n, double* r, double c, double loc, double scale);
/* Cauchy: loc + scale tan(pi (u - 1/2)). One method; the accurate flag is
   accepted and changes nothing (the argument is exact and the tangent is
   taken with its reflection, so there is nothing to lose). */
ZEV_API int _vqssRngCauchy(int method, void* stream, int n, float* r, float loc, float scale);
ZEV_API int _vqsdRngCauchy(int method, void* stream, int n, double* r, double loc, double scale);
/* Rayleigh: loc + scale sqrt(-2 ln(1 - u)). */
ZEV_API int _vqssRngRayleigh(int method, void* stream, int n, float* r, float loc, float scale);
ZEV_API int _vqsdRngRayleigh(int method, void* stream, int n, double* r, double loc, double scale);
/* Gumbel of the maximum (scipy.stats.gumbel_r): loc - scale ln(-ln(u)). */
ZEV_API int _vqssRngGumbel(int method, void* stream, int n, float* r, float loc, float scale);
ZEV_API int _vqsdRngGumbel(int method, void* stream, int n, double* r, double loc, double scale);

/* ---- Discrete distributions ------------------------------------------- */
#define ZEV_RNG_BERNOULLI_ICDF 0
#define ZEV_RNG_GEOMETRIC_ICDF 0

/* Bernoulli: 1 with probability p, else 0. Domain: 0 <= p <= 1. Below it
   every value is 0, above it 1, and a NaN p gives 0. One uniform a value. */
ZEV_API int _vqsiRngBernoulli(int method, void* stream, int n, int32_t* r, double p);
/* Geometric (scipy.stats.geom): trials up to the first success, 1, 2, ...
   Domain: 0 < p <= 1. Values saturate at 2147483647 (p below about 1e-8 can
   reach it). Outside the domain (p <= 0, p > 1 or NaN) every value is
   2147483647 and the stream does not move. One uniform a value. */
ZEV_API int _vqsiRngGeometric(int method, void* stream, int n, int32_t* r, double p);

ZEV_EXTERN_C_END

#endif
