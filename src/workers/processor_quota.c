/* Control-group CPU quotas as processor counts (Linux). A quota of 150 ms of
 * CPU time every 100 ms lets 1.5 processors' worth of threads run: two
 * threads use it fully, and more than two only contend for it. */
#include "workers/processor_quota.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kPathMax = 4096, kLineMax = 4096 };

/* quota/period rounded up, 0 for no limit or nonsense. */
static int32_t processors_for(long long quota, long long period) {
  if (quota <= 0 || period <= 0) {
    return 0;
  }
  const long long n = (quota + period - 1) / period;
  return n > INT32_MAX ? INT32_MAX : (int32_t)n;
}

static int parse_integer(const char *text, long long *out) {
  char *end = NULL;
  errno = 0;
  const long long v = strtoll(text, &end, 10);
  if (end == text || errno != 0) {
    return 0;
  }
  while (*end == ' ' || *end == '\n' || *end == '\t') {
    ++end;
  }
  if (*end != '\0') {
    return 0;
  }
  *out = v;
  return 1;
}

int32_t processor_quota_from_cpu_max(const char *text) {
  if (text == NULL) {
    return 0;
  }
  char quota[32] = {0};
  long long period = 0;
  if (sscanf(text, "%31s %lld", quota, &period) != 2) {
    return 0;
  }
  long long q = 0;
  if (strcmp(quota, "max") == 0 || !parse_integer(quota, &q)) {
    return 0;
  }
  return processors_for(q, period);
}

int32_t processor_quota_from_cfs(const char *quota_text, const char *period_text) {
  long long quota = 0, period = 0;
  if (quota_text == NULL || period_text == NULL || !parse_integer(quota_text, &quota) ||
      !parse_integer(period_text, &period)) {
    return 0;
  }
  return processors_for(quota, period);
}

/* The first line of a small file, or 0 when it cannot be read. */
static int read_line(const char *path, char *line, size_t size) {
  FILE *f = fopen(path, "re");
  if (f == NULL) {
    return 0;
  }
  const int ok = fgets(line, (int)size, f) != NULL;
  fclose(f);
  return ok;
}

static int32_t tighter(int32_t a, int32_t b) {
  if (a == 0) {
    return b;
  }
  if (b == 0) {
    return a;
  }
  return a < b ? a : b;
}

/* The tightest quota of the groups from `group` up to the hierarchy's root
 * under `mount`; v2 reads cpu.max, v1 the two cfs files. */
static int32_t quota_along(const char *mount, const char *group, int v2) {
  char dir[kPathMax];
  if (snprintf(dir, sizeof dir, "%s%s", mount, group) >= (int)sizeof dir) {
    return 0;
  }
  const size_t root = strlen(mount);
  int32_t best = 0;
  for (;;) {
    char path[kPathMax + 32], a[64], b[64];
    if (v2) {
      snprintf(path, sizeof path, "%s/cpu.max", dir);
      if (read_line(path, a, sizeof a)) {
        best = tighter(best, processor_quota_from_cpu_max(a));
      }
    } else {
      snprintf(path, sizeof path, "%s/cpu.cfs_quota_us", dir);
      if (read_line(path, a, sizeof a)) {
        snprintf(path, sizeof path, "%s/cpu.cfs_period_us", dir);
        if (read_line(path, b, sizeof b)) {
          best = tighter(best, processor_quota_from_cfs(a, b));
        }
      }
    }
    char *slash = strrchr(dir, '/');
    if (slash == NULL || (size_t)(slash - dir) < root) {
      break;
    }
    *slash = '\0';
  }
  return best;
}

int32_t processor_quota_of_process(void) {
  FILE *f = fopen("/proc/self/cgroup", "re");
  if (f == NULL) {
    return 0;
  }
  int32_t best = 0;
  char line[kLineMax];
  while (fgets(line, sizeof line, f) != NULL) {
    line[strcspn(line, "\n")] = '\0';
    /* "ID:CONTROLLERS:PATH"; cgroup v2's line is "0::PATH". */
    char *first = strchr(line, ':');
    char *second = first != NULL ? strchr(first + 1, ':') : NULL;
    if (second == NULL) {
      continue;
    }
    *second = '\0';
    const char *controllers = first + 1;
    const char *group = second + 1;
    if (strcmp(group, "/") == 0) {
      group = "";
    }
    if (controllers[0] == '\0') {
      best = tighter(best, quota_along("/sys/fs/cgroup", group, 1));
      best = tighter(best, quota_along("/sys/fs/cgroup/unified", group, 1));
    } else if (strstr(controllers, "cpu") != NULL) {
      char list[256];
      snprintf(list, sizeof list, ",%s,", controllers);
      if (strstr(list, ",cpu,") != NULL) {
        best = tighter(best, quota_along("/sys/fs/cgroup/cpu", group, 0));
        best = tighter(best, quota_along("/sys/fs/cgroup/cpu,cpuacct", group, 0));
      }
    }
  }
  fclose(f);
  return best;
}
