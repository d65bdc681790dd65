/* One modal alert with a main text, an explanatory text and a single OK
 * button, on whatever the platform offers. Returns when it is dismissed. */
#ifndef ORTAVEL_FRAME_PLATFORM_ALERT_H
#define ORTAVEL_FRAME_PLATFORM_ALERT_H

#ifdef __cplusplus
extern "C" {
#endif

/* The hook a host loading us on Linux may export (the emulator and the
 * command do): looked up at run time, never linked against. */
typedef void (*OrtavelHostShowAlert)(const char *title, const char *text);
#define ORTAVEL_HOST_SHOW_ALERT_SYMBOL "ortavel_host_show_alert"

void ShowPlatformAlert(const char *title, const char *text);

#ifdef __cplusplus
}
#endif

#endif
