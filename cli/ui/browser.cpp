#include "ui/browser.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <thread>

extern char **environ;

namespace ortavel::cli::ui {

bool haveDisplay() {
  const char *x = std::getenv("DISPLAY");
  const char *w = std::getenv("WAYLAND_DISPLAY");
  return (x != nullptr && *x != '\0') || (w != nullptr && *w != '\0');
}

bool openInBrowser(const std::string &url) {
  std::string program = "xdg-open";
  std::string address = url;
  char *argv[] = {program.data(), address.data(), nullptr};
  pid_t pid = 0;
  if (::posix_spawnp(&pid, "xdg-open", nullptr, nullptr, argv, environ) != 0) return false;
  // xdg-open may stay as long as the browser it started: reap it whenever
  // it ends, without holding the command up.
  std::thread([pid] {
    int status = 0;
    ::waitpid(pid, &status, 0);
  }).detach();
  return true;
}

}  // namespace ortavel::cli::ui
