// The choices of a lens-profile lookup, written once for both ways of reading
// the lens database: the lensfun library (the command) and the generated lens
// table (the automation module). Given the same data and the same searches,
// both choose the same camera, lens and calibration and convert them alike.
//
// `Db` answers, for camera handles C and lens handles L (null: none):
//   std::vector<C> cameras() const;                          every camera
//   std::vector<C> findCameras(maker, model) const;          exact names first
//   std::vector<L> findLenses(C, optional maker, model) const;  best first
//   L fixedLensOf(C) const;
//   CameraFacts cameraFacts(C) const;  LensFacts lensFacts(L) const;
//   std::optional<DatabaseDistortion> distortionAt(L, double focal) const;
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "profiles/lookup_messages.h"
#include "profiles/photo_identity.h"
#include "profiles/profile_conversion.h"
#include "profiles/profile_facts.h"

namespace ortavel::profiles {

struct CameraFacts {
  std::string name;     // "Canon PowerShot S40": the maker once, in English
  std::string variant;  // "16:9", "DSC-F717"; empty for most
  double cropFactor = 1.0;
  bool fixedLens = false;
};

struct LensFacts {
  std::string name;
  double minFocal = 0.0;
  double maxFocal = 0.0;
  double cropFactor = 1.0;
  double aspectRatio = 1.5;
  double centerX = 0.0;  // the lens's optical centre, in the database's units
  double centerY = 0.0;
};

// The name `ortavel lenses` shows and --camera takes: "Panasonic DMC-LX3
// (16:9)" for one of several modes or twins of one name.
std::string cameraListName(const CameraFacts &c);

// The long side over the short side a variant states ("16:9", "4:3",
// "widescreen mode"); nullopt when it states none.
std::optional<double> variantAspectRatio(const std::string &variant);

// Of several entries for one camera name (its picture modes, or twins that
// report the same name), the index of the one that took a width x height
// picture: the mode of the picture's shape; else the entry without a stated
// shape (the camera's usual mode); else the first.
std::size_t chooseVariant(const std::vector<CameraFacts> &entries, std::int32_t width,
                          std::int32_t height);

// Of the entries for one lens name, calibrated on cameras of different crop
// factors, the index of the one that fits a camera of crop factor `crop`: the
// largest calibration frame that the camera's frame does not exceed (the
// largest crop factor not above the camera's); else `preferred`.
std::size_t chooseCalibrationFrame(const std::vector<LensFacts> &entries, double crop,
                                   std::size_t preferred);

// Our optical centre (centerX, centerY in the lens model's units, width as the
// reference side) for a lens centre given in the database's units.
void databaseCenterToModel(const CalibrationFrame &frame, double dbX, double dbY,
                           std::int32_t width, std::int32_t height, double &centerX,
                           double &centerY);

// The largest distance in pixels, over a grid of the frame, between where our
// model (k1, k2, zoom and centre) and the database model about its shifted
// centre take a pixel from.
double centredFitErrorPx(const DatabaseDistortion &d, const CalibrationFrame &frame,
                         const ConvertedDistortion &c, double centerX, double centerY,
                         std::int32_t width, std::int32_t height);

// Lenses are named by their nominal range; EXIF focal lengths of the ends
// may stray a little from it.
inline constexpr double kFocalSlack = 0.03;

template <typename C, typename L>
struct LookupResult {
  C camera{};
  L lens{};
  CameraFacts cameraFacts;
  LensFacts lensFacts;
  bool fixedLens = false;
  double focalLengthMm = 0.0;
  DatabaseDistortion distortion;
  CalibrationFrame frame;
  ConvertedDistortion converted;
  double centerX = 0.0;
  double centerY = 0.0;
  std::string error;  // empty: found
};

// The facts of a found profile, as both databases' profiles report them.
template <typename C, typename L>
ProfileFacts profileFacts(const LookupResult<C, L> &r) {
  ProfileFacts p;
  p.camera = cameraListName(r.cameraFacts);
  p.lens = r.lensFacts.name;
  p.fixedLens = r.fixedLens;
  p.focalLengthMm = r.focalLengthMm;
  p.k1 = r.converted.k1;
  p.k2 = r.converted.k2;
  p.scale = r.converted.scale;
  p.centerX = r.centerX;
  p.centerY = r.centerY;
  p.fitErrorPx = r.converted.maxErrorPx;
  p.exact = r.converted.exact;
  p.model = std::string(distortionModelName(r.distortion.model));
  p.cameraCropFactor = r.frame.cameraCropFactor;
  p.lensCropFactor = r.frame.lensCropFactor;
  p.lensAspectRatio = r.frame.lensAspectRatio;
  return p;
}

// Names equal but for case and runs of spaces.
bool sameName(const std::string &a, const std::string &b);

// A camera named as `ortavel lenses` lists it, or as "MAKER MODEL" or
// "MODEL"; all entries of that name, for chooseVariant.
template <typename Db>
auto camerasNamed(const Db &db, const std::string &text) {
  using C = typename decltype(db.cameras())::value_type;
  std::vector<C> listed, named;
  for (C c : db.cameras()) {
    const CameraFacts f = db.cameraFacts(c);
    if (sameName(cameraListName(f), text)) return std::vector<C>{c};
    if (sameName(f.name, text)) named.push_back(c);
  }
  if (!named.empty()) return named;
  // A maker of several words ("Konica Minolta"): every split of the text.
  for (std::size_t space = text.find(' '); space != std::string::npos;
       space = text.find(' ', space + 1)) {
    auto found = db.findCameras(text.substr(0, space), text.substr(space + 1));
    if (!found.empty()) return found;
  }
  return db.findCameras("", text);
}

template <typename Db>
auto lookupProfile(const Db &db, const PhotoIdentity &photo, const ProfileOverrides &overrides,
                   std::int32_t width, std::int32_t height) {
  using C = typename decltype(db.cameras())::value_type;
  using L = decltype(db.fixedLensOf(C{}));
  LookupResult<C, L> r;
  auto fail = [&](const std::string &message) {
    r.error = message;
    return r;
  };

  std::vector<C> cameras;
  if (overrides.camera) {
    cameras = camerasNamed(db, *overrides.camera);
  } else {
    // A make alone would match every camera of that maker.
    if (!photo.model) return fail(messages::noExif(photo, overrides));
    cameras = db.findCameras(photo.make.value_or(""), photo.model.value_or(""));
  }
  if (cameras.empty()) return fail(messages::cameraNotFound(photo, overrides));
  // The entries of the best match's name: its modes or twins.
  {
    std::vector<C> same;
    std::vector<CameraFacts> facts;
    const std::string first = db.cameraFacts(cameras.front()).name;
    for (C c : cameras) {
      CameraFacts f = db.cameraFacts(c);
      if (f.name != first) continue;
      same.push_back(c);
      facts.push_back(std::move(f));
    }
    const std::size_t pick = chooseVariant(facts, width, height);
    r.camera = same[pick];
    r.cameraFacts = facts[pick];
  }
  const std::string cameraText = cameraListName(r.cameraFacts);

  // The lens by its name when there is one; a fixed-lens camera's own lens
  // when the name finds nothing (compacts may record a name of their own).
  L lens{};
  const std::optional<std::string> lensText =
      overrides.lensModel ? overrides.lensModel : photo.lensModel;
  if (lensText) {
    const auto found =
        db.findLenses(r.camera, overrides.lensModel ? std::nullopt : photo.lensMake, *lensText);
    if (!found.empty()) {
      // The same lens calibrated on cameras of other crop factors: the one
      // that fits this camera.
      std::vector<L> same;
      std::vector<LensFacts> facts;
      const std::string first = db.lensFacts(found.front()).name;
      for (L l : found) {
        LensFacts f = db.lensFacts(l);
        if (f.name != first) continue;
        same.push_back(l);
        facts.push_back(std::move(f));
      }
      lens = same[chooseCalibrationFrame(facts, r.cameraFacts.cropFactor, 0)];
    }
  }
  if (!lens && !overrides.lensModel) {
    lens = db.fixedLensOf(r.camera);
    r.fixedLens = static_cast<bool>(lens);
  }
  if (!lens) {
    // A compact's name for its own lens need not be the database's.
    if (!overrides.lensModel && r.cameraFacts.fixedLens)
      return fail(messages::fixedLensWithoutProfile(photo, overrides, cameraText));
    if (lensText) return fail(messages::lensNotFound(photo, overrides, cameraText, *lensText));
    return fail(messages::lensNotNamed(photo, overrides, cameraText));
  }
  r.lens = lens;
  r.lensFacts = db.lensFacts(lens);
  const LensFacts &lf = r.lensFacts;

  // Only now: without a profile for the lens a focal length would not help.
  const std::optional<double> focal =
      overrides.focalLengthMm ? overrides.focalLengthMm : photo.focalLengthMm;
  if (!focal || !(*focal > 0.0) || !std::isfinite(*focal))
    return fail(messages::noFocalLength(photo, overrides, cameraText, lf.name));
  r.focalLengthMm = *focal;

  if (lf.minFocal > 0.0) {
    const double lo = lf.minFocal, hi = lf.maxFocal > 0.0 ? lf.maxFocal : lo;
    if (*focal < lo * (1.0 - kFocalSlack) || *focal > hi * (1.0 + kFocalSlack))
      return fail(messages::focalOutOfRange(photo, overrides, lf.name, *focal, lo, hi));
  }
  const auto distortion = db.distortionAt(lens, *focal);
  if (!distortion) return fail(messages::noDistortionData(photo, overrides, lf.name));
  r.distortion = *distortion;

  r.frame.lensCropFactor = lf.cropFactor;
  r.frame.lensAspectRatio = lf.aspectRatio;
  r.frame.cameraCropFactor = r.cameraFacts.cropFactor;
  try {
    r.converted = convertDistortion(r.distortion, r.frame, width, height);
  } catch (const std::invalid_argument &e) {
    return fail(messages::notConvertible(photo, overrides, lf.name, e.what()));
  }
  if (lf.centerX != 0.0 || lf.centerY != 0.0) {
    databaseCenterToModel(r.frame, lf.centerX, lf.centerY, width, height, r.centerX, r.centerY);
    r.converted.maxErrorPx =
        centredFitErrorPx(r.distortion, r.frame, r.converted, r.centerX, r.centerY, width, height);
    r.converted.exact = false;
  }
  return r;
}

}  // namespace ortavel::profiles
