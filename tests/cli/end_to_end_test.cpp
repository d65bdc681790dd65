// The ortavel command run as users run it: real files in every format and
// depth, every refusal of bad input, a batch with one bad file, the settings
// file round trip, previews, and Ctrl-C.
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "correction_settings.h"
#include "exit_codes.h"
#include "image_io/exif_block.h"
#include "image_io/image_io.h"
#include "processor_limit.h"
#include "run_cli.h"
#include "settings_file.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;
using clitest::runCli;

namespace {

const fs::path kData = fs::path(ORTAVEL_TESTDATA_DIR);
const fs::path kDemo = kData / "chessboard/0_left.jpg";

class EndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string t = (fs::temp_directory_path() / "ortavel-e2e-XXXXXX").string();
    dir_ = ::mkdtemp(t.data());
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path at(const std::string &name) const { return dir_ / name; }
  clitest::CliResult run(const std::vector<std::string> &args, clitest::RunOptions opt = {}) {
    return runCli(args, dir_, opt);
  }
  // A run that must succeed.
  clitest::CliResult ok(const std::vector<std::string> &args) {
    auto r = run(args);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    return r;
  }
  // Files in the directory other than `keep` (temporary files left behind).
  std::vector<std::string> strays(const std::vector<std::string> &keep) const {
    std::vector<std::string> out;
    for (const auto &e : fs::directory_iterator(dir_)) {
      const std::string n = e.path().filename().string();
      if (std::find(keep.begin(), keep.end(), n) == keep.end()) out.push_back(n);
    }
    return out;
  }
  fs::path dir_;
};

// A picture with structure everywhere, so a wrong sample shows.
Image picture(ColourModel colour, int depth, int alpha, int w, int h) {
  Image img;
  img.colour = colour;
  allocatePlanes(img, w, h, depth, img.colourChannels() + alpha);
  for (std::size_t p = 0; p < img.doc.planes.size(); ++p)
    for (int i = 0; i < w * h; ++i) {
      const int x = i % w, y = i / w;
      const int v = ((x * 13 + y * 7 + static_cast<int>(p) * 50) % 200) + 20;
      if (depth == 8) {
        img.doc.planes[p].samples[i] = static_cast<std::uint8_t>(v);
      } else {
        reinterpret_cast<std::uint16_t *>(img.doc.planes[p].samples.data())[i] =
            static_cast<std::uint16_t>(v * 128 + x % 97);
      }
    }
  return img;
}

void expectHas(const std::string &text, const std::vector<std::string> &needles) {
  for (const auto &n : needles) EXPECT_NE(text.find(n), std::string::npos) << n << " in\n" << text;
}

std::uint32_t sample(const Image &img, int p, int x, int y) {
  const std::size_t i = static_cast<std::size_t>(y) * img.doc.width + x;
  if (img.doc.depth == 8) return img.doc.planes[p].samples[i];
  return reinterpret_cast<const std::uint16_t *>(img.doc.planes[p].samples.data())[i];
}

}  // namespace

TEST_F(EndToEnd, DefaultSettingsLeaveEveryFormatAndDepthUnchanged) {
  // The filter's defaults are the identity model with bicubic resampling, which
  // reproduces the picture; lossless formats must come back sample for sample.
  struct Case {
    const char *name;
    ColourModel colour;
    int depth, alpha;
  } cases[] = {
      {"grey8.png", ColourModel::kGrey, 8, 0},   {"greya16.png", ColourModel::kGrey, 16, 1},
      {"rgba16.png", ColourModel::kRgb, 16, 1},  {"rgbaa8.tif", ColourModel::kRgb, 8, 2},
      {"grey16.tif", ColourModel::kGrey, 16, 0}, {"cmyk8.tif", ColourModel::kCmyk, 8, 0},
      {"cmyka16.tif", ColourModel::kCmyk, 16, 1}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    const Image in = picture(c.colour, c.depth, c.alpha, 61, 43);
    writeImage(in, formatForName(c.name).value(), at(c.name), {});
    const std::string out = std::string("out-") + c.name;
    EXPECT_EQ(ok({"correct", at(c.name).string(), at(out).string(), "-q"}).err, "");
    const Image back = readImage(at(out));
    EXPECT_EQ(back.colour, c.colour);
    EXPECT_EQ(back.fileBits, c.depth);
    EXPECT_EQ(back.alphaPlanes(), c.alpha);
    ASSERT_EQ(back.doc.planes.size(), in.doc.planes.size());
    for (std::size_t p = 0; p < in.doc.planes.size(); ++p)
      EXPECT_EQ(back.doc.planes[p].samples, in.doc.planes[p].samples) << "plane " << p;
  }
}

