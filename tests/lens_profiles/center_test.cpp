// A lens whose optical centre is off the middle of the frame: the database
// gives the shift in its own units, the profile carries it into our model's
// centre, and the corrected geometry agrees with lfModifier's. The lenses are
// our own, in a user database folder (user_data/lensfun) this test runs with.
#include <gtest/gtest.h>
#include <lensfun/lensfun.h>

#include <algorithm>
#include <cmath>

#include "correction_settings.h"
#include "geometry/lensdistort.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"

namespace ortavel::cli {
namespace {

// lensfun works in single precision.
constexpr double kFloatSlack = 0.005;

struct Shot {
  LensProfile profile;
  double largestGapPx = 0.0;
  double fixedX = 0.0, fixedY = 0.0;  // the point lensfun's mapping keeps in place
};

Shot shoot(const char *model, double focal, int w, int h) {
  PhotoIdentity photo{"Ortavel Test", model, focal, std::nullopt, std::nullopt};
  const ProfileLookup found = findLensProfile(photo, {}, w, h);
  EXPECT_TRUE(found.profile) << found.error;
  if (!found.profile) return {};
  Shot out{*found.profile};
  CorrectionSettings s;
  applyProfile(out.profile, s);

  const LensDatabase &db = LensDatabase::shared();
  const lfCamera *camera = db.findCameras("Ortavel Test", model).front();
  const lfLens *lens = db.fixedLensOf(camera);
  lfModifier mod(lens, camera->CropFactor, w, h);
  EXPECT_NE(mod.Initialize(lens, LF_PF_U8, static_cast<float>(focal), 8.0f, 1000.0f, 1.0f,
                           lens->Type, LF_MODIFY_DISTORTION, false),
            0);
  lensdistort_model m{};
  m.centerX = s.centerX;
  m.centerY = s.centerY;
  m.k1 = s.k1;
  m.k2 = s.k2;
  m.scale = s.scale;
  m.imageWidth = w;
  m.imageHeight = h;
  constexpr int kSteps = 40;
  for (int j = 0; j <= kSteps; ++j) {
    for (int i = 0; i <= kSteps; ++i) {
      const int x = (w - 1) * i / kSteps, y = (h - 1) * j / kSteps;
      float theirs[2];
      mod.ApplyGeometryDistortion(static_cast<float>(x), static_cast<float>(y), 1, 1, theirs);
      double sx = 0.0, sy = 0.0;
      lensdistort_transform_point(x, y, &sx, &sy, &m);
      out.largestGapPx = std::max(out.largestGapPx, std::hypot(sx - theirs[0], sy - theirs[1]));
    }
  }
  // The distortion's centre stays where it is: lensfun's fixed point, by
  // Newton's method with a finite-difference Jacobian.
  double p[2] = {(w - 1) * 0.5, (h - 1) * 0.5};
  auto moved = [&](double x, double y, double d[2]) {
    float q[2];
    mod.ApplyGeometryDistortion(static_cast<float>(x), static_cast<float>(y), 1, 1, q);
    d[0] = q[0] - x;
    d[1] = q[1] - y;
  };
  for (int k = 0; k < 8; ++k) {
    double d[2], dx[2], dy[2];
    moved(p[0], p[1], d);
    moved(p[0] + 1.0, p[1], dx);
    moved(p[0], p[1] + 1.0, dy);
    const double a = dx[0] - d[0], b = dy[0] - d[0], c = dx[1] - d[1], e = dy[1] - d[1];
    const double det = a * e - b * c;
    p[0] -= (e * d[0] - b * d[1]) / det;
    p[1] -= (a * d[1] - c * d[0]) / det;
  }
  out.fixedX = p[0];
  out.fixedY = p[1];
  return out;
}

TEST(LensCentre, TheDatabasesCentreShiftBecomesTheOpticalCentre) {
  for (double focal : {10.0, 14.0}) {
    for (auto [w, h] : {std::pair{1500, 1000}, std::pair{1000, 1500}}) {
      SCOPED_TRACE(focal * 100000 + w);
      const Shot shifted = shoot("Shifty One", focal, w, h);
      // Right of and above the middle, as the database's x=0.06, y=-0.04 says.
      EXPECT_GT(shifted.profile.centerX, 0.0);
      EXPECT_LT(shifted.profile.centerY, 0.0);
      EXPECT_NEAR(shifted.profile.centerY / shifted.profile.centerX, -0.04 / 0.06, 1e-6);
      // Where the source of the optical centre lies in our model, in pixels.
      const double half = (w - 1) * 0.5;
      EXPECT_NEAR((w - 1) * 0.5 + shifted.profile.centerX * half, shifted.fixedX, 0.02);
      EXPECT_NEAR((h - 1) * 0.5 + shifted.profile.centerY * half, shifted.fixedY, 0.02);
      EXPECT_LE(shifted.largestGapPx, shifted.profile.fitErrorPx + kFloatSlack);

      // Its twin without the shift: centre 0,0 and an exact conversion.
      const Shot centred = shoot("Centred One", focal, w, h);
      EXPECT_EQ(centred.profile.centerX, 0.0);
      EXPECT_EQ(centred.profile.centerY, 0.0);
      EXPECT_TRUE(centred.profile.exact);
      EXPECT_EQ(centred.profile.k1, shifted.profile.k1);
      EXPECT_EQ(centred.profile.scale, shifted.profile.scale);
      EXPECT_LT(centred.largestGapPx, kFloatSlack);
      // Our zoom acts about the picture's middle, lensfun's distortion about
      // the shifted centre: with the centre 30 pixels off and a zoom 3 % from
      // 1, the two stay within about a pixel, and the profile says so.
      EXPECT_GT(shifted.profile.fitErrorPx, 0.1);
      EXPECT_LT(shifted.profile.fitErrorPx, 2.0);
    }
  }
}

}  // namespace
}  // namespace ortavel::cli
