// A picture read on a thread of its own while the host already serves its
// rows: the planes it gives are those of a whole read, a file that breaks off
// fails at finish() with the reader's own message, a stop asked for between
// rows ends it with the caller's error, and dropping it mid-read neither
// hangs nor writes into freed planes.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "exit_codes.h"
#include "image_io/background_read.h"
#include "image_io/image_io.h"
#include "temp_dir.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;

namespace {

using clitest::TempDir;

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

// 16-bit samples from the 8-bit pattern, the low byte busy too.
Image busy16(int w, int h) {
  Image img = busy(w, h);
  Image deep;
  deep.colour = ColourModel::kRgb;
  allocatePlanes(deep, w, h, 16, 3);
  for (std::size_t p = 0; p < 3; ++p)
    for (std::size_t i = 0; i < static_cast<std::size_t>(w) * h; ++i) {
      const auto v = static_cast<std::uint16_t>(img.doc.planes[p].samples[i] * 128 + i % 97);
      std::memcpy(&deep.doc.planes[p].samples[i * 2], &v, 2);
    }
  return deep;
}

// An 8-bit RGB PNG written interlaced (Adam7), which the command never
// writes: its rows exist only once the last pass is read.
void writeInterlacedPng(const fs::path &path, const Image &img) {
  FILE *f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, f);
  const auto w = static_cast<png_uint_32>(img.doc.width);
  const auto h = static_cast<png_uint_32>(img.doc.height);
  png_set_IHDR(png, info, w, h, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_ADAM7,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  std::vector<png_byte> pixels(static_cast<std::size_t>(w) * h * 3);
  for (std::size_t i = 0; i < static_cast<std::size_t>(w) * h; ++i)
    for (std::size_t p = 0; p < 3; ++p) pixels[i * 3 + p] = img.doc.planes[p].samples[i];
  std::vector<png_bytep> rows(h);
  for (png_uint_32 y = 0; y < h; ++y) rows[y] = pixels.data() + static_cast<std::size_t>(y) * w * 3;
  png_write_image(png, rows.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(f);
}

TEST(BackgroundRead, GivesWhatAWholeReadGivesAndCountsTheRows) {
  TempDir dir;
  writeImage(busy(300, 203), FileFormat::kJpeg, dir / "a.jpg", {});
  writeImage(busy(30, 20), FileFormat::kPng, dir / "a.png", {});
  writeImage(busy16(130, 97), FileFormat::kPng, dir / "b.png", {});
  writeInterlacedPng(dir / "c.png", busy(61, 45));
  writeImage(busy(301, 207), FileFormat::kTiff, dir / "a.tif", {});
  WriteOptions plain;
  plain.tiffCompression = TiffCompression::kNone;
  writeImage(busy16(500, 331), FileFormat::kTiff, dir / "b.tif", plain);
  for (const char *name : {"a.jpg", "a.png", "b.png", "c.png", "a.tif", "b.tif"}) {
    SCOPED_TRACE(name);
    const Image whole = readImage(dir / name);
    BackgroundRead reading(dir / name, {}, {}, stopError);
    Image &img = reading.image();
    EXPECT_EQ(img.doc.width, whole.doc.width);
    EXPECT_EQ(img.doc.height, whole.doc.height);
    EXPECT_EQ(img.jpegSampling, whole.jpegSampling);
    // Rows are counted as they come (an interlaced PNG's all at the end).
    EXPECT_NE(img.doc.arriving, nullptr);
    EXPECT_EQ(img.doc.depth, whole.doc.depth);
    EXPECT_TRUE(hostemu::awaitRows(img.doc, img.doc.height));
    reading.finish();
    EXPECT_EQ(img.doc.arriving, nullptr);
    ASSERT_EQ(img.doc.planes.size(), whole.doc.planes.size());
    for (std::size_t p = 0; p < whole.doc.planes.size(); ++p)
      EXPECT_TRUE(img.doc.planes[p].samples == whole.doc.planes[p].samples) << "plane " << p;
  }
}

// A JPEG and a PNG cut in half, and a Deflate TIFF whose strips in the middle are
// overwritten with junk, its directory kept: the headers read, the rows do
// not. Which of the TIFF's strips is found bad first may differ between two
// reads on two threads, so only its message's start is compared.
TEST(BackgroundRead, AFileThatBreaksOffFailsAtFinishWithTheReadersMessage) {
  TempDir dir;
  writeImage(busy(400, 300), FileFormat::kJpeg, dir / "a.jpg", {});
  fs::resize_file(dir / "a.jpg", fs::file_size(dir / "a.jpg") / 2);
  writeImage(busy(400, 300), FileFormat::kPng, dir / "a.png", {});
  fs::resize_file(dir / "a.png", fs::file_size(dir / "a.png") / 2);
  writeImage(busy(400, 300), FileFormat::kTiff, dir / "a.tif", {});
  {
    std::fstream f(dir / "a.tif", std::ios::binary | std::ios::in | std::ios::out);
    std::uint32_t ifd = 0;
    f.seekg(4);
    f.read(reinterpret_cast<char *>(&ifd), 4);
    const auto size = static_cast<std::uint32_t>(fs::file_size(dir / "a.tif"));
    ASSERT_GT(ifd, size / 2) << "the directory is expected after the strips";
    const std::string junk(size / 4, '\x5a');
    f.seekp(size / 4);
    f.write(junk.data(), static_cast<std::streamsize>(junk.size()));
  }
  for (const char *name : {"a.jpg", "a.png", "a.tif"}) {
    SCOPED_TRACE(name);
    const fs::path cut = dir / name;
    std::string whole;
    try {
      (void)readImage(cut);
    } catch (const CliError &e) {
      whole = e.what();
    }
    const std::string says =
        std::string(name) == "a.jpg"   ? cut.string() + ": not a readable JPEG image ("
        : std::string(name) == "a.png" ? cut.string() + ": not a readable PNG image ("
                                       : cut.string() + ": truncated or corrupt TIFF image";
    ASSERT_EQ(whole.rfind(says, 0), 0u) << whole;
    BackgroundRead reading(cut, {}, {}, stopError);
    // The host's wait for the last rows ends, with false, rather than hanging.
    EXPECT_FALSE(hostemu::awaitRows(reading.image().doc, reading.image().doc.height));
    const std::string failed = failureOf(reading);
    EXPECT_EQ(failed.rfind(says, 0), 0u) << failed;
  }
}

TEST(BackgroundRead, AStopBetweenRowsEndsItWithTheCallersError) {
  TempDir dir;
  writeImage(busy(200, 400), FileFormat::kJpeg, dir / "a.jpg", {});
  std::atomic<int> polls{0};
  BackgroundRead reading(
      dir / "a.jpg", {}, [&] { return ++polls > 3; }, stopError);
  EXPECT_FALSE(hostemu::awaitRows(reading.image().doc, reading.image().doc.height));
  EXPECT_TRUE(hostemu::awaitRows(reading.image().doc, 3 * kRowsPerReport));
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