TEST_F(EndToEnd, RealPhotographsAreCorrectedAndKeepTheirCamera) {
  // A real camera JPEG: the correction changes pixels, keeps the size, and
  // carries the EXIF block, which the plug-in then reads back from the output.
  const fs::path nikon = kData / "exif/exif-jpeg/npm-exif-js_DSCN0614_small.jpg";
  ok({"correct", nikon.string(), at("n.jpg").string(), "--k1", "-0.2", "--k2", "0.05"});
  const Image in = readImage(nikon), out = readImage(at("n.jpg"));
  EXPECT_EQ(out.doc.width, 400);
  EXPECT_EQ(out.doc.height, 300);
  EXPECT_NE(out.doc.planes[0].samples, in.doc.planes[0].samples);
  EXPECT_EQ(out.doc.icc, in.doc.icc);
  expectHas(ok({"info", at("n.jpg").string()}).out,
            {"camera make:  NIKON\n", "camera model: E4600\n", "focal length: 17.1 mm\n"});
  // Into PNG and TIFF, the camera's profile, EXIF facts and resolution come along too.
  for (const char *name : {"n.png", "n.tif"}) {
    ok({"correct", nikon.string(), at(name).string()});
    const Image other = readImage(at(name));
    EXPECT_EQ(other.doc.icc, in.doc.icc) << name;
    const CameraTags tags = readCameraTags(other.doc.exif);
    EXPECT_EQ(tags.model, "E4600") << name;
    EXPECT_NEAR(tags.focalLengthMm.value_or(0.0), 17.1, 1e-9) << name;
    EXPECT_NEAR(other.xDpi, 300.0, 0.0127) << name;
  }
  // A greyscale chessboard into PNG, and a real TIFF whose alpha sample is kept.
  ok({"correct", (kData / "chessboard/left01.jpg").string(), at("l.png").string(), "--k1", "-0.1"});
  EXPECT_EQ(readImage(at("l.png")).colour, ColourModel::kGrey);
  ok({"correct", (kData / "exif/exif-tiff/npm-jpeg-exif_Arbitro.tiff").string(),
      at("a.tif").string()});
  EXPECT_EQ(readImage(at("a.tif")).alphaPlanes(), 1);
}

TEST_F(EndToEnd, MarginsEnlargeTheCanvasAndMoveThePicture) {
  // With the identity model, output pixel (x, y) samples the source at
  // (x - L, y - T): the picture lands L columns right and T rows down.
  const Image in = picture(ColourModel::kRgb, 8, 0, 40, 30);
  writeImage(in, FileFormat::kPng, at("m.png"), {});
  ok({"correct", at("m.png").string(), at("mo.png").string(), "--margins", "3,5,7,2"});
  const Image out = readImage(at("mo.png"));
  ASSERT_EQ(out.doc.width, 40 + 7 + 2);
  ASSERT_EQ(out.doc.height, 30 + 3 + 5);
  for (int p = 0; p < 3; ++p)
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 40; ++x) ASSERT_EQ(sample(out, p, x + 7, y + 3), sample(in, p, x, y));
}

