#include "ui/security.h"

#include <array>
#include <cstdint>
#include <random>

#include "exit_codes.h"

namespace ortavel::cli::ui {

namespace fs = std::filesystem;

std::string makeToken() {
  std::random_device device;  // /dev/urandom on Linux
  static constexpr char kHex[] = "0123456789abcdef";
  std::string token;
  token.reserve(64);
  for (int i = 0; i < 8; ++i) {
    const std::uint32_t word = device();
    for (int b = 0; b < 4; ++b) {
      const unsigned byte = (word >> (8 * b)) & 0xffU;
      token += kHex[byte >> 4];
      token += kHex[byte & 0xfU];
    }
  }
  return token;
}

bool tokenMatches(std::string_view given, std::string_view expected) {
  unsigned diff = given.size() == expected.size() ? 0U : 1U;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const char g = i < given.size() ? given[i] : '\0';
    diff |= static_cast<unsigned char>(g) ^ static_cast<unsigned char>(expected[i]);
  }
  return diff == 0 && !expected.empty();
}

namespace {

// "NAME:PORT" for one of the names this server goes by.
bool isLocalAuthority(std::string_view text, int port) {
  std::string suffix = std::to_string(port);
  suffix.insert(suffix.begin(), ':');
  if (text.size() <= suffix.size() || text.substr(text.size() - suffix.size()) != suffix) {
    return false;
  }
  const std::string_view name = text.substr(0, text.size() - suffix.size());
  return name == "127.0.0.1" || name == "localhost";
}

}  // namespace

bool hostAllowed(std::string_view host, int port) {
  return isLocalAuthority(host, port);
}

bool originAllowed(std::string_view origin, int port) {
  constexpr std::string_view kScheme = "http://";
  return origin.substr(0, kScheme.size()) == kScheme &&
         isLocalAuthority(origin.substr(kScheme.size()), port);
}

OutputTarget resolveOutput(const std::string &text, const fs::path &photo) {
  if (text.empty()) throw usageError("no file name given");
  if (text.size() > kMaxPathLength) throw usageError("the file name is too long");
  if (text.find('\0') != std::string::npos) throw usageError("the file name holds a NUL byte");
  fs::path path(text);
  if (path.is_relative()) path = photo.parent_path() / path;
  path = path.lexically_normal();
  if (!path.has_filename()) throw usageError(text + ": names a folder, not a file");
  std::error_code ec;
  const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
  if (!fs::is_directory(folder, ec)) {
    throw usageError(folder.string() + ": no such folder");
  }
  OutputTarget target{path, false};
  const fs::file_status st = fs::symlink_status(path, ec);
  if (fs::exists(st)) {
    if (fs::equivalent(path, photo, ec)) {
      throw usageError(path.string() + ": is the photo itself; the photo is never overwritten");
    }
    if (!fs::is_regular_file(fs::status(path, ec))) {
      throw usageError(path.string() + ": exists and is not a regular file");
    }
    target.exists = true;
  }
  return target;
}

}  // namespace ortavel::cli::ui
