// TIFF through libtiff: strips or tiles, contiguous or separate planes, 8 or
// 16 bits, greyscale, RGB (also JPEG-compressed YCbCr) and CMYK, with extra
// samples kept as alpha planes. Camera tags travel as a small EXIF block.
#include <tiffio.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "exit_codes.h"
#include "image_io/c_file.h"
#include "image_io/codec.h"
#include "image_io/exif_block.h"
#include "image_io/exif_rewrite.h"
#include "image_io/sample_scale.h"
#include "image_io/tiff_strips.h"
#include "workers/interp_workers.h"

namespace ortavel::cli {
namespace {

// libtiff reports through callbacks and return codes; we keep the first
// error text of each file so the message names what went wrong.
struct Diagnostics {
  std::string firstError;
};

int onError(TIFF *, void *user, const char *module, const char *fmt, va_list ap) {
  auto *d = static_cast<Diagnostics *>(user);
  if (d->firstError.empty()) {
    char text[512];
    std::vsnprintf(text, sizeof text, fmt, ap);
    d->firstError = std::string(module ? module : "libtiff") + ": " + text;
  }
  return 1;  // handled: nothing on stderr from the library
}
int onWarning(TIFF *, void *, const char *, const char *, va_list) {
  return 1;
}

struct TiffCloser {
  void operator()(TIFF *t) const { TIFFClose(t); }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

struct OptionsFree {
  void operator()(TIFFOpenOptions *o) const { TIFFOpenOptionsFree(o); }
};

std::unique_ptr<TIFFOpenOptions, OptionsFree> options(Diagnostics &diag,
                                                      std::uint64_t maxSingleAlloc) {
  std::unique_ptr<TIFFOpenOptions, OptionsFree> opts(TIFFOpenOptionsAlloc());
  if (!opts) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(opts.get(), onError, &diag);
  TIFFOpenOptionsSetWarningHandlerExtR(opts.get(), onWarning, &diag);
  if (maxSingleAlloc > 0) {
    TIFFOpenOptionsSetMaxSingleMemAlloc(
        opts.get(), static_cast<tmsize_t>(std::min<std::uint64_t>(
                        maxSingleAlloc, static_cast<std::uint64_t>(INT64_MAX))));
  }
  return opts;
}

Tiff open(const std::filesystem::path &path, const char *mode, Diagnostics &diag) {
  const auto opts = options(diag, 0);
  return Tiff(TIFFOpenExt(path.c_str(), mode, opts.get()));
}

// For reading: through an descriptor of our own, so that a pipe or a device
// is refused before libtiff waits on it.
Tiff openForReading(const std::filesystem::path &path, Diagnostics &diag, const ReadLimits &limits,
                    std::uint64_t &fileBytes) {
  CFile f = ortavel::cli::openForReading(path, fileBytes);
  const int fd = ::dup(::fileno(f.get()));
  if (fd < 0) throw inputError(path.string() + ": cannot open: " + std::strerror(errno));
  const auto opts = options(diag, limits.maxBytes);
  // "m": no memory map of the file. Strips are read into libtiff's buffer
  // instead, so a picture being corrected while its file is read does not
  // also hold the whole file mapped.
  Tiff t(TIFFFdOpenExt(fd, path.c_str(), "rm", opts.get()));
  if (!t) ::close(fd);
  return t;
}

// The most bytes of samples one byte of strip or tile data can turn into
// under each compression; 0 where no bound is known.
double maxExpansion(std::uint16_t compression, std::uint16_t spp) {
  switch (compression) {
    case COMPRESSION_NONE:
      return 1.0;
    case COMPRESSION_PACKBITS:
      return 64.0;  // two bytes repeat one up to 128 times
    case COMPRESSION_LZW:
      return 4096.0;  // a code of 9 bits or more names a string of at most 4096
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
      return 1032.0;
    case COMPRESSION_JPEG:
    case COMPRESSION_OJPEG:
      return 512.0 * spp;  // one bit per 8x8 block at least, as for JPEG files
    default:
      return 0.0;
  }
}

// The strip or tile data the directory says the file holds, in bytes.
std::uint64_t dataBytes(TIFF *tif) {
  const std::uint32_t n = TIFFIsTiled(tif) ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
  std::uint64_t sum = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    const std::uint64_t c = TIFFGetStrileByteCount(tif, i);
    sum = c > UINT64_MAX - sum ? UINT64_MAX : sum + c;
  }
  return sum;
}

// Copies `count` file samples, `stride` apart, into plane p from (x0, y).
void unpackSamples(Image &img, int p, int x0, int y, int count, int bits, int stride, bool invert,
                   const std::uint8_t *src) {
  const std::size_t at = static_cast<std::size_t>(y) * img.doc.width + x0;
  auto &s = img.doc.planes[static_cast<std::size_t>(p)].samples;
  if (bits == 8) {
    for (int i = 0; i < count; ++i) {
      const std::uint8_t v = src[static_cast<std::size_t>(i) * stride];
      s[at + i] = invert ? static_cast<std::uint8_t>(255 - v) : v;
    }
  } else {
    const auto *in = reinterpret_cast<const std::uint16_t *>(src);
    auto *out = reinterpret_cast<std::uint16_t *>(s.data()) + at;
    for (int i = 0; i < count; ++i) {
      const std::uint16_t v = in[static_cast<std::size_t>(i) * stride];
      out[i] = fileToHost16(invert ? static_cast<std::uint16_t>(65535 - v) : v);
    }
  }
}

// Row y of the file, whole width: a contiguous row split into every plane at
// once and put on the host's scale over contiguous samples, or, in a file
// that keeps its planes apart, the row of `plane` alone.
void unpackFileRow(Image &img, int y, int spp, int bits, int colour, bool invert, bool separate,
                   int plane, const std::uint8_t *src) {
  if (separate) {
    unpackSamples(img, plane, 0, y, img.doc.width, bits, 1, invert && plane < colour, src);
  } else {
    unpackRow(img, y, spp, bits, invert, src);
  }
}

[[noreturn]] void corrupt(const std::filesystem::path &path, const Diagnostics &d) {
  throw inputError(path.string() + ": truncated or corrupt TIFF image" +
                   (d.firstError.empty() ? std::string() : " (" + d.firstError + ")"));
}

std::string tiffString(TIFF *t, ttag_t tag) {
  const char *s = nullptr;
  if (TIFFGetField(t, tag, &s) && s) return s;
  return {};
}

// Camera make, model, orientation and focal length, as an EXIF block the plug-in can read.
// True when it read the EXIF directory, which leaves the handle there.
bool exifFromTiff(TIFF *t, Image &img) {
  CameraTags tags;
  const std::string make = tiffString(t, TIFFTAG_MAKE);
  const std::string model = tiffString(t, TIFFTAG_MODEL);
  if (!make.empty()) tags.make = make;
  if (!model.empty()) tags.model = model;
  std::uint16_t orientation = 0;
  if (TIFFGetField(t, TIFFTAG_ORIENTATION, &orientation) && orientation >= 1 && orientation <= 8)
    tags.orientation = orientation;
  toff_t exifOffset = 0;
  bool moved = false;
  if (TIFFGetField(t, TIFFTAG_EXIFIFD, &exifOffset) && exifOffset != 0 &&
      TIFFReadEXIFDirectory(t, exifOffset)) {
    moved = true;
    const TIFFField *field = TIFFFieldWithTag(t, EXIFTAG_FOCALLENGTH);
    if (field && TIFFFieldSetGetSize(field) == 8) {
      double v = 0.0;
      if (TIFFGetField(t, EXIFTAG_FOCALLENGTH, &v)) tags.focalLengthMm = v;
    } else if (field) {
      float v = 0.0f;
      if (TIFFGetField(t, EXIFTAG_FOCALLENGTH, &v)) tags.focalLengthMm = v;
    }
  }
  if (tags.make || tags.model || tags.focalLengthMm || tags.orientation)
    img.doc.exif = buildExifBlock(tags);
  return moved;
}

// libtiff keeps EXIF rationals as float or double depending on its version.
bool setFocalLength(TIFF *t, double mm) {
  const TIFFField *field = TIFFFieldWithTag(t, EXIFTAG_FOCALLENGTH);
  if (!field) return false;
  if (TIFFFieldSetGetSize(field) == 8) return TIFFSetField(t, EXIFTAG_FOCALLENGTH, mm) == 1;
  return TIFFSetField(t, EXIFTAG_FOCALLENGTH, static_cast<float>(mm)) == 1;
}

constexpr std::size_t kMostStripBytes = std::size_t{64} << 20;

// Codecs whose strips decode alone from the strip's bytes and the directory;
// JPEG (its tables and colour conversion) and the rest stay on one thread.
bool decodesStripsAlone(std::uint16_t compression) {
  switch (compression) {
    case COMPRESSION_NONE:
    case COMPRESSION_LZW:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ZSTD:
    case COMPRESSION_PACKBITS:
      return true;
    default:
      return false;
  }
}

// What a stripped file looks like, for decoding its strips on several threads.
struct StripPlan {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t rowsPerStrip = 0;
  std::uint32_t stripsPerPlane = 0;
  int spp = 1;
  int bits = 8;
  int colour = 0;
  bool separate = false;
  bool invert = false;
};

StripPlan stripPlan(TIFF *tif, std::uint32_t width, std::uint32_t height, int spp, int bits,
                    int colour, bool separate, bool invert) {
  StripPlan plan;
  plan.width = width;
  plan.height = height;
  std::uint32_t rps = height;
  TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rps);
  plan.rowsPerStrip = std::clamp<std::uint32_t>(rps, 1, height);
  plan.stripsPerPlane = (height - 1) / plan.rowsPerStrip + 1;
  plan.spp = spp;
  plan.bits = bits;
  plan.colour = colour;
  plan.separate = separate;
  plan.invert = invert;
  return plan;
}

// Decodes every strip of the file on up to `threads` threads and unpacks it
// into img, whose rows are all there. Inflating a strip is most of a
// compressed file's reading time and libtiff keeps a decoder's state in its
// handle, so each extra thread reads through a handle of its own on the file;
// the strips it decodes are disjoint rows of the picture. Returns false, with
// nothing read, when the file's strips are not laid out as expected (the
// row-by-row reader then reports what is wrong).
bool readStripsInParallel(const std::filesystem::path &path, TIFF *first, const StripPlan &plan,
                          const ReadLimits &limits, int threads, Image &img, Diagnostics &firstDiag,
                          const RowProgress &progress, bool &stopped) {
  if (threads < 2) return false;
  const std::uint32_t planes = plan.separate ? static_cast<std::uint32_t>(plan.spp) : 1u;
  const std::uint64_t strips = std::uint64_t{plan.stripsPerPlane} * planes;
  if (strips < 2 || TIFFNumberOfStrips(first) != strips) return false;
  const std::size_t scanline = static_cast<std::size_t>(TIFFScanlineSize64(first));
  // Each thread holds a decoded strip: files of a few huge strips are read
  // row by row, as before, rather than holding several of them at once.
  if (scanline == 0 || scanline * plan.rowsPerStrip > kMostStripBytes) return false;
  growRows(img, plan.height);
  const auto workers = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(
      static_cast<std::uint64_t>(threads), 1, std::min<std::uint64_t>(strips, 64)));
  std::atomic<std::uint64_t> next{0};
  std::atomic<bool> failed{false};
  std::mutex errorLock;
  std::exception_ptr thrown;
  std::string why;
  // Rows are told in order: the strips done so far from the top, without a
  // gap. Separate planes have no such rows before the last plane's strips.
  std::mutex doneLock;
  std::vector<char> done(plan.separate ? 0 : strips, 0);
  std::uint64_t prefix = 0;
  auto finished = [&](std::uint64_t s) {
    if (!progress || plan.separate) return;
    const std::lock_guard<std::mutex> hold(doneLock);
    done[s] = 1;
    const std::uint64_t before = prefix;
    while (prefix < strips && done[prefix]) ++prefix;
    if (prefix == before) return;
    const auto rows = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(prefix * plan.rowsPerStrip, plan.height));
    if (!progress(rows)) failed = stopped = true;
  };
  auto work = [&](std::uint32_t w) {
    Diagnostics own;
    Diagnostics &diag = w == 0 ? firstDiag : own;
    try {
      Tiff opened;
      TIFF *tif = first;
      if (w > 0) {
        std::uint64_t bytes = 0;
        opened = openForReading(path, diag, limits, bytes);
        tif = opened.get();
        std::uint32_t width = 0, height = 0;
        if (tif == nullptr || !TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width) ||
            !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height) || width != plan.width ||
            height != plan.height || TIFFNumberOfStrips(tif) != strips ||
            static_cast<std::size_t>(TIFFScanlineSize64(tif)) != scanline) {
          throw inputError(path.string() + ": the file changed while it was being read");
        }
      }
      // Not zeroed: every strip read fills the rows it covers. A buffer of a
      // megabyte or more is faulted in a huge page at a time.
      hostemu::Samples strip;
      strip.resize(scanline * plan.rowsPerStrip);
      for (std::uint64_t s = next++; s < strips && !failed; s = next++) {
        const auto plane = static_cast<int>(s / plan.stripsPerPlane);
        const auto y0 = static_cast<std::uint32_t>(s % plan.stripsPerPlane) * plan.rowsPerStrip;
        const std::uint32_t rows = std::min(plan.rowsPerStrip, plan.height - y0);
        const tmsize_t want = static_cast<tmsize_t>(scanline * rows);
        if (TIFFReadEncodedStrip(tif, static_cast<std::uint32_t>(s), strip.data(), want) != want) {
          const std::lock_guard<std::mutex> hold(errorLock);
          if (!failed.exchange(true)) why = diag.firstError;
          return;
        }
        for (std::uint32_t r = 0; r < rows; ++r) {
          unpackFileRow(img, static_cast<int>(y0 + r), plan.spp, plan.bits, plan.colour,
                        plan.invert, plan.separate, plane, strip.data() + r * scanline);
        }
        finished(s);
      }
    } catch (...) {
      const std::lock_guard<std::mutex> hold(errorLock);
      if (!failed.exchange(true)) thrown = std::current_exception();
    }
  };
  std::vector<std::thread> pool;
  for (std::uint32_t w = 1; w < workers; ++w) {
    // Strips are claimed one at a time: fewer threads than asked for (none
    // to be had) still decode them all.
    try {
      pool.emplace_back(work, w);
    } catch (const std::system_error &) {
      break;
    }
  }
  work(0);
  for (auto &t : pool) t.join();
  if (thrown) std::rethrow_exception(thrown);
  if (stopped) return true;
  if (failed) {
    Diagnostics d;
    d.firstError = why;
    corrupt(path, d);
  }
  return true;
}

}  // namespace

