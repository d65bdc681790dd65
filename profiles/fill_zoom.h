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

// The lens model the fill computations take, from any settings record with
// the filter's fields `k1`, `k2`, `centerX`, `centerY`, `radiusLimit` and
// `scale` (the command's, the automation step's); `orientation` is the
// filter's orientation number, 0..7. The image size is left for the fill
// computations, which take it from the canvas.
template <typename Settings>
lensdistort_model fillLens(const Settings &s, std::uint32_t orientation) {
  lensdistort_model lens{};
  lens.centerX = s.centerX;
  lens.centerY = s.centerY;
  lens.k1 = s.k1;
  lens.k2 = s.k2;
  lens.radiusLimit = s.radiusLimit;
  lens.scale = s.scale;
  lens.orientation = orientation;
  return lens;
}

// `lens` gives k1, k2, centre, radius limit and orientation; its scale and
// image size are ignored. nullopt when no zoom fills the canvas: the optical centre lies
// outside the picture, or a radius limit keeps every point inside at any zoom.
std::optional<double> fillZoom(const lensdistort_model &lens, const FillCanvas &canvas);

// Whether every output pixel of the canvas maps inside the photograph with
// the settings as they are (scale included). Checks the canvas's border pixel
// by pixel, which decides it for any lens whose distorted radius grows with
// the radius, and a grid of inner pixels for the others.
bool fillsCanvas(const lensdistort_model &lens, const FillCanvas &canvas);

// Whether the model, at `zoom`, folds the canvas over itself: the source
// radius rd(r) = r (1 + k1 r² + k2 r⁴) (the radius limit's compression keeps
// its order) must grow with the output radius r all the way out to the
// canvas corner farthest from the optical centre. It grows while its
// derivative 1 + 3 k1 r² + 5 k2 r⁴ is positive.
bool foldsWithin(const lensdistort_model &lens, const FillCanvas &canvas, double zoom);

// The smallest radius, in the model's zoomed units, at which the source
// radius stops growing; infinity when it never does.
double foldRadius(double k1, double k2);

// The radius of the canvas corner farthest from the optical centre at this
// zoom, in the model's units (the picture's edge along its reference side
// lies at 1 when zoom is 1 and the centre in the middle).
double farthestCornerRadius(const lensdistort_model &lens, const FillCanvas &canvas, double zoom);

// For a fill that folds: the most negative k1, between `lens.k1` and 0,
// whose own fill zoom does not fold at this k2 (rounded towards 0 to
// `step`). nullopt when even k1 = 0 folds or fills nothing.
std::optional<double> strongestUnfoldedK1(const lensdistort_model &lens, const FillCanvas &canvas,
                                          double step = 1e-3);

}  // namespace ortavel::profiles
