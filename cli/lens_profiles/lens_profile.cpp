#include "lens_profile.h"

#include <cmath>
#include <cstdio>

#include "lens_profiles/lens_candidates.h"
#include "lens_profiles/lens_database.h"
#include "profiles/profile_lookup.h"

namespace ortavel::cli {
namespace {

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

// The database's name of a projection other than the rectilinear one.
std::string projectionName(lfLensType type) {
  switch (type) {
    case LF_FISHEYE:
      return "fisheye (equidistant)";
    case LF_PANORAMIC:
      return "panoramic (cylindrical)";
    case LF_EQUIRECTANGULAR:
      return "equirectangular";
    case LF_FISHEYE_ORTHOGRAPHIC:
      return "orthographic fisheye";
    case LF_FISHEYE_STEREOGRAPHIC:
      return "stereographic fisheye";
    case LF_FISHEYE_EQUISOLID:
      return "equisolid fisheye";
    case LF_FISHEYE_THOBY:
      return "fisheye (Thoby)";
    default:
      return "";
  }
}

// The lensfun database behind the shared lookup.
struct LensfunDb {
  const LensDatabase &db;

  std::vector<const lfCamera *> cameras() const { return db.cameras(); }
  std::vector<const lfCamera *> findCameras(const std::string &maker,
                                            const std::string &model) const {
    return db.findCameras(maker, model);
  }
  std::vector<const lfLens *> findLenses(const lfCamera *camera,
                                         const std::optional<std::string> &maker,
                                         const std::string &model) const {
    return db.findLenses(camera, maker, model);
  }
  const lfLens *fixedLensOf(const lfCamera *camera) const {
    return camera == nullptr ? nullptr : db.fixedLensOf(camera);
  }
  profiles::CameraFacts cameraFacts(const lfCamera *camera) const {
    profiles::CameraFacts f;
    f.name = cameraName(camera);
    f.variant = cameraVariant(camera);
    f.cropFactor = camera->CropFactor;
    f.fixedLens = hasFixedLens(camera);
    return f;
  }
  profiles::LensFacts lensFacts(const lfLens *lens) const {
    profiles::LensFacts f;
    f.name = lensName(lens);
    f.minFocal = lens->MinFocal;
    f.maxFocal = lens->MaxFocal;
    f.cropFactor = lens->CropFactor;
    f.aspectRatio = lens->AspectRatio;
    f.centerX = lens->CenterX;
    f.centerY = lens->CenterY;
    return f;
  }
  std::optional<DatabaseDistortion> distortionAt(const lfLens *lens, double focalMm) const {
    return db.distortionAt(lens, focalMm);
  }
};

}  // namespace

ProfileLookup findLensProfile(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                              std::int32_t width, std::int32_t height) {
  const auto r =
      profiles::lookupProfile(LensfunDb{LensDatabase::shared()}, photo, overrides, width, height);
  if (!r.error.empty()) {
    // A camera found but no lens for it: the lenses that could have taken
    // the picture, best first.
    const std::optional<double> focal =
        overrides.focalLengthMm ? overrides.focalLengthMm : photo.focalLengthMm;
    if (r.camera != nullptr && r.lens == nullptr && focal && *focal > 0.0 && std::isfinite(*focal))
      return {std::nullopt,
              r.error + candidatesLine(candidateLenses(LensDatabase::shared(), r.camera, *focal,
                                                       photo.lensMinFocalMm, photo.lensMaxFocalMm),
                                       *focal)};
    return {std::nullopt, r.error};
  }

  LensProfile p;
  static_cast<profiles::ProfileFacts &>(p) = profiles::profileFacts(r);
  p.terms = termsText(r.distortion);
  p.projection = projectionName(r.lens->Type);
  p.cameraRecord = r.camera;
  p.lensRecord = r.lens;
  return {p, {}};
}

const lfCamera *photoCamera(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                            std::int32_t width, std::int32_t height) {
  // The lookup keeps the camera it chose whether or not a lens follows.
  return profiles::lookupProfile(LensfunDb{LensDatabase::shared()}, photo, overrides, width, height)
      .camera;
}

void applyProfile(const LensProfile &p, CorrectionSettings &s) {
  s.k1 = p.k1;
  s.k2 = p.k2;
  s.scale = p.scale;
  s.centerX = p.centerX;
  s.centerY = p.centerY;
  s.orientation = 0;
}

}  // namespace ortavel::cli
