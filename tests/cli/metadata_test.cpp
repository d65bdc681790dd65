// What a written file keeps of the photograph's metadata, read back with
// exiftool (not with our own EXIF code): orientation, dates, GPS and camera in
// JPEG, PNG and TIFF output; a thumbnail that shows the corrected picture;
// the JPEG chroma subsampling of the input unless --sampling says otherwise.
#include <gtest/gtest.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "image_io/image_io.h"
#include "run_cli.h"

namespace fs = std::filesystem;

namespace ortavel::cli {
namespace {

const fs::path kPhone = fs::path(ORTAVEL_TESTDATA_DIR) / "phone/npm-exif-parser_starfish.jpg";

std::string shellQuoted(const std::string &s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Runs exiftool; its standard output.
std::string exiftool(const std::string &args) {
  const std::string cmd = "exiftool " + args + " 2>/dev/null";
  std::FILE *p = ::popen(cmd.c_str(), "r");
  if (p == nullptr) return {};
  std::string out;
  char buf[4096];
  std::size_t n = 0;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  ::pclose(p);
  return out;
}

nlohmann::json tagsOf(const fs::path &file) {
  const std::string out = exiftool(
      "-j -n -G1 -Orientation -DateTimeOriginal -CreateDate -Composite:GPSLatitude "
      "-Composite:GPSLongitude -Model -YCbCrSubSampling -ThumbnailLength " +
      shellQuoted(file.string()));
  const auto j = nlohmann::json::parse(out, nullptr, false);
  return j.is_array() && !j.empty() ? j[0] : nlohmann::json::object();
}

class Metadata : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(exiftool("-ver").find('.'), std::string::npos)
        << "exiftool is needed (scripts/ensure-deps test)";
    std::string t = (fs::temp_directory_path() / "ortavel-meta-XXXXXX").string();
    dir_ = ::mkdtemp(t.data());
  }
  void TearDown() override { fs::remove_all(dir_); }
  void correct(const std::vector<std::string> &extra, const fs::path &in, const fs::path &out) {
    std::vector<std::string> args = {"correct", in.string(), out.string(), "-q"};
    args.insert(args.end(), extra.begin(), extra.end());
    const auto r = clitest::runCli(args, dir_);
    ASSERT_EQ(r.exitCode, 0) << r.err;
  }
  fs::path dir_;
};

TEST_F(Metadata, OrientationDatesAndGpsSurviveInEveryFormat) {
  // The phone held upright: orientation 6 (rotate 90 degrees clockwise).
  const fs::path rotated = dir_ / "rotated.jpg";
  exiftool("-n -Orientation=6 -o " + shellQuoted(rotated.string()) + " " +
           shellQuoted(kPhone.string()));
  const nlohmann::json in = tagsOf(rotated);
  ASSERT_EQ(in.value("IFD0:Orientation", 0), 6) << in.dump();
  ASSERT_TRUE(in.contains("Composite:GPSLatitude")) << in.dump();

  for (const char *ext : {"jpg", "png", "tif"}) {
    const fs::path out = dir_ / (std::string("out.") + ext);
    correct({"--k1", "0.1"}, rotated, out);
    const nlohmann::json got = tagsOf(out);
    SCOPED_TRACE(std::string(ext) + ": " + got.dump());
    EXPECT_EQ(got.value("IFD0:Orientation", 0), 6);
    EXPECT_EQ(got.value("IFD0:Model", ""), "Lumia 820");
    EXPECT_EQ(got.value("ExifIFD:DateTimeOriginal", ""), "2013:05:10 15:21:35");
    EXPECT_EQ(got.value("ExifIFD:CreateDate", ""), in.value("ExifIFD:CreateDate", "?"));
    EXPECT_NEAR(got.value("Composite:GPSLatitude", 0.0), in["Composite:GPSLatitude"].get<double>(),
                1e-9);
    EXPECT_NEAR(got.value("Composite:GPSLongitude", 0.0),
                in["Composite:GPSLongitude"].get<double>(), 1e-9);
  }
  // exiv2 rewrote the TIFF around libtiff's strips: the pixels are the PNG's.
  const Image png = readImage(dir_ / "out.png"), tif = readImage(dir_ / "out.tif");
  ASSERT_EQ(png.doc.planes.size(), tif.doc.planes.size());
  for (std::size_t c = 0; c < png.doc.planes.size(); ++c)
    EXPECT_EQ(png.doc.planes[c].samples, tif.doc.planes[c].samples) << c;
}

TEST_F(Metadata, EveryFormatOfARotatedPhotoIsPreviewedUpright) {
  const fs::path rotated = dir_ / "rotated.jpg";
  exiftool("-n -Orientation=6 -o " + shellQuoted(rotated.string()) + " " +
           shellQuoted(kPhone.string()));
  // The pixels as stored, previewed from the photo without the tag.
  auto preview = [&](const fs::path &in, const std::string &stem) {
    const auto r = clitest::runCli(
        {"preview", in.string(), "-o", dir_.string(), "--size", "200x200", "-q"}, dir_);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    return readImage(dir_ / (stem + "-uncorrected.png"));
  };
  const Image stored = preview(kPhone, "npm-exif-parser_starfish");
  ASSERT_EQ(stored.doc.width, 200);  // 1278x720 in 200x200
  ASSERT_EQ(stored.doc.height, 113);
  std::vector<fs::path> files = {rotated};
  for (const char *ext : {"jpg", "png", "tif"}) {
    files.push_back(dir_ / (std::string("written-") + ext + "." + ext));
    correct({}, rotated, files.back());
  }
  for (const fs::path &f : files) {
    SCOPED_TRACE(f.filename().string());
    // The orientation as the command reads it, from each format's own place.
    EXPECT_EQ(tagsOf(f).value("IFD0:Orientation", 0), 6);
    const Image shown = preview(f, f.stem().string());
    // Turned 90 degrees clockwise: the stored row y is the shown column
    // 112 - y, read downwards.
    ASSERT_EQ(shown.doc.width, 113);
    ASSERT_EQ(shown.doc.height, 200);
    if (f != rotated) continue;  // the others were encoded again
    for (int c = 0; c < 3; ++c) {
      const auto &in = stored.doc.planes[c].samples;
      const auto &out = shown.doc.planes[c].samples;
      for (int y = 0; y < 113; ++y)
        for (int x = 0; x < 200; ++x)
          ASSERT_EQ(out[static_cast<std::size_t>(x) * 113 + (112 - y)], in[y * 200 + x])
              << c << " " << x << "," << y;
    }
  }
}

// Mean absolute difference between `thumb` and `full` reduced to the
// thumbnail's size by averaging, over the colour channels.
double distance(const Image &thumb, const Image &full) {
  const int tw = thumb.doc.width, th = thumb.doc.height, w = full.doc.width, h = full.doc.height;
  double total = 0.0;
  for (int c = 0; c < 3; ++c) {
    for (int ty = 0; ty < th; ++ty) {
      for (int tx = 0; tx < tw; ++tx) {
        double sum = 0.0;
        int n = 0;
        for (int y = ty * h / th; y < (ty + 1) * h / th; ++y)
          for (int x = tx * w / tw; x < (tx + 1) * w / tw; ++x, ++n)
            sum += full.doc.planes[c].samples[static_cast<std::size_t>(y) * w + x];
        total += std::abs(sum / n - thumb.doc.planes[c].samples[ty * tw + tx]);
      }
    }
  }
  return total / (3.0 * tw * th);
}

TEST_F(Metadata, TheThumbnailShowsTheCorrectedPicture) {
  for (const char *ext : {"jpg", "png"}) {
    const fs::path out = dir_ / (std::string("strong.") + ext);
    correct({"--k1", "0.5"}, kPhone, out);
    const fs::path thumbFile = dir_ / (std::string("thumb-") + ext + ".jpg");
    {
      const std::string bytes = exiftool("-b -ThumbnailImage " + shellQuoted(out.string()));
      ASSERT_GT(bytes.size(), 100u) << ext << ": no thumbnail";
      std::FILE *f = std::fopen(thumbFile.c_str(), "wb");
      ASSERT_NE(f, nullptr);
      std::fwrite(bytes.data(), 1, bytes.size(), f);
      std::fclose(f);
    }
    const Image thumb = readImage(thumbFile);
    // 1278x720 fits 160x120 as 160x90.
    EXPECT_EQ(thumb.doc.width, 160) << ext;
    EXPECT_EQ(thumb.doc.height, 90) << ext;
    const double toOutput = distance(thumb, readImage(out));
    const double toInput = distance(thumb, readImage(kPhone));
    EXPECT_LT(toOutput, 6.0) << ext << ": " << toInput << " vs " << toOutput;
    EXPECT_GT(toInput, 2.0 * toOutput) << ext << ": " << toInput << " vs " << toOutput;
  }
  // TIFF keeps no thumbnail directory at all.
  correct({"--k1", "0.5"}, kPhone, dir_ / "strong.tif");
  EXPECT_FALSE(tagsOf(dir_ / "strong.tif").contains("IFD1:ThumbnailLength"));
}

TEST_F(Metadata, JpegOutputKeepsTheInputsChromaSubsamplingUnlessTold) {
  ASSERT_EQ(tagsOf(kPhone).value("File:YCbCrSubSampling", ""), "2 2");  // 4:2:0
  correct({"--k1", "0.1"}, kPhone, dir_ / "same.jpg");
  EXPECT_EQ(tagsOf(dir_ / "same.jpg").value("File:YCbCrSubSampling", ""), "2 2");
  correct({"--k1", "0.1", "--sampling", "444"}, kPhone, dir_ / "full.jpg");
  EXPECT_EQ(tagsOf(dir_ / "full.jpg").value("File:YCbCrSubSampling", ""), "1 1");
  // A 4:4:4 input stays 4:4:4 without being asked.
  correct({"--k1", "0.1"}, dir_ / "full.jpg", dir_ / "again.jpg");
  EXPECT_EQ(tagsOf(dir_ / "again.jpg").value("File:YCbCrSubSampling", ""), "1 1");
  correct({"--k1", "0.1", "--sampling", "422"}, kPhone, dir_ / "half.jpg");
  EXPECT_EQ(tagsOf(dir_ / "half.jpg").value("File:YCbCrSubSampling", ""), "2 1");
  const auto bad = clitest::runCli(
      {"correct", kPhone.string(), (dir_ / "x.jpg").string(), "--sampling", "411"}, dir_);
  EXPECT_EQ(bad.exitCode, 2);
  EXPECT_NE(bad.err.find("444, 422 or 420"), std::string::npos) << bad.err;
}

}  // namespace
}  // namespace ortavel::cli
