// The zoom that leaves no empty border: the smallest `scale` at which every
// output pixel (the picture and its margins) takes its colour from inside
// the photograph, with the filter's own lens model.
#pragma once

#include <cstdint>
#include <optional>

#include "correction_settings.h"

namespace ortavel::cli {

// `s` gives the lens (k1, k2, centre, radius limit, orientation) and the
// margins; its scale is ignored. width and height are the picture's, without
// the margins. nullopt when no zoom fills the canvas: the optical centre lies
// outside the picture, or a radius limit keeps every point inside at any zoom.
std::optional<double> fillZoom(const CorrectionSettings &s, std::int32_t width,
                               std::int32_t height);

// Whether every output pixel of the canvas maps inside the photograph with
// the settings as they are (scale included). Checks the canvas's border pixel
// by pixel, which decides it for any lens whose distorted radius grows with
// the radius, and a grid of inner pixels for the others.
bool fillsCanvas(const CorrectionSettings &s, std::int32_t width, std::int32_t height);

}  // namespace ortavel::cli
