// The end-to-end benchmark's helpers (scripts/bench-end-to-end drives them):
//
//   ortavel-bench-e2e synth OUT.jpg WIDTH HEIGHT
//       a photograph-like RGB picture (smooth light, hard-edged shapes, fine
//       grain), JPEG quality 95, 4:2:0
//   ortavel-bench-e2e tiff16 IN.jpg OUT.tif
//       the same picture at 16 bits (each sample times 257), uncompressed TIFF
//   ortavel-bench-e2e floor IN.jpg OUT.jpg
//       libjpeg decode and encode, nothing between: the least any JPEG to JPEG
//       correction costs (quality 95, the input's chroma sampling, as
//       `ortavel correct` writes by default)
//   ortavel-bench-e2e opencv METHOD K1 K2 OUTDIR IN.jpg...   (OpenCV builds)
//       each IN through cv::imread, cv::initUndistortRectifyMap + cv::remap
//       and cv::imwrite (quality 95) into OUTDIR, on one OpenCV thread: the
//       program a batch driven by `xargs -P` runs once per file
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// libjpeg's header needs size_t and FILE declared first.
#include <jpeglib.h>
#include <tiffio.h>

#include "emulator/large_pages.h"

#if defined(ORTAVEL_BENCH_OPENCV)
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

struct File {
  std::FILE *f;
  File(const char *path, const char *mode) : f(std::fopen(path, mode)) {
    if (f == nullptr) throw std::runtime_error(std::string(path) + ": cannot open");
  }
  ~File() {
    if (f != nullptr) std::fclose(f);
  }
  File(const File &) = delete;
  File &operator=(const File &) = delete;
};

[[noreturn]] void jpegFault(j_common_ptr cinfo) {
  char text[JMSG_LENGTH_MAX];
  (*cinfo->err->format_message)(cinfo, text);
  throw std::runtime_error(std::string("libjpeg: ") + text);
}

struct Picture {
  int width = 0;
  int height = 0;
  int lumaH = 2;  // luma sampling factors, as read
  int lumaV = 2;
  // Kept as the command keeps its planes: not zeroed first (decoding writes
  // every byte) and advised onto huge pages. On this kind of virtual machine
  // a first touch of 4 KiB pages costs several times that of huge pages, and
  // a floor paying for it would flatter the command.
  hostemu::Samples rgb;
};

void allocate(Picture &p) {
  const size_t bytes = static_cast<size_t>(p.width) * p.height * 3;
  hostemu::reserveAdvised(p.rgb, bytes);
  p.rgb.resize(bytes);
}

Picture decode(const char *path) {
  File in(path, "rb");
  jpeg_decompress_struct d{};
  jpeg_error_mgr err{};
  d.err = jpeg_std_error(&err);
  err.error_exit = jpegFault;
  jpeg_create_decompress(&d);
  Picture p;
  try {
    jpeg_stdio_src(&d, in.f);
    jpeg_read_header(&d, TRUE);
    d.out_color_space = JCS_RGB;
    jpeg_start_decompress(&d);
    p.width = static_cast<int>(d.output_width);
    p.height = static_cast<int>(d.output_height);
    p.lumaH = d.comp_info[0].h_samp_factor;
    p.lumaV = d.comp_info[0].v_samp_factor;
    allocate(p);
    while (d.output_scanline < d.output_height) {
      JSAMPROW row = p.rgb.data() + static_cast<size_t>(d.output_scanline) * p.width * 3;
      jpeg_read_scanlines(&d, &row, 1);
    }
    jpeg_finish_decompress(&d);
  } catch (...) {
    jpeg_destroy_decompress(&d);
    throw;
  }
  jpeg_destroy_decompress(&d);
  return p;
}

void encode(const Picture &p, const char *path) {
  File out(path, "wb");
  jpeg_compress_struct c{};
  jpeg_error_mgr err{};
  c.err = jpeg_std_error(&err);
  err.error_exit = jpegFault;
  jpeg_create_compress(&c);
  try {
    jpeg_stdio_dest(&c, out.f);
    c.image_width = static_cast<JDIMENSION>(p.width);
    c.image_height = static_cast<JDIMENSION>(p.height);
    c.input_components = 3;
    c.in_color_space = JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, 95, TRUE);
    c.comp_info[0].h_samp_factor = p.lumaH;
    c.comp_info[0].v_samp_factor = p.lumaV;
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
      auto *row =
          const_cast<JSAMPLE *>(p.rgb.data() + static_cast<size_t>(c.next_scanline) * p.width * 3);
      jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
  } catch (...) {
    jpeg_destroy_compress(&c);
    throw;
  }
  jpeg_destroy_compress(&c);
}

