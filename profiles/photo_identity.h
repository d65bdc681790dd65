// What a photograph says about the camera and lens that took it, and what the
// user says instead. Plain data: no database, no command line; the command
// and the automation module share it.
#pragma once

#include <optional>
#include <string>

namespace ortavel::profiles {

// As read from the photograph: make, model and focal length as the filter's
// EXIF request answers them; the lens's make from the EXIF directory's
// LensMake (0xA433), its name from LensModel (0xA434) or, for bodies that
// name it only there, the maker note. Each is absent when the file does not
// hold it.
struct PhotoIdentity {
  std::optional<std::string> make;
  std::optional<std::string> model;
  std::optional<double> focalLengthMm;
  std::optional<std::string> lensMake;
  std::optional<std::string> lensModel;
  std::optional<double> aperture = std::nullopt;  // f-number (FNumber 0x829D), for vignetting
  // The lens's focal range where the file records it (maker notes do).
  std::optional<double> lensMinFocalMm = std::nullopt;
  std::optional<double> lensMaxFocalMm = std::nullopt;
};

// What the user names instead (--camera NAME, --lens-model TEXT, --focal MM,
// --aperture F); each replaces the photograph's own value.
struct ProfileOverrides {
  std::optional<std::string> camera;
  std::optional<std::string> lensModel;
  std::optional<double> focalLengthMm;
  std::optional<double> aperture = std::nullopt;
};

}  // namespace ortavel::profiles
