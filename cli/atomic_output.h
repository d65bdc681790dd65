// An output file that appears whole or not at all: the encoder writes a
// temporary file in the target's directory, which commit() flushes to disk
// and renames over the target. Until then the target is untouched, and a
// temporary file left by a failure is removed when the object goes, or by the
// signal handler (see interrupt.h) when the process is killed by a signal.
//
// Temporary files are named ".ortavel-part-XXXXXX" whatever the target, so
// the name never grows past the file system's limit and can be told from any
// file of the user's; each is locked while it is written. One that nobody
// holds locked is left over from a process that died (SIGKILL, power loss):
// the first output into a directory removes such files there.
#pragma once

#include <filesystem>
#include <string>

#include "exit_codes.h"

namespace ortavel::cli {

// The target exists and may not be replaced (usage error). A batch that
// skips existing outputs tells this from other failures.
class OutputExists : public CliError {
 public:
  explicit OutputExists(const std::filesystem::path &target)
      : CliError(ExitCode::kUsage,
                 target.string() + ": already exists (use --force to replace it)") {}
};

class AtomicOutput {
 public:
  // Throws CliError (usage) when the directory is missing, OutputExists when
  // the target exists and `overwrite` is false; (failure) when no temporary
  // file can be made there.
  AtomicOutput(const std::filesystem::path &target, bool overwrite);
  ~AtomicOutput();
  AtomicOutput(const AtomicOutput &) = delete;
  AtomicOutput &operator=(const AtomicOutput &) = delete;

  const std::filesystem::path &temporaryPath() const { return temp_; }
  const std::filesystem::path &target() const { return target_; }
  // fsync, move into place, fsync the directory. Without `overwrite` the move
  // never replaces a file that appeared meanwhile (OutputExists), even one
  // another process made. Throws CliError (failure) otherwise.
  void commit();
  // Undoes a commit: removes the target, if it is still the file written
  // here (for outputs that must appear together or not at all).
  void withdraw() noexcept;

 private:
  std::filesystem::path target_;
  std::filesystem::path temp_;
  bool overwrite_;
  bool committed_ = false;
  int lockFd_ = -1;  // the temporary file, locked while it is ours
  int slot_ = -1;    // its entry in the signal handler's list
};

// Throws CliError (usage) unless `target` may be written: its directory
// exists, and it does not exist itself unless `overwrite` (OutputExists).
void checkOutputPath(const std::filesystem::path &target, bool overwrite);

// Commits every output, or, when one fails, withdraws those already
// committed and rethrows: the set appears whole or not at all.
void commitAll(AtomicOutput *const *outputs, std::size_t count);

// True for the names of our temporary files (".ortavel-part-" and six
// letters or digits).
bool isTemporaryName(const std::string &name);

// Removes our temporary files in `dir` that no live process holds. Returns
// how many went. Never throws.
int removeStaleTemporaries(const std::filesystem::path &dir) noexcept;

}  // namespace ortavel::cli
