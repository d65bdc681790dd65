// The lens database's vignetting (the darkening towards the corners) taken
// out of a photograph's pixels before the filter runs, by lensfun's own
// colour modification. The filter resamples every channel alike, so lateral
// chromatic aberration is not offered.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "image_io/image.h"
#include "lens_profiles/lens_profile.h"

namespace ortavel::cli {

// The f-number the photograph's EXIF directory records (FNumber 0x829D, else
// ApertureValue 0x9202); nullopt when it records neither, or nonsense.
std::optional<double> readExifAperture(std::span<const std::uint8_t> block);

// Brightens the colour planes of `img` by the inverse of the lens's
// vignetting at the profile's focal length and `aperture` (focus distance
// unknown: lensfun's far default), as lfModifier with LF_MODIFY_VIGNETTING
// computes it. Samples are taken to linear light with the tone curves of the
// file's ICC profile (sRGB's when it has none, or one without such curves),
// corrected in single precision, and encoded back to the nearest code;
// results above white are clipped to white. Alpha planes stay as they are.
// Returns one line saying what was done. Throws CliError (bad input) when the
// database has no vignetting for the lens, or the picture is CMYK.
std::string correctVignetting(Image &img, const LensProfile &profile, double aperture);

}  // namespace ortavel::cli
