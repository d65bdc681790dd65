#include "image_io/c_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "exit_codes.h"

namespace ortavel::cli {

std::uint64_t checkRegularFile(const std::filesystem::path &path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) {
    throw inputError(path.string() + ": " +
                     (errno == ENOENT ? std::string("no such file") : std::strerror(errno)));
  }
  if (S_ISDIR(st.st_mode)) throw inputError(path.string() + ": is a directory, not a file");
  if (!S_ISREG(st.st_mode)) {
    throw inputError(path.string() + ": not a regular file (a pipe, device or socket is not read)");
  }
  return static_cast<std::uint64_t>(st.st_size);
}

CFile openForReading(const std::filesystem::path &path, std::uint64_t &size) {
  // O_NONBLOCK: opening a pipe for reading would wait for a writer.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) throw inputError(path.string() + ": cannot open: " + std::strerror(errno));
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    checkRegularFile(path);  // says what it is
    throw inputError(path.string() + ": not a regular file");
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  CFile f(::fdopen(fd, "rb"));
  if (!f) {
    const int e = errno;
    ::close(fd);
    throw inputError(path.string() + ": cannot open: " + std::strerror(e));
  }
  size = static_cast<std::uint64_t>(st.st_size);
  return f;
}

CFile openForReading(const std::filesystem::path &path) {
  std::uint64_t size = 0;
  return openForReading(path, size);
}

CFile createForWriting(const std::filesystem::path &path) {
  CFile f(std::fopen(path.c_str(), "wb"));
  if (!f) throw failure(path.string() + ": cannot create: " + std::strerror(errno));
  return f;
}

void closeWritten(CFile file, const std::filesystem::path &path) {
  if (std::fflush(file.get()) != 0 || std::ferror(file.get())) {
    throw failure(path.string() + ": cannot write: " + std::strerror(errno));
  }
  if (std::fclose(file.release()) != 0) {
    throw failure(path.string() + ": cannot write: " + std::strerror(errno));
  }
}

}  // namespace ortavel::cli
