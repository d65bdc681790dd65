/* Processor count for sizing the worker pool, on Windows: the processors of
 * the process's affinity mask (a host or `start /affinity` may narrow it);
 * when the process spans several processor groups, where that mask cannot
 * say, every logical processor of every group. */
#include <windows.h>

#include "workers/interp_workers.h"

int32_t GetNumProcessors(void) {
  DWORD_PTR process_mask = 0, system_mask = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &process_mask, &system_mask) &&
      process_mask != 0) {
    int32_t count = 0;
    for (; process_mask != 0; process_mask &= process_mask - 1) {
      ++count;
    }
    return count;
  }
  const DWORD count = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
  if (count == 0) {
    return 0;
  }
  return count > INT32_MAX ? INT32_MAX : (int32_t)count;
}
