/* Counting latch: callers wait until every job they queued has left it.
 *
 * busy_counter_wait returns holding the latch's lock, on every path; the caller
 * lets go of it with busy_counter_release. */
#ifndef ORTAVEL_WORKERS_BUSY_COUNTER_H
#define ORTAVEL_WORKERS_BUSY_COUNTER_H

#include <stdint.h>
#include "workers/pool_sync.h"

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

typedef struct busy_counter {
  pool_mutex lock; /* guards count */
  pool_cond zero;  /* broadcast when count falls to 0 */
  uint32_t count;  /* jobs queued and not yet finished */
} busy_counter;

ORTAVEL_API void busy_counter_init(busy_counter *c);
ORTAVEL_API void busy_counter_enter(busy_counter *c);
ORTAVEL_API void busy_counter_leave(busy_counter *c);
ORTAVEL_API void busy_counter_wait(busy_counter *c);
ORTAVEL_API void busy_counter_release(busy_counter *c);
ORTAVEL_API void busy_counter_destroy(busy_counter *c);

ORTAVEL_END_C

#endif
