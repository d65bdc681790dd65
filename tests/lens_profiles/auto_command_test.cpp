// `ortavel` with lens profiles, run as users run it on real camera files:
// --auto from EXIF alone, a batch of different cameras where the unknown ones
// fail alone, --fill, the settings --auto chose, `lenses` and `info`.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "image_io/image_io.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"
#include "lens_profiles/settings_fill.h"
#include "run_cli.h"
#include "settings_file.h"

namespace fs = std::filesystem;

namespace ortavel::cli {
namespace {

const fs::path kJpegs = fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg";
const fs::path kMinolta = kJpegs / "deb-opencv-doc_scenetext02.jpg";  // DiMAGE X, 17.1 mm
const fs::path kNoExif =
    fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-tiff/npm-jpeg-exif_Arbitro.tiff";

class AutoCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string t = (fs::temp_directory_path() / "ortavel-auto-XXXXXX").string();
    dir_ = ::mkdtemp(t.data());
  }
  void TearDown() override { fs::remove_all(dir_); }
  clitest::CliResult run(const std::vector<std::string> &args) {
    return clitest::runCli(args, dir_);
  }
  CorrectionSettings saved(const std::string &name) {
    CorrectionSettings s;
    readSettingsFile(dir_ / name, s);
    return s;
  }
  fs::path dir_;
};

void expectHas(const std::string &text, const std::vector<std::string> &needles) {
  for (const auto &n : needles) EXPECT_NE(text.find(n), std::string::npos) << n << " in\n" << text;
}

// The profile the lookup gives for the Minolta file, asked directly.
LensProfile minoltaProfile() {
  PhotoIdentity p{"MINOLTA CO.,LTD", "DiMAGE X", 17.1, std::nullopt, std::nullopt};
  return *findLensProfile(p, {}, 1280, 960).profile;
}

TEST_F(AutoCommand, CorrectsFromExifAloneAndSavesWhatItChose) {
  const auto r = run({"correct", kMinolta.string(), (dir_ / "out.jpg").string(), "--auto",
                      "--save-settings", (dir_ / "lens.txt").string()});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  expectHas(r.out, {"lens profile: Minolta DiMAGE X", "fixed lens", "17.1 mm", "ptlens"});
  EXPECT_TRUE(fs::exists(dir_ / "out.jpg"));
  const LensProfile p = minoltaProfile();
  const CorrectionSettings s = saved("lens.txt");
  EXPECT_EQ(s.k1, p.k1);
  EXPECT_EQ(s.k2, p.k2);
  EXPECT_EQ(s.scale, p.scale);
  expectHas(clitest::slurp(dir_ / "lens.txt"), {"# lens profile: Minolta DiMAGE X"});

  // The saved file replays the same correction by hand.
  const auto replay = run({"correct", kMinolta.string(), (dir_ / "again.jpg").string(),
                           "--settings", (dir_ / "lens.txt").string()});
  ASSERT_EQ(replay.exitCode, 0) << replay.err;
  EXPECT_EQ(clitest::slurp(dir_ / "again.jpg"), clitest::slurp(dir_ / "out.jpg"));
}

TEST_F(AutoCommand, ABatchOfDifferentCamerasFailsOnlyTheUnknownOnes) {
  fs::create_directory(dir_ / "out");
  std::vector<std::string> args = {"correct", "--auto", "-o", (dir_ / "out").string()};
  for (const auto &e : fs::directory_iterator(kJpegs)) args.push_back(e.path().string());
  args.push_back(kNoExif.string());
  const auto r = run(args);
  EXPECT_EQ(r.exitCode, 3);
  expectHas(r.err, {"corrected 2 of 6 files; 4 failed", "no camera \"NIKON\" \"E4600\"",
                    "Nikon D100", "Nikon D2H", "names no camera", "--lens-model"});
  EXPECT_TRUE(fs::exists(dir_ / "out" / kMinolta.filename()));
  EXPECT_TRUE(fs::exists(dir_ / "out/npm-exif_short-ascii-MM.jpg"));
  EXPECT_FALSE(fs::exists(dir_ / "out/npm-exif-js_dsc_09827.jpg"));
  // Named by hand, the D100's lens is found.
  const auto named =
      run({"correct", "--auto", "--lens-model", "Nikkor 18-200mm f/3.5-5.6G VR", "-o",
           (dir_ / "out").string(), (kJpegs / "npm-exif-js_dsc_09827.jpg").string()});
  EXPECT_EQ(named.exitCode, 0) << named.err;
}

