/* Processor count for sizing the worker pool. */
#include <stddef.h>

#include "workers/interp_workers.h"

#if defined(__linux__)
#include <unistd.h>
#elif defined(__has_include)
#if __has_include(<sys/sysctl.h>)
#include <sys/sysctl.h>
#include <sys/types.h>
#endif
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
#elif defined(_SC_NPROCESSORS_ONLN)
  /* Linux has no hw.ncpu; the processors online are what the pool can use. */
  long count = sysconf(_SC_NPROCESSORS_ONLN);
  if (count < 1) {
    return 0;
  }
  return count > INT32_MAX ? INT32_MAX : (int32_t)count;
#else
  return 0;
#endif
}
