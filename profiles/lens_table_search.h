// The lens table searched the way the lens database library searches itself:
// the same exact and word-by-word name matching, the same scores and the same
// order of results, the same interpolation between calibrated focal lengths.
// Cameras and lenses are indices into the table, in the library's order, so a
// result can be compared entry by entry with the library's own.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "profiles/profile_conversion.h"

namespace ortavel::profiles::table {

// The library's own single-precision calibration record, at one focal length.
struct Distortion {
  int model = 0;  // 1 poly3, 2 poly5, 3 ptlens
  float focal = 0.0f;
  float terms[3] = {0.0f, 0.0f, 0.0f};
};

std::size_t cameraCount();
std::size_t lensCount();

// Cameras whose maker and model equal the given ones (case and runs of
// spaces ignored), in table order; empty texts count as not given.
std::vector<std::size_t> findCamerasExact(const std::string &maker, const std::string &model);
// Cameras whose maker and model contain every word of the given ones, best
// score first.
std::vector<std::size_t> findCamerasWords(const std::string &maker, const std::string &model);
// Lenses for the camera (its mount and crop factor; none: any camera) that
// match the maker (when given) and every word of the model, best first.
std::vector<std::size_t> findLenses(std::optional<std::size_t> camera,
                                    const std::optional<std::string> &maker,
                                    const std::string &model);

// The calibration at `focal`, interpolated between calibrated focal lengths
// as the library does; nullopt when the lens has none.
std::optional<Distortion> interpolateDistortion(std::size_t lens, float focal);

// The focal range and aperture a lens name states ("10-22mm f/3.5-4.5",
// "1:2,8/50"), as the library reads it; zero where the name says nothing.
struct NameParameters {
  float minFocal = 0.0f;
  float maxFocal = 0.0f;
  float minAperture = 0.0f;
};
NameParameters guessLensParameters(const std::string &model);

struct CameraInfo {
  std::string maker;  // the default text (the EXIF spelling)
  std::string model;
  std::string variant;
  std::string makerEnglish;  // the English display name, the default when none
  std::string mount;
  float cropFactor = 0.0f;
};
CameraInfo cameraInfo(std::size_t camera);

struct LensInfo {
  std::string maker;
  std::string model;
  std::vector<std::string> mounts;
  float minFocal = 0.0f;
  float maxFocal = 0.0f;
  float centerX = 0.0f;
  float centerY = 0.0f;
  float cropFactor = 0.0f;
  float aspectRatio = 0.0f;
  int type = 0;
  std::size_t calibrationCount = 0;
};
LensInfo lensInfo(std::size_t lens);

// Every text of a camera's or lens's names (all translations), for word
// searches of the lists.
std::string cameraTexts(std::size_t camera);
std::string lensTexts(std::size_t lens);

}  // namespace ortavel::profiles::table
