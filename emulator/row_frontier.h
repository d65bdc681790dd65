// How many rows from the top of the working copy a filter has written whole,
// on every plane, from the blocks it wrote back. A filter that walks its
// output tiles row by row finishes rows band after band; one that walks in
// another order finishes them later, and one that never covers a row leaves
// the count there (the host fills the rest in from the document on commit).
#pragma once

#include <cstdint>
#include <vector>

#include "emulator/working_copy.h"

namespace hostemu {

class RowFrontier {
 public:
  RowFrontier(std::int32_t width, std::int32_t height, std::int16_t planes)
      : width_(width), height_(height), planes_(planes) {}

  // A block written back. False when it writes rows already counted whole.
  // A filter that leaves more blocks pending than are worth following stops
  // the count where it is; rows above it are still checked.
  bool add(const WrittenBlock &block);
  // Rows 0..rows()-1 are written whole.
  std::int32_t rows() const { return rows_; }

  // Past this many blocks waiting below the count, the count is given up: a
  // block on the first row not yet whole is checked against all of them.
  static constexpr std::size_t kMostPending = 1024;

 private:
  // Whether row y is covered on every plane by the pending blocks; if so,
  // `through` gets the first row below y that may not be.
  bool rowCovered(std::int32_t y, std::int32_t &through);

  std::int32_t width_, height_;
  std::int16_t planes_;
  std::int32_t rows_ = 0;
  bool stopped_ = false;
  std::vector<WrittenBlock> pending_;                         // blocks reaching below the count
  std::vector<std::pair<std::int32_t, std::int32_t>> spans_;  // scratch: column spans of one plane
};

}  // namespace hostemu
