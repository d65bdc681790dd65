// A second thread kept for a host's whole invocation, to share large block
// copies with the calling thread. Starting a thread for every block cost
// more than it saved where thread creation is slow (a Windows program under
// Wine takes milliseconds to start one); this one starts with the first
// block and is joined with its owner.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace hostemu {

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

 private:
  void loop();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> work_;  // posted, not yet done
  bool quit_ = false;
  std::thread thread_;
};

}  // namespace hostemu
