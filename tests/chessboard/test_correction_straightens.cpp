// Correcting the photographs with their converted calibrations straightens
// the board: the lens model and a kernel over the whole picture, in one call.
#include <gtest/gtest.h>

#include <string>

#include "../../cli/calibration.h"
#include "jpeg_grey.h"
#include "resample/interp.h"
#include "support/chessboard.h"

namespace ortavel {
namespace {

using test::GreyImage;

test::Straightness Measure(const GreyImage &img) {
  const auto grid = test::FindChessboardCorners(
      test::GreyView{img.pixels.data(), img.width, img.height, img.width, 1});
  EXPECT_TRUE(grid.has_value());
  return grid ? test::MeasureStraightness(*grid) : test::Straightness{};
}

const PinholeCalibration kSmallGrey{640, 480, 536.46, 536.41, 342.37, 235.55, -0.278647, 0.067173};

class CorrectionStraightens : public testing::TestWithParam<const char *> {};

TEST_P(CorrectionStraightens, RowsAndColumnsOfCorners) {
  const std::string file = GetParam();
  const PinholeCalibration &calibration =
      file == "0_left.jpg" ? kStereoRigLeftCalibration : kSmallGrey;
  const GreyImage photo =
      test::ReadJpegGrey(std::string(ORTAVEL_TESTDATA_DIR) + "/chessboard/" + file);
  ASSERT_EQ(photo.width, calibration.width);
  ASSERT_EQ(photo.height, calibration.height);

  GreyImage corrected{photo.width, photo.height, std::vector<uint8_t>(photo.pixels.size())};
  const lensdistort_model model = LensFromPinholeCalibration(calibration);
  const interp_source source{photo.pixels.data(), 0.0, 0.0, photo.width, photo.height,
                             photo.width,         1,   1,   255};
  const interp_target target{
      corrected.pixels.data(), 0.0, 0.0, photo.width, photo.height, photo.width, 1, 1, 255};
  ASSERT_EQ(
      interp_get_method(BICUBIC, 1)->kernel(&source, &target, lensdistort_transform_point, &model),
      0);
  const test::Straightness before = Measure(photo), after = Measure(corrected);
  ASSERT_GT(after.rms, 0.0);
  // Barrel correction enlarges the middle of the picture, which makes every
  // pixel distance larger: comparing pixels favours the uncorrected photo.
  EXPECT_GT(after.mean_spacing, before.mean_spacing);
  EXPECT_LE(3.0 * after.rms, before.rms) << "before " << before.rms << " after " << after.rms;
}

INSTANTIATE_TEST_SUITE_P(Photographs, CorrectionStraightens,
                         testing::Values("left01.jpg", "left02.jpg", "left03.jpg", "left04.jpg",
                                         "left05.jpg", "0_left.jpg"));

}  // namespace
}  // namespace ortavel
