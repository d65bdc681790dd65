// TIFF through libtiff: strips or tiles, contiguous or separate planes, 8 or
// 16 bits, greyscale, RGB (also JPEG-compressed YCbCr) and CMYK, with extra
// samples kept as alpha planes. Camera tags travel as a small EXIF block.
#include <tiffio.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "exit_codes.h"
#include "image_io/codec.h"
#include "image_io/exif_block.h"
#include "image_io/exif_rewrite.h"
#include "image_io/sample_scale.h"

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

Tiff open(const std::filesystem::path &path, const char *mode, Diagnostics &diag) {
  TIFFOpenOptions *opts = TIFFOpenOptionsAlloc();
  if (!opts) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(opts, onError, &diag);
  TIFFOpenOptionsSetWarningHandlerExtR(opts, onWarning, &diag);
  Tiff t(TIFFOpenExt(path.c_str(), mode, opts));
  TIFFOpenOptionsFree(opts);
  return t;
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

[[noreturn]] void corrupt(const std::filesystem::path &path, const Diagnostics &d) {
  throw inputError(path.string() + ": truncated or corrupt TIFF image" +
                   (d.firstError.empty() ? std::string() : " (" + d.firstError + ")"));
}

std::string tiffString(TIFF *t, ttag_t tag) {
  const char *s = nullptr;
  if (TIFFGetField(t, tag, &s) && s) return s;
  return {};
}

// Camera make, model and focal length, as an EXIF block the plug-in can read.
void exifFromTiff(TIFF *t, Image &img) {
  CameraTags tags;
  const std::string make = tiffString(t, TIFFTAG_MAKE);
  const std::string model = tiffString(t, TIFFTAG_MODEL);
  if (!make.empty()) tags.make = make;
  if (!model.empty()) tags.model = model;
  toff_t exifOffset = 0;
  if (TIFFGetField(t, TIFFTAG_EXIFIFD, &exifOffset) && exifOffset != 0 &&
      TIFFReadEXIFDirectory(t, exifOffset)) {
    const TIFFField *field = TIFFFieldWithTag(t, EXIFTAG_FOCALLENGTH);
    if (field && TIFFFieldSetGetSize(field) == 8) {
      double v = 0.0;
      if (TIFFGetField(t, EXIFTAG_FOCALLENGTH, &v)) tags.focalLengthMm = v;
    } else if (field) {
      float v = 0.0f;
      if (TIFFGetField(t, EXIFTAG_FOCALLENGTH, &v)) tags.focalLengthMm = v;
    }
  }
  if (tags.make || tags.model || tags.focalLengthMm) img.doc.exif = buildExifBlock(tags);
}

// libtiff keeps EXIF rationals as float or double depending on its version.
bool setFocalLength(TIFF *t, double mm) {
  const TIFFField *field = TIFFFieldWithTag(t, EXIFTAG_FOCALLENGTH);
  if (!field) return false;
  if (TIFFFieldSetGetSize(field) == 8) return TIFFSetField(t, EXIFTAG_FOCALLENGTH, mm) == 1;
  return TIFFSetField(t, EXIFTAG_FOCALLENGTH, static_cast<float>(mm)) == 1;
}

}  // namespace

Image readTiff(const std::filesystem::path &path) {
  Diagnostics diag;
  Tiff t = open(path, "r", diag);
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

  Image img;
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
  allocatePlanes(img, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), bits,
                 spp);
  const bool separate = planar == PLANARCONFIG_SEPARATE && spp > 1;
  const int stride = separate ? 1 : spp;
  const int bytesPerSample = bits / 8;

  if (TIFFIsTiled(tif)) {
    std::uint32_t tw = 0, th = 0;
    TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw);
    TIFFGetField(tif, TIFFTAG_TILELENGTH, &th);
    if (tw == 0 || th == 0) corrupt(path, diag);
    std::vector<std::uint8_t> tile(static_cast<std::size_t>(TIFFTileSize(tif)));
    const std::size_t tileRow = static_cast<std::size_t>(TIFFTileRowSize(tif));
    for (int s = 0; s < (separate ? spp : 1); ++s) {
      for (std::uint32_t ty = 0; ty < height; ty += th) {
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
  } else {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(tif)));
    for (int s = 0; s < (separate ? spp : 1); ++s) {
      for (std::uint32_t y = 0; y < height; ++y) {
        if (TIFFReadScanline(tif, row.data(), y, static_cast<std::uint16_t>(s)) < 0)
          corrupt(path, diag);
        for (int p = separate ? s : 0; p < (separate ? s + 1 : spp); ++p) {
          unpackSamples(img, p, 0, static_cast<int>(y), static_cast<int>(width), bits, stride,
                        invert && p < colour, row.data() + (separate ? 0 : p * bytesPerSample));
        }
      }
    }
  }

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
  exifFromTiff(tif, img);
  return img;
}

void writeTiff(const Image &img, const std::filesystem::path &path) {
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
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
  TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
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
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
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
  std::vector<std::uint8_t> row(static_cast<std::size_t>(img.doc.width) * planes * (bits / 8));
  for (int y = 0; y < img.doc.height; ++y) {
    packRow(img, y, planes, bits, img.colour == ColourModel::kCmyk, row.data());
    if (TIFFWriteScanline(tif, row.data(), static_cast<std::uint32_t>(y), 0) < 0) {
      throw failure(path.string() + ": cannot write TIFF: " + diag.firstError);
    }
  }
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
