// Profiles of real database entries against the geometry lensfun itself
// computes for the same picture: for each corrected pixel of a grid over the
// frame, lfModifier's distorted source position and our lens model's must
// agree within the error the conversion reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "geometry/lensdistort.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"

namespace ortavel::cli {
namespace {

// lensfun works in single precision: a few thousandths of a pixel on a
// 6000-pixel frame.
constexpr double kFloatSlack = 0.005;

struct Case {
  const char *make;
  const char *model;
  const char *lens;  // null: the camera's fixed lens
  double focal;
  int width;
  int height;
};

struct Comparison {
  LensProfile profile;
  double largestGapPx = 0.0;  // over the grid, ours against lfModifier's
};

Comparison compare(const Case &c) {
  PhotoIdentity photo{c.make, c.model, c.focal, std::nullopt, std::nullopt};
  if (c.lens) photo.lensModel = c.lens;
  const ProfileLookup found = findLensProfile(photo, {}, c.width, c.height);
  EXPECT_TRUE(found.profile) << found.error;
  if (!found.profile) return {};
  Comparison out{*found.profile};

  const LensDatabase &db = LensDatabase::shared();
  const lfCamera *camera = db.findCameras(c.make, c.model).front();
  const lfLens *lens =
      c.lens ? db.findLenses(camera, std::nullopt, c.lens).front() : db.fixedLensOf(camera);
  lfModifier mod(lens, camera->CropFactor, c.width, c.height);
  EXPECT_NE(mod.Initialize(lens, LF_PF_U8, static_cast<float>(c.focal), 8.0f, 1000.0f, 1.0f,
                           lens->Type, LF_MODIFY_DISTORTION, false),
            0);

  lensdistort_model m{};
  m.k1 = out.profile.k1;
  m.k2 = out.profile.k2;
  m.scale = out.profile.scale;
  m.imageWidth = c.width;
  m.imageHeight = c.height;
  constexpr int kSteps = 40;
  for (int j = 0; j <= kSteps; ++j) {
    for (int i = 0; i <= kSteps; ++i) {
      const int x = (c.width - 1) * i / kSteps, y = (c.height - 1) * j / kSteps;
      float theirs[2];
      EXPECT_TRUE(
          mod.ApplyGeometryDistortion(static_cast<float>(x), static_cast<float>(y), 1, 1, theirs));
      double sx = 0.0, sy = 0.0;
      lensdistort_transform_point(x, y, &sx, &sy, &m);
      out.largestGapPx = std::max(out.largestGapPx, std::hypot(sx - theirs[0], sy - theirs[1]));
    }
  }
  return out;
}

TEST(Conversion, Poly5ConvertsExactlyAtEveryCalibratedAndInterpolatedFocalLength) {
  // The G12's built-in lens, 4:3 like its calibration; 6.1 and 30.5 mm are
  // calibrated, 10 mm lies between 8.108 and 12.074.
  for (double focal : {6.1, 10.0, 30.5}) {
    const Comparison r = compare({"Canon", "Canon PowerShot G12", nullptr, focal, 3648, 2736});
    SCOPED_TRACE(focal);
    EXPECT_EQ(r.profile.model, "poly5");
    EXPECT_TRUE(r.profile.fixedLens);
    EXPECT_TRUE(r.profile.exact);
    EXPECT_DOUBLE_EQ(r.profile.scale, 1.0);
    EXPECT_LT(r.profile.fitErrorPx, 1e-6);
    EXPECT_LT(r.largestGapPx, kFloatSlack);
  }
  // At 6.1 mm the lens bends the corner of the frame by tens of pixels: the
  // agreement is not that of two identities.
  const Comparison wide = compare({"Canon", "Canon PowerShot G12", nullptr, 6.1, 3648, 2736});
  EXPECT_LT(wide.profile.k1, -0.01);
}

TEST(Conversion, Poly3ConvertsExactlyWithTheZoom) {
  // 24 mm lies between the lens's calibrations; the picture is portrait.
  for (auto [w, h] : {std::pair{4288, 2848}, std::pair{2848, 4288}}) {
    const Comparison r = compare({"NIKON CORPORATION", "NIKON D300",
                                  "Nikon AF-S DX Zoom-Nikkor 17-55mm f/2.8G IF-ED", 24.0, w, h});
    SCOPED_TRACE(w);
    EXPECT_EQ(r.profile.model, "poly3");
    EXPECT_TRUE(r.profile.exact);
    EXPECT_NE(r.profile.scale, 1.0);
    EXPECT_LT(r.largestGapPx, kFloatSlack);
  }
}

TEST(Conversion, StrongPtlensFitsWithinItsReportedErrorOnA24MegapixelFrame) {
  // Canon EF-S 10-22mm at 10 mm (calibrated) and 11 mm (between 10 and 12) on
  // a 6000 x 4000 APS-C body: the corners keep a few pixels, our model's limit.
  for (double focal : {10.0, 11.0}) {
    const Comparison r =
        compare({"Canon", "Canon EOS 80D", "Canon EF-S 10-22mm f/3.5-4.5 USM", focal, 6000, 4000});
    SCOPED_TRACE(focal);
    EXPECT_EQ(r.profile.model, "ptlens");
    EXPECT_FALSE(r.profile.exact);
    EXPECT_GT(r.profile.fitErrorPx, 0.1);
    EXPECT_LT(r.profile.fitErrorPx, 10.0);
    EXPECT_LE(r.largestGapPx, r.profile.fitErrorPx + kFloatSlack);
  }
}

TEST(Conversion, MildPtlensFitsUnderATenthOfAPixel) {
  // The PowerShot S40's built-in lens at 14.719 mm, on its whole 4 MP frame.
  const Comparison r = compare({"Canon", "Canon PowerShot S40", nullptr, 14.719, 2272, 1704});
  EXPECT_EQ(r.profile.model, "ptlens");
  EXPECT_LT(r.profile.fitErrorPx, 0.1);
  EXPECT_LE(r.largestGapPx, r.profile.fitErrorPx + kFloatSlack);
}

TEST(Conversion, FramesOfAnotherAspectRatioThanTheCalibrations) {
  // The DiMAGE X lens was calibrated at 4:3; a 16:9 crop and a square crop
  // of its frame, at a focal length between two calibrations.
  for (auto [w, h] : {std::pair{1280, 720}, std::pair{960, 960}, std::pair{960, 1280}}) {
    const Comparison r = compare({"MINOLTA CO.,LTD", "DiMAGE X", nullptr, 7.0, w, h});
    SCOPED_TRACE(w * 10000 + h);
    EXPECT_TRUE(r.profile.fixedLens);
    EXPECT_LE(r.largestGapPx, r.profile.fitErrorPx + kFloatSlack);
  }
}

}  // namespace
}  // namespace ortavel::cli
