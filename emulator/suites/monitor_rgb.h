// Conversion of 4-byte colour values (Color8) to monitor RGB, which this host
// takes to be sRGB. Byte positions, as the preview reader fills them:
//   RGB   R, G, B in bytes 1..3 (passed through, all four bytes copied)
//   grey  the grey value in byte 3 (0 black, 255 white)
//   Lab   L, a, b in bytes 1..3: L 0..255 for 0..100, a and b offset by 128
//   CMYK  C, M, Y, K in bytes 0..3, inverted: 255 is no ink, 0 is full ink
// The result is R, G, B in bytes 1..3 with byte 0 set to 0 (except RGB).
//
// Grey, Lab and CMYK go through lcms2 transforms made once per object: grey
// with the sRGB tone curve, Lab D50, and CMYK through a profile of our own
// that models plain subtractive inks (each ink removes its share of one sRGB
// primary, black of all three). Relative colorimetric, so the media whites
// meet. A MonitorRgb may be used from several threads at once.
//
// The Windows build has no lcms2 (monitor_rgb_plain.cpp): RGB as above, grey
// copied into R, G and B, and Lab and CMYK declined.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace hostemu {

class MonitorRgb {
 public:
  MonitorRgb();  // throws std::runtime_error when lcms2 cannot build a transform
  MonitorRgb(const MonitorRgb &) = delete;
  MonitorRgb &operator=(const MonitorRgb &) = delete;

  // Converts count 4-byte values of colour-services space `space` (0 RGB,
  // 2 CMYK, 3 Lab, 4 grey) from `in` into `out`; the two may be the same
  // memory. False, with `out` untouched, for any other space.
  bool convert(std::int16_t space, const std::uint8_t *in, std::uint8_t *out,
               std::size_t count) const;

 private:
  struct TransformDeleter {
    void operator()(void *transform) const;  // cmsDeleteTransform
  };
  using Transform = std::unique_ptr<void, TransformDeleter>;  // a cmsHTRANSFORM
  Transform grey_;
  Transform lab_;
  Transform cmyk_;
};

}  // namespace hostemu
