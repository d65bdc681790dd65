// Where the plug-in module is: --plugin when given; otherwise next to the
// command, in the build tree (bin/../plugin/Ortavel.so) or in an installed
// tree (bin/../lib/ortavel/Ortavel.so).
#pragma once

#include <filesystem>
#include <optional>

namespace ortavel::cli {

// Throws CliError (failure) naming the places looked at when none holds it.
std::filesystem::path locatePlugin(const std::optional<std::filesystem::path> &given);

}  // namespace ortavel::cli