struct TiffReader::State {
  std::filesystem::path path;
  ReadLimits limits;
  Diagnostics diag;
  Tiff t;
  Image img;
  std::uint32_t width = 0, height = 0;
  int spp = 1, bits = 8, colour = 0;
  bool invert = false, separate = false, parallelStrips = false;
};

TiffReader::TiffReader(const std::filesystem::path &path, const ReadLimits &limits)
    : s_(std::make_unique<State>()) {
  State &st = *s_;
  st.path = path;
  st.limits = limits;
  Diagnostics &diag = st.diag;
  std::uint64_t fileBytes = 0;
  st.t = openForReading(path, diag, limits, fileBytes);
  Tiff &t = st.t;
  if (!t) {
    throw inputError(path.string() + ": not a readable TIFF image" +
                     (diag.firstError.empty() ? std::string() : " (" + diag.firstError + ")"));
  }
  TIFF *tif = t.get();
  std::uint32_t width = 0, height = 0;
  std::uint16_t spp = 1, bits = 1, photometric = 0, planar = PLANARCONFIG_CONTIG, format = 1;
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
  if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric)) {
    photometric = spp >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
  }
  Image &img = st.img;
  // The metadata first, so that only rows change while they are read: the
  // camera tags' directory is left again for the image's before anything
  // else is set on the handle.
  std::uint32_t iccLen = 0;
  void *icc = nullptr;
  if (TIFFGetField(tif, TIFFTAG_ICCPROFILE, &iccLen, &icc) && icc && iccLen > 0) {
    const auto *b = static_cast<const std::uint8_t *>(icc);
    img.doc.icc.assign(b, b + iccLen);
  }
  float xr = 0.0f, yr = 0.0f;
  std::uint16_t unit = RESUNIT_INCH;
  TIFFGetFieldDefaulted(tif, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (TIFFGetField(tif, TIFFTAG_XRESOLUTION, &xr) && TIFFGetField(tif, TIFFTAG_YRESOLUTION, &yr) &&
      xr > 0.0f && yr > 0.0f && unit != RESUNIT_NONE) {
    const double perInch = unit == RESUNIT_CENTIMETER ? 2.54 : 1.0;
    img.xDpi = xr * perInch;
    img.yDpi = yr * perInch;
  }
  if (exifFromTiff(tif, img) && !TIFFSetDirectory(tif, 0)) corrupt(path, diag);
  const std::string name = path.string();
  if (format == SAMPLEFORMAT_IEEEFP) {
    throw inputError(name + ": " + std::to_string(bits) +
                     "-bit floating-point images are not supported (the filter works on 8- and "
                     "16-bit integer samples)");
  }
  if (bits != 8 && bits != 16) {
    throw inputError(name + ": " + std::to_string(bits) +
                     "-bit samples are not supported (8 and 16 bits per channel are)");
  }
  if (width == 0 || height == 0 || width > 0x7fffffffu || height > 0x7fffffffu) corrupt(path, diag);

  img.format = FileFormat::kTiff;
  img.fileBits = bits;
  int colour = 0;
  bool invert = false;
  switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
      invert = true;
      [[fallthrough]];
    case PHOTOMETRIC_MINISBLACK:
      img.colour = ColourModel::kGrey;
      colour = 1;
      break;
    case PHOTOMETRIC_RGB:
      img.colour = ColourModel::kRgb;
      colour = 3;
      break;
    case PHOTOMETRIC_YCBCR:
      if (compression != COMPRESSION_JPEG || bits != 8) {
        throw inputError(name + ": YCbCr TIFF images are supported only when JPEG-compressed");
      }
      TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
      img.colour = ColourModel::kRgb;
      colour = 3;
      break;
    case PHOTOMETRIC_SEPARATED: {
      std::uint16_t inkset = INKSET_CMYK;
      TIFFGetFieldDefaulted(tif, TIFFTAG_INKSET, &inkset);
      if (inkset != INKSET_CMYK || spp < 4) {
        throw inputError(name + ": only CMYK separated TIFF images are supported");
      }
      img.colour = ColourModel::kCmyk;
      colour = 4;
      invert = true;  // TIFF stores 0 for no ink, the host 255 (or 32768)
      break;
    }
    default:
      throw inputError(name + ": unsupported TIFF colour mode (photometric " +
                       std::to_string(photometric) + "); greyscale, RGB and CMYK are supported");
  }
  if (spp < colour) corrupt(path, diag);
  checkClaimedSize(path, width, height, spp, static_cast<std::uint64_t>(bits / 8), limits);
  const std::uint64_t samples = static_cast<std::uint64_t>(width) * height * spp * (bits / 8);
  const std::uint64_t stored = dataBytes(tif);
  if (stored > fileBytes) {
    throw inputError(name + ": claims " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels of " + std::to_string(spp) + " samples, " + std::to_string(stored) +
                     " bytes of data in a " + std::to_string(fileBytes) +
                     "-byte file (truncated or corrupt)");
  }
  checkAgainstFileSize(path, width, height, samples, maxExpansion(compression, spp), stored,
                       "TIFF strip");
  beginPlanes(img, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), bits, spp);
  const bool separate = planar == PLANARCONFIG_SEPARATE && spp > 1;
  st.width = width;
  st.height = height;
  st.spp = spp;
  st.bits = bits;
  st.colour = colour;
  st.invert = invert;
  st.separate = separate;
  st.parallelStrips =
      decodesStripsAlone(compression) && photometric != PHOTOMETRIC_YCBCR && GetNumProcessors() > 1;
}

