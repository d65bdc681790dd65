/* Processor count for sizing the worker pool: the processors this process may
 * run on, not every processor of the machine, so that a run under taskset, a
 * container or a batch scheduler's CPU quota starts no more threads than it
 * is given. */
#if defined(__linux__) && !defined(_GNU_SOURCE)
#define _GNU_SOURCE /* sched_getaffinity and the CPU_* macros */
#endif
#include <stddef.h>

#include "workers/interp_workers.h"

#if defined(__linux__)
#include <sched.h>
#include <unistd.h>

#include "workers/processor_quota.h"
#elif defined(__has_include)
#if __has_include(<sys/sysctl.h>)
#include <sys/sysctl.h>
#include <sys/types.h>
#endif
#endif

#if defined(__linux__)
/* Processors in the affinity set, asked with a set large enough for the
 * machine; 0 when the system cannot tell. */
static int32_t affinity_count(void) {
  long configured = sysconf(_SC_NPROCESSORS_CONF);
  if (configured < 1) {
    configured = 1;
  }
  for (long n = configured < CPU_SETSIZE ? CPU_SETSIZE : configured; n <= (1L << 20); n *= 2) {
    cpu_set_t *set = CPU_ALLOC((size_t)n);
    if (set == NULL) {
      return 0;
    }
    const size_t size = CPU_ALLOC_SIZE((size_t)n);
    CPU_ZERO_S(size, set);
    if (sched_getaffinity(0, size, set) == 0) {
      const int count = CPU_COUNT_S(size, set);
      CPU_FREE(set);
      return count;
    }
    CPU_FREE(set);
  }
  return 0;
}
#endif

int32_t GetNumProcessors(void) {
#if defined(CTL_HW) && defined(HW_NCPU)
  int mib[2] = {CTL_HW, HW_NCPU};
  int32_t count = 0;
  size_t size = sizeof(count);
  if (sysctl(mib, 2, &count, &size, NULL, 0) == -1) {
    return 0;
  }
  return count;
#elif defined(__linux__)
  /* Linux has no hw.ncpu: the affinity set (or the processors online), then
   * the control groups' quota, whichever is smaller. */
  int32_t count = affinity_count();
  if (count < 1) {
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    if (online < 1) {
      return 0;
    }
    count = online > INT32_MAX ? INT32_MAX : (int32_t)online;
  }
  const int32_t quota = processor_quota_of_process();
  return quota > 0 && quota < count ? quota : count;
#else
  return 0;
#endif
}
