#include "image_io/exif_rewrite.h"

#include <cstdio>
#include <cstring>
// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "emulator/finished_rows.h"
#include "exit_codes.h"
#include "image_io/sample_scale.h"

namespace ortavel::cli {
namespace {

constexpr int kThumbWidth = 160;
constexpr int kThumbHeight = 120;

std::mutex &exiv2Lock() {
  // exiv2 keeps process-wide state (its log level, lens tables); one use at
  // a time keeps parallel batches safe.
  static std::mutex m;
  return m;
}

// One sample of a picture of `img`'s depth whose planes start at `planes`, 8 bits.
std::uint8_t sample8(const Image &img, std::span<const std::uint8_t *const> planes, int plane,
                     std::size_t i) {
  const std::uint8_t *s = planes[static_cast<std::size_t>(plane)];
  if (img.doc.depth == 8) return s[i];
  std::uint16_t h = 0;
  if (img.doc.depth == 16) {
    std::memcpy(&h, s + i * 2, 2);
    return hostToFile8(h);
  }
  float f = 0.0f;
  std::memcpy(&f, s + i * 4, 4);
  return static_cast<std::uint8_t>(std::lround(std::clamp(f, 0.0f, 1.0f) * 255.0f));
}

bool hasThumbnail(const Exiv2::ExifData &data) {
  for (const auto &d : data)
    if (d.groupName() == "Thumbnail") return true;
  return false;
}

// IFD0 tags that describe the file's own layout, which libtiff wrote for the
// corrected picture: never copied from the input's block.
bool isLayoutTag(const Exiv2::Exifdatum &d) {
  static const std::set<std::string> layout = {"ImageWidth",
                                               "ImageLength",
                                               "BitsPerSample",
                                               "Compression",
                                               "PhotometricInterpretation",
                                               "StripOffsets",
                                               "SamplesPerPixel",
                                               "RowsPerStrip",
                                               "StripByteCounts",
                                               "PlanarConfiguration",
                                               "XResolution",
                                               "YResolution",
                                               "ResolutionUnit",
                                               "TileWidth",
                                               "TileLength",
                                               "TileOffsets",
                                               "TileByteCounts",
                                               "ExtraSamples",
                                               "SampleFormat",
                                               "Predictor",
                                               "NewSubfileType",
                                               "SubfileType",
                                               "SubIFDs",
                                               "JPEGInterchangeFormat",
                                               "JPEGInterchangeFormatLength",
                                               "YCbCrSubSampling",
                                               "YCbCrPositioning",
                                               "YCbCrCoefficients",
                                               "InterColorProfile",
                                               "ExifTag",
                                               "GPSTag",
                                               "InteroperabilityTag",
                                               "FillOrder",
                                               "TransferFunction",
                                               "InkSet",
                                               "ImageResources"};
  return d.groupName() == "Image" && layout.count(d.tagName()) != 0;
}

// Whether a block exiv2 cannot read still leads a reader to a second
// directory (the thumbnail's): IFD0 found and its next-directory pointer set.
bool mayLeadToThumbnail(std::span<const std::uint8_t> b) {
  if (b.size() < 8) return false;
  const bool little = b[0] == 'I';
  const auto u16 = [&](std::size_t at) {
    return little ? static_cast<std::uint32_t>(b[at] | b[at + 1] << 8)
                  : static_cast<std::uint32_t>(b[at] << 8 | b[at + 1]);
  };
  const auto u32 = [&](std::size_t at) {
    return little ? u16(at) | u16(at + 2) << 16 : u16(at) << 16 | u16(at + 2);
  };
  const std::size_t ifd0 = u32(4);
  if (ifd0 > b.size() - 2) return false;
  const std::size_t next = ifd0 + 2 + 12 * static_cast<std::size_t>(u16(ifd0));
  if (next > b.size() - 4) return false;
  return u32(next) != 0;
}

}  // namespace

std::vector<std::uint8_t> jpegThumbnail(const Image &img,
                                        std::span<const std::uint8_t *const> planes, int maxW,
                                        int maxH) {
  const int w = img.doc.width, h = img.doc.height;
  if (img.colour == ColourModel::kCmyk || w <= 0 || h <= 0) return {};
  const double scale =
      std::min({1.0, static_cast<double>(maxW) / w, static_cast<double>(maxH) / h});
  const int tw = std::max(1, static_cast<int>(std::lround(w * scale)));
  const int th = std::max(1, static_cast<int>(std::lround(h * scale)));
  const int channels = img.colourChannels();

  // Box average: each thumbnail pixel is the mean of the pixels it covers.
  std::vector<JSAMPLE> pixels(static_cast<std::size_t>(tw) * th * channels);
  for (int ty = 0; ty < th; ++ty) {
    const int y0 = static_cast<int>(static_cast<long long>(ty) * h / th);
    const int y1 = std::max(y0 + 1, static_cast<int>(static_cast<long long>(ty + 1) * h / th));
    for (int tx = 0; tx < tw; ++tx) {
      const int x0 = static_cast<int>(static_cast<long long>(tx) * w / tw);
      const int x1 = std::max(x0 + 1, static_cast<int>(static_cast<long long>(tx + 1) * w / tw));
      for (int c = 0; c < channels; ++c) {
        unsigned long sum = 0;
        for (int y = y0; y < y1; ++y)
          for (int x = x0; x < x1; ++x)
            sum += sample8(img, planes, c, static_cast<std::size_t>(y) * w + x);
        const unsigned long n = static_cast<unsigned long>(y1 - y0) * (x1 - x0);
        pixels[(static_cast<std::size_t>(ty) * tw + tx) * channels + c] =
            static_cast<JSAMPLE>((sum + n / 2) / n);
      }
    }
  }

  jpeg_compress_struct cinfo{};
  jpeg_error_mgr err{};
  cinfo.err = jpeg_std_error(&err);
  // A thumbnail of a picture already in memory cannot meet a bad stream;
  // libjpeg's default error exit is not reached with these parameters.
  jpeg_create_compress(&cinfo);
  unsigned char *out = nullptr;
  unsigned long outSize = 0;
  jpeg_mem_dest(&cinfo, &out, &outSize);
  cinfo.image_width = static_cast<JDIMENSION>(tw);
  cinfo.image_height = static_cast<JDIMENSION>(th);
  cinfo.input_components = channels;
  cinfo.in_color_space = channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, 85, TRUE);
  cinfo.write_JFIF_header = FALSE;  // a thumbnail is bare JPEG
  jpeg_start_compress(&cinfo, TRUE);
  while (cinfo.next_scanline < cinfo.image_height) {
    JSAMPROW row = &pixels[static_cast<std::size_t>(cinfo.next_scanline) * tw * channels];
    jpeg_write_scanlines(&cinfo, &row, 1);
  }
  jpeg_finish_compress(&cinfo);
  std::vector<std::uint8_t> jpeg(out, out + outSize);
  jpeg_destroy_compress(&cinfo);
  std::free(out);
  return jpeg;
}

