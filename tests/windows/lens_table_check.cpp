// Profiles from the lens table, printed to the bit: every lens at every
// calibrated focal length and 5 % above each, on a camera of each of its
// mounts (the camera and lens chosen, the database's terms, and our k1, k2,
// zoom and fit error); and the lenses the automation dialog's picker offers
// for a camera of each mount. Built in the Linux and the Windows
// tree; scripts/windows-test compares the two outputs, so the automation
// module finds on Windows what the command finds on Linux.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "profiles/lens_table.h"
#include "profiles/lens_table_data.h"
#include "profiles/lens_table_search.h"

int main() {
  using namespace ortavel::profiles;
  std::map<std::string, std::size_t> cameraOfMount;
  for (std::size_t i = 0; i < table::cameraCount(); ++i)
    cameraOfMount.emplace(table::cameraInfo(i).mount, i);
  std::printf("%s\n", lensTableSource());
  for (std::size_t li = 0; li < table::lensCount(); ++li) {
    const table::LensInfo lens = table::lensInfo(li);
    const lensdata::Lens &record = lensdata::kLenses[li];
    for (const std::string &mount : lens.mounts) {
      const auto camera = cameraOfMount.find(mount);
      if (camera == cameraOfMount.end()) continue;
      const table::CameraInfo c = table::cameraInfo(camera->second);
      for (std::uint32_t k = 0; k < 2 * record.calibrationCount; ++k) {
        TableQuery q;
        q.make = c.maker;
        q.model = c.model;
        q.lensModel = lens.model;
        // Each calibrated focal length, and one 5 % above it (interpolated).
        const float f = lensdata::kCalibrations[record.calibrations + k / 2].focal;
        q.focalLengthMm = k % 2 == 0 ? f : f * 1.05f;
        q.width = 240;
        q.height = 160;
        const TableLookup r = findTableProfile(q);
        if (!r.profile) {
          std::printf("%s | %s | %a: %s\n", c.model.c_str(), lens.model.c_str(), q.focalLengthMm,
                      r.error.c_str());
          continue;
        }
        const TableProfile &p = *r.profile;
        // The database's terms at that focal length, as the matcher found them.
        const auto terms = table::interpolateDistortion(li, static_cast<float>(q.focalLengthMm));
        std::printf("%s | %s | %a: %s %a %a %a", p.camera.c_str(), p.lens.c_str(), p.focalLengthMm,
                    p.model.c_str(), terms ? terms->terms[0] : 0.0f, terms ? terms->terms[1] : 0.0f,
                    terms ? terms->terms[2] : 0.0f);
        // Our model to the bit, the ptlens fits included.
        std::printf(" -> %a %a %a %a", p.k1, p.k2, p.scale, p.fitErrorPx);
        std::printf("\n");
      }
    }
  }
  // The picker's whole list (no search words) for a camera of each mount.
  for (const auto &[mount, camera] : cameraOfMount) {
    const table::CameraInfo c = table::cameraInfo(camera);
    const LensChoices choices = tableLensesFor(c.maker, c.model, "");
    std::printf("picker %s | %s | %d:", mount.c_str(), choices.camera.c_str(),
                choices.interchangeable ? 1 : 0);
    for (const std::string &lens : choices.lenses) std::printf(" [%s]", lens.c_str());
    std::printf("\n");
  }
  return 0;
}
