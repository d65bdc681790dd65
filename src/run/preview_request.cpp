#include "run/preview_request.h"

#include <cstring>
#include <memory>
#include <new>

#include "frame/globals.h"
#include "frame/host_services.h"
#include "frame/message.h"
#include "geometry/lensdistort.h"
#include "resample/interp.h"

namespace {

constexpr int32_t kConversionRun = 16000;  // pixels per colour conversion call
constexpr uint8_t kNoPreviewGrey = 200;

// The colour-space suite is needed only while the source preview is made; the
// guard gives it back on every way out, an exception from a suite included.
class ColorSpaceHolder {
 public:
  ColorSpaceHolder() : holder_{nullptr, kPSColorSpaceSuiteVersion1, kPSColorSpaceSuite, 0} {}
  ~ColorSpaceHolder() { Release(); }
  ColorSpaceHolder(const ColorSpaceHolder &) = delete;
  ColorSpaceHolder &operator=(const ColorSpaceHolder &) = delete;

  const PSColorSpaceSuite1 *Acquire() {
    return static_cast<const PSColorSpaceSuite1 *>(SuiteHolderAcquire(&holder_));
  }
  void Release() {
    if (holder_.suite != nullptr) SuiteHolderRelease(&holder_);
  }

 private:
  SuiteHolder holder_;
};

// Zeroed, so that bytes no channel fills are the same on every run.
std::unique_ptr<uint8_t[]> NewPixels(size_t bytes) {
  return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[bytes]());
}

// Reads the targeted composite channels, scaled to the request, into 4-byte
// pixels, converts them to monitor RGB and hands them to the request.
void ReadSourcePreview(const PreviewBuffer &request, const ReadImageDocumentDesc &doc, int16_t mode,
                       int32_t total, int32_t targeted, ColorSpaceHolder &colorSpace) {
  const VPoint size = GetImageSize();
  PSScaling scaling;
  scaling.sourceRect = VRect{0, 0, size.v, size.h};
  scaling.destinationRect = VRect{0, 0, request.height, request.width};
  if (targeted == 1) {  // a single channel is shown as grey
    mode = plugInModeGrayScale;
    total = 1;
  }

  const int32_t pixelCount = request.width * request.height;
  const size_t bytes = static_cast<size_t>(pixelCount) * 4;
  std::unique_ptr<uint8_t[]> read = NewPixels(bytes);
  std::unique_ptr<uint8_t[]> converted = NewPixels(bytes);
  if (read == nullptr || converted == nullptr) {
    *gResult = memFullErr;
    return;
  }

  // Channels that will not be read must still look neutral after conversion.
  if (total != targeted) {
    uint8_t neutral[4] = {0, 0, 0, 0};
    if (mode == plugInModeCMYKColor) {
      neutral[1] = neutral[2] = neutral[3] = 255;
    } else if (mode == plugInModeLabColor) {
      neutral[1] = neutral[2] = neutral[3] = 128;
    }
    for (int32_t i = 0; i < pixelCount; i++) std::memcpy(&read[i * 4], neutral, 4);
  }

  PixelMemoryDesc memory;
  memory.data = read.get();
  memory.rowBits = request.width * 32;
  memory.colBits = 32;
  memory.bitOffset = (4 - total) * 8;
  memory.depth = 8;
  for (const ReadChannelDesc *channel = doc.targetCompositeChannels; channel != nullptr;
       channel = channel->next) {
    const auto *ports =
        static_cast<const PSChannelPortsSuite1 *>(SuiteHolderAcquire(&sPSChannelProcs));
    Boolean canRead = 0;
    if (ports->CanRead(channel->port, &canRead) != kSPNoError) {
      *gResult = errPlugInHostInsufficient;
      return;
    }
    if (canRead && channel->target) {
      if (targeted == 1) memory.bitOffset = 24;
      VRect readRect = scaling.destinationRect;
      ports = static_cast<const PSChannelPortsSuite1 *>(SuiteHolderAcquire(&sPSChannelProcs));
      if (ports->ReadScaledPixels(channel->port, &readRect, &scaling, &memory) != kSPNoError) {
        *gResult = errPlugInHostInsufficient;
        return;
      }
    }
    memory.bitOffset += 8;
  }

  // A final call of 0 pixels follows a count that fills its last run exactly.
  const auto space = static_cast<int16_t>(CSModeToSpace(mode));
  int32_t offset = 0;
  int32_t count = 0;
  do {
    count = pixelCount - offset < kConversionRun ? pixelCount - offset : kConversionRun;
    const PSColorSpaceSuite1 *suite = colorSpace.Acquire();
    suite->ConvertToMonitorRGB(space, reinterpret_cast<Color8 *>(&read[offset * 4]),
                               reinterpret_cast<Color8 *>(&converted[offset * 4]),
                               static_cast<int16_t>(count));
    offset += count;
  } while (count == kConversionRun);
  CreateDeviceIndependentBitmap(converted.get(), request.width);
}

