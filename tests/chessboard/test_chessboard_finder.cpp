// The corner finder on the photographs against corner positions read off by
// eye from enlarged crops; the straightness measure on lattices worked out by
// hand; and each photograph corrected with its converted calibration (the
// lens model and a kernel over the whole picture, in one call) comes out with
// straighter rows and columns of corners.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../../cli/calibration.h"
#include "jpeg_grey.h"
#include "resample/interp.h"
#include "support/chessboard.h"

namespace ortavel::test {
namespace {

const char *const kPhotos[] = {"0_left.jpg", "left01.jpg", "left02.jpg",
                               "left03.jpg", "left04.jpg", "left05.jpg"};

GreyImage Photo(const std::string &file) {
  return ReadJpegGrey(std::string(ORTAVEL_TESTDATA_DIR) + "/chessboard/" + file);
}

std::optional<CornerGrid> Corners(const GreyImage &img, int width = 0) {
  return FindChessboardCorners(
      GreyView{img.pixels.data(), width > 0 ? width : img.width, img.height, img.width, 1});
}

Straightness Measure(const GreyImage &img) {
  const auto grid = Corners(img);
  EXPECT_TRUE(grid.has_value());
  return grid ? MeasureStraightness(*grid) : Straightness{};
}

TEST(ChessboardFinder, PhotographsGiveAllCornersWhereTheEyeSeesThem) {
  struct SeenCorner {
    int row, column;
    double x, y;  // read off an enlarged crop, to about half a pixel
  };
  const std::vector<SeenCorner> seen[] = {
      {{0, 0, 353.5, 255.5}, {0, 8, 839.1, 187.4}, {5, 0, 307.6, 553.3}, {5, 8, 831.2, 605.5}},
      {{0, 0, 244.5, 94.3}, {5, 8, 510.3, 266.0}}};
  for (size_t i = 0; i < std::size(kPhotos); i++) {
    SCOPED_TRACE(kPhotos[i]);
    const auto grid = Corners(Photo(kPhotos[i]));
    ASSERT_TRUE(grid.has_value());
    EXPECT_EQ(grid->corners.size(), 54u);
    for (const SeenCorner &s : i < std::size(seen) ? seen[i] : std::vector<SeenCorner>{}) {
      EXPECT_NEAR(grid->at(s.row, s.column).x, s.x, 1.0) << s.row << "," << s.column;
      EXPECT_NEAR(grid->at(s.row, s.column).y, s.y, 1.0) << s.row << "," << s.column;
    }
  }
  // No answer without a whole board: left01.jpg cut off at x = 400, through
  // the middle of the board, or no board at all.
  EXPECT_FALSE(Corners(Photo("left01.jpg"), 400));
  EXPECT_FALSE(Corners(GreyImage{64, 64, std::vector<uint8_t>(64 * 64, 90)}));
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
  EXPECT_NEAR(s.rms + s.max, 0.0, 1e-9);
  EXPECT_NEAR(s.mean_spacing, 10.0, 1e-9);
  g.corners[2 * 9 + 4].x -= d * std::sin(a);
  g.corners[2 * 9 + 4].y += d * std::cos(a);
  s = MeasureStraightness(g);
  EXPECT_NEAR(s.max, 8.0 * d / 9.0, 1e-9);
  EXPECT_NEAR(s.rms, std::sqrt(8.0 * d * d / 9.0 / 108.0), 1e-9);
}

TEST(CorrectionStraightens, RowsAndColumnsOfCornersInEveryPhotograph) {
  const PinholeCalibration small{640, 480, 536.46, 536.41, 342.37, 235.55, -0.278647, 0.067173};
  for (const std::string file : kPhotos) {
    SCOPED_TRACE(file);
    const PinholeCalibration &c = file == "0_left.jpg" ? kStereoRigLeftCalibration : small;
    const GreyImage photo = Photo(file);
    ASSERT_EQ(std::pair(photo.width, photo.height), std::pair(c.width, c.height));
    GreyImage corrected{photo.width, photo.height, std::vector<uint8_t>(photo.pixels.size())};
    const lensdistort_model model = LensFromPinholeCalibration(c);
    const interp_source src{photo.pixels.data(), 0, 0, c.width, c.height, c.width, 1, 1, 255};
    const interp_target dst{corrected.pixels.data(), 0, 0, c.width, c.height, c.width, 1, 1, 255};
    ASSERT_EQ(
        interp_get_method(BICUBIC, 1)->kernel(&src, &dst, lensdistort_transform_point, &model), 0);
    const Straightness before = Measure(photo), after = Measure(corrected);
    ASSERT_GT(after.rms, 0.0);
    // Barrel correction enlarges the middle of the picture, which makes every
    // pixel distance larger: comparing pixels favours the uncorrected photo.
    EXPECT_GT(after.mean_spacing, before.mean_spacing);
    EXPECT_LE(3.0 * after.rms, before.rms) << "before " << before.rms << " after " << after.rms;
  }
}

}  // namespace
}  // namespace ortavel::test
