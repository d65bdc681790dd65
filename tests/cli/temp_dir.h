// A folder of its own for a test's files, removed with everything in it.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace clitest {

class TempDir {
 public:
  TempDir() {
    std::string t = (std::filesystem::temp_directory_path() / "ortavel-test-XXXXXX").string();
    path_ = ::mkdtemp(t.data());
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  std::filesystem::path operator/(const std::string &n) const { return path_ / n; }

 private:
  std::filesystem::path path_;
};

}  // namespace clitest
