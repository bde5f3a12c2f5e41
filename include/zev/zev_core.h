/* libzev_core: the services the module is built on. */
#ifndef ZEV_CORE_H
#define ZEV_CORE_H

#include <stddef.h>
#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

/* Memory. alignment must be a power of two; 0 means the platform default.
   Returns null on failure or when size is 0. */
ZEV_API void* zev_serv_allocate(size_t size, int alignment);
ZEV_API void  zev_serv_deallocate(void* p);

/* Bounded copy: copies count bytes when count <= dest_size and neither
   pointer is null. Returns 0 on success; 22 (bad pointer or overlap) or
   34 (count larger than dest_size) otherwise, and then dest is zero-filled
   when it is not null. */
ZEV_API int zev_serv_memcpy_s(void* dest, size_t dest_size, const void* src, size_t count);

/* Non-zero when the processor runs every instruction set the module uses
   (SSE2 with the CPUID leaves the generators read). */
ZEV_API int zev_serv_cpuisicx(void);

/* Spin lock on a caller-owned lock word that starts at 0. */
ZEV_API void zev_serv_lock(volatile int* lock);
ZEV_API void zev_serv_unlock(volatile int* lock);

/* Copies the value of environment variable name into buffer (zero-terminated,
   cut to size - 1 bytes). Returns the length of the value, or 0 when the
   variable is absent and -1 when an argument is null. */
ZEV_API int zev_serv_getenv(const char* name, char* buffer, int size);

/* Prints numbered message id of the catalogue to standard error at a level
   (0 information, 1 error). The arguments follow in the order and types that
   the catalogue gives for the id; argument_count says how many were passed. */
ZEV_API void zev_serv_print(int level, int message_id, int argument_count, ...);

/* Text of a numbered message (its format with placeholders), or null. */
ZEV_API const char* zev_serv_message(int message_id);

/* Ends the process with status. */
ZEV_API void zev_serv_exit(int status);

ZEV_EXTERN_C_END

#endif
