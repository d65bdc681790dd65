// What a photograph says about the camera and lens that took it, and what the
// user says instead: the profile libraries' records, under the command's names.
#pragma once

#include "profiles/photo_identity.h"

namespace ortavel::cli {

using profiles::PhotoIdentity;
using profiles::ProfileOverrides;

}  // namespace ortavel::cli
