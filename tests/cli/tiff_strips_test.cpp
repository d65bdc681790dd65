// TIFF strips compressed on several threads: every codec, strips spread over
// more windows than there are threads, 8 and 16 bits, read back with libtiff
// itself row by row, whole pictures through the command's writer and
// reader.
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
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

// A 16-bit RGB picture of `planes` planes whose host sample i of each plane
// is value(i, rng).
template <typename Value>
Image picture16(std::int32_t width, std::int32_t height, int planes, unsigned seed, Value value) {
  Image img;
  img.colour = ColourModel::kRgb;
  img.fileBits = 16;
  allocatePlanes(img, width, height, 16, planes);
  std::mt19937 rng(seed);
  for (auto &plane : img.doc.planes)
    for (std::size_t i = 0; i + 1 < plane.samples.size(); i += 2) {
      const auto v = static_cast<std::uint16_t>(value(i / 2, rng));
      std::memcpy(plane.samples.data() + i, &v, 2);
    }
  return img;
}

const TiffCompression kAll[] = {TiffCompression::kNone, TiffCompression::kDeflate,
                                TiffCompression::kLzw, TiffCompression::kZstd};

// Writes `want` (layout.height rows) as a file of `layout` on `threads`
// threads, reads it back row by row with libtiff and checks every byte, the
// codec's tags and the strip count.
void writeAndReadBack(const fs::path &file, const TiffStripLayout &layout, int threads,
                      const std::vector<std::uint8_t> &want) {
  const TiffCompression codec = layout.compression;
  const std::uint16_t spp = layout.samplesPerPixel;
  const std::uint16_t bits = layout.bitsPerSample;
  const std::size_t rowBytes = std::size_t{layout.width} * spp * (bits / 8);
  const std::string what = std::string(tiffCompressionName(codec)) + ":" +
                           std::to_string(layout.level) + " " + std::to_string(bits) + "-bit, " +
                           std::to_string(spp) + " samples, width " + std::to_string(layout.width);
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
    const std::string error = writeTiffStrips(
        t.get(), layout,
        [&](std::uint32_t y, void *row) { std::memcpy(row, want.data() + rowBytes * y, rowBytes); },
        threads);
    ASSERT_EQ(error, "") << what;
  }
  Tiff t(TIFFOpen(file.c_str(), "r"));
  ASSERT_TRUE(t);
  std::uint16_t stored = 0;
  std::uint16_t predictor = 0;
  TIFFGetField(t.get(), TIFFTAG_COMPRESSION, &stored);
  // Only compressed files carry a predictor.
  if (codec != TiffCompression::kNone)
    TIFFGetFieldDefaulted(t.get(), TIFFTAG_PREDICTOR, &predictor);
  EXPECT_EQ(stored, codec == TiffCompression::kNone      ? COMPRESSION_NONE
                    : codec == TiffCompression::kDeflate ? COMPRESSION_ADOBE_DEFLATE
                    : codec == TiffCompression::kLzw     ? COMPRESSION_LZW
                                                         : COMPRESSION_ZSTD);
  EXPECT_EQ(predictor, codec == TiffCompression::kNone ? 0 : PREDICTOR_HORIZONTAL);
  EXPECT_EQ(TIFFNumberOfStrips(t.get()),
            (layout.height + layout.rowsPerStrip - 1) / layout.rowsPerStrip);
  std::vector<std::uint8_t> row(rowBytes);
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    ASSERT_EQ(TIFFReadScanline(t.get(), row.data(), y, 0), 1);
    ASSERT_EQ(std::memcmp(row.data(), want.data() + rowBytes * y, rowBytes), 0)
        << what << ", row " << y;
  }
}

TEST(TiffStrips, EveryCodecReadsBackRowForRowAcrossManyStripsAndWindows) {
  const fs::path dir = scratch();
  // Deflate twice: coded as literals by the writer itself at level 0, and by
  // libtiff's encoder at a level asked for.
  const std::pair<TiffCompression, int> codecs[] = {{TiffCompression::kNone, 0},
                                                    {TiffCompression::kDeflate, 0},
                                                    {TiffCompression::kDeflate, 1},
                                                    {TiffCompression::kLzw, 0},
                                                    {TiffCompression::kZstd, 0}};
  for (const auto &[codec, level] : codecs) {
    if (!tiffCompressionAvailable(codec)) continue;
    for (std::uint16_t bits : {8, 16}) {
      for (std::uint16_t spp : {1, 3, 4}) {
        for (std::uint32_t width : {1u, 37u}) {
          TiffStripLayout layout;
          layout.width = width;
          layout.height = 101;  // 34 strips of 3 rows, the last one of 2
          layout.samplesPerPixel = spp;
          layout.bitsPerSample = bits;
          layout.rowsPerStrip = 3;
          layout.compression = codec;
          layout.level = level;
          const std::size_t rowBytes = std::size_t{layout.width} * spp * (bits / 8);
          // Three threads: windows of 12 strips, the last one partial.
          writeAndReadBack(dir / "s.tif", layout, 3, samples(rowBytes, layout.height, spp * bits));
        }
      }
    }
  }
  fs::remove_all(dir);
}

