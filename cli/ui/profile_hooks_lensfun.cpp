// The editor's `Auto` and `Fill` through the lens database, with the same
// lookup and fill rule as `ortavel correct --auto --fill`.
#include <algorithm>
#include <cmath>
#include <map>

#include "exit_codes.h"
#include "lens_profiles/lens_candidates.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/lens_profile.h"
#include "lens_profiles/profile_messages.h"
#include "lens_profiles/settings_fill.h"
#include "lens_profiles/vignetting.h"
#include "profiles/profile_lookup.h"
#include "ui/profile_hooks.h"

namespace ortavel::cli::ui {

std::optional<std::string> profilesUnavailable() {
  return std::nullopt;
}

AutoAnswer autoSettings(const PhotoFacts &photo, const CorrectionSettings &current) {
  AutoAnswer a;
  const ProfileLookup found =
      findLensProfile(photo.identity, photo.overrides, photo.width, photo.height);
  if (!found.profile) {
    a.settings.reason = found.error;
    return a;
  }
  const LensProfile &p = *found.profile;
  CorrectionSettings s = current;
  applyProfile(p, s);
  a.settings.value = s;
  a.settings.notes = {messages::profileSummary(p), messages::profileSettings(p)};
  for (auto &w : messages::profileWarnings(p)) a.settings.notes.push_back(std::move(w));
  a.profile = ProfileInUse{p.camera, p.lens, p.focalLengthMm, p.fitErrorPx, p.exact};
  return a;
}

LensChoices lensChoices(const PhotoFacts &photo) {
  LensChoices out;
  const lfCamera *camera = photoCamera(photo.identity, photo.overrides, photo.width, photo.height);
  if (camera == nullptr) {
    // The lookup's own words for why: no make and model, or none it knows.
    out.reason = findLensProfile(photo.identity, photo.overrides, photo.width, photo.height).error;
    return out;
  }
  const LensDatabase &db = LensDatabase::shared();
  out.camera = cameraListName(camera);
  out.mount = camera->Mount != nullptr ? camera->Mount : "";
  const std::optional<double> focal =
      photo.overrides.focalLengthMm ? photo.overrides.focalLengthMm : photo.identity.focalLengthMm;
  std::vector<std::string> first;
  if (focal && *focal > 0.0 && std::isfinite(*focal)) {
    first = candidateLenses(db, camera, *focal, photo.identity.lensMinFocalMm,
                            photo.identity.lensMaxFocalMm)
                .names;
  }
  // One entry per name: the first the database holds (several are the same
  // lens calibrated on bodies of other crop factors).
  std::map<std::string, LensEntry> byName;
  for (const lfLens *l : db.lensesFitting(camera)) {
    const std::string name = lensName(l);
    if (name.empty() || byName.count(name) != 0) continue;
    LensEntry e;
    e.name = name;
    e.minFocalMm = l->MinFocal;
    e.maxFocalMm = l->MaxFocal > 0.0f ? l->MaxFocal : l->MinFocal;
    e.calibrated = l->CalibDistortion != nullptr && l->CalibDistortion[0] != nullptr;
    e.coversFocal = focal && e.minFocalMm > 0.0 &&
                    *focal >= e.minFocalMm * (1.0 - profiles::kFocalSlack) &&
                    *focal <= e.maxFocalMm * (1.0 + profiles::kFocalSlack);
    byName.emplace(name, std::move(e));
  }
  for (const std::string &name : first) {
    const auto it = byName.find(name);
    if (it == byName.end()) continue;
    out.lenses.push_back(std::move(it->second));
    byName.erase(it);
  }
  for (auto &[name, e] : byName) out.lenses.push_back(std::move(e));
  return out;
}

std::vector<std::string> cameraNames() {
  std::vector<std::string> names;
  for (const lfCamera *c : LensDatabase::shared().cameras()) names.push_back(cameraListName(c));
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
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
