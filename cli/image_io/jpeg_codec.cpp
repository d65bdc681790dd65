// JPEG through libjpeg-turbo. libjpeg reports errors through a callback that
// must not return; ours throws, which unwinds through the library's frames
// (built with unwind tables on every platform we target) back to us, where
// RAII closes the file and the decompressor.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
// jpeglib.h needs size_t and FILE declared first.
#include <jerror.h>
#include <jpeglib.h>

#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "exit_codes.h"
#include "image_io/c_file.h"
#include "image_io/codec.h"
#include "image_io/exif_block.h"
#include "image_io/exif_rewrite.h"

namespace ortavel::cli {
namespace {

struct JpegFault {
  std::string text;
};

[[noreturn]] void errorExit(j_common_ptr cinfo) {
  char text[JMSG_LENGTH_MAX];
  (*cinfo->err->format_message)(cinfo, text);
  throw JpegFault{text};
}

// A corrupt or truncated stream only raises warnings in libjpeg (it pads the
// picture with grey); we refuse such files rather than write grey bands.
void emitMessage(j_common_ptr cinfo, int level) {
  if (level >= 0) return;
  if (cinfo->err->msg_code == JWRN_EXTRANEOUS_DATA) return;  // harmless junk between markers
  errorExit(cinfo);
}

struct Decompressor {
  jpeg_decompress_struct cinfo{};
  jpeg_error_mgr err{};
  Decompressor() {
    cinfo.err = jpeg_std_error(&err);
    err.error_exit = errorExit;
    err.emit_message = emitMessage;
    jpeg_create_decompress(&cinfo);
  }
  ~Decompressor() { jpeg_destroy_decompress(&cinfo); }
};

struct Compressor {
  jpeg_compress_struct cinfo{};
  jpeg_error_mgr err{};
  Compressor() {
    cinfo.err = jpeg_std_error(&err);
    err.error_exit = errorExit;
    jpeg_create_compress(&cinfo);
  }
  ~Compressor() { jpeg_destroy_compress(&cinfo); }
};

const std::uint8_t kExifPrefix[6] = {'E', 'x', 'i', 'f', 0, 0};

// A destination in memory, for a stream one of whose first markers is known
// only once the picture is: the stream is kept, and the marker put in its
// place when the file is written.
struct MemoryDestination {
  jpeg_destination_mgr pub{};  // first: libjpeg hands back its address
  std::vector<std::uint8_t> bytes;

