// Chessboard corners and how straight their rows and columns are.
//
// Test support: finds the inner corners of a printed chessboard in an 8-bit
// picture and measures how far each row and column of corners is from a
// straight line. Positions are in pixels of the picture, with the centre of
// pixel (i, j) at (i, j), x to the right and y downwards.
#ifndef ORTAVEL_TESTS_SUPPORT_CHESSBOARD_H
#define ORTAVEL_TESTS_SUPPORT_CHESSBOARD_H

#include <cstdint>
#include <optional>
#include <vector>

namespace ortavel::test {

// An 8-bit picture read in place; only the first sample of each pixel is used,
// so an interleaved RGB block can be passed as it is. Strides are in bytes.
struct GreyView {
  const uint8_t *data = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  int32_t row_stride = 0;
  int32_t pixel_stride = 1;
};

struct Corner {
  double x = 0.0;
  double y = 0.0;
};

// The board's inner corners, row by row: corners[row * columns + column].
// columns is the longer side. Column 0 and row 0 are on the left and top as the
// board appears in the picture (for a board turned by about a quarter, the
// columns run downwards).
struct CornerGrid {
  int32_t columns = 0;
  int32_t rows = 0;
  std::vector<Corner> corners;

  const Corner &at(int32_t row, int32_t column) const { return corners[row * columns + column]; }
};

// The board's corners to a small fraction of a pixel, or nothing when no
// complete columns x rows grid of saddle points is found.
std::optional<CornerGrid> FindChessboardCorners(const GreyView &image);

// Distances of the corners from the best-fit (total least squares) line of
// their row or column, over all rows and all columns.
struct Straightness {
  double rms = 0.0;           // pixels, root mean square over every corner of every line
  double max = 0.0;           // pixels, largest single distance
  double mean_spacing = 0.0;  // pixels, mean distance between neighbouring corners
  int32_t lines = 0;          // rows + columns measured
};

Straightness MeasureStraightness(const CornerGrid &grid);

}  // namespace ortavel::test

#endif
