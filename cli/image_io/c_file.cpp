#include "image_io/c_file.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "exit_codes.h"

namespace ortavel::cli {

CFile openForReading(const std::filesystem::path &path) {
  CFile f(std::fopen(path.c_str(), "rb"));
  if (!f) throw inputError(path.string() + ": cannot open: " + std::strerror(errno));
  return f;
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
