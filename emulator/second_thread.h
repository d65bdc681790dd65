// A second thread kept for a host's whole invocation, to share large block
// copies with the calling thread. Starting a thread for every block cost
// more than it saved where thread creation is slow (a Windows program under
// Wine takes milliseconds to start one); this one starts with the first
// block and is joined with its owner.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace hostemu {

#ifdef _WIN32
// With the posix threads model, std::mutex and std::condition_variable are
// winpthreads', which wait on kernel objects: under Wine every wait and wake
// is then a round trip to the server process, two per large block. Windows'
// slim lock and condition variable are served within the process.
class SlimMutex {
 public:
  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }
  SRWLOCK *native() { return &lock_; }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
};

class SlimCondition {
 public:
  template <class Predicate>
  void wait(std::unique_lock<SlimMutex> &lock, Predicate ready) {
    while (!ready()) SleepConditionVariableSRW(&condition_, lock.mutex()->native(), INFINITE, 0);
  }
  void notify_all() { WakeAllConditionVariable(&condition_); }

 private:
  CONDITION_VARIABLE condition_ = CONDITION_VARIABLE_INIT;
};
#endif

// Copies of at least this many bytes are worth sharing with the second
// thread; below it, handing work over costs more than it saves.
inline constexpr std::size_t kSharedCopyBytes = std::size_t{1} << 20;

class SecondThread {
 public:
  SecondThread() = default;
  ~SecondThread();
  SecondThread(const SecondThread &) = delete;
  SecondThread &operator=(const SecondThread &) = delete;

  // Hands `work` to the second thread and returns at once; false, with
  // nothing handed over, when no thread can be had: the caller then does the
  // work itself. One piece of work at a time: wait() before the next.
  bool post(std::function<void()> work);
  // Returns once the work posted last is done.
  void wait();

  // Runs part(first, middle) on the calling thread and part(middle, last) on
  // the second one, middle halfway, and returns once both are done (also when
  // the caller's part throws, since the other half may refer to its frame).
  // Everything runs on the calling thread when the machine has one processor
  // or no second thread can be had.
  template <class Part>
  void halves(std::int64_t first, std::int64_t last, const Part &part) {
    const std::int64_t middle = first + (last - first) / 2;
    if (processors_ < 2 || !post([&part, middle, last] { part(middle, last); })) {
      part(first, last);
      return;
    }
    try {
      part(first, middle);
    } catch (...) {
      wait();
      throw;
    }
    wait();
  }

 private:
  void loop();

#ifdef _WIN32
  SlimMutex mutex_;
  SlimCondition changed_;
#else
  std::mutex mutex_;
  std::condition_variable changed_;
#endif
  std::function<void()> work_;  // posted, not yet done
  bool quit_ = false;
  // Read once: the C library reads it from /sys at every call.
  const unsigned processors_ = std::thread::hardware_concurrency();
  std::thread thread_;
};

}  // namespace hostemu
