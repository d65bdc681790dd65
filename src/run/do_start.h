/* The start selector: the whole run of one filter invocation, inside one host
 * call. Its outcome is the host's result word (*gResult, 0 = success). */
#ifndef ORTAVEL_RUN_DO_START_H
#define ORTAVEL_RUN_DO_START_H

#ifdef __cplusplus
extern "C" {
#endif

/* Resets the parameters, reads the descriptor, answers the automation step's
 * EXIF and preview requests, or corrects the whole document tile by tile.
 * May throw (C++) a host status as uint32_t when a host suite cannot be
 * acquired; the entry point catches it. */
void DoStart(void);

#ifdef __cplusplus
}
#endif

#endif