TEST_F(EndToEnd, InfoPreviewAndAbout) {
  expectHas(ok({"info", (kData / "exif/exif-jpeg/npm-exif-js_dsc_09827.jpg").string(),
                (kData / "chessboard/left01.jpg").string()})
                .out,
            {"camera make:  NIKON CORPORATION\n", "focal length: 190 mm\n",
             "size:         640 x 480 pixels\n", "mode:         greyscale\n"});
  expectHas(ok({"about"}).out, {"Ortavel Filter 1.2.2 (083)"});

  // 1024x768 fitted into 512x512 is 512x384; with 1024 columns of margins the
  // corrected canvas is 2048x768, fitted as 512x192.
  ok({"preview", kDemo.string(), "-o", dir_.string(), "--size", "512x512", "--lens", "demo",
      "--margins", "0,0,512,512", "--side-by-side"});
  const Image un = readImage(at("0_left-uncorrected.png"));
  const Image co = readImage(at("0_left-corrected.png"));
  EXPECT_EQ(std::make_pair(un.doc.width, un.doc.height), std::make_pair(512, 384));
  EXPECT_EQ(std::make_pair(co.doc.width, co.doc.height), std::make_pair(512, 192));
  // The before/after picture holds both, 8 pixels apart, under a 24-pixel
  // caption strip, the shorter one centred vertically on dark grey.
  const Image pair = readImage(at("0_left-before-after.png"));
  constexpr int kTop = 24;
  ASSERT_EQ(std::make_pair(pair.doc.width, pair.doc.height), std::make_pair(1032, kTop + 384));
  for (int p = 0; p < 3; ++p) {
    for (const auto &[x, y] : {std::pair{0, 0}, {511, 383}, {200, 100}})
      EXPECT_EQ(sample(pair, p, x, kTop + y), sample(un, p, x, y)) << "before " << x << "," << y;
    for (const auto &[x, y] : {std::pair{0, 0}, {511, 191}, {300, 90}})
      EXPECT_EQ(sample(pair, p, 520 + x, kTop + 96 + y), sample(co, p, x, y))
          << "after " << x << "," << y;
    for (const auto &[x, y] : {std::pair{515, 200}, {700, kTop + 95}, {700, kTop + 288}})
      EXPECT_EQ(sample(pair, p, x, y), 48u) << "background " << x << "," << y;
  }
  // The captions: light letters on the grey strip, centred over each picture.
  // Drawn at 2x2 pixels a cell, "BEFORE" lights 104 cells of 5x7 letters
  // (B 20, E 18, F 14, O 16, R 18, E 18) and "AFTER" 79 (A 18, F 14, T 11,
  // E 18, R 18), counted by hand from the letter shapes.
  auto lit = [&](int x0, int x1) {
    int n = 0;
    for (int y = 0; y < kTop; ++y)
      for (int x = x0; x < x1; ++x) {
        const auto v = sample(pair, 0, x, y);
        EXPECT_TRUE(v == 48u || v == 230u) << x << "," << y << ": " << v;
        n += v == 230u;
      }
    return n;
  };
  EXPECT_EQ(lit(0, 512), 104 * 4);
  EXPECT_EQ(lit(520, 1032), 79 * 4);
  // A flat colour stays that colour in both previews: scaling averages equal
  // samples, and the default settings are the identity.
  Image flat;
  flat.colour = ColourModel::kRgb;
  allocatePlanes(flat, 64, 48, 8, 3);
  const std::uint8_t rgb[3] = {200, 100, 50};
  for (int p = 0; p < 3; ++p)
    std::fill(flat.doc.planes[p].samples.begin(), flat.doc.planes[p].samples.end(), rgb[p]);
  writeImage(flat, FileFormat::kPng, at("flat.png"), {});
  ok({"preview", at("flat.png").string(), "-o", dir_.string(), "--size", "32x24"});
  for (const char *name : {"flat-uncorrected.png", "flat-corrected.png"}) {
    const Image pv = readImage(at(name));
    ASSERT_EQ(pv.doc.width, 32);
    for (int p = 0; p < 3; ++p) EXPECT_EQ(sample(pv, p, 16, 12), rgb[p]) << name << " plane " << p;
  }
  // A second preview into the same place needs --force.
  EXPECT_EQ(run({"preview", kDemo.string(), "-o", dir_.string()}).exitCode, 2);
}

