#include "settings_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "exit_codes.h"
#include "text.h"

namespace ortavel::cli {
namespace {

std::string trim(const std::string &s) {
  const auto first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  const auto last = s.find_last_not_of(" \t\r");
  return s.substr(first, last - first + 1);
}

std::string exact(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

}  // namespace

std::string checkedProfileName(const std::string &given, const std::string &what) {
  // The file's reader trims each value: a name is kept as it would come back.
  // (The lens database itself holds a few names that end in a blank; its
  // lookup finds them without it.)
  std::string name = trim(given);
  if (name.empty()) throw usageError(what + " needs a name, not an empty text");
  if (name.size() > kMaxProfileNameBytes)
    throw usageError(what + " is too long for a name (at most " +
                     std::to_string(kMaxProfileNameBytes) + " bytes)");
  for (const char c : name) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7f || c == '#')
      throw usageError(what + " cannot hold a control character or \"#\"");
  }
  return name;
}

void parseSettings(const std::string &text, const std::string &name, CorrectionSettings &s,
                   ProfileNames *names) {
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    const auto hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    line = trim(line);
    if (line.empty()) continue;
    const std::string where = join({name, ":", std::to_string(number), ": "});
    const auto eq = line.find('=');
    if (eq == std::string::npos) throw usageError(join({where, "expected \"key = value\""}));
    const std::string key = trim(line.substr(0, eq));
    const std::string value = trim(line.substr(eq + 1));
    auto number_of = [&](double &field) {
      const auto v = parseFinite(value);
      if (!v) throw usageError(join({where, key, " needs a finite number, not \"", value, "\""}));
      field = *v;
    };
    if (key == "k1")
      number_of(s.k1);
    else if (key == "k2")
      number_of(s.k2);
    else if (key == "center-x")
      number_of(s.centerX);
    else if (key == "center-y")
      number_of(s.centerY);
    else if (key == "radius-limit")
      number_of(s.radiusLimit);
    else if (key == "zoom" || key == "scale")  // "scale": the zoom's first name
      number_of(s.scale);
    else if (key == "method") {
      const auto m = methodFromName(value);
      if (!m) throw usageError(join({where, "unknown method \"", value, "\""}));
      s.method = *m;
    } else if (key == "orientation") {
      const auto o = orientationFromName(value);
      if (!o) throw usageError(join({where, "unknown orientation \"", value, "\""}));
      s.orientation = *o;
    } else if (key == "margins") {
      const auto m = parseMargins(value);
      if (!m)
        throw usageError(
            join({where, "margins need four whole numbers T,B,L,R, not \"", value, "\""}));
      s.margins = *m;
    } else if (key == "camera" || key == "lens") {
      const std::string checked = checkedProfileName(value, join({where, key}));
      if (names != nullptr) (key == "camera" ? names->camera : names->lens) = checked;
    } else {
      throw usageError(join({where, "unknown key \"", key, "\""}));
    }
  }
}

void readSettingsFile(const std::filesystem::path &path, CorrectionSettings &s,
                      ProfileNames *names) {
  const std::string name = path.string();
  // Not through the name alone: a pipe or a device would block or never end.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) {
    throw usageError(name + ": cannot read the settings file: " +
                     (errno == ENOENT ? std::string("no such file") : std::strerror(errno)));
  }
  struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};
  struct stat st {};
  if (::fstat(fd, &st) != 0) throw usageError(name + ": cannot read the settings file");
  if (S_ISDIR(st.st_mode)) throw usageError(name + ": is a directory, not a settings file");
  if (!S_ISREG(st.st_mode)) {
    throw usageError(name + ": not a regular file (a pipe or device is not read as settings)");
  }
  if (static_cast<std::uint64_t>(st.st_size) > kMaxSettingsFileBytes) {
    throw usageError(name + ": " + std::to_string(st.st_size) +
                     " bytes is too large for a settings file (at most 1 MiB)");
  }
  std::string text;
  char buf[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw usageError(name + ": cannot read the settings file: " + std::strerror(errno));
    if (n == 0) break;
    text.append(buf, static_cast<std::size_t>(n));
    // It may grow while we read.
    if (text.size() > kMaxSettingsFileBytes) {
      throw usageError(name + ": too large for a settings file (at most 1 MiB)");
    }
  }
  parseSettings(text, name, s, names);
}

std::string formatSettings(const CorrectionSettings &s, const ProfileNames &names) {
  std::string out = "# ortavel correction settings\n";
  out += "k1 = " + exact(s.k1) + "\n";
  out += "k2 = " + exact(s.k2) + "\n";
  out += "center-x = " + exact(s.centerX) + "\n";
  out += "center-y = " + exact(s.centerY) + "\n";
  out += "radius-limit = " + exact(s.radiusLimit) + "\n";
  out += "zoom = " + exact(s.scale) + "\n";
  out += "method = " + std::string(methodName(s.method)) + "\n";
  out += "orientation = " + std::string(orientationName(s.orientation)) + "\n";
  const Margins &m = s.margins;
  out += "margins = " + std::to_string(m.top) + "," + std::to_string(m.bottom) + "," +
         std::to_string(m.left) + "," + std::to_string(m.right) + "\n";
  if (names.camera) out += "camera = " + *names.camera + "\n";
  if (names.lens) out += "lens = " + *names.lens + "\n";
  return out;
}

}  // namespace ortavel::cli
