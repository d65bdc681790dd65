#include "photo_settings.h"

#include "exit_codes.h"
#include "lens_profiles/exif_lens.h"
#include "lens_profiles/maker_lens.h"
#include "lens_profiles/profile_messages.h"
#include "lens_profiles/settings_fill.h"

namespace ortavel::cli {

PhotoIdentity identifyPhoto(FilterSession &session, const Image &img, const std::string &label) {
  const CameraInfo cam = session.identify(img, label);
  const ExifLens lens = readExifLens(img.doc.exif);
  const RecordedLens recorded = readRecordedLens(img.doc.exif);
  return {cam.make,
          cam.model,
          cam.focalLengthMm,
          lens.make,
          recorded.name ? recorded.name : lens.model,
          recorded.minFocalMm,
          recorded.maxFocalMm};
}

PhotoSettings settingsForPhoto(const CommandLine &cl, FilterSession &session, const Image &img,
                               const std::string &label) {
  PhotoSettings out{cl.settings, std::nullopt, std::nullopt};
  const std::int32_t w = img.doc.width, h = img.doc.height;
  if (cl.autoProfile) {
    const ProfileLookup found =
        findLensProfile(identifyPhoto(session, img, label), cl.profile, w, h);
    if (!found.profile) throw inputError(label + ": " + found.error);
    applyProfile(*found.profile, out.settings);
    out.profile = found.profile;
  }
  if (cl.fill) {
    const auto zoom = fillZoom(out.settings, w, h);
    if (!zoom) throw inputError(label + ": " + messages::cannotFill());
    out.settings.scale = *zoom;
    out.fillZoom = zoom;
  }
  return out;
}

}  // namespace ortavel::cli
