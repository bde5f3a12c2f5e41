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

/* ---- Gaussian family --------------------------------------------------- */
/* Normal variates of mean a and standard deviation sigma (sigma > 0).
   Method 0: Box-Muller keeping one variate of each pair (two uniforms a
   variate). Method 1: Box-Muller giving both (one uniform a variate); an odd
   count leaves the raw pair of its last variate pending in a chunk of the
   stream (id 2 double, 1 single), so the sequence does not depend on how n is
   split across calls, and a saved stream carries it. Method 2: the inverse
   error function of one uniform on (-1, 1) a variate. The accurate flag must
   not be passed: any method outside 0..2 returns ZEV_VQS_ERR_BAD_ARG and
   writes nothing. The vector kernels are reached through the rows Sin, Cos,
   SinCos, Ln, Sqrt, ErfInv (double slot 2, single slot 0) with the caller's
   error mode, callback and exception masks set aside for the call. */
#define ZEV_RNG_GAUSSIAN_BOXMULLER  0
#define ZEV_RNG_GAUSSIAN_BOXMULLER2 1
#define ZEV_RNG_GAUSSIAN_ICDF       2
ZEV_API int _vqssRngGaussian(int method, void* stream, int n, float* r, float a, float sigma);
ZEV_API int _vqsdRngGaussian(int method, void* stream, int n, double* r, double a, double sigma);

/* n vectors of dimen components one after another in r: a + T z, z standard
   normal (drawn as n*dimen Gaussian variates by method). mstorage: FULL, t a
   dimen by dimen matrix in column-major order of which the upper triangle is
   used, transposed (in row-major terms: the lower-triangular Cholesky factor
   L of the covariance, r = a + L z); PACKED, the lower triangle packed column
   by column (r = a + L z with L column-major lower); DIAGONAL, dimen standard
   deviations. Any other mstorage leaves standard normal vectors. dimen 1
   ignores mstorage: mean a[0], sigma t[0]. */
#define ZEV_RNG_GAUSSIAN_MV_FULL     0
#define ZEV_RNG_GAUSSIAN_MV_PACKED   1
#define ZEV_RNG_GAUSSIAN_MV_DIAGONAL 2
ZEV_API int _vqssRngGaussianMV(int method, void* stream, int n, float* r, int dimen, int mstorage,
                               const float* a, const float* t);
ZEV_API int _vqsdRngGaussianMV(int method, void* stream, int n, double* r, int dimen, int mstorage,
                               const double* a, const double* t);

/* Lognormal: b + beta exp(N(a, sigma)). Method 0 draws the normals by
   Gaussian method 1, any other by method 2; with the accurate flag no value
   falls below b. Domain: sigma > 0, beta > 0. */
#define ZEV_RNG_LOGNORMAL_BOXMULLER2 0
#define ZEV_RNG_LOGNORMAL_ICDF       1
#define ZEV_RNG_LOGNORMAL_ICDF_ACCURATE (ZEV_RNG_LOGNORMAL_ICDF | ZEV_RNG_METHOD_ACCURATE)
ZEV_API int _vqssRngLognormal(int method, void* stream, int n, float* r, float a, float sigma,
                              float b, float beta);
ZEV_API int _vqsdRngLognormal(int method, void* stream, int n, double* r, double a, double sigma,
                              double b, double beta);

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

/* Exponential: loc - scale ln(1 - u). Values >= loc. Method 0 in double
   takes ln(1 - u) by a logarithm within 1.3 ulp of its rounded argument
   (exact for 32-bit generators; for finer lattices 1 - u rounds, an ulp of
   1 absolute near u = 0); the accurate form takes log1p(-u), within 0.65
   ulp, at full relative precision for every generator. */
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
/* Rayleigh: loc + scale sqrt(-2 ln(1 - u)), ln(1 - u) as for Exponential. */
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

/* ---- Gamma family and Beta: rejection ---------------------------------- */
/* Each attempt takes two uniforms (three where a shape is below 1); a call
   draws only the uniforms it uses, so one call of n gives what calls of n1
   and n - n1 give, but the number of uniforms a variate takes varies. The
   accurate flag is accepted and changes nothing. A shape outside its domain
   gives NaN everywhere and the stream does not move; loc and scale outside
   theirs give what the formula gives. */
#define ZEV_RNG_GAMMA_MARSAGLIA_TSANG 0  /* Marsaglia-Tsang; shape + 1 and U^(1/a) below 1 */
#define ZEV_RNG_CHISQUARE_GAMMA       0  /* Gamma(df/2, loc, 2 scale) */
#define ZEV_RNG_BETA_GAMMA_RATIO      0  /* X/(X+Y) of two gammas; Johnk when a, b < 1 */
/* The earlier names of method 0. */
#define ZEV_RNG_GAMMA_CHENG_AHRENS ZEV_RNG_GAMMA_MARSAGLIA_TSANG
#define ZEV_RNG_BETA_CHENG         ZEV_RNG_BETA_GAMMA_RATIO

/* Gamma (scipy.stats.gamma): parameters a, loc, scale; density of
   x = (value - loc)/scale proportional to x^(a-1) e^-x. Domain: a > 0
   finite, finite loc, finite scale > 0. */