TEST_F(EndToEnd, BadInputIsRefusedInOneLineAndNothingIsWritten) {
  const Image big = picture(ColourModel::kRgb, 8, 0, 200, 200);
  writeImage(picture(ColourModel::kRgb, 8, 0, 20, 10), FileFormat::kPng, at("ok.png"), {});
  writeImage(big, FileFormat::kPng, at("cut.png"), {});
  writeImage(big, FileFormat::kTiff, at("cut.tif"), {});
  for (const char *name : {"cut.png", "cut.tif"})
    fs::resize_file(at(name), fs::file_size(at(name)) / 2);
  std::ofstream(at("notes.jpg")) << "not a picture at all\n";
  std::ofstream(at("empty.png")).close();
  const std::string demo = clitest::slurp(kDemo);
  std::ofstream(at("cut.jpg"), std::ios::binary).write(demo.data(), demo.size() / 3);
  TIFF *t = TIFFOpen(at("float.tif").c_str(), "w");
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, 2u);
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, 1u);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 32);
  TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  float row[2] = {0.5f, 1.0f};
  TIFFWriteScanline(t, row, 0, 0);
  TIFFClose(t);
  fs::create_directory(at("adir"));
  std::ofstream(at("taken.png")) << "precious";
  const std::vector<std::string> inputs = {"ok.png",    "cut.png",   "cut.tif",
                                           "notes.jpg", "empty.png", "cut.jpg",
                                           "float.tif", "adir",      "taken.png"};

  const std::string good = at("ok.png").string(), out = at("o.png").string();
  const std::string exifOnly =
      (kData / "exif/exif-only/deb-goexif_2011-10-28-17-50-18-sep-2011-10-28-17-50-18a.jpg")
          .string();
  struct Case {
    std::vector<std::string> args;
    int code;
    const char *says;
  } cases[] = {
      {{"correct", at("nope.jpg").string(), out}, 3, "no such file"},
      {{"correct", at("adir").string(), out}, 3, "directory"},
      {{"correct", at("notes.jpg").string(), out}, 3, "not an image"},
      {{"correct", at("empty.png").string(), out}, 3, "empty.png"},
      {{"correct", at("cut.jpg").string(), out}, 3, "JPEG"},
      {{"correct", at("cut.png").string(), out}, 3, "cut.png"},
      {{"correct", at("cut.tif").string(), out}, 3, "cut.tif"},
      {{"correct", exifOnly, out}, 3, "JPEG"},
      {{"correct", at("float.tif").string(), out}, 3, "floating-point"},
      {{"correct", good, out, "--k1", "nan"}, 2, "--k1"},
      {{"correct", good, out, "--zoom", "0"}, 2, "zoom must be greater than 0"},
      {{"correct", good, out, "--scale", "0"}, 2, "zoom must be greater than 0"},
      {{"correct", good, out, "--center", "0.1"}, 2, "--center"},
      {{"correct", good, out, "--margins", "0,11,0,0"}, 2, "larger than"},
      {{"correct", good, out, "--margins", "1,-1,0,0"}, 2, "--margins"},
      {{"correct", good, out, "--method", "nearest"}, 2, "nearest"},
      {{"correct", good, at("taken.png").string()}, 2, "--force"},
      {{"correct", good, good, "--force"}, 2, "input"},
      {{"correct", good, at("nodir/o.png").string()}, 2, "does not exist"},
      {{"correct", good, at("o.gif").string()}, 2, "format"},
      {{"correct", good, out, "--bogus"}, 2, "--bogus"},
      {{"correct", good}, 2, "IN OUT"},
      {{"frobnicate"}, 2, "unknown command"},
      {{"correct", good, out, "--plugin", at("none.so").string()}, 2, "plug-in"},
  };
  for (const auto &c : cases) {
    std::string line;
    for (const auto &a : c.args) line += a + " ";
    SCOPED_TRACE(line);
    const auto r = run(c.args);
    EXPECT_EQ(r.exitCode, c.code) << r.err;
    EXPECT_EQ(r.errLines(), 1) << r.err;
    EXPECT_EQ(r.err.rfind("ortavel: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
  }
  EXPECT_EQ(clitest::slurp(at("taken.png")), "precious");
  EXPECT_EQ(strays(inputs), std::vector<std::string>{});
  // --force replaces it.
  ok({"correct", good, at("taken.png").string(), "--force"});
  EXPECT_EQ(readImage(at("taken.png")).doc.width, 20);
}

TEST_F(EndToEnd, AFullDiskFailsCleanly) {
  // The photograph as TIFF takes far more than 64 KiB: the write fails part-way.
  const auto r =
      run({"correct", kDemo.string(), at("big.tif").string()}, {.fileSizeLimit = 64 * 1024});
  EXPECT_EQ(r.exitCode, 4) << r.err;
  EXPECT_EQ(r.errLines(), 1) << r.err;
  EXPECT_NE(r.err.find("big.tif"), std::string::npos) << r.err;
  EXPECT_EQ(strays({}), std::vector<std::string>{});
}

TEST_F(EndToEnd, AFileWrittenWhileTheFilterRunsIsTheOneWrittenAfterByteForByte) {
  // A single file is encoded from the rows the host tells final while later
  // tiles are still filtered; on one thread it is encoded after the run.
  // Three bands of the host's tiles, so that rows are told during the run.
  // A camera's EXIF block with a thumbnail, which is made again from the
  // corrected picture: JPEG writes it in its place once the last row is in.
  struct Case {
    const char *name;
    ColourModel colour;
    int depth, alpha;
    bool exif;
  } cases[] = {{"rgb8.jpg", ColourModel::kRgb, 8, 0, false},
               {"exif.jpg", ColourModel::kRgb, 8, 0, true},
               {"cmyk8.jpg", ColourModel::kCmyk, 8, 0, false},
               {"grey-exif.png", ColourModel::kGrey, 8, 0, true},
               {"greya16.png", ColourModel::kGrey, 16, 1, false}};
  if (usableProcessors() < 2) GTEST_SKIP() << "one processor: nothing runs beside the filter";
  const std::vector<std::uint8_t> camera =
      readImage(kData / "exif/exif-jpeg/npm-exif-js_DSCN0614_small.jpg").doc.exif;
  ASSERT_FALSE(camera.empty());
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    Image in = picture(c.colour, c.depth, c.alpha, 700, 1300);
    if (c.exif) in.doc.exif = camera;
    writeImage(in, formatForName(c.name).value(), at(c.name), {});
    const std::string single = std::string("single-") + c.name;
    ok({"correct", at(c.name).string(), at(single).string(), "-q", "--k1", "-0.1", "--k2", "0.02"});
    const std::string after = std::string("after-") + c.name;
    ok({"correct", at(c.name).string(), at(after).string(), "-q", "--k1", "-0.1", "--k2", "0.02",
        "--threads", "1"});
    std::ifstream a(at(single), std::ios::binary), b(at(after), std::ios::binary);
    const std::string one{std::istreambuf_iterator<char>(a), {}};
    const std::string two{std::istreambuf_iterator<char>(b), {}};
    ASSERT_GT(one.size(), 10000u);
    EXPECT_TRUE(one == two) << one.size() << " bytes against " << two.size();
  }
}

