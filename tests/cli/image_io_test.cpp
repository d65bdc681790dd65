// Image files in and out: sample scaling, round trips through every format
// and depth, metadata carried along, and the refusals of bad files.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <tiffio.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "exit_codes.h"
#include "image_io/exif_block.h"
#include "image_io/image_io.h"
#include "image_io/sample_scale.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;

namespace {

const fs::path kData = fs::path(ORTAVEL_TESTDATA_DIR);

class TempDir {
 public:
  TempDir() {
    std::string t = (fs::temp_directory_path() / "ortavel-io-XXXXXX").string();
    path_ = ::mkdtemp(t.data());
  }
  ~TempDir() { fs::remove_all(path_); }
  fs::path operator/(const std::string &n) const { return path_ / n; }

 private:
  fs::path path_;
};

// A picture whose every sample differs from its neighbours in a known way.
Image pattern(ColourModel colour, int depth, int alpha, int w = 37, int h = 23) {
  Image img;
  img.colour = colour;
  allocatePlanes(img, w, h, depth, img.colourChannels() + alpha);
  for (std::size_t p = 0; p < img.doc.planes.size(); ++p) {
    for (int i = 0; i < w * h; ++i) {
      if (depth == 8) {
        img.doc.planes[p].samples[i] = static_cast<std::uint8_t>((i * 7 + p * 61) % 256);
      } else {
        reinterpret_cast<std::uint16_t *>(img.doc.planes[p].samples.data())[i] =
            static_cast<std::uint16_t>((i * 911 + p * 5003) % 32769);
      }
    }
  }
  return img;
}

std::vector<std::uint8_t> srgbProfile() {
  cmsHPROFILE p = cmsCreate_sRGBProfile();
  cmsUInt32Number n = 0;
  cmsSaveProfileToMem(p, nullptr, &n);
  std::vector<std::uint8_t> bytes(n);
  cmsSaveProfileToMem(p, bytes.data(), &n);
  cmsCloseProfile(p);
  return bytes;
}

ExitCode readFailure(const fs::path &p, std::string *message = nullptr) {
  try {
    readImage(p);
  } catch (const CliError &e) {
    if (message) *message = e.what();
    return e.code();
  }
  return ExitCode::kOk;
}

}  // namespace

TEST(SampleScale, EndpointsAndMidpointMapAsDesigned) {
  EXPECT_EQ(fileToHost16(0), 0);
  EXPECT_EQ(fileToHost16(65535), 32768);
  EXPECT_EQ(hostToFile16(0), 0);
  EXPECT_EQ(hostToFile16(32768), 65535);
  // 16384 * 65535 / 32768 = 32767.5, rounded up.
  EXPECT_EQ(hostToFile16(16384), 32768);
  EXPECT_EQ(hostToFile8(32768), 255);
  EXPECT_EQ(hostToFile8(0), 0);
}

TEST(SampleScale, OrderIsKeptAndHostValuesSurviveAFile) {
  for (std::uint32_t v = 1; v <= 65535; ++v) {
    ASSERT_LE(fileToHost16(static_cast<std::uint16_t>(v - 1)),
              fileToHost16(static_cast<std::uint16_t>(v)));
  }
  for (std::uint32_t h = 0; h <= 32768; ++h) {
    ASSERT_EQ(fileToHost16(hostToFile16(static_cast<std::uint16_t>(h))), h);
    if (h > 0) {
      ASSERT_LT(hostToFile16(static_cast<std::uint16_t>(h - 1)),
                hostToFile16(static_cast<std::uint16_t>(h)));
    }
  }
}

TEST(ExifBlock, CameraTagsRoundTripAndRealBlocksRead) {
  CameraTags in;
  in.make = "Testcam";
  in.model = "T-1 Mark II";
  in.focalLengthMm = 35.5;
  const CameraTags out = readCameraTags(buildExifBlock(in));
  EXPECT_EQ(out.make, "Testcam");
  EXPECT_EQ(out.model, "T-1 Mark II");
  ASSERT_TRUE(out.focalLengthMm);
  EXPECT_DOUBLE_EQ(*out.focalLengthMm, 35.5);

  // The camera's own block, as the file's README (exiftool) reports it.
  const Image nikon = readImage(kData / "exif/exif-jpeg/npm-exif-js_DSCN0614_small.jpg");
  const CameraTags real = readCameraTags(nikon.doc.exif);
  EXPECT_EQ(real.make, "NIKON");
  EXPECT_EQ(real.model, "E4600");
  ASSERT_TRUE(real.focalLengthMm);
  EXPECT_NEAR(*real.focalLengthMm, 17.1, 1e-9);

  // Junk and cut blocks give nothing, without reading past the end.
  const std::vector<std::uint8_t> junk = {'I', 'I', 42, 0, 200, 0, 0, 0, 1};
  EXPECT_FALSE(readCameraTags(junk).make);
  auto cut = buildExifBlock(in);
  cut.resize(20);
  EXPECT_FALSE(readCameraTags(cut).model);
}

