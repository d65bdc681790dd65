// Runs the built ortavel command as a child process and collects what it
// printed and how it ended, for the end-to-end tests.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace clitest {

namespace fs = std::filesystem;

struct CliResult {
  int exitCode = -1;      // -1: killed by a signal
  int signal = 0;         // the signal that ended it, if one did
  bool timedOut = false;  // killed by the watchdog (RunOptions::killAfterMs)
  long maxRssKb = 0;      // peak resident memory of the process
  std::string out;
  std::string err;
  // Number of lines on standard error.
  long errLines() const { return std::count(err.begin(), err.end(), '\n'); }
};

struct RunOptions {
  rlim_t fileSizeLimit = RLIM_INFINITY;  // RLIMIT_FSIZE: a disk that fills up
  int interruptAfterMs = -1;             // send SIGINT this long after the start
  // More signals: (milliseconds after the start, signal), in order.
  std::vector<std::pair<int, int>> signals = {};
  bool closedStdout = false;         // standard output a pipe nobody reads (`| head` gone)
  int killAfterMs = -1;              // SIGKILL a run that takes longer (a hang)
  rlim_t dataLimit = RLIM_INFINITY;  // RLIMIT_DATA: a safety net, not a measure
  const char *isa = nullptr;         // ORTAVEL_ISA for the run (the kernels' path)
};

inline std::string slurp(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

inline CliResult runCli(const std::vector<std::string> &args, const fs::path &scratch,
                        const RunOptions &opt = {}) {
  const fs::path outFile = scratch / ".stdout", errFile = scratch / ".stderr";
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int o = ::open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int e = ::open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(o, 1);
    ::dup2(e, 2);
    if (opt.closedStdout) {
      int p[2];
      if (::pipe(p) == 0) {
        ::close(p[0]);
        ::dup2(p[1], 1);
        ::close(p[1]);
      }
    }
    ::signal(SIGPIPE, SIG_DFL);  // as a shell starts it
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    if (opt.dataLimit != RLIM_INFINITY) {
      rlimit r{opt.dataLimit, opt.dataLimit};
      ::setrlimit(RLIMIT_DATA, &r);
    }
    if (opt.fileSizeLimit != RLIM_INFINITY) {
      ::signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit fails with EFBIG instead
      rlimit r{opt.fileSizeLimit, opt.fileSizeLimit};
      ::setrlimit(RLIMIT_FSIZE, &r);
    }
    if (opt.isa != nullptr) ::setenv("ORTAVEL_ISA", opt.isa, 1);
    std::vector<char *> argv;
    std::string exe = ORTAVEL_CLI_PATH;
    argv.push_back(exe.data());
    std::vector<std::string> copy = args;
    for (auto &a : copy) argv.push_back(a.data());
    argv.push_back(nullptr);
    ::execv(exe.c_str(), argv.data());
    ::_exit(127);
  }
  const auto start = std::chrono::steady_clock::now();
  if (opt.interruptAfterMs >= 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(opt.interruptAfterMs));
    ::kill(pid, SIGINT);
  }
  for (const auto &[ms, sig] : opt.signals) {
    std::this_thread::sleep_until(start + std::chrono::milliseconds(ms));
    ::kill(pid, sig);
  }
  int status = 0;
  rusage usage{};
  CliResult r;
  if (opt.killAfterMs >= 0) {
    while (::wait4(pid, &status, WNOHANG, &usage) == 0) {
      if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(opt.killAfterMs)) {
        ::kill(pid, SIGKILL);
        r.timedOut = true;
        ::wait4(pid, &status, 0, &usage);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  } else {
    ::wait4(pid, &status, 0, &usage);
  }
  r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  r.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  r.maxRssKb = usage.ru_maxrss;
  r.out = slurp(outFile);
  r.err = slurp(errFile);
  fs::remove(outFile);
  fs::remove(errFile);
  return r;
}

}  // namespace clitest
