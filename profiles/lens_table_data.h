// The records of the generated lens table: the lens database as the library
// holds it once loaded, in its own order (its searches depend on that order),
// with every number as the single-precision value it computes with.
//
// Texts live in one pool; a text is an offset into it (0: none) and ends with
// two zero bytes. A name with translations keeps the database's layout:
// "default\0lang\0translation\0...\0\0".
#pragma once

#include <cstddef>
#include <cstdint>

namespace ortavel::profiles::lensdata {

struct Mount {
  std::uint32_t name;
  std::uint32_t compat;  // first entry in kMountRefs: names of compatible mounts
  std::uint32_t compatCount;
};

struct Camera {
  std::uint32_t maker;
  std::uint32_t model;
  std::uint32_t variant;
  std::uint32_t mount;
  float cropFactor;
};

// The database's distortion model numbers: 1 poly3, 2 poly5, 3 ptlens.
struct Calibration {
  std::uint32_t model;
  float focal;
  float terms[3];
};

struct Lens {
  std::uint32_t maker;
  std::uint32_t model;
  float minFocal;
  float maxFocal;
  float minAperture;
  float maxAperture;
  std::uint32_t mounts;  // first entry in kMountRefs
  std::uint32_t mountCount;
  float centerX;
  float centerY;
  float cropFactor;
  float aspectRatio;
  std::uint32_t type;          // 1 rectilinear, 2 fisheye, ... as the database numbers them
  std::uint32_t calibrations;  // first entry in kCalibrations
  std::uint32_t calibrationCount;
};

extern const char kStrings[];
extern const std::uint32_t kMountRefs[];
extern const Mount kMounts[];
extern const std::size_t kMountCount;
extern const Camera kCameras[];
extern const std::size_t kCameraCount;
extern const Lens kLenses[];
extern const std::size_t kLensCount;
extern const Calibration kCalibrations[];
// Where the table came from: "lensfun 0.3.3 database: 1040 cameras, 1004 lenses".
extern const char kSource[];

}  // namespace ortavel::profiles::lensdata
