// Which database entry a lookup takes where several would do: the picture
// mode of a camera with one entry per mode, a camera named as the list shows
// it, a lens calibrated on cameras of several crop factors. The command and
// the lens table must choose alike.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lens_profiles/lens_profile.h"
#include "profiles/lens_table.h"
#include "profiles/profile_lookup.h"

namespace ortavel::cli {
namespace {

// The command adds a line naming the lenses that fit the camera's mount,
// from lensfun's mount data, which the table does not carry; the rest of a
// failure's text is the same.
std::string withoutCandidates(const std::string &error) {
  return error.substr(0, error.find("\n  lenses that fit"));
}

struct Both {
  ProfileLookup command;
  profiles::TableLookup table;
};

Both lookBoth(const PhotoIdentity &p, const ProfileOverrides &o, std::int32_t w, std::int32_t h) {
  profiles::TableQuery q;
  q.make = p.make.value_or("");
  q.model = p.model.value_or("");
  q.lensModel = o.lensModel ? *o.lensModel : p.lensModel.value_or("");
  q.lensPicked = o.lensModel.has_value();
  q.camera = o.camera.value_or("");
  q.focalLengthMm = o.focalLengthMm ? *o.focalLengthMm : p.focalLengthMm.value_or(0.0);
  q.focalPicked = o.focalLengthMm.has_value();
  q.width = w;
  q.height = h;
  Both b{findLensProfile(p, o, w, h), profiles::findTableProfile(q)};
  EXPECT_EQ(b.command.profile.has_value(), b.table.profile.has_value());
  if (b.command.profile && b.table.profile) {
    EXPECT_EQ(b.table.profile->camera, b.command.profile->camera);
    EXPECT_EQ(b.table.profile->lens, b.command.profile->lens);
    EXPECT_EQ(b.table.profile->k1, b.command.profile->k1);
    EXPECT_EQ(b.table.profile->scale, b.command.profile->scale);
    EXPECT_EQ(b.table.profile->cameraCropFactor, b.command.profile->cameraCropFactor);
  }
  return b;
}

// Crop factors as the database's compact-panasonic.xml and
// compact-fujifilm.xml give them for each mode.
TEST(Choice, APictureModeIsFoundByThePicturesShape) {
  struct Mode {
    std::int32_t width, height;
    const char *camera;
    double crop;
  } lx3[] = {
      {3648, 2736, "Panasonic DMC-LX3 (4:3)", 4.7},
      {2736, 3648, "Panasonic DMC-LX3 (4:3)", 4.7},  // turned
      {3968, 2232, "Panasonic DMC-LX3 (16:9)", 5.7528},
      {3776, 2520, "Panasonic DMC-LX3 (3:2)", 5.1},
      {2720, 2720, "Panasonic DMC-LX3 (1:1)", 5.32},
  };
  for (const Mode &m : lx3) {
    SCOPED_TRACE(m.camera);
    const Both b = lookBoth({"Panasonic", "DMC-LX3", 6.0, {}, {}}, {}, m.width, m.height);
    ASSERT_TRUE(b.command.profile) << b.command.error;
    EXPECT_EQ(b.command.profile->camera, m.camera);
    EXPECT_FLOAT_EQ(b.command.profile->cameraCropFactor, m.crop);
    EXPECT_TRUE(b.command.profile->fixedLens);
  }
  // The F810's usual 4:3 entry has no variant; its widescreen mode has one.
  const Both usual = lookBoth({"Fujifilm", "FinePix F810", 8.0, {}, {}}, {}, 2048, 1536);
  ASSERT_TRUE(usual.command.profile);
  EXPECT_EQ(usual.command.profile->camera, "Fujifilm FinePix F810");
  EXPECT_FLOAT_EQ(usual.command.profile->cameraCropFactor, 4.5);
  const Both wide = lookBoth({"Fujifilm", "FinePix F810", 8.0, {}, {}}, {}, 2048, 1152);
  ASSERT_TRUE(wide.command.profile);
  EXPECT_EQ(wide.command.profile->camera, "Fujifilm FinePix F810 (widescreen mode)");
  EXPECT_FLOAT_EQ(wide.command.profile->cameraCropFactor, 4.9);
  // Another mode's crop factor changes the conversion: the frame differs.
  const Both lx3Usual = lookBoth({"Panasonic", "DMC-LX3", 6.0, {}, {}}, {}, 3648, 2736);
  const Both lx3Wide = lookBoth({"Panasonic", "DMC-LX3", 6.0, {}, {}}, {}, 3648, 2052);
  ASSERT_TRUE(lx3Usual.command.profile && lx3Wide.command.profile);
  EXPECT_NE(lx3Usual.command.profile->k1, lx3Wide.command.profile->k1);
}

TEST(Choice, VariantShapesAreReadFromTheDatabasesTexts) {
  EXPECT_DOUBLE_EQ(*profiles::variantAspectRatio("16:9"), 16.0 / 9.0);
  EXPECT_DOUBLE_EQ(*profiles::variantAspectRatio("3:4 mode"), 4.0 / 3.0);
  EXPECT_DOUBLE_EQ(*profiles::variantAspectRatio("widescreen mode"), 16.0 / 9.0);
  EXPECT_FALSE(profiles::variantAspectRatio("DSC-F717"));
  EXPECT_FALSE(profiles::variantAspectRatio(""));
  // Twins that report one name: no shape tells them apart, the first stays.
  const std::vector<profiles::CameraFacts> twins = {{"Sony Cybershot", "DSC-F717", 3.933, true},
                                                    {"Sony Cybershot", "DSC-F707", 3.933, true}};
  EXPECT_EQ(profiles::chooseVariant(twins, 2560, 1920), 0u);
}

TEST(Choice, EveryListedCameraNameIsAcceptedAsGiven) {
  struct Named {
    const char *given;
    const char *camera;
  } names[] = {
      {"Konica Minolta Dynax 5D", "Konica Minolta Dynax 5D"},
      {"konica  minolta DYNAX 5d", "Konica Minolta Dynax 5D"},
      {"Panasonic DMC-LX3 (16:9)", "Panasonic DMC-LX3 (16:9)"},
      {"Sony Cybershot (DSC-S85)", "Sony Cybershot (DSC-S85)"},
      {"Canon PowerShot S40", "Canon PowerShot S40"},
      {"Minolta DiMAGE X", "Minolta DiMAGE X"},
  };
  for (const Named &n : names) {
    SCOPED_TRACE(n.given);
    ProfileOverrides o;
    o.camera = n.given;
    o.focalLengthMm = 35.0;
    o.lensModel = "no lens of that name at all";
    const Both b = lookBoth({}, o, 3000, 2000);
    ASSERT_FALSE(b.command.profile);
    // It fails on the lens, with the camera found and named.
    EXPECT_NE(b.command.error.find("fits the " + std::string(n.camera)), std::string::npos)
        << b.command.error;
    EXPECT_EQ(b.table.error, withoutCandidates(b.command.error));
  }
  // A mode named by hand wins over the picture's shape.
  ProfileOverrides o;
  o.camera = "Panasonic DMC-LX3 (16:9)";
  const Both b = lookBoth({"Panasonic", "DMC-LX3", 6.0, {}, {}}, o, 3648, 2736);
  ASSERT_TRUE(b.command.profile) << b.command.error;
  EXPECT_EQ(b.command.profile->camera, "Panasonic DMC-LX3 (16:9)");
}

TEST(Choice, ALensCalibratedAtSeveralCropFactorsTakesTheFrameThatFitsTheCamera) {
  using profiles::LensFacts;
  std::vector<LensFacts> entries(3);
  entries[0].cropFactor = 1.0;
  entries[1].cropFactor = 1.534;
  entries[2].cropFactor = 1.613;
  EXPECT_EQ(profiles::chooseCalibrationFrame(entries, 1.613, 0), 2u);  // its own frame
  EXPECT_EQ(profiles::chooseCalibrationFrame(entries, 1.534, 2), 1u);
  EXPECT_EQ(profiles::chooseCalibrationFrame(entries, 1.0, 2), 0u);
  EXPECT_EQ(profiles::chooseCalibrationFrame(entries, 0.7, 2), 2u);  // none fits: the search's

  // The database has the EF 50mm f/1.8 MkII calibrated at crop factors 1,
  // 1.267 and 1.622; the EOS 1000D's is 1.622. The library's own ranking
  // prefers 1.267; its frame is larger than the camera's, where ours is its own.
  PhotoIdentity p{"Canon", "Canon EOS 1000D", 50.0, "Canon", "Canon EF 50mm f/1.8 MkII"};
  const Both b = lookBoth(p, {}, 3888, 2592);
  ASSERT_TRUE(b.command.profile) << b.command.error;
  EXPECT_EQ(b.command.profile->lens, "Canon EF 50mm f/1.8 MkII");
  EXPECT_FLOAT_EQ(b.command.profile->lensCropFactor, 1.622);
  EXPECT_EQ(b.table.profile->lensCropFactor, b.command.profile->lensCropFactor);
  // On a full-frame body only the full-frame calibration fits.
  p.model = "Canon EOS 5D";
  const Both ff = lookBoth(p, {}, 4368, 2912);
  ASSERT_TRUE(ff.command.profile) << ff.command.error;
  EXPECT_FLOAT_EQ(ff.command.profile->lensCropFactor, 1.0);
}

}  // namespace
}  // namespace ortavel::cli