ZEV_API int _vqssRngGamma(int method, void* stream, int n, float* r, float a, float loc, float scale);
ZEV_API int _vqsdRngGamma(int method, void* stream, int n, double* r, double a, double loc, double scale);
/* ChiSquare (scipy.stats.chi2): parameters df, loc, scale. Domain: df > 0
   finite, finite loc, finite scale > 0. */
ZEV_API int _vqssRngChiSquare(int method, void* stream, int n, float* r, float df, float loc, float scale);
ZEV_API int _vqsdRngChiSquare(int method, void* stream, int n, double* r, double df, double loc, double scale);
/* Beta (scipy.stats.beta): parameters a, b, loc, scale; density of
   x = (value - loc)/scale proportional to x^(a-1) (1-x)^(b-1) on [0, 1].
   Domain: a > 0 and b > 0 finite, finite loc, finite scale > 0. */
ZEV_API int _vqssRngBeta(int method, void* stream, int n, float* r, float a, float b, float loc, float scale);
ZEV_API int _vqsdRngBeta(int method, void* stream, int n, double* r, double a, double b, double loc, double scale);

/* ---- Poisson, binomial, hypergeometric, multinomial, negative binomial -- */
/* Method 0 is the rejection method named (two uniforms an attempt) where the
   distribution is wide, and inversion by a table below the threshold given;
   method _INV is inversion by a table of the distribution function for every
   parameter: one uniform a variate, and values that grow with u. Every
   method draws only the uniforms it uses, so one call of n gives what calls
   of n1 and n - n1 give (Negbinomial apart). Outside a domain every value is
   2147483647 and the stream does not move; values saturate at 2147483647.
   Method values other than those below act as 0; the accurate flag changes
   nothing. */
#define ZEV_RNG_POISSON_PTRS         0  /* PTRS where the table spans over 512 integers, inversion below */
#define ZEV_RNG_POISSON_INV          1
#define ZEV_RNG_POISSONV_PTRS        0  /* per variate: PTRS for mu >= 10, inversion below */
#define ZEV_RNG_BINOMIAL_BTRS        0  /* BTRS for ntrial min(p, 1-p) >= 10 where the table spans over 512 integers, inversion below */
#define ZEV_RNG_BINOMIAL_INV         1
#define ZEV_RNG_HYPERGEOMETRIC_HRUA  0  /* ratio of uniforms for 10 <= draws <= population - 10 where the table spans over 512 integers */
#define ZEV_RNG_HYPERGEOMETRIC_INV   1
#define ZEV_RNG_MULTINOMIAL_BINOMIAL 0  /* conditional binomials */
#define ZEV_RNG_NEGBINOMIAL_MIXTURE  0  /* Poisson of a Gamma mean */

/* Poisson (scipy.stats.poisson): parameter mu. Domain: 0 <= mu <= 2^30. */
ZEV_API int _vqsiRngPoisson(int method, void* stream, int n, int32_t* r, double mu);
/* Poisson with one mean a variate, mu[0..n). A mean outside the domain gives
   2147483647 for its variate and still takes one uniform. */
ZEV_API int _vqsiRngPoissonV(int method, void* stream, int n, int32_t* r, const double* mu);
/* Binomial (scipy.stats.binom): parameters ntrial, p. Domain: ntrial >= 0,
   0 <= p <= 1. */
ZEV_API int _vqsiRngBinomial(int method, void* stream, int n, int32_t* r, int32_t ntrial, double p);
/* Hypergeometric (scipy.stats.hypergeom(M, n, N)): parameters population
   (M), successes (n) in it, draws (N); the value is the number of successes
   drawn. Domain: 0 <= successes <= population, 0 <= draws <= population. */
ZEV_API int _vqsiRngHypergeometric(int method, void* stream, int n, int32_t* r, int32_t population,
                                   int32_t successes, int32_t draws);
/* Multinomial (scipy.stats.multinomial): parameters ntrial, k, p[0..k). Each
   variate is k counts summing to ntrial, written to r[i k .. i k + k); r
   holds n k values. Returns ZEV_VQS_ERR_MULTINOMIAL_PARAM (-1150), drawing
   nothing, when ntrial < 0, k < 1, p is null, a p[j] is not in [0, 1], or
   the sum of p differs from 1 by more than 1e-9. Takes k - 1 binomial draws
   a variate (each at least one uniform). */
ZEV_API int _vqsiRngMultinomial(int method, void* stream, int n, int32_t* r, int32_t ntrial, int32_t k,
                                const double* p);
/* Negative binomial (scipy.stats.nbinom): parameters a (n there, real), p;
   the number of failures before the a-th success. Domain: a > 0 finite,
   0 < p <= 1. Draws in blocks of 1024 (Gamma means, then their Poisson
   draws), so calls of n1 and n - n1 give what one call gives only when n1
   is a multiple of 1024. */
ZEV_API int _vqsiRngNegbinomial(int method, void* stream, int n, int32_t* r, double a, double p);

ZEV_EXTERN_C_END

#endif
