// Rows of a document that a reader is still writing on another thread. The
// reader sizes the planes first, then announces rows top to bottom as they
// are written; the host waits for the rows a request needs, so that a filter
// starts on the top of a picture while the bottom is still being decoded.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace hostemu {

class ArrivingRows {
 public:
  explicit ArrivingRows(std::int32_t height) : height_(height) {}
  ArrivingRows(const ArrivingRows &) = delete;
  ArrivingRows &operator=(const ArrivingRows &) = delete;

  // Rows 0..rows-1 of every plane are written (the reader's side). Counts
  // only grow; a smaller one is ignored.
  void arrived(std::int32_t rows);
  // No more rows will come: the reader failed or stopped. Waiters wake with false.
  void stopped();

  // Blocks until rows 0..rows-1 (at most the height) are written: true, or
  // false when the reader stopped short of them.
  bool waitFor(std::int32_t rows) const;
  bool waitForAll() const { return waitFor(height_); }
  // Whether waitFor(rows) would return at once.
  bool settled(std::int32_t rows) const;

 private:
  const std::int32_t height_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::int32_t ready_ = 0;
  mutable std::int32_t wanted_ = 0;  // the smallest count a waiter is blocked on; 0: none
  bool stopped_ = false;
};

}  // namespace hostemu
