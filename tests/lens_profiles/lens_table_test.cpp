// The generated lens table against the lensfun library it was made from:
// every search answers with the same entries in the same order, every
// interpolated calibration has the same bits, and profiles found through the
// table equal those the command finds through the library, for every camera,
// lens and calibrated focal length of the database and every bundled
// photograph.
#include <gtest/gtest.h>
#include <lensfun/lensfun.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "filter_session.h"
#include "image_io/image_io.h"
#include "lens_profiles/lens_profile.h"
#include "photo_settings.h"
#include "profiles/lens_table.h"
#include "profiles/lens_table_search.h"

namespace fs = std::filesystem;

namespace ortavel::cli {
namespace {

// The command adds a line naming the lenses that fit the camera's mount,
// from lensfun's mount data, which the table does not carry; the rest of a
// failure's text is the same.
std::string withoutCandidates(const std::string &error) {
  return error.substr(0, error.find("\n  lenses that fit"));
}

namespace table = profiles::table;

// A database of our own, loaded as the command loads its own: its arrays
// are in the same order as the table's.
class Library {
 public:
  Library() : db_(lf_db_new()) {
    EXPECT_EQ(lf_db_load(db_.get()), LF_NO_ERROR);
    for (auto *const *c = db_->GetCameras(); c != nullptr && *c != nullptr; ++c)
      cameras_.push_back(*c);
    for (auto *const *l = db_->GetLenses(); l != nullptr && *l != nullptr; ++l)
      lenses_.push_back(*l);
  }
  const lfDatabase &db() const { return *db_; }
  const std::vector<const lfCamera *> &cameras() const { return cameras_; }
  const std::vector<const lfLens *> &lenses() const { return lenses_; }

  template <typename T>
  static std::vector<std::size_t> indices(const T **list, const std::vector<const T *> &all) {
    std::vector<std::size_t> out;
    if (list == nullptr) return out;
    for (const T **p = list; *p != nullptr; ++p) {
      std::size_t i = 0;
      while (i < all.size() && all[i] != *p) ++i;
      out.push_back(i);
    }
    lf_free(static_cast<void *>(list));
    return out;
  }
  std::vector<std::size_t> findCameras(const char *maker, const char *model) const {
    return indices(db_->FindCameras(maker, model), cameras_);
  }
  std::vector<std::size_t> findCamerasExt(const char *maker, const char *model) const {
    return indices(db_->FindCamerasExt(maker, model, 0), cameras_);
  }
  std::vector<std::size_t> findLenses(const lfCamera *camera, const char *maker,
                                      const char *model) const {
    return indices(db_->FindLenses(camera, maker, model, 0), lenses_);
  }

