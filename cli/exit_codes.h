// Exit codes of the ortavel command and the error type that carries one.
#pragma once

#include <stdexcept>
#include <string>

namespace ortavel::cli {

// What the shell sees: success, a command line we could not make sense of, an
// input we refuse (file missing, unreadable, corrupt, unsupported), a failure
// while working (plug-in error, disk full), or an interrupt by the user.
enum class ExitCode : int {
  kOk = 0,
  kUsage = 2,
  kBadInput = 3,
  kFailure = 4,
  kInterrupted = 130,
};

// An error with a one-line message meant for the user and the exit code it
// maps to. Every layer of the command throws this; main prints it.
class CliError : public std::runtime_error {
 public:
  CliError(ExitCode code, const std::string &message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

inline CliError usageError(const std::string &m) {
  return CliError(ExitCode::kUsage, m);
}
inline CliError inputError(const std::string &m) {
  return CliError(ExitCode::kBadInput, m);
}
inline CliError failure(const std::string &m) {
  return CliError(ExitCode::kFailure, m);
}

}  // namespace ortavel::cli
