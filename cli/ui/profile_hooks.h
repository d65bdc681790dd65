// The editor's two questions to the lens profiles, asked by its `Auto` and
// `Fill` buttons, answered as `ortavel correct --auto --fill` answers them.
// Where the lens database cannot be loaded the page disables both buttons,
// with the reason as their tooltip.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "correction_settings.h"
#include "image_io/image.h"
#include "lens_profiles/photo_identity.h"

namespace ortavel::cli::ui {

// What the profile code may know of the photo: its file, its size in pixels,
// its camera and lens as read (identifyPhoto), and what the user named
// instead on the command line.
struct PhotoFacts {
  std::filesystem::path path;
  std::int32_t width = 0;
  std::int32_t height = 0;
  PhotoIdentity identity;
  ProfileOverrides overrides;
};

// An answer, or the reason there is none ("no profile for this lens"), with
// what the user should know about it (one line each).
template <typename T>
struct ProfileAnswer {
  std::optional<T> value;
  std::string reason;  // set when value is empty
  std::vector<std::string> notes = {};
};

// Fill's answer: the zoom, or why there is none; and when that zoom folds
// the picture over itself, a warning and the most negative k1 that would not.
struct FillAnswer {
  ProfileAnswer<double> zoom;
  std::string warning;
  std::optional<double> strongestK1;
};

// nullopt when the lens database loads; otherwise the reason it does not.
std::optional<std::string> profilesUnavailable();

// The profile Auto applies: the database's camera and lens, the focal
// length, and how far the filter's model strays from the database's.
struct ProfileInUse {
  std::string camera;
  std::string lens;
  double focalLengthMm = 0.0;
  double fitErrorPx = 0.0;
  bool exact = false;
};

struct AutoAnswer {
  ProfileAnswer<CorrectionSettings> settings;
  std::optional<ProfileInUse> profile;  // with settings.value
};

// `current` with the lens parameters of the photo's lens profile (k1, k2 and
// zoom, the centre at 0,0 and orientation 0, which profiles assume); method,
// radius limit and margins as they are.
AutoAnswer autoSettings(const PhotoFacts &photo, const CorrectionSettings &current);

// A lens the editor's picker offers.
struct LensEntry {
  std::string name;
  double minFocalMm = 0.0;
  double maxFocalMm = 0.0;
  bool calibrated = false;   // the database has its distortion
  bool coversFocal = false;  // its range holds the photo's focal length
};

// The lenses that fit the photo's camera (its mount, or a compact's own):
// the ones --auto would suggest first, best first, then the rest by name.
// Without a camera (none recorded, or none the database knows) the camera
// is empty, the reason says why and there are no lenses.
struct LensChoices {
  std::string camera;  // as --camera takes it
  std::string mount;
  std::vector<LensEntry> lenses;
  std::string reason;
};
LensChoices lensChoices(const PhotoFacts &photo);

// Every camera of the database, as --camera takes them, sorted.
std::vector<std::string> cameraNames();

// `image` (the photo) with the lens profile's vignetting taken out, as
// `ortavel correct --auto --vignetting` does it; the note says how.
ProfileAnswer<Image> vignettingCorrected(const PhotoFacts &photo, const Image &image);

// The smallest zoom (`scale`) at which the correction `s` leaves no empty
// border in the photo's frame.
FillAnswer fillScale(const PhotoFacts &photo, const CorrectionSettings &s);

}  // namespace ortavel::cli::ui
