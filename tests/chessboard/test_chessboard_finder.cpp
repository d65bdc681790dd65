// The corner finder on the photographs against corner positions read off by
// eye from enlarged crops; the straightness measure on lattices worked out by
// hand.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "jpeg_grey.h"
#include "support/chessboard.h"

namespace ortavel::test {
namespace {

GreyImage Photo(const std::string &file) {
  return ReadJpegGrey(std::string(ORTAVEL_TESTDATA_DIR) + "/chessboard/" + file);
}

GreyView View(const GreyImage &img) {
  return {img.pixels.data(), img.width, img.height, img.width, 1};
}

TEST(ChessboardFinder, PhotographsGiveAllCornersWhereTheEyeSeesThem) {
  struct SeenCorner {
    int row, column;
    double x, y;  // read off an enlarged crop, to about half a pixel
  };
  const std::pair<const char *, std::vector<SeenCorner>> photos[] = {
      {"0_left.jpg",
       {{0, 0, 353.5, 255.5}, {0, 8, 839.1, 187.4}, {5, 0, 307.6, 553.3}, {5, 8, 831.2, 605.5}}},
      {"left01.jpg", {{0, 0, 244.5, 94.3}, {5, 8, 510.3, 266.0}}},
      {"left02.jpg", {}},
      {"left03.jpg", {}},
      {"left04.jpg", {}},
      {"left05.jpg", {}}};
  for (const auto &[file, seen] : photos) {
    SCOPED_TRACE(file);
    const auto grid = FindChessboardCorners(View(Photo(file)));
    ASSERT_TRUE(grid.has_value());
    EXPECT_EQ(grid->corners.size(), 54u);
    for (const SeenCorner &s : seen) {
      EXPECT_NEAR(grid->at(s.row, s.column).x, s.x, 1.0) << s.row << "," << s.column;
      EXPECT_NEAR(grid->at(s.row, s.column).y, s.y, 1.0) << s.row << "," << s.column;
    }
  }
  // No answer without a whole board: left01.jpg cut off at x = 400, through
  // the middle of the board, or no board at all.
  const GreyImage img = Photo("left01.jpg");
  EXPECT_FALSE(FindChessboardCorners(GreyView{img.pixels.data(), 400, img.height, img.width, 1}));
  const GreyImage flat{64, 64, std::vector<uint8_t>(64 * 64, 90)};
  EXPECT_FALSE(FindChessboardCorners(View(flat)));
}

// The straightness measure on a lattice turned by 23 degrees, straight and
// then with corner 4 of row 2 moved by d across its row: the best line moves
// by d/9 towards it and stays parallel, leaving eight corners at d/9 and the
// moved one at 8d/9. Its column is untouched, the move being along it. Sum
// of squares 8d^2/81 + 64d^2/81 = 8d^2/9 over 54 + 54 distances.
TEST(Straightness, HandWorkedLattices) {
  const double a = 23.0 * std::numbers::pi / 180.0, d = 0.9;
  CornerGrid g{9, 6, {}};
  for (int r = 0; r < 6; r++) {
    for (int c = 0; c < 9; c++) {
      g.corners.push_back({50.0 + 10.0 * (c * std::cos(a) - r * std::sin(a)),
                           20.0 + 10.0 * (c * std::sin(a) + r * std::cos(a))});
    }
  }
  Straightness s = MeasureStraightness(g);
  EXPECT_EQ(s.lines, 15);
  EXPECT_NEAR(s.rms, 0.0, 1e-9);
  EXPECT_NEAR(s.max, 0.0, 1e-9);
  EXPECT_NEAR(s.mean_spacing, 10.0, 1e-9);
  g.corners[2 * 9 + 4].x -= d * std::sin(a);
  g.corners[2 * 9 + 4].y += d * std::cos(a);
  s = MeasureStraightness(g);
  EXPECT_NEAR(s.max, 8.0 * d / 9.0, 1e-9);
  EXPECT_NEAR(s.rms, std::sqrt(8.0 * d * d / 9.0 / 108.0), 1e-9);
}

}  // namespace
}  // namespace ortavel::test
