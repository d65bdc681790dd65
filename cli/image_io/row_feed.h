// Where a writer takes a picture's rows from: the image's own planes, or the
// output of a filter that is still running, row by row as it becomes final,
// so that a file is encoded while the filter works on the rows below.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>

#include "emulator/finished_rows.h"
#include "image_io/image.h"

namespace ortavel::cli {

// The rows a feed told of were taken back (the filter failed, or wrote them
// again): what was encoded from them is void.
class RowsWithdrawn : public std::runtime_error {
 public:
  RowsWithdrawn() : std::runtime_error("the filter's output rows were withdrawn") {}
};

class RowFeed {
 public:
  virtual ~RowFeed() = default;
  // The first sample of each plane once rows 0..rows-1 can be read. Throws
  // RowsWithdrawn when they never will be. Safe from several threads at once.
  virtual std::span<const std::uint8_t *const> await(std::int32_t rows) const = 0;
  // Whether every row can be read now.
  virtual bool allFinal() const = 0;
};

// Every row at once, from the image's planes.
class ImageRows final : public RowFeed {
 public:
  explicit ImageRows(const Image &img) : planes_(hostemu::planeStarts(img.doc)) {}
  std::span<const std::uint8_t *const> await(std::int32_t) const override { return planes_; }
  bool allFinal() const override { return true; }

 private:
  std::vector<const std::uint8_t *> planes_;
};

// A running filter's rows as the host tells them final.
class FilterOutputRows final : public RowFeed {
 public:
  explicit FilterOutputRows(const hostemu::FinishedRows &rows) : rows_(rows) {}
  std::span<const std::uint8_t *const> await(std::int32_t rows) const override {
    const auto planes = rows_.await(rows);
    if (planes.empty()) throw RowsWithdrawn();
    return planes;
  }
  bool allFinal() const override { return rows_.completed(); }

 private:
  const hostemu::FinishedRows &rows_;
};

}  // namespace ortavel::cli
