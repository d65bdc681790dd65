// C stdio files for the codec libraries, which read and write through FILE *.
// Opening failures throw CliError with a one-line message.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace ortavel::cli {

struct FileCloser {
  void operator()(std::FILE *f) const { std::fclose(f); }
};
using CFile = std::unique_ptr<std::FILE, FileCloser>;

// Bad input when it cannot, or when `path` is not a regular file: a pipe or
// a device would block or never end, so it is refused before any read.
CFile openForReading(const std::filesystem::path &path);
CFile openForReading(const std::filesystem::path &path, std::uint64_t &size);
CFile createForWriting(const std::filesystem::path &path);  // failure when it cannot

// Throws CliError (bad input) unless `path` names a regular file; returns
// its size. Never blocks, whatever the file is.
std::uint64_t checkRegularFile(const std::filesystem::path &path);

// Flushes and closes a written file; a full disk often shows only here, so the
// error is reported as a failure instead of being lost in the destructor.
void closeWritten(CFile file, const std::filesystem::path &path);

}  // namespace ortavel::cli
