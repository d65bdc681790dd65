// PNG through libpng. libpng's error callback must not return; ours throws
// (see the JPEG codec for why that is safe here).
#include <png.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "exit_codes.h"
#include "image_io/c_file.h"
#include "image_io/codec.h"
#include "image_io/exif_rewrite.h"

namespace ortavel::cli {
namespace {

struct PngFault {
  std::string text;
};

[[noreturn]] void pngError(png_structp, png_const_charp text) {
  throw PngFault{text};
}
void pngWarning(png_structp, png_const_charp) {}

// libpng's read records, made together and destroyed together.
struct PngRead {
  png_structp png = nullptr;
  png_infop info = nullptr;
  PngRead() {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, pngError, pngWarning);
    if (!png) throw std::bad_alloc();
    info = png_create_info_struct(png);
    if (!info) {
      png_destroy_read_struct(&png, nullptr, nullptr);
      throw std::bad_alloc();
    }
  }
  ~PngRead() { png_destroy_read_struct(&png, &info, nullptr); }
  PngRead(const PngRead &) = delete;
  PngRead &operator=(const PngRead &) = delete;
};

constexpr double kMetresPerInch = 0.0254;

bool littleEndianMachine() {
  const std::uint16_t one = 1;
  return *reinterpret_cast<const std::uint8_t *>(&one) == 1;
}

}  // namespace

struct PngReader::State {
  std::filesystem::path path;
  CFile file;
  std::unique_ptr<PngRead> reader = std::make_unique<PngRead>();
  Image img;
  int channels = 0;
  int bits = 0;
  int passes = 1;
  std::size_t rowBytes = 0;
};

PngReader::PngReader(const std::filesystem::path &path, const ReadLimits &limits)
    : s_(std::make_unique<State>()) {
  State &s = *s_;
  s.path = path;
  std::uint64_t fileBytes = 0;
  s.file = openForReading(path, fileBytes);
  png_structp png = s.reader->png;
  png_infop info = s.reader->info;
  Image &img = s.img;
  img.format = FileFormat::kPng;
  try {
    png_init_io(png, s.file.get());
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_benign_errors(png, 1);
    png_set_user_limits(png, 0x7fffffff, 0x7fffffff);
    png_read_info(png, info);
    png_uint_32 width = 0, height = 0;
    int bitDepth = 0, colourType = 0;
    png_get_IHDR(png, info, &width, &height, &bitDepth, &colourType, nullptr, nullptr, nullptr);
    // The filtered rows as the file holds them, before expansion; deflate
    // turns one byte into at most 1032.
    const std::uint64_t fileRow =
        1 + (static_cast<std::uint64_t>(width) * png_get_channels(png, info) * bitDepth + 7) / 8;
    checkAgainstFileSize(path, width, height, fileRow * height, 1032.0, fileBytes, "PNG");

    // Palettes, low bit depths and transparency chunks become plain planes;
    // 16-bit samples are kept whole, in the machine's byte order.
    png_set_expand(png);
    if (bitDepth == 16 && littleEndianMachine()) png_set_swap(png);
    s.passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);

    s.channels = png_get_channels(png, info);
    s.bits = png_get_bit_depth(png, info);
    img.colour = s.channels <= 2 ? ColourModel::kGrey : ColourModel::kRgb;
    img.fileBits = s.bits;
    checkClaimedSize(path, width, height, static_cast<std::uint64_t>(s.channels),
                     static_cast<std::uint64_t>(s.bits / 8), limits);
    beginPlanes(img, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), s.bits,
                s.channels);

    png_bytep exif = nullptr;
    png_uint_32 exifLen = 0;
    if (png_get_eXIf_1(png, info, &exifLen, &exif) && exif && exifLen > 0) {
      img.doc.exif.assign(exif, exif + exifLen);
    }
    png_charp iccName = nullptr;
    int compression = 0;
    png_bytep icc = nullptr;
    png_uint_32 iccLen = 0;
    if (png_get_iCCP(png, info, &iccName, &compression, &icc, &iccLen) && icc && iccLen > 0) {
      img.doc.icc.assign(icc, icc + iccLen);
    }
    png_uint_32 resX = 0, resY = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &resX, &resY, &unit) && unit == PNG_RESOLUTION_METER && resX > 0 &&
        resY > 0) {
      img.xDpi = resX * kMetresPerInch;
      img.yDpi = resY * kMetresPerInch;
    }
    s.rowBytes = png_get_rowbytes(png, info);
  } catch (const PngFault &e) {
    throw inputError(path.string() + ": not a readable PNG image (" + e.text + ")");
  }
}

PngReader::~PngReader() = default;

Image &PngReader::image() {
  return s_->img;
}

