// How many processors the command lets the plug-in and its own threads use.
// The plug-in sizes its worker pool by the processors the process may run on,
// so the command narrows its own affinity set: every thread started after
// that (the plug-in's pool, a batch's jobs) inherits the narrower set.
#pragma once

#include <optional>
#include <string>

namespace ortavel::cli {

// The processors this process may run on now (affinity set and control-group
// quota), at least 1.
int usableProcessors();

// The limit asked for: `--threads N` when given, else ORTAVEL_THREADS from the
// environment (its value must be a whole number from 1 up). Throws CliError
// (usage) naming where a bad value came from.
std::optional<int> requestedThreads(std::optional<int> fromCommandLine, const char *environment);

// Narrows this process to `count` of the processors it may run on. Call
// before any thread starts. Returns the count now in force (never more than
// the processors there are); throws CliError (failure) when the system
// refuses.
int limitProcessors(int count);

}  // namespace ortavel::cli
