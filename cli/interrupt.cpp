#include "interrupt.h"

#include <signal.h>

#include <atomic>

namespace ortavel::cli {
namespace {

std::atomic<bool> gInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the flag is set from a signal handler");

void onSignal(int sig) {
  gInterrupted.store(true);
  // The next one is not ours to soften.
  ::signal(sig, SIG_DFL);
}

}  // namespace

void installInterruptHandler() {
  struct sigaction sa {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  ::sigaction(SIGINT, &sa, nullptr);
  ::sigaction(SIGTERM, &sa, nullptr);
}

bool interrupted() {
  return gInterrupted.load();
}

void requestInterrupt() {
  gInterrupted.store(true);
}

}  // namespace ortavel::cli
