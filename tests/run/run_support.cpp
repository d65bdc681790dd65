#include "run_support.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <tuple>
#include <utility>

#include "emulator/fourcc.h"
#include "resample/interp.h"
#include "resample/isa.h"

namespace {
bool gRefuse = false;
int gRefused = 0;
}  // namespace

// Interposes the C library's thread creation for the whole process, the
// plug-in module included, so a machine that grants no threads can be shown.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                              void *arg) noexcept {
  using Create = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
  static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (gRefuse) {
    gRefused++;
    return EAGAIN;
  }
  return real(thread, attr, start, arg);
}

namespace runtest {

using hostemu::fourCC;

// Samples are stored little-endian, as on the machines the host runs on.
hostemu::Document MakeDocument(int width, int height, int depth, int planes, const PixelFn &value,
                               std::int16_t imageMode) {
  hostemu::Document doc;
  std::tie(doc.width, doc.height, doc.depth, doc.imageMode) =
      std::tuple(width, height, depth, imageMode);
  const int bps = depth / 8;
  doc.planes.resize(planes);
  for (int p = 0; p < planes; p++) {
    doc.planes[p].samples.resize(static_cast<size_t>(width) * height * bps);
    for (int y = 0; y < height; y++) {
      for (int x = 0; x < width; x++) {
        const std::uint32_t v = value(p, x, y);
        std::memcpy(&doc.planes[p].samples[(static_cast<size_t>(y) * width + x) * bps], &v, bps);
      }
    }
  }
  return doc;
}

std::uint32_t Sample(const hostemu::Document &doc, int p, int x, int y) {
  const int bps = doc.bytesPerSample();
  std::uint32_t s = 0;
  std::memcpy(&s, &doc.planes[p].samples[(static_cast<size_t>(y) * doc.width + x) * bps], bps);
  return s;
}

hostemu::Descriptor MakeDescriptor(const Settings &s) {
  hostemu::Descriptor d;
  d.putFloat(fourCC("paK1"), s.k1)
      .putFloat(fourCC("paK2"), s.k2)
      .putFloat(fourCC("paXC"), s.centerX)
      .putFloat(fourCC("paYC"), s.centerY)
      .putFloat(fourCC("paFR"), s.radiusLimit)
      .putFloat(fourCC("scaF"), s.scale);
  if (s.method != 0) d.putEnumerated(fourCC("intM"), fourCC("intT"), s.method);
  for (const auto &[key, value] :
       {std::pair{"caTo", s.top}, {"caBo", s.bottom}, {"caLe", s.left}, {"caRi", s.right}}) {
    if (value != 0) d.putInteger(fourCC(key), value);
  }
  for (const auto &[key, address] : {std::pair{"exMa", s.exifMake},
                                     {"exMo", s.exifModel},
                                     {"exFo", s.exifFocalLength},
                                     {"prCo", s.previewCorrected},
                                     {"prUn", s.previewUncorrected}}) {
    char text[64];
    std::snprintf(text, sizeof text, "%p", address);
    if (address != nullptr) d.putString(fourCC(key), text);
  }
  return d;
}

lensdistort_model ModelFor(const Settings &s, int imageWidth, int imageHeight) {
  return {s.centerX, s.centerY, s.k1, s.k2, s.radiusLimit, s.scale, imageWidth, imageHeight, 0};
}

hostemu::Document ReferenceCorrection(const hostemu::Document &doc, std::uint32_t methodId,
                                      const lensdistort_model &model) {
  const int bps = doc.bytesPerSample(), planes = static_cast<int>(doc.planes.size());
  const int pixelStride = planes * bps, rowStride = doc.width * pixelStride;
  const size_t pixels = static_cast<size_t>(doc.width) * doc.height;
  std::vector<std::uint8_t> in(pixels * pixelStride), out(in.size());
  for (size_t i = 0; i < pixels; i++) {
    for (int p = 0; p < planes; p++) {
      std::memcpy(&in[i * pixelStride + p * bps], &doc.planes[p].samples[i * bps], bps);
    }
  }
  const int maxValue = doc.depth == 16 ? 32768 : 255;
  const interp_source source{in.data(), 0.0,         0.0,    doc.width, doc.height,
                             rowStride, pixelStride, planes, maxValue};
  const interp_target target{out.data(), 0.0,         0.0,    doc.width, doc.height,
                             rowStride,  pixelStride, planes, maxValue};
  // The baseline kernel, whatever this processor runs wider: the plug-in's
  // own choice (the widest) must give its bits.
  interp_get_kernel_isa(methodId, static_cast<std::uint32_t>(bps), INTERP_ISA_BASELINE)(
      &source, &target, lensdistort_transform_point, &model);
  hostemu::Document result = doc;
  for (size_t i = 0; i < pixels; i++) {
    for (int p = 0; p < planes; p++) {
      std::memcpy(&result.planes[p].samples[i * bps], &out[i * pixelStride + p * bps], bps);
    }
  }
  return result;
}

int RefuseThreads(bool refuse) {
  gRefuse = refuse;
  return std::exchange(gRefused, 0);
}

std::vector<std::string> AlertTexts(const hostemu::Host &host) {
  std::vector<std::string> texts;
  for (const auto &e : host.log().ofKind(hostemu::LogKind::Alert)) texts.push_back(e.field("text"));
  return texts;
}

}  // namespace runtest