// Strips of a megabyte, as pictures of every size have them: each thread's
// buffers and the strips' own serve strip after strip, window after window,
// a strip's bytes coded into the buffer it is written from. 30 strips on
// three threads pass through each of the 12 buffers two or three times, and
// the last, shorter strip through one that held a whole strip before. On
// five threads 16 of the 20 buffers are whole blocks and 4 come from the
// heap.
TEST(TiffStrips, MegabyteStripsReadBackAfterTheirBuffersServedOthers) {
  const fs::path dir = scratch();
  TiffStripLayout layout;
  layout.width = 2000;
  layout.samplesPerPixel = 3;
  layout.bitsPerSample = 16;
  const std::size_t rowBytes = std::size_t{layout.width} * 3 * 2;
  layout.rowsPerStrip = tiffRowsPerStrip(rowBytes, 100000);
  ASSERT_GE(rowBytes * layout.rowsPerStrip, std::size_t{1000000});
  layout.height = layout.rowsPerStrip * 29 + 40;
  const std::vector<std::uint8_t> want = samples(rowBytes, layout.height, 77);
  const std::pair<TiffCompression, int> codecs[] = {{TiffCompression::kNone, 0},
                                                    {TiffCompression::kDeflate, 0},
                                                    {TiffCompression::kLzw, 0},
                                                    {TiffCompression::kZstd, 0}};
  for (const auto &[codec, level] : codecs) {
    if (!tiffCompressionAvailable(codec)) continue;
    layout.compression = codec;
    layout.level = level;
    writeAndReadBack(dir / "m.tif", layout, 3, want);
    if (codec == TiffCompression::kNone || codec == TiffCompression::kZstd)
      writeAndReadBack(dir / "m.tif", layout, 5, want);
  }
  fs::remove_all(dir);
}

// The level reaches the encoder: a higher one packs the same samples tighter,
// and the file still reads back as written.
TEST(TiffStrips, LevelsReachTheEncoder) {
  const fs::path dir = scratch();
  // A smooth ramp with a little noise: the kind of samples where a codec's
  // longer searches find more.
  const Image img = picture16(
      256, 192, 3, 4, [](std::size_t i, std::mt19937 &rng) { return i % 4096 * 4 + rng() % 64; });
  for (TiffCompression codec : {TiffCompression::kDeflate, TiffCompression::kZstd}) {
    if (!tiffCompressionAvailable(codec)) continue;
    const TiffLevelRange range = tiffLevelRange(codec);
    std::uintmax_t size[2] = {};
    for (int i = 0; i < 2; ++i) {
      WriteOptions opt;
      opt.tiffCompression = codec;
      opt.tiffLevel = i == 0 ? 0 : range.highest;
      const fs::path file = dir / (i == 0 ? "fastest.tif" : "tightest.tif");
      writeImage(img, FileFormat::kTiff, file, opt);
      size[i] = fs::file_size(file);
      const Image back = readImage(file.string());
      for (std::size_t p = 0; p < img.doc.planes.size(); ++p)
        EXPECT_TRUE(back.doc.planes[p].samples == img.doc.planes[p].samples)
            << tiffCompressionName(codec) << " level " << opt.tiffLevel << " plane " << p;
    }
    EXPECT_LT(size[1], size[0]) << tiffCompressionName(codec);
  }
  EXPECT_EQ(tiffLevelRange(TiffCompression::kLzw).highest, 0);
  EXPECT_EQ(tiffLevelRange(TiffCompression::kNone).highest, 0);
  fs::remove_all(dir);
}

