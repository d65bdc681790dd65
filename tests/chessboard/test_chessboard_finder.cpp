// The corner finder on drawn boards with known corners, and on the photographs
// against corner positions read off by eye from enlarged crops.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

#include "jpeg_grey.h"
#include "support/chessboard.h"

namespace ortavel::test {
namespace {

// A 10x7-square board (9x6 inner corners) of 30-pixel squares on a white
// margin over grey, turned by `degrees` about its corner (0, 0), which lands
// at (ox, oy). Each pixel is the mean of 8x8 point samples, so edges are
// anti-aliased as a camera would see them.
struct DrawnBoard {
  double ox, oy, degrees;
  static constexpr double kSquare = 30.0;

  Corner Truth(int column, int row) const {
    const double a = degrees * std::numbers::pi / 180.0;
    const double u = column * kSquare, v = row * kSquare;
    return {ox + u * std::cos(a) - v * std::sin(a), oy + u * std::sin(a) + v * std::cos(a)};
  }

  GreyImage Draw(int32_t width, int32_t height) const {
    const double a = degrees * std::numbers::pi / 180.0;
    GreyImage img{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height)};
    for (int32_t y = 0; y < height; y++) {
      for (int32_t x = 0; x < width; x++) {
        double sum = 0.0;
        for (int sy = 0; sy < 8; sy++) {
          for (int sx = 0; sx < 8; sx++) {
            const double px = x - 0.5 + (sx + 0.5) / 8.0 - ox;
            const double py = y - 0.5 + (sy + 0.5) / 8.0 - oy;
            const double u = (px * std::cos(a) + py * std::sin(a)) / kSquare;
            const double v = (-px * std::sin(a) + py * std::cos(a)) / kSquare;
            double value = 128.0;                                             // background
            if (u >= -1.5 && u < 9.5 && v >= -1.5 && v < 6.5) value = 225.0;  // margin
            if (u >= -1.0 && u < 9.0 && v >= -1.0 && v < 6.0) {
              const bool dark =
                  (static_cast<int>(std::floor(u)) + static_cast<int>(std::floor(v))) % 2 != 0;
              value = dark ? 25.0 : 225.0;
            }
            sum += value;
          }
        }
        img.pixels[static_cast<size_t>(y) * width + x] = static_cast<uint8_t>(sum / 64.0 + 0.5);
      }
    }
    return img;
  }
};

GreyView View(const GreyImage &img) {
  return {img.pixels.data(), img.width, img.height, img.width, 1};
}

TEST(ChessboardFinder, DrawnBoardCornersToATwentiethOfAPixel) {
  const DrawnBoard board{83.3, 71.6, 8.0};
  const GreyImage img = board.Draw(400, 320);
  const auto grid = FindChessboardCorners(View(img));
  ASSERT_TRUE(grid.has_value());
  ASSERT_EQ(grid->columns, 9);
  ASSERT_EQ(grid->rows, 6);
  ASSERT_EQ(grid->corners.size(), 54u);
  for (int r = 0; r < 6; r++) {
    for (int c = 0; c < 9; c++) {
      const Corner want = board.Truth(c, r);
      EXPECT_NEAR(grid->at(r, c).x, want.x, 0.05) << r << "," << c;
      EXPECT_NEAR(grid->at(r, c).y, want.y, 0.05) << r << "," << c;
    }
  }
}

TEST(ChessboardFinder, BoardTurnedOnItsSideRunsColumnsDownAndRowsRight) {
  // Turned by 100 degrees the long side points down and the short side left,
  // so the first row is the board's last.
  const DrawnBoard board{300.4, 40.2, 100.0};
  const GreyImage img = board.Draw(340, 360);
  const auto grid = FindChessboardCorners(View(img));
  ASSERT_TRUE(grid.has_value());
  for (int r = 0; r < 6; r++) {
    for (int c = 0; c < 9; c++) {
      const Corner want = board.Truth(c, 5 - r);
      EXPECT_NEAR(grid->at(r, c).x, want.x, 0.05) << r << "," << c;
      EXPECT_NEAR(grid->at(r, c).y, want.y, 0.05) << r << "," << c;
    }
  }
}

TEST(ChessboardFinder, NoAnswerWithoutAWholeBoard) {
  // The last column of corners lies beyond the right edge.
  const DrawnBoard cut{130.0, 60.0, 0.0};
  EXPECT_FALSE(FindChessboardCorners(View(cut.Draw(355, 260))).has_value());

  GreyImage flat{64, 64, std::vector<uint8_t>(64 * 64, 90)};
  EXPECT_FALSE(FindChessboardCorners(View(flat)).has_value());
}

TEST(ChessboardFinder, ReadsTheFirstSampleOfInterleavedPixels) {
  const DrawnBoard board{83.3, 71.6, 8.0};
  const GreyImage img = board.Draw(400, 320);
  // Three samples per pixel, rows padded by 5 bytes; only the first counts.
  const int32_t stride = 400 * 3 + 5;
  std::vector<uint8_t> rgb(static_cast<size_t>(stride) * 320, 0);
  for (int32_t y = 0; y < 320; y++) {
    for (int32_t x = 0; x < 400; x++) {
      rgb[static_cast<size_t>(y) * stride + x * 3] = img.pixels[static_cast<size_t>(y) * 400 + x];
      rgb[static_cast<size_t>(y) * stride + x * 3 + 1] = static_cast<uint8_t>(x * 7 + y);
    }
  }
  const auto grid = FindChessboardCorners(GreyView{rgb.data(), 400, 320, stride, 3});
  ASSERT_TRUE(grid.has_value());
  EXPECT_NEAR(grid->at(5, 8).x, board.Truth(8, 5).x, 0.05);
  EXPECT_NEAR(grid->at(5, 8).y, board.Truth(8, 5).y, 0.05);
}

struct SeenCorner {
  int row, column;
  double x, y;  // read off an enlarged crop, to about half a pixel
};

void ExpectCorners(const std::string &file, const std::vector<SeenCorner> &seen) {
  SCOPED_TRACE(file);
  const GreyImage img = ReadJpegGrey(std::string(ORTAVEL_TESTDATA_DIR) + "/chessboard/" + file);
  const auto grid = FindChessboardCorners(View(img));
  ASSERT_TRUE(grid.has_value());
  EXPECT_EQ(grid->corners.size(), 54u);
  for (const SeenCorner &s : seen) {
    EXPECT_NEAR(grid->at(s.row, s.column).x, s.x, 1.0) << s.row << "," << s.column;
    EXPECT_NEAR(grid->at(s.row, s.column).y, s.y, 1.0) << s.row << "," << s.column;
  }
}

TEST(ChessboardFinder, PhotographsGiveAllCornersWhereTheEyeSeesThem) {
  ExpectCorners(
      "0_left.jpg",
      {{0, 0, 353.5, 255.5}, {0, 8, 839.1, 187.4}, {5, 0, 307.6, 553.3}, {5, 8, 831.2, 605.5}});
  ExpectCorners("left01.jpg", {{0, 0, 244.5, 94.3}, {5, 8, 510.3, 266.0}});
  for (const char *file : {"left02.jpg", "left03.jpg", "left04.jpg", "left05.jpg"}) {
    ExpectCorners(file, {});
  }
}

}  // namespace
}  // namespace ortavel::test
