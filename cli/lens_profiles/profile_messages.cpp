#include "profile_messages.h"

#include <cstdio>

namespace ortavel::cli::messages {
namespace {

std::string number(double v, const char *format = "%g") {
  char b[64];
  std::snprintf(b, sizeof b, format, v);
  return b;
}

}  // namespace

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
