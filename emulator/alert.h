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
#endif

#endif
