// The commands of `ortavel`, each returning the process's exit code.
#pragma once

#include "command_line.h"
#include "exit_codes.h"

namespace ortavel::cli {

ExitCode runCorrect(const CommandLine &cl);
ExitCode runInfo(const CommandLine &cl);
ExitCode runPreview(const CommandLine &cl);
ExitCode runAbout(const CommandLine &cl);
ExitCode runLenses(const CommandLine &cl);

// Prints "ortavel: message" on standard error.
void reportError(const std::string &message);

}  // namespace ortavel::cli
