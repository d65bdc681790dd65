// What a found lens profile says, whichever database served it (lensfun's
// own, or the lens table generated from it): the names, our lens model for
// the picture with its fit error, and where the calibration was made.
#pragma once

#include <string>

namespace ortavel::profiles {

struct ProfileFacts {
  std::string camera;      // as the database names it: "Canon PowerShot S40"
  std::string lens;        // "Canon PowerShot S30 & compatibles (Standard)"
  bool fixedLens = false;  // the camera's built-in lens, matched by the camera alone
  double focalLengthMm = 0.0;
  // Our model: k1, k2, zoom and the optical centre (the lens's own centre
  // shift, 0,0 for almost every lens), orientation 0, for this picture size;
  // and the largest distance in pixels between where it and the database
  // take each pixel from.
  double k1 = 0.0;
  double k2 = 0.0;
  double scale = 1.0;
  double centerX = 0.0;
  double centerY = 0.0;
  double fitErrorPx = 0.0;
  bool exact = false;
  // The database's model at that focal length ("ptlens") and the frame its
  // calibration was made on.
  std::string model;
  double cameraCropFactor = 1.0;
  double lensCropFactor = 1.0;
  double lensAspectRatio = 1.5;
};

}  // namespace ortavel::profiles
