// The commands of `ortavel`, each returning the process's exit code.
#pragma once

#include <filesystem>
#include <optional>

#include "command_line.h"
#include "exit_codes.h"
#include "image_io/image_io.h"
#include "lens_profiles/lens_profile.h"
#include "settings_file.h"

namespace ortavel::cli {

ExitCode runCorrect(const CommandLine &cl);
ExitCode runInfo(const CommandLine &cl);
ExitCode runPreview(const CommandLine &cl);
ExitCode runAbout(const CommandLine &cl);
ExitCode runLenses(const CommandLine &cl);
ExitCode runUi(const CommandLine &cl);  // in ui/ui_command.cpp

// Writes `img` through a temporary file renamed into place; errors name the
// file the user asked for. Throws CliError.
void writeAtomically(const Image &img, FileFormat format, const std::filesystem::path &target,
                     bool force, const WriteOptions &opt);
// Writes the settings file atomically, replacing `path` only when
// `overwrite`; with a profile, comment lines say which one the numbers come
// from; the camera and lens the user chose go in as keys. Throws CliError
// (OutputExists, failure).
void writeSettings(const std::filesystem::path &path, const CorrectionSettings &s,
                   const std::optional<LensProfile> &profile = std::nullopt, bool overwrite = true,
                   const ProfileNames &names = {});

// Prints "ortavel: message" on standard error.
void reportError(const std::string &message);

}  // namespace ortavel::cli
