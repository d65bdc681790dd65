#include "interrupt.h"

#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace ortavel::cli {
namespace {

std::atomic<bool> gInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the flag is set from a signal handler");

// One slot per temporary file in flight: a batch has at most 64 jobs, each
// with one output, plus a settings file and a preview set.
struct Slot {
  std::atomic<int> state{0};  // 0 free, 1 being filled, 2 holds a path
  char path[PATH_MAX]{};
};
static_assert(std::atomic<int>::is_always_lock_free, "slots are read from a signal handler");
Slot gSlots[80];

void removeTemporaries() {
  for (auto &s : gSlots)
    if (s.state.load() == 2) ::unlink(s.path);
}

void die(int sig) {
  removeTemporaries();
  ::signal(sig, SIG_DFL);
  ::raise(sig);  // blocked until the handler returns, then the default action
}

void onSignal(int sig) {
  if (gInterrupted.exchange(true)) {
    die(sig);
    return;
  }
  // The next one is not ours to soften.
  struct sigaction sa {};
  sa.sa_handler = die;
  sigemptyset(&sa.sa_mask);
  ::sigaction(sig, &sa, nullptr);
}

}  // namespace

void installInterruptHandler() {
  struct sigaction sa {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  for (int sig : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(sig, &sa, nullptr);
  sa.sa_handler = die;
  ::sigaction(SIGQUIT, &sa, nullptr);
  sa.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &sa, nullptr);
}

bool interrupted() {
  return gInterrupted.load();
}

void requestInterrupt() {
  gInterrupted.store(true);
}

int registerTemporary(const char *path) noexcept {
  const std::size_t n = std::strlen(path);
  if (n >= PATH_MAX) return -1;
  for (int i = 0; i < static_cast<int>(sizeof gSlots / sizeof gSlots[0]); ++i) {
    int expected = 0;
    if (!gSlots[i].state.compare_exchange_strong(expected, 1)) continue;
    std::memcpy(gSlots[i].path, path, n + 1);
    gSlots[i].state.store(2);
    return i;
  }
  return -1;
}

void releaseTemporary(int slot) noexcept {
  if (slot >= 0) gSlots[slot].state.store(0);
}

}  // namespace ortavel::cli