bool PngReader::readRows(const RowProgress &progress) {
  State &s = *s_;
  png_structp png = s.reader->png;
  Image &img = s.img;
  const std::int32_t height = img.doc.height;
  try {
    if (s.passes == 1) {
      std::vector<png_byte> row(s.rowBytes);
      for (std::int32_t y = 0; y < height; ++y) {
        png_read_row(png, row.data(), nullptr);
        growRows(img, static_cast<std::int64_t>(y) + 1);
        unpackRow(img, y, s.channels, s.bits, false, row.data());
        // Told every few rows: a row alone is too little work to announce.
        if (progress && ((y + 1) % kRowsPerReport == 0 || y + 1 == height) && !progress(y + 1))
          return false;
      }
    } else {
      // An interlaced picture has its rows only once the last pass is read.
      const auto h = static_cast<std::size_t>(height);
      std::vector<png_byte> all(s.rowBytes * h);
      std::vector<png_bytep> rows(h);
      for (std::size_t y = 0; y < h; ++y) rows[y] = all.data() + s.rowBytes * y;
      png_read_image(png, rows.data());
      growRows(img, height);
      for (std::int32_t y = 0; y < height; ++y)
        unpackRow(img, y, s.channels, s.bits, false, rows[static_cast<std::size_t>(y)]);
      if (progress && !progress(height)) return false;
    }
    png_read_end(png, nullptr);
  } catch (const PngFault &e) {
    throw inputError(s.path.string() + ": not a readable PNG image (" + e.text + ")");
  }
  // The picture may be corrected for a while yet: the file and libpng's
  // buffers go now.
  s.reader.reset();
  s.file = CFile();
  return true;
}

Image readPng(const std::filesystem::path &path, const ReadLimits &limits) {
  PngReader reader(path, limits);
  reader.readRows({});
  return std::move(reader.image());
}

ImageShape peekPng(const std::filesystem::path &path) {
  CFile f = openForReading(path);
  PngRead reader;
  png_structp png = reader.png;
  png_infop info = reader.info;
  try {
    png_init_io(png, f.get());
    png_set_benign_errors(png, 1);
    png_set_user_limits(png, 0x7fffffff, 0x7fffffff);
    png_read_info(png, info);
    png_set_expand(png);
    png_read_update_info(png, info);
    return {png_get_image_width(png, info), png_get_image_height(png, info),
            png_get_channels(png, info), png_get_bit_depth(png, info) == 16 ? 2u : 1u};
  } catch (const PngFault &e) {
    throw inputError(path.string() + ": not a readable PNG image (" + e.text + ")");
  }
}

void writePng(const Image &img, const RowFeed &rows, const std::filesystem::path &path) {
  if (img.colour == ColourModel::kCmyk) {
    throw usageError(path.string() + ": PNG cannot hold CMYK; write a TIFF or JPEG file instead");
  }
  const int planes = static_cast<int>(img.doc.planes.size());
  if (planes > img.colourChannels() + 1) {
    throw usageError(path.string() +
                     ": PNG holds one alpha plane at most; write a TIFF file instead");
  }
  // libpng keeps a pointer to the block until the file is written. It goes
  // before the pixels, so a thumbnail made from them waits for every row.
  const bool thumbnail = exifNeedsPicture(img.doc.exif);
  const std::vector<std::uint8_t> exif =
      exifForOutput(img,
                    thumbnail || rows.allFinal() ? rows.await(img.doc.height)
                                                 : std::span<const std::uint8_t *const>{},
                    0x7FFFFFFF);
  CFile f = createForWriting(path);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, pngError, pngWarning);
  if (!png) throw std::bad_alloc();
  png_infop info = png_create_info_struct(png);
  struct Guard {
    png_structp *p;
    png_infop *i;
    ~Guard() { png_destroy_write_struct(p, i); }
  } guard{&png, &info};
  if (!info) throw std::bad_alloc();

  try {
    png_init_io(png, f.get());
    // Cameras embed sRGB profiles that libpng knows to be slightly off; they
    // are carried as they came, not refused.
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_benign_errors(png, 1);
    const bool alpha = planes > img.colourChannels();
    const int type = img.colour == ColourModel::kGrey
                         ? (alpha ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY)
                         : (alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB);
    const int bits = img.doc.depth == 16 ? 16 : 8;
    png_set_IHDR(png, info, static_cast<png_uint_32>(img.doc.width),
                 static_cast<png_uint_32>(img.doc.height), bits, type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!img.doc.icc.empty()) {
      png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, img.doc.icc.data(),
                   static_cast<png_uint_32>(img.doc.icc.size()));
    }
    if (!exif.empty()) {
      png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()),
                     const_cast<png_bytep>(exif.data()));
    }
    if (img.xDpi > 0.0 && img.yDpi > 0.0) {
      png_set_pHYs(png, info, static_cast<png_uint_32>(std::llround(img.xDpi / kMetresPerInch)),
                   static_cast<png_uint_32>(std::llround(img.yDpi / kMetresPerInch)),
                   PNG_RESOLUTION_METER);
    }
    png_write_info(png, info);
    if (bits == 16 && littleEndianMachine()) png_set_swap(png);
    std::vector<png_byte> row(static_cast<std::size_t>(img.doc.width) * planes * (bits / 8));
    for (int y = 0; y < img.doc.height; ++y) {
      packRow(img, rows.await(y + 1), y, planes, bits, false, row.data());
      png_write_row(png, row.data());
    }
    png_write_end(png, info);
  } catch (const PngFault &e) {
    throw failure(path.string() + ": cannot write PNG: " + e.text);
  }
  closeWritten(std::move(f), path);
}

}  // namespace ortavel::cli