TEST_F(EndToEnd, ABatchWritesEveryFileAsItIsWrittenAlone) {
  // The files of a batch are corrected in memory the files before them gave
  // back, holding their samples: anything read before it is written would
  // differ from a run of that file alone, in fresh memory. Planes of a
  // megabyte and more are passed on; the last file's are smaller.
  struct Case {
    const char *name;
    ColourModel colour;
    int depth, alpha, w, h;
  } cases[] = {{"a.jpg", ColourModel::kRgb, 8, 0, 1500, 1000},
               {"b.tif", ColourModel::kRgb, 16, 1, 1100, 800},
               {"c.png", ColourModel::kGrey, 8, 1, 1000, 1300},
               {"d.tif", ColourModel::kCmyk, 8, 0, 1200, 900},
               {"e.jpg", ColourModel::kRgb, 8, 0, 700, 500}};
  fs::create_directory(at("in"));
  std::vector<std::string> batch = {"correct"};
  for (const auto &c : cases) {
    const fs::path p = at("in") / c.name;
    writeImage(picture(c.colour, c.depth, c.alpha, c.w, c.h), formatForName(c.name).value(), p, {});
    batch.push_back(p.string());
  }
  const std::vector<std::string> settings = {"-q", "--k1", "-0.12", "--k2", "0.03"};
  for (const std::vector<std::string> &extra :
       {std::vector<std::string>{}, std::vector<std::string>{"--margins", "30,10,0,50"}}) {
    SCOPED_TRACE(extra.empty() ? "no margins" : "margins");
    fs::remove_all(at("out"));
    fs::create_directory(at("out"));
    std::vector<std::string> args = batch;
    args.insert(args.end(), {"-o", at("out").string(), "--jobs", "2"});
    args.insert(args.end(), settings.begin(), settings.end());
    args.insert(args.end(), extra.begin(), extra.end());
    ok(args);
    for (const auto &c : cases) {
      SCOPED_TRACE(c.name);
      const fs::path alone = at(std::string("alone-") + c.name);
      std::vector<std::string> one = {"correct", (at("in") / c.name).string(), alone.string(),
                                      "--force"};
      one.insert(one.end(), settings.begin(), settings.end());
      one.insert(one.end(), extra.begin(), extra.end());
      ok(one);
      std::ifstream a(alone, std::ios::binary), b(at("out") / c.name, std::ios::binary);
      const std::string first{std::istreambuf_iterator<char>(a), {}};
      const std::string second{std::istreambuf_iterator<char>(b), {}};
      ASSERT_GT(first.size(), 10000u);
      EXPECT_TRUE(first == second) << first.size() << " bytes against " << second.size();
    }
  }
}

