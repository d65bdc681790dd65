// The editor's `Auto` and `Fill` through the lens database, with the same
// lookup and fill rule as `ortavel correct --auto --fill`.
#include "exit_codes.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"
#include "lens_profiles/profile_messages.h"
#include "lens_profiles/settings_fill.h"
#include "lens_profiles/vignetting.h"
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
  std::vector<std::string> notes = {messages::profileSummary(*found.profile),
                                    messages::profileSettings(*found.profile)};
  for (auto &w : messages::profileWarnings(*found.profile)) notes.push_back(std::move(w));
  return {s, "", notes};
}

ProfileAnswer<Image> vignettingCorrected(const PhotoFacts &photo, const Image &image) {
  const ProfileLookup found =
      findLensProfile(photo.identity, photo.overrides, photo.width, photo.height);
  if (!found.profile) return {std::nullopt, found.error};
  const std::optional<double> aperture =
      photo.overrides.aperture ? photo.overrides.aperture : photo.identity.aperture;
  if (!aperture) {
    return {std::nullopt,
            "the file does not record the aperture (f-number), on which the vignetting "
            "depends; start the editor with --aperture F"};
  }
  Image out = image;
  try {
    std::string note = correctVignetting(out, *found.profile, *aperture);
    return {std::move(out), "", {std::move(note)}};
  } catch (const CliError &e) {
    return {std::nullopt, e.what()};
  }
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
