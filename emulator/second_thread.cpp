#include "emulator/second_thread.h"

#include <system_error>
#include <utility>

namespace hostemu {

SecondThread::~SecondThread() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard lock(mutex_);
    quit_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

bool SecondThread::post(std::function<void()> work) {
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { loop(); });
    } catch (const std::system_error &) {
      return false;
    }
  }
  {
    std::lock_guard lock(mutex_);
    work_ = std::move(work);
  }
  changed_.notify_all();
  return true;
}

void SecondThread::wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !work_; });
}

void SecondThread::loop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return quit_ || static_cast<bool>(work_); });
    if (work_) {
      // The work runs unlocked; it is cleared only once done, so that wait()
      // returns after it and not before.
      std::function<void()> &work = work_;
      lock.unlock();
      work();
      lock.lock();
      work_ = nullptr;
      changed_.notify_all();
    } else {
      return;  // quit, and nothing left to do
    }
  }
}

}  // namespace hostemu
