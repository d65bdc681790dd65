#include "emulator/finished_rows.h"

#include <algorithm>

namespace hostemu {

std::vector<const std::uint8_t *> planeStarts(const Document &doc) {
  std::vector<const std::uint8_t *> out;
  out.reserve(doc.planes.size());
  for (const Plane &p : doc.planes) out.push_back(p.samples.data());
  return out;
}

void FinishedRows::begin(std::vector<const std::uint8_t *> planes) {
  std::lock_guard lock(mutex_);
  if (completed_ || withdrawn_.load(std::memory_order_relaxed)) return;
  if (begun_ && planes != planes_ && ready_.load(std::memory_order_relaxed) > 0) {
    // A second working copy: rows told of the first may have been read there.
    withdrawn_.store(true, std::memory_order_release);
    changed_.notify_all();
    return;
  }
  // Before any row is told nobody holds the planes: a new copy replaces them.
  planes_ = std::move(planes);
  begun_ = true;
}

void FinishedRows::finished(std::int32_t rows) {
  {
    std::lock_guard lock(mutex_);
    if (!begun_ || completed_ || rows <= ready_.load(std::memory_order_relaxed)) return;
    ready_.store(std::min(rows, height_), std::memory_order_release);
  }
  changed_.notify_all();
}

void FinishedRows::complete(std::vector<const std::uint8_t *> planes) {
  {
    std::lock_guard lock(mutex_);
    if (completed_ || withdrawn_.load(std::memory_order_relaxed)) return;
    if (begun_ && planes != planes_ && ready_.load(std::memory_order_relaxed) > 0) {
      // The committed planes are not the ones whose rows were told.
      withdrawn_.store(true, std::memory_order_release);
    } else {
      // Readers may hold the span of planes_ told before: never reassigned
      // once rows are out.
      if (ready_.load(std::memory_order_relaxed) == 0) planes_ = std::move(planes);
      begun_ = true;
      completed_ = true;
      ready_.store(height_, std::memory_order_release);
    }
  }
  changed_.notify_all();
}

void FinishedRows::withdraw() {
  std::unique_lock lock(mutex_);
  if (completed_) return;
  withdrawn_.store(true, std::memory_order_release);
  changed_.notify_all();
  changed_.wait(lock, [this] { return readers_ == 0; });
}

bool FinishedRows::completed() const {
  std::lock_guard lock(mutex_);
  return completed_;
}

FinishedRows::Reader::Reader(FinishedRows &rows) : rows_(rows) {
  std::lock_guard lock(rows_.mutex_);
  ++rows_.readers_;
}

FinishedRows::Reader::~Reader() {
  {
    std::lock_guard lock(rows_.mutex_);
    --rows_.readers_;
  }
  rows_.changed_.notify_all();
}

std::span<const std::uint8_t *const> FinishedRows::await(std::int32_t rows) const {
  rows = std::clamp(rows, std::int32_t{1}, std::max(height_, std::int32_t{1}));
  // Most calls ask for rows told long ago: no lock for those.
  if (ready_.load(std::memory_order_acquire) >= rows &&
      !withdrawn_.load(std::memory_order_acquire)) {
    return planes_;
  }
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] {
    return withdrawn_.load(std::memory_order_relaxed) || completed_ ||
           ready_.load(std::memory_order_relaxed) >= rows;
  });
  if (withdrawn_.load(std::memory_order_relaxed)) return {};
  return planes_;
}

}  // namespace hostemu
