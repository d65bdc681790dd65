#include "batch.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
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
  return runJobs(count, threads, job, nullptr, 0);
}

std::vector<JobOutcome> runJobs(std::size_t count, int threads,
                                const std::function<void(std::size_t)> &job,
                                const std::function<std::uint64_t(std::size_t)> &cost,
                                std::uint64_t budget) {
  std::vector<JobOutcome> outcomes(count);
  std::atomic<std::size_t> next{0};
  std::mutex mutex;
  std::condition_variable freed;
  std::uint64_t inFlight = 0;  // bytes the running jobs are expected to take
  int running = 0;
  auto worker = [&] {
    for (;;) {
      const std::size_t i = next.fetch_add(1);
      if (i >= count) return;
      if (interrupted()) {
        outcomes[i] = {ExitCode::kInterrupted, "interrupted before it started"};
        continue;
      }
      const std::uint64_t need = cost ? cost(i) : 0;
      if (cost) {
        std::unique_lock lock(mutex);
        freed.wait(lock,
                   [&] { return running == 0 || need <= budget - std::min(budget, inFlight); });
        inFlight += need;
        ++running;
      }
      struct Release {
        bool active;
        std::uint64_t need;
        std::mutex &mutex;
        std::condition_variable &freed;
        std::uint64_t &inFlight;
        int &running;
        ~Release() {
          if (!active) return;
          {
            std::lock_guard lock(mutex);
            inFlight -= need;
            --running;
          }
          freed.notify_all();
        }
      } release{static_cast<bool>(cost), need, mutex, freed, inFlight, running};
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
