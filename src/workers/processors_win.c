/* Processor count for sizing the worker pool, on Windows: every logical
 * processor of every processor group, as the pool's threads may run on any. */
#include <windows.h>

#include "workers/interp_workers.h"

int32_t GetNumProcessors(void) {
  const DWORD count = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
  if (count == 0) {
    return 0;
  }
  return count > INT32_MAX ? INT32_MAX : (int32_t)count;
}
