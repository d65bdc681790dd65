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

// `current` with the lens parameters of the photo's lens profile (k1, k2 and
// zoom, the centre at 0,0 and orientation 0, which profiles assume); method,
// radius limit and margins as they are.
ProfileAnswer<CorrectionSettings> autoSettings(const PhotoFacts &photo,
                                               const CorrectionSettings &current);

// `image` (the photo) with the lens profile's vignetting taken out, as
// `ortavel correct --auto --vignetting` does it; the note says how.
ProfileAnswer<Image> vignettingCorrected(const PhotoFacts &photo, const Image &image);

// The smallest zoom (`scale`) at which the correction `s` leaves no empty
// border in the photo's frame.
FillAnswer fillScale(const PhotoFacts &photo, const CorrectionSettings &s);

}  // namespace ortavel::cli::ui