// The bundled photographs whose bodies name the lens only in the maker
// note: --auto finds the lens exiftool names (its LensID) with no
// --lens-model. Where the file names no lens the database knows, the
// explanation lists the lenses that fit the mount and focal length, the
// recorded range first.
TEST_F(AutoCommand, FindsTheLensFromTheMakerNoteOfRealPhotographs) {
  const fs::path lens = fs::path(ORTAVEL_TESTDATA_DIR) / "lens";
  struct Found {
    const char *file;
    const char *lens;
  };
  const Found found[] = {
      {"deb-libexif_olympus_makernote_variant_4-E-PL2.jpg",  // Micro Four Thirds
       "lens \"Olympus M.Zuiko Digital 14-42mm f/3.5-5.6 II\""},
      {"deb-exiftool_Canon1DmkIII.jpg", "lens \"Canon EF 16-35mm f/2.8L II USM\""},
      {"deb-exiftool_NikonD2Hs.jpg", "lens \"Nikon AF Nikkor 50mm f/1.8D\""},
      {"deb-exiftool_NikonD70.jpg", "lens \"Nikon AF-S DX Zoom-Nikkor 18-70mm f/3.5-4.5G IF-ED\""},
      {"deb-exiftool_OlympusE1.jpg", "lens \"Olympus Zuiko Digital 14-54mm f/2.8-3.5\""},
  };
  for (const Found &f : found) {
    const auto r = run(
        {"correct", (lens / f.file).string(), (dir_ / "out.png").string(), "--auto", "--force"});
    EXPECT_EQ(r.exitCode, 0) << f.file << "\n" << r.err;
    expectHas(r.out, {f.lens});
  }

  // The 300D records lens number 65535 and the range 18-55 mm: the kit
  // zooms of that range lead the list of EF-S lenses that cover 34 mm.
  const auto canon = run(
      {"correct", (lens / "deb-exiftool_Canon.jpg").string(), (dir_ / "c.png").string(), "--auto"});
  EXPECT_EQ(canon.exitCode, 3);
  expectHas(canon.err, {"lenses that fit the Canon EF-S mount at 34 mm, best first: "
                        "Canon EF-S 18-55mm"});
  // The K10D names a Sigma zoom the database lacks; its HSM successor fits.
  const auto pentax = run({"correct", (lens / "deb-exiftool_Pentax.jpg").string(),
                           (dir_ / "p.png").string(), "--auto"});
  EXPECT_EQ(pentax.exitCode, 3);
  expectHas(pentax.err, {"no lens \"Sigma AF 10-20mm F4-5.6 EX DC\"", "Pentax KAF2 mount at 10 mm",
                         "Sigma 10-20mm f/4-5.6 EX DC HSM"});
}

// Letters and digits only, lower case: "EF16-35mm f/2.8L" and "EF 16-35mm
// F2.8L" are the same name.
std::string squeezed(const std::string &name) {
  std::string out;
  for (const char c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) || c == '.')
      out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

