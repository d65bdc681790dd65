// Reference dimension and effective optical centre of a lens model: shared by
// the point transform and the row evaluator, so that both form them alike.
// Internal to the engines (C++ only).
#ifndef ORTAVEL_GEOMETRY_LENS_FRAME_H
#define ORTAVEL_GEOMETRY_LENS_FRAME_H

#include "geometry/lensdistort.h"
#include "ortavel_isa.h"

namespace ortavel_lens {
inline namespace ORTAVEL_ISA_NAMESPACE {

inline constexpr double kPi = 3.141592653589793;

struct Frame {
  double d_minus_1;  // reference dimension less one, formed in floating point
  double cx;
  double cy;
};

// The centre offsets are given in the unrotated picture's frame, so turned and
// mirrored orientations swap and negate them.
inline Frame frame_of(const lensdistort_model &m) {
  const double x = m.centerX;
  const double y = m.centerY;
  const double w = static_cast<double>(m.imageWidth);
  const double h = static_cast<double>(m.imageHeight);
  switch (m.orientation) {
    case 0:
      return {w - 1.0, x, y};
    case 1:
      return {h - 1.0, y, -x};
    case 2:
      return {w - 1.0, -x, -y};
    case 3:
      return {h - 1.0, -y, x};
    case 4:
      return {w - 1.0, -x, y};
    case 5:
      return {h - 1.0, -y, -x};
    case 6:
      return {w - 1.0, x, -y};
    case 7:
      return {h - 1.0, y, x};
    default:
      return {h - 1.0, 0.0, 0.0};  // unknown values: centred, by height
  }
}

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_lens

#endif
