#include "lens_presets.h"

namespace ortavel::cli {

const std::vector<LensPreset> &lensPresets() {
  // The bundled demo photograph's lens; its coefficients are a first estimate
  // until the fitted calibration replaces them.
  static const std::vector<LensPreset> presets = {
      {"demo", "the camera of the bundled demo photograph (testdata/demo/0_left.jpg)", -0.2, 0.05,
       0.0, 0.0},
  };
  return presets;
}

std::optional<LensPreset> findLensPreset(std::string_view name) {
  for (const auto &p : lensPresets())
    if (p.name == name) return p;
  return std::nullopt;
}

}  // namespace ortavel::cli