// Light falling across the frame, a few discs and bars with hard edges (what
// the interpolators' ringing and the encoder's detail depend on), and grain of
// a few levels, as a sensor leaves it.
Picture synth(int width, int height) {
  Picture p;
  p.width = width;
  p.height = height;
  allocate(p);
  uint32_t noise = 2463534242u;
  const double w = width;
  const double h = height;
  for (int y = 0; y < height; ++y) {
    uint8_t *row = p.rgb.data() + static_cast<size_t>(y) * width * 3;
    for (int x = 0; x < width; ++x) {
      const double u = x / w;
      const double v = y / h;
      double rgb[3] = {70 + 120 * v + 30 * std::sin(7 * u), 110 + 80 * v + 25 * std::cos(5 * v),
                       200 - 90 * v + 20 * std::sin(3 * u + 2 * v)};
      for (int k = 0; k < 6; ++k) {
        const double cx = (0.15 + 0.14 * k), cy = 0.3 + 0.4 * ((k * 37) % 5) / 5.0;
        const double dx = (u - cx) * w / h, dy = v - cy;
        if (dx * dx + dy * dy < 0.006 * (k + 1)) {
          rgb[k % 3] = 30 + 35 * k;
          rgb[(k + 1) % 3] *= 0.5;
        }
      }
      if (static_cast<int>(u * 48) % 6 == 0 && v > 0.7) rgb[0] = rgb[1] = rgb[2] = 235;
      for (int k = 0; k < 3; ++k) {
        noise ^= noise << 13;
        noise ^= noise >> 17;
        noise ^= noise << 5;
        const double grain = static_cast<double>(noise % 9) - 4.0;
        row[x * 3 + k] = static_cast<uint8_t>(std::fmin(255.0, std::fmax(0.0, rgb[k] + grain)));
      }
    }
  }
  return p;
}

void writeTiff16(const Picture &p, const char *path) {
  std::unique_ptr<TIFF, void (*)(TIFF *)> t(TIFFOpen(path, "w"), TIFFClose);
  if (!t) throw std::runtime_error(std::string(path) + ": cannot create");
  TIFFSetField(t.get(), TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(p.width));
  TIFFSetField(t.get(), TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(p.height));
  TIFFSetField(t.get(), TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(t.get(), TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(t.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(t.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(t.get(), TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(t.get(), TIFFTAG_ROWSPERSTRIP, 64);
  std::vector<uint16_t> row(static_cast<size_t>(p.width) * 3);
  for (int y = 0; y < p.height; ++y) {
    const uint8_t *src = p.rgb.data() + static_cast<size_t>(y) * p.width * 3;
    for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<uint16_t>(src[i] * 257);
    if (TIFFWriteScanline(t.get(), row.data(), static_cast<uint32_t>(y), 0) < 0) {
      throw std::runtime_error(std::string(path) + ": cannot write");
    }
  }
}

#if defined(ORTAVEL_BENCH_OPENCV)
// The lens in OpenCV's terms, as the kernel comparison of ortavel-bench sets
// it: normalised by (width - 1) / 2 about the picture's centre.
int opencvBatch(const std::string &method, double k1, double k2, const std::string &dir, int count,
                char **inputs) {
  cv::setNumThreads(1);
  const int interpolation = method == "bilinear"   ? cv::INTER_LINEAR
                            : method == "lanczos8" ? cv::INTER_LANCZOS4
                                                   : cv::INTER_CUBIC;
  for (int i = 0; i < count; ++i) {
    const std::string in = inputs[i];
    const cv::Mat source = cv::imread(in, cv::IMREAD_COLOR);
    if (source.empty()) throw std::runtime_error(in + ": cannot read");
    const double f = (source.cols - 1) * 0.5;
    const cv::Matx33d camera(f, 0, (source.cols - 1) * 0.5, 0, f, (source.rows - 1) * 0.5, 0, 0, 1);
    cv::Mat map1;
    cv::Mat map2;
    cv::Mat target;
    cv::initUndistortRectifyMap(camera, cv::Vec4d(k1, k2, 0, 0), cv::Mat(), camera, source.size(),
                                CV_16SC2, map1, map2);
    cv::remap(source, target, map1, map2, interpolation, cv::BORDER_CONSTANT);
    const std::string name = in.substr(in.find_last_of('/') + 1);
    if (!cv::imwrite(dir + "/" + name, target, {cv::IMWRITE_JPEG_QUALITY, 95})) {
      throw std::runtime_error(dir + "/" + name + ": cannot write");
    }
  }
  return 0;
}
#endif

int usage() {
  std::fprintf(stderr,
               "usage: ortavel-bench-e2e synth OUT.jpg WIDTH HEIGHT\n"
               "       ortavel-bench-e2e tiff16 IN.jpg OUT.tif\n"
               "       ortavel-bench-e2e floor IN.jpg OUT.jpg\n"
               "       ortavel-bench-e2e opencv METHOD K1 K2 OUTDIR IN.jpg...\n");
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) return usage();
  const std::string command = argv[1];
  try {
    if (command == "synth" && argc == 5) {
      encode(synth(std::atoi(argv[3]), std::atoi(argv[4])), argv[2]);
    } else if (command == "tiff16" && argc == 4) {
      writeTiff16(decode(argv[2]), argv[3]);
    } else if (command == "floor" && argc == 4) {
      encode(decode(argv[2]), argv[3]);
    } else if (command == "opencv" && argc >= 7) {
#if defined(ORTAVEL_BENCH_OPENCV)
      return opencvBatch(argv[2], std::atof(argv[3]), std::atof(argv[4]), argv[5], argc - 6,
                         argv + 6);
#else
      std::fprintf(stderr, "ortavel-bench-e2e: built without OpenCV\n");
      return 3;
#endif
    } else {
      return usage();
    }
  } catch (const std::exception &e) {
    std::fprintf(stderr, "ortavel-bench-e2e: %s\n", e.what());
    return 1;
  }
  return 0;
}
