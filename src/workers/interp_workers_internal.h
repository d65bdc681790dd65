/* Pool start-up with a replaceable thread creator, so that a system which
 * refuses threads can be imitated. Not part of the exported interface. */
#ifndef ORTAVEL_WORKERS_INTERP_WORKERS_INTERNAL_H
#define ORTAVEL_WORKERS_INTERP_WORKERS_INTERNAL_H

#include <pthread.h>

#include "workers/interp_workers.h"

ORTAVEL_BEGIN_C

/* Same contract as pthread_create with default attributes (0 on success),
 * plus a context pointer of the caller's. */
typedef int (*interp_thread_create_fn)(pthread_t *thread, void *(*start)(void *), void *arg,
                                       void *context);

/* interp_workers_init, creating each thread through create(…, context). */
interp_workers *interp_workers_init_with(int32_t n, int32_t min, interp_thread_create_fn create,
                                         void *context);

ORTAVEL_END_C

#endif
