// Pinhole calibration to lens model.
//
// With h = (D - 1) / 2 for the reference dimension D (the width, unturned), an
// output pixel x sits at normalised u = (x - (W - 1) / 2) / h - centerX from the
// model's centre, and the model sends it to u * f(r) * h + centerX * h +
// (W - 1) / 2. The calibration sends the same pixel to (x - cx) * f_cv(r_cv) + cx
// with r_cv = |x - c| / focal. Both agree for every pixel when
//   centerX * h + (W - 1) / 2 = cx       (the centres coincide), and
//   f(r) = f_cv(r * h / focal)           (same factor at the same point),
// that is centerX = (cx - (W - 1) / 2) / h, and with s = h / focal,
// k1 = k1_cv * s^2 and k2 = k2_cv * s^4. Vertically likewise, with the same h,
// since the model keeps one unit for both axes.
#include "calibration.h"

#include <cmath>
#include <stdexcept>

namespace ortavel {

lensdistort_model LensFromPinholeCalibration(const PinholeCalibration &calibration) {
  if (calibration.width < 2 || calibration.height < 1) {
    throw std::invalid_argument("calibration picture size must be at least 2x1 pixels");
  }
  if (!(calibration.fx > 0.0) || !(calibration.fy > 0.0)) {
    throw std::invalid_argument("calibration focal lengths must be positive");
  }
  const double half = (static_cast<double>(calibration.width) - 1.0) / 2.0;
  const double focal = std::sqrt(calibration.fx * calibration.fy);
  const double s = half / focal;

  lensdistort_model model{};
  model.centerX = (calibration.cx - (calibration.width - 1) / 2.0) / half;
  model.centerY = (calibration.cy - (calibration.height - 1) / 2.0) / half;
  model.k1 = calibration.k1 * s * s;
  model.k2 = calibration.k2 * s * s * s * s;
  model.radiusLimit = 0.0;
  model.scale = 1.0;
  model.imageWidth = calibration.width;
  model.imageHeight = calibration.height;
  model.orientation = 0;
  return model;
}

}  // namespace ortavel
