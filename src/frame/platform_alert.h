/* One modal alert with a main text, an explanatory text and a single OK
 * button, on whatever the platform offers. Returns when it is dismissed.
 * One implementation per platform, chosen by the build:
 *   platform_alert.cpp      Linux (the host's hook, else standard error)
 *   platform_alert_win.cpp  Windows (the host's hook, else MessageBoxW) */
#ifndef ORTAVEL_FRAME_PLATFORM_ALERT_H
#define ORTAVEL_FRAME_PLATFORM_ALERT_H

#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The hook a host loading us may export from its program (the emulator and
 * the command do): looked up at run time, never linked against. It takes
 * UTF-8 texts. */
typedef void (*OrtavelHostShowAlert)(const char *title, const char *text);
#define ORTAVEL_HOST_SHOW_ALERT_SYMBOL "ortavel_host_show_alert"

/* owner: the host's platform record for this call (its main window on
 * Windows), or null when the host gave none. */
void ShowPlatformAlert(const char *title, const char *text, const PlatformData *owner);

#ifdef __cplusplus
}
#endif

#endif
