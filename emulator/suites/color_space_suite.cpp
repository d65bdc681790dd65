// The colour-space suite. Real: ConvertToMonitorRGB (see monitor_rgb.h for
// the byte positions), Convert8 to RGB or within one space, Convert16 within
// one space, and the 8/16/32-bit sample conversions (16-bit on the host's
// 0..32768 scale). The colour objects (Make ... PickColor) and the display
// entries answer '!IMP'.
//
// ConvertToMonitorRGB with a space it cannot convert (HSB, HSL, XYZ, none)
// copies the values through unchanged, so a picture stays defined, and
// answers '!IMP'.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "emulator/suites/suite_host_state.h"

namespace hostemu {
namespace {

SPErr makeColor(ColorID *id) {
  if (id) *id = nullptr;
  return kSPUnimplementedError;
}
SPErr deleteColor(ColorID *) {
  return kSPUnimplementedError;
}
SPErr stuffComponents(ColorID, int16, uint8, uint8, uint8, uint8) {
  return kSPUnimplementedError;
}
SPErr extractComponents(ColorID, int16, uint8 *, uint8 *, uint8 *, uint8 *, Boolean *) {
  return kSPUnimplementedError;
}
SPErr stuffXYZ(ColorID, CS_XYZColor) {
  return kSPUnimplementedError;
}
SPErr extractXYZ(ColorID, CS_XYZColor *) {
  return kSPUnimplementedError;
}
SPErr getNativeSpace(ColorID, int16 *) {
  return kSPUnimplementedError;
}
SPErr isBookColor(ColorID, Boolean *) {
  return kSPUnimplementedError;
}
SPErr extractColorName(ColorID, ASZString *) {
  return kSPUnimplementedError;
}
SPErr pickColor(ColorID *, ASZString) {
  return kSPUnimplementedError;
}

SPErr convertToMonitorRGB(int16 inputCSpace, Color8 *input, Color8 *output, int16 count) {
  SuiteHostState *state = activeState();
  if (state == nullptr) return kSPBadParameterError;
  if (const SPErr fault = state->entryFault("ConvertToMonitorRGB")) return fault;
  if (count < 0) return kSPBadParameterError;
  if (count == 0) return kSPNoError;
  if (input == nullptr || output == nullptr) return kSPBadParameterError;
  const auto n = static_cast<std::size_t>(count);
  const auto *in = reinterpret_cast<const std::uint8_t *>(input);
  auto *out = reinterpret_cast<std::uint8_t *>(output);
  const MonitorRgb *monitor = state->monitorRgb();
  if (monitor != nullptr && monitor->convert(inputCSpace, in, out, n)) return kSPNoError;
  std::memmove(out, in, n * 4);
  return kSPUnimplementedError;
}

SPErr convert8(int16 inputCSpace, int16 outputCSpace, Color8 *colors, int16 count) {
  if (count < 0 || (count > 0 && colors == nullptr)) return kSPBadParameterError;
  if (inputCSpace == outputCSpace || count == 0) return kSPNoError;
  if (outputCSpace != plugIncolorServicesRGBSpace) return kSPUnimplementedError;
  SuiteHostState *state = activeState();
  if (state == nullptr) return kSPBadParameterError;
  const MonitorRgb *monitor = state->monitorRgb();
  auto *bytes = reinterpret_cast<std::uint8_t *>(colors);
  if (monitor == nullptr ||
      !monitor->convert(inputCSpace, bytes, bytes, static_cast<std::size_t>(count))) {
    return kSPUnimplementedError;
  }
  return kSPNoError;
}

SPErr convert16(int16 inputCSpace, int16 outputCSpace, Color16 *colors, int16 count) {
  if (count < 0 || (count > 0 && colors == nullptr)) return kSPBadParameterError;
  return inputCSpace == outputCSpace || count == 0 ? kSPNoError : kSPUnimplementedError;
}

SPErr convert8to16(uint8 *input, uint16 *output, int16 count) {
  if (count < 0 || (count > 0 && (input == nullptr || output == nullptr)))
    return kSPBadParameterError;
  for (int16 i = 0; i < count; ++i) {
    output[i] = static_cast<uint16>((input[i] * 32768u + 127u) / 255u);
  }
  return kSPNoError;
}

SPErr convert16to8(uint16 *input, uint8 *output, int16 count) {
  if (count < 0 || (count > 0 && (input == nullptr || output == nullptr)))
    return kSPBadParameterError;
  for (int16 i = 0; i < count; ++i) {
    const std::uint32_t v = (input[i] * 255u + 16384u) / 32768u;
    output[i] = static_cast<uint8>(std::min<std::uint32_t>(v, 255u));
  }
  return kSPNoError;
}

SPErr convert32to8(real32 *input, uint8 *output, int16 count) {
  if (count < 0 || (count > 0 && (input == nullptr || output == nullptr)))
    return kSPBadParameterError;
  for (int16 i = 0; i < count; ++i) {
    // Floats are 0..1; NaN counts as 0.
    const double v = input[i] > 0.0f ? std::min(static_cast<double>(input[i]), 1.0) : 0.0;
    output[i] = static_cast<uint8>(std::lround(v * 255.0));  // v >= 0: half up
  }
  return kSPNoError;
}

SPErr convertForDisplay(struct PSPixelMap *, Color8 *, int32, const VRect *) {
  return kSPUnimplementedError;
}

SPErr getDisplayProfile(const VRect *, Handle *profile) {
  if (profile) *profile = nullptr;
  return kSPUnimplementedError;
}

template <typename Suite>
void fillShared(Suite &suite) {
  suite.Make = makeColor;
  suite.Delete = deleteColor;
  suite.StuffComponents = stuffComponents;
  suite.ExtractComponents = extractComponents;
  suite.StuffXYZ = stuffXYZ;
  suite.ExtractXYZ = extractXYZ;
  suite.Convert8 = convert8;
  suite.Convert16 = convert16;
  suite.GetNativeSpace = getNativeSpace;
  suite.IsBookColor = isBookColor;
  suite.ExtractColorName = extractColorName;
  suite.PickColor = pickColor;
  suite.Convert8to16 = convert8to16;
  suite.Convert16to8 = convert16to8;
  suite.ConvertToMonitorRGB = convertToMonitorRGB;
  suite.Convert32to8 = convert32to8;
}

}  // namespace

PSColorSpaceSuite1 makeColorSpaceSuite1() {
  PSColorSpaceSuite1 suite{};
  fillShared(suite);
  return suite;
}

PSColorSpaceSuite2 makeColorSpaceSuite2() {
  PSColorSpaceSuite2 suite{};
  fillShared(suite);
  suite.ConvertForDisplay = convertForDisplay;
  suite.GetDisplayProfile = getDisplayProfile;
  return suite;
}

}  // namespace hostemu
