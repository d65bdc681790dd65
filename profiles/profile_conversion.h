// The lens database's distortion models turned into our lens model's k1, k2
// and zoom, for one picture size.
//
// The database's models map an undistorted radius to the distorted one, in
// units where r = 1 is half the shorter side of the calibration frame; that
// frame is matched to the picture through the crop factors (the picture's
// diagonal is the camera's sensor diagonal) and the calibration's aspect
// ratio. Ours maps an output radius to a source radius in units where r = 1
// is half the reference side (the width, orientation 0), after dividing by
// the zoom. In pixels about the picture's centre, ours gives a source radius
//   rho/s + k1 rho^3 / (s^3 R^2) + k2 rho^5 / (s^5 R^4),   R = (W - 1) / 2,
// an odd polynomial a1 rho + a3 rho^3 + a5 rho^5 with any three coefficients:
// poly5 and poly3 are such polynomials and convert exactly; ptlens also has
// even powers and is fitted, zoom included, so that the largest displacement
// over the picture (at any radius up to the corner's) is least.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace ortavel::profiles {

enum class DistortionModel { kPoly3, kPoly5, kPtLens };

std::string_view distortionModelName(DistortionModel m);

// A database model at one focal length: poly3 uses terms[0] (k1), poly5
// terms[0..1] (k1, k2), ptlens terms[0..2] (a, b, c).
struct DatabaseDistortion {
  DistortionModel model = DistortionModel::kPoly5;
  std::array<double, 3> terms{};
};

// Where the calibration was made, and on what the picture was taken.
struct CalibrationFrame {
  double lensCropFactor = 1.0;    // crop factor of the calibration camera
  double lensAspectRatio = 1.5;   // its frame's long side over its short side
  double cameraCropFactor = 1.0;  // crop factor of the camera of the picture
};

// The database's unit length (its r = 1) in pixels of a width x height
// picture.
double databaseUnitPixels(const CalibrationFrame &frame, std::int32_t width, std::int32_t height);

// The database model's distorted radius for the undistorted radius r, in its
// own units.
double databaseDistortedRadius(const DatabaseDistortion &d, double r);

struct ConvertedDistortion {
  double k1 = 0.0;
  double k2 = 0.0;
  double scale = 1.0;
  // Largest distance in pixels, over the whole frame, between the source
  // position our model gives and the one the database model gives: for a
  // fitted model the least any k1, k2 and zoom can give.
  double maxErrorPx = 0.0;
  bool exact = false;  // the model converts exactly (poly3, poly5)
};

// Our model (centre 0, orientation 0, no radius limit) for the database model
// on a width x height picture. Throws std::invalid_argument when the model
// cannot be expressed (a zero or negative linear term, a picture under 2
// pixels wide).
ConvertedDistortion convertDistortion(const DatabaseDistortion &d, const CalibrationFrame &frame,
                                      std::int32_t width, std::int32_t height);

}  // namespace ortavel::profiles
