// Profiles looked up for real camera files, from what the plug-in's EXIF
// request and our EXIF reader find in them, and the help each failure gives.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "filter_session.h"
#include "image_io/image_io.h"
#include "lens_profiles/exif_lens.h"
#include "lens_profiles/lens_profile.h"
#include "photo_settings.h"

namespace fs = std::filesystem;

namespace ortavel::cli {
namespace {

const fs::path kExif = fs::path(ORTAVEL_TESTDATA_DIR) / "exif";

struct Photo {
  PhotoIdentity identity;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

Photo readPhoto(const fs::path &path) {
  ProgressBar bar(false);
  FilterSession session(ORTAVEL_PLUGIN_PATH, bar);
  const Image img = readImage(path);
  return {identifyPhoto(session, img, path.string()), img.doc.width, img.doc.height};
}

ProfileLookup lookup(const Photo &p, const ProfileOverrides &o = {}) {
  return findLensProfile(p.identity, o, p.width, p.height);
}

void expectHas(const std::string &text, const std::vector<std::string> &needles) {
  for (const auto &n : needles) EXPECT_NE(text.find(n), std::string::npos) << n << " in\n" << text;
}

TEST(Lookup, CompactsAreMatchedByTheCameraAloneFromTheirExif) {
  struct Known {
    const char *file;
    const char *camera;
    double focal;
  } known[] = {
      {"exif-jpeg/deb-opencv-doc_scenetext02.jpg", "Minolta DiMAGE X", 17.1},
      // The file says only "S40"; the database's looser matching finds it.
      {"exif-jpeg/npm-exif_short-ascii-MM.jpg", "Canon PowerShot S40", 21.3},
  };
  for (const Known &k : known) {
    SCOPED_TRACE(k.file);
    const ProfileLookup r = lookup(readPhoto(kExif / k.file));
    ASSERT_TRUE(r.profile) << r.error;
    EXPECT_EQ(r.profile->camera, k.camera);
    EXPECT_TRUE(r.profile->fixedLens);
    EXPECT_NEAR(r.profile->focalLengthMm, k.focal, 1e-9);
    EXPECT_EQ(r.profile->model, "ptlens");
    EXPECT_LT(r.profile->fitErrorPx, 0.1);
  }
}

TEST(Lookup, AnInterchangeableLensBodyNeedsItsLensNamed) {
  const Photo d100 = readPhoto(kExif / "exif-jpeg/npm-exif-js_dsc_09827.jpg");
  const ProfileLookup none = lookup(d100);
  ASSERT_FALSE(none.profile);
  expectHas(none.error, {"does not name the lens", "Nikon D100", "\"NIKON CORPORATION\"",
                         "lens not recorded", "190 mm", "--lens-model", "ortavel lenses", "--k1"});

  ProfileOverrides o;
  o.lensModel = "Nikkor 18-200mm f/3.5-5.6G VR";
  const ProfileLookup named = lookup(d100, o);
  ASSERT_TRUE(named.profile) << named.error;
  expectHas(named.profile->lens, {"18-200mm"});
  EXPECT_FALSE(named.profile->fixedLens);
  EXPECT_EQ(named.profile->focalLengthMm, 190.0);

  o.focalLengthMm = 400.0;  // beyond the lens's range: a wrong lens or focal length
  const ProfileLookup beyond = lookup(d100, o);
  ASSERT_FALSE(beyond.profile);
  expectHas(beyond.error, {"400 mm lies outside the 18-200 mm", "given:", "--focal 400"});

  o = {};
  o.lensModel = "Zeiss Nonexistar 13mm f/9";
  const ProfileLookup unknown = lookup(d100, o);
  ASSERT_FALSE(unknown.profile);
  expectHas(unknown.error, {"no lens \"Zeiss Nonexistar 13mm f/9\"", "ortavel lenses"});
}

TEST(Lookup, AnUnknownCameraSaysWhatWasReadAndCanBeNamedInstead) {
  const Photo e4600 = readPhoto(kExif / "exif-jpeg/npm-exif-js_DSCN0614_small.jpg");
  const ProfileLookup none = lookup(e4600);
  ASSERT_FALSE(none.profile);
  expectHas(none.error, {"no camera \"NIKON\" \"E4600\"", "focal length 17.1 mm", "--camera",
                         "ortavel lenses", "--k1"});

  ProfileOverrides o;
  o.camera = "Canon PowerShot S40";
  o.focalLengthMm = 7.094;
  const ProfileLookup named = lookup(e4600, o);
  ASSERT_TRUE(named.profile) << named.error;
  EXPECT_EQ(named.profile->camera, "Canon PowerShot S40");
  EXPECT_EQ(named.profile->focalLengthMm, 7.094);
}

TEST(Lookup, AFileWithoutExifOrWithoutAFocalLengthIsAClearCase) {
  const Photo bare = readPhoto(kExif / "exif-tiff/npm-jpeg-exif_Arbitro.tiff");
  const ProfileLookup none = lookup(bare);
  ASSERT_FALSE(none.profile);
  expectHas(none.error, {"names no camera", "make not recorded", "focal length not recorded",
                         "--camera", "--focal", "--k1"});

  ProfileOverrides o;
  o.camera = "Minolta DiMAGE X";
  const ProfileLookup noFocal = lookup(bare, o);
  ASSERT_FALSE(noFocal.profile);
  expectHas(noFocal.error, {"focal length is not known", "Minolta DiMAGE X", "--focal MM"});

  o.focalLengthMm = 5.7;
  EXPECT_TRUE(lookup(bare, o).profile);
}

// A little-endian EXIF block: IFD0 with the EXIF pointer, and an EXIF
// directory with the lens's make and name as ASCII values.
std::vector<std::uint8_t> lensBlock(const std::string &make, const std::string &model) {
  std::vector<std::uint8_t> b = {'I', 'I', 42, 0, 8, 0, 0, 0};
  auto u16 = [&](unsigned v) {
    b.push_back(v & 0xff);
    b.push_back((v >> 8) & 0xff);
  };
  auto u32 = [&](unsigned v) {
    u16(v & 0xffff);
    u16(v >> 16);
  };
  u16(1);  // IFD0 at 8: one entry, the EXIF pointer
  u16(34665), u16(4), u32(1), u32(26);
  u32(0);
  u16(2);  // EXIF directory at 26: two entries
  const unsigned values = 26 + 2 + 2 * 12 + 4;
  u16(0xA433), u16(2), u32(make.size() + 1), u32(values);
  u16(0xA434), u16(2), u32(model.size() + 1), u32(values + make.size() + 1);
  u32(0);
  for (const auto *s : {&make, &model}) {
    b.insert(b.end(), s->begin(), s->end());
    b.push_back(0);
  }
  return b;
}

TEST(Lookup, TheLensNameComesFromTheExifDirectory) {
  const auto block = lensBlock("Canon", "EF-S10-22mm f/3.5-4.5 USM");
  const ExifLens lens = readExifLens(block);
  EXPECT_EQ(lens.make, "Canon");
  EXPECT_EQ(lens.model, "EF-S10-22mm f/3.5-4.5 USM");

  PhotoIdentity photo{"Canon", "Canon EOS 80D", 10.0, lens.make, lens.model};
  const ProfileLookup r = findLensProfile(photo, {}, 6000, 4000);
  ASSERT_TRUE(r.profile) << r.error;
  EXPECT_EQ(r.profile->lens, "Canon EF-S 10-22mm f/3.5-4.5 USM");

  auto broken = block;
  broken.resize(30);  // the EXIF directory cut off
  EXPECT_FALSE(readExifLens(broken).model);
  EXPECT_FALSE(readExifLens({}).model);
}

}  // namespace
}  // namespace ortavel::cli
