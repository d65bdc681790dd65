/* Worker pool: runs a kernel over bands of whole target rows on a fixed set of
 * threads, fed from a FIFO job queue. The caller waits on a busy_counter latch.
 *
 * Ownership: the pool belongs to whoever called interp_workers_init and is
 * freed by interp_workers_destroy; each job is allocated when queued and freed
 * by the worker that ran it. Lock order: the pool's lock before a latch's. */
#ifndef ORTAVEL_WORKERS_INTERP_WORKERS_H
#define ORTAVEL_WORKERS_INTERP_WORKERS_H

#include <pthread.h>
#include <stdint.h>

#include "ortavel_export.h"
#include "resample/interp.h"
#include "workers/busy_counter.h"
#include "workers/pool_sync.h"

ORTAVEL_BEGIN_C

/* One queued band of rows. The records are private copies, adjusted to the band. */
typedef struct interp_job {
  interp_source source;
  interp_target target;
  const interp_method *method;
  interp_transform_fn arg1; /* passed to the kernel unchanged */
  const void *arg2;         /* passed to the kernel unchanged */
  busy_counter *counter;    /* entered when queued, left when done */
  struct interp_job *next;
} interp_job;

typedef struct interp_workers {
  int32_t thread_count; /* threads started */
  pthread_t *threads;   /* sized for the count asked for */
  pool_mutex lock;      /* guards head, tail and quit */
  pool_cond wake;       /* queue became non-empty, or shutdown */
  interp_job *head;
  interp_job *tail;
  int32_t quit;
} interp_workers;

/* Processor count, 0 when the system cannot tell. */
ORTAVEL_API int32_t GetNumProcessors(void);

/* Starts up to n threads; null when fewer than min could be started. */
ORTAVEL_API interp_workers *interp_workers_init(int32_t n, int32_t min);

/* Queues bands of chunk rows and returns at once; counter is entered per band. */
ORTAVEL_API int32_t interp_workers_run_async(interp_workers *pool, int32_t chunk,
                                             const interp_source *source,
                                             const interp_target *target,
                                             const interp_method *method, interp_transform_fn arg1,
                                             const void *arg2, busy_counter *counter);

/* Queues bands of chunk rows and returns when all of them are done. */
ORTAVEL_API int32_t interp_workers_run(interp_workers *pool, int32_t chunk,
                                       const interp_source *source, const interp_target *target,
                                       const interp_method *method, interp_transform_fn arg1,
                                       const void *arg2);

/* Runs what is still queued, joins the threads and frees the pool (not null). */
ORTAVEL_API void interp_workers_destroy(interp_workers *pool);

ORTAVEL_END_C

#endif