// Every bundled photograph, its lens as exiftool names it wherever the file
// records one (LensID, LensModel, Lens, LensType, maker notes included), and
// the database's lens of that name for the camera, when it holds one: --auto
// must find that lens from the file alone. exiftool, not our reader, says
// what the file records; the database's own names say what it holds (a
// recorded name may leave out the maker: "AF-S DX Zoom-Nikkor ..." is
// "Nikon AF-S DX Zoom-Nikkor ...").
TEST_F(AutoCommand, FindsEveryRecordedLensTheDatabaseHoldsInTheBundledPhotographs) {
  const std::string cmd = "cd '" + std::string(ORTAVEL_TESTDATA_DIR) +
                          "' && exiftool -q -q -r -T -ext jpg -ext jpeg -ext tif -ext tiff -ext "
                          "png -FilePath -Make -Model -LensID -LensModel -Lens -LensType . "
                          "2>/dev/null";
  std::FILE *p = ::popen(cmd.c_str(), "r");
  ASSERT_NE(p, nullptr);
  std::string table;
  char buf[4096];
  for (std::size_t n = 0; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) table.append(buf, n);
  ::pclose(p);
  const LensDatabase &db = LensDatabase::shared();
  std::istringstream lines(table);
  std::string line, listing;
  int files = 0;
  std::vector<std::string> missed;
  while (std::getline(lines, line)) {
    std::vector<std::string> f;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');) f.push_back(cell == "-" ? "" : cell);
    if (f.size() < 7) continue;
    ++files;
    const fs::path file = f[0];
    // A make alone would match every camera of that maker; nothing, any.
    const auto cameras =
        f[2].empty() ? std::vector<const lfCamera *>{} : db.findCameras(f[1], f[2]);
    std::string held;
    if (!cameras.empty()) {
      for (const lfLens *l : db.lensesFitting(cameras.front())) {
        const std::string name = lensName(l), full = squeezed(name);
        const std::string maker = squeezed(name.substr(0, name.find(' ')));
        for (std::size_t i = 3; i < 7; ++i) {
          const std::string rec = squeezed(f[i]);
          if (rec.size() > 8 && (full == rec || full == maker + rec)) held = name;
        }
      }
    }
    listing += file.filename().string() + ": " +
               (f[2].empty()      ? "no camera recorded"
                : cameras.empty() ? "camera not in the database"
                                  : cameraListName(cameras.front()));
    listing += held.empty() ? ", no recorded lens the database holds\n" : ", lens " + held;
    if (held.empty()) continue;
    const auto r =
        run({"correct", file.string(), (dir_ / "out.png").string(), "--auto", "--force"});
    const bool found = r.exitCode == 0 && r.out.find("lens \"" + held + "\"") != std::string::npos;
    listing += found ? ": found\n" : ": NOT found\n";
    if (!found) missed.push_back(file.filename().string());
  }
  std::cout << listing;
  EXPECT_GE(files, 20) << table;
  EXPECT_EQ(missed, std::vector<std::string>{}) << listing;
  EXPECT_NE(listing.find("deb-exiftool_NikonD70.jpg: Nikon D70, lens Nikon AF-S DX Zoom-Nikkor "
                         "18-70mm f/3.5-4.5G IF-ED: found"),
            std::string::npos)
      << listing;
}

TEST_F(AutoCommand, FillChoosesTheZoomWithAProfileAndWithManualCoefficients) {
  const Image img = readImage(kMinolta);
  CorrectionSettings manual;
  manual.k1 = 0.2;
  manual.margins = {0, 10, 0, 20};
  const auto r =
      run({"correct", kMinolta.string(), (dir_ / "m.png").string(), "--k1", "0.2", "--margins",
           "0,10,0,20", "--fill", "--save-settings", (dir_ / "m.txt").string()});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(saved("m.txt").scale, fillZoom(manual, img.doc.width, img.doc.height));

  CorrectionSettings profiled;
  applyProfile(minoltaProfile(), profiled);
  const auto a = run({"correct", kMinolta.string(), (dir_ / "a.png").string(), "--auto", "--fill",
                      "--save-settings", (dir_ / "a.txt").string()});
  ASSERT_EQ(a.exitCode, 0) << a.err;
  const CorrectionSettings s = saved("a.txt");
  EXPECT_EQ(s.k1, profiled.k1);
  EXPECT_EQ(s.scale, fillZoom(profiled, img.doc.width, img.doc.height));
  expectHas(a.out, {"--fill zoom = "});

  const auto p = run({"preview", kMinolta.string(), "-o", dir_.string(), "--auto", "--fill"});
  EXPECT_EQ(p.exitCode, 0) << p.err;
}

// Border pixels of a written picture that are exactly black in every
// channel: the colour the filter gives a pixel whose source is outside.
int blackBorderPixels(const fs::path &file) {
  const Image img = readImage(file);
  const int w = img.doc.width, h = img.doc.height;
  int n = 0;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      if (x != 0 && y != 0 && x != w - 1 && y != h - 1) continue;
      bool black = true;
      for (int c = 0; c < 3; ++c) black = black && img.doc.planes[c].samples[y * w + x] == 0;
      n += black;
    }
  }
  return n;
}

