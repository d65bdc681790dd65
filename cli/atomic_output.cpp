#include "atomic_output.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "exit_codes.h"

namespace ortavel::cli {
namespace {

std::filesystem::path directoryOf(const std::filesystem::path &p) {
  const auto d = p.parent_path();
  return d.empty() ? std::filesystem::path(".") : d;
}

void syncPath(const std::filesystem::path &p, int flags) {
  const int fd = ::open(p.c_str(), flags | O_CLOEXEC);
  if (fd < 0) throw failure(p.string() + ": cannot open to flush: " + std::strerror(errno));
  const int r = ::fsync(fd);
  const int e = errno;
  ::close(fd);
  // Some file systems cannot sync a directory; only a file's data matters.
  if (r != 0 && !(flags & O_DIRECTORY)) {
    throw failure(p.string() + ": cannot write: " + std::strerror(e));
  }
}

}  // namespace

void checkOutputPath(const std::filesystem::path &target, bool overwrite) {
  const auto dir = directoryOf(target);
  struct stat st {};
  if (::stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    throw usageError(target.string() + ": output directory " + dir.string() + " does not exist");
  }
  if (::lstat(target.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) throw usageError(target.string() + ": is a directory");
    if (!overwrite) {
      throw usageError(target.string() + ": already exists (use --force to replace it)");
    }
  }
}

AtomicOutput::AtomicOutput(const std::filesystem::path &target, bool overwrite)
    : target_(target), overwrite_(overwrite) {
  checkOutputPath(target, overwrite);
  // Same directory, so the rename never crosses file systems; the name keeps
  // the extension, which some encoders look at.
  std::string base = ".";
  base += target.stem().string();
  base += ".ortavel-XXXXXX";
  base += target.extension().string();
  const std::string pattern = (directoryOf(target) / base).string();
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  const int fd = ::mkstemps(name.data(), static_cast<int>(target.extension().string().size()));
  if (fd < 0) {
    throw failure(target.string() + ": cannot create a file in " + directoryOf(target).string() +
                  ": " + std::strerror(errno));
  }
  // mkstemps makes the file private; give it the mode a new file would get.
  static const mode_t mask = [] {
    const mode_t m = ::umask(0);
    ::umask(m);
    return m;
  }();
  ::fchmod(fd, 0666 & ~mask);
  ::close(fd);
  temp_ = name.data();
}

AtomicOutput::~AtomicOutput() {
  if (!committed_ && !temp_.empty()) ::unlink(temp_.c_str());
}

void AtomicOutput::commit() {
  syncPath(temp_, O_RDONLY);
  if (overwrite_) {
    if (::rename(temp_.c_str(), target_.c_str()) != 0) {
      throw failure(target_.string() + ": cannot put the output in place: " + std::strerror(errno));
    }
  } else {
    // Refuse to replace a file that appeared while we worked.
    if (::renameat2(AT_FDCWD, temp_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) != 0) {
      const int e = errno;
      if (e == EEXIST)
        throw usageError(target_.string() + ": already exists (use --force to replace it)");
      if (e != EINVAL && e != ENOSYS) {
        throw failure(target_.string() + ": cannot put the output in place: " + std::strerror(e));
      }
      if (::link(temp_.c_str(), target_.c_str()) != 0) {
        const int le = errno;
        if (le == EEXIST)
          throw usageError(target_.string() + ": already exists (use --force to replace it)");
        throw failure(target_.string() + ": cannot put the output in place: " + std::strerror(le));
      }
      ::unlink(temp_.c_str());
    }
  }
  committed_ = true;
  syncPath(directoryOf(target_), O_RDONLY | O_DIRECTORY);
}

}  // namespace ortavel::cli
