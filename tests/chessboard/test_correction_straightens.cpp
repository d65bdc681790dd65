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
using test::GreyView;

GreyImage Correct(const GreyImage &in, const lensdistort_model &model) {
  GreyImage out{in.width, in.height, std::vector<uint8_t>(in.pixels.size())};
  const interp_method *bicubic = interp_get_method(BICUBIC, 1);
  const interp_source source{in.pixels.data(), 0.0, 0.0, in.width, in.height, in.width, 1, 1, 255};
  const interp_target target{out.pixels.data(), 0.0, 0.0, in.width, in.height, in.width, 1, 1, 255};
  EXPECT_EQ(bicubic->kernel(&source, &target, lensdistort_transform_point, &model), 0);
  return out;
}

test::Straightness Measure(const GreyImage &img) {
  const auto grid =
      test::FindChessboardCorners(GreyView{img.pixels.data(), img.width, img.height, img.width, 1});
  EXPECT_TRUE(grid.has_value());
  return grid ? test::MeasureStraightness(*grid) : test::Straightness{};
}

void ExpectStraighter(const std::string &file, const PinholeCalibration &calibration) {
  SCOPED_TRACE(file);
  const GreyImage photo =
      test::ReadJpegGrey(std::string(ORTAVEL_TESTDATA_DIR) + "/chessboard/" + file);
  ASSERT_EQ(photo.width, calibration.width);
  ASSERT_EQ(photo.height, calibration.height);
  const test::Straightness before = Measure(photo);
  const test::Straightness after = Measure(Correct(photo, LensFromPinholeCalibration(calibration)));
  ASSERT_GT(before.rms, 0.0);
  ASSERT_GT(after.rms, 0.0);
  // Barrel correction enlarges the middle of the picture, which makes every
  // pixel distance larger: comparing pixels favours the uncorrected photo.
  EXPECT_GT(after.mean_spacing, before.mean_spacing);
  EXPECT_LE(3.0 * after.rms, before.rms) << "before " << before.rms << " after " << after.rms;
}

TEST(CorrectionStraightens, SmallGreyCamera) {
  const PinholeCalibration left{640, 480, 536.46, 536.41, 342.37, 235.55, -0.278647, 0.067173};
  for (const char *file : {"left01.jpg", "left02.jpg", "left03.jpg", "left04.jpg", "left05.jpg"}) {
    ExpectStraighter(file, left);
  }
}

TEST(CorrectionStraightens, StereoRigCamera) {
  ExpectStraighter("0_left.jpg", kStereoRigLeftCalibration);
}

}  // namespace
}  // namespace ortavel
