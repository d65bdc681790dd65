// The editor's seam to lens profiles: the two questions its `Auto` and
// `Fill` buttons ask. A build without lens profiles answers both with the
// reason they are unavailable, and the page disables the buttons with that
// reason as their tooltip; a build with profiles links an implementation of
// these functions that looks the lens up.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "correction_settings.h"
#include "filter_session.h"
#include "lens_profiles/photo_identity.h"

namespace ortavel::cli::ui {

// What the profile code may know of the photo: its file, its size in pixels,
// the camera as the plug-in's EXIF request reported it, the lens as the EXIF
// directory names it, and what the user named instead on the command line.
struct PhotoFacts {
  std::filesystem::path path;
  std::int32_t width = 0;
  std::int32_t height = 0;
  CameraInfo camera;
  std::optional<std::string> lensMake;
  std::optional<std::string> lensModel;
  ProfileOverrides overrides;
};

// An answer, or the reason there is none ("no profile for this lens").
template <typename T>
struct ProfileAnswer {
  std::optional<T> value;
  std::string reason;  // set when value is empty
};

// nullopt when lens profiles can be asked at all; otherwise the reason they
// cannot ("lens profiles are not available in this build").
std::optional<std::string> profilesUnavailable();

// `current` with the lens parameters of the photo's lens profile (k1, k2 and
// zoom, the centre at 0,0 and orientation 0, which profiles assume); method,
// radius limit and margins as they are.
ProfileAnswer<CorrectionSettings> autoSettings(const PhotoFacts &photo,
                                               const CorrectionSettings &current);

// The smallest zoom (`scale`) at which the correction `s` leaves no empty
// border in the photo's frame.
ProfileAnswer<double> fillScale(const PhotoFacts &photo, const CorrectionSettings &s);

}  // namespace ortavel::cli::ui
