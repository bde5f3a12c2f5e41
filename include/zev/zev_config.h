/* Common definitions of the public headers. */
#ifndef ZEV_CONFIG_H
#define ZEV_CONFIG_H

#include <stdint.h>

#if defined(__GNUC__)
#define ZEV_API __attribute__((visibility("default")))
#else
#define ZEV_API
#endif

#ifdef __cplusplus
#define ZEV_EXTERN_C_BEGIN extern "C" {
#define ZEV_EXTERN_C_END }
#else
#define ZEV_EXTERN_C_BEGIN
#define ZEV_EXTERN_C_END
#endif

/* Complex elements: real part first, no padding. */
typedef struct { float re, im; } zev_complex8;
typedef struct { double re, im; } zev_complex16;

#endif