TEST_F(EndToEnd, ABatchGoesOnPastABadFile) {
  fs::create_directory(at("in"));
  fs::create_directory(at("out"));
  std::vector<std::string> args = {"correct"};
  for (int i = 0; i < 4; ++i) {
    const fs::path p = at("in/p" + std::to_string(i) + (i % 2 ? ".tif" : ".png"));
    writeImage(picture(ColourModel::kRgb, i % 2 ? 16 : 8, 0, 50 + i, 40), formatForName(p).value(),
               p, {});
    args.push_back(p.string());
  }
  std::ofstream(at("in/bad.png")) << "garbage";
  args.insert(args.begin() + 3, at("in/bad.png").string());
  args.insert(args.end(), {"-o", at("out").string(), "--k1", "-0.1", "--jobs", "3"});
  const auto r = run(args);
  EXPECT_EQ(r.exitCode, 3) << r.err;
  expectHas(r.err, {"bad.png", "corrected 4 of 5 files; 1 failed"});
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(readImage(at("out/p" + std::to_string(i) + (i % 2 ? ".tif" : ".png"))).doc.width,
              50 + i);
  EXPECT_EQ(std::distance(fs::directory_iterator(at("out")), fs::directory_iterator{}), 4);
}

TEST_F(EndToEnd, SavedSettingsRepeatTheCorrection) {
  const std::string settings = at("s.txt").string();
  ok({"correct",
      kDemo.string(),
      at("a.png").string(),
      "--k1",
      "-0.15",
      "--k2",
      "0.02",
      "--center",
      "0.1,-0.05",
      "--radius-limit",
      "1.5",
      "--scale",
      "1.1",
      "--method",
      "lanczos8",
      "--orientation",
      "left",
      "--margins",
      "4,4,8,8",
      "--save-settings",
      settings});
  CorrectionSettings saved;
  saved.k1 = 99;  // every key must be in the file
  readSettingsFile(settings, saved);
  EXPECT_EQ(saved.k1, -0.15);
  EXPECT_EQ(saved.centerY, -0.05);
  EXPECT_EQ(saved.radiusLimit, 1.5);
  EXPECT_EQ(saved.orientation, 1);
  // The file alone repeats the picture; an option given with it overrides it.
  ok({"correct", kDemo.string(), at("b.png").string(), "--settings", settings});
  EXPECT_EQ(clitest::slurp(at("a.png")), clitest::slurp(at("b.png")));
  ok({"correct", kDemo.string(), at("c.png").string(), "--settings", settings, "--k1", "0"});
  EXPECT_NE(clitest::slurp(at("a.png")), clitest::slurp(at("c.png")));
}

