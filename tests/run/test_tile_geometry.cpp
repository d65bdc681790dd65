// Tile geometry of the correction: grid, perimeter walk and source blocks,
// checked against values worked out by hand.
#include "run/tile_geometry.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <set>
#include <utility>
#include <vector>

namespace {

struct Calls {
  std::vector<std::pair<double, double>> points;
};

// Records every point asked for and maps it by a fixed shift.
void ShiftTransform(double x, double y, double *ox, double *oy, const void *model) {
  auto *calls = static_cast<Calls *>(const_cast<void *>(model));
  calls->points.emplace_back(x, y);
  *ox = x - 0.5;
  *oy = y + 2.75;
}

TEST(TileGrid, CountsAndCutsTheLastRowAndColumn) {
  EXPECT_EQ(TileCount(10, 4), 3);
  EXPECT_EQ(TileCount(8, 4), 2);
  EXPECT_EQ(TileCount(1, 512), 1);
  // Tile (2, 1) of 4 x 3 tiles over 10 x 7: rows 6..6, columns 4..7.
  TileRect t = OutputTile(2, 1, 4, 3, 10, 7);
  EXPECT_EQ(t.top, 6);
  EXPECT_EQ(t.left, 4);
  EXPECT_EQ(t.bottom, 7);
  EXPECT_EQ(t.right, 8);
}

TEST(TilePerimeter, MapsOnlyTheBorderPixelsLessTheMargins) {
  Calls calls;
  TileRect tile{10, 20, 14, 25};  // 5 x 4 pixels
  SourceBounds b = MapTilePerimeter(tile, 3, 7, ShiftTransform, &calls);
  // 2 x (5 + 4) - 4 = 14 border pixels; the top and bottom rows hold 5 each.
  ASSERT_EQ(calls.points.size(), 14u);
  std::set<std::pair<double, double>> seen(calls.points.begin(), calls.points.end());
  EXPECT_EQ(seen.size(), 14u);
  for (auto [x, y] : calls.points) {
    const bool onEdge = x == 20 - 3 || x == 24 - 3 || y == 10 - 7 || y == 13 - 7;
    EXPECT_TRUE(onEdge) << x << "," << y;
  }
  // x - 0.5 floors one below the column, y + 2.75 floors two above the row.
  EXPECT_EQ(b.min_x, 16);
  EXPECT_EQ(b.max_x, 20);
  EXPECT_EQ(b.min_y, 5);
  EXPECT_EQ(b.max_y, 8);
}

TEST(TilePerimeter, OneRowTileWalksItsRowTwice) {
  Calls calls;
  MapTilePerimeter(TileRect{0, 0, 1, 3}, 0, 0, ShiftTransform, &calls);
  EXPECT_EQ(calls.points.size(), 6u);
  Calls two;
  MapTilePerimeter(TileRect{0, 0, 2, 3}, 0, 0, ShiftTransform, &two);
  EXPECT_EQ(two.points.size(), 6u);  // no side pixels between two rows
}

TEST(SourceBlockRule, WidensAlignsAndClamps) {
  // Bicubic (h = 2), input tiles of 8, image 100 x 50.
  TileRect r = SourceBlock(SourceBounds{10, 20, 30, 40}, 2, 8, 8, 100, 50);
  EXPECT_EQ(r.left, 8);     // (10 - 2 + 1) / 8 * 8
  EXPECT_EQ(r.top, 16);     // (20 - 1) / 8 * 8
  EXPECT_EQ(r.right, 40);   // (30 + 2 + 8) / 8 * 8
  EXPECT_EQ(r.bottom, 48);  // (40 + 2 + 8) / 8 * 8
  // The leading edge keeps its +1: 17 - 2 + 1 = 16 starts at 16, 16 at 8.
  EXPECT_EQ(SourceBlock(SourceBounds{17, 0, 17, 0}, 2, 8, 8, 100, 50).left, 16);
  EXPECT_EQ(SourceBlock(SourceBounds{16, 0, 16, 0}, 2, 8, 8, 100, 50).left, 8);
  // Beyond the image on either side.
  TileRect out = SourceBlock(SourceBounds{-30, -30, 200, 300}, 2, 8, 8, 100, 50);
  EXPECT_EQ(out.left, 0);
  EXPECT_EQ(out.top, 0);
  EXPECT_EQ(out.right, 100);
  EXPECT_EQ(out.bottom, 50);
  TileRect left = SourceBlock(SourceBounds{-30, 10, -12, 20}, 2, 8, 8, 100, 50);
  EXPECT_EQ(left.left, 0);
  EXPECT_EQ(left.right, 0);  // (-12 + 2 + 8) / 8 truncates to 0
  EXPECT_FALSE(SourceBlockUsable(left));
  // A host that reports no input tile size: single-pixel alignment.
  TileRect unaligned = SourceBlock(SourceBounds{5, 5, 9, 9}, 1, 0, 0, 100, 50);
  EXPECT_EQ(unaligned.left, 5);
  EXPECT_EQ(unaligned.right, 11);
}

TEST(SourceBlockRule, NeedsTwoByTwoPixels) {
  EXPECT_TRUE(SourceBlockUsable(TileRect{0, 0, 2, 2}));
  EXPECT_FALSE(SourceBlockUsable(TileRect{0, 0, 1, 2}));
  EXPECT_FALSE(SourceBlockUsable(TileRect{0, 0, 2, 1}));
  EXPECT_FALSE(SourceBlockUsable(TileRect{5, 5, 5, 5}));
}

TEST(FloorConversion, MatchesTheProcessorForValuesOutOfRange) {
  EXPECT_EQ(FloorToInt32(-0.5), -1);
  EXPECT_EQ(FloorToInt32(2.999), 2);
  EXPECT_EQ(FloorToInt32(-2147483648.0), INT_MIN);
  EXPECT_EQ(FloorToInt32(2147483647.5), INT_MAX);
  EXPECT_EQ(FloorToInt32(3e9), INT_MIN);
  EXPECT_EQ(FloorToInt32(-3e9), INT_MIN);
  EXPECT_EQ(FloorToInt32(std::nan("")), INT_MIN);
}

}  // namespace
