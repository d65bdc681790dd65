#include "atomic_output.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "interrupt.h"

namespace ortavel::cli {
namespace {

constexpr char kPrefix[] = ".ortavel-part-";
constexpr std::size_t kPrefixLength = sizeof kPrefix - 1;

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

bool sameFile(const struct stat &a, const struct stat &b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Each directory is swept once per process, before its first output.
void sweepOnce(const std::filesystem::path &dir) {
  static std::mutex mutex;
  static std::set<std::string> swept;
  std::error_code ec;
  auto key = std::filesystem::weakly_canonical(dir, ec);
  if (ec) key = dir;
  {
    std::lock_guard lock(mutex);
    if (!swept.insert(key.string()).second) return;
  }
  removeStaleTemporaries(dir);
}

}  // namespace

bool isTemporaryName(const std::string &name) {
  if (name.size() != kPrefixLength + 6 || name.compare(0, kPrefixLength, kPrefix) != 0) {
    return false;
  }
  for (std::size_t i = kPrefixLength; i < name.size(); ++i) {
    const char c = name[i];
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) {
      return false;
    }
  }
  return true;
}

int removeStaleTemporaries(const std::filesystem::path &dir) noexcept {
  int removed = 0;
  DIR *d = ::opendir(dir.c_str());
  if (!d) return 0;
  while (const dirent *e = ::readdir(d)) {
    if (!isTemporaryName(e->d_name)) continue;
    const std::string path = (dir / e->d_name).string();
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat held {
    }, named{};
    // A writer holds its lock until the file is in place or gone; a free
    // lock on a file of ours means the process that made it has died.
    if (::fstat(fd, &held) == 0 && S_ISREG(held.st_mode) && held.st_uid == ::geteuid() &&
        ::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::lstat(path.c_str(), &named) == 0 &&
        sameFile(held, named) && ::unlink(path.c_str()) == 0) {
      ++removed;
    }
    ::close(fd);
  }
  ::closedir(d);
  return removed;
}

void checkOutputPath(const std::filesystem::path &target, bool overwrite) {
  const auto dir = directoryOf(target);
  struct stat st {};
  if (::stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    throw usageError(target.string() + ": output directory " + dir.string() + " does not exist");
  }
  if (::lstat(target.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) throw usageError(target.string() + ": is a directory");
    if (!overwrite) throw OutputExists(target);
  }
}

AtomicOutput::AtomicOutput(const std::filesystem::path &target, bool overwrite)
    : target_(target), overwrite_(overwrite) {
  checkOutputPath(target, overwrite);
  const auto dir = directoryOf(target);
  sweepOnce(dir);
  // Same directory, so the rename never crosses file systems.
  const std::string pattern = (dir / (std::string(kPrefix) + "XXXXXX")).string();
  for (int attempt = 0; attempt < 8 && lockFd_ < 0; ++attempt) {
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
      throw failure(target.string() + ": cannot create a file in " + dir.string() + ": " +
                    std::strerror(errno));
    }
    // Another process sweeping the directory may have taken the file for a
    // stale one before the lock: then it is gone, and we make another.
    struct stat held {
    }, named{};
    if (::flock(fd, LOCK_EX) == 0 && ::fstat(fd, &held) == 0 && ::lstat(name.data(), &named) == 0 &&
        sameFile(held, named)) {
      lockFd_ = fd;
      temp_ = name.data();
    } else {
      ::close(fd);
    }
  }
  if (lockFd_ < 0) throw failure(target.string() + ": cannot create a file in " + dir.string());
  slot_ = registerTemporary(temp_.c_str());
  // mkstemp makes the file private; give it the mode a new file would get.
  static const mode_t mask = [] {
    const mode_t m = ::umask(0);
    ::umask(m);
    return m;
  }();
  ::fchmod(lockFd_, 0666 & ~mask);
}

AtomicOutput::~AtomicOutput() {
  if (!committed_ && !temp_.empty()) ::unlink(temp_.c_str());
  releaseTemporary(slot_);
  if (lockFd_ >= 0) ::close(lockFd_);
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
      if (e == EEXIST) throw OutputExists(target_);
      if (e != EINVAL && e != ENOSYS) {
        throw failure(target_.string() + ": cannot put the output in place: " + std::strerror(e));
      }
      // A file system without RENAME_NOREPLACE: link() never replaces either.
      if (::link(temp_.c_str(), target_.c_str()) != 0) {
        const int le = errno;
        if (le == EEXIST) throw OutputExists(target_);
        throw failure(target_.string() + ": cannot put the output in place: " + std::strerror(le));
      }
      ::unlink(temp_.c_str());
    }
  }
  committed_ = true;
  releaseTemporary(slot_);
  slot_ = -1;
  syncPath(directoryOf(target_), O_RDONLY | O_DIRECTORY);
}

void AtomicOutput::withdraw() noexcept {
  if (!committed_) return;
  struct stat held {
  }, named{};
  if (::fstat(lockFd_, &held) == 0 && ::lstat(target_.c_str(), &named) == 0 &&
      sameFile(held, named)) {
    ::unlink(target_.c_str());
  }
  committed_ = false;
  temp_.clear();
}

void commitAll(AtomicOutput *const *outputs, std::size_t count) {
  std::size_t done = 0;
  try {
    for (; done < count; ++done) outputs[done]->commit();
  } catch (...) {
    for (std::size_t i = 0; i < done; ++i) outputs[i]->withdraw();
    throw;
  }
}

}  // namespace ortavel::cli
