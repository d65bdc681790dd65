// The settings file: plain text, one "key = value" per line, "#" starts a
// comment, blank lines ignored. Keys: k1, k2, center-x, center-y,
// radius-limit, scale, method, orientation, margins (T,B,L,R). A file
// names only the keys it sets; the others keep their values.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "correction_settings.h"

namespace ortavel::cli {

inline constexpr std::uint64_t kMaxSettingsFileBytes = 1 << 20;

// Applies the file's keys on top of `s`. Throws CliError (usage) naming the
// file and line of the first unknown key or bad value, or a missing file, a
// directory, anything but a regular file, or one over 1 MiB.
void readSettingsFile(const std::filesystem::path &path, CorrectionSettings &s);
void parseSettings(const std::string &text, const std::string &name, CorrectionSettings &s);

// The text of a settings file holding every key. Numbers are written with
// enough digits to read back the same double.
std::string formatSettings(const CorrectionSettings &s);

}  // namespace ortavel::cli
