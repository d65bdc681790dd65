#include "profiles/lens_table.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "profiles/lens_table_data.h"
#include "profiles/lens_table_search.h"
#include "profiles/profile_lookup.h"

namespace ortavel::profiles {
namespace {

using Camera = const lensdata::Camera *;
using Lens = const lensdata::Lens *;

std::size_t indexOf(Camera c) {
  return static_cast<std::size_t>(c - lensdata::kCameras);
}
std::size_t indexOf(Lens l) {
  return static_cast<std::size_t>(l - lensdata::kLenses);
}

std::string lower(std::string s) {
  for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// The table behind the lookup, answering as the command's lens database does.
struct TableDb {
  std::vector<Camera> cameras() const {
    std::vector<Camera> out;
    out.reserve(lensdata::kCameraCount);
    for (std::size_t i = 0; i < lensdata::kCameraCount; ++i) out.push_back(&lensdata::kCameras[i]);
    return out;
  }

  static std::vector<Camera> toCameras(const std::vector<std::size_t> &found) {
    std::vector<Camera> out;
    out.reserve(found.size());
    for (const std::size_t i : found) out.push_back(&lensdata::kCameras[i]);
    return out;
  }
  static std::vector<Lens> toLenses(const std::vector<std::size_t> &found) {
    std::vector<Lens> out;
    out.reserve(found.size());
    for (const std::size_t i : found) out.push_back(&lensdata::kLenses[i]);
    return out;
  }

  std::vector<Camera> findCameras(const std::string &maker, const std::string &model) const {
    auto exact = table::findCamerasExact(maker, model);
    if (!exact.empty()) return toCameras(exact);
    return toCameras(table::findCamerasWords(maker, model));
  }

  std::vector<Lens> findLenses(Camera camera, const std::optional<std::string> &maker,
                               const std::string &model) const {
    if (maker) {
      auto withMaker = table::findLenses(indexOf(camera), maker, model);
      if (!withMaker.empty()) return toLenses(withMaker);
    }
    // Third-party lenses often carry the body's maker in LensMake, or none.
    return toLenses(table::findLenses(indexOf(camera), std::nullopt, model));
  }

  static bool fixed(Camera camera) {
    const table::CameraInfo c = table::cameraInfo(indexOf(camera));
    return !c.mount.empty() && std::islower(static_cast<unsigned char>(c.mount[0])) != 0;
  }

  Lens fixedLensOf(Camera camera) const {
    if (camera == nullptr || !fixed(camera)) return nullptr;
    for (const std::size_t l : table::findLenses(indexOf(camera), std::nullopt, ""))
      if (lensdata::kLenses[l].calibrationCount > 0) return &lensdata::kLenses[l];
    return nullptr;
  }

  CameraFacts cameraFacts(Camera camera) const {
    const table::CameraInfo c = table::cameraInfo(indexOf(camera));
    CameraFacts f;
    // Most EXIF models repeat the maker ("Canon" "Canon EOS 5D"); say it once.
    if (!c.maker.empty() &&
        lower(c.model).rfind(lower(c.maker.substr(0, c.maker.find(' '))), 0) == 0)
      f.name = c.model;
    else
      f.name = c.makerEnglish + " " + c.model;
    f.variant = c.variant;
    f.cropFactor = c.cropFactor;
    f.fixedLens = fixed(camera);
    return f;
  }

  LensFacts lensFacts(Lens lens) const {
    const table::LensInfo l = table::lensInfo(indexOf(lens));
    LensFacts f;
    f.name = l.model;
    f.minFocal = l.minFocal;
    f.maxFocal = l.maxFocal;
    f.cropFactor = l.cropFactor;
    f.aspectRatio = l.aspectRatio;
    f.centerX = l.centerX;
    f.centerY = l.centerY;
    return f;
  }

  std::optional<DatabaseDistortion> distortionAt(Lens lens, double focalMm) const {
    const auto c = table::interpolateDistortion(indexOf(lens), static_cast<float>(focalMm));
    if (!c) return std::nullopt;
    DatabaseDistortion d;
    switch (c->model) {
      case 1:
        d.model = DistortionModel::kPoly3;
        break;
      case 2:
        d.model = DistortionModel::kPoly5;
        break;
      case 3:
        d.model = DistortionModel::kPtLens;
        break;
      default:
        return std::nullopt;
    }
    for (int i = 0; i < 3; ++i) d.terms[i] = c->terms[i];
    return d;
  }
};

std::optional<std::string> given(const std::string &s) {
  return s.empty() ? std::nullopt : std::optional<std::string>(s);
}

}  // namespace

TableLookup findTableProfile(const TableQuery &query) {
  PhotoIdentity photo;
  ProfileOverrides overrides;
  photo.make = given(query.make);
  photo.model = given(query.model);
  if (query.focalLengthMm != 0.0) {
    if (query.focalPicked)
      overrides.focalLengthMm = query.focalLengthMm;
    else
      photo.focalLengthMm = query.focalLengthMm;
  }
  photo.lensMake = given(query.lensMake);
  if (query.lensPicked)
    overrides.lensModel = given(query.lensModel);
  else
    photo.lensModel = given(query.lensModel);
  overrides.camera = given(query.camera);

  const auto r = lookupProfile(TableDb{}, photo, overrides, query.width, query.height);
  if (!r.error.empty()) return {std::nullopt, r.error};
  return {profileFacts(r), {}};
}

LensChoices tableLensesFor(const std::string &make, const std::string &model,
                           const std::string &search) {
  LensChoices out;
  if (make.empty() && model.empty()) return out;
  const TableDb db;
  const std::vector<Camera> cameras = db.findCameras(make, model);
  if (cameras.empty() || TableDb::fixed(cameras.front())) return out;
  out.interchangeable = true;
  out.camera = cameraListName(db.cameraFacts(cameras.front()));
  for (const std::size_t l : table::findLenses(indexOf(cameras.front()), std::nullopt, search)) {
    if (lensdata::kLenses[l].calibrationCount == 0) continue;
    std::string name = table::lensInfo(l).model;
    if (std::find(out.lenses.begin(), out.lenses.end(), name) == out.lenses.end())
      out.lenses.push_back(std::move(name));
  }
  return out;
}

const char *lensTableAttribution() {
  return "Lens profiles from the lensfun database (https://lensfun.github.io), "
         "by the lensfun contributors, licensed under CC BY-SA 3.0 "
         "(https://creativecommons.org/licenses/by-sa/3.0/).";
}

const char *lensTableSource() {
  return lensdata::kSource;
}

}  // namespace ortavel::profiles