TEST_F(EndToEnd, CtrlCStopsTheRunAndLeavesNothing) {
  // A picture big enough, one thread and the baseline kernels, so that the
  // correction is still running when Ctrl-C comes at 800 ms: with the vector
  // kernels the whole run on one thread takes 1.7 s here, on two less than
  // a second and a half, and a faster processor than this one could finish
  // first; on the baseline kernels it takes 4.5 s.
  writeImage(picture(ColourModel::kRgb, 16, 0, 6000, 4000), FileFormat::kTiff, at("huge.tif"), {});
  const auto r = run({"correct", at("huge.tif").string(), at("o.tif").string(), "--method",
                      "lanczos12", "--k1", "-0.3", "--threads", "1"},
                     {.interruptAfterMs = 800, .isa = "sse2"});
  EXPECT_EQ(r.exitCode, 130) << r.err;
  EXPECT_NE(r.err.find("interrupted"), std::string::npos) << r.err;
  EXPECT_EQ(strays({"huge.tif"}), std::vector<std::string>{});
}

TEST_F(EndToEnd, NoSettingsSaysThePictureStaysAsItIs) {
  const auto plain = ok({"correct", kDemo.string(), at("same.png").string()});
  EXPECT_NE(plain.err.find("the picture is written unchanged"), std::string::npos) << plain.err;
  for (const char *hint : {"--auto", "--k1"})
    EXPECT_NE(plain.err.find(hint), std::string::npos) << hint << " in " << plain.err;
  // Any setting that moves a pixel, or -q, and nothing is said.
  for (const std::vector<std::string> &extra : {std::vector<std::string>{"--k1", "-0.1"},
                                                {"--zoom", "1.1"},
                                                {"--margins", "0,0,4,4"},
                                                {"-q"}}) {
    std::vector<std::string> args = {"correct", kDemo.string(), at("b.png").string(), "--force"};
    args.insert(args.end(), extra.begin(), extra.end());
    EXPECT_EQ(ok(args).err.find("unchanged"), std::string::npos) << extra[0];
  }
}

TEST_F(EndToEnd, ThePluginsAlertsAppearOnStandardError) {
  // An EXIF block whose first directory lies far outside it: the plug-in
  // says "Invalid Exif data." and goes on; the camera stays unknown.
  Image img;
  img.colour = ColourModel::kRgb;
  allocatePlanes(img, 8, 8, 8, 3);
  img.doc.exif = {'I', 'I', 42, 0, 0xf0, 0xff, 0, 0, 0, 0};
  writeImage(img, FileFormat::kPng, at("junk.png"), {});
  const auto r = ok({"info", at("junk.png").string()});
  EXPECT_EQ(r.err, "ortavel: " + at("junk.png").string() + ": plug-in: Invalid Exif data.\n");
  EXPECT_NE(r.out.find("camera make:  (unknown)\n"), std::string::npos) << r.out;
}
