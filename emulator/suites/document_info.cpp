#include "emulator/suites/document_info.h"

#include <algorithm>

namespace hostemu {
namespace {

struct ChannelNaming {
  std::int16_t type;
  const char *name;
};

// Type and name of composite channel `index` in this mode.
ChannelNaming compositeNaming(std::int32_t mode, int index) {
  static constexpr ChannelNaming rgb[] = {{ctRed, "Red"}, {ctGreen, "Green"}, {ctBlue, "Blue"}};
  static constexpr ChannelNaming cmyk[] = {
      {ctCyan, "Cyan"}, {ctMagenta, "Magenta"}, {ctYellow, "Yellow"}, {ctBlack, "Black"}};
  static constexpr ChannelNaming lab[] = {{ctL, "Lightness"}, {ctA, "a"}, {ctB, "b"}};
  static constexpr ChannelNaming hsl[] = {
      {ctUnspecified, "Hue"}, {ctUnspecified, "Saturation"}, {ctUnspecified, "Lightness"}};
  static constexpr ChannelNaming hsb[] = {
      {ctUnspecified, "Hue"}, {ctUnspecified, "Saturation"}, {ctUnspecified, "Brightness"}};
  switch (mode) {
    case plugInModeRGBColor:
    case plugInModeRGB48:
    case plugInModeRGB96:
      return rgb[index];
    case plugInModeCMYKColor:
    case plugInModeCMYK64:
      return cmyk[index];
    case plugInModeLabColor:
    case plugInModeLab48:
      return lab[index];
    case plugInModeHSLColor:
      return hsl[index];
    case plugInModeHSBColor:
      return hsb[index];
    case plugInModeGrayScale:
    case plugInModeGray16:
    case plugInModeGray32:
      // Grey has no channel type of its own; it is the black of one ink.
      return {ctBlack, "Gray"};
    case plugInModeDuotone:
    case plugInModeDuotone16:
      return {ctDuotone, "Duotone"};
    case plugInModeIndexedColor:
      return {ctIndex, "Index"};
    case plugInModeBitmap:
      return {ctBitmap, "Bitmap"};
    default:
      return {ctUnspecified, nullptr};  // multichannel: numbered below
  }
}

Fixed toFixed(std::int32_t whole) {
  return static_cast<Fixed>(static_cast<std::uint32_t>(whole) << 16);
}

}  // namespace

int compositeChannelCount(std::int32_t imageMode, int planes) {
  int composite = 0;
  switch (imageMode) {
    case plugInModeBitmap:
    case plugInModeGrayScale:
    case plugInModeIndexedColor:
    case plugInModeDuotone:
    case plugInModeGray16:
    case plugInModeDuotone16:
    case plugInModeGray32:
      composite = 1;
      break;
    case plugInModeRGBColor:
    case plugInModeHSLColor:
    case plugInModeHSBColor:
    case plugInModeLabColor:
    case plugInModeRGB48:
    case plugInModeLab48:
    case plugInModeRGB96:
      composite = 3;
      break;
    case plugInModeCMYKColor:
    case plugInModeCMYK64:
      composite = 4;
      break;
    default:  // multichannel and anything unknown: every plane stands alone
      composite = planes;
      break;
  }
  return std::min(composite, planes);
}

DocumentInfo::DocumentInfo(const Document &document) : document_(document) {
  const int planes = static_cast<int>(document.planes.size());
  const int composite = compositeChannelCount(document.imageMode, planes);
  const VRect bounds{0, 0, document.height, document.width};

  channels_.resize(static_cast<std::size_t>(planes));
  names_.resize(static_cast<std::size_t>(planes));
  portTags_.resize(static_cast<std::size_t>(planes));

  for (int i = 0; i < planes; ++i) {
    const auto at = static_cast<std::size_t>(i);
    ReadChannelDesc &channel = channels_[at];
    channel = ReadChannelDesc{};
    channel.minVersion = kCurrentMinVersReadChannelDesc;
    channel.maxVersion = kCurrentMaxVersReadChannelDesc;
    channel.port = portOf(i);
    channel.bounds = bounds;
    channel.depth = document.depth;
    channel.tileSize = VPoint{kTileSize, kTileSize};
    channel.tileOrigin = VPoint{0, 0};
    channel.target = document.planes[at].targeted ? 1 : 0;
    channel.shown = 1;
    channel.isEnabled = 1;
    channel.limitBounds = bounds;
    if (i < composite) {
      const ChannelNaming naming = compositeNaming(document.imageMode, i);
      channel.channelType = naming.type;
      names_[at] = naming.name ? naming.name : "Channel " + std::to_string(i + 1);
    } else {
      // Saved selections: the painted area is the selected one.
      channel.channelType = ctColorSelected;
      channel.alphaID = static_cast<std::uint32_t>(i - composite + 1);
      names_[at] = "Alpha " + std::to_string(i - composite + 1);
    }
    channel.name = names_[at].c_str();
  }
  // Link the two lists: composites, then alphas.
  for (int i = 0; i + 1 < planes; ++i) {
    if (i + 1 != composite)
      channels_[static_cast<std::size_t>(i)].next = &channels_[static_cast<std::size_t>(i) + 1];
  }

  desc_.minVersion = kCurrentMinVersReadImageDocDesc;
  desc_.maxVersion = 3;  // the counts of version 3 are the newest fields we fill
  desc_.imageMode = document.imageMode;
  desc_.depth = document.depth;
  desc_.bounds = bounds;
  desc_.hResolution = toFixed(document.resolutionDpi);
  desc_.vResolution = toFixed(document.resolutionDpi);
  for (int v = 0; v < 256; ++v) {
    desc_.redLUT[v] = desc_.greenLUT[v] = desc_.blueLUT[v] = static_cast<std::uint8_t>(v);
  }
  desc_.targetCompositeChannels = composite > 0 ? &channels_[0] : nullptr;
  desc_.mergedCompositeChannels = desc_.targetCompositeChannels;
  desc_.alphaChannels =
      planes > composite ? &channels_[static_cast<std::size_t>(composite)] : nullptr;
  desc_.documentType = 0;
  if (!document.icc.empty()) {
    desc_.iCCprofileData = const_cast<std::uint8_t *>(document.icc.data());
    desc_.iCCprofileSize = static_cast<std::int32_t>(document.icc.size());
  }
  desc_.compositeChannelCount = composite;
  desc_.layerCount = 0;
  desc_.alphaChannelCount = planes - composite;
}

int DocumentInfo::planeOf(PIChannelPort port) const {
  const auto *tag = reinterpret_cast<const unsigned char *>(port);
  if (portTags_.empty() || tag < portTags_.data() || tag >= portTags_.data() + portTags_.size()) {
    return -1;
  }
  return static_cast<int>(tag - portTags_.data());
}

PIChannelPort DocumentInfo::portOf(int plane) {
  return reinterpret_cast<PIChannelPort>(&portTags_[static_cast<std::size_t>(plane)]);
}

}  // namespace hostemu
