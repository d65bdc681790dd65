// Output rows of a running filter that will not change again, for a reader
// on another thread (an encoder writing the file while later tiles are still
// being filtered). The host announces rows top to bottom as the filter's
// write-backs cover them whole; the planes are the host's working copy, and
// on commit they become the caller's document without moving.
//
// The announcement can be taken back: a filter may write rows again that were
// already announced, or the run may fail. Then the feed is withdrawn, and
// whatever a reader made of it must be thrown away (the caller encodes the
// committed document afresh). Withdrawal waits for every reader to leave, so
// the host frees its working copy only once nobody reads it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

#include "emulator/document.h"

namespace hostemu {

class FinishedRows {
 public:
  explicit FinishedRows(std::int32_t height) : height_(height) {}
  FinishedRows(const FinishedRows &) = delete;
  FinishedRows &operator=(const FinishedRows &) = delete;

  // The host's side. begin: the working copy is made, with these first
  // samples of its planes. finished: rows 0..rows-1 are final (counts only
  // grow). complete: the run committed, every row is final, in these planes.
  // withdraw: what was announced no longer holds (idempotent; nothing after
  // complete). It blocks until every reader has left.
  void begin(std::vector<const std::uint8_t *> planes);
  void finished(std::int32_t rows);
  void complete(std::vector<const std::uint8_t *> planes);
  void withdraw();

  bool completed() const;
  // Rows told final so far.
  std::int32_t told() const { return ready_.load(std::memory_order_acquire); }
  bool withdrawn() const { return withdrawn_.load(std::memory_order_acquire); }

  // A reader's presence, for as long as it may touch the planes.
  class Reader {
   public:
    explicit Reader(FinishedRows &rows);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

   private:
    FinishedRows &rows_;
  };

  // Blocks until rows 0..rows-1 (at most the height) are final, then gives the
  // first sample of each plane; an empty span once the feed is withdrawn.
  // Safe from several threads of a Reader at once.
  std::span<const std::uint8_t *const> await(std::int32_t rows) const;

 private:
  const std::int32_t height_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<const std::uint8_t *> planes_;  // set once, before ready_ grows past 0
  std::atomic<std::int32_t> ready_{0};
  std::atomic<bool> withdrawn_{false};
  bool begun_ = false;
  bool completed_ = false;
  int readers_ = 0;
};

// The first sample of each plane of `doc`, as FinishedRows takes them.
std::vector<const std::uint8_t *> planeStarts(const Document &doc);

}  // namespace hostemu
