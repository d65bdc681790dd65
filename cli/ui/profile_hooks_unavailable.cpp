// The profile hooks of a build without lens profiles: every question gets the
// same answer, which the page shows on the disabled buttons.
#include "ui/profile_hooks.h"

namespace ortavel::cli::ui {
namespace {

const char kUnavailable[] = "lens profiles are not available in this build";

}  // namespace

std::optional<std::string> profilesUnavailable() {
  return std::string(kUnavailable);
}

ProfileAnswer<CorrectionSettings> autoSettings(const PhotoFacts &, const CorrectionSettings &) {
  return {std::nullopt, kUnavailable};
}

ProfileAnswer<double> fillScale(const PhotoFacts &, const CorrectionSettings &) {
  return {std::nullopt, kUnavailable};
}

}  // namespace ortavel::cli::ui
