// ortavel: the command-line front end. Parses the command line, runs the
// command, and turns every error into one line on standard error and an exit
// code (0 ok, 2 usage, 3 bad input, 4 failure, 130 interrupted).
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "help_text.h"
#include "interrupt.h"
#include "processor_limit.h"

using namespace ortavel::cli;

namespace {

ExitCode run(const std::vector<std::string> &args) {
  const CommandLine cl = parseCommandLine(args);
  if (cl.version) {
    std::fputs(versionText().c_str(), stdout);
    return ExitCode::kOk;
  }
  if (cl.help || cl.command == Command::kHelp) {
    Command topic = cl.command;
    if (cl.command == Command::kHelp && !cl.files.empty()) {
      topic = parseCommandLine({cl.files[0], "--help"}).command;
    }
    std::fputs(helpText(topic).c_str(), stdout);
    return ExitCode::kOk;
  }
  // Before any thread starts, so that the plug-in's pool and the batch's jobs
  // inherit the narrower set.
  if (const auto threads = requestedThreads(cl.threads, std::getenv("ORTAVEL_THREADS")))
    limitProcessors(*threads);
  installInterruptHandler();
  switch (cl.command) {
    case Command::kCorrect:
      return runCorrect(cl);
    case Command::kInfo:
      return runInfo(cl);
    case Command::kPreview:
      return runPreview(cl);
    case Command::kAbout:
      return runAbout(cl);
    case Command::kLenses:
      return runLenses(cl);
    case Command::kUi:
      return runUi(cl);
    default:
      break;
  }
  std::fputs(helpText(Command::kNone).c_str(), stderr);
  return ExitCode::kUsage;
}

}  // namespace

int main(int argc, char **argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::fputs(helpText(Command::kNone).c_str(), stderr);
    return static_cast<int>(ExitCode::kUsage);
  }
  try {
    return static_cast<int>(run(args));
  } catch (const CliError &e) {
    reportError(e.what());
    return static_cast<int>(e.code());
  } catch (const std::bad_alloc &) {
    reportError("out of memory");
  } catch (const std::exception &e) {
    reportError(e.what());
  }
  return static_cast<int>(ExitCode::kFailure);
}
