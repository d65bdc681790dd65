// What a lookup says beyond k1, k2 and zoom: cameras with a built-in lens the
// database has no profile for, photographs without a focal length, fits that
// cannot come within a pixel, and lenses whose projection is not rectilinear.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"
#include "lens_profiles/profile_messages.h"

namespace ortavel::cli {
namespace {

bool has(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

TEST(Notes, AFixedLensCameraWithoutAProfileIsNotToldToNameItsLens) {
  // The PowerShot G9's lens is built in; the database knows the camera only.
  PhotoIdentity g9{"Canon", "Canon PowerShot G9", 7.4, std::nullopt, std::nullopt};
  const ProfileLookup none = findLensProfile(g9, {}, 4000, 3000);
  ASSERT_FALSE(none.profile);
  EXPECT_TRUE(has(none.error, "Canon PowerShot G9 has a fixed lens")) << none.error;
  EXPECT_TRUE(has(none.error, "no profile for it")) << none.error;
  EXPECT_FALSE(has(none.error, "interchangeable")) << none.error;
  // A compact that records a name of its own for its lens: still the same.
  g9.lensModel = "6.1-44.4 mm";
  EXPECT_TRUE(has(findLensProfile(g9, {}, 4000, 3000).error, "has a fixed lens"));

  // The database (lensfun's 0.3.3 data, counted from its XML files) has 29
  // cameras whose mount is their own and no lens with a distortion
  // calibration on it; each gets this message, and no camera with a fixed
  // lens the interchangeable one. (A few more have a lens on their mount that
  // lensfun's search passes over: calibrated on a smaller sensor.)
  int fixedWithout = 0;
  for (const lfCamera *c : LensDatabase::shared().camerasMatching("")) {
    const ProfileLookup r =
        findLensProfile({c->Maker, c->Model, 10.0, std::nullopt, std::nullopt}, {}, 4000, 3000);
    if (has(r.error, "has a fixed lens, and the lens database has no profile")) ++fixedWithout;
    if (hasFixedLens(c)) {
      EXPECT_FALSE(has(r.error, "interchangeable")) << c->Model;
    }
  }
  EXPECT_GE(fixedWithout, 29);
}

TEST(Notes, APhotoWithoutAFocalLengthSaysSoOnceTheLensIsKnown) {
  PhotoIdentity g12{"Canon", "Canon PowerShot G12", std::nullopt, std::nullopt, std::nullopt};
  const ProfileLookup none = findLensProfile(g12, {}, 3648, 2736);
  ASSERT_FALSE(none.profile);
  EXPECT_TRUE(has(none.error, "the file does not record it")) << none.error;
  EXPECT_TRUE(has(none.error, "focal length not recorded")) << none.error;
  EXPECT_TRUE(has(none.error, "--focal MM")) << none.error;
  ProfileOverrides focal;
  focal.focalLengthMm = 6.1;
  EXPECT_TRUE(findLensProfile(g12, focal, 3648, 2736).profile);
}

TEST(Notes, FitsBeyondAPixelAndProjectionsThatAreNotConverted) {
  // Canon's 8-15 mm fisheye at 10 mm: equisolid, and its ptlens curve is far
  // from what two terms can follow on a 24-megapixel frame.
  const PhotoIdentity fisheye{"Canon", "Canon EOS 80D", 10.0, std::nullopt,
                              "Canon EF 8-15mm f/4L Fisheye USM"};
  const ProfileLookup f = findLensProfile(fisheye, {}, 6000, 4000);
  ASSERT_TRUE(f.profile) << f.error;
  EXPECT_GT(f.profile->fitErrorPx, 1.0);
  const auto notes = messages::profileWarnings(*f.profile);
  ASSERT_EQ(notes.size(), 2u);
  char expected[128];
  std::snprintf(expected, sizeof expected,
                "this profile cannot be matched closer than %.3g px at the corners by the "
                "filter's model",
                f.profile->fitErrorPx);
  EXPECT_EQ(notes[0], expected);
  EXPECT_TRUE(has(notes[1], "equisolid fisheye")) << notes[1];
  EXPECT_TRUE(has(notes[1], "projection is not converted")) << notes[1];

  // A mild rectilinear lens on a small frame: nothing to say.
  const PhotoIdentity s40{"Canon", "Canon PowerShot S40", 14.719, std::nullopt, std::nullopt};
  const ProfileLookup m = findLensProfile(s40, {}, 2272, 1704);
  ASSERT_TRUE(m.profile) << m.error;
  EXPECT_LT(m.profile->fitErrorPx, 1.0);
  EXPECT_TRUE(messages::profileWarnings(*m.profile).empty());
  // Exact conversions report no error at all.
  const PhotoIdentity g12{"Canon", "Canon PowerShot G12", 6.1, std::nullopt, std::nullopt};
  EXPECT_TRUE(messages::profileWarnings(*findLensProfile(g12, {}, 3648, 2736).profile).empty());
}

}  // namespace
}  // namespace ortavel::cli
