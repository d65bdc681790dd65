// The EXIF property and the image-mode to colour-space table.
#include <cstdint>

#include "frame/globals.h"
#include "frame/host_services.h"

extern "C" int16_t PIGetEXIFData(Handle *handle) {
  const auto *property = static_cast<const PropertyProcs *>(SuiteHolderAcquire(&sPSProperty));
  return property->getPropertyProc(kPhotoshopSignature, propEXIFData, 0, nullptr, handle);
}

extern "C" int32_t CSModeToSpace(int16_t mode) {
  // Indexed by plugInMode*: bitmap, indexed, multichannel and deep
  // multichannel have no colour-services space.
  static const int32_t kSpaceOfMode[] = {
      -1,                            // bitmap
      plugIncolorServicesGraySpace,  // grey
      -1,                            // indexed
      plugIncolorServicesRGBSpace,   // RGB
      plugIncolorServicesCMYKSpace,  // CMYK
      plugIncolorServicesHSLSpace,   // HSL
      plugIncolorServicesHSBSpace,   // HSB
      -1,                            // multichannel
      plugIncolorServicesGraySpace,  // duotone
      plugIncolorServicesLabSpace,   // Lab
      plugIncolorServicesGraySpace,  // grey 16
      plugIncolorServicesRGBSpace,   // RGB 48
      plugIncolorServicesLabSpace,   // Lab 48
      plugIncolorServicesCMYKSpace,  // CMYK 64
      -1,                            // deep multichannel
      plugIncolorServicesGraySpace,  // duotone 16
      plugIncolorServicesRGBSpace,   // RGB 96
      plugIncolorServicesGraySpace,  // grey 32
  };
  if (mode < 0 || mode >= static_cast<int16_t>(sizeof kSpaceOfMode / sizeof kSpaceOfMode[0])) {
    return -1;
  }
  return kSpaceOfMode[mode];
}
