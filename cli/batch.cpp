#include "batch.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

#include "interrupt.h"
#include "processor_limit.h"

namespace ortavel::cli {

int defaultJobs() {
  return std::clamp(usableProcessors(), 1, 4);
}

std::vector<JobOutcome> runJobs(std::size_t count, int threads,
                                const std::function<void(std::size_t)> &job) {
  std::vector<JobOutcome> outcomes(count);
  std::atomic<std::size_t> next{0};
  auto worker = [&] {
    for (;;) {
      const std::size_t i = next.fetch_add(1);
      if (i >= count) return;
      if (interrupted()) {
        outcomes[i] = {ExitCode::kInterrupted, "interrupted before it started"};
        continue;
      }
      try {
        job(i);
      } catch (const CliError &e) {
        outcomes[i] = {e.code(), e.what()};
      } catch (const std::bad_alloc &) {
        outcomes[i] = {ExitCode::kFailure, "out of memory"};
      } catch (const std::exception &e) {
        outcomes[i] = {ExitCode::kFailure, e.what()};
      }
    }
  };
  const std::size_t n =
      std::min<std::size_t>(static_cast<std::size_t>(std::max(threads, 1)), count);
  std::vector<std::thread> pool;
  for (std::size_t t = 1; t < n; ++t) pool.emplace_back(worker);
  worker();  // the calling thread works too
  for (auto &t : pool) t.join();
  return outcomes;
}

}  // namespace ortavel::cli
