// The zoom that leaves no empty border: the smallest `scale` at which every
// output pixel (the picture and its margins) takes its colour from inside
// the photograph, with the filter's own lens model.
#pragma once

#include <cstdint>
#include <optional>

#include "geometry/lensdistort.h"

namespace ortavel::profiles {

// The canvas the filter writes: the picture and the margins around it, in
// pixels.
struct FillCanvas {
  std::int32_t width = 0;  // the picture, without margins
  std::int32_t height = 0;
  std::int32_t top = 0;
  std::int32_t bottom = 0;
  std::int32_t left = 0;
  std::int32_t right = 0;
};

// `lens` gives k1, k2, centre, radius limit and orientation; its scale and
// image size are ignored. nullopt when no zoom fills the canvas: the optical centre lies
// outside the picture, or a radius limit keeps every point inside at any zoom.
std::optional<double> fillZoom(const lensdistort_model &lens, const FillCanvas &canvas);

// Whether every output pixel of the canvas maps inside the photograph with
// the settings as they are (scale included). Checks the canvas's border pixel
// by pixel, which decides it for any lens whose distorted radius grows with
// the radius, and a grid of inner pixels for the others.
bool fillsCanvas(const lensdistort_model &lens, const FillCanvas &canvas);

}  // namespace ortavel::profiles
