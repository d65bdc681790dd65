/* The emulator's alert hook. A filter looks this function up in the program
 * that loaded it (dlsym(RTLD_DEFAULT, ...) on Linux, GetProcAddress on the
 * program's module on Windows) and, when found, shows its
 * modal alerts through it instead of a platform dialog. It goes to the active
 * host's log and alert callback, or to stderr when no host is active.
 * Programs linking ortavel_hostemu export it automatically. */
#ifndef ORTAVEL_EMULATOR_ALERT_H
#define ORTAVEL_EMULATOR_ALERT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Windows: exported from the program itself, where GetProcAddress on the
 * program's module finds it. */
#if defined(_WIN32)
__declspec(dllexport)
#endif
    void ortavel_host_show_alert(const char *title, const char *text);

#ifdef __cplusplus
}

#include <functional>
#include <string>

namespace hostemu {
// Where alerts go while no filter host is active (an automation plug-in's
// host installs one around its messages); the guard restores the previous.
using AlertSink = std::function<void(const std::string &title, const std::string &text)>;
class AlertSinkGuard {
 public:
  explicit AlertSinkGuard(AlertSink sink);
  ~AlertSinkGuard();
  AlertSinkGuard(const AlertSinkGuard &) = delete;
  AlertSinkGuard &operator=(const AlertSinkGuard &) = delete;
  void show(const std::string &title, const std::string &text) const;

 private:
  AlertSink sink_;
  AlertSinkGuard *previous_;
};
extern AlertSinkGuard *gSink;  // the innermost guard, null when none
}  // namespace hostemu
#endif

#endif
