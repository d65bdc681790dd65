#include "photo_settings.h"

#include "exit_codes.h"
#include "lens_profiles/exif_lens.h"
#include "lens_profiles/profile_messages.h"
#include "lens_profiles/settings_fill.h"

namespace ortavel::cli {

PhotoIdentity identifyPhoto(FilterSession &session, const Image &img, const std::string &label) {
  const CameraInfo cam = session.identify(img, label);
  const ExifLens lens = readExifLens(img.doc.exif);
  return {cam.make, cam.model, cam.focalLengthMm, lens.make, lens.model};
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

}  // namespace ortavel::cli
