// The few EXIF facts the command moves between formats that store EXIF
// differently: a TIFF file keeps its camera tags in its own directories,
// JPEG and PNG keep a whole EXIF block. Blocks here are the TIFF structure
// itself ("II*\0" or "MM\0*" first), without the "Exif\0\0" prefix of APP1.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ortavel::cli {

struct CameraTags {
  std::optional<std::string> make;      // IFD0 tag 271
  std::optional<std::string> model;     // IFD0 tag 272
  std::optional<double> focalLengthMm;  // EXIF tag 37386, a rational
  // IFD0 tag 274: how the stored pixels are turned for display, 1 (as
  // stored) to 8; absent, or a value outside 1..8, is none.
  std::optional<int> orientation = std::nullopt;
};

// A little-endian EXIF block holding just the tags that are present.
std::vector<std::uint8_t> buildExifBlock(const CameraTags &tags);

// Reads the camera tags back from a block; a malformed block gives what could
// be read before the fault (never throws, never reads outside the span).
CameraTags readCameraTags(std::span<const std::uint8_t> block);

// Strips an "Exif\0\0" prefix, if present.
std::span<const std::uint8_t> stripExifPrefix(std::span<const std::uint8_t> block);

}  // namespace ortavel::cli
