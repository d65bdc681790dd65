// Image files in and out below the command: sample scaling, JPEG's losses,
// metadata carried through every format, and pictures a format cannot hold.
// Lossless round trips and bad files run through the command in end_to_end.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "exit_codes.h"
#include "image_io/exif_block.h"
#include "image_io/image_io.h"
#include "image_io/sample_scale.h"
#include "temp_dir.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;

namespace {

using clitest::TempDir;

// 8-bit planes rising smoothly along each row, which JPEG keeps well.
Image ramp(ColourModel colour, int alpha = 0, int w = 64, int h = 48) {
  Image img;
  img.colour = colour;
  allocatePlanes(img, w, h, 8, img.colourChannels() + alpha);
  for (std::size_t p = 0; p < img.doc.planes.size(); ++p)
    for (int i = 0; i < w * h; ++i)
      img.doc.planes[p].samples[i] = static_cast<std::uint8_t>(40 + (i % w) * 2 + p * 10);
  return img;
}

}  // namespace

TEST(SampleScale, EndpointsOrderAndHostValuesSurviveAFile) {
  EXPECT_EQ(fileToHost16(65535), 32768);
  EXPECT_EQ(hostToFile16(32768), 65535);
  EXPECT_EQ(hostToFile16(16384), 32768);  // 32767.5 rounded up
  EXPECT_EQ(hostToFile8(32768), 255);
  EXPECT_EQ(hostToFile8(0), 0);
  for (std::uint32_t v = 1; v <= 65535; ++v)
    ASSERT_LE(fileToHost16(static_cast<std::uint16_t>(v - 1)),
              fileToHost16(static_cast<std::uint16_t>(v)));
  for (std::uint32_t h = 0; h <= 32768; ++h) {
    ASSERT_EQ(fileToHost16(hostToFile16(static_cast<std::uint16_t>(h))), h);
    if (h > 0) {
      ASSERT_LT(hostToFile16(static_cast<std::uint16_t>(h - 1)),
                hostToFile16(static_cast<std::uint16_t>(h)));
    }
  }
}

TEST(ExifBlock, JunkAndCutBlocksGiveNothing) {
  const std::vector<std::uint8_t> junk = {'I', 'I', 42, 0, 200, 0, 0, 0, 1};
  EXPECT_FALSE(readCameraTags(junk).make);
  auto cut = buildExifBlock(CameraTags{"Testcam", "T-1 Mark II", 35.5});
  ASSERT_EQ(readCameraTags(cut).model, "T-1 Mark II");
  cut.resize(20);
  EXPECT_FALSE(readCameraTags(cut).model);
}

TEST(ImageRoundTrip, JpegStaysCloseAndCmykKeepsItsInkConvention) {
  TempDir dir;
  for (ColourModel colour : {ColourModel::kGrey, ColourModel::kRgb, ColourModel::kCmyk}) {
    const Image in = ramp(colour);
    writeImage(in, FileFormat::kJpeg, dir / "a.jpg", WriteOptions{100});
    const Image out = readImage(dir / "a.jpg");
    EXPECT_EQ(out.colour, colour);
    ASSERT_EQ(out.doc.planes.size(), in.doc.planes.size());
    double err = 0.0;
    for (std::size_t p = 0; p < in.doc.planes.size(); ++p)
      for (std::size_t i = 0; i < in.doc.planes[p].samples.size(); ++i)
        err += std::abs(out.doc.planes[p].samples[i] - in.doc.planes[p].samples[i]);
    EXPECT_LT(err / (64.0 * 48.0 * in.doc.planes.size()), 2.0);
  }
  // A 16-bit picture goes into JPEG as 8 bits: host 32768 is white.
  Image deep;
  deep.colour = ColourModel::kRgb;
  allocatePlanes(deep, 16, 16, 16, 3);
  for (auto &plane : deep.doc.planes)
    for (std::size_t i = 1; i < plane.samples.size(); i += 2) plane.samples[i] = 0x80;
  writeImage(deep, FileFormat::kJpeg, dir / "d.jpg", WriteOptions{100});
  EXPECT_EQ(readImage(dir / "d.jpg").doc.planes[0].samples[0], 255);
}

