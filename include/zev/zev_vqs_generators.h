/* The long-period, quasi-random and counter-based generators: MT19937,
   MT2203 (6024 members), SFMT19937, Sobol, Niederr, TRNG, ARS5 and
   PHILOX4X32X10, and the polynomial jump-ahead they use.
   Included at the end of zev_vqs.h. */
#ifndef ZEV_VQS_GENERATORS_H
#define ZEV_VQS_GENERATORS_H

#include <stdint.h>
#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

#define ZEV_VQS_DECLARE_BRNG2(Name)                                                  \
  ZEV_API int __vqsBRng##Name##InitStream(int op, void* stream, int n,               \
                                          const unsigned int* params);               \
  ZEV_API int __vqssBRng##Name(void* stream, int n, float* r, float a, float b);     \
  ZEV_API int __vqsdBRng##Name(void* stream, int n, double* r, double a, double b);  \
  ZEV_API int __vqsiBRng##Name(void* stream, int n, unsigned int* r);

ZEV_VQS_DECLARE_BRNG2(MT19937)
ZEV_VQS_DECLARE_BRNG2(MT2203)
ZEV_VQS_DECLARE_BRNG2(SFMT19937)
ZEV_VQS_DECLARE_BRNG2(Sobol)
ZEV_VQS_DECLARE_BRNG2(Niederr)
ZEV_VQS_DECLARE_BRNG2(TRNG)
ZEV_VQS_DECLARE_BRNG2(ARS5)
ZEV_VQS_DECLARE_BRNG2(PHILOX4X32X10)

/* Members of the MT2203 family (ids ZEV_BRNG_MT2203 + 0 .. + 6023). */
#define ZEV_MT2203_MEMBERS 6024
/* Highest dimensions of the quasi-random generators. */
#define ZEV_SOBOL_MAX_DIM 40
#define ZEV_NIEDERR_MAX_DIM 318
/* Seed words of the quasi-random generators: {dim}, or {dim,
   ZEV_QRNG_USER_PARAMS, form, data...} where form says what data holds. */
#define ZEV_QRNG_USER_PARAMS      1   /* seed word 1: a form and user data follow */
#define ZEV_QRNG_USER_POLYS       1   /* primitive polynomials, from dimension 2 */
#define ZEV_QRNG_USER_INITS       2   /* initial direction numbers, from dimension 2 */
#define ZEV_QRNG_USER_POLYS_INITS 3   /* both, from dimension 2 */
#define ZEV_QRNG_USER_DIRECTIONS  4   /* the whole table of 32 direction words per dimension */
#define ZEV_QRNG_USER_FROM_DIM1   8   /* with POLYS_INITS: the data start at dimension 1 */

/* Processor features: 1 when present, else 0. */
ZEV_API int __vqsCPUisRDRAND(void);
ZEV_API int __vqsCPUisAES(void);
ZEV_API int __vqsCPUisVAES(void);

/* ---- Polynomial jump-ahead over GF(2) ---------------------------------- */
/* x^count modulo the polynomial whose non-zero terms have the exponents in
   terms[0..nterms-1] (the leading term `degree` included). out receives
   2 * nwords 32-bit words, least significant coefficient first. Returns 0, or
   -4 when the work space can't be allocated. */
ZEV_API int __vqsPolyRem(uint64_t count, int degree, int nterms, const int* terms, int nwords,
                         uint32_t* out);

/* The six state functions of a jump. Work states are blocks of the jump's
   state size; the stream itself is a valid source for add and copy. */
typedef void (*zev_jump_clear_fn)(void* work);
typedef void (*zev_jump_add_fn)(void* work, const void* src);   /* work ^= src */
typedef void (*zev_jump_copy_fn)(void* dst, const void* src);   /* dst = src */
typedef void (*zev_jump_step_fn)(void* work);                   /* one step */
/* Writes the finished work state to the stream; count is the skip as asked. */
typedef void (*zev_jump_setback_fn)(void* stream, const void* work, uint64_t count);
/* Handles a skip that needs no polynomial (and then returns 0), or returns 1
   and sets *count to the power of the step that the polynomial must give.
   Changes the stream only when it returns 0. */
typedef int (*zev_jump_small_fn)(void* stream, uint64_t* count);

/* Horner evaluation of (x^count mod p)(step) at the stream's state. */
ZEV_API int __vqs_SkipAheadHorner(void* stream, zev_jump_clear_fn clear, zev_jump_add_fn add,
                                  zev_jump_copy_fn copy, zev_jump_step_fn step,
                                  zev_jump_setback_fn setback, zev_jump_small_fn small,
                                  uint32_t count_lo, uint32_t count_hi, int nwords, int degree,
                                  int state_size, int nterms, const int* terms);
/* The same by a sliding window of 7 coefficients. */
ZEV_API int __vqs_SkipAheadSWin(void* stream, zev_jump_clear_fn clear, zev_jump_add_fn add,
                                zev_jump_copy_fn copy, zev_jump_step_fn step,
                                zev_jump_setback_fn setback, zev_jump_small_fn small,
                                uint32_t count_lo, uint32_t count_hi, int nwords, int degree,
                                int state_size, int nterms, const int* terms);

ZEV_EXTERN_C_END

#endif
