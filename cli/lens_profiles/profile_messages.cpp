#include "profile_messages.h"

#include <cstdio>

namespace ortavel::cli::messages {
namespace {

std::string number(double v, const char *format = "%g") {
  char b[64];
  std::snprintf(b, sizeof b, format, v);
  return b;
}

std::string quoted(const std::optional<std::string> &s) {
  return s ? "\"" + *s + "\"" : std::string("not recorded");
}

// The three lines every failure has.
std::string failure(const std::string &missing, const PhotoIdentity &photo,
                    const ProfileOverrides &overrides, const std::string &advice) {
  return "no lens profile: " + missing + "\n  read: " + whatWasRead(photo, overrides) +
         "\n  to do: " + advice;
}

const char kManual[] = "or give the coefficients yourself with --k1 and --k2";

}  // namespace

std::string whatWasRead(const PhotoIdentity &photo, const ProfileOverrides &overrides) {
  std::string s = "camera make " + quoted(photo.make) + ", model " + quoted(photo.model) +
                  ", lens " + quoted(photo.lensModel);
  s += ", focal length " +
       (photo.focalLengthMm ? number(*photo.focalLengthMm) + " mm" : std::string("not recorded"));
  std::string given;
  if (overrides.camera) given += " --camera \"" + *overrides.camera + "\"";
  if (overrides.lensModel) given += " --lens-model \"" + *overrides.lensModel + "\"";
  if (overrides.focalLengthMm) given += " --focal " + number(*overrides.focalLengthMm);
  if (!given.empty()) s += "; given:" + given;
  return s;
}

std::string noExif(const PhotoIdentity &photo, const ProfileOverrides &overrides) {
  return failure("the file names no camera (it has no EXIF data, or none about the camera)", photo,
                 overrides,
                 "name the camera with --camera \"MAKER MODEL\" and the focal length with "
                 "--focal MM (find the names with: ortavel lenses TEXT), " +
                     std::string(kManual));
}

std::string cameraNotFound(const PhotoIdentity &photo, const ProfileOverrides &overrides) {
  const std::string camera = overrides.camera ? "\"" + *overrides.camera + "\""
                                              : quoted(photo.make) + " " + quoted(photo.model);
  return failure("the lens database has no camera " + camera, photo, overrides,
                 "look for it with: ortavel lenses WORD (a word of the model), then name it with "
                 "--camera \"MAKER MODEL\"; " +
                     std::string(kManual));
}

std::string noFocalLength(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                          const std::string &camera, const std::string &lens) {
  return failure("the focal length is not known: the file does not record it (camera " + camera +
                     ", lens \"" + lens + "\")",
                 photo, overrides, "give it with --focal MM, " + std::string(kManual));
}

std::string fixedLensWithoutProfile(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                                    const std::string &camera) {
  return failure("the " + camera + " has a fixed lens, and the lens database has no profile for it",
                 photo, overrides,
                 "give the coefficients yourself with --k1 and --k2 (a user profile in "
                 "lensfun's user folder, ~/.local/share/lensfun, is used once it is there)");
}

std::string lensNotNamed(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                         const std::string &camera) {
  return failure("the file does not name the lens, and the " + camera +
                     " takes interchangeable lenses (many bodies record the lens only in their "
                     "maker note)",
                 photo, overrides,
                 "name the lens with --lens-model \"NAME\" (list the database's lenses with: "
                 "ortavel lenses WORD), " +
                     std::string(kManual));
}

std::string lensNotFound(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                         const std::string &camera, const std::string &lens) {
  return failure(
      "the lens database has no lens \"" + lens + "\" that fits the " + camera, photo, overrides,
      "look for it with: ortavel lenses WORD, then name it with --lens-model \"NAME\"; " +
          std::string(kManual));
}

std::string noDistortionData(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                             const std::string &lens) {
  return failure(
      "the lens database knows \"" + lens + "\" but has no distortion calibration for it", photo,
      overrides, "give the coefficients yourself with --k1 and --k2");
}

std::string focalOutOfRange(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                            const std::string &lens, double focal, double minFocal,
                            double maxFocal) {
  return failure("the focal length " + number(focal) + " mm lies outside the " + number(minFocal) +
                     "-" + number(maxFocal) + " mm of \"" + lens + "\"",
                 photo, overrides,
                 "check the lens (--lens-model \"NAME\") or the focal length (--focal MM), " +
                     std::string(kManual));
}

std::string notConvertible(const PhotoIdentity &photo, const ProfileOverrides &overrides,
                           const std::string &lens, const std::string &why) {
  return failure("the distortion of \"" + lens + "\" cannot be expressed for this picture: " + why,
                 photo, overrides, "give the coefficients yourself with --k1 and --k2");
}

std::string profileSummary(const LensProfile &p) {
  return p.camera + ", " + (p.fixedLens ? "fixed lens \"" : "lens \"") + p.lens + "\", " +
         number(p.focalLengthMm) + " mm, " + p.model + " " + p.terms;
}

std::string profileSettings(const LensProfile &p) {
  return "k1 = " + number(p.k1, "%.9g") + ", k2 = " + number(p.k2, "%.9g") +
         ", zoom = " + number(p.scale, "%.9g") + ", " +
         (p.exact ? "exact conversion" : "fit error " + number(p.fitErrorPx, "%.3g") + " px");
}

std::vector<std::string> profileWarnings(const LensProfile &p) {
  std::vector<std::string> out;
  if (p.fitErrorPx > 1.0) {
    out.push_back("this profile cannot be matched closer than " + number(p.fitErrorPx, "%.3g") +
                  " px at the corners by the filter's model");
  }
  if (!p.projection.empty()) {
    out.push_back("the database marks this lens as " + p.projection +
                  ": its projection is not converted, only its distortion, and the correction "
                  "is only approximate");
  }
  return out;
}

std::string cannotFill() {
  return "--fill: no zoom fills the picture with these settings (the optical centre lies "
         "outside the picture, or the radius limit keeps every point inside at any zoom)";
}

std::string fillFolds(double k1, double k2, std::optional<double> strongest) {
  std::string s = "--fill: with k1 = " + number(k1, "%.6g") + " and k2 = " + number(k2, "%.6g") +
                  " the zoom that fills the frame folds the picture over itself (towards the "
                  "corners the correction takes its colours from nearer the centre again)";
  if (strongest) {
    s += "; the strongest k1 that does not fold at this k2 is " + number(*strongest, "%.6g");
  } else {
    s += "; no negative k1 avoids it at this k2: make k2 smaller or give the zoom yourself";
  }
  return s;
}

std::string fillFoldsWarning(double k1, double k2) {
  return "with k1 = " + number(k1, "%.6g") + " and k2 = " + number(k2, "%.6g") +
         " this zoom folds the picture over itself towards the corners";
}

}  // namespace ortavel::cli::messages
