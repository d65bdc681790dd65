// --fill's zoom, checked pixel by pixel through the filter's own lens model:
// with it every output pixel takes its colour from inside the photograph,
// and with a hair less zoom some pixel does not.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "geometry/lensdistort.h"
#include "lens_profiles/settings_fill.h"
#include "profiles/fill_zoom.h"

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

// The source radius along the ray from the optical centre to the farthest
// corner of the picture, pixel by pixel through the filter's own transform:
// whether it ever shrinks as the output radius grows.
bool rayFolds(const CorrectionSettings &s, std::int32_t w, std::int32_t h) {
  const lensdistort_model m{s.centerX,
                            s.centerY,
                            s.k1,
                            s.k2,
                            s.radiusLimit,
                            s.scale,
                            w,
                            h,
                            static_cast<std::uint32_t>(s.orientation)};
  double ox = 0.0, oy = 0.0;
  lensdistort_image_center(&ox, &oy, &m);
  double cx = 0.0, cy = 0.0;  // the centre's own source position
  lensdistort_transform_point(ox, oy, &cx, &cy, &m);
  double fx = 0.0, fy = 0.0, far = -1.0;
  for (const double x : {0.0, w - 1.0})
    for (const double y : {0.0, h - 1.0})
      if (std::hypot(x - ox, y - oy) > far) {
        far = std::hypot(x - ox, y - oy);
        fx = x;
        fy = y;
      }
  const int steps = 4 * static_cast<int>(far);
  double last = 0.0;
  for (int i = 1; i <= steps; ++i) {
    const double t = static_cast<double>(i) / steps;
    double sx = 0.0, sy = 0.0;
    lensdistort_transform_point(ox + (fx - ox) * t, oy + (fy - oy) * t, &sx, &sy, &m);
    const double d = std::hypot(sx - cx, sy - cy);
    if (d < last) return true;
    last = d;
  }
  return false;
}

TEST(FillFolds, TheSourceRadiusStopsGrowingWhereItsDerivativeVanishes) {
  // rd(r) = r (1 + k1 r² + k2 r⁴) has its first maximum at foldRadius: just
  // inside it rd grows, just outside it shrinks.
  const double h = 1e-4;
  for (const auto &[k1, k2] : {std::pair{-0.3, 0.0}, std::pair{-0.5, 0.05}, std::pair{0.1, -0.2},
                               std::pair{-0.05, -0.01}, std::pair{0.0, -1.0}}) {
    SCOPED_TRACE(testing::Message() << k1 << ", " << k2);
    auto rd = [&](double r) { return r * (1.0 + k1 * r * r + k2 * r * r * r * r); };
    const double r = profiles::foldRadius(k1, k2);
    ASSERT_TRUE(std::isfinite(r));
    EXPECT_LT(rd(r - h), rd(r));
    EXPECT_LT(rd(r + h), rd(r));
    for (double q = h; q + 1e-3 < r; q += 1e-3) ASSERT_LT(rd(q), rd(q + 1e-3)) << q;
  }
  // k1 = -0.3 alone: 1 - 0.9 r² = 0, by hand.
  EXPECT_NEAR(profiles::foldRadius(-0.3, 0.0), std::sqrt(1.0 / 0.9), 1e-12);
  // Never: growth everywhere, or a dip that does not reach zero.
  EXPECT_TRUE(std::isinf(profiles::foldRadius(0.2, 0.0)));
  EXPECT_TRUE(std::isinf(profiles::foldRadius(0.0, 0.0)));
  EXPECT_TRUE(std::isinf(profiles::foldRadius(-0.2, 0.05)));  // 0.36 < 4 * 0.25
}

TEST(FillFolds, AFillThatFoldsIsToldAndTheBorderK1DoesNot) {
  struct Case {
    const char *what;
    CorrectionSettings settings;
    std::int32_t width, height;
  };
  Case cases[] = {
      {"strong barrel", lens(-0.6, 0.0), 160, 100},
      {"strong barrel, portrait", lens(-0.45, 0.02), 90, 150},
      {"strong barrel off-centre", lens(-0.5, 0.0), 140, 100},
      {"strong barrel, radius limit", lens(-0.6, 0.0), 160, 100},
  };
  cases[2].settings.centerX = 0.1;
  cases[2].settings.orientation = 1;
  cases[3].settings.radiusLimit = 2.0;
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    CorrectionSettings s = c.settings;
    const auto zoom = fillZoom(s, c.width, c.height);
    ASSERT_TRUE(zoom);
    s.scale = *zoom;
    EXPECT_TRUE(rayFolds(s, c.width, c.height));
    EXPECT_TRUE(foldsAtZoom(s, c.width, c.height, *zoom));

    const auto border = strongestUnfoldedK1(c.settings, c.width, c.height);
    ASSERT_TRUE(border);
    EXPECT_GT(*border, c.settings.k1);
    EXPECT_LT(*border, 0.0);
    for (const double k1 : {*border, *border - 0.002}) {
      CorrectionSettings t = c.settings;
      t.k1 = k1;
      t.scale = *fillZoom(t, c.width, c.height);
      // The sampled ray sees a fold only once it is a pixel's worth past
      // the corner; the border itself must not fold, a little beyond must.
      EXPECT_EQ(foldsAtZoom(t, c.width, c.height, t.scale), k1 != *border) << k1;
      if (k1 == *border) {
        EXPECT_FALSE(rayFolds(t, c.width, c.height));
      }
    }
  }
  // The gentle fills of the other tests do not fold.
  for (const auto &[k1, k2] :
       {std::pair{-0.2, 0.05}, std::pair{-0.12, 0.09}, std::pair{0.15, 0.0}}) {
    CorrectionSettings s = lens(k1, k2);
    s.scale = *fillZoom(s, 160, 100);
    EXPECT_FALSE(foldsAtZoom(s, 160, 100, s.scale)) << k1;
    EXPECT_FALSE(rayFolds(s, 160, 100)) << k1;
  }
  // A k2 that folds even without k1 leaves nothing to suggest.
  EXPECT_FALSE(strongestUnfoldedK1(lens(-0.5, -2.0), 160, 100));
}

}  // namespace
}  // namespace ortavel::cli