 private:
  struct Free {
    void operator()(lfDatabase *d) const { lf_db_destroy(d); }
  };
  std::unique_ptr<lfDatabase, Free> db_;
  std::vector<const lfCamera *> cameras_;
  std::vector<const lfLens *> lenses_;
};

const Library &library() {
  static const Library l;
  return l;
}

std::string orEmpty(const char *s) {
  return s == nullptr ? std::string() : std::string(s);
}

TEST(LensTable, HoldsTheWholeDatabase) {
  const Library &lib = library();
  ASSERT_EQ(table::cameraCount(), lib.cameras().size());
  ASSERT_EQ(table::lensCount(), lib.lenses().size());
  for (std::size_t i = 0; i < lib.cameras().size(); ++i) {
    const lfCamera &c = *lib.cameras()[i];
    const table::CameraInfo t = table::cameraInfo(i);
    EXPECT_EQ(t.maker, orEmpty(c.Maker));
    EXPECT_EQ(t.model, orEmpty(c.Model));
    EXPECT_EQ(t.variant, orEmpty(lf_mlstr_get(c.Variant)));
    EXPECT_EQ(t.makerEnglish, orEmpty(lf_mlstr_get(c.Maker)));
    EXPECT_EQ(t.mount, orEmpty(c.Mount));
    EXPECT_EQ(t.cropFactor, c.CropFactor);
  }
  for (std::size_t i = 0; i < lib.lenses().size(); ++i) {
    const lfLens &l = *lib.lenses()[i];
    const table::LensInfo t = table::lensInfo(i);
    EXPECT_EQ(t.model, orEmpty(l.Model));
    EXPECT_EQ(t.minFocal, l.MinFocal);
    EXPECT_EQ(t.maxFocal, l.MaxFocal);
    EXPECT_EQ(t.cropFactor, l.CropFactor);
    EXPECT_EQ(t.aspectRatio, l.AspectRatio);
    EXPECT_EQ(t.centerX, l.CenterX);
    EXPECT_EQ(t.centerY, l.CenterY);
    EXPECT_EQ(t.type, static_cast<int>(l.Type));
  }
  // Compact: the whole table in a few hundred kilobytes of the module.
  EXPECT_NE(std::string(profiles::lensTableSource()).find("lensfun"), std::string::npos);
  EXPECT_NE(std::string(profiles::lensTableAttribution()).find("CC BY-SA 3.0"), std::string::npos);
}

TEST(LensTable, FindsCamerasAsTheLibraryDoes) {
  const Library &lib = library();
  std::vector<std::pair<std::string, std::string>> queries = {
      {"MINOLTA CO.,LTD", "DiMAGE X"},
      {"Canon", "S40"},
      {"NIKON", "E4600"},
      {"", "Canon EOS 80D"},
      {"canon", "eos"},
      {"Panasonic", "DMC-LX3"},
      {"SONY", "Cybershot"},
      {"  nikon  corporation ", "nikon   d100 "},
  };
  for (std::size_t i = 0; i < lib.cameras().size(); ++i) {
    const lfCamera &c = *lib.cameras()[i];
    const std::string maker = orEmpty(c.Maker), model = orEmpty(c.Model);
    queries.emplace_back(maker, model);
    queries.emplace_back("", model);
    queries.emplace_back(maker.substr(0, maker.find(' ')), model.substr(model.rfind(' ') + 1));
  }
  for (const auto &[maker, model] : queries) {
    SCOPED_TRACE(maker + " / " + model);
    const char *mk = maker.empty() ? nullptr : maker.c_str();
    EXPECT_EQ(table::findCamerasExact(maker, model), lib.findCameras(mk, model.c_str()));
    EXPECT_EQ(table::findCamerasWords(maker, model), lib.findCamerasExt(mk, model.c_str()));
  }
}

TEST(LensTable, ReadsLensNamesAsTheLibraryDoes) {
  std::vector<std::string> names = {
      "EF-S10-22mm f/3.5-4.5 USM",
      "10-22mm f/3.5",
      "Zeiss 1:2,8/50",
      "Sonnar 2.8/135",
      "E 1:3.5-5.6 18-55mm",
      "50mm 1.4",
      "Helios 44-2 2/58",
      "teleconverter 2x 300mm f/4",
      "16mm F2.8",
      "x 17-50MM F2.8",
      "A 1:x 5",
      "7.5mm f/.95",
      " 12 F/4",
      "foo 1/ 3",
      "35 1:2",
      "2/",
      "",
  };
  for (const lfLens *l : library().lenses()) names.emplace_back(orEmpty(l->Model));
  for (const std::string &n : names) {
    SCOPED_TRACE(n);
    lfLens pattern;
    pattern.SetModel(n.c_str());
    pattern.GuessParameters();
    const table::NameParameters ours = table::guessLensParameters(n);
    EXPECT_EQ(ours.minFocal, pattern.MinFocal);
    EXPECT_EQ(ours.maxFocal, pattern.MaxFocal);
    EXPECT_EQ(ours.minAperture, pattern.MinAperture);
  }
}

TEST(LensTable, FindsLensesAsTheLibraryDoes) {
  const Library &lib = library();
  // A camera for each mount: the first the database lists.
  std::map<std::string, std::size_t> cameraOfMount;
  for (std::size_t i = 0; i < lib.cameras().size(); ++i)
    if (lib.cameras()[i]->Mount != nullptr) cameraOfMount.emplace(lib.cameras()[i]->Mount, i);

  for (std::size_t li = 0; li < lib.lenses().size(); ++li) {
    const lfLens &l = *lib.lenses()[li];
    const std::string model = orEmpty(l.Model), maker = orEmpty(l.Maker);
    std::vector<std::optional<std::size_t>> cameras = {std::nullopt};
    for (char **m = l.Mounts; m != nullptr && *m != nullptr; ++m) {
      const auto found = cameraOfMount.find(*m);
      if (found != cameraOfMount.end()) cameras.emplace_back(found->second);
    }
    // As EXIF gives it: the name, without the maker's word, in capitals.
    std::string shortName = model.substr(model.find(' ') + 1);
    std::string upper = model;
    for (char &ch : upper) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    for (const auto &camera : cameras) {
      const lfCamera *lc = camera ? lib.cameras()[*camera] : nullptr;
      for (const std::string &name : {model, shortName, upper}) {
        SCOPED_TRACE(name + (lc ? " on " + orEmpty(lc->Model) : std::string()));
        EXPECT_EQ(table::findLenses(camera, std::nullopt, name),
                  lib.findLenses(lc, nullptr, name.c_str()));
        EXPECT_EQ(table::findLenses(camera, maker, name),
                  lib.findLenses(lc, maker.c_str(), name.c_str()));
      }
    }
  }
  // A compact's own lens: no name at all.
  for (std::size_t ci = 0; ci < lib.cameras().size(); ++ci) {
    SCOPED_TRACE(orEmpty(lib.cameras()[ci]->Model));
    EXPECT_EQ(table::findLenses(ci, std::nullopt, ""),
              lib.findLenses(lib.cameras()[ci], nullptr, nullptr));
  }
}

// The automation dialog's lens picker: the library's lenses for the camera's
// mount that a search finds, those with distortion data, each name once; and
// each one picked gives its own profile.
TEST(LensTable, OffersTheLibrarysLensesForACamerasMount) {
  const Library &lib = library();
  const auto cameras = lib.findCameras("NIKON CORPORATION", "NIKON D2H");
  ASSERT_FALSE(cameras.empty());
  const lfCamera *camera = lib.cameras()[cameras.front()];
  for (const std::string search : {"", "nikkor 18-70", "18-70", "zeiss", "no such lens"}) {
    SCOPED_TRACE(search);
    std::vector<std::string> expected;
    for (const std::size_t i :
         lib.findLenses(camera, nullptr, search.empty() ? nullptr : search.c_str())) {
      const lfLens &l = *lib.lenses()[i];
      const std::string name = orEmpty(l.Model);
      if (l.CalibDistortion == nullptr || l.CalibDistortion[0] == nullptr) continue;
      if (std::find(expected.begin(), expected.end(), name) == expected.end())
        expected.push_back(name);
    }
    const profiles::LensChoices ours =
        profiles::tableLensesFor("NIKON CORPORATION", "NIKON D2H", search);
    EXPECT_TRUE(ours.interchangeable);
    EXPECT_EQ(ours.camera, "Nikon D2H");
    EXPECT_EQ(ours.lenses, expected);
    if (search == "18-70") {
      // Only the Nikon F lens of that range, not the one for Minolta's mount.
      EXPECT_EQ(ours.lenses,
                std::vector<std::string>{"Nikon AF-S DX Zoom-Nikkor 18-70mm f/3.5-4.5G IF-ED"});
    }
    if (search == "nikkor 18-70") {
      for (const std::string &name : ours.lenses) {
        profiles::TableQuery q;
        q.make = "NIKON CORPORATION";
        q.model = "NIKON D2H";
        q.focalLengthMm = 23.33;
        q.width = 500;
        q.height = 375;
        q.lensModel = name;
        q.lensPicked = true;
        const auto found = profiles::findTableProfile(q);
        ASSERT_TRUE(found.profile) << found.error;
        EXPECT_EQ(found.profile->lens, name);
      }
    }
  }
  EXPECT_FALSE(profiles::tableLensesFor("NIKON CORPORATION", "NIKON D2H", "").lenses.empty());
  // A compact's own lens, a camera the table does not know, no camera at all:
  // nothing to pick.
  for (const auto &[make, model] : std::vector<std::pair<std::string, std::string>>{
           {"Canon", "S40"}, {"NIKON", "E4600"}, {"", ""}}) {
    const profiles::LensChoices none = profiles::tableLensesFor(make, model, "");
    EXPECT_FALSE(none.interchangeable) << make << " " << model;
    EXPECT_TRUE(none.lenses.empty()) << make << " " << model;
  }
}

TEST(LensTable, InterpolatesCalibrationsBitForBit) {
  const Library &lib = library();
  int compared = 0;
  for (std::size_t li = 0; li < lib.lenses().size(); ++li) {
    const lfLens &l = *lib.lenses()[li];
    std::set<float> focals;
    for (auto **c = l.CalibDistortion; c != nullptr && *c != nullptr; ++c) {
      focals.insert((*c)->Focal);
      focals.insert((*c)->Focal * 1.013f);
      focals.insert((*c)->Focal * 0.991f);
    }
    const float lo = l.MinFocal > 0 ? l.MinFocal : 1.0f, hi = l.MaxFocal > lo ? l.MaxFocal : lo;
    for (int k = 0; k <= 40; ++k) focals.insert(lo * 0.8f + (hi * 1.2f - lo * 0.8f) * k / 40.0f);
    for (const float f : focals) {
      SCOPED_TRACE(orEmpty(l.Model) + " at " + std::to_string(f));
      lfLensCalibDistortion theirs{};
      const bool have = l.InterpolateDistortion(f, theirs);
      const auto ours = table::interpolateDistortion(li, f);
      ASSERT_EQ(ours.has_value(), have);
      if (!have) continue;
      EXPECT_EQ(ours->model, static_cast<int>(theirs.Model));
      for (int i = 0; i < 3; ++i) EXPECT_EQ(ours->terms[i], theirs.Terms[i]) << "term " << i;
      ++compared;
    }
  }
  EXPECT_GT(compared, 10000);
}

void expectSameProfile(const ProfileLookup &theirs, const profiles::TableLookup &ours) {
  ASSERT_EQ(ours.profile.has_value(), theirs.profile.has_value())
      << "command: " << theirs.error << "\ntable: " << ours.error;
  if (!theirs.profile) {
    EXPECT_EQ(ours.error, withoutCandidates(theirs.error));
    return;
  }
  const LensProfile &a = *theirs.profile;
  const profiles::TableProfile &b = *ours.profile;
  EXPECT_EQ(b.camera, a.camera);
  EXPECT_EQ(b.lens, a.lens);
  EXPECT_EQ(b.fixedLens, a.fixedLens);
  EXPECT_EQ(b.focalLengthMm, a.focalLengthMm);
  EXPECT_EQ(b.model, a.model);
  EXPECT_EQ(b.k1, a.k1);
  EXPECT_EQ(b.k2, a.k2);
  EXPECT_EQ(b.scale, a.scale);
  EXPECT_EQ(b.centerX, a.centerX);
  EXPECT_EQ(b.centerY, a.centerY);
  EXPECT_EQ(b.fitErrorPx, a.fitErrorPx);
  EXPECT_EQ(b.exact, a.exact);
}

profiles::TableQuery queryOf(const PhotoIdentity &p, const ProfileOverrides &o, std::int32_t w,
                             std::int32_t h) {
  profiles::TableQuery q;
  q.make = p.make.value_or("");
  q.model = p.model.value_or("");
  q.lensMake = p.lensMake.value_or("");
  q.lensModel = o.lensModel ? *o.lensModel : p.lensModel.value_or("");
  q.lensPicked = o.lensModel.has_value();
  q.camera = o.camera.value_or("");
  q.focalLengthMm = o.focalLengthMm ? *o.focalLengthMm : p.focalLengthMm.value_or(0.0);
  q.focalPicked = o.focalLengthMm.has_value();
  q.width = w;
  q.height = h;
  return q;
}

void expectBothAgree(const PhotoIdentity &p, const ProfileOverrides &o, std::int32_t w,
                     std::int32_t h) {
  expectSameProfile(findLensProfile(p, o, w, h), profiles::findTableProfile(queryOf(p, o, w, h)));
}

TEST(LensTable, ProfilesEqualTheCommandsForEveryCalibration) {
  const Library &lib = library();
  std::map<std::string, std::vector<std::size_t>> camerasOfMount;
  for (std::size_t i = 0; i < lib.cameras().size(); ++i)
    if (lib.cameras()[i]->Mount != nullptr) camerasOfMount[lib.cameras()[i]->Mount].push_back(i);

  int profiles = 0;
  for (const lfLens *l : lib.lenses()) {
    std::set<std::size_t> cameras;
    for (char **m = l->Mounts; m != nullptr && *m != nullptr; ++m) {
      const auto &all = camerasOfMount[*m];
      // Every camera of a compact's own mount; the first of an interchangeable one.
      for (std::size_t k = 0; k < all.size() && (std::islower(**m) || k < 1); ++k)
        cameras.insert(all[k]);
    }
    for (auto **c = l->CalibDistortion; c != nullptr && *c != nullptr; ++c) {
      for (const std::size_t ci : cameras) {
        const lfCamera &cam = *lib.cameras()[ci];
        PhotoIdentity photo{
            orEmpty(cam.Maker), orEmpty(cam.Model), (*c)->Focal, std::nullopt,
            std::islower(*cam.Mount) ? std::nullopt : std::optional<std::string>(l->Model)};
        SCOPED_TRACE(orEmpty(cam.Model) + " + " + orEmpty(l->Model) + " at " +
                     std::to_string((*c)->Focal));
        expectBothAgree(photo, {}, 360, 240);
        ++profiles;
      }
    }
  }
  EXPECT_GT(profiles, 3000);
}

TEST(LensTable, ProfilesEqualTheCommandsForTheLookupTestsCases) {
  struct Case {
    PhotoIdentity photo;
    ProfileOverrides overrides;
    std::int32_t width, height;
  };
  const std::vector<Case> cases = {
      {{"MINOLTA CO.,LTD", "DiMAGE X", 17.1, {}, {}}, {}, 1280, 960},
      {{"MINOLTA CO.,LTD", "DiMAGE X", 7.0, {}, {}}, {}, 1280, 720},
      {{"Canon", "S40", 21.3, {}, {}}, {}, 2272, 1704},
      {{"Canon", "Canon PowerShot S40", 14.719, {}, {}}, {}, 2272, 1704},
      {{"Canon", "Canon PowerShot G12", 10.0, {}, {}}, {}, 3648, 2736},
      {{"NIKON CORPORATION", "NIKON D100", 190.0, {}, {}}, {}, 3008, 2000},
      {{"NIKON CORPORATION", "NIKON D100", 190.0, {}, {}},
       {{}, "Nikkor 18-200mm f/3.5-5.6G VR", {}},
       3008,
       2000},
      // The query holds one focal length: the user's here.
      {{"NIKON CORPORATION", "NIKON D100", {}, {}, {}},
       {{}, "Nikkor 18-200mm f/3.5-5.6G VR", 400.0},
       3008,
       2000},
      {{"NIKON CORPORATION", "NIKON D100", 190.0, {}, {}},
       {{}, "Zeiss Nonexistar 13mm f/9", {}},
       3008,
       2000},
      {{"NIKON", "E4600", 17.1, {}, {}}, {}, 640, 480},
      {{"NIKON", "E4600", 17.1, {}, {}}, {"Canon PowerShot S40", {}, 7.094}, 640, 480},
      {{}, {}, 800, 600},
      {{}, {"Minolta DiMAGE X", {}, {}}, 800, 600},
      {{}, {"Minolta DiMAGE X", {}, 5.7}, 800, 600},
      {{"Canon", "Canon EOS 80D", 10.0, "Canon", "EF-S10-22mm f/3.5-4.5 USM"}, {}, 6000, 4000},
      {{"Canon", "Canon EOS 80D", 11.0, {}, "Canon EF-S 10-22mm f/3.5-4.5 USM"}, {}, 6000, 4000},
      {{"NIKON CORPORATION",
        "NIKON D300",
        24.0,
        {},
        "Nikon AF-S DX Zoom-Nikkor 17-55mm f/2.8G IF-ED"},
       {},
       2848,
       4288},
      {{"Panasonic", "DMC-LX3", 5.1, {}, {}}, {}, 3968, 2232},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.photo.model.value_or("-") + " " + c.overrides.camera.value_or("") + " " +
                 c.overrides.lensModel.value_or(c.photo.lensModel.value_or("")));
    expectBothAgree(c.photo, c.overrides, c.width, c.height);
  }
}

TEST(LensTable, ProfilesEqualTheCommandsForEveryBundledPhotograph) {
  std::vector<fs::path> files;
  for (const auto &e : fs::recursive_directory_iterator(ORTAVEL_TESTDATA_DIR)) {
    const std::string ext = e.path().extension().string();
    if (ext == ".jpg" || ext == ".tiff" || ext == ".tif") files.push_back(e.path());
  }
  ASSERT_GT(files.size(), 5u);
  ProgressBar bar(false);
  FilterSession session(ORTAVEL_PLUGIN_PATH, bar);
  int found = 0;
  for (const fs::path &f : files) {
    SCOPED_TRACE(f.string());
    Image img;
    try {
      img = readImage(f);
    } catch (const std::exception &) {
      continue;  // a file our reader does not take (EXIF-only samples)
    }
    const PhotoIdentity id = identifyPhoto(session, img, f.string());
    const auto theirs = findLensProfile(id, {}, img.doc.width, img.doc.height);
    found += theirs.profile.has_value();
    expectSameProfile(theirs,
                      profiles::findTableProfile(queryOf(id, {}, img.doc.width, img.doc.height)));
  }
  EXPECT_GE(found, 2);
}

}  // namespace
}  // namespace ortavel::cli
