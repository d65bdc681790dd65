// Pinhole calibration to lens model: values worked out by hand, and agreement
// with the calibration's own projection written out here independently.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <tuple>

#include "../../cli/calibration.h"

namespace ortavel {
namespace {

TEST(Calibration, HandWorkedConversions) {
  struct Case {
    PinholeCalibration calibration;
    double centerX, centerY, k1, k2;
  };
  // 101 x 51: half the reference dimension is 50 pixels, the middle (50, 25).
  const Case cases[] = {
      // Focal length 50 makes the units equal; the principal point 10 pixels
      // right of the middle is 0.2 units.
      {{101, 51, 50.0, 50.0, 60.0, 25.0, 0.1, 0.2}, 0.2, 0.0, 0.1, 0.2},
      // Focal length 100: our radius is half theirs, so k1 / 4 and k2 / 16;
      // 5 pixels above the middle is -0.1 units, in width units.
      {{101, 51, 100.0, 100.0, 50.0, 20.0, 0.1, 0.2}, 0.0, -0.1, 0.025, 0.0125},
      // fx 25 and fy 100 share the focal length 50 (their geometric mean).
      {{101, 51, 25.0, 100.0, 50.0, 25.0, 0.1, 0.2}, 0.0, 0.0, 0.1, 0.2},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.calibration.fx);
    const lensdistort_model m = LensFromPinholeCalibration(c.calibration);
    EXPECT_EQ(std::tuple(m.centerX, m.centerY, m.k1, m.k2),
              std::tuple(c.centerX, c.centerY, c.k1, c.k2));
    EXPECT_EQ(std::tuple(m.radiusLimit, m.scale, m.imageWidth, m.imageHeight, m.orientation),
              std::tuple(0.0, 1.0, 101, 51, 0u));
  }
  // Too narrow, no height, no focal length, a negative one.
  for (const auto &[w, h, fx, fy] :
       {std::tuple(1, 10, 50.0, 50.0), std::tuple(10, 0, 50.0, 50.0), std::tuple(10, 10, 0.0, 50.0),
        std::tuple(10, 10, 50.0, -1.0)}) {
    EXPECT_THROW(LensFromPinholeCalibration({w, h, fx, fy, 0, 0, 0, 0}), std::invalid_argument);
  }
}

// The model sends every pixel where the calibrated camera puts it: the
// pinhole model's normalise, scale radially, back to pixels. With square
// pixels the two agree to rounding; the stereo rig's are not quite square
// (fx 835.79, fy 838.13), and one focal length for both costs well under a
// pixel even in the corners of the picture.
TEST(Calibration, ModelSendsEveryPixelWhereTheCameraPutsIt) {
  const PinholeCalibration square{640, 480, 536.44, 536.44, 342.37, 235.55, -0.278647, 0.067173};
  const std::pair<PinholeCalibration, double> cases[] = {{square, 1e-9},
                                                         {kStereoRigLeftCalibration, 0.5}};
  for (const auto &[c, tolerance] : cases) {
    const lensdistort_model m = LensFromPinholeCalibration(c);
    for (double y = 0.0; y < c.height; y += (c.height - 1) / 8.0) {
      for (double x = 0.0; x < c.width; x += (c.width - 1) / 8.0) {
        const double xu = (x - c.cx) / c.fx, yu = (y - c.cy) / c.fy;
        const double r2 = xu * xu + yu * yu, factor = 1.0 + c.k1 * r2 + c.k2 * r2 * r2;
        double mx, my;
        lensdistort_transform_point(x, y, &mx, &my, &m);
        EXPECT_NEAR(mx, c.fx * xu * factor + c.cx, tolerance) << c.width << ": " << x << "," << y;
        EXPECT_NEAR(my, c.fy * yu * factor + c.cy, tolerance) << c.width << ": " << x << "," << y;
      }
    }
  }
  // The rig's ready-made lens is its converted calibration.
  const lensdistort_model rig = LensFromPinholeCalibration(kStereoRigLeftCalibration);
  EXPECT_EQ(std::tuple(kStereoRigLeftLens.centerX, kStereoRigLeftLens.centerY,
                       kStereoRigLeftLens.k1, kStereoRigLeftLens.k2),
            std::tuple(rig.centerX, rig.centerY, rig.k1, rig.k2));
}

}  // namespace
}  // namespace ortavel
