// Modal alerts. On Linux there is no toolkit of ours: the loading host shows
// the alert through its hook, and without one the text goes to stderr. The
// macOS and Windows dialogs belong in their own branches below.
#include "frame/platform_alert.h"

#include <cstdio>

#if defined(__APPLE__) || defined(_WIN32)

// The native alert is not built yet on these platforms; keep the text visible.
extern "C" void ShowPlatformAlert(const char *title, const char *text) {
  std::fprintf(stderr, "%s: %s\n", title, text);
}

#else

#include <dlfcn.h>

extern "C" void ShowPlatformAlert(const char *title, const char *text) {
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
