// C stdio files for the codec libraries, which read and write through FILE *.
// Opening failures throw CliError with a one-line message.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>

namespace ortavel::cli {

struct FileCloser {
  void operator()(std::FILE *f) const { std::fclose(f); }
};
using CFile = std::unique_ptr<std::FILE, FileCloser>;

CFile openForReading(const std::filesystem::path &path);    // bad input when it cannot
CFile createForWriting(const std::filesystem::path &path);  // failure when it cannot

// Flushes and closes a written file; a full disk often shows only here, so the
// error is reported as a failure instead of being lost in the destructor.
void closeWritten(CFile file, const std::filesystem::path &path);

}  // namespace ortavel::cli
