// The settings file: plain text, one "key = value" per line, "#" starts a
// comment, blank lines ignored. Keys: k1, k2, center-x, center-y,
// radius-limit, scale, method, orientation, margins (T,B,L,R), and the
// lens profile's camera and lens as the user chose them (camera, lens). A
// file names only the keys it sets; the others keep their values.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "correction_settings.h"

namespace ortavel::cli {

inline constexpr std::uint64_t kMaxSettingsFileBytes = 1 << 20;

// The camera and lens whose profile the user chose (the names --camera and
// --lens-model take); --auto and the editor look the profile up by them.
struct ProfileNames {
  std::optional<std::string> camera;
  std::optional<std::string> lens;
};

// Longest camera or lens name taken; the database's longest is under 100.
inline constexpr std::size_t kMaxProfileNameBytes = 256;

// `given` without blanks at either end, as a settings file holds it and reads
// it back. Throws CliError (usage) when that cannot be a camera or lens name:
// empty, longer than kMaxProfileNameBytes, or holding a control character or
// "#" (which would start a comment).
std::string checkedProfileName(const std::string &given, const std::string &what);

// Applies the file's keys on top of `s`. Throws CliError (usage) naming the
// file and line of the first unknown key or bad value, or a missing file, a
// directory, anything but a regular file, or one over 1 MiB.
// The camera and lens go to `names` when given (and are checked either way).
void readSettingsFile(const std::filesystem::path &path, CorrectionSettings &s,
                      ProfileNames *names = nullptr);
void parseSettings(const std::string &text, const std::string &name, CorrectionSettings &s,
                   ProfileNames *names = nullptr);

// The text of a settings file holding every key, and the camera and lens
// where `names` has them. Numbers are written with enough digits to read
// back the same double.
std::string formatSettings(const CorrectionSettings &s, const ProfileNames &names = {});

}  // namespace ortavel::cli
