/* The threading table: how a caller lends its threads to the statistics and
   data-fitting compute entries. The module never creates a thread of its own;
   every parallel section runs through the five slots of this record.

   Slots, in order:
     parallel_for     runs body(index, thread, thread_count, context) once for
                      every index below count, on at most thread_count threads
     parallel_tasks   runs body(task, thread, thread_count, context) once for
                      every task below task_count; tasks may differ widely in
                      size, so they are handed out one at a time
     parallel_region  runs body(thread, reserved, thread_count, context) once on
                      each of thread_count threads (thread = 0 .. thread_count-1);
                      reserved is null
     reserved         not called; keep it null
     max_threads      the most threads a computation may use (at least 1)

   Every call returns only when all bodies have finished. A body reports failure
   through a status field of its context, which the caller reads afterwards.
   A serial table that simply loops satisfies every compute entry. */
#ifndef ZEV_THREADING_H
#define ZEV_THREADING_H

#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

typedef void (*zev_parallel_for_body)(int64_t index, int thread, int thread_count, void* context);
typedef void (*zev_parallel_task_body)(int64_t task, int thread, int thread_count, void* context);
typedef void (*zev_parallel_region_body)(int thread, void* reserved, int thread_count,
                                         void* context);

typedef struct zev_threading {
  void (*parallel_for)(int64_t count, int thread_count, void* context,
                       zev_parallel_for_body body);
  void (*parallel_tasks)(int64_t task_count, int thread_count, void* context,
                         zev_parallel_task_body body);
  void (*parallel_region)(int thread_count, void* context, zev_parallel_region_body body);
  void* reserved;
  int (*max_threads)(void);
} zev_threading;

/* Ready tables, from the small library zev_threading (not from the module). */

/* Runs everything on the calling thread; max_threads answers 1. */
ZEV_API const zev_threading* zev_threading_serial(void);

/* Runs on a process-wide pool of worker threads; the calling thread takes part
   as thread 0. The pool starts at first use with zev_threading_pool_set_size's
   value, or with the processor count when that was never called. Parallel
   sections from different caller threads take turns; a parallel section
   started from inside a body runs serially on that thread. */
ZEV_API const zev_threading* zev_threading_pool(void);

/* Sets the number of threads (caller included) of the pool; values below 1
   mean the processor count. A running pool is stopped and restarted at its
   next use. Returns the size now in force. Must not be called while a
   parallel section runs. */
ZEV_API int zev_threading_pool_set_size(int threads);

/* Stops the pool's workers; the next use starts them again. */
ZEV_API void zev_threading_pool_shutdown(void);

ZEV_EXTERN_C_END

#endif
