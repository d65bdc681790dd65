/* The worker pool on Windows: prints the processor count the system reports
 * and whether a pool of that many threads starts, for scripts/windows-test to
 * hold against the machine's own count. */
#include <stdio.h>

#include "workers/interp_workers.h"

int main(void) {
  const int32_t processors = GetNumProcessors();
  interp_workers *pool = interp_workers_init(processors, 2);
  const int32_t threads = pool != NULL ? pool->thread_count : 0;
  printf("processors %d pool threads %d\n", (int)processors, (int)threads);
  if (pool != NULL) {
    interp_workers_destroy(pool);
  }
  return processors >= 1 ? 0 : 1;
}
