#include "image_io/image_io.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "exit_codes.h"
#include "image_io/c_file.h"

namespace ortavel::cli {

namespace {

// The format the file's first bytes announce; nullopt, with `empty` set for
// a file without any, when it is none of the three.
std::optional<FileFormat> formatOfMagic(const std::filesystem::path &path, bool &empty) {
  unsigned char magic[8] = {};
  std::size_t n = 0;
  {
    const CFile f = openForReading(path);
    n = std::fread(magic, 1, sizeof magic, f.get());
  }
  empty = n == 0;
  if (n >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF) return FileFormat::kJpeg;
  static const unsigned char kPng[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (n == 8 && std::memcmp(magic, kPng, 8) == 0) return FileFormat::kPng;
  if (n >= 4 && ((magic[0] == 'I' && magic[1] == 'I' && (magic[2] == 42 || magic[2] == 43) &&
                  magic[3] == 0) ||
                 (magic[0] == 'M' && magic[1] == 'M' && magic[2] == 0 &&
                  (magic[3] == 42 || magic[3] == 43)))) {
    return FileFormat::kTiff;
  }
  return std::nullopt;
}

}  // namespace

FileFormat sniffFormat(const std::filesystem::path &path) {
  const std::string name = path.string();
  checkRegularFile(path);
  bool empty = false;
  if (const auto format = formatOfMagic(path, empty)) return *format;
  if (empty) throw inputError(name + ": empty file, not an image");
  throw inputError(name + ": not an image this command reads (JPEG, PNG or TIFF expected)");
}

Image readImage(const std::filesystem::path &path, const ReadLimits &limits) {
  switch (sniffFormat(path)) {
    case FileFormat::kJpeg:
      return readJpeg(path, limits);
    case FileFormat::kPng:
      return readPng(path, limits);
    case FileFormat::kTiff:
      break;
  }
  return readTiff(path, limits);
}

std::optional<ImageShape> peekImage(const std::filesystem::path &path) {
  try {
    checkRegularFile(path);
    bool empty = false;
    const std::optional<FileFormat> format = formatOfMagic(path, empty);
    if (format == FileFormat::kJpeg) return peekJpeg(path);
    if (format == FileFormat::kPng) return peekPng(path);
    if (format == FileFormat::kTiff) return peekTiff(path);
  } catch (const CliError &) {
  }
  return std::nullopt;
}

std::optional<FileFormat> formatForName(const std::filesystem::path &path) {
  std::string ext = path.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (ext == ".jpg" || ext == ".jpeg") return FileFormat::kJpeg;
  if (ext == ".png") return FileFormat::kPng;
  if (ext == ".tif" || ext == ".tiff") return FileFormat::kTiff;
  return std::nullopt;
}

void checkWritable(const Image &img, FileFormat format, const std::filesystem::path &path) {
  if (format == FileFormat::kPng && img.colour == ColourModel::kCmyk) {
    throw usageError(path.string() + ": PNG cannot hold CMYK; name a .tif or .jpg output");
  }
  if (format == FileFormat::kPng && img.alphaPlanes() > 1) {
    throw usageError(path.string() + ": PNG holds one alpha plane at most; name a .tif output");
  }
}

void writeImage(const Image &img, FileFormat format, const std::filesystem::path &path,
                const WriteOptions &opt) {
  writeImage(img, ImageRows(img), format, path, opt);
}

void writeImage(const Image &img, const RowFeed &rows, FileFormat format,
                const std::filesystem::path &path, const WriteOptions &opt) {
  switch (format) {
    case FileFormat::kJpeg:
      writeJpeg(img, rows, path, opt);
      return;
    case FileFormat::kPng:
      writePng(img, rows, path);
      return;
    case FileFormat::kTiff:
      writeTiff(img, rows, path, opt);
      return;
  }
}

}  // namespace ortavel::cli
