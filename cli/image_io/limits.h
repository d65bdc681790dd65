// Bounds on what a file may make the readers allocate. A header is a promise
// a few bytes can make: a picture's size is checked against a pixel limit,
// against the memory the machine has, and against what the file's own size
// can hold before anything of that size is allocated; the planes then take
// memory only as rows are actually decoded (growRows leaves new bytes
// untouched), so a file that breaks its promise fails having cost only what
// it delivered.
#pragma once

#include <cstdint>
#include <filesystem>

#include "image_io/image.h"

namespace ortavel::cli {

inline constexpr std::uint64_t kDefaultMaxPixels = 1'000'000'000;

// A picture's size as its header gives it.
struct ImageShape {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::uint64_t planes = 0;
  std::uint64_t bytesPerSample = 1;
  std::uint64_t bytes() const { return width * height * planes * bytesPerSample; }
};

// Physical memory of the machine, in bytes (a large value when unknown).
std::uint64_t physicalMemory();

struct ReadLimits {
  std::uint64_t maxPixels = kDefaultMaxPixels;  // width x height
  // Decoded samples of all planes together, in bytes: half the machine's
  // memory, as the correction needs room for its output too.
  std::uint64_t maxBytes = physicalMemory() / 2;
};

// Throws CliError (bad input) naming the file and the size it claims when
// width x height exceeds the pixel limit, or the decoded planes would not fit
// in the memory limit.
void checkClaimedSize(const std::filesystem::path &path, std::uint64_t width, std::uint64_t height,
                      std::uint64_t planes, std::uint64_t bytesPerSample, const ReadLimits &limits);

// Throws CliError (bad input) when `fileBytes` cannot hold the picture: the
// format's best compression turns one byte of file into at most `maxRatio`
// bytes of samples (`decodedBytes` in all).
void checkAgainstFileSize(const std::filesystem::path &path, std::uint64_t width,
                          std::uint64_t height, std::uint64_t decodedBytes, double maxRatio,
                          std::uint64_t fileBytes, const char *format);

// Size of the regular file at `path`, or 0 when it cannot be told.
std::uint64_t fileSizeOf(const std::filesystem::path &path);

// Sets the document's size and planes with room reserved (address space,
// not memory) for the whole picture but no rows yet; growRows() adds them.
void beginPlanes(Image &img, std::int32_t width, std::int32_t height, int depth, int planes);
// Makes rows 0..rows-1 of every plane exist. New rows are not initialised:
// every reader writes the rows it grows before it reads on, or throws and
// drops the picture.
void growRows(Image &img, std::int64_t rows);

}  // namespace ortavel::cli
