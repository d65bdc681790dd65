// Sample values between files and the host. 8-bit samples pass unchanged.
// 16-bit file samples (0..65535) live on the host's 0..32768 scale: both ways
// round to nearest, so the mapping never reverses the order of two values and
// a host value survives a trip through a 16-bit file exactly.
#pragma once

#include <cstdint>

namespace ortavel::cli {

inline std::uint16_t fileToHost16(std::uint16_t v) {
  return static_cast<std::uint16_t>((static_cast<std::uint32_t>(v) * 32768u + 32767u) / 65535u);
}

inline std::uint16_t hostToFile16(std::uint16_t h) {
  if (h > 32768u) h = 32768u;  // the filter clamps, but be safe with foreign data
  return static_cast<std::uint16_t>((static_cast<std::uint32_t>(h) * 65535u + 16384u) / 32768u);
}

// A host 16-bit sample reduced to 8 bits (for JPEG, which has no 16-bit form).
inline std::uint8_t hostToFile8(std::uint16_t h) {
  if (h > 32768u) h = 32768u;
  return static_cast<std::uint8_t>((static_cast<std::uint32_t>(h) * 255u + 16384u) / 32768u);
}

}  // namespace ortavel::cli