TEST_F(AutoCommand, FillLeavesNoEmptyBorderOnARealPhotograph) {
  // The chessboard photograph corrected with k1 = 0.2 takes colour from
  // beyond its frame all round; --fill zooms until nothing does.
  const fs::path board = fs::path(ORTAVEL_TESTDATA_DIR) / "chessboard/0_left.jpg";
  for (bool fill : {false, true}) {
    std::vector<std::string> args = {"correct", board.string(), (dir_ / "b.png").string(),
                                     "--k1",    "0.2",          "-f"};
    if (fill) args.push_back("--fill");
    ASSERT_EQ(run(args).exitCode, 0);
    const int black = blackBorderPixels(dir_ / "b.png");
    if (fill)
      EXPECT_EQ(black, 0);
    else
      EXPECT_EQ(black, 2 * (1024 + 768) - 4);
  }
}

TEST_F(AutoCommand, AFillThatWouldFoldThePictureIsRefusedWithTheK1ThatDoesNot) {
  const fs::path board = fs::path(ORTAVEL_TESTDATA_DIR) / "chessboard/0_left.jpg";
  const auto r =
      run({"correct", board.string(), (dir_ / "b.png").string(), "--k1", "-0.6", "--fill"});
  EXPECT_EQ(r.exitCode, 3) << r.err;
  expectHas(r.err, {"folds the picture over itself", "the strongest k1 that does not fold"});
  EXPECT_FALSE(fs::exists(dir_ / "b.png"));
  // The k1 it names corrects with --fill.
  const std::string mark = "does not fold at this k2 is ";
  const std::size_t at = r.err.find(mark);
  ASSERT_NE(at, std::string::npos);
  const double k1 = std::stod(r.err.substr(at + mark.size()));
  EXPECT_LT(k1, -0.1);
  EXPECT_GT(k1, -0.6);
  const auto ok = run(
      {"correct", board.string(), (dir_ / "b.png").string(), "--k1", std::to_string(k1), "--fill"});
  EXPECT_EQ(ok.exitCode, 0) << ok.err;
}

TEST_F(AutoCommand, UsageMistakes) {
  const std::vector<std::vector<std::string>> bad = {
      {"correct", "a.jpg", "b.jpg", "--auto", "--k1", "0.1"},
      {"correct", "a.jpg", "b.jpg", "--fill", "--scale", "2"},
      {"correct", "a.jpg", "b.jpg", "--focal", "50"},
      {"correct", "a.jpg", "b.jpg", "--auto", "--focal", "-3"},
      {"info", "a.jpg", "--auto"},
      {"correct", "a.jpg", "b.jpg", "--vignetting"},
      {"correct", "a.jpg", "b.jpg", "--auto", "--aperture", "4"},
      {"correct", "a.jpg", "b.jpg", "--auto", "--vignetting", "--aperture", "0"},
  };
  for (const auto &args : bad) {
    const auto r = run(args);
    EXPECT_EQ(r.exitCode, 2) << args.back() << ": " << r.err;
  }
}

// The sum of a written picture's first channel over a square in its corner.
long cornerSum(const fs::path &file) {
  const Image img = readImage(file);
  long sum = 0;
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x) sum += img.doc.planes[0].samples[y * img.doc.width + x];
  return sum;
}

