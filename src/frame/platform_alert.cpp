// Modal alerts. On Linux there is no toolkit of ours: the loading host shows
// the alert through its hook, and without one the text goes to stderr. The
// macOS dialog belongs in its branch below; Windows has platform_alert_win.cpp.
#include "frame/platform_alert.h"

#include <cstdio>

#if defined(__APPLE__)

// The native alert is not built yet on this platform; keep the text visible.
extern "C" void ShowPlatformAlert(const char *title, const char *text,
                                  const PlatformData * /*owner*/) {
  std::fprintf(stderr, "%s: %s\n", title, text);
}

#else

#include <dlfcn.h>

// Linux hosts hand over no window: the owner goes unused.
extern "C" void ShowPlatformAlert(const char *title, const char *text,
                                  const PlatformData * /*owner*/) {
  // Looked up on every alert: alerts are rare, and the host may change while
  // we stay loaded.
  void *symbol = dlsym(RTLD_DEFAULT, ORTAVEL_HOST_SHOW_ALERT_SYMBOL);
  if (symbol != nullptr) {
    reinterpret_cast<OrtavelHostShowAlert>(symbol)(title, text);
    return;
  }
  std::fprintf(stderr, "%s: %s\n", title, text);
}

#endif
