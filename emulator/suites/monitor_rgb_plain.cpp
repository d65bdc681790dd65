// Monitor RGB without a colour-management library, for the Windows build of
// the emulator (Debian has no lcms2 for mingw): RGB passes through, grey
// becomes the same value in R, G and B (the sRGB tone curve on both sides
// cancels), and Lab and CMYK are declined, so the colour-space suite answers
// them as a host without that conversion does.
#include <cstring>

#include "emulator/suites/monitor_rgb.h"

namespace hostemu {
namespace {

constexpr std::int16_t kRgbSpace = 0;
constexpr std::int16_t kGreySpace = 4;

}  // namespace

void MonitorRgb::TransformDeleter::operator()(void * /*transform*/) const {}

MonitorRgb::MonitorRgb() = default;

bool MonitorRgb::convert(std::int16_t space, const std::uint8_t *in, std::uint8_t *out,
                         std::size_t count) const {
  switch (space) {
    case kRgbSpace:
      std::memmove(out, in, count * 4);
      return true;
    case kGreySpace:
      // In place is safe: each grey byte is read before its pixel is written.
      for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t grey = in[i * 4 + 3];
        std::uint8_t *px = out + i * 4;
        px[0] = 0;
        px[1] = px[2] = px[3] = grey;
      }
      return true;
    default:
      return false;
  }
}

}  // namespace hostemu