  MemoryDestination() {
    pub.init_destination = [](j_compress_ptr c) {
      auto &d = self(c);
      d.bytes.resize(std::size_t{1} << 20);
      d.pub.next_output_byte = d.bytes.data();
      d.pub.free_in_buffer = d.bytes.size();
    };
    pub.empty_output_buffer = [](j_compress_ptr c) -> boolean {
      auto &d = self(c);
      const std::size_t old = d.bytes.size();
      d.bytes.resize(old * 2);
      d.pub.next_output_byte = d.bytes.data() + old;
      d.pub.free_in_buffer = d.bytes.size() - old;
      return TRUE;
    };
    pub.term_destination = [](j_compress_ptr c) {
      auto &d = self(c);
      d.bytes.resize(d.used());
    };
  }
  static MemoryDestination &self(j_compress_ptr c) {
    return *reinterpret_cast<MemoryDestination *>(c->dest);
  }
  std::size_t used() const { return bytes.size() - pub.free_in_buffer; }
};

// The APP1 segment of an EXIF block, as jpeg_write_marker writes it.
std::vector<std::uint8_t> exifSegment(const std::vector<std::uint8_t> &exif) {
  const std::size_t length = 2 + sizeof kExifPrefix + exif.size();
  std::vector<std::uint8_t> out = {0xFF, JPEG_APP0 + 1, static_cast<std::uint8_t>(length >> 8),
                                   static_cast<std::uint8_t>(length & 0xFF)};
  out.insert(out.end(), kExifPrefix, kExifPrefix + sizeof kExifPrefix);
  out.insert(out.end(), exif.begin(), exif.end());
  return out;
}

// The usual name of a luma-to-chroma ratio: 2 across and 2 down is 4:2:0.
int samplingOf(int across, int down) {
  if (across == 1 && down == 1) return 444;
  if (across == 2 && down == 1) return 422;
  if (across == 2 && down == 2) return 420;
  if (across == 4 && down == 1) return 411;
  if (across == 1 && down == 2) return 440;
  return 0;
}

// Luma sampling factors for a ratio; chroma stays at 1x1.
void setSampling(jpeg_compress_struct &c, int sampling) {
  int h = 2, v = 2;  // 4:2:0, libjpeg's own default
  switch (sampling) {
    case 444:
      h = 1;
      v = 1;
      break;
    case 422:
      h = 2;
      v = 1;
      break;
    case 411:
      h = 4;
      v = 1;
      break;
    case 440:
      h = 1;
      v = 2;
      break;
    default:
      break;
  }
  c.comp_info[0].h_samp_factor = h;
  c.comp_info[0].v_samp_factor = v;
  for (int i = 1; i < c.num_components; ++i) {
    c.comp_info[i].h_samp_factor = 1;
    c.comp_info[i].v_samp_factor = 1;
  }
}

}  // namespace

struct JpegReader::State {
  std::filesystem::path path;
  CFile file;
  std::unique_ptr<Decompressor> decompressor = std::make_unique<Decompressor>();
  Image img;
  bool invert = false;
  int planes = 0;
};

JpegReader::JpegReader(const std::filesystem::path &path, const ReadLimits &limits)
    : s_(std::make_unique<State>()) {
  State &s = *s_;
  s.path = path;
  std::uint64_t fileBytes = 0;
  s.file = openForReading(path, fileBytes);
  Image &img = s.img;
  img.format = FileFormat::kJpeg;
  img.fileBits = 8;
  jpeg_decompress_struct &cinfo = s.decompressor->cinfo;
  try {
    jpeg_stdio_src(&cinfo, s.file.get());
    // libjpeg's own buffers (a progressive picture's coefficients) stay
    // within the limit too: past it, it fails instead of taking more.
    cinfo.mem->max_memory_to_use = static_cast<long>(
        std::min<std::uint64_t>(limits.maxBytes, static_cast<std::uint64_t>(LONG_MAX)));
    jpeg_save_markers(&cinfo, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&cinfo, JPEG_APP0 + 2, 0xFFFF);
    jpeg_read_header(&cinfo, TRUE);

    switch (cinfo.jpeg_color_space) {
      case JCS_GRAYSCALE:
        img.colour = ColourModel::kGrey;
        cinfo.out_color_space = JCS_GRAYSCALE;
        break;
      case JCS_CMYK:
      case JCS_YCCK:
        img.colour = ColourModel::kCmyk;
        cinfo.out_color_space = JCS_CMYK;
        // Adobe's CMYK JPEGs store 255 for no ink, as the host does; plain ones store 0.
        s.invert = !cinfo.saw_Adobe_marker;
        break;
      default:
        img.colour = ColourModel::kRgb;
        cinfo.out_color_space = JCS_RGB;
        break;
    }
    for (jpeg_saved_marker_ptr m = cinfo.marker_list; m; m = m->next) {
      if (m->marker == JPEG_APP0 + 1 && m->data_length > 6 &&
          std::memcmp(m->data, kExifPrefix, 6) == 0 && img.doc.exif.empty()) {
        img.doc.exif.assign(m->data + 6, m->data + m->data_length);
      }
    }
    JOCTET *icc = nullptr;
    unsigned int iccLen = 0;
    if (jpeg_read_icc_profile(&cinfo, &icc, &iccLen)) {
      img.doc.icc.assign(icc, icc + iccLen);
      std::free(icc);
    }
    if (cinfo.saw_JFIF_marker && cinfo.X_density > 0 && cinfo.Y_density > 0) {
      const double perInch = cinfo.density_unit == 1 ? 1.0 : cinfo.density_unit == 2 ? 2.54 : 0.0;
      img.xDpi = cinfo.X_density * perInch;
      img.yDpi = cinfo.Y_density * perInch;
    }

    const std::uint64_t w = cinfo.image_width, h = cinfo.image_height;
    checkClaimedSize(path, w, h, static_cast<std::uint64_t>(img.colourChannels()), 1, limits);
    // Huffman coding spends at least one bit on each 8x8 block of the
    // full-resolution component: one byte of file holds at most 512 pixels.
    // Arithmetic coding has no such floor; the limits above bound it.
    if (!cinfo.arith_code) checkAgainstFileSize(path, w, h, w * h, 512.0, fileBytes, "JPEG");

    if (cinfo.jpeg_color_space == JCS_YCbCr && cinfo.num_components == 3) {
      const jpeg_component_info &luma = cinfo.comp_info[0];
      const jpeg_component_info &chroma = cinfo.comp_info[1];
      img.jpegSampling = samplingOf(luma.h_samp_factor / std::max(1, chroma.h_samp_factor),
                                    luma.v_samp_factor / std::max(1, chroma.v_samp_factor));
    }
    jpeg_start_decompress(&cinfo);
    s.planes = static_cast<int>(cinfo.output_components);
    beginPlanes(img, static_cast<std::int32_t>(cinfo.output_width),
                static_cast<std::int32_t>(cinfo.output_height), 8, s.planes);
  } catch (const JpegFault &e) {
    throw inputError(path.string() + ": not a readable JPEG image (" + e.text + ")");
  }
}

JpegReader::~JpegReader() = default;

Image &JpegReader::image() {
  return s_->img;
}

bool JpegReader::readRows(const RowProgress &progress) {
  State &s = *s_;
  jpeg_decompress_struct &cinfo = s.decompressor->cinfo;
  const std::int32_t height = s.img.doc.height;
  try {
    std::vector<JSAMPLE> row(static_cast<std::size_t>(cinfo.output_width) * s.planes);
    while (cinfo.output_scanline < cinfo.output_height) {
      const int y = static_cast<int>(cinfo.output_scanline);
      JSAMPROW rows[1] = {row.data()};
      jpeg_read_scanlines(&cinfo, rows, 1);
      growRows(s.img, y + 1);
      unpackRow(s.img, y, s.planes, 8, s.invert, row.data());
      // Told every few rows: a row alone is too little work to announce.
      if (progress && ((y + 1) % kRowsPerReport == 0 || y + 1 == height) && !progress(y + 1))
        return false;
    }
    jpeg_finish_decompress(&cinfo);
  } catch (const JpegFault &e) {
    throw inputError(s.path.string() + ": not a readable JPEG image (" + e.text + ")");
  }
  // The picture may be corrected for a while yet: the file and the
  // decompressor's buffers go now.
  s.decompressor.reset();
  s.file = CFile();
  return true;
}

Image readJpeg(const std::filesystem::path &path, const ReadLimits &limits) {
  JpegReader reader(path, limits);
  reader.readRows({});
  return std::move(reader.image());
}

ImageShape peekJpeg(const std::filesystem::path &path) {
  CFile f = openForReading(path);
  Decompressor d;
  try {
    jpeg_stdio_src(&d.cinfo, f.get());
    jpeg_read_header(&d.cinfo, TRUE);
  } catch (const JpegFault &e) {
    throw inputError(path.string() + ": not a readable JPEG image (" + e.text + ")");
  }
  const bool grey = d.cinfo.jpeg_color_space == JCS_GRAYSCALE;
  const bool cmyk = d.cinfo.jpeg_color_space == JCS_CMYK || d.cinfo.jpeg_color_space == JCS_YCCK;
  return {d.cinfo.image_width, d.cinfo.image_height, grey ? 1u : cmyk ? 4u : 3u, 1};
}

void writeJpeg(const Image &img, const RowFeed &rows, const std::filesystem::path &path,
               const WriteOptions &opt) {
  CFile f = createForWriting(path);
  Compressor c;
  // A thumbnail in the EXIF block is made from the picture, whose rows may
  // still be coming: the stream is then kept in memory and the block put in
  // its place at the end, where it would have been written.
  const bool exifLast = !rows.allFinal() && exifNeedsPicture(img.doc.exif);
  MemoryDestination memory;
  // An APP1 segment holds 65533 bytes after its length, the prefix included.
  constexpr std::size_t kMostExif = 65533 - sizeof kExifPrefix;
  try {
    if (exifLast) {
      c.cinfo.dest = &memory.pub;
    } else {
      jpeg_stdio_dest(&c.cinfo, f.get());
    }
    c.cinfo.image_width = static_cast<JDIMENSION>(img.doc.width);
    c.cinfo.image_height = static_cast<JDIMENSION>(img.doc.height);
    const int planes = img.colourChannels();  // JPEG has no alpha: extra planes are dropped
    c.cinfo.input_components = planes;
    c.cinfo.in_color_space = img.colour == ColourModel::kGrey   ? JCS_GRAYSCALE
                             : img.colour == ColourModel::kCmyk ? JCS_CMYK
                                                                : JCS_RGB;
    jpeg_set_defaults(&c.cinfo);
    jpeg_set_quality(&c.cinfo, opt.jpegQuality, TRUE);
    if (img.colour == ColourModel::kRgb) {
      setSampling(c.cinfo, opt.jpegSampling != 0 ? opt.jpegSampling : img.jpegSampling);
    }
    if (img.xDpi > 0.0 && img.yDpi > 0.0) {
      c.cinfo.density_unit = 1;
      // JFIF holds whole dots per inch, at most 65535.
      c.cinfo.X_density = static_cast<UINT16>(std::min(std::lround(img.xDpi), 65535L));
      c.cinfo.Y_density = static_cast<UINT16>(std::min(std::lround(img.yDpi), 65535L));
    }
    // Writes the file's first markers; the EXIF block comes right after them.
    jpeg_start_compress(&c.cinfo, TRUE);
    const std::size_t exifAt = memory.used();
    if (!exifLast) {
      const std::vector<std::uint8_t> exif = exifForOutput(
          img,
          rows.allFinal() ? rows.await(img.doc.height) : std::span<const std::uint8_t *const>{},
          kMostExif);
      if (!exif.empty()) {
        std::vector<JOCTET> app1(kExifPrefix, kExifPrefix + 6);
        app1.insert(app1.end(), exif.begin(), exif.end());
        jpeg_write_marker(&c.cinfo, JPEG_APP0 + 1, app1.data(), static_cast<unsigned>(app1.size()));
      }
    }
    if (!img.doc.icc.empty()) {
      jpeg_write_icc_profile(&c.cinfo, img.doc.icc.data(),
                             static_cast<unsigned>(img.doc.icc.size()));
    }
    std::vector<JSAMPLE> row(static_cast<std::size_t>(img.doc.width) * planes);
    // CMYK goes out with an Adobe marker, so in the host's own ink convention.
    while (c.cinfo.next_scanline < c.cinfo.image_height) {
      const auto y = static_cast<int>(c.cinfo.next_scanline);
      packRow(img, rows.await(y + 1), y, planes, 8, false, row.data());
      JSAMPROW one[1] = {row.data()};
      jpeg_write_scanlines(&c.cinfo, one, 1);
    }
    jpeg_finish_compress(&c.cinfo);
    if (exifLast) {
      const std::vector<std::uint8_t> exif =
          exifForOutput(img, rows.await(img.doc.height), kMostExif);
      const std::vector<std::uint8_t> app1 =
          exif.empty() ? std::vector<std::uint8_t>{} : exifSegment(exif);
      const std::span<const std::uint8_t> all(memory.bytes);
      for (const auto part :
           {all.first(exifAt), std::span<const std::uint8_t>(app1), all.subspan(exifAt)}) {
        if (!part.empty() && std::fwrite(part.data(), 1, part.size(), f.get()) != part.size())
          break;
      }
    }
  } catch (const JpegFault &e) {
    throw failure(path.string() + ": cannot write JPEG: " + e.text);
  }
  closeWritten(std::move(f), path);
}

}  // namespace ortavel::cli