TiffReader::~TiffReader() = default;

Image &TiffReader::image() {
  return s_->img;
}

bool TiffReader::readRows(const RowProgress &progress) {
  State &st = *s_;
  const std::filesystem::path &path = st.path;
  Diagnostics &diag = st.diag;
  TIFF *tif = st.t.get();
  Image &img = st.img;
  const std::uint32_t width = st.width, height = st.height;
  const int spp = st.spp, bits = st.bits, colour = st.colour;
  const bool invert = st.invert, separate = st.separate;
  const int stride = separate ? 1 : spp;
  const int bytesPerSample = bits / 8;
  bool stopped = false;
  if (TIFFIsTiled(tif)) {
    std::uint32_t tw = 0, th = 0;
    TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw);
    TIFFGetField(tif, TIFFTAG_TILELENGTH, &th);
    if (tw == 0 || th == 0) corrupt(path, diag);
    checkClaimedSize(path, tw, th, spp, static_cast<std::uint64_t>(bits / 8), st.limits);
    std::vector<std::uint8_t> tile(static_cast<std::size_t>(TIFFTileSize(tif)));
    const std::size_t tileRow = static_cast<std::size_t>(TIFFTileRowSize(tif));
    for (int s = 0; s < (separate ? spp : 1); ++s) {
      for (std::uint32_t ty = 0; ty < height; ty += th) {
        growRows(img, static_cast<std::int64_t>(ty) + th);
        for (std::uint32_t tx = 0; tx < width; tx += tw) {
          if (TIFFReadTile(tif, tile.data(), tx, ty, 0, static_cast<std::uint16_t>(s)) < 0)
            corrupt(path, diag);
          const int cols = static_cast<int>(std::min(tw, width - tx));
          for (std::uint32_t r = 0; r < th && ty + r < height; ++r) {
            const std::uint8_t *src = tile.data() + r * tileRow;
            for (int p = separate ? s : 0; p < (separate ? s + 1 : spp); ++p) {
              unpackSamples(img, p, static_cast<int>(tx), static_cast<int>(ty + r), cols, bits,
                            stride, invert && p < colour,
                            src + (separate ? 0 : p * bytesPerSample));
            }
          }
        }
      }
    }
  } else if (!readStripsInParallel(
                 path, tif, stripPlan(tif, width, height, spp, bits, colour, separate, invert),
                 st.limits, st.parallelStrips ? GetNumProcessors() : 1, img, diag, progress,
                 stopped)) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(tif)));
    for (int s = 0; s < (separate ? spp : 1); ++s) {
      for (std::uint32_t y = 0; y < height; ++y) {
        if (TIFFReadScanline(tif, row.data(), y, static_cast<std::uint16_t>(s)) < 0)
          corrupt(path, diag);
        growRows(img, static_cast<std::int64_t>(y) + 1);
        unpackFileRow(img, static_cast<int>(y), spp, bits, colour, invert, separate, s, row.data());
        const auto rows = static_cast<std::int32_t>(y + 1);
        if (progress && !separate && rows % kRowsPerReport == 0 && !progress(rows)) return false;
      }
    }
  }
  if (stopped) return false;
  // The picture may be corrected for a while yet: the file (libtiff maps an
  // uncompressed one whole) goes before the last rows are told.
  st.t = Tiff();
  if (progress) progress(static_cast<std::int32_t>(height));
  return true;
}

