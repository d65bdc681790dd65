#include "processor_limit.h"

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "exit_codes.h"
#include "workers/interp_workers.h"

namespace ortavel::cli {

int usableProcessors() {
  return std::max<int>(1, GetNumProcessors());
}

std::optional<int> requestedThreads(std::optional<int> fromCommandLine, const char *environment) {
  if (fromCommandLine) return fromCommandLine;
  if (environment == nullptr || *environment == '\0') return std::nullopt;
  const std::string text = environment;
  int value = 0;
  const bool digits = text.size() <= 4 && text.find_first_not_of("0123456789") == std::string::npos;
  if (digits) value = std::stoi(text);
  if (!digits || value < 1 || value > 4096)
    throw usageError("ORTAVEL_THREADS must be a whole number from 1 to 4096, not \"" + text + "\"");
  return value;
}

int limitProcessors(int count) {
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
    throw failure(std::string("cannot read the processors this process may use: ") +
                  std::strerror(errno));
  if (count >= CPU_COUNT(&allowed)) return usableProcessors();
  // The first `count` processors of the set the process was given.
  cpu_set_t narrowed;
  CPU_ZERO(&narrowed);
  int kept = 0;
  for (int cpu = 0; cpu < CPU_SETSIZE && kept < count; ++cpu) {
    if (CPU_ISSET(cpu, &allowed)) {
      CPU_SET(cpu, &narrowed);
      ++kept;
    }
  }
  if (sched_setaffinity(0, sizeof narrowed, &narrowed) != 0)
    throw failure(std::string("cannot limit the processors to ") + std::to_string(count) + ": " +
                  std::strerror(errno));
  return usableProcessors();
}

}  // namespace ortavel::cli
