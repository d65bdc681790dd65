// Lens settings from a pinhole camera calibration.
//
// A pinhole calibration gives a focal length (fx, fy) and a principal point
// (cx, cy) in pixels, and a radial factor 1 + k1 r^2 + k2 r^4 that takes a point
// of the ideal (undistorted) picture, in units of the focal length, to where the
// lens puts it. Our lens model asks the same question, for every pixel of the
// corrected output: where in the photograph is it? It measures radii in units
// of half the reference dimension and places the centre relative to the middle
// of the picture, so only the units and the centre change.
#ifndef ORTAVEL_CLI_CALIBRATION_H
#define ORTAVEL_CLI_CALIBRATION_H

#include <cstdint>

#include "geometry/lensdistort.h"

namespace ortavel {

struct PinholeCalibration {
  int32_t width = 0;  // pixels of the calibrated pictures
  int32_t height = 0;
  double fx = 0.0;  // focal length, pixels
  double fy = 0.0;
  double cx = 0.0;  // principal point, pixels, pixel (i, j) centred at (i, j)
  double cy = 0.0;
  double k1 = 0.0;  // radial terms, normalised by the focal length
  double k2 = 0.0;
};

// The model that undoes the calibrated distortion on a picture of the
// calibrated size, unturned (orientation 0), with no radius limit and no zoom.
// Our model has one focal unit for both axes; the geometric mean of fx and fy
// stands in for both, which matters only for cameras with non-square pixels.
// Throws std::invalid_argument when the size or a focal length is not positive.
lensdistort_model LensFromPinholeCalibration(const PinholeCalibration &calibration);

// The left camera of a stereo rig, 1024x768, strong barrel distortion, fitted on
// four views of a chessboard (RMS 0.17 px).
inline constexpr PinholeCalibration kStereoRigLeftCalibration{1024,   768,    835.79,    838.13,
                                                              523.95, 401.05, -0.352762, 0.15694};

// LensFromPinholeCalibration(kStereoRigLeftCalibration), for the demo picture.
inline constexpr lensdistort_model kStereoRigLeftLens{/*centerX=*/0.024340175953079267,
                                                      /*centerY=*/0.034310850439882717,
                                                      /*k1=*/-0.13175421433753037,
                                                      /*k2=*/0.021892687963380134,
                                                      /*radiusLimit=*/0.0,
                                                      /*scale=*/1.0,
                                                      /*imageWidth=*/1024,
                                                      /*imageHeight=*/768,
                                                      /*orientation=*/0};

}  // namespace ortavel

#endif
