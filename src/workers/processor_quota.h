/* The share of the machine a process may use: its CPU affinity set and its
 * control group's CPU quota, turned into a count of processors for sizing the
 * worker pool. The text parsers are separate from the file reading so that
 * every quota form can be checked without a control group to set. */
#ifndef ORTAVEL_WORKERS_PROCESSOR_QUOTA_H
#define ORTAVEL_WORKERS_PROCESSOR_QUOTA_H

#include <stdint.h>

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

/* Processors a cgroup v2 "cpu.max" file allows ("QUOTA PERIOD" or
 * "max PERIOD"), rounded up; 0 when it sets no limit or cannot be read. */
ORTAVEL_API int32_t processor_quota_from_cpu_max(const char *text);

/* The same for cgroup v1's cpu.cfs_quota_us and cpu.cfs_period_us texts
 * (a quota of -1 is no limit). */
ORTAVEL_API int32_t processor_quota_from_cfs(const char *quota_text, const char *period_text);

/* Processors allowed by the control groups this process is in (the tightest
 * quota along the group's path up to the root); 0 when none limits it. */
ORTAVEL_API int32_t processor_quota_of_process(void);

ORTAVEL_END_C

#endif
