// The editor's `Auto` and `Fill` through the lens database, with the same
// lookup and fill rule as `ortavel correct --auto --fill`.
#include "exit_codes.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"
#include "lens_profiles/profile_messages.h"
#include "lens_profiles/settings_fill.h"
#include "ui/profile_hooks.h"

namespace ortavel::cli::ui {

std::optional<std::string> profilesUnavailable() {
  return std::nullopt;
}

ProfileAnswer<CorrectionSettings> autoSettings(const PhotoFacts &photo,
                                               const CorrectionSettings &current) {
  const ProfileLookup found =
      findLensProfile(photo.identity, photo.overrides, photo.width, photo.height);
  if (!found.profile) return {std::nullopt, found.error};
  CorrectionSettings s = current;
  applyProfile(*found.profile, s);
  return {s, ""};
}

FillAnswer fillScale(const PhotoFacts &photo, const CorrectionSettings &s) {
  FillAnswer a;
  a.zoom.value = fillZoom(s, photo.width, photo.height);
  if (!a.zoom.value) {
    a.zoom.reason = messages::cannotFill();
    return a;
  }
  if (foldsAtZoom(s, photo.width, photo.height, *a.zoom.value)) {
    a.warning = messages::fillFoldsWarning(s.k1, s.k2);
    a.strongestK1 = strongestUnfoldedK1(s, photo.width, photo.height);
  }
  return a;
}

}  // namespace ortavel::cli::ui
