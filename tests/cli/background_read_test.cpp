// A picture read on a thread of its own while the host already serves its
// rows: the planes it gives are those of a whole read, a file that breaks off
// fails at finish() with the reader's own message, a stop asked for between
// rows ends it with the caller's error, and dropping it mid-read neither
// hangs nor writes into freed planes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>

#include "exit_codes.h"
#include "image_io/background_read.h"
#include "image_io/image_io.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;

namespace {

class TempDir {
 public:
  TempDir() {
    std::string t = (fs::temp_directory_path() / "ortavel-bg-XXXXXX").string();
    path_ = ::mkdtemp(t.data());
  }
  ~TempDir() { fs::remove_all(path_); }
  fs::path operator/(const std::string &n) const { return path_ / n; }

 private:
  fs::path path_;
};

// A picture with detail in every row and plane, so that a row read twice or
// not at all shows.
Image busy(int w, int h) {
  Image img;
  img.colour = ColourModel::kRgb;
  allocatePlanes(img, w, h, 8, 3);
  for (std::size_t p = 0; p < 3; ++p)
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        img.doc.planes[p].samples[static_cast<std::size_t>(y) * w + x] =
            static_cast<std::uint8_t>((x * 3 + y * 5 + static_cast<int>(p) * 70) % 256);
  return img;
}

std::exception_ptr stopError() {
  return std::make_exception_ptr(CliError(ExitCode::kInterrupted, "stopped here"));
}

std::string failureOf(BackgroundRead &reading) {
  try {
    reading.finish();
  } catch (const CliError &e) {
    return e.what();
  }
  return "finished";
}

TEST(BackgroundRead, GivesWhatAWholeReadGivesAndCountsTheRows) {
  TempDir dir;
  writeImage(busy(300, 203), FileFormat::kJpeg, dir / "a.jpg", {});
  writeImage(busy(30, 20), FileFormat::kPng, dir / "a.png", {});
  for (const char *name : {"a.jpg", "a.png"}) {
    SCOPED_TRACE(name);
    const Image whole = readImage(dir / name);
    BackgroundRead reading(dir / name, {}, {}, stopError);
    Image &img = reading.image();
    EXPECT_EQ(img.doc.width, whole.doc.width);
    EXPECT_EQ(img.doc.height, whole.doc.height);
    EXPECT_EQ(img.jpegSampling, whole.jpegSampling);
    // A JPEG's rows are counted as they come; other files arrive whole.
    EXPECT_EQ(img.doc.arriving != nullptr, std::string(name) == "a.jpg");
    EXPECT_TRUE(hostemu::awaitRows(img.doc, img.doc.height));
    reading.finish();
    EXPECT_EQ(img.doc.arriving, nullptr);
    ASSERT_EQ(img.doc.planes.size(), whole.doc.planes.size());
    for (std::size_t p = 0; p < whole.doc.planes.size(); ++p)
      EXPECT_TRUE(img.doc.planes[p].samples == whole.doc.planes[p].samples) << "plane " << p;
  }
}

TEST(BackgroundRead, AFileThatBreaksOffFailsAtFinishWithTheReadersMessage) {
  TempDir dir;
  writeImage(busy(400, 300), FileFormat::kJpeg, dir / "a.jpg", {});
  fs::resize_file(dir / "a.jpg", fs::file_size(dir / "a.jpg") / 2);
  const fs::path cut = dir / "a.jpg";
  std::string whole;
  try {
    (void)readImage(cut);
  } catch (const CliError &e) {
    whole = e.what();
  }
  ASSERT_NE(whole.find("not a readable JPEG"), std::string::npos) << whole;
  BackgroundRead reading(cut, {}, {}, stopError);
  // The host's wait for the last rows ends, with false, rather than hanging.
  EXPECT_FALSE(hostemu::awaitRows(reading.image().doc, reading.image().doc.height));
  EXPECT_EQ(failureOf(reading), whole);
}

TEST(BackgroundRead, AStopBetweenRowsEndsItWithTheCallersError) {
  TempDir dir;
  writeImage(busy(200, 400), FileFormat::kJpeg, dir / "a.jpg", {});
  std::atomic<int> polls{0};
  BackgroundRead reading(
      dir / "a.jpg", {}, [&] { return ++polls > 3; }, stopError);
  EXPECT_FALSE(hostemu::awaitRows(reading.image().doc, reading.image().doc.height));
  EXPECT_TRUE(hostemu::awaitRows(reading.image().doc, 3 * JpegReader::kRowsPerReport));
  EXPECT_EQ(failureOf(reading), "stopped here");
}

TEST(BackgroundRead, DroppedWhileReadingItStopsAndWaits) {
  TempDir dir;
  writeImage(busy(1500, 1000), FileFormat::kJpeg, dir / "a.jpg", {});
  for (int i = 0; i < 5; ++i) {
    BackgroundRead reading(dir / "a.jpg", {}, {}, stopError);
    EXPECT_EQ(reading.image().doc.height, 1000);
  }
}

}  // namespace
