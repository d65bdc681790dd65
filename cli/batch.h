// Running one job per file on a few threads. Each job reads and writes its
// own files; the plug-in calls inside are serialised by the FilterSession,
// so the threads overlap decoding and encoding with the filter's run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "exit_codes.h"

namespace ortavel::cli {

struct JobOutcome {
  ExitCode code = ExitCode::kOk;
  std::string message;  // the error, empty on success
};

// Calls job(i) for i in 0..count-1 on `threads` threads, in order of i as far
// as threads allow. A job's CliError (or other exception) is its outcome and
// does not stop the others. Once interrupted() is raised no new job starts;
// those never run are reported as interrupted.
std::vector<JobOutcome> runJobs(std::size_t count, int threads,
                                const std::function<void(std::size_t)> &job);

// As above, with the jobs in flight bounded by memory as well: job i is
// expected to need cost(i) bytes, and starts only while the costs of the
// jobs running leave room for it within `budget`. A job larger than the
// whole budget runs alone.
std::vector<JobOutcome> runJobs(std::size_t count, int threads,
                                const std::function<void(std::size_t)> &job,
                                const std::function<std::uint64_t(std::size_t)> &cost,
                                std::uint64_t budget);

// How many threads to use when the user did not say.
int defaultJobs();

}  // namespace ortavel::cli