void ServeSourcePreview(PreviewBuffer &request) {
  const ReadImageDocumentDesc *doc = gFilterRecord->documentInfo;
  int32_t total = 0;
  int32_t targeted = 0;
  if (doc != nullptr) {
    for (const ReadChannelDesc *c = doc->targetCompositeChannels; c != nullptr; c = c->next) {
      total++;
      if (c->target) targeted++;
    }
  }

  ColorSpaceHolder colorSpace;
  if (total == 0 || targeted == 0) {
    Message(
        "Could not find any target composite channels.\nYou e.g. marked an alpha channel or are "
        "using multichannel.\n\nCannot show any preview.\nThe transformation, of the marked "
        "channel(s), will work though.");
    std::memset(request.pixels, kNoPreviewGrey,
                static_cast<size_t>(request.height) * static_cast<size_t>(request.rowBytes));
  } else {
    ReadSourcePreview(request, *doc, static_cast<int16_t>(doc->imageMode), total, targeted,
                      colorSpace);
  }
  colorSpace.Release();
  if (*gResult != 0) return;
  request.pending = 0;
}

// Resamples the source preview into the corrected one, on this thread, with
// the 8-bit kernel of the chosen method.
void ServeCorrectedPreview(PreviewBuffer &request, const PreviewBuffer &source) {
  FilterParameters *params = gParams;
  const interp_method *method = interp_get_method(static_cast<uint32_t>(params->interpolation), 1);
  if (method == nullptr) {  // the descriptor reader never lets this happen
    *gResult = filterBadParameters;
    return;
  }

  const VPoint size = GetImageSize();
  const int32_t W = size.h;
  const int32_t H = size.v;
  const int32_t L = params->cropLeft;
  const int32_t R = params->cropRight;
  const int32_t T = params->cropTop;
  // a: scale of the source preview; b: of the corrected one, which also
  // spans the left and right margins.
  const double a = static_cast<double>(source.width) / static_cast<double>(W);
  const double b = static_cast<double>(request.width) / static_cast<double>(W + L + R);

  // The model now works on the source preview; it stays so for this run.
  params->imageWidth = source.width;
  params->imageHeight = source.height;
  params->scale = params->scale * (b / a);

  interp_source src;
  src.data = source.pixels;
  src.origin_x = 0.0;
  src.origin_y = 0.0;
  src.width = source.width;
  src.height = source.height;
  src.row_stride = source.rowBytes;
  src.pixel_stride = 3;
  src.channels = 3;
  src.max_value = 255;

  interp_target dst;
  dst.data = request.pixels;
  dst.origin_x = W * 0.5 * (a - b) - L * b;
  dst.origin_y = (a - b) * (H * 0.5) - T * b;
  dst.width = request.width;
  dst.height = request.height;
  dst.row_stride = request.rowBytes;
  dst.pixel_stride = 3;
  dst.channels = 3;
  dst.max_value = 255;

  method->kernel(&src, &dst, lensdistort_transform_point, FilterParametersModel(params));
  if (*gResult != 0) return;
  request.pending = 0;
  *gResult = userCanceledErr;
}

}  // namespace

void CreateDeviceIndependentBitmap(const uint8_t *buffer, int32_t pixelsPerRow) {
  const PreviewBuffer &request = *gParams->previewUncorrected;
  for (int32_t y = 0; y < request.height; y++) {
    const uint8_t *from = buffer + static_cast<size_t>(y) * pixelsPerRow * 4;
    uint8_t *to = request.pixels + static_cast<size_t>(y) * request.rowBytes;
    for (int32_t x = 0; x < request.width; x++) {
      to[x * 3 + 0] = from[x * 4 + 1];
      to[x * 3 + 1] = from[x * 4 + 2];
      to[x * 3 + 2] = from[x * 4 + 3];
    }
  }
}

void DoPreviewRequests(void) {
  FilterParameters *params = gParams;
  if (params->previewUncorrected != nullptr && params->previewUncorrected->pending != 0) {
    ServeSourcePreview(*params->previewUncorrected);
    if (*gResult != 0) return;
  }
  PreviewBuffer *corrected = params->previewCorrected;
  if (corrected == nullptr || corrected->pending == 0) {
    *gResult = userCanceledErr;
    return;
  }
  if (params->previewUncorrected == nullptr) {  // nothing to correct from
    *gResult = filterBadParameters;
    return;
  }
  ServeCorrectedPreview(*corrected, *params->previewUncorrected);
}
