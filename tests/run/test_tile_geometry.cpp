// Tile geometry of the correction: perimeter walk and source blocks (the grid
// is covered by the full runs over odd tile sizes), against values worked
// out by hand.
#include "run/tile_geometry.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>
#include <vector>

namespace {

// Records every point asked for and maps it by a fixed shift.
void ShiftTransform(double x, double y, double *ox, double *oy, const void *model) {
  static_cast<std::vector<std::pair<double, double>> *>(const_cast<void *>(model))
      ->emplace_back(x, y);
  *ox = x - 0.5;
  *oy = y + 2.75;
}

TEST(TileGeometry, PerimeterMapsOnlyTheBorderPixelsLessTheMargins) {
  std::vector<std::pair<double, double>> points;
  const SourceBounds b = MapTilePerimeter(TileRect{10, 20, 14, 25}, 3, 7, ShiftTransform, &points);
  // 5 x 4 pixels: 2 x (5 + 4) - 4 = 14 border pixels, none twice.
  ASSERT_EQ(points.size(), 14u);
  for (auto [x, y] : points) {
    EXPECT_TRUE(x == 20 - 3 || x == 24 - 3 || y == 10 - 7 || y == 13 - 7) << x << "," << y;
  }
  // x - 0.5 floors one below the column, y + 2.75 floors two above the row.
  EXPECT_EQ(std::vector<int>({b.min_x, b.max_x, b.min_y, b.max_y}),
            std::vector<int>({16, 20, 5, 8}));
}

TEST(TileGeometry, SourceBlockWidensAlignsClampsAndNeedsTwoByTwo) {
  struct Case {
    SourceBounds bounds;
    int halfWidth, inTile;
    int left, top, right, bottom;
    bool usable;
  };
  // Image 100 x 50; bicubic widens by 2, bilinear by 1.
  const Case cases[] = {
      // (10 - 2 + 1) / 8 * 8, (20 - 1) / 8 * 8, (30 + 2 + 8) / 8 * 8, (40 + 2 + 8) / 8 * 8
      {{10, 20, 30, 40}, 2, 8, 8, 16, 40, 48, true},
      // The leading edge keeps its +1: 17 - 2 + 1 = 16 starts at 16, 16 at 8.
      {{17, 0, 17, 0}, 2, 8, 16, 0, 24, 8, true},
      {{16, 0, 16, 0}, 2, 8, 8, 0, 24, 8, true},
      // Beyond the image on every side: clamped to it.
      {{-30, -30, 200, 300}, 2, 8, 0, 0, 100, 50, true},
      // Wholly left of it: (-12 + 2 + 8) / 8 truncates to 0, an empty block.
      {{-30, 10, -12, 20}, 2, 8, 0, 8, 0, 24, false},
      // A host that reports no input tile size: single-pixel alignment.
      {{5, 5, 9, 9}, 1, 0, 5, 5, 11, 11, true},
  };
  for (const Case &c : cases) {
    const TileRect r = SourceBlock(c.bounds, c.halfWidth, c.inTile, c.inTile, 100, 50);
    EXPECT_EQ(std::vector<int>({r.left, r.top, r.right, r.bottom}),
              std::vector<int>({c.left, c.top, c.right, c.bottom}))
        << c.bounds.min_x << "," << c.bounds.min_y << " h " << c.halfWidth;
    EXPECT_EQ(SourceBlockUsable(r), c.usable) << c.bounds.min_x;
  }
  // Two by two pixels at the least.
  EXPECT_EQ(std::tuple(SourceBlockUsable({0, 0, 2, 2}), SourceBlockUsable({0, 0, 2, 1}),
                       SourceBlockUsable({0, 0, 1, 2})),
            std::tuple(true, false, false));
}

}  // namespace