TEST_F(AutoCommand, VignettingBrightensTheCornersBeforeTheCorrection) {
  // The Minolta photograph, said to be taken with a lens whose vignetting the
  // database knows; its EXIF aperture is replaced too.
  const std::vector<std::string> lens = {
      "--auto",  "--camera", "Canon EOS 80D", "--lens-model", "Canon EF-S 10-22mm f/3.5-4.5 USM",
      "--focal", "10"};
  auto args = [&](const std::string &out, std::vector<std::string> more) {
    std::vector<std::string> a = {"correct", kMinolta.string(), (dir_ / out).string()};
    a.insert(a.end(), lens.begin(), lens.end());
    a.insert(a.end(), more.begin(), more.end());
    return a;
  };
  const auto plain = run(args("plain.png", {}));
  ASSERT_EQ(plain.exitCode, 0) << plain.err;
  const auto v = run(args("v.png", {"--vignetting", "--aperture", "3.5"}));
  ASSERT_EQ(v.exitCode, 0) << v.err;
  expectHas(v.out, {"vignetting: lensfun's profile of \"Canon EF-S 10-22mm f/3.5-4.5 USM\"",
                    "f/3.5", "linear light"});
  EXPECT_GT(cornerSum(dir_ / "v.png"), cornerSum(dir_ / "plain.png") + 16 * 16 * 3);

  // A lens without vignetting data fails with the reason.
  const auto none = run({"correct", kMinolta.string(), (dir_ / "n.png").string(), "--auto",
                         "--vignetting", "--aperture", "4"});
  EXPECT_EQ(none.exitCode, 3);
  expectHas(none.err, {"no vignetting calibration"});
}

TEST_F(AutoCommand, AUserProfileInLensfunsUserFolderIsUsed) {
  // lensfun reads $XDG_DATA_HOME/lensfun (~/.local/share/lensfun) besides its
  // installed data: a camera and its lens calibrated by the user.
  fs::create_directories(dir_ / "data/lensfun");
  std::ofstream(dir_ / "data/lensfun/mine.xml") << R"(<lensdatabase version="1">
  <camera><maker>Ortatest</maker><model>Ortatest One</model><mount>ortatestOne</mount>
    <cropfactor>2</cropfactor></camera>
  <lens><maker>Ortatest</maker><model>Ortatest One lens</model><mount>ortatestOne</mount>
    <cropfactor>2</cropfactor>
    <calibration><distortion model="poly3" focal="10" k1="-0.01"/></calibration></lens>
</lensdatabase>
)";
  const char *old = std::getenv("XDG_DATA_HOME");
  const std::string saved = old ? old : "";
  ::setenv("XDG_DATA_HOME", (dir_ / "data").c_str(), 1);
  const auto r = run({"info", kMinolta.string(), "--camera", "Ortatest One", "--focal", "10"});
  if (old) {
    ::setenv("XDG_DATA_HOME", saved.c_str(), 1);
  } else {
    ::unsetenv("XDG_DATA_HOME");
  }
  ASSERT_EQ(r.exitCode, 0) << r.err;
  // poly3 r (1 - k1 + k1 r^2) keeps the centre's scale 1 - k1 = 1.01: zoom 1/1.01.
  expectHas(r.out, {"Ortatest One, fixed lens \"Ortatest One lens\", 10 mm, poly3 k1=-0.01",
                    "zoom = 0.99009901", "exact conversion"});
}

TEST_F(AutoCommand, NoExifIsAClearCaseAndCanBeNamedByHand) {
  const auto r = run({"correct", kNoExif.string(), (dir_ / "o.tif").string(), "--auto"});
  EXPECT_EQ(r.exitCode, 3);
  expectHas(r.err, {"names no camera", "--camera", "--focal", "--k1"});
  const auto named = run({"correct", kNoExif.string(), (dir_ / "o.tif").string(), "--auto",
                          "--camera", "Minolta DiMAGE X", "--focal", "8"});
  EXPECT_EQ(named.exitCode, 0) << named.err;
}

TEST_F(AutoCommand, LensesAndInfoShowTheDatabase) {
  const auto l = run({"lenses", "DiMAGE", "X"});
  ASSERT_EQ(l.exitCode, 0) << l.err;
  expectHas(l.out, {"Minolta DiMAGE X ", "fixed lens", "DiMAGE X & compatibles (Standard)",
                    "ptlens", "5.7-17.1 mm"});
  const auto none = run({"lenses", "no-such-lens-anywhere"});
  expectHas(none.out, {"no camera or lens"});

  const auto i = run({"info", kMinolta.string(), (kJpegs / "deb-goexif_sample1.jpg").string()});
  ASSERT_EQ(i.exitCode, 0) << i.err;
  expectHas(i.out, {"lens profile: Minolta DiMAGE X",
                    "k1 = ", "zoom = ", "lens profile: none: the file does not name the lens"});
}

}  // namespace
}  // namespace ortavel::cli