TEST(ImageRoundTrip, ExifIccAndResolutionTravel) {
  TempDir dir;
  const auto exif = buildExifBlock(CameraTags{"Testcam", "T-1", 24.0});
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsUInt32Number n = 0;
  cmsSaveProfileToMem(srgb, nullptr, &n);
  std::vector<std::uint8_t> icc(n);
  cmsSaveProfileToMem(srgb, icc.data(), &n);
  cmsCloseProfile(srgb);
  for (FileFormat f : {FileFormat::kJpeg, FileFormat::kPng, FileFormat::kTiff}) {
    SCOPED_TRACE(formatName(f));
    Image in = ramp(ColourModel::kRgb);
    in.doc.exif = exif;
    in.doc.icc = icc;
    in.xDpi = 300.0;
    in.yDpi = 150.0;
    writeImage(in, f, dir / "m.img", {});
    const Image out = readImage(dir / "m.img");
    EXPECT_EQ(out.doc.icc, icc);
    // PNG keeps whole pixels per metre: steps of 0.0254 dpi.
    EXPECT_NEAR(out.xDpi, 300.0, 0.0127);
    EXPECT_NEAR(out.yDpi, 150.0, 0.0127);
    const CameraTags back = readCameraTags(out.doc.exif);
    EXPECT_EQ(back.make, "Testcam");
    EXPECT_EQ(back.model, "T-1");
    EXPECT_EQ(back.focalLengthMm.value_or(0.0), 24.0);
    if (f != FileFormat::kTiff) {
      EXPECT_EQ(out.doc.exif, exif);  // byte for byte
    }
  }
}