TEST(ImageRoundTrip, LosslessFormatsKeepEverySample) {
  TempDir dir;
  struct Case {
    FileFormat format;
    ColourModel colour;
    int depth;
    int alpha;
    const char *name;
  } cases[] = {
      {FileFormat::kPng, ColourModel::kGrey, 8, 0, "g8.png"},
      {FileFormat::kPng, ColourModel::kGrey, 16, 1, "ga16.png"},
      {FileFormat::kPng, ColourModel::kRgb, 8, 1, "rgba8.png"},
      {FileFormat::kPng, ColourModel::kRgb, 16, 0, "rgb16.png"},
      {FileFormat::kTiff, ColourModel::kGrey, 16, 0, "g16.tif"},
      {FileFormat::kTiff, ColourModel::kRgb, 8, 2, "rgbaa8.tif"},
      {FileFormat::kTiff, ColourModel::kRgb, 16, 1, "rgba16.tif"},
      {FileFormat::kTiff, ColourModel::kCmyk, 8, 0, "cmyk8.tif"},
      {FileFormat::kTiff, ColourModel::kCmyk, 16, 1, "cmyka16.tif"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    const Image in = pattern(c.colour, c.depth, c.alpha);
    writeImage(in, c.format, dir / c.name, {});
    const Image out = readImage(dir / c.name);
    EXPECT_EQ(out.format, c.format);
    EXPECT_EQ(out.colour, c.colour);
    EXPECT_EQ(out.fileBits, c.depth);
    EXPECT_EQ(out.doc.depth, c.depth);
    EXPECT_EQ(out.alphaPlanes(), c.alpha);
    ASSERT_EQ(out.doc.planes.size(), in.doc.planes.size());
    for (std::size_t p = 0; p < in.doc.planes.size(); ++p) {
      EXPECT_EQ(out.doc.planes[p].samples, in.doc.planes[p].samples) << "plane " << p;
    }
  }
}

TEST(ImageRoundTrip, JpegStaysCloseAndCmykKeepsItsInkConvention) {
  TempDir dir;
  for (ColourModel colour : {ColourModel::kGrey, ColourModel::kRgb, ColourModel::kCmyk}) {
    // Smooth content, which JPEG keeps well.
    Image in;
    in.colour = colour;
    allocatePlanes(in, 64, 48, 8, in.colourChannels());
    for (std::size_t p = 0; p < in.doc.planes.size(); ++p)
      for (int i = 0; i < 64 * 48; ++i)
        in.doc.planes[p].samples[i] = static_cast<std::uint8_t>(40 + (i % 64) * 2 + p * 10);
    writeImage(in, FileFormat::kJpeg, dir / "a.jpg", WriteOptions{100});
    const Image out = readImage(dir / "a.jpg");
    EXPECT_EQ(out.colour, colour);
    ASSERT_EQ(out.doc.planes.size(), in.doc.planes.size());
    double err = 0.0;
    for (std::size_t p = 0; p < in.doc.planes.size(); ++p)
      for (int i = 0; i < 64 * 48; ++i)
        err += std::abs(out.doc.planes[p].samples[i] - in.doc.planes[p].samples[i]);
    EXPECT_LT(err / (64.0 * 48.0 * in.doc.planes.size()), 2.0);
  }
  // A 16-bit picture goes into JPEG as 8 bits: host 32768 is white.
  Image deep = pattern(ColourModel::kRgb, 16, 0, 16, 16);
  for (auto &plane : deep.doc.planes)
    for (std::size_t i = 0; i < plane.samples.size(); i += 2) {
      plane.samples[i] = 0x00;
      plane.samples[i + 1] = 0x80;  // 32768, little-endian
    }
  writeImage(deep, FileFormat::kJpeg, dir / "d.jpg", WriteOptions{100});
  const Image white = readImage(dir / "d.jpg");
  EXPECT_EQ(white.doc.planes[0].samples[0], 255);
}

TEST(ImageRoundTrip, ExifIccAndResolutionTravel) {
  TempDir dir;
  CameraTags tags;
  tags.make = "Testcam";
  tags.model = "T-1";
  tags.focalLengthMm = 24.0;
  const auto exif = buildExifBlock(tags);
  const auto icc = srgbProfile();
  for (FileFormat f : {FileFormat::kJpeg, FileFormat::kPng, FileFormat::kTiff}) {
    SCOPED_TRACE(formatName(f));
    Image in = pattern(ColourModel::kRgb, 8, 0);
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
    ASSERT_TRUE(back.focalLengthMm);
    EXPECT_DOUBLE_EQ(*back.focalLengthMm, 24.0);
    if (f != FileFormat::kTiff) {
      EXPECT_EQ(out.doc.exif, exif);  // the block itself, byte for byte
    }
  }
}

TEST(ImageRead, RealCameraFiles) {
  const Image demo = readImage(kData / "chessboard/0_left.jpg");
  EXPECT_EQ(demo.doc.width, 1024);
  EXPECT_EQ(demo.doc.height, 768);
  EXPECT_EQ(demo.colour, ColourModel::kRgb);
  EXPECT_EQ(demo.doc.imageMode, 3);

  const Image grey = readImage(kData / "chessboard/left01.jpg");
  EXPECT_EQ(grey.doc.width, 640);
  EXPECT_EQ(grey.doc.height, 480);
  EXPECT_EQ(grey.colour, ColourModel::kGrey);
  EXPECT_EQ(grey.doc.imageMode, 1);

  const Image tiff = readImage(kData / "exif/exif-tiff/npm-jpeg-exif_Arbitro.tiff");
  EXPECT_EQ(tiff.doc.width, 174);
  EXPECT_EQ(tiff.doc.height, 38);
  EXPECT_EQ(tiff.colour, ColourModel::kRgb);
  EXPECT_EQ(tiff.alphaPlanes(), 1);
  EXPECT_TRUE(tiff.doc.exif.empty());  // no camera tags in it

  const Image big = readImage(kData / "exif/exif-jpeg/npm-exif-js_dsc_09827.jpg");
  const CameraTags d100 = readCameraTags(big.doc.exif);
  EXPECT_EQ(d100.model, "NIKON D100 ");  // the camera pads it; exiftool trims the space
  EXPECT_NEAR(d100.focalLengthMm.value_or(0), 190.0, 1e-9);
}

TEST(ImageRead, BadFilesAreRefusedAsBadInput) {
  TempDir dir;
  std::string msg;
  EXPECT_EQ(readFailure(dir / "missing.jpg", &msg), ExitCode::kBadInput);
  EXPECT_NE(msg.find("no such file"), std::string::npos);

  std::ofstream(dir / "text.jpg") << "hello, not a picture\n";
  EXPECT_EQ(readFailure(dir / "text.jpg", &msg), ExitCode::kBadInput);
  std::ofstream(dir / "empty.png").close();
  EXPECT_EQ(readFailure(dir / "empty.png"), ExitCode::kBadInput);

  // A real JPEG cut in half; and the same for PNG and TIFF.
  std::ifstream src(kData / "chessboard/0_left.jpg", std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(src)), {});
  std::ofstream(dir / "half.jpg", std::ios::binary).write(bytes.data(), bytes.size() / 2);
  EXPECT_EQ(readFailure(dir / "half.jpg", &msg), ExitCode::kBadInput);
  EXPECT_NE(msg.find("half.jpg"), std::string::npos);
  EXPECT_EQ(
      readFailure(kData /
                  "exif/exif-only/deb-goexif_2011-10-28-17-50-18-sep-2011-10-28-17-50-18a.jpg"),
      ExitCode::kBadInput);

  for (const char *name : {"p.png", "t.tif"}) {
    const Image img = pattern(ColourModel::kRgb, 8, 0, 200, 200);
    writeImage(img, std::string(name).ends_with("png") ? FileFormat::kPng : FileFormat::kTiff,
               dir / name, {});
    fs::resize_file(dir / name, fs::file_size(dir / name) / 2);
    EXPECT_EQ(readFailure(dir / name), ExitCode::kBadInput) << name;
  }

  // 32-bit float TIFF: refused, and the message says why.
  TIFF *t = TIFFOpen((dir / "f.tif").c_str(), "w");
  ASSERT_NE(t, nullptr);
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, 4u);
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, 2u);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 32);
  TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  float row[4] = {0.f, 0.25f, 0.5f, 1.f};
  TIFFWriteScanline(t, row, 0, 0);
  TIFFWriteScanline(t, row, 1, 0);
  TIFFClose(t);
  EXPECT_EQ(readFailure(dir / "f.tif", &msg), ExitCode::kBadInput);
  EXPECT_NE(msg.find("floating-point"), std::string::npos) << msg;
}

TEST(ImageWrite, FormatsThatCannotHoldThePictureAreNamed) {
  EXPECT_EQ(formatForName("a/b.JPEG"), FileFormat::kJpeg);
  EXPECT_EQ(formatForName("x.tif"), FileFormat::kTiff);
  EXPECT_EQ(formatForName("x.Png"), FileFormat::kPng);
  EXPECT_FALSE(formatForName("x.gif"));
  const Image cmyk = pattern(ColourModel::kCmyk, 8, 0);
  EXPECT_THROW(checkWritable(cmyk, FileFormat::kPng, "o.png"), CliError);
  EXPECT_NO_THROW(checkWritable(cmyk, FileFormat::kTiff, "o.tif"));
  EXPECT_THROW(checkWritable(pattern(ColourModel::kRgb, 8, 2), FileFormat::kPng, "o.png"),
               CliError);
}
