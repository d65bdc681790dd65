// Pinhole calibration to lens model: values worked out by hand, and agreement
// with the calibration's own projection written out here independently.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "../../cli/calibration.h"

namespace ortavel {
namespace {

// Where the calibrated camera puts the ideal pixel (x, y): the pinhole model's
// normalise, scale radially, back to pixels.
void CalibratedProjection(const PinholeCalibration &c, double x, double y, double *out_x,
                          double *out_y) {
  const double xu = (x - c.cx) / c.fx;
  const double yu = (y - c.cy) / c.fy;
  const double r2 = xu * xu + yu * yu;
  const double factor = 1.0 + c.k1 * r2 + c.k2 * r2 * r2;
  *out_x = c.fx * xu * factor + c.cx;
  *out_y = c.fy * yu * factor + c.cy;
}

TEST(Calibration, HandWorkedConversions) {
  // 101 wide: half the reference dimension is 50 pixels, the middle is (50, 25).
  // A focal length of 50 makes the units equal; the principal point 10 pixels
  // right of the middle is 0.2 units.
  lensdistort_model m = LensFromPinholeCalibration({101, 51, 50.0, 50.0, 60.0, 25.0, 0.1, 0.2});
  EXPECT_DOUBLE_EQ(m.centerX, 0.2);
  EXPECT_DOUBLE_EQ(m.centerY, 0.0);
  EXPECT_DOUBLE_EQ(m.k1, 0.1);
  EXPECT_DOUBLE_EQ(m.k2, 0.2);
  EXPECT_EQ(m.radiusLimit, 0.0);
  EXPECT_EQ(m.scale, 1.0);
  EXPECT_EQ(m.imageWidth, 101);
  EXPECT_EQ(m.imageHeight, 51);
  EXPECT_EQ(m.orientation, 0u);

  // Focal length 100: our radius is half theirs, so k1 / 4 and k2 / 16; the
  // principal point 5 pixels above the middle is -0.1 units, in width units.
  m = LensFromPinholeCalibration({101, 51, 100.0, 100.0, 50.0, 20.0, 0.1, 0.2});
  EXPECT_DOUBLE_EQ(m.centerX, 0.0);
  EXPECT_DOUBLE_EQ(m.centerY, -0.1);
  EXPECT_DOUBLE_EQ(m.k1, 0.025);
  EXPECT_DOUBLE_EQ(m.k2, 0.0125);

  // fx 25 and fy 100 share the focal length 50 (their geometric mean).
  m = LensFromPinholeCalibration({101, 51, 25.0, 100.0, 50.0, 25.0, 0.1, 0.2});
  EXPECT_DOUBLE_EQ(m.k1, 0.1);
}

TEST(Calibration, ModelSendsEveryPixelWhereTheCameraPutsIt) {
  // Square pixels: the two must agree to rounding everywhere.
  const PinholeCalibration square{640, 480, 536.44, 536.44, 342.37, 235.55, -0.278647, 0.067173};
  const lensdistort_model m = LensFromPinholeCalibration(square);
  for (double y = 0.0; y < 480.0; y += 37.0) {
    for (double x = 0.0; x < 640.0; x += 41.0) {
      double mx, my, cx, cy;
      lensdistort_transform_point(x, y, &mx, &my, &m);
      CalibratedProjection(square, x, y, &cx, &cy);
      EXPECT_NEAR(mx, cx, 1e-9) << x << "," << y;
      EXPECT_NEAR(my, cy, 1e-9) << x << "," << y;
    }
  }
}

TEST(Calibration, StereoRigConstantIsTheConvertedCalibration) {
  const lensdistort_model m = LensFromPinholeCalibration(kStereoRigLeftCalibration);
  EXPECT_NEAR(kStereoRigLeftLens.centerX, m.centerX, 1e-15);
  EXPECT_NEAR(kStereoRigLeftLens.centerY, m.centerY, 1e-15);
  EXPECT_NEAR(kStereoRigLeftLens.k1, m.k1, 1e-15);
  EXPECT_NEAR(kStereoRigLeftLens.k2, m.k2, 1e-15);
  EXPECT_EQ(kStereoRigLeftLens.imageWidth, 1024);
  EXPECT_EQ(kStereoRigLeftLens.imageHeight, 768);

  // Its pixels are not quite square (fx 835.79, fy 838.13); one focal length
  // for both costs well under a pixel even in the corners of the picture.
  for (double y : {0.0, 383.5, 767.0}) {
    for (double x : {0.0, 511.5, 1023.0}) {
      double mx, my, cx, cy;
      lensdistort_transform_point(x, y, &mx, &my, &kStereoRigLeftLens);
      CalibratedProjection(kStereoRigLeftCalibration, x, y, &cx, &cy);
      EXPECT_NEAR(mx, cx, 0.5) << x << "," << y;
      EXPECT_NEAR(my, cy, 0.5) << x << "," << y;
    }
  }
}

TEST(Calibration, RefusesSizesAndFocalLengthsThatMeanNothing) {
  EXPECT_THROW(LensFromPinholeCalibration({1, 10, 50.0, 50.0, 0.0, 0.0, 0.0, 0.0}),
               std::invalid_argument);
  EXPECT_THROW(LensFromPinholeCalibration({10, 0, 50.0, 50.0, 0.0, 0.0, 0.0, 0.0}),
               std::invalid_argument);
  EXPECT_THROW(LensFromPinholeCalibration({10, 10, 0.0, 50.0, 0.0, 0.0, 0.0, 0.0}),
               std::invalid_argument);
  EXPECT_THROW(LensFromPinholeCalibration({10, 10, 50.0, -1.0, 0.0, 0.0, 0.0, 0.0}),
               std::invalid_argument);
}

}  // namespace
}  // namespace ortavel
