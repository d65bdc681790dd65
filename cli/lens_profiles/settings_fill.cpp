#include "lens_profiles/settings_fill.h"

#include "profiles/fill_zoom.h"

namespace ortavel::cli {
namespace {

lensdistort_model lensOf(const CorrectionSettings &s) {
  return profiles::fillLens(s, static_cast<std::uint32_t>(s.orientation));
}

profiles::FillCanvas canvasOf(const CorrectionSettings &s, std::int32_t width,
                              std::int32_t height) {
  return {width, height, s.margins.top, s.margins.bottom, s.margins.left, s.margins.right};
}

}  // namespace

std::optional<double> fillZoom(const CorrectionSettings &s, std::int32_t width,
                               std::int32_t height) {
  return profiles::fillZoom(lensOf(s), canvasOf(s, width, height));
}

bool fillsCanvas(const CorrectionSettings &s, std::int32_t width, std::int32_t height) {
  return profiles::fillsCanvas(lensOf(s), canvasOf(s, width, height));
}

bool foldsAtZoom(const CorrectionSettings &s, std::int32_t width, std::int32_t height,
                 double zoom) {
  return profiles::foldsWithin(lensOf(s), canvasOf(s, width, height), zoom);
}

std::optional<double> strongestUnfoldedK1(const CorrectionSettings &s, std::int32_t width,
                                          std::int32_t height) {
  return profiles::strongestUnfoldedK1(lensOf(s), canvasOf(s, width, height));
}

}  // namespace ortavel::cli
