// Lens distortion model: inverse mapping from output pixels to source pixels.
//
// Every expression below keeps its operand order on purpose: the results feed
// integer-rounded samples, so a reordered product can change an output value.
#include "geometry/lensdistort.h"

#include <cmath>

#include "geometry/lens_frame.h"

using ortavel_lens::Frame;
using ortavel_lens::frame_of;
using ortavel_lens::kPi;

void lensdistort_transform_point(double x, double y, double *out_x, double *out_y,
                                 const void *model) {
  const lensdistort_model &m = *static_cast<const lensdistort_model *>(model);
  const Frame f = frame_of(m);
  // W - 1 and H - 1 are integer differences; only then converted.
  const double w1 = static_cast<double>(m.imageWidth - 1);
  const double h1 = static_cast<double>(m.imageHeight - 1);

  const double xn = (2.0 * x - w1) / f.d_minus_1;
  const double yn = (2.0 * y - h1) / f.d_minus_1;
  double u = xn / m.scale - f.cx;
  double v = yn / m.scale - f.cy;

  const double r = std::sqrt(u * u + v * v);
  if (r != 0.0) {
    const double factor = (r * m.k1 * r + 1.0) + r * m.k2 * r * r * r;
    double rd = factor * r;
    if (m.radiusLimit > 0.0) {
      // atan compression: rd tends to radiusLimit as the radius grows.
      const double c = (m.radiusLimit + m.radiusLimit) / kPi;
      rd = std::atan(rd / c) * c;
    }
    const double s = rd / r;
    u = u * s;
    v = v * s;
  }

  // Back to source pixels; the zoom is deliberately not undone here.
  *out_x = ((u + f.cx) * f.d_minus_1 + w1) * 0.5;
  *out_y = ((v + f.cy) * f.d_minus_1 + h1) * 0.5;
}

double lensdistort_image_center(double *out_x, double *out_y, const void *model) {
  const lensdistort_model &m = *static_cast<const lensdistort_model *>(model);
  const Frame f = frame_of(m);
  const double w1 = static_cast<double>(m.imageWidth - 1);
  const double h1 = static_cast<double>(m.imageHeight - 1);
  *out_x = (w1 + f.cx * f.d_minus_1 * m.scale) * 0.5;
  *out_y = (h1 + f.cy * f.d_minus_1 * m.scale) * 0.5;
  return *out_y;
}
