// Shared helpers of the run's end-to-end tests: documents with known pixels,
// descriptors carrying the automation step's settings and buffer addresses,
// a reference correction made with one direct call of the baseline kernel, and a switch that
// makes the system refuse new threads (so the run works without a pool).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "emulator/descriptor.h"
#include "emulator/document.h"
#include "emulator/host.h"
#include "geometry/lensdistort.h"

namespace runtest {

// Sample value of plane p at (x, y), stored at the document's depth.
using PixelFn = std::function<std::uint32_t(int p, int x, int y)>;

hostemu::Document MakeDocument(int width, int height, int depth, int planes, const PixelFn &value,
                               std::int16_t imageMode = 3);

std::uint32_t Sample(const hostemu::Document &doc, int p, int x, int y);

// The settings an automation step passes; unset fields stay out of the
// descriptor.
struct Settings {
  double k1 = 0.0, k2 = 0.0, centerX = 0.0, centerY = 0.0, radiusLimit = 0.0, scale = 1.0;
  std::uint32_t method = 0;  // "intM" enumeration value; 0 = not given
  std::int32_t top = 0, bottom = 0, left = 0, right = 0;
  // Addresses of the caller's buffers, passed as text.
  void *exifMake = nullptr, *exifModel = nullptr, *exifFocalLength = nullptr;
  void *previewCorrected = nullptr, *previewUncorrected = nullptr;
};

hostemu::Descriptor MakeDescriptor(const Settings &s);

// The lens model the filter builds from `s` for a document of w x h pixels.
lensdistort_model ModelFor(const Settings &s, int imageWidth, int imageHeight);

// The whole document corrected by one call of the kernel for (method id,
// depth), source and target both the full image, planes interleaved.
hostemu::Document ReferenceCorrection(const hostemu::Document &doc, std::uint32_t methodId,
                                      const lensdistort_model &model);

// While set, every pthread_create in this process fails with EAGAIN. Returns
// how many were refused since the previous call.
int RefuseThreads(bool refuse);

// Alert texts shown during the host's invocations.
std::vector<std::string> AlertTexts(const hostemu::Host &host);

}  // namespace runtest
