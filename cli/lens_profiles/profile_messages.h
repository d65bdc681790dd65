// The texts the lens profiles show: the profile chosen, and for each way a
// lookup can fail, what was read, what is missing and what to do.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lens_profiles/lens_profile.h"
#include "lens_profiles/photo_identity.h"

namespace ortavel::cli::messages {

// "camera make "X", model "Y", lens not recorded, focal length 17.1 mm",
// then what the user gave instead, if anything.
std::string whatWasRead(const PhotoIdentity &photo, const ProfileOverrides &overrides);

std::string noExif(const PhotoIdentity &photo, const ProfileOverrides &overrides);
std::string cameraNotFound(const PhotoIdentity &photo, const ProfileOverrides &overrides);
std::string noFocalLength(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                          const std::string &camera, const std::string &lens);
// A camera with a built-in lens for which the database has no profile.
std::string fixedLensWithoutProfile(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                                    const std::string &camera);
std::string lensNotNamed(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                         const std::string &camera);
std::string lensNotFound(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                         const std::string &camera, const std::string &lens);
std::string noDistortionData(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                             const std::string &lens);
std::string focalOutOfRange(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                            const std::string &lens, double focal, double minFocal,
                            double maxFocal);
std::string notConvertible(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                           const std::string &lens, const std::string &why);

// One line: "Canon PowerShot S40, fixed lens, 21.3 mm, ptlens a=.. b=.. c=..".
std::string profileSummary(const LensProfile &p);
// One line: "k1 = .., k2 = .., zoom = .., fit error .. px".
std::string profileSettings(const LensProfile &p);
// What the user should know about how close the profile comes, one line
// each: a fit that misses by more than a pixel somewhere in the picture, a
// lens whose projection is not rectilinear. Empty when there is nothing.
std::vector<std::string> profileWarnings(const LensProfile &p);

// --fill could not find a zoom.
std::string cannotFill();
// The fill zoom folds the picture; `strongest` is the most negative k1 that
// does not fold at this k2, when there is one.
std::string fillFolds(double k1, double k2, std::optional<double> strongest);
// The editor's warning for the same.
std::string fillFoldsWarning(double k1, double k2);

}  // namespace ortavel::cli::messages
