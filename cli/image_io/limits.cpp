#include "image_io/limits.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>

#include "emulator/large_pages.h"
#include "exit_codes.h"

namespace ortavel::cli {
namespace {

std::string claimed(const std::filesystem::path &path, std::uint64_t w, std::uint64_t h) {
  return path.string() + ": claims " + std::to_string(w) + " x " + std::to_string(h) + " pixels";
}

std::string megabytes(std::uint64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
  return text;
}

}  // namespace

std::uint64_t physicalMemory() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long size = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || size <= 0) return std::uint64_t{1} << 40;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size);
}

void checkClaimedSize(const std::filesystem::path &path, std::uint64_t width, std::uint64_t height,
                      std::uint64_t planes, std::uint64_t bytesPerSample,
                      const ReadLimits &limits) {
  // Each factor is below 2^32, so the pixel count cannot overflow.
  const std::uint64_t pixels = width * height;
  if (pixels > limits.maxPixels) {
    throw inputError(claimed(path, width, height) + ", more than the limit of " +
                     std::to_string(limits.maxPixels) + " (--max-pixels changes it)");
  }
  const std::uint64_t perPixel = planes * bytesPerSample;
  if (perPixel != 0 && pixels > limits.maxBytes / perPixel) {
    throw inputError(claimed(path, width, height) + " of " + std::to_string(planes) +
                     " samples each, more than this machine's memory holds (" +
                     megabytes(limits.maxBytes) + " for a picture)");
  }
}

void checkAgainstFileSize(const std::filesystem::path &path, std::uint64_t width,
                          std::uint64_t height, std::uint64_t decodedBytes, double maxRatio,
                          std::uint64_t fileBytes, const char *format) {
  if (maxRatio <= 0.0 || fileBytes == 0) return;
  if (static_cast<double>(decodedBytes) <= static_cast<double>(fileBytes) * maxRatio) return;
  throw inputError(claimed(path, width, height) + ", more than its " + std::to_string(fileBytes) +
                   " bytes of " + format + " data can hold (corrupt or forged)");
}

std::uint64_t fileSizeOf(const std::filesystem::path &path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return 0;
  return static_cast<std::uint64_t>(st.st_size);
}

void beginPlanes(Image &img, std::int32_t width, std::int32_t height, int depth, int planes) {
  img.doc.width = width;
  img.doc.height = height;
  img.doc.depth = depth;
  img.doc.imageMode = hostImageMode(img.colour, depth);
  img.doc.planes.assign(static_cast<std::size_t>(planes), hostemu::Plane{});
  for (auto &p : img.doc.planes) hostemu::reserveAdvised(p.samples, img.doc.planeBytes());
}

void growRows(Image &img, std::int64_t rows) {
  const std::size_t rowBytes =
      static_cast<std::size_t>(img.doc.width) * static_cast<std::size_t>(img.doc.bytesPerSample());
  const std::size_t want =
      rowBytes * static_cast<std::size_t>(std::clamp<std::int64_t>(rows, 0, img.doc.height));
  for (auto &p : img.doc.planes)
    if (p.samples.size() < want) p.samples.resize(want);
}

}  // namespace ortavel::cli
