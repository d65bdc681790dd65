// Lens profiles without lensfun: a compact table of the lens database's
// cameras, lenses and distortion calibrations, generated at build time, and a
// matcher for the names a photograph's EXIF gives. The automation module uses
// it where the command uses the database itself; both convert through
// profile_conversion, so they arrive at the same k1, k2 and zoom.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "profiles/profile_facts.h"

namespace ortavel::profiles {

// What a photograph says about itself; empty strings and a focal length of 0
// mean the file does not hold the value.
struct TableQuery {
  std::string make;       // EXIF Make
  std::string model;      // EXIF Model
  std::string lensMake;   // EXIF LensMake
  std::string lensModel;  // EXIF LensModel, or a name the user picked
  double focalLengthMm = 0.0;
  std::int32_t width = 0;  // the picture in pixels
  std::int32_t height = 0;
  // What the user picked instead, if anything: a camera as `ortavel lenses`
  // lists it (replaces make and model), and whether lensModel is a name the
  // user picked (then the lens's make is not used, and a compact's own lens is
  // not taken in its stead).
  std::string camera;
  bool lensPicked = false;
  bool focalPicked = false;  // focalLengthMm is the user's, not the file's
};

using TableProfile = ProfileFacts;

// Either a profile or the reason there is none, worded for the user.
struct TableLookup {
  std::optional<TableProfile> profile;
  std::string error;
};

TableLookup findTableProfile(const TableQuery &query);

// The lenses a user may pick for the photograph's camera when its EXIF data
// names none: those of the camera's mount and crop factor with distortion
// data whose names hold every word of `search` (all of them for an empty
// one), best match first, each name once. A camera that is not in the table
// or has a built-in lens has nothing to pick (`interchangeable` false).
struct LensChoices {
  bool interchangeable = false;
  std::string camera;  // as the database names it
  std::vector<std::string> lenses;
};
LensChoices tableLensesFor(const std::string &make, const std::string &model,
                           const std::string &search);

// The attribution the database's licence asks for, for About boxes and
// notices.
const char *lensTableAttribution();

// Where the table came from: "lensfun 0.3.3 database: 883 cameras, 1171 lenses".
const char *lensTableSource();

}  // namespace ortavel::profiles