bool exifNeedsPicture(std::span<const std::uint8_t> block) {
  if (block.empty()) return false;
  const std::lock_guard hold(exiv2Lock());
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  try {
    Exiv2::ExifData data;
    Exiv2::ExifParser::decode(data, block.data(), static_cast<std::uint32_t>(block.size()));
    return hasThumbnail(data);
  } catch (const std::exception &) {
    return false;
  }
}

std::vector<std::uint8_t> exifForOutput(const Image &img,
                                        std::span<const std::uint8_t *const> planes,
                                        std::size_t maxBytes) {
  const std::vector<std::uint8_t> &block = img.doc.exif;
  if (block.empty()) return {};
  const std::lock_guard hold(exiv2Lock());
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  try {
    Exiv2::ExifData data;
    const Exiv2::ByteOrder order =
        Exiv2::ExifParser::decode(data, block.data(), static_cast<std::uint32_t>(block.size()));
    if (!hasThumbnail(data)) return block;
    Exiv2::ExifThumb thumb(data);
    thumb.erase();
    const std::vector<std::uint8_t> small = jpegThumbnail(img, planes, kThumbWidth, kThumbHeight);
    if (!small.empty()) thumb.setJpegThumbnail(small.data(), static_cast<long>(small.size()));
    Exiv2::Blob out;
    Exiv2::ExifParser::encode(out, block.data(), static_cast<std::uint32_t>(block.size()), order,
                              data);
    if (out.size() > maxBytes && !small.empty()) {
      thumb.erase();
      out.clear();
      Exiv2::ExifParser::encode(out, block.data(), static_cast<std::uint32_t>(block.size()), order,
                                data);
    }
    return out.size() <= maxBytes ? std::vector<std::uint8_t>(out.begin(), out.end())
                                  : std::vector<std::uint8_t>{};
  } catch (const std::exception &) {
    // Unreadable to exiv2: kept as it came unless a reader could still find
    // the old thumbnail through it.
    return mayLeadToThumbnail(block) ? std::vector<std::uint8_t>{} : block;
  }
}

void addExifToTiff(const std::filesystem::path &path, std::span<const std::uint8_t> block) {
  if (block.empty()) return;
  const std::lock_guard hold(exiv2Lock());
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  Exiv2::ExifData source;
  try {
    Exiv2::ExifParser::decode(source, block.data(), static_cast<std::uint32_t>(block.size()));
  } catch (const std::exception &) {
    return;  // nothing exiv2 can read; libtiff already wrote make, model, focal length
  }
  const auto write = [&](bool withMakerNote) {
    auto file = Exiv2::ImageFactory::open(path.string());
    file->readMetadata();
    Exiv2::ExifData &target = file->exifData();
    for (const auto &d : source) {
      if (d.groupName() == "Thumbnail" || isLayoutTag(d)) continue;
      const bool standard = d.familyName() == std::string("Exif") &&
                            (d.groupName() == "Image" || d.groupName() == "Photo" ||
                             d.groupName() == "GPSInfo" || d.groupName() == "Iop");
      if (!standard && !withMakerNote) continue;
      if (!withMakerNote && d.key() == "Exif.Photo.MakerNote") continue;
      target[d.key()] = d.value();
    }
    file->writeMetadata();
  };
  try {
    write(true);
  } catch (const std::exception &) {
    // Some maker notes exiv2 cannot place in a TIFF; the rest still goes.
    try {
      write(false);
    } catch (const std::exception &e) {
      throw failure(path.string() + ": cannot write the EXIF data into the TIFF file: " + e.what());
    }
  }
}

}  // namespace ortavel::cli