TEST(ImageWrite, RowsThatComeLateMakeTheSameFileAndRowsTakenBackMakeNone) {
  TempDir dir;
  const Image img = ramp(ColourModel::kRgb, 1, 90, 300);
  const Image shape = withoutSamples(img);
  WriteOptions opt;
  for (FileFormat f : {FileFormat::kJpeg, FileFormat::kPng, FileFormat::kTiff}) {
    SCOPED_TRACE(formatName(f));
    writeImage(img, f, dir / "whole.img", opt);
    for (const bool takenBack : {false, true}) {
      // Rows told a few at a time from another thread, as a host tells them.
      hostemu::FinishedRows rows(img.doc.height);
      rows.begin(hostemu::planeStarts(img.doc));
      std::thread host([&] {
        for (int y = 8; y <= (takenBack ? 120 : img.doc.height); y += 8) {
          rows.finished(y);
          std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        if (takenBack) {
          rows.withdraw();
        } else {
          rows.complete(hostemu::planeStarts(img.doc));
        }
      });
      bool withdrawn = false;
      {
        hostemu::FinishedRows::Reader reading(rows);
        try {
          writeImage(shape, FilterOutputRows(rows), f, dir / "late.img", opt);
        } catch (const RowsWithdrawn &) {
          withdrawn = true;
        }
      }
      host.join();
      EXPECT_EQ(withdrawn, takenBack);
      if (!takenBack) {
        std::ifstream a(dir / "whole.img", std::ios::binary), b(dir / "late.img", std::ios::binary);
        const std::string whole{std::istreambuf_iterator<char>(a), {}};
        const std::string late{std::istreambuf_iterator<char>(b), {}};
        EXPECT_TRUE(whole == late) << whole.size() << " bytes against " << late.size();
      }
    }
  }
}

TEST(ImageWrite, FormatsThatCannotHoldThePictureAreNamed) {
  EXPECT_EQ(formatForName("a/b.JPEG"), FileFormat::kJpeg);
  EXPECT_EQ(formatForName("x.Png"), FileFormat::kPng);
  EXPECT_FALSE(formatForName("x.gif"));
  const Image cmyk = ramp(ColourModel::kCmyk);
  EXPECT_THROW(checkWritable(cmyk, FileFormat::kPng, "o.png"), CliError);
  EXPECT_NO_THROW(checkWritable(cmyk, FileFormat::kTiff, "o.tif"));
  EXPECT_THROW(checkWritable(ramp(ColourModel::kRgb, 2), FileFormat::kPng, "o.png"), CliError);
}

namespace {

// Rows to and from files, in every combination the codecs use, against the
// rules: file sample p of pixel x at x * planes + p, colour inverted when
// asked (alpha never), 8-bit samples widened by 257, 16-bit ones rescaled.
struct RowCase {
  ColourModel colour;
  int alpha;
  int depth;
  int fileBits;
  bool invert;
  bool dropAlpha;  // JPEG writes the colour planes only
};

std::string describe(const RowCase &c) {
  return std::string(colourName(c.colour)) + " +" + std::to_string(c.alpha) + " alpha, " +
         std::to_string(c.depth) + "-bit document, " + std::to_string(c.fileBits) + "-bit file" +
         (c.invert ? ", inverted" : "") + (c.dropAlpha ? ", colour only" : "");
}

std::vector<RowCase> rowCases() {
  std::vector<RowCase> all;
  for (ColourModel colour : {ColourModel::kGrey, ColourModel::kRgb, ColourModel::kCmyk})
    for (int alpha : {0, 1, 2})
      for (int depth : {8, 16})
        for (int fileBits : {8, 16})
          for (bool invert : {false, true})
            for (bool dropAlpha : {false, true}) {
              all.push_back({colour, alpha, depth, fileBits, invert, dropAlpha});
            }
  return all;
}

std::uint16_t documentSample(const Image &img, int p, int x, int y) {
  const auto &s = img.doc.planes[static_cast<std::size_t>(p)].samples;
  const std::size_t at = static_cast<std::size_t>(y) * img.doc.width + x;
  if (img.doc.depth == 8) return s[at];
  std::uint16_t v;
  std::memcpy(&v, &s[at * 2], 2);
  return v;
}

}  // namespace

TEST(ImageRows, PackedRowsFollowTheFileLayoutAndScale) {
  for (const RowCase &c : rowCases()) {
    SCOPED_TRACE(describe(c));
    Image img;
    img.colour = c.colour;
    const int w = 37, h = 3;
    allocatePlanes(img, w, h, c.depth, img.colourChannels() + c.alpha);
    std::uint32_t seed = 12345;
    for (auto &plane : img.doc.planes) {
      for (std::size_t i = 0; i < plane.samples.size(); i += c.depth / 8) {
        seed = seed * 1103515245u + 12345u;
        if (c.depth == 8) {
          plane.samples[i] = static_cast<std::uint8_t>(seed >> 16);
        } else {  // some beyond 32768, as foreign data may be
          const auto v = static_cast<std::uint16_t>((seed >> 8) % 40000);
          std::memcpy(&plane.samples[i], &v, 2);
        }
      }
    }
    const int planes = c.dropAlpha ? img.colourChannels() : static_cast<int>(img.doc.planes.size());
    const int colour = c.invert ? img.colourChannels() : 0;
    std::vector<std::uint16_t> row(static_cast<std::size_t>(w * planes), 0xBEEF);
    packRow(img, hostemu::planeStarts(img.doc), 1, planes, c.fileBits, c.invert, row.data());
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(row.data());
    int wrong = 0;
    for (int x = 0; x < w; ++x) {
      for (int p = 0; p < planes; ++p) {
        const std::uint16_t v = documentSample(img, p, x, 1);
        const bool inv = p < colour;
        const std::size_t at = static_cast<std::size_t>(x * planes + p);
        std::uint16_t want;
        if (c.depth == 8) {
          const int b = inv ? 255 - v : v;
          want = static_cast<std::uint16_t>(c.fileBits == 8 ? b : b * 257);
        } else {
          const auto hv = static_cast<std::uint16_t>(inv ? 32768 - std::min<int>(v, 32768) : v);
          want = c.fileBits == 8 ? hostToFile8(hv) : hostToFile16(hv);
        }
        wrong += (c.fileBits == 8 ? bytes[at] : row[at]) != want;
      }
    }
    EXPECT_EQ(wrong, 0);
    // Exactly the row's bytes are written.
    const std::size_t used = static_cast<std::size_t>(w * planes * c.fileBits / 8);
    for (std::size_t i = used; i < row.size() * 2; ++i) {
      wrong += bytes[i] != (i % 2 ? 0xBE : 0xEF);
    }
    EXPECT_EQ(wrong, 0);

    // Reading: the file's depth is the document's.
    if (c.depth != c.fileBits) continue;
    std::vector<std::uint16_t> file(static_cast<std::size_t>(w * planes));
    for (auto &v : file) {
      seed = seed * 1103515245u + 12345u;
      v = static_cast<std::uint16_t>(seed >> 12);
    }
    const auto *fileBytes = reinterpret_cast<const std::uint8_t *>(file.data());
    unpackRow(img, 2, planes, c.fileBits, c.invert, file.data());
    for (int x = 0; x < w; ++x) {
      for (int p = 0; p < planes; ++p) {
        const bool inv = p < colour;
        const std::size_t at = static_cast<std::size_t>(x * planes + p);
        std::uint16_t want;
        if (c.fileBits == 8) {
          want = static_cast<std::uint16_t>(inv ? 255 - fileBytes[at] : fileBytes[at]);
        } else {
          want = fileToHost16(static_cast<std::uint16_t>(inv ? 65535 - file[at] : file[at]));
        }
        wrong += documentSample(img, p, x, 2) != want;
      }
    }
    EXPECT_EQ(wrong, 0);
  }
}
