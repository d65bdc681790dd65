// TIFF strips compressed on several threads: every codec, strips spread over
// more windows than there are threads, 8 and 16 bits, read back with libtiff
// itself row by row, and whole pictures through the command's writer and
// reader.
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "image_io/image_io.h"
#include "image_io/tiff_strips.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;

namespace {

struct TiffCloser {
  void operator()(TIFF *t) const { TIFFClose(t); }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

fs::path scratch() {
  std::string t = (fs::temp_directory_path() / "ortavel-strips-XXXXXX").string();
  return ::mkdtemp(t.data());
}

// Noise over a gradient, so that every codec has something to do and a
// misplaced strip or row changes the bytes.
std::vector<std::uint8_t> samples(std::size_t rowBytes, std::uint32_t height, unsigned seed) {
  std::vector<std::uint8_t> v(rowBytes * height);
  std::mt19937 rng(seed);
  for (std::size_t i = 0; i < v.size(); ++i)
    v[i] = static_cast<std::uint8_t>((i / 7) % 251 + rng() % 5);
  return v;
}

const TiffCompression kAll[] = {TiffCompression::kNone, TiffCompression::kDeflate,
                                TiffCompression::kLzw, TiffCompression::kZstd};

TEST(TiffStrips, EveryCodecReadsBackRowForRowAcrossManyStripsAndWindows) {
  const fs::path dir = scratch();
  for (TiffCompression codec : kAll) {
    if (!tiffCompressionAvailable(codec)) continue;
    for (std::uint16_t bits : {8, 16}) {
      for (std::uint16_t spp : {1, 3, 4}) {
        TiffStripLayout layout;
        layout.width = 37;
        layout.height = 101;  // 34 strips of 3 rows, the last one of 2
        layout.samplesPerPixel = spp;
        layout.bitsPerSample = bits;
        layout.rowsPerStrip = 3;
        layout.compression = codec;
        const std::size_t rowBytes = std::size_t{layout.width} * spp * (bits / 8);
        const auto want = samples(rowBytes, layout.height, spp * bits);
        const fs::path file = dir / "s.tif";
        {
          Tiff t(TIFFOpen(file.c_str(), "w"));
          ASSERT_TRUE(t);
          TIFFSetField(t.get(), TIFFTAG_IMAGEWIDTH, layout.width);
          TIFFSetField(t.get(), TIFFTAG_IMAGELENGTH, layout.height);
          TIFFSetField(t.get(), TIFFTAG_SAMPLESPERPIXEL, spp);
          TIFFSetField(t.get(), TIFFTAG_BITSPERSAMPLE, bits);
          TIFFSetField(t.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
          TIFFSetField(t.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
          if (spp > 1) {
            const std::vector<std::uint16_t> extra(spp - 1u, EXTRASAMPLE_UNSPECIFIED);
            TIFFSetField(t.get(), TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(spp - 1),
                         extra.data());
          }
          setTiffStripTags(t.get(), layout);
          // Three threads: windows of 12 strips, the last one partial.
          const std::string error = writeTiffStrips(
              t.get(), layout,
              [&](std::uint32_t y, void *row) {
                std::memcpy(row, want.data() + rowBytes * y, rowBytes);
              },
              3);
          ASSERT_EQ(error, "");
        }
        Tiff t(TIFFOpen(file.c_str(), "r"));
        ASSERT_TRUE(t);
        std::uint16_t stored = 0;
        TIFFGetField(t.get(), TIFFTAG_COMPRESSION, &stored);
        EXPECT_EQ(TIFFNumberOfStrips(t.get()), 34u);
        std::vector<std::uint8_t> row(rowBytes);
        for (std::uint32_t y = 0; y < layout.height; ++y) {
          ASSERT_EQ(TIFFReadScanline(t.get(), row.data(), y, 0), 1);
          ASSERT_EQ(std::memcmp(row.data(), want.data() + rowBytes * y, rowBytes), 0)
              << tiffCompressionName(codec) << " " << bits << "-bit, " << spp << " samples, row "
              << y;
        }
      }
    }
  }
  fs::remove_all(dir);
}

TEST(TiffStrips, NamesAndStripSizes) {
  for (TiffCompression codec : kAll)
    EXPECT_EQ(tiffCompressionFromName(tiffCompressionName(codec)), codec);
  EXPECT_FALSE(tiffCompressionFromName("zip"));
  EXPECT_TRUE(tiffCompressionAvailable(TiffCompression::kDeflate));
  // About a megabyte a strip, never more rows than the picture, at least one.
  EXPECT_EQ(tiffRowsPerStrip(6000 * 3 * 2, 4000), 29u);
  EXPECT_EQ(tiffRowsPerStrip(12, 5), 5u);
  EXPECT_EQ(tiffRowsPerStrip(std::size_t{1} << 24, 100), 1u);
}

// A 16-bit RGBA picture through the command's writer, every codec, and back
// through its reader: the same host samples.
TEST(TiffStrips, PicturesRoundTripThroughTheWriterWithEveryCodec) {
  const fs::path dir = scratch();
  Image img;
  img.colour = ColourModel::kRgb;
  img.fileBits = 16;
  allocatePlanes(img, 301, 219, 16, 4);
  std::mt19937 rng(9);
  for (auto &plane : img.doc.planes)
    for (std::size_t i = 0; i + 1 < plane.samples.size(); i += 2) {
      const auto v = static_cast<std::uint16_t>(rng() % 32769);
      std::memcpy(plane.samples.data() + i, &v, 2);
    }
  for (TiffCompression codec : kAll) {
    if (!tiffCompressionAvailable(codec)) continue;
    WriteOptions opt;
    opt.tiffCompression = codec;
    const fs::path file = dir / (std::string(tiffCompressionName(codec)) + ".tif");
    writeImage(img, FileFormat::kTiff, file, opt);
    const Image back = readImage(file.string());
    ASSERT_EQ(back.doc.planes.size(), img.doc.planes.size());
    for (std::size_t p = 0; p < img.doc.planes.size(); ++p)
      EXPECT_TRUE(back.doc.planes[p].samples == img.doc.planes[p].samples)
          << tiffCompressionName(codec) << " plane " << p;
  }
  fs::remove_all(dir);
}

}  // namespace
