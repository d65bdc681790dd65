// The lens database of the lensfun library: loaded once per process from the
// installed data, searched for cameras and lenses, and asked for a lens's
// distortion at a focal length (interpolated by the library).
//
// lensfun's searches write scores into the database's own records, so every
// call here holds the database's lock: one search at a time, from any thread.
#pragma once

#include <lensfun/lensfun.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "profiles/profile_conversion.h"

namespace ortavel::cli {

using profiles::CalibrationFrame;
using profiles::ConvertedDistortion;
using profiles::DatabaseDistortion;
using profiles::DistortionModel;

class LensDatabase {
 public:
  // The installed database, loaded on first use. Throws CliError (failure)
  // when the library finds no database.
  static const LensDatabase &shared();

  LensDatabase();
  ~LensDatabase();
  LensDatabase(const LensDatabase &) = delete;
  LensDatabase &operator=(const LensDatabase &) = delete;

  // The camera EXIF names, best match first; exact names before the
  // library's looser word matching ("MINOLTA CO.,LTD" finds "Minolta Co., Ltd.").
  std::vector<const lfCamera *> findCameras(const std::string &maker,
                                            const std::string &model) const;
  // Every camera, in the database's order.
  std::vector<const lfCamera *> cameras() const;

  // Lenses that fit `camera` and match the lens's name (and maker, when
  // known), most likely first.
  std::vector<const lfLens *> findLenses(const lfCamera *camera,
                                         const std::optional<std::string> &maker,
                                         const std::string &model) const;
  // The built-in lens of a fixed-lens camera (a compact or a phone), if the
  // database has a profile for it; null for interchangeable-lens cameras.
  const lfLens *fixedLensOf(const lfCamera *camera) const;
  // Every lens whose mount fits `camera`, in the database's order.
  std::vector<const lfLens *> lensesFitting(const lfCamera *camera) const;

  // Every camera and lens whose names contain all the words of `text` (case
  // ignored); an empty text matches all.
  std::vector<const lfCamera *> camerasMatching(const std::string &text) const;
  std::vector<const lfLens *> lensesMatching(const std::string &text) const;

  // The lens's distortion at `focalMm`; nullopt when it has no distortion
  // calibration or one of a model we do not know.
  std::optional<DatabaseDistortion> distortionAt(const lfLens *lens, double focalMm) const;

  std::size_t cameraCount() const;
  std::size_t lensCount() const;

 private:
  struct Free {
    void operator()(lfDatabase *db) const { lf_db_destroy(db); }
  };
  std::unique_ptr<lfDatabase, Free> db_;
  mutable std::mutex mutex_;
};

// Names as the database stores them (the EXIF spelling for cameras) and as
// it shows them in English, where it has a translation.
std::string cameraName(const lfCamera *camera);  // "Canon PowerShot S40"
// The camera's variant, where the database has several entries of its name
// ("16:9" of the DMC-LX3's modes, "DSC-F717" of the Cybershots); else empty.
std::string cameraVariant(const lfCamera *camera);
// The name `ortavel lenses` lists and --camera takes: the name, then the
// variant in brackets when there is one ("Panasonic DMC-LX3 (16:9)").
std::string cameraListName(const lfCamera *camera);
std::string lensName(const lfLens *lens);  // "Canon EF 24-105mm f/4L IS USM"
// Whether the camera has a fixed lens: the database gives such cameras a
// mount of their own, whose name starts with a small letter ("canonS30").
bool hasFixedLens(const lfCamera *camera);
// The distortion models of the lens's calibrations, "ptlens" or
// "poly3/poly5"; "none" when it has none.
std::string distortionModels(const lfLens *lens);

}  // namespace ortavel::cli
