// Lens profiles: the lens database's correction for a photograph, as the
// settings of our lens model. The one entry point the command line and the
// dialog share; it knows nothing of either.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "correction_settings.h"
#include "lens_profiles/photo_identity.h"
#include "profiles/profile_facts.h"

struct lfCamera;
struct lfLens;

namespace ortavel::cli {

struct LensProfile : profiles::ProfileFacts {
  std::string terms;  // the database model's coefficients: "a=0.007715 b=-0.026731 c=0"
  // The projection the database gives a lens that is not rectilinear
  // ("equisolid fisheye"); empty for a rectilinear one. Only its distortion
  // is converted, never the projection.
  std::string projection;
  // The database's records, for what else it knows of the lens (vignetting);
  // they live as long as the process's database.
  const lfCamera *cameraRecord = nullptr;
  const lfLens *lensRecord = nullptr;
};

// Either a profile or the reason there is none, worded for the user: what was
// read, what is missing and what to do, on a few lines.
struct ProfileLookup {
  std::optional<LensProfile> profile;
  std::string error;
};

// The profile for a width x height photograph (the picture itself, without
// margins). Throws CliError (failure) only when the database cannot be loaded.
ProfileLookup findLensProfile(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                              std::int32_t width, std::int32_t height);

// The database's camera for the photograph, found as the profile lookup
// finds it (by --camera's name, else the EXIF make and model; of several
// picture modes, the one of the picture's shape); null when there is none.
// Throws CliError (failure) only when the database cannot be loaded.
const lfCamera *photoCamera(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                            std::int32_t width, std::int32_t height);

// Puts the profile's k1, k2, zoom and optical centre into `s`, and the
// orientation at 0, which the profile assumes; the rest stays.
void applyProfile(const LensProfile &p, CorrectionSettings &s);

}  // namespace ortavel::cli
