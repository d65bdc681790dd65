// The texts the lens profiles show about the profile chosen; a failed
// lookup's texts are in profiles/lookup_messages.h.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lens_profiles/lens_profile.h"
#include "lens_profiles/photo_identity.h"

namespace ortavel::cli::messages {

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
