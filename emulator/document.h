// The emulated host's document: what a filter sees through the FilterRecord,
// the channel ports and the property suite.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hostemu {

// One channel of the document, samples packed row by row without padding.
// bytes per sample = depth / 8; 16-bit samples use the host's 0..32768 scale,
// 32-bit samples are stored as 4-byte words exactly as the filter sees them.
struct Plane {
  std::vector<std::uint8_t> samples;
  bool targeted = true;  // the channel's `target` flag in targetCompositeChannels
};

struct Document {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t depth = 8;          // bits per sample: 8, 16 or 32
  std::int16_t imageMode = 3;      // host image mode (plugInModeRGBColor = 3, ...)
  std::vector<Plane> planes;       // composite channels first, then alpha planes
  std::vector<std::uint8_t> exif;  // EXIF property bytes; empty = no property
  std::vector<std::uint8_t> icc;   // ICC profile, carried for the caller
  std::int32_t resolutionDpi = 72;

  std::int32_t bytesPerSample() const { return depth / 8; }
  std::size_t planeBytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(bytesPerSample());
  }
};

}  // namespace hostemu