Image readTiff(const std::filesystem::path &path, const ReadLimits &limits) {
  TiffReader reader(path, limits);
  reader.readRows({});
  return std::move(reader.image());
}

ImageShape peekTiff(const std::filesystem::path &path) {
  Diagnostics diag;
  std::uint64_t fileBytes = 0;
  Tiff t = openForReading(path, diag, ReadLimits{}, fileBytes);
  if (!t) throw inputError(path.string() + ": not a readable TIFF image");
  std::uint32_t width = 0, height = 0;
  std::uint16_t spp = 1, bits = 8;
  TIFFGetField(t.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(t.get(), TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(t.get(), TIFFTAG_SAMPLESPERPIXEL, &spp);
  TIFFGetFieldDefaulted(t.get(), TIFFTAG_BITSPERSAMPLE, &bits);
  return {width, height, spp, bits > 8 ? 2u : 1u};
}

void writeTiff(const Image &img, const RowFeed &rows, const std::filesystem::path &path,
               const WriteOptions &opt) {
  Diagnostics diag;
  const bool big = img.doc.planeBytes() * img.doc.planes.size() > 0xF0000000u;
  Tiff t = open(path, big ? "w8" : "w", diag);
  if (!t) throw failure(path.string() + ": cannot create: " + diag.firstError);
  TIFF *tif = t.get();
  const int planes = static_cast<int>(img.doc.planes.size());
  const int colour = img.colourChannels();
  const int bits = img.doc.depth == 16 ? 16 : 8;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(img.doc.width));
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(img.doc.height));
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, static_cast<std::uint16_t>(planes));
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, static_cast<std::uint16_t>(bits));
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  const std::uint16_t photometric = img.colour == ColourModel::kGrey  ? PHOTOMETRIC_MINISBLACK
                                    : img.colour == ColourModel::kRgb ? PHOTOMETRIC_RGB
                                                                      : PHOTOMETRIC_SEPARATED;
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, photometric);
  if (img.colour == ColourModel::kCmyk) TIFFSetField(tif, TIFFTAG_INKSET, INKSET_CMYK);
  if (planes > colour) {
    std::vector<std::uint16_t> extra(static_cast<std::size_t>(planes - colour),
                                     EXTRASAMPLE_UNASSALPHA);
    TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(extra.size()), extra.data());
  }
  const std::size_t rowBytes = static_cast<std::size_t>(img.doc.width) * planes * (bits / 8);
  TiffStripLayout layout;
  layout.width = static_cast<std::uint32_t>(img.doc.width);
  layout.height = static_cast<std::uint32_t>(img.doc.height);
  layout.samplesPerPixel = static_cast<std::uint16_t>(planes);
  layout.bitsPerSample = static_cast<std::uint16_t>(bits);
  layout.rowsPerStrip = tiffRowsPerStrip(rowBytes, layout.height);
  layout.compression = opt.tiffCompression;
  layout.level = opt.tiffLevel;
  if (!tiffCompressionAvailable(layout.compression))
    throw failure(path.string() + ": this libtiff cannot write " +
                  std::string(tiffCompressionName(layout.compression)) + " compression");
  setTiffStripTags(tif, layout);
  if (!img.doc.icc.empty()) {
    TIFFSetField(tif, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(img.doc.icc.size()),
                 img.doc.icc.data());
  }
  if (img.xDpi > 0.0 && img.yDpi > 0.0) {
    TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(tif, TIFFTAG_XRESOLUTION, static_cast<float>(img.xDpi));
    TIFFSetField(tif, TIFFTAG_YRESOLUTION, static_cast<float>(img.yDpi));
  }
  // A TIFF file keeps the camera in its own directories: make and model in
  // the main one, the focal length in an EXIF directory written after it.
  const CameraTags tags = img.doc.exif.empty() ? CameraTags{} : readCameraTags(img.doc.exif);
  if (tags.make) TIFFSetField(tif, TIFFTAG_MAKE, tags.make->c_str());
  if (tags.model) TIFFSetField(tif, TIFFTAG_MODEL, tags.model->c_str());
  if (tags.focalLengthMm) TIFFSetField(tif, TIFFTAG_EXIFIFD, static_cast<toff_t>(0));
  const bool invert = img.colour == ColourModel::kCmyk;
  // The strips' threads report failures as text: a withdrawal is told apart.
  std::atomic<bool> withdrawn{false};
  const std::string stripError = writeTiffStrips(
      tif, layout,
      [&](std::uint32_t y, void *row) {
        try {
          packRow(img, rows.await(static_cast<std::int32_t>(y) + 1), static_cast<int>(y), planes,
                  bits, invert, row);
        } catch (const RowsWithdrawn &) {
          withdrawn = true;
          throw;
        }
      },
      std::max<int>(1, GetNumProcessors()));
  if (withdrawn) throw RowsWithdrawn();
  if (!stripError.empty() || !diag.firstError.empty())
    throw failure(path.string() +
                  ": cannot write TIFF: " + (stripError.empty() ? diag.firstError : stripError));
  if (tags.focalLengthMm) {
    // The main directory goes first with a placeholder pointer, then the EXIF
    // directory, then the main directory again with the pointer filled in.
    toff_t exifOffset = 0;
    const bool ok = TIFFWriteDirectory(tif) && TIFFCreateEXIFDirectory(tif) == 0 &&
                    setFocalLength(tif, *tags.focalLengthMm) &&
                    TIFFWriteCustomDirectory(tif, &exifOffset) && TIFFSetDirectory(tif, 0) &&
                    TIFFSetField(tif, TIFFTAG_EXIFIFD, exifOffset) && TIFFRewriteDirectory(tif);
    if (!ok) throw failure(path.string() + ": cannot write TIFF: " + diag.firstError);
  }
  if (!TIFFFlush(tif) || !diag.firstError.empty()) {
    throw failure(path.string() + ": cannot write TIFF: " + diag.firstError);
  }
  TIFFClose(t.release());
  if (!diag.firstError.empty())
    throw failure(path.string() + ": cannot write TIFF: " + diag.firstError);
  // The rest of the camera's tags (orientation, dates, GPS, lens, maker
  // note) through exiv2, which cannot write BigTIFF.
  if (!big) addExifToTiff(path, img.doc.exif);
}

}  // namespace ortavel::cli
