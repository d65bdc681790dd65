#include "image_io/image_io.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "exit_codes.h"

namespace ortavel::cli {

Image readImage(const std::filesystem::path &path) {
  const std::string name = path.string();
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) {
    throw inputError(name + ": " + (errno == ENOENT ? "no such file" : std::strerror(errno)));
  }
  if (S_ISDIR(st.st_mode)) throw inputError(name + ": is a directory, not an image file");
  std::FILE *f = std::fopen(path.c_str(), "rb");
  if (!f) throw inputError(name + ": cannot open: " + std::strerror(errno));
  unsigned char magic[8] = {};
  const std::size_t n = std::fread(magic, 1, sizeof magic, f);
  std::fclose(f);
  if (n >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF) return readJpeg(path);
  static const unsigned char kPng[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (n == 8 && std::memcmp(magic, kPng, 8) == 0) return readPng(path);
  if (n >= 4 && ((magic[0] == 'I' && magic[1] == 'I' && (magic[2] == 42 || magic[2] == 43) &&
                  magic[3] == 0) ||
                 (magic[0] == 'M' && magic[1] == 'M' && magic[2] == 0 &&
                  (magic[3] == 42 || magic[3] == 43)))) {
    return readTiff(path);
  }
  if (n == 0) throw inputError(name + ": empty file, not an image");
  throw inputError(name + ": not an image this command reads (JPEG, PNG or TIFF expected)");
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
  switch (format) {
    case FileFormat::kJpeg:
      writeJpeg(img, path, opt);
      return;
    case FileFormat::kPng:
      writePng(img, path);
      return;
    case FileFormat::kTiff:
      writeTiff(img, path, opt);
      return;
  }
}

}  // namespace ortavel::cli
