#include "photo_settings.h"

#include "exit_codes.h"
#include "lens_profiles/exif_lens.h"
#include "lens_profiles/maker_lens.h"
#include "lens_profiles/profile_messages.h"
#include "lens_profiles/settings_fill.h"
#include "lens_profiles/vignetting.h"

namespace ortavel::cli {

PhotoIdentity identifyPhoto(FilterSession &session, const Image &img, const std::string &label) {
  const CameraInfo cam = session.identify(img, label);
  const ExifLens lens = readExifLens(img.doc.exif);
  const RecordedLens recorded = readRecordedLens(img.doc.exif);
  PhotoIdentity id;
  id.make = cam.make;
  id.model = cam.model;
  id.focalLengthMm = cam.focalLengthMm;
  id.lensMake = lens.make;
  id.lensModel = recorded.name ? recorded.name : lens.model;
  id.aperture = readExifAperture(img.doc.exif);
  id.lensMinFocalMm = recorded.minFocalMm;
  id.lensMaxFocalMm = recorded.maxFocalMm;
  return id;
}

PhotoSettings settingsForPhoto(const CommandLine &cl, FilterSession &session, const Image &img,
                               const std::string &label) {
  PhotoSettings out{cl.settings, std::nullopt, std::nullopt};
  const std::int32_t w = img.doc.width, h = img.doc.height;
  if (cl.autoProfile) {
    const PhotoIdentity photo = identifyPhoto(session, img, label);
    out.aperture = photo.aperture;
    const ProfileLookup found = findLensProfile(photo, cl.profile, w, h);
    if (!found.profile) throw inputError(label + ": " + found.error);
    applyProfile(*found.profile, out.settings);
    out.profile = found.profile;
  }
  if (cl.fill) {
    const auto zoom = fillZoom(out.settings, w, h);
    if (!zoom) throw inputError(label + ": " + messages::cannotFill());
    if (foldsAtZoom(out.settings, w, h, *zoom)) {
      throw inputError(label + ": " +
                       messages::fillFolds(out.settings.k1, out.settings.k2,
                                           strongestUnfoldedK1(out.settings, w, h)));
    }
    out.settings.scale = *zoom;
    out.fillZoom = zoom;
  }
  return out;
}

std::optional<std::string> correctPhotoVignetting(const CommandLine &cl,
                                                  const PhotoSettings &chosen, Image &img,
                                                  const std::string &label) {
  if (!cl.vignetting || !chosen.profile) return std::nullopt;
  const std::optional<double> aperture =
      cl.profile.aperture ? cl.profile.aperture : chosen.aperture;
  if (!aperture) {
    throw inputError(label +
                     ": --vignetting: the file does not record the aperture (f-number), on "
                     "which the vignetting depends; give it with --aperture F");
  }
  try {
    return correctVignetting(img, *chosen.profile, *aperture);
  } catch (const CliError &e) {
    throw CliError(e.code(), label + ": " + e.what());
  }
}

}  // namespace ortavel::cli
