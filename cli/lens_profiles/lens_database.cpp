#include "lens_database.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

#include "exit_codes.h"

namespace ortavel::cli {
namespace {

// lensfun returns searches as null-terminated arrays that the caller frees.
template <typename T>
std::vector<const T *> takeList(const T **list) {
  std::vector<const T *> out;
  if (list == nullptr) return out;
  for (const T **p = list; *p != nullptr; ++p) out.push_back(*p);
  lf_free(static_cast<void *>(list));
  return out;
}

std::string lower(std::string s) {
  for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::vector<std::string> words(const std::string &text) {
  std::vector<std::string> out;
  std::istringstream in(lower(text));
  for (std::string w; in >> w;) out.push_back(w);
  return out;
}

// Every text of a multi-language string: the default (the EXIF spelling),
// then each translation.
std::string allTexts(lfMLstr s) {
  std::string out;
  if (s == nullptr) return out;
  out = s;
  for (const char *p = s + std::char_traits<char>::length(s) + 1; *p != 0;) {
    p += std::char_traits<char>::length(p) + 1;  // language tag
    out += ' ';
    out += p;
    p += std::char_traits<char>::length(p) + 1;
  }
  return out;
}

bool containsAll(const std::string &haystack, const std::vector<std::string> &needles) {
  const std::string h = lower(haystack);
  return std::all_of(needles.begin(), needles.end(),
                     [&](const std::string &w) { return h.find(w) != std::string::npos; });
}

}  // namespace

std::string cameraName(const lfCamera *camera) {
  const std::string maker = camera->Maker ? camera->Maker : "";
  std::string model = camera->Model ? camera->Model : "";
  // Most EXIF models repeat the maker ("Canon" "Canon EOS 5D"); say it once.
  if (!maker.empty() && lower(model).rfind(lower(maker.substr(0, maker.find(' '))), 0) == 0)
    return model;
  const char *shortMaker = lf_mlstr_get(camera->Maker);
  return std::string(shortMaker ? shortMaker : maker.c_str()) + " " + model;
}

std::string cameraVariant(const lfCamera *camera) {
  const char *v = lf_mlstr_get(camera->Variant);
  return v != nullptr ? std::string(v) : std::string();
}

std::string cameraListName(const lfCamera *camera) {
  const std::string variant = cameraVariant(camera);
  return variant.empty() ? cameraName(camera) : cameraName(camera) + " (" + variant + ")";
}

std::string lensName(const lfLens *lens) {
  return lens->Model ? std::string(lens->Model) : std::string();
}

bool hasFixedLens(const lfCamera *camera) {
  return camera->Mount != nullptr && std::islower(static_cast<unsigned char>(camera->Mount[0]));
}

std::string distortionModels(const lfLens *lens) {
  std::set<std::string> names;
  for (auto **c = lens->CalibDistortion; c != nullptr && *c != nullptr; ++c) {
    switch ((*c)->Model) {
      case LF_DIST_MODEL_POLY3:
        names.insert("poly3");
        break;
      case LF_DIST_MODEL_POLY5:
        names.insert("poly5");
        break;
      case LF_DIST_MODEL_PTLENS:
        names.insert("ptlens");
        break;
      default:
        break;
    }
  }
  std::string out;
  for (const auto &n : names) out += (out.empty() ? "" : "/") + n;
  return out.empty() ? "none" : out;
}

const LensDatabase &LensDatabase::shared() {
  static const LensDatabase db;
  return db;
}

LensDatabase::LensDatabase() : db_(lf_db_new()) {
  if (!db_ || lf_db_load(db_.get()) != LF_NO_ERROR || cameraCount() == 0) {
    throw failure("cannot load the lens database (install the Debian package liblensfun-data-v1)");
  }
}

LensDatabase::~LensDatabase() = default;

std::size_t LensDatabase::cameraCount() const {
  std::size_t n = 0;
  for (auto *const *c = db_->GetCameras(); c != nullptr && c[n] != nullptr;) ++n;
  return n;
}

std::size_t LensDatabase::lensCount() const {
  std::size_t n = 0;
  for (auto *const *l = db_->GetLenses(); l != nullptr && l[n] != nullptr;) ++n;
  return n;
}

std::vector<const lfCamera *> LensDatabase::findCameras(const std::string &maker,
                                                        const std::string &model) const {
  std::lock_guard lock(mutex_);
  auto exact = takeList(db_->FindCameras(maker.c_str(), model.c_str()));
  if (!exact.empty()) return exact;
  return takeList(db_->FindCamerasExt(maker.c_str(), model.c_str(), 0));
}

std::vector<const lfCamera *> LensDatabase::cameras() const {
  std::lock_guard lock(mutex_);
  std::vector<const lfCamera *> out;
  for (auto *const *c = db_->GetCameras(); c != nullptr && *c != nullptr; ++c) out.push_back(*c);
  return out;
}

std::vector<const lfLens *> LensDatabase::findLenses(const lfCamera *camera,
                                                     const std::optional<std::string> &maker,
                                                     const std::string &model) const {
  std::lock_guard lock(mutex_);
  if (maker) {
    auto withMaker = takeList(db_->FindLenses(camera, maker->c_str(), model.c_str(), 0));
    if (!withMaker.empty()) return withMaker;
  }
  // Third-party lenses often carry the body's maker in LensMake, or none.
  return takeList(db_->FindLenses(camera, nullptr, model.c_str(), 0));
}

const lfLens *LensDatabase::fixedLensOf(const lfCamera *camera) const {
  if (!hasFixedLens(camera)) return nullptr;
  std::lock_guard lock(mutex_);
  const auto lenses = takeList(db_->FindLenses(camera, nullptr, nullptr, 0));
  for (const lfLens *l : lenses)
    if (l->CalibDistortion != nullptr && l->CalibDistortion[0] != nullptr) return l;
  return nullptr;
}

std::vector<const lfLens *> LensDatabase::lensesFitting(const lfCamera *camera) const {
  std::lock_guard lock(mutex_);
  return takeList(db_->FindLenses(camera, nullptr, nullptr, 0));
}

std::vector<const lfCamera *> LensDatabase::camerasMatching(const std::string &text) const {
  const auto w = words(text);
  std::lock_guard lock(mutex_);
  std::vector<const lfCamera *> out;
  for (auto *const *c = db_->GetCameras(); c != nullptr && *c != nullptr; ++c) {
    const std::string names =
        allTexts((*c)->Maker) + " " + allTexts((*c)->Model) + " " + allTexts((*c)->Variant);
    if (containsAll(names, w)) out.push_back(*c);
  }
  return out;
}

std::vector<const lfLens *> LensDatabase::lensesMatching(const std::string &text) const {
  const auto w = words(text);
  std::lock_guard lock(mutex_);
  std::vector<const lfLens *> out;
  for (auto *const *l = db_->GetLenses(); l != nullptr && *l != nullptr; ++l) {
    std::string names = allTexts((*l)->Maker) + " " + allTexts((*l)->Model);
    for (char **m = (*l)->Mounts; m != nullptr && *m != nullptr; ++m)
      names += std::string(" ") + *m;
    if (containsAll(names, w)) out.push_back(*l);
  }
  return out;
}

std::optional<DatabaseDistortion> LensDatabase::distortionAt(const lfLens *lens,
                                                             double focalMm) const {
  std::lock_guard lock(mutex_);
  lfLensCalibDistortion c{};
  if (!lens->InterpolateDistortion(static_cast<float>(focalMm), c)) return std::nullopt;
  DatabaseDistortion d;
  switch (c.Model) {
    case LF_DIST_MODEL_POLY3:
      d.model = DistortionModel::kPoly3;
      break;
    case LF_DIST_MODEL_POLY5:
      d.model = DistortionModel::kPoly5;
      break;
    case LF_DIST_MODEL_PTLENS:
      d.model = DistortionModel::kPtLens;
      break;
    default:
      return std::nullopt;
  }
  for (int i = 0; i < 3; ++i) d.terms[i] = c.Terms[i];
  return d;
}

}  // namespace ortavel::cli
