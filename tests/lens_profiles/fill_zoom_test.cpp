// --fill's zoom, checked pixel by pixel through the filter's own lens model:
// with it every output pixel takes its colour from inside the photograph,
// and with a hair less zoom some pixel does not.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "geometry/lensdistort.h"
#include "lens_profiles/settings_fill.h"

namespace ortavel::cli {
namespace {

// Every pixel of the canvas, margins included, the hard way.
bool everyPixelInside(const CorrectionSettings &s, std::int32_t w, std::int32_t h) {
  const lensdistort_model m{s.centerX,
                            s.centerY,
                            s.k1,
                            s.k2,
                            s.radiusLimit,
                            s.scale,
                            w,
                            h,
                            static_cast<std::uint32_t>(s.orientation)};
  for (std::int32_t y = -s.margins.top; y < h + s.margins.bottom; ++y) {
    for (std::int32_t x = -s.margins.left; x < w + s.margins.right; ++x) {
      double sx = 0.0, sy = 0.0;
      lensdistort_transform_point(x, y, &sx, &sy, &m);
      if (sx < 0.0 || sx > w - 1 || sy < 0.0 || sy > h - 1) return false;
    }
  }
  return true;
}

struct FillCase {
  std::string what;
  CorrectionSettings settings;
  std::int32_t width;
  std::int32_t height;
};

CorrectionSettings lens(double k1, double k2) {
  CorrectionSettings s;
  s.k1 = k1;
  s.k2 = k2;
  return s;
}

TEST(FillZoom, NoEmptyBorderAndNoMoreZoomThanNeeded) {
  FillCase cases[] = {
      {"barrel, landscape", lens(-0.2, 0.05), 160, 100},
      {"barrel, portrait", lens(-0.2, 0.05), 90, 150},
      {"pincushion", lens(0.15, 0.0), 160, 100},
      {"wavy: barrel inside, pincushion at the rim", lens(-0.12, 0.09), 160, 120},
      {"barrel with margins", lens(-0.2, 0.05), 160, 100},
      {"off-centre, turned a quarter", lens(-0.25, 0.0), 140, 100},
      {"radius limit", lens(0.3, 0.0), 120, 120},
  };
  cases[4].settings.margins = {6, 3, 10, 0};
  cases[5].settings.centerX = 0.1;
  cases[5].settings.centerY = -0.05;
  cases[5].settings.orientation = 1;
  cases[6].settings.radiusLimit = 1.5;
  for (const FillCase &c : cases) {
    SCOPED_TRACE(c.what);
    const auto zoom = fillZoom(c.settings, c.width, c.height);
    ASSERT_TRUE(zoom);
    CorrectionSettings s = c.settings;
    s.scale = *zoom;
    EXPECT_TRUE(everyPixelInside(s, c.width, c.height));
    s.scale = *zoom * (1.0 - 1e-9);
    EXPECT_FALSE(everyPixelInside(s, c.width, c.height));
  }
}

TEST(FillZoom, ZoomsInWhenTheCorrectionReachesOutsideAndOutWhenItStaysInside) {
  // k1 > 0 takes colour from farther out (an empty border at zoom 1); k1 < 0
  // from nearer in (the picture's rim pushed off the canvas at zoom 1).
  for (double k1 : {0.15, -0.2}) {
    SCOPED_TRACE(k1);
    CorrectionSettings s = lens(k1, 0.0);
    s.scale = 3.0;  // ignored
    const auto zoom = fillZoom(s, 160, 100);
    ASSERT_TRUE(zoom);
    EXPECT_EQ(*zoom > 1.0, k1 > 0.0);
    s.scale = 1.0;
    EXPECT_EQ(everyPixelInside(s, 160, 100), k1 < 0.0);
    EXPECT_EQ(fillZoom(s, 160, 100), zoom);
  }
}

TEST(FillZoom, NoZoomFillsWhenTheOpticalCentreIsOutsideThePicture) {
  CorrectionSettings s = lens(-0.1, 0.0);
  s.centerX = 2.5;
  EXPECT_FALSE(fillZoom(s, 100, 80));
}

}  // namespace
}  // namespace ortavel::cli
