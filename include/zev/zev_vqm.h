/* Vector math: mode word, error state, error callback, function rows and
   every accuracy entry of the module. */
#ifndef ZEV_VQM_H
#define ZEV_VQM_H

#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

/* Accuracy levels: the mode word's low field. */
#define VQM_LA 0x1u
#define VQM_HA 0x2u
#define VQM_EP 0x3u
/* Precision field (kept, never read by the module). */
#define VQM_DEFAULT_PRECISION 0x00u
#define VQM_FLOAT_CONSISTENT  0x10u
#define VQM_DOUBLE_CONSISTEN  0x20u
#define VQM_RESTORE           0x30u
/* Error mode bits. */
#define VQM_ERRMODE_IGNORE   0x100u
#define VQM_ERRMODE_ERRNO    0x200u
#define VQM_ERRMODE_STDERR   0x400u
#define VQM_ERRMODE_EXCEPT   0x800u
#define VQM_ERRMODE_CALLBACK 0x1000u
#define VQM_ERRMODE_NOERR    0x2000u
#define VQM_ERRMODE_DEFAULT  0x1A00u
/* Denormal control: only the exact value VQM_FTZDAZ_ON flushes. */
#define VQM_FTZDAZ_ON  0x280000u
#define VQM_FTZDAZ_OFF 0x140000u
/* Trap bits. */
#define VQM_TRAP_INVALID   0x1000000u
#define VQM_TRAP_DIVBYZERO 0x2000000u
#define VQM_TRAP_OVERFLOW  0x4000000u
#define VQM_TRAP_UNDERFLOW 0x8000000u

/* Status codes. */
#define VQM_STATUS_BAD_ACCESS   (-2)
#define VQM_STATUS_BAD_ARGUMENT (-1)
#define VQM_STATUS_OK           0
#define VQM_STATUS_DOMAIN       1
#define VQM_STATUS_SINGULARITY  2
#define VQM_STATUS_OVERFLOW     3
#define VQM_STATUS_UNDERFLOW    4

/* The error record handed to the callback: 144 bytes, no pointers. */
typedef struct {
  int32_t status;
  int32_t index;
  double a1, a2, r1, r2;
  char name[64];
  int32_t name_length;
  int32_t padding;
  double a1_im, a2_im, r1_im, r2_im;
} zev_vqm_error_record;

typedef int (*zev_vqm_error_callback)(zev_vqm_error_record* record);

/* A function row: the kernels of levels LA, HA, EP, then their costs. */
typedef struct {
  void (*slot[3])(void);
  float cost[3];
} zev_vqm_row;

ZEV_API int dll_cpu_version(void);
ZEV_API int zev_vqm_kernel_GetTTableIndex(void);
ZEV_API int zev_vqm_kernel_GetTTableIndexM(int first, int mode);

#define ZEV_VQM_BOTH_NAMES(ret, op, args)  \
  ZEV_API ret zev_vqm_kernel_##op args;    \
  ZEV_API ret _vqm##op args;
ZEV_VQM_BOTH_NAMES(unsigned, GetMode, (void))
ZEV_VQM_BOTH_NAMES(unsigned, SetMode, (unsigned mode))
ZEV_VQM_BOTH_NAMES(int, GetErrStatus, (void))
ZEV_VQM_BOTH_NAMES(int, SetErrStatus, (int status))
ZEV_VQM_BOTH_NAMES(int, ClearErrStatus, (void))
ZEV_VQM_BOTH_NAMES(zev_vqm_error_callback, GetErrorCallBack, (void))
ZEV_VQM_BOTH_NAMES(zev_vqm_error_callback, SetErrorCallBack, (zev_vqm_error_callback cb))
ZEV_VQM_BOTH_NAMES(zev_vqm_error_callback, ClearErrorCallBack, (void))
ZEV_VQM_BOTH_NAMES(void*, SetInterfInputVectorPointer, (void* p))
#undef ZEV_VQM_BOTH_NAMES

ZEV_EXTERN_C_END

/* Every accuracy entry and table export, made from the row list. */
#include "zev/zev_vqm_functions.h"

#endif
