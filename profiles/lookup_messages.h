// The texts a lens-profile lookup shows when it finds no profile: what was
// read, what is missing and what to do. The command and the automation module
// (through the lens table) word them alike.
#pragma once

#include <string>

#include "profiles/photo_identity.h"

namespace ortavel::profiles::messages {

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

}  // namespace ortavel::profiles::messages
