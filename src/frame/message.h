/* The two alerts the user sees: a formatted message and the about box. Both
 * are modal; on Linux they go to the loading host's alert hook or, without
 * one, to standard error. */
#ifndef ORTAVEL_FRAME_MESSAGE_H
#define ORTAVEL_FRAME_MESSAGE_H

#ifdef __cplusplus
extern "C" {
#endif

/* printf-style alert titled "Ortavel Filter". The text is cut to 255
 * characters (a Pascal string's worth). */
void Message(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/* The about box: "About Ortavel Filter" / "Ortavel Filter 1.2.2 (083)". */
void DoAbout(void);

#ifdef __cplusplus
}
#endif

#endif
