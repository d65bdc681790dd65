// Named lens coefficients that `--lens NAME` selects, for lenses whose
// calibration ships with the command.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ortavel::cli {

struct LensPreset {
  std::string_view name;
  std::string_view description;
  double k1;
  double k2;
  double centerX;
  double centerY;
};

const std::vector<LensPreset> &lensPresets();
std::optional<LensPreset> findLensPreset(std::string_view name);

}  // namespace ortavel::cli
