// The settings one photograph is corrected with: the command line's, with the
// lens database's profile for the photograph (--auto) and the zoom that
// leaves no empty border (--fill) put in.
#pragma once

#include <optional>
#include <string>

#include "command_line.h"
#include "filter_session.h"
#include "image_io/image.h"
#include "lens_profiles/lens_profile.h"

namespace ortavel::cli {

struct PhotoSettings {
  CorrectionSettings settings;
  std::optional<LensProfile> profile;             // with --auto
  std::optional<double> fillZoom;                 // with --fill, also in settings.scale
  std::optional<double> aperture = std::nullopt;  // the f-number EXIF records, with --auto
};

// With --vignetting, takes the profile's vignetting out of `img` (which
// settingsForPhoto found for it) and returns what was done; nothing
// otherwise. Throws CliError (bad input) when it cannot.
std::optional<std::string> correctPhotoVignetting(const CommandLine &cl,
                                                  const PhotoSettings &chosen, Image &img,
                                                  const std::string &label);

// What the photograph says about its camera and lens: make, model and focal
// length through the filter's EXIF request, the lens from the EXIF directory.
PhotoIdentity identifyPhoto(FilterSession &session, const Image &img, const std::string &label);

// Throws CliError (bad input) with the lookup's explanation when --auto finds
// no profile, or when --fill finds no zoom.
PhotoSettings settingsForPhoto(const CommandLine &cl, FilterSession &session, const Image &img,
                               const std::string &label);

}  // namespace ortavel::cli
