// The lens's make and name as the photograph's EXIF directory records them
// (LensMake 0xA433, LensModel 0xA434), read with our own EXIF reader.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace ortavel::cli {

struct ExifLens {
  std::optional<std::string> make;
  std::optional<std::string> model;
};

// `block` is the host's EXIF property as the filter gets it (a bare TIFF
// block or a JPEG APP1 segment). Tags that are missing, not text, or empty,
// and a block the reader finds invalid, give nothing.
ExifLens readExifLens(std::span<const std::uint8_t> block);

}  // namespace ortavel::cli
