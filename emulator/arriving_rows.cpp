#include "emulator/arriving_rows.h"

#include <algorithm>

namespace hostemu {

void ArrivingRows::arrived(std::int32_t rows) {
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    if (rows <= ready_) return;
    ready_ = std::min(rows, height_);
    // Waking a waiter for every few rows would cost the reader more than the
    // rows: only a count some waiter needs wakes it.
    wake = wanted_ > 0 && ready_ >= wanted_;
  }
  if (wake) changed_.notify_all();
}

void ArrivingRows::stopped() {
  {
    std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

bool ArrivingRows::settled(std::int32_t rows) const {
  std::lock_guard lock(mutex_);
  return ready_ >= std::min(rows, height_) || stopped_;
}

bool ArrivingRows::waitFor(std::int32_t rows) const {
  rows = std::min(rows, height_);
  std::unique_lock lock(mutex_);
  while (ready_ < rows && !stopped_) {
    // Any number of waiters is safe: the smallest count wakes them all, and
    // each one still short registers its own count again.
    wanted_ = wanted_ == 0 ? rows : std::min(wanted_, rows);
    changed_.wait(lock);
    if (ready_ >= wanted_) wanted_ = 0;
  }
  return ready_ >= rows;
}

}  // namespace hostemu
