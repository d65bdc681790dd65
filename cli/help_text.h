// The texts of --help, for the command and for each subcommand.
#pragma once

#include <string>

#include "command_line.h"

namespace ortavel::cli {

std::string helpText(Command c);
std::string versionText();

}  // namespace ortavel::cli
