#include "plugin_locator.h"

#include <system_error>

#include "exit_codes.h"

namespace ortavel::cli {

std::filesystem::path locatePlugin(const std::optional<std::filesystem::path> &given) {
  std::error_code ec;
  if (given) {
    if (!std::filesystem::is_regular_file(*given, ec)) {
      throw usageError(given->string() + ": no plug-in module there (--plugin)");
    }
    return *given;
  }
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  const auto bin = exe.parent_path();
  const std::filesystem::path candidates[] = {bin / ".." / "plugin" / "Ortavel.so",
                                              bin / ".." / "lib" / "ortavel" / "Ortavel.so"};
  for (const auto &c : candidates) {
    if (std::filesystem::is_regular_file(c, ec)) return std::filesystem::weakly_canonical(c, ec);
  }
  throw failure("cannot find the plug-in module Ortavel.so (looked in " +
                candidates[0].lexically_normal().string() + " and " +
                candidates[1].lexically_normal().string() + "); name it with --plugin PATH");
}

}  // namespace ortavel::cli
