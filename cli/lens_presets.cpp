#include "lens_presets.h"

#include "calibration.h"

namespace ortavel::cli {

const std::vector<LensPreset> &lensPresets() {
  // The bundled demo photograph's camera, from its chessboard calibration.
  static const std::vector<LensPreset> presets = {
      {"demo", "the camera of the bundled demo photograph (testdata/chessboard/0_left.jpg)",
       kStereoRigLeftLens.k1, kStereoRigLeftLens.k2, kStereoRigLeftLens.centerX,
       kStereoRigLeftLens.centerY},
  };
  return presets;
}

std::optional<LensPreset> findLensPreset(std::string_view name) {
  for (const auto &p : lensPresets())
    if (p.name == name) return p;
  return std::nullopt;
}

}  // namespace ortavel::cli
