// Lens model: centre placement per orientation, the radial factor, the radius
// limit and the identity model. Expected values are worked out by hand on sizes
// and offsets that are exact in binary.
#include "geometry/lensdistort.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

lensdistort_model model(int32_t w, int32_t h, uint32_t orientation) {
  lensdistort_model m{};
  m.scale = 1.0;
  m.imageWidth = w;
  m.imageHeight = h;
  m.orientation = orientation;
  return m;
}

struct Point {
  double x, y;
};

Point transform(const lensdistort_model &m, double x, double y) {
  Point p{};
  lensdistort_transform_point(x, y, &p.x, &p.y, &m);
  return p;
}

TEST(LensModel, CentreAndReferenceDimensionFollowTheOrientation) {
  // W - 1 = 200, H - 1 = 100; centerX 0.25, centerY 0.125.
  struct Case {
    uint32_t orientation;
    double x, y;
  };
  const Case cases[] = {{0, 125, 62.5}, {1, 106.25, 37.5}, {2, 75, 37.5},  {3, 93.75, 62.5},
                        {4, 75, 62.5},  {5, 93.75, 37.5},  {6, 125, 37.5}, {7, 106.25, 62.5},
                        {8, 100, 50},   {9, 100, 50},      {1000, 100, 50}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.orientation);
    lensdistort_model m = model(201, 101, c.orientation);
    m.centerX = 0.25;
    m.centerY = 0.125;
    Point centre{};
    EXPECT_EQ(lensdistort_image_center(&centre.x, &centre.y, &m), c.y);
    EXPECT_EQ(centre.x, c.x);
    EXPECT_EQ(centre.y, c.y);

    // At the centre r is exactly 0: no division by r, even with a limit on.
    m.k1 = 7.0;
    m.k2 = -3.0;
    m.radiusLimit = 0.5;
    const Point p = transform(m, c.x, c.y);
    EXPECT_EQ(p.x, c.x);
    EXPECT_EQ(p.y, c.y);
  }
}

TEST(LensModel, ZoomMovesTheCentreOutward) {
  lensdistort_model m = model(201, 101, 0);
  m.centerX = 0.25;
  m.scale = 2.0;
  Point c{};
  lensdistort_image_center(&c.x, &c.y, &m);
  EXPECT_EQ(c.x, 150.0);  // (200 + 0.25 * 200 * 2) / 2
  EXPECT_EQ(c.y, 50.0);
}

TEST(LensModel, RadialFactorUsesBothCoefficients) {
  // Orientation 1 with centerX 0.25: cy = -0.25, normalised by the height.
  // The point (125, 37.5) sits at u = 0.5, v = 0; f = 1 + 0.5 * 0.25 = 1.125.
  lensdistort_model m = model(201, 101, 1);
  m.centerX = 0.25;
  m.k1 = 0.5;
  Point p = transform(m, 125.0, 37.5);
  EXPECT_EQ(p.x, 128.125);  // (0.5625 * 100 + 200) / 2
  EXPECT_EQ(p.y, 37.5);

  // Orientations above 7 are centred and normalised by the height: (150, 50)
  // sits at u = 1, so f = 1.5 and rd = 1.5 (by the width it would be 0.5625).
  m = model(201, 101, 8);
  m.centerX = 0.25;
  m.k1 = 0.5;
  p = transform(m, 150.0, 50.0);
  EXPECT_EQ(p.x, 175.0);  // (1.5 * 100 + 200) / 2
  EXPECT_EQ(p.y, 50.0);

  // k2 alone, orientation 0: u = 0.5 gives rd = 0.5 * (1 + 0.0625) = 0.53125.
  m = model(201, 101, 0);
  m.k2 = 1.0;
  p = transform(m, 150.0, 50.0);
  EXPECT_EQ(p.x, 153.125);  // (0.53125 * 200 + 200) / 2
  EXPECT_EQ(p.y, 50.0);
}

TEST(LensModel, SignOfK1PushesOutwardOrInward) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> pos(0.0, 300.0);
  for (double k1 : {0.2, -0.2}) {
    lensdistort_model m = model(301, 201, 0);
    m.centerX = 0.1;
    m.k1 = k1;
    Point c{};
    lensdistort_image_center(&c.x, &c.y, &m);
    for (int i = 0; i < 200; ++i) {
      const double x = pos(rng);
      const double y = pos(rng) * 2.0 / 3.0;
      const Point p = transform(m, x, y);
      const double r_out = std::hypot(x - c.x, y - c.y);
      const double r_src = std::hypot(p.x - c.x, p.y - c.y);
      if (r_out < 1.0) continue;
      if (k1 > 0) {
        EXPECT_GT(r_src, r_out);
      } else {
        EXPECT_LT(r_src, r_out);
      }
    }
  }
}

TEST(LensModel, RadiusLimitCompressesBelowTheLimit) {
  lensdistort_model m = model(401, 301, 0);
  m.k1 = 50.0;
  m.radiusLimit = 1.0;
  // Everything, corners included, lands within radius 1 (200 pixels here).
  for (double x = -200; x <= 600; x += 40) {
    for (double y = -200; y <= 500; y += 35) {
      const Point p = transform(m, x, y);
      EXPECT_LT(std::hypot(p.x - 200.0, p.y - 150.0), 200.0) << x << "," << y;
    }
  }
  // Without distortion, rd = atan(r / c) * c with c = 2 / pi.
  m.k1 = 0.0;
  const Point p = transform(m, 300.0, 150.0);  // r = 0.5
  const double c = 2.0 / M_PI;
  EXPECT_NEAR(p.x, 200.0 + 200.0 * std::atan(0.5 / c) * c, 1e-9);
  EXPECT_EQ(p.y, 150.0);
}

TEST(LensModel, IdentityModelMapsEveryPointToItself) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> pos(-10.0, 700.0), off(-0.4, 0.4);
  for (uint32_t o = 0; o < 10; ++o) {
    lensdistort_model m = model(640, 480, o);
    m.centerX = off(rng);
    m.centerY = off(rng);
    for (int i = 0; i < 50; ++i) {
      const double x = pos(rng), y = pos(rng);
      const Point p = transform(m, x, y);
      EXPECT_NEAR(p.x, x, 1e-9);
      EXPECT_NEAR(p.y, y, 1e-9);
    }
  }
}

TEST(LensModel, OnePixelAlongTheReferenceDimensionIsNotGuarded) {
  const lensdistort_model m = model(1, 10, 0);
  const Point p = transform(m, 0.0, 3.0);
  EXPECT_FALSE(std::isfinite(p.x) && std::isfinite(p.y));
}

}  // namespace
