// What a photograph says about the camera and lens that took it, and what the
// user says instead. Plain data: no database, no command line.
#pragma once

#include <optional>
#include <string>

namespace ortavel::cli {

// As read from the photograph: make, model and focal length as the filter's
// EXIF request answers them; the lens's make from the EXIF directory's
// LensMake (0xA433), its name from LensModel (0xA434) or, for bodies that
// name it only there, the maker note; the lens's focal range where the file
// records it. Each is absent when the file does not hold it.
struct PhotoIdentity {
  std::optional<std::string> make;
  std::optional<std::string> model;
  std::optional<double> focalLengthMm;
  std::optional<std::string> lensMake;
  std::optional<std::string> lensModel;
  std::optional<double> lensMinFocalMm{};
  std::optional<double> lensMaxFocalMm{};
};

// What the user names instead (--camera "MAKER MODEL", --lens-model TEXT,
// --focal MM); each replaces the photograph's own value.
struct ProfileOverrides {
  std::optional<std::string> camera;
  std::optional<std::string> lensModel;
  std::optional<double> focalLengthMm;
};

}  // namespace ortavel::cli
