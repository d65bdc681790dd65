// When the photograph does not name its lens, or names one the database does
// not know: the database's lenses that could have taken it, the ones that fit
// the camera's mount and cover the focal length, best first.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lens_profiles/lens_database.h"

namespace ortavel::cli {

struct LensCandidates {
  std::string mount;               // the camera's mount: "Canon EF-S"
  std::vector<std::string> names;  // distinct lens names, best first
};

// Best first: the lenses whose range is the one the file records (when it
// records one), then those with a distortion calibration, then those
// calibrated for a crop factor closest to the camera's.
LensCandidates candidateLenses(const LensDatabase &db, const lfCamera *camera, double focalMm,
                               std::optional<double> recordedMinMm,
                               std::optional<double> recordedMaxMm);

// One line for an explanation: "  lenses that fit ...: A; B; C (and 4 more)";
// empty when there is no candidate.
std::string candidatesLine(const LensCandidates &c, double focalMm, std::size_t shown = 8);

}  // namespace ortavel::cli
