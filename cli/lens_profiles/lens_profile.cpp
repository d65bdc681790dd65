#include "lens_profile.h"

#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "lens_profiles/lens_candidates.h"
#include "lens_profiles/lens_database.h"
#include "lens_profiles/profile_messages.h"
#include "profiles/profile_conversion.h"

namespace ortavel::cli {
namespace {

// Lenses are named by their nominal range; EXIF focal lengths of the ends
// may stray a little from it.
constexpr double kFocalSlack = 0.03;

std::string termsText(const DatabaseDistortion &d) {
  char b[160];
  switch (d.model) {
    case DistortionModel::kPoly3:
      std::snprintf(b, sizeof b, "k1=%.7g", d.terms[0]);
      break;
    case DistortionModel::kPoly5:
      std::snprintf(b, sizeof b, "k1=%.7g k2=%.7g", d.terms[0], d.terms[1]);
      break;
    case DistortionModel::kPtLens:
      std::snprintf(b, sizeof b, "a=%.7g b=%.7g c=%.7g", d.terms[0], d.terms[1], d.terms[2]);
      break;
  }
  return b;
}

ProfileLookup fail(std::string message) {
  return {std::nullopt, std::move(message)};
}

}  // namespace

ProfileLookup findLensProfile(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                              std::int32_t width, std::int32_t height) {
  const LensDatabase &db = LensDatabase::shared();

  const lfCamera *camera = nullptr;
  if (overrides.camera) {
    camera = db.cameraByName(*overrides.camera);
  } else {
    // A make alone would match every camera of that maker.
    if (!photo.model) return fail(messages::noExif(photo, overrides));
    const auto found = db.findCameras(photo.make.value_or(""), photo.model.value_or(""));
    if (!found.empty()) camera = found.front();
  }
  if (camera == nullptr) return fail(messages::cameraNotFound(photo, overrides));
  const std::string cameraText = cameraName(camera);

  const std::optional<double> focal =
      overrides.focalLengthMm ? overrides.focalLengthMm : photo.focalLengthMm;
  if (!focal || !(*focal > 0.0) || !std::isfinite(*focal))
    return fail(messages::noFocalLength(photo, overrides, cameraText));

  // The lens by its name when there is one; a fixed-lens camera's own lens
  // when the name finds nothing (compacts may record a name of their own).
  const lfLens *lens = nullptr;
  const std::optional<std::string> lensText =
      overrides.lensModel ? overrides.lensModel : photo.lensModel;
  if (lensText) {
    const auto found =
        db.findLenses(camera, overrides.lensModel ? std::nullopt : photo.lensMake, *lensText);
    if (!found.empty()) lens = found.front();
  }
  bool fixed = false;
  if (lens == nullptr && !overrides.lensModel) {
    lens = db.fixedLensOf(camera);
    fixed = lens != nullptr;
  }
  if (lens == nullptr) {
    const std::string fits = candidatesLine(
        candidateLenses(db, camera, *focal, photo.lensMinFocalMm, photo.lensMaxFocalMm), *focal);
    if (lensText)
      return fail(messages::lensNotFound(photo, overrides, cameraText, *lensText) + fits);
    return fail(messages::lensNotNamed(photo, overrides, cameraText) + fits);
  }
  const std::string lensLabel = lensName(lens);

  if (lens->MinFocal > 0.0f) {
    const double lo = lens->MinFocal, hi = lens->MaxFocal > 0.0f ? lens->MaxFocal : lo;
    if (*focal < lo * (1.0 - kFocalSlack) || *focal > hi * (1.0 + kFocalSlack))
      return fail(messages::focalOutOfRange(photo, overrides, lensLabel, *focal, lo, hi));
  }
  const auto distortion = db.distortionAt(lens, *focal);
  if (!distortion) return fail(messages::noDistortionData(photo, overrides, lensLabel));

  CalibrationFrame frame;
  frame.lensCropFactor = lens->CropFactor;
  frame.lensAspectRatio = lens->AspectRatio;
  frame.cameraCropFactor = camera->CropFactor;
  ConvertedDistortion c;
  try {
    c = convertDistortion(*distortion, frame, width, height);
  } catch (const std::invalid_argument &e) {
    return fail(messages::notConvertible(photo, overrides, lensLabel, e.what()));
  }

  LensProfile p;
  p.camera = cameraText;
  p.lens = lensLabel;
  p.fixedLens = fixed;
  p.focalLengthMm = *focal;
  p.model = distortionModelName(distortion->model);
  p.terms = termsText(*distortion);
  p.cameraCropFactor = frame.cameraCropFactor;
  p.lensCropFactor = frame.lensCropFactor;
  p.lensAspectRatio = frame.lensAspectRatio;
  p.k1 = c.k1;
  p.k2 = c.k2;
  p.scale = c.scale;
  p.fitErrorPx = c.maxErrorPx;
  p.exact = c.exact;
  return {p, {}};
}

void applyProfile(const LensProfile &p, CorrectionSettings &s) {
  s.k1 = p.k1;
  s.k2 = p.k2;
  s.scale = p.scale;
  s.centerX = 0.0;
  s.centerY = 0.0;
  s.orientation = 0;
}

}  // namespace ortavel::cli
