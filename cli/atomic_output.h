// An output file that appears whole or not at all: the encoder writes a
// temporary file in the target's directory, which commit() flushes to disk
// and renames over the target. Until then the target is untouched, and a
// temporary file left by a failure is removed when the object goes.
#pragma once

#include <filesystem>

namespace ortavel::cli {

class AtomicOutput {
 public:
  // Throws CliError (usage) when the directory is missing or the target
  // exists and `overwrite` is false; (failure) when no temporary file can be
  // made there.
  AtomicOutput(const std::filesystem::path &target, bool overwrite);
  ~AtomicOutput();
  AtomicOutput(const AtomicOutput &) = delete;
  AtomicOutput &operator=(const AtomicOutput &) = delete;

  const std::filesystem::path &temporaryPath() const { return temp_; }
  const std::filesystem::path &target() const { return target_; }
  // fsync, rename into place, fsync the directory. Throws CliError (failure).
  void commit();

 private:
  std::filesystem::path target_;
  std::filesystem::path temp_;
  bool overwrite_;
  bool committed_ = false;
};

// Throws CliError (usage) unless `target` may be written: its directory
// exists, and it does not exist itself unless `overwrite`.
void checkOutputPath(const std::filesystem::path &target, bool overwrite);

}  // namespace ortavel::cli