namespace {

// A 1-sample 8-bit file of `height` one-row strips, open for writing.
Tiff openStripFile(const fs::path &file, TiffStripLayout &layout, std::uint32_t height) {
  layout.width = 16;
  layout.height = height;
  layout.rowsPerStrip = 1;
  layout.compression = TiffCompression::kDeflate;
  Tiff t(TIFFOpen(file.c_str(), "w"));
  if (!t) return t;
  TIFFSetField(t.get(), TIFFTAG_IMAGEWIDTH, layout.width);
  TIFFSetField(t.get(), TIFFTAG_IMAGELENGTH, layout.height);
  TIFFSetField(t.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(t.get(), TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(t.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  setTiffStripTags(t.get(), layout);
  return t;
}

}  // namespace

// Strips finish out of order, but none is begun more than four per thread
// ahead of the file: while the first strip is held back, the other threads
// go as far as the twelfth and no further, and the file still comes out in
// order.
TEST(TiffStrips, NoThreadRunsFarAheadOfTheFile) {
  const fs::path dir = scratch();
  TiffStripLayout layout;
  Tiff t = openStripFile(dir / "ahead.tif", layout, 60);
  ASSERT_TRUE(t);
  std::atomic<bool> firstDone{false};
  std::atomic<std::uint32_t> furthest{0};
  const std::string error = writeTiffStrips(
      t.get(), layout,
      [&](std::uint32_t y, void *row) {
        if (y == 0) {
          // Held until the others are as far as they may go, then a while
          // longer, in which they must not go on.
          const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
          while (furthest.load() < 11 && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
          firstDone = true;
        } else if (!firstDone) {
          std::uint32_t seen = furthest.load();
          while (y > seen && !furthest.compare_exchange_weak(seen, y)) {
          }
        }
        std::memset(row, static_cast<int>(y), layout.width);
      },
      3);
  ASSERT_EQ(error, "");
  EXPECT_EQ(furthest.load(), 11u);  // strips 0 to 11 in flight, and no more
  t.reset();
  Tiff r(TIFFOpen((dir / "ahead.tif").c_str(), "r"));
  ASSERT_TRUE(r);
  std::vector<std::uint8_t> row(layout.width);
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    ASSERT_EQ(TIFFReadScanline(r.get(), row.data(), y, 0), 1);
    EXPECT_EQ(row[0], static_cast<std::uint8_t>(y)) << "row " << y;
  }
  fs::remove_all(dir);
}

// A strip that cannot be made stops the others and is reported, on one
// thread and on several, without waiting for the rest of the picture.
TEST(TiffStrips, AFailingStripStopsTheWriteWithItsMessage) {
  const fs::path dir = scratch();
  for (int threads : {1, 3}) {
    TiffStripLayout layout;
    Tiff t = openStripFile(dir / "fail.tif", layout, 500);
    ASSERT_TRUE(t);
    std::atomic<std::uint32_t> packed{0};
    const std::string error = writeTiffStrips(
        t.get(), layout,
        [&](std::uint32_t y, void *row) {
          ++packed;
          if (y == 20) throw std::runtime_error("no memory for row 20");
          std::memset(row, 0, layout.width);
        },
        threads);
    EXPECT_EQ(error, "no memory for row 20") << threads << " threads";
    EXPECT_LT(packed.load(), 100u) << threads << " threads";
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
  const Image img =
      picture16(301, 219, 4, 9, [](std::size_t, std::mt19937 &rng) { return rng() % 32769; });
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

namespace {

// The host value of a 16-bit file sample, rounded to nearest on 0..32768
// (never a tie: 65535 is odd).
std::uint16_t hostOf16(std::uint16_t v) {
  return static_cast<std::uint16_t>(std::lround(v * 32768.0 / 65535.0));
}

// Files of many strips, as other programs write them (contiguous and separate
// planes, 8 and 16 bits, with and without the predictor, white as zero), read
// by the command's reader, which decodes strips on several threads: every
// sample where libtiff's own layout puts it.
TEST(TiffStrips, ManyStripFilesReadBackSampleForSample) {
  const fs::path dir = scratch();
  const std::uint32_t width = 29;
  const std::uint32_t height = 53;  // 14 strips of 4 rows, the last of 1
  struct Case {
    std::uint16_t compression;
    std::uint16_t bits;
    std::uint16_t planar;
    std::uint16_t photometric;
    std::uint16_t spp;
  };
  const Case cases[] = {
      {COMPRESSION_ADOBE_DEFLATE, 16, PLANARCONFIG_CONTIG, PHOTOMETRIC_RGB, 3},
      {COMPRESSION_ADOBE_DEFLATE, 16, PLANARCONFIG_SEPARATE, PHOTOMETRIC_RGB, 3},
      {COMPRESSION_LZW, 8, PLANARCONFIG_CONTIG, PHOTOMETRIC_RGB, 4},
      {COMPRESSION_NONE, 16, PLANARCONFIG_CONTIG, PHOTOMETRIC_MINISWHITE, 1},
      {COMPRESSION_PACKBITS, 8, PLANARCONFIG_SEPARATE, PHOTOMETRIC_MINISBLACK, 2},
  };
  int n = 0;
  for (const Case &c : cases) {
    SCOPED_TRACE(n);
    fs::path file = dir / "m";
    file += std::to_string(n++);
    file += ".tif";
    const std::size_t perRow = std::size_t{width} * c.spp;
    std::vector<std::uint16_t> values(perRow * height);
    std::mt19937 rng(n);
    for (auto &v : values)
      v = static_cast<std::uint16_t>(c.bits == 8 ? rng() % 256 : rng() % 65536);
    {
      Tiff t(TIFFOpen(file.c_str(), "w"));
      ASSERT_TRUE(t);
      TIFFSetField(t.get(), TIFFTAG_IMAGEWIDTH, width);
      TIFFSetField(t.get(), TIFFTAG_IMAGELENGTH, height);
      TIFFSetField(t.get(), TIFFTAG_SAMPLESPERPIXEL, c.spp);
      TIFFSetField(t.get(), TIFFTAG_BITSPERSAMPLE, c.bits);
      TIFFSetField(t.get(), TIFFTAG_PLANARCONFIG, c.planar);
      TIFFSetField(t.get(), TIFFTAG_PHOTOMETRIC, c.photometric);
      const std::uint16_t colour = c.photometric == PHOTOMETRIC_RGB ? 3 : 1;
      if (c.spp > colour) {
        const std::vector<std::uint16_t> extra(c.spp - colour, EXTRASAMPLE_UNASSALPHA);
        TIFFSetField(t.get(), TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(extra.size()),
                     extra.data());
      }
      TIFFSetField(t.get(), TIFFTAG_COMPRESSION, c.compression);
      if (c.compression == COMPRESSION_ADOBE_DEFLATE || c.compression == COMPRESSION_LZW)
        TIFFSetField(t.get(), TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
      TIFFSetField(t.get(), TIFFTAG_ROWSPERSTRIP, 4);
      const int passes = c.planar == PLANARCONFIG_SEPARATE ? c.spp : 1;
      const std::size_t rowSamples = c.planar == PLANARCONFIG_SEPARATE ? width : perRow;
      std::vector<std::uint8_t> row(rowSamples * c.bits / 8);
      for (int s = 0; s < passes; ++s) {
        for (std::uint32_t y = 0; y < height; ++y) {
          for (std::size_t i = 0; i < rowSamples; ++i) {
            const std::uint16_t v = c.planar == PLANARCONFIG_SEPARATE
                                        ? values[y * perRow + i * c.spp + s]
                                        : values[y * perRow + i];
            if (c.bits == 8)
              row[i] = static_cast<std::uint8_t>(v);
            else
              std::memcpy(row.data() + 2 * i, &v, 2);
          }
          ASSERT_EQ(TIFFWriteScanline(t.get(), row.data(), y, static_cast<std::uint16_t>(s)), 1);
        }
      }
    }
    const Image img = readImage(file.string());
    ASSERT_EQ(img.doc.planes.size(), c.spp);
    const bool invert = c.photometric == PHOTOMETRIC_MINISWHITE;
    for (std::uint32_t y = 0; y < height; ++y) {
      for (std::uint32_t x = 0; x < width; ++x) {
        for (std::uint16_t p = 0; p < c.spp; ++p) {
          std::uint16_t v = values[y * perRow + x * c.spp + p];
          const std::size_t at = std::size_t{y} * width + x;
          std::uint16_t got = 0;
          if (c.bits == 8) {
            if (invert) v = static_cast<std::uint16_t>(255 - v);
            got = img.doc.planes[p].samples[at];
          } else {
            if (invert) v = static_cast<std::uint16_t>(65535 - v);
            v = hostOf16(v);
            std::memcpy(&got, img.doc.planes[p].samples.data() + 2 * at, 2);
          }
          ASSERT_EQ(got, v) << "row " << y << ", column " << x << ", plane " << p;
        }
      }
    }
  }
  // A strip whose compressed bytes are spoilt is reported, not skipped.
  const fs::path spoilt = dir / "m0.tif";
  {
    Tiff t(TIFFOpen(spoilt.c_str(), "r"));
    ASSERT_TRUE(t);
    const std::uint64_t at = TIFFGetStrileOffset(t.get(), 7);
    const std::uint64_t len = TIFFGetStrileByteCount(t.get(), 7);
    t.reset();
    std::FILE *f = std::fopen(spoilt.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    const std::vector<std::uint8_t> junk(len, 0xff);
    std::fseek(f, static_cast<long>(at), SEEK_SET);
    std::fwrite(junk.data(), 1, junk.size(), f);
    std::fclose(f);
  }
  EXPECT_ANY_THROW(readImage(spoilt.string()));
  fs::remove_all(dir);
}

}  // namespace
