#include "emulator/row_frontier.h"

#include <algorithm>

namespace hostemu {

bool RowFrontier::add(const WrittenBlock &b) {
  const VRect &r = b.rect;
  if (r.bottom <= r.top || r.right <= r.left || b.hi < b.lo) return true;
  if (r.top < rows_) return false;
  if (stopped_) return true;
  if (pending_.size() >= kMostPending) {
    stopped_ = true;
    pending_.clear();
    return true;
  }
  pending_.push_back(b);
  // Only a block on the first row not yet whole can make it whole.
  if (r.top > rows_) return true;
  std::int32_t through = 0;
  while (rows_ < height_ && rowCovered(rows_, through)) {
    rows_ = through;
    std::erase_if(pending_, [this](const WrittenBlock &p) { return p.rect.bottom <= rows_; });
  }
  return true;
}

bool RowFrontier::rowCovered(std::int32_t y, std::int32_t &through) {
  through = height_;
  for (std::int16_t p = 0; p < planes_; ++p) {
    spans_.clear();
    for (const WrittenBlock &b : pending_) {
      if (b.lo <= p && p <= b.hi && b.rect.top <= y && y < b.rect.bottom) {
        spans_.emplace_back(b.rect.left, b.rect.right);
        // The row's cover holds, at least, until one of its blocks ends.
        through = std::min(through, b.rect.bottom);
      }
    }
    std::sort(spans_.begin(), spans_.end());
    std::int32_t reached = 0;
    for (const auto &[left, right] : spans_) {
      if (left > reached) break;
      reached = std::max(reached, right);
    }
    if (reached < width_) return false;
  }
  return true;
}

}  // namespace hostemu
